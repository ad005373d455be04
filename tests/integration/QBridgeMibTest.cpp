// Q-BRIDGE-MIB inside a real snmpd, against the simulated switch: every scalar and every
// table walked by GETNEXT and by GETBULK, values and types compared with what the switch
// shows through bridgectl, the time filter of the current VLAN table, the row filters, and
// SETs, which are all refused without changing anything.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "SnmpdTest.h"

namespace {

using namespace Harness;

const Oid sysUpTime = "1.3.6.1.2.1.1.3.0";
const Oid sysContact = "1.3.6.1.2.1.1.4.0";

const Oid dot1qVlanVersionNumber = "1.3.6.1.2.1.17.7.1.1.1.0";
const Oid dot1qMaxVlanId = "1.3.6.1.2.1.17.7.1.1.2.0";
const Oid dot1qMaxSupportedVlans = "1.3.6.1.2.1.17.7.1.1.3.0";
const Oid dot1qNumVlans = "1.3.6.1.2.1.17.7.1.1.4.0";
const Oid dot1qGvrpStatus = "1.3.6.1.2.1.17.7.1.1.5.0";
const Oid dot1qVlanNumDeletes = "1.3.6.1.2.1.17.7.1.4.1.0";
const Oid dot1qNextFreeLocalVlanIndex = "1.3.6.1.2.1.17.7.1.4.4.0";

const Oid fdbEntry = "1.3.6.1.2.1.17.7.1.2.1.1";
const Oid tpFdbEntry = "1.3.6.1.2.1.17.7.1.2.2.1";
const Oid vlanCurrentEntry = "1.3.6.1.2.1.17.7.1.4.2.1";
const Oid vlanStaticEntry = "1.3.6.1.2.1.17.7.1.4.3.1";
const Oid portVlanEntry = "1.3.6.1.2.1.17.7.1.4.5.1";
// The maker's move table, used here only as a clock in the agent's own time base.
const Oid moveEntry =
    Oid("1.3.6.1.4.1").child(BRIDGESNMP_ENTERPRISE_NUMBER).child(3).child(2).child(1).child(1);

// ---- The switch as bridgectl shows it ----

std::vector<std::string> words(const std::string& line) {
   std::istringstream in(line);
   std::vector<std::string> out;
   for (std::string w; in >> w;) {
      out.push_back(w);
   }
   return out;
}

// The lines of a "show" table, without its heading.
std::vector<std::vector<std::string>> rowsOfShow(const std::string& text) {
   std::vector<std::vector<std::string>> rows;
   std::istringstream in(text);
   std::string line;
   std::getline(in, line);
   while (std::getline(in, line)) {
      if (!words(line).empty()) {
         rows.push_back(words(line));
      }
   }
   return rows;
}

struct Port {
   unsigned portId = 0;
   bool up = false;
};

struct Vlan {
   std::string name;
   std::string state;
   bool internal = false;
   bool hidden = false;
   std::map<std::string, bool> active;  // active port -> untagged
};

struct Switchport {
   std::string mode;
   unsigned access = 0;
   std::optional<unsigned> native;
   std::set<unsigned> allowed;
};

struct Host {
   std::string port;
   std::string type;  // "static" or the learned entry type
   unsigned moves = 0;
};

// "1,10,20-30": the VLANs of a trunk's allowed list.
std::set<unsigned> vlanList(const std::string& text) {
   std::set<unsigned> vlans;
   if (text == "all") {
      for (unsigned v = 1; v <= 4094; ++v) {
         vlans.insert(v);
      }
      return vlans;
   }
   std::istringstream in(text);
   for (std::string part; std::getline(in, part, ',');) {
      const auto dash = part.find('-');
      if (part.empty() || part == "none") {
         continue;
      }
      const unsigned first = static_cast<unsigned>(std::stoul(part.substr(0, dash)));
      const unsigned last = dash == std::string::npos
                                ? first
                                : static_cast<unsigned>(std::stoul(part.substr(dash + 1)));
      for (unsigned v = first; v <= last; ++v) {
         vlans.insert(v);
      }
   }
   return vlans;
}

struct SwitchState {
   std::map<std::string, Port> ports;
   std::map<unsigned, Vlan> vlans;
   std::map<std::string, Switchport> switchports;
   std::map<std::pair<unsigned, std::string>, Host> fdb;  // (VLAN, address)

   unsigned portId(const std::string& name) const {
      const auto it = ports.find(name);
      return it == ports.end() ? 0 : it->second.portId;
   }
   // A VLAN the static table shows: configured, active and not hidden (internal VLANs are
   // hidden too).
   bool shown(unsigned vlan) const {
      const Vlan& v = vlans.at(vlan);
      return v.state == "active" && !v.hidden && !v.internal;
   }
   // The configured membership of a port in a VLAN: nothing, or whether it is untagged.
   std::optional<bool> member(const std::string& port, unsigned vlan) const {
      const Switchport& s = switchports.at(port);
      if (s.mode == "access") {
         return s.access == vlan ? std::optional<bool>(true) : std::nullopt;
      }
      if (s.mode == "trunk" && s.allowed.count(vlan)) {
         return s.native == vlan;
      }
      return std::nullopt;
   }
};

// PortList octets of a set of bridge ports, as short as the highest port allows.
std::string portList(const std::set<unsigned>& ports) {
   std::string octets;
   for (unsigned p : ports) {
      if (p == 0) {
         continue;
      }
      const std::size_t at = (p - 1) / 8;
      if (octets.size() <= at) {
         octets.resize(at + 1, '\0');
      }
      octets[at] = static_cast<char>(octets[at] | (0x80 >> ((p - 1) % 8)));
   }
   return octets;
}

std::string hex(const std::string& bytes) {
   static const char* digits = "0123456789abcdef";
   std::string out;
   for (unsigned char c : bytes) {
      out += digits[c >> 4];
      out += digits[c & 15];
   }
   return out;
}

// Sends commands to the simulated switch of an snmpd through its control socket.
class SwitchControl {
 public:
   explicit SwitchControl(std::string socket) : socket_(std::move(socket)) {}

