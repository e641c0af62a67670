// Names that are strings of bounded length: interface ids, namespace names
// and VRF names share their storage, checks, ordering, hash, textual form and
// attribute-log form here. Each name type is a thin class deriving from
// BoundedName<ItSelf, Traits>, where Traits gives
//   maxLength                    the longest name in bytes
//   tooLongMessage               the RangeException text for a longer name
//   logWhat                      what a bad attribute-log read calls the name
//   validChars(text)             false when text holds a refused character
//   throwInvalid(text)           throws the exception for such a text
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Lumen {

// Traits of a name that refuses no character.
struct AnyCharsName {
  static bool validChars(std::string_view) noexcept { return true; }
  [[noreturn]] static void throwInvalid(std::string_view) {
    throw Orv::RangeException("invalid name");
  }
};

template <class Derived, class Traits>
class BoundedName {
 public:
  static constexpr std::size_t maxLength = Traits::maxLength;

  BoundedName() = default;
  // Throws Orv::RangeException with Traits::tooLongMessage when text is over
  // maxLength, and what Traits::throwInvalid throws on a refused character.
  explicit BoundedName(std::string_view text) : name_(checked(text)) {}
  // False when text is too long or holds a refused character.
  static bool tryParse(std::string_view text, Derived& out) noexcept {
    if (!isValidName(text)) return false;
    static_cast<BoundedName&>(out).name_ = text;
    return true;
  }
  static bool isValidName(std::string_view text) noexcept {
    return text.size() <= maxLength && Traits::validChars(text);
  }

  const std::string& stringValue() const { return name_; }
  bool empty() const { return name_.empty(); }

  bool operator==(const BoundedName&) const = default;
  std::strong_ordering operator<=>(const BoundedName& o) const { return name_ <=> o.name_; }
  bool operator!() const { return name_.empty(); }
  // MurmurHash3 of the name's bytes (Orv::hashString).
  std::uint32_t hash() const noexcept { return Orv::hashString(name_); }

  friend std::string valueToStrep(const Derived& v) { return v.stringValue(); }
  friend std::ostream& operator<<(std::ostream& os, const Derived& v) {
    return os << v.stringValue();
  }
  // Attribute-log form: a length-prefixed string. A length over maxLength or
  // a refused character fails the read and leaves v as it was.
  friend Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Derived& v) {
    out.writeString(v.stringValue());
    return out;
  }
  friend Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Derived& v) {
    const std::string_view s = readNameView(in, Traits::logWhat);
    static_cast<BoundedName&>(v).name_.assign(s.data(), s.size());
    return in;
  }

  // A length-prefixed name in place in the input, checked: length within
  // maxLength and no refused character. what names it in the failure.
  static std::string_view readNameView(Orv::NboAttrLog::In& in, const char* what) {
    const std::size_t at = in.offset();
    const std::uint32_t n = in.readU32();
    if (n > maxLength) {
      in.fail(std::string(what) + " of " + std::to_string(n) + " bytes is over " +
                  std::to_string(maxLength),
              at);
    }
    const std::string_view s(reinterpret_cast<const char*>(in.readSpan(n)), n);
    if (!Traits::validChars(s)) in.fail(std::string(what) + " has a refused character", at);
    return s;
  }

  // The same, copied out.
  static std::string readName(Orv::NboAttrLog::In& in, const char* what) {
    return std::string(readNameView(in, what));
  }

 private:
  static std::string_view checked(std::string_view text) {
    if (text.size() > maxLength) throw Orv::RangeException(Traits::tooLongMessage);
    if (!Traits::validChars(text)) Traits::throwInvalid(text);
    return text;
  }

  std::string name_;
};

}  // namespace Lumen
