#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/backend/Backend.h"
#include "platform/kel/ActivityManager.h"
#include "platform/statedb/Dir.h"

namespace Platform {

// A backend as a "bridgesnmpPlatform" line chooses it: its name, and its argument for one
// that takes one (a Linux bridge's interface name).
struct PlatformChoice {
   std::string backend = "simulated";
   std::string argument;
};

// Reads the value of a "bridgesnmpPlatform" line: a backend's name ("simulated"), then its
// argument if it takes one ("linux <bridge>"). On a value it cannot take, returns nothing
// and sets `error` to one line saying why.
std::optional<PlatformChoice> parsePlatformChoice(std::string_view text, std::string& error);

// The choice as the line writes it: "simulated", "linux <bridge>".
std::string platformChoiceText(const PlatformChoice& choice);

// Starts the chosen backend (the default one for a name no backend has), its entities
// mounted under `root`; what it cannot do at start (a topology, a socket, a bridge) it
// reports itself and goes on without.
std::unique_ptr<Backend> makeBackend(const PlatformChoice& choice, Kel::ActivityManager& manager,
                                     Kel::Dir& root, const StartOptions& options);

}  // namespace Platform
