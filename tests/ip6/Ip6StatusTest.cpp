// IPv6 interface status, its views and inputs: defaults and the deliberate
// differences from the configuration, the link-local address and the
// source-address fold over the hashed addresses, pointer and instantiating
// collections, reinstantiation, enablement, multicast groups and lifetimes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/Ip6/Ip6.h>

#include "AllocCounter.h"

namespace {

using Ip6::AddressInfo;
using Lumen::IntfId;
using Lumen::Ip6Addr;
using Lumen::Ip6AddrWithMask;

AddressInfo info(const char* text) { return AddressInfo(Ip6AddrWithMask(text)); }

struct Ip6StatusFixture : ::testing::Test {
  L3::Intf::Input::StatusDir::Ptr l3in = L3::Intf::Input::statusDirFactory("l3in");
  Ip6::Input::Status::Ptr input = Ip6::Input::statusFactory("input");
  Ip6::Status::Ptr status = Ip6::statusFactory("status");

  Ip6::IntfStatus::Ptr intf(const char* name) {
    return input->intfIs(IntfId(name), l3in->intfStatusIs(IntfId(name)));
  }
};

TEST_F(Ip6StatusFixture, DefaultsDifferFromTheConfigurationOnPurpose) {
  auto s = intf("Ethernet1");
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  EXPECT_EQ(s->nsRetransmitInterval(), 0u);  // configuration: 1000
  EXPECT_EQ(c->nsRetransmitInterval(), 1000u);
  EXPECT_EQ(s->acceptDad(), 0);  // a plain integer here, an enumeration there
  s->acceptDadIs(-1);
  EXPECT_EQ(s->acceptDad(), -1);
  EXPECT_FALSE(s->enhancedDad());
  EXPECT_EQ(s->configSource(), "");  // configuration: "00cli"
  EXPECT_EQ(s->noArp(), Ip6::TristateBool::isInvalid);
  EXPECT_TRUE(s->attachedRoutes());
  EXPECT_TRUE(s->attachedRoutesDefault());
  EXPECT_EQ(s->unnumberedIntfId(), IntfId());
  EXPECT_EQ(s->urpf(), Urpf::UrpfStatus());
  EXPECT_EQ(s->vrf(), L3::VrfName("default"));
  s->vrfIs(L3::VrfName("blue"));
  EXPECT_EQ(s->l3Status()->vrf(), L3::VrfName("blue"));

  // No MSS bound on the status side.
  struct Log : Ip6::IntfStatus::NotifieeConst {
    int n = 0;
    void onMaxMssEgress() override { ++n; }
  } r;
  r.notifierIs(s);
  s->maxMssEgressIs(65535);
  s->maxMssIngressIs(65535);
  EXPECT_EQ(s->maxMssEgress(), 65535);
  EXPECT_EQ(r.n, 1);
  const auto* t = Orv::typeNode("Ip6::IntfStatus");
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->attr("acceptDad")->id, 263);
  EXPECT_EQ(t->attr("activeAddrWithMask")->id, 266);
  EXPECT_EQ(t->attr("l3Status")->category, Orv::AttrCategory::key);
  EXPECT_EQ(t->attr("unnumberedIntfId")->id, 278);
}

TEST_F(Ip6StatusFixture, LinkLocalAddressIsTheFirstLinkLocalMember) {
  auto s = intf("Ethernet1");
  s->addrIs(info("2001:db8::1/64"));
  s->addrIs(info("fd00::1/64"));
  EXPECT_EQ(s->linkLocalAddrWithMask(), Ip6AddrWithMask("::/0"));
  s->addrIs(info("fe80::1/64"));
  EXPECT_EQ(s->linkLocalAddrWithMask(), Ip6AddrWithMask("fe80::1/64"));
  s->addrIs(info("fe80::2/10"));
  Ip6AddrWithMask first;
  for (auto it = s->addr().begin(); it != s->addr().end(); ++it) {
    if (it.key().address().isLinkLocal()) {
      first = it.key();
      break;
    }
  }
  EXPECT_EQ(s->linkLocalAddrWithMask(), first);
}

