// One writer and one reader through statedbd: 100,000 IPv4 interface
// statuses, 4 attributes changed on each per round, end to end (the
// writer's setters, its adapters, the socket, the server applying and
// passing on, the reader applying). Beside it the floor: the same bytes
// through two Unix-socket hops (writer -> relay -> reader) in 64 KiB writes,
// measured in the same run.
//
//   BM_EndToEnd   updates/s, wire bytes per update, writer and reader time
//                 per update (encode; decode and apply, socket reads included)
//   BM_RawFloor   updates/s for the same byte count over raw sockets
//   BM_Encode     the writer's side alone: 4 setters per status with the
//                 adapters writing entries (no socket); floor: the same
//                 4 compare-and-stores into plain structs
//   BM_Apply      the reader's side alone: decode and apply those entries
//                 to a replica through its setters; floor: memcpy of the
//                 entry bytes
// BM_Encode and BM_Apply run at 100,000 statuses and, beside that, at 1,000,
// whose entities, adapters and reactors stay in the caches: the difference
// is what scattered memory costs at scale.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <ipmodel/Statedb/internal/Session.h>
#include <ipmodel/ipmodel.h>

#include "BenchMain.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr unsigned intfCount = 100000;
constexpr unsigned attrsPerIntf = 4;

double bytesPerUpdate = 16;  // measured by BM_EndToEnd, used by the floor

