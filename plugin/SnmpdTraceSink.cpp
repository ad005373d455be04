#include "plugin/SnmpdTraceSink.h"

#include "snmp/NetSnmp.h"

namespace Plugin {

void SnmpdTraceSink::write(const Kel::TraceRecord& record) {
   const std::string text = Kel::formatTraceRecord(record);
   // A level is traced only when configured so: every line is meant to be read, also under
   // Debian's unit, which keeps warnings and worse (-LOw). Set-up failures are errors.
   snmp_log(record.level == 0 ? LOG_ERR : LOG_WARNING, "bridgesnmp %s\n", text.c_str());
}

}  // namespace Plugin
