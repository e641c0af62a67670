// The RTM_NEWADDR requests built by Ip::ipAddrAddCommon and
// Ip::ip6AddrAddCommon, byte for byte, as they reach the socket.
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include <gtest/gtest.h>

#include <ipmodel/Ip/Ip.h>
#include <ipmodel/L3/IpUtils.h>

#include "FakeNetlinkPeer.h"

using namespace NetlinkTest;

namespace {

Ip::IpAddrScope scope(std::uint32_t v) { return static_cast<Ip::IpAddrScope>(v); }

struct Sent {
  int result;
  Bytes bytes;
};

// Runs one helper call against a peer that answers with `error`.
template <typename Call>
Sent capture(int error, Call call) {
  FakeNetlinkPeer peer;
  Responder responder(peer, error);
  int result = call(peer.fd());
  const auto& req = responder.request();
  return {result, req ? *req : Bytes{}};
}

Sent add4(const char* addr, int prefixLen, bool secondary, const char* broadcast,
          std::uint32_t scopeValue, unsigned ifindex = 7, int error = 0) {
  return capture(error, [&](int fd) {
    return Ip::ipAddrAddCommon(fd, ifindex, Lumen::IpAddr(addr), prefixLen, secondary,
                               Lumen::IpAddr(broadcast), scope(scopeValue));
  });
}

}  // namespace

TEST(IpAddrAddCommon, WithBroadcast) {
  Sent s = add4("192.0.2.10", 24, false, "192.0.2.255", 0, 0x01020304);
  EXPECT_EQ(s.result, 0);
  const Bytes expected = {
      40,   0,    0, 0,    // nlmsg_len
      20,   0,             // RTM_NEWADDR
      0x05, 0x01,          // NLM_F_REQUEST | NLM_F_ACK | NLM_F_REPLACE
      0,    0,    0, 0,    // seq
      0,    0,    0, 0,    // pid
      2,    24,   0, 0,    // AF_INET, prefix, flags, scope
      4,    3,    2, 1,    // ifindex
      8,    0,    2, 0,    // IFA_LOCAL
      192,  0,    2, 10,   //
      8,    0,    4, 0,    // IFA_BROADCAST
      192,  0,    2, 255,  //
  };
  EXPECT_EQ(s.bytes, expected);
}

TEST(IpAddrAddCommon, WithoutBroadcastSendsNoBroadcastAttribute) {
  Sent s = add4("10.1.2.3", 8, true, "0.0.0.0", 253, 9);
  EXPECT_EQ(s.result, 0);
  const Bytes expected = {
      32, 0, 0, 0,   20, 0, 0x05, 0x01, 0, 0, 0, 0, 0, 0, 0, 0,  //
      2,  8, 1, 253, 9,  0, 0,    0,                             //
      8,  0, 2, 0,   10, 1, 2,    3,                             //
  };
  EXPECT_EQ(s.bytes, expected);
}

TEST(IpAddrAddCommon, SecondaryFlagIsExactlyIfaFSecondary) {
  for (bool secondary : {false, true}) {
    SCOPED_TRACE(secondary);
    Sent s = add4("198.51.100.1", 30, secondary, "198.51.100.3", 200);
    ASSERT_EQ(s.bytes.size(), 40u);
    EXPECT_EQ(s.bytes[18], secondary ? 0x01 : 0x00);
    EXPECT_EQ(s.bytes[19], 200);
  }
}

TEST(IpAddrAddCommon, ScopeEnumeratorsAreTheKernelsScopeNumbers) {
  const std::pair<Ip::IpAddrScope, int> scopes[] = {{Ip::IpAddrScope::universe, RT_SCOPE_UNIVERSE},
                                                    {Ip::IpAddrScope::site, RT_SCOPE_SITE},
                                                    {Ip::IpAddrScope::link, RT_SCOPE_LINK},
                                                    {Ip::IpAddrScope::host, RT_SCOPE_HOST},
                                                    {Ip::IpAddrScope::nowhere, RT_SCOPE_NOWHERE}};
  for (auto [value, kernelScope] : scopes) {
    Sent s = capture(0, [value = value](int fd) {
      return Ip::ipAddrAddCommon(fd, 1, Lumen::IpAddr("10.0.0.1"), 8, false,
                                 Lumen::IpAddr("10.255.255.255"), value);
    });
    ASSERT_EQ(s.bytes.size(), 40u);
    EXPECT_EQ(s.bytes[19], kernelScope);
  }
}

