#include "validation/CrossValidation.h"

#include <algorithm>
#include <map>
#include <optional>

#include "platform/kel/Assert.h"
#include "platform/kel/Exception.h"
#include "validation/PortValidation.h"
#include "validation/SetTrace.h"
#include "validation/Switchport.h"

namespace BridgeSnmp {
namespace {

// What the request asks of one port, gathered from its bindings, with where each binding
// stands in its column's list.
struct PortRequest {
   std::optional<Bridging::VlanIdOrNone> pvid;
   std::size_t pvidAt = 0;
   bool admitAll = false;
   bool admitOnlyTagged = false;
   std::size_t aftAt = 0;
   // VLANs whose untagged binding names the port, and that binding's place.
   std::map<std::uint32_t, std::size_t> untaggedIn;
};

// The facts of the request and the switch that the rules read.
class Request {
 public:
   Request(const PvidBindings& pvid, const AftBindings& aft, const PortSetBindings& egress,
           const PortSetBindings& untagged)
       : egress_(egress), untagged_(untagged) {
      for (std::size_t i = 0; i < pvid.size(); ++i) {
         PortRequest& port = at(pvid[i].first.get());
         port.pvid = pvid[i].second;
         port.pvidAt = i;
      }
      for (std::size_t i = 0; i < aft.size(); ++i) {
         PortRequest& port = at(aft[i].first.get());
         (aft[i].second == admitAll ? port.admitAll : port.admitOnlyTagged) = true;
         port.aftAt = i;
      }
      mib_ = mibOf(pvid, aft, egress, untagged);
      if (!mib_) {
         return;
      }
      for (std::size_t i = 0; i < untagged.size(); ++i) {
         for (auto it = mib_->dot1dBasePortTableIteratorConst(); it; ++it) {
            if (untagged[i].second->portId(it.key().value())) {
               at((*it).get()).untaggedIn.emplace(untagged[i].first->index(), i);
            }
         }
      }
   }

   QBridgeMib* mib() const { return mib_; }
   const PortSetBindings& egress() const { return egress_; }
   const PortSetBindings& untagged() const { return untagged_; }

   const PortRequest& of(const Dot1dBasePortEntry& row) const {
      static const PortRequest none;
      const auto found = ports_.find(&row);
      return found == ports_.end() ? none : found->second;
   }

   // The port's switchport as the switch is asked to run it now (the input configuration,
   // else the applied one): the start every rule compares the request with.
   const Switchport& existing(const Dot1dBasePortEntry& row) const {
      auto found = existing_.find(&row);
      if (found == existing_.end()) {
         found = existing_.emplace(&row, startingSwitchport(*mib_, row.intf())).first;
      }
      return found->second;
   }
   // Its untagged VLAN: the access VLAN of an access port, the native VLAN of a trunk.
   Bridging::VlanIdOrNone existingNative(const Dot1dBasePortEntry& row) const {
      return existing(row).native;
   }
   bool inputIsTrunk(const Dot1dBasePortEntry& row) const { return existing(row).trunk(); }
   bool carries(const Dot1dBasePortEntry& row, std::uint32_t vlan) const {
      return existing(row).carries(vlan);
   }

 private:
   static const Dot1dBasePortEntry* checked(const Dot1dBasePortEntry* row) {
      if (!row) {
         throw Kel::Exception("null ValidPtr", Kel::ExceptionId::nullPointer);
      }
      return row;
   }
   PortRequest& at(const Dot1dBasePortEntry* row) { return ports_[checked(row)]; }

   static QBridgeMib* mibOf(const PvidBindings& pvid, const AftBindings& aft,
                            const PortSetBindings& egress, const PortSetBindings& untagged) {
      if (!pvid.empty()) {
         return pvid.front().first->parent();
      }
      if (!aft.empty()) {
         return aft.front().first->parent();
      }
      if (!egress.empty()) {
         return egress.front().first->parent();
      }
      return untagged.empty() ? nullptr : untagged.front().first->parent();
   }

   const PortSetBindings& egress_;
   const PortSetBindings& untagged_;
   QBridgeMib* mib_ = nullptr;
   std::map<const Dot1dBasePortEntry*, PortRequest> ports_;
   mutable std::map<const Dot1dBasePortEntry*, Switchport> existing_;
};

// Where a failing rule names the binding at fault; a no-op without a place to write it.
class Fault {
 public:
   explicit Fault(BindingFault* out) : out_(out) {}
   bool at(BindingColumn column, std::size_t position) const {
      if (out_) {
         *out_ = {column, position};
      }
      return false;
   }

 private:
   BindingFault* out_;
};

// Runs `rule` over every port row in ascending order; false at the first port it refuses.
template <class Rule>
bool everyPort(const Request& request, Rule&& rule) {
   for (auto it = request.mib()->dot1dBasePortTableIteratorConst(); it; ++it) {
      if (!rule(**it)) {
         return false;
      }
   }
   return true;
}

bool pvidWithTaggedOnly(const Request& request, const Fault& fault) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const PortRequest& port = request.of(row);
      if (port.pvid && port.admitOnlyTagged) {
         SET_TRACE(3,
                   "dot1qPvid and dot1qPortAcceptableFrameTypes cross validation fails due to "
                   "tagging the native vlan and setting untagged vlan at the same time "
                   "( dot1qPvid."
                       << *port.pvid << " on " << row.intf() << " )");
         return fault.at(BindingColumn::aft, port.aftAt);
      }
      return true;
   });
}

