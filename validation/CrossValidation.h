#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "model/PortList.h"
#include "model/QBridgeMib.h"

// One SET request may touch the same ports from dot1qPortVlanTable (PVID, acceptable frame
// types) and dot1qVlanStaticTable (egress and untagged ports of VLANs). Each binding passes
// its column's check alone; together they must still describe switchports that the input
// configuration can express: one untagged VLAN per port, and a native VLAN the port
// carries.
namespace BridgeSnmp {

using PvidBindings = std::vector<std::pair<Dot1dBasePortEntry::PtrConst, Bridging::VlanIdOrNone>>;
using AftBindings = std::vector<std::pair<Dot1dBasePortEntry::PtrConst, FrameAdmits>>;
using PortSetBindings =
    std::vector<std::pair<Dot1qVlanStaticEntry::PtrConst, EthPortIdSet::PtrConst>>;

// Every binding of one request, by column.
struct SetBindings {
   PvidBindings pvid;
   AftBindings aft;
   PortSetBindings egress;
   PortSetBindings untagged;
};

// The binding a refusal is to name: its column and its place in that column's list.
enum class BindingColumn { pvid, aft, egress, untagged };
struct BindingFault {
   BindingColumn column = BindingColumn::pvid;
   std::size_t position = 0;
};

// Checks a whole request, once, before anything of it is applied. Returns false (after
// tracing the first rule broken, level 3, and naming the binding at fault in `fault`) when
// the bindings contradict each other. Records in the cache, by interface name, sepAction
// (whether an egress binding changes the port's membership) and aftAction (the acceptable
// frame types kept, admitAll winning). A null port row raises "null ValidPtr".
bool validateVlansAndPorts(const PvidBindings& pvidBindings, const AftBindings& aftBindings,
                           const PortSetBindings& egressBindings,
                           const PortSetBindings& untaggedBindings, BindingFault* fault = nullptr);

}  // namespace BridgeSnmp
