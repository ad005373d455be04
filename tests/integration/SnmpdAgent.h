#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "SnmpClient.h"
#include "Subprocess.h"

namespace Harness {

// The bridgesnmp.so this build made.
std::string defaultPluginPath();
// The snmpd found when the build was configured.
std::string defaultSnmpdPath();

struct SnmpdOptions {
   // Loaded with "dlmod bridgesnmp <path>"; empty for an snmpd without the plug-in.
   std::string pluginPath = defaultPluginPath();
   std::string snmpdPath = defaultSnmpdPath();
   // snmpd.conf lines after the dlmod line, e.g. "bridgesnmpTrace Snmp/2".
   std::vector<std::string> extraConfig;
   // Set in snmpd's environment, over the harness's own settings.
   std::map<std::string, std::string> extraEnvironment;
   std::string readCommunity = "public";
   std::string writeCommunity = "private";
   // How long snmpd may take to answer its first request.
   std::chrono::milliseconds startTimeout = std::chrono::seconds(10);
};

// snmpd failed to start or to answer; what() includes its log.
class StartError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// A private snmpd for one test (or one suite): its own directory with a generated snmpd.conf,
// log, pid file and persistent state, serving SNMPv2c on 127.0.0.1 at a port of its own.
// Constructing one prepares the directory; start() runs snmpd. The destructor stops snmpd and
// removes the directory unless keepDirectory() was called.
class SnmpdAgent {
 public:
   explicit SnmpdAgent(SnmpdOptions options = {});
   ~SnmpdAgent();
   SnmpdAgent(const SnmpdAgent&) = delete;
   SnmpdAgent& operator=(const SnmpdAgent&) = delete;

   // Changes take effect at the next start().
   SnmpdOptions& options() { return options_; }
   const SnmpdOptions& options() const { return options_; }

   // Writes snmpd.conf, runs snmpd and waits until it answers a GET of sysUpTime.0. Throws
   // StartError, with snmpd's log, if snmpd ends or stays silent for options().startTimeout.
   void start();
   // SIGTERM, then SIGKILL if snmpd has not ended within a few seconds. Returns how it ended,
   // or nothing if it was never started.
   std::optional<ExitStatus> stop();
   bool running();
   pid_t pid() const { return process_.pid(); }

   int port() const { return port_; }
   // "udp:127.0.0.1:<port>", as the client library and the command-line tools take it.
   std::string address() const;
   const std::filesystem::path& directory() const { return dir_; }
   std::filesystem::path configPath() const { return dir_ / "snmpd.conf"; }
   std::filesystem::path logPath() const { return dir_ / "snmpd.log"; }
   std::filesystem::path outputPath() const { return dir_ / "snmpd.out"; }
   std::filesystem::path pidPath() const { return dir_ / "snmpd.pid"; }
   // snmpd's log so far.
   std::string log() const;
   // The log, snmpd's own stdout/stderr and the configuration, for a failure report.
   std::string report() const;
   // Leave the directory behind when this object goes.
   void keepDirectory() { keep_ = true; }

   // Writes a file into the agent's directory (e.g. a script for a "pass" line) and returns
   // its path.
   std::filesystem::path writeFile(const std::string& name, const std::string& contents,
                                   bool executable = false) const;

   // Clients with the read community (reader) and the write community (writer).
   SnmpClient& reader();
   SnmpClient& writer();
   // A client with any community, e.g. to check what an unknown one gets.
   std::unique_ptr<SnmpClient> client(const std::string& community, ClientTiming timing = {});

   // Shorthands: reads with the read community, SET with the write community.
   GetResult get(const Oid& oid) { return reader().get(oid); }
   GetResult getNext(const Oid& oid) { return reader().getNext(oid); }
   Response getMany(const std::vector<Oid>& oids) { return reader().getMany(oids); }
   Response getBulk(const Oid& oid, int maxRepetitions) {
      return reader().getBulk(oid, maxRepetitions);
   }
   std::vector<Varbind> walk(const Oid& subtree) { return reader().walk(subtree); }
   std::vector<Varbind> bulkWalk(const Oid& subtree, int maxRepetitions = 10) {
      return reader().bulkWalk(subtree, maxRepetitions);
   }
   Response set(const std::vector<SetValue>& values) { return writer().set(values); }

   // Runs a net-snmp command-line tool (snmpget, snmpwalk, ...) with `args` exactly as given,
   // with no MIBs loaded and no user configuration read. Add address() to the arguments.
   CommandResult runTool(const std::string& tool, const std::vector<std::string>& args) const;

 private:
   void writeConfig() const;
   Environment snmpdEnvironment() const;
   bool launch(std::string& failure);

   SnmpdOptions options_;
   std::filesystem::path dir_;
   int port_ = 0;
   bool keep_ = false;
   ChildProcess process_;
   std::unique_ptr<SnmpClient> reader_;
   std::unique_ptr<SnmpClient> writer_;
};

}  // namespace Harness
