// Interface identifiers: the name of a network interface ("Ethernet1",
// "Loopback0", "Vlan10").
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Lumen {

// An interface name. Names never contain control characters, whitespace,
// quotes (' " `), commas, parentheses or braces, so a name can sit inside a
// larger textual form (lists, tuples, keys) without quoting. At most 255
// bytes. The default, empty id means "no interface".
class IPMODEL_API IntfId {
 public:
  static constexpr std::size_t maxLength = 255;

  IntfId() = default;
  // Throws Orv::StrepReadException on a refused character and
  // Orv::RangeException "IntfId::bytes > 255 not allowed" when too long.
  explicit IntfId(std::string_view text);
  static bool tryParse(std::string_view text, IntfId& out) noexcept;
  // True when text is short enough and has no refused character.
  static bool isValidName(std::string_view text) noexcept;

  const std::string& stringValue() const { return name_; }
  bool empty() const { return name_.empty(); }

  bool operator==(const IntfId&) const = default;
  std::strong_ordering operator<=>(const IntfId& o) const { return name_ <=> o.name_; }
  bool operator!() const { return name_.empty(); }
  // MurmurHash3 of the name's bytes (Orv::hashString).
  std::uint32_t hash() const noexcept;

 private:
  std::string name_;
};

IPMODEL_API std::string valueToStrep(const IntfId& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const IntfId& v);
// Attribute-log form: the name as a length-prefixed string.
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IntfId& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IntfId& v);

// The id of a loopback interface: an IntfId whose name begins with
// "Loopback", or the empty id. Usable wherever an IntfId is expected.
class IPMODEL_API LoopbackIntfId : public IntfId {
 public:
  LoopbackIntfId() = default;
  // Throws Orv::StrepReadException unless text is empty or a valid interface
  // name beginning with "Loopback" (and RangeException when too long).
  explicit LoopbackIntfId(std::string_view text);
  // Throws Orv::RangeException when id is not empty and not a loopback id.
  explicit LoopbackIntfId(const IntfId& id);
  static bool tryParse(std::string_view text, LoopbackIntfId& out) noexcept;
  static bool isLoopbackIntfId(const IntfId& id) noexcept;

  bool operator==(const LoopbackIntfId&) const = default;
  std::strong_ordering operator<=>(const LoopbackIntfId&) const = default;
};

IPMODEL_API std::string valueToStrep(const LoopbackIntfId& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const LoopbackIntfId& v);
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const LoopbackIntfId& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, LoopbackIntfId& v);

}  // namespace Lumen

namespace std {
template <>
struct hash<Lumen::IntfId> {
  std::size_t operator()(const Lumen::IntfId& v) const noexcept { return v.hash(); }
};
template <>
struct hash<Lumen::LoopbackIntfId> {
  std::size_t operator()(const Lumen::LoopbackIntfId& v) const noexcept { return v.hash(); }
};
}  // namespace std
