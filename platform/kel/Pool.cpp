#include "platform/kel/Pool.h"

#include <array>
#include <memory>
#include <vector>

namespace Kel {
namespace {

constexpr std::size_t slabSize = 64 * 1024;
constexpr std::size_t poolCount = BlockPool::largestBlock / BlockPool::granule;

// Every slab ever made, so that the blocks stay reachable to leak checkers; slabs are
// never returned, as blocks of any pool may be in use until the process ends.
std::vector<std::unique_ptr<char[]>>& slabs() {
   static auto* all = new std::vector<std::unique_ptr<char[]>>();
   return *all;
}

// Made on first use and never destroyed: objects with static storage may free their blocks
// during exit.
std::array<BlockPool*, poolCount>& pools() {
   static auto* all = [] {
      auto* made = new std::array<BlockPool*, poolCount>();
      for (std::size_t i = 0; i < poolCount; ++i) {
         (*made)[i] = new BlockPool((i + 1) * BlockPool::granule);
      }
      return made;
   }();
   return *all;
}

std::size_t slabTotal = 0;

}  // namespace

BlockPool& BlockPool::forSize(std::size_t size) {
   static std::array<BlockPool*, poolCount>& all = pools();
   return *all[(size - 1) / granule];
}

std::size_t BlockPool::bytesInUse() {
   std::size_t bytes = 0;
   for (const BlockPool* pool : pools()) {
      bytes += pool->inUse_ * pool->blockSize_;
   }
   return bytes;
}

std::size_t BlockPool::slabBytes() {
   return slabTotal;
}

void BlockPool::newSlab() {
   const std::size_t blocks = slabSize / blockSize_;
   slabTotal += blocks * blockSize_;
   // Not zeroed: a block is written by the object made in it.
   slabs().emplace_back(new char[blocks * blockSize_]);
   slabNext_ = slabs().back().get();
   slabEnd_ = slabNext_ + blocks * blockSize_;
}

}  // namespace Kel
