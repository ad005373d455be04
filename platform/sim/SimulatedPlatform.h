#pragma once

#include <memory>
#include <string>

#include "platform/backend/Backend.h"
#include "platform/kel/ActivityManager.h"
#include "platform/sim/ControlServer.h"
#include "platform/sim/Switch.h"
#include "platform/statedb/Dir.h"

namespace Sim {

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
//
// Its options' topology is the bundled lab switch when empty, its control socket
// defaultControlSocketPath(); the socket is given to the options' owner.
class SimulatedPlatform : public Platform::Backend {
 public:
   SimulatedPlatform(Kel::ActivityManager& manager, Kel::Dir& root,
                     const Platform::StartOptions& options);
   ~SimulatedPlatform() override;
   SimulatedPlatform(const SimulatedPlatform&) = delete;
   SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

   Switch& sw() { return *switch_; }
   const std::string& topologyPath() const { return topologyPath_; }
   const std::string& controlSocketPath() const { return controlSocketPath_; }
   bool controlled() const { return control_ != nullptr; }
   // One line per problem met at start-up; empty when all went well.
   const std::string& problems() const { return problems_; }

   const Bridging::PlatformEntities& entities() const override { return switch_->entities(); }
   // The topology and the control socket.
   std::string summary() const override;
   // That the bundled topology runs, when no topology was given.
   std::string startWarning() const override;
   bool servesInterfaceTables() const override { return true; }
   bool answersStatus() const override { return true; }
   void statusReporterIs(std::function<std::string()> reporter) override {
      switch_->statusReporterIs(std::move(reporter));
   }

 private:
   Kel::Dir& root_;
   std::string topologyPath_;
   bool bundledTopology_;
   std::string controlSocketPath_;
   std::string problems_;
   std::unique_ptr<Switch> switch_;
   std::unique_ptr<ControlServer> control_;
};

}  // namespace Sim
