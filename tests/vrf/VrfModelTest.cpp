// The VRF configuration, capability, status and route-distinguisher input
// types: defaults, checks, quiet repeats and the per-family default query.
#include <gtest/gtest.h>

#include <string>

#include <ipmodel/Ip/IpVrf.h>

namespace {

using Lumen::AddressFamily;
using Precedence = Ip::RouteDistinguisherInput::ClientPrecedence;

TEST(VrfCapability, DefaultsAndPerFamilyQueryAreIndependent) {
  auto cap = Ip::vrfCapabilityFactory("cap");
  EXPECT_EQ(cap->maxVrfs(), -1);
  EXPECT_TRUE(cap->afEnabledDefault(AddressFamily::ipv4));
  EXPECT_TRUE(cap->afEnabledDefault(AddressFamily::ipv6));
  cap->ipv6EnabledDefaultIs(false);
  EXPECT_TRUE(cap->afEnabledDefault(AddressFamily::ipv4));
  EXPECT_FALSE(cap->afEnabledDefault(AddressFamily::ipv6));
  cap->ipv4EnabledDefaultIs(false);
  cap->ipv6EnabledDefaultIs(true);
  EXPECT_FALSE(cap->afEnabledDefault(AddressFamily::ipv4));
  EXPECT_TRUE(cap->afEnabledDefault(AddressFamily::ipv6));
}

TEST(VrfCapabilityDeathTest, OtherFamiliesStopTheProcess) {
  auto cap = Ip::vrfCapabilityFactory("cap");
  EXPECT_DEATH(cap->afEnabledDefault(AddressFamily::ipunknown),
               "bool Ip::VrfCapability::afEnabledDefault\\(Lumen::AddressFamily\\) const: "
               "Assertion `false' failed");
  EXPECT_DEATH(cap->afEnabledDefault(static_cast<AddressFamily>(7)), "Assertion `false' failed");
}

TEST(VrfConfig, FamiliesAndEntriesNotifyOnlyOnChange) {
  auto all = Ip::allVrfConfigFactory("config");
  struct AllLog : Ip::AllVrfConfig::NotifieeConst {
    int vrf = 0;
    void onVrf(const L3::VrfName&) override { ++vrf; }
  } al;
  al.notifierIs(all);
  auto red = all->vrfIs(L3::VrfName("red"));
  EXPECT_EQ(all->vrfIs(L3::VrfName("red")), red);
  EXPECT_EQ(al.vrf, 1);
  EXPECT_EQ(red->fullName(), "/config/vrf/red");
  EXPECT_FALSE(all->vrfDefinitionCmdShowOldFormat());
  EXPECT_EQ(red->description(), "");

  struct VrfLog : Ip::VrfConfig::NotifieeConst {
    int af = 0;
    void onAddressFamily(AddressFamily) override { ++af; }
  } vl;
  vl.notifierIs(red);
  red->addressFamilyIs(AddressFamily::ipv6, false);
  red->addressFamilyIs(AddressFamily::ipv6, false);
  EXPECT_EQ(vl.af, 1);
  red->addressFamilyIs(AddressFamily::ipv6, true);
  EXPECT_EQ(vl.af, 2);
  red->addressFamilyDel(AddressFamily::ipv4);  // absent: nobody hears
  EXPECT_EQ(vl.af, 2);

  // A VRF name is at most 100 bytes; a refused name creates nothing.
  EXPECT_NO_THROW(all->vrfIs(L3::VrfName(std::string(100, 'v'))));
  try {
    all->vrfIs(L3::VrfName(std::string(101, 'v')));
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(), "VrfName::bytes > VrfName::maxLength not allowed");
  }
  EXPECT_EQ(all->vrf().size(), 2u);
}

