#include <gtest/gtest.h>

#include "tests/support/AgentFixture.h"

namespace {

using Interface::EthPortId;

class PortSmTest : public TestSupport::AgentTest {
 protected:
   Interface::EthIntfStatus::Ptr status(const char* name) {
      return sw.intfStatusDir()->intfStatus(Velnet::IntfId(name));
   }
};

TEST_F(PortSmTest, PortsPresentAtStartGetRowsAtOnce) {
   ASSERT_EQ(mib->dot1dBasePortTables(), 8u);
   const auto row = mib->dot1dBasePortTable(EthPortId(3));
   ASSERT_TRUE(row);
   EXPECT_EQ(row->intf(), Velnet::IntfId("Ethernet3"));
   EXPECT_EQ(row->ifIndex(), 3);
   EXPECT_EQ(agent->portId("Ethernet3"), EthPortId(3));
   EXPECT_EQ(row->dot1qPvid(), Bridging::VlanIdOrNone(1)) << "access port in VLAN 1";
}

TEST_F(PortSmTest, NoPortIdOrNoIfIndexMeansNoRowAndNoMapEntry) {
   sw.newPort({"Ethernet20", 0, 20, true});
   sw.newPort({"Ethernet21", 21, 0, true});
   EXPECT_EQ(mib->dot1dBasePortTables(), 8u);
   EXPECT_FALSE(mib->dot1dBasePortTable(EthPortId(21)));
   EXPECT_EQ(agent->portId("Ethernet20"), EthPortId(0));
   EXPECT_EQ(agent->portId("Ethernet21"), EthPortId(0));
   // The interface gets its row when it gets what it lacked.
   status("Ethernet21")->ifIndexIs(121);
   status("Ethernet21")->portIdIs(EthPortId(21));
   ASSERT_TRUE(mib->dot1dBasePortTable(EthPortId(21)));
   EXPECT_EQ(mib->dot1dBasePortTable(EthPortId(21))->ifIndex(), 121);
}

TEST_F(PortSmTest, PortIdChangeLeavesTheOldRowInPlace) {
   status("Ethernet2")->portIdIs(EthPortId(42));
   EXPECT_TRUE(mib->dot1dBasePortTable(EthPortId(42)));
   EXPECT_TRUE(mib->dot1dBasePortTable(EthPortId(2))) << "nothing deletes the old row";
   EXPECT_EQ(agent->portId("Ethernet2"), EthPortId(42));
   // When the interface goes, only the row of its port id at that time goes.
   sw.intfStatusDir()->intfStatusDel("Ethernet2");
   EXPECT_FALSE(mib->dot1dBasePortTable(EthPortId(42)));
   EXPECT_TRUE(mib->dot1dBasePortTable(EthPortId(2)));
   EXPECT_EQ(agent->portId("Ethernet2"), EthPortId(0));
}

TEST_F(PortSmTest, DeletedInterfaceLosesRowAndMapEntry) {
   sw.intfStatusDir()->intfStatusDel("Ethernet5");
   EXPECT_FALSE(mib->dot1dBasePortTable(EthPortId(5)));
   EXPECT_EQ(agent->portId("Ethernet5"), EthPortId(0));
   EXPECT_EQ(agent->portSm()->intfStatuss(), 7u);
   // One that never had a row goes quietly.
   sw.newPort({"Ethernet30", 0, 30, true});
   sw.intfStatusDir()->intfStatusDel("Ethernet30");
   EXPECT_EQ(mib->dot1dBasePortTables(), 7u);
}

TEST_F(PortSmTest, NewRowGetsItsPvidFromTheSwitchport) {
   sw.newPort({"Ethernet9", 9, 9, true});
   sw.switchportIs("Ethernet9", {Bridging::SwitchportMode::access, Bridging::VlanId(20)});
   const auto row = mib->dot1dBasePortTable(EthPortId(9));
   ASSERT_TRUE(row);
   EXPECT_EQ(row->dot1qPvid(), Bridging::VlanIdOrNone(20));
}

}  // namespace
