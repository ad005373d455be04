#pragma once

#include <cstdint>
#include <map>
#include <optional>
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
   std::optional<PortStp> stp;   // none until the kernel has described it
   friend bool operator==(const KernelPort&, const KernelPort&) = default;
};

// A forwarding entry as the kernel keys it: an address in one VLAN, 0 meaning none. Ordered by
// VLAN, then address, as served rows are by FID, then address.
struct FdbKey {
   std::uint16_t vid = 0;
   Velnet::EthAddr address;
   friend auto operator<=>(const FdbKey&, const FdbKey&) = default;
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
   // Served rows whose entry is another one now (VLAN filtering was switched): taken away
   // before `hosts` are published, so that no port change there reads as a move.
   std::vector<Bridging::HostKey> withdrawn;
   // Served rows to bring in line with the model.
   std::vector<Bridging::HostKey> hosts;
};

// One named bridge as the kernel last described it: its attributes, ports and forwarding
// database. Events about other interfaces and bridges are ignored.
//
// Entries are kept as the kernel keys them, so that no two of them ever share a row. The
// kernel looks a frame up under VLAN 0 without VLAN filtering and under the frame's VLAN with
// it: those entries are live, and are served, in FID 1 or in their VLAN's FID. The others
// (the VLAN copies of a static entry without filtering, the VLAN-0 copies with it, what was
// learned before the mode changed) stay in the model, unserved, until the mode changes back.
class KernelBridge {
 public:
   // Ordered by key, so that two models are compared in one pass; nodes from the pools, as a
   // bridge may hold millions of entries (and a resync two models of them).
   using HostMap = std::map<FdbKey, KernelHost, std::less<FdbKey>,
                            Kel::PoolAllocator<std::pair<const FdbKey, KernelHost>>>;
   // A run of the map's entries, in its order.
   struct HostRange {
      HostMap::const_iterator first, last;
      HostMap::const_iterator begin() const { return first; }
      HostMap::const_iterator end() const { return last; }
   };

   explicit KernelBridge(std::string name) : name_(std::move(name)) {}

   BridgeChange apply(const LinkEvent& event);
   BridgeChange apply(const NeighEvent& event);

   const std::string& name() const { return name_; }
   bool exists() const { return ifindex_ != 0; }
   int ifindex() const { return ifindex_; }
   const Velnet::EthAddr& address() const { return address_; }
   std::uint32_t ageingCentis() const { return ageingCentis_; }
   bool vlanFiltering() const { return vlanFiltering_; }
   // The spanning tree as last read; none until the kernel has described it.
   const std::optional<BridgeStp>& stp() const { return stp_; }
   // A fresh reading of the bridge's spanning tree, which the kernel does not announce.
   void stpIs(const BridgeStp& stp) { stp_ = stp; }
   const std::map<int, KernelPort>& ports() const { return ports_; }
   const HostMap& hosts() const { return hosts_; }
   // Hands the forwarding entries over, leaving none.
   HostMap releaseHosts() { return std::exchange(hosts_, HostMap()); }
   const KernelPort* port(int ifindex) const;

   // The row an entry is served in, if it is live.
   std::optional<Bridging::HostKey> servedKey(const FdbKey& key) const {
      return servedKey(key, vlanFiltering_);
   }
   // The same for a bridge with or without VLAN filtering.
   static std::optional<Bridging::HostKey> servedKey(const FdbKey& key, bool vlanFiltering);
   // The entry served in a row, or null.
   const KernelHost* servedHost(const Bridging::HostKey& row) const;
   // The live entries, in the order of their rows.
   HostRange servedHosts() const;
   // The live entries of the rows after `row`, found by key (a resync's comparison resumes
   // there in its next slice).
   HostRange servedHostsAfter(const Bridging::HostKey& row) const;
   bool servesFid(Bridging::Fid fid) const;

 private:
   void addServed(std::vector<Bridging::HostKey>& rows) const;
   void forgetPort(int ifindex, BridgeChange& change);
   void clear(BridgeChange& change);

   std::string name_;
   int ifindex_ = 0;
   Velnet::EthAddr address_;
   std::uint32_t ageingCentis_ = 30000;  // the kernel's default, 300 s
   bool vlanFiltering_ = false;
   std::optional<BridgeStp> stp_;
   std::map<int, KernelPort> ports_;
   HostMap hosts_;
};

}  // namespace Linux
