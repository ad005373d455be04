#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "platform/kel/Exception.h"
#include "platform/snmputil/AsnTypes.h"
#include "platform/snmputil/Converters.h"
#include "platform/velnet/EthAddr.h"

namespace {

constexpr unsigned char guard = 0xA5;

std::uint32_t readU32(const unsigned char* buf) {
   std::uint32_t v = 0;
   std::memcpy(&v, buf, sizeof(v));
   return v;
}

std::int32_t readS32(const unsigned char* buf) {
   std::int32_t v = 0;
   std::memcpy(&v, buf, sizeof(v));
   return v;
}

std::vector<Snmp::AsnOid> readOid(const unsigned char* buf, int bytes) {
   std::vector<Snmp::AsnOid> oid(static_cast<std::size_t>(bytes) / sizeof(Snmp::AsnOid));
   std::memcpy(oid.data(), buf, oid.size() * sizeof(Snmp::AsnOid));
   return oid;
}

// Runs `convert` into a buffer with room for `len` bytes followed by guard bytes, and
// checks that the guard bytes are intact; returns the converter's count.
template <class Convert>
int intoGuardedBuffer(int len, Convert&& convert) {
   std::vector<unsigned char> buf(static_cast<std::size_t>(len) + 16, guard);
   const int n = convert(buf.data(), len);
   for (std::size_t i = static_cast<std::size_t>(len); i < buf.size(); ++i) {
      EXPECT_EQ(buf[i], guard) << "byte " << i << " past len " << len << " was written";
   }
   return n;
}

template <class F>
std::string rangeError(F&& f) {
   Kel::Expect expect(Kel::ExceptionId::range);
   try {
      f();
   } catch (const Kel::RangeException& e) {
      return e.what();
   }
   return "no error";
}

// Keeps the agent start time each test sets from leaking into others.
class ConvertersTest : public ::testing::Test {
 protected:
   void SetUp() override { savedStart_ = Snmp::agentStartTime(); }
   void TearDown() override { Snmp::agentStartTimeIs(savedStart_); }

