// connection.cpp - connecting, connection attributes, SQLNativeSql and
// transactions.
//
// Exports the ODBC entry points SQLConnect, SQLDriverConnect, SQLDisconnect,
// SQLSetConnectAttr, SQLGetConnectAttr, SQLNativeSql, SQLEndTran and
// SQLTransact. A connection reads its data source's settings from the
// odbc.ini that the driver manager points at, through the library's profile
// store with the installer's SQLGetPrivateProfileString as its reader
// (get_default); the application's connection string (parse_connection_string)
// is merged over them (merge_connection_string) and the completed string
// comes back from generate_connection_string. Settings: Database (what
// DATABASE() gives), UID, Trace (Yes turns tracing on) and blob_path (the
// folder of long-data files; /tmp when not set).
#include <odbcinst.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "driver/entry.h"
#include "driver/handles.h"
#include "driver/query.h"

namespace kxdrv {

namespace {

// The settings a data source may give, as connection-string keywords.
const char *const kSettingKeys[] = {"DATABASE", "UID", "TRACE", "DESCRIPTION", "MAXVALUESIZE",
                                    "MAXSORTMEMORY"};

// Reads data-source settings through the installer; long-data files go to
// /tmp unless the data source names a folder.
int read_setting(const char *section, const char *key, const char *default_value, char *output,
                 int size, const char *file_name)
{
    int n = SQLGetPrivateProfileString(section, key, default_value, output, size, file_name);
    if (string_compare(key, "blob_path") == 0 && (output[0] == '\0' || n <= 0)) {
        const char *tmp = std::getenv("TMPDIR");
        std::snprintf(output, static_cast<size_t>(size), "%s", tmp != nullptr && tmp[0] ? tmp : "/tmp");
        n = static_cast<int>(std::strlen(output));
    }
    return n;
}

// The profile file that holds the library's own sections ({settings} with
// log_file): the odbc.ini the driver manager reads.
std::string profile_path()
{
    if (const char *ini = std::getenv("ODBCINI"); ini != nullptr && ini[0] != '\0')
        return ini;
    if (const char *dir = std::getenv("ODBCSYSINI"); dir != nullptr && dir[0] != '\0')
        return std::string(dir) + "/odbc.ini";
    return "/etc/odbc.ini";
}

// A memory limit setting: a whole number of octets from 1 to the largest
// value; anything else leaves the default.
size_t octets_setting(const char *text, size_t fallback)
{
    if (text == nullptr || *text == '\0')
        return fallback;
    uint64_t n = 0;
    for (const char *p = text; *p; ++p) {
        if (*p < '0' || *p > '9')
            return fallback;
        if (n <= kLargestValueSize)
            n = n * 10 + static_cast<uint64_t>(*p - '0');
    }
    if (n == 0)
        return fallback;
    return static_cast<size_t>(std::min<uint64_t>(n, kLargestValueSize));
}

bool yes(const char *text)
{
    return text != nullptr && (string_compare(text, "yes") == 0 || string_compare(text, "1") == 0 ||
                               string_compare(text, "on") == 0 || string_compare(text, "true") == 0);
}

// Connects with the application's connection string already parsed into
// app; completed receives the full connection string.
SQLRETURN open_connection(Connection *conn, ConnectionString &app, std::string *completed)
{
    if (conn->connected)
        return post_error(conn->errors, "08002", "Connection name in use");
    const char *dsn = get_attribute_value(&app, "DSN");
    conn->dsn = dsn != nullptr ? dsn : "";
    // the data source is the server of the connection's diagnostics
    kxstd_set_error_header(conn->errors, kComponent, conn->dsn.c_str());
    if (conn->profile == nullptr)
        conn->profile = open_registry();
    if (conn->profile == nullptr)
        return post_error(conn->errors, "HY001", "Memory allocation error");
    set_config(conn->profile, profile_path().c_str());
    set_ini_function(conn->profile, read_setting);
    set_dsn(conn->profile, conn->dsn.empty() ? nullptr : conn->dsn.c_str());
    ConnectionString settings;
    init_con_str(&settings);
    if (!conn->dsn.empty()) {
        for (const char *key : kSettingKeys) {
            // what the application gave wins over the data source
            if (get_attribute_value(&app, key) != nullptr)
                continue;
            char value[256];
            kxstd_get_default(conn->profile, key, value, sizeof value);
            if (value[0] != '\0')
                append_pair(&settings, key, value, conn->mem_handle);
        }
    }
    // the completed string keeps the application's keywords first
    merge_connection_string(&app, &settings, conn->mem_handle);
    conn->attributes = app;
    const char *database = get_attribute_value(&conn->attributes, "DATABASE");
    conn->database_name = database != nullptr && database[0] != '\0' ? database : "kxeval";
    conn->database = conn->database_name.c_str();
    conn->trace = yes(get_attribute_value(&conn->attributes, "TRACE"));
    conn->max_value_size =
        octets_setting(get_attribute_value(&conn->attributes, "MAXVALUESIZE"), kDefaultMaxValueSize);
    // a sort's memory may be larger than one value; it too is counted in octets
    conn->max_sort_memory = octets_setting(get_attribute_value(&conn->attributes, "MAXSORTMEMORY"),
                                           kDefaultMaxSortMemory);
    conn->connected = true;
    if (completed != nullptr) {
        std::vector<char> buffer(8192, '\0');
        kxstd_generate_connection_string(&conn->attributes, buffer.data(),
                                         static_cast<int32_t>(buffer.size() - 1));
        *completed = buffer.data();
    }
    trace_call(conn, "SQLConnect", "dsn %s", conn->dsn.c_str());
    return SQL_SUCCESS;
}

std::string counted(const SQLCHAR *text, SQLSMALLINT length)
{
    return app_string(text, length);
}

}  // namespace

}  // namespace kxdrv

