#include "platform/linux/RtnlEvents.h"

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace Linux {
namespace {

// The attributes of one nesting level, by type; the last of a repeated type wins.
template <std::size_t N>
struct AttrTable {
   std::array<const nlattr*, N> at{};
   const nlattr* operator[](unsigned type) const { return type < N ? at[type] : nullptr; }
};

template <std::size_t N>
int collectAttr(const nlattr* attr, void* data) {
   auto* table = static_cast<AttrTable<N>*>(data);
   const unsigned type = mnl_attr_get_type(attr);
   if (type < N) {
      table->at[type] = attr;
   }
   return MNL_CB_OK;
}

template <std::size_t N>
bool parseNested(const nlattr* nest, AttrTable<N>& table) {
   return mnl_attr_parse_nested(nest, &collectAttr<N>, &table) >= MNL_CB_OK;
}

template <std::size_t N>
bool parseTop(const nlmsghdr* nlh, std::size_t header, AttrTable<N>& table) {
   return mnl_attr_parse(nlh, static_cast<unsigned>(header), &collectAttr<N>, &table) >= MNL_CB_OK;
}

std::optional<std::uint32_t> u32Of(const nlattr* attr) {
   if (attr && mnl_attr_validate(attr, MNL_TYPE_U32) >= 0) {
      return mnl_attr_get_u32(attr);
   }
   return std::nullopt;
}

std::optional<std::uint16_t> u16Of(const nlattr* attr) {
   if (attr && mnl_attr_validate(attr, MNL_TYPE_U16) >= 0) {
      return mnl_attr_get_u16(attr);
   }
   return std::nullopt;
}

std::optional<std::uint8_t> u8Of(const nlattr* attr) {
   if (attr && mnl_attr_validate(attr, MNL_TYPE_U8) >= 0) {
      return mnl_attr_get_u8(attr);
   }
   return std::nullopt;
}

std::string stringOf(const nlattr* attr) {
   if (!attr || mnl_attr_validate(attr, MNL_TYPE_STRING) < 0) {
      return {};
   }
   const char* text = static_cast<const char*>(mnl_attr_get_payload(attr));
   return std::string(text, strnlen(text, mnl_attr_get_payload_len(attr)));
}

std::optional<Velnet::EthAddr> macOf(const nlattr* attr) {
   if (!attr || mnl_attr_get_payload_len(attr) != 6) {
      return std::nullopt;
   }
   std::array<std::uint8_t, 6> octets{};
   std::memcpy(octets.data(), mnl_attr_get_payload(attr), octets.size());
   return Velnet::EthAddr(octets);
}

// A number the kernel sends as u16 or u32, depending on its version.
std::uint32_t u16or32Of(const nlattr* attr) {
   if (const auto wide = u32Of(attr)) {
      return *wide;
   }
   return u16Of(attr).value_or(0);
}

Bridging::BridgeId bridgeIdOf(const nlattr* attr) {
   Bridging::BridgeId id;
   if (!attr || mnl_attr_get_payload_len(attr) < sizeof(ifla_bridge_id)) {
      return id;
   }
   ifla_bridge_id raw;
   std::memcpy(&raw, mnl_attr_get_payload(attr), sizeof(raw));
   id.priority = static_cast<std::uint16_t>(raw.prio[0] << 8 | raw.prio[1]);
   std::array<std::uint8_t, 6> octets{};
   std::memcpy(octets.data(), raw.addr, octets.size());
   id.address = Velnet::EthAddr(octets);
   return id;
}

// IFLA_AF_SPEC of an AF_BRIDGE message: its VLAN entries, with ranges expanded. The kernel
// leaves it out for a port that has no VLAN.
std::vector<PortVlan> vlansOf(const nlattr* afSpec) {
   std::vector<PortVlan> vlans;
   if (!afSpec) {
      return vlans;
   }
   std::uint16_t rangeBegin = 0;  // the first VLAN of an open range; 0 for none
   const auto* end =
       static_cast<const char*>(mnl_attr_get_payload(afSpec)) + mnl_attr_get_payload_len(afSpec);
   for (auto* attr = static_cast<const nlattr*>(mnl_attr_get_payload(afSpec));
        mnl_attr_ok(attr, static_cast<int>(end - reinterpret_cast<const char*>(attr)));
        attr = mnl_attr_next(attr)) {
      if (mnl_attr_get_type(attr) != IFLA_BRIDGE_VLAN_INFO ||
          mnl_attr_get_payload_len(attr) < sizeof(bridge_vlan_info)) {
         continue;
      }
      bridge_vlan_info info;
      std::memcpy(&info, mnl_attr_get_payload(attr), sizeof(info));
      if (info.vid < 1 || info.vid > 4094) {
         continue;
      }
      if (info.flags & BRIDGE_VLAN_INFO_RANGE_BEGIN) {
         rangeBegin = info.vid;
         continue;
      }
      std::uint16_t first = info.vid;
      if ((info.flags & BRIDGE_VLAN_INFO_RANGE_END) && rangeBegin && rangeBegin <= info.vid) {
         first = rangeBegin;
      }
      rangeBegin = 0;
      for (std::uint32_t vid = first; vid <= info.vid; ++vid) {
         vlans.push_back(PortVlan{static_cast<std::uint16_t>(vid),
                                  (info.flags & BRIDGE_VLAN_INFO_PVID) != 0,
                                  (info.flags & BRIDGE_VLAN_INFO_UNTAGGED) != 0});
      }
   }
   return vlans;
}

void readBridgeData(const nlattr* data, LinkEvent& event) {
   AttrTable<IFLA_BR_MAX + 1> br;
   if (!data || !parseNested(data, br)) {
      return;
   }
   event.ageingCentis = u32Of(br[IFLA_BR_AGEING_TIME]);
   if (const auto filtering = u8Of(br[IFLA_BR_VLAN_FILTERING])) {
      event.vlanFiltering = *filtering != 0;
   }
   const auto stpState = u32Of(br[IFLA_BR_STP_STATE]);
   if (!stpState) {
      return;
   }
   BridgeStp& stp = event.bridgeStp.emplace();
   stp.stpState = *stpState;
   stp.bridgeId = bridgeIdOf(br[IFLA_BR_BRIDGE_ID]);
   stp.bridgeId.priority = u16Of(br[IFLA_BR_PRIORITY]).value_or(stp.bridgeId.priority);
   stp.rootId = bridgeIdOf(br[IFLA_BR_ROOT_ID]);
   stp.rootPort = u16Of(br[IFLA_BR_ROOT_PORT]).value_or(0);
   stp.rootPathCost = u32Of(br[IFLA_BR_ROOT_PATH_COST]).value_or(0);
   stp.topologyChange = u8Of(br[IFLA_BR_TOPOLOGY_CHANGE]).value_or(0) != 0;
   stp.topologyChangeDetected = u8Of(br[IFLA_BR_TOPOLOGY_CHANGE_DETECTED]).value_or(0) != 0;
   stp.maxAge = u32Of(br[IFLA_BR_MAX_AGE]).value_or(0);
   stp.helloTime = u32Of(br[IFLA_BR_HELLO_TIME]).value_or(0);
   stp.forwardDelay = u32Of(br[IFLA_BR_FORWARD_DELAY]).value_or(0);
}

void readPortData(const nlattr* data, LinkEvent& event) {
   AttrTable<IFLA_BRPORT_MAX + 1> port;
   if (data && parseNested(data, port)) {
      if (const auto no = u16Of(port[IFLA_BRPORT_NO])) {
         event.portNo = no;
      }
      if (const auto state = u8Of(port[IFLA_BRPORT_STATE])) {
         PortStp& stp = event.portStp.emplace();
         stp.state = *state;
         stp.priority = u16Of(port[IFLA_BRPORT_PRIORITY]).value_or(0);
         stp.cost = u32Of(port[IFLA_BRPORT_COST]).value_or(0);
         stp.id = u16Of(port[IFLA_BRPORT_ID]).value_or(0);
         stp.designatedRoot = bridgeIdOf(port[IFLA_BRPORT_ROOT_ID]);
         stp.designatedBridge = bridgeIdOf(port[IFLA_BRPORT_BRIDGE_ID]);
         stp.designatedPort = u16Of(port[IFLA_BRPORT_DESIGNATED_PORT]).value_or(0);
         stp.designatedCost = u16or32Of(port[IFLA_BRPORT_DESIGNATED_COST]);
      }
   }
}

std::optional<LinkCounters> countersOf(const nlattr* stats) {
   // The structure grows with kernels: what an older one sends is read as far as it goes.
   constexpr std::size_t needed = offsetof(rtnl_link_stats64, rx_dropped) + sizeof(__u64);
   const std::size_t length = stats ? mnl_attr_get_payload_len(stats) : 0;
   if (length < needed) {
      return std::nullopt;
   }
   rtnl_link_stats64 raw{};
   std::memcpy(&raw, mnl_attr_get_payload(stats), std::min(length, sizeof(raw)));
   return LinkCounters{raw.rx_packets, raw.tx_packets, raw.rx_dropped};
}

void readLinkInfo(const nlattr* linkInfo, LinkEvent& event) {
   AttrTable<IFLA_INFO_MAX + 1> info;
   if (!linkInfo || !parseNested(linkInfo, info)) {
      return;
   }
   event.kind = stringOf(info[IFLA_INFO_KIND]);
   if (event.kind == "bridge") {
      readBridgeData(info[IFLA_INFO_DATA], event);
   }
   if (stringOf(info[IFLA_INFO_SLAVE_KIND]) == "bridge") {
      readPortData(info[IFLA_INFO_SLAVE_DATA], event);
   }
}

std::optional<LinkEvent> linkEvent(const nlmsghdr* nlh) {
   if (mnl_nlmsg_get_payload_len(nlh) < sizeof(ifinfomsg)) {
      return std::nullopt;
   }
   const auto* ifi = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(nlh));
   if (ifi->ifi_family != AF_UNSPEC && ifi->ifi_family != AF_BRIDGE) {
      return std::nullopt;
   }
   AttrTable<IFLA_MAX + 1> attrs;
   if (!parseTop(nlh, sizeof(ifinfomsg), attrs)) {
      return std::nullopt;
   }
   LinkEvent event;
   event.removed = nlh->nlmsg_type == RTM_DELLINK;
   event.bridgeFamily = ifi->ifi_family == AF_BRIDGE;
   event.ifindex = ifi->ifi_index;
   event.running = (ifi->ifi_flags & IFF_RUNNING) != 0;
   event.name = stringOf(attrs[IFLA_IFNAME]);
   event.master = static_cast<int>(u32Of(attrs[IFLA_MASTER]).value_or(0));
   event.address = macOf(attrs[IFLA_ADDRESS]);
   readLinkInfo(attrs[IFLA_LINKINFO], event);
   event.counters = countersOf(attrs[IFLA_STATS64]);
   if (event.bridgeFamily) {
      readPortData(attrs[IFLA_PROTINFO], event);
      event.vlans = vlansOf(attrs[IFLA_AF_SPEC]);
   }
   return event;
}

std::optional<NeighEvent> neighEvent(const nlmsghdr* nlh) {
   if (mnl_nlmsg_get_payload_len(nlh) < sizeof(ndmsg)) {
      return std::nullopt;
   }
   const auto* ndm = static_cast<const ndmsg*>(mnl_nlmsg_get_payload(nlh));
   if (ndm->ndm_family != AF_BRIDGE) {
      return std::nullopt;
   }
   AttrTable<NDA_MAX + 1> attrs;
   if (!parseTop(nlh, sizeof(ndmsg), attrs)) {
      return std::nullopt;
   }
   const auto address = macOf(attrs[NDA_LLADDR]);
   if (!address) {
      return std::nullopt;
   }
   NeighEvent event;
   event.removed = nlh->nlmsg_type == RTM_DELNEIGH;
   event.ifindex = ndm->ndm_ifindex;
   event.master = static_cast<int>(u32Of(attrs[NDA_MASTER]).value_or(0));
   event.address = *address;
   event.vid = u16Of(attrs[NDA_VLAN]).value_or(0);
   event.state = ndm->ndm_state;
   event.flags = ndm->ndm_flags;
   return event;
}

std::optional<Ack> ackOf(const nlmsghdr* nlh) {
   if (mnl_nlmsg_get_payload_len(nlh) < sizeof(nlmsgerr)) {
      return std::nullopt;
   }
   const auto* err = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(nlh));
   return Ack{nlh->nlmsg_seq, err->error};
}

}  // namespace

