#include "platform/kel/ActivityManager.h"

#include <exception>

#include "platform/kel/Time.h"
#include "platform/kel/Trace.h"

namespace Kel {
Clock::Ptr Activity::clock() const {
   return manager_->clock();
}

ActivityManager::ActivityManager() : clock_(new Clock()), announcedWake_(timeNever) {
   clock_->scheduleObserverIs([this] { scheduleChanged(); });
}

ActivityManager::~ActivityManager() {
   clock_->scheduleObserverIs(nullptr);
}

ActivityManager& ActivityManager::instance() {
   // Never destroyed: reactors held by statics may still detach from its clock at exit.
   static ActivityManager* manager = new ActivityManager();
   return *manager;
}

Activity::Ptr ActivityManager::activityIs(const Name& name) {
   auto& slot = activities_[name];
   if (!slot) {
      slot = new Activity(name, this);
   }
   return slot;
}

bool ActivityManager::fdReactorIs(int fd, FdReactor* reactor) {
   const bool added = fds_.find(fd) == fds_.end();
   fds_[fd] = reactor;
   if (added && driver_ && !driver_->fdAdded(fd)) {
      fds_.erase(fd);
      return false;
   }
   return true;
}

void ActivityManager::fdReactorDel(int fd) {
   if (fds_.erase(fd) && driver_) {
      driver_->fdRemoved(fd);
   }
}

void ActivityManager::driverIs(Driver* driver) {
   if (driver_ == driver) {
      return;
   }
   if (driver_) {
      for (const auto& [fd, reactor] : fds_) {
         driver_->fdRemoved(fd);
      }
   }
   driver_ = driver;
   announcedWake_ = timeNever;
   if (driver_) {
      for (auto it = fds_.begin(); it != fds_.end();) {
         // One the new driver cannot watch is dropped, as if it had been refused first.
         it = driver_->fdAdded(it->first) ? std::next(it) : fds_.erase(it);
      }
      scheduleChanged();
   }
}

void ActivityManager::dispatchReadable(int fd) {
   auto it = fds_.find(fd);
   if (it == fds_.end()) {
      return;
   }
   try {
      it->second->onReadable(fd);
   } catch (const std::exception& e) {
      KEL_TRACE(kelTrace(), 0, "reactor of fd " << fd << " threw: " << e.what());
   }
}

void ActivityManager::runDue() {
   runningDue_ = true;
   clock_->runDue(now());
   runningDue_ = false;
   // The driver's wake-up was consumed: always announce the next one, even "never", so
   // the driver re-arms exactly once per wake-up.
   if (driver_) {
      announcedWake_ = clock_->nextTime();
      driver_->nextWakeIs(announcedWake_);
   }
}

void ActivityManager::scheduleChanged() {
   if (runningDue_ || !driver_) {
      return;  // runDue announces once at its end
   }
   const double next = clock_->nextTime();
   if (next == announcedWake_) {
      return;
   }
   announcedWake_ = next;
   driver_->nextWakeIs(next);
}

}  // namespace Kel
