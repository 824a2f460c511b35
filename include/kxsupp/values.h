/*
 * kxsupp/values.h - the typed SQL value, its text forms, comparison, the
 * drivers' row-buffer form and long data.
 *
 *  1. A Value and any text or binary buffer it points at belong to the
 *     MemHandle it was made in (its mem_handle field); release_value drops
 *     one holder and the last frees it; releasing the handle frees them all.
 *  2. Constructors and copies return null when memory runs out; getters and
 *     comparisons never fail (a NULL value reads as 0, 0.0 or "").
 *  3. Text forms are written into the caller's buffer: the *_n variants
 *     take its capacity, cut and terminate the text and report the full
 *     length; the others need a buffer that holds the whole text.
 *  4. Nothing here posts a diagnostic. A long buffer lives in a MemHandle
 *     block and its temporary file closes with the last reference; its
 *     reads return 0 (all delivered), 1 (more remains) or -1 (read error).
 */
#ifndef KXSUPP_VALUES_H
#define KXSUPP_VALUES_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- nodes: value and node constructors ---- */

/* A zero-filled block of size octets of a cached kind, its first word set
   to kind (and, for NODE_VALUE, its memory handle field set), or null. */
KX_API void *newNode(size_t size, uint32_t kind, MemHandle *handle);

/* A Value from handle with room for text_length octets of text (give the
   text length plus one for the terminator), or null. 0: a bare record;
   1-127: a cached record with a 128-octet inline area (kind 166); above 127:
   an uncached record with exactly text_length octets inline. Only kind,
   mem_handle, ref_count (0) and, with text room, payload.text and
   inline_buffer (1) are set; every other field is the caller's to fill. */
KX_API Value *NewValue(MemHandle *handle, int32_t text_length);

/* The select node below a query node: for a node of kind 138 the fifth word
   of the node at its ninth word, otherwise the node's own fifth word
   (field[3]; the ninth word is field[7]). Null for a null node. */
KX_API ParseNode *extract_select(const ParseNode *node);

/* ---- end nodes ---- */

/* ---- values: model and text forms ---- */

/*
 * A Value is owned by the MemHandle it came from. ref_count counts holders
 * beyond the first: release_value drops one holder and frees the record
 * (and a separately allocated text or binary buffer, and its long buffer
 * reference) with the last. Getters never fail: a NULL value (null_flag -1)
 * reads as 0, 0.0 or "", and types without a conversion read as zero.
 */

/* The value type code (VALUE_*) for an ODBC SQL type number, or
   VALUE_NO_TYPE (-9999) for a type without one (108, day to hour, has none). */
KX_API int32_t sql_to_value_type(int32_t sql_type);

/* An independent copy of src in handle (a text or binary buffer copied,
   a long buffer cloned into handle), or null on allocation failure. The
   copy keeps src's mem_handle field. A null src gives a NULL record. */
KX_API Value *duplicate_value(MemHandle *handle, const Value *src);
/* src itself with one more holder when it lives in handle and its
   share_block flag is 0; otherwise duplicate_value(handle, src). */
KX_API Value *duplicate_value_ex(MemHandle *handle, Value *src);
/* Drops one holder of value; the last frees it. Null and (Value *)-1 are
   ignored. */
KX_API void release_value(MemHandle *handle, Value *value);

/* The value as a 32-bit integer: doubles truncate toward zero and saturate
   (NaN gives INT32_MIN), texts as atoi, bigints keep their low 32 bits. */
KX_API int32_t get_int_from_value(const Value *value);
/* The value as a double: texts as atof, bigints to the nearest double. */
KX_API double get_double_from_value(const Value *value);
/* The value as a 64-bit integer: doubles truncate toward zero (saturating
   beyond the 64-bit range, NaN gives INT64_MIN), texts as strtoll in
   base 10. */
KX_API int64_t get_bigint_from_value(const Value *value);
/* The text of a non-NULL VALUE_STRING; "" for anything else (no conversion). */
KX_API const char *get_string_from_value(const Value *value);
/* Stores d in the value's current type (integer and bit saturate as
   get_int_from_value, numeric at its own precision and scale, bigint
   truncates); type and null flag are left alone, other types unchanged. */
