#include "agent/Agent.h"

#include "agent/AgentTrace.h"
#include "agent/FidSm.h"
#include "agent/PortSm.h"
#include "agent/VlanConfigSm.h"
#include "agent/VlanStatusSm.h"

namespace BridgeSnmpAgent {
namespace {

Agent::Ptr& current() {
   static Agent::Ptr* agent = new Agent::Ptr();
   return *agent;
}

}  // namespace

Agent::Agent(Kel::Name name) : name_(std::move(name)) {}

Agent::~Agent() {
   doShutdown();
}

Agent::Ptr agentFactory(const Kel::Name& name) {
   auto agent = Kel::make<Agent>(name);
   agent->doInit();
   return agent;
}

const Agent::Ptr& currentAgent() {
   return current();
}

void Agent::mibIs(const BridgeSnmp::QBridgeMib::Ptr& mib) {
   if (mib == mib_) {
      return;
   }
   mib_ = mib;
   doInit();
}

void Agent::doInit() {
   KEL_RING_TRACE();
   AGENT_TRACE(1, "Agent::doInit " << name_);
   if (current().get() != this) {
      current() = Ptr(this);
      BridgeSnmp::currentPortIdMapIs(PortIdMap::PtrConst(this));
   }
   if (mib_) {
      // The cache's references to the switch's state, for the SET path's checks.
      mib_->configIs(config_);
      mib_->statusIs(status_);
   }
   portSmIs(activity_, mib_, intfStatusDir_);
   fidSmIs(activity_, mib_, config_, status_);
   vlanConfigSmIs(activity_, mib_, config_);
   vlanStatusSmIs(activity_, mib_, vlanStatusDir_, config_);
}

void Agent::portSmIs(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                     const Interface::EthIntfStatusDir::PtrConst& intfStatusDir) {
   if (portSm_ && portSm_->builtFrom(activity, mib, intfStatusDir)) {
      return;
   }
   portSm_ = nullptr;
   portSm_ = Kel::make<PortSm>(activity, mib, intfStatusDir);
}

void Agent::fidSmIs(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                    const Bridging::Config::PtrConst& config,
                    const Bridging::Status::PtrConst& status) {
   if (fidSm_ && fidSm_->builtFrom(activity, mib, config, status)) {
      return;
   }
   fidSm_ = nullptr;
   fidSm_ = Kel::make<FidSm>(activity, mib, config, status);
}

void Agent::vlanConfigSmIs(const Kel::Activity::Ptr& activity,
                           const BridgeSnmp::QBridgeMib::Ptr& mib,
                           const Bridging::Config::PtrConst& config) {
   if (vlanConfigSm_ && vlanConfigSm_->builtFrom(activity, mib, config)) {
      return;
   }
   vlanConfigSm_ = nullptr;
   vlanConfigSm_ = Kel::make<VlanConfigSm>(activity, mib, config);
}

void Agent::vlanStatusSmIs(const Kel::Activity::Ptr& activity,
                           const BridgeSnmp::QBridgeMib::Ptr& mib,
                           const Bridging::VlanStatusDir::PtrConst& vlanStatusDir,
                           const Bridging::Config::PtrConst& config) {
   if (vlanStatusSm_ && vlanStatusSm_->builtFrom(activity, mib, vlanStatusDir, config)) {
      return;
   }
   vlanStatusSm_ = nullptr;
   vlanStatusSm_ = Kel::make<VlanStatusSm>(activity, mib, vlanStatusDir, config);
}

void Agent::portSmDel() {
   portSm_ = nullptr;
}
void Agent::fidSmDel() {
   fidSm_ = nullptr;
}
void Agent::vlanConfigSmDel() {
   vlanConfigSm_ = nullptr;
}
void Agent::vlanStatusSmDel() {
   vlanStatusSm_ = nullptr;
}

void Agent::doShutdown() {
   portSmDel();
   fidSmDel();
   vlanConfigSmDel();
   vlanStatusSmDel();
   portIdDelAll();
   if (current().get() == this) {
      // Dropping the last reference from inside our own destructor would run it twice;
      // release without it when we are already going.
      if (references() == 0) {
         current().release();
      } else {
         current() = nullptr;
      }
      BridgeSnmp::currentPortIdMapIs(nullptr);
   }
}

}  // namespace BridgeSnmpAgent
