// diagnostics.cpp - posting and reading the driver's diagnostics.
//
// Exports (driver-internal) begin_call, post_error, post_warning, finish and
// the string-return helpers, and the ODBC entry points SQLGetDiagRec,
// SQLGetDiagField and SQLError. Every handle's diagnostics live in its
// library error header (ErrorHeader); records are posted with PostError and
// read back with GetDiagRec and GetDiagField, which give an ODBC 2
// application the ODBC 2 SQLSTATEs.
#include <cstring>

#include "driver/driver.h"
#include "driver/entry.h"
#include "driver/handles.h"

namespace kxdrv {

namespace {

SQLRETURN post(ErrorHeader *errors, int32_t code, const char *sqlstate, const char *message)
{
    // the header is in standard mode: the driver's name and the origins come
    // from it. The message is passed as an argument, never as the format:
    // SQL text quoted in it may hold '%'.
    PostError(errors, 0, 0, nullptr, 0, 0, "", sqlstate, "%s", message);
    return SetReturnCode(errors, code);
}

}  // namespace

void begin_call(ErrorHeader *errors, int32_t function_code)
{
    SetupErrorHeader(errors, function_code);
}

SQLRETURN post_error(ErrorHeader *errors, const char *sqlstate, const char *message)
{
    return post(errors, SQL_ERROR, sqlstate, message);
}

SQLRETURN post_warning(ErrorHeader *errors, const char *sqlstate, const char *message)
{
    return post(errors, SQL_SUCCESS_WITH_INFO, sqlstate, message);
}

SQLRETURN finish(ErrorHeader *errors, SQLRETURN code)
{
    if (code == SQL_SUCCESS && errors != nullptr && errors->return_code == SQL_SUCCESS_WITH_INFO)
        code = SQL_SUCCESS_WITH_INFO;
    return SetReturnCode(errors, code);
}

std::string app_string(const SQLCHAR *text, SQLINTEGER length)
{
    if (text == nullptr)
        return std::string();
    if (length == SQL_NTS)
        return std::string(reinterpret_cast<const char *>(text));
    if (length < 0)
        return std::string();
    return std::string(reinterpret_cast<const char *>(text), static_cast<size_t>(length));
}

SQLRETURN return_string_int(ErrorHeader *errors, const std::string &text, SQLPOINTER buffer,
                            SQLLEN buffer_length, SQLINTEGER *length_out)
{
    int32_t full = 0;
    int32_t cut = 0;
    if (buffer != nullptr && buffer_length > 0)
        cut = copy_str_bufferl(static_cast<char *>(buffer), static_cast<uint32_t>(buffer_length),
                               &full, text.c_str());
    else
        full = static_cast<int32_t>(text.size()), cut = buffer != nullptr && !text.empty();
    if (length_out != nullptr)
        *length_out = full;
    if (cut)
        return post_warning(errors, "01004", "String data, right truncated");
    return SQL_SUCCESS;
}

SQLRETURN return_string(ErrorHeader *errors, const std::string &text, SQLPOINTER buffer,
                        SQLLEN buffer_length, SQLSMALLINT *length_out)
{
    SQLINTEGER full = 0;
    SQLRETURN rc = return_string_int(errors, text, buffer, buffer_length, &full);
    // a text longer than an SQLSMALLINT counts is always cut (the buffer's
    // length is an SQLSMALLINT too): its length is reported as the largest
    if (length_out != nullptr)
        *length_out = static_cast<SQLSMALLINT>(full > INT16_MAX ? INT16_MAX : full);
    return rc;
}

}  // namespace kxdrv

using namespace kxdrv;

