#pragma once

// The words of the simulated switch's command lines: splitting a line into words, joining
// words back into a line, and reading each kind of argument, every refusal a CommandError
// with a one-line reason.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/bridging/Enums.h"
#include "platform/bridging/VlanId.h"
#include "platform/sim/Switch.h"
#include "platform/velnet/EthAddr.h"
#include "platform/velnet/IntfId.h"

namespace Sim {

// Splits a command line into words, honouring double quotes. Raises CommandError on an
// unterminated quote, a backslash at the end of a quoted word or a control character.
std::vector<std::string> splitCommandLine(std::string_view line);
// Joins words into a command line, quoting those that need it; splitCommandLine() gives the
// words back.
std::string joinCommandLine(const std::vector<std::string>& words);

// Word parsers, each raising CommandError with a one-line reason.
// "VLAN 5000 is outside 1-4094", "VLAN 'x' is not a number".
Bridging::VlanId parseVlanWord(std::string_view word);
// "'zz' is not a MAC address".
Velnet::EthAddr parseMacWord(std::string_view word);
// A decimal number without sign or trailing text, within [min, max]; `what` names it in
// the reason ("burst count 0 is outside 1-1000000").
std::uint64_t parseNumberWord(std::string_view word, std::string_view what, std::uint64_t min,
                              std::uint64_t max);
// An FDB entry type by name (learnedDynamic, ...).
Bridging::FdbEntryType parseEntryType(std::string_view word);
// A switchport mode by name (access, trunk, ...).
Bridging::SwitchportMode parseMode(std::string_view word);

// A control character: below 0x20, or DEL.
bool isControl(unsigned char c);
// A reason as one line: control characters (a newline in an exception's text) become
// blanks; an empty reason is "unknown failure".
std::string oneLineReason(std::string_view reason);

// Reads a command's arguments in order; every complaint names the command's usage.
class Words {
 public:
   Words(const std::vector<std::string>& words, std::size_t first, std::string usage)
       : words_(words), next_(first), usage_(std::move(usage)) {}

   bool more() const { return next_ < words_.size(); }
   // Where the next word is in the line.
   std::size_t position() const { return next_; }
   // A word of the line, read or not (i < the line's word count).
   const std::string& word(std::size_t i) const { return words_[i]; }

   // The next word; `what` names it when it is missing ("<intf>").
   const std::string& take(std::string_view what) {
      if (!more()) {
         fail("missing " + std::string(what));
      }
      return words_[next_++];
   }

   // Nothing may follow.
   void end() const {
      if (more()) {
         fail("unexpected argument '" + words_[next_] + "'");
      }
   }

   // Keyword-value pairs to the end, each of `keywords` at most once (`what` names them when
   // one is missing): `read` is told which keyword came and reads its value.
   void takePairs(std::string_view what, const std::vector<std::string_view>& keywords,
                  const std::function<void(std::size_t keyword)>& read);

   [[noreturn]] void fail(const std::string& problem) const {
      throw CommandError(problem + "; usage: " + usage_);
   }

 private:
   const std::vector<std::string>& words_;
   std::size_t next_;
   std::string usage_;
};

// "on" or "off".
bool takeOnOff(Words& w, std::string_view what);
// An interface name, not empty.
Velnet::IntfId takeIntf(Words& w);
// A VLAN name, without control characters.
std::string takeName(Words& w);

}  // namespace Sim
