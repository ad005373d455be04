#include "plugin/UptimeEpoch.h"

#include "platform/kel/Time.h"
#include "platform/snmputil/Converters.h"
#include "snmp/NetSnmp.h"

namespace Plugin {

double alignUptimeEpoch() {
   const auto* start = static_cast<const struct timeval*>(netsnmp_get_agent_starttime());
   const bool recorded = start && (start->tv_sec != 0 || start->tv_usec != 0);
   const double epoch =
       recorded ? static_cast<double>(start->tv_sec) + static_cast<double>(start->tv_usec) / 1e6
                : Kel::now();
   Snmp::agentStartTimeIs(epoch);
   return epoch;
}

}  // namespace Plugin
