// Insert, lookup and delete in the framework's collections against the
// standard containers with the same keys, measured in the same run:
//
//   RbTreeMap<K, uint32_t>     floor std::map<K, uint32_t>
//   HashMap2018<K, uint32_t>   floor std::unordered_map<K, uint32_t>
//   HashMap<K, Member>         floor std::unordered_map<K, Member*>
//
// Keys are "Ethernet<n>" strings and distinct pseudo-random 32-bit numbers,
// at 1,000 and 100,000 members. One iteration is one operation on a map of
// about that size: inserts run from empty to full, deletes from full to
// empty, lookups hit present keys in an order unrelated to the insertion
// order. Resetting and refilling between rounds is not timed. The intrusive
// map's members exist beforehand (creating them is the caller's cost); its
// floor stores pointers to the same members.
#include <ipmodel/Orv/Collections.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "BenchMain.h"

namespace {

template <class K>
struct Member : Orv::PtrInterface, Orv::HashLink {
  explicit Member(const K& k) : key(k) {}
  const K key;
  std::uint32_t value = 0;
};
template <class K>
struct MemberKey {
  static const K& key(const Member<K>& m) { return m.key; }
};

// The keys of one size, their members, and three unrelated orders.
template <class K>
struct Data {
  std::vector<K> keys;
  std::vector<Orv::Ptr<Member<K>>> members;
  std::vector<std::size_t> insertOrder, lookupOrder, deleteOrder;
};

template <class K>
std::vector<K> makeKeys(std::size_t n, std::mt19937& rng) {
  std::vector<K> keys;
  if constexpr (std::is_same_v<K, std::string>) {
    for (std::size_t i = 0; i < n; ++i) keys.push_back("Ethernet" + std::to_string(i));
  } else {
    std::unordered_set<std::uint32_t> seen;
    while (keys.size() < n) {
      const std::uint32_t k = rng();
      if (seen.insert(k).second) keys.push_back(k);
    }
  }
  return keys;
}

template <class K>
const Data<K>& data(std::size_t n) {
  static std::map<std::size_t, std::unique_ptr<Data<K>>> cache;
  auto& d = cache[n];
  if (!d) {
    d = std::make_unique<Data<K>>();
    std::mt19937 rng(static_cast<std::uint32_t>(n));
    d->keys = makeKeys<K>(n, rng);
    for (const K& k : d->keys) d->members.emplace_back(new Member<K>(k));
    for (auto* order : {&d->insertOrder, &d->lookupOrder, &d->deleteOrder}) {
      order->resize(n);
      for (std::size_t i = 0; i < n; ++i) (*order)[i] = i;
      std::shuffle(order->begin(), order->end(), rng);
    }
  }
  return *d;
}

// One adaptor per container: add, get, del by key index, and clear.
template <class Map, class K>
struct ValueMap {
  Map m;
  void add(const Data<K>& d, std::size_t i) { m.insert(d.keys[i], std::uint32_t(i)); }
  const void* get(const Data<K>& d, std::size_t i) const { return m.find(d.keys[i]); }
  void del(const Data<K>& d, std::size_t i) { m.extract(d.keys[i]); }
  void clear() { m.clear(); }
};
template <class Map, class K>
struct StdValueMap : ValueMap<Map, K> {
  void add(const Data<K>& d, std::size_t i) { this->m.emplace(d.keys[i], std::uint32_t(i)); }
  const void* get(const Data<K>& d, std::size_t i) const {
    auto it = this->m.find(d.keys[i]);
    return it == this->m.end() ? nullptr : &it->second;
  }
  void del(const Data<K>& d, std::size_t i) { this->m.erase(d.keys[i]); }
};
template <class K>
struct Intrusive {
  Orv::HashMap<K, Member<K>, MemberKey<K>> m;
  void add(const Data<K>& d, std::size_t i) { m.insert(d.members[i]); }
  const void* get(const Data<K>& d, std::size_t i) const { return m.find(d.keys[i]); }
  void del(const Data<K>& d, std::size_t i) { m.extract(d.keys[i]); }
  void clear() { m.clear(); }
};
template <class K>
struct StdIntrusive {
  std::unordered_map<K, Member<K>*> m;
  void add(const Data<K>& d, std::size_t i) { m.emplace(d.keys[i], d.members[i].ptr()); }
  const void* get(const Data<K>& d, std::size_t i) const {
    auto it = m.find(d.keys[i]);
    return it == m.end() ? nullptr : it->second;
  }
  void del(const Data<K>& d, std::size_t i) { m.erase(d.keys[i]); }
  void clear() { m.clear(); }
};

template <class A, class K>
void fillAll(A& a, const Data<K>& d) {
  for (std::size_t i : d.insertOrder) a.add(d, i);
}

template <class A, class K>
void insertBench(benchmark::State& state) {
  const auto& d = data<K>(static_cast<std::size_t>(state.range(0)));
  // Every round fills a fresh container: clear() would leave the standard
  // map its grown bucket array, while ours gives the array back.
  std::optional<A> a(std::in_place);
  std::size_t next = 0;
  ipmodel::bench::AllocCounter allocs;
  for (auto _ : state) {
    a->add(d, d.insertOrder[next]);
    if (++next == d.keys.size()) {
      state.PauseTiming();
      a.emplace();
      next = 0;
      state.ResumeTiming();
    }
  }
  ipmodel::bench::allocCountersIs(state, allocs);
}

template <class A, class K>
void lookupBench(benchmark::State& state) {
  const auto& d = data<K>(static_cast<std::size_t>(state.range(0)));
  A a;
  fillAll(a, d);
  std::size_t next = 0;
  ipmodel::bench::AllocCounter allocs;
  for (auto _ : state) {
    const void* found = a.get(d, d.lookupOrder[next]);
    benchmark::DoNotOptimize(found);
    if (++next == d.keys.size()) next = 0;
  }
  ipmodel::bench::allocCountersIs(state, allocs);
  a.clear();
}

template <class A, class K>
void deleteBench(benchmark::State& state) {
  const auto& d = data<K>(static_cast<std::size_t>(state.range(0)));
  A a;
  fillAll(a, d);
  std::size_t next = 0;
  for (auto _ : state) {
    a.del(d, d.deleteOrder[next]);
    if (++next == d.keys.size()) {
      state.PauseTiming();
      fillAll(a, d);
      next = 0;
      state.ResumeTiming();
    }
  }
  a.clear();
}

// Registers name/op/keyName/size for the container A and floor/... for F.
template <class A, class F, class K>
void registerPair(const std::string& name, const char* keyName) {
  struct Op {
    const char* name;
    void (*ours)(benchmark::State&);
    void (*floor)(benchmark::State&);
  };
  const Op ops[] = {{"insert", insertBench<A, K>, insertBench<F, K>},
                    {"lookup", lookupBench<A, K>, lookupBench<F, K>},
                    {"delete", deleteBench<A, K>, deleteBench<F, K>}};
  for (const Op& op : ops) {
    for (int size : {1000, 100000}) {
      const std::string full = name + "/" + op.name + "/" + keyName;
      benchmark::RegisterBenchmark(full.c_str(), op.ours)->Arg(size);
      benchmark::RegisterBenchmark(("floor/" + full).c_str(), op.floor)->Arg(size);
    }
  }
}

template <class K>
void registerKey(const char* keyName) {
  registerPair<ValueMap<Orv::RbTreeMap<K, std::uint32_t>, K>,
               StdValueMap<std::map<K, std::uint32_t>, K>, K>("RbTreeMap", keyName);
  registerPair<ValueMap<Orv::HashMap2018<K, std::uint32_t>, K>,
               StdValueMap<std::unordered_map<K, std::uint32_t>, K>, K>("HashMap2018", keyName);
  registerPair<Intrusive<K>, StdIntrusive<K>, K>("HashMap", keyName);
}

[[maybe_unused]] const int registered = [] {
  registerKey<std::string>("string");
  registerKey<std::uint32_t>("u32");
  return 0;
}();

}  // namespace

IPMODEL_BENCH_MAIN();
