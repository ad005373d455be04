#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/kel/ActivityManager.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/RtnlRequests.h"

namespace Linux {

// Writes the input configuration (what SNMP SETs ask for) to the kernel bridge: each port's
// switchport becomes VLAN additions and deletions (RTM_SETLINK / RTM_DELLINK of family
// AF_BRIDGE, with the PVID and untagged flags). Changes are gathered and written on a clock
// wake-up, so the several writes of one SET go to the kernel as one change.
//
// The kernel's notifications, not this writer, then update the published state. Whatever
// is not applied (a bridge without VLAN filtering, a mode a Linux port cannot have, a kernel
// refusal) is traced, and the port's input configuration goes back to the kernel's truth.
class VlanWriter : public Kel::Clock::NotifieeConst {
 public:
   // Sends one acknowledged request to the kernel: 0, or the kernel's negative errno.
   using KernelRequest = std::function<int(const RtnlMessage&)>;

   VlanWriter(Bridging::PlatformEntities& entities, BridgeMirror& mirror, KernelRequest request,
              Kel::ActivityManager& manager);
   ~VlanWriter() override;

   void onTime() override { settle(); }
   // Applies what is pending now.
   void settle();

   std::uint64_t refusals() const { return refusals_; }

 private:
   class InputReactor;
   void portChanged(const std::string& name);
   void vlanChanged(Bridging::VlanId vlan);
   void apply(const std::string& name);
   void refuse(const std::string& name, const std::string& reason);

   Bridging::PlatformEntities& e_;
   BridgeMirror& mirror_;
   KernelRequest request_;
   std::uint32_t seq_ = 0;
   std::set<std::string> pending_;
   std::unique_ptr<InputReactor> input_;
   std::uint64_t refusals_ = 0;
};

}  // namespace Linux
