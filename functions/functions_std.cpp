// functions_std.cpp - the standard scalar-function catalogue and its
// look-ups.
//
// Exports kxstd_functions, kxstd_scalar_functions, kxstd_get_function_id,
// kxstd_get_function_name, kxstd_get_function_info and
// kxstd_get_function_arg_range. The two tables have the names, ids,
// argument counts and class words of the family's `functions` and
// `scalar_functions`, in the same order, so that a driver moves to the
// standard behaviour by looking names up here and changes nothing else; an
// entry points at a kxstd_func_ routine where the standard result differs
// from the family's, and at the family's routine where the two agree. The
// entries run with execute_function like the family's.
#include <cstdlib>

#include "functions/functions_internal.h"
#include "functions/functions_std.h"
#include "kxsupp/standard.h"

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

constexpr FunctionEntry kxstd_functions[KX_FUNCTION_COUNT] = {
    {"ABS", 0, 1, kxstd_func_abs, A | D, {D}},
    {"ACOS", 1, 1, kxstd_func_acos, D, {D}},
    {"ASCII", 2, 1, kxstd_func_ascii, I, {C}},
    {"ASIN", 3, 1, kxstd_func_asin, D, {D}},
    {"ATAN", 4, 1, kxstd_func_atan, D, {D}},
    {"ATAN2", 5, 2, kxstd_func_atan2, D, {D, D}},
    {"BIT_LENGTH", 6, 1, kxstd_func_bit_length, I, {C}},
    {"CEILING", 7, 1, kxstd_func_ceiling, I, {D}},
    {"CHAR", 8, 1, kxstd_func_char, S, {I}},
    {"CHARACTER_LENGTH", 9, 1, kxstd_func_char_length, I, {C}},
    {"CHAR_LENGTH", 9, 1, kxstd_func_char_length, I, {C}},
    {"CONCAT", 10, 2, kxstd_func_concat, C, {C, C}},
    {"CONVERT", 11, 2, func_convert, A, {A, A}},
    {"COS", 12, 1, kxstd_func_cos, D, {D}},
    {"COT", 13, 1, kxstd_func_cot, D, {D}},
    {"CURDATE", 14, 0, kxstd_func_curdate, KX_CLASS_DATE, {}},
    {"CURRENT_DATE", 14, 0, kxstd_func_curdate, KX_CLASS_DATE, {}},
    {"CURRENT_TIME", 15, 1, kxstd_func_curtime, KX_CLASS_TIME, {OPT | I}},
    {"CURRENT_TIMESTAMP", 16, 1, kxstd_func_curtstamp, KX_CLASS_TIMESTAMP, {OPT | I}},
    {"CURTIME", 15, 0, kxstd_func_curtime, KX_CLASS_TIME, {}},
    {"DATABASE", 17, 0, kxstd_func_database, C, {}},
    {"DAYNAME", 18, 1, kxstd_func_dayname, C, {DT}},
    {"DAYOFMONTH", 19, 1, kxstd_func_dayofmonth, I, {DT}},
    {"DAYOFWEEK", 20, 1, kxstd_func_dayofweek, I, {DT}},
    {"DAYOFYEAR", 21, 1, kxstd_func_dayofyear, I, {DT}},
    {"DEGREES", 22, 1, kxstd_func_degrees, D, {D}},
    {"DIFFERENCE", 23, 2, kxstd_func_difference, I, {C, C}},
    {"EXP", 24, 1, kxstd_func_exp, D, {D}},
    {"EXTRACT", 25, 2, kxstd_func_extract, I, {K, 0x0F0}},
    {"FLOOR", 26, 1, kxstd_func_floor, I, {D}},
    {"HOUR", 27, 1, kxstd_func_hour, I, {TM}},
    {"IFNULL", 28, 2, func_ifnull, A, {A, A}},
    {"INSERT", 29, 4, kxstd_func_insert, C, {C, I, I, C}},
    {"LCASE", 30, 1, kxstd_func_lcase, C, {C}},
    {"LEFT", 31, 2, kxstd_func_left, C, {C, I}},
    {"LENGTH", 32, 1, kxstd_func_length, I, {C}},
    {"LOCATE", 33, 3, kxstd_func_locate, I, {C, C, OPT | I}},
    {"LOG", 34, 1, kxstd_func_log, D, {D}},
    {"LOG10", 35, 1, kxstd_func_log10, D, {D}},
    {"LTRIM", 36, 1, func_ltrim, C, {C}},
    {"MINUTE", 37, 1, kxstd_func_minute, I, {TM}},
    {"MOD", 38, 2, kxstd_func_mod, I, {I, I}},
    {"MONTH", 39, 1, kxstd_func_month, I, {DT}},
    {"MONTHNAME", 40, 1, kxstd_func_monthname, C, {DT}},
    {"NOW", 41, 0, kxstd_func_now, KX_CLASS_TIMESTAMP, {}},
    {"OCTET_LENGTH", 42, 1, kxstd_func_octet_length, I, {C}},
    {"PI", 43, 0, kxstd_func_pi, D, {}},
    {"POSITION", 44, 2, kxstd_func_position, I, {S, S}},
    {"POWER", 45, 2, kxstd_func_power, D, {D, I}},
    {"QUARTER", 46, 1, kxstd_func_quarter, I, {DT}},
    {"RADIANS", 47, 1, kxstd_func_radians, D, {D}},
    {"RAND", 48, 1, kxstd_func_rand, D, {OPT | I}},
    {"REPEAT", 49, 2, kxstd_func_repeat, C, {C, I}},
    {"REPLACE", 50, 3, kxstd_func_replace, C, {C, C, C}},
    {"RIGHT", 51, 2, kxstd_func_right, C, {C, I}},
    {"ROUND", 52, 2, kxstd_func_round, D, {D, I}},
    {"RTRIM", 53, 1, func_rtrim, C, {C}},
    {"SECOND", 54, 1, kxstd_func_second, I, {TM}},
    {"SIGN", 55, 1, kxstd_func_sign, I, {D}},
    {"SIN", 56, 1, kxstd_func_sin, D, {D}},
    {"SOUNDEX", 57, 1, kxstd_func_soundex, C, {C}},
    {"SPACE", 58, 1, func_space, C, {I}},
    {"SQRT", 59, 1, kxstd_func_sqrt, D, {D}},
    {"SUBSTR", 60, 3, kxstd_func_substring, C, {C, I, I}},
    {"SUBSTRING", 60, 3, kxstd_func_substring, C, {C, I, I}},
    {"TAN", 61, 1, kxstd_func_tan, D, {D}},
    {"TIMESTAMPADD", 62, 3, kxstd_func_timestampadd, KX_CLASS_TIMESTAMP, {K, 0x00A, 0x070}},
    {"TIMESTAMPDIFF", 63, 3, kxstd_func_timestampdiff, I, {K, 0x070, 0x070}},
    {"TRUNCATE", 64, 2, kxstd_func_truncate, D, {D, I}},
    {"UCASE", 65, 1, kxstd_func_ucase, C, {C}},
    {"USER", 66, 0, func_user, C, {}},
    {"WEEK", 67, 1, kxstd_func_week, I, {DT}},
    {"YEAR", 68, 1, kxstd_func_year, I, {DT}},
};

