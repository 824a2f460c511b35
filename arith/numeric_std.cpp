// numeric_std - the exact decimal number as the standard family computes it.
//
// Exports kxstd_add_numeric, kxstd_subtract_numeric, kxstd_mult_numeric,
// kxstd_div_numeric, kxstd_numeric_compare, kxstd_numeric_to_int,
// kxstd_numeric_to_bigint, kxstd_numeric_to_double, kxstd_bigint_to_numeric
// and kxstd_text_to_numeric (include/kxsupp/standard.h). Internal: the text
// reading, shortest double text and rounding helpers of
// arith/numeric_std_internal.h.
//
// Representation: an operand NumericStruct is read exactly as
// (-1 if sign is 0) x magnitude x 10^(-scale), for any magnitude below 2^128
// and any scale from -128 to 127; a zero is a zero whichever its sign. Every
// result is settled into the form of an SQL NUMERIC(38): magnitude below
// 10^38, scale 0 to 38, precision 38, sign 1 for zero. Its scale is the one
// the operation gives (the larger scale for + and -, the sum of the scales
// for *, the dividend's scale + 4 for /); the fraction is rounded half away
// from zero only where that scale is above 38 or the whole result would
// need more than 38 digits, and a whole part of more than 38 digits is
// KXSTD_NUMERIC_OUT_OF_RANGE.
//
// The exact intermediate is a Wide, an unsigned integer of 18 64-bit words:
// a magnitude aligned across the whole scale range (2^128 x 10^260 at most)
// fits with room. + - * and comparison first try the short path of
// numeric_std_internal.h (scales 0 to 38, everything within 128 bits and
// below 10^38), which gives the same record without a Wide. Nothing here
// allocates, posts or jumps, and the routines write their result record
// only on success.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "arith/numeric_std_internal.h"
#include "kxsupp/standard.h"

