// VELTRA-BRIDGE-EXT-MIB: veltraDot1qTpFdbTable, how often and when each learned address
// last moved from one port to another.

#include "snmp/BridgeExt.h"

#include "model/QBridgeMib.h"
#include "platform/snmputil/Converters.h"
#include "platform/snmputil/HandlerRegistration.h"
#include "snmp/CacheRows.h"
#include "snmp/FilterGuard.h"
#include "snmp/IndexCodec.h"
#include "snmp/Registration.h"
#include "snmp/RowFilters.h"
#include "snmp/TableHandler.h"

namespace {

using Snmp::SnmpConvert;

constexpr const char* unit = "BridgeExt";
constexpr const char* cachePath = "snmp/swix/qbridgemib";

// veltraDot1qTpFdbTable: the learned rows of dot1qTpFdbTable, indexed by
// (veltraDot1qTpFdbTimeMark, dot1qFdbId, dot1qTpFdbAddress); the time mark shows only the
// addresses that moved since it.
struct MoveTable : Snmp::FdbEntryRows<MoveTable> {
   static constexpr const char* name = "veltraDot1qTpFdbTable";
   static constexpr const char* unit = "BridgeExt";
   static constexpr const char* entityText =
       "veltraDot1qTpFdbTable_get_first_data_point - entity /ve/Statedb/snmp/swix/qbridgemib is "
       "not of type BridgeSnmp::QBridgeMib";
   static constexpr unsigned indexCount = 3;
   static constexpr bool timeFiltered = true;
   static constexpr const char* filterName = "QBridgeExtRowFilter";
   static bool filter(const Collection::IteratorConst& row) {
      return Snmp::guardedFilter<MoveTable>(row, Snmp::QBridgeExtRowFilter);
   }
   static double changeTime(const BridgeSnmp::Dot1qTpFdbEntry& row) { return row.lastMoveTime(); }
   static constexpr const char* changeTimeName = "lastMoveTime";
   static constexpr const char* timeMarkName = "veltraDot1qTpFdbTimeMark";

   static const char* columnName(unsigned column) {
      switch (column) {
         case 1:
            return "veltraDot1qTpFdbTimeMark";
         case 2:
            return "veltraDot1qTpFdbNumMoves";
         case 3:
            return "veltraDot1qTpFdbLastMove";
         default:
            return nullptr;
      }
   }

   static int getColumn(const Snmp::TableFrame<MoveTable>::DataContext& data, unsigned column,
                        netsnmp_variable_list* var) {
      unsigned char buf[1024];
      if (column == 2) {
         return Snmp::storeConverted(
             var, ASN_COUNTER, buf,
             SnmpConvert<std::uint64_t, Snmp::U64ToCounter32F>(data.row->moves(), buf, sizeof buf),
             unit, "handle_veltraDot1qTpFdbTable - U64ToCounter32 failed for: moves");
      }
      return Snmp::storeConverted(
          var, ASN_TIMETICKS, buf,
          SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(data.row->lastMoveTime(), buf,
                                                                  sizeof buf),
          unit,
          "handle_veltraDot1qTpFdbTable - NowSecondsToUptimeTimeTicks failed for: lastMoveTime");
   }
};

}  // namespace

SNMP_TABLE_CALLBACKS(veltraDot1qTpFdbTable, MoveTable)

int veltraDot1qTpFdbTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                                  netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::ReadOnlyTableHandler<MoveTable>::handle(h, r, i, q);
}

void initialize_table_veltraDot1qTpFdbTable() {
   Snmp::registerTable(
       {unit,
        "veltraDot1qTpFdbTable",
        veltraDot1qTpFdbTable_handler,
        {1, 3, 6, 1, 4, 1, BRIDGESNMP_ENTERPRISE_NUMBER, 3, 2, 1},
        HANDLER_CAN_RONLY,
        {{ASN_TIMETICKS, "veltraDot1qTpFdbTimeMark"},
         {ASN_UNSIGNED, "dot1qFdbId"},
         {ASN_PRIV_IMPLIED_OCTET_STR, "dot1qTpFdbAddress"}},
        2,
        3,
        {2, 3},
        {veltraDot1qTpFdbTable_get_first_data_point, veltraDot1qTpFdbTable_get_next_data_point,
         veltraDot1qTpFdbTable_make_data_context, veltraDot1qTpFdbTable_free_data_context,
         veltraDot1qTpFdbTable_free_loop_context_at_end},
        Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
}

void init_BridgeExt() {
   Snmp::debugInitializing("BridgeExt", __func__, "BridgeExt", __LINE__);
   initialize_table_veltraDot1qTpFdbTable();
}

namespace {

class BridgeExt_HandlerRegistration : public Snmp::HandlerRegistration {
 public:
   void handlerRegistration() override { init_BridgeExt(); }
};

BridgeExt_HandlerRegistration bridgeExtRegistration;
Snmp::AutoRegistree bridgeExtAutoRegistree(&bridgeExtRegistration);

}  // namespace
