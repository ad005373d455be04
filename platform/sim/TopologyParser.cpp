// Reading and checking a topology file of the simulated switch.
//
// The whole file is checked before anything is returned, so a file with a problem is never
// half-applied. Each problem is reported as one line, "<file>:<line>: <problem>", with the
// line of the YAML node at fault (counted from 1).

#include <yaml-cpp/yaml.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/bridging/VlanName.h"
#include "platform/kel/Exception.h"
#include "platform/sim/Topology.h"
#include "platform/sim/YamlReader.h"
#include "platform/swix/VlanIdSet.h"

namespace Sim {
namespace {

// The most addresses one learned-host generator may produce.
constexpr std::uint64_t maxGeneratedHosts = 1u << 20;
// The longest host aging time the switch takes, in seconds.
constexpr double maxAgingTime = 1e9;

struct PortRecord {
   int line = 0;
   std::size_t index = 0;  // in Topology::ports
};

struct VlanRecord {
   int line = 0;
   std::size_t index = 0;  // in Topology::vlans
};

struct SwitchportRecord {
   int line = 0;
   std::size_t index = 0;  // in Topology::switchports
   SwixUtils::VlanIdSet allowed;
};

using HostKey = std::pair<std::uint16_t, std::uint64_t>;  // VLAN, address

struct HostRecord {
   int line = 0;
   bool isStatic = false;
};

class Parser : YamlReader {
 public:
   explicit Parser(std::string name) : YamlReader(std::move(name)) {}

   Topology parse(const std::string& text) {
      YAML::Node root;
      try {
         root = YAML::Load(text);
      } catch (const YAML::ParserException& e) {
         fail(e.mark.line < 0 ? 1 : e.mark.line + 1, "YAML syntax error: " + e.msg);
      } catch (const YAML::Exception& e) {
         fail(e.mark.line < 0 ? 1 : e.mark.line + 1, "YAML error: " + e.msg);
      }
      if (root.IsNull()) {
         return std::move(topology_);
      }
      if (!root.IsMap()) {
         fail(root,
              "the top level must be a mapping of sections (bridge, ports, vlans, "
              "switchports, static_macs, learned_macs)");
      }
      const Fields top =
          fields(root, "the top level",
                 {"bridge", "ports", "vlans", "switchports", "static_macs", "learned_macs"});
      // Sections are read in the order their references need, whatever their order in the
      // file: hosts refer to switchports, switchports to ports and VLANs.
      if (const YAML::Node* n = top.get("bridge")) {
         parseBridge(*n);
      }
      eachEntry(top, "ports", [this](const YAML::Node& n) { parsePort(n); });
      eachEntry(top, "vlans", [this](const YAML::Node& n) { parseVlan(n); });
      eachEntry(top, "switchports", [this](const YAML::Node& n) { parseSwitchport(n); });
      eachEntry(top, "static_macs", [this](const YAML::Node& n) { parseStaticHost(n); });
      eachEntry(top, "learned_macs", [this](const YAML::Node& n) { parseLearnedHost(n); });
      return std::move(topology_);
   }

 private:
   // ---- Sections ----

   void parseBridge(const YAML::Node& n) {
      if (n.IsNull()) {
         return;
      }
      const Fields f = fields(n, "'bridge'", {"mac", "aging_time"});
      if (const YAML::Node* mac = f.get("mac")) {
         const Velnet::EthAddr address = macAddr(*mac, "mac");
         if (address.isMulticast()) {
            fail(*mac, "the bridge MAC " + address.stringValue() + " is a multicast address");
         }
         topology_.bridgeMacAddr = address;
      }
      if (const YAML::Node* aging = f.get("aging_time")) {
         const std::string expected = "a number of seconds 0-1000000000 (0 disables aging)";
         const std::string& text = scalar(*aging, "aging_time", expected);
         const auto seconds = decimal<double>(text);
         if (!seconds || !std::isfinite(*seconds) || *seconds < 0 || *seconds > maxAgingTime) {
            fail(*aging, "'aging_time' must be " + expected + ", not " + shown(*aging));
         }
         topology_.hostAgingTime = *seconds;
      }
   }