// statedbd as a child, on a socket of its own.
class Server {
 public:
  Server() {
    path_ = "/tmp/bench-statedb-" + std::to_string(::getpid()) + ".sock";
    int out[2];
    if (::pipe(out) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(out[1], 1);
      ::execl(STATEDBD, STATEDBD, "--socket", path_.c_str(), "--budget", "4194304", nullptr);
      ::_exit(127);
    }
    ::close(out[1]);
    char buf[256];
    const ssize_t n = ::read(out[0], buf, sizeof buf);  // "ready ..."
    ready_ = n > 5;
    ::close(out[0]);
  }
  ~Server() {
    if (pid_ > 0) {
      ::kill(pid_, SIGTERM);
      ::waitpid(pid_, nullptr, 0);
    }
  }
  bool ready() const { return ready_; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  pid_t pid_ = -1;
  bool ready_ = false;
};

// Runs both groups until done() holds.
template <class F>
void pump(Statedb::MountGroup& w, Statedb::MountGroup& r, double& wSec, double& rSec, F&& done) {
  while (!done()) {
    auto t0 = Clock::now();
    w.processReady();
    auto t1 = Clock::now();
    r.processReady();
    auto t2 = Clock::now();
    wSec += std::chrono::duration<double>(t1 - t0).count();
    rSec += std::chrono::duration<double>(t2 - t1).count();
    if (done()) break;
    pollfd p[2] = {{w.fd(), static_cast<short>(POLLIN | (w.wantsWrite() ? POLLOUT : 0)), 0},
                   {r.fd(), POLLIN, 0}};
    ::poll(p, 2, 100);
  }
}

// The 4 changes of one round on one status.
void changeFour(Ip::IpIntfStatus& s, const Lumen::IpAddrWithMask& addr, unsigned round) {
  s.activeAddrWithMaskIs(addr);
  s.maxMssEgressIs(static_cast<std::uint16_t>(1000 + round));
  s.maxMssIngressIs(static_cast<std::uint16_t>(2000 + round));
  s.dpRoutingEnabledIs(round % 2 == 1);
}

Lumen::IpAddrWithMask addrOf(unsigned i, unsigned round) {
  const std::string t = "10." + std::to_string(round % 200) + "." + std::to_string(i / 256 % 256) +
                        "." + std::to_string(i % 256) + "/24";
  return Lumen::IpAddrWithMask(t.c_str());
}

void BM_EndToEnd(benchmark::State& state) {
  Server server;
  if (!server.ready()) return state.SkipWithError("statedbd did not start");
  auto w = Statedb::MountGroup::mountGroupIs(server.path());
  auto r = Statedb::MountGroup::mountGroupIs(server.path());
  w->doMount(Statedb::Mount("l3", "L3::Intf::Input::StatusDir", "w"));
  w->doMount(Statedb::Mount("ip4", "Ip::Input::Status", "w"));
  if (!w->waitFor([&] { return w->settled(); }, 10000)) return state.SkipWithError("writer mount");
  auto l3 = Orv::ptr_cast<L3::Intf::Input::StatusDir>(w->entity("l3"));
  auto ip4 = Orv::ptr_cast<Ip::Input::Status>(w->entity("ip4"));
  std::vector<Ip::IpIntfStatus::Ptr> mine;
  std::vector<Lumen::IpAddrWithMask> addrs[2];
  for (unsigned i = 0; i < intfCount; ++i) {
    const Lumen::IntfId id("Ethernet" + std::to_string(i));
    mine.push_back(ip4->ipIntfStatusIs(id, l3->intfStatusIs(id)));
    addrs[0].push_back(addrOf(i, 1));
    addrs[1].push_back(addrOf(i, 2));
  }
  if (!w->flush(60000)) return state.SkipWithError("initial publish");
  r->doMount(Statedb::Mount("l3", "L3::Intf::Input::StatusDir", "r"));
  r->doMount(Statedb::Mount("ip4", "Ip::Input::Status", "r"));
  double ws = 0, rs = 0;
  pump(*w, *r, ws, rs, [&] { return r->settled(); });
  auto theirs = Orv::ptr_cast<Ip::Input::Status>(r->entity("ip4"));
  const Lumen::IntfId last("Ethernet" + std::to_string(intfCount - 1));

  std::uint64_t updates = 0, wire = 0;
  double wSec = 0, rSec = 0, total = 0;
  unsigned round = 0;
  for (auto _ : state) {
    ++round;
    const std::uint64_t sent0 = w->bytesSent();
    const auto t0 = Clock::now();
    const auto& a = addrs[round % 2];
    for (unsigned i = 0; i < intfCount; ++i) {
      changeFour(*mine[i], a[i], round);
      if (i % 4096 == 4095) w->processReady();  // hand a batch to the kernel
    }
    const auto t1 = Clock::now();
    wSec += std::chrono::duration<double>(t1 - t0).count();
    pump(*w, *r, wSec, rSec, [&] {
      auto s = theirs->ipIntfStatus(last);
      return s && s->dpRoutingEnabled() == (round % 2 == 1) && s->maxMssEgress() == 1000 + round;
    });
    total += std::chrono::duration<double>(Clock::now() - t0).count();
    updates += std::uint64_t(intfCount) * attrsPerIntf;
    wire += w->bytesSent() - sent0;
  }
  bytesPerUpdate = double(wire) / double(updates);
  state.SetItemsProcessed(static_cast<std::int64_t>(updates));
  state.counters["updates_per_s"] = double(updates) / total;
  state.counters["wire_bytes_per_update"] = bytesPerUpdate;
  state.counters["writer_ns_per_update"] = wSec / double(updates) * 1e9;
  state.counters["reader_ns_per_update"] = rSec / double(updates) * 1e9;
}

// The same bytes through two raw socket hops: a relay thread stands where
// the server does.
void BM_RawFloor(benchmark::State& state) {
  int a[2], b[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, a) != 0 ||
      ::socketpair(AF_UNIX, SOCK_STREAM, 0, b) != 0) {
    return state.SkipWithError("socketpair");
  }
  const std::uint64_t updates = std::uint64_t(intfCount) * attrsPerIntf;
  const std::size_t bytes = static_cast<std::size_t>(double(updates) * bytesPerUpdate);
  std::vector<char> chunk(65536, 'x');
  double total = 0;
  for (auto _ : state) {
    const auto t0 = Clock::now();
    std::thread relay([&] {
      std::vector<char> buf(65536);
      std::size_t left = bytes;
      while (left > 0) {
        const ssize_t n = ::read(a[1], buf.data(), std::min(buf.size(), left));
        if (n <= 0) return;
        for (ssize_t off = 0; off < n;) {
          const ssize_t m = ::write(b[0], buf.data() + off, static_cast<std::size_t>(n - off));
          if (m <= 0) return;
          off += m;
        }
        left -= static_cast<std::size_t>(n);
      }
    });
    std::thread reader([&] {
      std::vector<char> buf(65536);
      std::size_t left = bytes;
      while (left > 0) {
        const ssize_t n = ::read(b[1], buf.data(), std::min(buf.size(), left));
        if (n <= 0) return;
        left -= static_cast<std::size_t>(n);
      }
    });
    for (std::size_t sent = 0; sent < bytes;) {
      const ssize_t n = ::write(a[0], chunk.data(), std::min(chunk.size(), bytes - sent));
      if (n <= 0) break;
      sent += static_cast<std::size_t>(n);
    }
    relay.join();
    reader.join();
    total += std::chrono::duration<double>(Clock::now() - t0).count();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(updates * state.iterations()));
  state.counters["updates_per_s"] = double(updates * state.iterations()) / total;
  state.counters["bytes_per_update"] = bytesPerUpdate;
  for (int fd : {a[0], a[1], b[0], b[1]}) ::close(fd);
}

// Writer and replica in one process, joined by nothing but a byte buffer.
struct Pair {
  explicit Pair(unsigned n = intfCount) : count(n) { build(); }
  unsigned count;
  Statedb::internal::Index wIndex, rIndex;
  Statedb::internal::Session w{-1, wIndex, Statedb::internal::clientFirstIdentity,
                               std::size_t(1) << 40};
  Statedb::internal::Session r{-1, rIndex, Statedb::internal::serverFirstIdentity,
                               std::size_t(1) << 40};
  L3::Intf::Input::StatusDir::Ptr l3 = L3::Intf::Input::statusDirFactory("l3");
  Ip::Input::Status::Ptr ip4 = Ip::Input::statusFactory("ip4");
  L3::Intf::Input::StatusDir::Ptr rl3 = L3::Intf::Input::statusDirFactory("l3");
  Ip::Input::Status::Ptr rip4 = Ip::Input::statusFactory("ip4");
  std::vector<Ip::IpIntfStatus::Ptr> mine;
  std::vector<Lumen::IpAddrWithMask> addrs[2];
  unsigned round = 0;

