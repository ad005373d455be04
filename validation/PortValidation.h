#pragma once

#include "model/PortList.h"
#include "model/QBridgeMib.h"

// Whether one writable column of one row may take a value. Each check reads the switch's
// configuration through the row's parent, traces why it refuses (level 3) and changes
// nothing; the SET handler turns a refusal into an SNMP error.
namespace BridgeSnmp {

// dot1qPortAcceptableFrameTypes: the port must have a switchport configuration in a mode
// that carries VLANs (access or trunk). Either value passes.
bool validateAdmitFrame(Dot1dBasePortEntry::PtrConst entry, FrameAdmits frameType);

// dot1qPvid: not 0, on an access or trunk port, not a VLAN the switch reserves for itself;
// on a trunk the VLAN must exist in the input configuration (an access port's SET creates
// it). Raises the VlanId range exception above 4094.
bool validateDot1qPvid(Dot1dBasePortEntry::PtrConst entry, Bridging::VlanIdOrNone id);

// dot1qVlanStaticEgressPorts: the VLAN must be configured, and every member port that has a
// row must be an access or trunk port. Members without a row are ignored.
bool validateDot1qVlanStaticPorts(Dot1qVlanStaticEntry::PtrConst entry,
                                  EthPortIdSet::PtrConst portIdSet);

// The port's applied switchport configuration, or null.
Bridging::SwitchIntfConfig::PtrConst appliedSwitchport(const Dot1dBasePortEntry& entry);
// Access and trunk ports carry VLANs; SNMP changes no other mode.
bool carriesVlans(Bridging::SwitchportMode mode);

}  // namespace BridgeSnmp
