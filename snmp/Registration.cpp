#include "snmp/Registration.h"

#include <algorithm>
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

void registerTable(const char* unit, const char* name, Netsnmp_Node_Handler* handler,
                   std::span<const oid> tableOid, int access, std::span<const IndexSpec> indexes,
                   std::span<const unsigned> columns, const IteratorCallbacks& callbacks,
                   void* entity, int priority) {
   SNMP_TRACE(1, unit,
              "initialize_table_" << name << " initializing oid "
                                  << oidText({tableOid.begin(), tableOid.end()}));
   netsnmp_handler_registration* reg =
       netsnmp_create_handler_registration(name, handler, tableOid.data(), tableOid.size(), access);
   if (!reg) {
      Kel::assertionFailed(("reg_" + std::string(name)).c_str(), __FILE__, __LINE__, __func__);
   }
   reg->my_reg_void = entity;
   reg->priority = priority;

   auto* info = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
   for (const IndexSpec& index : indexes) {
      netsnmp_variable_list* added = nullptr;
      if (index.type == ASN_PRIV_IMPLIED_OCTET_STR) {
         // A MAC address: six sub-identifiers in the OID, no length before them.
         added = snmp_varlist_add_variable(&info->indexes, nullptr, 0, index.type,
                                           reinterpret_cast<const u_char*>("XXXXXX"), 6);
      } else {
         added = snmp_varlist_add_variable(&info->indexes, nullptr, 0, index.type, nullptr, 0);
      }
      if (!added) {
         SNMP_TRACE(0, unit,
                    "Failed to set up " << indexes.front().name << " in netsnmp table_info");
         snmp_free_varbind(info->indexes);
         SNMP_FREE(info);
         netsnmp_handler_registration_free(reg);
         return;
      }
   }
   info->number_indexes = static_cast<unsigned>(indexes.size());
   info->min_column = columns.front();
   info->max_column = columns.back();
   // Valid columns as a list, not a range: net-snmp skips the columns a table lacks.
   auto* valid = SNMP_MALLOC_TYPEDEF(netsnmp_column_info);
   valid->isRange = 0;
   valid->list_count = static_cast<char>(columns.size());
   valid->details.list = new unsigned int[columns.size()];
   std::copy(columns.begin(), columns.end(), valid->details.list);
   info->valid_columns = valid;

   auto* iterator = SNMP_MALLOC_TYPEDEF(netsnmp_iterator_info);
   iterator->get_first_data_point = callbacks.first;
   iterator->get_next_data_point = callbacks.next;
   iterator->make_data_context = callbacks.makeDataContext;
   iterator->free_data_context = callbacks.freeDataContext;
   iterator->free_loop_context_at_end = callbacks.freeLoopContextAtEnd;
   iterator->myvoid = entity;
   iterator->flags |= NETSNMP_ITERATOR_FLAG_SORTED;
   iterator->table_reginfo = info;

   const int result = netsnmp_register_table_iterator(reg, iterator);
   KEL_ASSERT(result == 0);
   // One varbind after another through the handler.
   const int injected = netsnmp_inject_handler(reg, makeRequestSerializer());
   KEL_ASSERT(injected == (0));
   SNMP_TRACE(8, unit, "Initialized table " << name << " ");
}

}  // namespace Snmp
