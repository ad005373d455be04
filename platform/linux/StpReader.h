#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/bridging/PlatformEntities.h"
#include "platform/kel/ActivityManager.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/RtnlRequests.h"

namespace Linux {

// Reads from the kernel what it does not announce, one small request at a time on snmpd's
// loop:
// - while the bridge runs the spanning tree, its link once a `period`, and at once after a
//   port's spanning-tree status changed, for the root, the root path cost and the
//   topology-change flags (the kernel announces the ports' states only);
// - a port's counters (IFLA_STATS64) into StpStatus's portCounters when a reader asks
//   (Input::StpConfig's countersRequest), unless they were read less than a `period` ago:
//   frames received, frames sent, and frames received but dropped.
class StpReader : public Kel::Clock::NotifieeConst {
 public:
   // Sends an acknowledged RTM_GETLINK and fills in the link it answers with: 0 or -errno.
   using KernelQuery = std::function<int(const RtnlMessage&, LinkEvent&)>;

   StpReader(Bridging::PlatformEntities& entities, BridgeMirror& mirror, KernelQuery query,
             Kel::ActivityManager& manager);
   ~StpReader() override;
   StpReader(const StpReader&) = delete;
   StpReader& operator=(const StpReader&) = delete;

   void onTime() override;
   void refreshCounters(const Velnet::IntfId& port);
   std::uint64_t queries() const { return queries_; }

   static constexpr double period = 1.0;

 private:
   class InputReactor;
   class PortReactor;

   Bridging::PlatformEntities& e_;
   BridgeMirror& mirror_;
   KernelQuery query_;
   std::unique_ptr<InputReactor> input_;
   std::unique_ptr<PortReactor> ports_;
   std::uint64_t queries_ = 0;
};

}  // namespace Linux
