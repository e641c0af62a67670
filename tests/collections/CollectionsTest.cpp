// One typed suite over the three collection kinds, plus the hashed kinds'
// layout rules. The shared test main fails a test that leaves nodes, members
// or bucket arrays alive.
#include <ipmodel/Orv/Collections.h>

#include <gtest/gtest.h>

#include "AllocCounter.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using NewCounter = ipmodel::bench::AllocCounter;

// Keys whose hash the test chooses; ordered and compared on (id, h).
struct ChosenHashKey {
  std::uint32_t h = 0;
  int id = 0;
  std::uint32_t hash() const { return h; }
  bool operator==(const ChosenHashKey& o) const { return id == o.id && h == o.h; }
  bool operator<(const ChosenHashKey& o) const { return id != o.id ? id < o.id : h < o.h; }
};

// Every key collides.
struct SameHashKey {
  int id = 0;
  std::uint32_t hash() const { return 0x5a5a5a5au; }
  bool operator==(const SameHashKey& o) const { return id == o.id; }
  bool operator<(const SameHashKey& o) const { return id < o.id; }
};

// Counts equality tests, to see which chain members a lookup looks at.
struct CountingKey {
  static inline int equalities = 0;
  std::uint32_t h = 0;
  std::uint32_t hash() const { return h; }
  bool operator==(const CountingKey& o) const {
    ++equalities;
    return h == o.h;
  }
  bool operator<(const CountingKey& o) const { return h < o.h; }
};

template <class K>
struct Member : Orv::PtrInterface, Orv::HashLink, Orv::AllocTracked<Member<K>> {
  Member(const K& k, int v) : key(k), value(v) {}
  const K key;
  int value;
};
template <class K>
struct MemberKey {
  static const K& key(const Member<K>& m) { return m.key; }
};

struct TreeKind {
  static constexpr bool kHashed = false;
  template <class K>
  using Map = Orv::RbTreeMap<K, int>;
  template <class K>
  using Tracked = typename Map<K>::Node;  // what one insert allocates
  template <class K>
  static bool add(Map<K>& m, const K& k, int v) {
    return m.insert(k, v).second;
  }
};
struct Hash2018Kind {
  static constexpr bool kHashed = true;
  template <class K>
  using Map = Orv::HashMap2018<K, int>;
  template <class K>
  using Tracked = typename Map<K>::Node;
  template <class K>
  static bool add(Map<K>& m, const K& k, int v) {
    return m.insert(k, v).second;
  }
};
struct IntrusiveKind {
  static constexpr bool kHashed = true;
  template <class K>
  using Map = Orv::HashMap<K, Member<K>, MemberKey<K>>;
  template <class K>
  using Tracked = Member<K>;  // created by the caller; insert allocates nothing
  template <class K>
  static bool add(Map<K>& m, const K& k, int v) {
    return m.insert(Orv::Ptr<Member<K>>(new Member<K>(k, v)));
  }
};

int valueOf(int v) { return v; }
template <class K>
int valueOf(const Member<K>& m) {
  return m.value;
}
template <class N>
requires requires(const N& n) { n.value(); }
int valueOf(const N& node) { return node.value(); }
template <class P>
std::optional<int> found(const P* p) {
  return p ? std::optional<int>(valueOf(*p)) : std::nullopt;
}
template <class H>
int heldValue(const H& h) {
  if constexpr (requires { h.value(); }) {
    return h.value();
  } else {
    return h->value;
  }
}

template <class K>
std::uint32_t revOf(const K& k) {
  return Orv::bitReverse32(Orv::hashOf(k));
}

// The documented collection order.
template <class Kind, class K>
bool before(const K& a, const K& b) {
  if constexpr (Kind::kHashed) {
    if (revOf(a) != revOf(b)) return revOf(a) < revOf(b);
  }
  return a < b;
}
template <class Kind, class K>
std::vector<K> inOrder(std::vector<K> keys) {
  std::sort(keys.begin(), keys.end(), before<Kind, K>);
  return keys;
}

template <class Map>
auto keysOf(const Map& m) {
  std::vector<std::remove_cvref_t<decltype(m.begin().key())>> keys;
  for (auto it = m.begin(); it != m.end(); ++it) keys.push_back(it.key());
  return keys;
}

