#pragma once

#include "platform/bridging/PlatformEntities.h"

namespace Sim {

// The entities of the simulated switch, shared by its agents.
struct SwitchState : Bridging::PlatformEntities {
   // True when the interface is an active member of the VLAN: a member whose link is up,
   // of a VLAN that is active.
   bool activeMember(Bridging::VlanId vlan, const Velnet::IntfId& intf) const {
      const auto vs = vlanStatusDir->vlanStatus(vlan);
      return vs && vs->vlanPortStatusCollection().find(intf) != nullptr;
   }
};

}  // namespace Sim
