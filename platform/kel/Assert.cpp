#include "platform/kel/Assert.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/kel/Trace.h"

namespace Kel {

void assertionFailed(const char* expression, const char* file, int line, const char* function) {
   static TraceHandle trace("Kel");
   const std::string message = std::string("assertion \"") + expression + "\" failed in " +
                               function + " at " + file + ":" + std::to_string(line);
   // Through the sink first (snmpd's log inside the agent), then straight to stderr in
   // case the sink itself is what broke.
   KEL_TRACE(trace, 0, message);
   std::fprintf(stderr, "%s\n", message.c_str());
   std::fflush(stderr);
   std::abort();
}

}  // namespace Kel
