// Attribute-log adapters: the per-entity side of replication.
//
// An adapter watches one entity. Each change of a stored attribute, pointer
// or collection member becomes an entry in the outgoing log; incoming entries
// are applied through the entity's own setters, so range checks and
// notifications happen exactly as for a local change. Every generated entity
// type T has T::OrvNboAttrLogSa (derived from Orv::Entity::OrvNboAttrLogSa)
// whose inner reactor takes the entity's changes through the change hooks
// (Orv::NotifieeConst::orvAttrHook, orvMemberHook) by attribute id; all the
// work below is written once, driven by the descriptor and the generic
// attribute access (Orv::Entity::orvAttr with the log operations).
//
// An entry is: u32 identity of the adapter, u16 attribute id, then
//   - a stored or pointer attribute: its value;
//   - a collection: a member entry (Frame.h: presence, key, value), or a
//     resynchronisation mark (syncBegin: the members follow; syncEnd: members
//     not sent since syncBegin are removed);
//   - id 0 (orphan header): the type's qualified name, a parameter count, then
//     per constructor parameter its position and value.
//
// Flow control: while the outgoing log is over its capacity, a changed scalar
// is remembered by id (its latest value is sent later) and a changed member
// by key in its collection's dirty set with a presence flag (a later change
// of the same key overwrites it). flush() sends what was deferred once the
// log has room again, so a slow reader ends with every final value and the
// sender never buffers more than the capacity plus one set per collection.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <ipmodel/Orv/Entity.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/NboAttrLog.h>
#include <ipmodel/Orv/Ptr.h>

namespace Orv {

namespace NboAttrLog {

// What an adapter needs from the stream it belongs to. The defaults suit a
// log used on its own: references stay unresolved, members created by their
// owner are not followed.
class IPMODEL_API Peer {
 public:
  virtual ~Peer();
  // The local entity an incoming reference names, or null.
  virtual Ptr<Entity> entityRef(std::string_view typeName, std::string_view fullName);
  // Sending side: member, created by its owner's collection, is being
  // written; attach an adapter to it and answer its identity (0: none).
  virtual std::uint32_t memberOut(Entity& member);
  // Sending side: the entry that named those members is complete; a peer
  // that attached adapters in memberOut writes the members' state now.
  virtual void entryEnd();
  // Receiving side: member was created (or found) for identity.
  virtual void memberIn(std::uint32_t identity, Entity& member);
  // Receiving side: member, created by its owner's collection, was removed
  // by an entry; a peer that follows it lets go of it.
  virtual void memberGone(Entity& member);
  // Sending side: a removal entry was written for the member under key (in
  // its log form) of owner's collection attrId.
  virtual void memberRemovedOut(Entity& owner, std::uint16_t attrId, const std::uint8_t* key,
                                std::size_t n);
  // An adapter deferred entries because the log was full; call its flush()
  // once the log has drained.
  virtual void deferred(Entity::OrvNboAttrLogSa& sa);
  // Receiving side: an entity reference was read for attrId of holder (for a
  // collection member, key is the member's key in log form; null for a
  // single attribute or a constructor parameter). fullName is empty for a
  // null reference; resolved tells whether entityRef found the entity. A
  // peer may remember what did not resolve and apply it when it arrives.
  virtual void refSeen(Entity& holder, std::uint16_t attrId, const std::uint8_t* key, std::size_t n,
                       std::string_view typeName, std::string_view fullName, bool resolved);
};

// Which members of an adapter's collections go out. An adapter with a
// filter writes only the members it takes, in changes, removals and
// resynchronisations alike; the rest are never written.
class IPMODEL_API MemberFilter {
 public:
  virtual ~MemberFilter();
  // Whether the member under key (in log form) of collection collId goes out.
  virtual bool takes(std::uint16_t collId, const std::uint8_t* key, std::size_t n) const = 0;
};

// The incoming side of an adapter as the generic collection code sees it.
class IPMODEL_API Receiver {
 public:
  // Creates the member that an entry of the instantiating collection attrId
  // names (its key in a.key, further constructor parameters in a.keys) and
  // answers it; null when the collection does not create members.
  virtual Ptr<Entity> newEntityForAttrLog(std::uint16_t attrId, const TypeDesc& memberType,
                                          AttrArg& a) = 0;

