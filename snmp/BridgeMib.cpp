// BRIDGE-MIB (RFC 4188): the bridge's scalars, dot1dBasePortTable and dot1dTpFdbTable.

#include "snmp/BridgeMib.h"

#include "model/QBridgeMib.h"
#include "platform/bridging/Config.h"
#include "snmp/CacheRows.h"
#include "snmp/IndexCodec.h"
#include "snmp/MibObjects.h"
#include "snmp/RowFilters.h"
#include "snmp/TableHandler.h"

namespace {

constexpr const char* unit = "BridgeMib";
constexpr Snmp::EntityAt<Bridging::Config> config{"Statedb/bridging/config", "Bridging::Config"};
constexpr Snmp::EntityAt<BridgeSnmp::QBridgeMib> cache{"snmp/swix/qbridgemib",
                                                       "BridgeSnmp::QBridgeMib"};

// Whole seconds, truncated toward zero.
std::uint32_t agingSeconds(const Bridging::Config& c) {
   const double seconds = c.hostAgingTime();
   return seconds <= 0              ? 0
          : seconds >= 4294967295.0 ? 4294967295u
                                    : static_cast<std::uint32_t>(seconds);
}

}  // namespace

SNMP_SCALAR_HANDLER(dot1dBaseBridgeAddress)
SNMP_SCALAR_HANDLER(dot1dBaseNumPorts)
SNMP_SCALAR_HANDLER(dot1dBaseType)
SNMP_SCALAR_HANDLER(dot1dTpLearnedEntryDiscards)
SNMP_SCALAR_HANDLER(dot1dTpAgingTime)

namespace {

using Snmp::attribute;

// dot1dBaseType: transparent-only(2). dot1dTpLearnedEntryDiscards: this bridge never
// discards a learned entry for want of room. dot1dTpAgingTime is registered read-write, yet
// every SET is refused with notWritable.
// clang-format off
const Snmp::Scalar scalars[] = {
    {SNMP_SCALAR_NAMED(dot1dBaseBridgeAddress), {1, 3, 6, 1, 2, 1, 17, 1, 1}, ASN_OCTET_STR, attribute<&Bridging::Config::bridgeMacAddr>(config, "bridgeMacAddr", Snmp::velnetEthAddrToAsnOctetString), HANDLER_CAN_RONLY, {6}},
    {SNMP_SCALAR_NAMED(dot1dBaseNumPorts), {1, 3, 6, 1, 2, 1, 17, 1, 2}, ASN_INTEGER, attribute<&BridgeSnmp::QBridgeMib::dot1dBasePortTables>(cache, "dot1dBasePortTables", Snmp::s32ToAsnInteger)},
    {SNMP_SCALAR_NAMED(dot1dBaseType), {1, 3, 6, 1, 2, 1, 17, 1, 3}, ASN_INTEGER, Snmp::constant(2)},
    {SNMP_SCALAR_NAMED(dot1dTpLearnedEntryDiscards), {1, 3, 6, 1, 2, 1, 17, 4, 1}, ASN_COUNTER, Snmp::constant(0)},
    {SNMP_SCALAR_NAMED(dot1dTpAgingTime), {1, 3, 6, 1, 2, 1, 17, 4, 2}, ASN_INTEGER, attribute(config, "hostAgingTime", Snmp::hostAgingTimeToAsnInteger, [](const Bridging::Config& c) { return agingSeconds(c); }), HANDLER_CAN_RWRITE},
};
// clang-format on

// dot1dBasePortTable: one row per bridge port, indexed by dot1dBasePort. The port number is
// encoded unsigned and typed INTEGER, as the MIB declares the column.
struct BasePortTable : Snmp::BasePortRows<BasePortTable> {
   static constexpr const char* name = "dot1dBasePortTable";
   static constexpr const char* unit = "BridgeMib";
   static constexpr auto entity = cache;
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 17, 1, 4};
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {1, "dot1dBasePort", ASN_INTEGER, Snmp::ethPortIdToAsnUnsigned, "port", [](const Row& r) { return r.port(); }},
       {2, "dot1dBasePortIfIndex", ASN_INTEGER, Snmp::s32ToAsnInteger, "ifIndex", [](const Row& r) { return r.ifIndex(); }},
       {3, "dot1dBasePortCircuit", ASN_OBJECT_ID, Snmp::stringToAsnOid, "", [](const Row&) { return std::string("0.0"); }},
       // Never anything to count.
       {4, "dot1dBasePortDelayExceededDiscards", ASN_COUNTER, Snmp::s32ToAsnInteger, "", Snmp::Fixed<0>{}},
       {5, "dot1dBasePortMtuExceededDiscards", ASN_COUNTER, Snmp::s32ToAsnInteger, "", Snmp::Fixed<0>{}},
   };
   // clang-format on
};

// dot1dTpFdbTable: the addresses of FID 1, indexed by the address (implied length).
struct TpFdbTable
    : Snmp::KeyedRows<TpFdbTable, &BridgeSnmp::QBridgeMib::dot1dTpFdbTableCollection> {
   static constexpr const char* name = "dot1dTpFdbTable";
   static constexpr const char* unit = "BridgeMib";
   static constexpr auto entity = cache;
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 17, 4, 3};
   static constexpr Snmp::IndexSpec indexes[] = {{ASN_PRIV_IMPLIED_OCTET_STR, "dot1dTpFdbAddress"}};
   static constexpr const char* filterName = "BridgeRowFilter";
   static constexpr const char* keyName = "address";
   static constexpr const char* keyTypeName = "Velnet::EthAddr";
   static bool filter(const Collection::IteratorConst& row) { return Snmp::BridgeRowFilter(row); }
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {1, "dot1dTpFdbAddress", ASN_OCTET_STR, Snmp::velnetEthAddrToAsnOctetString, "address", [](const Row& r) { return r.address(); }, {6}},
       {2, "dot1dTpFdbPort", ASN_INTEGER, Snmp::ethIntfNameToPortIdAsnUnsigned, "intf", [](const Row& r) { return r.intf(); }},
       {3, "dot1dTpFdbStatus", ASN_INTEGER, Snmp::fdbStatusToAsnInteger, "status", [](const Row& r) { return r.status(); }},
   };
   // clang-format on
};

}  // namespace

SNMP_TABLE(dot1dBasePortTable, BasePortTable)
SNMP_TABLE(dot1dTpFdbTable, TpFdbTable)

void init_BridgeMib() {
   Snmp::initUnit(unit, __func__, __LINE__, scalars,
                  {initialize_table_dot1dBasePortTable, initialize_table_dot1dTpFdbTable});
}

SNMP_UNIT_REGISTRATION(BridgeMib)
