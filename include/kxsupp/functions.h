/*
 * kxsupp/functions.h - the ODBC scalar function catalogue and dispatch.
 *
 * Two constant catalogues of FunctionEntry records, each sorted by name
 * under compare_function (so a look-up by name is a binary search):
 * `functions`, the ODBC escape-clause spellings with ids 0 to 68, and
 * `scalar_functions`, the SQL-92 spellings (POSITION(x IN y), UPPER, ...)
 * with negative ids. Spellings of one function share its id.
 *
 * A driver resolves a name with sql92_get_function_id at parse time, checks
 * the call with sql92_get_function_arg_range and the class words of
 * sql92_get_function_info, and at execution arms context->exit with setjmp
 * and calls execute_function once per row. A function that fails posts one
 * diagnostic on the statement's error header (subclass origin "ODBC3.0"),
 * sets context->result to -1 and longjmps to context->exit with -1; results
 * and work buffers come from context->mem and go with it.
 */
#ifndef KXSUPP_FUNCTIONS_H
#define KXSUPP_FUNCTIONS_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Type-class bits of a catalogue entry's result and argument words. */
#define KX_CLASS_CHAR 0x001        /* character string */
#define KX_CLASS_INTEGER 0x002     /* exact integer */
#define KX_CLASS_SPECIAL 0x004     /* CHAR's result, POSITION's arguments */
#define KX_CLASS_DOUBLE 0x008      /* approximate numeric */
#define KX_CLASS_DATE 0x010
#define KX_CLASS_TIME 0x020
#define KX_CLASS_TIMESTAMP 0x040
#define KX_CLASS_INTERVAL 0x080
#define KX_CLASS_KEYWORD 0x100     /* an interval unit or field written as a word */
#define KX_CLASS_ANY 0x200         /* the result's type follows the arguments */
#define KX_CLASS_OPTIONAL 0x800    /* combined with a class bit */

#define KX_FUNCTION_COUNT 73
#define KX_SQL92_FUNCTION_COUNT 8
#define KX_FUNCTION_NOT_FOUND (-99)

/* The catalogues, in compare_function order. */
KX_API extern const FunctionEntry functions[KX_FUNCTION_COUNT];
KX_API extern const FunctionEntry scalar_functions[KX_SQL92_FUNCTION_COUNT];

/* The id of a function name (any letter case): from scalar_functions when
   sql92 is nonzero, else from functions; -99 when the name is not there. */
KX_API int32_t sql92_get_function_id(const char *name, int32_t sql92);

/* The name of the first entry with id, searching functions and then
   scalar_functions (id 9 gives "CHARACTER_LENGTH"); null when none. */
KX_API const char *sql92_get_function_name(int32_t id);

/* The first entry with id, in the same order; null when none. */
KX_API const FunctionEntry *sql92_get_function_info(int32_t id);

/* The argument-count range of the first entry of `functions` with id: *max
   is its argument count, *min the number of leading arguments not marked
   optional. An id not in `functions` (every negative id among them) reports
   the range of the entry just past that catalogue's end, the first SQL-92
   entry: 1 to 1. Either output may be null. */
KX_API void sql92_get_function_arg_range(int32_t id, int32_t *min, int32_t *max);

/* Runs descriptor->impl over already evaluated arguments and returns its new
   Value, or null. With pass1 nonzero only IFNULL is called (it evaluates its
   own arguments); anything else gives null at once. Argument counts and
   types are not checked here. */
KX_API Value *execute_function(const FunctionEntry *descriptor, EvalContext *context,
                               int32_t argc, Value **argv, intptr_t pass1,
                               intptr_t pass2);

/* Orders two FunctionEntry records by name: letters folded to upper case,
   byte order, a name that is a prefix of the other first. -1, 0 or 1. */
KX_API int32_t compare_function(const void *a, const void *b);

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_FUNCTIONS_H */
