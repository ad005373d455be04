#pragma once

#include "platform/bridging/Config.h"
#include "platform/bridging/InputConfig.h"
#include "platform/bridging/ReaderFdbStatusSm.h"
#include "platform/bridging/Status.h"
#include "platform/bridging/VlanStatus.h"
#include "platform/interface/IntfStatus.h"

namespace Linux {

// The bridging and interface entities a Linux bridge is published in: the same ones the
// simulated switch fills, so the SNMP agent serves either alike.
struct BridgeEntities {
   Bridging::Config::Ptr config = Kel::make<Bridging::Config>();
   Bridging::Input::Config::Ptr input = Kel::make<Bridging::Input::Config>();
   Bridging::Status::Ptr status = Kel::make<Bridging::Status>();
   Bridging::VlanStatusDir::Ptr vlanStatusDir = Kel::make<Bridging::VlanStatusDir>();
   Interface::EthIntfStatusDir::Ptr intfStatusDir = Kel::make<Interface::EthIntfStatusDir>();
   Bridging::ReaderFdbStatusSm::Ptr reader =
       Kel::make<Bridging::ReaderFdbStatusSm>("fdbStatusReader", status);
};

}  // namespace Linux
