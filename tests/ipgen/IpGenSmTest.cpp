// The two generic machines, driven by event sequences. Each notification
// records the counter that moved and the changed fields at that moment, which
// is where the machines' opposite orders show: the interface machine leaves
// the fields naming the last change, the status machine resets them after
// its notifications.
#include "IpGenFixture.h"

#include <functional>

#include <ipmodel/IpGen/IpGenIntfSm.h>
#include <ipmodel/IpGen/IpGenStatusSm.h>
#include <ipmodel/Orv/Trace.h>

namespace {

using namespace ipgentest;
using Lumen::Ip6AddrWithMask;
using Lumen::IpAddrWithMask;

using IpGenIntfSm = Trees;

TEST_F(IpGenIntfSm, Ipv4EventsResetSetThenBump) {
  auto e1 = v4("Ethernet1", "10.0.0.1/24");
  auto gen = IpGen::ipv4IntfStatusFactory(vrf4());
  IntfLog log;
  log.notifierIs(gen);
  auto sm = IpGen::intfSmFactory(gen);
  // Construction watches what exists and announces nothing.
  EXPECT_TRUE(sm->initialized());
  EXPECT_TRUE(sm->ipv4IntfStatus(IntfId("Ethernet1")));
  EXPECT_EQ(sm->ipv4Status(), vrf4());
  EXPECT_TRUE(log.take().empty());

  e1->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/24"));
  EXPECT_EQ(log.take(), (Lines{"addr Ethernet1 10.0.0.2/24", "activeAddr Ethernet1 10.0.0.2/24"}));
  EXPECT_EQ(gen->changedIntf(), IntfId("Ethernet1"));  // the last change stays named
  EXPECT_EQ(gen->changedAddr(), Lumen::IpGenAddrWithMask("10.0.0.2/24"));

  // A virtual-address switch announces the active address.
  e1->useVirtualAddrIs(true);
  e1->activeSecondaryWithMaskIs(IpAddrWithMask("10.0.9.1/24"), true);
  e1->unnumberedIntfIdIs(IntfId("Loopback0"));
  e1->dpRoutingEnabledIs(true);
  EXPECT_EQ(log.take(), (Lines{"addr Ethernet1 10.0.0.2/24", "virtualAddr Ethernet1 10.0.0.2/24",
                               "addr Ethernet1 10.0.9.1/24", "activeAddr Ethernet1 10.0.0.2/24",
                               "dpRouting Ethernet1 "}));
  EXPECT_EQ(gen->addrChanged(), 3u);
  EXPECT_EQ(gen->activeAddrChanged(), 2u);

  // A new entry is announced, not its addresses; a removed one is announced
  // before its reactor goes.
  auto e2 = input4->ipIntfStatusIs(IntfId("Ethernet2"), l3->intfStatusIs(IntfId("Ethernet2")));
  e2->activeAddrWithMaskIs(IpAddrWithMask("10.2.0.1/24"));
  vrf4()->ipIntfStatusIs(e2);
  EXPECT_EQ(log.take(), Lines{"intfStatus Ethernet2 "});
  vrf4()->ipIntfStatusDel(IntfId("Ethernet1"));
  EXPECT_EQ(log.take(), Lines{"intfStatus Ethernet1 "});
  EXPECT_FALSE(sm->ipv4IntfStatus(IntfId("Ethernet1")));
  e1->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.3/24"));
  EXPECT_TRUE(log.take().empty());

  // Destroying the machine detaches it without announcing anything.
  sm = nullptr;
  EXPECT_TRUE(log.take().empty());
  EXPECT_FALSE(e2->hasNotifiees());
  EXPECT_FALSE(vrf4()->hasNotifiees());
  log.notifierIs(nullptr);
}

TEST_F(IpGenIntfSm, Ipv6OnlyALinkLocalChangeMovesTheActiveAddress) {
  auto e1 = v6("Ethernet1");
  auto gen = IpGen::ipv6IntfStatusFactory(vrf6());
  auto sm = IpGen::intfSmFactory(gen);
  IntfLog log;
  log.notifierIs(gen);
  e1->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("2001:db8::1/64")));
  e1->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("fe80::1/64")));
  e1->addrDel(Ip6AddrWithMask("fe80::1/64"));
  e1->dpRoutingEnabledIs(true);
  EXPECT_EQ(log.take(), (Lines{"addr Ethernet1 2001:db8::1/64", "addr Ethernet1 fe80::1/64",
                               "activeAddr Ethernet1 fe80::1/64", "addr Ethernet1 fe80::1/64",
                               "activeAddr Ethernet1 fe80::1/64", "dpRouting Ethernet1 "}));
  // Replaying every address of an interface announces each one.
  e1->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("2001:db8::2/64")));
  log.take();
  sm->ipv6IntfStatus(IntfId("Ethernet1"))->handleAddr();
  EXPECT_EQ(log.take().size(), 2u);
  log.notifierIs(nullptr);
}

