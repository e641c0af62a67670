// A datagram socket pair standing in for the kernel's end of a netlink socket:
// the code under test sends on fd(), the test reads what arrived with take()
// and writes answers with queue() or through a Responder thread.
#pragma once

#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace NetlinkTest {

using Bytes = std::vector<std::uint8_t>;

class FakeNetlinkPeer {
 public:
  FakeNetlinkPeer() {
    if (::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, fds_) != 0) fds_[0] = fds_[1] = -1;
    // The peer never waits long: a test whose request never comes must fail,
    // not hang.
    timeval tv{10, 0};
    ::setsockopt(fds_[1], SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  }
  ~FakeNetlinkPeer() {
    for (int fd : fds_)
      if (fd >= 0) ::close(fd);
  }
  FakeNetlinkPeer(const FakeNetlinkPeer&) = delete;
  FakeNetlinkPeer& operator=(const FakeNetlinkPeer&) = delete;

  bool ok() const { return fds_[0] >= 0; }
  // The descriptor handed to the code under test.
  int fd() const { return fds_[0]; }

  // Queues one datagram for the code under test to read.
  void queue(const Bytes& datagram) const {
    (void)::send(fds_[1], datagram.data(), datagram.size(), 0);
  }
  // Next datagram sent by the code under test; nothing when none comes
  // (blocking waits at most the receive timeout).
  std::optional<Bytes> take(bool wait = false) const {
    Bytes buf(65536);
    ssize_t n = ::recv(fds_[1], buf.data(), buf.size(), wait ? 0 : MSG_DONTWAIT);
    if (n < 0) return std::nullopt;
    buf.resize(static_cast<std::size_t>(n));
    return buf;
  }
  // Datagrams still waiting for the code under test.
  bool pendingForCaller() const {
    std::uint8_t b;
    return ::recv(fds_[0], &b, 1, MSG_DONTWAIT | MSG_PEEK) >= 0;
  }

 private:
  int fds_[2];
};

inline nlmsghdr headerOf(const Bytes& msg) {
  nlmsghdr h{};
  std::memcpy(&h, msg.data(), std::min(msg.size(), sizeof h));
  return h;
}

// An NLMSG_ERROR message answering the request whose header is `req`
// (error 0 is an acknowledgement). `echoedPayload` is appended after the
// echoed header, as the kernel does when the socket did not ask for capped
// acknowledgements.
inline Bytes answer(const nlmsghdr& req, int error, const Bytes& echoedPayload = {}) {
  nlmsghdr h{};
  h.nlmsg_len = static_cast<std::uint32_t>(NLMSG_HDRLEN + sizeof(nlmsgerr) + echoedPayload.size());
  h.nlmsg_type = NLMSG_ERROR;
  h.nlmsg_seq = req.nlmsg_seq;
  h.nlmsg_pid = req.nlmsg_pid;
  nlmsgerr e{};
  e.error = error;
  e.msg = req;
  Bytes out(NLMSG_HDRLEN + sizeof e);
  std::memcpy(out.data(), &h, sizeof h);
  std::memcpy(out.data() + NLMSG_HDRLEN, &e, sizeof e);
  out.insert(out.end(), echoedPayload.begin(), echoedPayload.end());
  return out;
}

// Answers one request on its own thread: waits for it, keeps its bytes,
// queues `before` (unrelated datagrams), then the answer with `error`.
class Responder {
 public:
  Responder(const FakeNetlinkPeer& peer, int error, std::vector<Bytes> before = {})
      : thread_([&peer, error, before = std::move(before), this] {
          request_ = peer.take(true);
          if (!request_ || request_->size() < sizeof(nlmsghdr)) return;
          for (const auto& d : before) peer.queue(d);
          peer.queue(answer(headerOf(*request_), error));
        }) {}
  ~Responder() { join(); }
  // The request as it reached the peer (joins the thread first).
  const std::optional<Bytes>& request() {
    join();
    return request_;
  }

 private:
  void join() {
    if (thread_.joinable()) thread_.join();
  }
  std::optional<Bytes> request_;
  std::thread thread_;
};

}  // namespace NetlinkTest
