// Hand-written members of the IPv6 interface entities: the VRF, which lives
// in the interface's layer-3 record; whether IPv6 is configured; the
// link-local address in force; and the best source address for a
// destination among an interface's addresses.
#include <ipmodel/Ip6/Ip6.h>

namespace Ip6 {

bool intfConfigGlobalAddrConfigured(Orv::Ptr<const IntfConfig> cfg) {
  for (auto it = cfg->addr().begin(); it != cfg->addr().end(); ++it) {
    if (!it.key().address().isLinkLocal()) return true;
  }
  return false;
}

bool intfLinkLocalAddrConfigured(Orv::Ptr<const IntfConfig> cfg) {
  return !(cfg->linkLocalAddrWithMask() == Lumen::Ip6AddrWithMask());
}

// --- configuration ------------------------------------------------------------

Lumen::Ip6Addr IntfConfig::sourceAddressForDestination(const Lumen::Ip6Addr& d) const {
  // Ascending address order: ties keep the smaller address.
  return bestSourceAddressOfKeys(addr_, d);
}

bool IntfConfig::ipv6Configured() const {
  const Orv::Ptr<const IntfConfig> self(this);
  // On a loopback interface only a global address counts: neither the
  // enable flag nor a link-local address.
  if (Lumen::LoopbackIntfId::isLoopbackIntfId(intfId_)) {
    return intfConfigGlobalAddrConfigured(self);
  }
  return enable_ || intfConfigGlobalAddrConfigured(self) || intfLinkLocalAddrConfigured(self);
}

L3::VrfName IntfConfig::vrf() const { return l3Config_ ? l3Config_->vrf() : L3::VrfName(); }

void IntfConfig::vrfIs(const L3::VrfName& v) {
  // The VRF is stored in the layer-3 record, which whoever created this
  // configuration sets first.
  ORV_ASSERT(l3Config_);
  l3Config_->vrfIs(v);
}

// --- status ---------------------------------------------------------------------

Lumen::Ip6AddrWithMask IntfStatus::linkLocalAddrWithMask() const {
  // The first link-local address in the collection's iteration order.
  for (auto it = addr_.begin(); it != addr_.end(); ++it) {
    if (it.key().address().isLinkLocal()) return it.key();
  }
  return Lumen::Ip6AddrWithMask();
}

Lumen::Ip6AddrWithMask IntfStatus::activeAddrWithMask() const {
  // An IPv6 interface has no single active address: callers use
  // linkLocalAddrWithMask() or addr(). Reaching this is a programming error.
  ORV_ASSERT_IN(0, "const Lumen::Ip6AddrWithMask Ip6::IntfStatus::activeAddrWithMask() const");
  return Lumen::Ip6AddrWithMask();
}

Lumen::Ip6Addr IntfStatus::sourceAddressForDestination(const Lumen::Ip6Addr& d) const {
  // The hashed collection's iteration order decides ties.
  return bestSourceAddressOfKeys(addr_, d);
}

L3::VrfName IntfStatus::vrf() const { return l3Status_ ? l3Status_->vrf() : L3::VrfName(); }

void IntfStatus::vrfIs(const L3::VrfName& v) {
  ORV_ASSERT(l3Status_);
  l3Status_->vrfIs(v);
}

Orv::Ptr<const IntfStatus> Status::ipIntfStatus(const Lumen::IntfId& id) const { return intf(id); }

}  // namespace Ip6
