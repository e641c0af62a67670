// Hand-written members of the IPv4 VRF types.
#include <ipmodel/Ip/IpVrf.h>

namespace Ip {

bool VrfCapability::afEnabledDefault(Lumen::AddressFamily af) const {
  switch (af) {
    case Lumen::AddressFamily::ipv4:
      return ipv4EnabledDefault_;
    case Lumen::AddressFamily::ipv6:
      return ipv6EnabledDefault_;
    default:
      // Only the two families have a default; anything else is a caller's bug.
      ORV_ASSERT_IN(false, "bool Ip::VrfCapability::afEnabledDefault(Lumen::AddressFamily) const");
      return false;
  }
}

}  // namespace Ip
