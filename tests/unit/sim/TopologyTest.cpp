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
   return std::filesystem::path(__FILE__).parent_path() / "../../../examples/lab-switch.yaml";
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

TEST(TopologyParse, EmptyFileIsAnEmptyTopology) {
   const Sim::Topology t = Sim::parseTopology("# nothing yet\n", "t.yaml");
   EXPECT_FALSE(t.bridgeMacAddr);
   EXPECT_FALSE(t.hostAgingTime);
   EXPECT_TRUE(t.ports.empty());
   EXPECT_TRUE(t.vlans.empty());
   EXPECT_TRUE(t.switchports.empty());
   EXPECT_TRUE(t.staticHosts.empty());
   EXPECT_TRUE(t.learnedHosts.empty());
}

TEST(TopologyParse, Bridge) {
   const Sim::Topology t =
       Sim::parseTopology("bridge: {mac: 00-1c-73-00-00-01, aging_time: 12.5}\n", "t.yaml");
   ASSERT_TRUE(t.bridgeMacAddr);
   EXPECT_EQ(*t.bridgeMacAddr, mac("00:1c:73:00:00:01"));
   ASSERT_TRUE(t.hostAgingTime);
   EXPECT_EQ(*t.hostAgingTime, 12.5);

   const Sim::Topology off = Sim::parseTopology("bridge: {aging_time: 0}\n", "t.yaml");
   EXPECT_FALSE(off.bridgeMacAddr);
   EXPECT_EQ(off.hostAgingTime, 0.0);
}

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

TEST(TopologyParse, Vlans) {
   const Sim::Topology t = Sim::parseTopology(
       lines({
           "vlans:",
           "  - {id: 1}",
           "  - {id: 20, name: sales, admin_state: suspended, hidden: true, selection_word: 0x10}",
           "  - {id: 4094, name: internal4094, internal: true, selection_word: 7}",
       }),
       "t.yaml");
   ASSERT_EQ(t.vlans.size(), 3u);
   EXPECT_EQ(t.vlans[0].id, VlanId(1));
   EXPECT_EQ(t.vlans[0].name, "");
   EXPECT_EQ(t.vlans[0].adminState, AdminState::active);
   EXPECT_FALSE(t.vlans[0].internal);
   EXPECT_FALSE(t.vlans[0].hidden);
   EXPECT_EQ(t.vlans[0].selectionWord, 0u);
   EXPECT_EQ(t.vlans[1].id, VlanId(20));
   EXPECT_EQ(t.vlans[1].name, "sales");
   EXPECT_EQ(t.vlans[1].adminState, AdminState::suspended);
   EXPECT_TRUE(t.vlans[1].hidden);
   EXPECT_FALSE(t.vlans[1].internal);
   EXPECT_EQ(t.vlans[1].selectionWord, 16u);
   EXPECT_EQ(t.vlans[2].id, VlanId(4094));
   EXPECT_TRUE(t.vlans[2].internal);
   EXPECT_EQ(t.vlans[2].selectionWord, 7u);
}

