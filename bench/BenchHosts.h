#pragma once

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <string>

// How many learned hosts a benchmark works with: 100k unless BRIDGESNMP_BENCH_HOSTS says
// otherwise (tools/run-benchmarks.sh runs the 1M set with it).
inline std::size_t benchHosts() {
   const char* text = std::getenv("BRIDGESNMP_BENCH_HOSTS");
   return text && *text ? static_cast<std::size_t>(std::stoull(text)) : 100'000;
}

// Tells when the switch has learned a burst: its learned-host count has grown from `start` by
// the burst's size, or has grown and then stopped short of that for three seconds (a random
// address of the burst may already be known, which leaves the count a few short).
class BurstLearned {
 public:
   BurstLearned(std::size_t start, std::size_t burst) : start_(start), target_(start + burst) {}

   bool seen(std::size_t count) {
      const auto now = std::chrono::steady_clock::now();
      if (count != last_) {
         last_ = count;
         lastGrowth_ = now;
      }
      return count >= target_ || (count > start_ && now - lastGrowth_ > std::chrono::seconds(3));
   }

 private:
   std::size_t start_;
   std::size_t target_;
   std::size_t last_ = 0;
   std::chrono::steady_clock::time_point lastGrowth_ = std::chrono::steady_clock::now();
};
