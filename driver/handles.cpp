// handles.cpp - the driver's ODBC handles: allocation, release, environment
// attributes.
//
// Exports the ODBC entry points SQLAllocHandle, SQLFreeHandle (descriptors
// too, made and freed in descriptors.cpp), SQLAllocEnv,
// SQLAllocConnect, SQLAllocStmt, SQLFreeEnv, SQLFreeConnect, SQLFreeStmt,
// SQLSetEnvAttr and SQLGetEnvAttr, and (driver-internal) the constructors
// of handles.h. Each handle owns a library memory handle, a child of its
// parent's (the environment's is a root), and an error header made in it
// that takes the application's ODBC version from the environment.
#include <cstdio>
#include <cstring>
#include <exception>

#include "driver/entry.h"
#include "driver/handles.h"
#include "driver/query.h"

namespace kxdrv {

ErrorHeader *make_error_header(MemHandle *mem, const DriverEnvironment *env, const char *data_source)
{
    ErrorHeader *errors = CreateErrorHeader(mem, env);
    if (errors != nullptr && kxstd_set_error_header(errors, kComponent, data_source) != 0)
        return nullptr;  // the header goes with mem
    return errors;
}

Environment *new_environment()
{
    auto *env = new Environment();
    env->kind = 0;
    env->odbc_version = 3;
    env->mem = kx_mem_alloc_handle(nullptr);
    env->errors = env->mem != nullptr ? make_error_header(env->mem, env, "") : nullptr;
    if (env->errors == nullptr) {
        if (env->mem != nullptr)
            kx_mem_release_handle(env->mem);
        delete env;
        return nullptr;
    }
    return env;
}

void free_environment(Environment *env)
{
    kx_mem_release_handle(env->mem);
    env->mark = 0;
    delete env;
}

// The connection's long-data operations, which the scalar functions use to
// read long arguments.
int32_t rewind_long(LongBuffer *buffer, int32_t)
{
    return rewind_long_buffer(buffer);
}

int32_t read_long(LongBuffer *buffer, void *destination, int32_t size, int32_t *length_out,
                  int32_t)
{
    int32_t remaining = 0;
    int32_t rc = extract_from_long_buffer(buffer, destination, size, &remaining, 0);
    if (length_out != nullptr)
        *length_out = remaining < 0 ? 0 : remaining;
    return rc < 0 ? 2 : rc;
}

Connection *new_connection(Environment *env)
{
    // the connection's memory hangs from the environment's
    std::lock_guard<std::recursive_mutex> hold(env->lock);
    auto *conn = new Connection();
    conn->kind = KX_KIND_CONNECTION;
    conn->env = env;
    conn->mem_handle = kx_mem_alloc_handle(env->mem);
    conn->errors = conn->mem_handle != nullptr ? make_error_header(conn->mem_handle, env, "") : nullptr;
    if (conn->errors == nullptr) {
        if (conn->mem_handle != nullptr)
            kx_mem_release_handle(conn->mem_handle);
        delete conn;
        return nullptr;
    }
    init_con_str(&conn->attributes);
    conn->long_rewind = rewind_long;
    conn->long_read = read_long;
    return conn;
}

void free_connection(Connection *conn)
{
    Environment *env = conn->env;
    {
        std::lock_guard<std::recursive_mutex> hold(conn->lock);
        while (!conn->statements.empty())
            free_statement(conn->statements.back());
        while (!conn->descriptors.empty())
            free_descriptor(conn->descriptors.back());
        if (conn->profile != nullptr)
            close_registry(conn->profile);
        conn->profile = nullptr;
    }
    std::lock_guard<std::recursive_mutex> hold(env->lock);
    kx_mem_release_handle(conn->mem_handle);
    conn->mark = 0;
    delete conn;
}

Statement *new_statement(Connection *conn)
{
    std::lock_guard<std::recursive_mutex> hold(conn->lock);
    conn->statements.reserve(conn->statements.size() + 1);  // no failure after the handle is made
    auto *stmt = new Statement();
    stmt->kind = KX_KIND_STATEMENT;
    stmt->conn = conn;
    stmt->connection = conn;
    stmt->mem = kx_mem_alloc_handle(conn->mem_handle);
    stmt->errors = stmt->mem != nullptr ? make_error_header(stmt->mem, conn->env, conn->dsn.c_str())
                                        : nullptr;
    if (stmt->errors == nullptr || !make_implicit_descriptors(stmt)) {
        if (stmt->mem != nullptr)
            kx_mem_release_handle(stmt->mem);
        delete stmt;
        return nullptr;
    }
    conn->statements.push_back(stmt);
    return stmt;
}

void close_cursor(Statement *stmt)
{
    ResultSet *r = stmt->result.get();
    if (r != nullptr) {
        if (r->row_mem != nullptr)
            kx_mem_release_handle(r->row_mem);
        if (r->mem != nullptr)
            kx_mem_release_handle(r->mem);
        if (r->param_mem != nullptr)
            kx_mem_release_handle(r->param_mem);
        stmt->result.reset();
    }
    stmt->param_array_open = false;
    stmt->state = stmt->query ? kStatePrepared : kStateIdle;
}

void drop_query(Statement *stmt)
{
    close_cursor(stmt);
    stmt->query.reset();
    if (stmt->query_mem != nullptr) {
        kx_mem_release_handle(stmt->query_mem);
        stmt->query_mem = nullptr;
    }
    stmt->long_params.clear();
    stmt->put_decoder = Utf16Decoder{};
    if (stmt->long_mem != nullptr) {
        kx_mem_release_handle(stmt->long_mem);
        stmt->long_mem = nullptr;
    }
    stmt->need_data_param = -1;
    stmt->state = kStateIdle;
}

void free_statement(Statement *stmt)
{
    Connection *conn = stmt->conn;
    // the statement's memory hangs from the connection's, which the
    // connection's other statements share
    std::lock_guard<std::recursive_mutex> hold(conn->lock);
    drop_query(stmt);
    if (stmt->cursor_name[0] != '\0')
        remove_cursor_name(stmt, stmt->cursor_name);
    for (size_t i = 0; i < conn->statements.size(); ++i)
        if (conn->statements[i] == stmt) {
            conn->statements.erase(conn->statements.begin() + static_cast<long>(i));
            break;
        }
    leave_descriptors(stmt);
    kx_mem_release_handle(stmt->mem);
    stmt->mark = 0;
    delete stmt;
}

Environment *environment_of(SQLHANDLE handle)
{
    auto *env = static_cast<Environment *>(handle);
    return env != nullptr && env->mark == kEnvironmentMark ? env : nullptr;
}

Connection *connection_of(SQLHANDLE handle)
{
    auto *conn = static_cast<Connection *>(handle);
    return conn != nullptr && conn->mark == kConnectionMark ? conn : nullptr;
}

Statement *statement_of(SQLHANDLE handle)
{
    auto *stmt = static_cast<Statement *>(handle);
    return stmt != nullptr && stmt->mark == kStatementMark ? stmt : nullptr;
}

Descriptor *descriptor_of(SQLHANDLE handle)
{
    auto *desc = static_cast<Descriptor *>(handle);
    return desc != nullptr && desc->mark == kDescriptorMark ? desc : nullptr;
}

SQLRETURN exception_posted(ErrorHeader *errors) noexcept
{
    try {
        throw;
    } catch (const std::bad_alloc &) {
        return post_error(errors, "HY001", "Memory allocation error");
    } catch (const std::exception &e) {
        // the message is built without allocating: memory may be short
        char message[160];
        std::snprintf(message, sizeof message, "General error: %s", e.what());
        return post_error(errors, "HY000", message);
    } catch (...) {
        return post_error(errors, "HY000", "General error");
    }
}

}  // namespace kxdrv

