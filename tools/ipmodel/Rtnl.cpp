#include "Rtnl.h"

#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>

namespace Cli {

namespace {

std::runtime_error errnoError(const char* what, int err) {
  return std::runtime_error(std::string(what) + ": " + std::strerror(err));
}

// Calls f(type, payload, payloadLen) for each attribute in [data, data+len).
template <class F>
void forEachAttr(const std::uint8_t* data, std::size_t len, F&& f) {
  std::size_t off = 0;
  while (len - off >= sizeof(rtattr)) {
    rtattr a;
    std::memcpy(&a, data + off, sizeof a);
    if (a.rta_len < sizeof(rtattr) || a.rta_len > len - off) {
      throw std::runtime_error("malformed rtnetlink attribute");
    }
    f(a.rta_type & NLA_TYPE_MASK, data + off + RTA_LENGTH(0), a.rta_len - RTA_LENGTH(0));
    off += RTA_ALIGN(a.rta_len);
    if (off > len) break;
  }
}

std::string attrString(const std::uint8_t* p, std::size_t n) {
  std::size_t end = 0;
  while (end < n && p[end] != 0) ++end;
  return std::string(reinterpret_cast<const char*>(p), end);
}

// The fixed header H at the start of a message body; its attributes follow
// at NLMSG_ALIGN(sizeof(H)).
template <class H>
H fixedHeader(const std::uint8_t* body, std::size_t len, const char* what) {
  if (len < NLMSG_ALIGN(sizeof(H))) throw std::runtime_error(std::string("short ") + what);
  H h;
  std::memcpy(&h, body, sizeof h);
  return h;
}

unsigned attrU32(const std::uint8_t* p, std::size_t n) {
  return fixedHeader<std::uint32_t>(p, n, "rtnetlink attribute");
}

KernelLink parseLink(const std::uint8_t* body, std::size_t len) {
  const auto ifi = fixedHeader<ifinfomsg>(body, len, "link message");
  KernelLink link;
  link.index = static_cast<unsigned>(ifi.ifi_index);
  const std::size_t head = NLMSG_ALIGN(sizeof ifi);
  forEachAttr(body + head, len - head, [&](unsigned type, const std::uint8_t* p, std::size_t n) {
    if (type == IFLA_IFNAME) {
      link.name = attrString(p, n);
    } else if (type == IFLA_MASTER) {
      link.master = attrU32(p, n);
    } else if (type == IFLA_LINKINFO) {
      forEachAttr(p, n, [&](unsigned t, const std::uint8_t* q, std::size_t m) {
        if (t == IFLA_INFO_KIND) link.kind = attrString(q, m);
      });
    }
  });
  return link;
}

KernelAddr parseAddr(const std::uint8_t* body, std::size_t len) {
  const auto ifa = fixedHeader<ifaddrmsg>(body, len, "address message");
  KernelAddr addr;
  addr.index = ifa.ifa_index;
  addr.family = ifa.ifa_family;
  addr.prefixLen = ifa.ifa_prefixlen;
  std::uint32_t flags = ifa.ifa_flags;
  const std::size_t want = ifa.ifa_family == AF_INET ? 4 : ifa.ifa_family == AF_INET6 ? 16 : 0;
  std::vector<std::uint8_t> address;
  const std::size_t head = NLMSG_ALIGN(sizeof ifa);
  forEachAttr(body + head, len - head, [&](unsigned type, const std::uint8_t* p, std::size_t n) {
    if ((type == IFA_LOCAL || type == IFA_ADDRESS) && n == want && want != 0) {
      // IFA_LOCAL is the interface's own address; IFA_ADDRESS is the peer on
      // point-to-point links and the only one given for IPv6.
      if (type == IFA_LOCAL || addr.local.empty()) addr.local.assign(p, p + n);
      if (type == IFA_LOCAL) address.assign(p, p + n);
    } else if (type == IFA_FLAGS) {
      flags = attrU32(p, n);
    }
  });
  if (!address.empty()) addr.local = address;
  addr.secondary = (flags & IFA_F_SECONDARY) != 0;
  return addr;
}

}  // namespace

bool parseDatagram(const std::uint8_t* data, std::size_t len,
                   const std::function<void(const KernelEvent&)>& f) {
  std::size_t off = 0;
  while (len - off >= sizeof(nlmsghdr)) {
    nlmsghdr h;
    std::memcpy(&h, data + off, sizeof h);
    if (h.nlmsg_len < sizeof h || h.nlmsg_len > len - off) {
      throw std::runtime_error("malformed rtnetlink message");
    }
    const std::uint8_t* body = data + off + NLMSG_HDRLEN;
    const std::size_t bodyLen = h.nlmsg_len - NLMSG_HDRLEN;
    switch (h.nlmsg_type) {
      case NLMSG_DONE:
        return true;
      case NLMSG_ERROR: {
        const auto e = fixedHeader<nlmsgerr>(body, bodyLen, "netlink error message");
        // The kernel sends a negative errno. INT_MIN has no negation and can
        // only come from a broken peer: it is reported as a protocol error.
        if (e.error != 0) throw errnoError("netlink dump", e.error == INT_MIN ? EPROTO : -e.error);
        break;
      }
      case RTM_NEWLINK:
      case RTM_DELLINK: {
        KernelEvent ev;
        ev.removed = h.nlmsg_type == RTM_DELLINK;
        ev.link = parseLink(body, bodyLen);
        f(ev);
        break;
      }
      case RTM_NEWADDR:
      case RTM_DELADDR: {
        KernelEvent ev;
        ev.removed = h.nlmsg_type == RTM_DELADDR;
        ev.addr = parseAddr(body, bodyLen);
        if (ev.addr->local.empty()) break;  // a family this program does not model
        f(ev);
        break;
      }
      default:
        break;
    }
    off += NLMSG_ALIGN(h.nlmsg_len);
    if (off > len) break;
  }
  return false;
}

RtnlSocket::RtnlSocket(const std::vector<unsigned>& groups) {
  fd_ = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd_ < 0) throw errnoError("cannot open rtnetlink socket", errno);
  int one = 1;
  // Extended acknowledgements carry the kernel's own text for a refusal.
  ::setsockopt(fd_, SOL_NETLINK, NETLINK_EXT_ACK, &one, sizeof one);
  // Room for bursts of notifications; beyond the system's limit when the
  // caller may (root).
  int size = 4 << 20;
  if (::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) != 0) {
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
  }
  sockaddr_nl local{};
  local.nl_family = AF_NETLINK;
  if (::bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local) < 0) {
    int err = errno;
    ::close(fd_);
    throw errnoError("cannot bind rtnetlink socket", err);
  }
  for (unsigned g : groups) {
    if (::setsockopt(fd_, SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &g, sizeof g) < 0) {
      int err = errno;
      ::close(fd_);
      throw errnoError("cannot join rtnetlink group", err);
    }
  }
}

