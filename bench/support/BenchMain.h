// Shared main for benchmark programs, with floors measured in the same run.
//
// A floor is the cheapest thing a benchmark could possibly do (the bare loop,
// a raw array store, a memcpy of the same bytes). A benchmark registered as X
// pairs with the floor registered as "floor/X" (arguments included: X/8 pairs
// with floor/X/8). After the usual console output, the program prints
//
//   name | time/op | floor time/op | ratio
//
// for every pair, so a reader sees what the code costs over the floor on the
// same machine in the same run. Times are CPU time per iteration (averaged
// over repetitions), which other load on the machine disturbs least.
//
//   static void BM_Lookup(benchmark::State& state) { ... }
//   static void BM_LookupFloor(benchmark::State& state) { ... }
//   BENCHMARK(BM_Lookup)->Arg(8);
//   IPMODEL_BENCHMARK_FLOOR(BM_LookupFloor, BM_Lookup)->Arg(8);
//   IPMODEL_BENCH_MAIN();
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <string_view>
#include <vector>

#include "AllocCounter.h"

namespace ipmodel::bench {

inline constexpr std::string_view floorPrefix = "floor/";

// One measured run: its full name and its time per iteration in seconds.
struct Timing {
  std::string name;
  double seconds;
};

// The table for every benchmark that has a floor, in the order the
// benchmarks ran, followed by a note for each floor whose benchmark is
// missing. Empty when there are no floors.
std::string floorTable(const std::vector<Timing>& timings);

// Adds "allocs/op" and "bytes/op" counters for the allocations the calling
// thread made since counter started, averaged over the run's iterations.
void allocCountersIs(benchmark::State& state, const AllocCounter& counter);

int benchMain(int argc, char** argv);

}  // namespace ipmodel::bench

// Registers fn as the floor of the benchmark registered as `of`. Chain
// arguments as on BENCHMARK (they must match the benchmark's).
#define IPMODEL_BENCHMARK_FLOOR(fn, of) BENCHMARK(fn)->Name("floor/" #of)

// Use in place of BENCHMARK_MAIN(), followed by a semicolon.
#define IPMODEL_BENCH_MAIN()                                                          \
  int main(int argc, char** argv) { return ::ipmodel::bench::benchMain(argc, argv); } \
  int main(int, char**)
