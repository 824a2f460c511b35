/*
 * Memory handles and diagnostics, as a driver uses them: one handle per
 * ODBC environment, connection and statement, an error header on each, a
 * failing call's diagnostics posted and read back in ODBC 3 and ODBC 2
 * form, and a statement released with everything in it.
 */
#include <stdio.h>
#include <string.h>

#include "demo.h"

/* SQL_DIAG_* identifiers and handle types, as ODBC numbers them. */
enum {
    DIAG_NUMBER = 2,
    DIAG_SQLSTATE = 4,
    DIAG_MESSAGE_TEXT = 6,
    DIAG_DYNAMIC_FUNCTION = 7,
    DIAG_CLASS_ORIGIN = 8,
    DIAG_SERVER_NAME = 11,
    HANDLE_DBC = 2,
    HANDLE_STMT = 3
};

static int failures;
static int statement_blocks_released;

static void check(int condition, const char *what)
{
    if (!condition) {
        printf("  !! not as described: %s\n", what);
        failures++;
    }
}

/* Runs when a block of the statement dies with its handle. */
static int count_release(void *pointer)
{
    (void)pointer;
    statement_blocks_released++;
    return 0;
}

/* Prints every record of a header with GetDiagRec; returns the count. */
static int show_records(ErrorHeader *header)
{
    int32_t number = 1;
    char state[6];
    int32_t native;
    char message[256];
    int16_t length;
    while (GetDiagRec(header, number, state, &native, message,
                      (int32_t)sizeof message, &length) == 0) {
        printf("    record %d: SQLSTATE %s, native %d, %d characters: %s\n",
               (int)number, state, (int)native, (int)length, message);
        number++;
    }
    return (int)number - 1;
}

static void show_odbc3_statement(ErrorHeader *errors)
{
    char text[64];
    int16_t length;
    int32_t count = 0;
    char state[6];

    printf("\nA statement's call fails; the driver posts on its error header.\n");
    SetupErrorHeader(errors, 82);        /* an UPDATE ... WHERE */
    check(SetReturnCode(errors, -1) == -1, "SetReturnCode gives back -1");
    PostError(errors, 2, 0, NULL, 208, 0, "ISO 9075", "42S02",
              "Table '%s' not found", "orders");
    PostError(errors, 1, 0, "Varnel Sales", 0, 0, "ODBC 3.0", "HY092",
              "Attribute %d cannot be set now", 1227);

    printf("  The application reads them back with SQLGetDiagRec:\n");
    check(show_records(errors) == 2, "two records come back");
    GetDiagRec(errors, 1, state, NULL, text, (int32_t)sizeof text, &length);
    check(strcmp(text, "[Varnel ODBC]Table 'orders' not found") == 0,
          "the message carries the component name in brackets");
    GetDiagRec(errors, 2, state, NULL, NULL, 0, NULL);
    check(strcmp(state, "HY092") == 0, "an ODBC 3 application sees HY092");
    check(GetDiagRec(errors, 3, state, NULL, text, (int32_t)sizeof text,
                     &length) == 100,
          "record 3 is past the end (SQL_NO_DATA)");

    printf("  And field by field with SQLGetDiagField:\n");
    GetDiagField(HANDLE_STMT, errors, 0, DIAG_NUMBER, &count, 0, NULL);
    printf("    number of records: %d\n", (int)count);
    check(count == 2, "the count is 2");
    GetDiagField(HANDLE_STMT, errors, 0, DIAG_DYNAMIC_FUNCTION, text,
                 (int32_t)sizeof text, &length);
    printf("    dynamic function: %s\n", text);
    check(strcmp(text, "UPDATE WHERE") == 0, "function 82 is UPDATE WHERE");
    check(GetDiagField(HANDLE_DBC, errors, 0, DIAG_DYNAMIC_FUNCTION, text,
                       (int32_t)sizeof text, &length) == -1,
          "the dynamic function is a statement's field only");
    GetDiagField(HANDLE_STMT, errors, 1, DIAG_CLASS_ORIGIN, text,
                 (int32_t)sizeof text, &length);
    printf("    record 1 class origin: %s\n", text);
    check(strcmp(text, "ISO 9075") == 0, "class-origin code 2 is ISO 9075");
    GetDiagField(HANDLE_STMT, errors, 2, DIAG_CLASS_ORIGIN, text,
                 (int32_t)sizeof text, &length);
    printf("    record 2 class origin: %s\n", text);
    check(strcmp(text, "ODBC 3.0") == 0, "class-origin code 1 is ODBC 3.0");
    GetDiagField(HANDLE_STMT, errors, 2, DIAG_SERVER_NAME, text,
                 (int32_t)sizeof text, &length);
    printf("    server name: %s\n", text);
    check(strcmp(text, "Varnel ODBC 3.0") == 0, "the server name");
}

static void show_truncation(ErrorHeader *errors)
{
    char small[16];
    int16_t length = 0;
    int16_t result;

    printf("\nThe application offers a 16-byte buffer for the first message.\n");
    result = GetDiagRec(errors, 1, NULL, NULL, small, (int32_t)sizeof small,
                        &length);
    printf("  result %d (1: truncated, the driver returns "
           "SQL_SUCCESS_WITH_INFO), full length %d, got \"%s\"\n",
           (int)result, (int)length, small);
    check(result == 1, "a cut message gives 1");
    check(length == 37, "the full length is reported");
    check(strcmp(small, "[Varnel ODBC]Ta") == 0,
          "15 characters and a terminator");

    result = GetDiagField(HANDLE_STMT, errors, 1, DIAG_SQLSTATE, small, 3,
                          &length);
    printf("  SQLSTATE into 3 bytes: result %d, full length %d, got \"%s\"\n",
           (int)result, (int)length, small);
    check(result == 1 && length == 5 && strcmp(small, "42") == 0,
          "a string field is cut the same way");
}