 protected:
  ~Receiver() = default;
};

// Outgoing flow state of one adapter: the scalar attributes and collection
// members still to be sent.
class IPMODEL_API FlowOut {
 public:
  // collIds: the collection attributes, zero-terminated (attrIdsReqSync()).
  explicit FlowOut(const std::uint16_t* collIds);
  virtual ~FlowOut();

  bool hasDirtyCollKeys() const;
  bool hasDirtyAttrs() const { return !attrs_.empty(); }
  // Key in its log form; present false records a removal.
  void dirtyKeyIs(std::uint16_t collId, std::string key, bool present);
  void dirtyAttrIs(std::uint16_t id);
  // The dirty keys of one collection (null when id is not a collection).
  const std::map<std::string, bool>* dirtyKeys(std::uint16_t collId) const;

 private:
  friend class Entity::OrvNboAttrLogSa;
  struct Coll {
    std::uint16_t id;
    std::map<std::string, bool> keys;
  };
  Coll* coll(std::uint16_t id);
  std::vector<Coll> colls_;
  std::vector<std::uint16_t> attrs_;
};

// The typed log functions of an entity type's stored attributes, by
// attribute id: fns[id - first].apply reads the value of attribute id (with
// every check its type makes on bytes from another process) and calls the
// setter; .write writes the attribute's current value through the adapter.
// Both null where an attribute takes the generic path (pointers,
// collections, what is never written).
using ApplyFn = void (*)(Entity& e, In& in);
using WriteFn = void (*)(const Entity& e, Entity::OrvNboAttrLogSa& sa, std::uint16_t id);
struct LogFns {
  ApplyFn apply;
  WriteFn write;
};
struct ApplyTable {
  std::uint16_t first;
  std::uint16_t count;
  const LogFns* fns;
  const LogFns* at(std::uint16_t id) const {
    const unsigned i = unsigned(id) - first;
    return i < count && fns[i].apply != nullptr ? &fns[i] : nullptr;
  }
};

// Entry-level marks.
constexpr std::uint16_t orphanAttrId = 0;
enum : std::uint8_t { syncBegin = 2, syncEnd = 3 };

}  // namespace NboAttrLog

class IPMODEL_API Entity::OrvNboAttrLogSa : public PtrInterface, public NboAttrLog::Receiver {
 public:
  // The adapter's notification flags. readOnly: the local entity is a
  // read-only proxy (the adapter marks it so: local writes raise, entries
  // applied here pass). remoteWriteAllowed: incoming entries may change it.
  using Flags = NotifieeConst::Orv_BitSet;
  static constexpr Flags::Bit readOnly = Flags::readOnly;
  static constexpr Flags::Bit remoteWriteAllowed = Flags::remoteWriteAllowed;

  ~OrvNboAttrLogSa() override;

  Entity& entity() const { return *entity_; }
  std::uint32_t identity() const { return identity_; }
  Flags flags() const { return flags_; }
  void flagsIs(Flags f);
  const Ptr<NboAttrLog::Out>& out() const { return out_; }
  NboAttrLog::Peer* peer() const { return peer_; }
  void peerIs(NboAttrLog::Peer* p) { peer_ = p; }
  NboAttrLog::FlowOut& flowOut() const { return *flow_; }
  // The filter of the members written (null: every member); not owned.
  const NboAttrLog::MemberFilter* memberFilter() const { return filter_; }
  void memberFilterIs(const NboAttrLog::MemberFilter* f) { filter_ = f; }
  const std::uint16_t* syncIds() const { return syncIds_; }
  bool hasDeferred() const { return flow_->hasDirtyAttrs() || flow_->hasDirtyCollKeys(); }

