#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/bridging/Enums.h"
#include "platform/bridging/PlatformEntities.h"
#include "platform/kel/ActivityManager.h"

namespace Sim {

class Burst;

// A command the switch refuses; what() is a one-line reason such as
// "no interface Ethernet99". A refused command changes nothing.
class CommandError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

struct PortSpec {
   Velnet::IntfId name;
   std::uint16_t portId = 0;  // bridge port number; 0 for none
   std::int32_t ifIndex = 0;
   bool linkUp = true;
   bool adminUp = true;        // false: shut down, so not running whatever its link
   std::string description{};  // what the operator says it is for, IF-MIB's ifAlias
};

// The longest port description, as IF-MIB's ifAlias carries it.
constexpr std::size_t maxPortDescription = 64;

struct SwitchportSpec {
   Bridging::SwitchportMode mode = Bridging::SwitchportMode::access;
   Bridging::VlanId accessVlan{1};
   Bridging::VlanIdOrNone nativeVlan{1};  // a trunk's native VLAN; none: no untagged VLAN
   std::string allowedVlans = "1-4094";   // a trunk's allowed VLANs, multi-range text
};

struct VlanSpec {
   Bridging::VlanId id{1};
   std::string name;
   bool internal = false;
   bool hidden = false;
   Bridging::AdminState adminState = Bridging::AdminState::active;
   std::uint32_t selectionWord = 0;
};

// What learn() did with a host.
enum class LearnOutcome { learned, refreshed, moved };

// The simulated switch: its state entities and the agents that keep them the way a real
// switch's agents do.
//
// - The configuration agent applies the input configuration (VLANs, switchports) to
//   Bridging::Config: an access port is an untagged member of its access VLAN; a trunk is a
//   tagged member of each allowed VLAN that exists and untagged on its native VLAN (none:
//   no untagged membership); other modes carry no VLAN.
// - The status agent derives Bridging::VlanStatus (a VLAN's active ports are its members
//   whose link is up, for an active VLAN) and publishes the interfaces' status.
// - The learning agent learns, moves, ages and flushes hosts per FID (a VLAN's FID is its
//   VLAN id) in Bridging::Status; aging follows the configured host aging time.
//
// Every operation is checked first and raises CommandError, changing nothing, when it
// cannot be done.
class Switch {
 public:
   explicit Switch(Kel::ActivityManager& manager = Kel::ActivityManager::instance());
   ~Switch();
   Switch(const Switch&) = delete;
   Switch& operator=(const Switch&) = delete;

   // Its state entities; mount them with their mountIn().
   const Bridging::PlatformEntities& entities() const;

   // Bridge.
   void bridgeMacAddrIs(const Velnet::EthAddr& address);
   // Seconds; 0 disables aging.
   void hostAgingTimeIs(double seconds);

   // Ports. A port is added once; its link and administrative state change afterwards. A
   // port runs (its operational status is up) while its link is up and it is not shut down.
   void newPort(const PortSpec& port);
   void linkIs(const Velnet::IntfId& intf, bool up);
   void adminIs(const Velnet::IntfId& intf, bool up);
   bool hasPort(const Velnet::IntfId& intf) const;
   std::vector<PortSpec> ports() const;

   // VLANs (input configuration). vlanIs creates or updates.
   void vlanIs(const VlanSpec& vlan);
   void vlanDel(Bridging::VlanId id);
   void vlanInternalIs(Bridging::VlanId id, bool internal);
   void vlanHiddenIs(Bridging::VlanId id, bool hidden);
   void vlanAdminStateIs(Bridging::VlanId id, Bridging::AdminState state);
   void vlanNameIs(Bridging::VlanId id, const std::string& name);

   // Switchports (input configuration); the allowed list is checked as multi-range text.
   void switchportIs(const Velnet::IntfId& intf, const SwitchportSpec& settings);

   // Static (configured) hosts, in the VLAN's FID.
   void staticHostIs(Bridging::VlanId vlan, const Velnet::EthAddr& address,
                     const Velnet::IntfId& intf);
   void staticHostDel(Bridging::VlanId vlan, const Velnet::EthAddr& address);

   // Learning. A host is learned in a VLAN on an interface that is an active member of it;
   // seeing it again on the same interface refreshes its age, on another one moves it.
   LearnOutcome learn(Bridging::VlanId vlan, const Velnet::EthAddr& address,
                      const Velnet::IntfId& intf,
                      Bridging::FdbEntryType type = Bridging::FdbEntryType::learnedDynamic);
   // Moves a learned host to another interface (CommandError if it is not learned).
   void move(Bridging::VlanId vlan, const Velnet::EthAddr& address, const Velnet::IntfId& intf);
   // Ages a learned host out now (CommandError if it is not learned).
   void age(Bridging::VlanId vlan, const Velnet::EthAddr& address);
   // Removes learned hosts: of one VLAN and/or one interface, or all. Returns how many.
   std::size_t flush(std::optional<Bridging::VlanId> vlan, std::optional<Velnet::IntfId> intf);
   // Learns `count` random unicast addresses spread over the first `portCount` ports that
   // carry a VLAN, each in a VLAN its port is an active member of. The same seed gives the
   // same addresses. Returns how many were newly learned.
   std::size_t burst(std::size_t count, std::size_t portCount, std::uint64_t seed = 1);
   // The same burst learned over time, as traffic would teach it: a few milliseconds of
   // learning per clock wake-up, other work in between. Checked now; learned later.
   void burstPaced(std::size_t count, std::size_t portCount, std::uint64_t seed = 1);
   // Paced bursts not finished yet.
   std::size_t burstsPending() const;
   std::size_t learnedHosts() const;

   // A human-readable summary: "summary", "ports", "vlans", "switchports", "fdb" (learned
   // and static hosts) or "fdb <vlan>". CommandError for anything else.
   std::string show(const std::string& what) const;

   // The health of whatever serves the switch's state (the SNMP agent), as it reports it;
   // CommandError while nothing has attached a reporter.
   void statusReporterIs(std::function<std::string()> reporter);
   std::string agentStatus() const;

 private:
   class Impl;
   Burst newBurst(std::size_t count, std::size_t portCount, std::uint64_t seed);
   // Publishes a port's link or administrative change and lets the switch follow it.
   void portStateChanged(const Velnet::IntfId& intf);
   std::unique_ptr<Impl> impl_;
};

}  // namespace Sim
