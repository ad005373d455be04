#pragma once

#include "model/Enums.h"
#include "platform/bridging/Fid.h"
#include "platform/bridging/VlanId.h"
#include "platform/interface/EthPortId.h"
#include "platform/interface/IntfStatus.h"
#include "platform/velnet/IntfId.h"

// Conversions between the bridging model's values and SNMP varbind values.
//
// Output conversions write the value for its ASN type into `buf` (capacity `len`) and
// return the byte count, negative on failure. Input conversions take the received value
// (net-snmp keeps integer types as a long) and raise Kel::RangeException when the value is
// not allowed. Traces go to the "SnmpConversion" facility.

// The 16-bit bridge port number, as Unsigned32.
int EthPortIdToAsnUnsigned(Interface::EthPortId portId, unsigned char* buf, int len);
// The 16-bit FID, as Unsigned32.
int BridgingFidToAsnUnsigned(Bridging::Fid fid, unsigned char* buf, int len);
// The status's port id as Unsigned32; a null status is traced and gives 0 bytes.
int EthIntfStatusToPortIdAsnUnsigned(const Interface::EthIntfStatus::PtrConst& status,
                                     unsigned char* buf, int len);
// The port number the current port-id map holds for the interface (0 when none), as
// Unsigned32.
int EthIntfNameToPortIdAsnUnsigned(const Velnet::IntfId& intf, unsigned char* buf, int len);
// The status's MIB value 1 to 5 as INTEGER; any other value is a programming fault.
int FdbStatusToAsnInteger(BridgeSnmp::Dot1qTpFdbStatus status, unsigned char* buf, int len);
// dot1dTpAgingTime (MIB range 10 to 1000000): 0 and anything above 1000000 report
// 1000000, 1 to 9 report 10, the rest as they are; as INTEGER.
int HostAgingTimeToAsnInteger(std::uint32_t seconds, unsigned char* buf, int len);

// dot1qPortAcceptableFrameTypes: 1 admitAll, 2 admitOnlyVlanTagged; anything else raises
// the range exception "FrameAdmits".
FrameAdmits AsnIntegerToFrameAdmits(const void* value);
// dot1qPvid: 0 (none) to 4094 as they are; 4095 raises "VlanIdOrNone::value > 4094 not
// allowed"; 4096 and above raise "too big for vlan id".
Bridging::VlanIdOrNone AsnUnsignedToVlanIdOrNone(const void* value);
