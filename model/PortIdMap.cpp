#include "model/PortIdMap.h"

namespace BridgeSnmp {
namespace {

PortIdMap::PtrConst& current() {
   static PortIdMap::PtrConst* map = new PortIdMap::PtrConst();
   return *map;
}

}  // namespace

PortIdMap::PtrConst currentPortIdMap() {
   return current();
}

void currentPortIdMapIs(PortIdMap::PtrConst map) {
   current() = std::move(map);
}

Interface::EthPortId PortIdMap::portIdByName(const Velnet::IntfId& intf) const {
   const PortIdCollection& ports = portIdCollection();
   if (byNameVersion_ != ports.version()) {
      // The map's own keys hold their names until the next change.
      byName_.clear();
      for (auto it = ports.begin(); it; ++it) {
         byName_.emplace(&it.key().stringValue(), it.value());
      }
      byNameVersion_ = ports.version();
   }
   const auto found = byName_.find(&intf.stringValue());
   return found == byName_.end() ? Interface::EthPortId() : found->second;
}

Interface::EthPortId currentPortId(const Velnet::IntfId& intf) {
   const PortIdMap::PtrConst& map = current();
   return map ? map->portIdByName(intf) : Interface::EthPortId();
}

}  // namespace BridgeSnmp