constexpr FunctionEntry kxstd_scalar_functions[KX_SQL92_FUNCTION_COUNT] = {
    {"BIT_LENGTH", -6, 1, kxstd_func_bit_length, I, {C}},
    {"CHARACTER_LENGTH", -1, 1, kxstd_func_char_length, I, {C}},
    {"CHAR_LENGTH", -1, 1, kxstd_func_char_length, I, {C}},
    {"LOWER", -7, 1, kxstd_func_lcase, C, {C}},
    {"OCTET_LENGTH", -2, 1, kxstd_func_octet_length, I, {C}},
    {"POSITION", -3, 2, kxstd_func_position, I, {S, S}},
    {"SUBSTRING", -4, 3, kxstd_func_substring, C, {C, I, I}},
    {"UPPER", -8, 1, kxstd_func_ucase, C, {C}},
};

}  // extern "C"

// Look-up by name is a binary search, as in the family's catalogue; that
// the two catalogues match name for name is checked by the tests.
static_assert(strictly_sorted(kxstd_functions), "kxstd_functions must stay in compare_function order");
static_assert(strictly_sorted(kxstd_scalar_functions),
              "kxstd_scalar_functions must stay in compare_function order");
static_assert(counts_within_words(kxstd_functions) && counts_within_words(kxstd_scalar_functions));

extern "C" {

KX_API int32_t kxstd_get_function_id(const char *name, int32_t sql92)
{
    if (name == nullptr)
        return KX_FUNCTION_NOT_FOUND;
    FunctionEntry key{};
    key.name = name;
    const FunctionEntry *table = sql92 ? kxstd_scalar_functions : kxstd_functions;
    size_t count = sql92 ? KX_SQL92_FUNCTION_COUNT : KX_FUNCTION_COUNT;
    const void *found = std::bsearch(&key, table, count, sizeof(FunctionEntry),
                                     [](const void *a, const void *b) -> int {
                                         return compare_function(a, b);
                                     });
    return found ? static_cast<const FunctionEntry *>(found)->id : KX_FUNCTION_NOT_FOUND;
}

KX_API const FunctionEntry *kxstd_get_function_info(int32_t id)
{
    const FunctionEntry *entry = find_first_by_id(kxstd_functions, KX_FUNCTION_COUNT, id);
    return entry ? entry : find_first_by_id(kxstd_scalar_functions, KX_SQL92_FUNCTION_COUNT, id);
}

KX_API const char *kxstd_get_function_name(int32_t id)
{
    const FunctionEntry *entry = kxstd_get_function_info(id);
    return entry ? entry->name : nullptr;
}

KX_API void kxstd_get_function_arg_range(int32_t id, int32_t *min, int32_t *max)
{
    // every id reports its own entry's range; an unknown one 0 to 0
    const FunctionEntry *entry = kxstd_get_function_info(id);
    if (max != nullptr)
        *max = entry != nullptr ? entry->arg_count : 0;
    if (min != nullptr)
        *min = entry != nullptr ? required_arguments(*entry) : 0;
}

}  // extern "C"
