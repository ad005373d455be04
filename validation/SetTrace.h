#pragma once

#include "platform/kel/Trace.h"

namespace BridgeSnmp {

// The SET path's trace facility, "BridgeSnmpSet": 2 for each check or write entered, 3 for
// the reason a request is refused or a write is skipped.
Kel::TraceHandle& setTrace();

}  // namespace BridgeSnmp

#define SET_TRACE(level, expr) KEL_TRACE(::BridgeSnmp::setTrace(), level, expr)
