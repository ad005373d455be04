#pragma once

#include "model/QBridgeMib.h"
#include "snmp/NetSnmp.h"
#include "validation/CrossValidation.h"

// What one SET request gathers across dot1qVlanStaticTable and dot1qPortVlanTable: the
// bindings of each writable column, kept as net-snmp list data on the request (which owns
// and frees them), and the one cross validation of them all.
namespace Snmp {

inline constexpr const char* egressListName = "dot1qVlanStaticEgressPorts";
inline constexpr const char* untaggedListName = "dot1qVlanStaticUntaggedPorts";
inline constexpr const char* pvidListName = "dot1qPvid";
inline constexpr const char* aftListName = "dot1qPortAcceptableFrameTypes";
inline constexpr const char* validatedName = "called_validateVlansAndPorts";

template <class Bindings>
void freeRequestList(void* list) {
   delete static_cast<Bindings*>(list);
}

// The request's list under `name`, made empty (and handed to the request) when absent.
template <class Bindings>
Bindings& requestList(netsnmp_agent_request_info* reqinfo, const char* name) {
   if (void* found = netsnmp_agent_get_list_data(reqinfo, name)) {
      return *static_cast<Bindings*>(found);
   }
   auto* list = new Bindings();
   netsnmp_agent_add_list_data(reqinfo,
                               netsnmp_create_data_list(name, list, &freeRequestList<Bindings>));
   return *list;
}

// RESERVE2 of any binding of the two tables: the first to get here validates every binding
// of the request together, with the cache's per-request decisions emptied first; the others
// find it done. Returns inconsistentValue for the binding that ran a validation that failed.
int crossValidateOnce(netsnmp_agent_request_info* reqinfo, BridgeSnmp::QBridgeMib& mib);

}  // namespace Snmp
