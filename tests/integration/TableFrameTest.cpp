// The table frame through dot1dBasePortTable and dot1dTpFdbTable: GETNEXT and GETBULK from
// every kind of starting point (rows, gaps, partial and malformed indexes, column ends),
// empty tables, SETs and unknown columns, and a walk that runs while the switch learns and
// ages addresses.
//
// The expected answers come from the switch's own account of its ports and hosts
// (`bridgectl show`), not from the agent: a GETNEXT must return the first object of the
// table that follows the request in OID order, or the first object after the table.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;
using Clock = std::chrono::steady_clock;

const Oid dot1dBasePortEntry = "1.3.6.1.2.1.17.1.4.1";
const Oid dot1dTpFdbEntry = "1.3.6.1.2.1.17.4.3.1";
const Oid dot1qTpFdbEntry = "1.3.6.1.2.1.17.7.1.2.2.1";

constexpr auto settleTimeout = std::chrono::seconds(10);

// Bridge ports with gaps between their numbers and numbers that take more than one byte
// in BER; VLAN 1 hosts whose addresses have octets above 127.
const char* const frameTopology =
    "ports:\n"
    "  - {name: Ethernet1, port_id: 2, if_index: 2}\n"
    "  - {name: Ethernet2, port_id: 5, if_index: 5}\n"
    "  - {name: Ethernet3, port_id: 9, if_index: 9}\n"
    "  - {name: Ethernet4, port_id: 130, if_index: 130}\n"
    "  - {name: Ethernet5, port_id: 300, if_index: 300}\n"
    "vlans:\n"
    "  - {id: 1, name: default}\n"
    "static_macs:\n"
    "  - {vlan: 1, mac: 00:1c:73:00:10:01, interface: Ethernet1}\n"
    "learned_macs:\n"
    "  - {vlan: 1, range: Ethernet1-5, base: 02:00:01:00:00:00, count: 10}\n"
    "  - {vlan: 1, mac: 02:80:ff:00:00:01, interface: Ethernet4}\n"
    "  - {vlan: 1, mac: 0e:00:00:00:00:01, interface: Ethernet5}\n";

// VLAN 1 with no hosts at all; VLAN 10 has some, on a bridge port.
const char* const emptyVlanOneTopology =
    "ports:\n"
    "  - {range: Ethernet1-4, port_id: 1, if_index: 1}\n"
    "vlans:\n"
    "  - {id: 1, name: default}\n"
    "  - {id: 10, name: ten}\n"
    "switchports:\n"
    "  - {interface: Ethernet4, mode: access, access_vlan: 10}\n"
    "static_macs:\n"
    "  - {vlan: 10, mac: 00:1c:73:00:10:0a, interface: Ethernet4}\n"
    "learned_macs:\n"
    "  - {vlan: 10, interface: Ethernet4, base: 02:00:0a:00:00:00, count: 5}\n";

Oid macIndex(const std::string& text) {
   unsigned o[6];
   if (std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x", &o[0], &o[1], &o[2], &o[3], &o[4], &o[5]) !=
       6) {
      throw std::invalid_argument("not a MAC address: " + text);
   }
   return Oid(std::vector<std::uint32_t>(o, o + 6));
}

// The words of every line after the header.
std::vector<std::vector<std::string>> rowsOf(const std::string& text) {
   std::vector<std::vector<std::string>> rows;
   std::istringstream lines(text);
   std::string line;
   std::getline(lines, line);
   while (std::getline(lines, line)) {
      std::istringstream in(line);
      std::vector<std::string> words;
      for (std::string w; in >> w;) {
         words.push_back(w);
      }
      if (!words.empty()) {
         rows.push_back(words);
      }
   }
   return rows;
}

// A table as the switch says it should be: its columns and its row indexes, in order, and
// what follows it in the agent's MIB view.
struct Expected {
   Oid entry;
   std::vector<std::uint32_t> columns;
   std::vector<Oid> indexes;
   // The objects after the table, in order (OIDs only: their values are not the table's).
   std::vector<Oid> after;