KX_API void set_value_to_double(Value *value, double d);
/* Copies src's whole record (header fields included) over dst; returns dst. */
KX_API Value *set_value_to_interval(Value *dst, const Value *src);
/* 2 when the null flag is nonzero, 1 when the integer is nonzero, else 0. */
KX_API int32_t get_trivalue_from_value(const Value *value);
/* Makes value a non-NULL VALUE_INTEGER holding t: 2 makes it NULL (payload
   untouched), 1 stores 1, anything else 0. Returns value. */
KX_API Value *set_trivalue_in_value(Value *value, int32_t t);
/* The interval's magnitude in the unit of its last field (sign ignored,
   32-bit wrapping); 0 for a kind outside 1-13. fraction_out, when not null,
   receives the fraction for kinds ending in seconds and 0 otherwise. */
KX_API uint32_t get_long_from_interval(const Value *value,
                                       uint32_t *fraction_out);
/* Octet size of a bound buffer of an SQL_C_ or SQL type number: fixed for
   fixed-size types, length for character and binary types (and 99,
   SQL_C_DEFAULT), 0 for long and unknown types. */
KX_API int32_t get_buffer_length(int32_t length, int32_t type);

/* The SQL literal of value: "NULL" (a static text that the caller must not
   modify, buf untouched) when its null flag is nonzero, otherwise buf, which
   receives e.g. 'O''Brien', {d'2004-06-16'}, B'0FF' or {INTERVAL '3' YEAR}.
   Long, keyword and unknown types write "". buf must hold the whole text:
   1024 octets hold any value but long texts and binaries; use
   value_as_text_n for those. */
KX_API char *value_as_text(const Value *value, char *buf);
/* As value_as_text, writing at most capacity octets: the text is cut to
   capacity - 1 octets and terminated (nothing is written when capacity is
   0). *length_out, when not null, receives the full text length, so a
   result length of capacity or more means the text was cut. */
KX_API const char *value_as_text_n(const Value *value, char *buf,
                                   size_t capacity, size_t *length_out);
/* The value's text with the caller's delimiters around dates, times,
   timestamps and binaries (an empty binary gives ''); NULL writes "NULL".
   With collapse nonzero a timestamp of all zeros gives "NULL", a midnight
   timestamp its date alone and a zero date its time as hh-mm-ss. Other
   types as value_as_text. Returns buf, which must hold the whole text. */
KX_API char *value_as_text_ex(const Value *value, char *buf,
                              const char *date_prefix, const char *date_suffix,
                              const char *time_prefix, const char *time_suffix,
                              const char *timestamp_prefix,
                              const char *timestamp_suffix,
                              const char *binary_prefix,
                              const char *binary_suffix, int32_t collapse);
/* As value_as_text_ex, within capacity octets as value_as_text_n. */
KX_API char *value_as_text_ex_n(const Value *value, char *buf, size_t capacity,
                                size_t *length_out, const char *date_prefix,
                                const char *date_suffix,
                                const char *time_prefix,
                                const char *time_suffix,
                                const char *timestamp_prefix,
                                const char *timestamp_suffix,
                                const char *binary_prefix,
                                const char *binary_suffix, int32_t collapse);
/* The interval of a VALUE_INTERVAL_YM or _DS value: with sql_form nonzero
   as a literal (INTERVAL -'1-06' YEAR TO MONTH, with the leading and
   seconds precisions attr[2] and attr[3] unless they are the defaults 2
   and 6), else bare (-1-06). At most 128 octets. Returns buf. */
KX_API char *interval_as_text(const Value *value, char *buf, int32_t sql_form);

/* ---- end values ---- */

/* ---- values: comparison ---- */

/* Orders two values by the left value's type: negative, zero or positive (only the sign is
 * meaningful). NULL (or a null pointer) sorts first and equals NULL; texts compare
 * blank-padded and binaries zero-padded when their declared lengths differ. Never allocates. */
KX_API int32_t compare_values(const Value *left, const Value *right);

/* ---- end comparison ---- */

/* ---- values: dm buffers ---- */

/* Writes value into the row buffer dm (12-octet header, payload at offset 12): the caller
 * provides room for the header and get_dm_length octets. NULL writes only the header, a type
 * without a dm form length 0 and no payload. */
KX_API void value_to_dm(DmBuffer *dm, const Value *value);