   void parsePort(const YAML::Node& n) {
      const Fields f = fields(
          n, "a port", {"name", "range", "port_id", "if_index", "link", "admin", "description"});
      const YAML::Node* one = f.get("name");
      const YAML::Node* run = f.get("range");
      if (one != nullptr && run != nullptr) {
         fail(*run, "a port takes 'name' or 'range', not both");
      }
      if (one == nullptr && run == nullptr) {
         fail(f.line, "a port needs 'name' or 'range'");
      }
      NameRange names;
      if (one != nullptr) {
         const std::string name = intfName(*one, "name");
         names.prefix = name;  // a single port: the name as it is
      } else {
         names = nameRange(*run, "range");
      }
      const std::uint64_t count = one != nullptr ? 1 : names.size();

      std::uint64_t portId = 0;
      if (const YAML::Node* p = f.get("port_id")) {
         portId = unsignedValue(*p, "port_id", 0xffff);
         if (portId != 0 && portId + count - 1 > 0xffff) {
            fail(*p, "the port ids of " + scalar(*run, "range", "") + " from " +
                         std::to_string(portId) + " run past 65535");
         }
      }
      std::uint64_t ifIndex = 0;
      constexpr std::uint64_t maxIfIndex = std::numeric_limits<std::int32_t>::max();
      if (const YAML::Node* p = f.get("if_index")) {
         ifIndex = unsignedValue(*p, "if_index", maxIfIndex);
         if (ifIndex != 0 && ifIndex + count - 1 > maxIfIndex) {
            fail(*p, "the ifIndexes of " + scalar(*run, "range", "") + " from " +
                         std::to_string(ifIndex) + " run past " + std::to_string(maxIfIndex));
         }
      }
      // link and admin: up (the default) or down.
      const auto isUp = [&](const char* key) {
         const YAML::Node* node = f.get(key);
         const std::string text = node ? scalar(*node, key, "up or down") : "up";
         if (text != "up" && text != "down") {
            fail(*node, "'" + std::string(key) + "' must be up or down, not " + shown(*node));
         }
         return text == "up";
      };
      const bool linkUp = isUp("link");
      const bool adminUp = isUp("admin");
      std::string description;
      if (const YAML::Node* d = f.get("description")) {
         description = scalar(*d, "description", "text");
         if (description.size() > maxPortDescription) {
            fail(*d, "a description is at most " + std::to_string(maxPortDescription) +
                         " octets, not " + std::to_string(description.size()));
         }
      }

      const int line = f.line;
      for (std::uint64_t i = 0; i < count; ++i) {
         PortSpec port;
         const std::string name = one != nullptr ? names.prefix : names.name(std::uint32_t(i));
         port.name = Velnet::IntfId(name);
         port.portId = static_cast<std::uint16_t>(portId == 0 ? 0 : portId + i);
         port.ifIndex = static_cast<std::int32_t>(ifIndex == 0 ? 0 : ifIndex + i);
         port.linkUp = linkUp;
         port.adminUp = adminUp;
         port.description = description;
         if (auto it = ports_.find(name); it != ports_.end()) {
            fail(line,
                 "port " + name + " is already defined at line " + std::to_string(it->second.line));
         }
         if (port.portId != 0) {
            if (auto it = portIds_.find(port.portId); it != portIds_.end()) {
               fail(line, "port id " + std::to_string(port.portId) + " of " + name +
                              " is already used by " + it->second);
            }
            portIds_.emplace(port.portId, name);
         }
         if (port.ifIndex != 0) {
            if (auto it = ifIndexes_.find(port.ifIndex); it != ifIndexes_.end()) {
               fail(line, "ifIndex " + std::to_string(port.ifIndex) + " of " + name +
                              " is already used by " + it->second);
            }
            ifIndexes_.emplace(port.ifIndex, name);
         }
         ports_.emplace(name, PortRecord{line, topology_.ports.size()});
         topology_.ports.push_back(std::move(port));
      }
   }

