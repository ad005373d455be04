#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "conversions/SnmpConversions.h"
#include "model/PortList.h"
#include "platform/snmputil/Converters.h"
#include "snmp/NetSnmp.h"
#include "snmp/Registration.h"

// A MIB object as one row of data: a scalar's name, OID, ASN type, allowed length, source and
// access; a table column's number, name, type and source. Every trace text of an object
// (reading, returned, failed, wrong length, wrong entity) is made from its row by
// Snmp::objectText, so that no unit spells them out.
namespace Snmp {

// A value conversion with the name traces give it. F writes the value for its ASN type and
// returns the byte count, negative on failure.
template <auto F>
struct Conversion {
   const char* name;
};

// clang-format off
inline constexpr Conversion<&SnmpConvert<std::int32_t, S32ToAsnIntegerF>> s32ToAsnInteger{"S32ToAsnInteger"};
inline constexpr Conversion<&SnmpConvert<std::uint32_t, U32ToAsnUnsignedF>> u32ToAsnUnsigned{"U32ToAsnUnsigned"};
inline constexpr Conversion<&SnmpConvert<std::uint64_t, U64ToCounter32F>> u64ToCounter32{"U64ToCounter32"};
inline constexpr Conversion<&SnmpConvert<std::string, StringToAsnOctetStringF>> stringToAsnOctetString{"StringToAsnOctetString"};
inline constexpr Conversion<&SnmpConvert<std::string, StringToAsnOidF>> stringToAsnOid{"StringToAsnOid"};
inline constexpr Conversion<&SnmpConvert<double, NowSecondsToUptimeTimeTicksF>> nowSecondsToUptimeTimeTicks{"NowSecondsToUptimeTimeTicks"};
inline constexpr Conversion<&SnmpConvert<Velnet::EthAddr, VelnetEthAddrToAsnOctetStringF>> velnetEthAddrToAsnOctetString{"VelnetEthAddrToAsnOctetString"};
inline constexpr Conversion<&EthPortIdToAsnUnsigned> ethPortIdToAsnUnsigned{"EthPortIdToAsnUnsigned"};
inline constexpr Conversion<&EthIntfNameToPortIdAsnUnsigned> ethIntfNameToPortIdAsnUnsigned{"EthIntfNameToPortIdAsnUnsigned"};
inline constexpr Conversion<&FdbStatusToAsnInteger> fdbStatusToAsnInteger{"FdbStatusToAsnInteger"};
inline constexpr Conversion<&HostAgingTimeToAsnInteger> hostAgingTimeToAsnInteger{"HostAgingTimeToAsnInteger"};
inline constexpr Conversion<&BridgeSnmp::VlanStatusToEgressPortList> vlanStatusToEgressPortList{"VlanStatusToEgressPortList"};
inline constexpr Conversion<&BridgeSnmp::VlanStatusToUntaggedPortList> vlanStatusToUntaggedPortList{"VlanStatusToUntaggedPortList"};
inline constexpr Conversion<&BridgeSnmp::VlanConfigToAllowedPortList> vlanConfigToAllowedPortList{"VlanConfigToAllowedPortList"};
inline constexpr Conversion<&BridgeSnmp::VlanConfigToUntaggedPortList> vlanConfigToUntaggedPortList{"VlanConfigToUntaggedPortList"};
// clang-format on

// The length a value must have: exactly `bytes`, or at most `bytes`; none when 0.
struct Length {
   int bytes = 0;
   bool exact = true;
   bool refuses(int n) const { return bytes != 0 && n >= 0 && (exact ? n != bytes : n > bytes); }
};
inline constexpr Length atMost(int bytes) {
   return {bytes, false};
}

// What a scalar answers: an attribute of an entity through a conversion, or a constant
// (encoded with the signed conversion whatever its ASN type).
struct ScalarSource {
   const char* path = nullptr;  // null for a constant
   const char* typeName = "";
   void* (*find)(const char* path) = nullptr;
   const char* attribute = "";
   const char* conversion = s32ToAsnInteger.name;
   int (*encode)(const void* entity, unsigned char* buf, int len) = nullptr;
   int constant = 0;
   const char* readingTail = "";  // after "attribute()" in the reading text only
};

template <class T, auto F, class Reader>
ScalarSource attribute(const EntityAt<T>& at, const char* name, Conversion<F> conversion, Reader,
                       const char* readingTail = "") {
   static_assert(std::is_empty_v<Reader>, "a reader is a lambda without captures");
   return {at.path,
           at.typeName,
           [](const char* path) -> void* { return entityAt<T>(path); },
           name,
           conversion.name,
           [](const void* entity, unsigned char* buf, int len) {
              return F(Reader{}(*static_cast<const T*>(entity)), buf, len);
           },
           0,
           readingTail};
}

// An attribute read by the entity's own accessor, `read`, converted as the conversion takes it.
template <auto read, class T, auto F>
ScalarSource attribute(const EntityAt<T>& at, const char* name, Conversion<F> conversion) {
   return attribute(at, name, conversion, [](const T& entity) { return (entity.*read)(); });
}

inline ScalarSource constant(int value) {
   ScalarSource source;
   source.constant = value;
   return source;
}

struct Scalar {
   const char* name;  // "dot1dBaseType": the registration; its handler is handle_<name>
   Netsnmp_Node_Handler* handler;
   std::vector<oid> scalarOid;  // without the .0 instance
   u_char type;
   ScalarSource source;
   int access = HANDLER_CAN_RONLY;
   Length length = {};
   mutable const char* unit = nullptr;  // the registering unit's, for the handler's traces
};

// A unit's init_<unit>: the "Initializing" message (when net-snmp debugging is on), then
// each scalar, registered at priority 64, ahead of default-priority (127) registrations, with
// its entity (null when it cannot be found: its handler then answers genErr), then each table.
void initUnit(const char* unit, const char* function, int line, std::span<const Scalar> scalars,
              std::initializer_list<void (*)()> initializeTables);

// The shared node handler of every scalar: the row is the handler's own myvoid, the
// entity the registration's my_reg_void. GET converts into a 1024-byte buffer and sets
// the value; a null entity, a failed conversion or a wrong length answer genErr and return
// 5. Every SET phase answers notWritable and returns 0; any other mode answers genErr and
// returns 5. No exception leaves it.
int scalarHandler(netsnmp_mib_handler* handler, netsnmp_handler_registration* reg,
                  netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests);

// How a SET may name a column of a read-write table.
enum class SetAccess : std::uint8_t {
   readOnly,  // named, and refused as read-only
   writable,
   none,  // no column a SET may name
};

// A table column: its number, name and ASN type, and the conversion of what the row
// gives for it (`attribute` names that in the failure text; empty for a constant).
template <class Row>
struct Column {
   unsigned number;
   const char* name;
   u_char type;
   const char* conversion;
   const char* attribute;
   int (*encode)(const Row& row, unsigned char* buf, int len);
   Length length;
   SetAccess set;

