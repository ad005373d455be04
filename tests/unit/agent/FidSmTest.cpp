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

// A host becomes a row of dot1qTpFdbTable (and of dot1dTpFdbTable in FID 1) once its key is
// worked off the backlog, never inside the notification; moves update it, read through the
// status; ageing takes it out.
TEST_F(FidSmTest, LearnedHostsBecomeRowsMoveAndAgeOut) {
   sw.learn(VlanId(10), mac("02:00:00:00:00:0a"), "Ethernet1");
   sw.learn(VlanId(1), mac("02:00:00:00:00:01"), "Ethernet2");
   EXPECT_FALSE(qRow(10, "02:00:00:00:00:0a")) << "not inside the notification";
   EXPECT_EQ(fidSm().backlog().size(), 2u);
   drain();
   ASSERT_TRUE(qRow(10, "02:00:00:00:00:0a"));
   EXPECT_EQ(qRow(10, "02:00:00:00:00:0a")->status(), BridgeSnmp::statusLearned);
   EXPECT_EQ(qRow(10, "02:00:00:00:00:0a")->intf(), Velnet::IntfId("Ethernet1"));
   EXPECT_FALSE(dRow("02:00:00:00:00:0a")) << "only FID 1 is mirrored";
   ASSERT_TRUE(dRow("02:00:00:00:00:01"));
   EXPECT_EQ(dRow("02:00:00:00:00:01")->status(), BridgeSnmp::statusLearned);
   EXPECT_EQ(fidSm().fidHostMap(Bridging::Fid(10))->hosts(), 1u);

   time.nowIs(1100.0);
   sw.move(VlanId(1), mac("02:00:00:00:00:01"), "Ethernet3");
   sw.move(VlanId(1), mac("02:00:00:00:00:01"), "Ethernet4");
   EXPECT_EQ(fidSm().backlog().size(), 1u) << "a host changing twice is queued once";
   drain();
   const auto q = qRow(1, "02:00:00:00:00:01");
   EXPECT_EQ(q->intf(), Velnet::IntfId("Ethernet4"));
   EXPECT_EQ(dRow("02:00:00:00:00:01")->intf(), Velnet::IntfId("Ethernet4"));
   EXPECT_EQ(q->moves(), 2u);
   EXPECT_EQ(q->lastMoveTime(), 1100.0);

   sw.age(VlanId(1), mac("02:00:00:00:00:01"));
   drain();
   EXPECT_FALSE(qRow(1, "02:00:00:00:00:01"));
   EXPECT_FALSE(dRow("02:00:00:00:00:01"));
   EXPECT_EQ(fidSm().fidHostMap(Bridging::Fid(1))->hosts(), 0u);
}

TEST_F(FidSmTest, HostLearnedAndAgedBeforeItsKeyIsProcessedMakesNoRow) {
   sw.learn(VlanId(10), mac("02:00:00:00:00:0a"), "Ethernet1");
   sw.age(VlanId(10), mac("02:00:00:00:00:0a"));
   drain();
   EXPECT_FALSE(qRow(10, "02:00:00:00:00:0a"));
   EXPECT_EQ(mib->dot1qTpFdbTables(), 0u);
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
   auto fdbConfig = sw.config()->fdbConfigIs(Bridging::Fid(10));
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

TEST_F(FidSmTest, StartUpSweepQueuesHostsLearnedBeforeTheAgent) {
   sw.learn(VlanId(10), mac("02:00:00:00:00:0a"), "Ethernet1");
   sw.staticHostIs(VlanId(20), mac("00:1c:73:00:00:20"), "Ethernet2");
   drain();
   // A fresh cache makes a fresh FID machine, which sweeps what is there.
   auto fresh = BridgeSnmp::qBridgeMibFactory("fresh");
   agent->mibIs(fresh);
   EXPECT_TRUE(agent->fidSm()->initialized());
   EXPECT_TRUE(fresh->dot1qTpFdbTable(
       BridgeSnmp::Dot1qTpFdbEntryKey(Bridging::Fid(20), mac("00:1c:73:00:00:20"))))
       << "configured rows at once";
   EXPECT_EQ(agent->fidSm()->backlog().size(), 1u);
   drain();
   EXPECT_TRUE(fresh->dot1qTpFdbTable(
       BridgeSnmp::Dot1qTpFdbEntryKey(Bridging::Fid(10), mac("02:00:00:00:00:0a"))));
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
