// The VRF owner's route-distinguisher decision (rule in
// RouteDistinguisherSm.model): each event re-decides the one VRF it names
// from the current entries of the watched inputs.
#include <ipmodel/Ip/RouteDistinguisherSm.h>
#include <ipmodel/Orv/Trace.h>

namespace Ip {

namespace {

Orv::TraceHandle trace("RouteDistinguisherSm");

using Precedence = RouteDistinguisherInput::ClientPrecedence;

// True when candidate c beats the current best b (null: no best yet).
bool beats(const RouteDistinguisherInput& c, const RouteDistinguisherInput* b) {
  if (b == nullptr) return true;
  if (c.clientPrecedence() != b->clientPrecedence())
    return c.clientPrecedence() > b->clientPrecedence();
  return c.name() < b->name();
}

}  // namespace

void RouteDistinguisherSm::handleRouteDistinguisher(const L3::VrfName& vrfName) {
  handleRouteDistinguisher(vrfName, nullptr);
}

// Decides for one VRF, leaving out the input that is being removed (if any),
// and writes the result to the VRF's status when the VRF has one.
void RouteDistinguisherSm::handleRouteDistinguisher(const L3::VrfName& vrfName,
                                                    const RouteDistinguisherInput* leaving) {
  OrvAllVrfStatusGlobal* global = allVrfStatusGlobalReactor();
  if (global == nullptr || !global->attached()) return;
  Orv::Ptr<VrfStatusGlobal> status = global->notifier()->vrf(vrfName);
  if (!status) return;
  const RouteDistinguisherInput* best = nullptr;
  const Lumen::RouteDistinguisher* bestRd = nullptr;
  for (auto it = input_.begin(); it != input_.end(); ++it) {
    const RouteDistinguisherInput* in = it.value()->notifier().ptr();
    if (in == nullptr || in == leaving) continue;
    const Lumen::RouteDistinguisher* rd = in->routeDistinguisher().find(vrfName);
    if (rd != nullptr && beats(*in, best)) {
      best = in;
      bestRd = rd;
    }
  }
  ORV_TRACE(trace, 8,
            vrfName << " winner " << (best ? best->name() : Orv::Name("none")) << " "
                    << (best ? best->clientPrecedence() : Precedence::invalid));
  // The precedence is written last, so a reactor of the status that hears
  // it reads the matching route distinguisher.
  status->routeDistinguisherIs(bestRd ? *bestRd : Lumen::RouteDistinguisher());
  status->routeDistinguisherPrecedenceIs(best ? best->clientPrecedence() : Precedence::invalid);
}

void RouteDistinguisherSm::OrvAllVrfStatusGlobal::onVrf(const L3::VrfName& vrfName) {
  if (sm()) sm()->handleRouteDistinguisher(vrfName);
}

void RouteDistinguisherSm::OrvAllVrfStatusGlobal::onVrforvImmediate() {
  if (!sm()) return;
  for (const VrfStatusGlobal& status : notifier()->vrf())
    sm()->handleRouteDistinguisher(status.vrfName());
}

void RouteDistinguisherSm::OrvRouteDistinguisherInput::onRouteDistinguisher(
    const L3::VrfName& vrfName) {
  if (sm()) sm()->handleRouteDistinguisher(vrfName);
}

// A new input competes for every VRF it already holds. When it replaces
// another entity under the same name, the VRFs only the old one held are
// decided again without it.
void RouteDistinguisherSm::OrvRouteDistinguisherInput::handleAttach() {
  if (!sm()) return;
  auto in = notifier();
  const Orv::Ptr<const RouteDistinguisherInput> old = std::move(competing);
  competing = in;
  if (old && old != in) {
    for (auto it = old->routeDistinguisher().begin(); it != old->routeDistinguisher().end(); ++it) {
      if (!in->routeDistinguisher().contains(it.key())) sm()->handleRouteDistinguisher(it.key());
    }
  }
  for (auto it = in->routeDistinguisher().begin(); it != in->routeDistinguisher().end(); ++it) {
    sm()->handleRouteDistinguisher(it.key());
  }
}

// A removed input withdraws from every VRF it holds.
void RouteDistinguisherSm::OrvRouteDistinguisherInput::handleDel() {
  competing = nullptr;
  if (!sm()) return;
  auto in = notifier();
  if (!in) return;
  for (auto it = in->routeDistinguisher().begin(); it != in->routeDistinguisher().end(); ++it) {
    sm()->handleRouteDistinguisher(it.key(), in.ptr());
  }
}

}  // namespace Ip
