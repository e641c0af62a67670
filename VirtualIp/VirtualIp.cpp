// Computed members of the virtual-address value types.
#include <ipmodel/VirtualIp/VirtualIp.h>

namespace VirtualIp {

namespace {
// An empty VRF name hashes to 0, so a pair without a VRF hashes as its address.
std::uint32_t nameHash(const L3::VrfName& n) { return n.empty() ? 0 : n.hash(); }
}  // namespace

std::uint32_t VrfIpPair::hash() const { return ip_.hash() ^ nameHash(vrfName_); }

std::uint32_t VrfIpWithMaskPair::hash() const { return ipWithMask_.hash() ^ nameHash(vrfName_); }

VrfIpPair VrfIpWithMaskPair::vrfIp() const { return VrfIpPair(vrfName_, ipWithMask_.ipGenAddr()); }

}  // namespace VirtualIp
