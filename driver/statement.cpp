// statement.cpp - preparing and executing statements, parameters, long data,
// cancellation, statement attributes and cursor names.
//
// Exports the ODBC entry points SQLPrepare, SQLExecute, SQLExecDirect,
// SQLBindParameter, SQLNumParams, SQLDescribeParam, SQLParamData,
// SQLPutData, SQLCancel, SQLSetStmtAttr, SQLGetStmtAttr, SQLSetCursorName,
// SQLGetCursorName, SQLRowCount, SQLMoreResults and SQLCloseCursor.
// Bound parameters and the parameter-array attributes live in the
// statement's APD and IPD (descriptors.cpp); SQLGetStmtAttr hands out the
// four descriptors as handles.
// SQLDescribeParam describes a marker from where it stands in the prepared
// statement (describe_parameters), whatever is bound. Parameters sent at
// execution time go into library long buffers (allocate_long_buffer,
// append_to_long_buffer). SQLCancel from another thread sets the
// statement's cancel request, which check_timeout reports as HY008 between
// rows; SQL_ATTR_QUERY_TIMEOUT becomes the statement's deadline, reported as
// HYT00. Cursor names live in the connection's cursor registry. An array of
// parameter sets (SQL_ATTR_PARAMSET_SIZE) gives one result set per set,
// each after the last through SQLMoreResults.
#include <cstring>

#include "driver/convert.h"
#include "driver/evaluate.h"
#include "driver/entry.h"
#include "driver/handles.h"
#include "driver/unicode.h"

