// IF-MIB: ifTable and ifXTable over an ifIndex-ordered view of the Ethernet interfaces.

#include "snmp/IfMib.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <string>

#include "platform/interface/IfIndexView.h"
#include "platform/snmputil/Converters.h"
#include "platform/statedb/StateDb.h"
#include "snmp/CacheRows.h"
#include "snmp/IndexCodec.h"
#include "snmp/MibObjects.h"
#include "snmp/SnmpTrace.h"
#include "snmp/TableHandler.h"

namespace {

using Interface::EthIntfStatus;

constexpr const char* unit = "IfMib";
constexpr const char* intfStatusPath = "Statedb/interface/status/eth";
constexpr const char* viewPath = "snmp/ifmib/interfaces";
constexpr Snmp::EntityAt<Interface::IfIndexView> ifIndexView{viewPath, "Interface::IfIndexView"};

// IANAifType ethernetCsmacd: every Ethernet interface, whatever its speed.
constexpr std::int32_t ethernetCsmacd = 6;
// ifAdminStatus and ifOperStatus: up(1), down(2).
constexpr std::int32_t statusUp = 1;
constexpr std::int32_t statusDown = 2;

// ifSpeed in bits per second; a speed beyond its range reads as its maximum, and ifHighSpeed
// tells the real one.
std::uint32_t ifSpeed(const EthIntfStatus& s) {
   const std::uint64_t bps = std::uint64_t{s.speedMbps()} * 1000000u;
   return static_cast<std::uint32_t>(std::min<std::uint64_t>(bps, 0xffffffffu));
}

std::string physAddress(const EthIntfStatus& s) {
   if (s.macAddr().isZero()) {
      return {};  // an interface without an address of its own has a zero-length one
   }
   const auto octets = s.macAddr().octets();
   return std::string(octets.begin(), octets.end());
}

std::string intfName(const EthIntfStatus& s) {
   return s.intfId().stringValue().stdString();
}

// Both tables walk the interfaces by ifIndex (InterfaceIndex: 1..2147483647).
template <class Table>
struct InterfaceRows : Snmp::KeyedRows<Table, &Interface::IfIndexView::interfaces> {
   static constexpr const char* unit = ::unit;
   static constexpr auto entity = ifIndexView;
   static constexpr const char* entityText = "no Interface::IfIndexView to walk";
   static constexpr Snmp::IndexSpec indexes[] = {{ASN_INTEGER, "ifIndex"}};
   // Ahead of snmpd's own host-interface tables (127) when those are loaded as well: the
   // switch's ports are what a manager of the switch asks about.
   static constexpr int priority = 100;
   static constexpr const char* keyName = "ifIndex";
   static constexpr const char* keyTypeName = "InterfaceIndex";
};

using Row = EthIntfStatus;

// The columns whose values the interface's status holds; traffic counters and writable
// columns it does not have are left out, and net-snmp skips them.
struct IfTable : InterfaceRows<IfTable> {
   static constexpr const char* name = "ifTable";
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 2, 2};
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {1, "ifIndex", ASN_INTEGER, Snmp::s32ToAsnInteger, "ifIndex", [](const Row& s) { return s.ifIndex(); }},
       {2, "ifDescr", ASN_OCTET_STR, Snmp::stringToAsnOctetString, "intfId", [](const Row& s) { return intfName(s); }},
       {3, "ifType", ASN_INTEGER, Snmp::s32ToAsnInteger, "", Snmp::Fixed<ethernetCsmacd>{}},
       {4, "ifMtu", ASN_INTEGER, Snmp::s32ToAsnInteger, "mtu", [](const Row& s) { return static_cast<std::int32_t>(s.mtu()); }},
       {5, "ifSpeed", ASN_GAUGE, Snmp::u32ToAsnUnsigned, "speedMbps", [](const Row& s) { return ifSpeed(s); }},
       {6, "ifPhysAddress", ASN_OCTET_STR, Snmp::stringToAsnOctetString, "macAddr", [](const Row& s) { return physAddress(s); }},
       {7, "ifAdminStatus", ASN_INTEGER, Snmp::s32ToAsnInteger, "adminStatus", [](const Row& s) { return s.adminStatus() == Interface::AdminStatus::up ? statusUp : statusDown; }},
       {8, "ifOperStatus", ASN_INTEGER, Snmp::s32ToAsnInteger, "operStatus", [](const Row& s) { return s.operStatus() == Interface::OperStatus::up ? statusUp : statusDown; }},
       {9, "ifLastChange", ASN_TIMETICKS, Snmp::nowSecondsToUptimeTimeTicks, "lastChange", [](const Row& s) { return s.lastChange(); }},
   };
   // clang-format on
};

struct IfXTable : InterfaceRows<IfXTable> {
   static constexpr const char* name = "ifXTable";
   static constexpr oid tableOid[] = {1, 3, 6, 1, 2, 1, 31, 1, 1};
   // clang-format off
   static constexpr Snmp::Column<Row> columns[] = {
       {1, "ifName", ASN_OCTET_STR, Snmp::stringToAsnOctetString, "intfId", [](const Row& s) { return intfName(s); }},
       {15, "ifHighSpeed", ASN_GAUGE, Snmp::u32ToAsnUnsigned, "speedMbps", [](const Row& s) { return static_cast<std::uint32_t>(s.speedMbps()); }},
       {18, "ifAlias", ASN_OCTET_STR, Snmp::stringToAsnOctetString, "description", [](const Row& s) { return s.description(); }},
   };
   // clang-format on
};

}  // namespace

SNMP_SCALAR_HANDLER(ifNumber)
SNMP_TABLE(ifTable, IfTable)
SNMP_TABLE(ifXTable, IfXTable)

namespace {

// ifNumber: how many rows ifTable has.
const Snmp::Scalar ifNumber = {SNMP_SCALAR_NAMED(ifNumber),
                               {1, 3, 6, 1, 2, 1, 2, 1},
                               ASN_INTEGER,
                               Snmp::attribute(
                                   ifIndexView, "interfaces", Snmp::s32ToAsnInteger,
                                   [](const Interface::IfIndexView& view) {
                                      return static_cast<std::int32_t>(view.interfaces().size());
                                   },
                                   ".size()")};

}  // namespace

bool Snmp::registerInterfaceTables() {
   static bool registered = false;
   if (registered) {
      return true;
   }
   const auto dir =
       Kel::ptrCast<Interface::EthIntfStatusDir>(SnmpUtil::getEntityRelative(intfStatusPath));
   if (!dir) {
      SNMP_TRACE(0, unit,
                 "no interface status at " << SnmpUtil::entityPath(intfStatusPath)
                                           << "; IF-MIB not registered");
      return false;
   }
   // Mounted, so that the state database keeps the view alive for the handlers.
   SnmpUtil::stateRoot().mount(viewPath, Kel::make<Interface::IfIndexView>(dir));
   initUnit(unit, __func__, __LINE__, {&ifNumber, 1},
            {initialize_table_ifTable, initialize_table_ifXTable});
   registered = true;
   return true;
}
