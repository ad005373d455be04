// The plug-in as snmpd sees it: its registrations win over default-priority ones, its trace
// goes to snmpd's log, and every SET is refused with the status its object calls for and
// changes nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

const Oid dot1dBaseType = "1.3.6.1.2.1.17.1.3.0";
const Oid sysContact = "1.3.6.1.2.1.1.4.0";

class SnmpdPluginTest : public SwitchAgentTest {};

// A "pass" script at dot1dBaseType's object competes with the plug-in there, at the default
// priority; the same script at an unused OID shows that it does answer.
TEST_F(SnmpdPluginTest, PluginIsServedAheadOfDefaultPriorityRegistrations) {
   const std::string script = std::filesystem::temp_directory_path() /
                              ("bridgesnmp-answer99-" + std::to_string(getpid()) + ".sh");
   std::ofstream(script) << "#!/bin/sh\n[ \"$1\" = -g ] && printf '%s\\ninteger\\n99\\n' \"$2\"\n";
   chmod(script.c_str(), 0700);
   startAgent("", {{"pass -p 127 1.3.6.1.2.1.17.1.3 " + script,
                    "pass -p 127 1.3.6.1.4.1.8072.9999.17 " + script},
                   {}});

   EXPECT_EQ(snmpd().get("1.3.6.1.4.1.8072.9999.17.0").integer, 99);
   EXPECT_EQ(snmpd().get(dot1dBaseType).integer, 2);
   std::filesystem::remove(script);
}

// `systemctl reload snmpd` (SIGHUP): the switch goes on as it was, a learned host and a SET
// included, on the same control socket; a line that takes effect only at start, changed, says
// so in the log once.
TEST_F(SnmpdPluginTest, AReloadKeepsTheRunningSwitch) {
   startAgent(Topology().ports("Ethernet1-4", 1).vlan(1, "default").vlan(10, "ten"));
   EXPECT_THAT(snmpd().log(), ::testing::HasSubstr("bridgesnmp: serving the simulated switch"));
   ok({"learn", "1", "02:00:00:00:00:01", "Ethernet2"});
   ASSERT_TRUE(snmpd().set({{"1.3.6.1.2.1.17.7.1.4.5.1.1.3", 'u', 10}}).ok());
   ASSERT_TRUE(eventually([&] { return snmpd().walk("1.3.6.1.2.1.17.7.1.2.2.1.2").size() == 1; }));
   const auto before = snmpd().walk("1.3.6.1.2.1.17");
   std::ofstream(snmpd().directory() / "conf" / "snmpd.conf", std::ios::app)
       << "bridgesnmpSystemName renamed\n";
   const auto count = [&](const std::string& text) { return occurrences(snmpd().log(), text); };
   for (std::size_t reloads = 1; reloads <= 2; ++reloads) {
      ASSERT_EQ(::kill(snmpd().pid(), SIGHUP), 0);
      ASSERT_TRUE(eventually([&] { return count("running switch is kept") == reloads; }));
   }
   EXPECT_EQ(snmpd().walk("1.3.6.1.2.1.17"), before);
   EXPECT_THAT(ok({"show", "fdb", "1"}), ::testing::HasSubstr("02:00:00:00:00:01"));
   EXPECT_EQ(count("bridgesnmpSystemName changed; it takes effect when snmpd restarts"), 1u);
   EXPECT_EQ(count("bridgesnmp: serving"), 1u);
}

// snmpd's own IF-MIB serving the host's interfaces keeps them: the host's addresses (IP-MIB)
// name its ifIndexes, which the switch's ports must not take over.
TEST(SnmpdPluginAloneTest, TheHostsInterfacesStayWhereSnmpdServesThem) {
   SnmpdAgent agent;
   agent.start();
   EXPECT_THAT(agent.log(), ::testing::HasSubstr("snmpd serves the host's ifTable"));
   EXPECT_EQ(agent.get("1.3.6.1.2.1.2.2.1.2.1").bytes, "lo");
}

