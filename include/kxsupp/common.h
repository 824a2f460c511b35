/*
 * kxsupp/common.h - records shared by several subsystems of libkxsupp.
 *
 * Conventions of every libkxsupp header:
 *  1. The headers are plain C (C99 and later) and also compile as C++; every
 *     declaration is wrapped in extern "C" and marked KX_API.
 *  2. Memory that the library hands out belongs to a MemHandle and dies with
 *     it; callers never free() it themselves.
 *  3. ODBC-facing calls return ODBC return codes (0 success, 1 success with
 *     info, 100 no data, -1 error); string copies into caller buffers return
 *     1 when truncated and 0 otherwise and always report the full length.
 *  4. The date, time, timestamp, numeric and interval records have exactly
 *     the layouts of the ODBC structures of the same meaning, so a driver may
 *     copy them to and from application buffers as they are.
 */
#ifndef KXSUPP_COMMON_H
#define KXSUPP_COMMON_H

#include <setjmp.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#if defined(KXSUPP_BUILDING) && defined(__GNUC__)
#define KX_API __attribute__((visibility("default")))
#else
#define KX_API
#endif

/* Marks a call whose format_index-th argument is a printf format for the
   arguments from first_argument on (0 for a va_list), so that a wrong
   argument is a compile-time warning; empty where the compiler lacks it. */
#if defined(__GNUC__)
#define KX_PRINTF_FORMAT(format_index, first_argument) \
    __attribute__((format(printf, format_index, first_argument)))
#else
#define KX_PRINTF_FORMAT(format_index, first_argument)
#endif

/* DmBuffer and ParseNode end in a flexible array member: standard C99, and
   an extension that GCC and Clang accept in C++, marked so that a driver's
   -pedantic C++ build stays quiet. */
#if defined(__cplusplus) && defined(__GNUC__)
#define KX_FLEXIBLE_MEMBER __extension__
#else
#define KX_FLEXIBLE_MEMBER
#endif
#if defined(__cplusplus) && defined(__clang__)
#define KX_FLEXIBLE_BEGIN \
    _Pragma("clang diagnostic push") \
    _Pragma("clang diagnostic ignored \"-Wc99-extensions\"")
#define KX_FLEXIBLE_END _Pragma("clang diagnostic pop")
#else
#define KX_FLEXIBLE_BEGIN
#define KX_FLEXIBLE_END
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Return codes and other numbers the library shares with ODBC ---- */

#define KX_SUCCESS 0
#define KX_SUCCESS_WITH_INFO 1
#define KX_NO_DATA 100
#define KX_ERROR (-1)
#define KX_INVALID_HANDLE (-2)
#define KX_STILL_EXECUTING 2
#define KX_NEED_DATA 99
#define KX_NTS (-3)

/* ---- Record kinds: the first word of every node the library makes ---- */

#define NODE_VALUE 154          /* a Value */
#define NODE_DYNAMIC_PARAM 155  /* a parameter marker */
#define NODE_VALUE_INLINE 166   /* cache slot of a Value with a 128-octet text area */
#define NODE_ERROR_HEADER 300
#define NODE_DIAG_RECORD 301

#define KX_KIND_STATEMENT 200
#define KX_KIND_CONNECTION 201
#define KX_KIND_STATEMENT_LIKE 202

/* ---- Memory handles and lists ---- */

struct MemBlock;

/* A pool of blocks; handles form a tree and release their children first. */
typedef struct MemHandle {
    struct MemBlock *first_block;   /* newest live block, or null */
    struct MemHandle *parent;
    struct MemHandle *next_sibling;
    struct MemHandle *first_child;
} MemHandle;

typedef struct ListElement {
    void *data;
    struct ListElement *next;
    struct ListElement *prior;
} ListElement;

typedef struct List {
    ListElement *first;
    ListElement *last;
    int32_t count;
} List;

/* ---- Hash tables (system heap, keys are not copied) ---- */

typedef struct HashItem {
    struct HashItem *next;
    const char *key;
    intptr_t data;
    int32_t use_count;
} HashItem;

typedef struct HashTable {
    HashItem **buckets;
    int32_t bucket_count;
    int32_t item_count;
} HashTable;

/* ---- Diagnostics ---- */

typedef struct DiagRecord {
    uint32_t kind;                  /* NODE_DIAG_RECORD */
    int32_t class_origin_code;      /* 1: "ODBC 3.0", otherwise "ISO 9075" */
    int32_t column;
    char *connection_name;
    char *message;
    int32_t native;
    int32_t row;
    char *sqlstate;
    char *subclass_origin;
    struct DiagRecord *next;
} DiagRecord;

typedef struct ErrorHeader {
    uint32_t kind;                  /* NODE_ERROR_HEADER */
    int32_t function_code;          /* SQL_DIAG_DYNAMIC_FUNCTION_CODE */
    int32_t return_code;
    int32_t record_count;
    int32_t odbc_version;           /* 3 = ODBC 3.x, anything else ODBC 2 */
    MemHandle *mem_handle;
    DiagRecord *first;
    DiagRecord *last;
    int32_t row_count;
    /* Set by kxstd_set_error_header, null otherwise: the header then posts
       and reports as ODBC defines, with this component and server name. */
    const char *standard_component;
    const char *standard_server_name;
} ErrorHeader;

