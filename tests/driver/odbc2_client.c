/*
 * odbc2_client.c - an ODBC 2 application run against the reference driver
 * through the driver manager.
 *
 * It allocates its handles with the ODBC 2 calls (SQLAllocEnv,
 * SQLAllocConnect, SQLAllocStmt), so the driver manager declares it an
 * ODBC 2 application, and reads diagnostics with SQLError: it must see the
 * ODBC 2 SQLSTATEs (37000 for a syntax error, S0022 for an unknown column,
 * S1008 for a cancelled query; a domain error keeps 2201E, which ODBC 2
 * has no name of its own for) and the ODBC 2 type
 * numbers (SQL_DATE 9, SQL_TIMESTAMP 11). It also checks bound columns in
 * several C types, piecewise SQLGetData with the truncation rules, NULL
 * indicators, parameters, cursor names, SQLNativeSql, a query time-out and a
 * cancellation from another thread. Each check prints "ok" or "not ok"; the
 * exit status counts the failures.
 *
 *   odbc2_client DSN
 */
#define _POSIX_C_SOURCE 200809L
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <sql.h>
#include <sqlext.h>

static int failures;
static int checks;

static void check(int condition, const char *what)
{
    checks++;
    if (condition) {
        printf("ok %d - %s\n", checks, what);
    } else {
        printf("not ok %d - %s\n", checks, what);
        failures++;
    }
}

static HENV env;
static HDBC dbc;

/* The SQLSTATE of the statement's first diagnostic, read with SQLError. */
static const char *state_of(HSTMT stmt)
{
    static char state[6];
    SQLCHAR message[512];
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    state[0] = '\0';
    if (SQLError(env, dbc, stmt, (SQLCHAR *)state, &native, message, sizeof message, &length) !=
        SQL_SUCCESS)
        strcpy(state, "none");
    return state;
}

/* Runs text and returns the state of the error it must give. */
static const char *error_state(HSTMT stmt, const char *text)
{
    SQLRETURN rc = SQLExecDirect(stmt, (SQLCHAR *)text, SQL_NTS);
    if (rc != SQL_ERROR)
        return "no error";
    return state_of(stmt);
}

static void check_states(HSTMT stmt)
{
    check(strcmp(error_state(stmt, "SELECT 1 +"), "37000") == 0, "syntax error is 37000");
    check(strcmp(error_state(stmt, "SELECT nosuch"), "S0022") == 0, "unknown column is S0022");
    check(strcmp(error_state(stmt, "SELECT {fn LOG(0)}"), "2201E") == 0, "domain error is 2201E");
    check(strcmp(error_state(stmt, "SELECT 1 / 0"), "22012") == 0, "division by zero is 22012");
    check(strcmp(error_state(stmt, "SELECT {d '2004-13-01'}"), "22008") == 0,
          "bad date literal is 22008");
    check(strcmp(error_state(stmt, "SELECT CAST('x' AS INTEGER)"), "22005") == 0,
          "bad cast is 22005");
}

