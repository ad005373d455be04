#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "platform/kel/ActivityManager.h"
#include "platform/kel/StandaloneLoop.h"
#include "platform/kel/Time.h"
#include "platform/sim/Switch.h"

namespace TestSupport {

inline Velnet::EthAddr mac(const char* text) {
   return *Velnet::EthAddr::parse(text);
}

// A time source that moves on by a fixed step at every reading, so that work measured in wall
// time has a fixed cost per call.
class SteppingTime : public Kel::TimeSource {
 public:
   SteppingTime(double start, double step) : now_(start), step_(step) {}
   double now() const override { return now_ += step_; }

 private:
   mutable double now_;
   double step_;
};

// A simulated switch on its own activity manager with fake time: Ethernet1..N with port
// ids and ifIndexes 1..N, links up, VLANs 1, 10, 20 and 30.
class SimSwitchTest : public ::testing::Test {
 protected:
   explicit SimSwitchTest(int portCount = 8) {
      for (int i = 1; i <= portCount; ++i) {
         sw.newPort({eth(i), static_cast<std::uint16_t>(i), i, true});
      }
      for (std::uint32_t v : {1u, 10u, 20u, 30u}) {
         sw.vlanIs({Bridging::VlanId(v), "vlan" + std::to_string(v)});
      }
   }

   static Velnet::IntfId eth(int i) { return Velnet::IntfId("Ethernet" + std::to_string(i)); }

   // Runs the wake-ups that are due now, as the process's loop would.
   void runDue() { loop.runOnce(0); }

   // intf -> "u" (untagged) or "t" (tagged) for a VLAN's configured members.
   std::map<std::string, std::string> members(std::uint32_t vlan) const {
      std::map<std::string, std::string> out;
      if (const auto v = sw.entities().config->vlanConfig(Bridging::VlanId(vlan))) {
         for (auto it = v->intfIteratorConst(); it; ++it) {
            out[it.key().stringValue().stdString()] = it.value().tagged ? "t" : "u";
         }
      }
      return out;
   }

   // The same for the VLAN's active ports.
   std::map<std::string, std::string> active(std::uint32_t vlan) const {
      std::map<std::string, std::string> out;
      if (const auto v = sw.entities().vlanStatusDir->vlanStatus(Bridging::VlanId(vlan))) {
         for (auto it = v->vlanPortStatusIteratorConst(); it; ++it) {
            out[it.key().stringValue().stdString()] = it.value().untagged ? "u" : "t";
         }
      }
      return out;
   }

   Kel::ScopedFakeTime time{1000.0};
   Kel::ActivityManager manager;
   Kel::StandaloneLoop loop{manager};
   Sim::Switch sw{manager};
};

}  // namespace TestSupport
