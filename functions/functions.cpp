// functions: the scalar-function catalogue, its look-ups and the dispatcher.
//
// Exports the two catalogues `functions` (73 ODBC spellings, ids 0 to 68)
// and `scalar_functions` (8 SQL-92 spellings, negative ids), the look-ups
// sql92_get_function_id / _name / _info / _arg_range, execute_function and
// compare_function. Each FunctionEntry holds a name, an id shared by the
// spellings of one function, the maximum argument count, the routine, and
// the type-class words of the result and of arguments 1 to 11 (0 where
// unused; 0x800 marks an optional argument). Both tables are sorted under
// compare_function, checked at compile time, so a name is found by binary
// search. The routines themselves live in the family files beside this one.
#include <cctype>
#include <cstdint>
#include <cstdlib>

#include "functions/functions_internal.h"
#include "kxsupp/functions.h"

namespace {

using namespace kx::catalogue;

constexpr uint32_t C = KX_CLASS_CHAR;
constexpr uint32_t I = KX_CLASS_INTEGER;
constexpr uint32_t S = KX_CLASS_SPECIAL;
constexpr uint32_t D = KX_CLASS_DOUBLE;
constexpr uint32_t K = KX_CLASS_KEYWORD;
constexpr uint32_t A = KX_CLASS_ANY;
constexpr uint32_t OPT = KX_CLASS_OPTIONAL;
constexpr uint32_t DT = KX_CLASS_DATE | KX_CLASS_TIMESTAMP;  // 0x050
constexpr uint32_t TM = KX_CLASS_TIME | KX_CLASS_TIMESTAMP;  // 0x060

}  // namespace

