// The control command language against a real simulated switch: what each command does to
// the switch's entities, the exact complaints about bad commands, and that a bad or refused
// command changes nothing.

#include "platform/sim/CommandInterpreter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/kel/ActivityManager.h"
#include "platform/kel/StandaloneLoop.h"
#include "platform/kel/Time.h"
#include "platform/kel/Trace.h"

namespace {

using Bridging::Fid;
using Bridging::VlanId;
using Velnet::EthAddr;

const std::string hostA = "00:1c:73:00:00:0a";
const std::string hostB = "00:1c:73:00:00:0b";
const std::string hostC = "00:1c:73:00:00:0c";

EthAddr mac(const std::string& text) {
   return *EthAddr::parse(text);
}

// Four ports: Ethernet1 in VLAN 10, Ethernet2 a trunk of VLANs 10 and 20 (native 10),
// Ethernet3 in VLAN 20 with its link down, Ethernet4 in VLAN 20.
void buildLab(Sim::Switch& sw) {
   sw.bridgeMacAddrIs(mac("00:1c:73:ff:00:00"));
   for (int i = 1; i <= 4; ++i) {
      sw.newPort({Velnet::IntfId("Ethernet" + std::to_string(i)), static_cast<std::uint16_t>(i), i,
                  i != 3});
   }
   sw.vlanIs({VlanId(10), "ten"});
   sw.vlanIs({VlanId(20), "twenty"});
   sw.switchportIs("Ethernet1", {Bridging::SwitchportMode::access, VlanId(10)});
   sw.switchportIs("Ethernet2", {Bridging::SwitchportMode::trunk, VlanId(1),
                                 Bridging::VlanIdOrNone(10), "10,20"});
   sw.switchportIs("Ethernet3", {Bridging::SwitchportMode::access, VlanId(20)});
   sw.switchportIs("Ethernet4", {Bridging::SwitchportMode::access, VlanId(20)});
}

class CommandInterpreterTest : public ::testing::Test {
 protected:
   void SetUp() override { buildLab(sw); }

   std::string run(const std::string& line) { return cli.execute(line); }

   std::optional<Bridging::LearnedHost> learned(int vlan, const std::string& address) const {
      const auto fdb = sw.status()->fdbStatus(Fid(vlan));
      if (!fdb) {
         return std::nullopt;
      }
      const Bridging::LearnedHost* host = fdb->learnedHostRecord(mac(address));
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

   Kel::ScopedFakeTime time{5000.0};
   Kel::ActivityManager manager;
   Kel::StandaloneLoop loop{manager};
   Sim::Switch sw{manager};
   Sim::CommandInterpreter cli{sw};
};

TEST_F(CommandInterpreterTest, LearnPutsTheHostOnItsInterface) {
   EXPECT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");

   const auto host = learned(10, hostA);
   ASSERT_TRUE(host);
   EXPECT_EQ(host->intf, Velnet::IntfId("Ethernet1"));
   EXPECT_EQ(host->entryType, Bridging::FdbEntryType::learnedDynamic);
   EXPECT_EQ(host->moves, 0u);
   EXPECT_FALSE(learned(20, hostA));
}

TEST_F(CommandInterpreterTest, LearnAgainRefreshesAndLearnElsewhereMoves) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");

