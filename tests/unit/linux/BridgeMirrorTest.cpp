// The Linux bridge backend without a kernel: netlink messages as the kernel sends them, built
// here byte for byte, go through the parser and the mirror into the bridging entities. VLAN
// filtering, which the test machines' kernels lack, is covered this way.
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "platform/kel/Time.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/PortVlans.h"
#include "platform/linux/RtnlRequests.h"
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
                   const std::vector<std::pair<std::uint16_t, std::uint16_t>>& vlans,
                   std::uint16_t type = RTM_NEWLINK) {
   Message m(type, AF_BRIDGE, ifindex, running ? IFF_UP | IFF_RUNNING : IFF_UP);
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

RtnlEvent fdb(bool removed, int port, std::uint16_t vid, std::uint16_t state,
              const Velnet::EthAddr& mac = hostA) {
   Message m(removed ? RTM_DELNEIGH : RTM_NEWNEIGH, AF_BRIDGE, port, state);
   const auto octets = mac.octets();
   mnl_attr_put(m.nlh(), NDA_LLADDR, 6, octets.data());
   mnl_attr_put_u32(m.nlh(), NDA_MASTER, brIndex);
   if (vid) {
      mnl_attr_put_u16(m.nlh(), NDA_VLAN, vid);
   }
   return m.event();
}

constexpr std::uint16_t pvidUntagged = BRIDGE_VLAN_INFO_PVID | BRIDGE_VLAN_INFO_UNTAGGED;

class BridgeMirrorTest : public ::testing::Test {
 protected:
   Bridging::PlatformEntities e;
   BridgeMirror mirror{e, "br0"};
   Kel::ScopedFakeTime time{1000.0};

   const Bridging::LearnedHost* learned(std::uint16_t fid) const {
      const auto fs = e.status->fdbStatus(Bridging::Fid(fid));
      return fs ? fs->learnedHostRecord(hostA) : nullptr;
   }
   std::string members(std::uint16_t vlan) const {
      std::string out;
      const auto vc = e.config->vlanConfig(Bridging::VlanId(vlan));
      for (auto it = vc ? vc->intfIteratorConst() : decltype(vc->intfIteratorConst())(); it; ++it) {
         out += it.key().stringValue().stdString() + (it.value().tagged ? "(t) " : " ");
      }
      return out;
   }
};

TEST_F(BridgeMirrorTest, FilteringPortsBecomeSwitchportsAndVlans) {
   mirror.apply(bridgeLink(true));
   mirror.apply(portLink(11, "p1", 1, true, {{pvidUntagged, 10}}));
   mirror.apply(portLink(
       12, "p2", 2, true,
       {{pvidUntagged, 1}, {BRIDGE_VLAN_INFO_RANGE_BEGIN, 20}, {BRIDGE_VLAN_INFO_RANGE_END, 22}}));
   // Untagged in one VLAN, without the PVID flag: the kernel drops its untagged frames, so it
   // is a trunk without a native VLAN.
   mirror.apply(portLink(13, "p3", 5, false, {{BRIDGE_VLAN_INFO_UNTAGGED, 20}}));

   EXPECT_EQ(e.config->bridgeMacAddr(), brMac);
   EXPECT_DOUBLE_EQ(e.config->hostAgingTime(), 15.0);
   const auto p3 = e.intfStatusDir->intfStatus(Velnet::IntfId("p3"));
   ASSERT_TRUE(p3);
   EXPECT_EQ(p3->ifIndex(), 13);
   EXPECT_EQ(p3->portId(), Interface::EthPortId(5));
   EXPECT_EQ(p3->operStatus(), Interface::OperStatus::down);
   EXPECT_EQ(members(1), "p2 ");
   EXPECT_EQ(members(10), "p1 ");
   EXPECT_EQ(members(20), "p2(t) p3 ");
   EXPECT_EQ(members(22), "p2(t) ");
   EXPECT_EQ(e.config->vlanConfigs(), 5u);
   // Active means a member whose link is up.
   EXPECT_EQ(e.vlanStatusDir->vlanStatus(Bridging::VlanId(20))->vlanPortStatuss(), 1u);

   struct Expected {
      const char* port;
      Bridging::SwitchportMode mode;
      std::uint16_t native;
      const char* allowed;
   };
   for (const Expected& x : {Expected{"p1", Bridging::SwitchportMode::access, 10, nullptr},
                             Expected{"p2", Bridging::SwitchportMode::trunk, 1, "1,20-22"},
                             Expected{"p3", Bridging::SwitchportMode::trunk, 0, "20"}}) {
      SCOPED_TRACE(x.port);
      const auto sic = e.config->switchIntfConfig(Velnet::IntfId(x.port));
      ASSERT_TRUE(sic);
      EXPECT_EQ(sic->switchportMode(), x.mode);
      EXPECT_EQ(sic->nativeVlan().value(), x.native);
      const auto input = e.input->switchIntfConfig(Velnet::IntfId(x.port));
      EXPECT_EQ(input->switchportMode(), x.mode);
      if (x.allowed) {
         EXPECT_EQ(input->trunkAllowedVlans().view(), x.allowed);
      } else {
         EXPECT_EQ(input->accessVlan().value(), x.native);
      }
   }

   // The port leaves: its rows go, the VLAN only it had goes too.
   mirror.apply(portLink(11, "p1", 1, true, {}, RTM_DELLINK));
   EXPECT_FALSE(e.intfStatusDir->intfStatus(Velnet::IntfId("p1")));
   EXPECT_FALSE(e.config->vlanConfig(Bridging::VlanId(10)));
   EXPECT_FALSE(e.input->vlanConfig(Bridging::VlanId(10)));
}

TEST_F(BridgeMirrorTest, ForwardingEntriesLearnMoveAndGoPerVlan) {
   mirror.apply(bridgeLink(true));
   mirror.apply(portLink(11, "p1", 1, true, {{pvidUntagged, 10}}));
   mirror.apply(portLink(12, "p2", 2, true, {{0, 10}}));

   mirror.apply(fdb(false, 11, 10, NUD_REACHABLE));
   ASSERT_TRUE(learned(10));
   EXPECT_EQ(learned(10)->intf, Velnet::IntfId("p1"));
   EXPECT_EQ(learned(10)->moves, 0u);
   time.nowIs(1005.0);
   mirror.apply(fdb(false, 12, 10, NUD_REACHABLE));  // seen on another port: a move
   EXPECT_EQ(learned(10)->intf, Velnet::IntfId("p2"));
   EXPECT_EQ(learned(10)->moves, 1u);
   EXPECT_DOUBLE_EQ(learned(10)->lastMoveTime, 1005.0);
   mirror.apply(fdb(false, 12, 10, NUD_STALE));  // refreshed where it is: no move
   EXPECT_EQ(learned(10)->moves, 1u);
   mirror.apply(portLink(12, "uplink", 2, true, {{0, 10}}));  // p2 renamed: no move either
   EXPECT_EQ(learned(10)->intf, Velnet::IntfId("uplink"));
   EXPECT_EQ(learned(10)->moves, 1u);

   // A static entry replaces the learned one; deleting it leaves nothing.
   mirror.apply(fdb(false, 12, 10, NUD_NOARP));
   EXPECT_FALSE(learned(10));
   const auto fc = e.config->fdbConfig(Bridging::Fid(10));
   ASSERT_TRUE(fc);
   EXPECT_EQ(fc->configuredHostCollection().find(hostA)->intf, Velnet::IntfId("uplink"));
   mirror.apply(fdb(true, 12, 10, NUD_NOARP));
   EXPECT_FALSE(e.config->fdbConfig(Bridging::Fid(10)));

   // Entries of the bridge itself, of another bridge or of an unknown port are not ours.
   mirror.apply(fdb(false, brIndex, 10, NUD_PERMANENT));
   mirror.apply(fdb(false, 99, 10, NUD_REACHABLE));
   EXPECT_FALSE(learned(10));
}

TEST_F(BridgeMirrorTest, WithoutFilteringTheBridgeIsVlanOneAndComesBack) {
   mirror.apply(bridgeLink(false));
   mirror.apply(portLink(11, "p1", 1, true, {{pvidUntagged, 10}}));  // ignored VLANs
   mirror.apply(fdb(false, 11, 0, NUD_REACHABLE));
   EXPECT_EQ(members(1), "p1 ");
   EXPECT_EQ(e.config->vlanConfigs(), 1u);
   EXPECT_EQ(e.config->switchIntfConfig(Velnet::IntfId("p1"))->switchportMode(),
             Bridging::SwitchportMode::access);
   ASSERT_TRUE(learned(1));

   Message gone(RTM_DELLINK, AF_UNSPEC, brIndex);
   EXPECT_TRUE(mirror.apply(gone.event()).vanished);
   EXPECT_EQ(e.config->vlanConfigs(), 0u);
   EXPECT_EQ(e.intfStatusDir->intfStatuss(), 0u);
   EXPECT_EQ(e.status->fdbStatuss(), 0u);
   EXPECT_EQ(e.config->bridgeMacAddr(), Velnet::EthAddr());

   EXPECT_TRUE(mirror.apply(bridgeLink(false)).appeared);
   EXPECT_EQ(e.config->bridgeMacAddr(), brMac);
   EXPECT_EQ(members(1), "");
}

TEST_F(BridgeMirrorTest, ResyncReportsOnlyDifferingEntries) {
   mirror.apply(bridgeLink(false));
   mirror.apply(portLink(11, "p1", 1, true, {}));
   mirror.apply(fdb(false, 11, 0, NUD_REACHABLE));
   const Velnet::EthAddr hostB(0x0200, 0, 0xbb);
   KernelBridge fresh("br0");
   fresh.apply(std::get<LinkEvent>(bridgeLink(false)));
   fresh.apply(std::get<LinkEvent>(portLink(11, "p1", 1, true, {})));
   fresh.apply(std::get<NeighEvent>(fdb(false, 11, 0, NUD_REACHABLE)));
   fresh.apply(std::get<NeighEvent>(fdb(false, 11, 0, NUD_REACHABLE, hostB)));
   const auto changed = mirror.resyncTo(std::move(fresh));
   ASSERT_EQ(changed.size(), 1u);
   EXPECT_EQ(changed[0], Bridging::HostKey(Bridging::Fid(1), hostB));
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

// Dumps recorded from a kernel: br0 with ports p1 and p2, 02:00:00:00:00:01 learned on p1 and
// 02:00:00:00:0f:01 static on p2.
TEST_F(BridgeMirrorTest, RecordedKernelDumpsReplay) {
   for (const char* name : {"links", "bridge-ports", "fdb"}) {
      std::ifstream in(std::string(BRIDGESNMP_SOURCE_DIR "/tests/fuzz/corpus/rtnl/") + name,
                       std::ios::binary);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
      ASSERT_FALSE(bytes.empty()) << name;
      for (const auto& event : parseRtnlMessages(bytes.data(), bytes.size())) {
         mirror.apply(event);
      }
   }
   ASSERT_EQ(e.intfStatusDir->intfStatuss(), 2u);
   EXPECT_EQ(e.intfStatusDir->intfStatus(Velnet::IntfId("p2"))->portId(), Interface::EthPortId(2));
   EXPECT_EQ(members(1), "p1 p2 ");
   const auto fs = e.status->fdbStatus(Bridging::Fid(1));
   EXPECT_EQ(fs->learnedHostRecord(Velnet::EthAddr(0x0200, 0, 1))->intf, Velnet::IntfId("p1"));
   const auto* configured = e.config->fdbConfig(Bridging::Fid(1))
                                ->configuredHostCollection()
                                .find(Velnet::EthAddr(0x0200, 0, 0x0f01));
   ASSERT_TRUE(configured);
   EXPECT_EQ(configured->intf, Velnet::IntfId("p2"));
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

   // The request carries one VLAN entry per VLAN, with its flags.
   const RtnlMessage request = portVlanRequest(false, 12, edit.add, 5);
   const auto* nlh = reinterpret_cast<const nlmsghdr*>(request.data());
   EXPECT_EQ(nlh->nlmsg_type, RTM_SETLINK);
   EXPECT_TRUE(nlh->nlmsg_flags & NLM_F_ACK);
   const auto* afSpec =
       static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(nlh, sizeof(ifinfomsg)));
   ASSERT_EQ(mnl_attr_get_type(afSpec), IFLA_AF_SPEC);
   const auto* entry = static_cast<const nlattr*>(mnl_attr_get_payload(afSpec));
   ASSERT_EQ(mnl_attr_get_type(entry), IFLA_BRIDGE_VLAN_INFO);
   const auto* info = static_cast<const bridge_vlan_info*>(mnl_attr_get_payload(entry));
   EXPECT_EQ(info->vid, 20);
   EXPECT_EQ(info->flags, pvidUntagged);
}

}  // namespace
}  // namespace Linux
