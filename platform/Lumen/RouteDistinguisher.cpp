#include <ipmodel/Lumen/RouteDistinguisher.h>

#include <ostream>

#include <ipmodel/Lumen/internal/TextParse.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>

namespace Lumen {

namespace {

RouteDistinguisher::Bytes pack(std::uint16_t type, std::uint64_t value48) {
  RouteDistinguisher::Bytes b{};
  const std::uint64_t all = std::uint64_t(type) << 48 | (value48 & 0xffffffffffffull);
  for (int k = 0; k < 8; ++k) b[k] = static_cast<std::uint8_t>(all >> (56 - 8 * k));
  return b;
}

std::uint64_t beField(const RouteDistinguisher::Bytes& b, int from, int len) {
  std::uint64_t v = 0;
  for (int k = from; k < from + len; ++k) v = v << 8 | b[k];
  return v;
}

// Why bytes that fail isValidBytes are refused.
std::string invalidReason(const RouteDistinguisher::Bytes& b) {
  const auto type = beField(b, 0, 2);
  if (type == 2) {
    return "type 2 with AS number " + std::to_string(beField(b, 2, 4)) + " <= 65535";
  }
  return "unknown type " + std::to_string(type);
}

}  // namespace

bool RouteDistinguisher::isValidBytes(const Bytes& b) noexcept {
  switch (beField(b, 0, 2)) {
    case 0:
    case 1:
      return true;
    case 2:
      return beField(b, 2, 4) > 0xffff;
    default:
      return false;
  }
}

RouteDistinguisher RouteDistinguisher::fromBytes(const Bytes& bytes) {
  if (!isValidBytes(bytes)) {
    throw Orv::RangeException("RouteDistinguisher " + invalidReason(bytes) + " not allowed");
  }
  RouteDistinguisher rd;
  rd.bytes_ = bytes;
  return rd;
}

RouteDistinguisher RouteDistinguisher::type0(std::uint16_t asn, std::uint32_t number) {
  RouteDistinguisher rd;
  rd.bytes_ = pack(0, std::uint64_t(asn) << 32 | number);
  return rd;
}

RouteDistinguisher RouteDistinguisher::type1(IpAddr address, std::uint16_t number) {
  RouteDistinguisher rd;
  rd.bytes_ = pack(1, std::uint64_t(address.value()) << 16 | number);
  return rd;
}

RouteDistinguisher RouteDistinguisher::type2(std::uint32_t asn, std::uint16_t number) {
  if (asn <= 0xffff) {
    throw Orv::RangeException("RouteDistinguisher type 2 AS number " + std::to_string(asn) +
                              " <= 65535 not allowed (use type 0)");
  }
  RouteDistinguisher rd;
  rd.bytes_ = pack(2, std::uint64_t(asn) << 16 | number);
  return rd;
}

RouteDistinguisher::RouteDistinguisher(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid route distinguisher '" + std::string(text) + "'",
                                  "Lumen::RouteDistinguisher");
  }
}

bool RouteDistinguisher::tryParse(std::string_view text, RouteDistinguisher& out) noexcept {
  const auto colon = text.find(':');
  if (colon == std::string_view::npos) return false;
  const std::string_view admin = text.substr(0, colon);
  const std::string_view number = text.substr(colon + 1);
  std::uint64_t nn;
  if (admin.find('.') != std::string_view::npos) {
    IpAddr a;
    if (!IpAddr::tryParse(admin, a) || !detail::parseDecimal(number, 0xffff, nn)) return false;
    out = type1(a, static_cast<std::uint16_t>(nn));
    return true;
  }
  std::uint64_t asn;
  if (!detail::parseDecimal(admin, 0xffffffffu, asn)) return false;
  if (asn <= 0xffff) {
    if (!detail::parseDecimal(number, 0xffffffffu, nn)) return false;
    out = type0(static_cast<std::uint16_t>(asn), static_cast<std::uint32_t>(nn));
  } else {
    if (!detail::parseDecimal(number, 0xffff, nn)) return false;
    RouteDistinguisher rd;
    rd.bytes_ = pack(2, asn << 16 | nn);
    out = rd;
  }
  return true;
}

std::uint32_t RouteDistinguisher::hash() const noexcept { return Orv::hashBytes(bytes_.data(), 8); }

std::string valueToStrep(const RouteDistinguisher& v) {
  const auto& b = v.bytes();
  switch (v.type()) {
    case 0:
      return std::to_string(beField(b, 2, 2)) + ':' + std::to_string(beField(b, 4, 4));
    case 1:
      return valueToStrep(IpAddr(std::array<std::uint8_t, 4>{b[2], b[3], b[4], b[5]})) + ':' +
             std::to_string(beField(b, 6, 2));
    default:  // 2: the only other type a RouteDistinguisher holds
      return std::to_string(beField(b, 2, 4)) + ':' + std::to_string(beField(b, 6, 2));
  }
}

std::ostream& operator<<(std::ostream& os, const RouteDistinguisher& v) {
  return os << valueToStrep(v);
}

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const RouteDistinguisher& v) {
  out.writeBytes(v.bytes().data(), 8);
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, RouteDistinguisher& v) {
  const std::size_t at = in.offset();
  RouteDistinguisher::Bytes b;
  in.readBytes(b.data(), 8);
  if (!RouteDistinguisher::isValidBytes(b)) {
    in.fail("invalid route distinguisher: " + invalidReason(b), at);
  }
  v = RouteDistinguisher::fromBytes(b);
  return in;
}

}  // namespace Lumen
