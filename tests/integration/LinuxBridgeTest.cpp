// A Linux kernel bridge served by the plug-in: snmpd and a bridge with veth ports share a
// private network namespace; frames sent on the veth peers teach the bridge hosts, and `ip`
// and `bridge` change it.

#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <signal.h>

#include <cstring>
#include <fstream>
#include <iomanip>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

const Oid numPorts = "1.3.6.1.2.1.17.1.2.0";
const Oid basePortIfIndex = "1.3.6.1.2.1.17.1.4.1.2";
const Oid agingTime = "1.3.6.1.2.1.17.4.2.0";
const Oid dot1dFdbPort = "1.3.6.1.2.1.17.4.3.1.2";
const Oid dot1dFdbStatus = "1.3.6.1.2.1.17.4.3.1.3";
const Oid dot1qFdbPort = "1.3.6.1.2.1.17.7.1.2.2.1.2.1";  // FID 1
const Oid dot1qFdbStatus = "1.3.6.1.2.1.17.7.1.2.2.1.3.1";
const Oid moves = Oid("1.3.6.1.4.1").child(BRIDGESNMP_ENTERPRISE_NUMBER) + Oid("3.2.1.1.2.0.1");

constexpr std::int64_t learned = 3;
constexpr std::int64_t mgmt = 5;

class LinuxBridgeTest : public ::testing::Test {
 protected:
   // The whole test process moves to a network namespace of its own, with lo up.
   static void SetUpTestSuite() {
      if (::unshare(CLONE_NEWNET) != 0) {
         skipReason() = std::string("cannot make a network namespace: ") + std::strerror(errno);
         return;
      }
      std::ofstream("/proc/sys/net/ipv6/conf/default/disable_ipv6") << "1";  // no stray hosts
      if (!runCommand({"ip", "link", "set", "lo", "up"}).succeeded()) {
         skipReason() = "cannot bring lo up in the new namespace";
      }
   }
   static std::string& skipReason() {
      static std::string reason;
      return reason;
   }

   void SetUp() override {
      if (!skipReason().empty()) {
         GTEST_SKIP() << skipReason();
      }
      ip("link add br0 type bridge");
      ip("link set br0 up");
   }
   void TearDown() override {
      if (HasFailure() && agent_) {
         agent_->stop();
         std::cerr << agent_->log();
      }
      agent_.reset();
      for (const auto& name : created_) {
         runCommand({"ip", "link", "del", name});
      }
      runCommand({"ip", "link", "del", "br0"});
   }

   void ip(const std::string& words) { run("ip " + words); }
   void run(const std::string& line) {
      std::vector<std::string> argv;
      std::istringstream in(line);
      for (std::string w; in >> w;) {
         argv.push_back(w);
      }
      const auto result = runCommand(argv);
      ASSERT_TRUE(result.succeeded()) << line << ": " << result.err;
   }
   // Port pN of br0 with the host end hN.
   void addPort(int n) {
      const auto p = "p" + std::to_string(n);
      const auto h = "h" + std::to_string(n);
      ip("link add " + p + " type veth peer name " + h);
      created_.push_back(p);
      ip("link set " + p + " master br0");
      ip("link set " + p + " up");
      ip("link set " + h + " up");
   }
   void send(int host, const std::string& mac, int count = 1) {
      run(std::string(BRIDGESNMP_ETHSEND_PATH) + " h" + std::to_string(host) + " " + mac + " " +
          std::to_string(count));
   }
   SnmpdAgent& startAgent(const std::string& bridge = "br0", SnmpdOptions options = {}) {
      options.extraConfig.push_back("bridgesnmpPlatform linux " + bridge);
      options.extraConfig.push_back("bridgesnmpTrace Snmp/1,LinuxBridge/1");
      agent_ = std::make_unique<SnmpdAgent>(options);
      agent_->start();
      return *agent_;
   }
   // Whether the GET comes to answer `expected` of `type`.
   bool answers(const Oid& oid, std::uint8_t type, std::int64_t expected) {
      return eventually([&] {
         return static_cast<const Varbind&>(agent_->get(oid)) == value(oid, type, expected);
      });
   }
   bool gone(const Oid& oid) {
      return eventually([&] { return agent_->get(oid).isException(); });
   }

