// What model operations take from the heap. This program replaces the global
// operator new and delete with counting ones, so a test opens a window around
// one operation and reads how many allocations and frees it made.
//
// What holds, and what the tests below pin down:
// - a setter that changes a scalar (bool, enumeration, integer, address with
//   mask) and notifies a reactor allocates nothing; neither does a string or
//   interface-id setter whose value fits the string's inline buffer (15
//   bytes). A longer string allocates its copy once, and a later value no
//   longer than that reuses the buffer;
// - setting the value an attribute already has allocates nothing;
// - inserting a new key allocates exactly its node (ordered and hashed maps)
//   plus, in the hashed maps, a new bucket array when the table grows;
//   lookups and removals allocate nothing;
// - an instantiating collection allocates exactly the new entity;
// - the allocation trackers' live counts come back to where they started.
//
// The first use of a type makes its tracker, once per process; each test
// repeats its operation once before it counts, so that one-time allocation
// stays out of the window.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <new>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <ipmodel/Ip/Ip.h>

namespace {
std::uint64_t gAllocations = 0;
std::uint64_t gFrees = 0;

void* countedAlloc(std::size_t n) {
  ++gAllocations;
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}

void countedFree(void* p) noexcept {
  if (!p) return;
  ++gFrees;
  std::free(p);
}
}  // namespace

void* operator new(std::size_t n) { return countedAlloc(n); }
void* operator new[](std::size_t n) { return countedAlloc(n); }
void operator delete(void* p) noexcept { countedFree(p); }
void operator delete[](void* p) noexcept { countedFree(p); }
void operator delete(void* p, std::size_t) noexcept { countedFree(p); }
void operator delete[](void* p, std::size_t) noexcept { countedFree(p); }

