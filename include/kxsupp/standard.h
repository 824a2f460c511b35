/*
 * kxsupp/standard.h - the standard behaviour beside the family's own.
 *
 * The unprefixed names of this library keep, exactly, the behaviour that the
 * family's drivers have always had, quirks included (a timestamp's fraction
 * that carries by 999999, a month shift that gives 31 February, a division
 * through double precision, "[Varnel ODBC]" in front of every library
 * message). Beside each such behaviour the kxstd_ names give the one that
 * ODBC 3.8 and SQL-92 define (and, where those leave a choice, what
 * PostgreSQL, MySQL and SQLite all do). A driver chooses the standard
 * behaviour once, by calling the kxstd_ names wherever it would call the
 * unprefixed ones:
 *
 *  - kxstd_set_error_header on each error header it makes (its diagnostics
 *    then follow ODBC: the driver's own name in brackets on the library's
 *    messages too, class and subclass origins by SQLSTATE, the ODBC 2
 *    states of ODBC's appendix);
 *  - the standard catalogue (kxstd_get_function_id / _info / _arg_range,
 *    kxstd_functions) for scalar functions, run with execute_function;
 *  - kxstd_numeric_operation, kxstd_bigint_operation,
 *    kxstd_interval_operation and kxstd_compare_values for operators;
 *  - the kxstd_ literal builders, conversions, calendar, datetime and
 *    long-data routines below;
 *  - the kxstd_ profile, connection-string, 16-bit copy, driver-buffer
 *    and SQL-type routines below;
 *  - kxstd_sql92_print_parse_tree and kxstd_sql92_print_expression(_ex)
 *    to print a parse tree back as SQL.
 * Nothing here changes a record a driver allocates, and the unprefixed
 * routines behave as before for every header not set with
 * kxstd_set_error_header.
 *
 * Conventions of the family:
 *  1. Routines that take an EvalContext report errors as the scalar
 *     functions do: one diagnostic posted on context->stmt's error header,
 *     context->result set to -1, longjmp to context->exit with -1. A null
 *     context makes such a routine report nothing: its result is NULL.
 *  2. Other routines return a status: KXSTD_OK (0) or one of the KXSTD_
 *     codes below, each standing for one SQLSTATE (kxstd_status_state) and
 *     message (kxstd_status_message); they leave their outputs untouched on
 *     an error.
 *  3. Results are never wrapped, saturated or silently cut: a value that
 *     does not fit its type is an error (22003, 22008, 22015).
 *  4. Dates follow the proleptic Gregorian calendar throughout. Day numbers
 *     are Julian Day Numbers (1 January 2000 is 2451545), as the family's
 *     own calendar counts them for every date from 14 September 1752 on.
 */
#ifndef KXSUPP_STANDARD_H
#define KXSUPP_STANDARD_H

#include "kxsupp/common.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/functions.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- status codes ---- */

#define KXSTD_OK 0
#define KXSTD_NUMERIC_OUT_OF_RANGE 1   /* 22003 */
#define KXSTD_DIVISION_BY_ZERO 2       /* 22012 */
#define KXSTD_DATETIME_OVERFLOW 3      /* 22008 */
#define KXSTD_INTERVAL_OVERFLOW 4      /* 22015 */
#define KXSTD_INVALID_DATETIME 5       /* 22007 */
#define KXSTD_INVALID_NUMBER 6         /* 22018: text that is not a number */
#define KXSTD_TYPE_MISMATCH 7          /* 42000: operand types that do not fit */
#define KXSTD_NO_MEMORY 8              /* HY001 */
#define KXSTD_INVALID_LENGTH 9         /* HY090 */
#define KXSTD_INVALID_ARGUMENT 10      /* 22023: a unit or field the call does not take */
#define KXSTD_IO_ERROR 11              /* HY000: a long-data file could not be written or read */
#define KXSTD_STATUS_COUNT 12

/* The SQLSTATE of a status ("00000" for KXSTD_OK, "HY000" for an unknown
   code); never null. */
KX_API const char *kxstd_status_state(int32_t status);
/* A short message for a status, without the component prefix. */
KX_API const char *kxstd_status_message(int32_t status);

/* ---- diagnostics ---- */

/* Puts a header in standard mode, once, when the driver makes it: from
   then on every record posted on it, by the driver's PostError calls or by
   the library's own routines,
    - shows component in brackets when the poster names none (never
      "Varnel ODBC");
    - takes the class origin "ODBC 3.0" for class IM and "ISO 9075" for
      every other (the classes of SQL-92 and of the ISO call-level
      interface, HY among them), and the subclass origin "ODBC 3.0" for the
      subclasses ODBC adds (01S02, 42S22, HYT00, IM001, ... as
      SQLGetDiagField lists them), "ISO 9075" otherwise - whatever origins
      the poster passed;
    - is mapped for an ODBC 2 application through kxstd_map_table;
   and kxstd_get_diag_field reports server_name as SQL_DIAG_SERVER_NAME.
   Both texts are copied into the header's memory handle; a null server
   name gives the empty string. 0, or -1 when the header is null or memory
   ran out (the header is then left as it was). */
