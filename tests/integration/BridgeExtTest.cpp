// The maker's move table (VELTRA-BRIDGE-EXT-MIB) inside a real snmpd, against the simulated
// switch: which addresses it lists, their move counts and last move times as the switch
// moves them, and its time filter.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "SnmpdTest.h"

namespace {

using namespace Harness;

const Oid sysUpTime = "1.3.6.1.2.1.1.3.0";
// veltraDot1qTpFdbEntry: enterprises.<number>.3.2.1.1
const Oid moveEntry =
    Oid("1.3.6.1.4.1").child(BRIDGESNMP_ENTERPRISE_NUMBER).child(3).child(2).child(1).child(1);
const Oid numMoves = moveEntry.child(2);
const Oid lastMove = moveEntry.child(3);
const Oid tpFdbStatus = "1.3.6.1.2.1.17.7.1.2.2.1.3";

// The index arcs of a MAC address, "00:1c:73:aa:bb:cc".
Oid macIndex(const std::string& mac) {
   std::vector<std::uint32_t> arcs;
   std::istringstream in(mac);
   for (std::string octet; std::getline(in, octet, ':');) {
      arcs.push_back(static_cast<std::uint32_t>(std::stoul(octet, nullptr, 16)));
   }
   return Oid(arcs);
}

// (time mark, FID, address).
Oid rowIndex(std::uint32_t mark, std::uint32_t fid, const std::string& mac) {
   return Oid(std::vector<std::uint32_t>{mark, fid}) + macIndex(mac);
}

struct Host {
   std::string port;
   std::string type;  // "static" or the learned entry type
   std::int64_t moves = 0;
};

// Sends commands to the simulated switch of an snmpd through its control socket.
class SwitchControl {
 public:
   explicit SwitchControl(std::string socket) : socket_(std::move(socket)) {}

   // A command that must succeed; what it printed.
   std::string ok(const std::vector<std::string>& args) const {
      std::vector<std::string> argv = {BRIDGESNMP_BRIDGECTL_PATH, "--socket", socket_};
      argv.insert(argv.end(), args.begin(), args.end());
      const CommandResult result =
          runCommand(argv, Environment::inherited(), std::chrono::seconds(20));
      EXPECT_TRUE(result.succeeded()) << argv[3] << ": " << result.status.describe() << "\n"
                                      << result.err;
      return result.out;
   }

   // "show fdb": (VLAN, address) -> host.
   std::map<std::pair<std::uint32_t, std::string>, Host> fdb() const {
      std::map<std::pair<std::uint32_t, std::string>, Host> hosts;
      std::istringstream in(ok({"show", "fdb"}));
      std::string line;
      std::getline(in, line);  // heading
      while (std::getline(in, line)) {
         std::istringstream fields(line);
         std::string vlan, address, port, type, moves;
         if (fields >> vlan >> address >> port >> type >> moves) {
            hosts[{static_cast<std::uint32_t>(std::stoul(vlan)), address}] =
                Host{port, type, moves == "-" ? 0 : std::stoll(moves)};
         }
      }
      return hosts;
   }

   // The VLANs "show vlans" marks internal.
   std::set<std::uint32_t> internalVlans() const {
      std::set<std::uint32_t> internal;
      std::istringstream in(ok({"show", "vlans"}));
      std::string line;
      std::getline(in, line);
      while (std::getline(in, line)) {
         std::istringstream fields(line);
         std::vector<std::string> w;
         for (std::string word; fields >> word;) {
            w.push_back(word);
         }
         if (w.size() >= 5 && w[w.size() - 3] == "yes") {
            internal.insert(static_cast<std::uint32_t>(std::stoul(w[0])));
         }
      }
      return internal;
   }

 private:
   std::string socket_;
};

// The rows the switch's state calls for at time mark 0: its learned hosts, other than
// management entries, in VLANs that are not internal (the lab's ports all have a bridge
// port number, and its VLANs all let learned entries show).
std::set<Oid> expectedRows(const SwitchControl& sw) {
   const auto internal = sw.internalVlans();
   std::set<Oid> rows;
   for (const auto& [key, host] : sw.fdb()) {
      if (host.type != "static" && host.type != "management" && !internal.count(key.first)) {
         rows.insert(rowIndex(0, key.first, key.second));
      }
   }
   return rows;
}

std::set<Oid> listedRows(SnmpdAgent& snmpd) {
   std::set<Oid> rows;
   for (const Varbind& vb : snmpd.walk(numMoves)) {
      rows.insert(Oid(std::vector<std::uint32_t>(vb.oid.arcs().begin() + numMoves.size(),
                                                 vb.oid.arcs().end())));
   }
   return rows;
}

// Waits until the table lists exactly the rows the switch calls for: the agent works off
// the switch's forwarding database in slices after start-up and after every change.
void waitForRows(SnmpdAgent& snmpd, const SwitchControl& sw) {
   const std::set<Oid> expected = expectedRows(sw);
   std::set<Oid> listed;
   const bool settled = eventually([&] {
      listed = listedRows(snmpd);
      return listed == expected;
   });
   ASSERT_TRUE(settled) << "the table lists " << listed.size() << " rows, the switch "
                        << expected.size();
}

std::string suiteSocketPath() {
   static const std::string path = (std::filesystem::temp_directory_path() /
                                    ("bridgesnmp-ext-" + std::to_string(::getpid()) + ".sock"))
                                       .string();
   return path;
}

// ---- Read-only checks on the lab switch, one snmpd for the suite ----

class BridgeExtLabTest : public SharedSnmpdTest<BridgeExtLabTest> {
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
         waitForRows(agent(), sw);
      }
   }

   SwitchControl sw{suiteSocketPath()};
};

