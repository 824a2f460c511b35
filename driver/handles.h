// handles.h - allocation and release of the driver's ODBC handles.
//
// Internal to driver/. KXDRV_API marks the ODBC entry points, the only
// names the driver's shared object exports; everything else is hidden.
#ifndef KXEVALDRV_HANDLES_H
#define KXEVALDRV_HANDLES_H

#include "driver/driver.h"

#define KXDRV_API __attribute__((visibility("default")))

namespace kxdrv {

Environment *new_environment();
void free_environment(Environment *env);
Connection *new_connection(Environment *env);
void free_connection(Connection *conn);
Statement *new_statement(Connection *conn);
void free_statement(Statement *stmt);

// Holds a statement for the length of one ODBC call. SQLCancel from another
// thread finds it held and only raises the cancel request, which
// check_timeout reports between rows; a request the call did not use is
// dropped when the call ends, so it never cancels a later one.
class StatementCall {
public:
    explicit StatementCall(Statement *stmt) : stmt_(stmt) { stmt_->call_lock.lock(); }
    ~StatementCall()
    {
        // a request that came during the call ends with it; reading first
        // spares the common call, which had none, a full fence
        if (__atomic_load_n(&stmt_->cancel_request, __ATOMIC_ACQUIRE) != 0)
            __atomic_store_n(&stmt_->cancel_request, 0, __ATOMIC_SEQ_CST);
        stmt_->call_lock.unlock();
    }
    StatementCall(const StatementCall &) = delete;
    StatementCall &operator=(const StatementCall &) = delete;

private:
    Statement *stmt_;
};

// Closes the statement's cursor (the result set and its rows).
void close_cursor(Statement *stmt);
// Forgets the prepared statement and its parse tree.
void drop_query(Statement *stmt);

}  // namespace kxdrv

#endif  // KXEVALDRV_HANDLES_H