// The packaged snippet's lines, with Debian's own "systemonly" view: its SNMPv3 user reads
// the bridge MIBs and writes the port VLAN tables and nothing else; the read community writes
// nothing; sysServices says layer 2.
TEST_F(SnmpdPluginTest, TheSnippetsUserWritesPortVlansOnly) {
   std::vector<std::string> lines = {"view systemonly included .1.3.6.1.2.1.1"};
   std::ifstream snippet(BRIDGESNMP_SNIPPET_PATH);
   for (std::string line; std::getline(snippet, line);) {
      for (const char* token : {"#view ", "#createUser ", "#group ", "#access ", "#sysServices "}) {
         if (line.rfind(token, 0) == 0) {
            lines.push_back(line.substr(1));
         }
      }
   }
   startAgent(Topology().ports("Ethernet1-2", 1).vlan(1, "default").vlan(10, "ten"),
              SnmpdOptions{lines, {}});
   SnmpClient user(snmpd().address(),
                   UsmUser{"bridgeadmin", "an auth passphrase", "a privacy passphrase"});
   const Oid pvid = "1.3.6.1.2.1.17.7.1.4.5.1.1.1";
   EXPECT_EQ(user.get("1.3.6.1.2.1.1.7.0").integer, 74);
   ASSERT_TRUE(user.set({{pvid, 'u', 10}}).ok());
   EXPECT_EQ(user.get(pvid), value(pvid, AsnType::Gauge32, 10));
   const auto before = user.walk("1.3.6.1.2.1.17");
   for (const SetValue& outside : {SetValue{"1.3.6.1.2.1.1.4.0", 's', "someone"},
                                   SetValue{"1.3.6.1.2.1.17.4.2.0", 'i', 600}}) {
      EXPECT_EQ(user.set({outside}).errstat, ErrStat::NoAccess) << outside.oid;
   }
   EXPECT_EQ(snmpd().reader().set({{pvid, 'u', 1}}).errstat, ErrStat::NoAccess);
   EXPECT_EQ(user.walk("1.3.6.1.2.1.17"), before);
}

TEST_F(SnmpdPluginTest, TraceLevelsComeFromTheConfigurationOrTheEnvironment) {
   for (const SnmpdOptions& options : {SnmpdOptions{{"bridgesnmpTrace Snmp/2"}, {}},
                                       SnmpdOptions{{}, {{"BRIDGESNMP_TRACE", "Snmp/2"}}}}) {
      startAgent("", options);
      ASSERT_EQ(snmpd().get(dot1dBaseType).integer, 2);
      EXPECT_THAT(snmpd().log(), ::testing::HasSubstr("handle_dot1dBaseType - returning 2"));
   }
}