   Oid object(std::uint32_t column, const Oid& index) const { return entry.child(column) + index; }
   Oid table() const {
      std::vector<std::uint32_t> arcs = entry.arcs();
      arcs.pop_back();
      return Oid(arcs);
   }
   // Every object of the table and then those after it.
   std::vector<Oid> sequence() const {
      std::vector<Oid> all;
      for (const std::uint32_t column : columns) {
         for (const Oid& index : indexes) {
            all.push_back(object(column, index));
         }
      }
      all.insert(all.end(), after.begin(), after.end());
      return all;
   }
   // The `count` objects a GETNEXT (and further repetitions) from `from` must return.
   std::vector<Oid> following(const Oid& from, std::size_t count) const {
      const std::vector<Oid> all = sequence();
      auto it = std::upper_bound(all.begin(), all.end(), from);
      std::vector<Oid> result;
      for (; it != all.end() && result.size() < count; ++it) {
         result.push_back(*it);
      }
      return result;
   }
   Oid next(const Oid& from) const {
      const auto one = following(from, 1);
      if (one.empty()) {
         throw std::logic_error("nothing known after " + from.str());
      }
      return one.front();
   }
   bool inTable(const Oid& oid) const { return oid.startsWith(table()); }
};

class TableFrameTest : public SwitchAgentTest {
 protected:
   // The objects that follow `table` in the agent's view, by GETNEXT from just past it.
   std::vector<Oid> objectsAfter(const Oid& table, std::size_t count) {
      std::vector<Oid> result;
      Oid current = table.child(std::numeric_limits<std::uint32_t>::max());
      while (result.size() < count) {
         const GetResult next = snmpd().getNext(current);
         if (!next.ok() || next.isException()) {
            break;
         }
         result.push_back(next.oid);
         current = next.oid;
      }
      return result;
   }

   // Bridge ports (port id and ifIndex non-zero) by port id.
   std::vector<std::pair<std::string, std::uint32_t>> bridgePorts() const {
      std::vector<std::pair<std::string, std::uint32_t>> ports;
      for (const auto& words : rowsOf(ok({"show", "ports"}))) {
         const auto portId = std::stoul(words.at(1));
         if (portId != 0 && std::stol(words.at(2)) > 0) {
            ports.emplace_back(words.at(0), static_cast<std::uint32_t>(portId));
         }
      }
      std::sort(ports.begin(), ports.end(),
                [](const auto& a, const auto& b) { return a.second < b.second; });
      return ports;
   }

   Expected expectedPortTable() {
      Expected e{dot1dBasePortEntry, {1, 2, 3, 4, 5}, {}, {}};
      for (const auto& port : bridgePorts()) {
         e.indexes.push_back(Oid(std::vector<std::uint32_t>{port.second}));
      }
      e.after = objectsAfter(e.table(), 40);
      return e;
   }

   // VLAN 1's hosts on bridge ports (the topologies here give VLAN 1 no selection word).
   Expected expectedFdbTable() {
      Expected e{dot1dTpFdbEntry, {1, 2, 3}, {}, {}};
      std::set<std::string> portNames;
      for (const auto& port : bridgePorts()) {
         portNames.insert(port.first);
      }
      for (const auto& words : rowsOf(ok({"show", "fdb", "1"}))) {
         if (words.at(0) == "1" && portNames.count(words.at(2))) {
            e.indexes.push_back(macIndex(words.at(1)));
         }
      }
      std::sort(e.indexes.begin(), e.indexes.end());
      e.after = objectsAfter(e.table(), 40);
      return e;
   }

