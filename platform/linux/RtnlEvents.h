#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/bridging/StpStatus.h"
#include "platform/velnet/EthAddr.h"

// What the kernel's routing netlink tells about bridges, as plain values: one event per
// message, decoded from the message bytes without touching a socket.
namespace Linux {

// One VLAN of a bridge port, as the kernel keeps it.
struct PortVlan {
   std::uint16_t vid = 0;
   bool pvid = false;      // untagged frames received on the port belong to this VLAN
   bool untagged = false;  // the VLAN leaves the port untagged
   friend bool operator==(const PortVlan&, const PortVlan&) = default;
};

// A bridge's spanning tree as its IFLA_BR_* attributes give it. The kernel's times are clock_t
// (USER_HZ, hundredths of a second): centiseconds here too.
struct BridgeStp {
   std::uint32_t stpState = 0;  // 0: off; 1: the kernel runs it; 2: a daemon does
   Bridging::BridgeId bridgeId;
   Bridging::BridgeId rootId;
   std::uint16_t rootPort = 0;
   std::uint32_t rootPathCost = 0;
   bool topologyChange = false;
   bool topologyChangeDetected = false;
   // In effect: the root's, learned from its BPDUs, or this bridge's own while it is the root.
   std::uint32_t maxAge = 0;
   std::uint32_t helloTime = 0;
   std::uint32_t forwardDelay = 0;
   friend bool operator==(const BridgeStp&, const BridgeStp&) = default;
};

// A bridge port's spanning tree as its IFLA_BRPORT_* attributes give it.
struct PortStp {
   std::uint8_t state = 0;  // the kernel's BR_STATE_*
   std::uint16_t priority = 0;
   std::uint32_t cost = 0;
   std::uint16_t id = 0;
   Bridging::BridgeId designatedRoot;
   Bridging::BridgeId designatedBridge;
   std::uint16_t designatedPort = 0;
   std::uint32_t designatedCost = 0;
   friend bool operator==(const PortStp&, const PortStp&) = default;
};

// An interface's frame counters (IFLA_STATS64).
struct LinkCounters {
   std::uint64_t rxPackets = 0;
   std::uint64_t txPackets = 0;
   std::uint64_t rxDropped = 0;
};

// RTM_NEWLINK / RTM_DELLINK. An AF_UNSPEC message describes the interface itself (its name,
// state, master and, for a bridge or a bridge port, the bridge attributes); an AF_BRIDGE
// message describes a bridge port's VLANs, all it has (an RTM_DELLINK lists those it keeps).
struct LinkEvent {
   bool removed = false;
   bool bridgeFamily = false;  // AF_BRIDGE
   int ifindex = 0;
   std::string name;
   int master = 0;        // the bridge the interface is enslaved to; 0 for none
   bool running = false;  // administratively up with its carrier (IFF_RUNNING)
   std::optional<Velnet::EthAddr> address;
   std::string kind;  // "bridge" for a bridge device
   std::optional<std::uint16_t> portNo;
   std::optional<std::uint32_t> ageingCentis;  // a bridge's ageing time, hundredths of a second
   std::optional<bool> vlanFiltering;
   std::optional<BridgeStp> bridgeStp;  // a bridge's (with IFLA_BR_STP_STATE)
   std::optional<PortStp> portStp;      // a bridge port's (with IFLA_BRPORT_STATE)
   std::optional<LinkCounters> counters;
   std::optional<std::vector<PortVlan>> vlans;  // AF_BRIDGE only; ranges expanded
};

// RTM_NEWNEIGH / RTM_DELNEIGH of family AF_BRIDGE: one forwarding-database entry.
struct NeighEvent {
   bool removed = false;
   int ifindex = 0;  // the port, or the bridge itself for its own addresses
   int master = 0;   // the bridge the entry belongs to; 0 for a port's own (self) entry
   Velnet::EthAddr address;
   std::uint16_t vid = 0;  // 0 for an entry without a VLAN
   std::uint16_t state = 0;
   std::uint8_t flags = 0;
   // Configured rather than learned: NUD_PERMANENT (local) or NUD_NOARP (static).
   bool configured() const;
};

// The end of a dump (NLMSG_DONE), or the kernel's answer to a request (NLMSG_ERROR; error 0
// is an acknowledgement).
struct DumpDone {
   std::uint32_t seq = 0;
   int error = 0;  // a dump that failed part way ends with a negative errno
};
struct Ack {
   std::uint32_t seq = 0;
   int error = 0;  // 0 or a negative errno
};

using RtnlEvent = std::variant<LinkEvent, NeighEvent, DumpDone, Ack>;

// Decodes a buffer of netlink messages as read from the socket, which aligns it for the
// message headers (4 bytes). Messages of other types or families, and malformed ones, are
// skipped; `skipped` counts them when given. `interrupted`, when given, is set when a message
// says that the kernel's lists changed while it dumped them (NLM_F_DUMP_INTR).
std::vector<RtnlEvent> parseRtnlMessages(const void* data, std::size_t length,
                                         std::size_t* skipped = nullptr,
                                         bool* interrupted = nullptr);

}  // namespace Linux
