#include <ipmodel/Lumen/VrfName.h>

#include <ostream>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>

namespace L3 {

VrfName::VrfName(std::string_view text) {
  if (text.size() > maxLength) {
    throw Orv::RangeException("VrfName::bytes > VrfName::maxLength not allowed");
  }
  name_ = text;
}

bool VrfName::tryParse(std::string_view text, VrfName& out) noexcept {
  if (text.size() > maxLength) return false;
  out.name_ = text;
  return true;
}

VrfName VrfName::defaultVrf() { return VrfName("default"); }

std::uint32_t VrfName::hash() const noexcept { return Orv::hashString(name_); }

std::string valueToStrep(const VrfName& v) { return v.stringValue(); }

std::ostream& operator<<(std::ostream& os, const VrfName& v) { return os << v.stringValue(); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const VrfName& v) {
  out.writeString(v.stringValue());
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, VrfName& v) {
  const std::size_t at = in.offset();
  const std::uint32_t n = in.readU32();
  if (n > VrfName::maxLength) {
    in.fail(
        "VRF name of " + std::to_string(n) + " bytes is over " + std::to_string(VrfName::maxLength),
        at);
  }
  std::string s(n, '\0');
  in.readBytes(s.data(), n);
  v = VrfName(s);
  return in;
}

}  // namespace L3
