#pragma once

#include "platform/bridging/Enums.h"
#include "platform/bridging/VlanId.h"
#include "platform/kel/EntityMacros.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/kel/String8.h"
#include "platform/velnet/IntfId.h"

// The switch's input configuration: what an operator (or an SNMP SET) asks for. The
// switch's configuration agent turns it into Bridging::Config.
namespace Bridging::Input {

class VlanConfig : public Kel::Entity {
 public:
#define INPUT_VLAN_CONFIG_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(vlanId, VlanId)                                                              \
   ATTRIBUTE(configuredName, ConfiguredName, Kel::String8, "")                      \
   ATTRIBUTE(adminState, AdminState, AdminState, AdminState::active)                \
   ATTRIBUTE(internal, Internal, bool, false)                                       \
   ATTRIBUTE(hidden, Hidden, bool, false)                                           \
   ATTRIBUTE(selectionWord, SelectionWord, std::uint32_t, 0)
   KEL_ENTITY(VlanConfig, Kel::Entity, "Bridging::Input::VlanConfig", INPUT_VLAN_CONFIG_MEMBERS)
#undef INPUT_VLAN_CONFIG_MEMBERS

   explicit VlanConfig(VlanId id) : vlanId_(id) {}
};

class SwitchIntfConfig : public Kel::Entity {
 public:
#define INPUT_SWITCH_INTF_CONFIG_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(intfId, Velnet::IntfId)                                                             \
   ATTRIBUTE(switchportMode, SwitchportMode, SwitchportMode, SwitchportMode::access)       \
   ATTRIBUTE(accessVlan, AccessVlan, VlanId, VlanId(1))                                    \
   ATTRIBUTE(trunkNativeVlan, TrunkNativeVlan, VlanIdOrNone, VlanIdOrNone(1))              \
   /* a multi-range list such as "1-10,20" (SwixUtils::VlanIdSet's text form) */           \
   ATTRIBUTE(trunkAllowedVlans, TrunkAllowedVlans, Kel::String8, "1-4094")
   KEL_ENTITY(SwitchIntfConfig, Kel::Entity, "Bridging::Input::SwitchIntfConfig",
              INPUT_SWITCH_INTF_CONFIG_MEMBERS)
#undef INPUT_SWITCH_INTF_CONFIG_MEMBERS

   explicit SwitchIntfConfig(Velnet::IntfId id) : intfId_(std::move(id)) {}
};

using VlanConfigMap = Kel::RbTreeMap<VlanId, Kel::Ptr<VlanConfig>>;
using SwitchIntfConfigMap = Kel::RbTreeMap<Velnet::IntfId, Kel::Ptr<SwitchIntfConfig>>;

class Config : public Kel::Entity {
 public:
#define INPUT_CONFIG_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION)      \
   /* raised by a writer that answers only once the input is applied (an SNMP SET): \
      the platform applies what is pending at once and reports how in               \
      Bridging::Config's inputCommit attributes */                                  \
   ATTRIBUTE(commitRequest, CommitRequest, std::uint32_t, 0)                        \
   COLLECTION(vlanConfig, VlanConfig, VlanConfigMap)                                \
   COLLECTION(switchIntfConfig, SwitchIntfConfig, SwitchIntfConfigMap)
   KEL_ENTITY(Config, Kel::Entity, "Bridging::Input::Config", INPUT_CONFIG_MEMBERS)
#undef INPUT_CONFIG_MEMBERS

   // Creates the VLAN's input configuration if it does not exist.
   void doCreateVlan(VlanId id) {
      vlanConfigIs(id);
   }
};

}  // namespace Bridging::Input
