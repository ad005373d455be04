#pragma once

#include <cstdint>
#include <vector>

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

}  // namespace Linux