KX_API int32_t kxstd_set_error_header(ErrorHeader *header, const char *component,
                                      const char *server_name);

/* ODBC 3 to ODBC 2 SQLSTATEs as ODBC's appendix gives them (HYT00 to S1T00,
   HY092 to S1092 among them); ended by a null pair. */
KX_API extern const SqlStatePair kxstd_map_table[];

/* GetDiagField with ODBC's widths and texts: SQL_DIAG_RETURNCODE is an
   SQLRETURN (16 bits); SQL_DIAG_ROW_COUNT, SQL_DIAG_CURSOR_ROW_COUNT and
   SQL_DIAG_ROW_NUMBER are SQLLENs (64 bits); SQL_DIAG_NUMBER, _NATIVE,
   _COLUMN_NUMBER and _DYNAMIC_FUNCTION_CODE are SQLINTEGERs;
   SQL_DIAG_SERVER_NAME is the header's server name;
   SQL_DIAG_DYNAMIC_FUNCTION is ODBC's text ("DROP INDEX", "CALL", ...).
   Return codes as GetDiagField's. */
KX_API int16_t kxstd_get_diag_field(int32_t handle_type, ErrorHeader *header, int32_t record,
                                    int32_t field, void *value, int32_t buffer_length,
                                    int16_t *string_length);

/* ---- values ---- */

/* NewValue whose every field is set: not NULL, no type (0), lengths 0, no
   long buffer, sign and payload zero; the text area, when asked for, is
   empty and terminated. Null when memory runs out. */
KX_API Value *kxstd_new_value(MemHandle *handle, int32_t text_length);

/* set_value_to_double that also makes the value not NULL, and refuses a
   double that does not fit an integer or numeric value: KXSTD_OK or
   KXSTD_NUMERIC_OUT_OF_RANGE. */
KX_API int32_t kxstd_set_value_to_double(Value *value, double d);

/* The value as a 32-bit or 64-bit integer: integers, bits and bigints
   exactly, doubles and numerics truncated toward zero, text parsed as a
   decimal number (leading and trailing blanks allowed). KXSTD_OK,
   KXSTD_NUMERIC_OUT_OF_RANGE, KXSTD_INVALID_NUMBER, or KXSTD_TYPE_MISMATCH
   for a datetime, interval or binary. A NULL value gives 0 and KXSTD_OK. */
KX_API int32_t kxstd_get_int_from_value(const Value *value, int32_t *out);
KX_API int32_t kxstd_get_bigint_from_value(const Value *value, int64_t *out);

/* The order of two values of comparable types, -1, 0 or 1 (NULL first, as
   compare_values): numbers of any kinds by their true values (a bigint as
   64 bits, +0 equal to -0, a double against an exact number as doubles);
   text against a number as that number (22018 when the text is not one);
   texts blank-padded, octet by octet; binaries zero-padded; a date against
   a timestamp as the date at midnight; datetimes and intervals by their
   instants and lengths; text against a datetime as a datetime literal
   (22007 when it is not one). Any other pair is KXSTD_TYPE_MISMATCH
   (42000): an error through the context, or 0 without one. */
KX_API int32_t kxstd_compare_values(const Value *left, const Value *right,
                                    EvalContext *context);

/* ---- exact decimals ---- */
/*
 * The same record as the family's numeric routines (NumericStruct), read as
 * an SQL NUMERIC of at most 38 digits. A result has one zero (sign 1),
 * precision 38, and the smallest scale that keeps every digit of the exact
 * result; its fraction is rounded half away from zero only where the whole
 * result would need more than 38 digits. KXSTD_NUMERIC_OUT_OF_RANGE when
 * its whole part needs more than 38 digits.
 */
KX_API int32_t kxstd_add_numeric(NumericStruct *a, const NumericStruct *b);
KX_API int32_t kxstd_subtract_numeric(NumericStruct *a, const NumericStruct *b);
KX_API int32_t kxstd_mult_numeric(NumericStruct *a, const NumericStruct *b);
/* a / b rounded half away from zero at a's scale + 4 fractional digits
   (fewer only where 38 digits leave no room), correct to its last digit.
   KXSTD_DIVISION_BY_ZERO when b is zero. */
