// IPv6 value types: an address, an address with a prefix length
// ("fe80::1/64") and a network prefix ("2002::/16").
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include <ipmodel/Lumen/AddrWithLen.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Lumen {

// An IPv6 address, kept as its sixteen bytes in network order. :: is the
// default and means "unset".
class IPMODEL_API Ip6Addr {
 public:
  using Bytes = std::array<std::uint8_t, 16>;

  constexpr Ip6Addr() = default;
  constexpr explicit Ip6Addr(const Bytes& bytes) : bytes_(bytes) {}
  // Any RFC 4291 text form: eight groups of 1-4 hex digits (either case), one
  // "::" standing for one or more zero groups, and optionally the last 32 bits
  // as a dotted quad ("::ffff:1.2.3.4"). Zone suffixes ("%eth0") are refused.
  // Throws Orv::StrepReadException on bad text.
  explicit Ip6Addr(std::string_view text);
  static bool tryParse(std::string_view text, Ip6Addr& out) noexcept;

  constexpr const Bytes& bytes() const { return bytes_; }

  constexpr bool isLinkLocal() const {  // fe80::/10
    return bytes_[0] == 0xfe && (bytes_[1] & 0xc0) == 0x80;
  }
  constexpr bool isSiteLocal() const {  // fec0::/10
    return bytes_[0] == 0xfe && (bytes_[1] & 0xc0) == 0xc0;
  }
  constexpr bool isUniqueLocal() const { return (bytes_[0] & 0xfe) == 0xfc; }  // fc00::/7
  constexpr bool isMulticast() const { return bytes_[0] == 0xff; }             // ff00::/8
  constexpr bool isLoopback() const {                                          // ::1
    return *this == Ip6Addr(Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
  }
  constexpr bool isUnspecified() const { return *this == Ip6Addr(); }  // ::
  // Number of leading bits (0-128) this address shares with o.
  unsigned longestCommonPrefix(const Ip6Addr& o) const;

  // Two 64-bit compares (a defaulted array compare becomes a memcmp call).
  constexpr bool operator==(const Ip6Addr& o) const {
    using Words = std::array<std::uint64_t, 2>;
    const Words a = std::bit_cast<Words>(bytes_), b = std::bit_cast<Words>(o.bytes_);
    return a[0] == b[0] && a[1] == b[1];
  }
  // Network-order bytes compare like the 128-bit number.
  constexpr std::strong_ordering operator<=>(const Ip6Addr&) const = default;
  constexpr bool operator!() const { return isUnspecified(); }
  // MurmurHash3 of the sixteen bytes (Orv::hashBytes).
  std::uint32_t hash() const noexcept;

 private:
  Bytes bytes_{};
};

inline constexpr Ip6Addr ip6AddrZero{};
inline constexpr Ip6Addr ip6AddrLoopback{
    Ip6Addr::Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};

class Ip6Prefix;

namespace detail {
struct Ip6Family {
  using Addr = Ip6Addr;
  static constexpr unsigned maxLen = 128;
};
}  // namespace detail

// An IPv6 address with a prefix length 0-128, e.g. "fe80::1/64". Host bits are
// kept. Default ::/0.
class IPMODEL_API Ip6AddrWithMask : public detail::AddrWithLen<Ip6AddrWithMask, detail::Ip6Family> {
 public:
  constexpr Ip6AddrWithMask() = default;
  // Throws Orv::RangeException when len > 128.
  Ip6AddrWithMask(const Ip6Addr& address, unsigned len);
  // "address/len". Throws Orv::StrepReadException on bad text.
  explicit Ip6AddrWithMask(std::string_view text);
  static bool tryParse(std::string_view text, Ip6AddrWithMask& out) noexcept;

  // The network this address is in (host bits cleared).
  Ip6Prefix prefix() const;
};

// An IPv6 network prefix "2002::/16": host bits are always clear. Default ::/0.
class IPMODEL_API Ip6Prefix : public detail::AddrWithLen<Ip6Prefix, detail::Ip6Family> {
 public:
  constexpr Ip6Prefix() = default;
  // Clears the host bits of address. Throws Orv::RangeException when len > 128.
  Ip6Prefix(const Ip6Addr& address, unsigned len);
  // "address/len" with no host bits set. Throws Orv::StrepReadException on
  // bad text, including text with host bits set.
  explicit Ip6Prefix(std::string_view text);
  static bool tryParse(std::string_view text, Ip6Prefix& out) noexcept;

  bool contains(const Ip6Addr& a) const { return address().longestCommonPrefix(a) >= len(); }
};

// Text: RFC 5952 (lowercase, no leading zeros, the longest run of two or more
// zero groups - the first on ties - shown as "::", and the dotted-quad tail
// only for IPv4-mapped addresses "::ffff:a.b.c.d").
IPMODEL_API std::string valueToStrep(const Ip6Addr& v);
IPMODEL_API std::string valueToStrep(const Ip6AddrWithMask& v);
IPMODEL_API std::string valueToStrep(const Ip6Prefix& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const Ip6Addr& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const Ip6AddrWithMask& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const Ip6Prefix& v);

// Attribute-log forms: the sixteen address bytes in network order, then (for
// the masked forms) the length as one byte.
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Ip6Addr& v);
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Ip6AddrWithMask& v);
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Ip6Prefix& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Ip6Addr& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Ip6AddrWithMask& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Ip6Prefix& v);

}  // namespace Lumen

namespace std {
template <>
struct hash<Lumen::Ip6Addr> {
  std::size_t operator()(const Lumen::Ip6Addr& v) const noexcept { return v.hash(); }
};
template <>
struct hash<Lumen::Ip6AddrWithMask> {
  std::size_t operator()(const Lumen::Ip6AddrWithMask& v) const noexcept { return v.hash(); }
};
template <>
struct hash<Lumen::Ip6Prefix> {
  std::size_t operator()(const Lumen::Ip6Prefix& v) const noexcept { return v.hash(); }
};
}  // namespace std
