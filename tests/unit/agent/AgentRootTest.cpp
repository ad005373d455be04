#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/AgentFixture.h"

namespace {

using BridgeSnmpAgent::currentAgent;
using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using TestSupport::mac;

// Every row of the cache with the values the machines give it, one line a row.
std::string rowsOf(const BridgeSnmp::QBridgeMib& mib) {
   std::ostringstream out;
   for (auto it = mib.dot1dBasePortTableIteratorConst(); it; ++it) {
      out << "port " << it.key() << " " << (*it)->intf() << " ifIndex " << (*it)->ifIndex()
          << " pvid " << (*it)->dot1qPvid() << " admit " << (*it)->admitFrame() << "\n";
   }
   for (auto it = mib.dot1qVlanStaticTableIteratorConst(); it; ++it) {
      out << "static " << it.key() << " " << (*it)->vlanConfig()->configuredName() << "\n";
   }
   for (auto it = mib.dot1qVlanCurrentTableIteratorConst(); it; ++it) {
      out << "current " << it.key() << " " << (*it)->vlanStatus()->vlanId() << "\n";
   }
   for (auto it = mib.dot1qTpFdbTableIteratorConst(); it; ++it) {
      out << "fdb " << it.key() << " " << (*it)->intf() << " " << (*it)->status() << " moves "
          << (*it)->moves() << "\n";
   }
   for (auto it = mib.dot1dTpFdbTableIteratorConst(); it; ++it) {
      out << "bridge fdb " << it.key() << " " << (*it)->intf() << " " << (*it)->status() << "\n";
   }
   return out.str();
}

class AgentRootTest : public TestSupport::AgentTest {};

TEST_F(AgentRootTest, ChangedInputsReachOnlyTheMachinesThatUseThem) {
   const auto portSm = agent->portSm();
   const auto fidSm = agent->fidSm();
   const auto vlanConfigSm = agent->vlanConfigSm();
   const auto vlanStatusSm = agent->vlanStatusSm();
   agent->mibIs(mib);
   EXPECT_EQ(agent->fidSm(), fidSm) << "the same cache rebuilds nothing";
   auto otherConfig = Kel::make<Bridging::Config>();
   agent->configIs(otherConfig);
   EXPECT_EQ(agent->fidSm(), fidSm) << "an input alone does not rebuild";
   agent->doInit();
   EXPECT_EQ(agent->portSm(), portSm) << "the port machine does not read the configuration";
   EXPECT_NE(agent->fidSm(), fidSm);
   EXPECT_NE(agent->vlanConfigSm(), vlanConfigSm);
   EXPECT_NE(agent->vlanStatusSm(), vlanStatusSm);
   EXPECT_TRUE(agent->vlanConfigSm()->builtFrom(agent->kelFwkActivity(), mib, otherConfig));

   // A new cache rebuilds all four.
   auto otherMib = BridgeSnmp::qBridgeMibFactory("other");
   agent->mibIs(otherMib);
   EXPECT_NE(agent->portSm(), portSm);
   EXPECT_EQ(otherMib->dot1dBasePortTables(), 8u) << "the new cache is filled at once";
}

// The agent moves from the fixture's switch to another one (as when a bridge goes and
// comes back): fewer ports, one renumbered, two VLANs gone, a FID gone, a host moved, a
// learned host now static and a static one gone. Rebuilt on the same cache, the machines
// leave exactly the rows a fresh cache gets from the new switch.
TEST_F(AgentRootTest, RebuildOnTheSameCacheLeavesOnlyTheRowsOfTheNewInputs) {
   sw.switchportIs("Ethernet1", {SwitchportMode::trunk, VlanId(1), VlanIdOrNone(10), "1,10,20"});
   sw.switchportIs("Ethernet2", {SwitchportMode::access, VlanId(20)});
   sw.learn(VlanId(20), mac("02:00:00:00:00:20"), "Ethernet2");
   sw.learn(VlanId(10), mac("02:00:00:00:00:10"), "Ethernet1");
   sw.learn(VlanId(1), mac("02:00:00:00:00:01"), "Ethernet3");
   sw.staticHostIs(VlanId(1), mac("00:1c:73:00:00:01"), "Ethernet4");
   drain();

   Sim::Switch other(manager);
   for (int i = 1; i <= 4; ++i) {
      other.newPort({eth(i), static_cast<std::uint16_t>(i == 4 ? 9 : i), i, true});
   }
   other.vlanIs({VlanId(1), "default"});
   other.vlanIs({VlanId(10), "ten"});
   other.switchportIs("Ethernet2", {SwitchportMode::trunk, VlanId(1), VlanIdOrNone(1), "1,10"});
   other.learn(VlanId(10), mac("02:00:00:00:00:10"), "Ethernet2");
   other.learn(VlanId(1), mac("02:00:00:00:00:03"), "Ethernet1");
   other.staticHostIs(VlanId(1), mac("02:00:00:00:00:01"), "Ethernet3");

   mib->inputConfigIs(other.entities().input);
   agent->configIs(other.entities().config);
   agent->statusIs(other.entities().status);
   agent->vlanStatusDirIs(other.entities().vlanStatusDir);
   agent->intfStatusDirIs(other.entities().intfStatusDir);
   agent->readerShimIs(other.entities().reader);
   agent->doInit();
   drain();
   const std::string rebuilt = rowsOf(*mib);
   EXPECT_EQ(mib->dot1dBasePortTables(), 4u);
   EXPECT_EQ(agent->portIds(), 4u);
   EXPECT_EQ(BridgeSnmp::currentPortId("Ethernet4"), Interface::EthPortId(9));
   EXPECT_FALSE(mib->dot1qVlanCurrentTable(20));
   EXPECT_EQ(mib->dot1qVlanNumDeletes(), 2u) << "VLANs 20 and 30 went";
   EXPECT_FALSE(qRow(20, "02:00:00:00:00:20")) << "its FID went";
   EXPECT_FALSE(qRow(1, "00:1c:73:00:00:01")) << "configured no more";
   EXPECT_EQ(qRow(1, "02:00:00:00:00:01")->status(), BridgeSnmp::statusMgmt);
   EXPECT_EQ(qRow(10, "02:00:00:00:00:10")->intf(), Velnet::IntfId("Ethernet2"));

   auto fresh = BridgeSnmp::qBridgeMibFactory("fresh");
   agent->mibIs(fresh);
   drain();
   EXPECT_EQ(rebuilt, rowsOf(*fresh));
}

// A FID machine rebuilt over rows it did not make still removes them with their FID.
TEST_F(AgentRootTest, RebuiltFidMachineRemovesTheRowsOfAFidThatGoes) {
   sw.switchportIs("Ethernet1", {SwitchportMode::access, VlanId(10)});
   sw.learn(VlanId(10), mac("02:00:00:00:00:10"), "Ethernet1");
   sw.staticHostIs(VlanId(10), mac("00:1c:73:00:00:10"), "Ethernet1");
   drain();
   agent->fidSmDel();
   agent->doInit();
   drain();
   const auto hosts = agent->fidSm()->fidHostMap(Bridging::Fid(10));
   ASSERT_TRUE(hosts) << "the rows it found are tracked";
   EXPECT_EQ(hosts->hosts(), 2u);
   sw.vlanDel(VlanId(10));
   EXPECT_EQ(mib->dot1qTpFdbTables(), 0u);
}

// With no activity there is no clock to run slices: hosts become rows at once.
TEST_F(AgentRootTest, FidMachineWithoutAnActivityWorksKeysOffAtOnce) {
   agent->kelFwkActivityIs(nullptr);
   agent->doInit();
   sw.switchportIs("Ethernet1", {SwitchportMode::access, VlanId(10)});
   sw.learn(VlanId(10), mac("02:00:00:00:00:10"), "Ethernet1");
   EXPECT_TRUE(fidSm().backlog().empty());
   const auto row = qRow(10, "02:00:00:00:00:10");
   ASSERT_TRUE(row);
   EXPECT_EQ(row->intf(), Velnet::IntfId("Ethernet1"));
   sw.age(VlanId(10), mac("02:00:00:00:00:10"));
   EXPECT_FALSE(qRow(10, "02:00:00:00:00:10"));
}

TEST_F(AgentRootTest, ShutdownDropsMachinesAndEmptiesTheMap) {
   EXPECT_EQ(agent->portIds(), 8u);
   agent->doShutdown();
   EXPECT_FALSE(agent->portSm());
   EXPECT_FALSE(agent->vlanStatusSm());
   EXPECT_EQ(agent->portIds(), 0u);
   EXPECT_FALSE(currentAgent());
   EXPECT_EQ(BridgeSnmp::currentPortId("Ethernet1"), Interface::EthPortId(0));
}

}  // namespace
