// BRIDGE-MIB (RFC 4188): the bridge's scalars, dot1dBasePortTable and dot1dTpFdbTable.

#include "snmp/BridgeMib.h"

#include <cstring>

#include "conversions/SnmpConversions.h"
#include "model/QBridgeMib.h"
#include "platform/bridging/Config.h"
#include "platform/snmputil/Converters.h"
#include "platform/snmputil/HandlerRegistration.h"
#include "snmp/CacheRows.h"
#include "snmp/ConstantScalar.h"
#include "snmp/IndexCodec.h"
#include "snmp/Registration.h"
#include "snmp/RowFilters.h"
#include "snmp/ScalarHandler.h"
#include "snmp/TableHandler.h"

namespace {

using Snmp::S32ToAsnIntegerF;
using Snmp::SnmpConvert;

constexpr const char* unit = "BridgeMib";
constexpr const char* configPath = "Statedb/bridging/config";
constexpr const char* cachePath = "snmp/swix/qbridgemib";

struct Dot1dBaseBridgeAddress {
   using Entity = Bridging::Config;
   static constexpr const char* unit = "BridgeMib";
   static constexpr const char* handler = "handle_dot1dBaseBridgeAddress";
   static constexpr const char* name = "dot1dBaseBridgeAddress";
   static constexpr u_char type = ASN_OCTET_STR;
   static constexpr int length = 6;
   static constexpr const char* reading = "reading Statedb/bridging/config->bridgeMacAddr()";
   static constexpr const char* conversion = "VelnetEthAddrToAsnOctetString";
   static constexpr const char* bytesFor = "bytes for Statedb/bridging/config->bridgeMacAddr()";
   static constexpr const char* failed = "VelnetEthAddrToAsnOctetString failed for: bridgeMacAddr";
   static constexpr const char* path = configPath;
   static constexpr const char* entityType = "Bridging::Config";
   static constexpr const char* attribute = "bridgeMacAddr";
   static int convert(const Entity* config, unsigned char* buf, int len) {
      return SnmpConvert<Velnet::EthAddr, Snmp::VelnetEthAddrToAsnOctetStringF>(
          config->bridgeMacAddr(), buf, len);
   }
};

struct Dot1dBaseNumPorts {
   using Entity = BridgeSnmp::QBridgeMib;
   static constexpr const char* unit = "BridgeMib";
   static constexpr const char* handler = "handle_dot1dBaseNumPorts";
   static constexpr const char* name = "dot1dBaseNumPorts";
   static constexpr u_char type = ASN_INTEGER;
   static constexpr int length = 0;
   static constexpr const char* reading = "reading snmp/swix/qbridgemib->dot1dBasePortTables()";
   static constexpr const char* conversion = "S32ToAsnInteger";
   static constexpr const char* bytesFor = "bytes for snmp/swix/qbridgemib->dot1dBasePortTables()";
   static constexpr const char* failed = "S32ToAsnInteger failed for: dot1dBasePortTables";
   static constexpr const char* path = cachePath;
   static constexpr const char* entityType = "BridgeSnmp::QBridgeMib";
   static constexpr const char* attribute = "dot1dBasePortTables";
   static int convert(const Entity* mib, unsigned char* buf, int len) {
      return SnmpConvert<std::int32_t, S32ToAsnIntegerF>(
          static_cast<std::int32_t>(mib->dot1dBasePortTables()), buf, len);
   }
};

constexpr const char* baseTypeHandler = "handle_dot1dBaseType";
constexpr const char* baseTypeName = "dot1dBaseType";
constexpr const char* returning2 = "returning 2";
constexpr const char* discardsHandler = "handle_dot1dTpLearnedEntryDiscards";
constexpr const char* discardsName = "dot1dTpLearnedEntryDiscards";
constexpr const char* returning0 = "returning 0";

// dot1dBaseType: transparent-only(2). dot1dTpLearnedEntryDiscards: this bridge never
// discards a learned entry for want of room; a Counter32 built with the signed conversion.
using Dot1dBaseType =
    Snmp::ConstantScalar<unit, baseTypeHandler, baseTypeName, ASN_INTEGER, 2, returning2>;
using Dot1dTpLearnedEntryDiscards =
    Snmp::ConstantScalar<unit, discardsHandler, discardsName, ASN_COUNTER, 0, returning0>;

struct Dot1dTpAgingTime {
   using Entity = Bridging::Config;
   static constexpr const char* unit = "BridgeMib";
   static constexpr const char* handler = "handle_dot1dTpAgingTime";
   static constexpr const char* name = "dot1dTpAgingTime";
   static constexpr u_char type = ASN_INTEGER;
   static constexpr int length = 0;
   static constexpr const char* reading = "reading Statedb/bridging/config->hostAgingTime()";
   static constexpr const char* conversion = "HostAgingTimeToAsnInteger";
   static constexpr const char* bytesFor = "bytes for Statedb/bridging/config->hostAgingTime()";
   static constexpr const char* failed = "HostAgingTimeToAsnInteger failed for: hostAgingTime";
   static constexpr const char* path = configPath;
   static constexpr const char* entityType = "Bridging::Config";
   static constexpr const char* attribute = "hostAgingTime";
   static int convert(const Entity* config, unsigned char* buf, int len) {
      // Whole seconds, truncated toward zero.
      const double seconds = config->hostAgingTime();
      const std::uint32_t whole = seconds <= 0              ? 0
                                  : seconds >= 4294967295.0 ? 4294967295u
                                                            : static_cast<std::uint32_t>(seconds);
      return HostAgingTimeToAsnInteger(whole, buf, len);
   }
};

}  // namespace

