#include "conversions/SnmpConversions.h"

#include <cstdint>

#include "model/PortIdMap.h"
#include "platform/kel/Assert.h"
#include "platform/kel/Exception.h"
#include "platform/kel/Trace.h"
#include "platform/snmputil/Converters.h"

namespace {

Kel::TraceHandle& trace() {
   static Kel::TraceHandle handle("SnmpConversion");
   return handle;
}

// Made at load, so that a trace setting can name the facility before its first line.
[[maybe_unused]] const Kel::TraceHandle& traceAtLoad = trace();

// The dot1dTpAgingTime range.
constexpr std::uint32_t minAgingTime = 10;
constexpr std::uint32_t maxAgingTime = 1000000;

}  // namespace

int EthPortIdToAsnUnsigned(Interface::EthPortId portId, unsigned char* buf, int len) {
   return Snmp::SnmpConvert<std::uint32_t, Snmp::U32ToAsnUnsignedF>(portId.value(), buf, len);
}

int BridgingFidToAsnUnsigned(Bridging::Fid fid, unsigned char* buf, int len) {
   return Snmp::SnmpConvert<std::uint32_t, Snmp::U32ToAsnUnsignedF>(fid.value(), buf, len);
}

int EthIntfStatusToPortIdAsnUnsigned(const Interface::EthIntfStatus::PtrConst& status,
                                     unsigned char* buf, int len) {
   if (!status) {
      KEL_TRACE(trace(), 1, "Invalid EthIntfStatus object passed for port id conversion.");
      return 0;
   }
   KEL_TRACE(trace(), 1,
             "PortId for interface '" << status->intfId() << "' is " << status->portId());
   return EthPortIdToAsnUnsigned(status->portId(), buf, len);
}

int EthIntfNameToPortIdAsnUnsigned(const Velnet::IntfId& intf, unsigned char* buf, int len) {
   const Interface::EthPortId portId = BridgeSnmp::currentPortId(intf);
   return Snmp::SnmpConvert<std::uint32_t, Snmp::U32ToAsnUnsignedF>(portId.value(), buf, len);
}

int FdbStatusToAsnInteger(BridgeSnmp::Dot1qTpFdbStatus status, unsigned char* buf, int len) {
   switch (status) {
      case BridgeSnmp::statusOther_:
      case BridgeSnmp::statusInvalid_:
      case BridgeSnmp::statusLearned_:
      case BridgeSnmp::statusSelf_:
      case BridgeSnmp::statusMgmt_:
         KEL_TRACE(trace(), 8, "dot1qTpFdbStatus is " << static_cast<unsigned>(status));
         return Snmp::SnmpConvert<std::int32_t, Snmp::S32ToAsnIntegerF>(
             static_cast<std::int32_t>(status), buf, len);
   }
   // Only the five MIB values are ever stored; anything else is corruption.
   KEL_ASSERT(!"bad value for Dot1qTpFdbStatus");
   return -1;
}

int HostAgingTimeToAsnInteger(std::uint32_t seconds, unsigned char* buf, int len) {
   std::uint32_t reported = seconds;
   // 0 (ageing off) wraps round to the largest unsigned value, so it and every time above
   // the MIB's maximum report the maximum.
   if (seconds - 1u > maxAgingTime - 1u) {
      reported = maxAgingTime;
   } else if (seconds < minAgingTime) {
      reported = minAgingTime;
   }
   return Snmp::SnmpConvert<std::int32_t, Snmp::S32ToAsnIntegerF>(
       static_cast<std::int32_t>(reported), buf, len);
}

FrameAdmits AsnIntegerToFrameAdmits(const void* value) {
   // A negative value becomes a huge unsigned one, which the enumeration refuses too.
   return FrameAdmitsInstance(static_cast<unsigned>(Snmp::AsnIntegerToS32(value)));
}

Bridging::VlanIdOrNone AsnUnsignedToVlanIdOrNone(const void* value) {
   const std::uint32_t u = Snmp::AsnUnsignedToU32(value);
   if (u >= 4096) {
      throw Kel::RangeException("too big for vlan id");
   }
   // 4095, the reserved VLAN, is refused by VlanIdOrNone itself.
   return Bridging::VlanIdOrNone(u);
}
