#include "platform/kel/StandaloneLoop.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <vector>

#include "platform/kel/Time.h"

namespace Kel {

StandaloneLoop::StandaloneLoop(ActivityManager& manager) : manager_(manager), nextWake_(timeNever) {
   manager_.driverIs(this);
}

StandaloneLoop::~StandaloneLoop() {
   if (manager_.driver() == this) {
      manager_.driverIs(nullptr);
   }
}

void StandaloneLoop::runOnce(double maxWaitSeconds) {
   double wait = std::max(0.0, std::min(maxWaitSeconds, nextWake_ - now()));
   if (std::isnan(wait)) {
      wait = 0.0;
   }
   std::vector<pollfd> polled;
   polled.reserve(fds_.size());
   for (int fd : fds_) {
      polled.push_back(pollfd{fd, POLLIN, 0});
   }
   const int timeoutMs = std::isinf(wait) ? -1 : static_cast<int>(std::ceil(wait * 1000.0));
   const int ready = ::poll(polled.data(), polled.size(), timeoutMs);
   if (ready > 0) {
      for (const pollfd& p : polled) {
         if (p.revents & (POLLIN | POLLHUP | POLLERR)) {
            manager_.dispatchReadable(p.fd);
         }
      }
   }
   if (nextWake_ <= now()) {
      manager_.runDue();
   }
}

void StandaloneLoop::run() {
   stopping_ = false;
   while (!stopping_) {
      runOnce(timeNever);
   }
}

}  // namespace Kel
