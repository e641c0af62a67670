// Attribute-log adapters: what a change writes, how a log is applied to a
// replica through the setters, flow control with dirty keys, read-only
// rules, members created by their owner, and bad bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <ipmodel/Ip/Ip.h>
#include <ipmodel/Orv/NboAttrLogSa.h>
#include <ipmodel/test/Kitchen.h>

namespace {

using Lumen::IntfId;
using Lumen::IpAddr;
using Lumen::IpAddrWithMask;
using Orv::Entity;
using Orv::Ptr;
using Sa = Orv::Entity::OrvNboAttrLogSa;
namespace Log = Orv::NboAttrLog;

// Both ends of a replication in one process. The sending side attaches an
// adapter to every member an owner creates; the receiving side routes
// entries by identity and resolves references by full name.
class Mirror : public Log::Peer {
 public:
  Ptr<Log::Out> out = Log::Out::outIs();
  std::map<std::uint32_t, Ptr<Sa>> receivers;
  std::map<std::string, Ptr<Entity>> byName;  // receiving side's entities
  std::vector<Ptr<Sa>> senders;
  std::vector<Ptr<Sa>> pending;
  std::uint32_t nextId = 100;
  bool serializing = false;

  Ptr<Sa> send(Entity& e, std::uint32_t id) {
    Ptr<Sa> sa = e.orvNboAttrLogSaIs({}, id, out);
    sa->peerIs(this);
    senders.push_back(sa);
    return sa;
  }
  Ptr<Sa> receive(Entity& e, std::uint32_t id, Sa::Flags flags = Sa::remoteWriteAllowed) {
    Ptr<Sa> sa = e.orvNboAttrLogSaIs(flags, id, Log::Out::outIs());
    sa->peerIs(this);
    receivers[id] = sa;
    byName[e.fullName()] = Ptr<Entity>(&e);
    return sa;
  }
  // Applies and drains everything written so far.
  void deliver() {
    Log::In in(out->bytes());
    while (!in.atEnd()) {
      const std::uint32_t id = in.readU32();
      auto it = receivers.find(id);
      if (it == receivers.end()) in.fail("unknown identity " + std::to_string(id));
      it->second->doHandleAttrTransaction(in);
    }
    out->drain();
  }

