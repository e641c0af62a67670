// Arbitrary text into the readers of generated value types and enumerations.
// A reader either yields a value whose text reads back to the same value, or
// raises StrepReadException (RangeException for out-of-range parts); nothing
// else may happen.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <ipmodel/ipmodel.h>

namespace {

template <class T>
void roundTrip(const std::string& text) {
  try {
    T v = Orv::strepToValue<T>(text);
    if (!(Orv::strepToValue<T>(Orv::valueToStrep(v)) == v)) std::abort();
  } catch (const Orv::StrepReadException&) {
  } catch (const Orv::RangeException&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  roundTrip<Ip::IntfAddrInfo>(text);
  roundTrip<Urpf::UrpfConfig>(text);
  roundTrip<Urpf::UrpfStatus>(text);
  roundTrip<Ip::IpAddrScope>(text);
  roundTrip<Ip::TristateBool>(text);
  roundTrip<Ip::VrfState>(text);
  roundTrip<Ip::RouteDistinguisherInput::ClientPrecedence>(text);
  roundTrip<VirtualIp::VrfIpPair>(text);
  roundTrip<VirtualIp::VrfIpWithMaskPair>(text);
  roundTrip<VrfTypes::VrfCleanupEntry>(text);
  roundTrip<L3::UpdateIpIntfStatusRequest>(text);
  roundTrip<VirtualIp::VrfIpWithMaskPair>("Value('VirtualIp::VrfIpWithMaskPair', ** {'vrfName': " +
                                          text + ", 'ipWithMask': 10.0.0.1/24})");
  // Seed-like inputs: the fuzzer's text inside a valid frame.
  roundTrip<Ip::IntfAddrInfo>("Value('Ip::IntfAddrInfo', ** {'intfId': " + text +
                              ", 'addr': 10.0.0.1})");
  roundTrip<Urpf::UrpfConfig>("Value('Urpf::UrpfConfig', ** {'mode': strict, 'acl': " + text +
                              "})");
  return 0;
}