RtnlSocket::~RtnlSocket() { ::close(fd_); }

void RtnlSocket::dump(const std::function<void(const KernelEvent&)>& f) {
  dumpOne(RTM_GETLINK, f);
  dumpOne(RTM_GETADDR, f);
}

void RtnlSocket::dumpOne(int type, const std::function<void(const KernelEvent&)>& f) {
  struct {
    nlmsghdr hdr;
    ifaddrmsg body;  // the same leading family byte serves a link dump
  } req{};
  req.hdr.nlmsg_len = sizeof req;
  req.hdr.nlmsg_type = static_cast<std::uint16_t>(type);
  req.hdr.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  req.hdr.nlmsg_seq = seq_++;
  req.body.ifa_family = AF_UNSPEC;
  if (type == RTM_GETLINK) {
    struct {
      nlmsghdr hdr;
      ifinfomsg body;
    } link{};
    link.hdr = req.hdr;
    link.hdr.nlmsg_len = sizeof link;
    if (::send(fd_, &link, sizeof link, 0) < 0) throw errnoError("netlink send", errno);
  } else if (::send(fd_, &req, sizeof req, 0) < 0) {
    throw errnoError("netlink send", errno);
  }
  std::vector<std::uint8_t> buf(64 * 1024);
  for (bool done = false; !done;) {
    ssize_t n = ::recv(fd_, buf.data(), buf.size(), 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      throw errnoError("netlink receive", errno);
    }
    done = parseDatagram(buf.data(), static_cast<std::size_t>(n), f);
  }
}

bool RtnlSocket::readOnce(const std::function<void(const KernelEvent&)>& f) {
  alignas(nlmsghdr) static std::uint8_t buf[64 * 1024];
  ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
  if (n < 0) {
    if (errno == EINTR) return false;
    if (errno == ENOBUFS) {
      throw std::runtime_error("kernel notifications were lost (receive buffer overrun)");
    }
    throw errnoError("netlink receive", errno);
  }
  parseDatagram(buf, static_cast<std::size_t>(n), f);
  return true;
}

}  // namespace Cli
