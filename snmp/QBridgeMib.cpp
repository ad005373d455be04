// Q-BRIDGE-MIB (RFC 4363): the VLAN scalars, the per-FID forwarding tables, the current and
// static VLAN tables and the port VLAN table.

#include "snmp/QBridgeMib.h"

#include <string>

#include "conversions/SnmpConversions.h"
#include "model/PortList.h"
#include "model/QBridgeMib.h"
#include "platform/bridging/Status.h"
#include "platform/snmputil/Converters.h"
#include "platform/snmputil/HandlerRegistration.h"
#include "snmp/CacheRows.h"
#include "snmp/ConstantScalar.h"
#include "snmp/FilterGuard.h"
#include "snmp/IndexCodec.h"
#include "snmp/Registration.h"
#include "snmp/RowFilters.h"
#include "snmp/ScalarHandler.h"
#include "snmp/TableHandler.h"

namespace {

using Snmp::S32ToAsnIntegerF;
using Snmp::SnmpConvert;
using Snmp::U32ToAsnUnsignedF;

constexpr const char* unit = QBridgeMibUnit::unit;
constexpr const char* cachePath = QBridgeMibUnit::cachePath;
constexpr const char* statusPath = QBridgeMibUnit::statusPath;

// The largest VLAN id and the number of VLANs this bridge supports: 1 to 4094.
constexpr int maxVlanId = 4094;

constexpr const char* versionHandler = "handle_dot1qVlanVersionNumber";
constexpr const char* versionName = "dot1qVlanVersionNumber";
constexpr const char* maxVlanIdHandler = "handle_dot1qMaxVlanId";
constexpr const char* maxVlanIdName = "dot1qMaxVlanId";
constexpr const char* maxSupportedHandler = "handle_dot1qMaxSupportedVlans";
constexpr const char* maxSupportedName = "dot1qMaxSupportedVlans";
constexpr const char* gvrpHandler = "handle_dot1qGvrpStatus";
constexpr const char* gvrpName = "dot1qGvrpStatus";
constexpr const char* nextFreeHandler = "handle_dot1qNextFreeLocalVlanIndex";
constexpr const char* nextFreeName = "dot1qNextFreeLocalVlanIndex";
constexpr const char* returning0 = "returning 0";
constexpr const char* returning1 = "returning 1";
constexpr const char* returning2 = "returning 2";
constexpr const char* returning4094 = "returning 4094";

// dot1qVlanVersionNumber: version1(1). dot1qGvrpStatus: disabled(2), as this bridge runs
// no GVRP. dot1qNextFreeLocalVlanIndex: 0, as no dot1qVlanStaticTable row is created by SET.
using Dot1qVlanVersionNumber =
    Snmp::ConstantScalar<unit, versionHandler, versionName, ASN_INTEGER, 1, returning1>;
using Dot1qMaxVlanId = Snmp::ConstantScalar<unit, maxVlanIdHandler, maxVlanIdName, ASN_INTEGER,
                                            maxVlanId, returning4094>;
using Dot1qMaxSupportedVlans = Snmp::ConstantScalar<unit, maxSupportedHandler, maxSupportedName,
                                                    ASN_UNSIGNED, maxVlanId, returning4094>;
using Dot1qGvrpStatus =
    Snmp::ConstantScalar<unit, gvrpHandler, gvrpName, ASN_INTEGER, 2, returning2>;
using Dot1qNextFreeLocalVlanIndex =
    Snmp::ConstantScalar<unit, nextFreeHandler, nextFreeName, ASN_INTEGER, 0, returning0>;

// dot1qNumVlans: the VLANs the static table shows.
struct Dot1qNumVlans {
   using Entity = BridgeSnmp::QBridgeMib;
   static constexpr const char* unit = "QBridgeMib";
   static constexpr const char* handler = "handle_dot1qNumVlans";
   static constexpr const char* name = "dot1qNumVlans";
   static constexpr u_char type = ASN_UNSIGNED;
   static constexpr int length = 0;
   static constexpr const char* reading = "reading snmp/swix/qbridgemib->dot1qVlanStaticTables()";
   static constexpr const char* conversion = "S32ToAsnInteger";
   static constexpr const char* bytesFor =
       "bytes for snmp/swix/qbridgemib->dot1qVlanStaticTables()";
   static constexpr const char* failed = "S32ToAsnInteger failed for: dot1qVlanStaticTables";
   static constexpr const char* path = cachePath;
   static constexpr const char* entityType = "BridgeSnmp::QBridgeMib";
   static constexpr const char* attribute = "dot1qVlanStaticTables";
   static int convert(const Entity* mib, unsigned char* buf, int len) {
      return SnmpConvert<std::int32_t, S32ToAsnIntegerF>(
          static_cast<std::int32_t>(mib->dot1qVlanStaticTables()), buf, len);
   }
};

// dot1qVlanNumDeletes: current VLAN rows removed since the agent started, a Counter32.
struct Dot1qVlanNumDeletes {
   using Entity = BridgeSnmp::QBridgeMib;
   static constexpr const char* unit = "QBridgeMib";
   static constexpr const char* handler = "handle_dot1qVlanNumDeletes";
   static constexpr const char* name = "dot1qVlanNumDeletes";
   static constexpr u_char type = ASN_COUNTER;
   static constexpr int length = 0;
   static constexpr const char* reading = "reading snmp/swix/qbridgemib->dot1qVlanNumDeletes()";
   static constexpr const char* conversion = "S32ToAsnInteger";
   static constexpr const char* bytesFor = "bytes for snmp/swix/qbridgemib->dot1qVlanNumDeletes()";
   static constexpr const char* failed = "S32ToAsnInteger failed for: dot1qVlanNumDeletes";
   static constexpr const char* path = cachePath;
   static constexpr const char* entityType = "BridgeSnmp::QBridgeMib";
   static constexpr const char* attribute = "dot1qVlanNumDeletes";
   static int convert(const Entity* mib, unsigned char* buf, int len) {
      // The bit pattern is kept: a count past 2^31 reads back as the Counter32 it is.
      return SnmpConvert<std::int32_t, S32ToAsnIntegerF>(
          static_cast<std::int32_t>(mib->dot1qVlanNumDeletes()), buf, len);
   }
};

}  // namespace

