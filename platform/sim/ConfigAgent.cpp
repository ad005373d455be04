#include "platform/sim/ConfigAgent.h"

#include <memory>
#include <string>

#include "platform/bridging/SwitchportWatch.h"
#include "platform/kel/Exception.h"
#include "platform/kel/Trace.h"

namespace Sim {
namespace {

Kel::TraceHandle simTrace("SimSwitch");

}  // namespace

class ConfigAgent::VlanReactor : public Bridging::Input::VlanConfig::NotifieeConst {
 public:
   VlanReactor(ConfigAgent& agent, const Bridging::Input::VlanConfig::PtrConst& vlan)
       : agent_(agent), id_(vlan->vlanId()) {
      notifierIs(vlan);
   }
   void onConfiguredName() override { agent_.vlanChanged(id_); }
   void onAdminState() override { agent_.vlanChanged(id_); }
   void onInternal() override { agent_.vlanChanged(id_); }
   void onHidden() override { agent_.vlanChanged(id_); }
   void onSelectionWord() override { agent_.vlanChanged(id_); }

 private:
   ConfigAgent& agent_;
   Bridging::VlanId id_;
};

// Watches the input configuration's collections and keeps one reactor per element.
class ConfigAgent::InputReactor : public Bridging::Input::Config::NotifieeConst {
 public:
   explicit InputReactor(ConfigAgent& agent) : agent_(agent) { notifierIs(agent.state_.input); }

   void onVlanConfigkelImmediate() override {
      for (auto it = notifier()->vlanConfigIteratorConst(); it; ++it) {
         onVlanConfig(it.key());
      }
   }
   void onVlanConfig(const Bridging::VlanId& id) override {
      if (const auto vlan = notifier()->vlanConfig(id)) {
         auto& reactor = vlans_[id];
         if (!reactor || reactor->notifier() != vlan) {
            reactor = std::make_unique<VlanReactor>(agent_, vlan);
         }
      } else {
         vlans_.erase(id);
      }
      agent_.vlanChanged(id);
   }

   void onSwitchIntfConfigkelImmediate() override {
      for (auto it = notifier()->switchIntfConfigIteratorConst(); it; ++it) {
         onSwitchIntfConfig(it.key());
      }
   }
   void onSwitchIntfConfig(const Velnet::IntfId& intf) override {
      if (const auto sic = notifier()->switchIntfConfig(intf)) {
         auto& reactor = intfs_[intf];
         if (!reactor || reactor->notifier() != sic) {
            reactor = std::make_unique<Bridging::Input::SwitchportWatch>(
                sic, [agent = &agent_](const Velnet::IntfId& port) { agent->intfChanged(port); });
         }
      } else {
         intfs_.erase(intf);
      }
      agent_.intfChanged(intf);
   }

