#pragma once

#include <cstdint>

#include "platform/snmputil/Converters.h"
#include "snmp/NetSnmp.h"

namespace Snmp {

// A scalar whose value never changes, for Snmp::scalarHandler: the value is encoded with
// the signed conversion whatever ASN type the varbind is given, as every constant of the
// module is. The parameters name namespace-scope constants of the unit:
//
//   constexpr const char* unit = "QBridgeMib";
//   constexpr const char* maxVlanIdHandler = "handle_dot1qMaxVlanId";
//   constexpr const char* maxVlanIdName = "dot1qMaxVlanId";
//   constexpr const char* returning4094 = "returning 4094";
//   using Dot1qMaxVlanId = Snmp::ConstantScalar<unit, maxVlanIdHandler, maxVlanIdName,
//                                               ASN_INTEGER, 4094, returning4094>;
template <const char* const& Unit, const char* const& Handler, const char* const& Name, u_char Type,
          int Value, const char* const& Reading>
struct ConstantScalar {
   using Entity = void;
   static constexpr const char* unit = Unit;
   static constexpr const char* handler = Handler;
   static constexpr const char* name = Name;
   static constexpr u_char type = Type;
   static constexpr int length = 0;
   static constexpr const char* reading = Reading;
   static constexpr const char* conversion = "S32ToAsnInteger";
   static constexpr const char* bytesFor = "";
   static constexpr const char* failed = "S32ToAsnInteger failed for: ";
   static constexpr const char* path = "";
   static constexpr const char* entityType = "";
   static constexpr const char* attribute = "";
   static int convert(const void*, unsigned char* buf, int len) {
      return SnmpConvert<std::int32_t, S32ToAsnIntegerF>(Value, buf, len);
   }
};

}  // namespace Snmp