   void parseVlan(const YAML::Node& n) {
      const Fields f = fields(
          n, "a VLAN", {"id", "name", "internal", "hidden", "admin_state", "selection_word"});
      VlanSpec vlan;
      vlan.id = vlanId(required(f, "id"), "id");
      if (auto it = vlans_.find(vlan.id.value()); it != vlans_.end()) {
         fail(required(f, "id"), "VLAN " + std::to_string(vlan.id.value()) +
                                     " is already defined at line " +
                                     std::to_string(it->second.line));
      }
      if (const YAML::Node* name = f.get("name")) {
         vlan.name = scalar(*name, "name", "a VLAN name");
         if (const auto problem = Bridging::vlanNameProblem(vlan.name)) {
            fail(*name, *problem);
         }
      }
      if (const YAML::Node* b = f.get("internal")) {
         vlan.internal = boolean(*b, "internal");
      }
      if (const YAML::Node* b = f.get("hidden")) {
         vlan.hidden = boolean(*b, "hidden");
      }
      if (const YAML::Node* s = f.get("admin_state")) {
         const auto state = Bridging::adminStateFromName(scalar(*s, "admin_state", "a state"));
         if (!state) {
            fail(*s, "'admin_state' must be active or suspended, not " + shown(*s));
         }
         vlan.adminState = *state;
      }
      if (const YAML::Node* w = f.get("selection_word")) {
         vlan.selectionWord = static_cast<std::uint32_t>(
             unsignedValue(*w, "selection_word", std::numeric_limits<std::uint32_t>::max(), true));
      }
      vlans_.emplace(vlan.id.value(), VlanRecord{f.line, topology_.vlans.size()});
      topology_.vlans.push_back(std::move(vlan));
   }

   // A trunk's allowed VLANs: multi-range text ("1-10,20", "all", "none"), or a list
   // of VLAN ids and ranges.
   SwixUtils::VlanIdSet allowedVlans(const YAML::Node& n) const {
      std::string text;
      if (n.IsNull()) {
         text = "";
      } else if (n.IsScalar()) {
         text = n.Scalar();
      } else if (n.IsSequence()) {
         for (const YAML::Node& item : n) {
            if (!item.IsScalar()) {
               fail(item,
                    "an entry of 'allowed_vlans' must be a VLAN id or range like 20-30, "
                    "not " +
                        shown(item));
            }
            if (!text.empty()) {
               text += ',';
            }
            // An empty entry keeps its place so that the list's check reports it.
            text += item.Scalar().empty() ? " " : item.Scalar();
         }
      } else {
         fail(n, "'allowed_vlans' must be a VLAN list like 1-10,20 or a sequence, not " + shown(n));
      }
      SwixUtils::VlanIdSet set;
      try {
         Kel::Expect expect(Kel::ExceptionId::parse);
         SwixUtils::computeVlanSet(set, text);
      } catch (const Kel::ParseException& e) {
         fail(n, e.message());
      }
      return set;
   }

   void parseSwitchport(const YAML::Node& n) {
      const Fields f =
          fields(n, "a switchport",
                 {"interface", "range", "mode", "access_vlan", "native_vlan", "allowed_vlans"});
      const std::vector<std::string> names = interfaces(f);
      SwitchportSpec sp;
      if (const YAML::Node* m = f.get("mode")) {
         const auto mode = Bridging::switchportModeFromName(scalar(*m, "mode", "a mode"));
         if (!mode) {
            fail(*m, "'mode' must be one of access, trunk, dot1q-tunnel, tap, tool, routed, not " +
                         shown(*m));
         }
         sp.mode = *mode;
      }
      const YAML::Node* access = f.get("access_vlan");
      if (access != nullptr) {
         sp.accessVlan = vlanId(*access, "access_vlan");
      }
      if (const YAML::Node* native = f.get("native_vlan")) {
         if (native->IsScalar() && native->Scalar() == "none") {
            sp.nativeVlan = Bridging::VlanIdOrNone();
         } else {
            sp.nativeVlan = vlanId(*native, "native_vlan");
         }
      }
      SwixUtils::VlanIdSet allowed;
      if (const YAML::Node* a = f.get("allowed_vlans")) {
         allowed = allowedVlans(*a);
      } else {
         SwixUtils::computeVlanSet(allowed, sp.allowedVlans);
      }
      sp.allowedVlans = allowed.multiRangeString();
      // An access port's VLAN must be one the file defines; a trunk may name VLANs that do
      // not exist (yet), as a switch's configuration may.
      if ((access != nullptr || sp.mode == Bridging::SwitchportMode::access) &&
          vlans_.count(sp.accessVlan.value()) == 0) {
         fail(access != nullptr ? lineOf(*access) : f.line,
              "access VLAN " + std::to_string(sp.accessVlan.value()) + " of " + names.front() +
                  " is not defined in 'vlans'");
      }
      for (const std::string& name : names) {
         if (ports_.count(name) == 0) {
            fail(f.line, "switchport for unknown port " + name);
         }
         if (auto it = switchports_.find(name); it != switchports_.end()) {
            fail(f.line,
                 name + " already has a switchport at line " + std::to_string(it->second.line));
         }
         switchports_.emplace(name,
                              SwitchportRecord{f.line, topology_.switchports.size(), allowed});
         topology_.switchports.push_back(SwitchportEntry{Velnet::IntfId(name), sp});
      }
   }

