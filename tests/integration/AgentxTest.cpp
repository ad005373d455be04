// bridgesnmp-agentx: the MIB units in a process of their own, serving through a master snmpd
// over AgentX, and reconnecting when the master restarts.
#include <gtest/gtest.h>

#include <string>

#include "SnmpdAgent.h"
#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

const Oid baseType = "1.3.6.1.2.1.17.1.3.0";  // dot1dBaseType: transparent-only(2)
const Oid pvid9 = "1.3.6.1.2.1.17.7.1.4.5.1.1.9";

TEST(AgentxTest, SubagentServesThroughTheMasterAndComesBackAfterARestart) {
   SnmpdOptions masterOnly;
   masterOnly.plugin = false;
   SnmpdAgent master(masterOnly);
   const std::string socket = "unix:" + (master.directory() / "agentx.sock").string();
   master.options().extraConfig = {"master agentx", "agentXSocket " + socket};
   master.start();
   const auto config = master.writeFile(
       "bridgesnmp-agentx.conf",
       "bridgesnmpControlSocket " + (master.directory() / "control.sock").string() + "\n");
   const std::string own = (master.directory() / "subagent").string();
   const pid_t subagent = startProcess(
       {BRIDGESNMP_AGENTX_PATH, "-L", "-x", socket, "-c", config.string(), "--ping", "1"},
       {{"SNMPCONFPATH", own}, {"SNMP_PERSISTENT_DIR", own}, {"MIBS", ""}},
       master.directory() / "subagent.out");
   // The units register one subtree after another; dot1qPortVlanTable comes last.
   const auto answers = [&] {
      const GetResult type = master.get(baseType);
      return type.type == AsnType::Integer && type.integer == 2 &&
             master.get(pvid9).type == AsnType::Gauge32;
   };

   ASSERT_TRUE(eventually(answers)) << master.log();
   EXPECT_EQ(master.get(pvid9).integer, 10) << "the lab switch's Ethernet9 is in VLAN 10";
   // A SET travels through the master to the subagent too.
   const Response set = master.set({{pvid9, 'u', 20}});
   EXPECT_TRUE(set.ok()) << set;
   EXPECT_EQ(master.get(pvid9).integer, 20);

   master.stop();
   master.start();
   EXPECT_TRUE(eventually(answers)) << "the subagent reconnects to the restarted master";
   EXPECT_EQ(master.get(pvid9).integer, 20) << "with its state kept";
   EXPECT_TRUE(processRunning(subagent)) << "the subagent kept running";
   const ExitStatus ended = stopProcess(subagent);
   EXPECT_TRUE(ended.exited() && ended.exitCode() == 0) << "it ends cleanly on SIGTERM";
}

}  // namespace
