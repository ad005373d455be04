#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "model/Dot1qTpFdbEntryKey.h"
#include "platform/velnet/EthAddr.h"
#include "snmp/NetSnmp.h"

// Reading table indexes from a request's hint and writing a row's indexes for net-snmp.
namespace Snmp::Index {

// A numeric component of type `type` within 0..max; a wrong type or a value out of range
// is traced (with the unit, index and table names) and gives nothing.
std::optional<std::uint32_t> hintNumber(const netsnmp_variable_list* component, u_char type,
                                        std::uint32_t max, const char* unit, const char* indexName,
                                        const char* table);
// A MAC address component: exactly six octets.
std::optional<Velnet::EthAddr> hintMac(const netsnmp_variable_list* component, const char* unit,
                                       const char* indexName, const char* table);

// A forwarding-entry key from two components: dot1qFdbId, then the address.
std::optional<BridgeSnmp::Dot1qTpFdbEntryKey> hintFdbEntryKey(const netsnmp_variable_list* fid,
                                                              const char* unit, const char* table);

// Writes one component and returns the next.
netsnmp_variable_list* putNumber(netsnmp_variable_list* component, unsigned long value);
netsnmp_variable_list* putMac(netsnmp_variable_list* component, const Velnet::EthAddr& address);
netsnmp_variable_list* putFdbEntryKey(netsnmp_variable_list* component,
                                      const BridgeSnmp::Dot1qTpFdbEntryKey& key);

// The number of sub-identifiers of one whole index of a registered table, or 0 when the
// length varies (or there is no registration to read it from).
std::size_t wholeIndexLength(const netsnmp_table_registration_info* table);

}  // namespace Snmp::Index
