#pragma once

#include "platform/kel/Exception.h"
#include "snmp/SnmpTrace.h"

namespace Snmp {

// Runs a row filter that reads the row's FID as a VLAN id, which raises
// Kel::RangeException for a FID outside 1-4094: such a row is dropped (and traced), as it
// names no VLAN that could be shown. Any other exception is left to the frame.
template <class Policy, class Iterator, class Filter>
bool guardedFilter(const Iterator& row, Filter filter) {
   try {
      Kel::Expect expect(Kel::ExceptionId::range);
      return filter(row);
   } catch (const Kel::RangeException& e) {
      SNMP_TRACE(2, Policy::unit,
                 Policy::name << "_get_*_data_point: " << Policy::filterName << " drops "
                              << Policy::keyName << "=" << row.key() << ": " << e.what());
   }
   return false;
}

}  // namespace Snmp
