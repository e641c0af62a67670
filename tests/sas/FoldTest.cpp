// Folding the choice over an interface's addresses, and properties of the
// choice over many random candidates and destinations.
#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ipmodel/Ip6/SourceAddressSelection.h>
#include <ipmodel/Orv/Collections.h>
#include <ipmodel/Orv/HashMap.h>
#include <ipmodel/Orv/RbTreeMap.h>
#include <ipmodel/Orv/Trace.h>

using Ip6::EQUAL;
using Ip6::PREFER_SA;
using Ip6::PREFER_SB;
using Lumen::Ip6Addr;
using Lumen::Ip6AddrWithMask;

namespace {

Ip6Addr A(const char* text) { return Ip6Addr(text); }
Ip6AddrWithMask M(const char* text) { return Ip6AddrWithMask(text); }

Ip6Addr fold(const std::vector<Ip6AddrWithMask>& members, const Ip6Addr& d) {
  return Ip6::bestSourceAddress(
      members, [](auto& m) { return m.address(); }, d);
}

TEST(BestSourceAddress, EmptyAnswersUnspecified) {
  for (const char* d : {"::", "::1", "fe80::1", "2001:db8::1", "ff02::1"}) {
    EXPECT_EQ(fold({}, A(d)), Lumen::ip6AddrZero) << d;
    EXPECT_EQ(Ip6::bestSourceAddressOfKeys(Orv::RbTreeMap<Ip6AddrWithMask, Orv::Unit>(), A(d)),
              Lumen::ip6AddrZero)
        << d;
  }
}

TEST(BestSourceAddress, TiesKeepTheEarlierMember) {
  // Same scope, same label, 47 common bits with d each.
  const Ip6Addr d = A("2001:db8:1::1");
  EXPECT_EQ(fold({M("2001:db8::1/64"), M("2001:db8::2/64")}, d), A("2001:db8::1"));
  EXPECT_EQ(fold({M("2001:db8::2/64"), M("2001:db8::1/64")}, d), A("2001:db8::2"));
  // A better member after the tie still takes over; a tied one after it
  // does not.
  EXPECT_EQ(fold({M("2001:db8::2/64"), M("2001:db8:1::9/64"), M("2001:db8:1::8/64")}, d),
            A("2001:db8:1::9"));
}

TEST(BestSourceAddress, EachRuleCanDecideTheFold) {
  // The member equal to d wins wherever it stands.
  EXPECT_EQ(fold({M("2001:db8::1/64"), M("fe80::1/64"), M("2001:db8::5/64")}, A("2001:db8::5")),
            A("2001:db8::5"));
  EXPECT_EQ(fold({M("fe80::5/64"), M("2001:db8::5/64")}, A("fe80::5")), A("fe80::5"));
  // Scope: global for a global destination, link-local for a link-local one,
  // regardless of order.
  const std::vector<Ip6AddrWithMask> mixed = {M("fe80::1/64"), M("fd00::1/48"),
                                              M("2001:db8::1/64")};
  EXPECT_EQ(fold(mixed, A("2001:db8:9::9")), A("2001:db8::1"));
  EXPECT_EQ(fold(mixed, A("fe80::9")), A("fe80::1"));
  EXPECT_EQ(fold(mixed, A("fd00:1::9")), A("fd00::1"));
  // Label: the loopback loses to any other address of its scope.
  EXPECT_EQ(fold({M("::1/128"), M("3000::1/64")}, A("::2")), A("3000::1"));
  // Prefix length of the address decides; the mask length does not.
  EXPECT_EQ(fold({M("2001:db8::1/128"), M("2001:db8:1::1/16")}, A("2001:db8:1::2")),
            A("2001:db8:1::1"));
  EXPECT_EQ(fold({M("2001:db8:1::1/16"), M("2001:db8::1/128")}, A("2001:db8:1::2")),
            A("2001:db8:1::1"));
}

TEST(BestSourceAddress, FirstMemberIsComparedWithItself) {
  std::vector<std::string> messages;
  const std::uint32_t savedMask = Orv::defaultTraceHandle().levelMask();
  Orv::traceSinkIs([&](const Orv::TraceRecord& r) { messages.emplace_back(r.message); });
  Orv::defaultTraceHandle().levelIs(8, true);
  const Ip6Addr best = fold({M("2001:db8::1/64")}, A("2001:db8::2"));
  Orv::traceSinkIs({});
  Orv::defaultTraceHandle().levelMaskIs(savedMask);

  EXPECT_EQ(best, A("2001:db8::1"));
  ASSERT_EQ(messages.size(), 9u);
  EXPECT_EQ(messages.front(), "sasRule1:SA: 2001:db8::1 SB: 2001:db8::1 d: 2001:db8::2");
  EXPECT_EQ(messages.back(), "chooseSourceAddress: PREFER_SA");
}

TEST(BestSourceAddress, ModelCollectionsFoldOverTheirKeys) {
  const Ip6Addr d = A("2001:db8:1::1");
  // Ordered: ascending address, so the lower of two tied addresses wins
  // whatever the insertion order.
  Orv::RbTreeMap<Ip6AddrWithMask, Orv::Unit> ordered;
  ordered.insert(M("2001:db8::2/64"));
  ordered.insert(M("fe80::1/64"));
  ordered.insert(M("2001:db8::1/64"));
  EXPECT_EQ(Ip6::bestSourceAddressOfKeys(ordered, d), A("2001:db8::1"));
  ordered.insert(M("2001:db8:1::7/64"));
  EXPECT_EQ(Ip6::bestSourceAddressOfKeys(ordered, d), A("2001:db8:1::7"));
  EXPECT_EQ(Ip6::bestSourceAddressOfKeys(ordered, A("fe80::2")), A("fe80::1"));

  // Hashed: ties go to whichever comes first in iteration order.
  Orv::HashMap2018<Ip6Addr, Orv::Unit> hashed;
  for (const char* a : {"2001:db8::1", "2001:db8::2", "2001:db8::3", "2001:db8::4"}) {
    hashed.insert(A(a));
  }
  EXPECT_EQ(Ip6::bestSourceAddressOfKeys(hashed, d), hashed.begin().key());
}

// --- properties over random candidates -------------------------------------------

// Addresses drawn from every kind the rules tell apart. Half of them differ
// from their kind's base only in the last byte, taken from a handful of
// values, so equal candidates, candidates equal to the destination and equal
// common-prefix lengths all occur often.
class AddressGen {
 public:
  explicit AddressGen(std::uint32_t seed) : rng_(seed) {}