SNMP_SCALAR_HANDLER(handle_dot1qVlanVersionNumber, Dot1qVlanVersionNumber)
SNMP_SCALAR_HANDLER(handle_dot1qMaxVlanId, Dot1qMaxVlanId)
SNMP_SCALAR_HANDLER(handle_dot1qMaxSupportedVlans, Dot1qMaxSupportedVlans)
SNMP_SCALAR_HANDLER(handle_dot1qNumVlans, Dot1qNumVlans)
SNMP_SCALAR_HANDLER(handle_dot1qGvrpStatus, Dot1qGvrpStatus)
SNMP_SCALAR_HANDLER(handle_dot1qVlanNumDeletes, Dot1qVlanNumDeletes)
SNMP_SCALAR_HANDLER(handle_dot1qNextFreeLocalVlanIndex, Dot1qNextFreeLocalVlanIndex)

namespace {

// dot1qFdbTable: one row per filtering database, from the switch's own learned-host status,
// indexed by dot1qFdbId.
struct FdbTable : Snmp::TablePolicyDefaults {
   using Entity = Bridging::Status;
   using Collection = Bridging::FdbStatusMap;
   using Key = Bridging::Fid;
   static constexpr const char* name = "dot1qFdbTable";
   static constexpr const char* unit = "QBridgeMib";
   static constexpr const char* entityText =
       "dot1qFdbTable_get_first_data_point - entity /ve/Statedb/snmp/swix/qbridgemib.status is "
       "not of type Bridging::Status";
   static constexpr unsigned indexCount = 1;
   static constexpr const char* filterName = "Dot1qFdbTableFilter";
   static constexpr const char* keyName = "fid";
   static constexpr const char* keyTypeName = "Bridging::Fid";
   static const Collection& collection(const Entity& status) {
      return status.fdbStatusCollection();
   }
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      const auto fid =
          Snmp::Index::hintNumber(c, ASN_UNSIGNED, Bridging::Fid::max, unit, "dot1qFdbId", name);
      return fid ? std::optional<Key>(Bridging::Fid(*fid)) : std::nullopt;
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& fid) {
      Snmp::Index::putNumber(vars, fid.value());
   }
   static void printKey(std::ostream& os, const Key& fid) { os << fid; }
   static bool filter(const Collection::IteratorConst& row) {
      return Snmp::guardedFilter<FdbTable>(row, Snmp::Dot1qFdbTableFilter);
   }

