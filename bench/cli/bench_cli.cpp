// `ipmodel show --json` on a network namespace with 10,000 interfaces and
// 40,000 addresses, beside `ip -json address show` on the same namespace in
// the same run (the floor). Each iteration runs one program to completion
// with its output discarded; the figure is the child's CPU time (user +
// system, from wait4), wall time is printed beside it. Needs root (to make
// the namespace); without it the program says so and does nothing.
#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

constexpr int interfaces = 10000;
const std::string ns = "ipmodel-bench-" + std::to_string(::getpid());

struct Figures {
  double cpu = 0, wall = 0;
  int runs = 0;
};
Figures ipmodelFigures, ipFigures;

int runQuiet(const std::vector<std::string>& argv, rusage* usage = nullptr) {
  pid_t pid = ::fork();
  if (pid == 0) {
    int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, 1);
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    ::execvp(args[0], args.data());
    ::_exit(127);
  }
  int status = 0;
  rusage ru{};
  ::wait4(pid, &status, 0, &ru);
  if (usage) *usage = ru;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

double seconds(const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec * 1e-6; }

void runProgram(benchmark::State& state, const std::vector<std::string>& argv, Figures& f) {
  for (auto _ : state) {
    rusage ru{};
    const auto start = std::chrono::steady_clock::now();
    if (runQuiet(argv, &ru) != 0) {
      state.SkipWithError((argv[0] + " failed").c_str());
      return;
    }
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double cpu = seconds(ru.ru_utime) + seconds(ru.ru_stime);
    state.SetIterationTime(cpu);
    f.cpu += cpu;
    f.wall += wall;
    ++f.runs;
  }
}

void BM_IpmodelShowJson(benchmark::State& state) {
  runProgram(state, {IPMODEL_CLI_PATH, "show", "--json"}, ipmodelFigures);
}
void BM_IpJsonAddressShow(benchmark::State& state) {
  runProgram(state, {"ip", "-json", "address", "show"}, ipFigures);
}
BENCHMARK(BM_IpmodelShowJson)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_IpJsonAddressShow)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

const char* linkKind = "dummy";

// 10,000 dummy links (ifb links where the kernel has no dummy driver), each
// with two IPv4 addresses (primary and secondary) and two IPv6 ones; no
// link-local addresses, so exactly 40,000.
bool makeNamespace() {
  if (runQuiet({"ip", "netns", "add", ns}) != 0) return false;
  if (runQuiet({"ip", "-n", ns, "link", "add", "probe", "type", "dummy"}) != 0) linkKind = "ifb";
  runQuiet({"ip", "-n", ns, "link", "del", "probe"});
  const std::string batch = "/tmp/" + ns + ".batch";
  FILE* f = std::fopen(batch.c_str(), "w");
  if (!f) return false;
  for (int i = 0; i < interfaces; ++i) {
    std::fprintf(f, "link add d%d type %s\nlink set d%d addrgenmode none\n", i, linkKind, i);
  }
  for (int i = 0; i < interfaces; ++i) {
    const int a = i / 250, b = i % 250;
    std::fprintf(f, "address add 10.%d.%d.1/24 dev d%d\n", a, b, i);
    std::fprintf(f, "address add 10.%d.%d.2/24 dev d%d\n", a, b, i);
    std::fprintf(f, "address add 2001:db8:%x:%x::1/64 dev d%d nodad\n", a, b, i);
    std::fprintf(f, "address add 2001:db8:%x:%x::2/64 dev d%d nodad\n", a, b, i);
  }
  std::fclose(f);
  const int rc = runQuiet({"ip", "-n", ns, "-batch", batch});
  std::remove(batch.c_str());
  if (rc != 0) return false;
  // This process and the programs it starts live in the namespace from here.
  int fd = ::open(("/run/netns/" + ns).c_str(), O_RDONLY);
  return fd >= 0 && ::setns(fd, CLONE_NEWNET) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (::geteuid() != 0) {
    std::puts("bench_cli: needs root to make a network namespace; nothing measured");
    return 0;
  }
  const bool made = makeNamespace();
  if (made) benchmark::RunSpecifiedBenchmarks();
  runQuiet({"ip", "netns", "delete", ns});
  if (!made) {
    std::fputs("bench_cli: could not build the namespace\n", stderr);
    return 1;
  }
  if (ipmodelFigures.runs && ipFigures.runs) {
    const double n = ipmodelFigures.runs, m = ipFigures.runs;
    std::printf(
        "\n%d %s interfaces, %d addresses | CPU per run | floor (ip) | ratio | wall per run | "
        "floor wall | ratio\n",
        interfaces, linkKind, 4 * interfaces);
    std::printf("ipmodel show --json | %.1f ms | %.1f ms | %.2f | %.1f ms | %.1f ms | %.2f\n",
                1e3 * ipmodelFigures.cpu / n, 1e3 * ipFigures.cpu / m,
                (ipmodelFigures.cpu / n) / (ipFigures.cpu / m), 1e3 * ipmodelFigures.wall / n,
                1e3 * ipFigures.wall / m, (ipmodelFigures.wall / n) / (ipFigures.wall / m));
  }
  benchmark::Shutdown();
  return 0;
}
