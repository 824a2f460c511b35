// values (comparison): the one ordering of two Values that predicates,
// sorting and duplicate elimination rest on.
//
// Exports compare_values. The left value's type chooses the rule; the right
// value is read through the getters as the left's kind (integer, bigint,
// double, numeric or text), or, for the structured kinds, taken to have the
// left's type. NULL (a nonzero null flag) sorts first and equals NULL. The
// integer rules return a 32-bit wrapping difference, the text and binary
// rules the raw strcmp/memcmp result: callers read only the sign.
//
// Texts of different declared lengths compare as if both were blank-padded
// to the longer declared length, binaries of different data lengths as if
// zero-padded to the declared length of the one holding more data. The
// padding is virtual: nothing is copied or allocated, so any length works.
#include <cstdint>
#include <cstdio>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#endif

#define KX_UNLIKELY(x) __builtin_expect(!!(x), 0)

#include "kxsupp/arith.h"
#include "kxsupp/values.h"

namespace {

int32_t sign_of(double d)
{
    return d > 0 ? 1 : (d < 0 ? -1 : 0);
}

// The padded text comparison is on the evaluator's hottest path (sorting,
// grouping, every predicate on a CHAR column), so it walks both texts once,
// sixteen octets at a time (SSE2, which every x86-64 has; eight elsewhere),
// instead of strcmp followed by strlen and memcmp. A block load may read
// past a text's terminator, but never into another page: near a page's end
// the walk goes octet by octet. The sanitizers are told not to look at
// these loads, which cover octets the result never depends on.
#if defined(__clang__)
#define KX_BLOCK_READS __attribute__((no_sanitize("address", "thread")))
#else
#define KX_BLOCK_READS __attribute__((no_sanitize_address, no_sanitize_thread))
#endif

constexpr uintptr_t kPage = 4096;

#if defined(__SSE2__)
constexpr size_t kBlock = 16;

// Bit n set when octet n of the block at a differs from that at b or is
// the zero of a's end (stop_mask), or is not a blank (non_blank_mask).
KX_BLOCK_READS inline uint32_t stop_mask(const unsigned char *a, const unsigned char *b)
{
    __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a));
    __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b));
    __m128i same_nonzero = _mm_andnot_si128(_mm_cmpeq_epi8(va, _mm_setzero_si128()),
                                            _mm_cmpeq_epi8(va, vb));
    return static_cast<uint32_t>(_mm_movemask_epi8(same_nonzero)) ^ 0xFFFFu;
}

KX_BLOCK_READS inline uint32_t non_blank_mask(const unsigned char *p)
{
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(' ')))) ^
           0xFFFFu;
}
#else
constexpr size_t kBlock = 8;
constexpr uint64_t kLowSeven = 0x7F7F7F7F7F7F7F7Full;
constexpr uint64_t kEightBlanks = 0x2020202020202020ull;
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the word walk finds the first octet through the lowest bits");

// The high bit of each octet of w that is nonzero (exact, no carries).
inline uint64_t nonzero_octets(uint64_t w)
{
    return (((w & kLowSeven) + kLowSeven) | w) & ~kLowSeven;
}

KX_BLOCK_READS inline uint64_t load_word(const unsigned char *p)
{
    uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
}

// As the SSE2 forms, with the flag of octet n in bit 8n + 7.
KX_BLOCK_READS inline uint64_t stop_mask(const unsigned char *a, const unsigned char *b)
{
    uint64_t wa = load_word(a);
    return nonzero_octets(wa ^ load_word(b)) | (~nonzero_octets(wa) & ~kLowSeven);
}

KX_BLOCK_READS inline uint64_t non_blank_mask(const unsigned char *p)
{
    return nonzero_octets(load_word(p) ^ kEightBlanks);
}
#endif

// The octet index of the lowest flag of a nonzero mask.
inline size_t first_flag(uint64_t mask)
{
    return kBlock == 16 ? static_cast<size_t>(__builtin_ctzll(mask))
                        : static_cast<size_t>(__builtin_ctzll(mask)) / 8;
}

// Under valgrind the block loads past a terminator would be reported as
// reads outside the texts' allocations, so there the walks go octet by
// octet throughout (same results). Asked once; 0 not yet known, 1 blocks
// allowed, 2 not.
int block_reads_state;

inline bool block_reads_allowed()
{
    int state = __atomic_load_n(&block_reads_state, __ATOMIC_RELAXED);
    if (KX_UNLIKELY(state == 0)) {
#if __has_include(<valgrind/valgrind.h>)
        state = RUNNING_ON_VALGRIND ? 2 : 1;
#else
        state = 1;
#endif
        __atomic_store_n(&block_reads_state, state, __ATOMIC_RELAXED);
    }
    return state == 1;
}

// Octets from p to the end of its page.
inline size_t page_room(const unsigned char *p)
{
    return kPage - (reinterpret_cast<uintptr_t>(p) & (kPage - 1));
}