   static const char* columnName(unsigned column) {
      switch (column) {
         case 1:
            return "dot1qFdbId";
         case 2:
            return "dot1qFdbDynamicCount";
         default:
            return nullptr;
      }
   }

   static int getColumn(const Snmp::TableFrame<FdbTable>::DataContext& data, unsigned,
                        netsnmp_variable_list* var) {
      unsigned char buf[1024];
      // Every learned host of the FID, whatever its entry type: what the FID has learned.
      return Snmp::storeConverted(
          var, ASN_COUNTER, buf,
          SnmpConvert<std::int32_t, S32ToAsnIntegerF>(
              static_cast<std::int32_t>(data.row->learnedHosts()), buf, sizeof buf),
          unit, "handle_dot1qFdbTable - S32ToAsnInteger failed for: learnedHosts");
   }
};

// dot1qTpFdbTable: the addresses of every FID, indexed by (dot1qFdbId, dot1qTpFdbAddress).
struct TpFdbTable : Snmp::FdbEntryRows<TpFdbTable> {
   static constexpr const char* name = "dot1qTpFdbTable";
   static constexpr const char* unit = "QBridgeMib";
   static constexpr const char* entityText =
       "dot1qTpFdbTable_get_first_data_point - entity /ve/Statedb/snmp/swix/qbridgemib is not "
       "of type BridgeSnmp::QBridgeMib";
   static constexpr const char* filterName = "QBridgeRowFilter";
   static bool filter(const Collection::IteratorConst& row) {
      return Snmp::guardedFilter<TpFdbTable>(row, Snmp::QBridgeRowFilter);
   }

   static const char* columnName(unsigned column) {
      switch (column) {
         case 1:
            return "dot1qTpFdbAddress";
         case 2:
            return "dot1qTpFdbPort";
         case 3:
            return "dot1qTpFdbStatus";
         default:
            return nullptr;
      }
   }

   static int getColumn(const Snmp::TableFrame<TpFdbTable>::DataContext& data, unsigned column,
                        netsnmp_variable_list* var) {
      unsigned char buf[1024];
      if (column == 2) {
         // Encoded unsigned, typed INTEGER as the MIB declares the column.
         return Snmp::storeConverted(
             var, ASN_INTEGER, buf,
             EthIntfNameToPortIdAsnUnsigned(data.row->intf(), buf, sizeof buf), unit,
             "handle_dot1qTpFdbTable - EthIntfNameToPortIdAsnUnsigned failed for: intf");
      }
      return Snmp::storeConverted(
          var, ASN_INTEGER, buf, FdbStatusToAsnInteger(data.row->status(), buf, sizeof buf), unit,
          "handle_dot1qTpFdbTable - FdbStatusToAsnInteger failed for: status");
   }
};

