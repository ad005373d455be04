// Q-BRIDGE-MIB (RFC 4363): the VLAN scalars, the per-FID forwarding tables, the current and
// static VLAN tables and the port VLAN table.

#include "snmp/QBridgeMib.h"

#include "model/QBridgeMib.h"
#include "platform/bridging/Status.h"
#include "snmp/CacheRows.h"
#include "snmp/FilterGuard.h"
#include "snmp/IndexCodec.h"
#include "snmp/MibObjects.h"
#include "snmp/RowFilters.h"
#include "snmp/TableHandler.h"

using QBridgeMibUnit::cache;
using QBridgeMibUnit::unit;

SNMP_SCALAR_HANDLER(dot1qVlanVersionNumber)
SNMP_SCALAR_HANDLER(dot1qMaxVlanId)
SNMP_SCALAR_HANDLER(dot1qMaxSupportedVlans)
SNMP_SCALAR_HANDLER(dot1qNumVlans)
SNMP_SCALAR_HANDLER(dot1qGvrpStatus)
SNMP_SCALAR_HANDLER(dot1qVlanNumDeletes)
SNMP_SCALAR_HANDLER(dot1qNextFreeLocalVlanIndex)

namespace {

using Snmp::attribute;

// The largest VLAN id and the number of VLANs this bridge supports: 1 to 4094.
constexpr int maxVlanId = 4094;

// dot1qVlanVersionNumber: version1(1). dot1qGvrpStatus: disabled(2), as this bridge runs no
// GVRP; registered read-write, yet every SET is refused with notWritable.
// dot1qNextFreeLocalVlanIndex: 0, as no dot1qVlanStaticTable row is created by SET.
// dot1qNumVlans: the VLANs the static table shows. dot1qVlanNumDeletes: current VLAN rows
// removed since the agent started, a Counter32 whose bit pattern is kept past 2^31.
// clang-format off
const Snmp::Scalar scalars[] = {
    {SNMP_SCALAR_NAMED(dot1qVlanVersionNumber), {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 1}, ASN_INTEGER, Snmp::constant(1)},
    {SNMP_SCALAR_NAMED(dot1qMaxVlanId), {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 2}, ASN_INTEGER, Snmp::constant(maxVlanId)},
    {SNMP_SCALAR_NAMED(dot1qMaxSupportedVlans), {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 3}, ASN_UNSIGNED, Snmp::constant(maxVlanId)},
    {SNMP_SCALAR_NAMED(dot1qNumVlans), {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 4}, ASN_UNSIGNED, attribute<&BridgeSnmp::QBridgeMib::dot1qVlanStaticTables>(cache, "dot1qVlanStaticTables", Snmp::s32ToAsnInteger)},
    {SNMP_SCALAR_NAMED(dot1qGvrpStatus), {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 5}, ASN_INTEGER, Snmp::constant(2), HANDLER_CAN_RWRITE},
    {SNMP_SCALAR_NAMED(dot1qVlanNumDeletes), {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 1}, ASN_COUNTER, attribute<&BridgeSnmp::QBridgeMib::dot1qVlanNumDeletes>(cache, "dot1qVlanNumDeletes", Snmp::s32ToAsnInteger)},
    {SNMP_SCALAR_NAMED(dot1qNextFreeLocalVlanIndex), {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 4}, ASN_INTEGER, Snmp::constant(0)},
};
// clang-format on

// dot1qFdbTable: one row per filtering database, from the switch's own learned-host status,
// indexed by dot1qFdbId.
struct FdbTable : Snmp::KeyedRows<FdbTable, &Bridging::Status::fdbStatusCollection> {
   static constexpr const char* name = "dot1qFdbTable";
   static constexpr const char* unit = "QBridgeMib";
   static constexpr Snmp::EntityAt<Entity> entity{"snmp/swix/qbridgemib.status",
                                                  "Bridging::Status"};
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 1};
   static constexpr Snmp::IndexSpec indexes[] = {{ASN_UNSIGNED, "dot1qFdbId"}};
   static constexpr const char* filterName = "Dot1qFdbTableFilter";
   static constexpr const char* keyName = "fid";
   static constexpr const char* keyTypeName = "Bridging::Fid";
   static bool filter(const Collection::IteratorConst& row) {
      return Snmp::guardedFilter<FdbTable>(row, Snmp::Dot1qFdbTableFilter);
   }
   // Every learned host of the FID, whatever its entry type: what the FID has learned.
   static constexpr Snmp::Column<Row> columns[] = {
       {2, "dot1qFdbDynamicCount", ASN_COUNTER, Snmp::s32ToAsnInteger, "learnedHosts",
        [](const Row& r) { return static_cast<std::int32_t>(r.learnedHosts()); }},
   };
};

