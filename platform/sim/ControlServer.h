#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "platform/backend/Backend.h"
#include "platform/kel/ActivityManager.h"
#include "platform/sim/Switch.h"

namespace Sim {

// Where the control socket is when nothing says otherwise, a directory only its user (or
// root) may write: $XDG_RUNTIME_DIR/bridgesnmp.sock when XDG_RUNTIME_DIR is set (and not
// empty), else /run/bridgesnmp/control.sock for root, else /tmp/bridgesnmp-<uid>/control.sock
// (a missing directory made with mode 0700).
std::string defaultControlSocketPath();

// The user a server started as root goes on as (snmpd's -u and -g): the socket is theirs,
// and so is a directory made for it, so that they can remove it when they stop.
using SocketOwner = Platform::ProcessOwner;

// Limits of the control server.
struct ControlServerLimits {
   // Longest command line accepted, without its newline.
   std::size_t maxLineLength = 4096;
   // Connections read from at once; further ones are answered with an error and closed.
   // Fewer where the loop cannot watch as many more descriptors: snmpd watches 32 besides
   // its own, for every module, and `spareFds` of them are left to others.
   std::size_t maxConnections = 32;
   std::size_t spareFds = 2;
   // Bytes of replies that clients have not taken yet, for all of them together. A reply
   // that would go past it while others wait is refused with an error line; one reply alone
   // may be larger (the whole forwarding table of a large switch).
   std::size_t maxUnsentBytes = 32u << 20;
   // Seconds a client may take to send its line, and then to take its reply.
   double idleTimeout = 10.0;
};

// Live control of the simulated switch: a Unix-domain stream socket on which each
// connection carries one command line (ending in '\n') and gets the interpreter's reply,
// after which the server closes it (see CommandInterpreter.h for the commands and the
// reply).
//
// The socket file is created with mode 0600, in a directory that only the server's user,
// its `owner` or root owns and that others may not write (unless sticky, as /tmp); a missing
// directory is made with mode 0700. With an `owner`, the socket and a directory made for it
// are given to them. A stale socket file at the path is replaced;
// one that a process still listens on, or a file that is not a socket, is not. Only root
// and the server's own effective user may issue commands (checked with SO_PEERCRED);
// anyone else gets "error: not authorised" and nothing changes.
//
// Everything runs on the manager's thread through its fd reactors and clock; nothing
// blocks. A client that sends part of a line and stalls holds only its own buffer, and is
// closed after limits.idleTimeout seconds; a line longer than limits.maxLineLength is
// refused. A reply the client does not take at once is sent as the socket drains, within
// limits.maxUnsentBytes for all clients together. A client the loop has no room to watch is
// told so in a line and closed.
class ControlServer {
 public:
   // Raises std::runtime_error("control socket <path>: <reason>") when the socket cannot
   // be set up.
   ControlServer(Switch& sw, Kel::ActivityManager& manager, std::string path,
                 ControlServerLimits limits = {}, std::optional<SocketOwner> owner = {});
   // Closes the connections and the socket and removes the socket file (if it is still the
   // one this server made).
   ~ControlServer();
   ControlServer(const ControlServer&) = delete;
   ControlServer& operator=(const ControlServer&) = delete;

   const std::string& path() const;
   // Client connections open now.
   std::size_t connections() const;

   // Whether a peer with this effective user id may issue commands to a server running as
   // `serverUid`: root and the server's own user may.
   static bool authorised(uid_t peerUid, uid_t serverUid) {
      return peerUid == 0 || peerUid == serverUid;
   }

 private:
   class Impl;
   std::unique_ptr<Impl> impl_;
};

}  // namespace Sim
