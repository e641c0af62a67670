// Replacement global operator new/delete that counts per thread. Every form is
// replaced so that each allocation is paired with free().
#include "AllocCounter.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace ipmodel::bench {

namespace {

thread_local AllocTotals totals;

void* allocate(std::size_t n, std::size_t align) {
  if (n == 0) n = 1;
  for (;;) {
    void* p = nullptr;
    if (align <= alignof(std::max_align_t)) {
      p = std::malloc(n);
    } else if (posix_memalign(&p, align, n) != 0) {
      p = nullptr;
    }
    if (p) {
      ++totals.allocations;
      totals.bytes += n;
      return p;
    }
    std::new_handler handler = std::get_new_handler();
    if (!handler) throw std::bad_alloc();
    handler();
  }
}

void* allocateNoThrow(std::size_t n, std::size_t align) noexcept {
  try {
    return allocate(n, align);
  } catch (...) {
    return nullptr;
  }
}

void release(void* p) noexcept {
  if (!p) return;
  ++totals.frees;
  std::free(p);
}

constexpr std::size_t plain = alignof(std::max_align_t);

}  // namespace

AllocTotals allocTotals() { return totals; }

}  // namespace ipmodel::bench

using ipmodel::bench::allocate;
using ipmodel::bench::allocateNoThrow;
using ipmodel::bench::plain;
using ipmodel::bench::release;

void* operator new(std::size_t n) { return allocate(n, plain); }
void* operator new[](std::size_t n) { return allocate(n, plain); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  return allocateNoThrow(n, plain);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return allocateNoThrow(n, plain);
}
void* operator new(std::size_t n, std::align_val_t a) {
  return allocate(n, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t n, std::align_val_t a) {
  return allocate(n, static_cast<std::size_t>(a));
}
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocateNoThrow(n, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocateNoThrow(n, static_cast<std::size_t>(a));
}

void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete(void* p, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