namespace {

using kx::stdnum::u128;
using kx::stdnum::add_short;
using kx::stdnum::is_negative;
using kx::stdnum::kMaxDigits;
using kx::stdnum::kTen38;
using kx::stdnum::load_magnitude;
using kx::stdnum::make_record;
using kx::stdnum::pow10_128;
using kx::stdnum::Rounding;

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

// ---- the wide unsigned integer ----

constexpr int kWords = 18;

struct Wide {
    uint64_t w[kWords];
};

Wide wide_of(u128 m)
{
    Wide x{};
    x.w[0] = static_cast<uint64_t>(m);
    x.w[1] = static_cast<uint64_t>(m >> 64);
    return x;
}

// The index of the highest nonzero word, -1 for zero.
int top_word(const Wide &x)
{
    for (int i = kWords - 1; i >= 0; i--)
        if (x.w[i] != 0)
            return i;
    return -1;
}

bool is_zero(const Wide &x)
{
    return top_word(x) < 0;
}

bool fits_128(const Wide &x)
{
    return top_word(x) < 2;
}

u128 low_128(const Wide &x)
{
    return (static_cast<u128>(x.w[1]) << 64) | x.w[0];
}

int compare(const Wide &a, const Wide &b)
{
    for (int i = kWords - 1; i >= 0; i--)
        if (a.w[i] != b.w[i])
            return a.w[i] > b.w[i] ? 1 : -1;
    return 0;
}

// a += b; the callers keep the sum within the words.
void add_to(Wide &a, const Wide &b)
{
    uint64_t carry = 0;
    for (int i = 0; i < kWords; i++) {
        u128 s = static_cast<u128>(a.w[i]) + b.w[i] + carry;
        a.w[i] = static_cast<uint64_t>(s);
        carry = static_cast<uint64_t>(s >> 64);
    }
}

void add_one(Wide &a)
{
    for (int i = 0; i < kWords; i++)
        if (++a.w[i] != 0)
            return;
}

// a -= b for a >= b.
void subtract_from(Wide &a, const Wide &b)
{
    uint64_t borrow = 0;
    for (int i = 0; i < kWords; i++) {
        uint64_t x = a.w[i];
        uint64_t d = x - b.w[i] - borrow;
        borrow = (x < b.w[i] || (x == b.w[i] && borrow != 0)) ? 1 : 0;
        a.w[i] = d;
    }
}

// a *= f; the callers keep the product within the words.
void multiply_small(Wide &a, uint64_t f)
{
    uint64_t carry = 0;
    int top = top_word(a);
    for (int i = 0; i <= top + 1 && i < kWords; i++) {
        u128 p = static_cast<u128>(a.w[i]) * f + carry;
        a.w[i] = static_cast<uint64_t>(p);
        carry = static_cast<uint64_t>(p >> 64);
    }
}

void multiply_pow10(Wide &a, int32_t k)
{
    if (is_zero(a))
        return;
    for (; k >= 19; k -= 19)
        multiply_small(a, kTen19);
    if (k > 0)
        multiply_small(a, kPow10[k]);
}

// a /= d (d nonzero); returns the remainder.
uint64_t divide_small(Wide &a, uint64_t d)
{
    u128 r = 0;
    for (int i = top_word(a); i >= 0; i--) {
        u128 cur = (r << 64) | a.w[i];
        a.w[i] = static_cast<uint64_t>(cur / d);
        r = cur % d;
    }
    return static_cast<uint64_t>(r);
}

// a = floor(a / 10^k); true when a nonzero digit was dropped.
bool divide_pow10(Wide &a, int64_t k)
{
    bool sticky = false;
    for (; k >= 19 && !is_zero(a); k -= 19)
        sticky |= divide_small(a, kTen19) != 0;
    if (k > 0 && k < 19 && !is_zero(a))
        sticky |= divide_small(a, kPow10[k]) != 0;
    return sticky;
}

// floor(n / d) for a nonzero 128-bit divisor: binary long division with a
// 128-bit remainder (a remainder that passes 2^128 on its shift is above d,
// and the wrapped subtraction gives the true difference).
Wide divide_by(const Wide &n, u128 d)
{
    if ((d >> 64) == 0) {
        Wide q = n;
        divide_small(q, static_cast<uint64_t>(d));
        return q;
    }
    Wide q{};
    u128 r = 0;
    int top = top_word(n);
    for (int bit = top * 64 + 63; bit >= 0; bit--) {
        bool high = (r >> 127) != 0;
        r = (r << 1) | ((n.w[bit / 64] >> (bit % 64)) & 1);
        if (high || r >= d) {
            r -= d;
            q.w[bit / 64] |= uint64_t{1} << (bit % 64);
        }
    }
    return q;
}

// The full product of a Wide below 2^256 and a 128-bit factor.
Wide multiply_by(const Wide &a, u128 f)
{
    Wide low = a;
    multiply_small(low, static_cast<uint64_t>(f));
    Wide high = a;
    multiply_small(high, static_cast<uint64_t>(f >> 64));
    for (int i = kWords - 1; i > 0; i--)
        high.w[i] = high.w[i - 1];
    high.w[0] = 0;
    add_to(low, high);
    return low;
}

int32_t digits_of_u64(uint64_t v)
{
    int32_t n = 0;
    for (; v != 0; v /= 10)
        n++;
    return n;
}

// The number of decimal digits, 0 for zero.
int32_t digit_count(Wide x)
{
    int32_t n = 0;
    while (top_word(x) > 0 || x.w[0] >= kTen19) {
        divide_small(x, kTen19);
        n += 19;
    }
    return n + digits_of_u64(x.w[0]);
}

// Whether a magnitude whose digits were dropped moves one unit away from
// zero: by the first dropped digit and whether any other was nonzero.
bool rounds_up(Rounding how, bool negative, uint64_t first_dropped, bool sticky)
{
    bool inexact = first_dropped != 0 || sticky;
    switch (how) {
    case Rounding::kHalfAwayFromZero:
        return first_dropped >= 5;
    case Rounding::kTowardZero:
        return false;
    case Rounding::kCeiling:
        return !negative && inexact;
    case Rounding::kFloor:
        return negative && inexact;
    }
    return false;
}

// Drops the k lowest digits of a nonzero magnitude, rounding as asked.
void drop_digits(Wide &m, int64_t k, Rounding how, bool negative)
{
    if (k <= 0)
        return;
    bool sticky = divide_pow10(m, k - 1);
    uint64_t first = divide_small(m, 10);
    if (rounds_up(how, negative, first, sticky))
        add_one(m);
}

// ---- the record ----

// The exact value (-1 if negative) x m x 10^(-scale) as a standard numeric
// of scale at most max_scale (0 to 38): digits beyond it, or beyond 38 in
// all, are rounded half away from zero; a whole part of more than 38 digits
// is out of range.
int32_t settle(Wide m, int64_t scale, bool negative, int32_t max_scale, NumericStruct *out)
{
    if (is_zero(m)) {
        int64_t s = scale < 0 ? 0 : (scale > max_scale ? max_scale : scale);
        *out = make_record(0, static_cast<int32_t>(s), false);
        return KXSTD_OK;
    }
    if (scale < 0) {
        if (-scale > kMaxDigits)
            return KXSTD_NUMERIC_OUT_OF_RANGE;   // at least 10^39
        multiply_pow10(m, static_cast<int32_t>(-scale));
        scale = 0;
    }
    int64_t drop = scale > max_scale ? scale - max_scale : 0;
    int64_t n = digit_count(m);
    if (n - drop > kMaxDigits)
        drop = n - kMaxDigits;
    if (drop > scale)
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    if (drop > 0) {
        drop_digits(m, drop, Rounding::kHalfAwayFromZero, negative);
        scale -= drop;
        if (fits_128(m) && low_128(m) == kTen38) {
            // 99...9.5 carried into a 39th digit: one fraction digit less,
            // exactly, since it is a zero
            if (scale == 0)
                return KXSTD_NUMERIC_OUT_OF_RANGE;
            m = wide_of(kTen38 / 10);
            scale -= 1;
        }
    }
    *out = make_record(low_128(m), static_cast<int32_t>(scale), negative);
    return KXSTD_OK;
}

// The magnitude aligned to a larger or equal scale.
Wide aligned(const NumericStruct *n, int32_t scale)
{
    Wide x = wide_of(load_magnitude(n));
    multiply_pow10(x, scale - n->scale);
    return x;
}

int32_t add_signed(NumericStruct *a, const NumericStruct *b, bool flip_b)
{
    bool negative_a = is_negative(a);
    bool negative_b = is_negative(b) != flip_b;
    if (add_short(a, b, negative_a, negative_b))
        return KXSTD_OK;   // the common sum, exact within 128 bits
    int32_t scale = a->scale > b->scale ? a->scale : b->scale;
    Wide x = aligned(a, scale);
    Wide y = aligned(b, scale);
    bool negative;
    if (negative_a == negative_b) {
        add_to(x, y);
        negative = negative_a;
    } else if (compare(x, y) >= 0) {
        subtract_from(x, y);
        negative = negative_a;
    } else {
        subtract_from(y, x);
        x = y;
        negative = negative_b;
    }
    NumericStruct result;
    int32_t status = settle(x, scale, negative, kMaxDigits, &result);
    if (status == KXSTD_OK)
        *a = result;
    return status;
}

// The magnitude truncated toward zero to a whole number.
int32_t truncated_magnitude(const NumericStruct *n, u128 *out)
{
    Wide m = wide_of(load_magnitude(n));
    if (n->scale > 0) {
        divide_pow10(m, n->scale);
    } else if (n->scale < 0 && !is_zero(m)) {
        if (-n->scale > kMaxDigits + 1)
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        multiply_pow10(m, -n->scale);
    }
    if (!fits_128(m))
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    *out = low_128(m);
    return KXSTD_OK;
}

int32_t signed_in_range(u128 magnitude, bool negative, u128 max_positive, int64_t *out)
{
    if (negative ? magnitude > max_positive + 1 : magnitude > max_positive)
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    uint64_t bits = static_cast<uint64_t>(magnitude);
    *out = static_cast<int64_t>(negative ? 0 - bits : bits);
    return KXSTD_OK;
}

// The decimal digits of a magnitude (at least one) into out, terminated.
size_t magnitude_text(u128 m, char *out)
{
    char work[48];
    char *p = work + sizeof work;
    do {
        *--p = static_cast<char>('0' + static_cast<int>(m % 10));
        m /= 10;
    } while (m != 0);
    size_t n = static_cast<size_t>(work + sizeof work - p);
    std::memcpy(out, p, n);
    out[n] = '\0';
    return n;
}

// strtod of digits and an exponent, without a decimal point: the text
// reads the same in every locale. glibc's strtod rounds correctly.
double digits_to_double(const char *digits, size_t length, int64_t exponent)
{
    char text[840];
    if (length > 800)
        length = 800;
    std::memcpy(text, digits, length);
    std::snprintf(text + length, sizeof text - length, "e%lld", static_cast<long long>(exponent));
    return std::strtod(text, nullptr);
}

// ---- decimal text ----

bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// Digit i of the digits of a decimal text: its integer digits, then its
// fraction digits.
char digit_at(const kx::stdnum::DecimalText &t, int64_t i)
{
    return i < t.integer_length ? t.integer_digits[i] : t.fraction_digits[i - t.integer_length];
}

// Where the nonzero digits of a decimal text lie: the first and the last
// (false when there is none: the text is a zero).
struct Significant {
    int64_t first;
    int64_t last;
    int64_t count;            // last - first + 1
    int64_t last_exponent;    // the power of ten of the last nonzero digit
    int64_t first_exponent;   // the power of ten of the first
};

bool significant_digits(const kx::stdnum::DecimalText &t, Significant *out)
{
    int64_t total = static_cast<int64_t>(t.integer_length) + t.fraction_length;
    int64_t first = 0;
    while (first < total && digit_at(t, first) == '0')
        first++;
    if (first == total)
        return false;
    int64_t last = total - 1;
    while (digit_at(t, last) == '0')
        last--;
    out->first = first;
    out->last = last;
    out->count = last - first + 1;
    out->last_exponent = t.exponent + (total - 1 - last);
    out->first_exponent = out->last_exponent + out->count - 1;
    return true;
}

// The value of count digits from index from (at most 38 of them).
u128 digits_value(const kx::stdnum::DecimalText &t, int64_t from, int64_t count)
{
    u128 v = 0;
    for (int64_t i = 0; i < count; i++)
        v = v * 10 + static_cast<unsigned>(digit_at(t, from + i) - '0');
    return v;
}

// Written exponents are clamped here: far beyond every result's range, and
// far from overflowing an int64 when the fraction length is taken off.
constexpr int64_t kExponentClamp = 100000000;

// ---- the shortest text of a double ----

// The shortest "%.*e" of a finite, nonzero |d| that reads back as it:
// its digits and the power of ten of the first.
int32_t shortest_e_digits(double d, char digits[17], int32_t *exponent)
{
    char text[48];
    for (int precision = 0; precision < 17; precision++) {
        std::snprintf(text, sizeof text, "%.*e", precision, d);
        if (std::strtod(text, nullptr) == d)
            break;
    }
    // "d.ddde+XX" in the C locale, with the locale's point in another:
    // every digit before the 'e' is a digit of the number.
    int32_t n = 0;
    const char *p = text;
    for (; *p != '\0' && *p != 'e' && *p != 'E'; p++)
        if (is_digit(*p) && n < 17)
            digits[n++] = *p;
    *exponent = (*p != '\0') ? static_cast<int32_t>(std::strtol(p + 1, nullptr, 10)) : 0;
    while (n > 1 && digits[n - 1] == '0')
        n--;
    return n;
}

}  // namespace

