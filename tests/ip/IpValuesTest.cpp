// IPv4 enumerations and value types: enumerator tables, order, hashing,
// textual and attribute-log forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include <ipmodel/Ip/Ip.h>

namespace {

using Ip::IntfAddrInfo;
using Ip::MulticastGroupInfo;
using Lumen::IntfId;
using Lumen::IpAddr;

TEST(IpEnums, ScopesCarryTheKernelNumbers) {
  EXPECT_EQ(Ip::IpAddrScopeInstance(200u), Ip::IpAddrScope::site);
  EXPECT_EQ(stringValue(Ip::IpAddrScopeInstance(200u)), "site");
  EXPECT_EQ(stringValue(Ip::IpAddrScope::nowhere), "nowhere");
  EXPECT_EQ(stringValue(Ip::IpAddrScopeInstance(254u)), "host");
  EXPECT_EQ(static_cast<unsigned>(Ip::IpAddrScopeInstance(Orv::String("link"))), 253u);
  EXPECT_THROW(Ip::IpAddrScopeInstance(1u), Orv::RangeException);
  EXPECT_THROW(Ip::IpAddrScopeInstance(Orv::String("global")), Orv::RangeException);
  EXPECT_EQ(Ip::TristateBool(), Ip::TristateBool::isInvalid);
  EXPECT_EQ(Orv::valueToStrep(Ip::TristateBool::isTrue), "isTrue");
  EXPECT_EQ(Orv::valueToStrep(Ip::AddrSource::dhcp), "dhcp");
  Ip::AddrSource a;
  const std::string t = "dhcp";
  sequenceToValue(t.data(), t.data() + t.size(), &a);
  EXPECT_EQ(a, Ip::AddrSource::dhcp);
  EXPECT_THROW(sequenceToValue(t.data(), t.data() + 3, &a), Orv::StrepReadException);
  EXPECT_EQ(Ip::_orvType_IpAddrScope.enumeratorCount, 5);
}

TEST(IpIntfAddrInfo, OrdersByInterfaceThenAddress) {
  IntfAddrInfo a(IntfId("Ethernet1"), IpAddr("10.0.0.2"));
  IntfAddrInfo b(IntfId("Ethernet1"), IpAddr("10.0.0.10"));
  IntfAddrInfo c(IntfId("Ethernet2"), IpAddr("1.0.0.1"));
  EXPECT_TRUE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_TRUE(b < c);  // interface decides before address
  EXPECT_TRUE(a == IntfAddrInfo(IntfId("Ethernet1"), IpAddr("10.0.0.2")));
  EXPECT_TRUE(!IntfAddrInfo());
  EXPECT_FALSE(!a);
  EXPECT_EQ(a.hash(), IntfId("Ethernet1").hash() + IpAddr("10.0.0.2").hash());
  std::set<std::uint32_t> hashes;
  for (int i = 0; i < 1000; ++i) {
    hashes.insert(IntfAddrInfo(IntfId("Ethernet" + std::to_string(i % 10)),
                               IpAddr::fromHostOrder(0x0a000000u + static_cast<unsigned>(i)))
                      .hash());
  }
  EXPECT_GT(hashes.size(), 990u);
}

TEST(IpIntfAddrInfo, TextFormReadsBackAndRefusesTrailingText) {
  IntfAddrInfo a(IntfId("Ethernet3/1"), IpAddr("192.168.1.1"));
  const std::string t = Orv::valueToStrep(a);
  EXPECT_EQ(t, "Value('Ip::IntfAddrInfo', ** {'intfId': Ethernet3/1, 'addr': 192.168.1.1})");
  EXPECT_EQ(Orv::strepToValue<IntfAddrInfo>(t), a);
  std::ostringstream os;
  os << a;
  EXPECT_EQ(os.str(), t);
  EXPECT_THROW(Orv::strepToValue<IntfAddrInfo>(t + "x"), Orv::StrepReadException);
  try {
    Orv::strepToValue<IntfAddrInfo>(
        "Value('Ip::IntfAddrInfo', ** {'intfId': Ethernet1, 'addr': 300.1.1.1})");
    FAIL();
  } catch (const Orv::StrepReadException& e) {
    EXPECT_EQ(e.attribute(), "addr");
  }
  try {
    Orv::strepToValue<IntfAddrInfo>(
        "Value('Ip::IntfAddrInfo', ** {'intfId': a b, 'addr': 1.1.1.1})");
    FAIL();
  } catch (const Orv::StrepReadException& e) {
    EXPECT_EQ(e.attribute(), "intfId");
  }
  EXPECT_THROW(Orv::strepToValue<IntfAddrInfo>("Value('Ip::IntfAddrInfo', ** {'addr': 1.1.1.1})"),
               Orv::StrepReadException);
}

TEST(IpIntfAddrInfo, AttributeLogIsInterfaceThenAddress) {
  IntfAddrInfo a(IntfId("Vlan10"), IpAddr("10.1.1.1"));
  auto out = Orv::NboAttrLog::Out::outIs();
  out << a;
  auto ref = Orv::NboAttrLog::Out::outIs();
  ref << IntfId("Vlan10") << IpAddr("10.1.1.1");
  EXPECT_EQ(out->bytes(), ref->bytes());
  Orv::NboAttrLog::In in(out->bytes());
  EXPECT_EQ(IntfAddrInfo(in), a);
}

TEST(IpMulticastGroupInfo, ValidityEqualityAndForms) {
  EXPECT_TRUE(MulticastGroupInfo(IpAddr("224.0.0.5")).isValid());
  EXPECT_FALSE(MulticastGroupInfo(IpAddr("10.0.0.1")).isValid());
  MulticastGroupInfo a(IpAddr("239.1.1.1")), b(IpAddr("239.1.1.1"));
  a.applicationIs("ospf");
  EXPECT_FALSE(a == b);
  b.applicationIs("ospf");
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a == a);
  EXPECT_TRUE(!MulticastGroupInfo());
  EXPECT_FALSE(!a);
  a.applicationIs("ospf");
  EXPECT_EQ(a.application().size(), 1u);
  EXPECT_EQ(Orv::valueToStrep(a),
            "Value('Ip::MulticastGroupInfo', ** {'address': 239.1.1.1, 'application': {ospf}})");

  // Attribute log: the address, each application, then an empty terminator.
  auto out = Orv::NboAttrLog::Out::outIs();
  out << a;
  auto ref = Orv::NboAttrLog::Out::outIs();
  ref << IpAddr("239.1.1.1") << std::string("ospf") << std::string();
  EXPECT_EQ(out->bytes(), ref->bytes());
  Orv::NboAttrLog::In in(out->bytes());
  EXPECT_EQ(MulticastGroupInfo(in), a);
  EXPECT_TRUE(a.applicationDel("ospf"));
  EXPECT_FALSE(a.applicationDel("ospf"));
}

TEST(IpMulticastGroupInfoDeathTest, HasNoTextReaderAndNoEmptyApplication) {
  EXPECT_DEATH(Orv::strepToValue<MulticastGroupInfo>("x"),
               "No String constructor for MulticastGroupInfo - has collection");
  MulticastGroupInfo g(IpAddr("224.0.0.1"));
  g.applicationIs("");
  auto out = Orv::NboAttrLog::Out::outIs();
  EXPECT_DEATH(out << g, "Default key not supported in collection inside nominal");
}

}  // namespace
