#pragma once

#include <cstdint>
#include <memory>

#include "platform/interface/IntfStatus.h"

namespace Intf {

// The details of one interface that its status alone does not spell out.
class IntfDetails {
 public:
   explicit IntfDetails(Interface::IntfStatus::PtrConst status) : status_(std::move(status)) {}

   // The interface's ifIndex; 0 while it has none.
   std::int32_t ifIndex() const { return status_->ifIndex(); }
   const Velnet::IntfId& intfId() const { return status_->intfId(); }

 private:
   Interface::IntfStatus::PtrConst status_;
};

// Details for an interface status, or null when they cannot be had: no status, or a status
// already deleted from its directory.
std::unique_ptr<IntfDetails> intfDetailsProvider(const Interface::IntfStatus::PtrConst& status);

}  // namespace Intf
