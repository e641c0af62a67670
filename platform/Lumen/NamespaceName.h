// Linux network-namespace names.
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

// The name of a network namespace, at most 150 bytes. The default is empty
// (no namespace named).
class IPMODEL_API NamespaceName {
 public:
  static constexpr std::size_t maxLength = 150;

  NamespaceName() = default;
  // Throws Orv::RangeException "NamespaceName::bytes > 150 not allowed" when
  // text is longer than maxLength.
  explicit NamespaceName(std::string_view text);
  // False when text is longer than maxLength.
  static bool tryParse(std::string_view text, NamespaceName& out) noexcept;

  const std::string& stringValue() const { return name_; }
  bool empty() const { return name_.empty(); }

  bool operator==(const NamespaceName&) const = default;
  std::strong_ordering operator<=>(const NamespaceName& o) const { return name_ <=> o.name_; }
  bool operator!() const { return name_.empty(); }
  // MurmurHash3 of the name's bytes (Orv::hashString).
  std::uint32_t hash() const noexcept;

 private:
  std::string name_;
};

IPMODEL_API std::string valueToStrep(const NamespaceName& v);
IPMODEL_API std::ostream& operator<<(std::ostream& os, const NamespaceName& v);
// Attribute-log form: a length-prefixed string; a length over maxLength fails
// the read.
IPMODEL_API Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const NamespaceName& v);
IPMODEL_API Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, NamespaceName& v);

}  // namespace Lumen

namespace std {
template <>
struct hash<Lumen::NamespaceName> {
  std::size_t operator()(const Lumen::NamespaceName& v) const noexcept { return v.hash(); }
};
}  // namespace std
