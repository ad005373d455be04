#pragma once

#include <memory>

#include "model/QBridgeMib.h"
#include "platform/bridging/Config.h"
#include "platform/kel/ActivityManager.h"
#include "platform/kel/ElementReactors.h"

namespace BridgeSnmpAgent {

// Keeps the cache's static VLAN rows in step with the VLAN configuration (a row for each
// VLAN that is active and not hidden), and the PVID and acceptable frame types of the port
// rows with each interface's switchport configuration.
class VlanConfigSm : public Kel::Entity {
 public:
   using Ptr = Kel::Ptr<VlanConfigSm>;

   class KelVlanConfig : public Bridging::VlanConfig::NotifieeConst {
    public:
      KelVlanConfig(VlanConfigSm& sm, const Bridging::VlanConfig::PtrConst& vlan);
      void onAdminState() override { handleAdminState(); }
      void onHidden() override { handleAdminState(); }
      void onZombie() override { handleDel(); }
      // Shows or hides the VLAN's static row.
      void handleAdminState();
      void handleDel();

    private:
      VlanConfigSm& sm_;
      Bridging::VlanId vlanId_;
   };

   class KelSwitchIntfConfig : public Bridging::SwitchIntfConfig::NotifieeConst {
    public:
      KelSwitchIntfConfig(VlanConfigSm& sm, const Bridging::SwitchIntfConfig::PtrConst& sic);
      void onSwitchportModeAndNativeVlan() override { handleSwitchportModeAndNativeVlan(); }
      // Sets the port row's PVID and acceptable frame types from the native VLAN: a VLAN
      // gives that PVID and admitAll; none gives PVID 1 and admitOnlyVlanTagged.
      void handleSwitchportModeAndNativeVlan();

    private:
      VlanConfigSm& sm_;
      Velnet::IntfId intf_;
   };

   class KelConfig : public Bridging::Config::NotifieeConst {
    public:
      KelConfig(VlanConfigSm& sm, const Bridging::Config::PtrConst& config);
      void onVlanConfigkelImmediate() override;
      void onVlanConfig(const Bridging::VlanId& id) override;
      void onSwitchIntfConfigkelImmediate() override;
      void onSwitchIntfConfig(const Velnet::IntfId& intf) override;

    private:
      VlanConfigSm& sm_;
   };

   VlanConfigSm(Kel::Activity::Ptr activity, BridgeSnmp::QBridgeMib::Ptr mib,
                Bridging::Config::PtrConst config);
   ~VlanConfigSm() override;
   const char* typeName() const override { return "BridgeSnmpAgent::VlanConfigSm"; }

   bool builtFrom(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                  const Bridging::Config::PtrConst& config) const {
      return activity_ == activity && mib_ == mib && config_ == config;
   }

   KelVlanConfig* vlanConfig(Bridging::VlanId id) const { return vlanConfig_.find(id); }
   KelSwitchIntfConfig* switchIntfConfig(const Velnet::IntfId& intf) const {
      return switchIntfConfig_.find(intf);
   }

 private:
   // Built on a cache that already has rows (its input changed): removes the static rows of
   // VLANs the new configuration lacks and resets the PVID and frame types of ports it
   // has no switchport for.
   void dropValuesNotGiven();
   Kel::Activity::Ptr activity_;
   BridgeSnmp::QBridgeMib::Ptr mib_;
   Bridging::Config::PtrConst config_;
   Kel::ElementReactors<Bridging::VlanId, KelVlanConfig> vlanConfig_;
   Kel::ElementReactors<Velnet::IntfId, KelSwitchIntfConfig> switchIntfConfig_;
   std::unique_ptr<KelConfig> configReactor_;
};

}  // namespace BridgeSnmpAgent
