#include "platform/intf/IntfDetails.h"

namespace Intf {

std::unique_ptr<IntfDetails> intfDetailsProvider(const Interface::IntfStatus::PtrConst& status) {
   if (!status || status->kelZombie()) {
      return nullptr;
   }
   return std::make_unique<IntfDetails>(status);
}

}  // namespace Intf