   EXPECT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nrefreshed\n");
   EXPECT_EQ(learned(10, hostA)->moves, 0u);
   EXPECT_EQ(run("learn 10 " + hostA + " Ethernet2"), "ok\nmoved\n");
   EXPECT_EQ(learned(10, hostA)->intf, Velnet::IntfId("Ethernet2"));
   EXPECT_EQ(learned(10, hostA)->moves, 1u);
}

TEST_F(CommandInterpreterTest, LearnTakesAnEntryType) {
   EXPECT_EQ(run("learn 20 " + hostB + " Ethernet2 learnedRemote"), "ok\nlearned\n");

   ASSERT_TRUE(learned(20, hostB));
   EXPECT_EQ(learned(20, hostB)->entryType, Bridging::FdbEntryType::learnedRemote);
}

TEST_F(CommandInterpreterTest, MoveTakesALearnedHostToAnotherInterface) {
   ASSERT_EQ(run("learn 20 " + hostA + " Ethernet4"), "ok\nlearned\n");

   EXPECT_EQ(run("move 20 " + hostA + " Ethernet2"), "ok\n");

   ASSERT_TRUE(learned(20, hostA));
   EXPECT_EQ(learned(20, hostA)->intf, Velnet::IntfId("Ethernet2"));
   EXPECT_EQ(learned(20, hostA)->moves, 1u);
}

TEST_F(CommandInterpreterTest, MoveOfAHostNotLearnedIsRefused) {
   const std::string before = snapshot();

   EXPECT_EQ(run("move 10 " + hostC + " Ethernet2"),
             "error: " + hostC + " is not learned in VLAN 10\n");

   EXPECT_EQ(snapshot(), before);
}

TEST_F(CommandInterpreterTest, AgeRemovesALearnedHost) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   ASSERT_EQ(run("learn 10 " + hostB + " Ethernet1"), "ok\nlearned\n");

   EXPECT_EQ(run("age 10 " + hostA), "ok\n");

   EXPECT_FALSE(learned(10, hostA));
   EXPECT_TRUE(learned(10, hostB));
   EXPECT_EQ(run("age 10 " + hostA), "error: " + hostA + " is not learned in VLAN 10\n");
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

TEST_F(CommandInterpreterTest, FlushOfAnUnknownInterfaceIsRefused) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   const std::string before = snapshot();

   EXPECT_EQ(run("flush vlan 10 intf Ethernet9"), "error: no interface Ethernet9\n");

   EXPECT_EQ(snapshot(), before);
   EXPECT_TRUE(learned(10, hostA));
}

TEST_F(CommandInterpreterTest, BurstLearnsTheSameHostsForTheSameSeed) {
   const std::string reply = run("burst 200 2 seed 7");

   EXPECT_EQ(reply, "ok\nlearned " + std::to_string(sw.learnedHosts()) + "\n");
   EXPECT_GT(sw.learnedHosts(), 190u);
   EXPECT_LE(sw.learnedHosts(), 200u);
   // Only the first two ports that carry a VLAN take hosts.
   for (auto fdb = sw.status()->fdbStatusIteratorConst(); fdb; ++fdb) {
      for (auto host = (*fdb)->learnedHostIteratorConst(); host; ++host) {
         EXPECT_TRUE(host.value().intf == Velnet::IntfId("Ethernet1") ||
                     host.value().intf == Velnet::IntfId("Ethernet2"))
             << host.value().intf;
      }
   }

   Kel::ActivityManager otherManager;
   Sim::Switch other(otherManager);
   buildLab(other);
   Sim::CommandInterpreter otherCli(other);
   EXPECT_EQ(otherCli.execute("burst 200 2 seed 7"), reply);
   EXPECT_EQ(other.show("fdb"), sw.show("fdb"));
   Sim::Switch third(otherManager);
   buildLab(third);
   Sim::CommandInterpreter thirdCli(third);
   ASSERT_EQ(thirdCli.execute("burst 200 2 seed 8").substr(0, 3), "ok\n");
   EXPECT_NE(third.show("fdb"), sw.show("fdb"));
}

TEST_F(CommandInterpreterTest, LinkDownTakesThePortOutOfItsVlansAndFlushesIt) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   ASSERT_TRUE(sw.vlanStatusDir()->vlanStatus(VlanId(10))->vlanPortStatus("Ethernet1").untagged);

   EXPECT_EQ(run("link Ethernet1 down"), "ok\n");

   EXPECT_EQ(sw.intfStatusDir()->intfStatus("Ethernet1")->operStatus(),
             Interface::OperStatus::down);
   EXPECT_EQ(
       sw.vlanStatusDir()->vlanStatus(VlanId(10))->vlanPortStatusCollection().find("Ethernet1"),
       nullptr);
   EXPECT_FALSE(learned(10, hostA));

   EXPECT_EQ(run("link Ethernet3 up"), "ok\n");
   EXPECT_EQ(sw.intfStatusDir()->intfStatus("Ethernet3")->operStatus(), Interface::OperStatus::up);
   EXPECT_NE(
       sw.vlanStatusDir()->vlanStatus(VlanId(20))->vlanPortStatusCollection().find("Ethernet3"),
       nullptr);
   EXPECT_EQ(run("learn 20 " + hostB + " Ethernet3"), "ok\nlearned\n");
}

