#pragma once

#include "platform/kel/Trace.h"

namespace Snmp {

// The SNMP side's trace facility, "Snmp": 0 for set-up failures, 1 for start-up progress,
// 2 for per-request handler messages, 8 for routine entry messages.
// Inline: every handler and iterator callback asks it whether a level is on.
inline Kel::TraceHandle& snmpTrace() {
   static Kel::TraceHandle* handle = new Kel::TraceHandle("Snmp");
   return *handle;
}

}  // namespace Snmp

// A message of the SNMP side, attributed to a unit ("BridgeMib", "QBridgeMib", "BridgeExt").
#define SNMP_TRACE(level, unit, expr) KEL_TRACE_SOURCE(::Snmp::snmpTrace(), level, unit, expr)
