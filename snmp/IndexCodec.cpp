#include "snmp/IndexCodec.h"

#include <algorithm>

#include "snmp/SnmpTrace.h"

namespace Snmp::Index {
namespace {

bool typeMatches(u_char expected, u_char actual) {
   const bool octets = [](u_char t) {
      return t == ASN_OCTET_STR || t == ASN_PRIV_IMPLIED_OCTET_STR;
   }(expected);
   return actual == expected ||
          (octets && (actual == ASN_OCTET_STR || actual == ASN_PRIV_IMPLIED_OCTET_STR));
}

// Out of line and cold: the hint is read for every object a walk returns.
[[gnu::cold, gnu::noinline]] void traceBadType(const netsnmp_variable_list* component, u_char type,
                                               const char* unit, const char* indexName) {
   SNMP_TRACE(0, unit,
              "hint for " << indexName << " has incorrect type! Expecting "
                          << static_cast<int>(type) << " but got "
                          << (component ? static_cast<int>(component->type) : -1));
}

[[gnu::cold, gnu::noinline]] void traceOutOfRange(const char* unit, const char* indexName,
                                                  const char* table) {
   SNMP_TRACE(2, unit, "hint for index " << indexName << " of " << table << " is out of range!");
}

}  // namespace

std::optional<KeySubIds> hintSubIds(const netsnmp_variable_list* component,
                                    std::span<const IndexPart> shape,
                                    std::span<const IndexSpec> indexes, const char* unit,
                                    const char* table) {
   KeySubIds ids;
   std::size_t at = 0;
   for (std::size_t i = 0; i < shape.size(); ++i, component = component->next_variable) {
      const IndexSpec& index = indexes[i];
      if (!component || !typeMatches(index.type, component->type)) [[unlikely]] {
         traceBadType(component, index.type, unit, index.name);
         return std::nullopt;
      }
      if (shape[i].mac) {
         if (component->val_len != 6 || !component->val.string) {
            traceOutOfRange(unit, index.name, table);
            return std::nullopt;
         }
         for (std::size_t octet = 0; octet < 6; ++octet) {
            ids.at[at++] = component->val.string[octet];
         }
         continue;
      }
      if (!component->val.integer) {
         return std::nullopt;
      }
      // Sub-identifiers are unsigned; net-snmp keeps them in a long.
      const unsigned long value = static_cast<unsigned long>(*component->val.integer);
      SNMP_TRACE(2, unit, "hint component " << index.name << " is '" << value << "'");
      if (value > shape[i].max) {
         traceOutOfRange(unit, index.name, table);
         return std::nullopt;
      }
      ids.at[at++] = static_cast<std::uint32_t>(value);
   }
   return ids;
}

netsnmp_variable_list* putNumber(netsnmp_variable_list* component, unsigned long value) {
   snmp_set_var_value(component, &value, sizeof value);
   return component->next_variable;
}

netsnmp_variable_list* putMac(netsnmp_variable_list* component, const Velnet::EthAddr& address) {
   const auto octets = address.octets();
   snmp_set_var_value(component, octets.data(), octets.size());
   return component->next_variable;
}

std::optional<KeySubIds> leastKeyAtOrAfter(const oid* index, std::size_t length,
                                           std::span<const IndexPart> shape) {
   // The largest value of each sub-identifier of the key, in order.
   std::array<std::uint32_t, KeySubIds{}.at.size()> max{};
   std::size_t width = 0;
   for (const IndexPart& part : shape) {
      for (std::size_t i = 0; i < (part.mac ? 6u : 1u); ++i) {
         max.at(width++) = part.max;
      }
   }
   KeySubIds key;
   // The least key after every key that shares the first `prefix` sub-identifiers with
   // `key`: the prefix's last sub-identifier that can grow one higher, and zeros after it.
   const auto after = [&](std::size_t prefix) -> std::optional<KeySubIds> {
      for (std::size_t q = prefix; q-- > 0;) {
         if (key.at[q] < max[q]) {
            ++key.at[q];
            std::fill(key.at.begin() + static_cast<std::ptrdiff_t>(q) + 1, key.at.end(), 0u);
            return key;
         }
      }
      return std::nullopt;
   };
   for (std::size_t p = 0; p < width && p < length; ++p) {
      if (index[p] > max[p]) {
         return after(p);  // every key with this prefix lies before the index
      }
      key.at[p] = static_cast<std::uint32_t>(index[p]);
   }
   // An index longer than a key follows the key it begins with.
   return length > width ? after(width) : std::optional<KeySubIds>(key);
}

Velnet::EthAddr macAt(const KeySubIds& s, std::size_t first) {
   std::array<std::uint8_t, 6> octets{};
   for (std::size_t i = 0; i < octets.size(); ++i) {
      octets[i] = static_cast<std::uint8_t>(s.at[first + i]);
   }
   return Velnet::EthAddr(octets);
}

std::size_t wholeIndexLength(const netsnmp_table_registration_info* table) {
   if (!table) {
      return 0;
   }
   std::size_t length = 0;
   for (const netsnmp_variable_list* index = table->indexes; index; index = index->next_variable) {
      switch (index->type) {
         case ASN_INTEGER:
         case ASN_UNSIGNED:
         case ASN_TIMETICKS:
            ++length;
            break;
         case ASN_PRIV_IMPLIED_OCTET_STR:
            // Registered with the fixed length of its value (a MAC address: six).
            length += index->val_len;
            break;
         default:
            return 0;
      }
   }
   return length;
}

}  // namespace Snmp::Index
