// The IPv4 interface entities: defaults, checks, collections, instantiation,
// pointer collections and lifetimes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/Ip/Ip.h>

namespace {

// Types of the IPv4 unit (the source-interface unit shares the namespace).
bool inIpUnit(const std::string& n) {
  // The IPv4 unit's own types: not the source-interface or decision machines.
  return n.rfind("Ip::", 0) == 0 && n.rfind("Ip::SourceIntf::", 0) != 0 &&
         n != "Ip::RouteDistinguisherSm";
}

using Lumen::IntfId;
using Lumen::IpAddr;
using Lumen::IpAddrWithMask;

struct ConfigLog : Ip::IpIntfConfig::NotifieeConst {
  std::vector<std::string> log;
  void onMaxMssEgress() override { log.push_back("maxMssEgress"); }
  void onMaxMssIngress() override { log.push_back("maxMssIngress"); }
  void onSecondaryWithMask(const IpAddrWithMask& a) override {
    log.push_back("secondary " + Orv::valueToStrep(a));
  }
  void onL3Config() override { log.push_back("l3Config"); }
};

TEST(IpIntfConfig, DefaultsOfANewConfiguration) {
  auto c = Ip::ipIntfConfigFactory(IntfId("Ethernet1"));
  EXPECT_TRUE(c->forwarding());
  EXPECT_TRUE(c->attachedRoutes());
  EXPECT_TRUE(c->attachedRoutesDefault());
  EXPECT_EQ(c->configSource(), "00cli");
  EXPECT_EQ(c->noArp(), Ip::TristateBool::isInvalid);
  EXPECT_EQ(c->scope(), Ip::IpAddrScope::universe);
  EXPECT_EQ(c->addrSource(), Ip::AddrSource::manual);
  EXPECT_EQ(c->maxMssEgress(), 0);
  EXPECT_EQ(c->maxMssIngress(), 0);
  EXPECT_EQ(c->tcpMssMin(), 64);
  EXPECT_EQ(c->tcpMssMax(), 65515);
  EXPECT_TRUE(c->secondaryWithMask().empty());
  EXPECT_EQ(c->addrWithMask(), IpAddrWithMask("0.0.0.0/0"));
  EXPECT_EQ(c->urpf(), Urpf::UrpfConfig());
  EXPECT_FALSE(c->l3Config());
  EXPECT_EQ(c->vrf(), L3::VrfName());  // no layer-3 record
  EXPECT_EQ(c->unnumberedIntfId(), IntfId());
  const auto* t = Orv::typeNode("Ip::IpIntfConfig");
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->attr("unnumberedIntfId")->id, 286);
  EXPECT_EQ(t->attr("maxMssEgress")->id, 280);
  EXPECT_EQ(t->attr("vrf")->category, Orv::AttrCategory::computed);
}

TEST(IpIntfConfig, MssRangeChecksStoreFirstThenThrowWithoutNotifying) {
  auto c = Ip::ipIntfConfigFactory(IntfId("Ethernet1"));
  ConfigLog r;
  r.notifierIs(c);
  try {
    c->maxMssEgressIs(65516);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "IpIntfConfig::maxMssEgress < 0 or > IpIntfConfig::tcpMssMax not allowed");
  }
  EXPECT_EQ(c->maxMssEgress(), 65516);
  c->maxMssEgressIs(65516);  // equal: quiet, no throw
  c->maxMssEgressIs(65515);
  try {
    c->maxMssIngressIs(65535);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "IpIntfConfig::maxMssIngress < 0 or > IpIntfConfig::tcpMssMax not allowed");
  }
  EXPECT_EQ(c->maxMssIngress(), 65535);
  c->maxMssIngressIs(40);  // below tcpMssMin: accepted
  EXPECT_EQ(r.log, (std::vector<std::string>{"maxMssEgress", "maxMssIngress"}));
}