   // Whether the rows of FID 1 come to be the addresses the kernel has on the bridge (a
   // kernel with VLAN filtering built in keeps a copy in VLAN 1 beside the one without one).
   bool servesEveryLiveEntry() {
      const auto live = [] {
         std::istringstream fdb(runCommand({"bridge", "fdb", "show", "br", "br0"}).out);
         std::set<std::string> addresses;
         for (std::string line; std::getline(fdb, line);) {
            if (line.find("master br0") != std::string::npos) {
               addresses.insert(line.substr(0, line.find(' ')));
            }
         }
         return addresses.size();
      };
      const bool same =
          eventually([&] { return agent_->bulkWalk(dot1qFdbPort, 200).size() == live(); });
      EXPECT_TRUE(same) << agent_->bulkWalk(dot1qFdbPort, 200).size() << " served, " << live()
                        << " in the kernel";
      return same;
   }

   std::unique_ptr<SnmpdAgent> agent_;
   std::vector<std::string> created_;
};

// A bridge that filters VLANs, as the switches that run Linux do (where this machine's kernel
// cannot, `ctest -L kernel` runs it under user-mode Linux): a PVID SET moves an access port
// in the kernel before it is answered and touches no other port; a refused SET, or one the
// kernel refuses, leaves the kernel as it was.
TEST_F(LinuxBridgeTest, VlanSetsReachAFilteringBridge) {
   if (!runCommand({"ip", "link", "set", "br0", "type", "bridge", "vlan_filtering", "1"})
            .succeeded()) {
      GTEST_SKIP() << "no bridge VLAN filtering in this kernel; ctest -L kernel runs this under "
                      "user-mode Linux";
   }
   addPort(1);
   addPort(2);
   addPort(3);
   // p3 a hybrid port: untagged in 1 (its PVID) and 30, tagged in 20.
   for (const char* line :
        {"bridge vlan add dev br0 vid 30 self", "bridge vlan add dev p3 vid 30 untagged",
         "bridge vlan add dev p3 vid 20"}) {
      run(line);
   }
   for (const char* line :
        {"bridge vlan add dev br0 vid 10 self", "bridge vlan add dev br0 vid 20 self",
         "bridge vlan del dev p1 vid 1", "bridge vlan add dev p1 vid 10 pvid untagged",
         "bridge vlan add dev p2 vid 10", "bridge vlan add dev p2 vid 20"}) {
      run(line);
   }
   const auto vlans = [](const std::string& dev) {
      return runCommand({"bridge", "-j", "vlan", "show", "dev", dev}).out;
   };
   startAgent();
   const Oid pvid = "1.3.6.1.2.1.17.7.1.4.5.1.1";
   ASSERT_TRUE(answers(pvid.child(1), AsnType::Gauge32, 10));
   const std::string p1 = vlans("p1"), p2 = vlans("p2"), p3 = vlans("p3");

   EXPECT_EQ(agent_->set({{pvid.child(2), 'u', 40}}).errstat, ErrStat::InconsistentValue)
       << "no VLAN 40";
   EXPECT_EQ(vlans("p1") + vlans("p2"), p1 + p2);

   ASSERT_TRUE(agent_->set({{pvid.child(1), 'u', 20}}).ok());
   EXPECT_TRUE(eventually([&] {
      return vlans("p1") ==
             R"([{"ifname":"p1","vlans":[{"vlan":20,"flags":["PVID","Egress Untagged"]}]}])"
             "\n";
   })) << vlans("p1");
   EXPECT_EQ(vlans("p2"), p2) << "a port the request did not name";
   EXPECT_TRUE(answers(pvid.child(1), AsnType::Gauge32, 20));
   // A PVID that makes a new VLAN, 50: no trunk allows it, so none is written again.
   ASSERT_TRUE(agent_->set({{pvid.child(1), 'u', 50}}).ok());
   EXPECT_NE(vlans("p1").find(R"("vlan":50)"), std::string::npos) << "written before the answer";
   EXPECT_EQ(vlans("p2") + vlans("p3"), p2 + p3);
   // The trunk p2's PVID moves to 20: the hybrid p3, which allows 20 too, keeps its tagging.
   ASSERT_TRUE(agent_->set({{pvid.child(2), 'u', 20}}).ok());
   EXPECT_EQ(vlans("p3"), p3);

   // A port untagged in a VLAN that is not its PVID drops untagged frames: no PVID, tagged
   // frames only.
   addPort(4);
   run("bridge vlan del dev p4 vid 1");
   run("bridge vlan add dev p4 vid 30 untagged");
   EXPECT_TRUE(answers(pvid.child(4), AsnType::Gauge32, 1));
   EXPECT_TRUE(answers("1.3.6.1.2.1.17.7.1.4.5.1.2.4", AsnType::Integer, 2));

   // snmpd without the right to change the bridge (an ordinary user after start, as Debian's
   // unit runs it): the kernel refuses, the SET answers commitFailed and nothing changed.
   SnmpdOptions unprivileged;
   unprivileged.extraArguments = {"-u", "nobody", "-g", "nogroup"};
   startAgent("br0", unprivileged);
   ASSERT_TRUE(answers(pvid.child(1), AsnType::Gauge32, 50));
   const std::string before = vlans("p1") + vlans("p2");
   EXPECT_EQ(agent_->set({{pvid.child(1), 'u', 10}}).errstat, ErrStat::CommitFailed);
   EXPECT_EQ(vlans("p1") + vlans("p2"), before);
   EXPECT_TRUE(answers(pvid.child(1), AsnType::Gauge32, 50));
   EXPECT_NE(agent_->log().find("p1: the kernel refused adding VLANs: Operation not permitted"),
             std::string::npos);
}

