#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <utility>

#include "platform/bridging/HostKey.h"
#include "platform/kel/ActivityManager.h"
#include "platform/kel/Pool.h"
#include "platform/sim/SwitchState.h"

namespace Sim {

// Learns, moves, ages and flushes hosts in Bridging::Status, one
// Bridging::FdbStatus per FID. A host not seen for the configured aging time is
// aged out by a clock reactor; aging works in slices of bounded time, so a mass
// expiry never holds the thread long.
class LearningAgent : public Kel::Clock::NotifieeConst {
 public:
   enum class Outcome { learned, refreshed, moved };

   LearningAgent(SwitchState& state, Kel::ActivityManager& manager);
   ~LearningAgent() override;

   // The FID's status appears with its VLAN and goes, with every host in it,
   // with it.
   void fidIs(Bridging::Fid fid);
   void fidDel(Bridging::Fid fid);

   // The caller has checked that the host may be learned there.
   Outcome learn(const Bridging::HostKey& key, const Velnet::IntfId& intf,
                 Bridging::FdbEntryType type);
   // True when the host was learned (and so is gone now).
   bool age(const Bridging::HostKey& key);
   // Hosts of one FID and/or learned on one interface; returns how many went.
   std::size_t flush(std::optional<Bridging::Fid> fid, std::optional<Velnet::IntfId> intf);
   bool learned(const Bridging::HostKey& key) const;
   std::size_t learnedHosts() const { return lastSeen_.size(); }

   // The aging time changed (seconds; 0 disables aging).
   void agingTimeChanged();
   void onTime() override;

   // Work budget of one aging wake-up, in seconds.
   static constexpr double agingQuantum = 0.01;

 private:
   // One aging entry: when a host was seen. An entry whose time is no longer its
   // host's last sighting (the host was seen again, or went) is stale and is
   // skipped.
   using Sighting = std::pair<double, Bridging::HostKey>;

   void rearm();
   void forget(const Bridging::HostKey& key);
   bool live(const Sighting& sighting) const;
   // Drops the stale entries at the front of the queue; all of them once they
   // outnumber the live ones, so that hosts seen again and again while aging is
   // off cost nothing.
   void prune();

   SwitchState& state_;
   // When each learned host was last seen. Ordered: no rehash stalls. Pooled:
   // one node per learned host.
   std::map<Bridging::HostKey, double, std::less<>,
            Kel::PoolAllocator<std::pair<const Bridging::HostKey, double>>>
       lastSeen_;
   // Every sighting in time order, oldest first: a sighting is appended (the
   // clock goes forward), so aging takes hosts off the front and a host seen
   // again costs one entry, not the re-sorting of a tree.
   std::deque<Sighting> byTime_;
};

}  // namespace Sim