namespace kx::stdnum {

bool scan_decimal(const char *text, DecimalText *out)
{
    if (text == nullptr)
        return false;
    const char *p = text;
    while (is_blank(*p))
        p++;
    bool negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        p++;
    }
    const char *integer_digits = p;
    while (is_digit(*p))
        p++;
    int64_t integer_length = p - integer_digits;
    const char *fraction_digits = p;
    int64_t fraction_length = 0;
    if (*p == '.') {
        p++;
        fraction_digits = p;
        while (is_digit(*p))
            p++;
        fraction_length = p - fraction_digits;
    }
    if (integer_length + fraction_length == 0 || integer_length > INT32_MAX / 2 ||
        fraction_length > INT32_MAX / 2)
        return false;
    int64_t written = 0;
    if (*p == 'e' || *p == 'E') {
        p++;
        bool negative_exponent = false;
        if (*p == '+' || *p == '-') {
            negative_exponent = *p == '-';
            p++;
        }
        if (!is_digit(*p))
            return false;
        for (; is_digit(*p); p++)
            if (written < kExponentClamp)
                written = written * 10 + (*p - '0');
        if (negative_exponent)
            written = -written;
    }
    while (is_blank(*p))
        p++;
    if (*p != '\0')
        return false;
    out->integer_digits = integer_digits;
    out->integer_length = static_cast<int32_t>(integer_length);
    out->fraction_digits = fraction_digits;
    out->fraction_length = static_cast<int32_t>(fraction_length);
    out->exponent = written - fraction_length;
    out->negative = negative;
    return true;
}