  Ip6Addr operator()() {
    static constexpr std::array<std::array<std::uint8_t, 2>, 9> bases = {{
        {0xfe, 0x80},  // link-local
        {0xfe, 0xc0},  // site-local
        {0xfd, 0x00},  // unique-local
        {0xfc, 0x00},  // unique-local
        {0xff, 0x02},  // multicast
        {0xff, 0x0e},  // multicast
        {0x20, 0x01},  // global
        {0x20, 0x02},  // global, 2002::/16
        {0x00, 0x00},  // ::, ::1, ::a.b.c.d, ::ffff:a.b.c.d
    }};
    const std::size_t kind = pick(bases.size() + 2);
    if (kind == bases.size()) return Lumen::ip6AddrLoopback;
    if (kind == bases.size() + 1) return Lumen::ip6AddrZero;
    Ip6Addr::Bytes b{};
    const auto& from = bases[kind];
    b[0] = from[0];
    b[1] = from[1];
    if (pick(2) == 0) {
      b[15] = static_cast<std::uint8_t>(pick(4));
    } else {
      for (std::size_t i = 2; i < 16; ++i) b[i] = static_cast<std::uint8_t>(pick(256));
      if (kind == 8 && pick(2) == 0) {  // IPv4-mapped
        std::fill(b.begin(), b.begin() + 10, 0);
        b[10] = b[11] = 0xff;
      }
    }
    return Ip6Addr(b);
  }

  std::size_t pick(std::size_t n) {
    return std::uniform_int_distribution<std::size_t>(0, n - 1)(rng_);
  }

 private:
  std::mt19937 rng_;
};

// True when the candidates are the same address, or when the rules cannot
// tell them apart for d and rule 8's preference for whichever comes first
// decides.
bool tied(const Ip6Addr& sa, const Ip6Addr& sb, const Ip6Addr& d) {
  if (sa == sb) return true;
  return Ip6::sasRule1(sa, sb, d) == EQUAL && Ip6::sasRule2(sa, sb, d) == EQUAL &&
         Ip6::sasRule6(sa, sb, d) == EQUAL &&
         sa.longestCommonPrefix(d) == sb.longestCommonPrefix(d);
}

TEST(SourceAddressProperties, ChoiceIsNeverEqualAndSwappingFlipsItUnlessTied) {
  AddressGen gen(20240611);
  int ties = 0, sameCandidate = 0, flips = 0;
  for (int i = 0; i < 50000; ++i) {
    const Ip6Addr sa = gen(), sb = gen(), d = gen();
    const Ip6::ordering forward = Ip6::chooseSourceAddress(sa, sb, d);
    const Ip6::ordering swapped = Ip6::chooseSourceAddress(sb, sa, d);
    ASSERT_NE(forward, EQUAL) << sa << " " << sb << " " << d;
    ASSERT_NE(swapped, EQUAL) << sb << " " << sa << " " << d;
    if (tied(sa, sb, d)) {
      // Whichever comes first wins.
      ASSERT_EQ(forward, PREFER_SA) << sa << " " << sb << " " << d;
      ASSERT_EQ(swapped, PREFER_SA) << sa << " " << sb << " " << d;
      ++ties;
      sameCandidate += sa == sb;
    } else {
      ASSERT_NE(forward, swapped) << sa << " " << sb << " " << d;
      ++flips;
    }
  }
  // The generator reaches both branches, and ties between distinct
  // candidates as well as equal ones.
  EXPECT_GT(flips, 1000);
  EXPECT_GT(sameCandidate, 100);
  EXPECT_GT(ties - sameCandidate, 100);
}

TEST(SourceAddressProperties, FoldPicksTheFirstUnbeatenCandidate) {
  AddressGen gen(7);
  for (int i = 0; i < 5000; ++i) {
    std::vector<Ip6AddrWithMask> members(1 + gen.pick(8));
    for (auto& m : members) m = Ip6AddrWithMask(gen(), static_cast<unsigned>(gen.pick(129)));
    const Ip6Addr d = gen();
    const Ip6Addr best = fold(members, d);

    auto at = std::find_if(members.begin(), members.end(),
                           [&](const Ip6AddrWithMask& m) { return m.address() == best; });
    ASSERT_NE(at, members.end()) << "not a candidate: " << best;
    for (auto it = members.begin(); it != members.end(); ++it) {
      const Ip6Addr other = it->address();
      ASSERT_NE(Ip6::chooseSourceAddress(best, other, d), PREFER_SB)
          << other << " beats " << best << " for " << d;
      // Every earlier candidate is strictly worse; a tied one would have
      // been kept.
      if (it < at) {
        ASSERT_EQ(Ip6::chooseSourceAddress(other, best, d), PREFER_SB)
            << "earlier " << other << " not beaten by " << best << " for " << d;
      }
    }
  }
}

}  // namespace
