/*
 * odbc3_client.c - an ODBC 3 application checking the reference driver's
 * conversions and descriptions through the driver manager.
 *
 * Checks, each against ODBC's rules: the completed connection string of
 * SQLDriverConnect and its truncation; results as SQL_C_WCHAR (piecewise),
 * SQL_C_NUMERIC, the interval C types, SQL_C_BINARY, dates and times with
 * fractional truncation (01S07), 64-bit and small integers with range
 * errors (22003), bits and doubles from texts (22018); SQLGetInfo (the
 * function bitmasks follow the catalogue), SQLGetFunctions, describing a
 * prepared statement, SQLColAttribute, SQLRowCount, SQLMoreResults,
 * SQLTables and the other catalogue functions; descriptors (bound, read,
 * copied, set and freed); long data sent with SQLPutData and read back in pieces;
 * SQLGetDiagField and the ODBC 3 SQLSTATEs. Each check prints "ok" or
 * "not ok"; the exit status counts the failures.
 *
 *   odbc3_client DSN
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sql.h>
#include <sqlext.h>

static int failures;
static int checks;

static void check(int condition, const char *what)
{
    checks++;
    printf("%s %d - %s\n", condition ? "ok" : "not ok", checks, what);
    if (!condition)
        failures++;
}

static SQLHENV env;
static SQLHDBC dbc;
static const char *dsn;

static const char *state_of(SQLSMALLINT type, SQLHANDLE handle)
{
    static char state[6];
    SQLCHAR message[512];
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    strcpy(state, "none");
    SQLGetDiagRec(type, handle, 1, (SQLCHAR *)state, &native, message, sizeof message, &length);
    return state;
}

/* Executes a one-row query and leaves the statement on its row. */
static SQLHSTMT row_of(const char *sql)
{
    SQLHSTMT stmt;
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    if (SQLExecDirect(stmt, (SQLCHAR *)sql, SQL_NTS) != SQL_SUCCESS || SQLFetch(stmt) != SQL_SUCCESS)
        printf("# could not run %s: %s\n", sql, state_of(SQL_HANDLE_STMT, stmt));
    return stmt;
}

static void done(SQLHSTMT stmt)
{
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
}

static void check_connection_string(void)
{
    SQLHDBC other;
    SQLCHAR out[256];
    SQLSMALLINT length = 0;
    char text[64];
    snprintf(text, sizeof text, "DSN=%s;UID=x", dsn);
    SQLAllocHandle(SQL_HANDLE_DBC, env, &other);
    SQLRETURN rc = SQLDriverConnect(other, NULL, (SQLCHAR *)text, SQL_NTS, out, sizeof out, &length,
                                    SQL_DRIVER_NOPROMPT);
    check(rc == SQL_SUCCESS && strcmp((char *)out, "DSN=kxeval;UID=x;DATABASE=demo;") == 0 &&
              length == 31,
          "the completed string: the application's keywords, then the data source's Database");
    SQLDisconnect(other);
    rc = SQLDriverConnect(other, NULL, (SQLCHAR *)text, SQL_NTS, out, 10, &length,
                          SQL_DRIVER_NOPROMPT);
    check(rc == SQL_SUCCESS_WITH_INFO && strcmp((char *)out, "DSN=kxeva") == 0 && length == 31 &&
              strcmp(state_of(SQL_HANDLE_DBC, other), "01004") == 0,
          "a short buffer: cut, 01004, the full length");
    SQLDisconnect(other);
    SQLFreeHandle(SQL_HANDLE_DBC, other);
}

static void check_wide_text(void)
{
    SQLHSTMT stmt = row_of("SELECT 'h\xc3\xa9llo'");
    SQLWCHAR piece[4];
    SQLLEN length = 0;
    SQLRETURN rc = SQLGetData(stmt, 1, SQL_C_WCHAR, piece, sizeof piece, &length);
    check(rc == SQL_SUCCESS_WITH_INFO && length == 10 && piece[0] == 'h' && piece[1] == 0xE9 &&
              piece[2] == 'l' && piece[3] == 0,
          "UTF-8 text as SQL_C_WCHAR: three units and a terminator, 10 octets remaining");
    rc = SQLGetData(stmt, 1, SQL_C_WCHAR, piece, sizeof piece, &length);
    check(rc == SQL_SUCCESS && length == 4 && piece[0] == 'l' && piece[1] == 'o' && piece[2] == 0,
          "the rest as the second piece");
    done(stmt);
}

