#include "platform/linux/BridgeMonitor.h"

#include <stdexcept>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

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
   stepper_.notifierIs(manager_.clock());
   if (!manager_.fdReactorIs(dumps_.fd(), this)) {
      stepper_.notifierIs(nullptr);
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
   stepper_.notifierIs(nullptr);
}

void BridgeMonitor::resync() {
   ++resyncs_;
   if (events_ && !resyncing()) {
      manager_.fdReactorDel(events_->fd());
   }
   // Kept, not replaced: once snmpd has dropped its privileges a new socket gets only the
   // buffer an ordinary user may ask for.
   if (!events_) {
      events_ = std::make_unique<RtnlSocket>(RtnlSocket::Role::events);
   }
   KEL_TRACE(linuxTrace, 1,
             "resynchronising bridge " << mirror_.bridge().name() << " with "
                                       << events_->receiveBufferBytes()
                                       << " bytes of notification buffer");
   dumpAttempts_ = 0;
   redump();
}

void BridgeMonitor::discardFresh() {
   if (fresh_ && !fresh_->hosts().empty()) {
      discarded_.push_back(fresh_->releaseHosts());  // freed in slices: it may be large
      stepper_.timeMinIs(Kel::timeAsap);
   }
   fresh_.reset();
}

void BridgeMonitor::redump() {
   discardFresh();
   // What the event socket holds happened before the next dump, and shows in it; left
   // there, a queue too long to read at the dump's end would fail every later dump too.
   draining_ = true;
   drainLeft_ = 2 * static_cast<std::size_t>(events_->receiveBufferBytes());
   drainSlice(Kel::now());
}

void BridgeMonitor::drainSlice(double start) {
   bool empty = false;
   const std::size_t dropped = events_->drain(
       drainLeft_, [&] { return Kel::now() - start < wakeQuantum; }, empty);
   drainLeft_ -= std::min(drainLeft_, dropped);
   if (empty || drainLeft_ == 0) {
      draining_ = false;
      startDump();
   } else {
      stepper_.timeMinIs(Kel::timeAsap);
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
      mirror_.resyncTo(std::move(*fresh_));
      if (mirror_.differencesPending()) {
         stepper_.timeMinIs(Kel::timeAsap);
      }
      if (first && !mirror_.bridge().exists()) {
         KEL_TRACE(linuxTrace, 0,
                   "bridge " << mirror_.bridge().name()
                             << " does not exist; its tables stay empty until it appears");
      }
   }
   discardFresh();  // a dump given up, when the model is served as before
   if (!manager_.fdReactorIs(events_->fd(), this)) {
      // Its slot went to another descriptor during the dump: the bridge's changes are seen
      // again at the next resync.
      KEL_TRACE(linuxTrace, 0,
                "bridge " << mirror_.bridge().name()
                          << ": the loop has no room to watch its notifications");
      events_.reset();
   }
}

void BridgeMonitor::step() {
   const double start = Kel::now();
   const auto more = [&] { return Kel::now() - start < wakeQuantum; };
   if (draining_) {
      drainSlice(start);
   } else {
      mirror_.publishDifferences(more);
   }
   while (!discarded_.empty() && more()) {
      auto& entries = discarded_.back();
      auto end = entries.begin();
      std::advance(end, std::min<std::size_t>(entries.size(), 1024));
      entries.erase(entries.begin(), end);
      if (entries.empty()) {
         discarded_.pop_back();
      }
   }
   const bool pending = draining_ || mirror_.differencesPending() || !discarded_.empty();
   stepper_.timeMinIs(pending ? Kel::timeAsap : Kel::timeNever);
   longestWake_ = std::max(longestWake_, Kel::now() - start);
}

void BridgeMonitor::onReadable(int fd) {
   const double start = Kel::now();
   if (fd == dumps_.fd()) {
      if (fresh_) {
         readDump(start);
      } else {
         dropDumpLeftovers(start);
      }
   } else if (!resyncing()) {
      readEvents(start);
   }
   longestWake_ = std::max(longestWake_, Kel::now() - start);
}

