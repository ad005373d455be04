// bridgectl against the switch inside snmpd: its exit statuses, the control socket's life and
// mode, and a client that stalls without holding anyone up.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
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
   // The switch's refusals exit 1, what is no command at all 2; the words of each the
   // interpreter's tests check.
   struct Case {
      std::vector<std::string> args;
      int exitCode;
      std::string err;
   };
   const std::vector<Case> cases = {
       {{"learn", "10", host, "Ethernet2"},
        1,
        "bridgectl: Ethernet2 is not an active member of VLAN 10\n"},
       {{"vlan", "add", "20", "name", "again"}, 1, "bridgectl: VLAN 20 already exists\n"},
       {{"learn", "5000", host, "Ethernet1"}, 2, "bridgectl: VLAN 5000 is outside 1-4094\n"},
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

TEST_F(BridgectlTest, StalledClientsHoldUpNeitherSnmpNorOtherCommands) {
   // More idle clients than snmpd can watch descriptors besides its own (32 for everyone):
   // those it cannot watch are told so at once instead of being accepted and never read.
   std::vector<int> stalled;
   for (int i = 0; i < 40; ++i) {
      const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      std::strncpy(address.sun_path, socketPath().c_str(), sizeof address.sun_path - 1);
      ASSERT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
      stalled.push_back(fd);
   }
   EXPECT_EQ(snmpd().get("1.3.6.1.2.1.17.1.3.0").integer, 2);
   const CommandResult status = bridgectl({"status"});
   EXPECT_EQ(status.err, "bridgectl: too many control connections\n");
   int refused = 0;
   for (const int fd : stalled) {
      // Answered before bridgectl's own connection was, if at all.
      char line[64] = {};
      refused += ::recv(fd, line, sizeof line - 1, MSG_DONTWAIT) > 0 &&
                 std::string(line) == "error: too many control connections\n";
   }
   EXPECT_GE(refused, 40 - 29) << "watched clients and refused ones cannot exceed snmpd's slots";
   EXPECT_LT(refused, 40) << "some are watched";
   for (const int fd : stalled) {
      ::close(fd);
   }
   EXPECT_TRUE(eventually([&] {
      return bridgectl({"learn", "10", host, "Ethernet1"}).out == "learned\n";
   }));
}

// Another user listens on a socket path first: bridgectl sends it nothing.
TEST_F(BridgectlTest, ASocketAnotherUserServesHearsNothing) {
   if (::geteuid() != 0) {
      GTEST_SKIP() << "needs root to listen as another user";
   }
   char pattern[] = "/tmp/bridgectl-squat-XXXXXX";
   ASSERT_NE(::mkdtemp(pattern), nullptr);
   ::chmod(pattern, 0777);
   const std::string path = std::string(pattern) + "/control.sock";
   int ready[2];
   ASSERT_EQ(::pipe(ready), 0);
   const pid_t squatter = ::fork();
   if (squatter == 0) {
      // As nobody: listen, and exit 1 if anything at all is received.
      const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
      if (::setuid(65534) != 0 ||
          ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
          ::listen(fd, 4) != 0) {
         ::_exit(2);
      }
      [[maybe_unused]] const ssize_t n = ::write(ready[1], "r", 1);
      const int client = ::accept(fd, nullptr, nullptr);
      char byte;
      ::_exit(client >= 0 && ::recv(client, &byte, 1, 0) > 0 ? 1 : 0);
   }
   char byte;
   ASSERT_EQ(::read(ready[0], &byte, 1), 1);

   const CommandResult result = runCommand({BRIDGESNMP_BRIDGECTL_PATH, "--socket", path, "show"});
   EXPECT_EQ(result.status.exitCode(), 3);
   EXPECT_EQ(result.err,
             "bridgectl: " + path +
                 " is served by uid 65534, neither root nor snmpd's user: nothing sent\n");
   int status = 0;
   ::waitpid(squatter, &status, 0);
   EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the squatter heard something";
   std::filesystem::remove_all(pattern);
}

TEST_F(BridgectlTest, SocketGoesWithSnmpdAndBridgectlThenExitsThree) {
   ASSERT_TRUE(std::filesystem::exists(socketPath()));

   const auto status = snmpd().stop();

   ASSERT_TRUE(status.has_value());
   EXPECT_TRUE(status->exited() && status->exitCode() == 0) << status->describe();
   EXPECT_FALSE(std::filesystem::exists(socketPath()));
   const CommandResult result = bridgectl({"show"});
   EXPECT_EQ(result.status.exitCode(), 3);
   EXPECT_THAT(result.err, HasSubstr("cannot connect to " + socketPath() +
                                     ": No such file or directory (another socket: --socket, "
                                     "BRIDGESNMP_CONTROL_SOCKET"));
}

}  // namespace
