#include <gtest/gtest.h>

#include "tests/support/AgentFixture.h"

namespace {

using Bridging::VlanId;
using TestSupport::mac;

class FidSmTest : public TestSupport::AgentTest {
 protected:
   FidSmTest() {
      sw.switchportIs("Ethernet1", {Bridging::SwitchportMode::access, VlanId(10)});
      sw.switchportIs("Ethernet2", {Bridging::SwitchportMode::trunk, VlanId(1),
                                    Bridging::VlanIdOrNone(1), "1,10,20"});
   }
};

// How learned hosts become rows, move and age out, and which FIDs reach dot1dTpFdbTable, the
// SNMP scenarios read in the tables; here is what they cannot see: the backlog between a change
// and its row, configured rows that skip it, and the slices that work it off.

// A host changing twice before its key is worked off is queued once, and its row is made
// outside the notification; one learned and aged before that makes no row at all.
TEST_F(FidSmTest, ChangesQueueTheirKeyOnceAndOnlyTheBacklogMakesRows) {
   sw.learn(VlanId(10), mac("02:00:00:00:00:0a"), "Ethernet1");
   sw.move(VlanId(10), mac("02:00:00:00:00:0a"), "Ethernet2");
   EXPECT_FALSE(qRow(10, "02:00:00:00:00:0a")) << "not inside the notification";
   EXPECT_EQ(fidSm().backlog().size(), 1u);
   drain();
   EXPECT_EQ(qRow(10, "02:00:00:00:00:0a")->intf(), Velnet::IntfId("Ethernet2"));
   sw.learn(VlanId(10), mac("02:00:00:00:00:0b"), "Ethernet1");
   sw.age(VlanId(10), mac("02:00:00:00:00:0b"));
   drain();
   EXPECT_FALSE(qRow(10, "02:00:00:00:00:0b"));
   EXPECT_EQ(mib->dot1qTpFdbTables(), 1u);
}

TEST_F(FidSmTest, ConfiguredHostsApplyAtOnceAndOverrideLearnedRows) {
   sw.learn(VlanId(1), mac("02:00:00:00:00:01"), "Ethernet3");
   drain();
   sw.staticHostIs(VlanId(1), mac("02:00:00:00:00:01"), "Ethernet5");
   const auto q = qRow(1, "02:00:00:00:00:01");
   ASSERT_TRUE(q) << "no backlog for configured hosts";
   EXPECT_EQ(q->status(), BridgeSnmp::statusMgmt);
   EXPECT_EQ(q->intf(), Velnet::IntfId("Ethernet5"));
   EXPECT_EQ(dRow("02:00:00:00:00:01")->status(), BridgeSnmp::statusMgmt);

   // The static entry replaced the learned one on the switch; when it goes and the host
   // is learned again, the learned row comes back through the backlog.
   drain();
   EXPECT_EQ(qRow(1, "02:00:00:00:00:01")->status(), BridgeSnmp::statusMgmt)
       << "the learned host going away leaves the configured row";
   sw.staticHostDel(VlanId(1), mac("02:00:00:00:00:01"));
   EXPECT_FALSE(qRow(1, "02:00:00:00:00:01"));
   sw.learn(VlanId(1), mac("02:00:00:00:00:01"), "Ethernet3");
   drain();
   EXPECT_EQ(qRow(1, "02:00:00:00:00:01")->status(), BridgeSnmp::statusLearned);
}

TEST_F(FidSmTest, UnconfiguringGivesAStillLearnedHostItsLearnedRowBack) {
   // A platform where the host stays learned under the static entry.
   auto fdbConfig = sw.entities().config->fdbConfigIs(Bridging::Fid(10));
   sw.learn(VlanId(10), mac("02:00:00:00:00:0a"), "Ethernet1");
   fdbConfig->configuredHostIs(mac("02:00:00:00:00:0a"), Bridging::ConfiguredHost{"Ethernet2"});
   drain();
   EXPECT_EQ(qRow(10, "02:00:00:00:00:0a")->status(), BridgeSnmp::statusMgmt);
   EXPECT_EQ(qRow(10, "02:00:00:00:00:0a")->intf(), Velnet::IntfId("Ethernet2"));
   fdbConfig->configuredHostDel(mac("02:00:00:00:00:0a"));
   EXPECT_FALSE(qRow(10, "02:00:00:00:00:0a"));
   EXPECT_EQ(fidSm().backlog().size(), 1u) << "re-queued";
   drain();
   EXPECT_EQ(qRow(10, "02:00:00:00:00:0a")->status(), BridgeSnmp::statusLearned);
   EXPECT_EQ(qRow(10, "02:00:00:00:00:0a")->intf(), Velnet::IntfId("Ethernet1"));
}

TEST_F(FidSmTest, KeyOfAFidWithoutStatusIsDropped) {
   fidSm().addHostKeyToBacklog(Bridging::HostKey(Bridging::Fid(999), mac("02:00:00:00:00:99")));
   drain();
   EXPECT_TRUE(fidSm().backlog().empty());
   EXPECT_EQ(mib->dot1qTpFdbTables(), 0u);
}

TEST_F(FidSmTest, BacklogIsWorkedOffInSlicesBoundedByTheQuantum) {
   EXPECT_EQ(fidSm().clock().timeMin(), Kel::timeNever) << "idle";
   for (int i = 0; i < 50; ++i) {
      fidSm().addHostKeyToBacklog(Bridging::HostKey(
          Bridging::Fid(10),
          Velnet::EthAddr::fromU64(0x020000000100ull + static_cast<unsigned>(i))));
   }
   EXPECT_EQ(fidSm().clock().timeMin(), Kel::timeAsap);

   // Each reading of the clock costs 1 ms. A slice reads it for its ring-trace entry and
   // its start, and then once a key, before it (the key's own ring-trace entry takes that
   // reading): the check before the tenth key is at start + 10 ms, the end of the quantum,
   // so the slice stops after nine keys.
   TestSupport::SteppingTime stepping(5000.0, 0.001);
   Kel::timeSourceIs(&stepping);
   fidSm().handleClock();
   EXPECT_EQ(fidSm().backlog().size(), 41u);
   EXPECT_EQ(fidSm().clock().timeMin(), Kel::timeAsap) << "keys remain";
   for (int i = 0; i < 10 && !fidSm().backlog().empty(); ++i) {
      fidSm().handleClock();
   }
   Kel::timeSourceIs(&time);
   EXPECT_TRUE(fidSm().backlog().empty());
   EXPECT_EQ(fidSm().clock().timeMin(), Kel::timeNever) << "idle once the backlog is empty";
}

TEST_F(FidSmTest, NewKeyDoesNotMoveAPendingWakeUp) {
   fidSm().clock().timeMinIs(4000.0);
   sw.learn(VlanId(10), mac("02:00:00:00:00:0a"), "Ethernet1");
   EXPECT_EQ(fidSm().clock().timeMin(), 4000.0);
   EXPECT_EQ(fidSm().backlog().size(), 1u);
}

TEST_F(FidSmTest, SlicesRunFromTheClockAfterPendingWork) {
   sw.burst(200, 2, 3);
   EXPECT_EQ(manager.nextWake(), Kel::timeAsap);
   runDue();
   EXPECT_EQ(mib->dot1qTpFdbTables(), 200u);
   EXPECT_EQ(manager.nextWake(), 1300.0) << "only the switch's aging wake-up is left";
}

}  // namespace
