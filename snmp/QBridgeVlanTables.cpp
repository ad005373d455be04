// Q-BRIDGE-MIB's two read-write tables: dot1qVlanStaticTable and dot1qPortVlanTable. A SET
// request's bindings of both are checked per column in RESERVE1, together once in RESERVE2
// (which works out what the whole request leaves), and written to the switch's input
// configuration once in ACTION; COMMIT, FREE and UNDO do nothing.

#include <optional>
#include <string>

#include "model/PortList.h"
#include "model/QBridgeMib.h"
#include "snmp/CacheRows.h"
#include "snmp/QBridgeMib.h"
#include "snmp/Registration.h"
#include "snmp/RowFilters.h"
#include "snmp/SetRequest.h"
#include "snmp/TableHandler.h"
#include "validation/PortValidation.h"

namespace {

using QBridgeMibUnit::unit;

// One phase of a SET of a writable column of either table: RESERVE1 checks the binding
// (Table::reserve); RESERVE2 and ACTION are the whole request's, whichever binding of either
// table runs them; COMMIT, FREE and UNDO do nothing.
template <class Table>
struct RequestWideSet {
   static int setColumn(Snmp::SetPhase phase, netsnmp_agent_request_info* reqinfo, const auto& data,
                        unsigned column, netsnmp_request_info* request) {
      if (phase == Snmp::SetPhase::reserve1) {
         return Table::reserve(reqinfo, data.row, request, column);
      }
      if (phase == Snmp::SetPhase::reserve2) {
         Snmp::checkOnce(reqinfo, *data.row->parent());
      }
      return phase == Snmp::SetPhase::action ? Snmp::applyOnce(reqinfo) : SNMP_ERR_NOERROR;
   }
};

// A varbind's type or length is not the column's, or its value is outside the column's.
int refused(int status, const char* why, const netsnmp_request_info* request, const char* column,
            const char* takes) {
   SNMP_TRACE(3, unit,
              "SET refused (" << why << "): varbind " << request->index << ", " << column
                              << " takes " << takes);
   return status;
}

// dot1qVlanStaticTable: one row per configured VLAN that is shown, indexed by
// dot1qVlanIndex. A SET changes the egress ports (the trunks that carry the VLAN) and names
// untagged ports, which the request's PVID bindings must match.
struct VlanStaticTable
    : Snmp::KeyedRows<VlanStaticTable, &BridgeSnmp::QBridgeMib::dot1qVlanStaticTableCollection>,
      RequestWideSet<VlanStaticTable>,
      QBridgeMibUnit::CacheTable {
   static constexpr const char* name = "dot1qVlanStaticTable";
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 3};
   static constexpr Snmp::IndexSpec indexes[] = {{ASN_UNSIGNED, "dot1qVlanIndex"}};
   static constexpr const char* keyName = "index";
   static constexpr const char* keyTypeName = "U32";

   // dot1qVlanStaticName is a SnmpAdminString of at most 32 octets. No port is ever
   // forbidden: an empty PortList. A shown VLAN's row is always in service: active(1).
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {1, "dot1qVlanStaticName", ASN_OCTET_STR, Snmp::stringToAsnOctetString, "configuredName", [](const Row& r) { return r.configuredName().stdString(); }, Snmp::atMost(32)},
       {2, "dot1qVlanStaticEgressPorts", ASN_OCTET_STR, Snmp::vlanConfigToAllowedPortList, "vlanConfig", [](const Row& r) { return r.vlanConfig(); }, {}, Snmp::SetAccess::writable},
       {3, "dot1qVlanForbiddenEgressPorts", ASN_OCTET_STR, Snmp::stringToAsnOctetString, "", [](const Row&) { return std::string(); }},
       {4, "dot1qVlanStaticUntaggedPorts", ASN_OCTET_STR, Snmp::vlanConfigToUntaggedPortList, "vlanConfig", [](const Row& r) { return r.vlanConfig(); }, {}, Snmp::SetAccess::writable},
       {5, "dot1qVlanStaticRowStatus", ASN_INTEGER, Snmp::s32ToAsnInteger, "", Snmp::Fixed<1>{}},
   };
   // clang-format on

   // RESERVE1: an OCTET STRING of ports the row may take, then the binding.
   static int reserve(netsnmp_agent_request_info* reqinfo, const Kel::Ptr<const Row>& row,
                      netsnmp_request_info* request, unsigned column) {
      const netsnmp_variable_list* var = request->requestvb;
      if (const int wrongType = netsnmp_check_vb_type(var, ASN_OCTET_STR)) {
         return refused(wrongType, "wrongType", request, columns[column - 1].name,
                        "an OCTET STRING");
      }
      const auto ports =
          BridgeSnmp::PortListToPortIdSet(var->val.string, static_cast<int>(var->val_len));
      if (!BridgeSnmp::validateDot1qVlanStaticPorts(row, ports)) {
         return SNMP_ERR_INCONSISTENTVALUE;
      }
      const bool egress = column == 2;
      return Snmp::addBinding(
          reqinfo, request,
          egress ? &BridgeSnmp::SetBindings::egress : &BridgeSnmp::SetBindings::untagged,
          egress ? BridgeSnmp::BindingColumn::egress : BridgeSnmp::BindingColumn::untagged,
          {row, ports});
   }
};

