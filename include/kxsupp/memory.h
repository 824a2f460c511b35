/*
 * kxsupp/memory.h - memory pools, lists, hash tables and string buffers.
 *
 *  1. Every allocating call takes a MemHandle; what it returns belongs to
 *     that handle and is released with it (kx_mem_release_handle releases
 *     the children first). A block may also be freed alone with kx_mem_free.
 *  2. Allocators return null when the system heap is exhausted and leave
 *     the handle as it was.
 *  3. Hash tables are the exception: they live on the system heap and keep
 *     the caller's key pointers without copying them.
 *  4. The string-buffer copies follow ODBC's output-buffer contract: a null
 *     source is the empty string, the result is 1 when truncated and 0
 *     otherwise, and the full source length is always reported.
 *  5. A handle (and what lives in it) is used by one thread at a time;
 *     threads that each work on their own handles need no lock. Freed
 *     blocks are kept for reuse by the thread that frees them (node kinds:
 *     up to 10 a kind; ordinary blocks up to 1024 bytes: up to 64 KiB in
 *     all) and go back to the system heap when that thread exits.
 */
#ifndef KXSUPP_MEMORY_H
#define KXSUPP_MEMORY_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- memsys: memory pools ---- */

/* Called with the user pointer when a block dies; the result is ignored. */
typedef int (*MemDestructor)(void *pointer);

/* A new handle with no blocks, pushed at the front of parent's children
   (parent may be null). Null when the heap fails. */
KX_API MemHandle *kx_mem_alloc_handle(MemHandle *parent);
/* Releases the handle's children (newest first), its blocks (newest first,
   running their destructors) and the handle itself. */
KX_API void kx_mem_release_handle(MemHandle *handle);
/* An ordinary block of size bytes (contents not cleared), or null. */
KX_API void *kx_mem_alloc(MemHandle *handle, size_t size);
/* As kx_mem_alloc, with a destructor run when the block dies. */
KX_API void *kx_mem_alloc_ex(MemHandle *handle, size_t size,
                             MemDestructor destructor);
/* A block of a fixed-size record kind, recycled through the calling thread's
   per-kind cache of at most 10 blocks, the most recently freed reused first. A kind must
   always be asked for with the same size; negative kinds and kinds of 1000
   and above are never cached. Contents are not cleared. Null on failure. */
KX_API void *kx_mem_alloc_node(MemHandle *handle, size_t size, int32_t kind);
/* Drops one reference; the last one unlinks the block from its owner, runs
   its destructor and caches or frees it. The handle argument is unused. */
KX_API void kx_mem_free(MemHandle *handle, void *pointer);
/* Adds one reference to the block and returns it; the block stays in its
   first handle. The handle argument is unused. A block still referenced when
   its handle is released loses one reference there and must then be freed
   with kx_mem_free. */
KX_API void *kx_mem_clone(MemHandle *handle, void *pointer);
/* Hooks kept for drivers that call them: init returns its argument, term
   does nothing. */
KX_API void *kx_mem_trace_init(void *argument);
KX_API void kx_mem_trace_term(void);

/* ---- list: doubly linked lists of untyped pointers ---- */

/* Called for each element, last = 1 for the final one; result ignored. */
typedef int (*ListCallback)(void *data, void *context, int32_t last);

/* Appends data at the tail; with a null list, makes one in handle. Returns
   the list, which the caller must keep. */
KX_API List *ListAppend(void *data, List *list, MemHandle *handle);
/* Unlinks and frees the element (not its data); returns the element that
   followed it, or null. Null list or empty list: does nothing. */
KX_API ListElement *ListDelete(List *list, ListElement *element,
                               MemHandle *handle);
