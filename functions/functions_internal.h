// functions_internal.h - what the scalar-function sources share: the
// func_* routines that the catalogue points at (hidden; drivers reach them
// through the tables), and the helpers every family uses to make results,
// read arguments and leave through the driver's exit point.
//
// Not part of the public interface. Every helper that can take the error
// exit is called from frames that hold no object with a destructor, and
// holds none itself: the exit is a longjmp.
#ifndef KXSUPP_FUNCTIONS_FUNCTIONS_INTERNAL_H
#define KXSUPP_FUNCTIONS_FUNCTIONS_INTERNAL_H

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kxsupp/common.h"
#include "kxsupp/functions.h"
#include "kxsupp/values.h"

// What both catalogues (the family's and the standard one) are checked and
// searched with.
namespace kx::catalogue {

// The catalogue order, usable at compile time: ASCII letters fold to upper
// case, which is what toupper does to every name in the tables.
constexpr int fold_ascii(char c)
{
    unsigned char u = static_cast<unsigned char>(c);
    return (u >= 'a' && u <= 'z') ? u - 'a' + 'A' : u;
}

constexpr int compare_names_ascii(const char *a, const char *b)
{
    for (;; ++a, ++b) {
        if (*a == '\0')
            return *b == '\0' ? 0 : -1;
        if (*b == '\0')
            return 1;
        int ca = fold_ascii(*a);
        int cb = fold_ascii(*b);
        if (ca != cb)
            return ca < cb ? -1 : 1;
    }
}

template <size_t N>
constexpr bool strictly_sorted(const FunctionEntry (&table)[N])
{
    for (size_t i = 1; i < N; ++i)
        if (compare_names_ascii(table[i - 1].name, table[i].name) >= 0)
            return false;
    return true;
}

// Every entry's argument count is one of its argument words.
template <size_t N>
constexpr bool counts_within_words(const FunctionEntry (&table)[N])
{
    constexpr int32_t words = sizeof table[0].arg_class / sizeof table[0].arg_class[0];
    for (size_t i = 0; i < N; ++i)
        if (table[i].arg_count < 0 || table[i].arg_count > words)
            return false;
    return true;
}

// The minimum argument count: the leading argument words without 0x800.
// Only catalogue entries come here, whose counts stay within their words.
inline int32_t required_arguments(const FunctionEntry &entry)
{
    int32_t n = 0;
    while (n < entry.arg_count && (entry.arg_class[n] & KX_CLASS_OPTIONAL) == 0)
        ++n;
    return n;
}

inline const FunctionEntry *find_first_by_id(const FunctionEntry *table, size_t count,
                                             int32_t id)
{
    for (size_t i = 0; i < count; ++i)
        if (table[i].id == id)
            return &table[i];
    return nullptr;
}

}  // namespace kx::catalogue

// The routines, one per function; the signature is ScalarFunction's.
#define KX_SCALAR_FUNCTION(name)                                               \
    Value *name(EvalContext *context, int32_t argc, Value **argv, intptr_t pass1, \
                intptr_t pass2, const FunctionEntry *descriptor)