TEST_F(IpGenIntfSm, NullReactorTargetsAreRefusedWithTheirMessage) {
  auto sm = IpGen::intfSmFactory(IpGen::ipv4IntfStatusFactory(vrf4()));
  try {
    sm->ipv6IntfStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "null _ipv6IntfStatus parameter to mutator for IpGen::IntfSm::ipv6IntfStatus not "
                 "allowed\"");
  }
}

TEST_F(IpGenIntfSm, TraceLinesNameTheHandlerAndItsArguments) {
  auto e1 = v6("Ethernet1");
  std::vector<std::string> lines;
  Orv::traceLevelIs("Ira::IpGenIntfSm", 8, true);
  Orv::traceSinkIs([&](const Orv::TraceRecord& r) {
    EXPECT_EQ(r.handle, "Ira::IpGenIntfSm");
    EXPECT_EQ(r.level, 8);
    lines.emplace_back(r.message);
  });
  auto sm = IpGen::intfSmFactory(IpGen::ipv6IntfStatusFactory(vrf6()));
  e1->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("fe80::1/64")));
  vrf6()->ip6IntfStatusDel(IntfId("Ethernet1"));
  Orv::traceSinkIs(nullptr);
  Orv::traceLevelIs("Ira::IpGenIntfSm", 8, false);
  EXPECT_EQ(lines, (Lines{"handleInitialized", "handleInitialized(IPv6)",
                          "handleAddr(Ethernet1,fe80::1/64)", "handleIntfStatus(Ethernet1)"}));
}

TEST_F(IpGenIntfSm, DeathWithoutAFamilyAdapter) {
  EXPECT_DEATH(IpGen::intfSmFactory(IpGen::intfStatusFactory()),
               "void IpGen::IntfSm::handleInitialized\\(\\): Assertion `0 && \"A derived type of "
               "IntfStatus must be supplied as a constructor arg\"' failed");
  EXPECT_DEATH(IpGen::statusSmFactory(IpGen::statusFactory()), "Unsupported Address Family");
}

using IpGenStatusSm = Trees;

TEST_F(IpGenStatusSm, FieldsAreSetDuringTheNotificationAndResetAfter) {
  auto e1 = v4("Ethernet1", "10.0.0.1/24");
  auto gen = IpGen::ipv4StatusFactory(status4);
  StatusLog log;
  log.notifierIs(gen);
  auto sm = IpGen::statusSmFactory(gen);
  // What exists is watched, not announced.
  EXPECT_TRUE(log.take().empty());
  EXPECT_TRUE(sm->vrfIpv4Status(L3::VrfName("default")));
  EXPECT_TRUE(sm->ipv4IntfStatus(IntfId("Ethernet1")));

  e1->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/24"));
  EXPECT_EQ(log.take(),
            (Lines{"addr  Ethernet1 10.0.0.2/24", "activeAddr  Ethernet1 10.0.0.2/24"}));
  EXPECT_EQ(gen->changedIntf(), IntfId());  // reset after the notifications
  EXPECT_EQ(gen->changedAddr(), Lumen::IpGenAddrWithMask());

  e1->useVirtualAddrIs(true);
  e1->activeSecondaryWithMaskIs(IpAddrWithMask("10.0.9.1/24"), true);
  e1->dpRoutingEnabledIs(true);         // not this machine's business
  e1->unnumberedIntfIdIs(IntfId("x"));  // nor this
  EXPECT_EQ(log.take(), (Lines{"addr  Ethernet1 10.0.0.2/24", "virtualAddr  Ethernet1 10.0.0.2/24",
                               "addr  Ethernet1 10.0.9.1/24"}));

  // A new VRF, an interface joining it, then the VRF going away.
  auto e2 = input4->ipIntfStatusIs(IntfId("Ethernet2"), l3->intfStatusIs(IntfId("Ethernet2")));
  status4->ipIntfStatusIs(e2);  // the family collection: watched silently
  auto red = vrf4("red");
  red->ipIntfStatusIs(e2);
  e2->activeAddrWithMaskIs(IpAddrWithMask("10.2.0.1/24"));
  status4->vrfIpIntfStatusDel(L3::VrfName("red"));
  EXPECT_EQ(log.take(),
            (Lines{"vrfCollection red  ", "intfInVrf red Ethernet2 ", "addr  Ethernet2 10.2.0.1/24",
                   "activeAddr  Ethernet2 10.2.0.1/24", "vrfCollection red  "}));
  EXPECT_EQ(gen->changedVrf(), L3::VrfName());
  red->ipIntfStatusDel(IntfId("Ethernet2"));  // the VRF's reactor has gone
  status4->ipIntfStatusDel(IntfId("Ethernet2"));
  e2->activeAddrWithMaskIs(IpAddrWithMask("10.2.0.2/24"));
  EXPECT_TRUE(log.take().empty());
  EXPECT_EQ(gen->vrfCollectionChanged(), 2u);
  EXPECT_EQ(gen->intfInVrfChanged(), 1u);

  sm = nullptr;  // announces nothing
  EXPECT_TRUE(log.take().empty());
  EXPECT_FALSE(e1->hasNotifiees());
  EXPECT_FALSE(status4->hasNotifiees());
  log.notifierIs(nullptr);
}

