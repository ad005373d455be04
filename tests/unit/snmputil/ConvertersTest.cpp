// The converters' edges: buffers too small, malformed OIDs, tick wrap, and received values out
// of range. What each one writes is read back through net-snmp in the plug-in tests.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "platform/kel/Exception.h"
#include "platform/snmputil/AsnTypes.h"
#include "platform/snmputil/Converters.h"
#include "platform/velnet/EthAddr.h"

namespace {

using Write = std::function<int(unsigned char*, int)>;

// The converter's count, into `len` bytes of room; fails the test if it wrote past them.
int intoGuardedBuffer(int len, const Write& write) {
   std::vector<unsigned char> buf(static_cast<std::size_t>(len) + 16, 0xa5);
   const int n = write(buf.data(), len);
   for (std::size_t i = static_cast<std::size_t>(len); i < buf.size(); ++i) {
      EXPECT_EQ(buf[i], 0xa5) << "byte " << i << " past len " << len << " was written";
   }
   return n;
}

std::string rangeError(const std::function<void()>& f) {
   Kel::Expect expect(Kel::ExceptionId::range);
   try {
      f();
   } catch (const Kel::RangeException& e) {
      return e.what();
   }
   return "no error";
}

TEST(ConvertersTest, EachConverterNeedsExactlyItsRoom) {
   const int oidArc = static_cast<int>(sizeof(Snmp::AsnOid));
   const Velnet::EthAddr mac(0x0102, 0x0304, 0x0506);
   const std::vector<std::pair<int, Write>> cases = {
       {4, [](unsigned char* b, int len) { return Snmp::U32ToAsnUnsignedF()(7u, b, len); }},
       {4, [](unsigned char* b, int len) { return Snmp::S32ToAsnIntegerF()(-7, b, len); }},
       {4, [](unsigned char* b, int len) { return Snmp::U64ToCounter32F()(7u, b, len); }},
       {5,
        [](unsigned char* b, int len) { return Snmp::StringToAsnOctetStringF()("abcde", b, len); }},
       {2 * oidArc,
        [](unsigned char* b, int len) { return Snmp::StringToAsnOidF()("0.0", b, len); }},
       {4, [](unsigned char* b,
              int len) { return Snmp::NowSecondsToUptimeTimeTicksF()(5.0, b, len); }},
       {6, [&mac](unsigned char* b,
                  int len) { return Snmp::VelnetEthAddrToAsnOctetStringF()(mac, b, len); }},
   };
   for (std::size_t i = 0; i < cases.size(); ++i) {
      const auto& [room, write] = cases[i];
      EXPECT_EQ(intoGuardedBuffer(room, write), room) << "case " << i;
      EXPECT_LT(intoGuardedBuffer(room - 1, write), 0) << "case " << i;
   }
   unsigned char buf[8];
   EXPECT_LT(Snmp::U32ToAsnUnsignedF()(7u, buf, -1), 0);
   EXPECT_EQ(
       intoGuardedBuffer(0, [](unsigned char* b,
                               int len) { return Snmp::StringToAsnOctetStringF()("", b, len); }),
       0);
}

TEST(ConvertersTest, OidIsTwoTo128SubIdentifiersOfDottedDecimal) {
   std::string longest = "1";
   for (int i = 1; i < 128; ++i) {
      longest += "." + std::to_string(i);
   }
   std::vector<unsigned char> buf(200 * sizeof(Snmp::AsnOid));
   const int len = static_cast<int>(buf.size());
   EXPECT_EQ(Snmp::StringToAsnOidF()(longest, buf.data(), len),
             static_cast<int>(128 * sizeof(Snmp::AsnOid)));
   for (const std::string& bad :
        {std::string(), std::string("1"), std::string("."), std::string("1."), std::string(".1.3"),
         std::string("1..3"), std::string("1.a"), std::string(" 1.3"), std::string("1.3 "),
         std::string("-1.3"), std::string("1.4294967296"), std::string("1,3"), std::string("+1.3"),
         longest + ".128"}) {
      EXPECT_LT(Snmp::StringToAsnOidF()(bad, buf.data(), len), 0) << "'" << bad << "'";
   }
}

TEST(ConvertersTest, SecondsBecomeHundredthsWrappingAt2To32) {
   const std::vector<std::pair<double, std::uint32_t>> cases = {
       {0.0, 0},        {12.34, 1234},       {0.29, 29}, {0.999, 99}, {42949672.0, 4294967200u},
       {42949673.0, 4}, {2 * 42949673.0, 8}, {-0.5, 0},  {-1e12, 0},  {std::nan(""), 0}};
   for (const auto& [seconds, ticks] : cases) {
      EXPECT_EQ(Snmp::SecondsToTimeTicks(seconds), ticks) << seconds;
   }
   const double saved = Snmp::agentStartTime();
   Snmp::agentStartTimeIs(1000.0);
   EXPECT_EQ(Snmp::NowSecondsToUptimeSeconds(1012.5), 12.5);
   EXPECT_EQ(Snmp::NowSecondsToUptimeSeconds(999.0), 0.0) << "a clock set back reads 0";
   Snmp::agentStartTimeIs(saved);
}

TEST(ConvertersTest, ReceivedValuesOutOfTheirRangeAreRefused) {
   const long tooBig = 2147483648L;
   const long tooSmall = -2147483649L;
   const long minusOne = -1;
   const long beyondUnsigned = 4294967296L;
   const unsigned char octets[7] = {0x00, 0x1c, 0x73, 0xaa, 0xbb, 0xcc, 0xdd};
   const std::vector<std::pair<std::function<void()>, std::string>> cases = {
       {[&] { Snmp::AsnIntegerToS32(&tooBig); }, "INTEGER value out of 32-bit range"},
       {[&] { Snmp::AsnIntegerToS32(&tooSmall); }, "INTEGER value out of 32-bit range"},
       {[&] { Snmp::AsnUnsignedToU32(&beyondUnsigned); },
        "Unsigned32 value out of range 0 to 4294967295"},
       {[&] { Snmp::AsnUnsignedToU32(&minusOne); },
        "Unsigned32 value out of range 0 to 4294967295"},
       {[&] { Snmp::AsnOctetStringToVelnetEthAddr(octets, 5); }, "MAC address must be 6 octets"},
       {[&] { Snmp::AsnOctetStringToVelnetEthAddr(octets, 7); }, "MAC address must be 6 octets"},
   };
   for (std::size_t i = 0; i < cases.size(); ++i) {
      EXPECT_EQ(rangeError(cases[i].first), cases[i].second) << "case " << i;
   }
   // Values in range, read from wherever net-snmp put them, aligned or not.
   alignas(long) unsigned char raw[sizeof(long) + 1];
   const long value = -2147483648L;
   std::memcpy(raw + 1, &value, sizeof value);
   EXPECT_EQ(Snmp::AsnIntegerToS32(raw + 1), -2147483647 - 1);
   const long unsignedValue = 4294967295L;
   std::memcpy(raw + 1, &unsignedValue, sizeof unsignedValue);
   EXPECT_EQ(Snmp::AsnUnsignedToU32(raw + 1), 4294967295u);
   EXPECT_EQ(Snmp::AsnOctetStringToVelnetEthAddr(octets, 6),
             *Velnet::EthAddr::parse("00:1c:73:aa:bb:cc"));
}

}  // namespace