TEST_F(LinuxBridgeTest, PortsComeAndGoKeepingTheirNumbers) {
   for (int n = 1; n <= 3; ++n) {
      addPort(n);
   }
   startAgent();
   for (int n = 1; n <= 3; ++n) {
      const std::int64_t ifindex = if_nametoindex(("p" + std::to_string(n)).c_str());
      EXPECT_TRUE(answers(basePortIfIndex.child(n), AsnType::Integer, ifindex)) << "p" << n;
   }
   EXPECT_TRUE(answers(numPorts, AsnType::Integer, 3));
   ip("link set p2 nomaster");
   EXPECT_TRUE(gone(basePortIfIndex.child(2)));
   addPort(4);  // the kernel gives it the free number 2; p1 and p3 keep theirs
   EXPECT_TRUE(answers(basePortIfIndex.child(2), AsnType::Integer, if_nametoindex("p4")));
   EXPECT_TRUE(answers(basePortIfIndex.child(3), AsnType::Integer, if_nametoindex("p3")));
   ip("link del p4");
   EXPECT_TRUE(answers(numPorts, AsnType::Integer, 2));
}

TEST_F(LinuxBridgeTest, HostsAreLearnedMoveAgeAndGo) {
   for (int n = 1; n <= 3; ++n) {
      addPort(n);
   }
   startAgent();
   send(1, "02:00:00:00:00:01");
   send(2, "02:00:00:00:00:02");
   const Oid h1 = macIndex("02:00:00:00:00:01");
   const Oid h2 = macIndex("02:00:00:00:00:02");
   EXPECT_TRUE(answers(dot1dFdbPort + h1, AsnType::Integer, 1));
   EXPECT_TRUE(answers(dot1qFdbPort + h2, AsnType::Integer, 2));
   EXPECT_TRUE(answers(dot1dFdbStatus + h1, AsnType::Integer, learned));
   EXPECT_TRUE(answers(dot1qFdbStatus + h2, AsnType::Integer, learned));

   send(3, "02:00:00:00:00:01");  // the same host from another port: a move
   EXPECT_TRUE(answers(dot1dFdbPort + h1, AsnType::Integer, 3));
   EXPECT_TRUE(answers(moves + h1, AsnType::Counter32, 1));

   run("bridge fdb del 02:00:00:00:00:02 dev p2 master");
   EXPECT_TRUE(gone(dot1qFdbPort + h2));
   ip("link set h3 down");  // p3 loses its carrier: what it learned goes
   EXPECT_TRUE(gone(dot1dFdbPort + h1));

   ip("link set br0 type bridge ageing_time 100");         // one second
   EXPECT_TRUE(answers(agingTime, AsnType::Integer, 10));  // the least the MIB can say
   send(1, "02:00:00:00:00:05");
   const Oid h5 = macIndex("02:00:00:00:00:05");
   EXPECT_TRUE(answers(dot1dFdbPort + h5, AsnType::Integer, 1));
   EXPECT_TRUE(gone(dot1dFdbPort + h5));
}

