// The generic interface machine: each change of one VRF's interface statuses
// becomes changedIntf/changedAddr and one or two counter bumps on the generic
// interface status, in the order reset, set, bump.
#include <ipmodel/IpGen/IpGenIntfSm.h>
#include <ipmodel/IpGen/internal/ReactorSweep.h>
#include <ipmodel/Orv/Trace.h>

namespace IpGen {

namespace {

Orv::TraceHandle trace("Ira::IpGenIntfSm");

// Each line begins with the handler's name.
#define SM_TRACE(name, pieces) ORV_TRACE_FN(trace, 8, name, name << pieces)

// Clears the previous change, names this one, then bumps the counters: the
// fields keep naming this change after the notifications.
template <class... Bumps>
void announce(IntfStatus* s, const Lumen::IntfId& intfId, const Lumen::IpGenAddrWithMask& addr,
              Bumps... bumps) {
  if (!s) return;
  s->reset();
  s->changedIntfIs(intfId);
  s->changedAddrIs(addr);
  ((s->*bumps)(1), ...);
}

}  // namespace

void IntfSm::handleInitialized() {
  SM_TRACE("handleInitialized", "");
  initializedIs(true);
  if (auto* v4 = dynamic_cast<Ipv4IntfStatus*>(intfStatus_.ptr())) {
    SM_TRACE("handleInitialized", "(IPv4)");
    ipv4StatusIs(v4->vrfIpIntfStatus());
  } else if (auto* v6 = dynamic_cast<Ipv6IntfStatus*>(intfStatus_.ptr())) {
    SM_TRACE("handleInitialized", "(IPv6)");
    ipv6StatusIs(v6->vrfIp6IntfStatus());
  } else {
    ORV_ASSERT_IN(0 && "A derived type of IntfStatus must be supplied as a constructor arg",
                  "void IpGen::IntfSm::handleInitialized()");
  }
}

void IntfSm::handleIntfStatus(const Lumen::IntfId& intfId) {
  SM_TRACE("handleIntfStatus", "(" << intfId << ")");
  announce(intfStatus_.ptr(), intfId, Lumen::IpGenAddrWithMask(),
           &IntfStatus::intfStatusChangedInc);
}

void IntfSm::handleDpRouting(const Lumen::IntfId& intfId) {
  SM_TRACE("handleDpRouting", "(" << intfId << ")");
  announce(intfStatus_.ptr(), intfId, Lumen::IpGenAddrWithMask(), &IntfStatus::dpRoutingChangedInc);
}

// --- the VRF's interface collection -------------------------------------------
// An entry that comes or goes is announced first; then its reactor follows.

void IntfSm::OrvIpv4Status::onIpIntfStatus(const Lumen::IntfId& intfId) {
  if (!sm()) return;
  sm()->handleIntfStatus(intfId);
  if (auto s = notifier()->ipIntfStatus(intfId)) {
    sm()->ipv4IntfStatusIs(s);
  } else {
    sm()->ipv4IntfStatusDel(intfId);
  }
}

void IntfSm::OrvIpv4Status::onIpIntfStatusorvImmediate() {
  if (!sm()) return;
  IntfSm& m = *sm();
  detail::sweepReactors(
      notifier()->ipIntfStatus(), m.ipv4IntfStatus(), [&](const auto& s) { m.ipv4IntfStatusIs(s); },
      [&](const Lumen::IntfId& k) { m.ipv4IntfStatusDel(k); });
}

void IntfSm::OrvIpv6Status::onIp6IntfStatus(const Lumen::IntfId& intfId) {
  if (!sm()) return;
  sm()->handleIntfStatus(intfId);
  if (auto s = notifier()->ip6IntfStatus(intfId)) {
    sm()->ipv6IntfStatusIs(s);
  } else {
    sm()->ipv6IntfStatusDel(intfId);
  }
}

void IntfSm::OrvIpv6Status::onIp6IntfStatusorvImmediate() {
  if (!sm()) return;
  IntfSm& m = *sm();
  detail::sweepReactors(
      notifier()->ip6IntfStatus(), m.ipv6IntfStatus(),
      [&](const auto& s) { m.ipv6IntfStatusIs(s); },
      [&](const Lumen::IntfId& k) { m.ipv6IntfStatusDel(k); });
}

// --- IPv4 interfaces ---------------------------------------------------------------

void IntfSm::OrvIpv4IntfStatus::onDpRoutingEnabled() {
  if (sm()) sm()->handleDpRouting(fwkKey());
}
void IntfSm::OrvIpv4IntfStatus::onUseVirtualAddr() { handleVirtualAddr(); }
void IntfSm::OrvIpv4IntfStatus::onActiveAddrWithMask() { handlePrimaryAddr(); }
void IntfSm::OrvIpv4IntfStatus::onUnnumberedIntfId() { handleUnnumberedIntfId(); }
void IntfSm::OrvIpv4IntfStatus::onActiveSecondaryWithMask(const Lumen::IpAddrWithMask& a) {
  handleSecondaryAddr(a);
}

void IntfSm::OrvIpv4IntfStatus::handlePrimaryAddr() {
  SM_TRACE("handlePrimaryAddr", "(" << fwkKey() << ")");
  if (!sm()) return;
  announce(sm()->intfStatus().ptr(), fwkKey(), notifier()->activeAddrWithMask(),
           &IntfStatus::addrChangedInc, &IntfStatus::activeAddrChangedInc);
}

// A virtual-address switch announces the interface's active address.
void IntfSm::OrvIpv4IntfStatus::handleVirtualAddr() {
  SM_TRACE("handleVirtualAddr", "(" << fwkKey() << ")");
  if (!sm()) return;
  announce(sm()->intfStatus().ptr(), fwkKey(), notifier()->activeAddrWithMask(),
           &IntfStatus::addrChangedInc, &IntfStatus::virtualAddrChangedInc);
}

void IntfSm::OrvIpv4IntfStatus::handleUnnumberedIntfId() {
  SM_TRACE("handleUnnumberedIntfId", "(" << fwkKey() << ")");
  if (!sm()) return;
  announce(sm()->intfStatus().ptr(), fwkKey(), notifier()->activeAddrWithMask(),
           &IntfStatus::activeAddrChangedInc);
}

void IntfSm::OrvIpv4IntfStatus::handleSecondaryAddr() {
  for (auto it = notifier()->activeSecondaryWithMask().begin();
       it != notifier()->activeSecondaryWithMask().end(); ++it) {
    handleSecondaryAddr(it.key());
  }
}

void IntfSm::OrvIpv4IntfStatus::handleSecondaryAddr(const Lumen::IpAddrWithMask& a) {
  SM_TRACE("handleSecondaryAddr", "(" << fwkKey() << "," << a << ")");
  if (!sm()) return;
  announce(sm()->intfStatus().ptr(), fwkKey(), a, &IntfStatus::addrChangedInc);
}

// --- IPv6 interfaces ---------------------------------------------------------------

void IntfSm::OrvIpv6IntfStatus::onDpRoutingEnabled() {
  if (sm()) sm()->handleDpRouting(fwkKey());
}
void IntfSm::OrvIpv6IntfStatus::onAddr(const Lumen::Ip6AddrWithMask& a) { handleAddr(a); }

void IntfSm::OrvIpv6IntfStatus::handleAddr() {
  for (auto it = notifier()->addr().begin(); it != notifier()->addr().end(); ++it) {
    handleAddr(it.key());
  }
}

// The link-local address is the generic view's active IPv6 address, so only
// its changes also bump activeAddrChanged.
void IntfSm::OrvIpv6IntfStatus::handleAddr(const Lumen::Ip6AddrWithMask& a) {
  SM_TRACE("handleAddr", "(" << fwkKey() << "," << a << ")");
  if (!sm()) return;
  IntfStatus* s = sm()->intfStatus().ptr();
  announce(s, fwkKey(), a, &IntfStatus::addrChangedInc);
  if (s && a.address().isLinkLocal()) s->activeAddrChangedInc(1);
}

}  // namespace IpGen
