#include "snmp/RequestSerializer.h"

namespace Snmp {
namespace {

// Sets CurrentRequest for one varbind's trip and clears it however the trip ends.
class SearchScope {
 public:
   explicit SearchScope(int mode) {
      CurrentRequest::search =
          mode == MODE_GETNEXT || mode == MODE_GETBULK    ? CurrentRequest::Search::next
          : mode == MODE_GET || mode == MODE_SET_RESERVE1 ? CurrentRequest::Search::exact
                                                          : CurrentRequest::Search::unknown;
   }
   ~SearchScope() { CurrentRequest::search = CurrentRequest::Search::unknown; }
   SearchScope(const SearchScope&) = delete;
   SearchScope& operator=(const SearchScope&) = delete;
};

int serializeRequests(netsnmp_mib_handler* handler, netsnmp_handler_registration* reginfo,
                      netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
   netsnmp_request_info* request = requests;
   while (request) {
      netsnmp_request_info* const following = request->next;
      request->next = nullptr;
      int status = SNMP_ERR_NOERROR;
      {
         // Read per varbind: a helper below may change the mode for its own trip.
         const SearchScope scope(reqinfo->mode);
         status = netsnmp_call_next_handler(handler, reginfo, reqinfo, request);
      }
      request->next = following;
      if (status != SNMP_ERR_NOERROR) {
         return status;
      }
      request = following;
   }
   return SNMP_ERR_NOERROR;
}

}  // namespace

netsnmp_mib_handler* makeRequestSerializer() {
   return netsnmp_create_handler("bridgesnmp_serialize", serializeRequests);
}

}  // namespace Snmp
