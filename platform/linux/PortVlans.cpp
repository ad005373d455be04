#include "platform/linux/PortVlans.h"

#include <algorithm>
#include <map>

#include "platform/kel/Exception.h"

namespace Linux {

Switchport switchportOf(const std::vector<PortVlan>& kernelVlans, bool vlanFiltering) {
   Switchport port;
   if (!vlanFiltering) {
      port.allowed.doAdd(Bridging::VlanId(1));
      port.vlans = {PortVlan{1, true, true}};
      return port;
   }
   port.vlans = kernelVlans;
   std::sort(port.vlans.begin(), port.vlans.end(),
             [](const PortVlan& a, const PortVlan& b) { return a.vid < b.vid; });
   std::size_t untagged = 0;
   Bridging::VlanIdOrNone pvid;
   for (const PortVlan& v : port.vlans) {
      port.allowed.doAdd(Bridging::VlanId(v.vid));
      untagged += v.untagged ? 1 : 0;
      if (v.pvid) {
         pvid = Bridging::VlanIdOrNone(v.vid);
      }
   }
   // Untagged frames belong to the VLAN the kernel flags as PVID, and to no VLAN (they are
   // dropped) when none is: a port untagged in one VLAN that is not its PVID is no access port.
   if (port.vlans.size() == 1 && untagged == 1 && port.vlans.front().pvid) {
      port.mode = Bridging::SwitchportMode::access;
      port.nativeVlan = Bridging::VlanIdOrNone(port.vlans.front().vid);
   } else {
      port.mode = Bridging::SwitchportMode::trunk;
      port.nativeVlan = pvid;
   }
   return port;
}

WantedVlans wantedVlans(const Bridging::Input::SwitchIntfConfig& input,
                        const SwixUtils::VlanIdSet& known) {
   WantedVlans wanted;
   switch (input.switchportMode()) {
      case Bridging::SwitchportMode::access:
         wanted.vlans = {PortVlan{input.accessVlan().value(), true, true}};
         return wanted;
      case Bridging::SwitchportMode::trunk: {
         SwixUtils::VlanIdSet allowed;
         try {
            Kel::Expect expect(Kel::ExceptionId::parse);
            SwixUtils::computeVlanSet(allowed, input.trunkAllowedVlans().view());
         } catch (const Kel::Exception& e) {
            wanted.refusal = e.what();
            return wanted;
         }
         const auto native = input.trunkNativeVlan();
         for (std::uint32_t vid = Bridging::VlanId::min; vid <= Bridging::VlanId::max; ++vid) {
            const Bridging::VlanId id(vid);
            if (!allowed.contains(id) || !known.contains(id)) {
               continue;
            }
            const bool isNative = !native.isNone() && native.value() == vid;
            wanted.vlans.push_back(PortVlan{static_cast<std::uint16_t>(vid), isNative, isNative});
         }
         return wanted;
      }
      default:
         wanted.refusal = "switchport mode " +
                          Bridging::switchportModeName(input.switchportMode()) +
                          " has no Linux bridge equivalent";
         return wanted;
   }
}

VlanEdit vlanEdit(const std::vector<PortVlan>& current, const std::vector<PortVlan>& wanted) {
   std::map<std::uint16_t, PortVlan> now;
   for (const PortVlan& v : current) {
      now[v.vid] = v;
   }
   VlanEdit edit;
   for (const PortVlan& v : wanted) {
      const auto it = now.find(v.vid);
      if (it == now.end() || !(it->second == v)) {
         edit.add.push_back(v);
      }
      if (it != now.end()) {
         now.erase(it);
      }
   }
   for (const auto& [vid, v] : now) {
      edit.remove.push_back(v);
   }
   return edit;
}

}  // namespace Linux