 private:
   double savedStart_ = 0.0;
};

TEST_F(ConvertersTest, AgentStartTimeIsZeroUntilSetAndKeepsWhatIsSet) {
   EXPECT_EQ(Snmp::agentStartTime(), 0.0);
   Snmp::agentStartTimeIs(1700000000.25);
   EXPECT_EQ(Snmp::agentStartTime(), 1700000000.25);
}

TEST_F(ConvertersTest, UnsignedIsFourBytesOfTheValue) {
   unsigned char buf[8];
   for (std::uint32_t v : {0u, 1u, 65535u, 4294967295u}) {
      ASSERT_EQ((Snmp::SnmpConvert<std::uint32_t, Snmp::U32ToAsnUnsignedF>(v, buf, sizeof(buf))),
                4);
      EXPECT_EQ(readU32(buf), v);
   }
}

TEST_F(ConvertersTest, IntegerIsFourBytesOfTheSignedValue) {
   unsigned char buf[4];
   for (std::int32_t v : {0, -1, 42, std::numeric_limits<std::int32_t>::min(),
                          std::numeric_limits<std::int32_t>::max()}) {
      ASSERT_EQ((Snmp::SnmpConvert<std::int32_t, Snmp::S32ToAsnIntegerF>(v, buf, sizeof(buf))), 4);
      EXPECT_EQ(readS32(buf), v);
   }
}

TEST_F(ConvertersTest, Counter32KeepsTheLow32Bits) {
   unsigned char buf[4];
   ASSERT_EQ((Snmp::SnmpConvert<std::uint64_t, Snmp::U64ToCounter32F>(0x100000005ull, buf, 4)), 4);
   EXPECT_EQ(readU32(buf), 5u);
   ASSERT_EQ((Snmp::SnmpConvert<std::uint64_t, Snmp::U64ToCounter32F>(0xffffffffull, buf, 4)), 4);
   EXPECT_EQ(readU32(buf), 4294967295u);
   ASSERT_EQ(
       (Snmp::SnmpConvert<std::uint64_t, Snmp::U64ToCounter32F>(0xffffffff00000000ull, buf, 4)), 4);
   EXPECT_EQ(readU32(buf), 0u);
}

TEST_F(ConvertersTest, OctetStringIsItsOctetsIncludingEmpty) {
   unsigned char buf[16];
   const std::string text("sw\0tch", 6);
   ASSERT_EQ((Snmp::SnmpConvert<std::string, Snmp::StringToAsnOctetStringF>(text, buf, 16)), 6);
   EXPECT_EQ(std::string(reinterpret_cast<const char*>(buf), 6), text);
   EXPECT_EQ(
       intoGuardedBuffer(0,
                         [](unsigned char* b, int len) {
                            return Snmp::SnmpConvert<std::string, Snmp::StringToAsnOctetStringF>(
                                std::string(), b, len);
                         }),
       0);
}

TEST_F(ConvertersTest, EthAddrIsItsSixOctetsInOrder) {
   unsigned char buf[6];
   const Velnet::EthAddr mac = *Velnet::EthAddr::parse("00:1c:73:aa:bb:cc");
   ASSERT_EQ(
       (Snmp::SnmpConvert<Velnet::EthAddr, Snmp::VelnetEthAddrToAsnOctetStringF>(mac, buf, 6)), 6);
   const std::array<unsigned char, 6> expected{0x00, 0x1c, 0x73, 0xaa, 0xbb, 0xcc};
   EXPECT_EQ(std::memcmp(buf, expected.data(), 6), 0);
}

TEST_F(ConvertersTest, TooSmallABufferGivesANegativeCountAndNothingPastLen) {
   const Velnet::EthAddr mac(0x0102, 0x0304, 0x0506);
   EXPECT_LT(intoGuardedBuffer(3, [](unsigned char* b,
                                     int len) { return Snmp::U32ToAsnUnsignedF()(7u, b, len); }),
             0);
   EXPECT_LT(intoGuardedBuffer(
                 3, [](unsigned char* b, int len) { return Snmp::S32ToAsnIntegerF()(-7, b, len); }),
             0);
   EXPECT_LT(intoGuardedBuffer(
                 0, [](unsigned char* b, int len) { return Snmp::U64ToCounter32F()(7u, b, len); }),
             0);
   EXPECT_LT(intoGuardedBuffer(4,
                               [](unsigned char* b, int len) {
                                  return Snmp::StringToAsnOctetStringF()("abcde", b, len);
                               }),
             0);
   EXPECT_LT(intoGuardedBuffer(
                 static_cast<int>(2 * sizeof(Snmp::AsnOid)) - 1,
                 [](unsigned char* b, int len) { return Snmp::StringToAsnOidF()("0.0", b, len); }),
             0);
   EXPECT_LT(intoGuardedBuffer(3,
                               [](unsigned char* b, int len) {
                                  return Snmp::NowSecondsToUptimeTimeTicksF()(5.0, b, len);
                               }),
             0);
   EXPECT_LT(intoGuardedBuffer(5,
                               [&mac](unsigned char* b, int len) {
                                  return Snmp::VelnetEthAddrToAsnOctetStringF()(mac, b, len);
                               }),
             0);
   unsigned char buf[8];
   EXPECT_LT(Snmp::U32ToAsnUnsignedF()(7u, buf, -1), 0);
}

TEST_F(ConvertersTest, ExactlyEnoughRoomIsEnough) {
   EXPECT_EQ(intoGuardedBuffer(4, [](unsigned char* b,
                                     int len) { return Snmp::U32ToAsnUnsignedF()(7u, b, len); }),
             4);
   EXPECT_EQ(intoGuardedBuffer(5,
                               [](unsigned char* b, int len) {
                                  return Snmp::StringToAsnOctetStringF()("abcde", b, len);
                               }),
             5);
   EXPECT_EQ(intoGuardedBuffer(
                 static_cast<int>(2 * sizeof(Snmp::AsnOid)),
                 [](unsigned char* b, int len) { return Snmp::StringToAsnOidF()("0.0", b, len); }),
             static_cast<int>(2 * sizeof(Snmp::AsnOid)));
}

TEST_F(ConvertersTest, OidParsesDottedDecimal) {
   unsigned char buf[64 * sizeof(Snmp::AsnOid)];
   int n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOidF>("0.0", buf, sizeof(buf));
   ASSERT_EQ(n, static_cast<int>(2 * sizeof(Snmp::AsnOid)));
   EXPECT_EQ(readOid(buf, n), (std::vector<Snmp::AsnOid>{0, 0}));

   n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOidF>("1.3.6.1.4.1.32473", buf, sizeof(buf));
   ASSERT_EQ(n, static_cast<int>(7 * sizeof(Snmp::AsnOid)));
   EXPECT_EQ(readOid(buf, n), (std::vector<Snmp::AsnOid>{1, 3, 6, 1, 4, 1, 32473}));

   n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOidF>("1.4294967295", buf, sizeof(buf));
   ASSERT_EQ(n, static_cast<int>(2 * sizeof(Snmp::AsnOid)));
   EXPECT_EQ(readOid(buf, n), (std::vector<Snmp::AsnOid>{1, 4294967295ul}));
}

TEST_F(ConvertersTest, OidOfAtMost128SubIdentifiers) {
   std::string text = "1";
   for (int i = 1; i < 128; ++i) {
      text += "." + std::to_string(i);
   }
   std::vector<unsigned char> buf(200 * sizeof(Snmp::AsnOid));
   const int len = static_cast<int>(buf.size());
   const int n = Snmp::StringToAsnOidF()(text, buf.data(), len);
   ASSERT_EQ(n, static_cast<int>(128 * sizeof(Snmp::AsnOid)));
   EXPECT_EQ(readOid(buf.data(), n).back(), 127u);
   EXPECT_LT(Snmp::StringToAsnOidF()(text + ".128", buf.data(), len), 0);
}

TEST_F(ConvertersTest, MalformedOidGivesANegativeCount) {
   for (const char* bad :
        {"", "1", "0", ".", "1.", ".1.3", "1..3", "1.3.", "1.a", "a.1", " 1.3", "1.3 ", "-1.3",
         "1.-3", "1.4294967296", "1.99999999999999999999", "1,3", "+1.3"}) {
      EXPECT_LT(
          intoGuardedBuffer(64, [bad](unsigned char* b,
                                      int len) { return Snmp::StringToAsnOidF()(bad, b, len); }),
          0)
          << "'" << bad << "'";
   }
}

TEST_F(ConvertersTest, SecondsBecomeHundredthsWrappingAt2To32) {
   EXPECT_EQ(Snmp::SecondsToTimeTicks(0.0), 0u);
   EXPECT_EQ(Snmp::SecondsToTimeTicks(12.34), 1234u);
   EXPECT_EQ(Snmp::SecondsToTimeTicks(0.29), 29u);
   EXPECT_EQ(Snmp::SecondsToTimeTicks(0.999), 99u);
   EXPECT_EQ(Snmp::SecondsToTimeTicks(42949672.0), 4294967200u);
   // 42949673 s is 4294967300 hundredths: 4 past the wrap.
   EXPECT_EQ(Snmp::SecondsToTimeTicks(42949673.0), 4u);
   EXPECT_EQ(Snmp::SecondsToTimeTicks(2 * 42949673.0), 8u);
   EXPECT_EQ(Snmp::SecondsToTimeTicks(-0.5), 0u);
   EXPECT_EQ(Snmp::SecondsToTimeTicks(-1e12), 0u);
   EXPECT_EQ(Snmp::SecondsToTimeTicks(std::nan("")), 0u);
}

TEST_F(ConvertersTest, UptimeCountsFromTheAgentStartAndNeverGoesNegative) {
   Snmp::agentStartTimeIs(1000.0);
   EXPECT_EQ(Snmp::NowSecondsToUptimeSeconds(1012.5), 12.5);
   EXPECT_EQ(Snmp::NowSecondsToUptimeSeconds(1000.0), 0.0);
   EXPECT_EQ(Snmp::NowSecondsToUptimeSeconds(999.0), 0.0);
}

TEST_F(ConvertersTest, UptimeTimeTicksAreHundredthsSinceStart) {
   Snmp::agentStartTimeIs(1000.0);
   unsigned char buf[4];
   ASSERT_EQ((Snmp::SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(1012.5, buf, 4)), 4);
   EXPECT_EQ(readU32(buf), 1250u);
   // A clock set back before the start reads 0, not a huge unsigned value.
   ASSERT_EQ((Snmp::SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(400.0, buf, 4)), 4);
   EXPECT_EQ(readU32(buf), 0u);
   ASSERT_EQ(
       (Snmp::SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(1000.0 + 42949673.0, buf, 4)),
       4);
   EXPECT_EQ(readU32(buf), 4u);
}

TEST_F(ConvertersTest, ReceivedIntegerMustFit32Bits) {
   long v = -2147483648L;
   EXPECT_EQ(Snmp::AsnIntegerToS32(&v), std::numeric_limits<std::int32_t>::min());
   v = 2147483647L;
   EXPECT_EQ(Snmp::AsnIntegerToS32(&v), 2147483647);
   v = -1;
   EXPECT_EQ(Snmp::AsnIntegerToS32(&v), -1);
   v = 2147483648L;
   EXPECT_EQ(rangeError([&v] { Snmp::AsnIntegerToS32(&v); }), "INTEGER value out of 32-bit range");
   v = -2147483649L;
   EXPECT_EQ(rangeError([&v] { Snmp::AsnIntegerToS32(&v); }), "INTEGER value out of 32-bit range");
}

TEST_F(ConvertersTest, ReceivedUnsignedMustFit32Bits) {
   long v = 0;
   EXPECT_EQ(Snmp::AsnUnsignedToU32(&v), 0u);
   v = 4294967295L;
   EXPECT_EQ(Snmp::AsnUnsignedToU32(&v), 4294967295u);
   v = 4294967296L;
   EXPECT_EQ(rangeError([&v] { Snmp::AsnUnsignedToU32(&v); }),
             "Unsigned32 value out of range 0 to 4294967295");
   v = -1;
   EXPECT_EQ(rangeError([&v] { Snmp::AsnUnsignedToU32(&v); }),
             "Unsigned32 value out of range 0 to 4294967295");
   unsigned long u = 4294967295ul;
   EXPECT_EQ(Snmp::AsnUnsignedToU32(&u), 4294967295u);
}

TEST_F(ConvertersTest, ReceivedValuesNeedNotBeAligned) {
   alignas(long) unsigned char raw[sizeof(long) + 1];
   const long v = -123456;
   std::memcpy(raw + 1, &v, sizeof(v));
   EXPECT_EQ(Snmp::AsnIntegerToS32(raw + 1), -123456);
   const long u = 4000000000L;
   std::memcpy(raw + 1, &u, sizeof(u));
   EXPECT_EQ(Snmp::AsnUnsignedToU32(raw + 1), 4000000000u);
}

TEST_F(ConvertersTest, ReceivedMacAddressIsExactlySixOctets) {
   const unsigned char octets[7] = {0x00, 0x1c, 0x73, 0xaa, 0xbb, 0xcc, 0xdd};
   EXPECT_EQ(Snmp::AsnOctetStringToVelnetEthAddr(octets, 6),
             *Velnet::EthAddr::parse("00:1c:73:aa:bb:cc"));
   EXPECT_EQ(rangeError([&octets] { Snmp::AsnOctetStringToVelnetEthAddr(octets, 5); }),
             "MAC address must be 6 octets");
   EXPECT_EQ(rangeError([&octets] { Snmp::AsnOctetStringToVelnetEthAddr(octets, 7); }),
             "MAC address must be 6 octets");
   EXPECT_EQ(rangeError([&octets] { Snmp::AsnOctetStringToVelnetEthAddr(octets, 0); }),
             "MAC address must be 6 octets");
}

}  // namespace
