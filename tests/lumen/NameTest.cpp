// Interface ids, namespace and VRF names, and route distinguishers.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ipmodel/Lumen/IntfId.h>
#include <ipmodel/Lumen/NamespaceName.h>
#include <ipmodel/Lumen/RouteDistinguisher.h>
#include <ipmodel/Lumen/VrfName.h>

#include "LumenTestUtil.h"

using namespace Lumen;
using Bytes = std::vector<std::uint8_t>;

namespace {

// Attribute-log bytes of a length-prefixed string.
Bytes logString(const std::string& s) {
  Orv::NboAttrLog::Out out;
  out.writeString(s);
  return out.bytes();
}

TEST(IntfId, Names) {
  EXPECT_EQ(IntfId("Ethernet1/2.100").stringValue(), "Ethernet1/2.100");
  EXPECT_TRUE(IntfId("").empty());
  EXPECT_EQ(IntfId("Eth\xc3\xa9").stringValue(), "Eth\xc3\xa9");  // UTF-8 is fine
  for (const char* bad : {"Eth 1", "Eth\t1", "Eth\n1", "Eth\x7f", "Eth'1", "Eth\"1", "Eth`1",
                          "Eth,1", "Eth(1", "Eth)1", "Eth{1", "Eth}1", " "}) {
    SCOPED_TRACE(bad);
    IntfId out("Keep");
    EXPECT_FALSE(IntfId::tryParse(bad, out));
    EXPECT_EQ(out, IntfId("Keep"));
    EXPECT_THROW_MSG(IntfId{std::string_view(bad)}, Orv::StrepReadException,
                     "invalid interface name '" + std::string(bad) + "'");
  }
  EXPECT_THROW(IntfId(std::string_view("Eth\0"
                                       "1",
                                       5)),
               Orv::StrepReadException);
}

TEST(IntfId, LengthLimit) {
  const std::string atLimit(255, 'e');
  EXPECT_EQ(IntfId(atLimit).stringValue(), atLimit);
  EXPECT_THROW_MSG(IntfId(atLimit + "e"), Orv::RangeException, "IntfId::bytes > 255 not allowed");
  IntfId out;
  EXPECT_FALSE(IntfId::tryParse(atLimit + "e", out));
}

TEST(IntfId, BadLogBytes) {
  // The length is checked before any byte of the name is read.
  expectBadLog<IntfId>({0, 0, 1, 0}, "interface name of 256 bytes is over 255 at offset 0");
  expectBadLog<IntfId>(logString("Eth 1"), "interface name has a refused character at offset 0");
  expectBadLog<LoopbackIntfId>(logString("Ethernet1"),
                               "interface name 'Ethernet1' is not a loopback name at offset 0");
}

TEST(LoopbackIntfId, OnlyLoopbackNames) {
  EXPECT_TRUE(LoopbackIntfId::isLoopbackIntfId(IntfId("Loopback0")));
  EXPECT_TRUE(LoopbackIntfId::isLoopbackIntfId(IntfId("Loopback")));
  EXPECT_FALSE(LoopbackIntfId::isLoopbackIntfId(IntfId("loopback0")));
  EXPECT_FALSE(LoopbackIntfId::isLoopbackIntfId(IntfId("Loopbac")));
  EXPECT_FALSE(LoopbackIntfId::isLoopbackIntfId(IntfId()));

  const LoopbackIntfId lo("Loopback7");
  const IntfId& asIntf = lo;  // usable wherever an IntfId is
  EXPECT_EQ(asIntf, IntfId("Loopback7"));
  EXPECT_EQ(LoopbackIntfId(IntfId("Loopback7")), lo);
  EXPECT_EQ(LoopbackIntfId(IntfId()), LoopbackIntfId());
  EXPECT_THROW_MSG(LoopbackIntfId("Ethernet1"), Orv::StrepReadException,
                   "invalid loopback interface name 'Ethernet1'");
  EXPECT_THROW_MSG(LoopbackIntfId("Loopback 1"), Orv::StrepReadException,
                   "invalid interface name 'Loopback 1'");
  EXPECT_THROW_MSG(LoopbackIntfId(IntfId("Ethernet1")), Orv::RangeException,
                   "interface 'Ethernet1' is not a loopback interface");
  LoopbackIntfId out;
  EXPECT_FALSE(LoopbackIntfId::tryParse("Vlan1", out));
  EXPECT_TRUE(out.empty());
}

TEST(NamespaceName, LengthLimit) {
  const std::string atLimit(150, 'n');
  EXPECT_EQ(NamespaceName(atLimit).stringValue(), atLimit);
  EXPECT_THROW_MSG(NamespaceName(atLimit + "n"), Orv::RangeException,
                   "NamespaceName::bytes > 150 not allowed");
  NamespaceName out;
  EXPECT_TRUE(NamespaceName::tryParse(atLimit, out));
  EXPECT_FALSE(NamespaceName::tryParse(atLimit + "n", out));
  EXPECT_EQ(out.stringValue(), atLimit);
  expectBadLog<NamespaceName>({0, 0, 0, 151},
                              "namespace name of 151 bytes is over 150 at offset 0");
  expectBadLog<NamespaceName>({0xff, 0xff, 0xff, 0xff}, "over 150");
}

TEST(VrfName, LengthLimitAndDefault) {
  const std::string atLimit(L3::VrfName::maxLength, 'v');
  EXPECT_EQ(L3::VrfName(atLimit).stringValue(), atLimit);
  EXPECT_THROW_MSG(L3::VrfName(atLimit + "v"), Orv::RangeException,
                   "VrfName::bytes > VrfName::maxLength not allowed");
  L3::VrfName out;
  EXPECT_FALSE(L3::VrfName::tryParse(atLimit + "v", out));
  EXPECT_TRUE(L3::VrfName().empty());
  EXPECT_EQ(L3::VrfName::defaultVrf().stringValue(), "default");
  EXPECT_TRUE(L3::VrfName::defaultVrf().isDefaultVrf());
  EXPECT_FALSE(L3::VrfName().isDefaultVrf());
  expectBadLog<L3::VrfName>({0, 0, 0, 101}, "VRF name of 101 bytes is over 100 at offset 0");
}

TEST(RouteDistinguisher, Forms) {
  const RouteDistinguisher t0("65535:4294967295");
  EXPECT_EQ(t0.type(), 0);
  EXPECT_EQ(t0.bytes(), (RouteDistinguisher::Bytes{0, 0, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}));
  EXPECT_EQ(t0, RouteDistinguisher::type0(65535, 4294967295u));

  const RouteDistinguisher t1("192.0.2.1:65535");
  EXPECT_EQ(t1.type(), 1);
  EXPECT_EQ(t1.bytes(), (RouteDistinguisher::Bytes{0, 1, 192, 0, 2, 1, 0xff, 0xff}));
  EXPECT_EQ(t1, RouteDistinguisher::type1(IpAddr("192.0.2.1"), 65535));

  const RouteDistinguisher t2("65536:7");
  EXPECT_EQ(t2.type(), 2);
  EXPECT_EQ(t2.bytes(), (RouteDistinguisher::Bytes{0, 2, 0, 1, 0, 0, 0, 7}));
  EXPECT_EQ(t2.u64(), 0x0002000100000007ull);
  EXPECT_EQ(t2, RouteDistinguisher::type2(65536, 7));

  EXPECT_EQ(valueToStrep(RouteDistinguisher()), "0:0");
  EXPECT_EQ(RouteDistinguisher("0:0"), RouteDistinguisher());
  EXPECT_FALSE(!RouteDistinguisher("0.0.0.0:0"));  // type 1, not all zero
}

TEST(RouteDistinguisher, Errors) {
  for (const char* bad :
       {"", "1", ":1", "1:", "1:2:3", "65536:65536", "4294967296:1", "65535:4294967296",
        "1.2.3.4:65536", "1.2.3:4", "01:1", "1:01", "-1:1", " 1:1", "1:1 ", "1.2:3", "::1"}) {
    SCOPED_TRACE(bad);
    EXPECT_THROW_MSG(RouteDistinguisher{std::string_view(bad)}, Orv::StrepReadException,
                     "invalid route distinguisher '" + std::string(bad) + "'");
  }
  EXPECT_THROW_MSG(RouteDistinguisher::type2(65535, 1), Orv::RangeException,
                   "RouteDistinguisher type 2 AS number 65535 <= 65535 not allowed (use type 0)");
  EXPECT_THROW_MSG(RouteDistinguisher::fromBytes({0, 3, 0, 0, 0, 0, 0, 0}), Orv::RangeException,
                   "RouteDistinguisher unknown type 3 not allowed");
  EXPECT_EQ(RouteDistinguisher::fromBytes({0, 2, 0, 1, 0, 0, 0, 7}), RouteDistinguisher("65536:7"));
  expectBadLog<RouteDistinguisher>({0, 3, 0, 0, 0, 0, 0, 0},
                                   "invalid route distinguisher: unknown type 3 at offset 0");
  expectBadLog<RouteDistinguisher>(
      {0, 2, 0, 0, 0xff, 0xff, 0, 1},
      "invalid route distinguisher: type 2 with AS number 65535 <= 65535 at offset 0");
}

}  // namespace