KX_API int32_t kxstd_div_numeric(NumericStruct *a, const NumericStruct *b);
/* -1, 0, 1 by value: +0 equals -0, 1.50 equals 1.5. */
KX_API int32_t kxstd_numeric_compare(const NumericStruct *a, const NumericStruct *b);
/* Conversions that refuse what does not fit (KXSTD_NUMERIC_OUT_OF_RANGE):
   to integers truncating the fraction toward zero; from integers at a
   scale (the scaled value must fit 38 digits); to a double, the nearest
   double (a magnitude with bit 127 set included). */
KX_API int32_t kxstd_numeric_to_int(const NumericStruct *number, int32_t *out);
KX_API int32_t kxstd_numeric_to_bigint(const NumericStruct *number, int64_t *out);
KX_API int32_t kxstd_numeric_to_double(const NumericStruct *number, double *out);
KX_API int32_t kxstd_bigint_to_numeric(int64_t value, NumericStruct *out, int32_t scale);
/* Decimal text (blanks around it, a sign, digits with at most one point,
   an optional exponent) as an exact numeric of its own scale; the text is
   not changed. KXSTD_INVALID_NUMBER when it is not a number,
   KXSTD_NUMERIC_OUT_OF_RANGE beyond 38 digits. */
KX_API int32_t kxstd_text_to_numeric(const char *text, NumericStruct *out);

/* ---- operators ---- */
/*
 * The operator codes of numeric_operation (1 +, 2 -, 4 *, 5 /, 7 to 12 the
 * comparisons). NULL operands give a NULL result (a NULL truth value for a
 * comparison). Errors through the context: 22003 for a result that does not
 * fit, 22012 for a division by zero, 22018 for text that is not a number,
 * 42000 for an operand type that does not fit the operator.
 */
/* Exact arithmetic when both operands are exact (integers, bigints,
   numerics, or text read as a number); approximate (a double result) when
   either is a double. */
KX_API void kxstd_numeric_operation(Value *a, Value *b, Value *result, EvalContext *context,
                                    int32_t op);
/* 64-bit integer arithmetic without wrapping (the most negative value
   divided by -1 included); a quotient truncated toward zero. */
KX_API void kxstd_bigint_operation(Value *a, Value *b, Value *result, EvalContext *context,
                                   int32_t op);
/* Datetime and interval arithmetic: datetime ± interval and interval +
   datetime (a date gives a date for a year-month interval or whole days, a
   timestamp otherwise), datetime - datetime of the same type (a day-time
   interval), interval ± interval of the same family (year-month or
   day-time; the result kind covers both), interval × number and interval ÷
   number. A year-month interval with a day-time one, or a number added to
   or subtracted from an interval, is 42000. Month shifts clamp the day to
   the month's last day; fractions carry by 10^9 nanoseconds; times wrap
   modulo 24 hours; 22008 for a date outside the years 1 to 9999, 22015 for
   an interval whose leading field passes its precision.
   In detail: a date plus an interval of kind DAY stays a date, and a date
   with any other day-time kind gives a timestamp; a time takes day-time
   intervals only; DATE - DATE is an INTERVAL DAY, TIME - TIME an INTERVAL
   HOUR TO SECOND and TIMESTAMP - TIMESTAMP an INTERVAL DAY TO SECOND, each
   with precisions 9 and 9. An interval result keeps the larger leading and
   seconds precisions of its interval operands (attr[2] and attr[3]; one
   outside 1..9 or 0..9 counts as the defaults 2 and 6). interval × number,
   number × interval and interval ÷ number keep the interval's kind, the
   length truncated toward zero (exact for integers, bigints and numerics,
   in long double for doubles); ÷ 0 is 22012. The comparisons (7 to 12)
   take two intervals of one family, or two datetimes (a date against a
   timestamp as its midnight), and write a truth value as
   set_trivalue_in_value does. A datetime operand whose fields are no real
   date or time is 22007. A NULL operand gives a NULL result of the type
   the operation gives (an untyped VALUE_NULL operand: of the other
   operand's type). */
KX_API void kxstd_interval_operation(Value *a, Value *b, Value *result, EvalContext *context,
                                     int32_t op);

/* ---- calendar, datetimes and intervals ---- */

/* Julian Day Number of a proleptic Gregorian date, and back; years before
   1 count astronomically here (0 is 1 BC). A month outside 1 to 12 counts
   on into the years around it and a day past its month into the months
   after (day 0 is the day before the 1st); a day number beyond 32 bits is
   held to INT32_MIN or INT32_MAX. The outputs of kxstd_day_to_ymd may be
   null. */
