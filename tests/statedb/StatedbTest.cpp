// The state database with real processes: statedbd and several clients
// (statedb_client), each driven over pipes. Every wait is on an event: a
// line from a process, a socket becoming ready, a process ending.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <ipmodel/ipmodel.h>

#ifndef STATEDBD
#error "STATEDBD names the server binary"
#endif
#ifndef STATEDB_CLIENT
#error "STATEDB_CLIENT names the test client binary"
#endif

namespace {

constexpr int lineTimeoutMs = 30000;

// A child process with its standard input and output on pipes.
class Proc {
 public:
  explicit Proc(std::vector<std::string> argv) {
    int in[2], out[2];
    EXPECT_EQ(::pipe2(in, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(out, O_CLOEXEC), 0);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(in[0], 0);
      ::dup2(out[1], 1);
      std::vector<char*> args;
      for (auto& a : argv) args.push_back(a.data());
      args.push_back(nullptr);
      ::execv(args[0], args.data());
      ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    to_ = in[1];
    from_ = out[0];
  }
  ~Proc() {
    if (to_ >= 0) ::close(to_);
    if (from_ >= 0) ::close(from_);
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
  }
  Proc(const Proc&) = delete;
  Proc& operator=(const Proc&) = delete;

  // The next line of output ("<eof>" or "<timeout>" otherwise).
  std::string line() {
    for (;;) {
      auto nl = buf_.find('\n');
      if (nl != std::string::npos) {
        std::string l = buf_.substr(0, nl);
        buf_.erase(0, nl + 1);
        return l;
      }
      pollfd p{from_, POLLIN, 0};
      if (::poll(&p, 1, lineTimeoutMs) <= 0) return "<timeout>";
      char b[4096];
      const ssize_t n = ::read(from_, b, sizeof b);
      if (n <= 0) return "<eof>";
      buf_.append(b, static_cast<std::size_t>(n));
    }
  }
  std::string ask(const std::string& cmd) {
    const std::string l = cmd + "\n";
    if (::write(to_, l.data(), l.size()) != static_cast<ssize_t>(l.size())) return "<write failed>";
    return line();
  }
  void signal(int sig) { ::kill(pid_, sig); }
  // Waits for the process to end; its exit status.
  int wait() {
    int st = 0;
    ::waitpid(pid_, &st, 0);
    pid_ = -1;
    return st;
  }

 private:
  pid_t pid_ = -1;
  int to_ = -1;
  int from_ = -1;
  std::string buf_;
};

class Statedb : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/statedb-test-XXXXXX";
    ASSERT_NE(::mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    ::chmod(dir_.c_str(), 0755);  // other users reach the socket when rules admit them
    socket_ = dir_ + "/sock";
  }
  void TearDown() override {
    server_.reset();
    ::unlink(socket_.c_str());
    ::rmdir(dir_.c_str());
  }

  void startServer(std::vector<std::string> extra = {}) {
    std::vector<std::string> argv = {STATEDBD, "--socket", socket_};
    argv.insert(argv.end(), extra.begin(), extra.end());
    server_ = std::make_unique<Proc>(argv);
    ASSERT_EQ(server_->line(), "ready " + socket_);
  }
  std::unique_ptr<Proc> client(const std::string& user = "") {
    std::vector<std::string> argv = {STATEDB_CLIENT, "--socket", socket_};
    if (!user.empty()) {
      argv.push_back("--user");
      argv.push_back(user);
    }
    return std::make_unique<Proc>(argv);
  }
  // A writer that publishes layer-3, IPv4 and IPv6 statuses of cell 1.
  std::unique_ptr<Proc> writer() {
    auto w = client();
    EXPECT_EQ(w->ask("mount l3 L3::Intf::Input::StatusDir w"), "mounted l3");
    EXPECT_EQ(w->ask("mount ip4 Ip::Input::Status w"), "mounted ip4");
    EXPECT_EQ(w->ask("mount ip6 Ip6::Input::Status w"), "mounted ip6");
    return w;
  }
  std::unique_ptr<Proc> reader(const std::string& user = "") {
    auto r = client(user);
    EXPECT_EQ(r->ask("mount l3 L3::Intf::Input::StatusDir r"), "mounted l3");
    EXPECT_EQ(r->ask("mount ip4 Ip::Input::Status r"), "mounted ip4");
    EXPECT_EQ(r->ask("mount ip6 Ip6::Input::Status r"), "mounted ip6");
    return r;
  }

  // The writer sets an IPv4 address and hands it to the kernel.
  static void publish4(Proc& w, const std::string& path, const std::string& intf,
                       const std::string& l3, const std::string& addr) {
    EXPECT_EQ(w.ask("ip4 " + path + " " + intf + " " + l3 + " " + addr), "ok");
    EXPECT_EQ(w.ask("flush"), "flushed");
  }

