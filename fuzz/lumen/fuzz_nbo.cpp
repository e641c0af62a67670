// Feeds arbitrary bytes to every value type's attribute-log reader. Only
// NboAttrLogException may escape a read; a value that reads successfully must
// re-encode to exactly the bytes consumed and survive a text round trip.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "LumenFuzz.h"

namespace {

template <class T>
void fuzzNbo(const std::uint8_t* data, std::size_t size) {
  Orv::NboAttrLog::In in(data, size);
  T v;
  try {
    in >> v;
  } catch (const Orv::NboAttrLogException&) {
    return;
  }
  LUMEN_FUZZ_CHECK(in.offset() <= size);
  Orv::NboAttrLog::Out out;
  out << v;
  LUMEN_FUZZ_CHECK(out.size() == in.offset());
  LUMEN_FUZZ_CHECK(std::equal(out.bytes().begin(), out.bytes().end(), data));
  checkTextRoundTrip(v);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  forEachLumenType([&]<class T>() { fuzzNbo<T>(data, size); });

  Orv::NboAttrLog::In in(data, size);
  Lumen::AddressFamily af;
  try {
    in >> af;
    LUMEN_FUZZ_CHECK(Lumen::addressFamilyFromStrep(valueToStrep(af)) == af);
  } catch (const Orv::NboAttrLogException&) {
  }
  return 0;
}
