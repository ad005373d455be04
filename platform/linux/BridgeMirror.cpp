#include "platform/linux/BridgeMirror.h"

#include <algorithm>
#include <map>
#include <type_traits>
#include <vector>

#include "platform/kel/Time.h"
#include "platform/kel/Trace.h"
#include "platform/linux/PortVlans.h"
#include "platform/linux/StpPublisher.h"

namespace Linux {
namespace {

Kel::TraceHandle linuxTrace("LinuxBridge");

}  // namespace

BridgeMirror::BridgeMirror(Bridging::PlatformEntities& entities, std::string bridgeName)
    : e_(entities), bridge_(std::move(bridgeName)) {}

BridgeChange BridgeMirror::apply(const RtnlEvent& event) {
   BridgeChange change;
   if (const auto* link = std::get_if<LinkEvent>(&event)) {
      change = bridge_.apply(*link);
   } else if (const auto* neigh = std::get_if<NeighEvent>(&event)) {
      change = bridge_.apply(*neigh);
   }
   for (const auto& key : change.withdrawn) {
      withdrawHost(key);
   }
   for (const auto& key : change.hosts) {
      publishHost(key);
   }
   if (change.bridge) {
      publishBridge();
      publishPorts();
      publishVlans();
      publishStp(bridge_, *e_.stpStatus);
   }
   if (change.vanished) {
      KEL_TRACE(linuxTrace, 0,
                "bridge " << bridge_.name() << " is gone; its tables stay empty until it returns");
   }
   if (change.appeared) {
      KEL_TRACE(linuxTrace, 1,
                "bridge " << bridge_.name() << " is here (ifindex " << bridge_.ifindex() << ")");
   }
   return change;
}

void BridgeMirror::resyncTo(KernelBridge fresh) {
   KernelBridge old = std::exchange(bridge_, std::move(fresh));
   if (old.vlanFiltering() != bridge_.vlanFiltering()) {
      // Other entries are live now: every old row goes at once, every new one is published.
      for (const auto& [key, host] : old.servedHosts()) {
         withdrawHost(*old.servedKey(key));
      }
      old = KernelBridge(bridge_.name());
   }
   publishBridge();
   publishPorts();
   publishVlans();
   publishStp(bridge_, *e_.stpStatus);
   KEL_TRACE(linuxTrace, 1,
             "resynchronised bridge " << bridge_.name() << ": " << bridge_.ports().size()
                                      << " ports, " << bridge_.hosts().size() << " entries");
   replaced_.push_back(Replaced{old.releaseHosts(), old.vlanFiltering(), std::nullopt});
}

std::size_t BridgeMirror::publishDifferences(const std::function<bool()>& more) {
   std::size_t published = 0;
   while (!replaced_.empty()) {
      Replaced& replaced = replaced_.front();
      auto& old = replaced.entries;
      // Both sides are ordered by row: one merge pass finds every row that differs. The model
      // may have changed since the last slice, so its place is found again by row.
      const auto after =
          replaced.compared ? bridge_.servedHostsAfter(*replaced.compared) : bridge_.servedHosts();
      auto a = old.begin();
      auto b = after.begin();
      while (a != old.end() || b != after.end()) {
         if (!more()) {
            return published;
         }
         const auto rowA = a == old.end()
                               ? std::nullopt
                               : KernelBridge::servedKey(a->first, replaced.vlanFiltering);
         if (a != old.end() && !rowA) {
            a = old.erase(a);  // an entry the replaced model did not serve
            continue;
         }
         const auto rowB = b == after.end() ? std::nullopt : bridge_.servedKey(b->first);
         Bridging::HostKey row;
         bool differs = true;
         if (!rowB || (rowA && *rowA < *rowB)) {
            row = *rowA;
            a = old.erase(a);
         } else if (!rowA || *rowB < *rowA) {
            row = *rowB;
            ++b;
         } else {
            row = *rowB;
            differs = !(a->second == b->second);
            a = old.erase(a);
            ++b;
         }
         replaced.compared = row;
         if (differs) {
            publishHost(row);
            ++published;
         }
      }
      replaced_.pop_front();
   }
   return published;
}

void BridgeMirror::refreshStp(const LinkEvent& bridgeLink) {
   if (!bridge_.exists() || bridgeLink.ifindex != bridge_.ifindex() || !bridgeLink.bridgeStp) {
      return;
   }
   bridge_.stpIs(*bridgeLink.bridgeStp);
   publishStp(bridge_, *e_.stpStatus);
}

void BridgeMirror::publishBridge() {
   e_.config->bridgeMacAddrIs(bridge_.exists() ? bridge_.address() : Velnet::EthAddr());
   e_.config->hostAgingTimeIs(bridge_.ageingCentis() / 100.0);
   // The VLAN writer applies nothing to a bridge that does not filter VLANs: a SET learns
   // it before it is answered.
   e_.config->vlanChangeRefusalIs(!bridge_.exists() ? "bridge " + bridge_.name() + " does not exist"
                                  : bridge_.vlanFiltering()
                                      ? std::string()
                                      : "bridge " + bridge_.name() +
                                            " has no VLAN filtering (vlan_filtering 0)");
}

void BridgeMirror::publishPorts() {
   std::map<std::string, int> byName;
   for (const auto& [ifindex, port] : bridge_.ports()) {
      byName[port.name] = ifindex;
   }
   std::vector<Velnet::IntfId> gone;
   for (auto it = e_.intfStatusDir->intfStatusIteratorConst(); it; ++it) {
      if (!byName.count(it.key().stringValue().stdString())) {
         gone.push_back(it.key());
      }
   }
   for (const auto& name : gone) {
      KEL_TRACE(linuxTrace, 1, "port " << name << " left bridge " << bridge_.name());
      e_.intfStatusDir->intfStatusDel(name);
      e_.config->switchIntfConfigDel(name);
      e_.input->switchIntfConfigDel(name);
   }
   for (const auto& entry : byName) {
      // Named, not bound: the trace below captures them.
      const std::string& name = entry.first;
      const auto ifindex = entry.second;
      const KernelPort& port = *bridge_.port(ifindex);
      const auto oper = port.running ? Interface::OperStatus::up : Interface::OperStatus::down;
      if (auto status = e_.intfStatusDir->intfStatus(Velnet::IntfId(name))) {
         status->ifIndexIs(ifindex);
         status->portIdIs(Interface::EthPortId(port.portNo));
         status->operStatusIs(oper);
         continue;
      }
      KEL_TRACE(linuxTrace, 1,
                "port " << name << " (ifindex " << ifindex << ", port " << port.portNo
                        << ") joined bridge " << bridge_.name());
      // Published complete, so that observers see the port with its number at once.
      auto status = Kel::make<Interface::EthIntfStatus>(Velnet::IntfId(name));
      status->ifIndexIs(ifindex);
      status->portIdIs(Interface::EthPortId(port.portNo));
      status->operStatusIs(oper);
      e_.intfStatusDir->intfStatusIs(Velnet::IntfId(name), status);
   }
}

void BridgeMirror::publishVlans() {
   // Each VLAN's members (untagged or not) and each port's switchport, from the kernel.
   std::map<Bridging::VlanId, std::map<Velnet::IntfId, bool>> members;
   std::map<Velnet::IntfId, std::pair<Switchport, bool>> switchports;  // and its link
   if (bridge_.exists() && !bridge_.vlanFiltering()) {
      members[Bridging::VlanId(1)];  // the bridge is VLAN 1, with or without ports
   }
   for (const auto& [ifindex, port] : bridge_.ports()) {
      const Velnet::IntfId name(port.name);
      auto sp = switchportOf(port.vlans, bridge_.vlanFiltering());
      for (const PortVlan& v : sp.vlans) {
         members[Bridging::VlanId(v.vid)][name] = v.untagged;
      }
      switchports[name] = {std::move(sp), port.running};
   }

   std::vector<Bridging::VlanId> goneVlans;
   for (auto it = e_.config->vlanConfigIteratorConst(); it; ++it) {
      if (!members.count(it.key())) {
         goneVlans.push_back(it.key());
      }
   }
   for (const auto vlan : goneVlans) {
      e_.vlanStatusDir->vlanStatusDel(vlan);
      e_.config->vlanConfigDel(vlan);
   }
   std::vector<Bridging::Fid> idleFids;
   for (auto it = e_.status->fdbStatusIteratorConst(); it; ++it) {
      const bool isVlan = it.key().value() >= Bridging::VlanId::min &&
                          it.key().value() <= Bridging::VlanId::max &&
                          members.count(Bridging::VlanId(it.key().value()));
      if (!isVlan && !bridge_.servesFid(it.key())) {
         idleFids.push_back(it.key());
      }
   }
   for (const auto fid : idleFids) {
      e_.status->fdbStatusDel(fid);
   }

   for (const auto& [vlan, ports] : members) {
      const auto config = e_.config->vlanConfigIs(vlan);
      const auto status = e_.vlanStatusDir->vlanStatusIs(vlan);
      std::vector<Velnet::IntfId> stale;
      for (auto m = config->intfIteratorConst(); m; ++m) {
         if (!ports.count(m.key())) {
            stale.push_back(m.key());
         }
      }
      for (auto p = status->vlanPortStatusIteratorConst(); p; ++p) {
         const auto port = ports.find(p.key());
         if (port == ports.end() || !switchports[p.key()].second) {
            stale.push_back(p.key());
         }
      }
      for (const auto& intf : stale) {
         config->intfDel(intf);
         status->vlanPortStatusDel(intf);
      }
      for (const auto& [intf, untagged] : ports) {
         config->intfIs(intf, Bridging::VlanMember{!untagged});
         if (switchports[intf].second) {
            status->vlanPortStatusIs(intf, Bridging::VlanPortStatus{untagged});
         }
      }
      e_.status->fdbStatusIs(Bridging::Fid(vlan.value()));
   }

   std::vector<Velnet::IntfId> goneSwitchports;
   for (auto it = e_.config->switchIntfConfigIteratorConst(); it; ++it) {
      if (!switchports.count(it.key())) {
         goneSwitchports.push_back(it.key());
      }
   }
   for (const auto& intf : goneSwitchports) {
      e_.config->switchIntfConfigDel(intf);
   }
   for (const auto& [intf, sp] : switchports) {
      const auto config = e_.config->switchIntfConfigIs(intf);
      config->switchportModeIs(sp.first.mode);
      config->nativeVlanIs(sp.first.nativeVlan);
   }

   std::set<Bridging::VlanId> vlans;
   for (const auto& [vlan, ports] : members) {
      vlans.insert(vlan);
   }
   mirrorInputVlans(vlans);
   for (const auto& [intf, sp] : switchports) {
      if (!inputHeld_.count(intf.stringValue().stdString())) {
         mirrorInput(intf.stringValue().stdString());
      }
   }
}

void BridgeMirror::republishSwitchports(const std::set<std::string>& ports) {
   for (const auto& port : ports) {
      e_.config->switchIntfConfigDel(Velnet::IntfId(port));
   }
   publishVlans();
}

void BridgeMirror::mirrorInputVlans(const std::set<Bridging::VlanId>& vlans) {
   const auto restore = std::exchange(writingInput_, true);
   // A VLAN exists on a Linux bridge only where a port has it: one the input holds beyond
   // those (made by a change the kernel refused) goes.
   std::vector<Bridging::VlanId> gone;
   for (auto it = e_.input->vlanConfigIteratorConst(); it; ++it) {
      if (!vlans.count(it.key())) {
         gone.push_back(it.key());
      }
   }
   for (const auto vlan : gone) {
      e_.input->vlanConfigDel(vlan);
   }
   for (const auto vlan : vlans) {
      e_.input->doCreateVlan(vlan);
   }
   writingInput_ = restore;
}

void BridgeMirror::mirrorInput(const std::string& name) {
   const auto restore = std::exchange(writingInput_, true);
   for (const auto& [ifindex, port] : bridge_.ports()) {
      if (port.name != name) {
         continue;
      }
      const auto sp = switchportOf(port.vlans, bridge_.vlanFiltering());
      const auto input = e_.input->switchIntfConfigIs(Velnet::IntfId(name));
      input->switchportModeIs(sp.mode);
      if (sp.mode == Bridging::SwitchportMode::access) {
         input->accessVlanIs(sp.nativeVlan.vlanId());
      } else {
         input->trunkNativeVlanIs(sp.nativeVlan);
         input->trunkAllowedVlansIs(Kel::String8(sp.allowed.multiRangeString()));
      }
      break;
   }
   writingInput_ = restore;
}

void BridgeMirror::withdrawHost(const Bridging::HostKey& key) {
   dropConfigured(key);
   dropLearned(key);
}

void BridgeMirror::dropConfigured(const Bridging::HostKey& key) {
   if (const auto fdb = e_.config->fdbConfig(key.fid())) {
      fdb->configuredHostDel(key.address());
      if (fdb->configuredHosts() == 0) {
         e_.config->fdbConfigDel(key.fid());
      }
   }
}

void BridgeMirror::dropLearned(const Bridging::HostKey& key) {
   if (const auto fdb = e_.status->fdbStatus(key.fid())) {
      fdb->learnedHostDel(key.address());
   }
}

void BridgeMirror::publishHost(const Bridging::HostKey& key) {
   const KernelHost* host = bridge_.servedHost(key);
   const KernelPort* port = host ? bridge_.port(host->ifindex) : nullptr;
   const Bridging::Fid fid = key.fid();
   const auto& address = key.address();
   if (!port || !host->configured) {
      dropConfigured(key);
   }
   if (!port || host->configured) {
      dropLearned(key);
   }
   if (!port) {
      return;
   }
   const Velnet::IntfId intf(port->name);
   if (host->configured) {
      e_.config->fdbConfigIs(fid)->configuredHostIs(address, Bridging::ConfiguredHost{intf});
      return;
   }
   const auto fdb = e_.status->fdbStatusIs(fid);
   Bridging::LearnedHost record;
   if (const Bridging::LearnedHost* known = fdb->learnedHostRecord(address)) {
      record = *known;
      // Seen behind another port is a move; its own port renamed is not.
      const auto& ports = bridge_.ports();
      const bool stillAPort = std::any_of(ports.begin(), ports.end(), [&](const auto& p) {
         return p.second.name == known->intf.stringValue().view();
      });
      if (known->intf != intf && stillAPort) {
         ++record.moves;
         record.lastMoveTime = Kel::now();
      }
   }
   record.intf = intf;
   record.entryType = Bridging::FdbEntryType::learnedDynamic;
   fdb->learnedHostIs(address, record);
}

}  // namespace Linux
