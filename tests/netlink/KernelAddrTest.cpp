// Ip::ipAddrAddCommon and Ip::ip6AddrAddCommon against the real kernel, in a
// private network namespace made by a child process: the child programs a
// veth interface, reads the addresses back with an RTM_GETADDR dump and hands
// a report to the parent, where the assertions run.
#include <net/if.h>  // before the linux headers, which defer to it

#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include <gtest/gtest.h>

#include <ipmodel/L3/IpUtils.h>
#include <ipmodel/Lumen/Netlink.h>

namespace {

Ip::IpAddrScope scope(std::uint32_t v) { return static_cast<Ip::IpAddrScope>(v); }

// One address as the kernel reports it.
struct DumpedAddr {
  std::uint8_t family;
  std::uint8_t prefixLen;
  std::uint8_t scope;
  std::uint32_t flags;  // IFA_FLAGS when present, else ifa_flags
  std::uint32_t ifindex;
  std::uint8_t local[16];
  bool hasBroadcast;
  std::uint8_t broadcast[4];
};

// What the child found; plain bytes so it can go through a pipe.
struct Report {
  int unshareErrno;   // the namespace could not be made
  char failure[128];  // a setup step that failed; empty when none
  unsigned ifindex;
  int add4Primary;
  int add4Secondary;
  int add4Host;
  int add4Link;
  int add4Again;
  int add6;
  int add6Again;
  int add4NoIntf;
  int add6NoIntf;
  int add4Prefix300;
  int addAfterOverrun;
  unsigned count;
  DumpedAddr addrs[128];
};
static_assert(std::is_trivially_copyable_v<Report>);

// Builds an rtnetlink request attribute by attribute.
class Request {
 public:
  Request(std::uint16_t type, std::uint16_t flags) {
    hdr()->nlmsg_len = NLMSG_HDRLEN;
    hdr()->nlmsg_type = type;
    hdr()->nlmsg_flags = flags;
  }
  nlmsghdr* hdr() { return reinterpret_cast<nlmsghdr*>(buf_); }
  void put(const void* data, std::size_t len) {
    std::memcpy(buf_ + hdr()->nlmsg_len, data, len);
    hdr()->nlmsg_len += static_cast<std::uint32_t>(NLMSG_ALIGN(len));
  }
  rtattr* attr(std::uint16_t type, const void* data = nullptr, std::size_t len = 0) {
    auto* a = reinterpret_cast<rtattr*>(buf_ + hdr()->nlmsg_len);
    a->rta_type = type;
    a->rta_len = static_cast<std::uint16_t>(RTA_LENGTH(len));
    if (len) std::memcpy(RTA_DATA(a), data, len);
    hdr()->nlmsg_len += static_cast<std::uint32_t>(RTA_SPACE(len));
    return a;
  }
  // Closes a nested attribute opened with attr(type).
  void end(rtattr* nest) {
    nest->rta_len =
        static_cast<std::uint16_t>(buf_ + hdr()->nlmsg_len - reinterpret_cast<std::uint8_t*>(nest));
  }