   CommandResult run(const std::vector<std::string>& args) const {
      std::vector<std::string> argv = {BRIDGESNMP_BRIDGECTL_PATH, "--socket", socket_};
      argv.insert(argv.end(), args.begin(), args.end());
      return runCommand(argv, Environment::inherited(), std::chrono::seconds(20));
   }

   // A command that must succeed; what it printed.
   std::string ok(const std::vector<std::string>& args) const {
      const CommandResult result = run(args);
      std::string line = "bridgectl";
      for (const auto& a : args) {
         line += " " + a;
      }
      EXPECT_TRUE(result.succeeded()) << line << ": " << result.status.describe() << "\n"
                                      << result.err;
      return result.out;
   }

   SwitchState state() const {
      SwitchState s;
      for (const auto& row : rowsOfShow(ok({"show", "ports"}))) {
         s.ports[row.at(0)] = Port{static_cast<unsigned>(std::stoul(row.at(1))), row.at(3) == "up"};
      }
      for (const auto& row : rowsOfShow(ok({"show", "vlans"}))) {
         // vlan, name (may contain blanks), state, internal, hidden, active ports
         const std::size_t n = row.size();
         Vlan v;
         for (std::size_t i = 1; i + 4 < n; ++i) {
            v.name += (v.name.empty() ? "" : " ") + row[i];
         }
         v.state = row.at(n - 4);
         v.internal = row.at(n - 3) == "yes";
         v.hidden = row.at(n - 2) == "yes";
         if (row.at(n - 1) != "-") {
            std::istringstream ports(row.at(n - 1));
            for (std::string p; std::getline(ports, p, ',');) {
               const bool tagged = p.size() > 3 && p.substr(p.size() - 3) == "(t)";
               v.active[tagged ? p.substr(0, p.size() - 3) : p] = !tagged;
            }
         }
         s.vlans[static_cast<unsigned>(std::stoul(row.at(0)))] = v;
      }
      for (const auto& row : rowsOfShow(ok({"show", "switchports"}))) {
         Switchport sp;
         sp.mode = row.at(1);
         sp.access = static_cast<unsigned>(std::stoul(row.at(2)));
         if (row.at(3) != "-" && row.at(3) != "none") {
            sp.native = static_cast<unsigned>(std::stoul(row.at(3)));
         }
         if (row.at(4) != "-") {
            sp.allowed = vlanList(row.at(4));
         }
         s.switchports[row.at(0)] = sp;
      }
      for (const auto& row : rowsOfShow(ok({"show", "fdb"}))) {
         const unsigned moves = row.at(4) == "-" ? 0 : static_cast<unsigned>(std::stoul(row.at(4)));
         s.fdb[{static_cast<unsigned>(std::stoul(row.at(0))), row.at(1)}] =
             Host{row.at(2), row.at(3), moves};
      }
      return s;
   }

 private:
   std::string socket_;
};

// ---- Walking tables ----

// The index arcs of a MAC address, "00:1c:73:aa:bb:cc".
Oid macIndex(const std::string& mac) {
   std::vector<std::uint32_t> arcs;
   std::istringstream in(mac);
   for (std::string octet; std::getline(in, octet, ':');) {
      arcs.push_back(static_cast<std::uint32_t>(std::stoul(octet, nullptr, 16)));
   }
   return Oid(arcs);
}

Oid index(std::initializer_list<std::uint32_t> arcs) {
   return Oid(std::vector<std::uint32_t>(arcs));
}

// A table's rows by index, each with its columns' varbinds.
using Rows = std::map<Oid, std::map<unsigned, Varbind>>;

// Splits a walk of a table's entry into rows; fails the test unless every column of
// `columns` (and no other) lists exactly the same rows, each once and in order.
Rows rowsOf(const std::vector<Varbind>& walked, const Oid& entry,
            const std::vector<unsigned>& columns) {
   std::map<unsigned, std::vector<Oid>> byColumn;
   Rows rows;
   for (const Varbind& vb : walked) {
      const auto& arcs = vb.oid.arcs();
      if (arcs.size() <= entry.size() + 1) {
         ADD_FAILURE() << "no index in " << vb;
         continue;
      }
      const unsigned column = arcs[entry.size()];
      const Oid idx(std::vector<std::uint32_t>(arcs.begin() + static_cast<long>(entry.size()) + 1,
                                               arcs.end()));
      byColumn[column].push_back(idx);
      rows[idx][column] = vb;
   }
   std::vector<unsigned> seen;
   for (const auto& [column, indexes] : byColumn) {
      seen.push_back(column);
   }
   EXPECT_EQ(seen, columns) << "columns walked under " << entry;
   if (!byColumn.empty()) {
      const std::vector<Oid>& first = byColumn.begin()->second;
      for (std::size_t i = 1; i < first.size(); ++i) {
         EXPECT_LT(first[i - 1], first[i]) << "rows out of order under " << entry;
      }
      for (const auto& [column, indexes] : byColumn) {
         EXPECT_EQ(indexes, first)
             << "column " << column << " lists other rows than column " << byColumn.begin()->first;
      }
   }
   return rows;
}

// Walks a table by GETNEXT and by GETBULK (two repetition counts, so that responses end
// inside and across columns); all walks must agree. Returns the rows.
Rows walkTable(SnmpdAgent& snmpd, const Oid& entry, const std::vector<unsigned>& columns) {
   const std::vector<Varbind> walked = snmpd.walk(entry);
   EXPECT_EQ(snmpd.bulkWalk(entry, 7), walked) << "GETBULK by 7 differs from GETNEXT";
   EXPECT_EQ(snmpd.bulkWalk(entry, 50), walked) << "GETBULK by 50 differs from GETNEXT";
   return rowsOf(walked, entry, columns);
}

std::set<Oid> indexesOf(const Rows& rows) {
   std::set<Oid> out;
   for (const auto& [idx, columns] : rows) {
      out.insert(idx);
   }
   return out;
}

// The forwarding-table rows the switch's state calls for: every host of a VLAN that is not
// internal, on a port with a bridge port number; learned ones only where the VLAN lets its
// learned entries show (the lab's VLANs all do).
std::set<Oid> expectedTpFdbRows(const SwitchState& s) {
   std::set<Oid> rows;
   for (const auto& [key, host] : s.fdb) {
      if (!s.vlans.at(key.first).internal && s.portId(host.port) != 0) {
         rows.insert(index({key.first}) + macIndex(key.second));
      }
   }
   return rows;
}

// Waits until dot1qTpFdbTable lists exactly `rows`: the agent works off the switch's
// forwarding database in slices after start-up and after every change.
void waitForTpFdbRows(SnmpdAgent& snmpd, const std::set<Oid>& rows) {
   std::set<Oid> listed;
   const bool settled = eventually([&] {
      listed.clear();
      for (const Varbind& vb : snmpd.walk(tpFdbEntry.child(3))) {
         listed.insert(Oid(std::vector<std::uint32_t>(vb.oid.arcs().begin() + tpFdbEntry.size() + 1,
                                                      vb.oid.arcs().end())));
      }
      return listed == rows;
   });
   ASSERT_TRUE(settled) << "dot1qTpFdbTable lists " << listed.size() << " rows, the switch "
                        << rows.size();
}

std::string suiteSocketPath() {
   static const std::string path = (std::filesystem::temp_directory_path() /
                                    ("bridgesnmp-qbridge-" + std::to_string(::getpid()) + ".sock"))
                                       .string();
   return path;
}

// ---- Read-only checks on the lab switch, one snmpd for the suite ----

class QBridgeMibLabTest : public SharedSnmpdTest<QBridgeMibLabTest> {
 public:
   static SnmpdOptions suiteOptions() {
      SnmpdOptions options;
      options.extraConfig = {"bridgesnmpControlSocket " + suiteSocketPath()};
      return options;
   }

