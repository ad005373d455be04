#include <gtest/gtest.h>

#include "platform/kel/Entity.h"
#include "platform/kel/Ptr.h"
#include "tests/support/TestEntities.h"

namespace {

// Counts its disposals instead of deleting itself when the last reference goes.
class Tracked : public Kel::Object {
 public:
   int zeroRefs = 0;
   void handleZeroRef() override { ++zeroRefs; }
};

// Copies, read-only copies and assignments share one count; the last reference to go runs
// the zero-reference hook once, and assigning releases the object held before.
TEST(PtrTest, CountsReferencesAndRunsTheZeroRefHookOnce) {
   Tracked t;
   Tracked second;
   {
      Kel::Ptr<Tracked> a(&t);
      Kel::Ptr<Tracked> b = a;
      Kel::Ptr<const Tracked> c = b;
      EXPECT_EQ(t.references(), 3u);
      Kel::Ptr<Tracked> moved = std::move(b);
      EXPECT_EQ(t.references(), 3u);
      EXPECT_EQ(b.get(), nullptr);
      a = &second;
      EXPECT_EQ(t.references(), 2u);
      EXPECT_EQ(t.zeroRefs, 0);
   }
   EXPECT_EQ(t.references(), 0u);
   EXPECT_EQ(t.zeroRefs, 1);
   EXPECT_EQ(second.zeroRefs, 1);
   // The default hook deletes the object: under AddressSanitizer a missing delete shows as a
   // leak, a double one as an error.
   auto port = Kel::make<TestModel::Port>(7);
   Kel::Ptr<Kel::Entity> asEntity = port;
   port = nullptr;
   EXPECT_EQ(asEntity->references(), 1u);
}

}  // namespace
