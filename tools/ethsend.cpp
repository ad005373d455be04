// ethsend: sends Ethernet frames with chosen source addresses out of one interface, as hosts
// behind a bridge port would, so that the bridge learns them. Each frame is a broadcast of
// the local experimental EtherType 0x88b5; `count` frames come from `count` consecutive
// addresses starting at the one given, tagged for one VLAN with --vlan.
//
//   ethsend veth1 02:00:00:00:00:01            one frame
//   ethsend veth1 02:00:00:01:00:00 10000      ten thousand hosts
//   ethsend --vlan 10 veth1 02:00:00:00:00:01  one frame in VLAN 10

#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "platform/velnet/EthAddr.h"

int main(int argc, char** argv) {
   CLI::App app{"Sends broadcast frames from chosen source MAC addresses out of an interface."};
   std::string interface;
   std::string source;
   std::uint64_t count = 1;
   unsigned vlan = 0;
   app.add_option("interface", interface, "the interface to send on")->required();
   app.add_option("source", source, "the first source address, 02:00:00:00:00:01")->required();
   app.add_option("count", count, "frames to send, each from the next address")
       ->check(CLI::Range(1, 1000000));
   app.add_option("--vlan", vlan, "tags each frame for this VLAN (802.1Q)")
       ->check(CLI::Range(1, 4094));
   CLI11_PARSE(app, argc, argv);

   const auto first = Velnet::EthAddr::parse(source);
   if (!first || first->isMulticast() || first->isZero()) {
      std::cerr << "ethsend: " << source << " is not a unicast MAC address\n";
      return 2;
   }
   const unsigned ifindex = if_nametoindex(interface.c_str());
   if (ifindex == 0) {
      std::cerr << "ethsend: no interface " << interface << "\n";
      return 1;
   }
   const int fd = ::socket(AF_PACKET, SOCK_RAW, 0);
   if (fd < 0) {
      std::cerr << "ethsend: packet socket: " << std::strerror(errno) << "\n";
      return 1;
   }
   sockaddr_ll to{};
   to.sll_family = AF_PACKET;
   to.sll_ifindex = static_cast<int>(ifindex);
   to.sll_halen = ETH_ALEN;
   std::array<std::uint8_t, ETH_ZLEN + 4> frame{};  // the minimum frame, padding zero
   std::memset(frame.data(), 0xff, ETH_ALEN);       // to everyone
   std::size_t type = 12;
   if (vlan) {
      const std::uint8_t tag[] = {0x81, 0x00, static_cast<std::uint8_t>(vlan >> 8),
                                  static_cast<std::uint8_t>(vlan & 0xff)};
      std::memcpy(frame.data() + type, tag, sizeof(tag));
      type += sizeof(tag);
   }
   frame[type] = 0x88;
   frame[type + 1] = 0xb5;
   const std::size_t length = vlan ? frame.size() : ETH_ZLEN;
   for (std::uint64_t i = 0; i < count; ++i) {
      const auto octets = Velnet::EthAddr::fromU64(first->toU64() + i).octets();
      std::memcpy(frame.data() + ETH_ALEN, octets.data(), ETH_ALEN);
      std::memcpy(to.sll_addr, frame.data(), ETH_ALEN);
      if (::sendto(fd, frame.data(), length, 0, reinterpret_cast<sockaddr*>(&to), sizeof(to)) < 0) {
         if (errno == ENOBUFS) {  // the queue is full: let it drain, then send this one again
            ::usleep(1000);
            --i;
            continue;
         }
         std::cerr << "ethsend: sending on " << interface << ": " << std::strerror(errno) << "\n";
         ::close(fd);
         return 1;
      }
   }
   ::close(fd);
   return 0;
}
