#include "platform/kel/Exception.h"

#include "platform/kel/Trace.h"

namespace Kel {
const char* exceptionIdName(ExceptionId id) {
   switch (id) {
      case ExceptionId::generic:
         return "generic";
      case ExceptionId::range:
         return "range";
      case ExceptionId::parse:
         return "parse";
      case ExceptionId::conversion:
         return "conversion";
      case ExceptionId::nullPointer:
         return "nullPointer";
   }
   return "unknown";
}

Exception::Exception(std::string message, ExceptionId id) : message_(std::move(message)), id_(id) {
   if (!Expect::expected(id)) {
      KEL_TRACE(kelTrace(), 0, "unexpected " << exceptionIdName(id) << " exception: " << message_);
   }
}

bool Expect::expected(ExceptionId id) {
   for (const Expect* e = innermost; e; e = e->outer_) {
      // A conversion fails either by range or by an unreadable value.
      const bool coveredByConversion = e->id_ == ExceptionId::conversion &&
                                       (id == ExceptionId::range || id == ExceptionId::parse);
      if (e->id_ == id || e->id_ == ExceptionId::generic || coveredByConversion) {
         return true;
      }
   }
   return false;
}

}  // namespace Kel
