// The values the converters and conversions write, stored into a varbind by net-snmp's own
// snmp_set_var_typed_value() as a handler does, read back by net-snmp as what was meant;
// and received values, as net-snmp keeps them in a varbind, read by the input converters.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "conversions/SnmpConversions.h"
#include "model/PortIdMap.h"
#include "platform/kel/Exception.h"
#include "platform/snmputil/AsnTypes.h"
#include "platform/snmputil/Converters.h"
#include "platform/velnet/EthAddr.h"
#include "snmp/NetSnmp.h"

namespace {

static_assert(Snmp::asnInteger == ASN_INTEGER);
static_assert(Snmp::asnOctetString == ASN_OCTET_STR);
static_assert(Snmp::asnObjectId == ASN_OBJECT_ID);
static_assert(Snmp::asnIpAddress == ASN_IPADDRESS);
static_assert(Snmp::asnCounter == ASN_COUNTER);
static_assert(Snmp::asnGauge == ASN_GAUGE);
static_assert(Snmp::asnUnsigned == ASN_UNSIGNED);
static_assert(Snmp::asnTimeTicks == ASN_TIMETICKS);
static_assert(Snmp::asnCounter64 == ASN_COUNTER64);
static_assert(Snmp::asnPrivImpliedOctetString == ASN_PRIV_IMPLIED_OCTET_STR);
static_assert(sizeof(Snmp::AsnOid) == sizeof(oid));
static_assert(std::is_unsigned_v<Snmp::AsnOid> == std::is_unsigned_v<oid>);

// One varbind owned by the test, the way a request's varbind reaches a handler.
class Varbind {
 public:
   Varbind() : var_(SNMP_MALLOC_TYPEDEF(netsnmp_variable_list)) {}
   ~Varbind() { snmp_free_var(var_); }
   Varbind(const Varbind&) = delete;
   Varbind& operator=(const Varbind&) = delete;

   // Stores `n` bytes of `buf` as a value of `type`; true when net-snmp accepted them.
   bool store(std::uint8_t type, const unsigned char* buf, int n) {
      return n >= 0 && snmp_set_var_typed_value(var_, type, buf, static_cast<size_t>(n)) == 0;
   }
   // Stores a long, as net-snmp keeps a received integer-type value.
   bool storeLong(std::uint8_t type, long value) {
      return snmp_set_var_typed_integer(var_, type, value) == 0;
   }

   const netsnmp_variable_list* operator->() const { return var_; }
   std::string octets() const {
      return std::string(reinterpret_cast<const char*>(var_->val.string), var_->val_len);
   }
   std::vector<oid> objid() const {
      return std::vector<oid>(var_->val.objid, var_->val.objid + var_->val_len / sizeof(oid));
   }

 private:
   netsnmp_variable_list* var_;
};

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

// Keeps the agent start time the tests set from leaking.
class NetSnmpFormsTest : public ::testing::Test {
 protected:
   void SetUp() override { savedStart_ = Snmp::agentStartTime(); }
   void TearDown() override {
      Snmp::agentStartTimeIs(savedStart_);
      BridgeSnmp::currentPortIdMapIs(nullptr);
   }

   unsigned char buf[1024];
   Varbind var;

 private:
   double savedStart_ = 0.0;
};

TEST_F(NetSnmpFormsTest, IntegerReadsBackSignedIncludingNegatives) {
   for (std::int32_t v : {0, 1, -1, -2147483647 - 1, 2147483647, -1000000}) {
      const int n = Snmp::SnmpConvert<std::int32_t, Snmp::S32ToAsnIntegerF>(v, buf, sizeof(buf));
      ASSERT_TRUE(var.store(ASN_INTEGER, buf, n));
      EXPECT_EQ(var->type, ASN_INTEGER);
      EXPECT_EQ(*var->val.integer, static_cast<long>(v));
   }
}

TEST_F(NetSnmpFormsTest, UnsignedTypesReadBackUpTo4294967295) {
   for (std::uint8_t type : {ASN_UNSIGNED, ASN_GAUGE, ASN_COUNTER, ASN_TIMETICKS}) {
      for (std::uint32_t v : {0u, 7u, 2147483648u, 4294967295u}) {
         const int n =
             Snmp::SnmpConvert<std::uint32_t, Snmp::U32ToAsnUnsignedF>(v, buf, sizeof(buf));
         ASSERT_TRUE(var.store(type, buf, n));
         EXPECT_EQ(var->type, type);
         EXPECT_EQ(*var->val.integer, static_cast<long>(v)) << "type " << int(type);
      }
   }
}

TEST_F(NetSnmpFormsTest, Counter32ReadsBackTheLow32BitsOfA64BitCount) {
   int n =
       Snmp::SnmpConvert<std::uint64_t, Snmp::U64ToCounter32F>(0x123456789abcull, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_COUNTER, buf, n));
   EXPECT_EQ(*var->val.integer, 0x56789abcL);
   n = Snmp::SnmpConvert<std::uint64_t, Snmp::U64ToCounter32F>(0x1ffffffffull, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_COUNTER, buf, n));
   EXPECT_EQ(*var->val.integer, 4294967295L);
}

