// A PortList as a manager may send it, any octets of any length: membership is exactly the
// bits, and encoding the members again gives the octets back up to the last member port.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "model/PortList.h"

namespace {

// The members as a collection PortListConversionV walks: key a port, value unused.
struct PortCursor {
   const std::vector<std::uint16_t>* ports;
   std::size_t at = 0;
   explicit operator bool() const { return at < ports->size(); }
   void operator++() { ++at; }
   std::uint16_t key() const { return (*ports)[at]; }
   int value() const { return 0; }
};

void require(bool condition) {
   if (!condition) {
      std::abort();
   }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   const auto set = BridgeSnmp::PortListToPortIdSet(data, static_cast<int>(size));
   require(set->length() == static_cast<std::uint16_t>(size));
   // Bridge ports run from 1 to 4095: the bits of the first 512 octets, less the last one.
   std::vector<std::uint16_t> members;
   std::vector<std::uint8_t> expected(std::min<std::size_t>(set->length(), 512), 0);
   for (unsigned port = 1; port <= set->length() * 8u; ++port) {
      const bool bit = (data[(port - 1) / 8] & (0x80 >> ((port - 1) % 8))) != 0;
      require(set->portId(static_cast<unsigned short>(port)) == bit);
      if (bit && port <= 4095) {
         members.push_back(static_cast<std::uint16_t>(port));
         expected[(port - 1) / 8] |= static_cast<std::uint8_t>(0x80 >> ((port - 1) % 8));
      }
   }
   require(!set->portId(0) && !set->portId(static_cast<unsigned short>(set->length() * 8 + 1)));
   unsigned char encoded[512];
   const int n = BridgeSnmp::PortListConversionV(
       PortCursor{&members},
       [](std::uint16_t port, int) { return std::make_pair(Interface::EthPortId(port), true); },
       encoded, sizeof encoded);
   const std::size_t used = members.empty() ? 0 : (members.back() - 1) / 8 + 1;
   require(static_cast<std::size_t>(n) == used &&
           (used == 0 || std::memcmp(encoded, expected.data(), used) == 0));
   return 0;
}
