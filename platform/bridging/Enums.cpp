#include "platform/bridging/Enums.h"

#include <array>
#include <utility>

namespace Bridging {
namespace {

template <class E, std::size_t N>
std::string nameOf(const std::array<std::pair<E, const char*>, N>& names, E value) {
   for (const auto& [v, name] : names) {
      if (v == value) {
         return name;
      }
   }
   return std::to_string(static_cast<int>(value));
}

template <class E, std::size_t N>
std::optional<E> valueOf(const std::array<std::pair<E, const char*>, N>& names,
                         std::string_view name) {
   for (const auto& [v, text] : names) {
      if (name == text) {
         return v;
      }
   }
   return std::nullopt;
}

constexpr std::array<std::pair<SwitchportMode, const char*>, 6> modeNames{{
    {SwitchportMode::access, "access"},
    {SwitchportMode::trunk, "trunk"},
    {SwitchportMode::dot1qTunnel, "dot1q-tunnel"},
    {SwitchportMode::tap, "tap"},
    {SwitchportMode::tool, "tool"},
    {SwitchportMode::routed, "routed"},
}};

constexpr std::array<std::pair<AdminState, const char*>, 2> adminNames{{
    {AdminState::active, "active"},
    {AdminState::suspended, "suspended"},
}};

constexpr std::array<std::pair<FdbEntryType, const char*>, 6> entryTypeNames{{
    {FdbEntryType::learnedDynamic, "learnedDynamic"},
    {FdbEntryType::learnedRemote, "learnedRemote"},
    {FdbEntryType::configuredStatic, "configuredStatic"},
    {FdbEntryType::peerStatic, "peerStatic"},
    {FdbEntryType::router, "router"},
    {FdbEntryType::management, "management"},
}};

}  // namespace

std::string switchportModeName(SwitchportMode mode) {
   return nameOf(modeNames, mode);
}
std::optional<SwitchportMode> switchportModeFromName(std::string_view name) {
   return valueOf(modeNames, name);
}
std::ostream& operator<<(std::ostream& os, SwitchportMode mode) {
   return os << switchportModeName(mode);
}

std::string adminStateName(AdminState state) {
   return nameOf(adminNames, state);
}
std::optional<AdminState> adminStateFromName(std::string_view name) {
   return valueOf(adminNames, name);
}
std::ostream& operator<<(std::ostream& os, AdminState state) {
   return os << adminStateName(state);
}

std::string fdbEntryTypeName(FdbEntryType type) {
   return nameOf(entryTypeNames, type);
}
std::optional<FdbEntryType> fdbEntryTypeFromName(std::string_view name) {
   return valueOf(entryTypeNames, name);
}
std::ostream& operator<<(std::ostream& os, FdbEntryType type) {
   return os << fdbEntryTypeName(type);
}

}  // namespace Bridging
