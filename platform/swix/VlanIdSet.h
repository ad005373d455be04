#pragma once

#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/bridging/VlanId.h"
#include "platform/kel/String8.h"

namespace SwixUtils {

// A set of VLAN ids (1 to 4094) with the switch's multi-range text form, "1-10,20".
class VlanIdSet {
 public:
   VlanIdSet() = default;

   void doAdd(Bridging::VlanId id) { bits_.set(id.value()); }
   void doRemove(Bridging::VlanId id) { bits_.reset(id.value()); }
   void doClear() { bits_.reset(); }
   bool contains(Bridging::VlanId id) const { return bits_.test(id.value()); }
   std::size_t count() const { return bits_.count(); }
   bool empty() const { return bits_.none(); }

   // Ascending ranges joined by commas: "1-10,20"; "" for the empty set.
   std::string multiRangeString() const;

   friend bool operator==(const VlanIdSet&, const VlanIdSet&) = default;

 private:
   std::bitset<Bridging::VlanId::max + 1> bits_;
};

// Adds the VLANs of a multi-range text ("1,5-7", "" or "none" for none, "all" for 1-4094) to
// `set`.
// Raises Kel::ParseException naming the bad element ("malformed VLAN list '5-x': ...") and
// leaves `set` unchanged when the text is malformed.
void computeVlanSet(VlanIdSet& set, std::string_view text);

}  // namespace SwixUtils
