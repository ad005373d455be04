// BRIDGE-MIB scenarios: a small switch, what its scalars and tables answer, and how learning,
// moving and ageing show.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

using namespace Harness::Mib;
const Oid agingTime = "1.3.6.1.2.1.17.4.2.0";

Varbind objectId(const Oid& oid, const Oid& id) {
   Varbind vb = value(oid, AsnType::ObjectId, 0);
   vb.objectId = id;
   return vb;
}

// Bridge ports 1-4 and 6 (ifIndex 101-104 and 106); Ethernet5 has no port number. VLAN 1's
// hosts on Ethernet5 and VLAN 10's host are not the table's.
const std::string topology = Topology()
                                 .bridge("mac: 02:aa:bb:cc:dd:ee, aging_time: 300.9")
                                 .ports("Ethernet1-4", 1, 101)
                                 .ports("Ethernet5", 0, 105)
                                 .ports("Ethernet6", 6, 106)
                                 .vlan(1, "default")
                                 .vlan(10, "ten")
                                 .trunk("Ethernet6", "1,10", "1")
                                 .staticHost(1, "00:1c:73:00:20:05", "Ethernet5")
                                 .staticHost(1, "00:1c:73:00:20:01", "Ethernet1")
                                 .host(1, "02:00:00:00:00:05", "Ethernet5")
                                 .host(1, "02:00:00:00:00:01", "Ethernet1")
                                 .host(1, "02:00:00:00:00:06", "Ethernet6")
                                 .host(10, "02:00:00:00:0a:06", "Ethernet6");

// dot1dTpFdbTable with rows of address, port and status (3 learned, 5 mgmt).
std::vector<Varbind> fdbTable(const std::vector<std::tuple<const char*, int, int>>& rows) {
   std::vector<TableRow> cells;
   for (const auto& [mac, port, status] : rows) {
      const Oid index = macIndex(mac);
      const std::string address(index.arcs().begin(), index.arcs().end());
      cells.push_back({index, {address, port, status}});
   }
   return tableWalk(fdbEntry, 1, {AsnType::OctetString, AsnType::Integer, AsnType::Integer}, cells);
}

class BridgeMibTest : public BothFormsTest {};

TEST_P(BridgeMibTest, EveryObjectOfASmallSwitchByGetNextAndGetBulk) {
   startAgent(topology);
   std::vector<Varbind> base = {
       octets(dot1dBase + "1.0", std::string("\x02\xaa\xbb\xcc\xdd\xee", 6)),
       value(dot1dBase + "2.0", AsnType::Integer, 5),  // Ethernet5 is not counted
       value(dot1dBase + "3.0", AsnType::Integer, 2),  // transparent-only
   };
   const std::vector<std::pair<std::uint32_t, std::int64_t>> ports = {
       {1, 101}, {2, 102}, {3, 103}, {4, 104}, {6, 106}};
   for (std::uint32_t column = 1; column <= 5; ++column) {
      for (const auto& [port, ifIndex] : ports) {
         const Oid oid = portEntry.child(column).child(port);
         base.push_back(column == 1   ? value(oid, AsnType::Integer, port)
                        : column == 2 ? value(oid, AsnType::Integer, ifIndex)
                        : column == 3 ? objectId(oid, "0.0")
                                      : value(oid, AsnType::Counter32, 0));
      }
   }
   std::vector<Varbind> tp = {value(dot1dTp + "1.0", AsnType::Counter32, 0),
                              value(agingTime, AsnType::Integer, 300)};  // 300.9 s, truncated
   for (const Varbind& vb : fdbTable({{"00:1c:73:00:20:01", 1, 5},
                                      {"02:00:00:00:00:01", 1, 3},
                                      {"02:00:00:00:00:06", 6, 3}})) {
      tp.push_back(vb);
   }

   ASSERT_TRUE(eventually([&] { return snmpd().walk(dot1dTp) == tp; }));
   EXPECT_EQ(snmpd().walk(dot1dBase), base);
   for (const int repetitions : {1, 4, 50}) {
      EXPECT_EQ(snmpd().bulkWalk(dot1dBase, repetitions), base) << repetitions;
      EXPECT_EQ(snmpd().bulkWalk(dot1dTp, repetitions), tp) << repetitions;
   }
}

