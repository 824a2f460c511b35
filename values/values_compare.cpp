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
#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif
#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#endif

#define KX_LIKELY(x) __builtin_expect(!!(x), 1)
#define KX_CONCAT_(a, b) a##b
#define KX_CONCAT(a, b) KX_CONCAT_(a, b)

#include "kxsupp/arith.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

namespace {

int32_t sign_of(double d)
{
    return d > 0 ? 1 : (d < 0 ? -1 : 0);
}

// The padded text comparison is on the evaluator's hottest path (sorting,
// grouping, every predicate on a CHAR column), so it walks both texts once,
// a block of octets at a time, instead of strcmp followed by strlen and
// memcmp: 64 octets with AVX-512 where the processor has it, 32 with AVX2,
// else 16 (SSE2, which every x86-64 has), else 8 in a 64-bit word. A block
// load may read past a text's terminator, but never into another page: near
// a page's end the walk goes octet by octet. The sanitizers are told not to
// look at these loads, which cover octets the result never depends on.
#if defined(__clang__)
#define KX_BLOCK_READS __attribute__((no_sanitize("address", "thread")))
#else
#define KX_BLOCK_READS __attribute__((no_sanitize_address, no_sanitize_thread))
#endif

constexpr uintptr_t kPage = 4096;

// Octets from p to the end of its page.
inline size_t page_room(const unsigned char *p)
{
    return kPage - (reinterpret_cast<uintptr_t>(p) & (kPage - 1));
}

// True when a and b both have at least n octets left in their pages. (The
// offset of a | b would need one test fewer, but it says no for about a
// quarter of all pairs that have room.)
inline bool both_have_room(const unsigned char *a, const unsigned char *b, size_t n)
{
    uintptr_t offset_a = reinterpret_cast<uintptr_t>(a) & (kPage - 1);
    uintptr_t offset_b = reinterpret_cast<uintptr_t>(b) & (kPage - 1);
    return (offset_a > offset_b ? offset_a : offset_b) <= kPage - n;
}

// The end of a padded comparison, once the walks have found where the
// texts part: the longer text (the other ended there) holds only blanks
// from the parting index up to j. Blanks past the padded length meet the
// padded text's end; a non-blank within it meets a padding blank.
inline int32_t compare_padding(const unsigned char *longer, size_t j, size_t padded,
                               bool a_longer)
{
    if (KX_LIKELY(j <= padded && longer[j] == 0))
        return 0;  // only blanks after the shorter text's end
    int pad;
    int c;
    if (j > padded) {
        pad = 0;  // blanks go on past the padding
        c = longer[padded];
    } else {
        pad = j < padded ? ' ' : 0;
        c = longer[j];
    }
    return a_longer ? c - pad : pad - c;
}

// Compares the zero-terminated texts a and b, each padded with blanks to
// `padded` characters (a text longer than that is taken whole), with the
// sign strcmp would give the padded texts. Where both texts still have
// characters the first difference decides; the padding takes part only when
// one text is a prefix of the other: then the longer text's own characters
// meet blanks up to `padded`, and the padded text's end after that. This
// form walks octet by octet; the block forms below give the same results.
int32_t compare_blank_padded_octets(const unsigned char *a, const unsigned char *b,
                                    size_t padded)
{
    size_t k = 0;
    while (a[k] == b[k] && a[k] != 0)
        ++k;
    if (a[k] == b[k] || (a[k] != 0 && b[k] != 0))
        return static_cast<int32_t>(a[k]) - static_cast<int32_t>(b[k]);
    const unsigned char *longer = a[k] != 0 ? a : b;
    size_t j = k;
    while (longer[j] == ' ')
        ++j;
    return compare_padding(longer, j, padded, longer == a);
}

// The same comparison over blocks, written once for every block width. A
// Blocks type gives kSize; stop(a, b), a mask with the flag of octet n set
// when octet n of a differs from that of b or is a's terminator;
// non_blank(p), flags of the octets that are not blanks; first(mask), the
// octet index of a nonzero mask's lowest flag; and from(mask, n), the mask
// without the flags of octets below n. Blocks are taken while both texts
// have a whole block left in their pages, octets near a page's end. Where
// the texts part inside a block, the longer text's blanks are first looked
// for in that same block. Each width's comparison is one function, so that
// its instructions (AVX2 or not) stay within it.
#define KX_BLANK_PADDED_COMPARE(Blocks, ATTRIBUTES)                                     \
    ATTRIBUTES inline size_t first_non_blank_##Blocks(const unsigned char *text,       \
                                                      size_t i)                        \
    {                                                                                  \
        for (;;) {                                                                     \
            size_t blocks = page_room(text + i) / Blocks::kSize;                       \
            if (blocks == 0) {                                                         \
                if (text[i] != ' ')                                                    \
                    return i;                                                          \
                ++i;                                                                   \
                continue;                                                              \
            }                                                                          \
            do {                                                                       \
                if (auto flags = Blocks::non_blank(text + i))                          \
                    return i + Blocks::first(flags);                                   \
                i += Blocks::kSize;                                                    \
            } while (--blocks != 0);                                                   \
        }                                                                              \
    }                                                                                  \
    /* The texts part at k inside the block at i, which both can read whole. */       \
    ATTRIBUTES inline int32_t parted_in_block_##Blocks(                                \
        const unsigned char *a, const unsigned char *b, size_t i, size_t k,            \
        size_t padded)                                                                 \
    {                                                                                  \
        int32_t ca = a[k];                                                             \
        int32_t cb = b[k];                                                             \
        if (ca == cb || (ca != 0 && cb != 0))                                          \
            return ca - cb;                                                            \
        const unsigned char *longer = ca != 0 ? a : b;                                 \
        auto flags = Blocks::from(Blocks::non_blank(longer + i), k - i);               \
        size_t j = KX_LIKELY(flags != 0)                                               \
                       ? i + Blocks::first(flags)                                      \
                       : first_non_blank_##Blocks(longer, i + Blocks::kSize);          \
        return compare_padding(longer, j, padded, longer == a);                        \
    }                                                                                  \
    /* The walk from index i, where the texts are still alike. */                      \
    ATTRIBUTES __attribute__((noinline)) int32_t compare_blank_padded_from_##Blocks(   \
        const unsigned char *a, const unsigned char *b, size_t i, size_t padded)       \
    {                                                                                  \
        for (;;) {                                                                     \
            size_t room_a = page_room(a + i);                                          \
            size_t room_b = page_room(b + i);                                          \
            size_t blocks = (room_a < room_b ? room_a : room_b) / Blocks::kSize;       \
            if (blocks == 0) {                                                         \
                if (a[i] != b[i] || a[i] == 0)                                         \
                    break;                                                             \
                ++i;                                                                   \
                continue;                                                              \
            }                                                                          \
            do {                                                                       \
                if (auto stop = Blocks::stop(a + i, b + i))                            \
                    return parted_in_block_##Blocks(a, b, i, i + Blocks::first(stop),  \
                                                    padded);                           \
                i += Blocks::kSize;                                                    \
            } while (--blocks != 0);                                                   \
        }                                                                              \
        /* Parted at octet i, near a page's end. */                                    \
        if (a[i] == b[i] || (a[i] != 0 && b[i] != 0))                                  \
            return static_cast<int32_t>(a[i]) - static_cast<int32_t>(b[i]);            \
        const unsigned char *longer = a[i] != 0 ? a : b;                               \
        return compare_padding(longer, first_non_blank_##Blocks(longer, i), padded,    \
                               longer == a);                                           \
    }                                                                                  \
    /* Most texts part within 64 octets: those blocks first, unrolled, with the        \
       rest out of line so that this path needs few registers. */                      \
    ATTRIBUTES int32_t compare_blank_padded_##Blocks(const unsigned char *a,           \
                                                     const unsigned char *b,           \
                                                     size_t padded)                    \
    {                                                                                  \
        constexpr size_t first_blocks = Blocks::kSize >= 64 ? 1 : 2;                   \
        if (!KX_LIKELY(both_have_room(a, b, first_blocks * Blocks::kSize)))            \
            return compare_blank_padded_from_##Blocks(a, b, 0, padded);                \
        if (auto stop = Blocks::stop(a, b))                                            \
            return parted_in_block_##Blocks(a, b, 0, Blocks::first(stop), padded);     \
        constexpr size_t i = Blocks::kSize;                                            \
        if constexpr (first_blocks == 2) {                                             \
            if (auto stop = Blocks::stop(a + i, b + i))                                \
                return parted_in_block_##Blocks(a, b, i, i + Blocks::first(stop),      \
                                                padded);                               \
        }                                                                              \
        return compare_blank_padded_from_##Blocks(a, b, first_blocks * i, padded);     \
    }

