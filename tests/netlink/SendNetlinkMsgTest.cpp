// Lumen::sendNetlinkMsg against a fake peer: what is sent, which answer is
// taken, and every way the wait ends.
#include <linux/rtnetlink.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <ipmodel/Lumen/Netlink.h>

#include "FakeNetlinkPeer.h"

using namespace NetlinkTest;
using namespace std::chrono_literals;

namespace {

// A request of type RTM_NEWADDR with `payloadLen` patterned payload bytes.
Bytes request(std::uint16_t flags, std::uint32_t seq = 7, std::size_t payloadLen = 8) {
  Bytes msg(NLMSG_HDRLEN + payloadLen);
  nlmsghdr h{};
  h.nlmsg_len = static_cast<std::uint32_t>(msg.size());
  h.nlmsg_type = RTM_NEWADDR;
  h.nlmsg_flags = flags;
  h.nlmsg_seq = seq;
  std::memcpy(msg.data(), &h, sizeof h);
  for (std::size_t i = NLMSG_HDRLEN; i < msg.size(); ++i) msg[i] = static_cast<std::uint8_t>(i);
  return msg;
}

nlmsghdr* hdr(Bytes& msg) { return reinterpret_cast<nlmsghdr*>(msg.data()); }

int send(int fd, Bytes& msg) {
  Lumen::netlinkHandle h{fd};
  return Lumen::sendNetlinkMsg(&h, hdr(msg));
}

int send(int fd, Bytes& msg, std::chrono::milliseconds bound) {
  Lumen::netlinkHandle h{fd};
  return Lumen::sendNetlinkMsg(&h, hdr(msg), bound);
}

Bytes concat(Bytes a, const Bytes& b) {
  a.resize(NLMSG_ALIGN(a.size()));
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

constexpr std::uint16_t requestAck = NLM_F_REQUEST | NLM_F_ACK;

}  // namespace

TEST(SendNetlinkMsg, WithoutAckReturnsOnceSentAndReadsNothing) {
  FakeNetlinkPeer peer;
  ASSERT_TRUE(peer.ok());
  Bytes msg = request(NLM_F_REQUEST);
  peer.queue(answer(headerOf(msg), -EPERM));

  EXPECT_EQ(send(peer.fd(), msg), 0);
  EXPECT_EQ(peer.take(), msg);
  EXPECT_TRUE(peer.pendingForCaller()) << "the queued message must be left for its owner";
}

TEST(SendNetlinkMsg, ReturnsTheErrorOfTheAnswer) {
  for (int error : {0, -EEXIST, -ENODEV}) {
    SCOPED_TRACE(error);
    FakeNetlinkPeer peer;
    Bytes msg = request(requestAck);
    peer.queue(answer(headerOf(msg), error));
    EXPECT_EQ(send(peer.fd(), msg), error);
    EXPECT_EQ(peer.take(), msg);
  }
}

TEST(SendNetlinkMsg, SkipsMessagesThatDoNotAnswerTheRequest) {
  FakeNetlinkPeer peer;
  Bytes msg = request(requestAck, 7);
  nlmsghdr sent = headerOf(msg);

  Bytes notification = request(0, 0, 24);  // a multicast RTM_NEWADDR
  nlmsghdr otherSeq = sent;
  otherSeq.nlmsg_seq = 8;
  nlmsghdr otherType = sent;
  otherType.nlmsg_type = RTM_DELADDR;
  nlmsghdr otherPort = sent;
  otherPort.nlmsg_pid = 99;
  nlmsghdr otherLen = sent;
  otherLen.nlmsg_len += 4;
  Bytes malformed = answer(sent, -EPERM);
  malformed[0] = 200;  // claims more bytes than the datagram has
  nlmsghdr done{};
  done.nlmsg_len = NLMSG_LENGTH(sizeof(int));
  done.nlmsg_type = NLMSG_DONE;
  Bytes doneMsg(done.nlmsg_len);
  std::memcpy(doneMsg.data(), &done, sizeof done);

  peer.queue(notification);
  peer.queue(answer(otherSeq, -EPERM));
  peer.queue(answer(otherType, -EPERM));
  peer.queue(answer(otherPort, -EPERM));
  peer.queue(answer(otherLen, -EPERM));
  peer.queue(malformed);
  peer.queue({});
  // Several messages in one datagram, the answer last.
  peer.queue(concat(concat(notification, doneMsg), answer(sent, -EEXIST)));
  peer.queue(notification);  // after the answer: not read

  EXPECT_EQ(send(peer.fd(), msg), -EEXIST);
  EXPECT_TRUE(peer.pendingForCaller());
}

TEST(SendNetlinkMsg, FindsAnAnswerThatEchoesALongRequest) {
  // Without capped acknowledgements an error answer repeats the whole request,
  // making it longer than the receive buffer.
  FakeNetlinkPeer peer;
  Bytes msg = request(requestAck, 3, 12000);
  Bytes payload(msg.begin() + NLMSG_HDRLEN, msg.end());
  peer.queue(answer(headerOf(msg), -EINVAL, payload));
  EXPECT_EQ(send(peer.fd(), msg), -EINVAL);
}

TEST(SendNetlinkMsg, WorksWithAnAnswerThatComesLater) {
  FakeNetlinkPeer peer;
  Responder responder(peer, -EADDRNOTAVAIL, {request(0, 0, 16)});
  Bytes msg = request(requestAck);
  EXPECT_EQ(send(peer.fd(), msg), -EADDRNOTAVAIL);
  EXPECT_EQ(responder.request(), msg);
}

TEST(SendNetlinkMsg, GivesUpWhenNoAnswerComes) {
  FakeNetlinkPeer peer;
  Bytes msg = request(requestAck);
  EXPECT_EQ(send(peer.fd(), msg, 20ms), -ETIMEDOUT);

  // Unrelated traffic does not stop the wait from ending.
  peer.queue(request(0, 0, 16));
  peer.queue(answer(headerOf(request(requestAck, 8)), 0));
  EXPECT_EQ(send(peer.fd(), msg, 20ms), -ETIMEDOUT);
  EXPECT_EQ(send(peer.fd(), msg, 0ms), -ETIMEDOUT);
}

TEST(SendNetlinkMsg, GivesUpWhenTheSocketHasNoRoomToSend) {
  FakeNetlinkPeer peer;
  Bytes filler(4096);
  while (::send(peer.fd(), filler.data(), filler.size(), MSG_DONTWAIT) >= 0) {
  }
  ASSERT_EQ(errno, EAGAIN);
  Bytes msg = request(requestAck);
  EXPECT_EQ(send(peer.fd(), msg, 20ms), -ETIMEDOUT);
}

namespace {

std::atomic<int> signalsSeen{0};
void countSignal(int) { ++signalsSeen; }

// Whether thread `tid` of this process sits in a system call that waits.
bool waitingInSyscall(pid_t tid) {
  std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/syscall");
  long nr = -1;
  if (!(in >> nr)) return false;
  for (long waiting : {SYS_poll, SYS_ppoll, SYS_select, SYS_pselect6, SYS_epoll_wait,
                       SYS_epoll_pwait, SYS_recvfrom, SYS_recvmsg}) {
    if (nr == waiting) return true;
  }
  return false;
}

}  // namespace

TEST(SendNetlinkMsg, KeepsWaitingWhenASignalInterruptsTheWait) {
  struct sigaction action {};
  action.sa_handler = countSignal;  // no SA_RESTART: the wait fails with EINTR
  sigemptyset(&action.sa_mask);
  struct sigaction previous {};
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &previous), 0);
  signalsSeen = 0;

  FakeNetlinkPeer peer;
  Bytes msg = request(requestAck);
  const pid_t callerTid = static_cast<pid_t>(::syscall(SYS_gettid));
  const pthread_t caller = ::pthread_self();
  std::thread interrupter([&] {
    auto req = peer.take(true);
    if (!req) return;
    for (int i = 0; i < 1000000 && !waitingInSyscall(callerTid); ++i) std::this_thread::yield();
    ::pthread_kill(caller, SIGUSR1);
    while (signalsSeen == 0) std::this_thread::yield();
    peer.queue(answer(headerOf(*req), -EEXIST));
  });

  EXPECT_EQ(send(peer.fd(), msg), -EEXIST);
  interrupter.join();
  EXPECT_EQ(signalsSeen, 1);
  ::sigaction(SIGUSR1, &previous, nullptr);
}