// Rules for each egress binding: a port keeps the native VLAN it is given or has.
bool egressKeepsNativeVlans(const Request& request, const Fault& fault) {
   for (std::size_t i = 0; i < request.egress().size(); ++i) {
      const std::uint32_t v = request.egress()[i].first->index();
      const EthPortIdSet& set = *request.egress()[i].second;
      const bool kept = everyPort(request, [&](const Dot1dBasePortEntry& row) {
         if (set.portId(row.port().value())) {
            return true;
         }
         const PortRequest& port = request.of(row);
         if (port.pvid && port.pvid->value() == v) {
            SET_TRACE(3,
                      "dot1qPvid and dot1qVlanStaticEgressPorts cross validation fails due to "
                      "removing the new native vlan (dot1qVlanStaticEgressPorts."
                          << v << ") from " << row.intf());
            return fault.at(BindingColumn::egress, i);
         }
         if (!port.pvid && request.existingNative(row).value() == v) {
            SET_TRACE(3,
                      "dot1qPvid and dot1qVlanStaticEgressPorts cross validation fails due to "
                      "removing the existing native vlan (dot1qVlanStaticEgressPorts."
                          << v << ") from " << row.intf());
            return fault.at(BindingColumn::egress, i);
         }
         return true;
      });
      if (!kept) {
         return false;
      }
   }
   return true;
}

bool oneUntaggedVlanPerPort(const Request& request, const Fault& fault) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const auto& untaggedIn = request.of(row).untaggedIn;
      if (untaggedIn.size() > 1) {
         SET_TRACE(
             3, "VLAN cross validation fails due to multiple untagged interfaces " << row.intf());
         std::size_t last = 0;
         for (const auto& [vlan, at] : untaggedIn) {
            last = std::max(last, at);
         }
         return fault.at(BindingColumn::untagged, last);
      }
      return true;
   });
}

// Every egress binding passed its own check in RESERVE1; records per interface whether the
// binding changes the port's membership.
void recordSetActions(const Request& request) {
   QBridgeMib& mib = *request.mib();
   for (const auto& binding : request.egress()) {
      const auto& vlanStaticEntry = binding.first;
      const auto& portIdSet = binding.second;
      if (!validateDot1qVlanStaticPorts(vlanStaticEntry, portIdSet)) {
         Kel::assertionFailed("validateDot1qVlanStaticPorts( vlanStaticEntry, portIdSet )",
                              __FILE__, __LINE__, __func__);
      }
      const std::uint32_t v = vlanStaticEntry->index();
      everyPort(request, [&, &ports = *portIdSet](const Dot1dBasePortEntry& row) {
         const Kel::String8& name = row.intf().stringValue();
         const bool changes = ports.portId(row.port().value()) != request.carries(row, v);
         if (changes) {
            mib.sepActionIs(name, takeAction);
         } else if (mib.sepAction(name) != takeAction) {
            mib.sepActionIs(name, noOp);
         }
         return true;
      });
   }
}

bool untaggedMatchesNewPvid(const Request& request, const Fault& fault) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const PortRequest& port = request.of(row);
      for (const auto& untagged : port.untaggedIn) {
         const std::uint32_t u = untagged.first;
         if (port.pvid && port.pvid->value() != u) {
            SET_TRACE(3, "The untagged interface "
                             << row.intf()
                             << " in dot1qVlanStaticUntaggedPorts does not have the right "
                                "dot1qPvid binding i.e. "
                             << *port.pvid << " but it should have been " << u);
            return fault.at(BindingColumn::untagged, untagged.second);
         }
      }
      return true;
   });
}

bool portKeepsAVlan(const Request& request, const Fault& fault) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const Switchport& existing = request.existing(row);
      if (!existing.configured) {
         return true;
      }
      SwixUtils::VlanIdSet after = existing.carried;
      std::optional<std::size_t> removedBy;
      for (std::size_t i = 0; i < request.egress().size(); ++i) {
         const Bridging::VlanId v(request.egress()[i].first->index());
         if (request.egress()[i].second->portId(row.port().value())) {
            after.doAdd(v);
         } else if (after.contains(v)) {
            after.doRemove(v);
            removedBy = i;
         }
      }
      if (removedBy && after.empty()) {
         SET_TRACE(3, "VLAN cross validation fails due to removing all Vlans from interface "
                          << row.intf());
         return fault.at(BindingColumn::egress, *removedBy);
      }
      return true;
   });
}

