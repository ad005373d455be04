#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/sim/Switch.h"

namespace Sim {

// A topology file refused; what() is one line naming the file, the line and the problem:
// "lab.yaml:12: VLAN 5000 is outside 1-4094".
class TopologyError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

struct StaticHostSpec {
   Bridging::VlanId vlan{1};
   Velnet::EthAddr address;
   Velnet::IntfId intf;
};

struct LearnedHostSpec {
   Bridging::VlanId vlan{1};
   Velnet::EthAddr address;
   Velnet::IntfId intf;
   Bridging::FdbEntryType type = Bridging::FdbEntryType::learnedDynamic;
};

struct SwitchportEntry {
   Velnet::IntfId intf;
   SwitchportSpec settings;
};

// Everything a topology file describes, checked as a whole.
struct Topology {
   std::string name;  // the file it came from, for messages
   std::optional<Velnet::EthAddr> bridgeMacAddr;
   std::optional<double> hostAgingTime;
   std::vector<PortSpec> ports;
   std::vector<VlanSpec> vlans;
   std::vector<SwitchportEntry> switchports;
   std::vector<StaticHostSpec> staticHosts;
   std::vector<LearnedHostSpec> learnedHosts;
};

// Reads and checks a topology file; raises TopologyError on the first problem.
Topology loadTopology(const std::string& path);
// Reads and checks topology text; `name` stands for the file in error messages.
Topology parseTopology(const std::string& text, const std::string& name);
// Applies a checked topology to a switch that has no ports yet. Raises TopologyError (and
// the switch must then be discarded) only if the switch refuses something the checks let
// through.
void applyTopology(Switch& sw, const Topology& topology);

}  // namespace Sim
