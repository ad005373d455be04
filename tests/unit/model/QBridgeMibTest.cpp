#include <gtest/gtest.h>

#include "model/QBridgeMib.h"
#include "platform/snmputil/Converters.h"

namespace {

using namespace BridgeSnmp;

Dot1qTpFdbEntryKey key(unsigned fid, const char* address) {
   return Dot1qTpFdbEntryKey(Bridging::Fid(fid), *Velnet::EthAddr::parse(address));
}

TEST(QBridgeMibTest, RowCollectionsCreateOrGetAndWalkInKeyOrder) {
   auto mib = qBridgeMibFactory("qbridgemib");
   auto first = mib->dot1qTpFdbTableIs(key(20, "00:00:00:00:00:02"));
   EXPECT_EQ(mib->newDot1qTpFdbTable(key(20, "00:00:00:00:00:02")), first);
   mib->dot1qTpFdbTableIs(key(1, "ff:ff:ff:ff:ff:ff"));
   mib->dot1qTpFdbTableIs(key(20, "00:00:00:00:00:01"));
   std::vector<Dot1qTpFdbEntryKey> walked;
   for (auto it = mib->dot1qTpFdbTableIteratorConst(); it; ++it) {
      walked.push_back(it.key());
   }
   EXPECT_EQ(walked, (std::vector<Dot1qTpFdbEntryKey>{key(1, "ff:ff:ff:ff:ff:ff"),
                                                      key(20, "00:00:00:00:00:01"),
                                                      key(20, "00:00:00:00:00:02")}));
   EXPECT_EQ(mib->dot1qTpFdbTables(), 3u);
   EXPECT_EQ(mib->dot1qTpFdbTable(key(20, "00:00:00:00:00:02")), first);
   mib->dot1qTpFdbTableDel(key(20, "00:00:00:00:00:02"));
   mib->dot1qTpFdbTableDel(key(20, "00:00:00:00:00:02"));
   EXPECT_FALSE(mib->dot1qTpFdbTable(key(20, "00:00:00:00:00:02")));
   EXPECT_TRUE(first->kelZombie());
   mib->dot1qTpFdbTableDelAll();
   EXPECT_EQ(mib->dot1qTpFdbTables(), 0u);
   mib->dot1qTpFdbTableDelAll();  // empty: nothing happens
   EXPECT_EQ(mib->dot1qTpFdbTables(), 0u);
}

TEST(QBridgeMibTest, StaticRowsKnowTheirParentAndName) {
   auto mib = qBridgeMibFactory("qbridgemib");
   auto row = mib->dot1qVlanStaticTableIs(10);
   EXPECT_EQ(row->parent(), mib.get());
   EXPECT_EQ(row->configuredName(), Kel::String8()) << "no configuration yet";
   auto config = Kel::make<Bridging::VlanConfig>(Bridging::VlanId(10));
   config->configuredNameIs("engineering");
   row->vlanConfigIs(config);
   EXPECT_EQ(row->configuredName(), Kel::String8("engineering"));
   config->configuredNameIs("eng");
   EXPECT_EQ(row->configuredName(), Kel::String8("eng")) << "read through, never cached";
}

TEST(QBridgeMibTest, MovesAreReadOnDemandFromTheLearnedHost) {
   auto mib = qBridgeMibFactory("qbridgemib");
   auto row = mib->dot1qTpFdbTableIs(key(10, "02:00:00:00:00:01"));
   EXPECT_EQ(row->moves(), 0u) << "no FDB status";
   EXPECT_EQ(row->lastMoveTime(), 0.0);
   auto fdb = Kel::make<Bridging::FdbStatus>(Bridging::Fid(10));
   row->fdbStatusIs(fdb);
   EXPECT_EQ(row->moves(), 0u) << "no learned host for the address";
   fdb->learnedHostIs(
       row->key().address(),
       Bridging::LearnedHost{"Ethernet3", Bridging::FdbEntryType::learnedDynamic, 4, 1234.5});
   EXPECT_EQ(row->moves(), 4u);
   EXPECT_EQ(row->lastMoveTime(), 1234.5);
}

TEST(QBridgeMibTest, CurrentRowLastChangeInTicksSinceAgentStart) {
   const double before = Snmp::agentStartTime();
   Snmp::agentStartTimeIs(1000.0);
   auto mib = qBridgeMibFactory("qbridgemib");
   auto row = mib->dot1qVlanCurrentTableIs(30);
   EXPECT_EQ(row->debugLastChange(), 0u) << "a row that never changed";
   row->lastChangeIs(1012.34);
   EXPECT_EQ(row->debugLastChange(), 1234u);
   Snmp::agentStartTimeIs(before);
}

}  // namespace