std::vector<std::string> names(int n, int from = 0) {
  std::vector<std::string> v;
  for (int i = from; i < from + n; ++i) v.push_back("Ethernet" + std::to_string(i));
  return v;
}

template <class K>
std::vector<K> shuffled(std::vector<K> v, unsigned seed) {
  std::shuffle(v.begin(), v.end(), std::mt19937(seed));
  return v;
}

template <class Kind>
class CollectionTest : public ::testing::Test {
 protected:
  using Map = typename Kind::template Map<std::string>;
  using Tracked = typename Kind::template Tracked<std::string>;
  static bool add(Map& m, const std::string& k, int v) { return Kind::add(m, k, v); }
  static std::vector<std::string> ordered(std::vector<std::string> k) {
    return inOrder<Kind>(std::move(k));
  }
};
using AllKinds = ::testing::Types<TreeKind, Hash2018Kind, IntrusiveKind>;

// Standard algorithms accept the iterators.
static_assert(std::forward_iterator<Orv::RbTreeMap<int, int>::iterator>);
static_assert(std::forward_iterator<Orv::HashMap2018<int, int>::const_iterator>);
static_assert(std::forward_iterator<IntrusiveKind::Map<int>::iterator>);
TYPED_TEST_SUITE(CollectionTest, AllKinds);

TYPED_TEST(CollectionTest, InsertFindAndExtract) {
  typename TestFixture::Map m;
  EXPECT_TRUE(m.empty());
  EXPECT_FALSE(found(m.find("Ethernet1")));
  EXPECT_FALSE(m.extract("Ethernet1"));

  EXPECT_TRUE(this->add(m, "Ethernet1", 1));
  EXPECT_TRUE(this->add(m, "Ethernet2", 2));
  const auto v = m.version();
  EXPECT_FALSE(this->add(m, "Ethernet1", 99));  // present: kept, no change counted
  EXPECT_EQ(m.version(), v);
  EXPECT_EQ(m.size(), 2u);
  EXPECT_EQ(found(m.find("Ethernet1")), 1);
  EXPECT_EQ(found(std::as_const(m).find("Ethernet2")), 2);
  EXPECT_FALSE(found(m.find("Ethernet3")));

  {
    auto held = m.extract("Ethernet1");
    ASSERT_TRUE(held);
    EXPECT_GT(m.version(), v);
    EXPECT_EQ(m.size(), 1u);
    EXPECT_FALSE(found(m.find("Ethernet1")));
    EXPECT_EQ(heldValue(held), 1);  // alive until the holder goes
    EXPECT_EQ(Orv::allocTrack<typename TestFixture::Tracked>().liveObjects(), 2u);
  }
  EXPECT_EQ(Orv::allocTrack<typename TestFixture::Tracked>().liveObjects(), 1u);
  EXPECT_FALSE(m.extract("Ethernet1"));

  m.clear();
  EXPECT_TRUE(m.empty());
  EXPECT_TRUE(this->add(m, "Ethernet1", 7));  // usable after clear
  EXPECT_EQ(found(m.find("Ethernet1")), 7);
}

TYPED_TEST(CollectionTest, IteratesInCollectionOrderWithBounds) {
  typename TestFixture::Map m;
  const auto keys = names(40);
  for (const auto& k : shuffled(keys, 1)) this->add(m, k, static_cast<int>(k.size()));
  const auto expected = this->ordered(keys);
  EXPECT_EQ(keysOf(m), expected);
  EXPECT_EQ(keysOf(std::as_const(m)), expected);

  std::size_t n = 0;
  for (auto& member : m) {  // range-for dereferences to the node (maps) or the member
    if constexpr (requires { member.key(); }) {
      EXPECT_EQ(member.key(), expected[n]);
    } else {
      EXPECT_EQ(member.key, expected[n]);
    }
    ++n;
  }
  EXPECT_EQ(n, keys.size());

  for (std::size_t i = 0; i < expected.size(); ++i) {
    auto lower = m.lowerBound(expected[i]);
    auto upper = m.upperBound(expected[i]);
    EXPECT_EQ(lower.key(), expected[i]);
    if (i + 1 < expected.size()) {
      EXPECT_EQ(upper.key(), expected[i + 1]);
    } else {
      EXPECT_TRUE(upper == m.end());
    }
  }
  // An absent key bounds to the first member after its place in the order.
  for (const auto& absent : names(10, 1000)) {
    auto it = std::find_if(expected.begin(), expected.end(),
                           [&](const std::string& k) { return before<TypeParam>(absent, k); });
    auto lower = std::as_const(m).lowerBound(absent);
    auto upper = m.upperBound(absent);
    if (it == expected.end()) {
      EXPECT_TRUE(lower == m.end());
      EXPECT_TRUE(upper == m.end());
    } else {
      EXPECT_EQ(lower.key(), *it);
      EXPECT_EQ(upper.key(), *it);
    }
  }
}

