#include "plugin/UptimeEpoch.h"

#include "platform/kel/Time.h"
#include "platform/snmputil/Converters.h"
#include "plugin/MasterStartEstimate.h"
#include "snmp/NetSnmp.h"

#include <sys/time.h>

// net-snmp's subagent library exports its synchronous AgentX ping without declaring it in an
// installed header. It returns non-zero when the master replied; the reply moves the agent's
// start to the master's.
extern "C" int agentx_send_ping(netsnmp_session* session);

namespace Plugin {
namespace {

// The burst ends when the bounds are this close, or after this long: a span that passes at
// least two tick boundaries, so that some reply comes just after one and some just before. On
// loopback a ping takes from 10 µs to a few hundred; the count only guards against a clock
// that does not move.
constexpr double widthGoal = 0.0003;
constexpr double longestBurst = 0.03;
constexpr std::size_t mostPings = 20000;

const timeval* recordedStart() {
   const auto* start = static_cast<const timeval*>(netsnmp_get_agent_starttime());
   return start && (start->tv_sec != 0 || start->tv_usec != 0) ? start : nullptr;
}

double seconds(const timeval& tv) {
   return static_cast<double>(tv.tv_sec) + static_cast<double>(tv.tv_usec) / 1e6;
}

// The agent's start on our clock. net-snmp takes its start on the wall clock and on the
// monotonic clock at the same moment, and counts sysUpTime on the latter, which it does not
// export (its run time comes in whole hundredths). The wall-clock start, moved by how far the
// wall clock is ahead of ours now, is the monotonic start to the microsecond, as long as the
// wall clock was not stepped since it was taken: we read it right after net-snmp set it.
double agentStart(const timeval& wallStart) {
   timeval wallNow{};
   gettimeofday(&wallNow, nullptr);
   const double now = Kel::now();
   return seconds(wallStart) - (seconds(wallNow) - now);
}

}  // namespace

double alignUptimeEpoch() {
   const timeval* start = recordedStart();
   const double epoch = start ? agentStart(*start) : Kel::now();
   Snmp::agentStartTimeIs(epoch);
   return epoch;
}

MasterUptimeFit learnMasterUptime(void* session) {
   auto* ss = static_cast<netsnmp_session*>(session);
   MasterStartEstimate estimate;
   const double begin = Kel::now();
   while (ss && estimate.samples() < mostPings) {
      const double sentAt = Kel::now();
      if (!agentx_send_ping(ss)) {
         break;
      }
      const double receivedAt = Kel::now();
      const timeval* start = recordedStart();
      if (!start) {
         break;
      }
      estimate.sample(sentAt, receivedAt, agentStart(*start));
      if (estimate.width() <= widthGoal || Kel::now() - begin >= longestBurst) {
         break;
      }
   }
   if (!estimate.known()) {
      alignUptimeEpoch();
      return {};
   }
   Snmp::agentStartTimeIs(estimate.start());
   return {estimate.samples(), estimate.width()};
}

}  // namespace Plugin
