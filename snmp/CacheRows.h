#pragma once

#include <iterator>
#include <optional>
#include <ostream>
#include <span>

#include "model/QBridgeMib.h"
#include "snmp/IndexCodec.h"
#include "snmp/TableFrame.h"

// Table policies share the key codec and the row collections of the cache: a table names
// itself (`name`, `unit`) and its `indexes` (a time mark first, when it has one), and derives
// from the rows it walks.
namespace Snmp {

// The hint, index values and trace form of a key, from the table's indexes.
template <class Table, class Key>
struct KeyedRows : TablePolicyDefaults {
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      const std::span<const IndexSpec> indexes(Table::indexes);
      return Index::hint<Key>(c, indexes.subspan(Table::timeFiltered ? 1 : 0), Table::unit,
                              Table::name);
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& key) {
      Index::KeyIndex<Key>::put(vars, key);
   }
   static void printKey(std::ostream& os, const Key& key) { os << key; }
};

// The cache's bridge-port rows, indexed by dot1dBasePort (INTEGER).
template <class Table>
struct BasePortRows : KeyedRows<Table, Interface::EthPortId> {
   using Entity = BridgeSnmp::QBridgeMib;
   using Collection = BridgeSnmp::Dot1dBasePortTableMap;
   using Row = BridgeSnmp::Dot1dBasePortEntry;
   using Key = Interface::EthPortId;
   static constexpr IndexSpec indexes[] = {{ASN_INTEGER, "dot1dBasePort"}};
   static constexpr unsigned indexCount = 1;
   static constexpr const char* keyName = "port";
   static constexpr const char* keyTypeName = "Interface::EthPortId";
   static const Collection& collection(const Entity& mib) {
      return mib.dot1dBasePortTableCollection();
   }
};

// The cache's forwarding-entry rows, indexed by dot1qFdbId and the address.
template <class Table>
struct FdbEntryRows : KeyedRows<Table, BridgeSnmp::Dot1qTpFdbEntryKey> {
   using Entity = BridgeSnmp::QBridgeMib;
   using Collection = BridgeSnmp::Dot1qTpFdbTableMap;
   using Row = BridgeSnmp::Dot1qTpFdbEntry;
   using Key = BridgeSnmp::Dot1qTpFdbEntryKey;
   static constexpr IndexSpec indexes[] = {{ASN_UNSIGNED, "dot1qFdbId"},
                                           {ASN_PRIV_IMPLIED_OCTET_STR, "dot1qTpFdbAddress"}};
   static constexpr unsigned indexCount = 2;
   static constexpr const char* keyName = "fid/address";
   static constexpr const char* keyTypeName = "BridgeSnmp::Dot1qTpFdbEntryKey";
   static const Collection& collection(const Entity& mib) {
      return mib.dot1qTpFdbTableCollection();
   }
};

}  // namespace Snmp
