#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "platform/kel/Exception.h"
#include "platform/kel/ValueText.h"

namespace Interface {

// The bridge port number of an Ethernet interface; 0 means the interface has none.
class EthPortId {
 public:
   static constexpr std::uint32_t max = 0xffff;

   EthPortId() = default;
   // Raises Kel::RangeException above 65535.
   explicit EthPortId(std::uint32_t value) : value_(static_cast<std::uint16_t>(check(value))) {}

   std::uint16_t value() const { return value_; }

   friend bool operator==(const EthPortId&, const EthPortId&) = default;
   friend std::strong_ordering operator<=>(const EthPortId&, const EthPortId&) = default;
   friend std::ostream& operator<<(std::ostream& os, const EthPortId& p) { return os << p.value_; }

 private:
   static std::uint32_t check(std::uint32_t value) {
      if (value > max) {
         throw Kel::RangeException("EthPortId::value > 65535 not allowed");
      }
      return value;
   }
   std::uint16_t value_ = 0;
};

inline std::string valueToStrep(const EthPortId& p) {
   return std::to_string(p.value());
}
inline EthPortId readValue(Kel::TextReader& r, const EthPortId*) {
   const auto v = r.readUnsigned();
   return EthPortId(v > EthPortId::max ? EthPortId::max + 1 : static_cast<std::uint32_t>(v));
}
inline const char* valueTypeName(const EthPortId*) {
   return "Interface::EthPortId";
}

}  // namespace Interface

template <>
struct std::hash<Interface::EthPortId> {
   std::size_t operator()(const Interface::EthPortId& p) const noexcept { return p.value(); }
};
