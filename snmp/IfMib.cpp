// IF-MIB: ifTable and ifXTable over an ifIndex-ordered view of the Ethernet interfaces.

#include "snmp/IfMib.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/interface/IfIndexView.h"
#include "platform/snmputil/Converters.h"
#include "platform/statedb/StateDb.h"
#include "snmp/IndexCodec.h"
#include "snmp/Registration.h"
#include "snmp/ScalarHandler.h"
#include "snmp/SnmpTrace.h"
#include "snmp/TableHandler.h"

namespace {

using Interface::EthIntfStatus;

constexpr const char* unit = "IfMib";
constexpr const char* intfStatusPath = "Statedb/interface/status/eth";
constexpr const char* viewPath = "snmp/ifmib/interfaces";
// Ahead of snmpd's own host-interface tables (127) when those are loaded as well: the
// switch's ports are what a manager of the switch asks about.
constexpr int aheadOfHostInterfaces = 100;

// IANAifType ethernetCsmacd: every Ethernet interface, whatever its speed.
constexpr std::int64_t ethernetCsmacd = 6;
// ifAdminStatus and ifOperStatus: up(1), down(2).
constexpr std::int64_t statusUp = 1;
constexpr std::int64_t statusDown = 2;

// ifSpeed in bits per second; a speed beyond its range reads as its maximum, and ifHighSpeed
// tells the real one.
std::int64_t ifSpeed(const EthIntfStatus& s) {
   const std::uint64_t bps = std::uint64_t{s.speedMbps()} * 1000000u;
   return static_cast<std::int64_t>(std::min<std::uint64_t>(bps, 0xffffffffu));
}

std::string physAddress(const EthIntfStatus& s) {
   if (s.macAddr().isZero()) {
      return {};  // an interface without an address of its own has a zero-length one
   }
   const auto octets = s.macAddr().octets();
   return std::string(octets.begin(), octets.end());
}

// A column: its number, name and type, and how an interface's status gives its value
// (an integer, or octets).
struct Column {
   unsigned number;
   const char* name;
   u_char type;
   std::int64_t (*integer)(const EthIntfStatus&);
   std::string (*octets)(const EthIntfStatus&);
};

// The columns whose values the interface's status holds; traffic counters and writable
// columns it does not have are left out, and net-snmp skips them.
const Column ifTableColumns[] = {
    {1, "ifIndex", ASN_INTEGER, [](const EthIntfStatus& s) -> std::int64_t { return s.ifIndex(); },
     nullptr},
    {2, "ifDescr", ASN_OCTET_STR, nullptr,
     [](const EthIntfStatus& s) { return s.intfId().stringValue().stdString(); }},
    {3, "ifType", ASN_INTEGER, [](const EthIntfStatus&) { return ethernetCsmacd; }, nullptr},
    {4, "ifMtu", ASN_INTEGER, [](const EthIntfStatus& s) -> std::int64_t { return s.mtu(); },
     nullptr},
    {5, "ifSpeed", ASN_GAUGE, ifSpeed, nullptr},
    {6, "ifPhysAddress", ASN_OCTET_STR, nullptr, physAddress},
    {7, "ifAdminStatus", ASN_INTEGER,
     [](const EthIntfStatus& s) {
        return s.adminStatus() == Interface::AdminStatus::up ? statusUp : statusDown;
     },
     nullptr},
    {8, "ifOperStatus", ASN_INTEGER,
     [](const EthIntfStatus& s) {
        return s.operStatus() == Interface::OperStatus::up ? statusUp : statusDown;
     },
     nullptr},
    {9, "ifLastChange", ASN_TIMETICKS,
     [](const EthIntfStatus& s) -> std::int64_t {
        return Snmp::SecondsToTimeTicks(Snmp::NowSecondsToUptimeSeconds(s.lastChange()));
     },
     nullptr},
};

const Column ifXTableColumns[] = {
    {1, "ifName", ASN_OCTET_STR, nullptr,
     [](const EthIntfStatus& s) { return s.intfId().stringValue().stdString(); }},
    {15, "ifHighSpeed", ASN_GAUGE,
     [](const EthIntfStatus& s) -> std::int64_t { return s.speedMbps(); }, nullptr},
    {18, "ifAlias", ASN_OCTET_STR, nullptr, [](const EthIntfStatus& s) { return s.description(); }},
};

template <const auto& columns>
const Column* findColumn(unsigned number) {
   for (const Column& c : columns) {
      if (c.number == number) {
         return &c;
      }
   }
   return nullptr;
}

// Both tables walk the interfaces by ifIndex (InterfaceIndex: 1..2147483647).
template <class Table, const auto& columns>
struct InterfaceRows : Snmp::TablePolicyDefaults {
   using Entity = Interface::IfIndexView;
   using Collection = Interface::IfIndexView::Map;
   using Key = std::int32_t;
   static constexpr const char* unit = ::unit;
   static constexpr unsigned indexCount = 1;
   static constexpr const char* keyName = "ifIndex";
   static constexpr const char* keyTypeName = "InterfaceIndex";
   static const Collection& collection(const Entity& view) { return view.interfaces(); }
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      const auto ifIndex = Snmp::Index::hintNumber(
          c, ASN_INTEGER, std::numeric_limits<std::int32_t>::max(), unit, "ifIndex", Table::name);
      return ifIndex ? std::optional<Key>(static_cast<Key>(*ifIndex)) : std::nullopt;
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& ifIndex) {
      Snmp::Index::putNumber(vars, static_cast<unsigned long>(ifIndex));
   }
   static void printKey(std::ostream& os, const Key& ifIndex) { os << ifIndex; }

