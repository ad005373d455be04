// The plug-in inside a real snmpd: dot1dBaseType end to end, through the client library and
// through the command-line tools.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "SnmpdTest.h"

namespace {

using namespace Harness;
using ::testing::HasSubstr;

const Oid bridgeMib = "1.3.6.1.2.1.17";
const Oid dot1dBaseType = "1.3.6.1.2.1.17.1.3.0";
const Oid sysContact = "1.3.6.1.2.1.1.4.0";
// dot1dBaseType's transparent-only(2).
constexpr std::int64_t transparentOnly = 2;

class WalkingSkeletonTest : public SnmpdTest {};

TEST_F(WalkingSkeletonTest, GetDot1dBaseTypeAnswersTransparentOnly) {
   const GetResult result = agent().get(dot1dBaseType);

   ASSERT_TRUE(result.ok()) << result;
   EXPECT_EQ(result.oid, dot1dBaseType);
   EXPECT_EQ(result.type, AsnType::Integer) << result;
   EXPECT_EQ(result.integer, transparentOnly);
}

TEST_F(WalkingSkeletonTest, SnmpgetToolReadsDot1dBaseType) {
   const CommandResult result = agent().runTool(
       "snmpget", {"-v2c", "-c", "public", "-On", agent().address(), dot1dBaseType.str()});

   ASSERT_TRUE(result.succeeded()) << result.status.describe() << "\n" << result.err;
   EXPECT_THAT(result.out, HasSubstr(".1.3.6.1.2.1.17.1.3.0 = INTEGER: 2"));
}

TEST_F(WalkingSkeletonTest, SetDot1dBaseTypeIsNotWritable) {
   const Response response = agent().set({{dot1dBaseType, 'i', 3}});

   EXPECT_EQ(response.errstat, ErrStat::NotWritable) << response;
   EXPECT_EQ(response.errindex, 1);
   const GetResult after = agent().get(dot1dBaseType);
   EXPECT_EQ(after.type, AsnType::Integer) << after;
   EXPECT_EQ(after.integer, transparentOnly);
}

TEST_F(WalkingSkeletonTest, RejectedVarbindHoldsBackTheWholeSet) {
   const std::string contactBefore = agent().get(sysContact).bytes;

   const Response rejected =
       agent().set({{sysContact, 's', "set by a rejected request"}, {dot1dBaseType, 'i', 3}});

   EXPECT_EQ(rejected.errstat, ErrStat::NotWritable) << rejected;
   EXPECT_EQ(rejected.errindex, 2);
   EXPECT_EQ(agent().get(sysContact).bytes, contactBefore);
   EXPECT_EQ(agent().get(dot1dBaseType).integer, transparentOnly);
   // On its own the first varbind goes through: it was dot1dBaseType that stopped it.
   const Response alone = agent().set({{sysContact, 's', "set alone"}});
   EXPECT_TRUE(alone.ok()) << alone;
   EXPECT_EQ(agent().get(sysContact).bytes, "set alone");
}

TEST_F(WalkingSkeletonTest, WalksOfTheBridgeMibFindDot1dBaseType) {
   const std::vector<Varbind> walked = agent().walk(bridgeMib);
   const std::vector<Varbind> bulkWalked = agent().bulkWalk(bridgeMib, 5);

   const auto found = std::find_if(walked.begin(), walked.end(),
                                   [](const Varbind& vb) { return vb.oid == dot1dBaseType; });
   ASSERT_NE(found, walked.end());
   EXPECT_EQ(found->type, AsnType::Integer);
   EXPECT_EQ(found->integer, transparentOnly);
   std::vector<Oid> walkedOids;
   std::vector<Oid> bulkWalkedOids;
   for (const Varbind& vb : walked) {
      walkedOids.push_back(vb.oid);
   }
   for (const Varbind& vb : bulkWalked) {
      bulkWalkedOids.push_back(vb.oid);
   }
   EXPECT_EQ(bulkWalkedOids, walkedOids);
}

TEST_F(WalkingSkeletonTest, SnmpwalkToolListsWhatTheClientWalks) {
   const std::vector<Varbind> walked = agent().walk(bridgeMib);
   ASSERT_FALSE(walked.empty());

   const CommandResult result = agent().runTool(
       "snmpwalk", {"-v2c", "-c", "public", "-On", agent().address(), bridgeMib.str()});

   ASSERT_TRUE(result.succeeded()) << result.status.describe() << "\n" << result.err;
   EXPECT_THAT(result.out, HasSubstr(".1.3.6.1.2.1.17.1.3.0 = INTEGER: 2"));
   for (const Varbind& vb : walked) {
      EXPECT_THAT(result.out, HasSubstr("." + vb.oid.str() + " = ")) << vb;
   }
}

// snmpd's "pass" directive registers a subtree at the default priority (127). Registered at
// dot1dBaseType's object OID it competes with the plug-in's registration there; the plug-in's
// must be the one that answers. A second pass registration at an unused OID shows that the
// script does answer when nothing competes with it.
TEST_F(WalkingSkeletonTest, Dot1dBaseTypeIsServedAheadOfDefaultPriorityRegistrations) {
   SnmpdAgent& snmpd = addAgent();
   const auto script = snmpd.writeFile("answer99.sh",
                                       "#!/bin/sh\n"
                                       "# Answers a GET of any OID with INTEGER 99.\n"
                                       "if [ \"$1\" = \"-g\" ]; then\n"
                                       "   echo \"$2\"\n"
                                       "   echo integer\n"
                                       "   echo 99\n"
                                       "fi\n",
                                       true);
   const Oid unused = "1.3.6.1.4.1.8072.9999.17";
   snmpd.options().extraConfig = {"pass -p 127 1.3.6.1.2.1.17.1.3 " + script.string(),
                                  "pass -p 127 " + unused.str() + " " + script.string()};
   snmpd.start();

   const GetResult competitor = snmpd.get(unused.child(0));
   ASSERT_EQ(competitor.type, AsnType::Integer) << competitor;
   ASSERT_EQ(competitor.integer, 99);
   const GetResult result = snmpd.get(dot1dBaseType);
   EXPECT_EQ(result.type, AsnType::Integer) << result;
   EXPECT_EQ(result.integer, transparentOnly);
}

TEST_F(WalkingSkeletonTest, TraceLinesGoToTheSnmpdLog) {
   SnmpdAgent& snmpd = addAgent();
   snmpd.options().extraConfig = {"bridgesnmpTrace Snmp/2"};
   snmpd.start();

   ASSERT_EQ(snmpd.get(dot1dBaseType).integer, transparentOnly);

   EXPECT_THAT(snmpd.log(), HasSubstr("bridgesnmp Snmp/2"));
   EXPECT_THAT(snmpd.log(), HasSubstr("handle_dot1dBaseType - returning 2"));
}

TEST_F(WalkingSkeletonTest, TraceLevelsComeFromTheEnvironmentToo) {
   SnmpdAgent& snmpd = addAgent();
   snmpd.options().extraEnvironment = {{"BRIDGESNMP_TRACE", "Snmp/2"}};
   snmpd.start();

   ASSERT_EQ(snmpd.get(dot1dBaseType).integer, transparentOnly);

   EXPECT_THAT(snmpd.log(), HasSubstr("handle_dot1dBaseType - returning 2"));
}

TEST_F(WalkingSkeletonTest, SnmpdWithThePluginShutsDownCleanly) {
   ASSERT_EQ(agent().get(dot1dBaseType).integer, transparentOnly);

   const std::optional<ExitStatus> status = agent().stop();

   ASSERT_TRUE(status.has_value());
   EXPECT_TRUE(status->exited()) << status->describe();
   EXPECT_EQ(status->exitCode(), 0) << status->describe();
}

}  // namespace