TEST_F(LinuxBridgeTest, StaticEntriesAreManagementRows) {
   addPort(1);
   addPort(2);
   startAgent();
   run("bridge fdb add 02:00:00:00:0f:01 dev p2 master static");
   const Oid host = macIndex("02:00:00:00:0f:01");
   EXPECT_TRUE(answers(dot1dFdbStatus + host, AsnType::Integer, mgmt));
   EXPECT_TRUE(answers(dot1qFdbStatus + host, AsnType::Integer, mgmt));
   EXPECT_TRUE(answers(dot1qFdbPort + host, AsnType::Integer, 2));
}

TEST_F(LinuxBridgeTest, VlanChangesAreRefusedWithoutVlanFiltering) {
   addPort(1);
   startAgent();
   const Oid pvid = "1.3.6.1.2.1.17.7.1.4.5.1.1.1";
   EXPECT_TRUE(answers(pvid, AsnType::Gauge32, 1));
   // Refused before it is answered, not taken and then undone.
   EXPECT_EQ(agent_->set({{pvid, 'u', 10}}).errstat, ErrStat::InconsistentValue);
   EXPECT_TRUE(answers(pvid, AsnType::Gauge32, 1));
   EXPECT_EQ(runCommand({"bridge", "vlan", "show", "dev", "p1"}).out.find(" 10"),
             std::string::npos);
}

// snmpd runs as an ordinary user after start, as Debian's unit runs it; the resync when the
// bridge comes keeps the notification buffer it had.
TEST_F(LinuxBridgeTest, AnAbsentBridgeIsServedEmptyUntilItComes) {
   ip("link del br0");
   SnmpdOptions options;
   options.extraArguments = {"-u", "nobody", "-g", "nogroup"};
   startAgent("br0", options);
   EXPECT_TRUE(answers(numPorts, AsnType::Integer, 0));
   EXPECT_NE(agent_->log().find("bridge br0 does not exist"), std::string::npos);
   ip("link add br0 type bridge");
   addPort(1);
   EXPECT_TRUE(answers(numPorts, AsnType::Integer, 1));
   const std::regex resync("resynchronising bridge br0 with ([0-9]+) bytes");
   const std::string log = agent_->log();
   std::vector<std::string> buffers;
   for (auto it = std::sregex_iterator(log.begin(), log.end(), resync);
        it != std::sregex_iterator(); ++it) {
      buffers.push_back((*it)[1]);
   }
   ASSERT_GE(buffers.size(), 2u) << log;
   EXPECT_EQ(buffers.front(), buffers.back());
   ip("link del br0");
   EXPECT_TRUE(answers(numPorts, AsnType::Integer, 0));
   EXPECT_TRUE(eventually([&] { return agent_->log().find("br0 is gone") != std::string::npos; }));
}

// `count` forwarding entries from 02:00:00:01:00:00 on p1, as one `bridge -batch` file.
// `count` dynamic entries 02:00:00:01:00:00 and up (from `first`) on port `port`.
std::string fdbBatch(int count, const std::string& port = "p1", int first = 0) {
   std::ostringstream out;
   out << std::hex << std::setfill('0');
   for (int i = first; i < first + count; ++i) {
      out << "fdb add 02:00:00:" << std::setw(2) << (1 + (i >> 16)) << ":" << std::setw(2)
          << ((i >> 8) & 0xff) << ":" << std::setw(2) << (i & 0xff) << " dev " << port
          << " master dynamic\n";
   }
   return out.str();
}

