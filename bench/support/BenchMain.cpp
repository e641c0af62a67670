#include "BenchMain.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <ostream>
#include <utility>

namespace ipmodel::bench {

namespace {

std::string formatTime(double seconds) {
  static constexpr std::pair<double, const char*> units[] = {
      {1.0, "s"}, {1e-3, "ms"}, {1e-6, "us"}, {1e-9, "ns"}};
  const auto* u = std::begin(units);
  while (seconds < u->first && u + 1 != std::end(units)) ++u;
  char text[32];
  std::snprintf(text, sizeof text, "%.3g %s", seconds / u->first, u->second);
  return text;
}

std::string pad(std::string s, std::size_t width) {
  if (s.size() < width) s.append(width - s.size(), ' ');
  return s;
}

// Forwards to the console reporter and keeps every iteration run's time for
// the floor table, printed once all benchmarks have run.
class FloorReporter : public benchmark::BenchmarkReporter {
 public:
  explicit FloorReporter(benchmark::ConsoleReporter::OutputOptions options) : console_(options) {}

  bool ReportContext(const Context& context) override { return console_.ReportContext(context); }

  void ReportRuns(const std::vector<Run>& runs) override {
    console_.ReportRuns(runs);
    for (const Run& run : runs) {
      // Aggregates (mean, stddev...) are left out: repeated runs are averaged
      // below instead.
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      std::string name = run.benchmark_name();
      double seconds = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
      auto [it, added] = index_.try_emplace(name, sums_.size());
      if (added) sums_.push_back({name, 0.0, 0});
      sums_[it->second].total += seconds;
      ++sums_[it->second].count;
    }
  }

  void Finalize() override {
    console_.Finalize();
    std::vector<Timing> timings;
    for (const Sum& s : sums_) timings.push_back({s.name, s.total / s.count});
    std::string table = floorTable(timings);
    if (!table.empty()) GetOutputStream() << "\n" << table << std::flush;
  }

 private:
  struct Sum {
    std::string name;
    double total;
    int count;
  };
  benchmark::ConsoleReporter console_;
  std::vector<Sum> sums_;
  std::map<std::string, std::size_t> index_;
};

// The value of --flag=value in argv, or empty.
std::string_view flagValue(int argc, char** argv, std::string_view flag) {
  for (int i = 1; i < argc; ++i) {
    std::string_view arg(argv[i]);
    if (arg.size() > flag.size() + 3 && arg.starts_with("--") && arg.substr(2).starts_with(flag) &&
        arg[flag.size() + 2] == '=') {
      return arg.substr(flag.size() + 3);
    }
  }
  return {};
}

}  // namespace

std::string floorTable(const std::vector<Timing>& timings) {
  std::map<std::string_view, double> floors;
  for (const Timing& t : timings) {
    std::string_view name(t.name);
    if (name.starts_with(floorPrefix)) floors.emplace(name.substr(floorPrefix.size()), t.seconds);
  }
  if (floors.empty()) return {};

  struct Row {
    std::string name, time, floor, ratio;
  };
  std::vector<Row> rows{{"name", "time/op", "floor time/op", "ratio"}};
  std::map<std::string_view, bool> paired;
  for (const Timing& t : timings) {
    auto f = floors.find(t.name);
    if (f == floors.end()) continue;
    paired[f->first] = true;
    char ratio[32];
    if (f->second > 0) {
      std::snprintf(ratio, sizeof ratio, "%.2f", t.seconds / f->second);
    } else {
      std::snprintf(ratio, sizeof ratio, "-");
    }
    rows.push_back({t.name, formatTime(t.seconds), formatTime(f->second), ratio});
  }

  std::size_t widths[4] = {};
  for (const Row& r : rows) {
    widths[0] = std::max(widths[0], r.name.size());
    widths[1] = std::max(widths[1], r.time.size());
    widths[2] = std::max(widths[2], r.floor.size());
  }
  std::string out;
  for (const Row& r : rows) {
    out += pad(r.name, widths[0]) + " | " + pad(r.time, widths[1]) + " | " +
           pad(r.floor, widths[2]) + " | " + r.ratio + "\n";
  }
  for (const auto& [name, seconds] : floors) {
    if (!paired.contains(name)) {
      out += std::string(floorPrefix) + std::string(name) + ": no benchmark named " +
             std::string(name) + "\n";
    }
  }
  return out;
}

void allocCountersIs(benchmark::State& state, const AllocCounter& counter) {
  // Both read before the counters map allocates its entries.
  auto allocations = static_cast<double>(counter.allocations());
  auto bytes = static_cast<double>(counter.bytes());
  state.counters["allocs/op"] = benchmark::Counter(allocations, benchmark::Counter::kAvgIterations);
  state.counters["bytes/op"] = benchmark::Counter(bytes, benchmark::Counter::kAvgIterations);
}

int benchMain(int argc, char** argv) {
  // JSON or CSV on stdout stays machine-readable: no table there (the floors
  // are in the output as ordinary runs).
  std::string_view format = flagValue(argc, argv, "benchmark_format");
  std::string_view color = flagValue(argc, argv, "benchmark_color");
  bool useColor = isatty(STDOUT_FILENO);
  if (color == "false" || color == "no" || color == "off" || color == "0") useColor = false;
  if (color == "true" || color == "yes" || color == "on" || color == "1") useColor = true;

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (format.empty() || format == "console") {
    FloorReporter reporter(useColor ? benchmark::ConsoleReporter::OO_ColorTabular
                                    : benchmark::ConsoleReporter::OO_Tabular);
    benchmark::RunSpecifiedBenchmarks(&reporter);
  } else {
    benchmark::RunSpecifiedBenchmarks();
  }
  benchmark::Shutdown();
  return 0;
}

}  // namespace ipmodel::bench