#if defined(__SSE2__)
struct Sse2 {
    static constexpr size_t kSize = 16;

    KX_BLOCK_READS static inline uint32_t stop(const unsigned char *a, const unsigned char *b)
    {
        __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a));
        __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b));
        __m128i same_nonzero = _mm_andnot_si128(_mm_cmpeq_epi8(va, _mm_setzero_si128()),
                                                _mm_cmpeq_epi8(va, vb));
        return static_cast<uint32_t>(_mm_movemask_epi8(same_nonzero)) ^ 0xFFFFu;
    }

    KX_BLOCK_READS static inline uint32_t non_blank(const unsigned char *p)
    {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(' ')))) ^
               0xFFFFu;
    }

    static inline size_t first(uint32_t mask) { return static_cast<size_t>(__builtin_ctz(mask)); }
    static inline uint32_t from(uint32_t mask, size_t n) { return mask & (~0u << n); }
};
KX_BLANK_PADDED_COMPARE(Sse2, KX_BLOCK_READS)
#define KX_NARROW_BLOCKS Sse2
#else
struct Words {
    static constexpr size_t kSize = 8;
    static constexpr uint64_t kLowSeven = 0x7F7F7F7F7F7F7F7Full;
    static constexpr uint64_t kEightBlanks = 0x2020202020202020ull;
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
                  "the word walk finds the first octet through the lowest bits");

    // The high bit of each octet of w that is nonzero (exact, no carries).
    static inline uint64_t nonzero_octets(uint64_t w)
    {
        return (((w & kLowSeven) + kLowSeven) | w) & ~kLowSeven;
    }

    KX_BLOCK_READS static inline uint64_t load(const unsigned char *p)
    {
        uint64_t w;
        std::memcpy(&w, p, 8);
        return w;
    }

    // The flag of octet n is bit 8n + 7.
    KX_BLOCK_READS static inline uint64_t stop(const unsigned char *a, const unsigned char *b)
    {
        uint64_t wa = load(a);
        return nonzero_octets(wa ^ load(b)) | (~nonzero_octets(wa) & ~kLowSeven);
    }

    KX_BLOCK_READS static inline uint64_t non_blank(const unsigned char *p)
    {
        return nonzero_octets(load(p) ^ kEightBlanks);
    }

    static inline size_t first(uint64_t mask)
    {
        return static_cast<size_t>(__builtin_ctzll(mask)) / 8;
    }
    static inline uint64_t from(uint64_t mask, size_t n) { return mask & (~0ull << (8 * n)); }
};
KX_BLANK_PADDED_COMPARE(Words, KX_BLOCK_READS)
#define KX_NARROW_BLOCKS Words
#endif

