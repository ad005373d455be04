#include "platform/backend/BackendFactory.h"

#include <net/if.h>

#include <array>
#include <sstream>

#include "platform/linux/LinuxPlatform.h"
#include "platform/sim/SimulatedPlatform.h"

namespace Platform {
namespace {

// Every backend a configuration can name. A backend's argument, when it takes one, names an
// interface.
struct BackendKind {
   const char* name;
   const char* argument;  // how the line writes it ("<bridge>"); nullptr: it takes none
   const char* argumentMeaning;
   std::unique_ptr<Backend> (*make)(Kel::ActivityManager&, Kel::Dir&, const std::string& argument,
                                    const StartOptions&);
};
constexpr std::array<BackendKind, 2> backendKinds = {{
    {"simulated", nullptr, nullptr,
     [](Kel::ActivityManager& manager, Kel::Dir& root, const std::string&,
        const StartOptions& options) -> std::unique_ptr<Backend> {
        return std::make_unique<Sim::SimulatedPlatform>(manager, root, options);
     }},
    {"linux", "<bridge>", "the bridge's interface name",
     [](Kel::ActivityManager& manager, Kel::Dir& root, const std::string& bridge,
        const StartOptions&) -> std::unique_ptr<Backend> {
        return std::make_unique<Linux::LinuxPlatform>(manager, root, bridge);
     }},
}};

const BackendKind* kindNamed(std::string_view name) {
   for (const BackendKind& kind : backendKinds) {
      if (name == kind.name) {
         return &kind;
      }
   }
   return nullptr;
}

// "simulated or linux <bridge>": what a line may say.
std::string expectedChoices() {
   std::string text;
   for (std::size_t i = 0; i < backendKinds.size(); ++i) {
      if (i > 0) {
         text += i + 1 == backendKinds.size() ? " or " : ", ";
      }
      text += backendKinds[i].name;
      if (backendKinds[i].argument) {
         text += std::string(" ") + backendKinds[i].argument;
      }
   }
   return text;
}

}  // namespace

std::optional<PlatformChoice> parsePlatformChoice(std::string_view text, std::string& error) {
   std::istringstream in{std::string(text)};
   std::string name;
   std::string argument;
   std::string extra;
   in >> name >> argument >> extra;
   const BackendKind* kind = kindNamed(name);
   if (!kind) {
      error = "unknown platform '" + name + "'; expected " + expectedChoices();
   } else if (kind->argument && argument.empty()) {
      error = name + " needs " + kind->argumentMeaning;
   } else if (kind->argument && argument.size() >= IFNAMSIZ) {
      error = "'" + argument + "' is longer than an interface name can be";
   } else if ((!kind->argument && !argument.empty()) || !extra.empty()) {
      error = "unexpected '" + (extra.empty() ? argument : extra) + "'";
   } else {
      return PlatformChoice{name, argument};
   }
   return std::nullopt;
}

std::string platformChoiceText(const PlatformChoice& choice) {
   return choice.argument.empty() ? choice.backend : choice.backend + " " + choice.argument;
}

std::unique_ptr<Backend> makeBackend(const PlatformChoice& choice, Kel::ActivityManager& manager,
                                     Kel::Dir& root, const StartOptions& options) {
   const BackendKind* kind = kindNamed(choice.backend);
   if (!kind) {
      kind = &backendKinds.front();
   }
   return kind->make(manager, root, choice.argument, options);
}

}  // namespace Platform