namespace kxdrv {

namespace {

SQLRETURN prepare(Statement *stmt, const std::string &text)
{
    drop_query(stmt);
    stmt->query_mem = kx_mem_alloc_handle(stmt->mem);
    if (stmt->query_mem == nullptr)
        return post_error(stmt->errors, "HY001", "Memory allocation error");
    stmt->text = text;
    // the query time-out and SQLCancel cover the parse too
    start_deadline(stmt);
    stmt->state = kStateExecuting;
    Query *query = parse_query(text, stmt->query_mem, stmt->errors, stmt);
    stmt->state = kStateIdle;
    if (query == nullptr) {
        kx_mem_release_handle(stmt->query_mem);
        stmt->query_mem = nullptr;
        return SQL_ERROR;
    }
    stmt->query.reset(query);
    infer_types(stmt, *query, query->described);
    stmt->state = kStatePrepared;
    return SQL_SUCCESS;
}

// The next parameter after index that is sent at execution time, or -1.
int next_data_at_exec(Statement *stmt, int after)
{
    int count = stmt->query ? stmt->query->parameter_count : 0;
    for (int i = after + 1; i < count; ++i)
        if (parameter_bound(stmt, static_cast<size_t>(i)) &&
            data_at_exec(parameter_binding(stmt, static_cast<size_t>(i))))
            return i;
    return -1;
}

SQLRETURN run(Statement *stmt)
{
    SQLRETURN rc = open_result(stmt);
    if (rc == SQL_ERROR) {
        close_cursor(stmt);
        return SQL_ERROR;
    }
    trace_call(stmt->conn, "SQLExecute", "%p %e", static_cast<void *>(stmt), static_cast<int>(rc));
    return finish(stmt->errors, rc);
}

// The number of the current row in the result set (the rowset's first), 0
// when there is none.
SQLULEN row_number(const Statement *stmt)
{
    const ResultSet *r = stmt->result.get();
    if (r == nullptr)
        return 0;
    if (r->streaming)
        return static_cast<SQLULEN>(r->rows_fetched);
    bool on_a_row = r->rowset_start >= 0 && static_cast<size_t>(r->rowset_start) < r->rows.size();
    return on_a_row ? static_cast<SQLULEN>(r->rowset_start) + 1 : 0;
}

bool set_ignored(const Statement *stmt, SQLULEN set)
{
    const SQLUSMALLINT *operations = stmt->apd->header.array_status_ptr;
    return operations != nullptr && operations[set] == SQL_PARAM_IGNORE;
}

void set_param_status(Statement *stmt, SQLULEN set, SQLUSMALLINT status)
{
    SQLUSMALLINT *statuses = stmt->ipd->header.array_status_ptr;
    if (statuses != nullptr)
        statuses[set] = status;
}

// An execution with an array of parameter sets (SQL_ATTR_PARAMSET_SIZE
// above 1). Every set's values are read first, so that a set the driver
// cannot read stops the execution before any result: the sets before it
// succeeded, it failed, the rest are unused, and SQLExecute returns
// SQL_ERROR. Otherwise the first set not ignored gives the first result
// set and SQLMoreResults each following one (SQL_PAS_BATCH).
SQLRETURN execute_array(Statement *stmt)
{
    SQLULEN sets = stmt->apd->header.array_size;
    for (SQLULEN set = 0; set < sets; ++set) {
        stmt->param_set = set;
        if (!set_ignored(stmt, set) && next_data_at_exec(stmt, -1) >= 0) {
            stmt->param_set = 0;
            return post_error(stmt->errors, "HYC00", "Optional feature not implemented");
        }
    }
    MemHandle *scratch = kx_mem_alloc_handle(stmt->mem);
    if (scratch == nullptr)
        return post_error(stmt->errors, "HY001", "Memory allocation error");
    SQLULEN processed = 0;
    SQLULEN first = sets;
    bool failed = false;
    for (SQLULEN set = 0; set < sets && !failed; ++set) {
        processed = set + 1;
        if (set_ignored(stmt, set)) {
            set_param_status(stmt, set, SQL_PARAM_UNUSED);
            continue;
        }
        stmt->param_set = set;
        std::vector<Value *> values;
        failed = build_parameters(stmt, scratch, values) != SQL_SUCCESS;
        set_param_status(stmt, set, failed ? SQL_PARAM_ERROR : SQL_PARAM_SUCCESS);
        if (!failed && first == sets)
            first = set;
    }
    kx_mem_release_handle(scratch);
    for (SQLULEN set = processed; set < sets; ++set)
        set_param_status(stmt, set, SQL_PARAM_UNUSED);
    if (stmt->ipd->header.rows_processed_ptr != nullptr)
        *stmt->ipd->header.rows_processed_ptr = processed;
    stmt->param_set = 0;
    if (failed || first == sets)
        return failed ? SQL_ERROR : SQL_SUCCESS;
    stmt->param_set = first;
    SQLRETURN rc = run(stmt);
    stmt->param_array_open = rc != SQL_ERROR;
    return rc;
}

// The next parameter set's result after the current one's, or SQL_NO_DATA.
SQLRETURN next_param_set(Statement *stmt)
{
    bool open = stmt->param_array_open;
    SQLULEN set = stmt->param_set;
    close_cursor(stmt);
    if (!open || !stmt->query)
        return SQL_NO_DATA;
    while (++set < stmt->apd->header.array_size) {
        if (set_ignored(stmt, set))
            continue;
        stmt->param_set = set;
        SQLRETURN rc = run(stmt);
        stmt->param_array_open = rc != SQL_ERROR;
        return rc;
    }
    return SQL_NO_DATA;
}

SQLRETURN execute(Statement *stmt)
{
    if (!stmt->query)
        return post_error(stmt->errors, "HY010", "Function sequence error");
    close_cursor(stmt);
    stmt->param_set = 0;
    stmt->long_params.assign(static_cast<size_t>(stmt->query->parameter_count), nullptr);
    stmt->put_decoder = Utf16Decoder{};
    if (stmt->long_mem != nullptr)
        kx_mem_release_handle(stmt->long_mem);
    stmt->long_mem = kx_mem_alloc_handle(stmt->mem);
    if (stmt->apd->header.array_size > 1)
        return execute_array(stmt);
    if (next_data_at_exec(stmt, -1) >= 0) {
        stmt->state = kStateNeedData;
        stmt->need_data_param = -1;
        return SQL_NEED_DATA;
    }
    return run(stmt);
}

// The octets of one SQLPutData piece: a length, or SQL_NTS for a text
// ending in a zero character (of its C type's width). -1 for a length that
// is neither.
int64_t piece_octets(SQLPOINTER data, SQLLEN length, bool wide)
{
    if (length >= 0)
        return length;
    if (length != SQL_NTS)
        return -1;
    if (!wide)
        return static_cast<int64_t>(std::strlen(static_cast<const char *>(data)));
    const uint16_t *units = static_cast<const uint16_t *>(data);
    size_t n = 0;
    while (units[n] != 0)
        ++n;
    return static_cast<int64_t>(n * 2);
}

// Appends octets to the parameter's long value, within MaxValueSize.
SQLRETURN append_long(Statement *stmt, Value *v, const void *octets, size_t count)
{
    uint64_t total = static_cast<uint64_t>(long_buffer_length(v->long_buffer)) + count;
    if (total > stmt->conn->max_value_size)
        return post_error(stmt->errors, "HY001",
                          ("Memory allocation error: the parameter's data passes MaxValueSize (" +
                           std::to_string(stmt->conn->max_value_size) + " octets)")
                              .c_str());
    // the library refuses what would pass its 2 GiB limit and reports a
    // failed write to its spill file rather than losing the piece
    int32_t status = count > 0 ? kxstd_append_to_long_buffer(v->long_buffer, octets,
                                                            static_cast<int32_t>(count))
                               : KXSTD_OK;
    if (status != KXSTD_OK)
        return post_error(stmt->errors, kxstd_status_state(status), kxstd_status_message(status));
    v->length = long_buffer_length(v->long_buffer);
    return SQL_SUCCESS;
}

// One SQLPutData piece for the parameter the statement waits for. Wide text
// (SQL_C_WCHAR) is kept as UTF-8; a character split between two pieces is
// joined by the statement's decoder, and finished in SQLParamData.
SQLRETURN put_data(Statement *stmt, SQLPOINTER data, SQLLEN length)
{
    size_t index = static_cast<size_t>(stmt->need_data_param);
    const ParamBinding b = bound_parameter(stmt, index);
    Value *&v = stmt->long_params[index];
    if (length == SQL_NULL_DATA) {
        v = make_value(stmt->long_mem, VALUE_STRING);
        if (v == nullptr)
            return post_error(stmt->errors, "HY001", "Memory allocation error");
        v->null_flag = -1;
        stmt->put_decoder = Utf16Decoder{};
        return SQL_SUCCESS;
    }
    SQLSMALLINT c = b.c_type == SQL_C_DEFAULT ? default_c_type(b.sql_type) : b.c_type;
    bool binary = c == SQL_C_BINARY;
    bool wide = c == SQL_C_WCHAR;
    if (v == nullptr || v->long_buffer == nullptr) {
        LongBuffer *buffer = nullptr;
        {
            // the profile handle is the connection's, shared by its statements
            std::lock_guard<std::recursive_mutex> hold(stmt->conn->lock);
            buffer = allocate_long_buffer(stmt->long_mem, 0, 0, stmt->conn->profile, binary ? -4 : -1);
        }
        if (buffer == nullptr)
            return post_error(stmt->errors, "HY001", "Memory allocation error: no long-data file");
        v = make_value(stmt->long_mem, binary ? VALUE_LONG_BINARY : VALUE_LONG_STRING);
        if (v == nullptr)
            return post_error(stmt->errors, "HY001", "Memory allocation error");
        v->long_buffer = buffer;
    }
    if (data == nullptr)
        return length == 0 ? SQL_SUCCESS : post_error(stmt->errors, "HY009", "Invalid use of null pointer");
    int64_t octets = piece_octets(data, length, wide);
    if (octets < 0)
        return post_error(stmt->errors, "HY090", "Invalid string or buffer length");
    if (static_cast<uint64_t>(octets) > stmt->conn->max_value_size)
        return append_long(stmt, v, data, static_cast<size_t>(octets));  // refused there
    if (!wide)
        return append_long(stmt, v, data, static_cast<size_t>(octets));
    std::string text;
    stmt->put_decoder.feed_octets(data, static_cast<size_t>(octets), text);
    return append_long(stmt, v, text.data(), text.size());
}

// Ends the data of the parameter SQLPutData filled: a character left
// unfinished by the last piece becomes U+FFFD.
SQLRETURN finish_put_data(Statement *stmt)
{
    std::string tail;
    stmt->put_decoder.finish(tail);
    if (tail.empty() || stmt->need_data_param < 0)
        return SQL_SUCCESS;
    Value *v = stmt->long_params[static_cast<size_t>(stmt->need_data_param)];
    if (v == nullptr || v->long_buffer == nullptr)
        return SQL_SUCCESS;
    return append_long(stmt, v, tail.data(), tail.size());
}

}  // namespace

}  // namespace kxdrv

