#pragma once

#include <cstddef>
#include <new>

// Fixed-size blocks for the small objects that large collections hold by the million (tree
// nodes, forwarding rows). A block costs its size and no more: the general-purpose heap adds
// a header to every allocation and rounds it up to 16 bytes, which for a 48-byte tree node
// is a third again. Freed blocks go back to the free list of their size, where any object
// of that size reuses them (a drained backlog's nodes become rows' nodes).
//
// The pools serve the framework's one thread; their slabs live as long as the process.
// Under AddressSanitizer every block comes from the heap, so that the sanitizer still sees
// each object's bounds and lifetime.
namespace Kel {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool poolsInUse = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool poolsInUse = false;
#else
inline constexpr bool poolsInUse = true;
#endif
#else
inline constexpr bool poolsInUse = true;
#endif

// Blocks of one size, carved from slabs.
class BlockPool {
 public:
   // Sizes up to this are pooled; larger objects come from the heap.
   static constexpr std::size_t largestBlock = 256;
   static constexpr std::size_t granule = 8;

   explicit BlockPool(std::size_t blockSize) : blockSize_(blockSize) {}
   BlockPool(const BlockPool&) = delete;
   BlockPool& operator=(const BlockPool&) = delete;

   void* allocate() {
      ++inUse_;
      if (free_) {
         FreeBlock* block = free_;
         free_ = block->next;
         return block;
      }
      if (slabNext_ == slabEnd_) {
         newSlab();
      }
      void* block = slabNext_;
      slabNext_ += blockSize_;
      return block;
   }
   void deallocate(void* block) noexcept {
      --inUse_;
      auto* freed = static_cast<FreeBlock*>(block);
      freed->next = free_;
      free_ = freed;
   }

   // The pool of blocks of `size` bytes (1 to largestBlock), rounded up to the granule.
   static BlockPool& forSize(std::size_t size);
   // Over all pools: the bytes of the blocks handed out, and of the slabs taken from the heap
   // for them (free blocks included).
   static std::size_t bytesInUse();
   static std::size_t slabBytes();

 private:
   struct FreeBlock {
      FreeBlock* next;
   };
   void newSlab();

   std::size_t blockSize_;
   std::size_t inUse_ = 0;
   FreeBlock* free_ = nullptr;
   char* slabNext_ = nullptr;
   char* slabEnd_ = nullptr;
};

// `size` bytes from the pool of that size, or from the heap when pools are off or the size
// is beyond them.
inline void* poolAllocate(std::size_t size) {
   if (poolsInUse && size <= BlockPool::largestBlock) {
      return BlockPool::forSize(size).allocate();
   }
   return ::operator new(size);
}
inline void poolDeallocate(void* block, std::size_t size) noexcept {
   if (poolsInUse && size <= BlockPool::largestBlock) {
      BlockPool::forSize(size).deallocate(block);
   } else {
      ::operator delete(block);
   }
}

// A standard allocator over the pools, for node-based containers: single objects are
// pooled, arrays come from the heap.
template <class T>
struct PoolAllocator {
   using value_type = T;
   static constexpr bool pooled = alignof(T) <= BlockPool::granule;

   PoolAllocator() = default;
   template <class U>
   PoolAllocator(const PoolAllocator<U>&) noexcept {}

   T* allocate(std::size_t n) {
      if (pooled && n == 1) {
         return static_cast<T*>(poolAllocate(sizeof(T)));
      }
      return static_cast<T*>(::operator new(n * sizeof(T)));
   }
   void deallocate(T* p, std::size_t n) noexcept {
      if (pooled && n == 1) {
         poolDeallocate(p, sizeof(T));
      } else {
         ::operator delete(p);
      }
   }

   friend bool operator==(const PoolAllocator&, const PoolAllocator&) { return true; }
};

}  // namespace Kel

// Gives a class (and the classes derived from it) pooled storage: `new` and `delete` of its
// objects go through the pools of their sizes.
#define KEL_POOLED_STORAGE                                               \
   static void* operator new(std::size_t size) {                         \
      return ::Kel::poolAllocate(size);                                  \
   }                                                                     \
   static void operator delete(void* block, std::size_t size) noexcept { \
      ::Kel::poolDeallocate(block, size);                                \
   }