TEST_F(Ip6StatusFixture, SourceAddressFoldsInTheHashedIterationOrder) {
  auto s = intf("Ethernet1");
  EXPECT_EQ(s->sourceAddressForDestination(Ip6Addr("2001:db8::5")), Ip6Addr("::"));
  s->addrIs(info("fe80::1/64"));
  s->addrIs(info("2001:db8:0:1::7/64"));
  EXPECT_EQ(s->sourceAddressForDestination(Ip6Addr("2001:db8::5")), Ip6Addr("2001:db8:0:1::7"));
  EXPECT_EQ(s->sourceAddressForDestination(Ip6Addr("fe80::5")), Ip6Addr("fe80::1"));
  s->addrDel(Ip6AddrWithMask("2001:db8:0:1::7/64"));
  // Candidates that tie for 2001:db9:8000:: (same scope and label, 32 common
  // bits each): the first in the collection's iteration order wins, whatever
  // the address order.
  const char* tied[] = {"2001:db9::1/64", "2001:db9::2/64", "2001:db9::3/64", "2001:db9::4/64",
                        "2001:db9::5/64", "2001:db9::6/64", "2001:db9::7/64", "2001:db9::8/64"};
  for (const char* a : tied) s->addrIs(info(a));
  Ip6Addr firstTied;
  for (auto it = s->addr().begin(); it != s->addr().end(); ++it) {
    if (!it.key().address().isLinkLocal()) {
      firstTied = it.key().address();
      break;
    }
  }
  EXPECT_EQ(s->sourceAddressForDestination(Ip6Addr("2001:db9:8000::")), firstTied);
  // The configuration folds the same addresses in ascending order.
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  for (auto it = s->addr().begin(); it != s->addr().end(); ++it) c->addrIs(it.value());
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("2001:db9:8000::")), Ip6Addr("2001:db9::1"));
}

TEST_F(Ip6StatusFixture, DadFailuresAndMulticastGroups) {
  auto s = intf("Ethernet1");
  struct Log : Ip6::IntfStatus::NotifieeConst {
    std::vector<std::string> log;
    void onAddr(const Ip6AddrWithMask& a) override {
      log.push_back("addr " + Orv::valueToStrep(a));
    }
    void onDadfailed(const Ip6AddrWithMask& a) override {
      log.push_back("dad " + Orv::valueToStrep(a));
    }
    void onMcaddr(const Ip6Addr& a) override { log.push_back("mc " + Orv::valueToStrep(a)); }
  } r;
  r.notifierIs(s);
  s->addrIs(info("2001:db8::1/64"));
  s->addrIs(info("2001:db8::1/64"));
  s->dadfailedIs(Ip6AddrWithMask("2001:db8::1/64"));
  s->dadfailedIs(Ip6AddrWithMask("2001:db8::1/64"));
  EXPECT_TRUE(s->dadfailed(Ip6AddrWithMask("2001:db8::1/64")));
  EXPECT_FALSE(s->dadfailedDel(Ip6AddrWithMask("2001:db8::2/64")));
  Ip6::MulticastGroupInfo g(Ip6Addr("ff02::5"));
  g.applicationIs("ospf6");
  s->mcaddrIs(g);
  s->mcaddrIs(g);
  g.applicationIs("pim");
  s->mcaddrIs(g);  // same key, another value: replaced
  EXPECT_TRUE(s->mcaddr(Ip6Addr("ff02::5")).application("pim"));
  EXPECT_EQ(s->mcaddr(Ip6Addr("ff02::6")), Ip6::MulticastGroupInfo());
  EXPECT_EQ(r.log, (std::vector<std::string>{"addr 2001:db8::1/64", "dad 2001:db8::1/64",
                                             "mc ff02::5", "mc ff02::5"}));
  s->mcaddrDelAll();
  s->dadfailedDelAll();
  EXPECT_EQ(r.log.size(), 6u);
}

TEST_F(Ip6StatusFixture, InstantiationReturnsTheMemberOrRefusesAnotherLayer3Status) {
  auto l3a = l3in->intfStatusIs(IntfId("Ethernet1"));
  auto other = L3::Intf::Input::statusDirFactory("other");
  auto l3b = other->intfStatusIs(IntfId("Ethernet1"));
  struct Log : Ip6::Input::Status::NotifieeConst {
    Ip6::Input::Status* in = nullptr;
    int n = 0;
    bool parentWasSet = false;
    void onIntf(const IntfId& id) override {
      ++n;
      parentWasSet = in->intf(id) && in->intf(id)->parent() == in;
    }
  } r;
  r.in = input.ptr();
  r.notifierIs(input);
  EXPECT_FALSE(input->urpfConfiguredOnAnyIntf());
  auto s = input->intfIs(IntfId("Ethernet1"), l3a);
  EXPECT_EQ(input->intfIs(IntfId("Ethernet1"), l3a), s);
  EXPECT_EQ(r.n, 1);
  EXPECT_TRUE(r.parentWasSet);
  EXPECT_EQ(s->fullName(), "/input/intf/Ethernet1");
  try {
    input->intfIs(IntfId("Ethernet1"), l3b);
    FAIL();
  } catch (const Orv::NameInUseException& e) {
    EXPECT_EQ(std::string(e.what()),
              "Reinstantiating the entity with fullName /input/intf/Ethernet1 where constructor "
              "parameter attribute 'l3Status' has a different value of /other/intfStatus/Ethernet1 "
              "than the current value of /l3in/intfStatus/Ethernet1 not allowed");
  }
  EXPECT_EQ(input->intf(IntfId("Ethernet1")), s);
  EXPECT_EQ(s->l3Status(), l3a);
  EXPECT_EQ(input->intf().size(), 1u);
  EXPECT_EQ(r.n, 1);
}

