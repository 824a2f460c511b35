// Internals shared by the values module's source files (model and text).
#ifndef KXSUPP_VALUES_INTERNAL_H
#define KXSUPP_VALUES_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "kxsupp/common.h"

namespace kx {

// Octets of inline text room in a block of kind NODE_VALUE_INLINE: NewValue
// gives every text shorter than this (terminator included) such a block.
inline constexpr int32_t kInlineTextRoom = 128;

// The payload octets of a value type in a dm row buffer: fixed for the
// scalar types, -1 for the variable-length ones (string, binary), 0 for
// types without a dm form. Shared by the family's dm routines and the
// standard family's.
constexpr int32_t dm_payload_size(int32_t type)
{
    switch (type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        return 4;
    case VALUE_DOUBLE:
    case VALUE_BIGINT:
        return 8;
    case VALUE_DATE:
    case VALUE_TIME:
        return 6;
    case VALUE_TIMESTAMP:
        return 16;
    case VALUE_NUMERIC:
        return 19;
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        return 28;
    case VALUE_STRING:
    case VALUE_BINARY:
        return -1;
    default:
        return 0;
    }
}

// A double truncated toward zero into 32 bits: beyond the range it
// saturates at INT32_MAX / INT32_MIN, and NaN gives INT32_MIN.
int32_t double_to_int32(double d);
// The same into 64 bits (INT64_MAX / INT64_MIN, NaN gives INT64_MIN).
int64_t double_to_int64(double d);

// A text under construction in a caller's buffer of capacity octets: it
// never writes past capacity - 1 characters and the terminator, and counts
// the full length of everything appended. Capacity SIZE_MAX is unbounded.
struct TextSink {
    char *buf;
    size_t capacity;
    size_t length;  // full length appended so far

    void append(const char *text, size_t n);
    void append(const char *text);
    void append_char(char c);
    // Terminates at min(length, capacity - 1); nothing when capacity is 0.
    void finish();
};

// Writes the texts of the values module through a sink. value is not null
// and its null flag is zero.
void render_value(const Value *value, TextSink &sink);
void render_interval(const Value *value, TextSink &sink, bool sql_form);

// The walks of the blank-padded text comparison (values_compare.cpp):
// octet by octet, in blocks of 8 or 16 octets, in blocks of 32 (AVX2), in
// blocks of 64 (AVX-512), or the one the first comparison chooses. All give
// the same results; the tests run each. False, and nothing changed, when
// the processor or the build lacks the walk asked for.
enum class TextWalk { kOctets, kNarrowBlocks, kWideBlocks, kWidestBlocks, kChosen };
bool use_text_walk(TextWalk walk);

}  // namespace kx

#endif
