#include "platform/linux/BridgeMonitor.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "platform/kel/Time.h"
#include "platform/kel/Trace.h"

namespace Linux {
namespace {

Kel::TraceHandle linuxTrace("LinuxBridge");

// Wake-ups are bounded in real time, whatever clock the framework runs on.
double monotonicSeconds() {
   return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
       .count();
}

}  // namespace

BridgeMonitor::BridgeMonitor(BridgeMirror& mirror, Kel::ActivityManager& manager)
    : mirror_(mirror), manager_(manager) {
   publisher_.notifierIs(manager_.clock());
   resync();
   if (!mirror_.bridge().exists()) {
      KEL_TRACE(linuxTrace, 0,
                "bridge " << mirror_.bridge().name()
                          << " does not exist; its tables stay empty until it appears");
   }
   manager_.fdReactorIs(events_.fd(), this);
}

BridgeMonitor::~BridgeMonitor() {
   manager_.fdReactorDel(events_.fd());
   publisher_.notifierIs(nullptr);
}

void BridgeMonitor::publishSlice() {
   const double start = monotonicSeconds();
   while (!unpublished_.empty() && monotonicSeconds() - start < wakeQuantum) {
      mirror_.publishHost(unpublished_.front());
      unpublished_.pop_front();
   }
   publisher_.timeMinIs(unpublished_.empty() ? Kel::timeNever : Kel::timeAsap);
   longestWake_ = std::max(longestWake_, monotonicSeconds() - start);
}

void BridgeMonitor::resync() {
   const double start = monotonicSeconds();
   ++resyncs_;
   events_.drain();  // whatever is queued happened before the dump and shows in it
   KernelBridge fresh(mirror_.bridge().name());
   const RtnlMessage requests[] = {linkDumpRequest(commands_.nextSeq()),
                                   bridgePortDumpRequest(commands_.nextSeq()),
                                   fdbDumpRequest(commands_.nextSeq())};
   for (const auto& request : requests) {
      std::string error;
      const auto events = commands_.dump(request, error);
      if (!events) {
         KEL_TRACE(linuxTrace, 0, "resynchronising " << fresh.name() << " failed: " << error);
         return;
      }
      for (const auto& event : *events) {
         std::visit(
             [&fresh](const auto& e) {
                if constexpr (requires { fresh.apply(e); }) {
                   fresh.apply(e);
                }
             },
             event);
      }
   }
   for (const auto& key : mirror_.resyncTo(std::move(fresh))) {
      unpublished_.push_back(key);
   }
   publisher_.timeMinIs(unpublished_.empty() ? Kel::timeNever : Kel::timeAsap);
   longestResync_ = std::max(longestResync_, monotonicSeconds() - start);
}

void BridgeMonitor::onReadable(int) {
   const double start = monotonicSeconds();
   std::vector<std::uint8_t> buffer;
   while (monotonicSeconds() - start < wakeQuantum) {
      const long n = events_.receive(buffer);
      if (n == -EAGAIN || n == -EWOULDBLOCK || n == 0) {
         break;
      }
      if (n == -ENOBUFS) {
         KEL_TRACE(linuxTrace, 1, "notifications were lost; resynchronising");
         resync();
         return;  // a resync is timed on its own
      }
      if (n < 0) {
         KEL_TRACE(linuxTrace, 0, "reading notifications: " << std::strerror(static_cast<int>(-n)));
         break;
      }
      bool appeared = false;
      for (const auto& event : parseRtnlMessages(buffer.data(), buffer.size())) {
         ++notifications_;
         appeared = mirror_.apply(event).appeared || appeared;
      }
      if (appeared) {
         resync();  // ports may have joined before we heard of the bridge
         return;
      }
   }
   longestWake_ = std::max(longestWake_, monotonicSeconds() - start);
}

}  // namespace Linux
