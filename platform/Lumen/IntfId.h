// Interface identifiers: the name of a network interface ("Ethernet1",
// "Loopback0", "Vlan10").
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include <ipmodel/Lumen/BoundedName.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Lumen {

namespace detail {
// The bytes an interface name refuses, as a table: names are checked on
// every attribute-log read, inline.
struct RefusedIntfIdChars {
  static constexpr bool refusedChar(unsigned char c) {
    if (c < 0x20 || c == 0x7f) return true;  // control characters, including tab and newline
    switch (c) {
      case ' ':
      case '\'':
      case '"':
      case '`':
      case ',':
      case '(':
      case ')':
      case '{':
      case '}':
        return true;
      default:
        return false;
    }
  }
  constexpr RefusedIntfIdChars() : refused() {
    for (int c = 0; c < 256; ++c) refused[c] = refusedChar(static_cast<unsigned char>(c));
  }
  bool refused[256];
};
inline constexpr RefusedIntfIdChars refusedIntfIdChars;
}  // namespace detail

struct IPMODEL_API IntfIdTraits {
  static constexpr std::size_t maxLength = 255;
  static constexpr const char* tooLongMessage = "IntfId::bytes > 255 not allowed";
  static constexpr const char* logWhat = "interface name";
  // Control characters, whitespace, quotes (' " `), commas, parentheses and
  // braces would make a name ambiguous inside a larger textual form.
  static bool validChars(std::string_view text) noexcept {
    bool bad = false;
    for (char c : text) bad |= detail::refusedIntfIdChars.refused[static_cast<unsigned char>(c)];
    return !bad;
  }
  [[noreturn]] static void throwInvalid(std::string_view text);
};

// An interface name. Names never contain control characters, whitespace,
// quotes (' " `), commas, parentheses or braces, so a name can sit inside a
// larger textual form (lists, tuples, keys) without quoting. At most 255
// bytes. The default, empty id means "no interface". The text constructor
// throws Orv::StrepReadException on a refused character and
// Orv::RangeException "IntfId::bytes > 255 not allowed" when too long.
class IPMODEL_API IntfId : public BoundedName<IntfId, IntfIdTraits> {
 public:
  using BoundedName::BoundedName;

  bool operator==(const IntfId&) const = default;
  std::strong_ordering operator<=>(const IntfId&) const = default;
};

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
