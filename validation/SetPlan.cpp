#include "validation/SetPlan.h"

#include <algorithm>

#include "validation/SetTrace.h"

namespace BridgeSnmp {
namespace {

// What the request asks of one port through dot1qPortVlanTable, and where each binding
// stands in its column's list.
struct PortAsk {
   std::optional<Bridging::VlanIdOrNone> pvid;
   std::size_t pvidAt = 0;
   std::optional<FrameAdmits> aft;
   std::size_t aftAt = 0;
};

QBridgeMib* mibOf(const SetBindings& b) {
   if (!b.pvid.empty()) {
      return b.pvid.front().first->parent();
   }
   if (!b.aft.empty()) {
      return b.aft.front().first->parent();
   }
   if (!b.egress.empty()) {
      return b.egress.front().first->parent();
   }
   return b.untagged.empty() ? nullptr : b.untagged.front().first->parent();
}

// The column of a request's first binding, in column order.
BindingColumn firstColumn(const SetBindings& b) {
   return !b.pvid.empty()     ? BindingColumn::pvid
          : !b.aft.empty()    ? BindingColumn::aft
          : !b.egress.empty() ? BindingColumn::egress
                              : BindingColumn::untagged;
}

bool refused(BindingFault* out, BindingColumn column, std::size_t position) {
   if (out) {
      *out = {column, position};
   }
   return false;
}

bool sameSwitchport(const Switchport& a, const Switchport& b) {
   return a.mode == b.mode && a.access == b.access && a.native == b.native &&
          a.carried == b.carried;
}

class Planner {
 public:
   Planner(const SetBindings& bindings, QBridgeMib& mib) : bindings_(bindings), mib_(mib) {
      for (std::size_t i = 0; i < bindings.pvid.size(); ++i) {
         PortAsk& ask = asks_[bindings.pvid[i].first.get()];
         ask.pvid = bindings.pvid[i].second;
         ask.pvidAt = i;
      }
      for (std::size_t i = 0; i < bindings.aft.size(); ++i) {
         PortAsk& ask = asks_[bindings.aft[i].first.get()];
         ask.aft = bindings.aft[i].second;
         ask.aftAt = i;
      }
   }

   const PortAsk* askOf(const Dot1dBasePortEntry& row) const {
      const auto found = asks_.find(&row);
      return found == asks_.end() ? nullptr : &found->second;
   }

   // The switchport the request leaves the port with.
   Switchport after(const Dot1dBasePortEntry& row, const Switchport& start) const {
      Switchport port = start;
      if (!start.configured) {
         return port;
      }
      static const PortAsk nothing;
      const PortAsk& ask = askOf(row) ? *askOf(row) : nothing;
      const unsigned number = row.port().value();
      bool membershipChanges = false;
      for (const auto& [vlan, set] : bindings_.egress) {
         membershipChanges |= set->portId(number) != start.carries(vlan->index());
      }
      const bool toTrunk =
          start.trunk() || membershipChanges || ask.aft == FrameAdmits(admitOnlyVlanTagged);
      if (!toTrunk) {
         if (ask.pvid) {
            port.access = ask.pvid->vlanId();
            port.native = *ask.pvid;
            port.carried.doClear();
            port.carried.doAdd(port.access);
         }
         return port;
      }
      port.mode = Bridging::SwitchportMode::trunk;
      if (!start.trunk() && ask.pvid && *ask.pvid != start.native) {
         // The port moves to the PVID's VLAN; the one it leaves stays only where an egress
         // binding of it names the port.
         if (!namedInEgressOf(start.access.value(), number)) {
            port.carried.doRemove(start.access);
         }
         port.carried.doAdd(ask.pvid->vlanId());
      }
      if (ask.pvid) {
         port.native = *ask.pvid;
      } else if (ask.aft == FrameAdmits(admitOnlyVlanTagged)) {
         port.native = Bridging::VlanIdOrNone();
      } else if (ask.aft == FrameAdmits(admitAll) && port.native.isNone()) {
         port.native = Bridging::VlanIdOrNone(1);
         port.carried.doAdd(Bridging::VlanId(1));
      }
      for (const auto& [vlan, set] : bindings_.egress) {
         const Bridging::VlanId v(vlan->index());
         if (set->portId(number)) {
            port.carried.doAdd(v);
         } else {
            port.carried.doRemove(v);
         }
      }
      return port;
   }