int32_t decimal_to_numeric(const DecimalText &text, NumericStruct *out)
{
    // its own scale: the fraction's digits less the written exponent
    int64_t own_scale = text.exponent < 0 ? -text.exponent : 0;
    Significant s;
    if (!significant_digits(text, &s)) {
        *out = make_record(0, static_cast<int32_t>(own_scale > kMaxDigits ? kMaxDigits : own_scale),
                           false);
        return KXSTD_OK;
    }
    if (-s.last_exponent > kMaxDigits)
        return KXSTD_NUMERIC_OUT_OF_RANGE;   // a digit beyond 38 places
    int64_t scale = own_scale > kMaxDigits ? kMaxDigits : own_scale;
    int64_t zeros = s.last_exponent + scale;   // after the last nonzero digit
    if (s.count + zeros > kMaxDigits) {
        // the fraction's trailing zeros go as far as 38 digits need
        int64_t excess = s.count + zeros - kMaxDigits;
        if (excess > zeros || excess > scale)
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        scale -= excess;
        zeros -= excess;
    }
    u128 m = digits_value(text, s.first, s.count) * pow10_128(static_cast<int>(zeros));
    *out = make_record(m, static_cast<int32_t>(scale), text.negative);
    return KXSTD_OK;
}

int32_t decimal_to_bigint(const DecimalText &text, int64_t *out)
{
    Significant s;
    if (!significant_digits(text, &s) || s.first_exponent < 0) {
        *out = 0;
        return KXSTD_OK;
    }
    if (s.first_exponent >= 19)
        return KXSTD_NUMERIC_OUT_OF_RANGE;   // 10^19 and more
    int64_t whole = s.first_exponent + 1;   // digits of the whole part
    u128 m;
    if (s.count <= whole)
        m = digits_value(text, s.first, s.count) *
            pow10_128(static_cast<int>(whole - s.count));
    else
        m = digits_value(text, s.first, whole);
    return signed_in_range(m, text.negative, static_cast<u128>(INT64_MAX), out);
}