TEST(TopologyParse, Switchports) {
   const Sim::Topology t = Sim::parseTopology(
       lines({
           "ports:",
           "  - {range: Ethernet1-8}",
           "vlans: [{id: 1}, {id: 10}]",
           "switchports:",
           "  - {range: Ethernet1-2, mode: access, access_vlan: 10}",
           "  - {interface: Ethernet3, mode: trunk, native_vlan: 10, allowed_vlans: '20,1-10'}",
           "  - {interface: Ethernet4, mode: trunk, native_vlan: none, allowed_vlans: [30, 5-7]}",
           "  - {interface: Ethernet5, mode: trunk}",
           "  - {interface: Ethernet6, mode: routed}",
           "  - {interface: Ethernet7, mode: trunk, allowed_vlans: none}",
           "  - {interface: Ethernet8, mode: dot1q-tunnel, native_vlan: 3000}",
       }),
       "t.yaml");
   ASSERT_EQ(t.switchports.size(), 8u);
   EXPECT_EQ(t.switchports[0].intf, Velnet::IntfId("Ethernet1"));
   EXPECT_EQ(t.switchports[1].intf, Velnet::IntfId("Ethernet2"));
   for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(t.switchports[i].settings.mode, SwitchportMode::access);
      EXPECT_EQ(t.switchports[i].settings.accessVlan, VlanId(10));
   }
   const Sim::SwitchportSpec& e3 = t.switchports[2].settings;
   EXPECT_EQ(e3.mode, SwitchportMode::trunk);
   EXPECT_EQ(e3.nativeVlan, Bridging::VlanIdOrNone(10));
   EXPECT_EQ(e3.allowedVlans, "1-10,20");  // kept in the switch's own form
   const Sim::SwitchportSpec& e4 = t.switchports[3].settings;
   EXPECT_TRUE(e4.nativeVlan.isNone());
   EXPECT_EQ(e4.allowedVlans, "5-7,30");  // a trunk may allow VLANs the file does not define
   const Sim::SwitchportSpec& e5 = t.switchports[4].settings;
   EXPECT_EQ(e5.nativeVlan, Bridging::VlanIdOrNone(1));
   EXPECT_EQ(e5.allowedVlans, "1-4094");
   EXPECT_EQ(t.switchports[5].settings.mode, SwitchportMode::routed);
   EXPECT_EQ(static_cast<int>(t.switchports[5].settings.mode), 5);
   EXPECT_EQ(t.switchports[6].settings.allowedVlans, "");
   EXPECT_EQ(t.switchports[7].settings.mode, SwitchportMode::dot1qTunnel);
   EXPECT_EQ(t.switchports[7].settings.nativeVlan, Bridging::VlanIdOrNone(3000));
}

TEST(TopologyParse, StaticMacs) {
   const Sim::Topology t =
       Sim::parseTopology(withFabric({
                              "static_macs:",
                              "  - {vlan: 10, mac: 00:1c:73:00:00:0a, interface: Ethernet5}",
                              "  - {vlan: 1, mac: 001c.7300.0001, interface: Ethernet4}",
                          }),
                          "t.yaml");
   ASSERT_EQ(t.staticHosts.size(), 2u);
   EXPECT_EQ(t.staticHosts[0].vlan, VlanId(10));
   EXPECT_EQ(t.staticHosts[0].address, mac("00:1c:73:00:00:0a"));
   EXPECT_EQ(t.staticHosts[0].intf, Velnet::IntfId("Ethernet5"));
   EXPECT_EQ(t.staticHosts[1].vlan, VlanId(1));
   EXPECT_EQ(t.staticHosts[1].address, mac("00:1c:73:00:00:01"));
   EXPECT_EQ(t.staticHosts[1].intf, Velnet::IntfId("Ethernet4"));
}

TEST(TopologyParse, LearnedMacsOneByOneAndAsRuns) {
   const Sim::Topology t = Sim::parseTopology(
       withFabric({
           "learned_macs:",
           "  - {vlan: 10, mac: 00:1c:73:00:00:0a, interface: Ethernet2, type: learnedRemote}",
           "  - {vlan: 10, range: Ethernet2-3, base: 02:00:00:00:00:fe, count: 3}",
           "  - {vlan: 1, interface: Ethernet1, base: 02:00:00:00:01:00, count: 2}",
       }),
       "t.yaml");
   ASSERT_EQ(t.learnedHosts.size(), 6u);
   EXPECT_EQ(t.learnedHosts[0].address, mac("00:1c:73:00:00:0a"));
   EXPECT_EQ(t.learnedHosts[0].type, FdbEntryType::learnedRemote);
   // A run deals sequential addresses round-robin over its interfaces.
   const std::vector<std::pair<const char*, const char*>> run = {
       {"02:00:00:00:00:fe", "Ethernet2"},
       {"02:00:00:00:00:ff", "Ethernet3"},
       {"02:00:00:00:01:00", "Ethernet2"},
   };
   for (std::size_t i = 0; i < run.size(); ++i) {
      EXPECT_EQ(t.learnedHosts[1 + i].vlan, VlanId(10));
      EXPECT_EQ(t.learnedHosts[1 + i].address, mac(run[i].first));
      EXPECT_EQ(t.learnedHosts[1 + i].intf, Velnet::IntfId(run[i].second));
      EXPECT_EQ(t.learnedHosts[1 + i].type, FdbEntryType::learnedDynamic);
   }
   // Ethernet1 has no switchport entry: an access port of VLAN 1, as a new port is.
   EXPECT_EQ(t.learnedHosts[4].vlan, VlanId(1));
   EXPECT_EQ(t.learnedHosts[4].intf, Velnet::IntfId("Ethernet1"));
   EXPECT_EQ(t.learnedHosts[5].address, mac("02:00:00:00:01:01"));
}

