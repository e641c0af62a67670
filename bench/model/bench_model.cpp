// The generated model's everyday operations, each beside a floor: the
// cheapest hand-written code doing the same work in the same run.
//
//   Setter/N           IpIntfStatus::activeAddrWithMaskIs with N reactors,
//                      alternating two addresses so every call is a change;
//                      floor: compare-and-store into a plain struct plus one
//                      virtual call per reactor through pointers the compiler
//                      cannot see through
//   Ordered*/N         IpIntfConfig::secondaryWithMaskIs / (k) / Del with N
//                      members; floor: std::map with the same keys
//   Hashed*/N          Ip::Status::ipIntfStatusIs / (id) / Del with N
//                      members; floor: std::unordered_map<IntfId, Ptr> with
//                      the same hash function
//   EntityCreate       Ip::Config::ipIntfConfigIs(id) then ipIntfConfigDel(id)
//                      beside 1,000 others; floor: emplace and erase in a
//                      std::unordered_map<std::string, std::unique_ptr<S>>
//                      where S has IpIntfConfig's fields
//   TextWrite/Read     Orv::valueToStrep / strepToValue of an IntfAddrInfo;
//                      floor: snprintf / sscanf of the same text
//   AttrLogWrite/Read  `out << v` / IntfAddrInfo(in); floor: memcpy of the
//                      same bytes
//
// Insert and Del figures are for all N members (one iteration fills or
// empties the collection one member at a time); the console's items/s column
// gives the rate per member. Lookup and the rest are per operation.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "BenchMain.h"

#include <ipmodel/Ip/Ip.h>

