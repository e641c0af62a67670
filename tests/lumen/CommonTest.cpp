// The interface every Lumen value type shares: text and attribute-log round
// trips, defaults, hashing and failed reads leaving the target untouched.
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include <ipmodel/Lumen/Lumen.h>

#include "LumenTestUtil.h"

using namespace Lumen;

namespace {

// Canonical texts of non-default values, in ascending order.
template <class T>
std::vector<std::string> samples();
template <>
std::vector<std::string> samples<IntfId>() {
  return {"Ethernet1", "Ethernet1/1", "Ethernet10", "Port-Channel5", "Vlan100"};
}
template <>
std::vector<std::string> samples<LoopbackIntfId>() {
  return {"Loopback", "Loopback0", "Loopback100", "Loopback2"};
}
template <>
std::vector<std::string> samples<IpAddr>() {
  return {"0.0.0.1", "9.255.255.255", "10.0.0.0", "224.0.0.5", "255.255.255.255"};
}
template <>
std::vector<std::string> samples<IpAddrWithMask>() {
  return {"0.0.0.0/32", "10.0.0.1/8", "10.0.0.1/24", "10.0.0.2/0", "255.255.255.255/32"};
}
template <>
std::vector<std::string> samples<Prefix>() {
  return {"0.0.0.0/1", "10.0.0.0/8", "10.0.0.0/16", "128.0.0.0/1", "255.255.255.255/32"};
}
template <>
std::vector<std::string> samples<Ip6Addr>() {
  return {"::1", "::ffff:10.0.0.1", "2001:db8::1", "fe80::1:2",
          "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"};
}
template <>
std::vector<std::string> samples<Ip6AddrWithMask>() {
  return {"::/128", "::1/0", "2001:db8::1/64", "2001:db8::1/128", "fe80::1/10"};
}
template <>
std::vector<std::string> samples<Ip6Prefix>() {
  return {"::/128", "2001:db8::/32", "2002::/16", "fe80::/10", "ff00::/8"};
}
template <>
std::vector<std::string> samples<IpGenAddr>() {
  return {"0.0.0.0", "10.0.0.1", "::", "::ffff:10.0.0.1", "2001:db8::1"};
}
template <>
std::vector<std::string> samples<IpGenAddrWithMask>() {
  return {"0.0.0.0/0", "10.0.0.1/24", "::/0", "2001:db8::1/64", "2001:db8::1/128"};
}
template <>
std::vector<std::string> samples<RouteDistinguisher>() {
  return {"0:1", "65535:4294967295", "0.0.0.0:0", "10.0.0.1:7", "65536:0", "4294967295:65535"};
}
template <>
std::vector<std::string> samples<NamespaceName>() {
  return {"a", "mgmt", "ns 1", "ns1"};
}
template <>
std::vector<std::string> samples<L3::VrfName>() {
  return {"blue", "default", "red", "vrf,with,commas"};
}

template <class T>
class ValueTypeTest : public ::testing::Test {};

using ValueTypes = ::testing::Types<IntfId, LoopbackIntfId, IpAddr, IpAddrWithMask, Prefix, Ip6Addr,
                                    Ip6AddrWithMask, Ip6Prefix, IpGenAddr, IpGenAddrWithMask,
                                    RouteDistinguisher, NamespaceName, L3::VrfName>;
TYPED_TEST_SUITE(ValueTypeTest, ValueTypes);

TYPED_TEST(ValueTypeTest, DefaultValue) {
  using T = TypeParam;
  const T d;
  EXPECT_TRUE(!d);
  EXPECT_EQ(T(valueToStrep(d)), d);
  T parsed(samples<T>().front());
  ASSERT_TRUE(T::tryParse(valueToStrep(d), parsed));
  EXPECT_EQ(parsed, d);
}

TYPED_TEST(ValueTypeTest, TextRoundTripAndOrder) {
  using T = TypeParam;
  std::vector<T> values;
  for (const auto& text : samples<T>()) {
    SCOPED_TRACE(text);
    const T v(text);
    EXPECT_FALSE(!v);
    EXPECT_EQ(valueToStrep(v), text);
    std::ostringstream os;
    os << v;
    EXPECT_EQ(os.str(), text);
    T parsed;
    ASSERT_TRUE(T::tryParse(text, parsed));
    EXPECT_EQ(parsed, v);
    T copy = v;
    T moved = std::move(copy);
    EXPECT_EQ(moved, v);
    EXPECT_EQ(std::hash<T>()(v), v.hash());
    EXPECT_EQ(T(text).hash(), v.hash());
    values.push_back(v);
  }
  for (std::size_t i = 1; i < values.size(); ++i) {
    EXPECT_TRUE(values[i - 1] < values[i]) << samples<T>()[i - 1] << " < " << samples<T>()[i];
    EXPECT_FALSE(values[i] < values[i - 1]);
    EXPECT_FALSE(values[i - 1] == values[i]);
    EXPECT_TRUE(T() < values[i]);
  }
  std::unordered_set<T> set(values.begin(), values.end());
  EXPECT_EQ(set.size(), values.size());
}

TYPED_TEST(ValueTypeTest, AttrLogRoundTripAndTruncation) {
  using T = TypeParam;
  std::vector<T> values{T()};
  for (const auto& text : samples<T>()) values.emplace_back(text);
  const T marker(samples<T>().back());
  for (const T& v : values) {
    SCOPED_TRACE(valueToStrep(v));
    Orv::NboAttrLog::Out out;
    out << v;
    Orv::NboAttrLog::In in(out.bytes());
    T back = marker;
    in >> back;
    EXPECT_EQ(back, v);
    EXPECT_TRUE(in.atEnd());
    for (std::size_t cut = 0; cut < out.size(); ++cut) {
      Orv::NboAttrLog::In shortIn(out.bytes().data(), cut);
      T target = marker;
      EXPECT_THROW(shortIn >> target, Orv::NboAttrLogException) << "cut at " << cut;
      EXPECT_EQ(target, marker) << "a failed read changed the target";
    }
  }
}

// Pinned values: a seed or algorithm change would reorder every hashed
// collection, so it must show up here. Computed independently of the library.
TEST(LumenHash, FixedValues) {
  EXPECT_EQ(IpAddr("10.0.0.1").hash(), 0x1b0ba38fu);
  EXPECT_EQ(IpAddrWithMask("10.0.0.1/24").hash(), 0x3e214177u);
  EXPECT_EQ(Ip6Addr("2001:db8::1").hash(), 0xbc42cf98u);
  EXPECT_EQ(Ip6Prefix("fe80::/10").hash(), 0x9eaf25feu);
  EXPECT_EQ(IntfId("Ethernet1").hash(), 0x97d610d6u);
  EXPECT_EQ(L3::VrfName::defaultVrf().hash(), 0x42c9679fu);
  EXPECT_EQ(NamespaceName("ns1").hash(), 0xa0542beau);
  EXPECT_EQ(RouteDistinguisher("65000:100").hash(), 0x85aa58b4u);
  // The generic forms hash like the family type they hold.
  EXPECT_EQ(IpGenAddr("10.0.0.1").hash(), 0x1b0ba38fu);
  EXPECT_EQ(IpGenAddr("2001:db8::1").hash(), 0xbc42cf98u);
  EXPECT_EQ(IpGenAddrWithMask("10.0.0.1/24").hash(), 0x3e214177u);
}

// Collisions when n keys are dropped into 2^17 buckets by the low bits and by
// the high bits of their hash. A uniform hash of 100k keys gives about 30000.
template <class F>
void expectSpread(F keyHash) {
  constexpr std::uint32_t n = 100000, buckets = 1u << 17;
  std::vector<bool> low(buckets), high(buckets);
  std::uint32_t lowCollisions = 0, highCollisions = 0;
  for (std::uint32_t i = 1; i <= n; ++i) {
    const std::uint32_t h = keyHash(i);
    lowCollisions += low[h & (buckets - 1)];
    low[h & (buckets - 1)] = true;
    highCollisions += high[h >> 15];
    high[h >> 15] = true;
  }
  EXPECT_LT(lowCollisions, 31000u);
  EXPECT_LT(highCollisions, 31000u);
}

TEST(LumenHash, Spread) {
  expectSpread([](std::uint32_t i) { return IpAddr::fromHostOrder(0x0a000000 + i).hash(); });
  expectSpread([](std::uint32_t i) {
    return IpAddrWithMask(IpAddr::fromHostOrder(0x0a000000 + i), 32).hash();
  });
  expectSpread([](std::uint32_t i) {
    Ip6Addr::Bytes b{0x20, 0x01, 0x0d, 0xb8};
    b[13] = std::uint8_t(i >> 16), b[14] = std::uint8_t(i >> 8), b[15] = std::uint8_t(i);
    return Ip6Addr(b).hash();
  });
  expectSpread([](std::uint32_t i) { return IntfId("Ethernet" + std::to_string(i)).hash(); });
  expectSpread([](std::uint32_t i) { return L3::VrfName("vrf" + std::to_string(i)).hash(); });
  expectSpread([](std::uint32_t i) { return RouteDistinguisher::type0(65000, i).hash(); });
}

}  // namespace