   // Waits until a walk of the table has every row the switch describes.
   void waitForRows(const Expected& e) {
      const auto deadline = Clock::now() + settleTimeout;
      const std::size_t wanted = e.columns.size() * e.indexes.size();
      std::size_t found = 0;
      while ((found = snmpd().walk(e.table()).size()) != wanted && Clock::now() < deadline) {
         std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
      ASSERT_EQ(found, wanted) << "the agent never showed every row of " << e.table();
   }

   // GETNEXT from `from` answers the object the switch's account puts next.
   void expectNext(const Expected& e, const Oid& from) {
      const GetResult next = snmpd().getNext(from);
      ASSERT_TRUE(next.ok()) << "GETNEXT " << from << ": " << next;
      EXPECT_EQ(next.oid, e.next(from)) << "GETNEXT " << from;
      if (e.inTable(next.oid)) {
         EXPECT_FALSE(next.isException()) << "GETNEXT " << from << ": " << next;
      }
   }
};

TEST_F(TableFrameTest, GetNextFromAnIndexNotInTheTableReturnsTheNextRow) {
   startAgent(frameTopology);
   const Expected ports = expectedPortTable();
   const Expected fdb = expectedFdbTable();
   ASSERT_EQ(ports.indexes.size(), 5U);
   ASSERT_EQ(fdb.indexes.size(), 13U);
   waitForRows(ports);
   waitForRows(fdb);

   // Port table: rows 2, 5, 9, 130 and 300.
   const Oid port1 = dot1dBasePortEntry.child(1);
   EXPECT_EQ(snmpd().getNext(port1 + Oid("1")).oid, port1 + Oid("2"));
   EXPECT_EQ(snmpd().getNext(port1 + Oid("3")).oid, port1 + Oid("5"));
   EXPECT_EQ(snmpd().getNext(port1 + Oid("10")).oid, port1 + Oid("130"));
   EXPECT_EQ(snmpd().getNext(port1 + Oid("131")).oid, port1 + Oid("300"));
   EXPECT_EQ(snmpd().getNext(port1 + Oid("301")).oid, dot1dBasePortEntry.child(2) + Oid("2"));
   for (const std::uint32_t column : ports.columns) {
      for (const std::uint32_t missing : {1U, 3U, 4U, 6U, 8U, 10U, 129U, 131U, 299U, 301U}) {
         expectNext(ports, dot1dBasePortEntry.child(column).child(missing));
      }
   }

   // Forwarding table: addresses between, before and after the rows.
   const Oid address1 = dot1dTpFdbEntry.child(1);
   EXPECT_EQ(snmpd().getNext(address1 + macIndex("00:00:00:00:00:00")).oid,
             address1 + macIndex("00:1c:73:00:10:01"));
   EXPECT_EQ(snmpd().getNext(address1 + macIndex("00:1c:73:00:10:02")).oid,
             address1 + macIndex("02:00:01:00:00:00"));
   EXPECT_EQ(snmpd().getNext(address1 + macIndex("02:00:01:00:00:0a")).oid,
             address1 + macIndex("02:80:ff:00:00:01"));
   for (const std::uint32_t column : fdb.columns) {
      for (const char* missing :
           {"00:00:00:00:00:00", "00:1c:73:00:10:00", "00:1c:73:00:10:02", "01:ff:ff:ff:ff:ff",
            "02:00:01:00:00:0a", "02:7f:ff:ff:ff:ff", "02:80:ff:00:00:00", "02:80:ff:00:00:02",
            "0e:00:00:00:00:00", "0e:00:00:00:00:02", "ff:ff:ff:ff:ff:ff"}) {
         expectNext(fdb, dot1dTpFdbEntry.child(column) + macIndex(missing));
      }
   }
}

TEST_F(TableFrameTest, GetNextFromAPartialIndex) {
   startAgent(frameTopology);
   const Expected ports = expectedPortTable();
   const Expected fdb = expectedFdbTable();
   waitForRows(ports);
   waitForRows(fdb);

   // The table, its entry, each column (and a column before the first).
   for (const Expected* e : {&ports, &fdb}) {
      expectNext(*e, e->table());
      expectNext(*e, e->entry);
      expectNext(*e, e->entry.child(0));
      for (const std::uint32_t column : e->columns) {
         expectNext(*e, e->entry.child(column));
      }
   }
   EXPECT_EQ(snmpd().getNext(dot1dBasePortEntry.child(2)).oid,
             dot1dBasePortEntry.child(2) + Oid("2"));
   EXPECT_EQ(snmpd().getNext(dot1dTpFdbEntry.child(3)).oid,
             dot1dTpFdbEntry.child(3) + macIndex("00:1c:73:00:10:01"));

   // Some of an address's six octets.
   const Oid port2 = dot1dTpFdbEntry.child(2);
   EXPECT_EQ(snmpd().getNext(port2 + Oid("2.0.1")).oid, port2 + macIndex("02:00:01:00:00:00"));
   EXPECT_EQ(snmpd().getNext(port2 + Oid("2.128")).oid, port2 + macIndex("02:80:ff:00:00:01"));
   EXPECT_EQ(snmpd().getNext(port2 + Oid("15")).oid,
             dot1dTpFdbEntry.child(3) + macIndex("00:1c:73:00:10:01"));
   for (const std::uint32_t column : fdb.columns) {
      const Oid c = dot1dTpFdbEntry.child(column);
      for (const Oid& partial :
           {c + Oid("0"), c + Oid("0.28.115"), c + Oid("2"), c + Oid("2.0.1"), c + Oid("2.0.1.0.0"),
            c + Oid("2.0.1.0.0.9"), c + Oid("2.0.1.0"), c + Oid("2.128"), c + Oid("2.128.255.0.0"),
            c + Oid("14"), c + Oid("14.0.0.0.0"), c + Oid("15")}) {
         expectNext(fdb, partial);
      }
   }
}

TEST_F(TableFrameTest, GetNextFromMalformedIndexesAnswersAsAScanFromTheFirstRow) {
   startAgent(frameTopology);
   const Expected ports = expectedPortTable();
   const Expected fdb = expectedFdbTable();
   waitForRows(ports);
   waitForRows(fdb);

   // Port numbers out of range (port ids stop at 65535), zero, and too many sub-identifiers.
   for (const std::uint32_t column : ports.columns) {
      const Oid c = dot1dBasePortEntry.child(column);
      for (const Oid& bad : {c + Oid("70000"), c + Oid("0"), c + Oid("65536"),
                             c + Oid("2147483648"), c + Oid("4294967295"), c + Oid("2.1"),
                             c + Oid("5.0.0"), c + Oid("300.1"), c + Oid("0.5")}) {
         expectNext(ports, bad);
      }
   }
   EXPECT_EQ(snmpd().getNext(dot1dBasePortEntry.child(1) + Oid("70000")).oid,
             dot1dBasePortEntry.child(2) + Oid("2"));
   EXPECT_EQ(snmpd().getNext(dot1dBasePortEntry.child(1) + Oid("0")).oid,
             dot1dBasePortEntry.child(1) + Oid("2"));
   EXPECT_EQ(snmpd().getNext(dot1dBasePortEntry.child(3) + Oid("2.1")).oid,
             dot1dBasePortEntry.child(3) + Oid("5"));

   // Addresses of seven and eight sub-identifiers, and sub-identifiers above 255.
   for (const std::uint32_t column : fdb.columns) {
      const Oid c = dot1dTpFdbEntry.child(column);
      for (const Oid& bad :
           {c + macIndex("02:00:01:00:00:05") + Oid("7"),
            c + macIndex("02:00:01:00:00:05") + Oid("0.0"),
            c + macIndex("02:00:01:00:00:09") + Oid("1"),
            c + macIndex("0e:00:00:00:00:01") + Oid("0"), c + Oid("2.0.1.0.0.256"),
            c + Oid("2.0.1.0.0.300"), c + Oid("2.0.1.4294967295.0.0"), c + Oid("300.0.0.0.0.0"),
            c + Oid("0.28.115.0.16.1000"), c + Oid("255.255.255.255.255.255.1")}) {
         expectNext(fdb, bad);
      }
   }
   EXPECT_EQ(
       snmpd().getNext(dot1dTpFdbEntry.child(1) + macIndex("02:00:01:00:00:05") + Oid("7")).oid,
       dot1dTpFdbEntry.child(1) + macIndex("02:00:01:00:00:06"));
   EXPECT_EQ(snmpd().getNext(dot1dTpFdbEntry.child(2) + Oid("2.0.1.0.0.300")).oid,
             dot1dTpFdbEntry.child(2) + macIndex("02:80:ff:00:00:01"));
}

// A GETNEXT from the last row of a column answers the FIRST row of the next column (not the
// last one), and from the last row of the last column the first object after the table.
TEST_F(TableFrameTest, GetNextFromTheLastRowOfAColumnReturnsTheFirstRowOfTheNext) {
   startAgent(frameTopology);
   for (Expected e : {expectedPortTable(), expectedFdbTable()}) {
      waitForRows(e);
      ASSERT_GE(e.indexes.size(), 2U);
      const Oid& first = e.indexes.front();
      const Oid& last = e.indexes.back();
      for (std::size_t i = 0; i < e.columns.size(); ++i) {
         const Oid from = e.object(e.columns[i], last);
         const GetResult next = snmpd().getNext(from);
         ASSERT_TRUE(next.ok()) << next;
         if (i + 1 < e.columns.size()) {
            EXPECT_EQ(next.oid, e.object(e.columns[i + 1], first)) << "GETNEXT " << from;
            EXPECT_NE(next.oid, e.object(e.columns[i + 1], last)) << "GETNEXT " << from;
            EXPECT_FALSE(next.isException()) << next;
         } else {
            EXPECT_EQ(next.oid, e.after.front()) << "GETNEXT " << from;
            EXPECT_FALSE(e.inTable(next.oid)) << next;
         }
         // And from the second-to-last row, the last one of the same column.
         const GetResult penultimate = snmpd().getNext(e.object(e.columns[i], e.indexes.end()[-2]));
         EXPECT_EQ(penultimate.oid, e.object(e.columns[i], last));
      }
   }
}

TEST_F(TableFrameTest, GetNextFromTheLastRowOfAColumnInTheLabSwitch) {
   startAgent();
   for (Expected e : {expectedPortTable(), expectedFdbTable()}) {
      waitForRows(e);
      for (std::size_t i = 0; i + 1 < e.columns.size(); ++i) {
         const Oid from = e.object(e.columns[i], e.indexes.back());
         EXPECT_EQ(snmpd().getNext(from).oid, e.object(e.columns[i + 1], e.indexes.front()))
             << "GETNEXT " << from;
      }
   }
}

TEST_F(TableFrameTest, GetBulkAcrossColumnBoundaries) {
   startAgent(frameTopology);
   for (Expected e : {expectedPortTable(), expectedFdbTable()}) {
      waitForRows(e);
      const std::size_t rows = e.indexes.size();
      for (const std::uint32_t column : e.columns) {
         // From the last few rows of each column, and from the column itself.
         std::vector<Oid> starts = {e.entry.child(column)};
         for (std::size_t back = 1; back <= 3 && back <= rows; ++back) {
            starts.push_back(e.object(column, e.indexes[rows - back]));
         }
         for (const Oid& start : starts) {
            for (const int repetitions : {1, 2, 4, 7, static_cast<int>(rows) + 3}) {
               const Response response = snmpd().getBulk(start, repetitions);
               ASSERT_TRUE(response.ok()) << response;
               std::vector<Oid> got;
               for (const Varbind& vb : response.varbinds) {
                  got.push_back(vb.oid);
                  if (e.inTable(vb.oid)) {
                     EXPECT_FALSE(vb.isException()) << vb;
                  }
               }
               EXPECT_EQ(got, e.following(start, static_cast<std::size_t>(repetitions)))
                   << "GETBULK from " << start << ", max-repetitions " << repetitions;
            }
         }
      }
   }
}

TEST_F(TableFrameTest, EmptyForwardingTable) {
   startAgent(emptyVlanOneTopology);
   // The switch has hosts, none of them in VLAN 1.
   ASSERT_EQ(rowsOf(ok({"show", "fdb", "1"})).size(), 0U);
   ASSERT_EQ(rowsOf(ok({"show", "fdb", "10"})).size(), 6U);
   const Expected fdb = expectedFdbTable();
   ASSERT_TRUE(fdb.indexes.empty());
   ASSERT_FALSE(fdb.after.empty());

   for (const char* address : {"02:00:0a:00:00:00", "00:1c:73:00:10:0a", "02:00:00:00:00:01"}) {
      for (const std::uint32_t column : fdb.columns) {
         const Oid oid = fdb.object(column, macIndex(address));
         EXPECT_EQ(snmpd().get(oid).type, AsnType::NoSuchInstance) << oid;
         expectNext(fdb, oid);
      }
   }
   for (const Oid& from : {fdb.table(), fdb.entry, fdb.entry.child(1), fdb.entry.child(3)}) {
      const GetResult next = snmpd().getNext(from);
      EXPECT_EQ(next.oid, fdb.after.front()) << "GETNEXT " << from;
      EXPECT_FALSE(fdb.inTable(next.oid));
   }
   EXPECT_TRUE(snmpd().walk(fdb.table()).empty());
   EXPECT_TRUE(snmpd().bulkWalk(fdb.table(), 10).empty());
   const Response bulk = snmpd().getBulk(fdb.table(), 3);
   ASSERT_TRUE(bulk.ok()) << bulk;
   ASSERT_FALSE(bulk.varbinds.empty());
   EXPECT_EQ(bulk.varbinds.front().oid, fdb.after.front());

   // One host makes a one-row table; ageing it empties the table again.
   ok({"learn", "1", "02:00:00:00:00:01", "Ethernet2"});
   const Oid port = fdb.object(2, macIndex("02:00:00:00:00:01"));
   const auto deadline = Clock::now() + settleTimeout;
   while (snmpd().get(port).type != AsnType::Integer && Clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
   }
   EXPECT_EQ(snmpd().walk(fdb.table()).size(), 3U);
   ok({"age", "1", "02:00:00:00:00:01"});
   while (snmpd().get(port).type == AsnType::Integer && Clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
   }
   EXPECT_EQ(snmpd().get(port).type, AsnType::NoSuchInstance);
   EXPECT_EQ(snmpd().getNext(fdb.table()).oid, fdb.after.front());
}

TEST_F(TableFrameTest, SetsOnTheReadOnlyTablesAreNotWritable) {
   startAgent(frameTopology);
   const Expected ports = expectedPortTable();
   const Expected fdb = expectedFdbTable();
   waitForRows(ports);
   waitForRows(fdb);
   const std::vector<Varbind> portsBefore = snmpd().walk(ports.table());
   const std::vector<Varbind> fdbBefore = snmpd().walk(fdb.table());

   // Existing rows and rows that do not exist, every column, a value of the column's type.
   for (const char* row : {"5", "7"}) {
      const Oid index(row);
      for (const SetValue& value :
           {SetValue{ports.object(1, index), 'i', 5}, SetValue{ports.object(2, index), 'i', 77},
            SetValue{ports.object(3, index), 'o', "1.3.6.1"},
            SetValue{ports.object(4, index), 'c', 1}, SetValue{ports.object(5, index), 'c', 1}}) {
         const Response response = snmpd().set({value});
         EXPECT_EQ(response.errstat, ErrStat::NotWritable) << value.oid << ": " << response;
         EXPECT_EQ(response.errindex, 1) << value.oid;
      }
   }
   for (const char* address : {"02:00:01:00:00:03", "02:00:00:00:77:77"}) {
      const Oid index = macIndex(address);
      for (const SetValue& value :
           {SetValue{fdb.object(1, index), 'x', "02 00 00 00 77 77"},
            SetValue{fdb.object(2, index), 'i', 9}, SetValue{fdb.object(3, index), 'i', 2}}) {
         const Response response = snmpd().set({value});
         EXPECT_EQ(response.errstat, ErrStat::NotWritable) << value.oid << ": " << response;
         EXPECT_EQ(response.errindex, 1) << value.oid;
      }
   }

   EXPECT_EQ(snmpd().walk(ports.table()), portsBefore);
   EXPECT_EQ(snmpd().walk(fdb.table()), fdbBefore);
}

TEST_F(TableFrameTest, GetOfAnUnknownColumnIsNoSuchObject) {
   startAgent(frameTopology);
   const Expected ports = expectedPortTable();
   const Expected fdb = expectedFdbTable();
   waitForRows(ports);
   waitForRows(fdb);
   const Oid host = macIndex("02:00:01:00:00:05");

   for (const Oid& oid : {fdb.object(4, host), fdb.object(0, host), fdb.object(9, host),
                          ports.object(6, Oid("5")), ports.object(0, Oid("5"))}) {
      EXPECT_EQ(snmpd().get(oid).type, AsnType::NoSuchObject) << oid;
   }
   // A known column with an index that names no row.
   for (const Oid& oid :
        {fdb.object(1, macIndex("02:00:01:00:00:0a")), fdb.object(2, host + Oid("7")),
         fdb.object(3, Oid("2.0.1")), fdb.object(1, Oid("2.0.1.0.0.261")),
         ports.object(1, Oid("70000")), ports.object(2, Oid("0")), ports.object(3, Oid("3")),
         ports.object(1, Oid("5.0"))}) {
      EXPECT_EQ(snmpd().get(oid).type, AsnType::NoSuchInstance) << oid;
   }
   // The rows themselves answer.
   EXPECT_FALSE(snmpd().get(fdb.object(2, host)).isException());
   EXPECT_FALSE(snmpd().get(ports.object(2, Oid("5"))).isException());
}

// ---- a walk while the switch learns, moves and ages addresses ----

// Learns a burst of hosts (paced) in VLAN 1, then ages and re-learns the lab's hosts
// 02:00:01:00:00:14-27 on other ports and ages some of the burst's hosts, until stopped.
class Churn {
 public:
   explicit Churn(std::function<CommandResult(std::vector<std::string>)> run)
       : run_(std::move(run)) {
      thread_ = std::thread([this] { loop(); });
   }
   ~Churn() { stop(); }

