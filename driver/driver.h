// driver.h - the records of the reference ODBC driver built on libkxsupp.
//
// Internal to driver/: every ODBC handle the driver hands out is one of the
// records below. Each one derives from the leading record that the library
// reads (DriverEnvironment, DriverConnection, DriverStatement), so a pointer
// the library gives back (a statement found by cursor name, say) converts to
// the driver's record with a static_cast. Each handle owns a memory handle,
// a child of its parent's, and an error header made in it; releasing the
// memory handle releases everything the library allocated for the handle.
#ifndef KXEVALDRV_DRIVER_H
#define KXEVALDRV_DRIVER_H

#include <sql.h>
#include <sqlext.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "driver/unicode.h"
#include "kxsupp.h"

namespace kxdrv {

struct Connection;
struct Descriptor;
struct Statement;
struct Query;
struct ResultSet;

// The name the driver gives itself in messages ("[kxevaldrv]...").
inline constexpr const char *kComponent = "kxevaldrv";

// The largest text or binary value a statement may make or send, and the
// memory a sort may hold, unless the data source or the connection string
// says otherwise (MaxValueSize, MaxSortMemory). A value's length is an
// SQLINTEGER, so no setting goes past kLargestValueSize.
inline constexpr size_t kDefaultMaxValueSize = 256u << 20;
inline constexpr size_t kDefaultMaxSortMemory = 256u << 20;
inline constexpr size_t kLargestValueSize = 0x7FFFFFFE;

// Each record carries a mark of its type while it lives, so that an entry
// point given a null, freed or wrong kind of handle answers
// SQL_INVALID_HANDLE rather than reading it as another record.
inline constexpr uint32_t kEnvironmentMark = 0x4B58454E;  // "KXEN"
inline constexpr uint32_t kConnectionMark = 0x4B584443;   // "KXDC"
inline constexpr uint32_t kStatementMark = 0x4B585354;    // "KXST"
inline constexpr uint32_t kDescriptorMark = 0x4B584453;   // "KXDS"

struct Environment : DriverEnvironment {
    uint32_t mark = kEnvironmentMark;
    MemHandle *mem = nullptr;
    ErrorHeader *errors = nullptr;
    std::recursive_mutex lock;   // held by the ODBC call running on it
    // SQL_ATTR_ODBC_VERSION as the application set it (SQL_OV_ODBC3_80
    // behaves as SQL_OV_ODBC3, and is read back as it was set)
    SQLINTEGER version_asked = SQL_OV_ODBC3;
    SQLUINTEGER cp_match = SQL_CP_STRICT_MATCH;
};

struct Connection : DriverConnection {
    uint32_t mark = kConnectionMark;
    // Held by the ODBC call running on the connection, and by a statement's
    // call while it touches what the connection's statements share (the
    // connection's memory handle, its statement list, cursor names and
    // profile handle).
    std::recursive_mutex lock;
    Environment *env = nullptr;
    bool connected = false;
    std::string dsn;             // the data source named at connect time
    std::string database_name;   // what DATABASE() gives
    ProfileHandle *profile = nullptr;
    bool trace = false;          // the data source turned tracing on
    SQLUINTEGER autocommit = SQL_AUTOCOMMIT_ON;
    SQLUINTEGER login_timeout = 0;
    SQLUINTEGER connection_timeout = 0;  // kept and reported; nothing waits on a network
    SQLUINTEGER packet_size = 0;         // likewise: there are no packets
    SQLPOINTER quiet_mode = nullptr;     // the application's window; no dialog is shown
    // Data-source settings that bound the memory a statement may take
    // (MaxValueSize, MaxSortMemory), in octets.
    size_t max_value_size = kDefaultMaxValueSize;
    size_t max_sort_memory = kDefaultMaxSortMemory;
    std::vector<Statement *> statements;
    std::vector<Descriptor *> descriptors;  // allocated with SQLAllocHandle
};

// One parameter as the statement reads it: its application buffer (the
// APD's record) and what it is in the statement (the IPD's), in
// SQLBindParameter's terms.
struct ParamBinding {
    bool bound = false;
    SQLSMALLINT io_type = SQL_PARAM_INPUT;
    SQLSMALLINT c_type = SQL_C_DEFAULT;
    SQLSMALLINT sql_type = SQL_VARCHAR;
    SQLULEN column_size = 0;
    SQLSMALLINT decimal_digits = 0;
    SQLPOINTER data = nullptr;
    SQLLEN buffer_length = 0;
    SQLLEN *indicator = nullptr;       // the length, or SQL_NULL_DATA
    // A separate null indicator (SQL_DESC_INDICATOR_PTR apart from
    // SQL_DESC_OCTET_LENGTH_PTR), or null.
    SQLLEN *null_indicator = nullptr;
};

// One record of a descriptor: a bound column or parameter (application
// descriptors) or what a column or parameter is (implementation ones).
struct DescRecord {
    SQLSMALLINT type = SQL_C_DEFAULT;
    SQLSMALLINT concise_type = SQL_C_DEFAULT;
    SQLSMALLINT datetime_interval_code = 0;
    SQLINTEGER datetime_interval_precision = 0;
    SQLLEN octet_length = 0;
    SQLULEN length = 0;
    SQLSMALLINT precision = 0;
    SQLSMALLINT scale = 0;
    SQLINTEGER num_prec_radix = 0;
    SQLPOINTER data_ptr = nullptr;
    SQLLEN *indicator_ptr = nullptr;
    SQLLEN *octet_length_ptr = nullptr;
    std::string name;
    SQLSMALLINT nullable = SQL_NULLABLE;
    SQLSMALLINT unnamed = SQL_UNNAMED;
    SQLSMALLINT parameter_type = SQL_PARAM_INPUT;
};

// The header of a descriptor. bind_type is SQL_BIND_BY_COLUMN or the
// octets of one row-wise structure.
struct DescHeader {
    SQLSMALLINT alloc_type = SQL_DESC_ALLOC_AUTO;
    SQLULEN array_size = 1;
    SQLUSMALLINT *array_status_ptr = nullptr;
    SQLLEN *bind_offset_ptr = nullptr;
    SQLULEN bind_type = SQL_BIND_BY_COLUMN;
    SQLULEN *rows_processed_ptr = nullptr;
};

// What a descriptor describes. An explicitly allocated one is an
// application descriptor that serves as ARD or APD, or both, of any of its
// connection's statements.
enum class DescKind { kAppRow, kAppParam, kImpRow, kImpParam, kExplicit };

struct Descriptor {
    uint32_t mark = kDescriptorMark;
    DescKind kind = DescKind::kExplicit;
    Connection *conn = nullptr;
    Statement *owner = nullptr;       // the statement of an implicit one
    MemHandle *mem = nullptr;
    ErrorHeader *errors = nullptr;
    DescHeader header;
    // records[0] is record 1; their number is SQL_DESC_COUNT. An IRD keeps
    // none: its records are the statement's described columns.
    std::vector<DescRecord> records;
    std::vector<Statement *> users;   // statements using an explicit one

