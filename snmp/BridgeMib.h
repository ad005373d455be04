#pragma once

// Registers the BRIDGE-MIB objects (RFC 4188): five scalars, dot1dBasePortTable and
// dot1dTpFdbTable. Called once, by the unit's registration hook.
void init_BridgeMib();
void initialize_table_dot1dBasePortTable();
void initialize_table_dot1dTpFdbTable();