static void show_odbc2(void)
{
    DriverEnvironment odbc2 = {1, 2};
    MemHandle *environment = kx_mem_alloc_handle(NULL);
    MemHandle *statement = kx_mem_alloc_handle(environment);
    ErrorHeader *errors = CreateErrorHeader(statement, &odbc2);
    char state[6];

    printf("\nAn ODBC 2 application: states are posted in their ODBC 2 form.\n");
    check(errors != NULL, "the ODBC 2 statement has an error header");
    if (errors == NULL) {
        kx_mem_release_handle(environment);
        return;
    }
    PostError(errors, 1, 0, NULL, 0, 0, "ODBC 3.0", "HY092",
              "Invalid attribute identifier");
    PostError(errors, 1, 0, NULL, 0, 0, "ODBC 3.0", "HY001",
              "Memory allocation error");
    PostError(errors, 2, 0, NULL, 0, 0, "ISO 9075", "22012",
              "Division by zero");
    check(show_records(errors) == 3, "three records come back");
    GetDiagRec(errors, 1, state, NULL, NULL, 0, NULL);
    check(strcmp(state, "S1009") == 0, "HY092 is shown as S1009");
    GetDiagField(HANDLE_STMT, errors, 2, DIAG_SQLSTATE, state,
                 (int32_t)sizeof state, NULL);
    check(strcmp(state, "S1001") == 0, "HY001 is shown as S1001");
    GetDiagRec(errors, 3, state, NULL, NULL, 0, NULL);
    check(strcmp(state, "22012") == 0, "a state without an ODBC 2 form stays");
    kx_mem_release_handle(environment);
}

int demo_memory_and_diagnostics(void)
{
    DriverEnvironment odbc3 = {1, 3};
    MemHandle *environment, *connection, *statement;
    ErrorHeader *env_errors, *dbc_errors, *stmt_errors;
    DriverConnection dbc;
    char *dsn, *sql;
    void *blocks[3];
    int i;
    char message[64];

    failures = 0;
    statement_blocks_released = 0;
    printf("== Memory handles and diagnostic records ==\n");

    printf("A driver makes one memory handle per ODBC handle, each a child of "
           "the one above it.\n");
    environment = kx_mem_alloc_handle(NULL);
    connection = kx_mem_alloc_handle(environment);
    statement = kx_mem_alloc_handle(connection);
    if (environment == NULL || connection == NULL || statement == NULL) {
        printf("  !! no memory for the handles\n");
        return 1;
    }
    env_errors = CreateErrorHeader(environment, &odbc3);
    dbc_errors = CreateErrorHeader(connection, &odbc3);
    stmt_errors = CreateErrorHeader(statement, &odbc3);
    check(env_errors && dbc_errors && stmt_errors,
          "each handle has an error header");
    if (!(env_errors && dbc_errors && stmt_errors)) {
        kx_mem_release_handle(environment);
        return 1;
    }

    dsn = string_duplicate("Sales", connection);
    sql = string_duplicate("UPDATE orders SET qty = 1 WHERE id = 7", statement);
    for (i = 0; i < 3; i++)
        blocks[i] = kx_mem_alloc_ex(statement, 100, count_release);
    check(dsn && sql && blocks[0] && blocks[1] && blocks[2],
          "blocks come from the handles");
    printf("  The connection keeps its data source name \"%s\"; the statement "
           "keeps its text and 3 work buffers.\n", dsn ? dsn : "");

    show_odbc3_statement(stmt_errors);
    show_truncation(stmt_errors);
    show_odbc2();

    printf("\nThe application frees the statement: its handle is released "
           "with everything in it.\n");
    kx_mem_release_handle(statement);
    printf("  %d work buffers were released with it, and its diagnostics "
           "went too.\n", statement_blocks_released);
    check(statement_blocks_released == 3, "the statement's blocks died");

    printf("The connection and the environment are still in use:\n");
    memset(&dbc, 0, sizeof dbc);
    dbc.kind = 201;
    dbc.errors = dbc_errors;
    dbc.mem_handle = connection;
    SetupErrorHeader(dbc_errors, 0);
    PostDalError(&dbc, "Sales", 17, "08S01", "Communication link failure");
    check(show_records(dbc_errors) == 1, "the connection posts a record");
    GetDiagRec(dbc_errors, 1, NULL, NULL, message, (int32_t)sizeof message,
               NULL);
    check(strcmp(message, "[Sales]Communication link failure") == 0,
          "the data-access layer's record on the connection");
    check(dbc_errors->return_code == -1, "the connection's return code is -1");
    check(dsn != NULL && strcmp(dsn, "Sales") == 0,
          "the connection's data still holds");
    check(kx_mem_alloc(environment, 32) != NULL,
          "the environment still allocates");

    printf("Finally the environment is freed, and the connection with it.\n");
    kx_mem_release_handle(environment);

    if (failures == 0)
        printf("Memory and diagnostics behaved as described.\n");
    else
        printf("Memory and diagnostics: %d check(s) failed.\n", failures);
    return failures;
}
