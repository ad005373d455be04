#pragma once

#include "platform/bridging/Config.h"
#include "platform/bridging/InputConfig.h"
#include "platform/bridging/ReaderFdbStatusSm.h"
#include "platform/bridging/Status.h"
#include "platform/bridging/StpStatus.h"
#include "platform/bridging/VlanStatus.h"
#include "platform/interface/IntfStatus.h"
#include "platform/statedb/Dir.h"

namespace Bridging {

// The bridging and interface entities a platform backend fills (the simulated switch, a
// Linux bridge), so that the SNMP agent serves either alike.
struct PlatformEntities {
   Config::Ptr config = Kel::make<Config>();
   Input::Config::Ptr input = Kel::make<Input::Config>();
   Status::Ptr status = Kel::make<Status>();
   VlanStatusDir::Ptr vlanStatusDir = Kel::make<VlanStatusDir>();
   Interface::EthIntfStatusDir::Ptr intfStatusDir = Kel::make<Interface::EthIntfStatusDir>();
   ReaderFdbStatusSm::Ptr reader = Kel::make<ReaderFdbStatusSm>("fdbStatusReader", status);
   StpStatus::Ptr stpStatus = Kel::make<StpStatus>();
   Input::StpConfig::Ptr stpInput = Kel::make<Input::StpConfig>();

   // Mounts them in a state database: "Statedb/bridging/config",
   // "Statedb/bridging/input/config", "Statedb/bridging/status" and
   // "snmp/swix/qbridgemib.status" (both the status), "Statedb/bridging/vlan/status",
   // "Statedb/interface/status/eth", "Statedb/bridging/stp/status",
   // "Statedb/bridging/input/stp".
   void mountIn(Kel::Dir& root) const;
   void unmountFrom(Kel::Dir& root) const;
};

}  // namespace Bridging
