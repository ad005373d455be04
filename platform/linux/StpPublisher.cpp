#include "platform/linux/StpPublisher.h"

#include <linux/if_bridge.h>

#include <set>
#include <string>
#include <vector>

#include "platform/kel/Time.h"

namespace Linux {
namespace {

// The kernel's one-second hold time (BR_HOLD_TIME), which it does not report.
constexpr std::uint32_t kernelHoldCentis = 100;

Bridging::StpPortState portStateOf(std::uint8_t kernelState) {
   switch (kernelState) {
      case BR_STATE_DISABLED:
         return Bridging::StpPortState::disabled;
      case BR_STATE_LISTENING:
         return Bridging::StpPortState::listening;
      case BR_STATE_LEARNING:
         return Bridging::StpPortState::learning;
      case BR_STATE_FORWARDING:
         return Bridging::StpPortState::forwarding;
      case BR_STATE_BLOCKING:
         return Bridging::StpPortState::blocking;
      default:
         return Bridging::StpPortState::broken;
   }
}

void publishBridgeStp(const BridgeStp& b, Bridging::StpStatus& status) {
   const bool on = b.stpState != 0;
   const bool root = !on || b.rootId == b.bridgeId;
   status.protocolEnabledIs(on);
   status.bridgeIdIs(b.bridgeId);
   status.designatedRootIs(on ? b.rootId : b.bridgeId);
   status.rootPathCostIs(root ? 0 : b.rootPathCost);
   status.rootPortIs(root ? 0 : b.rootPort);
   status.maxAgeIs(b.maxAge);
   status.helloTimeIs(b.helloTime);
   status.forwardDelayIs(b.forwardDelay);
   status.holdTimeIs(kernelHoldCentis);
   if (root) {
      status.bridgeMaxAgeIs(b.maxAge);
      status.bridgeHelloTimeIs(b.helloTime);
      status.bridgeForwardDelayIs(b.forwardDelay);
   }
   const bool change = on && (b.topologyChange || b.topologyChangeDetected);
   if (change && !status.topologyChange()) {
      // Counted before the flag rises, so that whoever hears of the flag reads the count.
      status.topologyChangesIs(status.topologyChanges() + 1);
      status.lastTopologyChangeIs(Kel::now());
   }
   status.topologyChangeIs(change);
}

}  // namespace

void publishStp(const KernelBridge& bridge, Bridging::StpStatus& status) {
   if (bridge.exists() && bridge.stp()) {
      publishBridgeStp(*bridge.stp(), status);
   } else {
      status.protocolEnabledIs(false);
      status.topologyChangeIs(false);
   }
   std::set<std::string> names;
   for (const auto& [ifindex, port] : bridge.ports()) {
      if (!port.stp) {
         continue;
      }
      names.insert(port.name);
      const PortStp& k = *port.stp;
      const Velnet::IntfId intf(port.name);
      const Bridging::StpPortStatus* before = status.stpPortCollection().find(intf);
      Bridging::StpPortStatus row;
      row.state = portStateOf(k.state);
      row.priority = k.priority;
      row.portId = k.id;
      row.enabled = row.state != Bridging::StpPortState::disabled;
      row.pathCost = k.cost;
      row.designatedRoot = k.designatedRoot;
      row.designatedCost = k.designatedCost;
      row.designatedBridge = k.designatedBridge;
      row.designatedPort = k.designatedPort;
      if (before) {
         row.forwardTransitions =
             before->forwardTransitions + (row.state == Bridging::StpPortState::forwarding &&
                                           before->state != Bridging::StpPortState::forwarding);
      }
      status.stpPortIs(intf, row);
   }
   std::vector<Velnet::IntfId> gone;
   for (auto it = status.stpPortIteratorConst(); it; ++it) {
      if (!names.count(it.key().stringValue().stdString())) {
         gone.push_back(it.key());
      }
   }
   for (auto it = status.portCountersIteratorConst(); it; ++it) {
      if (!names.count(it.key().stringValue().stdString())) {
         gone.push_back(it.key());
      }
   }
   for (const auto& intf : gone) {
      status.stpPortDel(intf);
      status.portCountersDel(intf);
   }
}

}  // namespace Linux
