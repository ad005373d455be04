// The values the converters and conversions write, stored into a varbind by net-snmp's own
// snmp_set_var_typed_value() as a handler does, read back by net-snmp as what was meant.
// Received values are read from net-snmp's long wherever it lies (ConvertersTest) and from
// real varbinds by the SET scenarios.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "conversions/SnmpConversions.h"
#include "platform/snmputil/AsnTypes.h"
#include "platform/snmputil/Converters.h"
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

class NetSnmpFormsTest : public ::testing::Test {
 protected:
   unsigned char buf[1024];
   Varbind var;
};

// What a value written by one converter reads back as through net-snmp: an integer-type
// value, octets, or an OBJECT IDENTIFIER. The forms the SNMP scenarios read in every answer
// (port numbers, statuses, TimeTicks, addresses) are theirs; these are the extremes.
struct Form {
   const char* what;
   std::function<int(unsigned char*, int)> write;
   std::uint8_t type;
   std::variant<long, std::string, std::vector<oid>> expected;
};

TEST_F(NetSnmpFormsTest, EveryConverterReadsBackAsWhatItMeant) {
   std::string longOid = "1.3.6.1.4.1.32473";
   std::vector<oid> longArcs = {1, 3, 6, 1, 4, 1, 32473};
   for (oid i = 0; i < 40; ++i) {  // longer than the varbind's own buffer
      longOid += "." + std::to_string(i);
      longArcs.push_back(i);
   }
   using namespace Snmp;
   using B = unsigned char*;
   const std::vector<Form> forms = {
       {"INTEGER min", [](B b, int n) { return S32ToAsnIntegerF()(-2147483647 - 1, b, n); },
        ASN_INTEGER, -2147483647L - 1},
       {"INTEGER max", [](B b, int n) { return S32ToAsnIntegerF()(2147483647, b, n); }, ASN_INTEGER,
        2147483647L},
       {"Unsigned32", [](B b, int n) { return U32ToAsnUnsignedF()(4294967295u, b, n); },
        ASN_UNSIGNED, 4294967295L},
       {"Gauge32", [](B b, int n) { return U32ToAsnUnsignedF()(2147483648u, b, n); }, ASN_GAUGE,
        2147483648L},
       {"Counter32 of a 64-bit count",
        [](B b, int n) { return U64ToCounter32F()(0x123456789abcull, b, n); }, ASN_COUNTER,
        0x56789abcL},
       {"port id",
        [](B b, int n) { return EthPortIdToAsnUnsigned(Interface::EthPortId(65535), b, n); },
        ASN_UNSIGNED, 65535L},
       {"octets with a NUL",
        [](B b, int n) { return StringToAsnOctetStringF()(std::string("Ether\0t", 7), b, n); },
        ASN_OCTET_STR, std::string("Ether\0t", 7)},
       {"300 octets",
        [](B b, int n) { return StringToAsnOctetStringF()(std::string(300, 'x'), b, n); },
        ASN_OCTET_STR, std::string(300, 'x')},
       {"long OID", [&](B b, int n) { return StringToAsnOidF()(longOid, b, n); }, ASN_OBJECT_ID,
        longArcs},
   };
   for (const Form& form : forms) {
      ASSERT_TRUE(var.store(form.type, buf, form.write(buf, sizeof(buf)))) << form.what;
      EXPECT_EQ(var->type, form.type) << form.what;
      if (const long* integer = std::get_if<long>(&form.expected)) {
         EXPECT_EQ(*var->val.integer, *integer) << form.what;
      } else if (const auto* octets = std::get_if<std::string>(&form.expected)) {
         EXPECT_EQ(var.octets(), *octets) << form.what;
      } else {
         EXPECT_EQ(var.objid(), std::get<std::vector<oid>>(form.expected)) << form.what;
      }
   }
}

}  // namespace
