// The forwarding table inside a running snmpd with the plug-in:
//
// - walk cost: 100k learned hosts (BRIDGESNMP_BENCH_HOSTS) in VLAN 1; a full snmpbulkwalk (-Cr50)
// and a GETNEXT-only
//   snmpwalk of the table, timed against the same walks of a floor table (bench/floor: a
//   plain sorted, hinted net-snmp table iterator over the same rows) loaded in the same snmpd;
// - GET latency: GETs of one row back to back while the switch learns a paced burst of 100k
//   hosts and the agent works it off;
// - hostile requests: PDUs of 60 varbinds that name rows that do not exist (between rows,
//   past the last, short, over-long, out of range), as GET and as GETNEXT, against the same
//   PDUs naming rows that exist; and the worst GET of another client while they arrive.
//
// The table is dot1qTpFdbTable when the plug-in serves it, else dot1dTpFdbTable; the label
// says which (BRIDGESNMP_BENCH_TABLE=dot1dTpFdbTable picks the latter). Everything talks to
// 127.0.0.1 only.

#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchHosts.h"
#include "SnmpdAgent.h"

namespace {

using Clock = std::chrono::steady_clock;
using Harness::Oid;

const std::size_t hostCount = benchHosts();
constexpr int hostPorts = 8;
// Two minutes per 100k hosts, for the switch to learn them and the agent to make the rows.
const std::chrono::seconds loadTimeout(120 * static_cast<long>((hostCount + 99'999) / 100'000));

struct Table {
   const char* name;
   Oid ours;
   Oid floor;
   std::size_t columns;
   // dot1dTpFdbPort / dot1qTpFdbPort of the lab's static host 00:1c:73:00:10:01 (port 1).
   Oid labStaticPort;
   // The column counted to see the table complete.
   Oid countedColumn;
};

const Table dot1q{"dot1qTpFdbTable",
                  "1.3.6.1.2.1.17.7.1.2.2",
                  "1.3.6.1.4.1.32473.99.1",
                  2,
                  "1.3.6.1.2.1.17.7.1.2.2.1.2.1.0.28.115.0.16.1",
                  "1.3.6.1.2.1.17.7.1.2.2.1.2"};
const Table dot1d{"dot1dTpFdbTable",
                  "1.3.6.1.2.1.17.4.3",
                  "1.3.6.1.4.1.32473.99.2",
                  3,
                  "1.3.6.1.2.1.17.4.3.1.2.0.28.115.0.16.1",
                  "1.3.6.1.2.1.17.4.3.1.2"};

// dot1qTpFdbTable once the plug-in answers for it; dot1dTpFdbTable until then, or when
// BRIDGESNMP_BENCH_TABLE=dot1dTpFdbTable asks for it.
const Table& tableOf(Harness::SnmpdAgent& agent) {
   const char* wanted = std::getenv("BRIDGESNMP_BENCH_TABLE");
   if (wanted && std::string(wanted) == dot1d.name) {
      return dot1d;
   }
   const Harness::GetResult probe = agent.getNext(dot1q.ours);
   return probe.ok() && probe.oid.startsWith(dot1q.ours) ? dot1q : dot1d;
}

// Objects under `column`, counted with GETBULK.
std::size_t countColumn(Harness::SnmpdAgent& agent, const Oid& column) {
   std::size_t count = 0;
   Oid current = column;
   for (;;) {
      const Harness::Response response = agent.getBulk(current, 200);
      if (!response.ok() || response.varbinds.empty()) {
         return count;
      }
      for (const Harness::Varbind& vb : response.varbinds) {
         if (vb.isException() || !vb.oid.startsWith(column) || vb.oid <= current) {
            return count;
         }
         ++count;
         current = vb.oid;
      }
   }
}

// Distinct unicast addresses, the same every run, dealt over Ethernet1-8.
struct Host {
   std::array<unsigned, 6> mac;
   int port;
};

std::vector<Host> makeHosts() {
   std::mt19937_64 random(42);
   std::set<std::array<unsigned, 6>> seen;
   std::vector<Host> hosts;
   while (hosts.size() < hostCount) {
      const std::uint64_t bits = random();
      std::array<unsigned, 6> mac;
      for (int i = 0; i < 6; ++i) {
         mac[i] = static_cast<unsigned>((bits >> (8 * i)) & 0xff);
      }
      mac[0] = (mac[0] & 0xfe) | 0x02;  // unicast, locally administered
      if (seen.insert(mac).second) {
         hosts.push_back({mac, static_cast<int>(hosts.size() % hostPorts) + 1});
      }
   }
   return hosts;
}

std::string macText(const std::array<unsigned, 6>& mac) {
   char text[18];
   std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                 mac[4], mac[5]);
   return text;
}

// The switch: Ethernet1-8 in VLAN 1, every host learned, ageing off so that nothing leaves
// during the benchmark.
std::string topologyOf(const std::vector<Host>& hosts) {
   std::ostringstream yaml;
   yaml << "bridge: {mac: 00:1c:73:00:00:01, aging_time: 0}\n"
        << "ports:\n  - {range: Ethernet1-" << hostPorts << ", port_id: 1, if_index: 1}\n"
        << "vlans:\n  - {id: 1, name: default}\n"
        << "learned_macs:\n";
   for (const Host& h : hosts) {
      yaml << "  - {vlan: 1, mac: " << macText(h.mac) << ", interface: Ethernet" << h.port << "}\n";
   }
   return yaml.str();
}

// The floor's rows: FID 1, the address, the port, learned(3).
std::string floorRowsOf(const std::vector<Host>& hosts) {
   std::ostringstream rows;
   for (const Host& h : hosts) {
      rows << "1 " << macText(h.mac) << " " << h.port << " 3\n";
   }
   return rows.str();
}

std::map<std::string, std::string> toolEnvironment(const Harness::SnmpdAgent& agent) {
   return {{"SNMPCONFPATH", (agent.directory() / "client").string()},
           {"SNMP_PERSISTENT_DIR", (agent.directory() / "client").string()},
           {"MIBS", ""},
           {"MIBDIRS", (agent.directory() / "mibs").string()}};
}

// Seconds snmpd has spent on a CPU so far, to the nanosecond: the scheduler's run time from
// /proc/<pid>/schedstat. (The clock ticks of /proc/<pid>/stat are 10 ms, which for a walk of
// 0.6 s left each ratio uncertain by about 3 %.) snmpd runs one thread.
double cpuSeconds(pid_t pid) {
   std::ifstream schedstat("/proc/" + std::to_string(pid) + "/schedstat");
   unsigned long long runNanoseconds = 0;
   schedstat >> runNanoseconds;
   return static_cast<double>(runNanoseconds) / 1e9;
}

struct Walk {
   double seconds = 0;
   // What snmpd spent on it.
   double snmpdCpuSeconds = 0;
   // The output's lines under the table, with the table's OID taken off the front, so that
   // the walks of two tables with the same rows compare equal.
   std::vector<std::string> rows;
};

// Runs snmpbulkwalk (-Cr50) or snmpwalk over `table`, output counted, and times it.
Walk runWalk(Harness::SnmpdAgent& agent, const std::string& tool, const Oid& table) {
   std::vector<std::string> argv = {tool, "-v2c", "-c", "public"};
   if (tool == "snmpbulkwalk") {
      argv.push_back("-Cr50");
   }
   for (const char* arg : {"-On", "-Oq", "-t", "5", "-r", "1"}) {
      argv.push_back(arg);
   }
   argv.push_back(agent.address());
   argv.push_back(table.str());
   const double cpuBefore = cpuSeconds(agent.pid());
   const auto start = Clock::now();
   const Harness::CommandResult result = Harness::runCommand(argv, toolEnvironment(agent));
   Walk walk;
   walk.seconds = std::chrono::duration<double>(Clock::now() - start).count();
   walk.snmpdCpuSeconds = cpuSeconds(agent.pid()) - cpuBefore;
   if (!result.succeeded()) {
      throw std::runtime_error(tool + " " + table.str() + ": " + result.status.describe() + " " +
                               result.err);
   }
   const std::string prefix = "." + table.str() + ".";
   std::istringstream lines(result.out);
   for (std::string line; std::getline(lines, line);) {
      if (line.rfind(prefix, 0) == 0) {
         walk.rows.push_back(line.substr(prefix.size()));
      }
   }
   return walk;
}

struct Loaded {
   Harness::SnmpdAgent agent;
   const Table* table = nullptr;
};

// An snmpd with the plug-in serving 100k hosts and the floor serving the same rows; returns
// once the plug-in's table has every row.
void load(Loaded& loaded) {
   Harness::SnmpdAgent& agent = loaded.agent;
   const std::vector<Host> hosts = makeHosts();
   const auto topology = agent.writeFile("topology.yaml", topologyOf(hosts));
   const auto rows = agent.writeFile("floor-rows.txt", floorRowsOf(hosts));
   agent.options().extraConfig = {
       "bridgesnmpTopology " + topology.string(),
       "bridgesnmpControlSocket " + (agent.directory() / "control.sock").string(),
       "dlmod bridgesnmp_floor " BRIDGESNMP_FLOOR_PLUGIN_PATH,
       "bridgesnmpFloorRows " + rows.string(),
   };
   agent.options().startTimeout = loadTimeout / 2;
   agent.start();
   loaded.table = &tableOf(agent);
   const auto deadline = Clock::now() + loadTimeout;
   while (countColumn(agent, loaded.table->countedColumn) != hostCount) {
      if (Clock::now() >= deadline) {
         throw std::runtime_error(std::string(loaded.table->name) + " never had " +
                                  std::to_string(hostCount) + " rows");
      }
   }
}

// Times `tool` over the plug-in's table and over the floor, `rounds` times each, alternating;
// reports the fastest of each and their ratio. Both walks must return the same rows, every
// row of every column.
void walkCost(benchmark::State& state, const std::string& tool, int rounds) {
   // Small tables get more rounds, so that the fastest of them is not one a busy machine
   // happened to slow down.
   rounds *= static_cast<int>(std::max<std::size_t>(1, 100'000 / hostCount));
   double ours = 0;
   double floor = 0;
   double oursCpu = 0;
   double floorCpu = 0;
   double oursCpuTotal = 0;
   std::size_t objects = 0;
   const Table* table = nullptr;
   for (auto _ : state) {
      try {
         Loaded loaded;
         load(loaded);
         table = loaded.table;
         double bestOurs = 1e300;
         double bestFloor = 1e300;
         double bestOursCpu = 1e300;
         double bestFloorCpu = 1e300;
         for (int round = 0; round < rounds; ++round) {
            const Walk a = runWalk(loaded.agent, tool, table->ours);
            const Walk b = runWalk(loaded.agent, tool, table->floor);
            if (a.rows.size() != hostCount * table->columns) {
               throw std::runtime_error(tool + " of " + table->name + " returned " +
                                        std::to_string(a.rows.size()) + " objects, not " +
                                        std::to_string(hostCount * table->columns));
            }
            if (a.rows != b.rows) {
               throw std::runtime_error(tool + ": " + table->name +
                                        " and the floor table returned different rows");
            }
            objects = a.rows.size();
            bestOurs = std::min(bestOurs, a.seconds);
            bestFloor = std::min(bestFloor, b.seconds);
            bestOursCpu = std::min(bestOursCpu, a.snmpdCpuSeconds);
            oursCpuTotal += a.snmpdCpuSeconds;
            bestFloorCpu = std::min(bestFloorCpu, b.snmpdCpuSeconds);
         }
         ours = bestOurs;
         floor = bestFloor;
         oursCpu = bestOursCpu;
         floorCpu = bestFloorCpu;
         loaded.agent.stop();
      } catch (const std::exception& e) {
         state.SkipWithError(e.what());
         break;
      }
   }
   if (table) {
      state.SetLabel(table->name);
   }
   state.counters["ours_s"] = ours;
   state.counters["floor_s"] = floor;
   state.counters["ratio"] = floor > 0 ? ours / floor : 0;
   // snmpd's own CPU time for the walk, without the client's.
   state.counters["ours_cpu_s"] = oursCpu;
   state.counters["floor_cpu_s"] = floorCpu;
   state.counters["cpu_ratio"] = floorCpu > 0 ? oursCpu / floorCpu : 0;
   state.counters["objects"] = static_cast<double>(objects);
   // What one object cost snmpd over all rounds, to compare across table sizes.
   state.counters["ours_cpu_us_per_object"] =
       objects ? oursCpuTotal * 1e6 / (static_cast<double>(objects) * rounds) : 0;
}

void BM_FdbBulkWalkCost(benchmark::State& state) {
   walkCost(state, "snmpbulkwalk", 5);
}

void BM_FdbWalkCost(benchmark::State& state) {
   walkCost(state, "snmpwalk", 3);
}

// bridgectl against the agent's control socket; returns what it printed.
std::string bridgectl(const Harness::SnmpdAgent& agent, const std::vector<std::string>& args) {
   std::vector<std::string> argv = {BRIDGESNMP_BRIDGECTL_PATH, "--socket",
                                    (agent.directory() / "control.sock").string()};
   argv.insert(argv.end(), args.begin(), args.end());
   const Harness::CommandResult result = Harness::runCommand(argv);
   if (!result.succeeded()) {
      throw std::runtime_error("bridgectl " + args.front() + ": " + result.err);
   }
   return result.out;
}

std::size_t learnedHosts(const Harness::SnmpdAgent& agent) {
   // "<n> ports, <n> VLANs, <n> learned hosts, ..."
   const std::string summary = bridgectl(agent, {"show", "summary"});
   const auto at = summary.find(" learned hosts");
   if (at == std::string::npos) {
      throw std::runtime_error("unexpected summary: " + summary);
   }
   const auto from = summary.rfind(' ', at - 1);
   return std::stoul(summary.substr(from + 1, at - from - 1));
}

// GETs of the lab's static host's port, back to back, from the start of a paced burst of
// the benchmark's hosts until one second after the switch has learned them all.
void BM_FdbGetLatencyDuringBurst(benchmark::State& state) {
   double worstMs = 0;
   double totalMs = 0;
   std::size_t gets = 0;
   const Table* table = nullptr;
   for (auto _ : state) {
      try {
         Harness::SnmpdAgent agent;
         agent.options().extraConfig = {"bridgesnmpControlSocket " +
                                        (agent.directory() / "control.sock").string()};
         agent.start();
         table = &tableOf(agent);
         const Oid row = table->labStaticPort;
         const auto ready = Clock::now() + std::chrono::seconds(10);
         while (agent.get(row).integer != 1 && Clock::now() < ready) {
         }
         // Ageing off: a large burst takes longer to learn than the lab's ageing time, and its
         // first hosts must not age out before its last are learned.
         bridgectl(agent, {"aging", "0"});
         const std::size_t before = learnedHosts(agent);
         bridgectl(agent, {"burst", std::to_string(hostCount), std::to_string(hostPorts), "paced"});
         Clock::time_point learnedAt{};
         bool learned = false;
         BurstLearned burstLearned(before, hostCount);
         const auto deadline = Clock::now() + loadTimeout;
         while (!learned || Clock::now() - learnedAt < std::chrono::seconds(1)) {
            const auto start = Clock::now();
            const Harness::GetResult result = agent.get(row);
            const double ms =
                std::chrono::duration<double, std::milli>(Clock::now() - start).count();
            if (!result.ok() || result.type != Harness::AsnType::Integer || result.integer != 1) {
               throw std::runtime_error(row.str() + " answered " + result.str());
            }
            worstMs = std::max(worstMs, ms);
            totalMs += ms;
            ++gets;
            if (!learned && gets % 20 == 0 && burstLearned.seen(learnedHosts(agent))) {
               learned = true;
               learnedAt = Clock::now();
            }
            if (Clock::now() >= deadline) {
               throw std::runtime_error("the switch never learned the burst");
            }
         }
         agent.stop();
      } catch (const std::exception& e) {
         state.SkipWithError(e.what());
         break;
      }
   }
   if (table) {
      state.SetLabel(table->name);
   }
   state.counters["worst_get_ms"] = worstMs;
   state.counters["mean_get_ms"] = gets ? totalMs / static_cast<double>(gets) : 0;
   state.counters["gets"] = static_cast<double>(gets);
}

// Varbinds of one PDU: 60 objects of the forwarding tables, the move table and the small
// tables, naming rows that exist (`hits`) or none (`misses`), the same columns in the same
// mix.
struct HostilePdus {
   std::vector<Oid> hits;
   std::vector<Oid> misses;
};

HostilePdus hostilePdus(const std::vector<Host>& hosts) {
   const Oid dot1qPort = "1.3.6.1.2.1.17.7.1.2.2.1.2.1";
   const Oid dot1dPort = "1.3.6.1.2.1.17.4.3.1.2";
   const Oid moves = Oid("1.3.6.1.4.1.32473.3.2.1.1.2.0.1");
   const auto index = [](const std::array<unsigned, 6>& mac) {
      return Oid(std::vector<std::uint32_t>(mac.begin(), mac.end()));
   };
   HostilePdus pdus;
   std::mt19937 random(7);
   while (pdus.hits.size() < 48) {
      const Host& h = hosts[random() % hosts.size()];
      std::array<unsigned, 6> absent = h.mac;
      absent[5] ^= 1;  // beside a host, almost never another one
      for (const Oid& column : {dot1qPort, dot1dPort, moves}) {
         pdus.hits.push_back(column + index(h.mac));
         pdus.misses.push_back(column + index(absent));
      }
   }
   // Past the last row, short, over-long and out of range, and the small tables.
   for (const char* miss :
        {"1.3.6.1.2.1.17.7.1.2.2.1.2.65535", "1.3.6.1.2.1.17.7.1.2.2.1.2.1.2",
         "1.3.6.1.2.1.17.7.1.2.2.1.2.1.2.0.0.0.0.0.7", "1.3.6.1.2.1.17.4.3.1.2.2.300.0.0.0.0",
         "1.3.6.1.2.1.17.7.1.2.2.1.2.4294967295", "1.3.6.1.2.1.17.1.4.1.2.0",
         "1.3.6.1.2.1.17.1.4.1.2.2147483648", "1.3.6.1.2.1.17.7.1.4.3.1.2.4096",
         "1.3.6.1.2.1.17.7.1.4.5.1.1.9", "1.3.6.1.2.1.17.7.1.4.2.1.3.0.2",
         "1.3.6.1.2.1.17.7.1.1.4.1.2.2", "1.3.6.1.4.1.32473.3.2.1.1.2.0.1.255.255.255.255.255"}) {
      pdus.misses.push_back(Oid(miss));
      pdus.hits.push_back(pdus.hits[pdus.hits.size() % 48]);
   }
   return pdus;
}

// snmpd's CPU for `rounds` PDUs of `oids`, per varbind, in microseconds: GETs, or GETNEXTs
// (a GETBULK whose varbinds are all non-repeaters).
double microsecondsPerVarbind(Harness::SnmpdAgent& agent, const std::vector<Oid>& oids, bool next,
                              int rounds) {
   const double before = cpuSeconds(agent.pid());
   for (int i = 0; i < rounds; ++i) {
      const Harness::Response r =
          next ? agent.reader().getBulk(oids, static_cast<int>(oids.size()), 0)
               : agent.getMany(oids);
      if (!r.ok() || r.varbinds.size() != oids.size()) {
         throw std::runtime_error("a PDU of " + std::to_string(oids.size()) + " varbinds failed");
      }
   }
   return (cpuSeconds(agent.pid()) - before) * 1e6 / (static_cast<double>(rounds) * oids.size());
}

// A child that sends the hostile PDUs back to back until it is stopped.
pid_t startHostileClient(const Harness::SnmpdAgent& agent, const std::vector<Oid>& misses) {
   const pid_t child = fork();
   if (child == 0) {
      Harness::SnmpClient client(agent.address(), "public", 5000, 0);
      for (bool next = false;; next = !next) {
         next ? client.getBulk(misses, static_cast<int>(misses.size()), 0) : client.getMany(misses);
      }
   }
   return child;
}

void BM_HostileRequests(benchmark::State& state) {
   constexpr int rounds = 200;
   double hitGet = 0, missGet = 0, hitNext = 0, missNext = 0, worstMs = 0;
   std::size_t gets = 0;
   for (auto _ : state) {
      try {
         Loaded loaded;
         load(loaded);
         Harness::SnmpdAgent& agent = loaded.agent;
         const std::vector<Host> hosts = makeHosts();
         const HostilePdus pdus = hostilePdus(hosts);
         hitGet = microsecondsPerVarbind(agent, pdus.hits, false, rounds);
         missGet = microsecondsPerVarbind(agent, pdus.misses, false, rounds);
         hitNext = microsecondsPerVarbind(agent, pdus.hits, true, rounds);
         missNext = microsecondsPerVarbind(agent, pdus.misses, true, rounds);
         // Another client's GETs while the hostile PDUs keep coming.
         const pid_t hostile = startHostileClient(agent, pdus.misses);
         const Oid row = Oid("1.3.6.1.2.1.17.7.1.2.2.1.2.1") +
                         Oid(std::vector<std::uint32_t>(hosts[0].mac.begin(), hosts[0].mac.end()));
         const auto end = Clock::now() + std::chrono::seconds(3);
         while (Clock::now() < end) {
            const auto start = Clock::now();
            const Harness::GetResult result = agent.get(row);
            worstMs = std::max(
                worstMs, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
            ++gets;
            if (!result.ok() || result.integer != hosts[0].port) {
               kill(hostile, SIGKILL);
               waitpid(hostile, nullptr, 0);
               throw std::runtime_error(row.str() + " answered " + result.str());
            }
         }
         kill(hostile, SIGKILL);
         waitpid(hostile, nullptr, 0);
         agent.stop();
      } catch (const std::exception& e) {
         state.SkipWithError(e.what());
         break;
      }
   }
   state.counters["hit_get_us_per_varbind"] = hitGet;
   state.counters["miss_get_us_per_varbind"] = missGet;
   state.counters["get_miss_ratio"] = hitGet > 0 ? missGet / hitGet : 0;
   state.counters["hit_next_us_per_varbind"] = hitNext;
   state.counters["miss_next_us_per_varbind"] = missNext;
   state.counters["next_miss_ratio"] = hitNext > 0 ? missNext / hitNext : 0;
   state.counters["worst_other_get_ms"] = worstMs;
   state.counters["other_gets"] = static_cast<double>(gets);
}

BENCHMARK(BM_FdbBulkWalkCost)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_FdbWalkCost)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_FdbGetLatencyDuringBurst)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HostileRequests)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
