#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "conversions/SnmpConversions.h"
#include "model/PortIdMap.h"
#include "platform/kel/Exception.h"
#include "platform/kel/MemoryTraceSink.h"
#include "platform/kel/Trace.h"

namespace {

constexpr unsigned char guard = 0xA5;

std::int32_t readS32(const unsigned char* buf) {
   std::int32_t v = 0;
   std::memcpy(&v, buf, sizeof(v));
   return v;
}

std::uint32_t readU32(const unsigned char* buf) {
   std::uint32_t v = 0;
   std::memcpy(&v, buf, sizeof(v));
   return v;
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

TEST(HostAgingTimeTest, ClampsToTheMibRangeAndZeroIsTheTop) {
   const std::vector<std::pair<std::uint32_t, std::int32_t>> cases = {{0, 1000000},
                                                                      {1, 10},
                                                                      {9, 10},
                                                                      {10, 10},
                                                                      {999999, 999999},
                                                                      {1000000, 1000000},
                                                                      {1000001, 1000000},
                                                                      {4294967295u, 1000000}};
   for (const auto& [seconds, reported] : cases) {
      unsigned char buf[8] = {guard, guard, guard, guard, guard, guard, guard, guard};
      ASSERT_EQ(HostAgingTimeToAsnInteger(seconds, buf, 4), 4);
      EXPECT_EQ(readS32(buf), reported) << seconds;
      EXPECT_LT(HostAgingTimeToAsnInteger(seconds, buf, 3), 0);
      EXPECT_EQ(buf[4], guard);
   }
}

// An interface's port number comes from the current port map; none without an entry or a map.
TEST(PortIdMapTest, InterfaceNameGivesItsPortNumberOrZero) {
   BridgeSnmp::PortIdMap::Ptr map(new BridgeSnmp::PortIdMap());
   map->portIdIs(Velnet::IntfId("Port-Channel3"), Interface::EthPortId(1003));
   BridgeSnmp::currentPortIdMapIs(map);
   unsigned char buf[4];
   ASSERT_EQ(EthIntfNameToPortIdAsnUnsigned(Velnet::IntfId("Port-Channel3"), buf, 4), 4);
   EXPECT_EQ(readU32(buf), 1003u);
   EXPECT_LT(EthIntfNameToPortIdAsnUnsigned(Velnet::IntfId("Port-Channel3"), buf, 3), 0);
   ASSERT_EQ(EthIntfNameToPortIdAsnUnsigned(Velnet::IntfId("Ethernet8"), buf, 4), 4);
   EXPECT_EQ(readU32(buf), 0u);
   // Lookups follow every change of the map: a new port, a renumbered one, a removed one.
   map->portIdIs(Velnet::IntfId("Ethernet8"), Interface::EthPortId(8));
   map->portIdIs(Velnet::IntfId("Port-Channel3"), Interface::EthPortId(1004));
   EXPECT_EQ(BridgeSnmp::currentPortId(Velnet::IntfId("Ethernet8")), Interface::EthPortId(8));
   EXPECT_EQ(BridgeSnmp::currentPortId(Velnet::IntfId("Port-Channel3")),
             Interface::EthPortId(1004));
   map->portIdDel(Velnet::IntfId("Ethernet8"));
   EXPECT_EQ(BridgeSnmp::currentPortId(Velnet::IntfId("Ethernet8")), Interface::EthPortId(0));
   BridgeSnmp::currentPortIdMapIs(nullptr);
   ASSERT_EQ(EthIntfNameToPortIdAsnUnsigned(Velnet::IntfId("Port-Channel3"), buf, 4), 4);
   EXPECT_EQ(readU32(buf), 0u);
}

// Records the "SnmpConversion" traces at level 8 for one test and restores the sink and
// level afterwards.
class ConversionTraceTest : public ::testing::Test {
 protected:
   void SetUp() override {
      previousSink_ = Kel::traceSink();
      previousLevel_ = Kel::traceLevel("SnmpConversion");
      Kel::traceSinkIs(sink);
      ASSERT_TRUE(Kel::setTraceLevels("SnmpConversion/8"));
   }
   void TearDown() override {
      Kel::traceSinkIs(previousSink_);
      Kel::setTraceLevels("SnmpConversion/" + std::to_string(previousLevel_));
   }

   std::shared_ptr<Kel::MemoryTraceSink> sink = std::make_shared<Kel::MemoryTraceSink>();

 private:
   std::shared_ptr<Kel::TraceSink> previousSink_;
   int previousLevel_ = 0;
};

TEST_F(ConversionTraceTest, NullInterfaceStatusGivesNoBytesAndIsTraced) {
   unsigned char buf[4];
   std::memset(buf, guard, sizeof(buf));
   EXPECT_EQ(EthIntfStatusToPortIdAsnUnsigned(nullptr, buf, 4), 0);
   for (unsigned char b : buf) {
      EXPECT_EQ(b, guard);
   }
   ASSERT_EQ(sink->lines().size(), 1u);
   EXPECT_EQ(sink->lines()[0].facility, "SnmpConversion");
   EXPECT_EQ(sink->lines()[0].level, 1);
   EXPECT_EQ(sink->lines()[0].message,
             "Invalid EthIntfStatus object passed for port id conversion.");
}

TEST_F(ConversionTraceTest, InterfaceStatusGivesItsPortNumberAndIsTraced) {
   Interface::EthIntfStatus::Ptr status(new Interface::EthIntfStatus(Velnet::IntfId("Ethernet3")));
   status->portIdIs(Interface::EthPortId(3));
   unsigned char buf[4];
   ASSERT_EQ(EthIntfStatusToPortIdAsnUnsigned(status, buf, 4), 4);
   EXPECT_EQ(readU32(buf), 3u);
   ASSERT_EQ(sink->lines().size(), 1u);
   EXPECT_EQ(sink->lines()[0].facility, "SnmpConversion");
   EXPECT_EQ(sink->lines()[0].level, 1);
   EXPECT_EQ(sink->lines()[0].message, "PortId for interface 'Ethernet3' is 3");
}

TEST_F(ConversionTraceTest, TracesAreQuietBelowTheirLevel) {
   ASSERT_TRUE(Kel::setTraceLevels("SnmpConversion/0"));
   unsigned char buf[4];
   EXPECT_EQ(EthIntfStatusToPortIdAsnUnsigned(nullptr, buf, 4), 0);
   EXPECT_EQ(FdbStatusToAsnInteger(BridgeSnmp::statusLearned, buf, 4), 4);
   EXPECT_TRUE(sink->lines().empty());
}

TEST(FdbStatusDeathTest, ValueOutsideTheMibValuesEndsTheProcess) {
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   unsigned char buf[4];
   EXPECT_DEATH(FdbStatusToAsnInteger(static_cast<BridgeSnmp::Dot1qTpFdbStatus>(6), buf, 4),
                "assertion \"!\"bad value for Dot1qTpFdbStatus\"\" failed");
   EXPECT_DEATH(FdbStatusToAsnInteger(static_cast<BridgeSnmp::Dot1qTpFdbStatus>(0), buf, 4),
                "bad value for Dot1qTpFdbStatus");
}

FrameAdmits frameAdmitsOf(long v) {
   return AsnIntegerToFrameAdmits(&v);
}

TEST(FrameAdmitsTest, OnlyTheTwoMibValuesDecode) {
   EXPECT_EQ(frameAdmitsOf(1), admitAll);
   EXPECT_EQ(frameAdmitsOf(2), admitOnlyVlanTagged);
   EXPECT_EQ(rangeError([] { frameAdmitsOf(0); }), "FrameAdmits");
   EXPECT_EQ(rangeError([] { frameAdmitsOf(3); }), "FrameAdmits");
   EXPECT_EQ(rangeError([] { frameAdmitsOf(-1); }), "FrameAdmits");
   EXPECT_EQ(rangeError([] { frameAdmitsOf(-2147483648L); }), "FrameAdmits");
}

Bridging::VlanIdOrNone pvidOf(long v) {
   return AsnUnsignedToVlanIdOrNone(&v);
}

TEST(PvidTest, NoneAndVlansDecodeReservedAndLargerAreRefused) {
   EXPECT_TRUE(pvidOf(0).isNone());
   EXPECT_EQ(pvidOf(1).value(), 1);
   EXPECT_EQ(pvidOf(4094).value(), 4094);
   EXPECT_EQ(rangeError([] { pvidOf(4095); }), "VlanIdOrNone::value > 4094 not allowed");
   EXPECT_EQ(rangeError([] { pvidOf(4096); }), "too big for vlan id");
   EXPECT_EQ(rangeError([] { pvidOf(65536); }), "too big for vlan id");
   EXPECT_EQ(rangeError([] { pvidOf(4294967295L); }), "too big for vlan id");
   // Beyond what an Unsigned32 holds, the unsigned decoding itself refuses it.
   EXPECT_EQ(rangeError([] { pvidOf(4294967296L); }),
             "Unsigned32 value out of range 0 to 4294967295");
}

}  // namespace
