#include <ipmodel/Lumen/Ip6Addr.h>

#include <bit>
#include <ostream>

#include <ipmodel/Lumen/IpAddr.h>
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

bool splitMasked(std::string_view text, std::string_view& address, unsigned& len) {
  const auto slash = text.find('/');
  if (slash == std::string_view::npos) return false;
  std::uint64_t n;
  if (!detail::parseDecimal(text.substr(slash + 1), 128, n)) return false;
  address = text.substr(0, slash);
  len = static_cast<unsigned>(n);
  return true;
}

std::uint32_t hashWithLen(const Ip6Addr& a, unsigned len) {
  std::uint8_t buf[17];
  std::memcpy(buf, a.bytes().data(), 16);
  buf[16] = static_cast<std::uint8_t>(len);
  return Orv::hashBytes(buf, sizeof buf);
}

void checkLen(unsigned len, const char* type) {
  if (len > 128) {
    throw Orv::RangeException(std::string(type) + "::len " + std::to_string(len) +
                              " > 128 not allowed");
  }
}

unsigned readLen(Orv::NboAttrLog::In& in) {
  const std::size_t at = in.offset();
  const std::uint8_t len = in.readU8();
  if (len > 128) in.fail("IPv6 prefix length " + std::to_string(len) + " is over 128", at);
  return len;
}

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

Ip6AddrWithMask::Ip6AddrWithMask(const Ip6Addr& address, unsigned len) : address_(address) {
  checkLen(len, "Ip6AddrWithMask");
  len_ = static_cast<std::uint8_t>(len);
}

Ip6AddrWithMask::Ip6AddrWithMask(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid IPv6 address with mask '" + std::string(text) + "'",
                                  "Lumen::Ip6AddrWithMask");
  }
}

bool Ip6AddrWithMask::tryParse(std::string_view text, Ip6AddrWithMask& out) noexcept {
  std::string_view addrText;
  unsigned len;
  Ip6Addr a;
  if (!splitMasked(text, addrText, len) || !Ip6Addr::tryParse(addrText, a)) return false;
  out.address_ = a;
  out.len_ = static_cast<std::uint8_t>(len);
  return true;
}

Ip6Prefix Ip6AddrWithMask::prefix() const { return Ip6Prefix(address_, len_); }

std::uint32_t Ip6AddrWithMask::hash() const noexcept { return hashWithLen(address_, len_); }

std::string valueToStrep(const Ip6AddrWithMask& v) {
  return valueToStrep(v.address()) + '/' + std::to_string(v.len());
}

std::ostream& operator<<(std::ostream& os, const Ip6AddrWithMask& v) {
  return os << valueToStrep(v);
}

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Ip6AddrWithMask& v) {
  out << v.address();
  out.writeU8(static_cast<std::uint8_t>(v.len()));
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Ip6AddrWithMask& v) {
  Ip6Addr a;
  in >> a;
  const unsigned len = readLen(in);
  v = Ip6AddrWithMask(a, len);
  return in;
}

// --- Ip6Prefix --------------------------------------------------------------

Ip6Prefix::Ip6Prefix(const Ip6Addr& address, unsigned len) {
  checkLen(len, "Ip6Prefix");
  address_ = Ip6Addr(masked(address.bytes(), len));
  len_ = static_cast<std::uint8_t>(len);
}

Ip6Prefix::Ip6Prefix(std::string_view text) {
  if (tryParse(text, *this)) return;
  Ip6AddrWithMask m;
  if (Ip6AddrWithMask::tryParse(text, m)) {
    throw Orv::StrepReadException("invalid IPv6 prefix '" + std::string(text) +
                                      "': host bits set (the prefix is " +
                                      valueToStrep(m.prefix()) + ")",
                                  "Lumen::Ip6Prefix");
  }
  throw Orv::StrepReadException("invalid IPv6 prefix '" + std::string(text) + "'",
                                "Lumen::Ip6Prefix");
}

bool Ip6Prefix::tryParse(std::string_view text, Ip6Prefix& out) noexcept {
  Ip6AddrWithMask m;
  if (!Ip6AddrWithMask::tryParse(text, m)) return false;
  if (masked(m.address().bytes(), m.len()) != m.address().bytes()) return false;
  out.address_ = m.address();
  out.len_ = static_cast<std::uint8_t>(m.len());
  return true;
}

std::uint32_t Ip6Prefix::hash() const noexcept { return hashWithLen(address_, len_); }

std::string valueToStrep(const Ip6Prefix& v) {
  return valueToStrep(v.address()) + '/' + std::to_string(v.len());
}

std::ostream& operator<<(std::ostream& os, const Ip6Prefix& v) { return os << valueToStrep(v); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const Ip6Prefix& v) {
  out << v.address();
  out.writeU8(static_cast<std::uint8_t>(v.len()));
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, Ip6Prefix& v) {
  const std::size_t at = in.offset();
  Ip6Addr a;
  in >> a;
  const unsigned len = readLen(in);
  if (masked(a.bytes(), len) != a.bytes()) in.fail("IPv6 prefix has host bits set", at);
  v = Ip6Prefix(a, len);
  return in;
}

}  // namespace Lumen
