#include "model/QBridgeMib.h"

#include "platform/snmputil/Converters.h"

namespace BridgeSnmp {

std::uint32_t Dot1qVlanCurrentEntry::debugLastChange() const {
   return Snmp::SecondsToTimeTicks(Snmp::NowSecondsToUptimeSeconds(lastChange()));
}

std::uint64_t Dot1qTpFdbEntry::moves() const {
   const auto& status = fdbStatus();
   return status ? status->learnedHost(key().address()).moves : 0;
}

double Dot1qTpFdbEntry::lastMoveTime() const {
   const auto& status = fdbStatus();
   return status ? status->learnedHost(key().address()).lastMoveTime : 0.0;
}

QBridgeMib::Ptr qBridgeMibFactory(const Kel::Name& name) {
   return Kel::make<QBridgeMib>(name);
}

}  // namespace BridgeSnmp