KX_API int32_t kxstd_ymd_to_day(int32_t year, int32_t month, int32_t day);
KX_API void kxstd_day_to_ymd(int32_t day_number, int32_t *year, int32_t *month, int32_t *day);
/* 1 when the date exists (years 1 to 9999), else 0. */
KX_API int32_t kxstd_valid_date(int32_t year, int32_t month, int32_t day);
/* Today's date, and now as a timestamp with precision fractional digits
   (0 to 9, the rest of the nanoseconds truncated), each from one reading of
   the clock (local time). KXSTD_OK, KXSTD_INVALID_ARGUMENT (a null output
   or a precision outside 0 to 9) or KXSTD_DATETIME_OVERFLOW (the clock
   cannot be read, or lies outside the years 1 to 9999). */
KX_API int32_t kxstd_current_date(DateStruct *out);
KX_API int32_t kxstd_current_timestamp(TimestampStruct *out, int32_t precision);

/* A datetime value shifted by months, then seconds and nanoseconds (any
   signs and sizes); the result has the source's type, a time wrapping
   modulo 24 hours and a date dropping the time of day (the floor: a date
   less one second is the day before). A month shift keeps the day where
   the new month has it and takes the month's last day where it does not
   (2004-01-31 plus one month is 2004-02-29). The result receives the
   source's value part (type, lengths, flags, precision and driver words) as
   timestamp_add gives it, and the new payload; a NULL source gives a NULL
   result. KXSTD_OK, KXSTD_DATETIME_OVERFLOW (outside the years 1 to 9999,
   after the month shift or at the end), KXSTD_INVALID_DATETIME (the
   source's fields are no real date or time) or KXSTD_TYPE_MISMATCH (the
   source is no datetime, a pointer is null, or a time is shifted by
   months). The result may be the source. */
KX_API int32_t kxstd_timestamp_add(Value *result, const Value *source, int64_t months,
                                   int64_t seconds, int64_t nanoseconds);

/* An interval's length: months (year-month kinds) or seconds and
   nanoseconds (day-time kinds, both of the interval's sign; a fraction of a
   second or more carries into the seconds), signed, in 64 bits. Only the
   fields of the kind count; a nonzero interval_sign is negative. KXSTD_OK,
   or KXSTD_TYPE_MISMATCH for a null record or a kind outside 1 to 13.
   Either output may be null. */
KX_API int32_t kxstd_interval_length(const IntervalStruct *interval, int64_t *units,
                                     int32_t *nanoseconds);
/* Spreads a signed length over the fields of result's interval kind
   (already set) and sets its sign: KXSTD_OK, or KXSTD_INTERVAL_OVERFLOW
   when the leading field passes the leading precision (1 to 9 digits). The
   other fields, the null flag, the sign and the value type are all set;
   what lies below the kind's last field is truncated toward zero (90
   minutes as an INTERVAL HOUR is 1), and a length truncated to zero has
   no sign. KXSTD_TYPE_MISMATCH for a kind outside 1 to 13,
   KXSTD_INVALID_ARGUMENT for a null result, a precision outside 1 to 9 or
   nanoseconds with a year-month kind. */
KX_API int32_t kxstd_normalise_interval(int64_t units, int32_t nanoseconds, int32_t leading_precision,
                                        Value *result);
/* -1, 0, 1 for two intervals of one family, by their lengths whatever their
   kinds (INTERVAL '1' YEAR equals INTERVAL '12' MONTH); KXSTD_TYPE_MISMATCH
   in *order's stead (the return value) for a year-month against a day-time
   one, or a kind outside 1 to 13. */
KX_API int32_t kxstd_interval_compare(const IntervalStruct *a, const IntervalStruct *b,
                                      int32_t *order);

/* The number of whole units (SQL_TSI_FRAC_SECOND in nanoseconds, SECOND,
   MINUTE, HOUR, DAY, WEEK, MONTH, QUARTER, YEAR: the ODBC keywords, in any
   letter case) from one datetime to another, truncated toward zero; a
   month counts when the later day and time of day reach the earlier ones.
   A date counts as its midnight, a time as on the given date (today's date
   when today is null). QUARTER and YEAR are the whole months divided by 3
   and 12, truncated toward zero. KXSTD_OK, KXSTD_INVALID_ARGUMENT for
   another unit, KXSTD_NUMERIC_OUT_OF_RANGE (FRAC_SECOND beyond 64 bits),
   KXSTD_INVALID_DATETIME (fields that are no real date or time), or
   KXSTD_TYPE_MISMATCH (no datetime, or a NULL one). out may be null. */
KX_API int32_t kxstd_timestamp_diff(const char *unit, const Value *from, const Value *to,
                                    const DateStruct *today, int64_t *out);

/* ---- literal builders ---- */

