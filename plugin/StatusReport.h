#pragma once

#include <string>

#include "agent/Agent.h"
#include "model/QBridgeMib.h"

namespace Plugin {

// The plug-in's health as `bridgectl status` prints it: the rows of each cache table, the
// FDB backlog, the slices that worked it off and the longest one, and the requests each
// table's handler has served.
std::string statusReport(const BridgeSnmp::QBridgeMib& mib, const BridgeSnmpAgent::Agent& agent);

}  // namespace Plugin
