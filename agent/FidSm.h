#pragma once

#include <map>
#include <memory>

#include "model/QBridgeMib.h"
#include "platform/bridging/Config.h"
#include "platform/bridging/HostKey.h"
#include "platform/bridging/Status.h"
#include "platform/kel/ActivityManager.h"
#include "platform/kel/Clock.h"
#include "platform/kel/ElementReactors.h"
#include "platform/kel/EntityMacros.h"
#include "platform/kel/HashMap.h"
#include "platform/kel/Time.h"

namespace BridgeSnmpAgent {

// Ordered rather than hashed: a hash table's rehash would cost one insertion time in
// proportion to the FID's size, and the backlog works keys off in key order anyway.
using FidHostCollection = Kel::RbTreeMap<Velnet::EthAddr, Velnet::IntfId>;

// The hosts of one FID that have forwarding-database rows, learned or configured, so that
// the FID's rows can be found and deleted when the FID goes.
class FidHostMap : public Kel::Entity {
 public:
#define BRIDGE_SNMP_AGENT_FID_HOST_MAP_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(fid, Bridging::Fid)                                                                       \
   COLLECTION(host, Host, FidHostCollection)
   KEL_ENTITY(FidHostMap, Kel::Entity, "BridgeSnmpAgent::FidHostMap",
              BRIDGE_SNMP_AGENT_FID_HOST_MAP_MEMBERS)
#undef BRIDGE_SNMP_AGENT_FID_HOST_MAP_MEMBERS

   explicit FidHostMap(Bridging::Fid fid) : fid_(fid) {}
};

// Keeps the cache's forwarding-database rows (dot1qTpFdbTable, and dot1dTpFdbTable for FID
// 1) in step with the learned hosts of Bridging::Status and the configured hosts of
// Bridging::Config.
//
// Configured hosts are applied at once. Learned hosts are not: their keys go into a
// backlog, a host changing many times costing one entry, and clock wake-ups work the
// backlog off in slices of at most backlogQuantum seconds, so a burst never holds the
// thread for long; requests are served between slices.
class FidSm : public Kel::Entity {
 public:
   using Ptr = Kel::Ptr<FidSm>;
   // Ordered by (fid, address): slices then create rows in the cache's own order, which
   // keeps the tree paths they touch warm, and no insertion ever waits for a rehash.
   using Backlog = Kel::RbTreeMap<Bridging::HostKey, bool>;

   class KelFdbStatus : public Bridging::FdbStatus::NotifieeConst {
    public:
      KelFdbStatus(FidSm& sm, const Bridging::FdbStatus::PtrConst& status);
      void onLearnedHost(const Velnet::EthAddr& address) override { handleLearnedHost(address); }
      // The FID's status went: all its rows go (kel_handleFdbStatus).
      void onZombie() override { sm_.handleFibDel(fid_); }
      // Queues the host's key.
      void handleLearnedHost(const Velnet::EthAddr& address);
      // Queues every learned host of the FID.
      void handleLearnedHost();

    private:
      FidSm& sm_;
      Bridging::Fid fid_;
   };

   class KelFdbConfig : public Bridging::FdbConfig::NotifieeConst {
    public:
      KelFdbConfig(FidSm& sm, const Bridging::FdbConfig::PtrConst& config);
      void onConfiguredHost(const Velnet::EthAddr& address) override {
         handleConfiguredHost(address);
      }
      // The FID's configuration went: its configured hosts are unconfigured.
      void onZombie() override { handleConfiguredHost(); }
      void handleConfiguredHost(const Velnet::EthAddr& address);
      void handleConfiguredHost();

    private:
      FidSm& sm_;
      Bridging::Fid fid_;
   };

   class KelStatus : public Bridging::Status::NotifieeConst {
    public:
      KelStatus(FidSm& sm, const Bridging::Status::PtrConst& status);
      void onFdbStatuskelImmediate() override;
      void onFdbStatus(const Bridging::Fid& fid) override;

    private:
      FidSm& sm_;
   };

