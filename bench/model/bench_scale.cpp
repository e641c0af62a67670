// The IPv4 model at the scale of a large router: 100,000 layer-3 interfaces
// spread over 100 VRFs, beside a floor of plain structs in
// std::unordered_maps doing the same work.
//
// One cycle has three phases, each timed and reported per interface:
//   Build   for every interface: its L3::Intf::Status (in a producer's
//           L3::Intf::Input::StatusDir, VRF set), its Ip::IpIntfStatus
//           (Ip::Input::Status::ipIntfStatusIs), listed in Ip::Status and in
//           its VRF's Ip::VrfIpIntfStatus
//   Change  every interface's active address set once, in random order
//           (looked up by interface id)
//   Delete  every listing, status and layer-3 record removed, in random
//           order, then the VRFs
// Every benchmark runs one untimed cycle first and then whole cycles with the
// timer running only during its own phase, so its time is that phase's CPU
// time for all 100,000 interfaces. After the timings the program prints the
// same figures per interface, then the memory each side holds per interface
// once built: the model's tracked bytes (the allocation trackers'
// live bytes), and for both sides the heap in use (malloc's own count,
// overhead included) and the allocations made; then the size of one default
// Ip::IpIntfStatus beside a hand-packed struct with the same fields.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <typeinfo>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "PhaseBench.h"

#include <ipmodel/Ip/Ip.h>

