// Topology files: what the parser reads, the one-line errors it refuses a file with (the file,
// the line, the problem), and applying a topology to a switch.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/kel/ActivityManager.h"
#include "platform/kel/Time.h"
#include "platform/sim/Topology.h"
#include "tests/support/Errors.h"

namespace {

using Bridging::AdminState;
using Bridging::VlanId;
using Velnet::EthAddr;
using Lines = std::vector<std::string>;

// Ports, VLANs and switchports the host cases build on (lines 1 to 12).
const Lines fabric = {
    "ports:",
    "  - {range: Ethernet1-4, port_id: 1, if_index: 101}",
    "  - {name: Ethernet5, port_id: 5, if_index: 105, link: down}",
    "vlans:",
    "  - {id: 1}",
    "  - {id: 10, name: ten}",
    "  - {id: 50, admin_state: suspended}",
    "switchports:",
    "  - {interface: Ethernet2, mode: access, access_vlan: 10}",
    "  - {interface: Ethernet3, mode: trunk, native_vlan: none, allowed_vlans: '10-20,50'}",
    "  - {interface: Ethernet4, mode: routed}",
    "  - {interface: Ethernet5, mode: access, access_vlan: 10}",
};

// Topology text from lines, so that a case can name the line a problem is on (line 1 is the
// first); with the fabric first, the lines given start at line 13.
std::string lines(const Lines& text, bool onFabric = false) {
   std::string out;
   for (const Lines& part : {onFabric ? fabric : Lines{}, text}) {
      for (const auto& line : part) {
         out += line + '\n';
      }
   }
   return out;
}

// The one-line error the text is refused with, or "accepted".
std::string errorOf(const std::string& text) {
   return TestSupport::errorOf<Sim::TopologyError>([&] { Sim::parseTopology(text, "t.yaml"); },
                                                   "accepted");
}

EthAddr mac(const char* text) {
   return *EthAddr::parse(text);
}

TEST(TopologyErrors, StructureAndPorts) {
   const std::vector<std::pair<Lines, std::string>> cases = {
       {{"- ports"},
        "t.yaml:1: the top level must be a mapping of sections (bridge, ports, vlans, "
        "switchports, static_macs, learned_macs)"},
       {{"bridge: {}", "port: []"},
        "t.yaml:2: unknown key 'port' in the top level (expected bridge, ports, vlans, "
        "switchports, static_macs, learned_macs)"},
       {{"ports:", "  - {nmae: Ethernet1}"},
        "t.yaml:2: unknown key 'nmae' in a port (expected name, range, port_id, if_index, link, "
        "admin, description)"},
       {{"vlans:", "  - id: 1", "    id: 2"}, "t.yaml:3: duplicate key 'id' in a VLAN"},
       {{"vlans: {id: 1}"}, "t.yaml:1: 'vlans' must be a sequence, not a mapping"},
       {{"ports:", "  - Ethernet1"},
        "t.yaml:2: each entry of 'ports' must be a mapping, not 'Ethernet1'"},
       {{"vlans:", "  - {name: x}"}, "t.yaml:2: a VLAN needs 'id'"},
       {{"ports:", "  - {name: Ethernet1, range: Ethernet1-2}"},
        "t.yaml:2: a port takes 'name' or 'range', not both"},
       {{"ports:", "  - {name: Ethernet1}", "  - {range: Ethernet1-2}"},
        "t.yaml:3: port Ethernet1 is already defined at line 2"},
       {{"ports:", "  - {range: Ethernet1-4, port_id: 1}", "  - {name: Ethernet9, port_id: 3}"},
        "t.yaml:3: port id 3 of Ethernet9 is already used by Ethernet3"},
       {{"ports:", "  - {range: Ethernet1-4, if_index: 1}",
         "  - {range: Ethernet5-6, if_index: 4}"},
        "t.yaml:3: ifIndex 4 of Ethernet5 is already used by Ethernet4"},
       {{"ports:", "  - {range: Ethernet48-1}"}, "t.yaml:2: range Ethernet48-1 runs backwards"},
       {{"ports:", "  - {range: Ethernet}"},
        "t.yaml:2: 'range' must be a numbered run of interfaces like Ethernet1-48, not "
        "'Ethernet'"},
       {{"ports:", "  - {range: Ethernet01-04}"},
        "t.yaml:2: range Ethernet01-04: numbers must not have leading zeros"},
       {{"ports:", "  - {range: Ethernet1-10, port_id: 65530}"},
        "t.yaml:2: the port ids of Ethernet1-10 from 65530 run past 65535"},
       {{"ports:", "  - {name: Ethernet1, admin: off}"},
        "t.yaml:2: 'admin' must be up or down, not 'off'"},
       {{"ports:", "  - {name: Ethernet1, description: " + std::string(65, 'x') + "}"},
        "t.yaml:2: a description is at most 64 octets, not 65"},
   };
   for (const auto& [text, error] : cases) {
      EXPECT_EQ(errorOf(lines(text)), error) << lines(text);
   }
}

// One learned host on an interface in a VLAN, and why it cannot be there ("" if it can).
TEST(TopologyErrors, LearnedHostOnAPortThatIsNotAnActiveMember) {
   const std::vector<std::tuple<const char*, const char*, std::string>> cases = {
       {"10", "Ethernet5", "the link of Ethernet5 is down"},
       {"50", "Ethernet3", "VLAN 50 is suspended"},
       {"1", "Ethernet4", "Ethernet4 is in mode routed, which carries no VLAN"},
       {"1", "Ethernet2", "Ethernet2 is an access port of VLAN 10"},
       {"1", "Ethernet3", "the trunk Ethernet3 does not allow VLAN 1"},
       {"10", "Ethernet3", ""},
       {"1", "Ethernet1", ""},
   };
   for (const auto& [vlan, intf, reason] : cases) {
      const std::string host =
          std::string("  - {vlan: ") + vlan + ", mac: 02:00:00:00:00:01, interface: " + intf + "}";
      EXPECT_EQ(errorOf(lines({"learned_macs:", host}, true)),
                reason.empty()
                    ? "accepted"
                    : "t.yaml:14: learned MAC 02:00:00:00:00:01 cannot be on " + std::string(intf) +
                          ": " + intf + " is not an active member of VLAN " + vlan + " (" + reason +
                          ")");
   }
}

TEST(TopologyErrors, LearnedRunsAndDuplicates) {
   const std::string host7 = "mac: 02:00:00:00:00:07, interface: ";
   const std::vector<std::pair<Lines, std::string>> cases = {
       // Every interface of a run must be a member.
       {{"  - {vlan: 10, range: Ethernet2-5, base: 02:00:00:00:00:01, count: 2}"}, "accepted"},
       {{"  - {vlan: 10, range: Ethernet2-5, base: 02:00:00:00:00:01, count: 4}"},
        "t.yaml:14: learned MAC 02:00:00:00:00:03 cannot be on Ethernet4: Ethernet4 is not an "
        "active member of VLAN 10 (Ethernet4 is in mode routed, which carries no VLAN)"},
       {{"  - {vlan: 10, interface: Ethernet2, base: 02:ff:ff:ff:ff:fe,", "     count: 3}"},
        "t.yaml:15: the run of 3 MACs from 02:ff:ff:ff:ff:fe reaches the multicast address "
        "03:00:00:00:00:00"},
       {{"  - {vlan: 10, interface: Ethernet2, base: 02:00:00:00:00:01, count: 0}"},
        "t.yaml:14: 'count' must be at least 1"},
       {{"  - {vlan: 10, interface: Ethernet2, base: 02:00:00:00:00:01}"},
        "t.yaml:14: a learned MAC needs 'count'"},
       {{"  - {vlan: 10, interface: Ethernet2}"},
        "t.yaml:14: a learned MAC needs 'mac' (one host) or 'base' and 'count' (a run)"},
       {{"  - {vlan: 10, range: Ethernet2-3, mac: 02:00:00:00:00:01}"},
        "t.yaml:14: one learned MAC takes 'interface', not 'range'"},
       {{"  - {vlan: 10, mac: 02:00:00:00:00:01, interface: Ethernet2, type: sticky}"},
        "t.yaml:14: 'type' must be one of learnedDynamic, learnedRemote, configuredStatic, "
        "peerStatic, router, management, not 'sticky'"},
       {{"  - {vlan: 10, range: Ethernet2-3, base: 02:00:00:00:00:01, count: 10}",
         "  - {vlan: 10, " + host7 + "Ethernet3}"},
        "t.yaml:15: learned MAC 02:00:00:00:00:07 in VLAN 10 is already a learned MAC at line 14"},
       // The same address in another VLAN is another host.
       {{"  - {vlan: 10, " + host7 + "Ethernet2}", "  - {vlan: 1, " + host7 + "Ethernet1}"},
        "accepted"},
   };
   for (const auto& [hosts, error] : cases) {
      std::string text = lines({"learned_macs:"}, true) + lines(hosts);
      EXPECT_EQ(errorOf(text), error) << text;
   }
   EXPECT_EQ(
       errorOf(lines({"static_macs:", "  - {vlan: 10, " + host7 + "Ethernet4}",
                      "learned_macs:", "  - {vlan: 10, " + host7 + "Ethernet2}"},
                     true)),
       "t.yaml:16: learned MAC 02:00:00:00:00:07 in VLAN 10 is already a static MAC at line 14");
}

TEST(TopologyErrors, FileNameAndLineOfALoadedFile) {
   const std::string path = std::filesystem::temp_directory_path() /
                            ("bridgesnmp-topology-" + std::to_string(::getpid()) + ".yaml");
   std::ofstream(path) << lines({"# a typo on line 3", "vlans:", "  - {id: 10, hiden: true}"});
   EXPECT_EQ(TestSupport::errorOf<Sim::TopologyError>([&] { Sim::loadTopology(path); }),
             path +
                 ":3: unknown key 'hiden' in a VLAN (expected id, name, internal, hidden, "
                 "admin_state, selection_word)");
   std::filesystem::remove(path);
}

class TopologyApply : public ::testing::Test {
 protected:
   std::string applyError(const Sim::Topology& topology) {
      return TestSupport::errorOf<Sim::TopologyError>([&] { Sim::applyTopology(sw, topology); });
   }

