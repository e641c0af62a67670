// The generic source-interface machines on top of the generic machines:
// one machine serves either family, the whole-system and VRF machines differ
// where they are meant to, and the whole road of one event from the setter
// to a client of the record.
#include "IpGenFixture.h"

#include <ipmodel/IpGen/IpGenIntfSm.h>
#include <ipmodel/IpGen/IpGenStatusSm.h>
#include <ipmodel/Orv/Trace.h>
#include <ipmodel/SrcIntf/SrcGenIntf.h>

namespace {

using namespace ipgentest;
using IpGen::SourceIntf::SourceIntfSm;
using IpGen::SourceIntf::VrfSourceIntfSm;
using Lumen::Ip6AddrWithMask;
using Lumen::IpAddrWithMask;
using Lumen::IpGenAddr;

const IpGenAddr cleared{Lumen::IpAddr()};  // IPv4 0.0.0.0, in generic form

struct SrcGenIntf : Trees {
  IpGen::SourceIntf::SourceIntfDir::Ptr dir = IpGen::SourceIntf::sourceIntfDirFactory("dir");
};

// A client of a record: notes each address it is told of.
struct Client : IpGen::SourceIntf::SourceIntf::NotifieeConst {
  std::vector<std::string> seen;
  void onIpAddr() override { seen.push_back(Lumen::valueToStrep(notifier()->ipAddr())); }
};

TEST_F(SrcGenIntf, WholeSystemMachineFollowsEitherFamily) {
  for (bool six : {false, true}) {
    SCOPED_TRACE(six ? "IPv6" : "IPv4");
    IpGen::Status::Ptr gen;
    if (six) {
      gen = IpGen::ipv6StatusFactory(status6);
    } else {
      gen = IpGen::ipv4StatusFactory(status4);
    }
    auto statusSm = IpGen::statusSmFactory(gen);
    auto sm = SourceIntfSm::SourceIntfSmIs(dir, gen);
    // Registered before the interface exists: no address, no family.
    auto rec = sm->registerSourceIntf(IntfId("Ethernet1"));
    EXPECT_EQ(rec->ipAddr(), IpGenAddr());
    EXPECT_EQ(rec->refCnt(), 1u);
    if (six) {
      auto e = v6("Ethernet1", {"fe80::1/64"});
      e->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("fe80::2/64")));
      EXPECT_EQ(rec->ipAddr(), IpGenAddr("fe80::1"));  // the first link-local
      e->addrDel(Ip6AddrWithMask("fe80::1/64"));
      EXPECT_EQ(rec->ipAddr(), IpGenAddr("fe80::2"));
      vrf6()->ip6IntfStatusDel(IntfId("Ethernet1"));
      EXPECT_EQ(rec->ipAddr(), IpGenAddr("fe80::2"));  // still in the system
      status6->intfDel(IntfId("Ethernet1"));
      vrf6("red")->ip6IntfStatusIs(e);  // leaves no trace in the system
      vrf6("red")->ip6IntfStatusDel(IntfId("Ethernet1"));
    } else {
      auto e = v4("Ethernet1");
      e->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.1/24"));
      EXPECT_EQ(rec->ipAddr(), IpGenAddr("10.0.0.1"));
      status4->ipIntfStatusDel(IntfId("Ethernet1"));
      e->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.2/24"));  // gone: kept as it was
      EXPECT_EQ(rec->ipAddr(), IpGenAddr("10.0.0.1"));
      vrf4()->ipIntfStatusDel(IntfId("Ethernet1"));
    }
    // Leaving a VRF while absent from the system clears to IPv4 0.0.0.0,
    // also in a machine that watches IPv6.
    EXPECT_EQ(rec->ipAddr(), cleared);
    EXPECT_NE(rec->ipAddr(), IpGenAddr());
    sm->unregisterSourceIntf(rec);
    EXPECT_FALSE(dir->sourceIntf(IntfId("Ethernet1")));
  }
}

TEST_F(SrcGenIntf, VrfMachineTakesWhateverActiveAddrAnswers) {
  auto inside = v4("Ethernet1", "10.0.0.1/24", "red");
  auto outside = v4("Ethernet2", "10.0.2.1/24", "blue");
  auto gen = IpGen::ipv4IntfStatusFactory(vrf4("red"));
  auto intfSm = IpGen::intfSmFactory(gen);
  auto sm = VrfSourceIntfSm::VrfSourceIntfSmIs(dir, gen);
  auto r1 = sm->registerSourceIntf(IntfId("Ethernet1"));
  auto r2 = sm->registerSourceIntf(IntfId("Ethernet2"));
  auto again = sm->registerSourceIntf(IntfId("Ethernet1"));
  EXPECT_EQ(again, r1);
  EXPECT_EQ(r1->refCnt(), 2u);
  EXPECT_EQ(r1->ipAddr(), IpGenAddr("10.0.0.1"));
  // Outside the VRF activeAddr() is empty, and that is what is taken.
  r2->ipAddrIs(IpGenAddr("192.0.2.1"));
  gen->changedIntfIs(IntfId("Ethernet2"));
  gen->activeAddrChangedInc(1);
  EXPECT_EQ(r2->ipAddr(), IpGenAddr());
  // Changes of interfaces nobody registered change nothing.
  outside->activeAddrWithMaskIs(IpAddrWithMask("10.0.2.2/24"));
  EXPECT_EQ(dir->sourceIntf().size(), 2u);

  inside->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.9/24"));
  EXPECT_EQ(r1->ipAddr(), IpGenAddr("10.0.0.9"));
  vrf4("red")->ipIntfStatusDel(IntfId("Ethernet1"));
  EXPECT_EQ(r1->ipAddr(), cleared);
  sm->unregisterSourceIntf(r1);
  EXPECT_EQ(r1->refCnt(), 1u);
  EXPECT_TRUE(dir->sourceIntf(IntfId("Ethernet1")));
  // Deleting the machine leaves the directory as it is.
  sm = nullptr;
  EXPECT_EQ(dir->sourceIntf().size(), 2u);
}