namespace {

using Lumen::IntfId;
using Lumen::IpAddr;
using Lumen::IpAddrWithMask;

constexpr std::size_t kIntfs = 100000;
constexpr std::size_t kVrfs = 100;

struct Inputs {
  std::vector<IntfId> ids;  // in build order
  std::vector<std::string> names;
  std::vector<L3::VrfName> vrfs;  // interface i is in VRF i % kVrfs
  std::vector<std::string> vrfNames;
  std::vector<IpAddrWithMask> addrs;  // interface i's new address
  std::vector<std::uint32_t> order;   // the order of change and delete
};

const Inputs& inputs() {
  static const Inputs in = [] {
    Inputs r;
    for (std::size_t i = 0; i < kIntfs; ++i) {
      r.names.push_back("Ethernet" + std::to_string(i + 1));
      r.ids.emplace_back(r.names.back());
      r.addrs.emplace_back(IpAddr::fromHostOrder(0x0a000001u + static_cast<std::uint32_t>(i) * 4u),
                           30);
      r.order.push_back(static_cast<std::uint32_t>(i));
    }
    for (std::size_t v = 0; v < kVrfs; ++v) {
      r.vrfNames.push_back("vrf" + std::to_string(v));
      r.vrfs.emplace_back(r.vrfNames.back());
    }
    std::shuffle(r.order.begin(), r.order.end(), std::mt19937(3));
    return r;
  }();
  return in;
}

enum Phase { build, change, remove, phaseCount };
constexpr const char* phaseNames[phaseCount] = {"Build", "Change", "Delete"};

using Cycle = ipmodel::bench::PhaseCycle<phaseCount>;
using PhaseTimer = ipmodel::bench::PhaseTimer<phaseCount>;
using ipmodel::bench::trackedBytes;

// --- the model ------------------------------------------------------------------

Cycle modelCycle(PhaseTimer timer) {
  const Inputs& in = inputs();
  auto l3Input = L3::Intf::Input::statusDirFactory("l3Input");
  auto ipInput = Ip::Input::statusFactory("ipInput");
  auto ipStatus = Ip::statusFactory("ipStatus");
  const auto liveStatuses = Orv::allocTrack<Ip::IpIntfStatus>().liveObjects();
  const auto liveL3 = Orv::allocTrack<L3::Intf::Status>().liveObjects();
  Cycle c;

  timer.run(build, c, [&] {
    for (std::size_t i = 0; i < kIntfs; ++i) {
      const L3::VrfName& vrf = in.vrfs[i % kVrfs];
      auto l3 = l3Input->intfStatusIs(in.ids[i]);
      l3->vrfIs(vrf);
      auto s = ipInput->ipIntfStatusIs(in.ids[i], l3);
      ipStatus->ipIntfStatusIs(s);
      ipStatus->vrfIpIntfStatusIs(vrf)->ipIntfStatusIs(s);
    }
  });

  timer.run(change, c, [&] {
    for (std::uint32_t i : in.order) {
      ipInput->ipIntfStatus(in.ids[i])->activeAddrWithMaskIs(in.addrs[i]);
    }
  });

  c.ok = ipStatus->ipIntfStatus().size() == kIntfs && ipStatus->vrfIpIntfStatus().size() == kVrfs &&
         ipStatus->ipIntfStatus(in.ids[0])->activeAddrWithMask() == in.addrs[0] &&
         ipStatus->ipIntfStatus(in.ids[0])->vrf() == in.vrfs[0];

  timer.run(remove, c, [&] {
    for (std::uint32_t i : in.order) {
      const IntfId& id = in.ids[i];
      ipStatus->vrfIpIntfStatus(in.vrfs[i % kVrfs])->ipIntfStatusDel(id);
      ipStatus->ipIntfStatusDel(id);
      ipInput->ipIntfStatusDel(id);
      l3Input->intfStatusDel(id);
    }
    for (const L3::VrfName& vrf : in.vrfs) ipStatus->vrfIpIntfStatusDel(vrf);
  });

  c.ok = c.ok && ipStatus->ipIntfStatus().empty() && ipStatus->vrfIpIntfStatus().empty() &&
         Orv::allocTrack<Ip::IpIntfStatus>().liveObjects() == liveStatuses &&
         Orv::allocTrack<L3::Intf::Status>().liveObjects() == liveL3;
  return c;
}

// --- the floor --------------------------------------------------------------------

struct PlainL3Status {
  std::string intfId;
  std::string vrf = "default";
};

// The fields of Ip::IpIntfStatus, largest first so that nothing is padded.
struct PackedIntfStatus {
  std::string intfId;
  std::map<IpAddrWithMask, bool> activeSecondaryWithMask;
  std::unordered_map<IpAddr, std::unordered_set<std::string>> mcaddr;
  std::string urpfAcl;
  std::string configSource;
  std::string unnumberedIntfId;
  PlainL3Status* l3Status = nullptr;
  std::uint32_t urpfMode = 0;
  std::uint32_t noArp = 0;
  std::uint32_t addresslessForwarding = 0;
  std::uint16_t maxMssEgress = 0;
  std::uint16_t maxMssIngress = 0;
  IpAddrWithMask activeAddrWithMask;
  bool useVirtualAddr = false;
  bool dpRoutingEnabled = false;
  bool directedBroadcastEnabled = false;
  bool attachedRoutes = true;
};

Cycle floorCycle(PhaseTimer timer) {
  const Inputs& in = inputs();
  std::unordered_map<std::string, PlainL3Status> l3Input;
  std::unordered_map<std::string, PackedIntfStatus> ipInput;
  std::unordered_map<std::string, PackedIntfStatus*> ipStatus;
  std::unordered_map<std::string, std::unordered_map<std::string, PackedIntfStatus*>> vrfStatus;
  Cycle c;

  timer.run(build, c, [&] {
    for (std::size_t i = 0; i < kIntfs; ++i) {
      const std::string& name = in.names[i];
      const std::string& vrf = in.vrfNames[i % kVrfs];
      PlainL3Status& l3 = l3Input.try_emplace(name).first->second;
      l3.intfId = name;
      l3.vrf = vrf;
      PackedIntfStatus& s = ipInput.try_emplace(name).first->second;
      s.intfId = name;
      s.l3Status = &l3;
      ipStatus.try_emplace(name, &s);
      vrfStatus[vrf].try_emplace(name, &s);
    }
  });

  timer.run(change, c, [&] {
    for (std::uint32_t i : in.order) {
      PackedIntfStatus& s = ipInput.find(in.names[i])->second;
      if (!(s.activeAddrWithMask == in.addrs[i])) s.activeAddrWithMask = in.addrs[i];
    }
  });

  c.ok = ipStatus.size() == kIntfs && vrfStatus.size() == kVrfs &&
         ipStatus.at(in.names[0])->activeAddrWithMask == in.addrs[0];

  timer.run(remove, c, [&] {
    for (std::uint32_t i : in.order) {
      const std::string& name = in.names[i];
      vrfStatus.find(in.vrfNames[i % kVrfs])->second.erase(name);
      ipStatus.erase(name);
      ipInput.erase(name);
      l3Input.erase(name);
    }
    for (const std::string& vrf : in.vrfNames) vrfStatus.erase(vrf);
  });

  c.ok = c.ok && ipStatus.empty() && vrfStatus.empty() && ipInput.empty();
  return c;
}

// --- benchmarks -----------------------------------------------------------------------

ipmodel::bench::PhaseSeen<phaseCount> seen[2];
[[maybe_unused]] const int registered =
    ipmodel::bench::registerPhaseBenchmarks(phaseNames, modelCycle, floorCycle, seen);

void printSummary(std::FILE* out) {
  const double n = static_cast<double>(kIntfs);
  const std::string units =
      "interface (" + std::to_string(kIntfs) + " interfaces, " + std::to_string(kVrfs) + " VRFs)";
  ipmodel::bench::printPhaseTable(out, phaseNames, seen, n, units.c_str());
  if (seen[0].ran) {
    std::fprintf(out, "  %-28s | %10.1f | %10s |\n", "tracked bytes after Build",
                 static_cast<double>(seen[0].last.phase[build].tracked) / n, "-");
  }

  const std::uint64_t before = trackedBytes();
  std::uint64_t oneStatus = 0;
  {
    auto s = Ip::ipIntfStatusFactory(IntfId("Ethernet1"), nullptr);
    oneStatus = trackedBytes() - before;
  }
  std::fprintf(out, "\none default interface status\n");
  std::fprintf(out, "  sizeof(Ip::IpIntfStatus)          %zu\n", sizeof(Ip::IpIntfStatus));
  std::fprintf(out, "  tracked bytes of one              %llu\n",
               static_cast<unsigned long long>(oneStatus));
  std::fprintf(out, "  sizeof(hand-packed struct)        %zu\n", sizeof(PackedIntfStatus));
  std::fprintf(out, "  ratio (tracked / packed)          %.2f\n",
               static_cast<double>(oneStatus) / static_cast<double>(sizeof(PackedIntfStatus)));
}

}  // namespace

int main(int argc, char** argv) { return ipmodel::bench::phaseBenchMain(argc, argv, printSummary); }
