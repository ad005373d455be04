#pragma once

#include <map>
#include <memory>

#include "model/QBridgeMib.h"
#include "platform/bridging/Config.h"
#include "platform/bridging/VlanStatus.h"
#include "platform/kel/ActivityManager.h"
#include "platform/kel/ElementReactors.h"

namespace BridgeSnmpAgent {

// Keeps the cache's current VLAN rows and its VLAN-deletion counter in step with the VLAN
// status directory. A VLAN gets a row while it has status and a configuration that is not
// internal; each row removal counts as a deletion.
class VlanStatusSm : public Kel::Entity {
 public:
   using Ptr = Kel::Ptr<VlanStatusSm>;

   class KelVlanStatus : public Bridging::VlanStatus::NotifieeConst {
    public:
      KelVlanStatus(VlanStatusSm& sm, const Bridging::VlanStatus::PtrConst& status);
      void onVlanPortStatus(const Velnet::IntfId&) override { handlePortStatus(); }
      void onZombie() override { handleDel(); }
      // Creates the row when the VLAN has a configuration that is not internal.
      void handleNew();
      // A port of the VLAN changed: the row's last change is now.
      void handlePortStatus();
      // Removes the row, if any, counting the deletion.
      void handleDel();
      const BridgeSnmp::Dot1qVlanCurrentEntry::Ptr& e() const { return e_; }

    private:
      VlanStatusSm& sm_;
      Bridging::VlanId vlanId_;
      BridgeSnmp::Dot1qVlanCurrentEntry::Ptr e_;
   };

   class KelStatusDir : public Bridging::VlanStatusDir::NotifieeConst {
    public:
      KelStatusDir(VlanStatusSm& sm, const Bridging::VlanStatusDir::PtrConst& dir);
      void onVlanStatuskelImmediate() override;
      void onVlanStatus(const Bridging::VlanId& id) override;

    private:
      VlanStatusSm& sm_;
   };

   // Watches the configuration's VLAN collection, and each VLAN's internal flag.
   class KelConfig : public Bridging::Config::NotifieeConst {
    public:
      KelConfig(VlanStatusSm& sm, const Bridging::Config::PtrConst& config);
      void onVlanConfigkelImmediate() override;
      void onVlanConfig(const Bridging::VlanId& id) override;

    private:
      class KelVlanInternal : public Bridging::VlanConfig::NotifieeConst {
       public:
         KelVlanInternal(VlanStatusSm& sm, const Bridging::VlanConfig::PtrConst& vlan)
             : sm_(sm), vlanId_(vlan->vlanId()) {
            notifierIs(vlan);
         }
         void onInternal() override { sm_.handleVlanConfig(vlanId_); }

       private:
         VlanStatusSm& sm_;
         Bridging::VlanId vlanId_;
      };
      VlanStatusSm& sm_;
      std::map<Bridging::VlanId, std::unique_ptr<KelVlanInternal>> internal_;
   };

   VlanStatusSm(Kel::Activity::Ptr activity, BridgeSnmp::QBridgeMib::Ptr mib,
                Bridging::VlanStatusDir::PtrConst statusDir, Bridging::Config::PtrConst config);
   ~VlanStatusSm() override;
   const char* typeName() const override { return "BridgeSnmpAgent::VlanStatusSm"; }

   bool builtFrom(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                  const Bridging::VlanStatusDir::PtrConst& statusDir,
                  const Bridging::Config::PtrConst& config) const {
      return activity_ == activity && mib_ == mib && statusDir_ == statusDir && config_ == config;
   }

   // The VLAN's configuration appeared, went or changed whether it is internal: its row is
   // re-evaluated (a removal counts as a deletion).
   void handleVlanConfig(Bridging::VlanId id);
   KelVlanStatus* vlanStatus(Bridging::VlanId id) const { return vlanStatus_.find(id); }

 private:
   // Built on a cache that already has current rows (its input changed): removes the rows
   // of VLANs the new status does not give.
   void dropRowsNotGiven();
   Kel::Activity::Ptr activity_;
   BridgeSnmp::QBridgeMib::Ptr mib_;
   Bridging::VlanStatusDir::PtrConst statusDir_;
   Bridging::Config::PtrConst config_;
   Kel::ElementReactors<Bridging::VlanId, KelVlanStatus> vlanStatus_;
   std::unique_ptr<KelStatusDir> dirReactor_;
   std::unique_ptr<KelConfig> configReactor_;
};

}  // namespace BridgeSnmpAgent
