#include "platform/sim/StatusAgent.h"

#include <vector>

namespace Sim {

void StatusAgent::refreshVlan(Bridging::VlanId vlan) {
   const auto config = state_.config->vlanConfig(vlan);
   if (!config) {
      state_.vlanStatusDir->vlanStatusDel(vlan);
      return;
   }
   const auto status = state_.vlanStatusDir->vlanStatusIs(vlan);
   const bool active = config->adminState() == Bridging::AdminState::active;
   // Add or update the ports that should be active.
   for (auto m = config->intfIteratorConst(); m; ++m) {
      const auto intf = state_.intfStatusDir->intfStatus(m.key());
      const bool up = intf && intf->operStatus() == Interface::OperStatus::up;
      if (active && up) {
         status->vlanPortStatusIs(m.key(), Bridging::VlanPortStatus{!m.value().tagged});
      }
   }
   // Remove the ones that should not be, with the hosts learned on them in this VLAN.
   std::vector<Velnet::IntfId> inactive;
   for (auto p = status->vlanPortStatusIteratorConst(); p; ++p) {
      const auto intf = state_.intfStatusDir->intfStatus(p.key());
      const bool up = intf && intf->operStatus() == Interface::OperStatus::up;
      if (!active || !up || !config->intfCollection().find(p.key())) {
         inactive.push_back(p.key());
      }
   }
   for (const auto& intf : inactive) {
      status->vlanPortStatusDel(intf);
      learning_.flush(Bridging::Fid(vlan.value()), intf);
   }
}

void StatusAgent::refreshIntf(const Velnet::IntfId& intf) {
   std::vector<Bridging::VlanId> affected;
   for (auto it = state_.config->vlanConfigIteratorConst(); it; ++it) {
      if ((*it)->intfCollection().find(intf)) {
         affected.push_back(it.key());
      }
   }
   for (const auto vlan : affected) {
      refreshVlan(vlan);
   }
}

}  // namespace Sim
