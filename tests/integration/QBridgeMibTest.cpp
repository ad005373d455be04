// Q-BRIDGE-MIB scenarios: a small switch with every kind of port and VLAN, each table's exact
// rows, the current table's time mark, and VLANs added, deleted and made internal.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

using namespace Harness::Mib;
const Oid numVlans = "1.3.6.1.2.1.17.7.1.1.4.0";
const Oid numDeletes = "1.3.6.1.2.1.17.7.1.4.1.0";

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

// dot1qVlanCurrentTable from its column 3.
const std::vector<std::uint8_t> currentColumns = {AsnType::Gauge32, AsnType::OctetString,
                                                  AsnType::OctetString, AsnType::Integer,
                                                  AsnType::TimeTicks};

class QBridgeMibTest : public BothFormsTest {
 protected:
   void SetUp() override { startAgent(topology); }

   // dot1qTpFdbTable once the agent has worked off the switch's hosts.
   std::vector<Varbind> settledTpFdb(const std::vector<TableRow>& rows) {
      const auto expected = tableWalk(tpFdbEntry, 2, {AsnType::Integer, AsnType::Integer}, rows);
      EXPECT_TRUE(eventually([&] { return snmpd().walk(tpFdbEntry) == expected; }))
          << ::testing::PrintToString(snmpd().walk(tpFdbEntry));
      return expected;
   }
};

const std::vector<TableRow> tpFdbRows = {{Oid("10") + macIndex("02:00:00:00:10:01"), {1, 3}},
                                         {Oid("20") + macIndex("00:1c:73:00:20:01"), {3, 5}},
                                         {Oid("20") + macIndex("02:00:00:00:20:02"), {3, 5}}};

TEST_P(QBridgeMibTest, EveryTableListsExactlyTheRowsOfTheSwitch) {
   // Only learned hosts on bridge ports of VLANs that are neither internal nor selected show;
   // static and management entries show as mgmt(5).
   settledTpFdb(tpFdbRows);
   // A GETNEXT from part of an index finds the first row after it.
   const Oid port = tpFdbEntry.child(2);
   for (const auto& [from, next] :
        std::vector<std::pair<Oid, Oid>>{{port + Oid("0"), port + tpFdbRows[0].index},
                                         {port + Oid("10"), port + tpFdbRows[0].index},
                                         {port + Oid("11"), port + tpFdbRows[1].index},
                                         {port + Oid("20.0.28"), port + tpFdbRows[1].index}}) {
      EXPECT_EQ(snmpd().getNext(from).oid, next) << "GETNEXT " << from;
   }

   EXPECT_EQ(snmpd().walk(qBridgeBase),
             tableWalk(qBridgeBase, 1,
                       {AsnType::Integer, AsnType::Integer, AsnType::Gauge32, AsnType::Gauge32,
                        AsnType::Integer},
                       {{"0", {1, 4094, 4094, 3, 2}}}));
   EXPECT_EQ(snmpd().get(numDeletes).type, AsnType::Counter32);
   // Every FID but the internal VLAN's, counting what it learned, shown or not.
   EXPECT_EQ(snmpd().walk(qFdbEntry),
             tableWalk(qFdbEntry, 2, {AsnType::Counter32},
                       {{"1", {0}}, {"10", {2}}, {"20", {2}}, {"30", {0}}, {"99", {0}}}));
   // The switch made its VLANs together, just after start-up.
   const std::int64_t created = snmpd().get(currentEntry.child(7) + Oid("0.1")).integer;
   EXPECT_LE(created, snmpd().get(sysUpTime).integer);
   // Ports that carry the VLAN now: Ethernet8's link is down, Ethernet5 has no bridge port.
   EXPECT_EQ(snmpd().walk(currentEntry), tableWalk(currentEntry, 3, currentColumns,
                                                   {{"0.1", {1, "\x02", "\x02", 2, created}},
                                                    {"0.10", {10, "\xf0", "\xc0", 2, created}},
                                                    {"0.20", {20, "\x30", "\x20", 2, created}},
                                                    {"0.30", {30, "", "", 2, created}},
                                                    {"0.99", {99, "", "", 2, created}}}));
   // Configured members, whatever their link; suspended, hidden and internal VLANs left out.
   EXPECT_EQ(snmpd().walk(staticEntry),
             tableWalk(staticEntry, 1,
                       {AsnType::OctetString, AsnType::OctetString, AsnType::OctetString,
                        AsnType::OctetString, AsnType::Integer},
                       {{"1", {"default", "\x02", "", "\x02", 1}},
                        {"10", {"ten", "\xf1", "", "\xc1", 1}},
                        {"20", {"twenty", "\x30", "", "\x20", 1}}}));
   // Every bridge port but the routed one; a trunk without a native VLAN admits tagged frames
   // only.
   const std::string noOrigin(6, '\0');
   EXPECT_EQ(snmpd().walk(portVlanEntry),
             tableWalk(portVlanEntry, 1,
                       {AsnType::Gauge32, AsnType::Integer, AsnType::Integer, AsnType::Integer,
                        AsnType::Counter32, AsnType::OctetString, AsnType::Integer},
                       {{"1", {10, 1, 1, 2, 0, noOrigin, 2}},
                        {"2", {10, 1, 1, 2, 0, noOrigin, 2}},
                        {"3", {20, 1, 1, 2, 0, noOrigin, 2}},
                        {"4", {1, 2, 1, 2, 0, noOrigin, 2}},
                        {"7", {1, 1, 1, 2, 0, noOrigin, 2}},
                        {"8", {10, 1, 1, 2, 0, noOrigin, 2}}}));
}

