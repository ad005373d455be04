#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/kel/ActivityManager.h"
#include "platform/kel/StandaloneLoop.h"
#include "platform/kel/Time.h"
#include "tests/support/PipeInput.h"

namespace {

class Wakee : public Kel::Clock::NotifieeConst {
 public:
   Wakee(std::vector<std::string>* log, std::string name) : log_(log), name_(std::move(name)) {}
   double rearmTo = Kel::timeNever;
   void onTime() override {
      log_->push_back(name_ + " at " + std::to_string(Kel::now()) +
                      (timeMin() == Kel::timeNever ? " idle" : " armed"));
      timeMinIs(rearmTo);
   }

 private:
   std::vector<std::string>* log_;
   std::string name_;
};

class ClockTest : public ::testing::Test {
 protected:
   Kel::ScopedFakeTime time{100.0};
   Kel::ActivityManager manager;
   Kel::StandaloneLoop loop{manager};
   std::vector<std::string> log;
};

class Destroyer : public Kel::Clock::NotifieeConst {
 public:
   std::unique_ptr<Wakee> victim;
   void onTime() override { victim.reset(); }
};

TEST_F(ClockTest, ReactorDestroyedByAnEarlierOneDoesNotRun) {
   Destroyer d;
   d.victim = std::make_unique<Wakee>(&log, "victim");
   d.notifierIs(manager.clock());
   d.victim->notifierIs(manager.clock());
   d.timeMinIs(Kel::timeAsap);
   d.victim->timeMinIs(Kel::timeAsap);
   loop.runOnce(0);
   EXPECT_TRUE(log.empty());
   EXPECT_FALSE(d.victim);
}

TEST_F(ClockTest, OneReactorAPassInTurnWithInputBetween) {
   TestSupport::PipeInput input(&log, "input");
   ASSERT_TRUE(manager.fdReactorIs(input.readFd(), &input));
   Wakee a(&log, "a");
   Wakee b(&log, "b");
   a.rearmTo = Kel::timeAsap;
   b.rearmTo = Kel::timeAsap;
   a.notifierIs(manager.clock());
   b.notifierIs(manager.clock());
   a.timeMinIs(Kel::timeAsap);
   b.timeMinIs(Kel::timeAsap);
   for (int pass = 0; pass < 4; ++pass) {
      input.arrive();
      loop.runOnce(0);
   }
   EXPECT_EQ(log, (std::vector<std::string>{"input", "a at 100.000000 idle", "input",
                                            "b at 100.000000 idle", "input", "a at 100.000000 idle",
                                            "input", "b at 100.000000 idle"}));
   manager.fdReactorDel(input.readFd());
}

}  // namespace
