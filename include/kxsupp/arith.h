/*
 * kxsupp/arith.h - exact decimals, operators, calendar, intervals and
 * time-outs.
 *
 *  1. Nothing here allocates: every routine writes into records the caller
 *     owns (the first record argument, or a result argument).
 *  2. Numeric routines return a status (0 success, -2 overflow, 1 inexact)
 *     and never post a diagnostic themselves.
 *  3. The operators that take an EvalContext (numeric_operation,
 *     bigint_operation, divide_numeric) report division by zero the way the
 *     scalar functions report their errors: one diagnostic posted on the
 *     statement's error header, the context's result set to -1 and a
 *     longjmp to context->exit, which the caller arms with setjmp first.
 *  4. Calendar, interval and datetime arithmetic post nothing: out-of-range
 *     fields wrap, and a null record pointer makes a routine do nothing (a
 *     routine with a result gives 0).
 *  5. check_timeout posts HYT00 or HY008 on the statement and returns -1;
 *     the thread hooks do nothing in this build.
 */
#ifndef KXSUPP_ARITH_H
#define KXSUPP_ARITH_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- numeric: exact decimals ---- */
/*
 * A NumericStruct is (-1 if sign is 0) x magnitude x 10^(-scale), with the
 * magnitude an unsigned 128-bit integer in val[], least significant byte
 * first. Status results: 0 success, -2 overflow, 1 inexact. Routines that
 * produce a record write it into their first record argument (the "a" of
 * the arithmetic routines, which is both operand and result).
 */

/* Stores value x 10^scale (truncated toward zero for a negative scale) with
   the given precision and scale. Always returns 0. */
KX_API int32_t int_to_numeric(int32_t value, NumericStruct *out,
                              uint8_t precision, int32_t scale);
/* int_to_numeric with scale 0. */
KX_API int32_t int_to_numeric_noscale(int32_t value, NumericStruct *out,
                                      uint8_t precision);
/* As int_to_numeric for a 64-bit value. Always returns 0. */
KX_API int32_t bigint_to_numeric(int64_t value, NumericStruct *out,
                                 uint8_t precision, int32_t scale);
/* bigint_to_numeric with scale 0. */
KX_API int32_t bigint_to_numeric_noscale(int64_t value, NumericStruct *out,
                                         uint8_t precision);
/* Stores value x 10^scale rounded as "%.0f" rounds. Returns 0, -2 when the
   magnitude exceeds 2^128 - 1, or 1 (record untouched) when a negative
   scale cannot hold the value exactly. */
KX_API int32_t double_to_numeric(double value, NumericStruct *out,
                                 uint8_t precision, int32_t scale);
/* Parses decimal text (modified in place: a '.' is removed); the record's
   scale is scale plus the digits after the point. Returns 0, or -2 when the
   digits exceed 2^128 - 1 (the record then keeps all but its sign). */
KX_API int32_t string_to_numeric(char *text, NumericStruct *out,
                                 uint8_t precision, int32_t scale);
/* Parses text to exactly the given scale, padding or truncating (never
   rounding) the fraction. Returns what string_to_numeric returns. */
KX_API int32_t create_numeric(const char *text, NumericStruct *out,
                              uint8_t precision, int32_t scale);
/* Writes the decimal text of the number (trailing fraction zeros dropped,
   "-" first when sign is 0, even for zero) into buffer as copy_str_bufferl
   does (buffer_length taken as unsigned); *length_out, when not null,
   receives the full text length. Returns 1 if the text was cut to fit
   buffer_length - 1 characters, else 0. */
KX_API int32_t numeric_to_string(const NumericStruct *number, char *buffer,
                                 int32_t buffer_length, int32_t *length_out);
/* Converts to double (a magnitude with bit 127 set converts too small, as
   the library always has). Returns 0. */
KX_API int32_t numeric_to_double(const NumericStruct *number, double *out);
/* Converts to a 32-bit integer as atoi converts the number's text (fraction
   truncated). Returns 0. */
KX_API int32_t numeric_to_int(const NumericStruct *number, int32_t *out);
/* Converts to a 64-bit integer as strtoll converts the number's text.
   Returns 0. */
KX_API int32_t numeric_to_bigint(const NumericStruct *number, int64_t *out);
/* Returns -1, 0 or 1 as a is less than, equal to or greater than b. A
   positive zero is greater than a negative zero. */
KX_API int32_t numeric_compare(const NumericStruct *a, const NumericStruct *b);
/* Returns 1 if the magnitude is zero, whatever the sign, else 0. */
KX_API int32_t numeric_is_zero(const NumericStruct *number);
/* a = a + b. Returns -2 when a same-scale sum overflows 128 bits (a keeps
   the low 128 bits), else 0; a sum that needs scale alignment returns 0. */