// dot1qVlanCurrentTable: one row per VLAN that is up, indexed by (dot1qVlanTimeMark,
// dot1qVlanIndex); the time mark shows only the rows whose ports changed since it.
struct VlanCurrentTable : Snmp::TablePolicyDefaults {
   using Entity = BridgeSnmp::QBridgeMib;
   using Collection = BridgeSnmp::Dot1qVlanCurrentTableMap;
   using Key = std::uint32_t;
   static constexpr const char* name = "dot1qVlanCurrentTable";
   static constexpr const char* unit = "QBridgeMib";
   static constexpr const char* entityText =
       "dot1qVlanCurrentTable_get_first_data_point - entity /ve/Statedb/snmp/swix/qbridgemib is "
       "not of type BridgeSnmp::QBridgeMib";
   static constexpr unsigned indexCount = 2;
   static constexpr bool timeFiltered = true;
   static constexpr const char* keyName = "index";
   static constexpr const char* keyTypeName = "U32";
   static const Collection& collection(const Entity& mib) {
      return mib.dot1qVlanCurrentTableCollection();
   }
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      // Any Unsigned32: an index that is no VLAN simply names no row.
      return Snmp::Index::hintNumber(c, ASN_UNSIGNED, 4294967295u, unit, "dot1qVlanIndex", name);
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& index) {
      Snmp::Index::putNumber(vars, index);
   }
   static void printKey(std::ostream& os, const Key& index) { os << index; }
   static double changeTime(const BridgeSnmp::Dot1qVlanCurrentEntry& row) {
      return row.lastChange();
   }
   static constexpr const char* changeTimeName = "lastChange";
   static constexpr const char* timeMarkName = "dot1qVlanTimeMark";

   static const char* columnName(unsigned column) {
      switch (column) {
         case 1:
            return "dot1qVlanTimeMark";
         case 2:
            return "dot1qVlanIndex";
         case 3:
            return "dot1qVlanFdbId";
         case 4:
            return "dot1qVlanCurrentEgressPorts";
         case 5:
            return "dot1qVlanCurrentUntaggedPorts";
         case 6:
            return "dot1qVlanStatus";
         case 7:
            return "dot1qVlanCreationTime";
         default:
            return nullptr;
      }
   }

   static int getColumn(const Snmp::TableFrame<VlanCurrentTable>::DataContext& data,
                        unsigned column, netsnmp_variable_list* var) {
      unsigned char buf[1024];
      switch (column) {
         case 3:
            // Learning is independent per VLAN: a VLAN's FID is its VLAN id.
            return Snmp::storeConverted(
                var, ASN_UNSIGNED, buf,
                SnmpConvert<std::uint32_t, U32ToAsnUnsignedF>(data.key, buf, sizeof buf), unit,
                "handle_dot1qVlanCurrentTable - U32ToAsnUnsigned failed for: index");
         case 4:
            return Snmp::storeConverted(
                var, ASN_OCTET_STR, buf,
                BridgeSnmp::VlanStatusToEgressPortList(data.row->vlanStatus(), buf, sizeof buf),
                unit,
                "handle_dot1qVlanCurrentTable - VlanStatusToEgressPortList failed for: "
                "vlanStatus");
         case 5:
            return Snmp::storeConverted(
                var, ASN_OCTET_STR, buf,
                BridgeSnmp::VlanStatusToUntaggedPortList(data.row->vlanStatus(), buf, sizeof buf),
                unit,
                "handle_dot1qVlanCurrentTable - VlanStatusToUntaggedPortList failed for: "
                "vlanStatus");
         case 6:
            // permanent(2): every VLAN here comes from the switch's configuration.
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf,
                SnmpConvert<std::int32_t, S32ToAsnIntegerF>(2, buf, sizeof buf), unit,
                "handle_dot1qVlanCurrentTable - S32ToAsnInteger failed for: ");
         default:
            return Snmp::storeConverted(
                var, ASN_TIMETICKS, buf,
                SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(data.row->firstSeen(), buf,
                                                                        sizeof buf),
                unit,
                "handle_dot1qVlanCurrentTable - NowSecondsToUptimeTimeTicks failed for: "
                "firstSeen");
      }
   }
};

}  // namespace

SNMP_TABLE_CALLBACKS(dot1qFdbTable, FdbTable)
SNMP_TABLE_CALLBACKS(dot1qTpFdbTable, TpFdbTable)
SNMP_TABLE_CALLBACKS(dot1qVlanCurrentTable, VlanCurrentTable)

int dot1qFdbTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                          netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::ReadOnlyTableHandler<FdbTable>::handle(h, r, i, q);
}

int dot1qTpFdbTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                            netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::ReadOnlyTableHandler<TpFdbTable>::handle(h, r, i, q);
}

int dot1qVlanCurrentTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                                  netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::ReadOnlyTableHandler<VlanCurrentTable>::handle(h, r, i, q);
}

void initialize_table_dot1qFdbTable() {
   Snmp::registerTable({unit,
                        "dot1qFdbTable",
                        dot1qFdbTable_handler,
                        {1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 1},
                        HANDLER_CAN_RONLY,
                        {{ASN_UNSIGNED, "dot1qFdbId"}},
                        2,
                        2,
                        {2},
                        {dot1qFdbTable_get_first_data_point, dot1qFdbTable_get_next_data_point,
                         dot1qFdbTable_make_data_context, dot1qFdbTable_free_data_context,
                         dot1qFdbTable_free_loop_context_at_end},
                        Snmp::entityAt<Bridging::Status>(statusPath)});
}

