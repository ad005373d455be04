#include "snmp/MibObjects.h"

#include <exception>
#include <sstream>

#include "platform/kel/Assert.h"
#include "platform/statedb/StateDb.h"
#include "snmp/SnmpTrace.h"

namespace Snmp {

std::string objectText(ObjectText text, const char* path, const char* typeName,
                       const char* attribute, const char* conversion, long n) {
   std::ostringstream os;
   switch (text) {
      case ObjectText::reading:
         os << "reading " << path << "->" << attribute << "()";
         break;
      case ObjectText::returned:
         os << conversion << " returned " << n << " ";
         if (path) {
            os << "bytes for " << path << "->" << attribute << "()";
         }
         break;
      case ObjectText::failed:
         os << conversion << " failed for: " << attribute;
         break;
      case ObjectText::notOfType:
         os << "entity " << SnmpUtil::entityPath(path) << " is not of type " << typeName;
         break;
      case ObjectText::lengthOutOfRange:
         os << "entity " << SnmpUtil::entityPath(path) << " length out of range: " << attribute
            << " (" << n << ")";
         break;
   }
   return os.str();
}

int storeColumn(netsnmp_variable_list* var, u_char type, const unsigned char* buf, int n,
                Length length, const char* unit, const char* table, const char* path,
                const char* conversion, const char* attribute) {
   if (length.refuses(n)) {
      SNMP_TRACE(2, unit,
                 "handle_" << table << " - "
                           << objectText(ObjectText::lengthOutOfRange, path, "", attribute, "", n));
      return SNMP_ERR_GENERR;
   }
   if (n < 0) {
      SNMP_TRACE(2, unit,
                 "handle_" << table << " - "
                           << objectText(ObjectText::failed, path, "", attribute, conversion));
      return SNMP_ERR_GENERR;
   }
   snmp_set_var_typed_value(var, type, buf, static_cast<std::size_t>(n));
   return SNMP_ERR_NOERROR;
}

namespace {

constexpr int scalarPriority = 64;

int scalarRequest(const char* unit, const Scalar& s, const void* entity, int mode,
                  netsnmp_request_info* requests) {
   const ScalarSource& from = s.source;
   const auto text = [&](ObjectText t, long n = 0) {
      return objectText(t, from.path, from.typeName, from.attribute, from.conversion, n);
   };
   if (mode == MODE_GET) {
      if (from.path && !entity) {
         SNMP_TRACE(2, unit, "handle_" << s.name << " - " << text(ObjectText::notOfType));
         netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
         return SNMP_ERR_GENERR;
      }
      if (from.path) {
         SNMP_TRACE(2, unit,
                    "handle_" << s.name << " - " << text(ObjectText::reading) << from.readingTail);
      } else {
         SNMP_TRACE(2, unit, "handle_" << s.name << " - returning " << from.constant);
      }
      unsigned char buf[1024];
      const int n =
          from.path ? from.encode(entity, buf, sizeof buf)
                    : SnmpConvert<std::int32_t, S32ToAsnIntegerF>(from.constant, buf, sizeof buf);
      SNMP_TRACE(2, unit, "handle_" << s.name << " - " << text(ObjectText::returned, n));
      if (n < 0 || s.length.refuses(n)) {
         SNMP_TRACE(
             2, unit,
             "handle_" << s.name << " - "
                       << text(n < 0 ? ObjectText::failed : ObjectText::lengthOutOfRange, n));
         netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
         return SNMP_ERR_GENERR;
      }
      snmp_set_var_typed_value(requests->requestvb, s.type, buf, static_cast<std::size_t>(n));
      return SNMP_ERR_NOERROR;
   }
   if (mode >= MODE_SET_RESERVE1 && mode <= MODE_SET_UNDO) {
      SNMP_TRACE(2, unit, "handle_" << s.name << " - SET is not configured for " << s.name);
      netsnmp_request_set_error(requests, SNMP_ERR_NOTWRITABLE);
      return SNMP_ERR_NOERROR;
   }
   SNMP_TRACE(2, unit, "handle_" << s.name << " - unknown mode from request: " << mode);
   netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
   return SNMP_ERR_GENERR;
}

}  // namespace

int scalarHandler(netsnmp_mib_handler* handler, netsnmp_handler_registration* reg,
                  netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
   const auto* scalar = static_cast<const Scalar*>(handler->myvoid);
   try {
      return scalarRequest(scalar->unit, *scalar, reg->my_reg_void, reqinfo->mode, requests);
   } catch (const std::exception& e) {
      SNMP_TRACE(0, scalar->unit, "handle_" << scalar->name << " - " << e.what());
   }
   netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
   return SNMP_ERR_GENERR;
}

namespace {

void registerScalar(const char* unit, const Scalar& scalar) {
   SNMP_TRACE(1, unit, "init_" << unit << " initializing oid " << oidText(scalar.scalarOid));
   netsnmp_handler_registration* reg =
       netsnmp_create_handler_registration(scalar.name, scalar.handler, scalar.scalarOid.data(),
                                           scalar.scalarOid.size(), scalar.access);
   if (!reg) {
      Kel::assertionFailed(("reg_" + std::string(scalar.name)).c_str(), __FILE__, __LINE__,
                           __func__);
   }
   reg->priority = scalarPriority;
   reg->my_reg_void = scalar.source.path ? scalar.source.find(scalar.source.path) : nullptr;
   scalar.unit = unit;
   reg->handler->myvoid = const_cast<Scalar*>(&scalar);
   netsnmp_register_scalar(reg);
}

}  // namespace

void initUnit(const char* unit, const char* function, int line, std::span<const Scalar> scalars,
              std::initializer_list<void (*)()> initializeTables) {
   if (snmp_get_do_debugging()) {
      debugmsgtoken("trace", "%s(): %s, %d:\n", function, unit, line);
      debugmsg("trace", "%s(): %s, %d:\n", function, unit, line);
      debugmsgtoken(unit, "Initializing\n");
      debugmsg(unit, "Initializing\n");
   }
   for (const Scalar& scalar : scalars) {
      registerScalar(unit, scalar);
   }
   for (void (*initialize)() : initializeTables) {
      initialize();
   }
}

}  // namespace Snmp