void BridgeMonitor::readDump(double start) {
   std::vector<std::uint8_t> buffer;
   while (fresh_ && Kel::now() - start < wakeQuantum) {
      const long n = dumps_.receive(buffer);
      if (wouldBlock(n)) {
         return;
      }
      if (n == -EPIPE && dumps_.relayed()) {
         relayEnded();
         dumpFailed("its relay ended", false);
         return;
      }
      if (n < 0) {
         dumpFailed(std::string("reading it: ") + std::strerror(static_cast<int>(-n)), false);
         return;
      }
      for (const auto& event :
           parseRtnlMessages(buffer.data(), buffer.size(), nullptr, &dumpInterrupted_)) {
         if (const auto* link = std::get_if<LinkEvent>(&event)) {
            fresh_->apply(*link);
         } else if (const auto* neigh = std::get_if<NeighEvent>(&event)) {
            fresh_->apply(*neigh);
         } else if (const auto* ack = std::get_if<Ack>(&event); ack && ack->error) {
            dumpFailed(std::string("refused: ") + std::strerror(-ack->error), false);
            return;
         } else if (const auto* done = std::get_if<DumpDone>(&event);
                    done && done->seq == dumpSeq_) {
            if (done->error) {
               dumpFailed(std::string("it ended with: ") + std::strerror(-done->error), false);
               return;
            }
            if (++dumpStep_ == std::size(dumpRequests)) {
               dumpRead();
               return;
            }
            if (!sendDumpRequest()) {
               dumpFailed("its next part could not be asked for", false);
               return;
            }
         }
      }
   }
}

void BridgeMonitor::dropDumpLeftovers(double start) {
   // What is left of a dump given up: read, or it would wake the loop on every pass.
   bool empty = false;
   dumps_.drain(
       2 * static_cast<std::size_t>(dumps_.receiveBufferBytes()),
       [&] { return Kel::now() - start < wakeQuantum; }, empty);
   std::vector<std::uint8_t> buffer;
   if (dumps_.relayed() && dumps_.receive(buffer) == -EPIPE) {
      relayEnded();
   }
}

void BridgeMonitor::relayEnded() {
   KEL_TRACE(linuxTrace, 0,
             "bridge " << mirror_.bridge().name()
                       << ": the process that read its dumps ended; snmpd reads them itself");
   manager_.fdReactorDel(dumps_.fd());
   dumps_.dropRelay();
   if (!manager_.fdReactorIs(dumps_.fd(), this)) {
      KEL_TRACE(linuxTrace, 0,
                "bridge " << mirror_.bridge().name()
                          << ": the loop has no room to watch its dumps; its tables stay as they "
                             "are until snmpd restarts");
   }
}

void BridgeMonitor::startDump() {
   dumps_.drain();  // what is left of a dump given up
   discardFresh();
   fresh_ = std::make_unique<KernelBridge>(mirror_.bridge().name());
   dumpStep_ = 0;
   dumpInterrupted_ = false;
   if (!sendDumpRequest()) {
      dumpFailed("it could not be asked for", false);
   }
}

void BridgeMonitor::dumpRead() {
   // The kernel resumes each part of its forwarding-database dump by counting entries from
   // the head of a list: an entry deleted behind the count hides one ahead of it, and nothing
   // says so. A dump stands for the kernel only if nothing went, and no notification was lost,
   // while it was read.
   bool lost = false;
   std::vector<RtnlEvent> during = queuedEvents(lost);
   const bool removed = std::any_of(during.begin(), during.end(), [](const RtnlEvent& event) {
      const auto* link = std::get_if<LinkEvent>(&event);
      const auto* neigh = std::get_if<NeighEvent>(&event);
      return (link && link->removed) || (neigh && neigh->removed);
   });
   if (dumpInterrupted_ || removed || lost) {
      dumpFailed(dumpInterrupted_ ? "the kernel's lists changed while it was read"
                 : lost           ? "notifications were lost while it was read"
                                  : "entries went while it was read",
                 true);
      if (resyncing()) {
         return;
      }
   } else {
      finishResync(true);
   }
   // What changed while the dump was read, on top of it; an entry already in it is only
   // seen again.
   for (const auto& event : during) {
      mirror_.apply(event);
   }
}

void BridgeMonitor::dumpFailed(const std::string& why, bool usable) {
   if (++dumpAttempts_ < maxDumpAttempts) {
      KEL_TRACE(linuxTrace, 1, "dumping bridge " << mirror_.bridge().name() << " again: " << why);
      redump();
      return;
   }
   KEL_TRACE(linuxTrace, 0,
             "dumping bridge " << mirror_.bridge().name() << " failed " << maxDumpAttempts
                               << " times in a row (" << why << "); "
                               << (usable ? "serving the last dump" : "serving as before"));
   finishResync(usable);
}

std::vector<RtnlEvent> BridgeMonitor::queuedEvents(bool& lost) {
   std::vector<RtnlEvent> events;
   if (!events_) {
      return events;
   }
   std::vector<std::uint8_t> buffer;
   const double start = Kel::now();
   for (;;) {
      if (Kel::now() - start >= wakeQuantum) {
         lost = true;  // more than a wake-up can read: too much changed to trust the dump
         break;
      }
      const long n = events_->receive(buffer);
      if (n == -ENOBUFS) {
         lost = true;
         continue;
      }
      if (n <= 0) {
         break;
      }
      for (auto& event : parseRtnlMessages(buffer.data(), buffer.size())) {
         events.push_back(std::move(event));
      }
   }
   return events;
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