TEST_F(CommandInterpreterTest, VlanAddCreatesAVlanButNotTwice) {
   EXPECT_EQ(run("vlan add 30 name \"lab net\""), "ok\n");

   const auto input = sw.inputConfig()->vlanConfig(VlanId(30));
   ASSERT_TRUE(input);
   EXPECT_EQ(input->configuredName().stdString(), "lab net");
   const auto applied = sw.config()->vlanConfig(VlanId(30));
   ASSERT_TRUE(applied);
   EXPECT_EQ(applied->configuredName().stdString(), "lab net");
   EXPECT_EQ(applied->adminState(), Bridging::AdminState::active);

   ASSERT_EQ(run("vlan internal 30 on"), "ok\n");
   const std::string before = snapshot();
   EXPECT_EQ(run("vlan add 30"), "error: VLAN 30 already exists\n");
   EXPECT_EQ(snapshot(), before);
   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(30))->internal());
}

TEST_F(CommandInterpreterTest, VlanSettingsReachTheAppliedConfiguration) {
   EXPECT_EQ(run("vlan internal 10 on"), "ok\n");
   EXPECT_EQ(run("vlan hidden 10 on"), "ok\n");
   EXPECT_EQ(run("vlan state 20 suspended"), "ok\n");
   EXPECT_EQ(run("vlan name 20 \"\""), "ok\n");

   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(10))->internal());
   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(10))->hidden());
   EXPECT_EQ(sw.config()->vlanConfig(VlanId(20))->adminState(), Bridging::AdminState::suspended);
   EXPECT_EQ(sw.config()->vlanConfig(VlanId(20))->configuredName().stdString(), "");

   EXPECT_EQ(run("vlan internal 10 off"), "ok\n");
   EXPECT_EQ(run("vlan state 20 active"), "ok\n");
   EXPECT_EQ(run("vlan name 20 blue"), "ok\n");
   EXPECT_FALSE(sw.config()->vlanConfig(VlanId(10))->internal());
   EXPECT_EQ(sw.config()->vlanConfig(VlanId(20))->adminState(), Bridging::AdminState::active);
   EXPECT_EQ(sw.config()->vlanConfig(VlanId(20))->configuredName().stdString(), "blue");
}

TEST_F(CommandInterpreterTest, VlanDelRemovesTheVlan) {
   EXPECT_EQ(run("vlan del 20"), "ok\n");

   EXPECT_FALSE(sw.inputConfig()->vlanConfig(VlanId(20)));
   EXPECT_FALSE(sw.config()->vlanConfig(VlanId(20)));
   EXPECT_EQ(run("vlan del 20"), "error: no VLAN 20\n");
   EXPECT_EQ(run("vlan hidden 20 on"), "error: no VLAN 20\n");
}

