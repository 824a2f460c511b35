/*
 * timeout.cpp - query time-outs and cancellation.
 *
 * Exports check_timeout, which a driver calls between units of work of a
 * long-running statement. It reads three fields of the driver's statement
 * record: the execution state (time-outs apply while it is 2 or 3), the
 * cancel request (set by the driver's cancel entry point, possibly from
 * another thread; cleared here when reported) and the deadline, in 64-bit
 * seconds since the epoch on the clock of time() (0 = no time-out).
 */
#include "kxsupp/arith.h"
#include "kxsupp/diagnostics.h"

#include <time.h>

namespace {

/* The execution states in which the deadline counts. */
constexpr uint32_t kFirstTimedState = 2;
constexpr uint32_t kLastTimedState = 3;

/* Marks the statement's call as failed and posts the diagnostic. */
void post_stop(ErrorHeader *errors, int32_t class_origin_code,
               const char *subclass_origin, const char *sqlstate,
               const char *message)
{
    if (errors == nullptr)
        return;
    SetReturnCode(errors, -1);
    PostError(errors, class_origin_code, 0, nullptr, 0, 0, subclass_origin,
              sqlstate, "%s", message);
}

}  // namespace

extern "C" {

KX_API int32_t check_timeout(DriverStatement *statement)
{
    if (statement == nullptr)
        return 0;

    /* A time-out is reported again by every later check: the deadline is
       left as it is. It wins over a pending cancellation. */
    if (statement->state - kFirstTimedState <= kLastTimedState - kFirstTimedState &&
        statement->deadline != 0) {
        int64_t now = static_cast<int64_t>(time(nullptr));
        if (now > statement->deadline) {
            post_stop(statement->errors, 2, "ODBC 3.0", "HYT00",
                      "Timeout Expired");
            return -1;
        }
    }

    if (statement->cancel_request != 0) {
        statement->cancel_request = 0;
        post_stop(statement->errors, 2, "ISO 9075", "HY008",
                  "Operation Canceled");
        return -1;
    }
    return 0;
}

}  // extern "C"
