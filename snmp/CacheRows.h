#pragma once

#include <iterator>
#include <type_traits>

#include "model/QBridgeMib.h"
#include "snmp/IndexCodec.h"
#include "snmp/TableFrame.h"

// A table policy names itself (`name`, `unit`) and its `indexes` (a time mark first, when it
// has one), and derives from the collection it walks, named by the entity's accessor.
namespace Snmp {

template <class Accessor>
struct AccessorOf;
template <class E, class C>
struct AccessorOf<const C& (E::*)() const> {
   using Entity = E;
   using Collection = C;
};

// The entity, collection, key and row types of a table's rows; its index count and time mark,
// from its indexes; and the defaults of a table without a row filter.
template <class Table, auto collectionOf>
struct KeyedRows {
   using Entity = typename AccessorOf<decltype(collectionOf)>::Entity;
   using Collection = typename AccessorOf<decltype(collectionOf)>::Collection;
   using Key = typename Collection::Key;
   using Row = std::remove_const_t<typename Kel::detail::RowOf<typename Collection::Value>::type>;
   static constexpr unsigned indexCount = std::size(Table::indexes);
   // A time mark, when the table has one, is its first index.
   static constexpr bool timeFiltered = Table::indexes[0].type == ASN_TIMETICKS;
   static constexpr const char* timeMarkName = timeFiltered ? Table::indexes[0].name : "";
   static const Collection& collection(const Entity& entity) { return (entity.*collectionOf)(); }
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

// The cache's forwarding-entry rows, keyed by FID and address.
template <class Table>
struct FdbEntryRows : KeyedRows<Table, &BridgeSnmp::QBridgeMib::dot1qTpFdbTableCollection> {
   static constexpr const char* keyName = "fid/address";
   static constexpr const char* keyTypeName = "BridgeSnmp::Dot1qTpFdbEntryKey";
};

}  // namespace Snmp
