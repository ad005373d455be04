// The module's TimeTicks against snmpd's own sysUpTime: snmpd started some seconds before
// the plug-in loaded, and a time taken now must read what sysUpTime reads now.

#include <gtest/gtest.h>

#include <sys/time.h>

#include "platform/kel/Time.h"
#include "platform/snmputil/Converters.h"
#include "plugin/UptimeEpoch.h"
#include "snmp/NetSnmp.h"

namespace {

TEST(UptimeEpochTest, TicksOfNowMatchTheAgentsUptime) {
   const double savedEpoch = Snmp::agentStartTime();
   timeval started{};
   gettimeofday(&started, nullptr);
   started.tv_sec -= 5;  // snmpd has been up 5.37 s when the plug-in loads
   started.tv_usec -= 370000;
   if (started.tv_usec < 0) {
      started.tv_usec += 1000000;
      started.tv_sec -= 1;
   }
   netsnmp_set_agent_starttime(&started);

   Plugin::alignUptimeEpoch();
   const unsigned long before = netsnmp_get_agent_uptime();
   const std::uint32_t ours = Snmp::SecondsToTimeTicks(Snmp::NowSecondsToUptimeSeconds(Kel::now()));
   const unsigned long after = netsnmp_get_agent_uptime();

   EXPECT_GE(before, 537u);
   EXPECT_GE(ours, before);
   EXPECT_LE(ours, after);
   Snmp::agentStartTimeIs(savedEpoch);
}

}  // namespace
