// The control command language against a real simulated switch: what each command does to
// the switch's entities, the exact complaints about bad commands, and that a bad or refused
// command changes nothing.

#include "platform/sim/CommandInterpreter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/SimSwitchFixture.h"

namespace {

using Bridging::Fid;
using Bridging::VlanId;

const std::string hostA = "00:1c:73:00:00:0a";
const std::string hostB = "00:1c:73:00:00:0b";
const std::string hostC = "00:1c:73:00:00:0c";

// Ethernet1 in VLAN 10, Ethernet2 a trunk of VLANs 10 and 20 (native 10), Ethernet3 in VLAN 20
// with its link down, Ethernet4 in VLAN 20; VLAN 30 exists too.
class CommandInterpreterTest : public TestSupport::SimSwitchTest {
 protected:
   CommandInterpreterTest() : SimSwitchTest(4) {
      sw.switchportIs(eth(1), {Bridging::SwitchportMode::access, VlanId(10)});
      sw.switchportIs(eth(2), {Bridging::SwitchportMode::trunk, VlanId(1),
                               Bridging::VlanIdOrNone(10), "10,20"});
      sw.switchportIs(eth(3), {Bridging::SwitchportMode::access, VlanId(20)});
      sw.switchportIs(eth(4), {Bridging::SwitchportMode::access, VlanId(20)});
      sw.linkIs(eth(3), false);
   }

   std::string run(const std::string& line) { return cli.execute(line); }

   std::optional<Bridging::LearnedHost> learned(int vlan, const std::string& address) const {
      const auto fdb = sw.entities().status->fdbStatus(Fid(vlan));
      if (!fdb) {
         return std::nullopt;
      }
      const Bridging::LearnedHost* host = fdb->learnedHostRecord(TestSupport::mac(address.c_str()));
      return host ? std::optional<Bridging::LearnedHost>(*host) : std::nullopt;
   }

   // Everything the switch shows: equal snapshots mean nothing visible changed.
   std::string snapshot() const {
      std::string all;
      for (const char* what : {"summary", "ports", "vlans", "switchports", "fdb"}) {
         all += sw.show(what);
      }
      return all;
   }

   Sim::CommandInterpreter cli{sw};
};

// What learning and moving do to a host is the switch's (LearningTest, and the move table's
// scenarios for the move command); the replies say which it was.
TEST_F(CommandInterpreterTest, LearnSaysWhetherItLearnedRefreshedOrMoved) {
   EXPECT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   EXPECT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nrefreshed\n");
   EXPECT_EQ(run("learn 10 " + hostA + " Ethernet2"), "ok\nmoved\n");
}

TEST_F(CommandInterpreterTest, FlushRemovesWhatItsFiltersSelect) {
   for (const std::string& line :
        {"learn 10 " + hostA + " Ethernet1", "learn 10 " + hostB + " Ethernet2",
         "learn 20 " + hostA + " Ethernet2", "learn 20 " + hostC + " Ethernet4"}) {
      ASSERT_EQ(run(line), "ok\nlearned\n") << line;
   }

   EXPECT_EQ(run("flush vlan 20 intf Ethernet2"), "ok\nflushed 1\n");
   EXPECT_FALSE(learned(20, hostA));
   EXPECT_TRUE(learned(10, hostB));
   EXPECT_TRUE(learned(20, hostC));

   EXPECT_EQ(run("flush intf Ethernet1"), "ok\nflushed 1\n");
   EXPECT_FALSE(learned(10, hostA));

   EXPECT_EQ(run("flush vlan 10"), "ok\nflushed 1\n");
   EXPECT_FALSE(learned(10, hostB));
   EXPECT_TRUE(learned(20, hostC));

   EXPECT_EQ(run("flush"), "ok\nflushed 1\n");
   EXPECT_EQ(sw.learnedHosts(), 0u);
}

// Each command in turn, and the VLAN's applied settings after it: internal, hidden, state, name.
TEST_F(CommandInterpreterTest, VlanSettingsReachTheAppliedConfiguration) {
   const struct {
      const char* command;
      int vlan;
      const char* settings;
   } steps[] = {
       {"vlan internal 10 on", 10, "internal hidden active 'vlan10'"},  // internal is hidden too
       {"vlan hidden 10 on", 10, "internal hidden active 'vlan10'"},
       {"vlan internal 10 off", 10, "hidden active 'vlan10'"},
       {"vlan state 20 suspended", 20, "suspended 'vlan20'"},
       {"vlan name 20 \"\"", 20, "suspended ''"},
       {"vlan state 20 active", 20, "active ''"},
       {"vlan name 20 blue", 20, "active 'blue'"},
   };
   for (const auto& step : steps) {
      EXPECT_EQ(run(step.command), "ok\n") << step.command;
      const auto vlan = sw.entities().config->vlanConfig(VlanId(step.vlan));
      std::ostringstream text;
      text << (vlan->internal() ? "internal " : "") << (vlan->hidden() ? "hidden " : "")
           << vlan->adminState() << " '" << vlan->configuredName().stdString() << "'";
      EXPECT_EQ(text.str(), step.settings) << step.command;
   }
}

// Each command in turn on Ethernet4 (access in VLAN 20): its input settings as "mode access
// native allowed", and its membership in VLANs 10 and 20 ('u', 't' or '-' each).
TEST_F(CommandInterpreterTest, SwitchportCommandsKeepTheSettingsTheyDoNotName) {
   const auto input = sw.entities().input->switchIntfConfig("Ethernet4");
   const auto memberOf = [&](int vlan) {
      const auto config = sw.entities().config->vlanConfig(VlanId(vlan));
      return !config->intfCollection().find("Ethernet4") ? '-'
             : config->intf("Ethernet4").tagged          ? 't'
                                                         : 'u';
   };
   const std::pair<const char*, const char*> steps[] = {
       {"trunk allowed 10", "trunk 20 1 10 t-"},
       {"trunk native none", "trunk 20 0 10 t-"},
       {"access 10", "access 10 0 10 u-"},
       {"mode routed", "routed 10 0 10 --"},
       {"mode dot1q-tunnel", "dot1q-tunnel 10 0 10 --"},
       {"trunk native 20 allowed 10-20", "trunk 10 20 10-20 tu"},
       {"trunk allowed none", "trunk 10 20 none --"},  // as in a topology file
   };
   for (const auto& [command, settings] : steps) {
      EXPECT_EQ(run(std::string("switchport Ethernet4 ") + command), "ok\n") << command;
      std::ostringstream text;
      text << input->switchportMode() << " " << input->accessVlan() << " "
           << input->trunkNativeVlan() << " " << input->trunkAllowedVlans().stdString() << " "
           << memberOf(10) << memberOf(20);
      EXPECT_EQ(text.str(), settings) << command;
   }
}

TEST_F(CommandInterpreterTest, ShowOfOneVlansHostsAndTheLongestName) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   ASSERT_EQ(run("learn 20 " + hostB + " Ethernet4"), "ok\nlearned\n");
   const std::string vlan20 = run("show fdb 20");
   EXPECT_NE(vlan20.find(hostB), std::string::npos);
   EXPECT_EQ(vlan20.find(hostA), std::string::npos);
   // The longest name a VLAN may have still leaves a blank before the next column.
   const std::string longest(32, 'n');
   ASSERT_EQ(run("vlan name 10 " + longest), "ok\n");
   EXPECT_NE(run("show vlans").find(longest + "  active"), std::string::npos);
}

