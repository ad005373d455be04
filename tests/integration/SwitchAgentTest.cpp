#include "SwitchAgentTest.h"

#include <chrono>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace Harness {

Topology& Topology::ports(const std::string& names, int portId, int ifIndex,
                          const std::string& extra) {
   const char* key = names.find('-') == std::string::npos ? "name: " : "range: ";
   return entry("ports", key + names + ", port_id: " + std::to_string(portId) +
                             ", if_index: " + std::to_string(ifIndex < 0 ? portId : ifIndex) +
                             (extra.empty() ? "" : ", " + extra));
}

Topology& Topology::vlan(int id, const std::string& name, const std::string& extra) {
   return entry("vlans", "id: " + std::to_string(id) + ", name: \"" + name + "\"" +
                             (extra.empty() ? "" : ", " + extra));
}

// "range: Ethernet1-4" or "interface: Ethernet5".
static std::string portsKey(const std::string& ports) {
   return (ports.find('-') == std::string::npos ? "interface: " : "range: ") + ports;
}

Topology& Topology::access(const std::string& ports, int vlan) {
   return entry("switchports",
                portsKey(ports) + ", mode: access, access_vlan: " + std::to_string(vlan));
}

Topology& Topology::trunk(const std::string& ports, const std::string& allowed,
                          const std::string& native) {
   return entry("switchports", portsKey(ports) + ", mode: trunk, native_vlan: " + native +
                                   ", allowed_vlans: \"" + allowed + "\"");
}

Topology& Topology::staticHost(int vlan, const std::string& mac, const std::string& port) {
   return entry("static_macs",
                "vlan: " + std::to_string(vlan) + ", mac: " + mac + ", interface: " + port);
}

Topology& Topology::host(int vlan, const std::string& mac, const std::string& port,
                         const std::string& type) {
   return entry("learned_macs", "vlan: " + std::to_string(vlan) + ", mac: " + mac +
                                    ", interface: " + port +
                                    (type.empty() ? "" : ", type: " + type));
}

Topology& Topology::hosts(int vlan, const std::string& base, int count, const std::string& ports) {
   return entry("learned_macs", "vlan: " + std::to_string(vlan) + ", base: " + base +
                                    ", count: " + std::to_string(count) + ", range: " + ports);
}

Topology& Topology::entry(const std::string& section, const std::string& keys) {
   sections_[section].push_back(keys);
   return *this;
}

Topology::operator std::string() const {
   std::string yaml;
   for (const char* section :
        {"bridge", "ports", "vlans", "switchports", "static_macs", "learned_macs"}) {
      const auto found = sections_.find(section);
      if (found == sections_.end()) {
         continue;
      }
      yaml += section + std::string(found->first == "bridge" ? ": " : ":\n");
      for (const std::string& keys : found->second) {
         yaml += (found->first == "bridge" ? "{" : "  - {") + keys + "}\n";
      }
   }
   return yaml;
}

SnmpdAgent& SwitchAgentTest::startAgent(const std::string& topology, SnmpdOptions options) {
   stopSubagent();
   agent_.reset();
   agent_ = std::make_unique<SnmpdAgent>(std::move(options));
   socketPath_ = (agent_->directory() / "control.sock").string();
   std::vector<std::string> config = {"bridgesnmpControlSocket " + socketPath_};
   if (!topology.empty()) {
      config.push_back("bridgesnmpTopology " +
                       agent_->writeFile("topology.yaml", topology).string());
   }
   auto& snmpdConfig = agent_->options().extraConfig;
   if (form_ == AgentForm::dlmod) {
      snmpdConfig.insert(snmpdConfig.end(), config.begin(), config.end());
      // As on a switch: the switch's ports are the interfaces, not the test machine's.
      auto& arguments = agent_->options().extraArguments;
      arguments.insert(arguments.end(), {"-I", "-ifTable,ifXTable,interfaces"});
      agent_->start();
      return *agent_;
   }
   // The master gets the lines of snmpd's own; ours go to the subagent, which is serving once
   // it says so: its registrations have been answered by then.
   const std::string socket = "unix:" + (agent_->directory() / "agentx.sock").string();
   std::vector<std::string> masterConfig = {"master agentx", "agentXSocket " + socket};
   std::string subagentConfig;
   for (const std::string& line : snmpdConfig) {
      (line.starts_with("bridgesnmp") ? config : masterConfig).push_back(line);
   }
   for (const std::string& line : config) {
      subagentConfig += line + "\n";
   }
   snmpdConfig = masterConfig;
   agent_->options().plugin = false;
   agent_->start();
   const std::string own = (agent_->directory() / "subagent").string();
   auto environment = agent_->options().extraEnvironment;
   environment.insert({{"SNMPCONFPATH", own}, {"SNMP_PERSISTENT_DIR", own}, {"MIBS", ""}});
   const auto output = agent_->directory() / "subagent.out";
   const auto file = agent_->writeFile("bridgesnmp-agentx.conf", subagentConfig);
   subagent_ = startProcess(
       {BRIDGESNMP_AGENTX_PATH, "-L", "-x", socket, "-c", file.string(), "--ping", "1"},
       environment, output);
   const auto serving = [&] { return occurrences(readFile(output), "serving through") > 0; };
   if (!eventually([&] { return serving() || !processRunning(subagent_); }) || !serving()) {
      agent_->keepDirectory();
      throw std::runtime_error("bridgesnmp-agentx is not serving; see " + output.string());
   }
   return *agent_;
}

