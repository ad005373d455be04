#pragma once

namespace Kel {

// Reports a failed deliberate assertion and ends the process. Never returns.
[[noreturn]] void assertionFailed(const char* expression, const char* file, int line,
                                  const char* function);

}  // namespace Kel

#define KEL_ASSERT_STRINGIFY_(x) #x
// Stringified after macro expansion, so `p == NULL` reads "p == __null" as the C library's
// own assert() prints it.
#define KEL_ASSERT_TEXT_(x) KEL_ASSERT_STRINGIFY_(x)

// A deliberate assertion: always checked, whatever the build type. Its text is the
// expression, which is what the process reports when it ends.
#define KEL_ASSERT(expr)    \
   (static_cast<bool>(expr) \
        ? void(0)           \
        : ::Kel::assertionFailed(KEL_ASSERT_TEXT_(expr), __FILE__, __LINE__, __func__))
