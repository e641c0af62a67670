// Text, attribute-log and checking code shared by the address-with-length
// types' sources. Family supplies Addr, maxLen, name ("IPv4") and
// masked(address, len), the address with its host bits cleared.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <ipmodel/Lumen/internal/TextParse.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Lumen::detail {

// Throws when len is over the family's longest prefix; type names the class
// in the message ("Prefix::len 33 > 32 not allowed").
template <class Family>
void checkLen(unsigned len, const char* type) {
  if (len > Family::maxLen) {
    throw Orv::RangeException(std::string(type) + "::len " + std::to_string(len) + " > " +
                              std::to_string(Family::maxLen) + " not allowed");
  }
}

// "address/len" with exactly one '/' and a decimal length in [0, maxLen].
template <class Family>
bool parseWithLen(std::string_view text, typename Family::Addr& address, unsigned& len) noexcept {
  const auto slash = text.find('/');
  if (slash == std::string_view::npos) return false;
  std::uint64_t n;
  if (!parseDecimal(text.substr(slash + 1), Family::maxLen, n)) return false;
  if (!Family::Addr::tryParse(text.substr(0, slash), address)) return false;
  len = static_cast<unsigned>(n);
  return true;
}

// A prefix's text: host bits must be clear; the message says which prefix
// was meant when they are not.
template <class Family, class Prefix, class WithMask>
Prefix prefixFromText(std::string_view text, const char* qtype) {
  Prefix p;
  if (Prefix::tryParse(text, p)) return p;
  WithMask m;
  if (WithMask::tryParse(text, m)) {
    throw Orv::StrepReadException(std::string("invalid ") + Family::name + " prefix '" +
                                      std::string(text) + "': host bits set (the prefix is " +
                                      valueToStrep(m.prefix()) + ")",
                                  qtype);
  }
  throw Orv::StrepReadException(
      std::string("invalid ") + Family::name + " prefix '" + std::string(text) + "'", qtype);
}

template <class T>
std::string withLenToStrep(const T& v) {
  return valueToStrep(v.address()) + '/' + std::to_string(v.len());
}

// Attribute-log form: the address bytes in network order, then the length
// as one byte.
template <class T>
Orv::NboAttrLog::Out& writeWithLen(Orv::NboAttrLog::Out& out, const T& v) {
  out << v.address();
  out.writeU8(static_cast<std::uint8_t>(v.len()));
  return out;
}

// Reads the attribute-log form; a prefix (hostBitsClear) with host bits set
// is refused at the offset it starts at.
template <class Family, class T>
Orv::NboAttrLog::In& readWithLen(Orv::NboAttrLog::In& in, T& v, bool hostBitsClear) {
  const std::size_t at = in.offset();
  typename Family::Addr a;
  in >> a;
  const std::size_t lenAt = in.offset();
  const std::uint8_t len = in.readU8();
  if (len > Family::maxLen) {
    in.fail(std::string(Family::name) + " prefix length " + std::to_string(len) + " is over " +
                std::to_string(Family::maxLen),
            lenAt);
  }
  if (hostBitsClear && !(Family::masked(a, len) == a)) {
    in.fail(std::string(Family::name) + " prefix has host bits set", at);
  }
  v = T(a, len);
  return in;
}

}  // namespace Lumen::detail
