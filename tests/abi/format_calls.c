/* Calls to the library's printf-like functions, compiled by
   check_headers.sh. Built as is, every call is right and must compile
   without a warning; with -DKX_WRONG_ARGUMENTS each call passes an argument
   that does not match its format, and the compiler must warn about each
   line marked "wrong". */
#include <kxsupp.h>

int format_calls(ErrorHeader *header, ProfileHandle *profile, va_list arguments);

int format_calls(ErrorHeader *header, ProfileHandle *profile, va_list arguments)
{
#ifndef KX_WRONG_ARGUMENTS
    PostError(header, 1, 0, NULL, 0, 0, "ODBC3.0", "HY000", "%d rows in %s", 3, "t");
    log_message("SQLExecute", 1, 1u, "statement %p, %ld rows", (void *)header, 2L);
    _log_message("SQLFetch", 2, 1u, profile, "%s", arguments);
#else
    PostError(header, 1, 0, NULL, 0, 0, "ODBC3.0", "HY000", "%d rows", "three"); /* wrong */
    log_message("SQLExecute", 1, 1u, "%s", 42); /* wrong */
    _log_message("SQLFetch", 2, 1u, profile, "%s %s", arguments); /* va_list: not checked */
#endif
    return 0;
}