/* Reads dm into value, judged by the value's own type; a string or binary goes into the
 * value's existing buffer, which must have room for the dm length (plus one for text). */
KX_API void dm_to_value(const DmBuffer *dm, Value *value);

/* Payload size of a dm buffer for an ODBC SQL type and declared length; 0 for types
 * outside the table and for the long types. */
KX_API int32_t get_dm_length(int32_t sql_type, int32_t length);

/* Octet length of the data held in dm, judged by value's type; 0 for NULL and for types
 * without a dm form. */
KX_API int32_t get_length_from_dm(const DmBuffer *dm, const Value *value);

/* Orders two dm buffers of one column by the left buffer's type word: NULL (or a null
 * pointer) first, then the type's own comparison (negative, zero or positive); 0 for types
 * without a dm form. */
KX_API int32_t compare_dm(const DmBuffer *left, const DmBuffer *right);

/* ---- end dm buffers ---- */

/* ---- longvar: long buffers ---- */

/*
 * A LongBuffer holds one long value in an anonymous temporary file
 * "<blob_path>/blob<pid><counter>.tmp" (pid and counter in lower-case
 * hexadecimal, at least five digits), unlinked as soon as it is opened. It
 * lives in a MemHandle block whose last reference closes the file. Appends
 * and extractions share the stream's one file offset: rewind before reading.
 */

/* A new, empty long buffer in handle keeping a and b, reading blob_path
   through get_default(config, ...), or null when the record cannot be
   allocated or the file not created. sql_type: -1 long text, -4 binary. */
KX_API LongBuffer *allocate_long_buffer(MemHandle *handle, int32_t a,
                                        int32_t b, ProfileHandle *config,
                                        int32_t sql_type);
/* Creates, opens ("w+") and unlinks a new temporary file as above; its name
   goes to name, which must hold KX_LONG_FILE_NAME_SIZE octets. Returns the
   stream, or null. */
KX_API FILE *open_buffer(ProfileHandle *config, char *name);
/* Appends n octets (KX_NTS: a zero-terminated text; aborts the process on a
   long binary buffer) at the stream's position. Write errors are not
   reported: returns 0. */
KX_API int32_t append_to_long_buffer(LongBuffer *buffer, const void *data,
                                     int32_t n);
/* Sets the read position and the stream back to 0; returns fseek's result. */
KX_API int32_t rewind_long_buffer(LongBuffer *buffer);
/* The number of octets appended so far. */
KX_API int32_t long_buffer_length(const LongBuffer *buffer);
/* Delivers the next piece as SQLGetData does: at most size - 1 octets and a
   terminator (size octets and no terminator when binary is nonzero).
   *remaining_out (may be null) receives the octets left before the call, or
   -1 on the first call for a NULL value. Returns 0 when all of it was
   delivered, 1 when more remains, -1 on a read error. */
KX_API int32_t extract_from_long_buffer(LongBuffer *buffer, void *buf,
                                        int32_t size, int32_t *remaining_out,
                                        int32_t binary);
/* As extract_from_long_buffer into 16-bit units (size counted in units),
   each octet sign-extended into one unit. */
KX_API int32_t extract_from_long_nbuffer(LongBuffer *buffer, uint16_t *wbuf,
                                         int32_t size, int32_t *remaining_out,
                                         int32_t binary);
/* The buffer for handle: in its own handle the same record with one more
   reference; in another handle a new record sharing the file (and its
   offset) through a second descriptor, or null. */
KX_API LongBuffer *clone_long_buffer(LongBuffer *buffer, MemHandle *handle);
/* The block destructor of a long buffer: closes its stream. Returns 0. */
KX_API int free_long_buffer(void *buffer);

/* Thin stream wrappers: fread/fwrite of n octets, a second "r+" stream on a
   dup of the descriptor, fclose, and fseek to low from the start (the high
   word is ignored). */
KX_API size_t file_read(void *buf, size_t n, FILE *stream);
KX_API size_t file_write(const void *buf, size_t n, FILE *stream);
KX_API FILE *file_dup(FILE *stream);
KX_API int file_close(FILE *stream);
KX_API int file_seek(FILE *stream, uint32_t high, uint32_t low);

/* ---- end longvar ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_VALUES_H */
