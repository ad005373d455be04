#pragma once

#include <type_traits>
#include <utility>

#include "platform/kel/Entity.h"
#include "platform/kel/Ptr.h"

// The generic operations behind the collection members that KEL_ENTITY declares. A
// collection's value is either Kel::Ptr<Row> (rows are created by the collection) or a
// plain value (set by the caller).
namespace Kel::detail {

template <class V>
struct RowOf {
   using type = void;
};
template <class E>
struct RowOf<Ptr<E>> {
   using type = E;
};

// Creates a row for `key`: Row(key, args...) when arguments are given, otherwise
// Row(key, owner) when the row takes its owner, otherwise Row(key).
template <class Row, class Key, class Owner, class... Args>
Ptr<Row> makeRow(const Key& key, Owner* owner, Args&&... args) {
   if constexpr (sizeof...(Args) > 0) {
      return Ptr<Row>(new Row(key, std::forward<Args>(args)...));
   } else if constexpr (std::is_constructible_v<Row, const Key&, Owner*>) {
      return Ptr<Row>(new Row(key, owner));
   } else {
      return Ptr<Row>(new Row(key));
   }
}

// x(key) on a const entity: the row as Ptr<const Row> or null, or the value or V{}.
template <class Coll>
auto lookup(const Coll& coll, const typename Coll::Key& key) {
   using V = typename Coll::Value;
   if constexpr (isPtr<V>) {
      const V* found = coll.find(key);
      return found ? Ptr<const typename RowOf<V>::type>(*found)
                   : Ptr<const typename RowOf<V>::type>();
   } else {
      const V* found = coll.find(key);
      return found ? *found : V{};
   }
}

// x(key) on a writable entity: rows come back writable.
template <class Coll>
auto lookupMutable(Coll& coll, const typename Coll::Key& key) {
   using V = typename Coll::Value;
   if constexpr (isPtr<V>) {
      V* found = coll.find(key);
      return found ? *found : V();
   } else {
      return lookup(static_cast<const Coll&>(coll), key);
   }
}

// xIs(key, ...) / newX(key, ...): for rows, create-or-get (arguments go to the row's
// constructor) and notify when created, or, given an existing row object, put it under the
// key; for values, set and notify when changed.
template <class Coll, class Owner, class Notify, class... Args>
auto set(Coll& coll, Owner* owner, const typename Coll::Key& key, Notify&& notify, Args&&... args) {
   using V = typename Coll::Value;
   if constexpr (isPtr<V> && sizeof...(Args) == 1 && (std::is_convertible_v<Args, V> && ...)) {
      // An existing row object is put under the key, replacing a different one.
      V row(std::forward<Args>(args)...);
      auto [value, inserted] = coll.findOrInsert(key, [&] { return row; });
      if (!inserted) {
         if (*value == row) {
            return row;
         }
         V replaced = std::exchange(*value, row);
         if constexpr (std::is_base_of_v<Entity, typename RowOf<V>::type>) {
            if (replaced) {
               replaced->kelZombieIs();
            }
         }
      }
      notify(key);
      return row;
   } else if constexpr (isPtr<V>) {
      using Row = typename RowOf<V>::type;
      auto [value, inserted] = coll.findOrInsert(
          key, [&] { return makeRow<Row>(key, owner, std::forward<Args>(args)...); });
      V row = *value;
      if (inserted) {
         notify(key);
      }
      return row;
   } else {
      static_assert(sizeof...(Args) == 1, "a value collection is set with one value");
      if (coll.assign(key, V(std::forward<Args>(args)...))) {
         notify(key);
      }
   }
}

// xDel(key): rows are marked deleted (their notifiees hear onZombie) before the owner's
// notifiees hear of the key, so per-element reactors run their deletion handling first.
template <class Coll, class Notify>
void del(Coll& coll, const typename Coll::Key& key, Notify&& notify) {
   using V = typename Coll::Value;
   V removed{};
   if (!coll.erase(key, &removed)) {
      return;
   }
   if constexpr (isPtr<V>) {
      if constexpr (std::is_base_of_v<Entity, typename RowOf<V>::type>) {
         removed->kelZombieIs();
      }
   }
   // Copy the key: notifiees may release what `key` refers to.
   const typename Coll::Key keyCopy = key;
   notify(keyCopy);
}

template <class Coll, class Notify>
void delAll(Coll& coll, Notify&& notify) {
   while (!coll.empty()) {
      const typename Coll::Key key = coll.firstKey();
      del(coll, key, notify);
   }
}

}  // namespace Kel::detail
