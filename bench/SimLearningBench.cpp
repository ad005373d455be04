// The simulated switch learning a burst of hosts with one observer of its forwarding
// database.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>

#include "platform/kel/ActivityManager.h"
#include "platform/sim/Switch.h"

namespace {

constexpr std::size_t hostCount = 100'000;
constexpr int portCount = 8;

class HostCounter : public Bridging::FdbStatus::NotifieeConst {
 public:
   std::size_t heard = 0;
   void onLearnedHost(const Velnet::EthAddr&) override { ++heard; }
};

Velnet::IntfId eth(int i) {
   return Velnet::IntfId("Ethernet" + std::to_string(i));
}

void BM_Learn100kHosts(benchmark::State& state) {
   double bytesPerHost = 0;
   for (auto _ : state) {
      state.PauseTiming();
      {
         Kel::ActivityManager manager;
         Sim::Switch sw(manager);
         for (int i = 1; i <= portCount; ++i) {
            sw.newPort({eth(i), static_cast<std::uint16_t>(i), i, true});
            sw.switchportIs(eth(i), {Bridging::SwitchportMode::access, Bridging::VlanId(10)});
         }
         sw.vlanIs({Bridging::VlanId(10), "bench"});
         HostCounter observer;
         observer.notifierIs(sw.entities().status->fdbStatus(Bridging::Fid(10)));
         const std::size_t before = mallinfo2().uordblks;
         state.ResumeTiming();

         for (std::size_t h = 0; h < hostCount; ++h) {
            sw.learn(Bridging::VlanId(10), Velnet::EthAddr::fromU64(0x020000000000ull + h),
                     eth(1 + static_cast<int>(h % portCount)));
         }

         state.PauseTiming();
         bytesPerHost = static_cast<double>(mallinfo2().uordblks - before) / hostCount;
         if (observer.heard != hostCount || sw.learnedHosts() != hostCount) {
            state.SkipWithError("the observer did not hear every host");
         }
         observer.notifierIs(nullptr);
      }
      state.ResumeTiming();
   }
   state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * hostCount));
   state.counters["bytes_per_host"] = bytesPerHost;
   state.counters["time_per_host"] = benchmark::Counter(
       hostCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(BM_Learn100kHosts)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