// Entries deleted while snmpd reads its start-up dump: the kernel's dump resumes each part
// by counting entries, so deletions behind the count hide live entries ahead of it. The
// dump is read again until nothing went while it was read, and every live entry is served.
TEST_F(LinuxBridgeTest, EntriesDeletedDuringTheDumpHideNoLiveEntry) {
   addPort(1);
   addPort(2);
   SnmpdAgent agent;  // only for a directory to write the batches in
   run("bridge -batch " + agent.writeFile("p1", fdbBatch(60000, "p1")).string());
   run("bridge -batch " + agent.writeFile("p2", fdbBatch(60000, "p2", 60000)).string());
   startAgent();
   ip("link set p1 down");  // the kernel flushes p1's entries while the dump is read
   EXPECT_TRUE(servesEveryLiveEntry());
}

TEST_F(LinuxBridgeTest, ABurstOfTenThousandEntriesAllArriveInBoundedSlices) {
   addPort(1);
   startAgent();
   run("bridge -batch " + agent_->writeFile("fdb.batch", fdbBatch(10000)).string());
   const Oid last = dot1qFdbPort + macIndex("02:00:00:01:27:0f");  // the 10,000th
   EXPECT_TRUE(answers(last, AsnType::Integer, 1));
   EXPECT_EQ(agent_->bulkWalk(dot1qFdbPort, 100).size(), 10001u);  // and p1's own address
   agent_->stop();
   // The agent's health at unload: the backlog was worked off in slices of about 10 ms.
   std::smatch m;
   const std::string log = agent_->log();
   ASSERT_TRUE(std::regex_search(
       log, m, std::regex(R"(fdb backlog: 0 keys, (\d+) slices, longest ([0-9.]+) ms)")));
   EXPECT_GT(std::stoi(m[1]), 1);
   EXPECT_LT(std::stod(m[2]), 30.0);  // one key past 10 ms, and a shared machine's scheduling
}

// Lost notifications, and entries deleted while the resync's dump is read.
TEST_F(LinuxBridgeTest, LostNotificationsAreMadeUpByAResync) {
   addPort(1);
   addPort(2);
   startAgent();
   run("bridge -batch " + agent_->writeFile("p2", fdbBatch(50000, "p2", 100000)).string());
   EXPECT_TRUE(answers(dot1qFdbPort + macIndex("02:00:00:03:49:ef"), AsnType::Integer, 2));
   // snmpd stopped while the kernel notifies more than its socket can hold.
   ASSERT_EQ(::kill(agent_->pid(), SIGSTOP), 0);
   run("bridge -batch " + agent_->writeFile("p1", fdbBatch(100000, "p1")).string());
   ASSERT_EQ(::kill(agent_->pid(), SIGCONT), 0);
   ip("link set p2 down");  // p2's entries flushed while the resync's dump is read
   EXPECT_TRUE(answers(dot1qFdbPort + macIndex("02:00:00:02:86:9f"), AsnType::Integer, 1));
   EXPECT_NE(agent_->log().find("notifications were lost; resynchronising"), std::string::npos);
   EXPECT_TRUE(servesEveryLiveEntry());
}

// The kernel's VLANs of each port but the bridge's own, as "p1:10PU p4:1PU,10,20" (P: the
// PVID, U: egress untagged).
std::map<std::string, std::string> kernelVlans() {
   const std::string json = runCommand({"bridge", "-j", "vlan", "show"}).out;
   const std::regex token(R"re("ifname":"(\w+)"|"vlan":(\d+)(,"flags":\[([^\]]*)\])?)re");
   std::map<std::string, std::string> ports;
   std::string* port = nullptr;
   for (std::sregex_iterator it(json.begin(), json.end(), token), end; it != end; ++it) {
      const std::smatch& m = *it;
      if (m[1].matched) {
         port = m[1] == "br0" ? nullptr : &ports[m[1]];
      } else if (port) {
         const std::string flags = m[4];
         *port += (port->empty() ? "" : ",") + m[2].str() +
                  (flags.find("PVID") != std::string::npos ? "P" : "") +
                  (flags.find("Untagged") != std::string::npos ? "U" : "");
      }
   }
   return ports;
}

