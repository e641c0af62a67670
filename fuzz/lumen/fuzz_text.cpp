// Feeds arbitrary text to every value type's parsers: the throwing constructor
// and tryParse must agree, and whatever parses must print and parse back to
// the same value.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "LumenFuzz.h"

namespace {

template <class T>
void fuzzText(std::string_view text) {
  T parsed;
  const bool ok = T::tryParse(text, parsed);
  bool threw = false;
  try {
    const T v(text);
    LUMEN_FUZZ_CHECK(ok && v == parsed);
  } catch (const Orv::StrepReadException&) {
    threw = true;
  } catch (const Orv::RangeException&) {
    threw = true;  // the length-limited names
  }
  LUMEN_FUZZ_CHECK(ok != threw);
  if (!ok) return;
  checkTextRoundTrip(parsed);
  checkLogRoundTrip(parsed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  forEachLumenType([&]<class T>() { fuzzText<T>(text); });

  Lumen::AddressFamily af;
  const bool ok = Lumen::tryParse(text, af);
  bool threw = false;
  try {
    LUMEN_FUZZ_CHECK(Lumen::addressFamilyFromStrep(text) == af);
  } catch (const Orv::StrepReadException&) {
    threw = true;
  }
  LUMEN_FUZZ_CHECK(ok != threw);
  if (ok) LUMEN_FUZZ_CHECK(Lumen::addressFamilyFromStrep(valueToStrep(af)) == af);
  return 0;
}