SNMP_SCALAR_HANDLER(handle_dot1dBaseBridgeAddress, Dot1dBaseBridgeAddress)
SNMP_SCALAR_HANDLER(handle_dot1dBaseNumPorts, Dot1dBaseNumPorts)
SNMP_SCALAR_HANDLER(handle_dot1dBaseType, Dot1dBaseType)
SNMP_SCALAR_HANDLER(handle_dot1dTpLearnedEntryDiscards, Dot1dTpLearnedEntryDiscards)
SNMP_SCALAR_HANDLER(handle_dot1dTpAgingTime, Dot1dTpAgingTime)

namespace {

// dot1dBasePortTable: one row per bridge port, indexed by dot1dBasePort.
struct BasePortTable : Snmp::BasePortRows<BasePortTable> {
   static constexpr const char* name = "dot1dBasePortTable";
   static constexpr const char* unit = "BridgeMib";
   static constexpr const char* entityText =
       "dot1dBasePortTable_get_first_data_point - entity /ve/Statedb/snmp/swix/qbridgemib is not "
       "of type BridgeSnmp::QBridgeMib";

   static const char* columnName(unsigned column) {
      switch (column) {
         case 1:
            return "dot1dBasePort";
         case 2:
            return "dot1dBasePortIfIndex";
         case 3:
            return "dot1dBasePortCircuit";
         case 4:
            return "dot1dBasePortDelayExceededDiscards";
         case 5:
            return "dot1dBasePortMtuExceededDiscards";
         default:
            return nullptr;
      }
   }

