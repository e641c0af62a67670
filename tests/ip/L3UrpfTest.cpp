// Layer-3 interface records and their directories; uRPF values and tallies.
#include <gtest/gtest.h>

#include <ipmodel/L3/L3.h>
#include <ipmodel/L3/UrpfTypes.h>

namespace {

using Lumen::IntfId;

TEST(L3Records, DefaultVrfAndItsCheck) {
  auto c = L3::Intf::configFactory(IntfId("Ethernet1"));
  auto s = L3::Intf::statusFactory(IntfId("Ethernet1"));
  EXPECT_EQ(c->vrf(), L3::VrfName("default"));
  EXPECT_EQ(s->vrf(), L3::VrfName("default"));
  struct Log : L3::Intf::Config::NotifieeConst {
    int n = 0;
    void onVrf() override { ++n; }
  } r;
  r.notifierIs(c);
  c->vrfIs(L3::VrfName("default"));  // the current value: quiet
  c->vrfIs(L3::VrfName("mgmt"));
  EXPECT_EQ(r.n, 1);
  try {
    c->vrfIs(L3::VrfName(std::string(101, 'v')));
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(), "VrfName::bytes > VrfName::maxLength not allowed");
  }
  EXPECT_EQ(c->vrf(), L3::VrfName("mgmt"));
  c->vrfIs(L3::VrfName(std::string(100, 'v')));
  EXPECT_EQ(r.n, 2);
}

TEST(L3Directories, InstantiatingAndSharedViews) {
  auto cfgDir = L3::Intf::configDirFactory("config");
  struct Log : L3::Intf::ConfigDir::NotifieeConst {
    int n = 0;
    void onIntfConfig(const IntfId&) override { ++n; }
    void onVrfForwardingCmdShowOldFormat() override { ++n; }
  } r;
  r.notifierIs(cfgDir);
  auto a = cfgDir->intfConfigIs(IntfId("Ethernet1"));
  EXPECT_EQ(cfgDir->intfConfigIs(IntfId("Ethernet1")), a);
  EXPECT_EQ(r.n, 1);
  EXPECT_EQ(a->parent(), cfgDir.ptr());
  EXPECT_FALSE(cfgDir->vrfForwardingCmdShowOldFormat());
  cfgDir->vrfForwardingCmdShowOldFormatIs(true);
  EXPECT_EQ(r.n, 2);

  auto producer = L3::Intf::Input::statusDirFactory("agent");
  auto st = producer->intfStatusIs(IntfId("Ethernet1"));
  auto view = L3::Intf::statusDirFactory("status");
  try {
    view->intfStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "null _intfStatus parameter to mutator for L3::Intf::StatusDir::intfStatus not "
                 "allowed\"");
  }
  view->intfStatusIs(st);
  producer->intfStatusDel(IntfId("Ethernet1"));
  EXPECT_EQ(view->intfStatus(IntfId("Ethernet1")), st);  // shared, still alive

  auto all = L3::Intf::inputStatusDirFactory("input");
  try {
    all->inputStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "null _inputStatus parameter to mutator for L3::Intf::InputStatusDir::inputStatus "
                 "not allowed\"");
  }
  all->inputStatusIs(producer);
  EXPECT_EQ(all->inputStatus("agent"), producer);
  EXPECT_STREQ(L3::Intf::Input::StatusDir::orvType.name, "L3::Intf::Input::StatusDir");
}

TEST(Urpf, ValuesPrintAndCompare) {
  Urpf::UrpfConfig c;
  EXPECT_TRUE(!c);
  EXPECT_EQ(Orv::valueToStrep(c), "Value('Urpf::UrpfConfig', ** {'mode': disable, 'acl': })");
  Urpf::UrpfConfig a(Urpf::UrpfMode::strict, "acl1"), b(Urpf::UrpfMode::strict, "acl2");
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(!a);
  EXPECT_EQ(Orv::strepToValue<Urpf::UrpfConfig>(Orv::valueToStrep(a)), a);
  Urpf::UrpfStatus s;
  EXPECT_EQ(Orv::valueToStrep(s), "Value('Urpf::UrpfStatus', ** {'mode': disable, 'acl': })");
  EXPECT_EQ(Urpf::UrpfStateInstance(2u), Urpf::UrpfState::urpfErrorDisabled);
  EXPECT_EQ(stringValue(Urpf::UrpfMode::strictDefault), "strictDefault");
}

TEST(Urpf, TallyWrapsWithoutChecks) {
  auto t = Urpf::urpfOnAllIntfStatFactory();
  EXPECT_EQ(t->urpfOnLocalIntfCountDec(1), 4294967295u);
  EXPECT_EQ(t->urpfOnLocalIntfCountInc(2), 1u);
  t->urpfOnGlobalIntfCountIs(7);
  EXPECT_EQ(t->urpfOnGlobalIntfCountInc(3), 10u);
  EXPECT_STREQ(Urpf::UrpfOnAllIntfStat::orvType.name, "Urpf::UrpfOnAllIntfStat");
}

}  // namespace
