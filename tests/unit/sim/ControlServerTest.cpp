// The control socket on a private manager driven by a StandaloneLoop: clients are plain
// sockets of the test itself, and the loop is run pass by pass until they have their reply.

#include "platform/sim/ControlServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "tests/support/Errors.h"
#include "tests/support/SimSwitchFixture.h"

namespace {

namespace fs = std::filesystem;

// Passes of the loop a client waits for its reply at most; each pass handles all pending
// input at once, so a handful is enough.
constexpr int maxPasses = 200;

// A client of the control socket, reading without blocking.
class Client {
 public:
   explicit Client(const std::string& path) {
      fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
      connected_ = ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
      ::fcntl(fd_, F_SETFL, ::fcntl(fd_, F_GETFL) | O_NONBLOCK);
   }
   ~Client() { ::close(fd_); }
   Client(const Client&) = delete;
   Client& operator=(const Client&) = delete;

   bool connected() const { return connected_; }
   void send(const std::string& text) {
      std::size_t sent = 0;
      while (sent < text.size()) {
         const ssize_t n = ::send(fd_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
         ASSERT_GT(n, 0) << std::strerror(errno);
         sent += static_cast<std::size_t>(n);
      }
   }

   // Reads what has arrived; true once the server has closed the connection.
   bool receive() {
      char buffer[65536];
      for (;;) {
         const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
         if (n > 0) {
            reply_.append(buffer, static_cast<std::size_t>(n));
         } else if (n == 0 || (errno == ECONNRESET && !reply_.empty())) {
            closed_ = true;
            return true;
         } else {
            return false;
         }
      }
   }

   bool closed() const { return closed_; }
   const std::string& reply() const { return reply_; }

 private:
   int fd_ = -1;
   bool connected_ = false;
   bool closed_ = false;
   std::string reply_;
};

// Ethernet1 and 2, in VLAN 1; the socket in a private directory.
class ControlServerTest : public TestSupport::SimSwitchTest {
 protected:
   ControlServerTest() : SimSwitchTest(2) {}

   void SetUp() override {
      char pattern[] = "/tmp/controlserver-test-XXXXXX";
      ASSERT_NE(::mkdtemp(pattern), nullptr);
      dir = pattern;
      socketPath = (dir / "control.sock").string();
   }

   void TearDown() override {
      server.reset();
      std::error_code ignored;
      fs::remove_all(dir, ignored);
   }

   Sim::ControlServer& start(Sim::ControlServerLimits limits = {}) {
      server = std::make_unique<Sim::ControlServer>(sw, manager, socketPath, limits);
      return *server;
   }

   // Why a server on `manager` refuses to start, or "no error".
   std::string startError(Kel::ActivityManager& on) {
      return TestSupport::errorOf<std::runtime_error>(
          [&] { Sim::ControlServer(sw, on, socketPath); });
   }
   std::string startError() { return startError(manager); }

   // Runs the loop until the client has its whole reply (the server closed the connection).
   std::string await(Client& client) {
      for (int i = 0; i < maxPasses && !client.closed(); ++i) {
         loop.runOnce(0);
         client.receive();
      }
      EXPECT_TRUE(client.closed()) << "no complete reply; so far: " << client.reply();
      return client.reply();
   }

   std::string roundTrip(const std::string& text) {
      Client client(socketPath);
      EXPECT_TRUE(client.connected());
      client.send(text);
      return await(client);
   }

   void runPasses(int passes) {
      for (int i = 0; i < passes; ++i) {
         loop.runOnce(0);
      }
   }

   bool linkUp(const char* intf) const {
      return sw.entities().intfStatusDir->intfStatus(Velnet::IntfId(intf))->operStatus() ==
             Interface::OperStatus::up;
   }

