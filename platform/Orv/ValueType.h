// Mechanics shared by every generated value type: textual form, reading it
// back, and the attribute-log form, all driven by the type's field table
// (T::orvFields(): a tuple of Orv::Field, stored attributes in declaration
// order) and its descriptor (T::orvType).
#pragma once

#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <tuple>

#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Collections.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/NboAttrLog.h>
#include <ipmodel/Orv/Strep.h>
#include <ipmodel/Orv/Type.h>

namespace Orv {

template <class K, class V>
inline constexpr bool strepInOrv<HashMap2018<K, V>> = true;
template <class K, class V>
inline constexpr bool strepInOrv<RbTreeMap<K, V>> = true;

namespace frame {
// --- collections held inside a value ---------------------------------------

// "{k1, k2}" in collection order.
template <class K>
String setToStrep(const HashMap2018<K, Unit>& s) {
  String out = "{";
  bool first = true;
  for (auto it = s.begin(); it != s.end(); ++it) {
    if (!first) out += ", ";
    first = false;
    out += valueToStrep(it.key());
  }
  return out + "}";
}

[[noreturn]] IPMODEL_API void defaultKeyInNominal();

// Keys in collection order, then the key type's default as terminator. A
// member equal to the default cannot be written.
template <class K>
void setWrite(NboAttrLog::Out& o, const HashMap2018<K, Unit>& s) {
  for (auto it = s.begin(); it != s.end(); ++it) {
    if (it.key() == K()) defaultKeyInNominal();
    o << it.key();
  }
  o << K();
}

template <class K>
void setRead(NboAttrLog::In& in, HashMap2018<K, Unit>& s) {
  s.clear();
  for (;;) {
    K k{};
    in >> k;
    if (k == K()) break;
    s.insert(k, Unit{});
  }
}

}  // namespace frame

template <class K>
String valueToStrep(const HashMap2018<K, Unit>& s) {
  return frame::setToStrep(s);
}
namespace NboAttrLog {
template <class K>
Out& operator<<(Out& o, const HashMap2018<K, Unit>& s) {
  frame::setWrite(o, s);
  return o;
}
template <class K>
In& operator>>(In& i, HashMap2018<K, Unit>& s) {
  frame::setRead(i, s);
  return i;
}
}  // namespace NboAttrLog

template <class T, class M>
struct Field {
  const char* name;
  M T::*member;
  using Type = M;
};

namespace detail {
[[noreturn]] IPMODEL_API void valueTextFail(const char* typeName, const std::string& what,
                                            std::string_view text);
[[noreturn]] IPMODEL_API void valueAttrFail(const char* typeName, const char* attr,
                                            const std::exception& inner);
}  // namespace detail

// "Value('Ns::Type', ** {'a': <a>, 'b': <b>})"
template <class T>
String valueTypeToStrep(const T& v) {
  String s = "Value('";
  s += T::orvType.name;
  s += "', ** {";
  bool first = true;
  std::apply(
      [&](const auto&... f) {
        ((s += first ? "'" : ", '", first = false, s += f.name,
          s += "': ", s += Orv::valueToStrep(v.*(f.member))),
         ...);
      },
      T::orvFields());
  s += "})";
  return s;
}

// Reads the text valueTypeToStrep writes; the whole text must be consumed.
// A failure inside an attribute's text is reported as a failure to read that
// attribute.
template <class T>
void valueTypeFromStrep(T& out, std::string_view text) {
  const char* typeName = T::orvType.name;
  std::string head = std::string("Value('") + typeName + "', ** {";
  if (text.substr(0, head.size()) != head) {
    detail::valueTextFail(typeName, "text does not begin with \"" + head + "\"", text);
  }
  if (text.size() < head.size() + 2 || text.substr(text.size() - 2) != "})") {
    detail::valueTextFail(typeName, "text does not end with \"})\"", text);
  }
  constexpr std::size_t n = std::tuple_size_v<decltype(T::orvFields())>;
  std::array<const char*, n> names{};
  std::apply(
      [&](const auto&... f) {
        std::size_t i = 0;
        ((names[i++] = f.name), ...);
      },
      T::orvFields());
  std::size_t pos = head.size();
  const std::size_t last = text.size() - 2;
  std::size_t i = 0;
  std::apply(
      [&](const auto&... f) {
        (
            [&](const auto& field) {
              std::string label = (i == 0 ? "'" : ", '") + std::string(field.name) + "': ";
              if (text.substr(pos, label.size()) != label) {
                detail::valueTextFail(typeName, "expected \"" + label + "\"", text);
              }
              pos += label.size();
              std::size_t end = last;
              if (i + 1 < n) {
                std::string next = ", '" + std::string(names[i + 1]) + "': ";
                end = text.find(next, pos);
                if (end == std::string_view::npos || end > last) {
                  detail::valueTextFail(typeName, "expected \"" + next + "\"", text);
                }
              }
              using M = typename std::decay_t<decltype(field)>::Type;
              try {
                out.*(field.member) = Orv::strepToValue<M>(text.substr(pos, end - pos));
              } catch (const std::exception& e) {
                detail::valueAttrFail(typeName, field.name, e);
              }
              pos = end;
              ++i;
            }(f),
            ...);
      },
      T::orvFields());
  if (pos != last) detail::valueTextFail(typeName, "unexpected text before \"})\"", text);
}

template <class T>
void valueTypeWrite(NboAttrLog::Out& o, const T& v) {
  std::apply([&](const auto&... f) { ((o << v.*(f.member)), ...); }, T::orvFields());
}

template <class T>
void valueTypeRead(NboAttrLog::In& in, T& v) {
  std::apply([&](const auto&... f) { ((in >> v.*(f.member)), ...); }, T::orvFields());
}

}  // namespace Orv
