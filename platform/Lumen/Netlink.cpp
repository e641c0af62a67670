#include <ipmodel/Lumen/Netlink.h>

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <ipmodel/Orv/Assert.h>

namespace Lumen {

namespace {

using Clock = std::chrono::steady_clock;

// Size of the receive buffer. Answers to requests are small; a longer datagram
// (a notification, or an error answer that echoes a long request) is cut to
// this size, and of a cut message only its leading part is looked at, which
// still holds the echoed header of an answer.
constexpr std::size_t recvBufferSize = 8192;

// Waits until fd is ready for `events` (or has an error pending) or the
// deadline passes. Returns 1 when ready, 0 at the deadline, or a negative errno.
int waitFor(int fd, short events, Clock::time_point deadline) {
  for (;;) {
    auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    int ms = left > 0 ? static_cast<int>(std::min<decltype(left)>(left, INT_MAX)) : 0;
    pollfd p{fd, events, 0};
    int n = ::poll(&p, 1, ms);
    if (n < 0) {
      if (errno == EINTR) continue;
      return -errno;
    }
    if (n == 0) {
      if (ms == 0) return 0;
      continue;  // recompute what is left rather than trust poll's rounding
    }
    if (p.revents & POLLNVAL) return -EBADF;
    if (p.revents & (events | POLLERR)) return 1;
    if (p.revents & POLLHUP) return -ECONNRESET;
  }
}

// Sends the message as one datagram, waiting (up to the deadline) while the
// socket has no room for it.
int sendWhole(int fd, const nlmsghdr* msg, Clock::time_point deadline) {
  for (;;) {
    ssize_t n = ::send(fd, msg, msg->nlmsg_len, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (n >= 0) return static_cast<std::size_t>(n) == msg->nlmsg_len ? 0 : -EMSGSIZE;
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return -errno;
    int ready = waitFor(fd, POLLOUT, deadline);
    if (ready == 0) return -ETIMEDOUT;
    if (ready < 0) return ready;
  }
}

thread_local std::string lastAckMessage;

// The NLMSGERR_ATTR_MSG text among the attributes that follow an
// acknowledgement's nlmsgerr (`msgLen` bytes of message from `msg`), "" when
// there is none or the attributes do not hold together.
std::string ackMessage(const std::uint8_t* msg, std::size_t msgLen) {
  nlmsghdr h;
  std::memcpy(&h, msg, sizeof h);
  if (!(h.nlmsg_flags & NLM_F_ACK_TLVS)) return {};
  nlmsgerr e;
  std::memcpy(&e, msg + NLMSG_HDRLEN, sizeof e);
  // Without NLM_F_CAPPED the whole request is echoed before the attributes.
  std::size_t off = NLMSG_HDRLEN + sizeof e;
  if (!(h.nlmsg_flags & NLM_F_CAPPED)) off += NLMSG_ALIGN(e.msg.nlmsg_len) - sizeof e.msg;
  while (off < msgLen && msgLen - off >= sizeof(nlattr)) {
    nlattr a;
    std::memcpy(&a, msg + off, sizeof a);
    if (a.nla_len < sizeof a || a.nla_len > msgLen - off) return {};
    if ((a.nla_type & NLA_TYPE_MASK) == NLMSGERR_ATTR_MSG) {
      const char* text = reinterpret_cast<const char*>(msg + off + NLA_HDRLEN);
      std::size_t n = a.nla_len - NLA_HDRLEN;
      while (n > 0 && (text[n - 1] == '\0' || text[n - 1] == '\n')) --n;
      return std::string(text, n);
    }
    off += NLA_ALIGN(a.nla_len);
  }
  return {};
}

// Looks through one received datagram (`len` bytes kept of it, `cut` when the
// datagram was longer) for the NLMSG_ERROR message that answers the request
// whose header is `sent`. On a match stores its error field in *error.
bool findAnswer(const std::uint8_t* data, std::size_t len, bool cut, const nlmsghdr& sent,
                int* error) {
  std::size_t off = 0;
  while (len - off >= sizeof(nlmsghdr)) {
    nlmsghdr h;
    std::memcpy(&h, data + off, sizeof h);
    if (h.nlmsg_len < sizeof(nlmsghdr)) return false;  // malformed: nothing more to trust
    std::size_t have = len - off;
    bool whole = h.nlmsg_len <= have;
    if (!whole && !cut) return false;  // claims more than the datagram holds
    if (whole) have = h.nlmsg_len;
    if (h.nlmsg_type == NLMSG_ERROR && have >= NLMSG_HDRLEN + sizeof(nlmsgerr)) {
      nlmsgerr e;
      std::memcpy(&e, data + off + NLMSG_HDRLEN, sizeof e);
      if (std::memcmp(&e.msg, &sent, sizeof(nlmsghdr)) == 0) {
        *error = e.error;
        lastAckMessage = ackMessage(data + off, have);
        return true;
      }
    }
    if (!whole) return false;
    std::size_t next = off + NLMSG_ALIGN(h.nlmsg_len);
    if (next > len) return false;
    off = next;
  }
  return false;
}

}  // namespace

std::string netlinkAckMessage() { return lastAckMessage; }

int sendNetlinkMsg(netlinkHandle* handle, nlmsghdr* msg) {
  return sendNetlinkMsg(handle, msg, netlinkAckTimeoutDefault);
}

int sendNetlinkMsg(netlinkHandle* handle, nlmsghdr* msg, std::chrono::milliseconds timeout) {
  ORV_ASSERT(handle != nullptr);
  ORV_ASSERT(msg != nullptr);
  const auto deadline = Clock::now() + std::max(timeout, std::chrono::milliseconds::zero());
  if (msg->nlmsg_len < sizeof(nlmsghdr)) return -EINVAL;
  const int fd = handle->fd;
  const nlmsghdr sent = *msg;
  lastAckMessage.clear();

  if (int rc = sendWhole(fd, msg, deadline); rc != 0) return rc;
  if (!(sent.nlmsg_flags & NLM_F_ACK)) return 0;

  alignas(nlmsghdr) std::uint8_t buf[recvBufferSize];
  bool overrun = false;
  for (;;) {
    // Read before waiting: the kernel has usually queued the answer by the
    // time the send returns, so the common case costs no poll.
    ssize_t n = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT | MSG_TRUNC);
    if (n >= 0) {
      auto got = static_cast<std::size_t>(n);
      int error = 0;
      if (findAnswer(buf, std::min(got, sizeof buf), got > sizeof buf, sent, &error)) {
        return error;
      }
      // Something else: drop it, unless a flood of such messages outlasts the bound.
      if (Clock::now() >= deadline) return -ETIMEDOUT;
      continue;
    }
    if (errno == EINTR) continue;
    if (errno == ENOBUFS) {
      // Messages to this socket were dropped; the answer may be one of them.
      // Keep draining: if it is not in what is left, it is lost.
      overrun = true;
      continue;
    }
    if (errno != EAGAIN && errno != EWOULDBLOCK) return -errno;
    if (overrun) return -ENOBUFS;
    int ready = waitFor(fd, POLLIN, deadline);
    if (ready == 0) return -ETIMEDOUT;
    if (ready < 0) return ready;
  }
}

}  // namespace Lumen
