// Any index after any column of every table, as GET, GETNEXT or GETBULK: net-snmp's index
// parsing and the tables' hint decoding see every shape (short, long, out of range, wrong
// address length), and the answers stay well-formed and move forward.

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/fuzz/InProcessAgent.h"

namespace {

// Every table's entry OID and its highest column.
struct Table {
   std::vector<oid> entry;
   unsigned columns;
};
const std::array<Table, 8> tables{{
    {{1, 3, 6, 1, 2, 1, 17, 1, 4, 1}, 5},        // dot1dBasePortTable
    {{1, 3, 6, 1, 2, 1, 17, 4, 3, 1}, 3},        // dot1dTpFdbTable
    {{1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 1, 1}, 2},  // dot1qFdbTable
    {{1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 2, 1}, 3},  // dot1qTpFdbTable
    {{1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 2, 1}, 7},  // dot1qVlanCurrentTable
    {{1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 3, 1}, 5},  // dot1qVlanStaticTable
    {{1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 5, 1}, 7},  // dot1qPortVlanTable
    {{1, 3, 6, 1, 4, 1, 32473, 3, 2, 1, 1}, 3},  // the per-MAC move counts
}};

constexpr std::array<int, 3> commands{SNMP_MSG_GET, SNMP_MSG_GETNEXT, SNMP_MSG_GETBULK};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   FuzzedDataProvider input(data, size);
   netsnmp_pdu* pdu = snmp_pdu_create(input.PickValueInArray(commands));
   if (pdu->command == SNMP_MSG_GETBULK) {
      pdu->non_repeaters = input.ConsumeIntegralInRange(0, 2);
      pdu->max_repetitions = input.ConsumeIntegralInRange(0, 20);
   }
   // Up to three varbinds: a table, a column (0 and one past the last included) and up to
   // 24 sub-identifiers of 32 bits, as a received OID carries them.
   for (int vb = input.ConsumeIntegralInRange(1, 3); vb > 0 && input.remaining_bytes(); --vb) {
      const Table& table = input.PickValueInArray(tables);
      std::vector<oid> name = table.entry;
      name.push_back(input.ConsumeIntegralInRange<unsigned>(0, table.columns + 1));
      for (int n = input.ConsumeIntegralInRange(0, 24); n > 0; --n) {
         name.push_back(input.ConsumeBool() ? input.ConsumeIntegralInRange<oid>(0, 300)
                                            : input.ConsumeIntegral<std::uint32_t>());
      }
      snmp_add_null_var(pdu, name.data(), name.size());
   }
   Fuzz::askAndCheck(pdu);
   snmp_free_pdu(pdu);
   return 0;
}
