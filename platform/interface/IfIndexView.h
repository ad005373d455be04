#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "platform/interface/IntfStatus.h"
#include "platform/kel/ElementReactors.h"
#include "platform/kel/RbTreeMap.h"

namespace Interface {

// The Ethernet interfaces of a status directory in ifIndex order, the order IF-MIB's tables
// walk. It follows the directory: an interface appears once it has an ifIndex, moves when its
// ifIndex changes and goes when it goes. An interface without an ifIndex (0) is left out; of
// two interfaces that claim the same ifIndex the first keeps it until it lets it go.
//
// The rows are the status entities themselves, so a reader sees their attributes live.
class IfIndexView : public Kel::Entity {
 public:
   using Ptr = Kel::Ptr<IfIndexView>;
   using PtrConst = Kel::Ptr<const IfIndexView>;
   using Map = Kel::RbTreeMap<std::int32_t, Kel::Ptr<const EthIntfStatus>>;

   explicit IfIndexView(EthIntfStatusDir::PtrConst dir);
   ~IfIndexView() override;
   const char* typeName() const override { return "Interface::IfIndexView"; }

   const Map& interfaces() const { return byIfIndex_; }

 private:
   class DirReactor;
   class IntfReactor;

   // Puts the interface where its ifIndex now says, or takes it out.
   void place(const EthIntfStatus::PtrConst& status);
   // Takes the interface's row out, handing its ifIndex to another claimant if there is one.
   void unplace(const Velnet::IntfId& intf);
   void remove(const Velnet::IntfId& intf);
   void intfIs(const Velnet::IntfId& intf);

   EthIntfStatusDir::PtrConst dir_;
   Map byIfIndex_;
   // Where each interface stands in byIfIndex_ (absent: nowhere).
   std::map<Velnet::IntfId, std::int32_t> placed_;
   Kel::ElementReactors<Velnet::IntfId, IntfReactor> reactors_;
   std::unique_ptr<DirReactor> dirReactor_;
};

}  // namespace Interface
