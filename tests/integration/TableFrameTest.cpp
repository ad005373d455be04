// How the agent walks its tables, through dot1dBasePortTable and
// dot1dTpFdbTable: GETNEXT and GETBULK from rows, gaps, partial and malformed
// indexes and column ends; GET of unknown columns and missing rows; an empty
// table; a walk while the switch churns.
//
// The expected answer to a GETNEXT is the first object of the switch's known
// rows that follows the request in OID order, then what follows the table.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

using namespace Harness::Mib;
// The objects after each table: dot1dTpLearnedEntryDiscards,
// dot1qVlanVersionNumber.
const Oid afterPorts = "1.3.6.1.2.1.17.4.1.0";
const Oid afterFdb = "1.3.6.1.2.1.17.7.1.1.1.0";

// Bridge ports with gaps between their numbers, some above 127 (two octets in
// BER); VLAN 1 hosts with address octets above 127.
const std::string topology = Topology()
                                 .ports("Ethernet1", 2)
                                 .ports("Ethernet2", 5)
                                 .ports("Ethernet3", 9)
                                 .ports("Ethernet4", 130)
                                 .ports("Ethernet5", 300)
                                 .vlan(1, "default")
                                 .staticHost(1, "00:1c:73:00:10:01", "Ethernet1")
                                 .hosts(1, "02:00:01:00:00:00", 10, "Ethernet1-5")
                                 .host(1, "02:80:ff:00:00:01", "Ethernet4")
                                 .host(1, "0e:00:00:00:00:01", "Ethernet5");

// Every object of both tables and what follows each, in OID order.
std::vector<Oid> knownObjects() {
   std::vector<Oid> all;
   for (std::uint32_t column = 1; column <= 5; ++column) {
      for (const std::uint32_t port : {2, 5, 9, 130, 300}) {
         all.push_back(portEntry.child(column).child(port));
      }
   }
   std::vector<Oid> hosts = {macIndex("00:1c:73:00:10:01"), macIndex("02:80:ff:00:00:01"),
                             macIndex("0e:00:00:00:00:01")};
   for (std::uint32_t i = 0; i < 10; ++i) {
      hosts.push_back(macIndex("02:00:01:00:00:0" + std::to_string(i)));
   }
   std::sort(hosts.begin(), hosts.end());
   for (std::uint32_t column = 1; column <= 3; ++column) {
      for (const Oid& host : hosts) {
         all.push_back(fdbEntry.child(column) + host);
      }
   }
   all.push_back(afterPorts);
   all.push_back("1.3.6.1.2.1.17.4.2.0");  // dot1dTpAgingTime
   all.push_back(afterFdb);
   std::sort(all.begin(), all.end());
   return all;
}

// The `count` known objects after `from`.
std::vector<Oid> following(const Oid& from, std::size_t count) {
   static const std::vector<Oid> all = knownObjects();
   std::vector<Oid> result;
   for (auto it = std::upper_bound(all.begin(), all.end(), from);
        it != all.end() && result.size() < count; ++it) {
      result.push_back(*it);
   }
   return result;
}

class TableFrameTest : public BothFormsTest {
 protected:
   void SetUp() override {
      startAgent(topology);
      ASSERT_TRUE(eventually([&] { return snmpd().walk(fdbEntry).size() == 39; }));
   }
};

// Starting points under each column of both tables: rows, gaps, partial
// indexes, indexes out of range or too long, and the last rows of a column
// (whose next object is the first row of the next column).
TEST_P(TableFrameTest, GetNextAnswersTheNextKnownObjectFromAnyStartingPoint) {
   // Index suffixes, blank-separated; "-" is no suffix at all.
   const std::string portSuffixes =
       "- 0 1 2 3 10 129 130 131 299 300 301 65536 "
       "70000 2.1 5.0.0 300.1 0.5 4294967295";
   const std::string fdbSuffixes =
       "- 0 0.28.115 2 2.0.1 2.0.1.0 2.0.1.0.0 2.0.1.0.0.9 2.128 2.128.255.0.0 "
       "14 14.0.0.0.0 15 "
       "2.0.1.0.0.256 2.0.1.4294967295.0.0 300.0.0.0.0.0 0.28.115.0.16.1 "
       "0.28.115.0.16.1.0 "
       "2.0.1.0.0.5.7 2.0.1.0.0.9.1 2.128.255.0.0.1 14.0.0.0.0.1 14.0.0.0.0.1.0 "
       "255.255.255.255.255.255.1";
   std::vector<Oid> starts = {"1.3.6.1.2.1.17.1.4", portEntry, "1.3.6.1.2.1.17.4.3", fdbEntry};
   for (const auto& [entry, columns, suffixes] :
        {std::tuple(portEntry, 6u, portSuffixes), std::tuple(fdbEntry, 4u, fdbSuffixes)}) {
      for (std::uint32_t column = 0; column <= columns; ++column) {
         std::istringstream words(suffixes);
         for (std::string suffix; words >> suffix;) {
            starts.push_back(entry.child(column) + (suffix == "-" ? Oid() : Oid(suffix)));
         }
      }
   }
   for (const Oid& from : starts) {
      const GetResult next = snmpd().getNext(from);
      EXPECT_EQ(next.oid, following(from, 1).at(0)) << "GETNEXT " << from;
      EXPECT_FALSE(next.isException()) << "GETNEXT " << from << ": " << next;
   }
}

