// Attribute-log byte streams. Everything is written in network byte order:
// integers big-endian, doubles as their IEEE-754 bit pattern big-endian,
// booleans as one byte (0 or 1), strings as a 32-bit length then the bytes.
//
// In reads from bytes that came from another process: every read is bounds
// checked, and a truncated or malformed input raises NboAttrLogException
// without reading past the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/Ptr.h>

namespace Orv {
namespace NboAttrLog {

// A view of the bytes written to an Out, valid until the Out changes. It
// converts to std::vector for a copy that outlives it.
class Bytes {
 public:
  Bytes(const std::uint8_t* p, std::size_t n) : p_(p), n_(n) {}
  const std::uint8_t* data() const { return p_; }
  std::size_t size() const { return n_; }
  bool empty() const { return n_ == 0; }
  const std::uint8_t* begin() const { return p_; }
  const std::uint8_t* end() const { return p_ + n_; }
  std::uint8_t operator[](std::size_t i) const { return p_[i]; }
  operator std::vector<std::uint8_t>() const { return std::vector<std::uint8_t>(begin(), end()); }
  bool operator==(const Bytes& o) const {
    return n_ == o.n_ && (n_ == 0 || std::memcmp(p_, o.p_, n_) == 0);
  }

 private:
  const std::uint8_t* p_;
  std::size_t n_;
};

class IPMODEL_API Out : public PtrInterface {
 public:
  // capacity bounds how many bytes the log takes before it must drain; the
  // writers use hasRoom() to decide between writing and deferring.
  explicit Out(std::size_t capacity = std::numeric_limits<std::size_t>::max())
      : capacity_(capacity) {}

  static Ptr<Out> outIs(std::size_t capacity = std::numeric_limits<std::size_t>::max()) {
    return Ptr<Out>(new Out(capacity));
  }

  Out(const Out&) = delete;
  Out& operator=(const Out&) = delete;
  ~Out() override { std::free(buf_); }

  Bytes bytes() const { return Bytes(buf_, size_); }
  std::size_t size() const { return size_; }
  std::size_t capacity() const { return capacity_; }
  void capacityIs(std::size_t c) { capacity_ = c; }
  bool hasRoom(std::size_t n) const { return size_ + n <= capacity_; }
  // Drops everything written so far (the reader has consumed it); the
  // buffer is kept, so a steady writer does not allocate.
  void drain() { size_ = 0; }
  // Drops the first n bytes (a partial send).
  void consume(std::size_t n) {
    std::memmove(buf_, buf_ + n, size_ - n);
    size_ -= n;
  }

  void writeU8(std::uint8_t v) { *grow(1) = v; }
  void writeU16(std::uint16_t v) { put16(grow(2), v); }
  void writeU32(std::uint32_t v) { put32(grow(4), v); }
  void writeU64(std::uint64_t v) {
    std::uint8_t* p = grow(8);
    put32(p, std::uint32_t(v >> 32));
    put32(p + 4, std::uint32_t(v));
  }
  void writeBool(bool v) { writeU8(v ? 1 : 0); }
  void writeDouble(double v) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, 8);
    writeU64(bits);
  }
  // The length and the bytes in one step.
  [[gnu::always_inline]] void writeString(std::string_view s) {
    std::uint8_t* p = grow(4 + s.size());
    put32(p, static_cast<std::uint32_t>(s.size()));
    copy(p + 4, s.data(), s.size());
  }
  void writeBytes(const void* p, std::size_t n) { copy(grow(n), p, n); }
  // The head of an entry (adapter identity, attribute id) and n bytes after
  // it, with one capacity check; answers where those n bytes go. A value of
  // a fixed size is stored there directly, a longer one written after it.
  [[gnu::always_inline]] std::uint8_t* entry(std::uint32_t identity, std::uint16_t id,
                                             std::size_t n) {
    std::uint8_t* p = grow(6 + n);
    put32(p, identity);
    put16(p + 4, id);
    return p + 6;
  }
  static void put16(std::uint8_t* p, std::uint16_t v) {
    p[0] = std::uint8_t(v >> 8);
    p[1] = std::uint8_t(v);
  }
  static void put32(std::uint8_t* p, std::uint32_t v) {
    v = __builtin_bswap32(v);
    std::memcpy(p, &v, 4);
  }

 private:
  // n more bytes at the end; the buffer grows geometrically.
  [[gnu::always_inline]] std::uint8_t* grow(std::size_t n) {
    if (cap_ - size_ < n) reserveFor(size_ + n);
    std::uint8_t* p = buf_ + size_;
    size_ += n;
    return p;
  }
  void reserveFor(std::size_t n);
  static void copy(std::uint8_t* d, const void* s, std::size_t n) {
    if (n != 0) std::memcpy(d, s, n);
  }

  std::uint8_t* buf_ = nullptr;
  std::size_t size_ = 0;
  std::size_t cap_ = 0;
  std::size_t capacity_;
};

