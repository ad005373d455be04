#pragma once

#include <cstddef>

namespace Plugin {

// Every TimeTicks value the module serves (VLAN creation times, the TimeFilter marks, the
// last-move times, ifLastChange) counts from the zero of the sysUpTime a manager reads, so
// that a manager that takes its marks from sysUpTime sees every change made after it read
// the mark. Stamps are Kel::now() readings (the monotonic clock) and so is that zero.

// In snmpd: net-snmp counts sysUpTime on the monotonic clock from its start; sets
// Snmp::agentStartTime() to that start, or to now when the agent has recorded no start.
// Returns the start set.
double alignUptimeEpoch();

struct MasterUptimeFit {
   std::size_t pings = 0;  // replies used; 0 when the master answered none
   double width = 0.0;     // seconds within which the master's start is known
};

// In the subagent, when its session with the master (a netsnmp_session*) has opened: pings
// the master in a short burst, learns where the master's sysUpTime started on our clock from
// the replies (MasterStartEstimate) and sets Snmp::agentStartTime() to it. Without a reply,
// falls back to the start net-snmp last took from the master.
MasterUptimeFit learnMasterUptime(void* session);

}  // namespace Plugin