 protected:
   void SetUp() override {
      SharedSnmpdTest::SetUp();
      if (!HasFatalFailure()) {
         state = sw.state();
         waitForTpFdbRows(agent(), expectedTpFdbRows(state));
      }
   }

   SwitchControl sw{suiteSocketPath()};
   SwitchState state;
};

TEST_F(QBridgeMibLabTest, ScalarsHaveTheirValuesAndTypes) {
   std::size_t shown = 0;
   for (const auto& [id, vlan] : state.vlans) {
      shown += state.shown(id) ? 1 : 0;
   }
   ASSERT_EQ(shown, 4u) << "the lab shows VLANs 1, 10, 20 and 30";

   const Response r = agent().getMany({dot1qVlanVersionNumber, dot1qMaxVlanId,
                                       dot1qMaxSupportedVlans, dot1qNumVlans, dot1qGvrpStatus,
                                       dot1qVlanNumDeletes, dot1qNextFreeLocalVlanIndex});

   ASSERT_TRUE(r.ok()) << r;
   ASSERT_EQ(r.varbinds.size(), 7u);
   const std::vector<std::pair<std::uint8_t, std::int64_t>> expected = {
       {AsnType::Integer, 1},                                 // version1
       {AsnType::Integer, 4094},                              // dot1qMaxVlanId
       {AsnType::Gauge32, 4094},                              // Unsigned32
       {AsnType::Gauge32, static_cast<std::int64_t>(shown)},  // dot1qNumVlans
       {AsnType::Integer, 2},                                 // GVRP disabled
       {AsnType::Counter32, 0},                               // no VLAN deleted yet
       {AsnType::Integer, 0},                                 // no free local index
   };
   for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(r.varbinds[i].type, expected[i].first) << r.varbinds[i];
      EXPECT_EQ(r.varbinds[i].integer, expected[i].second) << r.varbinds[i];
   }
}

TEST_F(QBridgeMibLabTest, EveryScalarRefusesSetWithNotWritable) {
   const std::vector<SetValue> sets = {{dot1qVlanVersionNumber, 'i', 1},
                                       {dot1qMaxVlanId, 'i', 100},
                                       {dot1qMaxSupportedVlans, 'u', 100},
                                       {dot1qNumVlans, 'u', 1},
                                       {dot1qGvrpStatus, 'i', 1},
                                       {dot1qVlanNumDeletes, 'c', 5},
                                       {dot1qNextFreeLocalVlanIndex, 'i', 7}};
   const Response before = agent().getMany({dot1qVlanVersionNumber, dot1qMaxVlanId,
                                            dot1qMaxSupportedVlans, dot1qNumVlans, dot1qGvrpStatus,
                                            dot1qVlanNumDeletes, dot1qNextFreeLocalVlanIndex});

   for (const SetValue& set : sets) {
      const Response r = agent().set({set});
      EXPECT_EQ(r.errstat, ErrStat::NotWritable) << set.oid << ": " << r;
      EXPECT_EQ(r.errindex, 1) << set.oid;
   }

   const Response after = agent().getMany({dot1qVlanVersionNumber, dot1qMaxVlanId,
                                           dot1qMaxSupportedVlans, dot1qNumVlans, dot1qGvrpStatus,
                                           dot1qVlanNumDeletes, dot1qNextFreeLocalVlanIndex});
   EXPECT_EQ(after.varbinds, before.varbinds);
}

