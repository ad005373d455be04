#pragma once

#include <cstdint>

#include "platform/bridging/Enums.h"
#include "platform/bridging/Fid.h"
#include "platform/bridging/VlanId.h"
#include "platform/kel/EntityMacros.h"
#include "platform/kel/HashMap.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/kel/String8.h"
#include "platform/velnet/EthAddr.h"
#include "platform/velnet/IntfId.h"

// The switch's applied bridging configuration, as its configuration agent publishes it
// from the input configuration.
namespace Bridging {

// One member interface of a VLAN.
struct VlanMember {
   bool tagged = false;  // false: the VLAN egresses untagged on this interface
   friend bool operator==(const VlanMember&, const VlanMember&) = default;
};
using VlanMemberMap = Kel::RbTreeMap<Velnet::IntfId, VlanMember>;

class VlanConfig : public Kel::Entity {
 public:
#define BRIDGING_VLAN_CONFIG_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(vlanId, VlanId)                                                                 \
   ATTRIBUTE(adminState, AdminState, AdminState, AdminState::active)                   \
   /* a VLAN the switch reserves for its own use; never served, never a PVID */        \
   ATTRIBUTE(internal, Internal, bool, false)                                          \
   /* set on VLANs that are configured but not to be shown */                          \
   ATTRIBUTE(hidden, Hidden, bool, false)                                              \
   /* non-zero marks a VLAN whose learned entries stay out of the FDB views */         \
   ATTRIBUTE(selectionWord, SelectionWord, std::uint32_t, 0)                           \
   ATTRIBUTE(configuredName, ConfiguredName, Kel::String8, "")                         \
   COLLECTION(intf, Intf, VlanMemberMap)
   KEL_ENTITY(VlanConfig, Kel::Entity, "Bridging::VlanConfig", BRIDGING_VLAN_CONFIG_MEMBERS)
#undef BRIDGING_VLAN_CONFIG_MEMBERS

   explicit VlanConfig(VlanId id) : vlanId_(id) {}
};

class SwitchIntfConfig : public Kel::Entity {
 public:
#define BRIDGING_SWITCH_INTF_CONFIG_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION)  \
   KEY(intfId, Velnet::IntfId)                                                                 \
   SHARED(switchportMode, SwitchportModeAndNativeVlan, SwitchportMode, SwitchportMode::access) \
   /* the VLAN untagged frames belong to: the access VLAN, or a trunk's native VLAN */         \
   SHARED(nativeVlan, SwitchportModeAndNativeVlan, VlanIdOrNone, VlanIdOrNone(1))              \
   NOTIFICATION(SwitchportModeAndNativeVlan)
   KEL_ENTITY(SwitchIntfConfig, Kel::Entity, "Bridging::SwitchIntfConfig",
              BRIDGING_SWITCH_INTF_CONFIG_MEMBERS)
#undef BRIDGING_SWITCH_INTF_CONFIG_MEMBERS

   explicit SwitchIntfConfig(Velnet::IntfId id) : intfId_(std::move(id)) {}
};

struct ConfiguredHost {
   Velnet::IntfId intf;
   friend bool operator==(const ConfiguredHost&, const ConfiguredHost&) = default;
};
using ConfiguredHostMap = Kel::RbTreeMap<Velnet::EthAddr, ConfiguredHost>;

// The static MAC addresses of one FID.
class FdbConfig : public Kel::Entity {
 public:
#define BRIDGING_FDB_CONFIG_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(fid, Fid)                                                                      \
   COLLECTION(configuredHost, ConfiguredHost, ConfiguredHostMap)
   KEL_ENTITY(FdbConfig, Kel::Entity, "Bridging::FdbConfig", BRIDGING_FDB_CONFIG_MEMBERS)
#undef BRIDGING_FDB_CONFIG_MEMBERS

   explicit FdbConfig(Fid fid) : fid_(fid) {}
};

using VlanConfigMap = Kel::RbTreeMap<VlanId, Kel::Ptr<VlanConfig>>;
using SwitchIntfConfigMap = Kel::RbTreeMap<Velnet::IntfId, Kel::Ptr<SwitchIntfConfig>>;
using FdbConfigMap = Kel::RbTreeMap<Fid, Kel::Ptr<FdbConfig>>;

class Config : public Kel::Entity {
 public:
#define BRIDGING_CONFIG_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION)   \
   ATTRIBUTE(bridgeMacAddr, BridgeMacAddr, Velnet::EthAddr, Velnet::EthAddr())      \
   /* seconds a learned host lives without being seen; 0 disables aging */          \
   ATTRIBUTE(hostAgingTime, HostAgingTime, double, 300.0)                           \
   /* why VLAN settings written to the input would not be applied now; empty when   \
      they would */                                                                 \
   ATTRIBUTE(vlanChangeRefusal, VlanChangeRefusal, Kel::String8, "")                \
   /* the last Input::Config::commitRequest the platform has applied, or failed to: \
      why it failed (empty when it did not), and whether what it had written by     \
      then was undone. A platform that applies input on its own schedule and cannot \
      fail leaves them alone. */                                                    \
   ATTRIBUTE(inputCommitted, InputCommitted, std::uint32_t, 0)                      \
   ATTRIBUTE(inputCommitFailure, InputCommitFailure, Kel::String8, "")              \
   ATTRIBUTE(inputCommitUndone, InputCommitUndone, bool, true)                      \
   COLLECTION(vlanConfig, VlanConfig, VlanConfigMap)                                \
   COLLECTION(switchIntfConfig, SwitchIntfConfig, SwitchIntfConfigMap)              \
   COLLECTION(fdbConfig, FdbConfig, FdbConfigMap)
   KEL_ENTITY(Config, Kel::Entity, "Bridging::Config", BRIDGING_CONFIG_MEMBERS)
#undef BRIDGING_CONFIG_MEMBERS
};

}  // namespace Bridging
