// The Linux bridge backend inside a running snmpd, against the kernel's own forwarding database
// at scale (BRIDGESNMP_BENCH_HOSTS addresses, 100k unless told), in a private network
// namespace (needs root):
//
// - the start-up dump: the kernel holds every address when snmpd starts; how fast they become
//   rows that snmpd serves, what snmpd's memory grows by per address, and how long a GET
//   waits meanwhile;
// - the resync after an overrun: snmpd stopped while more addresses come than its
//   notification socket holds; how fast the resync (a dump of them all) turns into served
//   rows once it runs on, and how long a GET waits meanwhile;
// - the floor: how long the kernel itself takes to hand the same dump to a reader that does
//   nothing with it.

#include <benchmark/benchmark.h>
#include <linux/neighbour.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BenchHosts.h"
#include "SnmpdAgent.h"

namespace {

using Clock = std::chrono::steady_clock;

const std::size_t addressCount = benchHosts();
// More notifications than snmpd's 32 MB socket holds while it is stopped.
constexpr std::size_t overrunCount = 100'000;
const Harness::Oid baseType = "1.3.6.1.2.1.17.1.3.0";
const Harness::Oid dot1qFdbPort = "1.3.6.1.2.1.17.7.1.2.2.1.2.1";  // FID 1
constexpr auto rowsTimeout = std::chrono::minutes(20);

void run(const std::vector<std::string>& argv) {
   const auto result = Harness::runCommand(argv);
   if (!result.succeeded()) {
      throw std::runtime_error(argv[0] + " failed: " + result.err);
   }
}

// A field of /proc/<pid>/status in bytes ("VmRSS", "VmHWM").
double procStatusBytes(pid_t pid, const std::string& field) {
   std::ifstream status("/proc/" + std::to_string(pid) + "/status");
   for (std::string key; status >> key;) {
      if (key == field + ":") {
         double kb = 0;
         status >> kb;
         return kb * 1024.0;
      }
   }
   return 0;
}

// snmpd's CPU seconds so far, in user mode (the plug-in's own work) and in the kernel (for a
// dump, mostly the kernel making its parts), from /proc/<pid>/stat.
struct CpuSeconds {
   double user = 0;
   double kernel = 0;
};

CpuSeconds cpuSeconds(pid_t pid) {
   std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
   std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
   // Fields after the command name, which is in parentheses and may hold blanks.
   std::istringstream fields(text.substr(text.rfind(')') + 2));
   std::string field;
   CpuSeconds cpu;
   const double tick = static_cast<double>(::sysconf(_SC_CLK_TCK));
   for (int i = 3; i <= 15 && fields >> field; ++i) {
      if (i == 14) {
         cpu.user = std::stod(field) / tick;
      } else if (i == 15) {
         cpu.kernel = std::stod(field) / tick;
      }
   }
   return cpu;
}

// Address i of the bench, 02:00:00:00:00:00 and up; the greatest index is the greatest key.
std::string mac(std::size_t i) {
   char text[18];
   std::snprintf(text, sizeof text, "02:00:%02zx:%02zx:%02zx:%02zx", (i >> 24) & 0xff,
                 (i >> 16) & 0xff, (i >> 8) & 0xff, i & 0xff);
   return text;
}

Harness::Oid rowOf(std::size_t i) {
   Harness::Oid oid = dot1qFdbPort;
   for (int shift : {40, 32, 24, 16, 8, 0}) {
      const std::size_t octet = shift == 40 ? 2 : shift == 32 ? 0 : (i >> shift) & 0xff;
      oid = oid.child(static_cast<std::uint32_t>(octet));
   }
   return oid;
}

// Dynamic entries [first, first + count) on p1, in one `bridge -batch`.
void addEntries(const Harness::SnmpdAgent& agent, std::size_t first, std::size_t count) {
   std::string batch;
   batch.reserve(count * 48);
   for (std::size_t i = first; i < first + count; ++i) {
      batch += "fdb add " + mac(i) + " dev p1 master dynamic\n";
   }
   run({"bridge", "-batch", agent.writeFile("fdb.batch", batch).string()});
}

// The kernel's whole forwarding-database dump read by a reader that only counts its entries:
// the seconds it took. The kernel makes each part of the dump while the reader asks for it.
double kernelDumpSeconds(std::size_t& entries) {
   const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
   if (fd < 0) {
      throw std::runtime_error("netlink socket");
   }
   struct {
      nlmsghdr header;
      ndmsg neigh;
   } request{};
   request.header = {sizeof request, RTM_GETNEIGH, NLM_F_REQUEST | NLM_F_DUMP, 1, 0};
   request.neigh.ndm_family = AF_BRIDGE;
   const auto start = Clock::now();
   if (::send(fd, &request, sizeof request, 0) != sizeof request) {
      ::close(fd);
      throw std::runtime_error("netlink send");
   }
   std::vector<char> buffer(64 * 1024);
   entries = 0;
   for (bool done = false; !done;) {
      const ssize_t n = ::recv(fd, buffer.data(), buffer.size(), 0);
      if (n <= 0) {
         ::close(fd);
         throw std::runtime_error("netlink recv");
      }
      auto length = static_cast<unsigned>(n);
      for (auto* h = reinterpret_cast<nlmsghdr*>(buffer.data()); NLMSG_OK(h, length);
           h = NLMSG_NEXT(h, length)) {
         done = done || h->nlmsg_type == NLMSG_DONE || h->nlmsg_type == NLMSG_ERROR;
         entries += h->nlmsg_type == RTM_NEWNEIGH ? 1 : 0;
      }
   }
   ::close(fd);
   return std::chrono::duration<double>(Clock::now() - start).count();
}

// GETs of dot1dBaseType, one every getInterval, until `served` says yes (asked every 20
// GETs): the seconds that took and the longest GET. Paced, so that snmpd's CPU for them
// stays small beside the plug-in's own work, however long the wait.
constexpr auto getInterval = std::chrono::milliseconds(5);

struct Wait {
   double seconds = 0;
   double worstGetMs = 0;
};

Wait getsUntil(Harness::SnmpdAgent& agent, Clock::time_point start,
               const std::function<bool()>& served) {
   Wait wait;
   for (std::size_t gets = 1;; ++gets) {
      const auto before = Clock::now();
      const auto next = before + getInterval;
      const auto result = agent.get(baseType);
      const double ms = std::chrono::duration<double, std::milli>(Clock::now() - before).count();
      if (result.integer != 2) {
         throw std::runtime_error("dot1dBaseType did not answer 2");
      }
      wait.worstGetMs = std::max(wait.worstGetMs, ms);
      if (gets % 20 == 0 && served()) {
         break;
      }
      if (Clock::now() - start > rowsTimeout) {
         throw std::runtime_error("the rows did not all arrive in time");
      }
      std::this_thread::sleep_until(next);
   }
   wait.seconds = std::chrono::duration<double>(Clock::now() - start).count();
   return wait;
}

// A number from the plug-in's health lines, which it logs when snmpd stops.
// The last match counts: the plug-in also says what it serves when it starts.
double logged(const std::string& log, const std::string& pattern) {
   const std::regex re(pattern);
   double value = -1.0;
   for (auto it = std::sregex_iterator(log.begin(), log.end(), re); it != std::sregex_iterator();
        ++it) {
      value = std::stod((*it)[1]);
   }
   return value;
}

void makeBridge() {
   std::ofstream("/proc/sys/net/ipv6/conf/default/disable_ipv6") << "1";  // no stray entries
   run({"ip", "link", "set", "lo", "up"});
   // Ageing of an hour: the bench's entries must outlive it.
   run({"ip", "link", "add", "br0", "type", "bridge", "ageing_time", "360000"});
   run({"ip", "link", "add", "p1", "type", "veth", "peer", "name", "h1"});
   run({"ip", "link", "set", "p1", "master", "br0"});
   for (const char* dev : {"br0", "p1", "h1"}) {
      run({"ip", "link", "set", dev, "up"});
   }
}

void BM_LinuxBridgeDumpAndResync(benchmark::State& state) {
   if (::unshare(CLONE_NEWNET) != 0) {
      state.SkipWithError("cannot make a network namespace (needs root)");
      return;
   }
   for (auto _ : state) {
      try {
         makeBridge();
         // snmpd with the plug-in and nothing to serve: what the addresses' memory adds to.
         Harness::SnmpdAgent idle;
         idle.options().extraConfig = {"bridgesnmpPlatform linux nosuchbridge"};
         idle.start();
         const double idleRss = procStatusBytes(idle.pid(), "VmRSS");
         const CpuSeconds idleCpu = cpuSeconds(idle.pid());
         idle.stop();

         Harness::SnmpdAgent agent;
         agent.options().extraConfig = {"bridgesnmpPlatform linux br0",
                                        "bridgesnmpTrace Snmp/1,LinuxBridge/1"};
         addEntries(agent, 0, addressCount);
         std::size_t dumped = 0;
         const double floorSeconds = kernelDumpSeconds(dumped);

         // The start-up dump: the greatest address's row is the last one made.
         auto start = Clock::now();
         agent.start();
         const Wait startup = getsUntil(
             agent, start, [&] { return agent.get(rowOf(addressCount - 1)).integer == 1; });
         const double peakRss = procStatusBytes(agent.pid(), "VmHWM");
         const CpuSeconds startupCpu = cpuSeconds(agent.pid());

         // The overrun: snmpd stopped while more entries come than its socket holds.
         if (::kill(agent.pid(), SIGSTOP) != 0) {
            throw std::runtime_error("cannot stop snmpd");
         }
         addEntries(agent, addressCount, overrunCount);
         start = Clock::now();
         ::kill(agent.pid(), SIGCONT);
         const Wait resync = getsUntil(agent, start, [&] {
            return agent.get(rowOf(addressCount + overrunCount - 1)).integer == 1;
         });
         const CpuSeconds resyncCpu = cpuSeconds(agent.pid());
         agent.stop();
         const std::string log = agent.log();
         if (log.find("notifications were lost; resynchronising") == std::string::npos) {
            throw std::runtime_error("no overrun: snmpd's socket held every notification");
         }
         const double rows = logged(log, R"(rows:[\s\S]*?dot1qTpFdbTable\s+(\d+))");
         if (rows < static_cast<double>(addressCount + overrunCount)) {
            throw std::runtime_error("snmpd served " + std::to_string(rows) + " rows");
         }

         const double n = static_cast<double>(addressCount);
         state.counters["addresses"] = n;
         state.counters["kernel_dump_s"] = floorSeconds;
         state.counters["kernel_dump_per_s"] = static_cast<double>(dumped) / floorSeconds;
         state.counters["startup_s"] = startup.seconds;
         state.counters["startup_rows_per_s"] = n / startup.seconds;
         state.counters["startup_worst_get_ms"] = startup.worstGetMs;
         // snmpd's own work per address, apart from the kernel's: user CPU beyond an idle start
         // (the paced GETs add a little).
         state.counters["startup_rows_per_user_cpu_s"] = n / (startupCpu.user - idleCpu.user);
         state.counters["startup_kernel_cpu_s"] = startupCpu.kernel - idleCpu.kernel;
         state.counters["rss_bytes_per_address"] = (peakRss - idleRss) / n;
         state.counters["resync_s"] = resync.seconds;
         state.counters["resync_rows_per_s"] = (n + overrunCount) / resync.seconds;
         state.counters["resync_worst_get_ms"] = resync.worstGetMs;
         state.counters["resync_rows_per_user_cpu_s"] =
             (n + overrunCount) / (resyncCpu.user - startupCpu.user);
         state.counters["resync_kernel_cpu_s"] = resyncCpu.kernel - startupCpu.kernel;
         state.counters["longest_wake_ms"] = logged(log, R"(longest wake ([0-9.]+) ms)");
         // The plug-in's longest pass of snmpd's loop, in time on the CPU (a loaded machine
         // stretches a pass's wall time), and which work it was.
         state.counters["longest_loop_pass_cpu_ms"] =
             logged(log, R"(longest on the CPU ([0-9.]+) ms)");
         std::smatch loop;
         if (std::regex_search(log, loop, std::regex(R"(loop: [^\n]*)"))) {
            state.SetLabel(loop[0]);
         }
         state.counters["longest_fdb_slice_ms"] =
             logged(log, R"(fdb backlog: \d+ keys, \d+ slices, longest ([0-9.]+) ms)");
         run({"ip", "link", "del", "br0"});
         run({"ip", "link", "del", "p1"});
      } catch (const std::exception& e) {
         state.SkipWithError(e.what());
         return;
      }
   }
}

BENCHMARK(BM_LinuxBridgeDumpAndResync)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
