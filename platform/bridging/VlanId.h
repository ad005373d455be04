#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "platform/kel/Exception.h"
#include "platform/kel/ValueText.h"

namespace Bridging {

// An 802.1Q VLAN number, 1 to 4094.
class VlanId {
 public:
   static constexpr std::uint32_t min = 1;
   static constexpr std::uint32_t max = 4094;

   // VLAN 1, the default VLAN.
   VlanId() = default;
   // Raises Kel::RangeException outside 1..4094.
   explicit VlanId(std::uint32_t value) : value_(static_cast<std::uint16_t>(check(value))) {}

   std::uint16_t value() const { return value_; }

   friend bool operator==(const VlanId&, const VlanId&) = default;
   friend std::strong_ordering operator<=>(const VlanId&, const VlanId&) = default;
   friend std::ostream& operator<<(std::ostream& os, const VlanId& v) { return os << v.value_; }

 private:
   static std::uint32_t check(std::uint32_t value) {
      if (value < min || value > max) {
         throw Kel::RangeException("VlanId::value < 1 or > 4094 not allowed");
      }
      return value;
   }
   std::uint16_t value_ = 1;
};

// A VLAN number or none (0).
class VlanIdOrNone {
 public:
   static constexpr std::uint32_t none = 0;

   VlanIdOrNone() = default;
   // Raises Kel::RangeException above 4094.
   explicit VlanIdOrNone(std::uint32_t value) : value_(static_cast<std::uint16_t>(check(value))) {}
   VlanIdOrNone(VlanId id) : value_(id.value()) {}

   std::uint16_t value() const { return value_; }
   bool isNone() const { return value_ == none; }
   // The VLAN; the value must not be none.
   VlanId vlanId() const { return VlanId(value_); }

   friend bool operator==(const VlanIdOrNone&, const VlanIdOrNone&) = default;
   friend std::strong_ordering operator<=>(const VlanIdOrNone&, const VlanIdOrNone&) = default;
   friend std::ostream& operator<<(std::ostream& os, const VlanIdOrNone& v) {
      return os << v.value_;
   }

 private:
   static std::uint32_t check(std::uint32_t value) {
      if (value > VlanId::max) {
         throw Kel::RangeException("VlanIdOrNone::value > 4094 not allowed");
      }
      return value;
   }
   std::uint16_t value_ = none;
};

inline std::string valueToStrep(const VlanId& v) {
   return std::to_string(v.value());
}
inline std::string valueToStrep(const VlanIdOrNone& v) {
   return std::to_string(v.value());
}
inline VlanId readValue(Kel::TextReader& r, const VlanId*) {
   const auto v = r.readUnsigned();
   return VlanId(v > VlanId::max ? VlanId::max + 1 : static_cast<std::uint32_t>(v));
}
inline VlanIdOrNone readValue(Kel::TextReader& r, const VlanIdOrNone*) {
   const auto v = r.readUnsigned();
   return VlanIdOrNone(v > VlanId::max ? VlanId::max + 1 : static_cast<std::uint32_t>(v));
}
inline const char* valueTypeName(const VlanId*) {
   return "Bridging::VlanId";
}
inline const char* valueTypeName(const VlanIdOrNone*) {
   return "Bridging::VlanIdOrNone";
}

}  // namespace Bridging

template <>
struct std::hash<Bridging::VlanId> {
   std::size_t operator()(const Bridging::VlanId& v) const noexcept { return v.value(); }
};
