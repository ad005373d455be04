#pragma once

#include <cstddef>
#include <limits>
#include <map>

#include "platform/kel/Clock.h"
#include "platform/kel/Entity.h"
#include "platform/kel/String8.h"

namespace Kel {

class ActivityManager;

// A named unit of scheduled work; state machines are created with the activity they
// run on and take the framework clock from it.
class Activity : public Entity {
 public:
   using Ptr = Kel::Ptr<Activity>;
   using PtrConst = Kel::Ptr<const Activity>;

   Activity(Name name, ActivityManager* manager) : name_(std::move(name)), manager_(manager) {}

   const char* typeName() const override { return "Kel::Activity"; }
   const Name& name() const { return name_; }
   ActivityManager* manager() const { return manager_; }
   Clock::Ptr clock() const;

 private:
   Name name_;
   ActivityManager* manager_;
};

// Runs the process's scheduled work: the clock's wake-ups and the readable-fd reactors.
// It does not wait by itself; a driver does that. Two drivers exist: StandaloneLoop (tests
// and tools) and the snmpd driver of the plug-in, which hooks into snmpd's own loop.
//
// Each driving pass first dispatches the fds that are readable and then runs one clock
// reactor that is due, so a wake-up asked for "as soon as possible" runs after the pending
// input, and input is looked at again between any two reactors' work.
class ActivityManager {
 public:
   class FdReactor {
    public:
      virtual ~FdReactor() = default;
      virtual void onReadable(int fd) = 0;
   };

   class Driver {
    public:
      virtual ~Driver() = default;
      // The earliest wake-up wanted changed (timeNever: none).
      virtual void nextWakeIs(double when) = 0;
      // Starts watching `fd`; false when the driver has no room to watch another.
      virtual bool fdAdded(int fd) = 0;
      virtual void fdRemoved(int fd) = 0;
      // How many more fds the driver could watch now.
      virtual std::size_t fdRoom() const { return std::numeric_limits<std::size_t>::max(); }
   };

   ActivityManager();
   ~ActivityManager();
   ActivityManager(const ActivityManager&) = delete;
   ActivityManager& operator=(const ActivityManager&) = delete;

   // The process's manager.
   static ActivityManager& instance();

   Activity::Ptr activityIs(const Name& name);
   Clock::Ptr clock() const { return clock_; }

   // Watches `fd` for input; `reactor` (not owned) is called while the fd is readable.
   // False, watching nothing, when the driver has no room for another fd (snmpd watches a
   // fixed number of other descriptors).
   [[nodiscard]] bool fdReactorIs(int fd, FdReactor* reactor);
   void fdReactorDel(int fd);
   const std::map<int, FdReactor*>& fdReactors() const { return fds_; }
   // How many more fds may be watched now.
   std::size_t fdRoom() const {
      return driver_ ? driver_->fdRoom() : std::numeric_limits<std::size_t>::max();
   }

   // Installs the driver (not owned) and tells it the current schedule; nullptr removes it.
   void driverIs(Driver* driver);
   Driver* driver() const { return driver_; }

   double nextWake() const { return clock_->nextTime(); }
   // Dispatches one readable fd.
   void dispatchReadable(int fd);
   // Runs one clock reactor that is due at Kel::now() (see Clock::runDue), then tells the
   // driver the next wake-up once.
   void runDue();
   // The type of the clock reactor the last runDue ran, or nullptr (see Clock::lastRunType).
   const char* lastRunType() const { return clock_->lastRunType(); }

 private:
   void scheduleChanged();

   Clock::Ptr clock_;
   std::map<Name, Activity::Ptr> activities_;
   std::map<int, FdReactor*> fds_;
   Driver* driver_ = nullptr;
   bool runningDue_ = false;
   double announcedWake_;
};

}  // namespace Kel
