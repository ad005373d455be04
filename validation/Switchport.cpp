#include "validation/Switchport.h"

namespace BridgeSnmp {

bool Switchport::carries(std::uint32_t vlan) const {
   return vlan >= Bridging::VlanId::min && vlan <= Bridging::VlanId::max &&
          carried.contains(Bridging::VlanId(vlan));
}

Switchport startingSwitchport(const QBridgeMib& mib, const Velnet::IntfId& intf) {
   Switchport port;
   const auto input = mib.inputConfig() ? mib.inputConfig()->switchIntfConfig(intf) : nullptr;
   if (input) {
      port.mode = input->switchportMode();
      port.access = input->accessVlan();
      if (port.mode == Bridging::SwitchportMode::access) {
         port.native = Bridging::VlanIdOrNone(port.access.value());
         port.carried.doAdd(port.access);
      } else if (port.trunk()) {
         port.native = input->trunkNativeVlan();
         SwixUtils::computeVlanSet(port.carried, input->trunkAllowedVlans().view());
      }
      port.configured = port.mode == Bridging::SwitchportMode::access || port.trunk();
      return port;
   }
   const auto applied = mib.config() ? mib.config()->switchIntfConfig(intf) : nullptr;
   if (!applied) {
      return port;
   }
   port.mode = applied->switchportMode();
   port.configured = port.mode == Bridging::SwitchportMode::access || port.trunk();
   if (!port.configured) {
      return port;
   }
   port.native = applied->nativeVlan();
   if (!port.native.isNone()) {
      port.access = port.native.vlanId();
   }
   for (auto it = mib.config()->vlanConfigIteratorConst(); it; ++it) {
      if ((*it)->intfCollection().find(intf)) {
         port.carried.doAdd(it.key());
      }
   }
   return port;
}

}  // namespace BridgeSnmp
