// Memory of the MIB cache's forwarding-database rows: 100k dot1qTpFdbTable rows and the
// dot1dTpFdbTable rows of the third of them that are in FID 1.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>

#include "model/QBridgeMib.h"
#include "platform/kel/Pool.h"

namespace {

constexpr std::uint32_t rowCount = 100'000;

// The heap in use, with the pools' slabs counted by the blocks handed out of them.
std::size_t heapInUse() {
   return mallinfo2().uordblks - Kel::BlockPool::slabBytes() + Kel::BlockPool::bytesInUse();
}

// Interface names as the switch has them; IntfId keeps short names inline.
Velnet::IntfId intfOf(std::uint32_t i) {
   return Velnet::IntfId("Ethernet" + std::to_string(1 + i % 48));
}

void BM_FdbRowMemory(benchmark::State& state) {
   double qBytes = 0;
   double dBytes = 0;
   for (auto _ : state) {
      auto mib = BridgeSnmp::qBridgeMibFactory("qbridgemib");
      const std::size_t start = heapInUse();
      for (std::uint32_t i = 0; i < rowCount; ++i) {
         // Every third host is in FID 1, the rest spread over VLANs 10 to 40.
         const Bridging::Fid fid(i % 3 == 0 ? 1 : 10 + i % 31);
         const auto address = Velnet::EthAddr::fromU64(0x020000000000ull + i * 2654435761ull);
         auto row = mib->dot1qTpFdbTableIs(BridgeSnmp::Dot1qTpFdbEntryKey(fid, address));
         row->intfIs(intfOf(i));
         row->statusIs(BridgeSnmp::statusLearned);
      }
      const std::size_t afterQ = heapInUse();
      for (auto it = mib->dot1qTpFdbTableIteratorConst(); it; ++it) {
         if (it.key().fid() == Bridging::Fid(1)) {
            auto row = mib->dot1dTpFdbTableIs(it.key().address());
            row->intfIs((*it)->intf());
            row->statusIs(BridgeSnmp::statusLearned);
         }
      }
      const std::size_t afterD = heapInUse();
      qBytes = static_cast<double>(afterQ - start) / rowCount;
      dBytes = static_cast<double>(afterD - afterQ) / static_cast<double>(mib->dot1dTpFdbTables());
      if (mib->dot1qTpFdbTables() != rowCount || mib->dot1dTpFdbTables() != (rowCount + 2) / 3) {
         state.SkipWithError("rows missing");
      }
   }
   state.counters["bytes_per_dot1qTpFdbEntry"] = qBytes;
   state.counters["bytes_per_dot1dTpFdbEntry"] = dBytes;
   state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * rowCount);
}

BENCHMARK(BM_FdbRowMemory)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
