// IPv6 source-address selection: given two candidate source addresses of an
// interface and a destination, decide which candidate to use.
//
// Four rules are applied in a fixed order, each able to decide or to pass:
//
//   sasRule1  prefer the candidate equal to the destination
//   sasRule2  prefer the appropriate scope
//   sasRule6  prefer the candidate whose label matches the destination's
//   sasRule8  prefer the longer common prefix with the destination
//
// Rule 8 always decides (SA on equal lengths), so chooseSourceAddress never
// answers EQUAL. Deprecated, home, temporary and outgoing-interface
// preferences and precedence are deliberately not part of the decision.
//
// Everything here is a pure function of its arguments. With level 8 of
// Orv::defaultTraceHandle() on, every rule writes one line with its inputs
// and one with its decision (function context "sasRule1" ... "sasRule8",
// "chooseSourceAddress"); with it off nothing is built and nothing is
// allocated.
#pragma once

#include <iosfwd>
#include <iterator>

#include <ipmodel/Lumen/Ip6Addr.h>
#include <ipmodel/Orv/Export.h>

namespace Ip6 {

// The answer of one rule: which candidate is better, if the rule can tell.
enum ordering { PREFER_SA = 0, EQUAL = 1, PREFER_SB = 2 };

// The enumerator's name ("PREFER_SA", ...); other values as "ordering(<n>)".
IPMODEL_API std::ostream& operator<<(std::ostream& os, ordering o);

// 0 for link-local unicast, 1 for site-local, unique-local and every
// multicast address, 2 for everything else (loopback and :: included).
IPMODEL_API int scope(Lumen::Ip6Addr a);

// The label of the first row of the policy table whose prefix contains a.
// The rows are tried in the order ::1/128 (0), ::/0 (1), 2002::/16 (2),
// ::/96 (3), ::ffff:0:0/96 (4), first fit rather than longest match, so
// ::1 gets 0 and every other address gets 1.
IPMODEL_API int label(Lumen::Ip6Addr a);

// SA if it equals d, else SB if it equals d, else EQUAL.
IPMODEL_API ordering sasRule1(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d);
// The narrower-scoped candidate when its scope still reaches d (its scope is
// at least d's), the other one when it does not; EQUAL on equal scopes.
IPMODEL_API ordering sasRule2(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d);
// The only candidate whose label equals d's; EQUAL when both or neither do.
IPMODEL_API ordering sasRule6(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d);
// SB when it shares more leading bits with d than SA does, else SA.
IPMODEL_API ordering sasRule8(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d);

// Rules 1, 2, 6 and 8 in turn; the first that is not EQUAL decides. Never
// EQUAL (asserted after rule 8).
IPMODEL_API ordering chooseSourceAddress(Lumen::Ip6Addr sa, Lumen::Ip6Addr sb, Lumen::Ip6Addr d);

// --- Folding over an interface's addresses ----------------------------------
//
// The best source address among the members of a collection for destination
// d, as the interface configuration and status answer it:
//   - no members: :: (Lumen::ip6AddrZero);
//   - otherwise the first member's address is the current best, and every
//     member in iteration order, the first one included, is put to
//     chooseSourceAddress(best, member, d); a PREFER_SB answer makes the
//     member the new best.
// Ties keep the earlier member, so the result depends on iteration order.
// The result is always the address of one of the members. Nothing is
// allocated beyond what iterating the collection costs.
//
// Three entry points share the walk:
//
//   bestSourceAddressIn(first, last, addrAt, d)
//       any forward iterators; addrAt(it) gives the address of the member
//       under it.
//   bestSourceAddress(range, addrOf, d)
//       any forward range; addrOf(*it) gives a member's address:
//         std::vector<Lumen::Ip6AddrWithMask> v = ...;
//         Ip6::bestSourceAddress(v, [](auto& m) { return m.address(); }, d);
//   bestSourceAddressOfKeys(collection, d)
//       the model's collections, whose iterators answer key(); the key is a
//       Lumen::Ip6AddrWithMask (its mask length plays no part) or a
//       Lumen::Ip6Addr:
//         return Ip6::bestSourceAddressOfKeys(addr_, d);

template <class It, class End, class AddrAt>
Lumen::Ip6Addr bestSourceAddressIn(It first, End last, AddrAt addrAt, const Lumen::Ip6Addr& d) {
  if (first == last) return Lumen::ip6AddrZero;
  Lumen::Ip6Addr best = addrAt(first);
  for (; first != last; ++first) {
    const Lumen::Ip6Addr candidate = addrAt(first);
    if (chooseSourceAddress(best, candidate, d) == PREFER_SB) best = candidate;
  }
  return best;
}

template <class Range, class AddrOf>
Lumen::Ip6Addr bestSourceAddress(const Range& members, AddrOf addrOf, const Lumen::Ip6Addr& d) {
  using std::begin;
  using std::end;
  return bestSourceAddressIn(
      begin(members), end(members),
      [&addrOf](const auto& it) -> Lumen::Ip6Addr { return addrOf(*it); }, d);
}

namespace detail {
inline const Lumen::Ip6Addr& memberAddress(const Lumen::Ip6Addr& a) { return a; }
inline const Lumen::Ip6Addr& memberAddress(const Lumen::Ip6AddrWithMask& a) { return a.address(); }
}  // namespace detail

template <class Collection>
Lumen::Ip6Addr bestSourceAddressOfKeys(const Collection& members, const Lumen::Ip6Addr& d) {
  return bestSourceAddressIn(
      members.begin(), members.end(),
      [](const auto& it) -> Lumen::Ip6Addr { return detail::memberAddress(it.key()); }, d);
}

}  // namespace Ip6
