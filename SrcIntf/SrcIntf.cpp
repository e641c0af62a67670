// The IPv4 source-interface machines: registration with reference counts,
// and the reactors that keep each record's address at the active address of
// its interface.
#include <ipmodel/Orv/Trace.h>
#include <ipmodel/SrcIntf/SrcIntf.h>
#include <ipmodel/SrcIntf/internal/Registration.h>

namespace Ip::SourceIntf {

namespace {

Orv::TraceHandle trace("SrcIntf");

// Every trace line begins with the handler's signature.
constexpr const char* kRegister =
    "Ip::SourceIntf::SourceIntf::Ptr "
    "Ip::SourceIntf::SourceIntfSm::registerSourceIntf(Lumen::IntfId)";
constexpr const char* kVrfRegister =
    "Ip::SourceIntf::SourceIntf::Ptr "
    "Ip::SourceIntf::VrfSourceIntfSm::registerSourceIntf(Lumen::IntfId)";
constexpr const char* kUnregister =
    "void Ip::SourceIntf::SourceIntfSm::unregisterSourceIntf(const Ptr&)";
constexpr const char* kVrfUnregister =
    "void Ip::SourceIntf::VrfSourceIntfSm::unregisterSourceIntf(const Ptr&)";
constexpr const char* kAddress =
    "void Ip::SourceIntf::SourceIntfSm::handleActiveAddrWithMask(Lumen::IntfId)";
constexpr const char* kVrfAddress =
    "void Ip::SourceIntf::VrfSourceIntfSm::OrvIpIntfStatus::handleActiveAddrWithMask()";
constexpr const char* kDelete = "void Ip::SourceIntf::SourceIntfSm::OrvIpIntfStatus::handleDel()";
constexpr const char* kVrfDelete =
    "void Ip::SourceIntf::VrfSourceIntfSm::OrvIpIntfStatus::handleDel()";

#define SRC_TRACE(sig, pieces) SRC_TRACE_IN(trace, sig, pieces)

using SrcIntfDetail::registerIn;
using SrcIntfDetail::unregisterIn;

// The interface's status left the watched collection: its records get no
// address until it comes back.
void clearIn(const char* sig, SourceIntfDir* dir, const Ip::IpIntfStatus& status) {
  SRC_TRACE(sig, ":" << status.intfId());
  if (!dir) return;
  if (SourceIntf::Ptr sip = dir->sourceIntf(status.intfId())) {
    SRC_TRACE(sig, " clearing IP address " << status.activeAddrWithMask());
    sip->ipAddrIs(Lumen::IpAddr());
  }
}

// Reactors for every entry of a watched collection, and none for entries
// that are gone.
template <class Sm, class Coll>
void sweep(Sm& sm, const Coll& entries) {
  for (auto it = entries.begin(); it != entries.end(); ++it) sm.ipIntfStatusIs(it.value());
  for (auto it = sm.ipIntfStatus().begin(); it != sm.ipIntfStatus().end(); ++it) {
    if (!entries.contains(it.key())) sm.ipIntfStatusDel(it.key());
  }
}

}  // namespace

// --- whole-system machine ---------------------------------------------------

SourceIntf::Ptr SourceIntfSm::registerSourceIntf(const Lumen::IntfId& intfId) {
  return registerIn(trace, kRegister, *sourceIntfDir_, intfId,
                    [&] { handleActiveAddrWithMask(intfId); });
}

void SourceIntfSm::unregisterSourceIntf(const SourceIntf::Ptr& sip) {
  unregisterIn(trace, kUnregister, *sourceIntfDir_, sip);
}

void SourceIntfSm::handleActiveAddrWithMask(const Lumen::IntfId& intfId) {
  SRC_TRACE(kAddress, ":" << intfId);
  SourceIntf::Ptr sip = sourceIntfDir_->sourceIntf(intfId);
  Orv::Ptr<const Ip::Status> status = ipStatus();
  Orv::Ptr<const Ip::IpIntfStatus> s = status ? status->ipIntfStatus(intfId) : nullptr;
  if (sip && s) {
    SRC_TRACE(kAddress, " inserting IP address " << s->activeAddrWithMask());
    sip->ipAddrIs(s->activeAddrWithMask().address());
  }
}

void SourceIntfSm::OrvIpStatus::onIpIntfStatus(const Lumen::IntfId& intfId) {
  if (!sm()) return;
  if (auto s = notifier()->ipIntfStatus(intfId)) {
    sm()->ipIntfStatusIs(s);
  } else {
    sm()->ipIntfStatusDel(intfId);
  }
}

void SourceIntfSm::OrvIpStatus::onIpIntfStatusorvImmediate() {
  if (sm()) sweep(*sm(), notifier()->ipIntfStatus());
}

void SourceIntfSm::OrvIpIntfStatus::onActiveAddrWithMask() {
  if (sm()) sm()->handleActiveAddrWithMask(fwkKey());
}

void SourceIntfSm::OrvIpIntfStatus::handleNotifier() {
  if (sm()) sm()->handleActiveAddrWithMask(fwkKey());
}

void SourceIntfSm::OrvIpIntfStatus::handleDel() {
  clearIn(kDelete, sm() ? sm()->sourceIntfDir().ptr() : nullptr, *notifier());
}

// --- per-VRF machine --------------------------------------------------------

SourceIntf::Ptr VrfSourceIntfSm::registerSourceIntf(const Lumen::IntfId& intfId) {
  return registerIn(trace, kVrfRegister, *sourceIntfDir_, intfId, [&] {
    if (auto r = ipIntfStatus(intfId)) r->handleActiveAddrWithMask();
  });
}

void VrfSourceIntfSm::unregisterSourceIntf(const SourceIntf::Ptr& sip) {
  unregisterIn(trace, kVrfUnregister, *sourceIntfDir_, sip);
}

void VrfSourceIntfSm::OrvVrfIpIntfStatus::onIpIntfStatus(const Lumen::IntfId& intfId) {
  if (!sm()) return;
  if (auto s = notifier()->ipIntfStatus(intfId)) {
    sm()->ipIntfStatusIs(s);
  } else {
    sm()->ipIntfStatusDel(intfId);
  }
}

void VrfSourceIntfSm::OrvVrfIpIntfStatus::onIpIntfStatusorvImmediate() {
  if (sm()) sweep(*sm(), notifier()->ipIntfStatus());
}

void VrfSourceIntfSm::OrvIpIntfStatus::onActiveAddrWithMask() { handleActiveAddrWithMask(); }

void VrfSourceIntfSm::OrvIpIntfStatus::handleActiveAddrWithMask() {
  auto status = notifier();
  SRC_TRACE(kVrfAddress, ":" << status->intfId());
  if (!sm()) return;
  if (SourceIntf::Ptr sip = sm()->sourceIntfDir()->sourceIntf(status->intfId())) {
    SRC_TRACE(kVrfAddress, " inserting IP address " << status->activeAddrWithMask());
    sip->ipAddrIs(status->activeAddrWithMask().address());
  }
}

void VrfSourceIntfSm::OrvIpIntfStatus::handleDel() {
  clearIn(kVrfDelete, sm() ? sm()->sourceIntfDir().ptr() : nullptr, *notifier());
}

}  // namespace Ip::SourceIntf