ExitStatus SwitchAgentTest::stopSubagent() {
   ExitStatus status;
   if (subagent_ > 0) {
      status = stopProcess(subagent_);
      subagent_ = -1;
   }
   return status;
}

CommandResult SwitchAgentTest::bridgectl(const std::vector<std::string>& args) const {
   std::vector<std::string> argv = {BRIDGESNMP_BRIDGECTL_PATH, "--socket", socketPath_};
   argv.insert(argv.end(), args.begin(), args.end());
   return runCommand(argv);
}

std::string SwitchAgentTest::ok(const std::vector<std::string>& args) const {
   const CommandResult result = bridgectl(args);
   std::string line = "bridgectl";
   for (const auto& a : args) {
      line += " " + a;
   }
   EXPECT_TRUE(result.succeeded()) << line << ": " << result.status.describe();
   EXPECT_EQ(result.err, "") << line;
   return result.out;
}

void SwitchAgentTest::TearDown() {
   stopSubagent();
   if (HasFailure() && agent_) {
      agent_->stop();
      agent_->keepDirectory();
      std::cout << "---- snmpd log, kept in " << agent_->directory().string() << " ----\n"
                << agent_->log();
      if (std::ifstream subagent(agent_->directory() / "subagent.out"); subagent.peek() != EOF) {
         std::cout << "---- bridgesnmp-agentx output ----\n" << subagent.rdbuf();
      }
      std::cout << "---- end of snmpd log ----" << std::endl;
   }
   agent_.reset();
}

std::string formName(const ::testing::TestParamInfo<AgentForm>& info) {
   return info.param == AgentForm::dlmod ? "Dlmod" : "Agentx";
}

bool eventually(const std::function<bool()>& check) {
   const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
   while (!check()) {
      if (std::chrono::steady_clock::now() > deadline) {
         return false;
      }
   }
   return true;
}

Oid macIndex(const std::string& mac) {
   std::vector<std::uint32_t> arcs;
   std::istringstream in(mac);
   for (std::string octet; std::getline(in, octet, ':');) {
      arcs.push_back(static_cast<std::uint32_t>(std::stoul(octet, nullptr, 16)));
   }
   return Oid(arcs);
}

Varbind value(const Oid& oid, std::uint8_t type, std::int64_t integer) {
   Varbind vb;
   vb.oid = oid;
   vb.type = type;
   vb.integer = integer;
   return vb;
}

Varbind octets(const Oid& oid, const std::string& bytes) {
   Varbind vb = value(oid, AsnType::OctetString, 0);
   vb.bytes = bytes;
   return vb;
}

std::vector<Varbind> tableWalk(const Oid& entry, std::uint32_t firstColumn,
                               const std::vector<std::uint8_t>& types,
                               const std::vector<TableRow>& rows) {
   std::vector<Varbind> walk;
   for (std::size_t c = 0; c < types.size(); ++c) {
      for (const TableRow& row : rows) {
         const auto column = firstColumn + static_cast<std::uint32_t>(c);
         Varbind vb = value(entry.child(column) + row.index, types[c], 0);
         if (const auto* number = std::get_if<std::int64_t>(&row.cells.at(c))) {
            vb.integer = *number;
         } else {
            vb.bytes = std::get<std::string>(row.cells.at(c));
         }
         walk.push_back(vb);
      }
   }
   return walk;
}

}  // namespace Harness
