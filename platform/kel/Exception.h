#pragma once

#include <exception>
#include <string>

namespace Kel {

// What kind of failure an exception reports. Callers open a Kel::Expect scope with
// the id they are prepared to handle.
enum class ExceptionId {
   generic,
   range,       // a value outside its type's range
   parse,       // a value text that cannot be read
   conversion,  // an SNMP value that cannot be turned into a model value
   nullPointer,
};

const char* exceptionIdName(ExceptionId id);

class Exception : public std::exception {
 public:
   explicit Exception(std::string message, ExceptionId id = ExceptionId::generic);

   const char* what() const noexcept override { return message_.c_str(); }
   const std::string& message() const { return message_; }
   ExceptionId id() const { return id_; }

 private:
   std::string message_;
   ExceptionId id_;
};

// A value outside the range its type allows ("VlanId::value < 1 or > 4094 not allowed").
class RangeException : public Exception {
 public:
   explicit RangeException(std::string message)
       : Exception(std::move(message), ExceptionId::range) {}
};

// A value text that does not read back as its type.
class ParseException : public Exception {
 public:
   explicit ParseException(std::string message)
       : Exception(std::move(message), ExceptionId::parse) {}
};

// Declares, for its lifetime on this thread, that exceptions of one id are an expected
// outcome that the caller handles. An exception raised outside any matching scope is
// traced at level 0 of the "Kel" facility when it is created, since it points to a fault.
//
// Scopes open for every row a walk filters, so opening and closing one is inline and reaches
// the thread's innermost scope with one load (initial-exec TLS, not a call into the dynamic
// linker as the plug-in's default model would make it).
class Expect {
 public:
   explicit Expect(ExceptionId id) : id_(id), outer_(innermost) { innermost = this; }
   ~Expect() { innermost = outer_; }
   Expect(const Expect&) = delete;
   Expect& operator=(const Expect&) = delete;

   static bool expected(ExceptionId id);

 private:
   ExceptionId id_;
   Expect* outer_;
   static inline thread_local Expect* innermost __attribute__((tls_model("initial-exec"))) =
       nullptr;
};

}  // namespace Kel
