#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/SimSwitchFixture.h"

namespace {

using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Members = std::map<std::string, std::string>;

class ConfigAgentTest : public TestSupport::SimSwitchTest {
 protected:
   ConfigAgentTest() : SimSwitchTest(4) {}
};

// One input configuration of Ethernet1 and what the switch makes of it: its membership in
// VLANs 1, 10, 20 and 30, one letter each ('u' untagged, 't' tagged, '-' none). Access ports,
// trunks and routed ports the SNMP scenarios read in the VLAN tables; these are the rest.
struct MembershipCase {
   const char* name;
   Sim::SwitchportSpec settings;
   const char* memberships;
   SwitchportMode mode;
   VlanIdOrNone native;
};

std::vector<MembershipCase> membershipCases() {
   using S = Sim::SwitchportSpec;
   const auto access = SwitchportMode::access;
   const auto trunk = SwitchportMode::trunk;
   return {
       {"access VLAN that does not exist gives no membership",
        S{access, VlanId(99), VlanIdOrNone(1), "1-4094"}, "----", access, VlanIdOrNone(99)},
       {"trunk without a native VLAN is tagged everywhere",
        S{trunk, VlanId(1), VlanIdOrNone(0), "1-4094"}, "tttt", trunk, VlanIdOrNone(0)},
       {"native VLAN outside the allowed list carries nothing untagged",
        S{trunk, VlanId(1), VlanIdOrNone(30), "10"}, "-t--", trunk, VlanIdOrNone(30)},
       {"tunnel port carries no VLAN",
        S{SwitchportMode::dot1qTunnel, VlanId(20), VlanIdOrNone(1), "1"}, "----",
        SwitchportMode::dot1qTunnel, VlanIdOrNone(0)},
   };
}

TEST_F(ConfigAgentTest, MembershipFollowsTheSwitchportTable) {
   for (const MembershipCase& c : membershipCases()) {
      SCOPED_TRACE(c.name);
      sw.switchportIs(eth(1), c.settings);
      // Other ports stay access ports in VLAN 1; look at Ethernet1 alone.
      auto of = [](Members m, char letter) {
         return m.count("Ethernet1") ? m["Ethernet1"] == std::string(1, letter) : letter == '-';
      };
      const int vlans[] = {1, 10, 20, 30};
      for (int i = 0; i < 4; ++i) {
         EXPECT_TRUE(of(members(vlans[i]), c.memberships[i])) << "VLAN " << vlans[i];
         // Links are up, so every member is active.
         EXPECT_TRUE(of(active(vlans[i]), c.memberships[i])) << "VLAN " << vlans[i];
      }
      const auto sic = sw.entities().config->switchIntfConfig(eth(1));
      EXPECT_EQ(sic->switchportMode(), c.mode);
      EXPECT_EQ(sic->nativeVlan(), c.native);
   }
}

// Records what observers of the configuration and the VLAN status hear.
class Recorder : public Bridging::VlanConfig::NotifieeConst {
 public:
   explicit Recorder(std::vector<std::string>* log, const char* name) : log_(log), name_(name) {}
   void onIntf(const Velnet::IntfId& intf) override {
      log_->push_back(std::string(name_) + " intf " + intf.stringValue().stdString());
   }

 private:
   std::vector<std::string>* log_;
   const char* name_;
};

class StatusRecorder : public Bridging::VlanStatus::NotifieeConst {
 public:
   explicit StatusRecorder(std::vector<std::string>* log, const char* name)
       : log_(log), name_(name) {}
   void onVlanPortStatus(const Velnet::IntfId& intf) override {
      log_->push_back(std::string(name_) + " port " + intf.stringValue().stdString());
   }

 private:
   std::vector<std::string>* log_;
   const char* name_;
};

class SwitchportRecorder : public Bridging::SwitchIntfConfig::NotifieeConst {
 public:
   explicit SwitchportRecorder(std::vector<std::string>* log) : log_(log) {}
   void onSwitchportModeAndNativeVlan() override { log_->push_back("switchport"); }

