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
// from the collection it walks, named by the entity's accessor.
namespace Snmp {

template <class Accessor>
struct AccessorOf;
template <class E, class C>
struct AccessorOf<const C& (E::*)() const> {
   using Entity = E;
   using Collection = C;
};

// The entity, collection, key and row types of a table's rows, and the hint, index values and
// trace form of a key, from the table's indexes.
template <class Table, auto collectionOf>
struct KeyedRows {
   using Entity = typename AccessorOf<decltype(collectionOf)>::Entity;
   using Collection = typename AccessorOf<decltype(collectionOf)>::Collection;
   using Key = typename Collection::Key;
   using Row = typename Kel::detail::RowOf<typename Collection::Value>::type;
   static constexpr unsigned indexCount = std::size(Table::indexes);
   // A time mark, when the table has one, is its first index.
   static constexpr bool timeFiltered = Table::indexes[0].type == ASN_TIMETICKS;
   static constexpr const char* timeMarkName = timeFiltered ? Table::indexes[0].name : "";
   static const Collection& collection(const Entity& entity) { return (entity.*collectionOf)(); }
   static std::optional<Key> hintKey(const netsnmp_variable_list* c) {
      const std::span<const IndexSpec> indexes(Table::indexes);
      return Index::hint<Key>(c, indexes.subspan(Table::timeFiltered ? 1 : 0), Table::unit,
                              Table::name);
   }
   static void putIndexes(netsnmp_variable_list* vars, const Key& key) {
      Index::KeyIndex<Key>::put(vars, key);
   }
   static void printKey(std::ostream& os, const Key& key) { os << key; }
   // No row filter and no change time, unless the table states them.
   static constexpr const char* filterName = nullptr;
   static constexpr const char* changeTimeName = "";
   static bool filter(const typename Collection::IteratorConst&) { return true; }
   static double changeTime(const Row&) { return 0; }
   // Lower wins over another registration of the same subtree (snmpd's own modules: 127).
   static constexpr int priority = DEFAULT_MIB_PRIORITY;
};

// The cache's bridge-port rows, indexed by dot1dBasePort (INTEGER).
template <class Table>
struct BasePortRows : KeyedRows<Table, &BridgeSnmp::QBridgeMib::dot1dBasePortTableCollection> {
   static constexpr IndexSpec indexes[] = {{ASN_INTEGER, "dot1dBasePort"}};
   static constexpr const char* keyName = "port";
   static constexpr const char* keyTypeName = "Interface::EthPortId";
};

}  // namespace Snmp
