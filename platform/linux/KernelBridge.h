#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/bridging/HostKey.h"
#include "platform/kel/Pool.h"
#include "platform/linux/RtnlEvents.h"

namespace Linux {

struct KernelPort {
   std::string name;
   std::uint16_t portNo = 0;
   bool running = false;
   std::vector<PortVlan> vlans;  // as the kernel lists them; used with VLAN filtering only
   friend bool operator==(const KernelPort&, const KernelPort&) = default;
};

struct KernelHost {
   int ifindex = 0;
   bool configured = false;  // static or permanent, not learned
   friend bool operator==(const KernelHost&, const KernelHost&) = default;
};

// What changed in a KernelBridge by one event.
struct BridgeChange {
   bool bridge = false;  // the bridge itself, its ports or their VLANs
   bool appeared = false;
   bool vanished = false;
   std::vector<Bridging::HostKey> hosts;
};

// One named bridge as the kernel last described it: its attributes, ports and forwarding
// database. Events about other interfaces and bridges are ignored. Without VLAN filtering
// every entry is in FID 1; with it, an entry's FID is its VLAN.
class KernelBridge {
 public:
   // Ordered by key, so that two models are compared in one pass; nodes from the pools, as a
   // bridge may hold millions of entries (and a resync two models of them).
   using HostMap = std::map<Bridging::HostKey, KernelHost, std::less<Bridging::HostKey>,
                            Kel::PoolAllocator<std::pair<const Bridging::HostKey, KernelHost>>>;

   explicit KernelBridge(std::string name) : name_(std::move(name)) {}

   BridgeChange apply(const LinkEvent& event);
   BridgeChange apply(const NeighEvent& event);

   const std::string& name() const { return name_; }
   bool exists() const { return ifindex_ != 0; }
   int ifindex() const { return ifindex_; }
   const Velnet::EthAddr& address() const { return address_; }
   std::uint32_t ageingCentis() const { return ageingCentis_; }
   bool vlanFiltering() const { return vlanFiltering_; }
   const std::map<int, KernelPort>& ports() const { return ports_; }
   const HostMap& hosts() const { return hosts_; }
   // Hands the forwarding entries over, leaving none.
   HostMap releaseHosts() { return std::exchange(hosts_, HostMap()); }
   const KernelPort* port(int ifindex) const;

 private:
   void forgetPort(int ifindex, BridgeChange& change);
   void clear(BridgeChange& change);

   std::string name_;
   int ifindex_ = 0;
   Velnet::EthAddr address_;
   std::uint32_t ageingCentis_ = 30000;  // the kernel's default, 300 s
   bool vlanFiltering_ = false;
   std::map<int, KernelPort> ports_;
   HostMap hosts_;
};

}  // namespace Linux