TYPED_TEST(CollectionTest, DelAllReportsEveryMemberInOrder) {
  typename TestFixture::Map m;
  int calls = 0;
  m.delAll([&](const auto&, auto&) { ++calls; });
  EXPECT_EQ(calls, 0);

  const auto keys = names(30);
  for (const auto& k : shuffled(keys, 2)) this->add(m, k, 5);
  std::vector<std::string> removed;
  m.delAll([&](const std::string& k, auto& value) {
    EXPECT_FALSE(found(m.find(k)));  // unlinked before the report...
    EXPECT_EQ(valueOf(value), 5);    // ...but still alive
    removed.push_back(k);
  });
  EXPECT_EQ(removed, this->ordered(keys));
  EXPECT_TRUE(m.empty());
  EXPECT_EQ(Orv::allocTrack<typename TestFixture::Tracked>().liveObjects(), 0u);
}

TYPED_TEST(CollectionTest, DelAllFollowsChangesMadeByTheCallback) {
  const auto p = this->ordered(names(8));
  typename TestFixture::Map m;
  for (int i : {1, 3, 5, 7}) this->add(m, p[i], i);
  std::vector<std::string> removed;
  m.delAll([&](const std::string& k, auto&) {
    removed.push_back(k);
    if (k == p[3]) {
      this->add(m, p[0], 0);  // before the removed key: survives
      this->add(m, p[4], 4);  // after it: removed too
      EXPECT_TRUE(m.extract(p[5]));
    }
  });
  EXPECT_EQ(removed, (std::vector<std::string>{p[1], p[3], p[4], p[7]}));
  EXPECT_EQ(keysOf(m), std::vector<std::string>{p[0]});

  // Removing just the following member also takes the fresh-search path.
  m.clear();
  for (int i : {1, 2, 3}) this->add(m, p[i], i);
  removed.clear();
  m.delAll([&](const std::string& k, auto&) {
    removed.push_back(k);
    if (k == p[1]) {
      EXPECT_TRUE(m.extract(p[2]));
    }
  });
  EXPECT_EQ(removed, (std::vector<std::string>{p[1], p[3]}));
  EXPECT_TRUE(m.empty());
}

TYPED_TEST(CollectionTest, IteratorSurvivesChangesAroundIt) {
  const auto p = this->ordered(names(10));
  typename TestFixture::Map m;
  for (int i : {0, 2, 4, 6, 8}) this->add(m, p[i], i);

  auto it = m.begin();
  EXPECT_EQ(it.key(), p[0]);
  m.extract(p[0]);  // the holder is dropped at once; the iterator still has the member
  EXPECT_EQ(it.key(), p[0]);
  EXPECT_EQ(valueOf(it.value()), 0);
  ++it;
  EXPECT_EQ(it.key(), p[2]);

  m.extract(p[4]);  // the next member goes
  this->add(m, p[3], 3);
  ++it;
  EXPECT_EQ(it.key(), p[3]);  // inserted right after the current member
  ++it;
  EXPECT_EQ(it.key(), p[6]);

  const typename TestFixture::Map::const_iterator kept = it;
  m.clear();
  EXPECT_EQ(kept.key(), p[6]);  // still alive through both iterators
  EXPECT_EQ(Orv::allocTrack<typename TestFixture::Tracked>().liveObjects(), 1u);
  ++it;
  EXPECT_TRUE(it == m.end());
  EXPECT_TRUE(m.begin() == m.end());
}

