// One end of a state-database connection, shared by the client library and
// the server: framing, adapters by identity, flow control.
//
// Frames: u32 body length, u8 type, body. Types:
//   mount        client -> server: u32 mount id, path, type name, flags, then
//                (optional) the filter: u8 filtering, u32 count, names
//   entries      both ways: attribute-log entries (NboAttrLogSa.h)
//   mounted      server -> client: u32 mount id; the full state came before
//   mountFailed  server -> client: u32 mount id, reason
// A mounted entity uses its mount id as identity in both directions; the
// members below it get identities from the side that first sends them
// (client from clientFirstIdentity up, server from serverFirstIdentity up),
// so the two never collide.
//
// Outgoing entries are staged in an attribute-log Out whose capacity is what
// remains of the connection's budget; when the socket is slow the adapters
// defer to their dirty sets and flush once the send buffer drains.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <ipmodel/Orv/NboAttrLogSa.h>

namespace Statedb::internal {

enum MsgType : std::uint8_t { msgMount = 1, msgEntries = 2, msgMounted = 3, msgMountFailed = 4 };

constexpr std::uint32_t maxFrameBytes = 16u << 20;
// A stage this large is framed at the next entry boundary.
constexpr std::size_t stageFrameBytes = 1u << 20;
constexpr std::uint32_t maxMountId = (1u << 20) - 1;
constexpr std::uint32_t clientFirstIdentity = 1u << 20;
constexpr std::uint32_t serverFirstIdentity = 1u << 30;

// Entities by full name, for resolving references across a process's trees.
using Index = std::unordered_map<std::string, Orv::Ptr<Orv::Entity>>;

// Adapters by identity. Identities are handed out densely from the start of
// three ranges (mount ids, client members, server members), so each range
// is also kept as a vector indexed from its start: routing an incoming
// entry is an index, not a hash lookup. An identity far beyond what a range
// holds (a peer may send any) stays in the map only, so the vectors never
// grow out of proportion to what is attached.
class IPMODEL_API IdentityTable {
 public:
  using Sa = Orv::Entity::OrvNboAttrLogSa;

  Sa* find(std::uint32_t id) const {
    const auto [r, i] = slot(id);
    if (i < dense_[r].size() && dense_[r][i] != nullptr) return dense_[r][i];
    auto it = all_.find(id);
    return it == all_.end() ? nullptr : it->second.ptr();
  }
  void set(std::uint32_t id, const Orv::Ptr<Sa>& sa);
  void erase(std::uint32_t id);
  void clear();
  template <class F>
  void forEach(F&& f) const {
    for (const auto& [id, sa] : all_) f(*sa);
  }

 private:
  static std::pair<unsigned, std::uint32_t> slot(std::uint32_t id) {
    if (id >= serverFirstIdentity) return {2, id - serverFirstIdentity};
    if (id >= clientFirstIdentity) return {1, id - clientFirstIdentity};
    return {0, id};
  }
  std::unordered_map<std::uint32_t, Orv::Ptr<Sa>> all_;  // owns the adapters
  std::vector<Sa*> dense_[3];
};

class IPMODEL_API Session : public Orv::NboAttrLog::Peer {
 public:
  using Sa = Orv::Entity::OrvNboAttrLogSa;

  Session(int fd, Index& index, std::uint32_t firstIdentity, std::size_t budget);
  ~Session() override;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  int fd() const { return fd_; }
  // Bytes through the socket so far, framing included.
  std::uint64_t bytesSent() const { return sent_; }
  std::uint64_t bytesReceived() const { return received_; }

  // Attaches an adapter to e under identity (both directions).
  Orv::Ptr<Sa> attach(Orv::Entity& e, std::uint32_t identity, Sa::Flags flags);
  void detachAll();
  const Orv::Ptr<Orv::NboAttrLog::Out>& stage() const { return stage_; }
  // The stage size at which entryEnd() frames the stage (stageFrameBytes);
  // a session without a socket may keep everything staged.
  void frameAtIs(std::size_t n) { frameAt_ = n; }

