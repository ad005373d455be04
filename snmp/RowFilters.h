#pragma once

#include "model/QBridgeMib.h"
#include "platform/bridging/Status.h"

// The row filters of the tables, over the current agent's configuration and port map.
namespace Snmp {

// dot1dTpFdbTable (FID 1 only): the row's interface must have a bridge port; VLAN 1 must
// not be internal; a learned row needs VLAN 1 configured with a zero selection word.
bool BridgeRowFilter(const BridgeSnmp::QBridgeMib::Dot1dTpFdbTableIteratorConst& row);
// dot1qTpFdbTable: the same rule for the row's own FID; static, self and management rows
// show even for a FID without VLAN configuration.
bool QBridgeRowFilter(const BridgeSnmp::QBridgeMib::Dot1qTpFdbTableIteratorConst& row);
// veltraDot1qTpFdbTable: learned rows only, of a configured, non-internal VLAN with a zero
// selection word, on an interface with a bridge port.
bool QBridgeExtRowFilter(const BridgeSnmp::QBridgeMib::Dot1qTpFdbTableIteratorConst& row);
// dot1qFdbTable: FIDs whose VLAN is configured and not internal.
bool Dot1qFdbTableFilter(const Bridging::FdbStatusMap::IteratorConst& row);
// dot1qPortVlanTable: ports with a switchport configuration whose mode is not 5.
bool Dot1qPortVlanTableFilter(const BridgeSnmp::QBridgeMib::Dot1dBasePortTableIteratorConst& row);

}  // namespace Snmp
