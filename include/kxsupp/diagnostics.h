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
   environment counts as ODBC 3). Null when the handle cannot allocate. */
KX_API ErrorHeader *CreateErrorHeader(MemHandle *handle,
                                      const DriverEnvironment *environment);
/* Starts an ODBC call: clears the records, counts and return code, and
   stores the dynamic function code. */
KX_API void SetupErrorHeader(ErrorHeader *header, int32_t function_code);
KX_API void FreeErrorHeader(ErrorHeader *header);
/* Stores the code and returns it as an SQLRETURN. */
KX_API int16_t SetReturnCode(ErrorHeader *header, int32_t code);
KX_API void SetErrorCount(ErrorHeader *header, int32_t row_count);
/* Appends a record; returns the stored message, or null when no record
   could be made. A null connection name means "Varnel ODBC". */
KX_API const char *PostError(ErrorHeader *header, int32_t class_origin_code,
                             int32_t column, const char *connection_name,
                             int32_t native, int32_t row,
                             const char *subclass_origin, const char *sqlstate,
                             const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 9, 10)))
#endif
    ;
/* Posts into the error header of a DriverStatement (kinds 200, 202) or a
   DriverConnection (201); other kinds post nothing. Returns 0. */
KX_API int32_t PostDalError(void *object, const char *connection_name,
                            int32_t native, const char *sqlstate,
                            const char *message);
KX_API int16_t GetDiagRec(ErrorHeader *header, int32_t record_number,
                          char *sqlstate, int32_t *native, char *message,
                          int32_t buffer_length, int16_t *text_length);
KX_API int16_t GetDiagField(int32_t handle_type, ErrorHeader *header,
                            int32_t record_number, int32_t field,
                            void *value, int32_t buffer_length,
                            int16_t *string_length);

/* ---- trace: call tracing ---- */

/* ---- end trace ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_DIAGNOSTICS_H */
