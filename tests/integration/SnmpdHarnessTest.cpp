// The harness's own promises: the snmpd it starts is the one it stops, start-up failures come
// with snmpd's output, agents are independent.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <fstream>

#include "SnmpdTest.h"

namespace {

using namespace Harness;
using ::testing::HasSubstr;

const Oid sysUpTime = "1.3.6.1.2.1.1.3.0";
const Oid dot1dBaseType = "1.3.6.1.2.1.17.1.3.0";
// For checks that nothing answers: one quick try.
constexpr ClientTiming quick{std::chrono::milliseconds(300), 0};

bool answers(SnmpdAgent& agent) {
   return agent.client(agent.options().readCommunity, quick)->tryGet({sysUpTime}).has_value();
}

class SnmpdHarnessTest : public SnmpdTest {};

TEST_F(SnmpdHarnessTest, StopEndsTheSnmpdItStarted) {
   SnmpdAgent& snmpd = agent();
   const pid_t pid = snmpd.pid();
   ASSERT_GT(pid, 0);
   ASSERT_EQ(kill(pid, 0), 0);
   pid_t pidFromFile = 0;
   std::ifstream(snmpd.pidPath()) >> pidFromFile;
   EXPECT_EQ(pidFromFile, pid) << "snmpd's pid file names another process";

   const std::optional<ExitStatus> status = snmpd.stop();

   ASSERT_TRUE(status.has_value());
   EXPECT_FALSE(snmpd.running());
   errno = 0;
   EXPECT_EQ(kill(pid, 0), -1);
   EXPECT_EQ(errno, ESRCH);
   EXPECT_FALSE(answers(snmpd));
}

TEST_F(SnmpdHarnessTest, RestartsOnTheSamePort) {
   SnmpdAgent& snmpd = agent();
   const int port = snmpd.port();
   const pid_t firstPid = snmpd.pid();
   snmpd.stop();

   snmpd.start();

   EXPECT_EQ(snmpd.port(), port);
   EXPECT_NE(snmpd.pid(), firstPid);
   EXPECT_EQ(snmpd.get(sysUpTime).type, AsnType::TimeTicks);
}

TEST_F(SnmpdHarnessTest, AgentsRunSideBySide) {
   SnmpdAgent& first = agent();
   SnmpdAgent& second = addAgent();
   second.start();
   ASSERT_NE(first.port(), second.port());
   ASSERT_NE(first.directory(), second.directory());

   first.stop();

   EXPECT_FALSE(answers(first));
   EXPECT_EQ(second.get(dot1dBaseType).integer, 2);
}

TEST_F(SnmpdHarnessTest, MissingPluginIsReportedInTheLog) {
   SnmpdAgent& snmpd = addAgent();
   const std::string missing = (snmpd.directory() / "missing" / "bridgesnmp.so").string();
   snmpd.options().pluginPath = missing;

   snmpd.start();

   EXPECT_EQ(snmpd.get(sysUpTime).type, AsnType::TimeTicks);
   EXPECT_EQ(snmpd.get(dot1dBaseType).type, AsnType::NoSuchObject);
   EXPECT_THAT(snmpd.log(), HasSubstr(missing));
   EXPECT_THAT(snmpd.report(), HasSubstr(missing));
}

TEST_F(SnmpdHarnessTest, SnmpdThatEndsAtOnceFailsStartWithoutWaitingOut) {
   SnmpdAgent& snmpd = addAgent();
   snmpd.options().snmpdPath = (snmpd.directory() / "no-such-snmpd").string();
   snmpd.options().startTimeout = std::chrono::seconds(60);
   const auto begin = std::chrono::steady_clock::now();

   try {
      snmpd.start();
      FAIL() << "start() succeeded without an snmpd";
   } catch (const StartError& e) {
      EXPECT_THAT(e.what(), HasSubstr("exited with status 127"));
      EXPECT_THAT(e.what(), HasSubstr("cannot execute " + snmpd.options().snmpdPath));
   }
   EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST_F(SnmpdHarnessTest, ToolsGetNoMibsAndTheirExitStatus) {
   SnmpdAgent& snmpd = agent();

   const CommandResult ok =
       snmpd.runTool("snmpget", {"-v2c", "-c", "public", snmpd.address(), sysUpTime.str()});
   const CommandResult bad = snmpd.runTool(
       "snmpget", {"-v2c", "-c", "public", snmpd.address(), "SNMPv2-MIB::sysUpTime.0"});

   EXPECT_TRUE(ok.succeeded()) << ok.status.describe() << "\n" << ok.err;
   // Without MIBs, snmpget prints the numeric OID; and it cannot look up a name.
   EXPECT_THAT(ok.out, HasSubstr("iso.3.6.1.2.1.1.3.0 = Timeticks:"));
   EXPECT_FALSE(bad.succeeded());
   EXPECT_THAT(bad.err, HasSubstr("sysUpTime"));
}

}  // namespace