void initialize_table_dot1qTpFdbTable() {
   Snmp::registerTable(
       {unit,
        "dot1qTpFdbTable",
        dot1qTpFdbTable_handler,
        {1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 2},
        HANDLER_CAN_RONLY,
        {{ASN_UNSIGNED, "dot1qFdbId"}, {ASN_PRIV_IMPLIED_OCTET_STR, "dot1qTpFdbAddress"}},
        2,
        3,
        {2, 3},
        {dot1qTpFdbTable_get_first_data_point, dot1qTpFdbTable_get_next_data_point,
         dot1qTpFdbTable_make_data_context, dot1qTpFdbTable_free_data_context,
         dot1qTpFdbTable_free_loop_context_at_end},
        Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
}

void initialize_table_dot1qVlanCurrentTable() {
   Snmp::registerTable(
       {unit,
        "dot1qVlanCurrentTable",
        dot1qVlanCurrentTable_handler,
        {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 2},
        HANDLER_CAN_RONLY,
        {{ASN_TIMETICKS, "dot1qVlanTimeMark"}, {ASN_UNSIGNED, "dot1qVlanIndex"}},
        3,
        7,
        {3, 4, 5, 6, 7},
        {dot1qVlanCurrentTable_get_first_data_point, dot1qVlanCurrentTable_get_next_data_point,
         dot1qVlanCurrentTable_make_data_context, dot1qVlanCurrentTable_free_data_context,
         dot1qVlanCurrentTable_free_loop_context_at_end},
        Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
}

void init_QBridgeMib() {
   Snmp::debugInitializing("QBridgeMib", __func__, "QBridgeMib", __LINE__);
   Snmp::registerScalar({unit,
                         "dot1qVlanVersionNumber",
                         handle_dot1qVlanVersionNumber,
                         {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 1},
                         HANDLER_CAN_RONLY,
                         nullptr});
   Snmp::registerScalar({unit,
                         "dot1qMaxVlanId",
                         handle_dot1qMaxVlanId,
                         {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 2},
                         HANDLER_CAN_RONLY,
                         nullptr});
   Snmp::registerScalar({unit,
                         "dot1qMaxSupportedVlans",
                         handle_dot1qMaxSupportedVlans,
                         {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 3},
                         HANDLER_CAN_RONLY,
                         nullptr});
   Snmp::registerScalar({unit,
                         "dot1qNumVlans",
                         handle_dot1qNumVlans,
                         {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 4},
                         HANDLER_CAN_RONLY,
                         Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
   // Registered read-write, yet every SET is refused with notWritable.
   Snmp::registerScalar({unit,
                         "dot1qGvrpStatus",
                         handle_dot1qGvrpStatus,
                         {1, 3, 6, 1, 2, 1, 17, 7, 1, 1, 5},
                         HANDLER_CAN_RWRITE,
                         nullptr});
   Snmp::registerScalar({unit,
                         "dot1qVlanNumDeletes",
                         handle_dot1qVlanNumDeletes,
                         {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 1},
                         HANDLER_CAN_RONLY,
                         Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
   Snmp::registerScalar({unit,
                         "dot1qNextFreeLocalVlanIndex",
                         handle_dot1qNextFreeLocalVlanIndex,
                         {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 4},
                         HANDLER_CAN_RONLY,
                         nullptr});
   initialize_table_dot1qFdbTable();
   initialize_table_dot1qTpFdbTable();
   initialize_table_dot1qVlanCurrentTable();
   initialize_table_dot1qVlanStaticTable();
   initialize_table_dot1qPortVlanTable();
}

namespace {

class QBridgeMib_HandlerRegistration : public Snmp::HandlerRegistration {
 public:
   void handlerRegistration() override { init_QBridgeMib(); }
};

QBridgeMib_HandlerRegistration qBridgeMibRegistration;
Snmp::AutoRegistree qBridgeMibAutoRegistree(&qBridgeMibRegistration);

}  // namespace
