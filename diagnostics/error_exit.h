// The one non-local exit of the library, shared by the operators and the
// scalar functions. Internal: not part of the public headers.
#ifndef KXSUPP_DIAGNOSTICS_ERROR_EXIT_H
#define KXSUPP_DIAGNOSTICS_ERROR_EXIT_H

#include "kxsupp/common.h"

namespace kx {

// Sets the return code of the context's statement error header to -1, posts
// one record on it (class-origin code 1, column, native and row 0, the given
// subclass origin, SQLSTATE and message; the message is text, not a format),
// sets the context's result code to -1 and longjmps to the context's exit
// point with -1. A context without a statement or error header skips the
// posting but still leaves through the exit point.
[[noreturn]] void error_exit(EvalContext *context, const char *subclass_origin,
                             const char *sqlstate, const char *message);

}  // namespace kx

#endif
