/*
 * flat_memory.c - the process's memory stays flat while an application
 * works the driver hard through the driver manager: 100,000 executions
 * (a new statement handle for every tenth, a parameter and a fetched row
 * each) and 10,000 connections made and dropped.
 *
 * The resident size is read from /proc/self/status after a warm-up (the
 * driver manager, the driver and their caches settle there) and again at
 * the end; a growth of more than KX_FLAT_LIMIT_KB fails. A leak of a few
 * dozen octets per execution or per connection passes the limit.
 *
 *   flat_memory DSN [EXECUTIONS [CONNECTS]]
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sql.h>
#include <sqlext.h>

#define KX_FLAT_LIMIT_KB 2048

static long resident_kb(void)
{
    FILE *f = fopen("/proc/self/status", "r");
    char line[256];
    long kb = -1;
    if (f == NULL)
        return -1;
    while (fgets(line, sizeof line, f) != NULL)
        if (strncmp(line, "VmRSS:", 6) == 0)
            kb = strtol(line + 6, NULL, 10);
    fclose(f);
    return kb;
}

static void fail(SQLSMALLINT type, SQLHANDLE handle, const char *what)
{
    SQLCHAR state[6] = "", message[512] = "";
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    SQLGetDiagRec(type, handle, 1, state, &native, message, sizeof message, &length);
    fprintf(stderr, "not ok: %s failed: [%s] %s\n", what, (char *)state, (char *)message);
    exit(1);
}

static SQLHDBC connect_to(SQLHENV env, const char *dsn)
{
    SQLHDBC dbc;
    if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc)))
        fail(SQL_HANDLE_ENV, env, "SQLAllocHandle(DBC)");
    if (!SQL_SUCCEEDED(SQLConnect(dbc, (SQLCHAR *)dsn, SQL_NTS, NULL, 0, NULL, 0)))
        fail(SQL_HANDLE_DBC, dbc, "SQLConnect");
    return dbc;
}

static void disconnect(SQLHDBC dbc)
{
    SQLDisconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
}

/* One execution with a parameter and the row it gives, checked. */
static void execute_once(SQLHSTMT stmt, SQLINTEGER n)
{
    SQLINTEGER in = n, out = 0;
    SQLLEN in_length = 0, out_length = 0, text_length = 0;
    char text[64];
    SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, &in, 0, &in_length);
    if (!SQL_SUCCEEDED(SQLExecDirect(stmt,
                                     (SQLCHAR *)"SELECT ? + 1, {fn CONCAT('row ', {fn UCASE('x')})}",
                                     SQL_NTS)))
        fail(SQL_HANDLE_STMT, stmt, "SQLExecDirect");
    SQLBindCol(stmt, 1, SQL_C_SLONG, &out, 0, &out_length);
    SQLBindCol(stmt, 2, SQL_C_CHAR, text, sizeof text, &text_length);
    if (SQLFetch(stmt) != SQL_SUCCESS || out != n + 1 || strcmp(text, "row X") != 0)
        fail(SQL_HANDLE_STMT, stmt, "SQLFetch");
    SQLCloseCursor(stmt);
    SQLFreeStmt(stmt, SQL_UNBIND);
    SQLFreeStmt(stmt, SQL_RESET_PARAMS);
}

static void executions(SQLHDBC dbc, long count)
{
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    for (long i = 0; i < count; i++) {
        if (i % 10 == 0) {
            if (stmt != SQL_NULL_HSTMT)
                SQLFreeHandle(SQL_HANDLE_STMT, stmt);
            if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt)))
                fail(SQL_HANDLE_DBC, dbc, "SQLAllocHandle(STMT)");
        }
        execute_once(stmt, (SQLINTEGER)i);
    }
    SQLFreeHandle(SQL_HANDLE_STMT, stmt);
}

static void connections(SQLHENV env, const char *dsn, long count)
{
    for (long i = 0; i < count; i++)
        disconnect(connect_to(env, dsn));
}

int main(int argc, char **argv)
{
    const char *dsn = argc > 1 ? argv[1] : "kxeval";
    long runs = argc > 2 ? atol(argv[2]) : 100000;
    long connects = argc > 3 ? atol(argv[3]) : 10000;
    SQLHENV env;
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, (SQLPOINTER)SQL_OV_ODBC3, 0);
    /* one connection stays open throughout, as an application's would, so
       the driver stays loaded between the connects */
    SQLHDBC dbc = connect_to(env, dsn);

    executions(dbc, runs / 10);
    connections(env, dsn, connects / 10);
    long before = resident_kb();

    executions(dbc, runs);
    connections(env, dsn, connects);
    long after = resident_kb();

    disconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
    printf("resident %ld kB after the warm-up, %ld kB after %ld executions and %ld connects\n",
           before, after, runs, connects);
    if (before < 0 || after < 0) {
        printf("not ok: /proc/self/status has no VmRSS\n");
        return 1;
    }
    if (after - before > KX_FLAT_LIMIT_KB) {
        printf("not ok: grew by %ld kB (the limit is %d kB)\n", after - before, KX_FLAT_LIMIT_KB);
        return 1;
    }
    printf("ok: grew by %ld kB\n", after - before);
    return 0;
}
