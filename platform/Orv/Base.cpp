// Process-wide pieces of the framework: the assertion reporter, the
// thread-safe-pointers switch, allocation trackers and log read errors.
#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <sstream>
#include <typeindex>
#include <unordered_map>

#include <ipmodel/Orv/AllocTrack.h>
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/NboAttrLog.h>
#include <ipmodel/Orv/Ptr.h>

namespace Orv {

namespace detail {
bool threadSafePtrs = false;
}

void assertFail(const char* expr, const char* file, int line, const char* function) noexcept {
  std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, function, expr);
  std::fflush(stderr);
  std::abort();
}

namespace detail {
void* trackedAlloc(AllocTrackTypeInfo& t, std::size_t n) {
  void* p = ::operator new(n);
  t.allocated(n);
  return p;
}
void trackedFree(AllocTrackTypeInfo& t, void* p, std::size_t n) noexcept {
  t.freed(n);
  ::operator delete(p);
}
}  // namespace detail

namespace {
std::vector<AllocTrackTypeInfo*>& registry() {
  static auto* r = new std::vector<AllocTrackTypeInfo*>();  // never freed: trackers outlive all
  return *r;
}
}  // namespace

AllocTrackTypeInfo::AllocTrackTypeInfo(const std::type_info& type) : type_(&type) {
  registry().push_back(this);
}

AllocTrackTypeInfo& allocTrackFor(const std::type_info& type) {
  static std::mutex m;
  static auto* byType = new std::unordered_map<std::type_index, AllocTrackTypeInfo*>();
  std::lock_guard lock(m);
  auto [it, inserted] = byType->emplace(std::type_index(type), nullptr);
  if (inserted) it->second = new AllocTrackTypeInfo(type);  // lives for the process
  return *it->second;
}

std::string AllocTrackTypeInfo::typeName() const {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> d(
      abi::__cxa_demangle(type_->name(), nullptr, nullptr, &status), std::free);
  return status == 0 && d ? std::string(d.get()) : std::string(type_->name());
}

const std::vector<AllocTrackTypeInfo*>& AllocTrackTypeInfo::all() { return registry(); }

std::uint64_t AllocTrackTypeInfo::totalLiveObjects() {
  std::uint64_t n = 0;
  for (auto* t : registry()) n += t->liveObjects();
  return n;
}

std::string AllocTrackTypeInfo::liveReport() {
  std::ostringstream os;
  for (auto* t : registry()) {
    if (t->liveObjects() != 0) {
      os << t->typeName() << ": " << t->liveObjects() << " objects, " << t->liveBytes()
         << " bytes\n";
    }
  }
  return os.str();
}

namespace NboAttrLog {

void Out::reserveFor(std::size_t n) {
  std::size_t c = cap_ < 64 ? 64 : cap_;
  while (c < n) c *= 2;
  auto* p = static_cast<std::uint8_t*>(std::realloc(buf_, c));
  if (p == nullptr) throw std::bad_alloc();
  buf_ = p;
  cap_ = c;
}

void In::fail(const std::string& what, std::size_t at) const {
  throw NboAttrLogException("attribute log: " + what + " at offset " + std::to_string(at));
}

void In::truncated(std::size_t n, const char* what) const {
  fail(std::string("truncated input: ") + what + " needs " + std::to_string(n) + " bytes, " +
           std::to_string(len_ - pos_) + " left",
       pos_);
}

}  // namespace NboAttrLog
}  // namespace Orv
