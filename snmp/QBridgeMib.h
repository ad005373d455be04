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
// The unit's name in traces, and where its cache is mounted: what each table of the cache
// states, by deriving from CacheTable.
struct CacheTable {
   static constexpr const char* unit = "QBridgeMib";
   static constexpr Snmp::EntityAt<BridgeSnmp::QBridgeMib> entity{"snmp/swix/qbridgemib",
                                                                  "BridgeSnmp::QBridgeMib"};
};
inline constexpr const char* unit = CacheTable::unit;
inline constexpr auto cache = CacheTable::entity;
}  // namespace QBridgeMibUnit
