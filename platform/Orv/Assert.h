// Assertions that stay on in every build type. A failed assertion is a
// programming error: it prints the expression and the function it names, then
// aborts the process. NDEBUG does not remove them.
#pragma once

#include <ipmodel/Orv/Export.h>

namespace Orv {

[[noreturn]] IPMODEL_API void assertFail(const char* expr, const char* file, int line,
                                         const char* function) noexcept;

}  // namespace Orv

#define ORV_ASSERT(expr)         \
  ((expr) ? static_cast<void>(0) \
          : ::Orv::assertFail(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__))

// Same, but with an explicit function text (used where the reported context is
// part of the contract and must not depend on the compiler's spelling).
#define ORV_ASSERT_IN(expr, functionText) \
  ((expr) ? static_cast<void>(0) : ::Orv::assertFail(#expr, __FILE__, __LINE__, functionText))
