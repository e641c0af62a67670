// The family-neutral view: resetting the changed fields, and the adapters
// that answer the generic queries from the IPv4 and IPv6 models.
#include <ipmodel/IpGen/IpGen.h>
#include <ipmodel/Orv/Trace.h>

namespace IpGen {

namespace {

Orv::TraceHandle trace("Ira::IpGen");

constexpr const char* kInitialize =
    "void IpGen::McaddrIteratorConst::doInitializeCurrentIntfAddrInfo()";
constexpr const char* kAdvance =
    "IpGen::McaddrIteratorConst& IpGen::McaddrIteratorConst::operator+=(U32)";

// The texts of one family's walk.
struct WalkTexts {
  const char* found;
  const char* none;
};
constexpr WalkTexts kV4{" Found V4 mcaddr entry", " No V4 mcaddr entries"};
constexpr WalkTexts kV6{" Found V6 mcaddr entry", " No V6 mcaddr entries"};

// A family's membership key in generic form, and back.
template <class Info>
IntfAddrInfo generic(const Info& info) {
  return IntfAddrInfo(info.intfId(), Lumen::IpGenAddr(info.addr()));
}
Ip::IntfAddrInfo familyKey(const Ip::IntfAddrInfo*, const IntfAddrInfo& info) {
  return Ip::IntfAddrInfo(info.intfId(), info.addr().v4());
}
Ip6::IntfAddrInfo familyKey(const Ip6::IntfAddrInfo*, const IntfAddrInfo& info) {
  return Ip6::IntfAddrInfo(info.intfId(), info.addr().v6());
}

// Starts a walk over one family's memberships: the first element, or done.
template <class Groups>
void walkStart(const Groups& groups, const WalkTexts& texts, IntfAddrInfo& curr, bool& done) {
  auto coll = groups.mcaddr();
  if (coll.begin() == coll.end()) {
    done = true;
    ORV_TRACE_FN(trace, 8, kInitialize, texts.none);
    return;
  }
  curr = generic(coll.begin().key());
  ORV_TRACE_FN(trace, 8, kInitialize, texts.found << curr.pretty());
}

// One step from the element the walk remembers, found again by its key.
template <class Groups>
void walkStep(const Groups& groups, const WalkTexts& texts, IntfAddrInfo& curr, bool& done) {
  auto coll = groups.mcaddr();
  using Key = std::remove_cvref_t<decltype(coll.begin().key())>;
  auto it = coll.lowerBound(familyKey(static_cast<const Key*>(nullptr), curr));
  if (it == coll.end()) {
    ORV_TRACE_FN(trace, 8, kAdvance, " Current was the last element");
    done = true;
    return;
  }
  ++it;
  if (it == coll.end()) {
    ORV_TRACE_FN(trace, 8, kAdvance, texts.none);
    done = true;
    return;
  }
  curr = generic(it.key());
  ORV_TRACE_FN(trace, 8, kAdvance, texts.found << curr.pretty());
}

// The address of a generic query in the adapter's family; false when the
// caller asked about the other family (no such address can be present).
bool asV4(const Lumen::IpGenAddrWithMask& a, Lumen::IpAddrWithMask& out) {
  if (!a.isV4()) return false;
  out = a.v4();
  return true;
}

bool asV6(const Lumen::IpGenAddrWithMask& a, Lumen::Ip6AddrWithMask& out) {
  if (!a.isV6()) return false;
  out = a.v6();
  return true;
}

// The VRF an interface entry's layer-3 record puts it in; empty without one.
template <class Entry>
L3::VrfName vrfOf(const Entry* entry) {
  if (!entry || !entry->l3Status()) return L3::VrfName();
  return entry->l3Status()->vrf();
}

// Answers shared by both IPv4 adapters, from the interface's entry.
bool v4Addr(const Ip::IpIntfStatus* s, const Lumen::IpGenAddrWithMask& a) {
  Lumen::IpAddrWithMask v4;
  if (!s || !asV4(a, v4)) return false;
  if (v4 == s->activeAddrWithMask()) return true;
  return s->activeSecondaryWithMask(v4);
}

Lumen::IpGenAddrWithMask v4Active(const Ip::IpIntfStatus* s) {
  return s ? Lumen::IpGenAddrWithMask(s->activeAddrWithMask()) : Lumen::IpGenAddrWithMask();
}

// Answers shared by both IPv6 adapters.
bool v6Addr(const Ip6::IntfStatus* s, const Lumen::IpGenAddrWithMask& a) {
  Lumen::Ip6AddrWithMask v6;
  if (!s || !asV6(a, v6)) return false;
  return s->addr(v6) != Ip6::AddressInfo();
}

// The link-local address is what the generic view calls an IPv6
// interface's active address.
Lumen::IpGenAddrWithMask v6Active(const Ip6::IntfStatus* s) {
  return s ? Lumen::IpGenAddrWithMask(s->linkLocalAddrWithMask()) : Lumen::IpGenAddrWithMask();
}

template <class Entry>
Lumen::IntfId unnumberedOf(const Entry* s) {
  return s ? s->unnumberedIntfId() : Lumen::IntfId();
}

}  // namespace

// --- values ------------------------------------------------------------------

std::uint32_t IntfAddrInfo::hash() const { return intfId_.hash() + addr_.hash(); }

Orv::String IntfAddrInfo::pretty() const {
  return "( " + intfId_.stringValue() + ", " + Lumen::valueToStrep(addr_) + " ) ";
}

// --- walking the memberships ---------------------------------------------------

void McaddrIteratorConst::doInitializeCurrentIntfAddrInfo() {
  ipv4Minfo_ = nullptr;
  ipv6Minfo_ = nullptr;
  done_ = false;
  switch (minfo_->af()) {
    case Lumen::AddressFamily::ipv4:
      ipv4Minfo_ = dynamic_cast<const Ipv4MulticastGroupsForApplications&>(*minfo_).groups();
      walkStart(*ipv4Minfo_, kV4, currIntfAddrInfo_, done_);
      return;
    case Lumen::AddressFamily::ipv6:
      ipv6Minfo_ = dynamic_cast<const Ipv6MulticastGroupsForApplications&>(*minfo_).groups();
      walkStart(*ipv6Minfo_, kV6, currIntfAddrInfo_, done_);
      return;
    default:
      ORV_ASSERT_IN(0 && "AddressFamily not supported", kInitialize);
  }
}

// One element per call, whatever the count: the count is ignored on purpose.
McaddrIteratorConst& McaddrIteratorConst::operator+=(std::uint32_t) {
  switch (minfo_->af()) {
    case Lumen::AddressFamily::ipv4:
      walkStep(*ipv4Minfo_, kV4, currIntfAddrInfo_, done_);
      break;
    case Lumen::AddressFamily::ipv6:
      walkStep(*ipv6Minfo_, kV6, currIntfAddrInfo_, done_);
      break;
    default:
      ORV_ASSERT_IN(0 && "AddressFamily not supported", kAdvance);
  }
  return *this;
}

// --- the changed fields go back to their defaults without notification -----

void Status::reset() {
  changedVrf_ = L3::VrfName();
  changedIntf_ = Lumen::IntfId();
  changedAddr_ = Lumen::IpGenAddrWithMask();
}

void IntfStatus::reset() {
  changedIntf_ = Lumen::IntfId();
  changedAddr_ = Lumen::IpGenAddrWithMask();
}

// --- IPv4, whole system ----------------------------------------------------------

// The interface's entry: from the hint while a change of it is being
// announced, else by lookup.
const Ip::IpIntfStatus* Ipv4Status::entry(const Lumen::IntfId& intfId) const {
  if (const auto* e = entryHint.entry(intfId, ipStatus_->ipIntfStatus().version())) return e;
  const auto* slot = ipStatus_->ipIntfStatus().find(intfId);
  return slot ? slot->ptr() : nullptr;
}

Lumen::AddressFamily Ipv4Status::af() const { return Lumen::AddressFamily::ipv4; }

bool Ipv4Status::intf(Lumen::IntfId intfId) const { return entry(intfId) != nullptr; }

const L3::VrfName Ipv4Status::vrf(Lumen::IntfId intfId) const { return vrfOf(entry(intfId)); }

bool Ipv4Status::vrfIpIntfStatus(L3::VrfName vrf) const {
  return static_cast<bool>(ipStatus_->vrfIpIntfStatus(vrf));
}

bool Ipv4Status::intfInVrf(L3::VrfName vrf, Lumen::IntfId intfId) const {
  auto v = ipStatus_->vrfIpIntfStatus(vrf);
  return v && v->ipIntfStatus(intfId);
}

bool Ipv4Status::addr(Lumen::IntfId intfId, const Lumen::IpGenAddrWithMask& a) const {
  return v4Addr(entry(intfId), a);
}

const Lumen::IpGenAddrWithMask Ipv4Status::activeAddr(Lumen::IntfId intfId) const {
  return v4Active(entry(intfId));
}

bool Ipv4Status::virtualAddr(Lumen::IntfId intfId) const {
  const auto* s = entry(intfId);
  return s && s->useVirtualAddr();
}

const Lumen::IntfId Ipv4Status::unnumberedIntfId(Lumen::IntfId intfId) const {
  return unnumberedOf(entry(intfId));
}

// --- IPv6, whole system ----------------------------------------------------------

const Ip6::IntfStatus* Ipv6Status::entry(const Lumen::IntfId& intfId) const {
  if (const auto* e = entryHint.entry(intfId, ip6Status_->intf().version())) return e;
  const auto* slot = ip6Status_->intf().find(intfId);
  return slot ? slot->ptr() : nullptr;
}

Lumen::AddressFamily Ipv6Status::af() const { return Lumen::AddressFamily::ipv6; }

bool Ipv6Status::intf(Lumen::IntfId intfId) const { return entry(intfId) != nullptr; }

const L3::VrfName Ipv6Status::vrf(Lumen::IntfId intfId) const { return vrfOf(entry(intfId)); }

bool Ipv6Status::vrfIpIntfStatus(L3::VrfName vrf) const {
  return static_cast<bool>(ip6Status_->vrfIp6IntfStatus(vrf));
}

bool Ipv6Status::intfInVrf(L3::VrfName vrf, Lumen::IntfId intfId) const {
  auto v = ip6Status_->vrfIp6IntfStatus(vrf);
  return v && v->ip6IntfStatus(intfId);
}

bool Ipv6Status::addr(Lumen::IntfId intfId, const Lumen::IpGenAddrWithMask& a) const {
  return v6Addr(entry(intfId), a);
}

const Lumen::IpGenAddrWithMask Ipv6Status::activeAddr(Lumen::IntfId intfId) const {
  return v6Active(entry(intfId));
}

// IPv6 interfaces have no virtual address in this view.
bool Ipv6Status::virtualAddr(Lumen::IntfId) const { return false; }

const Lumen::IntfId Ipv6Status::unnumberedIntfId(Lumen::IntfId intfId) const {
  return unnumberedOf(entry(intfId));
}

// --- IPv4, one VRF ---------------------------------------------------------------

Lumen::AddressFamily Ipv4IntfStatus::af() const { return Lumen::AddressFamily::ipv4; }

bool Ipv4IntfStatus::intf(Lumen::IntfId intfId) const {
  return static_cast<bool>(vrfIpIntfStatus_->ipIntfStatus(intfId));
}

bool Ipv4IntfStatus::dpRouting(Lumen::IntfId intfId) const {
  auto s = vrfIpIntfStatus_->ipIntfStatus(intfId);
  return s && s->dpRoutingEnabled();
}

bool Ipv4IntfStatus::addr(Lumen::IntfId intfId, const Lumen::IpGenAddrWithMask& a) const {
  return v4Addr(vrfIpIntfStatus_->ipIntfStatus(intfId).ptr(), a);
}

const Lumen::IpGenAddrWithMask Ipv4IntfStatus::activeAddr(Lumen::IntfId intfId) const {
  return v4Active(vrfIpIntfStatus_->ipIntfStatus(intfId).ptr());
}

bool Ipv4IntfStatus::virtualAddr(Lumen::IntfId intfId) const {
  auto s = vrfIpIntfStatus_->ipIntfStatus(intfId);
  return s && s->useVirtualAddr();
}

const Lumen::IntfId Ipv4IntfStatus::unnumberedIntfId(Lumen::IntfId intfId) const {
  return unnumberedOf(vrfIpIntfStatus_->ipIntfStatus(intfId).ptr());
}

// --- IPv6, one VRF ---------------------------------------------------------------

Lumen::AddressFamily Ipv6IntfStatus::af() const { return Lumen::AddressFamily::ipv6; }

bool Ipv6IntfStatus::intf(Lumen::IntfId intfId) const {
  return static_cast<bool>(vrfIp6IntfStatus_->ip6IntfStatus(intfId));
}

bool Ipv6IntfStatus::dpRouting(Lumen::IntfId intfId) const {
  auto s = vrfIp6IntfStatus_->ip6IntfStatus(intfId);
  return s && s->dpRoutingEnabled();
}

bool Ipv6IntfStatus::addr(Lumen::IntfId intfId, const Lumen::IpGenAddrWithMask& a) const {
  return v6Addr(vrfIp6IntfStatus_->ip6IntfStatus(intfId).ptr(), a);
}

const Lumen::IpGenAddrWithMask Ipv6IntfStatus::activeAddr(Lumen::IntfId intfId) const {
  return v6Active(vrfIp6IntfStatus_->ip6IntfStatus(intfId).ptr());
}

bool Ipv6IntfStatus::virtualAddr(Lumen::IntfId) const { return false; }

const Lumen::IntfId Ipv6IntfStatus::unnumberedIntfId(Lumen::IntfId intfId) const {
  return unnumberedOf(vrfIp6IntfStatus_->ip6IntfStatus(intfId).ptr());
}

// --- multicast memberships -----------------------------------------------------
// Setting a membership to false removes it rather than storing false.

Lumen::AddressFamily Ipv4MulticastGroupsForApplications::af() const {
  return Lumen::AddressFamily::ipv4;
}

void Ipv4MulticastGroupsForApplications::mcaddrIs(const IntfAddrInfo& info, bool on) {
  Ip::IntfAddrInfo key(info.intfId(), info.addr().v4());
  if (on) {
    groups_->mcaddrIs(key);
  } else {
    groups_->mcaddrDel(key);
  }
}

void Ipv4MulticastGroupsForApplications::mcaddrDel(const IntfAddrInfo& info) {
  groups_->mcaddrDel(Ip::IntfAddrInfo(info.intfId(), info.addr().v4()));
}

bool Ipv4MulticastGroupsForApplications::mcaddr(const IntfAddrInfo& info) const {
  return info.addr().isV4() && groups_->mcaddr(Ip::IntfAddrInfo(info.intfId(), info.addr().v4()));
}

Lumen::AddressFamily Ipv6MulticastGroupsForApplications::af() const {
  return Lumen::AddressFamily::ipv6;
}

void Ipv6MulticastGroupsForApplications::mcaddrIs(const IntfAddrInfo& info, bool on) {
  Ip6::IntfAddrInfo key(info.intfId(), info.addr().v6());
  if (on) {
    groups_->mcaddrIs(key);
  } else {
    groups_->mcaddrDel(key);
  }
}

void Ipv6MulticastGroupsForApplications::mcaddrDel(const IntfAddrInfo& info) {
  groups_->mcaddrDel(Ip6::IntfAddrInfo(info.intfId(), info.addr().v6()));
}

bool Ipv6MulticastGroupsForApplications::mcaddr(const IntfAddrInfo& info) const {
  return info.addr().isV6() && groups_->mcaddr(Ip6::IntfAddrInfo(info.intfId(), info.addr().v6()));
}

}  // namespace IpGen
