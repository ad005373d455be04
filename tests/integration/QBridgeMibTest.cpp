// Q-BRIDGE-MIB scenarios: a small switch with every kind of port and VLAN, each table's exact
// rows, the current table's time mark, and VLANs added, deleted and made internal.

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

const Oid sysUpTime = "1.3.6.1.2.1.1.3.0";
const Oid qBridgeBase = "1.3.6.1.2.1.17.7.1.1";
const Oid numVlans = "1.3.6.1.2.1.17.7.1.1.4.0";
const Oid numDeletes = "1.3.6.1.2.1.17.7.1.4.1.0";
const Oid fdbEntry = "1.3.6.1.2.1.17.7.1.2.1.1";
const Oid tpFdbEntry = "1.3.6.1.2.1.17.7.1.2.2.1";
const Oid currentEntry = "1.3.6.1.2.1.17.7.1.4.2.1";
const Oid staticEntry = "1.3.6.1.2.1.17.7.1.4.3.1";
const Oid portVlanEntry = "1.3.6.1.2.1.17.7.1.4.5.1";

// Bridge ports 1-4, 7 and 8 (link down); Ethernet5 has no port number, Ethernet6 is routed.
// VLAN 20 keeps its learned hosts out of the forwarding views; 30 is suspended, 99 hidden,
// 4094 internal.
const std::string topology = Topology()
                                 .ports("Ethernet1-4", 1)
                                 .ports("Ethernet5", 0)
                                 .ports("Ethernet6", 6)
                                 .ports("Ethernet7", 7)
                                 .ports("Ethernet8", 8, 8, "link: down")
                                 .vlan(1, "default")
                                 .vlan(10, "ten")
                                 .vlan(20, "twenty", "selection_word: 0x10")
                                 .vlan(30, "thirty", "admin_state: suspended")
                                 .vlan(99, "ninety-nine", "hidden: true")
                                 .vlan(4094, "internal", "internal: true")
                                 .access("Ethernet1-2", 10)
                                 .trunk("Ethernet3", "10,20,4094", "20")
                                 .trunk("Ethernet4", "10,20,60")
                                 .trunk("Ethernet5", "10,20", "10")
                                 .entry("switchports", "interface: Ethernet6, mode: routed")
                                 .access("Ethernet8", 10)
                                 .staticHost(20, "00:1c:73:00:20:01", "Ethernet3")
                                 .host(10, "02:00:00:00:10:01", "Ethernet1")
                                 .host(10, "02:00:00:00:10:05", "Ethernet5")
                                 .host(20, "02:00:00:00:20:01", "Ethernet4")
                                 .host(20, "02:00:00:00:20:02", "Ethernet3", "management")
                                 .host(4094, "02:00:00:00:ff:01", "Ethernet3");

using Cell = std::variant<std::int64_t, std::string>;

struct Row {
   Oid index;
   std::vector<Cell> cells;  // one per column, in order
};

// A table's varbinds as a walk returns them, column by column.
std::vector<Varbind> table(const Oid& entry,
                           const std::vector<std::pair<std::uint32_t, std::uint8_t>>& columns,
                           const std::vector<Row>& rows) {
   std::vector<Varbind> walk;
   for (std::size_t c = 0; c < columns.size(); ++c) {
      for (const Row& row : rows) {
         Varbind vb;
         vb.oid = entry.child(columns[c].first) + row.index;
         vb.type = columns[c].second;
         if (const auto* number = std::get_if<std::int64_t>(&row.cells.at(c))) {
            vb.integer = *number;
         } else {
            vb.bytes = std::get<std::string>(row.cells.at(c));
         }
         walk.push_back(vb);
      }
   }
   return walk;
}

Oid index(std::initializer_list<std::uint32_t> arcs) {
   return Oid(std::vector<std::uint32_t>(arcs));
}

