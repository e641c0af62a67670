// Status trees of both families for the generic-view tests, and recorders
// that note, inside each counter notification, which counter moved and what
// the changed fields held at that moment.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/IpGen/IpGen.h>

namespace ipgentest {

using Lumen::IntfId;

struct Trees : ::testing::Test {
  L3::Intf::Input::StatusDir::Ptr l3 = L3::Intf::Input::statusDirFactory("l3");
  Ip::Input::Status::Ptr input4 = Ip::Input::statusFactory("input4");
  Ip::Status::Ptr status4 = Ip::statusFactory("status4");
  Ip6::Input::Status::Ptr input6 = Ip6::Input::statusFactory("input6");
  Ip6::Status::Ptr status6 = Ip6::statusFactory("status6");

  // An IPv4 interface status, listed in the system and in its VRF.
  Ip::IpIntfStatus::Ptr v4(const char* id, const char* addr = nullptr,
                           const char* vrf = "default") {
    auto s = input4->ipIntfStatusIs(IntfId(id), l3->intfStatusIs(IntfId(id)));
    if (addr) s->activeAddrWithMaskIs(Lumen::IpAddrWithMask(addr));
    status4->ipIntfStatusIs(s);
    status4->vrfIpIntfStatusIs(L3::VrfName(vrf))->ipIntfStatusIs(s);
    return s;
  }
  // The same for IPv6, with its addresses.
  Ip6::IntfStatus::Ptr v6(const char* id, std::vector<const char*> addrs = {},
                          const char* vrf = "default") {
    auto s = input6->intfIs(IntfId(id), l3->intfStatusIs(IntfId(id)));
    for (const char* a : addrs) s->addrIs(Ip6::AddressInfo(Lumen::Ip6AddrWithMask(a)));
    status6->intfIs(s);
    status6->vrfIp6IntfStatusIs(L3::VrfName(vrf))->ip6IntfStatusIs(s);
    return s;
  }
  Ip::VrfIpIntfStatus::Ptr vrf4(const char* vrf = "default") {
    return status4->vrfIpIntfStatusIs(L3::VrfName(vrf));
  }
  Ip6::VrfIp6IntfStatus::Ptr vrf6(const char* vrf = "default") {
    return status6->vrfIp6IntfStatusIs(L3::VrfName(vrf));
  }
};

inline std::string fields(const std::string& counter, const IpGen::IntfStatus& s) {
  return counter + " " + s.changedIntf().stringValue() + " " + Lumen::valueToStrep(s.changedAddr());
}

inline std::string fields(const std::string& counter, const IpGen::Status& s) {
  return counter + " " + s.changedVrf().stringValue() + " " + s.changedIntf().stringValue() + " " +
         Lumen::valueToStrep(s.changedAddr());
}

struct IntfLog : IpGen::IntfStatus::NotifieeConst {
  std::vector<std::string> log;
  void note(const char* c) { log.push_back(fields(c, *notifier())); }
  void onIntfStatusChanged() override { note("intfStatus"); }
  void onDpRoutingChanged() override { note("dpRouting"); }
  void onAddrChanged() override { note("addr"); }
  void onActiveAddrChanged() override { note("activeAddr"); }
  void onVirtualAddrChanged() override { note("virtualAddr"); }
  std::vector<std::string> take() { return std::exchange(log, {}); }
};

struct StatusLog : IpGen::Status::NotifieeConst {
  std::vector<std::string> log;
  void note(const char* c) { log.push_back(fields(c, *notifier())); }
  void onVrfCollectionChanged() override { note("vrfCollection"); }
  void onIntfInVrfChanged() override { note("intfInVrf"); }
  void onAddrChanged() override { note("addr"); }
  void onActiveAddrChanged() override { note("activeAddr"); }
  void onVirtualAddrChanged() override { note("virtualAddr"); }
  std::vector<std::string> take() { return std::exchange(log, {}); }
};

using Lines = std::vector<std::string>;

}  // namespace ipgentest
