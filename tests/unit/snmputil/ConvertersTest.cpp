// The converters' edges: buffers too small, malformed OIDs, tick wrap, the aging time's range,
// the port map's lookups, and received values out of range. What each one writes is read back
// through net-snmp in tests/snmp.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "conversions/SnmpConversions.h"
#include "model/PortIdMap.h"
#include "platform/snmputil/AsnTypes.h"
#include "platform/snmputil/Converters.h"
#include "platform/velnet/EthAddr.h"
#include "tests/support/Errors.h"

namespace {

using TestSupport::kelError;
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

TEST(ConvertersTest, EachConverterNeedsExactlyItsRoom) {
   const int oidArc = static_cast<int>(sizeof(Snmp::AsnOid));
   const Velnet::EthAddr mac(0x0102, 0x0304, 0x0506);
   using B = unsigned char*;
   const std::vector<std::pair<int, Write>> cases = {
       {4, [](B b, int len) { return Snmp::U32ToAsnUnsignedF()(7u, b, len); }},
       {4, [](B b, int len) { return Snmp::S32ToAsnIntegerF()(-7, b, len); }},
       {4, [](B b, int len) { return Snmp::U64ToCounter32F()(7u, b, len); }},
       {5, [](B b, int len) { return Snmp::StringToAsnOctetStringF()("abcde", b, len); }},
       {2 * oidArc, [](B b, int len) { return Snmp::StringToAsnOidF()("0.0", b, len); }},
       {4, [](B b, int len) { return Snmp::NowSecondsToUptimeTimeTicksF()(5.0, b, len); }},
       {6, [&mac](B b, int len) { return Snmp::VelnetEthAddrToAsnOctetStringF()(mac, b, len); }},
       {4, [](B b, int len) { return HostAgingTimeToAsnInteger(0, b, len); }},
       {4, [](B b, int len) { return EthIntfNameToPortIdAsnUnsigned(Velnet::IntfId(), b, len); }},
   };
   for (std::size_t i = 0; i < cases.size(); ++i) {
      const auto& [room, write] = cases[i];
      EXPECT_EQ(intoGuardedBuffer(room, write), room) << "case " << i;
      EXPECT_LT(intoGuardedBuffer(room - 1, write), 0) << "case " << i;
   }
   unsigned char buf[8];
   EXPECT_LT(Snmp::U32ToAsnUnsignedF()(7u, buf, -1), 0);
   // No octets, and a null interface status, write nothing at all.
   EXPECT_EQ(
       intoGuardedBuffer(0, [](B b, int n) { return Snmp::StringToAsnOctetStringF()("", b, n); }),
       0);
   EXPECT_EQ(intoGuardedBuffer(
                 0, [](B b, int n) { return EthIntfStatusToPortIdAsnUnsigned(nullptr, b, n); }),
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

// Within the MIB's 10 to 1000000; ageing off (0) is the top.
TEST(ConvertersTest, AgingTimeIsClampedToTheMibRange) {
   const std::vector<std::pair<std::uint32_t, std::int32_t>> cases = {{0, 1000000},
                                                                      {1, 10},
                                                                      {9, 10},
                                                                      {10, 10},
                                                                      {999999, 999999},
                                                                      {1000000, 1000000},
                                                                      {1000001, 1000000},
                                                                      {4294967295u, 1000000}};
   for (const auto& [seconds, reported] : cases) {
      std::int32_t value = 0;
      ASSERT_EQ(HostAgingTimeToAsnInteger(seconds, reinterpret_cast<unsigned char*>(&value), 4), 4);
      EXPECT_EQ(value, reported) << seconds;
   }
}

// Lookups by name go through a hash of the map, which must follow every change of it.
TEST(ConvertersTest, PortOfAnInterfaceFollowsEveryChangeOfTheCurrentMap) {
   BridgeSnmp::PortIdMap::Ptr map(new BridgeSnmp::PortIdMap());
   map->portIdIs(Velnet::IntfId("Port-Channel3"), Interface::EthPortId(1003));
   BridgeSnmp::currentPortIdMapIs(map);
   const auto portOf = [](const char* intf) {
      std::uint32_t port = 99;
      EXPECT_EQ(EthIntfNameToPortIdAsnUnsigned(Velnet::IntfId(intf),
                                               reinterpret_cast<unsigned char*>(&port), 4),
                4);
      return port;
   };
   EXPECT_EQ(portOf("Port-Channel3"), 1003u);
   EXPECT_EQ(portOf("Ethernet8"), 0u);
   map->portIdIs(Velnet::IntfId("Ethernet8"), Interface::EthPortId(8));
   map->portIdIs(Velnet::IntfId("Port-Channel3"), Interface::EthPortId(1004));
   EXPECT_EQ(portOf("Ethernet8"), 8u);
   EXPECT_EQ(portOf("Port-Channel3"), 1004u);
   map->portIdDel(Velnet::IntfId("Ethernet8"));
   EXPECT_EQ(portOf("Ethernet8"), 0u);
   BridgeSnmp::currentPortIdMapIs(nullptr);
   EXPECT_EQ(portOf("Port-Channel3"), 0u) << "no map, no port";
}

TEST(ConvertersTest, ReceivedValuesOutOfTheirRangeAreRefused) {
   using Decode = std::function<void(const long*)>;
   const Decode s32 = [](const long* v) { Snmp::AsnIntegerToS32(v); };
   const Decode u32 = [](const long* v) { Snmp::AsnUnsignedToU32(v); };
   const Decode frameTypes = [](const long* v) { AsnIntegerToFrameAdmits(v); };
   const Decode pvid = [](const long* v) { AsnUnsignedToVlanIdOrNone(v); };
   const std::string unsigned32 = "Unsigned32 value out of range 0 to 4294967295";
   const struct {
      long value;
      const Decode& decode;
      std::string error;
   } cases[] = {
       {2147483648L, s32, "INTEGER value out of 32-bit range"},
       {-2147483649L, s32, "INTEGER value out of 32-bit range"},
       {4294967296L, u32, unsigned32},
       {-1, u32, unsigned32},
       {0, frameTypes, "FrameAdmits"},
       {3, frameTypes, "FrameAdmits"},
       {-1, frameTypes, "FrameAdmits"},
       {-2147483648L, frameTypes, "FrameAdmits"},
       {4095, pvid, "VlanIdOrNone::value > 4094 not allowed"},
       {4096, pvid, "too big for vlan id"},
       {4294967295L, pvid, "too big for vlan id"},
       {4294967296L, pvid, unsigned32},  // beyond an Unsigned32: refused as one
   };
   for (const auto& c : cases) {
      EXPECT_EQ(kelError([&] { c.decode(&c.value); }), c.error) << c.value;
   }
   const unsigned char octets[7] = {0x00, 0x1c, 0x73, 0xaa, 0xbb, 0xcc, 0xdd};
   EXPECT_EQ(kelError([&] { Snmp::AsnOctetStringToVelnetEthAddr(octets, 5); }),
             "MAC address must be 6 octets");
   EXPECT_EQ(kelError([&] { Snmp::AsnOctetStringToVelnetEthAddr(octets, 7); }),
             "MAC address must be 6 octets");
   // Values in range, read from wherever net-snmp put them, aligned or not.
   alignas(long) unsigned char raw[sizeof(long) + 1];
   const auto at = [&](long value) {
      std::memcpy(raw + 1, &value, sizeof value);
      return raw + 1;
   };
   EXPECT_EQ(Snmp::AsnIntegerToS32(at(-2147483648L)), -2147483647 - 1);
   EXPECT_EQ(Snmp::AsnUnsignedToU32(at(4294967295L)), 4294967295u);
   EXPECT_EQ(AsnIntegerToFrameAdmits(at(1)), admitAll);
   EXPECT_EQ(AsnIntegerToFrameAdmits(at(2)), admitOnlyVlanTagged);
   EXPECT_TRUE(AsnUnsignedToVlanIdOrNone(at(0)).isNone());
   EXPECT_EQ(AsnUnsignedToVlanIdOrNone(at(1)).value(), 1);
   EXPECT_EQ(AsnUnsignedToVlanIdOrNone(at(4094)).value(), 4094);
   EXPECT_EQ(Snmp::AsnOctetStringToVelnetEthAddr(octets, 6),
             *Velnet::EthAddr::parse("00:1c:73:aa:bb:cc"));
}

}  // namespace
