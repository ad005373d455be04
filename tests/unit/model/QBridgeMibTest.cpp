// The cache's rows read through what they point at, never copies of it.

#include <gtest/gtest.h>

#include "model/QBridgeMib.h"

namespace {

using namespace BridgeSnmp;

TEST(QBridgeMibTest, StaticRowsReadTheirNameThroughTheConfiguration) {
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
   auto row = mib->dot1qTpFdbTableIs(
       Dot1qTpFdbEntryKey(Bridging::Fid(10), *Velnet::EthAddr::parse("02:00:00:00:00:01")));
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

}  // namespace
