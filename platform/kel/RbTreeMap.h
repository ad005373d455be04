#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <type_traits>
#include <utility>

#include "platform/kel/Assert.h"
#include "platform/kel/Pool.h"

namespace Kel {

// Ordered collection: rows iterate in ascending key order. Values are either Kel::Ptr
// rows or plain values.
//
// Iterators stay usable across changes of the collection: after any insertion or
// deletion an iterator finds its place again by key (the row it stood on, or the next
// one if that row was deleted), so a walk never skips or repeats a surviving row.
//
// Keyed operations start from a finger, the place of the previous one, before they descend
// from the root: keys that come in ascending order (a backlog worked off in key order, rows
// made in that order, a walk resuming after the row it stopped at) are then found and
// inserted in constant time rather than in time logarithmic in the collection's size.
template <class K, class V, class Compare = std::less<K>>
class RbTreeMap {
   static_assert(std::is_default_constructible_v<K>, "iterators keep a copy of their key");
   // Nodes come from the pools: a large collection is mostly nodes.
   using Map = std::map<K, V, Compare, PoolAllocator<std::pair<const K, V>>>;
   using MapIterator = typename Map::iterator;

 public:
   using Key = K;
   using Value = V;

   RbTreeMap() = default;
   // The finger points into its own tree; a copy or a moved-to collection starts without.
   RbTreeMap(const RbTreeMap& other) : map_(other.map_) {}
   RbTreeMap(RbTreeMap&& other) noexcept : map_(std::move(other.map_)) {
      other.finger_ = other.map_.end();
      ++other.version_;
   }
   RbTreeMap& operator=(const RbTreeMap& other) {
      if (this != &other) {
         map_ = other.map_;
         finger_ = map_.end();
         ++version_;
      }
      return *this;
   }
   RbTreeMap& operator=(RbTreeMap&& other) noexcept {
      if (this != &other) {
         map_ = std::move(other.map_);
         finger_ = map_.end();
         ++version_;
         other.finger_ = other.map_.end();
         ++other.version_;
      }
      return *this;
   }

   class IteratorConst {
    public:
      IteratorConst() = default;

      // True while the iterator stands on a row.
      explicit operator bool() const {
         resync();
         return map_ && it_ != map_->map_.end();
      }
      bool done() const { return !static_cast<bool>(*this); }
      const K& key() const {
         resync();
         return it_->first;
      }
      const V& value() const {
         resync();
         return it_->second;
      }
      const V& operator*() const { return value(); }
      const V* operator->() const { return &value(); }

      IteratorConst& operator++() {
         if (map_->version_ != version_) {
            // Continue after the key we stood on, wherever the tree now has it.
            it_ = hasKey_ ? map_->map_.upper_bound(key_) : map_->map_.end();
            version_ = map_->version_;
         } else {
            ++it_;
         }
         remember();
         return *this;
      }

    private:
      friend class RbTreeMap;
      IteratorConst(const RbTreeMap* map, typename Map::const_iterator it)
          : map_(map), it_(it), version_(map->version_) {
         remember();
      }
      void remember() {
         hasKey_ = it_ != map_->map_.end();
         if (hasKey_) {
            key_ = it_->first;
         }
      }
      void resync() const {
         if (map_ && map_->version_ != version_) {
            it_ = hasKey_ ? map_->map_.lower_bound(key_) : map_->map_.end();
            version_ = map_->version_;
            const_cast<IteratorConst*>(this)->remember();
         }
      }

      const RbTreeMap* map_ = nullptr;
      mutable typename Map::const_iterator it_{};
      mutable std::uint64_t version_ = 0;
      K key_{};              // where the iterator stands,
      bool hasKey_ = false;  // unless it is exhausted
   };

   std::size_t size() const { return map_.size(); }
   // Changes with every insertion, deletion and changed value, so that an index kept
   // beside the collection can tell when it is stale.
   std::uint64_t version() const { return version_; }
   bool empty() const { return map_.empty(); }

