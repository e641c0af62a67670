// The generic source-interface machines: the registration of the IPv4 ones,
// with addresses taken from the family-neutral status on its change
// counters. The whole-system machine leaves a record alone while the status
// does not hold its interface; the VRF machine takes whatever activeAddr()
// answers. That difference is intended and kept.
#include <ipmodel/Orv/Trace.h>
#include <ipmodel/SrcIntf/SrcGenIntf.h>
#include <ipmodel/SrcIntf/internal/Registration.h>

namespace IpGen::SourceIntf {

namespace {

Orv::TraceHandle trace("SrcGenIntf");

constexpr const char* kRegister =
    "IpGen::SourceIntf::SourceIntf::Ptr "
    "IpGen::SourceIntf::SourceIntfSm::registerSourceIntf(Lumen::IntfId)";
constexpr const char* kVrfRegister =
    "IpGen::SourceIntf::SourceIntf::Ptr "
    "IpGen::SourceIntf::VrfSourceIntfSm::registerSourceIntf(Lumen::IntfId)";
constexpr const char* kUnregister =
    "void IpGen::SourceIntf::SourceIntfSm::unregisterSourceIntf(const Ptr&)";
constexpr const char* kVrfUnregister =
    "void IpGen::SourceIntf::VrfSourceIntfSm::unregisterSourceIntf(const Ptr&)";
constexpr const char* kAddress =
    "void IpGen::SourceIntf::SourceIntfSm::handleActiveAddrWithMask(Lumen::IntfId)";
constexpr const char* kVrfAddress =
    "void IpGen::SourceIntf::VrfSourceIntfSm::handleActiveAddrWithMask(Lumen::IntfId)";
constexpr const char* kIntf = "void IpGen::SourceIntf::SourceIntfSm::handleIntf(Lumen::IntfId)";
constexpr const char* kVrfIntf =
    "void IpGen::SourceIntf::VrfSourceIntfSm::handleIntf(Lumen::IntfId)";

#define SRC_TRACE(sig, pieces) SRC_TRACE_IN(trace, sig, pieces)

using SrcIntfDetail::registerIn;
using SrcIntfDetail::unregisterIn;

// The record takes the address part of the status's active address.
template <class Status>
void fillIn(const char* sig, SourceIntfDir& dir, const Status* status, const Lumen::IntfId& intfId,
            bool onlyWhenPresent) {
  SRC_TRACE(sig, ":" << intfId);
  SourceIntf::Ptr sip = dir.sourceIntf(intfId);
  if (!sip || !status) return;
  if (onlyWhenPresent && !status->intf(intfId)) return;
  const Lumen::IpGenAddrWithMask active = status->activeAddr(intfId);
  SRC_TRACE(sig, " inserting IP address " << active);
  sip->ipAddrIs(active.ipGenAddr());
}

// The interface left: its record gets the IPv4 zero address in generic form,
// whatever the family watched (a never-filled record has no family at all).
template <class Status>
void clearIn(const char* sig, SourceIntfDir& dir, const Status* status,
             const Lumen::IntfId& intfId) {
  SRC_TRACE(sig, ":" << intfId);
  if (status && status->intf(intfId)) return;
  SourceIntf::Ptr sip = dir.sourceIntf(intfId);
  if (!sip) return;
  const Lumen::IpGenAddr cleared(Lumen::IpAddr{});
  SRC_TRACE(sig, " clearing IP address " << cleared);
  sip->ipAddrIs(cleared);
}

// The interface the latest change named; the empty id without a status.
template <class Status>
const Lumen::IntfId& changedIntfOf(const Orv::Ptr<const Status>& status) {
  static const Lumen::IntfId none;
  return status ? status->changedIntf() : none;
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
  fillIn(kAddress, *sourceIntfDir_, ipStatus().ptr(), intfId, true);
}

void SourceIntfSm::handleIntf(const Lumen::IntfId& intfId) {
  clearIn(kIntf, *sourceIntfDir_, ipStatus().ptr(), intfId);
}

void SourceIntfSm::OrvIpStatus::onActiveAddrChanged() {
  if (sm()) sm()->handleActiveAddrWithMask(changedIntfOf(sm()->ipStatus()));
}

void SourceIntfSm::OrvIpStatus::onIntfInVrfChanged() {
  if (sm()) sm()->handleIntf(changedIntfOf(sm()->ipStatus()));
}

// --- per-VRF machine --------------------------------------------------------

SourceIntf::Ptr VrfSourceIntfSm::registerSourceIntf(const Lumen::IntfId& intfId) {
  return registerIn(trace, kVrfRegister, *sourceIntfDir_, intfId,
                    [&] { handleActiveAddrWithMask(intfId); });
}

void VrfSourceIntfSm::unregisterSourceIntf(const SourceIntf::Ptr& sip) {
  unregisterIn(trace, kVrfUnregister, *sourceIntfDir_, sip);
}

void VrfSourceIntfSm::handleActiveAddrWithMask(const Lumen::IntfId& intfId) {
  fillIn(kVrfAddress, *sourceIntfDir_, intfStatus().ptr(), intfId, false);
}

void VrfSourceIntfSm::handleIntf(const Lumen::IntfId& intfId) {
  clearIn(kVrfIntf, *sourceIntfDir_, intfStatus().ptr(), intfId);
}

void VrfSourceIntfSm::OrvIntfStatus::onActiveAddrChanged() {
  if (sm()) sm()->handleActiveAddrWithMask(changedIntfOf(sm()->intfStatus()));
}

void VrfSourceIntfSm::OrvIntfStatus::onIntfStatusChanged() {
  if (sm()) sm()->handleIntf(changedIntfOf(sm()->intfStatus()));
}

}  // namespace IpGen::SourceIntf