TYPED_TEST(CollectionTest, AllocatesOneNodePerInsertAndNothingElse) {
  using Tracked = typename TestFixture::Tracked;
  constexpr bool kNodes = !std::is_same_v<TypeParam, IntrusiveKind>;
  auto& track = Orv::allocTrack<Tracked>();
  typename TestFixture::Map m;
  const auto keys = names(100);
  const auto allocationsBefore = track.totalAllocations();
  const NewCounter emptyMap;
  EXPECT_FALSE(found(m.find("Ethernet1")));
  EXPECT_TRUE(m.begin() == m.end());
  EXPECT_EQ(emptyMap.allocations(), 0u);  // an empty map owns no bucket array

  for (const auto& k : keys) this->add(m, k, 1);
  EXPECT_EQ(track.liveObjects(), keys.size());
  EXPECT_EQ(track.totalAllocations() - allocationsBefore, keys.size());
  if constexpr (TypeParam::kHashed) {
    EXPECT_EQ(Orv::detail::HashCore::bucketTrack().liveObjects(), 1u);
  }

  // One insert of a new key: exactly one allocation when no growth is due.
  if constexpr (kNodes) {
    ASSERT_LT(m.size(), 128u);
    const NewCounter one;
    this->add(m, "Ethernet100", 1);
    EXPECT_EQ(one.allocations(), 1u);
    EXPECT_EQ(m.extract("Ethernet100").ptr()->key(), "Ethernet100");
  }

  const NewCounter reading;
  int sum = 0;
  for (const auto& k : keys) sum += *found(m.find(k));
  for (auto it = m.begin(); it != m.end(); ++it) sum += valueOf(it.value());
  for (auto& member : m) sum += valueOf(member);
  (void)m.extract(keys[7]);
  int reported = 0;
  m.delAll([&](const auto&, auto&) { ++reported; });
  EXPECT_EQ(reading.allocations(), 0u);
  EXPECT_EQ(sum, 300);
  EXPECT_EQ(reported, 99);
  EXPECT_EQ(track.liveObjects(), 0u);
  EXPECT_EQ(Orv::detail::HashCore::bucketTrack().liveObjects(), 0u);
}

TYPED_TEST(CollectionTest, CollidingKeys) {
  using Map = typename TypeParam::template Map<SameHashKey>;
  Map m;
  std::vector<SameHashKey> keys;
  for (int i = 0; i < 50; ++i) keys.push_back({i * 3});
  for (const auto& k : shuffled(keys, 3)) TypeParam::add(m, k, k.id);
  m.checkInvariants();
  for (const auto& k : keys) EXPECT_EQ(found(m.find(k)), k.id);
  EXPECT_FALSE(found(m.find(SameHashKey{4})));
  EXPECT_EQ(m.upperBound(SameHashKey{4}).key().id, 6);

  EXPECT_TRUE(m.extract(SameHashKey{75}));
  EXPECT_FALSE(m.extract(SameHashKey{75}));
  m.checkInvariants();
  std::vector<int> ids;
  for (auto it = m.begin(); it != m.end(); ++it) ids.push_back(it.key().id);
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
  EXPECT_EQ(ids.size(), 49u);
  m.clear();
}

// Random inserts and removals against std::map, with the full invariant
// check (red-black shape, chain placement and order) after every step.
TYPED_TEST(CollectionTest, MatchesAReferenceUnderRandomChanges) {
  using Map = typename TypeParam::template Map<std::uint32_t>;
  Map m;
  std::map<std::uint32_t, int> ref;
  std::mt19937 rng(4);
  for (int step = 0; step < 3000; ++step) {
    const std::uint32_t k = rng() % 300;
    if (rng() % 3 != 0) {
      EXPECT_EQ(TypeParam::add(m, k, step), ref.emplace(k, step).second);
    } else {
      auto held = m.extract(k);
      auto r = ref.find(k);
      ASSERT_EQ(bool(held), r != ref.end());
      if (held) {
        EXPECT_EQ(heldValue(held), r->second);
        ref.erase(r);
      }
    }
    m.checkInvariants();
    ASSERT_EQ(m.size(), ref.size());
  }
  std::vector<std::uint32_t> refKeys;
  for (const auto& [k, v] : ref) {
    refKeys.push_back(k);
    EXPECT_EQ(found(m.find(k)), v);
  }
  EXPECT_EQ(keysOf(m), inOrder<TypeParam>(refKeys));
}

