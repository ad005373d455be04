// SETs of Q-BRIDGE-MIB's port VLANs inside a real snmpd over the simulated switch: a manager
// moves ports between VLANs and changes frame types, the switch takes the writes and the
// tables show them; every refused request answers its status and changes nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

using namespace Harness::Mib;
const Oid egressPorts = staticEntry.child(2);
const Oid untaggedPorts = staticEntry.child(4);
const Oid pvid = portVlanEntry.child(1);
const Oid frameTypes = portVlanEntry.child(2);

Oid at(const Oid& column, std::uint32_t index) {
   return column.child(index);
}

// Ports 1 and 2 access in VLAN 10, port 3 access in 20, port 4 an uplink (native 1, tagged
// 10 and 20), port 5 a server trunk (tagged 10 and 20 only), port 6 routed; VLAN 30 on no
// port.
const Topology topology = Topology()
                              .ports("Ethernet1-6", 1)
                              .vlan(1, "default")
                              .vlan(10, "engineering")
                              .vlan(20, "sales")
                              .vlan(30, "lab")
                              .vlan(4094, "internal4094", "internal: true")
                              .access("Ethernet1-2", 10)
                              .access("Ethernet3", 20)
                              .trunk("Ethernet4", "1,10,20", "1")
                              .trunk("Ethernet5", "10,20", "none")
                              .entry("switchports", "interface: Ethernet6, mode: routed");

class QBridgeSetTest : public BothFormsTest {
 protected:
   void SetUp() override { startAgent(topology); }

   // The words of `bridgectl show switchports` for one interface.
   std::vector<std::string> switchport(const std::string& intf) {
      std::istringstream lines(ok({"show", "switchports"}));
      for (std::string line; std::getline(lines, line);) {
         std::istringstream words(line);
         std::vector<std::string> row{std::istream_iterator<std::string>(words), {}};
         if (!row.empty() && row[0] == intf) {
            return row;
         }
      }
      return {};
   }
   // Whether every object reads what the SET values give: a number as such, a PortList as
   // the same set of ports (trailing zero octets aside). With `pvidsOnly`, only the PVIDs and
   // frame types, which the tables serve at once.
   bool expectReads(const std::vector<SetValue>& values, bool pvidsOnly = false) {
      for (const SetValue& v : values) {
         const GetResult r = snmpd().get(v.oid);
         if (v.number) {
            if (r.integer != *v.number) {
               return false;
            }
         } else if (!pvidsOnly && trimmed(r.bytes) != trimmed(unhex(v.text))) {
            return false;
         }
      }
      return true;
   }
   static std::string unhex(const std::string& hex) {
      std::string bytes;
      for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
         bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
      }
      return bytes;
   }
   static std::string trimmed(std::string bytes) {
      while (!bytes.empty() && bytes.back() == '\0') {
         bytes.pop_back();
      }
      return bytes;
   }
};

