// How the standard family reads a Value as a number, shared by its
// operators, scalar functions and comparison. Defined in
// values/values_std_numbers.cpp. Not part of the public headers.
//
// Every reader returns a KXSTD_ status and leaves its output untouched on
// an error; none posts or jumps. The value is taken as not NULL: callers
// test the null flag (is_null_value) first.
#ifndef KXSUPP_VALUES_VALUES_STD_NUMBERS_H
#define KXSUPP_VALUES_VALUES_STD_NUMBERS_H

#include <stdint.h>

#include "kxsupp/common.h"

namespace kx::stdnum {

// What a value is as an operand of arithmetic.
enum class NumberKind {
    kExact,    // VALUE_INTEGER, VALUE_BIT, VALUE_BIGINT, VALUE_NUMERIC
    kDouble,   // VALUE_DOUBLE
    kText,     // VALUE_STRING: a number when its text reads as one
    kNull,     // VALUE_NULL, the untyped NULL
    kOther,    // datetimes, intervals, binaries, long data, anything else
};

NumberKind number_kind(const Value *value);

// A missing value, a VALUE_NULL or a nonzero null flag.
bool is_null_value(const Value *value);

// The value as an exact numeric (integers, bigints and numerics as they
// are, text through kxstd_text_to_numeric): KXSTD_OK, KXSTD_INVALID_NUMBER,
// KXSTD_NUMERIC_OUT_OF_RANGE, or KXSTD_TYPE_MISMATCH for a double or any
// other type.
int32_t value_to_numeric(const Value *value, NumericStruct *out);

// The value as the nearest double (text read as a decimal number): KXSTD_OK,
// KXSTD_INVALID_NUMBER, KXSTD_NUMERIC_OUT_OF_RANGE (text beyond the
// doubles' range), or KXSTD_TYPE_MISMATCH.
int32_t value_to_double(const Value *value, double *out);

// The order of two non-NULL number values (integers, bigints, numerics,
// doubles, or text read as a number), -1, 0 or 1, by their true values: two
// exact ones exactly, a double against anything as doubles. The statuses of
// the readers above.
int32_t compare_numbers(const Value *a, const Value *b, int32_t *order);

}  // namespace kx::stdnum

#endif
