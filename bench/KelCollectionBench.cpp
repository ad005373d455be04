// Hot paths of the framework: creating, looking up and deleting rows of an ordered
// collection, with and without a notifiee attached to the owning entity.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>

#include "tests/support/TestEntities.h"

namespace {

constexpr std::uint32_t rowCount = 1'000'000;

// A notifiee that does the least a real reactor does: it looks at each key it hears of.
class KeyCounter : public TestModel::Switch::NotifieeConst {
 public:
   std::uint64_t seen = 0;
   void onPort(const std::uint32_t& key) override { seen += key; }
};

// Keys in a scattered order, so the tree is not filled by appending only.
std::uint32_t scatteredKey(std::uint32_t i) {
   return (i * 2654435761u) % 4'000'000'007u;
}

std::size_t heapInUse() {
   return mallinfo2().uordblks;
}

void fill(TestModel::Switch& sw) {
   for (std::uint32_t i = 0; i < rowCount; ++i) {
      sw.portIs(scatteredKey(i));
   }
}

// Rows per second, and the time of one row operation (printed with its SI prefix, e.g.
// "250ns").
void perRowCounters(benchmark::State& state) {
   state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * rowCount);
   state.counters["time_per_row"] = benchmark::Counter(
       rowCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_CreateRows(benchmark::State& state) {
   const bool withNotifiee = state.range(0) != 0;
   double bytesPerRow = 0;
   for (auto _ : state) {
      state.PauseTiming();
      auto sw = Kel::make<TestModel::Switch>();
      KeyCounter counter;
      if (withNotifiee) {
         counter.notifierIs(sw);
      }
      const std::size_t before = heapInUse();
      state.ResumeTiming();
      fill(*sw);
      state.PauseTiming();
      bytesPerRow = static_cast<double>(heapInUse() - before) / rowCount;
      if (withNotifiee && counter.seen == 0) {
         state.SkipWithError("notifiee heard nothing");
      }
      counter.notifierIs(nullptr);
      sw = nullptr;
      state.ResumeTiming();
   }
   perRowCounters(state);
   state.counters["bytes_per_row"] = bytesPerRow;
}

void BM_LookupRows(benchmark::State& state) {
   auto sw = Kel::make<TestModel::Switch>();
   KeyCounter counter;
   counter.notifierIs(sw);
   fill(*sw);
   std::uint64_t found = 0;
   for (auto _ : state) {
      for (std::uint32_t i = 0; i < rowCount; ++i) {
         found += sw->port(scatteredKey(i)) ? 1 : 0;
      }
   }
   benchmark::DoNotOptimize(found);
   if (found != static_cast<std::uint64_t>(state.iterations()) * rowCount) {
      state.SkipWithError("a row was not found");
   }
   perRowCounters(state);
}

void BM_IterateRows(benchmark::State& state) {
   auto sw = Kel::make<TestModel::Switch>();
   fill(*sw);
   std::uint64_t sum = 0;
   for (auto _ : state) {
      for (auto it = sw->portIteratorConst(); it; ++it) {
         sum += it.key();
      }
   }
   benchmark::DoNotOptimize(sum);
   perRowCounters(state);
}

void BM_DeleteRows(benchmark::State& state) {
   const bool withNotifiee = state.range(0) != 0;
   for (auto _ : state) {
      state.PauseTiming();
      auto sw = Kel::make<TestModel::Switch>();
      fill(*sw);
      KeyCounter counter;
      if (withNotifiee) {
         counter.notifierIs(sw);
      }
      state.ResumeTiming();
      for (std::uint32_t i = 0; i < rowCount; ++i) {
         sw->portDel(scatteredKey(i));
      }
      state.PauseTiming();
      if (sw->ports() != 0) {
         state.SkipWithError("rows left behind");
      }
      counter.notifierIs(nullptr);
      sw = nullptr;
      state.ResumeTiming();
   }
   perRowCounters(state);
}

BENCHMARK(BM_CreateRows)
    ->ArgName("notifiee")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LookupRows)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IterateRows)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DeleteRows)
    ->ArgName("notifiee")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