   static int getColumn(const Snmp::TableFrame<BasePortTable>::DataContext& data, unsigned column,
                        netsnmp_variable_list* var) {
      unsigned char buf[1024];
      switch (column) {
         case 1:
            // Encoded unsigned, typed INTEGER as the MIB declares the column.
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf, EthPortIdToAsnUnsigned(data.key, buf, sizeof buf), unit,
                "handle_dot1dBasePortTable - EthPortIdToAsnUnsigned failed for: port");
         case 2:
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf,
                SnmpConvert<std::int32_t, S32ToAsnIntegerF>(data.row->ifIndex(), buf, sizeof buf),
                unit, "handle_dot1dBasePortTable - S32ToAsnInteger failed for: ifIndex");
         case 3:
            return Snmp::storeConverted(
                var, ASN_OBJECT_ID, buf,
                SnmpConvert<std::string, Snmp::StringToAsnOidF>("0.0", buf, sizeof buf), unit,
                "handle_dot1dBasePortTable - StringToAsnOid failed for: ");
         default:  // the two discard counters: never anything to count
            return Snmp::storeConverted(
                var, ASN_COUNTER, buf,
                SnmpConvert<std::int32_t, S32ToAsnIntegerF>(0, buf, sizeof buf), unit,
                "handle_dot1dBasePortTable - S32ToAsnInteger failed for: ");
      }
   }
};

// dot1dTpFdbTable: the addresses of FID 1, indexed by the address (implied length).
struct TpFdbTable : Snmp::TablePolicyDefaults {
   using Entity = BridgeSnmp::QBridgeMib;
   using Collection = BridgeSnmp::Dot1dTpFdbTableMap;
   using Key = Velnet::EthAddr;
   static constexpr const char* name = "dot1dTpFdbTable";
   static constexpr const char* unit = "BridgeMib";
   static constexpr const char* entityText =
       "dot1dTpFdbTable_get_first_data_point - entity /ve/Statedb/snmp/swix/qbridgemib is not "
       "of type BridgeSnmp::QBridgeMib";
   static constexpr unsigned indexCount = 1;
   static constexpr const char* filterName = "BridgeRowFilter";
   static constexpr const char* keyName = "address";
   static constexpr const char* keyTypeName = "Velnet::EthAddr";
   static const Collection& collection(const Entity& mib) {
      return mib.dot1dTpFdbTableCollection();
   }
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      return Snmp::Index::hintMac(c, unit, "dot1dTpFdbAddress", name);
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& address) {
      Snmp::Index::putMac(vars, address);
   }
   static void printKey(std::ostream& os, const Key& address) { os << address; }
   static bool filter(const Collection::IteratorConst& row) { return Snmp::BridgeRowFilter(row); }

   static const char* columnName(unsigned column) {
      switch (column) {
         case 1:
            return "dot1dTpFdbAddress";
         case 2:
            return "dot1dTpFdbPort";
         case 3:
            return "dot1dTpFdbStatus";
         default:
            return nullptr;
      }
   }

   static int getColumn(const Snmp::TableFrame<TpFdbTable>::DataContext& data, unsigned column,
                        netsnmp_variable_list* var) {
      unsigned char buf[1024];
      switch (column) {
         case 1: {
            const int n = SnmpConvert<Velnet::EthAddr, Snmp::VelnetEthAddrToAsnOctetStringF>(
                data.key, buf, sizeof buf);
            if (n >= 0 && n != 6) {
               SNMP_TRACE(2, unit,
                          "handle_dot1dTpFdbTable - entity " << SnmpUtil::entityPath(cachePath)
                                                             << " length out of range: address ("
                                                             << n << ")");
               return SNMP_ERR_GENERR;
            }
            return Snmp::storeConverted(
                var, ASN_OCTET_STR, buf, n, unit,
                "handle_dot1dTpFdbTable - VelnetEthAddrToAsnOctetString failed for: address");
         }
         case 2:
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf,
                EthIntfNameToPortIdAsnUnsigned(data.row->intf(), buf, sizeof buf), unit,
                "handle_dot1dTpFdbTable - EthIntfNameToPortIdAsnUnsigned failed for: intf");
         default:
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf, FdbStatusToAsnInteger(data.row->status(), buf, sizeof buf),
                unit, "handle_dot1dTpFdbTable - FdbStatusToAsnInteger failed for: status");
      }
   }
};

}  // namespace

SNMP_TABLE_CALLBACKS(dot1dBasePortTable, BasePortTable)
SNMP_TABLE_CALLBACKS(dot1dTpFdbTable, TpFdbTable)

