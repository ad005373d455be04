#include "snmp/RowFilters.h"

#include "agent/Agent.h"
#include "model/PortIdMap.h"

namespace Snmp {
namespace {

// The VLAN's configuration, or null. Filters run for every row a walk passes, so this takes
// no counted references: the agent's configuration holds the row for the whole request.
const Bridging::VlanConfig* vlanConfigOf(Bridging::Fid fid) {
   // A FID outside 1-4094 raises "VlanId::value < 1 or > 4094 not allowed".
   const Bridging::VlanId vlan(fid.value());
   const auto& agent = BridgeSnmpAgent::currentAgent();
   if (!agent || !agent->config()) {
      return nullptr;
   }
   const auto* found = agent->config()->vlanConfigCollection().find(vlan);
   return found ? found->get() : nullptr;
}

bool hasBridgePort(const Velnet::IntfId& intf) {
   return BridgeSnmp::currentPortId(intf) != Interface::EthPortId(0);
}

// The rule dot1dTpFdbTable and dot1qTpFdbTable share.
bool fdbRowShown(Bridging::Fid fid, const Velnet::IntfId& intf,
                 BridgeSnmp::Dot1qTpFdbStatus status) {
   const auto vlan = vlanConfigOf(fid);
   if (!hasBridgePort(intf)) {
      return false;
   }
   if (vlan && vlan->internal()) {
      return false;
   }
   if (status != BridgeSnmp::statusLearned) {
      return true;
   }
   return vlan && vlan->selectionWord() == 0;
}

}  // namespace

bool BridgeRowFilter(const BridgeSnmp::QBridgeMib::Dot1dTpFdbTableIteratorConst& row) {
   const auto& entry = *row;
   return fdbRowShown(Bridging::Fid(1), entry->intf(), entry->status());
}

bool QBridgeRowFilter(const BridgeSnmp::QBridgeMib::Dot1qTpFdbTableIteratorConst& row) {
   const auto& entry = *row;
   return fdbRowShown(row.key().fid(), entry->intf(), entry->status());
}

bool QBridgeExtRowFilter(const BridgeSnmp::QBridgeMib::Dot1qTpFdbTableIteratorConst& row) {
   const auto& entry = *row;
   const auto vlan = vlanConfigOf(row.key().fid());
   if (!hasBridgePort(entry->intf())) {
      return false;
   }
   return entry->status() == BridgeSnmp::statusLearned && vlan && vlan->selectionWord() == 0 &&
          !vlan->internal();
}

bool Dot1qFdbTableFilter(const Bridging::FdbStatusMap::IteratorConst& row) {
   const auto vlan = vlanConfigOf(row.key());
   return vlan && !vlan->internal();
}

bool Dot1qPortVlanTableFilter(const BridgeSnmp::QBridgeMib::Dot1dBasePortTableIteratorConst& row) {
   const auto& agent = BridgeSnmpAgent::currentAgent();
   if (!agent || !agent->config()) {
      return false;
   }
   const auto sic = agent->config()->switchIntfConfig((*row)->intf());
   return sic && static_cast<int>(sic->switchportMode()) != 5;
}

}  // namespace Snmp
