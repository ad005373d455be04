// Entities' notifications: who hears what, in which order, and what a notifiee may do from
// inside a callback.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/TestEntities.h"

namespace {

using TestModel::Port;
using TestModel::Switch;

// Records every callback it hears, in order; optionally detaches a peer (or itself) or
// throws from onAgingTime.
class SwitchLog : public Switch::NotifieeConst {
 public:
   explicit SwitchLog(std::vector<std::string>* log, std::string name = "log")
       : log_(log), name_(std::move(name)) {}

   Switch::NotifieeConst* detaches = nullptr;
   bool throws = false;

   void onAgingTime() override {
      note("agingTime");
      if (detaches) {
         detaches->notifierIs(nullptr);
      }
      if (throws) {
         throw std::runtime_error("aging went wrong");
      }
   }
   void onPort(const std::uint32_t& key) override {
      note("port " + std::to_string(key) + (notifier()->port(key) ? " present" : " absent"));
   }
   void onPortkelImmediate() override { note(std::to_string(notifier()->ports()) + " ports"); }
   void handleNotificationException(const std::exception& e) override {
      note(std::string("caught ") + e.what());
   }

 private:
   void note(const std::string& what) { log_->push_back(name_ + ": " + what); }
   std::vector<std::string>* log_;
   std::string name_;
};

class PortLog : public Port::NotifieeConst {
 public:
   explicit PortLog(std::vector<std::string>* log) : log_(log) {}
   void onZombie() override {
      log_->push_back("port zombie " + std::to_string(notifier()->number()));
   }

 private:
   std::vector<std::string>* log_;
};

// A notifiee hears of each collection as it attaches; then attributes and collections notify
// only on a change, per key and after it, in the order the notifiees attached, until they
// detach.
TEST(EntityTest, ChangesNotifyEachNotifieeInAttachOrder) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   sw->portIs(1);
   SwitchLog first(&log, "first");
   SwitchLog second(&log, "second");
   first.notifierIs(sw);
   second.notifierIs(sw);

   sw->agingTimeIs(60.0);
   sw->agingTimeIs(60.0);
   auto p5 = sw->portIs(5);
   EXPECT_EQ(sw->portIs(5), p5) << "create-or-get returns the existing row";
   first.notifierIs(nullptr);
   sw->portDel(5);
   sw->portDel(5);  // absent: no notification
   EXPECT_EQ(sw->agingTime(), 60.0);
   EXPECT_EQ(log, (std::vector<std::string>{"first: 1 ports", "second: 1 ports", "first: agingTime",
                                            "second: agingTime", "first: port 5 present",
                                            "second: port 5 present", "second: port 5 absent"}));
   EXPECT_EQ(sw->kelNotifiees(), 1u);
}

TEST(EntityTest, DeletedRowIsAZombieBeforeItsOwnerHearsTheKey) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   auto port = sw->portIs(9);
   SwitchLog owner(&log);
   owner.notifierIs(sw);
   PortLog element(&log);
   element.notifierIs(port);

   sw->portDel(9);
   EXPECT_TRUE(port->kelZombie());
   EXPECT_EQ(log,
             (std::vector<std::string>{"log: 1 ports", "port zombie 9", "log: port 9 absent"}));
}

TEST(EntityTest, DetachingDuringDispatchSkipsTheDetachedNotifiee) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   SwitchLog a(&log, "a");
   SwitchLog b(&log, "b");
   a.detaches = &b;
   a.notifierIs(sw);
   b.notifierIs(sw);
   sw->agingTimeIs(5.0);
   EXPECT_EQ(log, (std::vector<std::string>{"a: 0 ports", "b: 0 ports", "a: agingTime"}));
   EXPECT_EQ(sw->kelNotifiees(), 1u);
}

TEST(EntityTest, NotifieeMayDropTheLastReferenceToItsEntityInACallback) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   SwitchLog self(&log);
   self.detaches = &self;
   self.notifierIs(sw);
   sw = nullptr;  // the notifiee now holds the only reference
   const_cast<Switch*>(self.notifier().get())->agingTimeIs(7.0);
   EXPECT_EQ(log, (std::vector<std::string>{"log: 0 ports", "log: agingTime"}));
   EXPECT_FALSE(self.notifier());
}

TEST(EntityTest, ExceptionsInCallbacksGoToTheNotifieesHook) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   SwitchLog thrower(&log, "thrower");
   SwitchLog after(&log, "after");
   thrower.throws = true;
   thrower.notifierIs(sw);
   after.notifierIs(sw);

   EXPECT_NO_THROW(sw->agingTimeIs(9.0));
   EXPECT_EQ(log,
             (std::vector<std::string>{"thrower: 0 ports", "after: 0 ports", "thrower: agingTime",
                                       "thrower: caught aging went wrong", "after: agingTime"}))
       << "later notifiees still run";
}

}  // namespace
