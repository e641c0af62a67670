// Counting allocator for benchmarks and tests. Linking AllocCounter.cpp into a
// program replaces the global operator new and delete (every form) with
// malloc/free plus a per-thread count; the library itself is untouched, and
// programs that do not link it keep the standard allocator. Benchmarks get it
// through ipmodel_add_bench; a test program adds
// ${CMAKE_SOURCE_DIR}/bench/support/AllocCounter.cpp to its sources.
//
//   ipmodel::bench::AllocCounter allocs;
//   table.entryIs(key);
//   EXPECT_EQ(allocs.allocations(), 1u);
#pragma once

#include <cstdint>

namespace ipmodel::bench {

// Totals for the calling thread since it started.
struct AllocTotals {
  std::uint64_t allocations = 0;
  std::uint64_t frees = 0;
  std::uint64_t bytes = 0;  // requested by the allocations
};

AllocTotals allocTotals();

// Counts the calling thread's allocations from construction (or the last
// reset) on. Allocations made by other threads are not counted.
class AllocCounter {
 public:
  AllocCounter() : start_(allocTotals()) {}

  void reset() { start_ = allocTotals(); }
  std::uint64_t allocations() const { return allocTotals().allocations - start_.allocations; }
  std::uint64_t frees() const { return allocTotals().frees - start_.frees; }
  std::uint64_t bytes() const { return allocTotals().bytes - start_.bytes; }

 private:
  AllocTotals start_;
};

}  // namespace ipmodel::bench