TEST_F(QBridgeMibLabTest, FdbTableCountsTheLearnedHostsOfEveryShownFid) {
   const Rows rows = walkTable(agent(), fdbEntry, {2});

   std::map<unsigned, std::int64_t> learned;
   for (const auto& [id, vlan] : state.vlans) {
      if (!vlan.internal) {
         learned[id] = 0;
      }
   }
   for (const auto& [key, host] : state.fdb) {
      if (host.type != "static" && learned.count(key.first)) {
         ++learned[key.first];
      }
   }
   std::set<Oid> expected;
   for (const auto& [fid, count] : learned) {
      expected.insert(index({fid}));
   }
   EXPECT_EQ(indexesOf(rows), expected);
   EXPECT_FALSE(rows.count(index({4094}))) << "the internal VLAN's FID has no row";
   for (const auto& [fid, count] : learned) {
      const auto row = rows.find(index({fid}));
      ASSERT_NE(row, rows.end()) << "FID " << fid;
      const Varbind& vb = row->second.at(2);
      EXPECT_EQ(vb.type, AsnType::Counter32) << vb;
      EXPECT_EQ(vb.integer, count) << "FID " << fid;
   }
   EXPECT_EQ(rows.at(index({10})).at(2).integer, 104) << "80 + 24 learned in the lab's VLAN 10";
}

TEST_F(QBridgeMibLabTest, TpFdbTableListsTheForwardingDatabaseWithPortsAndStatus) {
   const Rows rows = walkTable(agent(), tpFdbEntry, {2, 3});

   EXPECT_EQ(indexesOf(rows), expectedTpFdbRows(state));
   EXPECT_EQ(rows.size(), 265u) << "the lab's 261 learned and 4 static hosts";
   for (const auto& [key, host] : state.fdb) {
      const auto row = rows.find(index({key.first}) + macIndex(key.second));
      ASSERT_NE(row, rows.end()) << key.first << " " << key.second;
      const Varbind& port = row->second.at(2);
      const Varbind& status = row->second.at(3);
      EXPECT_EQ(port.type, AsnType::Integer) << port;
      EXPECT_EQ(port.integer, state.portId(host.port)) << key.second;
      EXPECT_EQ(status.type, AsnType::Integer) << status;
      // mgmt(5) for static and management entries, learned(3) for the rest.
      const bool mgmt = host.type == "static" || host.type == "management";
      EXPECT_EQ(status.integer, mgmt ? 5 : 3) << key.second << " " << host.type;
   }
   // A static host behind the link that is down stays listed.
   const auto kept = rows.find(index({30}) + macIndex("00:1c:73:00:10:1e"));
   ASSERT_NE(kept, rows.end());
   EXPECT_EQ(kept->second.at(2).integer, 47);
   EXPECT_EQ(kept->second.at(3).integer, 5);
}

TEST_F(QBridgeMibLabTest, VlanCurrentTableShowsEveryVlanButTheInternalOne) {
   const Rows rows = walkTable(agent(), vlanCurrentEntry, {3, 4, 5, 6, 7});

   std::set<Oid> expected;
   for (const auto& [id, vlan] : state.vlans) {
      if (!vlan.internal) {
         expected.insert(index({0, id}));
      }
   }
   EXPECT_EQ(indexesOf(rows), expected) << "time mark 0 and every VLAN that is not internal";
   EXPECT_FALSE(rows.count(index({0, 4094})));
   for (const auto& [id, vlan] : state.vlans) {
      if (vlan.internal) {
         continue;
      }
      const auto& row = rows.at(index({0, id}));
      std::set<unsigned> egress;
      std::set<unsigned> untagged;
      for (const auto& [port, isUntagged] : vlan.active) {
         egress.insert(state.portId(port));
         if (isUntagged) {
            untagged.insert(state.portId(port));
         }
      }
      EXPECT_EQ(row.at(3).type, AsnType::Gauge32) << row.at(3);
      EXPECT_EQ(row.at(3).integer, id) << "a VLAN's FID is its id";
      EXPECT_EQ(row.at(4).type, AsnType::OctetString);
      EXPECT_EQ(hex(row.at(4).bytes), hex(portList(egress))) << "egress of VLAN " << id;
      EXPECT_EQ(row.at(5).type, AsnType::OctetString);
      EXPECT_EQ(hex(row.at(5).bytes), hex(portList(untagged))) << "untagged of VLAN " << id;
      EXPECT_EQ(row.at(6).type, AsnType::Integer);
      EXPECT_EQ(row.at(6).integer, 2) << "permanent";
      EXPECT_EQ(row.at(7).type, AsnType::TimeTicks) << row.at(7);
   }
   // The lab's own figures: VLAN 1 on Ethernet1-8, 33-40 and 48, all untagged; VLAN 10 on
   // Ethernet9-16 untagged and 33-44 and 48 tagged (Ethernet47 is down).
   EXPECT_EQ(hex(rows.at(index({0, 1})).at(4).bytes), "ff000000ff01");
   EXPECT_EQ(hex(rows.at(index({0, 1})).at(5).bytes), "ff000000ff01");
   EXPECT_EQ(hex(rows.at(index({0, 10})).at(4).bytes), "00ff0000fff1");
   EXPECT_EQ(hex(rows.at(index({0, 10})).at(5).bytes), "00ff");
   EXPECT_EQ(rows.at(index({0, 50})).at(4).bytes, "") << "the suspended VLAN has no port";
   const GetResult upTime = agent().get(sysUpTime);
   for (const auto& [idx, row] : rows) {
      EXPECT_LE(row.at(7).integer, upTime.integer) << "created before now: " << idx;
   }
}

