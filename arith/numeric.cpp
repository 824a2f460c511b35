// numeric - the exact decimal number of the library.
//
// Exports the conversions of a NumericStruct to and from text, integers and
// doubles, its comparison, and its four arithmetic operations (see
// include/kxsupp/arith.h). Internal: numeric_string_compare, numeric_format
// and the factors, d_factors and max_num tables (arith/numeric_internal.h).
//
// Representation: a NumericStruct is (-1 if sign is 0) x magnitude x
// 10^(-scale), the magnitude an unsigned 128-bit integer stored least
// significant byte first in val[16]. A zero with sign 0 is a negative zero
// and prints "-0". The arithmetic routines write their result into their
// first argument, which may not be the same record as the second.
//
// Text conversion works on the magnitude as an unsigned __int128, in chunks
// of 19 decimal digits, and gives exactly the text that the library's
// historical decimal-string algorithm (one string addition per set bit)
// gives. Division goes through double precision and "%.0f", as it always has.

#include <stdlib.h>
#include <string.h>

#include <bit>
#include <cmath>
#include <cstdio>

#include "arith/numeric_internal.h"
#include "diagnostics/error_exit.h"
#include "kxsupp/arith.h"
#include "kxsupp/memory.h"

static_assert(sizeof(NumericStruct) == 19, "SQL_NUMERIC_STRUCT is 19 bytes");
static_assert(offsetof(NumericStruct, precision) == 0);
static_assert(offsetof(NumericStruct, scale) == 1);
static_assert(offsetof(NumericStruct, sign) == 2);
static_assert(offsetof(NumericStruct, val) == 3);

namespace kx {

namespace {

constexpr double kBit127Factor = std::bit_cast<double>(0x47A999999999999AULL);

struct DoubleFactors {
    double v[128];
};

constexpr DoubleFactors make_d_factors() {
    DoubleFactors t{};
    double p = 1.0;
    for (int k = 0; k < 127; k++) {
        t.v[k] = p;
        p *= 2.0;
    }
    t.v[127] = kBit127Factor;
    return t;
}

constexpr DoubleFactors kDoubleFactors = make_d_factors();

static_assert(kDoubleFactors.v[126] == 85070591730234615865843651857942052864.0);
static_assert(kDoubleFactors.v[127] == 1.7014118346046924e37);

}  // namespace

const double d_factors[128] = {
#define KX_DF8(k)                                                            \
    kDoubleFactors.v[k], kDoubleFactors.v[k + 1], kDoubleFactors.v[k + 2],   \
        kDoubleFactors.v[k + 3], kDoubleFactors.v[k + 4],                    \
        kDoubleFactors.v[k + 5], kDoubleFactors.v[k + 6],                    \
        kDoubleFactors.v[k + 7]
    KX_DF8(0),  KX_DF8(8),  KX_DF8(16),  KX_DF8(24),  KX_DF8(32),  KX_DF8(40),
    KX_DF8(48), KX_DF8(56), KX_DF8(64),  KX_DF8(72),  KX_DF8(80),  KX_DF8(88),
    KX_DF8(96), KX_DF8(104), KX_DF8(112), KX_DF8(120),
#undef KX_DF8
};

const char *const factors[128] = {
    "1",
    "2",
    "4",
    "8",
    "16",
    "32",
    "64",
    "128",
    "256",
    "512",
    "1024",
    "2048",
    "4096",
    "8192",
    "16384",
    "32768",
    "65536",
    "131072",
    "262144",
    "524288",
    "1048576",
    "2097152",
    "4194304",
    "8388608",
    "16777216",
    "33554432",
    "67108864",
    "134217728",
    "268435456",
    "536870912",
    "1073741824",
    "2147483648",
    "4294967296",
    "8589934592",
    "17179869184",
    "34359738368",
    "68719476736",
    "137438953472",
    "274877906944",
    "549755813888",
    "1099511627776",
    "2199023255552",
    "4398046511104",
    "8796093022208",
    "17592186044416",
    "35184372088832",
    "70368744177664",
    "140737488355328",
    "281474976710656",
    "562949953421312",
    "1125899906842624",
    "2251799813685248",
    "4503599627370496",
    "9007199254740992",
    "18014398509481984",
    "36028797018963968",
    "72057594037927936",
    "144115188075855872",
    "288230376151711744",
    "576460752303423488",
    "1152921504606846976",
    "2305843009213693952",
    "4611686018427387904",
    "9223372036854775808",
    "18446744073709551616",
    "36893488147419103232",
    "73786976294838206464",
    "147573952589676412928",
    "295147905179352825856",
    "590295810358705651712",
    "1180591620717411303424",
    "2361183241434822606848",
    "4722366482869645213696",
    "9444732965739290427392",
    "18889465931478580854784",
    "37778931862957161709568",
    "75557863725914323419136",
    "151115727451828646838272",
    "302231454903657293676544",
    "604462909807314587353088",
    "1208925819614629174706176",
    "2417851639229258349412352",
    "4835703278458516698824704",
    "9671406556917033397649408",
    "19342813113834066795298816",
    "38685626227668133590597632",
    "77371252455336267181195264",
    "154742504910672534362390528",
    "309485009821345068724781056",
    "618970019642690137449562112",
    "1237940039285380274899124224",
    "2475880078570760549798248448",
    "4951760157141521099596496896",
    "9903520314283042199192993792",
    "19807040628566084398385987584",
    "39614081257132168796771975168",
    "79228162514264337593543950336",
    "158456325028528675187087900672",
    "316912650057057350374175801344",
    "633825300114114700748351602688",
    "1267650600228229401496703205376",
    "2535301200456458802993406410752",
    "5070602400912917605986812821504",
    "10141204801825835211973625643008",
    "20282409603651670423947251286016",
    "40564819207303340847894502572032",
    "81129638414606681695789005144064",
    "162259276829213363391578010288128",
    "324518553658426726783156020576256",
    "649037107316853453566312041152512",
    "1298074214633706907132624082305024",
    "2596148429267413814265248164610048",
    "5192296858534827628530496329220096",
    "10384593717069655257060992658440192",
    "20769187434139310514121985316880384",
    "41538374868278621028243970633760768",
    "83076749736557242056487941267521536",
    "166153499473114484112975882535043072",
    "332306998946228968225951765070086144",
    "664613997892457936451903530140172288",
    "1329227995784915872903807060280344576",
    "2658455991569831745807614120560689152",
    "5316911983139663491615228241121378304",
    "10633823966279326983230456482242756608",
    "21267647932558653966460912964485513216",
    "42535295865117307932921825928971026432",
    "85070591730234615865843651857942052864",
    "170141183460469231731687303715884105728",
};

const char *const max_num = "340282366920938463463374607431768211455";

}  // namespace kx