using namespace kxdrv;

extern "C" {

KXDRV_API SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE *output)
{
    switch (type) {
    case SQL_HANDLE_ENV: {
        if (output == nullptr)
            return SQL_ERROR;
        Environment *env = nullptr;
        try {
            env = new_environment();
        } catch (...) {
            env = nullptr;  // an environment has no diagnostics to post to yet
        }
        *output = env;
        return env != nullptr ? SQL_SUCCESS : SQL_ERROR;
    }
    case SQL_HANDLE_DBC:
        return environment_entry(input, [&](Environment *env) -> SQLRETURN {
            if (output == nullptr)
                return post_error(env->errors, "HY009", "Invalid use of null pointer");
            Connection *conn = new_connection(env);
            *output = conn;
            return conn != nullptr ? SQL_SUCCESS : post_error(env->errors, "HY001", "Memory allocation error");
        });
    case SQL_HANDLE_STMT:
        return connection_entry(input, [&](Connection *conn) -> SQLRETURN {
            if (output == nullptr)
                return post_error(conn->errors, "HY009", "Invalid use of null pointer");
            *output = SQL_NULL_HSTMT;
            if (!conn->connected)
                return post_error(conn->errors, "08003", "Connection not open");
            Statement *stmt = new_statement(conn);
            *output = stmt;
            trace_call(conn, "SQLAllocHandle", "statement %p", static_cast<void *>(stmt));
            return stmt != nullptr ? SQL_SUCCESS : post_error(conn->errors, "HY001", "Memory allocation error");
        });
    case SQL_HANDLE_DESC:
        return connection_entry(input, [&](Connection *conn) -> SQLRETURN {
            if (output == nullptr)
                return post_error(conn->errors, "HY009", "Invalid use of null pointer");
            *output = SQL_NULL_HDESC;
            if (!conn->connected)
                return post_error(conn->errors, "08003", "Connection not open");
            Descriptor *desc = new_explicit_descriptor(conn);
            *output = desc;
            return desc != nullptr ? SQL_SUCCESS : post_error(conn->errors, "HY001", "Memory allocation error");
        });
    default:
        return SQL_ERROR;
    }
}

