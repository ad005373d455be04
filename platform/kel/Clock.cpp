#include "platform/kel/Clock.h"

#include <algorithm>
#include <exception>
#include <typeinfo>

namespace Kel {

void Clock::NotifieeConst::notifierIs(const PtrConst& clock) {
   const PtrConst previous = notifier();
   kelNotifierIs(clock.get());
   if (previous && previous != clock) {
      previous->scheduleChanged();
   }
   if (clock) {
      clock->scheduleChanged();
   }
}

void Clock::NotifieeConst::timeMinIs(double t) {
   if (t == timeMin_) {
      return;
   }
   timeMin_ = t;
   if (const Clock* clock = static_cast<const Clock*>(kelNotifier())) {
      clock->scheduleChanged();
   }
}

double Clock::nextTime() const {
   double next = timeNever;
   kelNotify<NotifieeConst>(kelDepth,
                            [&next](NotifieeConst* n) { next = std::min(next, n->timeMin()); });
   return next;
}

bool Clock::runDue(double now) {
   NotifieeConst* chosen = nullptr;
   kelNotify<NotifieeConst>(kelDepth, [&chosen, now](NotifieeConst* n) {
      if (n->timeMin() > now) {
         return;
      }
      if (!chosen || n->timeMin() < chosen->timeMin() ||
          (n->timeMin() == chosen->timeMin() && n->lastRun_ < chosen->lastRun_)) {
         chosen = n;
      }
   });
   if (!chosen) {
      lastRunType_ = nullptr;
      return false;
   }
   chosen->lastRun_ = ++runs_;
   lastRunType_ = typeid(*chosen).name();
   chosen->timeMinIs(timeNever);
   try {
      chosen->onTime();
   } catch (const std::exception& e) {
      chosen->handleNotificationException(e);
   }
   return true;
}

}  // namespace Kel
