// IPv4, IPv6 and family-generic addresses, masks and prefixes.
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ipmodel/Lumen/IpGenAddr.h>

#include "LumenTestUtil.h"

using namespace Lumen;
using Bytes = std::vector<std::uint8_t>;

namespace {

// --- IPv4 -------------------------------------------------------------------

TEST(IpAddr, ValueForms) {
  const IpAddr a("10.1.2.3");
  EXPECT_EQ(a.value(), 0x0a010203u);
  EXPECT_EQ(a.bytes(), (std::array<std::uint8_t, 4>{10, 1, 2, 3}));
  EXPECT_EQ(a.valueNbo(), __builtin_bswap32(0x0a010203u));  // x86-64: stored bytes read LE
  EXPECT_EQ(IpAddr::fromHostOrder(0x0a010203), a);
  EXPECT_EQ(valueToStrep(IpAddr::fromHostOrder(0xffffffff)), "255.255.255.255");
  EXPECT_EQ(valueToStrep(IpAddr()), "0.0.0.0");
  // Numeric, not textual, order.
  EXPECT_LT(IpAddr("9.255.255.255"), IpAddr("10.0.0.0"));
  EXPECT_LT(IpAddr("10.0.0.2"), IpAddr("10.0.0.10"));
}

TEST(IpAddr, BadText) {
  for (const char* bad :
       {"", "1.2.3", "1.2.3.4.5", "256.0.0.0", "1.2.3.256", "01.2.3.4", "1.2.3.00", "+1.2.3.4",
        " 1.2.3.4", "1.2.3.4 ", "1..2.3", "1.2.3.", ".1.2.3", "a.b.c.d", "1.2.3.4/8", "0x1.2.3.4",
        "4294967296", "1.2.3.-4"}) {
    SCOPED_TRACE(bad);
    IpAddr out = IpAddr::fromHostOrder(7);
    EXPECT_FALSE(IpAddr::tryParse(bad, out));
    EXPECT_EQ(out, IpAddr::fromHostOrder(7));
    EXPECT_THROW_MSG(IpAddr{std::string_view(bad)}, Orv::StrepReadException,
                     "invalid IPv4 address '" + std::string(bad) + "'");
  }
}

TEST(IpAddr, Predicates) {
  EXPECT_FALSE(IpAddr("223.255.255.255").isMulticast());
  EXPECT_TRUE(IpAddr("224.0.0.0").isMulticast());
  EXPECT_TRUE(IpAddr("239.255.255.255").isMulticast());
  EXPECT_FALSE(IpAddr("240.0.0.0").isMulticast());
  EXPECT_TRUE(IpAddr("0.0.0.0").isUnspecified());
  EXPECT_FALSE(IpAddr("0.0.0.1").isUnspecified());
}

TEST(IpAddrWithMask, LengthsAndErrors) {
  const IpAddrWithMask m(IpAddr("10.0.0.1"), 24);
  EXPECT_EQ(m.address(), IpAddr("10.0.0.1"));
  EXPECT_EQ(m.len(), 24u);
  EXPECT_EQ(m.prefix(), Prefix("10.0.0.0/24"));
  EXPECT_EQ(IpAddrWithMask(IpAddr(), 32).len(), 32u);
  EXPECT_THROW_MSG(IpAddrWithMask(IpAddr(), 33), Orv::RangeException,
                   "IpAddrWithMask::len 33 > 32 not allowed");
  for (const char* bad : {"10.0.0.1", "10.0.0.1/", "10.0.0.1/33", "10.0.0.1/024", "10.0.0.1/-1",
                          "/24", "10.0.0.1/2/4", "10.0.0.1 /24", "::1/24"}) {
    SCOPED_TRACE(bad);
    EXPECT_THROW_MSG(IpAddrWithMask{std::string_view(bad)}, Orv::StrepReadException,
                     "invalid IPv4 address with mask '" + std::string(bad) + "'");
  }
}

TEST(Prefix, MaskingAndContains) {
  EXPECT_EQ(Prefix(IpAddr("10.1.2.3"), 8), Prefix("10.0.0.0/8"));
  EXPECT_EQ(Prefix(IpAddr("10.1.2.3"), 0), Prefix());
  EXPECT_EQ(Prefix(IpAddr("10.1.2.3"), 32).address(), IpAddr("10.1.2.3"));
  EXPECT_EQ(Prefix(IpAddr("10.1.2.255"), 31).address(), IpAddr("10.1.2.254"));
  EXPECT_THROW_MSG(Prefix(IpAddr(), 33), Orv::RangeException, "Prefix::len 33 > 32 not allowed");

  const Prefix p("10.0.0.0/8");
  EXPECT_FALSE(p.contains(IpAddr("9.255.255.255")));
  EXPECT_TRUE(p.contains(IpAddr("10.0.0.0")));
  EXPECT_TRUE(p.contains(IpAddr("10.255.255.255")));
  EXPECT_FALSE(p.contains(IpAddr("11.0.0.0")));
  EXPECT_TRUE(Prefix().contains(IpAddr("255.255.255.255")));
  EXPECT_TRUE(Prefix("1.2.3.4/32").contains(IpAddr("1.2.3.4")));
  EXPECT_FALSE(Prefix("1.2.3.4/32").contains(IpAddr("1.2.3.5")));
}

TEST(Prefix, BadText) {
  EXPECT_THROW_MSG(Prefix("10.0.0.1/8"), Orv::StrepReadException,
                   "invalid IPv4 prefix '10.0.0.1/8': host bits set (the prefix is 10.0.0.0/8)");
  EXPECT_THROW_MSG(Prefix("10.0.0.0/33"), Orv::StrepReadException,
                   "invalid IPv4 prefix '10.0.0.0/33'");
  EXPECT_THROW_MSG(Prefix("10.0.0.0"), Orv::StrepReadException, "invalid IPv4 prefix '10.0.0.0'");
  Prefix out;
  EXPECT_FALSE(Prefix::tryParse("0.0.0.1/0", out));
}

TEST(IpAddr, BadLogBytes) {
  expectBadLog<IpAddrWithMask>({10, 0, 0, 1, 33}, "IPv4 prefix length 33 is over 32 at offset 4");
  expectBadLog<Prefix>({10, 0, 0, 1, 8}, "host bits set at offset 0");
  expectBadLog<Prefix>({0, 0, 0, 0, 255}, "IPv4 prefix length 255 is over 32");
}

// --- IPv6 -------------------------------------------------------------------

TEST(Ip6Addr, ParseAndPrintRfc5952) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"::", "::"},
      {"::1", "::1"},
      {"1::", "1::"},
      {"2001:DB8::1", "2001:db8::1"},
      {"2001:0db8:0000:0000:0000:0000:0000:0001", "2001:db8::1"},
      {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},     // first run of equal length
      {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},           // longest run
      {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // one zero group stays
      {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
      {"::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8"},
      {"0:0:0:0:0:0:0:0", "::"},
      {"fe80::0:0", "fe80::"},
      {"::ffff:1.2.3.4", "::ffff:1.2.3.4"},
      {"::FFFF:0102:0304", "::ffff:1.2.3.4"},
      {"::ffff:0.0.0.0", "::ffff:0.0.0.0"},
      {"::1.2.3.4", "::102:304"},  // only mapped addresses print dotted
      {"64:ff9b::1.2.3.4", "64:ff9b::102:304"},
      {"1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304"},
      {"0:0:0:0:0:ffff:255.255.255.255", "::ffff:255.255.255.255"},
      {"ABCD:EF01:2345:6789:ABCD:EF01:2345:6789", "abcd:ef01:2345:6789:abcd:ef01:2345:6789"},
  };
  for (const auto& [in, canonical] : cases) {
    SCOPED_TRACE(in);
    const Ip6Addr a(in);
    EXPECT_EQ(valueToStrep(a), canonical);
    EXPECT_EQ(Ip6Addr(valueToStrep(a)), a);
  }
  EXPECT_EQ(Ip6Addr("2001:db8::1").bytes(),
            (Ip6Addr::Bytes{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(Ip6Addr("::1"), ip6AddrLoopback);
  EXPECT_EQ(Ip6Addr("::"), ip6AddrZero);
}

TEST(Ip6Addr, BadText) {
  for (const char* bad : {"",
                          ":",
                          ":::",
                          "1:::2",
                          "1::2::3",
                          ":1::",
                          "1::2:",
                          "1:2:3:4:5:6:7",
                          "1:2:3:4:5:6:7:8:9",
                          "1:2:3:4:5:6:7:8::",
                          "::1:2:3:4:5:6:7:8",
                          "12345::",
                          "g::",
                          "::1%eth0",
                          " ::1",
                          "::1 ",
                          "1.2.3.4",
                          "::1.2.3",
                          "::1.2.3.04",
                          "::256.1.1.1",
                          "1:2:3:4:5:6:7:1.2.3.4",
                          "::1.2.3.4:1",
                          "::ffff:1.2.3.4.5",
                          "[::1]",
                          "::/64",
                          "1:2:3:4:5:6:7:8:",
                          "1:2:3:4:5:6::7:8:9"}) {
    SCOPED_TRACE(bad);
    Ip6Addr out = ip6AddrLoopback;
    EXPECT_FALSE(Ip6Addr::tryParse(bad, out));
    EXPECT_EQ(out, ip6AddrLoopback);
    EXPECT_THROW_MSG(Ip6Addr{std::string_view(bad)}, Orv::StrepReadException,
                     "invalid IPv6 address '" + std::string(bad) + "'");
  }
}

TEST(Ip6Addr, Predicates) {
  EXPECT_FALSE(Ip6Addr("fe7f:ffff::").isLinkLocal());
  EXPECT_TRUE(Ip6Addr("fe80::").isLinkLocal());
  EXPECT_TRUE(Ip6Addr("febf:ffff::").isLinkLocal());
  EXPECT_FALSE(Ip6Addr("fec0::").isLinkLocal());
  EXPECT_TRUE(Ip6Addr("fec0::").isSiteLocal());
  EXPECT_TRUE(Ip6Addr("feff:ffff::").isSiteLocal());
  EXPECT_FALSE(Ip6Addr("febf:ffff::").isSiteLocal());
  EXPECT_FALSE(Ip6Addr("ff00::").isSiteLocal());
  EXPECT_FALSE(Ip6Addr("fbff:ffff::").isUniqueLocal());
  EXPECT_TRUE(Ip6Addr("fc00::").isUniqueLocal());
  EXPECT_TRUE(Ip6Addr("fdff:ffff::").isUniqueLocal());
  EXPECT_FALSE(Ip6Addr("fe00::").isUniqueLocal());
  EXPECT_FALSE(Ip6Addr("feff:ffff::").isMulticast());
  EXPECT_TRUE(Ip6Addr("ff00::").isMulticast());
  EXPECT_TRUE(Ip6Addr("::1").isLoopback());
  EXPECT_FALSE(Ip6Addr("::2").isLoopback());
  EXPECT_FALSE(Ip6Addr("1::1").isLoopback());
  EXPECT_TRUE(Ip6Addr("::").isUnspecified());
  EXPECT_FALSE(Ip6Addr("::1").isUnspecified());
  EXPECT_FALSE(Ip6Addr("8000::").isUnspecified());
}

TEST(Ip6Addr, LongestCommonPrefix) {
  const Ip6Addr a("2001:db8::1");
  EXPECT_EQ(a.longestCommonPrefix(a), 128u);
  EXPECT_EQ(Ip6Addr("::").longestCommonPrefix(Ip6Addr("8000::")), 0u);
  EXPECT_EQ(a.longestCommonPrefix(Ip6Addr("2001:db8::")), 127u);
  EXPECT_EQ(a.longestCommonPrefix(Ip6Addr("2001:db9::1")), 31u);
  EXPECT_EQ(Ip6Addr("fe80::").longestCommonPrefix(Ip6Addr("fec0::")), 9u);
  EXPECT_EQ(Ip6Addr("::").longestCommonPrefix(Ip6Addr("0:0:0:1::")), 63u);
}

TEST(Ip6Prefix, MaskingContainsAndErrors) {
  EXPECT_EQ(Ip6Prefix(Ip6Addr("fe80::1"), 10), Ip6Prefix("fe80::/10"));
  EXPECT_EQ(Ip6Prefix(Ip6Addr("febf:ffff::1"), 10), Ip6Prefix("fe80::/10"));
  EXPECT_EQ(Ip6Prefix(Ip6Addr("2001:db8::ffff"), 127).address(), Ip6Addr("2001:db8::fffe"));
  EXPECT_EQ(Ip6Prefix(Ip6Addr("2001:db8::1"), 0), Ip6Prefix());
  EXPECT_EQ(Ip6Prefix(Ip6Addr("2001:db8::1"), 128).address(), Ip6Addr("2001:db8::1"));
  EXPECT_THROW_MSG(Ip6Prefix(Ip6Addr(), 129), Orv::RangeException,
                   "Ip6Prefix::len 129 > 128 not allowed");
  EXPECT_THROW_MSG(Ip6AddrWithMask(Ip6Addr(), 129), Orv::RangeException,
                   "Ip6AddrWithMask::len 129 > 128 not allowed");

  const Ip6Prefix ll("fe80::/10");
  EXPECT_FALSE(ll.contains(Ip6Addr("fe7f:ffff::")));
  EXPECT_TRUE(ll.contains(Ip6Addr("fe80::")));
  EXPECT_TRUE(ll.contains(Ip6Addr("febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff")));
  EXPECT_FALSE(ll.contains(Ip6Addr("fec0::")));
  EXPECT_TRUE(Ip6Prefix().contains(Ip6Addr("ffff::1")));
  EXPECT_TRUE(Ip6Prefix("::1/128").contains(ip6AddrLoopback));
  EXPECT_FALSE(Ip6Prefix("::1/128").contains(ip6AddrZero));

  EXPECT_THROW_MSG(Ip6Prefix("2002::1/16"), Orv::StrepReadException,
                   "invalid IPv6 prefix '2002::1/16': host bits set (the prefix is 2002::/16)");
  EXPECT_THROW_MSG(Ip6Prefix("2002::/129"), Orv::StrepReadException,
                   "invalid IPv6 prefix '2002::/129'");
  EXPECT_THROW_MSG(Ip6AddrWithMask("fe80::1"), Orv::StrepReadException,
                   "invalid IPv6 address with mask 'fe80::1'");
  EXPECT_THROW_MSG(Ip6AddrWithMask("fe80::1/064"), Orv::StrepReadException,
                   "invalid IPv6 address with mask 'fe80::1/064'");
  EXPECT_EQ(Ip6AddrWithMask("fe80::1/64").prefix(), Ip6Prefix("fe80::/64"));
}

TEST(Ip6Addr, BadLogBytes) {
  Bytes b(16, 0);
  b.push_back(129);
  expectBadLog<Ip6AddrWithMask>(b, "IPv6 prefix length 129 is over 128 at offset 16");
  b = Bytes(16, 0xff);
  b.push_back(64);
  expectBadLog<Ip6Prefix>(b, "IPv6 prefix has host bits set at offset 0");
}

// --- Generic ----------------------------------------------------------------

TEST(AddressFamily, TextAndLog) {
  for (auto af : {AddressFamily::ipunknown, AddressFamily::ipv4, AddressFamily::ipv6}) {
    EXPECT_EQ(addressFamilyFromStrep(valueToStrep(af)), af);
    Orv::NboAttrLog::Out out;
    out << af;
    ASSERT_EQ(out.size(), 1u);
    Orv::NboAttrLog::In in(out.bytes());
    AddressFamily back;
    in >> back;
    EXPECT_EQ(back, af);
  }
  EXPECT_EQ(valueToStrep(AddressFamily::ipv6), "ipv6");
  EXPECT_THROW_MSG(addressFamilyFromStrep("IPv4"), Orv::StrepReadException,
                   "invalid address family 'IPv4'");
  AddressFamily af;
  EXPECT_FALSE(tryParse("", af));
  expectBadLog<AddressFamily>({3}, "unknown address family 3 at offset 0");
}

TEST(IpGenAddr, FamiliesAndOrder) {
  const IpGenAddr none, v4("10.0.0.1"), v6("::ffff:10.0.0.1");
  EXPECT_EQ(none.af(), AddressFamily::ipunknown);
  EXPECT_EQ(IpGenAddr(""), none);
  EXPECT_EQ(valueToStrep(none), "");
  EXPECT_TRUE(v4.isV4());
  EXPECT_EQ(v4.v4(), IpAddr("10.0.0.1"));
  EXPECT_TRUE(v6.isV6());
  EXPECT_EQ(v6.v6(), Ip6Addr("::ffff:10.0.0.1"));
  EXPECT_NE(v4, v6);
  // An unset address of a family is a value, not the no-family default.
  EXPECT_FALSE(!IpGenAddr(IpAddr()));
  EXPECT_FALSE(!IpGenAddr(ip6AddrZero));
  EXPECT_NE(IpGenAddr(IpAddr()), IpGenAddr(ip6AddrZero));
  EXPECT_LT(none, IpGenAddr(IpAddr()));
  EXPECT_LT(IpGenAddr("255.255.255.255"), IpGenAddr("::"));
  EXPECT_LT(IpGenAddr("10.0.0.1"), IpGenAddr("10.0.0.2"));

  EXPECT_THROW_MSG(IpGenAddr("10.0.0.256"), Orv::StrepReadException,
                   "invalid IP address '10.0.0.256'");
  EXPECT_THROW_MSG(IpGenAddr("fe80::1::"), Orv::StrepReadException,
                   "invalid IP address 'fe80::1::'");
  EXPECT_THROW_MSG(IpGenAddr(" "), Orv::StrepReadException, "invalid IP address ' '");
}

TEST(IpGenAddrDeathTest, WrongFamilyAsserts) {
  EXPECT_DEATH(IpGenAddr("10.0.0.1").v6(), "af_ == AddressFamily::ipv6");
  EXPECT_DEATH(IpGenAddr().v4(), "af_ == AddressFamily::ipv4");
}

TEST(IpGenAddrWithMask, FormsAndLimits) {
  const IpGenAddrWithMask v4 = IpAddrWithMask("10.0.0.1/24");
  const IpGenAddrWithMask v6 = Ip6AddrWithMask("fe80::1/64");
  EXPECT_EQ(v4, IpGenAddrWithMask("10.0.0.1/24"));
  EXPECT_EQ(v4.ipGenAddr(), IpGenAddr("10.0.0.1"));
  EXPECT_EQ(v4.v4(), IpAddrWithMask("10.0.0.1/24"));
  EXPECT_EQ(v6.v6(), Ip6AddrWithMask("fe80::1/64"));
  EXPECT_EQ(v6.len(), 64u);
  EXPECT_EQ(valueToStrep(IpGenAddrWithMask()), "");
  EXPECT_EQ(IpGenAddrWithMask(IpGenAddr("::"), 128).len(), 128u);
  EXPECT_THROW_MSG(IpGenAddrWithMask(IpGenAddr("10.0.0.1"), 33), Orv::RangeException,
                   "IpGenAddrWithMask::len 33 > 32 not allowed for ipv4");
  EXPECT_THROW_MSG(IpGenAddrWithMask(IpGenAddr(), 1), Orv::RangeException,
                   "IpGenAddrWithMask::len 1 > 0 not allowed for ipunknown");
  for (const char* bad : {"10.0.0.1", "10.0.0.1/33", "::1/129", "/0", "::1", " "}) {
    EXPECT_THROW_MSG(IpGenAddrWithMask{std::string_view(bad)}, Orv::StrepReadException,
                     "invalid IP address with mask '" + std::string(bad) + "'");
  }
}

TEST(IpGenAddr, BadLogBytes) {
  expectBadLog<IpGenAddr>({3, 1, 2, 3, 4}, "unknown address family 3 at offset 0");
  expectBadLog<IpGenAddr>({2, 0, 0, 0, 0}, "truncated input");
  expectBadLog<IpGenAddrWithMask>({1, 10, 0, 0, 1, 33}, "prefix length 33 is over 32 for ipv4");
  expectBadLog<IpGenAddrWithMask>({0, 1}, "prefix length 1 is over 0 for ipunknown");
  Bytes b{2};
  b.resize(17, 0);
  b.push_back(129);
  expectBadLog<IpGenAddrWithMask>(b, "prefix length 129 is over 128 for ipv6 at offset 17");
}

}  // namespace