extern "C" {

// string functions
KX_SCALAR_FUNCTION(func_ascii);
KX_SCALAR_FUNCTION(func_bit_length);
KX_SCALAR_FUNCTION(func_char);
KX_SCALAR_FUNCTION(func_char_length);
KX_SCALAR_FUNCTION(func_concat);
KX_SCALAR_FUNCTION(func_difference);
KX_SCALAR_FUNCTION(func_insert);
KX_SCALAR_FUNCTION(func_lcase);
KX_SCALAR_FUNCTION(func_left);
KX_SCALAR_FUNCTION(func_length);
KX_SCALAR_FUNCTION(func_locate);
KX_SCALAR_FUNCTION(func_ltrim);
KX_SCALAR_FUNCTION(func_position);
KX_SCALAR_FUNCTION(func_repeat);
KX_SCALAR_FUNCTION(func_replace);
KX_SCALAR_FUNCTION(func_right);
KX_SCALAR_FUNCTION(func_rtrim);
KX_SCALAR_FUNCTION(func_soundex);
KX_SCALAR_FUNCTION(func_space);
KX_SCALAR_FUNCTION(func_substring);
KX_SCALAR_FUNCTION(func_ucase);

// numeric functions
KX_SCALAR_FUNCTION(func_abs);
KX_SCALAR_FUNCTION(func_acos);
KX_SCALAR_FUNCTION(func_asin);
KX_SCALAR_FUNCTION(func_atan);
KX_SCALAR_FUNCTION(func_atan2);
KX_SCALAR_FUNCTION(func_ceiling);
KX_SCALAR_FUNCTION(func_cos);
KX_SCALAR_FUNCTION(func_cot);
KX_SCALAR_FUNCTION(func_degrees);
KX_SCALAR_FUNCTION(func_exp);
KX_SCALAR_FUNCTION(func_floor);
KX_SCALAR_FUNCTION(func_log);
KX_SCALAR_FUNCTION(func_log10);
KX_SCALAR_FUNCTION(func_mod);
KX_SCALAR_FUNCTION(func_pi);
KX_SCALAR_FUNCTION(func_power);
KX_SCALAR_FUNCTION(func_radians);
KX_SCALAR_FUNCTION(func_rand);
KX_SCALAR_FUNCTION(func_round);
KX_SCALAR_FUNCTION(func_sign);
KX_SCALAR_FUNCTION(func_sin);
KX_SCALAR_FUNCTION(func_sqrt);
KX_SCALAR_FUNCTION(func_tan);
KX_SCALAR_FUNCTION(func_truncate);

// date, time and system functions, and the two told with dispatch
KX_SCALAR_FUNCTION(func_curdate);
KX_SCALAR_FUNCTION(func_curtime);
KX_SCALAR_FUNCTION(func_curtstamp);
KX_SCALAR_FUNCTION(func_now);
KX_SCALAR_FUNCTION(func_database);
KX_SCALAR_FUNCTION(func_user);
KX_SCALAR_FUNCTION(func_dayname);
KX_SCALAR_FUNCTION(func_monthname);
KX_SCALAR_FUNCTION(func_dayofmonth);
KX_SCALAR_FUNCTION(func_dayofweek);
KX_SCALAR_FUNCTION(func_dayofyear);
KX_SCALAR_FUNCTION(func_hour);
KX_SCALAR_FUNCTION(func_minute);
KX_SCALAR_FUNCTION(func_second);
KX_SCALAR_FUNCTION(func_month);
KX_SCALAR_FUNCTION(func_quarter);
KX_SCALAR_FUNCTION(func_week);
KX_SCALAR_FUNCTION(func_year);
KX_SCALAR_FUNCTION(func_extract);
KX_SCALAR_FUNCTION(func_timestampadd);
KX_SCALAR_FUNCTION(func_timestampdiff);
KX_SCALAR_FUNCTION(func_ifnull);
KX_SCALAR_FUNCTION(func_convert);

}  // extern "C"

