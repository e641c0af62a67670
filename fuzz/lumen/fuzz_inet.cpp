// Runs the IPv4 and IPv6 address readers and printers against the C
// library's inet_pton and inet_ntop on the same input: both must accept the
// same texts, read the same bytes, and print the same text, except where the
// printers differ on purpose (below).
#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "LumenFuzz.h"

namespace {

// The C library also prints an IPv4-compatible address (first 96 bits zero,
// then a non-zero 32-bit value that is not ::1) with a dotted-quad tail,
// "::1.2.3.4"; ours keeps hex groups there, "::102:304", and shows the dotted
// tail only for IPv4-mapped addresses.
bool v4Compatible(const Lumen::Ip6Addr::Bytes& b) {
  for (int i = 0; i < 12; ++i) {
    if (b[i] != 0) return false;
  }
  return b[12] != 0 || b[13] != 0;
}

// Reads text with Addr's reader and inet_pton(af), and prints with both
// printers. Raw is the C library's address struct.
template <class Addr, int af, class Raw, std::size_t textLen>
void checkFamily(const std::string& text) {
  Addr ours;
  const bool ok = Addr::tryParse(text, ours);
  Raw theirs{};
  const bool libcOk = inet_pton(af, text.c_str(), &theirs) == 1;
  LUMEN_FUZZ_CHECK(ok == libcOk);
  if (!ok) return;
  LUMEN_FUZZ_CHECK(std::memcmp(ours.bytes().data(), &theirs, sizeof theirs) == 0);
  char printed[textLen];
  LUMEN_FUZZ_CHECK(inet_ntop(af, &theirs, printed, sizeof printed) != nullptr);
  if constexpr (af == AF_INET6) {
    if (v4Compatible(ours.bytes())) {
      // Both texts still read back as the same address.
      Addr back;
      LUMEN_FUZZ_CHECK(Addr::tryParse(printed, back) && back == ours);
      return;
    }
  }
  LUMEN_FUZZ_CHECK(Lumen::valueToStrep(ours) == printed);
}

void checkIpv4(const std::string& text) {
  checkFamily<Lumen::IpAddr, AF_INET, in_addr, INET_ADDRSTRLEN>(text);
}
void checkIpv6(const std::string& text) {
  checkFamily<Lumen::Ip6Addr, AF_INET6, in6_addr, INET6_ADDRSTRLEN>(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // inet_pton reads a C string: text with a NUL in it cannot be compared.
  const std::string_view view(reinterpret_cast<const char*>(data), size);
  if (view.find('\0') != std::string_view::npos) return 0;
  const std::string text(view);
  checkIpv4(text);
  checkIpv6(text);

  // Every address printed by one side is read by the other: the bytes of
  // the input taken as an address.
  if (size >= 16) {
    Lumen::Ip6Addr::Bytes b;
    std::memcpy(b.data(), data, 16);
    checkIpv6(Lumen::valueToStrep(Lumen::Ip6Addr(b)));
    std::array<std::uint8_t, 4> b4;
    std::memcpy(b4.data(), data, 4);
    checkIpv4(Lumen::valueToStrep(Lumen::IpAddr(b4)));
  }
  return 0;
}
