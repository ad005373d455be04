#include "snmp/RequestCounts.h"

namespace Snmp {
namespace {

// A node-based map: the counters' addresses never move.
std::map<std::string, std::uint64_t>& counters() {
   static auto* all = new std::map<std::string, std::uint64_t>();
   return *all;
}

}  // namespace

std::uint64_t& requestCounter(const std::string& table) {
   return counters()[table];
}

std::map<std::string, std::uint64_t> requestCounts() {
   return counters();
}

}  // namespace Snmp
