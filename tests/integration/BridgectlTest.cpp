// bridgectl against the simulated switch inside a real snmpd: commands go through the
// plug-in's control socket, on snmpd's own thread, and their effects show in "show" and
// keep snmpd answering SNMP.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;
using ::testing::HasSubstr;
using ::testing::Not;

const Oid dot1dBaseType = "1.3.6.1.2.1.17.1.3.0";

// Four access ports in VLAN 10, and VLAN 20 with no ports.
const char* const topology =
    "bridge:\n"
    "  mac: 00:1c:73:00:00:01\n"
    "  aging_time: 300\n"
    "ports:\n"
    "  - {range: Ethernet1-4, port_id: 1, if_index: 1}\n"
    "vlans:\n"
    "  - {id: 10, name: ten}\n"
    "  - {id: 20, name: twenty}\n"
    "switchports:\n"
    "  - {range: Ethernet1-4, mode: access, access_vlan: 10}\n";

const std::string host = "00:1c:73:00:00:aa";

// The line of `text` that contains `needle`, without its newline; "" if there is none.
std::string lineWith(const std::string& text, const std::string& needle) {
   const auto at = text.find(needle);
   if (at == std::string::npos) {
      return "";
   }
   const auto before = text.rfind('\n', at);
   const std::size_t from = before == std::string::npos ? 0 : before + 1;
   const auto end = text.find('\n', at);
   return text.substr(from, end == std::string::npos ? std::string::npos : end - from);
}

class BridgectlTest : public SwitchAgentTest {
 protected:
   // An snmpd serving the test topology.
   SnmpdAgent& startAgent() { return SwitchAgentTest::startAgent(topology); }

   // What "show" prints of everything: equal snapshots mean nothing changed.
   std::string snapshot() const {
      std::string all;
      for (const char* what : {"summary", "ports", "vlans", "switchports", "fdb"}) {
         all += ok({"show", what});
      }
      return all;
   }

   // The "show fdb <vlan>" line of an address, or "" if it is not there.
   std::string fdbLine(const std::string& vlan, const std::string& address) const {
      return lineWith(ok({"show", "fdb", vlan}), address);
   }
};

TEST_F(BridgectlTest, LearnMoveAndAgeShowInTheForwardingDatabase) {
   startAgent();

   EXPECT_EQ(ok({"learn", "10", host, "Ethernet1"}), "learned\n");
   std::string line = fdbLine("10", host);
   EXPECT_THAT(line, HasSubstr("Ethernet1"));
   EXPECT_THAT(line, HasSubstr("learnedDynamic"));

   EXPECT_EQ(ok({"move", "10", host, "Ethernet2"}), "");
   line = fdbLine("10", host);
   EXPECT_THAT(line, HasSubstr("Ethernet2"));
   EXPECT_THAT(line, Not(HasSubstr("Ethernet1")));
   EXPECT_THAT(line, ::testing::EndsWith(" 1"));

   EXPECT_EQ(ok({"learn", "10", host, "Ethernet2"}), "refreshed\n");
   EXPECT_EQ(ok({"age", "10", host}), "");
   EXPECT_EQ(fdbLine("10", host), "");
}

TEST_F(BridgectlTest, LinkDownShowsAndTakesItsHostsAway) {
   startAgent();
   ASSERT_EQ(ok({"learn", "10", host, "Ethernet3"}), "learned\n");

   EXPECT_EQ(ok({"link", "Ethernet3", "down"}), "");

   EXPECT_THAT(lineWith(ok({"show", "ports"}), "Ethernet3 "), ::testing::EndsWith(" down"));
   EXPECT_THAT(lineWith(ok({"show", "ports"}), "Ethernet2 "), ::testing::EndsWith(" up"));
   EXPECT_EQ(fdbLine("10", host), "");
   const CommandResult refused = bridgectl({"learn", "10", host, "Ethernet3"});
   EXPECT_EQ(refused.status.exitCode(), 1);
   EXPECT_EQ(refused.err, "bridgectl: Ethernet3 is not an active member of VLAN 10\n");

   EXPECT_EQ(ok({"link", "Ethernet3", "up"}), "");
   EXPECT_EQ(ok({"learn", "10", host, "Ethernet3"}), "learned\n");
}

TEST_F(BridgectlTest, RefusedCommandExitsOneAndChangesNothing) {
   startAgent();
   ASSERT_EQ(ok({"learn", "10", host, "Ethernet1"}), "learned\n");
   const std::string before = snapshot();

   const CommandResult noPort = bridgectl({"learn", "10", "00:1c:73:00:00:bb", "Ethernet9"});
   EXPECT_TRUE(noPort.status.exited());
   EXPECT_EQ(noPort.status.exitCode(), 1);
   EXPECT_EQ(noPort.out, "");
   EXPECT_EQ(noPort.err, "bridgectl: no interface Ethernet9\n");
   const CommandResult noVlan = bridgectl({"vlan", "del", "30"});
   EXPECT_EQ(noVlan.status.exitCode(), 1);
   EXPECT_EQ(noVlan.err, "bridgectl: no VLAN 30\n");
   const CommandResult exists = bridgectl({"vlan", "add", "20", "name", "again"});
   EXPECT_EQ(exists.status.exitCode(), 1);
   EXPECT_EQ(exists.err, "bridgectl: VLAN 20 already exists\n");

   EXPECT_EQ(snapshot(), before);
}

