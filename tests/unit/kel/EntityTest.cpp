#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/kel/MemoryTraceSink.h"
#include "platform/kel/Trace.h"
#include "tests/support/TestEntities.h"

namespace {

using TestModel::ManagedSwitch;
using TestModel::Port;
using TestModel::Switch;

// Records every callback it hears, in order.
class SwitchLog : public Switch::NotifieeConst {
 public:
   explicit SwitchLog(std::vector<std::string>* log, std::string name = "log")
       : log_(log), name_(std::move(name)) {}

   void onAgingTime() override { note("agingTime"); }
   void onPort(const std::uint32_t& key) override {
      note("port " + std::to_string(key) + (notifier()->port(key) ? " present" : " absent"));
   }
   void onPortkelImmediate() override {
      note("port immediate " + std::to_string(notifier()->ports()));
   }
   void onModulekelImmediate() override { note("module immediate"); }
   void onPortByName(const Kel::String8& key) override { note("name " + key.stdString()); }
   void onZombie() override { note("zombie"); }

 private:
   void note(const std::string& what) { log_->push_back(name_ + ": " + what); }
   std::vector<std::string>* log_;
   std::string name_;
};

class PortLog : public Port::NotifieeConst {
 public:
   explicit PortLog(std::vector<std::string>* log) : log_(log) {}
   void onSpeed() override { log_->push_back("speed " + std::to_string(notifier()->speed())); }
   void onModeAndVlan() override { log_->push_back("modeAndVlan"); }
   void onZombie() override {
      log_->push_back("port zombie " + std::to_string(notifier()->number()));
   }

 private:
   std::vector<std::string>* log_;
};

TEST(EntityTest, AttributeNotifiesOnlyOnChange) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   SwitchLog n(&log);
   n.notifierIs(sw);
   log.clear();

   sw->agingTimeIs(60.0);
   sw->agingTimeIs(60.0);
   EXPECT_EQ(sw->agingTime(), 60.0);
   EXPECT_EQ(log, (std::vector<std::string>{"log: agingTime"}));
}

TEST(EntityTest, CollectionNotifiesPerKeyAfterTheChange) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   SwitchLog n(&log);
   n.notifierIs(sw);
   log.clear();

   auto p5 = sw->portIs(5);
   EXPECT_EQ(sw->portIs(5), p5) << "create-or-get returns the existing row";
   sw->portDel(5);
   sw->portDel(5);  // absent: no notification
   EXPECT_EQ(log, (std::vector<std::string>{"log: port 5 present", "log: port 5 absent"}));
}

TEST(EntityTest, DeletedRowIsAZombieBeforeItsOwnerHearsTheKey) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   auto port = sw->portIs(9);
   SwitchLog owner(&log);
   owner.notifierIs(sw);
   PortLog element(&log);
   element.notifierIs(port);
   log.clear();

   sw->portDel(9);
   EXPECT_TRUE(port->kelZombie());
   EXPECT_EQ(log, (std::vector<std::string>{"port zombie 9", "log: port 9 absent"}));
}

TEST(EntityTest, NotifieesAreCalledInAttachOrderAndDetachStopsCalls) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   SwitchLog first(&log, "first");
   SwitchLog second(&log, "second");
   first.notifierIs(sw);
   second.notifierIs(sw);
   log.clear();

   sw->agingTimeIs(1.0);
   first.notifierIs(nullptr);
   sw->agingTimeIs(2.0);
   EXPECT_EQ(log, (std::vector<std::string>{"first: agingTime", "second: agingTime",
                                            "second: agingTime"}));
   EXPECT_EQ(sw->kelNotifiees(), 1u);
}

// Detaches a peer, or itself, from inside a callback.
class Detacher : public Switch::NotifieeConst {
 public:
   Switch::NotifieeConst* victim = nullptr;
   int calls = 0;
   void onAgingTime() override {
      ++calls;
      if (victim) {
         victim->notifierIs(nullptr);
      }
   }
};

TEST(EntityTest, DetachingDuringDispatchSkipsTheDetachedNotifiee) {
   auto sw = Kel::make<Switch>();
   Detacher a;
   Detacher b;
   a.victim = &b;
   a.notifierIs(sw);
   b.notifierIs(sw);
   sw->agingTimeIs(5.0);
   EXPECT_EQ(a.calls, 1);
   EXPECT_EQ(b.calls, 0);
   EXPECT_EQ(sw->kelNotifiees(), 1u);
}

TEST(EntityTest, NotifieeMayDropTheLastReferenceToItsEntityInACallback) {
   auto sw = Kel::make<Switch>();
   Detacher self;
   self.victim = &self;
   self.notifierIs(sw);
   sw = nullptr;  // the notifiee now holds the only reference
   const_cast<Switch*>(self.notifier().get())->agingTimeIs(7.0);
   EXPECT_EQ(self.calls, 1);
   EXPECT_FALSE(self.notifier());
}

class Thrower : public Switch::NotifieeConst {
 public:
   std::vector<std::string> caught;
   void onAgingTime() override { throw std::runtime_error("aging went wrong"); }
   void handleNotificationException(const std::exception& e) override {
      caught.push_back(e.what());
   }
};

TEST(EntityTest, ExceptionsInCallbacksGoToTheNotifieesHook) {
   std::vector<std::string> log;
   auto sw = Kel::make<Switch>();
   Thrower thrower;
   SwitchLog after(&log, "after");
   thrower.notifierIs(sw);
   after.notifierIs(sw);
   log.clear();

   EXPECT_NO_THROW(sw->agingTimeIs(9.0));
   EXPECT_EQ(thrower.caught, std::vector<std::string>{"aging went wrong"});
   EXPECT_EQ(log, std::vector<std::string>{"after: agingTime"}) << "later notifiees still run";
}

class DefaultHandler : public Switch::NotifieeConst {
 public:
   void onAgingTime() override { throw std::logic_error("unhandled"); }
};

class ManagedLog : public ManagedSwitch::NotifieeConst {
 public:
   std::vector<std::string> log;
   void onAgingTime() override { log.push_back("agingTime"); }
   void onSysName() override { log.push_back("sysName " + notifier()->sysName().stdString()); }
};

}  // namespace
