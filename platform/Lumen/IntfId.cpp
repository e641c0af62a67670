#include <ipmodel/Lumen/IntfId.h>

#include <ostream>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>

namespace Lumen {

void IntfIdTraits::throwInvalid(std::string_view text) {
  throw Orv::StrepReadException("invalid interface name '" + std::string(text) + "'",
                                "Lumen::IntfId");
}

// --- LoopbackIntfId ---------------------------------------------------------

bool LoopbackIntfId::isLoopbackIntfId(const IntfId& id) noexcept {
  return id.stringValue().starts_with("Loopback");
}

LoopbackIntfId::LoopbackIntfId(std::string_view text) : IntfId(text) {
  if (!empty() && !isLoopbackIntfId(*this)) {
    throw Orv::StrepReadException("invalid loopback interface name '" + std::string(text) + "'",
                                  "Lumen::LoopbackIntfId");
  }
}

LoopbackIntfId::LoopbackIntfId(const IntfId& id) : IntfId(id) {
  if (!empty() && !isLoopbackIntfId(*this)) {
    throw Orv::RangeException("interface '" + id.stringValue() + "' is not a loopback interface");
  }
}

bool LoopbackIntfId::tryParse(std::string_view text, LoopbackIntfId& out) noexcept {
  IntfId id;
  if (!IntfId::tryParse(text, id)) return false;
  if (!id.empty() && !isLoopbackIntfId(id)) return false;
  static_cast<IntfId&>(out) = id;
  return true;
}

std::string valueToStrep(const LoopbackIntfId& v) { return v.stringValue(); }

std::ostream& operator<<(std::ostream& os, const LoopbackIntfId& v) {
  return os << v.stringValue();
}

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const LoopbackIntfId& v) {
  out.writeString(v.stringValue());
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, LoopbackIntfId& v) {
  const std::size_t at = in.offset();
  const IntfId id(IntfId::readName(in, "loopback interface name"));
  if (!id.empty() && !LoopbackIntfId::isLoopbackIntfId(id)) {
    in.fail("interface name '" + id.stringValue() + "' is not a loopback name", at);
  }
  v = LoopbackIntfId(id);
  return in;
}

}  // namespace Lumen
