#include "plugin/PluginHost.h"

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <exception>
#include <optional>

#include "platform/kel/ActivityManager.h"
#include "platform/snmputil/HandlerRegistration.h"
#include "platform/statedb/StateDb.h"
#include "plugin/SnmpdTraceSink.h"
#include "plugin/StatusReport.h"
#include "plugin/UptimeEpoch.h"
#include "snmp/IfMib.h"
#include "snmp/NetSnmp.h"

// snmpd's "still running" flag: cleared when it is stopping, so that an unload then is for
// good; a reconfiguration unloads with it set.
extern "C" int netsnmp_running;

namespace Plugin {
namespace {

Kel::TraceHandle snmpTrace("Snmp");

constexpr const char* traceToken = "bridgesnmpTrace";
constexpr const char* cachePath = "snmp/swix/qbridgemib";

// The lines that take effect when the platform starts.
struct StartLine {
   const char* token;
   std::string PluginHost::StartLines::*value;
   const char* help;
};
constexpr std::array<StartLine, 4> startLines = {{
    {"bridgesnmpPlatform", &PluginHost::StartLines::platform, "simulated | linux <bridge>"},
    {"bridgesnmpTopology", &PluginHost::StartLines::topology, "topology-file.yaml"},
    {"bridgesnmpControlSocket", &PluginHost::StartLines::controlSocket, "/path/to/control.sock"},
    {"bridgesnmpSystemName", &PluginHost::StartLines::systemName, "name"},
}};

std::string trimmed(const char* line) {
   std::string text = line ? line : "";
   const auto first = text.find_first_not_of(" \t");
   const auto last = text.find_last_not_of(" \t\r\n");
   return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

// The user and group snmpd switches to after start-up (-u, -g), who must own what it keeps
// using after that; nothing when it stays as it is.
std::optional<Platform::ProcessOwner> processOwner() {
   const int uid = netsnmp_ds_get_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_USERID);
   const int gid = netsnmp_ds_get_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_GROUPID);
   if (uid <= 0 || static_cast<uid_t>(uid) == ::geteuid()) {
      return std::nullopt;
   }
   return Platform::ProcessOwner{static_cast<uid_t>(uid), static_cast<gid_t>(gid > 0 ? gid : -1)};
}

// The running switch outlives a reconfiguration's unload (dlclose) and load: the library must
// stay mapped, whatever else holds it.
void keepMapped() {
   Dl_info self{};
   if (::dladdr(reinterpret_cast<void*>(&keepMapped), &self) != 0 && self.dli_fname) {
      ::dlopen(self.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
   }
}

// Whether a module of snmpd's own (or another) serves ifTable: a registration that starts
// at or under it (snmpd fills the gaps between registrations with others that answer
// nothing).
bool hostServesIfTable() {
   static const oid ifTable[] = {1, 3, 6, 1, 2, 1, 2, 2};
   static const oid ifEntry[] = {1, 3, 6, 1, 2, 1, 2, 2, 1};
   const netsnmp_subtree* found = netsnmp_subtree_find(ifEntry, OID_LENGTH(ifEntry), nullptr, "");
   return found && netsnmp_oid_is_subtree(ifTable, OID_LENGTH(ifTable), found->start_a,
                                          found->start_len) == 0;
}

// A line Debian's snmpd keeps in its log (-LOw: warnings and worse).
void logWarning(const std::string& text) {
   snmp_log(LOG_WARNING, "bridgesnmp: %s\n", text.c_str());
}

}  // namespace

PluginHost& PluginHost::instance() {
   // Never destroyed: snmpd's deinit unloads it. A daemonizing snmpd forks after loading us
   // and its parent leaves through exit(); destroying the host there would take the control
   // socket's file away from the child that goes on serving it.
   static PluginHost* const host = new PluginHost();
   return *host;
}

void PluginHost::load() {
   if (loaded_) {
      return;
   }
   loaded_ = true;
   if (takeDownAlarm_ != 0) {
      snmp_alarm_unregister(takeDownAlarm_);
      takeDownAlarm_ = 0;
   }
   if (!started_) {
      keepMapped();
      alignUptimeEpoch();
      previousSink_ = Kel::traceSink();
      Kel::traceSinkIs(std::make_shared<SnmpdTraceSink>());
   }
   lines_ = {};
   snmpd_register_config_handler(traceToken, &PluginHost::onTraceLine, nullptr,
                                 "Facility/level[,Facility/level...]  (\"*\" for all)");
   for (const StartLine& line : startLines) {
      snmpd_register_config_handler(line.token, &PluginHost::onStartLine, nullptr, line.help);
   }
   // A reconfiguration is reading the configuration again: what it sets is known only once
   // it has read it all.
   if (!started_ &&
       netsnmp_ds_get_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_HAVE_READ_CONFIG)) {
      start();
   } else {
      snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG,
                             &PluginHost::onConfigRead, this);
   }
}