// dot1qTpFdbTable: the addresses of every FID, indexed by (dot1qFdbId, dot1qTpFdbAddress).
struct TpFdbTable : Snmp::FdbEntryRows<TpFdbTable>, QBridgeMibUnit::CacheTable {
   static constexpr const char* name = "dot1qTpFdbTable";
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 2};
   static constexpr Snmp::IndexSpec indexes[] = {{ASN_UNSIGNED, "dot1qFdbId"},
                                                 {ASN_PRIV_IMPLIED_OCTET_STR, "dot1qTpFdbAddress"}};
   static constexpr const char* filterName = "QBridgeRowFilter";
   static bool filter(const Collection::IteratorConst& row) {
      return Snmp::guardedFilter<TpFdbTable>(row, Snmp::QBridgeRowFilter);
   }
   // The port is encoded unsigned and typed INTEGER, as the MIB declares the column.
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {2, "dot1qTpFdbPort", ASN_INTEGER, Snmp::ethIntfNameToPortIdAsnUnsigned, "intf", [](const Row& r) { return r.intf(); }},
       {3, "dot1qTpFdbStatus", ASN_INTEGER, Snmp::fdbStatusToAsnInteger, "status", [](const Row& r) { return r.status(); }},
   };
   // clang-format on
};

// dot1qVlanCurrentTable: one row per VLAN that is up, indexed by (dot1qVlanTimeMark,
// dot1qVlanIndex); the time mark shows only the rows whose ports changed since it.
struct VlanCurrentTable
    : Snmp::KeyedRows<VlanCurrentTable, &BridgeSnmp::QBridgeMib::dot1qVlanCurrentTableCollection>,
      QBridgeMibUnit::CacheTable {
   static constexpr const char* name = "dot1qVlanCurrentTable";
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 2};
   static constexpr Snmp::IndexSpec indexes[] = {{ASN_TIMETICKS, "dot1qVlanTimeMark"},
                                                 {ASN_UNSIGNED, "dot1qVlanIndex"}};
   static constexpr const char* keyName = "index";
   static constexpr const char* keyTypeName = "U32";
   static double changeTime(const Row& row) { return row.lastChange(); }
   static constexpr const char* changeTimeName = "lastChange";
   // Learning is independent per VLAN: a VLAN's FID is its VLAN id. Every VLAN here comes
   // from the switch's configuration: permanent(2).
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {3, "dot1qVlanFdbId", ASN_UNSIGNED, Snmp::u32ToAsnUnsigned, "index", [](const Row& r) { return r.index(); }},
       {4, "dot1qVlanCurrentEgressPorts", ASN_OCTET_STR, Snmp::vlanStatusToEgressPortList, "vlanStatus", [](const Row& r) { return r.vlanStatus(); }},
       {5, "dot1qVlanCurrentUntaggedPorts", ASN_OCTET_STR, Snmp::vlanStatusToUntaggedPortList, "vlanStatus", [](const Row& r) { return r.vlanStatus(); }},
       {6, "dot1qVlanStatus", ASN_INTEGER, Snmp::s32ToAsnInteger, "", Snmp::Fixed<2>{}},
       {7, "dot1qVlanCreationTime", ASN_TIMETICKS, Snmp::nowSecondsToUptimeTimeTicks, "firstSeen", [](const Row& r) { return r.firstSeen(); }},
   };
   // clang-format on
};

}  // namespace

SNMP_TABLE(dot1qFdbTable, FdbTable)
SNMP_TABLE(dot1qTpFdbTable, TpFdbTable)
SNMP_TABLE(dot1qVlanCurrentTable, VlanCurrentTable)

void init_QBridgeMib() {
   Snmp::initUnit(unit, __func__, __LINE__, scalars,
                  {initialize_table_dot1qFdbTable, initialize_table_dot1qTpFdbTable,
                   initialize_table_dot1qVlanCurrentTable, initialize_table_dot1qVlanStaticTable,
                   initialize_table_dot1qPortVlanTable});
}

SNMP_UNIT_REGISTRATION(QBridgeMib)
