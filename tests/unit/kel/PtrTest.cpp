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

class Base : public Kel::Entity {};
class Derived : public Base {};
class Other : public Kel::Entity {};

TEST(PtrTest, CountsReferencesAndRunsZeroRefHookOnce) {
   Tracked t;
   {
      Kel::Ptr<Tracked> a(&t);
      EXPECT_EQ(t.references(), 1u);
      Kel::Ptr<Tracked> b = a;
      EXPECT_EQ(t.references(), 2u);
      Kel::Ptr<const Tracked> c = b;  // read-only form shares the count
      EXPECT_EQ(t.references(), 3u);
      Kel::Ptr<Tracked> moved = std::move(b);
      EXPECT_EQ(t.references(), 3u);
      EXPECT_EQ(b.get(), nullptr);
      EXPECT_EQ(t.zeroRefs, 0);
   }
   EXPECT_EQ(t.references(), 0u);
   EXPECT_EQ(t.zeroRefs, 1);
}

TEST(PtrTest, AssignmentReleasesThePreviousObject) {
   Tracked first;
   Tracked second;
   Kel::Ptr<Tracked> p(&first);
   p = &second;
   EXPECT_EQ(first.zeroRefs, 1);
   EXPECT_EQ(second.references(), 1u);
   p = nullptr;
   EXPECT_EQ(second.zeroRefs, 1);
}

TEST(PtrTest, DefaultZeroRefHookDeletesTheObject) {
   // Under AddressSanitizer a missing delete shows as a leak and a double one as an error.
   auto port = Kel::make<TestModel::Port>(7);
   Kel::Ptr<Kel::Entity> asEntity = port;
   port = nullptr;
   EXPECT_EQ(asEntity->references(), 1u);
}

}  // namespace
