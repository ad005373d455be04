#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Kel {

// Keeps the most recent timed entries in a fixed-size ring. Recording stores a pointer
// to a static text and the time, so it is cheap enough for every handler call.
class RingTrace {
 public:
   struct Entry {
      double time;
      const char* what;  // static text, such as a function signature
   };

   explicit RingTrace(std::size_t capacity = 4096);

   void record(const char* what);
   void record(const char* what, double time);

   std::size_t capacity() const { return entries_.size(); }
   // Entries held, up to the capacity.
   std::size_t size() const { return count_ < entries_.size() ? count_ : entries_.size(); }
   // Entries recorded since construction, including those overwritten.
   std::size_t recorded() const { return count_; }
   // The held entries, oldest first.
   std::vector<Entry> entries() const;
   // One line per held entry, oldest first: "<time> <what>".
   std::string dump() const;
   void clear();

 private:
   std::vector<Entry> entries_;
   std::size_t count_ = 0;
};

// The process-wide ring that agent handlers record into.
RingTrace& ringTrace();

}  // namespace Kel

// Records the enclosing function's signature with the current time in the process ring.
#define KEL_RING_TRACE() ::Kel::ringTrace().record(__PRETTY_FUNCTION__)
