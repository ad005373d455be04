#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/bridging/PlatformEntities.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/RtnlRequests.h"

namespace Linux {

// Writes the spanning-tree input (Bridging::Input::StpConfig) to the kernel bridge when a
// commit is requested: the bridge's priority and timers in one request, then each port's
// priority, path cost and enable in one request each, every one acknowledged before the
// next. The first refusal ends the commit; what was written before it stays. Either way the
// input is cleared, the outcome reported in StpStatus's commitFailure and committed, and
// what was written read back from the kernel before the commit returns.
class StpWriter {
 public:
   // Sends one acknowledged request: 0, or the kernel's negative errno.
   using KernelRequest = std::function<int(const RtnlMessage&)>;
   // Sends an acknowledged RTM_GETLINK and fills in the link it answers with: 0 or -errno.
   using KernelQuery = std::function<int(const RtnlMessage&, LinkEvent&)>;

   StpWriter(Bridging::PlatformEntities& entities, BridgeMirror& mirror, KernelRequest request,
             KernelQuery query);
   ~StpWriter();
   StpWriter(const StpWriter&) = delete;
   StpWriter& operator=(const StpWriter&) = delete;

   // Applies what the input holds; returns why it failed, empty when it did not.
   std::string commit();

 private:
   class InputReactor;
   std::optional<std::string> writeBridge();
   std::optional<std::string> writePort(const Velnet::IntfId& name,
                                        const Bridging::Input::StpPortConfig& settings);
   // Reads a link back into the mirror.
   void reread(int ifindex);

   Bridging::PlatformEntities& e_;
   BridgeMirror& mirror_;
   KernelRequest request_;
   KernelQuery query_;
   std::unique_ptr<InputReactor> input_;
};

}  // namespace Linux
