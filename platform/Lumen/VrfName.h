// VRF names.
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

namespace L3 {

// The name of a VRF, at most maxLength bytes. The default-constructed name is
// empty; the VRF every interface starts in is defaultVrf() ("default").
class IPMODEL_API VrfName {
 public:
  static constexpr std::size_t maxLength = 100;

  VrfName() = default;
  // Throws Orv::RangeException "VrfName::bytes > VrfName::maxLength not
  // allowed" when text is longer than maxLength.
  explicit VrfName(std::string_view text);
  // False when text is longer than maxLength.
  static bool tryParse(std::string_view text, VrfName& out) noexcept;
  static VrfName defaultVrf();

  const std::string& stringValue() const { return name_; }
  bool empty() const { return name_.empty(); }
  bool isDefaultVrf() const { return name_ == "default"; }

  bool operator==(const VrfName&) const = default;
  std::strong_ordering operator<=>(const VrfName& o) const { return name_ <=> o.name_; }
  bool operator!() const { return name_.empty(); }
  // MurmurHash3 of the name's bytes (Orv::hashString).
  std::uint32_t hash() const noexcept;

 private:
  std::string name_;
};

IPMODEL_API std::string valueToStrep(const VrfName& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const VrfName& v);
// Attribute-log form: a length-prefixed string; a length over maxLength fails
// the read.
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const VrfName& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, VrfName& v);

}  // namespace L3

namespace std {
template <>
struct hash<L3::VrfName> {
  std::size_t operator()(const L3::VrfName& v) const noexcept { return v.hash(); }
};
}  // namespace std
