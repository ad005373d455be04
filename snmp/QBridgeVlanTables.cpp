// Q-BRIDGE-MIB's two read-write tables: dot1qVlanStaticTable and dot1qPortVlanTable. A SET
// request's bindings of both are checked per column in RESERVE1, together once in RESERVE2
// (which works out what the whole request leaves), and written to the switch's input
// configuration once in ACTION; COMMIT, FREE and UNDO do nothing.

#include <optional>
#include <string>

#include "conversions/SnmpConversions.h"
#include "model/PortList.h"
#include "model/QBridgeMib.h"
#include "platform/snmputil/Converters.h"
#include "snmp/CacheRows.h"
#include "snmp/QBridgeMib.h"
#include "snmp/Registration.h"
#include "snmp/RowFilters.h"
#include "snmp/SetRequest.h"
#include "snmp/TableHandler.h"
#include "snmp/WritableTableHandler.h"
#include "validation/PortValidation.h"

namespace {

using Snmp::S32ToAsnIntegerF;
using Snmp::SnmpConvert;
using Snmp::U32ToAsnUnsignedF;

constexpr const char* unit = QBridgeMibUnit::unit;
constexpr const char* cachePath = QBridgeMibUnit::cachePath;

// dot1qVlanStaticTable: one row per configured VLAN that is shown, indexed by
// dot1qVlanIndex. A SET changes the egress ports (the trunks that carry the VLAN) and names
// untagged ports, which the request's PVID bindings must match.
struct VlanStaticTable : Snmp::TablePolicyDefaults {
   using Entity = BridgeSnmp::QBridgeMib;
   using Collection = BridgeSnmp::Dot1qVlanStaticTableMap;
   using Key = std::uint32_t;
   using Handler = Snmp::WritableTableHandler<VlanStaticTable>;
   static constexpr const char* name = "dot1qVlanStaticTable";
   static constexpr const char* unit = "QBridgeMib";
   static constexpr const char* entityText =
       "dot1qVlanStaticTable_get_first_data_point - entity /ve/Statedb/snmp/swix/qbridgemib is "
       "not of type BridgeSnmp::QBridgeMib";
   static constexpr unsigned indexCount = 1;
   static constexpr const char* keyName = "index";
   static constexpr const char* keyTypeName = "U32";
   // dot1qVlanStaticName is a SnmpAdminString of at most 32 octets.
   static constexpr int nameLength = 32;
   static const Collection& collection(const Entity& mib) {
      return mib.dot1qVlanStaticTableCollection();
   }
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      return Snmp::Index::hintNumber(c, ASN_UNSIGNED, 4294967295u, unit, "dot1qVlanIndex", name);
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& index) {
      Snmp::Index::putNumber(vars, index);
   }
   static void printKey(std::ostream& os, const Key& index) { os << index; }

   static const char* columnName(unsigned column) {
      switch (column) {
         case 1:
            return "dot1qVlanStaticName";
         case 2:
            return "dot1qVlanStaticEgressPorts";
         case 3:
            return "dot1qVlanForbiddenEgressPorts";
         case 4:
            return "dot1qVlanStaticUntaggedPorts";
         case 5:
            return "dot1qVlanStaticRowStatus";
         default:
            return nullptr;
      }
   }
   static const char* setColumnName(unsigned column) { return columnName(column); }

