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
 *   kxevaldrv_bench KXEVALDRV_SO [SQLITE_ODBC_SO]
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

/* Fetches every row of the query with bound columns; returns the seconds
   taken and checks the row count and the first and last rows. */
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
    if (rows != ROWS || strcmp(first_upper, "1") != 0 || first_twice != 2 ||
        strncmp(first_later, "2000-01-02", 10) != 0 || strcmp(upper, "1000000") != 0 ||
        twice != 2 * ROWS || strncmp(later, "4737-11-28", 10) != 0) {
        fprintf(stderr, "%s: unexpected rows (%ld rows; first %s %d %s; last %s %d %s)\n", name,
                rows, first_upper, (int)first_twice, first_later, upper, (int)twice, later);
        exit(1);
    }
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

static double best_of(SQLHDBC dbc, const char *query, const char *name)
{
    double best = 1e30;
    for (int i = 0; i < RUNS; i++) {
        double t = fetch_all(dbc, query, name);
        if (t < best)
            best = t;
    }
    return best;
}

int main(int argc, char **argv)
{
    const char *ours = argc > 1 ? argv[1] : "libkxevaldrv.so";
    const char *sqlite =
        argc > 2 ? argv[2] : "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";
    char text[1024];
    SQLHENV env;
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, (SQLPOINTER)SQL_OV_ODBC3, 0);

    snprintf(text, sizeof text, "DRIVER=%s", ours);
    SQLHDBC kx = connect_to(env, text);
    snprintf(text, sizeof text, "DRIVER=%s;Database=:memory:", sqlite);
    SQLHDBC lite = connect_to(env, text);
    run(lite, "CREATE TABLE t(a INTEGER, d TEXT)");
    run(lite, "INSERT INTO t WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c "
              "WHERE x < 1000000) SELECT x, date('2000-01-01', '+' || (x - 1) || ' days') FROM c");

    double kx_time = best_of(kx,
                             "SELECT {fn UCASE(n)}, n * 2, {fn TIMESTAMPADD(SQL_TSI_DAY, 1, d)} "
                             "FROM SERIES(1, 1000000, {d '2000-01-01'}) AS t(n, d)",
                             "kxevaldrv");
    double lite_time = best_of(lite, "SELECT upper(a), a * 2, datetime(d, '+1 day') FROM t",
                               "SQLite");

    printf("1,000,000 rows of UCASE, a multiplication and TIMESTAMPADD, fetched with SQLBindCol\n");
    printf("  kxevaldrv (libkxsupp)   %8.1f ns per row\n", kx_time / ROWS * 1e9);
    printf("  SQLite's ODBC driver    %8.1f ns per row\n", lite_time / ROWS * 1e9);
    printf("  ratio kxevaldrv / SQLite: %.2f (%s)\n", kx_time / lite_time,
           kx_time <= lite_time ? "no slower than SQLite's driver" : "slower than SQLite's driver");

    SQLDisconnect(kx);
    SQLDisconnect(lite);
    SQLFreeHandle(SQL_HANDLE_DBC, kx);
    SQLFreeHandle(SQL_HANDLE_DBC, lite);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
    return 0;
}
