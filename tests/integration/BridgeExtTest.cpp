// The maker's move table scenarios: which hosts it lists, and their move counts and last move
// times as the switch moves them, filtered by a time mark.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

using namespace Harness::Mib;
const Oid numMoves = moveEntry.child(2);
const Oid lastMove = moveEntry.child(3);

Oid row(std::uint32_t mark, std::uint32_t fid, const std::string& mac) {
   return Oid(std::vector<std::uint32_t>{mark, fid}) + macIndex(mac);
}

// Two plain learned hosts; the others are static, management, on no bridge port, or in the
// internal VLAN.
const std::string topology = Topology()
                                 .ports("Ethernet1-4", 1)
                                 .ports("Ethernet5", 0)
                                 .vlan(10, "ten")
                                 .vlan(4094, "internal", "internal: true")
                                 .access("Ethernet1-2", 10)
                                 .trunk("Ethernet3", "10,4094", "10")
                                 .access("Ethernet4-5", 10)
                                 .staticHost(10, "00:1c:73:00:10:0a", "Ethernet2")
                                 .host(10, "02:00:0a:00:00:00", "Ethernet1")
                                 .host(10, "02:00:0a:00:00:01", "Ethernet2")
                                 .host(10, "02:00:0a:00:00:05", "Ethernet5")
                                 .host(10, "02:00:0a:ee:00:01", "Ethernet3", "management")
                                 .host(4094, "02:00:0f:00:00:01", "Ethernet3");

class BridgeExtTest : public BothFormsTest {
 protected:
   void SetUp() override {
      startAgent(topology);
      ASSERT_TRUE(eventually([&] { return snmpd().walk(moveEntry) == initial; }))
          << ::testing::PrintToString(snmpd().walk(moveEntry));
   }

   const std::vector<Varbind> initial = {
       value(numMoves + row(0, 10, "02:00:0a:00:00:00"), AsnType::Counter32, 0),
       value(numMoves + row(0, 10, "02:00:0a:00:00:01"), AsnType::Counter32, 0),
       value(lastMove + row(0, 10, "02:00:0a:00:00:00"), AsnType::TimeTicks, 0),
       value(lastMove + row(0, 10, "02:00:0a:00:00:01"), AsnType::TimeTicks, 0)};
};

TEST_P(BridgeExtTest, ListsOnlyPlainLearnedHostsOfBridgePortsOutsideInternalVlans) {
   EXPECT_EQ(snmpd().bulkWalk(moveEntry, 3), initial);
   EXPECT_EQ(snmpd().get(moveEntry.child(1) + row(0, 10, "02:00:0a:00:00:00")).type,
             AsnType::NoSuchObject)
       << "the time mark is an index, not a column";

   // Made an ordinary VLAN, 4094 lists its host.
   ok({"vlan", "internal", "4094", "off"});
   EXPECT_TRUE(eventually(
       [&] { return snmpd().get(numMoves + row(0, 4094, "02:00:0f:00:00:01")).integer == 0; }));
}

TEST_P(BridgeExtTest, MoveCountsAndStampsTheHost) {
   const std::string host = "02:00:0a:00:00:00";
   const GetResult upTimeBefore = snmpd().get(sysUpTime);
   ok({"move", "10", host, "Ethernet4"});
   ok({"move", "10", host, "Ethernet1"});
   const GetResult upTime = snmpd().get(sysUpTime);

   EXPECT_EQ(snmpd().get(numMoves + row(0, 10, host)),
             value(numMoves + row(0, 10, host), AsnType::Counter32, 2));
   const GetResult last = snmpd().get(lastMove + row(0, 10, host));
   EXPECT_EQ(last.type, AsnType::TimeTicks);
   EXPECT_GE(last.integer, upTimeBefore.integer);
   EXPECT_LE(last.integer, upTime.integer);
   EXPECT_EQ(snmpd().get(numMoves + row(0, 10, "02:00:0a:00:00:01")).integer, 0);

   // A mark lists the host up to two ticks after its move; from one tick later the column's
   // walk finds nothing.
   const auto at = static_cast<std::uint32_t>(last.integer + 2);
   EXPECT_EQ(snmpd().getNext(numMoves.child(at)).oid, numMoves + row(at, 10, host));
   EXPECT_FALSE(snmpd().getNext(numMoves.child(at + 1)).oid.startsWith(numMoves));
   EXPECT_EQ(snmpd().get(numMoves + row(at + 1, 10, host)).type, AsnType::NoSuchInstance);

   // Aged out and learned anew, the host counts from zero.
   ok({"age", "10", host});
   ASSERT_EQ(ok({"learn", "10", host, "Ethernet1"}), "learned\n");
   EXPECT_TRUE(eventually([&] { return snmpd().walk(moveEntry) == initial; }));
}

TEST_P(BridgeExtTest, StaticEntryReplacingALearnedHostTakesItOut) {
   ok({"static", "add", "10", "02:00:0a:00:00:01", "Ethernet2"});

   EXPECT_TRUE(eventually([&] { return snmpd().walk(moveEntry).size() == 2; }));
   EXPECT_EQ(snmpd().get(numMoves + row(0, 10, "02:00:0a:00:00:01")).type, AsnType::NoSuchInstance);
}

SWITCH_AGENT_FORMS(BridgeExtTest);

}  // namespace
