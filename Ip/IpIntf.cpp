// Hand-written members of the IPv4 interface entities: the VRF, which lives
// in the interface's layer-3 record, and the active virtual address.
#include <ipmodel/Ip/Ip.h>

namespace Ip {

L3::VrfName IpIntfConfig::vrf() const { return l3Config_ ? l3Config_->vrf() : L3::VrfName(); }

void IpIntfConfig::vrfIs(const L3::VrfName& v) {
  // The VRF is stored in the layer-3 record; without one there is nowhere to
  // put it.
  if (!l3Config_) {
    throw Orv::RangeException("IpIntfConfig::vrf of " + intfId_.stringValue() +
                              " cannot be set without l3Config");
  }
  l3Config_->vrfIs(v);
}

Lumen::IpAddrWithMask IpIntfStatus::activeVirtualAddrWithMask() const {
  return useVirtualAddr_ ? activeAddrWithMask_ : Lumen::IpAddrWithMask();
}

L3::VrfName IpIntfStatus::vrf() const { return l3Status_ ? l3Status_->vrf() : L3::VrfName(); }

void IpIntfStatus::vrfIs(const L3::VrfName& v) {
  if (!l3Status_) {
    throw Orv::RangeException("IpIntfStatus::vrf of " + intfId_.stringValue() +
                              " cannot be set without l3Status");
  }
  l3Status_->vrfIs(v);
}

}  // namespace Ip
