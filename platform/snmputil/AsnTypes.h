#pragma once

#include <cstdint>

// The ASN.1 and SNMP type tags that varbinds carry, as net-snmp numbers them; kept here so
// that code computing SNMP values need not include net-snmp. Tests check them against
// net-snmp's own definitions.
namespace Snmp {

inline constexpr std::uint8_t asnInteger = 0x02;
inline constexpr std::uint8_t asnOctetString = 0x04;
inline constexpr std::uint8_t asnObjectId = 0x06;
inline constexpr std::uint8_t asnIpAddress = 0x40;
inline constexpr std::uint8_t asnCounter = 0x41;
inline constexpr std::uint8_t asnGauge = 0x42;
inline constexpr std::uint8_t asnUnsigned = 0x42;
inline constexpr std::uint8_t asnTimeTicks = 0x43;
inline constexpr std::uint8_t asnCounter64 = 0x46;
inline constexpr std::uint8_t asnPrivImpliedOctetString = 0xC4;

// One sub-identifier of an OBJECT IDENTIFIER as net-snmp stores it (its `oid`).
using AsnOid = unsigned long;

}  // namespace Snmp
