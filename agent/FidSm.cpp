#include "agent/FidSm.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "agent/AgentTrace.h"
#include "platform/kel/Assert.h"
#include "platform/kel/Time.h"

namespace BridgeSnmpAgent {
namespace {

constexpr Bridging::FdbEntryType managementEntryType = Bridging::FdbEntryType::management;
const Bridging::Fid bridgeMibFid(1);  // dot1dTpFdbTable mirrors FID 1 only

BridgeSnmp::Dot1qTpFdbEntryKey rowKey(const Bridging::HostKey& key) {
   return BridgeSnmp::Dot1qTpFdbEntryKey(key.fid(), key.address());
}

}  // namespace

FidSm::KelFdbStatus::KelFdbStatus(FidSm& sm, const Bridging::FdbStatus::PtrConst& status)
    : sm_(sm), fid_(status->fid()) {
   notifierIs(status);
   if (sm_.initialized()) {
      handleLearnedHost();  // a FID that appears later may come with hosts
   }
}

void FidSm::KelFdbStatus::handleLearnedHost(const Velnet::EthAddr& address) {
   KEL_RING_TRACE();
   KEL_ASSERT(sm_.initialized());
   AGENT_TRACE(8, "FidSm::handleLearnedHost " << address);
   sm_.addHostKeyToBacklog(Bridging::HostKey(fid_, address));
}

void FidSm::KelFdbStatus::handleLearnedHost() {
   KEL_RING_TRACE();
   const auto status = notifier();
   for (auto it = status->learnedHostIteratorConst(); it; ++it) {
      handleLearnedHost(it.key());
   }
}

FidSm::KelFdbConfig::KelFdbConfig(FidSm& sm, const Bridging::FdbConfig::PtrConst& config)
    : sm_(sm), fid_(config->fid()) {
   notifierIs(config);
   handleConfiguredHost();
}

void FidSm::KelFdbConfig::handleConfiguredHost() {
   KEL_RING_TRACE();
   std::vector<Velnet::EthAddr> addresses;
   for (auto it = notifier()->configuredHostIteratorConst(); it; ++it) {
      addresses.push_back(it.key());
   }
   for (const auto& address : addresses) {
      handleConfiguredHost(address);
   }
}

void FidSm::KelFdbConfig::handleConfiguredHost(const Velnet::EthAddr& address) {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "FidSm::handleConfiguredHost " << address);
   BridgeSnmp::QBridgeMib& mib = *sm_.mib_;
   const Bridging::HostKey key(fid_, address);
   const BridgeSnmp::Dot1qTpFdbEntryKey qKey = rowKey(key);
   // A configuration that was deleted configures nothing any more.
   const auto config = notifier();
   const Bridging::ConfiguredHost* configured =
       config && !config->kelZombie() ? config->configuredHostCollection().find(address) : nullptr;
   auto qEntry = mib.dot1qTpFdbTable(qKey);
   auto dEntry = fid_ == bridgeMibFid ? mib.dot1dTpFdbTable(address) : nullptr;

   if (configured) {
      if (!qEntry) {
         AGENT_TRACE(1, "Creating dot1qTpFdbTable entry for " << qKey);
         qEntry = mib.dot1qTpFdbTableIs(qKey);
         const auto hostsInFid = sm_.fidHostMapIs(fid_);
         KEL_ASSERT(hostsInFid);
         hostsInFid->hostIs(address, configured->intf);
         if (fid_ == bridgeMibFid) {
            KEL_ASSERT(dEntry == NULL);
            dEntry = mib.dot1dTpFdbTableIs(address);
         }
      }
      // A configured host overrides a learned row of the same key.
      AGENT_TRACE(1, "Updating dot1qTpFdbTable entry for " << qKey);
      qEntry->statusIs(BridgeSnmp::statusMgmt);
      qEntry->intfIs(configured->intf);
      auto* learned = sm_.fdbStatus(fid_);
      qEntry->fdbStatusIs(learned ? learned->notifier() : nullptr);
      if (dEntry) {
         dEntry->intfIs(configured->intf);
         dEntry->statusIs(BridgeSnmp::statusMgmt);
      }
      return;
   }
   sm_.removeRows(key);
   AGENT_TRACE(1, "Giving handleLearnedHost a chance for " << qKey);
   if (auto* learned = sm_.fdbStatus(fid_); learned && sm_.initialized()) {
      learned->handleLearnedHost(address);
   }
}

FidSm::KelStatus::KelStatus(FidSm& sm, const Bridging::Status::PtrConst& status) : sm_(sm) {
   notifierIs(status);
}