TEST(VrfStatus, GlobalAndLocalDefaultsAndNamespaceLimit) {
  auto global = Ip::allVrfStatusGlobalFactory("global")->vrfIs(L3::VrfName("red"));
  EXPECT_EQ(global->routeDistinguisher(), Lumen::RouteDistinguisher());
  EXPECT_EQ(global->routeDistinguisherPrecedence(), Precedence::invalid);

  auto local = Ip::VrfStatusLocal::VrfStatusLocalIs(L3::VrfName("red"));
  EXPECT_EQ(local->state(), Ip::VrfState::initializing);
  EXPECT_EQ(local->networkNamespace(), Lumen::NamespaceName());
  EXPECT_EQ(local->nsInode(), 0u);
  EXPECT_FALSE(local->nsInodeValid());

  struct LocalLog : Ip::VrfStatusLocal::NotifieeConst {
    int ns = 0, state = 0;
    void onNetworkNamespace() override { ++ns; }
    void onState() override { ++state; }
  } ll;
  ll.notifierIs(local);
  const Lumen::NamespaceName ns150(std::string(150, 'n'));
  local->networkNamespaceIs(ns150);
  local->networkNamespaceIs(ns150);
  EXPECT_EQ(ll.ns, 1);
  try {
    local->networkNamespaceIs(Lumen::NamespaceName(std::string(151, 'n')));
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(), "NamespaceName::bytes > 150 not allowed");
  }
  EXPECT_EQ(local->networkNamespace(), ns150);
  EXPECT_EQ(ll.ns, 1);
  // No order is enforced between the states.
  local->stateIs(Ip::VrfState::deleting);
  local->stateIs(Ip::VrfState::initializing);
  EXPECT_EQ(ll.state, 2);

  auto locals = Ip::allVrfStatusLocalFactory("local");
  EXPECT_EQ(locals->vrfIs(L3::VrfName("red"))->state(), Ip::VrfState::initializing);
}

TEST(VrfEnums, StateAndPrecedenceOperations) {
  EXPECT_EQ(Ip::VrfStateInstance(1u), Ip::VrfState::active);
  EXPECT_EQ(Ip::VrfStateInstance(Orv::String("deleting")), Ip::VrfState::deleting);
  EXPECT_THROW(Ip::VrfStateInstance(3u), Orv::RangeException);
  EXPECT_EQ(Ip::ClientPrecedenceInstance(2u), Precedence::vrfDefinition);
  EXPECT_EQ(Ip::ClientPrecedenceInstance(Orv::String("bgp")), Precedence::bgp);
  EXPECT_EQ(stringValue(Precedence::invalid), "invalid");
  EXPECT_EQ(Orv::strepToValue<Precedence>("vrfDefinition"), Precedence::vrfDefinition);
  EXPECT_STREQ(Orv::typeNode("Ip::RouteDistinguisherInput::ClientPrecedence")->name,
               "Ip::RouteDistinguisherInput::ClientPrecedence");
}

TEST(RouteDistinguisherInput, DerivedInputsCarryTheirPrecedenceAndTheBaseCollection) {
  auto bgp = Ip::bgpRouteDistinguisherInputFactory("bgp");
  auto def = Ip::vrfDefinitionRouteDistinguisherInputFactory("config");
  EXPECT_EQ(bgp->clientPrecedence(), Precedence::bgp);
  EXPECT_EQ(def->clientPrecedence(), Precedence::vrfDefinition);
  EXPECT_TRUE(bgp->routeDistinguisher().empty());
  EXPECT_STREQ(bgp->fwkType().name, "Ip::BgpRouteDistinguisherInput");
  EXPECT_STREQ(def->fwkType().name, "Ip::VrfDefinitionRouteDistinguisherInput");
  auto base = Ip::routeDistinguisherInputFactory("other", Precedence::bgp);
  EXPECT_STREQ(base->fwkType().name, "Ip::RouteDistinguisherInput");

  struct Log : Ip::BgpRouteDistinguisherInput::NotifieeConst {
    int rd = 0;
    void onRouteDistinguisher(const L3::VrfName&) override { ++rd; }
  } log;
  log.notifierIs(bgp);
  const Lumen::RouteDistinguisher rd("65000:1");
  bgp->routeDistinguisherIs(L3::VrfName("red"), rd);
  bgp->routeDistinguisherIs(L3::VrfName("red"), rd);
  EXPECT_EQ(log.rd, 1);
  bgp->routeDistinguisherDel(L3::VrfName("blue"));
  EXPECT_EQ(log.rd, 1);
  bgp->routeDistinguisherDel(L3::VrfName("red"));
  EXPECT_EQ(log.rd, 2);
}

}  // namespace