  std::string dir_;
  std::string socket_;
  std::unique_ptr<Proc> server_;
};

TEST_F(Statedb, ReadersSeeTheInitialStateAndEveryLaterChange) {
  startServer();
  auto w = writer();
  EXPECT_EQ(w->ask("ip4 ip4 Ethernet1 l3 10.0.0.1/24"), "ok");
  EXPECT_EQ(w->ask("ip6 ip6 Ethernet1 l3 1000"), "ok");
  EXPECT_EQ(w->ask("flush"), "flushed");

  auto r1 = reader();
  auto r2 = reader();
  EXPECT_EQ(r1->ask("wait4 ip4 Ethernet1 10.0.0.1/24"), "seen");  // initial state
  EXPECT_EQ(r1->ask("wait6 ip6 Ethernet1 1000"), "seen");
  EXPECT_EQ(w->ask("ip4 ip4 Ethernet1 l3 10.0.0.2/24"), "ok");
  EXPECT_EQ(w->ask("ip4 ip4 Ethernet2 l3 10.9.0.1/16"), "ok");
  EXPECT_EQ(w->ask("ip6 ip6 Ethernet1 l3 2000"), "ok");
  EXPECT_EQ(w->ask("flush"), "flushed");
  for (auto* r : {r1.get(), r2.get()}) {
    EXPECT_EQ(r->ask("wait4 ip4 Ethernet1 10.0.0.2/24"), "seen");
    EXPECT_EQ(r->ask("wait4 ip4 Ethernet2 10.9.0.1/16"), "seen");
    EXPECT_EQ(r->ask("wait6 ip6 Ethernet1 2000"), "seen");
  }
}

TEST_F(Statedb, AReadOnlyReaderCannotWrite) {
  startServer();
  auto w = writer();
  publish4(*w, "ip4", "Ethernet1", "l3", "10.0.0.1/24");
  auto r = reader();
  EXPECT_EQ(r->ask("wait4 ip4 Ethernet1 10.0.0.1/24"), "seen");
  EXPECT_EQ(r->ask("mss4 ip4 Ethernet1 1400"),
            "readonly: write of Ip::IpIntfStatus on read-only proxy /ip4/ipIntfStatus/Ethernet1 "
            "not allowed");
  EXPECT_EQ(r->ask("get4 ip4 Ethernet1"), "10.0.0.1/24 0");  // refused before it was stored
  // The writer's value stands everywhere else.
  auto other = reader();
  EXPECT_EQ(other->ask("wait4 ip4 Ethernet1 10.0.0.1/24"), "seen");
  EXPECT_EQ(other->ask("get4 ip4 Ethernet1"), "10.0.0.1/24 0");

  // Cut off from the server, the copy still refuses; once the server is
  // back, the writer's changes apply to it again.
  server_->signal(SIGTERM);
  EXPECT_EQ(server_->wait(), 0);
  EXPECT_EQ(r->ask("mss4 ip4 Ethernet1 1400").rfind("readonly: ", 0), 0u);
  EXPECT_EQ(r->ask("ip4 ip4 Ethernet9 l3 10.9.9.9/24").rfind("readonly: ", 0), 0u);
  EXPECT_EQ(r->ask("get4 ip4 Ethernet1"), "10.0.0.1/24 0");
  EXPECT_EQ(r->ask("get4 ip4 Ethernet9"), "absent");
  startServer();
  EXPECT_EQ(w->ask("reconnected"), "connected");
  publish4(*w, "ip4", "Ethernet1", "l3", "10.0.0.2/24");
  EXPECT_EQ(r->ask("wait4 ip4 Ethernet1 10.0.0.2/24"), "seen");
  EXPECT_EQ(r->ask("get4 ip4 Ethernet1"), "10.0.0.2/24 0");
}

TEST_F(Statedb, AReferenceResolvesWhenItsTargetIsMountedLater) {
  startServer();
  auto w = writer();
  publish4(*w, "ip4", "Ethernet1", "l3", "10.0.0.1/24");
  auto r = client();
  EXPECT_EQ(r->ask("mount ip4 Ip::Input::Status r"), "mounted ip4");
  EXPECT_EQ(r->ask("wait4 ip4 Ethernet1 10.0.0.1/24"), "seen");
  EXPECT_EQ(r->ask("l3of ip4 Ethernet1"), "null");  // the layer-3 tree is not here yet
  EXPECT_EQ(r->ask("mount l3 L3::Intf::Input::StatusDir r"), "mounted l3");
  EXPECT_EQ(r->ask("waitl3 ip4 Ethernet1"), "/l3/intfStatus/Ethernet1 vrf default");
  // A status that arrives after its layer-3 record resolves at once.
  publish4(*w, "ip4", "Ethernet2", "l3", "10.0.0.2/24");
  EXPECT_EQ(r->ask("wait4 ip4 Ethernet2 10.0.0.2/24"), "seen");
  EXPECT_EQ(r->ask("l3of ip4 Ethernet2"), "/l3/intfStatus/Ethernet2 vrf default");
}

TEST_F(Statedb, KilledAndGarbageSpeakingPeersHarmNobody) {
  startServer();
  auto w = writer();
  EXPECT_EQ(w->ask("many ip4 l3 200 3"), "ok");
  auto victim = reader();
  auto r = reader();
  victim->signal(SIGKILL);  // mid-stream, perhaps
  victim->wait();

  // Bad bytes of every kind, each on its own connection.
  const std::vector<std::vector<std::uint8_t>> garbage = {
      {0xff, 0xff, 0xff, 0xff, 2},        // oversized frame
      {0, 0, 0, 1, 99, 0},                // unknown frame type
      {0, 0, 0, 6, 2, 0, 0, 0, 1, 1, 2},  // entry for an identity never mounted
      {0, 0, 0, 2, 1, 0, 0},              // truncated mount request
  };
  for (const auto& bytes : garbage) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::snprintf(a.sun_path, sizeof a.sun_path, "%s", socket_.c_str());
    ASSERT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    char c;
    EXPECT_EQ(::read(fd, &c, 1), 0) << "the server closes the connection";
    ::close(fd);
  }
  EXPECT_EQ(w->ask("many ip4 l3 200 4"), "ok");
  EXPECT_EQ(w->ask("flush"), "flushed");
  EXPECT_EQ(r->ask("waitmany ip4 200 4"), "seen");
}

