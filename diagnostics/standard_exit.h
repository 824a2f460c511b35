// What the standard family (kxsupp/standard.h) reports, and how: the
// SQLSTATE and message of each KXSTD_ status, and the error exit of the
// routines that take an EvalContext. Internal: not part of the public
// headers.
#ifndef KXSUPP_DIAGNOSTICS_STANDARD_EXIT_H
#define KXSUPP_DIAGNOSTICS_STANDARD_EXIT_H

#include "kxsupp/common.h"
#include "kxsupp/standard.h"

namespace kx {

// Reports an error of the standard family through the context: posts
// sqlstate and message on the context's statement (class and subclass
// origins by SQLSTATE, the component the header names in standard mode),
// sets context->result to -1 and longjmps to context->exit. Returns only
// when the context is null, so that the caller can make its result NULL.
void std_raise(EvalContext *context, const char *sqlstate, const char *message);
// The same for a KXSTD_ status (KXSTD_OK returns at once).
void std_raise(EvalContext *context, int32_t status);

// What a header in standard mode records for an ODBC 3 SQLSTATE: the
// class-origin code (1 "ODBC 3.0" for class IM, 2 "ISO 9075" otherwise),
// the subclass origin, and the state an ODBC 2 application sees
// (kxstd_map_table). A null state gives 2, "ISO 9075" and null.
int32_t std_class_origin_code(const char *sqlstate);
const char *std_subclass_origin(const char *sqlstate);
const char *std_odbc2_state(const char *sqlstate);

}  // namespace kx

#endif
