#include "model/Dot1qTpFdbEntryKey.h"

#include "platform/kel/Exception.h"

namespace BridgeSnmp {
namespace {

constexpr const char* qualifiedName = "BridgeSnmp::Dot1qTpFdbEntryKey";

}  // namespace

std::string valueToStrep(const Dot1qTpFdbEntryKey& key) {
   return std::string("Value('") + qualifiedName +
          "', ** {'fid': " + std::to_string(key.fid().value()) +
          ", 'address': " + valueToStrep(key.address()) + "})";
}

std::ostream& operator<<(std::ostream& os, const Dot1qTpFdbEntryKey& key) {
   return os << valueToStrep(key);
}

Dot1qTpFdbEntryKey readValue(Kel::TextReader& r, const Dot1qTpFdbEntryKey*) {
   r.expect("Value");
   r.expect("(");
   if (r.readQuoted() != qualifiedName) {
      r.fail(std::string("expected the type name ") + qualifiedName);
   }
   r.expect(",");
   r.expect("**");
   r.expect("{");
   bool haveFid = false;
   bool haveAddress = false;
   Bridging::Fid fid;
   Velnet::EthAddr address;
   while (!r.tryConsume("}")) {
      if ((haveFid || haveAddress) && !r.tryConsume(",")) {
         if (r.atEnd()) {
            r.failPremature();
         }
         r.fail("expected ',' or '}'");
      }
      const std::string attribute = r.readQuoted();
      if (attribute == "fid") {
         r.expect(":");
         fid = readValue(r, static_cast<const Bridging::Fid*>(nullptr));
         haveFid = true;
      } else if (attribute == "address") {
         r.expect(":");
         address = readValue(r, static_cast<const Velnet::EthAddr*>(nullptr));
         haveAddress = true;
      } else {
         throw Kel::ParseException("Dot1qTpFdbEntryKey has no such attribute: " + attribute);
      }
   }
   r.expect(")");
   if (!haveFid || !haveAddress) {
      r.fail("Dot1qTpFdbEntryKey needs both fid and address");
   }
   return Dot1qTpFdbEntryKey(fid, address);
}

}  // namespace BridgeSnmp
