#include "agent/VlanConfigSm.h"

#include <vector>

#include "agent/Agent.h"
#include "agent/AgentTrace.h"

namespace BridgeSnmpAgent {

VlanConfigSm::KelVlanConfig::KelVlanConfig(VlanConfigSm& sm,
                                           const Bridging::VlanConfig::PtrConst& vlan)
    : sm_(sm), vlanId_(vlan->vlanId()) {
   notifierIs(vlan);
   handleAdminState();
}

void VlanConfigSm::KelVlanConfig::handleAdminState() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "VlanConfigSm::handleAdminState vlan " << vlanId_);
   const auto vlan = notifier();
   const bool shown = !vlan->hidden() && vlan->adminState() == Bridging::AdminState::active;
   if (shown) {
      sm_.mib_->dot1qVlanStaticTableIs(vlanId_.value())->vlanConfigIs(vlan);
   } else {
      sm_.mib_->dot1qVlanStaticTableDel(vlanId_.value());
   }
}

void VlanConfigSm::KelVlanConfig::handleDel() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "VlanConfigSm::handleDel vlan " << vlanId_);
   sm_.mib_->dot1qVlanStaticTableDel(vlanId_.value());
}

VlanConfigSm::KelSwitchIntfConfig::KelSwitchIntfConfig(
    VlanConfigSm& sm, const Bridging::SwitchIntfConfig::PtrConst& sic)
    : sm_(sm), intf_(sic->intfId()) {
   notifierIs(sic);
   handleSwitchportModeAndNativeVlan();
}

void VlanConfigSm::KelSwitchIntfConfig::handleSwitchportModeAndNativeVlan() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "VlanConfigSm::handleSwitchportModeAndNativeVlan " << intf_);
   const auto agent = currentAgent();
   const Interface::EthPortId port =
       agent ? agent->portId(Velnet::IntfId(notifier()->intfId().stringValue()))
             : Interface::EthPortId();
   if (port == Interface::EthPortId(0)) {
      return;
   }
   const auto row = sm_.mib_->dot1dBasePortTable(port);
   if (!row) {
      return;  // made by the port state machine, which then calls here again
   }
   const Bridging::VlanIdOrNone native = notifier()->nativeVlan();
   if (!native.isNone()) {
      row->dot1qPvidLocalIs(native);
      row->admitFrameLocalIs(admitAll);
   } else {
      row->dot1qPvidLocalIs(Bridging::VlanIdOrNone(1));
      row->admitFrameLocalIs(admitOnlyVlanTagged);
   }
}

VlanConfigSm::KelConfig::KelConfig(VlanConfigSm& sm, const Bridging::Config::PtrConst& config)
    : sm_(sm) {
   notifierIs(config);
}

void VlanConfigSm::KelConfig::onVlanConfigkelImmediate() {
   KEL_RING_TRACE();
   const auto config = notifier();
   sm_.vlanConfig_.sweep(
       config->vlanConfigIteratorConst(), [this](const Bridging::VlanId& id) { onVlanConfig(id); },
       [&config](const Bridging::VlanId& id) { return config->vlanConfig(id); });
}

void VlanConfigSm::KelConfig::onVlanConfig(const Bridging::VlanId& id) {
   KEL_RING_TRACE();
   sm_.vlanConfig_.watch(id, notifier()->vlanConfig(id), sm_);
}

void VlanConfigSm::KelConfig::onSwitchIntfConfigkelImmediate() {
   KEL_RING_TRACE();
   const auto config = notifier();
   sm_.switchIntfConfig_.sweep(
       config->switchIntfConfigIteratorConst(),
       [this](const Velnet::IntfId& intf) { onSwitchIntfConfig(intf); },
       [&config](const Velnet::IntfId& intf) { return config->switchIntfConfig(intf); });
}

void VlanConfigSm::KelConfig::onSwitchIntfConfig(const Velnet::IntfId& intf) {
   KEL_RING_TRACE();
   sm_.switchIntfConfig_.watch(intf, notifier()->switchIntfConfig(intf), sm_);
}

VlanConfigSm::VlanConfigSm(Kel::Activity::Ptr activity, BridgeSnmp::QBridgeMib::Ptr mib,
                           Bridging::Config::PtrConst config)
    : activity_(std::move(activity)), mib_(std::move(mib)), config_(std::move(config)) {
   KEL_RING_TRACE();
   if (mib_ && config_) {
      configReactor_ = std::make_unique<KelConfig>(*this, config_);
   }
   if (mib_) {
      dropValuesNotGiven();
   }
}

void VlanConfigSm::dropValuesNotGiven() {
   KEL_RING_TRACE();
   std::vector<std::uint32_t> vlans;
   for (auto it = mib_->dot1qVlanStaticTableIteratorConst(); it; ++it) {
      if (!vlanConfig(Bridging::VlanId(it.key()))) {
         vlans.push_back(it.key());
      }
   }
   for (const auto id : vlans) {
      AGENT_TRACE(1, "Deleting dot1qVlanStaticTable entry for vlan " << id);
      mib_->dot1qVlanStaticTableDel(id);
   }
   // A port the new configuration has no switchport for shows what a new port row shows.
   for (auto it = mib_->dot1dBasePortTableIteratorConst(); it; ++it) {
      if (!switchIntfConfig((*it)->intf())) {
         const auto row = mib_->dot1dBasePortTable(it.key());
         row->dot1qPvidLocalIs(Bridging::VlanIdOrNone());
         row->admitFrameLocalIs(admitAll);
      }
   }
}

VlanConfigSm::~VlanConfigSm() {
   configReactor_.reset();
   vlanConfig_.clear();
   switchIntfConfig_.clear();
}

}  // namespace BridgeSnmpAgent
