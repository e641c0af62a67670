// The IPv6 model at the scale of a large router: 100,000 interfaces spread
// over 100 VRFs, each with one link-local and three global addresses, beside
// a floor of plain structs in std::unordered_maps doing the same work with
// the same selection rules.
//
// One cycle has three phases, each timed and reported per interface:
//   Build   for every interface: its L3::Intf::Status (VRF set), its
//           Ip6::IntfStatus (Ip6::Input::Status::intfIs) with its four
//           addresses, listed in Ip6::Status and in its VRF's
//           Ip6::VrfIp6IntfStatus
//   Fold    every interface's sourceAddressForDestination once, in random
//           order (looked up by interface id in Ip6::Status), for a
//           destination of its own
//   Delete  every listing, status and layer-3 record removed, in random
//           order, then the VRFs
// Every benchmark runs one untimed cycle first and then whole cycles with the
// timer running only during its own phase. After the timings the program
// prints per interface and phase: CPU time, allocations, bytes requested
// from the allocator, and the change of the heap in use (malloc's own count,
// overhead included; negative when the phase frees).

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <typeinfo>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "PhaseBench.h"

#include <ipmodel/Ip6/Ip6.h>

namespace {

using Lumen::IntfId;
using Lumen::Ip6Addr;
using Lumen::Ip6AddrWithMask;

constexpr std::size_t kIntfs = 100000;
constexpr std::size_t kVrfs = 100;
constexpr std::size_t kAddrs = 4;  // one link-local, three global

Ip6Addr addr(std::uint16_t g0, std::uint16_t g1, std::uint16_t g2, std::uint16_t g3,
             std::uint16_t last) {
  Ip6Addr::Bytes b{};
  const std::uint16_t groups[4] = {g0, g1, g2, g3};
  for (int i = 0; i < 4; ++i) {
    b[2 * i] = static_cast<std::uint8_t>(groups[i] >> 8);
    b[2 * i + 1] = static_cast<std::uint8_t>(groups[i]);
  }
  b[14] = static_cast<std::uint8_t>(last >> 8);
  b[15] = static_cast<std::uint8_t>(last);
  return Ip6Addr(b);
}

struct Inputs {
  std::vector<IntfId> ids;  // in build order
  std::vector<std::string> names;
  std::vector<L3::VrfName> vrfs;  // interface i is in VRF i % kVrfs
  std::vector<std::string> vrfNames;
  std::vector<Ip6AddrWithMask> addrs;  // kAddrs per interface
  std::vector<Ip6Addr> dests;          // interface i's destination
  std::vector<std::uint32_t> order;    // the order of fold and delete
};

const Inputs& inputs() {
  static const Inputs in = [] {
    Inputs r;
    for (std::size_t i = 0; i < kIntfs; ++i) {
      r.names.push_back("Ethernet" + std::to_string(i + 1));
      r.ids.emplace_back(r.names.back());
      const auto hi = static_cast<std::uint16_t>(i >> 16);
      const auto lo = static_cast<std::uint16_t>(i);
      r.addrs.emplace_back(addr(0xfe80, 0, 0, 0, static_cast<std::uint16_t>(i % 65535 + 1)), 64);
      for (std::uint16_t k = 1; k <= 3; ++k) {
        r.addrs.emplace_back(addr(0x2001, 0x0db8, hi, static_cast<std::uint16_t>(lo + k), k), 64);
      }
      // Shares the most bits with the second global address, so the fold
      // changes its answer on the way.
      r.dests.push_back(addr(0x2001, 0x0db8, hi, static_cast<std::uint16_t>(lo + 2), 0x99));
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

enum Phase { build, fold, remove, phaseCount };
constexpr const char* phaseNames[phaseCount] = {"Build", "Fold", "Delete"};

using Cycle = ipmodel::bench::PhaseCycle<phaseCount>;
using PhaseTimer = ipmodel::bench::PhaseTimer<phaseCount>;

// What both sides must answer: the second global address for every
// interface, by the construction of the inputs.
bool expected(std::size_t i, const Ip6Addr& a) {
  return a == inputs().addrs[i * kAddrs + 2].address();
}

// --- the model ------------------------------------------------------------------

Cycle modelCycle(PhaseTimer timer) {
  const Inputs& in = inputs();
  auto l3Input = L3::Intf::Input::statusDirFactory("l3Input");
  auto ip6Input = Ip6::Input::statusFactory("ip6Input");
  auto ip6Status = Ip6::statusFactory("ip6Status");
  const auto liveStatuses = Orv::allocTrack<Ip6::IntfStatus>().liveObjects();
  Cycle c;

  timer.run(build, c, [&] {
    for (std::size_t i = 0; i < kIntfs; ++i) {
      const L3::VrfName& vrf = in.vrfs[i % kVrfs];
      auto l3 = l3Input->intfStatusIs(in.ids[i]);
      l3->vrfIs(vrf);
      auto s = ip6Input->intfIs(in.ids[i], l3);
      for (std::size_t k = 0; k < kAddrs; ++k)
        s->addrIs(Ip6::AddressInfo(in.addrs[i * kAddrs + k]));
      ip6Status->intfIs(s);
      ip6Status->vrfIp6IntfStatusIs(vrf)->ip6IntfStatusIs(s);
    }
  });

  std::size_t right = 0;
  timer.run(fold, c, [&] {
    for (std::uint32_t i : in.order) {
      right +=
          expected(i, ip6Status->ipIntfStatus(in.ids[i])->sourceAddressForDestination(in.dests[i]));
    }
  });

  c.ok = right == kIntfs && ip6Status->intf().size() == kIntfs &&
         ip6Status->vrfIp6IntfStatus().size() == kVrfs &&
         ip6Status->ipIntfStatus(in.ids[0])->addr().size() == kAddrs;

  timer.run(remove, c, [&] {
    for (std::uint32_t i : in.order) {
      const IntfId& id = in.ids[i];
      ip6Status->vrfIp6IntfStatus(in.vrfs[i % kVrfs])->ip6IntfStatusDel(id);
      ip6Status->intfDel(id);
      ip6Input->intfDel(id);
      l3Input->intfStatusDel(id);
    }
    for (const L3::VrfName& vrf : in.vrfs) ip6Status->vrfIp6IntfStatusDel(vrf);
  });

  c.ok = c.ok && ip6Status->intf().empty() && ip6Status->vrfIp6IntfStatus().empty() &&
         Orv::allocTrack<Ip6::IntfStatus>().liveObjects() == liveStatuses;
  return c;
}

// --- the floor --------------------------------------------------------------------

struct PlainL3Status {
  std::string intfId;
  std::string vrf = "default";
};

// The stored fields of Ip6::IntfStatus, largest first.
struct PlainIntfStatus {
  std::string intfId;
  std::unordered_set<Ip6AddrWithMask> addr;
  std::unordered_set<Ip6AddrWithMask> dadfailed;
  std::unordered_map<Ip6Addr, std::unordered_set<std::string>> mcaddr;
  std::string urpfAcl;
  std::string configSource;
  std::string unnumberedIntfId;
  PlainL3Status* l3Status = nullptr;
  std::uint32_t nsRetransmitInterval = 0;
  std::int32_t acceptDad = 0;
  std::uint32_t urpfMode = 0;
  std::uint32_t noArp = 0;
  std::uint16_t maxMssEgress = 0;
  std::uint16_t maxMssIngress = 0;
  bool enhancedDad = false;
  bool dpRoutingEnabled = false;
  bool attachedRoutes = true;
};

Cycle floorCycle(PhaseTimer timer) {
  const Inputs& in = inputs();
  std::unordered_map<std::string, PlainL3Status> l3Input;
  std::unordered_map<std::string, PlainIntfStatus> ip6Input;
  std::unordered_map<std::string, PlainIntfStatus*> ip6Status;
  std::unordered_map<std::string, std::unordered_map<std::string, PlainIntfStatus*>> vrfStatus;
  Cycle c;

  timer.run(build, c, [&] {
    for (std::size_t i = 0; i < kIntfs; ++i) {
      const std::string& name = in.names[i];
      const std::string& vrf = in.vrfNames[i % kVrfs];
      PlainL3Status& l3 = l3Input.try_emplace(name).first->second;
      l3.intfId = name;
      l3.vrf = vrf;
      PlainIntfStatus& s = ip6Input.try_emplace(name).first->second;
      s.intfId = name;
      s.l3Status = &l3;
      for (std::size_t k = 0; k < kAddrs; ++k) s.addr.insert(in.addrs[i * kAddrs + k]);
      ip6Status.try_emplace(name, &s);
      vrfStatus[vrf].try_emplace(name, &s);
    }
  });

  std::size_t right = 0;
  timer.run(fold, c, [&] {
    for (std::uint32_t i : in.order) {
      const PlainIntfStatus& s = *ip6Status.find(in.names[i])->second;
      right += expected(
          i, Ip6::bestSourceAddress(
                 s.addr, [](const Ip6AddrWithMask& a) { return a.address(); }, in.dests[i]));
    }
  });

  c.ok = right == kIntfs && ip6Status.size() == kIntfs && vrfStatus.size() == kVrfs;

  timer.run(remove, c, [&] {
    for (std::uint32_t i : in.order) {
      const std::string& name = in.names[i];
      vrfStatus.find(in.vrfNames[i % kVrfs])->second.erase(name);
      ip6Status.erase(name);
      ip6Input.erase(name);
      l3Input.erase(name);
    }
    for (const std::string& vrf : in.vrfNames) vrfStatus.erase(vrf);
  });

  c.ok = c.ok && ip6Status.empty() && vrfStatus.empty() && ip6Input.empty();
  return c;
}

// --- benchmarks -----------------------------------------------------------------------

ipmodel::bench::PhaseSeen<phaseCount> seen[2];
constexpr const char* benchNames[phaseCount] = {"Ip6Build", "Ip6Fold", "Ip6Delete"};
[[maybe_unused]] const int registered =
    ipmodel::bench::registerPhaseBenchmarks(benchNames, modelCycle, floorCycle, seen);

void printSummary(std::FILE* out) {
  const std::string units = "interface (" + std::to_string(kIntfs) + " interfaces, " +
                            std::to_string(kAddrs) + " addresses each, " + std::to_string(kVrfs) +
                            " VRFs)";
  ipmodel::bench::printPhaseTable(out, phaseNames, seen, static_cast<double>(kIntfs),
                                  units.c_str());
}

}  // namespace

int main(int argc, char** argv) { return ipmodel::bench::phaseBenchMain(argc, argv, printSummary); }
