#include <gtest/gtest.h>

#include "tests/support/AgentFixture.h"

namespace {

using Interface::EthPortId;

class PortSmTest : public TestSupport::AgentTest {
 protected:
   Interface::EthIntfStatus::Ptr status(const char* name) {
      return sw.entities().intfStatusDir->intfStatus(Velnet::IntfId(name));
   }
};

// An interface without a port id or an ifIndex has no row and no map entry, until it gets
// what it lacked; the row then takes its PVID from the switchport.
TEST_F(PortSmTest, NoPortIdOrNoIfIndexMeansNoRowAndNoMapEntry) {
   sw.newPort({"Ethernet20", 0, 20, true});
   sw.newPort({"Ethernet21", 21, 0, true});
   sw.switchportIs("Ethernet21", {Bridging::SwitchportMode::access, Bridging::VlanId(20)});
   EXPECT_EQ(mib->dot1dBasePortTables(), 8u);
   EXPECT_FALSE(mib->dot1dBasePortTable(EthPortId(21)));
   EXPECT_EQ(agent->portId("Ethernet20"), EthPortId(0));
   EXPECT_EQ(agent->portId("Ethernet21"), EthPortId(0));
   status("Ethernet21")->ifIndexIs(121);
   const auto row = mib->dot1dBasePortTable(EthPortId(21));
   ASSERT_TRUE(row);
   EXPECT_EQ(row->ifIndex(), 121);
   EXPECT_EQ(row->intf(), Velnet::IntfId("Ethernet21"));
   EXPECT_EQ(row->dot1qPvid(), Bridging::VlanIdOrNone(20));
   EXPECT_EQ(agent->portId("Ethernet21"), EthPortId(21));
}

// A new port id leaves the old row in place; when the interface goes, only the row of its port
// id at that time goes, and one that never had a row goes quietly.
TEST_F(PortSmTest, PortIdChangeLeavesTheOldRowAndDeletionTakesTheCurrentOne) {
   status("Ethernet2")->portIdIs(EthPortId(42));
   EXPECT_TRUE(mib->dot1dBasePortTable(EthPortId(42)));
   EXPECT_TRUE(mib->dot1dBasePortTable(EthPortId(2))) << "nothing deletes the old row";
   EXPECT_EQ(agent->portId("Ethernet2"), EthPortId(42));
   sw.entities().intfStatusDir->intfStatusDel("Ethernet2");
   EXPECT_FALSE(mib->dot1dBasePortTable(EthPortId(42)));
   EXPECT_TRUE(mib->dot1dBasePortTable(EthPortId(2)));
   EXPECT_EQ(agent->portId("Ethernet2"), EthPortId(0));
   EXPECT_EQ(agent->portSm()->intfStatuss(), 7u);
   sw.newPort({"Ethernet30", 0, 30, true});
   sw.entities().intfStatusDir->intfStatusDel("Ethernet30");
   EXPECT_EQ(mib->dot1dBasePortTables(), 8u);
}

}  // namespace
