#pragma once

// IF-MIB (RFC 2863): ifTable and ifXTable rows for the Ethernet interfaces of the state
// database's interface-status directory, in ifIndex order, read live from each interface's
// status.
//
// Not a unit that registers itself: the plug-in host calls this only for a platform whose
// interfaces the host system's own IF-MIB does not already show. Registers once per process;
// returns whether the tables are registered (false when no interface directory is mounted).
namespace Snmp {
bool registerInterfaceTables();
}
