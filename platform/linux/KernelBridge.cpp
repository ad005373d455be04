#include "platform/linux/KernelBridge.h"

namespace Linux {

const KernelPort* KernelBridge::port(int ifindex) const {
   const auto it = ports_.find(ifindex);
   return it == ports_.end() ? nullptr : &it->second;
}

void KernelBridge::forgetPort(int ifindex, BridgeChange& change) {
   if (ports_.erase(ifindex) == 0) {
      return;
   }
   change.bridge = true;
   for (auto it = hosts_.begin(); it != hosts_.end();) {
      if (it->second.ifindex == ifindex) {
         change.hosts.push_back(it->first);
         it = hosts_.erase(it);
      } else {
         ++it;
      }
   }
}

void KernelBridge::clear(BridgeChange& change) {
   for (const auto& [key, host] : hosts_) {
      change.hosts.push_back(key);
   }
   hosts_.clear();
   ports_.clear();
   ifindex_ = 0;
   address_ = Velnet::EthAddr();
   vlanFiltering_ = false;
   change.bridge = true;
   change.vanished = true;
}

BridgeChange KernelBridge::apply(const LinkEvent& event) {
   BridgeChange change;
   const bool isBridge = exists() ? event.ifindex == ifindex_
                                  : !event.removed && !event.bridgeFamily &&
                                        event.kind == "bridge" && event.name == name_;
   if (isBridge) {
      if (event.bridgeFamily) {
         return change;  // the bridge's own VLANs: not a port's
      }
      if (event.removed || (event.kind != "bridge" && !event.kind.empty())) {
         clear(change);
         return change;
      }
      if (event.name != name_) {
         clear(change);  // renamed: it is not the bridge we serve any more
         return change;
      }
      change.appeared = !exists();
      ifindex_ = event.ifindex;
      if (event.address) {
         address_ = *event.address;
      }
      ageingCentis_ = event.ageingCentis.value_or(ageingCentis_);
      vlanFiltering_ = event.vlanFiltering.value_or(vlanFiltering_);
      change.bridge = true;
      return change;
   }
   if (!exists()) {
      return change;
   }
   if (event.removed || event.master != ifindex_) {
      forgetPort(event.ifindex, change);
      return change;
   }
   if (event.name.empty() && !ports_.count(event.ifindex)) {
      return change;  // a port is known by its name first
   }
   KernelPort& port = ports_[event.ifindex];
   const KernelPort before = port;
   if (!event.name.empty()) {
      port.name = event.name;
   }
   port.running = event.running;
   port.portNo = event.portNo.value_or(port.portNo);
   if (event.vlans) {
      port.vlans = *event.vlans;
   }
   change.bridge = !(before == port);
   if (!before.name.empty() && before.name != port.name) {
      for (const auto& [key, host] : hosts_) {  // renamed: its entries name it anew
         if (host.ifindex == event.ifindex) {
            change.hosts.push_back(key);
         }
      }
   }
   return change;
}

BridgeChange KernelBridge::apply(const NeighEvent& event) {
   BridgeChange change;
   if (!exists() || event.master != ifindex_ || event.ifindex == ifindex_ ||
       ports_.count(event.ifindex) == 0) {
      return change;
   }
   const Bridging::HostKey key(Bridging::Fid(vlanFiltering_ && event.vid ? event.vid : 1),
                               event.address);
   if (event.removed) {
      if (hosts_.erase(key)) {
         change.hosts.push_back(key);
      }
      return change;
   }
   const KernelHost host{event.ifindex, event.configured()};
   auto [it, inserted] = hosts_.try_emplace(key, host);
   if (inserted || !(it->second == host)) {
      it->second = host;
      change.hosts.push_back(key);
   }
   return change;
}

}  // namespace Linux