namespace {

typedef unsigned __int128 u128;

constexpr size_t kMaxDigits = 39;              // digits of 2^128 - 1
constexpr uint64_t kTen19 = 10000000000000000000ULL;


constexpr uint64_t kPow10[20] = {
    1ULL,
    10ULL,
    100ULL,
    1000ULL,
    10000ULL,
    100000ULL,
    1000000ULL,
    10000000ULL,
    100000000ULL,
    1000000000ULL,
    10000000000ULL,
    100000000000ULL,
    1000000000000ULL,
    10000000000000ULL,
    100000000000000ULL,
    1000000000000000ULL,
    10000000000000000ULL,
    100000000000000000ULL,
    1000000000000000000ULL,
    10000000000000000000ULL,
};

constexpr char kDigitPairs[] =
    "00010203040506070809"
    "10111213141516171819"
    "20212223242526272829"
    "30313233343536373839"
    "40414243444546474849"
    "50515253545556575859"
    "60616263646566676869"
    "70717273747576777879"
    "80818283848586878889"
    "90919293949596979899";

u128 load_magnitude(const NumericStruct *n) {
    uint64_t lo, hi;
    memcpy(&lo, n->val, 8);
    memcpy(&hi, n->val + 8, 8);
    if constexpr (std::endian::native == std::endian::big) {
        lo = __builtin_bswap64(lo);
        hi = __builtin_bswap64(hi);
    }
    return (static_cast<u128>(hi) << 64) | lo;
}

void store_magnitude(NumericStruct *n, u128 m) {
    uint64_t lo = static_cast<uint64_t>(m);
    uint64_t hi = static_cast<uint64_t>(m >> 64);
    if constexpr (std::endian::native == std::endian::big) {
        lo = __builtin_bswap64(lo);
        hi = __builtin_bswap64(hi);
    }
    memcpy(n->val, &lo, 8);
    memcpy(n->val + 8, &hi, 8);
}

// (hi * 2^64 + lo) / 10^19 for hi < 10^19; the remainder goes to *rem.
inline uint64_t div_ten19(uint64_t hi, uint64_t lo, uint64_t *rem) {
#if defined(__x86_64__)
    uint64_t q, r;
    __asm__("divq %4" : "=a"(q), "=d"(r) : "a"(lo), "d"(hi), "r"(kTen19));
    *rem = r;
    return q;
#else
    u128 n = (static_cast<u128>(hi) << 64) | lo;
    uint64_t q = static_cast<uint64_t>(n / kTen19);
    *rem = static_cast<uint64_t>(n - static_cast<u128>(q) * kTen19);
    return q;
#endif
}

// Writes the digits of v ending just before end; returns the first digit.
char *put_digits(char *end, uint64_t v) {
    while (v >= 100) {
        unsigned pair = static_cast<unsigned>(v % 100) * 2;
        v /= 100;
        *--end = kDigitPairs[pair + 1];
        *--end = kDigitPairs[pair];
    }
    if (v >= 10) {
        unsigned pair = static_cast<unsigned>(v) * 2;
        *--end = kDigitPairs[pair + 1];
        *--end = kDigitPairs[pair];
    } else {
        *--end = static_cast<char>('0' + v);
    }
    return end;
}

// Writes exactly 19 digits of v (< 10^19) ending just before end.
char *put_19_digits(char *end, uint64_t v) {
    for (int i = 0; i < 9; i++) {
        unsigned pair = static_cast<unsigned>(v % 100) * 2;
        v /= 100;
        *--end = kDigitPairs[pair + 1];
        *--end = kDigitPairs[pair];
    }
    *--end = static_cast<char>('0' + v);
    return end;
}

// Decimal digits of m without leading zeros ("0" for zero) into out[40],
// NUL-terminated; returns the count.
size_t magnitude_digits(u128 m, char *out) {
    char work[48];
    char *end = work + sizeof work;
    char *p = end;
    uint64_t hi = static_cast<uint64_t>(m >> 64);
    uint64_t lo = static_cast<uint64_t>(m);
    while (hi != 0) {
        // m = hi * 2^64 + lo; divide by 10^19 in two 64-bit steps.
        uint64_t q_hi = hi / kTen19;
        uint64_t rem;
        uint64_t q_lo = div_ten19(hi % kTen19, lo, &rem);
        p = put_19_digits(p, rem);
        hi = q_hi;
        lo = q_lo;
    }
    p = put_digits(p, lo);
    size_t n = static_cast<size_t>(end - p);
    memcpy(out, p, n);
    out[n] = '\0';
    return n;
}

// The value of up to 39 decimal digits at s (the caller has bounded them by
// 2^128 - 1); reading stops at the first character that is not a digit.
u128 parse_digits(const char *s) {
    u128 v = 0;
    for (;;) {
        uint64_t chunk = 0;
        int k = 0;
        while (k < 19 && s[k] >= '0' && s[k] <= '9') {
            chunk = chunk * 10 + static_cast<unsigned>(s[k] - '0');
            k++;
        }
        v = v * kPow10[k] + chunk;
        if (k < 19) return v;
        s += 19;
    }
}

// 10^e as a 64-bit integer for the integer conversions: pow(10.0, e) for
// e <= 18 (exact); above that, the product keeps its low 64 bits, so the
// factor is 10^e modulo 2^64 (0 from e = 64 on).
uint64_t pow10_low64(int32_t e) {
    if (e <= 19) return kPow10[e];
    uint64_t p = 1;
    for (int32_t i = 0; i < e && i < 64; i++) p *= 10;
    return p;
}

}  // namespace

