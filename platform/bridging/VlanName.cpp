#include "platform/bridging/VlanName.h"

namespace Bridging {

std::optional<std::string> vlanNameProblem(std::string_view name) {
   if (name.size() <= maxVlanNameOctets) {
      return std::nullopt;
   }
   return "VLAN name '" + std::string(name) + "' is " + std::to_string(name.size()) +
          " octets long; at most " + std::to_string(maxVlanNameOctets) + " are allowed";
}

}  // namespace Bridging
