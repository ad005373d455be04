// bridgesnmp_floor.so: a benchmark-only snmpd plug-in that serves a fixed set of forwarding
// rows through a plain net-snmp table iterator, sorted and hinted, with nothing else in the
// way. The walk benchmark times walks of the real forwarding tables against walks of this
// one, loaded in the same snmpd with the same rows: what the real tables cost above this is
// the plug-in's own overhead.
//
//   dlmod bridgesnmp_floor /path/to/bridgesnmp_floor.so
//   bridgesnmpFloorRows /path/to/rows.txt      # lines "<fid> <mac> <port> <status>"
//
// Two tables over the same rows, in the two index shapes of the forwarding tables:
//   1.3.6.1.4.1.32473.99.1  indexed by FID and address, columns 2 (port) and 3 (status),
//                           like dot1qTpFdbTable;
//   1.3.6.1.4.1.32473.99.2  indexed by the address, columns 1 (address), 2 and 3, like
//                           dot1dTpFdbTable (the rows of FID 1).
// Addresses are indexes of six sub-identifiers with no length before them.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <tuple>
#include <vector>

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

namespace {

constexpr const char* rowsToken = "bridgesnmpFloorRows";

struct Row {
   std::uint32_t fid = 0;
   std::array<u_char, 6> mac{};
   long port = 0;
   long status = 0;