TEST_F(CommandInterpreterTest, SwitchportCommandsKeepTheSettingsTheyDoNotName) {
   EXPECT_EQ(run("switchport Ethernet4 trunk allowed 10"), "ok\n");
   auto input = sw.inputConfig()->switchIntfConfig("Ethernet4");
   EXPECT_EQ(input->switchportMode(), Bridging::SwitchportMode::trunk);
   EXPECT_EQ(input->accessVlan(), VlanId(20));
   EXPECT_EQ(input->trunkNativeVlan(), Bridging::VlanIdOrNone(1));
   EXPECT_EQ(input->trunkAllowedVlans().stdString(), "10");
   ASSERT_TRUE(sw.config()->vlanConfig(VlanId(10))->intfCollection().find("Ethernet4"));
   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(10))->intf("Ethernet4").tagged);

   EXPECT_EQ(run("switchport Ethernet4 trunk native none"), "ok\n");
   EXPECT_TRUE(input->trunkNativeVlan().isNone());
   EXPECT_EQ(input->trunkAllowedVlans().stdString(), "10");

   EXPECT_EQ(run("switchport Ethernet4 access 10"), "ok\n");
   EXPECT_EQ(input->switchportMode(), Bridging::SwitchportMode::access);
   EXPECT_EQ(input->accessVlan(), VlanId(10));
   EXPECT_EQ(input->trunkAllowedVlans().stdString(), "10");
   ASSERT_TRUE(sw.config()->vlanConfig(VlanId(10))->intfCollection().find("Ethernet4"));
   EXPECT_FALSE(sw.config()->vlanConfig(VlanId(10))->intf("Ethernet4").tagged);

   EXPECT_EQ(run("switchport Ethernet4 mode routed"), "ok\n");
   EXPECT_EQ(input->switchportMode(), Bridging::SwitchportMode::routed);
   EXPECT_EQ(input->accessVlan(), VlanId(10));
   EXPECT_FALSE(sw.config()->vlanConfig(VlanId(10))->intfCollection().find("Ethernet4"));
   EXPECT_FALSE(sw.config()->vlanConfig(VlanId(20))->intfCollection().find("Ethernet4"));

   EXPECT_EQ(run("switchport Ethernet4 mode dot1q-tunnel"), "ok\n");
   EXPECT_EQ(input->switchportMode(), Bridging::SwitchportMode::dot1qTunnel);
}

TEST_F(CommandInterpreterTest, SwitchportTrunkTakesNativeAndAllowedTogether) {
   EXPECT_EQ(run("switchport Ethernet1 trunk native 20 allowed 10-20"), "ok\n");

   const auto input = sw.inputConfig()->switchIntfConfig("Ethernet1");
   EXPECT_EQ(input->switchportMode(), Bridging::SwitchportMode::trunk);
   EXPECT_EQ(input->trunkNativeVlan(), Bridging::VlanIdOrNone(20));
   EXPECT_EQ(input->trunkAllowedVlans().stdString(), "10-20");
   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(10))->intf("Ethernet1").tagged);
   EXPECT_FALSE(sw.config()->vlanConfig(VlanId(20))->intf("Ethernet1").tagged);

   // "none" allows no VLAN, as in a topology file.
   EXPECT_EQ(run("switchport Ethernet1 trunk allowed none"), "ok\n");
   EXPECT_FALSE(sw.config()->vlanConfig(VlanId(10))->intfCollection().find("Ethernet1"));
   EXPECT_FALSE(sw.config()->vlanConfig(VlanId(20))->intfCollection().find("Ethernet1"));
}

TEST_F(CommandInterpreterTest, StaticHostsAreAddedAndDeleted) {
   EXPECT_EQ(run("static add 10 " + hostC + " Ethernet2"), "ok\n");

   const auto fdb = sw.config()->fdbConfig(Fid(10));
   ASSERT_TRUE(fdb);
   ASSERT_TRUE(fdb->configuredHostCollection().find(mac(hostC)));
   EXPECT_EQ(fdb->configuredHost(mac(hostC)).intf, Velnet::IntfId("Ethernet2"));
   EXPECT_EQ(run("learn 10 " + hostC + " Ethernet1"),
             "error: " + hostC + " is a static address in VLAN 10\n");

   EXPECT_EQ(run("static del 10 " + hostC), "ok\n");
   EXPECT_FALSE(sw.config()->fdbConfig(Fid(10)));
   EXPECT_EQ(run("static del 10 " + hostC),
             "error: " + hostC + " is not a static address in VLAN 10\n");
}

TEST_F(CommandInterpreterTest, AgingSetsTheHostAgingTime) {
   EXPECT_EQ(run("aging 120"), "ok\n");
   EXPECT_EQ(sw.config()->hostAgingTime(), 120.0);
   EXPECT_EQ(run("aging 0.5"), "ok\n");
   EXPECT_EQ(sw.config()->hostAgingTime(), 0.5);
   EXPECT_EQ(run("aging 0"), "ok\n");
   EXPECT_EQ(sw.config()->hostAgingTime(), 0.0);
}

