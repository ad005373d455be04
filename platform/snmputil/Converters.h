#pragma once

#include <cstdint>
#include <string>

#include "platform/velnet/EthAddr.h"

// The elementary SNMP value converters of the plug-in utilities.
//
// Output converters write a value in the form snmp_set_var_typed_value() takes for its
// ASN type and return the byte count, or a negative number when `len` is too small (they
// never write past `len`):
//   INTEGER                     a 32-bit int             (4 bytes)
//   Unsigned32, Gauge32,
//   Counter32, TimeTicks        a 32-bit unsigned int    (4 bytes)
//   OCTET STRING                the octets
//   OBJECT IDENTIFIER           Snmp::AsnOid sub-identifiers
// They are used as SnmpConvert<T, F>(value, buf, len).
//
// Input converters read the value of a received varbind (net-snmp keeps every integer
// type as a long) and raise Kel::RangeException when it does not fit.
namespace Snmp {

// The Kel::now() reading at which the agent's sysUpTime was zero, for up-time values. The
// plug-in host sets it from snmpd's monotonic start, the subagent from its master's; tests
// set it.
double agentStartTime();
void agentStartTimeIs(double seconds);

// Seconds since the agent started; a time before the start gives 0.
double NowSecondsToUptimeSeconds(double nowSeconds);
// Hundredths of a second, wrapping at 2^32 as TimeTicks do; negative gives 0.
std::uint32_t SecondsToTimeTicks(double seconds);

struct U32ToAsnUnsignedF {
   int operator()(std::uint32_t value, unsigned char* buf, int len) const;
};
struct S32ToAsnIntegerF {
   int operator()(std::int32_t value, unsigned char* buf, int len) const;
};
// The low 32 bits, as a Counter32 wraps.
struct U64ToCounter32F {
   int operator()(std::uint64_t value, unsigned char* buf, int len) const;
};
struct StringToAsnOctetStringF {
   int operator()(const std::string& value, unsigned char* buf, int len) const;
};
// Dotted decimal ("1.3.6.1", "0.0"); a malformed text gives a negative count.
struct StringToAsnOidF {
   int operator()(const std::string& value, unsigned char* buf, int len) const;
};
// A Kel::now() time as TimeTicks since the agent started.
struct NowSecondsToUptimeTimeTicksF {
   int operator()(double nowSeconds, unsigned char* buf, int len) const;
};
// The six octets.
struct VelnetEthAddrToAsnOctetStringF {
   int operator()(const Velnet::EthAddr& value, unsigned char* buf, int len) const;
};

template <class T, class F>
int SnmpConvert(const T& value, unsigned char* buf, int len) {
   return F()(value, buf, len);
}

// Received values: `value` points at the varbind's value (a long for integer types).
std::int32_t AsnIntegerToS32(const void* value);
std::uint32_t AsnUnsignedToU32(const void* value);
// Exactly six octets.
Velnet::EthAddr AsnOctetStringToVelnetEthAddr(const void* value, int len);

}  // namespace Snmp