KXDRV_API SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle)
{
    switch (type) {
    case SQL_HANDLE_ENV: {
        Environment *env = environment_of(handle);
        if (env == nullptr)
            return SQL_INVALID_HANDLE;
        free_environment(env);
        return SQL_SUCCESS;
    }
    case SQL_HANDLE_DBC: {
        Connection *conn = connection_of(handle);
        if (conn == nullptr)
            return SQL_INVALID_HANDLE;
        {
            std::lock_guard<std::recursive_mutex> hold(conn->lock);
            begin_call(conn->errors, 0);
            if (conn->connected)
                return post_error(conn->errors, "HY010", "Function sequence error");
        }
        free_connection(conn);
        return SQL_SUCCESS;
    }
    case SQL_HANDLE_STMT: {
        Statement *stmt = statement_of(handle);
        if (stmt == nullptr)
            return SQL_INVALID_HANDLE;
        // a call still running on the statement in another thread ends
        // first; later calls find the handle gone
        stmt->call_lock.lock();
        stmt->mark = 0;
        stmt->call_lock.unlock();
        free_statement(stmt);
        return SQL_SUCCESS;
    }
    case SQL_HANDLE_DESC: {
        Descriptor *desc = descriptor_of(handle);
        if (desc == nullptr)
            return SQL_INVALID_HANDLE;
        if (desc->kind != DescKind::kExplicit)
            return descriptor_entry(handle, [&](Descriptor *implicit) {
                return post_error(implicit->errors, "HY017",
                                  "Invalid use of an automatically allocated descriptor handle");
            });
        // the descriptor is gone when the call ends: nothing is posted on it
        std::lock_guard<std::recursive_mutex> hold(desc->conn->lock);
        free_descriptor(desc);
        return SQL_SUCCESS;
    }
    default:
        return SQL_ERROR;
    }
}

KXDRV_API SQLRETURN SQL_API SQLAllocEnv(SQLHENV *env)
{
    return SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, env);
}

KXDRV_API SQLRETURN SQL_API SQLAllocConnect(SQLHENV env, SQLHDBC *dbc)
{
    return SQLAllocHandle(SQL_HANDLE_DBC, env, dbc);
}