/* MakeLiteral for the datetime kinds (KX_LITERAL_DATE, _TIME,
   _TIMESTAMP), checked: the quoted text in the form the literal takes, each
   field in its range (a real date, hour 0 to 23, minute and second 0 to 59),
   a timestamp's fraction of up to 9 digits kept. The token is read as the
   scanner delivers it: what stands before the first quote is the prefix
   ("{d ", "DATE "), after the closing quote only blanks and a closing brace
   may follow. The body is YYYY-MM-DD (year of 1 to 4 digits, month and day
   of 1 or 2), HH:MM:SS (1 or 2 digits each), or a date, one or more blanks,
   a time and an optional point with 0 to 9 digits; a time takes no
   fraction. Null with *status set (KXSTD_INVALID_DATETIME,
   KXSTD_NO_MEMORY); the other kinds go to MakeLiteral on a copy of the
   text (the text is never changed), and a null leaf from it gives
   KXSTD_INVALID_ARGUMENT. status may be null; KXSTD_OK on success. */
KX_API Value *kxstd_make_literal(int32_t kind, const char *text, MemHandle *handle,
                                 int32_t *status);
/* An exact numeric literal whatever its length: MakeNumeric's digits as
   a VALUE_NUMERIC whose precision is the number of digits written (at most
   38) and whose scale is the fraction's length. Null when there
   are more than 38 digits (*status KXSTD_NUMERIC_OUT_OF_RANGE) or memory
   runs out. */
KX_API Value *kxstd_make_numeric(const char *integer_digits, const char *fraction_digits,
                                 MemHandle *handle, int32_t *status);
/* An interval literal: the quoted text (with the quotes, and an optional
   sign inside them) read for the interval kind with its precisions. Null
   with *status KXSTD_INVALID_DATETIME (the text does not fit the kind, or a
   trailing field passes its range, or the seconds' fraction has more digits
   than the seconds precision) or KXSTD_INTERVAL_OVERFLOW (the leading
   field's value passes its precision); KXSTD_INVALID_ARGUMENT for a null
   text, a kind outside 1 to 13, a leading precision outside 1 to 9 or a
   seconds precision outside 0 to 9; KXSTD_NO_MEMORY. The text holds the
   kind's fields with their separators and nothing else ("-1 02:03:04.5"
   for DAY TO SECOND, "1-06" for YEAR TO MONTH). The leaf (made as
   MakeLiteral makes one) keeps the precisions in attr[2] and attr[3]. */
KX_API Value *kxstd_make_interval(const char *text, int32_t kind, int32_t leading_precision,
                                  int32_t seconds_precision, MemHandle *handle,
                                  int32_t *status);
/* promote_type for two interval kinds, without ever ending the process:
   the kind from the earlier leading field to the later trailing one (DAY
   TO HOUR with DAY TO MINUTE is DAY TO MINUTE). KXSTD_TYPE_MISMATCH for a
   year-month and a day-time kind, KXSTD_INVALID_ARGUMENT for a kind
   outside 1 to 13; *kind is set on success only. */
KX_API int32_t kxstd_promote_type(int32_t a, int32_t b, int32_t *kind);

/* ---- long data ---- */

/* extract_from_long_buffer that ends as SQLGetData does: 100 (SQL_NO_DATA)
   on every call after the one that delivered the last piece (an empty value
   is delivered once, as an empty piece), and after the call that reported a
   NULL long value; otherwise the same results (0 the last piece, 1 a piece
   with more to come, -1 a read error). rewind_long_buffer starts it over. */
KX_API int32_t kxstd_extract_from_long_buffer(LongBuffer *buffer, void *buf, int32_t size,
                                              int32_t *remaining_out, int32_t binary);
/* append_to_long_buffer that refuses a negative length other than KX_NTS,
   KX_NTS on a binary buffer, and a total past 2147483647 octets
   (KXSTD_INVALID_LENGTH) rather than ending the process or wrapping, and
   reports a failed write (KXSTD_IO_ERROR). Nothing is appended on an
   error. */
KX_API int32_t kxstd_append_to_long_buffer(LongBuffer *buffer, const void *data, int32_t n);

/*
 * Long data in 64 bits (SQLLEN lengths and offsets). The total is kept in
 * the LongBuffer's total_length (its low 32 bits, what the family's
 * long_buffer_length reports) and unused1 (its high 32 bits, 0 for a buffer
 * the family's routines filled); the read position in position_high and
 * position_low. The octets lie in the buffer's file at their own offsets,
 * and each routine here places the stream itself (fseeko with 64-bit
 * offsets) before it reads or writes: appends always land after the last
 * octet, reads at the position, whatever the stream's offset was. The
 * 32-bit kxstd_ routines above work on the same totals and positions.
 */
/* The total number of octets appended; 0 for a null buffer. */
KX_API int64_t kxstd_long_buffer_length(const LongBuffer *buffer);
/* kxstd_append_to_long_buffer with a 64-bit length (KX_NTS for text): the
   total may pass 4 GiB, up to INT64_MAX. KXSTD_OK, KXSTD_INVALID_LENGTH
   (as kxstd_append_to_long_buffer, or a total past INT64_MAX) or
   KXSTD_IO_ERROR (the octets could not be written and flushed; the total
   is then as it was). */
