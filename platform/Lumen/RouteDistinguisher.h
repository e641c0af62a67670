// BGP route distinguishers: eight bytes that keep VPN routes of different
// VRFs apart.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include <ipmodel/Lumen/IpAddr.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Lumen {

// A route distinguisher: a 2-byte type then a 6-byte value, in network order.
//   type 0  "ASN:NN"      2-byte AS number, 4-byte assigned number
//   type 1  "a.b.c.d:NN"  IPv4 address, 2-byte assigned number
//   type 2  "ASN4:NN"     4-byte AS number over 65535, 2-byte assigned number
// The default is all zero and prints "0:0". Every value this class holds has a
// text form that reads back to it: other types, and type 2 with an AS number
// that fits in two bytes, are refused.
class IPMODEL_API RouteDistinguisher {
 public:
  using Bytes = std::array<std::uint8_t, 8>;

  constexpr RouteDistinguisher() = default;
  // Throws Orv::StrepReadException on bad text or out-of-range parts.
  explicit RouteDistinguisher(std::string_view text);
  static bool tryParse(std::string_view text, RouteDistinguisher& out) noexcept;

  static RouteDistinguisher type0(std::uint16_t asn, std::uint32_t number);
  static RouteDistinguisher type1(IpAddr address, std::uint16_t number);
  // Throws Orv::RangeException when asn <= 65535 (that is a type 0 value).
  static RouteDistinguisher type2(std::uint32_t asn, std::uint16_t number);
  // Whether the eight bytes form a value this class accepts (see above).
  static bool isValidBytes(const Bytes& bytes) noexcept;
  // Throws Orv::RangeException unless isValidBytes(bytes).
  static RouteDistinguisher fromBytes(const Bytes& bytes);

  constexpr std::uint16_t type() const { return std::uint16_t(bytes_[0] << 8 | bytes_[1]); }
  constexpr const Bytes& bytes() const { return bytes_; }
  // The eight bytes as a host-order integer.
  constexpr std::uint64_t u64() const {
    std::uint64_t v = 0;
    for (auto b : bytes_) v = v << 8 | b;
    return v;
  }

  constexpr bool operator==(const RouteDistinguisher&) const = default;
  // By type, then value (the bytes in order).
  constexpr std::strong_ordering operator<=>(const RouteDistinguisher&) const = default;
  constexpr bool operator!() const { return u64() == 0; }
  // MurmurHash3 of the eight bytes (Orv::hashBytes).
  std::uint32_t hash() const noexcept;

 private:
  Bytes bytes_{};
};

IPMODEL_API std::string valueToStrep(const RouteDistinguisher& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const RouteDistinguisher& v);
// Attribute-log form: the eight bytes. Bytes that are not a valid value (see
// isValidBytes) fail the read.
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out,
                                             const RouteDistinguisher& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, RouteDistinguisher& v);

}  // namespace Lumen

namespace std {
template <>
struct hash<Lumen::RouteDistinguisher> {
  std::size_t operator()(const Lumen::RouteDistinguisher& v) const noexcept { return v.hash(); }
};
}  // namespace std