KX_API int32_t add_numeric(NumericStruct *a, const NumericStruct *b);
/* a = a - b, as add_numeric of b with its sign flipped. */
KX_API int32_t subtract_numeric(NumericStruct *a, const NumericStruct *b);
/* a = a x b, scale a.scale + b.scale, precision 0; bits beyond 128 are
   lost. Returns 0. */
KX_API int32_t mult_numeric(NumericStruct *a, const NumericStruct *b);
/* a = a / b in double precision, rounded to a's scale. Division by zero
   with a context posts "22012" and longjmps to context->exit; without a
   context the quotient is 0. Returns 0. */
KX_API int32_t div_numeric(NumericStruct *a, const NumericStruct *b,
                           EvalContext *context);

/* ---- end numeric ---- */

/* ---- evalnum, evalbig: arithmetic operators ---- */

/* Operator codes shared by the operators, interval arithmetic and the SQL printer. */
#define KX_OP_ADD 1
#define KX_OP_SUBTRACT 2
#define KX_OP_CONCAT 3
#define KX_OP_MULTIPLY 4
#define KX_OP_DIVIDE 5
#define KX_OP_NEGATE 6
#define KX_OP_LESS 7
#define KX_OP_GREATER 8
#define KX_OP_GREATER_EQUAL 9
#define KX_OP_LESS_EQUAL 10
#define KX_OP_EQUAL 11
#define KX_OP_NOT_EQUAL 12

/* a op b when at least one operand is VALUE_NUMERIC: arithmetic (1, 2, 4, 5) writes a
 * numeric into result, comparisons (7..12) a truth value; other codes, and calls without a
 * numeric operand, change nothing. A VALUE_STRING operand of a comparison is parsed in its
 * own (writable) text, which loses its decimal point. Division by zero posts "22012" and
 * longjmps to context->exit. NULL operands (null flag) are the caller's to handle before
 * the call. */
KX_API void numeric_operation(Value *a, Value *b, Value *result, EvalContext *context,
                              int32_t op);

/* a op b over 64-bit integers (wrapping): arithmetic writes a VALUE_BIGINT into result,
 * comparisons a truth value. Division by zero posts "22012" and longjmps to context->exit. */
KX_API void bigint_operation(Value *a, Value *b, Value *result, EvalContext *context,
                             int32_t op);

/* ---- end operators ---- */

/* ---- jdn_l, timefunc: calendar ---- */

/* Calendar selectors of ymd_to_jdnl and jdnl_to_ymd: 0 proleptic Gregorian,
   any positive value Julian, any negative value automatic (Julian before the
   change of September 1752, Gregorian from it).  Every caller inside the
   library passes -1.  Years have no year 0: -1 is 1 BC. */
#define KX_CALENDAR_GREGORIAN 0
#define KX_CALENDAR_JULIAN 1
#define KX_CALENDAR_AUTOMATIC (-1)

/* Julian Day Number of a calendar date (day 0 is 1 January 4713 BC, Julian).
   In automatic mode a date counts as Gregorian from 3 September 1752 on, so
   the dates of the gap (3 to 13 September 1752) do not round-trip. */
KX_API int32_t ymd_to_jdnl(int32_t year, int32_t month, int32_t day,
                           int32_t calendar);

/* Calendar date of a day number, stored through year, month and day (a null
   pointer is skipped); returns the day.  In automatic mode day numbers from 2361222
   (14 September 1752) on are Gregorian. */
KX_API int32_t jdnl_to_ymd(int32_t jdn, int32_t *year, int32_t *month,
                           int32_t *day, int32_t calendar);

/* Day of the week of a day number: 0 Sunday, 1 Monday ... 6 Saturday. */
KX_API int32_t jdnl_to_dow(int32_t jdn);

/* Today's local year (e.g. 2004), month (1-12) and day of month (1-31); each
   reads the clock separately. */
KX_API int32_t current_year(void);
KX_API int32_t current_month(void);
KX_API int32_t current_day(void);

/* Three-way comparisons, field by field in record order: 0 when equal,
   otherwise the raw difference a - b of the first differing field (callers
   test only its sign).  A null record pointer gives 0. */
KX_API int32_t date_compare(const DateStruct *a, const DateStruct *b);
KX_API int32_t time_compare(const TimeStruct *a, const TimeStruct *b);
KX_API int32_t timestamp_compare(const TimestampStruct *a,
                                 const TimestampStruct *b);

/* ---- end calendar ---- */

/* ---- evalint: interval and datetime arithmetic ---- */

/* In this family a null record or Value pointer makes the call do nothing
   (a routine with a result gives 0). */

