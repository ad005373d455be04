// bridgectl against the switch inside snmpd: its exit statuses, the control socket's life and
// mode, and a client that stalls without holding anyone up.

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

const std::string host = "00:1c:73:00:00:aa";

class BridgectlTest : public SwitchAgentTest {
 protected:
   void SetUp() override {
      startAgent(Topology()
                     .ports("Ethernet1-4", 1)
                     .vlan(10, "ten")
                     .vlan(20, "twenty")
                     .access("Ethernet1-4", 10));
   }

   // Everything "show" prints: equal snapshots mean nothing changed.
   std::string snapshot() const {
      std::string all;
      for (const char* what : {"summary", "ports", "vlans", "switchports", "fdb"}) {
         all += ok({"show", what});
      }
      return all;
   }
};

TEST_F(BridgectlTest, RefusedAndBadCommandsExitNonZeroAndChangeNothing) {
   ASSERT_EQ(ok({"learn", "10", host, "Ethernet3"}), "learned\n");
   ok({"link", "Ethernet2", "down"});
   const std::string before = snapshot();
   struct Case {
      std::vector<std::string> args;
      int exitCode;
      std::string err;
   };
   const std::vector<Case> cases = {
       {{"learn", "10", host, "Ethernet9"}, 1, "bridgectl: no interface Ethernet9\n"},
       {{"learn", "10", host, "Ethernet2"},
        1,
        "bridgectl: Ethernet2 is not an active member of VLAN 10\n"},
       {{"vlan", "del", "30"}, 1, "bridgectl: no VLAN 30\n"},
       {{"vlan", "add", "20", "name", "again"}, 1, "bridgectl: VLAN 20 already exists\n"},
       {{"learn", "5000", host, "Ethernet1"}, 2, "bridgectl: VLAN 5000 is outside 1-4094\n"},
       {{"static", "add", "10", "00:1c:73:zz:00:01", "Ethernet1"},
        2,
        "bridgectl: '00:1c:73:zz:00:01' is not a MAC address\n"},
       {{"frobnicate"}, 2, "bridgectl: unknown command 'frobnicate' (see --help)\n"},
   };
   for (const Case& c : cases) {
      const CommandResult result = bridgectl(c.args);
      EXPECT_EQ(result.status.exitCode(), c.exitCode) << c.args.front();
      EXPECT_EQ(result.err, c.err);
      EXPECT_EQ(result.out, "");
   }
   EXPECT_EQ(snapshot(), before);
}

TEST_F(BridgectlTest, StatusCountsRowsSlicesAndRequestsServed) {
   ASSERT_EQ(ok({"learn", "10", host, "Ethernet3"}), "learned\n");
   ASSERT_TRUE(eventually([&] { return snmpd().walk("1.3.6.1.2.1.17.7.1.2.2").size() == 2; }));
   ASSERT_EQ(snmpd().walk("1.3.6.1.2.1.17.1.4").size(), 20u);  // 4 ports, 5 columns

   const std::string status = ok({"status"});
   EXPECT_THAT(status, HasSubstr("  dot1dBasePortTable      4\n"));
   EXPECT_THAT(status, HasSubstr("  dot1qTpFdbTable         1\n"));
   EXPECT_THAT(status, HasSubstr("  dot1qVlanStaticTable    2\n"));
   EXPECT_THAT(status, HasSubstr("fdb backlog: 0 keys, "));
   EXPECT_THAT(status, ::testing::ContainsRegex("\nloop: [1-9][0-9]* passes, "
                                                "longest [0-9]+\\.[0-9]{3} ms \\(.+\\), "
                                                "longest on the CPU [0-9]+\\.[0-9]{3} ms "
                                                "\\(.+\\)\n"));
   EXPECT_THAT(status, ::testing::MatchesRegex("(.|\n)*requests served:\n(.|\n)*"
                                               "  dot1dBasePortTable      20\n(.|\n)*"));
}

TEST_F(BridgectlTest, SocketHasMode0600AndMayComeFromTheEnvironment) {
   struct stat st {};
   ASSERT_EQ(::lstat(socketPath().c_str(), &st), 0);
   EXPECT_TRUE(S_ISSOCK(st.st_mode));
   EXPECT_EQ(st.st_mode & 07777, 0600u);

   const CommandResult result =
       runCommand({BRIDGESNMP_BRIDGECTL_PATH, "learn", "10", host, "Ethernet1"},
                  {{"BRIDGESNMP_CONTROL_SOCKET", socketPath()}});
   EXPECT_EQ(result.out, "learned\n") << result.err;
}

TEST_F(BridgectlTest, StalledClientHoldsUpNeitherSnmpNorOtherCommands) {
   const int stalled = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   std::strncpy(address.sun_path, socketPath().c_str(), sizeof address.sun_path - 1);
   ASSERT_EQ(::connect(stalled, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
   ASSERT_EQ(::send(stalled, "learn 10 ", 9, MSG_NOSIGNAL), 9);

   EXPECT_EQ(snmpd().get("1.3.6.1.2.1.17.1.3.0").integer, 2);
   EXPECT_EQ(ok({"learn", "10", host, "Ethernet1"}), "learned\n");
   ::close(stalled);
}

TEST_F(BridgectlTest, SocketGoesWithSnmpdAndBridgectlThenExitsThree) {
   ASSERT_TRUE(std::filesystem::exists(socketPath()));

   const auto status = snmpd().stop();

   ASSERT_TRUE(status.has_value());
   EXPECT_TRUE(status->exited() && status->exitCode() == 0) << status->describe();
   EXPECT_FALSE(std::filesystem::exists(socketPath()));
   const CommandResult result = bridgectl({"show"});
   EXPECT_EQ(result.status.exitCode(), 3);
   EXPECT_THAT(result.err, HasSubstr("cannot connect to " + socketPath()));
}

}  // namespace
