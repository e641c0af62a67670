// VRF names.
#pragma once

#include <compare>
#include <cstddef>
#include <functional>

#include <ipmodel/Lumen/BoundedName.h>
#include <ipmodel/Orv/Export.h>

namespace L3 {

struct VrfNameTraits : Lumen::AnyCharsName {
  static constexpr std::size_t maxLength = 100;
  static constexpr const char* tooLongMessage = "VrfName::bytes > VrfName::maxLength not allowed";
  static constexpr const char* logWhat = "VRF name";
};

// The name of a VRF, at most maxLength bytes. The default-constructed name is
// empty; the VRF every interface starts in is defaultVrf() ("default").
class IPMODEL_API VrfName : public Lumen::BoundedName<VrfName, VrfNameTraits> {
 public:
  using BoundedName::BoundedName;
  static VrfName defaultVrf() { return VrfName("default"); }
  bool isDefaultVrf() const { return stringValue() == "default"; }

  bool operator==(const VrfName&) const = default;
  std::strong_ordering operator<=>(const VrfName&) const = default;
};

}  // namespace L3

namespace std {
template <>
struct hash<L3::VrfName> {
  std::size_t operator()(const L3::VrfName& v) const noexcept { return v.hash(); }
};
}  // namespace std