double decimal_to_double(const DecimalText &text)
{
    Significant s;
    if (!significant_digits(text, &s))
        return 0.0;
    // 780 digits decide the nearest double of any decimal (767 are the
    // most a halfway case needs); a nonzero digit stands for the rest.
    constexpr int64_t kKept = 780;
    char digits[kKept + 1];
    int64_t kept = s.count <= kKept ? s.count : kKept;
    for (int64_t i = 0; i < kept; i++)
        digits[i] = digit_at(text, s.first + i);
    int64_t exponent = s.last_exponent;
    if (kept < s.count) {
        digits[kept] = '1';
        exponent = s.first_exponent - kept;
        kept += 1;
    }
    double d = digits_to_double(digits, static_cast<size_t>(kept), exponent);
    return text.negative ? -d : d;
}

int32_t shortest_digits(double d, char digits[17], int32_t *exponent)
{
    if (d == 0.0 || !std::isfinite(d)) {
        digits[0] = '0';
        *exponent = 0;
        return 1;
    }
    return shortest_e_digits(std::fabs(d), digits, exponent);
}

int32_t round_numeric(const NumericStruct *number, int32_t places, Rounding how,
                      NumericStruct *out)
{
    Wide m = wide_of(load_magnitude(number));
    int64_t scale = number->scale;
    bool negative = is_negative(number);
    int64_t target = places < kMaxDigits ? places : kMaxDigits;
    if (is_zero(m)) {
        *out = make_record(0, static_cast<int32_t>(target < 0 ? 0 : target), false);
        return KXSTD_OK;
    }
    if (target < scale) {
        // digits are dropped: the first dropped digit may lie before the
        // number's first digit (a zero, with the whole number as the rest)
        int64_t drop = scale - target;
        if (drop > digit_count(m)) {
            m = wide_of(rounds_up(how, negative, 0, true) ? 1 : 0);
        } else {
            drop_digits(m, drop, how, negative);
        }
        return settle(m, target, negative, kMaxDigits, out);
    }
    // nothing dropped: the places asked for, as far as 38 digits reach
    if (scale < 0) {
        if (-scale > kMaxDigits)
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        multiply_pow10(m, static_cast<int32_t>(-scale));
        scale = 0;
    }
    int64_t whole_digits = digit_count(m) - scale;
    int64_t room = kMaxDigits - (whole_digits > 0 ? whole_digits : 0);
    int64_t kept = target < room ? target : room;
    if (kept < scale)
        kept = scale;
    multiply_pow10(m, static_cast<int32_t>(kept - scale));
    return settle(m, kept, negative, kMaxDigits, out);
}

