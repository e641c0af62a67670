// One end of a state-database connection: framing, adapters by identity,
// flow control.
#include <ipmodel/Statedb/internal/Session.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Frame.h>

namespace Statedb::internal {

using Orv::Entity;
using Orv::Ptr;
using Orv::NboAttrLog::In;
using Orv::NboAttrLog::Out;

void IdentityTable::set(std::uint32_t id, const Ptr<Sa>& sa) {
  all_[id] = sa;
  const auto [r, i] = slot(id);
  std::vector<Sa*>& v = dense_[r];
  if (i >= v.size()) {
    // Grow geometrically, and only next to what is there.
    if (i > 2 * v.size() + 1024) return;
    v.resize(std::max<std::size_t>(std::size_t(i) + 1, 2 * v.size()), nullptr);
  }
  v[i] = sa.ptr();
}

void IdentityTable::erase(std::uint32_t id) {
  const auto [r, i] = slot(id);
  if (i < dense_[r].size()) dense_[r][i] = nullptr;
  all_.erase(id);
}

void IdentityTable::clear() {
  for (auto& v : dense_) v.clear();
  all_.clear();
}

Session::Session(int fd, Index& index, std::uint32_t firstIdentity, std::size_t budget)
    : fd_(fd),
      index_(index),
      budget_(budget),
      stage_(Out::outIs(budget)),
      nextIdentity_(firstIdentity) {}

Session::~Session() {
  detachAll();
  if (fd_ >= 0) ::close(fd_);
}

Ptr<Session::Sa> Session::attach(Entity& e, std::uint32_t identity, Sa::Flags flags) {
  auto found = byEntity_.find(&e);
  if (found != byEntity_.end()) {
    // Known already (a resynchronisation or a second mention): rebind the
    // identity the other side now uses.
    Ptr<Sa> sa = found->second;
    if (sa->identity() == identity) return sa;
    byIdentity_.erase(sa->identity());
    byEntity_.erase(found);
    sa->peerIs(nullptr);
  }
  Ptr<Sa> sa = e.orvNboAttrLogSaIs(flags, identity, stage_);
  ORV_ASSERT(sa);
  sa->peerIs(this);
  byIdentity_.set(identity, sa);
  byEntity_[&e] = sa;
  std::string name = e.fullName();
  index_.emplace(name, Ptr<Entity>(&e));
  names_[&e] = name;
  if (!refsByTarget_.empty()) resolveRefsTo(name, e);
  return sa;
}

void Session::refSeen(Entity& holder, std::uint16_t attrId, const std::uint8_t* key, std::size_t n,
                      std::string_view typeName, std::string_view fullName, bool resolved) {
  RefPlace place{&holder, attrId, std::string(reinterpret_cast<const char*>(key), n)};
  if (resolved || fullName.empty()) {
    if (!refsWaiting_.empty()) refsWaiting_.erase(place);
    return;
  }
  refsByTarget_[std::string(fullName)].push_back(place);
  refsWaiting_[std::move(place)] =
      RefWait{Ptr<Entity>(&holder), std::string(typeName), std::string(fullName)};
}

void Session::resolveRefsTo(const std::string& name, const Entity& target) {
  auto t = refsByTarget_.find(name);
  if (t == refsByTarget_.end()) return;
  const std::vector<RefPlace> places = std::move(t->second);
  refsByTarget_.erase(t);
  for (const RefPlace& place : places) {
    auto w = refsWaiting_.find(place);
    if (w == refsWaiting_.end() || w->second.fullName != name) continue;  // replaced since
    const RefWait wait = std::move(w->second);
    refsWaiting_.erase(w);
    // A reference that named another type than what arrived under its name
    // stays null, as does one its attribute cannot take (below): the entry
    // that carried it was accepted long ago, and the one being applied now
    // is not at fault.
    if (wait.typeName != target.fwkType().name) continue;
    try {
      bindRef(place, wait);
    } catch (const Orv::Exception&) {
    }
  }
}

void Session::bindRef(const RefPlace& place, const RefWait& wait) {
  const std::uint16_t attrId = std::get<1>(place);
  const std::string& key = std::get<2>(place);
  Entity& holder = *wait.holder;
  // The reference again, as the log sent it: now that its target is in the
  // index it resolves.
  Out ref;
  const Orv::AttrDesc* d = holder.fwkType().attr(attrId);
  if (d != nullptr && d->category == Orv::AttrCategory::key) {
    ref.writeString(wait.typeName);
    ref.writeString(wait.fullName);
    In in(ref.bytes());
    Orv::AttrArg arg;
    arg.in = &in;
    arg.peer = this;
    holder.orvAttr(Orv::AttrOp::refBind, attrId, arg);
    return;
  }
  auto sa = byEntity_.find(&holder);
  if (sa == byEntity_.end()) return;
  if (!key.empty()) {
    ref.writeU8(Orv::frame::detail::memberPresent);
    ref.writeBytes(key.data(), key.size());
    ref.writeU8(0);  // a reference, not a member its owner creates
  }
  ref.writeString(wait.typeName);
  ref.writeString(wait.fullName);
  In in(ref.bytes());
  const Ptr<Sa> keep = sa->second;
  keep->doHandleAttrDeserialization(attrId, in);
}

void Session::detachAll() {
  byIdentity_.forEach([](Sa& sa) { sa.peerIs(nullptr); });
  pendingFull_.clear();
  deferred_.clear();
  deferredSet_.clear();
  byEntity_.clear();
  names_.clear();
  refsWaiting_.clear();
  refsByTarget_.clear();
  placesOut_.clear();
  byIdentity_.clear();  // the adapters detach from their entities here
}

Session::Sa::Flags Session::inheritedFlags(const Entity& member) const {
  for (const Entity* p = member.parent(); p != nullptr; p = p->parent()) {
    auto it = byEntity_.find(p);
    if (it != byEntity_.end()) return it->second->flags();
  }
  return {};
}

Ptr<Entity> Session::entityRef(std::string_view, std::string_view fullName) {
  auto it = index_.find(std::string(fullName));
  return it == index_.end() ? Ptr<Entity>() : it->second;
}

std::string Session::place(const Entity& owner, const std::string& attr, const std::uint8_t* key,
                           std::size_t n) {
  std::string p(reinterpret_cast<const char*>(&owner), sizeof(&owner));
  p += attr;
  p.push_back('\0');
  p.append(reinterpret_cast<const char*>(key), n);
  return p;
}

std::uint32_t Session::memberOut(Entity& member) {
  auto it = byEntity_.find(&member);
  if (it != byEntity_.end()) return it->second->identity();
  Ptr<Sa> sa = attach(member, nextIdentity_++, inheritedFlags(member));
  pendingFull_.push_back(sa);
  // Remember where it sits, so that the removal entry of its key lets go
  // of it again.
  if (Entity* owner = member.parent()) {
    const Orv::TypeDesc& t = member.fwkType();
    for (std::uint16_t i = 0; i < t.attrCount; ++i) {
      if (t.attrs[i].category != Orv::AttrCategory::key) continue;
      Out key;
      Orv::AttrArg arg;
      arg.out = &key;
      member.orvAttr(Orv::AttrOp::logGet, t.attrs[i].id, arg);
      placesOut_[place(*owner, member.parentAttrName(), key.bytes().data(), key.size())] =
          sa->identity();
      break;
    }
  }
  return sa->identity();
}

void Session::memberRemovedOut(Entity& owner, std::uint16_t attrId, const std::uint8_t* key,
                               std::size_t n) {
  const Orv::AttrDesc* d = owner.fwkType().attr(attrId);
  if (d == nullptr) return;
  auto it = placesOut_.find(place(owner, d->name, key, n));
  if (it == placesOut_.end()) return;
  const std::uint32_t identity = it->second;
  placesOut_.erase(it);
  drop(identity);
}

void Session::memberGone(Entity& member) {
  auto it = byEntity_.find(&member);
  if (it == byEntity_.end()) return;
  const std::uint32_t identity = it->second->identity();
  if (identity >= clientFirstIdentity) drop(identity);  // never a mounted entity
}

void Session::drop(std::uint32_t identity) {
  Ptr<Sa> sa(byIdentity_.find(identity));
  if (!sa) return;
  const Entity* e = &sa->entity();
  // The references it still waited for go with it.
  if (!refsWaiting_.empty()) {
    refsWaiting_.erase(refsWaiting_.lower_bound(RefPlace{e, 0, std::string()}),
                       refsWaiting_.lower_bound(RefPlace{e + 1, 0, std::string()}));
  }
  auto n = names_.find(e);
  if (n != names_.end()) {
    auto x = index_.find(n->second);
    if (x != index_.end() && x->second.ptr() == e) index_.erase(x);
    names_.erase(n);
  }
  if (deferredSet_.erase(sa.ptr()) != 0) {
    deferred_.erase(std::remove(deferred_.begin(), deferred_.end(), sa), deferred_.end());
  }
  pendingFull_.erase(std::remove(pendingFull_.begin(), pendingFull_.end(), sa), pendingFull_.end());
  byEntity_.erase(e);
  byIdentity_.erase(identity);
  sa->peerIs(nullptr);
}

void Session::entryEnd() {
  // An entry just ended: a large stage becomes a frame here, so that no
  // frame ever splits an entry.
  if (stage_->size() >= frameAt_) stageToSend();
  if (serializing_) return;
  serializing_ = true;
  // Members named by the entry just written follow it with their state;
  // their own members join the queue as they are written.
  for (std::size_t i = 0; i < pendingFull_.size(); ++i) pendingFull_[i]->serializeAll();
  pendingFull_.clear();
  serializing_ = false;
}

void Session::memberIn(std::uint32_t identity, Entity& member) {
  if (identity < clientFirstIdentity)
    throw Orv::NboAttrLogException("member identity below the member range");
  attach(member, identity, inheritedFlags(member));
}

void Session::deferred(Sa& sa) {
  if (deferredSet_.insert(&sa).second) deferred_.emplace_back(&sa);
}

void Session::frame(MsgType type, const std::uint8_t* body, std::size_t n) {
  const std::uint32_t len = static_cast<std::uint32_t>(n);
  const std::uint8_t head[5] = {std::uint8_t(len >> 24), std::uint8_t(len >> 16),
                                std::uint8_t(len >> 8), std::uint8_t(len), type};
  send_.insert(send_.end(), head, head + 5);
  send_.insert(send_.end(), body, body + n);
}

void Session::stageToSend() {
  const auto& b = stage_->bytes();
  if (b.empty()) return;
  // entryEnd() stages at entry boundaries long before a frame fills.
  ORV_ASSERT(b.size() <= maxFrameBytes);
  frame(msgEntries, b.data(), b.size());
  stage_->drain();
  budgetIs();
}

void Session::budgetIs() {
  const std::size_t queued = send_.size() - sendOff_;
  stage_->capacityIs(queued >= budget_ ? 0 : budget_ - queued);
}

void Session::control(MsgType type, const Out& body) {
  stageToSend();
  frame(type, body.bytes().data(), body.size());
  budgetIs();
}

void Session::flushDeferred() {
  while (!deferred_.empty() && stage_->size() < stage_->capacity()) {
    Ptr<Sa> sa = deferred_.front();
    if (sa->flush()) {
      deferredSet_.erase(sa.ptr());
      deferred_.pop_front();
    }
  }
}

bool Session::writeReady() {
  for (;;) {
    if (stage_->size() != 0) stageToSend();
    while (sendOff_ < send_.size()) {
      const ssize_t n = ::send(fd_, send_.data() + sendOff_, send_.size() - sendOff_, MSG_NOSIGNAL);
      if (n < 0) {
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
          budgetIs();
          return true;
        }
        return false;
      }
      sendOff_ += static_cast<std::size_t>(n);
      sent_ += static_cast<std::uint64_t>(n);
    }
    send_.clear();
    sendOff_ = 0;
    budgetIs();
    if (deferred_.empty()) return true;
    flushDeferred();
    if (stage_->size() == 0) return true;
  }
}

