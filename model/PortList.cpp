#include "model/PortList.h"

namespace BridgeSnmp {

void EthPortIdSet::portDataIs(const void* data, int len) {
   if (len <= 0 || !data) {
      doDestroy();
      return;
   }
   portData_ = std::make_unique<unsigned char[]>(static_cast<std::size_t>(len));
   std::memcpy(portData_.get(), data, static_cast<std::size_t>(len));
   length_ = static_cast<std::uint16_t>(len);
}

EthPortIdSet::Ptr ethPortIdSetFactory() {
   return Kel::make<EthPortIdSet>();
}

EthPortIdSet::Ptr PortListToPortIdSet(const void* data, int len) {
   auto set = ethPortIdSetFactory();
   set->portDataIs(data, len);
   return set;
}

int VlanConfigToAllowedPortList(const Bridging::VlanConfig::PtrConst& vlan, unsigned char* buf,
                                int len) {
   return vlan ? PortListConversionV(vlan->intfIteratorConst(), VlanAllowedPortListFunctor(), buf,
                                     len)
               : -1;
}

int VlanConfigToUntaggedPortList(const Bridging::VlanConfig::PtrConst& vlan, unsigned char* buf,
                                 int len) {
   return vlan ? PortListConversionV(vlan->intfIteratorConst(), VlanUntaggedPortListFunctor(), buf,
                                     len)
               : -1;
}

int VlanStatusToEgressPortList(const Bridging::VlanStatus::PtrConst& vlan, unsigned char* buf,
                               int len) {
   return vlan ? PortListConversionV(vlan->vlanPortStatusIteratorConst(),
                                     VlanEgressPortListFunctor(), buf, len)
               : -1;
}

int VlanStatusToUntaggedPortList(const Bridging::VlanStatus::PtrConst& vlan, unsigned char* buf,
                                 int len) {
   return vlan ? PortListConversionV(vlan->vlanPortStatusIteratorConst(),
                                     VlanStatusUntaggedPortListFunctor(), buf, len)
               : -1;
}

}  // namespace BridgeSnmp