   void stop() {
      done_ = true;
      if (thread_.joinable()) {
         thread_.join();
      }
   }
   int failures() const { return failures_; }
   int commands() const { return commands_; }
   std::string firstFailure() const {
      const std::lock_guard<std::mutex> lock(mutex_);
      return firstFailure_;
   }

 private:
   void command(const std::vector<std::string>& args) {
      const CommandResult result = run_(args);
      ++commands_;
      if (!result.succeeded() && failures_++ == 0) {
         const std::lock_guard<std::mutex> lock(mutex_);
         firstFailure_ = args.front() + ": " + result.err;
      }
   }

   void loop() {
      command({"burst", "20000", "8", "seed", "11", "paced"});
      std::vector<std::string> burstHosts;
      std::size_t nextAged = 0;
      for (unsigned round = 0; !done_; ++round) {
         for (unsigned i = 0x14; i <= 0x27 && !done_; ++i) {
            char mac[18];
            std::snprintf(mac, sizeof mac, "02:00:01:00:00:%02x", i);
            command({"age", "1", mac});
            command({"learn", "1", mac, "Ethernet" + std::to_string((i + round) % 8 + 1)});
         }
         if (round == 0) {
            // Every 97th of the burst's hosts the switch has learned so far.
            const std::string fdb = run_({"show", "fdb", "1"}).out;
            std::size_t n = 0;
            for (const auto& words : rowsOf(fdb)) {
               if (words.size() > 1 && words[1].rfind("02:00:01:00:00:", 0) != 0 &&
                   words[1] != "00:1c:73:00:10:01" && ++n % 97 == 0) {
                  burstHosts.push_back(words[1]);
               }
            }
         }
         // A few more of them each round, each aged once.
         for (std::size_t k = 0; k < 8 && nextAged < burstHosts.size() && !done_; ++k) {
            command({"age", "1", burstHosts[nextAged++]});
         }
      }
   }

