#include <gtest/gtest.h>

#include "tests/support/AgentFixture.h"

namespace {

using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Interface::EthPortId;

class VlanConfigSmTest : public TestSupport::AgentTest {};

TEST_F(VlanConfigSmTest, StaticRowsForShownVlans) {
   EXPECT_EQ(mib->dot1qVlanStaticTables(), 4u);
   const auto row = mib->dot1qVlanStaticTable(10);
   ASSERT_TRUE(row);
   EXPECT_EQ(row->configuredName(), Kel::String8("vlan10"));
   EXPECT_EQ(row->vlanConfig(),
             Bridging::VlanConfig::PtrConst(sw.config()->vlanConfig(VlanId(10))));
}

TEST_F(VlanConfigSmTest, StaticRowsFollowAdminStateAndTheNotShownFlag) {
   sw.vlanAdminStateIs(VlanId(20), Bridging::AdminState::suspended);
   EXPECT_FALSE(mib->dot1qVlanStaticTable(20));
   sw.vlanAdminStateIs(VlanId(20), Bridging::AdminState::active);
   EXPECT_TRUE(mib->dot1qVlanStaticTable(20));
   sw.vlanHiddenIs(VlanId(30), true);
   EXPECT_FALSE(mib->dot1qVlanStaticTable(30));
   sw.vlanIs({VlanId(4094), "internal", true});
   EXPECT_FALSE(mib->dot1qVlanStaticTable(4094)) << "internal VLANs are not shown";
   sw.vlanIs({VlanId(40), "forty"});
   EXPECT_TRUE(mib->dot1qVlanStaticTable(40));
   sw.vlanDel(VlanId(40));
   EXPECT_FALSE(mib->dot1qVlanStaticTable(40));
}

TEST_F(VlanConfigSmTest, PvidAndFrameTypesFromTheNativeVlan) {
   sw.switchportIs("Ethernet1", {SwitchportMode::trunk, VlanId(1), VlanIdOrNone(10), "1-4094"});
   sw.switchportIs("Ethernet2", {SwitchportMode::trunk, VlanId(1), VlanIdOrNone(0), "1-4094"});
   sw.switchportIs("Ethernet3", {SwitchportMode::access, VlanId(20)});
   const auto r1 = mib->dot1dBasePortTable(EthPortId(1));
   const auto r2 = mib->dot1dBasePortTable(EthPortId(2));
   const auto r3 = mib->dot1dBasePortTable(EthPortId(3));
   EXPECT_EQ(r1->dot1qPvid(), VlanIdOrNone(10));
   EXPECT_EQ(r1->admitFrame(), admitAll);
   EXPECT_EQ(r2->dot1qPvid(), VlanIdOrNone(1)) << "no native VLAN shows PVID 1";
   EXPECT_EQ(r2->admitFrame(), admitOnlyVlanTagged);
   EXPECT_EQ(r3->dot1qPvid(), VlanIdOrNone(20));
   EXPECT_EQ(r3->admitFrame(), admitAll);
}

class VlanStatusSmTest : public TestSupport::AgentTest {};

TEST_F(VlanStatusSmTest, CurrentRowsForConfiguredVlansThatAreNotInternal) {
   EXPECT_EQ(mib->dot1qVlanCurrentTables(), 4u);
   const auto row = mib->dot1qVlanCurrentTable(10);
   ASSERT_TRUE(row);
   EXPECT_EQ(row->firstSeen(), 1000.0);
   EXPECT_EQ(row->lastChange(), 0.0) << "no port changed since the row was made";
   EXPECT_EQ(row->vlanStatus(),
             Bridging::VlanStatus::PtrConst(sw.vlanStatusDir()->vlanStatus(VlanId(10))));
   sw.vlanIs({VlanId(4094), "internal", true});
   EXPECT_FALSE(mib->dot1qVlanCurrentTable(4094));
}

TEST_F(VlanStatusSmTest, PortChangeTouchesOnlyThatVlansRow) {
   time.nowIs(1500.0);
   sw.switchportIs("Ethernet4", {SwitchportMode::access, VlanId(20)});
   EXPECT_EQ(mib->dot1qVlanCurrentTable(20)->lastChange(), 1500.0);
   EXPECT_EQ(mib->dot1qVlanCurrentTable(1)->lastChange(), 1500.0) << "Ethernet4 left VLAN 1";
   EXPECT_EQ(mib->dot1qVlanCurrentTable(10)->lastChange(), 0.0);
   EXPECT_EQ(mib->dot1qVlanNumDeletes(), 0u);
}

TEST_F(VlanStatusSmTest, TurningInternalRemovesTheRowAndCountsADeletion) {
   sw.vlanInternalIs(VlanId(30), true);
   EXPECT_FALSE(mib->dot1qVlanCurrentTable(30));
   EXPECT_EQ(mib->dot1qVlanNumDeletes(), 1u);
   time.nowIs(2000.0);
   sw.vlanInternalIs(VlanId(30), false);
   ASSERT_TRUE(mib->dot1qVlanCurrentTable(30));
   EXPECT_EQ(mib->dot1qVlanCurrentTable(30)->firstSeen(), 2000.0);
   sw.vlanDel(VlanId(30));
   EXPECT_FALSE(mib->dot1qVlanCurrentTable(30));
   EXPECT_EQ(mib->dot1qVlanNumDeletes(), 2u);
}

TEST_F(VlanStatusSmTest, StatusWithoutConfigurationHasNoRowUntilTheConfigurationComes) {
   // The platform publishes a VLAN's status before its configuration.
   sw.vlanStatusDir()->vlanStatusIs(VlanId(77));
   EXPECT_FALSE(mib->dot1qVlanCurrentTable(77));
   time.nowIs(3000.0);
   sw.vlanIs({VlanId(77), "late"});
   ASSERT_TRUE(mib->dot1qVlanCurrentTable(77));
   EXPECT_EQ(mib->dot1qVlanCurrentTable(77)->firstSeen(), 3000.0);
   EXPECT_EQ(mib->dot1qVlanNumDeletes(), 0u);
}

}  // namespace
