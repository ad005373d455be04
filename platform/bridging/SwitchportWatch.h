#pragma once

#include <functional>
#include <utility>

#include "platform/bridging/InputConfig.h"

namespace Bridging::Input {

// Calls back with the interface whenever any setting of its input switchport changes (mode,
// access VLAN, trunk native or allowed VLANs): for those that apply the input as a whole.
class SwitchportWatch : public SwitchIntfConfig::NotifieeConst {
 public:
   using Changed = std::function<void(const Velnet::IntfId&)>;

   SwitchportWatch(const SwitchIntfConfig::PtrConst& sic, Changed changed)
       : intf_(sic->intfId()), changed_(std::move(changed)) {
      notifierIs(sic);
   }
   void onSwitchportMode() override { changed_(intf_); }
   void onAccessVlan() override { changed_(intf_); }
   void onTrunkNativeVlan() override { changed_(intf_); }
   void onTrunkAllowedVlans() override { changed_(intf_); }

 private:
   Velnet::IntfId intf_;
   Changed changed_;
};

}  // namespace Bridging::Input
