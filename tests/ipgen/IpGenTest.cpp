// The generic view's values and adapters: what each family's adapter answers,
// the deliberate IPv4/IPv6 differences, multicast memberships, and the base
// objects that answer nothing.
#include "IpGenFixture.h"

#include <ipmodel/Orv/Trace.h>

namespace {

using namespace ipgentest;
using Lumen::IpGenAddr;
using Lumen::IpGenAddrWithMask;

TEST(IpGenValue, IntfAddrInfoOrderTextAndPrettyForm) {
  IpGen::IntfAddrInfo a(IntfId("Ethernet1"), IpGenAddr("239.1.1.1"));
  IpGen::IntfAddrInfo b(IntfId("Ethernet1"), IpGenAddr("ff02::5"));
  IpGen::IntfAddrInfo c(IntfId("Ethernet2"), IpGenAddr("224.0.0.1"));
  EXPECT_TRUE(a < b);  // same interface: IPv4 before IPv6
  EXPECT_TRUE(b < c);  // interface first
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(!IpGen::IntfAddrInfo());
  EXPECT_FALSE(!a);
  EXPECT_EQ(a.pretty(), "( Ethernet1, 239.1.1.1 ) ");
  EXPECT_EQ(Orv::valueToStrep(b),
            "Value('IpGen::IntfAddrInfo', ** {'intfId': Ethernet1, 'addr': ff02::5})");
  EXPECT_EQ(Orv::strepToValue<IpGen::IntfAddrInfo>(Orv::valueToStrep(b)), b);
}

using IpGenAdapter = Trees;

TEST_F(IpGenAdapter, Ipv4AnswersFromTheInterfaceEntries) {
  auto e1 = v4("Ethernet1", "10.0.0.1/24", "red");
  e1->activeSecondaryWithMaskIs(Lumen::IpAddrWithMask("10.0.1.1/24"), true);
  e1->activeSecondaryWithMaskIs(Lumen::IpAddrWithMask("10.0.2.1/24"), false);
  e1->useVirtualAddrIs(true);
  e1->unnumberedIntfIdIs(IntfId("Loopback0"));
  e1->l3Status()->vrfIs(L3::VrfName("red"));
  auto gen = IpGen::ipv4StatusFactory(status4);
  EXPECT_EQ(gen->af(), Lumen::AddressFamily::ipv4);
  EXPECT_TRUE(gen->intf(IntfId("Ethernet1")));
  EXPECT_FALSE(gen->intf(IntfId("Ethernet9")));
  EXPECT_EQ(gen->vrf(IntfId("Ethernet1")), L3::VrfName("red"));
  EXPECT_EQ(gen->vrf(IntfId("Ethernet9")), L3::VrfName(""));
  EXPECT_TRUE(gen->vrfIpIntfStatus(L3::VrfName("red")));
  EXPECT_FALSE(gen->vrfIpIntfStatus(L3::VrfName("blue")));
  EXPECT_TRUE(gen->intfInVrf(L3::VrfName("red"), IntfId("Ethernet1")));
  EXPECT_FALSE(gen->intfInVrf(L3::VrfName("blue"), IntfId("Ethernet1")));
  // The active address, or the value stored for a secondary.
  EXPECT_TRUE(gen->addr(IntfId("Ethernet1"), IpGenAddrWithMask("10.0.0.1/24")));
  EXPECT_TRUE(gen->addr(IntfId("Ethernet1"), IpGenAddrWithMask("10.0.1.1/24")));
  EXPECT_FALSE(gen->addr(IntfId("Ethernet1"), IpGenAddrWithMask("10.0.2.1/24")));
  EXPECT_FALSE(gen->addr(IntfId("Ethernet1"), IpGenAddrWithMask("10.0.0.1/25")));
  EXPECT_FALSE(gen->addr(IntfId("Ethernet1"), IpGenAddrWithMask("fe80::1/64")));
  EXPECT_EQ(gen->activeAddr(IntfId("Ethernet1")), IpGenAddrWithMask("10.0.0.1/24"));
  EXPECT_EQ(gen->activeAddr(IntfId("Ethernet9")), IpGenAddrWithMask());
  EXPECT_TRUE(gen->virtualAddr(IntfId("Ethernet1")));
  EXPECT_EQ(gen->unnumberedIntfId(IntfId("Ethernet1")), IntfId("Loopback0"));
  EXPECT_EQ(gen->unnumberedIntfId(IntfId("Ethernet9")), IntfId());

  auto vrf = IpGen::ipv4IntfStatusFactory(vrf4("red"));
  e1->dpRoutingEnabledIs(true);
  EXPECT_TRUE(vrf->intf(IntfId("Ethernet1")));
  EXPECT_TRUE(vrf->dpRouting(IntfId("Ethernet1")));
  EXPECT_FALSE(vrf->dpRouting(IntfId("Ethernet9")));
  EXPECT_TRUE(vrf->addr(IntfId("Ethernet1"), IpGenAddrWithMask("10.0.1.1/24")));
  EXPECT_EQ(vrf->activeAddr(IntfId("Ethernet1")), IpGenAddrWithMask("10.0.0.1/24"));
  EXPECT_TRUE(vrf->virtualAddr(IntfId("Ethernet1")));
  EXPECT_FALSE(IpGen::ipv4IntfStatusFactory(vrf4("default"))->intf(IntfId("Ethernet1")));
}

TEST_F(IpGenAdapter, Ipv6ActiveIsTheLinkLocalAndThereIsNoVirtualAddress) {
  auto e1 = v6("Ethernet1", {"2001:db8::1/64", "fe80::1/64"}, "red");
  e1->l3Status()->vrfIs(L3::VrfName("red"));
  auto gen = IpGen::ipv6StatusFactory(status6);
  EXPECT_EQ(gen->af(), Lumen::AddressFamily::ipv6);
  EXPECT_EQ(gen->vrf(IntfId("Ethernet1")), L3::VrfName("red"));
  EXPECT_EQ(gen->vrf(IntfId("Ethernet9")), L3::VrfName());
  EXPECT_TRUE(gen->intfInVrf(L3::VrfName("red"), IntfId("Ethernet1")));
  EXPECT_EQ(gen->activeAddr(IntfId("Ethernet1")), IpGenAddrWithMask("fe80::1/64"));
  EXPECT_TRUE(gen->addr(IntfId("Ethernet1"), IpGenAddrWithMask("2001:db8::1/64")));
  EXPECT_FALSE(gen->addr(IntfId("Ethernet1"), IpGenAddrWithMask("2001:db8::2/64")));
  EXPECT_FALSE(gen->addr(IntfId("Ethernet1"), IpGenAddrWithMask("10.0.0.1/24")));
  EXPECT_FALSE(gen->virtualAddr(IntfId("Ethernet1")));
  auto vrf = IpGen::ipv6IntfStatusFactory(vrf6("red"));
  EXPECT_TRUE(vrf->intf(IntfId("Ethernet1")));
  EXPECT_FALSE(vrf->virtualAddr(IntfId("Ethernet1")));
  EXPECT_EQ(vrf->activeAddr(IntfId("Ethernet1")), IpGenAddrWithMask("fe80::1/64"));
}

TEST(IpGenMulticast, SettingFalseRemovesTheMembershipInEitherFamily) {
  auto g4 = Ip::multicastGroupsForApplicationsFactory("m4");
  auto g6 = Ip6::multicastGroupsForApplicationsFactory("m6");
  IpGen::MulticastGroupsForApplications::Ptr m4 =
      IpGen::ipv4MulticastGroupsForApplicationsFactory(g4);
  IpGen::MulticastGroupsForApplications::Ptr m6 =
      IpGen::ipv6MulticastGroupsForApplicationsFactory(g6);
  IpGen::IntfAddrInfo i4(IntfId("Ethernet1"), IpGenAddr("239.1.1.1"));
  IpGen::IntfAddrInfo i6(IntfId("Ethernet1"), IpGenAddr("ff02::5"));
  m4->mcaddrIs(i4, true);
  m6->mcaddrIs(i6, true);
  EXPECT_TRUE(g4->mcaddr(Ip::IntfAddrInfo(IntfId("Ethernet1"), Lumen::IpAddr("239.1.1.1"))));
  EXPECT_TRUE(m4->mcaddr(i4));
  EXPECT_TRUE(m6->mcaddr(i6));
  EXPECT_FALSE(m4->mcaddr(i6));  // another family is never a member
  m4->mcaddrIs(i4, false);
  EXPECT_EQ(g4->mcaddr().size(), 0u);
  m6->mcaddrDel(i6);
  EXPECT_EQ(g6->mcaddr().size(), 0u);
  EXPECT_EQ(m6->af(), Lumen::AddressFamily::ipv6);
}

// Walks every membership, counting by five to show that each step is one.
std::vector<std::string> walk(const IpGen::MulticastGroupsForApplications::Ptr& m) {
  IpGen::McaddrIteratorConst it(m);
  std::vector<std::string> seen;
  for (it.doInitializeCurrentIntfAddrInfo(); !it.done(); it += 5) {
    seen.push_back(it.currIntfAddrInfo().pretty());
  }
  return seen;
}

TEST(IpGenMulticast, IteratorWalksEachFamilyOneElementPerStep) {
  auto g4 = Ip::multicastGroupsForApplicationsFactory("m4");
  auto g6 = Ip6::multicastGroupsForApplicationsFactory("m6");
  auto m4 = IpGen::ipv4MulticastGroupsForApplicationsFactory(g4);
  auto m6 = IpGen::ipv6MulticastGroupsForApplicationsFactory(g6);
  IpGen::McaddrIteratorConst empty(m4);
  empty.doInitializeCurrentIntfAddrInfo();
  EXPECT_TRUE(empty.done());
  EXPECT_EQ(empty.currIntfAddrInfo(), IpGen::IntfAddrInfo());
  EXPECT_EQ(empty.ipv4Minfo(), g4);
  EXPECT_FALSE(empty.ipv6Minfo());

  std::vector<std::string> expect4, expect6;
  for (const char* id : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
    for (const char* a : {"239.1.1.1", "239.1.1.2"}) {
      m4->mcaddrIs(IpGen::IntfAddrInfo(IntfId(id), IpGenAddr(a)), true);
    }
    m6->mcaddrIs(IpGen::IntfAddrInfo(IntfId(id), IpGenAddr("ff02::5")), true);
  }
  // Every member once, in the collection's own order.
  for (auto it = g4->mcaddr().begin(); it != g4->mcaddr().end(); ++it) {
    expect4.push_back(IpGen::IntfAddrInfo(it.key().intfId(), IpGenAddr(it.key().addr())).pretty());
  }
  for (auto it = g6->mcaddr().begin(); it != g6->mcaddr().end(); ++it) {
    expect6.push_back(IpGen::IntfAddrInfo(it.key().intfId(), IpGenAddr(it.key().addr())).pretty());
  }
  EXPECT_EQ(walk(m4), expect4);
  EXPECT_EQ(walk(m6), expect6);
  EXPECT_EQ(expect4.size(), 6u);

  // A finished walk keeps its last element; the text names the objects.
  IpGen::McaddrIteratorConst it(m6);
  it.doInitializeCurrentIntfAddrInfo();
  it += 1;
  it += 1;
  it += 1;
  EXPECT_TRUE(it.done());
  EXPECT_EQ(it.currIntfAddrInfo().pretty(), expect6.back());
  EXPECT_EQ(
      Orv::valueToStrep(IpGen::McaddrIteratorConst()),
      "Value('IpGen::McaddrIteratorConst', ** {'minfo': null, 'done': false, 'currIntfAddrInfo': "
      "Value('IpGen::IntfAddrInfo', ** {'intfId': , 'addr': }), 'ipv4Minfo': null, "
      "'ipv6Minfo': null})");
}

TEST(IpGenMulticast, IteratorTracesEachStep) {
  auto g4 = Ip::multicastGroupsForApplicationsFactory("m4");
  auto m4 = IpGen::ipv4MulticastGroupsForApplicationsFactory(g4);
  m4->mcaddrIs(IpGen::IntfAddrInfo(IntfId("Ethernet1"), IpGenAddr("239.1.1.1")), true);
  std::vector<std::string> lines;
  Orv::traceLevelIs("Ira::IpGen", 8, true);
  Orv::traceSinkIs([&](const Orv::TraceRecord& r) {
    lines.push_back(std::string(r.function) + "|" + std::string(r.message));
  });
  IpGen::McaddrIteratorConst it(m4);
  it.doInitializeCurrentIntfAddrInfo();
  it += 1;
  it += 1;  // once done, a step starts again from the remembered last element
  Orv::traceSinkIs(nullptr);
  Orv::traceLevelIs("Ira::IpGen", 8, false);
  const std::string init = "void IpGen::McaddrIteratorConst::doInitializeCurrentIntfAddrInfo()";
  const std::string step =
      "IpGen::McaddrIteratorConst& IpGen::McaddrIteratorConst::operator+=(U32)";
  EXPECT_EQ(lines, (Lines{init + "| Found V4 mcaddr entry( Ethernet1, 239.1.1.1 ) ",
                          step + "| No V4 mcaddr entries", step + "| No V4 mcaddr entries"}));
}

TEST(IpGenStatus, ResetClearsTheChangedFieldsQuietlyAndKeepsTheCounters) {
  auto s = IpGen::statusFactory();
  s->changedVrfIs(L3::VrfName("red"));
  s->changedIntfIs(IntfId("Ethernet1"));
  s->changedAddrIs(IpGenAddrWithMask("10.0.0.1/24"));
  s->addrChangedInc(3);
  StatusLog log;
  struct Fields : IpGen::Status::NotifieeConst {
    int n = 0;
    void onChangedVrf() override { ++n; }
    void onChangedIntf() override { ++n; }
    void onChangedAddr() override { ++n; }
  } quiet;
  quiet.notifierIs(s);
  s->reset();
  EXPECT_EQ(quiet.n, 0);
  EXPECT_EQ(s->changedVrf(), L3::VrfName());
  EXPECT_EQ(s->changedIntf(), IntfId());
  EXPECT_EQ(s->changedAddr(), IpGenAddrWithMask());
  EXPECT_EQ(s->addrChanged(), 3u);
  EXPECT_THROW(s->changedVrfIs(L3::VrfName(std::string(101, 'v'))), Orv::RangeException);
  quiet.notifierIs(nullptr);
}

TEST(IpGenDeathTest, BaseObjectsAnswerNoQuery) {
  auto s = IpGen::statusFactory();
  EXPECT_DEATH(s->intfInVrf(L3::VrfName("red"), IntfId("Ethernet1")),
               "virtual bool IpGen::Status::intfInVrf\\(L3::VrfName, Lumen::IntfId\\) const: "
               "Assertion `0 && \"Must override in derived class\"' failed");
  EXPECT_DEATH(
      IpGen::intfStatusFactory()->activeAddr(IntfId("e")),
      "virtual const Lumen::IpGenAddrWithMask IpGen::IntfStatus::activeAddr\\(Lumen::IntfId\\) "
      "const");
  EXPECT_DEATH(
      IpGen::multicastGroupsForApplicationsFactory()->mcaddrIs(IpGen::IntfAddrInfo(), true),
      "virtual void IpGen::MulticastGroupsForApplications::mcaddrIs\\(const "
      "IpGen::IntfAddrInfo&, bool\\)");
}

}  // namespace
