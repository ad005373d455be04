#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "platform/bridging/PlatformEntities.h"

namespace Platform {

// The user a process started as root goes on as (snmpd's -u and -g): what a backend keeps
// using after start (a control socket, a directory made for it) is made theirs.
struct ProcessOwner {
   uid_t uid = 0;
   gid_t gid = static_cast<gid_t>(-1);  // -1: the group stays
};

// What a backend starts with: the configuration that takes effect at start, and who the
// process goes on as. Each backend takes what concerns it and ignores the rest.
struct StartOptions {
   std::string topologyPath;       // empty: the bundled topology
   std::string controlSocketPath;  // empty: the default control socket
   std::optional<ProcessOwner> owner;
};

// Where the switch's bridging state comes from (the simulated switch, a Linux kernel bridge):
// a backend fills the bridging and interface entities, mounted in the state database for as
// long as it lives, keeps them current on the activity manager's loop, and applies what SETs
// write to the input configuration (Input::Config, with its commit requests answered in
// Config's inputCommit attributes where it can fail). The plug-in host holds one, made by
// makeBackend(), and serves any alike.
class Backend {
 public:
   virtual ~Backend() = default;

   // The entities the SNMP agent reads and its SETs write.
   virtual const Bridging::PlatformEntities& entities() const = 0;
   // One line on what is served, for the log.
   virtual std::string summary() const = 0;
   // A warning for the log at start, or empty.
   virtual std::string startWarning() const { return {}; }
   // Whether the switch's ports exist nowhere else, so that their IF-MIB rows are the
   // plug-in's to serve (a kernel bridge's ports are in the host's own IF-MIB already).
   virtual bool servesInterfaceTables() const = 0;
   // Whether bridgectl reaches it: its `status` then answers with the attached reporter's
   // text. The health of a backend that no bridgectl reaches goes to the log when it stops.
   virtual bool answersStatus() const { return false; }
   // Attaches what reports the serving agent's health; null detaches it.
   virtual void statusReporterIs(std::function<std::string()>) {}
};

}  // namespace Platform
