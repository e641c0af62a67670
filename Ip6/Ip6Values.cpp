// Computed members of the IPv6 value types.
#include <ipmodel/Ip6/Ip6.h>

namespace Ip6 {

Lumen::Ip6Addr AddressInfo::address() const { return key_.address(); }

std::uint32_t AddressInfo::length() const { return key_.len(); }

std::uint32_t IntfAddrInfo::hash() const {
  // Sum of the member hashes, modulo 2^32.
  return intfId_.hash() + addr_.hash();
}

bool MulticastGroupInfo::isValid() const { return !address_.isUnspecified(); }

}  // namespace Ip6
