#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Bridging {

// The longest VLAN name a switch takes, in octets: what dot1qVlanStaticName, an
// SnmpAdminString of at most 32 octets, can carry.
constexpr std::size_t maxVlanNameOctets = 32;

// Why `name` cannot name a VLAN, as one line ("VLAN name '...' is 33 octets long; at most 32
// are allowed"), or nothing when it can. Every way of configuring a VLAN's name asks this,
// so a name the MIB could not serve never reaches the configuration.
std::optional<std::string> vlanNameProblem(std::string_view name);

}  // namespace Bridging
