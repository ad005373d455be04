// IF-MIB scenarios: the simulated switch's ports as a manager names them, and how a link
// change shows.

#include <gtest/gtest.h>

#include <algorithm>
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

// Bridge ports 1-2 (ifIndex 101-102), Ethernet3 (ifIndex 103, described) not a bridge port,
// Ethernet4 (port 4, ifIndex 104) with its link down, Ethernet5 with no ifIndex at all.
const std::string topology = Topology()
                                 .ports("Ethernet1-2", 1, 101)
                                 .ports("Ethernet3", 0, 103, "description: to the lab router")
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

// ifTable but ifLastChange, column by column, then ifXTable: what each port shows.
std::vector<Varbind> expectedTables() {
   std::vector<Varbind> table;
   for (std::uint32_t column = 1; column <= 8; ++column) {
      for (const Port& p : ports) {
         const Oid oid = ifEntry.child(column).child(p.ifIndex);
         const std::string address = std::string("\x02\0\0\0\0", 5) + char(p.ifIndex);
         // 10 Gb/s is beyond ifSpeed's range; the address is numbered by the ifIndex.
         table.push_back(std::vector<Varbind>{
             value(oid, AsnType::Integer, p.ifIndex), octets(oid, p.name),
             value(oid, AsnType::Integer, 6), value(oid, AsnType::Integer, 1500),
             value(oid, AsnType::Gauge32, p.up ? 4294967295 : 0), octets(oid, address),
             value(oid, AsnType::Integer, 1),
             value(oid, AsnType::Integer, p.up ? 1 : 2)}[column - 1]);
      }
   }
   for (const Port& p : ports) {
      table.push_back(octets(ifXEntry.child(1).child(p.ifIndex), p.name));
   }
   for (const Port& p : ports) {
      table.push_back(
          value(ifXEntry.child(15).child(p.ifIndex), AsnType::Gauge32, p.up ? 10000 : 0));
   }
   for (const Port& p : ports) {
      table.push_back(
          octets(ifXEntry.child(18).child(p.ifIndex), p.ifIndex == 103 ? "to the lab router" : ""));
   }
   return table;
}

class IfMibTest : public BothFormsTest {};

TEST_P(IfMibTest, EveryPortWithAnIfIndexIsNamedAndEveryBridgePortPointsAtOne) {
   startAgent(topology);
   ASSERT_TRUE(eventually([&] { return snmpd().walk(basePortIfIndex).size() == 3; }));
   std::vector<Varbind> walked = snmpd().walk(ifEntry);
   for (const Varbind& vb : snmpd().bulkWalk(ifXEntry, 3)) {
      walked.push_back(vb);
   }
   const std::int64_t upTime = snmpd().get(sysUpTime).integer;
   const auto changes = std::stable_partition(walked.begin(), walked.end(), [](const Varbind& vb) {
      return !vb.oid.startsWith(ifEntry.child(9));
   });
   const std::vector<Varbind> lastChanges(changes, walked.end());
   walked.erase(changes, walked.end());
   EXPECT_EQ(walked, expectedTables());
   ASSERT_EQ(lastChanges.size(), ports.size());
   for (std::size_t i = 0; i < ports.size(); ++i) {
      EXPECT_EQ(lastChanges[i].oid, ifEntry.child(9).child(ports[i].ifIndex));
      EXPECT_EQ(lastChanges[i].type, AsnType::TimeTicks);
      EXPECT_LE(lastChanges[i].integer, upTime) << "the ports came up after the agent started";
   }
   EXPECT_EQ(snmpd().get(ifNumber), value(ifNumber, AsnType::Integer, 4));

   for (const Varbind& vb : snmpd().walk(basePortIfIndex)) {
      EXPECT_TRUE(std::any_of(
          ports.begin(), ports.end(),
          [&](const Port& p) { return vb == value(vb.oid, AsnType::Integer, p.ifIndex); }))
          << vb << " names no ifTable row";
   }
   // An ifIndex no port has, and a column the switch has no value for.
   EXPECT_EQ(snmpd().get(ifEntry.child(2).child(105)).type, AsnType::NoSuchInstance);
   EXPECT_EQ(snmpd().get(ifEntry.child(10).child(101)).type, AsnType::NoSuchObject);
}

// Ethernet2's link going down and up, then the port shut down and brought back.
TEST_P(IfMibTest, LinkAndShutdownShowInTheStatusesSpeedAndLastChange) {
   startAgent(topology);
   const Oid admin = ifEntry.child(7).child(102), oper = ifEntry.child(8).child(102);
   const Oid lastChange = ifEntry.child(9).child(102), highSpeed = ifXEntry.child(15).child(102);
   struct Step {
      const char* command;
      const char* state;
      std::int64_t admin, oper, speed;
   };
   for (const Step& step : {Step{"link", "down", 1, 2, 0}, Step{"link", "up", 1, 1, 10000},
                            Step{"admin", "down", 2, 2, 0}, Step{"admin", "up", 1, 1, 10000}}) {
      const std::string name = std::string(step.command) + " " + step.state;
      const std::int64_t before = snmpd().get(sysUpTime).integer;
      ok({step.command, "Ethernet2", step.state});
      EXPECT_TRUE(eventually([&] { return snmpd().get(oper).integer == step.oper; })) << name;
      EXPECT_EQ(snmpd().getMany({admin, highSpeed}).varbinds,
                (std::vector<Varbind>{value(admin, AsnType::Integer, step.admin),
                                      value(highSpeed, AsnType::Gauge32, step.speed)}))
          << name;
      const GetResult changed = snmpd().get(lastChange);
      EXPECT_EQ(changed.type, AsnType::TimeTicks) << name;
      // A subagent's up-time may run a tick behind the master's, whose start it learns.
      EXPECT_GE(changed.integer + 1, before) << name;
      EXPECT_LE(changed.integer, snmpd().get(sysUpTime).integer) << name;
   }
}

SWITCH_AGENT_FORMS(IfMibTest);

}  // namespace
