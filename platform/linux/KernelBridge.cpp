#include "platform/linux/KernelBridge.h"

#include "platform/bridging/VlanId.h"

namespace Linux {
namespace {

// The first key of a VLAN's entries.
FdbKey vlanStart(std::uint32_t vid) {
   return FdbKey{static_cast<std::uint16_t>(vid), Velnet::EthAddr()};
}

}  // namespace

const KernelPort* KernelBridge::port(int ifindex) const {
   const auto it = ports_.find(ifindex);
   return it == ports_.end() ? nullptr : &it->second;
}

std::optional<Bridging::HostKey> KernelBridge::servedKey(const FdbKey& key, bool vlanFiltering) {
   const bool live = vlanFiltering
                         ? key.vid >= Bridging::VlanId::min && key.vid <= Bridging::VlanId::max
                         : key.vid == 0;
   if (!live) {
      return std::nullopt;
   }
   return Bridging::HostKey(Bridging::Fid(vlanFiltering ? key.vid : 1), key.address);
}

const KernelHost* KernelBridge::servedHost(const Bridging::HostKey& row) const {
   // The one entry a row can serve: in the FID's VLAN with filtering, in VLAN 0 without.
   const FdbKey key{vlanFiltering_ ? row.fid().value() : std::uint16_t{0}, row.address()};
   if (servedKey(key) != row) {
      return nullptr;
   }
   const auto it = hosts_.find(key);
   return it == hosts_.end() ? nullptr : &it->second;
}

KernelBridge::HostRange KernelBridge::servedHosts() const {
   const auto firstVlan = hosts_.lower_bound(vlanStart(Bridging::VlanId::min));
   if (!vlanFiltering_) {
      return {hosts_.begin(), firstVlan};
   }
   return {firstVlan, hosts_.lower_bound(vlanStart(Bridging::VlanId::max + 1))};
}

KernelBridge::HostRange KernelBridge::servedHostsAfter(const Bridging::HostKey& row) const {
   const HostRange all = servedHosts();
   const auto fid = row.fid().value();
   if (!vlanFiltering_ && fid != 1) {
      return fid < 1 ? all : HostRange{all.end(), all.end()};
   }
   // Rows ascend with their entries' keys: a later row's entry lies after the key of `row`.
   auto first = hosts_.upper_bound(FdbKey{vlanFiltering_ ? fid : std::uint16_t{0}, row.address()});
   if (first != hosts_.end() && all.begin() != hosts_.end() && first->first < all.begin()->first) {
      first = all.begin();
   }
   if (all.end() != hosts_.end() && (first == hosts_.end() || !(first->first < all.end()->first))) {
      first = all.end();
   }
   return {first, all.end()};
}

bool KernelBridge::servesFid(Bridging::Fid fid) const {
   const std::uint16_t vid = vlanFiltering_ ? fid.value() : 0;
   const auto it = hosts_.lower_bound(vlanStart(vid));
   return it != hosts_.end() && it->first.vid == vid &&
          servedKey(it->first) == Bridging::HostKey(fid, it->first.address);
}

void KernelBridge::addServed(std::vector<Bridging::HostKey>& rows) const {
   for (const auto& entry : servedHosts()) {
      rows.push_back(*servedKey(entry.first));
   }
}

void KernelBridge::forgetPort(int ifindex, BridgeChange& change) {
   if (ports_.erase(ifindex) == 0) {
      return;
   }
   change.bridge = true;
   for (auto it = hosts_.begin(); it != hosts_.end();) {
      if (it->second.ifindex == ifindex) {
         if (const auto row = servedKey(it->first)) {
            change.hosts.push_back(*row);
         }
         it = hosts_.erase(it);
      } else {
         ++it;
      }
   }
}

void KernelBridge::clear(BridgeChange& change) {
   addServed(change.hosts);
   hosts_.clear();
   ports_.clear();
   ifindex_ = 0;
   address_ = Velnet::EthAddr();
   vlanFiltering_ = false;
   stp_.reset();
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
      if (event.bridgeStp) {
         stp_ = event.bridgeStp;
      }
      if (event.vlanFiltering.value_or(vlanFiltering_) != vlanFiltering_) {
         addServed(change.withdrawn);
         vlanFiltering_ = !vlanFiltering_;
         addServed(change.hosts);
      }
      change.bridge = true;
      return change;
   }
   if (!exists()) {
      return change;
   }
   // A port leaves with an RTM_DELLINK or RTM_NEWLINK of the interface itself that names no
   // master, or another. An AF_BRIDGE RTM_DELLINK alone says only that VLANs went (the kernel
   // reports a VLAN deleted through RTM_DELVLAN so, and sends one too as a port starts to
   // leave): it lists the VLANs the port keeps.
   if ((event.removed && !event.bridgeFamily) || event.master != ifindex_) {
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
   if (event.portStp) {
      port.stp = event.portStp;
   }
   change.bridge = !(before == port);
   if (!before.name.empty() && before.name != port.name) {
      for (const auto& [key, host] : servedHosts()) {  // renamed: its entries name it anew
         if (host.ifindex == event.ifindex) {
            change.hosts.push_back(*servedKey(key));
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
   const FdbKey key{event.vid, event.address};
   const auto row = servedKey(key);
   if (event.removed) {
      if (hosts_.erase(key) && row) {
         change.hosts.push_back(*row);
      }
      return change;
   }
   const KernelHost host{event.ifindex, event.configured()};
   auto [it, inserted] = hosts_.try_emplace(key, host);
   if (inserted || !(it->second == host)) {
      it->second = host;
      if (row) {
         change.hosts.push_back(*row);
      }
   }
   return change;
}

}  // namespace Linux
