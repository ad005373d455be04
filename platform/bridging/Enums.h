#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace Bridging {

// A switchport's mode. Access (0) and trunk (1) carry VLANs; the others do not.
enum class SwitchportMode : std::uint8_t {
   access = 0,       // untagged member of its access VLAN
   trunk = 1,        // tagged member of its allowed VLANs, untagged on its native VLAN
   dot1qTunnel = 2,  // customer frames tunnelled in an outer tag
   tap = 3,          // receives mirrored traffic for a tool port
   tool = 4,         // sends traffic out to an analysis tool
   routed = 5,       // a layer-3 interface; not a bridge port for VLAN purposes
};
inline constexpr int switchportModeCount = 6;

// "access", "trunk", "dot1q-tunnel", "tap", "tool", "routed"; others as the number.
std::string switchportModeName(SwitchportMode mode);
std::optional<SwitchportMode> switchportModeFromName(std::string_view name);
std::ostream& operator<<(std::ostream& os, SwitchportMode mode);

// A VLAN's administrative state. Only an active VLAN forwards (and is shown).
enum class AdminState : std::uint8_t {
   active = 0,
   suspended = 1,
};
std::string adminStateName(AdminState state);
std::optional<AdminState> adminStateFromName(std::string_view name);
std::ostream& operator<<(std::ostream& os, AdminState state);

// How a forwarding-database entry came to be.
enum class FdbEntryType : std::uint8_t {
   learnedDynamic = 1,  // learned from traffic on a port
   learnedRemote = 2,   // learned by a peer and synchronised to this switch
   configuredStatic = 3,
   peerStatic = 4,
   router = 8,      // the switch's own routed address
   management = 9,  // the switch's own management address
};
std::string fdbEntryTypeName(FdbEntryType type);
std::optional<FdbEntryType> fdbEntryTypeFromName(std::string_view name);
std::ostream& operator<<(std::ostream& os, FdbEntryType type);

}  // namespace Bridging

namespace Bridging::Input {
// The input configuration uses the same modes.
using SwitchportMode = Bridging::SwitchportMode;
}  // namespace Bridging::Input
