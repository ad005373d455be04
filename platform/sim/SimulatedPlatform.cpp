#include "platform/sim/SimulatedPlatform.h"

#include <exception>

#include "platform/kel/Trace.h"
#include "platform/sim/Topology.h"

namespace Sim {
namespace {

Kel::TraceHandle simTrace("SimSwitch");

}  // namespace

SimulatedPlatform::SimulatedPlatform(Kel::ActivityManager& manager, Kel::Dir& root,
                                     const Platform::StartOptions& options)
    : root_(root),
      topologyPath_(options.topologyPath.empty() ? defaultTopologyPath() : options.topologyPath),
      bundledTopology_(options.topologyPath.empty()),
      controlSocketPath_(options.controlSocketPath.empty() ? defaultControlSocketPath()
                                                           : options.controlSocketPath) {
   // Checked as a whole first, then applied to a fresh switch: nothing is half-loaded.
   try {
      const Topology topology = loadTopology(topologyPath_);
      auto loaded = std::make_unique<Switch>(manager);
      applyTopology(*loaded, topology);
      switch_ = std::move(loaded);
      KEL_TRACE(simTrace, 1,
                "loaded topology " << topologyPath_ << ": " << switch_->ports().size() << " ports, "
                                   << switch_->learnedHosts() << " learned hosts");
   } catch (const std::exception& e) {
      problems_ += std::string(e.what()) + "\n";
      KEL_TRACE(simTrace, 0, e.what() << "; the switch starts empty");
      switch_ = std::make_unique<Switch>(manager);
   }
   switch_->entities().mountIn(root_);
   try {
      control_ = std::make_unique<ControlServer>(*switch_, manager, controlSocketPath_,
                                                 ControlServerLimits{}, options.owner);
      KEL_TRACE(simTrace, 1, "control socket " << controlSocketPath_);
   } catch (const std::exception& e) {
      problems_ += std::string(e.what()) + "\n";
      KEL_TRACE(simTrace, 0, e.what() << "; no live control");
   }
}

SimulatedPlatform::~SimulatedPlatform() {
   control_.reset();
   switch_->entities().unmountFrom(root_);
}

std::string SimulatedPlatform::summary() const {
   return "the simulated switch from " + topologyPath_ +
          (controlled() ? ", control socket " + controlSocketPath_ : ", no control socket");
}

std::string SimulatedPlatform::startWarning() const {
   if (!bundledTopology_) {
      return {};
   }
   return "no bridgesnmpTopology line: the simulated switch runs the bundled example topology, "
          "whose hosts are invented (bridgesnmpPlatform and bridgesnmpTopology, after the dlmod "
          "line, choose what is served)";
}

}  // namespace Sim