 private:
   ConfigAgent& agent_;
   std::map<Bridging::VlanId, std::unique_ptr<VlanReactor>> vlans_;
   std::map<Velnet::IntfId, std::unique_ptr<Bridging::Input::SwitchportWatch>> intfs_;
};

ConfigAgent::ConfigAgent(SwitchState& state, Kel::ActivityManager& manager, StatusAgent& status,
                         LearningAgent& learning)
    : state_(state), status_(status), learning_(learning) {
   notifierIs(manager.clock());
   input_ = std::make_unique<InputReactor>(*this);
}

ConfigAgent::~ConfigAgent() {
   input_.reset();
   notifierIs(nullptr);
}

void ConfigAgent::vlanChanged(Bridging::VlanId vlan) {
   pendingVlans_.insert(vlan);
   timeMinIs(Kel::timeAsap);
}

void ConfigAgent::intfChanged(const Velnet::IntfId& intf) {
   pendingIntfs_.insert(intf);
   timeMinIs(Kel::timeAsap);
}

void ConfigAgent::settle() {
   timeMinIs(Kel::timeNever);
   while (!pendingIntfs_.empty() || !pendingVlans_.empty()) {
      // Interfaces first: a VLAN applied afterwards sees their current allowed lists.
      const auto intfs = std::exchange(pendingIntfs_, {});
      for (const auto& intf : intfs) {
         applyIntf(intf);
      }
      const auto vlans = std::exchange(pendingVlans_, {});
      for (const auto vlan : vlans) {
         applyVlan(vlan);
      }
   }
}

std::optional<Bridging::VlanMember> ConfigAgent::membership(const Velnet::IntfId& intf,
                                                            Bridging::VlanId vlan) const {
   const auto sic = state_.input->switchIntfConfig(intf);
   if (!sic) {
      return std::nullopt;
   }
   switch (sic->switchportMode()) {
      case Bridging::SwitchportMode::access:
         if (sic->accessVlan() == vlan) {
            return Bridging::VlanMember{false};
         }
         return std::nullopt;
      case Bridging::SwitchportMode::trunk: {
         const auto allowed = allowed_.find(intf);
         if (allowed == allowed_.end() || !allowed->second.contains(vlan)) {
            return std::nullopt;
         }
         return Bridging::VlanMember{sic->trunkNativeVlan() != Bridging::VlanIdOrNone(vlan)};
      }
      default:
         return std::nullopt;
   }
}

void ConfigAgent::setMembership(const Velnet::IntfId& intf, Bridging::VlanId vlan,
                                std::set<Bridging::VlanId>& touched) {
   const auto config = state_.config->vlanConfig(vlan);
   if (!config) {
      return;
   }
   const auto wanted = membership(intf, vlan);
   const Bridging::VlanMember* current = config->intfCollection().find(intf);
   if (wanted && (!current || *current != *wanted)) {
      config->intfIs(intf, *wanted);
      touched.insert(vlan);
   } else if (!wanted && current) {
      config->intfDel(intf);
      touched.insert(vlan);
   }
}

std::optional<std::string> ConfigAgent::refusal(const Bridging::Input::SwitchIntfConfig& sic,
                                                SwixUtils::VlanIdSet& allowed) const {
   const auto reserved = [this](Bridging::VlanId vlan) {
      const auto config = state_.config->vlanConfig(vlan);
      return config && config->internal();
   };
   switch (sic.switchportMode()) {
      case Bridging::SwitchportMode::access:
         if (reserved(sic.accessVlan())) {
            return "access VLAN " + std::to_string(sic.accessVlan().value()) +
                   " is reserved for the switch";
         }
         return std::nullopt;
      case Bridging::SwitchportMode::trunk:
         try {
            Kel::Expect expect(Kel::ExceptionId::parse);
            SwixUtils::computeVlanSet(allowed, sic.trunkAllowedVlans().view());
         } catch (const Kel::Exception& e) {
            return std::string(e.what());
         }
         if (!sic.trunkNativeVlan().isNone() && reserved(sic.trunkNativeVlan().vlanId())) {
            return "native VLAN " + std::to_string(sic.trunkNativeVlan().value()) +
                   " is reserved for the switch";
         }
         return std::nullopt;
      default:
         return std::nullopt;
   }
}

void ConfigAgent::applyIntf(const Velnet::IntfId& intf) {
   std::set<Bridging::VlanId> touched;
   const auto sic = state_.input->switchIntfConfig(intf);
   if (!sic) {
      state_.config->switchIntfConfigDel(intf);
      allowed_.erase(intf);
   } else {
      SwixUtils::VlanIdSet allowed;
      if (const auto reason = refusal(*sic, allowed)) {
         // As a switch does: the input stays as written, the port as it was.
         KEL_TRACE(simTrace, 0, intf << ": switchport configuration not applied: " << *reason);
         return;
      }
      if (sic->switchportMode() == Bridging::SwitchportMode::trunk) {
         allowed_[intf] = allowed;
      } else {
         allowed_.erase(intf);
      }
      const auto config = state_.config->switchIntfConfigIs(intf);
      config->switchportModeIs(sic->switchportMode());
      switch (sic->switchportMode()) {
         case Bridging::SwitchportMode::access:
            config->nativeVlanIs(Bridging::VlanIdOrNone(sic->accessVlan()));
            break;
         case Bridging::SwitchportMode::trunk:
            config->nativeVlanIs(sic->trunkNativeVlan());
            break;
         default:
            config->nativeVlanIs(Bridging::VlanIdOrNone());
            break;
      }
   }
   for (auto it = state_.config->vlanConfigIteratorConst(); it; ++it) {
      setMembership(intf, it.key(), touched);
   }
   for (const auto vlan : touched) {
      status_.refreshVlan(vlan);
   }
}

void ConfigAgent::applyVlan(Bridging::VlanId vlan) {
   const auto input = state_.input->vlanConfig(vlan);
   const Bridging::Fid fid(vlan.value());
   if (!input) {
      if (state_.config->vlanConfig(vlan)) {
         state_.config->vlanConfigDel(vlan);
         status_.refreshVlan(vlan);
         learning_.fidDel(fid);
         state_.config->fdbConfigDel(fid);
      }
      return;
   }
   const auto config = state_.config->vlanConfigIs(vlan);
   config->configuredNameIs(input->configuredName());
   config->adminStateIs(input->adminState());
   config->internalIs(input->internal());
   // The switch's own VLANs are never shown.
   config->hiddenIs(input->hidden() || input->internal());
   config->selectionWordIs(input->selectionWord());
   learning_.fidIs(fid);
   std::set<Bridging::VlanId> touched;
   for (auto it = state_.input->switchIntfConfigIteratorConst(); it; ++it) {
      setMembership(it.key(), vlan, touched);
   }
   status_.refreshVlan(vlan);
}

}  // namespace Sim