TEST(TopologyParse, SectionsMayComeInAnyOrder) {
   const Sim::Topology t =
       Sim::parseTopology(lines({
                              "learned_macs:",
                              "  - {vlan: 7, mac: 02:00:00:00:00:01, interface: Ethernet1}",
                              "switchports:",
                              "  - {interface: Ethernet1, access_vlan: 7}",
                              "vlans: [{id: 7}]",
                              "ports: [{name: Ethernet1}]",
                          }),
                          "t.yaml");
   ASSERT_EQ(t.learnedHosts.size(), 1u);
   EXPECT_EQ(t.switchports[0].settings.mode, SwitchportMode::access);
   EXPECT_EQ(t.learnedHosts[0].vlan, VlanId(7));
}

// ---- Refused files: one line, the file, the line, the problem ----

TEST(TopologyErrors, YamlSyntax) {
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 1", "ports: []"})),
             "t.yaml:3: YAML syntax error: end of map flow not found");
   EXPECT_EQ(errorOf(lines({"bridge:", "  mac: 00:00:00:00:00:01", " aging_time: 3"})),
             "t.yaml:3: YAML syntax error: end of map not found");
}

TEST(TopologyErrors, Structure) {
   EXPECT_EQ(errorOf("- ports\n"),
             "t.yaml:1: the top level must be a mapping of sections (bridge, ports, vlans, "
             "switchports, static_macs, learned_macs)");
   EXPECT_EQ(errorOf(lines({"bridge: {}", "port: []"})),
             "t.yaml:2: unknown key 'port' in the top level (expected bridge, ports, vlans, "
             "switchports, static_macs, learned_macs)");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {nmae: Ethernet1}"})),
             "t.yaml:2: unknown key 'nmae' in a port (expected name, range, port_id, if_index, "
             "link)");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - id: 1", "    id: 2"})),
             "t.yaml:3: duplicate key 'id' in a VLAN");
   EXPECT_EQ(errorOf(lines({"vlans: {id: 1}"})),
             "t.yaml:1: 'vlans' must be a sequence, not a mapping");
   EXPECT_EQ(errorOf(lines({"ports:", "  - Ethernet1"})),
             "t.yaml:2: each entry of 'ports' must be a mapping, not 'Ethernet1'");
   EXPECT_EQ(errorOf(lines({"bridge: 5"})), "t.yaml:1: 'bridge' must be a mapping, not '5'");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {name: x}"})), "t.yaml:2: a VLAN needs 'id'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {port_id: 3}"})),
             "t.yaml:2: a port needs 'name' or 'range'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: Ethernet1, range: Ethernet1-2}"})),
             "t.yaml:2: a port takes 'name' or 'range', not both");
}

TEST(TopologyErrors, WrongTypes) {
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: Ethernet1,", "     port_id: abc}"})),
             "t.yaml:3: 'port_id' must be an integer 0-65535, not 'abc'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: Ethernet1, port_id: 65536}"})),
             "t.yaml:2: 'port_id' must be an integer 0-65535, not '65536'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: Ethernet1, if_index: -1}"})),
             "t.yaml:2: 'if_index' must be an integer 0-2147483647, not '-1'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: Ethernet1, link: sideways}"})),
             "t.yaml:2: 'link' must be up or down, not 'sideways'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: [Ethernet1]}"})),
             "t.yaml:2: 'name' must be an interface name like Ethernet1, not a sequence");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: [10]}"})),
             "t.yaml:2: 'id' must be a VLAN id 1-4094, not a sequence");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: ten}"})),
             "t.yaml:2: 'id' must be a VLAN id 1-4094, not 'ten'");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 10, hidden: maybe}"})),
             "t.yaml:2: 'hidden' must be true or false, not 'maybe'");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 10, internal: }"})),
             "t.yaml:2: 'internal' must be true or false, not nothing");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 10, admin_state: down}"})),
             "t.yaml:2: 'admin_state' must be active or suspended, not 'down'");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 10, selection_word: 0x1ffffffff}"})),
             "t.yaml:2: 'selection_word' must be an integer 0-4294967295, not '0x1ffffffff'");
   // Names are counted in octets: 17 two-octet characters are 34.
   const std::string wide(17, 'x');
   std::string accents;
   for (int i = 0; i < 17; ++i) {
      accents += "\u00e9";
   }
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 10, name: " + accents + "}"})),
             "t.yaml:2: VLAN name '" + accents + "' is 34 octets long; at most 32 are allowed");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 10, name: " + wide + wide + "}"})),
             "t.yaml:2: VLAN name '" + wide + wide + "' is 34 octets long; at most 32 are allowed");
}

