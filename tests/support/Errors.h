#pragma once

#include <string>

#include "platform/kel/Exception.h"

namespace TestSupport {

// The message of the exception of type E that `f` throws, or `none` when it throws nothing.
template <class E, class F>
std::string errorOf(F&& f, const std::string& none = "no error") {
   try {
      f();
   } catch (const E& e) {
      return e.what();
   }
   return none;
}

// The message of the Kel exception of kind `id` that `f` raises, inside a Kel::Expect scope
// as callers that handle it run it.
template <class F>
std::string kelError(F&& f, Kel::ExceptionId id = Kel::ExceptionId::range) {
   Kel::Expect expect(id);
   return errorOf<Kel::Exception>(f);
}

}  // namespace TestSupport