static void check_bound_columns(HSTMT stmt)
{
    SQLINTEGER i = 0;
    SQLDOUBLE d = 0;
    char text[64];
    DATE_STRUCT date;
    TIMESTAMP_STRUCT ts;
    SQLLEN li = 0, ld = 0, lt = 0, ldate = 0, lts = 0;
    SQLRETURN rc = SQLExecDirect(
        stmt,
        (SQLCHAR *)"SELECT 6 * 7, 2.5 * 2, 12345678901234567890123456789012345678 - 1, "
                   "{d '2004-06-16'}, {ts '2004-06-16 13:14:15'}",
        SQL_NTS);
    check(rc == SQL_SUCCESS, "SELECT of five types executes");
    SQLBindCol(stmt, 1, SQL_C_LONG, &i, 0, &li);
    SQLBindCol(stmt, 2, SQL_C_DOUBLE, &d, 0, &ld);
    SQLBindCol(stmt, 3, SQL_C_CHAR, text, sizeof text, &lt);
    SQLBindCol(stmt, 4, SQL_C_DATE, &date, 0, &ldate);
    SQLBindCol(stmt, 5, SQL_C_TIMESTAMP, &ts, 0, &lts);
    rc = SQLFetch(stmt);
    check(rc == SQL_SUCCESS, "the row fetches");
    check(i == 42 && li == (SQLLEN)sizeof(SQLINTEGER), "6 * 7 as SQL_C_LONG is 42");
    check(d == 5.0, "2.5 * 2 as SQL_C_DOUBLE is 5");
    check(strcmp(text, "12345678901234567890123456789012345677") == 0 && lt == 38,
          "a 38-digit numeric as SQL_C_CHAR keeps every digit");
    check(date.year == 2004 && date.month == 6 && date.day == 16, "a date as SQL_C_DATE");
    check(ts.hour == 13 && ts.minute == 14 && ts.second == 15 && ts.fraction == 0,
          "a timestamp as SQL_C_TIMESTAMP");
    {
        SQLSMALLINT type = 0, digits = 0, nullable = 0, name_length = 0;
        SQLULEN size = 0;
        SQLCHAR name[32];
        SQLDescribeCol(stmt, 4, name, sizeof name, &name_length, &type, &size, &digits, &nullable);
        check(type == SQL_DATE, "an ODBC 2 application sees a date column as SQL_DATE (9)");
        SQLDescribeCol(stmt, 5, name, sizeof name, &name_length, &type, &size, &digits, &nullable);
        check(type == SQL_TIMESTAMP, "and a timestamp column as SQL_TIMESTAMP (11)");
        SQLDescribeCol(stmt, 3, name, sizeof name, &name_length, &type, &size, &digits, &nullable);
        check(type == SQL_NUMERIC && size == 38, "a 38-digit column is SQL_NUMERIC of precision 38");
    }
    check(SQLFetch(stmt) == SQL_NO_DATA, "one row only");
    SQLFreeStmt(stmt, SQL_UNBIND);
    SQLFreeStmt(stmt, SQL_CLOSE);
}

static void check_pieces(HSTMT stmt)
{
    char piece[4];
    SQLLEN length = 0;
    SQLRETURN rc;
    SQLExecDirect(stmt, (SQLCHAR *)"SELECT 'abcdefghij', NULL", SQL_NTS);
    SQLFetch(stmt);
    rc = SQLGetData(stmt, 1, SQL_C_CHAR, piece, sizeof piece, &length);
    check(rc == SQL_SUCCESS_WITH_INFO && strcmp(piece, "abc") == 0 && length == 10,
          "first piece: 3 characters, 10 remaining, with info");
    check(strcmp(state_of(stmt), "01004") == 0, "the info is 01004");
    rc = SQLGetData(stmt, 1, SQL_C_CHAR, piece, sizeof piece, &length);
    check(rc == SQL_SUCCESS_WITH_INFO && strcmp(piece, "def") == 0 && length == 7,
          "second piece: 7 remaining");
    rc = SQLGetData(stmt, 1, SQL_C_CHAR, piece, sizeof piece, &length);
    check(rc == SQL_SUCCESS_WITH_INFO && strcmp(piece, "ghi") == 0 && length == 4,
          "third piece: 4 remaining");
    rc = SQLGetData(stmt, 1, SQL_C_CHAR, piece, sizeof piece, &length);
    check(rc == SQL_SUCCESS && strcmp(piece, "j") == 0 && length == 1, "last piece");
    rc = SQLGetData(stmt, 1, SQL_C_CHAR, piece, sizeof piece, &length);
    check(rc == SQL_NO_DATA, "then SQL_NO_DATA");
    rc = SQLGetData(stmt, 2, SQL_C_CHAR, piece, sizeof piece, &length);
    check(rc == SQL_SUCCESS && length == SQL_NULL_DATA, "NULL gives SQL_NULL_DATA");
    SQLFreeStmt(stmt, SQL_CLOSE);
    SQLExecDirect(stmt, (SQLCHAR *)"SELECT NULL", SQL_NTS);
    SQLFetch(stmt);
    rc = SQLGetData(stmt, 1, SQL_C_CHAR, piece, sizeof piece, NULL);
    check(rc == SQL_ERROR && strcmp(state_of(stmt), "22002") == 0,
          "NULL without an indicator is 22002");
    SQLFreeStmt(stmt, SQL_CLOSE);
    SQLExecDirect(stmt, (SQLCHAR *)"SELECT 300", SQL_NTS);
    SQLFetch(stmt);
    {
        SQLCHAR tiny = 0;
        rc = SQLGetData(stmt, 1, SQL_C_UTINYINT, &tiny, 0, &length);
        check(rc == SQL_ERROR && strcmp(state_of(stmt), "22003") == 0,
              "300 into an unsigned tiny integer is 22003");
    }
    SQLFreeStmt(stmt, SQL_CLOSE);
}