TEST(TopologyErrors, AgingTimeAndBridgeMac) {
   EXPECT_EQ(errorOf(lines({"bridge:", "  aging_time: -5"})),
             "t.yaml:2: 'aging_time' must be a number of seconds 0-1000000000 (0 disables aging), "
             "not '-5'");
   EXPECT_EQ(errorOf(lines({"bridge:", "  aging_time: soon"})),
             "t.yaml:2: 'aging_time' must be a number of seconds 0-1000000000 (0 disables aging), "
             "not 'soon'");
   EXPECT_EQ(errorOf(lines({"bridge:", "  aging_time: 2e9"})),
             "t.yaml:2: 'aging_time' must be a number of seconds 0-1000000000 (0 disables aging), "
             "not '2e9'");
   EXPECT_EQ(errorOf(lines({"bridge:", "  mac: 00:1c:73:00:00"})),
             "t.yaml:2: 'mac' must be a MAC address like 00:1c:73:aa:bb:cc, not '00:1c:73:00:00'");
   EXPECT_EQ(errorOf(lines({"bridge:", "  mac: 01:00:5e:00:00:01"})),
             "t.yaml:2: the bridge MAC 01:00:5e:00:00:01 is a multicast address");
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
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: 1-4}"})),
             "t.yaml:2: 'range' must be a numbered run of interfaces like Ethernet1-48, not '1-4'");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: Ethernet01-04}"})),
             "t.yaml:2: range Ethernet01-04: numbers must not have leading zeros");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {range: Ethernet1-10, port_id: 65530}"})),
             "t.yaml:2: the port ids of Ethernet1-10 from 65530 run past 65535");
   EXPECT_EQ(errorOf(lines({"ports:", "  - {name: 'Ethernet 1'}"})),
             "t.yaml:2: 'name' must be an interface name like Ethernet1, not 'Ethernet 1'");
}

TEST(TopologyErrors, Vlans) {
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 1}", "  - {id: 5000}"})),
             "t.yaml:3: VLAN 5000 is outside 1-4094");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 0}"})), "t.yaml:2: VLAN 0 is outside 1-4094");
   EXPECT_EQ(errorOf(lines({"vlans:", "  - {id: 10}", "  - {id: 20}", "  - {id: 10, name: b}"})),
             "t.yaml:4: VLAN 10 is already defined at line 2");
}

