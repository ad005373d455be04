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

using namespace Harness::Mib;
const Oid fdbPort = tpFdbEntry.child(2);
const Oid lastMove = moveEntry + Oid("3.0.10");
const char* libfaketime = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1";

class WallClockTest : public BothFormsTest {
 protected:
   void TearDown() override {
      BothFormsTest::TearDown();
      std::filesystem::remove(offsetFile_);
   }
   // How far the agent's wall clock is from the real one, "+3600" or "-3600".
   void wallClockIs(const std::string& offset) { std::ofstream(offsetFile_) << offset << "\n"; }

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
                               {"FAKETIME_DONT_FAKE_MONOTONIC", "1"}};
   startAgent(Topology()
                  .ports("Ethernet1-3", 1)
                  .vlan(10, "ten")
                  .access("Ethernet1-3", 10)
                  .hosts(10, "02:00:0a:00:00:00", 20, "Ethernet1-2"),
              options);
   const std::string host = "02:00:0a:00:00:00";
   ASSERT_TRUE(eventually([&] { return snmpd().walk(fdbPort).size() == 20; }));
   const Oid ethernet3 = ifEntry.child(9).child(snmpd().get(portEntry.child(2).child(3)).integer);

   for (const std::string offset : {"+3600", "-3600"}) {
      SCOPED_TRACE("wall clock " + offset + " s");
      wallClockIs(offset);
      const bool forward = offset[0] == '+';
      // Each change is stamped between the reads of sysUpTime around it.
      for (const auto& [change, stamp] :
           {std::pair(std::vector<std::string>{"link", "Ethernet3", forward ? "down" : "up"},
                      ethernet3),
            std::pair(
                std::vector<std::string>{"move", "10", host, forward ? "Ethernet2" : "Ethernet1"},
                lastMove + macIndex(host))}) {
         const std::int64_t before = snmpd().get(sysUpTime).integer;
         ok(change);
         const std::int64_t after = snmpd().get(sysUpTime).integer;
         const std::int64_t stamped = snmpd().get(stamp).integer;
         EXPECT_GE(stamped, before) << change.front();
         EXPECT_LE(stamped, after) << change.front();
      }
   }
   // An hour's step ages out nothing that was learned a moment ago (ageing: 300 s).
   EXPECT_EQ(snmpd().walk(fdbPort).size(), 20u);
}

SWITCH_AGENT_FORMS(WallClockTest);

}  // namespace
