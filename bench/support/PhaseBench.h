// Whole-cycle benchmarks at scale: a program builds a large model, works on
// it and tears it down, phase by phase, beside the same work on plain
// structs (the floor). Each cycle runs every phase; the benchmark named after
// a phase reports that phase's CPU time only, and a summary prints per-unit
// figures of both sides.
//
//   enum Phase { build, change, remove };
//   PhaseCycle<3> modelCycle(PhaseTimer<3> t) { t.run(build, c, [&] {...}); ... }
//   PhaseSeen<3> seen[2];
//   const int registered = registerPhaseBenchmarks<3>(names, modelCycle, floorCycle, seen);
//   int main(int argc, char** argv) { return phaseBenchMain(argc, argv, printSummary); }
#pragma once

#include <malloc.h>
#include <time.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include <ipmodel/Orv/AllocTrack.h>

#include "BenchMain.h"

namespace ipmodel::bench {

// CPU time of the calling thread, in seconds.
inline double cpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Bytes malloc has handed out and not had back, its chunk overhead included.
inline std::uint64_t heapInUse() {
  const struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

// Bytes of every live tracked object (entities and collection nodes).
inline std::uint64_t trackedBytes() {
  std::uint64_t sum = 0;
  for (const Orv::AllocTrackTypeInfo* t : Orv::AllocTrackTypeInfo::all()) sum += t->liveBytes();
  return sum;
}

struct PhaseFigures {
  double seconds = 0;
  std::uint64_t allocations = 0;
  std::uint64_t bytes = 0;   // requested
  std::int64_t heap = 0;     // change of the heap in use
  std::int64_t tracked = 0;  // change of the tracked bytes
};

template <int N>
struct PhaseCycle {
  PhaseFigures phase[N];
  bool ok = true;  // the cycle left the expected contents
};

// Runs one phase, keeping its CPU time and memory figures; the benchmark's
// timer runs during the phase it reports only.
template <int N>
class PhaseTimer {
 public:
  PhaseTimer(benchmark::State* state, int reported) : state_(state), reported_(reported) {}

  template <class F>
  void run(int p, PhaseCycle<N>& c, F&& body) {
    const bool timed = state_ && p == reported_;
    const std::uint64_t heap0 = heapInUse();
    const std::uint64_t tracked0 = trackedBytes();
    AllocCounter allocs;
    if (timed) state_->ResumeTiming();
    const double t0 = cpuSeconds();
    body();
    const double t1 = cpuSeconds();
    if (timed) state_->PauseTiming();
    PhaseFigures& f = c.phase[p];
    f.seconds = t1 - t0;
    f.allocations = allocs.allocations();
    f.bytes = allocs.bytes();
    f.heap = static_cast<std::int64_t>(heapInUse()) - static_cast<std::int64_t>(heap0);
    f.tracked = static_cast<std::int64_t>(trackedBytes()) - static_cast<std::int64_t>(tracked0);
  }

 private:
  benchmark::State* state_;
  int reported_;
};

// What the benchmarks of one side saw: the CPU time of each phase summed
// over the timed cycles of the benchmark reporting it (all repetitions), and
// the last cycle's figures.
template <int N>
struct PhaseSeen {
  double phaseSeconds[N] = {};
  std::int64_t phaseCycles[N] = {};
  PhaseCycle<N> last;
  bool ran = false;
  double mean(int p) const { return phaseSeconds[p] / static_cast<double>(phaseCycles[p]); }
  bool has(int p) const { return phaseCycles[p] != 0; }
};

// Registers, for each phase p, names[p] running model cycles and its floor
// running floor cycles, both reporting phase p, five cycles each; fills
// seen[0] (model) and seen[1] (floor).
template <int N>
int registerPhaseBenchmarks(const char* const (&names)[N], PhaseCycle<N> (*model)(PhaseTimer<N>),
                            PhaseCycle<N> (*floor)(PhaseTimer<N>), PhaseSeen<N> (&seen)[2]) {
  for (int p = 0; p < N; ++p) {
    for (int side = 0; side < 2; ++side) {
      auto* run = side == 0 ? model : floor;
      PhaseSeen<N>* s = &seen[side];
      const std::string name = (side == 0 ? std::string() : std::string(floorPrefix)) + names[p];
      benchmark::RegisterBenchmark(
          name.c_str(),
          [run, s, p](benchmark::State& state) {
            run(PhaseTimer<N>(nullptr, p));  // warms the heap and inputs
            PhaseCycle<N> c;
            double sum = 0;
            for (auto _ : state) {
              state.PauseTiming();
              c = run(PhaseTimer<N>(&state, p));
              state.ResumeTiming();
              if (!c.ok) {
                state.SkipWithError("the cycle did not leave the expected contents");
                return;
              }
              sum += c.phase[p].seconds;
            }
            s->phaseSeconds[p] += sum;
            s->phaseCycles[p] += state.iterations();
            s->last = c;
            s->ran = true;
          })
          ->Iterations(5)
          ->Unit(benchmark::kMillisecond);
    }
  }
  return 0;
}

// Per-unit rows for every phase, model beside floor: CPU time (ns), and from
// the last cycle allocations, bytes requested and the heap's change. units
// names what n counts.
template <int N>
void printPhaseTable(std::FILE* out, const char* const (&names)[N], const PhaseSeen<N> (&seen)[2],
                     double n, const char* units) {
  const PhaseSeen<N>& m = seen[0];
  const PhaseSeen<N>& f = seen[1];
  if (!m.ran || !f.ran) return;
  auto ratio = [](double a, double b) { return b != 0 ? a / b : 0; };
  auto row = [&](const std::string& what, double a, double b, const char* fmt) {
    std::fprintf(out, fmt, what.c_str(), a / n, b / n, ratio(a, b));
  };
  std::fprintf(out, "\nper %s\n  %-28s | %10s | %10s | %s\n", units, "", "model", "floor", "ratio");
  for (int p = 0; p < N; ++p) {
    const PhaseFigures& mp = m.last.phase[p];
    const PhaseFigures& fp = f.last.phase[p];
    const std::string name = names[p];
    if (m.has(p) && f.has(p))
      row(name + " CPU ns", m.mean(p) * 1e9, f.mean(p) * 1e9, "  %-28s | %10.1f | %10.1f | %.2f\n");
    row(name + " allocations", double(mp.allocations), double(fp.allocations),
        "  %-28s | %10.2f | %10.2f | %.2f\n");
    row(name + " bytes requested", double(mp.bytes), double(fp.bytes),
        "  %-28s | %10.1f | %10.1f | %.2f\n");
    row(name + " heap change", double(mp.heap), double(fp.heap),
        "  %-28s | %10.1f | %10.1f | %.2f\n");
  }
}

// benchMain, then summary. Machine-readable output on stdout stays clean:
// the summary then goes to stderr.
inline int phaseBenchMain(int argc, char** argv, void (*summary)(std::FILE*)) {
  bool console = true;
  for (int i = 1; i < argc; ++i) {
    std::string_view arg(argv[i]);
    if (arg.starts_with("--benchmark_format=") && arg != "--benchmark_format=console")
      console = false;
  }
  const int rc = benchMain(argc, argv);
  if (rc == 0) summary(console ? stdout : stderr);
  return rc;
}

}  // namespace ipmodel::bench
