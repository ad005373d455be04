#pragma once

#include <algorithm>
#include <exception>
#include <iterator>
#include <optional>
#include <type_traits>
#include <vector>

#include "snmp/MibObjects.h"
#include "snmp/NetSnmp.h"
#include "snmp/Registration.h"
#include "snmp/RequestCounts.h"
#include "snmp/SnmpTrace.h"
#include "snmp/TableFrame.h"

namespace Snmp {

// The phases of a SET as net-snmp runs them: RESERVE1 and RESERVE2 check, ACTION applies,
// COMMIT makes it final; FREE (after a failed check) and UNDO (after a failed ACTION)
// release and restore. In the order of net-snmp's modes, MODE_SET_RESERVE1 (0) to
// MODE_SET_UNDO (5).
enum class SetPhase { reserve1, reserve2, action, commit, free, undo };
inline constexpr const char* setPhaseNames[] = {"SET_RESERVE1", "SET_RESERVE2", "SET_ACTION",
                                                "SET_COMMIT",   "SET_FREE",     "SET_UNDO"};

// The request loop of a table's handler. A policy adds to the frame's:
//   static constexpr Column<Row> columns[];    // the columns served, by number
//   static constexpr EntityAt<Entity> entity;  // where the handler's entity is mounted
//   static constexpr oid tableOid[];
//   static constexpr IndexSpec indexes[];
// and, for a read-write table (one with a writable column), one phase of a SET of a writable column
// of an existing row (the varbind is request->requestvb), returning the error status:
//   static int setColumn(SetPhase, netsnmp_agent_request_info*,
//                        const TableFrame<Policy>::DataContext&, unsigned column,
//                        netsnmp_request_info* request);
//
// A read-only table answers notWritable to every mode but GET. In a read-write one, a SET
// of a column no SET may name, or of a read-only one, answers notWritable whether or not
// the row exists; a SET of a writable column of a row that does not exist answers
// noCreation (rows are never created by SET); a mode net-snmp does not define answers
// genErr, and in a SET phase the first error ends the pass.
template <class Policy>
struct TableHandler {
   using Frame = TableFrame<Policy>;
   using Row = std::remove_const_t<typename Frame::Row>;
   static constexpr bool writable = std::ranges::any_of(
       Policy::columns, [](const Column<Row>& c) { return c.set == SetAccess::writable; });

   static int handle(netsnmp_mib_handler*, netsnmp_handler_registration*,
                     netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
      static std::uint64_t& served = requestCounter(Policy::name);
      countRequests(served, requests);
      try {
         return loop(reqinfo, requests);
      } catch (const std::exception& e) {
         // Stops here (net-snmp's frames are C): genErr for every request not yet done.
         SNMP_TRACE(0, Policy::unit, Policy::name << "_handler: " << e.what());
         failUnprocessed(requests);
      }
      return SNMP_ERR_NOERROR;
   }

 private:
   static void failUnprocessed(netsnmp_request_info* requests) {
      for (netsnmp_request_info* request = requests; request; request = request->next) {
         if (!request->processed) {
            netsnmp_request_set_error(request, SNMP_ERR_GENERR);
         }
      }
   }

   static std::optional<SetPhase> phaseOf(int mode) {
      static_assert(MODE_SET_RESERVE1 == 0 && MODE_SET_UNDO == 5);
      if (!writable || mode < MODE_SET_RESERVE1 || mode > MODE_SET_UNDO) {
         return std::nullopt;
      }
      return static_cast<SetPhase>(mode);
   }

