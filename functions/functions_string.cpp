// functions_string: the character-string scalar functions.
//
// ASCII, BIT_LENGTH, CHAR, CHAR_LENGTH (also CHARACTER_LENGTH and
// OCTET_LENGTH), CONCAT, DIFFERENCE, INSERT, LCASE (LOWER), LEFT, LENGTH,
// LOCATE, LTRIM, POSITION, REPEAT, REPLACE, RIGHT, RTRIM, SOUNDEX, SPACE,
// SUBSTRING (SUBSTR) and UCASE (UPPER), as func_* routines reached through
// the catalogue. Texts are NUL-terminated single-byte strings, positions are
// 1-based, case and letters follow the current locale. String results are
// VALUE_STRING values whose text follows the record in one allocation from
// the context's memory handle; integer results are VALUE_INTEGER.
//
// Several functions strip trailing spaces from their arguments first, and
// they do it in the argument's own buffer: the argument value is shortened.
// Drivers have always relied on that, so it stays.
//
// Every routine may leave through the error exit (a longjmp): no frame here
// holds an object with a destructor.
#include <array>
#include <cctype>
#include <cstring>

#include "functions/functions_internal.h"
#include "kxsupp/values.h"

namespace {

using namespace kx::fn;

// The soundex digit of each letter A to Z.
constexpr char kSound[] = "01230120022455012623010202";
static_assert(sizeof kSound == 27, "one digit per letter and the terminator");

// A string result holding the n octets at text.
Value *text_copy_result(EvalContext *context, const char *text, size_t n, const char *message)
{
    Value *result = new_text_result(context, static_cast<int64_t>(n), message);
    std::memcpy(result->payload.text, text, n);
    return result;
}

// The position (0-based) of needle in haystack at or after offset, or -1.
ptrdiff_t find_text(const char *haystack, size_t offset, const char *needle)
{
    const char *hit = std::strstr(haystack + offset, needle);
    return hit ? hit - haystack : -1;
}

// kSound by octet: the digit of each of 'A' to 'Z', '0' for every other
// octet, so that a letter outside A to Z (other locales) carries no digit.
constexpr std::array<char, 256> make_sound_of_octet()
{
    std::array<char, 256> t{};
    for (char &d : t)
        d = '0';
    for (int i = 0; i < 26; ++i)
        t['A' + i] = kSound[i];
    return t;
}

constexpr std::array<char, 256> kSoundOfOctet = make_sound_of_octet();

// The four-character soundex code of text into code (5 octets); false when
// the text does not begin with a letter, which makes the code invalid.
bool soundex_code(const char *text, char code[5])
{
    const CharTables chars;
    std::memcpy(code, "0000", 5);
    int first = chars.to_upper(static_cast<unsigned char>(text[0]));
    code[0] = static_cast<char>(first);
    if (text[0] == '\0' || !chars.is_alpha(static_cast<unsigned char>(text[0])))
        return false;
    int written = 1;
    char last = code[0];  // the second digit is compared with the letter itself
    for (const char *p = text + 1; *p != '\0' && written < 4; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        // A letter's digit: '0' for anything that is no letter or upper-cases
        // outside A to Z. A '0' (vowels, H, W, Y) neither writes nor
        // separates two equal digits. Without a branch on the letters: the
        // place to write holds '0' until it is written.
        uint32_t upper = static_cast<uint32_t>(chars.to_upper(c));
        uint32_t letter = static_cast<uint32_t>(chars.is_alpha(c)) &
                          static_cast<uint32_t>(upper < 256);
        uint32_t digit = static_cast<uint8_t>(kSoundOfOctet[upper & 0xFF]);
        uint32_t write = letter & static_cast<uint32_t>(digit != '0') &
                         static_cast<uint32_t>(digit != static_cast<uint8_t>(last));
        uint32_t mask = 0u - write;  // all ones when written
        code[written] = static_cast<char>((digit & mask) | ('0' & ~mask));
        written += static_cast<int>(write);
        last = static_cast<char>((digit & mask) | (static_cast<uint8_t>(last) & ~mask));
    }
    return true;
}

// A copy of text with every octet mapped through toupper or tolower.
template <bool kUpper>
Value *mapped_copy(EvalContext *context, Value **argv, int32_t argc)
{
    Value *s = arg(argc, argv, 0);
    if (is_null(s))
        return null_text_result(context, kMemoryError);
    TextArg text = read_text(context, s, kMemoryError);
    Value *result = new_text_result(context, static_cast<int64_t>(text.length), kMemoryError);
    char *out = result->payload.text;
    const CharTables chars;
    for (size_t i = 0; i < text.length; ++i) {
        unsigned char c = static_cast<unsigned char>(text.text[i]);
        out[i] = static_cast<char>(kUpper ? chars.to_upper(c) : chars.to_lower(c));
    }
    release_text(context, text);
    return result;
}

// The part of a text that LEFT, RIGHT, LTRIM and RTRIM return.
struct Slice {
    size_t from;
    size_t length;
};

// A string function whose result is a slice of its text argument, chosen
// from the text and, where the function takes one, a count.
template <Slice (*Choose)(TextArg &, const Value *)>
Value *slice_function(EvalContext *context, int32_t argc, Value **argv, bool takes_count)
{
    Value *s = arg(argc, argv, 0);
    Value *n = takes_count ? arg(argc, argv, 1) : nullptr;
    if (is_null(s) || (takes_count && is_null(n)))
        return null_text_result(context, kMemoryError);
    TextArg text = read_text(context, s, kMemoryError);
    Slice slice = Choose(text, n);
    Value *result = text_copy_result(context, text.text + slice.from, slice.length, kMemoryError);
    release_text(context, text);
    return result;
}

// LEFT and RIGHT compare the count as unsigned: a negative count takes the
// whole text.
size_t count_within(const TextArg &text, const Value *n)
{
    uint32_t count = static_cast<uint32_t>(int_arg(n));
    return count < text.length ? count : text.length;
}

Slice left_slice(TextArg &text, const Value *n)
{
    return Slice{0, count_within(text, n)};
}

Slice right_slice(TextArg &text, const Value *n)
{
    trim_trailing(text);
    size_t take = count_within(text, n);
    return Slice{text.length - take, take};
}

// Only the space character counts here, not tabs or other blanks.
Slice ltrim_slice(TextArg &text, const Value *)
{
    size_t skip = 0;
    while (skip < text.length && text.text[skip] == ' ')
        ++skip;
    return Slice{skip, text.length - skip};
}

Slice rtrim_slice(TextArg &text, const Value *)
{
    size_t n = text.length;
    while (n > 0 && text.text[n - 1] == ' ')
        --n;
    return Slice{0, n};
}

}  // namespace

