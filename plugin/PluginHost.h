#pragma once

#include <memory>
#include <string>

#include "agent/Agent.h"
#include "model/QBridgeMib.h"
#include "platform/backend/BackendFactory.h"
#include "platform/kel/Trace.h"
#include "plugin/SnmpdLoopDriver.h"

namespace Plugin {

// The plug-in inside snmpd: brings the platform up once snmpd has read its
// configuration, then calls every MIB unit's registration hook, and takes it all down
// again when snmpd exits. The snmpd.conf lines it adds are handled here too.
//
// A reconfiguration (SIGHUP, `systemctl reload snmpd`) unloads the module and loads it again
// within one pass of snmpd's loop: the running platform, the switch, the cache, the MIB
// registrations and the control socket are kept through it, snmpd's user may not be able to
// make them again (a root-only topology, a socket in a root-owned directory), and a manager
// must not see the switch start over. The lines that take effect only at start say so in
// the log, once, when they change.
class PluginHost {
 public:
   static PluginHost& instance();

   // From init_bridgesnmp: installs the log sink and the snmpd.conf lines, and starts
   // at once if snmpd has already read its configuration (a module loaded at run time),
   // otherwise when it has.
   void load();
   // From deinit_bridgesnmp: takes everything down at snmpd's exit, or when no load follows
   // within this pass of snmpd's loop (an unload through UCD-DLMOD-MIB).
   void unload();

   bool started() const { return started_; }

   // The lines that take effect only when the platform starts, as read.
   struct StartLines {
      std::string platform;
      std::string topology;
      std::string controlSocket;
      std::string systemName;
   };

 private:
   PluginHost() = default;
   void start();
   void reconfigured();
   void takeDown();
   static int onConfigRead(int major, int minor, void* serverArg, void* clientArg);
   static void onTraceLine(const char* token, char* line);
   static void onStartLine(const char* token, char* line);
   static void onUnloadedForGood(unsigned int alarm, void* clientArg);

   bool loaded_ = false;
   bool started_ = false;
   unsigned int takeDownAlarm_ = 0;
   std::shared_ptr<Kel::TraceSink> previousSink_;
   std::unique_ptr<SnmpdLoopDriver> driver_;
   // As this configuration read sets them, as the platform started with them, and as last
   // reported changed.
   StartLines lines_;
   StartLines running_;
   StartLines reported_;
   // What is served, as chosen in the configuration ("bridgesnmpPlatform").
   Platform::PlatformChoice platformChoice_;
   std::unique_ptr<Platform::Backend> platform_;
   BridgeSnmp::QBridgeMib::Ptr mib_;
   BridgeSnmpAgent::Agent::Ptr agent_;
};

}  // namespace Plugin
