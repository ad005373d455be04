#pragma once

#include <cstdint>
#include <deque>
#include <random>
#include <utility>
#include <vector>

#include "platform/kel/ActivityManager.h"
#include "platform/sim/LearningAgent.h"
#include "platform/sim/SwitchState.h"

namespace Sim {

// A burst of random hosts: locally administered unicast addresses dealt round-robin over
// candidate ports, each in a VLAN its port is active in. The same seed gives the same
// sequence.
class Burst {
 public:
   using Candidates = std::vector<std::pair<Velnet::IntfId, std::vector<Bridging::VlanId>>>;

   // The first `portCount` ports (in port order) that are active in some VLAN.
   static Candidates candidates(const SwitchState& state, const std::vector<Velnet::IntfId>& ports,
                                std::size_t portCount);

   Burst(Candidates candidates, std::size_t count, std::uint64_t seed)
       : candidates_(std::move(candidates)), remaining_(count), random_(seed) {}

   bool done() const { return remaining_ == 0; }
   // Learns the next host; true when it was new. A port no longer active in the VLAN, or a
   // static address, is skipped.
   bool learnNext(SwitchState& state, LearningAgent& learning);

 private:
   Candidates candidates_;
   std::size_t remaining_;
   std::size_t next_ = 0;
   std::mt19937_64 random_;
};

// Bursts learned over time, as a switch learns from traffic: each clock wake-up learns for
// at most `quantum` seconds, and the next one comes after other pending work.
class PacedBursts : public Kel::Clock::NotifieeConst {
 public:
   static constexpr double quantum = 0.005;

   PacedBursts(SwitchState& state, LearningAgent& learning, Kel::ActivityManager& manager);
   ~PacedBursts() override;

   void add(Burst burst);
   std::size_t pending() const { return bursts_.size(); }
   void onTime() override;

 private:
   SwitchState& state_;
   LearningAgent& learning_;
   std::deque<Burst> bursts_;
};

}  // namespace Sim