   // Why `intf` is not an active member of `vlan` by this file, or nothing if it is. A
   // port is an active member of an active VLAN when its link is up and its switchport
   // carries the VLAN: an access port its access VLAN, a trunk the VLANs it allows (its
   // native VLAN only when allowed too). A port with no switchport entry is an access port
   // of VLAN 1, as a new port of the switch is.
   std::optional<std::string> notActiveMember(const std::string& intf,
                                              Bridging::VlanId vlan) const {
      const std::string v = std::to_string(vlan.value());
      const VlanSpec& vlanDef = topology_.vlans[vlans_.at(vlan.value()).index];
      if (vlanDef.adminState != Bridging::AdminState::active) {
         return "VLAN " + v + " is suspended";
      }
      const PortSpec& port = topology_.ports[ports_.at(intf).index];
      const auto entry = switchports_.find(intf);
      const SwitchportSpec sp = entry == switchports_.end()
                                    ? SwitchportSpec()
                                    : topology_.switchports[entry->second.index].settings;
      switch (sp.mode) {
         case Bridging::SwitchportMode::access:
            if (sp.accessVlan != vlan) {
               return intf + " is an access port of VLAN " + std::to_string(sp.accessVlan.value());
            }
            break;
         case Bridging::SwitchportMode::trunk:
            if (!entry->second.allowed.contains(vlan)) {
               return "the trunk " + intf + " does not allow VLAN " + v;
            }
            break;
         default:
            return intf + " is in mode " + Bridging::switchportModeName(sp.mode) +
                   ", which carries no VLAN";
      }
      if (!port.adminUp) {
         return intf + " is shut down";
      }
      if (!port.linkUp) {
         return "the link of " + intf + " is down";
      }
      return std::nullopt;
   }

   // Checks the VLAN and interface a host refers to.
   void checkHostPlace(const Fields& f, const char* kind, const std::string& address,
                       Bridging::VlanId vlan, const std::string& intf) const {
      if (vlans_.count(vlan.value()) == 0) {
         fail(f.line, std::string(kind) + " " + address + " is in VLAN " +
                          std::to_string(vlan.value()) + ", which is not defined in 'vlans'");
      }
      if (ports_.count(intf) == 0) {
         fail(f.line, std::string(kind) + " " + address + " is on unknown port " + intf);
      }
   }

   void recordHost(int line, const char* kind, Bridging::VlanId vlan,
                   const Velnet::EthAddr& address, bool isStatic) {
      const HostKey key{vlan.value(), address.toU64()};
      if (auto it = hosts_.find(key); it != hosts_.end()) {
         fail(line, std::string(kind) + " " + address.stringValue() + " in VLAN " +
                        std::to_string(vlan.value()) + " is already a " +
                        (it->second.isStatic ? "static" : "learned") + " MAC at line " +
                        std::to_string(it->second.line));
      }
      hosts_.emplace(key, HostRecord{line, isStatic});
   }

   void parseStaticHost(const YAML::Node& n) {
      const Fields f = fields(n, "a static MAC", {"vlan", "mac", "interface"});
      const Bridging::VlanId vlan = vlanId(required(f, "vlan"), "vlan");
      const Velnet::EthAddr address = hostAddr(required(f, "mac"), "mac");
      const std::string intf = intfName(required(f, "interface"), "interface");
      checkHostPlace(f, "static MAC", address.stringValue(), vlan, intf);
      recordHost(f.line, "static MAC", vlan, address, true);
      topology_.staticHosts.push_back(StaticHostSpec{vlan, address, Velnet::IntfId(intf)});
   }

