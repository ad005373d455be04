// The Linux bridge backend without a kernel: netlink messages as the kernel sends them, built
// here byte for byte, go through the parser and the mirror into the bridging entities, for
// what a real kernel cannot be made to do on cue (LinuxBridgeTest runs against one).
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <vector>

#include "platform/kel/Time.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/PortVlans.h"
#include "platform/linux/RtnlRequests.h"
#include "platform/linux/StpReader.h"
#include "platform/linux/VlanWriter.h"

namespace Linux {
namespace {

constexpr int brIndex = 7;
const Velnet::EthAddr brMac(0x0200, 0x0000, 0x0b01);
const Velnet::EthAddr hostA(0x0200, 0x0000, 0x00aa);

// One kernel message in a buffer of its own.
class Message {
 public:
   Message(std::uint16_t type, std::uint8_t family, int ifindex, unsigned flags = 0)
       : buffer_(8192) {
      nlh_ = mnl_nlmsg_put_header(buffer_.data());
      nlh_->nlmsg_type = type;
      if (type == RTM_NEWNEIGH || type == RTM_DELNEIGH) {
         auto* ndm = static_cast<ndmsg*>(mnl_nlmsg_put_extra_header(nlh_, sizeof(ndmsg)));
         ndm->ndm_family = family;
         ndm->ndm_ifindex = ifindex;
         ndm->ndm_state = static_cast<std::uint16_t>(flags);
      } else {
         auto* ifi = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(nlh_, sizeof(ifinfomsg)));
         ifi->ifi_family = family;
         ifi->ifi_index = ifindex;
         ifi->ifi_flags = flags;
      }
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

RtnlEvent bridgeLink(bool filtering, std::uint32_t ageing = 1500) {
   Message m(RTM_NEWLINK, AF_UNSPEC, brIndex, IFF_UP | IFF_RUNNING);
   mnl_attr_put_strz(m.nlh(), IFLA_IFNAME, "br0");
   const auto octets = brMac.octets();
   mnl_attr_put(m.nlh(), IFLA_ADDRESS, 6, octets.data());
   nlattr* info = mnl_attr_nest_start(m.nlh(), IFLA_LINKINFO);
   mnl_attr_put_strz(m.nlh(), IFLA_INFO_KIND, "bridge");
   nlattr* data = mnl_attr_nest_start(m.nlh(), IFLA_INFO_DATA);
   mnl_attr_put_u32(m.nlh(), IFLA_BR_AGEING_TIME, ageing);
   mnl_attr_put_u8(m.nlh(), IFLA_BR_VLAN_FILTERING, filtering);
   mnl_attr_nest_end(m.nlh(), data);
   mnl_attr_nest_end(m.nlh(), info);
   return m.event();
}

// A bridge port as AF_BRIDGE reports it: number, link and VLANs (flags, vid), ranges as the
// kernel compresses them.
RtnlEvent portLink(int ifindex, const char* name, std::uint16_t portNo, bool running,
                   const std::vector<std::pair<std::uint16_t, std::uint16_t>>& vlans) {
   Message m(RTM_NEWLINK, AF_BRIDGE, ifindex, running ? IFF_UP | IFF_RUNNING : IFF_UP);
   mnl_attr_put_strz(m.nlh(), IFLA_IFNAME, name);
   mnl_attr_put_u32(m.nlh(), IFLA_MASTER, brIndex);
   nlattr* prot = mnl_attr_nest_start(m.nlh(), IFLA_PROTINFO);
   mnl_attr_put_u16(m.nlh(), IFLA_BRPORT_NO, portNo);
   mnl_attr_nest_end(m.nlh(), prot);
   nlattr* afSpec = mnl_attr_nest_start(m.nlh(), IFLA_AF_SPEC);
   for (const auto& [flags, vid] : vlans) {
      const bridge_vlan_info info{flags, vid};
      mnl_attr_put(m.nlh(), IFLA_BRIDGE_VLAN_INFO, sizeof(info), &info);
   }
   mnl_attr_nest_end(m.nlh(), afSpec);
   return m.event();
}

// hostA learned on a port in a VLAN (0 for none).
NeighEvent learnedOn(int port, std::uint16_t vid) {
   return {false, port, brIndex, hostA, vid, NUD_REACHABLE};
}

constexpr std::uint16_t pvidUntagged = BRIDGE_VLAN_INFO_PVID | BRIDGE_VLAN_INFO_UNTAGGED;

class BridgeMirrorTest : public ::testing::Test {
 protected:
   Bridging::PlatformEntities e;
   BridgeMirror mirror{e, "br0"};
   Kel::ScopedFakeTime time{1000.0};
};

// A move while a resync's dump is read, which the dump already shows: the notification of it,
// queued meanwhile, is applied on top of the dump, and the dump's differences are published
// after that; the move counts once. The dump also holds the entry's VLAN-0 copy, on the old
// port, from before VLAN filtering: no row of its own.
TEST_F(BridgeMirrorTest, AMoveWhileADumpIsReadCountsOnce) {
   KernelBridge dump("br0");
   for (const auto& link : {bridgeLink(true), portLink(11, "p1", 1, true, {{pvidUntagged, 1}}),
                            portLink(12, "p2", 2, true, {{pvidUntagged, 1}})}) {
      mirror.apply(link);
      dump.apply(std::get<LinkEvent>(link));
   }
   mirror.apply(learnedOn(11, 1));
   dump.apply(learnedOn(12, 1));
   dump.apply(learnedOn(11, 0));
   mirror.resyncTo(std::move(dump));
   mirror.apply(learnedOn(12, 1));
   EXPECT_EQ(mirror.publishDifferences([] { return true; }), 1u);  // hostA's row only
   EXPECT_FALSE(mirror.differencesPending());
   const auto* host = e.status->fdbStatus(Bridging::Fid(1))->learnedHostRecord(hostA);
   ASSERT_TRUE(host);
   EXPECT_EQ(host->intf, Velnet::IntfId("p2"));
   EXPECT_EQ(host->moves, 1u);
}

// A request the writer sent: its type and VLAN entries.
struct Sent {
   std::uint16_t type;
   std::vector<PortVlan> vlans;
   bool operator==(const Sent&) const = default;
};

Sent decode(const RtnlMessage& request) {
   const auto* nlh = reinterpret_cast<const nlmsghdr*>(request.data());
   Sent sent{nlh->nlmsg_type, {}};
   const auto* afSpec =
       static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(nlh, sizeof(ifinfomsg)));
   const auto* end =
       static_cast<const char*>(mnl_attr_get_payload(afSpec)) + mnl_attr_get_payload_len(afSpec);
   for (auto* a = static_cast<const nlattr*>(mnl_attr_get_payload(afSpec));
        mnl_attr_ok(a, static_cast<int>(end - reinterpret_cast<const char*>(a)));
        a = mnl_attr_next(a)) {
      const auto* info = static_cast<const bridge_vlan_info*>(mnl_attr_get_payload(a));
      sent.vlans.push_back({info->vid, (info->flags & BRIDGE_VLAN_INFO_PVID) != 0,
                            (info->flags & BRIDGE_VLAN_INFO_UNTAGGED) != 0});
   }
   return sent;
}

TEST_F(BridgeMirrorTest, InputWritesBecomeKernelRequestsOrAreUndone) {
   Kel::ActivityManager manager;
   std::vector<Sent> sent;
   std::vector<int> answers;  // the kernel's answers to come, in order; then 0
   VlanWriter writer(
       e, mirror,
       [&](const RtnlMessage& m) {
          sent.push_back(decode(m));
          const int answer = answers.empty() ? 0 : answers.front();
          if (!answers.empty()) {
             answers.erase(answers.begin());
          }
          return answer;
       },
       manager);
   mirror.apply(bridgeLink(true));
   mirror.apply(portLink(11, "p1", 1, true, {{pvidUntagged, 10}}));
   mirror.apply(portLink(12, "p2", 2, true, {{pvidUntagged, 20}}));
   writer.settle();
   EXPECT_TRUE(sent.empty());  // mirroring the kernel asks nothing of it
   const auto p1 = e.input->switchIntfConfig(Velnet::IntfId("p1"));
   const auto p2 = e.input->switchIntfConfig(Velnet::IntfId("p2"));
   const auto commit = [&] {
      e.input->commitRequestIs(e.input->commitRequest() + 1);
      EXPECT_EQ(e.config->inputCommitted(), e.input->commitRequest());
      return std::pair(e.config->inputCommitFailure().stdString(), e.config->inputCommitUndone());
   };

   // p1 moves to VLAN 20 on a commit: the new VLAN with its PVID first, then the old one goes.
   p1->accessVlanIs(Bridging::VlanId(20));
   EXPECT_EQ(commit(), std::pair(std::string(), true));
   EXPECT_EQ(sent, (std::vector<Sent>{{RTM_SETLINK, {{20, true, true}}},
                                      {RTM_DELLINK, {{10, true, true}}}}));
   mirror.apply(portLink(11, "p1", 1, true, {{pvidUntagged, 20}}));

   // p1 back to 10 and p2 to 10 as one change: the kernel refuses p2's, so p1's is undone
   // (VLAN 20 back with its PVID, 10 gone), and both inputs read the kernel's truth.
   sent.clear();
   answers = {0, 0, -EPERM};
   p1->accessVlanIs(Bridging::VlanId(10));
   p2->accessVlanIs(Bridging::VlanId(10));
   const auto [failure, undone] = commit();
   EXPECT_EQ(failure, "p2: the kernel refused adding VLANs: Operation not permitted");
   EXPECT_TRUE(undone);
   EXPECT_EQ(sent, (std::vector<Sent>{{RTM_SETLINK, {{10, true, true}}},
                                      {RTM_DELLINK, {{20, true, true}}},
                                      {RTM_SETLINK, {{10, true, true}}},
                                      {RTM_SETLINK, {{20, true, true}}},
                                      {RTM_DELLINK, {{10, true, true}}}}));
   EXPECT_EQ(p1->accessVlan(), Bridging::VlanId(20));
   EXPECT_EQ(p2->accessVlan(), Bridging::VlanId(20));
   EXPECT_EQ(writer.refusals(), 1u);

   // When the undo is refused too, the outcome says so.
   answers = {0, 0, -EPERM, -EBUSY};
   p1->accessVlanIs(Bridging::VlanId(10));
   p2->accessVlanIs(Bridging::VlanId(10));
   EXPECT_FALSE(commit().second);

   // A mode no Linux port has is refused before anything is sent; so is input written
   // without a commit, on the next wake-up.
   sent.clear();
   p2->switchportModeIs(Bridging::SwitchportMode::routed);
   EXPECT_EQ(writer.settle().failure, "p2: switchport mode routed has no Linux bridge equivalent");
   EXPECT_TRUE(sent.empty());
   EXPECT_EQ(p2->switchportMode(), Bridging::SwitchportMode::access);
}

TEST(PortVlansTest, InputSwitchportsBecomeKernelVlanEdits) {
   SwixUtils::VlanIdSet known;
   for (int v : {1, 10, 20, 30}) {
      known.doAdd(Bridging::VlanId(v));
   }
   Bridging::Input::SwitchIntfConfig sic(Velnet::IntfId("p1"));
   sic.switchportModeIs(Bridging::SwitchportMode::trunk);
   sic.trunkAllowedVlansIs(Kel::String8("10-25,4000"));  // 4000 is no VLAN of the bridge
   sic.trunkNativeVlanIs(Bridging::VlanIdOrNone(20));
   const auto trunk = wantedVlans(sic, known);
   EXPECT_EQ(trunk.vlans, (std::vector<PortVlan>{{10, false, false}, {20, true, true}}));

   const auto edit = vlanEdit({{1, true, true}, {10, false, false}}, trunk.vlans);
   EXPECT_EQ(edit.add, (std::vector<PortVlan>{{20, true, true}}));
   EXPECT_EQ(edit.remove, (std::vector<PortVlan>{{1, true, true}}));

   sic.switchportModeIs(Bridging::SwitchportMode::routed);
   EXPECT_TRUE(wantedVlans(sic, known).refusal.has_value());
}

// The bridge's spanning tree as the kernel reports it: on or off, the root's priority (the
// root's address is hostA's, or the bridge's own when its priority is the bridge's), the root
// port and whether a topology change is under way.
RtnlEvent stpBridgeLink(std::uint32_t stpState, std::uint16_t rootPriority, bool change) {
   Message m(RTM_NEWLINK, AF_UNSPEC, brIndex, IFF_UP | IFF_RUNNING);
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
   Message m(RTM_NEWLINK, AF_BRIDGE, 11, IFF_UP | IFF_RUNNING);
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
   mirror.apply(bridgeLink(false));
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
