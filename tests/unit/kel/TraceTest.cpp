#include <gtest/gtest.h>

#include <string>

#include "platform/kel/MemoryTraceSink.h"
#include "platform/kel/RingTrace.h"
#include "platform/kel/Trace.h"

namespace {

class TraceTest : public ::testing::Test {
 protected:
   void SetUp() override {
      previous_ = Kel::traceSink();
      Kel::traceSinkIs(sink);
   }
   void TearDown() override {
      Kel::traceSinkIs(previous_);
      Kel::setTraceLevels("Alpha/0,Beta/0,*/0");
   }
   std::shared_ptr<Kel::MemoryTraceSink> sink = std::make_shared<Kel::MemoryTraceSink>();
   // Facilities exist while a handle of theirs does.
   Kel::TraceHandle alpha{"Alpha"};
   Kel::TraceHandle beta{"Beta"};

 private:
   std::shared_ptr<Kel::TraceSink> previous_;
};

struct Expensive {
   int* formatted;
};
std::ostream& operator<<(std::ostream& os, const Expensive& e) {
   ++*e.formatted;
   return os << "expensive";
}

TEST_F(TraceTest, MessageIsFormattedOnlyWhenItsLevelIsEnabled) {
   ASSERT_TRUE(Kel::setTraceLevels("Alpha/2"));
   int formatted = 0;
   KEL_TRACE(alpha, 3, Expensive{&formatted});
   EXPECT_EQ(formatted, 0);
   EXPECT_TRUE(sink->lines().empty());
   KEL_TRACE(alpha, 2, "value " << Expensive{&formatted});
   EXPECT_EQ(formatted, 1);
   ASSERT_EQ(sink->lines().size(), 1u);
   EXPECT_EQ(sink->lines()[0].facility, "Alpha");
   EXPECT_EQ(sink->lines()[0].level, 2);
   EXPECT_EQ(sink->lines()[0].source, "TraceTest");
   EXPECT_EQ(sink->lines()[0].message, "value expensive");
}

// Levels apply to handles made before and after, by name; "*" to facilities not named.
TEST_F(TraceTest, LevelsApplyToExistingAndLaterHandlesByName) {
   Kel::TraceHandle early("Beta");
   ASSERT_TRUE(Kel::setTraceLevels("Beta/8, Alpha/1,*/5"));
   Kel::TraceHandle late("Beta");
   Kel::TraceHandle gamma("Gamma");
   EXPECT_EQ(early.level(), 8);
   EXPECT_EQ(late.level(), 8);
   EXPECT_EQ(gamma.level(), 5);
   EXPECT_EQ(Kel::traceLevel("Alpha"), 1);
}

TEST_F(TraceTest, MalformedLevelTextChangesNothing) {
   ASSERT_TRUE(Kel::setTraceLevels("Alpha/4"));
   std::string error;
   EXPECT_FALSE(Kel::setTraceLevels("Alpha/1,Bogus/3", &error));
   EXPECT_EQ(error.rfind("unknown trace facility 'Bogus'; known: Alpha, Beta", 0), 0u) << error;
   EXPECT_FALSE(Kel::setTraceLevels("Alpha/1,Beta", &error));
   EXPECT_EQ(error, "expected Facility/level, got 'Beta'");
   EXPECT_FALSE(Kel::setTraceLevels("Alpha/10", &error));
   EXPECT_EQ(error, "trace level must be 0 to 9 in 'Alpha/10'");
   EXPECT_FALSE(Kel::setTraceLevels("Alpha/x", &error));
   EXPECT_EQ(alpha.level(), 4);
}

}  // namespace