   // A trunk's new native VLAN must exist and be one the trunk carries; an access port's new
   // VLAN that does not exist yet is created.
   bool nativeHolds(const Dot1dBasePortEntry& row, const Switchport& start, const Switchport& port,
                    std::vector<Bridging::VlanId>& created, BindingFault* fault) const {
      const PortAsk* ask = askOf(row);
      if (!ask || !port.configured || port.native == start.native || port.native.isNone()) {
         return true;
      }
      const BindingColumn column = ask->pvid ? BindingColumn::pvid : BindingColumn::aft;
      const std::size_t at = ask->pvid ? ask->pvidAt : ask->aftAt;
      const Bridging::VlanId native = port.native.vlanId();
      if (!mib_.inputConfig()->vlanConfig(native)) {
         if (!port.trunk()) {
            if (std::find(created.begin(), created.end(), native) == created.end()) {
               created.push_back(native);
            }
            return true;
         }
         SET_TRACE(3, "VLAN " << native << " does not exist, so it cannot be the native vlan of "
                              << row.intf() << " as a trunk");
         return refused(fault, column, at);
      }
      if (port.trunk() && !port.carried.contains(native)) {
         SET_TRACE(3, "The native vlan " << native << " of " << row.intf()
                                         << " is not one of the vlans the trunk carries ("
                                         << port.carried.multiRangeString() << ")");
         return refused(fault, column, at);
      }
      return true;
   }

 private:
   bool namedInEgressOf(std::uint32_t vlan, unsigned port) const {
      return std::any_of(bindings_.egress.begin(), bindings_.egress.end(), [&](const auto& b) {
         return b.first->index() == vlan && b.second->portId(port);
      });
   }

