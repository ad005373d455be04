// Netlink bytes as a socket may deliver them (seeded with a recorded dump of a bridge with
// two ports and a learned and a static address): the first half as notifications through the
// parser into the mirror of bridge "br0", the second as a resync's dump into a fresh bridge
// that the mirror is then made to match. Nothing crashes, the entities always hold one
// interface per port name, and after the resync the mirror holds exactly the dumped bridge.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "platform/linux/BridgeMirror.h"

namespace {

std::set<std::string> portNames(const Linux::KernelBridge& bridge) {
   std::set<std::string> names;
   for (const auto& [ifindex, port] : bridge.ports()) {
      names.insert(port.name);
   }
   return names;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   Bridging::PlatformEntities entities;
   Linux::BridgeMirror mirror(entities, "br0");
   const std::size_t half = size / 2;
   for (const auto& event : Linux::parseRtnlMessages(data, half)) {
      mirror.apply(event);
   }
   if (entities.intfStatusDir->intfStatuss() != portNames(mirror.bridge()).size()) {
      std::abort();
   }
   Linux::KernelBridge fresh("br0");
   // Aligned as a socket's buffer is.
   const std::vector<std::uint8_t> dump(data + half, data + size);
   for (const auto& event : Linux::parseRtnlMessages(dump.data(), dump.size())) {
      if (const auto* link = std::get_if<Linux::LinkEvent>(&event)) {
         fresh.apply(*link);
      } else if (const auto* neigh = std::get_if<Linux::NeighEvent>(&event)) {
         fresh.apply(*neigh);
      }
   }
   const std::set<std::string> dumped = portNames(fresh);
   mirror.resyncTo(std::move(fresh));
   mirror.publishDifferences([] { return true; });
   if (portNames(mirror.bridge()) != dumped ||
       entities.intfStatusDir->intfStatuss() != dumped.size()) {
      std::abort();
   }
   return 0;
}