TEST_F(SrcGenIntf, RoadOfOneEventFromSetterToClient) {
  // IPv4 through the VRF's interface machine, IPv6 through the whole-system
  // status machine; each client hears its record change once.
  auto e4 = v4("Ethernet1");
  auto e6 = v6("Ethernet2");
  auto gen4 = IpGen::ipv4IntfStatusFactory(vrf4());
  auto gen6 = IpGen::ipv6StatusFactory(status6);
  auto intfSm = IpGen::intfSmFactory(gen4);
  auto statusSm = IpGen::statusSmFactory(gen6);
  auto dir6 = IpGen::SourceIntf::sourceIntfDirFactory("dir6");
  auto src4 = VrfSourceIntfSm::VrfSourceIntfSmIs(dir, gen4);
  auto src6 = SourceIntfSm::SourceIntfSmIs(dir6, gen6);
  Client c4, c6;
  c4.notifierIs(src4->registerSourceIntf(IntfId("Ethernet1")));
  auto rec6 = src6->registerSourceIntf(IntfId("Ethernet2"));
  c6.notifierIs(rec6);
  IntfLog counters4;
  counters4.notifierIs(gen4);

  e4->activeAddrWithMaskIs(IpAddrWithMask("10.0.0.1/24"));
  e6->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("fe80::1/64")));
  EXPECT_EQ(counters4.take(),
            (Lines{"addr Ethernet1 10.0.0.1/24", "activeAddr Ethernet1 10.0.0.1/24"}));
  EXPECT_EQ(c4.seen, Lines{"10.0.0.1"});
  EXPECT_EQ(c6.seen, Lines{"fe80::1"});
  e6->addrIs(Ip6::AddressInfo(Ip6AddrWithMask("2001:db8::1/64")));  // not the active one
  EXPECT_EQ(c6.seen, Lines{"fe80::1"});

  src6->unregisterSourceIntf(rec6);
  EXPECT_FALSE(dir6->sourceIntf(IntfId("Ethernet2")));
  c4.notifierIs(nullptr);
  c6.notifierIs(nullptr);
  counters4.notifierIs(nullptr);
}

TEST_F(SrcGenIntf, TraceLines) {
  auto e1 = v6("Ethernet1", {"fe80::1/64"});
  auto gen = IpGen::ipv6StatusFactory(status6);
  auto statusSm = IpGen::statusSmFactory(gen);
  auto sm = SourceIntfSm::SourceIntfSmIs(dir, gen);
  std::vector<std::string> lines;
  Orv::traceLevelIs("SrcGenIntf", 8, true);
  Orv::traceSinkIs([&](const Orv::TraceRecord& r) {
    EXPECT_EQ(r.handle, "SrcGenIntf");
    EXPECT_EQ(r.message.substr(0, r.function.size()), r.function);
    lines.emplace_back(r.message);
  });
  auto rec = sm->registerSourceIntf(IntfId("Ethernet1"));
  status6->intfDel(IntfId("Ethernet1"));
  vrf6()->ip6IntfStatusDel(IntfId("Ethernet1"));
  sm->unregisterSourceIntf(rec);
  Orv::traceSinkIs(nullptr);
  Orv::traceLevelIs("SrcGenIntf", 8, false);
  const std::string reg =
      "IpGen::SourceIntf::SourceIntf::Ptr "
      "IpGen::SourceIntf::SourceIntfSm::registerSourceIntf(Lumen::IntfId)";
  const std::string addr =
      "void IpGen::SourceIntf::SourceIntfSm::handleActiveAddrWithMask(Lumen::IntfId)";
  const std::string intf = "void IpGen::SourceIntf::SourceIntfSm::handleIntf(Lumen::IntfId)";
  const std::string unreg =
      "void IpGen::SourceIntf::SourceIntfSm::unregisterSourceIntf(const Ptr&)";
  EXPECT_EQ(lines, (Lines{
                       reg + ":Ethernet1",
                       reg + " adding entry Ethernet1",
                       addr + ":Ethernet1",
                       addr + " inserting IP address fe80::1/64",
                       reg + ":Refcnt: 1",
                       intf + ":Ethernet1",
                       intf + " clearing IP address 0.0.0.0",
                       unreg + ":Ethernet1",
                       unreg + ":Refcnt: 0",
                       unreg + "deleting Ethernet1 from collection",
                   }));
}

}  // namespace