/* The number of elements, 0 for a null list. */
KX_API int32_t ListCount(const List *list);
/* The first or last element, null for an empty or null list. */
KX_API ListElement *ListFirst(const List *list);
KX_API ListElement *ListLast(const List *list);
/* The neighbour of an element, or null at either end. */
KX_API ListElement *ListNext(const ListElement *element);
KX_API ListElement *ListPrior(const ListElement *element);
/* Reads or replaces an element's data pointer. */
KX_API void *ListData(const ListElement *element);
KX_API void ListRewrite(ListElement *element, void *data);
/* Links b's elements after a's and returns a; b's header must not be used
   again. Either may be null. */
KX_API List *ListMerge(List *a, List *b);
/* Calls callback(data, context, last) for each element, first to last. */
KX_API void ListEnumerate(List *list, ListCallback callback, void *context);

/* ---- hashlib: string-keyed hash tables ---- */

/* Frees one item's data in kx_flush_hash_table. */
typedef void (*HashDataDestructor)(void *data);

/* A table of size buckets (53 when size is 0 or negative), or null when
   the heap fails. */
KX_API HashTable *kx_make_hash_table(int32_t size);
/* The item for key, made (use count 0, data 0) at the tail of its chain when
   absent, or the present one with its use count incremented. With a null
   table, a new 53-bucket table is made for the item and not returned. */
KX_API HashItem *kx_add_hash_item(const char *key, HashTable *table);
/* The item for key, its use count incremented, or null. */
KX_API HashItem *kx_find_hash_item(const char *key, HashTable *table);
/* Unlinks the item and returns it (the caller frees it with free()), or
   null when absent. */
KX_API HashItem *kx_remove_hash_item(const char *key, HashTable *table);
/* The bucket of key: h = h * 4 + byte over its bytes as signed chars (32-bit
   unsigned arithmetic), then (h & 0x7FFFFFFF) modulo the bucket count. */
KX_API int32_t kx_hash_string(const char *key, const HashTable *table);
/* First item of bucket index, or null when out of range. */
KX_API HashItem *kx_get_hash_bucket(int32_t index, const HashTable *table);
/* Frees every item (and, when free_contents is nonzero, its data and key);
   the item count keeps its value. */
KX_API void kx_flush_hash_table(HashTable *table, HashDataDestructor destructor,
                                int32_t free_contents);
/* Frees the bucket array and the table; flush the items first. */
KX_API void kx_dispose_hash_table(HashTable *table);

/* ---- strfunc: ODBC string buffers and small string utilities ---- */

/* Copies source (or as much as fits, terminated) into a buffer of
   buffer_length bytes; stores the full length through length_out when not
   null. A null destination asks for the length alone. */
KX_API int32_t copy_str_buffer(char *destination, uint32_t buffer_length,
                               int16_t *length_out, const char *source);
/* As copy_str_buffer with a 32-bit length. */
KX_API int32_t copy_str_bufferl(char *destination, uint32_t buffer_length,
                                int32_t *length_out, const char *source);
/* Copies into a buffer of buffer_length 16-bit characters, each byte widened
   with sign extension (0xE9 becomes 0xFFE9). */
KX_API int32_t copy_nstr_bufferl(uint16_t *destination, int32_t buffer_length,
                                 int32_t *length_out, const char *source);
/* Appends source; *length_in_out holds the current length on entry and the
   full resulting length on return. Never writes past the buffer. */
KX_API int32_t cat_str_buffer(char *destination, uint32_t buffer_length,
                              int16_t *length_in_out, const char *source);
/* A copy of source (null gives "") in handle, or null. */
KX_API char *string_duplicate(const char *source, MemHandle *handle);
/* 0 when equal ignoring case (both null: 0), 1 otherwise. */
KX_API int32_t string_compare(const char *a, const char *b);
/* A re-entrant strtok: the next token of string, or of *save when string is
   null, or null when only delimiters remain. */
KX_API char *safe_strtok(char *string, const char *delimiters, char **save);
/* The name of an ODBC dynamic function code, "" when unknown. */
KX_API const char *function_string(int32_t code);

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_MEMORY_H */
