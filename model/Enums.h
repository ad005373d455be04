#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "platform/kel/String8.h"

// The enumerations of the MIB cache. Each keeps its MIB value; a raw number outside the
// enumeration can still be held (and prints as "FrameAdmits(3)"), but the Instance
// constructors refuse it with Kel::RangeException naming the type.

// dot1qPortAcceptableFrameTypes.
enum FrameAdmits : std::uint32_t {
   admitAll_ = 1,
   admitOnlyVlanTagged_ = 2,
};
inline constexpr FrameAdmits admitAll = admitAll_;
inline constexpr FrameAdmits admitOnlyVlanTagged = admitOnlyVlanTagged_;

FrameAdmits FrameAdmitsInstance(unsigned value);
FrameAdmits FrameAdmitsInstance(const Kel::String8& name);
std::string stringValue(FrameAdmits value);
std::ostream& operator<<(std::ostream& os, const FrameAdmits& value);
std::string valueToStrep(const FrameAdmits& value);

// What the apply step of a SET is to do with one interface's VLAN membership.
enum SetAction : std::uint32_t {
   noOp_ = 0,
   takeAction_ = 1,
};
inline constexpr SetAction noOp = noOp_;
inline constexpr SetAction takeAction = takeAction_;

SetAction SetActionInstance(unsigned value);
SetAction SetActionInstance(const Kel::String8& name);
std::string stringValue(SetAction value);
std::ostream& operator<<(std::ostream& os, const SetAction& value);
std::string valueToStrep(const SetAction& value);

namespace BridgeSnmp {

// dot1qTpFdbStatus.
enum Dot1qTpFdbStatus : std::uint32_t {
   statusOther_ = 1,
   statusInvalid_ = 2,
   statusLearned_ = 3,
   statusSelf_ = 4,
   statusMgmt_ = 5,
};
inline constexpr Dot1qTpFdbStatus statusOther = statusOther_;
inline constexpr Dot1qTpFdbStatus statusInvalid = statusInvalid_;
inline constexpr Dot1qTpFdbStatus statusLearned = statusLearned_;
inline constexpr Dot1qTpFdbStatus statusSelf = statusSelf_;
inline constexpr Dot1qTpFdbStatus statusMgmt = statusMgmt_;

Dot1qTpFdbStatus Dot1qTpFdbStatusInstance(unsigned value);
Dot1qTpFdbStatus Dot1qTpFdbStatusInstance(const Kel::String8& name);
std::string stringValue(Dot1qTpFdbStatus value);
std::ostream& operator<<(std::ostream& os, const Dot1qTpFdbStatus& value);
std::string valueToStrep(const Dot1qTpFdbStatus& value);

}  // namespace BridgeSnmp