namespace {

using Lumen::IntfId;
using Lumen::IpAddr;
using Lumen::IpAddrWithMask;

// n distinct /30 addresses in a fixed random order.
const std::vector<IpAddrWithMask>& addrKeys(std::size_t n) {
  static std::map<std::size_t, std::vector<IpAddrWithMask>> cache;
  auto& keys = cache[n];
  if (keys.empty()) {
    for (std::size_t i = 0; i < n; ++i) {
      keys.emplace_back(IpAddr::fromHostOrder(0x0a000000u + static_cast<std::uint32_t>(i) * 4u),
                        30);
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  }
  return keys;
}

// n distinct interface names ("Ethernet1"...), short enough to live inside
// the string object, in a fixed random order.
const std::vector<IntfId>& intfIds(std::size_t n) {
  static std::map<std::size_t, std::vector<IntfId>> cache;
  auto& ids = cache[n];
  if (ids.empty()) {
    for (std::size_t i = 0; i < n; ++i) ids.emplace_back("Ethernet" + std::to_string(i + 1));
    std::shuffle(ids.begin(), ids.end(), std::mt19937(2));
  }
  return ids;
}

// --- setter ------------------------------------------------------------------

struct AddrReactor : Ip::IpIntfStatus::NotifieeConst {
  std::int64_t calls = 0;
  void onActiveAddrWithMask() override { ++calls; }
};

// The two addresses a setter benchmark alternates between.
struct TwoAddrs {
  const IpAddrWithMask values[2] = {IpAddrWithMask(IpAddr::fromHostOrder(0x0a000001), 24),
                                    IpAddrWithMask(IpAddr::fromHostOrder(0x0a000002), 24)};
  const IpAddrWithMask& operator[](unsigned i) const { return values[i & 1u]; }
};

void BM_Setter(benchmark::State& state) {
  auto s = Ip::ipIntfStatusFactory(IntfId("Ethernet1"), nullptr);
  std::vector<std::unique_ptr<AddrReactor>> reactors;
  for (int i = 0; i < state.range(0); ++i) {
    reactors.push_back(std::make_unique<AddrReactor>());
    reactors.back()->notifierIs(s);
  }
  const TwoAddrs addrs;
  unsigned i = 0;
  for (auto _ : state) s->activeAddrWithMaskIs(addrs[++i]);
  for (const auto& r : reactors) {
    if (r->calls != state.iterations()) state.SkipWithError("a reactor missed a change");
  }
}

// The floor's reactors: two implementations, so that no call site has a
// single possible target.
struct FloorReactor {
  virtual ~FloorReactor() = default;
  virtual void onActiveAddrWithMask() = 0;
};
struct CountingFloorReactor : FloorReactor {
  std::int64_t calls = 0;
  void onActiveAddrWithMask() override { ++calls; }
};
struct FlagFloorReactor : FloorReactor {
  bool changed = false;
  void onActiveAddrWithMask() override { changed = !changed; }
};

struct FloorStatus {
  IpAddrWithMask activeAddrWithMask;
  FloorReactor* reactors[4] = {};
  int reactorCount = 0;
};

void BM_SetterFloor(benchmark::State& state) {
  CountingFloorReactor counting[4];
  FlagFloorReactor flag;
  FloorStatus s;
  s.reactorCount = static_cast<int>(state.range(0));
  for (int r = 0; r < s.reactorCount; ++r) s.reactors[r] = &counting[r];
  FloorReactor* other = &flag;
  benchmark::DoNotOptimize(other);
  benchmark::DoNotOptimize(s);  // the reactors' types are unknown from here on
  const TwoAddrs addrs;
  unsigned i = 0;
  for (auto _ : state) {
    const IpAddrWithMask& v = addrs[++i];
    if (!(s.activeAddrWithMask == v)) {
      s.activeAddrWithMask = v;
      for (int r = 0; r < s.reactorCount; ++r) s.reactors[r]->onActiveAddrWithMask();
    }
  }
  other->onActiveAddrWithMask();
  for (int r = 0; r < s.reactorCount; ++r) {
    if (counting[r].calls != state.iterations()) state.SkipWithError("a reactor missed a change");
  }
}

BENCHMARK(BM_Setter)->Arg(0)->Arg(1)->Arg(4);
IPMODEL_BENCHMARK_FLOOR(BM_SetterFloor, BM_Setter)->Arg(0)->Arg(1)->Arg(4);

// --- ordered collection: IpIntfConfig::secondaryWithMask ----------------------

// The model and the floor behind one interface, so each benchmark body is
// written once.
struct ModelOrdered {
  Ip::IpIntfConfig::Ptr c = Ip::ipIntfConfigFactory(IntfId("Ethernet1"));
  void insert(const IpAddrWithMask& k) { c->secondaryWithMaskIs(k, true); }
  bool lookup(const IpAddrWithMask& k) const { return c->secondaryWithMask(k); }
  void remove(const IpAddrWithMask& k) { c->secondaryWithMaskDel(k); }
  std::size_t size() const { return c->secondaryWithMask().size(); }
};

struct FloorOrdered {
  std::map<IpAddrWithMask, bool> m;
  void insert(const IpAddrWithMask& k) { m.emplace(k, true); }
  bool lookup(const IpAddrWithMask& k) const {
    auto it = m.find(k);
    return it != m.end() && it->second;
  }
  void remove(const IpAddrWithMask& k) { m.erase(k); }
  std::size_t size() const { return m.size(); }
};

// --- hashed collection: Ip::Status::ipIntfStatus ------------------------------

// Statuses to list, made once per size and shared by model and floor.
const std::vector<Ip::IpIntfStatus::PtrConst>& statuses(std::size_t n) {
  static std::map<std::size_t, std::vector<Ip::IpIntfStatus::PtrConst>> cache;
  auto& v = cache[n];
  if (v.empty()) {
    for (const IntfId& id : intfIds(n)) v.push_back(Ip::ipIntfStatusFactory(id, nullptr));
  }
  return v;
}

struct ModelHashed {
  Ip::Status::Ptr s = Ip::statusFactory("ipStatus");
  void insert(const Ip::IpIntfStatus::PtrConst& v) { s->ipIntfStatusIs(v); }
  const Ip::IpIntfStatus* lookup(const IntfId& k) const { return s->ipIntfStatus(k).ptr(); }
  void remove(const IntfId& k) { s->ipIntfStatusDel(k); }
  std::size_t size() const { return s->ipIntfStatus().size(); }
};

struct FloorHashed {
  std::unordered_map<IntfId, Ip::IpIntfStatus::PtrConst> m;
  void insert(const Ip::IpIntfStatus::PtrConst& v) { m.try_emplace(v->intfId(), v); }
  const Ip::IpIntfStatus* lookup(const IntfId& k) const {
    auto it = m.find(k);
    return it == m.end() ? nullptr : it->second.ptr();
  }
  void remove(const IntfId& k) { m.erase(k); }
  std::size_t size() const { return m.size(); }
};

// Members of one collection benchmark, in a fixed random order.
template <class Coll>
struct CollCase;

template <>
struct CollCase<ModelOrdered> {
  static const std::vector<IpAddrWithMask>& members(std::size_t n) { return addrKeys(n); }
  static const IpAddrWithMask& key(const IpAddrWithMask& m) { return m; }
};
template <>
struct CollCase<FloorOrdered> : CollCase<ModelOrdered> {};
template <>
struct CollCase<ModelHashed> {
  static const std::vector<Ip::IpIntfStatus::PtrConst>& members(std::size_t n) {
    return statuses(n);
  }
  static const IntfId& key(const Ip::IpIntfStatus::PtrConst& m) { return m->intfId(); }
};
template <>
struct CollCase<FloorHashed> : CollCase<ModelHashed> {};

enum class CollOp { insert, lookup, remove };

// Insert: one iteration fills the empty collection with all n members, one
// at a time. Del: one iteration removes them one at a time. Refilling and
// emptying happen with the timer paused, member by member, so the hashed
// tables keep the bucket arrays they grew and the timed part never rehashes.
// Lookup: one iteration looks up one member.
template <class Coll, CollOp op>
void BM_Coll(benchmark::State& state) {
  using Case = CollCase<Coll>;
  const auto n = static_cast<std::size_t>(state.range(0));
  const auto& members = Case::members(n);
  Coll coll;
  auto fill = [&] {
    for (const auto& m : members) coll.insert(m);
  };
  auto empty = [&] {
    for (const auto& m : members) coll.remove(Case::key(m));
  };
  fill();
  if constexpr (op == CollOp::lookup) {
    std::size_t i = 0;
    for (auto _ : state) {
      benchmark::DoNotOptimize(coll.lookup(Case::key(members[i])));
      if (++i == n) i = 0;
    }
  } else {
    if constexpr (op == CollOp::insert) empty();
    for (auto _ : state) {
      if constexpr (op == CollOp::insert) {
        fill();
        state.PauseTiming();
        empty();
      } else {
        empty();
        state.PauseTiming();
        fill();
      }
      state.ResumeTiming();
    }
    if constexpr (op == CollOp::insert) fill();
  }
  if (coll.size() != n) state.SkipWithError("collection size drifted");
  state.SetItemsProcessed(state.iterations() *
                          static_cast<std::int64_t>(op == CollOp::lookup ? 1 : n));
}

// Registers name and floor/name at 1,000 and 100,000 members.
template <class Model, class Floor, CollOp op>
int registerColl(const char* name) {
  const std::string floorName = std::string(ipmodel::bench::floorPrefix) + name;
  for (auto* b : {benchmark::RegisterBenchmark(name, BM_Coll<Model, op>),
                  benchmark::RegisterBenchmark(floorName.c_str(), BM_Coll<Floor, op>)}) {
    b->Arg(1000)->Arg(100000);
  }
  return 0;
}

[[maybe_unused]] const int collRegistered[] = {
    registerColl<ModelOrdered, FloorOrdered, CollOp::insert>("OrderedInsert"),
    registerColl<ModelOrdered, FloorOrdered, CollOp::lookup>("OrderedLookup"),
    registerColl<ModelOrdered, FloorOrdered, CollOp::remove>("OrderedDel"),
    registerColl<ModelHashed, FloorHashed, CollOp::insert>("HashedInsert"),
    registerColl<ModelHashed, FloorHashed, CollOp::lookup>("HashedLookup"),
    registerColl<ModelHashed, FloorHashed, CollOp::remove>("HashedDel"),
};

// --- entity creation: Ip::Config::ipIntfConfig ---------------------------------

constexpr std::size_t kResident = 1000;  // entities present throughout

void BM_EntityCreate(benchmark::State& state) {
  const auto& ids = intfIds(2 * kResident);
  auto config = Ip::configFactory("ipConfig");
  for (std::size_t i = 0; i < kResident; ++i) config->ipIntfConfigIs(ids[i]);
  std::size_t i = kResident;
  for (auto _ : state) {
    config->ipIntfConfigIs(ids[i]);
    config->ipIntfConfigDel(ids[i]);
    if (++i == ids.size()) i = kResident;
  }
  config->ipIntfConfigDelAll();
}

// The fields of Ip::IpIntfConfig in a plain struct.
struct PlainIntfConfig {
  explicit PlainIntfConfig(std::string id) : intfId(std::move(id)) {}
  std::string intfId;
  IpAddrWithMask addrWithMask;
  std::map<IpAddrWithMask, bool> secondaryWithMask;
  IpAddrWithMask virtualAddrWithMask;
  std::map<IpAddrWithMask, bool> virtualSecondaryWithMask;
  std::uint32_t addrSource = 0;
  std::uint32_t defaultRouteSource = 0;
  bool proxyArpEnabled = false;
  bool localProxyArpEnabled = false;
  bool gratuitousArpAccepted = false;
  bool forwarding = true;
  std::uint32_t scope = 0;
  std::uint32_t urpfMode = 0;
  std::string urpfAcl;
  void* l3Config = nullptr;
  bool forceDpRoutingEnabled = false;
  std::uint32_t noArp = 0;
  std::uint16_t maxMssEgress = 0;
  std::uint16_t maxMssIngress = 0;
  std::string configSource = "00cli";
  bool directedBroadcastEnabled = false;
  bool attachedRoutes = true;
  std::string unnumberedIntfId;
};

void BM_EntityCreateFloor(benchmark::State& state) {
  std::vector<std::string> ids;
  for (const IntfId& id : intfIds(2 * kResident)) ids.push_back(id.stringValue());
  std::unordered_map<std::string, std::unique_ptr<PlainIntfConfig>> config;
  for (std::size_t i = 0; i < kResident; ++i) {
    config.emplace(ids[i], std::make_unique<PlainIntfConfig>(ids[i]));
  }
  std::size_t i = kResident;
  for (auto _ : state) {
    config.emplace(ids[i], std::make_unique<PlainIntfConfig>(ids[i]));
    config.erase(ids[i]);
    if (++i == ids.size()) i = kResident;
  }
}

BENCHMARK(BM_EntityCreate);
IPMODEL_BENCHMARK_FLOOR(BM_EntityCreateFloor, BM_EntityCreate);

// --- text form of a value --------------------------------------------------------

const Ip::IntfAddrInfo& sampleInfo() {
  static const Ip::IntfAddrInfo info(IntfId("Ethernet12"), IpAddr("10.1.2.3"));
  return info;
}

constexpr const char* kInfoFormat =
    "Value('Ip::IntfAddrInfo', ** {'intfId': %s, 'addr': %u.%u.%u.%u})";
constexpr const char* kInfoScan =
    "Value('Ip::IntfAddrInfo', ** {'intfId': %255[^,], 'addr': %hhu.%hhu.%hhu.%hhu})%n";

struct PlainAddrInfo {
  std::string intfId;
  std::uint8_t addr[4];
};

std::string floorText(const std::string& name, const std::array<std::uint8_t, 4>& b) {
  char buf[384];
  int n = std::snprintf(buf, sizeof buf, kInfoFormat, name.c_str(), b[0], b[1], b[2], b[3]);
  return std::string(buf, static_cast<std::size_t>(n));
}

bool floorRead(const std::string& text, PlainAddrInfo& out) {
  char name[256];
  int used = 0;
  if (std::sscanf(text.c_str(), kInfoScan, name, &out.addr[0], &out.addr[1], &out.addr[2],
                  &out.addr[3], &used) != 5 ||
      static_cast<std::size_t>(used) != text.size()) {
    return false;
  }
  out.intfId = name;
  return true;
}

void BM_TextWrite(benchmark::State& state) {
  const Ip::IntfAddrInfo& info = sampleInfo();
  for (auto _ : state) benchmark::DoNotOptimize(Orv::valueToStrep(info));
}

void BM_TextWriteFloor(benchmark::State& state) {
  const Ip::IntfAddrInfo& info = sampleInfo();
  const std::string& name = info.intfId().stringValue();
  const auto& bytes = info.addr().bytes();
  if (floorText(name, bytes) != Orv::valueToStrep(info)) {
    state.SkipWithError("the floor writes different text");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(floorText(name, bytes));
}

void BM_TextRead(benchmark::State& state) {
  const std::string text = Orv::valueToStrep(sampleInfo());
  for (auto _ : state) benchmark::DoNotOptimize(Orv::strepToValue<Ip::IntfAddrInfo>(text));
}

void BM_TextReadFloor(benchmark::State& state) {
  const std::string text = Orv::valueToStrep(sampleInfo());
  PlainAddrInfo out;
  if (!floorRead(text, out) || out.intfId != sampleInfo().intfId().stringValue()) {
    state.SkipWithError("the floor cannot read the text");
    return;
  }
  for (auto _ : state) {
    floorRead(text, out);
    benchmark::DoNotOptimize(out);
  }
}

BENCHMARK(BM_TextWrite);
IPMODEL_BENCHMARK_FLOOR(BM_TextWriteFloor, BM_TextWrite);
BENCHMARK(BM_TextRead);
IPMODEL_BENCHMARK_FLOOR(BM_TextReadFloor, BM_TextRead);

// --- attribute-log form of a value -------------------------------------------------

std::vector<std::uint8_t> encodedInfo() {
  Orv::NboAttrLog::Out out;
  out << sampleInfo();
  return out.bytes();
}

void BM_AttrLogWrite(benchmark::State& state) {
  const Ip::IntfAddrInfo& info = sampleInfo();
  Orv::NboAttrLog::Out out;
  for (auto _ : state) {
    out.drain();  // keeps the buffer
    out << info;
    benchmark::DoNotOptimize(out.bytes().data());
  }
}

void BM_AttrLogWriteFloor(benchmark::State& state) {
  const std::vector<std::uint8_t> bytes = encodedInfo();
  std::uint8_t buf[512];
  std::size_t n = bytes.size();
  for (auto _ : state) {
    benchmark::DoNotOptimize(n);
    std::memcpy(buf, bytes.data(), n);
    benchmark::DoNotOptimize(buf);
    benchmark::ClobberMemory();
  }
}

void BM_AttrLogRead(benchmark::State& state) {
  const std::vector<std::uint8_t> bytes = encodedInfo();
  for (auto _ : state) {
    Orv::NboAttrLog::In in(bytes);
    Ip::IntfAddrInfo v(in);
    benchmark::DoNotOptimize(v);
  }
}

BENCHMARK(BM_AttrLogWrite);
IPMODEL_BENCHMARK_FLOOR(BM_AttrLogWriteFloor, BM_AttrLogWrite);
BENCHMARK(BM_AttrLogRead);
// Reading is the same copy in the other direction.
IPMODEL_BENCHMARK_FLOOR(BM_AttrLogWriteFloor, BM_AttrLogRead);

}  // namespace

IPMODEL_BENCH_MAIN();
