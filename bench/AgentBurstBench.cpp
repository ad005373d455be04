// The synchronisation agent taking a burst of 100k learned hosts (BRIDGESNMP_BENCH_HOSTS):
// from the switch's notifications to every forwarding-database row present, in clock slices.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>

#include "BenchHosts.h"
#include "agent/Agent.h"
#include "platform/kel/ActivityManager.h"
#include "platform/kel/StandaloneLoop.h"
#include "platform/kel/Time.h"
#include "platform/sim/Switch.h"

namespace {

const std::size_t hostCount = benchHosts();
constexpr int portCount = 8;

Velnet::IntfId eth(int i) {
   return Velnet::IntfId("Ethernet" + std::to_string(i));
}

double secondsSince(std::chrono::steady_clock::time_point start) {
   return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_AgentBurst(benchmark::State& state) {
   double learnSeconds = 0;
   double drainSeconds = 0;
   double longestSlice = 0;
   std::uint64_t slices = 0;
   for (auto _ : state) {
      Kel::ActivityManager manager;
      Kel::StandaloneLoop loop(manager);
      Sim::Switch sw(manager);
      sw.hostAgingTimeIs(0);  // no aging wake-ups in the way
      for (int i = 1; i <= portCount; ++i) {
         sw.newPort({eth(i), static_cast<std::uint16_t>(i), i, true});
      }
      sw.vlanIs({Bridging::VlanId(1), "default"});
      auto mib = BridgeSnmp::qBridgeMibFactory("qbridgemib");
      auto agent = BridgeSnmpAgent::agentFactory("agent");
      agent->kelFwkActivityIs(manager.activityIs("bench"));
      agent->configIs(sw.entities().config);
      agent->statusIs(sw.entities().status);
      agent->vlanStatusDirIs(sw.entities().vlanStatusDir);
      agent->intfStatusDirIs(sw.entities().intfStatusDir);
      agent->mibIs(mib);

      // The switch learns the burst; every learned host notifies the agent, which queues
      // its key. FID 1, so both forwarding tables get rows.
      auto start = std::chrono::steady_clock::now();
      for (std::size_t h = 0; h < hostCount; ++h) {
         sw.learn(Bridging::VlanId(1), Velnet::EthAddr::fromU64(0x020000000000ull + h * 7919),
                  eth(1 + static_cast<int>(h % portCount)));
      }
      learnSeconds += secondsSince(start);

      start = std::chrono::steady_clock::now();
      while (loop.nextWake() <= Kel::now()) {
         loop.runOnce(0);
      }
      drainSeconds += secondsSince(start);
      longestSlice = std::max(longestSlice, agent->fidSm()->longestSlice());
      slices += agent->fidSm()->slices();
      if (mib->dot1qTpFdbTables() != hostCount || mib->dot1dTpFdbTables() != hostCount) {
         state.SkipWithError("rows missing after the backlog drained");
      }
      agent->doShutdown();
   }
   const double n = static_cast<double>(state.iterations());
   state.counters["drain_keys_per_s"] = hostCount * n / drainSeconds;
   state.counters["end_to_end_keys_per_s"] = hostCount * n / (learnSeconds + drainSeconds);
   state.counters["longest_slice_ms"] = longestSlice * 1e3;
   state.counters["slices"] = static_cast<double>(slices) / n;
   state.counters["hosts"] = static_cast<double>(hostCount);
}

BENCHMARK(BM_AgentBurst)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
