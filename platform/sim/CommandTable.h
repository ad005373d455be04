#pragma once

// The simulated switch's commands as data: each command's keywords, arguments and help, from
// which the interpreter's dispatch and help and bridgectl's command line are all made.

#include <functional>
#include <string>
#include <vector>

#include "platform/sim/CommandWords.h"
#include "platform/sim/Switch.h"

namespace Sim {

// A parsed command; running it returns the reply body (raises CommandError, or the
// switch's own exceptions, when the switch refuses).
using CommandAction = std::function<std::string(Switch&)>;

enum class ArgKind {
   required,
   optional,
   rest,  // every remaining word (keyword-value pairs)
   verb,  // a group's choice among its commands; its syntax is their keywords
};

// One argument of a command: how its usage writes it, and how bridgectl names and explains
// it.
struct CommandArg {
   const char* name;
   // As the usage writes it: "<vlan>", "up|down", "[seed <n>] [paced]". Empty: the argument
   // before writes this one too (show's "fdb [<vlan>]").
   const char* syntax;
   const char* help;
   ArgKind kind = ArgKind::required;
};

// A command, or a group of commands ("vlan", "static", "switchport"): a group has no parser,
// and its commands are the rows whose keywords are its keyword and a verb. A group's
// arguments before its verb come before the verb on the command line too ("switchport <intf>
// access ..."), and are interface names.
struct CommandSpec {
   std::vector<const char*> words;  // keywords: "learn"; "vlan", "add"
   std::vector<CommandArg> args;    // after the keywords, in order
   const char* help;                // bridgectl's description
   // Reads the arguments (positioned after the keywords); null for a group.
   CommandAction (*parse)(Words& args) = nullptr;
   // For a group: what its unknown verb is called in the complaint ("vlan command").
   const char* verbNoun = nullptr;
};

// Every command and group, in the order help lists them.
const std::vector<CommandSpec>& commandTable();

// The command's usage, quoted in complaints about its arguments:
// "learn <vlan> <mac> <intf> [<entry-type>]", "switchport <intf> access <vlan>".
std::string commandUsage(const CommandSpec& command);
// A group's commands, in table order.
std::vector<const CommandSpec*> groupCommands(const CommandSpec& group);
// Whether a group reads arguments before its verb.
bool argsBeforeVerb(const CommandSpec& group);

}  // namespace Sim