  Ptr<Entity> entityRef(std::string_view, std::string_view fullName) override {
    auto it = byName.find(std::string(fullName));
    return it == byName.end() ? Ptr<Entity>() : it->second;
  }
  std::uint32_t memberOut(Entity& member) override {
    Ptr<Sa> sa = send(member, nextId++);
    pending.push_back(sa);
    return sa->identity();
  }
  void entryEnd() override {
    if (serializing) return;
    serializing = true;
    while (!pending.empty()) {
      Ptr<Sa> sa = pending.front();
      pending.erase(pending.begin());
      sa->serializeAll();
    }
    serializing = false;
  }
  void memberIn(std::uint32_t identity, Entity& member) override { receive(member, identity); }
};

// Every attribute of an entity in textual form, by name: what a replica
// must reproduce.
std::map<std::string, std::string> attrsOf(Entity& e) {
  std::map<std::string, std::string> r;
  const Orv::TypeDesc& t = e.fwkType();
  for (std::uint16_t i = 0; i < t.attrCount; ++i) {
    const Orv::AttrDesc& a = t.attrs[i];
    Orv::AttrArg arg;
    if (a.category == Orv::AttrCategory::collection) {
      e.orvAttr(Orv::AttrOp::collKeys, a.id, arg);
      std::string s;
      for (auto& k : arg.keys) {
        Orv::AttrArg m;
        m.key = k;
        e.orvAttr(Orv::AttrOp::collGet, a.id, m);
        s += k.strep() + "=" + (m.value.is<Ptr<Kitchen::Leaf>>() ? "leaf" : m.value.strep()) + ";";
      }
      r[a.name] = s;
    } else if (e.orvAttr(Orv::AttrOp::get, a.id, arg) == 0 &&
               !arg.value.is<Ptr<Kitchen::Holder>>()) {
      r[a.name] = arg.value.strep();
    }
  }
  return r;
}

TEST(AttrLogSa, OneChangeWritesOneEntryAndANoOpNothing) {
  auto cfg = Ip::configFactory("c")->ipIntfConfigIs(IntfId("Ethernet1"));
  Mirror m;
  Ptr<Sa> sa = m.send(*cfg, 7);
  cfg->proxyArpEnabledIs(true);
  Log::In in(m.out->bytes());
  EXPECT_EQ(in.readU32(), 7u);
  EXPECT_EQ(in.readU16(), 265);
  EXPECT_TRUE(in.readBool());
  EXPECT_TRUE(in.atEnd());
  m.out->drain();
  cfg->proxyArpEnabledIs(true);
  EXPECT_EQ(m.out->size(), 0u);
  // Computed attributes are never written: vrf goes through l3Config.
  EXPECT_EQ(std::vector<std::uint16_t>({260, 262}),
            std::vector<std::uint16_t>(Ip::IpIntfConfig::OrvNboAttrLogSa::attrIdsReqSync(),
                                       Ip::IpIntfConfig::OrvNboAttrLogSa::attrIdsReqSync() + 2));
}

TEST(AttrLogSa, WholeEntityAndLaterChangesReachAReplica) {
  auto root = Kitchen::rootFactory("src");
  auto holder = root->holderIs(IntfId("h1"));
  holder->tagIs("tagged");
  auto item = root->itemIs(IntfId("Ethernet1"));
  item->addrIs(IpAddrWithMask("10.0.0.1/24"));
  item->flagIs(false);
  item->colourIs(Kitchen::Colour::blue);
  item->pairIs(Kitchen::Pair("p", 3));
  item->textIs("from the log");
  item->ordMapIs(IpAddrWithMask("10.1.0.1/16"), true);
  item->hashMapIs(IntfId("Ethernet2"), "two");
  item->ordSetIs(IpAddr("1.2.3.4"));
  item->hashSetIs(Kitchen::Pair("q", 4));
  item->refsIs(holder);

  auto dst = Kitchen::rootFactory("src");  // same full names on both sides
  auto dstHolder = dst->holderIs(IntfId("h1"));
  auto copy = dst->itemIs(IntfId("Ethernet1"));
  Mirror m;
  m.byName[dstHolder->fullName()] = dstHolder;
  m.receive(*copy, 1);
  Ptr<Sa> sa = m.send(*item, 1);
  sa->doSerializeOrphan();
  sa->serializeAll();
  m.deliver();
  EXPECT_EQ(attrsOf(*copy), attrsOf(*item));
  EXPECT_EQ(copy->refs(IntfId("h1")), dstHolder);

  item->ordMapDel(IpAddrWithMask("10.1.0.1/16"));
  item->hashMapIs(IntfId("Ethernet2"), "changed");
  item->limitIs(99);
  m.deliver();
  EXPECT_EQ(attrsOf(*copy), attrsOf(*item));
  EXPECT_EQ(copy->limit(), 99);
}

// A reactor of IpIntfConfig that records what it hears, and may detach
// itself on its first change.
struct Recorder : Ip::IpIntfConfig::NotifieeConst {
  std::vector<std::string>* heard;
  std::string name;
  bool detachOnChange = false;
  Recorder(std::vector<std::string>* h, std::string n) : heard(h), name(std::move(n)) {}
  void onProxyArpEnabled() override {
    heard->push_back(name + " proxyArp");
    if (detachOnChange) notifierIs(nullptr);
  }
  void onSecondaryWithMask(const IpAddrWithMask& k) override {
    heard->push_back(name + " " + Orv::valueToStrep(k));
  }
};

// The ids of the entries written to a log, in order.
std::vector<std::uint16_t> entryIds(Log::Out& out) {
  std::vector<std::uint16_t> ids;
  Log::In in(out.bytes());
  while (!in.atEnd()) {
    in.readU32();
    const std::uint16_t id = in.readU16();
    ids.push_back(id);
    if (id == 265) {
      in.readBool();
    } else {
      in.readU8();
      IpAddrWithMask k;
      in >> k;
      in.readBool();
    }
  }
  out.drain();
  return ids;
}

TEST(AttrLogSa, AdaptersAndReactorsShareAnEntitysChanges) {
  auto cfg = Ip::configFactory("c")->ipIntfConfigIs(IntfId("Ethernet1"));
  std::vector<std::string> heard;
  Recorder before(&heard, "before"), after(&heard, "after");
  before.notifierIs(cfg);
  Mirror m, second;
  {
    Ptr<Sa> sa = m.send(*cfg, 1);
    Ptr<Sa> sa2 = second.send(*cfg, 2);
    after.notifierIs(cfg);
    ASSERT_EQ(cfg->notifieeCount(), 4u);

    // Every reactor hears each change once and each adapter writes it once,
    // for scalars and members alike.
    cfg->proxyArpEnabledIs(true);
    cfg->secondaryWithMaskIs(IpAddrWithMask("10.0.0.2/24"), true);
    EXPECT_EQ(heard, (std::vector<std::string>{"before proxyArp", "after proxyArp",
                                               "before 10.0.0.2/24", "after 10.0.0.2/24"}));
    EXPECT_EQ(entryIds(*m.out), (std::vector<std::uint16_t>{265, 260}));
    EXPECT_EQ(entryIds(*second.out), (std::vector<std::uint16_t>{265, 260}));

    // A reactor that detaches itself mid-visit leaves the rest visited.
    heard.clear();
    before.detachOnChange = true;
    cfg->proxyArpEnabledIs(false);
    EXPECT_EQ(heard, (std::vector<std::string>{"before proxyArp", "after proxyArp"}));
    EXPECT_EQ(entryIds(*m.out), std::vector<std::uint16_t>{265});
    EXPECT_EQ(entryIds(*second.out), std::vector<std::uint16_t>{265});
    m.senders.clear();
    second.senders.clear();
  }
  // With the adapters gone, the remaining reactor still hears, and nothing
  // is written.
  heard.clear();
  ASSERT_EQ(cfg->notifieeCount(), 1u);
  cfg->proxyArpEnabledIs(true);
  EXPECT_EQ(heard, std::vector<std::string>{"after proxyArp"});
  EXPECT_EQ(m.out->size(), 0u);
}

TEST(AttrLogSa, ApplyingAnEntryDoesNotEchoItBack) {
  // One adapter both publishes a's changes and applies b's.
  auto a = Kitchen::rootFactory("r")->itemIs(IntfId("e1"));
  Mirror in;
  Ptr<Sa> both = in.receive(*a, 1);
  auto b = Kitchen::rootFactory("r")->itemIs(IntfId("e1"));
  Ptr<Sa> from = in.send(*b, 1);
  b->limitIs(42);
  b->ordSetIs(IpAddr("9.9.9.9"));
  in.deliver();
  EXPECT_EQ(a->limit(), 42);
  EXPECT_TRUE(a->ordSet(IpAddr("9.9.9.9")));
  EXPECT_EQ(both->out()->size(), 0u);
  a->limitIs(43);  // a local change still goes out
  EXPECT_GT(both->out()->size(), 0u);
}

TEST(AttrLogSa, FullLogDefersKeysAndScalarsUntilFlush) {
  auto cfg = Ip::configFactory("c")->ipIntfConfigIs(IntfId("Ethernet1"));
  auto replica = Ip::configFactory("c")->ipIntfConfigIs(IntfId("Ethernet1"));
  const IpAddrWithMask k("10.0.0.2/24");
  cfg->secondaryWithMaskIs(k, true);
  Mirror m;
  m.receive(*replica, 1);
  Ptr<Sa> sa = m.send(*cfg, 1);
  sa->serializeAll();
  m.deliver();
  ASSERT_TRUE(replica->secondaryWithMask(k));

  m.out->capacityIs(0);  // the reader stopped reading
  cfg->secondaryWithMaskDel(k);
  for (int i = 0; i < 1000; ++i) cfg->maxMssEgressIs(static_cast<std::uint16_t>(i));
  EXPECT_EQ(m.out->size(), 0u);
  const auto* dirty = sa->flowOut().dirtyKeys(260);
  ASSERT_NE(dirty, nullptr);
  ASSERT_EQ(dirty->size(), 1u);
  EXPECT_FALSE(dirty->begin()->second);
  cfg->secondaryWithMaskIs(k, false);  // back before the log drained
  ASSERT_EQ(dirty->size(), 1u);
  EXPECT_TRUE(dirty->begin()->second);
  EXPECT_TRUE(sa->flowOut().hasDirtyCollKeys());

  m.out->capacityIs(1 << 20);
  EXPECT_TRUE(sa->flush());
  EXPECT_FALSE(sa->hasDeferred());
  m.deliver();
  EXPECT_EQ(replica->maxMssEgress(), 999);
  EXPECT_TRUE(replica->secondaryWithMask(k) == false);
  EXPECT_EQ(replica->secondaryWithMask().size(), 1u);  // present, flag false
}

TEST(AttrLogSa, ReplicatedValuesPassTheSettersChecks) {
  auto cfg = Ip::configFactory("c")->ipIntfConfigIs(IntfId("Ethernet1"));
  Log::Out out;
  const std::uint16_t id = Ip::IpIntfConfig::orvType.attr("maxMssEgress")->id;
  out.writeU16(id);
  out.writeU16(65516);
  Ptr<Sa> sa = cfg->orvNboAttrLogSaIs(Sa::remoteWriteAllowed, 1, Log::Out::outIs());
  Log::In in(out.bytes());
  EXPECT_THROW(sa->doHandleAttrTransaction(in), Orv::RangeException);
  EXPECT_EQ(cfg->maxMssEgress(), 65516);
  // The refused entry is over: a local change of the same attribute is
  // written again (and not taken for the entry being applied).
  cfg->maxMssEgressIs(1400);
  Log::In written(sa->out()->bytes());
  EXPECT_EQ(written.readU32(), 1u);
  EXPECT_EQ(written.readU16(), id);
  EXPECT_EQ(written.readU16(), 1400);
  EXPECT_TRUE(written.atEnd());
}

TEST(AttrLogSa, ReadOnlyProxiesRefuseWritesBothWays) {
  auto cfg = Ip::configFactory("c")->ipIntfConfigIs(IntfId("Ethernet1"));
  Ptr<Sa> sa = cfg->orvNboAttrLogSaIs(Sa::readOnly | Sa::remoteWriteAllowed, 1, Log::Out::outIs());
  EXPECT_THROW(cfg->noArpIs(Ip::TristateBool::isTrue), Orv::ReadOnlyProxyException);
  // The mirror may still apply what its source sends.
  Log::Out out;
  out.writeU16(Ip::IpIntfConfig::orvType.attr("forwarding")->id);
  out.writeBool(false);
  Log::In in(out.bytes());
  sa->doHandleAttrTransaction(in);
  EXPECT_FALSE(cfg->forwarding());

  // An adapter that does not accept remote writes refuses them.
  auto other = Ip::configFactory("c")->ipIntfConfigIs(IntfId("Ethernet2"));
  Ptr<Sa> closed = other->orvNboAttrLogSaIs({}, 2, Log::Out::outIs());
  Log::In again(out.bytes());
  EXPECT_THROW(closed->doHandleAttrTransaction(again), Orv::ReadOnlyProxyException);
  EXPECT_TRUE(other->forwarding());
}

// Counts every change an item announces.
struct ItemChanges : Kitchen::Item::NotifieeConst {
  int n = 0;
  void onFlag() override { ++n; }
  void onLimit() override { ++n; }
  void onSmall() override { ++n; }
  void onHolder() override { ++n; }
  void onOrdMap(const IpAddrWithMask&) override { ++n; }
  void onHashMap(const IntfId&) override { ++n; }
  void onOrdSet(const IpAddr&) override { ++n; }
  void onGroups(const IpAddr&) override { ++n; }
  void onRefs(const IntfId&) override { ++n; }
};

TEST(AttrLogSa, AReadOnlyProxyRefusesLocalWritesBeforeStoringAnything) {
  auto root = Kitchen::rootFactory("r");
  auto item = root->itemIs(IntfId("i"));
  auto holder = root->holderIs(IntfId("h"));
  item->ordSetIs(IpAddr("10.0.0.1"));
  item->hashMapIs(IntfId("a"), "x");
  ItemChanges changes;
  changes.notifierIs(item);
  Ptr<Sa> sa = item->orvNboAttrLogSaIs(Sa::readOnly | Sa::remoteWriteAllowed, 1, Log::Out::outIs());
  EXPECT_TRUE(sa->flags().has(Sa::readOnly));
  EXPECT_EQ(sa->flags().without(Sa::readOnly), Sa::Flags(Sa::remoteWriteAllowed));
  ASSERT_TRUE(item->readOnlyProxy());

  try {
    item->ordSetIs(IpAddr("10.0.0.2"));
    ADD_FAILURE() << "a read-only proxy took a new member";
  } catch (const Orv::ReadOnlyProxyException& e) {
    EXPECT_STREQ(e.what(),
                 "write of Kitchen::Item::ordSet on read-only proxy /r/item/i not allowed");
  }
  EXPECT_THROW(item->flagIs(false), Orv::ReadOnlyProxyException);
  EXPECT_THROW(item->smallIs(2000), Orv::ReadOnlyProxyException);  // refused before the range
  EXPECT_THROW(item->holderIs(holder), Orv::ReadOnlyProxyException);
  EXPECT_THROW(item->ordMapIs(IpAddrWithMask("10.0.0.1/24"), true), Orv::ReadOnlyProxyException);
  EXPECT_THROW(item->hashMapIs(IntfId("a"), "y"), Orv::ReadOnlyProxyException);
  EXPECT_THROW(item->ordSetDel(IpAddr("10.0.0.1")), Orv::ReadOnlyProxyException);
  EXPECT_THROW(item->hashMapDelAll(), Orv::ReadOnlyProxyException);
  EXPECT_THROW(item->groupsIs(Kitchen::Group(IpAddr("1.1.1.1"))), Orv::ReadOnlyProxyException);
  EXPECT_THROW(item->refsIs(holder), Orv::ReadOnlyProxyException);
  EXPECT_TRUE(item->flag());
  EXPECT_EQ(item->small(), 5);
  EXPECT_FALSE(item->holder());
  EXPECT_EQ(item->ordMap().size(), 0u);
  EXPECT_EQ(item->hashMap(IntfId("a")), "x");
  EXPECT_TRUE(item->ordSet(IpAddr("10.0.0.1")));
  EXPECT_FALSE(item->ordSet(IpAddr("10.0.0.2")));
  EXPECT_EQ(item->groups().size(), 0u);
  EXPECT_EQ(item->refs().size(), 0u);
  EXPECT_EQ(changes.n, 0);

  // What would change nothing stays quiet, as on any entity.
  EXPECT_NO_THROW(item->flagIs(true));
  EXPECT_NO_THROW(item->ordSetIs(IpAddr("10.0.0.1")));
  EXPECT_FALSE(item->ordSetDel(IpAddr("10.0.0.9")));
  EXPECT_NO_THROW(item->ordMapDelAll());

  // The mark outlives the adapter: a copy cut off from its source is still
  // not the place to write.
  sa = nullptr;
  EXPECT_THROW(item->limitIs(1), Orv::ReadOnlyProxyException);
  EXPECT_EQ(item->limit(), 10);
  // An owner marked read-only creates no members, but answers those it has.
  root->readOnlyProxyIs(true);
  EXPECT_THROW(root->itemIs(IntfId("j")), Orv::ReadOnlyProxyException);
  EXPECT_EQ(root->itemIs(IntfId("i")), item);
  EXPECT_FALSE(root->item(IntfId("j")));
}

// On an entry from the source, tries to change another attribute of the
// same read-only copy.
struct WritesBack : Kitchen::Item::Notifiee {
  int refused = 0;
  void onFlag() override {
    try {
      notifier()->limitIs(99);
    } catch (const Orv::ReadOnlyProxyException&) {
      ++refused;
    }
  }
};

TEST(AttrLogSa, EntriesFromTheSourceApplyToAReadOnlyProxyButReactorsCannotWriteBack) {
  auto src = Kitchen::rootFactory("r");
  auto dst = Kitchen::rootFactory("r");
  Mirror m;
  m.receive(*dst, 1, Sa::readOnly | Sa::remoteWriteAllowed);
  Ptr<Sa> sa = m.send(*src, 1);
  auto item = src->itemIs(IntfId("i"));
  item->ordSetIs(IpAddr("10.0.0.1"));
  m.deliver();  // the member is created through the read-only owner
  auto copy = dst->item(IntfId("i"));
  ASSERT_TRUE(copy);
  EXPECT_TRUE(dst->readOnlyProxy());
  EXPECT_TRUE(copy->readOnlyProxy());  // created in a read-only copy
  EXPECT_TRUE(copy->ordSet(IpAddr("10.0.0.1")));

  WritesBack back;
  back.notifierIs(copy);
  ItemChanges changes;
  changes.notifierIs(copy);
  item->flagIs(false);
  item->ordSetDel(IpAddr("10.0.0.1"));
  m.deliver();
  EXPECT_FALSE(copy->flag());
  EXPECT_FALSE(copy->ordSet(IpAddr("10.0.0.1")));
  EXPECT_EQ(changes.n, 2);
  EXPECT_EQ(back.refused, 1);  // the entry's write passed; the reactor's did not
  EXPECT_EQ(copy->limit(), 10);
  EXPECT_THROW(copy->flagIs(true), Orv::ReadOnlyProxyException);
  m.receivers.clear();
}

TEST(AttrLogSa, NewEntityForAttrLogCreatesMembersThroughTheOwnersCollection) {
  auto dst = Kitchen::rootFactory("r");
  auto holder = dst->holderIs(IntfId("h"));
  Ptr<Sa> sa = dst->orvNboAttrLogSaIs(Sa::readOnly | Sa::remoteWriteAllowed, 1, Log::Out::outIs());
  struct Added : Kitchen::Root::NotifieeConst {
    std::vector<std::string> keys;
    void onLeaf(const IntfId& k) override { keys.push_back(k.stringValue()); }
  } added;
  added.notifierIs(dst);
  Orv::AttrArg a;
  a.key = IntfId("l1");
  a.keys.emplace_back(Ptr<Entity>(holder));
  // The hook creates as the log does: through a read-only owner.
  Ptr<Entity> leaf =
      sa->newEntityForAttrLog(Kitchen::Root::orvType.attr("leaf")->id, Kitchen::Leaf::orvType, a);
  ASSERT_TRUE(leaf);
  EXPECT_EQ(leaf, Ptr<Entity>(dst->leaf(IntfId("l1"))));
  EXPECT_EQ(leaf->parent(), dst.ptr());
  EXPECT_EQ(dst->leaf(IntfId("l1"))->owner(), holder);
  EXPECT_EQ(added.keys, std::vector<std::string>({"l1"}));
  EXPECT_TRUE(leaf->readOnlyProxy());
  EXPECT_THROW(dst->leafIs(IntfId("l2"), holder), Orv::ReadOnlyProxyException);
  // A collection that creates nothing answers null.
  Orv::AttrArg none;
  none.key = IpAddr("1.1.1.1");
  EXPECT_FALSE(sa->newEntityForAttrLog(Kitchen::Root::orvType.attr("count")->id,
                                       Kitchen::Leaf::orvType, none));
}

TEST(AttrLogSa, MembersCreatedByTheirOwnerAreCreatedOnTheReplica) {
  auto src = Kitchen::rootFactory("r");
  auto owner = src->holderIs(IntfId("h"));
  Mirror m;
  auto dst = Kitchen::rootFactory("r");
  m.receive(*dst, 1);
  Ptr<Sa> sa = m.send(*src, 1);
  sa->serializeAll();
  m.deliver();  // the holder, created on the replica
  ASSERT_TRUE(dst->holder(IntfId("h")));
  auto leaf = src->leafIs(IntfId("l1"), owner);
  leaf->levelIs(5);
  m.deliver();
  auto copy = dst->leaf(IntfId("l1"));
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->level(), 5);
  EXPECT_EQ(copy->owner(), dst->holder(IntfId("h")));  // resolved by full name
  EXPECT_EQ(copy->parent(), dst.ptr());

