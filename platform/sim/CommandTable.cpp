#include "platform/sim/CommandTable.h"

#include <string_view>

#include "platform/sim/CommandInterpreter.h"

namespace Sim {
namespace {

const CommandSpec* topLevel(std::string_view word) {
   for (const CommandSpec& command : commandTable()) {
      if (command.words.size() == 1 && word == command.words.front()) {
         return &command;
      }
   }
   return nullptr;
}

// The group a command belongs to; null for a command of its own.
const CommandSpec* groupOf(const CommandSpec& command) {
   return command.words.size() > 1 ? topLevel(command.words.front()) : nullptr;
}

// "add|del": the verbs of a group's commands.
std::string verbs(const CommandSpec& group) {
   std::string text;
   for (const CommandSpec* command : groupCommands(group)) {
      text += (text.empty() ? "" : "|") + std::string(command->words.back());
   }
   return text;
}

std::string argUsage(const CommandSpec& command, const CommandArg& arg) {
   switch (arg.kind) {
      case ArgKind::optional:
         return std::string("[") + arg.syntax + "]";
      case ArgKind::verb:
         return verbs(command);
      case ArgKind::required:
      case ArgKind::rest:
         break;
   }
   return arg.syntax;
}

void appendWord(std::string& text, const std::string& word) {
   if (!word.empty()) {
      text += (text.empty() ? "" : " ") + word;
   }
}

}  // namespace

std::vector<const CommandSpec*> groupCommands(const CommandSpec& group) {
   std::vector<const CommandSpec*> commands;
   for (const CommandSpec& command : commandTable()) {
      if (command.words.size() == 2 && std::string_view(command.words.front()) == group.words[0]) {
         commands.push_back(&command);
      }
   }
   return commands;
}

bool argsBeforeVerb(const CommandSpec& group) {
   return !group.args.empty() && group.args.front().kind != ArgKind::verb;
}

std::string commandUsage(const CommandSpec& command) {
   std::string usage = command.words.front();
   if (const CommandSpec* group = groupOf(command)) {
      for (const CommandArg& arg : group->args) {
         if (arg.kind == ArgKind::verb) {
            break;
         }
         appendWord(usage, argUsage(*group, arg));
      }
      appendWord(usage, command.words.back());
   }
   for (const CommandArg& arg : command.args) {
      if (*arg.syntax || arg.kind == ArgKind::verb) {
         appendWord(usage, argUsage(command, arg));
      }
   }
   return usage;
}

CommandAction parseCommand(const std::vector<std::string>& words) {
   if (words.empty()) {
      throw CommandError("empty command (try 'help')");
   }
   const CommandSpec* command = topLevel(words.front());
   if (!command) {
      throw CommandError("unknown command '" + oneLineReason(words.front()) + "' (try 'help')");
   }
   Words args(words, 1, commandUsage(*command));
   if (command->parse) {
      return command->parse(args);
   }
   for (const CommandArg& arg : command->args) {
      if (arg.kind == ArgKind::verb) {
         break;
      }
      takeIntf(args);
   }
   const std::string& verb = args.take(verbs(*command));
   for (const CommandSpec* member : groupCommands(*command)) {
      if (verb == member->words.back()) {
         Words memberArgs(words, args.position(), commandUsage(*member));
         return member->parse(memberArgs);
      }
   }
   args.fail("unknown " + std::string(command->verbNoun) + " '" + verb + "'");
}

std::string commandHelpText() {
   std::string text;
   for (const CommandSpec& command : commandTable()) {
      if (command.parse) {
         text += commandUsage(command) + "\n";
      }
   }
   return text;
}

}  // namespace Sim