KX_API int32_t kxstd_append_to_long_buffer64(LongBuffer *buffer, const void *data, int64_t n);
/* kxstd_extract_from_long_buffer with a 64-bit size and remaining count
   (SQLGetData's BufferLength and StrLen_or_IndPtr): at most size - 1
   octets and a terminator (size octets when binary), *remaining_out the
   octets left before the call (-1 for a NULL value). 0 the last piece, 1 a
   piece with more to come, 100 no data, -1 a read error (the position is
   then as it was); a null buf or a size below 1 asks for the length alone
   (1 when octets remain, 0 when none) and ends nothing. The 32-bit
   kxstd_extract_from_long_buffer reports -4 (SQL_NO_TOTAL) when the octets
   left do not fit 32 bits. */
KX_API int32_t kxstd_extract_from_long_buffer64(LongBuffer *buffer, void *buf, int64_t size,
                                                int64_t *remaining_out, int32_t binary);
/* Moves the read position to an octet offset from 0 to the total; the next
   extraction starts there (rewind_long_buffer is position 0). KXSTD_OK, or
   KXSTD_INVALID_LENGTH for an offset outside that range or a null buffer. */
KX_API int32_t kxstd_seek_long_buffer(LongBuffer *buffer, int64_t position);
/* Cuts the data to its first length octets, or lengthens it with zero
   octets (a file system that has holes stores none of them), and moves the
   read position to 0: length 0 empties the buffer for new data. KXSTD_OK,
   KXSTD_INVALID_LENGTH (a negative length, a null buffer) or
   KXSTD_IO_ERROR (the file could not take that length). */
KX_API int32_t kxstd_truncate_long_buffer(LongBuffer *buffer, int64_t length);
/* file_seek with the whole 64-bit offset: fseeko(stream, offset,
   SEEK_SET). 0, or -1 for a null stream, a negative offset or a failed
   seek. */
KX_API int32_t kxstd_file_seek(FILE *stream, int64_t offset);

/* ---- profile store ---- */

/* get_profile_string whose value (or default) is cut to output_size - 1
   characters and terminated when it does not fit, as
   SQLGetPrivateProfileString does: nothing is written for a size below 1,
   only the terminator for size 1. A found value loses its trailing blanks
   before it is cut. Returns the number of characters copied (without the
   terminator), or -1 when the file cannot be opened (output then holds the
   default, cut the same way; registry_error tells why). A reader installed
   with set_ini_function answers data-source sections, its output
   terminated at output_size - 1. A null output is allowed with a size
   below 1. */
KX_API int32_t kxstd_get_profile_string(ProfileHandle *handle, int32_t mode,
                                        const char *section, const char *key,
                                        const char *default_value, char *output,
                                        int32_t output_size);
/* get_default through kxstd_get_profile_string. Returns output. */
KX_API char *kxstd_get_default(ProfileHandle *handle, const char *key, char *output,
                               int32_t output_size);
/* Writes one setting as SQLWritePrivateProfileString does, rewriting only
   the line it concerns and keeping every other line of the file (other
   sections, comments, blank lines, their order and line endings):
    - key and value: the key line of the section of that name that the
      reader reads (the first that has lines, else the first) is given the
      value (the line the reader takes it from: its first line of the key
      with a value, else its first of the key); without one, a line
      "key = value" is added after the section's last key line (after its
      header when it has none); without the section, "[section]" (in the
      mode's brackets) and the line are added at the end of the file,
      after a blank line;
    - a null value: every line of the key in the sections of that name is
      removed;
    - a null key: the sections of that name are removed, each from its
      header up to the next header.
   A rewritten key line keeps its key, "=" and blanks as they were. The new
   contents go to a new file in the file's directory, which is synced and
   renamed over the file: a reader sees the old or the new file whole. The
   file keeps its permission bits (and its owner where the writer may give
   it); a missing file is made (0666 less the umask); a removal that finds
   nothing leaves the file untouched; no backup is left. A symbolic link is
   written through, as by set_profile_string. Returns 0, or -1 with the
   error text set: the file cannot be read (or is larger than 64 MiB) or
   written, or the setting cannot be read back as written (a null section,
   a line break in any text, a section that holds its closing bracket, a key
   that is empty, holds "=" or opens with "#" or a bracket, a line longer
   than 255 octets, which the reader would take in pieces); a refused write
   leaves the file untouched. Lines of the file longer than 255 octets are
   kept, but looked at whole where the reader takes them in pieces. */