TEST_F(CommandInterpreterTest, StatusIsWhatTheServingAgentReports) {
   EXPECT_EQ(run("status"), "error: no agent serves this switch\n");
   sw.statusReporterIs([] { return std::string("rows: 3\n"); });
   EXPECT_EQ(run("status"), "ok\nrows: 3\n");
}

struct BadLine {
   std::string line;
   std::string reply;
};

TEST_F(CommandInterpreterTest, RefusedAndBadCommandsAreNamedAndChangeNothing) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   ASSERT_EQ(run("static add 10 00:00:00:00:00:05 Ethernet2"), "ok\n");
   const std::string before = snapshot();
   const std::string learnUsage = "; usage: learn <vlan> <mac> <intf> [<entry-type>]\n";
   // A VLAN name is at most 32 octets, however it is given: 33 one-octet characters, or 17
   // two-octet ones.
   const std::string long33(33, 'n');
   std::string accents;
   for (int i = 0; i < 17; ++i) {
      accents += "\u00e9";
   }
   const std::vector<BadLine> cases = {
       // Refused by the switch.
       {"learn 10 " + hostB + " Ethernet3",
        "error: Ethernet3 is not an active member of VLAN 10\n"},
       {"learn 40 " + hostB + " Ethernet1", "error: no VLAN 40\n"},
       {"learn 10 01:00:5e:00:00:01 Ethernet1",
        "error: 01:00:5e:00:00:01 is not a unicast address\n"},
       {"learn 10 00:00:00:00:00:05 Ethernet1",
        "error: 00:00:00:00:00:05 is a static address in VLAN 10\n"},
       {"link Ethernet99 down", "error: no interface Ethernet99\n"},
       {"move 10 " + hostA + " Ethernet1", "error: " + hostA + " is already on Ethernet1\n"},
       {"move 10 " + hostB + " Ethernet1", "error: " + hostB + " is not learned in VLAN 10\n"},
       {"age 10 " + hostB, "error: " + hostB + " is not learned in VLAN 10\n"},
       {"learn 10 " + hostB + " Ethernet9", "error: no interface Ethernet9\n"},
       {"switchport Ethernet2 trunk allowed 10,5-x",
        "error: malformed VLAN list '10,5-x': 'x' is not a VLAN number\n"},
       {"switchport Ethernet9 access 10", "error: no interface Ethernet9\n"},
       {"vlan add 62 name " + long33,
        "error: VLAN name '" + long33 + "' is 33 octets long; at most 32 are allowed\n"},
       {"vlan name 10 \"" + accents + "\"",
        "error: VLAN name '" + accents + "' is 34 octets long; at most 32 are allowed\n"},
       // Not commands the switch could take.
       {"", "error: empty command (try 'help')\n"},
       {"frobnicate 10", "error: unknown command 'frobnicate' (try 'help')\n"},
       {"learn +10 " + hostB + " Ethernet1", "error: VLAN '+10' is not a number\n"},
       {"learn 10 00:1c:73:zz:00:01 Ethernet1",
        "error: '00:1c:73:zz:00:01' is not a MAC address\n"},
       {"learn 10 " + hostB, "error: missing <intf>" + learnUsage},
       {"learn 10 " + hostB + " Ethernet1 sticky",
        "error: unknown entry type 'sticky' (learnedDynamic, learnedRemote, configuredStatic, "
        "peerStatic, router, management)\n"},
       {"flush vlan 10 vlan 20",
        "error: vlan given twice; usage: flush [vlan <vlan>] [intf <intf>]\n"},
       {"burst 0 2", "error: burst count 0 is outside 1-1000000\n"},
       {"link Ethernet1 sideways",
        "error: 'sideways' is not up or down; usage: link <intf> up|down\n"},
       {"vlan",
        "error: missing add|del|internal|hidden|state|name; usage: vlan "
        "add|del|internal|hidden|state|name <vlan> ...\n"},
       {"vlan internal 10 maybe",
        "error: 'maybe' is not on or off; usage: vlan internal <vlan> on|off\n"},
       {"vlan state 10 dormant",
        "error: 'dormant' is not active or suspended; usage: vlan state <vlan> "
        "active|suspended\n"},
       {"switchport Ethernet1",
        "error: missing access|trunk|mode; usage: switchport <intf> "
        "access|trunk|mode ...\n"},
       {"switchport Ethernet1 trunk allowed 10 allowed 20",
        "error: allowed given twice; usage: switchport <intf> trunk [native <vlan>|none] "
        "[allowed <list>]\n"},
       {"switchport Ethernet1 mode hybrid",
        "error: unknown switchport mode 'hybrid' (access, trunk, dot1q-tunnel, tap, tool, "
        "routed)\n"},
       {"aging -1", "error: aging time '-1' is not a number of seconds\n"},
       {"aging 2000000", "error: aging time 2000000 is outside 0-1000000 seconds\n"},
       {"show everything",
        "error: cannot show 'everything'; usage: show "
        "[summary|ports|vlans|switchports|fdb [<vlan>]]\n"},
       {"vlan name 10 \"unfinished", "error: unterminated quoted word in the command line\n"},
       {std::string("link Ethernet1\x01 down"),
        "error: control character 0x1 in the command line\n"},
   };
   for (const BadLine& c : cases) {
      EXPECT_EQ(run(c.line), c.reply) << "line: " << c.line;
   }
   EXPECT_EQ(snapshot(), before);
}

