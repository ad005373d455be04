#pragma once

#include "platform/kel/Trace.h"

namespace Plugin {

// Writes trace records to snmpd's log: level 0 as errors, the rest as information.
class SnmpdTraceSink : public Kel::TraceSink {
 public:
   void write(const Kel::TraceRecord& record) override;
};

}  // namespace Plugin