/* ---- Exact decimal, date, time, timestamp and interval records ---- */

typedef struct NumericStruct {
    uint8_t precision;
    int8_t scale;
    uint8_t sign;                   /* 1 positive, 0 negative */
    uint8_t val[16];                /* magnitude, least significant byte first */
} NumericStruct;

typedef struct DateStruct {
    int16_t year;
    uint16_t month;
    uint16_t day;
} DateStruct;

typedef struct TimeStruct {
    uint16_t hour;
    uint16_t minute;
    uint16_t second;
} TimeStruct;

typedef struct TimestampStruct {
    int16_t year;
    uint16_t month;
    uint16_t day;
    uint16_t hour;
    uint16_t minute;
    uint16_t second;
    uint32_t fraction;              /* nanoseconds */
} TimestampStruct;

typedef struct YearMonthStruct {
    uint32_t year;
    uint32_t month;
} YearMonthStruct;

typedef struct DaySecondStruct {
    uint32_t day;
    uint32_t hour;
    uint32_t minute;
    uint32_t second;
    uint32_t fraction;
} DaySecondStruct;

/* Interval kinds 1 (year) to 13 (minute to second), as ODBC numbers them. */
typedef struct IntervalStruct {
    int32_t interval_type;
    int16_t interval_sign;
    union {
        YearMonthStruct year_month;
        DaySecondStruct day_second;
    } intval;
} IntervalStruct;

#define KX_IS_YEAR 1
#define KX_IS_MONTH 2
#define KX_IS_DAY 3
#define KX_IS_HOUR 4
#define KX_IS_MINUTE 5
#define KX_IS_SECOND 6
#define KX_IS_YEAR_TO_MONTH 7
#define KX_IS_DAY_TO_HOUR 8
#define KX_IS_DAY_TO_MINUTE 9
#define KX_IS_DAY_TO_SECOND 10
#define KX_IS_HOUR_TO_MINUTE 11
#define KX_IS_HOUR_TO_SECOND 12
#define KX_IS_MINUTE_TO_SECOND 13

/* ---- Profile handle ---- */

#define KX_PROFILE_PATH_SIZE 256
#define KX_PROFILE_DSN_SIZE 256
#define KX_PROFILE_ERROR_SIZE 512

/* Reads a data-source setting instead of the file, with the argument order
   of the ODBC installer's private-profile reader. */
typedef int (*ProfileReader)(const char *section, const char *key,
                             const char *default_value, char *output,
                             int output_size, const char *file_name);

typedef struct ProfileHandle {
    char path[KX_PROFILE_PATH_SIZE];
    char dsn[KX_PROFILE_DSN_SIZE];
    ProfileReader reader;
    char error[KX_PROFILE_ERROR_SIZE];
} ProfileHandle;

/* ---- Connection strings ---- */

typedef struct ConnectionPair {
    char *keyword;
    char *value;
} ConnectionPair;

typedef struct ConnectionString {
    int32_t count;
    List *pairs;                    /* of ConnectionPair *, null while empty */
} ConnectionString;

/* ---- Long buffers ---- */

#define KX_LONG_AREA_SIZE 1025
#define KX_LONG_FILE_NAME_SIZE 128

typedef struct LongBuffer {
    MemHandle *mem_handle;
    int32_t user1;                  /* given at creation, not interpreted */
    int32_t user2;
    uint32_t position_high;         /* octets already extracted */
    uint32_t position_low;
    int32_t total_length;           /* octets appended so far */
    int32_t unused1;                /* the high word of the total for the
                                       kxstd_ long-data routines */
    char area[KX_LONG_AREA_SIZE];
    int32_t null_flag;              /* the driver's to set */
    FILE *stream;
    int32_t unused2;
    int32_t sql_type;               /* -1 long character, -4 long binary */
    ProfileHandle *config;
    char file_name[KX_LONG_FILE_NAME_SIZE];
} LongBuffer;

/* ---- The typed SQL value ---- */

#define VALUE_INTEGER 1
#define VALUE_DOUBLE 2
#define VALUE_STRING 3
#define VALUE_BIT 4
#define VALUE_BINARY 5
#define VALUE_DATE 7
#define VALUE_TIME 8
#define VALUE_TIMESTAMP 9
#define VALUE_NUMERIC 10
#define VALUE_NULL 11
#define VALUE_BIGINT 12
#define VALUE_INTERVAL_YM 13
#define VALUE_INTERVAL_DS 14
#define VALUE_CURRENT_DATE 15
#define VALUE_USER 16
#define VALUE_CURRENT_TIME 17
#define VALUE_CURRENT_TIMESTAMP 18
#define VALUE_LONG_STRING 29
#define VALUE_LONG_BINARY 30
#define VALUE_NO_TYPE (-9999)

