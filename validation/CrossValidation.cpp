#include "validation/CrossValidation.h"

#include <map>
#include <optional>
#include <set>

#include "platform/kel/Assert.h"
#include "platform/kel/Exception.h"
#include "validation/PortValidation.h"
#include "validation/SetTrace.h"

namespace BridgeSnmp {
namespace {

// What the request asks of one port, gathered from its bindings.
struct PortRequest {
   std::optional<Bridging::VlanIdOrNone> pvid;
   bool admitAll = false;
   bool admitOnlyTagged = false;
   // VLANs whose untagged binding names the port.
   std::set<std::uint32_t> untaggedIn;
};

// The facts of the request and the switch that the rules read.
class Request {
 public:
   Request(const PvidBindings& pvid, const AftBindings& aft, const PortSetBindings& egress,
           const PortSetBindings& untagged)
       : egress_(egress), untagged_(untagged) {
      for (const auto& [row, id] : pvid) {
         at(row.get()).pvid = id;
      }
      for (const auto& [row, admits] : aft) {
         PortRequest& port = at(row.get());
         (admits == admitAll ? port.admitAll : port.admitOnlyTagged) = true;
      }
      mib_ = mibOf(pvid, aft, egress, untagged);
      if (!mib_) {
         return;
      }
      for (const auto& [vlan, set] : untagged) {
         for (auto it = mib_->dot1dBasePortTableIteratorConst(); it; ++it) {
            if (set->portId(it.key().value())) {
               at((*it).get()).untaggedIn.insert(vlan->index());
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

   // The port's untagged VLAN now, as the input configuration asks for it: the access VLAN
   // of an access port, the native VLAN of a trunk; the applied one where there is no input.
   Bridging::VlanIdOrNone existingNative(const Dot1dBasePortEntry& row) const {
      if (mib_->inputConfig()) {
         if (const auto sic = mib_->inputConfig()->switchIntfConfig(row.intf())) {
            switch (sic->switchportMode()) {
               case Bridging::SwitchportMode::access:
                  return Bridging::VlanIdOrNone(sic->accessVlan());
               case Bridging::SwitchportMode::trunk:
                  return sic->trunkNativeVlan();
               default:
                  return Bridging::VlanIdOrNone();
            }
         }
      }
      const auto applied = appliedSwitchport(row);
      return applied ? applied->nativeVlan() : Bridging::VlanIdOrNone();
   }

   bool inputIsTrunk(const Dot1dBasePortEntry& row) const {
      const auto sic =
          mib_->inputConfig() ? mib_->inputConfig()->switchIntfConfig(row.intf()) : nullptr;
      return sic && sic->switchportMode() == Bridging::SwitchportMode::trunk;
   }

   // Whether the port is a member of the VLAN in the applied configuration.
   bool carries(const Dot1dBasePortEntry& row, std::uint32_t vlan) const {
      if (vlan < Bridging::VlanId::min || vlan > Bridging::VlanId::max) {
         return false;
      }
      const auto config = mib_->config()->vlanConfig(Bridging::VlanId(vlan));
      return config && config->intfCollection().find(row.intf()) != nullptr;
   }

   // Every VLAN the port is a member of in the applied configuration.
   std::set<std::uint32_t> carried(const Dot1dBasePortEntry& row) const {
      std::set<std::uint32_t> vlans;
      for (auto it = mib_->config()->vlanConfigIteratorConst(); it; ++it) {
         if ((*it)->intfCollection().find(row.intf())) {
            vlans.insert(it.key().value());
         }
      }
      return vlans;
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

bool pvidWithTaggedOnly(const Request& request) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const PortRequest& port = request.of(row);
      if (port.pvid && port.admitOnlyTagged) {
         SET_TRACE(3,
                   "dot1qPvid and dot1qPortAcceptableFrameTypes cross validation fails due to "
                   "tagging the native vlan and setting untagged vlan at the same time "
                   "( dot1qPvid."
                       << *port.pvid << " on " << row.intf() << " )");
         return false;
      }
      return true;
   });
}

// Rules for each egress binding: a port keeps the native VLAN it is given or has.
bool egressKeepsNativeVlans(const Request& request) {
   for (const auto& binding : request.egress()) {
      const std::uint32_t v = binding.first->index();
      const EthPortIdSet& set = *binding.second;
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
            return false;
         }
         if (!port.pvid && request.existingNative(row).value() == v) {
            SET_TRACE(3,
                      "dot1qPvid and dot1qVlanStaticEgressPorts cross validation fails due to "
                      "removing the existing native vlan (dot1qVlanStaticEgressPorts."
                          << v << ") from " << row.intf());
            return false;
         }
         return true;
      });
      if (!kept) {
         return false;
      }
   }
   return true;
}

bool oneUntaggedVlanPerPort(const Request& request) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      if (request.of(row).untaggedIn.size() > 1) {
         SET_TRACE(
             3, "VLAN cross validation fails due to multiple untagged interfaces " << row.intf());
         return false;
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

bool untaggedMatchesNewPvid(const Request& request) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const PortRequest& port = request.of(row);
      for (const std::uint32_t u : port.untaggedIn) {
         if (port.pvid && port.pvid->value() != u) {
            SET_TRACE(3, "The untagged interface "
                             << row.intf()
                             << " in dot1qVlanStaticUntaggedPorts does not have the right "
                                "dot1qPvid binding i.e. "
                             << *port.pvid << " but it should have been " << u);
            return false;
         }
      }
      return true;
   });
}

