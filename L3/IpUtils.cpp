#include <ipmodel/L3/IpUtils.h>

#include <linux/if_addr.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstring>

#include <ipmodel/Lumen/Netlink.h>

namespace Ip {

namespace {

constexpr std::uint16_t addRequestFlags = NLM_F_REQUEST | NLM_F_ACK | NLM_F_REPLACE;

// The IPv4 request as it goes on the wire: header, ifaddrmsg, IFA_LOCAL and
// IFA_BROADCAST, with no padding anywhere.
struct Ip4AddrRequest {
  nlmsghdr hdr;
  ifaddrmsg ifa;
  rtattr localAttr;
  std::uint8_t local[4];
  rtattr broadcastAttr;
  std::uint8_t broadcast[4];
};
static_assert(sizeof(Ip4AddrRequest) == 40);
static_assert(offsetof(Ip4AddrRequest, localAttr) == 24);
static_assert(offsetof(Ip4AddrRequest, broadcastAttr) == 32);

struct Ip6AddrRequest {
  nlmsghdr hdr;
  ifaddrmsg ifa;
  rtattr localAttr;
  std::uint8_t local[16];
};
static_assert(sizeof(Ip6AddrRequest) == 44);
static_assert(offsetof(Ip6AddrRequest, local) == 28);

int send(int fd, nlmsghdr* msg) {
  // The send needs the descriptor only.
  Lumen::netlinkHandle handle;
  handle.fd = fd;
  return Lumen::sendNetlinkMsg(&handle, msg);
}

}  // namespace

int ipAddrAddCommon(int fd, unsigned ifindex, Lumen::IpAddr const& addr, int prefixLen,
                    bool secondary, Lumen::IpAddr const& broadcast, IpAddrScope scope) {
  Ip4AddrRequest req{};
  req.hdr.nlmsg_len = sizeof req;
  req.hdr.nlmsg_type = RTM_NEWADDR;
  req.hdr.nlmsg_flags = addRequestFlags;
  req.ifa.ifa_family = AF_INET;
  req.ifa.ifa_prefixlen = static_cast<std::uint8_t>(prefixLen);
  req.ifa.ifa_flags = secondary ? IFA_F_SECONDARY : 0;
  req.ifa.ifa_scope = static_cast<std::uint8_t>(static_cast<std::uint32_t>(scope));
  req.ifa.ifa_index = ifindex;
  req.localAttr.rta_len = RTA_LENGTH(sizeof req.local);
  req.localAttr.rta_type = IFA_LOCAL;
  std::memcpy(req.local, addr.bytes().data(), sizeof req.local);
  if (broadcast == Lumen::IpAddr()) {
    req.hdr.nlmsg_len -= sizeof req.broadcastAttr + sizeof req.broadcast;
  } else {
    req.broadcastAttr.rta_len = RTA_LENGTH(sizeof req.broadcast);
    req.broadcastAttr.rta_type = IFA_BROADCAST;
    std::memcpy(req.broadcast, broadcast.bytes().data(), sizeof req.broadcast);
  }
  return send(fd, &req.hdr);
}

int ip6AddrAddCommon(int fd, unsigned ifindex, Lumen::Ip6Addr const& addr, int prefixLen) {
  Ip6AddrRequest req{};
  req.hdr.nlmsg_len = sizeof req;
  req.hdr.nlmsg_type = RTM_NEWADDR;
  req.hdr.nlmsg_flags = addRequestFlags;
  req.ifa.ifa_family = AF_INET6;
  req.ifa.ifa_prefixlen = static_cast<std::uint8_t>(prefixLen);
  req.ifa.ifa_index = ifindex;
  req.localAttr.rta_len = RTA_LENGTH(sizeof req.local);
  req.localAttr.rta_type = IFA_LOCAL;
  std::memcpy(req.local, addr.bytes().data(), sizeof req.local);
  return send(fd, &req.hdr);
}

}  // namespace Ip
