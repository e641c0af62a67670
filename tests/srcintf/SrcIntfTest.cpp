// The IPv4 source-interface machines, driven by sequences of status events:
// records follow the active address, reference counts, deletion, zombie
// reactors when a machine goes, and the exact trace lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/Orv/Trace.h>
#include <ipmodel/SrcIntf/SrcIntf.h>

namespace {

using Ip::SourceIntf::SourceIntfSm;
using Ip::SourceIntf::VrfSourceIntfSm;
using Lumen::IntfId;
using Lumen::IpAddr;
using Lumen::IpAddrWithMask;

struct SrcIntfTest : ::testing::Test {
  L3::Intf::Input::StatusDir::Ptr l3 = L3::Intf::Input::statusDirFactory("l3");
  Ip::Input::Status::Ptr input = Ip::Input::statusFactory("input");
  Ip::Status::Ptr status = Ip::statusFactory("status");
  Ip::SourceIntf::SourceIntfDir::Ptr dir = Ip::SourceIntf::sourceIntfDirFactory("dir");

  // An interface status in the input, with an active address, not yet listed.
  Ip::IpIntfStatus::Ptr intf(const char* id, const char* addr) {
    auto s = input->ipIntfStatusIs(IntfId(id), l3->intfStatusIs(IntfId(id)));
    s->activeAddrWithMaskIs(IpAddrWithMask(addr));
    return s;
  }
  void list(const Ip::IpIntfStatus::Ptr& s, const char* vrf = "default") {
    status->ipIntfStatusIs(s);
    status->vrfIpIntfStatusIs(L3::VrfName(vrf))->ipIntfStatusIs(s);
  }
  void unlist(const char* id, const char* vrf = "default") {
    status->ipIntfStatusDel(IntfId(id));
    status->vrfIpIntfStatusIs(L3::VrfName(vrf))->ipIntfStatusDel(IntfId(id));
  }
};

struct AddrLog : Ip::SourceIntf::SourceIntf::NotifieeConst {
  std::vector<std::string> seen;
  void onIpAddr() override { seen.push_back(Orv::valueToStrep(notifier()->ipAddr())); }
};

TEST_F(SrcIntfTest, RecordFollowsTheActiveAddressThroughTheStatusLifecycle) {
  auto sm = SourceIntfSm::SourceIntfSmIs(dir, status);
  auto rec = sm->registerSourceIntf(IntfId("Ethernet1"));  // no status yet
  EXPECT_EQ(rec->refCnt(), 1u);
  EXPECT_EQ(rec->ipAddr(), IpAddr());
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet1")), rec);
  AddrLog log;
  log.notifierIs(rec);

  auto s = intf("Ethernet1", "10.0.0.1/24");
  list(s);  // status added later: the record takes its address
  s->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/24"));
  s->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/16"));  // same address: record unchanged
  unlist("Ethernet1");                                     // status removed: cleared, record kept
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet1")), rec);
  list(s);  // re-added
  EXPECT_EQ(log.seen, (std::vector<std::string>{"10.0.0.1", "10.0.0.2", "0.0.0.0", "10.0.0.2"}));

  // Another interface's changes do not reach this record.
  list(intf("Ethernet2", "10.9.9.9/8"));
  EXPECT_EQ(log.seen.size(), 4u);
  sm->unregisterSourceIntf(rec);
}

TEST_F(SrcIntfTest, ExistingStatusesAndRecordsAreFilledWhenAMachineStarts) {
  list(intf("Ethernet1", "10.0.0.1/24"));
  list(intf("Ethernet2", "10.0.0.2/24"));
  auto early = dir->sourceIntfIs(IntfId("Ethernet2"));  // a record that predates the machine
  auto sm = SourceIntfSm::SourceIntfSmIs(dir, status);
  EXPECT_EQ(sm->ipIntfStatus().size(), 2u);
  EXPECT_EQ(early->ipAddr(), IpAddr("10.0.0.2"));
  auto rec = sm->registerSourceIntf(IntfId("Ethernet1"));
  EXPECT_EQ(rec->ipAddr(), IpAddr("10.0.0.1"));
  sm->unregisterSourceIntf(rec);
}

TEST_F(SrcIntfTest, ReferenceCountsAndTheirWrap) {
  auto sm = SourceIntfSm::SourceIntfSmIs(dir, status);
  auto a = sm->registerSourceIntf(IntfId("Ethernet1"));
  auto b = sm->registerSourceIntf(IntfId("Ethernet1"));
  EXPECT_EQ(a, b);
  EXPECT_EQ(a->refCnt(), 2u);
  sm->unregisterSourceIntf(a);
  EXPECT_EQ(a->refCnt(), 1u);
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet1")), a);
  sm->unregisterSourceIntf(a);
  EXPECT_EQ(a->refCnt(), 0u);
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet1")), nullptr);

  // Unregistering a record nobody registered wraps the count; it stays.
  auto stray = dir->sourceIntfIs(IntfId("Ethernet3"));
  sm->unregisterSourceIntf(stray);
  EXPECT_EQ(stray->refCnt(), 4294967295u);
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet3")), stray);
}

TEST_F(SrcIntfTest, DestroyingAMachineClearsTheAddressesItFilled) {
  list(intf("Ethernet1", "10.0.0.1/24"));
  auto sm = SourceIntfSm::SourceIntfSmIs(dir, status);
  auto a = sm->registerSourceIntf(IntfId("Ethernet1"));
  auto b = sm->registerSourceIntf(IntfId("Ethernet5"));  // no status
  EXPECT_EQ(a->ipAddr(), IpAddr("10.0.0.1"));
  sm = nullptr;
  EXPECT_EQ(a->ipAddr(), IpAddr());
  EXPECT_EQ(a->refCnt(), 1u);
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet1")), a);
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet5")), b);
  // With no machine watching, later changes reach nobody.
  input->ipIntfStatus(IntfId("Ethernet1"))->activeAddrWithMaskIs(IpAddrWithMask("10.7.7.7/8"));
  EXPECT_EQ(a->ipAddr(), IpAddr());
}

TEST_F(SrcIntfTest, VrfMachineSeesOnlyItsVrf) {
  list(intf("Ethernet1", "10.0.0.1/24"), "red");
  list(intf("Ethernet2", "10.0.0.2/24"), "blue");
  auto sm = VrfSourceIntfSm::VrfSourceIntfSmIs(dir, status->vrfIpIntfStatusIs(L3::VrfName("red")));
  auto red = sm->registerSourceIntf(IntfId("Ethernet1"));
  auto blue = sm->registerSourceIntf(IntfId("Ethernet2"));
  EXPECT_EQ(red->ipAddr(), IpAddr("10.0.0.1"));
  EXPECT_EQ(blue->ipAddr(), IpAddr());  // its status lies in another VRF
  input->ipIntfStatus(IntfId("Ethernet1"))->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.9/24"));
  input->ipIntfStatus(IntfId("Ethernet2"))->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.8/24"));
  EXPECT_EQ(red->ipAddr(), IpAddr("10.0.0.9"));
  EXPECT_EQ(blue->ipAddr(), IpAddr());
  status->vrfIpIntfStatusIs(L3::VrfName("red"))->ipIntfStatusDel(IntfId("Ethernet1"));
  EXPECT_EQ(red->ipAddr(), IpAddr());
  sm->unregisterSourceIntf(red);
  sm->unregisterSourceIntf(blue);
  EXPECT_TRUE(dir->sourceIntf().empty());
}

TEST_F(SrcIntfTest, VrfMachineLifecycle) {
  auto vrf = status->vrfIpIntfStatusIs(L3::VrfName("red"));
  auto sm = VrfSourceIntfSm::VrfSourceIntfSmIs(dir, vrf);
  auto rec = sm->registerSourceIntf(IntfId("Ethernet1"));  // before any status
  EXPECT_EQ(rec->ipAddr(), IpAddr());
  AddrLog log;
  log.notifierIs(rec);
  auto s = intf("Ethernet1", "10.0.0.1/24");
  vrf->ipIntfStatusIs(s);  // status added later
  s->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/24"));
  s->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/25"));  // same address
  vrf->ipIntfStatusDel(IntfId("Ethernet1"));               // removed
  vrf->ipIntfStatusIs(s);                                  // re-added
  EXPECT_EQ(log.seen, (std::vector<std::string>{"10.0.0.1", "10.0.0.2", "0.0.0.0", "10.0.0.2"}));

  EXPECT_EQ(sm->registerSourceIntf(IntfId("Ethernet1")), rec);
  EXPECT_EQ(rec->refCnt(), 2u);
  sm->unregisterSourceIntf(rec);
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet1")), rec);
  sm = nullptr;  // machine destroyed: zombie reactor clears the address
  EXPECT_EQ(rec->ipAddr(), IpAddr());
  EXPECT_EQ(rec->refCnt(), 1u);
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet1")), rec);

  sm = VrfSourceIntfSm::VrfSourceIntfSmIs(dir, vrf);  // a new machine refills it
  EXPECT_EQ(rec->ipAddr(), IpAddr("10.0.0.2"));
  sm->unregisterSourceIntf(rec);  // to zero: removed
  EXPECT_EQ(dir->sourceIntf(IntfId("Ethernet1")), nullptr);
  sm->unregisterSourceIntf(rec);  // once more: wraps, nothing reports it
  EXPECT_EQ(rec->refCnt(), 4294967295u);
  log.notifierIs(nullptr);
}

TEST_F(SrcIntfTest, NullReactorTargetsAreRefused) {
  auto sm = SourceIntfSm::SourceIntfSmIs(dir, status);
  try {
    sm->ipIntfStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "null _ipIntfStatus parameter to mutator for "
                 "Ip::SourceIntf::SourceIntfSm::ipIntfStatus not allowed\"");
  }
  auto vsm = VrfSourceIntfSm::VrfSourceIntfSmIs(dir, status->vrfIpIntfStatusIs(L3::VrfName("v")));
  try {
    vsm->ipIntfStatusIs(nullptr);
    FAIL();
  } catch (const Orv::RangeException& e) {
    EXPECT_STREQ(e.what(),
                 "null _ipIntfStatus parameter to mutator for "
                 "Ip::SourceIntf::VrfSourceIntfSm::ipIntfStatus not allowed\"");
  }
}

