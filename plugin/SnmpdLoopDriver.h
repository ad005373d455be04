#pragma once

#include <cstdint>
#include <string>

#include "platform/kel/ActivityManager.h"

namespace Plugin {

// Drives the framework's activities from snmpd's own loop, on snmpd's one thread.
//
// Readable fds are watched with register_readfd. Wake-ups go through one internal
// eventfd, also watched with register_readfd: a wake-up due now signals it, and a later
// one arms a one-shot snmp alarm whose callback only signals it. All work therefore runs
// from snmpd's fd dispatch, after which snmpd reads pending SNMP requests before it
// selects again; a slice that asks to run again at once cannot starve requests. (Running
// the work inside the alarm callback would not do: run_alarms() keeps calling alarms
// that are already due before it returns to the loop.) snmpd dispatches registered fds
// before its own sockets, so when a request is already waiting the wake-up lets it go first
// (once in a row, so that a stream of requests cannot starve the work either): a request
// then waits for at most one slice.
class SnmpdLoopDriver : public Kel::ActivityManager::Driver {
 public:
   explicit SnmpdLoopDriver(Kel::ActivityManager& manager);
   ~SnmpdLoopDriver() override;
   SnmpdLoopDriver(const SnmpdLoopDriver&) = delete;
   SnmpdLoopDriver& operator=(const SnmpdLoopDriver&) = delete;

   void nextWakeIs(double when) override;
   // How long the work of one snmpd loop pass ran (every wake-up and fd dispatch): the number
   // of passes and the longest, which a request that arrives meanwhile waits for. Beside the
   // elapsed time, the longest time a pass spent on the CPU: a pass whose elapsed time is
   // longer than that was held up by the scheduler, not by its own work.
   // "loop: <n> passes, longest <ms> ms (<work>), longest on the CPU <ms> ms (<work>)", for
   // the status report; <work> names the clock reactor's type, or "fd <n>".
   std::string statusLine() const;
   // snmpd watches at most NUM_EXTERNAL_FDS descriptors besides its own, for everyone.
   bool fdAdded(int fd) override;
   std::size_t fdRoom() const override;
   void fdRemoved(int fd) override;

 private:
   static void onAlarm(unsigned int clientreg, void* self);
   static void onWakeFd(int fd, void* self);
   static void onFd(int fd, void* self);
   void signalWake();
   void cancelAlarm();
   // True when one of snmpd's own sockets has a request waiting.
   static bool requestPending();
   // The thread's CPU time so far, in seconds.
   static double cpuNow();
   // `work`: a clock reactor's mangled type name, or nullptr for the dispatch of `fd`.
   void passTook(double seconds, double cpuSeconds, const char* work, int fd);

   Kel::ActivityManager& manager_;
   int wakeFd_ = -1;
   unsigned int alarm_ = 0;
   bool yielded_ = false;  // the last wake-up let a pending request go first
   std::uint64_t passes_ = 0;
   // What ran in a pass: a clock reactor's type, or else the fd dispatched.
   struct PassWork {
      const char* type = nullptr;
      int fd = -1;
   };
   static std::string describe(const PassWork& work);
   double longestPass_ = 0.0;
   double longestPassOnCpu_ = 0.0;
   PassWork longestPassWork_;
   PassWork longestPassOnCpuWork_;
};

}  // namespace Plugin
