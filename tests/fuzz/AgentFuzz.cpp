// Whole PDUs as a manager may send them, any OIDs and values, in BER: the agent with the
// module on the lab switch answers each one well-formed, and a refused SET changes nothing.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/fuzz/InProcessAgent.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   std::vector<u_char> ber(data, data + size);
   std::size_t remaining = ber.size();
   netsnmp_pdu* pdu = static_cast<netsnmp_pdu*>(calloc(1, sizeof(netsnmp_pdu)));
   pdu->version = SNMP_VERSION_2c;
   const bool parsed = snmp_pdu_parse(pdu, ber.data(), &remaining) == 0;
   // Only requests reach the agent's request handling; snmpd routes the rest elsewhere.
   switch (parsed ? pdu->command : 0) {
      case SNMP_MSG_GET:
      case SNMP_MSG_GETNEXT:
      case SNMP_MSG_GETBULK:
      case SNMP_MSG_SET:
         Fuzz::askAndCheck(pdu);
         break;
      default:
         break;
   }
   snmp_free_pdu(pdu);
   return 0;
}
