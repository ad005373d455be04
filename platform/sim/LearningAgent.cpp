#include "platform/sim/LearningAgent.h"

#include <algorithm>
#include <vector>

#include "platform/kel/Time.h"

namespace Sim {

LearningAgent::LearningAgent(SwitchState& state, Kel::ActivityManager& manager) : state_(state) {
   notifierIs(manager.clock());
}

LearningAgent::~LearningAgent() {
   notifierIs(nullptr);
}

void LearningAgent::fidIs(Bridging::Fid fid) {
   state_.status->fdbStatusIs(fid);
}

void LearningAgent::fidDel(Bridging::Fid fid) {
   if (!state_.status->fdbStatus(fid)) {
      return;
   }
   flush(fid, std::nullopt);
   state_.status->fdbStatusDel(fid);
}

LearningAgent::Outcome LearningAgent::learn(const Bridging::HostKey& key,
                                            const Velnet::IntfId& intf,
                                            Bridging::FdbEntryType type) {
   const auto fdb = state_.status->fdbStatus(key.fid());
   const double now = Kel::now();
   Outcome outcome = Outcome::learned;
   Bridging::LearnedHost host;
   if (const Bridging::LearnedHost* known = fdb->learnedHostRecord(key.address())) {
      host = *known;
      outcome = known->intf == intf ? Outcome::refreshed : Outcome::moved;
      if (outcome == Outcome::moved) {
         ++host.moves;
         host.lastMoveTime = now;
      }
      forget(key);
   }
   host.intf = intf;
   host.entryType = type;
   fdb->learnedHostIs(key.address(),
                      host);  // notifies only when the record changed
   lastSeen_[key] = now;
   const Sighting sighting(now, key);
   if (byTime_.empty() || !(sighting < byTime_.back())) {
      byTime_.push_back(sighting);
   } else {
      // The clock went back: keep the queue in time order.
      byTime_.insert(std::upper_bound(byTime_.begin(), byTime_.end(), sighting), sighting);
   }
   rearm();
   return outcome;
}

bool LearningAgent::age(const Bridging::HostKey& key) {
   if (!learned(key)) {
      return false;
   }
   forget(key);
   state_.status->fdbStatus(key.fid())->learnedHostDel(key.address());
   rearm();
   return true;
}

std::size_t LearningAgent::flush(std::optional<Bridging::Fid> fid,
                                 std::optional<Velnet::IntfId> intf) {
   std::vector<Bridging::HostKey> doomed;
   for (auto it = state_.status->fdbStatusIteratorConst(); it; ++it) {
      if (fid && it.key() != *fid) {
         continue;
      }
      const auto& hosts = (*it)->learnedHostCollection();
      for (auto h = hosts.begin(); h; ++h) {
         if (!intf || h.value().intf == *intf) {
            doomed.emplace_back(it.key(), h.key());
         }
      }
   }
   for (const auto& key : doomed) {
      age(key);
   }
   return doomed.size();
}

bool LearningAgent::learned(const Bridging::HostKey& key) const {
   return lastSeen_.find(key) != lastSeen_.end();
}

void LearningAgent::forget(const Bridging::HostKey& key) {
   lastSeen_.erase(key);  // its sightings are stale now
}

bool LearningAgent::live(const Sighting& sighting) const {
   const auto it = lastSeen_.find(sighting.second);
   return it != lastSeen_.end() && it->second == sighting.first;
}

void LearningAgent::prune() {
   while (!byTime_.empty() && !live(byTime_.front())) {
      byTime_.pop_front();
   }
   if (byTime_.size() > 2 * lastSeen_.size() + 64) {
      std::erase_if(byTime_, [this](const Sighting& s) { return !live(s); });
   }
}

void LearningAgent::agingTimeChanged() {
   rearm();
}

void LearningAgent::rearm() {
   prune();
   const double agingTime = state_.config->hostAgingTime();
   if (byTime_.empty() || agingTime <= 0.0) {
      timeMinIs(Kel::timeNever);
      return;
   }
   timeMinIs(byTime_.begin()->first + agingTime);
}

void LearningAgent::onTime() {
   const double agingTime = state_.config->hostAgingTime();
   const double deadline = Kel::now() + agingQuantum;
   while (agingTime > 0.0) {
      prune();
      if (byTime_.empty()) {
         break;
      }
      const auto [seen, key] = byTime_.front();
      const double now = Kel::now();
      if (seen + agingTime > now) {
         break;
      }
      if (now >= deadline) {
         timeMinIs(Kel::timeAsap);  // more are due: continue after other pending work
         return;
      }
      age(key);
   }
   rearm();
}

}  // namespace Sim
