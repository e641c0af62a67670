// Family-generic addresses: an IPv4 or IPv6 address (or none), and the same
// with a prefix length.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include <ipmodel/Lumen/Ip6Addr.h>
#include <ipmodel/Lumen/IpAddr.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Lumen {

enum class AddressFamily : std::uint32_t { ipunknown = 0, ipv4 = 1, ipv6 = 2 };

// Text: "ipunknown", "ipv4", "ipv6".
IPMODEL_API std::string valueToStrep(AddressFamily v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, AddressFamily v);
// Throws Orv::StrepReadException on any other text.
IPMODEL_API AddressFamily addressFamilyFromStrep(std::string_view text);
IPMODEL_API bool tryParse(std::string_view text, AddressFamily& out) noexcept;
// Attribute-log form: one byte (0, 1 or 2); other bytes fail the read.
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, AddressFamily v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, AddressFamily& v);

// An address of either family. The default has no family (ipunknown), which
// is different from 0.0.0.0 and ::.
class IPMODEL_API IpGenAddr {
 public:
  constexpr IpGenAddr() = default;
  constexpr IpGenAddr(const IpAddr& a)  // NOLINT: implicit, an IPv4 address is a generic one
      : af_(AddressFamily::ipv4), bytes_{a.bytes()[0], a.bytes()[1], a.bytes()[2], a.bytes()[3]} {}
  constexpr IpGenAddr(const Ip6Addr& a)  // NOLINT: implicit, as above
      : af_(AddressFamily::ipv6), bytes_(a.bytes()) {}
  // IPv6 when the text has a ':', IPv4 otherwise; empty text gives the
  // no-family value. Throws Orv::StrepReadException on bad text.
  explicit IpGenAddr(std::string_view text);
  static bool tryParse(std::string_view text, IpGenAddr& out) noexcept;

  constexpr AddressFamily af() const { return af_; }
  constexpr bool isV4() const { return af_ == AddressFamily::ipv4; }
  constexpr bool isV6() const { return af_ == AddressFamily::ipv6; }
  // The address of the matching family; asking for the other family is a
  // programming error (ORV_ASSERT).
  IpAddr v4() const;
  Ip6Addr v6() const;

  constexpr bool operator==(const IpGenAddr&) const = default;
  // By family (none < IPv4 < IPv6), then address.
  constexpr std::strong_ordering operator<=>(const IpGenAddr&) const = default;
  constexpr bool operator!() const { return af_ == AddressFamily::ipunknown; }
  // The same hash as the IpAddr or Ip6Addr it holds (Orv::hashU32 of an IPv4
  // address, Orv::hashBytes of an IPv6 one); 0 without a family.
  std::uint32_t hash() const noexcept;

 private:
  AddressFamily af_ = AddressFamily::ipunknown;
  // IPv4 uses the first four bytes; unused bytes stay zero so the defaulted
  // comparisons hold.
  std::array<std::uint8_t, 16> bytes_{};
};

// An IpGenAddr with a prefix length: 0-32 for IPv4, 0-128 for IPv6, 0 without
// a family. The default (no family) prints as "".
class IPMODEL_API IpGenAddrWithMask {
 public:
  constexpr IpGenAddrWithMask() = default;
  // Throws Orv::RangeException when len is over the family's maximum.
  IpGenAddrWithMask(const IpGenAddr& address, unsigned len);
  constexpr IpGenAddrWithMask(const IpAddrWithMask& a)  // NOLINT: implicit, as for IpGenAddr
      : address_(a.address()), len_(static_cast<std::uint8_t>(a.len())) {}
  constexpr IpGenAddrWithMask(const Ip6AddrWithMask& a)  // NOLINT: implicit, as for IpGenAddr
      : address_(a.address()), len_(static_cast<std::uint8_t>(a.len())) {}
  // "address/len" of either family, or "" for the default. Throws
  // Orv::StrepReadException on bad text.
  explicit IpGenAddrWithMask(std::string_view text);
  static bool tryParse(std::string_view text, IpGenAddrWithMask& out) noexcept;

  constexpr const IpGenAddr& ipGenAddr() const { return address_; }
  constexpr unsigned len() const { return len_; }
  constexpr AddressFamily af() const { return address_.af(); }
  constexpr bool isV4() const { return address_.isV4(); }
  constexpr bool isV6() const { return address_.isV6(); }
  // The value as the family's own type; ORV_ASSERT on the wrong family.
  IpAddrWithMask v4() const;
  Ip6AddrWithMask v6() const;
  // Largest prefix length for a family: 32, 128, or 0 for ipunknown.
  static constexpr unsigned maxLenFor(AddressFamily af) {
    return af == AddressFamily::ipv4 ? 32 : af == AddressFamily::ipv6 ? 128 : 0;
  }

  constexpr bool operator==(const IpGenAddrWithMask&) const = default;
  // By address (family first), then length.
  constexpr std::strong_ordering operator<=>(const IpGenAddrWithMask&) const = default;
  constexpr bool operator!() const { return !address_; }
  // The same hash as the IpAddrWithMask or Ip6AddrWithMask it holds
  // (Orv::hashBytes of address bytes and length byte); 0 without a family.
  std::uint32_t hash() const noexcept;

 private:
  IpGenAddr address_;
  std::uint8_t len_ = 0;
};

IPMODEL_API std::string valueToStrep(const IpGenAddr& v);
IPMODEL_API std::string valueToStrep(const IpGenAddrWithMask& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const IpGenAddr& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const IpGenAddrWithMask& v);

// Attribute-log forms: a family byte (0, 1, 2), then the address's 0, 4 or 16
// bytes in network order, then (for the masked form) the length as one byte.
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IpGenAddr& v);
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IpGenAddrWithMask& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IpGenAddr& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IpGenAddrWithMask& v);

}  // namespace Lumen

namespace std {
template <>
struct hash<Lumen::IpGenAddr> {
  std::size_t operator()(const Lumen::IpGenAddr& v) const noexcept { return v.hash(); }
};
template <>
struct hash<Lumen::IpGenAddrWithMask> {
  std::size_t operator()(const Lumen::IpGenAddrWithMask& v) const noexcept { return v.hash(); }
};
}  // namespace std