   Kel::ScopedFakeTime time{1000.0};
   Kel::ActivityManager manager;
   Sim::Switch sw{manager};
};

// Built by hand, past the file's checks: a host on a port that is not in its VLAN; and a
// topology for a switch that already has ports.
TEST_F(TopologyApply, RefusedCommandsAndASwitchWithPortsAreTopologyErrors) {
   Sim::Topology t;
   t.name = "hand-made.yaml";
   t.ports.push_back(Sim::PortSpec{Velnet::IntfId("Ethernet1"), 1, 1, true});
   t.vlans.push_back(Sim::VlanSpec{VlanId(1), "default", false, false, AdminState::active, 0});
   t.vlans.push_back(Sim::VlanSpec{VlanId(10), "ten", false, false, AdminState::active, 0});
   t.learnedHosts.push_back(Sim::LearnedHostSpec{VlanId(10), mac("02:00:00:00:00:01"),
                                                 Velnet::IntfId("Ethernet1"),
                                                 Bridging::FdbEntryType::learnedDynamic});
   EXPECT_EQ(applyError(t),
             "hand-made.yaml: not applied: the switch refused learned MAC 02:00:00:00:00:01 in "
             "VLAN 10: Ethernet1 is not an active member of VLAN 10");

   Kel::ActivityManager other;
   Sim::Switch withPorts(other);
   withPorts.newPort(Sim::PortSpec{Velnet::IntfId("Ethernet1"), 1, 1, true});
   EXPECT_EQ(TestSupport::errorOf<Sim::TopologyError>([&] {
                Sim::applyTopology(withPorts,
                                   Sim::parseTopology("ports: [{name: Ethernet2}]\n", "t.yaml"));
             }),
             "t.yaml: not applied: the switch already has ports");
   EXPECT_FALSE(withPorts.hasPort(Velnet::IntfId("Ethernet2")));
}

}  // namespace
