#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "platform/kel/ActivityManager.h"
#include "platform/kel/Time.h"
#include "platform/sim/Topology.h"

namespace {

using Bridging::AdminState;
using Bridging::FdbEntryType;
using Bridging::SwitchportMode;
using Bridging::VlanId;
using Velnet::EthAddr;

// Topology text from lines, so that a test can name the line a problem is on (line 1 is
// the first).
std::string lines(std::initializer_list<std::string> text) {
   std::string out;
   for (const auto& l : text) {
      out += l;
      out += '\n';
   }
   return out;
}

// The one-line error the text is refused with, or "accepted".
std::string errorOf(const std::string& text) {
   try {
      Sim::parseTopology(text, "t.yaml");
   } catch (const Sim::TopologyError& e) {
      return e.what();
   }
   return "accepted";
}

EthAddr mac(const char* text) {
   return *EthAddr::parse(text);
}

std::filesystem::path labFile() {
   return std::filesystem::path(BRIDGESNMP_SOURCE_DIR) / "examples/lab-switch.yaml";
}

// Ports, VLANs and switchports the host tests build on (lines 1 to 12).
const std::initializer_list<std::string> fabric = {
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

// The fabric followed by `more` (from line 13).
std::string withFabric(std::initializer_list<std::string> more) {
   std::string out = lines(fabric);
   for (const auto& l : more) {
      out += l;
      out += '\n';
   }
   return out;
}

// ---- Sections read back ----

TEST(TopologyParse, PortsOneByOneAndAsRuns) {
   const Sim::Topology t =
       Sim::parseTopology(lines({
                              "ports:",
                              "  - {range: Ethernet1-3, port_id: 10, if_index: 1001}",
                              "  - {name: Ethernet4, port_id: 4, link: down}",
                              "  - {range: Management1-2}",
                              "  - name: Port-Channel7",
                              "    if_index: 2007",
                          }),
                          "t.yaml");
   ASSERT_EQ(t.ports.size(), 7u);
   const std::vector<std::string> names = {"Ethernet1", "Ethernet2",   "Ethernet3",
                                           "Ethernet4", "Management1", "Management2"};
   for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(t.ports[i].name, Velnet::IntfId(names[i]));
      EXPECT_EQ(t.ports[i].portId, 10 + i);
      EXPECT_EQ(t.ports[i].ifIndex, static_cast<std::int32_t>(1001 + i));
      EXPECT_TRUE(t.ports[i].linkUp);
   }
   EXPECT_EQ(t.ports[3].name, Velnet::IntfId("Ethernet4"));
   EXPECT_EQ(t.ports[3].portId, 4);
   EXPECT_EQ(t.ports[3].ifIndex, 0);
   EXPECT_FALSE(t.ports[3].linkUp);
   // Port id and ifIndex 0 mean none, and may repeat.
   EXPECT_EQ(t.ports[4].name, Velnet::IntfId("Management1"));
   EXPECT_EQ(t.ports[4].portId, 0);
   EXPECT_EQ(t.ports[5].name, Velnet::IntfId("Management2"));
   EXPECT_EQ(t.ports[5].portId, 0);
   EXPECT_EQ(t.ports[5].ifIndex, 0);
   EXPECT_EQ(t.ports.back().name, Velnet::IntfId("Port-Channel7"));
   EXPECT_EQ(t.ports.back().ifIndex, 2007);
}

// ---- Refused files: one line, the file, the line, the problem ----

TEST(TopologyErrors, Structure) {
   EXPECT_EQ(errorOf("- ports\n"),
             "t.yaml:1: the top level must be a mapping of sections (bridge, ports, vlans, "
             "switchports, static_macs, learned_macs)");
   EXPECT_EQ(errorOf(lines({"bridge: {}", "port: []"})),
             "t.yaml:2: unknown key 'port' in the top level (expected bridge, ports, vlans, "
             "switchports, static_macs, learned_macs)");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {nmae: Ethernet1}"})),
             "t.yaml:2: unknown key 'nmae' in a port (expected name, range, port_id, if_index, "
             "link, admin, description)");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - id: 1", "    id: 2"})),
             "t.yaml:3: duplicate key 'id' in a VLAN");
   EXPECT_EQ(errorOf(lines({"vlans: {id: 1}"})),
             "t.yaml:1: 'vlans' must be a sequence, not a mapping");
   EXPECT_EQ(errorOf(lines({"ports:", "  - Ethernet1"})),
             "t.yaml:2: each entry of 'ports' must be a mapping, not 'Ethernet1'");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {name: x}"})), "t.yaml:2: a VLAN needs 'id'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: Ethernet1, range: Ethernet1-2}"})),
             "t.yaml:2: a port takes 'name' or 'range', not both");
}