/* The decimal text of a NumericStruct's magnitude. */
static void magnitude_text(const SQL_NUMERIC_STRUCT *n, char *out)
{
    unsigned __int128 v = 0;
    char digits[64];
    int count = 0;
    for (int i = 15; i >= 0; i--)
        v = (v << 8) | n->val[i];
    do {
        digits[count++] = (char)('0' + (int)(v % 10));
        v /= 10;
    } while (v != 0);
    for (int i = 0; i < count; i++)
        out[i] = digits[count - 1 - i];
    out[count] = '\0';
}

static void check_numeric(void)
{
    SQLHSTMT stmt = row_of("SELECT 12345678901234567890123456789012345678, -1.25, CAST('-0.125' AS NUMERIC(10,3))");
    SQL_NUMERIC_STRUCT n;
    char text[64];
    SQLLEN length = 0;
    SQLGetData(stmt, 1, SQL_C_NUMERIC, &n, sizeof n, &length);
    magnitude_text(&n, text);
    check(n.sign == 1 && n.scale == 0 && strcmp(text, "12345678901234567890123456789012345678") == 0,
          "a 38-digit numeric as SQL_C_NUMERIC keeps its 128-bit magnitude");
    SQLGetData(stmt, 2, SQL_C_NUMERIC, &n, sizeof n, &length);
    magnitude_text(&n, text);
    check(n.sign == 0 && n.scale == 2 && strcmp(text, "125") == 0, "-1.25 is sign 0, scale 2, 125");
    SQLGetData(stmt, 3, SQL_C_NUMERIC, &n, sizeof n, &length);
    magnitude_text(&n, text);
    check(n.sign == 0 && n.scale == 3 && strcmp(text, "125") == 0, "-0.125 is sign 0, scale 3, 125");
    done(stmt);
}

static void check_intervals(void)
{
    SQLHSTMT stmt = row_of("SELECT INTERVAL '3 04:05:06' DAY TO SECOND, INTERVAL -'1-06' YEAR TO MONTH, "
                           "INTERVAL '1 02:00:00' DAY TO SECOND");
    SQL_INTERVAL_STRUCT i;
    SQLLEN length = 0;
    memset(&i, 0, sizeof i);
    SQLGetData(stmt, 1, SQL_C_INTERVAL_DAY_TO_SECOND, &i, sizeof i, &length);
    check(i.interval_type == SQL_IS_DAY_TO_SECOND && i.interval_sign == SQL_FALSE &&
              i.intval.day_second.day == 3 && i.intval.day_second.hour == 4 &&
              i.intval.day_second.minute == 5 && i.intval.day_second.second == 6,
          "a day-to-second interval as SQL_C_INTERVAL_DAY_TO_SECOND");
    SQLGetData(stmt, 2, SQL_C_INTERVAL_YEAR_TO_MONTH, &i, sizeof i, &length);
    check(i.interval_type == SQL_IS_YEAR_TO_MONTH && i.interval_sign == SQL_TRUE &&
              i.intval.year_month.year == 1 && i.intval.year_month.month == 6,
          "a negative year-to-month interval");
    SQLGetData(stmt, 3, SQL_C_INTERVAL_HOUR, &i, sizeof i, &length);
    check(i.interval_type == SQL_IS_HOUR && i.intval.day_second.hour == 26,
          "one day and two hours as SQL_C_INTERVAL_HOUR: 26 hours");
    SQLRETURN rc = SQLGetData(stmt, 3, SQL_C_INTERVAL_MONTH, &i, sizeof i, &length);
    check(rc == SQL_NO_DATA, "a fixed-size column read a second time gives SQL_NO_DATA");
    done(stmt);
    stmt = row_of("SELECT INTERVAL '1 02:00:00' DAY TO SECOND");
    rc = SQLGetData(stmt, 1, SQL_C_INTERVAL_MONTH, &i, sizeof i, &length);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_STMT, stmt), "07006") == 0,
          "a day-time interval as months is 07006");
    done(stmt);
}

