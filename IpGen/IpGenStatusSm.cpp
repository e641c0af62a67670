// The generic status machine: each change of one family's IP status becomes
// changed fields and counter bumps on the generic status, in the order set,
// bump, reset, so consumers read the fields inside their notification.
#include <ipmodel/IpGen/IpGenStatusSm.h>
#include <ipmodel/IpGen/internal/ReactorSweep.h>
#include <ipmodel/Orv/Trace.h>

namespace IpGen {

namespace {

Orv::TraceHandle trace("Ira::IpGenStatusSm");

#define SM_TRACE(name, pieces) ORV_TRACE_FN(trace, 8, name, name << pieces)

// Bumps the counters while the changed fields name the change, then clears
// the fields.
template <class... Bumps>
void bumpThenReset(Status& s, Bumps... bumps) {
  ((s.*bumps)(1), ...);
  s.reset();
}

void announceAddr(Status* s, const Lumen::IntfId& intfId, const Lumen::IpGenAddrWithMask& addr,
                  std::uint32_t (Status::*second)(std::uint32_t)) {
  if (!s) return;
  s->changedIntfIs(intfId);
  s->changedAddrIs(addr);
  if (second) {
    bumpThenReset(*s, &Status::addrChangedInc, second);
  } else {
    bumpThenReset(*s, &Status::addrChangedInc);
  }
}

// For the length of an announcement about the reactor's interface, the
// adapter answers queries about it from the entry the reactor keeps track of
// instead of looking it up (EntryHint.h).
detail::EntryHintScope<Ip::IpIntfStatus> hintAbout(Ipv4Status* a, StatusSm::OrvIpv4IntfStatus& r) {
  if (!a) return {};
  return {*a, a->entryHint, a->ipStatus()->ipIntfStatus(), r.fwkKey(), r.entrySlot};
}

detail::EntryHintScope<Ip6::IntfStatus> hintAbout(Ipv6Status* a, StatusSm::OrvIpv6IntfStatus& r) {
  if (!a) return {};
  return {*a, a->entryHint, a->ip6Status()->intf(), r.fwkKey(), r.entrySlot};
}

// Reactor for an entry that is present, none for one that is gone.
template <class Entry, class Add, class Del>
void follow(const Entry& entry, Add&& add, Del&& del) {
  if (entry) {
    add(entry);
  } else {
    del();
  }
}

}  // namespace

void StatusSm::handleInitialized() {
  SM_TRACE("handleInitialized", "");
  initializedIs(true);
  if (auto* v4 = dynamic_cast<Ipv4Status*>(status_.ptr())) {
    SM_TRACE("handleInitialized", "(IPv4)");
    ipv4Adapter_ = v4;
    ipv4StatusIs(v4->ipStatus());
  } else if (auto* v6 = dynamic_cast<Ipv6Status*>(status_.ptr())) {
    SM_TRACE("handleInitialized", "(IPv6)");
    ipv6Adapter_ = v6;
    ipv6StatusIs(v6->ip6Status());
  } else {
    ORV_ASSERT_IN(0 && "Unsupported Address Family", "void IpGen::StatusSm::handleInitialized()");
  }
}

void StatusSm::handleVrf(const L3::VrfName& vrf) {
  SM_TRACE("handleVrf", "(" << vrf << ")");
  if (!status_) return;
  status_->changedVrfIs(vrf);
  bumpThenReset(*status_, &Status::vrfCollectionChangedInc);
}

void StatusSm::handleIntf(const L3::VrfName& vrf, const Lumen::IntfId& intfId) {
  SM_TRACE("handleIntf", "(" << vrf << ", " << intfId << ")");
  if (!status_) return;
  status_->changedVrfIs(vrf);
  status_->changedIntfIs(intfId);
  bumpThenReset(*status_, &Status::intfInVrfChangedInc);
}

// --- the family's VRFs and interfaces ---------------------------------------------
// A VRF that comes or goes is announced, then its reactor follows; the
// family's own interface collection only decides which interfaces are
// watched.

void StatusSm::OrvIpv4Status::onVrfIpIntfStatus(const L3::VrfName& vrf) {
  if (!sm()) return;
  StatusSm& m = *sm();
  m.handleVrf(vrf);
  follow(
      notifier()->vrfIpIntfStatus(vrf), [&](const auto& v) { m.vrfIpv4StatusIs(v); },
      [&] { m.vrfIpv4StatusDel(vrf); });
}

void StatusSm::OrvIpv4Status::onVrfIpIntfStatusorvImmediate() {
  if (!sm()) return;
  StatusSm& m = *sm();
  detail::sweepReactors(
      notifier()->vrfIpIntfStatus(), m.vrfIpv4Status(),
      [&](const auto& v) { m.vrfIpv4StatusIs(v); },
      [&](const L3::VrfName& k) { m.vrfIpv4StatusDel(k); });
}

void StatusSm::OrvIpv4Status::onIpIntfStatus(const Lumen::IntfId& intfId) {
  if (!sm()) return;
  StatusSm& m = *sm();
  follow(
      notifier()->ipIntfStatus(intfId), [&](const auto& s) { m.ipv4IntfStatusIs(s); },
      [&] { m.ipv4IntfStatusDel(intfId); });
}

void StatusSm::OrvIpv4Status::onIpIntfStatusorvImmediate() {
  if (!sm()) return;
  StatusSm& m = *sm();
  detail::sweepReactors(
      notifier()->ipIntfStatus(), m.ipv4IntfStatus(), [&](const auto& s) { m.ipv4IntfStatusIs(s); },
      [&](const Lumen::IntfId& k) { m.ipv4IntfStatusDel(k); });
}

void StatusSm::OrvIpv6Status::onVrfIp6IntfStatus(const L3::VrfName& vrf) {
  if (!sm()) return;
  StatusSm& m = *sm();
  m.handleVrf(vrf);
  follow(
      notifier()->vrfIp6IntfStatus(vrf), [&](const auto& v) { m.vrfIpv6StatusIs(v); },
      [&] { m.vrfIpv6StatusDel(vrf); });
}

void StatusSm::OrvIpv6Status::onVrfIp6IntfStatusorvImmediate() {
  if (!sm()) return;
  StatusSm& m = *sm();
  detail::sweepReactors(
      notifier()->vrfIp6IntfStatus(), m.vrfIpv6Status(),
      [&](const auto& v) { m.vrfIpv6StatusIs(v); },
      [&](const L3::VrfName& k) { m.vrfIpv6StatusDel(k); });
}

void StatusSm::OrvIpv6Status::onIntf(const Lumen::IntfId& intfId) {
  if (!sm()) return;
  StatusSm& m = *sm();
  follow(
      notifier()->intf(intfId), [&](const auto& s) { m.ipv6IntfStatusIs(s); },
      [&] { m.ipv6IntfStatusDel(intfId); });
}

void StatusSm::OrvIpv6Status::onIntforvImmediate() {
  if (!sm()) return;
  StatusSm& m = *sm();
  detail::sweepReactors(
      notifier()->intf(), m.ipv6IntfStatus(), [&](const auto& s) { m.ipv6IntfStatusIs(s); },
      [&](const Lumen::IntfId& k) { m.ipv6IntfStatusDel(k); });
}

// Joining or leaving a VRF is announced with both names.
void StatusSm::OrvVrfIpv4Status::onIpIntfStatus(const Lumen::IntfId& intfId) {
  if (sm()) sm()->handleIntf(fwkKey(), intfId);
}

void StatusSm::OrvVrfIpv6Status::onIp6IntfStatus(const Lumen::IntfId& intfId) {
  if (sm()) sm()->handleIntf(fwkKey(), intfId);
}

// --- IPv4 interfaces ---------------------------------------------------------------

void StatusSm::OrvIpv4IntfStatus::onActiveAddrWithMask() { handlePrimaryAddr(); }
void StatusSm::OrvIpv4IntfStatus::onUseVirtualAddr() { handleVirtualAddr(); }
void StatusSm::OrvIpv4IntfStatus::onActiveSecondaryWithMask(const Lumen::IpAddrWithMask& a) {
  handleSecondaryAddr(a);
}

void StatusSm::OrvIpv4IntfStatus::handlePrimaryAddr() {
  SM_TRACE("handlePrimaryAddr", "(" << fwkKey() << ")");
  if (!sm()) return;
  const auto hint = hintAbout(sm()->ipv4Adapter_, *this);
  announceAddr(sm()->status().ptr(), fwkKey(), notifier()->activeAddrWithMask(),
               &Status::activeAddrChangedInc);
}

void StatusSm::OrvIpv4IntfStatus::handleVirtualAddr() {
  SM_TRACE("handleVirtualAddr", "(" << fwkKey() << ")");
  if (!sm()) return;
  const auto hint = hintAbout(sm()->ipv4Adapter_, *this);
  announceAddr(sm()->status().ptr(), fwkKey(), notifier()->activeAddrWithMask(),
               &Status::virtualAddrChangedInc);
}

void StatusSm::OrvIpv4IntfStatus::handleSecondaryAddr() {
  for (auto it = notifier()->activeSecondaryWithMask().begin();
       it != notifier()->activeSecondaryWithMask().end(); ++it) {
    handleSecondaryAddr(it.key());
  }
}

void StatusSm::OrvIpv4IntfStatus::handleSecondaryAddr(const Lumen::IpAddrWithMask& a) {
  SM_TRACE("handleSecondaryAddr", "(" << fwkKey() << ", " << a << ")");
  if (!sm()) return;
  const auto hint = hintAbout(sm()->ipv4Adapter_, *this);
  announceAddr(sm()->status().ptr(), fwkKey(), a, nullptr);
}

// --- IPv6 interfaces ---------------------------------------------------------------

void StatusSm::OrvIpv6IntfStatus::onAddr(const Lumen::Ip6AddrWithMask& a) { handleAddr(a); }

void StatusSm::OrvIpv6IntfStatus::handleAddr() {
  for (auto it = notifier()->addr().begin(); it != notifier()->addr().end(); ++it) {
    handleAddr(it.key());
  }
}

// Only a link-local change moves the generic view's active IPv6 address.
void StatusSm::OrvIpv6IntfStatus::handleAddr(const Lumen::Ip6AddrWithMask& a) {
  SM_TRACE("handleAddr", "(" << fwkKey() << ", " << a << ")");
  if (!sm()) return;
  const auto hint = hintAbout(sm()->ipv6Adapter_, *this);
  announceAddr(sm()->status().ptr(), fwkKey(), a,
               a.address().isLinkLocal() ? &Status::activeAddrChangedInc : nullptr);
}

}  // namespace IpGen
