#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/bridging/Enums.h"
#include "platform/bridging/InputConfig.h"
#include "platform/bridging/VlanId.h"
#include "platform/linux/RtnlEvents.h"
#include "platform/swix/VlanIdSet.h"

// How a Linux bridge port's VLANs read as a switchport, and back.
namespace Linux {

// A port's VLANs as a switchport: one untagged VLAN that is its PVID, and nothing tagged, is an
// access port of that VLAN; anything else is a trunk allowing its VLANs, native on its PVID.
// Without VLAN filtering every port is an access port of VLAN 1.
struct Switchport {
   Bridging::SwitchportMode mode = Bridging::SwitchportMode::access;
   Bridging::VlanIdOrNone nativeVlan{1};
   SwixUtils::VlanIdSet allowed;  // every VLAN of the port
   std::vector<PortVlan> vlans;   // sorted by VLAN
   friend bool operator==(const Switchport&, const Switchport&) = default;
};

Switchport switchportOf(const std::vector<PortVlan>& kernelVlans, bool vlanFiltering);

// The kernel VLANs that an input switchport configuration asks for: an access port is
// untagged in its access VLAN, which is its PVID; a trunk is tagged in each allowed VLAN
// that `known` holds, and untagged with the PVID on its native VLAN when that is allowed.
// Other modes cannot be expressed on a Linux bridge port: the reason is returned instead.
struct WantedVlans {
   std::vector<PortVlan> vlans;  // sorted by VLAN
   std::optional<std::string> refusal;
};
WantedVlans wantedVlans(const Bridging::Input::SwitchIntfConfig& input,
                        const SwixUtils::VlanIdSet& known);

// The VLANs to delete from a port and those to add or change, going from `current` to
// `wanted` (both sorted by VLAN).
struct VlanEdit {
   std::vector<PortVlan> remove;
   std::vector<PortVlan> add;
   bool empty() const { return remove.empty() && add.empty(); }
};
VlanEdit vlanEdit(const std::vector<PortVlan>& current, const std::vector<PortVlan>& wanted);

}  // namespace Linux