namespace {

// Runs body on the error header of a handle of the given type, holding the
// handle's lock; unlike the other entry points, reading diagnostics leaves
// them in place.
template <typename Body>
SQLRETURN with_diagnostics(SQLSMALLINT handle_type, SQLHANDLE handle, Body &&body) noexcept
{
    try {
        switch (handle_type) {
        case SQL_HANDLE_ENV: {
            Environment *env = environment_of(handle);
            if (env == nullptr)
                return SQL_INVALID_HANDLE;
            std::lock_guard<std::recursive_mutex> hold(env->lock);
            return body(env->errors);
        }
        case SQL_HANDLE_DBC: {
            Connection *conn = connection_of(handle);
            if (conn == nullptr)
                return SQL_INVALID_HANDLE;
            std::lock_guard<std::recursive_mutex> hold(conn->lock);
            return body(conn->errors);
        }
        case SQL_HANDLE_STMT: {
            Statement *stmt = statement_of(handle);
            if (stmt == nullptr)
                return SQL_INVALID_HANDLE;
            std::lock_guard<std::mutex> hold(stmt->call_lock);
            return body(stmt->errors);
        }
        case SQL_HANDLE_DESC: {
            Descriptor *desc = descriptor_of(handle);
            if (desc == nullptr)
                return SQL_INVALID_HANDLE;
            std::lock_guard<std::recursive_mutex> hold(desc->conn->lock);
            return body(desc->errors);
        }
        default:
            return SQL_INVALID_HANDLE;
        }
    } catch (...) {
        return SQL_ERROR;
    }
}

}  // namespace

extern "C" {

KXDRV_API SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT handle_type, SQLHANDLE handle,
                                          SQLSMALLINT record, SQLCHAR *sqlstate,
                                          SQLINTEGER *native, SQLCHAR *message,
                                          SQLSMALLINT buffer_length, SQLSMALLINT *text_length)
{
    return with_diagnostics(handle_type, handle, [&](ErrorHeader *errors) -> SQLRETURN {
        if (buffer_length < 0)
            return SQL_ERROR;
        char state[6] = "";
        int32_t native_code = 0;
        int16_t length = 0;
        int16_t rc = GetDiagRec(errors, record, state, &native_code,
                                reinterpret_cast<char *>(message), buffer_length, &length);
        if (rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO) {
            if (sqlstate != nullptr)
                std::memcpy(sqlstate, state, 6);
            if (native != nullptr)
                *native = native_code;
            if (text_length != nullptr)
                *text_length = length;
        }
        return rc;
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetDiagField(SQLSMALLINT handle_type, SQLHANDLE handle,
                                            SQLSMALLINT record, SQLSMALLINT field,
                                            SQLPOINTER value, SQLSMALLINT buffer_length,
                                            SQLSMALLINT *string_length)
{
    return with_diagnostics(handle_type, handle, [&](ErrorHeader *errors) -> SQLRETURN {
        // ODBC's widths (SQLRETURN, SQLLEN, SQLINTEGER) and texts
        return kxstd_get_diag_field(handle_type, errors, record, field, value, buffer_length,
                                    string_length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLError(SQLHENV env, SQLHDBC dbc, SQLHSTMT stmt, SQLCHAR *sqlstate,
                                     SQLINTEGER *native, SQLCHAR *message,
                                     SQLSMALLINT buffer_length, SQLSMALLINT *text_length)
{
    SQLSMALLINT type = stmt != nullptr ? SQL_HANDLE_STMT : dbc != nullptr ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
    SQLHANDLE handle = stmt != nullptr ? stmt : dbc != nullptr ? dbc : env;
    return with_diagnostics(type, handle, [&](ErrorHeader *errors) -> SQLRETURN {
        // SQLError hands out each record once: the oldest, which is then dropped
        if (errors->first == nullptr)
            return SQL_NO_DATA;
        if (buffer_length < 0)
            return SQL_ERROR;
        char state[6] = "";
        int32_t native_code = 0;
        int16_t length = 0;
        int16_t rc = GetDiagRec(errors, 1, state, &native_code, reinterpret_cast<char *>(message),
                                buffer_length, &length);
        if (sqlstate != nullptr)
            std::memcpy(sqlstate, state, 6);
        if (native != nullptr)
            *native = native_code;
        if (text_length != nullptr)
            *text_length = length;
        DiagRecord *oldest = errors->first;
        errors->first = oldest->next;
        if (errors->last == oldest)
            errors->last = nullptr;
        errors->record_count--;
        return rc;
    });
}

}  // extern "C"
