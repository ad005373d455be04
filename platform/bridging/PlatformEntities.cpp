#include "platform/bridging/PlatformEntities.h"

#include <array>
#include <cstddef>

namespace Bridging {
namespace {

// Where each entity is mounted, in the order of mounted().
constexpr std::array<const char*, 8> mountPaths = {
    "Statedb/bridging/config",     "Statedb/bridging/input/config", "Statedb/bridging/status",
    "snmp/swix/qbridgemib.status", "Statedb/bridging/vlan/status",  "Statedb/interface/status/eth",
    "Statedb/bridging/stp/status", "Statedb/bridging/input/stp",
};

std::array<Kel::Ptr<Kel::Entity>, 8> mounted(const PlatformEntities& e) {
   return {e.config,        e.input,         e.status,    e.status,
           e.vlanStatusDir, e.intfStatusDir, e.stpStatus, e.stpInput};
}

}  // namespace

void PlatformEntities::mountIn(Kel::Dir& root) const {
   const auto entities = mounted(*this);
   for (std::size_t i = 0; i < mountPaths.size(); ++i) {
      root.mount(mountPaths[i], entities[i]);
   }
}

void PlatformEntities::unmountFrom(Kel::Dir& root) const {
   for (const char* path : mountPaths) {
      root.unmount(path);
   }
}

}  // namespace Bridging
