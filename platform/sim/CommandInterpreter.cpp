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

// A command whose reply has no body.
CommandAction withoutReply(std::function<void(Switch&)> operation) {
   return [operation = std::move(operation)](Switch& sw) {
      operation(sw);
      return std::string();
   };
}

// Makes sure the body is empty or ends with a newline.
std::string asBody(std::string text) {
   if (!text.empty() && text.back() != '\n') {
      text.push_back('\n');
   }
   return text;
}

CommandAction parseLearn(Words& w) {
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

// move and static add: a host, the interface it goes to, and the switch's operation.
CommandAction parseHostOnIntf(Words& w,
                              void (Switch::*operation)(Bridging::VlanId, const Velnet::EthAddr&,
                                                        const Velnet::IntfId&)) {
   const auto vlan = parseVlanWord(w.take("<vlan>"));
   const auto mac = parseMacWord(w.take("<mac>"));
   const auto intf = takeIntf(w);
   w.end();
   return withoutReply([=](Switch& sw) { (sw.*operation)(vlan, mac, intf); });
}

// age and static del: a host, and the switch's operation on it.
CommandAction parseHost(Words& w,
                        void (Switch::*operation)(Bridging::VlanId, const Velnet::EthAddr&)) {
   const auto vlan = parseVlanWord(w.take("<vlan>"));
   const auto mac = parseMacWord(w.take("<mac>"));
   w.end();
   return withoutReply([=](Switch& sw) { (sw.*operation)(vlan, mac); });
}

CommandAction parseFlush(Words& w) {
   std::optional<Bridging::VlanId> vlan;
   std::optional<Velnet::IntfId> intf;
   w.takePairs("vlan or intf", {"vlan", "intf"}, [&](std::size_t keyword) {
      if (keyword == 0) {
         vlan = parseVlanWord(w.take("<vlan>"));
      } else {
         intf = takeIntf(w);
      }
   });
   return [=](Switch& sw) { return "flushed " + std::to_string(sw.flush(vlan, intf)) + "\n"; };
}

CommandAction parseBurst(Words& w) {
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
CommandAction parsePortState(Words& w, void (Switch::*stateIs)(const Velnet::IntfId&, bool)) {
   const auto intf = takeIntf(w);
   const std::string& state = w.take("up|down");
   if (state != "up" && state != "down") {
      w.fail("'" + state + "' is not up or down");
   }
   const bool up = state == "up";
   w.end();
   return withoutReply([=](Switch& sw) { (sw.*stateIs)(intf, up); });
}

CommandAction parseVlanAdd(Words& w) {
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

CommandAction parseVlanDel(Words& w) {
   const auto id = parseVlanWord(w.take("<vlan>"));
   w.end();
   return withoutReply([=](Switch& sw) { sw.vlanDel(id); });
}

// vlan internal and vlan hidden: a VLAN, on or off, and the switch's setter for it.
CommandAction parseVlanFlag(Words& w, void (Switch::*flagIs)(Bridging::VlanId, bool)) {
   const auto id = parseVlanWord(w.take("<vlan>"));
   const bool on = takeOnOff(w, "on|off");
   w.end();
   return withoutReply([=](Switch& sw) { (sw.*flagIs)(id, on); });
}

CommandAction parseVlanState(Words& w) {
   const auto id = parseVlanWord(w.take("<vlan>"));
   const std::string& word = w.take("active|suspended");
   const auto state = Bridging::adminStateFromName(word);
   if (!state) {
      w.fail("'" + word + "' is not active or suspended");
   }
   w.end();
   return withoutReply([id, state = *state](Switch& sw) { sw.vlanAdminStateIs(id, state); });
}

CommandAction parseVlanName(Words& w) {
   const auto id = parseVlanWord(w.take("<vlan>"));
   const std::string name = takeName(w);
   w.end();
   return withoutReply([=](Switch& sw) { sw.vlanNameIs(id, name); });
}

// The switchport commands: the interface is the line's second word, checked by the group.
// Each applies its change to the switchport's current settings, so that it changes only what
// it names.
CommandAction changeSwitchport(const Words& w, std::function<void(SwitchportSpec&)> change) {
   return withoutReply([intf = Velnet::IntfId(w.word(1)), change = std::move(change)](Switch& sw) {
      SwitchportSpec settings = currentSwitchport(sw, intf);
      change(settings);
      sw.switchportIs(intf, settings);
   });
}

CommandAction parseSwitchportAccess(Words& w) {
   const auto vlan = parseVlanWord(w.take("<vlan>"));
   w.end();
   return changeSwitchport(w, [=](SwitchportSpec& settings) {
      settings.mode = Bridging::SwitchportMode::access;
      settings.accessVlan = vlan;
   });
}

CommandAction parseSwitchportTrunk(Words& w) {
   std::optional<Bridging::VlanIdOrNone> native;
   std::optional<std::string> allowed;
   w.takePairs("native or allowed", {"native", "allowed"}, [&](std::size_t keyword) {
      if (keyword == 0) {
         const std::string& word = w.take("<vlan>|none");
         native = word == "none" ? Bridging::VlanIdOrNone()
                                 : Bridging::VlanIdOrNone(parseVlanWord(word));
      } else {
         allowed = w.take("<list>");
      }
   });
   return changeSwitchport(w, [=](SwitchportSpec& settings) {
      settings.mode = Bridging::SwitchportMode::trunk;
      settings.nativeVlan = native.value_or(settings.nativeVlan);
      settings.allowedVlans = allowed.value_or(settings.allowedVlans);
   });
}

CommandAction parseSwitchportMode(Words& w) {
   const auto mode = parseMode(w.take("<mode>"));
   w.end();
   return changeSwitchport(w, [=](SwitchportSpec& settings) { settings.mode = mode; });
}

CommandAction parseAging(Words& w) {
   const double seconds = parseSeconds(w.take("<seconds>"));
   w.end();
   return withoutReply([=](Switch& sw) { sw.hostAgingTimeIs(seconds); });
}

CommandAction parseShow(Words& w) {
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

CommandAction parseTrace(Words& w) {
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

CommandAction parseStatus(Words& w) {
   w.end();
   return [](Switch& sw) { return sw.agentStatus(); };
}

CommandAction parseHelp(Words& w) {
   w.end();
   return [](Switch&) { return commandHelpText(); };
}

}  // namespace

const std::vector<CommandSpec>& commandTable() {
   using enum ArgKind;
   // The arguments many commands take.
   const CommandArg vlanArg{"vlan", "<vlan>", "VLAN 1-4094"};
   const CommandArg macArg{"mac", "<mac>", "MAC address"};
   const CommandArg intfArg{"intf", "<intf>", "interface"};
   const CommandArg onOffArg{"on-off", "on|off", "on or off"};
   static const std::vector<CommandSpec> table = {
       {{"learn"},
        {vlanArg,
         {"mac", "<mac>", "MAC address, e.g. 00:1c:73:00:00:01"},
         {"intf", "<intf>", "interface, e.g. Ethernet1"},
         {"entry-type", "<entry-type>",
          "learnedDynamic (default), learnedRemote, configuredStatic, peerStatic, router, "
          "management",
          optional}},
        "learn a host (or refresh it, or move it if seen elsewhere)",
        parseLearn},
       {{"move"},
        {vlanArg, macArg, {"intf", "<intf>", "the interface it moves to"}},
        "move a learned host to another interface",
        [](Words& w) { return parseHostOnIntf(w, &Switch::move); }},
       {{"age"},
        {vlanArg, macArg},
        "age a learned host out now",
        [](Words& w) { return parseHost(w, &Switch::age); }},
       {{"flush"},
        {{"filters", "[vlan <vlan>] [intf <intf>]", "vlan <vlan> and/or intf <intf>", rest}},
        "remove learned hosts: all, or of a VLAN and/or an interface",
        parseFlush},
       {{"burst"},
        {{"count", "<count>", "how many hosts"},
         {"ports", "<ports>", "over how many ports"},
         {"options", "[seed <n>] [paced]",
          "seed <n>: the same seed gives the same addresses (default 1); paced: learn over "
          "time, a few milliseconds per turn of the switch's loop, and return at once",
          rest}},
        "learn <count> random hosts spread over the first <ports> ports",
        parseBurst},
       {{"link"},
        {intfArg, {"state", "up|down", "up or down"}},
        "bring an interface's link up or down",
        [](Words& w) { return parsePortState(w, &Switch::linkIs); }},
       {{"admin"},
        {intfArg, {"state", "up|down", "up or down"}},
        "shut an interface down (down) or bring it back into service (up)",
        [](Words& w) { return parsePortState(w, &Switch::adminIs); }},
       {{"vlan"},
        {{"verb", "", "", verb}, {"arguments", "<vlan> ...", "", rest}},
        "create, delete and change VLANs",
        nullptr,
        "vlan command"},
       {{"vlan", "add"},
        {vlanArg, {"name", "[name <name>]", "name <name>", rest}},
        "create a VLAN",
        parseVlanAdd},
       {{"vlan", "del"}, {vlanArg}, "delete a VLAN", parseVlanDel},
       {{"vlan", "internal"},
        {vlanArg, onOffArg},
        "mark a VLAN internal (reserved by the switch)",
        [](Words& w) { return parseVlanFlag(w, &Switch::vlanInternalIs); }},
       {{"vlan", "hidden"},
        {vlanArg, onOffArg},
        "hide a VLAN from view",
        [](Words& w) { return parseVlanFlag(w, &Switch::vlanHiddenIs); }},
       {{"vlan", "state"},
        {vlanArg, {"state", "active|suspended", "active or suspended"}},
        "set a VLAN's administrative state",
        parseVlanState},
       {{"vlan", "name"},
        {vlanArg, {"name", "<name>", "the name (\"\" for none)"}},
        "name a VLAN",
        parseVlanName},
       {{"switchport"},
        {intfArg,
         {"setting", "", "access, trunk or mode", verb},
         {"values", "...", "the setting's values", rest}},
        "configure a switchport",
        nullptr,
        "switchport setting"},
       {{"switchport", "access"},
        {vlanArg},
        "make it an access port of the VLAN",
        parseSwitchportAccess},
       {{"switchport", "trunk"},
        {{"native", "native <vlan>|none", "the untagged VLAN, or none", optional},
         {"allowed", "allowed <list>", "the VLANs it carries", optional}},
        "make it a trunk",
        parseSwitchportTrunk},
       {{"switchport", "mode"},
        {{"mode", "<mode>", "access, trunk, dot1q-tunnel, tap, tool or routed"}},
        "set its mode alone",
        parseSwitchportMode},
       {{"static"},
        {{"verb", "", "", verb}, {"arguments", "<vlan> <mac> ...", "", rest}},
        "add and delete static hosts",
        nullptr,
        "static command"},
       {{"static", "add"},
        {vlanArg, macArg, intfArg},
        "add a static host",
        [](Words& w) { return parseHostOnIntf(w, &Switch::staticHostIs); }},
       {{"static", "del"},
        {vlanArg, macArg},
        "delete a static host",
        [](Words& w) { return parseHost(w, &Switch::staticHostDel); }},
       {{"aging"},
        {{"seconds", "<seconds>", "seconds; 0 disables aging"}},
        "set the host aging time",
        parseAging},
       {{"show"},
        {{"what", "summary|ports|vlans|switchports|fdb [<vlan>]",
          "summary (default), ports, vlans, switchports or fdb", optional},
         {"vlan", "", "with fdb: only this VLAN", optional}},
        "show the switch's state",
        parseShow},
       {{"trace"},
        {{"levels", "<facility/level>[,<facility/level>...]",
          "Facility/level[,Facility/level...], e.g. SimControl/5"}},
        "set trace levels in the serving process",
        parseTrace},
       {{"status"},
        {},
        "the SNMP agent's health: rows per table, FDB backlog, slices, requests per table",
        parseStatus},
       {{"help"}, {}, "list the commands the switch understands", parseHelp},
   };
   return table;
}

std::string CommandInterpreter::execute(std::string_view line) {
   // Bad operator input is an expected outcome here, not a fault worth a level-0 trace.
   Kel::Expect expectRange(Kel::ExceptionId::range);
   Kel::Expect expectParse(Kel::ExceptionId::parse);
   try {
      const CommandAction action = parseCommand(splitCommandLine(line));
      return "ok\n" + asBody(action(sw_));
   } catch (const CommandError& e) {
      return "error: " + oneLineReason(e.what()) + "\n";
   } catch (const Kel::Exception& e) {
      return "error: " + oneLineReason(e.what()) + "\n";
   } catch (const std::exception& e) {
      return "error: " + oneLineReason(e.what()) + "\n";
   }
}

}  // namespace Sim