   class KelConfig : public Bridging::Config::NotifieeConst {
    public:
      KelConfig(FidSm& sm, const Bridging::Config::PtrConst& config);
      void onFdbConfigkelImmediate() override;
      void onFdbConfig(const Bridging::Fid& fid) override;

    private:
      FidSm& sm_;
   };

   class KelClock : public Kel::Clock::NotifieeConst {
    public:
      explicit KelClock(FidSm& sm) : sm_(sm) {}
      void onTime() override { sm_.handleClock(); }

    private:
      FidSm& sm_;
   };

   FidSm(Kel::Activity::Ptr activity, BridgeSnmp::QBridgeMib::Ptr mib,
         Bridging::Config::PtrConst config, Bridging::Status::PtrConst status);
   ~FidSm() override;
   const char* typeName() const override { return "BridgeSnmpAgent::FidSm"; }

   bool builtFrom(const Kel::Activity::Ptr& activity, const BridgeSnmp::QBridgeMib::Ptr& mib,
                  const Bridging::Config::PtrConst& config,
                  const Bridging::Status::PtrConst& status) const {
      return activity_ == activity && mib_ == mib && config_ == config && status_ == status;
   }

   // Enters a key in the backlog and, if no slice is pending, asks for one now. A machine
   // without an activity has no clock, so it processes the key at once instead.
   void addHostKeyToBacklog(const Bridging::HostKey& key);
   // One slice: processes backlog keys until none is left or the quantum is spent.
   void handleClock();
   // Turns one learned host into rows (or removes them). `now` is the time of the call, for
   // its timed trace entry; a slice passes the clock reading it took before the key.
   void doProcessBacklog(const Bridging::HostKey& key, double now = Kel::now());
   // The start-up sweep: installs the clock reactor and queues every learned host.
   void handleInitialized();
   // Removes every row of a FID whose status went.
   void handleFibDel(Bridging::Fid fid);
   // A machine built on a cache that already has forwarding rows (its inputs changed, or a
   // bridge came back) takes them over: each is tracked in its FID's host map, a row whose
   // FID or configured host is gone is removed now, and the others are queued so that the
   // backlog brings them in line with the learned hosts. No row is left that the inputs do
   // not give.
   void adoptExistingRows();

   const Backlog& backlog() const { return backlog_; }
   double backlogQuantum() const { return backlogQuantum_; }
   void backlogQuantumIs(double seconds) { backlogQuantum_ = seconds; }
   bool initialized() const { return initialized_; }
   KelClock& clock() { return clock_; }
   KelFdbStatus* fdbStatus(Bridging::Fid fid) const { return fdbStatus_.find(fid); }
   KelFdbConfig* fdbConfig(Bridging::Fid fid) const { return fdbConfig_.find(fid); }
   FidHostMap::Ptr fidHostMap(Bridging::Fid fid) const;
   // The slices run so far and the longest one, in seconds of wall time.
   std::uint64_t slices() const { return slices_; }
   double longestSlice() const { return longestSlice_; }

 private:
   friend class KelFdbConfig;
   // Removes a host's forwarding rows and its host-map entry.
   void removeRows(const Bridging::HostKey& key);
   FidHostMap::Ptr fidHostMapIs(Bridging::Fid fid);
   void fidHostMapDel(Bridging::Fid fid);

   Kel::Activity::Ptr activity_;
   BridgeSnmp::QBridgeMib::Ptr mib_;
   Bridging::Config::PtrConst config_;
   Bridging::Status::PtrConst status_;
   Kel::ElementReactors<Bridging::Fid, KelFdbStatus> fdbStatus_;
   Kel::ElementReactors<Bridging::Fid, KelFdbConfig> fdbConfig_;
   std::map<Bridging::Fid, FidHostMap::Ptr> fidHostMap_;
   Backlog backlog_;
   double backlogQuantum_ = 0.01;
   KelClock clock_{*this};
   bool initialized_ = false;
   std::unique_ptr<KelStatus> statusReactor_;
   std::unique_ptr<KelConfig> configReactor_;
   std::uint64_t slices_ = 0;
   double longestSlice_ = 0.0;
};

}  // namespace BridgeSnmpAgent