TEST(TopologyErrors, Switchports) {
   const std::string head =
       lines({"ports: [{range: Ethernet1-4}]", "vlans: [{id: 1}, {id: 10}]", "switchports:"});
   EXPECT_EQ(errorOf(head + "  - {interface: Ethernet9, mode: trunk}\n"),
             "t.yaml:4: switchport for unknown port Ethernet9");
   EXPECT_EQ(errorOf(head + "  - {range: Ethernet3-5, mode: trunk}\n"),
             "t.yaml:4: switchport for unknown port Ethernet5");
   EXPECT_EQ(errorOf(head + lines({"  - {range: Ethernet1-2, mode: trunk}",
                                   "  - {interface: Ethernet2, mode: access}"})),
             "t.yaml:5: Ethernet2 already has a switchport at line 4");
   EXPECT_EQ(errorOf(head + "  - {interface: Ethernet1, mode: hybrid}\n"),
             "t.yaml:4: 'mode' must be one of access, trunk, dot1q-tunnel, tap, tool, routed, not "
             "'hybrid'");
   EXPECT_EQ(errorOf(head + "  - {interface: Ethernet1, mode: trunk, allowed_vlans: 1-x}\n"),
             "t.yaml:4: malformed VLAN list '1-x': 'x' is not a VLAN number");
   EXPECT_EQ(errorOf(head + lines({"  - interface: Ethernet1", "    mode: trunk",
                                   "    allowed_vlans: [10, 20-4095]"})),
             "t.yaml:6: malformed VLAN list '10,20-4095': VLAN 4095 is outside 1-4094");
   EXPECT_EQ(errorOf(head + "  - {interface: Ethernet1, mode: trunk, allowed_vlans: [10, [2]]}\n"),
             "t.yaml:4: an entry of 'allowed_vlans' must be a VLAN id or range like 20-30, not a "
             "sequence");
   EXPECT_EQ(errorOf(head + "  - {interface: Ethernet1, mode: trunk, native_vlan: nil}\n"),
             "t.yaml:4: 'native_vlan' must be a VLAN id 1-4094, not 'nil'");
   // An access VLAN must exist; a trunk may name VLANs that do not.
   EXPECT_EQ(errorOf(head + lines({"  - interface: Ethernet1", "    access_vlan: 20"})),
             "t.yaml:5: access VLAN 20 of Ethernet1 is not defined in 'vlans'");
   EXPECT_EQ(errorOf(lines({"ports: [{name: Ethernet1}]", "vlans: [{id: 10}]",
                            "switchports:", "  - {interface: Ethernet1, mode: access}"})),
             "t.yaml:4: access VLAN 1 of Ethernet1 is not defined in 'vlans'");
   EXPECT_EQ(errorOf(head + "  - {interface: Ethernet1, mode: trunk, native_vlan: 30, "
                            "allowed_vlans: 30-40}\n"),
             "accepted");
}

TEST(TopologyErrors, HostAddresses) {
   EXPECT_EQ(
       errorOf(withFabric(
           {"static_macs:", "  - {vlan: 10, mac: 00:1c:73:zz:00:01, interface: Ethernet2}"})),
       "t.yaml:14: 'mac' must be a MAC address like 00:1c:73:aa:bb:cc, not '00:1c:73:zz:00:01'");
   EXPECT_EQ(errorOf(withFabric(
                 {"static_macs:", "  - {vlan: 10, mac: 01:00:5e:00:00:01, interface: Ethernet2}"})),
             "t.yaml:14: 01:00:5e:00:00:01 is a multicast address, not a host");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:",
                                 "  - {vlan: 10, mac: 00:00:00:00:00:00, interface: Ethernet2}"})),
             "t.yaml:14: 00:00:00:00:00:00 is not a host address");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:",
                                 "  - {vlan: 10, mac: ff:ff:ff:ff:ff:ff, interface: Ethernet2}"})),
             "t.yaml:14: ff:ff:ff:ff:ff:ff is a multicast address, not a host");
}

TEST(TopologyErrors, HostPlaces) {
   EXPECT_EQ(errorOf(withFabric(
                 {"static_macs:", "  - {vlan: 10, mac: 00:1c:73:00:00:01, interface: Ethernet9}"})),
             "t.yaml:14: static MAC 00:1c:73:00:00:01 is on unknown port Ethernet9");
   EXPECT_EQ(errorOf(withFabric(
                 {"static_macs:", "  - {vlan: 20, mac: 00:1c:73:00:00:01, interface: Ethernet2}"})),
             "t.yaml:14: static MAC 00:1c:73:00:00:01 is in VLAN 20, which is not defined in "
             "'vlans'");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:",
                                 "  - {vlan: 10, mac: 02:00:00:00:00:01, interface: Ethernet9}"})),
             "t.yaml:14: learned MAC 02:00:00:00:00:01 is on unknown port Ethernet9");
   EXPECT_EQ(errorOf(withFabric({"learned_macs:", "  - {vlan: 4000, range: Ethernet1-2,",
                                 "     base: 02:00:00:00:00:01, count: 2}"})),
             "t.yaml:14: learned MAC 02:00:00:00:00:01 is in VLAN 4000, which is not defined in "
             "'vlans'");
   // A static MAC needs no membership: the switch keeps it on any port.
   EXPECT_EQ(errorOf(withFabric(
                 {"static_macs:", "  - {vlan: 1, mac: 00:1c:73:00:00:01, interface: Ethernet4}"})),
             "accepted");
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