  void build() {
    using Sa = Orv::Entity::OrvNboAttrLogSa;
    w.frameAtIs(~std::size_t(0));
    for (unsigned i = 0; i < count; ++i) {
      const Lumen::IntfId id("Ethernet" + std::to_string(i));
      mine.push_back(ip4->ipIntfStatusIs(id, l3->intfStatusIs(id)));
      addrs[0].push_back(addrOf(i, 1));
      addrs[1].push_back(addrOf(i, 2));
    }
    r.attach(*rl3, 1, Sa::remoteWriteAllowed | Sa::readOnly);
    r.attach(*rip4, 2, Sa::remoteWriteAllowed | Sa::readOnly);
    w.attach(*l3, 1, Sa::remoteWriteAllowed)->serializeAll();
    w.attach(*ip4, 2, Sa::remoteWriteAllowed)->serializeAll();
    apply();
  }
  ~Pair() {
    w.detachAll();
    r.detachAll();
    mine.clear();
    wIndex.clear();
    rIndex.clear();
  }
  // One round of 4 changes per status; returns the bytes written.
  std::size_t change() {
    ++round;
    w.stage()->drain();
    const auto& a = addrs[round % 2];
    for (unsigned i = 0; i < count; ++i) changeFour(*mine[i], a[i], round);
    return w.stage()->size();
  }
  void apply() {
    Orv::NboAttrLog::In in(w.stage()->bytes());
    r.applyEntries(in, [](const std::string&) {});
  }
};

// Updates per second and nanoseconds per update over the run.
void perUpdate(benchmark::State& state, unsigned n) {
  const double updates = double(state.iterations()) * n * attrsPerIntf;
  state.SetItemsProcessed(static_cast<std::int64_t>(updates));
  state.counters["ns_per_update"] =
      benchmark::Counter(updates, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_Encode(benchmark::State& state) {
  Pair p(static_cast<unsigned>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(p.change());
  perUpdate(state, p.count);
}

struct Plain {
  Lumen::IpAddrWithMask addr;
  std::uint16_t egress = 0, ingress = 0;
  bool dp = false;
};

void BM_EncodeFloor(benchmark::State& state) {
  const auto n = static_cast<unsigned>(state.range(0));
  std::vector<Plain> v(n);
  std::vector<Lumen::IpAddrWithMask> addrs[2];
  for (unsigned i = 0; i < n; ++i) {
    addrs[0].push_back(addrOf(i, 1));
    addrs[1].push_back(addrOf(i, 2));
  }
  unsigned round = 0;
  for (auto _ : state) {
    ++round;
    const auto& a = addrs[round % 2];
    for (unsigned i = 0; i < n; ++i) {
      Plain& s = v[i];
      if (!(s.addr == a[i])) s.addr = a[i];
      if (s.egress != 1000 + round) s.egress = static_cast<std::uint16_t>(1000 + round);
      if (s.ingress != 2000 + round) s.ingress = static_cast<std::uint16_t>(2000 + round);
      if (s.dp != (round % 2 == 1)) s.dp = round % 2 == 1;
    }
    benchmark::DoNotOptimize(v.data());
    benchmark::ClobberMemory();
  }
}

void BM_Apply(benchmark::State& state) {
  Pair p(static_cast<unsigned>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    p.change();
    state.ResumeTiming();
    p.apply();
  }
  perUpdate(state, p.count);
}

void BM_ApplyFloor(benchmark::State& state) {
  Pair p(static_cast<unsigned>(state.range(0)));
  const std::size_t n = p.change();
  std::vector<std::uint8_t> src(p.w.stage()->bytes()), dst(n);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), n);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
}

// 100,000 statuses, and 1,000 with a hundred times the iterations.
void atScale(benchmark::internal::Benchmark* b) {
  b->Arg(intfCount)->Unit(benchmark::kMillisecond)->Iterations(12);
}
void inCache(benchmark::internal::Benchmark* b) {
  b->Arg(1000)->Unit(benchmark::kMicrosecond)->Iterations(1200);
}

BENCHMARK(BM_Encode)->Apply(atScale);
IPMODEL_BENCHMARK_FLOOR(BM_EncodeFloor, BM_Encode)->Apply(atScale);
BENCHMARK(BM_Encode)->Apply(inCache);
IPMODEL_BENCHMARK_FLOOR(BM_EncodeFloor, BM_Encode)->Apply(inCache);
BENCHMARK(BM_Apply)->Apply(atScale);
IPMODEL_BENCHMARK_FLOOR(BM_ApplyFloor, BM_Apply)->Apply(atScale);
BENCHMARK(BM_Apply)->Apply(inCache);
IPMODEL_BENCHMARK_FLOOR(BM_ApplyFloor, BM_Apply)->Apply(inCache);
BENCHMARK(BM_EndToEnd)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(12);
IPMODEL_BENCHMARK_FLOOR(BM_RawFloor, BM_EndToEnd)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(12);

}  // namespace

IPMODEL_BENCH_MAIN();