TEST_F(BridgeExtLabTest, WalksListEveryLearnedAddressOnceAndNoStaticOne) {
   const std::vector<Varbind> walked = agent().walk(moveEntry);
   EXPECT_EQ(agent().bulkWalk(moveEntry, 9), walked) << "GETBULK by 9 differs from GETNEXT";
   EXPECT_EQ(agent().bulkWalk(moveEntry, 60), walked) << "GETBULK by 60 differs from GETNEXT";

   std::map<unsigned, std::vector<Oid>> byColumn;
   std::map<Oid, std::map<unsigned, Varbind>> rows;
   for (const Varbind& vb : walked) {
      const auto& arcs = vb.oid.arcs();
      ASSERT_GT(arcs.size(), moveEntry.size() + 1) << vb;
      const unsigned column = arcs[moveEntry.size()];
      const Oid idx(std::vector<std::uint32_t>(
          arcs.begin() + static_cast<long>(moveEntry.size()) + 1, arcs.end()));
      byColumn[column].push_back(idx);
      rows[idx][column] = vb;
   }
   ASSERT_EQ(byColumn.size(), 2u) << "columns 2 and 3 only";
   ASSERT_TRUE(byColumn.count(2) && byColumn.count(3));
   EXPECT_EQ(byColumn.at(3), byColumn.at(2)) << "both columns list the same rows";
   EXPECT_EQ(std::set<Oid>(byColumn.at(2).begin(), byColumn.at(2).end()).size(),
             byColumn.at(2).size())
       << "each row once";

   std::set<Oid> listed;
   for (const auto& [idx, row] : rows) {
      listed.insert(idx);
   }
   EXPECT_EQ(listed, expectedRows(sw));
   EXPECT_EQ(listed.size(), 261u) << "the lab's learned hosts";
   for (const auto& [key, host] : sw.fdb()) {
      const Oid idx = rowIndex(0, key.first, key.second);
      if (host.type == "static") {
         EXPECT_FALSE(rows.count(idx)) << "static " << key.second << " listed";
         continue;
      }
      ASSERT_TRUE(rows.count(idx)) << key.second;
      const Varbind& moves = rows.at(idx).at(2);
      const Varbind& last = rows.at(idx).at(3);
      EXPECT_EQ(moves.type, AsnType::Counter32) << moves;
      EXPECT_EQ(moves.integer, host.moves) << key.second;
      EXPECT_EQ(last.type, AsnType::TimeTicks) << last;
      EXPECT_EQ(last.integer, 0) << "never moved: " << key.second;
   }
   EXPECT_FALSE(rows.count(rowIndex(0, 10, "00:1c:73:00:10:0a")));
}

TEST_F(BridgeExtLabTest, TimeMarkIsNoColumnAndNothingIsWritable) {
   const Oid row = rowIndex(0, 10, "02:00:0a:00:00:00");

   const GetResult mark = agent().get(moveEntry.child(1) + row);
   EXPECT_EQ(mark.type, AsnType::NoSuchObject) << mark;
   for (const SetValue& set : std::vector<SetValue>{{moveEntry.child(1) + row, 't', 5},
                                                    {numMoves + row, 'c', 5},
                                                    {lastMove + row, 't', 5}}) {
      const Response r = agent().set({set});
      EXPECT_EQ(r.errstat, ErrStat::NotWritable) << set.oid << ": " << r;
   }
   EXPECT_EQ(agent().get(numMoves + row).integer, 0);
   EXPECT_EQ(agent().get(lastMove + row).integer, 0);
}

// ---- Moves on the switch, an snmpd per test ----

class BridgeExtChangeTest : public SnmpdTest {
 protected:
   SnmpdAgent& startAgent() {
      SnmpdAgent& snmpd = addAgent();
      const std::string socket = (snmpd.directory() / "control.sock").string();
      snmpd.options().extraConfig = {"bridgesnmpControlSocket " + socket};
      snmpd.start();
      sw = std::make_unique<SwitchControl>(socket);
      waitForRows(snmpd, *sw);
      return snmpd;
   }

