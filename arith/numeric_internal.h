// Internal helpers of the exact numeric module, shared with its tests and
// with the operators. Not part of the public headers.
#ifndef KXSUPP_ARITH_NUMERIC_INTERNAL_H
#define KXSUPP_ARITH_NUMERIC_INTERNAL_H

#include <stddef.h>
#include <stdint.h>

#include "kxsupp/common.h"

namespace kx {

// Doubles of the powers of two 2^0 .. 2^126; entry 127 is 1.7014118346046924e37
// (bit pattern 0x47A999999999999A), one tenth of 2^127, as the library has
// always converted a magnitude with bit 127 set.
extern const double d_factors[128];

// The decimal texts of the powers of two: entry k is 2^k without leading
// zeros, "1" up to "170141183460469231731687303715884105728".
extern const char *const factors[128];

// "340282366920938463463374607431768211455", 2^128 - 1: the largest magnitude.
extern const char *const max_num;

// Compares two unsigned decimal strings: the integer part and fraction of
// each are joined, the shorter fraction padded with '0', then the longer
// string is greater and equal lengths compare character by character.
// Leading zeros are not skipped. Returns -1, 0 or 1.
int numeric_string_compare(const char *s1, const char *s2);

// Writes the text of the number as numeric_to_string makes it, NUL-terminated,
// into out (at least numeric_text_capacity characters) and returns its length.
constexpr size_t numeric_text_capacity = 176;
size_t numeric_format(const NumericStruct *number, char *out);

}  // namespace kx

#endif