TEST(IpIntfConfig, VrfLivesInTheLayer3Record) {
  auto c = Ip::ipIntfConfigFactory(IntfId("Ethernet1"));
  EXPECT_THROW(c->vrfIs(L3::VrfName("red")), Orv::RangeException);
  auto l3 = L3::Intf::configFactory(IntfId("Ethernet1"));
  ConfigLog r;
  r.notifierIs(c);
  c->l3ConfigIs(l3);
  c->l3ConfigIs(l3);
  EXPECT_EQ(c->vrf(), L3::VrfName("default"));
  struct VrfLog : L3::Intf::Config::NotifieeConst {
    int n = 0;
    void onVrf() override { ++n; }
  } v;
  v.notifierIs(l3);
  c->vrfIs(L3::VrfName("red"));
  c->vrfIs(L3::VrfName("red"));
  EXPECT_EQ(l3->vrf(), L3::VrfName("red"));
  EXPECT_EQ(c->vrf(), L3::VrfName("red"));
  EXPECT_EQ(v.n, 1);
  EXPECT_EQ(r.log, (std::vector<std::string>{"l3Config"}));  // nothing of its own for vrf
}

TEST(IpIntfConfig, SecondaryAddressesInAscendingOrder) {
  auto c = Ip::ipIntfConfigFactory(IntfId("Ethernet1"));
  ConfigLog r;
  r.notifierIs(c);
  c->secondaryWithMaskIs(IpAddrWithMask("10.0.0.9/24"), true);
  c->secondaryWithMaskIs(IpAddrWithMask("10.0.0.9/24"), true);  // same flag: quiet
  c->secondaryWithMaskIs(IpAddrWithMask("10.0.0.3/24"), false);
  c->secondaryWithMaskIs(IpAddrWithMask("10.0.0.3/24"), true);
  c->virtualSecondaryWithMaskIs(IpAddrWithMask("10.0.0.1/24"), true);
  EXPECT_FALSE(c->secondaryWithMaskDel(IpAddrWithMask("1.1.1.1/32")));
  r.log.clear();
  c->secondaryWithMaskDelAll();
  EXPECT_EQ(r.log, (std::vector<std::string>{"secondary 10.0.0.3/24", "secondary 10.0.0.9/24"}));
  EXPECT_EQ(c->virtualSecondaryWithMask().size(), 1u);
}

TEST(IpConfig, FindOrCreateNotifiesOnceAfterTheParentIsSet) {
  auto cfg = Ip::configFactory("config");
  EXPECT_TRUE(cfg->orvHasAttrLogInterface());
  EXPECT_FALSE(cfg->hasBackupSupport());
  struct Log : Ip::Config::NotifieeConst {
    Ip::Config* cfg = nullptr;
    int n = 0;
    bool parentWasSet = false;
    void onIpIntfConfig(const IntfId& id) override {
      ++n;
      parentWasSet = cfg->ipIntfConfig(id) && cfg->ipIntfConfig(id)->parent() == cfg;
    }
  } r;
  r.cfg = cfg.ptr();
  r.notifierIs(cfg);
  auto a = cfg->ipIntfConfigIs(IntfId("Ethernet1"));
  EXPECT_EQ(cfg->ipIntfConfigIs(IntfId("Ethernet1")), a);
  EXPECT_EQ(r.n, 1);
  EXPECT_TRUE(r.parentWasSet);
  EXPECT_EQ(a->fullName(), "/config/ipIntfConfig/Ethernet1");
  EXPECT_EQ(cfg->ipIntfConfig(IntfId("Ethernet2")), nullptr);
  cfg->ipIntfConfigDelAll();
  EXPECT_EQ(r.n, 2);
}

struct StatusFixture : ::testing::Test {
  L3::Intf::Input::StatusDir::Ptr l3in = L3::Intf::Input::statusDirFactory("l3in");
  Ip::Input::Status::Ptr input = Ip::Input::statusFactory("input");
  Ip::Status::Ptr status = Ip::statusFactory("status");
};

TEST_F(StatusFixture, DefaultsAndTheActiveVirtualAddress) {
  auto l3 = l3in->intfStatusIs(IntfId("Ethernet1"));
  auto s = input->ipIntfStatusIs(IntfId("Ethernet1"), l3);
  EXPECT_TRUE(s->attachedRoutes());
  EXPECT_EQ(s->configSource(), "");
  EXPECT_EQ(s->noArp(), Ip::TristateBool::isInvalid);
  EXPECT_EQ(s->addresslessForwarding(), Ip::TristateBool::isInvalid);
  EXPECT_EQ(s->l3Status(), l3);
  EXPECT_EQ(s->vrf(), L3::VrfName("default"));
  s->activeAddrWithMaskIs(IpAddrWithMask("10.1.1.1/24"));
  EXPECT_EQ(s->activeVirtualAddrWithMask(), IpAddrWithMask("0.0.0.0/0"));
  s->useVirtualAddrIs(true);
  EXPECT_EQ(s->activeVirtualAddrWithMask(), IpAddrWithMask("10.1.1.1/24"));
  s->maxMssEgressIs(65535);  // no range check on the status
  EXPECT_EQ(s->maxMssEgress(), 65535);
  s->vrfIs(L3::VrfName("blue"));
  EXPECT_EQ(l3->vrf(), L3::VrfName("blue"));
  auto bare = Ip::ipIntfStatusFactory(IntfId("Ethernet9"), nullptr);
  EXPECT_EQ(bare->vrf(), L3::VrfName());
  EXPECT_THROW(bare->vrfIs(L3::VrfName("x")), Orv::RangeException);
}

