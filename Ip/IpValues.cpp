// Computed members of the IPv4 value types.
#include <ipmodel/Ip/Ip.h>

namespace Ip {

std::uint32_t IntfAddrInfo::hash() const {
  // Sum of the member hashes, modulo 2^32.
  return intfId_.hash() + addr_.hash();
}

bool MulticastGroupInfo::isValid() const { return address_.isMulticast(); }

}  // namespace Ip
