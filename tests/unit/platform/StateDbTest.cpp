#include <gtest/gtest.h>

#include "platform/bridging/Config.h"
#include "platform/kel/Exception.h"
#include "platform/statedb/StateDb.h"

namespace {

TEST(DirTest, MountsAndFindsByPath) {
   auto root = Kel::make<Kel::Dir>();
   auto config = Kel::make<Bridging::Config>();
   root->mount("Statedb/bridging/config", config);
   EXPECT_EQ(root->lookup("Statedb/bridging/config"), Kel::Ptr<Kel::Entity>(config));
   EXPECT_TRUE(Kel::ptrCast<Kel::Dir>(root->lookup("Statedb/bridging")));
   EXPECT_FALSE(root->lookup("Statedb/bridging/status"));
   EXPECT_FALSE(root->lookup("Statedb/bridging/config/deeper"));
   EXPECT_FALSE(root->lookup(""));

   // Names may contain dots: the status is mounted next to the cache.
   auto other = Kel::make<Bridging::Config>();
   root->mount("snmp/swix/qbridgemib.status", other);
   EXPECT_EQ(root->lookup("snmp/swix/qbridgemib.status"), Kel::Ptr<Kel::Entity>(other));
   EXPECT_FALSE(root->lookup("snmp/swix/qbridgemib"));

   root->unmount("Statedb/bridging/config");
   EXPECT_FALSE(root->lookup("Statedb/bridging/config"));
   EXPECT_EQ(config->references(), 1u) << "unmounting drops the directory's reference";
}

}  // namespace