   std::function<CommandResult(std::vector<std::string>)> run_;
   std::atomic<bool> done_{false};
   std::atomic<int> failures_{0};
   std::atomic<int> commands_{0};
   mutable std::mutex mutex_;
   std::string firstFailure_;
   std::thread thread_;
};

// Walks `entry`'s table by GETNEXT while the switch churns; checks the walk goes strictly up,
// ends by leaving the table (not by an error or an early stop), within a time and a step
// bound, and finds in every column the rows that stay put throughout.
void walkWhileChurning(SnmpdAgent& snmpd, const Oid& entry,
                       const std::vector<std::uint32_t>& columns, const Oid& prefix,
                       std::function<CommandResult(std::vector<std::string>)> run) {
   std::vector<std::uint32_t> tableArcs = entry.arcs();
   tableArcs.pop_back();
   const Oid table(tableArcs);
   // The static host and the lab's first 20 learned hosts are never touched.
   std::vector<Oid> stable = {prefix + macIndex("00:1c:73:00:10:01")};
   for (unsigned i = 0; i < 0x14; ++i) {
      char mac[18];
      std::snprintf(mac, sizeof mac, "02:00:01:00:00:%02x", i);
      stable.push_back(prefix + macIndex(mac));
   }
   // Every object of the stable rows must be there before the churn starts.
   for (const std::uint32_t column : columns) {
      for (const Oid& index : stable) {
         const auto deadline = Clock::now() + settleTimeout;
         while (snmpd.get(entry.child(column) + index).isException() && Clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
         }
         ASSERT_FALSE(snmpd.get(entry.child(column) + index).isException());
      }
   }
   const Oid after = snmpd.getNext(table.child(std::numeric_limits<std::uint32_t>::max())).oid;

   const std::size_t before = snmpd.walk(table).size();
   const auto learnedHosts = [&run] {
      // "<n> ports, <n> VLANs, <n> learned hosts, ..."
      const std::string summary = run({"show", "summary"}).out;
      const auto at = summary.find(" learned hosts");
      const auto from = summary.rfind(' ', at - 1);
      return at == std::string::npos ? 0UL : std::stoul(summary.substr(from + 1, at - from - 1));
   };
   const std::size_t learnedBefore = learnedHosts();

   Churn churn(run);
   // The walk starts once the switch has begun learning the burst.
   const auto started = Clock::now() + settleTimeout;
   while (learnedHosts() <= learnedBefore && Clock::now() < started) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
   }
   const auto deadline = Clock::now() + std::chrono::seconds(120);
   // Rows ever present: those before, the burst's 20000, the re-learned ones.
   const std::size_t stepBound = before + columns.size() * (20000 + 1000);
   std::vector<Oid> walked;
   Oid current = table;
   Oid end;
   for (;;) {
      const GetResult next = snmpd.getNext(current);
      ASSERT_TRUE(next.ok()) << "GETNEXT " << current << ": " << next;
      ASSERT_FALSE(next.isException()) << "GETNEXT " << current << ": " << next;
      ASSERT_GT(next.oid, current) << "the walk went back";
      if (!next.oid.startsWith(table)) {
         end = next.oid;
         break;
      }
      walked.push_back(next.oid);
      current = next.oid;
      ASSERT_LT(walked.size(), stepBound) << "the walk does not end";
      ASSERT_LT(Clock::now(), deadline)
          << "the walk took too long; " << walked.size() << " objects so far";
   }
   churn.stop();