TEST_P(BridgeMibTest, SelectionWordKeepsLearnedHostsOutButNotStaticOrManagementOnes) {
   startAgent(Topology()
                  .ports("Ethernet1-4", 1)
                  .vlan(1, "default", "selection_word: 7")
                  .staticHost(1, "00:1c:73:00:30:01", "Ethernet2")
                  .hosts(1, "02:00:00:00:30:00", 8, "Ethernet1-4")
                  .host(1, "02:00:00:00:31:00", "Ethernet3", "management"));
   const auto expected = fdbTable({{"00:1c:73:00:30:01", 2, 5}, {"02:00:00:00:31:00", 3, 5}});

   EXPECT_TRUE(eventually([&] { return snmpd().walk(fdbEntry) == expected; }))
       << ::testing::PrintToString(snmpd().walk(fdbEntry));
}

// A learned change reaches the table in the agent's next slice; a GET that is already
// waiting goes first, so the test waits for the row rather than reading it once.
TEST_P(BridgeMibTest, LearnMoveAndAgeShowInTheTable) {
   startAgent(topology);
   const Oid port = fdbEntry.child(2) + macIndex("02:00:00:aa:00:10");
   ASSERT_TRUE(eventually([&] { return snmpd().walk(fdbEntry).size() == 9; }));

   EXPECT_EQ(ok({"learn", "1", "02:00:00:aa:00:10", "Ethernet3"}), "learned\n");
   EXPECT_TRUE(eventually([&] { return snmpd().get(port) == value(port, AsnType::Integer, 3); }))
       << snmpd().get(port);
   ok({"move", "1", "02:00:00:aa:00:10", "Ethernet4"});
   EXPECT_TRUE(eventually([&] { return snmpd().get(port) == value(port, AsnType::Integer, 4); }))
       << snmpd().get(port);
   ok({"age", "1", "02:00:00:aa:00:10"});
   EXPECT_TRUE(eventually([&] { return snmpd().get(port).type == AsnType::NoSuchInstance; }))
       << snmpd().get(port);
   EXPECT_EQ(snmpd().walk(fdbEntry).size(), 9u);
}

TEST_P(BridgeMibTest, StatusFollowsTheEntryType) {
   startAgent(topology);
   ASSERT_TRUE(eventually([&] { return snmpd().walk(fdbEntry).size() == 9; }));
   const std::vector<std::pair<const char*, std::int64_t>> cases = {{"management", 5},
                                                                    {"learnedRemote", 3},
                                                                    {"configuredStatic", 3},
                                                                    {"peerStatic", 3},
                                                                    {"learnedDynamic", 3}};
   for (std::size_t i = 0; i < cases.size(); ++i) {
      const auto& [type, status] = cases[i];
      const std::string mac = "02:00:00:aa:00:0" + std::to_string(i);
      ok({"learn", "1", mac, "Ethernet2", type});
      const Oid oid = fdbEntry.child(3) + macIndex(mac);
      const auto expected = value(oid, AsnType::Integer, status);
      EXPECT_TRUE(eventually([&] { return snmpd().get(oid) == expected; }))
          << type << ": " << snmpd().get(oid);
   }
}

// Whole seconds within the MIB's 10..1000000; ageing switched off (0) is 1000000.
TEST_P(BridgeMibTest, AgingTimeFollowsTheSwitchWithinTheMibsRange) {
   startAgent(topology);
   const std::vector<std::pair<const char*, std::int64_t>> cases = {
       {"45.9", 45}, {"0", 1000000},     {"9.99", 10}, {"1000000", 1000000},
       {"3", 10},    {"999999", 999999}, {"300", 300}};
   for (const auto& [seconds, expected] : cases) {
      ok({"aging", seconds});
      EXPECT_EQ(snmpd().get(agingTime), value(agingTime, AsnType::Integer, expected)) << seconds;
   }
}

SWITCH_AGENT_FORMS(BridgeMibTest);

}  // namespace
