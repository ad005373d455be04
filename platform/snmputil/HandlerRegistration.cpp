#include "platform/snmputil/HandlerRegistration.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "platform/kel/Trace.h"

namespace Snmp {
namespace {

std::vector<AutoRegistree*>& registrees() {
   // Built on first use: AutoRegistrees are statics of other translation units.
   static std::vector<AutoRegistree*>* list = new std::vector<AutoRegistree*>();
   return *list;
}

Kel::TraceHandle& snmpTrace() {
   static Kel::TraceHandle handle("Snmp");
   return handle;
}

// Made at load, so that a trace setting can name the facility before its first line.
[[maybe_unused]] const Kel::TraceHandle& snmpTraceAtLoad = snmpTrace();

}  // namespace

AutoRegistree::AutoRegistree(HandlerRegistration* registration) : registration_(registration) {
   registrees().push_back(this);
}

AutoRegistree::~AutoRegistree() {
   std::erase(registrees(), this);
}

std::size_t AutoRegistree::callAll() {
   std::size_t called = 0;
   // Index loop: a hook may (in principle) load more units and so record more hooks.
   for (std::size_t i = 0; i < registrees().size(); ++i) {
      AutoRegistree* r = registrees()[i];
      if (r->called_) {
         continue;
      }
      r->called_ = true;
      ++called;
      try {
         r->registration_->handlerRegistration();
      } catch (const std::exception& e) {
         KEL_TRACE(snmpTrace(), 0, "registration hook failed: " << e.what());
      } catch (...) {
         KEL_TRACE(snmpTrace(), 0, "registration hook failed with a non-standard exception");
      }
   }
   return called;
}

std::size_t AutoRegistree::recorded() {
   return registrees().size();
}

}  // namespace Snmp
