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
#include <malloc.h>
#include <time.h>

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

#include "BenchMain.h"

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

std::uint64_t trackedBytes() {
  std::uint64_t sum = 0;
  for (const Orv::AllocTrackTypeInfo* t : Orv::AllocTrackTypeInfo::all()) sum += t->liveBytes();
  return sum;
}

// Bytes malloc has handed out and not had back, its chunk overhead included.
std::uint64_t heapInUse() {
  const struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

double cpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

enum Phase { build, change, remove, phaseCount };
constexpr const char* phaseNames[phaseCount] = {"Build", "Change", "Delete"};

// Runs the phases of one cycle in turn, keeping the CPU time of each; the
// benchmark's timer runs during the phase it reports only.
class PhaseTimer {
 public:
  PhaseTimer(benchmark::State* state, Phase reported) : state_(state), reported_(reported) {}

  template <class F>
  void run(Phase p, double (&seconds)[phaseCount], F&& body) {
    const bool timed = state_ && p == reported_;
    if (timed) state_->ResumeTiming();
    const double t0 = cpuSeconds();
    body();
    seconds[p] = cpuSeconds() - t0;
    if (timed) state_->PauseTiming();
  }

 private:
  benchmark::State* state_;
  Phase reported_;
};

struct Cycle {
  double seconds[phaseCount] = {};
  // After Build, what it added.
  std::int64_t trackedBytes = 0;
  std::int64_t heapBytes = 0;
  std::uint64_t allocations = 0;
  bool ok = true;
};

// Live objects of T as the library's trackers count them. The sum over the
// registry: Orv::allocTrack<T>() called from this program is not the tracker
// the library counts into.
template <class T>
std::uint64_t liveObjectsOf() {
  std::uint64_t sum = 0;
  for (const Orv::AllocTrackTypeInfo* t : Orv::AllocTrackTypeInfo::all()) {
    if (t->type() == typeid(T)) sum += t->liveObjects();
  }
  return sum;
}

// --- the model ------------------------------------------------------------------

Cycle modelCycle(PhaseTimer timer) {
  const Inputs& in = inputs();
  auto l3Input = L3::Intf::Input::statusDirFactory("l3Input");
  auto ipInput = Ip::Input::statusFactory("ipInput");
  auto ipStatus = Ip::statusFactory("ipStatus");
  const auto liveStatuses = liveObjectsOf<Ip::IpIntfStatus>();
  const auto liveL3 = liveObjectsOf<L3::Intf::Status>();
  Cycle c;

  const std::uint64_t tracked0 = trackedBytes();
  const std::uint64_t heap0 = heapInUse();
  ipmodel::bench::AllocCounter allocs;
  timer.run(build, c.seconds, [&] {
    for (std::size_t i = 0; i < kIntfs; ++i) {
      const L3::VrfName& vrf = in.vrfs[i % kVrfs];
      auto l3 = l3Input->intfStatusIs(in.ids[i]);
      l3->vrfIs(vrf);
      auto s = ipInput->ipIntfStatusIs(in.ids[i], l3);
      ipStatus->ipIntfStatusIs(s);
      ipStatus->vrfIpIntfStatusIs(vrf)->ipIntfStatusIs(s);
    }
  });
  c.allocations = allocs.allocations();
  c.trackedBytes = static_cast<std::int64_t>(trackedBytes() - tracked0);
  c.heapBytes = static_cast<std::int64_t>(heapInUse()) - static_cast<std::int64_t>(heap0);

  timer.run(change, c.seconds, [&] {
    for (std::uint32_t i : in.order) {
      ipInput->ipIntfStatus(in.ids[i])->activeAddrWithMaskIs(in.addrs[i]);
    }
  });

  c.ok = ipStatus->ipIntfStatus().size() == kIntfs && ipStatus->vrfIpIntfStatus().size() == kVrfs &&
         ipStatus->ipIntfStatus(in.ids[0])->activeAddrWithMask() == in.addrs[0] &&
         ipStatus->ipIntfStatus(in.ids[0])->vrf() == in.vrfs[0];

  timer.run(remove, c.seconds, [&] {
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
         liveObjectsOf<Ip::IpIntfStatus>() == liveStatuses &&
         liveObjectsOf<L3::Intf::Status>() == liveL3;
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

  const std::uint64_t heap0 = heapInUse();
  ipmodel::bench::AllocCounter allocs;
  timer.run(build, c.seconds, [&] {
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
  c.allocations = allocs.allocations();
  c.heapBytes = static_cast<std::int64_t>(heapInUse()) - static_cast<std::int64_t>(heap0);

  timer.run(change, c.seconds, [&] {
    for (std::uint32_t i : in.order) {
      PackedIntfStatus& s = ipInput.find(in.names[i])->second;
      if (!(s.activeAddrWithMask == in.addrs[i])) s.activeAddrWithMask = in.addrs[i];
    }
  });

  c.ok = ipStatus.size() == kIntfs && vrfStatus.size() == kVrfs &&
         ipStatus.at(in.names[0])->activeAddrWithMask == in.addrs[0];

  timer.run(remove, c.seconds, [&] {
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

// What the benchmarks saw, by side (0 model, 1 floor): the CPU time of each
// phase summed over the timed cycles of the benchmark reporting it (all
// repetitions), and the memory figures of the last cycle.
struct Seen {
  double phaseSeconds[phaseCount] = {};
  std::int64_t phaseCycles[phaseCount] = {};
  Cycle last;
  bool ran = false;
  double mean(int p) const { return phaseSeconds[p] / static_cast<double>(phaseCycles[p]); }
};
Seen seen[2];

template <bool model>
void BM_Scale(benchmark::State& state) {
  const auto phase = static_cast<Phase>(state.range(0));
  Cycle (*const run)(PhaseTimer) = model ? modelCycle : floorCycle;
  run(PhaseTimer(nullptr, phase));  // warms the heap and the inputs
  Cycle c;
  double sum = 0;
  for (auto _ : state) {
    state.PauseTiming();
    c = run(PhaseTimer(&state, phase));
    state.ResumeTiming();
    if (!c.ok) {
      state.SkipWithError("the cycle did not leave the expected contents");
      return;
    }
    sum += c.seconds[phase];
  }
  Seen& s = seen[model ? 0 : 1];
  s.phaseSeconds[phase] += sum;
  s.phaseCycles[phase] += state.iterations();
  s.last = c;
  s.ran = true;
}

[[maybe_unused]] const int registered = [] {
  for (int p = 0; p < phaseCount; ++p) {
    const std::string floorName = std::string(ipmodel::bench::floorPrefix) + phaseNames[p];
    for (auto* b : {benchmark::RegisterBenchmark(phaseNames[p], BM_Scale<true>),
                    benchmark::RegisterBenchmark(floorName.c_str(), BM_Scale<false>)}) {
      b->Arg(p)->Iterations(5)->Unit(benchmark::kMillisecond);
    }
  }
  return 0;
}();

void printSummary(std::FILE* out) {
  const double n = static_cast<double>(kIntfs);
  const Seen& m = seen[0];
  const Seen& f = seen[1];
  std::fprintf(out, "\nper interface (%zu interfaces, %zu VRFs)\n", kIntfs, kVrfs);
  std::fprintf(out, "  %-38s | %10s | %10s | %s\n", "", "model", "floor", "ratio");
  for (int p = 0; p < phaseCount; ++p) {
    if (m.phaseCycles[p] == 0 || f.phaseCycles[p] == 0) continue;
    std::fprintf(out, "  %-38s | %10.1f | %10.1f | %.2f\n",
                 (std::string(phaseNames[p]) + " CPU ns").c_str(), m.mean(p) / n * 1e9,
                 f.mean(p) / n * 1e9, m.mean(p) / f.mean(p));
  }
  if (m.ran) {
    std::fprintf(out, "  %-38s | %10.1f | %10s |\n", "tracked bytes after Build",
                 static_cast<double>(m.last.trackedBytes) / n, "-");
  }
  if (m.ran && f.ran) {
    std::fprintf(
        out, "  %-38s | %10.1f | %10.1f | %.2f\n", "heap bytes after Build (with malloc's)",
        static_cast<double>(m.last.heapBytes) / n, static_cast<double>(f.last.heapBytes) / n,
        static_cast<double>(m.last.heapBytes) / static_cast<double>(f.last.heapBytes));
    std::fprintf(out, "  %-38s | %10.2f | %10.2f | %.2f\n", "allocations in Build",
                 static_cast<double>(m.last.allocations) / n,
                 static_cast<double>(f.last.allocations) / n,
                 static_cast<double>(m.last.allocations) / static_cast<double>(f.last.allocations));
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

int main(int argc, char** argv) {
  // Machine-readable output on stdout stays clean: the summary then goes to
  // stderr.
  bool console = true;
  for (int i = 1; i < argc; ++i) {
    std::string_view arg(argv[i]);
    if (arg.starts_with("--benchmark_format=") && arg != "--benchmark_format=console") {
      console = false;
    }
  }
  const int rc = ipmodel::bench::benchMain(argc, argv);
  if (rc == 0) printSummary(console ? stdout : stderr);
  return rc;
}