static void check_binary_and_datetimes(void)
{
    SQLHSTMT stmt = row_of("SELECT X'0AFF10', 258, {ts '2004-06-16 13:14:15.5'}, {ts '2004-06-16 13:14:15.5'}, "
                           "{ts '2004-06-16 13:14:15.5'}");
    unsigned char bytes[8];
    SQLLEN length = 0;
    SQLGetData(stmt, 1, SQL_C_BINARY, bytes, sizeof bytes, &length);
    check(length == 3 && bytes[0] == 0x0A && bytes[1] == 0xFF && bytes[2] == 0x10,
          "a hexadecimal literal as SQL_C_BINARY");
    SQLGetData(stmt, 2, SQL_C_BINARY, bytes, sizeof bytes, &length);
    check(length == 4 && bytes[0] == 2 && bytes[1] == 1 && bytes[2] == 0 && bytes[3] == 0,
          "an integer as SQL_C_BINARY is its four octets");
    SQL_TIME_STRUCT t;
    SQLRETURN rc = SQLGetData(stmt, 3, SQL_C_TYPE_TIME, &t, sizeof t, &length);
    check(rc == SQL_SUCCESS_WITH_INFO && t.hour == 13 && t.minute == 14 && t.second == 15 &&
              strcmp(state_of(SQL_HANDLE_STMT, stmt), "01S07") == 0,
          "a timestamp with a fraction as SQL_C_TYPE_TIME: 01S07");
    SQL_DATE_STRUCT d;
    rc = SQLGetData(stmt, 4, SQL_C_TYPE_DATE, &d, sizeof d, &length);
    check(rc == SQL_SUCCESS_WITH_INFO && d.year == 2004 && d.month == 6 && d.day == 16,
          "a timestamp as SQL_C_TYPE_DATE drops its time: 01S07");
    char text[32];
    rc = SQLGetData(stmt, 5, SQL_C_CHAR, text, sizeof text, &length);
    check(rc == SQL_SUCCESS && strcmp(text, "2004-06-16 13:14:15.5") == 0 && length == 21,
          "a timestamp as text");
    done(stmt);
}

static void check_numbers(void)
{
    SQLHSTMT stmt = row_of("SELECT 12345678901234, 40000, 2.5, 1, 2, '1.5e3', 'abc'");
    SQLBIGINT big = 0;
    SQLSMALLINT small = 0;
    SQLINTEGER whole = 0;
    SQLCHAR bit = 9;
    SQLDOUBLE dbl = 0;
    SQLLEN length = 0;
    SQLGetData(stmt, 1, SQL_C_SBIGINT, &big, 0, &length);
    check(big == 12345678901234LL && length == 8, "a 14-digit number as SQL_C_SBIGINT");
    SQLRETURN rc = SQLGetData(stmt, 2, SQL_C_SSHORT, &small, 0, &length);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_STMT, stmt), "22003") == 0,
          "40000 as SQL_C_SSHORT is 22003");
    rc = SQLGetData(stmt, 3, SQL_C_LONG, &whole, 0, &length);
    check(rc == SQL_SUCCESS_WITH_INFO && whole == 2 &&
              strcmp(state_of(SQL_HANDLE_STMT, stmt), "01S07") == 0,
          "2.5 as SQL_C_LONG is 2 with 01S07");
    rc = SQLGetData(stmt, 4, SQL_C_BIT, &bit, 0, &length);
    check(rc == SQL_SUCCESS && bit == 1, "1 as SQL_C_BIT");
    rc = SQLGetData(stmt, 5, SQL_C_BIT, &bit, 0, &length);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_STMT, stmt), "22003") == 0,
          "2 as SQL_C_BIT is 22003");
    rc = SQLGetData(stmt, 6, SQL_C_DOUBLE, &dbl, 0, &length);
    check(rc == SQL_SUCCESS && dbl == 1500.0, "the text 1.5e3 as SQL_C_DOUBLE");
    rc = SQLGetData(stmt, 7, SQL_C_DOUBLE, &dbl, 0, &length);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_STMT, stmt), "22018") == 0,
          "the text abc as SQL_C_DOUBLE is 22018");
    done(stmt);
}