using namespace kxdrv;

extern "C" {

KXDRV_API SQLRETURN SQL_API SQLPrepare(SQLHSTMT handle, SQLCHAR *text, SQLINTEGER length)
{
    return statement_entry(handle, [&](Statement *stmt) {
        std::string sql = app_string(text, length);
        trace_call(stmt->conn, "SQLPrepare", "%p %S", static_cast<void *>(stmt), sql.c_str(),
                   static_cast<int>(SQL_NTS));
        SQLRETURN rc = prepare(stmt, sql);
        stmt->prepared_with_sqlprepare = rc == SQL_SUCCESS;
        return rc;
    });
}

KXDRV_API SQLRETURN SQL_API SQLExecute(SQLHSTMT handle)
{
    return statement_entry(handle, [&](Statement *stmt) { return execute(stmt); });
}

KXDRV_API SQLRETURN SQL_API SQLExecDirect(SQLHSTMT handle, SQLCHAR *text, SQLINTEGER length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        std::string sql = app_string(text, length);
        trace_call(stmt->conn, "SQLExecDirect", "%p %S", static_cast<void *>(stmt), sql.c_str(),
                   static_cast<int>(SQL_NTS));
        stmt->prepared_with_sqlprepare = false;
        if (prepare(stmt, sql) != SQL_SUCCESS)
            return SQL_ERROR;
        stmt->keep_deadline = true;
        SQLRETURN rc = execute(stmt);
        stmt->keep_deadline = false;
        return rc;
    });
}

