#pragma once

#include <optional>
#include <ostream>

#include "model/QBridgeMib.h"
#include "snmp/IndexCodec.h"
#include "snmp/TableFrame.h"

// Table policies share the row collections of the cache: a table names itself (`name`,
// `unit`) and derives from the rows it walks, which bring the key and its index codec.
namespace Snmp {

// The cache's bridge-port rows, indexed by dot1dBasePort (INTEGER).
template <class Table>
struct BasePortRows : TablePolicyDefaults {
   using Entity = BridgeSnmp::QBridgeMib;
   using Collection = BridgeSnmp::Dot1dBasePortTableMap;
   using Row = BridgeSnmp::Dot1dBasePortEntry;
   using Key = Interface::EthPortId;
   static constexpr unsigned indexCount = 1;
   static constexpr const char* keyName = "port";
   static constexpr const char* keyTypeName = "Interface::EthPortId";
   static const Collection& collection(const Entity& mib) {
      return mib.dot1dBasePortTableCollection();
   }
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      const auto port = Index::hintNumber(c, ASN_INTEGER, Interface::EthPortId::max, Table::unit,
                                          "dot1dBasePort", Table::name);
      return port ? std::optional<Key>(Interface::EthPortId(*port)) : std::nullopt;
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& port) {
      Index::putNumber(vars, port.value());
   }
   static void printKey(std::ostream& os, const Key& port) { os << port; }
};

// The cache's forwarding-entry rows, indexed by dot1qFdbId and the address.
template <class Table>
struct FdbEntryRows : TablePolicyDefaults {
   using Entity = BridgeSnmp::QBridgeMib;
   using Collection = BridgeSnmp::Dot1qTpFdbTableMap;
   using Row = BridgeSnmp::Dot1qTpFdbEntry;
   using Key = BridgeSnmp::Dot1qTpFdbEntryKey;
   static constexpr unsigned indexCount = 2;
   static constexpr const char* keyName = "fid/address";
   static constexpr const char* keyTypeName = "BridgeSnmp::Dot1qTpFdbEntryKey";
   static const Collection& collection(const Entity& mib) {
      return mib.dot1qTpFdbTableCollection();
   }
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      return Index::hintFdbEntryKey(c, Table::unit, Table::name);
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& key) {
      Index::putFdbEntryKey(vars, key);
   }
   static void printKey(std::ostream& os, const Key& key) { os << key; }
};

}  // namespace Snmp
