#include "agent/AgentTrace.h"

namespace BridgeSnmpAgent {

Kel::TraceHandle& agentTrace() {
   static Kel::TraceHandle* handle = new Kel::TraceHandle("BridgeSnmpAgent");
   return *handle;
}

// Made at load, so that a trace setting can name the facility before its first line.
[[maybe_unused]] const Kel::TraceHandle& agentTraceAtLoad = agentTrace();

}  // namespace BridgeSnmpAgent
