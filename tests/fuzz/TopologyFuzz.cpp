// Topology files as a user may write them: the parser answers with a topology or with one
// line naming the file and line, and a topology it accepts applies to a switch.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/kel/ActivityManager.h"
#include "platform/sim/Switch.h"
#include "platform/sim/Topology.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   const std::string text(reinterpret_cast<const char*>(data), size);
   Sim::Topology topology;
   try {
      topology = Sim::parseTopology(text, "fuzz.yaml");
   } catch (const Sim::TopologyError& e) {
      const std::string message = e.what();
      if (message.rfind("fuzz.yaml:", 0) != 0 || message.find('\n') != std::string::npos) {
         std::abort();
      }
      return 0;
   }
   if (topology.learnedHosts.size() > 4096) {
      return 0;  // large generated runs are correct but slow; the unit tests apply them
   }
   Kel::ActivityManager manager;
   Sim::Switch sw(manager);
   Sim::applyTopology(sw, topology);  // a refusal here would be a checker that let it through
   return 0;
}
