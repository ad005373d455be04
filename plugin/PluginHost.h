#pragma once

#include <memory>
#include <string>

#include "agent/Agent.h"
#include "model/QBridgeMib.h"
#include "platform/kel/Trace.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/sim/SimulatedPlatform.h"
#include "plugin/PlatformChoice.h"
#include "plugin/SnmpdLoopDriver.h"

namespace Plugin {

// The plug-in inside snmpd: brings the platform up once snmpd has read its
// configuration, then calls every MIB unit's registration hook, and takes it all down
// again at unload. The snmpd.conf lines it adds are handled here too.
class PluginHost {
 public:
   static PluginHost& instance();

   // From init_bridgesnmp: installs the log sink and the snmpd.conf lines, and starts
   // at once if snmpd has already read its configuration (a module loaded at run time),
   // otherwise when it has.
   void load();
   // From deinit_bridgesnmp.
   void unload();

   bool started() const { return started_; }
   // What is served, as chosen in the configuration ("bridgesnmpPlatform").
   PlatformKind platformKind() const { return platformChoice_.kind; }

 private:
   PluginHost() = default;
   void start();
   static int onConfigRead(int major, int minor, void* serverArg, void* clientArg);
   static void onTraceLine(const char* token, char* line);
   static void onPlatformLine(const char* token, char* line);

   bool loaded_ = false;
   bool started_ = false;
   std::shared_ptr<Kel::TraceSink> previousSink_;
   std::unique_ptr<SnmpdLoopDriver> driver_;
   // From snmpd.conf: the simulated switch's topology file and control socket, and the
   // system name that entity paths print as "/<sysname>/".
   Sim::PlatformOptions platformOptions_;
   std::string systemName_;
   PlatformChoice platformChoice_;
   // One of the two, as chosen.
   std::unique_ptr<Sim::SimulatedPlatform> platform_;
   std::unique_ptr<Linux::LinuxPlatform> linuxBridge_;
   BridgeSnmp::QBridgeMib::Ptr mib_;
   BridgeSnmpAgent::Agent::Ptr agent_;
};

}  // namespace Plugin