static void check_info(void)
{
    SQLUINTEGER bits = 0;
    SQLCHAR text[32];
    SQLSMALLINT length = 0;
    SQLGetInfo(dbc, SQL_TIMEDATE_ADD_INTERVALS, &bits, sizeof bits, NULL);
    check(bits == (SQL_FN_TSI_FRAC_SECOND | SQL_FN_TSI_SECOND | SQL_FN_TSI_MINUTE | SQL_FN_TSI_HOUR |
                   SQL_FN_TSI_DAY | SQL_FN_TSI_WEEK | SQL_FN_TSI_MONTH | SQL_FN_TSI_QUARTER |
                   SQL_FN_TSI_YEAR),
          "TIMESTAMPADD takes all nine interval units");
    SQLGetInfo(dbc, SQL_SYSTEM_FUNCTIONS, &bits, sizeof bits, NULL);
    check(bits == (SQL_FN_SYS_DBNAME | SQL_FN_SYS_IFNULL | SQL_FN_SYS_USERNAME),
          "the system functions DATABASE, IFNULL and USER");
    SQLGetInfo(dbc, SQL_STRING_FUNCTIONS, &bits, sizeof bits, NULL);
    check((bits & (SQL_FN_STR_SOUNDEX | SQL_FN_STR_INSERT | SQL_FN_STR_POSITION | SQL_FN_STR_LOCATE |
                   SQL_FN_STR_LOCATE_2)) ==
              (SQL_FN_STR_SOUNDEX | SQL_FN_STR_INSERT | SQL_FN_STR_POSITION | SQL_FN_STR_LOCATE |
               SQL_FN_STR_LOCATE_2),
          "the string functions of the catalogue, LOCATE_2 (LOCATE of two arguments) too");
    SQLHSTMT stmt = row_of("SELECT {fn LOCATE('c', 'abcabc')}");
    SQLINTEGER at = 0;
    SQLGetData(stmt, 1, SQL_C_SLONG, &at, 0, NULL);
    check(at == 3, "LOCATE of two arguments searches from the start");
    done(stmt);
    SQLGetInfo(dbc, SQL_NUMERIC_FUNCTIONS, &bits, sizeof bits, NULL);
    check(bits == 0xFFFFFF, "all 24 numeric functions");
    SQLGetInfo(dbc, SQL_DRIVER_ODBC_VER, text, sizeof text, &length);
    check(strcmp((char *)text, "03.00") == 0 && length == 5, "SQL_DRIVER_ODBC_VER 03.00");
    SQLRETURN rc = SQLGetInfo(dbc, 9999, text, sizeof text, &length);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_DBC, dbc), "HY096") == 0,
          "an unknown information type is HY096");
    SQLUSMALLINT supported = 0;
    SQLGetFunctions(dbc, SQL_API_SQLNATIVESQL, &supported);
    check(supported == SQL_TRUE, "SQLGetFunctions: SQLNativeSql is there");
    SQLGetFunctions(dbc, SQL_API_SQLBROWSECONNECT, &supported);
    check(supported == SQL_FALSE, "SQLGetFunctions: SQLBrowseConnect is not");
}

static void check_descriptions(void)
{
    SQLHSTMT stmt;
    SQLSMALLINT count = 0, type = 0, digits = 0, nullable = 0, name_length = 0;
    SQLULEN size = 0;
    SQLCHAR name[32];
    SQLLEN number = 0;
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    SQLPrepare(stmt, (SQLCHAR *)"SELECT 1 AS one, 'ab' AS two, 1234567.89 AS three", SQL_NTS);
    SQLNumResultCols(stmt, &count);
    check(count == 3, "a prepared statement has its columns before it runs");
    SQLDescribeCol(stmt, 1, name, sizeof name, &name_length, &type, &size, &digits, &nullable);
    check(strcmp((char *)name, "one") == 0 && type == SQL_INTEGER && size == 10,
          "column 1: one, SQL_INTEGER, 10 digits");
    SQLDescribeCol(stmt, 2, name, sizeof name, &name_length, &type, &size, &digits, &nullable);
    check(type == SQL_VARCHAR && size == 2, "column 2: SQL_VARCHAR of 2");
    SQLDescribeCol(stmt, 3, name, sizeof name, &name_length, &type, &size, &digits, &nullable);
    check(type == SQL_NUMERIC && size == 9 && digits == 2,
          "column 3: the literal's own precision (7 + 2 digits) and scale 2");
    SQLColAttribute(stmt, 2, SQL_DESC_TYPE_NAME, name, sizeof name, &name_length, NULL);
    check(strcmp((char *)name, "VARCHAR") == 0, "SQL_DESC_TYPE_NAME VARCHAR");
    SQLColAttribute(stmt, 1, SQL_DESC_DISPLAY_SIZE, NULL, 0, NULL, &number);
    check(number == 11, "an integer's display size is 11");
    SQLExecute(stmt);
    SQLRowCount(stmt, &number);
    check(number == -1, "SQLRowCount of a SELECT is -1");
    check(SQLMoreResults(stmt) == SQL_NO_DATA, "SQLMoreResults: no second result");
    SQLTables(stmt, NULL, 0, NULL, 0, NULL, 0, NULL, 0);
    SQLNumResultCols(stmt, &count);
    check(count == 5 && SQLFetch(stmt) == SQL_NO_DATA, "SQLTables: five columns, no rows");
    SQLFreeStmt(stmt, SQL_CLOSE);
    SQLGetTypeInfo(stmt, SQL_VARCHAR);
    char type_name[32];
    SQLINTEGER column_size = 0;
    SQLLEN l1 = 0, l2 = 0;
    SQLBindCol(stmt, 1, SQL_C_CHAR, type_name, sizeof type_name, &l1);
    SQLBindCol(stmt, 3, SQL_C_LONG, &column_size, 0, &l2);
    check(SQLFetch(stmt) == SQL_SUCCESS && strcmp(type_name, "VARCHAR") == 0 && column_size == 8000 &&
              SQLFetch(stmt) == SQL_NO_DATA,
          "SQLGetTypeInfo(SQL_VARCHAR): one row");
    done(stmt);
}

