// trace.cpp - tracing the driver's calls through the library's trace log.
//
// Exports (driver-internal) trace_call. A data source turns tracing on with
// "Trace = Yes"; each traced call then writes one line through _log_message,
// to the file named by "log_file" in the "{settings}" section of the
// connection's profile file (standard error without one). The format is the
// trace log's own language: %p pointers, %I integers, %S counted strings,
// %e return codes.
#include <cstdarg>

#include "driver/driver.h"

namespace kxdrv {

void trace_call(Connection *conn, const char *function, const char *format, ...)
{
    if (conn == nullptr || !conn->trace)
        return;
    // the profile handle is the connection's, shared by its statements
    std::lock_guard<std::recursive_mutex> hold(conn->lock);
    va_list arguments;
    va_start(arguments, format);
    _log_message(function, 0, 1, conn->profile, format, arguments);
    va_end(arguments);
}

}  // namespace kxdrv
