#pragma once

#include <cstddef>
#include <cstdlib>
#include <string>

// How many learned hosts a benchmark works with: 100k unless BRIDGESNMP_BENCH_HOSTS says
// otherwise (tools/run-benchmarks.sh runs the 1M set with it).
inline std::size_t benchHosts() {
   const char* text = std::getenv("BRIDGESNMP_BENCH_HOSTS");
   return text && *text ? static_cast<std::size_t>(std::stoull(text)) : 100'000;
}
