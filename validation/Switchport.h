#pragma once

#include "model/QBridgeMib.h"
#include "platform/swix/VlanIdSet.h"

// A port's switchport as the switch is asked to run it, in one form for both modes: the
// start from which a SET request's bindings are worked out, and what the request leaves.
namespace BridgeSnmp {

struct Switchport {
   // False for a port with no switchport (routed, or not configured): it carries nothing.
   bool configured = false;
   Bridging::SwitchportMode mode = Bridging::SwitchportMode::access;
   // The access VLAN, kept for a trunk too (the switch keeps it while in trunk mode).
   Bridging::VlanId access = Bridging::VlanId(1);
   // The VLAN of untagged frames: the access VLAN of an access port, a trunk's native VLAN.
   Bridging::VlanIdOrNone native;
   // The VLANs the port is a member of: {access} for an access port, a trunk's allowed list.
   SwixUtils::VlanIdSet carried;

   bool trunk() const { return mode == Bridging::SwitchportMode::trunk; }
   bool carries(std::uint32_t vlan) const;
};

// The port's switchport from the input configuration, or, where the input has none for it,
// from the configuration the switch applies. Raises Kel::ParseException for an input
// allowed list that is not a VLAN list.
Switchport startingSwitchport(const QBridgeMib& mib, const Velnet::IntfId& intf);

}  // namespace BridgeSnmp
