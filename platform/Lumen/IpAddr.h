// IPv4 value types: an address, an address with a prefix length (an interface
// address such as 10.0.0.1/24) and a network prefix (10.0.0.0/8).
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include <ipmodel/Lumen/AddrWithLen.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/Hash.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Lumen {

// An IPv4 address, kept as its four bytes in network order. 0.0.0.0 is the
// default and means "unset".
class IPMODEL_API IpAddr {
 public:
  constexpr IpAddr() = default;
  constexpr explicit IpAddr(const std::array<std::uint8_t, 4>& bytes) : bytes_(bytes) {}
  // Dotted quad "a.b.c.d": each part 0-255 in decimal, no leading zeros, no
  // signs or spaces. Throws Orv::StrepReadException otherwise.
  explicit IpAddr(std::string_view text);
  static bool tryParse(std::string_view text, IpAddr& out) noexcept;
  static constexpr IpAddr fromHostOrder(std::uint32_t v) {
    return IpAddr(std::array<std::uint8_t, 4>{std::uint8_t(v >> 24), std::uint8_t(v >> 16),
                                              std::uint8_t(v >> 8), std::uint8_t(v)});
  }

  // The address as a host-order integer (10.0.0.1 is 0x0a000001).
  constexpr std::uint32_t value() const {
    return std::uint32_t(bytes_[0]) << 24 | std::uint32_t(bytes_[1]) << 16 |
           std::uint32_t(bytes_[2]) << 8 | std::uint32_t(bytes_[3]);
  }
  // The four bytes as stored (network order), read as one integer.
  std::uint32_t valueNbo() const {
    std::uint32_t v;
    std::memcpy(&v, bytes_.data(), 4);
    return v;
  }
  constexpr const std::array<std::uint8_t, 4>& bytes() const { return bytes_; }

  constexpr bool isMulticast() const { return (bytes_[0] & 0xf0) == 0xe0; }  // 224.0.0.0/4
  constexpr bool isUnspecified() const { return value() == 0; }

  // One 32-bit compare (a defaulted array compare becomes a memcmp call).
  constexpr bool operator==(const IpAddr& o) const {
    return std::bit_cast<std::uint32_t>(bytes_) == std::bit_cast<std::uint32_t>(o.bytes_);
  }
  // Network-order bytes compare like the numeric value.
  constexpr std::strong_ordering operator<=>(const IpAddr&) const = default;
  constexpr bool operator!() const { return isUnspecified(); }
  // fmix32 of the host-order value (Orv::hashU32): a bijection, so sequential
  // addresses spread over every bucket.
  constexpr std::uint32_t hash() const noexcept { return Orv::hashU32(value()); }

 private:
  std::array<std::uint8_t, 4> bytes_{};
};

class Prefix;

namespace detail {
struct Ip4Family {
  using Addr = IpAddr;
  static constexpr unsigned maxLen = 32;
};
}  // namespace detail

// An IPv4 address with a prefix length 0-32, e.g. an interface address
// "10.0.0.1/24". Host bits are kept. Default 0.0.0.0/0.
class IPMODEL_API IpAddrWithMask : public detail::AddrWithLen<IpAddrWithMask, detail::Ip4Family> {
 public:
  constexpr IpAddrWithMask() = default;
  // Throws Orv::RangeException when len > 32.
  IpAddrWithMask(IpAddr address, unsigned len);
  // "a.b.c.d/len". Throws Orv::StrepReadException on bad text.
  explicit IpAddrWithMask(std::string_view text);
  static bool tryParse(std::string_view text, IpAddrWithMask& out) noexcept;

  // The network this address is in (host bits cleared).
  Prefix prefix() const;
};

// An IPv4 network prefix "10.0.0.0/8": host bits are always clear. Default
// 0.0.0.0/0.
class IPMODEL_API Prefix : public detail::AddrWithLen<Prefix, detail::Ip4Family> {
 public:
  constexpr Prefix() = default;
  // Clears the host bits of address. Throws Orv::RangeException when len > 32.
  Prefix(IpAddr address, unsigned len);
  // "a.b.c.d/len" with no host bits set. Throws Orv::StrepReadException on
  // bad text, including text with host bits set.
  explicit Prefix(std::string_view text);
  static bool tryParse(std::string_view text, Prefix& out) noexcept;

  // The network mask as a host-order integer (len 8 is 0xff000000).
  static constexpr std::uint32_t maskOf(unsigned len) {
    return len == 0 ? 0 : ~std::uint32_t(0) << (32 - len);
  }
  constexpr bool contains(IpAddr a) const {
    return (a.value() & maskOf(len())) == address().value();
  }
};

IPMODEL_API std::string valueToStrep(const IpAddr& v);
IPMODEL_API std::string valueToStrep(const IpAddrWithMask& v);
IPMODEL_API std::string valueToStrep(const Prefix& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const IpAddr& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const IpAddrWithMask& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const Prefix& v);

// Attribute-log forms: the four address bytes in network order, then (for the
// masked forms) the length as one byte.
// Attribute-log form: the four bytes in network order (inline: it is on
// every replicated address's path).
inline Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IpAddr& v) {
  out.writeBytes(v.bytes().data(), 4);
  return out;
}
inline Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IpAddrWithMask& v) {
  out << v.address();
  out.writeU8(static_cast<std::uint8_t>(v.len()));
  return out;
}
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Prefix& v);
inline Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IpAddr& v) {
  std::array<std::uint8_t, 4> b;
  std::memcpy(b.data(), in.readSpan(4), 4);
  v = IpAddr(b);
  return in;
}
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IpAddrWithMask& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Prefix& v);

}  // namespace Lumen

namespace std {
template <>
struct hash<Lumen::IpAddr> {
  std::size_t operator()(const Lumen::IpAddr& v) const noexcept { return v.hash(); }
};
template <>
struct hash<Lumen::IpAddrWithMask> {
  std::size_t operator()(const Lumen::IpAddrWithMask& v) const noexcept { return v.hash(); }
};
template <>
struct hash<Lumen::Prefix> {
  std::size_t operator()(const Lumen::Prefix& v) const noexcept { return v.hash(); }
};
}  // namespace std
