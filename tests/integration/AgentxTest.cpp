// bridgesnmp-agentx: the MIB units in a process of their own, serving through a master snmpd
// over AgentX, and reconnecting when the master restarts.
#include <gtest/gtest.h>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

const Oid baseType = "1.3.6.1.2.1.17.1.3.0";  // dot1dBaseType: transparent-only(2)
const Oid pvid9 = "1.3.6.1.2.1.17.7.1.4.5.1.1.9";

class AgentxTest : public SwitchAgentTest {
 protected:
   AgentxTest() { formIs(AgentForm::agentx); }
};

TEST_F(AgentxTest, SubagentServesThroughTheMasterAndComesBackAfterARestart) {
   startAgent();
   // The units register one subtree after another; dot1qPortVlanTable comes last.
   const auto answers = [&] {
      const GetResult type = snmpd().get(baseType);
      return type.type == AsnType::Integer && type.integer == 2 &&
             snmpd().get(pvid9).type == AsnType::Gauge32;
   };

   ASSERT_TRUE(eventually(answers));
   EXPECT_EQ(snmpd().get(pvid9).integer, 10) << "the lab switch's Ethernet9 is in VLAN 10";
   // A SET travels through the master to the subagent too.
   const Response set = snmpd().set({{pvid9, 'u', 20}});
   EXPECT_TRUE(set.ok()) << set;
   EXPECT_EQ(snmpd().get(pvid9).integer, 20);

   snmpd().stop();
   snmpd().start();
   EXPECT_TRUE(eventually(answers)) << "the subagent reconnects to the restarted master";
   EXPECT_EQ(snmpd().get(pvid9).integer, 20) << "with its state kept";
   EXPECT_TRUE(processRunning(subagent())) << "the subagent kept running";
   const ExitStatus ended = stopSubagent();
   EXPECT_TRUE(ended.exited() && ended.exitCode() == 0) << "it ends cleanly on SIGTERM";
}

}  // namespace
