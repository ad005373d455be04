#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/kel/ActivityManager.h"
#include "platform/sim/LearningAgent.h"
#include "platform/sim/StatusAgent.h"
#include "platform/sim/SwitchState.h"
#include "platform/swix/VlanIdSet.h"

namespace Sim {

// Applies the input configuration to Bridging::Config as the switch's configuration agent
// does: VLANs as configured; an access port an untagged member of its access VLAN (its
// native VLAN); a trunk a tagged member of each allowed VLAN that exists and an untagged
// member of its native VLAN when that VLAN exists and is allowed (a native VLAN of none:
// no untagged membership); other modes no membership at all. An interface input it cannot
// apply is refused, traced, and leaves the interface as it was.
//
// Changes of the input are applied later, not inside the notification, like a separate
// agent would: what changed is marked, and a clock wake-up (as soon as possible) applies
// it, so several writes to one interface are applied as one. settle() applies at once.
class ConfigAgent : public Kel::Clock::NotifieeConst {
 public:
   ConfigAgent(SwitchState& state, Kel::ActivityManager& manager, StatusAgent& status,
               LearningAgent& learning);
   ~ConfigAgent() override;

   void settle();
   void onTime() override { settle(); }

   // A VLAN's or an interface's input changed (or appeared, or went).
   void vlanChanged(Bridging::VlanId vlan);
   void intfChanged(const Velnet::IntfId& intf);

 private:
   class InputReactor;
   class VlanReactor;

   void applyVlan(Bridging::VlanId vlan);
   void applyIntf(const Velnet::IntfId& intf);
   // Why the switch cannot apply an interface's input (an allowed list that does not read,
   // a VLAN reserved for the switch as its untagged VLAN), or nothing; fills a trunk's
   // allowed VLANs.
   std::optional<std::string> refusal(const Bridging::Input::SwitchIntfConfig& sic,
                                      SwixUtils::VlanIdSet& allowed) const;
   // Whether and how the interface belongs to the VLAN under its input configuration.
   std::optional<Bridging::VlanMember> membership(const Velnet::IntfId& intf,
                                                  Bridging::VlanId vlan) const;
   void setMembership(const Velnet::IntfId& intf, Bridging::VlanId vlan,
                      std::set<Bridging::VlanId>& touched);

   SwitchState& state_;
   StatusAgent& status_;
   LearningAgent& learning_;
   std::unique_ptr<InputReactor> input_;
   std::set<Bridging::VlanId> pendingVlans_;
   std::set<Velnet::IntfId> pendingIntfs_;
   // Each trunk's allowed VLANs as last applied (the text parsed once per change).
   std::map<Velnet::IntfId, SwixUtils::VlanIdSet> allowed_;
};

}  // namespace Sim