   auto key() const { return std::tie(fid, mac); }
};

// Every row, ordered by (FID, address): the order of the OIDs of both tables.
std::vector<Row> allRows;
// The rows of FID 1, for the table indexed by the address alone.
std::vector<Row> fidOneRows;

struct Shape {
   bool withFid;
   const std::vector<Row>* rows;
};

Shape byFidAndAddress{true, &allRows};
Shape byAddress{false, &fidOneRows};

netsnmp_handler_registration* registrations[2] = {nullptr, nullptr};

struct Loop {
   const std::vector<Row>* rows;
   std::size_t at;
};

const Shape& shapeOf(const netsnmp_iterator_info* info) {
   return *static_cast<const Shape*>(info->myvoid);
}

// Where a walk for `hint` starts: the first row not before the key the hint names, or the
// first row when it names none.
std::size_t seek(const Shape& shape, const netsnmp_table_request_info& hint) {
   const netsnmp_variable_list* index = hint.indexes;
   Row key;
   if (hint.number_indexes != (shape.withFid ? 2U : 1U) || !index) {
      return 0;
   }
   if (shape.withFid) {
      if (index->type != ASN_UNSIGNED || !index->val.integer) {
         return 0;
      }
      key.fid = static_cast<std::uint32_t>(*index->val.integer);
      index = index->next_variable;
   } else {
      key.fid = 1;
   }
   if (!index || index->val_len != 6 || !index->val.string) {
      return 0;
   }
   std::copy(index->val.string, index->val.string + 6, key.mac.begin());
   const auto& rows = *shape.rows;
   return static_cast<std::size_t>(
       std::lower_bound(rows.begin(), rows.end(), key,
                        [](const Row& a, const Row& b) { return a.key() < b.key(); }) -
       rows.begin());
}

netsnmp_variable_list* offer(Loop& loop, void** dataContext, netsnmp_variable_list* put,
                             const Shape& shape) {
   if (loop.at >= loop.rows->size()) {
      *dataContext = nullptr;
      return nullptr;
   }
   const Row& row = (*loop.rows)[loop.at];
   *dataContext = const_cast<Row*>(&row);
   netsnmp_variable_list* var = put;
   if (shape.withFid) {
      const u_long fid = row.fid;
      snmp_set_var_value(var, &fid, sizeof fid);
      var = var->next_variable;
   }
   snmp_set_var_value(var, row.mac.data(), row.mac.size());
   return put;
}

netsnmp_variable_list* firstDataPoint(void** loopContext, void** dataContext,
                                      netsnmp_variable_list* put, netsnmp_iterator_info* info) {
   // net-snmp passes the request's table information in *loopContext on the first pass of a
   // sorted table, and nothing on the passes for further columns.
   const auto* hint = static_cast<const netsnmp_table_request_info*>(*loopContext);
   const Shape& shape = shapeOf(info);
   auto* loop = new Loop{shape.rows, hint ? seek(shape, *hint) : 0};
   *loopContext = loop;
   return offer(*loop, dataContext, put, shape);
}

netsnmp_variable_list* nextDataPoint(void** loopContext, void** dataContext,
                                     netsnmp_variable_list* put, netsnmp_iterator_info* info) {
   auto* loop = static_cast<Loop*>(*loopContext);
   ++loop->at;
   return offer(*loop, dataContext, put, shapeOf(info));
}

void freeLoopContext(void* loopContext, netsnmp_iterator_info*) {
   delete static_cast<Loop*>(loopContext);
}

int handler(netsnmp_mib_handler*, netsnmp_handler_registration*,
            netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
   for (netsnmp_request_info* request = requests; request; request = request->next) {
      if (request->processed) {
         continue;
      }
      if (reqinfo->mode != MODE_GET) {
         netsnmp_set_request_error(reqinfo, request, SNMP_ERR_NOTWRITABLE);
         continue;
      }
      const auto* row = static_cast<const Row*>(netsnmp_extract_iterator_context(request));
      const netsnmp_table_request_info* table = netsnmp_extract_table_info(request);
      if (!row || !table) {
         netsnmp_set_request_error(reqinfo, request, SNMP_NOSUCHINSTANCE);
         continue;
      }
      switch (table->colnum) {
         case 1:
            snmp_set_var_typed_value(request->requestvb, ASN_OCTET_STR, row->mac.data(),
                                     row->mac.size());
            break;
         case 2:
            snmp_set_var_typed_integer(request->requestvb, ASN_INTEGER, row->port);
            break;
         case 3:
            snmp_set_var_typed_integer(request->requestvb, ASN_INTEGER, row->status);
            break;
         default:
            netsnmp_set_request_error(reqinfo, request, SNMP_NOSUCHOBJECT);
            break;
      }
   }
   return SNMP_ERR_NOERROR;
}

netsnmp_handler_registration* registerTable(const char* name, const std::vector<oid>& root,
                                            Shape& shape) {
   netsnmp_handler_registration* reg = netsnmp_create_handler_registration(
       name, handler, root.data(), root.size(), HANDLER_CAN_RONLY);
   auto* table = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
   auto* iterator = SNMP_MALLOC_TYPEDEF(netsnmp_iterator_info);
   if (!reg || !table || !iterator) {
      snmp_log(LOG_ERR, "bridgesnmp_floor: out of memory registering %s\n", name);
      return nullptr;
   }
   if (shape.withFid) {
      netsnmp_table_helper_add_indexes(table, ASN_UNSIGNED, ASN_PRIV_IMPLIED_OCTET_STR, 0);
      table->min_column = 2;
   } else {
      netsnmp_table_helper_add_indexes(table, ASN_PRIV_IMPLIED_OCTET_STR, 0);
      table->min_column = 1;
   }
   table->max_column = 3;
   iterator->get_first_data_point = firstDataPoint;
   iterator->get_next_data_point = nextDataPoint;
   iterator->free_loop_context_at_end = freeLoopContext;
   iterator->myvoid = &shape;
   iterator->flags |= NETSNMP_ITERATOR_FLAG_SORTED;
   iterator->table_reginfo = table;
   if (netsnmp_register_table_iterator(reg, iterator) != MIB_REGISTERED_OK) {
      snmp_log(LOG_ERR, "bridgesnmp_floor: cannot register %s\n", name);
      return nullptr;
   }
   return reg;
}

// "bridgesnmpFloorRows <file>": replaces the rows with the file's.
void onRowsLine(const char*, char* line) {
   FILE* file = std::fopen(line, "r");
   if (!file) {
      config_perror("bridgesnmp_floor: cannot open the rows file");
      return;
   }
   std::vector<Row> rows;
   unsigned fid;
   unsigned m[6];
   long port;
   long status;
   while (std::fscanf(file, "%u %x:%x:%x:%x:%x:%x %ld %ld", &fid, &m[0], &m[1], &m[2], &m[3], &m[4],
                      &m[5], &port, &status) == 9) {
      Row row;
      row.fid = fid;
      for (int i = 0; i < 6; ++i) {
         row.mac[i] = static_cast<u_char>(m[i]);
      }
      row.port = port;
      row.status = status;
      rows.push_back(row);
   }
   std::fclose(file);
   std::sort(rows.begin(), rows.end(),
             [](const Row& a, const Row& b) { return a.key() < b.key(); });
   rows.erase(std::unique(rows.begin(), rows.end(),
                          [](const Row& a, const Row& b) { return a.key() == b.key(); }),
              rows.end());
   allRows = std::move(rows);
   fidOneRows.clear();
   std::copy_if(allRows.begin(), allRows.end(), std::back_inserter(fidOneRows),
                [](const Row& r) { return r.fid == 1; });
   snmp_log(LOG_INFO, "bridgesnmp_floor: %zu rows\n", allRows.size());
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void init_bridgesnmp_floor(void) {
   snmpd_register_config_handler(rowsToken, onRowsLine, nullptr, "/path/to/rows.txt");
   registrations[0] =
       registerTable("bridgesnmpFloorByFid", {1, 3, 6, 1, 4, 1, 32473, 99, 1}, byFidAndAddress);
   registrations[1] =
       registerTable("bridgesnmpFloorByAddress", {1, 3, 6, 1, 4, 1, 32473, 99, 2}, byAddress);
}

__attribute__((visibility("default"))) void deinit_bridgesnmp_floor(void) {
   snmpd_unregister_config_handler(rowsToken);
   for (netsnmp_handler_registration*& reg : registrations) {
      if (reg) {
         netsnmp_unregister_handler(reg);
         reg = nullptr;
      }
   }
}

}  // extern "C"