// The port's native VLAN once the request is applied: its PVID binding, else VLAN 1 where
// an admitAll binding gives a trunk without one its native VLAN, else the existing one.
Bridging::VlanIdOrNone nativeAfter(const Request& request, const Dot1dBasePortEntry& row) {
   const PortRequest& port = request.of(row);
   if (port.pvid) {
      return *port.pvid;
   }
   const Bridging::VlanIdOrNone existing = request.existingNative(row);
   return existing.isNone() && port.admitAll ? Bridging::VlanIdOrNone(1) : existing;
}

// A port that an untagged binding of its native VLAN leaves out is to tag that VLAN, which
// an admitAll binding contradicts.
bool noTaggedNativeWithAdmitAll(const Request& request, const Fault& fault) {
   for (std::size_t i = 0; i < request.untagged().size(); ++i) {
      const std::uint32_t u = request.untagged()[i].first->index();
      const EthPortIdSet& set = *request.untagged()[i].second;
      const bool fine = everyPort(request, [&](const Dot1dBasePortEntry& row) {
         if (!request.of(row).admitAll || set.portId(row.port().value()) ||
             nativeAfter(request, row).value() != u) {
            return true;
         }
         SET_TRACE(
             3, "Tagging the native vlan fails due to admitAll in the bindings for " << row.intf());
         return fault.at(BindingColumn::untagged, i);
      });
      if (!fine) {
         return false;
      }
   }
   return true;
}

// Records the acceptable frame types each interface keeps (admitAll wins), then refuses a
// port marked untagged that is to admit only tagged frames.
bool untaggedAdmitsUntagged(const Request& request, const AftBindings& aftBindings,
                            const Fault& fault) {
   QBridgeMib& mib = *request.mib();
   for (const auto& [row, admits] : aftBindings) {
      const Kel::String8& name = row->intf().stringValue();
      if (mib.aftAction(name) != admitAll) {
         mib.aftActionIs(name, admits);
      }
   }
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      if (!request.of(row).untaggedIn.empty() &&
          mib.aftAction(row.intf().stringValue()) == admitOnlyVlanTagged) {
         SET_TRACE(3,
                   "Cross validation for dot1qPortAcceptableFrameTypes and "
                   "dot1qVlanStaticUntaggedPorts fails because the port ("
                       << row.port()
                       << ") is marked as untagged in the bitstring and AFT value is "
                          "admitOnlyVlanTagged");
         return fault.at(BindingColumn::aft, request.of(row).aftAt);
      }
      return true;
   });
}

// A trunk without a native VLAN admits untagged frames only when the request gives it one.
bool untaggedTrunkHasNativeVlan(const Request& request, const Fault& fault) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const PortRequest& port = request.of(row);
      if (port.untaggedIn.empty() || !request.inputIsTrunk(row) || port.pvid || port.admitAll ||
          !request.existingNative(row).isNone()) {
         return true;
      }
      SET_TRACE(3,
                "There does not exist admitOnlyVlanTagged value although "
                "dot1qVlanStaticUntaggedPorts set to untagged for "
                    << row.intf());
      return fault.at(BindingColumn::untagged, port.untaggedIn.begin()->second);
   });
}

bool untaggedMatchesExistingNative(const Request& request, const Fault& fault) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const PortRequest& port = request.of(row);
      if (port.pvid) {
         return true;
      }
      const Bridging::VlanIdOrNone native = nativeAfter(request, row);
      for (const auto& untagged : port.untaggedIn) {
         const std::uint32_t u = untagged.first;
         if (native.value() != u) {
            SET_TRACE(3, "There does not exist a dot1qPvid binding for "
                             << row.intf()
                             << " and the untagged vlan in dot1qVlanUntaggedPorts bindings i.e. "
                             << u << " do not match with the existing native vlan " << native);
            return fault.at(BindingColumn::untagged, untagged.second);
         }
      }
      return true;
   });
}

}  // namespace

bool validateVlansAndPorts(const PvidBindings& pvidBindings, const AftBindings& aftBindings,
                           const PortSetBindings& egressBindings,
                           const PortSetBindings& untaggedBindings, BindingFault* faultOut) {
   SET_TRACE(2, "bool validateVlansAndPorts(...) "
                    << pvidBindings.size() << " dot1qPvid bindings, " << aftBindings.size()
                    << " dot1qPortAcceptableFrameTypes bindings, " << egressBindings.size()
                    << " dot1qVlanStaticEgressPorts bindings.");
   const Request request(pvidBindings, aftBindings, egressBindings, untaggedBindings);
   if (!request.mib()) {
      return true;  // nothing asked
   }
   const Fault fault(faultOut);
   if (!pvidWithTaggedOnly(request, fault) || !egressKeepsNativeVlans(request, fault) ||
       !oneUntaggedVlanPerPort(request, fault)) {
      return false;
   }
   recordSetActions(request);
   return untaggedMatchesNewPvid(request, fault) && portKeepsAVlan(request, fault) &&
          noTaggedNativeWithAdmitAll(request, fault) &&
          untaggedAdmitsUntagged(request, aftBindings, fault) &&
          untaggedTrunkHasNativeVlan(request, fault) &&
          untaggedMatchesExistingNative(request, fault);
}

}  // namespace BridgeSnmp
