// The plug-in's entry points, which snmpd's dlmod calls by name after loading and before
// unloading the library. No exception leaves them.

#include <exception>

#include "plugin/PluginHost.h"
#include "snmp/NetSnmp.h"

extern "C" {

__attribute__((visibility("default"))) void init_bridgesnmp(void) {
   try {
      Plugin::PluginHost::instance().load();
   } catch (const std::exception& e) {
      snmp_log(LOG_ERR, "bridgesnmp: loading failed: %s\n", e.what());
   }
}

__attribute__((visibility("default"))) void deinit_bridgesnmp(void) {
   try {
      Plugin::PluginHost::instance().unload();
   } catch (const std::exception& e) {
      snmp_log(LOG_ERR, "bridgesnmp: unloading failed: %s\n", e.what());
   }
}

}  // extern "C"