namespace kx::fn {

// Messages of the error exit.
inline constexpr const char kMemoryError[] = "Memory allocation error";
// CONCAT, CHAR and DATABASE have always posted this text; drivers match it.
inline constexpr const char kMemoryErrorFred[] = "Memory allocation error fred";
inline constexpr const char kLongReadError[] = "Extract from LONG VARCHAR error";
inline constexpr const char kDomainError[] = "DOMAIN error";

// Posts sqlstate and message on the statement's error header (subclass
// origin "ODBC3.0"), sets the context's result code to -1 and longjmps to
// its exit point with -1.
[[noreturn]] void fail(EvalContext *context, const char *sqlstate, const char *message);

// Argument i, or null when the call has fewer arguments.
inline Value *arg(int32_t argc, Value **argv, int32_t i)
{
    return (argv != nullptr && i < argc) ? argv[i] : nullptr;
}

// An argument that is SQL NULL; a missing argument counts as NULL.
inline bool is_null(const Value *v)
{
    return v == nullptr || v->null_flag != 0;
}

// A zeroed NODE_VALUE record of type from the context's memory handle, or
// null when it cannot be made.
Value *new_result(EvalContext *context, int32_t type);

// A VALUE_STRING result with room for length octets of text and the
// terminator, in one allocation (the text follows the record); null_flag 0
// and the length field set, the text left to the caller. Takes the error
// exit with message when the room cannot be had (a context without a memory
// handle has none).
Value *new_text_result(EvalContext *context, int64_t length, const char *message);

// A NULL VALUE_STRING result: empty text, length 0, null flag -1.
Value *null_text_result(EvalContext *context, const char *message);

// new_text_result's record without the exit: null when the room cannot be
// had. length is below INT32_MAX.
Value *try_text_result(EvalContext *context, int32_t length);

// Non-NULL integer and double results; null when the record cannot be made.
Value *integer_result(EvalContext *context, int32_t n);
Value *double_result(EvalContext *context, double d);

// A NULL result of a non-text type.
Value *null_result(EvalContext *context, int32_t type);

inline bool is_long(const Value *v)
{
    return v->type == VALUE_LONG_STRING || v->type == VALUE_LONG_BINARY;
}

// A string argument as NUL-terminated text. A VALUE_STRING is used in place;
// long data (types 29 and 30) is copied into a buffer from the context's
// memory handle through the connection's long-data operations. Any other
// type reads as the empty text.
struct TextArg {
    char *text;
    size_t length;   // octets before the terminator
    bool owned;      // text is a copy that release_text frees
    Value *value;    // the argument; its length follows trimming
};

TextArg read_long_text(EvalContext *context, Value *value, const char *alloc_message);

// The same reads without the error exit, for routines that report in their
// own way: what went wrong, if anything.
enum class LongRead { kOk, kReadError, kNoMemory };
LongRead try_read_long_text(EvalContext *context, Value *value, TextArg *out);
void free_text_copy(EvalContext *context, char *copy);
void trim_trailing_spaces(TextArg &text);

inline TextArg read_text(EvalContext *context, Value *value, const char *alloc_message)
{
    if (value != nullptr && value->type == VALUE_STRING && value->payload.text != nullptr)
        return TextArg{value->payload.text, std::strlen(value->payload.text), false, value};
    if (value != nullptr && is_long(value))
        return read_long_text(context, value, alloc_message);
    return TextArg{const_cast<char *>(""), 0, false, nullptr};
}

// Frees a long argument's copy; an argument's own buffer is never freed.
inline void release_text(EvalContext *context, TextArg &text)
{
    if (text.owned)
        free_text_copy(context, text.text);
    text.owned = false;
}

// Strips trailing spaces in the argument's own buffer, shortening the
// argument value too, as the trimming functions always have.
inline void trim_trailing(TextArg &text)
{
    if (text.length > 0 && text.text[text.length - 1] == ' ')
        trim_trailing_spaces(text);
}

// The full length of a long argument, read with the two-octet probe only.
int32_t long_length(EvalContext *context, Value *value);
// The first octet of a long argument, read with a 20-octet destination.
char long_first_octet(EvalContext *context, Value *value);

// The same two reads without the error exit: false when the long argument
// cannot be read. try_long_prefix reads the first octets (at most
// kLongPrefixSize, the rest of prefix zero) and the full length.
inline constexpr int32_t kLongPrefixSize = 20;
bool try_long_length(EvalContext *context, Value *value, int32_t *length);
bool try_long_prefix(EvalContext *context, Value *value, char (&prefix)[kLongPrefixSize + 1],
                     int32_t *length);

// An integer argument: the common case without a call, anything else
// through get_int_from_value.
inline int32_t int_arg(const Value *v)
{
    if (v->type == VALUE_INTEGER && v->null_flag == 0)
        return v->payload.integer;
    return get_int_from_value(v);
}

// The current locale's letter test and case mappings, fetched once for a
// whole text instead of once per octet. With glibc these are the tables
// isalpha, toupper and tolower read themselves, so the results are theirs.
struct CharTables {
#ifdef __GLIBC__
    const unsigned short *classes = *__ctype_b_loc();
    const int32_t *upper = *__ctype_toupper_loc();
    const int32_t *lower = *__ctype_tolower_loc();

    bool is_alpha(unsigned char c) const { return (classes[c] & _ISalpha) != 0; }
    int to_upper(unsigned char c) const { return upper[c]; }
    int to_lower(unsigned char c) const { return lower[c]; }
#else
    bool is_alpha(unsigned char c) const { return std::isalpha(c) != 0; }
    int to_upper(unsigned char c) const { return std::toupper(c); }
    int to_lower(unsigned char c) const { return std::tolower(c); }
#endif
};


}  // namespace kx::fn

#endif
