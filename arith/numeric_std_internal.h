// What the standard family's number routines share inside the library: the
// reading of decimal text, the shortest decimal text of a double, and the
// rounding of an exact numeric at a decimal place. Defined in
// arith/numeric_std.cpp. Not part of the public headers.
//
// Nothing here posts a diagnostic or jumps: every routine returns a KXSTD_
// status and leaves its outputs untouched on an error.
#ifndef KXSUPP_ARITH_NUMERIC_STD_INTERNAL_H
#define KXSUPP_ARITH_NUMERIC_STD_INTERNAL_H

#include <stddef.h>
#include <stdint.h>

#include "kxsupp/common.h"

namespace kx::stdnum {

// The largest scale and the most digits of a standard numeric.
inline constexpr int32_t kMaxDigits = 38;

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
