#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <type_traits>
#include <utility>

#include "platform/kel/Assert.h"

namespace Kel {

// Ordered collection: rows iterate in ascending key order. Values are either Kel::Ptr
// rows or plain values.
//
// Iterators stay usable across changes of the collection: after any insertion or
// deletion an iterator finds its place again by key (the row it stood on, or the next
// one if that row was deleted), so a walk never skips or repeats a surviving row.
template <class K, class V, class Compare = std::less<K>>
class RbTreeMap {
   static_assert(std::is_default_constructible_v<K>, "iterators keep a copy of their key");
   using Map = std::map<K, V, Compare>;

 public:
   using Key = K;
   using Value = V;

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
   bool empty() const { return map_.empty(); }

   const V* find(const K& key) const {
      auto it = map_.find(key);
      return it == map_.end() ? nullptr : &it->second;
   }
   V* find(const K& key) {
      auto it = map_.find(key);
      return it == map_.end() ? nullptr : &it->second;
   }

   // Inserts `make()` under `key` unless the key is present. Returns the value and
   // whether it was inserted.
   template <class Make>
   std::pair<V*, bool> findOrInsert(const K& key, Make&& make) {
      auto it = map_.lower_bound(key);
      if (it != map_.end() && !map_.key_comp()(key, it->first)) {
         return {&it->second, false};
      }
      it = map_.emplace_hint(it, key, make());
      ++version_;
      return {&it->second, true};
   }

   // Sets the value under `key`. Returns true when something changed.
   bool assign(const K& key, V value) {
      auto [it, inserted] = map_.try_emplace(key, value);
      if (inserted) {
         ++version_;
         return true;
      }
      if (it->second == value) {
         return false;
      }
      it->second = std::move(value);
      return true;
   }

   // Removes the row of `key`, moving its value to `removed` when given. Returns false
   // when there is no such row.
   bool erase(const K& key, V* removed = nullptr) {
      auto it = map_.find(key);
      if (it == map_.end()) {
         return false;
      }
      if (removed) {
         *removed = std::move(it->second);
      }
      map_.erase(it);
      ++version_;
      return true;
   }

   // The first row, or an exhausted iterator.
   IteratorConst begin() const { return IteratorConst(this, map_.begin()); }
   // The row of `key` exactly, or an exhausted iterator.
   IteratorConst iteratorAt(const K& key) const { return IteratorConst(this, map_.find(key)); }
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
   Map map_;
   std::uint64_t version_ = 0;
};

}  // namespace Kel