static void check_parameters(HSTMT stmt)
{
    SQLINTEGER n = 41, out = 0;
    char text[] = "param";
    char result[32];
    SQLLEN n_length = 0, text_length = SQL_NTS, out_length = 0, result_length = 0;
    SQLPrepare(stmt, (SQLCHAR *)"SELECT ? + 1, {fn UCASE(?)}", SQL_NTS);
    SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 0, 0, &n, 0, &n_length);
    SQLBindParameter(stmt, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 10, 0, text, 0, &text_length);
    check(SQLExecute(stmt) == SQL_SUCCESS, "a prepared statement with two parameters executes");
    SQLBindCol(stmt, 1, SQL_C_LONG, &out, 0, &out_length);
    SQLBindCol(stmt, 2, SQL_C_CHAR, result, sizeof result, &result_length);
    SQLFetch(stmt);
    check(out == 42 && strcmp(result, "PARAM") == 0, "? + 1 is 42 and UCASE(?) is PARAM");
    SQLFreeStmt(stmt, SQL_CLOSE);
    n = 99;
    SQLExecute(stmt);
    SQLFetch(stmt);
    check(out == 100, "executed again with a new value: 100");
    SQLFreeStmt(stmt, SQL_CLOSE);
    SQLFreeStmt(stmt, SQL_UNBIND);
    SQLFreeStmt(stmt, SQL_RESET_PARAMS);
    check(strcmp(error_state(stmt, "SELECT ?"), "07002") == 0 ||
              strcmp(error_state(stmt, "SELECT ?"), "07001") == 0,
          "an unbound parameter is an error on COUNT");
}

static void check_cursor_names(HSTMT stmt)
{
    HSTMT other;
    SQLCHAR name[64];
    SQLSMALLINT length = 0;
    SQLAllocStmt(dbc, &other);
    SQLGetCursorName(stmt, name, sizeof name, &length);
    check(strncmp((char *)name, "SQL_CUR", 7) == 0 && length == 15,
          "a generated cursor name is SQL_CUR and eight hex digits");
    check(SQLSetCursorName(stmt, (SQLCHAR *)"orders", SQL_NTS) == SQL_SUCCESS, "a cursor is named");
    SQLGetCursorName(stmt, name, sizeof name, &length);
    check(strcmp((char *)name, "orders") == 0, "and the name reads back");
    check(SQLSetCursorName(other, (SQLCHAR *)"orders", SQL_NTS) == SQL_ERROR &&
              strcmp(state_of(other), "3C000") == 0,
          "the same name on another statement is 3C000");
    SQLGetCursorName(stmt, name, 4, &length);
    check(strcmp((char *)name, "ord") == 0 && length == 6, "a short buffer is cut, length 6");
    SQLFreeStmt(other, SQL_DROP);
}

