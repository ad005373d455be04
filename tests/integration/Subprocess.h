#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Harness {

// A process environment, name to value. Starts as a copy of this process's own.
class Environment {
 public:
   static Environment inherited();

   void set(const std::string& name, const std::string& value) { vars_[name] = value; }
   void unset(const std::string& name) { vars_.erase(name); }
   // "NAME=value" strings, in the form execve() takes.
   std::vector<std::string> entries() const;

 private:
   std::map<std::string, std::string> vars_;
};

// How a process ended, as waitpid() reported it.
struct ExitStatus {
   int raw = 0;

   bool exited() const;
   int exitCode() const;  // only when exited()
   bool signalled() const;
   int signal() const;  // only when signalled()
   std::string describe() const;
};

// A child process started by fork and exec, with stdin from /dev/null and stdout and stderr
// appended to a file. It asks the kernel to send it SIGTERM should this process die first, so
// a crashed test leaves no agent behind. Destroying a running ChildProcess stops it.
class ChildProcess {
 public:
   ChildProcess() = default;
   ChildProcess(const std::vector<std::string>& argv, const Environment& env,
                const std::filesystem::path& outputFile);
   ~ChildProcess();
   ChildProcess(ChildProcess&& other) noexcept;
   ChildProcess& operator=(ChildProcess&& other) noexcept;
   ChildProcess(const ChildProcess&) = delete;
   ChildProcess& operator=(const ChildProcess&) = delete;

   pid_t pid() const { return pid_; }
   // True until the process has been seen to end (and reaped).
   bool running();
   // The exit status once the process has ended and been reaped.
   std::optional<ExitStatus> exitStatus() const { return status_; }
   // Waits up to `timeout` for the process to end; true if it has.
   bool waitFor(std::chrono::milliseconds timeout);
   // SIGTERM, up to `grace` for it to end, then SIGKILL. Does nothing if it already ended.
   ExitStatus stop(std::chrono::milliseconds grace = std::chrono::seconds(5));

 private:
   bool reap(bool block);

   pid_t pid_ = -1;
   std::optional<ExitStatus> status_;
};

// The outcome of a command run to completion.
struct CommandResult {
   ExitStatus status;
   std::string out;  // everything it wrote to stdout
   std::string err;  // everything it wrote to stderr
   bool timedOut = false;

   bool succeeded() const { return !timedOut && status.exited() && status.exitCode() == 0; }
};

// Runs argv[0] (looked up in PATH when it has no slash) with `env`, collecting its output.
// A command still running after `timeout` is killed and reported as timed out.
CommandResult runCommand(const std::vector<std::string>& argv, const Environment& env,
                         std::chrono::milliseconds timeout = std::chrono::seconds(30));

}  // namespace Harness
