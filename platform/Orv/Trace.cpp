#include <ipmodel/Orv/Trace.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

#include <ipmodel/Orv/Clock.h>
#include <ipmodel/Orv/Exception.h>

namespace Orv {

namespace {

// Handles register from static constructors in any compile unit and
// unregister from static destructors, so the registry is created on first use
// and never destroyed.
struct Registry {
  std::mutex mutex;
  std::vector<TraceHandle*> handles;
  std::shared_ptr<const TraceSink> sink;  // null: default sink
};

Registry& registry() {
  static auto* r = new Registry();
  return *r;
}

void checkLevel(int level) {
  if (level < TraceHandle::minLevel || level > TraceHandle::maxLevel) {
    throw RangeException("trace level " + std::to_string(level) + " is outside 0.." +
                         std::to_string(TraceHandle::maxLevel));
  }
}

void defaultSink(const TraceRecord& record) {
  std::string line = traceLine(record);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);  // one write: lines do not interleave
}

}  // namespace

TraceHandle::TraceHandle(std::string_view name) : name_(name) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  r.handles.push_back(this);
}

TraceHandle::~TraceHandle() {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  std::erase(r.handles, this);
}

void TraceHandle::levelIs(int level, bool on) {
  checkLevel(level);
  if (on) {
    mask_.fetch_or(1u << level, std::memory_order_relaxed);
  } else {
    mask_.fetch_and(~(1u << level), std::memory_order_relaxed);
  }
}

void TraceHandle::levelMaskIs(std::uint32_t mask) {
  mask_.store(mask & allLevels, std::memory_order_relaxed);
}

void TraceHandle::write(int level, std::string_view function, std::string_view message) const {
  std::shared_ptr<const TraceSink> sink;
  {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    sink = r.sink;
  }
  TraceRecord record{now(), name_, level, function, message};
  if (sink) {
    (*sink)(record);
  } else {
    defaultSink(record);
  }
}

TraceHandle& defaultTraceHandle() {
  static auto* h = new TraceHandle("Orv");  // never freed: usable from static destructors
  return *h;
}

TraceHandle* traceHandle(std::string_view name) {
  defaultTraceHandle();
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  for (TraceHandle* h : r.handles) {
    if (h->name() == name) return h;
  }
  return nullptr;
}

std::vector<TraceHandle*> traceHandles() {
  defaultTraceHandle();
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  return r.handles;
}

bool traceLevelIs(std::string_view name, int level, bool on) {
  checkLevel(level);
  defaultTraceHandle();
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  bool found = false;
  for (TraceHandle* h : r.handles) {
    if (h->name() == name) {
      h->levelIs(level, on);
      found = true;
    }
  }
  return found;
}

TraceSink traceSinkIs(TraceSink sink) {
  auto next = sink ? std::make_shared<const TraceSink>(std::move(sink)) : nullptr;
  Registry& r = registry();
  std::shared_ptr<const TraceSink> old;
  {
    std::lock_guard lock(r.mutex);
    old = std::exchange(r.sink, std::move(next));
  }
  return old ? *old : TraceSink();
}

std::string traceLine(const TraceRecord& record) {
  char time[32];
  std::snprintf(time, sizeof time, "%.6f", record.time);
  std::string line(time);
  line += ' ';
  line += record.handle;
  line += '/';
  line += std::to_string(record.level);
  line += ' ';
  // Handlers whose lines begin with their own signature already name it.
  if (record.message.substr(0, record.function.size()) != record.function) {
    line += record.function;
    line += ": ";
  }
  line += record.message;
  return line;
}

}  // namespace Orv