KXDRV_API SQLRETURN SQL_API SQLAllocStmt(SQLHDBC dbc, SQLHSTMT *stmt)
{
    return SQLAllocHandle(SQL_HANDLE_STMT, dbc, stmt);
}

KXDRV_API SQLRETURN SQL_API SQLFreeEnv(SQLHENV env)
{
    return SQLFreeHandle(SQL_HANDLE_ENV, env);
}

KXDRV_API SQLRETURN SQL_API SQLFreeConnect(SQLHDBC dbc)
{
    return SQLFreeHandle(SQL_HANDLE_DBC, dbc);
}

KXDRV_API SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option)
{
    if (option == SQL_DROP)
        return SQLFreeHandle(SQL_HANDLE_STMT, handle);
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        switch (option) {
        case SQL_CLOSE:
            close_cursor(stmt);
            return SQL_SUCCESS;
        case SQL_UNBIND:
            stmt->ard->records.clear();
            return SQL_SUCCESS;
        case SQL_RESET_PARAMS:
            stmt->apd->records.clear();
            stmt->ipd->records.clear();
            return SQL_SUCCESS;
        default:
            return post_error(stmt->errors, "HY092", "Invalid attribute/option identifier");
        }
    });
}

KXDRV_API SQLRETURN SQL_API SQLSetEnvAttr(SQLHENV handle, SQLINTEGER attribute, SQLPOINTER value,
                                          SQLINTEGER)
{
    return environment_entry(handle, [&](Environment *env) -> SQLRETURN {
        switch (attribute) {
        case SQL_ATTR_ODBC_VERSION: {
            SQLINTEGER version = static_cast<SQLINTEGER>(reinterpret_cast<intptr_t>(value));
            if (version != SQL_OV_ODBC2 && version != SQL_OV_ODBC3 && version != SQL_OV_ODBC3_80)
                return post_error(env->errors, "HY024", "Invalid attribute value");
            // an ODBC 2 application gets the ODBC 2 states and type numbers
            env->odbc_version = version == SQL_OV_ODBC2 ? 2 : 3;
            env->errors->odbc_version = env->odbc_version;
            env->version_asked = version;
            return SQL_SUCCESS;
        }
        case SQL_ATTR_OUTPUT_NTS:
            // every text the driver gives is terminated
            if (reinterpret_cast<intptr_t>(value) != SQL_TRUE)
                return post_error(env->errors, "HYC00", "Optional feature not implemented");
            return SQL_SUCCESS;
        case SQL_ATTR_CP_MATCH:
            env->cp_match = static_cast<SQLUINTEGER>(reinterpret_cast<uintptr_t>(value));
            return SQL_SUCCESS;
        case SQL_ATTR_CONNECTION_POOLING:  // the driver manager pools, if anyone
            return SQL_SUCCESS;
        default:
            return post_error(env->errors, "HY092", "Invalid attribute/option identifier");
        }
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetEnvAttr(SQLHENV handle, SQLINTEGER attribute, SQLPOINTER value,
                                          SQLINTEGER, SQLINTEGER *length)
{
    return environment_entry(handle, [&](Environment *env) -> SQLRETURN {
        SQLINTEGER answer = 0;
        switch (attribute) {
        case SQL_ATTR_ODBC_VERSION:
            answer = env->version_asked;
            break;
        case SQL_ATTR_CP_MATCH:
            answer = static_cast<SQLINTEGER>(env->cp_match);
            break;
        case SQL_ATTR_OUTPUT_NTS:
            answer = SQL_TRUE;
            break;
        case SQL_ATTR_CONNECTION_POOLING:
            answer = SQL_CP_OFF;
            break;
        default:
            return post_error(env->errors, "HY092", "Invalid attribute/option identifier");
        }
        if (value != nullptr)
            *static_cast<SQLINTEGER *>(value) = answer;
        if (length != nullptr)
            *length = sizeof answer;
        return SQL_SUCCESS;
    });
}

}  // extern "C"
