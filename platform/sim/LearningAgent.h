#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "platform/bridging/HostKey.h"
#include "platform/kel/ActivityManager.h"
#include "platform/kel/Pool.h"
#include "platform/sim/SwitchState.h"

namespace Sim {

// Learns, moves, ages and flushes hosts in Bridging::Status, one Bridging::FdbStatus per
// FID. A host not seen for the configured aging time is aged out by a clock reactor;
// aging works in slices of bounded time, so a mass expiry never holds the thread long.
class LearningAgent : public Kel::Clock::NotifieeConst {
 public:
   enum class Outcome { learned, refreshed, moved };

   LearningAgent(SwitchState& state, Kel::ActivityManager& manager);
   ~LearningAgent() override;

   // The FID's status appears with its VLAN and goes, with every host in it, with it.
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
   void rearm();
   void forget(const Bridging::HostKey& key);

   SwitchState& state_;
   // When each learned host was last seen, and the same ordered by time for aging.
   // Ordered: no rehash stalls. Pooled: two nodes per learned host.
   std::map<Bridging::HostKey, double, std::less<>,
            Kel::PoolAllocator<std::pair<const Bridging::HostKey, double>>>
       lastSeen_;
   std::set<std::pair<double, Bridging::HostKey>, std::less<>,
            Kel::PoolAllocator<std::pair<double, Bridging::HostKey>>>
       byTime_;
};

}  // namespace Sim
