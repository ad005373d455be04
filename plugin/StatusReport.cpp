#include "plugin/StatusReport.h"

#include <iomanip>
#include <sstream>

#include "snmp/RequestCounts.h"

namespace Plugin {

std::string statusReport(const BridgeSnmp::QBridgeMib& mib, const BridgeSnmpAgent::Agent& agent) {
   std::ostringstream os;
   const struct {
      const char* name;
      std::size_t rows;
   } tables[] = {
       {"dot1dBasePortTable", mib.dot1dBasePortTables()},
       {"dot1dTpFdbTable", mib.dot1dTpFdbTables()},
       {"dot1qTpFdbTable", mib.dot1qTpFdbTables()},
       {"dot1qVlanCurrentTable", mib.dot1qVlanCurrentTables()},
       {"dot1qVlanStaticTable", mib.dot1qVlanStaticTables()},
   };
   os << "rows:\n";
   for (const auto& table : tables) {
      os << "  " << std::left << std::setw(24) << table.name << table.rows << "\n";
   }
   if (const auto fidSm = agent.fidSm()) {
      os << "fdb backlog: " << fidSm->backlog().size() << " keys, " << fidSm->slices()
         << " slices, longest " << std::fixed << std::setprecision(3)
         << fidSm->longestSlice() * 1000.0 << " ms\n";
   } else {
      os << "fdb backlog: none (the agent has no FDB state machine yet)\n";
   }
   os << "requests served:\n";
   for (const auto& [table, count] : Snmp::requestCounts()) {
      os << "  " << std::left << std::setw(24) << table << count << "\n";
   }
   return os.str();
}

}  // namespace Plugin
