// BRIDGE-MIB (RFC 4188) objects served by bridgesnmp.

#include <exception>

#include "snmp/BridgeMib.h"

#include "platform/kel/Assert.h"
#include "platform/kel/Trace.h"
#include "platform/snmputil/HandlerRegistration.h"
#include "snmp/NetSnmp.h"

namespace {

Kel::TraceHandle snmpTrace("Snmp");

// dot1dBaseType: this bridge does transparent bridging only, transparent-only(2).
constexpr long dot1dBaseTypeTransparentOnly = 2;
// Wins over a default-priority (127) registration of the same scalar.
constexpr int scalarPriority = 64;

int dot1dBaseTypeRequest(netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
   switch (reqinfo->mode) {
      case MODE_GET: {
         KEL_TRACE(snmpTrace, 2, "handle_dot1dBaseType - returning 2");
         const long value = dot1dBaseTypeTransparentOnly;
         snmp_set_var_typed_value(requests->requestvb, ASN_INTEGER, &value, sizeof value);
         return SNMP_ERR_NOERROR;
      }
      case MODE_SET_RESERVE1:
      case MODE_SET_RESERVE2:
      case MODE_SET_ACTION:
      case MODE_SET_COMMIT:
      case MODE_SET_FREE:
      case MODE_SET_UNDO:
         KEL_TRACE(snmpTrace, 2, "handle_dot1dBaseType - SET is not configured for dot1dBaseType");
         netsnmp_request_set_error(requests, SNMP_ERR_NOTWRITABLE);
         return SNMP_ERR_NOERROR;
      default:
         KEL_TRACE(snmpTrace, 2,
                   "handle_dot1dBaseType - unknown mode from request: " << reqinfo->mode);
         netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
         return SNMP_ERR_GENERR;
   }
}

int handle_dot1dBaseType(netsnmp_mib_handler*, netsnmp_handler_registration*,
                         netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
   try {
      return dot1dBaseTypeRequest(reqinfo, requests);
   } catch (const std::exception& e) {
      KEL_TRACE(snmpTrace, 0, "handle_dot1dBaseType - " << e.what());
   }
   netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
   return SNMP_ERR_GENERR;
}

}  // namespace

void init_BridgeMib() {
   const oid dot1dBaseType_oid[] = {1, 3, 6, 1, 2, 1, 17, 1, 3};
   if (snmpTrace.enabled(1)) {
      char text[200];
      snprint_objid(text, sizeof text, dot1dBaseType_oid, OID_LENGTH(dot1dBaseType_oid));
      KEL_TRACE(snmpTrace, 1, "init_BridgeMib initializing oid " << text);
   }
   netsnmp_handler_registration* reg_dot1dBaseType =
       netsnmp_create_handler_registration("dot1dBaseType", handle_dot1dBaseType, dot1dBaseType_oid,
                                           OID_LENGTH(dot1dBaseType_oid), HANDLER_CAN_RONLY);
   KEL_ASSERT(reg_dot1dBaseType);
   reg_dot1dBaseType->priority = scalarPriority;
   netsnmp_register_scalar(reg_dot1dBaseType);
}

namespace {

class BridgeMib_HandlerRegistration : public Snmp::HandlerRegistration {
 public:
   void handlerRegistration() override { init_BridgeMib(); }
};

BridgeMib_HandlerRegistration bridgeMibRegistration;
Snmp::AutoRegistree bridgeMibAutoRegistree(&bridgeMibRegistration);

}  // namespace
