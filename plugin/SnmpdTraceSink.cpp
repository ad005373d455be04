#include "plugin/SnmpdTraceSink.h"

#include "snmp/NetSnmp.h"

namespace Plugin {

void SnmpdTraceSink::write(const Kel::TraceRecord& record) {
   const std::string text = Kel::formatTraceRecord(record);
   snmp_log(record.level == 0 ? LOG_ERR : LOG_INFO, "bridgesnmp %s\n", text.c_str());
}

}  // namespace Plugin