extern "C" {

KX_SCALAR_FUNCTION(func_ascii)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    if (is_null(s))
        return null_result(context, VALUE_INTEGER);
    char first;
    if (is_long(s)) {
        first = long_first_octet(context, s);
    } else {
        TextArg text = read_text(context, s, kMemoryError);
        first = text.text[0];
    }
    // read as a signed character: octets above 127 give negative codes
    return integer_result(context, static_cast<signed char>(first));
}

KX_SCALAR_FUNCTION(func_bit_length)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    if (is_null(s))
        return null_result(context, VALUE_INTEGER);
    if (is_long(s))
        return integer_result(context, static_cast<int32_t>(
                                           8u * static_cast<uint32_t>(long_length(context, s))));
    TextArg text = read_text(context, s, kMemoryError);
    return integer_result(context, static_cast<int32_t>(8u * text.length));
}

KX_SCALAR_FUNCTION(func_char)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *n = arg(argc, argv, 0);
    if (is_null(n))
        return null_text_result(context, kMemoryErrorFred);
    Value *result = new_text_result(context, 1, kMemoryErrorFred);
    // the length is 1 even when the octet is 0
    result->payload.text[0] = static_cast<char>(int_arg(n) & 0xFF);
    return result;
}

KX_SCALAR_FUNCTION(func_char_length)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    if (is_null(s))
        return null_result(context, VALUE_INTEGER);
    if (is_long(s))
        return integer_result(context, long_length(context, s));
    TextArg text = read_text(context, s, kMemoryError);
    return integer_result(context, static_cast<int32_t>(text.length));
}

