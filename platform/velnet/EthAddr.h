#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/kel/ValueText.h"

namespace Velnet {

// A 48-bit MAC address, held as three 16-bit words, most significant first. Ordering is
// the byte order of the address (first octet most significant).
class EthAddr {
 public:
   constexpr EthAddr() = default;
   constexpr EthAddr(std::uint16_t w0, std::uint16_t w1, std::uint16_t w2) : words_{w0, w1, w2} {}
   // Inline, as are octets(): a table walk turns an address to and from octets per row.
   explicit EthAddr(const std::array<std::uint8_t, 6>& o)
       : words_{static_cast<std::uint16_t>(o[0] << 8 | o[1]),
                static_cast<std::uint16_t>(o[2] << 8 | o[3]),
                static_cast<std::uint16_t>(o[4] << 8 | o[5])} {}
   // From the low 48 bits of a number.
   static EthAddr fromU64(std::uint64_t value);
   // "00:1c:73:aa:bb:cc", "00-1c-73-aa-bb-cc" or "001c.73aa.bbcc"; nothing on bad text.
   static std::optional<EthAddr> parse(std::string_view text);

   std::array<std::uint8_t, 6> octets() const {
      std::array<std::uint8_t, 6> o{};
      for (int i = 0; i < 3; ++i) {
         o[2 * i] = static_cast<std::uint8_t>(words_[i] >> 8);
         o[2 * i + 1] = static_cast<std::uint8_t>(words_[i]);
      }
      return o;
   }
   std::uint8_t octet(int i) const;
   constexpr std::uint64_t toU64() const {
      return static_cast<std::uint64_t>(words_[0]) << 32 |
             static_cast<std::uint64_t>(words_[1]) << 16 | words_[2];
   }
   std::uint16_t word(int i) const { return words_[i]; }
   bool isZero() const { return toU64() == 0; }
   bool isMulticast() const { return (words_[0] & 0x0100) != 0; }
   // "00:1c:73:aa:bb:cc"
   std::string stringValue() const;

   friend constexpr bool operator==(const EthAddr&, const EthAddr&) = default;
   friend constexpr std::strong_ordering operator<=>(const EthAddr& a, const EthAddr& b) {
      return a.toU64() <=> b.toU64();
   }
   friend std::ostream& operator<<(std::ostream& os, const EthAddr& a) {
      return os << a.stringValue();
   }

 private:
   std::array<std::uint16_t, 3> words_{};
};

// Printed quoted ('00:1c:73:aa:bb:cc') inside value texts.
std::string valueToStrep(const EthAddr& a);
EthAddr readValue(Kel::TextReader& r, const EthAddr*);
inline const char* valueTypeName(const EthAddr*) {
   return "Velnet::EthAddr";
}

}  // namespace Velnet

template <>
struct std::hash<Velnet::EthAddr> {
   std::size_t operator()(const Velnet::EthAddr& a) const noexcept {
      // A MAC's low bytes vary most; mix so that sequential addresses spread.
      std::uint64_t x = a.toU64() * 0x9E3779B97F4A7C15ull;
      return static_cast<std::size_t>(x ^ (x >> 29));
   }
};
