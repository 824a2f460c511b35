// parsehelp_std_numbers: the exact numeric literal of the standard family.
//
// Exports kxstd_make_numeric (include/kxsupp/standard.h). Where MakeNumeric
// turns a short literal into an integer or a double (so that 0.1 + 0.2 is
// not 0.3), kxstd_make_numeric makes every literal an exact VALUE_NUMERIC
// declared as SQL declares a literal: the number of digits it holds as its
// precision (at most 38) and the fraction's length as its scale, in the
// record and in attr[0] and attr[1] as MakeNumeric's numerics keep them. The leaf is made
// zero-filled by newNode in the caller's memory handle; nothing is posted.
#include <cstring>

#include "arith/numeric_std_internal.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

bool only_digits(const char *text, size_t length)
{
    for (size_t i = 0; i < length; i++)
        if (text[i] < '0' || text[i] > '9')
            return false;
    return true;
}

// The literal's leaf in the handle: "007.50" is NUMERIC(5,2), every digit
// written counting toward its precision, leading zeros too.
Value *numeric_leaf(NumericStruct number, size_t written, MemHandle *handle, int32_t *status)
{
    Value *leaf = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
    if (leaf == nullptr) {
        *status = KXSTD_NO_MEMORY;
        return nullptr;
    }
    number.precision = static_cast<uint8_t>(written < 38 ? written : 38);
    if (number.precision < number.scale)
        number.precision = static_cast<uint8_t>(number.scale);
    leaf->type = VALUE_NUMERIC;
    leaf->attr[0] = number.precision;
    leaf->attr[1] = number.scale;
    leaf->payload.numeric = number;
    *status = KXSTD_OK;
    return leaf;
}

// Digits of at most 19 in all, the literals a statement mostly holds: their
// value read in 64 bits as they are checked, at the fraction's scale (the
// general reading gives the same record). False, having written nothing,
// for any other text.
bool short_literal(const char *integer_digits, const char *fraction_digits, NumericStruct *out,
                   size_t *written)
{
    uint64_t magnitude = 0;
    size_t count = 0;
    const char *p = integer_digits;
    for (; *p != '\0' && count < 20; ++p, ++count) {
        unsigned digit = static_cast<unsigned>(*p - '0');
        if (digit > 9)
            return false;
        magnitude = magnitude * 10 + digit;
    }
    size_t integer_count = count;
    for (p = fraction_digits; *p != '\0' && count < 20; ++p, ++count) {
        unsigned digit = static_cast<unsigned>(*p - '0');
        if (digit > 9)
            return false;
        magnitude = magnitude * 10 + digit;
    }
    if (count == 0 || count > 19)
        return false;
    *out = kx::stdnum::make_record(magnitude, static_cast<int32_t>(count - integer_count), false);
    *written = count;
    return true;
}

}  // namespace

extern "C" {

KX_API Value *kxstd_make_numeric(const char *integer_digits, const char *fraction_digits,
                                 MemHandle *handle, int32_t *status)
{
    int32_t ignored;
    if (status == nullptr)
        status = &ignored;
    // The scanner hands over the digits before and after the point, either
    // may be missing ("5", ".5", "5."); anything but digits is no literal.
    const char *i = integer_digits != nullptr ? integer_digits : "";
    const char *f = fraction_digits != nullptr ? fraction_digits : "";
    NumericStruct number;
    size_t written = 0;
    if (short_literal(i, f, &number, &written))
        return numeric_leaf(number, written, handle, status);
    size_t il = std::strlen(i);
    size_t fl = std::strlen(f);
    if (il + fl == 0 || !only_digits(i, il) || !only_digits(f, fl) || il > INT32_MAX / 2 ||
        fl > INT32_MAX / 2) {
        *status = KXSTD_INVALID_NUMBER;
        return nullptr;
    }
    kx::stdnum::DecimalText text;
    text.integer_digits = i;
    text.integer_length = static_cast<int32_t>(il);
    text.fraction_digits = f;
    text.fraction_length = static_cast<int32_t>(fl);
    text.exponent = -static_cast<int64_t>(fl);
    text.negative = false;
    int32_t rc = kx::stdnum::decimal_to_numeric(text, &number);
    if (rc != KXSTD_OK) {
        *status = rc;
        return nullptr;
    }
    return numeric_leaf(number, il + fl, handle, status);
}

}  // extern "C"
