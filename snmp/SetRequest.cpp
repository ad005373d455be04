#include "snmp/SetRequest.h"

namespace Snmp {

int crossValidateOnce(netsnmp_agent_request_info* reqinfo, BridgeSnmp::QBridgeMib& mib) {
   if (netsnmp_agent_get_list_data(reqinfo, validatedName)) {
      return SNMP_ERR_NOERROR;
   }
   const auto& egress = requestList<BridgeSnmp::PortSetBindings>(reqinfo, egressListName);
   const auto& untagged = requestList<BridgeSnmp::PortSetBindings>(reqinfo, untaggedListName);
   const auto& pvid = requestList<BridgeSnmp::PvidBindings>(reqinfo, pvidListName);
   const auto& aft = requestList<BridgeSnmp::AftBindings>(reqinfo, aftListName);
   mib.sepActionDelAll();
   mib.aftActionDelAll();
   const bool consistent = BridgeSnmp::validateVlansAndPorts(pvid, aft, egress, untagged);
   // Stored before it is acted on, so that no later binding validates again.
   auto* result = new unsigned char(consistent ? 1 : 0);
   netsnmp_agent_add_list_data(
       reqinfo, netsnmp_create_data_list(validatedName, result, &freeRequestList<unsigned char>));
   return consistent ? SNMP_ERR_NOERROR : SNMP_ERR_INCONSISTENTVALUE;
}

}  // namespace Snmp
