#pragma once

#include "model/QBridgeMib.h"
#include "snmp/Registration.h"

// Registers the Q-BRIDGE-MIB objects (RFC 4363): seven scalars, dot1qFdbTable,
// dot1qTpFdbTable, dot1qVlanCurrentTable, dot1qVlanStaticTable and dot1qPortVlanTable.
// Called once, by the unit's registration hook.
void init_QBridgeMib();
void initialize_table_dot1qFdbTable();
void initialize_table_dot1qTpFdbTable();
void initialize_table_dot1qVlanCurrentTable();
void initialize_table_dot1qVlanStaticTable();
void initialize_table_dot1qPortVlanTable();

namespace QBridgeMibUnit {
// The unit's name in traces, and where its cache is mounted.
inline constexpr const char* unit = "QBridgeMib";
inline constexpr Snmp::EntityAt<BridgeSnmp::QBridgeMib> cache{"snmp/swix/qbridgemib",
                                                              "BridgeSnmp::QBridgeMib"};
}  // namespace QBridgeMibUnit
