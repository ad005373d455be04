// A burst of 100k learned hosts (BRIDGESNMP_BENCH_HOSTS) inside a running snmpd with the
// plug-in: how long GETs of dot1dBaseType wait while the switch learns and the agent works
// the burst off, what the plug-in's memory grows by per learned host, and snmpd's peak RSS.

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "BenchHosts.h"
#include "SnmpdAgent.h"

namespace {

const std::size_t hostCount = benchHosts();
constexpr std::size_t labHosts = 261;  // learned by the lab topology at start-up

// One command to the simulated switch's control socket; returns the reply.
std::string control(const std::string& path, const std::string& line) {
   const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
   sockaddr_un addr{};
   addr.sun_family = AF_UNIX;
   std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
   if (fd < 0 || ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
      if (fd >= 0) {
         ::close(fd);
      }
      throw std::runtime_error("cannot connect to " + path);
   }
   const std::string request = line + "\n";
   if (::write(fd, request.data(), request.size()) != static_cast<ssize_t>(request.size())) {
      ::close(fd);
      throw std::runtime_error("cannot send to " + path);
   }
   std::string reply;
   char buf[4096];
   ssize_t n;
   while ((n = ::read(fd, buf, sizeof buf)) > 0) {
      reply.append(buf, static_cast<std::size_t>(n));
   }
   ::close(fd);
   return reply;
}

// A field of /proc/<pid>/status in bytes ("VmRSS", "VmHWM").
double procStatusBytes(pid_t pid, const std::string& field) {
   std::ifstream status("/proc/" + std::to_string(pid) + "/status");
   std::string key;
   while (status >> key) {
      if (key == field + ":") {
         double kb = 0;
         status >> kb;
         return kb * 1024.0;
      }
      std::getline(status, key);
   }
   return 0;
}

// snmpd's page faults so far: {minor, major} from /proc/<pid>/stat. A major fault reads a
// page back from disk, and can hold the one thread for milliseconds.
std::pair<double, double> pageFaults(pid_t pid) {
   std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
   std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
   // Fields after the command name, which is in parentheses and may hold blanks.
   std::istringstream fields(text.substr(text.rfind(')') + 2));
   std::string field;
   double minor = 0;
   double major = 0;
   for (int i = 3; i <= 12 && fields >> field; ++i) {
      if (i == 10) {
         minor = std::stod(field);
      } else if (i == 12) {
         major = std::stod(field);
      }
   }
   return {minor, major};
}

// The plug-in's status line about snmpd's loop:
// "loop: <n> passes, longest <ms> ms (<work>), longest on the CPU <ms> ms (<work>)".
struct LoopStatus {
   std::string line;
   double longestMs = -1;  // -1 where missing
   double longestOnCpuMs = -1;
};

LoopStatus loopStatus(const std::string& socket) {
   const std::string status = control(socket, "status");
   const auto line = status.find("loop: ");
   const auto after = [&](const std::string& marker) {
      const auto at = line == std::string::npos ? line : status.find(marker, line);
      return at == std::string::npos ? -1.0 : std::stod(status.substr(at + marker.size()));
   };
   const auto end = line == std::string::npos ? line : status.find('\n', line);
   return {line == std::string::npos ? "" : status.substr(line, end - line), after(", longest "),
           after(", longest on the CPU ")};
}

std::size_t learnedHosts(const std::string& socket) {
   // "<n> ports, <n> VLANs, <n> learned hosts, ..."
   const std::string summary = control(socket, "show summary");
   const auto at = summary.find(" learned hosts");
   const auto start = summary.rfind(' ', at - 1);
   return at == std::string::npos ? 0 : std::stoul(summary.substr(start + 1, at - start - 1));
}

void BM_SnmpdBurstGetLatency(benchmark::State& state) {
   double worstMs = 0;
   std::size_t slowGets = 0;
   LoopStatus loop;
   std::pair<double, double> faults{0, 0};
   double bytesPerHost = 0;
   double peakBytes = 0;
   std::size_t gets = 0;
   for (auto _ : state) {
      Harness::SnmpdAgent agent;
      const std::string socket = (agent.directory() / "control.sock").string();
      agent.options().extraConfig.push_back("bridgesnmpControlSocket " + socket);
      agent.start();
      const double rssBefore = procStatusBytes(agent.pid(), "VmRSS");
      const auto faultsBefore = pageFaults(agent.pid());

      // Ageing off: a large burst takes longer to learn than the lab's ageing time, and its
      // first hosts must not age out before its last are learned.
      control(socket, "aging 0");
      const std::string reply = control(socket, "burst " + std::to_string(hostCount) + " 8 paced");
      if (reply.rfind("ok", 0) != 0) {
         state.SkipWithError(("burst refused: " + reply).c_str());
         break;
      }
      // GETs back to back while the switch learns, then one more second for the agent to
      // work the backlog off.
      using Clock = std::chrono::steady_clock;
      Clock::time_point learnedAt{};
      bool learned = false;
      BurstLearned burstLearned(labHosts, hostCount);
      while (!learned || Clock::now() - learnedAt < std::chrono::seconds(1)) {
         const auto start = Clock::now();
         const auto result = agent.get("1.3.6.1.2.1.17.1.3.0");
         const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
         if (result.integer != 2) {
            state.SkipWithError("dot1dBaseType did not answer 2");
         }
         worstMs = std::max(worstMs, ms);
         slowGets += ms > 10.0 ? 1 : 0;
         ++gets;
         if (!learned && gets % 20 == 0 && burstLearned.seen(learnedHosts(socket))) {
            learned = true;
            learnedAt = Clock::now();
         }
      }
      loop = loopStatus(socket);
      const auto faultsAfter = pageFaults(agent.pid());
      faults = {faultsAfter.first - faultsBefore.first, faultsAfter.second - faultsBefore.second};
      peakBytes = procStatusBytes(agent.pid(), "VmHWM");
      bytesPerHost = (peakBytes - rssBefore) / static_cast<double>(hostCount);
      agent.stop();
   }
   state.counters["worst_get_ms"] = worstMs;
   state.counters["gets"] = static_cast<double>(gets);
   // GETs that waited more than 10 ms, and snmpd's page faults during the burst.
   state.counters["gets_over_10ms"] = static_cast<double>(slowGets);
   state.counters["longest_loop_pass_ms"] = loop.longestMs;
   state.counters["longest_loop_pass_cpu_ms"] = loop.longestOnCpuMs;
   // Which work made the longest passes.
   state.SetLabel(loop.line);
   state.counters["minor_faults"] = faults.first;
   state.counters["major_faults"] = faults.second;
   state.counters["rss_bytes_per_host"] = bytesPerHost;
   state.counters["peak_rss_mb"] = peakBytes / (1024.0 * 1024.0);
   state.counters["hosts"] = static_cast<double>(hostCount);
}

BENCHMARK(BM_SnmpdBurstGetLatency)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
