// Arbitrary bytes into the attribute-log readers of generated value types and
// enumerations: only NboAttrLogException may escape, and reads stay within
// the input (AddressSanitizer checks that).
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <ipmodel/ipmodel.h>

namespace {

template <class T>
void read(const std::uint8_t* data, std::size_t size) {
  Orv::NboAttrLog::In in(data, size);
  try {
    T v(in);
    auto out = Orv::NboAttrLog::Out::outIs();
    *out << v;
    Orv::NboAttrLog::In again(out->bytes());
    if (!(T(again) == v)) std::abort();
  } catch (const Orv::NboAttrLogException&) {
  } catch (const Orv::RangeException&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  read<Ip::IntfAddrInfo>(data, size);
  read<Ip::MulticastGroupInfo>(data, size);
  read<Urpf::UrpfConfig>(data, size);
  read<VirtualIp::VrfIpPair>(data, size);
  read<VirtualIp::VrfIpWithMaskPair>(data, size);
  read<VrfTypes::VrfCleanupEntry>(data, size);
  read<L3::UpdateIpIntfStatusRequest>(data, size);
  read<L3::ProtocolAgentModelType>(data, size);
  Orv::NboAttrLog::In in(data, size);
  try {
    Ip::IpAddrScope s;
    in >> s;
    Ip::RouteDistinguisherInput::ClientPrecedence p;
    in >> p;
  } catch (const Orv::NboAttrLogException&) {
  }
  return 0;
}
