// Sending one request on a netlink socket and waiting for its acknowledgement.
#pragma once

#include <linux/netlink.h>

#include <chrono>
#include <string>

#include <ipmodel/Orv/Export.h>

namespace Lumen {

// A netlink socket opened and owned by the caller. Sending needs nothing but the
// descriptor: callers may fill in `fd` alone and leave anything else unset.
struct netlinkHandle {
  int fd;
};

// Longest time sendNetlinkMsg spends on one message, counted from the call:
// waiting for room to send and waiting for the acknowledgement together.
inline constexpr std::chrono::milliseconds netlinkAckTimeoutDefault{5000};

// Sends the whole message `msg` (nlmsg_len bytes) as one datagram on
// `handle->fd`. The message is sent as it is; its sequence number and port
// are not touched.
//
// Without NLM_F_ACK in nlmsg_flags, returns 0 once the message is sent.
// With NLM_F_ACK, reads the socket until the NLMSG_ERROR message that answers
// this request (the one whose echoed header equals msg's header) and returns
// its error field: 0 for success or the kernel's negative errno. Anything else
// read meanwhile (multicast notifications, answers to other requests) is
// dropped.
//
// Other results, all negative errnos:
//   - the error of a failed send or receive on the socket (-EBADF for a closed
//     descriptor, -ENOTSOCK, ...); interrupted calls are retried;
//   - -ETIMEDOUT when netlinkAckTimeoutDefault passes without the answer;
//   - -ENOBUFS when the socket overran (the kernel dropped messages queued to
//     it) and the answer is not among those left: the kernel queues the answer
//     while it handles the send, so once the queue is drained it is lost. The
//     request may or may not have taken effect;
//   - -ECONNRESET when the peer of a connected socket went away;
//   - -EINVAL when nlmsg_len is shorter than a netlink header;
//   - -EMSGSIZE when the socket took only part of the message.
// `handle` and `msg` must not be null.
IPMODEL_API int sendNetlinkMsg(netlinkHandle* handle, nlmsghdr* msg);

// Same, with the bound on the time spent given by the caller instead of
// netlinkAckTimeoutDefault (zero or less: only what is already queued is read).
IPMODEL_API int sendNetlinkMsg(netlinkHandle* handle, nlmsghdr* msg,
                               std::chrono::milliseconds timeout);

// The kernel's own text (its extended acknowledgement, NLMSGERR_ATTR_MSG) in
// the last answer sendNetlinkMsg read on this thread, "" when that answer
// carried none or no answer was read. The kernel adds it only on sockets
// with the NETLINK_EXT_ACK option set.
IPMODEL_API std::string netlinkAckMessage();

}  // namespace Lumen
