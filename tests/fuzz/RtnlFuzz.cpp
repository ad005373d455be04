// Netlink bytes as a socket may deliver them (seeded with a recorded dump of a bridge with
// two ports and a learned and a static address) through the parser into the mirror of
// bridge "br0": nothing crashes, and the entities always hold one interface per port name.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include "platform/linux/BridgeMirror.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   Bridging::PlatformEntities entities;
   Linux::BridgeMirror mirror(entities, "br0");
   for (const auto& event : Linux::parseRtnlMessages(data, size)) {
      mirror.apply(event);
   }
   std::set<std::string> names;
   for (const auto& [ifindex, port] : mirror.bridge().ports()) {
      names.insert(port.name);
   }
   if (entities.intfStatusDir->intfStatuss() != names.size()) {
      std::abort();
   }
   return 0;
}
