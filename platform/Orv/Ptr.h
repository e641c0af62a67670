// Intrusive reference counting: PtrInterface carries the count, Ptr<T> holds it.
//
// Counts are plain increments unless the process-wide thread-safe-pointers
// switch is on (threadSafePtrsIs(true)), in which case they are atomic adds.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <utility>

#include <ipmodel/Orv/Export.h>

namespace Orv {

namespace detail {
IPMODEL_API extern bool threadSafePtrs;
}

// Switches atomic reference counting on or off for the whole process. Flip it
// before other threads share pointers.
inline void threadSafePtrsIs(bool on) { detail::threadSafePtrs = on; }
inline bool threadSafePtrs() { return detail::threadSafePtrs; }

class NotifieeConst;

class IPMODEL_API PtrInterface {
 public:
  // The notifiees of counted objects (Entity.h), so that their flag sets
  // read PtrInterface::NotifieeConst::Orv_BitSet from any counted class.
  using NotifieeConst = Orv::NotifieeConst;

  PtrInterface() = default;
  PtrInterface(const PtrInterface&) : refs_(0) {}
  PtrInterface& operator=(const PtrInterface&) { return *this; }
  virtual ~PtrInterface() = default;

  std::uint32_t references() const { return refs_; }

  // Always inlined: these run on every setter that notifies, and the
  // library's exported inline members are otherwise called through the PLT.
  [[gnu::always_inline]] void newRef() const {
    if (detail::threadSafePtrs) [[unlikely]] {
      std::atomic_ref<std::uint32_t>(refs_).fetch_add(1, std::memory_order_relaxed);
    } else {
      ++refs_;
    }
  }
  [[gnu::always_inline]] void deleteRef() const {
    std::uint32_t left;
    if (detail::threadSafePtrs) [[unlikely]] {
      left = std::atomic_ref<std::uint32_t>(refs_).fetch_sub(1, std::memory_order_acq_rel) - 1;
    } else {
      left = --refs_;
    }
    if (left == 0) [[unlikely]]
      const_cast<PtrInterface*>(this)->onZeroReferences();
  }

 protected:
  // Called when the last counted pointer lets go. The default destroys the object.
  virtual void onZeroReferences() { delete this; }

 private:
  mutable std::uint32_t refs_ = 0;
};

template <class T>
class Ptr {
 public:
  using element_type = T;

  Ptr() noexcept = default;
  Ptr(std::nullptr_t) noexcept {}
  [[gnu::always_inline]] Ptr(T* p) noexcept : p_(p) {  // NOLINT: implicit, as raw pointers convert
    if (p_) p_->newRef();
  }
  Ptr(const Ptr& o) noexcept : p_(o.p_) {
    if (p_) p_->newRef();
  }
  Ptr(Ptr&& o) noexcept : p_(o.p_) { o.p_ = nullptr; }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(const Ptr<U>& o) noexcept : p_(o.ptr()) {  // NOLINT
    if (p_) p_->newRef();
  }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(Ptr<U>&& o) noexcept : p_(o.release()) {}  // NOLINT
  [[gnu::always_inline]] ~Ptr() {
    if (p_) p_->deleteRef();
  }

  Ptr& operator=(const Ptr& o) noexcept {
    T* old = p_;
    p_ = o.p_;
    if (p_) p_->newRef();
    if (old) old->deleteRef();
    return *this;
  }
  Ptr& operator=(Ptr&& o) noexcept {
    if (this != &o) {
      T* old = p_;
      p_ = o.p_;
      o.p_ = nullptr;
      if (old) old->deleteRef();
    }
    return *this;
  }
  Ptr& operator=(std::nullptr_t) noexcept {
    T* old = p_;
    p_ = nullptr;
    if (old) old->deleteRef();
    return *this;
  }

  T* ptr() const noexcept { return p_; }
  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }
  bool operator!() const noexcept { return p_ == nullptr; }

  // Gives up the reference without dropping it.
  T* release() noexcept {
    T* p = p_;
    p_ = nullptr;
    return p;
  }

  template <class U>
  bool operator==(const Ptr<U>& o) const noexcept {
    return p_ == o.ptr();
  }
  bool operator==(std::nullptr_t) const noexcept { return p_ == nullptr; }
  template <class U>
  bool operator<(const Ptr<U>& o) const noexcept {
    return std::less<const void*>()(p_, o.ptr());
  }

 private:
  T* p_ = nullptr;
};

template <class T, class U>
Ptr<T> ptr_cast(const Ptr<U>& p) {
  return Ptr<T>(dynamic_cast<T*>(p.ptr()));
}
template <class T, class U>
Ptr<T> const_ptr_cast(const Ptr<U>& p) {
  return Ptr<T>(const_cast<T*>(p.ptr()));
}

}  // namespace Orv
