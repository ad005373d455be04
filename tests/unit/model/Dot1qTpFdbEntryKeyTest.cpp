#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "model/Dot1qTpFdbEntryKey.h"
#include "platform/kel/Exception.h"

namespace {

using BridgeSnmp::Dot1qTpFdbEntryKey;

Dot1qTpFdbEntryKey key(unsigned fid, const char* address) {
   return Dot1qTpFdbEntryKey(Bridging::Fid(fid), *Velnet::EthAddr::parse(address));
}

std::string parseError(const std::string& text) {
   Kel::Expect expect(Kel::ExceptionId::parse);
   try {
      Kel::sequenceToValue<Dot1qTpFdbEntryKey>(text);
   } catch (const Kel::Exception& e) {
      return e.what();
   }
   return "no error";
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

TEST(Dot1qTpFdbEntryKeyTest, PrintableFormRoundTrips) {
   const auto k = key(4094, "00:1c:73:aa:bb:cc");
   const std::string text = BridgeSnmp::valueToStrep(k);
   EXPECT_EQ(text,
             "Value('BridgeSnmp::Dot1qTpFdbEntryKey', ** {'fid': 4094, 'address': "
             "'00:1c:73:aa:bb:cc'})");
   EXPECT_EQ(Kel::sequenceToValue<Dot1qTpFdbEntryKey>(text), k);
   // Attribute order and spacing are free.
   EXPECT_EQ(Kel::sequenceToValue<Dot1qTpFdbEntryKey>(
                 "Value( 'BridgeSnmp::Dot1qTpFdbEntryKey' , ** { 'address' : '00:1c:73:aa:bb:cc',"
                 "'fid':4094 } )"),
             k);
   std::ostringstream os;
   os << k;
   EXPECT_EQ(os.str(), text);
}

TEST(Dot1qTpFdbEntryKeyTest, ParserErrors) {
   EXPECT_EQ(parseError("Value('BridgeSnmp::Dot1qTpFdbEntryKey', ** {'vlan': 3})"),
             "Dot1qTpFdbEntryKey has no such attribute: vlan");
   EXPECT_EQ(parseError("Value('BridgeSnmp::Dot1qTpFdbEntryKey', ** {'fid': 3"),
             "premature end of value type Dot1qTpFdbEntryKey");
   EXPECT_EQ(parseError("Value('BridgeSnmp::Dot1qTpFdbEntryKey', ** {'fid': 3, 'address': "
                        "'00:00:00:00:00:01'}"),
             "premature end of value type Dot1qTpFdbEntryKey");
   EXPECT_EQ(parseError("Value('BridgeSnmp::Dot1qTpFdbEntryKey', ** {'fid': 3, 'address': "
                        "'00:00:00:00:00:01'}) x"),
             "junk at column 88 deserializing Dot1qTpFdbEntryKey");
   EXPECT_EQ(parseError("Value("), "premature end of value type Dot1qTpFdbEntryKey");
   EXPECT_NE(parseError("Value('Other', ** {'fid': 3})"), "no error");
}

}  // namespace