KXDRV_API SQLRETURN SQL_API SQLBindParameter(SQLHSTMT handle, SQLUSMALLINT number,
                                             SQLSMALLINT io_type, SQLSMALLINT c_type,
                                             SQLSMALLINT sql_type, SQLULEN column_size,
                                             SQLSMALLINT decimal_digits, SQLPOINTER data,
                                             SQLLEN buffer_length, SQLLEN *indicator)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (number < 1)
            return post_error(stmt->errors, "07009", "Invalid descriptor index");
        if (io_type != SQL_PARAM_INPUT)
            return post_error(stmt->errors, "HYC00", "Optional feature not implemented");
        ParamBinding b;
        b.bound = true;
        b.io_type = io_type;
        b.c_type = c_type;
        b.sql_type = sql_type;
        b.column_size = column_size;
        b.decimal_digits = decimal_digits;
        b.data = data;
        b.buffer_length = buffer_length;
        b.indicator = indicator;
        bind_parameter(stmt, number, b);
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLNumParams(SQLHSTMT handle, SQLSMALLINT *count)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (!stmt->query)
            return post_error(stmt->errors, "HY010", "Function sequence error");
        if (count != nullptr)
            *count = static_cast<SQLSMALLINT>(stmt->query->parameter_count);
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLDescribeParam(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT *sql_type,
                                             SQLULEN *size, SQLSMALLINT *digits, SQLSMALLINT *nullable)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        // a statement prepared with SQLPrepare, its cursor closed
        if (!stmt->query || !stmt->prepared_with_sqlprepare || stmt->result ||
            stmt->state == kStateNeedData)
            return post_error(stmt->errors, "HY010", "Function sequence error");
        if (number < 1 || number > stmt->query->parameter_count)
            return post_error(stmt->errors, "07009", "Invalid descriptor index");
        std::vector<TypeInfo> types;
        describe_parameters(stmt, *stmt->query, types);
        ColumnDesc d;
        describe_type(types[number - 1u], stmt->conn->env->odbc_version, d);
        if (sql_type != nullptr)
            *sql_type = d.sql_type;
        if (size != nullptr)
            *size = d.size;
        if (digits != nullptr)
            *digits = d.decimal_digits;
        if (nullable != nullptr)
            *nullable = SQL_NULLABLE;
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLParamData(SQLHSTMT handle, SQLPOINTER *value)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (stmt->state != kStateNeedData)
            return post_error(stmt->errors, "HY010", "Function sequence error");
        if (finish_put_data(stmt) != SQL_SUCCESS)
            return SQL_ERROR;
        int next = next_data_at_exec(stmt, stmt->need_data_param);
        if (next >= 0) {
            stmt->need_data_param = next;
            stmt->put_data_started = false;
            if (value != nullptr)
                *value = bound_parameter(stmt, static_cast<size_t>(next)).data;
            return SQL_NEED_DATA;
        }
        stmt->need_data_param = -1;
        stmt->state = kStatePrepared;
        return run(stmt);
    });
}

