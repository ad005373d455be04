#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "SnmpdAgent.h"

namespace Harness {

// A topology file for the simulated switch in a few lines, e.g.
//   Topology().ports("Ethernet1-4", 1).vlan(10, "ten").access("Ethernet4", 10)
//             .host(10, "02:00:00:00:00:01", "Ethernet4")
// Every entry is a flow mapping of the file's own keys; `extra` adds keys to it.
class Topology {
 public:
   Topology& bridge(const std::string& keys) { return entry("bridge", keys); }
   // Ports of a range ("Ethernet1-4") or one port, numbered from `portId` and `ifIndex`
   // (`portId` when not given).
   Topology& ports(const std::string& names, int portId, int ifIndex = -1,
                   const std::string& extra = "");
   Topology& vlan(int id, const std::string& name, const std::string& extra = "");
   Topology& access(const std::string& ports, int vlan);
   Topology& trunk(const std::string& ports, const std::string& allowed,
                   const std::string& native = "none");
   Topology& staticHost(int vlan, const std::string& mac, const std::string& port);
   Topology& host(int vlan, const std::string& mac, const std::string& port,
                  const std::string& type = "");
   // A run of `count` addresses from `base`, dealt over `ports`.
   Topology& hosts(int vlan, const std::string& base, int count, const std::string& ports);
   // Any entry of any section.
   Topology& entry(const std::string& section, const std::string& keys);

   operator std::string() const;

 private:
   std::map<std::string, std::vector<std::string>> sections_;
};

// How the MIB units reach snmpd: loaded into it with dlmod, or from bridgesnmp-agentx, an
// AgentX subagent of an snmpd without the plug-in.
enum class AgentForm { dlmod, agentx };

// A test with an snmpd serving the MIB units over a simulated switch that bridgectl drives
// through a control socket in the agent's directory. A failed test prints snmpd's log (and
// the subagent's output) and keeps its directory.
class SwitchAgentTest : public ::testing::Test {
 protected:
   // The lab switch, or `topology` (YAML text) when given. A second call replaces the agent.
   // In the AgentX form the bridgesnmp lines of options.extraConfig go to the subagent's
   // configuration, the others to the master's; the environment goes to both.
   SnmpdAgent& startAgent(const std::string& topology = "", SnmpdOptions options = {});
   SnmpdAgent& snmpd() { return *agent_; }
   void formIs(AgentForm form) { form_ = form; }
   // The AgentX form's subagent, and how it ended when stopped (SIGTERM).
   pid_t subagent() const { return subagent_; }
   ExitStatus stopSubagent();
   const std::string& socketPath() const { return socketPath_; }

   // Runs bridgectl with --socket and the words given.
   CommandResult bridgectl(const std::vector<std::string>& args) const;
   // bridgectl that must succeed and print nothing on stderr; what it printed.
   std::string ok(const std::vector<std::string>& args) const;

   void TearDown() override;

 private:
   AgentForm form_ = AgentForm::dlmod;
   std::unique_ptr<SnmpdAgent> agent_;
   std::string socketPath_;
   pid_t subagent_ = -1;
};

// A scenario that runs in both forms, with the same answers expected: TEST_P, then
// SWITCH_AGENT_FORMS(Suite).
class BothFormsTest : public SwitchAgentTest, public ::testing::WithParamInterface<AgentForm> {
 protected:
   BothFormsTest() { formIs(GetParam()); }
};

std::string formName(const ::testing::TestParamInfo<AgentForm>& info);

#define SWITCH_AGENT_FORMS(Suite)                                                                  \
   INSTANTIATE_TEST_SUITE_P(                                                                       \
       Forms, Suite, ::testing::Values(::Harness::AgentForm::dlmod, ::Harness::AgentForm::agentx), \
       ::Harness::formName)

// Repeats a check that queries snmpd (each try a round trip, during which the agent catches
// up with the switch) until it holds or a minute has gone (a loaded CI machine reads a
// 100,000-entry table slowly); whether it came to hold.
bool eventually(const std::function<bool()>& check);

// The index arcs of a MAC address, "00:1c:73:aa:bb:cc".
Oid macIndex(const std::string& mac);

// An expected varbind of a numeric type (INTEGER, Counter32, Gauge32, TimeTicks).
Varbind value(const Oid& oid, std::uint8_t type, std::int64_t integer);
// An expected OCTET STRING varbind.
Varbind octets(const Oid& oid, const std::string& bytes);

// An expected row: its index, and a cell (a number or octets) a column.
struct TableRow {
   Oid index;
   std::vector<std::variant<std::int64_t, std::string>> cells;
};
// A table's varbinds as a walk returns them, column by column: the types of the columns from
// `firstColumn` on, then the rows.
std::vector<Varbind> tableWalk(const Oid& entry, std::uint32_t firstColumn,
                               const std::vector<std::uint8_t>& types,
                               const std::vector<TableRow>& rows);

// The objects the scenarios read; tables by their entry.
namespace Mib {
inline const Oid sysUpTime = "1.3.6.1.2.1.1.3.0";
inline const Oid ifEntry = "1.3.6.1.2.1.2.2.1";
inline const Oid ifXEntry = "1.3.6.1.2.1.31.1.1.1";
inline const Oid dot1dBase = "1.3.6.1.2.1.17.1";
inline const Oid portEntry = "1.3.6.1.2.1.17.1.4.1";  // dot1dBasePortEntry
inline const Oid dot1dTp = "1.3.6.1.2.1.17.4";
inline const Oid fdbEntry = "1.3.6.1.2.1.17.4.3.1";  // dot1dTpFdbEntry
inline const Oid qBridgeBase = "1.3.6.1.2.1.17.7.1.1";
inline const Oid qFdbEntry = "1.3.6.1.2.1.17.7.1.2.1.1";
inline const Oid tpFdbEntry = "1.3.6.1.2.1.17.7.1.2.2.1";  // dot1qTpFdbEntry
inline const Oid currentEntry = "1.3.6.1.2.1.17.7.1.4.2.1";
inline const Oid staticEntry = "1.3.6.1.2.1.17.7.1.4.3.1";
inline const Oid portVlanEntry = "1.3.6.1.2.1.17.7.1.4.5.1";
// The maker's per-host moves: enterprises.<number>.3.2.1.1, index (time mark, FID, address).
inline const Oid moveEntry =
    Oid("1.3.6.1.4.1").child(BRIDGESNMP_ENTERPRISE_NUMBER) + Oid("3.2.1.1");
}  // namespace Mib

}  // namespace Harness
