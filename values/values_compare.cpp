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
#include <cstdio>
#include <cstring>

#include "kxsupp/arith.h"
#include "kxsupp/values.h"

namespace {

int32_t sign_of(double d)
{
    return d > 0 ? 1 : (d < 0 ? -1 : 0);
}

// Compares the zero-terminated texts a and b, each padded with blanks to
// `padded` characters (a text longer than that is taken whole). strcmp
// decides unless one text is a prefix of the other: only then does the
// padding take part, against the longer text's remaining characters.
int32_t compare_blank_padded(const char *a, const char *b, size_t padded)
{
    int r = std::strcmp(a, b);
    if (r == 0)
        return 0;
    size_t la = std::strlen(a);
    size_t lb = std::strlen(b);
    size_t common = la < lb ? la : lb;
    if (std::memcmp(a, b, common) != 0)
        return r;  // they differ inside both texts: padding plays no part
    // The shorter text continues with blanks up to `padded`, then ends; the
    // longer one goes on with its own characters.
    const unsigned char *longer = reinterpret_cast<const unsigned char *>(la > lb ? a : b);
    size_t end = la > lb ? la : lb;
    size_t blank_end = padded < end ? padded : end;
    size_t i = common;
    while (i < blank_end && longer[i] == ' ')
        ++i;
    if (i == end)
        return 0;
    int pad = i < padded ? ' ' : 0;
    int c = longer[i];
    return la > lb ? c - pad : pad - c;
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

int32_t compare_text(const Value *left, const Value *right)
{
    const char *a = text_of(left);
    if (right->type != VALUE_STRING) {
        if (right->type == VALUE_BINARY)
            return compare_with_binary_text(a, right);
        // Every other rendering (numbers, datetimes, intervals) is short.
        char rendering[1024];
        rendering[0] = '\0';
        const char *b = value_as_text_n(right, rendering, sizeof rendering, nullptr);
        return std::strcmp(a, b);
    }
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

}  // extern "C"
