#pragma once

#include <cstdint>
#include <map>
#include <string>

// How many varbinds each table's handler has served (GET and SET phases alike), for the
// plug-in's status report.
namespace Snmp {

// The counter of one table, made at its first use; the reference stays valid.
std::uint64_t& requestCounter(const std::string& table);
// Every table's count, by name.
std::map<std::string, std::uint64_t> requestCounts();

// Adds the requests of one handler call that are still to be answered.
template <class Request>
void countRequests(std::uint64_t& counter, const Request* requests) {
   for (const Request* r = requests; r; r = r->next) {
      counter += r->processed ? 0 : 1;
   }
}

}  // namespace Snmp
