#pragma once

#include "agent/FidSm.h"
#include "agent/PortSm.h"
#include "agent/VlanConfigSm.h"
#include "agent/VlanStatusSm.h"
#include "model/PortIdMap.h"
#include "model/QBridgeMib.h"
#include "platform/bridging/Config.h"
#include "platform/bridging/ReaderFdbStatusSm.h"
#include "platform/bridging/Status.h"
#include "platform/bridging/VlanStatus.h"
#include "platform/interface/IntfStatus.h"
#include "platform/kel/ActivityManager.h"

namespace BridgeSnmpAgent {

// The root of the synchronisation agent: it holds the cache and the bridging and interface
// inputs, owns the four state machines that keep the cache in step with the inputs, and
// keeps the interface-to-bridge-port map (it is the process's current BridgeSnmp::PortIdMap).
//
// Inputs are set first and the cache last: only mibIs() (with a new cache) runs doInit(),
// which rebuilds exactly the state machines whose cache or inputs changed.
class Agent : public BridgeSnmp::PortIdMap {
 public:
   using Ptr = Kel::Ptr<Agent>;
   using PtrConst = Kel::Ptr<const Agent>;

   explicit Agent(Kel::Name name);
   ~Agent() override;
   const char* typeName() const override { return "BridgeSnmpAgent::Agent"; }

   const Kel::Name& name() const { return name_; }

   // The framework activity the state machines run on.
   Kel::Activity::Ptr kelFwkActivity() const { return activity_; }
   void kelFwkActivityIs(Kel::Activity::Ptr activity) { activity_ = std::move(activity); }

   BridgeSnmp::QBridgeMib::Ptr mib() const { return mib_; }
   // Stores a different cache and runs doInit(); the same cache does nothing.
   void mibIs(const BridgeSnmp::QBridgeMib::Ptr& mib);

   const Bridging::Config::PtrConst& config() const { return config_; }
   void configIs(Bridging::Config::PtrConst config) { config_ = std::move(config); }
   Bridging::Status::PtrConst status() const { return status_; }
   void statusIs(Bridging::Status::PtrConst status) { status_ = std::move(status); }
   Bridging::VlanStatusDir::PtrConst vlanStatusDir() const { return vlanStatusDir_; }
   void vlanStatusDirIs(Bridging::VlanStatusDir::PtrConst dir) { vlanStatusDir_ = std::move(dir); }
   Interface::EthIntfStatusDir::PtrConst intfStatusDir() const { return intfStatusDir_; }
   void intfStatusDirIs(Interface::EthIntfStatusDir::PtrConst dir) {
      intfStatusDir_ = std::move(dir);
   }
   // Held only so that the platform keeps the learned-host status readable.
   Bridging::ReaderFdbStatusSm::PtrConst readerShim() const { return readerShim_; }
   void readerShimIs(Bridging::ReaderFdbStatusSm::PtrConst shim) { readerShim_ = std::move(shim); }

   // Records this agent as the current one and (re)builds the state machines.
   void doInit();

   Kel::Ptr<PortSm> portSm() const { return portSm_; }
   Kel::Ptr<FidSm> fidSm() const { return fidSm_; }
   Kel::Ptr<VlanConfigSm> vlanConfigSm() const { return vlanConfigSm_; }
   Kel::Ptr<VlanStatusSm> vlanStatusSm() const { return vlanStatusSm_; }

   // Each keeps the machine it has when that was built from the same cache and inputs.
   void portSmIs(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                 const Interface::EthIntfStatusDir::PtrConst& intfStatusDir);
   void fidSmIs(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                const Bridging::Config::PtrConst& config, const Bridging::Status::PtrConst& status);
   void vlanConfigSmIs(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                       const Bridging::Config::PtrConst& config);
   void vlanStatusSmIs(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                       const Bridging::VlanStatusDir::PtrConst& vlanStatusDir,
                       const Bridging::Config::PtrConst& config);
   void portSmDel();
   void fidSmDel();
   void vlanConfigSmDel();
   void vlanStatusSmDel();

   // Drops the state machines (port, FID, VLAN configuration, VLAN status) and empties the
   // port map; stops being the current agent.
   void doShutdown();

 private:
   Kel::Name name_;
   Kel::Activity::Ptr activity_;
   BridgeSnmp::QBridgeMib::Ptr mib_;
   Bridging::Config::PtrConst config_;
   Bridging::Status::PtrConst status_;
   Bridging::VlanStatusDir::PtrConst vlanStatusDir_;
   Interface::EthIntfStatusDir::PtrConst intfStatusDir_;
   Bridging::ReaderFdbStatusSm::PtrConst readerShim_;
   Kel::Ptr<PortSm> portSm_;
   Kel::Ptr<FidSm> fidSm_;
   Kel::Ptr<VlanConfigSm> vlanConfigSm_;
   Kel::Ptr<VlanStatusSm> vlanStatusSm_;
};

// Creates an agent (which runs doInit once, with no inputs yet).
Agent::Ptr agentFactory(const Kel::Name& name);

// The process's current agent, or null. A reference, so that per-row readers take no
// counted reference; copy it to keep the agent past a change of the current one.
const Agent::Ptr& currentAgent();

}  // namespace BridgeSnmpAgent