TEST_F(Statedb, AStalledReaderEndsWithEveryFinalValue) {
  startServer({"--budget", "65536"});
  auto w = writer();
  auto r = reader();
  EXPECT_EQ(r->ask("sleepless"), "ok");  // from here r reads nothing until asked
  // 1000 statuses x 50 rounds x 2 attributes: 100,000 changes.
  EXPECT_EQ(w->ask("many ip4 l3 1000 50"), "ok");
  EXPECT_EQ(w->ask("flush"), "flushed");
  EXPECT_EQ(r->ask("waitmany ip4 1000 50"), "seen");
}

TEST_F(Statedb, MountsAreCheckedAgainstThePeersCredentials) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to run a client as another user";
  startServer({"--allow", "ip4:r:uid=65534"});
  auto w = writer();
  publish4(*w, "ip4", "Ethernet1", "l3", "10.0.0.1/24");
  auto nobody = client("nobody");
  EXPECT_EQ(nobody->ask("mount ip4 Ip::Input::Status r"), "mounted ip4");
  EXPECT_EQ(nobody->ask("wait4 ip4 Ethernet1 10.0.0.1/24"), "seen");
  EXPECT_EQ(nobody->ask("mount l3 L3::Intf::Input::StatusDir r"),
            "failed l3: permission denied: uid 65534 gid 65534 may not mount l3 read-only");
  auto writerNobody = client("nobody");
  EXPECT_EQ(writerNobody->ask("mount ip4 Ip::Input::Status w"),
            "failed ip4: permission denied: uid 65534 gid 65534 may not mount ip4 writable");
}

TEST_F(Statedb, ClientsSurviveAServerRestart) {
  startServer();
  auto w = writer();
  publish4(*w, "ip4", "Ethernet1", "l3", "10.0.0.1/24");
  auto r = reader();
  EXPECT_EQ(r->ask("wait4 ip4 Ethernet1 10.0.0.1/24"), "seen");

  server_->signal(SIGTERM);
  EXPECT_EQ(server_->wait(), 0);
  startServer();
  EXPECT_EQ(w->ask("reconnected"), "connected");  // and published its trees again
  publish4(*w, "ip4", "Ethernet1", "l3", "10.0.0.3/24");
  EXPECT_EQ(r->ask("wait4 ip4 Ethernet1 10.0.0.3/24"), "seen");
}

