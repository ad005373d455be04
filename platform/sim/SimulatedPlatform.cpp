#include "platform/sim/SimulatedPlatform.h"

#include <exception>

#include "platform/kel/Trace.h"
#include "platform/sim/Topology.h"

namespace Sim {
namespace {

Kel::TraceHandle simTrace("SimSwitch");

}  // namespace

SimulatedPlatform::SimulatedPlatform(Kel::ActivityManager& manager, Kel::Dir& root,
                                     PlatformOptions options)
    : root_(root),
      topologyPath_(options.topologyPath.empty() ? defaultTopologyPath() : options.topologyPath),
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
   switch_->mountIn(root_);
   try {
      control_ = std::make_unique<ControlServer>(*switch_, manager, controlSocketPath_,
                                                 ControlServerLimits{}, options.socketOwner);
      KEL_TRACE(simTrace, 1, "control socket " << controlSocketPath_);
   } catch (const std::exception& e) {
      problems_ += std::string(e.what()) + "\n";
      KEL_TRACE(simTrace, 0, e.what() << "; no live control");
   }
}

SimulatedPlatform::~SimulatedPlatform() {
   control_.reset();
   switch_->unmountFrom(root_);
}

}  // namespace Sim