TEST_F(IpGenStatusSm, Ipv6VrfsInterfacesAndLinkLocalAddresses) {
  auto e1 = v6("Ethernet1", {"fe80::1/64"});
  auto gen = IpGen::ipv6StatusFactory(status6);
  auto sm = IpGen::statusSmFactory(gen);
  StatusLog log;
  log.notifierIs(gen);
  e1->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("2001:db8::1/64")));
  e1->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("fe80::2/64")));
  vrf6("blue")->ip6IntfStatusIs(e1);
  EXPECT_EQ(log.take(), (Lines{"addr  Ethernet1 2001:db8::1/64", "addr  Ethernet1 fe80::2/64",
                               "activeAddr  Ethernet1 fe80::2/64", "vrfCollection blue  ",
                               "intfInVrf blue Ethernet1 "}));
  status6->intfDel(IntfId("Ethernet1"));  // dropped silently
  e1->addrDel(Ip6AddrWithMask("fe80::2/64"));
  EXPECT_TRUE(log.take().empty());
  try {
    sm->vrfIpv6StatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "null _vrfIpv6Status parameter to mutator for IpGen::StatusSm::vrfIpv6Status not "
                 "allowed\"");
  }
  log.notifierIs(nullptr);
}

TEST_F(IpGenStatusSm, TraceLines) {
  auto e1 = v4("Ethernet1");
  std::vector<std::string> lines;
  Orv::traceLevelIs("Ira::IpGenStatusSm", 8, true);
  Orv::traceSinkIs([&](const Orv::TraceRecord& r) { lines.emplace_back(r.message); });
  auto sm = IpGen::statusSmFactory(IpGen::ipv4StatusFactory(status4));
  e1->activeSecondaryWithMaskIs(IpAddrWithMask("10.0.9.1/24"), true);
  vrf4("red")->ipIntfStatusIs(e1);
  Orv::traceSinkIs(nullptr);
  Orv::traceLevelIs("Ira::IpGenStatusSm", 8, false);
  EXPECT_EQ(lines, (Lines{"handleInitialized", "handleInitialized(IPv4)",
                          "handleSecondaryAddr(Ethernet1, 10.0.9.1/24)", "handleVrf(red)",
                          "handleIntf(red, Ethernet1)"}));
}

// Inside its notifications the status machine lets the adapter answer about
// the announced interface without a lookup. Whatever a consumer does there
// (replace, remove or add entries, cause a nested announcement), every
// query must answer what a lookup in the wrapped status answers.
struct Oracle : IpGen::Status::NotifieeConst {
  const Ip::Status* status4 = nullptr;
  const Ip6::Status* status6 = nullptr;
  std::vector<IntfId> ids;
  std::function<void()> action;  // run once, at the next activeAddrChanged
  int checked = 0;

  void onActiveAddrChanged() override {
    if (auto a = std::exchange(action, nullptr)) a();
    for (const auto& id : ids) check(id);
  }
  void check(const IntfId& id) {
    ++checked;
    const IpGen::Status& g = *notifier();
    if (status4) {
      auto e = status4->ipIntfStatus(id);
      EXPECT_EQ(g.intf(id), bool(e)) << id;
      EXPECT_EQ(g.activeAddr(id),
                e ? Lumen::IpGenAddrWithMask(e->activeAddrWithMask()) : Lumen::IpGenAddrWithMask())
          << id;
      EXPECT_EQ(g.virtualAddr(id), e && e->useVirtualAddr()) << id;
      EXPECT_EQ(g.unnumberedIntfId(id), e ? e->unnumberedIntfId() : IntfId()) << id;
      EXPECT_EQ(g.vrf(id), e ? e->l3Status()->vrf() : L3::VrfName()) << id;
    } else {
      auto e = status6->intf(id);
      EXPECT_EQ(g.intf(id), bool(e)) << id;
      EXPECT_EQ(g.activeAddr(id), e ? Lumen::IpGenAddrWithMask(e->linkLocalAddrWithMask())
                                    : Lumen::IpGenAddrWithMask())
          << id;
    }
  }
};

