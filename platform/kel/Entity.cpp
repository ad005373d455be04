#include "platform/kel/Entity.h"

#include <algorithm>

#include "platform/kel/Trace.h"

namespace Kel {
TraceHandle& kelTrace() {
   static TraceHandle handle("Kel");
   return handle;
}

namespace {

// Made at load, so that a trace setting can name the facility before its first line.
[[maybe_unused]] const Kel::TraceHandle& kelTraceAtLoad = kelTrace();

}  // namespace

Entity::~Entity() {
   // Only not-counted entities can die with notifiees attached (a notifiee holds a
   // reference otherwise). Cut the links without touching this entity's count.
   if (notifierState_) {
      for (NotifieeBase* n : notifierState_->list) {
         if (n) {
            n->notifier_.release();
         }
      }
   }
}

void Entity::kelZombieIs() {
   if (kelZombie()) {
      return;
   }
   kelFlags_ |= zombieFlag;
   kelNotify<NotifieeBase>(0, [](NotifieeBase* n) { n->onZombie(); });
}

std::size_t Entity::kelNotifiees() const {
   if (!notifierState_) {
      return 0;
   }
   return static_cast<std::size_t>(
       std::count_if(notifierState_->list.begin(), notifierState_->list.end(),
                     [](const NotifieeBase* n) { return n != nullptr; }));
}

int Entity::kelDepthOf(const NotifieeBase* n) {
   return n->depth_;
}

void Entity::kelAttach(NotifieeBase* n) const {
   if (!notifierState_) {
      notifierState_ = std::make_unique<NotifierState>();
   }
   notifierState_->list.push_back(n);
}

void Entity::kelDetach(NotifieeBase* n) const {
   NotifierState& state = *notifierState_;
   auto it = std::find(state.list.begin(), state.list.end(), n);
   if (it == state.list.end()) {
      return;
   }
   if (state.dispatching > 0) {
      *it = nullptr;  // the dispatch loop is indexing the list; compact afterwards
      state.holes = true;
   } else {
      state.list.erase(it);
   }
}

void Entity::kelCompact() const {
   NotifierState& state = *notifierState_;
   std::erase(state.list, nullptr);
   state.holes = false;
}

void Entity::kelRouteException(std::size_t index, const std::exception& e) const {
   NotifieeBase* n = notifierState_->list[index];
   if (!n) {
      KEL_TRACE(kelTrace(), 0,
                "exception from a detached notifiee of " << typeName() << ": " << e.what());
      return;
   }
   try {
      n->handleNotificationException(e);
   } catch (const std::exception& again) {
      KEL_TRACE(kelTrace(), 0, "handleNotificationException threw: " << again.what());
   } catch (...) {
      KEL_TRACE(kelTrace(), 0, "handleNotificationException threw a non-standard exception");
   }
}

void Entity::kelRouteUnknownException(std::size_t index) const {
   struct Unknown : std::exception {
      const char* what() const noexcept override { return "non-standard exception"; }
   };
   kelRouteException(index, Unknown());
}

NotifieeBase::~NotifieeBase() {
   if (notifier_) {
      notifier_->kelDetach(this);
   }
}

void NotifieeBase::handleNotificationException(const std::exception& e) {
   KEL_TRACE(kelTrace(), 0,
             "notification of " << (notifier_ ? notifier_->typeName() : "a detached entity")
                                << " threw: " << e.what());
}

void NotifieeBase::kelNotifierIs(const Entity* entity) {
   if (notifier_.get() == entity) {
      return;
   }
   if (notifier_) {
      notifier_->kelDetach(this);
      notifier_ = nullptr;
   }
   if (!entity) {
      return;
   }
   notifier_ = entity;
   entity->kelAttach(this);
   try {
      kelImmediate();
   } catch (const std::exception& e) {
      handleNotificationException(e);
   }
}

}  // namespace Kel