KXDRV_API SQLRETURN SQL_API SQLPutData(SQLHSTMT handle, SQLPOINTER data, SQLLEN length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (stmt->state != kStateNeedData || stmt->need_data_param < 0)
            return post_error(stmt->errors, "HY010", "Function sequence error");
        return put_data(stmt, data, length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLCancel(SQLHSTMT handle)
{
    Statement *stmt = statement_of(handle);
    if (stmt == nullptr)
        return SQL_INVALID_HANDLE;
    std::unique_lock<std::mutex> idle(stmt->call_lock, std::try_to_lock);
    if (!idle.owns_lock()) {
        // another thread is in a call on the statement: check_timeout stops
        // it between rows; the running call owns the diagnostics
        __atomic_store_n(&stmt->cancel_request, 1, __ATOMIC_SEQ_CST);
        return SQL_SUCCESS;
    }
    if (stmt->state == kStateNeedData) {
        begin_call(stmt->errors, 0);
        stmt->state = kStatePrepared;
        stmt->need_data_param = -1;
        stmt->put_decoder = Utf16Decoder{};
        return SQL_SUCCESS;
    }
    // nothing runs: an ODBC 2 application's cancel closes the cursor, an
    // ODBC 3 application's has no effect (the last call's diagnostics stay)
    if (stmt->conn->env->odbc_version != 3)
        close_cursor(stmt);
    return SQL_SUCCESS;
}

namespace {

// The one value the driver has for the statement attributes it does not
// vary: whole values (no SQL_ATTR_MAX_LENGTH), data always retrieved,
// synchronous calls and no bookmarks.
SQLULEN fixed_attribute_value(SQLINTEGER attribute)
{
    switch (attribute) {
    case SQL_ATTR_RETRIEVE_DATA: return SQL_RD_ON;
    case SQL_ATTR_ASYNC_ENABLE: return SQL_ASYNC_ENABLE_OFF;
    case SQL_ATTR_USE_BOOKMARKS: return SQL_UB_OFF;
    default: return 0;  // SQL_ATTR_MAX_LENGTH: no limit
    }
}

}  // namespace

KXDRV_API SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                           SQLINTEGER)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        SQLULEN word = reinterpret_cast<SQLULEN>(value);
        switch (attribute) {
        case SQL_ATTR_QUERY_TIMEOUT:
            stmt->query_timeout = word;
            return SQL_SUCCESS;
        case SQL_ATTR_MAX_ROWS:
            stmt->max_rows = word;
            return SQL_SUCCESS;
        case SQL_ATTR_ROW_ARRAY_SIZE:
            if (word == 0)
                return post_error(stmt->errors, "HY024", "Invalid attribute value");
            stmt->ard->header.array_size = word;
            return SQL_SUCCESS;
        case SQL_ROWSET_SIZE:
            if (word == 0)
                return post_error(stmt->errors, "HY024", "Invalid attribute value");
            stmt->rowset_size = word;
            return SQL_SUCCESS;
        case SQL_ATTR_ROW_BIND_TYPE:
            stmt->ard->header.bind_type = word;
            return SQL_SUCCESS;
        case SQL_ATTR_ROW_BIND_OFFSET_PTR:
            stmt->ard->header.bind_offset_ptr = static_cast<SQLLEN *>(value);
            return SQL_SUCCESS;
        case SQL_ATTR_ROW_OPERATION_PTR:
            stmt->row_operation_ptr = static_cast<SQLUSMALLINT *>(value);
            return SQL_SUCCESS;
        case SQL_ATTR_PARAM_BIND_TYPE:
            stmt->apd->header.bind_type = word;
            return SQL_SUCCESS;
        case SQL_ATTR_PARAM_BIND_OFFSET_PTR:
            stmt->apd->header.bind_offset_ptr = static_cast<SQLLEN *>(value);
            return SQL_SUCCESS;
        case SQL_ATTR_PARAMS_PROCESSED_PTR:
            stmt->ipd->header.rows_processed_ptr = static_cast<SQLULEN *>(value);
            return SQL_SUCCESS;
        case SQL_ATTR_PARAM_STATUS_PTR:
            stmt->ipd->header.array_status_ptr = static_cast<SQLUSMALLINT *>(value);
            return SQL_SUCCESS;
        case SQL_ATTR_PARAM_OPERATION_PTR:
            stmt->apd->header.array_status_ptr = static_cast<SQLUSMALLINT *>(value);
            return SQL_SUCCESS;
        case SQL_ATTR_ROWS_FETCHED_PTR:
            stmt->ird->header.rows_processed_ptr = static_cast<SQLULEN *>(value);
            return SQL_SUCCESS;
        case SQL_ATTR_ROW_STATUS_PTR:
            stmt->ird->header.array_status_ptr = static_cast<SQLUSMALLINT *>(value);
            return SQL_SUCCESS;
        case SQL_ATTR_PARAMSET_SIZE:
            if (word == 0)
                return post_error(stmt->errors, "HY024", "Invalid attribute value");
            stmt->apd->header.array_size = word;
            return SQL_SUCCESS;
        case SQL_ATTR_CURSOR_TYPE:
            // a static cursor stands in for the keyset-driven and dynamic
            // ones: the driver writes nothing, so no row can change
            stmt->cursor_type = word == SQL_CURSOR_FORWARD_ONLY ? SQL_CURSOR_FORWARD_ONLY : SQL_CURSOR_STATIC;
            if (word != SQL_CURSOR_FORWARD_ONLY && word != SQL_CURSOR_STATIC)
                return post_warning(stmt->errors, "01S02", "Option value changed");
            return SQL_SUCCESS;
        case SQL_ATTR_CURSOR_SCROLLABLE:
            stmt->cursor_type = word == SQL_NONSCROLLABLE ? SQL_CURSOR_FORWARD_ONLY : SQL_CURSOR_STATIC;
            return SQL_SUCCESS;
        case SQL_ATTR_CONCURRENCY:
            if (word != SQL_CONCUR_READ_ONLY)
                return post_warning(stmt->errors, "01S02", "Option value changed");
            return SQL_SUCCESS;
        case SQL_ATTR_APP_ROW_DESC:
        case SQL_ATTR_APP_PARAM_DESC:
            return use_descriptor(stmt, attribute == SQL_ATTR_APP_ROW_DESC, value);
        case SQL_ATTR_IMP_ROW_DESC:
        case SQL_ATTR_IMP_PARAM_DESC:
            return post_error(stmt->errors, "HY017",
                              "Invalid use of an automatically allocated descriptor handle");
        case SQL_ATTR_NOSCAN:
            // escape clauses are read by the parser either way
            stmt->noscan = word;
            return SQL_SUCCESS;
        case SQL_ATTR_CURSOR_SENSITIVITY:
            // no row ever changes: every cursor is insensitive
            stmt->cursor_sensitivity = word == SQL_SENSITIVE ? SQL_INSENSITIVE : word;
            if (word == SQL_SENSITIVE)
                return post_warning(stmt->errors, "01S02", "Option value changed");
            return SQL_SUCCESS;
        case SQL_ATTR_MAX_LENGTH:
        case SQL_ATTR_RETRIEVE_DATA:
        case SQL_ATTR_ASYNC_ENABLE:
        case SQL_ATTR_USE_BOOKMARKS:
            // whole values, always retrieved, synchronous calls, no
            // bookmarks: another value is changed back to that
            if (word != fixed_attribute_value(attribute))
                return post_warning(stmt->errors, "01S02", "Option value changed");
            return SQL_SUCCESS;
        default:
            return post_error(stmt->errors, "HY092", "Invalid attribute/option identifier");
        }
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                           SQLINTEGER, SQLINTEGER *length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        SQLULEN answer = 0;
        switch (attribute) {
        case SQL_ATTR_QUERY_TIMEOUT: answer = stmt->query_timeout; break;
        case SQL_ATTR_MAX_ROWS: answer = stmt->max_rows; break;
        case SQL_ATTR_ROW_ARRAY_SIZE: answer = stmt->ard->header.array_size; break;
        case SQL_ROWSET_SIZE: answer = stmt->rowset_size; break;
        case SQL_ATTR_PARAMSET_SIZE: answer = stmt->apd->header.array_size; break;
        case SQL_ATTR_ROW_BIND_TYPE: answer = stmt->ard->header.bind_type; break;
        case SQL_ATTR_PARAM_BIND_TYPE: answer = stmt->apd->header.bind_type; break;
        case SQL_ATTR_ROW_BIND_OFFSET_PTR:
            answer = reinterpret_cast<SQLULEN>(stmt->ard->header.bind_offset_ptr);
            break;
        case SQL_ATTR_PARAM_BIND_OFFSET_PTR:
            answer = reinterpret_cast<SQLULEN>(stmt->apd->header.bind_offset_ptr);
            break;
        case SQL_ATTR_PARAMS_PROCESSED_PTR:
            answer = reinterpret_cast<SQLULEN>(stmt->ipd->header.rows_processed_ptr);
            break;
        case SQL_ATTR_PARAM_STATUS_PTR:
            answer = reinterpret_cast<SQLULEN>(stmt->ipd->header.array_status_ptr);
            break;
        case SQL_ATTR_PARAM_OPERATION_PTR:
            answer = reinterpret_cast<SQLULEN>(stmt->apd->header.array_status_ptr);
            break;
        case SQL_ATTR_APP_ROW_DESC: answer = reinterpret_cast<SQLULEN>(stmt->ard); break;
        case SQL_ATTR_APP_PARAM_DESC: answer = reinterpret_cast<SQLULEN>(stmt->apd); break;
        case SQL_ATTR_IMP_ROW_DESC: answer = reinterpret_cast<SQLULEN>(stmt->ird.get()); break;
        case SQL_ATTR_IMP_PARAM_DESC: answer = reinterpret_cast<SQLULEN>(stmt->ipd.get()); break;
        case SQL_ATTR_ROW_OPERATION_PTR: answer = reinterpret_cast<SQLULEN>(stmt->row_operation_ptr); break;
        case SQL_ATTR_CURSOR_TYPE: answer = stmt->cursor_type; break;
        case SQL_ATTR_CONCURRENCY: answer = SQL_CONCUR_READ_ONLY; break;
        case SQL_ATTR_CURSOR_SCROLLABLE:
            answer = stmt->cursor_type == SQL_CURSOR_STATIC ? SQL_SCROLLABLE : SQL_NONSCROLLABLE;
            break;
        case SQL_ATTR_MAX_LENGTH:
        case SQL_ATTR_RETRIEVE_DATA:
        case SQL_ATTR_ASYNC_ENABLE:
        case SQL_ATTR_USE_BOOKMARKS:
            answer = fixed_attribute_value(attribute);
            break;
        case SQL_ATTR_NOSCAN: answer = stmt->noscan; break;
        case SQL_ATTR_CURSOR_SENSITIVITY: answer = stmt->cursor_sensitivity; break;
        case SQL_ATTR_ROWS_FETCHED_PTR:
            answer = reinterpret_cast<SQLULEN>(stmt->ird->header.rows_processed_ptr);
            break;
        case SQL_ATTR_ROW_STATUS_PTR:
            answer = reinterpret_cast<SQLULEN>(stmt->ird->header.array_status_ptr);
            break;
        case SQL_ATTR_ROW_NUMBER:
            answer = row_number(stmt);
            break;
        default:
            return post_error(stmt->errors, "HY092", "Invalid attribute/option identifier");
        }
        if (value != nullptr)
            *static_cast<SQLULEN *>(value) = answer;
        if (length != nullptr)
            *length = sizeof answer;
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLSetCursorName(SQLHSTMT handle, SQLCHAR *name, SQLSMALLINT length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        std::string text = app_string(name, length);
        if (text.empty() || text.size() >= KX_CURSOR_NAME_SIZE || text.rfind("SQLCUR", 0) == 0 ||
            text.rfind("SQL_CUR", 0) == 0)
            return post_error(stmt->errors, "34000", "Invalid cursor name");
        // the names live in the connection's registry, shared by its statements
        std::lock_guard<std::recursive_mutex> hold(stmt->conn->lock);
        DriverStatement *holder = get_stmt_by_cursor(stmt, text.c_str());
        if (holder != nullptr && holder != stmt)
            return post_error(stmt->errors, "3C000", "Duplicate cursor name");
        if (stmt->cursor_name[0] != '\0')
            remove_cursor_name(stmt, stmt->cursor_name);
        insert_cursor_name(stmt, text.c_str());
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetCursorName(SQLHSTMT handle, SQLCHAR *name, SQLSMALLINT buffer_length,
                                             SQLSMALLINT *length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        std::lock_guard<std::recursive_mutex> hold(stmt->conn->lock);
        if (stmt->cursor_name[0] == '\0')
            generate_cursor_name(stmt);
        return return_string(stmt->errors, get_cursor_name(stmt), name, buffer_length, length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLRowCount(SQLHSTMT handle, SQLLEN *count)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (count != nullptr)
            *count = stmt->result ? stmt->result->row_count : -1;
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLMoreResults(SQLHSTMT handle)
{
    return statement_entry(handle, [&](Statement *stmt) { return next_param_set(stmt); });
}

KXDRV_API SQLRETURN SQL_API SQLCloseCursor(SQLHSTMT handle)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (!stmt->result)
            return post_error(stmt->errors, "24000", "Invalid cursor state");
        close_cursor(stmt);
        return SQL_SUCCESS;
    });
}

}  // extern "C"
