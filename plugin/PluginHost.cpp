#include "plugin/PluginHost.h"

#include <exception>
#include <tuple>

#include "platform/kel/ActivityManager.h"
#include "platform/snmputil/HandlerRegistration.h"
#include "platform/statedb/StateDb.h"
#include "plugin/SnmpdTraceSink.h"
#include "plugin/StatusReport.h"
#include "plugin/UptimeEpoch.h"
#include "snmp/IfMib.h"
#include "snmp/NetSnmp.h"

namespace Plugin {
namespace {

Kel::TraceHandle snmpTrace("Snmp");

constexpr const char* traceToken = "bridgesnmpTrace";
constexpr const char* topologyToken = "bridgesnmpTopology";
constexpr const char* controlSocketToken = "bridgesnmpControlSocket";
constexpr const char* systemNameToken = "bridgesnmpSystemName";
constexpr const char* platformToken = "bridgesnmpPlatform";
constexpr const char* cachePath = "snmp/swix/qbridgemib";

std::string trimmed(const char* line) {
   std::string text = line ? line : "";
   const auto first = text.find_first_not_of(" \t");
   const auto last = text.find_last_not_of(" \t\r\n");
   return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
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
   alignUptimeEpoch();
   previousSink_ = Kel::traceSink();
   Kel::traceSinkIs(std::make_shared<SnmpdTraceSink>());
   snmpd_register_config_handler(traceToken, &PluginHost::onTraceLine, nullptr,
                                 "Facility/level[,Facility/level...]  (\"*\" for all)");
   snmpd_register_config_handler(topologyToken, &PluginHost::onPlatformLine, nullptr,
                                 "topology-file.yaml");
   snmpd_register_config_handler(controlSocketToken, &PluginHost::onPlatformLine, nullptr,
                                 "/path/to/control.sock");
   snmpd_register_config_handler(systemNameToken, &PluginHost::onPlatformLine, nullptr, "name");
   snmpd_register_config_handler(platformToken, &PluginHost::onPlatformLine, nullptr,
                                 "simulated | linux <bridge>");
   if (netsnmp_ds_get_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_HAVE_READ_CONFIG)) {
      start();
   } else {
      snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG,
                             &PluginHost::onConfigRead, this);
   }
}

void PluginHost::start() {
   if (started_) {
      return;  // a reconfiguration (SIGHUP) reads the configuration again
   }
   started_ = true;
   KEL_TRACE(snmpTrace, 1, "bridgesnmp starting");
   driver_ = std::make_unique<SnmpdLoopDriver>(Kel::ActivityManager::instance());
   if (!systemName_.empty()) {
      SnmpUtil::sysnameIs(systemName_);
   }
   Kel::ActivityManager& manager = Kel::ActivityManager::instance();
   // The entities the agent reads and the SETs write, from the chosen platform.
   Bridging::Config::Ptr config;
   Bridging::Input::Config::Ptr input;
   Bridging::Status::Ptr status;
   Bridging::VlanStatusDir::Ptr vlanStatusDir;
   Interface::EthIntfStatusDir::Ptr intfStatusDir;
   Bridging::ReaderFdbStatusSm::Ptr readerShim;
   if (platformChoice_.kind == PlatformKind::linuxBridge) {
      linuxBridge_ = std::make_unique<Linux::LinuxPlatform>(manager, SnmpUtil::stateRoot(),
                                                            platformChoice_.bridge);
      const Bridging::PlatformEntities& e = linuxBridge_->entities();
      std::tie(config, input, status, vlanStatusDir, intfStatusDir, readerShim) =
          std::tie(e.config, e.input, e.status, e.vlanStatusDir, e.intfStatusDir, e.reader);
   } else {
      platform_ = std::make_unique<Sim::SimulatedPlatform>(manager, SnmpUtil::stateRoot(),
                                                           platformOptions_);
      const Sim::Switch& sw = platform_->sw();
      std::tie(config, input, status, vlanStatusDir, intfStatusDir, readerShim) =
          std::make_tuple(sw.config(), sw.inputConfig(), sw.status(), sw.vlanStatusDir(),
                          sw.intfStatusDir(), sw.readerShim());
   }
   KEL_TRACE(snmpTrace, 1, "platform: " << platformChoiceText(platformChoice_));

   // The cache the handlers serve from, and the agent that keeps it: inputs first, the
   // cache last (that builds the state machines).
   mib_ = BridgeSnmp::qBridgeMibFactory("qbridgemib");
   mib_->inputConfigIs(input);
   SnmpUtil::stateRoot().mount(cachePath, mib_);
   agent_ = BridgeSnmpAgent::agentFactory("bridgeSnmpAgent");
   agent_->kelFwkActivityIs(manager.activityIs("bridgeSnmp"));
   agent_->configIs(config);
   agent_->statusIs(status);
   agent_->vlanStatusDirIs(vlanStatusDir);
   agent_->intfStatusDirIs(intfStatusDir);
   agent_->readerShimIs(readerShim);
   agent_->mibIs(mib_);
   std::size_t hooks = Snmp::AutoRegistree::callAll();
   if (platform_) {
      platform_->sw().statusReporterIs(
          [this] { return statusReport(*mib_, *agent_) + driver_->statusLine(); });
      // The simulated switch's ports exist nowhere else, so their IF-MIB rows are ours to
      // serve; a Linux bridge's ports are in the host's own IF-MIB already.
      hooks += Snmp::registerInterfaceTables() ? 1 : 0;
   }
   KEL_TRACE(snmpTrace, 1, "bridgesnmp started; " << hooks << " MIB units registered");
}

void PluginHost::unload() {
   if (!loaded_) {
      return;
   }
   snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG,
                            &PluginHost::onConfigRead, this, 1);
   snmpd_unregister_config_handler(traceToken);
   snmpd_unregister_config_handler(topologyToken);
   snmpd_unregister_config_handler(controlSocketToken);
   snmpd_unregister_config_handler(systemNameToken);
   snmpd_unregister_config_handler(platformToken);
   if (platform_) {
      platform_->sw().statusReporterIs(nullptr);
   }
   if (linuxBridge_ && mib_ && agent_) {
      // No bridgectl reaches a Linux bridge's agent: its health goes to the log instead.
      KEL_TRACE(snmpTrace, 1,
                linuxBridge_->summary() << "\n"
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
   linuxBridge_.reset();
   driver_.reset();
   KEL_TRACE(snmpTrace, 1, "bridgesnmp unloaded");
   Kel::traceSinkIs(previousSink_);
   previousSink_.reset();
   loaded_ = false;
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

void PluginHost::onPlatformLine(const char* token, char* line) {
   PluginHost& host = instance();
   const std::string value = trimmed(line);
   if (value.empty()) {
      config_perror((std::string(token) + " needs a value").c_str());
      return;
   }
   if (host.started_) {
      config_perror((std::string(token) + " takes effect at the next start of snmpd").c_str());
      return;
   }
   const std::string name = token;
   if (name == platformToken) {
      std::string error;
      if (const auto choice = parsePlatformChoice(value, error)) {
         host.platformChoice_ = *choice;
      } else {
         config_perror((std::string(token) + ": " + error).c_str());
      }
   } else if (name == topologyToken) {
      host.platformOptions_.topologyPath = value;
   } else if (name == controlSocketToken) {
      host.platformOptions_.controlSocketPath = value;
   } else {
      host.systemName_ = value;
   }
}

}  // namespace Plugin
