#include <ipmodel/Lumen/Ip6Addr.h>

#include <bit>
#include <ostream>

#include <ipmodel/Lumen/IpAddr.h>
#include <ipmodel/Lumen/internal/AddrWithLenImpl.h>
#include <ipmodel/Lumen/internal/TextParse.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>

namespace Lumen {

namespace {

// Longest accepted text: six 4-digit groups, six colons and a dotted quad.
constexpr std::size_t maxTextLen = 6 * 4 + 6 + 15;

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool parseIp6(std::string_view s, Ip6Addr::Bytes& out) {
  if (s.size() < 2 || s.size() > maxTextLen) return false;
  std::uint16_t groups[8] = {};
  int n = 0;
  int gap = -1;  // index of the group the "::" stands before
  std::size_t i = 0;
  if (s[0] == ':') {
    if (s[1] != ':') return false;
    gap = 0;
    i = 2;
  }
  while (i < s.size()) {
    const std::size_t start = i;
    unsigned v = 0;
    while (i < s.size() && i - start < 5 && hexDigit(s[i]) >= 0) {
      v = v << 4 | static_cast<unsigned>(hexDigit(s[i]));
      ++i;
    }
    if (i < s.size() && s[i] == '.') {
      // A dotted quad fills the last two groups and ends the text.
      IpAddr v4;
      if (n > 6 || !IpAddr::tryParse(s.substr(start), v4)) return false;
      groups[n++] = static_cast<std::uint16_t>(v4.value() >> 16);
      groups[n++] = static_cast<std::uint16_t>(v4.value());
      i = s.size();
      break;
    }
    if (i == start || i - start > 4 || n == 8) return false;
    groups[n++] = static_cast<std::uint16_t>(v);
    if (i == s.size()) break;
    if (s[i] != ':') return false;
    ++i;
    if (i < s.size() && s[i] == ':') {
      if (gap >= 0) return false;  // only one "::"
      gap = n;
      ++i;
    } else if (i == s.size()) {
      return false;  // a single trailing ':'
    }
  }
  if (gap >= 0) {
    if (n > 7) return false;  // "::" stands for at least one group
    const int fill = 8 - n;
    for (int k = n - 1; k >= gap; --k) groups[k + fill] = groups[k];
    for (int k = gap; k < gap + fill; ++k) groups[k] = 0;
  } else if (n != 8) {
    return false;
  }
  for (int k = 0; k < 8; ++k) {
    out[2 * k] = static_cast<std::uint8_t>(groups[k] >> 8);
    out[2 * k + 1] = static_cast<std::uint8_t>(groups[k]);
  }
  return true;
}

bool isV4Mapped(const Ip6Addr::Bytes& b) {
  for (int k = 0; k < 10; ++k) {
    if (b[k]) return false;
  }
  return b[10] == 0xff && b[11] == 0xff;
}

// Clears every bit past the first len.
Ip6Addr::Bytes masked(const Ip6Addr::Bytes& b, unsigned len) {
  Ip6Addr::Bytes r = b;
  for (unsigned k = 0; k < 16; ++k) {
    if (len >= 8 * (k + 1)) continue;
    const unsigned keep = len > 8 * k ? len - 8 * k : 0;
    r[k] &= static_cast<std::uint8_t>(0xff00u >> keep);
  }
  return r;
}

struct Family : detail::Ip6Family {
  static constexpr const char* name = "IPv6";
  static Ip6Addr masked(const Ip6Addr& a, unsigned len) {
    return Ip6Addr(::Lumen::masked(a.bytes(), len));
  }
};

}  // namespace

// --- Ip6Addr ----------------------------------------------------------------

Ip6Addr::Ip6Addr(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid IPv6 address '" + std::string(text) + "'",
                                  "Lumen::Ip6Addr");
  }
}

bool Ip6Addr::tryParse(std::string_view text, Ip6Addr& out) noexcept {
  Bytes b;
  if (!parseIp6(text, b)) return false;
  out = Ip6Addr(b);
  return true;
}

unsigned Ip6Addr::longestCommonPrefix(const Ip6Addr& o) const {
  for (unsigned k = 0; k < 16; ++k) {
    const std::uint8_t diff = bytes_[k] ^ o.bytes_[k];
    if (diff) return 8 * k + static_cast<unsigned>(std::countl_zero(diff));
  }
  return 128;
}

