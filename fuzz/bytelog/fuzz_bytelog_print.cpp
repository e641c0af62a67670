// Arbitrary bytes into the Bytelog reader: lines or NboAttrLogException,
// and reads stay within the input.
#include <cstddef>
#include <cstdint>

#include <ipmodel/ipmodel.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    Bytelog::print(data, size);
  } catch (const Orv::NboAttrLogException&) {
  }
  return 0;
}