   static int getColumn(const Snmp::TableFrame<VlanStaticTable>::DataContext& data, unsigned column,
                        netsnmp_variable_list* var) {
      unsigned char buf[1024];
      switch (column) {
         case 1: {
            const Kel::String8 configured = data.row->configuredName();
            if (configured.size() > static_cast<std::size_t>(nameLength)) {
               SNMP_TRACE(2, unit,
                          "handle_dot1qVlanStaticTable - entity "
                              << SnmpUtil::entityPath(cachePath)
                              << " length out of range: configuredName (" << configured.size()
                              << ")");
               return SNMP_ERR_GENERR;
            }
            unsigned char text[nameLength];
            return Snmp::storeConverted(
                var, ASN_OCTET_STR, text,
                SnmpConvert<std::string, Snmp::StringToAsnOctetStringF>(configured.stdString(),
                                                                        text, sizeof text),
                unit,
                "handle_dot1qVlanStaticTable - StringToAsnOctetString failed for: "
                "configuredName");
         }
         case 2:
            return Snmp::storeConverted(
                var, ASN_OCTET_STR, buf,
                BridgeSnmp::VlanConfigToAllowedPortList(data.row->vlanConfig(), buf, sizeof buf),
                unit,
                "handle_dot1qVlanStaticTable - VlanConfigToAllowedPortList failed for: "
                "vlanConfig");
         case 3:
            // No port is ever forbidden: an empty PortList.
            return Snmp::storeConverted(
                var, ASN_OCTET_STR, buf,
                SnmpConvert<std::string, Snmp::StringToAsnOctetStringF>("", buf, sizeof buf), unit,
                "handle_dot1qVlanStaticTable - StringToAsnOctetString failed for: ");
         case 4:
            return Snmp::storeConverted(
                var, ASN_OCTET_STR, buf,
                BridgeSnmp::VlanConfigToUntaggedPortList(data.row->vlanConfig(), buf, sizeof buf),
                unit,
                "handle_dot1qVlanStaticTable - VlanConfigToUntaggedPortList failed for: "
                "vlanConfig");
         default:
            // active(1): a shown VLAN's row is always in service.
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf,
                SnmpConvert<std::int32_t, S32ToAsnIntegerF>(1, buf, sizeof buf), unit,
                "handle_dot1qVlanStaticTable - S32ToAsnInteger failed for: ");
      }
   }

   static bool writable(unsigned column) { return column == 2 || column == 4; }

   static int setColumn(Snmp::SetPhase phase, netsnmp_agent_request_info* reqinfo,
                        const Snmp::TableFrame<VlanStaticTable>::DataContext& data, unsigned column,
                        netsnmp_request_info* request) {
      const bool egress = column == 2;
      switch (phase) {
         case Snmp::SetPhase::reserve1: {
            const netsnmp_variable_list* var = request->requestvb;
            if (const int wrongType = netsnmp_check_vb_type(var, ASN_OCTET_STR)) {
               SNMP_TRACE(3, unit,
                          "SET refused (wrongType): varbind " << request->index << ", "
                                                              << columnName(column)
                                                              << " takes an OCTET STRING");
               return wrongType;
            }
            const auto ports = decode(var);
            if (!BridgeSnmp::validateDot1qVlanStaticPorts(data.row, ports)) {
               return SNMP_ERR_INCONSISTENTVALUE;
            }
            return egress
                       ? Snmp::addBinding(reqinfo, request, &BridgeSnmp::SetBindings::egress,
                                          BridgeSnmp::BindingColumn::egress, {data.row, ports})
                       : Snmp::addBinding(reqinfo, request, &BridgeSnmp::SetBindings::untagged,
                                          BridgeSnmp::BindingColumn::untagged, {data.row, ports});
         }
         case Snmp::SetPhase::reserve2:
            Snmp::checkOnce(reqinfo, *data.row->parent());
            return SNMP_ERR_NOERROR;
         case Snmp::SetPhase::action:
            return Snmp::applyOnce(reqinfo);
         default:
            return SNMP_ERR_NOERROR;
      }
   }

 private:
   static BridgeSnmp::EthPortIdSet::PtrConst decode(const netsnmp_variable_list* var) {
      return BridgeSnmp::PortListToPortIdSet(var->val.string, static_cast<int>(var->val_len));
   }
};

// dot1qPortVlanTable: one row per bridge port with a switchport configuration that carries
// VLANs, indexed by dot1dBasePort.
struct PortVlanTable : Snmp::BasePortRows<PortVlanTable> {
   using Handler = Snmp::WritableTableHandler<PortVlanTable>;
   static constexpr const char* name = "dot1qPortVlanTable";
   static constexpr const char* unit = "QBridgeMib";
   static constexpr const char* entityText =
       "dot1qPortVlanTable_get_first_data_point - entity /ve/Statedb/snmp/swix/qbridgemib is not "
       "of type BridgeSnmp::QBridgeMib";
   static constexpr const char* filterName = "Dot1qPortVlanTableFilter";
   static bool filter(const Collection::IteratorConst& row) {
      return Snmp::Dot1qPortVlanTableFilter(row);
   }

   static const char* columnName(unsigned column) {
      switch (column) {
         case 1:
            return "dot1qPvid";
         case 2:
            return "dot1qPortAcceptableFrameTypes";
         case 3:
            return "dot1qPortIngressFiltering";
         case 4:
            return "dot1qPortGvrpStatus";
         case 5:
            return "dot1qPortGvrpFailedRegistrations";
         case 6:
            return "dot1qPortGvrpLastPduOrigin";
         case 7:
            return "dot1qPortRestrictedVlanRegistration";
         default:
            return nullptr;
      }
   }
   // The read-only GVRP counters (5 and 6) are no column a SET may name.
   static const char* setColumnName(unsigned column) {
      return column == 5 || column == 6 ? nullptr : columnName(column);
   }

