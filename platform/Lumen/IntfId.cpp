#include <ipmodel/Lumen/IntfId.h>

#include <ostream>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>

namespace Lumen {

namespace {

// Characters that would make a name ambiguous inside a larger textual form.
bool refusedChar(unsigned char c) {
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

bool validChars(std::string_view text) {
  for (char c : text) {
    if (refusedChar(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

[[noreturn]] void throwTooLong() { throw Orv::RangeException("IntfId::bytes > 255 not allowed"); }

std::string readName(Orv::NboAttrLog::In& in, const char* what) {
  const std::size_t at = in.offset();
  const std::uint32_t n = in.readU32();
  if (n > IntfId::maxLength) {
    in.fail(std::string(what) + " of " + std::to_string(n) + " bytes is over 255", at);
  }
  std::string s(n, '\0');
  in.readBytes(s.data(), n);
  if (!validChars(s)) in.fail(std::string(what) + " has a refused character", at);
  return s;
}

}  // namespace

IntfId::IntfId(std::string_view text) {
  if (text.size() > maxLength) throwTooLong();
  if (!validChars(text)) {
    throw Orv::StrepReadException("invalid interface name '" + std::string(text) + "'",
                                  "Lumen::IntfId");
  }
  name_ = text;
}

bool IntfId::isValidName(std::string_view text) noexcept {
  return text.size() <= maxLength && validChars(text);
}

bool IntfId::tryParse(std::string_view text, IntfId& out) noexcept {
  if (!isValidName(text)) return false;
  out.name_ = text;
  return true;
}

std::uint32_t IntfId::hash() const noexcept { return Orv::hashString(name_); }

std::string valueToStrep(const IntfId& v) { return v.stringValue(); }

std::ostream& operator<<(std::ostream& os, const IntfId& v) { return os << v.stringValue(); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IntfId& v) {
  out.writeString(v.stringValue());
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IntfId& v) {
  v = IntfId(readName(in, "interface name"));
  return in;
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
  const IntfId id(readName(in, "loopback interface name"));
  if (!id.empty() && !LoopbackIntfId::isLoopbackIntfId(id)) {
    in.fail("interface name '" + id.stringValue() + "' is not a loopback name", at);
  }
  v = LoopbackIntfId(id);
  return in;
}

}  // namespace Lumen