  // Queues a control frame after the entries staged so far.
  void control(MsgType type, const Orv::NboAttrLog::Out& body);
  bool wantsWrite() const { return stage_->size() != 0 || sendOff_ < send_.size(); }
  // Sends as much as the socket takes. False when the connection broke.
  bool writeReady();

  // Reads what the socket has and calls onFrame for each complete frame.
  // Returns false at end of stream or on a socket error (why says which);
  // a bad frame header raises Orv::NboAttrLogException.
  bool readReady(const std::function<void(std::uint8_t, Orv::NboAttrLog::In&)>& onFrame,
                 std::string& why);
  // Applies an entries frame. A value outside its range was stored and is
  // reported to onRange, and the frame goes on; anything else raises.
  void applyEntries(Orv::NboAttrLog::In& in,
                    const std::function<void(const std::string&)>& onRange);

  // --- Orv::NboAttrLog::Peer ---
  Orv::Ptr<Orv::Entity> entityRef(std::string_view typeName, std::string_view fullName) override;
  std::uint32_t memberOut(Orv::Entity& member) override;
  void entryEnd() override;
  void memberIn(std::uint32_t identity, Orv::Entity& member) override;
  void deferred(Sa& sa) override;
  void memberGone(Orv::Entity& member) override;
  void memberRemovedOut(Orv::Entity& owner, std::uint16_t attrId, const std::uint8_t* key,
                        std::size_t n) override;
  void refSeen(Orv::Entity& holder, std::uint16_t attrId, const std::uint8_t* key, std::size_t n,
               std::string_view typeName, std::string_view fullName, bool resolved) override;
  // References read but not resolved yet (they resolve when their target
  // is attached in this session).
  std::size_t unresolvedRefs() const { return refsWaiting_.size(); }

 private:
  void frame(MsgType type, const std::uint8_t* body, std::size_t n);
  void stageToSend();
  void budgetIs();
  void flushDeferred();
  Sa::Flags inheritedFlags(const Orv::Entity& member) const;
  // Applies the references that waited for the entity named name.
  void resolveRefsTo(const std::string& name, const Orv::Entity& target);
  // Where a member sits: its owner, the owner's attribute and its key.
  static std::string place(const Orv::Entity& owner, const std::string& attr,
                           const std::uint8_t* key, std::size_t n);
  // Lets go of a member's adapter (and of its name in the index).
  void drop(std::uint32_t identity);

  int fd_;
  Index& index_;
  std::size_t budget_;
  std::size_t frameAt_ = stageFrameBytes;
  Orv::Ptr<Orv::NboAttrLog::Out> stage_;
  std::vector<std::uint8_t> send_;
  std::size_t sendOff_ = 0;
  std::uint64_t sent_ = 0;
  std::uint64_t received_ = 0;
  std::vector<std::uint8_t> recv_;
  IdentityTable byIdentity_;
  std::unordered_map<const Orv::Entity*, Orv::Ptr<Sa>> byEntity_;
  std::unordered_map<const Orv::Entity*, std::string> names_;  // full name when attached
  std::unordered_map<std::string, std::uint32_t> placesOut_;   // members sent: place -> identity
  std::uint32_t nextIdentity_;
  std::vector<Orv::Ptr<Sa>> pendingFull_;
  bool serializing_ = false;
  std::deque<Orv::Ptr<Sa>> deferred_;
  std::unordered_set<const Sa*> deferredSet_;
  // Unresolved references: where each sits (holder, attribute, member key
  // in log form) and what it names. A later entry for the same place
  // replaces or clears it.
  using RefPlace = std::tuple<const Orv::Entity*, std::uint16_t, std::string>;
  struct RefWait {
    Orv::Ptr<Orv::Entity> holder;
    std::string typeName;
    std::string fullName;
  };
  std::map<RefPlace, RefWait> refsWaiting_;
  void bindRef(const RefPlace& place, const RefWait& wait);
  std::unordered_map<std::string, std::vector<RefPlace>> refsByTarget_;
};

}  // namespace Statedb::internal