static void check_long_data(void)
{
    SQLHSTMT stmt;
    SQLLEN indicator = SQL_LEN_DATA_AT_EXEC(0);
    SQLPOINTER token = NULL;
    static char chunk[100000];
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    SQLPrepare(stmt, (SQLCHAR *)"SELECT ?, {fn LENGTH(?)}", SQL_NTS);
    SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_LONGVARCHAR, 0, 0, (SQLPOINTER)1, 0,
                     &indicator);
    SQLBindParameter(stmt, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_LONGVARCHAR, 0, 0, (SQLPOINTER)2, 0,
                     &indicator);
    SQLRETURN rc = SQLExecute(stmt);
    check(rc == SQL_NEED_DATA, "a data-at-execution parameter asks for its data");
    int asked = 0;
    while ((rc = SQLParamData(stmt, &token)) == SQL_NEED_DATA) {
        asked++;
        for (int i = 0; i < 3; i++) {
            memset(chunk, 'a' + i, sizeof chunk);
            SQLPutData(stmt, chunk, sizeof chunk);
        }
    }
    check(asked == 2 && rc == SQL_SUCCESS, "both parameters were asked for, then it ran");
    check(SQLFetch(stmt) == SQL_SUCCESS, "the row fetches");
    SQLINTEGER length_value = 0;
    SQLLEN l = 0;
    SQLGetData(stmt, 2, SQL_C_LONG, &length_value, 0, &l);
    check(length_value == 300000, "LENGTH of the long argument read through the connection: 300000");
    static char piece[65536];
    size_t total = 0;
    int pieces = 0, right = 1;
    SQLLEN remaining = 0;
    while ((rc = SQLGetData(stmt, 1, SQL_C_CHAR, piece, sizeof piece, &remaining)) == SQL_SUCCESS ||
           rc == SQL_SUCCESS_WITH_INFO) {
        size_t n = strlen(piece);
        if (pieces == 0 && remaining != 300000)
            right = 0;
        for (size_t i = 0; i < n; i++)
            if (piece[i] != 'a' + (int)((total + i) / 100000))
                right = 0;
        total += n;
        pieces++;
    }
    check(rc == SQL_NO_DATA && total == 300000 && pieces == 5 && right,
          "the long value comes back in five pieces, in order");
    done(stmt);
}

static void check_native_sql(void)
{
    SQLCHAR out[512];
    SQLINTEGER length = 0;
    SQLRETURN rc = SQLNativeSql(
        dbc, (SQLCHAR *)"select a+1 as b from (values (1),(2)) as t(a) where a<>0 order by b desc",
        SQL_NTS, out, sizeof out, &length);
    /* the printer's texts: "( " left " + " right " )", "%d " for an integer,
       " AS " before an alias, " DESC " after a sort key */
    check(rc == SQL_SUCCESS &&
              strcmp((char *)out, "SELECT ( a + 1  ) AS b FROM ( VALUES ( 1  ), ( 2  ) ) AS t ( a ) "
                                  "WHERE ( a <> 0  ) ORDER BY b DESC ") == 0 &&
              length == (SQLINTEGER)strlen((char *)out),
          "SQLNativeSql prints column references, the row source and ORDER BY");
    rc = SQLNativeSql(dbc, (SQLCHAR *)"select (", SQL_NTS, out, sizeof out, &length);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_DBC, dbc), "42000") == 0,
          "SQLNativeSql of a syntax error is 42000");
}

