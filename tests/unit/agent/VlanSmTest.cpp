// The VLAN machines' rows as VLANs change state. What they show of a switch as it starts (which
// VLANs: suspended, hidden and internal ones left out; names, members, PVIDs, frame types, time
// marks) the SNMP scenarios check table by table.

#include <gtest/gtest.h>

#include "tests/support/AgentFixture.h"

namespace {

using Bridging::VlanId;

class VlanSmTest : public TestSupport::AgentTest {};

TEST_F(VlanSmTest, PortMovedBetweenVlansChangesBothRowsAlone) {
   time.nowIs(1500.0);
   sw.switchportIs("Ethernet4", {Bridging::SwitchportMode::access, VlanId(20)});
   EXPECT_EQ(mib->dot1qVlanCurrentTable(20)->lastChange(), 1500.0);
   EXPECT_EQ(mib->dot1qVlanCurrentTable(1)->lastChange(), 1500.0) << "Ethernet4 left VLAN 1";
   EXPECT_EQ(mib->dot1qVlanCurrentTable(10)->lastChange(), 0.0);
}

// A VLAN made internal leaves dot1qVlanCurrentTable as if deleted, and comes back new.
TEST_F(VlanSmTest, TurningInternalRemovesTheCurrentRowAndCountsADeletion) {
   sw.vlanInternalIs(VlanId(30), true);
   EXPECT_FALSE(mib->dot1qVlanCurrentTable(30));
   EXPECT_EQ(mib->dot1qVlanNumDeletes(), 1u);
   time.nowIs(2000.0);
   sw.vlanInternalIs(VlanId(30), false);
   ASSERT_TRUE(mib->dot1qVlanCurrentTable(30));
   EXPECT_EQ(mib->dot1qVlanCurrentTable(30)->firstSeen(), 2000.0);
   EXPECT_EQ(mib->dot1qVlanCurrentTable(30)->lastChange(), 0.0);
   sw.vlanDel(VlanId(30));
   EXPECT_FALSE(mib->dot1qVlanCurrentTable(30));
   EXPECT_EQ(mib->dot1qVlanNumDeletes(), 2u);
}

// The platform may publish a VLAN's status before its configuration.
TEST_F(VlanSmTest, StatusWithoutConfigurationHasNoRowUntilTheConfigurationComes) {
   sw.entities().vlanStatusDir->vlanStatusIs(VlanId(77));
   EXPECT_FALSE(mib->dot1qVlanCurrentTable(77));
   time.nowIs(3000.0);
   sw.vlanIs({VlanId(77), "late"});
   ASSERT_TRUE(mib->dot1qVlanCurrentTable(77));
   EXPECT_EQ(mib->dot1qVlanCurrentTable(77)->firstSeen(), 3000.0);
   EXPECT_EQ(mib->dot1qVlanNumDeletes(), 0u);
}

}  // namespace
