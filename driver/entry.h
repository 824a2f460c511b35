// entry.h - the one way into the driver from an ODBC entry point.
//
// Internal to driver/. Every SQL* function is a few lines: it names the
// handle and hands its body to one of the wrappers below, which
//  - checks the handle (null or not one of the driver's records of that
//    type: SQL_INVALID_HANDLE),
//  - takes the handle's lock for the whole call (one policy: a statement's
//    calls hold the statement's lock, a connection's and an environment's
//    calls theirs, a descriptor's its connection's, after its statement's
//    for an implicit one; SQLCancel alone only tries the statement's lock),
//  - clears the handle's diagnostics,
//  - runs the body, and folds its return code with the warnings it posted,
//  - and turns anything the C++ body throws into a diagnostic (HY001 for
//    memory, HY000 otherwise), so that no exception ever leaves the driver
//    into the application's process.
// Lock order: a statement's lock, then its connection's, then the
// environment's; a connection call that needs a statement (SQLDisconnect
// freeing its statements) only tries that statement's lock.
#ifndef KXEVALDRV_ENTRY_H
#define KXEVALDRV_ENTRY_H

#include <mutex>
#include <new>

#include "driver/handles.h"

namespace kxdrv {

// What a handle of each kind is, as the wrappers check it.
Environment *environment_of(SQLHANDLE handle);
Connection *connection_of(SQLHANDLE handle);
Statement *statement_of(SQLHANDLE handle);
Descriptor *descriptor_of(SQLHANDLE handle);

// Posts the diagnostic for an exception that reached an entry point and
// returns SQL_ERROR. Call only from a catch block.
SQLRETURN exception_posted(ErrorHeader *errors) noexcept;

template <typename Body>
SQLRETURN environment_entry(SQLHANDLE handle, Body &&body) noexcept
{
    Environment *env = environment_of(handle);
    if (env == nullptr)
        return SQL_INVALID_HANDLE;
    std::lock_guard<std::recursive_mutex> hold(env->lock);
    begin_call(env->errors, 0);
    try {
        return finish(env->errors, body(env));
    } catch (...) {
        return exception_posted(env->errors);
    }
}

template <typename Body>
SQLRETURN connection_entry(SQLHANDLE handle, Body &&body) noexcept
{
    Connection *conn = connection_of(handle);
    if (conn == nullptr)
        return SQL_INVALID_HANDLE;
    std::lock_guard<std::recursive_mutex> hold(conn->lock);
    begin_call(conn->errors, 0);
    try {
        return finish(conn->errors, body(conn));
    } catch (...) {
        return exception_posted(conn->errors);
    }
}

template <typename Body>
SQLRETURN statement_entry(SQLHANDLE handle, Body &&body) noexcept
{
    Statement *stmt = statement_of(handle);
    if (stmt == nullptr)
        return SQL_INVALID_HANDLE;
    StatementCall call(stmt);
    begin_call(stmt->errors, 0);
    try {
        return finish(stmt->errors, body(stmt));
    } catch (...) {
        return exception_posted(stmt->errors);
    }
}

template <typename Body>
SQLRETURN descriptor_entry(SQLHANDLE handle, Body &&body) noexcept
{
    Descriptor *desc = descriptor_of(handle);
    if (desc == nullptr)
        return SQL_INVALID_HANDLE;
    // an implicit descriptor is its statement's state: its calls wait for
    // the statement's, in the lock order above
    std::unique_lock<std::mutex> statement_hold;
    if (desc->owner != nullptr)
        statement_hold = std::unique_lock<std::mutex>(desc->owner->call_lock);
    std::lock_guard<std::recursive_mutex> hold(desc->conn->lock);
    begin_call(desc->errors, 0);
    try {
        return finish(desc->errors, body(desc));
    } catch (...) {
        return exception_posted(desc->errors);
    }
}

}  // namespace kxdrv

#endif  // KXEVALDRV_ENTRY_H
