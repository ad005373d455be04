// Control commands as a user may type them, one per line, against the lab switch: every
// line is answered with "ok" or one "error:" line, and nothing throws.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "platform/kel/ActivityManager.h"
#include "platform/sim/CommandInterpreter.h"
#include "platform/sim/SimulatedPlatform.h"
#include "platform/sim/Switch.h"
#include "platform/sim/Topology.h"

namespace {

struct Lab {
   Kel::ActivityManager manager;
   std::unique_ptr<Sim::Switch> sw;
   std::unique_ptr<Sim::CommandInterpreter> cli;

   void reset() {
      cli.reset();
      sw = std::make_unique<Sim::Switch>(manager);
      Sim::applyTopology(*sw, Sim::loadTopology(Sim::defaultTopologyPath()));
      cli = std::make_unique<Sim::CommandInterpreter>(*sw);
   }
};

// A burst learns about 4,000 hosts a second under the sanitizers: larger ones are correct
// but would only slow the search down.
bool largeBurst(std::string_view line) {
   std::istringstream words{std::string(line)};
   std::string command;
   double count = 0;
   return words >> command >> count && command == "burst" && count > 5000;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   static Lab lab;
   // Bursts may learn up to a million hosts; start afresh before the switch grows large.
   if (!lab.sw || lab.sw->learnedHosts() > 100000) {
      lab.reset();
   }
   std::string_view rest(reinterpret_cast<const char*>(data), size);
   for (int lines = 0; lines < 16 && !rest.empty(); ++lines) {
      const auto end = rest.find('\n');
      const std::string_view line = rest.substr(0, end);
      rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
      if (largeBurst(line)) {
         continue;
      }
      const std::string reply = lab.cli->execute(line);
      const bool ok = reply.rfind("ok\n", 0) == 0;
      const bool refused = reply.rfind("error: ", 0) == 0 && reply.find('\n') == reply.size() - 1;
      if (!ok && !refused) {
         std::abort();
      }
   }
   return 0;
}
