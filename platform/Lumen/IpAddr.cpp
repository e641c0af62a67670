#include <ipmodel/Lumen/IpAddr.h>

#include <ostream>

#include <ipmodel/Lumen/internal/TextParse.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>

namespace Lumen {

namespace {

// Splits "address/len" at the only '/'; the length part must be a decimal
// number in [0, maxLen].
bool splitMasked(std::string_view text, unsigned maxLen, std::string_view& address, unsigned& len) {
  const auto slash = text.find('/');
  if (slash == std::string_view::npos) return false;
  std::uint64_t n;
  if (!detail::parseDecimal(text.substr(slash + 1), maxLen, n)) return false;
  address = text.substr(0, slash);
  len = static_cast<unsigned>(n);
  return true;
}

std::uint32_t hashWithLen(const IpAddr& a, unsigned len) {
  std::uint8_t buf[5] = {a.bytes()[0], a.bytes()[1], a.bytes()[2], a.bytes()[3],
                         static_cast<std::uint8_t>(len)};
  return Orv::hashBytes(buf, sizeof buf);
}

void checkLen(unsigned len, const char* type) {
  if (len > 32) {
    throw Orv::RangeException(std::string(type) + "::len " + std::to_string(len) +
                              " > 32 not allowed");
  }
}

unsigned readLen(Orv::NboAttrLog::In& in) {
  const std::size_t at = in.offset();
  const std::uint8_t len = in.readU8();
  if (len > 32) in.fail("IPv4 prefix length " + std::to_string(len) + " is over 32", at);
  return len;
}

}  // namespace

// --- IpAddr -----------------------------------------------------------------

IpAddr::IpAddr(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid IPv4 address '" + std::string(text) + "'",
                                  "Lumen::IpAddr");
  }
}

bool IpAddr::tryParse(std::string_view text, IpAddr& out) noexcept {
  if (text.size() > 15) return false;
  std::array<std::uint8_t, 4> b{};
  for (int i = 0; i < 4; ++i) {
    const auto dot = text.find('.');
    if ((i < 3) != (dot != std::string_view::npos)) return false;  // exactly three dots
    std::uint64_t n;
    if (!detail::parseDecimal(text.substr(0, dot), 255, n)) return false;
    b[i] = static_cast<std::uint8_t>(n);
    if (i < 3) text.remove_prefix(dot + 1);
  }
  out = IpAddr(b);
  return true;
}

std::string valueToStrep(const IpAddr& v) {
  const auto& b = v.bytes();
  std::string s;
  s.reserve(15);
  for (int i = 0; i < 4; ++i) {
    if (i) s += '.';
    s += std::to_string(b[i]);
  }
  return s;
}

std::ostream& operator<<(std::ostream& os, const IpAddr& v) { return os << valueToStrep(v); }

// --- IpAddrWithMask ---------------------------------------------------------

IpAddrWithMask::IpAddrWithMask(IpAddr address, unsigned len) : address_(address) {
  checkLen(len, "IpAddrWithMask");
  len_ = static_cast<std::uint8_t>(len);
}

IpAddrWithMask::IpAddrWithMask(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid IPv4 address with mask '" + std::string(text) + "'",
                                  "Lumen::IpAddrWithMask");
  }
}

bool IpAddrWithMask::tryParse(std::string_view text, IpAddrWithMask& out) noexcept {
  std::string_view addrText;
  unsigned len;
  IpAddr a;
  if (!splitMasked(text, maxLen, addrText, len) || !IpAddr::tryParse(addrText, a)) return false;
  out.address_ = a;
  out.len_ = static_cast<std::uint8_t>(len);
  return true;
}

Prefix IpAddrWithMask::prefix() const { return Prefix(address_, len_); }

std::uint32_t IpAddrWithMask::hash() const noexcept { return hashWithLen(address_, len_); }

std::string valueToStrep(const IpAddrWithMask& v) {
  return valueToStrep(v.address()) + '/' + std::to_string(v.len());
}

std::ostream& operator<<(std::ostream& os, const IpAddrWithMask& v) {
  return os << valueToStrep(v);
}

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IpAddrWithMask& v) {
  out << v.address();
  out.writeU8(static_cast<std::uint8_t>(v.len()));
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IpAddrWithMask& v) {
  IpAddr a;
  in >> a;
  const unsigned len = readLen(in);
  v = IpAddrWithMask(a, len);
  return in;
}

// --- Prefix -----------------------------------------------------------------

Prefix::Prefix(IpAddr address, unsigned len) {
  checkLen(len, "Prefix");
  address_ = IpAddr::fromHostOrder(address.value() & maskOf(len));
  len_ = static_cast<std::uint8_t>(len);
}

Prefix::Prefix(std::string_view text) {
  if (tryParse(text, *this)) return;
  IpAddrWithMask masked;
  if (IpAddrWithMask::tryParse(text, masked)) {
    throw Orv::StrepReadException("invalid IPv4 prefix '" + std::string(text) +
                                      "': host bits set (the prefix is " +
                                      valueToStrep(masked.prefix()) + ")",
                                  "Lumen::Prefix");
  }
  throw Orv::StrepReadException("invalid IPv4 prefix '" + std::string(text) + "'", "Lumen::Prefix");
}

bool Prefix::tryParse(std::string_view text, Prefix& out) noexcept {
  IpAddrWithMask masked;
  if (!IpAddrWithMask::tryParse(text, masked)) return false;
  if (masked.address().value() & ~maskOf(masked.len())) return false;
  out.address_ = masked.address();
  out.len_ = static_cast<std::uint8_t>(masked.len());
  return true;
}

std::uint32_t Prefix::hash() const noexcept { return hashWithLen(address_, len_); }

std::string valueToStrep(const Prefix& v) {
  return valueToStrep(v.address()) + '/' + std::to_string(v.len());
}

std::ostream& operator<<(std::ostream& os, const Prefix& v) { return os << valueToStrep(v); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Prefix& v) {
  out << v.address();
  out.writeU8(static_cast<std::uint8_t>(v.len()));
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Prefix& v) {
  const std::size_t at = in.offset();
  IpAddr a;
  in >> a;
  const unsigned len = readLen(in);
  if (a.value() & ~Prefix::maskOf(len)) in.fail("IPv4 prefix has host bits set", at);
  v = Prefix(a, len);
  return in;
}

}  // namespace Lumen
