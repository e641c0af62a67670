// Deterministic 32-bit hashing. No per-process seed: hashed collections iterate
// in the same order in every run and on every machine.
//
// Byte strings use MurmurHash3 x86_32 with seed 0; fixed-size integers use
// its 32-bit finaliser (fmix32), which spreads every input bit over the word.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace Orv {

constexpr std::uint32_t hashMix32(std::uint32_t h) {
  h ^= h >> 16;
  h *= 0x85ebca6bu;
  h ^= h >> 13;
  h *= 0xc2b2ae35u;
  h ^= h >> 16;
  return h;
}

inline std::uint32_t hashBytes(const void* data, std::size_t len, std::uint32_t seed = 0) {
  const auto* p = static_cast<const unsigned char*>(data);
  const std::size_t nblocks = len / 4;
  std::uint32_t h = seed;
  constexpr std::uint32_t c1 = 0xcc9e2d51u, c2 = 0x1b873593u;
  for (std::size_t i = 0; i < nblocks; ++i) {
    std::uint32_t k;
    std::memcpy(&k, p + i * 4, 4);  // little-endian machines only (x86-64)
    k *= c1;
    k = (k << 15) | (k >> 17);
    k *= c2;
    h ^= k;
    h = (h << 13) | (h >> 19);
    h = h * 5 + 0xe6546b64u;
  }
  const unsigned char* tail = p + nblocks * 4;
  std::uint32_t k = 0;
  switch (len & 3) {
    case 3:
      k ^= std::uint32_t(tail[2]) << 16;
      [[fallthrough]];
    case 2:
      k ^= std::uint32_t(tail[1]) << 8;
      [[fallthrough]];
    case 1:
      k ^= tail[0];
      k *= c1;
      k = (k << 15) | (k >> 17);
      k *= c2;
      h ^= k;
  }
  h ^= static_cast<std::uint32_t>(len);
  return hashMix32(h);
}

inline std::uint32_t hashString(std::string_view s) { return hashBytes(s.data(), s.size()); }
constexpr std::uint32_t hashU32(std::uint32_t v) { return hashMix32(v); }
constexpr std::uint32_t hashU64(std::uint64_t v) {
  return hashMix32(static_cast<std::uint32_t>(v) ^ hashMix32(static_cast<std::uint32_t>(v >> 32)));
}

constexpr std::uint32_t bitReverse32(std::uint32_t v) {
  v = ((v >> 1) & 0x55555555u) | ((v & 0x55555555u) << 1);
  v = ((v >> 2) & 0x33333333u) | ((v & 0x33333333u) << 2);
  v = ((v >> 4) & 0x0f0f0f0fu) | ((v & 0x0f0f0f0fu) << 4);
  return __builtin_bswap32(v);
}

}  // namespace Orv

#include <type_traits>

namespace Orv {

// hashOf(k): the 32-bit hash of a collection key. Value types provide hash().
template <class K>
requires requires(const K& k) {
  { k.hash() } -> std::convertible_to<std::uint32_t>;
}
std::uint32_t hashOf(const K& k) { return static_cast<std::uint32_t>(k.hash()); }
inline std::uint32_t hashOf(const std::string& s) { return hashString(s); }
template <class K>
requires(std::is_integral_v<K> || std::is_enum_v<K>) constexpr std::uint32_t hashOf(K k) {
  if constexpr (sizeof(K) <= 4) {
    return hashU32(static_cast<std::uint32_t>(k));
  } else {
    return hashU64(static_cast<std::uint64_t>(k));
  }
}

}  // namespace Orv