namespace kx {

int numeric_string_compare(const char *s1, const char *s2) {
    const char *dot1 = strchr(s1, '.');
    const char *dot2 = strchr(s2, '.');
    size_t len1 = strlen(s1), len2 = strlen(s2);
    size_t int1 = dot1 ? static_cast<size_t>(dot1 - s1) : len1;
    size_t int2 = dot2 ? static_cast<size_t>(dot2 - s2) : len2;
    size_t frac1 = dot1 ? len1 - int1 - 1 : 0;
    size_t frac2 = dot2 ? len2 - int2 - 1 : 0;
    size_t frac = frac1 > frac2 ? frac1 : frac2;
    size_t total1 = int1 + frac, total2 = int2 + frac;
    if (total1 != total2) return total1 > total2 ? 1 : -1;
    // Character i of an aligned string: the integer part, then the fraction
    // digits, then '0' padding.
    for (size_t i = 0; i < total1; i++) {
        unsigned char c1, c2;
        if (i < int1) c1 = static_cast<unsigned char>(s1[i]);
        else if (i - int1 < frac1) c1 = static_cast<unsigned char>(dot1[1 + i - int1]);
        else c1 = '0';
        if (i < int2) c2 = static_cast<unsigned char>(s2[i]);
        else if (i - int2 < frac2) c2 = static_cast<unsigned char>(dot2[1 + i - int2]);
        else c2 = '0';
        if (c1 != c2) return c1 > c2 ? 1 : -1;
    }
    return 0;
}

size_t numeric_format(const NumericStruct *number, char *out) {
    char digits[kMaxDigits + 1];
    size_t n = magnitude_digits(load_magnitude(number), digits);
    int scale = number->scale;
    char *p = out;
    if (number->sign == 0) *p++ = '-';
    if (scale > 0) {
        size_t s = static_cast<size_t>(scale);
        if (n > s) {
            memcpy(p, digits, n - s);
            p += n - s;
            *p++ = '.';
            memcpy(p, digits + (n - s), s);
            p += s;
        } else {
            *p++ = '0';
            *p++ = '.';
            memset(p, '0', s - n);
            p += s - n;
            memcpy(p, digits, n);
            p += n;
        }
        // A point is always present here: drop the fraction's trailing
        // zeros, then the point if it is left last.
        while (p[-1] == '0') p--;
        if (p[-1] == '.') p--;
    } else {
        memcpy(p, digits, n);
        p += n;
        if (scale < 0) {
            memset(p, '0', static_cast<size_t>(-scale));
            p += -scale;
        }
    }
    *p = '\0';
    return static_cast<size_t>(p - out);
}

}  // namespace kx