TEST_F(NetSnmpFormsTest, OctetStringsReadBackIncludingEmpty) {
   const std::string text(
       "Ethernet\0"
       "1",
       10);
   int n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOctetStringF>(text, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_OCTET_STR, buf, n));
   EXPECT_EQ(var.octets(), text);

   const std::string longer(300, 'x');
   n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOctetStringF>(longer, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_OCTET_STR, buf, n));
   EXPECT_EQ(var.octets(), longer);

   n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOctetStringF>("", buf, sizeof(buf));
   ASSERT_EQ(n, 0);
   ASSERT_TRUE(var.store(ASN_OCTET_STR, buf, n));
   EXPECT_EQ(var->type, ASN_OCTET_STR);
   EXPECT_EQ(var->val_len, 0u);

   n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOctetStringF>("abc", buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_PRIV_IMPLIED_OCTET_STR, buf, n));
   EXPECT_EQ(var.octets(), "abc");
}

TEST_F(NetSnmpFormsTest, MacAddressReadsBackAsSixOctets) {
   const Velnet::EthAddr mac = *Velnet::EthAddr::parse("00:1c:73:aa:bb:cc");
   const int n = Snmp::SnmpConvert<Velnet::EthAddr, Snmp::VelnetEthAddrToAsnOctetStringF>(
       mac, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_OCTET_STR, buf, n));
   EXPECT_EQ(var.octets(), std::string("\x00\x1c\x73\xaa\xbb\xcc", 6));
   EXPECT_EQ(Snmp::AsnOctetStringToVelnetEthAddr(var->val.string, static_cast<int>(var->val_len)),
             mac);
}

TEST_F(NetSnmpFormsTest, ObjectIdentifiersReadBack) {
   int n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOidF>("0.0", buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_OBJECT_ID, buf, n));
   EXPECT_EQ(var.objid(), (std::vector<oid>{0, 0}));

   n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOidF>("1.3.6.1.4.1.32473.4294967295", buf,
                                                             sizeof(buf));
   ASSERT_TRUE(var.store(ASN_OBJECT_ID, buf, n));
   EXPECT_EQ(var.objid(), (std::vector<oid>{1, 3, 6, 1, 4, 1, 32473, 4294967295ul}));
   oid expected[] = {1, 3, 6, 1, 4, 1, 32473, 4294967295ul};
   EXPECT_EQ(snmp_oid_compare(var->val.objid, var->val_len / sizeof(oid), expected, 8), 0);

   // Longer than the varbind's own buffer, so net-snmp allocates.
   std::string text = "1.3.6.1.4.1.32473";
   for (int i = 0; i < 40; ++i) {
      text += "." + std::to_string(i);
   }
   n = Snmp::SnmpConvert<std::string, Snmp::StringToAsnOidF>(text, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_OBJECT_ID, buf, n));
   ASSERT_EQ(var.objid().size(), 47u);
   EXPECT_EQ(var.objid()[6], 32473u);
   EXPECT_EQ(var.objid()[46], 39u);
}

TEST_F(NetSnmpFormsTest, UptimeReadsBackAsTimeTicks) {
   Snmp::agentStartTimeIs(5000.0);
   int n = Snmp::SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(5123.45, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_TIMETICKS, buf, n));
   EXPECT_EQ(*var->val.integer, 12345L);
   n = Snmp::SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(4000.0, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_TIMETICKS, buf, n));
   EXPECT_EQ(*var->val.integer, 0L);
   n = Snmp::SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(5000.0 + 42949672.5, buf,
                                                                     sizeof(buf));
   ASSERT_TRUE(var.store(ASN_TIMETICKS, buf, n));
   EXPECT_EQ(*var->val.integer, 4294967250L);
   // 42949673 s is 4294967300 hundredths, which TimeTicks carry as 4.
   n = Snmp::SnmpConvert<double, Snmp::NowSecondsToUptimeTimeTicksF>(5000.0 + 42949673.0, buf,
                                                                     sizeof(buf));
   ASSERT_TRUE(var.store(ASN_TIMETICKS, buf, n));
   EXPECT_EQ(*var->val.integer, 4L);
}

