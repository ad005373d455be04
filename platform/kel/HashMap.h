#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <utility>

#include "platform/kel/Assert.h"

namespace Kel {

// Unordered collection with lookup by key. Iteration order is unspecified, and an
// iterator must not be used after the collection changed (a deliberate assertion).
template <class K, class V, class Hash = std::hash<K>>
class HashMap {
   using Map = std::unordered_map<K, V, Hash>;

 public:
   using Key = K;
   using Value = V;

   class IteratorConst {
    public:
      IteratorConst() = default;
      explicit operator bool() const {
         check();
         return map_ && it_ != map_->map_.end();
      }
      bool done() const { return !static_cast<bool>(*this); }
      const K& key() const {
         check();
         return it_->first;
      }
      const V& value() const {
         check();
         return it_->second;
      }
      const V& operator*() const { return value(); }
      const V* operator->() const { return &value(); }
      IteratorConst& operator++() {
         check();
         ++it_;
         return *this;
      }

    private:
      friend class HashMap;
      IteratorConst(const HashMap* map, typename Map::const_iterator it)
          : map_(map), it_(it), version_(map->version_) {}
      void check() const { KEL_ASSERT(!map_ || map_->version_ == version_); }

      const HashMap* map_ = nullptr;
      typename Map::const_iterator it_{};
      std::uint64_t version_ = 0;
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

   template <class Make>
   std::pair<V*, bool> findOrInsert(const K& key, Make&& make) {
      auto it = map_.find(key);
      if (it != map_.end()) {
         return {&it->second, false};
      }
      it = map_.emplace(key, make()).first;
      ++version_;
      return {&it->second, true};
   }

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

   IteratorConst begin() const { return IteratorConst(this, map_.begin()); }
   IteratorConst iteratorAt(const K& key) const { return IteratorConst(this, map_.find(key)); }

   // Any key, for draining; the collection must not be empty.
   const K& firstKey() const {
      KEL_ASSERT(!map_.empty());
      return map_.begin()->first;
   }

 private:
   Map map_;
   std::uint64_t version_ = 0;
};

}  // namespace Kel