extern "C" {

KX_API int32_t bigint_to_numeric(int64_t value, NumericStruct *out,
                                 uint8_t precision, int32_t scale) {
    uint64_t v = static_cast<uint64_t>(value);
    if (scale < 0) {
        // Truncating division toward zero; a divisor of 10^19 or more
        // exceeds every 64-bit magnitude, so the quotient is 0.
        if (scale < -18) {
            v = 0;
        } else {
            v = static_cast<uint64_t>(value / static_cast<int64_t>(kPow10[-scale]));
        }
    } else if (scale > 0) {
        v *= pow10_low64(scale);
    }
    out->scale = static_cast<int8_t>(scale);
    out->precision = precision;
    int64_t s = static_cast<int64_t>(v);
    if (s < 0) {
        out->sign = 0;
        s = static_cast<int64_t>(0 - v);
    } else {
        out->sign = 1;
    }
    // The most negative value stays negative after negation and leaves the
    // magnitude zero.
    memset(out->val, 0, sizeof out->val);
    for (int i = 0; s > 0; i++) {
        out->val[i] = static_cast<uint8_t>(s & 0xFF);
        s >>= 8;
    }
    return 0;
}

KX_API int32_t bigint_to_numeric_noscale(int64_t value, NumericStruct *out,
                                         uint8_t precision) {
    return bigint_to_numeric(value, out, precision, 0);
}

KX_API int32_t int_to_numeric(int32_t value, NumericStruct *out,
                              uint8_t precision, int32_t scale) {
    return bigint_to_numeric(value, out, precision, scale);
}

KX_API int32_t int_to_numeric_noscale(int32_t value, NumericStruct *out,
                                      uint8_t precision) {
    return bigint_to_numeric(value, out, precision, 0);
}

KX_API int32_t string_to_numeric(char *text, NumericStruct *out,
                                 uint8_t precision, int32_t scale) {
    if (text == nullptr) text = const_cast<char *>("");
    char *point = strchr(text, '.');
    if (point != nullptr) {
        size_t after = strlen(point + 1);
        memmove(point, point + 1, after + 1);
        scale = static_cast<int32_t>(static_cast<uint32_t>(scale) +
                                     static_cast<uint32_t>(after));
    }
    char *p = text;
    while (*p == ' ') p++;
    if (*p == '-') {
        out->sign = 0;
        p++;
    } else {
        if (*p == '+') p++;
        out->sign = 1;
    }
    while (*p == '0') p++;

    size_t len = 0;
    bool all_digits = true;
    for (; p[len] != '\0'; len++)
        if (p[len] < '0' || p[len] > '9') all_digits = false;
    bool over;
    if (all_digits)
        over = len > kMaxDigits ||
               (len == kMaxDigits && memcmp(p, kx::max_num, kMaxDigits) > 0);
    else
        over = kx::numeric_string_compare(p, kx::max_num) > 0;
    if (over) return -2;

    out->precision = precision;
    out->scale = static_cast<int8_t>(scale);
    u128 m = parse_digits(p);
    store_magnitude(out, m);
    // The digits are consumed in place as the historical algorithm consumed
    // them, subtracting powers of two from the highest down until the
    // remainder equals one: what is left there is the text of the lowest
    // power of two in the magnitude.
    if (m != 0 && all_digits) {
        uint64_t lo = static_cast<uint64_t>(m);
        int low_bit = lo != 0 ? __builtin_ctzll(lo)
                              : 64 + __builtin_ctzll(static_cast<uint64_t>(m >> 64));
        strcpy(p, kx::factors[low_bit]);
    }
    return 0;
}

KX_API int32_t create_numeric(const char *text, NumericStruct *out,
                              uint8_t precision, int32_t scale) {
    if (text == nullptr) text = "";
    const char *point = strchr(text, '.');
    size_t int_len = point ? static_cast<size_t>(point - text) : strlen(text);
    const char *fraction = point ? point + 1 : "";
    size_t frac_len = strlen(fraction);
    size_t keep, pad;
    if (scale < 0) {
        keep = 0;
        pad = 0;
    } else if (frac_len <= static_cast<size_t>(scale)) {
        keep = frac_len;
        pad = static_cast<size_t>(scale) - frac_len;
    } else {
        keep = static_cast<size_t>(scale);
        pad = 0;
    }
    // Zeros beyond 40 of padding cannot change the result: after the
    // leading zeros go, either nothing is left (zero) or more than 39
    // characters are (overflow).
    if (pad > kMaxDigits + 1) pad = kMaxDigits + 1;

    char local[1024];
    size_t need = int_len + keep + pad + 1;
    char *work = need <= sizeof local ? local : static_cast<char *>(malloc(need));
    if (work == nullptr) return -2;
    memcpy(work, text, int_len);
    memcpy(work + int_len, fraction, keep);
    memset(work + int_len + keep, '0', pad);
    work[int_len + keep + pad] = '\0';
    int32_t rc = string_to_numeric(work, out, precision, scale);
    if (work != local) free(work);
    return rc;
}

KX_API int32_t double_to_numeric(double value, NumericStruct *out,
                                 uint8_t precision, int32_t scale) {
    double v;
    if (scale < 0) {
        v = value / pow(10.0, -static_cast<double>(scale));
        double whole;
        if (modf(v, &whole) != 0.0) return 1;
    } else if (scale > 0) {
        v = value * pow(10.0, static_cast<double>(scale));
    } else {
        v = value;
    }
    char text[400];  // "%.0f" of the largest double has 309 digits
    snprintf(text, sizeof text, "%.0f", v);
    return string_to_numeric(text, out, precision, scale);
}

KX_API int32_t numeric_to_string(const NumericStruct *number, char *buffer,
                                 int32_t buffer_length, int32_t *length_out) {
    char text[kx::numeric_text_capacity];
    kx::numeric_format(number, text);
    // The length is handed on as it came: copy_str_bufferl compares it
    // unsigned, so a negative length counts as a very large one.
    return copy_str_bufferl(buffer, static_cast<uint32_t>(buffer_length),
                            length_out, text);
}

KX_API int32_t numeric_to_double(const NumericStruct *number, double *out) {
    double d = 0.0;
    for (int i = 0; i < 16; i++) {
        unsigned byte = number->val[i];
        for (int bit = 0; byte != 0; bit++, byte >>= 1)
            if (byte & 1) d += kx::d_factors[8 * i + bit];
    }
    if (number->sign == 0) d = -d;
    if (number->scale != 0) d *= pow(10.0, -number->scale);
    *out = d;
    return 0;
}

KX_API int32_t numeric_to_int(const NumericStruct *number, int32_t *out) {
    char text[kx::numeric_text_capacity];
    kx::numeric_format(number, text);
    // As atoi: strtol's result cut to 32 bits.
    *out = static_cast<int32_t>(strtol(text, nullptr, 10));
    return 0;
}

KX_API int32_t numeric_to_bigint(const NumericStruct *number, int64_t *out) {
    char text[kx::numeric_text_capacity];
    kx::numeric_format(number, text);
    *out = static_cast<int64_t>(strtoll(text, nullptr, 10));
    return 0;
}

KX_API int32_t numeric_compare(const NumericStruct *a, const NumericStruct *b) {
    if (a->sign == 1 && b->sign == 0) return 1;
    if (a->sign == 0 && b->sign == 1) return -1;
    int r;
    if (a->scale != b->scale) {
        char ta[kx::numeric_text_capacity], tb[kx::numeric_text_capacity];
        kx::numeric_format(a, ta);
        kx::numeric_format(b, tb);
        r = kx::numeric_string_compare(ta, tb);
    } else {
        u128 ma = load_magnitude(a), mb = load_magnitude(b);
        r = ma > mb ? 1 : (ma < mb ? -1 : 0);
    }
    return a->sign == 0 ? -r : r;
}

KX_API int32_t numeric_is_zero(const NumericStruct *number) {
    return load_magnitude(number) == 0 ? 1 : 0;
}

KX_API int32_t add_numeric(NumericStruct *a, const NumericStruct *b) {
    if (a->scale != b->scale) {
        // Align the smaller scale by multiplying by 10 per unit (high bits
        // beyond 128 are lost). The aligned sum's status is not passed on.
        NumericStruct ca = *a, cb = *b;
        NumericStruct *low = ca.scale < cb.scale ? &ca : &cb;
        int8_t high_scale = ca.scale < cb.scale ? cb.scale : ca.scale;
        u128 m = load_magnitude(low);
        for (int k = low->scale; k < high_scale && m != 0; k++) m *= 10;
        store_magnitude(low, m);
        low->scale = high_scale;
        add_numeric(&ca, &cb);
        *a = ca;
        return 0;
    }
    u128 ma = load_magnitude(a), mb = load_magnitude(b);
    bool neg_a = a->sign != 1, neg_b = b->sign != 1;
    if (neg_a == neg_b) {
        u128 sum = ma + mb;
        store_magnitude(a, sum);
        return sum < ma ? -2 : 0;
    }
    // Signs differ: the larger magnitude keeps its sign; an exact
    // cancellation keeps a's sign.
    if (ma >= mb) {
        store_magnitude(a, ma - mb);
        a->sign = neg_a ? 0 : 1;
    } else {
        store_magnitude(a, mb - ma);
        a->sign = neg_a ? 1 : 0;
    }
    return 0;
}

KX_API int32_t subtract_numeric(NumericStruct *a, const NumericStruct *b) {
    NumericStruct negated = *b;
    negated.sign = b->sign == 1 ? 0 : 1;
    return add_numeric(a, &negated);
}

KX_API int32_t mult_numeric(NumericStruct *a, const NumericStruct *b) {
    // The schoolbook product over the bytes keeps exactly the low 128 bits.
    u128 product = load_magnitude(a) * load_magnitude(b);
    store_magnitude(a, product);
    a->precision = 0;
    a->scale = static_cast<int8_t>(a->scale + b->scale);
    a->sign = a->sign == b->sign ? 1 : 0;
    return 0;
}

KX_API int32_t div_numeric(NumericStruct *a, const NumericStruct *b,
                           EvalContext *context) {
    char ta[kx::numeric_text_capacity], tb[kx::numeric_text_capacity];
    kx::numeric_format(a, ta);
    kx::numeric_format(b, tb);
    double x = atof(ta), y = atof(tb);
    double q;
    if (y == 0.0) {
        if (context != nullptr)
            kx::error_exit(context, "ISO 9075", "22012", "Division by zero");
        q = 0.0;
    } else {
        q = x / y;
    }
    int32_t s = a->scale;
    double v;
    if (s < 0) {
        v = q / pow(10.0, -s);
        double whole;
        if (modf(v, &whole) != 0.0) return 0;  // a keeps the dividend
    } else if (s > 0) {
        v = q * pow(10.0, s);
    } else {
        v = q;
    }
    char text[400];
    snprintf(text, sizeof text, "%.0f", v);
    string_to_numeric(text, a, a->precision, s);
    return 0;
}

}  // extern "C"
