#pragma once

#include "agent/Agent.h"
#include "model/QBridgeMib.h"
#include "tests/support/SimSwitchFixture.h"

namespace TestSupport {

// The agent over a simulated switch (Ethernet1..N, VLANs 1, 10, 20, 30), with fake time:
// the cache is set last, as the plug-in does.
class AgentTest : public SimSwitchTest {
 protected:
   explicit AgentTest(int portCount = 8) : SimSwitchTest(portCount) {}

   void SetUp() override {
      mib->inputConfigIs(sw.entities().input);
      agent = BridgeSnmpAgent::agentFactory("agent");
      agent->kelFwkActivityIs(manager.activityIs("bridgeSnmp"));
      agent->configIs(sw.entities().config);
      agent->statusIs(sw.entities().status);
      agent->vlanStatusDirIs(sw.entities().vlanStatusDir);
      agent->intfStatusDirIs(sw.entities().intfStatusDir);
      agent->readerShimIs(sw.entities().reader);
      agent->mibIs(mib);
   }

   void TearDown() override {
      agent->doShutdown();
      agent = nullptr;
   }

   // Runs wake-ups until the backlog is worked off (time does not move).
   void drain() {
      for (int i = 0; i < 1000 && manager.nextWake() <= Kel::now(); ++i) {
         runDue();
      }
   }

   BridgeSnmpAgent::FidSm& fidSm() { return *agent->fidSm(); }

   BridgeSnmp::Dot1qTpFdbEntry::Ptr qRow(unsigned fid, const char* address) {
      return mib->dot1qTpFdbTable(BridgeSnmp::Dot1qTpFdbEntryKey(Bridging::Fid(fid), mac(address)));
   }
   BridgeSnmp::Dot1dTpFdbEntry::Ptr dRow(const char* address) {
      return mib->dot1dTpFdbTable(mac(address));
   }

   BridgeSnmp::QBridgeMib::Ptr mib = BridgeSnmp::qBridgeMibFactory("qbridgemib");
   BridgeSnmpAgent::Agent::Ptr agent;
};

}  // namespace TestSupport