// A SET request is one change: each scenario runs on a fresh switch in every order of its
// varbinds, and every order ends in the same state, with each written object reading back as
// written, or is refused with the same status, naming the same varbind, changing nothing.
TEST_P(QBridgeSetTest, EveryOrderOfTheVarbindsGivesTheSameSwitch) {
   using Line = std::vector<std::string>;
   struct Scenario {
      const char* name;
      std::vector<SetValue> request;
      std::vector<SetValue> reads = {};  // more objects to read after, as SET values
      std::vector<Line> switchports = {};
      std::vector<SetValue> before = {};  // a request made first, in every order alike
      // The varbind refused as inconsistentValue, as listed in `request`.
      std::optional<std::size_t> refused = std::nullopt;
   };
   const std::vector<Scenario> scenarios = {
       {"a PVID alone moves an access port",
        {{at(pvid, 1), 'u', 20}},
        {{at(egressPorts, 20), 'x', "b8"}, {at(egressPorts, 10), 'x', "58"}},
        {{"Ethernet1", "access", "20", "-", "-", "access", "20", "20"}}},
       {"a PVID of a VLAN not yet configured creates it",
        {{at(pvid, 2), 'u', 77}},
        {{at(egressPorts, 77), 'x', "40"}, {at(egressPorts, 10), 'x', "98"}},
        {{"Ethernet2", "access", "77", "-", "-", "access", "77", "77"}}},
       {"a manager's move by egress, untagged and PVID",
        {{at(egressPorts, 10), 'x', "58"},
         {at(egressPorts, 20), 'x', "b8"},
         {at(untaggedPorts, 20), 'x', "a0"},
         {at(pvid, 1), 'u', 20}},
        {},
        {{"Ethernet1", "trunk", "10", "20", "20", "trunk", "20", "20"}}},
       {"an egress list keeping the old VLAN makes a user port a trunk",
        {{at(egressPorts, 10), 'x', "d8"},
         {at(egressPorts, 20), 'x', "b8"},
         {at(pvid, 1), 'u', 20}}},
       {"egress and PVID take a user port out of its old VLAN",
        {{at(egressPorts, 20), 'x', "b8"}, {at(pvid, 1), 'u', 20}},
        {{at(egressPorts, 10), 'x', "58"}, {at(untaggedPorts, 20), 'x', "a0"}},
        {{"Ethernet1", "trunk", "10", "20", "20", "trunk", "20", "20"}}},
       {"PVID and admitAll on a trunk", {{at(pvid, 4), 'u', 10}, {at(frameTypes, 4), 'i', 1}}},
       {"frame types set the trunks' native VLANs",
        {{at(frameTypes, 4), 'i', 2}, {at(frameTypes, 5), 'i', 1}},
        {{at(egressPorts, 1), 'x', "18"}, {at(untaggedPorts, 1), 'x', "08"}},
        {{"Ethernet4", "trunk", "1", "none", "1,10,20", "trunk", "none", "1(t),10(t),20(t)"},
         {"Ethernet5", "trunk", "1", "1", "1,10,20", "trunk", "1", "1,10(t),20(t)"}}},
       {.name = "a trunk's native VLAN written back with its egress ports",
        .request = {{at(egressPorts, 1), 'x', "18"}},
        .before = {{at(frameTypes, 5), 'i', 1}}},
       {"trunk VLANs added and removed",
        {{at(egressPorts, 30), 'x', "10"}, {at(egressPorts, 20), 'x', "28"}},
        {},
        {{"Ethernet4", "trunk", "1", "1", "1,10,30", "trunk", "1", "1,10(t),30(t)"}}},
       {.name = "a converted port's PVID names no VLAN",
        .request = {{at(egressPorts, 20), 'x', "f8"}, {at(pvid, 2), 'u', 555}},
        .refused = 1},
       {.name = "a trunk's PVID it does not carry",
        .request = {{at(pvid, 4), 'u', 30}},
        .refused = 0},
       {.name = "an untagged list leaving out a port of its VLAN",
        .request = {{at(untaggedPorts, 10), 'x', "40"}},
        .refused = 0},
       {.name = "an empty untagged list of a port's VLAN",
        .request = {{at(untaggedPorts, 20), 'x', ""}},
        .refused = 0},
       {.name = "an untagged list tagging a native VLAN with admitAll",
        .request = {{at(frameTypes, 4), 'i', 1}, {at(untaggedPorts, 1), 'x', ""}},
        .refused = 1},
       {.name = "the binding at fault is the one named",
        .request = {{at(pvid, 2), 'u', 20},
                    {at(frameTypes, 5), 'i', 1},
                    {at(egressPorts, 10), 'x', "18"}},
        .refused = 2},
   };
   // Everything the switch and the tables show of VLANs and switchports.
   const auto state = [&] {
      std::ostringstream text;
      for (const Oid& table : {staticEntry, portVlanEntry}) {
         text << ::testing::PrintToString(snmpd().walk(table));
      }
      text << ok({"show", "switchports"}) << ok({"show", "vlans"});
      return text.str();
   };
   for (const Scenario& s : scenarios) {
      std::vector<std::size_t> order(s.request.size());
      std::iota(order.begin(), order.end(), 0);
      std::string first;
      do {
         std::vector<SetValue> request;
         std::string orderText;
         for (const std::size_t i : order) {
            request.push_back(s.request[i]);
            orderText += " " + std::to_string(i + 1);
         }
         SCOPED_TRACE(std::string(s.name) + ", varbinds in the order" + orderText);
         startAgent(topology);
         if (!s.before.empty()) {
            ASSERT_TRUE(snmpd().set(s.before).ok());
         }
         ASSERT_TRUE(eventually([&] { return expectReads(s.before); }));
         const std::string before = state();
         const Response r = snmpd().set(request);
         if (s.refused) {
            EXPECT_EQ(r.errstat, ErrStat::InconsistentValue) << r;
            const auto culprit = std::find(order.begin(), order.end(), *s.refused) - order.begin();
            EXPECT_EQ(r.errindex, culprit + 1);
            EXPECT_EQ(state(), before);
            continue;
         }
         ASSERT_TRUE(r.ok()) << r;
         // Each written object reads back (PVIDs at once, port lists once the switch has
         // applied them), and so do the other objects named.
         EXPECT_TRUE(expectReads(request, true)) << "PVIDs and frame types are served at once";
         EXPECT_TRUE(eventually([&] { return expectReads(request) && expectReads(s.reads); }));
         for (const Line& line : s.switchports) {
            EXPECT_EQ(switchport(line.front()), line);
         }
         const std::string after = state();
         if (first.empty()) {
            first = after;
         }
         EXPECT_EQ(after, first);
      } while (std::next_permutation(order.begin(), order.end()));
   }
}