TEST_F(StatusFixture, MulticastGroupsKeyedByAddress) {
  auto s = input->ipIntfStatusIs(IntfId("Ethernet1"), l3in->intfStatusIs(IntfId("Ethernet1")));
  struct Log : Ip::IpIntfStatus::NotifieeConst {
    std::vector<std::string> log;
    void onMcaddr(const IpAddr& a) override { log.push_back(Orv::valueToStrep(a)); }
  } r;
  r.notifierIs(s);
  Ip::MulticastGroupInfo g(IpAddr("224.0.0.5"));
  g.applicationIs("ospf");
  s->mcaddrIs(g);
  s->mcaddrIs(g);
  g.applicationIs("rip");
  s->mcaddrIs(g);
  EXPECT_EQ(r.log, (std::vector<std::string>{"224.0.0.5", "224.0.0.5"}));
  EXPECT_TRUE(s->mcaddr(IpAddr("224.0.0.5")).application("rip"));
  EXPECT_EQ(s->mcaddr(IpAddr("224.0.0.6")), Ip::MulticastGroupInfo());
}

TEST_F(StatusFixture, ReinstantiationWithAnotherLayer3StatusIsRefused) {
  auto l3a = l3in->intfStatusIs(IntfId("Ethernet1"));
  auto other = L3::Intf::Input::statusDirFactory("other");
  auto l3b = other->intfStatusIs(IntfId("Ethernet1"));
  struct Log : Ip::Input::Status::NotifieeConst {
    int n = 0;
    void onIpIntfStatus(const IntfId&) override { ++n; }
  } r;
  r.notifierIs(input);
  auto s = input->ipIntfStatusIs(IntfId("Ethernet1"), l3a);
  EXPECT_EQ(input->ipIntfStatusIs(IntfId("Ethernet1"), l3a), s);
  EXPECT_EQ(r.n, 1);
  try {
    input->ipIntfStatusIs(IntfId("Ethernet1"), l3b);
    FAIL();
  } catch (const Orv::NameInUseException& e) {
    EXPECT_EQ(std::string(e.what()),
              "Reinstantiating the entity with fullName /input/ipIntfStatus/Ethernet1 where "
              "constructor parameter attribute 'l3Status' has a different value of "
              "/other/intfStatus/Ethernet1 than the current value of /l3in/intfStatus/Ethernet1 "
              "not allowed");
  }
  EXPECT_EQ(input->ipIntfStatus(IntfId("Ethernet1")), s);
  EXPECT_EQ(s->l3Status(), l3a);
  EXPECT_EQ(r.n, 1);
}

