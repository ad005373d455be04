#pragma once

#include <compare>
#include <functional>
#include <ostream>

#include "platform/bridging/Fid.h"
#include "platform/velnet/EthAddr.h"

namespace Bridging {

// The key of one forwarding-database host: its FID, then its address.
class HostKey {
 public:
   HostKey() = default;
   HostKey(Fid fid, Velnet::EthAddr address) : fid_(fid), address_(address) {}

   Fid fid() const { return fid_; }
   const Velnet::EthAddr& address() const { return address_; }

   friend bool operator==(const HostKey&, const HostKey&) = default;
   friend std::strong_ordering operator<=>(const HostKey&, const HostKey&) = default;
   friend std::ostream& operator<<(std::ostream& os, const HostKey& k) {
      return os << "(fid " << k.fid_ << ", " << k.address_ << ")";
   }

 private:
   Fid fid_;
   Velnet::EthAddr address_;
};

}  // namespace Bridging

template <>
struct std::hash<Bridging::HostKey> {
   std::size_t operator()(const Bridging::HostKey& k) const noexcept {
      return std::hash<Velnet::EthAddr>()(k.address()) ^ (std::size_t(k.fid().value()) << 48);
   }
};