TEST_F(CommandInterpreterTest, ShowAnswersWithTheSwitchsText) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   ASSERT_EQ(run("learn 20 " + hostB + " Ethernet4"), "ok\nlearned\n");

   EXPECT_EQ(run("show"), "ok\n" + sw.show("summary"));
   EXPECT_EQ(run("show summary"), "ok\n" + sw.show("summary"));
   EXPECT_EQ(run("show ports"), "ok\n" + sw.show("ports"));
   EXPECT_EQ(run("show vlans"), "ok\n" + sw.show("vlans"));
   EXPECT_EQ(run("show switchports"), "ok\n" + sw.show("switchports"));
   // The longest name a VLAN may have still leaves a blank before the next column.
   const std::string longest(32, 'n');
   ASSERT_EQ(run("vlan name 10 " + longest), "ok\n");
   EXPECT_NE(sw.show("vlans").find(longest + "  active"), std::string::npos) << sw.show("vlans");
   EXPECT_EQ(run("show fdb"), "ok\n" + sw.show("fdb"));
   const std::string vlan20 = run("show fdb 20");
   EXPECT_EQ(vlan20, "ok\n" + sw.show("fdb 20"));
   EXPECT_NE(vlan20.find(hostB), std::string::npos);
   EXPECT_EQ(vlan20.find(hostA), std::string::npos);
}

TEST_F(CommandInterpreterTest, TraceSetsLevelsAndRefusesBadText) {
   EXPECT_EQ(run("trace CommandInterpreterTest/6"), "ok\n");
   EXPECT_EQ(Kel::traceLevel("CommandInterpreterTest"), 6);

   const std::string reply = run("trace CommandInterpreterTest/12");
   EXPECT_EQ(reply.rfind("error: bad trace levels: ", 0), 0u) << reply;
   EXPECT_EQ(Kel::traceLevel("CommandInterpreterTest"), 6);
   EXPECT_EQ(run("trace CommandInterpreterTest/0"), "ok\n");
   EXPECT_EQ(Kel::traceLevel("CommandInterpreterTest"), 0);
}

TEST_F(CommandInterpreterTest, HelpListsEveryCommand) {
   const std::string reply = run("help");

   ASSERT_EQ(reply, "ok\n" + Sim::commandHelpText());
   for (const char* command : {"\nlearn <vlan>",
                               "\nmove ",
                               "\nage ",
                               "\nflush ",
                               "\nburst ",
                               "\nlink ",
                               "\nvlan add ",
                               "\nvlan del ",
                               "\nvlan internal ",
                               "\nvlan hidden ",
                               "\nvlan state ",
                               "\nvlan name ",
                               "\nswitchport <intf> access",
                               "\nswitchport <intf> trunk",
                               "\nswitchport <intf> mode",
                               "\nstatic add ",
                               "\nstatic del ",
                               "\naging ",
                               "\nshow ",
                               "\ntrace ",
                               "\nhelp\n"}) {
      EXPECT_NE(reply.find(command), std::string::npos) << command;
   }
}

