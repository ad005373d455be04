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

// RESERVE2 and ACTION are the whole request's, whichever binding of either table runs them;
// COMMIT, FREE and UNDO do nothing.
int requestPhase(Snmp::SetPhase phase, netsnmp_agent_request_info* reqinfo,
                 BridgeSnmp::QBridgeMib& mib) {
   if (phase == Snmp::SetPhase::reserve2) {
      Snmp::checkOnce(reqinfo, mib);
   }
   return phase == Snmp::SetPhase::action ? Snmp::applyOnce(reqinfo) : SNMP_ERR_NOERROR;
}

// dot1qVlanStaticTable: one row per configured VLAN that is shown, indexed by
// dot1qVlanIndex. A SET changes the egress ports (the trunks that carry the VLAN) and names
// untagged ports, which the request's PVID bindings must match.
struct VlanStaticTable : Snmp::KeyedRows<VlanStaticTable, std::uint32_t> {
   using Entity = BridgeSnmp::QBridgeMib;
   using Collection = BridgeSnmp::Dot1qVlanStaticTableMap;
   using Key = std::uint32_t;
   using Row = BridgeSnmp::Dot1qVlanStaticEntry;
   static constexpr const char* name = "dot1qVlanStaticTable";
   static constexpr const char* unit = "QBridgeMib";
   static constexpr auto entity = QBridgeMibUnit::cache;
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 3};
   static constexpr Snmp::IndexSpec indexes[] = {{ASN_UNSIGNED, "dot1qVlanIndex"}};
   static constexpr unsigned indexCount = 1;
   static constexpr const char* keyName = "index";
   static constexpr const char* keyTypeName = "U32";
   static const Collection& collection(const Entity& mib) {
      return mib.dot1qVlanStaticTableCollection();
   }

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

   static int setColumn(Snmp::SetPhase phase, netsnmp_agent_request_info* reqinfo,
                        const Snmp::TableFrame<VlanStaticTable>::DataContext& data, unsigned column,
                        netsnmp_request_info* request) {
      if (phase != Snmp::SetPhase::reserve1) {
         return requestPhase(phase, reqinfo, *data.row->parent());
      }
      const bool egress = column == 2;
      const netsnmp_variable_list* var = request->requestvb;
      if (const int wrongType = netsnmp_check_vb_type(var, ASN_OCTET_STR)) {
         SNMP_TRACE(3, unit,
                    "SET refused (wrongType): varbind " << request->index << ", "
                                                        << columns[column - 1].name
                                                        << " takes an OCTET STRING");
         return wrongType;
      }
      const auto ports = decode(var);
      if (!BridgeSnmp::validateDot1qVlanStaticPorts(data.row, ports)) {
         return SNMP_ERR_INCONSISTENTVALUE;
      }
      return egress ? Snmp::addBinding(reqinfo, request, &BridgeSnmp::SetBindings::egress,
                                       BridgeSnmp::BindingColumn::egress, {data.row, ports})
                    : Snmp::addBinding(reqinfo, request, &BridgeSnmp::SetBindings::untagged,
                                       BridgeSnmp::BindingColumn::untagged, {data.row, ports});
   }

 private:
   static BridgeSnmp::EthPortIdSet::PtrConst decode(const netsnmp_variable_list* var) {
      return BridgeSnmp::PortListToPortIdSet(var->val.string, static_cast<int>(var->val_len));
   }
};

// dot1qPortVlanTable: one row per bridge port with a switchport configuration that carries
// VLANs, indexed by dot1dBasePort.
struct PortVlanTable : Snmp::BasePortRows<PortVlanTable> {
   static constexpr const char* name = "dot1qPortVlanTable";
   static constexpr const char* unit = "QBridgeMib";
   static constexpr auto entity = QBridgeMibUnit::cache;
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

   static int setColumn(Snmp::SetPhase phase, netsnmp_agent_request_info* reqinfo,
                        const Snmp::TableFrame<PortVlanTable>::DataContext& data, unsigned column,
                        netsnmp_request_info* request) {
      if (phase != Snmp::SetPhase::reserve1) {
         return requestPhase(phase, reqinfo, *data.row->parent());
      }
      if (column == 1) {
         return reserve(
             reqinfo, data, request, 1, ASN_UNSIGNED,
             [](const netsnmp_variable_list* var) {
                return decoded(var, AsnUnsignedToVlanIdOrNone);
             },
             [](const auto& row, auto vlan) { return BridgeSnmp::validateDot1qPvid(row, vlan); },
             &BridgeSnmp::SetBindings::pvid, BridgeSnmp::BindingColumn::pvid);
      }
      return reserve(
          reqinfo, data, request, 2, ASN_INTEGER,
          [](const netsnmp_variable_list* var) {
             const long value = *var->val.integer;
             return value == admitAll_ || value == admitOnlyVlanTagged_
                        ? decoded(var, AsnIntegerToFrameAdmits)
                        : std::optional<FrameAdmits>();
          },
          [](const auto& row, auto admits) { return BridgeSnmp::validateAdmitFrame(row, admits); },
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

   // A varbind's type or length is not the column's, or its value is outside the column's.
   static int refused(int status, const char* why, const netsnmp_request_info* request,
                      unsigned column) {
      SNMP_TRACE(3, unit,
                 "SET refused (" << why << "): varbind " << request->index << ", "
                                 << columns[column - 1].name << " takes "
                                 << (column == 1 ? "an Unsigned32 VLAN id from 1 to 4094"
                                                 : "an INTEGER, admitAll(1) or "
                                                   "admitOnlyVlanTagged(2)"));
      return status;
   }

   // RESERVE1 of an integer column: the varbind's type, a value the column holds, the
   // column's check, and then the binding.
   template <class Decode, class Validate, class Bindings>
   static int reserve(netsnmp_agent_request_info* reqinfo,
                      const Snmp::TableFrame<PortVlanTable>::DataContext& data,
                      netsnmp_request_info* request, unsigned column, u_char type, Decode decode,
                      Validate validate, Bindings BridgeSnmp::SetBindings::*list,
                      BridgeSnmp::BindingColumn binding) {
      const netsnmp_variable_list* var = request->requestvb;
      if (const int wrong = netsnmp_check_vb_type_and_size(var, type, sizeof(long))) {
         return refused(wrong, "wrongType", request, column);
      }
      const auto value = decode(var);
      if (!value) {
         return refused(SNMP_ERR_WRONGVALUE, "wrongValue", request, column);
      }
      if (!validate(data.row, *value)) {
         return SNMP_ERR_INCONSISTENTVALUE;
      }
      return Snmp::addBinding(reqinfo, request, list, binding, {data.row, *value});
   }
};

}  // namespace

SNMP_TABLE(dot1qVlanStaticTable, VlanStaticTable)
SNMP_TABLE(dot1qPortVlanTable, PortVlanTable)