TEST_F(StatusFixture, PointerCollectionsReferToStatusesOwnedElsewhere) {
  auto s = input->ipIntfStatusIs(IntfId("Ethernet1"), l3in->intfStatusIs(IntfId("Ethernet1")));
  struct Log : Ip::Status::NotifieeConst {
    int n = 0;
    void onIpIntfStatus(const IntfId&) override { ++n; }
  } r;
  r.notifierIs(status);
  try {
    status->ipIntfStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(
        e.what(),
        "null _ipIntfStatus parameter to mutator for Ip::Status::ipIntfStatus not allowed\"");
  }
  EXPECT_TRUE(status->ipIntfStatus().empty());
  status->ipIntfStatusIs(s);
  status->ipIntfStatusIs(s);  // same pointer: quiet
  auto twin = Ip::ipIntfStatusFactory(IntfId("Ethernet1"), s->l3Status());
  status->ipIntfStatusIs(twin);  // replaced
  EXPECT_EQ(r.n, 2);
  EXPECT_EQ(status->ipIntfStatus(IntfId("Ethernet1")), twin);
  status->ipIntfStatusIs(s);

  auto vrf = status->vrfIpIntfStatusIs(L3::VrfName("red"));
  EXPECT_EQ(status->vrfIpIntfStatusIs(L3::VrfName("red")), vrf);
  EXPECT_EQ(vrf->parent(), status.ptr());
  try {
    vrf->ipIntfStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "null _ipIntfStatus parameter to mutator for Ip::VrfIpIntfStatus::ipIntfStatus "
                 "not allowed\"");
  }
  vrf->ipIntfStatusIs(s);

  // Removed from the owner, the status lives on while the views hold it.
  Ip::IpIntfStatus* raw = s.ptr();
  s = nullptr;
  input->ipIntfStatusDel(IntfId("Ethernet1"));
  EXPECT_EQ(status->ipIntfStatus(IntfId("Ethernet1")).ptr(), raw);
  EXPECT_EQ(raw->parent(), nullptr);
  status->ipIntfStatusDel(IntfId("Ethernet1"));
  EXPECT_EQ(raw->references(), 1u);  // only the VRF view is left
  vrf->ipIntfStatusDelAll();
}

TEST(IpContainers, InputDirectoryErrorsAndApplicationGroups) {
  auto dir = Ip::ipInputStatusDirFactory("dir");
  try {
    dir->inputStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "null _inputStatus parameter to mutator for Ip::IpInputStatusDir::inputStatus not "
                 "allowed\"");
  }
  auto in = Ip::Input::statusFactory("agent");
  dir->inputStatusIs(in);
  EXPECT_EQ(dir->inputStatus("agent"), in);

  auto errors = Ip::ipConfigErrorFactory("errors");
  struct Log : Ip::IpConfigError::NotifieeConst {
    int n = 0;
    void onIpIntfConfigError(const IntfId&) override { ++n; }
  } r;
  r.notifierIs(errors);
  errors->ipIntfConfigErrorIs(IntfId("Ethernet1"), "");
  errors->ipIntfConfigErrorIs(IntfId("Ethernet1"), "");
  errors->ipIntfConfigErrorIs(IntfId("Ethernet1"), "overlap");
  EXPECT_EQ(r.n, 2);
  EXPECT_EQ(errors->ipIntfConfigError(IntfId("Ethernet1")), "overlap");

  auto groups = Ip::multicastGroupsForApplicationsFactory("mc");
  Ip::IntfAddrInfo key(IntfId("Ethernet1"), IpAddr("224.0.0.5"));
  groups->mcaddrIs(key);
  groups->mcaddrIs(key);
  EXPECT_TRUE(groups->mcaddr(key));
  EXPECT_EQ(groups->mcaddr().size(), 1u);
  EXPECT_TRUE(groups->mcaddrDel(key));
  EXPECT_FALSE(groups->mcaddr(key));
}

TEST(IpRegistration, UnitRegistersItsTypesInItsOrder) {
  std::vector<std::string> ip;
  for (const auto* t : Orv::typeNodes()) {
    std::string n = t->name;
    if (inIpUnit(n)) ip.push_back(n);
  }
  EXPECT_EQ(ip, (std::vector<std::string>{"Ip::Status",
                                          "Ip::Input::Status",
                                          "Ip::VrfCapability",
                                          "Ip::RouteDistinguisherInput",
                                          "Ip::RouteDistinguisherInput::ClientPrecedence",
                                          "Ip::MulticastGroupsForApplications",
                                          "Ip::VrfConfig",
                                          "Ip::AllVrfConfig",
                                          "Ip::AllVrfStatusGlobal",
                                          "Ip::IpConfigError",
                                          "Ip::MulticastGroupInfo",
                                          "Ip::IntfAddrInfo",
                                          "Ip::VrfDefinitionRouteDistinguisherInput",
                                          "Ip::AllVrfStatusLocal",
                                          "Ip::VrfState",
                                          "Ip::TristateBool",
                                          "Ip::VrfStatusLocal",
                                          "Ip::IpIntfStatus",
                                          "Ip::IpIntfConfig",
                                          "Ip::AddrSource",
                                          "Ip::Config",
                                          "Ip::VrfIpIntfStatus",
                                          "Ip::VrfStatusGlobal",
                                          "Ip::IpAddrScope",
                                          "Ip::IpInputStatusDir",
                                          "Ip::BgpRouteDistinguisherInput"}));
}

}  // namespace
