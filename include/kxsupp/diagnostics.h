/*
 * kxsupp/diagnostics.h - ODBC diagnostic records and the trace log.
 *
 *  1. Each ODBC handle owns one ErrorHeader, made in its memory handle;
 *     records and their strings are private copies in that handle.
 *  2. An ODBC 2 application gets ODBC 2 SQLSTATEs: the mapping through
 *     map_table happens when a record is posted.
 *  3. Messages are "[component]text", bounded at 1024 bytes.
 */
#ifndef KXSUPP_DIAGNOSTICS_H
#define KXSUPP_DIAGNOSTICS_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- odbcerror: diagnostic records ---- */

typedef struct SqlStatePair {
    const char *odbc3;
    const char *odbc2;
} SqlStatePair;

/* ODBC 3 to ODBC 2 SQLSTATEs, first match wins, ended by a null pair. */
KX_API extern const SqlStatePair map_table[49];

/* A header taking its ODBC version from the environment record (a null
   environment counts as ODBC 3). Null when the handle is null or cannot
   allocate. */
KX_API ErrorHeader *CreateErrorHeader(MemHandle *handle,
                                      const DriverEnvironment *environment);
/* Starts an ODBC call: clears the records, counts and return code, and
   stores the dynamic function code. A null header is ignored. */
KX_API void SetupErrorHeader(ErrorHeader *header, int32_t function_code);
/* Frees every record and then the header itself. A null header is
   ignored. */
KX_API void FreeErrorHeader(ErrorHeader *header);
/* Stores the code and returns it as an SQLRETURN (a null header stores
   nothing but the code is still returned). */
KX_API int16_t SetReturnCode(ErrorHeader *header, int32_t code);
/* Stores the SQL_DIAG_ROW_COUNT value. A null header is ignored. */
KX_API void SetErrorCount(ErrorHeader *header, int32_t row_count);
/* Appends a record; returns the stored message, or null when no record
   could be made (or the header is null). A null connection name means
   "Varnel ODBC"; the name is put in the message as text, the format is
   expanded after it (a null format adds nothing), and the message is cut
   at 1023 characters. */
KX_API char *PostError(ErrorHeader *header, int32_t class_origin_code,
                       int32_t column, const char *connection_name,
                       int32_t native, int32_t row, const char *subclass_origin,
                       const char *sqlstate, const char *format, ...)
    KX_PRINTF_FORMAT(9, 10);
/* Posts into the error header of a DriverStatement (kinds 200, 202) or a
   DriverConnection (201), setting its return code to -1; the message is
   text, not a format. Other kinds, a null object or header post nothing.
   Returns 0. */
KX_API int32_t PostDalError(void *object, const char *connection_name,
                            int32_t native, const char *sqlstate,
                            const char *message);
/* Record record_number (1 is the oldest): the SQLSTATE into a 6-byte
   buffer, the native code, the message with copy_str_buffer. Returns 0, 1
   when the message was truncated, 100 past the last record, -1 below 1. */
KX_API int16_t GetDiagRec(ErrorHeader *header, int32_t record_number,
                          char *sqlstate, int32_t *native, char *message,
                          int32_t buffer_length, int16_t *text_length);
/* One header or record field by its SQL_DIAG_* identifier: integers as one
   32-bit word, strings with copy_str_buffer. Returns 0, 1 when truncated,
   100 past the last record, -1 for a bad record number, field or handle
   type (fields 3, 7, 12 and -1249 need handle type 3, a statement). */
KX_API int16_t GetDiagField(int32_t handle_type, ErrorHeader *header,
                            int32_t record_number, int32_t field,
                            void *value, int32_t buffer_length,
                            int16_t *string_length);

/* ---- end odbcerror ---- */

/* ---- trace: call tracing ---- */

#include <stdarg.h>

/* The trace switch: a line is written only when its category has a bit in
   common with this mask. 0 (the default) turns tracing off entirely. The
   library reads it atomically; an application that changes it while other
   threads trace should write it atomically too
   (__atomic_store_n(&error_mask, mask, __ATOMIC_RELAXED)). */
KX_API extern uint32_t error_mask;

/* Writes one trace line "[pid]tag@nnnn" padded to column 30, ":", the
   formatted arguments and a newline, to the file named by "log_file" in
   "{settings}" of the profile (standard error when empty or unopenable).
   Returns 0; does nothing at all when (error_mask & category) is 0.
   The format has trace directives of its own (%h a handle, %S a text with
   its ODBC length, %e a return code's name, %I, %U, %i, %u, %p, %s, %*S,
   %*I, %*h), not printf's, so it carries no printf format attribute. */
KX_API int32_t log_message(const char *tag, int32_t number, uint32_t category,
                           const char *format, ...);
/* log_message with the caller's profile handle and argument list; writes
   the line whatever the mask. A null profile sends it to standard error.
   Returns 0. */
KX_API int32_t _log_message(const char *tag, int32_t number,
                            uint32_t category, ProfileHandle *profile,
                            const char *format, va_list arguments);

/* ---- end trace ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_DIAGNOSTICS_H */
