// Two ends of a state-database connection in one process, joined by the
// staged bytes: members that go away are let go of on both sides.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/Statedb/internal/Session.h>
#include <ipmodel/ipmodel.h>
#include <ipmodel/test/Kitchen.h>

namespace {

using Sa = Orv::Entity::OrvNboAttrLogSa;
using Statedb::internal::Session;

// Applies at r everything w staged so far.
void deliverAll(Session& w, Session& r) {
  Orv::NboAttrLog::In in(w.stage()->bytes());
  r.applyEntries(in, [](const std::string&) {});
  w.stage()->drain();
}

// Adapters by identity: every range, identities far beyond what is
// attached, and slots let go of.
TEST(StatedbSession, IdentitiesFindTheirAdaptersInEveryRange) {
  using Statedb::internal::clientFirstIdentity;
  using Statedb::internal::serverFirstIdentity;
  auto ip4 = Ip::Input::statusFactory("ip4");
  auto l3 = L3::Intf::Input::statusDirFactory("l3");
  auto out = Orv::NboAttrLog::Out::outIs();
  std::vector<Orv::Ptr<Sa>> sas;
  auto sa = [&](std::uint32_t id) {
    const Lumen::IntfId name("Ethernet" + std::to_string(sas.size()));
    sas.push_back(
        ip4->ipIntfStatusIs(name, l3->intfStatusIs(name))->orvNboAttrLogSaIs({}, id, out));
    return sas.back();
  };
  Statedb::internal::IdentityTable t;
  const std::uint32_t ids[] = {1, 3, clientFirstIdentity, clientFirstIdentity + 5,
                               serverFirstIdentity, serverFirstIdentity + 7,
                               // Far past what is attached: kept, but not in a dense slot.
                               serverFirstIdentity + 100000000u, clientFirstIdentity - 1,
                               0xffffffffu};
  for (std::uint32_t id : ids) t.set(id, sa(id));
  // Filling the server range past 2000 leaves an empty dense slot where a
  // far identity was set before the vector reached it.
  t.set(serverFirstIdentity + 2000, sa(serverFirstIdentity + 2000));
  for (std::uint32_t i = 0; i < 1990; ++i)
    t.set(serverFirstIdentity + 10 + i, sa(serverFirstIdentity + 10 + i));
  for (const auto& a : sas) EXPECT_EQ(t.find(a->identity()), a.ptr()) << a->identity();
  EXPECT_EQ(t.find(2), nullptr);
  EXPECT_EQ(t.find(serverFirstIdentity + 5000), nullptr);

  t.erase(clientFirstIdentity + 5);
  t.erase(serverFirstIdentity + 100000000u);
  EXPECT_EQ(t.find(clientFirstIdentity + 5), nullptr);
  EXPECT_EQ(t.find(serverFirstIdentity + 100000000u), nullptr);
  t.set(clientFirstIdentity + 5, sas[0]);  // a slot can be bound again
  EXPECT_EQ(t.find(clientFirstIdentity + 5), sas[0].ptr());
  std::size_t n = 0;
  t.forEach([&](Sa&) { ++n; });
  EXPECT_EQ(n, sas.size() - 1);
  t.clear();
  EXPECT_EQ(t.find(1), nullptr);
}

TEST(StatedbSession, RemovedMembersAreReleasedOnBothSides) {
  const auto before = Orv::allocTrack<Ip::IpIntfStatus>().liveObjects();
  Statedb::internal::Index wIndex, rIndex;
  {
    Session w(-1, wIndex, Statedb::internal::clientFirstIdentity, std::size_t(1) << 30);
    Session r(-1, rIndex, Statedb::internal::serverFirstIdentity, std::size_t(1) << 30);
    w.frameAtIs(~std::size_t(0));
    auto l3 = L3::Intf::Input::statusDirFactory("l3");
    auto ip4 = Ip::Input::statusFactory("ip4");
    auto rl3 = L3::Intf::Input::statusDirFactory("l3");
    auto rip4 = Ip::Input::statusFactory("ip4");
    r.attach(*rl3, 1, Sa::remoteWriteAllowed | Sa::readOnly);
    r.attach(*rip4, 2, Sa::remoteWriteAllowed | Sa::readOnly);
    w.attach(*l3, 1, Sa::remoteWriteAllowed);
    w.attach(*ip4, 2, Sa::remoteWriteAllowed);
    auto deliver = [&] { deliverAll(w, r); };
    for (int i = 0; i < 50; ++i) {
      const Lumen::IntfId id("Ethernet" + std::to_string(i));
      ip4->ipIntfStatusIs(id, l3->intfStatusIs(id))->maxMssEgressIs(1400);
    }
    deliver();
    ASSERT_EQ(rip4->ipIntfStatus().size(), 50u);
    EXPECT_EQ(rip4->ipIntfStatus(Lumen::IntfId("Ethernet7"))->l3Status(),
              rl3->intfStatus(Lumen::IntfId("Ethernet7")));
    EXPECT_EQ(Orv::allocTrack<Ip::IpIntfStatus>().liveObjects(), before + 100);

    ip4->ipIntfStatusDelAll();
    deliver();
    EXPECT_EQ(rip4->ipIntfStatus().size(), 0u);
    // Neither side's adapters nor indexes keep a removed status alive.
    EXPECT_EQ(Orv::allocTrack<Ip::IpIntfStatus>().liveObjects(), before);

    // The same interface again gets a fresh member on the replica.
    ip4->ipIntfStatusIs(Lumen::IntfId("Ethernet7"), l3->intfStatus(Lumen::IntfId("Ethernet7")))
        ->maxMssEgressIs(9000);
    deliver();
    EXPECT_EQ(rip4->ipIntfStatus(Lumen::IntfId("Ethernet7"))->maxMssEgress(), 9000);
  }
  wIndex.clear();
  rIndex.clear();
}

TEST(StatedbSession, AResynchronisationKeepsMembersWhoseReferencesDidNotResolve) {
  Statedb::internal::Index wIndex, rIndex;
  {
    Session w(-1, wIndex, Statedb::internal::clientFirstIdentity, std::size_t(1) << 30);
    Session r(-1, rIndex, Statedb::internal::serverFirstIdentity, std::size_t(1) << 30);
    auto l3 = L3::Intf::Input::statusDirFactory("l3");
    auto ip4 = Ip::Input::statusFactory("ip4");
    auto rip4 = Ip::Input::statusFactory("ip4");  // the replica has no l3 tree
    r.attach(*rip4, 2, Sa::remoteWriteAllowed | Sa::readOnly);
    auto root = w.attach(*ip4, 2, Sa::remoteWriteAllowed);
    const Lumen::IntfId eth("Ethernet1");
    ip4->ipIntfStatusIs(eth, l3->intfStatusIs(eth))->maxMssEgressIs(1400);
    auto deliver = [&] { deliverAll(w, r); };
    deliver();
    ASSERT_TRUE(rip4->ipIntfStatus(eth));
    EXPECT_FALSE(rip4->ipIntfStatus(eth)->l3Status());
    root->serializeAll();
    EXPECT_NO_THROW(deliver());
    EXPECT_EQ(rip4->ipIntfStatus(eth)->maxMssEgress(), 1400);
    // Meanwhile what follows the reference reads as unset.
    EXPECT_EQ(rip4->ipIntfStatus(eth)->vrf(), L3::VrfName());
    EXPECT_EQ(r.unresolvedRefs(), 1u);

    // The layer-3 tree comes later: the waiting reference resolves.
    auto rl3 = L3::Intf::Input::statusDirFactory("l3");
    r.attach(*rl3, 1, Sa::remoteWriteAllowed | Sa::readOnly);
    w.attach(*l3, 1, Sa::remoteWriteAllowed)->serializeAll();
    deliver();
    ASSERT_TRUE(rl3->intfStatus(eth));
    EXPECT_EQ(rip4->ipIntfStatus(eth)->l3Status(), rl3->intfStatus(eth));
    EXPECT_EQ(rip4->ipIntfStatus(eth)->vrf(), L3::VrfName("default"));
    EXPECT_EQ(r.unresolvedRefs(), 0u);
  }
  wIndex.clear();
  rIndex.clear();
}

// Stored pointers and pointer collections wait for their targets as
// constructor parameters do; a later entry for the same place wins.
TEST(StatedbSession, ReferencesWaitForTheirTargetsUnlessALaterEntryReplacesThem) {
  Statedb::internal::Index wIndex, rIndex;
  {
    Session w(-1, wIndex, Statedb::internal::clientFirstIdentity, std::size_t(1) << 30);
    Session r(-1, rIndex, Statedb::internal::serverFirstIdentity, std::size_t(1) << 30);
    auto items = Kitchen::rootFactory("items");
    auto holders = Kitchen::rootFactory("holders");
    auto ritems = Kitchen::rootFactory("items");
    r.attach(*ritems, 1, Sa::remoteWriteAllowed | Sa::readOnly);
    w.attach(*items, 1, Sa::remoteWriteAllowed);
    auto deliver = [&] { deliverAll(w, r); };
    const Lumen::IntfId a("a"), b("b"), c("c");
    auto ha = holders->holderIs(a), hb = holders->holderIs(b), hc = holders->holderIs(c);
    auto one = items->itemIs(Lumen::IntfId("one"));
    auto two = items->itemIs(Lumen::IntfId("two"));
    items->itemIs(Lumen::IntfId("three"))->holderIs(hc);
    one->holderIs(ha);
    one->ordRefsIs(hb);
    one->ordRefsIs(hc);
    two->holderIs(hb);
    deliver();
    auto rone = ritems->item(Lumen::IntfId("one"));
    auto rtwo = ritems->item(Lumen::IntfId("two"));
    ASSERT_TRUE(rone && rtwo);
    EXPECT_FALSE(rone->holder());
    EXPECT_EQ(rone->ordRefs().size(), 0u);
    EXPECT_EQ(r.unresolvedRefs(), 5u);

    // Before the holders arrive, the source drops one reference, clears
    // another and removes an item that held a third: none may come back.
    one->ordRefsDel(c);
    two->holderIs(Orv::Ptr<Kitchen::Holder>());
    items->itemDel(Lumen::IntfId("three"));
    deliver();
    EXPECT_EQ(r.unresolvedRefs(), 2u);

    auto rholders = Kitchen::rootFactory("holders");
    r.attach(*rholders, 2, Sa::remoteWriteAllowed | Sa::readOnly);
    w.attach(*holders, 2, Sa::remoteWriteAllowed)->serializeAll();
    deliver();
    EXPECT_EQ(rone->holder(), rholders->holder(a));
    ASSERT_EQ(rone->ordRefs().size(), 1u);
    EXPECT_EQ(rone->ordRefs(b), rholders->holder(b));
    EXPECT_FALSE(rtwo->holder());
    EXPECT_EQ(r.unresolvedRefs(), 0u);
  }
  wIndex.clear();
  rIndex.clear();
}

}  // namespace
