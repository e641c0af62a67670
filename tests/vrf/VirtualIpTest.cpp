// Virtual addresses: pair values (order, hash, text) and the namespace
// check of the per-address children.
#include <gtest/gtest.h>

#include <string>

#include <ipmodel/VirtualIp/VirtualIp.h>

namespace {

using VirtualIp::AcceptMode;
using VirtualIp::VrfIpPair;
using VirtualIp::VrfIpWithMaskPair;

const Lumen::IpGenAddrWithMask kAddr(Lumen::IpAddrWithMask("10.0.0.1/24"));

TEST(VirtualIpValues, PairsOrderHashAndText) {
  const VrfIpPair red(L3::VrfName("red"), Lumen::IpGenAddr(Lumen::IpAddr("10.0.0.1")));
  const VrfIpPair blue(L3::VrfName("blue"), Lumen::IpGenAddr(Lumen::IpAddr("10.0.0.9")));
  EXPECT_TRUE(blue < red);  // by VRF name first
  EXPECT_EQ(red.hash(), red.ip().hash() ^ L3::VrfName("red").hash());
  const VrfIpPair noVrf(L3::VrfName(), red.ip());
  EXPECT_EQ(noVrf.hash(), red.ip().hash());
  EXPECT_TRUE(!VrfIpPair());
  EXPECT_FALSE(!red);

  const VrfIpWithMaskPair m(L3::VrfName("red"), kAddr);
  EXPECT_EQ(m.vrfIp(), red);
  EXPECT_EQ(
      Orv::valueToStrep(m),
      "Value('VirtualIp::VrfIpWithMaskPair', ** {'vrfName': red, 'ipWithMask': 10.0.0.1/24})");
  EXPECT_EQ(Orv::strepToValue<VrfIpWithMaskPair>(Orv::valueToStrep(m)), m);
  EXPECT_EQ(Orv::valueToStrep(red),
            "Value('VirtualIp::VrfIpPair', ** {'vrfName': red, 'ip': 10.0.0.1})");
  EXPECT_THROW(VrfIpPair(L3::VrfName(std::string(101, 'v')), red.ip()), Orv::RangeException);
}

TEST(VirtualIpStatus, ChildrenKeepTheirNamespace) {
  auto status = VirtualIp::virtualIpStatusFactory("vip");
  struct Log : VirtualIp::VirtualIpStatus::NotifieeConst {
    int added = 0;
    void onVirtualIp(const VrfIpWithMaskPair&) override { ++added; }
  } log;
  log.notifierIs(status);
  const VrfIpWithMaskPair key(L3::VrfName("red"), kAddr);
  auto child = status->virtualIpIs(key, Lumen::NamespaceName("ns-red"));
  EXPECT_EQ(status->virtualIpIs(key, Lumen::NamespaceName("ns-red")), child);
  EXPECT_EQ(log.added, 1);
  try {
    status->virtualIpIs(key, Lumen::NamespaceName("ns-blue"));
    FAIL();
  } catch (const Orv::NameInUseException& e) {
    EXPECT_EQ(std::string(e.what()),
              "Reinstantiating the entity with fullName " + child->fullName() +
                  " where constructor parameter attribute 'netNs' has a different value of ns-blue "
                  "than the current value of ns-red not allowed");
  }
  EXPECT_EQ(status->virtualIp(key), child);
  EXPECT_EQ(child->netNs(), Lumen::NamespaceName("ns-red"));

  struct ChildLog : VirtualIp::VirtualIpIntfStatus::NotifieeConst {
    int intf = 0;
    void onIntfIdSet(const Lumen::IntfId&) override { ++intf; }
  } cl;
  cl.notifierIs(child);
  child->intfIdSetIs(Lumen::IntfId("Ethernet1"), AcceptMode::enabled);
  child->intfIdSetIs(Lumen::IntfId("Ethernet1"), AcceptMode::enabled);
  EXPECT_EQ(cl.intf, 1);
  child->intfIdSetIs(Lumen::IntfId("Ethernet1"), AcceptMode::disabled);
  EXPECT_EQ(cl.intf, 2);
  EXPECT_EQ(stringValue(AcceptMode::enabled), "enabled");

  auto six = VirtualIp::virtualIp6StatusFactory("vip6");
  const VrfIpPair key6(L3::VrfName("red"), Lumen::IpGenAddr(Lumen::Ip6Addr("2001:db8::1")));
  auto c6 = six->virtualIpIs(key6, Lumen::NamespaceName("ns-red"));
  EXPECT_THROW(six->virtualIpIs(key6, Lumen::NamespaceName()), Orv::NameInUseException);
  EXPECT_EQ(six->virtualIp().size(), 1u);
  EXPECT_EQ(c6->vrfIp(), key6);
}

}  // namespace
