#include "platform/velnet/EthAddr.h"

#include <cctype>
#include <cstdio>

namespace Velnet {
namespace {

int hexDigit(char c) {
   if (c >= '0' && c <= '9') {
      return c - '0';
   }
   c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
   if (c >= 'a' && c <= 'f') {
      return c - 'a' + 10;
   }
   return -1;
}

}  // namespace

EthAddr EthAddr::fromU64(std::uint64_t v) {
   return EthAddr(static_cast<std::uint16_t>(v >> 32), static_cast<std::uint16_t>(v >> 16),
                  static_cast<std::uint16_t>(v));
}

std::optional<EthAddr> EthAddr::parse(std::string_view text) {
   // Collect exactly 12 hex digits; separators must follow one of the three layouts.
   std::string digits;
   std::string separators;
   for (char c : text) {
      if (hexDigit(c) >= 0) {
         digits += c;
      } else if (c == ':' || c == '-' || c == '.') {
         separators += c;
      } else {
         return std::nullopt;
      }
   }
   if (digits.size() != 12) {
      return std::nullopt;
   }
   const bool colons = separators == ":::::" && text.size() == 17;
   const bool dashes = separators == "-----" && text.size() == 17;
   const bool dots = separators == ".." && text.size() == 14 && text[4] == '.' && text[9] == '.';
   if (!colons && !dashes && !dots) {
      return std::nullopt;
   }
   if (colons || dashes) {
      for (std::size_t i = 2; i < 17; i += 3) {
         if (hexDigit(text[i]) >= 0) {
            return std::nullopt;
         }
      }
   }
   std::array<std::uint8_t, 6> o{};
   for (int i = 0; i < 6; ++i) {
      o[i] = static_cast<std::uint8_t>(hexDigit(digits[2 * i]) << 4 | hexDigit(digits[2 * i + 1]));
   }
   return EthAddr(o);
}

std::uint8_t EthAddr::octet(int i) const {
   const std::uint16_t w = words_[i / 2];
   return static_cast<std::uint8_t>(i % 2 == 0 ? w >> 8 : w);
}

std::string EthAddr::stringValue() const {
   char text[18];
   const auto o = octets();
   std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", o[0], o[1], o[2], o[3], o[4],
                 o[5]);
   return text;
}

std::string valueToStrep(const EthAddr& a) {
   return "'" + a.stringValue() + "'";
}

EthAddr readValue(Kel::TextReader& r, const EthAddr*) {
   const std::string text = r.readQuoted();
   const auto addr = EthAddr::parse(text);
   if (!addr) {
      r.fail("bad MAC address '" + text + "'");
   }
   return *addr;
}

}  // namespace Velnet
