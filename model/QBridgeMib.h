#pragma once

#include <cstdint>

#include "model/Dot1qTpFdbEntryKey.h"
#include "model/Enums.h"
#include "model/PortList.h"
#include "platform/bridging/Config.h"
#include "platform/bridging/InputConfig.h"
#include "platform/bridging/Status.h"
#include "platform/bridging/VlanStatus.h"
#include "platform/interface/EthPortId.h"
#include "platform/kel/EntityMacros.h"
#include "platform/kel/HashMap.h"
#include "platform/kel/Pool.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/kel/String8.h"

// The cache the SNMP handlers answer from: every row of the served tables, in index order.
// The synchronisation agent's state machines create, update and delete the rows; the
// handlers only read them (the SET paths excepted, which record their decisions in
// sepAction and aftAction).
namespace BridgeSnmp {

class QBridgeMib;

// dot1dBasePortTable and dot1qPortVlanTable: one row per bridge port.
class Dot1dBasePortEntry : public Kel::Entity {
 public:
#define BRIDGE_SNMP_BASE_PORT_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION)        \
   KEY(port, Interface::EthPortId)                                                             \
   ATTRIBUTE(intf, Intf, Velnet::IntfId, Velnet::IntfId())                                     \
   ATTRIBUTE(ifIndex, IfIndex, std::int32_t, 0)                                                \
   /* the port's PVID and acceptable frame types as the agent knows them */                    \
   ATTRIBUTE(dot1qPvidLocal, Dot1qPvidLocal, Bridging::VlanIdOrNone, Bridging::VlanIdOrNone()) \
   ATTRIBUTE(admitFrameLocal, AdmitFrameLocal, FrameAdmits, admitAll)
   KEL_ENTITY(Dot1dBasePortEntry, Kel::Entity, "BridgeSnmp::Dot1dBasePortEntry",
              BRIDGE_SNMP_BASE_PORT_MEMBERS)
#undef BRIDGE_SNMP_BASE_PORT_MEMBERS

   Dot1dBasePortEntry(Interface::EthPortId port, QBridgeMib* parent)
       : port_(port), parent_(parent) {}

   // dot1qPortAcceptableFrameTypes and dot1qPvid as served.
   FrameAdmits admitFrame() const {
      return admitFrameLocal();
   }
   Bridging::VlanIdOrNone dot1qPvid() const {
      return dot1qPvidLocal();
   }
   QBridgeMib* parent() const {
      return parent_;
   }

 private:
   QBridgeMib* parent_;
};

// dot1qVlanStaticTable: one row per configured VLAN that is shown.
class Dot1qVlanStaticEntry : public Kel::Entity {
 public:
#define BRIDGE_SNMP_VLAN_STATIC_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(index, std::uint32_t)                                                              \
   ATTRIBUTE(vlanConfig, VlanConfig, Bridging::VlanConfig::PtrConst, nullptr)
   KEL_ENTITY(Dot1qVlanStaticEntry, Kel::Entity, "BridgeSnmp::Dot1qVlanStaticEntry",
              BRIDGE_SNMP_VLAN_STATIC_MEMBERS)
#undef BRIDGE_SNMP_VLAN_STATIC_MEMBERS

   Dot1qVlanStaticEntry(std::uint32_t index, QBridgeMib* parent) : index_(index), parent_(parent) {}

   // The VLAN's configured name; empty while there is no configuration.
   Kel::String8 configuredName() const {
      return vlanConfig() ? vlanConfig()->configuredName() : Kel::String8();
   }
   QBridgeMib* parent() const {
      return parent_;
   }

 private:
   QBridgeMib* parent_;
};

// dot1qVlanCurrentTable: one row per VLAN that is up.
class Dot1qVlanCurrentEntry : public Kel::Entity {
 public:
#define BRIDGE_SNMP_VLAN_CURRENT_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(index, std::uint32_t)                                                               \
   ATTRIBUTE(vlanStatus, VlanStatus, Bridging::VlanStatus::PtrConst, nullptr)              \
   /* Kel::now() seconds when the row was made, and of the VLAN's last status change */    \
   ATTRIBUTE(firstSeen, FirstSeen, double, 0.0)                                            \
   ATTRIBUTE(lastChange, LastChange, double, 0.0)
   KEL_ENTITY(Dot1qVlanCurrentEntry, Kel::Entity, "BridgeSnmp::Dot1qVlanCurrentEntry",
              BRIDGE_SNMP_VLAN_CURRENT_MEMBERS)
#undef BRIDGE_SNMP_VLAN_CURRENT_MEMBERS

   explicit Dot1qVlanCurrentEntry(std::uint32_t index) : index_(index) {}

   // The last change as TimeTicks since the agent started.
   std::uint32_t debugLastChange() const;
};

// dot1dTpFdbTable: one row per address of FID 1.
class Dot1dTpFdbEntry : public Kel::Entity {
 public:
#define BRIDGE_SNMP_D_FDB_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(address, Velnet::EthAddr)                                                    \
   ATTRIBUTE(intf, Intf, Velnet::IntfId, Velnet::IntfId())                          \
   ATTRIBUTE(status, Status, Dot1qTpFdbStatus, statusOther)
   KEL_ENTITY(Dot1dTpFdbEntry, Kel::Entity, "BridgeSnmp::Dot1dTpFdbEntry",
              BRIDGE_SNMP_D_FDB_MEMBERS)
#undef BRIDGE_SNMP_D_FDB_MEMBERS

