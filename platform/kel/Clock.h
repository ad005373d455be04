#pragma once

#include <cstdint>
#include <functional>
#include <limits>

#include "platform/kel/Entity.h"

namespace Kel {

inline constexpr double timeNever = std::numeric_limits<double>::infinity();
inline constexpr double timeAsap = 0.0;

// The framework clock. Each reactor on it asks for one wake-up by setting its timeMin:
// +infinity (timeNever) means no wake-up is wanted, 0.0 (timeAsap) means as soon as
// possible, after other pending work. When the time reaches a reactor's timeMin the
// clock calls its onTime() once; the wake-up is one-shot, so timeMin reads +infinity
// during onTime() and the reactor sets it again if it wants another.
class Clock : public Entity {
 public:
   using Ptr = Kel::Ptr<Clock>;
   using PtrConst = Kel::Ptr<const Clock>;
   static constexpr int kelDepth = Entity::kelDepth + 1;

   class NotifieeConst : public NotifieeBase {
    public:
      NotifieeConst() : NotifieeBase(Clock::kelDepth) {}

      PtrConst notifier() const { return PtrConst(static_cast<const Clock*>(kelNotifier())); }
      void notifierIs(const PtrConst& clock);

      double timeMin() const { return timeMin_; }
      void timeMinIs(double t);

      virtual void onTime() {}

    private:
      friend class Clock;
      double timeMin_ = timeNever;
      std::uint64_t lastRun_ = 0;  // the clock's run count when it last ran
   };

   const char* typeName() const override { return "Kel::Clock"; }

   // The earliest timeMin of the attached reactors; timeNever when none wants a wake-up.
   double nextTime() const;
   // Runs one reactor whose timeMin is at or before `now`: the earliest, and among equal
   // ones the one that ran least recently. One reactor a call keeps a driver's pass down to
   // one reactor's work, so input is looked at between any two reactors' work, and the
   // rotation keeps a reactor that always asks for timeAsap from starving the others.
   // Returns false when none was due.
   bool runDue(double now);
   // The type of the reactor the last runDue ran (its mangled name, static storage), or
   // nullptr when it ran none; for reports of which reactor a long pass belonged to.
   const char* lastRunType() const { return lastRunType_; }

   // Called whenever a reactor's timeMin changes or a reactor attaches or detaches.
   void scheduleObserverIs(std::function<void()> observer) { observer_ = std::move(observer); }

 private:
   friend class NotifieeConst;
   void scheduleChanged() const {
      if (observer_) {
         observer_();
      }
   }

   std::function<void()> observer_;
   std::uint64_t runs_ = 0;
   const char* lastRunType_ = nullptr;
};

}  // namespace Kel