class IPMODEL_API In {
 public:
  In(const std::uint8_t* data, std::size_t len) : data_(data), len_(len) {}
  explicit In(const std::vector<std::uint8_t>& v) : data_(v.data()), len_(v.size()) {}
  explicit In(const Bytes& b) : data_(b.data()), len_(b.size()) {}

  std::size_t offset() const { return pos_; }
  const std::uint8_t* data() const { return data_; }
  std::size_t remaining() const { return len_ - pos_; }
  bool atEnd() const { return pos_ == len_; }

  std::uint8_t peekU8() const {
    need(1, "u8");
    return data_[pos_];
  }
  std::uint8_t readU8() {
    need(1, "u8");
    return data_[pos_++];
  }
  std::uint16_t readU16() {
    need(2, "u16");
    std::uint16_t v = std::uint16_t(data_[pos_] << 8 | data_[pos_ + 1]);
    pos_ += 2;
    return v;
  }
  std::uint32_t readU32() {
    need(4, "u32");
    std::uint32_t v;
    std::memcpy(&v, data_ + pos_, 4);
    pos_ += 4;
    return __builtin_bswap32(v);
  }
  std::uint64_t readU64() {
    std::uint64_t hi = readU32();
    return hi << 32 | readU32();
  }
  bool readBool() {
    std::uint8_t b = readU8();
    if (b > 1) fail("bool byte " + std::to_string(b) + " is neither 0 nor 1", pos_ - 1);
    return b == 1;
  }
  double readDouble() {
    std::uint64_t bits = readU64();
    double v;
    std::memcpy(&v, &bits, 8);
    return v;
  }
  std::string readString() {
    std::uint32_t n = readU32();
    if (n > remaining()) {
      fail("string of " + std::to_string(n) + " bytes but only " + std::to_string(remaining()) +
               " left",
           pos_ - 4);
    }
    std::string s(reinterpret_cast<const char*>(data_ + pos_), n);
    pos_ += n;
    return s;
  }
  void readBytes(void* out, std::size_t n) {
    need(n, "bytes");
    std::memcpy(out, data_ + pos_, n);
    pos_ += n;
  }
  // The next n bytes in place (valid while the input is), after the bounds
  // check: lets a reader validate before it copies.
  const std::uint8_t* readSpan(std::size_t n) {
    need(n, "bytes");
    const std::uint8_t* p = data_ + pos_;
    pos_ += n;
    return p;
  }

  // Raises NboAttrLogException "attribute log: <what> at offset <at>".
  [[noreturn]] void fail(const std::string& what, std::size_t at) const;
  [[noreturn]] void fail(const std::string& what) const { fail(what, pos_); }

 private:
  void need(std::size_t n, const char* what) const {
    if (n > len_ - pos_) truncated(n, what);
  }
  [[noreturn]] void truncated(std::size_t n, const char* what) const;

  const std::uint8_t* data_;
  std::size_t len_;
  std::size_t pos_ = 0;
};

// Stream operators for the built-in types. Value types add their own pair:
//   Out& operator<<(Out&, const T&);   In& operator>>(In&, T&);
inline Out& operator<<(Out& o, bool v) { return o.writeBool(v), o; }
inline Out& operator<<(Out& o, std::uint8_t v) { return o.writeU8(v), o; }
inline Out& operator<<(Out& o, std::uint16_t v) { return o.writeU16(v), o; }
inline Out& operator<<(Out& o, std::uint32_t v) { return o.writeU32(v), o; }
inline Out& operator<<(Out& o, std::int32_t v) { return o.writeU32(std::uint32_t(v)), o; }
inline Out& operator<<(Out& o, std::uint64_t v) { return o.writeU64(v), o; }
inline Out& operator<<(Out& o, std::int64_t v) { return o.writeU64(std::uint64_t(v)), o; }
inline Out& operator<<(Out& o, double v) { return o.writeDouble(v), o; }
inline Out& operator<<(Out& o, const std::string& v) { return o.writeString(v), o; }

inline In& operator>>(In& i, bool& v) { return v = i.readBool(), i; }
inline In& operator>>(In& i, std::uint8_t& v) { return v = i.readU8(), i; }
inline In& operator>>(In& i, std::uint16_t& v) { return v = i.readU16(), i; }
inline In& operator>>(In& i, std::uint32_t& v) { return v = i.readU32(), i; }
inline In& operator>>(In& i, std::int32_t& v) { return v = std::int32_t(i.readU32()), i; }
inline In& operator>>(In& i, std::uint64_t& v) { return v = i.readU64(), i; }
inline In& operator>>(In& i, std::int64_t& v) { return v = std::int64_t(i.readU64()), i; }
inline In& operator>>(In& i, double& v) { return v = i.readDouble(), i; }
inline In& operator>>(In& i, std::string& v) { return v = i.readString(), i; }

// The counted-pointer form used by generated code: `log << value`.
template <class T>
const Ptr<Out>& operator<<(const Ptr<Out>& o, const T& v) {
  *o << v;
  return o;
}

}  // namespace NboAttrLog
}  // namespace Orv
