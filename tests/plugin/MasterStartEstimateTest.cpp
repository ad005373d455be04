// The master's start, learned from ping replies, that the subagent's TimeTicks count from.
// (The plug-in's TimeTicks against snmpd's own sysUpTime are the switch scenarios' stamps,
// each read between two sysUpTime reads.)

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "plugin/MasterStartEstimate.h"

namespace {

// A master whose sysUpTime started at `start`, answering pings: each reply carries its
// up-time in truncated hundredths, read somewhere between our send and our receipt, and
// net-snmp's derived start is the receipt less that up-time.
struct SimulatedMaster {
   double start;
   std::mt19937 random{7};

   void ping(Plugin::MasterStartEstimate& estimate, double sentAt, double roundTrip) {
      const double answeredAt =
          sentAt + std::uniform_real_distribution<double>(0.0, roundTrip)(random);
      const double ticks = std::floor((answeredAt - start) * 100.0);
      const double receivedAt = sentAt + roundTrip;
      estimate.sample(sentAt, receivedAt, receivedAt - ticks / 100.0);
   }
};

TEST(MasterStartEstimateTest, ABurstSpanningTicksNarrowsTheStartToAboutARoundTrip) {
   struct Case {
      double roundTrip;
      double phase;  // of the master's start within a tick
   };
   for (const Case c :
        {Case{60e-6, 0.0}, Case{150e-6, 0.0042}, Case{900e-6, 0.0099}, Case{4e-3, 0.0063}}) {
      SCOPED_TRACE(c.roundTrip);
      SimulatedMaster master{1000.0 + c.phase};
      Plugin::MasterStartEstimate estimate;
      // One reply alone knows the start only to a tick and a round trip.
      master.ping(estimate, 1234.5, c.roundTrip);
      EXPECT_LE(estimate.width(), Plugin::MasterStartEstimate::tick + c.roundTrip + 1e-5);
      for (double t = 1234.5 + c.roundTrip; t < 1234.53; t += c.roundTrip) {
         master.ping(estimate, t, c.roundTrip);
      }
      EXPECT_LE(std::abs(estimate.start() - master.start), estimate.width() / 2 + 1e-9);
      EXPECT_LE(estimate.width(), 2 * c.roundTrip + 1e-5);
   }
}

TEST(MasterStartEstimateTest, AMasterThatRestartedIsLearnedAfresh) {
   SimulatedMaster master{1000.0};
   Plugin::MasterStartEstimate estimate;
   for (double t = 2000.0; t < 2000.03; t += 100e-6) {
      master.ping(estimate, t, 100e-6);
   }
   ASSERT_LE(std::abs(estimate.start() - 1000.0), 1e-4);

   master.start = 2001.2345;
   master.ping(estimate, 2010.0, 100e-6);
   EXPECT_EQ(estimate.samples(), 1u);
   EXPECT_LE(std::abs(estimate.start() - master.start), estimate.width() / 2 + 1e-9);
}

}  // namespace
