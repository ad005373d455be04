#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "platform/kel/Object.h"
#include "platform/kel/Ptr.h"

namespace Kel {

class NotifieeBase;

// Base of all state-database objects. An entity tells the notifiees attached to it about
// changes of its attributes and collections; see EntityMacros.h for declaring one.
class Entity : public Object {
 public:
   using NotifieeConst = NotifieeBase;
   // Inheritance depth among entity classes; notifiees of a base class only hear about
   // the base class's members.
   static constexpr int kelDepth = 0;

   virtual const char* typeName() const { return "Kel::Entity"; }

   // True once the entity was deleted from the collection that held it.
   bool kelZombie() const { return (kelFlags_ & zombieFlag) != 0; }
   // Marks the entity deleted and tells its notifiees (onZombie). Collections call this.
   void kelZombieIs();

   std::size_t kelNotifiees() const;

 protected:
   Entity() = default;
   ~Entity() override;

   // Calls `call(static_cast<N*>(n))` for every attached notifiee whose depth is at least
   // `depth`. Notifiees may detach themselves or others, attach new ones, or drop the last
   // reference to this entity during a callback. An exception thrown by a callback goes to
   // that notifiee's handleNotificationException.
   template <class N, class F>
   void kelNotify(int depth, F&& call) const {
      if (!notifierState_) {
         return;
      }
      Ptr<const Entity> guard;
      if (notCounted() || references() > 0) {
         guard = this;
      }
      NotifierState& state = *notifierState_;
      ++state.dispatching;
      const std::size_t count = state.list.size();
      for (std::size_t i = 0; i < count; ++i) {
         NotifieeBase* n = state.list[i];
         if (n && kelDepthOf(n) >= depth) {
            try {
               call(static_cast<N*>(n));
            } catch (const std::exception& e) {
               kelRouteException(i, e);
            } catch (...) {
               kelRouteUnknownException(i);
            }
         }
      }
      if (--state.dispatching == 0 && state.holes) {
         kelCompact();
      }
   }

 private:
   friend class NotifieeBase;

   struct NotifierState {
      std::vector<NotifieeBase*> list;
      int dispatching = 0;
      bool holes = false;
   };

   static int kelDepthOf(const NotifieeBase* n);
   void kelAttach(NotifieeBase* n) const;
   void kelDetach(NotifieeBase* n) const;
   void kelCompact() const;
   void kelRouteException(std::size_t index, const std::exception& e) const;
   void kelRouteUnknownException(std::size_t index) const;

   static constexpr std::uint8_t zombieFlag = 1;
   mutable std::unique_ptr<NotifierState> notifierState_;
};

// Base of every reactor. A notifiee observes at most one entity at a time; the entity
// class's nested NotifieeConst adds the typed notifierIs() and one virtual callback per
// attribute (onX()) and per collection (onX(key), onXkelImmediate()).
class NotifieeBase : public Object {
 public:
   ~NotifieeBase() override;

   const Entity* kelNotifier() const { return notifier_.get(); }

   // The observed entity was deleted from its collection. Per-element reactors use this
   // as their handleDel.
   virtual void onZombie() {}
   // Receives what a callback threw. The default traces it at level 0.
   virtual void handleNotificationException(const std::exception& e);
   // Called right after attaching: one whole-collection call (onXkelImmediate) for each
   // collection of the observed entity.
   virtual void kelImmediate() {}

 protected:
   explicit NotifieeBase(int depth) : depth_(depth) {}
   // Attaches to `entity` (detaching from any previous one) and runs kelImmediate();
   // nullptr only detaches.
   void kelNotifierIs(const Entity* entity);

 private:
   friend class Entity;
   Ptr<const Entity> notifier_;
   int depth_;
};

}  // namespace Kel
