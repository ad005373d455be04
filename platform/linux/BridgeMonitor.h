#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/kel/ActivityManager.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/RtnlSocket.h"

namespace Linux {

// Drives a BridgeMirror from the kernel on snmpd's loop: a dump at start, then the
// notifications of the event socket. Every wake-up works for at most `wakeQuantum` seconds
// and leaves the rest for the next pass, so that requests are answered in between.
//
// A resync, at start, after lost notifications (ENOBUFS) or when the bridge has just
// appeared: what the event socket holds is read and dropped, a slice at a time (it
// happened before the dump, and shows in it); then the socket is left unread while the
// links, the bridge ports and the forwarding database are dumped, a slice at a time; then
// the differences from the model are published, a slice at a time, and the notifications
// queued meanwhile are read on.
class BridgeMonitor : public Kel::ActivityManager::FdReactor {
 public:
   // Raises std::runtime_error when the sockets cannot be opened.
   BridgeMonitor(BridgeMirror& mirror, Kel::ActivityManager& manager);
   ~BridgeMonitor() override;
   BridgeMonitor(const BridgeMonitor&) = delete;
   BridgeMonitor& operator=(const BridgeMonitor&) = delete;

   void onReadable(int fd) override;
   void resync();

   // For acknowledged requests (VLAN writes).
   RtnlSocket& commands() { return commands_; }
   bool resyncing() const { return draining_ || fresh_ != nullptr; }
   std::uint64_t notifications() const { return notifications_; }
   std::uint64_t resyncs() const { return resyncs_; }
   // The longest wake-up: reading notifications or a dump, or publishing.
   double longestWake() const { return longestWake_; }

   static constexpr double wakeQuantum = 0.01;

 private:
   // Works a slice at a time on clock wake-ups: drops the event socket's queue at the start
   // of a resync, and publishes a resync's differences.
   class Stepper : public Kel::Clock::NotifieeConst {
    public:
      explicit Stepper(BridgeMonitor& monitor) : monitor_(monitor) {}
      void onTime() override { monitor_.step(); }

    private:
      BridgeMonitor& monitor_;
   };
   void step();
   // Drops queued notifications until `start` + the quantum; starts the dump once none
   // are left (or twice the socket's buffer went: notifications keep coming).
   void drainSlice(double start);
   void readEvents(double start);
   void readDump(double start);
   bool sendDumpRequest();
   void finishResync(bool dumped);
   // A dump's life: asked for from its first part, read to its end, or given up and asked
   // for again (at most maxDumpAttempts times in a row, then served as it is when `usable`).
   void startDump();
   // Drops the event socket's queue, then starts a dump.
   void redump();
   // Gives the dump under way up, its entries to be freed in slices.
   void discardFresh();
   void dropDumpLeftovers(double start);
   // The relay's process is gone: the dumps are read from the kernel here from now on.
   void relayEnded();
   void dumpRead();
   void dumpFailed(const std::string& why, bool usable);
   // The notifications queued on the event socket, read off it for at most a wake-up's
   // quantum; `lost` when some were lost, or could not all be read in that time.
   std::vector<RtnlEvent> queuedEvents(bool& lost);
   static constexpr int maxDumpAttempts = 5;

   BridgeMirror& mirror_;
   Kel::ActivityManager& manager_;
   std::unique_ptr<RtnlSocket> events_;
   RtnlSocket dumps_{RtnlSocket::Role::dumps};
   RtnlSocket commands_{RtnlSocket::Role::commands};
   // While resyncing: the bridge as dumped so far, the dump under way and its sequence.
   bool draining_ = false;
   std::size_t drainLeft_ = 0;  // bytes the drain may still drop
   std::unique_ptr<KernelBridge> fresh_;
   // The entries of dumps given up, freed a slice at a time.
   std::vector<KernelBridge::HostMap> discarded_;
   std::size_t dumpStep_ = 0;
   std::uint32_t dumpSeq_ = 0;
   bool dumpInterrupted_ = false;
   int dumpAttempts_ = 0;
   std::uint64_t notifications_ = 0;
   std::uint64_t resyncs_ = 0;
   double longestWake_ = 0.0;
   Stepper stepper_{*this};
};

}  // namespace Linux
