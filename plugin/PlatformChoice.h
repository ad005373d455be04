#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Plugin {

// What the plug-in serves: the simulated switch (the default), or a Linux kernel bridge.
enum class PlatformKind { simulated, linuxBridge };

struct PlatformChoice {
   PlatformKind kind = PlatformKind::simulated;
   std::string bridge;  // the Linux bridge's interface name
};

// Reads the value of a "bridgesnmpPlatform" line: "simulated", or "linux <bridge>". On a
// value it cannot take, returns nothing and sets `error` to one line saying why.
std::optional<PlatformChoice> parsePlatformChoice(std::string_view text, std::string& error);

// "simulated" or "linux <bridge>".
std::string platformChoiceText(const PlatformChoice& choice);

}  // namespace Plugin