void PluginHost::start() {
   if (started_) {
      reconfigured();
      return;
   }
   started_ = true;
   running_ = reported_ = lines_;
   std::string error;
   platformChoice_ = {};
   if (!running_.platform.empty()) {
      platformChoice_ =
          Platform::parsePlatformChoice(running_.platform, error).value_or(platformChoice_);
   }
   KEL_TRACE(snmpTrace, 1, "bridgesnmp starting");
   driver_ = std::make_unique<SnmpdLoopDriver>(Kel::ActivityManager::instance());
   if (!running_.systemName.empty()) {
      SnmpUtil::sysnameIs(running_.systemName);
   }
   Kel::ActivityManager& manager = Kel::ActivityManager::instance();
   platform_ = Platform::makeBackend(
       platformChoice_, manager, SnmpUtil::stateRoot(),
       Platform::StartOptions{running_.topology, running_.controlSocket, processOwner()});
   const std::string served = platform_->summary();
   if (const std::string warning = platform_->startWarning(); !warning.empty()) {
      logWarning(warning);
   }
   KEL_TRACE(snmpTrace, 1, "platform: " << Platform::platformChoiceText(platformChoice_));

   // The cache the handlers serve from, and the agent that keeps it: inputs first, the
   // cache last (that builds the state machines).
   const Bridging::PlatformEntities& inputs = platform_->entities();
   mib_ = BridgeSnmp::qBridgeMibFactory("qbridgemib");
   mib_->inputConfigIs(inputs.input);
   SnmpUtil::stateRoot().mount(cachePath, mib_);
   agent_ = BridgeSnmpAgent::agentFactory("bridgeSnmpAgent");
   agent_->kelFwkActivityIs(manager.activityIs("bridgeSnmp"));
   agent_->configIs(inputs.config);
   agent_->statusIs(inputs.status);
   agent_->vlanStatusDirIs(inputs.vlanStatusDir);
   agent_->intfStatusDirIs(inputs.intfStatusDir);
   agent_->readerShimIs(inputs.reader);
   agent_->mibIs(mib_);
   std::size_t hooks = Snmp::AutoRegistree::callAll();
   platform_->statusReporterIs(
       [this] { return statusReport(*mib_, *agent_) + driver_->statusLine(); });
   // Ports that exist nowhere but in the backend have their IF-MIB rows served here. Where
   // snmpd's own IF-MIB serves the host's interfaces, numbering ours among them would file the
   // host's addresses (IP-MIB) under switch ports: the host's stay.
   if (platform_->servesInterfaceTables()) {
      if (hostServesIfTable()) {
         logWarning(
             "snmpd serves the host's ifTable: the switch's ports are left out of IF-MIB "
             "(exclude ifTable,ifXTable,interfaces with snmpd's -I to serve them)");
      } else {
         hooks += Snmp::registerInterfaceTables() ? 1 : 0;
      }
   }
   KEL_TRACE(snmpTrace, 1, "bridgesnmp started; " << hooks << " MIB units registered");
   // A subagent serves only once a master agent takes it (AgentxMain says when).
   const bool subagent = netsnmp_ds_get_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE);
   logWarning((subagent ? "loaded, for the master agent: " : "serving ") + served);
}

void PluginHost::reconfigured() {
   for (const StartLine& line : startLines) {
      const std::string& now = lines_.*line.value;
      if (now != running_.*line.value && now != reported_.*line.value) {
         logWarning(std::string(line.token) + " changed; it takes effect when snmpd restarts");
      }
   }
   reported_ = lines_;
   logWarning("reconfigured; the running switch is kept");
}

void PluginHost::unload() {
   if (!loaded_) {
      return;
   }
   loaded_ = false;
   snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG,
                            &PluginHost::onConfigRead, this, 1);
   snmpd_unregister_config_handler(traceToken);
   for (const StartLine& line : startLines) {
      snmpd_unregister_config_handler(line.token);
   }
   if (netsnmp_running && started_) {
      // A reconfiguration loads the module again before snmpd's loop goes on; an unload
      // that no load follows takes everything down on the loop's next pass.
      takeDownAlarm_ = snmp_alarm_register(0, 0, &PluginHost::onUnloadedForGood, this);
      return;
   }
   takeDown();
}

void PluginHost::onUnloadedForGood(unsigned int, void* clientArg) {
   auto* host = static_cast<PluginHost*>(clientArg);
   host->takeDownAlarm_ = 0;
   try {
      host->takeDown();
   } catch (const std::exception& e) {
      KEL_TRACE(snmpTrace, 0, "bridgesnmp unload failed: " << e.what());
   }
}

void PluginHost::takeDown() {
   if (platform_) {
      platform_->statusReporterIs(nullptr);
   }
   if (platform_ && !platform_->answersStatus() && mib_ && agent_) {
      // No bridgectl reaches this agent: its health goes to the log instead.
      KEL_TRACE(snmpTrace, 1,
                platform_->summary() << "\n"
                                     << statusReport(*mib_, *agent_)
                                     << (driver_ ? driver_->statusLine() : std::string()));
   }
   if (agent_) {
      agent_->doShutdown();
      agent_ = nullptr;
   }
   if (mib_) {
      SnmpUtil::stateRoot().unmount(cachePath);
      mib_ = nullptr;
   }
   platform_.reset();
   driver_.reset();
   KEL_TRACE(snmpTrace, 1, "bridgesnmp unloaded");
   Kel::traceSinkIs(previousSink_);
   previousSink_.reset();
   started_ = false;
}

int PluginHost::onConfigRead(int, int, void*, void* clientArg) {
   try {
      static_cast<PluginHost*>(clientArg)->start();
   } catch (const std::exception& e) {
      KEL_TRACE(snmpTrace, 0, "bridgesnmp start-up failed: " << e.what());
   }
   return SNMPERR_SUCCESS;
}

void PluginHost::onTraceLine(const char*, char* line) {
   std::string error;
   if (!Kel::setTraceLevels(line ? line : "", &error)) {
      config_perror(error.c_str());
   }
}

void PluginHost::onStartLine(const char* token, char* line) {
   const std::string value = trimmed(line);
   if (value.empty()) {
      config_perror((std::string(token) + " needs a value").c_str());
      return;
   }
   const std::string name = token;
   for (const StartLine& start : startLines) {
      if (name != start.token) {
         continue;
      }
      std::string error;
      if (start.value == &StartLines::platform && !Platform::parsePlatformChoice(value, error)) {
         config_perror((name + ": " + error).c_str());
         return;
      }
      instance().lines_.*start.value = value;
   }
}

}  // namespace Plugin
