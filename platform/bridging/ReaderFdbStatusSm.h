#pragma once

#include "platform/bridging/Status.h"
#include "platform/kel/Entity.h"
#include "platform/kel/String8.h"

namespace Bridging {

// The platform's reader of the learned-host tables. It publishes Bridging::Status while
// anyone holds it; a reader of the status (such as the SNMP agent) keeps a reference so
// that the status stays readable for as long as it lives.
class ReaderFdbStatusSm : public Kel::Entity {
 public:
   using Ptr = Kel::Ptr<ReaderFdbStatusSm>;
   using PtrConst = Kel::Ptr<const ReaderFdbStatusSm>;

   ReaderFdbStatusSm(Kel::Name name, Status::Ptr status)
       : name_(std::move(name)), status_(std::move(status)) {}

   const char* typeName() const override { return "Bridging::ReaderFdbStatusSm"; }
   const Kel::Name& name() const { return name_; }
   Status::PtrConst status() const { return status_; }

 private:
   Kel::Name name_;
   Status::Ptr status_;
};

}  // namespace Bridging