   static int loop(netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
      SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: request mode " << reqinfo->mode);
      const std::optional<SetPhase> phase = phaseOf(reqinfo->mode);
      if (writable && reqinfo->mode != MODE_GET && !phase) {
         SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: request with unsupported mode");
         failUnprocessed(requests);
         return SNMP_ERR_GENERR;
      }
      for (netsnmp_request_info* request = requests; request; request = request->next) {
         if (request->processed) {
            SNMP_TRACE(2, Policy::unit,
                       Policy::name << "_handler: request " << request << " already processed");
            continue;
         }
         int error = SNMP_ERR_NOERROR;
         if (phase) {
            error = set(*phase, reqinfo, request);
         } else if (reqinfo->mode == MODE_GET) {
            error = get(request);
         } else {
            SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: request mode " << reqinfo->mode);
            error = SNMP_ERR_NOTWRITABLE;
         }
         if (error != SNMP_ERR_NOERROR) {
            netsnmp_request_set_error(request, error);
            if (phase) {
               break;
            }
         }
      }
      return SNMP_ERR_NOERROR;
   }

   static void traceRequest(const char* what, const char* column, const typename Frame::Key& key) {
      SNMP_TRACE(2, Policy::unit,
                 Policy::name << "_handler: request " << what << " for column " << column
                              << ", key " << key);
   }

   static int get(netsnmp_request_info* request) {
      const auto* data = Frame::dataContext(request);
      netsnmp_table_request_info* table = netsnmp_extract_table_info(request);
      if (!data || !table) {
         // The iterator has answered noSuchInstance already.
         SNMP_TRACE(2, Policy::unit, Policy::name << "_handler: null data context in request");
         return SNMP_ERR_NOERROR;
      }
      const Column<Row>* column = findColumn(Policy::columns, table->colnum);
      if (!column) {
         SNMP_TRACE(2, Policy::unit, Policy::name << " invalid column");
         return SNMP_NOSUCHOBJECT;
      }
      traceRequest("GET", column->name, data->key);
      return getColumn(*column, *data->row, request->requestvb, Policy::unit, Policy::name,
                       Policy::entity.path);
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
      const Column<Row>* column = table ? findColumn(Policy::columns, table->colnum) : nullptr;
      if (!column || column->set == SetAccess::none) {
         SNMP_TRACE(2, Policy::unit, Policy::name << " invalid column");
         refusal(phase, request, "notWritable", "names no writable column of");
         return SNMP_ERR_NOTWRITABLE;
      }
      if (column->set != SetAccess::writable) {
         SNMP_TRACE(2, Policy::unit,
                    Policy::name << "_handler: SET is not configured for column " << column->name);
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
      traceRequest(setPhaseNames[static_cast<int>(phase)], column->name, data->key);
      if constexpr (writable) {
         return Policy::setColumn(phase, reqinfo, *data, table->colnum, request);
      }
      return SNMP_ERR_NOTWRITABLE;
   }
};

// Registers a policy's table: its columns, indexes and entity as the policy states them.
template <class Policy>
void registerTable(Netsnmp_Node_Handler* handler, const IteratorCallbacks& callbacks) {
   std::vector<unsigned> columns;
   for (const auto& c : Policy::columns) {
      columns.push_back(c.number);
   }
   registerTable(Policy::unit, Policy::name, handler, Policy::tableOid,
                 TableHandler<Policy>::writable ? HANDLER_CAN_RWRITE : HANDLER_CAN_RONLY,
                 Policy::indexes, columns, callbacks,
                 entityAt<typename Policy::Entity>(Policy::entity.path), Policy::priority);
}

}  // namespace Snmp

// Defines a table's named net-snmp entry points over its policy: the frame's callbacks,
// <table>_handler and initialize_table_<table>.
#define SNMP_TABLE(table, Policy)                                                                \
   SNMP_TABLE_CALLBACKS(table, Policy)                                                           \
   int table##_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,                  \
                       netsnmp_agent_request_info* i, netsnmp_request_info* q) {                 \
      return ::Snmp::TableHandler<Policy>::handle(h, r, i, q);                                   \
   }                                                                                             \
   void initialize_table_##table() {                                                             \
      ::Snmp::registerTable<Policy>(                                                             \
          table##_handler,                                                                       \
          {table##_get_first_data_point, table##_get_next_data_point, table##_make_data_context, \
           table##_free_data_context, table##_free_loop_context_at_end});                        \
   }
