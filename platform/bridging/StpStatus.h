#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>

#include "platform/kel/EntityMacros.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/kel/String8.h"
#include "platform/velnet/EthAddr.h"
#include "platform/velnet/IntfId.h"

// The switch's spanning tree as it runs (802.1D), and the frame counters of its ports.
//
// Units: every timer is in centiseconds (hundredths of a second), the unit the MIB's timeouts
// take and the kernel's clock_t reports; times of events are Kel::now() seconds.
namespace Bridging {

// A bridge identifier: the priority, then the address; 8 octets on the wire, compared as
// those octets are (a lower one is the better root).
struct BridgeId {
   std::uint16_t priority = 0;
   Velnet::EthAddr address;

   std::array<std::uint8_t, 8> octets() const {
      const auto mac = address.octets();
      return {static_cast<std::uint8_t>(priority >> 8),
              static_cast<std::uint8_t>(priority),
              mac[0],
              mac[1],
              mac[2],
              mac[3],
              mac[4],
              mac[5]};
   }
   friend bool operator==(const BridgeId&, const BridgeId&) = default;
   friend auto operator<=>(const BridgeId& a, const BridgeId& b) {
      return a.octets() <=> b.octets();
   }
};

// A port's state, numbered as dot1dStpPortState numbers it.
enum class StpPortState : std::uint8_t {
   disabled = 1,
   blocking = 2,
   listening = 3,
   learning = 4,
   forwarding = 5,
   broken = 6,
};

// One bridge port's spanning-tree status.
struct StpPortStatus {
   StpPortState state = StpPortState::disabled;
   // The port's priority as the platform numbers it (the Linux bridge: 0..63, the top six
   // bits of the port identifier).
   std::uint16_t priority = 0;
   std::uint16_t portId = 0;  // the 16-bit port identifier its BPDUs carry
   bool enabled = false;      // the port takes part (its state is not disabled)
   std::uint32_t pathCost = 0;
   BridgeId designatedRoot;
   std::uint32_t designatedCost = 0;
   BridgeId designatedBridge;
   std::uint16_t designatedPort = 0;  // the designated bridge's port identifier
   // Transitions into forwarding the platform has seen since it started serving the port.
   std::uint64_t forwardTransitions = 0;
   friend bool operator==(const StpPortStatus&, const StpPortStatus&) = default;
};
using StpPortStatusMap = Kel::RbTreeMap<Velnet::IntfId, StpPortStatus>;

// A port's frame counters as last read, and when (Kel::now() seconds; 0: never).
struct PortFrameCounters {
   std::uint64_t inFrames = 0;
   std::uint64_t outFrames = 0;
   std::uint64_t inDiscards = 0;  // received, then dropped
   double readAt = 0.0;
   friend bool operator==(const PortFrameCounters&, const PortFrameCounters&) = default;
};
using PortFrameCountersMap = Kel::RbTreeMap<Velnet::IntfId, PortFrameCounters>;

class StpStatus : public Kel::Entity {
 public:
#define BRIDGING_STP_STATUS_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION)       \
   /* whether the bridge runs the spanning tree; without it every port forwards and the     \
      bridge is its own root */                                                             \
   ATTRIBUTE(protocolEnabled, ProtocolEnabled, bool, false)                                 \
   /* the bridge's own identifier: its configured priority and its address */               \
   ATTRIBUTE(bridgeId, BridgeId, BridgeId, BridgeId())                                      \
   ATTRIBUTE(designatedRoot, DesignatedRoot, BridgeId, BridgeId())                          \
   ATTRIBUTE(rootPathCost, RootPathCost, std::uint32_t, 0)                                  \
   /* the port number of the root port; 0 while the bridge is the root */                   \
   ATTRIBUTE(rootPort, RootPort, std::uint16_t, 0)                                          \
   /* the timers in effect, learned from the root (centiseconds) */                         \
   ATTRIBUTE(maxAge, MaxAge, std::uint32_t, 2000)                                           \
   ATTRIBUTE(helloTime, HelloTime, std::uint32_t, 200)                                      \
   ATTRIBUTE(forwardDelay, ForwardDelay, std::uint32_t, 1500)                               \
   ATTRIBUTE(holdTime, HoldTime, std::uint32_t, 100)                                        \
   /* the timers this bridge uses when it is the root (centiseconds) */                     \
   ATTRIBUTE(bridgeMaxAge, BridgeMaxAge, std::uint32_t, 2000)                               \
   ATTRIBUTE(bridgeHelloTime, BridgeHelloTime, std::uint32_t, 200)                          \
   ATTRIBUTE(bridgeForwardDelay, BridgeForwardDelay, std::uint32_t, 1500)                   \
   /* a topology change is under way (the bridge's flag, or one it has detected) */         \
   ATTRIBUTE(topologyChange, TopologyChange, bool, false)                                   \
   /* topology changes seen since the platform started serving the bridge, and when the     \
      last began (Kel::now() seconds; 0 if none) */                                         \
   ATTRIBUTE(topologyChanges, TopologyChanges, std::uint64_t, 0)                            \
   ATTRIBUTE(lastTopologyChange, LastTopologyChange, double, 0.0)                           \
   /* the last Input::StpConfig commitRequest applied, or failed: why it failed (empty when \
      it did not); what was written before the failure stays written */                     \
   ATTRIBUTE(committed, Committed, std::uint32_t, 0)                                        \
   ATTRIBUTE(commitFailure, CommitFailure, Kel::String8, "")                                \
   COLLECTION(stpPort, StpPort, StpPortStatusMap)                                           \
   COLLECTION(portCounters, PortCounters, PortFrameCountersMap)
   KEL_ENTITY(StpStatus, Kel::Entity, "Bridging::StpStatus", BRIDGING_STP_STATUS_MEMBERS)
#undef BRIDGING_STP_STATUS_MEMBERS