static void check_native_sql(void)
{
    SQLCHAR out[256];
    SQLINTEGER length = 0;
    SQLRETURN rc = SQLNativeSql(dbc, (SQLCHAR *)"select {fn ucase('a')} as x where 1 < 2", SQL_NTS,
                                out, sizeof out, &length);
    check(rc == SQL_SUCCESS && strstr((char *)out, "UCASE( 'a' ") != NULL &&
              strstr((char *)out, " AS x") != NULL && strstr((char *)out, " WHERE ( 1  < 2  )") != NULL,
          "SQLNativeSql prints the statement back");
}

static void check_timeout(HSTMT stmt)
{
    time_t start = time(NULL);
    SQLSetStmtOption(stmt, SQL_QUERY_TIMEOUT, 1);
    const char *state =
        error_state(stmt, "SELECT n FROM SERIES(1, 2000000000) AS s(n) WHERE n < 0");
    check(strcmp(state, "S1T00") == 0 || strcmp(state, "HYT00") == 0,
          "a query over its time-out stops with the time-out state");
    check(time(NULL) - start < 10, "within a few seconds");
    SQLSetStmtOption(stmt, SQL_QUERY_TIMEOUT, 0);
}

static volatile int query_done;

/* SQLCancel every 0.2 s until the query has given up: a cancel that comes
   before the query has started cancels nothing. */
static void *keep_cancelling(void *stmt)
{
    const struct timespec pause = {0, 200 * 1000 * 1000};
    while (!query_done) {
        nanosleep(&pause, NULL);
        if (!query_done)
            SQLCancel((HSTMT)stmt);
    }
    return NULL;
}

static void check_cancel(HSTMT stmt)
{
    pthread_t thread;
    time_t start = time(NULL);
    query_done = 0;
    pthread_create(&thread, NULL, keep_cancelling, stmt);
    SQLRETURN rc = SQLExecDirect(
        stmt, (SQLCHAR *)"SELECT n FROM SERIES(1, 4000000000) AS s(n) WHERE n < 0", SQL_NTS);
    /* the canceller stops before the diagnostics are read */
    query_done = 1;
    pthread_join(thread, NULL);
    check(rc == SQL_ERROR && strcmp(state_of(stmt), "S1008") == 0,
          "a query cancelled from another thread is S1008");
    check(time(NULL) - start < 10, "and stops at once");
    {
        SQLINTEGER n = 0;
        SQLExecDirect(stmt, (SQLCHAR *)"SELECT 5", SQL_NTS);
        SQLBindCol(stmt, 1, SQL_C_LONG, &n, 0, NULL);
        check(SQLFetch(stmt) == SQL_SUCCESS && n == 5, "the cancelled statement runs the next query");
        SQLFreeStmt(stmt, SQL_CLOSE);
        SQLFreeStmt(stmt, SQL_UNBIND);
    }
}

int main(int argc, char **argv)
{
    const char *dsn = argc > 1 ? argv[1] : "kxeval";
    HSTMT stmt;
    SQLAllocEnv(&env);
    SQLAllocConnect(env, &dbc);
    check(SQLConnect(dbc, (SQLCHAR *)dsn, SQL_NTS, NULL, 0, NULL, 0) == SQL_SUCCESS,
          "SQLConnect by data source name");
    SQLAllocStmt(dbc, &stmt);
    check_states(stmt);
    check_bound_columns(stmt);
    check_pieces(stmt);
    check_parameters(stmt);
    check_cursor_names(stmt);
    check_native_sql();
    check_timeout(stmt);
    check_cancel(stmt);
    {
        SQLINTEGER n = 0;
        SQLExecDirect(stmt, (SQLCHAR *)"SELECT 7", SQL_NTS);
        SQLBindCol(stmt, 1, SQL_C_LONG, &n, 0, NULL);
        check(SQLFetch(stmt) == SQL_SUCCESS && n == 7, "the connection is usable after every error");
    }
    SQLFreeStmt(stmt, SQL_DROP);
    SQLDisconnect(dbc);
    SQLFreeConnect(dbc);
    SQLFreeEnv(env);
    printf("%d checks, %d failed\n", checks, failures);
    return failures;
}
