#include "agent/AgentTrace.h"

namespace BridgeSnmpAgent {

Kel::TraceHandle& agentTrace() {
   static Kel::TraceHandle* handle = new Kel::TraceHandle("BridgeSnmpAgent");
   return *handle;
}

}  // namespace BridgeSnmpAgent