TEST(SendNetlinkMsg, ReportsTheSocketsError) {
  Bytes msg = request(requestAck);

  int closed = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  ASSERT_GE(closed, 0);
  ::close(closed);
  EXPECT_EQ(send(closed, msg), -EBADF);

  int pipeFds[2];
  ASSERT_EQ(::pipe(pipeFds), 0);
  EXPECT_EQ(send(pipeFds[1], msg), -ENOTSOCK);
  ::close(pipeFds[0]);
  ::close(pipeFds[1]);
}

TEST(SendNetlinkMsg, RefusesALengthShorterThanTheHeader) {
  FakeNetlinkPeer peer;
  Bytes msg = request(requestAck);
  hdr(msg)->nlmsg_len = 8;
  EXPECT_EQ(send(peer.fd(), msg), -EINVAL);
  EXPECT_FALSE(peer.take().has_value());
}

namespace {

// An answer carrying extended-acknowledgement attributes after the nlmsgerr
// (and after the echoed payload when not capped).
Bytes answerWithAttrs(const nlmsghdr& req, int error, bool capped, const Bytes& echoed,
                      const Bytes& attrs) {
  Bytes out = answer(req, error, capped ? Bytes{} : echoed);
  out.resize(NLMSG_ALIGN(out.size()));
  out.insert(out.end(), attrs.begin(), attrs.end());
  nlmsghdr h = headerOf(out);
  h.nlmsg_len = static_cast<std::uint32_t>(out.size());
  h.nlmsg_flags = NLM_F_ACK_TLVS | (capped ? NLM_F_CAPPED : 0);
  std::memcpy(out.data(), &h, sizeof h);
  return out;
}

Bytes attr(std::uint16_t type, const std::string& text, std::uint16_t lenOverride = 0) {
  nlattr a{};
  a.nla_type = type;
  a.nla_len = lenOverride ? lenOverride : static_cast<std::uint16_t>(NLA_HDRLEN + text.size() + 1);
  Bytes out(NLA_ALIGN(NLA_HDRLEN + text.size() + 1));
  std::memcpy(out.data(), &a, sizeof a);
  std::memcpy(out.data() + NLA_HDRLEN, text.data(), text.size());
  return out;
}

}  // namespace

