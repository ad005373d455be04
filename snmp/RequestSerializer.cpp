#include "snmp/RequestSerializer.h"

#include <algorithm>

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

// Whether a GET names a column the table does not serve. net-snmp's table helper answers it
// noSuchObject under the column's name, cut short of the instance asked for, which a poller
// that matches answers by name cannot use; it is answered here, under the name asked for.
bool namesAColumnNotServed(netsnmp_handler_registration* reginfo,
                           const netsnmp_variable_list* var) {
   const std::size_t root = reginfo->rootoid_len;  // <table>.1.<column>.<index>
   if (var->name_length <= root + 1 ||
       snmp_oid_compare(var->name, root, reginfo->rootoid, root) != 0 || var->name[root] != 1) {
      return false;  // not under the table's entry: net-snmp's to answer
   }
   const netsnmp_table_registration_info* table = netsnmp_find_table_registration_info(reginfo);
   if (!table) {
      return false;
   }
   const oid column = var->name[root + 1];
   if (column < table->min_column || column > table->max_column) {
      return true;
   }
   for (const netsnmp_column_info* c = table->valid_columns; c; c = c->next) {
      if (c->isRange ? column >= c->details.range[0] && column <= c->details.range[1]
                     : std::find(c->details.list, c->details.list + c->list_count, column) !=
                           c->details.list + c->list_count) {
         return false;
      }
   }
   return table->valid_columns != nullptr;
}

int serializeRequests(netsnmp_mib_handler* handler, netsnmp_handler_registration* reginfo,
                      netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
   netsnmp_request_info* request = requests;
   while (request) {
      netsnmp_request_info* const following = request->next;
      request->next = nullptr;
      int status = SNMP_ERR_NOERROR;
      if (reqinfo->mode == MODE_GET && namesAColumnNotServed(reginfo, request->requestvb)) {
         netsnmp_set_request_error(reqinfo, request, SNMP_NOSUCHOBJECT);
      } else {
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