   EXPECT_EQ(churn.failures(), 0) << "of " << churn.commands()
                                  << " bridgectl commands; first: " << churn.firstFailure();
   EXPECT_GT(churn.commands(), 1);
   // It left the table for what follows the table, not for somewhere further on.
   EXPECT_EQ(end, after);
   const std::set<Oid> seen(walked.begin(), walked.end());
   for (const std::uint32_t column : columns) {
      for (const Oid& index : stable) {
         EXPECT_TRUE(seen.count(entry.child(column) + index))
             << entry.child(column) + index << " missing from the walk";
      }
   }
   // The burst was seen arriving.
   EXPECT_GT(walked.size(), before);
}

TEST_F(TableFrameTest, TpFdbWalkCompletesWhileTheSwitchLearnsAndAges) {
   startAgent();
   walkWhileChurning(snmpd(), dot1dTpFdbEntry, {1, 2, 3}, Oid(),
                     [this](std::vector<std::string> args) { return bridgectl(args); });
}

TEST_F(TableFrameTest, QBridgeTpFdbWalkCompletesWhileTheSwitchLearnsAndAges) {
   startAgent();
   const GetResult probe = snmpd().getNext(dot1qTpFdbEntry);
   if (!probe.ok() || !probe.oid.startsWith(dot1qTpFdbEntry)) {
      GTEST_SKIP() << "dot1qTpFdbTable is not served by this build";
   }
   // Rows of FID 1: the FID comes before the address in the index.
   walkWhileChurning(snmpd(), dot1qTpFdbEntry, {2, 3}, Oid("1"),
                     [this](std::vector<std::string> args) { return bridgectl(args); });
}

}  // namespace