extern "C" {

constexpr FunctionEntry functions[KX_FUNCTION_COUNT] = {
    {"ABS", 0, 1, func_abs, A | D, {D}},
    {"ACOS", 1, 1, func_acos, D, {D}},
    {"ASCII", 2, 1, func_ascii, I, {C}},
    {"ASIN", 3, 1, func_asin, D, {D}},
    {"ATAN", 4, 1, func_atan, D, {D}},
    {"ATAN2", 5, 2, func_atan2, D, {D, D}},
    {"BIT_LENGTH", 6, 1, func_bit_length, I, {C}},
    {"CEILING", 7, 1, func_ceiling, I, {D}},
    {"CHAR", 8, 1, func_char, S, {I}},
    {"CHARACTER_LENGTH", 9, 1, func_char_length, I, {C}},
    {"CHAR_LENGTH", 9, 1, func_char_length, I, {C}},
    {"CONCAT", 10, 2, func_concat, C, {C, C}},
    {"CONVERT", 11, 2, func_convert, A, {A, A}},
    {"COS", 12, 1, func_cos, D, {D}},
    {"COT", 13, 1, func_cot, D, {D}},
    {"CURDATE", 14, 0, func_curdate, KX_CLASS_DATE, {}},
    {"CURRENT_DATE", 14, 0, func_curdate, KX_CLASS_DATE, {}},
    {"CURRENT_TIME", 15, 1, func_curtime, KX_CLASS_TIME, {OPT | I}},
    {"CURRENT_TIMESTAMP", 16, 1, func_curtstamp, KX_CLASS_TIMESTAMP, {OPT | I}},
    {"CURTIME", 15, 0, func_curtime, KX_CLASS_TIME, {}},
    {"DATABASE", 17, 0, func_database, C, {}},
    {"DAYNAME", 18, 1, func_dayname, C, {DT}},
    {"DAYOFMONTH", 19, 1, func_dayofmonth, I, {DT}},
    {"DAYOFWEEK", 20, 1, func_dayofweek, I, {DT}},
    {"DAYOFYEAR", 21, 1, func_dayofyear, I, {DT}},
    {"DEGREES", 22, 1, func_degrees, D, {D}},
    {"DIFFERENCE", 23, 2, func_difference, I, {C, C}},
    {"EXP", 24, 1, func_exp, D, {D}},
    {"EXTRACT", 25, 2, func_extract, I, {K, 0x0F0}},
    {"FLOOR", 26, 1, func_floor, I, {D}},
    {"HOUR", 27, 1, func_hour, I, {TM}},
    {"IFNULL", 28, 2, func_ifnull, A, {A, A}},
    {"INSERT", 29, 4, func_insert, C, {C, I, I, C}},
    {"LCASE", 30, 1, func_lcase, C, {C}},
    {"LEFT", 31, 2, func_left, C, {C, I}},
    {"LENGTH", 32, 1, func_length, I, {C}},
    {"LOCATE", 33, 3, func_locate, I, {C, C, OPT | I}},
    {"LOG", 34, 1, func_log, D, {D}},
    {"LOG10", 35, 1, func_log10, D, {D}},
    {"LTRIM", 36, 1, func_ltrim, C, {C}},
    {"MINUTE", 37, 1, func_minute, I, {TM}},
    {"MOD", 38, 2, func_mod, I, {I, I}},
    {"MONTH", 39, 1, func_month, I, {DT}},
    {"MONTHNAME", 40, 1, func_monthname, C, {DT}},
    {"NOW", 41, 0, func_now, KX_CLASS_TIMESTAMP, {}},
    {"OCTET_LENGTH", 42, 1, func_char_length, I, {C}},
    {"PI", 43, 0, func_pi, D, {}},
    {"POSITION", 44, 2, func_position, I, {S, S}},
    {"POWER", 45, 2, func_power, D, {D, I}},
    {"QUARTER", 46, 1, func_quarter, I, {DT}},
    {"RADIANS", 47, 1, func_radians, D, {D}},
    {"RAND", 48, 1, func_rand, D, {OPT | I}},
    {"REPEAT", 49, 2, func_repeat, C, {C, I}},
    {"REPLACE", 50, 3, func_replace, C, {C, C, C}},
    {"RIGHT", 51, 2, func_right, C, {C, I}},
    {"ROUND", 52, 2, func_round, D, {D, I}},
    {"RTRIM", 53, 1, func_rtrim, C, {C}},
    {"SECOND", 54, 1, func_second, I, {TM}},
    {"SIGN", 55, 1, func_sign, I, {D}},
    {"SIN", 56, 1, func_sin, D, {D}},
    {"SOUNDEX", 57, 1, func_soundex, C, {C}},
    {"SPACE", 58, 1, func_space, C, {I}},
    {"SQRT", 59, 1, func_sqrt, D, {D}},
    {"SUBSTR", 60, 3, func_substring, C, {C, I, I}},
    {"SUBSTRING", 60, 3, func_substring, C, {C, I, I}},
    {"TAN", 61, 1, func_tan, D, {D}},
    {"TIMESTAMPADD", 62, 3, func_timestampadd, KX_CLASS_TIMESTAMP, {K, 0x00A, 0x070}},
    {"TIMESTAMPDIFF", 63, 3, func_timestampdiff, I, {K, 0x070, 0x070}},
    {"TRUNCATE", 64, 2, func_truncate, D, {D, I}},
    {"UCASE", 65, 1, func_ucase, C, {C}},
    {"USER", 66, 0, func_user, C, {}},
    {"WEEK", 67, 1, func_week, I, {DT}},
    {"YEAR", 68, 1, func_year, I, {DT}},
};

constexpr FunctionEntry scalar_functions[KX_SQL92_FUNCTION_COUNT] = {
    {"BIT_LENGTH", -6, 1, func_bit_length, I, {C}},
    {"CHARACTER_LENGTH", -1, 1, func_char_length, I, {C}},
    {"CHAR_LENGTH", -1, 1, func_char_length, I, {C}},
    {"LOWER", -7, 1, func_lcase, C, {C}},
    {"OCTET_LENGTH", -2, 1, func_char_length, I, {C}},
    {"POSITION", -3, 2, func_position, I, {S, S}},
    {"SUBSTRING", -4, 3, func_substring, C, {C, I, I}},
    {"UPPER", -8, 1, func_ucase, C, {C}},
};

}  // extern "C"

// Look-up by name is a binary search: a table out of order loses names.
static_assert(strictly_sorted(functions), "functions must stay in compare_function order");
static_assert(strictly_sorted(scalar_functions),
              "scalar_functions must stay in compare_function order");
