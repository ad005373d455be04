// VELTRA-BRIDGE-EXT-MIB: veltraDot1qTpFdbTable, how often and when each learned address
// last moved from one port to another.

#include "snmp/BridgeExt.h"

#include "model/QBridgeMib.h"
#include "snmp/CacheRows.h"
#include "snmp/FilterGuard.h"
#include "snmp/IndexCodec.h"
#include "snmp/MibObjects.h"
#include "snmp/RowFilters.h"
#include "snmp/TableHandler.h"

namespace {

// veltraDot1qTpFdbTable: the learned rows of dot1qTpFdbTable, indexed by
// (veltraDot1qTpFdbTimeMark, dot1qFdbId, dot1qTpFdbAddress); the time mark shows only the
// addresses that moved since it.
struct MoveTable : Snmp::FdbEntryRows<MoveTable> {
   static constexpr const char* name = "veltraDot1qTpFdbTable";
   static constexpr const char* unit = "BridgeExt";
   static constexpr Snmp::EntityAt<Entity> entity{"snmp/swix/qbridgemib", "BridgeSnmp::QBridgeMib"};
   static constexpr oid tableOid[] = {1, 3, 6, 1, 4, 1, BRIDGESNMP_ENTERPRISE_NUMBER, 3, 2, 1};
   static constexpr Snmp::IndexSpec indexes[] = {{ASN_TIMETICKS, "veltraDot1qTpFdbTimeMark"},
                                                 {ASN_UNSIGNED, "dot1qFdbId"},
                                                 {ASN_PRIV_IMPLIED_OCTET_STR, "dot1qTpFdbAddress"}};
   static constexpr const char* filterName = "QBridgeExtRowFilter";
   static bool filter(const Collection::IteratorConst& row) {
      return Snmp::guardedFilter<MoveTable>(row, Snmp::QBridgeExtRowFilter);
   }
   static double changeTime(const Row& row) { return row.lastMoveTime(); }
   static constexpr const char* changeTimeName = "lastMoveTime";
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {2, "veltraDot1qTpFdbNumMoves", ASN_COUNTER, Snmp::u64ToCounter32, "moves", [](const Row& r) { return r.moves(); }},
       {3, "veltraDot1qTpFdbLastMove", ASN_TIMETICKS, Snmp::nowSecondsToUptimeTimeTicks, "lastMoveTime", [](const Row& r) { return r.lastMoveTime(); }},
   };
   // clang-format on
};

}  // namespace

SNMP_TABLE(veltraDot1qTpFdbTable, MoveTable)

void init_BridgeExt() {
   Snmp::initUnit("BridgeExt", __func__, __LINE__, {}, {initialize_table_veltraDot1qTpFdbTable});
}

SNMP_UNIT_REGISTRATION(BridgeExt)
