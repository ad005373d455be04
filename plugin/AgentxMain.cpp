// bridgesnmp-agentx: the plug-in's MIB units and platform in a process of their own, an AgentX
// subagent (RFC 2741) of a master agent elsewhere ("master agentx" in its snmpd.conf). It reads
// the plug-in's configuration lines from bridgesnmp-agentx.conf (net-snmp's configuration
// path, or the file given with -c) and reconnects whenever the master comes back.

#include <csignal>
#include <exception>
#include <string>

#include <CLI/CLI.hpp>

#include "plugin/PluginHost.h"
#include "plugin/UptimeEpoch.h"
#include "snmp/NetSnmp.h"
// After the agent headers, which it needs.
#include <net-snmp/agent/agent_callbacks.h>

// net-snmp's subagent session with its master, null while there is none (exported by its
// agent library, declared in no installed header).
extern "C" netsnmp_session* main_session;

namespace {

constexpr const char* appName = "bridgesnmp-agentx";

volatile std::sig_atomic_t stopRequested = 0;
// Whether init_snmp is done: the units' registrations went to the master with it.
bool started = false;

void requestStop(int) {
   stopRequested = 1;
}

// A manager compares the TimeTicks we serve with the master's sysUpTime, so they count from
// the master's start, learned afresh each time the session with a master opens (a master
// that restarted has started anew). net-snmp hands the new session as the server argument.
int onMasterSessionOpen(int, int, void* session, void*) {
   const Plugin::MasterUptimeFit fit = Plugin::learnMasterUptime(session);
   if (fit.pings == 0) {
      snmp_log(LOG_WARNING, "%s: the master answered no ping; up-times follow its last reply\n",
               appName);
   } else {
      snmp_log(LOG_INFO, "%s: the master's sysUpTime matched to within %.2f ms (%zu pings)\n",
               appName, fit.width * 1e3, fit.pings);
   }
   // At start the units register after this, within init_snmp, which says so itself.
   if (started) {
      snmp_log(LOG_INFO, "%s: serving through the master agent\n", appName);
   }
   return SNMPERR_SUCCESS;
}

// The master's AgentX socket as configured, for the log.
std::string masterSocket() {
   const char* socket = netsnmp_ds_get_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET);
   return socket ? socket : "/var/agentx/master";
}

}  // namespace

int main(int argc, char** argv) {
   CLI::App app{"The bridgesnmp MIB units as an AgentX subagent of a master snmpd."};
   std::string master;
   std::string configFile;
   int pingSeconds = 5;
   bool logToStderr = false;
   app.add_option("-x", master,
                  "the master's AgentX socket (default: net-snmp's, "
                  "/var/agentx/master)");
   app.add_option("-c", configFile, "a configuration file read after bridgesnmp-agentx.conf");
   app.add_option("--ping", pingSeconds,
                  "seconds between pings of the master; a lost master is reconnected as often")
       ->check(CLI::Range(1, 3600));
   app.add_flag("-L", logToStderr, "log to standard error (default: syslog)");
   app.set_version_flag("--version", std::string(appName) + " " + BRIDGESNMP_VERSION);
   CLI11_PARSE(app, argc, argv);

   if (logToStderr) {
      snmp_enable_stderrlog();
   } else {
      snmp_enable_syslog_ident(appName, LOG_DAEMON);
   }
   netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
   if (!master.empty()) {
      netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, master.c_str());
   }
   // Nothing of net-snmp's persistent state (engine boots, USM users) concerns a subagent:
   // none is read or written, so the subagent leaves no file behind under /var/lib/snmp.
   netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, 1);
   netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE, 1);
   if (!configFile.empty()) {
      netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG,
                            configFile.c_str());
   }
   // Our configuration lines belong to this application's file, so they are registered
   // after init_agent names it and before init_snmp reads it.
   init_agent(appName);
   try {
      Plugin::PluginHost::instance().load();
   } catch (const std::exception& e) {
      snmp_log(LOG_ERR, "%s: loading failed: %s\n", appName, e.what());
      return 1;
   }
   // As a configuration line, since reading the configuration sets the interval: the
   // master is pinged, and reconnected after it went, this often.
   const std::string ping = "agentxPingInterval " + std::to_string(pingSeconds);
   netsnmp_config_remember(const_cast<char*>(ping.c_str()));
   snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START,
                          &onMasterSessionOpen, nullptr);
   init_snmp(appName);
   if (!Plugin::PluginHost::instance().started()) {
      snmp_log(LOG_ERR, "%s: the MIB units did not start\n", appName);
      return 1;
   }
   std::signal(SIGTERM, requestStop);
   std::signal(SIGINT, requestStop);
   // Serving only with a session with the master; without one, net-snmp tries again every
   // ping interval, and onMasterSessionOpen says when it serves.
   started = true;
   if (main_session) {
      snmp_log(LOG_INFO, "%s: serving through the master agent\n", appName);
   } else {
      snmp_log(LOG_WARNING, "%s: waiting for the master agent at %s\n", appName,
               masterSocket().c_str());
   }
   while (!stopRequested) {
      agent_check_and_process(1);
   }
   try {
      Plugin::PluginHost::instance().unload();
   } catch (const std::exception& e) {
      snmp_log(LOG_ERR, "%s: unloading failed: %s\n", appName, e.what());
   }
   snmp_shutdown(appName);
   return 0;
}
