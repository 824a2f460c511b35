// A faithful rendering of the decimal-string algorithm that the numeric
// module's text conversions historically used: one decimal-string addition
// per set bit to make text, one comparison and subtraction per power of two
// to parse it. Kept as the benchmark's baseline and as an independent
// reference for the tests. Not part of the library.
#ifndef KXSUPP_BENCH_NUMERIC_PERBIT_BASELINE_H
#define KXSUPP_BENCH_NUMERIC_PERBIT_BASELINE_H

#include <stddef.h>
#include <stdint.h>

#include "arith/numeric_internal.h"
#include "kxsupp/common.h"

namespace perbit {

// factors[k] is the decimal text of 2^k; max_num is
// "340282366920938463463374607431768211455". Both are the library's tables.
using kx::factors;
using kx::max_num;

// accumulator += addend (decimal digit strings; accumulator holds >= 160).
void add_string(char *accumulator, const char *addend);
// minuend -= subtrahend, minuend >= subtrahend; leading zeros dropped.
void subtract_string(char *minuend, const char *subtrahend);
// -1, 0, 1 over unsigned decimal strings, fractions aligned.
int numeric_string_compare(const char *s1, const char *s2);

// The number's text into buffer as numeric_to_string makes it; returns 1
// when cut to buffer_length - 1 characters, else 0.
int32_t numeric_to_string(const NumericStruct *number, char *buffer,
                          int32_t buffer_length, int32_t *length_out);
// Parses text (modified in place) as string_to_numeric does: 0 or -2.
int32_t string_to_numeric(char *text, NumericStruct *out, uint8_t precision,
                          int32_t scale);

}  // namespace perbit

#endif
