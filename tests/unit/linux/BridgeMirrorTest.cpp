// The Linux bridge backend's spanning-tree readings without a kernel: netlink messages as the
// kernel sends them, built here byte for byte, go through the parser and the mirror into the
// bridging entities, for the readings a real kernel cannot be made to give on cue
// (LinuxBridgeTest and LinuxStpTest run against one).
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <vector>

#include "platform/kel/Time.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/RtnlRequests.h"
#include "platform/linux/StpReader.h"

namespace Linux {
namespace {

constexpr int brIndex = 7;
const Velnet::EthAddr brMac(0x0200, 0x0000, 0x0b01);
const Velnet::EthAddr hostA(0x0200, 0x0000, 0x00aa);

// One RTM_NEWLINK message in a buffer of its own.
class Message {
 public:
   Message(std::uint8_t family, int ifindex, unsigned flags) : buffer_(8192) {
      nlh_ = mnl_nlmsg_put_header(buffer_.data());
      nlh_->nlmsg_type = RTM_NEWLINK;
      auto* ifi = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(nlh_, sizeof(ifinfomsg)));
      ifi->ifi_family = family;
      ifi->ifi_index = ifindex;
      ifi->ifi_flags = flags;
   }
   nlmsghdr* nlh() { return nlh_; }
   RtnlEvent event() {
      const auto events = parseRtnlMessages(buffer_.data(), nlh_->nlmsg_len);
      EXPECT_EQ(events.size(), 1u);
      return events.at(0);
   }