   explicit Dot1dTpFdbEntry(const Velnet::EthAddr& address) : address_(address) {}
   // One per learned host of FID 1.
   KEL_POOLED_STORAGE
};

// dot1qTpFdbTable and the extension table: one row per (fid, address).
class Dot1qTpFdbEntry : public Kel::Entity {
 public:
#define BRIDGE_SNMP_Q_FDB_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(key, Dot1qTpFdbEntryKey)                                                     \
   ATTRIBUTE(intf, Intf, Velnet::IntfId, Velnet::IntfId())                          \
   ATTRIBUTE(status, Status, Dot1qTpFdbStatus, statusOther)                         \
   /* the FID's learned-host status, where the move count and time are read */      \
   ATTRIBUTE(fdbStatus, FdbStatus, Bridging::FdbStatus::PtrConst, nullptr)
   KEL_ENTITY(Dot1qTpFdbEntry, Kel::Entity, "BridgeSnmp::Dot1qTpFdbEntry",
              BRIDGE_SNMP_Q_FDB_MEMBERS)
#undef BRIDGE_SNMP_Q_FDB_MEMBERS

   explicit Dot1qTpFdbEntry(const Dot1qTpFdbEntryKey& key) : key_(key) {}
   // One per learned or configured host.
   KEL_POOLED_STORAGE

   // Read now from the learned host of the address; 0 when there is none.
   std::uint64_t moves() const;
   double lastMoveTime() const;
};

using Dot1qTpFdbTableMap = Kel::RbTreeMap<Dot1qTpFdbEntryKey, Kel::Ptr<Dot1qTpFdbEntry>>;
using Dot1dTpFdbTableMap = Kel::RbTreeMap<Velnet::EthAddr, Kel::Ptr<Dot1dTpFdbEntry>>;
using Dot1qVlanCurrentTableMap = Kel::RbTreeMap<std::uint32_t, Kel::Ptr<Dot1qVlanCurrentEntry>>;
using Dot1qVlanStaticTableMap = Kel::RbTreeMap<std::uint32_t, Kel::Ptr<Dot1qVlanStaticEntry>>;
using Dot1dBasePortTableMap = Kel::RbTreeMap<Interface::EthPortId, Kel::Ptr<Dot1dBasePortEntry>>;
using SepActionMap = Kel::HashMap<Kel::String8, SetAction>;
using AftActionMap = Kel::HashMap<Kel::String8, FrameAdmits>;

class QBridgeMib : public Kel::Entity {
 public:
#define BRIDGE_SNMP_QBRIDGE_MIB_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION)  \
   COLLECTION(dot1qTpFdbTable, Dot1qTpFdbTable, Dot1qTpFdbTableMap)                        \
   COLLECTION(dot1dTpFdbTable, Dot1dTpFdbTable, Dot1dTpFdbTableMap)                        \
   COLLECTION(dot1qVlanCurrentTable, Dot1qVlanCurrentTable, Dot1qVlanCurrentTableMap)      \
   COLLECTION(dot1qVlanStaticTable, Dot1qVlanStaticTable, Dot1qVlanStaticTableMap)         \
   COLLECTION(dot1dBasePortTable, Dot1dBasePortTable, Dot1dBasePortTableMap)               \
   /* one SET request's decisions, by interface name: kept from the cross validation to */ \
   /* the apply step of the same request, and emptied between requests */                  \
   COLLECTION(sepAction, SepAction, SepActionMap)                                          \
   COLLECTION(aftAction, AftAction, AftActionMap)                                          \
   ATTRIBUTE(inputConfig, InputConfig, Bridging::Input::Config::Ptr, nullptr)              \
   ATTRIBUTE(config, Config, Bridging::Config::PtrConst, nullptr)                          \
   ATTRIBUTE(status, Status, Bridging::Status::PtrConst, nullptr)                          \
   ATTRIBUTE(dot1qVlanNumDeletes, Dot1qVlanNumDeletes, std::uint32_t, 0)
   KEL_ENTITY(QBridgeMib, Kel::Entity, "BridgeSnmp::QBridgeMib", BRIDGE_SNMP_QBRIDGE_MIB_MEMBERS)
#undef BRIDGE_SNMP_QBRIDGE_MIB_MEMBERS

   explicit QBridgeMib(Kel::Name name) : name_(std::move(name)) {}

   const Kel::Name& name() const {
      return name_;
   }
   // Counts n more VLAN deletions (wrapping as the Counter32 it is served as).
   void dot1qVlanNumDeletesInc(std::uint32_t n) {
      dot1qVlanNumDeletesIs(dot1qVlanNumDeletes() + n);
   }

 private:
   Kel::Name name_;
};

QBridgeMib::Ptr qBridgeMibFactory(const Kel::Name& name);

}  // namespace BridgeSnmp
