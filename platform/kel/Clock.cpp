#include "platform/kel/Clock.h"

#include <algorithm>
#include <exception>
#include <vector>

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

void Clock::runDue(double now) {
   std::vector<NotifieeConst*> due;
   kelNotify<NotifieeConst>(kelDepth, [&due, now](NotifieeConst* n) {
      if (n->timeMin() <= now) {
         due.push_back(n);
      }
   });
   for (NotifieeConst* n : due) {
      // An earlier onTime() may have detached, destroyed or re-armed this reactor.
      bool stillDue = false;
      kelNotify<NotifieeConst>(kelDepth, [&stillDue, n, now](NotifieeConst* attached) {
         stillDue = stillDue || (attached == n && n->timeMin() <= now);
      });
      if (!stillDue) {
         continue;
      }
      n->timeMinIs(timeNever);
      try {
         n->onTime();
      } catch (const std::exception& e) {
         n->handleNotificationException(e);
      }
   }
}

}  // namespace Kel
