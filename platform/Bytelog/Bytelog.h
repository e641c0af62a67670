// Bytelog: a fast binary message trace. A message is a format string and
// its arguments; the hot path copies the arguments in binary (no text is
// formatted), and a reader turns the bytes into lines later, in this process
// or another one.
//
// Records, in a byte log:
//   u8 1, u32 id, string      the text of format id (written once per log)
//   u8 2, u32 id, u8 count, then per argument u8 kind and its value:
//     'u' u64, 'i' i64, 'b' u8 (0 or 1), 's' string
// Integers are big-endian; strings are a u32 length and the bytes.
//
// Formats take %s, %d, %i, %u (with l/ll/z length letters) and %%; every
// conversion prints the next argument in its own form, whatever the letter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/NboAttrLog.h>

namespace Bytelog {

class IPMODEL_API Log {
 public:
  // capacity bounds the bytes kept; messages that do not fit are counted as
  // dropped, never block and never allocate beyond it.
  explicit Log(std::size_t capacity = 1u << 20) : capacity_(capacity) {}

  // Records one message. fmt must be a string that outlives the log (a
  // literal): it is identified by its address.
  template <class... A>
  void msg(const char* fmt, const A&... args) {
    if (out_.size() >= capacity_) {
      ++dropped_;
      return;
    }
    const std::uint32_t id = formatId(fmt);
    out_.writeU8(2);
    out_.writeU32(id);
    out_.writeU8(static_cast<std::uint8_t>(sizeof...(A)));
    (put(args), ...);
  }

  Orv::NboAttrLog::Bytes bytes() const { return out_.bytes(); }
  std::uint64_t dropped() const { return dropped_; }
  // Forgets the messages (and the format texts, written again when next used).
  void clear();

 private:
  std::uint32_t formatId(const char* fmt);
  template <class T>
  void put(const T& v) {
    if constexpr (std::is_same_v<T, bool>) {
      out_.writeU8('b');
      out_.writeU8(v ? 1 : 0);
    } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
      out_.writeU8('i');
      out_.writeU64(static_cast<std::uint64_t>(static_cast<std::int64_t>(v)));
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
      out_.writeU8('u');
      out_.writeU64(static_cast<std::uint64_t>(v));
    } else {
      out_.writeU8('s');
      out_.writeString(std::string_view(v));
    }
  }

  Orv::NboAttrLog::Out out_;
  std::unordered_map<const char*, std::uint32_t> formats_;
  std::size_t capacity_;
  std::uint64_t dropped_ = 0;
};

// The process's log, which the library's own messages go to.
IPMODEL_API Log& defaultLog();

// The messages of a byte log as text, one line each. Bytes that do not form
// records raise Orv::NboAttrLogException.
IPMODEL_API std::vector<std::string> print(const std::uint8_t* data, std::size_t n);

}  // namespace Bytelog
