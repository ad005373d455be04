#pragma once

#include <map>
#include <memory>
#include <vector>

#include "platform/kel/Entity.h"

namespace Kel {

// The reactors an owner keeps for the elements of one collection it watches: at most one
// per key, each attached to the element its key held when the reactor was built. A reactor
// is built as Reactor(owner, element) and is destroyed (which detaches it) when its element
// goes or is replaced.
//
// What the owners rely on:
// - watch(key, element, owner) keeps a reactor that is already attached to `element` and
//   then does nothing else. Otherwise it hands the old reactor, if any, to `retire`, destroys
//   it, and only then builds the new one, so that the old one is detached before the new
//   one attaches and handles the element's current state from its constructor. While that
//   constructor runs the key is present with no reactor: find(key) gives null, and a walk
//   over the reactors would meet an empty slot, so constructors must not walk them.
// - watch with a null element (the collection no longer holds the key) drops the key's
//   reactor, without `retire`: the element's own deletion notification (onZombie) is where
//   a reactor cleans up after an element that went.
// - A collection that is cleared notifies each key after its element went, which drops that
//   key's reactor; an element added again is a new entity and gets a new reactor, and so
//   does an entity put in place of another under the same key (after `retire` of the old).
// - sweep answers a whole-collection notification (on attaching): it calls `each` for every
//   key of the collection in the collection's order, then drops, in key order, the reactors
//   whose key `present` no longer holds, each through `drop` (by default it is erased).
// - The reactors are walked in key order.
template <class Key, class Reactor>
class ElementReactors {
 public:
   using Map = std::map<Key, std::unique_ptr<Reactor>>;

   struct NoRetire {
      void operator()(Reactor&) const {}
   };

   template <class Element, class Owner, class Retire = NoRetire>
   void watch(const Key& key, const Element& element, Owner& owner, Retire retire = {}) {
      if (!element) {
         reactors_.erase(key);
         return;
      }
      auto& reactor = reactors_[key];
      if (reactor && reactor->kelNotifier() == static_cast<const Entity*>(element.get())) {
         return;
      }
      if (reactor) {
         retire(*reactor);
      }
      reactor.reset();
      reactor = std::make_unique<Reactor>(owner, element);
   }

   // `keys` iterates the collection (the framework's iterator: it.key(), ++it, true while
   // not at the end); present(key) is false (null) for a key the collection lacks.
   template <class Iterator, class Each, class Present>
   void sweep(Iterator keys, Each&& each, Present&& present) {
      sweep(keys, each, present, [this](const Key& key) { erase(key); });
   }
   template <class Iterator, class Each, class Present, class Drop>
   void sweep(Iterator keys, Each&& each, Present&& present, Drop&& drop) {
      for (; keys; ++keys) {
         each(keys.key());
      }
      std::vector<Key> gone;
      for (const auto& [key, reactor] : reactors_) {
         if (!present(key)) {
            gone.push_back(key);
         }
      }
      for (const auto& key : gone) {
         drop(key);
      }
   }

   Reactor* find(const Key& key) const {
      const auto it = reactors_.find(key);
      return it == reactors_.end() ? nullptr : it->second.get();
   }
   void erase(const Key& key) { reactors_.erase(key); }
   void clear() { reactors_.clear(); }
   std::size_t size() const { return reactors_.size(); }
   typename Map::const_iterator begin() const { return reactors_.begin(); }
   typename Map::const_iterator end() const { return reactors_.end(); }

 private:
   Map reactors_;
};

}  // namespace Kel
