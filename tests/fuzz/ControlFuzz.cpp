// The control socket's connection handling under a script of client actions read from the
// input: connect, send pieces of lines (partial, empty, over-long, several in one write),
// half-close, close, read or not, and time passing. The server never holds more readers than
// its limit, every reply a client reads begins "ok" or "error: ", and once the server is gone
// nothing of it is left in the loop.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/kel/StandaloneLoop.h"
#include "platform/kel/Time.h"
#include "platform/sim/ControlServer.h"
#include "platform/sim/Switch.h"

namespace {

const std::string& socketPath() {
   static const std::string path = [] {
      char pattern[] = "/tmp/controlfuzz-XXXXXX";
      if (!::mkdtemp(pattern)) {
         std::abort();
      }
      return std::string(pattern) + "/control.sock";
   }();
   return path;
}

const char* const pieces[] = {"show\n", "show summary\n",    "link Ethernet1 down\n", "show", "\n",
                              "\r\n",   "link Ethernet1 up", "show fdb\nshow\n",      ""};

struct Client {
   int fd = -1;
   std::string reply;
};

bool wellFormed(const std::string& reply) {
   return reply.empty() || reply.rfind("ok\n", 0) == 0 || reply.rfind("error: ", 0) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   Kel::ScopedFakeTime time(5000.0);
   Kel::ActivityManager manager;
   Kel::StandaloneLoop loop(manager);
   Sim::Switch sw(manager);
   sw.newPort({"Ethernet1", 1, 1, true});
   constexpr std::size_t readers = 3;
   std::array<Client, 6> clients;
   {
      Sim::ControlServer server(sw, manager, socketPath(),
                                {.maxLineLength = 48,
                                 .maxConnections = readers,
                                 .spareFds = 0,
                                 .maxUnsentBytes = 64,
                                 .idleTimeout = 1.0});
      for (std::size_t i = 0; i + 1 < size; i += 2) {
         Client& c = clients[data[i + 1] % clients.size()];
         const std::uint8_t arg = data[i + 1] / clients.size();
         switch (data[i] % 7) {
            case 0:
               if (c.fd < 0) {
                  c.fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
                  sockaddr_un address{};
                  address.sun_family = AF_UNIX;
                  std::strncpy(address.sun_path, socketPath().c_str(), sizeof address.sun_path - 1);
                  c.reply.clear();
                  if (::connect(c.fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
                     ::close(c.fd);
                     c.fd = -1;
                  }
               }
               break;
            case 1:
               if (c.fd >= 0) {
                  const char* piece = pieces[arg % std::size(pieces)];
                  [[maybe_unused]] const ssize_t n =
                      ::send(c.fd, piece, std::strlen(piece), MSG_NOSIGNAL | MSG_DONTWAIT);
               }
               break;
            case 2:
               if (c.fd >= 0) {
                  const std::string junk(arg, 'x');
                  [[maybe_unused]] const ssize_t n =
                      ::send(c.fd, junk.data(), junk.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
               }
               break;
            case 3:
               if (c.fd >= 0) {
                  ::shutdown(c.fd, SHUT_WR);
               }
               break;
            case 4:
               if (c.fd >= 0) {
                  if (!wellFormed(c.reply)) {
                     std::abort();
                  }
                  ::close(c.fd);
                  c.fd = -1;
               }
               break;
            case 5:
               if (c.fd >= 0) {
                  char buffer[512];
                  const ssize_t n = ::recv(c.fd, buffer, sizeof buffer, MSG_DONTWAIT);
                  if (n > 0) {
                     c.reply.append(buffer, static_cast<std::size_t>(n));
                  }
               }
               break;
            default:
               time.advance(arg / 64.0);
               break;
         }
         loop.runOnce(0);
         if (manager.fdReactors().size() > readers + 1) {  // the listening socket and readers
            std::abort();
         }
      }
   }
   for (Client& c : clients) {
      if (c.fd >= 0) {
         ::close(c.fd);
      }
      if (!wellFormed(c.reply)) {
         std::abort();
      }
   }
   if (!manager.fdReactors().empty()) {
      std::abort();
   }
   return 0;
}