TEST_F(CommandInterpreterTest, TheSwitchsRefusalsChangeNothing) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   const std::string before = snapshot();

   EXPECT_EQ(run("learn 10 " + hostB + " Ethernet3"),
             "error: Ethernet3 is not an active member of VLAN 10\n");
   EXPECT_EQ(run("learn 30 " + hostB + " Ethernet1"), "error: no VLAN 30\n");
   EXPECT_EQ(run("learn 10 01:00:5e:00:00:01 Ethernet1"),
             "error: 01:00:5e:00:00:01 is not a unicast address\n");
   EXPECT_EQ(run("link Ethernet99 down"), "error: no interface Ethernet99\n");
   EXPECT_EQ(run("move 10 " + hostA + " Ethernet1"),
             "error: " + hostA + " is already on Ethernet1\n");
   const std::string badList = run("switchport Ethernet2 trunk allowed 10,5-x");
   EXPECT_EQ(badList.rfind("error: ", 0), 0u) << badList;
   EXPECT_NE(badList.find("5-x"), std::string::npos) << badList;
   EXPECT_EQ(run("switchport Ethernet9 access 10"), "error: no interface Ethernet9\n");
   // A VLAN name is at most 32 octets, however it is given: 33 one-octet characters, or 17
   // two-octet ones.
   const std::string long33(33, 'n');
   std::string accents;
   for (int i = 0; i < 17; ++i) {
      accents += "\u00e9";
   }
   EXPECT_EQ(run("vlan add 62 name " + long33),
             "error: VLAN name '" + long33 + "' is 33 octets long; at most 32 are allowed\n");
   EXPECT_EQ(run("vlan name 10 \"" + accents + "\""),
             "error: VLAN name '" + accents + "' is 34 octets long; at most 32 are allowed\n");

   EXPECT_EQ(snapshot(), before);
}

struct BadLine {
   std::string line;
   std::string reply;
};

