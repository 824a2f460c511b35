/*
 * driver_bench.c - the reference driver against SQLite's ODBC driver, per
 * row, through the same driver manager in the same run.
 *
 * Both drivers produce 1,000,000 rows of an upper-cased number, the number
 * times two and a date one day later, fetched with SQLBindCol into the same
 * buffers (text, 32-bit integer, text):
 *
 *   kxevaldrv: SELECT {fn UCASE(n)}, n * 2, {fn TIMESTAMPADD(SQL_TSI_DAY, 1, d)}
 *              FROM SERIES(1, 1000000, {d '2000-01-01'}) AS t(n, d)
 *   SQLite:    SELECT upper(a), a * 2, datetime(d, '+1 day') FROM t
 *              (an in-memory table of the same 1,000,000 rows)
 *
 * Each query runs three times and the fastest run counts; the result is the
 * ratio of the two times per row, so that it holds on a noisy machine. The
 * first and last rows are checked so that both sides really did the work.
 *
 * Both are run twice: one row per SQLFetch, and rowsets of 1,000 rows bound
 * column-wise (SQL_ATTR_ROW_ARRAY_SIZE). A third driver, the floor
 * (bench/driver/floor_driver.c), only copies precomputed rows into the
 * buffers: every time is also printed as a multiple of it.
 *
 *   kxevaldrv_bench KXEVALDRV_SO [FLOOR_SO [SQLITE_ODBC_SO]]
 */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <sql.h>
#include <sqlext.h>

#define ROWS 1000000
#define RUNS 3
#define ROWSET 1000