TEST_F(NetSnmpFormsTest, PortAndFidConversionsReadBackAsUnsigned) {
   int n = EthPortIdToAsnUnsigned(Interface::EthPortId(65535), buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_UNSIGNED, buf, n));
   EXPECT_EQ(*var->val.integer, 65535L);
   n = BridgingFidToAsnUnsigned(Bridging::Fid(4094), buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_UNSIGNED, buf, n));
   EXPECT_EQ(*var->val.integer, 4094L);

   Interface::EthIntfStatus::Ptr status(new Interface::EthIntfStatus(Velnet::IntfId("Ethernet48")));
   status->portIdIs(Interface::EthPortId(48));
   n = EthIntfStatusToPortIdAsnUnsigned(status, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_UNSIGNED, buf, n));
   EXPECT_EQ(*var->val.integer, 48L);

   BridgeSnmp::PortIdMap::Ptr map(new BridgeSnmp::PortIdMap());
   map->portIdIs(Velnet::IntfId("Ethernet12"), Interface::EthPortId(12));
   BridgeSnmp::currentPortIdMapIs(map);
   n = EthIntfNameToPortIdAsnUnsigned(Velnet::IntfId("Ethernet12"), buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_UNSIGNED, buf, n));
   EXPECT_EQ(*var->val.integer, 12L);
   n = EthIntfNameToPortIdAsnUnsigned(Velnet::IntfId("Ethernet13"), buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_UNSIGNED, buf, n));
   EXPECT_EQ(*var->val.integer, 0L);
}

TEST_F(NetSnmpFormsTest, FdbStatusAndAgingTimeReadBackAsInteger) {
   for (auto status : {BridgeSnmp::statusOther, BridgeSnmp::statusInvalid,
                       BridgeSnmp::statusLearned, BridgeSnmp::statusSelf, BridgeSnmp::statusMgmt}) {
      const int n = FdbStatusToAsnInteger(status, buf, sizeof(buf));
      ASSERT_TRUE(var.store(ASN_INTEGER, buf, n));
      EXPECT_EQ(*var->val.integer, static_cast<long>(status));
   }
   const std::pair<std::uint32_t, long> agings[] = {
       {0, 1000000}, {5, 10}, {300, 300}, {1000000, 1000000}, {4294967295u, 1000000}};
   for (const auto& [seconds, reported] : agings) {
      const int n = HostAgingTimeToAsnInteger(seconds, buf, sizeof(buf));
      ASSERT_TRUE(var.store(ASN_INTEGER, buf, n));
      EXPECT_EQ(*var->val.integer, reported) << seconds << " s";
   }
}

TEST_F(NetSnmpFormsTest, ReceivedIntegersAreReadFromTheVarbind) {
   ASSERT_TRUE(var.storeLong(ASN_INTEGER, -2147483647L - 1));
   EXPECT_EQ(Snmp::AsnIntegerToS32(var->val.integer), -2147483647 - 1);
   const int n = Snmp::S32ToAsnIntegerF()(-42, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_INTEGER, buf, n));
   EXPECT_EQ(Snmp::AsnIntegerToS32(var->val.integer), -42);

   ASSERT_TRUE(var.storeLong(ASN_UNSIGNED, 4294967295L));
   EXPECT_EQ(Snmp::AsnUnsignedToU32(var->val.integer), 4294967295u);
   const int m = Snmp::U32ToAsnUnsignedF()(4294967295u, buf, sizeof(buf));
   ASSERT_TRUE(var.store(ASN_UNSIGNED, buf, m));
   EXPECT_EQ(Snmp::AsnUnsignedToU32(var->val.integer), 4294967295u);
}

TEST_F(NetSnmpFormsTest, ReceivedFrameTypesAndPvidsAreReadFromTheVarbind) {
   ASSERT_TRUE(var.storeLong(ASN_INTEGER, 2));
   EXPECT_EQ(AsnIntegerToFrameAdmits(var->val.integer), admitOnlyVlanTagged);
   ASSERT_TRUE(var.storeLong(ASN_INTEGER, 1));
   EXPECT_EQ(AsnIntegerToFrameAdmits(var->val.integer), admitAll);
   ASSERT_TRUE(var.storeLong(ASN_INTEGER, -1));
   EXPECT_EQ(rangeError([this] { AsnIntegerToFrameAdmits(var->val.integer); }), "FrameAdmits");

   ASSERT_TRUE(var.storeLong(ASN_UNSIGNED, 4094));
   EXPECT_EQ(AsnUnsignedToVlanIdOrNone(var->val.integer).value(), 4094);
   ASSERT_TRUE(var.storeLong(ASN_UNSIGNED, 0));
   EXPECT_TRUE(AsnUnsignedToVlanIdOrNone(var->val.integer).isNone());
   ASSERT_TRUE(var.storeLong(ASN_UNSIGNED, 4095));
   EXPECT_EQ(rangeError([this] { AsnUnsignedToVlanIdOrNone(var->val.integer); }),
             "VlanIdOrNone::value > 4094 not allowed");
   ASSERT_TRUE(var.storeLong(ASN_UNSIGNED, 4294967295L));
   EXPECT_EQ(rangeError([this] { AsnUnsignedToVlanIdOrNone(var->val.integer); }),
             "too big for vlan id");
}

}  // namespace