const std::vector<std::pair<std::uint32_t, std::uint8_t>> currentColumns = {
    {3, AsnType::Gauge32},
    {4, AsnType::OctetString},
    {5, AsnType::OctetString},
    {6, AsnType::Integer},
    {7, AsnType::TimeTicks}};

class QBridgeMibTest : public BothFormsTest {
 protected:
   void SetUp() override { startAgent(topology); }

   // dot1qTpFdbTable once the agent has worked off the switch's hosts.
   std::vector<Varbind> settledTpFdb(const std::vector<Row>& rows) {
      const auto expected = table(tpFdbEntry, {{2, AsnType::Integer}, {3, AsnType::Integer}}, rows);
      EXPECT_TRUE(eventually([&] { return snmpd().walk(tpFdbEntry) == expected; }))
          << ::testing::PrintToString(snmpd().walk(tpFdbEntry));
      return expected;
   }
};

const std::vector<Row> tpFdbRows = {{index({10}) + macIndex("02:00:00:00:10:01"), {1, 3}},
                                    {index({20}) + macIndex("00:1c:73:00:20:01"), {3, 5}},
                                    {index({20}) + macIndex("02:00:00:00:20:02"), {3, 5}}};

TEST_P(QBridgeMibTest, EveryTableListsExactlyTheRowsOfTheSwitch) {
   // Only learned hosts on bridge ports of VLANs that are neither internal nor selected show;
   // static and management entries show as mgmt(5).
   settledTpFdb(tpFdbRows);
   // A GETNEXT from part of an index finds the first row after it.
   const Oid port = tpFdbEntry.child(2);
   for (const auto& [from, next] :
        std::vector<std::pair<Oid, Oid>>{{port + index({0}), port + tpFdbRows[0].index},
                                         {port + index({10}), port + tpFdbRows[0].index},
                                         {port + index({11}), port + tpFdbRows[1].index},
                                         {port + index({20, 0, 28}), port + tpFdbRows[1].index}}) {
      EXPECT_EQ(snmpd().getNext(from).oid, next) << "GETNEXT " << from;
   }

   EXPECT_EQ(snmpd().walk(qBridgeBase), table(qBridgeBase,
                                              {{1, AsnType::Integer},
                                               {2, AsnType::Integer},
                                               {3, AsnType::Gauge32},
                                               {4, AsnType::Gauge32},
                                               {5, AsnType::Integer}},
                                              {{index({0}), {1, 4094, 4094, 3, 2}}}));
   EXPECT_EQ(snmpd().get(numDeletes).type, AsnType::Counter32);
   // Every FID but the internal VLAN's, counting what it learned, shown or not.
   EXPECT_EQ(snmpd().walk(fdbEntry), table(fdbEntry, {{2, AsnType::Counter32}},
                                           {{index({1}), {0}},
                                            {index({10}), {2}},
                                            {index({20}), {2}},
                                            {index({30}), {0}},
                                            {index({99}), {0}}}));
   // The switch made its VLANs together, just after start-up.
   const std::int64_t created = snmpd().get(currentEntry.child(7) + index({0, 1})).integer;
   EXPECT_LE(created, snmpd().get(sysUpTime).integer);
   // Ports that carry the VLAN now: Ethernet8's link is down, Ethernet5 has no bridge port.
   EXPECT_EQ(snmpd().walk(currentEntry), table(currentEntry, currentColumns,
                                               {{index({0, 1}), {1, "\x02", "\x02", 2, created}},
                                                {index({0, 10}), {10, "\xf0", "\xc0", 2, created}},
                                                {index({0, 20}), {20, "\x30", "\x20", 2, created}},
                                                {index({0, 30}), {30, "", "", 2, created}},
                                                {index({0, 99}), {99, "", "", 2, created}}}));
   // Configured members, whatever their link; suspended, hidden and internal VLANs left out.
   EXPECT_EQ(snmpd().walk(staticEntry), table(staticEntry,
                                              {{1, AsnType::OctetString},
                                               {2, AsnType::OctetString},
                                               {3, AsnType::OctetString},
                                               {4, AsnType::OctetString},
                                               {5, AsnType::Integer}},
                                              {{index({1}), {"default", "\x02", "", "\x02", 1}},
                                               {index({10}), {"ten", "\xf1", "", "\xc1", 1}},
                                               {index({20}), {"twenty", "\x30", "", "\x20", 1}}}));
   // Every bridge port but the routed one; a trunk without a native VLAN admits tagged frames
   // only.
   const std::string noOrigin(6, '\0');
   EXPECT_EQ(snmpd().walk(portVlanEntry), table(portVlanEntry,
                                                {{1, AsnType::Gauge32},
                                                 {2, AsnType::Integer},
                                                 {3, AsnType::Integer},
                                                 {4, AsnType::Integer},
                                                 {5, AsnType::Counter32},
                                                 {6, AsnType::OctetString},
                                                 {7, AsnType::Integer}},
                                                {{index({1}), {10, 1, 1, 2, 0, noOrigin, 2}},
                                                 {index({2}), {10, 1, 1, 2, 0, noOrigin, 2}},
                                                 {index({3}), {20, 1, 1, 2, 0, noOrigin, 2}},
                                                 {index({4}), {1, 2, 1, 2, 0, noOrigin, 2}},
                                                 {index({7}), {1, 1, 1, 2, 0, noOrigin, 2}},
                                                 {index({8}), {10, 1, 1, 2, 0, noOrigin, 2}}}));
}

