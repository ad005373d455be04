#include "platform/sim/CommandInterpreter.h"

#include <charconv>
#include <exception>
#include <optional>
#include <sstream>
#include <utility>

#include "platform/bridging/Enums.h"
#include "platform/kel/Exception.h"
#include "platform/kel/Trace.h"

namespace Sim {
namespace {

// The usage line of each command, quoted in errors about its arguments.
constexpr const char* learnUsage = "learn <vlan> <mac> <intf> [<entry-type>]";
constexpr const char* moveUsage = "move <vlan> <mac> <intf>";
constexpr const char* ageUsage = "age <vlan> <mac>";
constexpr const char* flushUsage = "flush [vlan <vlan>] [intf <intf>]";
constexpr const char* burstUsage = "burst <count> <ports> [seed <n>] [paced]";
constexpr const char* linkUsage = "link <intf> up|down";
constexpr const char* adminUsage = "admin <intf> up|down";
constexpr const char* vlanUsage = "vlan add|del|internal|hidden|state|name <vlan> ...";
constexpr const char* vlanAddUsage = "vlan add <vlan> [name <name>]";
constexpr const char* vlanDelUsage = "vlan del <vlan>";
constexpr const char* vlanInternalUsage = "vlan internal <vlan> on|off";
constexpr const char* vlanHiddenUsage = "vlan hidden <vlan> on|off";
constexpr const char* vlanStateUsage = "vlan state <vlan> active|suspended";
constexpr const char* vlanNameUsage = "vlan name <vlan> <name>";
constexpr const char* switchportUsage = "switchport <intf> access|trunk|mode ...";
constexpr const char* switchportAccessUsage = "switchport <intf> access <vlan>";
constexpr const char* switchportTrunkUsage =
    "switchport <intf> trunk [native <vlan>|none] [allowed <list>]";
constexpr const char* switchportModeUsage = "switchport <intf> mode <mode>";
constexpr const char* staticUsage = "static add|del <vlan> <mac> ...";
constexpr const char* staticAddUsage = "static add <vlan> <mac> <intf>";
constexpr const char* staticDelUsage = "static del <vlan> <mac>";
constexpr const char* agingUsage = "aging <seconds>";
constexpr const char* showUsage = "show [summary|ports|vlans|switchports|fdb [<vlan>]]";
constexpr const char* traceUsage = "trace <facility/level>[,<facility/level>...]";
constexpr const char* helpUsage = "help";
constexpr const char* statusUsage = "status";

// Seconds: digits with an optional fraction, no sign and no exponent.
double parseSeconds(std::string_view word) {
   bool digits = false;
   bool point = false;
   bool wellFormed = !word.empty();
   for (char c : word) {
      if (c >= '0' && c <= '9') {
         digits = true;
      } else if (c == '.' && !point) {
         point = true;
      } else {
         wellFormed = false;
      }
   }
   double value = 0.0;
   if (wellFormed && digits) {
      const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value);
      wellFormed = ec == std::errc() && end == word.data() + word.size();
   } else {
      wellFormed = false;
   }
   if (!wellFormed) {
      throw CommandError("aging time '" + std::string(word) + "' is not a number of seconds");
   }
   if (value > maxAgingSeconds) {
      throw CommandError("aging time " + std::string(word) + " is outside 0-1000000 seconds");
   }
   return value;
}

const char* outcomeName(LearnOutcome outcome) {
   switch (outcome) {
      case LearnOutcome::learned:
         return "learned";
      case LearnOutcome::refreshed:
         return "refreshed";
      case LearnOutcome::moved:
         return "moved";
   }
   return "learned";
}

// The switchport's current input configuration, or the defaults when it has none, so that
// a command changes only what it names.
SwitchportSpec currentSwitchport(const Switch& sw, const Velnet::IntfId& intf) {
   SwitchportSpec settings;
   if (const auto config = sw.entities().input->switchIntfConfig(intf)) {
      settings.mode = config->switchportMode();
      settings.accessVlan = config->accessVlan();
      settings.nativeVlan = config->trunkNativeVlan();
      settings.allowedVlans = config->trunkAllowedVlans().stdString();
   }
   return settings;
}

// Makes sure the body is empty or ends with a newline.
std::string asBody(std::string text) {
   if (!text.empty() && text.back() != '\n') {
      text.push_back('\n');
   }
   return text;
}

CommandAction parseLearn(const std::vector<std::string>& words) {
   Words w(words, 1, learnUsage);
   const auto vlan = parseVlanWord(w.take("<vlan>"));
   const auto mac = parseMacWord(w.take("<mac>"));
   const auto intf = takeIntf(w);
   auto type = Bridging::FdbEntryType::learnedDynamic;
   if (w.more()) {
      type = parseEntryType(w.take("<entry-type>"));
   }
   w.end();
   return
       [=](Switch& sw) { return std::string(outcomeName(sw.learn(vlan, mac, intf, type))) + "\n"; };
}

CommandAction parseMove(const std::vector<std::string>& words) {
   Words w(words, 1, moveUsage);
   const auto vlan = parseVlanWord(w.take("<vlan>"));
   const auto mac = parseMacWord(w.take("<mac>"));
   const auto intf = takeIntf(w);
   w.end();
   return [=](Switch& sw) {
      sw.move(vlan, mac, intf);
      return std::string();
   };
}

CommandAction parseAge(const std::vector<std::string>& words) {
   Words w(words, 1, ageUsage);
   const auto vlan = parseVlanWord(w.take("<vlan>"));
   const auto mac = parseMacWord(w.take("<mac>"));
   w.end();
   return [=](Switch& sw) {
      sw.age(vlan, mac);
      return std::string();
   };
}

CommandAction parseFlush(const std::vector<std::string>& words) {
   Words w(words, 1, flushUsage);
   std::optional<Bridging::VlanId> vlan;
   std::optional<Velnet::IntfId> intf;
   while (w.more()) {
      const std::string& keyword = w.take("vlan or intf");
      if (keyword == "vlan" && !vlan) {
         vlan = parseVlanWord(w.take("<vlan>"));
      } else if (keyword == "intf" && !intf) {
         intf = takeIntf(w);
      } else if (keyword == "vlan" || keyword == "intf") {
         w.fail(keyword + " given twice");
      } else {
         w.fail("unexpected argument '" + keyword + "'");
      }
   }
   return [=](Switch& sw) { return "flushed " + std::to_string(sw.flush(vlan, intf)) + "\n"; };
}

CommandAction parseBurst(const std::vector<std::string>& words) {
   Words w(words, 1, burstUsage);
   const auto count = parseNumberWord(w.take("<count>"), "burst count", 1, maxBurstCount);
   const auto ports = parseNumberWord(w.take("<ports>"), "port count", 1, maxBurstPorts);
   std::uint64_t seed = 1;
   bool paced = false;
   bool seeded = false;
   while (w.more()) {
      const std::string& keyword = w.take("seed");
      if (keyword == "seed" && !seeded) {
         seed = parseNumberWord(w.take("<n>"), "seed", 0, UINT64_MAX);
         seeded = true;
      } else if (keyword == "paced" && !paced) {
         paced = true;
      } else {
         w.fail("unexpected argument '" + keyword + "'");
      }
   }
   w.end();
   if (paced) {
      return [=](Switch& sw) {
         sw.burstPaced(count, ports, seed);
         return "burst of " + std::to_string(count) + " started\n";
      };
   }
   return
       [=](Switch& sw) { return "learned " + std::to_string(sw.burst(count, ports, seed)) + "\n"; };
}

// link and admin: an interface, up or down, and the switch's setter for it.
CommandAction parsePortState(const std::vector<std::string>& words, const char* usage,
                             void (Switch::*stateIs)(const Velnet::IntfId&, bool)) {
   Words w(words, 1, usage);
   const auto intf = takeIntf(w);
   const std::string& state = w.take("up|down");
   if (state != "up" && state != "down") {
      w.fail("'" + state + "' is not up or down");
   }
   const bool up = state == "up";
   w.end();
   return [=](Switch& sw) {
      (sw.*stateIs)(intf, up);
      return std::string();
   };
}

CommandAction parseVlan(const std::vector<std::string>& words) {
   Words top(words, 1, vlanUsage);
   const std::string& verb = top.take("add|del|internal|hidden|state|name");
   if (verb == "add") {
      Words w(words, 2, vlanAddUsage);
      VlanSpec created;
      created.id = parseVlanWord(w.take("<vlan>"));
      if (w.more()) {
         if (const std::string& keyword = w.take("name"); keyword != "name") {
            w.fail("unexpected argument '" + keyword + "'");
         }
         created.name = takeName(w);
      }
      w.end();
      return [created](Switch& sw) {
         if (sw.entities().input->vlanConfig(created.id)) {
            throw CommandError("VLAN " + std::to_string(created.id.value()) + " already exists");
         }
         sw.vlanIs(created);
         return std::string();
      };
   }
   if (verb == "del") {
      Words w(words, 2, vlanDelUsage);
      const auto id = parseVlanWord(w.take("<vlan>"));
      w.end();
      return [=](Switch& sw) {
         sw.vlanDel(id);
         return std::string();
      };
   }
   if (verb == "internal" || verb == "hidden") {
      const bool internal = verb == "internal";
      Words w(words, 2, internal ? vlanInternalUsage : vlanHiddenUsage);
      const auto id = parseVlanWord(w.take("<vlan>"));
      const bool on = takeOnOff(w, "on|off");
      w.end();
      return [=](Switch& sw) {
         if (internal) {
            sw.vlanInternalIs(id, on);
         } else {
            sw.vlanHiddenIs(id, on);
         }
         return std::string();
      };
   }
   if (verb == "state") {
      Words w(words, 2, vlanStateUsage);
      const auto id = parseVlanWord(w.take("<vlan>"));
      const std::string& word = w.take("active|suspended");
      const auto state = Bridging::adminStateFromName(word);
      if (!state) {
         w.fail("'" + word + "' is not active or suspended");
      }
      w.end();
      return [id, state = *state](Switch& sw) {
         sw.vlanAdminStateIs(id, state);
         return std::string();
      };
   }
   if (verb == "name") {
      Words w(words, 2, vlanNameUsage);
      const auto id = parseVlanWord(w.take("<vlan>"));
      const std::string name = takeName(w);
      w.end();
      return [=](Switch& sw) {
         sw.vlanNameIs(id, name);
         return std::string();
      };
   }
   top.fail("unknown vlan command '" + verb + "'");
}

CommandAction parseSwitchport(const std::vector<std::string>& words) {
   Words top(words, 1, switchportUsage);
   const auto intf = takeIntf(top);
   const std::string& verb = top.take("access|trunk|mode");
   if (verb == "access") {
      Words w(words, 3, switchportAccessUsage);
      const auto vlan = parseVlanWord(w.take("<vlan>"));
      w.end();
      return [=](Switch& sw) {
         SwitchportSpec settings = currentSwitchport(sw, intf);
         settings.mode = Bridging::SwitchportMode::access;
         settings.accessVlan = vlan;
         sw.switchportIs(intf, settings);
         return std::string();
      };
   }
   if (verb == "trunk") {
      Words w(words, 3, switchportTrunkUsage);
      std::optional<Bridging::VlanIdOrNone> native;
      std::optional<std::string> allowed;
      while (w.more()) {
         const std::string& keyword = w.take("native or allowed");
         if (keyword == "native" && !native) {
            const std::string& word = w.take("<vlan>|none");
            native = word == "none" ? Bridging::VlanIdOrNone()
                                    : Bridging::VlanIdOrNone(parseVlanWord(word));
         } else if (keyword == "allowed" && !allowed) {
            allowed = w.take("<list>");
         } else if (keyword == "native" || keyword == "allowed") {
            w.fail(keyword + " given twice");
         } else {
            w.fail("unexpected argument '" + keyword + "'");
         }
      }
      return [=](Switch& sw) {
         SwitchportSpec settings = currentSwitchport(sw, intf);
         settings.mode = Bridging::SwitchportMode::trunk;
         if (native) {
            settings.nativeVlan = *native;
         }
         if (allowed) {
            settings.allowedVlans = *allowed;
         }
         sw.switchportIs(intf, settings);
         return std::string();
      };
   }
   if (verb == "mode") {
      Words w(words, 3, switchportModeUsage);
      const auto mode = parseMode(w.take("<mode>"));
      w.end();
      return [=](Switch& sw) {
         SwitchportSpec settings = currentSwitchport(sw, intf);
         settings.mode = mode;
         sw.switchportIs(intf, settings);
         return std::string();
      };
   }
   top.fail("unknown switchport setting '" + verb + "'");
}

CommandAction parseStatic(const std::vector<std::string>& words) {
   Words top(words, 1, staticUsage);
   const std::string& verb = top.take("add|del");
   if (verb == "add") {
      Words w(words, 2, staticAddUsage);
      const auto vlan = parseVlanWord(w.take("<vlan>"));
      const auto mac = parseMacWord(w.take("<mac>"));
      const auto intf = takeIntf(w);
      w.end();
      return [=](Switch& sw) {
         sw.staticHostIs(vlan, mac, intf);
         return std::string();
      };
   }
   if (verb == "del") {
      Words w(words, 2, staticDelUsage);
      const auto vlan = parseVlanWord(w.take("<vlan>"));
      const auto mac = parseMacWord(w.take("<mac>"));
      w.end();
      return [=](Switch& sw) {
         sw.staticHostDel(vlan, mac);
         return std::string();
      };
   }
   top.fail("unknown static command '" + verb + "'");
}

CommandAction parseAging(const std::vector<std::string>& words) {
   Words w(words, 1, agingUsage);
   const double seconds = parseSeconds(w.take("<seconds>"));
   w.end();
   return [=](Switch& sw) {
      sw.hostAgingTimeIs(seconds);
      return std::string();
   };
}

CommandAction parseShow(const std::vector<std::string>& words) {
   Words w(words, 1, showUsage);
   std::string what = "summary";
   if (w.more()) {
      what = w.take("what");
      if (what == "fdb" && w.more()) {
         what += " " + std::to_string(parseVlanWord(w.take("<vlan>")).value());
      } else if (what != "summary" && what != "ports" && what != "vlans" && what != "switchports" &&
                 what != "fdb") {
         w.fail("cannot show '" + what + "'");
      }
   }
   w.end();
   return [=](Switch& sw) { return asBody(sw.show(what)); };
}

CommandAction parseTrace(const std::vector<std::string>& words) {
   Words w(words, 1, traceUsage);
   const std::string levels = w.take("<facility/level>");
   w.end();
   // Checked when run: malformed levels change nothing.
   if (levels.empty()) {
      w.fail("empty trace levels");
   }
   return [levels](Switch&) {
      std::string error;
      if (!Kel::setTraceLevels(levels, &error)) {
         throw CommandError("bad trace levels: " + error);
      }
      return std::string();
   };
}

CommandAction parseStatus(const std::vector<std::string>& words) {
   Words w(words, 1, statusUsage);
   w.end();
   return [](Switch& sw) { return sw.agentStatus(); };
}

CommandAction parseHelp(const std::vector<std::string>& words) {
   Words w(words, 1, helpUsage);
   w.end();
   return [](Switch&) { return commandHelpText(); };
}

// The reason as one line: control characters (a newline in an exception's text) become
// blanks.
std::string oneLine(std::string_view reason) {
   std::string line(reason);
   for (char& c : line) {
      if (isControl(static_cast<unsigned char>(c))) {
         c = ' ';
      }
   }
   return line.empty() ? std::string("unknown failure") : line;
}

}  // namespace

