// Two ends of a state-database connection in one process, joined by the
// staged bytes: members that go away are let go of on both sides.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/Statedb/internal/Session.h>
#include <ipmodel/ipmodel.h>

namespace {

using Sa = Orv::Entity::OrvNboAttrLogSa;
using Statedb::internal::Session;

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
    sas.push_back(ip4->ipIntfStatusIs(name, l3->intfStatusIs(name))->orvNboAttrLogSaIs(0, id, out));
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
    auto deliver = [&] {
      Orv::NboAttrLog::In in(w.stage()->bytes());
      r.applyEntries(in, [](const std::string&) {});
      w.stage()->drain();
    };
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
    auto deliver = [&] {
      Orv::NboAttrLog::In in(w.stage()->bytes());
      r.applyEntries(in, [](const std::string&) {});
      w.stage()->drain();
    };
    deliver();
    ASSERT_TRUE(rip4->ipIntfStatus(eth));
    EXPECT_FALSE(rip4->ipIntfStatus(eth)->l3Status());
    root->serializeAll();
    EXPECT_NO_THROW(deliver());
    EXPECT_EQ(rip4->ipIntfStatus(eth)->maxMssEgress(), 1400);
  }
  wIndex.clear();
  rIndex.clear();
}

}  // namespace
