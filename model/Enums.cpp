#include "model/Enums.h"

#include <array>
#include <utility>

#include "platform/kel/Exception.h"

namespace {

template <class E, std::size_t N>
using Names = std::array<std::pair<E, const char*>, N>;

template <class E, std::size_t N>
E instance(const Names<E, N>& names, const char* type, unsigned value) {
   for (const auto& [e, name] : names) {
      if (static_cast<unsigned>(e) == value) {
         return e;
      }
   }
   throw Kel::RangeException(type);
}

template <class E, std::size_t N>
E instance(const Names<E, N>& names, const char* type, const Kel::String8& text) {
   for (const auto& [e, name] : names) {
      if (text == name) {
         return e;
      }
   }
   throw Kel::RangeException(type);
}

template <class E, std::size_t N>
std::string nameOf(const Names<E, N>& names, const char* type, E value) {
   for (const auto& [e, name] : names) {
      if (e == value) {
         return name;
      }
   }
   return std::string(type) + "(" + std::to_string(static_cast<unsigned>(value)) + ")";
}

constexpr Names<FrameAdmits, 2> frameAdmitsNames{{
    {admitAll, "admitAll"},
    {admitOnlyVlanTagged, "admitOnlyVlanTagged"},
}};

constexpr Names<SetAction, 2> setActionNames{{
    {noOp, "noOp"},
    {takeAction, "takeAction"},
}};

constexpr Names<BridgeSnmp::Dot1qTpFdbStatus, 5> fdbStatusNames{{
    {BridgeSnmp::statusOther, "statusOther"},
    {BridgeSnmp::statusInvalid, "statusInvalid"},
    {BridgeSnmp::statusLearned, "statusLearned"},
    {BridgeSnmp::statusSelf, "statusSelf"},
    {BridgeSnmp::statusMgmt, "statusMgmt"},
}};

}  // namespace

FrameAdmits FrameAdmitsInstance(unsigned value) {
   return instance(frameAdmitsNames, "FrameAdmits", value);
}
FrameAdmits FrameAdmitsInstance(const Kel::String8& name) {
   return instance(frameAdmitsNames, "FrameAdmits", name);
}
std::string stringValue(FrameAdmits value) {
   return nameOf(frameAdmitsNames, "FrameAdmits", value);
}
std::ostream& operator<<(std::ostream& os, const FrameAdmits& value) {
   return os << stringValue(value);
}
std::string valueToStrep(const FrameAdmits& value) {
   return stringValue(value);
}

SetAction SetActionInstance(unsigned value) {
   return instance(setActionNames, "SetAction", value);
}
SetAction SetActionInstance(const Kel::String8& name) {
   return instance(setActionNames, "SetAction", name);
}
std::string stringValue(SetAction value) {
   return nameOf(setActionNames, "SetAction", value);
}
std::ostream& operator<<(std::ostream& os, const SetAction& value) {
   return os << stringValue(value);
}
std::string valueToStrep(const SetAction& value) {
   return stringValue(value);
}

namespace BridgeSnmp {

Dot1qTpFdbStatus Dot1qTpFdbStatusInstance(unsigned value) {
   return instance(fdbStatusNames, "Dot1qTpFdbStatus", value);
}
Dot1qTpFdbStatus Dot1qTpFdbStatusInstance(const Kel::String8& name) {
   return instance(fdbStatusNames, "Dot1qTpFdbStatus", name);
}
std::string stringValue(Dot1qTpFdbStatus value) {
   return nameOf(fdbStatusNames, "Dot1qTpFdbStatus", value);
}
std::ostream& operator<<(std::ostream& os, const Dot1qTpFdbStatus& value) {
   return os << stringValue(value);
}
std::string valueToStrep(const Dot1qTpFdbStatus& value) {
   return stringValue(value);
}

}  // namespace BridgeSnmp
