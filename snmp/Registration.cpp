#include "snmp/Registration.h"

#include <string>

#include "platform/kel/Assert.h"
#include "snmp/RequestSerializer.h"
#include "snmp/SnmpTrace.h"

namespace Snmp {

std::string oidText(const std::vector<oid>& name) {
   char text[200];
   snprint_objid(text, sizeof text, name.data(), name.size());
   return text;
}

void registerTable(const TableSpec& table) {
   const std::string function = std::string("initialize_table_") + table.name;
   SNMP_TRACE(1, table.unit, function << " initializing oid " << oidText(table.tableOid));
   netsnmp_handler_registration* reg = netsnmp_create_handler_registration(
       table.name, table.handler, table.tableOid.data(), table.tableOid.size(), table.access);
   if (!reg) {
      Kel::assertionFailed(("reg_" + std::string(table.name)).c_str(), __FILE__, __LINE__,
                           __func__);
   }
   reg->my_reg_void = table.entity;
   reg->priority = table.priority;

   auto* info = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
   for (const IndexSpec& index : table.indexes) {
      netsnmp_variable_list* added = nullptr;
      if (index.type == ASN_PRIV_IMPLIED_OCTET_STR) {
         // A MAC address: six sub-identifiers in the OID, no length before them.
         added = snmp_varlist_add_variable(&info->indexes, nullptr, 0, index.type,
                                           reinterpret_cast<const u_char*>("XXXXXX"), 6);
      } else {
         added = snmp_varlist_add_variable(&info->indexes, nullptr, 0, index.type, nullptr, 0);
      }
      if (!added) {
         SNMP_TRACE(0, table.unit,
                    "Failed to set up " << table.indexes.front().name << " in netsnmp table_info");
         snmp_free_varbind(info->indexes);
         SNMP_FREE(info);
         netsnmp_handler_registration_free(reg);
         return;
      }
   }
   info->number_indexes = static_cast<unsigned>(table.indexes.size());
   info->min_column = table.minColumn;
   info->max_column = table.maxColumn;
   // Valid columns as a list, not a range: net-snmp skips the columns a table lacks.
   auto* columns = SNMP_MALLOC_TYPEDEF(netsnmp_column_info);
   columns->isRange = 0;
   columns->list_count = static_cast<char>(table.validColumns.size());
   columns->details.list = new unsigned int[table.validColumns.size()];
   for (std::size_t i = 0; i < table.validColumns.size(); ++i) {
      columns->details.list[i] = table.validColumns[i];
   }
   info->valid_columns = columns;

   auto* iterator = SNMP_MALLOC_TYPEDEF(netsnmp_iterator_info);
   iterator->get_first_data_point = table.callbacks.first;
   iterator->get_next_data_point = table.callbacks.next;
   iterator->make_data_context = table.callbacks.makeDataContext;
   iterator->free_data_context = table.callbacks.freeDataContext;
   iterator->free_loop_context_at_end = table.callbacks.freeLoopContextAtEnd;
   iterator->myvoid = table.entity;
   iterator->flags |= NETSNMP_ITERATOR_FLAG_SORTED;
   iterator->table_reginfo = info;

   const int result = netsnmp_register_table_iterator(reg, iterator);
   KEL_ASSERT(result == 0);
   // One varbind after another through the handler.
   const int injected = netsnmp_inject_handler(reg, makeRequestSerializer());
   KEL_ASSERT(injected == (0));
   SNMP_TRACE(8, table.unit, "Initialized table " << table.name << " ");
}

void debugInitializing(const char* token, const char* function, const char* file, int line) {
   if (snmp_get_do_debugging()) {
      debugmsgtoken("trace", "%s(): %s, %d:\n", function, file, line);
      debugmsg("trace", "%s(): %s, %d:\n", function, file, line);
      debugmsgtoken(token, "Initializing\n");
      debugmsg(token, "Initializing\n");
   }
}

}  // namespace Snmp
