// What the standard family's number routines share inside the library: the
// record's magnitude and the short path of + - * and comparison (inline,
// so that the operators reach it without a call), the reading of decimal
// text, the shortest decimal text of a double, and the rounding of an
// exact numeric at a decimal place. Defined in arith/numeric_std.cpp
// unless inline here. Not part of the public headers.
//
// Nothing here posts a diagnostic or jumps: every routine returns a KXSTD_
// status (or false) and leaves its outputs untouched on an error.
#ifndef KXSUPP_ARITH_NUMERIC_STD_INTERNAL_H
#define KXSUPP_ARITH_NUMERIC_STD_INTERNAL_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <bit>

#include "kxsupp/common.h"

namespace kx::stdnum {

typedef unsigned __int128 u128;

// The largest scale and the most digits of a standard numeric.
inline constexpr int32_t kMaxDigits = 38;

constexpr u128 pow10_128(int k)
{
    u128 p = 1;
    for (int i = 0; i < k; i++)
        p *= 10;
    return p;
}

// 10^38: the first magnitude a standard numeric cannot hold.
inline constexpr u128 kTen38 = pow10_128(38);

// 10^0 to 10^38 in 128 bits.
struct Pow10Table {
    u128 p[kMaxDigits + 1];
    constexpr Pow10Table() : p{}
    {
        for (int k = 0; k <= kMaxDigits; k++)
            p[k] = pow10_128(k);
    }
};
inline constexpr Pow10Table kPow10_128;

// ---- the record ----

inline u128 load_magnitude(const NumericStruct *n)
{
    uint64_t lo, hi;
    memcpy(&lo, n->val, 8);
    memcpy(&hi, n->val + 8, 8);
    if constexpr (std::endian::native == std::endian::big) {
        lo = __builtin_bswap64(lo);
        hi = __builtin_bswap64(hi);
    }
    return (static_cast<u128>(hi) << 64) | lo;
}

inline void store_magnitude(NumericStruct *n, u128 m)
{
    uint64_t lo = static_cast<uint64_t>(m);
    uint64_t hi = static_cast<uint64_t>(m >> 64);
    if constexpr (std::endian::native == std::endian::big) {
        lo = __builtin_bswap64(lo);
        hi = __builtin_bswap64(hi);
    }
    memcpy(n->val, &lo, 8);
    memcpy(n->val + 8, &hi, 8);
}

// ODBC's convention: sign 0 is negative, anything else positive.
inline bool is_negative(const NumericStruct *n)
{
    return n->sign == 0;
}

// A standard numeric record: precision 38, the scale, sign 1 for a zero.
inline NumericStruct make_record(u128 magnitude, int32_t scale, bool negative)
{
    NumericStruct out;
    memset(&out, 0, sizeof out);
    out.precision = kMaxDigits;
    out.scale = static_cast<int8_t>(scale);
    out.sign = (negative && magnitude != 0) ? 0 : 1;
    store_magnitude(&out, magnitude);
    return out;
}

// ---- the short path ----
//
// Most operands are far from the edges: scales of 0 to 38, magnitudes and
// results within 128 bits and below 10^38. There a result is exact at the
// operation's scale and needs no rounding, so it is the record the general
// routines would settle on. Each function below answers such a case and
// returns true, or returns false having written nothing, for the general
// path to decide (rounding, 22003, scales outside 0..38).

// Whether a scale is one a result can keep as it is.
inline bool plain_scale(int32_t scale)
{
    return scale >= 0 && scale <= kMaxDigits;
}

// m x 10^k in 128 bits (0 <= k <= 38): false when it does not fit.
inline bool times_pow10(u128 m, int32_t k, u128 *out)
{
    return !__builtin_mul_overflow(m, kPow10_128.p[k], out);
}

// a + b, signs given (b's flipped for a difference), at the larger scale.
inline bool add_short(NumericStruct *a, const NumericStruct *b, bool negative_a,
                      bool negative_b)
{
    int32_t sa = a->scale;
    int32_t sb = b->scale;
    if (!plain_scale(sa) || !plain_scale(sb))
        return false;
    u128 x = load_magnitude(a);
    u128 y = load_magnitude(b);
    int32_t scale = sa > sb ? sa : sb;
    if (sa < scale ? !times_pow10(x, scale - sa, &x) : !times_pow10(y, scale - sb, &y))
        return false;
    u128 r;
    bool negative;
    if (negative_a == negative_b) {
        if (__builtin_add_overflow(x, y, &r))
            return false;
        negative = negative_a;
    } else if (x >= y) {
        r = x - y;
        negative = negative_a;
    } else {
        r = y - x;
        negative = negative_b;
    }
    if (r >= kTen38)
        return false;
    *a = make_record(r, scale, negative);
    return true;
}

// a x b at the sum of the scales.
inline bool multiply_short(NumericStruct *a, const NumericStruct *b)
{
    int32_t scale = static_cast<int32_t>(a->scale) + b->scale;
    if (!plain_scale(scale))
        return false;
    u128 x = load_magnitude(a);
    u128 y = load_magnitude(b);
    u128 p;
    if ((x >> 64) == 0 && (y >> 64) == 0)
        p = static_cast<u128>(static_cast<uint64_t>(x)) * static_cast<uint64_t>(y);
    else if (__builtin_mul_overflow(x, y, &p))
        return false;
    if (p >= kTen38)
        return false;
    *a = make_record(p, scale, is_negative(a) != is_negative(b));
    return true;
}

// The order of the magnitudes of a and b by value (-1, 0, 1), when both
// aligned to the larger scale fit 128 bits.
inline bool compare_short_magnitudes(const NumericStruct *a, const NumericStruct *b,
                                     int *order)
{
    int32_t sa = a->scale;
    int32_t sb = b->scale;
    if (!plain_scale(sa) || !plain_scale(sb))
        return false;
    u128 x = load_magnitude(a);
    u128 y = load_magnitude(b);
    if (sa < sb ? !times_pow10(x, sb - sa, &x) : !times_pow10(y, sa - sb, &y))
        return false;
    *order = x > y ? 1 : (x < y ? -1 : 0);
    return true;
}

// ---- decimal text ----

// Decimal text as it was written: blanks, a sign, digits with at most one
// point (at least one digit before or after it), an optional exponent
// ("e" or "E", a sign, digits), blanks. The digits are not copied: the
// value is (-1 if negative) x D x 10^exponent, D the integer digits
// followed by the fraction digits.
struct DecimalText {
    const char *integer_digits;
    int32_t integer_length;
    const char *fraction_digits;
    int32_t fraction_length;
    int64_t exponent;   // the written exponent less the fraction's length
    bool negative;
};

// Reads text (NUL-terminated) as above; false when it is not a number. The
// exponent is clamped far outside every range a result can have, so that
// an absurd one cannot overflow.
bool scan_decimal(const char *text, DecimalText *out);

// The number as an exact numeric of its own scale (the fraction's length
// less the exponent, never below 0; trailing fraction zeros are dropped as
// far as 38 digits need), precision 38: KXSTD_OK, or
// KXSTD_NUMERIC_OUT_OF_RANGE when its nonzero digits need more than 38
// digits or 38 places.
int32_t decimal_to_numeric(const DecimalText &text, NumericStruct *out);

// The number truncated toward zero to a 64-bit integer: KXSTD_OK or
// KXSTD_NUMERIC_OUT_OF_RANGE.
int32_t decimal_to_bigint(const DecimalText &text, int64_t *out);

// The nearest double to the number (infinite when it is beyond the doubles'
// range, which the caller refuses).
double decimal_to_double(const DecimalText &text);

// The shortest decimal digits that read back as the finite double d: at
// most 17 digits into digits (no terminator, no leading zero except for
// zero itself, which gives "0"), their count the return value, and the
// power of ten of the first digit in *exponent (1.005 gives "1005" and 0).
int32_t shortest_digits(double d, char digits[17], int32_t *exponent);

// How a value is brought to a decimal place.
enum class Rounding {
    kHalfAwayFromZero,   // ROUND
    kTowardZero,         // TRUNCATE
    kCeiling,            // toward positive infinity
    kFloor,              // toward negative infinity
};

// The number brought to `places` fractional digits (a negative count
// rounds to tens, hundreds, ...) in the given way, as an exact numeric of
// precision 38: its scale is max(places, 0), or, when that keeps more
// places than the number has, as many of them as 38 digits leave room for
// (never fewer than the number's own). One zero (sign 1). KXSTD_OK or
// KXSTD_NUMERIC_OUT_OF_RANGE.
int32_t round_numeric(const NumericStruct *number, int32_t places, Rounding how,
                      NumericStruct *out);

// The finite double d brought to `places` fractional digits of its
// shortest decimal text in the given way (1.005 to 2 places rounds half
// away from zero to 1.01); the nearest double to the result, a zero
// always +0.0. Infinite only when the result passes the doubles' range.
double round_double(double d, int32_t places, Rounding how);

// The double d, read as its shortest decimal text, as an exact numeric of
// the given scale (0 to 38) rounded half away from zero, whose magnitude
// has at most `precision` digits (1 to 38): KXSTD_OK or
// KXSTD_NUMERIC_OUT_OF_RANGE (also for an infinity or NaN).
int32_t double_to_numeric_at(double d, int32_t scale, int32_t precision, NumericStruct *out);

}  // namespace kx::stdnum

#endif
