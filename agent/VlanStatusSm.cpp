#include "agent/VlanStatusSm.h"

#include <vector>

#include "agent/AgentTrace.h"
#include "platform/kel/Assert.h"
#include "platform/kel/Time.h"

namespace BridgeSnmpAgent {

VlanStatusSm::KelVlanStatus::KelVlanStatus(VlanStatusSm& sm,
                                           const Bridging::VlanStatus::PtrConst& status)
    : sm_(sm), vlanId_(status->vlanId()) {
   notifierIs(status);
   handleNew();
}

void VlanStatusSm::KelVlanStatus::handleNew() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "VlanStatusSm::handleNew vlan " << vlanId_);
   const auto config = sm_.config_ ? sm_.config_->vlanConfig(vlanId_) : nullptr;
   if (!config || config->internal()) {
      return;
   }
   KEL_ASSERT(!e());
   e_ = sm_.mib_->dot1qVlanCurrentTableIs(vlanId_.value());
   e_->vlanStatusIs(notifier());
   e_->firstSeenIs(Kel::now());
   AGENT_TRACE(1, "Creating dot1qVlanCurrentTable entry for vlan " << vlanId_);
}

void VlanStatusSm::KelVlanStatus::handlePortStatus() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "VlanStatusSm::handlePortStatus vlan " << vlanId_);
   if (e_) {
      e_->lastChangeIs(Kel::now());
   }
}

void VlanStatusSm::KelVlanStatus::handleDel() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "VlanStatusSm::handleDel vlan " << vlanId_);
   KEL_ASSERT(vlanId_.value());
   if (e_) {
      AGENT_TRACE(1, "Deleting dot1qVlanCurrentTable entry for vlan " << vlanId_);
      sm_.mib_->dot1qVlanCurrentTableDel(vlanId_.value());
      sm_.mib_->dot1qVlanNumDeletesInc(1);
      e_ = nullptr;
   }
}

VlanStatusSm::KelStatusDir::KelStatusDir(VlanStatusSm& sm,
                                         const Bridging::VlanStatusDir::PtrConst& dir)
    : sm_(sm) {
   notifierIs(dir);
}

void VlanStatusSm::KelStatusDir::onVlanStatuskelImmediate() {
   KEL_RING_TRACE();
   const auto dir = notifier();
   sm_.vlanStatus_.sweep(
       dir->vlanStatusIteratorConst(), [this](const Bridging::VlanId& id) { onVlanStatus(id); },
       [&dir](const Bridging::VlanId& id) { return dir->vlanStatus(id); });
}

void VlanStatusSm::KelStatusDir::onVlanStatus(const Bridging::VlanId& id) {
   KEL_RING_TRACE();
   // A new status entity for the same VLAN replaces the row.
   sm_.vlanStatus_.watch(id, notifier()->vlanStatus(id), sm_,
                         [](KelVlanStatus& replaced) { replaced.handleDel(); });
}

VlanStatusSm::KelConfig::KelConfig(VlanStatusSm& sm, const Bridging::Config::PtrConst& config)
    : sm_(sm) {
   notifierIs(config);
}

void VlanStatusSm::KelConfig::onVlanConfigkelImmediate() {
   KEL_RING_TRACE();
   const auto config = notifier();
   for (auto it = config->vlanConfigIteratorConst(); it; ++it) {
      internal_[it.key()] = std::make_unique<KelVlanInternal>(sm_, *it);
   }
}

void VlanStatusSm::KelConfig::onVlanConfig(const Bridging::VlanId& id) {
   KEL_RING_TRACE();
   if (const auto vlan = notifier()->vlanConfig(id)) {
      internal_[id] = std::make_unique<KelVlanInternal>(sm_, vlan);
   } else {
      internal_.erase(id);
   }
   sm_.handleVlanConfig(id);
}

VlanStatusSm::VlanStatusSm(Kel::Activity::Ptr activity, BridgeSnmp::QBridgeMib::Ptr mib,
                           Bridging::VlanStatusDir::PtrConst statusDir,
                           Bridging::Config::PtrConst config)
    : activity_(std::move(activity)),
      mib_(std::move(mib)),
      statusDir_(std::move(statusDir)),
      config_(std::move(config)) {
   KEL_RING_TRACE();
   if (mib_ && statusDir_) {
      dirReactor_ = std::make_unique<KelStatusDir>(*this, statusDir_);
   }
   if (mib_ && config_) {
      configReactor_ = std::make_unique<KelConfig>(*this, config_);
   }
   if (mib_) {
      dropRowsNotGiven();
   }
}

void VlanStatusSm::dropRowsNotGiven() {
   KEL_RING_TRACE();
   std::vector<std::uint32_t> vlans;
   for (auto it = mib_->dot1qVlanCurrentTableIteratorConst(); it; ++it) {
      const KelVlanStatus* reactor = vlanStatus(Bridging::VlanId(it.key()));
      if (!reactor || reactor->e() != *it) {
         vlans.push_back(it.key());
      }
   }
   for (const auto id : vlans) {
      // To a manager the VLAN was deleted, so it is counted as a deletion.
      AGENT_TRACE(1, "Deleting dot1qVlanCurrentTable entry for vlan " << id);
      mib_->dot1qVlanCurrentTableDel(id);
      mib_->dot1qVlanNumDeletesInc(1);
   }
}

VlanStatusSm::~VlanStatusSm() {
   configReactor_.reset();
   dirReactor_.reset();
   vlanStatus_.clear();
}

void VlanStatusSm::handleVlanConfig(Bridging::VlanId id) {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "VlanStatusSm::handleVlanConfig vlan " << id);
   if (auto* reactor = vlanStatus(id)) {
      reactor->handleDel();
      reactor->handleNew();
   }
}

}  // namespace BridgeSnmpAgent