#if defined(__x86_64__) && defined(__GNUC__)
#define KX_WIDE_BLOCKS 1
#define KX_AVX2 __attribute__((target("avx2")))
struct Avx2 {
    static constexpr size_t kSize = 32;

    KX_BLOCK_READS KX_AVX2 static inline uint32_t stop(const unsigned char *a,
                                                       const unsigned char *b)
    {
        __m256i va = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(a));
        __m256i vb = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(b));
        __m256i same_nonzero = _mm256_andnot_si256(
            _mm256_cmpeq_epi8(va, _mm256_setzero_si256()), _mm256_cmpeq_epi8(va, vb));
        return ~static_cast<uint32_t>(_mm256_movemask_epi8(same_nonzero));
    }

    KX_BLOCK_READS KX_AVX2 static inline uint32_t non_blank(const unsigned char *p)
    {
        __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
        return ~static_cast<uint32_t>(
            _mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(' '))));
    }

    KX_AVX2 static inline size_t first(uint32_t mask)
    {
        return static_cast<size_t>(__builtin_ctz(mask));
    }
    KX_AVX2 static inline uint32_t from(uint32_t mask, size_t n) { return mask & (~0u << n); }
};
KX_BLANK_PADDED_COMPARE(Avx2, KX_BLOCK_READS KX_AVX2)

// With AVX-512 a whole block compares into a mask register in one
// instruction; most texts fit in one block of 64.
#define KX_AVX512 __attribute__((target("avx512f,avx512bw")))
struct Avx512 {
    static constexpr size_t kSize = 64;

    KX_BLOCK_READS KX_AVX512 static inline uint64_t stop(const unsigned char *a,
                                                         const unsigned char *b)
    {
        __m512i va = _mm512_loadu_si512(a);
        __m512i vb = _mm512_loadu_si512(b);
        return _mm512_cmpneq_epi8_mask(va, vb) | _mm512_testn_epi8_mask(va, va);
    }

    KX_BLOCK_READS KX_AVX512 static inline uint64_t non_blank(const unsigned char *p)
    {
        __m512i v = _mm512_loadu_si512(p);
        return _mm512_cmpneq_epi8_mask(v, _mm512_set1_epi8(' '));
    }

    KX_AVX512 static inline size_t first(uint64_t mask)
    {
        return static_cast<size_t>(__builtin_ctzll(mask));
    }
    KX_AVX512 static inline uint64_t from(uint64_t mask, size_t n) { return mask & (~0ull << n); }
};
KX_BLANK_PADDED_COMPARE(Avx512, KX_BLOCK_READS KX_AVX512)
#endif

// The comparison in use, chosen at the first call: under valgrind the
// block loads past a terminator would be reported as reads outside the
// texts' allocations, so there the walk goes octet by octet (same results);
// elsewhere it takes the widest blocks the processor has. The two wide
// walks are called directly on branches that are always predicted (an
// indirect call through a pointer cost a tenth of the comparison).
enum TextWalk : int { kWalkUnknown = 0, kWalkOctets, kWalkNarrow, kWalkWide, kWalkWidest };
int text_walk = kWalkUnknown;

