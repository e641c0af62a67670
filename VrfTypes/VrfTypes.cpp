// Hand-written initialisers of the multi-agent VRF types.
#include <limits>

#include <ipmodel/Orv/Clock.h>
#include <ipmodel/VrfTypes/VrfTypes.h>

namespace VrfTypes {

// The group of agents that a VRF's routing information depends on.
void RibVrfAgents::initialize() {
  initIs(true);
  for (const char* agent : {"Rib", "Ospf", "Ospf3", "Isis"}) agentsIs(agent, true);
}

void VrfProtocolLaunchStatus::initialize() {
  startTimeIs(Orv::now());
  initAgentConditionalMountsTimeIs(-std::numeric_limits<double>::infinity());
  loadPluginsTimeIs(-std::numeric_limits<double>::infinity());
}

}  // namespace VrfTypes
