#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/snmputil/HandlerRegistration.h"
#include "snmp/IndexCodec.h"
#include "snmp/NetSnmp.h"

namespace Snmp {

struct IteratorCallbacks {
   Netsnmp_First_Data_Point* first;
   Netsnmp_Next_Data_Point* next;
   Netsnmp_Make_Data_Context* makeDataContext;
   Netsnmp_Free_Data_Context* freeDataContext;
   Netsnmp_Free_Loop_Context* freeLoopContextAtEnd;
};

// Registers a sorted iterator table under the request serializer, with the columns listed
// (the first and last bound it) and the entity that its handler and iterator read (may be
// null). A failure to set up an index is traced and leaves the table unregistered; a failed
// registration or injection is a programming fault. A lower priority wins over another
// registration of the same subtree (snmpd's own modules: 127).
void registerTable(const char* unit, const char* name, Netsnmp_Node_Handler* handler,
                   std::span<const oid> tableOid, int access, std::span<const IndexSpec> indexes,
                   std::span<const unsigned> columns, const IteratorCallbacks& callbacks,
                   void* entity, int priority);

// The OID as net-snmp prints it, for the start-up traces.
std::string oidText(const std::vector<oid>& name);

// Where an object's entity is mounted, and the type it must have there.
template <class T>
struct EntityAt {
   const char* path;
   const char* typeName;
};

// The entity mounted at `path`, if it is a T; null otherwise. The caller keeps only the raw
// pointer: the mount keeps the entity alive.
template <class T>
T* entityAt(const char* path);

}  // namespace Snmp

#include "platform/statedb/StateDb.h"

template <class T>
T* Snmp::entityAt(const char* path) {
   return Kel::ptrCast<T>(SnmpUtil::getEntityRelative(path)).get();
}

// The registration hook of a MIB unit, <unit>_HandlerRegistration, which the plug-in host
// calls once after load: it runs init_<unit> and nothing else.
#define SNMP_UNIT_REGISTRATION(unit)                                       \
   namespace {                                                             \
   class unit##_HandlerRegistration : public ::Snmp::HandlerRegistration { \
    public:                                                                \
      void handlerRegistration() override { init_##unit(); }               \
   };                                                                      \
   unit##_HandlerRegistration unit##Registration;                          \
   ::Snmp::AutoRegistree unit##AutoRegistree(&unit##Registration);         \
   }