// Nothing has changed since the switch started at up-time 0: a time mark of 2 still lists a
// VLAN, a mark of 3 no longer does.
TEST_P(QBridgeMibTest, TimeMarkListsVlansChangedUpToTwoTicksBeforeIt) {
   const Oid fdbId = currentEntry.child(3);
   const std::vector<std::pair<Oid, Oid>> nextCases = {
       {fdbId + index({2, 0}), fdbId + index({2, 1})},
       {fdbId + index({2, 1}), fdbId + index({2, 10})},
       {fdbId + index({2}), fdbId + index({2, 1})},
       {fdbId + index({3, 0}), currentEntry.child(4) + index({0, 1})},
       {fdbId + index({3}), currentEntry.child(4) + index({0, 1})},
   };
   for (const auto& [from, next] : nextCases) {
      EXPECT_EQ(snmpd().getNext(from).oid, next) << "GETNEXT " << from;
   }
   const GetResult atTwo = snmpd().get(fdbId + index({2, 10}));
   EXPECT_EQ(atTwo.type, AsnType::Gauge32) << atTwo;
   EXPECT_EQ(atTwo.integer, 10);
   EXPECT_EQ(snmpd().get(fdbId + index({3, 10})).type, AsnType::NoSuchInstance);
}

TEST_P(QBridgeMibTest, LinkChangeMovesItsVlansPastTheTimeMark) {
   const GetResult before = snmpd().get(sysUpTime);
   ok({"link", "Ethernet2", "down"});
   const GetResult after = snmpd().get(sysUpTime);
   const Oid fdbId = currentEntry.child(3);

   // VLAN 10 alone changed, no earlier than `before`.
   const auto mark = static_cast<std::uint32_t>(before.integer + 2);
   EXPECT_EQ(snmpd().getNext(fdbId + index({mark, 0})).oid, fdbId + index({mark, 10}));
   EXPECT_EQ(snmpd().getNext(fdbId + index({mark, 10})).oid, currentEntry.child(4) + index({0, 1}));
   const auto late = static_cast<std::uint32_t>(after.integer + 3);
   EXPECT_EQ(snmpd().get(fdbId + index({late, 10})).type, AsnType::NoSuchInstance);
   EXPECT_EQ(snmpd().get(currentEntry.child(4) + index({0, 10})).bytes, "\xb0");
   EXPECT_EQ(snmpd().get(currentEntry.child(5) + index({0, 10})).bytes, "\x80");
}