int dot1dBasePortTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                               netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::ReadOnlyTableHandler<BasePortTable>::handle(h, r, i, q);
}

int dot1dTpFdbTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                            netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::ReadOnlyTableHandler<TpFdbTable>::handle(h, r, i, q);
}

void initialize_table_dot1dBasePortTable() {
   Snmp::registerTable(
       {unit,
        "dot1dBasePortTable",
        dot1dBasePortTable_handler,
        {1, 3, 6, 1, 2, 1, 17, 1, 4},
        HANDLER_CAN_RONLY,
        {{ASN_INTEGER, "dot1dBasePort"}},
        1,
        5,
        {1, 2, 3, 4, 5},
        {dot1dBasePortTable_get_first_data_point, dot1dBasePortTable_get_next_data_point,
         dot1dBasePortTable_make_data_context, dot1dBasePortTable_free_data_context,
         dot1dBasePortTable_free_loop_context_at_end},
        Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
}

void initialize_table_dot1dTpFdbTable() {
   Snmp::registerTable({unit,
                        "dot1dTpFdbTable",
                        dot1dTpFdbTable_handler,
                        {1, 3, 6, 1, 2, 1, 17, 4, 3},
                        HANDLER_CAN_RONLY,
                        {{ASN_PRIV_IMPLIED_OCTET_STR, "dot1dTpFdbAddress"}},
                        1,
                        3,
                        {1, 2, 3},
                        {dot1dTpFdbTable_get_first_data_point, dot1dTpFdbTable_get_next_data_point,
                         dot1dTpFdbTable_make_data_context, dot1dTpFdbTable_free_data_context,
                         dot1dTpFdbTable_free_loop_context_at_end},
                        Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
}

void init_BridgeMib() {
   Snmp::debugInitializing("BridgeMib", __func__, "BridgeMib", __LINE__);
   Snmp::registerScalar({unit,
                         "dot1dBaseBridgeAddress",
                         handle_dot1dBaseBridgeAddress,
                         {1, 3, 6, 1, 2, 1, 17, 1, 1},
                         HANDLER_CAN_RONLY,
                         Snmp::entityAt<Bridging::Config>(configPath)});
   Snmp::registerScalar({unit,
                         "dot1dBaseNumPorts",
                         handle_dot1dBaseNumPorts,
                         {1, 3, 6, 1, 2, 1, 17, 1, 2},
                         HANDLER_CAN_RONLY,
                         Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
   Snmp::registerScalar({unit,
                         "dot1dBaseType",
                         handle_dot1dBaseType,
                         {1, 3, 6, 1, 2, 1, 17, 1, 3},
                         HANDLER_CAN_RONLY,
                         nullptr});
   Snmp::registerScalar({unit,
                         "dot1dTpLearnedEntryDiscards",
                         handle_dot1dTpLearnedEntryDiscards,
                         {1, 3, 6, 1, 2, 1, 17, 4, 1},
                         HANDLER_CAN_RONLY,
                         nullptr});
   // Registered read-write, yet every SET is refused with notWritable.
   Snmp::registerScalar({unit,
                         "dot1dTpAgingTime",
                         handle_dot1dTpAgingTime,
                         {1, 3, 6, 1, 2, 1, 17, 4, 2},
                         HANDLER_CAN_RWRITE,
                         Snmp::entityAt<Bridging::Config>(configPath)});
   initialize_table_dot1dBasePortTable();
   initialize_table_dot1dTpFdbTable();
}

namespace {

class BridgeMib_HandlerRegistration : public Snmp::HandlerRegistration {
 public:
   void handlerRegistration() override { init_BridgeMib(); }
};

BridgeMib_HandlerRegistration bridgeMibRegistration;
Snmp::AutoRegistree bridgeMibAutoRegistree(&bridgeMibRegistration);

}  // namespace
