// IPv6 source-address selection: scope and label, the four rules' decision
// tables, the combined choice, and the trace lines they write.
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ipmodel/Ip6/SourceAddressSelection.h>
#include <ipmodel/Orv/Trace.h>

#include "AllocCounter.h"

using Ip6::EQUAL;
using Ip6::PREFER_SA;
using Ip6::PREFER_SB;

namespace {

Lumen::Ip6Addr A(const char* text) { return Lumen::Ip6Addr(text); }

std::string text(Ip6::ordering o) {
  std::ostringstream os;
  os << o;
  return os.str();
}

TEST(Ordering, ValuesAndNames) {
  EXPECT_EQ(static_cast<int>(PREFER_SA), 0);
  EXPECT_EQ(static_cast<int>(EQUAL), 1);
  EXPECT_EQ(static_cast<int>(PREFER_SB), 2);
  EXPECT_EQ(text(PREFER_SA), "PREFER_SA");
  EXPECT_EQ(text(EQUAL), "EQUAL");
  EXPECT_EQ(text(PREFER_SB), "PREFER_SB");
  EXPECT_EQ(text(static_cast<Ip6::ordering>(7)), "ordering(7)");
}

// --- scope and label --------------------------------------------------------

TEST(Scope, RangeBoundaries) {
  struct Case {
    const char* addr;
    int scope;
  };
  const Case cases[] = {
      // fe80::/10 link-local, and its neighbours.
      {"fe80::", 0},
      {"fe80::1", 0},
      {"febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 0},
      {"fe7f:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 2},
      {"fe00::", 2},
      // fec0::/10 site-local.
      {"fec0::", 1},
      {"feff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 1},
      // fc00::/7 unique-local.
      {"fc00::", 1},
      {"fd12:3456::1", 1},
      {"fdff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 1},
      {"fbff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 2},
      // ff00::/8 multicast, whatever its own scope field says.
      {"ff00::", 1},
      {"ff02::1", 1},
      {"ff05::2", 1},
      {"ff0e::1", 1},
      {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 1},
      // Everything else.
      {"::", 2},
      {"::1", 2},
      {"::ffff:10.0.0.1", 2},
      {"2001:db8::1", 2},
      {"2002::1", 2},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Ip6::scope(A(c.addr)), c.scope) << c.addr;
  }
}

TEST(Label, FirstFitGivesZeroToLoopbackAndOneToEverythingElse) {
  EXPECT_EQ(Ip6::label(Lumen::ip6AddrLoopback), 0);
  // The ::/0 row comes second and catches every other address, so the rows
  // for 2002::/16, ::/96 and ::ffff:0:0/96 are never reached.
  for (const char* a : {"::", "::2", "::1:0", "1::1", "::1.2.3.4", "::ffff:1.2.3.4", "::ffff:0:0",
                        "2002::", "2002::1", "2002:ffff::1", "2001:db8::1", "fe80::1", "fec0::1",
                        "fd00::1", "ff02::1", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}) {
    EXPECT_EQ(Ip6::label(A(a)), 1) << a;
  }
}

// --- the rules ----------------------------------------------------------------

struct RuleCase {
  const char* sa;
  const char* sb;
  const char* d;
  Ip6::ordering expected;
};

void expectRule(Ip6::ordering (*rule)(Lumen::Ip6Addr, Lumen::Ip6Addr, Lumen::Ip6Addr),
                const std::vector<RuleCase>& cases) {
  for (const RuleCase& c : cases) {
    EXPECT_EQ(rule(A(c.sa), A(c.sb), A(c.d)), c.expected)
        << "SA " << c.sa << " SB " << c.sb << " d " << c.d;
  }
}

TEST(SasRule1, PrefersTheCandidateEqualToTheDestination) {
  expectRule(Ip6::sasRule1, {
                                {"2001:db8::1", "2001:db8::2", "2001:db8::1", PREFER_SA},
                                {"2001:db8::1", "2001:db8::2", "2001:db8::2", PREFER_SB},
                                {"2001:db8::1", "2001:db8::2", "2001:db8::3", EQUAL},
                                // SA is tested first.
                                {"2001:db8::1", "2001:db8::1", "2001:db8::1", PREFER_SA},
                                {"2001:db8::1", "2001:db8::1", "2001:db8::3", EQUAL},
                                // All 128 bits count.
                                {"2001:db8::1", "::", "2001:db8::", EQUAL},
                                {"::", "fe80::1", "::", PREFER_SA},
                                {"fe80::1", "::", "::", PREFER_SB},
                            });
}

// One address of each scope.
const char* const ofScope[3] = {"fe80::1", "fec0::1", "2001:db8::1"};

TEST(SasRule2, DecisionTableOverEveryScopeCombination) {
  // expected[scope(SA)][scope(SB)][scope(d)]: the narrower candidate when its
  // scope reaches d's, else the wider; EQUAL on equal scopes.
  const Ip6::ordering expected[3][3][3] = {
      {{EQUAL, EQUAL, EQUAL}, {PREFER_SA, PREFER_SB, PREFER_SB}, {PREFER_SA, PREFER_SB, PREFER_SB}},
      {{PREFER_SB, PREFER_SA, PREFER_SA}, {EQUAL, EQUAL, EQUAL}, {PREFER_SA, PREFER_SA, PREFER_SB}},
      {{PREFER_SB, PREFER_SA, PREFER_SA}, {PREFER_SB, PREFER_SB, PREFER_SA}, {EQUAL, EQUAL, EQUAL}},
  };
  // Distinct from both candidates, so the addresses themselves play no part.
  const char* const dOfScope[3] = {"fe80::99", "fec0::99", "2001:db8::99"};
  for (int a = 0; a < 3; ++a) {
    for (int b = 0; b < 3; ++b) {
      for (int c = 0; c < 3; ++c) {
        const char* sb = a == b ? (b == 0   ? "fe80::2"
                                   : b == 1 ? "fd00::2"
                                            : "2001:db8::2")
                                : ofScope[b];
        EXPECT_EQ(Ip6::sasRule2(A(ofScope[a]), A(sb), A(dOfScope[c])), expected[a][b][c])
            << "scopes SA " << a << " SB " << b << " d " << c;
      }
    }
  }
}

TEST(SasRule2, EdgeCases) {
  expectRule(Ip6::sasRule2, {
                                // Link-local against global: global reaches a
                                // global d, link-local suffices for a
                                // link-local one.
                                {"fe80::1", "2001:db8::1", "2001:db8::2", PREFER_SB},
                                {"fe80::1", "2001:db8::1", "fe80::2", PREFER_SA},
                                {"2001:db8::1", "fe80::1", "2001:db8::2", PREFER_SA},
                                {"2001:db8::1", "fe80::1", "fe80::2", PREFER_SB},
                                // Site-local and multicast share scope 1.
                                {"fec0::1", "ff02::1", "fe80::2", EQUAL},
                                {"fec0::1", "ff02::1", "fd00::2", EQUAL},
                                {"fec0::1", "ff02::1", "ff05::2", EQUAL},
                                {"fec0::1", "ff02::1", "2001:db8::2", EQUAL},
                                {"ff02::1", "fec0::1", "::", EQUAL},
                                // Loopback and unspecified are scope 2.
                                {"::1", "2001:db8::1", "fe80::2", EQUAL},
                                {"fd00::1", "::", "::1", PREFER_SB},
                                {"fd00::1", "::", "ff02::1", PREFER_SA},
                            });
}

TEST(SasRule6, OnlyTheLoopbackLabelDiffers) {
  expectRule(Ip6::sasRule6, {
                                {"::1", "2001:db8::1", "2001:db8::2", PREFER_SB},
                                {"2001:db8::1", "::1", "2001:db8::2", PREFER_SA},
                                {"::1", "2001:db8::1", "::1", PREFER_SA},
                                {"2001:db8::1", "::1", "::1", PREFER_SB},
                                {"::1", "::1", "::1", EQUAL},
                                {"::1", "::1", "2001:db8::2", EQUAL},
                                {"fe80::1", "2001:db8::1", "::1", EQUAL},
                                // The 2002::/16 and IPv4 rows are never reached.
                                {"2002::1", "2001:db8::1", "2002::2", EQUAL},
                                {"::ffff:1.2.3.4", "::1.2.3.4", "::ffff:5.6.7.8", EQUAL},
                                {"2001:db8::1", "::ffff:1.2.3.4", "::1.2.3.4", EQUAL},
                            });
}

TEST(SasRule8, LongerCommonPrefixWinsAndTiesGoToSa) {
  expectRule(Ip6::sasRule8, {
                                {"2001:db8::1", "2001:db8:1::1", "2001:db8:1::2", PREFER_SB},
                                {"2001:db8:1::1", "2001:db8::1", "2001:db8:1::2", PREFER_SA},
                                // Equal lengths, SA or SB first.
                                {"2001:db8::1", "2001:db8::2", "3000::", PREFER_SA},
                                {"2001:db8::2", "2001:db8::1", "3000::", PREFER_SA},
                                {"2001:db8::1", "2001:db8::1", "2001:db8::1", PREFER_SA},
                                // One bit apart: ::3 shares 127 bits with
                                // ::2, :: only 126.
                                {"::", "::3", "::2", PREFER_SB},
                                {"::3", "::", "::2", PREFER_SA},
                                // All 128 bits against none.
                                {"::", "8000::", "::", PREFER_SA},
                                {"8000::", "::", "::", PREFER_SB},
                                // No common bit on either side.
                                {"8000::", "ffff::", "::", PREFER_SA},
                                {"2002::1", "2001:db8::1", "2002::2", PREFER_SA},
                            });
}

// --- chooseSourceAddress --------------------------------------------------------

TEST(ChooseSourceAddress, EdgeCases) {
  struct Case {
    const char* sa;
    const char* sb;
    const char* d;
    Ip6::ordering expected;
  };
  const Case cases[] = {
      // Rule 1 decides before scope.
      {"2001:db8::1", "2001:db8::1", "2001:db8::1", PREFER_SA},
      {"2001:db8::1", "fe80::1", "fe80::1", PREFER_SB},
      {"fe80::1", "2001:db8::1", "fe80::1", PREFER_SA},
      // Rule 2.
      {"fe80::1", "2001:db8::1", "2001:db8::2", PREFER_SB},
      {"fe80::1", "2001:db8::1", "fe80::2", PREFER_SA},
      // Rule 2 EQUAL (scope 1), rule 6 EQUAL, rule 8 on the prefix.
      {"fec0::1", "ff02::1", "ff02::2", PREFER_SB},
      {"fec0::1", "ff02::1", "fec0::2", PREFER_SA},
      // Rule 6 against rule 8: ::1 loses on label although it shares more
      // bits with d.
      {"::1", "2001:db8::1", "::2", PREFER_SB},
      {"::1", "2001:db8::1", "2001:db8::2", PREFER_SB},
      // Rule 8 past an unreached 2002::/16 row.
      {"2002::1", "2001:db8::1", "2002::2", PREFER_SA},
      {"2001:db8::1", "2002::1", "2002::2", PREFER_SB},
      // Same scope and prefix length: SA.
      {"2001:db8::1", "2001:db8::2", "2001:db8:1::1", PREFER_SA},
      {"2001:db8::2", "2001:db8::1", "2001:db8:1::1", PREFER_SA},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Ip6::chooseSourceAddress(A(c.sa), A(c.sb), A(c.d)), c.expected)
        << "SA " << c.sa << " SB " << c.sb << " d " << c.d;
  }
}

// --- trace lines ----------------------------------------------------------------

struct Line {
  std::string handle;
  int level;
  std::string function;
  std::string message;

  bool operator==(const Line&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Line& l) {
  return os << l.handle << "/" << l.level << " " << l.function << ": " << l.message;
}

// Captures every trace line; leaves the default handle's levels and the sink
// as it found them.
class SasTrace : public ::testing::Test {
 protected:
  void SetUp() override {
    savedMask_ = Orv::defaultTraceHandle().levelMask();
    Orv::traceSinkIs([this](const Orv::TraceRecord& r) {
      lines_.push_back(
          {std::string(r.handle), r.level, std::string(r.function), std::string(r.message)});
    });
  }
  void TearDown() override {
    Orv::traceSinkIs({});
    Orv::defaultTraceHandle().levelMaskIs(savedMask_);
  }

  static Line line(const char* function, std::string message) {
    return {Orv::defaultTraceHandle().name(), 8, function, std::move(message)};
  }

  std::uint32_t savedMask_ = 0;
  std::vector<Line> lines_;
};

TEST_F(SasTrace, RuleEightDecidesAndTheSummaryFollows) {
  Orv::defaultTraceHandle().levelIs(8, true);
  EXPECT_EQ(Ip6::chooseSourceAddress(A("2002::1"), A("2001:db8::1"), A("2002::2")), PREFER_SA);
  const std::string in = "SA: 2002::1 SB: 2001:db8::1 d: 2002::2";
  const std::vector<Line> expected = {
      line("sasRule1", "sasRule1:" + in),
      line("sasRule1", "sasRule1: EQUAL"),
      line("sasRule2", "sasRule2:" + in),
      line("sasRule2", "sasRule2: EQUAL"),
      line("sasRule6", "sasRule6:" + in),
      line("sasRule6", "sasRule6: EQUAL"),
      line("sasRule8", "sasRule8:" + in),
      line("sasRule8", "sasRule8: PREFER_SA"),
      line("chooseSourceAddress", "chooseSourceAddress: PREFER_SA"),
  };
  EXPECT_EQ(lines_, expected);

  lines_.clear();
  EXPECT_EQ(Ip6::chooseSourceAddress(A("2001:db8::1"), A("2002::1"), A("2002::2")), PREFER_SB);
  ASSERT_EQ(lines_.size(), 9u);
  EXPECT_EQ(lines_[7], line("sasRule8", "sasRule8: PREFER_SB"));
  EXPECT_EQ(lines_[8], line("chooseSourceAddress", "chooseSourceAddress: PREFER_SB"));
}

TEST_F(SasTrace, EarlierRulesEndTheTraceWithoutSummary) {
  Orv::defaultTraceHandle().levelIs(8, true);

  EXPECT_EQ(Ip6::chooseSourceAddress(A("::1"), A("::1"), A("::1")), PREFER_SA);
  EXPECT_EQ(lines_, (std::vector<Line>{line("sasRule1", "sasRule1:SA: ::1 SB: ::1 d: ::1"),
                                       line("sasRule1", "sasRule1: PREFER_SA")}));

  lines_.clear();
  EXPECT_EQ(Ip6::chooseSourceAddress(A("fe80::1"), A("2001:db8::1"), A("2001:db8::2")), PREFER_SB);
  ASSERT_EQ(lines_.size(), 4u);
  EXPECT_EQ(lines_[1], line("sasRule1", "sasRule1: EQUAL"));
  EXPECT_EQ(lines_[2], line("sasRule2", "sasRule2:SA: fe80::1 SB: 2001:db8::1 d: 2001:db8::2"));
  EXPECT_EQ(lines_[3], line("sasRule2", "sasRule2: PREFER_SB"));

  lines_.clear();
  EXPECT_EQ(Ip6::chooseSourceAddress(A("::1"), A("::ffff:1.2.3.4"), A("2001:db8::2")), PREFER_SB);
  ASSERT_EQ(lines_.size(), 6u);
  EXPECT_EQ(lines_[4], line("sasRule6", "sasRule6:SA: ::1 SB: ::ffff:1.2.3.4 d: 2001:db8::2"));
  EXPECT_EQ(lines_[5], line("sasRule6", "sasRule6: PREFER_SB"));
}

TEST_F(SasTrace, EachRuleTracesUnderItsOwnName) {
  Orv::defaultTraceHandle().levelIs(8, true);
  const Lumen::Ip6Addr sa = A("fe80::1"), sb = A("fe80::2"), d = A("fe80::1");
  Ip6::sasRule1(sa, sb, d);
  Ip6::sasRule2(sa, sb, d);
  Ip6::sasRule6(sa, sb, d);
  Ip6::sasRule8(sa, sb, d);
  const std::string in = "SA: fe80::1 SB: fe80::2 d: fe80::1";
  EXPECT_EQ(lines_, (std::vector<Line>{
                        line("sasRule1", "sasRule1:" + in),
                        line("sasRule1", "sasRule1: PREFER_SA"),
                        line("sasRule2", "sasRule2:" + in),
                        line("sasRule2", "sasRule2: EQUAL"),
                        line("sasRule6", "sasRule6:" + in),
                        line("sasRule6", "sasRule6: EQUAL"),
                        line("sasRule8", "sasRule8:" + in),
                        line("sasRule8", "sasRule8: PREFER_SA"),
                    }));
}

TEST_F(SasTrace, NothingWithLevelEightOffAndNoAllocation) {
  // Every other level on: only level 8 belongs to the rules.
  Orv::defaultTraceHandle().levelMaskIs(0x3ff & ~(1u << 8));
  const Lumen::Ip6Addr sa = A("2002::1"), sb = A("2001:db8::1"), d = A("2002::2");
  Ip6::chooseSourceAddress(sa, sb, d);  // first use builds the label table

  ipmodel::bench::AllocCounter allocs;
  EXPECT_EQ(Ip6::chooseSourceAddress(sa, sb, d), PREFER_SA);
  Ip6::sasRule1(sa, sb, d);
  Ip6::sasRule2(sa, sb, d);
  Ip6::sasRule6(sa, sb, d);
  Ip6::sasRule8(sa, sb, d);
  EXPECT_EQ(allocs.allocations(), 0u);
  EXPECT_TRUE(lines_.empty()) << lines_.front();
}

}  // namespace
