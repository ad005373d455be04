#pragma once

#include <string>

#include "platform/kel/Exception.h"

namespace TestSupport {

// The message of the Kel exception of kind `id` that `f` raises, inside a Kel::Expect scope
// as callers that handle it run it; "no error" when it raises none.
template <class F>
std::string kelError(F&& f, Kel::ExceptionId id = Kel::ExceptionId::range) {
   Kel::Expect expect(id);
   try {
      f();
   } catch (const Kel::Exception& e) {
      return e.id() == id ? e.message() : "another kind of error: " + e.message();
   }
   return "no error";
}

}  // namespace TestSupport
