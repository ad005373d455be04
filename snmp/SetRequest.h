#pragma once

#include <array>
#include <optional>
#include <vector>

#include "snmp/NetSnmp.h"
#include "snmp/SnmpTrace.h"
#include "validation/CrossValidation.h"
#include "validation/SetPlan.h"

// What one SET request gathers across dot1qVlanStaticTable and dot1qPortVlanTable: the
// bindings of each writable column with the varbind each came from, kept as net-snmp list
// data on the request (which owns and frees it); the one check of them all in RESERVE2, and
// the one write of the plan it makes in ACTION.
namespace Snmp {

struct SetRequestState {
   BridgeSnmp::SetBindings bindings;
   // The varbind of every binding, by column, in the order of that column's bindings.
   std::array<std::vector<netsnmp_request_info*>, 4> varbinds;
   bool checked = false;
   std::optional<BridgeSnmp::SetPlan> plan;
   bool applied = false;
};

// The request's state, made empty (and handed to the request) when absent.
SetRequestState& setRequestState(netsnmp_agent_request_info* reqinfo);

// RESERVE1 of a binding that passed its column's check: adds it to `list` (one of the
// state's), or refuses it with inconsistentValue when the request already names the same
// object (the first of two values cannot win over the second, nor the second over the
// first).
template <class Bindings>
int addBinding(netsnmp_agent_request_info* reqinfo, netsnmp_request_info* request,
               Bindings BridgeSnmp::SetBindings::*list, BridgeSnmp::BindingColumn column,
               typename Bindings::value_type binding) {
   SetRequestState& state = setRequestState(reqinfo);
   Bindings& bindings = state.bindings.*list;
   for (const auto& [row, value] : bindings) {
      if (row.get() == binding.first.get()) {
         SNMP_TRACE(3, "QBridgeMib",
                    "SET refused: varbind " << request->index
                                            << " names an object an earlier varbind of the "
                                               "request names");
         return SNMP_ERR_INCONSISTENTVALUE;
      }
   }
   bindings.push_back(std::move(binding));
   state.varbinds[static_cast<std::size_t>(column)].push_back(request);
   return SNMP_ERR_NOERROR;
}

// RESERVE2 of any binding of the two tables: the first to get here checks every binding of
// the request together (the cross validation, then the plan of what the request leaves),
// with the cache's per-request decisions emptied first; the others find it done. A refusal
// is set as inconsistentValue on the varbind of the binding at fault, whichever binding
// ran the check.
void checkOnce(netsnmp_agent_request_info* reqinfo, BridgeSnmp::QBridgeMib& mib);

// ACTION of any binding of the two tables: the first to get here writes the plan, and
// returns commitFailed when the switch could not apply it and put back what it had applied,
// undoFailed when it could not put it back either.
int applyOnce(netsnmp_agent_request_info* reqinfo);

}  // namespace Snmp