TEST(TopologyErrors, Ports) {
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: Ethernet1}", "  - {range: Ethernet1-2}"})),
             "t.yaml:3: port Ethernet1 is already defined at line 2");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: Ethernet1-4, port_id: 1}",
                            "  - {name: Ethernet9, port_id: 3}"})),
             "t.yaml:3: port id 3 of Ethernet9 is already used by Ethernet3");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: Ethernet1-4, if_index: 1}",
                            "  - {range: Ethernet5-6, if_index: 4}"})),
             "t.yaml:3: ifIndex 4 of Ethernet5 is already used by Ethernet4");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: Ethernet48-1}"})),
             "t.yaml:2: range Ethernet48-1 runs backwards");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: Ethernet}"})),
             "t.yaml:2: 'range' must be a numbered run of interfaces like Ethernet1-48, not "
             "'Ethernet'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: Ethernet01-04}"})),
             "t.yaml:2: range Ethernet01-04: numbers must not have leading zeros");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: Ethernet1-10, port_id: 65530}"})),
             "t.yaml:2: the port ids of Ethernet1-10 from 65530 run past 65535");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: Ethernet1, admin: off}"})),
             "t.yaml:2: 'admin' must be up or down, not 'off'");
   EXPECT_EQ(errorOf(lines(
                 {"ports:", "  - {name: Ethernet1, description: " + std::string(65, 'x') + "}"})),
             "t.yaml:2: a description is at most 64 octets, not 65");
}

TEST(TopologyErrors, LearnedHostOnAPortThatIsNotAnActiveMember) {
   auto learnedOn = [](const char* vlan, const char* intf) {
      return errorOf(
          withFabric({"learned_macs:", std::string("  - {vlan: ") + vlan +
                                           ", mac: 02:00:00:00:00:01, interface: " + intf + "}"}));
   };
   EXPECT_EQ(learnedOn("10", "Ethernet5"),
             "t.yaml:14: learned MAC 02:00:00:00:00:01 cannot be on Ethernet5: Ethernet5 is not "
             "an active member of VLAN 10 (the link of Ethernet5 is down)");
   EXPECT_EQ(learnedOn("50", "Ethernet3"),
             "t.yaml:14: learned MAC 02:00:00:00:00:01 cannot be on Ethernet3: Ethernet3 is not "
             "an active member of VLAN 50 (VLAN 50 is suspended)");
   EXPECT_EQ(learnedOn("1", "Ethernet4"),
             "t.yaml:14: learned MAC 02:00:00:00:00:01 cannot be on Ethernet4: Ethernet4 is not "
             "an active member of VLAN 1 (Ethernet4 is in mode routed, which carries no VLAN)");
   EXPECT_EQ(learnedOn("1", "Ethernet2"),
             "t.yaml:14: learned MAC 02:00:00:00:00:01 cannot be on Ethernet2: Ethernet2 is not "
             "an active member of VLAN 1 (Ethernet2 is an access port of VLAN 10)");
   EXPECT_EQ(learnedOn("1", "Ethernet3"),
             "t.yaml:14: learned MAC 02:00:00:00:00:01 cannot be on Ethernet3: Ethernet3 is not "
             "an active member of VLAN 1 (the trunk Ethernet3 does not allow VLAN 1)");
   EXPECT_EQ(learnedOn("10", "Ethernet3"), "accepted");
   EXPECT_EQ(learnedOn("1", "Ethernet1"), "accepted");
   // Every interface of a run must be a member.
   EXPECT_EQ(errorOf(withFabric({"learned_macs:",
                                 "  - {vlan: 10, range: Ethernet2-5, base: 02:00:00:00:00:01, "
                                 "count: 2}"})),
             "accepted");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:",
                                 "  - {vlan: 10, range: Ethernet2-5, base: 02:00:00:00:00:01, "
                                 "count: 4}"})),
             "t.yaml:14: learned MAC 02:00:00:00:00:03 cannot be on Ethernet4: Ethernet4 is not "
             "an active member of VLAN 10 (Ethernet4 is in mode routed, which carries no VLAN)");
}

