#include "platform/linux/BridgeMonitor.h"

#include <stdexcept>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/kel/Time.h"
#include "platform/kel/Trace.h"

namespace Linux {
namespace {

Kel::TraceHandle linuxTrace("LinuxBridge");

// The dumps of a resync, in order: links first, so that the ports are known when their VLANs
// and entries come.
RtnlMessage (*const dumpRequests[])(std::uint32_t) = {linkDumpRequest, bridgePortDumpRequest,
                                                      fdbDumpRequest};

bool wouldBlock(long n) {
   return n == -EAGAIN || n == -EWOULDBLOCK || n == 0;
}

}  // namespace

BridgeMonitor::BridgeMonitor(BridgeMirror& mirror, Kel::ActivityManager& manager)
    : mirror_(mirror), manager_(manager) {
   publisher_.notifierIs(manager_.clock());
   if (!manager_.fdReactorIs(dumps_.fd(), this)) {
      publisher_.notifierIs(nullptr);
      throw std::runtime_error("bridge " + mirror_.bridge().name() +
                               ": the loop has no room to watch a netlink socket");
   }
   resync();
}

BridgeMonitor::~BridgeMonitor() {
   if (events_ && !resyncing()) {
      manager_.fdReactorDel(events_->fd());
   }
   manager_.fdReactorDel(dumps_.fd());
   publisher_.notifierIs(nullptr);
}

void BridgeMonitor::resync() {
   ++resyncs_;
   if (events_ && !resyncing()) {
      manager_.fdReactorDel(events_->fd());
   }
   if (events_) {
      // Kept, not replaced: once snmpd has dropped its privileges a new socket gets only the
      // buffer an ordinary user may ask for. What it has queued happened before the dump
      // and shows in it.
      events_->drain();
   } else {
      events_ = std::make_unique<RtnlSocket>(RtnlSocket::Role::events);
   }
   KEL_TRACE(linuxTrace, 1,
             "resynchronising bridge " << mirror_.bridge().name() << " with "
                                       << events_->receiveBufferBytes()
                                       << " bytes of notification buffer");
   fresh_ = std::make_unique<KernelBridge>(mirror_.bridge().name());
   dumpStep_ = 0;
   if (!sendDumpRequest()) {
      finishResync(false);
   }
}

bool BridgeMonitor::sendDumpRequest() {
   dumpSeq_ = dumps_.nextSeq();
   if (const int error = dumps_.send(dumpRequests[dumpStep_](dumpSeq_))) {
      KEL_TRACE(
          linuxTrace, 0,
          "dumping bridge " << mirror_.bridge().name() << " failed: " << std::strerror(-error));
      return false;
   }
   return true;
}

void BridgeMonitor::finishResync(bool dumped) {
   if (dumped) {
      const bool first = resyncs_ == 1;
      for (const auto& key : mirror_.resyncTo(std::move(*fresh_))) {
         unpublished_.push_back(key);
      }
      publisher_.timeMinIs(unpublished_.empty() ? Kel::timeNever : Kel::timeAsap);
      if (first && !mirror_.bridge().exists()) {
         KEL_TRACE(linuxTrace, 0,
                   "bridge " << mirror_.bridge().name()
                             << " does not exist; its tables stay empty until it appears");
      }
   }
   fresh_.reset();
   if (!manager_.fdReactorIs(events_->fd(), this)) {
      // Its slot went to another descriptor during the dump: the bridge's changes are seen
      // again at the next resync.
      KEL_TRACE(linuxTrace, 0,
                "bridge " << mirror_.bridge().name()
                          << ": the loop has no room to watch its notifications");
      events_.reset();
   }
}

void BridgeMonitor::publishSlice() {
   const double start = Kel::now();
   while (!unpublished_.empty() && Kel::now() - start < wakeQuantum) {
      mirror_.publishHost(unpublished_.front());
      unpublished_.pop_front();
   }
   publisher_.timeMinIs(unpublished_.empty() ? Kel::timeNever : Kel::timeAsap);
   longestWake_ = std::max(longestWake_, Kel::now() - start);
}

void BridgeMonitor::onReadable(int fd) {
   const double start = Kel::now();
   if (fd == dumps_.fd()) {
      readDump(start);
   } else if (!resyncing()) {
      readEvents(start);
   }
   longestWake_ = std::max(longestWake_, Kel::now() - start);
}

void BridgeMonitor::readDump(double start) {
   std::vector<std::uint8_t> buffer;
   while (resyncing() && Kel::now() - start < wakeQuantum) {
      const long n = dumps_.receive(buffer);
      if (wouldBlock(n)) {
         return;
      }
      if (n < 0) {
         KEL_TRACE(linuxTrace, 0, "reading a dump: " << std::strerror(static_cast<int>(-n)));
         finishResync(false);
         return;
      }
      for (const auto& event : parseRtnlMessages(buffer.data(), buffer.size())) {
         if (const auto* link = std::get_if<LinkEvent>(&event)) {
            fresh_->apply(*link);
         } else if (const auto* neigh = std::get_if<NeighEvent>(&event)) {
            fresh_->apply(*neigh);
         } else if (const auto* ack = std::get_if<Ack>(&event); ack && ack->error) {
            KEL_TRACE(linuxTrace, 0, "dump refused: " << std::strerror(-ack->error));
            finishResync(false);
            return;
         } else if (const auto* done = std::get_if<DumpDone>(&event);
                    done && done->seq == dumpSeq_) {
            if (++dumpStep_ == std::size(dumpRequests)) {
               finishResync(true);
               return;
            }
            if (!sendDumpRequest()) {
               finishResync(false);
               return;
            }
         }
      }
   }
}

void BridgeMonitor::readEvents(double start) {
   std::vector<std::uint8_t> buffer;
   while (Kel::now() - start < wakeQuantum) {
      const long n = events_->receive(buffer);
      if (wouldBlock(n)) {
         return;
      }
      if (n == -ENOBUFS) {
         KEL_TRACE(linuxTrace, 1, "notifications were lost; resynchronising");
         resync();
         return;
      }
      if (n < 0) {
         KEL_TRACE(linuxTrace, 0, "reading notifications: " << std::strerror(static_cast<int>(-n)));
         return;
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
}

}  // namespace Linux
