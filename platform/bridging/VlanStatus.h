#pragma once

#include "platform/bridging/VlanId.h"
#include "platform/kel/EntityMacros.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/velnet/IntfId.h"

// Which VLANs are up and on which interfaces they are active.
namespace Bridging {

struct VlanPortStatus {
   bool untagged = false;  // the VLAN egresses untagged on this interface
   friend bool operator==(const VlanPortStatus&, const VlanPortStatus&) = default;
};
using VlanPortStatusMap = Kel::RbTreeMap<Velnet::IntfId, VlanPortStatus>;

class VlanStatus : public Kel::Entity {
 public:
#define BRIDGING_VLAN_STATUS_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(vlanId, VlanId)                                                                 \
   COLLECTION(vlanPortStatus, VlanPortStatus, VlanPortStatusMap)
   KEL_ENTITY(VlanStatus, Kel::Entity, "Bridging::VlanStatus", BRIDGING_VLAN_STATUS_MEMBERS)
#undef BRIDGING_VLAN_STATUS_MEMBERS

   explicit VlanStatus(VlanId id) : vlanId_(id) {}
};

using VlanStatusMap = Kel::RbTreeMap<VlanId, Kel::Ptr<VlanStatus>>;

class VlanStatusDir : public Kel::Entity {
 public:
#define BRIDGING_VLAN_STATUS_DIR_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   COLLECTION(vlanStatus, VlanStatus, VlanStatusMap)
   KEL_ENTITY(VlanStatusDir, Kel::Entity, "Bridging::VlanStatusDir",
              BRIDGING_VLAN_STATUS_DIR_MEMBERS)
#undef BRIDGING_VLAN_STATUS_DIR_MEMBERS
};

}  // namespace Bridging