   fs::path dir;
   std::string socketPath;
   std::unique_ptr<Sim::ControlServer> server;
};

// A client that stalls in the middle of its line holds up no one, and clients whose lines
// arrive interleaved each get their own reply.
TEST_F(ControlServerTest, StalledAndInterleavedClientsEachGetTheirOwnReply) {
   start();
   Client first(socketPath);
   first.send("learn 1 00:1c:73:00:00:01 ");
   runPasses(3);
   ASSERT_EQ(server->connections(), 1u);
   EXPECT_EQ(roundTrip("aging 60\r\n"), "ok\n");
   EXPECT_EQ(sw.entities().config->hostAgingTime(), 60.0);
   EXPECT_EQ(roundTrip("link Ethernet9 down\n"), "error: no interface Ethernet9\n");
   first.receive();
   EXPECT_FALSE(first.closed());
   EXPECT_EQ(first.reply(), "");
   EXPECT_EQ(server->connections(), 1u);

   Client second(socketPath);
   second.send("learn 1 00:1c:73:00:00:02 Ethernet2\n");
   runPasses(3);
   first.send("Ethernet1\n");
   EXPECT_EQ(await(second), "ok\nlearned\n");
   EXPECT_EQ(await(first), "ok\nlearned\n");
   const auto fdb = sw.entities().status->fdbStatus(Bridging::Fid(1));
   EXPECT_EQ(fdb->learnedHost(TestSupport::mac("00:1c:73:00:00:01")).intf, eth(1));
   EXPECT_EQ(fdb->learnedHost(TestSupport::mac("00:1c:73:00:00:02")).intf, eth(2));
   EXPECT_EQ(server->connections(), 0u);
}

TEST_F(ControlServerTest, IdleClientIsClosedAfterTheTimeout) {
   start({.idleTimeout = 5.0});
   Client idle(socketPath);
   idle.send("flush");
   sw.learn(Bridging::VlanId(1), TestSupport::mac("00:1c:73:00:00:01"), eth(1));
   runPasses(3);
   ASSERT_EQ(server->connections(), 1u);

   time.advance(4.0);
   runPasses(3);
   EXPECT_EQ(server->connections(), 1u);
   time.advance(1.5);

   EXPECT_EQ(await(idle), "error: timed out waiting for the command line\n");
   EXPECT_EQ(server->connections(), 0u);
   EXPECT_EQ(sw.learnedHosts(), 1u);
}

TEST_F(ControlServerTest, OverLongLineIsRefused) {
   start();

   EXPECT_EQ(roundTrip("link Ethernet1 down" + std::string(5000, ' ') + "\n"),
             "error: command line longer than 4096 bytes\n");
   EXPECT_TRUE(linkUp("Ethernet1"));
   // A line of exactly the limit is taken.
   std::string longest = "link Ethernet1 down";
   longest.resize(4096, ' ');
   EXPECT_EQ(roundTrip(longest + "\n"), "ok\n");
   EXPECT_FALSE(linkUp("Ethernet1"));
   std::string oneMore = "link Ethernet2 down";
   oneMore.resize(4097, ' ');
   EXPECT_EQ(roundTrip(oneMore + "\n"), "error: command line longer than 4096 bytes\n");
   EXPECT_TRUE(linkUp("Ethernet2"));
}

// A reply a client does not take is held, within the bytes allowed for all clients: while it
// waits, another client's command is refused in a line instead of piling up more.
TEST_F(ControlServerTest, LargeReplyIsSentAsTheClientTakesIt) {
   start({.maxUnsentBytes = 1000});
   ASSERT_GT(sw.burst(30000, 2, 3), 29000u);
   const std::string expected = "ok\n" + sw.show("fdb");
   ASSERT_GT(expected.size(), 1000000u);

   Client client(socketPath);
   client.send("show fdb\n");
   runPasses(3);
   // Not all of it fits in the socket at once: the server still holds the rest.
   ASSERT_EQ(server->connections(), 1u);
   EXPECT_EQ(roundTrip("show\n"),
             "error: earlier replies are still waiting to be read; try again\n");
   // The reply is larger than the socket buffers: the server sends it in pieces as the
   // client drains the socket, on its resend wake-ups.
   for (int i = 0; i < 20000 && !client.closed(); ++i) {
      loop.runOnce(0);
      client.receive();
      time.advance(0.05);
   }

   EXPECT_TRUE(client.closed());
   EXPECT_EQ(client.reply().size(), expected.size());
   EXPECT_TRUE(client.reply() == expected);
   EXPECT_EQ(server->connections(), 0u);
   EXPECT_EQ(roundTrip("show\n"), "ok\n" + sw.show("summary"));
}

TEST_F(ControlServerTest, SocketAnotherServerListensOnIsLeftAlone) {
   start();
   Kel::ActivityManager otherManager;

   EXPECT_EQ(startError(otherManager),
             "control socket " + socketPath + ": another process is listening on it");
   EXPECT_EQ(roundTrip("link Ethernet1 down\n"), "ok\n");
}

TEST_F(ControlServerTest, FileThatIsNotASocketIsRefused) {
   std::ofstream(socketPath) << "precious\n";

   EXPECT_EQ(startError(), "control socket " + socketPath + ": exists and is not a socket");

   std::string content;
   std::ifstream(socketPath) >> content;
   EXPECT_EQ(content, "precious");
   EXPECT_TRUE(manager.fdReactors().empty());
}

// Where another user could put a socket of their own, the server does not listen; a missing
// directory is made for its user alone.
TEST_F(ControlServerTest, DirectoryOthersMayWriteIsRefusedAndAMissingOneMadePrivate) {
   ::chmod(dir.c_str(), 0777);
   EXPECT_EQ(startError(),
             "control socket " + socketPath + ": " + dir.string() + " is writable by other users");
   ::chmod(dir.c_str(), 0700);
   socketPath = (dir / "private" / "control.sock").string();
   start();
   struct stat st {};
   ASSERT_EQ(::stat((dir / "private").c_str(), &st), 0);
   EXPECT_EQ(st.st_mode & 0777, 0700u);
   EXPECT_EQ(roundTrip("show\n"), "ok\n" + sw.show("summary"));
}

TEST(ControlServerAuthorisationTest, RootAndTheServersOwnUserMayCommand) {
   for (const auto& [peer, server, authorised] :
        {std::tuple(0, 1000, true), std::tuple(1000, 1000, true), std::tuple(0, 0, true),
         std::tuple(1001, 1000, false), std::tuple(1000, 0, false)}) {
      EXPECT_EQ(Sim::ControlServer::authorised(peer, server), authorised) << peer << " " << server;
   }
}

}  // namespace
