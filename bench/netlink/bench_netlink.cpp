// Adding interface addresses in the kernel: 10,000 IPv4 and then 10,000 IPv6
// addresses on one veth interface, through Ip::ipAddrAddCommon and
// Ip::ip6AddrAddCommon, beside the floor of the same requests sent with one
// plain send() and one recv() each, and beside iproute2's `ip -batch` doing
// the same adds ("address replace ...").
//
// Runs in a network namespace of its own (the process unshares one at start),
// so it needs root; without it the benchmark says so and measures nothing.
//
// The interface stays down: the kernel then adds no routes and starts no
// duplicate address detection, work that grows with the number of addresses
// (10,000 IPv6 adds on an up interface take minutes). Even so the kernel's
// own work per add grows with the addresses already present and dwarfs the
// cost of the send, so on a busy machine two runs of the same method differ
// more than two methods do. Two measurements therefore:
//   - BM_RawFloor, BM_Helpers, BM_IpBatch: each method adds all 20,000
//     addresses to a fresh interface (wall time; repeated in random
//     interleaving unless the command line says otherwise);
//   - BM_Paired: one run adds the 20,000 addresses with the three methods
//     taking turns (see pairedSchedule) and times each method's share. All
//     three then see the same load and the same interface state; its ratios
//     are the ones to trust.
#include <linux/if_addr.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include <ipmodel/L3/IpUtils.h>
#include <ipmodel/Lumen/Netlink.h>

namespace {

constexpr int perFamily = 10000;
constexpr int total = 2 * perFamily;
constexpr int slotSize = 250;
constexpr const char* intfName = "bnl0";
constexpr const char* peerName = "bnl1";

using Clock = std::chrono::steady_clock;

// Address number i (from 0) of each family: 10.0.0.1 on, 2001:db8::1 on.
Lumen::IpAddr v4(int i) {
  unsigned n = static_cast<unsigned>(i) + 1;
  return Lumen::IpAddr(std::array<std::uint8_t, 4>{10, std::uint8_t(n >> 16), std::uint8_t(n >> 8),
                                                   std::uint8_t(n)});
}

Lumen::Ip6Addr v6(int i) {
  unsigned n = static_cast<unsigned>(i) + 1;
  Lumen::Ip6Addr::Bytes b{0x20, 0x01, 0x0d, 0xb8};
  b[13] = std::uint8_t(n >> 16);
  b[14] = std::uint8_t(n >> 8);
  b[15] = std::uint8_t(n);
  return Lumen::Ip6Addr(b);
}

enum Method { raw, helpers, ipBatch, methodCount };

// The paired run's schedule: rounds of four slots of slotSize addresses,
// send calls, ip, ip, send calls. In a send-call slot the raw floor and the
// helpers take the addresses in turn, raw, helpers, helpers, raw, each call
// timed on its own; an ip slot is one `ip -batch` run. The mirrored orders
// give every method the same mean position, so the kernel's cost growing with
// the addresses present weighs on all three alike, and the call-by-call turns
// put raw and helpers under the same load from moment to moment.
struct Slot {
  bool ip;
  int begin, end;
};

std::vector<Slot> pairedSchedule() {
  constexpr bool order[] = {false, true, true, false};
  constexpr int slots = static_cast<int>(std::size(order));
  std::vector<Slot> schedule;
  for (int begin = 0; begin < total;) {
    int round = std::min(total - begin, slots * slotSize);
    for (int i = 0; i < slots; ++i) {
      int end = begin + round / slots + (i < round % slots ? 1 : 0);
      if (end > begin) schedule.push_back({order[i], begin, end});
      begin = end;
    }
  }
  return schedule;
}

Method sendCallMethod(const Slot& slot, int k) {
  int turn = (k - slot.begin) % 4;
  return turn == 0 || turn == 3 ? raw : helpers;
}

// The request the helpers send, laid out for the raw floor.
struct RawRequest {
  nlmsghdr hdr;
  ifaddrmsg ifa;
  rtattr local;
  std::uint8_t addr[16];
};

// Everything the three methods need for address k (0 <= k < total: IPv4
// first, then IPv6), made before any timing.
class Workload {
 public:
  Workload() : raw_(total) {
    for (int i = 0; i < perFamily; ++i) {
      a4_.push_back(v4(i));
      a6_.push_back(v6(i));
    }
    for (int k = 0; k < total; ++k) {
      RawRequest& r = raw_[k];
      bool ip4 = k < perFamily;
      r.hdr.nlmsg_len = ip4 ? 32 : 44;
      r.hdr.nlmsg_type = RTM_NEWADDR;
      r.hdr.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | NLM_F_REPLACE;
      r.ifa.ifa_family = ip4 ? AF_INET : AF_INET6;
      r.ifa.ifa_prefixlen = ip4 ? 32 : 128;
      r.local.rta_len = ip4 ? 8 : 20;
      r.local.rta_type = IFA_LOCAL;
      if (ip4) {
        std::memcpy(r.addr, a4_[k].bytes().data(), 4);
      } else {
        std::memcpy(r.addr, a6_[k - perFamily].bytes().data(), 16);
      }
    }
    char dir[] = "/tmp/bench_netlink_XXXXXX";
    if (::mkdtemp(dir) == nullptr) return;
    dir_ = dir;
    batchOk_ = writeBatch(dir_ + "/all", 0, total);
    const auto schedule = pairedSchedule();
    for (std::size_t i = 0; i < schedule.size(); ++i) {
      if (schedule[i].ip) {
        batchOk_ = batchOk_ && writeBatch(slotPath(i), schedule[i].begin, schedule[i].end);
      }
    }
  }
  ~Workload() {
    if (!dir_.empty()) std::system(("rm -rf " + dir_).c_str());
  }

