// info.cpp - what the driver says about itself: SQLGetInfo, SQLGetFunctions
// and SQLGetTypeInfo.
//
// Exports the ODBC entry points SQLGetInfo, SQLGetFunctions and
// SQLGetTypeInfo, and (driver-internal) info_answer_is_text, which tells
// SQLGetInfoW which answers are text to convert. The scalar-function
// bitmasks of SQLGetInfo (SQL_STRING_FUNCTIONS, SQL_NUMERIC_FUNCTIONS,
// SQL_TIMEDATE_FUNCTIONS, SQL_SYSTEM_FUNCTIONS, SQL_TIMEDATE_ADD_INTERVALS,
// SQL_TIMEDATE_DIFF_INTERVALS) are worked out from the library's function
// catalogue: a bit is set when the catalogue holds the function.
// SQLGetTypeInfo's rows are held like the catalogue functions' (catalog.h).
#include <cstring>

#include "driver/catalog.h"
#include "driver/evaluate.h"
#include "driver/entry.h"
#include "driver/handles.h"

namespace kxdrv {

namespace {

struct FunctionBit {
    const char *name;
    SQLUINTEGER bit;
};

// The ODBC bit of each scalar function, by family.
constexpr FunctionBit kStringBits[] = {
    {"ASCII", SQL_FN_STR_ASCII},       {"BIT_LENGTH", SQL_FN_STR_BIT_LENGTH},
    {"CHAR", SQL_FN_STR_CHAR},         {"CHAR_LENGTH", SQL_FN_STR_CHAR_LENGTH},
    {"CHARACTER_LENGTH", SQL_FN_STR_CHARACTER_LENGTH},
    {"CONCAT", SQL_FN_STR_CONCAT},     {"DIFFERENCE", SQL_FN_STR_DIFFERENCE},
    {"INSERT", SQL_FN_STR_INSERT},     {"LCASE", SQL_FN_STR_LCASE},
    {"LEFT", SQL_FN_STR_LEFT},         {"LENGTH", SQL_FN_STR_LENGTH},
    {"LOCATE", SQL_FN_STR_LOCATE},     {"LTRIM", SQL_FN_STR_LTRIM},
    {"OCTET_LENGTH", SQL_FN_STR_OCTET_LENGTH}, {"POSITION", SQL_FN_STR_POSITION},
    {"REPEAT", SQL_FN_STR_REPEAT},     {"REPLACE", SQL_FN_STR_REPLACE},
    {"RIGHT", SQL_FN_STR_RIGHT},       {"RTRIM", SQL_FN_STR_RTRIM},
    {"SOUNDEX", SQL_FN_STR_SOUNDEX},   {"SPACE", SQL_FN_STR_SPACE},
    {"SUBSTRING", SQL_FN_STR_SUBSTRING}, {"UCASE", SQL_FN_STR_UCASE},
};
constexpr FunctionBit kNumericBits[] = {
    {"ABS", SQL_FN_NUM_ABS},         {"ACOS", SQL_FN_NUM_ACOS},   {"ASIN", SQL_FN_NUM_ASIN},
    {"ATAN", SQL_FN_NUM_ATAN},       {"ATAN2", SQL_FN_NUM_ATAN2}, {"CEILING", SQL_FN_NUM_CEILING},
    {"COS", SQL_FN_NUM_COS},         {"COT", SQL_FN_NUM_COT},     {"DEGREES", SQL_FN_NUM_DEGREES},
    {"EXP", SQL_FN_NUM_EXP},         {"FLOOR", SQL_FN_NUM_FLOOR}, {"LOG", SQL_FN_NUM_LOG},
    {"LOG10", SQL_FN_NUM_LOG10},     {"MOD", SQL_FN_NUM_MOD},     {"PI", SQL_FN_NUM_PI},
    {"POWER", SQL_FN_NUM_POWER},     {"RADIANS", SQL_FN_NUM_RADIANS}, {"RAND", SQL_FN_NUM_RAND},
    {"ROUND", SQL_FN_NUM_ROUND},     {"SIGN", SQL_FN_NUM_SIGN},   {"SIN", SQL_FN_NUM_SIN},
    {"SQRT", SQL_FN_NUM_SQRT},       {"TAN", SQL_FN_NUM_TAN},     {"TRUNCATE", SQL_FN_NUM_TRUNCATE},
};
constexpr FunctionBit kTimeDateBits[] = {
    {"CURDATE", SQL_FN_TD_CURDATE},     {"CURRENT_DATE", SQL_FN_TD_CURRENT_DATE},
    {"CURRENT_TIME", SQL_FN_TD_CURRENT_TIME}, {"CURRENT_TIMESTAMP", SQL_FN_TD_CURRENT_TIMESTAMP},
    {"CURTIME", SQL_FN_TD_CURTIME},     {"DAYNAME", SQL_FN_TD_DAYNAME},
    {"DAYOFMONTH", SQL_FN_TD_DAYOFMONTH}, {"DAYOFWEEK", SQL_FN_TD_DAYOFWEEK},
    {"DAYOFYEAR", SQL_FN_TD_DAYOFYEAR}, {"EXTRACT", SQL_FN_TD_EXTRACT},
    {"HOUR", SQL_FN_TD_HOUR},           {"MINUTE", SQL_FN_TD_MINUTE},
    {"MONTH", SQL_FN_TD_MONTH},         {"MONTHNAME", SQL_FN_TD_MONTHNAME},
    {"NOW", SQL_FN_TD_NOW},             {"QUARTER", SQL_FN_TD_QUARTER},
    {"SECOND", SQL_FN_TD_SECOND},       {"TIMESTAMPADD", SQL_FN_TD_TIMESTAMPADD},
    {"TIMESTAMPDIFF", SQL_FN_TD_TIMESTAMPDIFF}, {"WEEK", SQL_FN_TD_WEEK},
    {"YEAR", SQL_FN_TD_YEAR},
};
constexpr FunctionBit kSystemBits[] = {
    {"DATABASE", SQL_FN_SYS_DBNAME}, {"IFNULL", SQL_FN_SYS_IFNULL}, {"USER", SQL_FN_SYS_USERNAME},
};

// The interval units TIMESTAMPADD and TIMESTAMPDIFF take.
constexpr SQLUINTEGER kIntervalBits = SQL_FN_TSI_FRAC_SECOND | SQL_FN_TSI_SECOND | SQL_FN_TSI_MINUTE |
                                      SQL_FN_TSI_HOUR | SQL_FN_TSI_DAY | SQL_FN_TSI_WEEK |
                                      SQL_FN_TSI_MONTH | SQL_FN_TSI_QUARTER | SQL_FN_TSI_YEAR;

bool in_catalogue(const char *name)
{
    return kxstd_get_function_id(name, 0) != KX_FUNCTION_NOT_FOUND;
}

template <size_t N>
SQLUINTEGER catalogue_bits(const FunctionBit (&table)[N])
{
    SQLUINTEGER bits = 0;
    for (const FunctionBit &f : table)
        if (in_catalogue(f.name))
            bits |= f.bit;
    return bits;
}

// The ODBC entry points the driver exports, each once by its ANSI name: a
// W form (wide.cpp) shares its ANSI form's number, so SQLGetFunctions
// answers from this table alone, in each of its forms. catalog_test checks
// it against the shared object's exported names, which is what a driver
// manager looks the functions up by.
struct EntryPoint {
    SQLUSMALLINT id;
    const char *name;
};

constexpr EntryPoint kEntryPoints[] = {
    // handles (handles.cpp)
    {SQL_API_SQLALLOCHANDLE, "SQLAllocHandle"},
    {SQL_API_SQLFREEHANDLE, "SQLFreeHandle"},
    {SQL_API_SQLALLOCENV, "SQLAllocEnv"},
    {SQL_API_SQLALLOCCONNECT, "SQLAllocConnect"},
    {SQL_API_SQLALLOCSTMT, "SQLAllocStmt"},
    {SQL_API_SQLFREEENV, "SQLFreeEnv"},
    {SQL_API_SQLFREECONNECT, "SQLFreeConnect"},
    {SQL_API_SQLFREESTMT, "SQLFreeStmt"},
    {SQL_API_SQLSETENVATTR, "SQLSetEnvAttr"},
    {SQL_API_SQLGETENVATTR, "SQLGetEnvAttr"},
    // connections (connection.cpp)
    {SQL_API_SQLCONNECT, "SQLConnect"},
    {SQL_API_SQLDRIVERCONNECT, "SQLDriverConnect"},
    {SQL_API_SQLDISCONNECT, "SQLDisconnect"},
    {SQL_API_SQLSETCONNECTATTR, "SQLSetConnectAttr"},
    {SQL_API_SQLGETCONNECTATTR, "SQLGetConnectAttr"},
    {SQL_API_SQLNATIVESQL, "SQLNativeSql"},
    {SQL_API_SQLENDTRAN, "SQLEndTran"},
    {SQL_API_SQLTRANSACT, "SQLTransact"},
    // what the driver says of itself (info.cpp)
    {SQL_API_SQLGETINFO, "SQLGetInfo"},
    {SQL_API_SQLGETFUNCTIONS, "SQLGetFunctions"},
    {SQL_API_SQLGETTYPEINFO, "SQLGetTypeInfo"},
    // the catalogue (catalog.cpp)
    {SQL_API_SQLTABLES, "SQLTables"},
    {SQL_API_SQLCOLUMNS, "SQLColumns"},
    {SQL_API_SQLPRIMARYKEYS, "SQLPrimaryKeys"},
    {SQL_API_SQLFOREIGNKEYS, "SQLForeignKeys"},
    {SQL_API_SQLSTATISTICS, "SQLStatistics"},
    {SQL_API_SQLSPECIALCOLUMNS, "SQLSpecialColumns"},
    {SQL_API_SQLPROCEDURES, "SQLProcedures"},
    {SQL_API_SQLPROCEDURECOLUMNS, "SQLProcedureColumns"},
    {SQL_API_SQLTABLEPRIVILEGES, "SQLTablePrivileges"},
    {SQL_API_SQLCOLUMNPRIVILEGES, "SQLColumnPrivileges"},
    // statements (statement.cpp)
    {SQL_API_SQLPREPARE, "SQLPrepare"},
    {SQL_API_SQLEXECUTE, "SQLExecute"},
    {SQL_API_SQLEXECDIRECT, "SQLExecDirect"},
    {SQL_API_SQLBINDPARAMETER, "SQLBindParameter"},
    {SQL_API_SQLNUMPARAMS, "SQLNumParams"},
    {SQL_API_SQLDESCRIBEPARAM, "SQLDescribeParam"},
    {SQL_API_SQLPARAMDATA, "SQLParamData"},
    {SQL_API_SQLPUTDATA, "SQLPutData"},
    {SQL_API_SQLCANCEL, "SQLCancel"},
    {SQL_API_SQLSETSTMTATTR, "SQLSetStmtAttr"},
    {SQL_API_SQLGETSTMTATTR, "SQLGetStmtAttr"},
    {SQL_API_SQLSETCURSORNAME, "SQLSetCursorName"},
    {SQL_API_SQLGETCURSORNAME, "SQLGetCursorName"},
    {SQL_API_SQLROWCOUNT, "SQLRowCount"},
    {SQL_API_SQLMORERESULTS, "SQLMoreResults"},
    {SQL_API_SQLCLOSECURSOR, "SQLCloseCursor"},
    // results (results.cpp)
    {SQL_API_SQLNUMRESULTCOLS, "SQLNumResultCols"},
    {SQL_API_SQLDESCRIBECOL, "SQLDescribeCol"},
    {SQL_API_SQLCOLATTRIBUTE, "SQLColAttribute"},
    {SQL_API_SQLBINDCOL, "SQLBindCol"},
    {SQL_API_SQLFETCH, "SQLFetch"},
    {SQL_API_SQLFETCHSCROLL, "SQLFetchScroll"},
    {SQL_API_SQLEXTENDEDFETCH, "SQLExtendedFetch"},
    {SQL_API_SQLGETDATA, "SQLGetData"},
    // descriptors (descriptors.cpp)
    {SQL_API_SQLGETDESCFIELD, "SQLGetDescField"},
    {SQL_API_SQLSETDESCFIELD, "SQLSetDescField"},
    {SQL_API_SQLGETDESCREC, "SQLGetDescRec"},
    {SQL_API_SQLSETDESCREC, "SQLSetDescRec"},
    {SQL_API_SQLCOPYDESC, "SQLCopyDesc"},
    // diagnostics (diagnostics.cpp)
    {SQL_API_SQLGETDIAGREC, "SQLGetDiagRec"},
    {SQL_API_SQLGETDIAGFIELD, "SQLGetDiagField"},
    {SQL_API_SQLERROR, "SQLError"},
};

enum class Answer { kText, kSmall, kWord };

struct InfoAnswer {
    Answer kind = Answer::kWord;
    std::string text;
    SQLUINTEGER word = 0;
};

InfoAnswer text(const std::string &s)
{
    InfoAnswer a;
    a.kind = Answer::kText;
    a.text = s;
    return a;
}

InfoAnswer small(SQLUSMALLINT n)
{
    InfoAnswer a;
    a.kind = Answer::kSmall;
    a.word = n;
    return a;
}

InfoAnswer word(SQLUINTEGER n)
{
    InfoAnswer a;
    a.word = n;
    return a;
}

bool answer_for(Connection *conn, SQLUSMALLINT type, InfoAnswer &a)
{
    switch (type) {
    case SQL_DRIVER_NAME: a = text("libkxevaldrv.so"); break;
    case SQL_DRIVER_VER: a = text("00.01.0000"); break;
    case SQL_DRIVER_ODBC_VER: a = text("03.00"); break;
    case SQL_DBMS_NAME: a = text("kxeval"); break;
    case SQL_DBMS_VER: a = text("00.01.0000"); break;
    case SQL_DATA_SOURCE_NAME: a = text(conn->dsn); break;
    case SQL_SERVER_NAME: a = text("kxeval"); break;
    case SQL_DATABASE_NAME: a = text(conn->database_name); break;
    case SQL_USER_NAME: {
        const char *uid = get_attribute_value(&conn->attributes, "UID");
        a = text(uid != nullptr ? uid : "");
        break;
    }
    case SQL_IDENTIFIER_QUOTE_CHAR: a = text("\""); break;
    case SQL_CATALOG_NAME_SEPARATOR: a = text("."); break;
    case SQL_CATALOG_TERM: a = text(""); break;
    case SQL_SCHEMA_TERM: a = text(""); break;
    case SQL_TABLE_TERM: a = text("table"); break;
    case SQL_PROCEDURE_TERM: a = text(""); break;
    case SQL_SEARCH_PATTERN_ESCAPE: a = text("\\"); break;
    case SQL_SPECIAL_CHARACTERS: a = text(""); break;
    case SQL_KEYWORDS: a = text("SERIES"); break;
    case SQL_DATA_SOURCE_READ_ONLY: a = text("Y"); break;
    case SQL_ACCESSIBLE_TABLES: a = text("Y"); break;
    case SQL_ACCESSIBLE_PROCEDURES: a = text("N"); break;
    case SQL_NEED_LONG_DATA_LEN: a = text("N"); break;
    case SQL_COLUMN_ALIAS: a = text("Y"); break;
    case SQL_ORDER_BY_COLUMNS_IN_SELECT: a = text("N"); break;
    case SQL_EXPRESSIONS_IN_ORDERBY: a = text("Y"); break;
    case SQL_MULT_RESULT_SETS: a = text("N"); break;
    case SQL_MULTIPLE_ACTIVE_TXN: a = text("Y"); break;
    case SQL_OUTER_JOINS: a = text("N"); break;
    case SQL_PROCEDURES: a = text("N"); break;
    case SQL_ROW_UPDATES: a = text("N"); break;
    case SQL_DESCRIBE_PARAMETER: a = text("Y"); break;  // SQLDescribeParam
    case SQL_INTEGRITY: a = text("N"); break;
    case SQL_LIKE_ESCAPE_CLAUSE: a = text("N"); break;
    case SQL_MAX_ROW_SIZE_INCLUDES_LONG: a = text("N"); break;
    case SQL_CATALOG_NAME: a = text("N"); break;
    case SQL_COLLATION_SEQ: a = text(""); break;
    case SQL_XOPEN_CLI_YEAR: a = text("1995"); break;
    case SQL_MAX_COLUMN_NAME_LEN:
    case SQL_MAX_IDENTIFIER_LEN:
        a = small(static_cast<SQLUSMALLINT>(kMaxNameLength));
        break;
    case SQL_MAX_CURSOR_NAME_LEN:
        a = small(128);
        break;
    case SQL_MAX_COLUMNS_IN_SELECT:
        a = small(static_cast<SQLUSMALLINT>(kMaxColumns));
        break;
    case SQL_MAX_SCHEMA_NAME_LEN:
    case SQL_MAX_CATALOG_NAME_LEN:
    case SQL_MAX_TABLE_NAME_LEN:
    case SQL_MAX_PROCEDURE_NAME_LEN:
    case SQL_MAX_USER_NAME_LEN:
    case SQL_MAX_COLUMNS_IN_GROUP_BY:
    case SQL_MAX_COLUMNS_IN_INDEX:
    case SQL_MAX_COLUMNS_IN_ORDER_BY:
    case SQL_MAX_COLUMNS_IN_TABLE:
    case SQL_MAX_TABLES_IN_SELECT:
    case SQL_MAX_CONCURRENT_ACTIVITIES:
    case SQL_MAX_DRIVER_CONNECTIONS:
        a = small(0);
        break;
    case SQL_TXN_CAPABLE: a = small(SQL_TC_NONE); break;
    case SQL_CURSOR_COMMIT_BEHAVIOR:
    case SQL_CURSOR_ROLLBACK_BEHAVIOR:
        a = small(SQL_CB_PRESERVE);
        break;
    case SQL_CONCAT_NULL_BEHAVIOR: a = small(SQL_CB_NULL); break;
    case SQL_NON_NULLABLE_COLUMNS: a = small(SQL_NNC_NULL); break;
    case SQL_IDENTIFIER_CASE: a = small(SQL_IC_MIXED); break;
    case SQL_QUOTED_IDENTIFIER_CASE: a = small(SQL_IC_SENSITIVE); break;
    case SQL_NULL_COLLATION: a = small(SQL_NC_LOW); break;
    case SQL_GROUP_BY: a = small(SQL_GB_NOT_SUPPORTED); break;
    case SQL_CORRELATION_NAME: a = small(SQL_CN_ANY); break;
    case SQL_ODBC_SQL_CONFORMANCE: a = small(SQL_OSC_MINIMUM); break;
    // ODBC 2's Level 1: the Core functions, SQLColumns, SQLDriverConnect,
    // SQLGetData, SQLGetFunctions, SQLGetInfo, SQLGetTypeInfo, SQLParamData,
    // SQLPutData, SQLSpecialColumns, SQLStatistics and SQLTables (the
    // option functions are the attribute functions under a driver manager)
    case SQL_ODBC_API_CONFORMANCE: a = small(SQL_OAC_LEVEL1); break;
    case SQL_FILE_USAGE: a = small(SQL_FILE_NOT_SUPPORTED); break;
    case SQL_CATALOG_LOCATION: a = small(0); break;
    case SQL_STRING_FUNCTIONS: {
        // LOCATE_2: LOCATE without its start position
        SQLUINTEGER bits = catalogue_bits(kStringBits);
        int32_t id = kxstd_get_function_id("LOCATE", 0), least = 0, most = 0;
        if (id != KX_FUNCTION_NOT_FOUND)
            kxstd_get_function_arg_range(id, &least, &most);
        if (id != KX_FUNCTION_NOT_FOUND && least <= 2 && most >= 2)
            bits |= SQL_FN_STR_LOCATE_2;
        a = word(bits);
        break;
    }
    case SQL_NUMERIC_FUNCTIONS: a = word(catalogue_bits(kNumericBits)); break;
    case SQL_TIMEDATE_FUNCTIONS: a = word(catalogue_bits(kTimeDateBits)); break;
    case SQL_SYSTEM_FUNCTIONS: a = word(catalogue_bits(kSystemBits)); break;
    case SQL_TIMEDATE_ADD_INTERVALS: a = word(in_catalogue("TIMESTAMPADD") ? kIntervalBits : 0); break;
    case SQL_TIMEDATE_DIFF_INTERVALS: a = word(in_catalogue("TIMESTAMPDIFF") ? kIntervalBits : 0); break;
    case SQL_CONVERT_FUNCTIONS: a = word(SQL_FN_CVT_CAST | SQL_FN_CVT_CONVERT); break;
    case SQL_GETDATA_EXTENSIONS:
        a = word(SQL_GD_ANY_COLUMN | SQL_GD_ANY_ORDER | SQL_GD_BOUND);
        break;
    case SQL_SCROLL_OPTIONS: a = word(SQL_SO_FORWARD_ONLY | SQL_SO_STATIC); break;
    case SQL_FETCH_DIRECTION:
        a = word(SQL_FD_FETCH_NEXT | SQL_FD_FETCH_FIRST | SQL_FD_FETCH_LAST | SQL_FD_FETCH_PRIOR |
                 SQL_FD_FETCH_ABSOLUTE | SQL_FD_FETCH_RELATIVE);
        break;
    // a static cursor scrolls every way, so no driver manager needs its
    // cursor library in front of the driver
    case SQL_STATIC_CURSOR_ATTRIBUTES1: a = word(SQL_CA1_NEXT | SQL_CA1_ABSOLUTE | SQL_CA1_RELATIVE); break;
    case SQL_STATIC_CURSOR_ATTRIBUTES2:
        a = word(SQL_CA2_READ_ONLY_CONCURRENCY | SQL_CA2_MAX_ROWS_SELECT);
        break;
    case SQL_SCROLL_CONCURRENCY: a = word(SQL_SCCO_READ_ONLY); break;
    case SQL_CURSOR_SENSITIVITY: a = word(SQL_INSENSITIVE); break;
    case SQL_TXN_ISOLATION_OPTION:
    case SQL_DEFAULT_TXN_ISOLATION:
    case SQL_BOOKMARK_PERSISTENCE:
    case SQL_POS_OPERATIONS:
    case SQL_POSITIONED_STATEMENTS:
    case SQL_LOCK_TYPES:
    case SQL_STATIC_SENSITIVITY:
    case SQL_MAX_ROW_SIZE:
    case SQL_MAX_STATEMENT_LEN:
    case SQL_MAX_CHAR_LITERAL_LEN:
    case SQL_MAX_BINARY_LITERAL_LEN:
    case SQL_MAX_INDEX_SIZE:
    case SQL_SUBQUERIES:
    case SQL_UNION:
    case SQL_ALTER_TABLE:
    case SQL_DDL_INDEX:
    case SQL_DROP_TABLE:
    case SQL_DROP_VIEW:
    case SQL_CREATE_TABLE:
    case SQL_CREATE_VIEW:
    case SQL_INSERT_STATEMENT:
    case SQL_SCHEMA_USAGE:
    case SQL_CATALOG_USAGE:
    case SQL_OJ_CAPABILITIES:
    case SQL_ASYNC_MODE:
    case SQL_MAX_ASYNC_CONCURRENT_STATEMENTS:
    case SQL_BATCH_ROW_COUNT:
    case SQL_BATCH_SUPPORT:
    case SQL_DYNAMIC_CURSOR_ATTRIBUTES1:
    case SQL_DYNAMIC_CURSOR_ATTRIBUTES2:
    case SQL_KEYSET_CURSOR_ATTRIBUTES1:
    case SQL_KEYSET_CURSOR_ATTRIBUTES2:
    case SQL_SQL92_FOREIGN_KEY_DELETE_RULE:
    case SQL_SQL92_FOREIGN_KEY_UPDATE_RULE:
    case SQL_SQL92_GRANT:
    case SQL_SQL92_REVOKE:
    case SQL_SQL92_RELATIONAL_JOIN_OPERATORS:
    case SQL_SQL92_ROW_VALUE_CONSTRUCTOR:
    case SQL_AGGREGATE_FUNCTIONS:
        a = word(0);
        break;
    case SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES1: a = word(SQL_CA1_NEXT); break;
    case SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2: a = word(SQL_CA2_READ_ONLY_CONCURRENCY); break;
    case SQL_PARAM_ARRAY_ROW_COUNTS: a = word(SQL_PARC_BATCH); break;
    case SQL_PARAM_ARRAY_SELECTS: a = word(SQL_PAS_BATCH); break;
    case SQL_SQL_CONFORMANCE: a = word(SQL_SC_SQL92_ENTRY); break;
    // Core, the lowest level ODBC 3 names and the one every driver claims;
    // of Core the driver lacks the descriptor functions (SQLGetDescField,
    // SQLSetDescField, SQLGetDescRec, SQLSetDescRec, SQLCopyDesc), arrays
    // of parameters and bind offsets (README, "The reference ODBC driver").
    // Nothing of Level 1 (scrollable cursors, SQLBrowseConnect, ...) is
    // claimed.
    case SQL_ODBC_INTERFACE_CONFORMANCE: a = word(SQL_OIC_CORE); break;
    case SQL_DATETIME_LITERALS:
        a = word(SQL_DL_SQL92_DATE | SQL_DL_SQL92_TIME | SQL_DL_SQL92_TIMESTAMP |
                 SQL_DL_SQL92_INTERVAL_YEAR | SQL_DL_SQL92_INTERVAL_MONTH | SQL_DL_SQL92_INTERVAL_DAY |
                 SQL_DL_SQL92_INTERVAL_HOUR | SQL_DL_SQL92_INTERVAL_MINUTE |
                 SQL_DL_SQL92_INTERVAL_SECOND | SQL_DL_SQL92_INTERVAL_YEAR_TO_MONTH |
                 SQL_DL_SQL92_INTERVAL_DAY_TO_HOUR | SQL_DL_SQL92_INTERVAL_DAY_TO_MINUTE |
                 SQL_DL_SQL92_INTERVAL_DAY_TO_SECOND | SQL_DL_SQL92_INTERVAL_HOUR_TO_MINUTE |
                 SQL_DL_SQL92_INTERVAL_HOUR_TO_SECOND | SQL_DL_SQL92_INTERVAL_MINUTE_TO_SECOND);
        break;
    case SQL_SQL92_DATETIME_FUNCTIONS:
        a = word(SQL_SDF_CURRENT_DATE | SQL_SDF_CURRENT_TIME | SQL_SDF_CURRENT_TIMESTAMP);
        break;
    case SQL_SQL92_STRING_FUNCTIONS: {
        SQLUINTEGER bits = 0;
        if (kxstd_get_function_id("SUBSTRING", 1) != KX_FUNCTION_NOT_FOUND)
            bits |= SQL_SSF_SUBSTRING;
        if (kxstd_get_function_id("UPPER", 1) != KX_FUNCTION_NOT_FOUND)
            bits |= SQL_SSF_UPPER;
        if (kxstd_get_function_id("LOWER", 1) != KX_FUNCTION_NOT_FOUND)
            bits |= SQL_SSF_LOWER;
        a = word(bits);
        break;
    }
    case SQL_SQL92_NUMERIC_VALUE_FUNCTIONS: {
        SQLUINTEGER bits = 0;
        if (kxstd_get_function_id("BIT_LENGTH", 1) != KX_FUNCTION_NOT_FOUND)
            bits |= SQL_SNVF_BIT_LENGTH;
        if (kxstd_get_function_id("CHAR_LENGTH", 1) != KX_FUNCTION_NOT_FOUND)
            bits |= SQL_SNVF_CHAR_LENGTH | SQL_SNVF_CHARACTER_LENGTH;
        if (kxstd_get_function_id("OCTET_LENGTH", 1) != KX_FUNCTION_NOT_FOUND)
            bits |= SQL_SNVF_OCTET_LENGTH;
        if (kxstd_get_function_id("POSITION", 1) != KX_FUNCTION_NOT_FOUND)
            bits |= SQL_SNVF_POSITION;
        if (in_catalogue("EXTRACT"))
            bits |= SQL_SNVF_EXTRACT;
        a = word(bits);
        break;
    }
    case SQL_SQL92_VALUE_EXPRESSIONS:
        a = word(SQL_SVE_CASE | SQL_SVE_CAST | SQL_SVE_COALESCE | SQL_SVE_NULLIF);
        break;
    case SQL_SQL92_PREDICATES:
        a = word(SQL_SP_BETWEEN | SQL_SP_IN | SQL_SP_ISNULL | SQL_SP_ISNOTNULL | SQL_SP_COMPARISON);
        break;
    default:
        if (type >= SQL_CONVERT_BIGINT && type <= SQL_CONVERT_VARCHAR) {
            a = word(0);
            break;
        }
        return false;
    }
    return true;
}

struct TypeRow {
    const char *name;
    SQLSMALLINT type;
    int32_t size;
    const char *prefix;
    const char *suffix;
    const char *params;
    int case_sensitive;
    int unsigned_attribute;  // SQL_FALSE for the (signed) numbers, -1 (NULL) for the rest
    int minimum_scale;       // -1: NULL
    int maximum_scale;
    int radix;               // 0: NULL
};

constexpr TypeRow kTypes[] = {
    {"BIT", SQL_BIT, 1, nullptr, nullptr, nullptr, 0, -1, -1, -1, 0},
    {"TINYINT", SQL_TINYINT, 3, nullptr, nullptr, nullptr, 0, 0, 0, 0, 10},
    {"BIGINT", SQL_BIGINT, 19, nullptr, nullptr, nullptr, 0, 0, 0, 0, 10},
    {"LONG VARBINARY", SQL_LONGVARBINARY, 2147483647, "X'", "'", nullptr, 0, -1, -1, -1, 0},
    {"VARBINARY", SQL_VARBINARY, 8000, "X'", "'", "max length", 0, -1, -1, -1, 0},
    {"BINARY", SQL_BINARY, 8000, "X'", "'", "length", 0, -1, -1, -1, 0},
    {"LONG VARCHAR", SQL_LONGVARCHAR, 2147483647, "'", "'", nullptr, 1, -1, -1, -1, 0},
    {"CHAR", SQL_CHAR, 8000, "'", "'", "length", 1, -1, -1, -1, 0},
    {"NUMERIC", SQL_NUMERIC, 38, nullptr, nullptr, "precision,scale", 0, 0, 0, 38, 10},
    {"DECIMAL", SQL_DECIMAL, 38, nullptr, nullptr, "precision,scale", 0, 0, 0, 38, 10},
    {"INTEGER", SQL_INTEGER, 10, nullptr, nullptr, nullptr, 0, 0, 0, 0, 10},
    {"SMALLINT", SQL_SMALLINT, 5, nullptr, nullptr, nullptr, 0, 0, 0, 0, 10},
    // approximate numbers: the precision in bits (NUM_PREC_RADIX 2), as
    // SQLDescribeCol and SQL_DESC_PRECISION give it
    {"FLOAT", SQL_FLOAT, 53, nullptr, nullptr, nullptr, 0, 0, -1, -1, 2},
    {"REAL", SQL_REAL, 24, nullptr, nullptr, nullptr, 0, 0, -1, -1, 2},
    {"DOUBLE", SQL_DOUBLE, 53, nullptr, nullptr, nullptr, 0, 0, -1, -1, 2},
    {"VARCHAR", SQL_VARCHAR, 8000, "'", "'", "max length", 1, -1, -1, -1, 0},
    {"DATE", SQL_TYPE_DATE, 10, "{d '", "'}", nullptr, 0, -1, -1, -1, 0},
    {"TIME", SQL_TYPE_TIME, 8, "{t '", "'}", nullptr, 0, -1, 0, 0, 0},
    {"TIMESTAMP", SQL_TYPE_TIMESTAMP, 29, "{ts '", "'}", nullptr, 0, -1, 0, 9, 0},
    {"INTERVAL YEAR", SQL_INTERVAL_YEAR, 9, "{INTERVAL '", "' YEAR}", nullptr, 0, -1, -1, -1, 0},
    {"INTERVAL MONTH", SQL_INTERVAL_MONTH, 9, "{INTERVAL '", "' MONTH}", nullptr, 0, -1, -1, -1, 0},
    {"INTERVAL DAY", SQL_INTERVAL_DAY, 9, "{INTERVAL '", "' DAY}", nullptr, 0, -1, -1, -1, 0},
    {"INTERVAL HOUR", SQL_INTERVAL_HOUR, 9, "{INTERVAL '", "' HOUR}", nullptr, 0, -1, -1, -1, 0},
    {"INTERVAL MINUTE", SQL_INTERVAL_MINUTE, 9, "{INTERVAL '", "' MINUTE}", nullptr, 0, -1, -1, -1, 0},
    {"INTERVAL SECOND", SQL_INTERVAL_SECOND, 9, "{INTERVAL '", "' SECOND}", nullptr, 0, -1, 0, 9, 0},
    {"INTERVAL YEAR TO MONTH", SQL_INTERVAL_YEAR_TO_MONTH, 12, "{INTERVAL '", "' YEAR TO MONTH}",
     nullptr, 0, -1, -1, -1, 0},
    {"INTERVAL DAY TO SECOND", SQL_INTERVAL_DAY_TO_SECOND, 28, "{INTERVAL '", "' DAY TO SECOND}",
     nullptr, 0, -1, 0, 9, 0},
};

}  // namespace

bool info_answer_is_text(Connection *conn, SQLUSMALLINT type)
{
    InfoAnswer a;
    return answer_for(conn, type, a) && a.kind == Answer::kText;
}

}  // namespace kxdrv

