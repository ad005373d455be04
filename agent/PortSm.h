#pragma once

#include <memory>

#include "model/QBridgeMib.h"
#include "platform/interface/IntfStatus.h"
#include "platform/kel/ActivityManager.h"
#include "platform/kel/ElementReactors.h"

namespace BridgeSnmpAgent {

// Mirrors the Ethernet interfaces that have a bridge port number into the cache's port
// table, and keeps the agent's interface-to-port map in step.
class PortSm : public Kel::Entity {
 public:
   using Ptr = Kel::Ptr<PortSm>;

   // One interface's reactor.
   class KelIntfStatus : public Interface::IntfStatus::NotifieeConst {
    public:
      KelIntfStatus(PortSm& sm, const Interface::EthIntfStatus::PtrConst& status);
      void onPortId() override { handlePortId(); }
      // An ifIndex that comes after the port id completes the row just the same.
      void onIfIndex() override { handlePortId(); }
      void onZombie() override { handleDel(); }
      // Creates or updates the port's row and map entry once the interface has a port id
      // and an ifIndex.
      void handlePortId();
      // The interface went: its row and its map entry go.
      void handleDel();
      // The port whose row this interface gave; 0 while it gives none.
      Interface::EthPortId rowPort() const { return rowPort_; }

    private:
      PortSm& sm_;
      Velnet::IntfId intf_;
      Interface::EthPortId rowPort_;
   };

   // The interface-status directory's reactor.
   class KelIntfStatusDir : public Interface::EthIntfStatusDir::NotifieeConst {
    public:
      KelIntfStatusDir(PortSm& sm, const Interface::EthIntfStatusDir::PtrConst& dir);
      void onIntfStatuskelImmediate() override;
      void onIntfStatus(const Velnet::IntfId& intf) override;

    private:
      PortSm& sm_;
   };

   PortSm(Kel::Activity::Ptr activity, BridgeSnmp::QBridgeMib::Ptr mib,
          Interface::EthIntfStatusDir::PtrConst intfStatusDir);
   ~PortSm() override;
   const char* typeName() const override { return "BridgeSnmpAgent::PortSm"; }

   bool builtFrom(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                  const Interface::EthIntfStatusDir::PtrConst& intfStatusDir) const {
      return activity_ == activity && mib_ == mib && intfStatusDir_ == intfStatusDir;
   }

   const BridgeSnmp::QBridgeMib::Ptr& mib() const { return mib_; }
   KelIntfStatus* intfStatus(const Velnet::IntfId& intf) const { return intfStatus_.find(intf); }
   std::size_t intfStatuss() const { return intfStatus_.size(); }

 private:
   // Built on a cache that already has port rows (its input changed): removes the rows and
   // port-map entries that no interface of the new input gives.
   void dropRowsNotGiven();

   Kel::Activity::Ptr activity_;
   BridgeSnmp::QBridgeMib::Ptr mib_;
   Interface::EthIntfStatusDir::PtrConst intfStatusDir_;
   Kel::ElementReactors<Velnet::IntfId, KelIntfStatus> intfStatus_;
   std::unique_ptr<KelIntfStatusDir> dirReactor_;
};

}  // namespace BridgeSnmpAgent
