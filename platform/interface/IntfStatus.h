#pragma once

#include <cstdint>
#include <string>

#include "platform/interface/EthPortId.h"
#include "platform/kel/EntityMacros.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/velnet/EthAddr.h"
#include "platform/velnet/IntfId.h"

namespace Interface {

enum class OperStatus : std::uint8_t { down = 0, up = 1 };
enum class AdminStatus : std::uint8_t { down = 0, up = 1 };

// The status of one interface, whatever its kind.
class IntfStatus : public Kel::Entity {
 public:
#define INTERFACE_INTF_STATUS_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(intfId, Velnet::IntfId)                                                          \
   ATTRIBUTE(operStatus, OperStatus, OperStatus, OperStatus::down)                      \
   /* whether it is meant to run; a port shut down is down whatever its link */         \
   ATTRIBUTE(adminStatus, AdminStatus, AdminStatus, AdminStatus::up)                    \
   /* when operStatus last changed, in Kel::now() seconds */                            \
   ATTRIBUTE(lastChange, LastChange, double, 0.0)                                       \
   /* what the operator says the interface is for; empty when nothing */                \
   ATTRIBUTE(description, Description, std::string, std::string())                      \
   /* the interface's ifIndex in IF-MIB; 0 until the interface has one */               \
   ATTRIBUTE(ifIndex, IfIndex, std::int32_t, 0)                                         \
   /* its bridge port number; 0 when it is not a bridge port */                         \
   ATTRIBUTE(portId, PortId, EthPortId, EthPortId())
   KEL_ENTITY(IntfStatus, Kel::Entity, "Interface::IntfStatus", INTERFACE_INTF_STATUS_MEMBERS)
#undef INTERFACE_INTF_STATUS_MEMBERS

   explicit IntfStatus(Velnet::IntfId id) : intfId_(std::move(id)) {}
};

// The status of an Ethernet interface.
class EthIntfStatus : public IntfStatus {
 public:
#define INTERFACE_ETH_INTF_STATUS_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   ATTRIBUTE(speedMbps, SpeedMbps, std::uint32_t, 0)                                        \
   /* the largest frame payload it sends and receives, in octets */                         \
   ATTRIBUTE(mtu, Mtu, std::uint32_t, 1500)                                                 \
   /* its own MAC address; zero when it has none */                                         \
   ATTRIBUTE(macAddr, MacAddr, Velnet::EthAddr, Velnet::EthAddr())
   KEL_ENTITY(EthIntfStatus, IntfStatus, "Interface::EthIntfStatus",
              INTERFACE_ETH_INTF_STATUS_MEMBERS)
#undef INTERFACE_ETH_INTF_STATUS_MEMBERS

   explicit EthIntfStatus(Velnet::IntfId id) : IntfStatus(std::move(id)) {}
};

// Base of the interface-status directories; their notifiees derive from its NotifieeConst.
class IntfStatusDirBase : public Kel::Entity {
 public:
   KEL_ENTITY(IntfStatusDirBase, Kel::Entity, "Interface::IntfStatusDirBase", KEL_NO_MEMBERS)
};

using EthIntfStatusMap = Kel::RbTreeMap<Velnet::IntfId, Kel::Ptr<EthIntfStatus>>;

class EthIntfStatusDir : public IntfStatusDirBase {
 public:
#define INTERFACE_ETH_INTF_STATUS_DIR_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   COLLECTION(intfStatus, IntfStatus, EthIntfStatusMap)
   KEL_ENTITY(EthIntfStatusDir, IntfStatusDirBase, "Interface::EthIntfStatusDir",
              INTERFACE_ETH_INTF_STATUS_DIR_MEMBERS)
#undef INTERFACE_ETH_INTF_STATUS_DIR_MEMBERS
};

}  // namespace Interface