namespace {

using Lumen::IntfId;
using Lumen::IpAddrWithMask;

struct Heap {
  std::uint64_t allocations = 0;
  std::uint64_t frees = 0;
  bool operator==(const Heap&) const = default;
};

void PrintTo(const Heap& h, std::ostream* os) {
  *os << h.allocations << " allocations, " << h.frees << " frees";
}

// What f took from and gave back to the heap.
template <class F>
Heap heapUseOf(F&& f) {
  const std::uint64_t a = gAllocations;
  const std::uint64_t r = gFrees;
  f();
  return {gAllocations - a, gFrees - r};
}

constexpr Heap nothing{0, 0};
constexpr Heap oneAllocation{1, 0};
constexpr Heap oneFree{0, 1};

// Counts every notification it receives.
struct StatusReactor : Ip::IpIntfStatus::NotifieeConst {
  int calls = 0;
  void onActiveAddrWithMask() override { ++calls; }
  void onUseVirtualAddr() override { ++calls; }
  void onDpRoutingEnabled() override { ++calls; }
  void onNoArp() override { ++calls; }
  void onMaxMssEgress() override { ++calls; }
  void onConfigSource() override { ++calls; }
  void onUnnumberedIntfId() override { ++calls; }
};

Ip::IpIntfStatus::Ptr newStatus(const char* id = "Ethernet1") {
  return Ip::ipIntfStatusFactory(IntfId(id), nullptr);
}

// Live objects of T by the trackers the library counts into: every tracker
// of T in the registry (there is one; see AllocTrackInAProgramIsTheLibrarysTracker).
template <class T>
std::uint64_t liveObjectsOf() {
  std::uint64_t sum = 0;
  for (const Orv::AllocTrackTypeInfo* t : Orv::AllocTrackTypeInfo::all()) {
    if (t->type() == typeid(T)) sum += t->liveObjects();
  }
  return sum;
}

// --- setters ---------------------------------------------------------------------

TEST(SetterHeapUse, ScalarChangesNotifyWithoutAllocating) {
  auto s = newStatus();
  StatusReactor r;
  r.notifierIs(s);
  const IpAddrWithMask a("10.0.0.1/24");
  const IpAddrWithMask b("10.0.0.2/24");

  EXPECT_EQ(heapUseOf([&] { s->activeAddrWithMaskIs(a); }), nothing);
  EXPECT_EQ(heapUseOf([&] { s->activeAddrWithMaskIs(b); }), nothing);
  EXPECT_EQ(heapUseOf([&] { s->useVirtualAddrIs(true); }), nothing);
  EXPECT_EQ(heapUseOf([&] { s->dpRoutingEnabledIs(true); }), nothing);
  EXPECT_EQ(heapUseOf([&] { s->noArpIs(Ip::TristateBool::isTrue); }), nothing);
  EXPECT_EQ(heapUseOf([&] { s->maxMssEgressIs(1400); }), nothing);
  EXPECT_EQ(r.calls, 6);
}

TEST(SetterHeapUse, ChangesWithSeveralReactorsAllocateNothing) {
  auto s = newStatus();
  StatusReactor r[4];
  for (auto& each : r) each.notifierIs(s);
  const IpAddrWithMask a("10.0.0.1/24");
  EXPECT_EQ(heapUseOf([&] { s->activeAddrWithMaskIs(a); }), nothing);
  for (const auto& each : r) EXPECT_EQ(each.calls, 1);
}

TEST(SetterHeapUse, ShortStringsStayInlineAndLongOnesAllocateTheirCopyOnce) {
  auto s = newStatus();
  StatusReactor r;
  r.notifierIs(s);
  const std::string shortText = "cli";
  const IntfId shortId("Loopback0");
  const std::string longText(40, 'x');
  const std::string otherLongText(30, 'y');

  EXPECT_EQ(heapUseOf([&] { s->configSourceIs(shortText); }), nothing);
  EXPECT_EQ(heapUseOf([&] { s->unnumberedIntfIdIs(shortId); }), nothing);
  // Past the inline buffer: the stored copy is the one allocation, and a
  // later value that fits the buffer it got reuses it.
  EXPECT_EQ(heapUseOf([&] { s->configSourceIs(longText); }), oneAllocation);
  EXPECT_EQ(heapUseOf([&] { s->configSourceIs(otherLongText); }), nothing);
  EXPECT_EQ(s->configSource(), otherLongText);
  EXPECT_EQ(r.calls, 4);
}

TEST(SetterHeapUse, SettingTheCurrentValueAllocatesNothingAndStaysQuiet) {
  auto s = newStatus();
  const IpAddrWithMask a("10.0.0.1/24");
  const std::string longText(40, 'x');
  s->activeAddrWithMaskIs(a);
  s->useVirtualAddrIs(true);
  s->noArpIs(Ip::TristateBool::isFalse);
  s->maxMssEgressIs(1400);
  s->configSourceIs(longText);
  StatusReactor r;
  r.notifierIs(s);

  EXPECT_EQ(heapUseOf([&] {
              s->activeAddrWithMaskIs(a);
              s->useVirtualAddrIs(true);
              s->noArpIs(Ip::TristateBool::isFalse);
              s->maxMssEgressIs(1400);
              s->configSourceIs(longText);
            }),
            nothing);
  EXPECT_EQ(r.calls, 0);
}

// --- collections -------------------------------------------------------------------

TEST(CollectionHeapUse, OrderedInsertAllocatesOneNodeAndLookupAndDelNone) {
  using Node = Orv::RbTreeMap<IpAddrWithMask, bool>::Node;
  auto c = Ip::ipIntfConfigFactory(IntfId("Ethernet1"));
  std::vector<IpAddrWithMask> keys;
  for (int i = 1; i <= 64; ++i) keys.emplace_back("10.0." + std::to_string(i) + ".1/24");
  c->secondaryWithMaskIs(keys[0], true);
  c->secondaryWithMaskDel(keys[0]);
  const auto live = liveObjectsOf<Node>();

  for (const auto& k : keys) {
    ASSERT_EQ(heapUseOf([&] { c->secondaryWithMaskIs(k, true); }), oneAllocation)
        << Orv::valueToStrep(k);
  }
  EXPECT_EQ(liveObjectsOf<Node>(), live + keys.size());
  EXPECT_EQ(heapUseOf([&] { c->secondaryWithMaskIs(keys[3], false); }), nothing);  // value only
  bool found = true;
  EXPECT_EQ(heapUseOf([&] { found = c->secondaryWithMask(keys[3]); }), nothing);
  EXPECT_FALSE(found);
  EXPECT_EQ(heapUseOf([&] { found = c->secondaryWithMask(keys[4]); }), nothing);
  EXPECT_TRUE(found);
  for (const auto& k : keys) {
    ASSERT_EQ(heapUseOf([&] { c->secondaryWithMaskDel(k); }), oneFree) << Orv::valueToStrep(k);
  }
  EXPECT_EQ(liveObjectsOf<Node>(), live);
}

// Inserts every key and checks that each insert allocated its node and
// nothing more, apart from a new bucket array whenever the table grew.
template <class Insert, class BucketCount>
void expectOneNodePerInsert(const std::vector<IntfId>& keys, Insert insert,
                            BucketCount bucketCount) {
  std::size_t growths = 0;
  for (const IntfId& k : keys) {
    const std::size_t before = bucketCount();
    const Heap used = heapUseOf([&] { insert(k); });
    const std::size_t after = bucketCount();
    if (after == before) {
      ASSERT_EQ(used, oneAllocation) << k.stringValue();
    } else {
      ++growths;
      ASSERT_GT(after, before);
      // The old array goes once the members have moved to the new one.
      ASSERT_EQ(used, (Heap{2, before == 0 ? 0u : 1u})) << k.stringValue();
    }
  }
  EXPECT_GT(growths, 3u);
}

std::vector<IntfId> ids(int n, const char* prefix = "Ethernet") {
  std::vector<IntfId> r;
  for (int i = 1; i <= n; ++i) r.emplace_back(prefix + std::to_string(i));
  return r;
}

TEST(CollectionHeapUse, HashedInsertAllocatesOneNodeBesidesTableGrowth) {
  using Node = Orv::HashMap2018<IntfId, Orv::String>::Node;
  const auto keys = ids(200);
  const std::string text = "bad mask";  // fits the inline buffer
  Ip::ipConfigErrorFactory("warmUp")->ipIntfConfigErrorIs(keys[0], text);
  const auto live = liveObjectsOf<Node>();
  auto errors = Ip::ipConfigErrorFactory("ipConfigError");

  expectOneNodePerInsert(
      keys, [&](const IntfId& k) { errors->ipIntfConfigErrorIs(k, text); },
      [&] { return errors->ipIntfConfigError().bucketCount(); });
  EXPECT_EQ(liveObjectsOf<Node>(), live + keys.size());

  // Changing the value of a present key, looking up and removing.
  EXPECT_EQ(heapUseOf([&] { errors->ipIntfConfigErrorIs(keys[0], "bad addr"); }), nothing);
  std::string found;
  EXPECT_EQ(heapUseOf([&] { found = errors->ipIntfConfigError(keys[0]); }), nothing);
  EXPECT_EQ(found, "bad addr");
  for (const IntfId& k : keys) {
    ASSERT_EQ(heapUseOf([&] { errors->ipIntfConfigErrorDel(k); }), oneFree) << k.stringValue();
  }
  EXPECT_EQ(liveObjectsOf<Node>(), live);

  // Removal keeps the bucket array: inserting again allocates only nodes.
  for (const IntfId& k : keys) {
    ASSERT_EQ(heapUseOf([&] { errors->ipIntfConfigErrorIs(k, text); }), oneAllocation)
        << k.stringValue();
  }
  errors = nullptr;
  EXPECT_EQ(liveObjectsOf<Node>(), live);
}

TEST(CollectionHeapUse, PointerListingAllocatesOneNodeAndLookupAndDelNone) {
  std::map<IntfId, Ip::IpIntfStatus::PtrConst> made;
  const auto keys = ids(100);
  for (const IntfId& k : keys) made[k] = newStatus(k.stringValue().c_str());
  Ip::statusFactory("warmUp")->ipIntfStatusIs(made[keys[0]]);
  auto status = Ip::statusFactory("ipStatus");

  expectOneNodePerInsert(
      keys, [&](const IntfId& k) { status->ipIntfStatusIs(made[k]); },
      [&] { return status->ipIntfStatus().bucketCount(); });
  EXPECT_EQ(heapUseOf([&] { status->ipIntfStatusIs(made[keys[0]]); }), nothing);  // listed

  const Ip::IpIntfStatus* found = nullptr;
  EXPECT_EQ(heapUseOf([&] { found = status->ipIntfStatus(keys[7]).ptr(); }), nothing);
  EXPECT_EQ(found, made[keys[7]].ptr());
  for (const IntfId& k : keys) {
    // The listing's node goes; the status itself is still held by `made`.
    ASSERT_EQ(heapUseOf([&] { status->ipIntfStatusDel(k); }), oneFree) << k.stringValue();
  }
}

// --- instantiating collections --------------------------------------------------------

TEST(InstantiationHeapUse, CreatingAnEntityAllocatesExactlyTheEntity) {
  const auto keys = ids(100);
  Ip::configFactory("warmUp")->ipIntfConfigIs(keys[0]);
  const auto live = liveObjectsOf<Ip::IpIntfConfig>();
  auto config = Ip::configFactory("ipConfig");

  expectOneNodePerInsert(
      keys, [&](const IntfId& k) { config->ipIntfConfigIs(k); },
      [&] { return config->ipIntfConfig().bucketCount(); });
  EXPECT_EQ(liveObjectsOf<Ip::IpIntfConfig>(), live + keys.size());

  // Present: the same entity back, nothing allocated.
  Ip::IpIntfConfig* again = nullptr;
  EXPECT_EQ(heapUseOf([&] { again = config->ipIntfConfigIs(keys[5]).ptr(); }), nothing);
  EXPECT_EQ(again, config->ipIntfConfig(keys[5]).ptr());

  // Deleting frees the entity once the last reference goes, here at once.
  for (const IntfId& k : keys) {
    ASSERT_EQ(heapUseOf([&] { config->ipIntfConfigDel(k); }), oneFree) << k.stringValue();
  }
  EXPECT_EQ(liveObjectsOf<Ip::IpIntfConfig>(), live);
}

struct ConfigDirReactor : Ip::Config::NotifieeConst {
  int calls = 0;
  void onIpIntfConfig(const IntfId&) override { ++calls; }
};

TEST(InstantiationHeapUse, EveryInterfaceRecordIsOneAllocation) {
  auto l3Input = L3::Intf::Input::statusDirFactory("l3Input");
  auto ipInput = Ip::Input::statusFactory("ipInput");
  auto ipStatus = Ip::statusFactory("ipStatus");
  auto config = Ip::configFactory("ipConfig");
  ConfigDirReactor reactor;
  reactor.notifierIs(config);
  const L3::VrfName vrf("red");
  // The first member of each collection brings its bucket array.
  const IntfId first("Ethernet1");
  auto firstL3 = l3Input->intfStatusIs(first);
  ipInput->ipIntfStatusIs(first, firstL3);
  ipStatus->vrfIpIntfStatusIs(L3::VrfName("blue"));
  config->ipIntfConfigIs(first);

  const IntfId id("Ethernet2");
  L3::Intf::Status::Ptr l3;
  EXPECT_EQ(heapUseOf([&] { l3 = l3Input->intfStatusIs(id); }), oneAllocation);
  EXPECT_EQ(heapUseOf([&] { ipInput->ipIntfStatusIs(id, l3); }), oneAllocation);
  EXPECT_EQ(heapUseOf([&] { ipStatus->vrfIpIntfStatusIs(vrf); }), oneAllocation);
  // A reactor on the directory adds nothing to the creation.
  EXPECT_EQ(heapUseOf([&] { config->ipIntfConfigIs(id); }), oneAllocation);
  EXPECT_EQ(reactor.calls, 2);

  // A name past the inline buffer is a second allocation: the key's copy.
  const IntfId longId("Ethernet12/1/4.1000");
  EXPECT_EQ(heapUseOf([&] { config->ipIntfConfigIs(longId); }), (Heap{2, 0}));
}

// --- trackers -----------------------------------------------------------------------

// Live objects and bytes of every tracker, by tracker.
std::map<const Orv::AllocTrackTypeInfo*, std::pair<std::uint64_t, std::uint64_t>> trackerCounts() {
  std::map<const Orv::AllocTrackTypeInfo*, std::pair<std::uint64_t, std::uint64_t>> r;
  for (const auto* t : Orv::AllocTrackTypeInfo::all()) r[t] = {t->liveObjects(), t->liveBytes()};
  return r;
}

// Builds 300 interfaces over 7 VRFs, removes half of them one by one and
// drops the rest with their directories.
void buildAndDropInterfaces() {
  auto l3Input = L3::Intf::Input::statusDirFactory("l3Input");
  auto ipInput = Ip::Input::statusFactory("ipInput");
  auto ipStatus = Ip::statusFactory("ipStatus");
  for (const IntfId& id : ids(300)) {
    const L3::VrfName vrf("vrf" + std::to_string(id.hash() % 7));
    auto l3 = l3Input->intfStatusIs(id);
    l3->vrfIs(vrf);
    auto s = ipInput->ipIntfStatusIs(id, l3);
    s->activeSecondaryWithMaskIs(IpAddrWithMask("10.0.0.1/24"), true);
    ipStatus->ipIntfStatusIs(s);
    ipStatus->vrfIpIntfStatusIs(vrf)->ipIntfStatusIs(s);
  }
  EXPECT_EQ(ipStatus->vrfIpIntfStatus().size(), 7u);
  for (const IntfId& id : ids(150)) {
    ipStatus->vrfIpIntfStatus(ipInput->ipIntfStatus(id)->vrf())->ipIntfStatusDel(id);
    ipStatus->ipIntfStatusDel(id);
    ipInput->ipIntfStatusDel(id);
    l3Input->intfStatusDel(id);
  }
}

TEST(TrackerCounts, ReturnToTheirStartOnceTheModelIsGone) {
  const auto before = trackerCounts();
  const auto statusesBefore = liveObjectsOf<Ip::IpIntfStatus>();
  {
    auto input = Ip::Input::statusFactory("ipInput");
    for (const IntfId& id : ids(10)) input->ipIntfStatusIs(id, nullptr);
    EXPECT_EQ(liveObjectsOf<Ip::IpIntfStatus>(), statusesBefore + 10);
  }
  EXPECT_EQ(liveObjectsOf<Ip::IpIntfStatus>(), statusesBefore);

  buildAndDropInterfaces();
  for (const auto& [tracker, counts] : trackerCounts()) {
    // A tracker made during the test started from nothing.
    const auto start = before.count(tracker) ? before.at(tracker) : decltype(counts){};
    EXPECT_EQ(counts, start) << tracker->typeName();
  }
}

// Orv::allocTrack<T>() is the one tracker of T in the process, also when a
// program asks for a type whose objects the library allocates.
TEST(TrackerCounts, AllocTrackInAProgramIsTheLibrarysTracker) {
  auto s = newStatus();
  EXPECT_GE(Orv::allocTrack<Ip::IpIntfStatus>().liveObjects(), 1u);
  EXPECT_EQ(Orv::allocTrack<Ip::IpIntfStatus>().liveObjects(), liveObjectsOf<Ip::IpIntfStatus>());
}

TEST(TrackerCounts, TheHeapReturnsToItsStartToo) {
  buildAndDropInterfaces();  // makes any tracker it needs, which stays
  const std::uint64_t held = gAllocations - gFrees;
  buildAndDropInterfaces();
  EXPECT_EQ(gAllocations - gFrees, held);
}

}  // namespace
