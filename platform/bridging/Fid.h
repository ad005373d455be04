#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "platform/kel/Exception.h"
#include "platform/kel/ValueText.h"

namespace Bridging {

// A filtering database identifier. This switch learns independently per VLAN, so a VLAN's
// FID equals its VLAN id; the type itself allows any 16-bit value.
class Fid {
 public:
   static constexpr std::uint32_t max = 0xffff;

   Fid() = default;
   // Raises Kel::RangeException above 65535.
   explicit Fid(std::uint32_t value) : value_(static_cast<std::uint16_t>(check(value))) {}

   std::uint16_t value() const { return value_; }

   friend bool operator==(const Fid&, const Fid&) = default;
   friend std::strong_ordering operator<=>(const Fid&, const Fid&) = default;
   friend std::ostream& operator<<(std::ostream& os, const Fid& f) { return os << f.value_; }

 private:
   static std::uint32_t check(std::uint32_t value) {
      if (value > max) {
         throw Kel::RangeException("Fid::value > 65535 not allowed");
      }
      return value;
   }
   std::uint16_t value_ = 0;
};

inline std::string valueToStrep(const Fid& f) {
   return std::to_string(f.value());
}
inline Fid readValue(Kel::TextReader& r, const Fid*) {
   const auto v = r.readUnsigned();
   return Fid(v > Fid::max ? Fid::max + 1 : static_cast<std::uint32_t>(v));
}
inline const char* valueTypeName(const Fid*) {
   return "Bridging::Fid";
}

}  // namespace Bridging

template <>
struct std::hash<Bridging::Fid> {
   std::size_t operator()(const Bridging::Fid& f) const noexcept { return f.value(); }
};
