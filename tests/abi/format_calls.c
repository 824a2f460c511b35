/* Calls to the library's functions that take a format, compiled by
   check_headers.sh. Built as is, every call is right and must compile
   without a warning (the trace calls use the trace directives, which are
   not printf's and must not be checked as printf); with
   -DKX_WRONG_ARGUMENTS each PostError call passes an argument that does
   not match its format, and the compiler must warn about each line marked
   "wrong". */
#include <kxsupp.h>

int format_calls(ErrorHeader *header, ProfileHandle *profile, va_list arguments);

int format_calls(ErrorHeader *header, ProfileHandle *profile, va_list arguments)
{
#ifndef KX_WRONG_ARGUMENTS
    PostError(header, 1, 0, NULL, 0, 0, "ODBC3.0", "HY000", "%d rows in %s", 3, "t");
    log_message("SQLExecute", 1, 1u, "hstmt=%h sql=%S rc=%e", (void *)header,
                "SELECT 1", -3, 0);
    _log_message("SQLFetch", 2, 1u, profile, "%h %*I", arguments);
#else
    PostError(header, 1, 0, NULL, 0, 0, "ODBC3.0", "HY000", "%d rows", "three"); /* wrong */
    PostError(header, 1, 0, NULL, 0, 0, "ODBC3.0", "HY000", "%s at %d", 7, 8); /* wrong */
    PostError(header, 1, 0, NULL, 0, 0, "ODBC3.0", "HY000", "%d"); /* wrong */
#endif
    return 0;
}