  bool ok() const { return fd_ >= 0 && batchOk_; }

  // Gives the methods a fresh interface with no addresses.
  bool freshInterface() {
    std::string cmd = std::string("ip link del ") + intfName + " 2>/dev/null; ip link add " +
                      intfName + " type veth peer name " + peerName;
    ifindex_ = std::system(cmd.c_str()) == 0 ? ::if_nametoindex(intfName) : 0;
    for (auto& r : raw_) r.ifa.ifa_index = ifindex_;
    return ifindex_ != 0;
  }

  bool addWithHelpers(int begin, int end) {
    const Lumen::IpAddr none;
    const auto universe = static_cast<Ip::IpAddrScope>(0);
    for (int k = begin; k < end; ++k) {
      int rc = k < perFamily ? Ip::ipAddrAddCommon(fd_, ifindex_, a4_[k], 32, false, none, universe)
                             : Ip::ip6AddrAddCommon(fd_, ifindex_, a6_[k - perFamily], 128);
      if (rc != 0) return false;
    }
    return true;
  }

  bool addRaw(int begin, int end) {
    alignas(nlmsghdr) std::uint8_t buf[8192];
    for (int k = begin; k < end; ++k) {
      ::send(fd_, &raw_[k], raw_[k].hdr.nlmsg_len, 0);
      ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
      int error = -1;
      if (n >= static_cast<ssize_t>(NLMSG_HDRLEN + sizeof(nlmsgerr))) {
        std::memcpy(&error, buf + NLMSG_HDRLEN, sizeof error);
      }
      if (error != 0) return false;
    }
    return true;
  }

  bool addAllWithIp() const { return runIp(dir_ + "/all"); }
  bool addSlotWithIp(std::size_t slot) const { return runIp(slotPath(slot)); }

 private:
  std::string slotPath(std::size_t i) const { return dir_ + "/slot" + std::to_string(i); }

  bool writeBatch(const std::string& path, int begin, int end) const {
    std::FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) return false;
    for (int k = begin; k < end; ++k) {
      if (k < perFamily) {
        const auto& b = a4_[k].bytes();
        std::fprintf(f, "address replace %u.%u.%u.%u/32 dev %s\n", b[0], b[1], b[2], b[3],
                     intfName);
      } else {
        const auto& b = a6_[k - perFamily].bytes();
        std::fprintf(f, "address replace 2001:db8::%x:%x/128 dev %s\n", b[12] << 8 | b[13],
                     b[14] << 8 | b[15], intfName);
      }
    }
    return std::fclose(f) == 0;
  }