KX_API int32_t kxstd_set_profile_string(ProfileHandle *handle, int32_t mode,
                                        const char *section, const char *key,
                                        const char *value);

/* ---- connection strings ---- */

/* parse_connection_string by ODBC's grammar for SQLDriverConnect: any
   attribute's value may be given in braces, where it may hold ";" and "}}"
   stands for one "}" (blanks between "=" and "{" are allowed; what follows
   the closing brace up to the next ";" is passed over; an unclosed brace
   takes the rest of the text); an empty attribute (";;", blanks only) and
   a fragment without "=" are passed over; keywords lose their surrounding
   blanks and compare without regard to case, and unbraced values are kept
   as written. Pairs are made as parse_connection_string makes them
   (append_pair: upper-cased keywords, a repeated keyword keeps its first
   place and last value, DSN=DEFAULT added when no DSN, DRIVER or FILEDSN
   is given and bit 0 of flags is clear), in handle. length is an octet
   count or KX_NTS. KXSTD_OK, KXSTD_INVALID_LENGTH (a negative length other
   than KX_NTS; the record is then empty), KXSTD_INVALID_ARGUMENT (a null
   record) or KXSTD_NO_MEMORY (the pairs made so far stay). */
KX_API int32_t kxstd_parse_connection_string(ConnectionString *cs, MemHandle *handle,
                                             const char *text, int32_t length, int32_t flags);
/* generate_connection_string whose text parses back into the same pairs
   with kxstd_parse_connection_string: a value is braced (and its "}"
   doubled) when it holds ";", "{" or "}" or begins or ends with a blank,
   and always under DRIVER, SQITARGET... and REMOTESTRING...; a pair whose
   keyword could not be read back (empty, holding "=" or ";", or with a
   blank at an end) is left out. Otherwise as generate_connection_string: DRIVER
   left out beside DSN, Description always, pieces that would pass size
   characters dropped (the buffer holds size + 1 octets); an empty record
   gives "" (buffer untouched). */
KX_API char *kxstd_generate_connection_string(const ConnectionString *cs, char *buffer,
                                              int32_t size);

/* ---- 16-bit strings ---- */

/* copy_nstr_bufferl for UTF-8 text: the source is decoded as UTF-8 into
   UTF-16 code units (SQLWCHAR), a code point of planes 1 to 16 as a
   surrogate pair and every maximal subpart of an ill-formed sequence as one
   U+FFFD (an overlong form, a surrogate written in UTF-8 or a code point
   past U+10FFFF one per octet). Counts are in code units: buffer_length
   the buffer's room, *length_out the units of the whole source. The same
   contract otherwise: a null source is empty; 0 when the whole text
   fitted with its terminator, 1 when it was cut; a cut keeps at most
   buffer_length - 1 units and never splits a surrogate pair; a buffer of
   at least one unit is always terminated, a null one or a length below 1
   is not written. */
KX_API int32_t kxstd_copy_nstr_bufferl(uint16_t *destination, int32_t buffer_length,
                                       int32_t *length_out, const char *source);

/* ---- SQL types and driver buffers ---- */

/* sql_to_value_type with a type for every ODBC SQL type the library can
   hold: SQL_WCHAR (-8) and SQL_WVARCHAR (-9) are VALUE_STRING (the text in
   UTF-8), SQL_WLONGVARCHAR (-10) VALUE_LONG_STRING, SQL_GUID (-11)
   VALUE_STRING (its 36-character text), SQL_INTERVAL_DAY_TO_HOUR (108)
   VALUE_INTERVAL_DS; every other type as sql_to_value_type. */
KX_API int32_t kxstd_sql_to_value_type(int32_t sql_type);
/* get_buffer_length knowing the same types: SQL_C_WCHAR / SQL_WCHAR (-8)
   and SQL_WVARCHAR (-9) take the declared length (in octets, as the
   application gives it), SQL_WLONGVARCHAR (-10) 0 as the long types,
   SQL_C_GUID / SQL_GUID (-11) 16 (SQLGUID); every other type as
   get_buffer_length. */
KX_API int32_t kxstd_get_buffer_length(int32_t length, int32_t type);
/* get_dm_length for the types kxstd_sql_to_value_type adds: SQL_WCHAR and
   SQL_WVARCHAR hold at most 4 octets of UTF-8 per character of length,
   SQL_WLONGVARCHAR 0 (long data lives in long buffers), SQL_GUID 36;
   every other type as get_dm_length. -1 when a character or binary length
   is negative or its octets would pass 2147483647. */
