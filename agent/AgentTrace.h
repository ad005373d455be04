#pragma once

#include "platform/kel/RingTrace.h"
#include "platform/kel/Trace.h"

namespace BridgeSnmpAgent {

// The agent's trace facility, "BridgeSnmpAgent": 1 for start-up and row changes, 8 for
// handler entry.
Kel::TraceHandle& agentTrace();

}  // namespace BridgeSnmpAgent

#define AGENT_TRACE(level, expr) KEL_TRACE(::BridgeSnmpAgent::agentTrace(), level, expr)