TEST_F(QBridgeMibLabTest, VlanCurrentTableTimeMarkKeepsRowsChangedUpToTwoTicksBefore) {
   // No port of the lab's VLANs has changed since the agent started: each row's last change
   // is at up-time 0, so a mark of 2 still lists it and a mark of 3 no longer does.
   const Oid fdbId = vlanCurrentEntry.child(3);

   const GetResult atTwo = agent().get(fdbId + index({2, 10}));
   EXPECT_EQ(atTwo.type, AsnType::Gauge32) << atTwo;
   EXPECT_EQ(atTwo.integer, 10);
   const GetResult atThree = agent().get(fdbId + index({3, 10}));
   EXPECT_EQ(atThree.type, AsnType::NoSuchInstance) << atThree;

   const GetResult nextFromTwo = agent().getNext(fdbId + index({2, 0}));
   EXPECT_EQ(nextFromTwo.oid, fdbId + index({2, 1})) << nextFromTwo;
   // From mark 3 no row of the column qualifies: the walk goes on to the next column, whose
   // walk starts over without a mark.
   const GetResult nextFromThree = agent().getNext(fdbId + index({3, 0}));
   EXPECT_EQ(nextFromThree.oid, vlanCurrentEntry.child(4) + index({0, 1})) << nextFromThree;
}

TEST_F(QBridgeMibLabTest, VlanStaticTableShowsTheConfiguredVlansThatAreShown) {
   const Rows rows = walkTable(agent(), vlanStaticEntry, {1, 2, 3, 4, 5});

   std::set<Oid> expected;
   for (const auto& [id, vlan] : state.vlans) {
      if (state.shown(id)) {
         expected.insert(index({id}));
      }
   }
   EXPECT_EQ(indexesOf(rows), expected);
   EXPECT_FALSE(rows.count(index({50}))) << "suspended";
   EXPECT_FALSE(rows.count(index({99}))) << "hidden";
   EXPECT_FALSE(rows.count(index({4094}))) << "internal";
   for (const auto& [idx, row] : rows) {
      const unsigned id = idx.arcs().front();
      std::set<unsigned> members;
      std::set<unsigned> untagged;
      for (const auto& [port, sp] : state.switchports) {
         if (const auto m = state.member(port, id)) {
            members.insert(state.portId(port));
            if (*m) {
               untagged.insert(state.portId(port));
            }
         }
      }
      EXPECT_EQ(row.at(1).type, AsnType::OctetString);
      EXPECT_EQ(row.at(1).bytes, state.vlans.at(id).name);
      EXPECT_EQ(row.at(2).type, AsnType::OctetString);
      EXPECT_EQ(hex(row.at(2).bytes), hex(portList(members))) << "egress of VLAN " << id;
      EXPECT_EQ(row.at(3).type, AsnType::OctetString);
      EXPECT_EQ(row.at(3).bytes, "") << "nothing forbidden";
      EXPECT_EQ(row.at(4).type, AsnType::OctetString);
      EXPECT_EQ(hex(row.at(4).bytes), hex(portList(untagged))) << "untagged of VLAN " << id;
      EXPECT_EQ(row.at(5).type, AsnType::Integer);
      EXPECT_EQ(row.at(5).integer, 1) << "active";
   }
   // The configuration counts ports whatever their link: Ethernet47 (down) is an untagged
   // member of VLAN 10, and the trunks Ethernet41-44 and 48 tagged ones.
   EXPECT_EQ(rows.at(index({10})).at(1).bytes, "engineering");
   EXPECT_EQ(hex(rows.at(index({10})).at(2).bytes), "00ff0000fff3");
   EXPECT_EQ(hex(rows.at(index({10})).at(4).bytes), "00ff00000002");
}

TEST_F(QBridgeMibLabTest, PortVlanTableShowsPvidAndFrameTypesOfEveryBridgePort) {
   const Rows rows = walkTable(agent(), portVlanEntry, {1, 2, 3, 4, 5, 6, 7});

   std::set<Oid> expected;
   for (const auto& [name, port] : state.ports) {
      if (port.portId != 0 && state.switchports.at(name).mode != "routed") {
         expected.insert(index({port.portId}));
      }
   }
   EXPECT_EQ(indexesOf(rows), expected);
   EXPECT_FALSE(rows.count(index({45}))) << "Ethernet45 is routed";
   for (const auto& [name, port] : state.ports) {
      const auto found = rows.find(index({port.portId}));
      if (found == rows.end()) {
         continue;
      }
      const auto& row = found->second;
      const Switchport& sp = state.switchports.at(name);
      const unsigned pvid = sp.mode == "access" ? sp.access : sp.native.value_or(1);
      const int frames = sp.mode == "trunk" && !sp.native ? 2 : 1;
      EXPECT_EQ(row.at(1).type, AsnType::Gauge32) << row.at(1);
      EXPECT_EQ(row.at(1).integer, pvid) << name;
      EXPECT_EQ(row.at(2).type, AsnType::Integer);
      EXPECT_EQ(row.at(2).integer, frames) << name;
      EXPECT_EQ(row.at(3).type, AsnType::Integer);
      EXPECT_EQ(row.at(3).integer, 1) << "ingress filtering on";
      EXPECT_EQ(row.at(4).type, AsnType::Integer);
      EXPECT_EQ(row.at(4).integer, 2) << "GVRP disabled";
      EXPECT_EQ(row.at(5).type, AsnType::Counter32);
      EXPECT_EQ(row.at(5).integer, 0);
      EXPECT_EQ(row.at(6).type, AsnType::OctetString);
      EXPECT_EQ(row.at(6).bytes, std::string(6, '\0'));
      EXPECT_EQ(row.at(7).type, AsnType::Integer);
      EXPECT_EQ(row.at(7).integer, 2) << "restricted registration off";
   }
   // Access port, trunk with a native VLAN, trunk without one.
   EXPECT_EQ(rows.at(index({9})).at(1).integer, 10);
   EXPECT_EQ(rows.at(index({9})).at(2).integer, 1);
   EXPECT_EQ(rows.at(index({33})).at(1).integer, 1);
   EXPECT_EQ(rows.at(index({33})).at(2).integer, 1);
   EXPECT_EQ(rows.at(index({41})).at(1).integer, 1);
   EXPECT_EQ(rows.at(index({41})).at(2).integer, 2) << "admitOnlyVlanTagged";
}

