#pragma once

#include <compare>
#include <functional>
#include <ostream>
#include <string>

#include "platform/bridging/Fid.h"
#include "platform/kel/ValueText.h"
#include "platform/velnet/EthAddr.h"

namespace BridgeSnmp {

// The key of a forwarding-database row: (fid, address), ordered by the FID first and then
// by the address's octets. This is the order of dot1qTpFdbTable walks.
class Dot1qTpFdbEntryKey {
 public:
   Dot1qTpFdbEntryKey() = default;
   Dot1qTpFdbEntryKey(Bridging::Fid fid, Velnet::EthAddr address) : fid_(fid), address_(address) {}

   Bridging::Fid fid() const { return fid_; }
   const Velnet::EthAddr& address() const { return address_; }

   friend bool operator==(const Dot1qTpFdbEntryKey&, const Dot1qTpFdbEntryKey&) = default;
   friend bool operator<(const Dot1qTpFdbEntryKey& a, const Dot1qTpFdbEntryKey& b) {
      return a.fid_ != b.fid_ ? a.fid_.value() < b.fid_.value() : a.address_ < b.address_;
   }
   friend bool operator<=(const Dot1qTpFdbEntryKey& a, const Dot1qTpFdbEntryKey& b) {
      return a < b || a == b;
   }
   friend bool operator>(const Dot1qTpFdbEntryKey& a, const Dot1qTpFdbEntryKey& b) {
      return !(a <= b);
   }
   friend bool operator>=(const Dot1qTpFdbEntryKey& a, const Dot1qTpFdbEntryKey& b) {
      return !(a < b);
   }

 private:
   Bridging::Fid fid_;
   Velnet::EthAddr address_;
};

// "Value('BridgeSnmp::Dot1qTpFdbEntryKey', ** {'fid': 1, 'address': '00:1c:73:aa:bb:cc'})"
std::string valueToStrep(const Dot1qTpFdbEntryKey& key);
std::ostream& operator<<(std::ostream& os, const Dot1qTpFdbEntryKey& key);
// Reads the printable form back. An unknown attribute gives "Dot1qTpFdbEntryKey has no
// such attribute: <name>"; text that ends early "premature end of value type
// Dot1qTpFdbEntryKey".
Dot1qTpFdbEntryKey readValue(Kel::TextReader& r, const Dot1qTpFdbEntryKey*);
inline const char* valueTypeName(const Dot1qTpFdbEntryKey*) {
   return "Dot1qTpFdbEntryKey";
}

}  // namespace BridgeSnmp

template <>
struct std::hash<BridgeSnmp::Dot1qTpFdbEntryKey> {
   std::size_t operator()(const BridgeSnmp::Dot1qTpFdbEntryKey& k) const noexcept {
      return std::hash<Velnet::EthAddr>()(k.address()) ^ (std::size_t(k.fid().value()) << 48);
   }
};