TEST_F(Ip6StatusFixture, PointerCollectionsReferToStatusesOwnedElsewhere) {
  auto s = intf("Ethernet1");
  struct Log : Ip6::Status::NotifieeConst {
    int n = 0;
    void onIntf(const IntfId&) override { ++n; }
  } r;
  r.notifierIs(status);
  try {
    status->intfIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(), "null _intf parameter to mutator for Ip6::Status::intf not allowed\"");
  }
  EXPECT_TRUE(status->intf().empty());
  EXPECT_EQ(status->ipIntfStatus(IntfId("Ethernet1")), nullptr);
  status->intfIs(s);
  status->intfIs(s);  // same pointer: quiet
  EXPECT_EQ(r.n, 1);
  EXPECT_EQ(status->ipIntfStatus(IntfId("Ethernet1")), s);
  auto twin = Ip6::intfStatusFactory(IntfId("Ethernet1"), s->l3Status());
  status->intfIs(twin);  // another object under the key: replaced
  EXPECT_EQ(r.n, 2);
  EXPECT_EQ(status->ipIntfStatus(IntfId("Ethernet1")), twin);
  status->intfIs(s);

  struct VrfLog : Ip6::Status::NotifieeConst {
    int n = 0;
    void onVrfIp6IntfStatus(const L3::VrfName&) override { ++n; }
  } v;
  v.notifierIs(status);
  auto red = status->vrfIp6IntfStatusIs(L3::VrfName("red"));
  EXPECT_EQ(status->vrfIp6IntfStatusIs(L3::VrfName("red")), red);
  EXPECT_EQ(v.n, 1);
  EXPECT_EQ(red->parent(), status.ptr());
  EXPECT_EQ(red->vrfName(), L3::VrfName("red"));
  EXPECT_THROW(status->vrfIp6IntfStatusIs(L3::VrfName(std::string(101, 'v'))), Orv::RangeException);
  try {
    red->ip6IntfStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(
        e.what(),
        "null _ip6IntfStatus parameter to mutator for Ip6::VrfIp6IntfStatus::ip6IntfStatus "
        "not allowed\"");
  }
  EXPECT_TRUE(red->ip6IntfStatus().empty());
  red->ip6IntfStatusIs(s);
  EXPECT_EQ(red->ip6IntfStatus(IntfId("Ethernet1")), s);

  // Removed from its owner, the status lives on while the views hold it.
  Ip6::IntfStatus* raw = s.ptr();
  s = nullptr;
  twin = nullptr;
  input->intfDel(IntfId("Ethernet1"));
  EXPECT_EQ(raw->parent(), nullptr);
  EXPECT_EQ(status->ipIntfStatus(IntfId("Ethernet1")).ptr(), raw);
  EXPECT_EQ(raw->references(), 2u);
  status->intfDel(IntfId("Ethernet1"));
  EXPECT_EQ(raw->references(), 1u);  // only the VRF view is left
  EXPECT_EQ(status->ipIntfStatus(IntfId("Ethernet1")), nullptr);
  status
      ->vrfIp6IntfStatusDelAll();  // the root lets go of the group; held here, it keeps the status
  EXPECT_EQ(v.n, 2);
  EXPECT_EQ(red->ip6IntfStatus().size(), 1u);
  red = nullptr;
}

TEST_F(Ip6StatusFixture, TeardownOfTheInputFreesWhatOnlyItHeld) {
  for (const char* n : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
    auto s = intf(n);
    s->addrIs(info("2001:db8::1/64"));
    s->dadfailedIs(Ip6AddrWithMask("2001:db8::1/64"));
    status->intfIs(s);
  }
  auto kept = status->ipIntfStatus(IntfId("Ethernet2"));
  status->intfDelAll();
  input = nullptr;  // the statuses go with the input, except the one held here
  EXPECT_EQ(kept->parent(), nullptr);
  EXPECT_EQ(kept->addr().size(), 1u);
}

