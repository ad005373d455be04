// The control socket's connection handling under a script of client actions read from the
// input: connect, send pieces of lines (partial, empty, over-long, several in one write),
// half-close, close, read or not, and time passing. The server never holds more readers than
// its limit, every reply a client reads begins "ok" or "error: ", and once the server is gone
// nothing of it is left in the loop.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
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

void require(bool condition) {
   if (!condition) {
      std::abort();
   }
}

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
         const int action = data[i] % 7;
         if (action == 0 && c.fd < 0) {
            c.fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::strncpy(address.sun_path, socketPath().c_str(), sizeof address.sun_path - 1);
            c.reply.clear();
            if (::connect(c.fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
               ::close(c.fd);
               c.fd = -1;
            }
         } else if ((action == 1 || action == 2) && c.fd >= 0) {
            // A piece of a command line, or `arg` bytes of junk.
            const std::string text =
                action == 1 ? pieces[arg % std::size(pieces)] : std::string(arg, 'x');
            [[maybe_unused]] const ssize_t n =
                ::send(c.fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
         } else if (action == 3 && c.fd >= 0) {
            ::shutdown(c.fd, SHUT_WR);
         } else if (action == 4 && c.fd >= 0) {
            require(wellFormed(c.reply));
            ::close(c.fd);
            c.fd = -1;
         } else if (action == 5 && c.fd >= 0) {
            char buffer[512];
            const ssize_t n = ::recv(c.fd, buffer, sizeof buffer, MSG_DONTWAIT);
            c.reply.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
         } else if (action == 6) {
            time.advance(arg / 64.0);
         }
         loop.runOnce(0);
         require(manager.fdReactors().size() <= readers + 1);  // the listening socket, readers
      }
   }
   for (Client& c : clients) {
      if (c.fd >= 0) {
         ::close(c.fd);
      }
      require(wellFormed(c.reply));
   }
   require(manager.fdReactors().empty());
   return 0;
}
