#include "platform/kel/Pool.h"

#include <array>
#include <memory>
#include <vector>

namespace Kel {
namespace {

constexpr std::size_t slabBytes = 64 * 1024;
constexpr std::size_t poolCount = BlockPool::largestBlock / BlockPool::granule;

// Every slab ever made, so that the blocks stay reachable to leak checkers; slabs are
// never returned, as blocks of any pool may be in use until the process ends.
std::vector<std::unique_ptr<char[]>>& slabs() {
   static auto* all = new std::vector<std::unique_ptr<char[]>>();
   return *all;
}

}  // namespace

BlockPool& BlockPool::forSize(std::size_t size) {
   // Made on first use and never destroyed: objects with static storage may free their
   // blocks during exit.
   static auto* pools = [] {
      auto* made = new std::array<BlockPool*, poolCount>();
      for (std::size_t i = 0; i < poolCount; ++i) {
         (*made)[i] = new BlockPool((i + 1) * granule);
      }
      return made;
   }();
   return *(*pools)[(size - 1) / granule];
}

void BlockPool::newSlab() {
   const std::size_t blocks = slabBytes / blockSize_;
   // Not zeroed: a block is written by the object made in it.
   slabs().emplace_back(new char[blocks * blockSize_]);
   slabNext_ = slabs().back().get();
   slabEnd_ = slabNext_ + blocks * blockSize_;
}

}  // namespace Kel