// --- what only the value maps have: copies, equality, sets ---------------

template <class Map>
class ValueMapTest : public ::testing::Test {};
using ValueMaps =
    ::testing::Types<Orv::RbTreeMap<std::string, int>, Orv::HashMap2018<std::string, int>>;
TYPED_TEST_SUITE(ValueMapTest, ValueMaps);

TYPED_TEST(ValueMapTest, CopiesAreDeepAndCompareByContents) {
  TypeParam a;
  for (const auto& k : names(20)) a.insert(k, 1);
  TypeParam b = a;
  EXPECT_TRUE(a == b);
  *b.find("Ethernet4") = 2;
  EXPECT_FALSE(a == b);
  EXPECT_EQ(*a.find("Ethernet4"), 1);
  b = a;
  EXPECT_TRUE(a == b);
  b.extract("Ethernet4");
  EXPECT_FALSE(a == b);
  TypeParam c = std::move(b);
  EXPECT_TRUE(b.empty());
  EXPECT_EQ(c.size(), 19u);
  b = std::move(c);
  EXPECT_EQ(b.size(), 19u);
}

TYPED_TEST(ValueMapTest, SetsMapToUnit) {
  using Set = std::conditional_t<std::is_same_v<TypeParam, Orv::RbTreeMap<std::string, int>>,
                                 Orv::RbTreeMap<std::string, Orv::Unit>,
                                 Orv::HashMap2018<std::string, Orv::Unit>>;
  Set s;
  EXPECT_TRUE(s.insert("Ethernet1").second);
  EXPECT_FALSE(s.insert("Ethernet1").second);
  EXPECT_TRUE(s.contains("Ethernet1"));
  Set t = s;
  EXPECT_TRUE(s == t);
}

// --- hashed layout ---------------------------------------------------------

template <class Kind>
class HashedTest : public ::testing::Test {};
using HashedKinds = ::testing::Types<Hash2018Kind, IntrusiveKind>;
TYPED_TEST_SUITE(HashedTest, HashedKinds);

TYPED_TEST(HashedTest, OrderDependsOnlyOnContents) {
  using Map = typename TypeParam::template Map<std::string>;
  const auto keys = names(200);
  Map forward, backward, mixed;
  for (const auto& k : keys) TypeParam::add(forward, k, 0);
  for (auto it = keys.rbegin(); it != keys.rend(); ++it) TypeParam::add(backward, *it, 0);
  for (const auto& k : shuffled(keys, 5)) TypeParam::add(mixed, k, 0);
  EXPECT_EQ(keysOf(forward), keysOf(backward));
  EXPECT_EQ(keysOf(forward), keysOf(mixed));
  EXPECT_EQ(keysOf(forward), inOrder<TypeParam>(keys));

  // Growing keeps the relative order of the members already there.
  Map growing;
  for (std::size_t n = 0; n < keys.size(); ++n) {
    TypeParam::add(growing, keys[n], 0);
    const std::vector<std::string> first(keys.begin(), keys.begin() + n + 1);
    ASSERT_EQ(keysOf(growing), inOrder<TypeParam>(first)) << "at size " << n + 1;
  }
  // A big table emptied down to a few members iterates like a small one.
  Map small;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (i % 50 == 0) {
      TypeParam::add(small, keys[i], 0);
    } else {
      forward.extract(keys[i]);
    }
  }
  EXPECT_GT(forward.bucketCount(), small.bucketCount());
  EXPECT_EQ(keysOf(forward), keysOf(small));
}