/* The interval reduced to one number: months for the year-month kinds,
   seconds for the day-second kinds (0 for an unknown kind), negated when the
   sign is 1.  fraction_out, when not null, receives the (likewise negated)
   fraction, 0 for kinds without one. */
KX_API int32_t get_base_value(const IntervalStruct *interval,
                              int32_t *fraction_out);

/* Spreads a base value and fraction over the fields of result's interval
   kind, which must already be set.  A negative base sets the sign to 1; the
   leading field takes no modulus and fields outside the kind are untouched. */
KX_API void normalise_interval(int32_t base, int32_t fraction, Value *result);

/* a + b (op 1) or a - b (op 2) where an interval takes part: datetime and
   interval, two intervals, or a number and an interval (giving a day-second
   interval).  A NULL operand gives a NULL result; another op does nothing.
   The datetime or interval must be on the left; unused is ignored.  result
   may be a or b.  Returns 0. */
KX_API int32_t interval_operation(Value *a, Value *b, Value *result,
                                  intptr_t unused, int32_t op);

/* result = source (date, time or timestamp) shifted by months, seconds and
   billionths (carried into seconds by 999999), stored in the source's type
   (a time wraps at midnight).  The month may become 0 and the day is not
   clamped to the month's length.  result first receives source's type,
   lengths, flags, precision and driver words and payload; its kind, memory
   handle, holders and buffers stay its own.  Another source type leaves
   result untouched.  result may be source.  Returns 0. */
KX_API int32_t timestamp_add(Value *result, const Value *source,
                             int32_t months, int32_t seconds,
                             int32_t fraction);

/* As timestamp_add, but the result is always a timestamp with all seven
   fields, whatever the source type. */
KX_API int32_t timestamp_add_noconvert(Value *result, const Value *source,
                                       int32_t months, int32_t seconds,
                                       int32_t fraction);

/* result = the date part of source shifted by months and days; a date
   result keeps its type, any other gets a zero time.  Returns 0. */
KX_API int32_t date_add(Value *result, const Value *source, int32_t months,
                        int32_t days);

/* result = the time part of source shifted by seconds (and whole multiples of
   999999 billionths); the hour is not reduced modulo 24. */
KX_API void time_add(Value *result, const Value *source, int32_t seconds,
                     int32_t fraction);

/* -1, 0 or 1: months when a is of a year-month kind, else seconds and then
   fractions, each side reduced by its own kind. */
KX_API int32_t interval_compare(const IntervalStruct *a,
                                const IntervalStruct *b);

/* interval_compare of the payloads of two interval Values. */
KX_API int32_t compare_interval(const Value *a, const Value *b);

/* ---- end evalint ---- */

/* ---- timeout, threads ---- */

/* Called by a long-running statement between units of work. Returns 0 to
   go on, or -1 after posting "HYT00" (the deadline, in states 2 and 3, has
   passed) or "HY008" (a cancellation was requested; the request is
   cleared) into the statement's error header. A time-out wins over a
   pending cancellation, which then stays pending. */
KX_API int32_t check_timeout(DriverStatement *statement);

/* The thread hooks. This build runs without threads of its own: each hook
   does nothing, and the mutex hooks lock nothing. Each has one prototype,
   (void), in C and C++ alike. A driver written for a threaded build may
   still pass the arguments such a build takes: the macros after the
   prototypes drop them (unevaluated) and call the hook. */
KX_API void odbc_thread_init(void);
KX_API void thread_term(void);
/* Returns 0: no thread is created. */
KX_API int32_t odbc_thread_create(void);
/* Returns 0. */
KX_API int32_t thread_cleanup(void);
/* Returns 0 at once: there is nothing to wait for. */
KX_API int32_t thread_wait_on_semaphore(void);
KX_API void thread_clear_semaphore(void);
KX_API void thread_close_semaphore(void);
/* Return 0: asynchronous connection and statement execution are not
   available. */
KX_API int32_t can_connect_async(void);
KX_API int32_t can_statement_async(void);
/* Return 0 without locking anything. */
KX_API int32_t mutex_entry(void);
KX_API int32_t mutex_exit(void);

#define odbc_thread_init(...) (odbc_thread_init)()
#define thread_term(...) (thread_term)()
#define odbc_thread_create(...) (odbc_thread_create)()
#define thread_cleanup(...) (thread_cleanup)()
#define thread_wait_on_semaphore(...) (thread_wait_on_semaphore)()
#define thread_clear_semaphore(...) (thread_clear_semaphore)()
#define thread_close_semaphore(...) (thread_close_semaphore)()
#define can_connect_async(...) (can_connect_async)()
#define can_statement_async(...) (can_statement_async)()
#define mutex_entry(...) (mutex_entry)()
#define mutex_exit(...) (mutex_exit)()

/* ---- end timeout ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_ARITH_H */