static void check_diagnostics(void)
{
    SQLHSTMT stmt;
    SQLINTEGER number = 0;
    SQLRETURN code = 0;
    SQLCHAR text[64];
    SQLSMALLINT length = 0;
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    SQLExecDirect(stmt, (SQLCHAR *)"SELECT 1 +", SQL_NTS);
    SQLGetDiagField(SQL_HANDLE_STMT, stmt, 0, SQL_DIAG_NUMBER, &number, 0, NULL);
    SQLGetDiagField(SQL_HANDLE_STMT, stmt, 0, SQL_DIAG_RETURNCODE, &code, 0, NULL);
    check(number == 1 && code == SQL_ERROR, "one record, return code SQL_ERROR");
    SQLGetDiagField(SQL_HANDLE_STMT, stmt, 1, SQL_DIAG_SQLSTATE, text, sizeof text, &length);
    check(strcmp((char *)text, "42000") == 0, "an ODBC 3 application sees 42000");
    SQLGetDiagField(SQL_HANDLE_STMT, stmt, 1, SQL_DIAG_CLASS_ORIGIN, text, sizeof text, &length);
    check(strcmp((char *)text, "ISO 9075") == 0, "42000 is ISO's");
    SQLExecDirect(stmt, (SQLCHAR *)"SELECT {fn LOG(0)}", SQL_NTS);
    check(strcmp(state_of(SQL_HANDLE_STMT, stmt), "2201E") == 0,
          "a logarithm's domain error is 2201E");
    SQLExecDirect(stmt, (SQLCHAR *)"SELECT nosuch", SQL_NTS);
    check(strcmp(state_of(SQL_HANDLE_STMT, stmt), "42S22") == 0, "an unknown column is 42S22");
    SQLGetDiagField(SQL_HANDLE_STMT, stmt, 1, SQL_DIAG_CLASS_ORIGIN, text, sizeof text, &length);
    check(strcmp((char *)text, "ISO 9075") == 0, "class 42 of 42S22 is ISO's");
    SQLGetDiagField(SQL_HANDLE_STMT, stmt, 1, SQL_DIAG_SUBCLASS_ORIGIN, text, sizeof text, &length);
    check(strcmp((char *)text, "ODBC 3.0") == 0, "the S22 of 42S22 is ODBC's");
    SQLSetStmtAttr(stmt, SQL_ATTR_QUERY_TIMEOUT, (SQLPOINTER)1, 0);
    SQLExecDirect(stmt, (SQLCHAR *)"SELECT n FROM SERIES(1, 4000000000) AS s(n) WHERE n < 0", SQL_NTS);
    check(strcmp(state_of(SQL_HANDLE_STMT, stmt), "HYT00") == 0, "a time-out is HYT00");
    done(stmt);
}

/* The catalogue functions and SQLDescribeParam through the driver manager:
   each is the driver's (no IM001), a catalogue function answers with ODBC's
   number of columns and no rows, and SQLGetFunctions says so. */