// Each SET of a read-only object alone: the error status and index it gets. Rows that exist
// (bridge port 2, VLAN 10, its host) and rows that do not. The two writable Q-BRIDGE-MIB
// tables have their own scenarios.
TEST_F(SnmpdPluginTest, ReadOnlyObjectsRefuseSetsAndChangeNothing) {
   startAgent(Topology()
                  .ports("Ethernet1-4", 1)
                  .vlan(1, "default")
                  .vlan(10, "ten")
                  .access("Ethernet4", 10)
                  .host(1, "02:00:00:00:00:01", "Ethernet2")
                  .host(10, "02:00:00:00:00:0a", "Ethernet4"));
   const Oid host1 = macIndex("02:00:00:00:00:01");
   const Oid host10 = Oid("10") + macIndex("02:00:00:00:00:0a");
   const Oid ext = Mib::moveEntry;
   const long notWritable = ErrStat::NotWritable;
   const long noCreation = ErrStat::NoCreation;
   const std::vector<std::pair<SetValue, long>> cases = {
       {{"1.3.6.1.2.1.17.1.1.0", 'x', "021122334455"}, notWritable},
       {{"1.3.6.1.2.1.17.1.2.0", 'i', 12}, notWritable},
       {{dot1dBaseType, 'i', 3}, notWritable},
       {{"1.3.6.1.2.1.17.4.1.0", 'c', 7}, notWritable},
       {{"1.3.6.1.2.1.17.4.2.0", 'i', 100}, notWritable},
       {{"1.3.6.1.2.1.17.4.2.0", 'i', 300}, notWritable},
       {{"1.3.6.1.2.1.17.4.2.0", 's', "100"}, notWritable},
       {{"1.3.6.1.2.1.17.1.4.1.1.2", 'i', 5}, notWritable},
       {{"1.3.6.1.2.1.17.1.4.1.2.7", 'i', 77}, notWritable},
       {{"1.3.6.1.2.1.17.1.4.1.3.2", 'o', "1.3.6.1"}, notWritable},
       {{"1.3.6.1.2.1.17.1.4.1.5.2", 'c', 1}, notWritable},
       {{Oid("1.3.6.1.2.1.17.4.3.1.1") + host1, 'x', "020000007777"}, notWritable},
       {{Oid("1.3.6.1.2.1.17.4.3.1.2") + host1, 'i', 9}, notWritable},
       {{Oid("1.3.6.1.2.1.17.4.3.1.3") + host1, 'i', 2}, notWritable},
       {{"1.3.6.1.2.1.17.7.1.1.1.0", 'i', 1}, notWritable},
       {{"1.3.6.1.2.1.17.7.1.1.3.0", 'u', 100}, notWritable},
       {{"1.3.6.1.2.1.17.7.1.1.5.0", 'i', 1}, notWritable},
       {{"1.3.6.1.2.1.17.7.1.4.1.0", 'c', 5}, notWritable},
       {{"1.3.6.1.2.1.17.7.1.4.4.0", 'i', 7}, notWritable},
       {{"1.3.6.1.2.1.17.7.1.2.1.1.2.10", 'c', 1}, notWritable},
       {{Oid("1.3.6.1.2.1.17.7.1.2.2.1.2") + host10, 'i', 3}, notWritable},
       {{Oid("1.3.6.1.2.1.17.7.1.2.2.1.3") + host10, 'i', 2}, notWritable},
       {{"1.3.6.1.2.1.17.7.1.4.2.1.3.0.10", 'u', 11}, notWritable},
       {{"1.3.6.1.2.1.17.7.1.4.3.1.1", 's', "no index"}, noCreation},
       {{ext + Oid("1.0") + host10, 't', 5}, notWritable},
       {{ext + Oid("2.0") + host10, 'c', 5}, notWritable},
       {{ext + Oid("3.0") + host10, 't', 5}, notWritable},
   };
   ASSERT_TRUE(eventually([&] { return snmpd().walk("1.3.6.1.2.1.17.7.1.2.2").size() == 4; }));
   const auto before = snmpd().walk("1.3.6.1.2.1.17");
   const auto extBefore = snmpd().walk(ext);
   const std::string switchBefore = ok({"show"}) + ok({"show", "vlans"}) + ok({"show", "fdb"});

   for (const auto& [set, errstat] : cases) {
      const Response response = snmpd().set({set});
      EXPECT_EQ(response.errstat, errstat) << set.oid << ": " << response;
      EXPECT_EQ(response.errindex, 1) << set.oid;
   }
   // A refused varbind holds back the whole PDU; alone, the first one goes through.
   const std::string contact = snmpd().get(sysContact).bytes;
   const Response both = snmpd().set({{sysContact, 's', "held back"}, {dot1dBaseType, 'i', 3}});
   EXPECT_EQ(both.errstat, ErrStat::NotWritable);
   EXPECT_EQ(both.errindex, 2);
   EXPECT_EQ(snmpd().get(sysContact).bytes, contact);
   EXPECT_TRUE(snmpd().set({{sysContact, 's', "alone"}}).ok());
   EXPECT_EQ(snmpd().get(sysContact).bytes, "alone");

   EXPECT_EQ(snmpd().walk("1.3.6.1.2.1.17"), before);
   EXPECT_EQ(snmpd().walk(ext), extBefore);
   EXPECT_EQ(ok({"show"}) + ok({"show", "vlans"}) + ok({"show", "fdb"}), switchBefore);
}

}  // namespace
