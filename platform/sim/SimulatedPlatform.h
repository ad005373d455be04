#pragma once

#include <memory>
#include <string>

#include "platform/kel/ActivityManager.h"
#include "platform/sim/ControlServer.h"
#include "platform/sim/Switch.h"
#include "platform/statedb/Dir.h"

namespace Sim {

struct PlatformOptions {
   std::string topologyPath;       // empty: the bundled lab switch
   std::string controlSocketPath;  // empty: defaultControlSocketPath()
   std::optional<SocketOwner> socketOwner;
};

// The bundled topology: examples/lab-switch.yaml of the source tree for what runs from the
// build tree, the installed copy for what is installed (DefaultTopology.cpp, built once for
// each).
std::string defaultTopologyPath();

// The simulated switch as a process runs it: loaded from its topology, mounted in the
// state database, and open to live control on its socket.
//
// A topology that cannot be loaded leaves the switch empty and a control socket that
// cannot be opened leaves it without live control; either is reported at level 0 of the
// "SimSwitch" trace and in problems(), and the rest goes on.
class SimulatedPlatform {
 public:
   SimulatedPlatform(Kel::ActivityManager& manager, Kel::Dir& root, PlatformOptions options);
   ~SimulatedPlatform();
   SimulatedPlatform(const SimulatedPlatform&) = delete;
   SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

   Switch& sw() { return *switch_; }
   const std::string& topologyPath() const { return topologyPath_; }
   const std::string& controlSocketPath() const { return controlSocketPath_; }
   bool controlled() const { return control_ != nullptr; }
   // One line per problem met at start-up; empty when all went well.
   const std::string& problems() const { return problems_; }

 private:
   Kel::Dir& root_;
   std::string topologyPath_;
   std::string controlSocketPath_;
   std::string problems_;
   std::unique_ptr<Switch> switch_;
   std::unique_ptr<ControlServer> control_;
};

}  // namespace Sim