TEST_P(QBridgeSetTest, RefusedSetsAnswerTheirStatusAndChangeNothing) {
   struct Refused {
      const char* name;
      std::vector<SetValue> request;
      long errstat;
      long errindex;
      // Whether the plug-in sees it: net-snmp's table helper answers a column past the
      // table's last one itself.
      bool traced = true;
   };
   namespace E = ErrStat;
   const Oid name = staticEntry.child(1), forbidden = staticEntry.child(3);
   const Oid rowStatus = staticEntry.child(5);
   const std::vector<Refused> cases = {
       {"PVID as INTEGER", {{at(pvid, 1), 'i', 20}}, E::WrongType, 1},
       {"PVID 4095", {{at(pvid, 1), 'u', 4095}}, E::WrongValue, 1},
       {"PVID 0", {{at(pvid, 1), 'u', "0"}}, E::InconsistentValue, 1},
       {"PVID of the switch's VLAN", {{at(pvid, 1), 'u', 4094}}, E::InconsistentValue, 1},
       {"trunk PVID of a VLAN not configured", {{at(pvid, 4), 'u', 77}}, E::InconsistentValue, 1},
       {"frame types 3", {{at(frameTypes, 1), 'i', 3}}, E::WrongValue, 1},
       {"frame types as Unsigned32", {{at(frameTypes, 1), 'u', 1}}, E::WrongType, 1},
       {"egress ports as INTEGER", {{at(egressPorts, 10), 'i', 1}}, E::WrongType, 1},
       {"egress ports with the routed port",
        {{at(egressPorts, 10), 'x', "dc"}},
        E::InconsistentValue,
        1},
       {"egress ports without a port whose access VLAN it is",
        {{at(egressPorts, 10), 'x', "18"}},
        E::InconsistentValue,
        1},
       {"PVID with tagged frames only",
        {{at(pvid, 1), 'u', 20}, {at(frameTypes, 1), 'i', 2}},
        E::InconsistentValue,
        2},
       {"untagged ports without the PVID",
        {{at(untaggedPorts, 20), 'x', "a0"}},
        E::InconsistentValue,
        1},
       {"a new PVID left out of its VLAN's egress ports",
        {{at(pvid, 3), 'u', 10}, {at(egressPorts, 10), 'x', "d8"}},
        E::InconsistentValue,
        2},
       {"untagged ports other than the new PVID",
        {{at(pvid, 3), 'u', 10}, {at(untaggedPorts, 20), 'x', "20"}},
        E::InconsistentValue,
        2},
       {"a port untagged in two VLANs",
        {{at(untaggedPorts, 1), 'x', "10"}, {at(untaggedPorts, 20), 'x', "30"}},
        E::InconsistentValue,
        2},
       {"every VLAN taken off a trunk",
        {{at(egressPorts, 10), 'x', "d0"}, {at(egressPorts, 20), 'x', "30"}},
        E::InconsistentValue,
        2},
       {"untagged ports with tagged frames only",
        {{at(frameTypes, 1), 'i', 2}, {at(untaggedPorts, 10), 'x', "c0"}},
        E::InconsistentValue,
        1},
       {"untagged on a trunk without a native VLAN",
        {{at(untaggedPorts, 10), 'x', "c8"}},
        E::InconsistentValue,
        1},
       {"the same object twice",
        {{at(egressPorts, 30), 'x', "10"}, {at(egressPorts, 30), 'x', "18"}},
        E::InconsistentValue,
        2},
       {"a good PVID with a bad one",
        {{at(pvid, 2), 'u', 20}, {at(pvid, 3), 'u', "0"}},
        E::InconsistentValue,
        2},
       {"VLAN name", {{at(name, 10), 's', "renamed"}}, E::NotWritable, 1},
       {"forbidden ports", {{at(forbidden, 10), 'x', "80"}}, E::NotWritable, 1},
       {"row status", {{at(rowStatus, 10), 'i', 2}}, E::NotWritable, 1},
       {"name of a VLAN not configured", {{at(name, 11), 's', "new"}}, E::NotWritable, 1},
       {"row status createAndGo", {{at(rowStatus, 11), 'i', 4}}, E::NotWritable, 1},
       {"no such VLAN column", {{at(staticEntry.child(6), 10), 'i', 1}}, E::NotWritable, 1, false},
       {"ingress filtering", {{at(portVlanEntry.child(3), 1), 'i', 2}}, E::NotWritable, 1},
       {"GVRP status", {{at(portVlanEntry.child(4), 1), 'i', 1}}, E::NotWritable, 1},
       {"GVRP failed registrations", {{at(portVlanEntry.child(5), 1), 'c', 1}}, E::NotWritable, 1},
       {"GVRP last PDU origin",
        {{at(portVlanEntry.child(6), 1), 'x', "001c73000001"}},
        E::NotWritable,
        1},
       {"restricted registration", {{at(portVlanEntry.child(7), 1), 'i', 1}}, E::NotWritable, 1},
       {"no such port column", {{at(portVlanEntry.child(8), 1), 'i', 1}}, E::NotWritable, 1, false},
       {"egress ports of a VLAN not configured",
        {{at(egressPorts, 11), 'x', "80"}},
        E::NoCreation,
        1},
       {"PVID of the routed port", {{at(pvid, 6), 'u', 10}}, E::NoCreation, 1},
       {"PVID of a port that does not exist", {{at(pvid, 200), 'u', 10}}, E::NoCreation, 1},
   };
   // Every refusal leaves its reason in the log at level 3 (snmpd's own in the plug-in form).
   const bool plugin = GetParam() == AgentForm::dlmod;
   if (plugin) {
      startAgent(topology, SnmpdOptions{{"bridgesnmpTrace Snmp/3,BridgeSnmpSet/3"}, {}});
   }
   const std::vector<Varbind> vlansBefore = snmpd().walk(staticEntry);
   const std::vector<Varbind> portsBefore = snmpd().walk(portVlanEntry);
   const std::string switchportsBefore = ok({"show", "switchports"});
   const std::string vlanListBefore = ok({"show", "vlans"});

   for (const Refused& c : cases) {
      const std::size_t logged = snmpd().log().size();
      const Response r = snmpd().set(c.request);
      EXPECT_EQ(r.errstat, c.errstat) << c.name << ": " << r;
      EXPECT_EQ(r.errindex, c.errindex) << c.name;
      if (plugin && c.traced) {
         EXPECT_TRUE(eventually([&] {
            return snmpd().log().find("/3 ", logged) != std::string::npos;
         })) << c.name
             << " left no reason";
      }
   }

   EXPECT_EQ(snmpd().walk(staticEntry), vlansBefore);
   EXPECT_EQ(snmpd().walk(portVlanEntry), portsBefore);
   EXPECT_EQ(ok({"show", "switchports"}), switchportsBefore);
   EXPECT_EQ(ok({"show", "vlans"}), vlanListBefore);
}

SWITCH_AGENT_FORMS(QBridgeSetTest);

}  // namespace