TEST_F(QBridgeMibLabTest, RefusedTableColumnHoldsBackTheWholeSet) {
   const std::string contactBefore = agent().get(sysContact).bytes;

   const Response r = agent().set({{sysContact, 's', "set by a refused request"},
                                   {portVlanEntry.child(4) + index({9}), 'i', 1}});

   EXPECT_EQ(r.errstat, ErrStat::NotWritable) << r;
   EXPECT_EQ(r.errindex, 2);
   EXPECT_EQ(agent().get(sysContact).bytes, contactBefore);
   EXPECT_EQ(agent().get(portVlanEntry.child(1) + index({9})).integer, 10);
}

TEST_F(QBridgeMibLabTest, ReadOnlyTablesRefuseSets) {
   const std::vector<SetValue> sets = {
       {fdbEntry.child(2) + index({10}), 'c', 1},
       {tpFdbEntry.child(2) + index({10}) + macIndex("00:1c:73:00:10:0a"), 'i', 3},
       {tpFdbEntry.child(3) + index({10}) + macIndex("00:1c:73:00:10:0a"), 'i', 2},
       {vlanCurrentEntry.child(3) + index({0, 10}), 'u', 11},
       {vlanCurrentEntry.child(6) + index({0, 10}), 'i', 3},
   };
   const std::vector<Varbind> before = agent().walk(Oid("1.3.6.1.2.1.17.7.1.2"));

   for (const SetValue& set : sets) {
      const Response r = agent().set({set});
      EXPECT_EQ(r.errstat, ErrStat::NotWritable) << set.oid << ": " << r;
   }

   EXPECT_EQ(agent().walk(Oid("1.3.6.1.2.1.17.7.1.2")), before);
}

// ---- Changes on the switch, an snmpd per test ----

class QBridgeMibChangeTest : public SnmpdTest {
 protected:
   // An snmpd over the lab switch, or over `topology` when given.
   SnmpdAgent& startAgent(const std::string& topology = "") {
      SnmpdAgent& snmpd = addAgent();
      const std::string socket = (snmpd.directory() / "control.sock").string();
      snmpd.options().extraConfig = {"bridgesnmpControlSocket " + socket};
      if (!topology.empty()) {
         const auto path = snmpd.writeFile("topology.yaml", topology);
         snmpd.options().extraConfig.push_back("bridgesnmpTopology " + path.string());
      }
      snmpd.start();
      sw = std::make_unique<SwitchControl>(socket);
      return snmpd;
   }

   std::unique_ptr<SwitchControl> sw;
};

TEST_F(QBridgeMibChangeTest, DeletedVlanIsCountedAndLeavesNoRowOfItsFid) {
   SnmpdAgent& snmpd = startAgent();
   waitForTpFdbRows(snmpd, expectedTpFdbRows(sw->state()));
   const GetResult deletesBefore = snmpd.get(dot1qVlanNumDeletes);
   ASSERT_EQ(deletesBefore.type, AsnType::Counter32) << deletesBefore;
   ASSERT_EQ(snmpd.get(dot1qNumVlans).integer, 4);

   sw->ok({"vlan", "del", "30"});

   const GetResult deletes = snmpd.get(dot1qVlanNumDeletes);
   EXPECT_EQ(deletes.type, AsnType::Counter32) << deletes;
   EXPECT_EQ(deletes.integer, deletesBefore.integer + 1);
   const GetResult numVlans = snmpd.get(dot1qNumVlans);
   EXPECT_EQ(numVlans.type, AsnType::Gauge32);
   EXPECT_EQ(numVlans.integer, 3);
   const SwitchState state = sw->state();
   EXPECT_FALSE(state.vlans.count(30));
   // The FID of a VLAN without configuration has no row anywhere.
   waitForTpFdbRows(snmpd, expectedTpFdbRows(state));
   EXPECT_FALSE(walkTable(snmpd, fdbEntry, {2}).count(index({30})));
   EXPECT_FALSE(walkTable(snmpd, vlanCurrentEntry, {3, 4, 5, 6, 7}).count(index({0, 30})));
   EXPECT_FALSE(walkTable(snmpd, vlanStaticEntry, {1, 2, 3, 4, 5}).count(index({30})));
   for (const Varbind& vb : snmpd.walk(tpFdbEntry)) {
      EXPECT_NE(vb.oid.arcs().at(tpFdbEntry.size() + 1), 30u) << vb;
   }

   sw->ok({"vlan", "add", "60", "name", "lab net"});
   sw->ok({"vlan", "del", "60"});
   EXPECT_EQ(snmpd.get(dot1qVlanNumDeletes).integer, deletesBefore.integer + 2);
}

