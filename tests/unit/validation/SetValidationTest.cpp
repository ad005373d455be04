#include <gtest/gtest.h>

#include <vector>

#include "tests/support/AgentFixture.h"
#include "validation/PortValidation.h"

namespace {

using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using namespace BridgeSnmp;

// Port 1 access in VLAN 10, port 6 routed, port 8 without a switchport. The rules between
// the bindings of one request are checked over SNMP, with their statuses, in QBridgeSetTest.
class SetValidationTest : public TestSupport::AgentTest {
 protected:
   void SetUp() override {
      AgentTest::SetUp();
      using S = Sim::SwitchportSpec;
      sw.switchportIs(eth(1), S{SwitchportMode::access, VlanId(10)});
      sw.switchportIs(eth(6), S{SwitchportMode::routed});
      sw.entities().input->switchIntfConfigDel(eth(8));
      runDue();
      drain();
   }

   Dot1dBasePortEntry::Ptr port(unsigned p) {
      return mib->dot1dBasePortTable(Interface::EthPortId(p));
   }
   Dot1qVlanStaticEntry::Ptr vlan(unsigned v) { return mib->dot1qVlanStaticTable(v); }
   static EthPortIdSet::PtrConst ports(std::vector<unsigned> members) {
      std::vector<unsigned char> octets(32, 0);
      for (unsigned p : members) {
         octets[(p - 1) / 8] |= static_cast<unsigned char>(0x80 >> ((p - 1) % 8));
      }
      return PortListToPortIdSet(octets.data(), static_cast<int>(octets.size()));
   }
};

// The column checks the SNMP scenarios cannot reach (their statuses for the rest are checked
// there): ports without a switchport, routed ports, egress lists naming ports without rows.
TEST_F(SetValidationTest, ColumnChecks) {
   EXPECT_TRUE(validateAdmitFrame(port(1), admitOnlyVlanTagged));
   EXPECT_FALSE(validateAdmitFrame(port(6), admitAll)) << "a routed port";
   EXPECT_FALSE(validateAdmitFrame(port(8), admitAll)) << "a port without switchport";
   EXPECT_FALSE(validateDot1qPvid(port(6), VlanIdOrNone(10))) << "a routed port";
   EXPECT_FALSE(validateDot1qPvid(port(8), VlanIdOrNone(10))) << "a port without switchport";
   EXPECT_TRUE(validateDot1qVlanStaticPorts(vlan(10), ports({200}))) << "no such rows";
}

}  // namespace
