// bridgesnmp-agentx: the MIB units in a process of their own, serving through a master snmpd
// over AgentX, and reconnecting when the master restarts.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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
   const std::string said = readFile(snmpd().directory() / "subagent.out");
   EXPECT_EQ(occurrences(said, "serving through the master agent"), 2u)
       << "said once for each session with a master:\n"
       << said;
   const ExitStatus ended = stopSubagent();
   EXPECT_TRUE(ended.exited() && ended.exitCode() == 0) << "it ends cleanly on SIGTERM";
   EXPECT_FALSE(
       std::filesystem::exists(snmpd().directory() / "subagent" / "bridgesnmp-agentx.conf"))
       << "and keeps no persistent state";
}

// Without a master, the subagent says it waits for one, and not that it serves.
TEST(AgentxAloneTest, SubagentWithoutAMasterSaysItWaits) {
   const std::filesystem::path output =
       std::filesystem::temp_directory_path() / ("agentx-alone-" + std::to_string(::getpid()));
   const pid_t subagent =
       startProcess({BRIDGESNMP_AGENTX_PATH, "-L", "-x", "/nonexistent/agentx", "-c", "/dev/null"},
                    {{"SNMPCONFPATH", "/nonexistent"}, {"SNMP_PERSISTENT_DIR", "/tmp"}}, output);
   const auto said = [&] { return readFile(output); };
   EXPECT_TRUE(eventually([&] {
      return said().find("waiting for the master agent at /nonexistent/agentx") !=
             std::string::npos;
   })) << said();
   stopProcess(subagent);
   EXPECT_EQ(said().find("serving"), std::string::npos) << said();
   std::filesystem::remove(output);
}

}  // namespace