void FidSm::KelStatus::onFdbStatuskelImmediate() {
   KEL_RING_TRACE();
   const auto status = notifier();
   sm_.fdbStatus_.sweep(
       status->fdbStatusIteratorConst(), [this](const Bridging::Fid& fid) { onFdbStatus(fid); },
       [&status](const Bridging::Fid& fid) { return status->fdbStatus(fid); });
}

void FidSm::KelStatus::onFdbStatus(const Bridging::Fid& fid) {
   KEL_RING_TRACE();
   sm_.fdbStatus_.watch(fid, notifier()->fdbStatus(fid), sm_);
}

FidSm::KelConfig::KelConfig(FidSm& sm, const Bridging::Config::PtrConst& config) : sm_(sm) {
   notifierIs(config);
}

void FidSm::KelConfig::onFdbConfigkelImmediate() {
   KEL_RING_TRACE();
   const auto config = notifier();
   sm_.fdbConfig_.sweep(
       config->fdbConfigIteratorConst(), [this](const Bridging::Fid& fid) { onFdbConfig(fid); },
       [&config](const Bridging::Fid& fid) { return config->fdbConfig(fid); });
}

void FidSm::KelConfig::onFdbConfig(const Bridging::Fid& fid) {
   KEL_RING_TRACE();
   sm_.fdbConfig_.watch(fid, notifier()->fdbConfig(fid), sm_);
}

FidSm::FidSm(Kel::Activity::Ptr activity, BridgeSnmp::QBridgeMib::Ptr mib,
             Bridging::Config::PtrConst config, Bridging::Status::PtrConst status)
    : activity_(std::move(activity)),
      mib_(std::move(mib)),
      config_(std::move(config)),
      status_(std::move(status)) {
   KEL_RING_TRACE();
   if (!mib_) {
      return;
   }
   if (status_) {
      statusReactor_ = std::make_unique<KelStatus>(*this, status_);
   }
   if (config_) {
      configReactor_ = std::make_unique<KelConfig>(*this, config_);
   }
   handleInitialized();
   adoptExistingRows();
}

FidSm::~FidSm() {
   clock_.notifierIs(nullptr);
   configReactor_.reset();
   statusReactor_.reset();
   fdbConfig_.clear();
   fdbStatus_.clear();
}

void FidSm::handleInitialized() {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "FidSm::handleInitialized");
   if (activity_) {
      clock_.notifierIs(activity_->clock());
   }
   clock_.timeMinIs(Kel::timeNever);
   initialized_ = true;
   for (const auto& [fid, reactor] : fdbStatus_) {
      reactor->handleLearnedHost();
   }
}

void FidSm::adoptExistingRows() {
   KEL_RING_TRACE();
   std::vector<std::pair<Bridging::HostKey, BridgeSnmp::Dot1qTpFdbStatus>> rows;
   for (auto it = mib_->dot1qTpFdbTableIteratorConst(); it; ++it) {
      const Bridging::HostKey key(it.key().fid(), it.key().address());
      rows.emplace_back(key, (*it)->status());
      fidHostMapIs(key.fid())->hostIs(key.address(), (*it)->intf());
   }
   for (const auto& [key, rowStatus] : rows) {
      if (const auto* configured = fdbConfig(key.fid());
          configured && configured->notifier()->configuredHostCollection().find(key.address())) {
         continue;  // brought up to date by the configuration's own sweep
      }
      KelFdbStatus* learnedFid = fdbStatus(key.fid());
      if (!learnedFid) {
         removeRows(key);  // its FID has no status any more
         continue;
      }
      const Bridging::LearnedHost* learned =
          learnedFid->notifier()->learnedHostRecord(key.address());
      if (rowStatus == BridgeSnmp::statusMgmt &&
          !(learned && learned->entryType == managementEntryType)) {
         removeRows(key);  // made from a configured host that is configured no more
      }
      addHostKeyToBacklog(key);  // the backlog updates the row, makes it again or removes it
   }
}

void FidSm::removeRows(const Bridging::HostKey& key) {
   AGENT_TRACE(1, "Deleting dot1qTpFdbTable entry for " << rowKey(key));
   mib_->dot1qTpFdbTableDel(rowKey(key));
   if (const auto hostsInFid = fidHostMap(key.fid())) {
      hostsInFid->hostDel(key.address());
   }
   if (key.fid() == bridgeMibFid) {
      mib_->dot1dTpFdbTableDel(key.address());
   }
}

void FidSm::addHostKeyToBacklog(const Bridging::HostKey& key) {
   KEL_RING_TRACE();
   if (!activity_) {
      // Without an activity no clock ever runs a slice: the key is worked off at once.
      doProcessBacklog(key);
      return;
   }
   backlog_.assign(key, true);
   // Only an idle clock is woken; a wake-up already pending is left as it is.
   if (clock_.timeMin() > std::numeric_limits<double>::max()) {
      clock_.timeMinIs(Kel::timeAsap);
   }
}