TEST(SendNetlinkMsg, KeepsTheKernelsTextOfTheAnswer) {
  const std::string text = "ipv4: Address already assigned";
  Bytes offset = attr(NLMSGERR_ATTR_OFFS, "abc");
  for (bool capped : {true, false}) {
    SCOPED_TRACE(capped);
    FakeNetlinkPeer peer;
    Bytes msg = request(requestAck, 4, 10);
    Bytes payload(msg.begin() + NLMSG_HDRLEN, msg.end());
    Bytes attrs = concat(offset, attr(NLMSGERR_ATTR_MSG, text));
    peer.queue(answerWithAttrs(headerOf(msg), -EEXIST, capped, payload, attrs));
    EXPECT_EQ(send(peer.fd(), msg), -EEXIST);
    EXPECT_EQ(Lumen::netlinkAckMessage(), text);
  }

  // The next answer without text clears it; so do broken attributes.
  FakeNetlinkPeer peer;
  Bytes msg = request(requestAck);
  peer.queue(answer(headerOf(msg), -ENODEV));
  EXPECT_EQ(send(peer.fd(), msg), -ENODEV);
  EXPECT_EQ(Lumen::netlinkAckMessage(), "");
  Bytes overlong = attr(NLMSGERR_ATTR_MSG, text, 400);
  peer.queue(answerWithAttrs(headerOf(msg), -EINVAL, true, {}, overlong));
  EXPECT_EQ(send(peer.fd(), msg), -EINVAL);
  EXPECT_EQ(Lumen::netlinkAckMessage(), "");
}