struct TraceCapture {
  std::vector<std::string> lines;
  TraceCapture() {
    Orv::traceLevelIs("SrcIntf", 8, true);
    Orv::traceSinkIs([this](const Orv::TraceRecord& r) {
      EXPECT_EQ(r.handle, "SrcIntf");
      EXPECT_EQ(r.level, 8);
      EXPECT_EQ(r.message.substr(0, r.function.size()), r.function);
      lines.emplace_back(r.message);
    });
  }
  ~TraceCapture() {
    Orv::traceSinkIs(nullptr);
    Orv::traceLevelIs("SrcIntf", 8, false);
  }
};

TEST_F(SrcIntfTest, TraceLinesOfTheWholeSystemMachine) {
  auto s = intf("Ethernet1", "10.0.0.1/24");
  list(s);
  auto sm = SourceIntfSm::SourceIntfSmIs(dir, status);
  std::vector<std::string> lines;
  {
    TraceCapture t;
    auto rec = sm->registerSourceIntf(IntfId("Ethernet1"));
    unlist("Ethernet1");
    sm->unregisterSourceIntf(rec);
    lines = t.lines;
  }
  const std::string reg =
      "Ip::SourceIntf::SourceIntf::Ptr "
      "Ip::SourceIntf::SourceIntfSm::registerSourceIntf(Lumen::IntfId)";
  const std::string addr =
      "void Ip::SourceIntf::SourceIntfSm::handleActiveAddrWithMask(Lumen::IntfId)";
  const std::string del = "void Ip::SourceIntf::SourceIntfSm::OrvIpIntfStatus::handleDel()";
  const std::string unreg = "void Ip::SourceIntf::SourceIntfSm::unregisterSourceIntf(const Ptr&)";
  EXPECT_EQ(lines, (std::vector<std::string>{
                       reg + ":Ethernet1",
                       reg + " adding entry Ethernet1",
                       addr + ":Ethernet1",
                       addr + " inserting IP address 10.0.0.1/24",
                       reg + ":Refcnt: 1",
                       del + ":Ethernet1",
                       del + " clearing IP address 10.0.0.1/24",
                       unreg + ":Ethernet1",
                       unreg + ":Refcnt: 0",
                       unreg + "deleting Ethernet1 from collection",
                   }));
}

