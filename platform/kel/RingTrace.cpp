#include "platform/kel/RingTrace.h"

#include <cstdio>

#include "platform/kel/Time.h"

namespace Kel {

RingTrace::RingTrace(std::size_t capacity) : entries_(capacity ? capacity : 1) {}

void RingTrace::record(const char* what) {
   record(what, now());
}

void RingTrace::record(const char* what, double time) {
   entries_[count_ % entries_.size()] = Entry{time, what};
   ++count_;
}

std::vector<RingTrace::Entry> RingTrace::entries() const {
   std::vector<Entry> out;
   out.reserve(size());
   const std::size_t first = count_ - size();
   for (std::size_t i = first; i < count_; ++i) {
      out.push_back(entries_[i % entries_.size()]);
   }
   return out;
}

std::string RingTrace::dump() const {
   std::string text;
   char stamp[32];
   for (const Entry& e : entries()) {
      std::snprintf(stamp, sizeof stamp, "%.6f ", e.time);
      text.append(stamp).append(e.what).append("\n");
   }
   return text;
}

void RingTrace::clear() {
   count_ = 0;
}

RingTrace& ringTrace() {
   static RingTrace* ring = new RingTrace();
   return *ring;
}

}  // namespace Kel
