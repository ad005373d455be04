// The Linux bridge backend inside a running snmpd, in a private network namespace: how fast
// a burst of forwarding entries added to the kernel (one `bridge -batch`) becomes cache rows
// that snmpd serves, and what snmpd's memory grows by per learned address.

#include <benchmark/benchmark.h>
#include <sched.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "SnmpdAgent.h"

namespace {

constexpr int entryCount = 20'000;

void run(const std::vector<std::string>& argv) {
   const auto result = Harness::runCommand(argv);
   if (!result.succeeded()) {
      throw std::runtime_error(argv[0] + " failed: " + result.err);
   }
}

double rssBytes(pid_t pid) {
   std::ifstream status("/proc/" + std::to_string(pid) + "/status");
   for (std::string key; status >> key;) {
      if (key == "VmRSS:") {
         double kb = 0;
         status >> kb;
         return kb * 1024.0;
      }
   }
   return 0;
}

std::string mac(int i) {
   char text[18];
   std::snprintf(text, sizeof text, "02:00:00:%02x:%02x:%02x", (i >> 16) & 0xff, (i >> 8) & 0xff,
                 i & 0xff);
   return text;
}

void BM_LinuxBridgeBurstToRows(benchmark::State& state) {
   if (::unshare(CLONE_NEWNET) != 0) {
      state.SkipWithError("cannot make a network namespace (needs root)");
      return;
   }
   double rowsPerSecond = 0;
   double bytesPerAddress = 0;
   for (auto _ : state) {
      run({"ip", "link", "set", "lo", "up"});
      run({"ip", "link", "add", "br0", "type", "bridge"});
      run({"ip", "link", "add", "p1", "type", "veth", "peer", "name", "h1"});
      run({"ip", "link", "set", "p1", "master", "br0"});
      for (const char* dev : {"br0", "p1", "h1"}) {
         run({"ip", "link", "set", dev, "up"});
      }
      Harness::SnmpdAgent agent;
      agent.options().extraConfig = {"bridgesnmpPlatform linux br0"};
      agent.start();
      std::ostringstream batch;
      for (int i = 0; i < entryCount; ++i) {
         batch << "fdb add " << mac(i) << " dev p1 master dynamic\n";
      }
      const auto file = agent.writeFile("fdb.batch", batch.str());
      const double rssBefore = rssBytes(agent.pid());

      using Clock = std::chrono::steady_clock;
      const auto start = Clock::now();
      run({"bridge", "-batch", file.string()});
      // The last address is the greatest: its row is made after every other one.
      Harness::Oid last = "1.3.6.1.2.1.17.7.1.2.2.1.2.1";
      for (int octet : {2, 0, 0, (entryCount - 1) >> 16, ((entryCount - 1) >> 8) & 0xff,
                        (entryCount - 1) & 0xff}) {
         last = last.child(static_cast<std::uint32_t>(octet));
      }
      while (agent.get(last).integer != 1) {
         if (Clock::now() - start > std::chrono::seconds(60)) {
            state.SkipWithError("the rows did not all arrive within 60 s");
            return;
         }
      }
      const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
      rowsPerSecond = entryCount / seconds;
      bytesPerAddress = (rssBytes(agent.pid()) - rssBefore) / entryCount;
      agent.stop();
      run({"ip", "link", "del", "br0"});
      run({"ip", "link", "del", "p1"});
   }
   state.counters["entries"] = entryCount;
   state.counters["rows_per_s"] = rowsPerSecond;
   state.counters["rss_bytes_per_address"] = bytesPerAddress;
}

BENCHMARK(BM_LinuxBridgeBurstToRows)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
