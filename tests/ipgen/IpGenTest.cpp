// The generic view's values and adapters: what each family's adapter answers,
// the deliberate IPv4/IPv6 differences, multicast memberships, and the base
// objects that answer nothing.
#include "IpGenFixture.h"

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
