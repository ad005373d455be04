#pragma once

#include <set>

#include "platform/kel/ActivityManager.h"

namespace Kel {

// Drives an ActivityManager with poll(2): for tools, the simulated switch's own process
// and tests. Timeouts are computed from Kel::now(), so with a fake time source a test
// calls runOnce(0) after moving time and nothing waits.
class StandaloneLoop : public ActivityManager::Driver {
 public:
   explicit StandaloneLoop(ActivityManager& manager);
   ~StandaloneLoop() override;

   // One pass: waits for input up to the next wake-up but at most `maxWaitSeconds`,
   // dispatches every readable fd, then runs the due clock reactors.
   void runOnce(double maxWaitSeconds);
   // Passes until stop() is called from a reactor.
   void run();
   void stop() { stopping_ = true; }

   double nextWake() const { return nextWake_; }

   void nextWakeIs(double when) override { nextWake_ = when; }
   bool fdAdded(int fd) override { return fds_.insert(fd), true; }
   void fdRemoved(int fd) override { fds_.erase(fd); }

 private:
   ActivityManager& manager_;
   std::set<int> fds_;
   double nextWake_;
   bool stopping_ = false;
};

}  // namespace Kel