TEST_F(QBridgeMibChangeTest, InternalVlanKeepsItsHostsOutOfEveryTable) {
   SnmpdAgent& snmpd = startAgent();
   const std::string host = "02:00:ff:00:00:01";
   ASSERT_EQ(sw->ok({"learn", "4094", host, "Ethernet48"}), "learned\n");
   ASSERT_THAT(sw->ok({"show", "fdb", "4094"}), ::testing::HasSubstr(host));
   const Oid row = index({4094}) + macIndex(host);

   // While VLAN 4094 is an ordinary VLAN its FID and host are listed...
   sw->ok({"vlan", "internal", "4094", "off"});
   waitForTpFdbRows(snmpd, expectedTpFdbRows(sw->state()));
   EXPECT_TRUE(walkTable(snmpd, tpFdbEntry, {2, 3}).count(row));
   const Rows fdbOrdinary = walkTable(snmpd, fdbEntry, {2});
   ASSERT_TRUE(fdbOrdinary.count(index({4094})));
   EXPECT_EQ(fdbOrdinary.at(index({4094})).at(2).integer, 1);
   EXPECT_TRUE(walkTable(snmpd, vlanCurrentEntry, {3, 4, 5, 6, 7}).count(index({0, 4094})));

   // ... and once it is internal again, neither is, though the switch still has the host.
   sw->ok({"vlan", "internal", "4094", "on"});
   ASSERT_THAT(sw->ok({"show", "fdb", "4094"}), ::testing::HasSubstr(host));
   EXPECT_FALSE(walkTable(snmpd, tpFdbEntry, {2, 3}).count(row));
   EXPECT_FALSE(walkTable(snmpd, fdbEntry, {2}).count(index({4094})));
   EXPECT_FALSE(walkTable(snmpd, vlanCurrentEntry, {3, 4, 5, 6, 7}).count(index({0, 4094})));
   EXPECT_FALSE(walkTable(snmpd, vlanStaticEntry, {1, 2, 3, 4, 5}).count(index({4094})));
}

// VLAN 20 keeps its learned entries out of the forwarding-table views (a non-zero selection
// word); Ethernet5 is no bridge port. VLAN 30's host has the largest key of all, so once it
// is listed the agent has worked off every host before it.
const char* const filterTopology =
    "ports:\n"
    "  - {range: Ethernet1-4, port_id: 1, if_index: 1}\n"
    "  - {name: Ethernet5, port_id: 0, if_index: 0}\n"
    "vlans:\n"
    "  - {id: 10, name: ten}\n"
    "  - {id: 20, name: twenty, selection_word: 0x10}\n"
    "  - {id: 30, name: thirty}\n"
    "switchports:\n"
    "  - {range: Ethernet1-5, mode: trunk, native_vlan: 10, allowed_vlans: \"10,20,30\"}\n"
    "static_macs:\n"
    "  - {vlan: 20, mac: 00:1c:73:00:20:01, interface: Ethernet2}\n"
    "  - {vlan: 10, mac: 00:1c:73:00:10:05, interface: Ethernet5}\n"
    "learned_macs:\n"
    "  - {vlan: 10, mac: 02:00:00:00:10:01, interface: Ethernet1}\n"
    "  - {vlan: 10, mac: 02:00:00:00:10:05, interface: Ethernet5}\n"
    "  - {vlan: 20, mac: 02:00:00:00:20:01, interface: Ethernet1}\n"
    "  - {vlan: 20, mac: 02:00:00:00:20:02, interface: Ethernet3, type: management}\n"
    "  - {vlan: 30, mac: 02:ff:ff:ff:ff:ff, interface: Ethernet4}\n";

TEST_F(QBridgeMibChangeTest, FdbRowsFollowTheSelectionWordAndTheBridgePort) {
   SnmpdAgent& snmpd = startAgent(filterTopology);
   const Oid sentinel = index({30}) + macIndex("02:ff:ff:ff:ff:ff");
   ASSERT_TRUE(eventually(
       [&] { return snmpd.get(tpFdbEntry.child(3) + sentinel).type == AsnType::Integer; }));

   const Rows rows = walkTable(snmpd, tpFdbEntry, {2, 3});

   std::map<Oid, std::pair<std::int64_t, std::int64_t>> listed;  // port, status
   for (const auto& [idx, row] : rows) {
      listed[idx] = {row.at(2).integer, row.at(3).integer};
   }
   const std::map<Oid, std::pair<std::int64_t, std::int64_t>> expected = {
       {index({10}) + macIndex("02:00:00:00:10:01"), {1, 3}},  // learned
       {index({20}) + macIndex("00:1c:73:00:20:01"), {2, 5}},  // static shows all the same
       {index({20}) + macIndex("02:00:00:00:20:02"), {3, 5}},  // so does a management entry
       {sentinel, {4, 3}},
   };
   EXPECT_EQ(listed, expected) << "learned in VLAN 20, and anything on Ethernet5, are left out";
   // The switch has every one of them.
   const std::string fdb = sw->ok({"show", "fdb"});
   for (const char* mac : {"02:00:00:00:20:01", "02:00:00:00:10:05", "00:1c:73:00:10:05"}) {
      EXPECT_THAT(fdb, ::testing::HasSubstr(mac));
   }
   // dot1qFdbDynamicCount counts what each FID has learned, listed or not.
   const Rows fdbRows = walkTable(snmpd, fdbEntry, {2});
   EXPECT_EQ(indexesOf(fdbRows), (std::set<Oid>{index({10}), index({20}), index({30})}));
   EXPECT_EQ(fdbRows.at(index({10})).at(2).integer, 2);
   EXPECT_EQ(fdbRows.at(index({20})).at(2).integer, 2);
   EXPECT_EQ(fdbRows.at(index({30})).at(2).integer, 1);
   // Ethernet5 has no bridge port, so no port VLAN row either.
   EXPECT_EQ(indexesOf(walkTable(snmpd, portVlanEntry, {1, 2, 3, 4, 5, 6, 7})),
             (std::set<Oid>{index({1}), index({2}), index({3}), index({4})}));
}

