// IF-MIB scenarios: the simulated switch's ports as a manager names them, and how a link
// change shows.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

const Oid ifNumber = "1.3.6.1.2.1.2.1.0";
const Oid ifEntry = "1.3.6.1.2.1.2.2.1";
const Oid ifXEntry = "1.3.6.1.2.1.31.1.1.1";
const Oid basePortIfIndex = "1.3.6.1.2.1.17.1.4.1.2";
const Oid sysUpTime = "1.3.6.1.2.1.1.3.0";

// Bridge ports 1-2 (ifIndex 101-102), Ethernet3 (ifIndex 103) not a bridge port, Ethernet4
// (port 4, ifIndex 104) with its link down, Ethernet5 with no ifIndex at all.
const std::string topology = Topology()
                                 .ports("Ethernet1-2", 1, 101)
                                 .ports("Ethernet3", 0, 103)
                                 .ports("Ethernet4", 4, 104, "link: down")
                                 .ports("Ethernet5", 5, 0);

struct Port {
   std::uint32_t ifIndex;
   const char* name;
   bool up;
};
const std::vector<Port> ports = {{101, "Ethernet1", true},
                                 {102, "Ethernet2", true},
                                 {103, "Ethernet3", true},
                                 {104, "Ethernet4", false}};

Varbind octets(const Oid& oid, const std::string& bytes) {
   Varbind vb = value(oid, AsnType::OctetString, 0);
   vb.bytes = bytes;
   return vb;
}

// ifTable without ifLastChange, column by column, and ifXTable.
std::vector<Varbind> expectedIfTable(const std::vector<Port>& rows) {
   std::vector<Varbind> table;
   for (std::uint32_t column = 1; column <= 8; ++column) {
      for (const Port& p : rows) {
         const Oid oid = ifEntry.child(column).child(p.ifIndex);
         switch (column) {
            case 1:
               table.push_back(value(oid, AsnType::Integer, p.ifIndex));
               break;
            case 2:
               table.push_back(octets(oid, p.name));
               break;
            case 3:
               table.push_back(value(oid, AsnType::Integer, 6));  // ethernetCsmacd
               break;
            case 4:
               table.push_back(value(oid, AsnType::Integer, 1500));
               break;
            case 5:  // 10 Gb/s is beyond Gauge32's bits per second
               table.push_back(value(oid, AsnType::Gauge32, p.up ? 4294967295 : 0));
               break;
            case 6:  // locally administered, numbered by ifIndex
               table.push_back(
                   octets(oid, std::string("\x02\0\0\0\0", 5) + static_cast<char>(p.ifIndex)));
               break;
            case 7:
               table.push_back(value(oid, AsnType::Integer, 1));
               break;
            default:
               table.push_back(value(oid, AsnType::Integer, p.up ? 1 : 2));
         }
      }
   }
   return table;
}

std::vector<Varbind> expectedIfXTable(const std::vector<Port>& rows) {
   std::vector<Varbind> table;
   for (const Port& p : rows) {
      table.push_back(octets(ifXEntry.child(1).child(p.ifIndex), p.name));
   }
   for (const Port& p : rows) {
      table.push_back(
          value(ifXEntry.child(15).child(p.ifIndex), AsnType::Gauge32, p.up ? 10000 : 0));
   }
   return table;
}

class IfMibTest : public BothFormsTest {
 protected:
   // The walk of ifTable split into its last-change column and the rest.
   std::vector<Varbind> walkIfTable(std::vector<Varbind>& lastChanges) {
      std::vector<Varbind> rest;
      for (Varbind& vb : snmpd().walk(ifEntry)) {
         (vb.oid.startsWith(ifEntry.child(9)) ? lastChanges : rest).push_back(vb);
      }
      return rest;
   }
};

TEST_P(IfMibTest, EveryPortWithAnIfIndexIsNamedAndEveryBridgePortPointsAtOne) {
   startAgent(topology);
   std::vector<Varbind> lastChanges;

   ASSERT_TRUE(eventually([&] { return snmpd().walk(basePortIfIndex).size() == 3; }));
   EXPECT_EQ(walkIfTable(lastChanges), expectedIfTable(ports));
   const std::int64_t upTime = snmpd().get(sysUpTime).integer;
   ASSERT_EQ(lastChanges.size(), ports.size());
   for (std::size_t i = 0; i < ports.size(); ++i) {
      EXPECT_EQ(lastChanges[i].oid, ifEntry.child(9).child(ports[i].ifIndex));
      EXPECT_EQ(lastChanges[i].type, AsnType::TimeTicks);
      EXPECT_LE(lastChanges[i].integer, upTime) << "the ports came up after the agent started";
   }
   EXPECT_EQ(snmpd().walk(ifXEntry), expectedIfXTable(ports));
   EXPECT_EQ(snmpd().bulkWalk(ifXEntry, 3), expectedIfXTable(ports));
   EXPECT_EQ(snmpd().get(ifNumber), value(ifNumber, AsnType::Integer, 4));

   std::set<std::int64_t> ifIndexes;
   for (const Port& p : ports) {
      ifIndexes.insert(p.ifIndex);
   }
   for (const Varbind& vb : snmpd().walk(basePortIfIndex)) {
      EXPECT_EQ(vb.type, AsnType::Integer) << vb;
      EXPECT_TRUE(ifIndexes.count(vb.integer)) << vb << " names no ifTable row";
   }
   // An ifIndex no port has, and a column the switch has no value for.
   EXPECT_EQ(snmpd().get(ifEntry.child(2).child(105)).type, AsnType::NoSuchInstance);
   EXPECT_EQ(snmpd().get(ifEntry.child(10).child(101)).type, AsnType::NoSuchObject);
}

TEST_P(IfMibTest, ALinkChangeShowsInOperStatusSpeedAndLastChange) {
   startAgent(topology);
   const Oid oper = ifEntry.child(8).child(102);
   const Oid lastChange = ifEntry.child(9).child(102);
   const Oid highSpeed = ifXEntry.child(15).child(102);
   ASSERT_EQ(snmpd().get(oper), value(oper, AsnType::Integer, 1));
   const std::int64_t before = snmpd().get(sysUpTime).integer;

   ok({"link", "Ethernet2", "down"});
   EXPECT_TRUE(eventually([&] { return snmpd().get(oper).integer == 2; }));
   const GetResult changed = snmpd().get(lastChange);
   EXPECT_EQ(changed.type, AsnType::TimeTicks);
   EXPECT_GE(changed.integer, before);
   EXPECT_LE(changed.integer, snmpd().get(sysUpTime).integer);
   EXPECT_EQ(snmpd().get(highSpeed), value(highSpeed, AsnType::Gauge32, 0));

   ok({"link", "Ethernet2", "up"});
   EXPECT_TRUE(eventually([&] { return snmpd().get(oper).integer == 1; }));
   EXPECT_GE(snmpd().get(lastChange).integer, changed.integer);
   EXPECT_EQ(snmpd().get(highSpeed), value(highSpeed, AsnType::Gauge32, 10000));
}

SWITCH_AGENT_FORMS(IfMibTest);

}  // namespace