    Descriptor() = default;
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() { mark = 0; }
};

// Statement states that check_timeout honours: 2 while executing, 3 while
// fetching.
inline constexpr uint32_t kStateIdle = 0;
inline constexpr uint32_t kStatePrepared = 1;
inline constexpr uint32_t kStateExecuting = 2;
inline constexpr uint32_t kStateFetching = 3;
inline constexpr uint32_t kStateNeedData = 4;

struct Statement : DriverStatement {
    uint32_t mark = kStatementMark;
    Connection *conn = nullptr;
    MemHandle *mem = nullptr;         // the statement's own handle
    MemHandle *query_mem = nullptr;   // the parse tree of the prepared text
    std::string text;                 // the prepared SQL text
    std::unique_ptr<Query> query;     // the parsed statement, or null
    std::unique_ptr<ResultSet> result;
    SQLULEN query_timeout = 0;
    SQLULEN max_rows = 0;
    // The four descriptors: the application's row and parameter
    // descriptors in use (the implicit ones, or explicit ones set with
    // SQLSetStmtAttr), and the implementation's. Bound columns, bound
    // parameters and the block-fetch and parameter-array attributes
    // (SQL_ATTR_ROW_ARRAY_SIZE, SQL_ATTR_PARAMSET_SIZE, ...) live in them.
    Descriptor *ard = nullptr;
    Descriptor *apd = nullptr;
    std::unique_ptr<Descriptor> implicit_ard;
    std::unique_ptr<Descriptor> implicit_apd;
    std::unique_ptr<Descriptor> ird;
    std::unique_ptr<Descriptor> ipd;
    SQLULEN rowset_size = 1;          // SQL_ROWSET_SIZE, SQLExtendedFetch's
    SQLUSMALLINT *row_operation_ptr = nullptr;
    SQLULEN param_set = 0;            // the parameter set the statement reads now
    // SQL_CURSOR_FORWARD_ONLY, or SQL_CURSOR_STATIC: every row is held at
    // execution and SQLFetchScroll moves over them in any direction.
    SQLULEN cursor_type = SQL_CURSOR_FORWARD_ONLY;
    SQLULEN cursor_sensitivity = SQL_UNSPECIFIED;  // or SQL_INSENSITIVE
    SQLULEN noscan = SQL_NOSCAN_OFF;
    bool param_array_open = false;    // SQLMoreResults goes on to the next set
    std::mutex call_lock;             // held by the ODBC call running on it
    int32_t need_data_param = -1;     // the parameter SQLPutData fills
    bool put_data_started = false;
    Utf16Decoder put_decoder;         // a wide character split between two pieces
    std::vector<Value *> long_params; // long values sent with SQLPutData
    MemHandle *long_mem = nullptr;    // where those values live
    bool prepared_with_sqlprepare = false;
    bool keep_deadline = false;       // SQLExecDirect: the parse's deadline goes on
    // The clock as the statement started, to the nanosecond: every
    // CURRENT_TIMESTAMP, NOW and CURDATE in the statement reads it.
    TimestampStruct clock{};
    bool clock_read = false;
};

// ---- handles.cpp ----

// A handle's error header in standard mode: the driver's name on every
// message (the library's too), ODBC's origins and ODBC 2 states, and
// data_source as SQL_DIAG_SERVER_NAME. Null when memory runs out.
ErrorHeader *make_error_header(MemHandle *mem, const DriverEnvironment *env, const char *data_source);

// ---- diagnostics.cpp ----

// Starts an ODBC call on a handle: clears its diagnostics.
void begin_call(ErrorHeader *errors, int32_t function_code);
// Posts one ODBC 3 diagnostic on the header and returns SQL_ERROR.
SQLRETURN post_error(ErrorHeader *errors, const char *sqlstate, const char *message);
// Posts one warning and returns SQL_SUCCESS_WITH_INFO.
SQLRETURN post_warning(ErrorHeader *errors, const char *sqlstate, const char *message);
// The header's return code folded with a new one: an error wins, then info.
SQLRETURN finish(ErrorHeader *errors, SQLRETURN code);

// ---- info.cpp ----

// Whether SQLGetInfo answers the information type with a character string
// (false for a number and for a type it does not know): SQLGetInfoW
// converts those answers and passes the others through.
bool info_answer_is_text(Connection *conn, SQLUSMALLINT type);

// ---- descriptors.cpp ----

// A descriptor allocated with SQLAllocHandle, or null when memory runs out.
Descriptor *new_explicit_descriptor(Connection *conn);
// Makes the statement's four implicit descriptors; false when memory runs
// out (nothing is left made).
bool make_implicit_descriptors(Statement *stmt);
// The statement stops using the explicit descriptors it uses (it is freed).
void leave_descriptors(Statement *stmt);
// Frees an explicit descriptor: its statements go back to their implicit
// ones. Called with the connection's lock held.
void free_descriptor(Descriptor *desc);
// SQLSetStmtAttr's SQL_ATTR_APP_ROW_DESC and SQL_ATTR_APP_PARAM_DESC.
SQLRETURN use_descriptor(Statement *stmt, bool row, SQLHANDLE handle);
// Parameter `index` (0-based) as bound, from the APD and the IPD.
ParamBinding bound_parameter(const Statement *stmt, size_t index);
bool parameter_bound(const Statement *stmt, size_t index);
// An application record with a buffer, an indicator or a length.
bool record_bound(const DescRecord &record);
// SQLBindCol and SQLBindParameter into the ARD, and the APD and the IPD.
void bind_column(Descriptor *ard, size_t number, SQLSMALLINT c_type, SQLPOINTER data,
                 SQLLEN buffer_length, SQLLEN *indicator);
void bind_parameter(Statement *stmt, size_t number, const ParamBinding &binding);
// Sets a record's concise type, and with it its type and date-time code.
void set_concise_type(DescRecord &record, SQLSMALLINT concise_type);

// ---- trace.cpp ----

// Writes one trace line for the connection's data source when tracing is
// on, in the trace log's own format language (%p, %I, %S, %e, ...).
void trace_call(Connection *conn, const char *function, const char *format, ...);

// ---- strings ----

// The length of an application string given with SQL_NTS or a length.
std::string app_string(const SQLCHAR *text, SQLINTEGER length);
// Copies text into an application buffer with the ODBC truncation rules:
// SQL_SUCCESS_WITH_INFO and 01004 on the header when cut.
SQLRETURN return_string(ErrorHeader *errors, const std::string &text, SQLPOINTER buffer,
                        SQLLEN buffer_length, SQLSMALLINT *length_out);
SQLRETURN return_string_int(ErrorHeader *errors, const std::string &text, SQLPOINTER buffer,
                            SQLLEN buffer_length, SQLINTEGER *length_out);

}  // namespace kxdrv

#endif  // KXEVALDRV_DRIVER_H