TEST(TopologyErrors, LearnedRunsAndDuplicates) {
   EXPECT_EQ(errorOf(withFabric(
                 {"learned_macs:", "  - {vlan: 10, interface: Ethernet2, base: 02:ff:ff:ff:ff:fe,",
                  "     count: 3}"})),
             "t.yaml:15: the run of 3 MACs from 02:ff:ff:ff:ff:fe reaches the multicast address "
             "03:00:00:00:00:00");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:",
                                 "  - {vlan: 10, interface: Ethernet2, base: 02:00:00:00:00:01, "
                                 "count: 0}"})),
             "t.yaml:14: 'count' must be at least 1");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:",
                                 "  - {vlan: 10, interface: Ethernet2, base: 02:00:00:00:00:01}"})),
             "t.yaml:14: a learned MAC needs 'count'");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:", "  - {vlan: 10, interface: Ethernet2}"})),
             "t.yaml:14: a learned MAC needs 'mac' (one host) or 'base' and 'count' (a run)");
   EXPECT_EQ(errorOf(withFabric(
                 {"learned_macs:", "  - {vlan: 10, range: Ethernet2-3, mac: 02:00:00:00:00:01}"})),
             "t.yaml:14: one learned MAC takes 'interface', not 'range'");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:",
                                 "  - {vlan: 10, mac: 02:00:00:00:00:01, interface: Ethernet2, "
                                 "type: sticky}"})),
             "t.yaml:14: 'type' must be one of learnedDynamic, learnedRemote, configuredStatic, "
             "peerStatic, router, management, not 'sticky'");
   EXPECT_EQ(errorOf(withFabric({
                 "learned_macs:",
                 "  - {vlan: 10, range: Ethernet2-3, base: 02:00:00:00:00:01, count: 10}",
                 "  - {vlan: 10, mac: 02:00:00:00:00:07, interface: Ethernet3}",
             })),
             "t.yaml:15: learned MAC 02:00:00:00:00:07 in VLAN 10 is already a learned MAC at "
             "line 14");
   EXPECT_EQ(errorOf(withFabric({
                 "static_macs:",
                 "  - {vlan: 10, mac: 02:00:00:00:00:07, interface: Ethernet4}",
                 "learned_macs:",
                 "  - {vlan: 10, mac: 02:00:00:00:00:07, interface: Ethernet2}",
             })),
             "t.yaml:16: learned MAC 02:00:00:00:00:07 in VLAN 10 is already a static MAC at "
             "line 14");
   // The same address in another VLAN is another host.
   EXPECT_EQ(errorOf(withFabric({
                 "learned_macs:",
                 "  - {vlan: 10, mac: 02:00:00:00:00:07, interface: Ethernet2}",
                 "  - {vlan: 1, mac: 02:00:00:00:00:07, interface: Ethernet1}",
             })),
             "accepted");
}

TEST(TopologyErrors, FileNameAndLineOfALoadedFile) {
   const std::filesystem::path path =
       std::filesystem::temp_directory_path() /
       ("bridgesnmp-topology-" + std::to_string(::getpid()) + ".yaml");
   {
      std::ofstream out(path);
      out << lines({"# a typo on line 3", "vlans:", "  - {id: 10, hiden: true}"});
   }
   try {
      Sim::loadTopology(path.string());
      ADD_FAILURE() << "a bad file loaded";
   } catch (const Sim::TopologyError& e) {
      EXPECT_EQ(std::string(e.what()),
                path.string() +
                    ":3: unknown key 'hiden' in a VLAN (expected id, name, internal, hidden, "
                    "admin_state, selection_word)");
   }
   std::filesystem::remove(path);
}

// ---- Applying ----

class TopologyApply : public ::testing::Test {
 protected:
   Kel::ScopedFakeTime time{1000.0};
   Kel::ActivityManager manager;
   Sim::Switch sw{manager};
};

