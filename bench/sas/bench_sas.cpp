// IPv6 source-address selection with tracing off: one chooseSourceAddress
// call, and the fold over an interface's 4, 16 and 64 addresses, each beside
// the floor of comparing the same addresses with Ip6Addr's operator<.
//
// Inputs are drawn (fixed seed) from link-local, site-local, unique-local,
// multicast, global, 2002::/16, IPv4-mapped, loopback and unspecified
// addresses, so every rule gets to decide some of the calls.
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <ipmodel/Ip6/SourceAddressSelection.h>

#include "BenchMain.h"

namespace {

using Lumen::Ip6Addr;
using Lumen::Ip6AddrWithMask;

class AddressGen {
 public:
  explicit AddressGen(std::uint32_t seed) : rng_(seed) {}

  Ip6Addr operator()() {
    static constexpr std::array<std::array<std::uint8_t, 2>, 8> bases = {{
        {0xfe, 0x80},
        {0xfe, 0xc0},
        {0xfd, 0x00},
        {0xff, 0x02},
        {0x20, 0x01},
        {0x20, 0x01},
        {0x20, 0x02},
        {0x00, 0x00},
    }};
    const std::size_t kind = pick(bases.size() + 2);
    if (kind == bases.size()) return Lumen::ip6AddrLoopback;
    if (kind == bases.size() + 1) return Lumen::ip6AddrZero;
    Ip6Addr::Bytes b{bases[kind][0], bases[kind][1]};
    if (pick(2) == 0) {
      // Same /64 as its neighbours: long common prefixes, some equal ones.
      b[15] = static_cast<std::uint8_t>(pick(16));
    } else {
      for (std::size_t i = 2; i < 16; ++i) b[i] = static_cast<std::uint8_t>(pick(256));
    }
    if (kind == bases.size() - 1) {  // ::ffff:a.b.c.d
      for (std::size_t i = 2; i < 10; ++i) b[i] = 0;
      b[10] = b[11] = 0xff;
    }
    return Ip6Addr(b);
  }

  std::size_t pick(std::size_t n) {
    return std::uniform_int_distribution<std::size_t>(0, n - 1)(rng_);
  }

 private:
  std::mt19937 rng_;
};

struct Triple {
  Ip6Addr sa, sb, d;
};

// A power of two, so the index wraps with a mask.
constexpr std::size_t tripleCount = 1024;

const std::vector<Triple>& triples() {
  static const std::vector<Triple> all = [] {
    AddressGen gen(3484);
    std::vector<Triple> v(tripleCount);
    for (Triple& t : v) t = {gen(), gen(), gen()};
    return v;
  }();
  return all;
}

void BM_ChooseSourceAddress(benchmark::State& state) {
  const std::vector<Triple>& in = triples();
  std::size_t i = 0;
  ipmodel::bench::AllocCounter allocs;
  for (auto _ : state) {
    const Triple& t = in[i++ & (tripleCount - 1)];
    benchmark::DoNotOptimize(Ip6::chooseSourceAddress(t.sa, t.sb, t.d));
  }
  ipmodel::bench::allocCountersIs(state, allocs);
}

void BM_ChooseSourceAddressFloor(benchmark::State& state) {
  const std::vector<Triple>& in = triples();
  std::size_t i = 0;
  for (auto _ : state) {
    const Triple& t = in[i++ & (tripleCount - 1)];
    benchmark::DoNotOptimize(t.sa < t.sb);
  }
}

BENCHMARK(BM_ChooseSourceAddress);
IPMODEL_BENCHMARK_FLOOR(BM_ChooseSourceAddressFloor, BM_ChooseSourceAddress);

// 64 interfaces' address lists of state.range(0) members each, and as many
// destinations; each iteration folds one list for one destination.
struct FoldInput {
  std::vector<std::vector<Ip6AddrWithMask>> lists;
  std::vector<Ip6Addr> destinations;
};

constexpr std::size_t foldCases = 64;

FoldInput foldInput(std::size_t members) {
  AddressGen gen(static_cast<std::uint32_t>(6724 + members));
  FoldInput in;
  in.lists.resize(foldCases);
  for (auto& list : in.lists) {
    for (std::size_t k = 0; k < members; ++k) list.emplace_back(gen(), 64);
  }
  for (std::size_t k = 0; k < foldCases; ++k) in.destinations.push_back(gen());
  return in;
}

void BM_BestSourceAddress(benchmark::State& state) {
  const FoldInput in = foldInput(static_cast<std::size_t>(state.range(0)));
  const auto addrOf = [](const Ip6AddrWithMask& m) { return m.address(); };
  std::size_t i = 0;
  ipmodel::bench::AllocCounter allocs;
  for (auto _ : state) {
    const std::size_t k = i++ & (foldCases - 1);
    benchmark::DoNotOptimize(Ip6::bestSourceAddress(in.lists[k], addrOf, in.destinations[k]));
  }
  ipmodel::bench::allocCountersIs(state, allocs);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The least address of the list: one operator< per member.
void BM_BestSourceAddressFloor(benchmark::State& state) {
  const FoldInput in = foldInput(static_cast<std::size_t>(state.range(0)));
  std::size_t i = 0;
  for (auto _ : state) {
    const std::vector<Ip6AddrWithMask>& list = in.lists[i++ & (foldCases - 1)];
    Ip6Addr best = list.front().address();
    for (const Ip6AddrWithMask& m : list) {
      if (m.address() < best) best = m.address();
    }
    benchmark::DoNotOptimize(best);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_BestSourceAddress)->Arg(4)->Arg(16)->Arg(64);
IPMODEL_BENCHMARK_FLOOR(BM_BestSourceAddressFloor, BM_BestSourceAddress)->Arg(4)->Arg(16)->Arg(64);

}  // namespace

IPMODEL_BENCH_MAIN();
