// IPv6 interface configuration and its container: defaults, MSS checks,
// the ordered address collection, the VRF in the layer-3 record, whether
// IPv6 is configured, and the source address chosen for a destination.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/Ip/Ip.h>
#include <ipmodel/Ip6/Ip6.h>

namespace {

using Ip6::AddressInfo;
using Lumen::IntfId;
using Lumen::Ip6Addr;
using Lumen::Ip6AddrWithMask;

AddressInfo info(const char* text) { return AddressInfo(Ip6AddrWithMask(text)); }

struct ConfigLog : Ip6::IntfConfig::NotifieeConst {
  std::vector<std::string> log;
  void onMaxMssEgress() override { log.push_back("maxMssEgress"); }
  void onMaxMssIngress() override { log.push_back("maxMssIngress"); }
  void onAddr(const Ip6AddrWithMask& a) override { log.push_back("addr " + Orv::valueToStrep(a)); }
  void onL3Config() override { log.push_back("l3Config"); }
  void onEnable() override { log.push_back("enable"); }
};

TEST(Ip6IntfConfig, DefaultsAndAttributeTable) {
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  EXPECT_EQ(c->intfId(), IntfId("Ethernet1"));
  EXPECT_TRUE(c->addr().empty());
  EXPECT_EQ(c->linkLocalAddrWithMask(), Ip6AddrWithMask("::/0"));
  EXPECT_EQ(c->addrSource(), Ip6::AddrSource::manual);
  EXPECT_FALSE(c->acceptRaDefRtr());
  EXPECT_FALSE(c->enable());
  EXPECT_FALSE(c->enableDefault());
  EXPECT_EQ(c->nsRetransmitInterval(), 1000u);
  EXPECT_EQ(c->nsRetransmitIntervalDefault(), 1000u);
  EXPECT_EQ(c->acceptDad(), Ip6::AcceptDad::dadGlobal);
  EXPECT_EQ(c->acceptDadDefault(), Ip6::AcceptDad::dadGlobal);
  EXPECT_EQ(c->nsSourceAddr(), Ip6Addr("::"));
  EXPECT_FALSE(c->useNsSourceAddr());
  EXPECT_FALSE(c->useNsSourceAddrDefault());
  EXPECT_EQ(c->urpf().mode(), Urpf::UrpfMode::disable);
  EXPECT_FALSE(c->l3Config());
  EXPECT_FALSE(c->forceDpRoutingEnabled());
  EXPECT_EQ(c->noArp(), Ip6::TristateBool::isInvalid);
  EXPECT_EQ(c->tcpMssMin(), 64);
  EXPECT_EQ(c->tcpMssMax(), 65495);
  EXPECT_EQ(c->maxMssEgress(), 0);
  EXPECT_EQ(c->maxMssIngress(), 0);
  EXPECT_EQ(c->configSource(), "00cli");
  EXPECT_TRUE(c->attachedRoutes());
  EXPECT_TRUE(c->attachedRoutesDefault());
  EXPECT_FALSE(c->ipv6Configured());

  // Numbered in declaration order; the source-address query has its own
  // identifier, so everything after it is one further on.
  const auto* t = Orv::typeNode("Ip6::IntfConfig");
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->attr("addr")->id, 259);
  EXPECT_EQ(t->attr("sourceAddressForDestination")->id, 261);
  EXPECT_EQ(t->attr("sourceAddressForDestination")->category, Orv::AttrCategory::computed);
  EXPECT_EQ(t->attr("addrSource")->id, 262);
  EXPECT_EQ(t->attr("ipv6Configured")->id, 273);
  EXPECT_EQ(t->attr("maxMssEgress")->id, 281);
  EXPECT_EQ(t->attr("attachedRoutes")->id, 285);
  EXPECT_EQ(t->attrCount, 28);
  EXPECT_STREQ(t->attr("addr")->keyType, "Lumen::Ip6AddrWithMask");
  EXPECT_EQ(t->attr("unnumberedIntfId"), nullptr);  // the IPv4 one has it
  Orv::AttrArg a;
  EXPECT_EQ(c->orvAttr(Orv::AttrOp::get, 261, a), 1);  // takes an argument
  EXPECT_EQ(c->orvAttr(Orv::AttrOp::get, t->attr("ipv6Configured")->id, a), 0);
  EXPECT_FALSE(a.value.as<bool>());
}