TEST_F(BridgectlTest, BadCommandLineExitsTwoAndSendsNothing) {
   startAgent();
   const std::string before = snapshot();

   const CommandResult badVlan = bridgectl({"learn", "5000", host, "Ethernet1"});
   EXPECT_EQ(badVlan.status.exitCode(), 2);
   EXPECT_EQ(badVlan.err, "bridgectl: VLAN 5000 is outside 1-4094\n");
   const CommandResult badMac =
       bridgectl({"static", "add", "10", "00:1c:73:zz:00:01", "Ethernet1"});
   EXPECT_EQ(badMac.status.exitCode(), 2);
   EXPECT_EQ(badMac.err, "bridgectl: '00:1c:73:zz:00:01' is not a MAC address\n");
   const CommandResult missing = bridgectl({"learn", "10"});
   EXPECT_EQ(missing.status.exitCode(), 2);
   EXPECT_THAT(missing.err, HasSubstr("mac is required"));
   const CommandResult unknown = bridgectl({"frobnicate"});
   EXPECT_EQ(unknown.status.exitCode(), 2);
   EXPECT_EQ(unknown.err, "bridgectl: unknown command 'frobnicate' (see --help)\n");

   EXPECT_EQ(snapshot(), before);
}

TEST_F(BridgectlTest, ConfigurationCommandsTakeEffect) {
   startAgent();

   EXPECT_EQ(ok({"vlan", "add", "30", "name", "lab net"}), "");
   EXPECT_EQ(ok({"switchport", "Ethernet4", "trunk", "native", "none", "allowed", "10,30"}), "");
   EXPECT_EQ(ok({"vlan", "state", "20", "suspended"}), "");
   EXPECT_EQ(ok({"static", "add", "30", "00:1c:73:00:00:cc", "Ethernet4"}), "");
   EXPECT_EQ(ok({"aging", "120"}), "");
   EXPECT_EQ(ok({"flush"}), "flushed 0\n");

   const std::string vlans = ok({"show", "vlans"});
   EXPECT_THAT(vlans, HasSubstr("lab net"));
   EXPECT_THAT(vlans, HasSubstr("suspended"));
   EXPECT_THAT(ok({"show", "switchports"}), HasSubstr("10,30"));
   EXPECT_THAT(fdbLine("30", "00:1c:73:00:00:cc"), HasSubstr("static"));
   EXPECT_THAT(ok({"show"}), HasSubstr("aging 120 s"));
   const std::string burst = ok({"burst", "50", "4", "seed", "9"});
   EXPECT_THAT(burst, ::testing::StartsWith("learned "));
   EXPECT_THAT(ok({"help"}), HasSubstr("switchport <intf> trunk"));
}

TEST_F(BridgectlTest, TraceCommandReachesTheSnmpdLog) {
   SnmpdAgent& snmpd = startAgent();

   EXPECT_EQ(ok({"trace", "SimControl/3"}), "");
   ok({"show", "ports"});

   EXPECT_THAT(snmpd.log(), HasSubstr("command: show ports"));
   const CommandResult bad = bridgectl({"trace", "SimControl/12"});
   EXPECT_EQ(bad.status.exitCode(), 1);
   EXPECT_THAT(bad.err, HasSubstr("bridgectl: bad trace levels: "));
}

TEST_F(BridgectlTest, SocketComesFromTheEnvironmentAndHasMode0600) {
   startAgent();
   struct stat st {};
   ASSERT_EQ(::lstat(socketPath().c_str(), &st), 0);
   EXPECT_TRUE(S_ISSOCK(st.st_mode));
   EXPECT_EQ(st.st_mode & 07777, 0600u);

   Environment env = Environment::inherited();
   env.set("BRIDGESNMP_CONTROL_SOCKET", socketPath());
   const CommandResult result =
       runCommand({BRIDGESNMP_BRIDGECTL_PATH, "learn", "10", host, "Ethernet1"}, env);

   EXPECT_TRUE(result.succeeded()) << result.err;
   EXPECT_EQ(result.out, "learned\n");
}

TEST_F(BridgectlTest, UnreachableSocketExitsThreeNamingThePath) {
   startAgent();
   const std::string nowhere = (snmpd().directory() / "nowhere.sock").string();

   const CommandResult result = runCommand({BRIDGESNMP_BRIDGECTL_PATH, "--socket", nowhere, "show"},
                                           Environment::inherited());

   EXPECT_EQ(result.status.exitCode(), 3);
   EXPECT_THAT(result.err, HasSubstr("cannot connect to " + nowhere));
}

TEST_F(BridgectlTest, StalledClientHoldsUpNeitherSnmpNorOtherCommands) {
   SnmpdAgent& snmpd = startAgent();
   const int stalled = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   std::strncpy(address.sun_path, socketPath().c_str(), sizeof address.sun_path - 1);
   ASSERT_EQ(::connect(stalled, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
   ASSERT_EQ(::send(stalled, "learn 10 ", 9, MSG_NOSIGNAL), 9);

   const GetResult answered = snmpd.get(dot1dBaseType);
   EXPECT_TRUE(answered.ok()) << answered;
   EXPECT_EQ(ok({"learn", "10", host, "Ethernet1"}), "learned\n");
   EXPECT_THAT(fdbLine("10", host), HasSubstr("Ethernet1"));
   ::close(stalled);
}

TEST_F(BridgectlTest, SocketFileGoesWhenSnmpdStops) {
   SnmpdAgent& snmpd = startAgent();
   ASSERT_TRUE(std::filesystem::exists(socketPath()));

   const auto status = snmpd.stop();

   ASSERT_TRUE(status.has_value());
   EXPECT_FALSE(std::filesystem::exists(socketPath()));
   const CommandResult result = bridgectl({"show"});
   EXPECT_EQ(result.status.exitCode(), 3);
   EXPECT_THAT(result.err, HasSubstr(socketPath()));
}

}  // namespace
