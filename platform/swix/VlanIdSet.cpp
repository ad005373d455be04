#include "platform/swix/VlanIdSet.h"

#include <charconv>
#include <string>

#include "platform/kel/Exception.h"

namespace SwixUtils {
namespace {

[[noreturn]] void refuse(std::string_view text, const std::string& why) {
   throw Kel::ParseException("malformed VLAN list '" + std::string(text) + "': " + why);
}

std::uint32_t vlanNumber(std::string_view text, std::string_view number) {
   std::uint32_t value = 0;
   auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), value);
   if (number.empty() || ec != std::errc() || end != number.data() + number.size()) {
      refuse(text, "'" + std::string(number) + "' is not a VLAN number");
   }
   if (value < Bridging::VlanId::min || value > Bridging::VlanId::max) {
      refuse(text, "VLAN " + std::string(number) + " is outside 1-4094");
   }
   return value;
}

std::string_view trimmed(std::string_view s) {
   while (!s.empty() && s.front() == ' ') {
      s.remove_prefix(1);
   }
   while (!s.empty() && s.back() == ' ') {
      s.remove_suffix(1);
   }
   return s;
}

}  // namespace

std::string VlanIdSet::multiRangeString() const {
   std::string out;
   std::uint32_t v = Bridging::VlanId::min;
   while (v <= Bridging::VlanId::max) {
      if (!bits_.test(v)) {
         ++v;
         continue;
      }
      std::uint32_t last = v;
      while (last + 1 <= Bridging::VlanId::max && bits_.test(last + 1)) {
         ++last;
      }
      if (!out.empty()) {
         out += ',';
      }
      out += std::to_string(v);
      if (last > v) {
         out += '-';
         out += std::to_string(last);
      }
      v = last + 1;
   }
   return out;
}

void computeVlanSet(VlanIdSet& set, std::string_view text) {
   const std::string_view whole = trimmed(text);
   if (whole.empty() || whole == "none") {
      return;
   }
   VlanIdSet parsed;
   if (whole == "all") {
      for (std::uint32_t v = Bridging::VlanId::min; v <= Bridging::VlanId::max; ++v) {
         parsed.doAdd(Bridging::VlanId(v));
      }
   } else {
      std::string_view rest = whole;
      while (true) {
         const auto comma = rest.find(',');
         const std::string_view element = trimmed(rest.substr(0, comma));
         if (element.empty()) {
            refuse(text, "empty element");
         }
         const auto dash = element.find('-');
         const std::uint32_t first = vlanNumber(text, trimmed(element.substr(0, dash)));
         const std::uint32_t last = dash == std::string_view::npos
                                        ? first
                                        : vlanNumber(text, trimmed(element.substr(dash + 1)));
         if (last < first) {
            refuse(text, "range '" + std::string(element) + "' runs backwards");
         }
         for (std::uint32_t v = first; v <= last; ++v) {
            parsed.doAdd(Bridging::VlanId(v));
         }
         if (comma == std::string_view::npos) {
            break;
         }
         rest = rest.substr(comma + 1);
      }
   }
   for (std::uint32_t v = Bridging::VlanId::min; v <= Bridging::VlanId::max; ++v) {
      if (parsed.contains(Bridging::VlanId(v))) {
         set.doAdd(Bridging::VlanId(v));
      }
   }
}

}  // namespace SwixUtils