// A time mark lists the VLANs whose ports changed up to two ticks before it. Nothing has
// changed since the switch started at up-time 0: a mark of 2 still lists a VLAN, a mark of 3
// no longer does; then a link goes down.
TEST_P(QBridgeMibTest, TimeMarkListsVlansChangedUpToTwoTicksBeforeIt) {
   const Oid fdbId = currentEntry.child(3), egress = currentEntry.child(4);
   const std::vector<std::pair<Oid, Oid>> nextCases = {
       {fdbId + Oid("2.0"), fdbId + Oid("2.1")}, {fdbId + Oid("2.1"), fdbId + Oid("2.10")},
       {fdbId + Oid("2"), fdbId + Oid("2.1")},   {fdbId + Oid("3.0"), egress + Oid("0.1")},
       {fdbId + Oid("3"), egress + Oid("0.1")},
   };
   for (const auto& [from, next] : nextCases) {
      EXPECT_EQ(snmpd().getNext(from).oid, next) << "GETNEXT " << from;
   }
   EXPECT_EQ(snmpd().get(fdbId + Oid("2.10")), value(fdbId + Oid("2.10"), AsnType::Gauge32, 10));
   EXPECT_EQ(snmpd().get(fdbId + Oid("3.10")).type, AsnType::NoSuchInstance);

   const std::int64_t before = snmpd().get(sysUpTime).integer;
   ok({"link", "Ethernet2", "down"});
   const std::int64_t after = snmpd().get(sysUpTime).integer;
   // VLAN 10 alone changed, no earlier than `before`.
   const std::string mark = std::to_string(before + 2), late = std::to_string(after + 3);
   EXPECT_EQ(snmpd().getNext(fdbId + Oid(mark + ".0")).oid, fdbId + Oid(mark + ".10"));
   EXPECT_EQ(snmpd().getNext(fdbId + Oid(mark + ".10")).oid, egress + Oid("0.1"));
   EXPECT_EQ(snmpd().get(fdbId + Oid(late + ".10")).type, AsnType::NoSuchInstance);
   EXPECT_EQ(snmpd().get(egress + Oid("0.10")).bytes, "\xb0");
   EXPECT_EQ(snmpd().get(currentEntry.child(5) + Oid("0.10")).bytes, "\x80");
}

TEST_P(QBridgeMibTest, AddedVlanShowsEverywhereAndDeletedOneIsCountedAndGone) {
   settledTpFdb(tpFdbRows);
   ok({"vlan", "add", "60", "name", "lab net"});
   ASSERT_EQ(ok({"learn", "60", "02:00:00:00:60:01", "Ethernet4"}), "learned\n");
   const GetResult upTime = snmpd().get(sysUpTime);

   const TableRow current = {"0.60", {60, "\x10", "", 2, 0}};
   auto currentRow = tableWalk(currentEntry, 3, currentColumns, {current});
   ASSERT_EQ(snmpd().get(currentRow.back().oid).type, AsnType::TimeTicks);
   const std::int64_t created = snmpd().get(currentRow.back().oid).integer;
   EXPECT_GT(created, 0);
   EXPECT_LE(created, upTime.integer);
   currentRow.back().integer = created;
   for (const Varbind& vb : currentRow) {
      EXPECT_EQ(snmpd().get(vb.oid), vb);
   }
   EXPECT_EQ(snmpd().get(staticEntry.child(1) + Oid("60")).bytes, "lab net");
   EXPECT_EQ(snmpd().get(staticEntry.child(2) + Oid("60")).bytes, "\x10");
   EXPECT_EQ(snmpd().get(numVlans).integer, 4);
   EXPECT_EQ(snmpd().get(qFdbEntry.child(2) + Oid("60")).integer, 1);
   auto rows = tpFdbRows;
   rows.push_back({Oid("60") + macIndex("02:00:00:00:60:01"), {4, 3}});
   settledTpFdb(rows);

   ok({"vlan", "del", "60"});

   const GetResult deletes = snmpd().get(numDeletes);
   EXPECT_EQ(deletes.type, AsnType::Counter32) << deletes;
   EXPECT_EQ(deletes.integer, 1);
   EXPECT_EQ(snmpd().get(numVlans).integer, 3);
   settledTpFdb(tpFdbRows);
   for (const Oid& gone : {qFdbEntry.child(2) + Oid("60"), currentEntry.child(3) + Oid("0.60"),
                           staticEntry.child(1) + Oid("60")}) {
      EXPECT_EQ(snmpd().get(gone).type, AsnType::NoSuchInstance) << gone;
   }
}

TEST_P(QBridgeMibTest, InternalVlanKeepsItsFidAndHostsOutOfEveryTable) {
   const Oid host = Oid("4094") + macIndex("02:00:00:00:ff:01");
   const std::vector<Oid> rowsOf4094 = {qFdbEntry.child(2) + Oid("4094"),
                                        tpFdbEntry.child(2) + host,
                                        currentEntry.child(3) + Oid("0.4094")};
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
   const Oid name10 = staticEntry.child(1) + Oid("10");

   ok({"vlan", "name", "10", std::string(32, 'n')});
   EXPECT_EQ(snmpd().get(name10).bytes, std::string(32, 'n'));
   // The switch refuses a longer name, and the row keeps the one it has.
   EXPECT_EQ(bridgectl({"vlan", "name", "10", std::string(33, 'n')}).status.exitCode(), 1);
   EXPECT_EQ(snmpd().get(name10).bytes, std::string(32, 'n'));
}

SWITCH_AGENT_FORMS(QBridgeMibTest);

}  // namespace
