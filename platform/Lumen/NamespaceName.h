// Linux network-namespace names.
#pragma once

#include <compare>
#include <cstddef>
#include <functional>

#include <ipmodel/Lumen/BoundedName.h>
#include <ipmodel/Orv/Export.h>

namespace Lumen {

struct NamespaceNameTraits : AnyCharsName {
  static constexpr std::size_t maxLength = 150;
  static constexpr const char* tooLongMessage = "NamespaceName::bytes > 150 not allowed";
  static constexpr const char* logWhat = "namespace name";
};

// The name of a network namespace, at most 150 bytes. The default is empty
// (no namespace named).
class IPMODEL_API NamespaceName : public BoundedName<NamespaceName, NamespaceNameTraits> {
 public:
  using BoundedName::BoundedName;

  bool operator==(const NamespaceName&) const = default;
  std::strong_ordering operator<=>(const NamespaceName&) const = default;
};

}  // namespace Lumen

namespace std {
template <>
struct hash<Lumen::NamespaceName> {
  std::size_t operator()(const Lumen::NamespaceName& v) const noexcept { return v.hash(); }
};
}  // namespace std