bool portKeepsAVlan(const Request& request) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      std::set<std::uint32_t> after = request.carried(row);
      bool removed = false;
      for (const auto& [vlan, set] : request.egress()) {
         const std::uint32_t v = vlan->index();
         if (set->portId(row.port().value())) {
            after.insert(v);
         } else if (after.erase(v) > 0) {
            removed = true;
         }
      }
      if (removed && after.empty()) {
         SET_TRACE(3, "VLAN cross validation fails due to removing all Vlans from interface "
                          << row.intf());
         return false;
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
bool noTaggedNativeWithAdmitAll(const Request& request) {
   for (const auto& binding : request.untagged()) {
      const std::uint32_t u = binding.first->index();
      const EthPortIdSet& set = *binding.second;
      const bool fine = everyPort(request, [&](const Dot1dBasePortEntry& row) {
         if (!request.of(row).admitAll || set.portId(row.port().value()) ||
             nativeAfter(request, row).value() != u) {
            return true;
         }
         SET_TRACE(
             3, "Tagging the native vlan fails due to admitAll in the bindings for " << row.intf());
         return false;
      });
      if (!fine) {
         return false;
      }
   }
   return true;
}

// Records the acceptable frame types each interface keeps (admitAll wins), then refuses a
// port marked untagged that is to admit only tagged frames.
bool untaggedAdmitsUntagged(const Request& request, const AftBindings& aftBindings) {
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
         return false;
      }
      return true;
   });
}

// A trunk without a native VLAN admits untagged frames only when the request gives it one.
bool untaggedTrunkHasNativeVlan(const Request& request) {
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
      return false;
   });
}

bool untaggedMatchesExistingNative(const Request& request) {
   return everyPort(request, [&](const Dot1dBasePortEntry& row) {
      const PortRequest& port = request.of(row);
      if (port.pvid) {
         return true;
      }
      const Bridging::VlanIdOrNone native = nativeAfter(request, row);
      for (const std::uint32_t u : port.untaggedIn) {
         if (native.value() != u) {
            SET_TRACE(3, "There does not exist a dot1qPvid binding for "
                             << row.intf()
                             << " and the untagged vlan in dot1qVlanUntaggedPorts bindings i.e. "
                             << u << " do not match with the existing native vlan " << native);
            return false;
         }
      }
      return true;
   });
}

}  // namespace

bool validateVlansAndPorts(const PvidBindings& pvidBindings, const AftBindings& aftBindings,
                           const PortSetBindings& egressBindings,
                           const PortSetBindings& untaggedBindings) {
   SET_TRACE(2, "bool validateVlansAndPorts(...) "
                    << pvidBindings.size() << " dot1qPvid bindings, " << aftBindings.size()
                    << " dot1qPortAcceptableFrameTypes bindings, " << egressBindings.size()
                    << " dot1qVlanStaticEgressPorts bindings.");
   const Request request(pvidBindings, aftBindings, egressBindings, untaggedBindings);
   if (!request.mib()) {
      return true;  // nothing asked
   }
   if (!pvidWithTaggedOnly(request) || !egressKeepsNativeVlans(request) ||
       !oneUntaggedVlanPerPort(request)) {
      return false;
   }
   recordSetActions(request);
   return untaggedMatchesNewPvid(request) && portKeepsAVlan(request) &&
          noTaggedNativeWithAdmitAll(request) && untaggedAdmitsUntagged(request, aftBindings) &&
          untaggedTrunkHasNativeVlan(request) && untaggedMatchesExistingNative(request);
}

}  // namespace BridgeSnmp
