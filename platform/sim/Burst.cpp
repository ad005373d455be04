#include "platform/sim/Burst.h"

#include "platform/kel/Time.h"

namespace Sim {

Burst::Candidates Burst::candidates(const SwitchState& state,
                                    const std::vector<Velnet::IntfId>& ports,
                                    std::size_t portCount) {
   Candidates found;
   for (const auto& port : ports) {
      if (found.size() == portCount) {
         break;
      }
      std::vector<Bridging::VlanId> vlans;
      for (auto it = state.vlanStatusDir->vlanStatusIteratorConst(); it; ++it) {
         if ((*it)->vlanPortStatusCollection().find(port)) {
            vlans.push_back(it.key());
         }
      }
      if (!vlans.empty()) {
         found.emplace_back(port, std::move(vlans));
      }
   }
   return found;
}

bool Burst::learnNext(SwitchState& state, LearningAgent& learning) {
   --remaining_;
   const auto& [intf, vlans] = candidates_[next_++ % candidates_.size()];
   const Bridging::VlanId vlan = vlans[random_() % vlans.size()];
   // Locally administered unicast addresses: first octet 0x02.
   const std::uint64_t bits = random_() & 0x00ffffffffffull;
   const Velnet::EthAddr address = Velnet::EthAddr::fromU64(0x020000000000ull | bits);
   const Bridging::Fid fid(vlan.value());
   if (const auto fdb = state.config->fdbConfig(fid);
       fdb && fdb->configuredHostCollection().find(address)) {
      return false;
   }
   if (!state.activeMember(vlan, intf)) {
      return false;  // the port left the VLAN, or its link went down, since the burst began
   }
   return learning.learn(Bridging::HostKey(fid, address), intf,
                         Bridging::FdbEntryType::learnedDynamic) == LearningAgent::Outcome::learned;
}

PacedBursts::PacedBursts(SwitchState& state, LearningAgent& learning, Kel::ActivityManager& manager)
    : state_(state), learning_(learning) {
   notifierIs(manager.clock());
}

PacedBursts::~PacedBursts() {
   notifierIs(nullptr);
}

void PacedBursts::add(Burst burst) {
   if (burst.done()) {
      return;
   }
   bursts_.push_back(std::move(burst));
   timeMinIs(Kel::timeAsap);
}

void PacedBursts::onTime() {
   const double deadline = Kel::now() + quantum;
   while (!bursts_.empty()) {
      // Reading the clock costs more than learning a host: look every 64 hosts.
      for (int i = 0; i < 64 && !bursts_.front().done(); ++i) {
         bursts_.front().learnNext(state_, learning_);
      }
      if (bursts_.front().done()) {
         bursts_.pop_front();
      }
      if (Kel::now() >= deadline) {
         break;
      }
   }
   timeMinIs(bursts_.empty() ? Kel::timeNever : Kel::timeAsap);
}

}  // namespace Sim