CommandAction parseCommand(const std::vector<std::string>& words) {
   if (words.empty()) {
      throw CommandError("empty command (try 'help')");
   }
   const std::string& command = words[0];
   if (command == "learn") {
      return parseLearn(words);
   }
   if (command == "move") {
      return parseMove(words);
   }
   if (command == "age") {
      return parseAge(words);
   }
   if (command == "flush") {
      return parseFlush(words);
   }
   if (command == "burst") {
      return parseBurst(words);
   }
   if (command == "link") {
      return parsePortState(words, linkUsage, &Switch::linkIs);
   }
   if (command == "admin") {
      return parsePortState(words, adminUsage, &Switch::adminIs);
   }
   if (command == "vlan") {
      return parseVlan(words);
   }
   if (command == "switchport") {
      return parseSwitchport(words);
   }
   if (command == "static") {
      return parseStatic(words);
   }
   if (command == "aging") {
      return parseAging(words);
   }
   if (command == "show") {
      return parseShow(words);
   }
   if (command == "trace") {
      return parseTrace(words);
   }
   if (command == "status") {
      return parseStatus(words);
   }
   if (command == "help") {
      return parseHelp(words);
   }
   throw CommandError("unknown command '" + oneLine(command) + "' (try 'help')");
}

std::string commandHelpText() {
   std::string text;
   for (const char* usage : {learnUsage,
                             moveUsage,
                             ageUsage,
                             flushUsage,
                             burstUsage,
                             linkUsage,
                             adminUsage,
                             vlanAddUsage,
                             vlanDelUsage,
                             vlanInternalUsage,
                             vlanHiddenUsage,
                             vlanStateUsage,
                             vlanNameUsage,
                             switchportAccessUsage,
                             switchportTrunkUsage,
                             switchportModeUsage,
                             staticAddUsage,
                             staticDelUsage,
                             agingUsage,
                             showUsage,
                             traceUsage,
                             statusUsage,
                             helpUsage}) {
      text += usage;
      text += '\n';
   }
   return text;
}

std::string CommandInterpreter::execute(std::string_view line) {
   // Bad operator input is an expected outcome here, not a fault worth a level-0 trace.
   Kel::Expect expectRange(Kel::ExceptionId::range);
   Kel::Expect expectParse(Kel::ExceptionId::parse);
   try {
      const CommandAction action = parseCommand(splitCommandLine(line));
      return "ok\n" + asBody(action(sw_));
   } catch (const CommandError& e) {
      return "error: " + oneLine(e.what()) + "\n";
   } catch (const Kel::Exception& e) {
      return "error: " + oneLine(e.what()) + "\n";
   } catch (const std::exception& e) {
      return "error: " + oneLine(e.what()) + "\n";
   }
}

}  // namespace Sim
