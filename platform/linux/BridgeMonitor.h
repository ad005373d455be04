#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "platform/kel/ActivityManager.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/RtnlSocket.h"

namespace Linux {

// Drives a BridgeMirror from the kernel: one dump at start, then the notifications of the
// event socket, read by snmpd's loop. One wake-up reads for at most `wakeQuantum` seconds
// and leaves the rest queued for the next pass, so requests are answered in between. A lost
// notification (ENOBUFS), or a bridge that has just appeared, brings a resync: the queue is
// dropped, the bridge dumped again and only the differences published, in slices of
// `wakeQuantum` on clock wake-ups.
class BridgeMonitor : public Kel::ActivityManager::FdReactor {
 public:
   // Raises std::runtime_error when the sockets cannot be opened.
   BridgeMonitor(BridgeMirror& mirror, Kel::ActivityManager& manager);
   ~BridgeMonitor() override;
   BridgeMonitor(const BridgeMonitor&) = delete;
   BridgeMonitor& operator=(const BridgeMonitor&) = delete;

   void onReadable(int fd) override;
   void resync();

   RtnlSocket& commands() { return commands_; }
   // Forwarding entries a resync found different and has not published yet.
   std::size_t unpublished() const { return unpublished_.size(); }
   std::uint64_t notifications() const { return notifications_; }
   std::uint64_t resyncs() const { return resyncs_; }
   // The longest wake-up reading notifications or publishing a resync's differences, and the
   // longest resync (its dumps are read in one go).
   double longestWake() const { return longestWake_; }
   double longestResync() const { return longestResync_; }

   static constexpr double wakeQuantum = 0.01;

 private:
   // Publishes a resync's differences a slice at a time on clock wake-ups.
   class Publisher : public Kel::Clock::NotifieeConst {
    public:
      explicit Publisher(BridgeMonitor& monitor) : monitor_(monitor) {}
      void onTime() override { monitor_.publishSlice(); }

    private:
      BridgeMonitor& monitor_;
   };
   void publishSlice();

   BridgeMirror& mirror_;
   Kel::ActivityManager& manager_;
   RtnlSocket events_{RtnlSocket::Role::events};
   RtnlSocket commands_{RtnlSocket::Role::commands};
   std::uint64_t notifications_ = 0;
   std::uint64_t resyncs_ = 0;
   double longestWake_ = 0.0;
   double longestResync_ = 0.0;
   std::deque<Bridging::HostKey> unpublished_;
   Publisher publisher_{*this};
};

}  // namespace Linux