TEST(Ip6IntfConfig, MssAboveBoundIsStoredThenRefusedWithoutNotifying) {
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  ConfigLog r;
  r.notifierIs(c);
  try {
    c->maxMssEgressIs(65496);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(), "IntfConfig::maxMssEgress < 0 or > IntfConfig::tcpMssMax not allowed");
  }
  EXPECT_EQ(c->maxMssEgress(), 65496);  // the refused value stays
  c->maxMssEgressIs(65496);             // equal: quiet, no throw
  c->maxMssEgressIs(65495);
  c->maxMssEgressIs(10);  // below tcpMssMin: accepted
  try {
    c->maxMssIngressIs(65535);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(), "IntfConfig::maxMssIngress < 0 or > IntfConfig::tcpMssMax not allowed");
  }
  EXPECT_EQ(c->maxMssIngress(), 65535);
  EXPECT_EQ(r.log, (std::vector<std::string>{"maxMssEgress", "maxMssEgress"}));

  // The IPv4 bound is higher: 65496 to 65515 pass there and fail here.
  auto v4 = Ip::ipIntfConfigFactory(IntfId("Ethernet1"));
  v4->maxMssEgressIs(65515);
  EXPECT_THROW(c->maxMssEgressIs(65515), Orv::RangeException);
}

TEST(Ip6IntfConfig, AddressesInAscendingOrderAndEqualMembersAreQuiet) {
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  ConfigLog r;
  r.notifierIs(c);
  c->addrIs(info("2001:db8::9/64"));
  c->addrIs(info("2001:db8::9/64"));  // equal: quiet
  c->addrIs(info("fe80::1/64"));
  c->addrIs(info("2001:db8::9/128"));  // another key: the mask is part of it
  EXPECT_EQ(c->addr().size(), 3u);
  EXPECT_EQ(c->addr(Ip6AddrWithMask("fe80::1/64")), info("fe80::1/64"));
  EXPECT_EQ(c->addr(Ip6AddrWithMask("fe80::2/64")), AddressInfo());
  EXPECT_EQ(c->addrDel(Ip6AddrWithMask("fe80::2/64")), AddressInfo());  // absent: quiet
  EXPECT_EQ(r.log.size(), 3u);
  r.log.clear();
  c->addrDelAll();
  EXPECT_EQ(r.log, (std::vector<std::string>{"addr 2001:db8::9/64", "addr 2001:db8::9/128",
                                             "addr fe80::1/64"}));
  c->addrDelAll();  // empty: nothing
  EXPECT_EQ(r.log.size(), 3u);
}

TEST(Ip6IntfConfig, VrfIsForwardedToTheLayer3Record) {
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  auto l3 = L3::Intf::configFactory(IntfId("Ethernet1"));
  ConfigLog r;
  r.notifierIs(c);
  c->l3ConfigIs(l3);
  c->l3ConfigIs(l3);  // same pointer: quiet
  EXPECT_EQ(c->vrf(), L3::VrfName("default"));
  c->vrfIs(L3::VrfName("red"));
  EXPECT_EQ(l3->vrf(), L3::VrfName("red"));
  EXPECT_EQ(c->vrf(), L3::VrfName("red"));
  EXPECT_EQ(r.log, (std::vector<std::string>{"l3Config"}));  // nothing of its own for vrf
}

TEST(Ip6IntfConfigDeathTest, VrfWithoutLayer3RecordIsAProgrammingError) {
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  EXPECT_EQ(c->vrf(), L3::VrfName());
  EXPECT_DEATH(c->vrfIs(L3::VrfName("red")), "Assertion `l3Config_' failed");
}

