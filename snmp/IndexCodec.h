#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <type_traits>

#include "model/Dot1qTpFdbEntryKey.h"
#include "platform/interface/EthPortId.h"
#include "platform/velnet/EthAddr.h"
#include "snmp/NetSnmp.h"

// Reading table indexes from a request's hint and writing a row's indexes for net-snmp.
namespace Snmp::Index {

// Writes one component and returns the next.
netsnmp_variable_list* putNumber(netsnmp_variable_list* component, unsigned long value);
netsnmp_variable_list* putMac(netsnmp_variable_list* component, const Velnet::EthAddr& address);

// One part of a table key as it stands in the index: a number (one sub-identifier, 0 to
// `max`) or a MAC address (six sub-identifiers, each an octet).
struct IndexPart {
   bool mac;
   std::uint32_t max;
};

// A key's sub-identifiers, in the shape of its parts.
struct KeySubIds {
   std::array<std::uint32_t, 8> at{};
};

// Where a request that names `index` (the sub-identifiers after the column, of any length
// and any values) stands among the keys of `shape`: the least key whose index is at or
// after it. A short index is padded with zeros; a sub-identifier beyond its part, and an
// index longer than a key, carry into the sub-identifiers before (every key with that
// prefix lies before the index). Nothing when every key lies before the index.
std::optional<KeySubIds> leastKeyAtOrAfter(const oid* index, std::size_t length,
                                           std::span<const IndexPart> shape);

// Each key type's index shape, and the key made from its sub-identifiers.
template <class Key>
struct KeyIndex {
   // A number: an integer, or a value type with `max` and value().
   static constexpr std::uint32_t max() {
      if constexpr (std::is_integral_v<Key>) {
         return static_cast<std::uint32_t>(std::numeric_limits<Key>::max());
      } else {
         return Key::max;
      }
   }
   static constexpr IndexPart shape[] = {{false, max()}};
   static Key make(const KeySubIds& s) { return Key(s.at[0]); }
   static void put(netsnmp_variable_list* c, const Key& k) {
      if constexpr (std::is_integral_v<Key>) {
         putNumber(c, static_cast<unsigned long>(k));
      } else {
         putNumber(c, k.value());
      }
   }
};
Velnet::EthAddr macAt(const KeySubIds& s, std::size_t first);
template <>
struct KeyIndex<Velnet::EthAddr> {
   static constexpr IndexPart shape[] = {{true, 255}};
   static Velnet::EthAddr make(const KeySubIds& s) { return macAt(s, 0); }
   static void put(netsnmp_variable_list* c, const Velnet::EthAddr& k) { putMac(c, k); }
};
template <>
struct KeyIndex<BridgeSnmp::Dot1qTpFdbEntryKey> {
   static constexpr IndexPart shape[] = {{false, Bridging::Fid::max}, {true, 255}};
   static BridgeSnmp::Dot1qTpFdbEntryKey make(const KeySubIds& s) {
      return {Bridging::Fid(s.at[0]), macAt(s, 1)};
   }
   static void put(netsnmp_variable_list* c, const BridgeSnmp::Dot1qTpFdbEntryKey& k) {
      putMac(putNumber(c, k.fid().value()), k.address());
   }
};

// A table index as it is registered: its type and its name in traces.
struct IndexSpec {
   u_char type;       // ASN_INTEGER, ASN_UNSIGNED, ASN_TIMETICKS, ASN_PRIV_IMPLIED_OCTET_STR
   const char* name;  // "dot1dBasePort"
};

// The key a request's hint names: one component per part of the key's shape, each of the
// type of its index and within its part (a wrong type or a value out of range is traced,
// with the unit, index and table names, and gives nothing); the key's constructor may raise
// the range exception.
std::optional<KeySubIds> hintSubIds(const netsnmp_variable_list* component,
                                    std::span<const IndexPart> shape,
                                    std::span<const IndexSpec> indexes, const char* unit,
                                    const char* table);
template <class Key>
std::optional<Key> hint(const netsnmp_variable_list* component, std::span<const IndexSpec> indexes,
                        const char* unit, const char* table) {
   const auto ids = hintSubIds(component, KeyIndex<Key>::shape, indexes, unit, table);
   return ids ? std::optional<Key>(KeyIndex<Key>::make(*ids)) : std::nullopt;
}

// The number of sub-identifiers of one whole index of a registered table, or 0 when the
// length varies (or there is no registration to read it from).
std::size_t wholeIndexLength(const netsnmp_table_registration_info* table);

}  // namespace Snmp::Index

namespace Snmp {
using Index::IndexSpec;
}