   const SetBindings& bindings_;
   QBridgeMib& mib_;
   std::map<const Dot1dBasePortEntry*, PortAsk> asks_;
};

// Every untagged binding must read back as written: exactly its ports have its VLAN as
// their untagged VLAN once the request is applied.
bool untaggedReadsBack(const SetBindings& bindings, const QBridgeMib& mib,
                       const std::map<const Dot1dBasePortEntry*, Switchport>& after,
                       BindingFault* fault) {
   for (std::size_t i = 0; i < bindings.untagged.size(); ++i) {
      const std::uint32_t u = bindings.untagged[i].first->index();
      for (auto it = mib.dot1dBasePortTableIteratorConst(); it; ++it) {
         const Switchport& port = after.at((*it).get());
         const bool untagged = port.configured && port.native.value() == u && port.carries(u);
         if (bindings.untagged[i].second->portId(it.key().value()) != untagged) {
            SET_TRACE(3, "dot1qVlanStaticUntaggedPorts." << u
                                                         << " cannot be applied: " << (*it)->intf()
                                                         << (untagged ? " stays" : " would not be")
                                                         << " an untagged member of vlan " << u);
            return refused(fault, BindingColumn::untagged, i);
         }
      }
   }
   return true;
}

// The input switchport of the interface; made when absent, from what the switch applies.
Bridging::Input::SwitchIntfConfig::Ptr inputSwitchport(const QBridgeMib& mib,
                                                       const Velnet::IntfId& intf) {
   const auto input = mib.inputConfig();
   if (auto existing = input->switchIntfConfig(intf)) {
      return existing;
   }
   const Switchport applied = startingSwitchport(mib, intf);
   auto created = input->switchIntfConfigIs(intf);
   created->switchportModeIs(applied.mode);
   created->accessVlanIs(applied.access);
   created->trunkNativeVlanIs(applied.native);
   created->trunkAllowedVlansIs(applied.carried.multiRangeString());
   return created;
}

}  // namespace

std::optional<SetPlan> SetPlan::make(const SetBindings& bindings, BindingFault* fault) {
   SetPlan plan;
   plan.mib_ = mibOf(bindings);
   if (!plan.mib_) {
      return plan;
   }
   const QBridgeMib& mib = *plan.mib_;
   const Planner planner(bindings, *plan.mib_);
   std::map<const Dot1dBasePortEntry*, Switchport> after;
   for (auto it = mib.dot1dBasePortTableIteratorConst(); it; ++it) {
      const Dot1dBasePortEntry& row = **it;
      const Switchport start = startingSwitchport(mib, row.intf());
      const Switchport port = planner.after(row, start);
      if (!planner.nativeHolds(row, start, port, plan.created_, fault)) {
         return std::nullopt;
      }
      const bool changed = !sameSwitchport(start, port);
      plan.changes_ = plan.changes_ || changed;
      if (planner.askOf(row) || changed) {
         plan.ports_.push_back({*it, port});
      }
      after.emplace(&row, port);
   }
   if (!untaggedReadsBack(bindings, mib, after, fault)) {
      return std::nullopt;
   }
   const Kel::String8& refusal = mib.config()->vlanChangeRefusal();
   if (!refusal.empty() && plan.changes()) {
      SET_TRACE(3, "VLAN changes cannot be applied now: " << refusal);
      refused(fault, firstColumn(bindings), 0);
      return std::nullopt;
   }
   return plan;
}

bool SetPlan::changes() const {
   return changes_ || !created_.empty();
}

SetPlan::Outcome SetPlan::apply() const {
   if (!mib_) {
      return {};
   }
   const auto input = mib_->inputConfig();
   for (const Bridging::VlanId vlan : created_) {
      SET_TRACE(1, "Creating vlan " << vlan << " for a dot1qPvid");
      input->doCreateVlan(vlan);
   }
   for (const PortChange& change : ports_) {
      const Velnet::IntfId& intf = change.row->intf();
      const Switchport& port = change.after;
      const auto sic = inputSwitchport(*mib_, intf);
      // The lists first and the mode last: an access port turns into the finished trunk.
      if (port.trunk()) {
         const std::string allowed = port.carried.multiRangeString();
         if (sic->trunkAllowedVlans().view() != allowed) {
            sic->trunkAllowedVlansIs(allowed);
         }
         if (sic->trunkNativeVlan() != port.native) {
            sic->trunkNativeVlanIs(port.native);
         }
      } else if (sic->accessVlan() != port.access) {
         sic->accessVlanIs(port.access);
      }
      if (sic->switchportMode() != port.mode) {
         SET_TRACE(1, "Converting " << intf << " from access to trunk, allowing "
                                    << port.carried.multiRangeString() << ", native vlan "
                                    << port.native);
         sic->switchportModeIs(port.mode);
      }
      if (const auto row = mib_->dot1dBasePortTable(change.row->port())) {
         // As the switch will serve it: a port without a native VLAN admits tagged frames
         // only and shows PVID 1.
         const bool tagged = port.native.isNone();
         row->dot1qPvidLocalIs(tagged ? Bridging::VlanIdOrNone(1) : port.native);
         row->admitFrameLocalIs(tagged ? FrameAdmits(admitOnlyVlanTagged) : FrameAdmits(admitAll));
      }
   }
   if (!changes()) {
      return {};
   }
   const std::uint32_t request = input->commitRequest() + 1;
   input->commitRequestIs(request);
   const auto& config = *mib_->config();
   if (config.inputCommitted() != request || config.inputCommitFailure().empty()) {
      return {};  // applied, or applied by the platform on its own (which cannot fail)
   }
   return {config.inputCommitFailure().stdString(), config.inputCommitUndone()};
}

}  // namespace BridgeSnmp
