/*
 * kxsupp/parse.h - literal builders for SQL parsers and the SQL text printer.
 */
#ifndef KXSUPP_PARSE_H
#define KXSUPP_PARSE_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- parsehelp: literal builders ---- */

/* Interval kind covering interval kinds a and b (1 SQL_IS_YEAR .. 13 SQL_IS_MINUTE_TO_SECOND).
 * An incompatible pair (a day-time kind with a year-month kind on the right, or a left kind
 * outside 1..13) aborts the process: callers check compatibility first. */
KX_API int32_t promote_type(int32_t a, int32_t b);

/* ---- end parsehelp ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_PARSE_H */
