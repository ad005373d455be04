// The switch's human-readable summaries, for the control socket's "show".

#include <algorithm>
#include <iomanip>
#include <map>
#include <optional>
#include <sstream>

#include "platform/sim/Switch.h"

namespace Sim {
namespace {

std::string yesNo(bool b) {
   return b ? "yes" : "no";
}

void showSummary(const Switch& sw, std::ostream& os) {
   const auto config = sw.entities().config;
   std::size_t staticHosts = 0;
   for (auto it = config->fdbConfigIteratorConst(); it; ++it) {
      staticHosts += (*it)->configuredHosts();
   }
   os << "bridge " << config->bridgeMacAddr() << ", aging " << config->hostAgingTime() << " s\n"
      << sw.ports().size() << " ports, " << config->vlanConfigs() << " VLANs, " << sw.learnedHosts()
      << " learned hosts, " << staticHosts << " static hosts\n";
}

void showPorts(const Switch& sw, std::ostream& os) {
   os << std::left << std::setw(14) << "port" << std::setw(8) << "portId" << std::setw(9)
      << "ifIndex"
      << "link\n";
   for (const PortSpec& p : sw.ports()) {
      os << std::setw(14) << p.name << std::setw(8) << p.portId << std::setw(9) << p.ifIndex
         << (p.linkUp ? "up" : "down") << (p.adminUp ? "" : ", shut down") << "\n";
   }
}

void showVlans(const Switch& sw, std::ostream& os) {
   // The name column fits the longest name, with two blanks after it.
   std::size_t nameWidth = 4;
   for (auto it = sw.entities().config->vlanConfigIteratorConst(); it; ++it) {
      nameWidth = std::max(nameWidth, (*it)->configuredName().size());
   }
   const int nameColumn = static_cast<int>(nameWidth) + 2;
   os << std::left << std::setw(6) << "vlan" << std::setw(nameColumn) << "name" << std::setw(11)
      << "state" << std::setw(10) << "internal" << std::setw(8) << "hidden"
      << "active ports\n";
   for (auto it = sw.entities().config->vlanConfigIteratorConst(); it; ++it) {
      const auto& v = *it;
      std::string active;
      if (const auto status = sw.entities().vlanStatusDir->vlanStatus(it.key())) {
         for (auto p = status->vlanPortStatusIteratorConst(); p; ++p) {
            active += (active.empty() ? "" : ",") + p.key().stringValue().stdString() +
                      (p.value().untagged ? "" : "(t)");
         }
      }
      os << std::setw(6) << it.key().value() << std::setw(nameColumn) << v->configuredName()
         << std::setw(11) << v->adminState() << std::setw(10) << yesNo(v->internal())
         << std::setw(8) << yesNo(v->hidden()) << (active.empty() ? "-" : active) << "\n";
   }
}

// A trunk's allowed VLANs as configured, "none" for an empty list; "-" for other modes.
std::string allowedText(const Bridging::Input::SwitchIntfConfig& s) {
   if (s.switchportMode() != Bridging::SwitchportMode::trunk) {
      return "-";
   }
   const std::string text = s.trunkAllowedVlans().stdString();
   return text.find_first_not_of(' ') == std::string::npos ? "none" : text;
}

std::string vlanText(Bridging::VlanIdOrNone vlan) {
   return vlan.isNone() ? "none" : std::to_string(vlan.value());
}

// The VLANs an interface is a member of as applied, "(t)" marking tagged ones; "-" for none.
std::string memberText(const Switch& sw, const Velnet::IntfId& intf) {
   std::string text;
   for (auto it = sw.entities().config->vlanConfigIteratorConst(); it; ++it) {
      if (const Bridging::VlanMember* member = (*it)->intfCollection().find(intf)) {
         text += (text.empty() ? "" : ",") + std::to_string(it.key().value()) +
                 (member->tagged ? "(t)" : "");
      }
   }
   return text.empty() ? "-" : text;
}

// Each switchport's input configuration (what an operator or a SET asked for) beside what
// the switch applied, so that a write the switch has not taken, or refused, shows.
void showSwitchports(const Switch& sw, std::ostream& os) {
   os << std::left << std::setw(14) << "port" << std::setw(14) << "mode" << std::setw(8) << "access"
      << std::setw(8) << "native" << std::setw(16) << "allowed" << std::setw(14) << "applied"
      << std::setw(8) << "native"
      << "vlans\n";
   for (auto it = sw.entities().input->switchIntfConfigIteratorConst(); it; ++it) {
      const auto& s = *it;
      const bool trunk = s->switchportMode() == Bridging::SwitchportMode::trunk;
      os << std::setw(14) << it.key() << std::setw(14) << s->switchportMode() << std::setw(8)
         << s->accessVlan() << std::setw(8) << (trunk ? vlanText(s->trunkNativeVlan()) : "-")
         << std::setw(15) << allowedText(*s) << ' ';
      if (const auto applied = sw.entities().config->switchIntfConfig(it.key())) {
         os << std::setw(14) << applied->switchportMode() << std::setw(8)
            << vlanText(applied->nativeVlan());
      } else {
         os << std::setw(14) << "-" << std::setw(8) << "-";
      }
      os << memberText(sw, it.key()) << "\n";
   }
}

void showFdb(const Switch& sw, std::ostream& os, std::optional<Bridging::Fid> only) {
   os << std::left << std::setw(6) << "vlan" << std::setw(19) << "address" << std::setw(14)
      << "port" << std::setw(18) << "type"
      << "moves\n";
   for (auto it = sw.entities().config->fdbConfigIteratorConst(); it; ++it) {
      if (only && it.key() != *only) {
         continue;
      }
      for (auto h = (*it)->configuredHostIteratorConst(); h; ++h) {
         os << std::setw(6) << it.key() << std::setw(19) << h.key() << std::setw(14)
            << h.value().intf << std::setw(18) << "static"
            << "-\n";
      }
   }
   for (auto it = sw.entities().status->fdbStatusIteratorConst(); it; ++it) {
      if (only && it.key() != *only) {
         continue;
      }
      // Hosts are hashed; list them in address order.
      std::map<Velnet::EthAddr, Bridging::LearnedHost> sorted;
      for (auto h = (*it)->learnedHostIteratorConst(); h; ++h) {
         sorted.emplace(h.key(), h.value());
      }
      for (const auto& [address, host] : sorted) {
         os << std::setw(6) << it.key() << std::setw(19) << address << std::setw(14) << host.intf
            << std::setw(18) << host.entryType << host.moves << "\n";
      }
   }
}

}  // namespace

std::string Switch::show(const std::string& what) const {
   std::ostringstream os;
   std::istringstream words(what);
   std::string topic;
   std::string argument;
   std::string extra;
   words >> topic >> argument >> extra;
   if (!extra.empty()) {
      throw CommandError("show takes at most one argument after '" + topic + "'");
   }
   if (topic.empty() || topic == "summary") {
      showSummary(*this, os);
   } else if (topic == "ports") {
      showPorts(*this, os);
   } else if (topic == "vlans") {
      showVlans(*this, os);
   } else if (topic == "switchports") {
      showSwitchports(*this, os);
   } else if (topic == "fdb") {
      std::optional<Bridging::Fid> only;
      if (!argument.empty()) {
         try {
            std::size_t used = 0;
            const unsigned long v = std::stoul(argument, &used);
            if (used != argument.size()) {
               throw std::invalid_argument(argument);
            }
            only = Bridging::Fid(
                Bridging::VlanId(static_cast<std::uint32_t>(std::min(v, 4095ul))).value());
         } catch (const std::exception&) {
            throw CommandError("'" + argument + "' is not a VLAN in 1-4094");
         }
      }
      showFdb(*this, os, only);
   } else {
      throw CommandError("cannot show '" + topic +
                         "'; try summary, ports, vlans, switchports or fdb [<vlan>]");
   }
   if (!argument.empty() && topic != "fdb") {
      throw CommandError("show " + topic + " takes no argument");
   }
   return os.str();
}

}  // namespace Sim
