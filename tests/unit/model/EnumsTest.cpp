#include <gtest/gtest.h>

#include <sstream>

#include "model/Enums.h"
#include "platform/kel/Exception.h"

namespace {

template <class F>
std::string rangeError(F&& f) {
   Kel::Expect expect(Kel::ExceptionId::range);
   try {
      f();
   } catch (const Kel::RangeException& e) {
      return e.what();
   }
   return "no error";
}

TEST(FrameAdmitsTest, InstancesFromNumbersAndNames) {
   EXPECT_EQ(FrameAdmitsInstance(1u), admitAll);
   EXPECT_EQ(FrameAdmitsInstance(2u), admitOnlyVlanTagged);
   EXPECT_EQ(FrameAdmitsInstance(Kel::String8("admitOnlyVlanTagged")), admitOnlyVlanTagged);
   EXPECT_EQ(rangeError([] { FrameAdmitsInstance(0u); }), "FrameAdmits");
   EXPECT_EQ(rangeError([] { FrameAdmitsInstance(3u); }), "FrameAdmits");
   EXPECT_EQ(rangeError([] { FrameAdmitsInstance(Kel::String8("admitNone")); }), "FrameAdmits");
}

TEST(FrameAdmitsTest, PrintsNamesAndRawValues) {
   EXPECT_EQ(stringValue(admitAll), "admitAll");
   EXPECT_EQ(stringValue(static_cast<FrameAdmits>(3)), "FrameAdmits(3)");
   std::ostringstream os;
   os << admitOnlyVlanTagged;
   EXPECT_EQ(os.str(), "admitOnlyVlanTagged");
   EXPECT_EQ(valueToStrep(admitAll), "admitAll");
}

TEST(SetActionTest, ZeroIsNoOp) {
   EXPECT_EQ(SetActionInstance(0u), noOp);
   EXPECT_EQ(SetActionInstance(1u), takeAction);
   EXPECT_EQ(SetActionInstance(Kel::String8("takeAction")), takeAction);
   EXPECT_EQ(rangeError([] { SetActionInstance(2u); }), "SetAction");
   EXPECT_EQ(stringValue(static_cast<SetAction>(7)), "SetAction(7)");
}

TEST(Dot1qTpFdbStatusTest, MibValuesOneToFive) {
   using namespace BridgeSnmp;
   EXPECT_EQ(Dot1qTpFdbStatusInstance(1u), statusOther);
   EXPECT_EQ(Dot1qTpFdbStatusInstance(3u), statusLearned);
   EXPECT_EQ(Dot1qTpFdbStatusInstance(5u), statusMgmt);
   EXPECT_EQ(Dot1qTpFdbStatusInstance(Kel::String8("statusSelf")), statusSelf);
   EXPECT_EQ(rangeError([] { Dot1qTpFdbStatusInstance(0u); }), "Dot1qTpFdbStatus");
   EXPECT_EQ(rangeError([] { Dot1qTpFdbStatusInstance(6u); }), "Dot1qTpFdbStatus");
   EXPECT_EQ(stringValue(statusInvalid), "statusInvalid");
   EXPECT_EQ(stringValue(static_cast<Dot1qTpFdbStatus>(0)), "Dot1qTpFdbStatus(0)");
}

}  // namespace
