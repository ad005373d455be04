#include "plugin/SnmpdLoopDriver.h"

#include <cxxabi.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iomanip>
#include <sstream>

#include "platform/kel/Time.h"
#include "platform/kel/Trace.h"
#include "snmp/NetSnmp.h"

#include <net-snmp/library/large_fd_set.h>

namespace Plugin {
namespace {

Kel::TraceHandle kelTrace("Kel");

}  // namespace

SnmpdLoopDriver::SnmpdLoopDriver(Kel::ActivityManager& manager) : manager_(manager) {
   wakeFd_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
   if (wakeFd_ < 0) {
      KEL_TRACE(kelTrace, 0, "eventfd failed: " << std::strerror(errno));
   } else if (register_readfd(wakeFd_, &SnmpdLoopDriver::onWakeFd, this) != FD_REGISTERED_OK) {
      KEL_TRACE(kelTrace, 0, "snmpd refused to watch the wake-up fd; waking on alarms only");
      ::close(wakeFd_);
      wakeFd_ = -1;
   }
   manager_.driverIs(this);
}

SnmpdLoopDriver::~SnmpdLoopDriver() {
   if (manager_.driver() == this) {
      manager_.driverIs(nullptr);
   }
   cancelAlarm();
   if (wakeFd_ >= 0) {
      unregister_readfd(wakeFd_);
      ::close(wakeFd_);
   }
}

void SnmpdLoopDriver::nextWakeIs(double when) {
   cancelAlarm();
   if (std::isinf(when)) {
      return;
   }
   const double delay = when - Kel::now();
   if (delay <= 0.0) {
      signalWake();
      return;
   }
   timeval tv{};
   tv.tv_sec = static_cast<time_t>(delay);
   tv.tv_usec = static_cast<suseconds_t>((delay - static_cast<double>(tv.tv_sec)) * 1e6);
   if (tv.tv_sec == 0 && tv.tv_usec == 0) {
      tv.tv_usec = 1;
   }
   alarm_ = snmp_alarm_register_hr(tv, 0, &SnmpdLoopDriver::onAlarm, this);
   if (alarm_ == 0) {
      KEL_TRACE(kelTrace, 0, "snmp_alarm_register_hr failed; waking at once instead");
      signalWake();
   }
}

bool SnmpdLoopDriver::fdAdded(int fd) {
   if (register_readfd(fd, &SnmpdLoopDriver::onFd, this) != FD_REGISTERED_OK) {
      KEL_TRACE(kelTrace, 0,
                "snmpd refused to watch fd " << fd << ": it watches " << NUM_EXTERNAL_FDS
                                             << " other descriptors at most");
      return false;
   }
   return true;
}

std::size_t SnmpdLoopDriver::fdRoom() const {
   return external_readfdlen < NUM_EXTERNAL_FDS
              ? static_cast<std::size_t>(NUM_EXTERNAL_FDS - external_readfdlen)
              : 0;
}

void SnmpdLoopDriver::fdRemoved(int fd) {
   unregister_readfd(fd);
}

void SnmpdLoopDriver::signalWake() {
   if (wakeFd_ < 0) {
      return;
   }
   const std::uint64_t one = 1;
   // EAGAIN means the counter is already non-zero: the wake-up is pending anyway.
   [[maybe_unused]] const ssize_t written = ::write(wakeFd_, &one, sizeof one);
}

void SnmpdLoopDriver::cancelAlarm() {
   if (alarm_ != 0) {
      snmp_alarm_unregister(alarm_);
      alarm_ = 0;
   }
}

void SnmpdLoopDriver::onAlarm(unsigned int, void* self) {
   auto* driver = static_cast<SnmpdLoopDriver*>(self);
   driver->alarm_ = 0;  // one-shot: net-snmp removes it after this call
   driver->signalWake();
}

bool SnmpdLoopDriver::requestPending() {
   netsnmp_large_fd_set fds;
   netsnmp_large_fd_set_init(&fds, FD_SETSIZE);
   int numfds = 0;
   int block = 0;
   timeval timeout{0, 0};
   snmp_select_info2(&numfds, &fds, &timeout, &block);
   timeval now{0, 0};
   const bool pending =
       numfds > 0 && netsnmp_large_fd_set_select(numfds, &fds, nullptr, nullptr, &now) > 0;
   netsnmp_large_fd_set_cleanup(&fds);
   return pending;
}

void SnmpdLoopDriver::onWakeFd(int fd, void* self) {
   auto* driver = static_cast<SnmpdLoopDriver*>(self);
   if (!driver->yielded_ && requestPending()) {
      // Leave the wake-up signalled: snmpd reads the request in this pass, and the next
      // pass comes back here at once.
      driver->yielded_ = true;
      return;
   }
   driver->yielded_ = false;
   std::uint64_t count = 0;
   [[maybe_unused]] const ssize_t got = ::read(fd, &count, sizeof count);
   const double start = Kel::now();
   const double cpuStart = cpuNow();
   try {
      driver->manager_.runDue();
   } catch (const std::exception& e) {
      KEL_TRACE(kelTrace, 0, "clock wake-up failed: " << e.what());
   }
   driver->passTook(Kel::now() - start, cpuNow() - cpuStart, driver->manager_.lastRunType(), -1);
}

void SnmpdLoopDriver::onFd(int fd, void* self) {
   auto* driver = static_cast<SnmpdLoopDriver*>(self);
   const double start = Kel::now();
   const double cpuStart = cpuNow();
   try {
      driver->manager_.dispatchReadable(fd);
   } catch (const std::exception& e) {
      KEL_TRACE(kelTrace, 0, "fd " << fd << " dispatch failed: " << e.what());
   }
   driver->passTook(Kel::now() - start, cpuNow() - cpuStart, nullptr, fd);
}

double SnmpdLoopDriver::cpuNow() {
   timespec ts{};
   ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
   return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

void SnmpdLoopDriver::passTook(double seconds, double cpuSeconds, const char* work, int fd) {
   ++passes_;
   if (seconds > longestPass_) {
      longestPass_ = seconds;
      longestPassWork_ = {work, fd};
   }
   if (cpuSeconds > longestPassOnCpu_) {
      longestPassOnCpu_ = cpuSeconds;
      longestPassOnCpuWork_ = {work, fd};
   }
}

std::string SnmpdLoopDriver::describe(const PassWork& work) {
   if (!work.type) {
      return work.fd >= 0 ? "fd " + std::to_string(work.fd) : "none";
   }
   int status = 0;
   char* demangled = abi::__cxa_demangle(work.type, nullptr, nullptr, &status);
   std::string name = status == 0 && demangled ? demangled : work.type;
   std::free(demangled);
   return name;
}

std::string SnmpdLoopDriver::statusLine() const {
   std::ostringstream os;
   os << "loop: " << passes_ << " passes, longest " << std::fixed << std::setprecision(3)
      << longestPass_ * 1000.0 << " ms (" << describe(longestPassWork_) << "), longest on the CPU "
      << longestPassOnCpu_ * 1000.0 << " ms (" << describe(longestPassOnCpuWork_) << ")\n";
   return os.str();
}

}  // namespace Plugin