// The bundled lab switch, as the README describes it.
TEST_F(TopologyApply, LabSwitch) {
   const Sim::Topology topology = Sim::loadTopology(labFile().string());
   Sim::applyTopology(sw, topology);

   EXPECT_EQ(sw.config()->bridgeMacAddr(), mac("00:1c:73:00:00:01"));
   EXPECT_EQ(sw.ports().size(), 48u);
   EXPECT_EQ(sw.intfStatusDir()->intfStatus(Velnet::IntfId("Ethernet47"))->operStatus(),
             Interface::OperStatus::down);
   EXPECT_EQ(sw.config()->vlanConfigs(), 7u);
   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(4094))->internal());
   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(99))->hidden());
   EXPECT_EQ(sw.config()->vlanConfig(VlanId(50))->adminState(), AdminState::suspended);
   EXPECT_EQ(sw.config()->switchIntfConfig(Velnet::IntfId("Ethernet45"))->switchportMode(),
             SwitchportMode::routed);
   std::size_t statics = 0;
   for (auto it = sw.config()->fdbConfigIteratorConst(); it; ++it) {
      statics += (*it)->configuredHosts();
   }
   EXPECT_EQ(statics, 4u);
   EXPECT_EQ(sw.learnedHosts(), 261u);
}

TEST_F(TopologyApply, BadFileLeavesTheSwitchUntouched) {
   // Everything is fine up to the last line, whose learned MAC is on a routed port.
   const std::string text = withFabric({
       "bridge: {mac: 00:1c:73:00:00:01, aging_time: 60}",
       "learned_macs:",
       "  - {vlan: 10, mac: 02:00:00:00:00:01, interface: Ethernet2}",
       "  - {vlan: 1, mac: 02:00:00:00:00:02, interface: Ethernet4}",
   });
   EXPECT_THROW(Sim::applyTopology(sw, Sim::parseTopology(text, "t.yaml")), Sim::TopologyError);
   EXPECT_TRUE(sw.ports().empty());
   EXPECT_EQ(sw.config()->vlanConfigs(), 0u);
   EXPECT_EQ(sw.config()->bridgeMacAddr(), EthAddr());
   EXPECT_EQ(sw.config()->hostAgingTime(), 300.0);
   EXPECT_EQ(sw.learnedHosts(), 0u);
}

TEST_F(TopologyApply, RefusedCommandBecomesATopologyError) {
   // Built by hand, past the file's checks: a host on a port that is not in its VLAN.
   Sim::Topology t;
   t.name = "hand-made.yaml";
   t.ports.push_back(Sim::PortSpec{Velnet::IntfId("Ethernet1"), 1, 1, true});
   t.vlans.push_back(Sim::VlanSpec{VlanId(1), "default", false, false, AdminState::active, 0});
   t.vlans.push_back(Sim::VlanSpec{VlanId(10), "ten", false, false, AdminState::active, 0});
   t.learnedHosts.push_back(Sim::LearnedHostSpec{VlanId(10), mac("02:00:00:00:00:01"),
                                                 Velnet::IntfId("Ethernet1"),
                                                 FdbEntryType::learnedDynamic});
   try {
      Sim::applyTopology(sw, t);
      ADD_FAILURE() << "the switch took a host outside its VLAN";
   } catch (const Sim::TopologyError& e) {
      EXPECT_EQ(
          std::string(e.what()),
          "hand-made.yaml: not applied: the switch refused learned MAC 02:00:00:00:00:01 in VLAN "
          "10: Ethernet1 is not an active member of VLAN 10");
   }
}

TEST_F(TopologyApply, OnlyToASwitchWithoutPorts) {
   sw.newPort(Sim::PortSpec{Velnet::IntfId("Ethernet1"), 1, 1, true});
   const Sim::Topology t = Sim::parseTopology("ports: [{name: Ethernet2}]\n", "t.yaml");
   try {
      Sim::applyTopology(sw, t);
      ADD_FAILURE() << "applied over an existing port";
   } catch (const Sim::TopologyError& e) {
      EXPECT_EQ(std::string(e.what()), "t.yaml: not applied: the switch already has ports");
   }
   EXPECT_FALSE(sw.hasPort(Velnet::IntfId("Ethernet2")));
}

}  // namespace
