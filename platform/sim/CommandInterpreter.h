#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bridging/VlanId.h"
#include "platform/sim/CommandTable.h"
#include "platform/sim/CommandWords.h"
#include "platform/sim/Switch.h"
#include "platform/velnet/EthAddr.h"

namespace Sim {

// The simulated switch's command language: one command per line, words separated by
// blanks. A word with blanks or quotes in it is written in double quotes, inside which a
// backslash makes the next character literal (\" for a quote). Keywords are lower case.
// The commands, their arguments and their help are commandTable() (CommandTable.h); "help"
// lists their usage.
//
// A switchport command keeps the settings it does not name (a trunk keeps its access VLAN,
// "mode" keeps both VLAN settings).
//
// The reply is "ok" or "error: <reason>" on its first line, then the body, every line
// ending in '\n'. learn answers "learned", "refreshed" or "moved"; flush "flushed <n>";
// burst "learned <n>" (the hosts that were new), a paced one "burst of <n> started"; show,
// status and help their text.
//
// A command is parsed completely before the switch is touched, and the switch refuses an
// operation it cannot do without changing anything, so a refused command changes nothing.

// Ranges the parser accepts.
inline constexpr std::uint64_t maxBurstCount = 1000000;
inline constexpr std::uint64_t maxBurstPorts = 100000;
inline constexpr double maxAgingSeconds = 1000000.0;

// Parses one command's words as commandTable() describes them; raises CommandError naming
// the problem. Used by the interpreter and, to check a command before sending it, by
// bridgectl.
CommandAction parseCommand(const std::vector<std::string>& words);

// The command summary that "help" answers with, one command a line.
std::string commandHelpText();

// Runs command lines against one switch.
class CommandInterpreter {
 public:
   explicit CommandInterpreter(Switch& sw) : sw_(sw) {}

   // One line (without its newline) in, the whole reply out: "ok\n<body>" or
   // "error: <reason>\n". Never throws for a bad or refused command.
   std::string execute(std::string_view line);

 private:
   Switch& sw_;
};

}  // namespace Sim