  // A member created while the log is full is announced with its entry,
  // not before: nothing of it is written until the owner's entry is.
  m.out->capacityIs(0);
  const std::size_t sendersBefore = m.senders.size();
  src->leafIs(IntfId("l2"), owner)->levelIs(7);
  EXPECT_EQ(m.senders.size(), sendersBefore);
  EXPECT_EQ(m.out->size(), 0u);
  m.out->capacityIs(1 << 20);
  EXPECT_TRUE(sa->flush());
  m.deliver();
  ASSERT_TRUE(dst->leaf(IntfId("l2")));
  EXPECT_EQ(dst->leaf(IntfId("l2"))->level(), 7);

  // A resynchronisation removes members the replica holds but the source
  // no longer has.
  m.receivers[1]->peerIs(nullptr);  // the replica's own change stays local
  dst->itemIs(IntfId("stale"));
  sa->serializeColl(Kitchen::Root::orvType.attr("item")->id);
  m.deliver();
  EXPECT_FALSE(dst->item(IntfId("stale")));
  m.receivers.clear();
}

TEST(AttrLogSa, BadBytesRaiseAndLeaveTheEntityAlone) {
  auto item = Kitchen::rootFactory("r")->itemIs(IntfId("e1"));
  Ptr<Sa> sa = item->orvNboAttrLogSaIs(Sa::remoteWriteAllowed, 1, Log::Out::outIs());
  const std::uint16_t ordSet = Kitchen::Item::orvType.attr("ordSet")->id;
  auto expectBad = [&](Log::Out& o) {
    Log::In in(o.bytes());
    EXPECT_THROW(sa->doHandleAttrTransaction(in), Orv::NboAttrLogException);
  };
  Log::Out unknown;
  unknown.writeU16(999);
  expectBad(unknown);
  Log::Out key;  // a key attribute is never written by logs
  key.writeU16(258);
  expectBad(key);
  Log::Out truncated;
  truncated.writeU16(Kitchen::Item::orvType.attr("limit")->id);
  truncated.writeU8(1);
  expectBad(truncated);
  Log::Out presence;
  presence.writeU16(ordSet);
  presence.writeU8(7);
  expectBad(presence);
  Log::Out endWithoutBegin;
  endWithoutBegin.writeU16(ordSet);
  endWithoutBegin.writeU8(Log::syncEnd);
  expectBad(endWithoutBegin);
  Log::Out badRef;
  badRef.writeU16(Kitchen::Item::orvType.attr("holder")->id);
  badRef.writeString("No::SuchType");
  badRef.writeString("/x");
  expectBad(badRef);
  // Stored values of every form keep their own checks.
  Log::Out badEnum;
  badEnum.writeU16(Kitchen::Item::orvType.attr("colour")->id);
  badEnum.writeU32(77);
  expectBad(badEnum);
  Log::Out badBool;
  badBool.writeU16(Kitchen::Item::orvType.attr("flag")->id);
  badBool.writeU8(2);
  expectBad(badBool);
  Log::Out badLen;
  badLen.writeU16(Kitchen::Item::orvType.attr("addr")->id);
  badLen.writeBytes("\x0a\x00\x00\x01\x21", 5);  // a /33
  expectBad(badLen);
  Log::Out longText;
  longText.writeU16(Kitchen::Item::orvType.attr("text")->id);
  longText.writeU32(1000);
  longText.writeBytes("abc", 3);
  expectBad(longText);
  EXPECT_EQ(item->limit(), 10);
  EXPECT_EQ(item->ordSet().size(), 0u);
  EXPECT_EQ(item->colour(), Kitchen::Colour::green);
  EXPECT_TRUE(item->flag());
  EXPECT_EQ(item->addr(), IpAddrWithMask());
  EXPECT_EQ(item->text(), "00cli");
}

TEST(AttrLogSa, EveryNamedContainerHasAnAttributeLogInterface) {
  // Every named type the library registers, units added later included:
  // named types are what a state database mounts. Types that restore
  // themselves from a backup say so by hand.
  const std::vector<std::string> withBackup = {"Ira::VrfToIntfMap"};
  std::size_t named = 0;
  for (const Orv::TypeDesc* t : Orv::typeNodes()) {
    if (t->namedIs == nullptr) continue;
    Ptr<Entity> e = t->namedIs("n");
    ++named;
    EXPECT_TRUE(e->orvHasAttrLogInterface()) << t->name;
    const bool backup = std::count(withBackup.begin(), withBackup.end(), t->name) != 0;
    EXPECT_EQ(e->hasBackupSupport(), backup) << t->name;
  }
  EXPECT_GE(named, 20u);
  auto keyed = Ip::configFactory("a")->ipIntfConfigIs(IntfId("e"));
  EXPECT_FALSE(keyed->orvHasAttrLogInterface());
  EXPECT_TRUE(keyed->orvNboAttrLogSaIs({}, 1, Log::Out::outIs()));
}

}  // namespace
