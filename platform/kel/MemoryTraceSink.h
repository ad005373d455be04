#pragma once

#include <string>
#include <vector>

#include "platform/kel/Trace.h"

namespace Kel {

// Keeps every record in memory, for tests that assert on trace output.
class MemoryTraceSink : public TraceSink {
 public:
   struct Line {
      std::string facility;
      int level;
      std::string source;
      std::string message;
   };

   void write(const TraceRecord& r) override {
      lines_.push_back({r.facility, r.level, std::string(r.source), std::string(r.message)});
   }

   const std::vector<Line>& lines() const { return lines_; }
   void clear() { lines_.clear(); }

   // True when a recorded message contains `text`.
   bool contains(const std::string& text) const {
      for (const Line& l : lines_) {
         if (l.message.find(text) != std::string::npos) {
            return true;
         }
      }
      return false;
   }

 private:
   std::vector<Line> lines_;
};

}  // namespace Kel
