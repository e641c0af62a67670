// Two ends of a state-database connection in one process, joined by the
// staged bytes: members that go away are let go of on both sides.
#include <gtest/gtest.h>

#include <string>

#include <ipmodel/Statedb/internal/Session.h>
#include <ipmodel/ipmodel.h>

namespace {

using Sa = Orv::Entity::OrvNboAttrLogSa;
using Statedb::internal::Session;

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
