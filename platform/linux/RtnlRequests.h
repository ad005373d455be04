#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/bridging/StpStatus.h"
#include "platform/linux/RtnlEvents.h"

// The requests this backend sends to the kernel, built as netlink message bytes.
namespace Linux {

using RtnlMessage = std::vector<std::uint8_t>;

// A dump of every interface (AF_UNSPEC), of every bridge port with its VLANs (AF_BRIDGE), and
// of every bridge forwarding-database entry.
RtnlMessage linkDumpRequest(std::uint32_t seq);
RtnlMessage bridgePortDumpRequest(std::uint32_t seq);
RtnlMessage fdbDumpRequest(std::uint32_t seq);

// Adds VLANs to a bridge port, or changes their flags (RTM_SETLINK), or removes them
// (RTM_DELLINK), with one IFLA_BRIDGE_VLAN_INFO per VLAN, acknowledged.
RtnlMessage portVlanRequest(bool remove, int ifindex, const std::vector<PortVlan>& vlans,
                            std::uint32_t seq);

// One interface's link (RTM_GETLINK of its ifindex): its attributes and counters, acknowledged.
RtnlMessage linkGetRequest(int ifindex, std::uint32_t seq);

// The bridge's spanning-tree settings (RTM_NEWLINK of the bridge, IFLA_BR_* in its link info),
// those set in `settings` only; timers in centiseconds, as the kernel takes them. Acknowledged.
struct BridgeStpSettings {
   std::optional<std::uint16_t> priority;
   std::optional<std::uint32_t> maxAge;
   std::optional<std::uint32_t> helloTime;
   std::optional<std::uint32_t> forwardDelay;
};
RtnlMessage bridgeStpRequest(int bridgeIfindex, const BridgeStpSettings& settings,
                             std::uint32_t seq);

// A bridge port's spanning-tree settings (RTM_SETLINK of family AF_BRIDGE, IFLA_BRPORT_* in
// its IFLA_PROTINFO), those set only: enabling puts it in forwarding, disabling in disabled
// (which the kernel refuses while it runs the spanning tree itself). Acknowledged.
RtnlMessage portStpRequest(int ifindex, const Bridging::Input::StpPortConfig& settings,
                           std::uint32_t seq);

}  // namespace Linux