   // One learned host ({vlan, mac, interface}), or a run of them ({vlan, base, count,
   // interface or range}): `count` sequential addresses from `base`, dealt round-robin over
   // the interfaces.
   void parseLearnedHost(const YAML::Node& n) {
      const Fields f = fields(n, "a learned MAC",
                              {"vlan", "mac", "interface", "range", "type", "base", "count"});
      const Bridging::VlanId vlan = vlanId(required(f, "vlan"), "vlan");
      Bridging::FdbEntryType type = Bridging::FdbEntryType::learnedDynamic;
      if (const YAML::Node* t = f.get("type")) {
         const auto parsed = Bridging::fdbEntryTypeFromName(scalar(*t, "type", "an entry type"));
         if (!parsed) {
            fail(*t,
                 "'type' must be one of learnedDynamic, learnedRemote, configuredStatic, "
                 "peerStatic, router, management, not " +
                     shown(*t));
         }
         type = *parsed;
      }
      const YAML::Node* mac = f.get("mac");
      const YAML::Node* base = f.get("base");
      if (mac != nullptr && base != nullptr) {
         fail(*base,
              "a learned MAC takes 'mac' (one host) or 'base' and 'count' (a run), "
              "not both");
      }
      if (mac == nullptr && base == nullptr) {
         fail(f.line, "a learned MAC needs 'mac' (one host) or 'base' and 'count' (a run)");
      }
      if (mac != nullptr) {
         if (f.has("count")) {
            fail(*f.get("count"), "'count' goes with 'base', not with 'mac'");
         }
         if (f.has("range")) {
            fail(*f.get("range"), "one learned MAC takes 'interface', not 'range'");
         }
         const Velnet::EthAddr address = hostAddr(*mac, "mac");
         const std::string intf = intfName(required(f, "interface"), "interface");
         addLearned(f, vlan, address, intf, type);
         return;
      }
      const Velnet::EthAddr first = hostAddr(*base, "base");
      const YAML::Node& countNode = required(f, "count");
      const std::uint64_t count = unsignedValue(countNode, "count", maxGeneratedHosts);
      if (count == 0) {
         fail(countNode, "'count' must be at least 1");
      }
      const std::vector<std::string> intfs = interfaces(f);
      if (first.toU64() + (count - 1) > 0xffffffffffffull) {
         fail(countNode, "the run of " + std::to_string(count) + " MACs from " +
                             first.stringValue() + " passes ff:ff:ff:ff:ff:ff");
      }
      for (std::uint64_t i = 0; i < count; ++i) {
         const Velnet::EthAddr address = Velnet::EthAddr::fromU64(first.toU64() + i);
         if (address.isMulticast()) {
            fail(countNode, "the run of " + std::to_string(count) + " MACs from " +
                                first.stringValue() + " reaches the multicast address " +
                                address.stringValue());
         }
         addLearned(f, vlan, address, intfs[i % intfs.size()], type);
      }
   }

   void addLearned(const Fields& f, Bridging::VlanId vlan, const Velnet::EthAddr& address,
                   const std::string& intf, Bridging::FdbEntryType type) {
      checkHostPlace(f, "learned MAC", address.stringValue(), vlan, intf);
      if (const auto why = notActiveMember(intf, vlan)) {
         fail(f.line, "learned MAC " + address.stringValue() + " cannot be on " + intf + ": " +
                          intf + " is not an active member of VLAN " +
                          std::to_string(vlan.value()) + " (" + *why + ")");
      }
      recordHost(f.line, "learned MAC", vlan, address, false);
      topology_.learnedHosts.push_back(LearnedHostSpec{vlan, address, Velnet::IntfId(intf), type});
   }

   Topology topology_;
   std::map<std::string, PortRecord> ports_;
   std::map<std::uint32_t, std::string> portIds_;
   std::map<std::int32_t, std::string> ifIndexes_;
   std::map<std::uint16_t, VlanRecord> vlans_;
   std::map<std::string, SwitchportRecord> switchports_;
   std::map<HostKey, HostRecord> hosts_;
};

}  // namespace

Topology parseTopology(const std::string& text, const std::string& name) {
   Topology topology = Parser(name).parse(text);
   topology.name = name;
   return topology;
}

Topology loadTopology(const std::string& path) {
   std::FILE* file = std::fopen(path.c_str(), "rb");
   if (file == nullptr) {
      const int error = errno;
      throw TopologyError(oneLine(path + ": cannot read: " + std::strerror(error)));
   }
   std::string text;
   char buffer[65536];
   while (true) {
      const std::size_t n = std::fread(buffer, 1, sizeof buffer, file);
      text.append(buffer, n);
      if (n < sizeof buffer) {
         break;
      }
   }
   const int error = std::ferror(file) ? errno : 0;
   std::fclose(file);
   if (error != 0) {
      throw TopologyError(oneLine(path + ": cannot read: " + std::strerror(error)));
   }
   return parseTopology(text, path);
}

}  // namespace Sim