TEST_F(Ip6StatusFixture, FoldsAndUnchangedMembersAllocateNothing) {
  auto s = intf("Ethernet1");
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  for (const char* a : {"fe80::1/64", "2001:db8::1/64", "2001:db8:1::1/64", "fd00::1/64"}) {
    s->addrIs(info(a));
    c->addrIs(info(a));
  }
  status->intfIs(s);
  // The selection rules' first call creates the library's default trace
  // handle, once per process.
  s->sourceAddressForDestination(Ip6Addr("::1"));
  ipmodel::bench::AllocCounter allocs;
  EXPECT_EQ(s->sourceAddressForDestination(Ip6Addr("2001:db8:1::9")), Ip6Addr("2001:db8:1::1"));
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("2001:db8:1::9")), Ip6Addr("2001:db8:1::1"));
  EXPECT_EQ(s->linkLocalAddrWithMask(), Ip6AddrWithMask("fe80::1/64"));
  EXPECT_TRUE(c->ipv6Configured());
  s->addrIs(info("2001:db8::1/64"));
  c->addrIs(info("2001:db8::1/64"));
  status->intfIs(s);
  EXPECT_EQ(status->ipIntfStatus(IntfId("Ethernet1")), s);
  EXPECT_EQ(allocs.allocations(), 0u);
  c->addrIs(info("2001:db8:2::1/64"));  // a new member: its node only
  EXPECT_EQ(allocs.allocations(), 1u);
}

TEST(Ip6StatusDeathTest, ActiveAddressIsDeclaredButNeverAnswers) {
  auto s = Ip6::intfStatusFactory(IntfId("Ethernet1"), nullptr);
  EXPECT_DEATH(s->activeAddrWithMask(),
               "const Lumen::Ip6AddrWithMask Ip6::IntfStatus::activeAddrWithMask\\(\\) const: "
               "Assertion `0' failed");
}

TEST(Ip6Enable, AbsentAndFalseAreDifferentStates) {
  auto e = Ip6::ip6EnableFactory("enable");
  struct Log : Ip6::Ip6Enable::NotifieeConst {
    int n = 0;
    void onEnable(const IntfId&) override { ++n; }
  } r;
  r.notifierIs(e);
  EXPECT_FALSE(e->enableDel(IntfId("Ethernet1")));  // absent: false, quiet
  e->enableIs(IntfId("Ethernet1"), false);
  e->enableIs(IntfId("Ethernet1"), false);
  EXPECT_EQ(r.n, 1);
  EXPECT_EQ(e->enable().size(), 1u);
  EXPECT_FALSE(e->enable(IntfId("Ethernet1")));
  EXPECT_TRUE(e->enable().contains(IntfId("Ethernet1")));
  EXPECT_FALSE(e->enable().contains(IntfId("Ethernet2")));
  e->enableIs(IntfId("Ethernet1"), true);
  EXPECT_EQ(r.n, 2);
  EXPECT_TRUE(e->enableDel(IntfId("Ethernet1")));
  EXPECT_EQ(r.n, 3);
}

TEST(Ip6MulticastGroupsForApplications, PairsAreASet) {
  auto groups = Ip6::multicastGroupsForApplicationsFactory("mc");
  struct Log : Ip6::MulticastGroupsForApplications::NotifieeConst {
    int n = 0;
    void onMcaddr(const Ip6::IntfAddrInfo&) override { ++n; }
  } r;
  r.notifierIs(groups);
  Ip6::IntfAddrInfo key(IntfId("Ethernet1"), Ip6Addr("ff02::5"));
  groups->mcaddrIs(key);
  groups->mcaddrIs(key);
  groups->mcaddrIs(Ip6::IntfAddrInfo(IntfId("Ethernet2"), Ip6Addr("ff02::5")));
  EXPECT_EQ(r.n, 2);
  EXPECT_TRUE(groups->mcaddr(key));
  EXPECT_EQ(groups->mcaddr().size(), 2u);
  EXPECT_TRUE(groups->mcaddrDel(key));
  EXPECT_FALSE(groups->mcaddrDel(key));
  EXPECT_EQ(r.n, 3);
}

TEST(Ip6Registration, UnitRegistersItsTypesInOrder) {
  std::vector<std::string> ip6;
  for (const auto* t : Orv::typeNodes()) {
    std::string n = t->name;
    if (n.rfind("Ip6::", 0) == 0) ip6.push_back(n);
  }
  EXPECT_EQ(ip6,
            (std::vector<std::string>{
                "Ip6::TristateBool", "Ip6::AddrSource", "Ip6::AcceptDad", "Ip6::AddressInfo",
                "Ip6::IntfAddrInfo", "Ip6::MulticastGroupInfo", "Ip6::IntfConfig", "Ip6::Config",
                "Ip6::IntfStatus", "Ip6::VrfIp6IntfStatus", "Ip6::Status", "Ip6::Input::Status",
                "Ip6::Ip6Enable", "Ip6::MulticastGroupsForApplications"}));
}

}  // namespace
