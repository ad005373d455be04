// The writes of a validated SET request to the switch's input configuration. The switch's
// configuration agent applies them after the request; the cache rows of the ports show the
// written PVID and frame types at once.

#include <string>

#include "platform/kel/Assert.h"
#include "platform/swix/VlanIdSet.h"
#include "validation/PortValidation.h"
#include "validation/SetTrace.h"

namespace BridgeSnmp {
namespace {

// The input switchport of the interface; made when absent, from what the switch applies.
Bridging::Input::SwitchIntfConfig::Ptr inputSwitchport(const QBridgeMib& mib,
                                                       const Velnet::IntfId& intf) {
   const auto input = mib.inputConfig();
   if (auto existing = input->switchIntfConfig(intf)) {
      return existing;
   }
   auto created = input->switchIntfConfigIs(intf);
   if (const auto applied = mib.config()->switchIntfConfig(intf)) {
      created->switchportModeIs(applied->switchportMode());
      const Bridging::VlanIdOrNone native = applied->nativeVlan();
      if (applied->switchportMode() == Bridging::SwitchportMode::access && !native.isNone()) {
         created->accessVlanIs(native.vlanId());
      }
      created->trunkNativeVlanIs(native);
      SwixUtils::VlanIdSet carried;
      for (auto it = mib.config()->vlanConfigIteratorConst(); it; ++it) {
         if ((*it)->intfCollection().find(intf)) {
            carried.doAdd(it.key());
         }
      }
      created->trunkAllowedVlansIs(carried.multiRangeString());
   }
   return created;
}

// An access port becomes a trunk that carries exactly its access VLAN, untagged. Taken only
// while the input still says access: a second binding of the same request that touches the
// port finds a trunk and keeps what the first one wrote.
void convertAccessToTrunk(Bridging::Input::SwitchIntfConfig& sic) {
   if (sic.switchportMode() != Bridging::SwitchportMode::access) {
      return;
   }
   const Bridging::VlanId access = sic.accessVlan();
   sic.switchportModeIs(Bridging::SwitchportMode::trunk);
   sic.trunkAllowedVlansIs(std::to_string(access.value()));
   sic.trunkNativeVlanIs(Bridging::VlanIdOrNone(access.value()));
}

// Adds or removes one VLAN of a trunk's allowed list, keeping the list's text form.
void changeAllowed(Bridging::Input::SwitchIntfConfig& sic, Bridging::VlanId vlan, bool add) {
   convertAccessToTrunk(sic);
   SwixUtils::VlanIdSet allowed;
   SwixUtils::computeVlanSet(allowed, sic.trunkAllowedVlans().view());
   if (add) {
      allowed.doAdd(vlan);
   } else {
      allowed.doRemove(vlan);
   }
   sic.trunkAllowedVlansIs(allowed.multiRangeString());
   allowed.doClear();
}

}  // namespace

void Dot1dBasePortEntry::dot1qPvidIs(Bridging::VlanIdOrNone id) {
   KEL_ASSERT(id.value() != 0);
   if (!validateDot1qPvid(PtrConst(this), id)) {
      Kel::assertionFailed("validateDot1qPvid( this, id )", __FILE__, __LINE__, __func__);
   }
   SET_TRACE(2, "Dot1dBasePortEntry::dot1qPvidIs " << intf() << " " << id);
   const auto sic = inputSwitchport(*parent_, intf());
   const Bridging::VlanId vlan(id.value());
   if (sic->switchportMode() == Bridging::SwitchportMode::access) {
      sic->accessVlanIs(vlan);
      if (!parent_->inputConfig()->vlanConfig(vlan)) {
         parent_->inputConfig()->doCreateVlan(vlan);
      }
   } else {
      sic->trunkNativeVlanIs(id);
   }
   dot1qPvidLocalIs(id);
}

void Dot1dBasePortEntry::admitFrameIs(FrameAdmits frameType) {
   if (!validateAdmitFrame(PtrConst(this), frameType)) {
      Kel::assertionFailed("validateAdmitFrame( this, frameType )", __FILE__, __LINE__, __func__);
   }
   SET_TRACE(2, "Dot1dBasePortEntry::admitFrameIs " << intf() << " " << frameType);
   if (frameType == admitFrame()) {
      SET_TRACE(3, "dot1qPortAcceptableFrameTypes is set to the same value ("
                       << frameType << ") for " << intf());
      return;
   }
   if (parent_->aftAction(intf().stringValue()) != frameType) {
      SET_TRACE(3, frameType << " is overridden by an admitAll valued binding for the interface, "
                             << intf());
      return;
   }
   const auto sic = inputSwitchport(*parent_, intf());
   convertAccessToTrunk(*sic);
   if (frameType == admitOnlyVlanTagged) {
      sic->trunkNativeVlanIs(Bridging::VlanIdOrNone());
   } else {
      KEL_ASSERT(frameType == admitAll_);
      sic->trunkNativeVlanIs(Bridging::VlanIdOrNone(1));
   }
   admitFrameLocalIs(frameType);
}

void Dot1qVlanStaticEntry::doSetDot1qVlanStaticEgressPorts(EthPortIdSet::PtrConst portIdSet) {
   if (!validateDot1qVlanStaticPorts(PtrConst(this), portIdSet)) {
      Kel::assertionFailed("validateDot1qVlanStaticPorts( this, portIdSet )", __FILE__, __LINE__,
                           __func__);
   }
   SET_TRACE(2, "Dot1qVlanStaticEntry::doSetDot1qVlanStaticEgressPorts " << index());
   const Bridging::VlanId vlan(index());
   const auto members = vlanConfig();
   std::vector<Dot1dBasePortEntry::PtrConst> toAdd;
   std::vector<Dot1dBasePortEntry::PtrConst> toRemove;
   for (auto it = parent_->dot1dBasePortTableIteratorConst(); it; ++it) {
      const auto& row = *it;
      if (parent_->sepAction(row->intf().stringValue()) != takeAction) {
         continue;
      }
      const bool member = portIdSet->portId(it.key().value());
      const bool carries = members && members->intfCollection().find(row->intf()) != nullptr;
      if (member && !carries) {
         toAdd.emplace_back(row);
      } else if (carries && !member) {
         toRemove.emplace_back(row);
      }
   }
   for (const auto& row : toAdd) {
      changeAllowed(*inputSwitchport(*parent_, row->intf()), vlan, true);
   }
   for (const auto& row : toRemove) {
      changeAllowed(*inputSwitchport(*parent_, row->intf()), vlan, false);
   }
}

void Dot1qVlanStaticEntry::doSetDot1qVlanStaticUntaggedPorts(EthPortIdSet::PtrConst) {
   SET_TRACE(2, "Dot1qVlanStaticEntry::doSetDot1qVlanStaticUntaggedPorts " << index());
}

}  // namespace BridgeSnmp