   template <auto F, class Reader>
   constexpr Column(unsigned number, const char* name, u_char type, Conversion<F> conversion,
                    const char* attribute, Reader, Length length = {},
                    SetAccess set = SetAccess::readOnly)
       : number(number),
         name(name),
         type(type),
         conversion(conversion.name),
         attribute(attribute),
         encode([](const Row& row, unsigned char* buf, int len) {
            return F(Reader{}(row), buf, len);
         }),
         length(length),
         set(set) {
      static_assert(std::is_empty_v<Reader>, "a reader is a lambda without captures");
   }
};

// A reader of a constant column value.
template <auto Value>
struct Fixed {
   template <class Row>
   constexpr auto operator()(const Row&) const {
      return Value;
   }
};

template <class Row, std::size_t N>
const Column<Row>* findColumn(const Column<Row> (&columns)[N], unsigned number) {
   for (const Column<Row>& c : columns) {
      if (c.number == number) {
         return &c;
      }
   }
   return nullptr;
}

// The texts of an object's traces, made from its row (after "<handler> - ").
enum class ObjectText { reading, returned, failed, notOfType, lengthOutOfRange };
std::string objectText(ObjectText text, const char* path, const char* typeName,
                       const char* attribute, const char* conversion, long n = 0);

// Converts a column of a row into the varbind; the error status to set (0: none). The
// failure texts name the table's handler, handle_<table>, and the entity at `path`.
int storeColumn(netsnmp_variable_list* var, u_char type, const unsigned char* buf, int n,
                Length length, const char* unit, const char* table, const char* path,
                const char* conversion, const char* attribute);

template <class Row>
int getColumn(const Column<Row>& column, const Row& row, netsnmp_variable_list* var,
              const char* unit, const char* table, const char* path) {
   unsigned char buf[1024];
   const int n = column.encode(row, buf, sizeof buf);
   return storeColumn(var, column.type, buf, n, column.length, unit, table, path, column.conversion,
                      column.attribute);
}

}  // namespace Snmp

// The first two fields of a scalar's row: its name and its handler, handle_<object>.
#define SNMP_SCALAR_NAMED(object) #object, handle_##object

// Defines the named net-snmp node handler of a scalar, handle_<object>.
#define SNMP_SCALAR_HANDLER(object)                                                           \
   int handle_##object(netsnmp_mib_handler* handler, netsnmp_handler_registration* reg,       \
                       netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) { \
      return ::Snmp::scalarHandler(handler, reg, reqinfo, requests);                          \
   }