static void check_catalogue(void)
{
    SQLHSTMT stmt;
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    SQLCHAR *t = (SQLCHAR *)"t";
    struct {
        const char *name;
        SQLUSMALLINT id;
        SQLSMALLINT columns;
    } calls[] = {
        {"SQLPrimaryKeys", SQL_API_SQLPRIMARYKEYS, 6},
        {"SQLForeignKeys", SQL_API_SQLFOREIGNKEYS, 14},
        {"SQLStatistics", SQL_API_SQLSTATISTICS, 13},
        {"SQLSpecialColumns", SQL_API_SQLSPECIALCOLUMNS, 8},
        {"SQLProcedures", SQL_API_SQLPROCEDURES, 8},
        {"SQLProcedureColumns", SQL_API_SQLPROCEDURECOLUMNS, 19},
        {"SQLTablePrivileges", SQL_API_SQLTABLEPRIVILEGES, 7},
        {"SQLColumnPrivileges", SQL_API_SQLCOLUMNPRIVILEGES, 8},
    };
    for (size_t i = 0; i < sizeof calls / sizeof calls[0]; i++) {
        SQLRETURN rc = SQL_ERROR;
        switch (i) {
        case 0: rc = SQLPrimaryKeys(stmt, NULL, 0, NULL, 0, t, SQL_NTS); break;
        case 1: rc = SQLForeignKeys(stmt, NULL, 0, NULL, 0, t, SQL_NTS, NULL, 0, NULL, 0, NULL, 0); break;
        case 2: rc = SQLStatistics(stmt, NULL, 0, NULL, 0, t, SQL_NTS, SQL_INDEX_ALL, SQL_QUICK); break;
        case 3:
            rc = SQLSpecialColumns(stmt, SQL_BEST_ROWID, NULL, 0, NULL, 0, t, SQL_NTS, SQL_SCOPE_SESSION,
                                   SQL_NULLABLE);
            break;
        case 4: rc = SQLProcedures(stmt, NULL, 0, NULL, 0, NULL, 0); break;
        case 5: rc = SQLProcedureColumns(stmt, NULL, 0, NULL, 0, NULL, 0, NULL, 0); break;
        case 6: rc = SQLTablePrivileges(stmt, NULL, 0, NULL, 0, t, SQL_NTS); break;
        case 7: rc = SQLColumnPrivileges(stmt, NULL, 0, NULL, 0, t, SQL_NTS, NULL, 0); break;
        }
        char what[96];
        snprintf(what, sizeof what, "%s succeeds through the driver manager", calls[i].name);
        check(rc == SQL_SUCCESS, what);
        SQLSMALLINT count = 0;
        SQLNumResultCols(stmt, &count);
        snprintf(what, sizeof what, "%s: %d columns and no rows", calls[i].name, calls[i].columns);
        check(count == calls[i].columns && SQLFetch(stmt) == SQL_NO_DATA, what);
        SQLFreeStmt(stmt, SQL_CLOSE);
        SQLUSMALLINT supported = SQL_FALSE;
        SQLGetFunctions(dbc, calls[i].id, &supported);
        snprintf(what, sizeof what, "SQLGetFunctions: %s is there", calls[i].name);
        check(supported == SQL_TRUE, what);
    }
    /* a parameter described from the prepared statement */
    SQLSMALLINT type = 0, digits = 0, nullable = 0, params = 0;
    SQLULEN size = 0;
    SQLPrepare(stmt, (SQLCHAR *)"SELECT CAST(? AS NUMERIC(10,3)), {fn SPACE(?)}", SQL_NTS);
    check(SQLNumParams(stmt, &params) == SQL_SUCCESS && params == 2, "SQLNumParams: two markers");
    SQLRETURN rc = SQLDescribeParam(stmt, 1, &type, &size, &digits, &nullable);
    check(rc == SQL_SUCCESS && type == SQL_NUMERIC && size == 10 && digits == 3 && nullable == SQL_NULLABLE,
          "SQLDescribeParam: a CAST's target type");
    rc = SQLDescribeParam(stmt, 2, &type, &size, &digits, &nullable);
    check(rc == SQL_SUCCESS && type == SQL_INTEGER, "SQLDescribeParam: SPACE takes an integer");
    rc = SQLDescribeParam(stmt, 3, &type, &size, &digits, &nullable);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_STMT, stmt), "07009") == 0,
          "SQLDescribeParam of a third marker is 07009");
    SQLUSMALLINT supported = SQL_FALSE;
    SQLGetFunctions(dbc, SQL_API_SQLDESCRIBEPARAM, &supported);
    check(supported == SQL_TRUE, "SQLGetFunctions: SQLDescribeParam is there");
    /* the driver manager's checks come first, then the driver's own */
    rc = SQLStatistics(stmt, NULL, 0, NULL, 0, NULL, 0, SQL_INDEX_ALL, SQL_QUICK);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_STMT, stmt), "HY009") == 0,
          "SQLStatistics without a table name is HY009");
    rc = SQLSpecialColumns(stmt, 9, NULL, 0, NULL, 0, t, SQL_NTS, SQL_SCOPE_SESSION, SQL_NULLABLE);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_STMT, stmt), "HY097") == 0,
          "SQLSpecialColumns with an unknown identifier type is HY097");
    rc = SQLPrimaryKeys(stmt, (SQLCHAR *)"db", SQL_NTS, NULL, 0, t, SQL_NTS);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_STMT, stmt), "HYC00") == 0,
          "SQLPrimaryKeys in a catalog is HYC00");
    done(stmt);
}

/* Descriptors through the driver manager, which wraps the driver's handles
 * in its own: a column bound through the ARD, the IRD read, an explicit
 * descriptor filled by SQLCopyDesc and set as the ARD, and the driver's
 * own errors on a descriptor handle. */
