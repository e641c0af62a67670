// Textual forms: valueToStrep(v) writes a value's text, strepToValue<T>(text)
// reads it back. Built-in types are handled here; every other type provides
// valueToStrep in its own namespace (found by argument-dependent lookup) and
// either a constructor from text (network value types), a constructor over a
// string iterator range (generated value types) or sequenceToValue
// (generated enumerations).
#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/Ptr.h>
#include <ipmodel/Orv/String.h>

namespace Orv {
template <class T>
struct IsPtr : std::false_type {};
template <class T>
struct IsPtr<Ptr<T>> : std::true_type {};
// Framework types whose text forms are overloads in Orv itself; the forwarding
// template below must not consider them (it would find itself).
template <class T>
inline constexpr bool strepInOrv = false;
template <class T>
concept Builtin =
    std::is_arithmetic_v<T> || std::is_same_v<T, std::string> || IsPtr<T>::value || strepInOrv<T>;
}  // namespace Orv

namespace orv_adl {
// Ordinary lookup inside this namespace stops here, so the calls below see
// only the overloads that argument-dependent lookup finds in T's namespace.
void valueToStrep() = delete;
void sequenceToValue() = delete;
template <class T>
concept HasValueToStrep = !Orv::Builtin<T> && requires(const T& v) {
  { valueToStrep(v) } -> std::convertible_to<std::string>;
};
template <class T>
std::string callValueToStrep(const T& v) {
  return valueToStrep(v);
}
template <class T>
concept HasSequenceToValue = std::is_enum_v<T> && requires(const char* b, T* out) {
  sequenceToValue(b, b, out);
};
template <class T>
void callSequenceToValue(const char* b, const char* e, T* out) {
  sequenceToValue(b, e, out);
}
}  // namespace orv_adl

namespace Orv {

inline String valueToStrep(bool v) { return v ? "true" : "false"; }
template <class T>
requires(std::is_integral_v<T> && !std::is_same_v<T, bool>) String valueToStrep(T v) {
  if constexpr (sizeof(T) == 1) {
    return std::to_string(static_cast<int>(v));
  } else {
    return std::to_string(v);
  }
}
// Shortest text that reads back to the same double; "inf", "-inf", "nan".
IPMODEL_API String valueToStrep(double v);
inline String valueToStrep(const String& v) { return v; }
inline String valueToStrep(const char* v) { return v; }
// Entities print as their full name, keyed reactors as their key, other
// counted objects as their type; a null pointer as "null".
template <class E>
String valueToStrep(const Ptr<E>& p);
template <class T>
requires orv_adl::HasValueToStrep<T> String valueToStrep(const T& v) {
  return orv_adl::callValueToStrep(v);
}

template <class E>
String valueToStrep(const Ptr<E>& p) {
  if (!p) return "null";
  if constexpr (requires { p->fullName(); }) {
    return p->fullName();
  } else if constexpr (requires { p->fwkKey(); }) {
    return valueToStrep(p->fwkKey());
  } else if constexpr (requires { p->fwkType().name; }) {
    return p->fwkType().name;
  } else {
    return "object";
  }
}

[[noreturn]] IPMODEL_API void strepFail(std::string_view typeName, std::string_view text);

template <class T>
T strepToValue(std::string_view text);

namespace detail {
template <class T>
T readInteger(std::string_view text, const char* typeName) {
  T v{};
  const char* b = text.data();
  const char* e = b + text.size();
  auto r = std::from_chars(b, e, v);
  if (r.ec != std::errc() || r.ptr != e || text.empty()) strepFail(typeName, text);
  return v;
}
IPMODEL_API double readDouble(std::string_view text);
IPMODEL_API bool readBool(std::string_view text);
}  // namespace detail

// Reads the text form of T; text that does not match raises
// StrepReadException.
template <class T>
T strepToValue(std::string_view text) {
  if constexpr (std::is_same_v<T, bool>) {
    return detail::readBool(text);
  } else if constexpr (std::is_integral_v<T>) {
    return detail::readInteger<T>(text, "integer");
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(detail::readDouble(text));
  } else if constexpr (std::is_same_v<T, std::string>) {
    return std::string(text);
  } else if constexpr (orv_adl::HasSequenceToValue<T>) {
    T out{};
    orv_adl::callSequenceToValue(text.data(), text.data() + text.size(), &out);
    return out;
  } else if constexpr (std::is_constructible_v<T, std::string::const_iterator,
                                               std::string::const_iterator>) {
    std::string s(text);
    return T(s.cbegin(), s.cend());
  } else {
    static_assert(std::is_constructible_v<T, std::string_view>, "type has no textual reader");
    return T(text);
  }
}

}  // namespace Orv
