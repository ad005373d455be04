#pragma once

namespace Plugin {

// Every TimeTicks value the module serves (VLAN creation times, the TimeFilter marks, the
// last-move times) counts from the epoch of snmpd's own sysUpTime, so that a manager that
// takes its marks from sysUpTime sees every change made after it read the mark.
//
// net-snmp takes the agent's start on the wall clock and on the monotonic clock at the same
// moment and counts sysUpTime on the latter; the wall-clock start is the epoch of our
// wall-clock times (Kel::now()). Sets Snmp::agentStartTime() to it, or to now when the agent
// has recorded no start. Returns the epoch set.
double alignUptimeEpoch();

}  // namespace Plugin
