// Protocol-agent model, status update requests, address sets, the bogon
// directory, the kernel-update record and the VRF-to-interface map.
#include <gtest/gtest.h>

#include <ipmodel/Ira/IraTypes.h>
#include <ipmodel/Ira/VrfToIntf.h>
#include <ipmodel/L3/L3.h>

namespace {

using Lumen::IntfId;

TEST(L3AgentModel, ConfigDefaultsAndConfiguredModel) {
  auto config = L3::configFactory("l3");
  EXPECT_EQ(config->protocolAgentModel().value(), "ribd");
  EXPECT_EQ(config->configuredProtocolAgentModel().value(), L3::ProtocolAgentModelType::ribd());
  EXPECT_EQ(L3::Config::protocolAgentModelDefault().value(), "ribd");
  struct Log : L3::Config::NotifieeConst {
    int configured = 0, inForce = 0;
    void onConfiguredProtocolAgentModel() override { ++configured; }
    void onProtocolAgentModel() override { ++inForce; }
  } log;
  log.notifierIs(config);
  const L3::ProtocolAgentModelType multi(L3::ProtocolAgentModelType::multiAgent());
  config->configuredProtocolAgentModelIs(multi);
  config->configuredProtocolAgentModelIs(multi);
  EXPECT_EQ(log.configured, 1);
  EXPECT_EQ(log.inForce, 0);
  EXPECT_EQ(config->protocolAgentModel().value(), "ribd");

  auto status = L3::protocolAgentModelStatusFactory("status");
  EXPECT_TRUE(!status->protocolAgentModel());
  EXPECT_EQ(status->protocolAgentModelChangeTime(), 0.0);
}

TEST(L3UpdateRequests, PlainAndPerVrfRequests) {
  auto plain = L3::updateIpIntfStatusRequestsFactory("requests");
  struct Log : L3::UpdateIpIntfStatusRequests::NotifieeConst {
    int request = 0;
    void onRequest(const IntfId&) override { ++request; }
  } log;
  log.notifierIs(plain);
  const L3::UpdateIpIntfStatusRequest r(IntfId("Ethernet1"), L3::VrfName("red"));
  plain->requestIs(r);
  plain->requestIs(r);
  EXPECT_EQ(log.request, 1);
  plain->requestIs(L3::UpdateIpIntfStatusRequest(IntfId("Ethernet1"), L3::VrfName("blue")));
  EXPECT_EQ(log.request, 2);
  EXPECT_EQ(Orv::valueToStrep(r),
            "Value('L3::UpdateIpIntfStatusRequest', ** {'intfId': Ethernet1, 'vrf': red})");

  auto perVrf = L3::updateIpIntfStatusVrfRequestsFactory("vrfRequests");
  struct VrfLog : L3::UpdateIpIntfStatusVrfRequests::NotifieeConst {
    int request = 0;
    void onRequest(const IntfId&) override { ++request; }
  } vlog;
  vlog.notifierIs(perVrf);
  auto req = perVrf->requestIs(IntfId("Ethernet1"), L3::VrfName("red"));
  EXPECT_EQ(perVrf->requestIs(IntfId("Ethernet1"), L3::VrfName("blue")), req);
  EXPECT_EQ(req->vrf(), L3::VrfName("blue"));
  EXPECT_EQ(vlog.request, 1);
  EXPECT_THROW(perVrf->requestIs(IntfId("Ethernet2"), L3::VrfName(std::string(101, 'v'))),
               Orv::RangeException);
}

TEST(IraAddrSets, SetsBogonsAndInterfaceNames) {
  auto set = Ira::addrSetFactory(Lumen::Prefix("10.0.0.0/8"));
  set->ipIs(Lumen::IpAddr("10.1.1.1"));
  set->ipIs(Lumen::IpAddr("10.1.1.1"));
  EXPECT_EQ(set->ip().size(), 1u);
  EXPECT_TRUE(set->ipDel(Lumen::IpAddr("10.1.1.1")));
  EXPECT_FALSE(set->ipDel(Lumen::IpAddr("10.1.1.1")));
  // The sets notify nobody, even a reactor that attaches.
  struct SetLog : Ira::AddrSet::NotifieeConst {
    int ip = 0;
    void onIp(const Lumen::IpAddr&) override { ++ip; }
  } sl;
  sl.notifierIs(set);
  set->ipIs(Lumen::IpAddr("10.2.2.2"));
  set->ipNotify(Lumen::IpAddr("10.2.2.2"));
  EXPECT_EQ(sl.ip, 0);

  auto ll = Ira::ip6LinkLocalAddrSetFactory(IntfId("Ethernet1"));
  ll->ipIs(Lumen::Ip6Addr("fe80::1"));
  EXPECT_TRUE(ll->ip(Lumen::Ip6Addr("fe80::1")));
  auto six = Ira::ip6AddrSetFactory(Lumen::Ip6Prefix("2001:db8::/32"));
  six->ipIs(Lumen::Ip6Addr("2001:db8::1"));
  six->ipDelAll();
  EXPECT_TRUE(six->ip().empty());

  auto bogon = Ira::addrSetBogonFactory("bogon");
  const Lumen::Prefix p("192.168.0.0/16");
  auto child = bogon->addrSetHackIs(p);
  struct BogonLog : Ira::AddrSetBogon::NotifieeConst {
    int sets = 0;
    void onAddrSetHack(const Lumen::Prefix&) override { ++sets; }
  } bl;
  bl.notifierIs(bogon);
  EXPECT_EQ(bogon->addrSetHackIs(p), child);
  EXPECT_EQ(bl.sets, 0);
  EXPECT_EQ(child->parent(), bogon.ptr());
  EXPECT_EQ(child->prefix(), p);
  EXPECT_EQ(bogon->addrSetHackDel(p), child);
  EXPECT_EQ(child->parent(), nullptr);
  EXPECT_EQ(bl.sets, 1);

  auto dir = Ira::intfDirFactory();
  dir->intfNameIs("Ethernet1");
  dir->intfNameIs("Ethernet1");
  EXPECT_EQ(dir->intfName().size(), 1u);
}

TEST(IraKernelUpdate, RecordDefaultsAndTries) {
  auto e = Ira::kernelUpdateCodefEntryFactory(IntfId("Ethernet1"));
  EXPECT_FALSE(e->procUpdate() || e->addrUpdate() || e->needClean());
  EXPECT_EQ(e->error(), 0u);
  EXPECT_EQ(e->firstTry(), 0.0);
  EXPECT_EQ(e->triesInc(1), 1u);
  EXPECT_EQ(e->triesInc(2), 3u);
}

TEST(IraVrfToIntf, InjectedInterfacePerVrf) {
  auto map = Ira::vrfToIntfMapFactory("vrfToIntf");
  struct Log : Ira::VrfToIntfMap::NotifieeConst {
    int inject = 0;
    void onInjectIntf(const L3::VrfName&) override { ++inject; }
  } log;
  log.notifierIs(map);
  map->injectIntfIs(L3::VrfName("red"), IntfId("Ethernet1"));
  map->injectIntfIs(L3::VrfName("red"), IntfId("Ethernet1"));
  EXPECT_EQ(log.inject, 1);
  map->injectIntfIs(L3::VrfName("red"), IntfId("Ethernet2"));
  EXPECT_EQ(log.inject, 2);
  map->injectIntfDel(L3::VrfName("blue"));
  EXPECT_EQ(log.inject, 2);
  map->injectIntfIs(L3::VrfName("blue"), IntfId("Ethernet3"));
  map->injectIntfDelAll();
  EXPECT_EQ(log.inject, 5);
  EXPECT_TRUE(map->hasBackupSupport());
  map->nameIsFromBackup("restored");
  EXPECT_EQ(map->name(), "restored");
}

}  // namespace
