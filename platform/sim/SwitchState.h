#pragma once

#include "platform/bridging/Config.h"
#include "platform/bridging/InputConfig.h"
#include "platform/bridging/ReaderFdbStatusSm.h"
#include "platform/bridging/Status.h"
#include "platform/bridging/VlanStatus.h"
#include "platform/interface/IntfStatus.h"

namespace Sim {

// The entities of the simulated switch, shared by its agents.
struct SwitchState {
   Bridging::Config::Ptr config = Kel::make<Bridging::Config>();
   Bridging::Input::Config::Ptr input = Kel::make<Bridging::Input::Config>();
   Bridging::Status::Ptr status = Kel::make<Bridging::Status>();
   Bridging::VlanStatusDir::Ptr vlanStatusDir = Kel::make<Bridging::VlanStatusDir>();
   Interface::EthIntfStatusDir::Ptr intfStatusDir = Kel::make<Interface::EthIntfStatusDir>();
   Bridging::ReaderFdbStatusSm::Ptr reader =
       Kel::make<Bridging::ReaderFdbStatusSm>("fdbStatusReader", status);

   // True when the interface is an active member of the VLAN: a member whose link is up,
   // of a VLAN that is active.
   bool activeMember(Bridging::VlanId vlan, const Velnet::IntfId& intf) const {
      const auto vs = vlanStatusDir->vlanStatus(vlan);
      return vs && vs->vlanPortStatusCollection().find(intf) != nullptr;
   }
};

}  // namespace Sim
