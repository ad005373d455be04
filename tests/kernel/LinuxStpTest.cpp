// The spanning tree of a real kernel bridge, as the Linux backend publishes and writes it:
// two bridges joined by two veth pairs make a loop, which the kernel's STP breaks. Runs as
// root in a kernel of its own (tests/kernel/uml-run.sh).
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>

#include "platform/kel/StandaloneLoop.h"
#include "platform/kel/Time.h"
#include "platform/linux/LinuxPlatform.h"

namespace {

std::string run(const std::string& command) {
   std::string out;
   if (FILE* pipe = ::popen(command.c_str(), "r")) {
      std::array<char, 4096> chunk;
      for (std::size_t n; (n = std::fread(chunk.data(), 1, chunk.size(), pipe)) > 0;) {
         out.append(chunk.data(), n);
      }
      ::pclose(pipe);
   }
   return out;
}

// The kernel's name of a port's state, as `bridge -j link show` gives it.
std::string kernelState(const std::string& port) {
   const std::string out = run("bridge -j link show dev " + port);
   const auto at = out.find("\"state\":\"");
   return at == std::string::npos ? out : out.substr(at + 9, out.find('"', at + 9) - at - 9);
}

const char* stateName(Bridging::StpPortState state) {
   static const char* const names[] = {"",         "disabled",   "blocking", "listening",
                                       "learning", "forwarding", "broken"};
   return names[static_cast<int>(state)];
}

TEST(LinuxStpTest, ALoopIsBrokenAndTheMirrorShowsItAsTheKernelDoes) {
   if (::geteuid() != 0) {
      GTEST_SKIP() << "needs root (tests/kernel/uml-run.sh)";
   }
   ASSERT_EQ(
       std::system("ip link add stpa type bridge stp_state 1 priority 4096 forward_delay 200 &&"
                   "ip link add stpb type bridge stp_state 1 forward_delay 200 &&"
                   "for i in 0 1; do ip link add va$i type veth peer name vb$i &&"
                   " ip link set va$i master stpa && ip link set vb$i master stpb &&"
                   " ip link set va$i up && ip link set vb$i up; done &&"
                   "ip link set stpa up && ip link set stpb up"),
       0);
   Kel::ActivityManager manager;
   Kel::StandaloneLoop loop(manager);
   auto root = Kel::make<Kel::Dir>();
   Linux::LinuxPlatform platform(manager, *root, "stpb");
   ASSERT_EQ(platform.problems(), "");
   const auto& stp = *platform.entities().stpStatus;
   const Velnet::IntfId vb0("vb0"), vb1("vb1");
   using S = Bridging::StpPortState;
   // Twice the forward delay to forwarding; the loop is broken once one port forwards and the
   // other blocks, with stpa (priority 4096) the root.
   const auto settled = [&] {
      const auto a = stp.stpPort(vb0).state, b = stp.stpPort(vb1).state;
      return (a == S::forwarding && b == S::blocking) || (a == S::blocking && b == S::forwarding);
   };
   for (const double start = Kel::now(); !settled() && Kel::now() - start < 20.0;) {
      loop.runOnce(0.1);
   }
   // The change the new forwarding port began shows in the flags the root's BPDUs carry.
   for (const double start = Kel::now(); stp.topologyChanges() == 0 && Kel::now() - start < 5.0;) {
      loop.runOnce(0.1);
   }
   ASSERT_TRUE(settled()) << stateName(stp.stpPort(vb0).state) << " "
                          << stateName(stp.stpPort(vb1).state);
   for (const auto& port : {vb0, vb1}) {
      EXPECT_EQ(kernelState(port.stringValue().stdString()), stateName(stp.stpPort(port).state));
   }
   EXPECT_TRUE(stp.protocolEnabled());
   EXPECT_EQ(stp.designatedRoot().priority, 4096);
   EXPECT_NE(stp.rootPort(), 0);
   EXPECT_EQ(stp.forwardDelay(), 200u);
   EXPECT_GE(stp.topologyChanges(), 1u);
   EXPECT_EQ(stp.stpPort(vb0).forwardTransitions + stp.stpPort(vb1).forwardTransitions, 1u);

   // Counters when asked: BPDUs from the root arrive on both ports.
   platform.entities().stpInput->doRefreshCounters(vb0);
   EXPECT_GT(stp.portCounters(vb0).inFrames, 0u);

   // A priority write is in the kernel, and the model, when the commit returns; a port
   // disabled while the kernel runs STP is refused with the kernel's reason.
   const auto& input = platform.entities().stpInput;
   input->bridgePriorityIs(8192);
   input->commitRequestIs(1);
   EXPECT_EQ(stp.committed(), 1u);
   EXPECT_EQ(stp.commitFailure().stdString(), "");
   EXPECT_EQ(stp.bridgeId().priority, 8192);
   EXPECT_NE(run("ip -d -j link show stpb").find("\"priority\":8192"), std::string::npos);
   input->stpPortConfigIs(vb0, Bridging::Input::StpPortConfig{{}, {}, false});
   input->commitRequestIs(2);
   EXPECT_EQ(stp.commitFailure().stdString(),
             "port vb0: the kernel refused its spanning-tree settings: Device or resource busy");
   EXPECT_EQ(input->stpPortConfigs(), 0u);  // the input is cleared either way
   run("ip link del stpa; ip link del stpb; ip link del va0; ip link del va1");
}

}  // namespace
