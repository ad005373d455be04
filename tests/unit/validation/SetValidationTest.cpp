#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "platform/kel/MemoryTraceSink.h"
#include "tests/support/AgentFixture.h"
#include "validation/CrossValidation.h"
#include "validation/PortValidation.h"
#include "validation/SetPlan.h"

namespace {

using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using namespace BridgeSnmp;

// Ports 1 and 2 access in VLAN 10, port 3 access in 20, port 4 an uplink trunk (native 1,
// allowing 1,10,20), port 5 a server trunk (no native VLAN, allowing 10,20), port 6 routed.
// VLAN 4000 is the switch's own.
class SetValidationTest : public TestSupport::AgentTest {
 protected:
   void SetUp() override {
      AgentTest::SetUp();
      sw.vlanIs({VlanId(4000), "reserved", true});
      using S = Sim::SwitchportSpec;
      sw.switchportIs(eth(1), S{SwitchportMode::access, VlanId(10)});
      sw.switchportIs(eth(2), S{SwitchportMode::access, VlanId(10)});
      sw.switchportIs(eth(3), S{SwitchportMode::access, VlanId(20)});
      sw.switchportIs(eth(4), S{SwitchportMode::trunk, VlanId(1), VlanIdOrNone(1), "1,10,20"});
      sw.switchportIs(eth(5), S{SwitchportMode::trunk, VlanId(1), VlanIdOrNone(), "10,20"});
      sw.switchportIs(eth(6), S{SwitchportMode::routed});
      sw.entities().input->switchIntfConfigDel(eth(8));
      runDue();
      drain();
      previousSink_ = Kel::traceSink();
      Kel::traceSinkIs(refusals);
      ASSERT_TRUE(Kel::setTraceLevels("BridgeSnmpSet/3"));
   }
   void TearDown() override {
      Kel::traceSinkIs(previousSink_);
      Kel::setTraceLevels("BridgeSnmpSet/0");
      AgentTest::TearDown();
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

   // One request's bindings, as the SET handlers gather them.
   struct Request {
      PvidBindings pvid;
      AftBindings aft;
      PortSetBindings egress, untagged;
   };
   Request request(std::vector<std::pair<unsigned, unsigned>> pvids,
                   std::vector<std::pair<unsigned, FrameAdmits>> afts,
                   std::vector<std::pair<unsigned, std::vector<unsigned>>> egress,
                   std::vector<std::pair<unsigned, std::vector<unsigned>>> untagged) {
      Request r;
      for (auto [p, v] : pvids)
         r.pvid.emplace_back(port(p), VlanIdOrNone(v));
      for (auto [p, a] : afts)
         r.aft.emplace_back(port(p), a);
      for (auto& [v, members] : egress)
         r.egress.emplace_back(vlan(v), ports(members));
      for (auto& [v, members] : untagged)
         r.untagged.emplace_back(vlan(v), ports(members));
      return r;
   }
   // The reason the request is refused for, "" when it passes.
   std::string refusal(const Request& r) {
      refusals->clear();
      mib->sepActionDelAll();
      mib->aftActionDelAll();
      const bool passed = validateVlansAndPorts(r.pvid, r.aft, r.egress, r.untagged);
      std::string reason;
      for (const auto& line : refusals->lines()) {
         if (line.level == 3) {
            reason = line.message;
         }
      }
      EXPECT_EQ(passed, reason.empty()) << reason;
      return reason;
   }

   std::shared_ptr<Kel::MemoryTraceSink> refusals = std::make_shared<Kel::MemoryTraceSink>();

 private:
   std::shared_ptr<Kel::TraceSink> previousSink_;
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

// Each rule of the cross validation, by the refusal it gives; VLAN 10's members are ports
// 1, 2, 4 and 5, VLAN 20's ports 3, 4 and 5.
TEST_F(SetValidationTest, CrossValidationRules) {
   struct Case {
      const char* name;
      Request request;
      std::string refusal;  // a part of the refusal's text; empty when the request passes
   };
   const std::vector<Case> cases = {
       {"empty request", request({}, {}, {}, {}), ""},
       {"PVID alone", request({{1, 20}}, {}, {}, {}), ""},
       {"PVID with admitOnlyVlanTagged on the port",
        request({{1, 20}}, {{1, admitOnlyVlanTagged}}, {}, {}),
        "tagging the native vlan and setting"},
       {"new native VLAN left out of its egress ports",
        request({{3, 10}}, {}, {{10, {1, 2, 4, 5}}}, {}), "removing the new native vlan"},
       {"existing native VLAN left out of its egress ports", request({}, {}, {{10, {2, 4, 5}}}, {}),
        "removing the existing native vlan (dot1qVlanStaticEgressPorts.10) from Ethernet1"},
       {"untagged in two VLANs", request({}, {}, {}, {{1, {4}}, {20, {4}}}),
        "multiple untagged interfaces Ethernet4"},
       {"untagged VLAN other than the new PVID", request({{3, 10}}, {}, {}, {{20, {3}}}),
        "does not have the right dot1qPvid binding i.e. 10 but it should have been 20"},
       {"every VLAN removed from a trunk", request({}, {}, {{10, {1, 2, 4}}, {20, {3, 4}}}, {}),
        "removing all Vlans from interface Ethernet5"},
       {"native VLAN tagged while admitting all", request({}, {{4, admitAll}}, {}, {{1, {}}}),
        "admitAll in the bindings for Ethernet4"},
       {"untagged port admitting only tagged frames",
        request({}, {{1, admitOnlyVlanTagged}}, {}, {{10, {1, 2}}}),
        "the port (1) is marked as untagged"},
       {"untagged on a trunk without a native VLAN", request({}, {}, {}, {{10, {5}}}),
        "set to untagged for Ethernet5"},
       {"untagged VLAN other than the existing native VLAN", request({}, {}, {}, {{20, {1}}}),
        "do not match with the existing native vlan 10"},
       {"untagged VLAN matching the existing native VLAN", request({}, {}, {}, {{10, {1, 2}}}), ""},
       {"access port moved from VLAN 10 to 20",
        request({{1, 20}}, {}, {{10, {2, 4, 5}}, {20, {1, 3, 4, 5}}}, {{20, {1, 3}}}), ""},
       {"trunk leaves VLAN 10, keeps VLAN 20",
        request({}, {}, {{10, {1, 2, 5}}, {20, {3, 4, 5}}}, {}), ""},
   };
   for (const Case& c : cases) {
      const std::string reason = refusal(c.request);
      if (c.refusal.empty()) {
         EXPECT_EQ(reason, "") << c.name;
      } else {
         EXPECT_NE(reason.find(c.refusal), std::string::npos) << c.name << ": " << reason;
      }
   }
   // The last request's decisions: Ethernet4 leaves VLAN 10, and the VLAN 20 binding that
   // leaves it alone does not take that back; no other port changes.
   EXPECT_EQ(mib->sepAction("Ethernet4"), takeAction);
   EXPECT_EQ(mib->sepAction("Ethernet1"), noOp);
   EXPECT_EQ(mib->sepAction("Ethernet5"), noOp);
}

// What a request leaves, worked out from all its bindings at once: each changed port as
// "EthernetN mode native allowed", VLANs to create, or the binding a refusal names. Each
// request is also tried with its egress bindings in the other order.
TEST_F(SetValidationTest, PlanOfTheWholeRequest) {
   struct Case {
      const char* name;
      Request request;
      std::string result;
   };
   const std::vector<Case> cases = {
       {"PVID of an access port, a VLAN to create", request({{1, 77}}, {}, {}, {}),
        "Ethernet1 access 77 77; create 77"},
       {"a move by egress, untagged and PVID",
        request({{1, 20}}, {}, {{10, {2, 4, 5}}, {20, {1, 3, 4, 5}}}, {{20, {1, 3}}}),
        "Ethernet1 trunk 20 20"},
       {"an egress binding of the old VLAN keeps it",
        request({{1, 20}}, {}, {{10, {1, 2, 4, 5}}, {20, {1, 3, 4, 5}}}, {}),
        "Ethernet1 trunk 20 10,20"},
       {"an empty untagged list of a port's VLAN", request({}, {}, {}, {{1, {4, 7}}, {20, {}}}),
        "refused untagged 1"},
       {"untagged ports as they are", request({}, {}, {}, {{10, {1, 2}}}), ""},
   };
   const auto planText = [&](const Request& r) {
      BindingFault fault;
      const std::optional<SetPlan> plan =
          SetPlan::make(SetBindings{r.pvid, r.aft, r.egress, r.untagged}, &fault);
      std::ostringstream text;
      if (!plan) {
         const char* columns[] = {"pvid", "aft", "egress", "untagged"};
         text << "refused " << columns[static_cast<int>(fault.column)] << " " << fault.position;
         return text.str();
      }
      for (const auto& change : plan->ports()) {
         const Switchport& p = change.after;
         text << (text.tellp() ? "; " : "") << change.row->intf() << " "
              << (p.trunk() ? "trunk " : "access ") << p.native << " "
              << p.carried.multiRangeString();
      }
      for (const VlanId vlan : plan->createdVlans()) {
         text << "; create " << vlan;
      }
      return text.str();
   };
   for (const Case& c : cases) {
      EXPECT_EQ(planText(c.request), c.result) << c.name;
      Request reversed = c.request;
      std::reverse(reversed.egress.begin(), reversed.egress.end());
      EXPECT_EQ(planText(reversed), c.result) << c.name << ", egress bindings reversed";
   }
}

}  // namespace
