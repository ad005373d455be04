#include "agent/PortSm.h"

#include <vector>

#include "agent/Agent.h"
#include "agent/AgentTrace.h"
#include "agent/VlanConfigSm.h"
#include "platform/intf/IntfDetails.h"

namespace BridgeSnmpAgent {

PortSm::KelIntfStatus::KelIntfStatus(PortSm& sm, const Interface::EthIntfStatus::PtrConst& status)
    : sm_(sm), intf_(status->intfId()) {
   notifierIs(status);
   handlePortId();
}

void PortSm::KelIntfStatus::handlePortId() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "PortSm::handlePortId " << intf_);
   const auto status = notifier();
   const auto details = Intf::intfDetailsProvider(status);
   if (!details) {
      AGENT_TRACE(1, "Could not create intfDetailsProvider for " << intf_);
      return;
   }
   const std::int32_t ifIndex = details->ifIndex();
   const Interface::EthPortId portId = status->portId();
   if (portId <= Interface::EthPortId(0) || ifIndex <= 0) {
      return;
   }
   const auto row = sm_.mib_->dot1dBasePortTableIs(portId);
   rowPort_ = portId;
   row->intfIs(intf_);
   row->ifIndexIs(ifIndex);
   const auto agent = currentAgent();
   if (!agent) {
      return;
   }
   agent->portIdIs(intf_, portId);
   // Now that the row exists, its PVID and frame types can be filled in.
   if (const auto vlanConfigSm = agent->vlanConfigSm()) {
      if (auto* switchport = vlanConfigSm->switchIntfConfig(intf_)) {
         switchport->handleSwitchportModeAndNativeVlan();
      }
   }
}

void PortSm::KelIntfStatus::handleDel() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "PortSm::handleDel " << intf_);
   const Interface::EthPortId portId = notifier() ? notifier()->portId() : Interface::EthPortId();
   AGENT_TRACE(1, "deleting port ID -> ifIndex for " << portId);
   sm_.mib_->dot1dBasePortTableDel(portId);
   AGENT_TRACE(1, "deleting name -> port ID for " << intf_);
   if (const auto agent = currentAgent()) {
      agent->portIdDel(intf_);
   }
}

PortSm::KelIntfStatusDir::KelIntfStatusDir(PortSm& sm,
                                           const Interface::EthIntfStatusDir::PtrConst& dir)
    : sm_(sm) {
   notifierIs(dir);
}

void PortSm::KelIntfStatusDir::onIntfStatuskelImmediate() {
   KEL_RING_TRACE();
   const auto dir = notifier();
   const auto status = [&dir](const Velnet::IntfId& intf) { return dir->intfStatus(intf); };
   sm_.intfStatus_.sweep(
       dir->intfStatusIteratorConst(),
       [this, &status](const Velnet::IntfId& intf) {
          sm_.intfStatus_.watch(intf, status(intf), sm_);
       },
       status);
}

void PortSm::KelIntfStatusDir::onIntfStatus(const Velnet::IntfId& intf) {
   KEL_RING_TRACE();
   sm_.intfStatus_.watch(intf, notifier()->intfStatus(intf), sm_);
}

PortSm::PortSm(Kel::Activity::Ptr activity, BridgeSnmp::QBridgeMib::Ptr mib,
               Interface::EthIntfStatusDir::PtrConst intfStatusDir)
    : activity_(std::move(activity)),
      mib_(std::move(mib)),
      intfStatusDir_(std::move(intfStatusDir)) {
   KEL_RING_TRACE();
   if (mib_ && intfStatusDir_) {
      dirReactor_ = std::make_unique<KelIntfStatusDir>(*this, intfStatusDir_);
   }
   if (mib_) {
      dropRowsNotGiven();
   }
}

void PortSm::dropRowsNotGiven() {
   KEL_RING_TRACE();
   const auto gives = [this](const Velnet::IntfId& intf, Interface::EthPortId port) {
      const KelIntfStatus* reactor = intfStatus(intf);
      return reactor && reactor->rowPort() == port;
   };
   std::vector<Interface::EthPortId> rows;
   for (auto it = mib_->dot1dBasePortTableIteratorConst(); it; ++it) {
      if (!gives((*it)->intf(), it.key())) {
         rows.push_back(it.key());
      }
   }
   for (const auto port : rows) {
      AGENT_TRACE(1, "deleting port ID -> ifIndex for " << port);
      mib_->dot1dBasePortTableDel(port);
   }
   const auto agent = currentAgent();
   if (!agent) {
      return;
   }
   std::vector<Velnet::IntfId> entries;
   for (auto it = agent->portIdIteratorConst(); it; ++it) {
      if (!gives(it.key(), *it)) {
         entries.push_back(it.key());
      }
   }
   for (const auto& intf : entries) {
      AGENT_TRACE(1, "deleting name -> port ID for " << intf);
      agent->portIdDel(intf);
   }
}

PortSm::~PortSm() {
   dirReactor_.reset();
   intfStatus_.clear();
}

}  // namespace BridgeSnmpAgent
