#include <gtest/gtest.h>

#include <string>

#include "platform/kel/Exception.h"
#include "platform/kel/MemoryTraceSink.h"
#include "platform/kel/ValueText.h"
#include "tests/support/Errors.h"

namespace {

template <class T>
std::string parseError(const std::string& text) {
   return TestSupport::kelError([&] { Kel::sequenceToValue<T>(text); }, Kel::ExceptionId::parse);
}

TEST(ValueTextTest, PrimitivesRoundTrip) {
   EXPECT_EQ(Kel::sequenceToValue<int>(Kel::valueToStrep(-42)), -42);
   EXPECT_EQ(Kel::sequenceToValue<unsigned>(Kel::valueToStrep(4094u)), 4094u);
   EXPECT_EQ(Kel::sequenceToValue<double>(Kel::valueToStrep(300.9)), 300.9);
   EXPECT_EQ(Kel::valueToStrep(true), "True");
   EXPECT_TRUE(Kel::sequenceToValue<bool>(" True "));
   EXPECT_EQ(Kel::valueToStrep(Kel::String8("it's")), "'it\\'s'");
   EXPECT_EQ(Kel::sequenceToValue<Kel::String8>("'it\\'s'"), Kel::String8("it's"));
}

TEST(ValueTextTest, BadTextIsRefusedNamingTheProblemAndItsColumn) {
   EXPECT_EQ(parseError<int>("12x"), "junk at column 3 deserializing int");
   EXPECT_EQ(parseError<unsigned>("  7   8"), "junk at column 7 deserializing unsigned");
   EXPECT_EQ(parseError<int>("   "), "premature end of value type int");
   EXPECT_EQ(parseError<Kel::String8>("'open"), "premature end of value type Kel::String8");
   EXPECT_EQ(parseError<unsigned>("4294967296"),
             "value out of range at column 11 deserializing unsigned");
   EXPECT_EQ(parseError<bool>("yes"), "expected True or False at column 1 deserializing bool");
}

class ExceptionTest : public ::testing::Test {
 protected:
   void SetUp() override {
      previous_ = Kel::traceSink();
      Kel::traceSinkIs(sink);
   }
   void TearDown() override { Kel::traceSinkIs(previous_); }
   std::shared_ptr<Kel::MemoryTraceSink> sink = std::make_shared<Kel::MemoryTraceSink>();

 private:
   std::shared_ptr<Kel::TraceSink> previous_;
};

TEST_F(ExceptionTest, UnexpectedExceptionIsTracedAtLevelZero) {
   EXPECT_THROW(throw Kel::RangeException("out of range"), Kel::RangeException);
   ASSERT_EQ(sink->lines().size(), 1u);
   EXPECT_EQ(sink->lines()[0].level, 0);
   EXPECT_EQ(sink->lines()[0].message, "unexpected range exception: out of range");
}

TEST_F(ExceptionTest, ExpectScopesNestAndEnd) {
   {
      Kel::Expect outer(Kel::ExceptionId::conversion);
      EXPECT_TRUE(Kel::Expect::expected(Kel::ExceptionId::range)) << "a conversion fails by range";
      EXPECT_TRUE(Kel::Expect::expected(Kel::ExceptionId::parse));
      EXPECT_FALSE(Kel::Expect::expected(Kel::ExceptionId::nullPointer));
      {
         Kel::Expect inner(Kel::ExceptionId::nullPointer);
         EXPECT_TRUE(Kel::Expect::expected(Kel::ExceptionId::nullPointer));
         EXPECT_TRUE(Kel::Expect::expected(Kel::ExceptionId::range));
      }
      EXPECT_FALSE(Kel::Expect::expected(Kel::ExceptionId::nullPointer));
   }
   EXPECT_FALSE(Kel::Expect::expected(Kel::ExceptionId::range));
}

}  // namespace
