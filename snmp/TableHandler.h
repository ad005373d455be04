#pragma once

#include <exception>
#include <sstream>

#include "snmp/NetSnmp.h"
#include "snmp/RequestCounts.h"
#include "snmp/SnmpTrace.h"
#include "snmp/TableFrame.h"

namespace Snmp {

// Runs a table handler's request loop; an exception stops at this frame (net-snmp's are C)
// and answers genErr for every request not yet done.
template <class Policy, class Loop>
int guardedRequests(netsnmp_request_info* requests, Loop&& loop) {
   try {
      return loop();
   } catch (const std::exception& e) {
      SNMP_TRACE(0, Policy::unit, Policy::name << "_handler: " << e.what());
      for (netsnmp_request_info* r = requests; r; r = r->next) {
         if (!r->processed) {
            netsnmp_request_set_error(r, SNMP_ERR_GENERR);
         }
      }
   }
   return SNMP_ERR_NOERROR;
}

// The request loop of a table's handler: GET only. A policy adds to the frame's:
//   static const char* columnName(unsigned column);   // nullptr for a column it lacks
//   // Sets the column's value into the varbind; returns the error status to set (0: none).
//   static int getColumn(const TableFrame<Policy>::DataContext&, unsigned column,
//                        netsnmp_variable_list* var);
template <class Policy>
struct ReadOnlyTableHandler {
   using Frame = TableFrame<Policy>;

   static int handle(netsnmp_mib_handler*, netsnmp_handler_registration*,
                     netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
      static std::uint64_t& served = requestCounter(Policy::name);
      countRequests(served, requests);
      return guardedRequests<Policy>(requests, [&] { return loop(reqinfo, requests); });
   }

   static int loop(netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
      SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: request mode " << reqinfo->mode);
      for (netsnmp_request_info* request = requests; request; request = request->next) {
         if (request->processed) {
            SNMP_TRACE(2, Policy::unit,
                       Policy::name << "_handler: request " << request << " already processed");
            continue;
         }
         if (reqinfo->mode != MODE_GET) {
            SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: request mode " << reqinfo->mode);
            netsnmp_request_set_error(request, SNMP_ERR_NOTWRITABLE);
            continue;
         }
         const auto* data = Frame::dataContext(request);
         netsnmp_table_request_info* table = netsnmp_extract_table_info(request);
         if (!data || !table) {
            SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: null data context in request");
            continue;
         }
         const char* column = Policy::columnName(table->colnum);
         if (!column) {
            SNMP_TRACE(2, Policy::unit, Policy::name << " invalid column");
            netsnmp_request_set_error(request, SNMP_NOSUCHOBJECT);
            continue;
         }
         if (snmpTrace().enabled(2)) [[unlikely]] {
            std::ostringstream key;
            Policy::printKey(key, data->key);
            SNMP_TRACE(2, Policy::unit,
                       Policy::name << "_handler: request GET for column " << column << ", key"
                                    << " " << key.str());
         }
         if (const int error = Policy::getColumn(*data, table->colnum, request->requestvb)) {
            netsnmp_request_set_error(request, error);
         }
      }
      return SNMP_ERR_NOERROR;
   }
};

// Stores `n` converted bytes as the varbind's value, or traces the failure and answers
// genErr: the column step every table shares.
inline int storeConverted(netsnmp_variable_list* var, u_char type, const unsigned char* buf, int n,
                          const char* unit, const char* failureText) {
   if (n < 0) {
      SNMP_TRACE(2, unit, failureText);
      return SNMP_ERR_GENERR;
   }
   snmp_set_var_typed_value(var, type, buf, static_cast<std::size_t>(n));
   return SNMP_ERR_NOERROR;
}

}  // namespace Snmp
