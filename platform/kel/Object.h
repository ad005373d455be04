#pragma once

#include <atomic>
#include <cstdint>

namespace Kel {

// Base of every counted framework object. The reference count lives in the object;
// Kel::Ptr takes and drops references with atomic read-modify-write operations.
// When the last reference goes, handleZeroRef() disposes of the object.
//
// Objects with static or automatic storage are marked not counted: taking and
// dropping references on them does nothing and handleZeroRef() never runs.
class Object {
 public:
   Object() = default;
   Object(const Object&) = delete;
   Object& operator=(const Object&) = delete;

   void newRef() const {
      if (!notCounted_) {
         refs_.fetch_add(1, std::memory_order_relaxed);
      }
   }
   void delRef() const {
      if (!notCounted_ && refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
         const_cast<Object*>(this)->handleZeroRef();
      }
   }

   std::uint32_t references() const { return refs_.load(std::memory_order_relaxed); }
   bool notCounted() const { return notCounted_; }
   // Only valid before the object is handed to any Kel::Ptr.
   void notCountedIs(bool notCounted) { notCounted_ = notCounted; }

 protected:
   virtual ~Object() = default;
   // Runs when the count drops to zero. The default deletes the object.
   virtual void handleZeroRef() { delete this; }

 private:
   mutable std::atomic<std::uint32_t> refs_{0};
   bool notCounted_ = false;

 protected:
   // Spare bits for subclasses, kept in what would otherwise be padding.
   std::uint8_t kelFlags_ = 0;
};

}  // namespace Kel