KX_SCALAR_FUNCTION(func_length)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    if (is_null(s))
        return null_result(context, VALUE_INTEGER);
    TextArg text = read_text(context, s, kMemoryError);
    trim_trailing(text);
    size_t n = text.length;
    release_text(context, text);
    return integer_result(context, static_cast<int32_t>(n));
}

KX_SCALAR_FUNCTION(func_concat)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *a = arg(argc, argv, 0);
    Value *b = arg(argc, argv, 1);
    if (is_null(a) || is_null(b))
        return null_text_result(context, kMemoryErrorFred);
    TextArg left = read_text(context, a, kMemoryErrorFred);
    TextArg right = read_text(context, b, kMemoryErrorFred);
    trim_trailing(left);
    trim_trailing(right);
    Value *result = new_text_result(
        context, static_cast<int64_t>(left.length) + static_cast<int64_t>(right.length),
        kMemoryErrorFred);
    std::memcpy(result->payload.text, left.text, left.length);
    std::memcpy(result->payload.text + left.length, right.text, right.length);
    release_text(context, right);
    release_text(context, left);
    return result;
}

KX_SCALAR_FUNCTION(func_lcase)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return mapped_copy<false>(context, argv, argc);
}

KX_SCALAR_FUNCTION(func_ucase)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return mapped_copy<true>(context, argv, argc);
}

KX_SCALAR_FUNCTION(func_left)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return slice_function<left_slice>(context, argc, argv, true);
}

KX_SCALAR_FUNCTION(func_right)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return slice_function<right_slice>(context, argc, argv, true);
}

KX_SCALAR_FUNCTION(func_ltrim)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return slice_function<ltrim_slice>(context, argc, argv, false);
}

KX_SCALAR_FUNCTION(func_rtrim)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return slice_function<rtrim_slice>(context, argc, argv, false);
}

KX_SCALAR_FUNCTION(func_locate)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *t = arg(argc, argv, 0);
    Value *s = arg(argc, argv, 1);
    if (is_null(t) || is_null(s))
        return null_result(context, VALUE_INTEGER);
    // an absent or NULL start, or one below 1, searches from the beginning
    Value *start = arg(argc, argv, 2);
    int32_t from = is_null(start) ? 1 : int_arg(start);
    size_t offset = from < 1 ? 0 : static_cast<size_t>(from) - 1;
    TextArg needle = read_text(context, t, kMemoryError);
    TextArg haystack = read_text(context, s, kMemoryError);
    int32_t position = 0;
    if (offset <= haystack.length) {
        ptrdiff_t hit = find_text(haystack.text, offset, needle.text);
        position = hit < 0 ? 0 : static_cast<int32_t>(hit + 1);
    }
    release_text(context, haystack);
    release_text(context, needle);
    return integer_result(context, position);
}

KX_SCALAR_FUNCTION(func_position)
{
    (void)pass1, (void)pass2, (void)descriptor;
    // only the searched-for text is tested for NULL
    Value *t = arg(argc, argv, 0);
    if (is_null(t))
        return null_result(context, VALUE_INTEGER);
    TextArg needle = read_text(context, t, kMemoryError);
    TextArg haystack = read_text(context, arg(argc, argv, 1), kMemoryError);
    trim_trailing(needle);
    ptrdiff_t hit = find_text(haystack.text, 0, needle.text);
    release_text(context, haystack);
    release_text(context, needle);
    return integer_result(context, hit < 0 ? 0 : static_cast<int32_t>(hit + 1));
}

