#include <gtest/gtest.h>

#include "tests/support/AgentFixture.h"

namespace {

using BridgeSnmpAgent::currentAgent;

class AgentRootTest : public TestSupport::AgentTest {};

TEST_F(AgentRootTest, SameCacheRebuildsNothing) {
   const auto portSm = agent->portSm();
   const auto fidSm = agent->fidSm();
   agent->mibIs(mib);
   EXPECT_EQ(agent->portSm(), portSm);
   EXPECT_EQ(agent->fidSm(), fidSm);
}

TEST_F(AgentRootTest, ChangedInputsReachOnlyTheMachinesThatUseThem) {
   const auto portSm = agent->portSm();
   const auto fidSm = agent->fidSm();
   const auto vlanConfigSm = agent->vlanConfigSm();
   const auto vlanStatusSm = agent->vlanStatusSm();
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