   const V* find(const K& key) const {
      const MapIterator it = exact(key);
      return it == map_.end() ? nullptr : &it->second;
   }
   V* find(const K& key) {
      const MapIterator it = exact(key);
      return it == map_.end() ? nullptr : &it->second;
   }

   // Inserts `make()` under `key` unless the key is present. Returns the value and
   // whether it was inserted.
   template <class Make>
   std::pair<V*, bool> findOrInsert(const K& key, Make&& make) {
      MapIterator it = lowerBoundFromFinger(key);
      if (it != map_.end() && !map_.key_comp()(key, it->first)) {
         return {&it->second, false};
      }
      // The finger stays on the row after the new one, where the next key in ascending
      // order most likely goes too.
      it = map_.emplace_hint(it, key, make());
      ++version_;
      return {&it->second, true};
   }

   // Sets the value under `key`. Returns true when something changed.
   bool assign(const K& key, V value) {
      MapIterator it = lowerBoundFromFinger(key);
      if (it == map_.end() || map_.key_comp()(key, it->first)) {
         map_.emplace_hint(it, key, std::move(value));
         ++version_;
         return true;
      }
      if (it->second == value) {
         return false;
      }
      it->second = std::move(value);
      ++version_;
      return true;
   }

   // Removes the row of `key`, moving its value to `removed` when given. Returns false
   // when there is no such row.
   bool erase(const K& key, V* removed = nullptr) {
      const MapIterator it = exact(key);
      if (it == map_.end()) {
         return false;
      }
      if (removed) {
         *removed = std::move(it->second);
      }
      finger_ = map_.erase(it);
      ++version_;
      return true;
   }

   // The first row, or an exhausted iterator.
   IteratorConst begin() const { return IteratorConst(this, map_.begin()); }
   // An exhausted iterator.
   IteratorConst end() const { return IteratorConst(this, map_.end()); }
   // The row of `key` exactly, or an exhausted iterator.
   IteratorConst iteratorAt(const K& key) const { return IteratorConst(this, exact(key)); }
   // The first row whose key is not less than `key`.
   IteratorConst lowerBound(const K& key) const {
      return IteratorConst(this, map_.lower_bound(key));
   }
   // The first row whose key is greater than `key`.
   IteratorConst upperBound(const K& key) const {
      return IteratorConst(this, map_.upper_bound(key));
   }

   // The smallest key, for draining in order; the collection must not be empty.
   const K& firstKey() const {
      KEL_ASSERT(!map_.empty());
      return map_.begin()->first;
   }

 private:
   // The first row whose key is not less than `key`, as std::map::lower_bound, tried first at
   // the finger and at the row after it. Leaves the finger there.
   MapIterator lowerBoundFromFinger(const K& key) const {
      Map& map = const_cast<Map&>(map_);
      const auto less = map.key_comp();
      MapIterator at = finger_;
      if (at != map.end() && less(at->first, key)) {
         // The key lies further on: try the next row, whose predecessor (the finger) is less.
         ++at;
         if (at == map.end() || !less(at->first, key)) {
            return finger_ = at;
         }
      } else if (at == map.begin() || less(std::prev(at)->first, key)) {
         return finger_ = at;
      }
      return finger_ = map.lower_bound(key);
   }

   // The row of `key`, or the end.
   MapIterator exact(const K& key) const {
      const MapIterator at = lowerBoundFromFinger(key);
      Map& map = const_cast<Map&>(map_);
      return at != map.end() && !map.key_comp()(key, at->first) ? at : map.end();
   }

   Map map_;
   std::uint64_t version_ = 0;
   // Where the last keyed operation ended; always a valid position of map_ (a row or the
   // end), as erasing the row it stands on moves it to the next one.
   mutable MapIterator finger_ = map_.end();
};

}  // namespace Kel
