#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/kel/ActivityManager.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/PortVlans.h"
#include "platform/linux/RtnlRequests.h"

namespace Linux {

// Writes the input configuration (what SNMP SETs ask for) to the kernel bridge: each port's
// switchport becomes VLAN additions and deletions (RTM_SETLINK / RTM_DELLINK of family
// AF_BRIDGE, with the PVID and untagged flags), each acknowledged by the kernel.
//
// A commit request (Input::Config::commitRequest, raised by a SET before it answers) writes
// every pending port at once, as one change: when a port's write fails (a kernel refusal, a
// mode a Linux port cannot have), the ports written before it are written back as they were,
// and the outcome is reported in Bridging::Config's inputCommit attributes. Input changed
// without a commit request is written on the next clock wake-up, the same way.
//
// The kernel's notifications, not this writer, then update the published state. Whatever is
// not applied is traced, and the input configuration of every port of the change goes back
// to the kernel's truth.
class VlanWriter : public Kel::Clock::NotifieeConst {
 public:
   // Sends one acknowledged request to the kernel: 0, or the kernel's negative errno.
   using KernelRequest = std::function<int(const RtnlMessage&)>;

   VlanWriter(Bridging::PlatformEntities& entities, BridgeMirror& mirror, KernelRequest request,
              Kel::ActivityManager& manager);
   ~VlanWriter() override;

   void onTime() override { settle(); }

   // What writing the pending ports came to: why it failed (empty when it did not), and
   // whether the ports written before the failure were put back as they were.
   struct Outcome {
      std::string failure;
      bool undone = true;
   };
   // Applies what is pending now.
   Outcome settle();

   std::uint64_t refusals() const { return refusals_; }

 private:
   class InputReactor;
   // A port as written so far: the kernel's VLANs before the change, and now.
   struct Written {
      int ifindex = 0;
      std::vector<PortVlan> before;
      std::vector<PortVlan> now;
   };
   void portChanged(const std::string& name);
   void vlanChanged(Bridging::VlanId vlan);
   void commit(std::uint32_t request);
   // Writes one port; returns why it could not (the port's own VLANs then are as `written`
   // records them).
   std::optional<std::string> write(const std::string& name, std::vector<Written>& written);
   // Sends one edit of a port's VLANs, additions first, keeping `now` as the kernel has it;
   // returns why the kernel refused a part.
   std::optional<std::string> send(int ifindex, const VlanEdit& edit, std::vector<PortVlan>& now);
   bool undo(std::vector<Written>& written);

   Bridging::PlatformEntities& e_;
   BridgeMirror& mirror_;
   KernelRequest request_;
   std::uint32_t seq_ = 0;
   std::set<std::string> pending_;
   std::unique_ptr<InputReactor> input_;
   std::uint64_t refusals_ = 0;
};

}  // namespace Linux