TEST_F(Statedb, ADirectoryMountedWithIBringsWhatItLists) {
  startServer();
  auto a = client();
  EXPECT_EQ(a->ask("mount l3 L3::Intf::Input::StatusDir w"), "mounted l3");
  EXPECT_EQ(a->ask("mount ip/input/status/agent1 Ip::Input::Status w"),
            "mounted ip/input/status/agent1");
  publish4(*a, "ip/input/status/agent1", "Ethernet1", "l3", "10.0.0.1/24");
  auto r = client();
  EXPECT_EQ(r->ask("mount l3 L3::Intf::Input::StatusDir r"), "mounted l3");
  EXPECT_EQ(r->ask("mount ip/input/status Orv::Dir ri"), "mounted ip/input/status");
  EXPECT_EQ(r->ask("wait4 ip/input/status/agent1 Ethernet1 10.0.0.1/24"), "seen");
  // A producer that comes later is listed and followed as well.
  auto b = client();
  EXPECT_EQ(b->ask("mount l3b L3::Intf::Input::StatusDir w"), "mounted l3b");
  EXPECT_EQ(b->ask("mount ip/input/status/agent2 Ip::Input::Status w"),
            "mounted ip/input/status/agent2");
  publish4(*b, "ip/input/status/agent2", "Ethernet7", "l3b", "10.7.0.1/24");
  EXPECT_EQ(r->ask("wait4 ip/input/status/agent2 Ethernet7 10.7.0.1/24"), "seen");
  EXPECT_EQ(r->ask("mss4 ip/input/status/agent2 Ethernet7 9").rfind("readonly: ", 0), 0u);
}

TEST_F(Statedb, AFilteredMountTakesOnlyTheNamedMembers) {
  startServer();
  auto w = writer();
  for (const char* intf : {"Ethernet1", "Ethernet2", "Ethernet3"})
    EXPECT_EQ(w->ask(std::string("ip4 ip4 ") + intf + " l3 10.0.0.1/24"), "ok");
  EXPECT_EQ(w->ask("flush"), "flushed");
  auto r = client();
  EXPECT_EQ(r->ask("mountf ip4 Ip::Input::Status r Ethernet1,Ethernet3"), "mounted ip4");
  EXPECT_EQ(r->ask("mountf l3 L3::Intf::Input::StatusDir r Ethernet3"), "mounted l3");
  EXPECT_EQ(r->ask("count4 ip4"), "2");
  EXPECT_EQ(r->ask("get4 ip4 Ethernet2"), "absent");
  EXPECT_EQ(r->ask("l3of ip4 Ethernet3"), "/l3/intfStatus/Ethernet3 vrf default");
  EXPECT_EQ(r->ask("l3of ip4 Ethernet1"), "null");  // its layer-3 record was left out

  // Later changes pass the same filter: the status of a name left out
  // neither changes nor appears, and a removal of one is not sent.
  EXPECT_EQ(w->ask("ip4 ip4 Ethernet2 l3 10.0.0.2/24"), "ok");
  EXPECT_EQ(w->ask("ip4 ip4 Ethernet4 l3 10.0.0.4/24"), "ok");
  EXPECT_EQ(w->ask("ip4 ip4 Ethernet3 l3 10.0.0.3/24"), "ok");
  EXPECT_EQ(w->ask("flush"), "flushed");
  EXPECT_EQ(r->ask("wait4 ip4 Ethernet3 10.0.0.3/24"), "seen");
  EXPECT_EQ(r->ask("count4 ip4"), "2");
  // An unfiltered reader of the same path still gets everything.
  auto all = client();
  EXPECT_EQ(all->ask("mount ip4 Ip::Input::Status r"), "mounted ip4");
  EXPECT_EQ(all->ask("wait4 ip4 Ethernet4 10.0.0.4/24"), "seen");
  EXPECT_EQ(all->ask("count4 ip4"), "4");

  // A writer publishes its whole tree: no filter there.
  auto c = client();
  EXPECT_EQ(c->ask("mountf ip4b Ip::Input::Status w Ethernet1"),
            "error: mount filter on writable mount ip4b not allowed");
}

TEST_F(Statedb, RefusedMountsSayWhy) {
  startServer();
  auto c = client();
  EXPECT_EQ(c->ask("mount ip4 Ip::Input::Status w"), "mounted ip4");
  EXPECT_EQ(c->ask("mount ip4b Ip::Status x"), "error: unknown mount flag 'x'");
  EXPECT_EQ(c->ask("mount ip4b No::Such r"), "error: unknown type name No::Such for mount ip4b");
  auto d = client();
  EXPECT_EQ(d->ask("mount ip4 Ip6::Input::Status r"),
            "failed ip4: path ip4 holds a Ip::Input::Status, not a Ip6::Input::Status");
}

TEST(StatedbServer, HelpDocumentsEveryOption) {
  Proc p({STATEDBD, "--help"});
  std::string all;
  for (std::string l = p.line(); l != "<eof>" && l != "<timeout>"; l = p.line()) all += l + "\n";
  for (const char* opt : {"--socket", "--allow", "--budget", "--verbose", "--help", "SIGTERM"}) {
    EXPECT_NE(all.find(opt), std::string::npos) << opt;
  }
  EXPECT_EQ(p.wait(), 0);
}

}  // namespace
