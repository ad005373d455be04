#include "platform/linux/RtnlRequests.h"

#include <libmnl/libmnl.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <utility>

namespace Linux {
namespace {

// A message in a buffer big enough for any request here (4094 VLANs of 8 octets each).
class MessageBuilder {
 public:
   MessageBuilder(std::uint16_t type, std::uint16_t flags, std::uint32_t seq) : buffer_(64 * 1024) {
      nlh_ = mnl_nlmsg_put_header(buffer_.data());
      nlh_->nlmsg_type = type;
      nlh_->nlmsg_flags = NLM_F_REQUEST | flags;
      nlh_->nlmsg_seq = seq;
   }
   template <class Header>
   Header* header() {
      return static_cast<Header*>(mnl_nlmsg_put_extra_header(nlh_, sizeof(Header)));
   }
   nlmsghdr* nlh() { return nlh_; }
   RtnlMessage done() {
      buffer_.resize(nlh_->nlmsg_len);
      return std::move(buffer_);
   }

 private:
   RtnlMessage buffer_;
   nlmsghdr* nlh_;
};

RtnlMessage linkDump(std::uint8_t family, std::uint32_t seq, std::uint32_t extMask) {
   MessageBuilder m(RTM_GETLINK, NLM_F_DUMP, seq);
   m.header<ifinfomsg>()->ifi_family = family;
   if (extMask) {
      mnl_attr_put_u32(m.nlh(), IFLA_EXT_MASK, extMask);
   }
   return m.done();
}

// The header of a request about one interface.
void linkHeader(MessageBuilder& m, std::uint8_t family, int ifindex) {
   auto* ifi = m.header<ifinfomsg>();
   ifi->ifi_family = family;
   ifi->ifi_index = ifindex;
}

}  // namespace

RtnlMessage linkDumpRequest(std::uint32_t seq) {
   return linkDump(AF_UNSPEC, seq, 0);
}

RtnlMessage bridgePortDumpRequest(std::uint32_t seq) {
   return linkDump(AF_BRIDGE, seq, RTEXT_FILTER_BRVLAN_COMPRESSED);
}

RtnlMessage fdbDumpRequest(std::uint32_t seq) {
   MessageBuilder m(RTM_GETNEIGH, NLM_F_DUMP, seq);
   m.header<ndmsg>()->ndm_family = AF_BRIDGE;
   return m.done();
}

RtnlMessage portVlanRequest(bool remove, int ifindex, const std::vector<PortVlan>& vlans,
                            std::uint32_t seq) {
   MessageBuilder m(remove ? RTM_DELLINK : RTM_SETLINK, NLM_F_ACK, seq);
   linkHeader(m, AF_BRIDGE, ifindex);
   nlattr* afSpec = mnl_attr_nest_start(m.nlh(), IFLA_AF_SPEC);
   for (const PortVlan& v : vlans) {
      bridge_vlan_info info{};
      info.vid = v.vid;
      info.flags = static_cast<std::uint16_t>((v.pvid ? BRIDGE_VLAN_INFO_PVID : 0) |
                                              (v.untagged ? BRIDGE_VLAN_INFO_UNTAGGED : 0));
      mnl_attr_put(m.nlh(), IFLA_BRIDGE_VLAN_INFO, sizeof(info), &info);
   }
   mnl_attr_nest_end(m.nlh(), afSpec);
   return m.done();
}

RtnlMessage linkGetRequest(int ifindex, std::uint32_t seq) {
   MessageBuilder m(RTM_GETLINK, NLM_F_ACK, seq);
   linkHeader(m, AF_UNSPEC, ifindex);
   return m.done();
}

RtnlMessage bridgeStpRequest(int bridgeIfindex, const BridgeStpSettings& settings,
                             std::uint32_t seq) {
   MessageBuilder m(RTM_NEWLINK, NLM_F_ACK, seq);
   linkHeader(m, AF_UNSPEC, bridgeIfindex);
   nlattr* info = mnl_attr_nest_start(m.nlh(), IFLA_LINKINFO);
   mnl_attr_put_strz(m.nlh(), IFLA_INFO_KIND, "bridge");
   nlattr* data = mnl_attr_nest_start(m.nlh(), IFLA_INFO_DATA);
   if (settings.priority) {
      mnl_attr_put_u16(m.nlh(), IFLA_BR_PRIORITY, *settings.priority);
   }
   const std::pair<int, const std::optional<std::uint32_t>*> timers[] = {
       {IFLA_BR_MAX_AGE, &settings.maxAge},
       {IFLA_BR_HELLO_TIME, &settings.helloTime},
       {IFLA_BR_FORWARD_DELAY, &settings.forwardDelay},
   };
   for (const auto& [type, value] : timers) {
      if (*value) {
         mnl_attr_put_u32(m.nlh(), static_cast<std::uint16_t>(type), **value);
      }
   }
   mnl_attr_nest_end(m.nlh(), data);
   mnl_attr_nest_end(m.nlh(), info);
   return m.done();
}

RtnlMessage portStpRequest(int ifindex, const Bridging::Input::StpPortConfig& settings,
                           std::uint32_t seq) {
   MessageBuilder m(RTM_SETLINK, NLM_F_ACK, seq);
   linkHeader(m, AF_BRIDGE, ifindex);
   // Marked nested: without the flag the kernel takes IFLA_PROTINFO for a bare port state.
   nlattr* prot = mnl_attr_nest_start(m.nlh(), IFLA_PROTINFO);
   prot->nla_type |= NLA_F_NESTED;
   if (settings.priority) {
      mnl_attr_put_u16(m.nlh(), IFLA_BRPORT_PRIORITY, *settings.priority);
   }
   if (settings.pathCost) {
      mnl_attr_put_u32(m.nlh(), IFLA_BRPORT_COST, *settings.pathCost);
   }
   if (settings.enabled) {
      mnl_attr_put_u8(m.nlh(), IFLA_BRPORT_STATE,
                      *settings.enabled ? BR_STATE_FORWARDING : BR_STATE_DISABLED);
   }
   mnl_attr_nest_end(m.nlh(), prot);
   return m.done();
}

}  // namespace Linux
