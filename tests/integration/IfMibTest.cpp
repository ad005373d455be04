// IF-MIB scenarios: the simulated switch's ports as a manager names them, and how link and
// shutdown changes show.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

using namespace Harness::Mib;
const Oid ifNumber = "1.3.6.1.2.1.2.1.0";
const Oid basePortIfIndex = portEntry.child(2);

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
   const char* alias;
};
const std::vector<Port> ports = {{101, "Ethernet1", true, ""},
                                 {102, "Ethernet2", true, ""},
                                 {103, "Ethernet3", true, "to the lab router"},
                                 {104, "Ethernet4", false, ""}};

// What the ports show in ifTable (ifLastChange as 0) and ifXTable, in walk order. 10 Gb/s is
// beyond ifSpeed's range; a port's address is numbered by its ifIndex.
std::vector<Varbind> expectedTables() {
   std::vector<Varbind> table;
   for (const Port& p : ports) {
      const auto at = [&](const Oid& entry, std::uint32_t column) {
         return entry.child(column).child(p.ifIndex);
      };
      const std::string address = std::string("\x02\0\0\0\0", 5) + char(p.ifIndex);
      table.insert(table.end(),
                   {value(at(ifEntry, 1), AsnType::Integer, p.ifIndex),
                    octets(at(ifEntry, 2), p.name), value(at(ifEntry, 3), AsnType::Integer, 6),
                    value(at(ifEntry, 4), AsnType::Integer, 1500),
                    value(at(ifEntry, 5), AsnType::Gauge32, p.up ? 4294967295 : 0),
                    octets(at(ifEntry, 6), address), value(at(ifEntry, 7), AsnType::Integer, 1),
                    value(at(ifEntry, 8), AsnType::Integer, p.up ? 1 : 2),
                    value(at(ifEntry, 9), AsnType::TimeTicks, 0), octets(at(ifXEntry, 1), p.name),
                    value(at(ifXEntry, 15), AsnType::Gauge32, p.up ? 10000 : 0),
                    octets(at(ifXEntry, 18), p.alias)});
   }
   std::sort(table.begin(), table.end(),
             [](const Varbind& a, const Varbind& b) { return a.oid < b.oid; });
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
   for (Varbind& vb : walked) {
      if (vb.oid.startsWith(ifEntry.child(9))) {  // when the ports came up: after the start
         EXPECT_LE(vb.integer, upTime) << vb;
         vb.integer = 0;
      }
   }
   EXPECT_EQ(walked, expectedTables());
   EXPECT_EQ(snmpd().get(ifNumber), value(ifNumber, AsnType::Integer, 4));

   for (const Varbind& vb : snmpd().walk(basePortIfIndex)) {
      EXPECT_TRUE(std::any_of(
          ports.begin(), ports.end(),
          [&](const Port& p) { return vb == value(vb.oid, AsnType::Integer, p.ifIndex); }))
          << vb << " names no ifTable row";
   }
   // Columns the switch has no value for (the traffic counters, ifHC*), and past the last:
   // noSuchObject under the very name asked for, as pollers match answers by name.
   for (const auto& [entry, columns] :
        {std::pair(ifEntry, std::vector<std::uint32_t>{10, 16, 23}),
         std::pair(ifXEntry, std::vector<std::uint32_t>{2, 6, 14, 16, 17, 19})}) {
      for (const std::uint32_t column : columns) {
         const Oid asked = entry.child(column).child(101);
         EXPECT_EQ(snmpd().get(asked), value(asked, AsnType::NoSuchObject, 0));
      }
   }
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
