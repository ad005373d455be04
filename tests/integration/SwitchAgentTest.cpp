#include "SwitchAgentTest.h"

#include <chrono>

namespace Harness {

SnmpdAgent& SwitchAgentTest::startAgent(const std::string& topology) {
   SnmpdAgent& agent = addAgent();
   socketPath_ = (agent.directory() / "control.sock").string();
   agent.options().extraConfig = {"bridgesnmpControlSocket " + socketPath_};
   if (!topology.empty()) {
      const auto path = agent.writeFile("topology.yaml", topology);
      agent.options().extraConfig.push_back("bridgesnmpTopology " + path.string());
   }
   agent.start();
   agent_ = &agent;
   return agent;
}

CommandResult SwitchAgentTest::bridgectl(const std::vector<std::string>& args) const {
   std::vector<std::string> argv = {BRIDGESNMP_BRIDGECTL_PATH, "--socket", socketPath_};
   argv.insert(argv.end(), args.begin(), args.end());
   return runCommand(argv, Environment::inherited(), std::chrono::seconds(20));
}

std::string SwitchAgentTest::ok(const std::vector<std::string>& args) const {
   const CommandResult result = bridgectl(args);
   EXPECT_TRUE(result.succeeded()) << describe(args) << ": " << result.status.describe() << "\n"
                                   << result.err;
   EXPECT_EQ(result.err, "") << describe(args);
   return result.out;
}

std::string SwitchAgentTest::describe(const std::vector<std::string>& args) {
   std::string text = "bridgectl";
   for (const auto& a : args) {
      text += " " + a;
   }
   return text;
}

}  // namespace Harness
