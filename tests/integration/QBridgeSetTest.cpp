// SETs of Q-BRIDGE-MIB's port VLANs inside a real snmpd over the simulated switch: a manager
// moves ports between VLANs and changes frame types, the switch takes the writes and the
// tables show them; every refused request answers its status and changes nothing.
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

const Oid vlanStaticEntry = "1.3.6.1.2.1.17.7.1.4.3.1";
const Oid egressPorts = vlanStaticEntry.child(2);
const Oid untaggedPorts = vlanStaticEntry.child(4);
const Oid portVlanEntry = "1.3.6.1.2.1.17.7.1.4.5.1";
const Oid pvid = portVlanEntry.child(1);
const Oid frameTypes = portVlanEntry.child(2);

Oid at(const Oid& column, std::uint32_t index) {
   return column.child(index);
}

// Ports 1 and 2 access in VLAN 10, port 3 access in 20, port 4 an uplink (native 1, tagged
// 10 and 20), port 5 a server trunk (tagged 10 and 20 only), port 6 routed.
const Topology topology = Topology()
                              .ports("Ethernet1-6", 1)
                              .vlan(1, "default")
                              .vlan(10, "engineering")
                              .vlan(20, "sales")
                              .vlan(4094, "internal4094", "internal: true")
                              .access("Ethernet1-2", 10)
                              .access("Ethernet3", 20)
                              .trunk("Ethernet4", "1,10,20", "1")
                              .trunk("Ethernet5", "10,20", "none")
                              .entry("switchports", "interface: Ethernet6, mode: routed");

class QBridgeSetTest : public BothFormsTest {
 protected:
   void SetUp() override { startAgent(topology); }

   // The PortList of a column's row, as hex ("b8").
   std::string portList(const Oid& column, std::uint32_t vlan) {
      const GetResult r = snmpd().get(at(column, vlan));
      EXPECT_EQ(r.type, AsnType::OctetString) << r;
      std::string hex;
      for (const unsigned char c : r.bytes) {
         static const char* digits = "0123456789abcdef";
         hex += digits[c >> 4];
         hex += digits[c & 15];
      }
      return hex;
   }
   // Waits for the switch to apply what the SETs wrote: the VLAN's egress ports as given.
   void expectEgress(std::uint32_t vlan, const std::string& hex) {
      EXPECT_TRUE(eventually([&] { return portList(egressPorts, vlan) == hex; }))
          << "VLAN " << vlan << " egress " << portList(egressPorts, vlan) << ", expected " << hex;
   }
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
   void expectUnsigned(const Oid& oid, std::int64_t value) {
      const GetResult r = snmpd().get(oid);
      EXPECT_EQ(r.type, AsnType::Gauge32) << r;
      EXPECT_EQ(r.integer, value) << oid;
   }
};

TEST_P(QBridgeSetTest, AccessPortMovesToAnotherVlanByItsPvid) {
   const Response r = snmpd().set({{at(pvid, 1), 'u', 20}});
   ASSERT_TRUE(r.ok()) << r;

   expectUnsigned(at(pvid, 1), 20);             // served at once, before the switch applies it
   expectEgress(20, "b8");                      // ports 1, 3, 4, 5
   EXPECT_EQ(portList(egressPorts, 10), "58");  // ports 2, 4, 5
   EXPECT_EQ(portList(untaggedPorts, 20), "a0");
   EXPECT_EQ(switchport("Ethernet1"), (std::vector<std::string>{"Ethernet1", "access", "20", "-",
                                                                "-", "access", "20", "20"}));
}

// A manager that writes whole tables moves a port with the egress and untagged ports of both
// VLANs and the PVID in one request; the switch ends the same whatever the varbinds' order.
TEST_P(QBridgeSetTest, MoveByEgressUntaggedAndPvidInEitherOrder) {
   struct Move {
      std::uint32_t port;
      std::vector<SetValue> request;
      std::string egress10, egress20, untagged20;
      std::string access;  // the input's access VLAN: the PVID first writes it
   };
   const std::vector<Move> moves = {
       {1,
        {{at(egressPorts, 10), 'x', "58"},
         {at(egressPorts, 20), 'x', "b8"},
         {at(untaggedPorts, 20), 'x', "a0"},
         {at(pvid, 1), 'u', 20}},
        "58",
        "b8",
        "a0",
        "10"},
       {2,
        {{at(pvid, 2), 'u', 20},
         {at(untaggedPorts, 20), 'x', "e0"},
         {at(egressPorts, 20), 'x', "f8"},
         {at(egressPorts, 10), 'x', "18"}},
        "18",
        "f8",
        "e0",
        "20"},
   };
   for (const Move& move : moves) {
      SCOPED_TRACE("Ethernet" + std::to_string(move.port));
      const Response r = snmpd().set(move.request);
      ASSERT_TRUE(r.ok()) << r;
      expectEgress(20, move.egress20);
      EXPECT_EQ(portList(egressPorts, 10), move.egress10);
      EXPECT_EQ(portList(untaggedPorts, 20), move.untagged20);
      expectUnsigned(at(pvid, move.port), 20);
      EXPECT_EQ(switchport("Ethernet" + std::to_string(move.port)),
                (std::vector<std::string>{"Ethernet" + std::to_string(move.port), "trunk",
                                          move.access, "20", "20", "trunk", "20", "20"}));
   }
}