TEST(TopologyErrors, MessagesStayOnOneLine) {
   const std::string error = errorOf(lines({"ports:", "  - name: |", "      Ethernet", "      1"}));
   EXPECT_EQ(error,
             "t.yaml:2: 'name' must be an interface name like Ethernet1, not 'Ethernet\\n1\\n'");
   EXPECT_EQ(error.find('\n'), std::string::npos);
}

TEST(TopologyErrors, UnreadableFile) {
   const std::string missing =
       (std::filesystem::temp_directory_path() / "bridgesnmp-no-such-topology.yaml").string();
   try {
      Sim::loadTopology(missing);
      ADD_FAILURE() << "a missing file loaded";
   } catch (const Sim::TopologyError& e) {
      EXPECT_EQ(std::string(e.what()), missing + ": cannot read: No such file or directory");
   }
   const std::string dir = std::filesystem::temp_directory_path().string();
   try {
      Sim::loadTopology(dir);
      ADD_FAILURE() << "a directory loaded";
   } catch (const Sim::TopologyError& e) {
      EXPECT_EQ(std::string(e.what()), dir + ": cannot read: Is a directory");
   }
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

TEST_F(TopologyApply, LabSwitch) {
   const Sim::Topology topology = Sim::loadTopology(labFile().string());
   Sim::applyTopology(sw, topology);

   EXPECT_EQ(sw.config()->bridgeMacAddr(), mac("00:1c:73:00:00:01"));
   EXPECT_EQ(sw.config()->hostAgingTime(), 300.0);

   // 48 ports, port ids and ifIndexes 1 to 48.
   const std::vector<Sim::PortSpec> ports = sw.ports();
   ASSERT_EQ(ports.size(), 48u);
   for (std::size_t i = 0; i < ports.size(); ++i) {
      const std::string name = "Ethernet" + std::to_string(i + 1);
      EXPECT_EQ(ports[i].name, Velnet::IntfId(name));
      const auto status = sw.intfStatusDir()->intfStatus(Velnet::IntfId(name));
      ASSERT_TRUE(status) << name;
      EXPECT_EQ(status->portId(), Interface::EthPortId(i + 1));
      EXPECT_EQ(status->ifIndex(), static_cast<std::int32_t>(i + 1));
      EXPECT_EQ(status->operStatus(),
                name == "Ethernet47" ? Interface::OperStatus::down : Interface::OperStatus::up);
   }

   // VLANs.
   const std::vector<std::pair<int, const char*>> named = {
       {1, "default"}, {10, "engineering"}, {20, "sales"}, {30, "voice"}};
   for (const auto& [id, name] : named) {
      const auto vlan = sw.config()->vlanConfig(VlanId(id));
      ASSERT_TRUE(vlan) << id;
      EXPECT_EQ(vlan->configuredName(), Kel::String8(name));
      EXPECT_EQ(vlan->adminState(), AdminState::active);
      EXPECT_FALSE(vlan->hidden());
      EXPECT_FALSE(vlan->internal());
   }
   ASSERT_TRUE(sw.config()->vlanConfig(VlanId(4094)));
   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(4094))->internal());
   ASSERT_TRUE(sw.config()->vlanConfig(VlanId(99)));
   EXPECT_TRUE(sw.config()->vlanConfig(VlanId(99))->hidden());
   ASSERT_TRUE(sw.config()->vlanConfig(VlanId(50)));
   EXPECT_EQ(sw.config()->vlanConfig(VlanId(50))->adminState(), AdminState::suspended);
   EXPECT_EQ(sw.config()->vlanConfigs(), 7u);

   // Switchports: the routed port carries no VLAN; the server trunks have no native VLAN.
   const auto routed = sw.config()->switchIntfConfig(Velnet::IntfId("Ethernet45"));
   ASSERT_TRUE(routed);
   EXPECT_EQ(routed->switchportMode(), SwitchportMode::routed);
   EXPECT_EQ(static_cast<int>(routed->switchportMode()), 5);
   const auto serverTrunk = sw.config()->switchIntfConfig(Velnet::IntfId("Ethernet41"));
   ASSERT_TRUE(serverTrunk);
   EXPECT_EQ(serverTrunk->switchportMode(), SwitchportMode::trunk);
   EXPECT_TRUE(serverTrunk->nativeVlan().isNone());
   const auto vlan10 = sw.config()->vlanConfig(VlanId(10));
   ASSERT_TRUE(vlan10->intfCollection().find(Velnet::IntfId("Ethernet41")));
   EXPECT_TRUE(vlan10->intfCollection().find(Velnet::IntfId("Ethernet41"))->tagged);
   ASSERT_TRUE(vlan10->intfCollection().find(Velnet::IntfId("Ethernet9")));
   EXPECT_FALSE(vlan10->intfCollection().find(Velnet::IntfId("Ethernet9"))->tagged);
   EXPECT_FALSE(vlan10->intfCollection().find(Velnet::IntfId("Ethernet45")));
   // The link-down port is a member of VLAN 10 but not an active one.
   EXPECT_TRUE(vlan10->intfCollection().find(Velnet::IntfId("Ethernet47")));
   const auto status10 = sw.vlanStatusDir()->vlanStatus(VlanId(10));
   ASSERT_TRUE(status10);
   EXPECT_FALSE(status10->vlanPortStatusCollection().find(Velnet::IntfId("Ethernet47")));
   EXPECT_TRUE(status10->vlanPortStatusCollection().find(Velnet::IntfId("Ethernet9")));
   // The trunk that allows every VLAN carries the internal one too.
   EXPECT_TRUE(
       sw.config()->vlanConfig(VlanId(4094))->intfCollection().find(Velnet::IntfId("Ethernet48")));

   // Static MACs.
   const auto fdb30 = sw.config()->fdbConfig(Bridging::Fid(30));
   ASSERT_TRUE(fdb30);
   const Bridging::ConfiguredHost* kept =
       fdb30->configuredHostCollection().find(mac("00:1c:73:00:10:1e"));
   ASSERT_TRUE(kept);
   EXPECT_EQ(kept->intf, Velnet::IntfId("Ethernet47"));
   std::size_t statics = 0;
   for (auto it = sw.config()->fdbConfigIteratorConst(); it; ++it) {
      statics += (*it)->configuredHosts();
   }
   EXPECT_EQ(statics, 4u);

   // Learned MACs: every one the file lists, spread over the VLANs.
   EXPECT_EQ(sw.learnedHosts(), topology.learnedHosts.size());
   EXPECT_GT(sw.learnedHosts(), 200u);
   EXPECT_EQ(sw.learnedHosts(), 261u);
   EXPECT_EQ(sw.status()->fdbStatus(Bridging::Fid(1))->learnedHosts(), 40u);
   EXPECT_EQ(sw.status()->fdbStatus(Bridging::Fid(10))->learnedHosts(), 104u);
   EXPECT_EQ(sw.status()->fdbStatus(Bridging::Fid(20))->learnedHosts(), 70u);
   EXPECT_EQ(sw.status()->fdbStatus(Bridging::Fid(30))->learnedHosts(), 41u);
   EXPECT_EQ(sw.status()->fdbStatus(Bridging::Fid(99))->learnedHosts(), 6u);
   const auto fdb10 = sw.status()->fdbStatus(Bridging::Fid(10));
   const Bridging::LearnedHost* first = fdb10->learnedHostRecord(mac("02:00:0a:00:00:00"));
   const Bridging::LearnedHost* second = fdb10->learnedHostRecord(mac("02:00:0a:00:00:01"));
   ASSERT_TRUE(first);
   ASSERT_TRUE(second);
   EXPECT_EQ(first->intf, Velnet::IntfId("Ethernet9"));
   EXPECT_EQ(second->intf, Velnet::IntfId("Ethernet10"));
   EXPECT_EQ(first->entryType, FdbEntryType::learnedDynamic);
   const Bridging::LearnedHost* remote =
       sw.status()->fdbStatus(Bridging::Fid(20))->learnedHostRecord(mac("02:00:14:01:00:00"));
   ASSERT_TRUE(remote);
   EXPECT_EQ(remote->intf, Velnet::IntfId("Ethernet48"));
   EXPECT_EQ(remote->entryType, FdbEntryType::learnedRemote);
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
