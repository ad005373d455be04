#include "SnmpdTest.h"

#include <chrono>

#include <iostream>

namespace Harness {

void reportFailedAgent(SnmpdAgent& agent, const std::string& testName) {
   agent.stop();
   agent.keepDirectory();
   std::cout << "==== snmpd of failed " << testName << " ====\n"
             << agent.report() << "snmpd's directory kept: " << agent.directory().string()
             << std::endl;
}

SnmpdAgent& SnmpdTest::agent() {
   if (default_ == nullptr) {
      SnmpdAgent& started = addAgent(agentOptions());
      started.start();
      default_ = &started;
   }
   return *default_;
}

SnmpdAgent& SnmpdTest::addAgent(SnmpdOptions options) {
   agents_.push_back(std::make_unique<SnmpdAgent>(std::move(options)));
   return *agents_.back();
}

void SnmpdTest::TearDown() {
   if (HasFailure()) {
      const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
      const std::string name =
          info ? std::string(info->test_suite_name()) + "." + info->name() : "test";
      for (auto& agent : agents_) {
         reportFailedAgent(*agent, name);
      }
   }
   agents_.clear();
   default_ = nullptr;
}

bool eventually(const std::function<bool()>& check) {
   const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
   while (!check()) {
      if (std::chrono::steady_clock::now() > deadline) {
         return false;
      }
   }
   return true;
}

}  // namespace Harness