KX_SCALAR_FUNCTION(func_repeat)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    Value *n = arg(argc, argv, 1);
    if (is_null(s) || is_null(n))
        return null_text_result(context, kMemoryError);
    TextArg text = read_text(context, s, kMemoryError);
    trim_trailing(text);
    int32_t times = int_arg(n);
    if (times < 1)
        times = 1;  // one copy at least
    int64_t total = static_cast<int64_t>(text.length) * times;
    Value *result = new_text_result(context, total, kMemoryError);
    char *out = result->payload.text;
    for (int32_t i = 0; i < times; ++i, out += text.length)
        std::memcpy(out, text.text, text.length);
    release_text(context, text);
    return result;
}

KX_SCALAR_FUNCTION(func_replace)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    Value *from = arg(argc, argv, 1);
    Value *to = arg(argc, argv, 2);
    if (is_null(s) || is_null(from) || is_null(to))
        return null_text_result(context, kMemoryError);
    TextArg text = read_text(context, s, kMemoryError);
    TextArg pattern = read_text(context, from, kMemoryError);
    TextArg replacement = read_text(context, to, kMemoryError);
    trim_trailing(text);
    trim_trailing(pattern);
    trim_trailing(replacement);
    // An empty pattern matches nowhere: the text comes back unchanged. The
    // matches are counted first so that the result is sized exactly.
    int64_t matches = 0;
    if (pattern.length > 0)
        for (ptrdiff_t at = 0; (at = find_text(text.text, static_cast<size_t>(at), pattern.text)) >= 0;
             at += static_cast<ptrdiff_t>(pattern.length))
            ++matches;
    int64_t total = static_cast<int64_t>(text.length) +
                    matches * (static_cast<int64_t>(replacement.length) -
                               static_cast<int64_t>(pattern.length));
    Value *result = new_text_result(context, total, kMemoryError);
    char *out = result->payload.text;
    size_t done = 0;
    for (int64_t i = 0; i < matches; ++i) {
        size_t at = static_cast<size_t>(find_text(text.text, done, pattern.text));
        std::memcpy(out, text.text + done, at - done);
        out += at - done;
        std::memcpy(out, replacement.text, replacement.length);
        out += replacement.length;
        done = at + pattern.length;
    }
    std::memcpy(out, text.text + done, text.length - done);
    release_text(context, replacement);
    release_text(context, pattern);
    release_text(context, text);
    return result;
}

KX_SCALAR_FUNCTION(func_space)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *n = arg(argc, argv, 0);
    if (is_null(n))
        return null_text_result(context, kMemoryError);
    int32_t count = int_arg(n);
    if (count < 0)
        count = 0;
    Value *result = new_text_result(context, count, kMemoryError);
    std::memset(result->payload.text, ' ', static_cast<size_t>(count));
    return result;
}

KX_SCALAR_FUNCTION(func_substring)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    Value *start_value = arg(argc, argv, 1);
    Value *length_value = argc >= 3 ? arg(argc, argv, 2) : nullptr;
    if (is_null(s) || is_null(start_value) || (argc >= 3 && is_null(length_value)))
        return null_text_result(context, kMemoryError);
    int32_t start = int_arg(start_value);
    int32_t length = argc >= 3 ? int_arg(length_value) : 0;  // 0: to the end
    TextArg text = read_text(context, s, kMemoryError);
    trim_trailing(text);
    // A start at or past the stripped length (so SUBSTRING('abc', 3) too),
    // a negative one and 0, which would address the octet before the text,
    // all give the empty string; so does a negative length.
    size_t from = 0;
    size_t take = 0;
    if (start > 0 && static_cast<uint32_t>(start) < text.length && length >= 0) {
        from = static_cast<size_t>(start) - 1;
        size_t rest = text.length - from;
        take = (length == 0 || static_cast<size_t>(length) > rest) ? rest
                                                                   : static_cast<size_t>(length);
    }
    Value *result = text_copy_result(context, text.text + from, take, kMemoryError);
    release_text(context, text);
    return result;
}