  // --- outgoing ---
  // A stored or pointer attribute changed.
  void orvAttrChanged(std::uint16_t id);
  // A stored attribute changed to v: the typed writers of stored attributes
  // call this with the new value, which goes straight into the log behind
  // the entry head. A read-only adapter and a full log take the
  // general path (refusal, deferral).
  template <class T>
  [[gnu::always_inline]] void orvValueChanged(std::uint16_t id, const T& v) {
    if (receiving_ == id) return;
    if (flags_.has(readOnly) || !hasRoom()) [[unlikely]] {
      orvAttrChanged(id);
      return;
    }
    NboAttrLog::Out& o = *out_;
    // Built-in types in place (the forms of NboAttrLog.h); every other type
    // (enumerations included) writes itself after the head.
    constexpr bool integer = std::is_integral_v<T>;
    if constexpr (std::is_same_v<T, bool>) {
      *o.entry(identity_, id, 1) = v ? 1 : 0;
    } else if constexpr (integer && sizeof(T) == 2) {
      NboAttrLog::Out::put16(o.entry(identity_, id, 2), static_cast<std::uint16_t>(v));
    } else if constexpr (integer && sizeof(T) == 4) {
      NboAttrLog::Out::put32(o.entry(identity_, id, 4), static_cast<std::uint32_t>(v));
    } else {
      o.entry(identity_, id, 0);
      o << v;
    }
  }
  // Attribute id changed (the change hook of the inner reactor): a stored
  // attribute with a typed writer goes straight into the log, anything else
  // (pointers) through the generic access.
  [[gnu::always_inline]] void orvAttrHooked(std::uint16_t id) {
    const NboAttrLog::LogFns* f = apply_ != nullptr ? apply_->at(id) : nullptr;
    if (f != nullptr) [[likely]] {
      f->write(*entity_, *this, id);
      return;
    }
    orvAttrChanged(id);
  }
  // The member under k of collection id was added, changed or removed.
  void orvMemberChanged(std::uint16_t id, const MemberKey& k) {
    if (receiving_ == id) return;
    keyScratch_.drain();
    k.write(keyScratch_, k.key);
    memberChanged(id, keyScratch_.bytes().data(), keyScratch_.size());
  }
  // Every member of collection id, between resynchronisation marks.
  void serializeColl(std::uint16_t id);
  // The orphan header: type name and constructor parameters.
  void doSerializeOrphan();
  // The whole entity: every stored and pointer attribute, every collection.
  void serializeAll();
  // Sends deferred entries while the log has room; true when none is left.
  bool flush();

  // --- incoming ---
  // Applies one entry whose identity the caller has read (it routed the
  // entry here): the attribute id, then the payload.
  void doHandleAttrTransaction(NboAttrLog::In& in) {
    doHandleAttrDeserialization(in.readU16(), in);
  }
  // A stored attribute with a typed applier is read and set right here;
  // everything else (and every refusal) takes the general path.
  void doHandleAttrDeserialization(std::uint16_t attrId, NboAttrLog::In& in) {
    const NboAttrLog::LogFns* f = apply_ != nullptr ? apply_->at(attrId) : nullptr;
    if (f != nullptr && flags_.has(remoteWriteAllowed)) [[likely]] {
      Receiving r(receiving_, attrId);
      // The entry's own write passes a read-only proxy's mark; what
      // reactors do in reaction does not.
      const OrvWriteLift lift(*entity_);
      f->apply(*entity_, in);
      return;
    }
    applyGeneral(attrId, in);
  }
  // Creates a member of an instantiating collection that an entry names,
  // through the entity's own collection (so it is adopted and notified as
  // a local creation would be). Every member the log creates comes here.
  Ptr<Entity> newEntityForAttrLog(std::uint16_t attrId, const TypeDesc& memberType,
                                  AttrArg& a) override;

 protected:
  OrvNboAttrLogSa(Entity& e, Flags flags, std::uint32_t id, const Ptr<NboAttrLog::Out>& out,
                  const std::uint16_t* syncIds, const NboAttrLog::ApplyTable* apply = nullptr);

 private:
  // Marks the attribute being applied from the log (its change is not
  // written back), for the length of one entry.
  struct Receiving {
    Receiving(std::uint16_t& r, std::uint16_t id) : r_(r), old_(r) { r = id; }
    ~Receiving() { r_ = old_; }
    Receiving(const Receiving&) = delete;
    Receiving& operator=(const Receiving&) = delete;
    std::uint16_t& r_;
    std::uint16_t old_;
  };
  void applyGeneral(std::uint16_t attrId, NboAttrLog::In& in);
  void memberChanged(std::uint16_t id, const std::uint8_t* key, std::size_t n);
  void checkWritable(std::uint16_t id) const;
  bool hasRoom() const { return out_->size() < out_->capacity(); }
  void header(std::uint16_t id);
  void writeScalar(std::uint16_t id);
  void writeMember(std::uint16_t id, const std::uint8_t* key, std::size_t n);
  void applyColl(std::uint16_t id, NboAttrLog::In& in);
  void removeUnseen(std::uint16_t id);
  void attrOp(AttrOp op, std::uint16_t id, AttrArg& arg) const;

