#pragma once

#include <exception>
#include <string>
#include <type_traits>

#include "snmp/NetSnmp.h"
#include "snmp/SnmpTrace.h"

// The shape every scalar handler shares. A scalar is a class:
//
//   struct S {
//      using Entity = ...;              // what my_reg_void holds, or void for a constant
//      static constexpr const char* unit, *handler, *name;  // "BridgeMib", "handle_x", "x"
//      static constexpr u_char type;    // the ASN type set
//      static constexpr int length;     // the one length allowed, or 0 for any
//      static constexpr const char* reading;     // "reading ...->x()" or "returning 2"
//      static constexpr const char* conversion;  // "S32ToAsnInteger"
//      static constexpr const char* bytesFor;    // "bytes for ...->x()", or ""
//      static constexpr const char* failed;      // "S32ToAsnInteger failed for: x"
//      static constexpr const char* path;        // "Statedb/bridging/config", or ""
//      static constexpr const char* entityType;  // "Bridging::Config", or ""
//      static constexpr const char* attribute;   // "bridgeMacAddr": in the length message
//      static int convert(const Entity*, unsigned char* buf, int len);
//   };
//
// GET converts into a 1024-byte buffer and sets the value; a null entity, a failed
// conversion or a wrong length answer genErr and return 5. Every SET phase answers
// notWritable and returns 0; any other mode answers genErr and returns 5.
namespace Snmp {

std::string entityPathText(const char* path);

template <class S>
int scalarRequest(netsnmp_handler_registration* reg, netsnmp_agent_request_info* reqinfo,
                  netsnmp_request_info* requests) {
   const int mode = reqinfo->mode;
   if (mode == MODE_GET) {
      const auto* entity = static_cast<const typename S::Entity*>(reg->my_reg_void);
      if constexpr (!std::is_void_v<typename S::Entity>) {
         if (!entity) {
            SNMP_TRACE(2, S::unit,
                       S::handler << " - entity " << entityPathText(S::path) << " is not of type "
                                  << S::entityType);
            netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
            return SNMP_ERR_GENERR;
         }
      }
      SNMP_TRACE(2, S::unit, S::handler << " - " << S::reading);
      unsigned char buf[1024];
      const int n = S::convert(entity, buf, sizeof buf);
      SNMP_TRACE(2, S::unit,
                 S::handler << " - " << S::conversion << " returned " << n << " " << S::bytesFor);
      if (n < 0) {
         SNMP_TRACE(2, S::unit, S::handler << " - " << S::failed);
         netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
         return SNMP_ERR_GENERR;
      }
      if (S::length != 0 && n != S::length) {
         SNMP_TRACE(2, S::unit,
                    S::handler << " - entity " << entityPathText(S::path)
                               << " length out of range: " << S::attribute << " (" << n << ")");
         netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
         return SNMP_ERR_GENERR;
      }
      snmp_set_var_typed_value(requests->requestvb, S::type, buf, static_cast<std::size_t>(n));
      return SNMP_ERR_NOERROR;
   }
   if (mode >= MODE_SET_RESERVE1 && mode <= MODE_SET_UNDO) {
      SNMP_TRACE(2, S::unit, S::handler << " - SET is not configured for " << S::name);
      netsnmp_request_set_error(requests, SNMP_ERR_NOTWRITABLE);
      return SNMP_ERR_NOERROR;
   }
   SNMP_TRACE(2, S::unit, S::handler << " - unknown mode from request: " << mode);
   netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
   return SNMP_ERR_GENERR;
}

// The net-snmp node handler of a scalar; no exception leaves it.
template <class S>
int scalarHandler(netsnmp_mib_handler*, netsnmp_handler_registration* reg,
                  netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
   try {
      return scalarRequest<S>(reg, reqinfo, requests);
   } catch (const std::exception& e) {
      SNMP_TRACE(0, S::unit, S::handler << " - " << e.what());
   }
   netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
   return SNMP_ERR_GENERR;
}

}  // namespace Snmp

// Defines the scalar's named net-snmp node handler, handle_<scalar>, over its shape.
#define SNMP_SCALAR_HANDLER(handlerName, Scalar)                                          \
   int handlerName(netsnmp_mib_handler* handler, netsnmp_handler_registration* reg,       \
                   netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) { \
      return ::Snmp::scalarHandler<Scalar>(handler, reg, reqinfo, requests);              \
   }
