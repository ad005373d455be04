// Applying a checked topology to the simulated switch.

#include <string>

#include "platform/sim/Topology.h"

namespace Sim {
namespace {

// Runs one switch command; a refusal becomes a TopologyError naming what was refused.
template <class F>
void command(const Topology& topology, const std::string& what, F&& run) {
   try {
      run();
   } catch (const CommandError& e) {
      throw TopologyError(topology.name + ": not applied: the switch refused " + what + ": " +
                          e.what());
   }
}

}  // namespace

void applyTopology(Switch& sw, const Topology& topology) {
   if (!sw.ports().empty()) {
      throw TopologyError(topology.name + ": not applied: the switch already has ports");
   }
   // The order follows the references: VLANs before the switchports that carry them,
   // switchports before the hosts learned on them.
   if (topology.bridgeMacAddr) {
      command(topology, "bridge MAC " + topology.bridgeMacAddr->stringValue(),
              [&] { sw.bridgeMacAddrIs(*topology.bridgeMacAddr); });
   }
   if (topology.hostAgingTime) {
      command(topology, "aging time " + std::to_string(*topology.hostAgingTime),
              [&] { sw.hostAgingTimeIs(*topology.hostAgingTime); });
   }
   for (const PortSpec& port : topology.ports) {
      command(topology, "port " + port.name.stringValue().stdString(), [&] { sw.newPort(port); });
   }
   for (const VlanSpec& vlan : topology.vlans) {
      command(topology, "VLAN " + std::to_string(vlan.id.value()), [&] { sw.vlanIs(vlan); });
   }
   for (const SwitchportEntry& entry : topology.switchports) {
      command(topology, "the switchport of " + entry.intf.stringValue().stdString(),
              [&] { sw.switchportIs(entry.intf, entry.settings); });
   }
   for (const StaticHostSpec& host : topology.staticHosts) {
      command(topology,
              "static MAC " + host.address.stringValue() + " in VLAN " +
                  std::to_string(host.vlan.value()),
              [&] { sw.staticHostIs(host.vlan, host.address, host.intf); });
   }
   for (const LearnedHostSpec& host : topology.learnedHosts) {
      command(topology,
              "learned MAC " + host.address.stringValue() + " in VLAN " +
                  std::to_string(host.vlan.value()),
              [&] { sw.learn(host.vlan, host.address, host.intf, host.type); });
   }
}

}  // namespace Sim
