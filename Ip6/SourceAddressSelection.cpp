#include <ipmodel/Ip6/SourceAddressSelection.h>

#include <array>
#include <cstring>
#include <ostream>

#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Trace.h>

namespace Ip6 {

namespace {

constexpr int traceLevel = 8;

struct LabelRow {
  Lumen::Ip6Prefix prefix;
  int label;
};

// The policy table's rows in the order they are tried. Built on first use,
// so that no other unit's static initialiser can see it half made.
const std::array<LabelRow, 5>& labelTable() {
  using Bytes = Lumen::Ip6Addr::Bytes;
  static const std::array<LabelRow, 5> table{{
      {Lumen::Ip6Prefix(Lumen::ip6AddrLoopback, 128), 0},
      {Lumen::Ip6Prefix(Lumen::ip6AddrZero, 0), 1},
      {Lumen::Ip6Prefix(Lumen::Ip6Addr(Bytes{0x20, 0x02}), 16), 2},
      {Lumen::Ip6Prefix(Lumen::ip6AddrZero, 96), 3},
      {Lumen::Ip6Prefix(Lumen::Ip6Addr(Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff}), 96), 4},
  }};
  return table;
}

constexpr int noLabel = 255;

// What scope(), label() and equality compute, kept in this unit so that the
// rules call no exported function for them (each such call goes through the
// shared library's indirection).

inline int scopeOf(const Lumen::Ip6Addr& a) {
  if (a.isLinkLocal()) return 0;
  if (a.isSiteLocal()) return 1;
  if (a.isUniqueLocal()) return 1;
  if (a.isMulticast()) return 1;  // ff00::/8
  return 2;
}

inline int labelOf(const Lumen::Ip6Addr& a) {
  for (const LabelRow& row : labelTable()) {
    if (row.prefix.contains(a)) return row.label;
  }
  return noLabel;
}

// All 128 bits; compiles to two 64-bit comparisons.
inline bool same(const Lumen::Ip6Addr& a, const Lumen::Ip6Addr& b) {
  return std::memcmp(a.bytes().data(), b.bytes().data(), sizeof(Lumen::Ip6Addr::Bytes)) == 0;
}

// The rules proper, on a handle fetched once by the caller. Each traces its
// inputs and then its decision, both under its own name.

ordering rule1(const Lumen::Ip6Addr& sa, const Lumen::Ip6Addr& sb, const Lumen::Ip6Addr& d,
               const Orv::TraceHandle& t) {
  ORV_TRACE_FN(t, traceLevel, "sasRule1", "sasRule1:SA: " << sa << " SB: " << sb << " d: " << d);
  ordering result = EQUAL;
  if (same(sa, d)) {
    result = PREFER_SA;
  } else if (same(sb, d)) {
    result = PREFER_SB;
  }
  ORV_TRACE_FN(t, traceLevel, "sasRule1", "sasRule1: " << result);
  return result;
}

ordering rule2(const Lumen::Ip6Addr& sa, const Lumen::Ip6Addr& sb, const Lumen::Ip6Addr& d,
               const Orv::TraceHandle& t) {
  ORV_TRACE_FN(t, traceLevel, "sasRule2", "sasRule2:SA: " << sa << " SB: " << sb << " d: " << d);
  ordering result;
  if (scopeOf(sa) < scopeOf(sb)) {
    // SA is narrower: use it only if it still covers the destination.
    result = scopeOf(sa) >= scopeOf(d) ? PREFER_SA : PREFER_SB;
  } else if (scopeOf(sb) >= scopeOf(sa)) {
    result = EQUAL;
  } else {
    result = scopeOf(sb) >= scopeOf(d) ? PREFER_SB : PREFER_SA;
  }
  ORV_TRACE_FN(t, traceLevel, "sasRule2", "sasRule2: " << result);
  return result;
}

ordering rule6(const Lumen::Ip6Addr& sa, const Lumen::Ip6Addr& sb, const Lumen::Ip6Addr& d,
               const Orv::TraceHandle& t) {
  ORV_TRACE_FN(t, traceLevel, "sasRule6", "sasRule6:SA: " << sa << " SB: " << sb << " d: " << d);
  // Labels depend on the address alone: each is looked up once.
  const int labelSa = labelOf(sa), labelSb = labelOf(sb), labelD = labelOf(d);
  ordering result = EQUAL;
  if (labelSa == labelD && labelSb != labelD) {
    result = PREFER_SA;
  } else if (labelSb == labelD && labelSa != labelD) {
    result = PREFER_SB;
  }
  ORV_TRACE_FN(t, traceLevel, "sasRule6", "sasRule6: " << result);
  return result;
}

ordering rule8(const Lumen::Ip6Addr& sa, const Lumen::Ip6Addr& sb, const Lumen::Ip6Addr& d,
               const Orv::TraceHandle& t) {
  ORV_TRACE_FN(t, traceLevel, "sasRule8", "sasRule8:SA: " << sa << " SB: " << sb << " d: " << d);
  const int lcpA = static_cast<int>(sa.longestCommonPrefix(d));
  const int lcpB = static_cast<int>(sb.longestCommonPrefix(d));
  // Equal lengths go to SA: this is the last tie-break of the selection.
  const ordering result = lcpA < lcpB ? PREFER_SB : PREFER_SA;
  ORV_TRACE_FN(t, traceLevel, "sasRule8", "sasRule8: " << result);
  return result;
}

}  // namespace

std::ostream& operator<<(std::ostream& os, ordering o) {
  switch (o) {
    case PREFER_SA:
      return os << "PREFER_SA";
    case EQUAL:
      return os << "EQUAL";
    case PREFER_SB:
      return os << "PREFER_SB";
  }
  return os << "ordering(" << static_cast<int>(o) << ")";
}

int scope(Lumen::Ip6Addr a) { return scopeOf(a); }

int label(Lumen::Ip6Addr a) { return labelOf(a); }

ordering sasRule1(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d) {
  return rule1(sa, sb, d, Orv::defaultTraceHandle());
}

ordering sasRule2(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d) {
  return rule2(sa, sb, d, Orv::defaultTraceHandle());
}

ordering sasRule6(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d) {
  return rule6(sa, sb, d, Orv::defaultTraceHandle());
}

ordering sasRule8(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d) {
  return rule8(sa, sb, d, Orv::defaultTraceHandle());
}

ordering chooseSourceAddress(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d) {
  const Orv::TraceHandle& t = Orv::defaultTraceHandle();
  ordering decision = rule1(sa, sb, d, t);
  if (decision != EQUAL) return decision;
  decision = rule2(sa, sb, d, t);
  if (decision != EQUAL) return decision;
  decision = rule6(sa, sb, d, t);
  if (decision != EQUAL) return decision;
  decision = rule8(sa, sb, d, t);
  ORV_ASSERT_IN(decision != EQUAL, "chooseSourceAddress");
  ORV_TRACE_FN(t, traceLevel, "chooseSourceAddress",
               "chooseSourceAddress: " << (decision == PREFER_SB ? "PREFER_SB" : "PREFER_SA"));
  return decision;
}

}  // namespace Ip6
