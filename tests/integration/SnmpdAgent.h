#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SnmpClient.h"

namespace Harness {

// How a process ended, as waitpid() reports it.
struct ExitStatus {
   int raw = 0;

   bool exited() const;
   int exitCode() const;  // only when exited()
   std::string describe() const;
};

// A command run to its end.
struct CommandResult {
   ExitStatus status;
   std::string out;
   std::string err;

   bool succeeded() const { return status.exited() && status.exitCode() == 0; }
};

// Runs argv[0] (looked up in PATH unless it has a slash) with this process's environment plus
// `environment`, and collects what it prints.
CommandResult runCommand(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& environment = {});

// Starts a process of the test's own (a subagent) with `environment` added and its output
// appended to `output`; it gets SIGTERM should the test process die first.
pid_t startProcess(const std::vector<std::string>& argv,
                   const std::map<std::string, std::string>& environment,
                   const std::filesystem::path& output);
// SIGTERM, then SIGKILL if the process lingers; how it ended.
ExitStatus stopProcess(pid_t pid);
// Whether the process is still running (not ended, or ended and not yet reaped by us).
bool processRunning(pid_t pid);

// A file's contents ("" when it cannot be read), and how often `what` occurs in a text.
std::string readFile(const std::filesystem::path& path);
std::size_t occurrences(const std::string& text, const std::string& what);

struct SnmpdOptions {
   // snmpd.conf lines after the plug-in's dlmod line.
   std::vector<std::string> extraConfig;
   // Set in snmpd's environment.
   std::map<std::string, std::string> extraEnvironment;
   // More of snmpd's options ("-u", "nobody").
   std::vector<std::string> extraArguments = {};
   // How long snmpd may take to answer its first request.
   std::chrono::seconds startTimeout{10};
   // Whether snmpd loads the plug-in; a master without it serves the MIB units only through
   // bridgesnmp-agentx.
   bool plugin = true;
};

// A private snmpd with the plug-in: its own directory (snmpd.conf, log, persistent state),
// serving SNMPv2c on 127.0.0.1 at a port of its own, communities "public" and "private". The
// destructor stops it and removes the directory unless keepDirectory() was called.
class SnmpdAgent {
 public:
   explicit SnmpdAgent(SnmpdOptions options = {});
   ~SnmpdAgent();
   SnmpdAgent(const SnmpdAgent&) = delete;
   SnmpdAgent& operator=(const SnmpdAgent&) = delete;

   // Changes take effect at the next start().
   SnmpdOptions& options() { return options_; }
   // Runs snmpd and waits until it answers. Throws std::runtime_error, with snmpd's log, if it
   // ends or stays silent for options().startTimeout.
   void start();
   // SIGTERM, then SIGKILL if snmpd lingers; how it ended, or nothing if it was not running.
   std::optional<ExitStatus> stop();

   std::string address() const { return "udp:127.0.0.1:" + std::to_string(port_); }
   const std::filesystem::path& directory() const { return dir_; }
   pid_t pid() const { return pid_; }
   // Writes a file into the agent's directory; its path.
   std::filesystem::path writeFile(const std::string& name, const std::string& contents) const;
   std::string log() const;
   void keepDirectory() { keep_ = true; }

   // Clients with the read community (reader), the write community (writer), or any.
   SnmpClient& reader() { return *reader_; }
   SnmpClient& writer() { return *writer_; }
   std::unique_ptr<SnmpClient> client(const std::string& community);

   // Reads with the read community, SET with the write community.
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

 private:
   bool launch();

   SnmpdOptions options_;
   std::filesystem::path dir_;
   int port_ = 0;
   pid_t pid_ = -1;
   bool keep_ = false;
   std::unique_ptr<SnmpClient> reader_;
   std::unique_ptr<SnmpClient> writer_;
};

}  // namespace Harness