TEST(CommandLineWordsTest, QuotedWordsSurviveJoinAndSplit) {
   const std::vector<std::string> words = {"vlan", "name",     "10", "lab \"net\" \\ one",
                                           "",     "tab\there"};

   const std::string line = Sim::joinCommandLine(words);

   EXPECT_EQ(line, "vlan name 10 \"lab \\\"net\\\" \\\\ one\" \"\" \"tab\there\"");
   EXPECT_EQ(Sim::splitCommandLine(line), words);
}

TEST(CommandLineWordsTest, SplitSeparatesOnBlanksAndTabs) {
   EXPECT_EQ(Sim::splitCommandLine("  learn\t10  a\\b \"x y\"z "),
             (std::vector<std::string>{"learn", "10", "a\\b", "x yz"}));
   EXPECT_TRUE(Sim::splitCommandLine("").empty());
   EXPECT_THROW(Sim::splitCommandLine("name \"abc\\"), Sim::CommandError);
}

TEST(CommandLineWordsTest, NumbersAreReadStrictly) {
   EXPECT_EQ(Sim::parseNumberWord("42", "count", 1, 100), 42u);
   EXPECT_EQ(Sim::parseNumberWord("007", "count", 1, 100), 7u);
   EXPECT_EQ(Sim::parseNumberWord("18446744073709551615", "seed", 0, UINT64_MAX), UINT64_MAX);
   EXPECT_EQ(Sim::parseVlanWord("4094"), VlanId(4094));
   EXPECT_EQ(Sim::parseMacWord("001c.7300.000a"), TestSupport::mac(hostA.c_str()));
   for (const char* bad : {"", " 4", "4 ", "4.0", "1e2", "٤"}) {
      EXPECT_THROW(Sim::parseNumberWord(bad, "count", 1, 100), Sim::CommandError) << bad;
   }
   try {
      Sim::parseNumberWord("101", "count", 1, 100);
      ADD_FAILURE() << "101 was accepted";
   } catch (const Sim::CommandError& e) {
      EXPECT_STREQ(e.what(), "count 101 is outside 1-100");
   }
}

}  // namespace
