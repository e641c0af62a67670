// The state and operations every address-with-length type shares: an
// address of one family and a prefix length, compared by address then
// length, hashed over the address bytes and the length byte. IpAddrWithMask,
// Prefix, Ip6AddrWithMask and Ip6Prefix derive from it and add only their
// constructors (which check the length and, for a prefix, clear host bits)
// and their own queries.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <ipmodel/Orv/Hash.h>

namespace Lumen::detail {

// Self is the derived type, so that two kinds of one family (an address
// with mask and a prefix) never compare with each other. Family names the
// address type (Addr) and the longest prefix (maxLen).
template <class Self, class Family>
class AddrWithLen {
 public:
  using Addr = typename Family::Addr;
  static constexpr unsigned maxLen = Family::maxLen;

  constexpr AddrWithLen() = default;

  constexpr const Addr& address() const { return address_; }
  constexpr unsigned len() const { return len_; }

  // Both comparisons take the derived type itself. Taking the base (a
  // defaulted member operator) makes every comparison of two derived values
  // a derived-to-base reference conversion, which in a caller's loop keeps
  // the operand's address in a register or a stack slot rather than
  // addressing the value directly: a setter comparing an IpAddrWithMask
  // went from one to two dependent loads.
  friend constexpr bool operator==(const Self& a, const Self& b) {
    return a.address_ == b.address_ && a.len_ == b.len_;
  }
  // By address, then length.
  friend constexpr std::strong_ordering operator<=>(const Self& a, const Self& b) {
    if (const auto c = a.address_ <=> b.address_; c != 0) return c;
    return a.len_ <=> b.len_;
  }
  constexpr bool operator!() const { return address_.isUnspecified() && len_ == 0; }
  // MurmurHash3 (Orv::hashBytes) of the address bytes and the length byte.
  std::uint32_t hash() const noexcept {
    constexpr std::size_t n = sizeof(address_.bytes());
    std::uint8_t buf[n + 1];
    std::memcpy(buf, address_.bytes().data(), n);
    buf[n] = len_;
    return Orv::hashBytes(buf, sizeof buf);
  }

 protected:
  // The length must already be checked against maxLen.
  constexpr void assign(const Addr& address, unsigned len) {
    address_ = address;
    len_ = static_cast<std::uint8_t>(len);
  }

 private:
  Addr address_{};
  std::uint8_t len_ = 0;
};

}  // namespace Lumen::detail