TEST_F(QBridgeMibChangeTest, PortChangeMovesTheVlansLastChangePastTheTimeMark) {
   SnmpdAgent& snmpd = startAgent();
   // Once the agent has worked off the lab's forwarding database, its hosts can move, and
   // its clock is well past the lab VLANs' last change at 0.
   waitForTpFdbRows(snmpd, expectedTpFdbRows(sw->state()));
   const Oid fdbId = vlanCurrentEntry.child(3);
   const Oid lastMove = moveEntry.child(3);
   ASSERT_EQ(snmpd.get(fdbId + index({3, 1})).type, AsnType::NoSuchInstance);
   // Moves before and after the port change bound its time, in the agent's own ticks.
   sw->ok({"move", "10", "02:00:0a:00:00:00", "Ethernet10"});
   const GetResult before = snmpd.get(lastMove + index({0, 10}) + macIndex("02:00:0a:00:00:00"));
   ASSERT_EQ(before.type, AsnType::TimeTicks) << before;

   sw->ok({"link", "Ethernet3", "down"});

   sw->ok({"move", "10", "02:00:0a:00:00:01", "Ethernet9"});
   const GetResult after = snmpd.get(lastMove + index({0, 10}) + macIndex("02:00:0a:00:00:01"));
   ASSERT_EQ(after.type, AsnType::TimeTicks) << after;
   ASSERT_LE(before.integer, after.integer);
   auto listedAt = [&](std::int64_t mark) {
      return snmpd.get(fdbId + index({static_cast<std::uint32_t>(mark), 1})).type ==
             AsnType::Gauge32;
   };
   EXPECT_TRUE(listedAt(before.integer + 2));
   EXPECT_FALSE(listedAt(after.integer + 3));
   // The last mark that lists VLAN 1 is its change plus two ticks: one tick later it is gone.
   std::int64_t low = before.integer + 2;  // listed
   std::int64_t high = after.integer + 3;  // not listed
   while (high - low > 1) {
      const std::int64_t mid = (low + high) / 2;
      (listedAt(mid) ? low : high) = mid;
   }
   EXPECT_TRUE(listedAt(low));
   EXPECT_FALSE(listedAt(low + 1));
   EXPECT_GE(low - 2, before.integer);
   EXPECT_LE(low - 2, after.integer);
   // A GETNEXT from that mark finds VLAN 1 first; VLAN 10 has not changed.
   const GetResult next = snmpd.getNext(fdbId + index({static_cast<std::uint32_t>(low), 0}));
   EXPECT_EQ(next.oid, fdbId + index({static_cast<std::uint32_t>(low), 1})) << next;
   const GetResult second = snmpd.getNext(fdbId + index({static_cast<std::uint32_t>(low), 1}));
   EXPECT_FALSE(second.oid.startsWith(fdbId)) << "only VLAN 1 changed: " << second;
   // Its egress ports lost Ethernet3; the change deleted nothing.
   EXPECT_EQ(hex(snmpd.get(vlanCurrentEntry.child(4) + index({0, 1})).bytes), "df000000ff01");
   EXPECT_EQ(snmpd.get(dot1qVlanNumDeletes).integer, 0);
}

TEST_F(QBridgeMibChangeTest, NewVlanIsCreatedLaterThanTheLabsAndShownEverywhere) {
   SnmpdAgent& snmpd = startAgent();
   const Rows initial = walkTable(snmpd, vlanCurrentEntry, {3, 4, 5, 6, 7});

   sw->ok({"vlan", "add", "60", "name", "lab net"});
   sw->ok({"switchport", "Ethernet5", "access", "60"});

   const GetResult upTime = snmpd.get(sysUpTime);
   const Rows current = walkTable(snmpd, vlanCurrentEntry, {3, 4, 5, 6, 7});
   ASSERT_TRUE(current.count(index({0, 60})));
   const auto& row = current.at(index({0, 60}));
   for (const auto& [idx, old] : initial) {
      EXPECT_GE(row.at(7).integer, old.at(7).integer) << idx;
   }
   EXPECT_LE(row.at(7).integer, upTime.integer);
   // Ethernet5 untagged, the all-VLAN trunk Ethernet48 tagged.
   EXPECT_EQ(hex(row.at(4).bytes), "080000000001");
   EXPECT_EQ(hex(row.at(5).bytes), "08");
   const Rows statics = walkTable(snmpd, vlanStaticEntry, {1, 2, 3, 4, 5});
   ASSERT_TRUE(statics.count(index({60})));
   EXPECT_EQ(statics.at(index({60})).at(1).bytes, "lab net");
   EXPECT_EQ(snmpd.get(dot1qNumVlans).integer, 5);
   const Rows ports = walkTable(snmpd, portVlanEntry, {1, 2, 3, 4, 5, 6, 7});
   EXPECT_EQ(ports.at(index({5})).at(1).integer, 60);
}

TEST_F(QBridgeMibChangeTest, VlanNamesAreAtMost32Octets) {
   SnmpdAgent& snmpd = startAgent();
   const Oid name20 = vlanStaticEntry.child(1) + index({20});

   sw->ok({"vlan", "name", "20", std::string(32, 'n')});
   const GetResult fits = snmpd.get(name20);
   EXPECT_TRUE(fits.ok()) << fits;
   EXPECT_EQ(fits.bytes, std::string(32, 'n'));

   // The switch refuses a longer name, so the row keeps serving the one it has.
   const CommandResult refused = sw->run({"vlan", "name", "20", std::string(33, 'n')});
   EXPECT_EQ(refused.status.exitCode(), 1) << refused.err;
   EXPECT_EQ(snmpd.get(name20).bytes, std::string(32, 'n'));
}

}  // namespace
