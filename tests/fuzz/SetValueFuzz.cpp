// SETs of the writable columns with values of any ASN type and content: the value decoders
// give a value or refuse with a range error exactly as their contracts say, and the agent
// answers each SET well-formed, leaving the configuration as it was when it refuses.

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

#include "conversions/SnmpConversions.h"
#include "model/PortList.h"
#include "platform/kel/Exception.h"
#include "platform/snmputil/Converters.h"
#include "tests/fuzz/InProcessAgent.h"

namespace {

void require(bool condition) {
   if (!condition) {
      std::abort();
   }
}

// The value decoders of a SET against their contracts, for the varbind's type.
void checkDecoders(const netsnmp_variable_list& var) {
   const auto refused = [](auto decode) {
      try {
         decode();
         return false;
      } catch (const Kel::RangeException&) {
         return true;
      }
   };
   if (var.type == ASN_INTEGER) {
      const long v = *var.val.integer;
      require(refused([&] { Snmp::AsnIntegerToS32(var.val.integer); }) ==
              (v < INT32_MIN || v > INT32_MAX));
      require(refused([&] { AsnIntegerToFrameAdmits(var.val.integer); }) == (v != 1 && v != 2));
   } else if (var.type == ASN_UNSIGNED || var.type == ASN_GAUGE) {
      const long v = *var.val.integer;
      require(refused([&] { Snmp::AsnUnsignedToU32(var.val.integer); }) ==
              (v < 0 || v > static_cast<long>(UINT32_MAX)));
      require(refused([&] { AsnUnsignedToVlanIdOrNone(var.val.integer); }) == (v < 0 || v > 4094));
   } else if (var.type == ASN_OCTET_STR) {
      const int length = static_cast<int>(var.val_len);
      const auto set = BridgeSnmp::PortListToPortIdSet(var.val.string, length);
      require(set->length() == static_cast<std::uint16_t>(length));
      require(refused([&] { Snmp::AsnOctetStringToVelnetEthAddr(var.val.string, length); }) ==
              (length != 6));
   }
}

// The writable columns: dot1qVlanStaticEgressPorts and UntaggedPorts, dot1qPvid,
// dot1qPortAcceptableFrameTypes; the name and row status of the static table too.
const std::vector<oid> staticEntry{1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 3, 1};
const std::vector<oid> portVlanEntry{1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 5, 1};
constexpr std::array<unsigned, 4> staticColumns{1, 2, 4, 5};
constexpr std::array<unsigned, 2> portVlanColumns{1, 2};
// The lab's VLANs (and some it lacks) and bridge ports (and some it lacks).
constexpr std::array<oid, 9> vlans{1, 10, 20, 30, 50, 99, 4094, 4095, 7};
constexpr std::array<oid, 6> ports{1, 9, 33, 45, 48, 49};
constexpr std::array<u_char, 9> types{ASN_INTEGER,   ASN_OCTET_STR, ASN_UNSIGNED,
                                      ASN_COUNTER,   ASN_TIMETICKS, ASN_OBJECT_ID,
                                      ASN_IPADDRESS, ASN_NULL,      ASN_COUNTER64};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   FuzzedDataProvider input(data, size);
   netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_SET);
   for (int vb = input.ConsumeIntegralInRange(1, 4); vb > 0 && input.remaining_bytes(); --vb) {
      const bool staticTable = input.ConsumeBool();
      std::vector<oid> name = staticTable ? staticEntry : portVlanEntry;
      name.push_back(staticTable ? input.PickValueInArray(staticColumns)
                                 : input.PickValueInArray(portVlanColumns));
      name.push_back(staticTable ? input.PickValueInArray(vlans) : input.PickValueInArray(ports));
      const u_char type = input.PickValueInArray(types);
      switch (type) {
         case ASN_OCTET_STR:
         case ASN_IPADDRESS: {
            // An IpAddress is four octets on the wire; a string any length up to 70.
            auto octets = input.ConsumeBytes<u_char>(
                type == ASN_IPADDRESS ? 4 : input.ConsumeIntegralInRange(0, 70));
            octets.resize(type == ASN_IPADDRESS ? 4 : octets.size());
            snmp_pdu_add_variable(pdu, name.data(), name.size(), type, octets.data(),
                                  octets.size());
            break;
         }
         case ASN_OBJECT_ID: {
            std::vector<oid> value{1, 3};
            for (int n = input.ConsumeIntegralInRange(0, 8); n > 0; --n) {
               value.push_back(input.ConsumeIntegral<std::uint32_t>());
            }
            snmp_pdu_add_variable(pdu, name.data(), name.size(), type, value.data(),
                                  value.size() * sizeof(oid));
            break;
         }
         case ASN_COUNTER64: {
            const counter64 value{input.ConsumeIntegral<std::uint32_t>(),
                                  input.ConsumeIntegral<std::uint32_t>()};
            snmp_pdu_add_variable(pdu, name.data(), name.size(), type, &value, sizeof value);
            break;
         }
         case ASN_NULL:
            snmp_pdu_add_variable(pdu, name.data(), name.size(), type, nullptr, 0);
            break;
         default: {
            // Integers as net-snmp keeps them: a long, whatever the type's own range.
            const long value = input.ConsumeBool() ? input.ConsumeIntegralInRange<long>(-2, 4097)
                                                   : input.ConsumeIntegral<long>();
            snmp_pdu_add_variable(pdu, name.data(), name.size(), type, &value, sizeof value);
         }
      }
   }
   for (const netsnmp_variable_list* v = pdu->variables; v; v = v->next_variable) {
      checkDecoders(*v);
   }
   Fuzz::askAndCheck(pdu);
   snmp_free_pdu(pdu);
   return 0;
}
