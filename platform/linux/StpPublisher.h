#pragma once

#include "platform/bridging/StpStatus.h"
#include "platform/linux/KernelBridge.h"

namespace Linux {

// Publishes a kernel bridge's spanning tree in Bridging::StpStatus, each port under its
// interface's name.
//
// The kernel keeps no count of topology changes or of a port's transitions to forwarding:
// they are counted here, as published readings show them. A topology change begins when the
// bridge's topology-change flag, or its topology-change-detected flag, rises; a port's
// transition is a reading in forwarding after one in another state (a port first seen
// forwarding counts none). What happened between two readings is not seen.
//
// The kernel reports the timers in effect (the root's) but not the ones this bridge would
// use as the root, except through the ones in effect while it is the root: those, and the
// ones written through the StpWriter, are published as the bridge's own.
//
// A bridge without the spanning tree (stp_state 0) is published as its own root, its ports
// as the kernel reports them (forwarding); one whose tree a daemon runs (stp_state 2) as the
// kernel holds what the daemon set.
void publishStp(const KernelBridge& bridge, Bridging::StpStatus& status);

}  // namespace Linux
