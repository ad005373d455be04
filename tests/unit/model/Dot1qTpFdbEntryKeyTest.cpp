#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "model/Dot1qTpFdbEntryKey.h"

namespace {

using BridgeSnmp::Dot1qTpFdbEntryKey;

Dot1qTpFdbEntryKey key(unsigned fid, const char* address) {
   return Dot1qTpFdbEntryKey(Bridging::Fid(fid), *Velnet::EthAddr::parse(address));
}

TEST(Dot1qTpFdbEntryKeyTest, FidDecidesBeforeTheAddress) {
   const auto a = key(1, "ff:ff:ff:ff:ff:ff");
   const auto b = key(2, "00:00:00:00:00:00");
   EXPECT_LT(a, b);
   EXPECT_LE(a, b);
   EXPECT_GT(b, a);
   EXPECT_GE(b, a);
   EXPECT_NE(a, b);
}

TEST(Dot1qTpFdbEntryKeyTest, EqualFidsOrderByAddressOctets) {
   EXPECT_LT(key(10, "00:00:00:00:00:ff"), key(10, "00:00:00:00:01:00"));
   EXPECT_LT(key(10, "00:ff:ff:ff:ff:ff"), key(10, "01:00:00:00:00:00"));
   EXPECT_EQ(key(10, "02:00:00:00:00:01"), key(10, "02:00:00:00:00:01"));
   EXPECT_LE(key(10, "02:00:00:00:00:01"), key(10, "02:00:00:00:00:01"));
   EXPECT_FALSE(key(10, "02:00:00:00:00:01") < key(10, "02:00:00:00:00:01"));
   // A sort by the key is by fid, then by address.
   std::vector<Dot1qTpFdbEntryKey> keys{key(20, "00:00:00:00:00:01"), key(1, "ff:00:00:00:00:00"),
                                        key(20, "00:00:00:00:00:00"),
                                        key(300, "00:00:00:00:00:00")};
   std::sort(keys.begin(), keys.end());
   EXPECT_EQ(keys[0], key(1, "ff:00:00:00:00:00"));
   EXPECT_EQ(keys[1], key(20, "00:00:00:00:00:00"));
   EXPECT_EQ(keys[3], key(300, "00:00:00:00:00:00"));
}

}  // namespace
