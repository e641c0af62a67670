#include <ipmodel/Lumen/IpGenAddr.h>

#include <ostream>

#include <ipmodel/Lumen/internal/TextParse.h>
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Exception.h>

namespace Lumen {

// --- AddressFamily ----------------------------------------------------------

std::string valueToStrep(AddressFamily v) {
  switch (v) {
    case AddressFamily::ipunknown:
      return "ipunknown";
    case AddressFamily::ipv4:
      return "ipv4";
    case AddressFamily::ipv6:
      return "ipv6";
  }
  ORV_ASSERT(!"AddressFamily value out of range");
  return {};
}

std::ostream& operator<<(std::ostream& os, AddressFamily v) { return os << valueToStrep(v); }

bool tryParse(std::string_view text, AddressFamily& out) noexcept {
  if (text == "ipunknown") {
    out = AddressFamily::ipunknown;
  } else if (text == "ipv4") {
    out = AddressFamily::ipv4;
  } else if (text == "ipv6") {
    out = AddressFamily::ipv6;
  } else {
    return false;
  }
  return true;
}

AddressFamily addressFamilyFromStrep(std::string_view text) {
  AddressFamily af;
  if (!tryParse(text, af)) {
    throw Orv::StrepReadException("invalid address family '" + std::string(text) + "'",
                                  "Lumen::AddressFamily");
  }
  return af;
}

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, AddressFamily v) {
  out.writeU8(static_cast<std::uint8_t>(v));
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, AddressFamily& v) {
  const std::size_t at = in.offset();
  const std::uint8_t b = in.readU8();
  if (b > static_cast<std::uint8_t>(AddressFamily::ipv6)) {
    in.fail("unknown address family " + std::to_string(b), at);
  }
  v = static_cast<AddressFamily>(b);
  return in;
}

// --- IpGenAddr --------------------------------------------------------------

IpGenAddr::IpGenAddr(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid IP address '" + std::string(text) + "'",
                                  "Lumen::IpGenAddr");
  }
}

bool IpGenAddr::tryParse(std::string_view text, IpGenAddr& out) noexcept {
  if (text.empty()) {
    out = IpGenAddr();
    return true;
  }
  if (text.find(':') != std::string_view::npos) {
    Ip6Addr a;
    if (!Ip6Addr::tryParse(text, a)) return false;
    out = a;
  } else {
    IpAddr a;
    if (!IpAddr::tryParse(text, a)) return false;
    out = a;
  }
  return true;
}

IpAddr IpGenAddr::v4() const {
  ORV_ASSERT(af_ == AddressFamily::ipv4);
  return IpAddr(std::array<std::uint8_t, 4>{bytes_[0], bytes_[1], bytes_[2], bytes_[3]});
}

Ip6Addr IpGenAddr::v6() const {
  ORV_ASSERT(af_ == AddressFamily::ipv6);
  return Ip6Addr(bytes_);
}

std::uint32_t IpGenAddr::hash() const noexcept {
  switch (af_) {
    case AddressFamily::ipv4:
      return v4().hash();
    case AddressFamily::ipv6:
      return v6().hash();
    case AddressFamily::ipunknown:
      break;
  }
  return 0;
}

std::string valueToStrep(const IpGenAddr& v) {
  switch (v.af()) {
    case AddressFamily::ipv4:
      return valueToStrep(v.v4());
    case AddressFamily::ipv6:
      return valueToStrep(v.v6());
    case AddressFamily::ipunknown:
      break;
  }
  return {};
}

std::ostream& operator<<(std::ostream& os, const IpGenAddr& v) { return os << valueToStrep(v); }

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IpGenAddr& v) {
  out << v.af();
  if (v.isV4()) out << v.v4();
  if (v.isV6()) out << v.v6();
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IpGenAddr& v) {
  AddressFamily af;
  in >> af;
  switch (af) {
    case AddressFamily::ipv4: {
      IpAddr a;
      in >> a;
      v = a;
      break;
    }
    case AddressFamily::ipv6: {
      Ip6Addr a;
      in >> a;
      v = a;
      break;
    }
    case AddressFamily::ipunknown:
      v = IpGenAddr();
      break;
  }
  return in;
}

// --- IpGenAddrWithMask ------------------------------------------------------

IpGenAddrWithMask::IpGenAddrWithMask(const IpGenAddr& address, unsigned len) : address_(address) {
  const unsigned max = maxLenFor(address.af());
  if (len > max) {
    throw Orv::RangeException("IpGenAddrWithMask::len " + std::to_string(len) + " > " +
                              std::to_string(max) + " not allowed for " +
                              valueToStrep(address.af()));
  }
  len_ = static_cast<std::uint8_t>(len);
}

IpGenAddrWithMask::IpGenAddrWithMask(std::string_view text) {
  if (!tryParse(text, *this)) {
    throw Orv::StrepReadException("invalid IP address with mask '" + std::string(text) + "'",
                                  "Lumen::IpGenAddrWithMask");
  }
}

bool IpGenAddrWithMask::tryParse(std::string_view text, IpGenAddrWithMask& out) noexcept {
  if (text.empty()) {
    out = IpGenAddrWithMask();
    return true;
  }
  if (text.find(':') != std::string_view::npos) {
    Ip6AddrWithMask a;
    if (!Ip6AddrWithMask::tryParse(text, a)) return false;
    out = a;
  } else {
    IpAddrWithMask a;
    if (!IpAddrWithMask::tryParse(text, a)) return false;
    out = a;
  }
  return true;
}

IpAddrWithMask IpGenAddrWithMask::v4() const { return IpAddrWithMask(address_.v4(), len_); }

Ip6AddrWithMask IpGenAddrWithMask::v6() const { return Ip6AddrWithMask(address_.v6(), len_); }

std::uint32_t IpGenAddrWithMask::hash() const noexcept {
  switch (address_.af()) {
    case AddressFamily::ipv4:
      return v4().hash();
    case AddressFamily::ipv6:
      return v6().hash();
    case AddressFamily::ipunknown:
      break;
  }
  return 0;
}

std::string valueToStrep(const IpGenAddrWithMask& v) {
  if (!v) return {};
  return valueToStrep(v.ipGenAddr()) + '/' + std::to_string(v.len());
}

std::ostream& operator<<(std::ostream& os, const IpGenAddrWithMask& v) {
  return os << valueToStrep(v);
}

Orv::NboAttrLog::Out& operator<<(Orv::NboAttrLog::Out& out, const IpGenAddrWithMask& v) {
  out << v.ipGenAddr();
  out.writeU8(static_cast<std::uint8_t>(v.len()));
  return out;
}

Orv::NboAttrLog::In& operator>>(Orv::NboAttrLog::In& in, IpGenAddrWithMask& v) {
  IpGenAddr a;
  in >> a;
  const std::size_t at = in.offset();
  const std::uint8_t len = in.readU8();
  const unsigned max = IpGenAddrWithMask::maxLenFor(a.af());
  if (len > max) {
    in.fail("prefix length " + std::to_string(len) + " is over " + std::to_string(max) + " for " +
                valueToStrep(a.af()),
            at);
  }
  v = IpGenAddrWithMask(a, len);
  return in;
}

}  // namespace Lumen
