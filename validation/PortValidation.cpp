#include "validation/PortValidation.h"

#include "validation/SetTrace.h"

namespace BridgeSnmp {

Kel::TraceHandle& setTrace() {
   static Kel::TraceHandle* handle = new Kel::TraceHandle("BridgeSnmpSet");
   return *handle;
}

// Made at load, so that a trace setting can name the facility before its first line.
[[maybe_unused]] const Kel::TraceHandle& setTraceAtLoad = setTrace();

bool carriesVlans(Bridging::SwitchportMode mode) {
   return mode == Bridging::SwitchportMode::access || mode == Bridging::SwitchportMode::trunk;
}

Bridging::SwitchIntfConfig::PtrConst appliedSwitchport(const Dot1dBasePortEntry& entry) {
   const QBridgeMib* mib = entry.parent();
   if (!mib || !mib->config()) {
      return nullptr;
   }
   return mib->config()->switchIntfConfig(entry.intf());
}

bool validateAdmitFrame(Dot1dBasePortEntry::PtrConst entry, FrameAdmits frameType) {
   SET_TRACE(2, "bool validateAdmitFrame(BridgeSnmp::Dot1dBasePortEntry::PtrConst, FrameAdmits) "
                    << entry.get() << " and " << frameType);
   const auto sic = appliedSwitchport(*entry);
   if (!sic) {
      SET_TRACE(3, "dot1qPortAcceptableFrameTypes failed with non-existent sic " << entry->intf());
      return false;
   }
   if (carriesVlans(sic->switchportMode())) {
      return true;
   }
   SET_TRACE(3, "dot1qPortAcceptableFrameTypes failed with inconsistent switchportMode value.["
                    << sic->switchportMode() << "]");
   return false;
}

bool validateDot1qPvid(Dot1dBasePortEntry::PtrConst entry, Bridging::VlanIdOrNone id) {
   SET_TRACE(2,
             "bool validateDot1qPvid(BridgeSnmp::Dot1dBasePortEntry::PtrConst, "
             "Bridging::VlanIdOrNone) "
                 << entry.get() << " and " << id);
   if (id.isNone()) {
      SET_TRACE(3, "dot1qPvid failed due to id==0");
      return false;
   }
   const auto sic = appliedSwitchport(*entry);
   if (!sic) {
      SET_TRACE(3, "dot1qPvid failed due to non-existent switchIntfConfig");
      return false;
   }
   const Bridging::SwitchportMode mode = sic->switchportMode();
   if (!carriesVlans(mode)) {
      SET_TRACE(3, "dot1qPvid failed due to inconsistent switchportMode value.[" << mode << "]");
      return false;
   }
   const Bridging::VlanId vlan(id.value());
   const QBridgeMib& mib = *entry->parent();
   if (const auto config = mib.config()->vlanConfig(vlan); config && config->internal()) {
      SET_TRACE(3, "dot1qPvid failed due to internal vlanConfig");
      return false;
   }
   if (mode == Bridging::SwitchportMode::trunk &&
       !(mib.inputConfig() && mib.inputConfig()->vlanConfig(vlan))) {
      SET_TRACE(3, "Vlan " << vlan << " does not exist. Cannot set dot1qPvid." << entry->port());
      return false;
   }
   return true;
}

bool validateDot1qVlanStaticPorts(Dot1qVlanStaticEntry::PtrConst entry,
                                  EthPortIdSet::PtrConst portIdSet) {
   SET_TRACE(2,
             "bool validateDot1qVlanStaticPorts(BridgeSnmp::Dot1qVlanStaticEntry::PtrConst, "
             "BridgeSnmp::EthPortIdSet::PtrConst) "
                 << entry.get() << " and " << portIdSet.get());
   if (!entry->vlanConfig()) {
      SET_TRACE(3, "dot1qVlanStaticPorts fails due to non-existent vlanConfig");
      return false;
   }
   for (auto it = entry->parent()->dot1dBasePortTableIteratorConst(); it; ++it) {
      if (!portIdSet->portId(it.key().value())) {
         continue;
      }
      const auto sic = appliedSwitchport(**it);
      if (!sic) {
         SET_TRACE(3, "dot1qVlanStaticPorts fails due to missing switchIntfConfig");
         return false;
      }
      if (!carriesVlans(sic->switchportMode())) {
         SET_TRACE(3, "dot1qVlanStaticPorts failed with inconsistent switchportMode value.["
                          << sic->switchportMode() << "]");
         return false;
      }
   }
   return true;
}

}  // namespace BridgeSnmp