 private:
   std::vector<std::uint8_t> buffer_;
   nlmsghdr* nlh_;
};

RtnlEvent bridgeLink() {
   Message m(AF_UNSPEC, brIndex, IFF_UP | IFF_RUNNING);
   mnl_attr_put_strz(m.nlh(), IFLA_IFNAME, "br0");
   const auto octets = brMac.octets();
   mnl_attr_put(m.nlh(), IFLA_ADDRESS, 6, octets.data());
   nlattr* info = mnl_attr_nest_start(m.nlh(), IFLA_LINKINFO);
   mnl_attr_put_strz(m.nlh(), IFLA_INFO_KIND, "bridge");
   nlattr* data = mnl_attr_nest_start(m.nlh(), IFLA_INFO_DATA);
   mnl_attr_put_u32(m.nlh(), IFLA_BR_AGEING_TIME, 1500);
   mnl_attr_nest_end(m.nlh(), data);
   mnl_attr_nest_end(m.nlh(), info);
   return m.event();
}

class BridgeMirrorTest : public ::testing::Test {
 protected:
   Bridging::PlatformEntities e;
   BridgeMirror mirror{e, "br0"};
   Kel::ScopedFakeTime time{1000.0};
};

// The bridge's spanning tree as the kernel reports it: on or off, the root's priority (the
// root's address is hostA's, or the bridge's own when its priority is the bridge's), the root
// port and whether a topology change is under way.
RtnlEvent stpBridgeLink(std::uint32_t stpState, std::uint16_t rootPriority, bool change) {
   Message m(AF_UNSPEC, brIndex, IFF_UP | IFF_RUNNING);
   mnl_attr_put_strz(m.nlh(), IFLA_IFNAME, "br0");
   nlattr* info = mnl_attr_nest_start(m.nlh(), IFLA_LINKINFO);
   mnl_attr_put_strz(m.nlh(), IFLA_INFO_KIND, "bridge");
   nlattr* data = mnl_attr_nest_start(m.nlh(), IFLA_INFO_DATA);
   mnl_attr_put_u32(m.nlh(), IFLA_BR_STP_STATE, stpState);
   mnl_attr_put_u16(m.nlh(), IFLA_BR_PRIORITY, 0x8000);
   const bool own = rootPriority == 0x8000;
   const Bridging::BridgeId root{rootPriority, own ? brMac : hostA};
   mnl_attr_put(m.nlh(), IFLA_BR_ROOT_ID, 8, root.octets().data());
   mnl_attr_put(m.nlh(), IFLA_BR_BRIDGE_ID, 8, Bridging::BridgeId{0x8000, brMac}.octets().data());
   mnl_attr_put_u16(m.nlh(), IFLA_BR_ROOT_PORT, own ? 0 : 1);
   mnl_attr_put_u32(m.nlh(), IFLA_BR_ROOT_PATH_COST, own ? 0 : 100);
   mnl_attr_put_u8(m.nlh(), IFLA_BR_TOPOLOGY_CHANGE, change);
   mnl_attr_put_u32(m.nlh(), IFLA_BR_MAX_AGE, 2000);
   mnl_attr_nest_end(m.nlh(), data);
   mnl_attr_nest_end(m.nlh(), info);
   return m.event();
}

// Port p1 in a kernel state (BR_STATE_*), with its counters.
RtnlEvent stpPortLink(std::uint8_t state) {
   Message m(AF_BRIDGE, 11, IFF_UP | IFF_RUNNING);
   mnl_attr_put_strz(m.nlh(), IFLA_IFNAME, "p1");
   mnl_attr_put_u32(m.nlh(), IFLA_MASTER, brIndex);
   nlattr* prot = mnl_attr_nest_start(m.nlh(), IFLA_PROTINFO);
   mnl_attr_put_u16(m.nlh(), IFLA_BRPORT_NO, 1);
   mnl_attr_put_u8(m.nlh(), IFLA_BRPORT_STATE, state);
   mnl_attr_put_u16(m.nlh(), IFLA_BRPORT_DESIGNATED_COST, 100);  // u16, as the kernel sends it
   mnl_attr_nest_end(m.nlh(), prot);
   rtnl_link_stats64 stats{};
   stats.rx_packets = 5;
   stats.tx_packets = std::uint64_t{1} << 40;
   stats.rx_dropped = 2;
   mnl_attr_put(m.nlh(), IFLA_STATS64, sizeof(stats), &stats);
   return m.event();
}

// Readings in order, each with what is published after it: the kernel counts neither
// topology changes nor transitions to forwarding; the mirror counts the ones it sees.
TEST_F(BridgeMirrorTest, SpanningTreeReadingsArePublishedAndCounted) {
   using S = Bridging::StpPortState;
   struct Step {
      RtnlEvent event;
      S state;
      std::uint64_t forwardTransitions, topologyChanges;
      std::uint16_t rootPort;
   };
   const Step steps[] = {
       {stpBridgeLink(1, 0x1000, false), S::disabled, 0, 0, 1},     // no port state yet
       {stpPortLink(BR_STATE_FORWARDING), S::forwarding, 0, 0, 1},  // first seen forwarding
       {stpPortLink(BR_STATE_BLOCKING), S::blocking, 0, 0, 1},
       {stpPortLink(BR_STATE_LISTENING), S::listening, 0, 0, 1},
       {stpPortLink(BR_STATE_LEARNING), S::learning, 0, 0, 1},
       {stpPortLink(BR_STATE_FORWARDING), S::forwarding, 1, 0, 1},
       {stpBridgeLink(1, 0x1000, true), S::forwarding, 1, 1, 1},
       {stpBridgeLink(1, 0x1000, true), S::forwarding, 1, 1, 1},   // the same change
       {stpBridgeLink(1, 0x8000, false), S::forwarding, 1, 1, 0},  // the bridge is the root
       {stpBridgeLink(1, 0x1000, true), S::forwarding, 1, 2, 1},
       {stpPortLink(9), S::broken, 1, 2, 1},
       {stpBridgeLink(0, 0x1000, true), S::broken, 1, 2, 0},  // off: its own root, no change
   };
   mirror.apply(bridgeLink());
   const Velnet::IntfId p1("p1");
   for (const Step& step : steps) {
      mirror.apply(step.event);
      const auto& stp = *e.stpStatus;
      const auto& reading = std::get<LinkEvent>(step.event).bridgeStp;
      const bool on = !reading || reading->stpState != 0;
      EXPECT_EQ(stp.stpPort(p1).state, step.state);
      EXPECT_EQ(stp.stpPort(p1).forwardTransitions, step.forwardTransitions);
      EXPECT_EQ(stp.topologyChanges(), step.topologyChanges);
      EXPECT_EQ(stp.rootPort(), step.rootPort);
      EXPECT_EQ(stp.designatedRoot() == stp.bridgeId(), step.rootPort == 0);
      EXPECT_EQ(stp.protocolEnabled(), on);
   }
   EXPECT_EQ(e.stpStatus->stpPort(p1).designatedCost, 100u);
   EXPECT_EQ(e.stpStatus->lastTopologyChange(), 1000.0);
   EXPECT_EQ(e.stpStatus->maxAge(), 2000u);

   // Counters are read when asked, at most once a second.
   Kel::ActivityManager manager;
   int queries = 0;
   const auto query = [&](const RtnlMessage&, LinkEvent& answer) {
      ++queries;
      answer = std::get<LinkEvent>(stpPortLink(BR_STATE_FORWARDING));
      return 0;
   };
   StpReader reader(e, mirror, query, manager);
   e.stpInput->doRefreshCounters(p1);
   e.stpInput->doRefreshCounters(p1);
   time.advance(1.0);
   e.stpInput->doRefreshCounters(p1);
   EXPECT_EQ(queries, 2);
   EXPECT_EQ(e.stpStatus->portCounters(p1),
             (Bridging::PortFrameCounters{5, std::uint64_t{1} << 40, 2, 1001.0}));
}
}  // namespace
}  // namespace Linux
