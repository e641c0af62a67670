// Text-scanning helpers shared by the value types' parsers. They are strict on
// purpose: plain ASCII digits only, no sign, no spaces and no leading zeros, so
// every value has exactly one textual form.
#pragma once

#include <cstdint>
#include <string_view>

namespace Lumen::detail {

// Parses a decimal number in [0, max]. "0" is accepted; "00", "01", "", "+1"
// and anything over max are refused.
constexpr bool parseDecimal(std::string_view s, std::uint64_t max, std::uint64_t& out) noexcept {
  if (s.empty() || s.size() > 20) return false;
  if (s.size() > 1 && s[0] == '0') return false;
  std::uint64_t v = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    const std::uint64_t d = static_cast<std::uint64_t>(c - '0');
    if (d > max || v > (max - d) / 10) return false;
    v = v * 10 + d;
  }
  out = v;
  return true;
}

}  // namespace Lumen::detail
