#include "snmp/SetRequest.h"

namespace Snmp {
namespace {

constexpr const char* stateName = "bridgesnmp_set_request";

void freeState(void* state) {
   delete static_cast<SetRequestState*>(state);
}

}  // namespace

SetRequestState& setRequestState(netsnmp_agent_request_info* reqinfo) {
   if (void* found = netsnmp_agent_get_list_data(reqinfo, stateName)) {
      return *static_cast<SetRequestState*>(found);
   }
   auto* state = new SetRequestState();
   netsnmp_agent_add_list_data(reqinfo, netsnmp_create_data_list(stateName, state, &freeState));
   return *state;
}

void checkOnce(netsnmp_agent_request_info* reqinfo, BridgeSnmp::QBridgeMib& mib) {
   SetRequestState& state = setRequestState(reqinfo);
   if (state.checked) {
      return;
   }
   // Marked before the check, so that no later binding checks again.
   state.checked = true;
   const BridgeSnmp::SetBindings& b = state.bindings;
   mib.sepActionDelAll();
   mib.aftActionDelAll();
   BridgeSnmp::BindingFault fault;
   if (BridgeSnmp::validateVlansAndPorts(b.pvid, b.aft, b.egress, b.untagged, &fault)) {
      state.plan = BridgeSnmp::SetPlan::make(b, &fault);
      if (state.plan) {
         return;
      }
   }
   netsnmp_request_info* culprit =
       state.varbinds.at(static_cast<std::size_t>(fault.column)).at(fault.position);
   SNMP_TRACE(3, "QBridgeMib",
              "SET refused: varbind " << culprit->index << " contradicts the request");
   netsnmp_request_set_error(culprit, SNMP_ERR_INCONSISTENTVALUE);
}

int applyOnce(netsnmp_agent_request_info* reqinfo) {
   SetRequestState& state = setRequestState(reqinfo);
   if (state.applied || !state.plan) {
      return SNMP_ERR_NOERROR;
   }
   state.applied = true;
   const BridgeSnmp::SetPlan::Outcome outcome = state.plan->apply();
   if (outcome.failure.empty()) {
      return SNMP_ERR_NOERROR;
   }
   SNMP_TRACE(3, "QBridgeMib",
              "SET not applied by the switch"
                  << (outcome.undone ? " (nothing of it kept): " : " (and not undone): ")
                  << outcome.failure);
   return outcome.undone ? SNMP_ERR_COMMITFAILED : SNMP_ERR_UNDOFAILED;
}

}  // namespace Snmp