static_assert(functions[0].id == 0 && functions[KX_FUNCTION_COUNT - 1].id == 68);
static_assert(counts_within_words(functions) && counts_within_words(scalar_functions));
static_assert(compare_names_ascii("CHARACTER_LENGTH", "CHAR_LENGTH") < 0);
static_assert(compare_names_ascii("LOG", "LOG10") < 0);

extern "C" {

KX_API int32_t compare_function(const void *a, const void *b)
{
    const char *x = static_cast<const FunctionEntry *>(a)->name;
    const char *y = static_cast<const FunctionEntry *>(b)->name;
    for (;; ++x, ++y) {
        if (*x == '\0')
            return *y == '\0' ? 0 : -1;
        if (*y == '\0')
            return 1;
        int cx = std::toupper(static_cast<unsigned char>(*x));
        int cy = std::toupper(static_cast<unsigned char>(*y));
        if (cx != cy)
            return cx < cy ? -1 : 1;
    }
}

KX_API int32_t sql92_get_function_id(const char *name, int32_t sql92)
{
    if (name == nullptr)
        return KX_FUNCTION_NOT_FOUND;
    FunctionEntry key{};
    key.name = name;
    const FunctionEntry *table = sql92 ? scalar_functions : functions;
    size_t count = sql92 ? KX_SQL92_FUNCTION_COUNT : KX_FUNCTION_COUNT;
    const void *found = std::bsearch(&key, table, count, sizeof(FunctionEntry),
                                     [](const void *a, const void *b) -> int {
                                         return compare_function(a, b);
                                     });
    return found ? static_cast<const FunctionEntry *>(found)->id : KX_FUNCTION_NOT_FOUND;
}

KX_API const FunctionEntry *sql92_get_function_info(int32_t id)
{
    const FunctionEntry *entry = find_first_by_id(functions, KX_FUNCTION_COUNT, id);
    return entry ? entry : find_first_by_id(scalar_functions, KX_SQL92_FUNCTION_COUNT, id);
}

KX_API const char *sql92_get_function_name(int32_t id)
{
    const FunctionEntry *entry = sql92_get_function_info(id);
    return entry ? entry->name : nullptr;
}

KX_API void sql92_get_function_arg_range(int32_t id, int32_t *min, int32_t *max)
{
    // An id the main catalogue lacks reports the entry that follows that
    // catalogue, the first SQL-92 one; drivers have always seen 1 to 1 there.
    const FunctionEntry *entry = find_first_by_id(functions, KX_FUNCTION_COUNT, id);
    if (entry == nullptr)
        entry = &scalar_functions[0];
    if (max != nullptr)
        *max = entry->arg_count;
    if (min != nullptr)
        *min = required_arguments(*entry);
}

KX_API Value *execute_function(const FunctionEntry *descriptor, EvalContext *context,
                               int32_t argc, Value **argv, intptr_t pass1, intptr_t pass2)
{
    if (descriptor == nullptr || descriptor->impl == nullptr)
        return nullptr;
    // A first pass through the evaluator only reaches IFNULL, which
    // evaluates its own arguments.
    if (pass1 != 0 && descriptor->impl != func_ifnull)
        return nullptr;
    return descriptor->impl(context, argc, argv, pass1, pass2, descriptor);
}

}  // extern "C"

extern "C" {

// IFNULL gets its two argument expressions unevaluated and evaluates them
// through the driver's evaluator: the second only when the first is NULL.
KX_SCALAR_FUNCTION(func_ifnull)
{
    (void)descriptor;
    if (context == nullptr || context->evaluate == nullptr || argv == nullptr || argc < 1)
        return nullptr;
    Value *first = context->evaluate(argv[0], context, pass1, pass2);
    if (first == nullptr || first->null_flag == 0 || argc < 2)
        return first;
    // The first value stays with the memory handle; it is not released.
    return context->evaluate(argv[1], context, 0, 0);
}

// CONVERT is catalogued so that drivers can resolve and check it, but each
// driver converts itself: there is nothing to return here.
KX_SCALAR_FUNCTION(func_convert)
{
    (void)context, (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    return nullptr;
}

}  // extern "C"