   std::unique_ptr<SwitchControl> sw;
};

TEST_F(BridgeExtChangeTest, MoveCountsAndStampsTheAddress) {
   SnmpdAgent& snmpd = startAgent();
   const std::string host = "02:00:0a:00:00:00";  // learned on Ethernet9
   const std::string still = "02:00:0a:00:00:01";
   const Oid row = rowIndex(0, 10, host);

   // A manager takes its marks from sysUpTime: a move made after reading it is no earlier.
   const GetResult upTimeBefore = snmpd.get(sysUpTime);
   sw->ok({"move", "10", host, "Ethernet12"});

   const GetResult moves = snmpd.get(numMoves + row);
   const GetResult last = snmpd.get(lastMove + row);
   const GetResult upTime = snmpd.get(sysUpTime);
   EXPECT_EQ(moves.type, AsnType::Counter32) << moves;
   EXPECT_EQ(moves.integer, 1);
   EXPECT_EQ(last.type, AsnType::TimeTicks) << last;
   EXPECT_GE(last.integer, upTimeBefore.integer);
   EXPECT_LE(last.integer, upTime.integer);
   EXPECT_EQ(snmpd.get(numMoves + rowIndex(0, 10, still)).integer, 0);
   EXPECT_EQ(snmpd.get(lastMove + rowIndex(0, 10, still)).integer, 0);

   sw->ok({"move", "10", host, "Ethernet9"});

   const GetResult movesAgain = snmpd.get(numMoves + row);
   const GetResult lastAgain = snmpd.get(lastMove + row);
   EXPECT_EQ(movesAgain.integer, 2);
   EXPECT_GE(lastAgain.integer, last.integer);
   EXPECT_EQ(sw->fdb().at({10, host}).moves, 2) << "the switch counts the same";

   // The time mark lists the moved address up to two ticks after its move, and then no
   // longer: the column's walk from a later mark leaves the column.
   const auto at = static_cast<std::uint32_t>(lastAgain.integer + 2);
   const GetResult listed = snmpd.getNext(numMoves + Oid(std::vector<std::uint32_t>{at, 0}));
   EXPECT_EQ(listed.oid, numMoves + rowIndex(at, 10, host)) << listed;
   EXPECT_EQ(listed.integer, 2);
   const GetResult gone = snmpd.getNext(numMoves + Oid(std::vector<std::uint32_t>{at + 1, 0}));
   EXPECT_FALSE(gone.oid.startsWith(numMoves)) << gone;
   EXPECT_EQ(snmpd.get(numMoves + rowIndex(at, 10, host)).integer, 2);
   EXPECT_EQ(snmpd.get(numMoves + rowIndex(at + 1, 10, host)).type, AsnType::NoSuchInstance);

   // Aged out and learned anew, the address starts counting again.
   sw->ok({"age", "10", host});
   ASSERT_EQ(sw->ok({"learn", "10", host, "Ethernet9"}), "learned\n");
   ASSERT_TRUE(eventually([&] { return snmpd.get(numMoves + row).type == AsnType::Counter32; }));
   EXPECT_EQ(snmpd.get(numMoves + row).integer, 0);
   EXPECT_EQ(snmpd.get(lastMove + row).integer, 0);
}

TEST_F(BridgeExtChangeTest, ManagementAndStaticEntriesAreNeverListed) {
   SnmpdAgent& snmpd = startAgent();
   const std::string managed = "02:00:0a:ee:00:01";
   const std::string learned = "02:00:0a:ee:00:02";

   ASSERT_EQ(sw->ok({"learn", "10", managed, "Ethernet9", "management"}), "learned\n");
   ASSERT_EQ(sw->ok({"learn", "10", learned, "Ethernet9"}), "learned\n");
   waitForRows(snmpd, *sw);
   ASSERT_TRUE(listedRows(snmpd).count(rowIndex(0, 10, learned)));
   EXPECT_FALSE(listedRows(snmpd).count(rowIndex(0, 10, managed)));
   // dot1qTpFdbTable lists the management entry, as mgmt(5).
   const Oid managedTp = Oid(std::vector<std::uint32_t>{10}) + macIndex(managed);
   EXPECT_EQ(snmpd.get(tpFdbStatus + managedTp).integer, 5);

   // A static entry replaces the learned one: the address leaves the table.
   sw->ok({"static", "add", "10", learned, "Ethernet10"});
   waitForRows(snmpd, *sw);
   EXPECT_FALSE(listedRows(snmpd).count(rowIndex(0, 10, learned)));
   const Oid learnedTp = Oid(std::vector<std::uint32_t>{10}) + macIndex(learned);
   EXPECT_EQ(snmpd.get(tpFdbStatus + learnedTp).integer, 5);
}

}  // namespace
