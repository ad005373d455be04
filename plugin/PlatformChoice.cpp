#include "plugin/PlatformChoice.h"

#include <net/if.h>
#include <array>
#include <sstream>

namespace Plugin {
namespace {

struct KindName {
   PlatformKind kind;
   const char* name;
   bool takesBridge;
};
constexpr std::array<KindName, 2> kindNames = {{
    {PlatformKind::simulated, "simulated", false},
    {PlatformKind::linuxBridge, "linux", true},
}};

}  // namespace

std::optional<PlatformChoice> parsePlatformChoice(std::string_view text, std::string& error) {
   std::istringstream in{std::string(text)};
   std::string kind;
   std::string bridge;
   std::string extra;
   in >> kind >> bridge >> extra;
   for (const KindName& k : kindNames) {
      if (kind != k.name) {
         continue;
      }
      if (k.takesBridge && bridge.empty()) {
         error = std::string(k.name) + " needs the bridge's interface name";
      } else if (k.takesBridge && bridge.size() >= IFNAMSIZ) {
         error = "'" + bridge + "' is longer than an interface name can be";
      } else if ((!k.takesBridge && !bridge.empty()) || !extra.empty()) {
         error = "unexpected '" + (extra.empty() ? bridge : extra) + "'";
      } else {
         return PlatformChoice{k.kind, bridge};
      }
      return std::nullopt;
   }
   error = "unknown platform '" + kind + "'; expected simulated or linux <bridge>";
   return std::nullopt;
}

std::string platformChoiceText(const PlatformChoice& choice) {
   for (const KindName& k : kindNames) {
      if (k.kind == choice.kind) {
         return k.takesBridge ? std::string(k.name) + " " + choice.bridge : k.name;
      }
   }
   return "unknown";
}

}  // namespace Plugin