double round_double(double d, int32_t places, Rounding how)
{
    if (d == 0.0 || !std::isfinite(d))
        return d == 0.0 ? 0.0 : d;
    bool negative = d < 0.0;
    char digits[19];
    int32_t exponent;
    int32_t n = shortest_e_digits(std::fabs(d), digits, &exponent);
    // the digits kept are those down to the power 10^-places
    int64_t keep = static_cast<int64_t>(exponent) + places + 1;
    if (keep >= n)
        return d;
    char text[24];
    size_t length;
    bool up;
    if (keep <= 0) {
        // every digit goes; the first dropped is digits[0] only when
        // keep is 0, a zero before it otherwise
        uint64_t first = keep == 0 ? static_cast<uint64_t>(digits[0] - '0') : 0;
        up = rounds_up(how, negative, first, true);
        if (!up)
            return 0.0;
        text[0] = '1';
        length = 1;
    } else {
        length = static_cast<size_t>(keep);
        std::memcpy(text, digits, length);
        uint64_t first = static_cast<uint64_t>(digits[keep] - '0');
        up = rounds_up(how, negative, first, keep + 1 < n);
        if (up) {
            size_t i = length;
            while (i > 0 && text[i - 1] == '9')
                text[--i] = '0';
            if (i > 0) {
                text[i - 1]++;
            } else {
                std::memmove(text + 1, text, length);
                text[0] = '1';
                length++;
            }
        }
    }
    // the last digit written stands at 10^-places
    double r = digits_to_double(text, length, -static_cast<int64_t>(places));
    if (r == 0.0)
        return 0.0;
    return negative ? -r : r;
}

int32_t double_to_numeric_at(double d, int32_t scale, int32_t precision, NumericStruct *out)
{
    if (!std::isfinite(d))
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    if (precision < 1 || precision > kMaxDigits)
        precision = kMaxDigits;
    bool negative = d < 0.0;
    char digits[17];
    int32_t exponent;
    int32_t n = shortest_digits(d, digits, &exponent);
    u128 value = 0;
    for (int32_t i = 0; i < n; i++)
        value = value * 10 + static_cast<unsigned>(digits[i] - '0');
    Wide m = wide_of(value);
    // value x 10^(exponent - n + 1) at the given scale
    int64_t own_scale = static_cast<int64_t>(n) - 1 - exponent;
    if (value != 0) {
        if (own_scale > scale) {
            int64_t drop = own_scale - scale;
            if (drop > n)
                m = wide_of(0);
            else
                drop_digits(m, drop, Rounding::kHalfAwayFromZero, negative);
        } else {
            int64_t grow = scale - own_scale;
            if (n + grow > precision)
                return KXSTD_NUMERIC_OUT_OF_RANGE;
            multiply_pow10(m, static_cast<int32_t>(grow));
        }
    }
    if (digit_count(m) > precision)
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    NumericStruct r = make_record(low_128(m), scale, negative);
    r.precision = static_cast<uint8_t>(precision);
    *out = r;
    return KXSTD_OK;
}

}  // namespace kx::stdnum

