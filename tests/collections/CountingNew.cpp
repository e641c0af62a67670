// Replaces the global allocation functions with counting ones, so tests can
// show that an operation allocates nothing. Kept in its own file so that the
// compiler never inlines them into callers.
#include "CountingNew.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> gNews{0};
}

long collTestNewCount() { return gNews.load(std::memory_order_relaxed); }

void* operator new(std::size_t n) {
  gNews.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