static void check_descriptors(void)
{
    SQLHSTMT stmt;
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    SQLHDESC ard = SQL_NULL_HDESC, ird = SQL_NULL_HDESC;
    SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &ard, SQL_IS_POINTER, NULL);
    SQLGetStmtAttr(stmt, SQL_ATTR_IMP_ROW_DESC, &ird, SQL_IS_POINTER, NULL);
    check(ard != SQL_NULL_HDESC && ird != SQL_NULL_HDESC && ard != ird, "the ARD and IRD handles");
    SQLINTEGER number = 0;
    SQLLEN indicator = 0;
    SQLRETURN rc = SQLSetDescField(ard, 1, SQL_DESC_TYPE, (SQLPOINTER)SQL_C_SLONG, 0);
    rc |= SQLSetDescField(ard, 1, SQL_DESC_INDICATOR_PTR, &indicator, 0);
    rc |= SQLSetDescField(ard, 1, SQL_DESC_OCTET_LENGTH_PTR, &indicator, 0);
    rc |= SQLSetDescField(ard, 1, SQL_DESC_DATA_PTR, &number, 0);
    check(rc == SQL_SUCCESS, "SQLSetDescField binds a column");
    rc = SQLExecDirect(stmt, (SQLCHAR *)"SELECT 41 + 1 AS answer", SQL_NTS);
    check(rc == SQL_SUCCESS && SQLFetch(stmt) == SQL_SUCCESS && number == 42 && indicator == 4,
          "the column bound through the ARD is fetched");
    SQLSMALLINT count = 0, type = 0;
    SQLCHAR name[32] = "";
    SQLGetDescField(ird, 0, SQL_DESC_COUNT, &count, SQL_IS_SMALLINT, NULL);
    SQLGetDescField(ird, 1, SQL_DESC_CONCISE_TYPE, &type, SQL_IS_SMALLINT, NULL);
    SQLGetDescField(ird, 1, SQL_DESC_NAME, name, sizeof name, NULL);
    check(count == 1 && type == SQL_INTEGER && strcmp((char *)name, "answer") == 0, "the IRD describes the column");
    rc = SQLSetDescField(ird, 1, SQL_DESC_TYPE, (SQLPOINTER)SQL_INTEGER, 0);
    check(rc == SQL_ERROR && strcmp(state_of(SQL_HANDLE_DESC, ird), "HY016") == 0, "writing the IRD is HY016");
    SQLCloseCursor(stmt);

    SQLHDESC mine = SQL_NULL_HDESC;
    check(SQLAllocHandle(SQL_HANDLE_DESC, dbc, &mine) == SQL_SUCCESS, "SQLAllocHandle of a descriptor");
    check(SQLCopyDesc(ard, mine) == SQL_SUCCESS, "SQLCopyDesc from the ARD");
    check(SQLSetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, mine, 0) == SQL_SUCCESS, "an explicit ARD set");
    number = 0;
    rc = SQLExecDirect(stmt, (SQLCHAR *)"SELECT 7", SQL_NTS);
    check(rc == SQL_SUCCESS && SQLFetch(stmt) == SQL_SUCCESS && number == 7, "fetched through the explicit ARD");
    SQLCloseCursor(stmt);
    check(SQLFreeHandle(SQL_HANDLE_DESC, mine) == SQL_SUCCESS, "the explicit descriptor freed in use");
    SQLHDESC now = SQL_NULL_HDESC;
    SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &now, SQL_IS_POINTER, NULL);
    check(now == ard, "the statement is back on its implicit ARD");
    done(stmt);
}

int main(int argc, char **argv)
{
    dsn = argc > 1 ? argv[1] : "kxeval";
    char text[64];
    snprintf(text, sizeof text, "DSN=%s", dsn);
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, (SQLPOINTER)SQL_OV_ODBC3, 0);
    SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
    check(SQL_SUCCEEDED(SQLDriverConnect(dbc, NULL, (SQLCHAR *)text, SQL_NTS, NULL, 0, NULL,
                                         SQL_DRIVER_NOPROMPT)),
          "SQLDriverConnect");
    check_connection_string();
    check_wide_text();
    check_numeric();
    check_intervals();
    check_binary_and_datetimes();
    check_numbers();
    check_info();
    check_descriptions();
    check_descriptors();
    check_catalogue();
    check_long_data();
    check_native_sql();
    check_diagnostics();
    SQLDisconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
    printf("%d checks, %d failed\n", checks, failures);
    return failures;
}
