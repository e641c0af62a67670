#include <ipmodel/Lumen/NamespaceName.h>

#include <ostream>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>

namespace Lumen {

NamespaceName::NamespaceName(std::string_view text) {
  if (text.size() > maxLength) {
    throw Orv::RangeException("NamespaceName::bytes > 150 not allowed");
  }
  name_ = text;
}

bool NamespaceName::tryParse(std::string_view text, NamespaceName& out) noexcept {
  if (text.size() > maxLength) return false;
  out.name_ = text;
  return true;
}

std::uint32_t NamespaceName::hash() const noexcept { return Orv::hashString(name_); }

std::string valueToStrep(const NamespaceName& v) { return v.stringValue(); }

std::ostream& operator<<(std::ostream& os, const NamespaceName& v) { return os << v.stringValue(); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const NamespaceName& v) {
  out.writeString(v.stringValue());
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, NamespaceName& v) {
  const std::size_t at = in.offset();
  const std::uint32_t n = in.readU32();
  if (n > NamespaceName::maxLength) {
    in.fail("namespace name of " + std::to_string(n) + " bytes is over 150", at);
  }
  std::string s(n, '\0');
  in.readBytes(s.data(), n);
  v = NamespaceName(s);
  return in;
}

}  // namespace Lumen