KX_SCALAR_FUNCTION(func_insert)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    Value *start_value = arg(argc, argv, 1);
    Value *length_value = arg(argc, argv, 2);
    Value *t = arg(argc, argv, 3);
    if (is_null(s) || is_null(start_value) || is_null(length_value) || is_null(t))
        return null_text_result(context, kMemoryError);
    int32_t start = int_arg(start_value);
    int32_t length = int_arg(length_value);
    TextArg text = read_text(context, s, kMemoryError);
    TextArg insert = read_text(context, t, kMemoryError);
    trim_trailing(text);
    trim_trailing(insert);
    // The head is the first start octets (compared unsigned; 0 and 1 take
    // none), and the tail begins at 0-based offset start + length: so
    // INSERT('abcdef', 3, 2, 'XY') is 'abcXYf'. A tail offset before the
    // text reads from its beginning rather than before it.
    int64_t head_end = start;
    if (static_cast<uint32_t>(start) > 1) {
        if (static_cast<uint32_t>(start) >= text.length)
            head_end = static_cast<int64_t>(text.length);
    }
    size_t head = static_cast<uint32_t>(start) > 1 ? static_cast<size_t>(head_end) : 0;
    int64_t tail_from = head_end + length;
    if (tail_from < 0)
        tail_from = 0;
    size_t tail = tail_from < static_cast<int64_t>(text.length)
                      ? text.length - static_cast<size_t>(tail_from)
                      : 0;
    Value *result = new_text_result(
        context, static_cast<int64_t>(head + insert.length + tail), kMemoryError);
    char *out = result->payload.text;
    std::memcpy(out, text.text, head);
    std::memcpy(out + head, insert.text, insert.length);
    std::memcpy(out + head + insert.length, text.text + (text.length - tail), tail);
    release_text(context, insert);
    release_text(context, text);
    return result;
}

KX_SCALAR_FUNCTION(func_soundex)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *s = arg(argc, argv, 0);
    if (is_null(s))
        return null_text_result(context, kMemoryError);
    // the code reads up to the terminator: a VALUE_STRING needs no length
    TextArg text = s->type == VALUE_STRING && s->payload.text != nullptr
                       ? TextArg{s->payload.text, 0, false, s}
                       : read_text(context, s, kMemoryError);
    Value *result = new_text_result(context, 4, kMemoryError);
    if (!soundex_code(text.text, result->payload.text))
        result->null_flag = -1;  // no initial letter, no code
    release_text(context, text);
    return result;
}

KX_SCALAR_FUNCTION(func_difference)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *a = arg(argc, argv, 0);
    Value *b = arg(argc, argv, 1);
    if (is_null(a) || is_null(b))
        return null_result(context, VALUE_INTEGER);
    TextArg left = read_text(context, a, kMemoryError);
    TextArg right = read_text(context, b, kMemoryError);
    char code_a[5];
    char code_b[5];
    bool valid_a = soundex_code(left.text, code_a);
    bool valid_b = soundex_code(right.text, code_b);
    release_text(context, right);
    release_text(context, left);
    // a distance between the codes, not a similarity score
    int32_t distance = 27000;
    if (valid_a && valid_b) {
        int32_t letters = static_cast<unsigned char>(code_a[0]) -
                          static_cast<unsigned char>(code_b[0]);
        int32_t digits = ((code_a[1] - '0') * 100 + (code_a[2] - '0') * 10 + (code_a[3] - '0')) -
                         ((code_b[1] - '0') * 100 + (code_b[2] - '0') * 10 + (code_b[3] - '0'));
        distance = 1000 * (letters < 0 ? -letters : letters) + (digits < 0 ? -digits : digits);
    }
    return integer_result(context, distance);
}

}  // extern "C"