TEST_P(TableFrameTest, GetBulkAcrossColumnEndsAnswersTheNextKnownObjects) {
   std::vector<Oid> starts;
   for (std::uint32_t column = 1; column <= 5; ++column) {
      for (const std::uint32_t port : {5, 130, 300}) {
         starts.push_back(portEntry.child(column).child(port));
      }
   }
   for (std::uint32_t column = 1; column <= 3; ++column) {
      starts.push_back(fdbEntry.child(column));
      for (const char* mac : {"02:00:01:00:00:09", "02:80:ff:00:00:01", "0e:00:00:00:00:01"}) {
         starts.push_back(fdbEntry.child(column) + macIndex(mac));
      }
   }
   for (const Oid& from : starts) {
      for (const int repetitions : {1, 2, 4, 7, 16}) {
         // The known objects end with the first after the FDB table; the rest is not ours.
         const std::vector<Oid> expected = following(from, static_cast<std::size_t>(repetitions));
         std::vector<Oid> got;
         for (const Varbind& vb : snmpd().getBulk(from, repetitions).varbinds) {
            if (got.size() < expected.size()) {
               got.push_back(vb.oid);
            }
         }
         EXPECT_EQ(got, expected) << "GETBULK from " << from << " by " << repetitions;
      }
   }
   // All of them in one request, latest first: each varbind searches from its own index.
   const std::vector<Oid> together(starts.rbegin(), starts.rend());
   const int repetitions = 3;
   const auto varbinds = snmpd().reader().getBulk(together, 0, repetitions).varbinds;
   ASSERT_EQ(varbinds.size(), together.size() * repetitions);
   for (std::size_t i = 0; i < together.size(); ++i) {
      const std::vector<Oid> expected = following(together[i], repetitions);
      for (std::size_t r = 0; r < expected.size(); ++r) {
         EXPECT_EQ(varbinds[r * together.size() + i].oid, expected[r])
             << "GETBULK of " << together.size() << " varbinds, from " << together[i];
      }
   }
}

TEST_P(TableFrameTest, GetOfAnUnknownColumnIsNoSuchObjectAndOfAMissingRowNoSuchInstance) {
   const Oid host = macIndex("02:00:01:00:00:05");
   const std::vector<std::pair<Oid, std::uint8_t>> cases = {
       {fdbEntry.child(4) + host, AsnType::NoSuchObject},
       {fdbEntry.child(0) + host, AsnType::NoSuchObject},
       {portEntry.child(6).child(5), AsnType::NoSuchObject},
       {portEntry.child(0).child(5), AsnType::NoSuchObject},
       {fdbEntry.child(1) + macIndex("02:00:01:00:00:0a"), AsnType::NoSuchInstance},
       {fdbEntry.child(2) + host + "7", AsnType::NoSuchInstance},
       {fdbEntry.child(3) + "2.0.1", AsnType::NoSuchInstance},
       {fdbEntry.child(1) + "2.0.1.0.0.261", AsnType::NoSuchInstance},
       {portEntry.child(1).child(70000), AsnType::NoSuchInstance},
       {portEntry.child(2).child(0), AsnType::NoSuchInstance},
       {portEntry.child(3).child(3), AsnType::NoSuchInstance},
       {portEntry.child(1) + "5.0", AsnType::NoSuchInstance},
       {"1.3.6.1.2.1.17.1.3.0.0", AsnType::NoSuchInstance},
       {fdbEntry.child(2) + host, AsnType::Integer},
       {portEntry.child(2).child(5), AsnType::Integer},
   };
   for (const auto& [oid, type] : cases) {
      const GetResult answer = snmpd().get(oid);
      EXPECT_EQ(answer.type, type) << oid;
      EXPECT_EQ(answer.oid, oid) << "answered under another name";
   }
}

TEST_P(TableFrameTest, TableWithoutRowsIsSkippedUntilAHostArrives) {
   startAgent(Topology()
                  .ports("Ethernet1-4", 1)
                  .vlan(1, "default")
                  .vlan(10, "ten")
                  .access("Ethernet4", 10)
                  .host(10, "02:00:0a:00:00:01", "Ethernet4"));
   for (const Oid& from : {Oid("1.3.6.1.2.1.17.4.3"), fdbEntry, fdbEntry.child(3)}) {
      EXPECT_EQ(snmpd().getNext(from).oid, afterFdb) << from;
      EXPECT_EQ(snmpd().getBulk(from, 3).varbinds.at(0).oid, afterFdb) << from;
   }

   ok({"learn", "1", "02:00:00:00:00:01", "Ethernet2"});
   EXPECT_TRUE(eventually([&] { return snmpd().walk(fdbEntry).size() == 3; }));
   ok({"age", "1", "02:00:00:00:00:01"});
   EXPECT_TRUE(eventually([&] { return snmpd().getNext(fdbEntry).oid == afterFdb; }));
}

SWITCH_AGENT_FORMS(TableFrameTest);

}  // namespace