TEST_P(QBridgeMibTest, AddedVlanShowsEverywhereAndDeletedOneIsCountedAndGone) {
   settledTpFdb(tpFdbRows);
   ok({"vlan", "add", "60", "name", "lab net"});
   ASSERT_EQ(ok({"learn", "60", "02:00:00:00:60:01", "Ethernet4"}), "learned\n");
   const GetResult upTime = snmpd().get(sysUpTime);

   const Row current = {index({0, 60}), {60, "\x10", "", 2, 0}};
   auto currentRow = table(currentEntry, currentColumns, {current});
   ASSERT_EQ(snmpd().get(currentRow.back().oid).type, AsnType::TimeTicks);
   const std::int64_t created = snmpd().get(currentRow.back().oid).integer;
   EXPECT_GT(created, 0);
   EXPECT_LE(created, upTime.integer);
   currentRow.back().integer = created;
   for (const Varbind& vb : currentRow) {
      EXPECT_EQ(snmpd().get(vb.oid), vb);
   }
   EXPECT_EQ(snmpd().get(staticEntry.child(1) + index({60})).bytes, "lab net");
   EXPECT_EQ(snmpd().get(staticEntry.child(2) + index({60})).bytes, "\x10");
   EXPECT_EQ(snmpd().get(numVlans).integer, 4);
   EXPECT_EQ(snmpd().get(fdbEntry.child(2) + index({60})).integer, 1);
   auto rows = tpFdbRows;
   rows.push_back({index({60}) + macIndex("02:00:00:00:60:01"), {4, 3}});
   settledTpFdb(rows);

   ok({"vlan", "del", "60"});

   const GetResult deletes = snmpd().get(numDeletes);
   EXPECT_EQ(deletes.type, AsnType::Counter32) << deletes;
   EXPECT_EQ(deletes.integer, 1);
   EXPECT_EQ(snmpd().get(numVlans).integer, 3);
   settledTpFdb(tpFdbRows);
   for (const Oid& gone : {fdbEntry.child(2) + index({60}), currentEntry.child(3) + index({0, 60}),
                           staticEntry.child(1) + index({60})}) {
      EXPECT_EQ(snmpd().get(gone).type, AsnType::NoSuchInstance) << gone;
   }
}

TEST_P(QBridgeMibTest, InternalVlanKeepsItsFidAndHostsOutOfEveryTable) {
   const Oid host = index({4094}) + macIndex("02:00:00:00:ff:01");
   const std::vector<Oid> rowsOf4094 = {fdbEntry.child(2) + index({4094}),
                                        tpFdbEntry.child(2) + host,
                                        currentEntry.child(3) + index({0, 4094})};
   settledTpFdb(tpFdbRows);

   ok({"vlan", "internal", "4094", "off"});
   auto rows = tpFdbRows;
   rows.push_back({host, {3, 3}});
   settledTpFdb(rows);
   for (const Oid& oid : rowsOf4094) {
      EXPECT_FALSE(snmpd().get(oid).isException()) << oid;
   }

   ok({"vlan", "internal", "4094", "on"});
   settledTpFdb(tpFdbRows);
   for (const Oid& oid : rowsOf4094) {
      EXPECT_EQ(snmpd().get(oid).type, AsnType::NoSuchInstance) << oid;
   }
}

TEST_P(QBridgeMibTest, VlanNamesAreAtMost32Octets) {
   const Oid name10 = staticEntry.child(1) + index({10});

   ok({"vlan", "name", "10", std::string(32, 'n')});
   EXPECT_EQ(snmpd().get(name10).bytes, std::string(32, 'n'));
   // The switch refuses a longer name, and the row keeps the one it has.
   EXPECT_EQ(bridgectl({"vlan", "name", "10", std::string(33, 'n')}).status.exitCode(), 1);
   EXPECT_EQ(snmpd().get(name10).bytes, std::string(32, 'n'));
}

SWITCH_AGENT_FORMS(QBridgeMibTest);

}  // namespace
