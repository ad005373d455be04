#pragma once

#include <memory>
#include <string>

#include "platform/backend/Backend.h"
#include "platform/bridging/PlatformEntities.h"
#include "platform/kel/ActivityManager.h"
#include "platform/statedb/Dir.h"

namespace Linux {

class BridgeMirror;
class BridgeMonitor;
class VlanWriter;
class StpWriter;
class StpReader;

// A Linux kernel bridge as a process serves it: its state published in the bridging and
// interface entities (mounted where the simulated switch's are), kept up to date from
// rtnetlink on the manager's loop, and the input configuration written back to it.
//
// A bridge that does not exist, or goes, leaves the entities empty until it comes (back); a
// The spanning tree is published and written the same way (StpWriter, StpReader). A
// netlink socket that cannot be opened leaves them empty for good. Both are reported at
// level 0 of the "LinuxBridge" trace, the second also in problems().
//
// No bridgectl reaches it (the bridge is changed with ip and bridge), and its ports are the
// host's own interfaces, in the host's IF-MIB already.
class LinuxPlatform : public Platform::Backend {
 public:
   LinuxPlatform(Kel::ActivityManager& manager, Kel::Dir& root, std::string bridge);
   ~LinuxPlatform() override;
   LinuxPlatform(const LinuxPlatform&) = delete;
   LinuxPlatform& operator=(const LinuxPlatform&) = delete;

   const Bridging::PlatformEntities& entities() const override { return entities_; }
   const std::string& bridgeName() const { return bridgeName_; }
   const std::string& problems() const { return problems_; }
   // One line on what is served: the bridge, its ports and entries, resyncs.
   std::string summary() const override;
   bool servesInterfaceTables() const override { return false; }

 private:
   Kel::Dir& root_;
   std::string bridgeName_;
   std::string problems_;
   Bridging::PlatformEntities entities_;
   std::unique_ptr<BridgeMirror> mirror_;
   std::unique_ptr<BridgeMonitor> monitor_;
   std::unique_ptr<VlanWriter> writer_;
   std::unique_ptr<StpWriter> stpWriter_;
   std::unique_ptr<StpReader> stpReader_;
};

}  // namespace Linux