TYPED_TEST(HashedTest, BucketIsTheTopBitsOfTheReversedHash) {
  using Map = typename TypeParam::template Map<ChosenHashKey>;
  Map m;
  EXPECT_EQ(m.bucketCount(), 0u);
  // hash 1 reverses to 0x80000000, 2 to 0x40000000, 6 to 0x60000000, 0x80000000 to 1.
  const ChosenHashKey k1{1, 1}, k2{2, 2}, k6{6, 3}, kHigh{0x80000000u, 4};
  for (const auto& k : {k1, k2, k6, kHigh}) TypeParam::add(m, k, k.id);
  EXPECT_EQ(m.bucketCount(), 8u);
  EXPECT_EQ(m.bucketOf(k1), 4u);
  EXPECT_EQ(m.bucketOf(k2), 2u);
  EXPECT_EQ(m.bucketOf(k6), 3u);
  EXPECT_EQ(m.bucketOf(kHigh), 0u);
  std::vector<int> ids;
  for (auto it = m.begin(); it != m.end(); ++it) ids.push_back(it.key().id);
  EXPECT_EQ(ids, (std::vector<int>{4, 2, 3, 1}));

  // The ninth member doubles the table; every index gains one bit.
  for (int i = 0; i < 5; ++i) TypeParam::add(m, ChosenHashKey{0xf000u + i, 10 + i}, 0);
  EXPECT_EQ(m.bucketCount(), 16u);
  EXPECT_EQ(m.bucketOf(k1), 8u);
  EXPECT_EQ(m.bucketOf(k2), 4u);
  EXPECT_EQ(m.bucketOf(k6), 6u);
  EXPECT_EQ(m.bucketOf(kHigh), 0u);
  EXPECT_EQ(found(m.find(k6)), 3);
  m.checkInvariants();
}

TYPED_TEST(HashedTest, LookupComparesKeysOnlyOnAMatchingHash) {
  using Map = typename TypeParam::template Map<CountingKey>;
  Map m;
  // One bucket (same low bits, so same top bits once reversed), distinct hashes.
  for (std::uint32_t i = 1; i <= 6; ++i) TypeParam::add(m, CountingKey{i << 8}, int(i));
  ASSERT_EQ(m.bucketOf(CountingKey{1u << 8}), m.bucketOf(CountingKey{6u << 8}));
  CountingKey::equalities = 0;
  EXPECT_FALSE(found(m.find(CountingKey{7u << 8})));
  EXPECT_FALSE(found(m.find(CountingKey{1u << 20})));
  EXPECT_EQ(CountingKey::equalities, 0);
  EXPECT_EQ(found(m.find(CountingKey{5u << 8})), 5);
  EXPECT_EQ(CountingKey::equalities, 1);
}

TEST(HashLayoutTest, TableReversalMatchesBitReverse) {
  std::uint32_t v = 1;
  for (int i = 0; i < 100000; ++i, v = v * 2654435761u + 12345u) {
    ASSERT_EQ(Orv::detail::reverseBits32(v), Orv::bitReverse32(v)) << v;
  }
  for (std::uint32_t bit = 1; bit != 0; bit <<= 1) {
    ASSERT_EQ(Orv::detail::reverseBits32(bit), Orv::bitReverse32(bit));
  }
}

TEST(HashMapTest, HoldsOneReferencePerMember) {
  using M = Member<std::string>;
  Orv::HashMap<std::string, M, MemberKey<std::string>> m;
  Orv::Ptr<M> a(new M("Ethernet1", 1));
  EXPECT_TRUE(m.insert(a));
  EXPECT_EQ(a->references(), 2u);
  Orv::Ptr<M> twin(new M("Ethernet1", 2));
  EXPECT_FALSE(m.insert(twin));  // the member in place stays
  EXPECT_EQ(m.find("Ethernet1"), a.ptr());
  EXPECT_EQ(twin->references(), 1u);

  auto out = m.extract("Ethernet1");
  EXPECT_EQ(out, a);
  EXPECT_EQ(a->references(), 2u);  // a and out; the map let go
  EXPECT_TRUE(m.insert(a));        // and can take it back
  m.delAll([&](const std::string& k, M& member) {
    EXPECT_EQ(k, "Ethernet1");
    EXPECT_EQ(&member, a.ptr());
  });
  EXPECT_EQ(a->references(), 2u);
  out = nullptr;
  EXPECT_EQ(a->references(), 1u);
}

}  // namespace
