// Tracing. Each compile unit that traces owns one named handle:
//
//   static Orv::TraceHandle trace("SrcIntf");
//   ...
//   ORV_TRACE(trace, 8, "handleIntf(" << intfId << ")");
//
// A handle has ten levels, 0 to 9, each switched on and off on its own; all
// start off. Checking a level is one load of the handle's mask and one branch,
// and the message is built (with an ostringstream) only when the level is on.
// Lines go to one process-wide sink; the default sink writes each line to
// stderr. Levels and the sink are set through this API only: the library
// reads no environment variables or files.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <ipmodel/Orv/Export.h>

namespace Orv {

// One trace line as handed to the sink. The views are valid only during the
// sink call.
struct TraceRecord {
  double time;  // Orv::now() when the line was written
  std::string_view handle;
  int level;
  std::string_view function;
  std::string_view message;
};

using TraceSink = std::function<void(const TraceRecord&)>;

class IPMODEL_API TraceHandle {
 public:
  static constexpr int minLevel = 0;
  static constexpr int maxLevel = 9;

  // Registers the handle under name; it stays findable until destroyed.
  // Several handles may share a name (one per compile unit of an area).
  explicit TraceHandle(std::string_view name);
  ~TraceHandle();
  TraceHandle(const TraceHandle&) = delete;
  TraceHandle& operator=(const TraceHandle&) = delete;

  const std::string& name() const { return name_; }

  // False for levels outside 0..9.
  bool enabled(int level) const {
    return static_cast<unsigned>(level) <= static_cast<unsigned>(maxLevel) &&
           (mask_.load(std::memory_order_relaxed) & (1u << level)) != 0;
  }
  // Throws RangeException for levels outside 0..9.
  void levelIs(int level, bool on);
  // Bit n is level n.
  std::uint32_t levelMask() const { return mask_.load(std::memory_order_relaxed); }
  void levelMaskIs(std::uint32_t mask);

  // Hands one line to the sink, whether or not the level is on; ORV_TRACE
  // checks the level first.
  void write(int level, std::string_view function, std::string_view message) const;

 private:
  static constexpr std::uint32_t allLevels = (1u << (maxLevel + 1)) - 1;

  std::string name_;
  std::atomic<std::uint32_t> mask_{0};
};

// The library's own handle, named "Orv".
IPMODEL_API TraceHandle& defaultTraceHandle();

// The first live handle registered under name, or null.
IPMODEL_API TraceHandle* traceHandle(std::string_view name);

// Every live handle, in registration order.
IPMODEL_API std::vector<TraceHandle*> traceHandles();

// Switches level on or off in every handle named name. Returns false when no
// handle has that name. Throws RangeException for levels outside 0..9.
IPMODEL_API bool traceLevelIs(std::string_view name, int level, bool on);

// Installs the process-wide sink and returns the one it replaced (empty for
// the default), so a caller can put it back. An empty function restores the
// default (one line per record on stderr). The sink may be called from any
// thread that traces, and may itself trace.
IPMODEL_API TraceSink traceSinkIs(TraceSink sink);

// The default sink's line for a record, without the newline:
//   "<time> <handle>/<level> <function>: <message>"
// and "<time> <handle>/<level> <message>" when the message already begins
// with the function text.
IPMODEL_API std::string traceLine(const TraceRecord& record);

}  // namespace Orv

// Traces with an explicit function text, for callers whose reported context
// must not depend on the compiler's spelling of the enclosing function.
#define ORV_TRACE_FN(handle, level, functionText, streamExpr)                    \
  do {                                                                           \
    if ((handle).enabled(level)) [[unlikely]] {                                  \
      std::ostringstream orvTraceStream_;                                        \
      orvTraceStream_ << streamExpr;                                             \
      (handle).write((level), (functionText), std::move(orvTraceStream_).str()); \
    }                                                                            \
  } while (0)

// Traces with the enclosing function as context.
#define ORV_TRACE(handle, level, streamExpr) \
  ORV_TRACE_FN(handle, level, __PRETTY_FUNCTION__, streamExpr)
