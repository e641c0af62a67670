// Per-type allocation tracking: live objects and bytes for every type whose
// allocations go through the framework (entities, collection nodes).
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <typeinfo>
#include <vector>

#include <ipmodel/Orv/Export.h>

namespace Orv {

class IPMODEL_API AllocTrackTypeInfo {
 public:
  explicit AllocTrackTypeInfo(const std::type_info& type);
  AllocTrackTypeInfo(const AllocTrackTypeInfo&) = delete;
  AllocTrackTypeInfo& operator=(const AllocTrackTypeInfo&) = delete;

  const std::type_info& type() const { return *type_; }
  std::string typeName() const;  // demangled
  std::uint64_t liveObjects() const { return liveObjects_; }
  std::uint64_t liveBytes() const { return liveBytes_; }
  std::uint64_t totalAllocations() const { return totalAllocations_; }

  void allocated(std::size_t bytes) {
    ++liveObjects_;
    liveBytes_ += bytes;
    ++totalAllocations_;
  }
  void freed(std::size_t bytes) {
    --liveObjects_;
    liveBytes_ -= bytes;
  }

  // Every tracker that has been created, in creation order.
  static const std::vector<AllocTrackTypeInfo*>& all();
  static std::uint64_t totalLiveObjects();
  // "Type: n objects, b bytes" lines for every tracker with live objects.
  static std::string liveReport();

 private:
  const std::type_info* type_;
  std::uint64_t liveObjects_ = 0;
  std::uint64_t liveBytes_ = 0;
  std::uint64_t totalAllocations_ = 0;
};

// The one tracker of a type in the process, created on first use. Lookup is
// by type identity, so the library and a program that uses it share the
// tracker even though each instantiates allocTrack<T>() on its own.
IPMODEL_API AllocTrackTypeInfo& allocTrackFor(const std::type_info& type);

namespace detail {
template <class T>
struct AllocTrackHolder {
  static AllocTrackTypeInfo& info() {
    static AllocTrackTypeInfo& i = allocTrackFor(typeid(T));
    return i;
  }
};
}  // namespace detail

template <class T>
AllocTrackTypeInfo& allocTrack() {
  return detail::AllocTrackHolder<T>::info();
}

namespace detail {
// Out of line so that the pairing of allocation and release stays opaque to
// the optimiser (the class-specific operators below wrap the global ones).
IPMODEL_API void* trackedAlloc(AllocTrackTypeInfo& t, std::size_t n);
IPMODEL_API void trackedFree(AllocTrackTypeInfo& t, void* p, std::size_t n) noexcept;
}  // namespace detail

// Mix into a class to route its heap allocations through T's tracker:
//   class Foo : public Orv::AllocTracked<Foo> { ... };
// With a virtual destructor, `delete` of a derived object frees through the
// most-derived class's operator delete, so the bytes match.
template <class T>
struct AllocTracked {
  static void* operator new(std::size_t n) { return detail::trackedAlloc(allocTrack<T>(), n); }
  static void operator delete(void* p, std::size_t n) noexcept {
    detail::trackedFree(allocTrack<T>(), p, n);
  }
};

}  // namespace Orv
