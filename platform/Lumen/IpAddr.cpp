#include <ipmodel/Lumen/IpAddr.h>

#include <ostream>

#include <ipmodel/Lumen/internal/AddrWithLenImpl.h>
#include <ipmodel/Lumen/internal/TextParse.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>

namespace Lumen {

namespace {

struct Family : detail::Ip4Family {
  static constexpr const char* name = "IPv4";
  static IpAddr masked(IpAddr a, unsigned len) {
    return IpAddr::fromHostOrder(a.value() & Prefix::maskOf(len));
  }
};

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

IpAddrWithMask::IpAddrWithMask(IpAddr address, unsigned len) {
  detail::checkLen<Family>(len, "IpAddrWithMask");
  assign(address, len);
}

IpAddrWithMask::IpAddrWithMask(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid IPv4 address with mask '" + std::string(text) + "'",
                                  "Lumen::IpAddrWithMask");
  }
}

bool IpAddrWithMask::tryParse(std::string_view text, IpAddrWithMask& out) noexcept {
  IpAddr a;
  unsigned len;
  if (!detail::parseWithLen<Family>(text, a, len)) return false;
  out.assign(a, len);
  return true;
}

Prefix IpAddrWithMask::prefix() const { return Prefix(address(), len()); }

std::string valueToStrep(const IpAddrWithMask& v) { return detail::withLenToStrep(v); }

std::ostream& operator<<(std::ostream& os, const IpAddrWithMask& v) {
  return os << valueToStrep(v);
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IpAddrWithMask& v) {
  return detail::readWithLen<Family>(in, v, false);
}

// --- Prefix -----------------------------------------------------------------

Prefix::Prefix(IpAddr address, unsigned len) {
  detail::checkLen<Family>(len, "Prefix");
  assign(Family::masked(address, len), len);
}

Prefix::Prefix(std::string_view text)
    : Prefix(detail::prefixFromText<Family, Prefix, IpAddrWithMask>(text, "Lumen::Prefix")) {}

bool Prefix::tryParse(std::string_view text, Prefix& out) noexcept {
  IpAddr a;
  unsigned len;
  if (!detail::parseWithLen<Family>(text, a, len) || !(Family::masked(a, len) == a)) return false;
  out.assign(a, len);
  return true;
}

std::string valueToStrep(const Prefix& v) { return detail::withLenToStrep(v); }

std::ostream& operator<<(std::ostream& os, const Prefix& v) { return os << valueToStrep(v); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Prefix& v) {
  return detail::writeWithLen(out, v);
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Prefix& v) {
  return detail::readWithLen<Family>(in, v, true);
}

}  // namespace Lumen
