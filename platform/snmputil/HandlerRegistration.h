#pragma once

#include <cstddef>

namespace Snmp {

// A MIB unit's registration hook. Each unit defines one subclass whose hook registers
// the unit's scalars and tables with the agent, and one static AutoRegistree for it.
class HandlerRegistration {
 public:
   virtual ~HandlerRegistration() = default;
   // Registers the unit's objects. Called once, by the plug-in host, after the platform is up.
   virtual void handlerRegistration() = 0;
};

// Constructed statically next to its HandlerRegistration, at library load: records the
// hook so that the plug-in host calls it. Destroyed at unload, which forgets the hook.
class AutoRegistree {
 public:
   explicit AutoRegistree(HandlerRegistration* registration);
   ~AutoRegistree();
   AutoRegistree(const AutoRegistree&) = delete;
   AutoRegistree& operator=(const AutoRegistree&) = delete;

   // Calls every recorded hook that has not been called yet, in load order, each exactly
   // once over the life of the process. A hook that throws is traced and the others still
   // run. Returns how many hooks were called.
   static std::size_t callAll();
   // Hooks recorded now.
   static std::size_t recorded();

 private:
   HandlerRegistration* registration_;
   bool called_ = false;
};

}  // namespace Snmp