TEST(Ip6IntfConfig, ConfiguredPredicatesAndTheLoopbackRule) {
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  c->addrIs(info("fe80::1/64"));
  // A link-local entry in addr is not a global address, nor the configured
  // link-local address.
  EXPECT_FALSE(Ip6::intfConfigGlobalAddrConfigured(c));
  EXPECT_FALSE(Ip6::intfLinkLocalAddrConfigured(c));
  EXPECT_FALSE(c->ipv6Configured());
  c->linkLocalAddrWithMaskIs(Ip6AddrWithMask("fe80::1/64"));
  EXPECT_TRUE(Ip6::intfLinkLocalAddrConfigured(c));
  EXPECT_TRUE(c->ipv6Configured());
  // ::/0 means none; any other value counts, even :: with a length.
  c->linkLocalAddrWithMaskIs(Ip6AddrWithMask("::/64"));
  EXPECT_TRUE(Ip6::intfLinkLocalAddrConfigured(c));
  c->linkLocalAddrWithMaskIs(Ip6AddrWithMask());
  EXPECT_FALSE(c->ipv6Configured());
  c->enableIs(true);
  EXPECT_TRUE(c->ipv6Configured());
  c->enableIs(false);
  c->addrIs(info("2001:db8::1/64"));
  EXPECT_TRUE(Ip6::intfConfigGlobalAddrConfigured(c));
  EXPECT_TRUE(c->ipv6Configured());

  // On a loopback interface only a global address counts.
  auto lo = Ip6::intfConfigFactory(IntfId("Loopback0"));
  lo->enableIs(true);
  lo->linkLocalAddrWithMaskIs(Ip6AddrWithMask("fe80::1/64"));
  lo->addrIs(info("fe80::2/64"));
  EXPECT_FALSE(lo->ipv6Configured());
  lo->addrIs(info("2001:db8::1/128"));
  EXPECT_TRUE(lo->ipv6Configured());
  lo->addrDel(Ip6AddrWithMask("2001:db8::1/128"));
  EXPECT_FALSE(lo->ipv6Configured());
  // A name that merely contains "Loopback" is no loopback.
  auto notLo = Ip6::intfConfigFactory(IntfId("Tunnel-Loopback1"));
  notLo->enableIs(true);
  EXPECT_TRUE(notLo->ipv6Configured());
}

TEST(Ip6IntfConfig, SourceAddressFoldsInAscendingOrder) {
  auto c = Ip6::intfConfigFactory(IntfId("Ethernet1"));
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("2001:db8::5")), Ip6Addr("::"));
  c->addrIs(info("fe80::1/64"));
  // Only candidate: chosen whatever the destination.
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("2001:db8::5")), Ip6Addr("fe80::1"));
  c->addrIs(info("2001:db9::2/64"));
  c->addrIs(info("2001:db9::1/64"));
  c->addrIs(info("2001:db8:0:1::7/64"));
  // Global destination: a global candidate, the longest common prefix wins.
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("2001:db8::5")), Ip6Addr("2001:db8:0:1::7"));
  // A member equal to the destination wins outright.
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("2001:db9::2")), Ip6Addr("2001:db9::2"));
  // Link-local destination: the link-local candidate.
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("fe80::99")), Ip6Addr("fe80::1"));
  // A tie (same scope, label and common prefix with 2001:db9:8000::) keeps
  // the earlier member in ascending order, the order of insertion aside.
  c->addrDel(Ip6AddrWithMask("2001:db8:0:1::7/64"));
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("2001:db9:8000::")), Ip6Addr("2001:db9::1"));
  // The mask length takes no part.
  c->addrIs(info("2001:db9::3/128"));
  EXPECT_EQ(c->sourceAddressForDestination(Ip6Addr("2001:db9:8000::")), Ip6Addr("2001:db9::1"));
}

TEST(Ip6Config, FindOrCreateNotifiesOnceAfterTheParentIsSet) {
  auto cfg = Ip6::configFactory("ip6config");
  EXPECT_TRUE(cfg->orvHasAttrLogInterface());
  EXPECT_FALSE(cfg->hasBackupSupport());
  EXPECT_FALSE(cfg->restoreOnReboot());
  EXPECT_TRUE(cfg->enhancedDad());
  EXPECT_TRUE(cfg->enhancedDadDefault());
  struct Log : Ip6::Config::NotifieeConst {
    Ip6::Config* cfg = nullptr;
    int n = 0;
    bool parentWasSet = false;
    void onIntf(const IntfId& id) override {
      ++n;
      parentWasSet = cfg->intf(id) && cfg->intf(id)->parent() == cfg;
    }
  } r;
  r.cfg = cfg.ptr();
  r.notifierIs(cfg);
  auto a = cfg->intfIs(IntfId("Ethernet1"));
  EXPECT_EQ(cfg->intfIs(IntfId("Ethernet1")), a);
  EXPECT_EQ(r.n, 1);
  EXPECT_TRUE(r.parentWasSet);
  EXPECT_FALSE(a->l3Config());  // whoever created it sets it next
  EXPECT_EQ(a->fullName(), "/ip6config/intf/Ethernet1");
  EXPECT_EQ(cfg->intf(IntfId("Ethernet2")), nullptr);
  EXPECT_EQ(cfg->intfDel(IntfId("Ethernet2")), nullptr);
  EXPECT_EQ(r.n, 1);
  cfg->intfDelAll();
  EXPECT_EQ(r.n, 2);
  // The member outlives its removal while held, without a parent.
  EXPECT_EQ(a->parent(), nullptr);
  EXPECT_EQ(a->references(), 1u);
}

}  // namespace
