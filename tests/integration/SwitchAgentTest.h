#pragma once

#include <string>
#include <vector>

#include "SnmpdTest.h"

namespace Harness {

// A test with an snmpd running the plug-in on a simulated switch that `bridgectl` drives:
// the control socket is in the agent's directory; the lab switch, or a topology given as
// YAML text.
class SwitchAgentTest : public SnmpdTest {
 protected:
   SnmpdAgent& startAgent(const std::string& topology = "");
   SnmpdAgent& snmpd() { return *agent_; }
   const std::string& socketPath() const { return socketPath_; }

   // Runs bridgectl with --socket and the words given.
   CommandResult bridgectl(const std::vector<std::string>& args) const;
   // bridgectl that must succeed, printing nothing on stderr; returns what it printed.
   std::string ok(const std::vector<std::string>& args) const;
   static std::string describe(const std::vector<std::string>& args);

 private:
   std::string socketPath_;
   SnmpdAgent* agent_ = nullptr;
};

}  // namespace Harness