  static bool runIp(const std::string& path) {
    pid_t pid = ::fork();
    if (pid == 0) {
      ::execlp("ip", "ip", "-batch", path.c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
    int status = 0;
    return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
  }

  static int openRoute() {
    int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    sockaddr_nl sa{};
    sa.nl_family = AF_NETLINK;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
      ::close(fd);
      return -1;
    }
    return fd;
  }

  std::vector<Lumen::IpAddr> a4_;
  std::vector<Lumen::Ip6Addr> a6_;
  std::vector<RawRequest> raw_;
  std::string dir_;
  bool batchOk_ = false;
  int fd_ = openRoute();
  unsigned ifindex_ = 0;
};

Workload* workload = nullptr;

bool addAll(Method m) {
  switch (m) {
    case raw:
      return workload->addRaw(0, total);
    case helpers:
      return workload->addWithHelpers(0, total);
    default:
      return workload->addAllWithIp();
  }
}

void runSequential(benchmark::State& state, Method m) {
  if (!workload->ok()) return state.SkipWithError("no socket or batch files");
  for (auto _ : state) {
    state.PauseTiming();
    bool fresh = workload->freshInterface();
    state.ResumeTiming();
    if (!fresh) return state.SkipWithError("cannot make the interface");
    if (!addAll(m)) return state.SkipWithError("an add failed");
  }
  state.SetItemsProcessed(state.iterations() * total);
}

void BM_RawFloor(benchmark::State& state) { runSequential(state, raw); }
void BM_Helpers(benchmark::State& state) { runSequential(state, helpers); }
void BM_IpBatch(benchmark::State& state) { runSequential(state, ipBatch); }

void BM_Paired(benchmark::State& state) {
  if (!workload->ok()) return state.SkipWithError("no socket or batch files");
  const std::vector<Slot> schedule = pairedSchedule();
  std::array<double, methodCount> seconds{};
  std::array<double, methodCount> added{};
  // Helpers' time over raw's in each turn of four calls; its median shrugs
  // off the odd call that waits for the CPU or the kernel's lock.
  std::vector<double> turnRatios;
  for (auto _ : state) {
    state.PauseTiming();
    bool fresh = workload->freshInterface();
    state.ResumeTiming();
    if (!fresh) return state.SkipWithError("cannot make the interface");
    for (std::size_t i = 0; i < schedule.size(); ++i) {
      const Slot& slot = schedule[i];
      if (slot.ip) {
        auto start = Clock::now();
        bool ok = workload->addSlotWithIp(i);
        seconds[ipBatch] += std::chrono::duration<double>(Clock::now() - start).count();
        added[ipBatch] += slot.end - slot.begin;
        if (!ok) return state.SkipWithError("ip failed");
        continue;
      }
      std::array<double, methodCount> turn{};
      for (int k = slot.begin; k < slot.end; ++k) {
        Method m = sendCallMethod(slot, k);
        auto start = Clock::now();
        bool ok = m == raw ? workload->addRaw(k, k + 1) : workload->addWithHelpers(k, k + 1);
        double took = std::chrono::duration<double>(Clock::now() - start).count();
        seconds[m] += took;
        added[m] += 1;
        turn[m] += took;
        if (!ok) return state.SkipWithError("an add failed");
        if ((k - slot.begin) % 4 == 3) {
          turnRatios.push_back(turn[helpers] / turn[raw]);
          turn = {};
        }
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * total);
  const double rawPer = seconds[raw] / added[raw];
  state.counters["raw_us"] = rawPer * 1e6;
  state.counters["helpers_us"] = seconds[helpers] / added[helpers] * 1e6;
  state.counters["ip_us"] = seconds[ipBatch] / added[ipBatch] * 1e6;
  state.counters["helpers_x"] = seconds[helpers] / added[helpers] / rawPer;
  state.counters["ip_x"] = seconds[ipBatch] / added[ipBatch] / rawPer;
  if (!turnRatios.empty()) {
    auto mid = turnRatios.begin() + turnRatios.size() / 2;
    std::nth_element(turnRatios.begin(), mid, turnRatios.end());
    state.counters["helpers_turn_x"] = *mid;
  }
}

// Wall time throughout: the work happens in the kernel, and for `ip` in
// another process.
BENCHMARK(BM_RawFloor)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_Helpers)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_IpBatch)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_Paired)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

// Keeps the median of each benchmark's figures for the summary.
class MedianReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name == "median" || run.aggregate_name.empty()) {
        auto& figures = results[run.run_name.function_name];
        for (const auto& [name, counter] : run.counters) figures[name] = counter.value;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, std::map<std::string, double>> results;
};

void printSummary(const MedianReporter& reporter) {
  auto figure = [&](const char* bench, const char* name) {
    auto b = reporter.results.find(bench);
    if (b == reporter.results.end()) return 0.0;
    auto f = b->second.find(name);
    return f == b->second.end() ? 0.0 : f->second;
  };
  std::printf("\n%d IPv4 + %d IPv6 addresses per run; medians.\n", perFamily, perFamily);
  std::printf(
      "Each method alone (addresses per second, time per address against the raw floor):\n");
  const double floorRate = figure("BM_RawFloor", "items_per_second");
  for (const char* bench : {"BM_RawFloor", "BM_Helpers", "BM_IpBatch"}) {
    double rate = figure(bench, "items_per_second");
    std::printf("  %-12s %10.0f /s   %.3fx\n", bench, rate, rate > 0 ? floorRate / rate : 0.0);
  }
  std::printf("Taking turns in one run (microseconds per address, against raw):\n");
  std::printf("  raw     %8.1f us   1.000x\n", figure("BM_Paired", "raw_us"));
  std::printf("  helpers %8.1f us   %.3fx  (median over turns of four calls: %.3fx)\n",
              figure("BM_Paired", "helpers_us"), figure("BM_Paired", "helpers_x"),
              figure("BM_Paired", "helpers_turn_x"));
  std::printf("  ip      %8.1f us   %.3fx\n", figure("BM_Paired", "ip_us"),
              figure("BM_Paired", "ip_x"));
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> args(argv, argv + argc);
  auto given = [&](std::string_view flag) {
    for (int i = 1; i < argc; ++i) {
      if (std::string_view(argv[i]).starts_with(flag)) return true;
    }
    return false;
  };
  char repetitions[] = "--benchmark_repetitions=3";
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  if (!given("--benchmark_repetitions")) args.push_back(repetitions);
  if (!given("--benchmark_enable_random_interleaving")) args.push_back(interleave);
  int count = static_cast<int>(args.size());
  args.push_back(nullptr);
  benchmark::Initialize(&count, args.data());

  if (::geteuid() != 0 || ::unshare(CLONE_NEWNET) != 0) {
    std::printf("bench_netlink: needs root to make a network namespace (%s); nothing measured\n",
                std::strerror(errno != 0 ? errno : EPERM));
    return 0;
  }
  Workload w;
  workload = &w;
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  printSummary(reporter);
  return 0;
}