 private:
  alignas(nlmsghdr) std::uint8_t buf_[1024]{};
};

int openRoute(unsigned groups = 0) {
  int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return -1;
  sockaddr_nl sa{};
  sa.nl_family = AF_NETLINK;
  sa.nl_groups = groups;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

int sendRequest(int fd, Request& req) {
  Lumen::netlinkHandle h{fd};
  return Lumen::sendNetlinkMsg(&h, req.hdr());
}

// Creates the veth pair `name`/`peer` and brings `name` up.
int createVeth(int fd, const char* name, const char* peer) {
  Request req(RTM_NEWLINK, NLM_F_REQUEST | NLM_F_ACK | NLM_F_CREATE | NLM_F_EXCL);
  ifinfomsg ifi{};
  req.put(&ifi, sizeof ifi);
  req.attr(IFLA_IFNAME, name, std::strlen(name) + 1);
  rtattr* linkInfo = req.attr(IFLA_LINKINFO);
  req.attr(IFLA_INFO_KIND, "veth", 4);
  rtattr* data = req.attr(IFLA_INFO_DATA);
  rtattr* peerInfo = req.attr(VETH_INFO_PEER);
  req.put(&ifi, sizeof ifi);
  req.attr(IFLA_IFNAME, peer, std::strlen(peer) + 1);
  req.end(peerInfo);
  req.end(data);
  req.end(linkInfo);
  if (int rc = sendRequest(fd, req); rc != 0) return rc;

  Request up(RTM_NEWLINK, NLM_F_REQUEST | NLM_F_ACK);
  ifi.ifi_index = static_cast<int>(::if_nametoindex(name));
  ifi.ifi_flags = IFF_UP;
  ifi.ifi_change = IFF_UP;
  up.put(&ifi, sizeof ifi);
  return sendRequest(fd, up);
}

// Adds the address of one RTM_NEWADDR message to the report when it belongs
// to interface `ifindex`.
void readAddr(const nlmsghdr* h, unsigned ifindex, Report& r) {
  const auto* ifam = static_cast<const ifaddrmsg*>(NLMSG_DATA(h));
  if (ifam->ifa_index != ifindex || r.count == std::size(r.addrs)) return;
  DumpedAddr& d = r.addrs[r.count++];
  d = DumpedAddr{ifam->ifa_family,
                 ifam->ifa_prefixlen,
                 ifam->ifa_scope,
                 ifam->ifa_flags,
                 ifam->ifa_index,
                 {},
                 false,
                 {}};
  int attrLen = static_cast<int>(IFA_PAYLOAD(h));
  for (const auto* a = IFA_RTA(ifam); RTA_OK(a, attrLen); a = RTA_NEXT(a, attrLen)) {
    std::size_t size = RTA_PAYLOAD(a);
    if (a->rta_type == IFA_LOCAL || (a->rta_type == IFA_ADDRESS && ifam->ifa_family == AF_INET6)) {
      std::memcpy(d.local, RTA_DATA(a), std::min(size, sizeof d.local));
    } else if (a->rta_type == IFA_BROADCAST && size == 4) {
      d.hasBroadcast = true;
      std::memcpy(d.broadcast, RTA_DATA(a), 4);
    } else if (a->rta_type == IFA_FLAGS && size == 4) {
      std::memcpy(&d.flags, RTA_DATA(a), 4);
    }
  }
}

// Reads every address of interface `ifindex` into the report.
bool dumpAddrs(unsigned ifindex, Report& r) {
  int fd = openRoute();
  if (fd < 0) return false;
  timeval tv{5, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  Request req(RTM_GETADDR, NLM_F_REQUEST | NLM_F_DUMP);
  req.hdr()->nlmsg_seq = 1;
  ifaddrmsg ifa{};
  req.put(&ifa, sizeof ifa);
  bool ok = ::send(fd, req.hdr(), req.hdr()->nlmsg_len, 0) >= 0;
  r.count = 0;
  alignas(nlmsghdr) static std::uint8_t buf[65536];
  for (bool done = false; ok && !done;) {
    ssize_t n = ::recv(fd, buf, sizeof buf, 0);
    if (n <= 0) {
      ok = false;
      break;
    }
    auto got = static_cast<std::size_t>(n);
    for (std::size_t off = 0; off + sizeof(nlmsghdr) <= got;) {
      const auto* h = reinterpret_cast<const nlmsghdr*>(buf + off);
      if (h->nlmsg_len < sizeof(nlmsghdr) || h->nlmsg_len > got - off) break;
      if (h->nlmsg_type == NLMSG_DONE) done = true;
      if (h->nlmsg_type == NLMSG_ERROR) ok = false;
      if (h->nlmsg_type == RTM_NEWADDR) readAddr(h, ifindex, r);
      off += NLMSG_ALIGN(h->nlmsg_len);
    }
  }
  ::close(fd);
  return ok;
}

// Everything below runs in the child, inside the new namespace. Address values
// are made by the parent before the fork.
struct Inputs {
  Lumen::IpAddr primary, secondary, host, link, overrun, bcast, none;
  Lumen::Ip6Addr v6;
};

void programAndRead(const Inputs& in, Report& r) {
  auto fail = [&r](const char* what) {
    std::snprintf(r.failure, sizeof r.failure, "%s: %s", what, std::strerror(errno));
  };
  // The socket the helpers use listens to address notifications too: each
  // add queues one ahead of its acknowledgement, which the send must skip.
  int fd = openRoute(RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR);
  if (fd < 0) return fail("netlink socket");
  if (int rc = createVeth(fd, "nlt0", "nlt1"); rc != 0) {
    errno = -rc;
    return fail("creating veth nlt0");
  }
  r.ifindex = ::if_nametoindex("nlt0");

  r.add4Primary = Ip::ipAddrAddCommon(fd, r.ifindex, in.primary, 24, false, in.bcast, scope(0));
  r.add4Secondary = Ip::ipAddrAddCommon(fd, r.ifindex, in.secondary, 24, true, in.none, scope(0));
  r.add4Host = Ip::ipAddrAddCommon(fd, r.ifindex, in.host, 32, false, in.none, scope(254));
  r.add4Link = Ip::ipAddrAddCommon(fd, r.ifindex, in.link, 16, false, in.none, scope(253));
  r.add4Again = Ip::ipAddrAddCommon(fd, r.ifindex, in.primary, 24, false, in.bcast, scope(0));
  r.add6 = Ip::ip6AddrAddCommon(fd, r.ifindex, in.v6, 64);
  r.add6Again = Ip::ip6AddrAddCommon(fd, r.ifindex, in.v6, 64);
  r.add4NoIntf = Ip::ipAddrAddCommon(fd, 999999, in.host, 32, false, in.none, scope(0));
  r.add6NoIntf = Ip::ip6AddrAddCommon(fd, 999999, in.v6, 64);
  // 300 goes out as 44, which the kernel refuses for IPv4.
  r.add4Prefix300 = Ip::ipAddrAddCommon(fd, r.ifindex, in.host, 300, false, in.none, scope(0));
  ::close(fd);

  // A socket whose receive queue overran: the kernel drops the acknowledgement
  // of its own request, and the send must say so rather than wait.
  int small = openRoute(RTMGRP_IPV4_IFADDR);
  int other = openRoute();
  if (small < 0 || other < 0) return fail("netlink socket");
  int size = 1;
  ::setsockopt(small, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
  for (std::uint8_t i = 1; i <= 64; ++i) {
    Lumen::IpAddr a(std::array<std::uint8_t, 4>{10, 99, 0, i});
    if (Ip::ipAddrAddCommon(other, r.ifindex, a, 32, false, in.none, scope(0)) != 0) {
      return fail("filling the notification queue");
    }
  }
  r.addAfterOverrun =
      Ip::ipAddrAddCommon(small, r.ifindex, in.overrun, 32, false, in.none, scope(0));
  ::close(small);
  ::close(other);

  if (!dumpAddrs(r.ifindex, r)) return fail("RTM_GETADDR dump");
}

// Forks a child that makes a network namespace and runs programAndRead in it.
bool runInNamespace(const Inputs& in, Report& r, std::string& error) {
  int p[2];
  if (::pipe(p) != 0) {
    error = "pipe failed";
    return false;
  }
  pid_t pid = ::fork();
  if (pid < 0) {
    error = "fork failed";
    return false;
  }
  if (pid == 0) {
    ::close(p[0]);
    static Report child;
    std::memset(&child, 0, sizeof child);
    if (::unshare(CLONE_NEWNET) != 0) {
      child.unshareErrno = errno;
    } else {
      programAndRead(in, child);
    }
    const auto* out = reinterpret_cast<const char*>(&child);
    for (std::size_t done = 0; done < sizeof child;) {
      ssize_t n = ::write(p[1], out + done, sizeof child - done);
      if (n <= 0) ::_exit(2);
      done += static_cast<std::size_t>(n);
    }
    ::_exit(0);
  }
  ::close(p[1]);
  std::memset(&r, 0, sizeof r);
  std::size_t got = 0;
  auto* into = reinterpret_cast<char*>(&r);
  while (got < sizeof r) {
    ssize_t n = ::read(p[0], into + got, sizeof r - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    got += static_cast<std::size_t>(n);
  }
  ::close(p[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  if (got != sizeof r || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    error = "child did not report (status " + std::to_string(status) + ")";
    return false;
  }
  return true;
}

const DumpedAddr* find(const Report& r, int family, const std::uint8_t* bytes) {
  std::size_t len = family == AF_INET ? 4 : 16;
  for (unsigned i = 0; i < r.count; ++i) {
    if (r.addrs[i].family == family && std::memcmp(r.addrs[i].local, bytes, len) == 0) {
      return &r.addrs[i];
    }
  }
  return nullptr;
}

}  // namespace

TEST(KernelAddr, AddsAndReadsBackInAPrivateNamespace) {
  Inputs in{Lumen::IpAddr("192.0.2.1"),   Lumen::IpAddr("192.0.2.2"),
            Lumen::IpAddr("203.0.113.5"), Lumen::IpAddr("169.254.7.7"),
            Lumen::IpAddr("10.98.0.1"),   Lumen::IpAddr("192.0.2.255"),
            Lumen::IpAddr("0.0.0.0"),     Lumen::Ip6Addr("2001:db8::1")};
  Report r;
  std::string error;
  ASSERT_TRUE(runInNamespace(in, r, error)) << error;
  if (r.unshareErrno != 0) {
    GTEST_SKIP() << "cannot make a network namespace: " << std::strerror(r.unshareErrno);
  }
  ASSERT_STREQ(r.failure, "");

  EXPECT_EQ(r.add4Primary, 0);
  EXPECT_EQ(r.add4Secondary, 0);
  EXPECT_EQ(r.add4Host, 0);
  EXPECT_EQ(r.add4Link, 0);
  EXPECT_EQ(r.add6, 0);
  // The replace flag turns a repeated add into a replacement.
  EXPECT_EQ(r.add4Again, 0);
  EXPECT_EQ(r.add6Again, 0);
  // Kernel errors come back as they are.
  EXPECT_EQ(r.add4NoIntf, -ENODEV);
  EXPECT_EQ(r.add6NoIntf, -ENODEV);
  EXPECT_EQ(r.add4Prefix300, -EINVAL);
  EXPECT_EQ(r.addAfterOverrun, -ENOBUFS);

  const DumpedAddr* primary = find(r, AF_INET, in.primary.bytes().data());
  ASSERT_NE(primary, nullptr);
  EXPECT_EQ(primary->prefixLen, 24);
  EXPECT_EQ(primary->scope, 0);
  EXPECT_EQ(primary->flags & IFA_F_SECONDARY, 0u);
  ASSERT_TRUE(primary->hasBroadcast);
  EXPECT_EQ(0, std::memcmp(primary->broadcast, in.bcast.bytes().data(), 4));

  // A second address in the primary's subnet: the kernel marks it secondary.
  const DumpedAddr* secondary = find(r, AF_INET, in.secondary.bytes().data());
  ASSERT_NE(secondary, nullptr);
  EXPECT_EQ(secondary->prefixLen, 24);
  EXPECT_EQ(secondary->scope, 0);
  EXPECT_NE(secondary->flags & IFA_F_SECONDARY, 0u);
  EXPECT_FALSE(secondary->hasBroadcast);

  const DumpedAddr* host = find(r, AF_INET, in.host.bytes().data());
  ASSERT_NE(host, nullptr);
  EXPECT_EQ(host->prefixLen, 32);
  EXPECT_EQ(host->scope, 254);
  EXPECT_FALSE(host->hasBroadcast);

  const DumpedAddr* link = find(r, AF_INET, in.link.bytes().data());
  ASSERT_NE(link, nullptr);
  EXPECT_EQ(link->prefixLen, 16);
  EXPECT_EQ(link->scope, 253);

  const DumpedAddr* v6 = find(r, AF_INET6, in.v6.bytes().data());
  ASSERT_NE(v6, nullptr);
  EXPECT_EQ(v6->prefixLen, 64);
  EXPECT_EQ(v6->scope, 0);

  // The request whose acknowledgement was lost still took effect.
  EXPECT_NE(find(r, AF_INET, in.overrun.bytes().data()), nullptr);

  // Replacing added nothing: one entry per address.
  unsigned primaries = 0;
  for (unsigned i = 0; i < r.count; ++i) {
    if (r.addrs[i].family == AF_INET &&
        std::memcmp(r.addrs[i].local, in.primary.bytes().data(), 4) == 0) {
      ++primaries;
    }
  }
  EXPECT_EQ(primaries, 1u);
}
