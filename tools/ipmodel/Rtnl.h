// The program's window on the kernel: link and address dumps, link and
// address notifications, and the extended acknowledgement of a request, all
// over rtnetlink. Every parser checks each length before reading.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Cli {

struct KernelLink {
  unsigned index = 0;
  std::string name;
  std::string kind;     // IFLA_INFO_KIND, "" when the link has none
  unsigned master = 0;  // IFLA_MASTER, 0 without one
};

struct KernelAddr {
  unsigned index = 0;
  int family = 0;                   // AF_INET or AF_INET6
  std::vector<std::uint8_t> local;  // 4 or 16 bytes
  unsigned prefixLen = 0;
  bool secondary = false;
};

// One parsed rtnetlink message: a link or an address, new or deleted.
struct KernelEvent {
  bool removed = false;
  std::optional<KernelLink> link;
  std::optional<KernelAddr> addr;
};

// Parses one datagram of rtnetlink messages, calling `f` for each link or
// address message; others are skipped. Throws std::runtime_error on bytes
// that do not hold together, and for an NLMSG_ERROR carrying an error.
// Returns true when an NLMSG_DONE ended the datagram.
bool parseDatagram(const std::uint8_t* data, std::size_t len,
                   const std::function<void(const KernelEvent&)>& f);

// A NETLINK_ROUTE socket, closed on destruction. `groups` are RTNLGRP_ numbers
// to join. Throws std::runtime_error when the socket cannot be opened.
class RtnlSocket {
 public:
  explicit RtnlSocket(const std::vector<unsigned>& groups = {});
  ~RtnlSocket();
  RtnlSocket(const RtnlSocket&) = delete;
  RtnlSocket& operator=(const RtnlSocket&) = delete;
  int fd() const { return fd_; }

  // Dumps every link, then every address, through `f`.
  void dump(const std::function<void(const KernelEvent&)>& f);
  // Reads one datagram and hands its messages to `f`. Returns false when
  // the read was interrupted by a signal. Throws std::runtime_error on
  // ENOBUFS (notifications were lost) and other errors.
  bool readOnce(const std::function<void(const KernelEvent&)>& f);

 private:
  void dumpOne(int type, const std::function<void(const KernelEvent&)>& f);
  int fd_ = -1;
  std::uint32_t seq_ = 1;
};

}  // namespace Cli