TEST_F(IpGenStatusSm, QueriesInsideAnnouncementsAnswerAsALookupWould) {
  auto e1 = v4("Ethernet1", "10.0.0.1/24");
  auto e2 = v4("Ethernet2", "10.0.2.1/24");
  auto gen = IpGen::ipv4StatusFactory(status4);
  auto sm = IpGen::statusSmFactory(gen);
  Oracle o;
  o.status4 = status4.ptr();
  o.ids = {IntfId("Ethernet1"), IntfId("Ethernet2"), IntfId("Ethernet3"), IntfId()};
  o.notifierIs(gen);

  // Plain changes, each interface in turn and again after the collection grew.
  e1->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/24"));
  e2->activeAddrWithMaskIs(IpAddrWithMask("10.0.2.2/24"));
  auto e3 = v4("Ethernet3", "10.0.3.1/24");
  e1->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.3/24"));

  // Another entity takes Ethernet1's place under the same key (an
  // assignment, which leaves the collection's version where it was).
  auto otherInput = Ip::Input::statusFactory("other");
  auto e1b = otherInput->ipIntfStatusIs(IntfId("Ethernet1"), l3->intfStatusIs(IntfId("Ethernet1")));
  e1b->activeAddrWithMaskIs(IpAddrWithMask("10.1.1.1/24"));
  e1b->useVirtualAddrIs(true);
  o.action = [&] { status4->ipIntfStatusIs(e1b); };
  e1->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.4/24"));
  EXPECT_TRUE(gen->virtualAddr(IntfId("Ethernet1")));

  // The announced interface leaves, or another one arrives, meanwhile.
  o.action = [&] { status4->ipIntfStatusDel(IntfId("Ethernet1")); };
  e1b->activeAddrWithMaskIs(IpAddrWithMask("10.1.1.2/24"));
  EXPECT_FALSE(gen->intf(IntfId("Ethernet1")));
  o.action = [&] { v4("Ethernet4"); };
  e2->activeAddrWithMaskIs(IpAddrWithMask("10.0.2.3/24"));

  // A nested announcement about another interface, then the outer one's
  // queries again.
  o.action = [&] { e3->activeAddrWithMaskIs(IpAddrWithMask("10.0.3.2/24")); };
  e2->activeAddrWithMaskIs(IpAddrWithMask("10.0.2.4/24"));
  EXPECT_EQ(o.checked, 8 * 4);

  // IPv6: the announced interface's link-local address, and an interface
  // that leaves meanwhile.
  auto f1 = v6("Ethernet1", {"fe80::1/64"});
  v6("Ethernet2", {"fe80::2/64"});
  auto gen6 = IpGen::ipv6StatusFactory(status6);
  auto sm6 = IpGen::statusSmFactory(gen6);
  Oracle o6;
  o6.status6 = status6.ptr();
  o6.ids = o.ids;
  o6.notifierIs(gen6);
  f1->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("fe80::9/64")));
  o6.action = [&] { status6->intfDel(IntfId("Ethernet1")); };
  f1->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("fe80::a/64")));
  EXPECT_EQ(o6.checked, 2 * 4);
  o.notifierIs(nullptr);
  o6.notifierIs(nullptr);
}

// A consumer may let go of the machine and its adapter inside a
// notification; the announcement then ends without touching freed memory
// (the sanitizer build checks that) and nothing is left behind.
TEST_F(IpGenStatusSm, AConsumerMayDropTheMachineAndAdapterInsideANotification) {
  auto e1 = v4("Ethernet1", "10.0.0.1/24");
  struct Dropper : IpGen::Status::NotifieeConst {
    IpGen::StatusSm::Ptr sm;
    int heard = 0;
    void onActiveAddrChanged() override {
      ++heard;
      sm = nullptr;
      notifierIs(nullptr);  // the last reference to the adapter
    }
  } d;
  {
    auto gen = IpGen::ipv4StatusFactory(status4);
    d.sm = IpGen::statusSmFactory(gen);
    d.notifierIs(gen);
  }
  e1->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/24"));
  EXPECT_EQ(d.heard, 1);
  EXPECT_FALSE(e1->hasNotifiees());
  EXPECT_FALSE(status4->hasNotifiees());
}

}  // namespace