// dot1qPortVlanTable: one row per bridge port with a switchport configuration that carries
// VLANs, indexed by dot1dBasePort.
struct PortVlanTable : Snmp::BasePortRows<PortVlanTable>,
                       RequestWideSet<PortVlanTable>,
                       QBridgeMibUnit::CacheTable {
   static constexpr const char* name = "dot1qPortVlanTable";
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 5};
   static constexpr const char* filterName = "Dot1qPortVlanTableFilter";
   static bool filter(const Collection::IteratorConst& row) {
      return Snmp::Dot1qPortVlanTableFilter(row);
   }

   // No GVRP: dot1qPortGvrpStatus disabled(2), no failed registration, no PDU origin,
   // dot1qPortRestrictedVlanRegistration false(2); these two counters are no column a SET may
   // name. A port drops frames of VLANs it is not a member of: ingress filtering true(1).
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {1, "dot1qPvid", ASN_UNSIGNED, Snmp::u32ToAsnUnsigned, "dot1qPvid", [](const Row& r) { return r.dot1qPvid().value(); }, {}, Snmp::SetAccess::writable},
       {2, "dot1qPortAcceptableFrameTypes", ASN_INTEGER, Snmp::s32ToAsnInteger, "admitFrame", [](const Row& r) { return static_cast<std::int32_t>(r.admitFrame()); }, {}, Snmp::SetAccess::writable},
       {3, "dot1qPortIngressFiltering", ASN_INTEGER, Snmp::s32ToAsnInteger, "", Snmp::Fixed<1>{}},
       {4, "dot1qPortGvrpStatus", ASN_INTEGER, Snmp::s32ToAsnInteger, "", Snmp::Fixed<2>{}},
       {5, "dot1qPortGvrpFailedRegistrations", ASN_COUNTER, Snmp::u64ToCounter32, "", Snmp::Fixed<std::uint64_t{0}>{}, {}, Snmp::SetAccess::none},
       {6, "dot1qPortGvrpLastPduOrigin", ASN_OCTET_STR, Snmp::velnetEthAddrToAsnOctetString, "", [](const Row&) { return Velnet::EthAddr(); }, {}, Snmp::SetAccess::none},
       {7, "dot1qPortRestrictedVlanRegistration", ASN_INTEGER, Snmp::s32ToAsnInteger, "", Snmp::Fixed<2>{}},
   };
   // clang-format on

   // RESERVE1: the varbind's type, a value the column holds, the column's check, and then
   // the binding.
   static int reserve(netsnmp_agent_request_info* reqinfo, const Kel::Ptr<const Row>& row,
                      netsnmp_request_info* request, unsigned column) {
      if (column == 1) {
         return reserveInteger(
             reqinfo, row, request, column, ASN_UNSIGNED, "an Unsigned32 VLAN id from 1 to 4094",
             [](const netsnmp_variable_list* var) {
                return decoded(var, AsnUnsignedToVlanIdOrNone);
             },
             [](const auto& r, auto vlan) { return BridgeSnmp::validateDot1qPvid(r, vlan); },
             &BridgeSnmp::SetBindings::pvid, BridgeSnmp::BindingColumn::pvid);
      }
      return reserveInteger(
          reqinfo, row, request, column, ASN_INTEGER,
          "an INTEGER, admitAll(1) or admitOnlyVlanTagged(2)",
          [](const netsnmp_variable_list* var) {
             const long value = *var->val.integer;
             return value == admitAll_ || value == admitOnlyVlanTagged_
                        ? decoded(var, AsnIntegerToFrameAdmits)
                        : std::optional<FrameAdmits>();
          },
          [](const auto& r, auto admits) { return BridgeSnmp::validateAdmitFrame(r, admits); },
          &BridgeSnmp::SetBindings::aft, BridgeSnmp::BindingColumn::aft);
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

   template <class Decode, class Validate, class Bindings>
   static int reserveInteger(netsnmp_agent_request_info* reqinfo, const Kel::Ptr<const Row>& row,
                             netsnmp_request_info* request, unsigned column, u_char type,
                             const char* takes, Decode decode, Validate validate,
                             Bindings BridgeSnmp::SetBindings::*list,
                             BridgeSnmp::BindingColumn binding) {
      const char* columnName = columns[column - 1].name;
      const netsnmp_variable_list* var = request->requestvb;
      if (const int wrong = netsnmp_check_vb_type_and_size(var, type, sizeof(long))) {
         return refused(wrong, "wrongType", request, columnName, takes);
      }
      const auto value = decode(var);
      if (!value) {
         return refused(SNMP_ERR_WRONGVALUE, "wrongValue", request, columnName, takes);
      }
      if (!validate(row, *value)) {
         return SNMP_ERR_INCONSISTENTVALUE;
      }
      return Snmp::addBinding(reqinfo, request, list, binding, {row, *value});
   }
};

}  // namespace

SNMP_TABLE(dot1qVlanStaticTable, VlanStaticTable)
SNMP_TABLE(dot1qPortVlanTable, PortVlanTable)
