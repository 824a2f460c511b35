/*
 * floor_driver.c - the least an ODBC driver can do per row, as a floor for
 * the driver benchmark: a driver that answers every statement with the same
 * 1,000,000 rows, made once at connect time (a number's text, twice the
 * number, a date's text), and copies them into the bound buffers. What the
 * benchmark measures through it is the driver manager's share of a fetch
 * and the copying any driver does; a real driver's time is printed as a
 * multiple of it.
 *
 * Only what the benchmark calls is here: handles, SQLDriverConnect,
 * SQLExecDirect, SQLBindCol (SQL_C_CHAR and SQL_C_LONG), SQLFetch and
 * SQLFetchScroll(SQL_FETCH_NEXT) with rowsets bound column-wise,
 * SQL_ATTR_ROW_ARRAY_SIZE and SQL_ATTR_ROWS_FETCHED_PTR.
 */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sql.h>
#include <sqlext.h>

#define FLOOR_ROWS 1000000
#define FLOOR_COLUMNS 3

#define FLOOR_API __attribute__((visibility("default")))

struct floor_row {
    char number[12];
    SQLINTEGER twice;
    char date[24];
};

static struct floor_row *rows;

struct floor_binding {
    SQLSMALLINT c_type;
    char *data;
    SQLLEN buffer_length;
    SQLLEN *indicator;
};

struct floor_stmt {
    long next;
    SQLULEN array_size;
    SQLULEN *fetched;
    struct floor_binding columns[FLOOR_COLUMNS];
};

/* The rows, made once: n from 1, the day n - 1 days after 2000-01-02. */
static int make_rows(void)
{
    if (rows != NULL)
        return 1;
    rows = malloc(sizeof *rows * FLOOR_ROWS);
    if (rows == NULL)
        return 0;
    unsigned year = 2000, month = 1, day = 2;
    static const unsigned lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (long i = 0; i < FLOOR_ROWS; i++) {
        snprintf(rows[i].number, sizeof rows[i].number, "%ld", i + 1);
        rows[i].twice = (SQLINTEGER)(2 * (i + 1));
        snprintf(rows[i].date, sizeof rows[i].date, "%04u-%02u-%02u 00:00:00", year % 10000, month % 100,
                 day % 100);
        unsigned leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
        if (++day > lengths[month - 1] + (month == 2 && leap ? 1u : 0u)) {
            day = 1;
            if (++month > 12) {
                month = 1;
                year++;
            }
        }
    }
    return 1;
}

FLOOR_API SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE *out)
{
    (void)parent;
    if (out == NULL)
        return SQL_ERROR;
    *out = type == SQL_HANDLE_STMT ? calloc(1, sizeof(struct floor_stmt)) : calloc(1, 16);
    if (*out != NULL && type == SQL_HANDLE_STMT)
        ((struct floor_stmt *)*out)->array_size = 1;
    return *out != NULL ? SQL_SUCCESS : SQL_ERROR;
}

FLOOR_API SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle)
{
    (void)type;
    free(handle);
    return SQL_SUCCESS;
}

FLOOR_API SQLRETURN SQL_API SQLSetEnvAttr(SQLHENV env, SQLINTEGER attribute, SQLPOINTER value,
                                          SQLINTEGER length)
{
    (void)env, (void)attribute, (void)value, (void)length;
    return SQL_SUCCESS;
}

FLOOR_API SQLRETURN SQL_API SQLDriverConnect(SQLHDBC dbc, SQLHWND window, SQLCHAR *in, SQLSMALLINT in_length,
                                             SQLCHAR *out, SQLSMALLINT out_length, SQLSMALLINT *written,
                                             SQLUSMALLINT completion)
{
    (void)dbc, (void)window, (void)in, (void)in_length, (void)completion;
    if (out != NULL && out_length > 0)
        out[0] = '\0';
    if (written != NULL)
        *written = 0;
    return make_rows() ? SQL_SUCCESS : SQL_ERROR;
}

FLOOR_API SQLRETURN SQL_API SQLDisconnect(SQLHDBC dbc)
{
    (void)dbc;
    return SQL_SUCCESS;
}

FLOOR_API SQLRETURN SQL_API SQLExecDirect(SQLHSTMT handle, SQLCHAR *text, SQLINTEGER length)
{
    (void)text, (void)length;
    ((struct floor_stmt *)handle)->next = 0;
    return SQL_SUCCESS;
}

FLOOR_API SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT *count)
{
    (void)handle;
    *count = FLOOR_COLUMNS;
    return SQL_SUCCESS;
}

FLOOR_API SQLRETURN SQL_API SQLBindCol(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT c_type, SQLPOINTER data,
                                       SQLLEN buffer_length, SQLLEN *indicator)
{
    struct floor_stmt *stmt = handle;
    if (number < 1 || number > FLOOR_COLUMNS)
        return SQL_ERROR;
    struct floor_binding *b = &stmt->columns[number - 1];
    b->c_type = c_type;
    b->data = data;
    b->buffer_length = buffer_length;
    b->indicator = indicator;
    return SQL_SUCCESS;
}

FLOOR_API SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                                           SQLINTEGER length)
{
    struct floor_stmt *stmt = handle;
    (void)length;
    if (attribute == SQL_ATTR_ROW_ARRAY_SIZE)
        stmt->array_size = (SQLULEN)value;
    else if (attribute == SQL_ATTR_ROWS_FETCHED_PTR)
        stmt->fetched = value;
    return SQL_SUCCESS;
}

static void put_text(const struct floor_binding *b, SQLULEN k, const char *text)
{
    size_t n = strlen(text);
    if ((SQLLEN)n >= b->buffer_length)
        n = b->buffer_length > 0 ? (size_t)b->buffer_length - 1 : 0;
    char *to = b->data + k * (size_t)b->buffer_length;
    memcpy(to, text, n);
    to[n] = '\0';
    if (b->indicator != NULL)
        b->indicator[k] = (SQLLEN)strlen(text);
}

FLOOR_API SQLRETURN SQL_API SQLFetch(SQLHSTMT handle)
{
    struct floor_stmt *stmt = handle;
    SQLULEN k = 0;
    for (; k < stmt->array_size && stmt->next < FLOOR_ROWS; k++, stmt->next++) {
        const struct floor_row *row = &rows[stmt->next];
        put_text(&stmt->columns[0], k, row->number);
        ((SQLINTEGER *)stmt->columns[1].data)[k] = row->twice;
        if (stmt->columns[1].indicator != NULL)
            stmt->columns[1].indicator[k] = sizeof(SQLINTEGER);
        put_text(&stmt->columns[2], k, row->date);
    }
    if (stmt->fetched != NULL)
        *stmt->fetched = k;
    return k == 0 ? SQL_NO_DATA : SQL_SUCCESS;
}

FLOOR_API SQLRETURN SQL_API SQLFetchScroll(SQLHSTMT handle, SQLSMALLINT orientation, SQLLEN offset)
{
    (void)offset;
    return orientation == SQL_FETCH_NEXT ? SQLFetch(handle) : SQL_ERROR;
}

FLOOR_API SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option)
{
    (void)handle, (void)option;
    return SQL_SUCCESS;
}

FLOOR_API SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT record, SQLCHAR *state,
                                          SQLINTEGER *native, SQLCHAR *message, SQLSMALLINT length,
                                          SQLSMALLINT *written)
{
    (void)type, (void)handle, (void)record, (void)state, (void)native, (void)message, (void)length,
        (void)written;
    return SQL_NO_DATA;
}
