// The wall clock stepped an hour forward and then back under a running agent (libfaketime,
// the monotonic clock left alone), as an NTP correction after boot steps it: every change is
// stamped between the two reads of sysUpTime around it, and nothing learned ages out.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;

const Oid sysUpTime = "1.3.6.1.2.1.1.3.0";
const Oid basePortIfIndex = "1.3.6.1.2.1.17.1.4.1.2";
const Oid ifLastChange = "1.3.6.1.2.1.2.2.1.9";
const Oid fdbPort = "1.3.6.1.2.1.17.7.1.2.2.1.2";
const Oid lastMove = Oid("1.3.6.1.4.1").child(BRIDGESNMP_ENTERPRISE_NUMBER) + Oid("3.2.1.1.3.0.10");
const char* libfaketime = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1";

class WallClockTest : public BothFormsTest {
 protected:
   void TearDown() override {
      BothFormsTest::TearDown();
      std::filesystem::remove(offsetFile_);
   }
   // How far the agent's wall clock is from the real one, "+3600" or "-3600".
   void wallClockIs(const std::string& offset) { std::ofstream(offsetFile_) << offset << "\n"; }

   // The TimeTicks `read` gives for a change `change` makes, and sysUpTime around it.
   struct Stamped {
      std::int64_t before, stamp, after;
   };
   template <class Change>
   Stamped stamped(Change&& change, const Oid& read) {
      Stamped s{};
      s.before = snmpd().get(sysUpTime).integer;
      change();
      s.after = snmpd().get(sysUpTime).integer;
      s.stamp = snmpd().get(read).integer;
      return s;
   }

   std::string offsetFile_ = (std::filesystem::temp_directory_path() /
                              ("bridgesnmp-wallclock-" + std::to_string(::getpid())))
                                 .string();
};

TEST_P(WallClockTest, StampsAndAgeingFollowTheMonotonicClock) {
   if (!std::filesystem::exists(libfaketime)) {
      GTEST_SKIP() << "libfaketime is not installed";
   }
   wallClockIs("+0");
   SnmpdOptions options;
   options.extraEnvironment = {{"LD_PRELOAD", libfaketime},
                               {"FAKETIME_TIMESTAMP_FILE", offsetFile_},
                               {"FAKETIME_NO_CACHE", "1"},
                               {"FAKETIME_DONT_FAKE_MONOTONIC", "1"},
                               {"DONT_FAKE_MONOTONIC", "1"}};
   startAgent(Topology()
                  .ports("Ethernet1-3", 1)
                  .vlan(10, "ten")
                  .access("Ethernet1-3", 10)
                  .hosts(10, "02:00:0a:00:00:00", 20, "Ethernet1-2"),
              options);
   const std::string host = "02:00:0a:00:00:00";
   ASSERT_TRUE(eventually([&] { return snmpd().walk(fdbPort).size() == 20; }));
   const Oid ethernet3 = ifLastChange.child(snmpd().get(basePortIfIndex.child(3)).integer);

   for (const std::string offset : {"+3600", "-3600"}) {
      SCOPED_TRACE("wall clock " + offset + " s");
      wallClockIs(offset);
      const Stamped link = stamped(
          [&] {
             ok({"link", "Ethernet3", offset[0] == '+' ? "down" : "up"});
          },
          ethernet3);
      EXPECT_GE(link.stamp, link.before);
      EXPECT_LE(link.stamp, link.after);
      const Stamped move = stamped(
          [&] {
             ok({"move", "10", host, offset[0] == '+' ? "Ethernet2" : "Ethernet1"});
          },
          lastMove + macIndex(host));
      EXPECT_GE(move.stamp, move.before);
      EXPECT_LE(move.stamp, move.after);
   }
   // An hour's step ages out nothing that was learned a moment ago (ageing: 300 s).
   EXPECT_EQ(snmpd().walk(fdbPort).size(), 20u);
   EXPECT_NE(ok({"show", "summary"}).find("20 learned hosts"), std::string::npos);
}

SWITCH_AGENT_FORMS(WallClockTest);

}  // namespace
