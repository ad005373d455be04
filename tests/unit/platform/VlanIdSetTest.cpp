#include <gtest/gtest.h>

#include "platform/kel/Exception.h"
#include "platform/swix/VlanIdSet.h"
#include "tests/support/Errors.h"

namespace {

SwixUtils::VlanIdSet setOf(std::string_view text) {
   SwixUtils::VlanIdSet set;
   SwixUtils::computeVlanSet(set, text);
   return set;
}

std::string parseError(std::string_view text) {
   SwixUtils::VlanIdSet set;
   set.doAdd(Bridging::VlanId(3));
   const std::string error = TestSupport::kelError([&] { SwixUtils::computeVlanSet(set, text); },
                                                   Kel::ExceptionId::parse);
   EXPECT_EQ(set.multiRangeString(), "3") << "a refused text leaves the set as it was";
   return error;
}

TEST(VlanIdSetTest, PrintsAscendingRanges) {
   SwixUtils::VlanIdSet set;
   EXPECT_EQ(set.multiRangeString(), "");
   for (std::uint32_t v : {20u, 1u, 2u, 3u, 10u, 4094u, 4093u, 5u}) {
      set.doAdd(Bridging::VlanId(v));
   }
   EXPECT_EQ(set.multiRangeString(), "1-3,5,10,20,4093-4094");
   set.doRemove(Bridging::VlanId(2));
   EXPECT_EQ(set.multiRangeString(), "1,3,5,10,20,4093-4094");
   set.doClear();
   EXPECT_TRUE(set.empty());
}

// Parsing adds to what is there and reads what the set prints.
TEST(VlanIdSetTest, ParsesWhatItPrintsAddingToWhatIsThere) {
   for (const char* text : {"1", "1-10,20", "2,4,6-8,4094", "1-4094"}) {
      EXPECT_EQ(setOf(text).multiRangeString(), text);
   }
   EXPECT_EQ(setOf(" 5 - 7 , 1 ").multiRangeString(), "1,5-7");
   EXPECT_EQ(setOf("all").count(), 4094u);
   EXPECT_TRUE(setOf("").empty());
   SwixUtils::VlanIdSet set;
   set.doAdd(Bridging::VlanId(20));
   SwixUtils::computeVlanSet(set, "1-10");
   EXPECT_EQ(set.multiRangeString(), "1-10,20");
}

TEST(VlanIdSetTest, RefusesMalformedTextNamingTheProblem) {
   EXPECT_EQ(parseError("5-x"), "malformed VLAN list '5-x': 'x' is not a VLAN number");
   EXPECT_EQ(parseError("1,,2"), "malformed VLAN list '1,,2': empty element");
   EXPECT_EQ(parseError("0-3"), "malformed VLAN list '0-3': VLAN 0 is outside 1-4094");
   EXPECT_EQ(parseError("4095"), "malformed VLAN list '4095': VLAN 4095 is outside 1-4094");
   EXPECT_EQ(parseError("10-5"), "malformed VLAN list '10-5': range '10-5' runs backwards");
   EXPECT_EQ(parseError("1-2-3"), "malformed VLAN list '1-2-3': '2-3' is not a VLAN number");
}

}  // namespace