TEST_F(CommandInterpreterTest, BadCommandsAreNamedAndChangeNothing) {
   ASSERT_EQ(run("learn 10 " + hostA + " Ethernet1"), "ok\nlearned\n");
   const std::string before = snapshot();
   const std::string learnUsage = "; usage: learn <vlan> <mac> <intf> [<entry-type>]\n";
   const std::vector<BadLine> cases = {
       {"", "error: empty command (try 'help')\n"},
       {"   ", "error: empty command (try 'help')\n"},
       {"frobnicate 10", "error: unknown command 'frobnicate' (try 'help')\n"},
       {"LEARN 10 " + hostB + " Ethernet1", "error: unknown command 'LEARN' (try 'help')\n"},
       {"learn 5000 " + hostB + " Ethernet1", "error: VLAN 5000 is outside 1-4094\n"},
       {"learn 0 " + hostB + " Ethernet1", "error: VLAN 0 is outside 1-4094\n"},
       {"learn 10x " + hostB + " Ethernet1", "error: VLAN '10x' is not a number\n"},
       {"learn +10 " + hostB + " Ethernet1", "error: VLAN '+10' is not a number\n"},
       {"learn -1 " + hostB + " Ethernet1", "error: VLAN '-1' is not a number\n"},
       {"learn 99999999999999999999999 " + hostB + " Ethernet1",
        "error: VLAN 99999999999999999999999 is outside 1-4094\n"},
       {"learn 10 00:1c:73:zz:00:01 Ethernet1",
        "error: '00:1c:73:zz:00:01' is not a MAC address\n"},
       {"learn 10 00:1c:73:00:00:01:02 Ethernet1",
        "error: '00:1c:73:00:00:01:02' is not a MAC address\n"},
       {"learn 10 " + hostB, "error: missing <intf>" + learnUsage},
       {"learn", "error: missing <vlan>" + learnUsage},
       {"learn 10 " + hostB + " Ethernet1 sticky",
        "error: unknown entry type 'sticky' (learnedDynamic, learnedRemote, configuredStatic, "
        "peerStatic, router, management)\n"},
       {"learn 10 " + hostB + " Ethernet1 learnedDynamic extra",
        "error: unexpected argument 'extra'" + learnUsage},
       {"move 10 " + hostA, "error: missing <intf>; usage: move <vlan> <mac> <intf>\n"},
       {"age 10", "error: missing <mac>; usage: age <vlan> <mac>\n"},
       {"flush vlan 10 vlan 20",
        "error: vlan given twice; usage: flush [vlan <vlan>] [intf <intf>]\n"},
       {"flush port Ethernet1",
        "error: unexpected argument 'port'; usage: flush [vlan <vlan>] [intf <intf>]\n"},
       {"flush vlan", "error: missing <vlan>; usage: flush [vlan <vlan>] [intf <intf>]\n"},
       {"burst 0 2", "error: burst count 0 is outside 1-1000000\n"},
       {"burst 10 0", "error: port count 0 is outside 1-100000\n"},
       {"burst 10 2 seed", "error: missing <n>; usage: burst <count> <ports> [seed <n>] [paced]\n"},
       {"burst 10 2 salt 4",
        "error: unexpected argument 'salt'; usage: burst <count> <ports> [seed <n>] [paced]\n"},
       {"burst 10 2 seed 0x10", "error: seed '0x10' is not a number\n"},
       {"link Ethernet1 sideways",
        "error: 'sideways' is not up or down; usage: link <intf> up|down\n"},
       {"link Ethernet1 down now",
        "error: unexpected argument 'now'; usage: link <intf> up|down\n"},
       {"vlan",
        "error: missing add|del|internal|hidden|state|name; usage: vlan "
        "add|del|internal|hidden|state|name <vlan> ...\n"},
       {"vlan frob 10",
        "error: unknown vlan command 'frob'; usage: vlan "
        "add|del|internal|hidden|state|name <vlan> ...\n"},
       {"vlan add 4095", "error: VLAN 4095 is outside 1-4094\n"},
       {"vlan add 30 label x",
        "error: unexpected argument 'label'; usage: vlan add <vlan> [name <name>]\n"},
       {"vlan internal 10 maybe",
        "error: 'maybe' is not on or off; usage: vlan internal <vlan> on|off\n"},
       {"vlan state 10 dormant",
        "error: 'dormant' is not active or suspended; usage: vlan state <vlan> "
        "active|suspended\n"},
       {"vlan name 10", "error: missing <name>; usage: vlan name <vlan> <name>\n"},
       {"switchport Ethernet1",
        "error: missing access|trunk|mode; usage: switchport <intf> "
        "access|trunk|mode ...\n"},
       {"switchport Ethernet1 hybrid 10",
        "error: unknown switchport setting 'hybrid'; usage: "
        "switchport <intf> access|trunk|mode ...\n"},
       {"switchport Ethernet1 access none", "error: VLAN 'none' is not a number\n"},
       {"switchport Ethernet1 trunk native",
        "error: missing <vlan>|none; usage: switchport <intf> trunk [native <vlan>|none] "
        "[allowed <list>]\n"},
       {"switchport Ethernet1 trunk native 5000", "error: VLAN 5000 is outside 1-4094\n"},
       {"switchport Ethernet1 trunk allowed 10 allowed 20",
        "error: allowed given twice; usage: switchport <intf> trunk [native <vlan>|none] "
        "[allowed <list>]\n"},
       {"switchport Ethernet1 mode hybrid",
        "error: unknown switchport mode 'hybrid' (access, trunk, dot1q-tunnel, tap, tool, "
        "routed)\n"},
       {"static add 10 " + hostB, "error: missing <intf>; usage: static add <vlan> <mac> <intf>\n"},
       {"static move 10",
        "error: unknown static command 'move'; usage: static add|del <vlan> "
        "<mac> ...\n"},
       {"aging -1", "error: aging time '-1' is not a number of seconds\n"},
       {"aging 1e3", "error: aging time '1e3' is not a number of seconds\n"},
       {"aging .", "error: aging time '.' is not a number of seconds\n"},
       {"aging 2000000", "error: aging time 2000000 is outside 0-1000000 seconds\n"},
       {"show fdb 5000", "error: VLAN 5000 is outside 1-4094\n"},
       {"show everything",
        "error: cannot show 'everything'; usage: show "
        "[summary|ports|vlans|switchports|fdb [<vlan>]]\n"},
       {"show ports 10",
        "error: unexpected argument '10'; usage: show "
        "[summary|ports|vlans|switchports|fdb [<vlan>]]\n"},
       {"trace",
        "error: missing <facility/level>; usage: trace "
        "<facility/level>[,<facility/level>...]\n"},
       {"help me", "error: unexpected argument 'me'; usage: help\n"},
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
   EXPECT_EQ(Sim::parseMacWord("001c.7300.000a"), mac(hostA));
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