bool NeighEvent::configured() const {
   return (state & (NUD_PERMANENT | NUD_NOARP)) != 0;
}

std::vector<RtnlEvent> parseRtnlMessages(const void* data, std::size_t length, std::size_t* skipped,
                                         bool* interrupted) {
   std::vector<RtnlEvent> events;
   std::size_t ignored = 0;
   // Each header's length is checked against what is left before the message is looked
   // into (mnl_nlmsg_ok takes a length above 2^31 for a negative one).
   const auto* bytes = static_cast<const std::uint8_t*>(data);
   std::size_t offset = 0;
   while (length - offset >= sizeof(nlmsghdr)) {
      const auto* nlh = reinterpret_cast<const nlmsghdr*>(bytes + offset);
      if (nlh->nlmsg_len < sizeof(nlmsghdr) || nlh->nlmsg_len > length - offset) {
         ++ignored;
         break;
      }
      std::optional<RtnlEvent> event;
      if (interrupted && (nlh->nlmsg_flags & NLM_F_DUMP_INTR) != 0) {
         *interrupted = true;
      }
      switch (nlh->nlmsg_type) {
         case RTM_NEWLINK:
         case RTM_DELLINK:
            if (auto e = linkEvent(nlh))
               event = std::move(*e);
            break;
         case RTM_NEWNEIGH:
         case RTM_DELNEIGH:
            if (auto e = neighEvent(nlh))
               event = std::move(*e);
            break;
         case NLMSG_DONE: {
            DumpDone done{nlh->nlmsg_seq};
            if (nlh->nlmsg_len >= NLMSG_LENGTH(sizeof(int))) {
               std::memcpy(&done.error, NLMSG_DATA(nlh), sizeof(int));
            }
            event = done;
            break;
         }
         case NLMSG_ERROR:
            if (auto e = ackOf(nlh))
               event = *e;
            break;
         default:
            break;
      }
      if (event) {
         events.push_back(std::move(*event));
      } else {
         ++ignored;
      }
      offset = std::min<std::size_t>(length, offset + NLMSG_ALIGN(nlh->nlmsg_len));
   }
   if (skipped) {
      *skipped = ignored;
   }
   return events;
}

}  // namespace Linux