   static int getColumn(const Snmp::TableFrame<PortVlanTable>::DataContext& data, unsigned column,
                        netsnmp_variable_list* var) {
      unsigned char buf[1024];
      switch (column) {
         case 1:
            return Snmp::storeConverted(var, ASN_UNSIGNED, buf,
                                        SnmpConvert<std::uint32_t, U32ToAsnUnsignedF>(
                                            data.row->dot1qPvid().value(), buf, sizeof buf),
                                        unit,
                                        "handle_dot1qPortVlanTable - U32ToAsnUnsigned failed for: "
                                        "dot1qPvid");
         case 2:
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf,
                SnmpConvert<std::int32_t, S32ToAsnIntegerF>(
                    static_cast<std::int32_t>(data.row->admitFrame()), buf, sizeof buf),
                unit, "handle_dot1qPortVlanTable - S32ToAsnInteger failed for: admitFrame");
         case 3:
            // true(1): a port drops frames of VLANs it is not a member of.
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf,
                SnmpConvert<std::int32_t, S32ToAsnIntegerF>(1, buf, sizeof buf), unit,
                "handle_dot1qPortVlanTable - S32ToAsnInteger failed for: ");
         case 5:
            // No GVRP, so no failed registration and no PDU origin.
            return Snmp::storeConverted(
                var, ASN_COUNTER, buf,
                SnmpConvert<std::uint64_t, Snmp::U64ToCounter32F>(0, buf, sizeof buf), unit,
                "handle_dot1qPortVlanTable - U64ToCounter32 failed for: ");
         case 6: {
            unsigned char mac[6];
            return Snmp::storeConverted(
                var, ASN_OCTET_STR, mac,
                SnmpConvert<Velnet::EthAddr, Snmp::VelnetEthAddrToAsnOctetStringF>(
                    Velnet::EthAddr(), mac, sizeof mac),
                unit, "handle_dot1qPortVlanTable - VelnetEthAddrToAsnOctetString failed for: ");
         }
         default:
            // dot1qPortGvrpStatus and dot1qPortRestrictedVlanRegistration: disabled and
            // false, both 2.
            return Snmp::storeConverted(
                var, ASN_INTEGER, buf,
                SnmpConvert<std::int32_t, S32ToAsnIntegerF>(2, buf, sizeof buf), unit,
                "handle_dot1qPortVlanTable - S32ToAsnInteger failed for: ");
      }
   }

   static bool writable(unsigned column) { return column == 1 || column == 2; }

   static int setColumn(Snmp::SetPhase phase, netsnmp_agent_request_info* reqinfo,
                        const Snmp::TableFrame<PortVlanTable>::DataContext& data, unsigned column,
                        netsnmp_request_info* request) {
      switch (phase) {
         case Snmp::SetPhase::reserve1:
            return column == 1 ? reservePvid(reqinfo, data, request)
                               : reserveFrameTypes(reqinfo, data, request);
         case Snmp::SetPhase::reserve2:
            Snmp::checkOnce(reqinfo, *data.row->parent());
            return SNMP_ERR_NOERROR;
         case Snmp::SetPhase::action:
            return Snmp::applyOnce(reqinfo);
         default:
            return SNMP_ERR_NOERROR;
      }
   }

 private:
   // Decodes the value with the range exceptions of the conversion expected; nothing for a
   // value the column cannot hold (traced).
   template <class Convert>
   static auto decoded(const netsnmp_variable_list* var, Convert&& convert)
       -> std::optional<decltype(convert(var->val.integer))> {
      Kel::Expect expect(Kel::ExceptionId::range);
      try {
         return convert(var->val.integer);
      } catch (const Kel::Exception& e) {
         SNMP_TRACE(2, unit,
                    name << "_handler: conversion of dot1qPortVlanTable failed with exception: "
                         << e.what());
         return std::nullopt;
      }
   }

   // A varbind's type or length is not the column's, or its value is outside the column's.
   static int refused(int status, const char* why, const netsnmp_request_info* request,
                      unsigned column) {
      SNMP_TRACE(3, unit,
                 "SET refused (" << why << "): varbind " << request->index << ", "
                                 << columnName(column) << " takes "
                                 << (column == 1 ? "an Unsigned32 VLAN id from 1 to 4094"
                                                 : "an INTEGER, admitAll(1) or "
                                                   "admitOnlyVlanTagged(2)"));
      return status;
   }

   static int reservePvid(netsnmp_agent_request_info* reqinfo,
                          const Snmp::TableFrame<PortVlanTable>::DataContext& data,
                          netsnmp_request_info* request) {
      const netsnmp_variable_list* var = request->requestvb;
      if (const int wrong = netsnmp_check_vb_type_and_size(var, ASN_UNSIGNED, sizeof(long))) {
         return refused(wrong, "wrongType", request, 1);
      }
      const auto vlan = decoded(var, AsnUnsignedToVlanIdOrNone);
      if (!vlan) {
         return refused(SNMP_ERR_WRONGVALUE, "wrongValue", request, 1);
      }
      if (!BridgeSnmp::validateDot1qPvid(data.row, *vlan)) {
         return SNMP_ERR_INCONSISTENTVALUE;
      }
      return Snmp::addBinding(reqinfo, request, &BridgeSnmp::SetBindings::pvid,
                              BridgeSnmp::BindingColumn::pvid, {data.row, *vlan});
   }

   static int reserveFrameTypes(netsnmp_agent_request_info* reqinfo,
                                const Snmp::TableFrame<PortVlanTable>::DataContext& data,
                                netsnmp_request_info* request) {
      const netsnmp_variable_list* var = request->requestvb;
      if (const int wrong = netsnmp_check_vb_type_and_size(var, ASN_INTEGER, sizeof(long))) {
         return refused(wrong, "wrongType", request, 2);
      }
      if (*var->val.integer != admitAll_ && *var->val.integer != admitOnlyVlanTagged_) {
         return refused(SNMP_ERR_WRONGVALUE, "wrongValue", request, 2);
      }
      const auto admits = decoded(var, AsnIntegerToFrameAdmits);
      if (!admits) {
         return refused(SNMP_ERR_WRONGVALUE, "wrongValue", request, 2);
      }
      if (!BridgeSnmp::validateAdmitFrame(data.row, *admits)) {
         return SNMP_ERR_INCONSISTENTVALUE;
      }
      return Snmp::addBinding(reqinfo, request, &BridgeSnmp::SetBindings::aft,
                              BridgeSnmp::BindingColumn::aft, {data.row, *admits});
   }
};

}  // namespace