using namespace kxdrv;

extern "C" {

KXDRV_API SQLRETURN SQL_API SQLConnect(SQLHDBC handle, SQLCHAR *dsn, SQLSMALLINT dsn_length,
                                       SQLCHAR *user, SQLSMALLINT user_length, SQLCHAR *password,
                                       SQLSMALLINT password_length)
{
    return connection_entry(handle, [&](Connection *conn) {
        ConnectionString app;
        init_con_str(&app);
        append_pair(&app, "DSN", counted(dsn, dsn_length).c_str(), conn->mem_handle);
        std::string uid = counted(user, user_length);
        if (!uid.empty())
            append_pair(&app, "UID", uid.c_str(), conn->mem_handle);
        std::string pwd = counted(password, password_length);
        if (!pwd.empty())
            append_pair(&app, "PWD", pwd.c_str(), conn->mem_handle);
        return open_connection(conn, app, nullptr);
    });
}

KXDRV_API SQLRETURN SQL_API SQLDriverConnect(SQLHDBC handle, SQLHWND, SQLCHAR *in,
                                             SQLSMALLINT in_length, SQLCHAR *out,
                                             SQLSMALLINT out_length, SQLSMALLINT *out_written,
                                             SQLUSMALLINT)
{
    return connection_entry(handle, [&](Connection *conn) -> SQLRETURN {
        std::string text = counted(in, in_length);
        ConnectionString app;
        init_con_str(&app);
        // ODBC's grammar: any value may be braced, "}}" standing for "}"
        int32_t status = kxstd_parse_connection_string(&app, conn->mem_handle, text.c_str(),
                                                       static_cast<int32_t>(text.size()), 0);
        if (status == KXSTD_NO_MEMORY)
            return post_error(conn->errors, "HY001", "Memory allocation error");
        if (status != KXSTD_OK)
            return post_error(conn->errors, kxstd_status_state(status), "Invalid connection string");
        std::string completed;
        SQLRETURN rc = open_connection(conn, app, &completed);
        if (rc != SQL_SUCCESS)
            return rc;
        return return_string(conn->errors, completed, out, out_length, out_written);
    });
}

KXDRV_API SQLRETURN SQL_API SQLDisconnect(SQLHDBC handle)
{
    return connection_entry(handle, [&](Connection *conn) -> SQLRETURN {
        trace_call(conn, "SQLDisconnect", "%p", static_cast<void *>(conn));
        // a statement still in a call on another thread keeps the
        // connection open
        for (Statement *stmt : conn->statements) {
            if (!stmt->call_lock.try_lock())
                return post_error(conn->errors, "HY010", "Function sequence error");
            stmt->call_lock.unlock();
        }
        while (!conn->statements.empty())
            free_statement(conn->statements.back());
        // the descriptors the application allocated go with the connection
        while (!conn->descriptors.empty())
            free_descriptor(conn->descriptors.back());
        conn->connected = false;
        conn->trace = false;
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                              SQLINTEGER length)
{
    return connection_entry(handle, [&](Connection *conn) -> SQLRETURN {
        SQLUINTEGER word = static_cast<SQLUINTEGER>(reinterpret_cast<uintptr_t>(value));
        switch (attribute) {
        case SQL_ATTR_AUTOCOMMIT:
            conn->autocommit = word;
            return SQL_SUCCESS;
        case SQL_ATTR_LOGIN_TIMEOUT:
            conn->login_timeout = word;
            return SQL_SUCCESS;
        case SQL_ATTR_CONNECTION_TIMEOUT:
            conn->connection_timeout = word;
            return SQL_SUCCESS;
        case SQL_ATTR_PACKET_SIZE:
            conn->packet_size = word;
            return SQL_SUCCESS;
        case SQL_ATTR_QUIET_MODE:
            conn->quiet_mode = value;
            return SQL_SUCCESS;
        case SQL_ATTR_ACCESS_MODE:
            // the data source is read-only: a read-write hint stays a read-only one
            if (word != SQL_MODE_READ_ONLY)
                return post_warning(conn->errors, "01S02", "Option value changed");
            return SQL_SUCCESS;
        case SQL_ATTR_CURRENT_CATALOG: {
            // the one catalog is the database
            std::string name = app_string(static_cast<SQLCHAR *>(value), length);
            if (name != conn->database_name)
                return post_error(conn->errors, "HY024", "Invalid attribute value");
            return SQL_SUCCESS;
        }
        case SQL_ATTR_TXN_ISOLATION:  // no transactions: no level applies
        case SQL_ATTR_ODBC_CURSORS:   // the driver manager's own
        case SQL_ATTR_TRACE:
        case SQL_ATTR_TRACEFILE:
            return SQL_SUCCESS;
        default:
            return post_error(conn->errors, "HY092", "Invalid attribute/option identifier");
        }
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                              SQLINTEGER buffer_length, SQLINTEGER *length)
{
    return connection_entry(handle, [&](Connection *conn) -> SQLRETURN {
        SQLUINTEGER answer = 0;
        switch (attribute) {
        case SQL_ATTR_AUTOCOMMIT:
            answer = conn->autocommit;
            break;
        case SQL_ATTR_LOGIN_TIMEOUT:
            answer = conn->login_timeout;
            break;
        case SQL_ATTR_ACCESS_MODE:
            answer = SQL_MODE_READ_ONLY;
            break;
        case SQL_ATTR_TXN_ISOLATION:
            answer = 0;
            break;
        case SQL_ATTR_CONNECTION_DEAD:
            answer = conn->connected ? SQL_CD_FALSE : SQL_CD_TRUE;
            break;
        case SQL_ATTR_CONNECTION_TIMEOUT:
            answer = conn->connection_timeout;
            break;
        case SQL_ATTR_PACKET_SIZE:
            answer = conn->packet_size;
            break;
        case SQL_ATTR_QUIET_MODE:
            // a window handle: a pointer's width
            if (value != nullptr)
                *static_cast<SQLPOINTER *>(value) = conn->quiet_mode;
            if (length != nullptr)
                *length = sizeof(SQLPOINTER);
            return SQL_SUCCESS;
        case SQL_ATTR_CURRENT_CATALOG:
            return return_string_int(conn->errors, conn->database_name, value, buffer_length, length);
        default:
            return post_error(conn->errors, "HY092", "Invalid attribute/option identifier");
        }
        if (value != nullptr)
            *static_cast<SQLUINTEGER *>(value) = answer;
        if (length != nullptr)
            *length = sizeof answer;
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLNativeSql(SQLHDBC handle, SQLCHAR *in, SQLINTEGER in_length,
                                         SQLCHAR *out, SQLINTEGER out_length, SQLINTEGER *out_written)
{
    return connection_entry(handle, [&](Connection *conn) -> SQLRETURN {
        std::string text = app_string(in, in_length);
        MemHandle *mem = kx_mem_alloc_handle(conn->mem_handle);
        if (mem == nullptr)
            return post_error(conn->errors, "HY001", "Memory allocation error");
        // the parse tree lives in mem, released however the printing ends
        std::unique_ptr<MemHandle, void (*)(MemHandle *)> tree_memory(
            mem, [](MemHandle *m) { kx_mem_release_handle(m); });
        std::unique_ptr<Query> query(parse_query(text, mem, conn->errors));
        if (!query)
            return SQL_ERROR;
        std::string printed = print_query(*query);
        // the printer leads with a space; the application gets the statement
        size_t first = printed.find_first_not_of(' ');
        printed = first == std::string::npos ? std::string() : printed.substr(first);
        return return_string_int(conn->errors, printed, out, out_length, out_written);
    });
}

KXDRV_API SQLRETURN SQL_API SQLEndTran(SQLSMALLINT handle_type, SQLHANDLE handle, SQLSMALLINT)
{
    // nothing is ever written: commit and rollback have nothing to do
    if (handle_type == SQL_HANDLE_DBC)
        return connection_entry(handle, [](Connection *) { return SQL_SUCCESS; });
    if (handle_type == SQL_HANDLE_ENV)
        return environment_entry(handle, [](Environment *) { return SQL_SUCCESS; });
    return SQL_INVALID_HANDLE;
}

KXDRV_API SQLRETURN SQL_API SQLTransact(SQLHENV env, SQLHDBC dbc, SQLUSMALLINT type)
{
    return SQLEndTran(dbc != nullptr ? SQL_HANDLE_DBC : SQL_HANDLE_ENV, dbc != nullptr ? dbc : env,
                      static_cast<SQLSMALLINT>(type));
}

}  // extern "C"
