// Attribute-log adapters: the generic outgoing and incoming work.
#include <ipmodel/Orv/NboAttrLogSa.h>

#include <algorithm>

#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Attr.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Frame.h>
#include <ipmodel/Orv/Type.h>

namespace Orv {

namespace NboAttrLog {

Peer::~Peer() = default;
Ptr<Entity> Peer::entityRef(std::string_view, std::string_view) { return Ptr<Entity>(); }
std::uint32_t Peer::memberOut(Entity&) { return 0; }
void Peer::entryEnd() {}
void Peer::memberIn(std::uint32_t, Entity&) {}
void Peer::memberGone(Entity&) {}
void Peer::memberRemovedOut(Entity&, std::uint16_t, const std::uint8_t*, std::size_t) {}
void Peer::deferred(Entity::OrvNboAttrLogSa&) {}
void Peer::refSeen(Entity&, std::uint16_t, const std::uint8_t*, std::size_t, std::string_view,
                   std::string_view, bool) {}

MemberFilter::~MemberFilter() = default;

FlowOut::FlowOut(const std::uint16_t* collIds) {
  for (const std::uint16_t* p = collIds; p != nullptr && *p != 0; ++p) colls_.push_back({*p, {}});
}
FlowOut::~FlowOut() = default;

bool FlowOut::hasDirtyCollKeys() const {
  return std::any_of(colls_.begin(), colls_.end(), [](const Coll& c) { return !c.keys.empty(); });
}

FlowOut::Coll* FlowOut::coll(std::uint16_t id) {
  for (Coll& c : colls_) {
    if (c.id == id) return &c;
  }
  return nullptr;
}

const std::map<std::string, bool>* FlowOut::dirtyKeys(std::uint16_t collId) const {
  for (const Coll& c : colls_) {
    if (c.id == collId) return &c.keys;
  }
  return nullptr;
}

void FlowOut::dirtyKeyIs(std::uint16_t collId, std::string key, bool present) {
  Coll* c = coll(collId);
  ORV_ASSERT(c != nullptr);
  c->keys[std::move(key)] = present;
}

void FlowOut::dirtyAttrIs(std::uint16_t id) {
  if (std::find(attrs_.begin(), attrs_.end(), id) == attrs_.end()) attrs_.push_back(id);
}

}  // namespace NboAttrLog

namespace frame::detail {

void refWrite(NboAttrLog::Out& o, const Entity* e) {
  if (e == nullptr) {
    o.writeString("");
    o.writeString("");
    return;
  }
  o.writeString(e->fwkType().name);
  o.writeString(e->fullName());
}

namespace {
// refRead that keeps the names it read.
Ptr<Entity> refRead(NboAttrLog::In& in, NboAttrLog::Peer* peer, std::string& type,
                    std::string& full) {
  const std::size_t at = in.offset();
  type = in.readString();
  full = in.readString();
  if (type.empty()) {
    if (!full.empty()) in.fail("entity reference without a type", at);
    return Ptr<Entity>();
  }
  if (typeNode(type) == nullptr) in.fail("entity reference to unknown type " + type, at);
  if (peer == nullptr) return Ptr<Entity>();
  return peer->entityRef(type, full);
}
}  // namespace

Ptr<Entity> refRead(NboAttrLog::In& in, NboAttrLog::Peer* peer) {
  std::string type, full;
  return refRead(in, peer, type, full);
}

Ptr<Entity> refTake(AttrArg& a) {
  std::string type, full;
  Ptr<Entity> e = refRead(*a.in, a.peer, type, full);
  if (a.peer == nullptr || a.owner == nullptr || a.attrId == 0) return e;
  const bool member = a.keyEnd != 0;
  a.peer->refSeen(const_cast<Entity&>(*a.owner), a.attrId,
                  member ? a.in->data() + a.keyBegin : nullptr, member ? a.keyEnd - a.keyBegin : 0,
                  type, full, e.ptr() != nullptr);
  return e;
}

void refGone(AttrArg& a) {
  if (a.peer == nullptr || a.owner == nullptr || a.attrId == 0) return;
  a.peer->refSeen(const_cast<Entity&>(*a.owner), a.attrId, a.in->data() + a.keyBegin,
                  a.keyEnd - a.keyBegin, "", "", false);
}

void refTypeFail(NboAttrLog::In& in, const Entity& e, const char* expected) {
  in.fail(std::string("entity reference to a ") + e.fwkType().name + " where a " + expected +
          " is expected");
}

namespace {
// The further constructor parameters of an entity keyed in its owner's
// collection: every key attribute after the first.
template <class F>
void forExtraParams(const TypeDesc& t, F&& f) {
  bool first = true;
  for (std::uint16_t i = 0; i < t.attrCount; ++i) {
    const AttrDesc& a = t.attrs[i];
    if (a.category != AttrCategory::key) continue;
    if (first) {
      first = false;
      continue;
    }
    f(a);
  }
}
}  // namespace

void ownedMemberWrite(AttrArg& a, Entity& member) {
  std::uint8_t n = 0;
  forExtraParams(member.fwkType(), [&](const AttrDesc&) { ++n; });
  a.out->writeU8(n);
  forExtraParams(member.fwkType(), [&](const AttrDesc& d) {
    AttrArg arg;
    arg.out = a.out;
    arg.owner = &member;
    member.orvAttr(AttrOp::logGet, d.id, arg);
  });
  a.out->writeU32(a.peer ? a.peer->memberOut(member) : 0);
}

std::uint32_t ownedMemberRead(AttrArg& a, const TypeDesc& t) {
  std::uint8_t expected = 0;
  bool refsOnly = true;
  forExtraParams(t, [&](const AttrDesc& d) {
    ++expected;
    if (std::string_view(d.valueType).substr(0, 9) != "Orv::Ptr<") refsOnly = false;
  });
  const std::uint8_t n = a.in->readU8();
  if (n != expected) {
    a.in->fail(std::string(t.name) + " takes " + std::to_string(expected) +
               " further constructor parameters, not " + std::to_string(n));
  }
  // Only entity references can be further constructor parameters here: the
  // model's instantiating collections take nothing else.
  ORV_ASSERT(refsOnly);
  a.keys.clear();
  a.refs.clear();
  for (std::uint8_t i = 0; i < n; ++i) {
    std::string type, full;
    a.keys.emplace_back(refRead(*a.in, a.peer, type, full));
    a.refs.emplace_back(std::move(type), std::move(full));
  }
  return a.in->readU32();
}

Ptr<Entity> ownedMemberNew(AttrArg& a, const TypeDesc& t) {
  if (a.receiver == nullptr) memberApplyFail(a);
  Ptr<Entity> m = a.receiver->newEntityForAttrLog(a.attrId, t, a);
  if (!m) memberApplyFail(a);
  return m;
}

void ownedMemberBound(AttrArg& a, std::uint32_t identity, Entity& member) {
  if (a.peer == nullptr) return;
  if (identity != 0) a.peer->memberIn(identity, member);
  // The further constructor parameters as the log named them: the peer
  // learns which of them did not resolve here.
  std::size_t i = 0;
  forExtraParams(member.fwkType(), [&](const AttrDesc& d) {
    if (i >= a.refs.size()) return;
    const auto& [type, full] = a.refs[i++];
    AttrArg get;
    member.orvAttr(AttrOp::get, d.id, get);
    a.peer->refSeen(member, d.id, nullptr, 0, type, full, get.value.entity() != nullptr);
  });
}

void memberGone(AttrArg& a, const Entity& member) {
  if (a.peer != nullptr) a.peer->memberGone(const_cast<Entity&>(member));
}

void memberApplyFail(AttrArg& a) {
  a.in->fail("collection member cannot be added through the attribute log");
}

}  // namespace frame::detail

using NboAttrLog::In;
using NboAttrLog::Out;

Entity::OrvNboAttrLogSa::OrvNboAttrLogSa(Entity& e, Flags flags, std::uint32_t id,
                                         const Ptr<Out>& out, const std::uint16_t* syncIds,
                                         const NboAttrLog::ApplyTable* apply)
    : entity_(&e),
      out_(out),
      apply_(apply),
      identity_(id),
      flags_(flags),
      flow_(std::make_unique<NboAttrLog::FlowOut>(syncIds)),
      syncIds_(syncIds) {
  if (flags.has(readOnly)) e.readOnlyProxyIs(true);
}

// The mark stays when the flag goes (or the adapter with it): a copy that
// lost its source is still not the place to write.
void Entity::OrvNboAttrLogSa::flagsIs(Flags f) {
  flags_ = f;
  if (f.has(readOnly)) entity_->readOnlyProxyIs(true);
}

Entity::OrvNboAttrLogSa::~OrvNboAttrLogSa() = default;

void Entity::OrvNboAttrLogSa::attrOp(AttrOp op, std::uint16_t id, AttrArg& arg) const {
  arg.peer = peer_;
  arg.owner = entity_.ptr();
  arg.attrId = id;
  arg.receiver = const_cast<OrvNboAttrLogSa*>(this);
  const int r = entity_->orvAttr(op, id, arg);
  ORV_ASSERT(r == 0);
}

void Entity::OrvNboAttrLogSa::checkWritable(std::uint16_t id) const {
  if (!flags_.has(readOnly)) return;
  const AttrDesc* d = entity_->fwkType().attr(id);
  throw ReadOnlyProxyException("write of " + std::string(entity_->fwkType().name) +
                               "::" + (d ? d->name : "?") + " on read-only proxy " +
                               entity_->fullName() + " not allowed");
}

void Entity::OrvNboAttrLogSa::header(std::uint16_t id) {
  out_->writeU32(identity_);
  out_->writeU16(id);
}

void Entity::OrvNboAttrLogSa::writeScalar(std::uint16_t id) {
  header(id);
  AttrArg arg;
  arg.out = out_.ptr();
  attrOp(AttrOp::logGet, id, arg);
}

void Entity::OrvNboAttrLogSa::writeMember(std::uint16_t id, const std::uint8_t* key,
                                          std::size_t n) {
  // The member's state now: present with its value, or a removal.
  header(id);
  In in(key, n);
  AttrArg arg;
  arg.out = out_.ptr();
  arg.in = &in;
  const std::size_t at = out_->size();
  attrOp(AttrOp::logMember, id, arg);
  if (peer_ == nullptr) return;
  if (out_->bytes()[at] == frame::detail::memberRemoved)
    peer_->memberRemovedOut(*entity_, id, key, n);
  peer_->entryEnd();
}

void Entity::OrvNboAttrLogSa::orvAttrChanged(std::uint16_t id) {
  if (receiving_ == id) return;
  checkWritable(id);
  if (!hasRoom()) {
    flow_->dirtyAttrIs(id);
    if (peer_ != nullptr) peer_->deferred(*this);
    return;
  }
  writeScalar(id);
}

void Entity::OrvNboAttrLogSa::memberChanged(std::uint16_t id, const std::uint8_t* key,
                                            std::size_t n) {
  if (filter_ != nullptr && !filter_->takes(id, key, n)) return;
  checkWritable(id);
  if (!hasRoom()) {
    // Whether the member is there now decides the flag; the entry itself is
    // built from the collection when it is finally sent.
    // The probe goes without the peer: a member entity must not be
    // announced to it before its entry is really written.
    In in(key, n);
    Out probe;
    AttrArg arg;
    arg.in = &in;
    arg.out = &probe;
    arg.owner = entity_.ptr();
    entity_->orvAttr(AttrOp::logMember, id, arg);
    const bool present = !probe.bytes().empty() && probe.bytes()[0] == frame::detail::memberPresent;
    flow_->dirtyKeyIs(id, std::string(reinterpret_cast<const char*>(key), n), present);
    if (peer_ != nullptr) peer_->deferred(*this);
    return;
  }
  // The key scratch may be reused by a nested change: copy the key first.
  const std::vector<std::uint8_t> k(key, key + n);
  writeMember(id, k.data(), k.size());
}

void Entity::OrvNboAttrLogSa::serializeColl(std::uint16_t id) {
  header(id);
  out_->writeU8(NboAttrLog::syncBegin);
  // One entry per member, written from its key like any change.
  Out keys;
  AttrArg karg;
  karg.out = &keys;
  attrOp(AttrOp::logKeys, id, karg);
  In kin(keys.bytes());
  while (!kin.atEnd()) {
    const std::string k = kin.readString();
    const auto* kp = reinterpret_cast<const std::uint8_t*>(k.data());
    if (filter_ != nullptr && !filter_->takes(id, kp, k.size())) continue;
    writeMember(id, kp, k.size());
  }
  header(id);
  out_->writeU8(NboAttrLog::syncEnd);
  // Deferred keys of this collection are covered by what was just written.
  if (auto* c = flow_->coll(id)) c->keys.clear();
}

void Entity::OrvNboAttrLogSa::doSerializeOrphan() {
  header(NboAttrLog::orphanAttrId);
  const TypeDesc& t = entity_->fwkType();
  out_->writeString(t.name);
  // The constructor parameters, each behind its position, as one
  // length-prefixed block: the name of a named entity, else its key
  // attributes in order.
  Out params;
  std::uint8_t count = 0;
  for (std::uint16_t i = 0; i < t.attrCount; ++i) count += t.attrs[i].category == AttrCategory::key;
  if (count == 0) {
    params.writeU8(1);
    params.writeU8(0);
    params.writeString(entity_->name());
  } else {
    params.writeU8(count);
    std::uint8_t pos = 0;
    for (std::uint16_t i = 0; i < t.attrCount; ++i) {
      if (t.attrs[i].category != AttrCategory::key) continue;
      params.writeU8(pos++);
      AttrArg arg;
      arg.out = &params;
      attrOp(AttrOp::logGet, t.attrs[i].id, arg);
    }
  }
  out_->writeU32(static_cast<std::uint32_t>(params.size()));
  out_->writeBytes(params.bytes().data(), params.size());
}

void Entity::OrvNboAttrLogSa::serializeAll() {
  const TypeDesc& t = entity_->fwkType();
  for (std::uint16_t i = 0; i < t.attrCount; ++i) {
    const AttrDesc& a = t.attrs[i];
    if (a.category == AttrCategory::stored || a.category == AttrCategory::pointer) {
      writeScalar(a.id);
    }
  }
  for (const std::uint16_t* p = syncIds_; p != nullptr && *p != 0; ++p) serializeColl(*p);
  flow_->attrs_.clear();
}

bool Entity::OrvNboAttrLogSa::flush() {
  auto& attrs = flow_->attrs_;
  while (!attrs.empty() && hasRoom()) {
    const std::uint16_t id = attrs.front();
    attrs.erase(attrs.begin());
    writeScalar(id);
  }
  for (auto& c : flow_->colls_) {
    while (!c.keys.empty() && hasRoom()) {
      auto it = c.keys.begin();
      const std::string k = it->first;
      c.keys.erase(it);
      // The member's state now, not when it was deferred: its latest value.
      writeMember(c.id, reinterpret_cast<const std::uint8_t*>(k.data()), k.size());
    }
  }
  return !hasDeferred();
}

void Entity::OrvNboAttrLogSa::applyGeneral(std::uint16_t attrId, In& in) {
  if (attrId == NboAttrLog::orphanAttrId) {
    // The header names the entity this adapter already stands for: check
    // the type and skip the parameters.
    const std::size_t at = in.offset();
    const std::string type = in.readString();
    if (type != entity_->fwkType().name) {
      in.fail("orphan header of " + type + " for a " + entity_->fwkType().name, at);
    }
    in.readString();
    return;
  }
  const AttrDesc* d = entity_->fwkType().attr(attrId);
  if (d == nullptr || d->owner == &entityBaseType) {
    in.fail("unknown attribute id " + std::to_string(attrId) + " of " + entity_->fwkType().name);
  }
  if (!flags_.has(remoteWriteAllowed)) {
    throw ReadOnlyProxyException(std::string("remote write of ") + entity_->fwkType().name +
                                 "::" + d->name + " on " + entity_->fullName() + " not allowed");
  }
  const Receiving receiving(receiving_, attrId);
  // The entry's own write passes a read-only proxy's mark; what reactors do
  // in reaction does not.
  const OrvWriteLift lift(*entity_);
  switch (d->category) {
    case AttrCategory::stored:
    case AttrCategory::pointer: {
      AttrArg arg;
      arg.in = &in;
      attrOp(AttrOp::logSet, attrId, arg);
      return;
    }
    case AttrCategory::collection:
      applyColl(attrId, in);
      return;
    default:
      in.fail(std::string("attribute ") + d->name + " of " + entity_->fwkType().name +
              " is not written by attribute logs");
  }
}

Ptr<Entity> Entity::OrvNboAttrLogSa::newEntityForAttrLog(std::uint16_t attrId,
                                                         const TypeDesc& memberType, AttrArg& a) {
  // The collection's own xIs: the member is created, adopted and announced
  // exactly as a local creation would be (further parameters from a.keys),
  // as the log's own write: a read-only owner lets it pass, and the change
  // is not written back.
  const Receiving receiving(receiving_, attrId);
  {
    const OrvWriteLift lift(*entity_);
    if (entity_->orvAttr(AttrOp::collSet, attrId, a) != 0) return Ptr<Entity>();
  }
  AttrArg get;
  get.key = a.key;
  entity_->orvAttr(AttrOp::collGet, attrId, get);
  Entity* m = const_cast<Entity*>(get.value.entity());
  ORV_ASSERT(m != nullptr && &m->fwkType() == &memberType);
  // A member of a read-only copy is a read-only copy too.
  if (entity_->readOnlyProxy()) m->readOnlyProxyIs(true);
  return Ptr<Entity>(m);
}

void Entity::OrvNboAttrLogSa::applyColl(std::uint16_t id, In& in) {
  const std::size_t at = in.offset();
  const std::uint8_t mark = in.peekU8();
  if (mark == NboAttrLog::syncBegin) {
    in.readU8();
    syncing_ = id;
    syncSeen_.clear();
    return;
  }
  if (mark == NboAttrLog::syncEnd) {
    in.readU8();
    if (syncing_ != id) in.fail("end of a collection resynchronisation that did not begin", at);
    removeUnseen(id);
    return;
  }
  AttrArg arg;
  arg.in = &in;
  attrOp(AttrOp::logMemberSet, id, arg);
  if (syncing_ == id && mark == frame::detail::memberPresent) {
    syncSeen_.emplace_back(reinterpret_cast<const char*>(in.data() + at + 1),
                           arg.keyEnd - (at + 1));
  }
}

void Entity::OrvNboAttrLogSa::removeUnseen(std::uint16_t id) {
  std::sort(syncSeen_.begin(), syncSeen_.end());
  Out keys;
  AttrArg karg;
  karg.out = &keys;
  attrOp(AttrOp::logKeys, id, karg);
  In kin(keys.bytes());
  std::vector<std::string> stale;
  while (!kin.atEnd()) {
    std::string k = kin.readString();
    if (!std::binary_search(syncSeen_.begin(), syncSeen_.end(), k)) stale.push_back(std::move(k));
  }
  syncing_ = 0;
  syncSeen_.clear();
  for (const std::string& k : stale) {
    Out entry;
    entry.writeU8(frame::detail::memberRemoved);
    entry.writeBytes(k.data(), k.size());
    In ein(entry.bytes());
    AttrArg arg;
    arg.in = &ein;
    attrOp(AttrOp::logMemberSet, id, arg);
  }
}

}  // namespace Orv
