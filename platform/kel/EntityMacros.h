#pragma once

#include <cstddef>
#include <utility>

#include "platform/kel/CollectionOps.h"
#include "platform/kel/Entity.h"

// Declaring an entity: list its members in one macro and expand KEL_ENTITY in the class.
//
//   #define VLAN_STATUS_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) <continued>
//      KEY(vlanId, Bridging::VlanId) <continued>
//      ATTRIBUTE(operState, OperState, OperState, OperState::up) <continued>
//      COLLECTION(vlanPortStatus, VlanPortStatus, VlanPortStatusMap)
//   (each <continued> being a line-continuing backslash)
//
//   class VlanStatus : public Kel::Entity {
//      KEL_ENTITY(VlanStatus, Kel::Entity, "Bridging::VlanStatus", VLAN_STATUS_MEMBERS)
//   public:
//      explicit VlanStatus(Bridging::VlanId id) : vlanId_(id) {}
//   };
//
// Member kinds (types and initial values containing commas need a typedef or parentheses):
//   ATTRIBUTE(x, X, Type, initial)   x(), xIs(v); notifies onX() when the value changes.
//   SHARED(x, Note, Type, initial)   the same, but notifies onNote(), declared by
//   NOTIFICATION(Note)               a notification several attributes share.
//   KEY(x, Type)                     x(), stored in x_ and set by the constructor.
//   COLLECTION(x, X, Coll)           a Kel::RbTreeMap or Kel::HashMap member with
//                                    xs() (count), x(key), xIs(key, ...), newX(key, ...),
//                                    xDel(key), xDelAll(), xIteratorConst([key]),
//                                    xCollection(); notifies onX(key) for every row
//                                    created, deleted or (for values) changed, and
//                                    onXkelImmediate() when a notifiee attaches.
//
// KEL_ENTITY also declares Self::Ptr, Self::PtrConst, typeName() and the nested
// Self::NotifieeConst with notifier(), notifierIs() and the callbacks above. A derived
// entity names its entity base class as Base; its notifiees hear of the base's members
// too.

#define KEL_ENTITY(Self_, Base_, typeName_, MEMBERS)                                              \
 public:                                                                                          \
   using Self = Self_;                                                                            \
   using Ptr = ::Kel::Ptr<Self_>;                                                                 \
   using PtrConst = ::Kel::Ptr<const Self_>;                                                      \
   static constexpr int kelDepth = Base_::kelDepth + 1;                                           \
   static const char* staticTypeName() {                                                          \
      return typeName_;                                                                           \
   }                                                                                              \
   const char* typeName() const override {                                                        \
      return typeName_;                                                                           \
   }                                                                                              \
   MEMBERS(KEL_ENTITY_ATTRIBUTE_, KEL_ENTITY_SHARED_, KEL_ENTITY_KEY_, KEL_ENTITY_COLLECTION_,    \
           KEL_IGNORE1_)                                                                          \
   class NotifieeConst : public Base_::NotifieeConst {                                            \
    public:                                                                                       \
      NotifieeConst() : Base_::NotifieeConst(Self_::kelDepth) {}                                  \
      ::Kel::Ptr<const Self_> notifier() const {                                                  \
         return ::Kel::Ptr<const Self_>(static_cast<const Self_*>(this->kelNotifier()));          \
      }                                                                                           \
      void notifierIs(const ::Kel::Ptr<const Self_>& entity) {                                    \
         this->kelNotifierIs(entity.get());                                                       \
      }                                                                                           \
      MEMBERS(KEL_NOTIFIEE_ATTRIBUTE_, KEL_IGNORE4_, KEL_IGNORE2_, KEL_NOTIFIEE_COLLECTION_,      \
              KEL_NOTIFIEE_NOTIFICATION_)                                                         \
      void kelImmediate() override {                                                              \
         Base_::NotifieeConst::kelImmediate();                                                    \
         MEMBERS(KEL_IGNORE4_, KEL_IGNORE4_, KEL_IGNORE2_, KEL_NOTIFIEE_IMMEDIATE_, KEL_IGNORE1_) \
      }                                                                                           \
                                                                                                  \
    protected:                                                                                    \
      explicit NotifieeConst(int depth) : Base_::NotifieeConst(depth) {}                          \
   };                                                                                             \
                                                                                                  \
 public:

#define KEL_NO_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION)

#define KEL_IGNORE1_(a)
#define KEL_IGNORE2_(a, b)
#define KEL_IGNORE4_(a, b, c, d)

#define KEL_ENTITY_ATTRIBUTE_(name, Name, Type, initial) \
   KEL_ENTITY_SHARED_(name, Name, Type, initial)

#define KEL_ENTITY_SHARED_(name, Note, Type, initial)                                    \
 private:                                                                                \
   Type name##_ = initial;                                                               \
                                                                                         \
 public:                                                                                 \
   const Type& name() const {                                                            \
      return name##_;                                                                    \
   }                                                                                     \
   void name##Is(const Type& value) {                                                    \
      if (name##_ == value) {                                                            \
         return;                                                                         \
      }                                                                                  \
      name##_ = value;                                                                   \
      this->kelNotify<NotifieeConst>(kelDepth, [](NotifieeConst* n) { n->on##Note(); }); \
   }

#define KEL_ENTITY_KEY_(name, Type) \
 protected:                         \
   Type name##_;                    \
                                    \
 public:                            \
   const Type& name() const {       \
      return name##_;               \
   }

#define KEL_ENTITY_COLLECTION_(name, Name, Coll)                                                \
 private:                                                                                       \
   Coll name##_;                                                                                \
   void kelNotify##Name(const typename Coll::Key& key) {                                        \
      this->kelNotify<NotifieeConst>(kelDepth, [&key](NotifieeConst* n) { n->on##Name(key); }); \
   }                                                                                            \
                                                                                                \
 public:                                                                                        \
   using Name##IteratorConst = typename Coll::IteratorConst;                                    \
   std::size_t name##s() const {                                                                \
      return name##_.size();                                                                    \
   }                                                                                            \
   const Coll& name##Collection() const {                                                       \
      return name##_;                                                                           \
   }                                                                                            \
   auto name(const typename Coll::Key& key) const {                                             \
      return ::Kel::detail::lookup(name##_, key);                                               \
   }                                                                                            \
   auto name(const typename Coll::Key& key) {                                                   \
      return ::Kel::detail::lookupMutable(name##_, key);                                        \
   }                                                                                            \
   Name##IteratorConst name##IteratorConst() const {                                            \
      return name##_.begin();                                                                   \
   }                                                                                            \
   Name##IteratorConst name##IteratorConst(const typename Coll::Key& key) const {               \
      return name##_.iteratorAt(key);                                                           \
   }                                                                                            \
   template <class... Args>                                                                     \
   auto name##Is(const typename Coll::Key& key, Args&&... args) {                               \
      return ::Kel::detail::set(                                                                \
          name##_, this, key, [this](const auto& k) { kelNotify##Name(k); },                    \
          std::forward<Args>(args)...);                                                         \
   }                                                                                            \
   template <class... Args>                                                                     \
   auto new##Name(const typename Coll::Key& key, Args&&... args) {                              \
      return name##Is(key, std::forward<Args>(args)...);                                        \
   }                                                                                            \
   void name##Del(const typename Coll::Key& key) {                                              \
      ::Kel::detail::del(name##_, key, [this](const auto& k) { kelNotify##Name(k); });          \
   }                                                                                            \
   void name##DelAll() {                                                                        \
      ::Kel::detail::delAll(name##_, [this](const auto& k) { kelNotify##Name(k); });            \
   }

#define KEL_NOTIFIEE_ATTRIBUTE_(name, Name, Type, initial) \
   virtual void on##Name() {}

#define KEL_NOTIFIEE_NOTIFICATION_(Note) \
   virtual void on##Note() {}

#define KEL_NOTIFIEE_COLLECTION_(name, Name, Coll)     \
   virtual void on##Name(const typename Coll::Key&) {} \
   virtual void on##Name##kelImmediate() {}

#define KEL_NOTIFIEE_IMMEDIATE_(name, Name, Coll) on##Name##kelImmediate();