std::uint32_t Ip6Addr::hash() const noexcept { return Orv::hashBytes(bytes_.data(), 16); }

std::string valueToStrep(const Ip6Addr& v) {
  const auto& b = v.bytes();
  if (isV4Mapped(b)) {
    return "::ffff:" +
           valueToStrep(IpAddr(std::array<std::uint8_t, 4>{b[12], b[13], b[14], b[15]}));
  }
  unsigned groups[8];
  for (int k = 0; k < 8; ++k) groups[k] = unsigned(b[2 * k]) << 8 | b[2 * k + 1];
  // The longest run of two or more zero groups, the first one on ties.
  int bestStart = -1, bestLen = 1;
  for (int k = 0; k < 8;) {
    if (groups[k]) {
      ++k;
      continue;
    }
    int e = k;
    while (e < 8 && groups[e] == 0) ++e;
    if (e - k > bestLen) {
      bestStart = k;
      bestLen = e - k;
    }
    k = e;
  }
  static constexpr char hex[] = "0123456789abcdef";
  std::string s;
  s.reserve(39);
  for (int k = 0; k < 8; ++k) {
    if (k == bestStart) {
      s += "::";
      k += bestLen - 1;
      continue;
    }
    if (!s.empty() && s.back() != ':') s += ':';
    bool started = false;
    for (int shift = 12; shift >= 0; shift -= 4) {
      const unsigned d = (groups[k] >> shift) & 0xf;
      if (d || started || shift == 0) {
        s += hex[d];
        started = true;
      }
    }
  }
  return s;
}

std::ostream& operator<<(std::ostream& os, const Ip6Addr& v) { return os << valueToStrep(v); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Ip6Addr& v) {
  out.writeBytes(v.bytes().data(), 16);
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Ip6Addr& v) {
  Ip6Addr::Bytes b;
  in.readBytes(b.data(), 16);
  v = Ip6Addr(b);
  return in;
}

// --- Ip6AddrWithMask --------------------------------------------------------

Ip6AddrWithMask::Ip6AddrWithMask(const Ip6Addr& address, unsigned len) {
  detail::checkLen<Family>(len, "Ip6AddrWithMask");
  assign(address, len);
}

Ip6AddrWithMask::Ip6AddrWithMask(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid IPv6 address with mask '" + std::string(text) + "'",
                                  "Lumen::Ip6AddrWithMask");
  }
}

bool Ip6AddrWithMask::tryParse(std::string_view text, Ip6AddrWithMask& out) noexcept {
  Ip6Addr a;
  unsigned len;
  if (!detail::parseWithLen<Family>(text, a, len)) return false;
  out.assign(a, len);
  return true;
}

Ip6Prefix Ip6AddrWithMask::prefix() const { return Ip6Prefix(address(), len()); }

std::string valueToStrep(const Ip6AddrWithMask& v) { return detail::withLenToStrep(v); }

std::ostream& operator<<(std::ostream& os, const Ip6AddrWithMask& v) {
  return os << valueToStrep(v);
}

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Ip6AddrWithMask& v) {
  return detail::writeWithLen(out, v);
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Ip6AddrWithMask& v) {
  return detail::readWithLen<Family>(in, v, false);
}

// --- Ip6Prefix --------------------------------------------------------------

Ip6Prefix::Ip6Prefix(const Ip6Addr& address, unsigned len) {
  detail::checkLen<Family>(len, "Ip6Prefix");
  assign(Family::masked(address, len), len);
}

Ip6Prefix::Ip6Prefix(std::string_view text)
    : Ip6Prefix(
          detail::prefixFromText<Family, Ip6Prefix, Ip6AddrWithMask>(text, "Lumen::Ip6Prefix")) {}

bool Ip6Prefix::tryParse(std::string_view text, Ip6Prefix& out) noexcept {
  Ip6Addr a;
  unsigned len;
  if (!detail::parseWithLen<Family>(text, a, len) || !(Family::masked(a, len) == a)) return false;
  out.assign(a, len);
  return true;
}

std::string valueToStrep(const Ip6Prefix& v) { return detail::withLenToStrep(v); }

std::ostream& operator<<(std::ostream& os, const Ip6Prefix& v) { return os << valueToStrep(v); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Ip6Prefix& v) {
  return detail::writeWithLen(out, v);
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Ip6Prefix& v) {
  return detail::readWithLen<Family>(in, v, true);
}

}  // namespace Lumen