  // What every change and every incoming entry touches comes first: with the
  // inner reactor allocated right in front (frame::nboAttrLogSaIs), a change
  // costs the fewest cache lines.
  Ptr<Entity> entity_;
  Ptr<NboAttrLog::Out> out_;
  const NboAttrLog::ApplyTable* apply_;
  std::uint32_t identity_;
  Flags flags_;
  std::uint16_t receiving_ = 0;  // the attribute being applied from the log
  // Keys of a collection seen since its syncBegin, in log form.
  std::uint16_t syncing_ = 0;
  NboAttrLog::Peer* peer_ = nullptr;
  const NboAttrLog::MemberFilter* filter_ = nullptr;
  std::unique_ptr<NboAttrLog::FlowOut> flow_;
  const std::uint16_t* syncIds_;
  NboAttrLog::Out keyScratch_;
  std::vector<std::string> syncSeen_;
};

namespace frame {

// The inner reactor of a generated adapter: a hooked notifiee of T whose
// hooks take every change of a stored attribute or collection member, by
// attribute id, and hand it to the adapter. Its own handlers stay the
// defaults and are never called for those changes.
template <class T>
class NboAttrLogSaAdapterOf : public T::NotifieeConst {
 public:
  explicit NboAttrLogSaAdapterOf(Entity::OrvNboAttrLogSa* sa) : sa_(sa) {}
  ~NboAttrLogSaAdapterOf() override { this->hookedNotifierIs(nullptr); }
  Entity::OrvNboAttrLogSa* sa() const { return sa_; }
  void attach(const T& e) { this->hookedNotifierIs(&e); }
  void detach() { this->hookedNotifierIs(nullptr); }
  void saIs(Entity::OrvNboAttrLogSa* sa) { sa_ = sa; }

 protected:
  bool orvAttrHook(std::uint16_t id) override {
    sa_->orvAttrHooked(id);
    return true;
  }
  bool orvMemberHook(std::uint16_t id, const MemberKey& k) override {
    sa_->orvMemberChanged(id, k);
    return true;
  }

 private:
  Entity::OrvNboAttrLogSa* sa_;
};

// T::orvNboAttrLogSaIs: creates the adapter Sa with its inner reactor A in
// the same allocation, the reactor first: a change runs the reactor and then
// the adapter's first members, which so share cache lines. The reactor is
// attached to e once both are built, and detached before the adapter goes.
template <class Sa, class A, class T>
Ptr<Entity::OrvNboAttrLogSa> nboAttrLogSaIs(T& e, NotifieeConst::Orv_BitSet flags, std::uint32_t id,
                                            const Ptr<NboAttrLog::Out>& out) {
  struct Inner {
    A inner{nullptr};
  };
  struct Joined : Inner, Sa {
    Joined(T& e, NotifieeConst::Orv_BitSet flags, std::uint32_t id, const Ptr<NboAttrLog::Out>& out)
        : Sa(e, flags, id, out) {
      this->inner.saIs(this);
    }
    ~Joined() override { this->inner.detach(); }
  };
  Ptr<Joined> sa(new Joined(e, flags, id, out));
  sa->inner.attach(e);
  return sa;
}

}  // namespace frame

template <class K>
void MemberKey::writeOf(NboAttrLog::Out& out, const void* key) {
  out << *static_cast<const K*>(key);
}

// Base of a generated T::OrvNboAttrLogSa.
template <class T>
class NboAttrLogSaOf : public Entity::OrvNboAttrLogSa {
 public:
  NboAttrLogSaOf(T& e, NotifieeConst::Orv_BitSet flags, std::uint32_t id,
                 const Ptr<NboAttrLog::Out>& out, const std::uint16_t* syncIds,
                 const NboAttrLog::ApplyTable* apply = nullptr)
      : Entity::OrvNboAttrLogSa(e, flags, id, out, syncIds, apply) {}
};

}  // namespace Orv