SNMP_TABLE_CALLBACKS(dot1qVlanStaticTable, VlanStaticTable)
SNMP_TABLE_CALLBACKS(dot1qPortVlanTable, PortVlanTable)

int dot1qVlanStaticTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                                 netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::WritableTableHandler<VlanStaticTable>::handle(h, r, i, q);
}

int dot1qPortVlanTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                               netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::WritableTableHandler<PortVlanTable>::handle(h, r, i, q);
}

void initialize_table_dot1qVlanStaticTable() {
   Snmp::registerTable(
       {unit,
        "dot1qVlanStaticTable",
        dot1qVlanStaticTable_handler,
        {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 3},
        HANDLER_CAN_RWRITE,
        {{ASN_UNSIGNED, "dot1qVlanIndex"}},
        1,
        5,
        {1, 2, 3, 4, 5},
        {dot1qVlanStaticTable_get_first_data_point, dot1qVlanStaticTable_get_next_data_point,
         dot1qVlanStaticTable_make_data_context, dot1qVlanStaticTable_free_data_context,
         dot1qVlanStaticTable_free_loop_context_at_end},
        Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
}

void initialize_table_dot1qPortVlanTable() {
   Snmp::registerTable(
       {unit,
        "dot1qPortVlanTable",
        dot1qPortVlanTable_handler,
        {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 5},
        HANDLER_CAN_RWRITE,
        {{ASN_INTEGER, "dot1dBasePort"}},
        1,
        7,
        {1, 2, 3, 4, 5, 6, 7},
        {dot1qPortVlanTable_get_first_data_point, dot1qPortVlanTable_get_next_data_point,
         dot1qPortVlanTable_make_data_context, dot1qPortVlanTable_free_data_context,
         dot1qPortVlanTable_free_loop_context_at_end},
        Snmp::entityAt<BridgeSnmp::QBridgeMib>(cachePath)});
}
