#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "model/PortIdMap.h"
#include "platform/bridging/Config.h"
#include "platform/bridging/VlanStatus.h"
#include "platform/interface/EthPortId.h"
#include "platform/interface/IntfStatus.h"
#include "platform/kel/Assert.h"
#include "platform/kel/Object.h"
#include "platform/kel/Ptr.h"

// PortList octet strings (Q-BRIDGE-MIB): port p (1-based) is bit 0x80 >> ((p - 1) % 8) of
// octet (p - 1) / 8, so port 1 is the most significant bit of the first octet.
namespace BridgeSnmp {

// A set of bridge ports decoded from a PortList. It keeps a private copy of the octets.
class EthPortIdSet : public Kel::Object {
 public:
   using Ptr = Kel::Ptr<EthPortIdSet>;
   using PtrConst = Kel::Ptr<const EthPortIdSet>;

   EthPortIdSet() = default;

   // Octets held, truncated to 16 bits as the MIB's sizes are.
   std::uint16_t length() const { return length_; }
   const unsigned char* portData() const { return portData_.get(); }
   // Takes a copy of `len` octets (none for len <= 0).
   void portDataIs(const void* data, int len);
   // Membership of bridge port i; port 0 and ports beyond the data are never members.
   bool portId(unsigned short i) const {
      if (i == 0 || i > static_cast<unsigned>(length_) * 8) {
         return false;
      }
      return (portData_[(i - 1) / 8] & (0x80 >> ((i - 1) % 8))) != 0;
   }
   // Releases the octets.
   void doDestroy() {
      portData_.reset();
      length_ = 0;
   }

 private:
   std::uint16_t length_ = 0;
   std::unique_ptr<unsigned char[]> portData_;
};

EthPortIdSet::Ptr ethPortIdSetFactory();
// Decodes a received PortList. Never fails: any length, 0 included, is a set.
EthPortIdSet::Ptr PortListToPortIdSet(const void* data, int len);

// Encodes the ports that `functor` yields over a collection walked by `it` into `buf`,
// returning the octets written: as few as the highest member port needs (0 for none).
// `functor(key, value)` gives (bridge port, include); ports 0 and above 4095 are skipped.
// The buffer must hold (highest member port - 1) / 8 + 1 octets: a smaller one is a
// programming fault.
template <class Iterator, class Functor>
int PortListConversionV(Iterator it, Functor functor, unsigned char* buf, int len) {
   int size = 0;
   for (; it; ++it) {
      const auto [port, include] = functor(it.key(), it.value());
      const std::uint16_t index = static_cast<std::uint16_t>(port.value() - 1);
      if (!include || index > 4094) {
         continue;
      }
      const int needed = index / 8 + 1;
      if (needed > size) {
         const int newSize = needed;
         KEL_ASSERT(newSize <= len);
         std::memset(buf + size, 0, static_cast<std::size_t>(newSize - size));
         size = newSize;
      }
      buf[index / 8] |= static_cast<unsigned char>(0x80 >> (index % 8));
   }
   return size;
}

// Every member interface of a VLAN's configuration.
struct VlanAllowedPortListFunctor {
   std::pair<Interface::EthPortId, bool> operator()(const Velnet::IntfId& intf,
                                                    const Bridging::VlanMember&) const {
      return {currentPortId(intf), true};
   }
};
// The members the VLAN egresses untagged on.
struct VlanUntaggedPortListFunctor {
   std::pair<Interface::EthPortId, bool> operator()(const Velnet::IntfId& intf,
                                                    const Bridging::VlanMember& member) const {
      return {currentPortId(intf), !member.tagged};
   }
};
// Every interface the VLAN is active on.
struct VlanEgressPortListFunctor {
   std::pair<Interface::EthPortId, bool> operator()(const Velnet::IntfId& intf,
                                                    const Bridging::VlanPortStatus&) const {
      return {currentPortId(intf), true};
   }
};
// The active interfaces the VLAN egresses untagged on.
struct VlanStatusUntaggedPortListFunctor {
   std::pair<Interface::EthPortId, bool> operator()(const Velnet::IntfId& intf,
                                                    const Bridging::VlanPortStatus& status) const {
      return {currentPortId(intf), status.untagged};
   }
};
// Interface statuses: each status's own port id.
struct EthIntfStatusPortListFunctor {
   std::pair<Interface::EthPortId, bool> operator()(
       const Velnet::IntfId&, const Kel::Ptr<Interface::EthIntfStatus>& status) const {
      return {status->portId(), true};
   }
};

// The four PortLists of a VLAN, from its configuration or its status; negative when
// there is no entity.
int VlanConfigToAllowedPortList(const Bridging::VlanConfig::PtrConst& vlan, unsigned char* buf,
                                int len);
int VlanConfigToUntaggedPortList(const Bridging::VlanConfig::PtrConst& vlan, unsigned char* buf,
                                 int len);
int VlanStatusToEgressPortList(const Bridging::VlanStatus::PtrConst& vlan, unsigned char* buf,
                               int len);
int VlanStatusToUntaggedPortList(const Bridging::VlanStatus::PtrConst& vlan, unsigned char* buf,
                                 int len);

}  // namespace BridgeSnmp