 private:
   std::vector<std::string>* log_;
};

TEST_F(ConfigAgentTest, InputWritesApplyLaterAndTogether) {
   std::vector<std::string> log;
   Recorder config10(&log, "config10");
   Recorder config1(&log, "config1");
   StatusRecorder status10(&log, "status10");
   SwitchportRecorder switchport(&log);
   config10.notifierIs(sw.entities().config->vlanConfig(VlanId(10)));
   config1.notifierIs(sw.entities().config->vlanConfig(VlanId(1)));
   status10.notifierIs(sw.entities().vlanStatusDir->vlanStatus(VlanId(10)));
   switchport.notifierIs(sw.entities().config->switchIntfConfig(eth(4)));

   // What an SNMP SET does: write the input, several attributes in a row.
   const auto input = sw.entities().input->switchIntfConfig(eth(4));
   input->switchportModeIs(SwitchportMode::trunk);
   input->trunkAllowedVlansIs("10");
   input->trunkNativeVlanIs(VlanIdOrNone(10));
   EXPECT_TRUE(log.empty()) << "nothing is applied inside the write";
   EXPECT_EQ(members(10).count("Ethernet4"), 0u);

   runDue();
   EXPECT_EQ(members(10).at("Ethernet4"), "u");
   EXPECT_EQ(members(1).count("Ethernet4"), 0u);
   // One application: each observer hears once per changed key; the switchport's mode and
   // its native VLAN both changed, one callback each.
   std::sort(log.begin(), log.end());
   EXPECT_EQ(log,
             (std::vector<std::string>{"config1 intf Ethernet4", "config10 intf Ethernet4",
                                       "status10 port Ethernet4", "switchport", "switchport"}));
   EXPECT_EQ(manager.nextWake(), Kel::timeNever) << "nothing left to apply";
}

// Writes to the input that bypass the switch's own checks (an SNMP SET does) and that the
// switch cannot apply: the port stays as it was, the input as written.
TEST_F(ConfigAgentTest, InputTheSwitchCannotApplyLeavesThePortAsItWas) {
   sw.vlanIs({VlanId(4000), "reserved", true});
   sw.switchportIs(eth(2), {SwitchportMode::trunk, VlanId(1), VlanIdOrNone(1), "1,10"});
   runDue();
   struct Case {
      const char* name;
      std::function<void(Bridging::Input::SwitchIntfConfig&)> write;
   };
   const std::vector<Case> cases = {
       {"allowed list that does not read", [](auto& s) { s.trunkAllowedVlansIs("10,x"); }},
       {"reserved VLAN as native VLAN", [](auto& s) { s.trunkNativeVlanIs(VlanIdOrNone(4000)); }},
       {"reserved VLAN as access VLAN",
        [](auto& s) {
           s.switchportModeIs(SwitchportMode::access);
           s.accessVlanIs(VlanId(4000));
        }},
   };
   for (const Case& c : cases) {
      SCOPED_TRACE(c.name);
      sw.switchportIs(eth(2), {SwitchportMode::trunk, VlanId(1), VlanIdOrNone(1), "1,10"});
      runDue();
      c.write(*sw.entities().input->switchIntfConfig(eth(2)));
      runDue();
      EXPECT_EQ(sw.entities().config->switchIntfConfig(eth(2))->switchportMode(),
                SwitchportMode::trunk);
      EXPECT_EQ(sw.entities().config->switchIntfConfig(eth(2))->nativeVlan(), VlanIdOrNone(1));
      EXPECT_EQ(members(1).at("Ethernet2"), "u");
      EXPECT_EQ(members(10).at("Ethernet2"), "t");
      EXPECT_EQ(members(4000).count("Ethernet2"), 0u);
   }
}

}  // namespace
