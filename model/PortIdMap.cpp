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

Interface::EthPortId currentPortId(const Velnet::IntfId& intf) {
   const PortIdMap::PtrConst& map = current();
   return map ? map->portId(intf) : Interface::EthPortId();
}

}  // namespace BridgeSnmp