typedef struct BigintWords {
    int32_t high;
    uint32_t low;
} BigintWords;

typedef union ValuePayload {
    int32_t integer;
    double dbl;
    char *text;
    unsigned char *bytes;
    BigintWords bigint;
    DateStruct date;
    TimeStruct time;
    TimestampStruct timestamp;
    NumericStruct numeric;
    IntervalStruct interval;
    unsigned char raw[32];
} ValuePayload;

typedef struct Value {
    uint32_t kind;                  /* always NODE_VALUE */
    int32_t type;                   /* VALUE_* */
    int32_t length;
    int32_t data_length;
    int32_t share_block;            /* nonzero forbids sharing by reference */
    intptr_t attr[4];               /* numeric precision, scale; interval precisions */
    int32_t null_flag;              /* 0 has a value, -1 SQL NULL */
    LongBuffer *long_buffer;
    int32_t ref_count;              /* extra holders beyond the first */
    MemHandle *mem_handle;
    intptr_t driver[4];             /* the driver's; never touched */
    int32_t inline_buffer;          /* 1 when the text lies inside the record */
    ValuePayload payload;
} Value;

/* ---- Driver buffer (dm) form of a value ---- */

KX_FLEXIBLE_BEGIN
typedef struct DmBuffer {
    int32_t length;                 /* -1 for SQL NULL */
    int32_t data_length;
    uint32_t type;
    KX_FLEXIBLE_MEMBER unsigned char payload[];  /* at offset 12 */
} DmBuffer;
KX_FLEXIBLE_END

/* ---- The drivers' records that the library reads ---- */

typedef struct DriverEnvironment {
    uint32_t kind;
    int32_t odbc_version;           /* 3 = ODBC 3.x, anything else ODBC 2 */
} DriverEnvironment;

/* The connection's long-data operations: rewind a long buffer, and read
   from it (returns 0 when all fitted, 1 when more remains, 2 or more on
   failure; the full length goes to *length_out). */
typedef int32_t (*LongRewindFn)(LongBuffer *buffer, int32_t value_type);
typedef int32_t (*LongReadFn)(LongBuffer *buffer, void *destination,
                              int32_t destination_size, int32_t *length_out,
                              int32_t flags);

typedef struct DriverConnection {
    uint32_t kind;                  /* KX_KIND_CONNECTION */
    ErrorHeader *errors;
    MemHandle *mem_handle;
    List *cursor_registry;          /* of DriverStatement *, null until used */
    uint32_t cursor_counter;
    const char *database;           /* current database name, may be null */
    ConnectionString attributes;
    LongRewindFn long_rewind;
    LongReadFn long_read;
} DriverConnection;

#define KX_CURSOR_NAME_SIZE 129     /* 128 characters and the terminator */

typedef struct DriverStatement {
    uint32_t kind;                  /* KX_KIND_STATEMENT or KX_KIND_STATEMENT_LIKE */
    ErrorHeader *errors;
    uint32_t state;
    int32_t cancel_request;
    int64_t deadline;               /* seconds since the epoch, 0 = none */
    DriverConnection *connection;
    int64_t start_time;             /* the statement's captured clock */
    char cursor_name[KX_CURSOR_NAME_SIZE];
} DriverStatement;

/* ---- Scalar-function evaluation ---- */

struct EvalContext;
struct FunctionEntry;

typedef Value *(*ScalarFunction)(struct EvalContext *context, int32_t argc,
                                 Value **argv, intptr_t pass1, intptr_t pass2,
                                 const struct FunctionEntry *descriptor);

/* The driver's evaluator: turns an argument expression into a Value. */
typedef Value *(*ExpressionEvaluator)(void *expression,
                                      struct EvalContext *context,
                                      intptr_t pass1, intptr_t pass2);

typedef struct EvalContext {
    jmp_buf exit;                   /* armed by the driver with setjmp */
    int32_t result;                 /* -1 before every error exit */
    DriverStatement *stmt;
    MemHandle *mem;
    ExpressionEvaluator evaluate;
} EvalContext;

typedef struct FunctionEntry {
    const char *name;
    int32_t id;
    int32_t arg_count;
    ScalarFunction impl;
    uint32_t result_class;
    uint32_t arg_class[11];
} FunctionEntry;

/* ---- Parse trees and the SQL text printer ---- */

KX_FLEXIBLE_BEGIN
typedef struct ParseNode {
    uint32_t kind;
    KX_FLEXIBLE_MEMBER intptr_t field[];  /* field N of a node is field[N - 1] */
} ParseNode;
KX_FLEXIBLE_END

/* Field 1 of an expression node points to one: the operator class (1 NOT,
   2 AND, 3 OR, 4 comparison) and the operator code (KX_OP_* of arith.h). */
typedef struct OperatorPair {
    int32_t op_class;
    int32_t op_code;
} OperatorPair;

typedef void (*PrintCallback)(const char *text, void *user_data);

typedef struct PrintContext {
    void *user_data;
    int32_t mode;                   /* 0 for ordinary printing */
} PrintContext;

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_COMMON_H */