   // The bridge's configured priority (part of its identifier).
   std::uint16_t bridgePriority() const {
      return bridgeId().priority;
   }
};

namespace Input {

// What a writer wants of one port; unset values stay as they are.
struct StpPortConfig {
   std::optional<std::uint16_t> priority;
   std::optional<std::uint32_t> pathCost;
   std::optional<bool> enabled;
   friend bool operator==(const StpPortConfig&, const StpPortConfig&) = default;
};
using StpPortConfigMap = Kel::RbTreeMap<Velnet::IntfId, StpPortConfig>;

// Spanning-tree settings to apply, and fresh counter readings, asked of the platform. The
// values set are pending until a commit request: the platform then applies all of them at
// once, clears them, and reports in StpStatus's committed and commitFailure.
class StpConfig : public Kel::Entity {
 public:
#define INPUT_STP_CONFIG_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION)               \
   ATTRIBUTE(bridgePriority, BridgePriority, std::optional<std::uint16_t>, std::nullopt)         \
   /* centiseconds, as StpStatus's timers */                                                     \
   ATTRIBUTE(bridgeMaxAge, BridgeMaxAge, std::optional<std::uint32_t>, std::nullopt)             \
   ATTRIBUTE(bridgeHelloTime, BridgeHelloTime, std::optional<std::uint32_t>, std::nullopt)       \
   ATTRIBUTE(bridgeForwardDelay, BridgeForwardDelay, std::optional<std::uint32_t>, std::nullopt) \
   COLLECTION(stpPortConfig, StpPortConfig, StpPortConfigMap)                                    \
   ATTRIBUTE(commitRequest, CommitRequest, std::uint32_t, 0)                                     \
   /* a port whose counters a reader is about to read, and a number raised with every            \
      ask: the platform brings StpStatus's portCounters of the port up to date before            \
      the ask returns, reading them at most once a second */                                     \
   SHARED(countersPort, CountersRequest, Velnet::IntfId, Velnet::IntfId())                       \
   SHARED(countersRequest, CountersRequest, std::uint32_t, 0)                                    \
   NOTIFICATION(CountersRequest)
   KEL_ENTITY(StpConfig, Kel::Entity, "Bridging::Input::StpConfig", INPUT_STP_CONFIG_MEMBERS)
#undef INPUT_STP_CONFIG_MEMBERS

   // Asks for the port's counters to be brought up to date.
   void doRefreshCounters(const Velnet::IntfId& port) {
      countersPortIs(port);
      countersRequestIs(countersRequest() + 1);
   }
};

}  // namespace Input
}  // namespace Bridging
