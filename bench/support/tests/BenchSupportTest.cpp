#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "AllocCounter.h"
#include "BenchMain.h"

namespace {

using ipmodel::bench::AllocCounter;
using ipmodel::bench::floorTable;
using ipmodel::bench::Timing;

TEST(FloorTable, PairsEachBenchmarkWithItsFloor) {
  std::string table = floorTable({{"BM_Lookup/8", 30e-9},
                                  {"floor/BM_Lookup/8", 10e-9},
                                  {"BM_Lookup/64", 2.5e-6},
                                  {"floor/BM_Lookup/64", 1e-6},
                                  {"BM_NoFloor", 1e-3}});
  EXPECT_EQ(table,
            "name         | time/op | floor time/op | ratio\n"
            "BM_Lookup/8  | 30 ns   | 10 ns         | 3.00\n"
            "BM_Lookup/64 | 2.5 us  | 1 us          | 2.50\n");
}

TEST(FloorTable, FloorsMeasuredFirstAndOrphanFloors) {
  std::string table =
      floorTable({{"floor/BM_A", 2e-3}, {"BM_A", 3e-3}, {"floor/BM_Typo", 1e-9}, {"BM_B", 1.0}});
  EXPECT_EQ(table,
            "name | time/op | floor time/op | ratio\n"
            "BM_A | 3 ms    | 2 ms          | 1.50\n"
            "floor/BM_Typo: no benchmark named BM_Typo\n");
}

TEST(FloorTable, NothingWithoutFloors) {
  EXPECT_EQ(floorTable({}), "");
  EXPECT_EQ(floorTable({{"BM_A", 1e-9}, {"BM_floor/x", 1e-9}}), "");
}

// Keeps the compiler from eliding a new/delete pair it can see whole.
template <class T>
T* kept(T* p) {
  benchmark::DoNotOptimize(p);
  return p;
}

TEST(AllocCounter, CountsThisThreadsAllocationsInTheRegion) {
  auto* early = kept(new int(1));
  AllocCounter counter;
  EXPECT_EQ(counter.allocations(), 0u);

  auto* one = kept(new long(2));
  auto* many = kept(new char[100]);
  std::vector<int> v;
  v.reserve(10);
  kept(v.data());
  EXPECT_EQ(counter.allocations(), 3u);
  EXPECT_EQ(counter.bytes(), sizeof(long) + 100 + 10 * sizeof(int));
  EXPECT_EQ(counter.frees(), 0u);

  delete kept(early);
  delete[] kept(many);
  EXPECT_EQ(counter.frees(), 2u);
  delete kept(one);

  // Another thread's allocations are its own; starting the thread allocates
  // its state here, once.
  counter.reset();
  std::thread([] { delete kept(new int(3)); }).join();
  EXPECT_LE(counter.allocations(), 1u);
}

TEST(AllocCounter, OverAlignedAndNothrowFormsAreCounted) {
  struct alignas(64) Wide {
    char bytes[64];
  };
  AllocCounter counter;
  auto* w = kept(new Wide);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(w) % 64, 0u);
  delete kept(w);
  delete kept(new (std::nothrow) int(4));
  EXPECT_EQ(counter.allocations(), 2u);
  EXPECT_EQ(counter.frees(), 2u);
}

}  // namespace