TEST_F(SrcIntfTest, TraceLinesOfTheVrfMachineAndNothingWhenOff) {
  auto s = intf("Ethernet1", "10.0.0.1/24");
  list(s, "red");
  auto sm = VrfSourceIntfSm::VrfSourceIntfSmIs(dir, status->vrfIpIntfStatusIs(L3::VrfName("red")));
  std::vector<std::string> quiet;
  Orv::traceSinkIs([&](const Orv::TraceRecord& r) { quiet.emplace_back(r.message); });
  auto pre = sm->registerSourceIntf(IntfId("Ethernet9"));
  Orv::traceSinkIs(nullptr);
  EXPECT_TRUE(quiet.empty());
  std::vector<std::string> lines;
  {
    TraceCapture t;
    auto rec = sm->registerSourceIntf(IntfId("Ethernet1"));
    s->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.5/24"));
    sm = nullptr;  // zombie reactors clear what they filled
    lines = t.lines;
  }
  const std::string reg =
      "Ip::SourceIntf::SourceIntf::Ptr "
      "Ip::SourceIntf::VrfSourceIntfSm::registerSourceIntf(Lumen::IntfId)";
  const std::string addr =
      "void Ip::SourceIntf::VrfSourceIntfSm::OrvIpIntfStatus::handleActiveAddrWithMask()";
  const std::string del = "void Ip::SourceIntf::VrfSourceIntfSm::OrvIpIntfStatus::handleDel()";
  EXPECT_EQ(lines, (std::vector<std::string>{
                       reg + ":Ethernet1",
                       reg + " adding entry Ethernet1",
                       addr + ":Ethernet1",
                       addr + " inserting IP address 10.0.0.1/24",
                       reg + ":Refcnt: 1",
                       addr + ":Ethernet1",
                       addr + " inserting IP address 10.0.0.5/24",
                       del + ":Ethernet1",
                       del + " clearing IP address 10.0.0.5/24",
                   }));
}

}  // namespace
