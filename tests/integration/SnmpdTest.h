#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "SnmpdAgent.h"

namespace Harness {

// On a failed test: prints the agent's report (log, output, configuration) and keeps its
// directory, naming it. Stops the agent first so its log is complete.
void reportFailedAgent(SnmpdAgent& agent, const std::string& testName);

// A fixture with a private snmpd per test. agent() starts the test's agent on first use, with
// agentOptions(); addAgent() makes further ones (not started) for tests that need their own
// configuration or files. All of them go at the end of the test; a failed test prints their
// logs and keeps their directories.
class SnmpdTest : public ::testing::Test {
 protected:
   // Override to configure agent().
   virtual SnmpdOptions agentOptions() const { return {}; }

   SnmpdAgent& agent();
   SnmpdAgent& addAgent(SnmpdOptions options = {});

   void TearDown() override;

 private:
   SnmpdAgent* default_ = nullptr;
   std::vector<std::unique_ptr<SnmpdAgent>> agents_;
};

// A fixture whose tests share one snmpd, started before the suite's first test and stopped
// after its last: for suites of read-only checks where start-up time adds up. A suite derives
// as `class MySuite : public SharedSnmpdTest<MySuite>` and may define
// `static SnmpdOptions suiteOptions()`. A failed test prints the log so far; the directory is
// kept if any test of the suite failed.
template <class Suite>
class SharedSnmpdTest : public ::testing::Test {
 public:
   static SnmpdOptions suiteOptions() { return {}; }

   static void SetUpTestSuite() {
      state().failed = false;
      state().startError.clear();
      try {
         state().agent = std::make_unique<SnmpdAgent>(Suite::suiteOptions());
         state().agent->start();
      } catch (const std::exception& e) {
         state().startError = e.what();
         if (state().agent) {
            state().agent->keepDirectory();
            state().startError += "(directory kept: " + state().agent->directory().string() + ")";
         }
      }
   }

   static void TearDownTestSuite() {
      if (state().agent && state().failed && state().startError.empty()) {
         reportFailedAgent(*state().agent, "suite");
      }
      state().agent.reset();
   }

 protected:
   void SetUp() override {
      if (!state().startError.empty()) {
         GTEST_FAIL() << "the suite's snmpd did not start: " << state().startError;
      }
   }

   void TearDown() override {
      if (HasFailure() && state().agent) {
         state().failed = true;
         std::cout << "---- snmpd log so far, " << state().agent->logPath().string() << " ----\n"
                   << state().agent->log() << "---- end of snmpd log ----" << std::endl;
      }
   }

   SnmpdAgent& agent() { return *state().agent; }

 private:
   struct State {
      std::unique_ptr<SnmpdAgent> agent;
      std::string startError;
      bool failed = false;
   };
   static State& state() {
      static State s;
      return s;
   }
};

// Repeats a check that queries snmpd (each try a round trip, during which the agent catches
// up with the switch) until it holds or ten seconds have gone; whether it came to hold.
bool eventually(const std::function<bool()>& check);

}  // namespace Harness
