#pragma once

#include <exception>
#include <optional>
#include <sstream>

#include "snmp/NetSnmp.h"
#include "snmp/RequestCounts.h"
#include "snmp/SnmpTrace.h"
#include "snmp/TableFrame.h"
#include "snmp/TableHandler.h"

namespace Snmp {

// The phases of a SET as net-snmp runs them: RESERVE1 and RESERVE2 check, ACTION applies,
// COMMIT makes it final; FREE (after a failed check) and UNDO (after a failed ACTION)
// release and restore.
enum class SetPhase { reserve1, reserve2, action, commit, free, undo };

const char* setPhaseName(SetPhase phase);

// The request loop of a read-write table's handler. A policy adds to the frame's:
//   static const char* columnName(unsigned column);     // GET: nullptr for a column it lacks
//   static int getColumn(const TableFrame<Policy>::DataContext&, unsigned column,
//                        netsnmp_variable_list* var);
//   // SET: the name of a column a SET may name at all, nullptr for any other; and whether
//   // a SET changes it.
//   static const char* setColumnName(unsigned column);
//   static bool writable(unsigned column);
//   // One phase of a SET of a writable column of an existing row (the varbind is
//   // request->requestvb); returns the error status.
//   static int setColumn(SetPhase, netsnmp_agent_request_info*,
//                        const TableFrame<Policy>::DataContext&, unsigned column,
//                        netsnmp_request_info* request);
//
// A SET of a column the policy does not name, or of one it does not change, answers
// notWritable whether or not the row exists; a SET of a writable column of a row that does
// not exist answers noCreation (rows are never created by SET). A mode net-snmp does not
// define answers genErr. In a SET phase the first error ends the pass.
template <class Policy>
struct WritableTableHandler {
   using Frame = TableFrame<Policy>;

   static int handle(netsnmp_mib_handler*, netsnmp_handler_registration*,
                     netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
      static std::uint64_t& served = requestCounter(Policy::name);
      countRequests(served, requests);
      return guardedRequests<Policy>(requests, [&] { return loop(reqinfo, requests); });
   }

 private:
   static std::optional<SetPhase> phaseOf(int mode) {
      switch (mode) {
         case MODE_SET_RESERVE1:
            return SetPhase::reserve1;
         case MODE_SET_RESERVE2:
            return SetPhase::reserve2;
         case MODE_SET_ACTION:
            return SetPhase::action;
         case MODE_SET_COMMIT:
            return SetPhase::commit;
         case MODE_SET_FREE:
            return SetPhase::free;
         case MODE_SET_UNDO:
            return SetPhase::undo;
         default:
            return std::nullopt;
      }
   }

   static int loop(netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
      SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: request mode " << reqinfo->mode);
      const std::optional<SetPhase> phase = phaseOf(reqinfo->mode);
      if (reqinfo->mode != MODE_GET && !phase) {
         SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: request with unsupported mode");
         for (netsnmp_request_info* request = requests; request; request = request->next) {
            if (!request->processed) {
               netsnmp_request_set_error(request, SNMP_ERR_GENERR);
            }
         }
         return SNMP_ERR_GENERR;
      }
      for (netsnmp_request_info* request = requests; request; request = request->next) {
         if (request->processed) {
            SNMP_TRACE(2, Policy::unit,
                       Policy::name << "_handler: request " << request << " already processed");
            continue;
         }
         const int error = phase ? set(*phase, reqinfo, request) : get(request);
         if (error != SNMP_ERR_NOERROR) {
            netsnmp_request_set_error(request, error);
            if (phase) {
               break;
            }
         }
      }
      return SNMP_ERR_NOERROR;
   }

   static int get(netsnmp_request_info* request) {
      const auto* data = Frame::dataContext(request);
      netsnmp_table_request_info* table = netsnmp_extract_table_info(request);
      if (!data || !table) {
         // The iterator has answered noSuchInstance already.
         SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: null data context in request");
         return SNMP_ERR_NOERROR;
      }
      const char* column = Policy::columnName(table->colnum);
      if (!column) {
         SNMP_TRACE(2, Policy::unit, Policy::name << " invalid column");
         return SNMP_NOSUCHOBJECT;
      }
      if (snmpTrace().enabled(2)) [[unlikely]] {
         std::ostringstream key;
         Policy::printKey(key, data->key);
         SNMP_TRACE(2, Policy::unit,
                    Policy::name << "_handler: request GET for column " << column << ", key "
                                 << key.str());
      }
      return Policy::getColumn(*data, table->colnum, request->requestvb);
   }

   // The reason a varbind is refused, traced once, when RESERVE1 first finds it.
   static void refusal(SetPhase phase, const netsnmp_request_info* request, const char* status,
                       const char* what) {
      if (phase == SetPhase::reserve1) {
         SNMP_TRACE(3, Policy::unit,
                    "SET refused (" << status << "): varbind " << request->index << " " << what
                                    << " " << Policy::name);
      }
   }

   static int set(SetPhase phase, netsnmp_agent_request_info* reqinfo,
                  netsnmp_request_info* request) {
      netsnmp_table_request_info* table = netsnmp_extract_table_info(request);
      const char* column = table ? Policy::setColumnName(table->colnum) : nullptr;
      if (!column) {
         SNMP_TRACE(2, Policy::unit, Policy::name << " invalid column");
         refusal(phase, request, "notWritable", "names no writable column of");
         return SNMP_ERR_NOTWRITABLE;
      }
      if (!Policy::writable(table->colnum)) {
         SNMP_TRACE(2, Policy::unit,
                    Policy::name << "_handler: SET is not configured for column " << column);
         refusal(phase, request, "notWritable", "names a read-only column of");
         return SNMP_ERR_NOTWRITABLE;
      }
      const auto* data = Frame::dataContext(request);
      if (!data) {
         // A complete index naming no row: SET creates no rows.
         SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: null data context in request");
         refusal(phase, request, "noCreation", "names no row of");
         return SNMP_ERR_NOCREATION;
      }
      if (snmpTrace().enabled(2)) [[unlikely]] {
         std::ostringstream key;
         Policy::printKey(key, data->key);
         SNMP_TRACE(2, Policy::unit,
                    Policy::name << "_handler: request " << setPhaseName(phase) << " for column "
                                 << column << ", key " << key.str());
      }
      return Policy::setColumn(phase, reqinfo, *data, table->colnum, request);
   }
};

inline const char* setPhaseName(SetPhase phase) {
   switch (phase) {
      case SetPhase::reserve1:
         return "SET_RESERVE1";
      case SetPhase::reserve2:
         return "SET_RESERVE2";
      case SetPhase::action:
         return "SET_ACTION";
      case SetPhase::commit:
         return "SET_COMMIT";
      case SetPhase::free:
         return "SET_FREE";
      case SetPhase::undo:
         return "SET_UNDO";
   }
   return "?";
}

}  // namespace Snmp