KX_API int32_t kxstd_get_dm_length(int32_t sql_type, int32_t length);
/* compare_dm by the rules of kxstd_compare_values, -1, 0 or 1 (NULL
   first): texts blank-padded to the longer one ('ab' < 'abc', 'ab' =
   'ab  '; a text ends at its length or at a zero octet before it),
   binaries zero-padded over their data lengths, bigints by 64 bits,
   datetimes, numerics and intervals by value, and buffers of different
   types as typed values (text against a number or a datetime read as
   one). Errors as kxstd_compare_values gives them (22018, 22007, 42000),
   and KXSTD_INVALID_LENGTH (HY090) for a buffer whose length is shorter
   than its type's payload: through the context, or 0 without one. */
KX_API int32_t kxstd_compare_dm(const DmBuffer *left, const DmBuffer *right,
                                EvalContext *context);

/* ---- scalar functions ---- */
/*
 * The standard catalogue: the names, ids, argument counts and classes of
 * `functions` and `scalar_functions`, with routines that give the standard
 * results where the family's differ (TIMESTAMPADD clamps a month shift's
 * day and refuses an unknown unit, TIMESTAMPDIFF counts whole units,
 * numeric functions report domain errors in class 22, ...). Run an entry
 * with execute_function; look names up here rather than with the
 * sql92_get_function_ look-ups.
 */
KX_API extern const FunctionEntry kxstd_functions[KX_FUNCTION_COUNT];
KX_API extern const FunctionEntry kxstd_scalar_functions[KX_SQL92_FUNCTION_COUNT];
KX_API int32_t kxstd_get_function_id(const char *name, int32_t sql92);
KX_API const char *kxstd_get_function_name(int32_t id);
KX_API const FunctionEntry *kxstd_get_function_info(int32_t id);
/* The true argument range of every id, SQL-92 ids included (POSITION takes
   2). */
KX_API void kxstd_get_function_arg_range(int32_t id, int32_t *min, int32_t *max);

/* ---- SQL text printer ---- */
/*
 * The printer of parse.h (same trees, callback, modes and depth protection)
 * whose text is valid SQL-92 that means what the tree means, where the
 * family's printer keeps its own texts:
 *  - COUNT(x) is COUNT( ALL x ), not a row count; COUNT(*) and
 *    COUNT( DISTINCT x ) as before;
 *  - FOREIGN KEY, ALL PRIVILEGES and the privilege REFERENCES spelt right;
 *  - SET c = DEFAULT; LIKE p ESCAPE e; x NOT IN ... as before, and a negated
 *    quantified comparison as NOT ( x = ANY ( ... ) );
 *  - literals that read back as the same value: a double with its 17
 *    significant digits and an exponent (1.5E-7, 2.5E0), a numeric with
 *    every digit at its scale, DATE 'yyyy-mm-dd', TIME 'hh:mm:ss' and
 *    TIMESTAMP 'yyyy-mm-dd hh:mm:ss.fffffffff' (the fraction's significant
 *    digits) rather than the ODBC escapes, X'0AFF' with two digits an
 *    octet, an interval with its sign inside the quotes and precisions wide
 *    enough for its fields (INTERVAL '-2 03:04:05.25' DAY TO SECOND), a
 *    bigint's 64-bit number, a string's quotes doubled, and NULL for a leaf
 *    whose null flag is set;
 *  - CURRENT_DATE, CURRENT_TIME, CURRENT_TIMESTAMP;
 *  - a delimited identifier with its double quotes doubled;
 *  - GROUP BY items without ASC or DESC;
 *  - CHECK ( condition ) on a column; a subquery on either side of a
 *    comparison in parentheses; FOR UPDATE without OF when no column is
 *    named; no FROM for a query without tables; COMMIT and ROLLBACK
 *    without WORK.
 * What has no SQL-92 text stays as the family prints it (the ODBC call
 * escape, data types such as LONG VARCHAR, CREATE INDEX, the outer-join
 * marks of KX_PRINT_OUTER_JOIN_MARKS). A value that no literal writes (an
 * infinite or NaN double, a fraction of a second of 10^9 nanoseconds or
 * more, an interval kind outside 1 to 13) prints "<unexpected value>", and
 * a type without a literal (long data among them) "<unexpected value
 * type>", so that a back end refuses the text rather than reading another
 * value. Pieces are gathered: the callback receives a few texts, each
 * shorter than KX_PRINT_PIECE_SIZE and cut anywhere; only their
 * concatenation is the text.
 */
KX_API void kxstd_sql92_print_parse_tree(const ParseNode *tree, PrintCallback callback,
                                         void *user_data);
KX_API void kxstd_sql92_print_expression(const ParseNode *node, PrintCallback callback,
                                         void *user_data);
/* In the given mode (KX_PRINT_* of parse.h). */
KX_API void kxstd_sql92_print_expression_ex(const ParseNode *node, PrintCallback callback,
                                            void *user_data, int32_t mode);

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_STANDARD_H */