// The SET scenarios of the simulated switch's suite that a Linux bridge can hold, against a
// filtering kernel: each accepted request is in the kernel when it is answered, and changes
// only the ports expected; each refused one leaves `bridge vlan show` as it was, byte for byte.
TEST_F(LinuxBridgeTest, SetScenariosReachTheKernelOrLeaveItAsItWas) {
   if (!runCommand({"ip", "link", "set", "br0", "type", "bridge", "vlan_filtering", "1"})
            .succeeded()) {
      GTEST_SKIP() << "no bridge VLAN filtering in this kernel; ctest -L kernel runs this under "
                      "user-mode Linux";
   }
   for (int n = 1; n <= 5; ++n) {
      addPort(n);
   }
   startAgent();
   // Ports 1 and 2 access in VLAN 10, port 3 access in 20, port 4 an uplink (native 1, tagged
   // 10 and 20), port 5 a server trunk (tagged 10, 20 and 30).
   std::string batch;
   for (const char* port : {"p1", "p2", "p3", "p4", "p5"}) {
      for (const char* vid : {"1", "10", "20", "30", "77"}) {
         batch += std::string("vlan del dev ") + port + " vid " + vid + "\n";
      }
   }
   batch +=
       "vlan add dev p1 vid 10 pvid untagged\nvlan add dev p2 vid 10 pvid untagged\n"
       "vlan add dev p3 vid 20 pvid untagged\nvlan add dev p4 vid 1 pvid untagged\n"
       "vlan add dev p4 vid 10\nvlan add dev p4 vid 20\nvlan add dev p5 vid 10\n"
       "vlan add dev p5 vid 20\nvlan add dev p5 vid 30\n";
   const std::string reset = agent_->writeFile("reset.batch", batch).string();
   const Oid staticEntry = "1.3.6.1.2.1.17.7.1.4.3.1", portEntry = "1.3.6.1.2.1.17.7.1.4.5.1";
   const auto served = [&] {
      return ::testing::PrintToString(agent_->walk(staticEntry)) +
             ::testing::PrintToString(agent_->walk(portEntry));
   };
   runCommand({"bridge", "-force", "-batch", reset});
   const auto baseline = kernelVlans();
   ASSERT_TRUE(eventually([&] { return agent_->get(portEntry.child(1).child(5)).integer == 1; }));
   const std::string servedBaseline = served();

   const Oid egress = staticEntry.child(2), untagged = staticEntry.child(4);
   const Oid pvid = portEntry.child(1), frames = portEntry.child(2);
   struct Scenario {
      const char* name;
      std::vector<SetValue> request;
      long errstat = ErrStat::NoError;
      long errindex = 0;
      std::map<std::string, std::string> ports = {};  // the kernel's ports that change
      std::vector<SetValue> before = {};              // a request made first
   };
   const std::vector<Scenario> scenarios = {
       {"a PVID moves an access port", {{pvid.child(1), 'u', 20}}, 0, 0, {{"p1", "20PU"}}},
       {"a PVID makes a VLAN", {{pvid.child(2), 'u', 77}}, 0, 0, {{"p2", "77PU"}}},
       {"a manager's move by egress, untagged and PVID",
        {{egress.child(10), 'x', "58"},
         {egress.child(20), 'x', "b8"},
         {untagged.child(20), 'x', "a0"},
         {pvid.child(1), 'u', 20}},
        0,
        0,
        {{"p1", "20PU"}}},
       {"egress and PVID take a user port out of its old VLAN",
        {{egress.child(20), 'x', "b8"}, {pvid.child(1), 'u', 20}},
        0,
        0,
        {{"p1", "20PU"}}},
       {"PVID and admitAll on a trunk",
        {{pvid.child(4), 'u', 10}, {frames.child(4), 'i', 1}},
        0,
        0,
        {{"p4", "1,10PU,20"}}},
       {"frame types set the trunks' native VLANs",
        {{frames.child(4), 'i', 2}, {frames.child(5), 'i', 1}},
        0,
        0,
        {{"p4", "1,10,20"}, {"p5", "1PU,10,20,30"}}},
       {"trunk VLANs added and removed",
        {{egress.child(30), 'x', "10"}, {egress.child(20), 'x', "28"}},
        0,
        0,
        {{"p4", "1PU,10,30"}, {"p5", "10,20"}}},
       {"a trunk's native VLAN written back with its egress ports",
        {{egress.child(1), 'x', "18"}},
        0,
        0,
        {{"p5", "1PU,10,20,30"}},
        {{frames.child(5), 'i', 1}}},
       {"a converted port's PVID names no VLAN",
        {{egress.child(20), 'x', "f8"}, {pvid.child(2), 'u', 555}},
        ErrStat::InconsistentValue,
        2},
       {"a trunk's PVID it does not carry",
        {{pvid.child(4), 'u', 30}},
        ErrStat::InconsistentValue,
        1},
       {"an untagged list leaving out a port of its VLAN",
        {{untagged.child(10), 'x', "40"}},
        ErrStat::InconsistentValue,
        1},
       {"an empty untagged list of a port's VLAN",
        {{untagged.child(20), 'x', ""}},
        ErrStat::InconsistentValue,
        1},
       {"an untagged list tagging a native VLAN with admitAll",
        {{frames.child(4), 'i', 1}, {untagged.child(1), 'x', ""}},
        ErrStat::InconsistentValue,
        2},
       {"the binding at fault is the one named",
        {{pvid.child(2), 'u', 20}, {frames.child(5), 'i', 1}, {egress.child(10), 'x', "18"}},
        ErrStat::InconsistentValue,
        3},
       {"PVID as INTEGER", {{pvid.child(1), 'i', 20}}, ErrStat::WrongType, 1},
       {"PVID 4095", {{pvid.child(1), 'u', 4095}}, ErrStat::WrongValue, 1},
       {"PVID 0", {{pvid.child(1), 'u', "0"}}, ErrStat::InconsistentValue, 1},
       {"frame types 3", {{frames.child(1), 'i', 3}}, ErrStat::WrongValue, 1},
       {"PVID with tagged frames only",
        {{pvid.child(1), 'u', 20}, {frames.child(1), 'i', 2}},
        ErrStat::InconsistentValue,
        2},
       {"the same object twice",
        {{egress.child(30), 'x', "10"}, {egress.child(30), 'x', "18"}},
        ErrStat::InconsistentValue,
        2},
       {"egress ports of a VLAN not configured",
        {{egress.child(11), 'x', "80"}},
        ErrStat::NoCreation,
        1},
       {"PVID of a port that does not exist", {{pvid.child(9), 'u', 10}}, ErrStat::NoCreation, 1},
   };
   for (const Scenario& s : scenarios) {
      SCOPED_TRACE(s.name);
      runCommand({"bridge", "-force", "-batch", reset});
      ASSERT_EQ(kernelVlans(), baseline);
      ASSERT_TRUE(eventually([&] { return served() == servedBaseline; }));
      auto expected = baseline;
      if (!s.before.empty()) {
         ASSERT_TRUE(agent_->set(s.before).ok());
         expected = kernelVlans();
      }
      const std::string shown = runCommand({"bridge", "vlan", "show"}).out;
      const Response r = agent_->set(s.request);
      EXPECT_EQ(r.errstat, s.errstat) << r;
      EXPECT_EQ(r.errindex, s.errindex);
      if (s.errstat != ErrStat::NoError) {
         EXPECT_EQ(runCommand({"bridge", "vlan", "show"}).out, shown);
         continue;
      }
      for (const auto& [port, vlans] : s.ports) {
         expected[port] = vlans;
      }
      EXPECT_EQ(kernelVlans(), expected);
   }
}

}  // namespace
