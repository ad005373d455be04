#pragma once

#include <optional>
#include <string>
#include <vector>

#include "validation/CrossValidation.h"
#include "validation/Switchport.h"

// A SET request applied as one change (RFC 3416: its bindings take effect as if at once):
// the switchport every port is to have and the VLANs to create, worked out from the input
// configuration and all the request's bindings together, whatever their order, then checked
// as a whole and written once.
//
// How the bindings combine on a port:
// - A PVID sets the VLAN of untagged frames: an access port's access VLAN, a trunk's native.
// - An egress binding of VLAN v makes the port a member of v or not. An access port whose
//   membership a binding changes, or that is to admit tagged frames only, becomes a trunk
//   that carries what its access VLAN was, untagged; its old access VLAN stays only where no
//   PVID moves the port off it or an egress binding of it names the port.
// - admitOnlyVlanTagged leaves a trunk without a native VLAN; admitAll gives a trunk that
//   has none VLAN 1, which it then carries.
namespace BridgeSnmp {

class SetPlan {
 public:
   struct PortChange {
      Dot1dBasePortEntry::PtrConst row;
      Switchport after;
   };

   // Works out what the request leaves and checks it: a trunk's native VLAN exists and is
   // one the trunk carries, a port keeps a VLAN, every untagged binding reads back as
   // written, and a change is one the platform applies now (Config::vlanChangeRefusal). Returns
   // nothing when that fails, after tracing why (level 3) and naming the binding at fault. Call
   // after validateVlansAndPorts has passed the same bindings.
   static std::optional<SetPlan> make(const SetBindings& bindings, BindingFault* fault);

   // What the platform made of the written input: why it could not apply it (empty when it
   // did), and whether it put back what it had applied by then.
   struct Outcome {
      std::string failure;
      bool undone = true;
   };

   // Writes the input configuration, each changed switchport once and the VLANs to create
   // first, and the PVID and frame types the port rows serve until the switch has applied it;
   // then asks the platform to apply it before the request is answered
   // (Input::Config::commitRequest).
   Outcome apply() const;

   const std::vector<PortChange>& ports() const { return ports_; }
   // Whether applying it changes the input configuration at all.
   bool changes() const;
   const std::vector<Bridging::VlanId>& createdVlans() const { return created_; }

 private:
   QBridgeMib* mib_ = nullptr;
   std::vector<PortChange> ports_;
   std::vector<Bridging::VlanId> created_;
   bool changes_ = false;  // some port's switchport differs from where it started
};

}  // namespace BridgeSnmp
