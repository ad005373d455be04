#include "SnmpdAgent.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace Harness {
namespace {

using Clock = std::chrono::steady_clock;

// Starts argv with `environment` added and stdout and stderr going to `out` and `err`. The
// child gets SIGTERM should the test process die first, so no snmpd outlives a crashed test.
pid_t spawn(const std::vector<std::string>& argv,
            const std::map<std::string, std::string>& environment, int out, int err) {
   std::vector<char*> args;
   for (const std::string& arg : argv) {
      args.push_back(const_cast<char*>(arg.c_str()));
   }
   args.push_back(nullptr);
   const pid_t pid = fork();
   if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      for (const auto& [name, value] : environment) {
         setenv(name.c_str(), value.c_str(), 1);
      }
      const int devNull = open("/dev/null", O_RDONLY);
      dup2(devNull, 0);
      dup2(out, 1);
      dup2(err, 2);
      execvp(args[0], args.data());
      _exit(127);
   }
   if (pid < 0) {
      throw std::runtime_error("fork failed");
   }
   return pid;
}

std::string readAll(std::FILE* file) {
   std::rewind(file);
   std::string text;
   for (int c; (c = std::fgetc(file)) != EOF;) {
      text += static_cast<char>(c);
   }
   return text;
}

// A UDP port on 127.0.0.1 that nothing was bound to a moment ago.
int freeUdpPort() {
   const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   sockaddr_in addr{};
   addr.sin_family = AF_INET;
   addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
   socklen_t len = sizeof addr;
   bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
   getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
   close(fd);
   return ntohs(addr.sin_port);
}

}  // namespace

bool ExitStatus::exited() const {
   return WIFEXITED(raw);
}

int ExitStatus::exitCode() const {
   return WEXITSTATUS(raw);
}

std::string ExitStatus::describe() const {
   return exited() ? "exited with " + std::to_string(exitCode())
                   : "killed by signal " + std::to_string(WTERMSIG(raw));
}

CommandResult runCommand(const std::vector<std::string>& argv,
                         const std::map<std::string, std::string>& environment) {
   std::FILE* out = std::tmpfile();
   std::FILE* err = std::tmpfile();
   const pid_t pid = spawn(argv, environment, fileno(out), fileno(err));
   CommandResult result;
   waitpid(pid, &result.status.raw, 0);
   result.out = readAll(out);
   result.err = readAll(err);
   std::fclose(out);
   std::fclose(err);
   return result;
}

SnmpdAgent::SnmpdAgent(SnmpdOptions options) : options_(std::move(options)) {
   std::string pattern = std::filesystem::temp_directory_path() / "bridgesnmp-snmpd-XXXXXX";
   if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("cannot make a directory for snmpd");
   }
   dir_ = pattern;
}

SnmpdAgent::~SnmpdAgent() {
   reader_.reset();
   writer_.reset();
   stop();
   if (!keep_) {
      std::error_code ignored;
      std::filesystem::remove_all(dir_, ignored);
   }
}

bool SnmpdAgent::launch() {
   port_ = freeUdpPort();
   // Read from a directory of its own, as snmpd reads /etc/snmp, so that a reload (SIGHUP)
   // reads it again; the persistent state's snmpd.conf is written beside it.
   std::filesystem::create_directories(dir_ / "conf");
   std::ofstream conf(dir_ / "conf" / "snmpd.conf");
   conf << "rocommunity public 127.0.0.1\nrwcommunity private 127.0.0.1\n";
   if (options_.plugin) {
      conf << "dlmod bridgesnmp " << BRIDGESNMP_PLUGIN_PATH << "\n";
   }
   for (const std::string& line : options_.extraConfig) {
      conf << line << "\n";
   }
   conf.close();
   std::map<std::string, std::string> environment = options_.extraEnvironment;
   environment["SNMPCONFPATH"] = (dir_ / "conf").string();
   environment["SNMP_PERSISTENT_DIR"] = dir_.string();
   environment["MIBS"] = "";  // loading MIB files only costs start-up time
   const int output = open((dir_ / "snmpd.out").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
   std::vector<std::string> argv = {BRIDGESNMP_SNMPD_PATH, "-f", "-Lf",
                                    (dir_ / "snmpd.log").string()};
   argv.insert(argv.end(), options_.extraArguments.begin(), options_.extraArguments.end());
   argv.push_back(address());
   pid_ = spawn(argv, environment, output, output);
   close(output);
   SnmpClient probe(address(), "public", 100, 0);
   const auto deadline = Clock::now() + options_.startTimeout;
   while (Clock::now() < deadline) {
      if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
         pid_ = -1;
         return false;
      }
      try {
         probe.get("1.3.6.1.2.1.1.3.0");
         return true;
      } catch (const std::runtime_error&) {
         // not answering yet
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
   }
   stop();
   return false;
}

void SnmpdAgent::start() {
   reader_.reset();
   writer_.reset();
   // Another process may take the port between our look and snmpd's bind: try again.
   for (int attempt = 0; attempt < 3; ++attempt) {
      if (launch()) {
         reader_ = client("public");
         writer_ = client("private");
         return;
      }
      if (log().find("Error opening specified endpoint") == std::string::npos) {
         break;
      }
   }
   keepDirectory();
   throw std::runtime_error("snmpd did not start; its directory " + dir_.string() +
                            " is kept. Log:\n" + log());
}

std::optional<ExitStatus> SnmpdAgent::stop() {
   if (pid_ <= 0) {
      return std::nullopt;
   }
   const ExitStatus status = stopProcess(pid_);
   pid_ = -1;
   return status;
}

pid_t startProcess(const std::vector<std::string>& argv,
                   const std::map<std::string, std::string>& environment,
                   const std::filesystem::path& output) {
   const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
   const pid_t pid = spawn(argv, environment, out, out);
   close(out);
   return pid;
}

ExitStatus stopProcess(pid_t pid) {
   ExitStatus status;
   kill(pid, SIGTERM);
   const auto deadline = Clock::now() + std::chrono::seconds(5);
   while (waitpid(pid, &status.raw, WNOHANG) == 0) {
      if (Clock::now() > deadline) {
         kill(pid, SIGKILL);
         waitpid(pid, &status.raw, 0);
         break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
   }
   return status;
}

bool processRunning(pid_t pid) {
   return waitpid(pid, nullptr, WNOHANG) == 0;
}

std::filesystem::path SnmpdAgent::writeFile(const std::string& name,
                                            const std::string& contents) const {
   std::ofstream(dir_ / name) << contents;
   return dir_ / name;
}

// The log, then what snmpd printed.
std::string SnmpdAgent::log() const {
   return readFile(dir_ / "snmpd.log") + readFile(dir_ / "snmpd.out");
}

std::string readFile(const std::filesystem::path& path) {
   std::ifstream in(path);
   return std::string(std::istreambuf_iterator<char>(in), {});
}

std::size_t occurrences(const std::string& text, const std::string& what) {
   std::size_t n = 0;
   for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
      ++n;
   }
   return n;
}

std::unique_ptr<SnmpClient> SnmpdAgent::client(const std::string& community) {
   return std::make_unique<SnmpClient>(address(), community);
}

}  // namespace Harness