TEST_P(QBridgeSetTest, FrameTypesSetTheTrunksNativeVlan) {
   const Response r = snmpd().set({{at(frameTypes, 4), 'i', 2}, {at(frameTypes, 5), 'i', 1}});
   ASSERT_TRUE(r.ok()) << r;

   EXPECT_TRUE(eventually([&] { return switchport("Ethernet4").at(6) == "none"; }));
   EXPECT_EQ(snmpd().get(at(frameTypes, 4)).integer, 2) << "admitOnlyVlanTagged";
   EXPECT_EQ(switchport("Ethernet5").at(3), "1") << "admitAll gives the trunk native VLAN 1";
   EXPECT_EQ(snmpd().get(at(frameTypes, 5)).integer, 1) << "admitAll";
}

TEST_P(QBridgeSetTest, RefusedSetsAnswerTheirStatusAndChangeNothing) {
   struct Refused {
      const char* name;
      std::vector<SetValue> request;
      long errstat;
      long errindex;
   };
   const std::vector<Refused> cases = {
       {"PVID as INTEGER", {{at(pvid, 1), 'i', 20}}, ErrStat::WrongType, 1},
       {"PVID 4095", {{at(pvid, 1), 'u', 4095}}, ErrStat::WrongValue, 1},
       {"PVID 0", {{at(pvid, 1), 'u', "0"}}, ErrStat::InconsistentValue, 1},
       {"PVID of the switch's VLAN", {{at(pvid, 1), 'u', 4094}}, ErrStat::InconsistentValue, 1},
       {"trunk PVID of a VLAN not configured",
        {{at(pvid, 4), 'u', 77}},
        ErrStat::InconsistentValue,
        1},
       {"frame types 3", {{at(frameTypes, 1), 'i', 3}}, ErrStat::WrongValue, 1},
       {"frame types as Unsigned32", {{at(frameTypes, 1), 'u', 1}}, ErrStat::WrongType, 1},
       {"egress ports as INTEGER", {{at(egressPorts, 10), 'i', 1}}, ErrStat::WrongType, 1},
       {"egress ports with the routed port",
        {{at(egressPorts, 10), 'x', "dc"}},
        ErrStat::InconsistentValue,
        1},
       {"egress ports without a port whose access VLAN it is",
        {{at(egressPorts, 10), 'x', "18"}},
        ErrStat::InconsistentValue,
        1},
       {"PVID with tagged frames only",
        {{at(pvid, 1), 'u', 20}, {at(frameTypes, 1), 'i', 2}},
        ErrStat::InconsistentValue,
        1},
       {"untagged ports without the PVID",
        {{at(untaggedPorts, 20), 'x', "a0"}},
        ErrStat::InconsistentValue,
        1},
       {"a good PVID with a bad one",
        {{at(pvid, 2), 'u', 20}, {at(pvid, 3), 'u', "0"}},
        ErrStat::InconsistentValue,
        2},
       {"VLAN name", {{at(vlanStaticEntry.child(1), 10), 's', "renamed"}}, ErrStat::NotWritable, 1},
       {"forbidden ports",
        {{at(vlanStaticEntry.child(3), 10), 'x', "80"}},
        ErrStat::NotWritable,
        1},
       {"row status", {{at(vlanStaticEntry.child(5), 10), 'i', 2}}, ErrStat::NotWritable, 1},
       {"name of a VLAN not configured",
        {{at(vlanStaticEntry.child(1), 11), 's', "new"}},
        ErrStat::NotWritable,
        1},
       {"row status createAndGo",
        {{at(vlanStaticEntry.child(5), 11), 'i', 4}},
        ErrStat::NotWritable,
        1},
       {"no such VLAN column",
        {{at(vlanStaticEntry.child(6), 10), 'i', 1}},
        ErrStat::NotWritable,
        1},
       {"ingress filtering", {{at(portVlanEntry.child(3), 1), 'i', 2}}, ErrStat::NotWritable, 1},
       {"GVRP status", {{at(portVlanEntry.child(4), 1), 'i', 1}}, ErrStat::NotWritable, 1},
       {"GVRP failed registrations",
        {{at(portVlanEntry.child(5), 1), 'c', 1}},
        ErrStat::NotWritable,
        1},
       {"GVRP last PDU origin",
        {{at(portVlanEntry.child(6), 1), 'x', "001c73000001"}},
        ErrStat::NotWritable,
        1},
       {"restricted registration",
        {{at(portVlanEntry.child(7), 1), 'i', 1}},
        ErrStat::NotWritable,
        1},
       {"no such port column", {{at(portVlanEntry.child(8), 1), 'i', 1}}, ErrStat::NotWritable, 1},
       {"egress ports of a VLAN not configured",
        {{at(egressPorts, 11), 'x', "80"}},
        ErrStat::NoCreation,
        1},
       {"PVID of the routed port", {{at(pvid, 6), 'u', 10}}, ErrStat::NoCreation, 1},
       {"PVID of a port that does not exist", {{at(pvid, 200), 'u', 10}}, ErrStat::NoCreation, 1},
   };
   const std::vector<Varbind> vlansBefore = snmpd().walk(vlanStaticEntry);
   const std::vector<Varbind> portsBefore = snmpd().walk(portVlanEntry);
   const std::string switchportsBefore = ok({"show", "switchports"});
   const std::string vlanListBefore = ok({"show", "vlans"});

   for (const Refused& c : cases) {
      const Response r = snmpd().set(c.request);
      EXPECT_EQ(r.errstat, c.errstat) << c.name << ": " << r;
      EXPECT_EQ(r.errindex, c.errindex) << c.name;
   }

   EXPECT_EQ(snmpd().walk(vlanStaticEntry), vlansBefore);
   EXPECT_EQ(snmpd().walk(portVlanEntry), portsBefore);
   EXPECT_EQ(ok({"show", "switchports"}), switchportsBefore);
   EXPECT_EQ(ok({"show", "vlans"}), vlanListBefore);
}

SWITCH_AGENT_FORMS(QBridgeSetTest);

}  // namespace
