// IPv6 enumerations and value types: enumerator tables, the address value's
// bare text form, interface-address order and hashing, multicast groups.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include <ipmodel/Ip6/Ip6.h>

namespace {

using Ip6::AddressInfo;
using Ip6::IntfAddrInfo;
using Ip6::MulticastGroupInfo;
using Lumen::IntfId;
using Lumen::Ip6Addr;
using Lumen::Ip6AddrWithMask;

TEST(Ip6Enums, TablesInDeclarationOrder) {
  EXPECT_EQ(Ip6::TristateBool(), Ip6::TristateBool::isInvalid);
  EXPECT_EQ(Ip6::TristateBoolInstance(2u), Ip6::TristateBool::isTrue);
  // Same enumerators as the IPv4 one, but a type of its own.
  EXPECT_STREQ(Ip6::_orvType_TristateBool.name, "Ip6::TristateBool");
  EXPECT_EQ(stringValue(Ip6::AddrSourceInstance(1u)), "slaac");
  EXPECT_THROW(Ip6::AddrSourceInstance(Orv::String("dhcp")), Orv::RangeException);
  EXPECT_EQ(Ip6::AcceptDadInstance(Orv::String("dadStrict")), Ip6::AcceptDad::dadStrict);
  EXPECT_EQ(static_cast<unsigned>(Ip6::AcceptDad::dadEnabled), 2u);
  EXPECT_THROW(Ip6::AcceptDadInstance(4u), Orv::RangeException);
  EXPECT_EQ(Ip6::_orvType_AcceptDad.enumeratorCount, 4);
  EXPECT_EQ(Orv::strepToValue<Ip6::AcceptDad>("dadGlobal"), Ip6::AcceptDad::dadGlobal);
}

TEST(Ip6AddressInfo, TextIsTheBareAddressWithMask) {
  AddressInfo a(Ip6AddrWithMask("2001:db8::1/64"));
  EXPECT_EQ(a.address(), Ip6Addr("2001:db8::1"));
  EXPECT_EQ(a.length(), 64u);
  EXPECT_EQ(Orv::valueToStrep(a), "2001:db8::1/64");
  EXPECT_EQ(Orv::strepToValue<AddressInfo>("2001:db8::1/64"), a);
  EXPECT_THROW(Orv::strepToValue<AddressInfo>("Value('Ip6::AddressInfo', ** {'key': ::/0})"),
               Orv::StrepReadException);
  EXPECT_TRUE(!AddressInfo());
  EXPECT_FALSE(a == AddressInfo(Ip6AddrWithMask("2001:db8::1/65")));
  auto out = Orv::NboAttrLog::Out::outIs();
  out << a;
  Orv::NboAttrLog::In in(out->bytes());
  AddressInfo back;
  in >> back;
  EXPECT_EQ(back, a);
  const auto* t = Orv::typeNode("Ip6::AddressInfo");
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->attr("key")->id, 2);
  EXPECT_EQ(t->attr("length")->category, Orv::AttrCategory::computed);
}

TEST(Ip6IntfAddrInfo, OrdersByInterfaceFirstAndHashesBySum) {
  IntfAddrInfo a(IntfId("Ethernet1"), Ip6Addr("ff02::9"));
  IntfAddrInfo b(IntfId("Ethernet1"), Ip6Addr("ff02::10"));
  IntfAddrInfo c(IntfId("Ethernet2"), Ip6Addr("ff02::1"));
  EXPECT_TRUE(a < b);
  EXPECT_TRUE(b < c);  // every address of the smaller interface comes first
  EXPECT_FALSE(c < a);
  EXPECT_TRUE(a == IntfAddrInfo(IntfId("Ethernet1"), Ip6Addr("ff02::9")));
  EXPECT_FALSE(a == IntfAddrInfo(IntfId("Ethernet1"), Ip6Addr("ff02::9:0")));
  EXPECT_TRUE(!IntfAddrInfo());
  EXPECT_FALSE(!a);
  EXPECT_EQ(a.hash(),
            static_cast<std::uint32_t>(IntfId("Ethernet1").hash() + Ip6Addr("ff02::9").hash()));
  std::set<std::uint32_t> hashes;
  for (unsigned i = 0; i < 1000; ++i) {
    Ip6Addr::Bytes bytes{0xff, 0x02};
    bytes[14] = static_cast<std::uint8_t>(i >> 8);
    bytes[15] = static_cast<std::uint8_t>(i);
    hashes.insert(IntfAddrInfo(IntfId("Ethernet" + std::to_string(i % 7)), Ip6Addr(bytes)).hash());
  }
  EXPECT_GT(hashes.size(), 990u);
  const std::string t = Orv::valueToStrep(c);
  EXPECT_EQ(t, "Value('Ip6::IntfAddrInfo', ** {'intfId': Ethernet2, 'addr': ff02::1})");
  EXPECT_EQ(Orv::strepToValue<IntfAddrInfo>(t), c);
}

TEST(Ip6MulticastGroupInfo, ValidUnlessUnspecifiedAndApplicationsAreASet) {
  MulticastGroupInfo g(Ip6Addr("ff02::5"));
  EXPECT_TRUE(g.isValid());
  EXPECT_FALSE(MulticastGroupInfo(Ip6Addr("::")).isValid());
  // Any specified address counts, even a unicast one (unlike IPv4, which
  // asks for a multicast address).
  EXPECT_TRUE(MulticastGroupInfo(Ip6Addr("2001:db8::1")).isValid());
  g.applicationIs("ospf6");
  g.applicationIs("ospf6");
  g.applicationIs("pim");
  EXPECT_EQ(g.application().size(), 2u);
  MulticastGroupInfo h(Ip6Addr("ff02::5"));
  h.applicationIs("pim");
  EXPECT_FALSE(g == h);  // equality takes the application set in
  h.applicationIs("ospf6");
  EXPECT_TRUE(g == h);
  EXPECT_TRUE(g.applicationDel("pim"));
  EXPECT_FALSE(g.applicationDel("pim"));
  const std::string t = Orv::valueToStrep(g);
  EXPECT_EQ(t, "Value('Ip6::MulticastGroupInfo', ** {'address': ff02::5, 'application': {ospf6}})");
  auto out = Orv::NboAttrLog::Out::outIs();
  out << h;
  Orv::NboAttrLog::In in(out->bytes());
  MulticastGroupInfo back;
  in >> back;
  EXPECT_EQ(back, h);
}

TEST(Ip6MulticastGroupInfoDeathTest, NoTextReaderWithACollection) {
  EXPECT_DEATH(Orv::strepToValue<MulticastGroupInfo>("x"),
               "No String constructor for MulticastGroupInfo - has collection");
}

}  // namespace
