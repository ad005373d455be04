// The values a "bridgesnmpPlatform" line takes, and the one-line reasons it refuses others.

#include <gtest/gtest.h>

#include "platform/backend/BackendFactory.h"

namespace Platform {
namespace {

TEST(PlatformChoiceTest, ReadsTheKindAndTheBridge) {
   struct Case {
      const char* text;
      const char* chosen;  // platformChoiceText of the choice, or nullptr when refused
      const char* error;
   };
   for (const Case& c : {
            Case{"simulated", "simulated", ""},
            Case{"linux br0", "linux br0", ""},
            Case{"  linux   sw-bridge1 ", "linux sw-bridge1", ""},
            Case{"linux", nullptr, "linux needs the bridge's interface name"},
            Case{"linux br0 br1", nullptr, "unexpected 'br1'"},
            Case{"simulated br0", nullptr, "unexpected 'br0'"},
            Case{"linux abcdefghijklmnop", nullptr,
                 "'abcdefghijklmnop' is longer than an interface name can be"},
            Case{"bsd br0", nullptr,
                 "unknown platform 'bsd'; expected simulated or linux <bridge>"},
        }) {
      SCOPED_TRACE(c.text);
      std::string error;
      const auto choice = parsePlatformChoice(c.text, error);
      if (c.chosen) {
         ASSERT_TRUE(choice.has_value()) << error;
         EXPECT_EQ(platformChoiceText(*choice), c.chosen);
      } else {
         EXPECT_FALSE(choice.has_value());
         EXPECT_EQ(error, c.error);
      }
   }
}

}  // namespace
}  // namespace Platform