#if defined(KX_WIDE_BLOCKS)
// The server cores of Intel's Skylake line (family 6, model 0x55: Skylake,
// Cascade Lake and Cooper Lake) lower their clock for a while after any
// 512-bit instruction, which would slow the rest of the application: there
// the comparison keeps to 32-octet blocks.
bool clock_drops_with_wide_registers()
{
    unsigned a, b, c, d;
    if (__get_cpuid(0, &a, &b, &c, &d) == 0)
        return false;
    bool intel = b == 0x756e6547 && d == 0x49656e69 && c == 0x6c65746e;  // "GenuineIntel"
    if (!intel || __get_cpuid(1, &a, &b, &c, &d) == 0)
        return false;
    unsigned family = (a >> 8) & 0xF;
    unsigned model = ((a >> 4) & 0xF) | ((a >> 12) & 0xF0);
    return family == 6 && model == 0x55;
}

// The 64-octet walk needs AVX-512 with its byte instructions.
bool has_avx512_bytes()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw");
}
#endif

int choose_text_walk()
{
#if __has_include(<valgrind/valgrind.h>)
    if (RUNNING_ON_VALGRIND)
        return kWalkOctets;
#endif
#if defined(KX_WIDE_BLOCKS)
    __builtin_cpu_init();
    if (has_avx512_bytes() && !clock_drops_with_wide_registers())
        return kWalkWidest;
    if (__builtin_cpu_supports("avx2"))
        return kWalkWide;
#endif
    return kWalkNarrow;
}

// Every walk but the wide one, and the choice at the first call.
[[gnu::noinline]] int32_t compare_blank_padded_otherwise(const unsigned char *a,
                                                        const unsigned char *b, size_t padded)
{
    int walk = __atomic_load_n(&text_walk, __ATOMIC_RELAXED);
    if (walk == kWalkUnknown) {
        walk = choose_text_walk();
        __atomic_store_n(&text_walk, walk, __ATOMIC_RELAXED);
    }
    switch (walk) {
#if defined(KX_WIDE_BLOCKS)
    case kWalkWidest:
        return compare_blank_padded_Avx512(a, b, padded);
    case kWalkWide:
        return compare_blank_padded_Avx2(a, b, padded);
#endif
    case kWalkNarrow:
        return KX_CONCAT(compare_blank_padded_, KX_NARROW_BLOCKS)(a, b, padded);
    default:
        return compare_blank_padded_octets(a, b, padded);
    }
}

inline int32_t compare_blank_padded(const char *a, const char *b, size_t padded)
{
    const auto *ua = reinterpret_cast<const unsigned char *>(a);
    const auto *ub = reinterpret_cast<const unsigned char *>(b);
#if defined(KX_WIDE_BLOCKS)
    int walk = __atomic_load_n(&text_walk, __ATOMIC_RELAXED);
    if (KX_LIKELY(walk == kWalkWidest))
        return compare_blank_padded_Avx512(ua, ub, padded);
    if (KX_LIKELY(walk == kWalkWide))
        return compare_blank_padded_Avx2(ua, ub, padded);
#endif
    return compare_blank_padded_otherwise(ua, ub, padded);
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

int32_t compare_by_left_type(const Value *left, const Value *right);

// Two string values: as they are when their declared lengths agree, else
// blank-padded to the longer. A missing text reads as empty; that case
// goes the general way, so that here the pointers reach the walk without
// a select in between (a tenth of the comparison's time).
inline int32_t compare_two_texts(const Value *left, const Value *right)
{
    const char *a = left->payload.text;
    const char *b = right->payload.text;
    if (!KX_LIKELY(a != nullptr && b != nullptr))
        return compare_by_left_type(left, right);
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

bool kx::use_text_walk(TextWalk walk)
{
    int chosen;
    switch (walk) {
    case TextWalk::kOctets:
        chosen = kWalkOctets;
        break;
    case TextWalk::kNarrowBlocks:
        chosen = kWalkNarrow;
        break;
    case TextWalk::kWideBlocks:
#if defined(KX_WIDE_BLOCKS)
        __builtin_cpu_init();
        if (!__builtin_cpu_supports("avx2"))
            return false;
        chosen = kWalkWide;
        break;
#else
        return false;
#endif
    case TextWalk::kWidestBlocks:
#if defined(KX_WIDE_BLOCKS)
        if (!has_avx512_bytes())
            return false;
        chosen = kWalkWidest;
        break;
#else
        return false;
#endif
    case TextWalk::kChosen:
    default:
        chosen = kWalkUnknown;
        break;
    }
    __atomic_store_n(&text_walk, chosen, __ATOMIC_RELAXED);
    return true;
}

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