extern "C" {

KX_API int32_t kxstd_add_numeric(NumericStruct *a, const NumericStruct *b)
{
    if (a == nullptr || b == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    return add_signed(a, b, false);
}

KX_API int32_t kxstd_subtract_numeric(NumericStruct *a, const NumericStruct *b)
{
    if (a == nullptr || b == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    return add_signed(a, b, true);
}

KX_API int32_t kxstd_mult_numeric(NumericStruct *a, const NumericStruct *b)
{
    if (a == nullptr || b == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    if (kx::stdnum::multiply_short(a, b))
        return KXSTD_OK;   // the common product, exact within 128 bits
    Wide product = multiply_by(wide_of(load_magnitude(a)), load_magnitude(b));
    int64_t scale = static_cast<int64_t>(a->scale) + b->scale;
    NumericStruct result;
    int32_t status =
        settle(product, scale, is_negative(a) != is_negative(b), kMaxDigits, &result);
    if (status == KXSTD_OK)
        *a = result;
    return status;
}

KX_API int32_t kxstd_div_numeric(NumericStruct *a, const NumericStruct *b)
{
    if (a == nullptr || b == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    u128 divisor = load_magnitude(b);
    if (divisor == 0)
        return KXSTD_DIVISION_BY_ZERO;
    u128 dividend = load_magnitude(a);
    int32_t wanted = (a->scale > 0 ? a->scale : 0) + 4;
    if (wanted > kMaxDigits)
        wanted = kMaxDigits;
    // The quotient truncated at one digit past the scale wanted: that digit
    // decides the rounding half away from zero, exactly as the full
    // quotient's would (truncation only takes off what lies beyond it).
    int64_t shift = static_cast<int64_t>(b->scale) - a->scale + wanted + 1;
    Wide truncated;
    if (shift >= 0) {
        Wide n = wide_of(dividend);
        multiply_pow10(n, static_cast<int32_t>(shift));
        truncated = divide_by(n, divisor);
    } else {
        truncated = wide_of(dividend / divisor);
        divide_pow10(truncated, -shift);
    }
    NumericStruct result;
    int32_t status = settle(truncated, wanted + 1, is_negative(a) != is_negative(b), wanted,
                            &result);
    if (status == KXSTD_OK)
        *a = result;
    return status;
}

KX_API int32_t kxstd_numeric_compare(const NumericStruct *a, const NumericStruct *b)
{
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : (a == nullptr ? -1 : 1);   // a missing record first
    u128 ma = load_magnitude(a);
    u128 mb = load_magnitude(b);
    int sign_a = ma == 0 ? 0 : (is_negative(a) ? -1 : 1);
    int sign_b = mb == 0 ? 0 : (is_negative(b) ? -1 : 1);
    if (sign_a != sign_b)
        return sign_a < sign_b ? -1 : 1;
    if (sign_a == 0)
        return 0;
    int c;
    if (!kx::stdnum::compare_short_magnitudes(a, b, &c)) {
        int32_t scale = a->scale > b->scale ? a->scale : b->scale;
        c = compare(aligned(a, scale), aligned(b, scale));
    }
    return sign_a < 0 ? -c : c;
}

KX_API int32_t kxstd_numeric_to_int(const NumericStruct *number, int32_t *out)
{
    if (number == nullptr || out == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    u128 m;
    int32_t status = truncated_magnitude(number, &m);
    int64_t v = 0;
    if (status == KXSTD_OK)
        status = signed_in_range(m, is_negative(number), static_cast<u128>(INT32_MAX), &v);
    if (status == KXSTD_OK)
        *out = static_cast<int32_t>(v);
    return status;
}

KX_API int32_t kxstd_numeric_to_bigint(const NumericStruct *number, int64_t *out)
{
    if (number == nullptr || out == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    u128 m;
    int32_t status = truncated_magnitude(number, &m);
    if (status == KXSTD_OK)
        status = signed_in_range(m, is_negative(number), static_cast<u128>(INT64_MAX), out);
    return status;
}

KX_API int32_t kxstd_numeric_to_double(const NumericStruct *number, double *out)
{
    if (number == nullptr || out == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    u128 m = load_magnitude(number);
    if (m == 0) {
        *out = 0.0;
        return KXSTD_OK;
    }
    char digits[48];
    size_t n = magnitude_text(m, digits);
    double d = digits_to_double(digits, n, -static_cast<int64_t>(number->scale));
    *out = is_negative(number) ? -d : d;
    return KXSTD_OK;
}

KX_API int32_t kxstd_bigint_to_numeric(int64_t value, NumericStruct *out, int32_t scale)
{
    if (out == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    if (scale < 0 || scale > kMaxDigits)
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    uint64_t bits = static_cast<uint64_t>(value);
    u128 magnitude = value < 0 ? 0 - bits : bits;
    Wide m = wide_of(magnitude);
    multiply_pow10(m, scale);
    if (digit_count(m) > kMaxDigits)
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    *out = make_record(low_128(m), scale, value < 0);
    return KXSTD_OK;
}

KX_API int32_t kxstd_text_to_numeric(const char *text, NumericStruct *out)
{
    if (out == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    kx::stdnum::DecimalText t;
    if (!kx::stdnum::scan_decimal(text, &t))
        return KXSTD_INVALID_NUMBER;
    NumericStruct result;
    int32_t status = kx::stdnum::decimal_to_numeric(t, &result);
    if (status == KXSTD_OK)
        *out = result;
    return status;
}

}  // extern "C"