static double now(void)
{
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

static void fail(SQLSMALLINT type, SQLHANDLE handle, const char *what)
{
    SQLCHAR state[6], message[512];
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    state[0] = message[0] = '\0';
    SQLGetDiagRec(type, handle, 1, state, &native, message, sizeof message, &length);
    fprintf(stderr, "%s failed: [%s] %s\n", what, (char *)state, (char *)message);
    exit(1);
}

static void run(SQLHDBC dbc, const char *sql)
{
    SQLHSTMT stmt;
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    if (!SQL_SUCCEEDED(SQLExecDirect(stmt, (SQLCHAR *)sql, SQL_NTS)))
        fail(SQL_HANDLE_STMT, stmt, sql);
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
}

/* Checks that a run saw every row and the right first and last rows. */
static void check_rows(const char *name, long rows, const char *first_upper, SQLINTEGER first_twice,
                       const char *first_later, const char *upper, SQLINTEGER twice, const char *later)
{
    if (rows != ROWS || strcmp(first_upper, "1") != 0 || first_twice != 2 ||
        strncmp(first_later, "2000-01-02", 10) != 0 || strcmp(upper, "1000000") != 0 ||
        twice != 2 * ROWS || strncmp(later, "4737-11-28", 10) != 0) {
        fprintf(stderr, "%s: unexpected rows (%ld rows; first %s %d %s; last %s %d %s)\n", name,
                rows, first_upper, (int)first_twice, first_later, upper, (int)twice, later);
        exit(1);
    }
}

/* Fetches every row of the query, one row per SQLFetch into bound columns;
   returns the seconds taken and checks the rows. */
static double fetch_all(SQLHDBC dbc, const char *query, const char *name)
{
    SQLHSTMT stmt;
    char upper[32], later[32], first_upper[32] = "", first_later[32] = "";
    SQLINTEGER twice = 0, first_twice = 0;
    SQLLEN l1 = 0, l2 = 0, l3 = 0;
    long rows = 0;
    double start = now();
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    if (!SQL_SUCCEEDED(SQLExecDirect(stmt, (SQLCHAR *)query, SQL_NTS)))
        fail(SQL_HANDLE_STMT, stmt, query);
    SQLBindCol(stmt, 1, SQL_C_CHAR, upper, sizeof upper, &l1);
    SQLBindCol(stmt, 2, SQL_C_LONG, &twice, 0, &l2);
    SQLBindCol(stmt, 3, SQL_C_CHAR, later, sizeof later, &l3);
    SQLRETURN rc;
    while ((rc = SQLFetch(stmt)) == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO) {
        if (rows++ == 0) {
            strcpy(first_upper, upper);
            first_twice = twice;
            strcpy(first_later, later);
        }
    }
    if (rc != SQL_NO_DATA)
        fail(SQL_HANDLE_STMT, stmt, "SQLFetch");
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
    double seconds = now() - start;
    check_rows(name, rows, first_upper, first_twice, first_later, upper, twice, later);
    return seconds;
}

/* The same with rowsets of ROWSET rows bound column-wise. */
static char upper_set[ROWSET][32], later_set[ROWSET][32];
static SQLINTEGER twice_set[ROWSET];
static SQLLEN l1_set[ROWSET], l2_set[ROWSET], l3_set[ROWSET];

static double fetch_rowsets(SQLHDBC dbc, const char *query, const char *name)
{
    SQLHSTMT stmt;
    char first_upper[32] = "", first_later[32] = "";
    SQLINTEGER first_twice = 0;
    SQLULEN fetched = 0, last = 0;
    long rows = 0;
    double start = now();
    SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
    if (!SQL_SUCCEEDED(SQLSetStmtAttr(stmt, SQL_ATTR_ROW_ARRAY_SIZE, (SQLPOINTER)(SQLULEN)ROWSET, 0)))
        fail(SQL_HANDLE_STMT, stmt, "SQL_ATTR_ROW_ARRAY_SIZE");
    SQLSetStmtAttr(stmt, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0);
    if (!SQL_SUCCEEDED(SQLExecDirect(stmt, (SQLCHAR *)query, SQL_NTS)))
        fail(SQL_HANDLE_STMT, stmt, query);
    SQLBindCol(stmt, 1, SQL_C_CHAR, upper_set, sizeof upper_set[0], l1_set);
    SQLBindCol(stmt, 2, SQL_C_LONG, twice_set, 0, l2_set);
    SQLBindCol(stmt, 3, SQL_C_CHAR, later_set, sizeof later_set[0], l3_set);
    SQLRETURN rc;
    while ((rc = SQLFetch(stmt)) == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO) {
        if (rows == 0 && fetched > 0) {
            strcpy(first_upper, upper_set[0]);
            first_twice = twice_set[0];
            strcpy(first_later, later_set[0]);
        }
        rows += (long)fetched;
        last = fetched;
    }
    if (rc != SQL_NO_DATA)
        fail(SQL_HANDLE_STMT, stmt, "SQLFetch");
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
    double seconds = now() - start;
    if (last == 0)
        last = 1;
    check_rows(name, rows, first_upper, first_twice, first_later, upper_set[last - 1],
               twice_set[last - 1], later_set[last - 1]);
    return seconds;
}

static SQLHDBC connect_to(SQLHENV env, const char *text)
{
    SQLHDBC dbc;
    SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
    if (!SQL_SUCCEEDED(SQLDriverConnect(dbc, NULL, (SQLCHAR *)text, SQL_NTS, NULL, 0, NULL,
                                        SQL_DRIVER_NOPROMPT)))
        fail(SQL_HANDLE_DBC, dbc, text);
    return dbc;
}

static double best_of(SQLHDBC dbc, const char *query, const char *name, int rowsets)
{
    double best = 1e30;
    for (int i = 0; i < RUNS; i++) {
        double t = rowsets ? fetch_rowsets(dbc, query, name) : fetch_all(dbc, query, name);
        if (t < best)
            best = t;
    }
    return best;
}

/* One comparison: the three times per row, the ratio to SQLite's driver
   against its goal, and each time as a multiple of the floor. */
static void report(const char *what, double kx, double lite, double floor_time, double goal)
{
    double ratio = kx / lite;
    printf("%s\n", what);
    printf("  kxevaldrv (libkxsupp)   %8.1f ns per row  %6.1f x the floor\n", kx / ROWS * 1e9,
           kx / floor_time);
    printf("  SQLite's ODBC driver    %8.1f ns per row  %6.1f x the floor\n", lite / ROWS * 1e9,
           lite / floor_time);
    printf("  floor (copies only)     %8.1f ns per row\n", floor_time / ROWS * 1e9);
    printf("  ratio kxevaldrv / SQLite: %.2f  goal at most %.2f: %s\n", ratio, goal,
           ratio <= goal ? "met" : "MISSED");
}

int main(int argc, char **argv)
{
    const char *ours = argc > 1 ? argv[1] : "libkxevaldrv.so";
    const char *floor_so = argc > 2 ? argv[2] : "libkxfloordrv.so";
    const char *sqlite =
        argc > 3 ? argv[3] : "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";
    const char *kx_query = "SELECT {fn UCASE(n)}, n * 2, {fn TIMESTAMPADD(SQL_TSI_DAY, 1, d)} "
                           "FROM SERIES(1, 1000000, {d '2000-01-01'}) AS t(n, d)";
    const char *lite_query = "SELECT upper(a), a * 2, datetime(d, '+1 day') FROM t";
    char text[1024];
    SQLHENV env;
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, (SQLPOINTER)SQL_OV_ODBC3, 0);

    snprintf(text, sizeof text, "DRIVER=%s", ours);
    SQLHDBC kx = connect_to(env, text);
    snprintf(text, sizeof text, "DRIVER=%s", floor_so);
    SQLHDBC floor_dbc = connect_to(env, text);
    snprintf(text, sizeof text, "DRIVER=%s;Database=:memory:", sqlite);
    SQLHDBC lite = connect_to(env, text);
    run(lite, "CREATE TABLE t(a INTEGER, d TEXT)");
    run(lite, "INSERT INTO t WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c "
              "WHERE x < 1000000) SELECT x, date('2000-01-01', '+' || (x - 1) || ' days') FROM c");

    for (int rowsets = 0; rowsets <= 1; rowsets++) {
        double kx_time = best_of(kx, kx_query, "kxevaldrv", rowsets);
        double lite_time = best_of(lite, lite_query, "SQLite", rowsets);
        double floor_time = best_of(floor_dbc, "rows", "floor", rowsets);
        report(rowsets ? "1,000,000 rows of UCASE, a multiplication and TIMESTAMPADD, rowsets of 1,000 "
                         "rows bound column-wise"
                       : "1,000,000 rows of UCASE, a multiplication and TIMESTAMPADD, one row per SQLFetch "
                         "into bound columns",
               kx_time, lite_time, floor_time, rowsets ? 0.20 : 0.25);
    }

    SQLDisconnect(kx);
    SQLDisconnect(floor_dbc);
    SQLDisconnect(lite);
    SQLFreeHandle(SQL_HANDLE_DBC, kx);
    SQLFreeHandle(SQL_HANDLE_DBC, floor_dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, lite);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
    return 0;
}
