#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/snmputil/HandlerRegistration.h"

namespace {

std::vector<std::string> calls;

class Recording : public Snmp::HandlerRegistration {
 public:
   explicit Recording(std::string name, bool throws = false)
       : name_(std::move(name)), throws_(throws) {}
   void handlerRegistration() override {
      calls.push_back(name_);
      if (throws_) {
         throw std::runtime_error("registration failed");
      }
   }

 private:
   std::string name_;
   bool throws_;
};

TEST(AutoRegistreeTest, EveryHookRunsOnceInLoadOrderEvenAfterAFailure) {
   calls.clear();
   Recording first("first");
   Recording failing("failing", true);
   Recording last("last");
   const std::size_t before = Snmp::AutoRegistree::recorded();
   {
      Snmp::AutoRegistree a(&first);
      Snmp::AutoRegistree b(&failing);
      Snmp::AutoRegistree c(&last);
      EXPECT_EQ(Snmp::AutoRegistree::recorded(), before + 3);

      EXPECT_EQ(Snmp::AutoRegistree::callAll(), 3u);
      EXPECT_EQ(calls, (std::vector<std::string>{"first", "failing", "last"}));
      EXPECT_EQ(Snmp::AutoRegistree::callAll(), 0u) << "no hook runs twice";
      EXPECT_EQ(calls.size(), 3u);

      Recording added("added");
      Snmp::AutoRegistree d(&added);
      EXPECT_EQ(Snmp::AutoRegistree::callAll(), 1u) << "a unit loaded later still runs";
      EXPECT_EQ(calls.back(), "added");
   }
   EXPECT_EQ(Snmp::AutoRegistree::recorded(), before) << "unloading forgets the hooks";
}

}  // namespace
