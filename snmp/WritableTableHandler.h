#pragma once

#include <exception>
#include <sstream>

#include "snmp/NetSnmp.h"
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
//   // SET: the name of a column a SET may name at all, nullptr for any other.
//   static const char* setColumnName(unsigned column);
//   // One phase of a SET of that column of an existing row; returns the error status.
//   static int setColumn(SetPhase, const TableFrame<Policy>::DataContext&, unsigned column,
//                        netsnmp_variable_list* var);
//
// A SET of a column the policy does not name answers notWritable; a SET naming a row that
// does not exist answers noCreation (rows are never created by SET). Policies answer a
// column they do not change with notConfigured(). Any other mode answers genErr.
template <class Policy>
struct WritableTableHandler {
   using Frame = TableFrame<Policy>;

   static int handle(netsnmp_mib_handler*, netsnmp_handler_registration*,
                     netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
      return guardedRequests<Policy>(requests, [&] { return loop(reqinfo, requests); });
   }

   // The answer of a column that no SET changes: traced, notWritable.
   static int notConfigured(unsigned column) {
      SNMP_TRACE(2, Policy::unit,
                 Policy::name << "_handler: SET is not configured for column "
                              << Policy::setColumnName(column));
      return SNMP_ERR_NOTWRITABLE;
   }

 private:
   static int loop(netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
      SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: request mode " << reqinfo->mode);
      for (netsnmp_request_info* request = requests; request; request = request->next) {
         if (request->processed) {
            SNMP_TRACE(2, Policy::unit,
                       Policy::name << "_handler: request " << request << " already processed");
            continue;
         }
         int error = SNMP_ERR_NOERROR;
         switch (reqinfo->mode) {
            case MODE_GET:
               error = get(request);
               break;
            case MODE_SET_RESERVE1:
               error = set(SetPhase::reserve1, request);
               break;
            case MODE_SET_RESERVE2:
               error = set(SetPhase::reserve2, request);
               break;
            case MODE_SET_ACTION:
               error = set(SetPhase::action, request);
               break;
            case MODE_SET_COMMIT:
               error = set(SetPhase::commit, request);
               break;
            case MODE_SET_FREE:
               error = set(SetPhase::free, request);
               break;
            case MODE_SET_UNDO:
               error = set(SetPhase::undo, request);
               break;
            default:
               SNMP_TRACE(2, Policy::unit,
                          Policy::name << "_handler: unknown mode " << reqinfo->mode);
               error = SNMP_ERR_GENERR;
               break;
         }
         if (error != SNMP_ERR_NOERROR) {
            netsnmp_request_set_error(request, error);
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
      if (snmpTrace().enabled(2)) {
         std::ostringstream key;
         Policy::printKey(key, data->key);
         SNMP_TRACE(2, Policy::unit,
                    Policy::name << "_handler: request GET for column " << column << ", key "
                                 << key.str());
      }
      return Policy::getColumn(*data, table->colnum, request->requestvb);
   }

   static int set(SetPhase phase, netsnmp_request_info* request) {
      const auto* data = Frame::dataContext(request);
      netsnmp_table_request_info* table = netsnmp_extract_table_info(request);
      if (!data || !table) {
         // A complete index naming no row: SET creates no rows.
         SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: null data context in request");
         return SNMP_ERR_NOCREATION;
      }
      const char* column = Policy::setColumnName(table->colnum);
      if (!column) {
         SNMP_TRACE(2, Policy::unit, Policy::name << " invalid column");
         return SNMP_ERR_NOTWRITABLE;
      }
      if (snmpTrace().enabled(2)) {
         std::ostringstream key;
         Policy::printKey(key, data->key);
         SNMP_TRACE(2, Policy::unit,
                    Policy::name << "_handler: request " << setPhaseName(phase) << " for column "
                                 << column << ", key " << key.str());
      }
      return Policy::setColumn(phase, *data, table->colnum, request->requestvb);
   }
};

inline const char* setPhaseName(SetPhase phase) {
   switch (phase) {
      case SetPhase::reserve1:
         return "RESERVE1";
      case SetPhase::reserve2:
         return "RESERVE2";
      case SetPhase::action:
         return "ACTION";
      case SetPhase::commit:
         return "COMMIT";
      case SetPhase::free:
         return "FREE";
      case SetPhase::undo:
         return "UNDO";
   }
   return "?";
}

}  // namespace Snmp
