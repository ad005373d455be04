#include "platform/sim/Switch.h"

#include <algorithm>
#include <map>
#include <random>
#include <sstream>

#include "platform/bridging/VlanName.h"
#include "platform/kel/Exception.h"
#include "platform/kel/Time.h"
#include "platform/sim/Burst.h"
#include "platform/sim/ConfigAgent.h"
#include "platform/sim/LearningAgent.h"
#include "platform/sim/StatusAgent.h"
#include "platform/sim/SwitchState.h"
#include "platform/swix/VlanIdSet.h"

namespace Sim {

class Switch::Impl {
 public:
   explicit Impl(Kel::ActivityManager& manager)
       : learning(state, manager),
         status(state, learning),
         config(state, manager, status, learning),
         bursts(state, learning, manager) {}

   SwitchState state;
   LearningAgent learning;
   StatusAgent status;
   ConfigAgent config;
   PacedBursts bursts;
   std::map<Velnet::IntfId, PortSpec> ports;
   std::function<std::string()> statusReporter;

   void requirePort(const Velnet::IntfId& intf) const {
      if (ports.find(intf) == ports.end()) {
         throw CommandError("no interface " + intf.stringValue().stdString());
      }
   }
   Bridging::Input::VlanConfig::Ptr requireVlan(Bridging::VlanId vlan) const {
      auto input = state.input->vlanConfig(vlan);
      if (!input) {
         throw CommandError("no VLAN " + std::to_string(vlan.value()));
      }
      return input;
   }
   static void requireHostAddress(const Velnet::EthAddr& address) {
      if (address.isZero() || address.isMulticast()) {
         throw CommandError(address.stringValue() + " is not a unicast address");
      }
   }
   Bridging::HostKey learnedKey(Bridging::VlanId vlan, const Velnet::EthAddr& address) const {
      const Bridging::HostKey key(Bridging::Fid(vlan.value()), address);
      if (!learning.learned(key)) {
         throw CommandError(address.stringValue() + " is not learned in VLAN " +
                            std::to_string(vlan.value()));
      }
      return key;
   }
};

Switch::Switch(Kel::ActivityManager& manager) : impl_(std::make_unique<Impl>(manager)) {}

Switch::~Switch() = default;

const Bridging::PlatformEntities& Switch::entities() const {
   return impl_->state;
}

void Switch::bridgeMacAddrIs(const Velnet::EthAddr& address) {
   if (address.isMulticast()) {
      throw CommandError(address.stringValue() + " is not a unicast address");
   }
   impl_->state.config->bridgeMacAddrIs(address);
}

void Switch::hostAgingTimeIs(double seconds) {
   if (!(seconds >= 0.0) || seconds > 1e9) {
      throw CommandError("aging time must be 0 (never) or a positive number of seconds");
   }
   impl_->state.config->hostAgingTimeIs(seconds);
   impl_->learning.agingTimeChanged();
}

namespace {

// A port's own MAC address: locally administered, numbered by its ifIndex, so that every
// port of the switch has a distinct one.
Velnet::EthAddr portAddress(std::int32_t ifIndex) {
   constexpr std::uint64_t locallyAdministered = 0x020000000000ull;
   return Velnet::EthAddr::fromU64(locallyAdministered | static_cast<std::uint32_t>(ifIndex));
}

// Publishes whether the port runs: its statuses, its speed, and when it last changed.
void publishRunning(Interface::EthIntfStatus& status, const PortSpec& port) {
   const bool running = port.linkUp && port.adminUp;
   const auto operStatus = running ? Interface::OperStatus::up : Interface::OperStatus::down;
   if (status.operStatus() != operStatus || status.lastChange() == 0.0) {
      status.lastChangeIs(Kel::now());
   }
   status.adminStatusIs(port.adminUp ? Interface::AdminStatus::up : Interface::AdminStatus::down);
   status.operStatusIs(operStatus);
   status.speedMbpsIs(running ? 10000 : 0);
}

}  // namespace

void Switch::newPort(const PortSpec& port) {
   if (port.name.empty()) {
      throw CommandError("a port needs a name");
   }
   if (port.description.size() > maxPortDescription) {
      throw CommandError("a port description is at most " + std::to_string(maxPortDescription) +
                         " octets");
   }
   if (impl_->ports.count(port.name)) {
      throw CommandError("interface " + port.name.stringValue().stdString() + " exists already");
   }
   for (const auto& [name, other] : impl_->ports) {
      if (port.portId != 0 && other.portId == port.portId) {
         throw CommandError("port id " + std::to_string(port.portId) + " is taken by " +
                            name.stringValue().stdString());
      }
      if (port.ifIndex != 0 && other.ifIndex == port.ifIndex) {
         throw CommandError("ifIndex " + std::to_string(port.ifIndex) + " is taken by " +
                            name.stringValue().stdString());
      }
   }
   impl_->ports[port.name] = port;
   // Published complete, so that observers see the interface with its port id at once.
   auto status = Kel::make<Interface::EthIntfStatus>(port.name);
   status->ifIndexIs(port.ifIndex);
   status->portIdIs(Interface::EthPortId(port.portId));
   status->macAddrIs(portAddress(port.ifIndex));
   status->descriptionIs(port.description);
   publishRunning(*status, port);
   impl_->state.intfStatusDir->intfStatusIs(port.name, status);
   // Like a real switch, a new port is a switchport in VLAN 1 until configured otherwise.
   impl_->state.input->switchIntfConfigIs(port.name);
   impl_->config.settle();
}

void Switch::linkIs(const Velnet::IntfId& intf, bool up) {
   impl_->requirePort(intf);
   impl_->ports[intf].linkUp = up;
   portStateChanged(intf);
}

void Switch::adminIs(const Velnet::IntfId& intf, bool up) {
   impl_->requirePort(intf);
   impl_->ports[intf].adminUp = up;
   portStateChanged(intf);
}

void Switch::portStateChanged(const Velnet::IntfId& intf) {
   const PortSpec& port = impl_->ports[intf];
   publishRunning(*impl_->state.intfStatusDir->intfStatus(intf), port);
   impl_->status.refreshIntf(intf);
   if (!port.linkUp || !port.adminUp) {
      impl_->learning.flush(std::nullopt, intf);  // hosts behind a port not running are gone
   }
}

bool Switch::hasPort(const Velnet::IntfId& intf) const {
   return impl_->ports.count(intf) != 0;
}

std::vector<PortSpec> Switch::ports() const {
   std::vector<PortSpec> out;
   for (const auto& [name, port] : impl_->ports) {
      out.push_back(port);
   }
   std::sort(out.begin(), out.end(), [](const PortSpec& a, const PortSpec& b) {
      return a.portId != b.portId ? a.portId < b.portId : a.name < b.name;
   });
   return out;
}

namespace {

// A name the switch cannot take is refused before anything changes.
void requireVlanName(const std::string& name) {
   if (const auto problem = Bridging::vlanNameProblem(name)) {
      throw CommandError(*problem);
   }
}

}  // namespace

void Switch::vlanIs(const VlanSpec& vlan) {
   requireVlanName(vlan.name);
   const auto input = impl_->state.input->vlanConfigIs(vlan.id);
   input->configuredNameIs(Kel::String8(vlan.name));
   input->internalIs(vlan.internal);
   input->hiddenIs(vlan.hidden);
   input->adminStateIs(vlan.adminState);
   input->selectionWordIs(vlan.selectionWord);
   impl_->config.settle();
}

void Switch::vlanDel(Bridging::VlanId id) {
   impl_->requireVlan(id);
   impl_->state.input->vlanConfigDel(id);
   impl_->config.settle();
}

void Switch::vlanInternalIs(Bridging::VlanId id, bool internal) {
   impl_->requireVlan(id)->internalIs(internal);
   impl_->config.settle();
}

void Switch::vlanHiddenIs(Bridging::VlanId id, bool hidden) {
   impl_->requireVlan(id)->hiddenIs(hidden);
   impl_->config.settle();
}

void Switch::vlanAdminStateIs(Bridging::VlanId id, Bridging::AdminState state) {
   impl_->requireVlan(id)->adminStateIs(state);
   impl_->config.settle();
}

void Switch::vlanNameIs(Bridging::VlanId id, const std::string& name) {
   requireVlanName(name);
   impl_->requireVlan(id)->configuredNameIs(Kel::String8(name));
   impl_->config.settle();
}

void Switch::switchportIs(const Velnet::IntfId& intf, const SwitchportSpec& settings) {
   impl_->requirePort(intf);
   if (settings.mode == Bridging::SwitchportMode::trunk) {
      SwixUtils::VlanIdSet allowed;
      try {
         Kel::Expect expect(Kel::ExceptionId::parse);
         SwixUtils::computeVlanSet(allowed, settings.allowedVlans);
      } catch (const Kel::Exception& e) {
         throw CommandError(e.what());
      }
   }
   const auto input = impl_->state.input->switchIntfConfigIs(intf);
   input->switchportModeIs(settings.mode);
   input->accessVlanIs(settings.accessVlan);
   input->trunkNativeVlanIs(settings.nativeVlan);
   input->trunkAllowedVlansIs(Kel::String8(settings.allowedVlans));
   impl_->config.settle();
}

void Switch::staticHostIs(Bridging::VlanId vlan, const Velnet::EthAddr& address,
                          const Velnet::IntfId& intf) {
   impl_->requirePort(intf);
   Impl::requireHostAddress(address);
   impl_->config.settle();
   if (!impl_->state.config->vlanConfig(vlan)) {
      throw CommandError("no VLAN " + std::to_string(vlan.value()));
   }
   const Bridging::Fid fid(vlan.value());
   // A static entry replaces what was learned for the address.
   impl_->learning.age(Bridging::HostKey(fid, address));
   impl_->state.config->fdbConfigIs(fid)->configuredHostIs(address, Bridging::ConfiguredHost{intf});
}

void Switch::staticHostDel(Bridging::VlanId vlan, const Velnet::EthAddr& address) {
   const Bridging::Fid fid(vlan.value());
   const auto fdb = impl_->state.config->fdbConfig(fid);
   if (!fdb || !fdb->configuredHostCollection().find(address)) {
      throw CommandError(address.stringValue() + " is not a static address in VLAN " +
                         std::to_string(vlan.value()));
   }
   fdb->configuredHostDel(address);
   if (fdb->configuredHosts() == 0) {
      impl_->state.config->fdbConfigDel(fid);
   }
}

LearnOutcome Switch::learn(Bridging::VlanId vlan, const Velnet::EthAddr& address,
                           const Velnet::IntfId& intf, Bridging::FdbEntryType type) {
   impl_->requirePort(intf);
   Impl::requireHostAddress(address);
   impl_->config.settle();
   if (!impl_->state.config->vlanConfig(vlan)) {
      throw CommandError("no VLAN " + std::to_string(vlan.value()));
   }
   if (!impl_->state.activeMember(vlan, intf)) {
      throw CommandError(intf.stringValue().stdString() + " is not an active member of VLAN " +
                         std::to_string(vlan.value()));
   }
   const Bridging::Fid fid(vlan.value());
   if (const auto fdb = impl_->state.config->fdbConfig(fid);
       fdb && fdb->configuredHostCollection().find(address)) {
      throw CommandError(address.stringValue() + " is a static address in VLAN " +
                         std::to_string(vlan.value()));
   }
   switch (impl_->learning.learn(Bridging::HostKey(fid, address), intf, type)) {
      case LearningAgent::Outcome::learned:
         return LearnOutcome::learned;
      case LearningAgent::Outcome::refreshed:
         return LearnOutcome::refreshed;
      case LearningAgent::Outcome::moved:
         return LearnOutcome::moved;
   }
   return LearnOutcome::learned;
}

void Switch::move(Bridging::VlanId vlan, const Velnet::EthAddr& address,
                  const Velnet::IntfId& intf) {
   const auto key = impl_->learnedKey(vlan, address);
   const auto* host = impl_->state.status->fdbStatus(key.fid())->learnedHostRecord(address);
   if (host->intf == intf) {
      throw CommandError(address.stringValue() + " is already on " +
                         intf.stringValue().stdString());
   }
   learn(vlan, address, intf, host->entryType);
}

void Switch::age(Bridging::VlanId vlan, const Velnet::EthAddr& address) {
   impl_->learning.age(impl_->learnedKey(vlan, address));
}

std::size_t Switch::flush(std::optional<Bridging::VlanId> vlan,
                          std::optional<Velnet::IntfId> intf) {
   if (intf) {
      impl_->requirePort(*intf);
   }
   if (vlan && !impl_->state.config->vlanConfig(*vlan)) {
      throw CommandError("no VLAN " + std::to_string(vlan->value()));
   }
   std::optional<Bridging::Fid> fid;
   if (vlan) {
      fid = Bridging::Fid(vlan->value());
   }
   return impl_->learning.flush(fid, intf);
}

Burst Switch::newBurst(std::size_t count, std::size_t portCount, std::uint64_t seed) {
   impl_->config.settle();
   std::vector<Velnet::IntfId> names;
   for (const PortSpec& port : ports()) {
      names.push_back(port.name);
   }
   auto candidates = Burst::candidates(impl_->state, names, portCount);
   if (count > 0 && candidates.empty()) {
      throw CommandError("no port carries an active VLAN");
   }
   return Burst(std::move(candidates), count, seed);
}

std::size_t Switch::burst(std::size_t count, std::size_t portCount, std::uint64_t seed) {
   Burst b = newBurst(count, portCount, seed);
   std::size_t learned = 0;
   while (!b.done()) {
      learned += b.learnNext(impl_->state, impl_->learning) ? 1 : 0;
   }
   return learned;
}

void Switch::burstPaced(std::size_t count, std::size_t portCount, std::uint64_t seed) {
   impl_->bursts.add(newBurst(count, portCount, seed));
}

std::size_t Switch::burstsPending() const {
   return impl_->bursts.pending();
}

std::size_t Switch::learnedHosts() const {
   return impl_->learning.learnedHosts();
}

void Switch::statusReporterIs(std::function<std::string()> reporter) {
   impl_->statusReporter = std::move(reporter);
}

std::string Switch::agentStatus() const {
   if (!impl_->statusReporter) {
      throw CommandError("no agent serves this switch");
   }
   return impl_->statusReporter();
}

}  // namespace Sim
