#pragma once

#include "platform/sim/LearningAgent.h"
#include "platform/sim/SwitchState.h"

namespace Sim {

// Derives Bridging::VlanStatus from VLAN membership, the VLAN's admin state and the links:
// a VLAN's active ports are its members whose link is up, while the VLAN is active. A port
// that stops being active in a VLAN loses the hosts learned on it there.
class StatusAgent {
 public:
   StatusAgent(SwitchState& state, LearningAgent& learning) : state_(state), learning_(learning) {}

   // Brings the VLAN's status in line with its configuration (creating or deleting it).
   void refreshVlan(Bridging::VlanId vlan);
   // The interface's link changed: refresh every VLAN it is a member of.
   void refreshIntf(const Velnet::IntfId& intf);

 private:
   SwitchState& state_;
   LearningAgent& learning_;
};

}  // namespace Sim