bool Session::readReady(const std::function<void(std::uint8_t, In&)>& onFrame, std::string& why) {
  std::uint8_t buf[65536];
  bool open = true;
  for (;;) {
    const ssize_t n = ::recv(fd_, buf, sizeof buf, MSG_DONTWAIT);
    if (n > 0) {
      received_ += static_cast<std::uint64_t>(n);
      recv_.insert(recv_.end(), buf, buf + n);
      if (recv_.size() >= (1u << 20)) break;  // apply what we have before reading more
      continue;
    }
    if (n == 0) {
      why = "end of stream";
      open = false;
    } else if (errno == EINTR) {
      continue;
    } else if (errno != EAGAIN && errno != EWOULDBLOCK) {
      why = std::strerror(errno);
      open = false;
    }
    break;
  }
  std::size_t at = 0;
  while (recv_.size() - at >= 5) {
    const std::uint8_t* p = recv_.data() + at;
    const std::uint32_t len =
        std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
    const std::uint8_t type = p[4];
    if (len > maxFrameBytes) {
      throw Orv::NboAttrLogException("frame of " + std::to_string(len) + " bytes is over the " +
                                     std::to_string(maxFrameBytes) + " byte limit");
    }
    if (type < msgMount || type > msgMountFailed) {
      throw Orv::NboAttrLogException("unknown frame type " + std::to_string(type));
    }
    if (recv_.size() - at - 5 < len) break;
    In in(p + 5, len);
    at += 5 + len;
    onFrame(type, in);
  }
  recv_.erase(recv_.begin(), recv_.begin() + std::ptrdiff_t(at));
  if (!open && !recv_.empty() && why == "end of stream") why = "end of stream inside a frame";
  return open;
}

void Session::applyEntries(In& in, const std::function<void(const std::string&)>& onRange) {
  while (!in.atEnd()) {
    const std::size_t at = in.offset();
    const std::uint32_t id = in.readU32();
    Ptr<Sa> sa(byIdentity_.find(id));
    if (!sa) in.fail("entry for unknown identity " + std::to_string(id), at);
    try {
      sa->doHandleAttrTransaction(in);
    } catch (const Orv::RangeException& e) {
      onRange(e.what());  // stored, as a local write would be; the entry was read whole
    }
  }
}

}  // namespace Statedb::internal
