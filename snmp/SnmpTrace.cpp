#include "snmp/SnmpTrace.h"

namespace Snmp {

Kel::TraceHandle& snmpTrace() {
   static Kel::TraceHandle* handle = new Kel::TraceHandle("Snmp");
   return *handle;
}

}  // namespace Snmp
