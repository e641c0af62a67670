// Wall-clock time for the framework, in seconds since the Unix epoch as a
// double. Everything in the library that stamps or compares times reads it
// through Orv::now(), so tests can install a fake clock and step it by hand.
#pragma once

#include <functional>

#include <ipmodel/Orv/Export.h>

namespace Orv {

using ClockFn = std::function<double()>;

// The current time: the installed clock's reading, or CLOCK_REALTIME when no
// clock is installed.
IPMODEL_API double now();

// CLOCK_REALTIME, whatever clock is installed.
IPMODEL_API double realNow();

// Installs the clock that now() reads; an empty function restores the real
// clock. Install before other threads call now().
IPMODEL_API void clockIs(ClockFn clock);

}  // namespace Orv