using namespace kxdrv;

extern "C" {

KXDRV_API SQLRETURN SQL_API SQLGetInfo(SQLHDBC handle, SQLUSMALLINT type, SQLPOINTER value,
                                       SQLSMALLINT buffer_length, SQLSMALLINT *length)
{
    return connection_entry(handle, [&](Connection *conn) -> SQLRETURN {
        InfoAnswer a;
        if (!answer_for(conn, type, a))
            return post_error(conn->errors, "HY096", "Information type out of range");
        switch (a.kind) {
        case Answer::kText:
            return return_string(conn->errors, a.text, value, buffer_length, length);
        case Answer::kSmall:
            if (value != nullptr)
                *static_cast<SQLUSMALLINT *>(value) = static_cast<SQLUSMALLINT>(a.word);
            if (length != nullptr)
                *length = sizeof(SQLUSMALLINT);
            return SQL_SUCCESS;
        case Answer::kWord:
            if (value != nullptr)
                *static_cast<SQLUINTEGER *>(value) = a.word;
            if (length != nullptr)
                *length = sizeof(SQLUINTEGER);
            return SQL_SUCCESS;
        }
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetFunctions(SQLHDBC handle, SQLUSMALLINT function,
                                            SQLUSMALLINT *supported)
{
    return connection_entry(handle, [&](Connection *conn) -> SQLRETURN {
    if (supported == nullptr)
        return post_error(conn->errors, "HY009", "Invalid use of null pointer");
    if (function == SQL_API_ODBC3_ALL_FUNCTIONS) {
        std::memset(supported, 0, sizeof(SQLUSMALLINT) * SQL_API_ODBC3_ALL_FUNCTIONS_SIZE);
        for (const EntryPoint &f : kEntryPoints)
            supported[f.id >> 4] = static_cast<SQLUSMALLINT>(supported[f.id >> 4] | (1u << (f.id & 15)));
        return SQL_SUCCESS;
    }
    if (function == SQL_API_ALL_FUNCTIONS) {
        // ODBC 2's form: one word for each of the functions numbered below 100
        std::memset(supported, 0, sizeof(SQLUSMALLINT) * 100);
        for (const EntryPoint &f : kEntryPoints)
            if (f.id < 100)
                supported[f.id] = SQL_TRUE;
        return SQL_SUCCESS;
    }
    *supported = SQL_FALSE;
    for (const EntryPoint &f : kEntryPoints)
        if (f.id == function)
            *supported = SQL_TRUE;
    return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetTypeInfo(SQLHSTMT handle, SQLSMALLINT data_type)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
    if (!catalogue_call_allowed(stmt))
        return SQL_ERROR;
    constexpr CatalogueType V = CatalogueType::kVarchar, I = CatalogueType::kInteger,
                            S = CatalogueType::kSmallint;
    constexpr bool kNotNull = true;
    ResultSet *r = start_catalogue_result(
        stmt, {{"TYPE_NAME", V, kNotNull}, {"DATA_TYPE", S, kNotNull}, {"COLUMN_SIZE", I, false},
               {"LITERAL_PREFIX", V, false}, {"LITERAL_SUFFIX", V, false}, {"CREATE_PARAMS", V, false},
               {"NULLABLE", S, kNotNull}, {"CASE_SENSITIVE", S, kNotNull}, {"SEARCHABLE", S, kNotNull},
               {"UNSIGNED_ATTRIBUTE", S, false}, {"FIXED_PREC_SCALE", S, kNotNull},
               {"AUTO_UNIQUE_VALUE", S, false}, {"LOCAL_TYPE_NAME", V, false}, {"MINIMUM_SCALE", S, false},
               {"MAXIMUM_SCALE", S, false}, {"SQL_DATA_TYPE", S, kNotNull}, {"SQL_DATETIME_SUB", S, false},
               {"NUM_PREC_RADIX", I, false}, {"INTERVAL_PRECISION", S, false}});
    bool odbc2 = stmt->conn->env->odbc_version != 3;
    for (const TypeRow &t : kTypes) {
        SQLSMALLINT type = t.type;
        if (odbc2 && type == SQL_TYPE_DATE) type = SQL_DATE;
        if (odbc2 && type == SQL_TYPE_TIME) type = SQL_TIME;
        if (odbc2 && type == SQL_TYPE_TIMESTAMP) type = SQL_TIMESTAMP;
        bool wanted = data_type == SQL_ALL_TYPES || data_type == type ||
                      (data_type == SQL_DATE && type == SQL_TYPE_DATE) ||
                      (data_type == SQL_TIME && type == SQL_TYPE_TIME) ||
                      (data_type == SQL_TIMESTAMP && type == SQL_TYPE_TIMESTAMP);
        if (!wanted)
            continue;
        bool datetime = t.type == SQL_TYPE_DATE || t.type == SQL_TYPE_TIME || t.type == SQL_TYPE_TIMESTAMP;
        bool interval = t.type > 100 && t.type <= 113;
        MemHandle *m = r->mem;
        r->rows.push_back({
            text_cell(m, t.name), int_cell(m, type), int_cell(m, t.size), text_cell(m, t.prefix),
            text_cell(m, t.suffix), text_cell(m, t.params), int_cell(m, SQL_NULLABLE),
            int_cell(m, t.case_sensitive), int_cell(m, SQL_SEARCHABLE),
            int_cell(m, t.unsigned_attribute, t.unsigned_attribute < 0), int_cell(m, 0),
            int_cell(m, 0, true), text_cell(m, t.name), int_cell(m, t.minimum_scale, t.minimum_scale < 0),
            int_cell(m, t.maximum_scale, t.maximum_scale < 0),
            int_cell(m, datetime ? SQL_DATETIME : interval ? SQL_INTERVAL : t.type),
            int_cell(m, datetime ? t.type - 90 : interval ? t.type - 100 : 0, !datetime && !interval),
            int_cell(m, t.radix, t.radix == 0), int_cell(m, interval ? 2 : 0, !interval),
        });
    }
    return SQL_SUCCESS;
    });
}

}  // extern "C"