void FidSm::handleClock() {
   KEL_RING_TRACE();
   if (!initialized_) {
      return;
   }
   const double start = Kel::now();
   const double deadline = start + backlogQuantum_;
   double next = Kel::timeNever;
   while (true) {
      if (backlog_.empty()) {
         next = Kel::timeNever;
         break;
      }
      const double now = Kel::now();
      if (now >= deadline) {
         next = Kel::timeAsap;  // keys remain: run again after other pending work
         break;
      }
      const Bridging::HostKey key = backlog_.firstKey();
      doProcessBacklog(key, now);
      backlog_.erase(key);
   }
   clock_.timeMinIs(next);
   ++slices_;
   longestSlice_ = std::max(longestSlice_, Kel::now() - start);
}

void FidSm::doProcessBacklog(const Bridging::HostKey& key, double now) {
   Kel::ringTrace().record(__PRETTY_FUNCTION__, now);
   AGENT_TRACE(8, "doProcessBacklog for key: " << key);
   const BridgeSnmp::Dot1qTpFdbEntryKey qKey = rowKey(key);
   KelFdbStatus* reactor = fdbStatus(key.fid());
   if (!reactor) {
      AGENT_TRACE(8, "doProcessBacklog"
                         << ": FDB status is NULL, not doing anything for " << qKey);
      return;
   }
   const auto fdbStatus = reactor->notifier();
   const Bridging::LearnedHost* learned = fdbStatus->learnedHostRecord(key.address());
   BridgeSnmp::QBridgeMib& mib = *mib_;
   auto qEntry = mib.dot1qTpFdbTable(qKey);
   auto dEntry = key.fid() == bridgeMibFid ? mib.dot1dTpFdbTable(key.address()) : nullptr;

   if (learned) {
      const bool management = learned->entryType == managementEntryType;
      const BridgeSnmp::Dot1qTpFdbStatus status =
          management ? BridgeSnmp::statusMgmt : BridgeSnmp::statusLearned;
      if (!qEntry) {
         AGENT_TRACE(1, "Creating dot1qTpFdbTable entry for " << qKey);
         qEntry = mib.dot1qTpFdbTableIs(qKey);
         qEntry->statusIs(status);
         qEntry->fdbStatusIs(fdbStatus);
         const auto hostsInFid = fidHostMapIs(key.fid());
         KEL_ASSERT(hostsInFid);
         hostsInFid->hostIs(key.address(), learned->intf);
         if (key.fid() == bridgeMibFid) {
            KEL_ASSERT(dEntry == NULL);
            dEntry = mib.dot1dTpFdbTableIs(key.address());
            dEntry->statusIs(status);
         }
      }
      if (qEntry->status() == BridgeSnmp::statusLearned || management) {
         AGENT_TRACE(1, "Updating dot1qTpFdbTable entry for " << qKey);
         if (qEntry->fdbStatus() != fdbStatus) {
            qEntry->fdbStatusIs(fdbStatus);  // a row adopted from an earlier status entity
         }
         qEntry->intfIs(learned->intf);
         if (dEntry) {
            dEntry->intfIs(learned->intf);
         }
      }
      return;
   }
   if (!qEntry) {
      return;
   }
   if (qEntry->status() == BridgeSnmp::statusLearned) {
      removeRows(key);
   } else {
      AGENT_TRACE(1, "Not deleting " << qEntry->status() << " entry when learned entry goes away");
   }
}

void FidSm::handleFibDel(Bridging::Fid fid) {
   KEL_RING_TRACE();
   AGENT_TRACE(8, "delete fid " << fid);
   const auto hostsInFid = fidHostMap(fid);
   if (!hostsInFid) {
      AGENT_TRACE(8, "No hostsInFid entry for fid " << fid);
      return;
   }
   for (auto it = hostsInFid->hostIteratorConst(); it; ++it) {
      mib_->dot1qTpFdbTableDel(BridgeSnmp::Dot1qTpFdbEntryKey(fid, it.key()));
      if (fid == bridgeMibFid) {
         mib_->dot1dTpFdbTableDel(it.key());
      }
   }
   fidHostMapDel(fid);
}

FidHostMap::Ptr FidSm::fidHostMap(Bridging::Fid fid) const {
   auto it = fidHostMap_.find(fid);
   return it == fidHostMap_.end() ? nullptr : it->second;
}

FidHostMap::Ptr FidSm::fidHostMapIs(Bridging::Fid fid) {
   auto& map = fidHostMap_[fid];
   if (!map) {
      map = Kel::make<FidHostMap>(fid);
   }
   return map;
}

void FidSm::fidHostMapDel(Bridging::Fid fid) {
   fidHostMap_.erase(fid);
}

}  // namespace BridgeSnmpAgent