   static const char* columnName(unsigned number) {
      const Column* column = findColumn<columns>(number);
      return column ? column->name : nullptr;
   }
   // Data: the frame's data context (a template, as the frame needs the complete table).
   template <class Data>
   static int getColumn(const Data& data, unsigned number, netsnmp_variable_list* var) {
      const Column* column = findColumn<columns>(number);
      if (column->integer) {
         snmp_set_var_typed_integer(var, column->type,
                                    static_cast<long>(column->integer(*data.row)));
      } else {
         const std::string octets = column->octets(*data.row);
         snmp_set_var_typed_value(var, column->type, reinterpret_cast<const u_char*>(octets.data()),
                                  octets.size());
      }
      return SNMP_ERR_NOERROR;
   }
};

struct IfTable : InterfaceRows<IfTable, ifTableColumns> {
   static constexpr const char* name = "ifTable";
   static constexpr const char* entityText =
       "ifTable_get_first_data_point - no Interface::IfIndexView to walk";
};

struct IfXTable : InterfaceRows<IfXTable, ifXTableColumns> {
   static constexpr const char* name = "ifXTable";
   static constexpr const char* entityText =
       "ifXTable_get_first_data_point - no Interface::IfIndexView to walk";
};

// ifNumber: how many rows ifTable has.
struct IfNumber {
   using Entity = Interface::IfIndexView;
   static constexpr const char* unit = ::unit;
   static constexpr const char* handler = "handle_ifNumber";
   static constexpr const char* name = "ifNumber";
   static constexpr u_char type = ASN_INTEGER;
   static constexpr int length = 0;
   static constexpr const char* reading = "reading snmp/ifmib/interfaces->interfaces().size()";
   static constexpr const char* conversion = "S32ToAsnInteger";
   static constexpr const char* bytesFor = "bytes for snmp/ifmib/interfaces->interfaces()";
   static constexpr const char* failed = "S32ToAsnInteger failed for: interfaces";
   static constexpr const char* path = viewPath;
   static constexpr const char* entityType = "Interface::IfIndexView";
   static constexpr const char* attribute = "interfaces";
   static int convert(const Entity* view, unsigned char* buf, int len) {
      return Snmp::SnmpConvert<std::int32_t, Snmp::S32ToAsnIntegerF>(
          static_cast<std::int32_t>(view->interfaces().size()), buf, len);
   }
};

template <const auto& columns>
std::vector<unsigned> columnNumbers() {
   std::vector<unsigned> numbers;
   for (const Column& c : columns) {
      numbers.push_back(c.number);
   }
   return numbers;
}

}  // namespace

SNMP_SCALAR_HANDLER(handle_ifNumber, IfNumber)
SNMP_TABLE_CALLBACKS(ifTable, IfTable)
SNMP_TABLE_CALLBACKS(ifXTable, IfXTable)

int ifTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                    netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::ReadOnlyTableHandler<IfTable>::handle(h, r, i, q);
}

int ifXTable_handler(netsnmp_mib_handler* h, netsnmp_handler_registration* r,
                     netsnmp_agent_request_info* i, netsnmp_request_info* q) {
   return Snmp::ReadOnlyTableHandler<IfXTable>::handle(h, r, i, q);
}

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
   const auto view = Kel::make<Interface::IfIndexView>(dir);
   SnmpUtil::stateRoot().mount(viewPath, view);
   debugInitializing(unit, __func__, unit, __LINE__);
   registerScalar({unit,
                   IfNumber::name,
                   handle_ifNumber,
                   {1, 3, 6, 1, 2, 1, 2, 1},
                   HANDLER_CAN_RONLY,
                   view.get()});
   registerTable(
       {unit,
        IfTable::name,
        ifTable_handler,
        {1, 3, 6, 1, 2, 1, 2, 2},
        HANDLER_CAN_RONLY,
        {{ASN_INTEGER, "ifIndex"}},
        1,
        9,
        columnNumbers<ifTableColumns>(),
        {ifTable_get_first_data_point, ifTable_get_next_data_point, ifTable_make_data_context,
         ifTable_free_data_context, ifTable_free_loop_context_at_end},
        view.get(),
        aheadOfHostInterfaces});
   registerTable(
       {unit,
        IfXTable::name,
        ifXTable_handler,
        {1, 3, 6, 1, 2, 1, 31, 1, 1},
        HANDLER_CAN_RONLY,
        {{ASN_INTEGER, "ifIndex"}},
        1,
        18,
        columnNumbers<ifXTableColumns>(),
        {ifXTable_get_first_data_point, ifXTable_get_next_data_point, ifXTable_make_data_context,
         ifXTable_free_data_context, ifXTable_free_loop_context_at_end},
        view.get(),
        aheadOfHostInterfaces});
   registered = true;
   return true;
}
