#include <gtest/gtest.h>

#include <cstdlib>
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
   Kel::TraceHandle alpha("Alpha");
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

TEST_F(TraceTest, LevelsApplyToExistingAndLaterHandlesByName) {
   Kel::TraceHandle early("Beta");
   ASSERT_TRUE(Kel::setTraceLevels("Beta/8, Alpha/1"));
   Kel::TraceHandle late("Beta");
   EXPECT_EQ(early.level(), 8);
   EXPECT_EQ(late.level(), 8);
   EXPECT_EQ(Kel::traceLevel("Alpha"), 1);
}

TEST_F(TraceTest, WildcardSetsFacilitiesNotNamed) {
   ASSERT_TRUE(Kel::setTraceLevels("*/5,Alpha/1"));
   Kel::TraceHandle gamma("Gamma");
   EXPECT_EQ(gamma.level(), 5);
   EXPECT_EQ(Kel::traceLevel("Alpha"), 1);
}

TEST_F(TraceTest, MalformedLevelTextChangesNothing) {
   Kel::TraceHandle alpha("Alpha");
   ASSERT_TRUE(Kel::setTraceLevels("Alpha/4"));
   std::string error;
   EXPECT_FALSE(Kel::setTraceLevels("Alpha/1,Beta", &error));
   EXPECT_EQ(error, "expected Facility/level, got 'Beta'");
   EXPECT_FALSE(Kel::setTraceLevels("Alpha/10", &error));
   EXPECT_EQ(error, "trace level must be 0 to 9 in 'Alpha/10'");
   EXPECT_FALSE(Kel::setTraceLevels("Alpha/x", &error));
   EXPECT_EQ(alpha.level(), 4);
}

TEST_F(TraceTest, EnvironmentVariableSetsLevels) {
   ASSERT_EQ(::setenv("BRIDGESNMP_TRACE", "Alpha/6,Beta/3", 1), 0);
   EXPECT_TRUE(Kel::applyTraceEnvironment());
   ::unsetenv("BRIDGESNMP_TRACE");
   EXPECT_EQ(Kel::traceLevel("Alpha"), 6);
   EXPECT_EQ(Kel::traceLevel("Beta"), 3);
}

TEST_F(TraceTest, DefaultLevelShowsSetUpFailuresOnly) {
   Kel::TraceHandle fresh("NeverConfigured");
   EXPECT_TRUE(fresh.enabled(0));
   EXPECT_FALSE(fresh.enabled(1));
}

TEST(TraceFormatTest, RecordTextNamesFacilityLevelSourceAndLine) {
   const Kel::TraceRecord r{"Snmp", 2, "BridgeMib", 42, "handle_dot1dBaseType - returning 2"};
   EXPECT_EQ(Kel::formatTraceRecord(r), "Snmp/2 BridgeMib:42: handle_dot1dBaseType - returning 2");
}

TEST(RingTraceTest, KeepsTheLatestEntriesOldestFirst) {
   Kel::RingTrace ring(3);
   ring.record("a", 1.0);
   ring.record("b", 2.0);
   EXPECT_EQ(ring.size(), 2u);
   ring.record("c", 3.0);
   ring.record("d", 4.0);
   EXPECT_EQ(ring.size(), 3u);
   EXPECT_EQ(ring.recorded(), 4u);
   const auto entries = ring.entries();
   ASSERT_EQ(entries.size(), 3u);
   EXPECT_STREQ(entries[0].what, "b");
   EXPECT_STREQ(entries[2].what, "d");
   EXPECT_EQ(entries[2].time, 4.0);
   EXPECT_EQ(ring.dump(), "2.000000 b\n3.000000 c\n4.000000 d\n");
}

// Returns its own signature as this compiler spells it (gcc and clang name an anonymous
// namespace differently).
const char* recordingFunction(int) {
   KEL_RING_TRACE();
   return __PRETTY_FUNCTION__;
}

TEST(RingTraceTest, MacroRecordsTheFunctionSignature) {
   const std::size_t before = Kel::ringTrace().recorded();
   const char* signature = recordingFunction(1);
   ASSERT_EQ(Kel::ringTrace().recorded(), before + 1);
   EXPECT_STREQ(Kel::ringTrace().entries().back().what, signature);
   EXPECT_NE(std::string(signature).find("recordingFunction(int)"), std::string::npos);
}

}  // namespace
