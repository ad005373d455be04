#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/bridging/VlanId.h"
#include "platform/velnet/EthAddr.h"
#include "platform/velnet/IntfId.h"
#include "tests/support/Errors.h"

namespace {

using TestSupport::kelError;

TEST(VlanIdTest, RangeIsOneTo4094WithTheFixedTexts) {
   EXPECT_EQ(kelError([] { Bridging::VlanId(0); }), "VlanId::value < 1 or > 4094 not allowed");
   EXPECT_EQ(kelError([] { Bridging::VlanId(4095); }), "VlanId::value < 1 or > 4094 not allowed");
   EXPECT_EQ(Bridging::VlanIdOrNone(0).isNone(), true);
   EXPECT_EQ(kelError([] { Bridging::VlanIdOrNone(4095); }),
             "VlanIdOrNone::value > 4094 not allowed");
}

TEST(EthAddrTest, ParsesTheUsualLayoutsAndRefusesTheRest) {
   const Velnet::EthAddr a(std::array<std::uint8_t, 6>{0x00, 0x1c, 0x73, 0xaa, 0xbb, 0xcc});
   EXPECT_EQ(Velnet::EthAddr::parse("00:1c:73:aa:bb:cc"), a);
   EXPECT_EQ(Velnet::EthAddr::parse("00-1C-73-AA-BB-CC"), a);
   EXPECT_EQ(Velnet::EthAddr::parse("001c.73aa.bbcc"), a);
   for (const char* bad : {"", "00:1c:73:aa:bb", "00:1c:73:aa:bb:cc:dd", "0:1c:73:aa:bb:cc0",
                           "00:1c:73:aa:bb:cg", "001c:73aa:bbcc", "00:1c-73:aa:bb:cc"}) {
      EXPECT_FALSE(Velnet::EthAddr::parse(bad)) << bad;
   }
   EXPECT_EQ(a.stringValue(), "00:1c:73:aa:bb:cc");
   EXPECT_EQ(Velnet::EthAddr::fromU64(a.toU64()), a);
   EXPECT_TRUE(Velnet::EthAddr::parse("01:00:5e:00:00:01")->isMulticast());
   EXPECT_FALSE(a.isMulticast());
}

TEST(IntfIdTest, OrdersNaturally) {
   using Velnet::IntfId;
   EXPECT_LT(IntfId("Ethernet2"), IntfId("Ethernet10"));
   EXPECT_LT(IntfId("Ethernet1/2"), IntfId("Ethernet1/10"));
   EXPECT_LT(IntfId("Ethernet9"), IntfId("Port-Channel1"));
   EXPECT_LT(IntfId("Ethernet1"), IntfId("Ethernet1/1"));
   EXPECT_NE(IntfId("Ethernet01"), IntfId("Ethernet1"));
   EXPECT_NE(IntfId("Ethernet01") < IntfId("Ethernet1"), IntfId("Ethernet1") < IntfId("Ethernet01"))
       << "a total order even for numbers with leading zeros";
   EXPECT_FALSE(IntfId("Ethernet3") < IntfId("Ethernet3"));
}

// Names are shared by every IntfId of the name; a name outlives any one of them and comes
// back the same after the last one went.
TEST(IntfIdTest, EqualNamesAreOneNameHoweverMadeAndKept) {
   using Velnet::IntfId;
   std::vector<IntfId> ids{IntfId("Ethernet7"), IntfId(std::string("Ethernet7")),
                           IntfId(Kel::String8("Ethernet7"))};
   EXPECT_EQ(ids[0], ids[1]);
   EXPECT_EQ(ids[1], ids[2]);
   EXPECT_EQ(ids[0].stringValue().charPtr(), ids[2].stringValue().charPtr()) << "one copy";
   IntfId kept = ids[1];
   ids.clear();
   EXPECT_EQ(kept.stringValue(), Kel::String8("Ethernet7"));
   kept = IntfId("Ethernet8");
   EXPECT_EQ(IntfId("Ethernet7").stringValue(), Kel::String8("Ethernet7")) << "made again";
   EXPECT_NE(kept, IntfId("Ethernet7"));
   EXPECT_TRUE(IntfId("").empty());
   EXPECT_EQ(IntfId(""), IntfId());
   EXPECT_STREQ(IntfId().charPtr(), "");
   EXPECT_EQ(std::hash<IntfId>()(IntfId("Ethernet8")), std::hash<IntfId>()(kept));
}

}  // namespace