// The two walks below, octet by octet.
size_t first_difference_by_octet(const unsigned char *a, const unsigned char *b)
{
    size_t i = 0;
    while (a[i] == b[i] && a[i] != 0)
        ++i;
    return i;
}

size_t first_non_blank_by_octet(const unsigned char *text, size_t i)
{
    while (text[i] == ' ')
        ++i;
    return i;
}

// The first index from 0 at which a and b differ or a ends. Blocks are
// taken while both texts have a whole block left in their pages.
KX_BLOCK_READS size_t first_difference(const unsigned char *a, const unsigned char *b)
{
    size_t i = 0;
    for (;;) {
        size_t room_a = page_room(a + i);
        size_t room_b = page_room(b + i);
        size_t blocks = (room_a < room_b ? room_a : room_b) / kBlock;
        if (blocks == 0) {
            if (a[i] != b[i] || a[i] == 0)
                return i;
            ++i;
            continue;
        }
        do {
            if (auto stop = stop_mask(a + i, b + i))
                return i + first_flag(stop);
            i += kBlock;
        } while (--blocks != 0);
    }
}

// The first index from i at which text holds something other than a blank
// (its terminator at the latest).
KX_BLOCK_READS size_t first_non_blank(const unsigned char *text, size_t i)
{
    for (;;) {
        size_t blocks = page_room(text + i) / kBlock;
        if (blocks == 0) {
            if (text[i] != ' ')
                return i;
            ++i;
            continue;
        }
        do {
            if (auto stop = non_blank_mask(text + i))
                return i + first_flag(stop);
            i += kBlock;
        } while (--blocks != 0);
    }
}

// Compares the zero-terminated texts a and b, each padded with blanks to
// `padded` characters (a text longer than that is taken whole), with the
// sign strcmp would give the padded texts. Where both texts still have
// characters the first difference decides; the padding takes part only when
// one text is a prefix of the other: then the longer text's own characters
// meet blanks up to `padded`, and the padded text's end after that.
int32_t compare_blank_padded(const char *a, const char *b, size_t padded)
{
    const auto *ua = reinterpret_cast<const unsigned char *>(a);
    const auto *ub = reinterpret_cast<const unsigned char *>(b);
    bool blocks = block_reads_allowed();
    size_t k = blocks ? first_difference(ua, ub) : first_difference_by_octet(ua, ub);
    if (ua[k] == ub[k])
        return 0;  // both end here
    if (ua[k] != 0 && ub[k] != 0)
        return static_cast<int32_t>(ua[k]) - static_cast<int32_t>(ub[k]);
    bool a_longer = ua[k] != 0;
    const unsigned char *longer = a_longer ? ua : ub;
    size_t j = blocks ? first_non_blank(longer, k) : first_non_blank_by_octet(longer, k);
    int pad;
    int c;
    if (j > padded) {
        pad = 0;  // blanks go on past the padding
        c = longer[padded];
    } else if (longer[j] == 0) {
        return 0;  // only blanks after the shorter text's end
    } else {
        pad = j < padded ? ' ' : 0;
        c = longer[j];
    }
    return a_longer ? c - pad : pad - c;
}

// Compares two binaries zero-padded to `padded` octets; each holds `la` or
// `lb` octets of data (only the first `padded` of them take part).
int32_t compare_zero_padded(const unsigned char *a, size_t la, const unsigned char *b,
                            size_t lb, size_t padded)
{
    if (la > padded)
        la = padded;
    if (lb > padded)
        lb = padded;
    size_t common = la < lb ? la : lb;
    if (common > 0) {
        int r = std::memcmp(a, b, common);
        if (r != 0)
            return r;
    }
    const unsigned char *rest = la > lb ? a : b;
    size_t end = la > lb ? la : lb;
    for (size_t i = common; i < end; ++i)
        if (rest[i] != 0)
            return la > lb ? rest[i] : -static_cast<int32_t>(rest[i]);
    return 0;
}

// strcmp of text against the rendering B'...' of a binary value: "B'", each
// octet of its data length as "%0X" (no zero padding), "'". Generated on the
// fly, so a binary of any length needs no buffer.
int32_t compare_with_binary_text(const char *text, const Value *binary)
{
    static const char digits[] = "0123456789ABCDEF";
    const unsigned char *octets = binary->payload.bytes;
    int32_t count = octets != nullptr && binary->data_length > 0 ? binary->data_length : 0;
    const unsigned char *t = reinterpret_cast<const unsigned char *>(text);
    size_t pos = 0;
    auto step = [&](unsigned char c) -> int32_t {
        unsigned char mine = t[pos];
        if (mine != c)
            return static_cast<int32_t>(mine) - static_cast<int32_t>(c);
        ++pos;
        return 0;
    };
    int32_t r;
    if ((r = step('B')) != 0 || (r = step('\'')) != 0)
        return r;
    for (int32_t i = 0; i < count; ++i) {
        unsigned char o = octets[i];
        if (o >= 16 && (r = step(static_cast<unsigned char>(digits[o >> 4]))) != 0)
            return r;
        if ((r = step(static_cast<unsigned char>(digits[o & 15]))) != 0)
            return r;
    }
    if ((r = step('\'')) != 0)
        return r;
    return t[pos];
}

