#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/SimSwitchFixture.h"

namespace {

using Bridging::VlanId;
using TestSupport::mac;

class LearningTest : public TestSupport::SimSwitchTest {
 protected:
   LearningTest() {
      sw.switchportIs(eth(1), {Bridging::SwitchportMode::access, VlanId(10)});
      sw.switchportIs(eth(2), {Bridging::SwitchportMode::access, VlanId(10)});
      sw.switchportIs(eth(3), {Bridging::SwitchportMode::trunk, VlanId(1),
                               Bridging::VlanIdOrNone(1), "1,10,20"});
   }

   const Bridging::LearnedHost* host(std::uint32_t vlan, const char* address) const {
      return sw.entities().status->fdbStatus(Bridging::Fid(vlan))->learnedHostRecord(mac(address));
   }
};

class HostLog : public Bridging::FdbStatus::NotifieeConst {
 public:
   std::vector<std::string> seen;
   void onLearnedHost(const Velnet::EthAddr& address) override {
      seen.push_back(address.stringValue() +
                     (notifier()->learnedHost(address).intf.empty() ? " gone" : " here"));
   }
};

TEST_F(LearningTest, LearnRefreshAndMove) {
   HostLog log;
   log.notifierIs(sw.entities().status->fdbStatus(Bridging::Fid(10)));

   EXPECT_EQ(sw.learn(VlanId(10), mac("00:00:00:00:00:01"), eth(1)), Sim::LearnOutcome::learned);
   time.advance(5);
   EXPECT_EQ(sw.learn(VlanId(10), mac("00:00:00:00:00:01"), eth(1)), Sim::LearnOutcome::refreshed);
   EXPECT_EQ(log.seen.size(), 1u) << "a refresh changes nothing observable";

   time.advance(5);
   EXPECT_EQ(sw.learn(VlanId(10), mac("00:00:00:00:00:01"), eth(3)), Sim::LearnOutcome::moved);
   const auto* h = host(10, "00:00:00:00:00:01");
   ASSERT_TRUE(h);
   EXPECT_EQ(h->intf, eth(3));
   EXPECT_EQ(h->moves, 1u);
   EXPECT_EQ(h->lastMoveTime, 1010.0);
   EXPECT_EQ(h->entryType, Bridging::FdbEntryType::learnedDynamic);

   sw.move(VlanId(10), mac("00:00:00:00:00:01"), eth(2));
   EXPECT_EQ(host(10, "00:00:00:00:00:01")->moves, 2u);
   EXPECT_EQ(log.seen, (std::vector<std::string>{"00:00:00:00:00:01 here", "00:00:00:00:00:01 here",
                                                 "00:00:00:00:00:01 here"}));
   EXPECT_EQ(sw.entities().status->fdbStatus(Bridging::Fid(10))->learnedHosts(), 1u);
}

TEST_F(LearningTest, HostsAgeOutAfterTheAgingTime) {
   sw.hostAgingTimeIs(300);
   sw.learn(VlanId(10), mac("00:00:00:00:00:01"), eth(1));
   time.advance(100);
   sw.learn(VlanId(10), mac("00:00:00:00:00:02"), eth(1));
   EXPECT_EQ(manager.nextWake(), 1300.0) << "the oldest host decides the next wake-up";

   time.nowIs(1299.0);
   runDue();
   EXPECT_EQ(sw.learnedHosts(), 2u);
   time.nowIs(1300.0);
   runDue();
   EXPECT_FALSE(host(10, "00:00:00:00:00:01"));
   EXPECT_TRUE(host(10, "00:00:00:00:00:02"));
   EXPECT_EQ(manager.nextWake(), 1400.0);

   time.nowIs(1350.0);
   sw.learn(VlanId(10), mac("00:00:00:00:00:02"), eth(1));  // seen again: lives on
   time.nowIs(1400.0);
   runDue();
   EXPECT_TRUE(host(10, "00:00:00:00:00:02"));
   time.nowIs(1650.0);
   runDue();
   EXPECT_EQ(sw.learnedHosts(), 0u);
   EXPECT_EQ(manager.nextWake(), Kel::timeNever);
}

TEST_F(LearningTest, AgingTimeZeroDisablesAging) {
   sw.hostAgingTimeIs(0);
   sw.learn(VlanId(10), mac("00:00:00:00:00:01"), eth(1));
   EXPECT_EQ(manager.nextWake(), Kel::timeNever);
   time.advance(1e6);
   runDue();
   EXPECT_EQ(sw.learnedHosts(), 1u);
   sw.hostAgingTimeIs(10);
   runDue();
   EXPECT_EQ(sw.learnedHosts(), 0u);
   EXPECT_THROW(sw.hostAgingTimeIs(-1), Sim::CommandError);
}

TEST_F(LearningTest, LeavingAVlanOrLosingTheLinkForgetsTheHostsThere) {
   sw.learn(VlanId(10), mac("00:00:00:00:00:01"), eth(3));
   sw.learn(VlanId(20), mac("00:00:00:00:00:02"), eth(3));
   sw.learn(VlanId(10), mac("00:00:00:00:00:03"), eth(1));
   sw.switchportIs(eth(3),
                   {Bridging::SwitchportMode::trunk, VlanId(1), Bridging::VlanIdOrNone(1), "1,20"});
   EXPECT_FALSE(host(10, "00:00:00:00:00:01"));
   EXPECT_TRUE(host(20, "00:00:00:00:00:02"));
   sw.linkIs(eth(3), false);
   EXPECT_FALSE(host(20, "00:00:00:00:00:02"));
   EXPECT_TRUE(host(10, "00:00:00:00:00:03"));
   sw.vlanDel(VlanId(10));
   EXPECT_FALSE(sw.entities().status->fdbStatus(Bridging::Fid(10)));
   EXPECT_EQ(sw.learnedHosts(), 0u);
}

TEST_F(LearningTest, BurstSpreadsRandomHostsOverActiveMembers) {
   EXPECT_EQ(sw.burst(1000, 3, 7), 1000u);
   EXPECT_EQ(sw.learnedHosts(), 1000u);
   std::size_t total = 0;
   for (auto it = sw.entities().status->fdbStatusIteratorConst(); it; ++it) {
      for (auto h = (*it)->learnedHostIteratorConst(); h; ++h) {
         EXPECT_TRUE(sw.entities()
                         .vlanStatusDir->vlanStatus(VlanId(it.key().value()))
                         ->vlanPortStatusCollection()
                         .find(h.value().intf))
             << h.key() << " in a VLAN its port is not active in";
         EXPECT_FALSE(h.key().isMulticast());
         ++total;
      }
   }
   EXPECT_EQ(total, 1000u);
}

TEST_F(LearningTest, PacedBurstLearnsOverSeveralWakeUpsWithOtherWorkBetween) {
   // Each reading of the clock costs a millisecond, so a wake-up's 5 ms pass quickly.
   TestSupport::SteppingTime stepping(2000.0, 0.001);
   sw.burstPaced(1000, 4, 5);
   EXPECT_EQ(sw.learnedHosts(), 0u) << "nothing is learned inside the command";
   EXPECT_EQ(sw.burstsPending(), 1u);
   Kel::timeSourceIs(&stepping);
   runDue();
   const std::size_t afterOne = sw.learnedHosts();
   EXPECT_GT(afterOne, 0u);
   EXPECT_LT(afterOne, 1000u) << "one wake-up learns for a few milliseconds only";
   EXPECT_EQ(manager.nextWake(), Kel::timeAsap);
   for (int i = 0; i < 100 && sw.burstsPending(); ++i) {
      runDue();
   }
   Kel::timeSourceIs(&time);
   EXPECT_EQ(sw.burstsPending(), 0u);
   EXPECT_EQ(sw.learnedHosts(), 1000u);

   // The same seed learned at once finds every host there already.
   EXPECT_EQ(sw.burst(1000, 4, 5), 0u);
}

}  // namespace
