#pragma once

// Registers the BRIDGE-MIB objects; called once by the unit's registration hook.
void init_BridgeMib();
