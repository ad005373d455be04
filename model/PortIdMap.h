#pragma once

#include <cstdint>
#include <unordered_map>

#include "platform/interface/EthPortId.h"
#include "platform/kel/EntityMacros.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/velnet/IntfId.h"

namespace BridgeSnmp {

using PortIdCollection = Kel::RbTreeMap<Velnet::IntfId, Interface::EthPortId>;

// The map from interface to bridge port number that the synchronisation agent keeps
// (the agent is one). Port-number conversions, port-list builders and row filters reach it
// through the process-wide current map; an interface that is not in it has port 0.
class PortIdMap : public Kel::Entity {
 public:
#define BRIDGE_SNMP_PORT_ID_MAP_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   COLLECTION(portId, PortId, PortIdCollection)
   KEL_ENTITY(PortIdMap, Kel::Entity, "BridgeSnmp::PortIdMap", BRIDGE_SNMP_PORT_ID_MAP_MEMBERS)
#undef BRIDGE_SNMP_PORT_ID_MAP_MEMBERS

   // portId(intf) through a hash: a walk of a forwarding table asks for the port of every
   // row it shows, and the ordered map compares names in natural order, digit run by digit
   // run. Interface names are interned, so the address of an IntfId's name identifies the
   // name, and the hash is of that address. It is rebuilt when the map has changed since.
   Interface::EthPortId portIdByName(const Velnet::IntfId& intf) const;

 private:
   mutable std::unordered_map<const Kel::String8*, Interface::EthPortId> byName_;
   mutable std::uint64_t byNameVersion_ = ~std::uint64_t(0);
};

// The current map, or null when no agent runs.
PortIdMap::PtrConst currentPortIdMap();
void currentPortIdMapIs(PortIdMap::PtrConst map);

// The port number of an interface in the current map; 0 when there is no map or no entry.
Interface::EthPortId currentPortId(const Velnet::IntfId& intf);

}  // namespace BridgeSnmp
