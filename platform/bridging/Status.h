#pragma once

#include <cstdint>

#include "platform/bridging/Enums.h"
#include "platform/bridging/Fid.h"
#include "platform/kel/EntityMacros.h"
#include "platform/kel/HashMap.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/velnet/EthAddr.h"
#include "platform/velnet/IntfId.h"

// What the switch has learned, per filtering database.
namespace Bridging {

struct LearnedHost {
   Velnet::IntfId intf;  // where the address was last seen
   FdbEntryType entryType = FdbEntryType::learnedDynamic;
   std::uint64_t moves = 0;    // times the address moved to another interface
   double lastMoveTime = 0.0;  // Kel::now() seconds of the last move; 0 if it never moved
   friend bool operator==(const LearnedHost&, const LearnedHost&) = default;
};
// Ordered: a hash table would stall the thread for its rehash as a FID grows.
using LearnedHostMap = Kel::RbTreeMap<Velnet::EthAddr, LearnedHost>;

class FdbStatus : public Kel::Entity {
 public:
#define BRIDGING_FDB_STATUS_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(fid, Fid)                                                                      \
   COLLECTION(learnedHost, LearnedHost, LearnedHostMap)
   KEL_ENTITY(FdbStatus, Kel::Entity, "Bridging::FdbStatus", BRIDGING_FDB_STATUS_MEMBERS)
#undef BRIDGING_FDB_STATUS_MEMBERS

   explicit FdbStatus(Fid fid) : fid_(fid) {}

   // The learned host's record, or nullptr.
   const LearnedHost* learnedHostRecord(const Velnet::EthAddr& address) const {
      return learnedHostCollection().find(address);
   }
};

using FdbStatusMap = Kel::RbTreeMap<Fid, Kel::Ptr<FdbStatus>>;

class Status : public Kel::Entity {
 public:
#define BRIDGING_STATUS_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   COLLECTION(fdbStatus, FdbStatus, FdbStatusMap)
   KEL_ENTITY(Status, Kel::Entity, "Bridging::Status", BRIDGING_STATUS_MEMBERS)
#undef BRIDGING_STATUS_MEMBERS
};

}  // namespace Bridging
