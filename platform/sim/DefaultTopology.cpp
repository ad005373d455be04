// Built apart from the rest of the platform, once with the source tree's example and once
// with the installed one, so that an installed binary differs from the build tree's by
// this one object.
#include "platform/sim/SimulatedPlatform.h"

std::string Sim::defaultTopologyPath() {
   return BRIDGESNMP_DEFAULT_TOPOLOGY;
}
