#include "platform/sim/CommandWords.h"

#include <charconv>
#include <sstream>

namespace Sim {

bool isControl(unsigned char c) {
   return c < 0x20 || c == 0x7f;
}

std::string oneLineReason(std::string_view reason) {
   std::string line(reason);
   for (char& c : line) {
      if (isControl(static_cast<unsigned char>(c))) {
         c = ' ';
      }
   }
   return line.empty() ? std::string("unknown failure") : line;
}

void Words::takePairs(std::string_view what, const std::vector<std::string_view>& keywords,
                      const std::function<void(std::size_t keyword)>& read) {
   std::vector<bool> seen(keywords.size(), false);
   while (more()) {
      const std::string& keyword = take(what);
      std::size_t i = 0;
      while (i < keywords.size() && keyword != keywords[i]) {
         ++i;
      }
      if (i == keywords.size()) {
         fail("unexpected argument '" + keyword + "'");
      }
      if (seen[i]) {
         fail(keyword + " given twice");
      }
      seen[i] = true;
      read(i);
   }
}

bool takeOnOff(Words& w, std::string_view what) {
   const std::string& word = w.take(what);
   if (word == "on") {
      return true;
   }
   if (word == "off") {
      return false;
   }
   w.fail("'" + word + "' is not on or off");
}

Velnet::IntfId takeIntf(Words& w) {
   const std::string& word = w.take("<intf>");
   if (word.empty()) {
      w.fail("empty interface name");
   }
   return Velnet::IntfId(word);
}

std::string takeName(Words& w) {
   const std::string& word = w.take("<name>");
   for (unsigned char c : word) {
      if (isControl(c)) {
         w.fail("a VLAN name cannot contain control characters");
      }
   }
   return word;
}

Bridging::FdbEntryType parseEntryType(std::string_view word) {
   if (const auto type = Bridging::fdbEntryTypeFromName(word)) {
      return *type;
   }
   throw CommandError("unknown entry type '" + std::string(word) +
                      "' (learnedDynamic, learnedRemote, configuredStatic, peerStatic, router, "
                      "management)");
}

Bridging::SwitchportMode parseMode(std::string_view word) {
   if (const auto mode = Bridging::switchportModeFromName(word)) {
      return *mode;
   }
   throw CommandError("unknown switchport mode '" + std::string(word) +
                      "' (access, trunk, dot1q-tunnel, tap, tool, routed)");
}

std::vector<std::string> splitCommandLine(std::string_view line) {
   std::vector<std::string> words;
   std::string word;
   bool inWord = false;
   bool quoted = false;
   for (std::size_t i = 0; i < line.size(); ++i) {
      const char c = line[i];
      if (c != '\t' && isControl(static_cast<unsigned char>(c))) {
         std::ostringstream reason;
         reason << "control character 0x" << std::hex << (static_cast<unsigned>(c) & 0xff)
                << " in the command line";
         throw CommandError(reason.str());
      }
      if (quoted) {
         if (c == '"') {
            quoted = false;
         } else if (c == '\\') {
            if (i + 1 == line.size()) {
               throw CommandError("unterminated quoted word in the command line");
            }
            word.push_back(line[++i]);
         } else {
            word.push_back(c);
         }
      } else if (c == ' ' || c == '\t') {
         if (inWord) {
            words.push_back(std::move(word));
            word.clear();
            inWord = false;
         }
      } else {
         inWord = true;
         if (c == '"') {
            quoted = true;
         } else {
            word.push_back(c);
         }
      }
   }
   if (quoted) {
      throw CommandError("unterminated quoted word in the command line");
   }
   if (inWord) {
      words.push_back(std::move(word));
   }
   return words;
}

std::string joinCommandLine(const std::vector<std::string>& words) {
   std::string line;
   for (const std::string& word : words) {
      if (!line.empty()) {
         line.push_back(' ');
      }
      const bool plain = !word.empty() && word.find_first_of(" \t\"") == std::string::npos;
      if (plain) {
         line += word;
         continue;
      }
      line.push_back('"');
      for (char c : word) {
         if (c == '"' || c == '\\') {
            line.push_back('\\');
         }
         line.push_back(c);
      }
      line.push_back('"');
   }
   return line;
}

std::uint64_t parseNumberWord(std::string_view word, std::string_view what, std::uint64_t min,
                              std::uint64_t max) {
   std::uint64_t value = 0;
   const bool digitsOnly =
       !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
   const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value);
   if (!digitsOnly || (ec != std::errc() && ec != std::errc::result_out_of_range) ||
       end != word.data() + word.size()) {
      throw CommandError(std::string(what) + " '" + std::string(word) + "' is not a number");
   }
   if (ec == std::errc::result_out_of_range || value < min || value > max) {
      throw CommandError(std::string(what) + " " + std::string(word) + " is outside " +
                         std::to_string(min) + "-" + std::to_string(max));
   }
   return value;
}

Bridging::VlanId parseVlanWord(std::string_view word) {
   return Bridging::VlanId(static_cast<std::uint32_t>(
       parseNumberWord(word, "VLAN", Bridging::VlanId::min, Bridging::VlanId::max)));
}

Velnet::EthAddr parseMacWord(std::string_view word) {
   if (const auto address = Velnet::EthAddr::parse(word)) {
      return *address;
   }
   throw CommandError("'" + std::string(word) + "' is not a MAC address");
}

}  // namespace Sim