const char *text_of(const Value *v)
{
    return v->payload.text != nullptr ? v->payload.text : "";
}

// A text against the rendering of a value of another type. Out of line, so
// that its buffer gives the text-against-text path no large frame.
[[gnu::noinline]] int32_t compare_text_with_rendering(const char *a, const Value *right)
{
    if (right->type == VALUE_BINARY)
        return compare_with_binary_text(a, right);
    // Every other rendering (numbers, datetimes, intervals) is short.
    char rendering[1024];
    rendering[0] = '\0';
    const char *b = value_as_text_n(right, rendering, sizeof rendering, nullptr);
    return std::strcmp(a, b);
}

// Two string values: as they are when their declared lengths agree, else
// blank-padded to the longer.
[[gnu::noinline]] int32_t compare_two_texts(const Value *left, const Value *right)
{
    const char *a = text_of(left);
    const char *b = text_of(right);
    if (left->length == right->length)
        return std::strcmp(a, b);
    int32_t n = left->length > right->length ? left->length : right->length;
    return compare_blank_padded(a, b, n > 0 ? static_cast<size_t>(n) : 0);
}

inline int32_t compare_text(const Value *left, const Value *right)
{
    const char *a = text_of(left);
    if (right->type != VALUE_STRING)
        return compare_text_with_rendering(a, right);
    const char *b = text_of(right);
    if (left->length == right->length)
        return std::strcmp(a, b);
    int32_t n = left->length > right->length ? left->length : right->length;
    return compare_blank_padded(a, b, n > 0 ? static_cast<size_t>(n) : 0);
}

int32_t compare_binary(const Value *left, const Value *right)
{
    const unsigned char *a = left->payload.bytes;
    const unsigned char *b = right->payload.bytes;
    int32_t la = a != nullptr && left->data_length > 0 ? left->data_length : 0;
    int32_t lb = b != nullptr && right->data_length > 0 ? right->data_length : 0;
    if (left->data_length == right->data_length)
        return la > 0 && lb > 0 ? std::memcmp(a, b, static_cast<size_t>(la)) : 0;
    int32_t n = left->data_length > right->data_length ? left->length : right->length;
    if (n <= 0)
        return 0;
    return compare_zero_padded(a, static_cast<size_t>(la), b, static_cast<size_t>(lb),
                               static_cast<size_t>(n));
}

// The rule of the left value's type, for two values that are not NULL.
[[gnu::noinline]] int32_t compare_by_left_type(const Value *left, const Value *right)
{
    switch (left->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        return static_cast<int32_t>(static_cast<uint32_t>(get_int_from_value(left)) -
                                    static_cast<uint32_t>(get_int_from_value(right)));
    case VALUE_BIGINT:
        return static_cast<int32_t>(static_cast<uint32_t>(get_bigint_from_value(left)) -
                                    static_cast<uint32_t>(get_bigint_from_value(right)));
    case VALUE_DOUBLE:
        return sign_of(get_double_from_value(left) - get_double_from_value(right));
    case VALUE_NUMERIC:
        if (right->type == VALUE_NUMERIC)
            return numeric_compare(&left->payload.numeric, &right->payload.numeric);
        return sign_of(get_double_from_value(left) - get_double_from_value(right));
    case VALUE_STRING:
        return compare_text(left, right);
    case VALUE_BINARY:
        return compare_binary(left, right);
    case VALUE_DATE:
        return date_compare(&left->payload.date, &right->payload.date);
    case VALUE_TIME:
        return time_compare(&left->payload.time, &right->payload.time);
    case VALUE_TIMESTAMP:
        return timestamp_compare(&left->payload.timestamp, &right->payload.timestamp);
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        return interval_compare(&left->payload.interval, &right->payload.interval);
    default:
        return 0;
    }
}

}  // namespace

extern "C" {

KX_API int32_t compare_values(const Value *left, const Value *right)
{
    // A missing value (null pointer) sorts as SQL NULL.
    bool left_null = left == nullptr || left->null_flag != 0;
    bool right_null = right == nullptr || right->null_flag != 0;
    if (left_null)
        return right_null ? 0 : -1;
    if (right_null)
        return 1;
    // Two texts, the commonest pair, go straight to their rule; the rest
    // lies out of line, so that this path saves no registers.
    if (left->type == VALUE_STRING && right->type == VALUE_STRING)
        return compare_two_texts(left, right);
    return compare_by_left_type(left, right);
}

}  // extern "C"