TEST(IpAddrAddCommon, PassesValuesThroughUnchecked) {
  // Only the low byte of the prefix length and of the scope fit the message.
  Sent s = add4("10.0.0.1", 300, false, "0.0.0.0", 0x1fe);
  ASSERT_EQ(s.bytes.size(), 32u);
  EXPECT_EQ(s.bytes[17], 44);
  EXPECT_EQ(s.bytes[19], 0xfe);
  s = add4("10.0.0.1", -1, false, "0.0.0.0", 0);
  ASSERT_EQ(s.bytes.size(), 32u);
  EXPECT_EQ(s.bytes[17], 0xff);
  // A broadcast that is set but odd still goes out as given.
  s = add4("0.0.0.0", 0, false, "255.255.255.255", 0, 0xffffffffu);
  ASSERT_EQ(s.bytes.size(), 40u);
  EXPECT_EQ(Bytes(s.bytes.begin() + 20, s.bytes.begin() + 24), (Bytes{0xff, 0xff, 0xff, 0xff}));
  EXPECT_EQ(Bytes(s.bytes.begin() + 28, s.bytes.begin() + 32), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(Bytes(s.bytes.begin() + 36, s.bytes.end()), (Bytes{0xff, 0xff, 0xff, 0xff}));
}

TEST(IpAddrAddCommon, ReturnsTheSendResult) {
  EXPECT_EQ(add4("10.0.0.1", 24, false, "0.0.0.0", 0, 7, -EEXIST).result, -EEXIST);

  int closed = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  ASSERT_GE(closed, 0);
  ::close(closed);
  EXPECT_EQ(Ip::ipAddrAddCommon(closed, 1, Lumen::IpAddr("10.0.0.1"), 24, false,
                                Lumen::IpAddr("0.0.0.0"), scope(0)),
            -EBADF);
  EXPECT_EQ(Ip::ip6AddrAddCommon(closed, 1, Lumen::Ip6Addr("2001:db8::1"), 64), -EBADF);
}

TEST(Ip6AddrAddCommon, Request) {
  Sent s = capture(0, [](int fd) {
    return Ip::ip6AddrAddCommon(fd, 0x0a0b, Lumen::Ip6Addr("2001:db8::1"), 64);
  });
  EXPECT_EQ(s.result, 0);
  const Bytes expected = {
      44,   0,    0,    0,    20,   0,    0x05, 0x01, 0, 0, 0, 0, 0, 0, 0, 0,  //
      10,   64,   0,    0,    0x0b, 0x0a, 0,    0,                             //
      20,   0,    2,    0,                                                     //
      0x20, 0x01, 0x0d, 0xb8, 0,    0,    0,    0,    0, 0, 0, 0, 0, 0, 0, 1,  //
  };
  EXPECT_EQ(s.bytes, expected);
}

TEST(Ip6AddrAddCommon, PassesValuesThroughAndReturnsTheSendResult) {
  Sent s = capture(-ENODEV, [](int fd) {
    return Ip::ip6AddrAddCommon(fd, 3, Lumen::Ip6Addr("fe80::aa:bbff:fecc:ddee"), 0x180);
  });
  EXPECT_EQ(s.result, -ENODEV);
  ASSERT_EQ(s.bytes.size(), 44u);
  EXPECT_EQ(s.bytes[17], 0x80);
  EXPECT_EQ(s.bytes[18], 0);
  EXPECT_EQ(s.bytes[19], 0);
  const Bytes addr = {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0xaa, 0xbb, 0xff, 0xfe, 0xcc, 0xdd, 0xee};
  EXPECT_EQ(Bytes(s.bytes.begin() + 28, s.bytes.end()), addr);
}
