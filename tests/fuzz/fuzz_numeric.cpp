// Fuzz target for exact decimals: numeric text is parsed (string_to_numeric,
// create_numeric), printed (numeric_to_string) and parsed again, and the
// results are combined with the routines and the operators (add, subtract,
// multiply and divide, numeric_operation and bigint_operation, division by
// zero through an armed exit). Exports LLVMFuzzerTestOneInput.
//
// Input: [precision] [scale] [scale] [operation] [buffer length] text A \0
// text B \0 [integer operand, 8 octets].
//
// The expected results come from a model of the documented algorithms kept
// here on unsigned 128-bit integers: the magnitude, sign and scale a text
// parses to (or -2 beyond 2^128 - 1), the text a record prints as, the sum
// (scale alignment and its silent overflow included), the product modulo
// 2^128, the comparison, and the quotient through double precision.
// Properties: the library agrees with the model; numeric text printed and
// parsed again gives the same number and the same text; the printed text
// obeys the buffer rules (full length reported, cut and terminated, nothing
// written past the buffer).
#include <cmath>
#include <csetjmp>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"

namespace {

typedef unsigned __int128 u128;

const char kMaxMagnitude[] = "340282366920938463463374607431768211455";

NumericStruct record(u128 magnitude, int8_t scale, uint8_t sign, uint8_t precision)
{
    NumericStruct n;
    std::memset(&n, 0, sizeof n);
    n.precision = precision;
    n.scale = scale;
    n.sign = sign;
    for (int i = 0; i < 16; ++i)
        n.val[i] = static_cast<uint8_t>(magnitude >> (8 * i));
    return n;
}

u128 magnitude_of(const NumericStruct &n)
{
    u128 m = 0;
    for (int i = 15; i >= 0; --i)
        m = (m << 8) | n.val[i];
    return m;
}

std::string decimal(u128 m)
{
    std::string s;
    do {
        s.insert(s.begin(), static_cast<char>('0' + static_cast<int>(m % 10)));
        m /= 10;
    } while (m != 0);
    return s;
}

bool same_record(const NumericStruct &a, const NumericStruct &b)
{
    return a.precision == b.precision && a.scale == b.scale && a.sign == b.sign &&
           std::memcmp(a.val, b.val, 16) == 0;
}

std::string show(const NumericStruct &n)
{
    return std::string(n.sign == 0 ? "-" : "+") + decimal(magnitude_of(n)) + "e-" +
           std::to_string(n.scale) + " p" + std::to_string(n.precision);
}

// ---- the model ----

// Text of the grammar the parser documents: blanks, a sign, digits, one
// point, digits. Other characters give an unspecified magnitude.
bool well_formed(const std::string &t)
{
    size_t i = 0;
    while (i < t.size() && t[i] == ' ')
        ++i;
    if (i < t.size() && (t[i] == '-' || t[i] == '+'))
        ++i;
    bool point = false;
    for (; i < t.size(); ++i) {
        if (t[i] == '.' && !point)
            point = true;
        else if (t[i] < '0' || t[i] > '9')
            return false;
    }
    return true;
}

// string_to_numeric over a well-formed text: the status, and the record it
// writes over *n (on -2 only the sign).
int32_t model_parse(const std::string &text, NumericStruct *n, uint8_t precision,
                    int32_t scale)
{
    std::string t = text;
    size_t point = t.find('.');
    if (point != std::string::npos) {
        scale += static_cast<int32_t>(t.size() - point - 1);
        t.erase(point, 1);
    }
    size_t i = 0;
    while (i < t.size() && t[i] == ' ')
        ++i;
    uint8_t sign = 1;
    if (i < t.size() && (t[i] == '-' || t[i] == '+'))
        sign = t[i++] == '-' ? 0 : 1;
    while (i < t.size() && t[i] == '0')
        ++i;
    std::string digits = t.substr(i);
    n->sign = sign;
    if (digits.size() > 39 || (digits.size() == 39 && digits > kMaxMagnitude))
        return -2;
    u128 m = 0;
    for (char c : digits)
        m = m * 10 + static_cast<unsigned>(c - '0');
    *n = record(m, static_cast<int8_t>(scale), sign, precision);
    return 0;
}

// numeric_to_string's whole text.
std::string model_text(const NumericStruct &n)
{
    std::string digits = decimal(magnitude_of(n));
    std::string out = n.sign == 0 ? "-" : "";
    int scale = n.scale;
    size_t count = digits.size();
    if (scale > 0) {
        std::string body;
        if (count > static_cast<size_t>(scale))
            body = digits.substr(0, count - static_cast<size_t>(scale)) + "." +
                   digits.substr(count - static_cast<size_t>(scale));
        else
            body = "0." + std::string(static_cast<size_t>(scale) - count, '0') + digits;
        while (body.back() == '0')
            body.pop_back();
        if (body.back() == '.')
            body.pop_back();
        return out + body;
    }
    if (scale < 0)
        return out + digits + std::string(static_cast<size_t>(-scale), '0');
    return out + digits;
}

// Two numbers of different scales compare by their printed texts, aligned
// as numeric_string_compare aligns them: the fraction digits joined to the
// integer part and the shorter fraction padded with '0', then the longer
// text greater, then character order. Leading zeros are not skipped, so a
// zero at a negative scale ("000") is greater than a zero at scale 0.
int printed_text_compare(const NumericStruct &a, const NumericStruct &b)
{
    std::string ta = model_text(a), tb = model_text(b);
    size_t pa = ta.find('.'), pb = tb.find('.');
    std::string ia = pa == std::string::npos ? ta : ta.substr(0, pa);
    std::string fa = pa == std::string::npos ? "" : ta.substr(pa + 1);
    std::string ib = pb == std::string::npos ? tb : tb.substr(0, pb);
    std::string fb = pb == std::string::npos ? "" : tb.substr(pb + 1);
    size_t width = fa.size() > fb.size() ? fa.size() : fb.size();
    fa.resize(width, '0');
    fb.resize(width, '0');
    std::string left = ia + fa, right = ib + fb;
    if (left.size() != right.size())
        return left.size() < right.size() ? -1 : 1;
    return left == right ? 0 : left < right ? -1 : 1;
}

int model_compare(const NumericStruct &a, const NumericStruct &b)
{
    if (a.sign == 1 && b.sign == 0)
        return 1;
    if (a.sign == 0 && b.sign == 1)
        return -1;
    int r;
    if (a.scale != b.scale) {
        r = printed_text_compare(a, b);
    } else {
        u128 ma = magnitude_of(a), mb = magnitude_of(b);
        r = ma == mb ? 0 : ma < mb ? -1 : 1;
    }
    return a.sign == 0 ? -r : r;
}

int32_t model_add(NumericStruct *a, const NumericStruct &b)
{
    if (a->scale != b.scale) {
        NumericStruct ca = *a, cb = b;
        NumericStruct *smaller = ca.scale < cb.scale ? &ca : &cb;
        int8_t larger = ca.scale < cb.scale ? cb.scale : ca.scale;
        u128 m = magnitude_of(*smaller);
        for (int k = smaller->scale; k < larger; ++k)
            m *= 10;
        *smaller = record(m, larger, smaller->sign, smaller->precision);
        model_add(&ca, cb);
        *a = ca;
        return 0;
    }
    u128 ma = magnitude_of(*a), mb = magnitude_of(b);
    bool a_negative = a->sign != 1, b_negative = b.sign != 1;
    if (a_negative == b_negative) {
        u128 sum = ma + mb;
        *a = record(sum, a->scale, a->sign, a->precision);
        return sum < ma ? -2 : 0;
    }
    if (a_negative)
        *a = ma >= mb ? record(ma - mb, a->scale, 0, a->precision)
                      : record(mb - ma, a->scale, 1, a->precision);
    else
        *a = ma >= mb ? record(ma - mb, a->scale, 1, a->precision)
                      : record(mb - ma, a->scale, 0, a->precision);
    return 0;
}

int32_t model_subtract(NumericStruct *a, const NumericStruct &b)
{
    NumericStruct flipped = b;
    flipped.sign = b.sign == 1 ? 0 : 1;
    return model_add(a, flipped);
}

void model_multiply(NumericStruct *a, const NumericStruct &b)
{
    *a = record(magnitude_of(*a) * magnitude_of(b),
                static_cast<int8_t>(a->scale + b.scale), a->sign == b.sign ? 1 : 0, 0);
}

// div_numeric's quotient; false when the model cannot tell (division by
// zero, or a quotient beyond the doubles).
bool model_divide(NumericStruct *a, const NumericStruct &b)
{
    double x = std::atof(model_text(*a).c_str());
    double y = std::atof(model_text(b).c_str());
    if (y == 0)
        return false;
    double q = x / y;
    int s = a->scale;
    double v = q;
    if (s < 0) {
        v = q / std::pow(10.0, -s);
        double whole;
        if (std::isfinite(v) && std::modf(v, &whole) != 0)
            return true;   // a keeps the dividend
    } else if (s > 0) {
        v = q * std::pow(10.0, s);
    }
    if (!std::isfinite(v))
        return false;
    char text[400];
    std::snprintf(text, sizeof text, "%.0f", v);
    model_parse(text, a, a->precision, s);
    return true;
}

// ---- checks ----

std::string print(const NumericStruct &n)
{
    char buffer[400];
    int32_t length = -1;
    numeric_to_string(&n, buffer, sizeof buffer, &length);
    return buffer;
}

// numeric_to_string into a buffer of every interesting length.
void check_text_buffer(const NumericStruct &n, int32_t buffer_length)
{
    std::string full = model_text(n);
    kxfuzz::Guarded buffer(static_cast<size_t>(buffer_length));
    int32_t length = -1;
    int32_t cut = numeric_to_string(&n, buffer.data(), buffer_length, &length);
    FUZZ_CHECK(buffer.guard_intact(), "numeric_to_string wrote past %d octets", buffer_length);
    FUZZ_CHECK(length == static_cast<int32_t>(full.size()), "%s: full length %d, text [%s]",
               show(n).c_str(), length, full.c_str());
    bool fits = full.size() < static_cast<size_t>(buffer_length);
    FUZZ_CHECK(cut == (fits ? 0 : 1), "truncation result %d for %d octets", cut,
               buffer_length);
    if (fits) {
        FUZZ_CHECK(full == buffer.data(), "%s printed [%s], expected [%s]", show(n).c_str(),
                   buffer.data(), full.c_str());
    } else if (buffer_length > 0) {
        size_t kept = static_cast<size_t>(buffer_length) - 1;
        FUZZ_CHECK(std::memcmp(buffer.data(), full.data(), kept) == 0 &&
                       buffer.data()[kept] == '\0',
                   "cut text is not the first %zu octets and a terminator", kept);
    }
    int32_t only_length = -1;
    numeric_to_string(&n, nullptr, 0, &only_length);
    FUZZ_CHECK(only_length == length, "a null buffer reports the full length");
}

// Printed and parsed again: the same number, and the same text.
void check_round_trip(const NumericStruct &n)
{
    // A zero at a negative scale prints as several zeros ("000"), which
    // compare greater than the single zero they parse back to.
    if (magnitude_of(n) == 0 && n.scale < 0)
        return;
    std::string text = print(n);
    std::string copy = text;
    NumericStruct again = record(0, 0, 1, 0);
    int32_t status = string_to_numeric(copy.data(), &again, n.precision, 0);
    if (status == -2) {
        // Only a negative scale prints more digits than the record holds.
        FUZZ_CHECK(n.scale < 0, "%s printed as [%s] does not parse back", show(n).c_str(),
                   text.c_str());
        return;
    }
    FUZZ_CHECK(status == 0, "status %d", status);
    FUZZ_CHECK(numeric_compare(&n, &again) == 0 && numeric_compare(&again, &n) == 0,
               "%s printed as [%s] parses back as %s", show(n).c_str(), text.c_str(),
               show(again).c_str());
    FUZZ_CHECK(print(again) == text, "[%s] printed again as [%s]", text.c_str(),
               print(again).c_str());
}

// Parses text with both parsers; returns the record of string_to_numeric.
NumericStruct parse_and_check(const std::string &text, uint8_t precision, int32_t scale,
                              int32_t create_scale)
{
    NumericStruct got = record(0x1234, 3, 1, 7);
    std::string copy = text;
    int32_t status = string_to_numeric(copy.data(), &got, precision, scale);
    if (well_formed(text)) {
        NumericStruct want = record(0x1234, 3, 1, 7);
        int32_t expected = model_parse(text, &want, precision, scale);
        FUZZ_CHECK(status == expected && same_record(got, want),
                   "[%s] scale %d parsed as %s status %d, expected %s status %d",
                   text.c_str(), scale, show(got).c_str(), status, show(want).c_str(),
                   expected);

        // create_numeric: the fraction padded or cut to the scale.
        if (create_scale >= 0) {
            std::string integer = text, fraction;
            size_t point = text.find('.');
            if (point != std::string::npos) {
                integer = text.substr(0, point);
                fraction = text.substr(point + 1);
            }
            fraction.resize(static_cast<size_t>(create_scale), '0');
            NumericStruct created = record(0x1234, 3, 1, 7);
            NumericStruct want_created = created;
            int32_t created_status =
                create_numeric(text.c_str(), &created, precision, create_scale);
            int32_t want_status =
                model_parse(integer + fraction, &want_created, precision, create_scale);
            FUZZ_CHECK(created_status == want_status && same_record(created, want_created),
                       "create_numeric([%s], %d) gave %s, expected %s", text.c_str(),
                       create_scale, show(created).c_str(), show(want_created).c_str());
        }
    } else {
        FUZZ_CHECK(status == 0 || status == -2, "status %d", status);
        NumericStruct created;
        create_numeric(text.c_str(), &created, precision, create_scale);
    }
    return got;
}

// ---- operators, with the exit armed ----

typedef void (*Operator)(Value *, Value *, Value *, EvalContext *, int32_t);

// 0, or -1 when the operator left through the context's exit.
int guarded_operator(Operator fn, Value *a, Value *b, Value *result, EvalContext *context,
                     int32_t op)
{
    if (setjmp(context->exit) != 0)
        return -1;
    fn(a, b, result, context, op);
    return 0;
}

int guarded_divide(NumericStruct *a, const NumericStruct *b, EvalContext *context)
{
    if (setjmp(context->exit) != 0)
        return -1;
    div_numeric(a, b, context);
    return 0;
}

Value numeric_value(const NumericStruct &n)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = VALUE_NUMERIC;
    v.payload.numeric = n;
    v.attr[0] = n.precision;
    v.attr[1] = n.scale;
    return v;
}

Value int_value(int32_t type, int64_t x)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = type;
    if (type == VALUE_BIGINT) {
        v.payload.bigint.high = static_cast<int32_t>(static_cast<uint64_t>(x) >> 32);
        v.payload.bigint.low = static_cast<uint32_t>(x);
    } else {
        v.payload.integer = static_cast<int32_t>(x);
    }
    return v;
}

void expect_division_by_zero(kxfuzz::Statement &call, int left)
{
    FUZZ_CHECK(left == -1, "division by zero did not leave through the exit");
    FUZZ_CHECK(call.context.result == -1, "context result %d", call.context.result);
    FUZZ_CHECK(call.last_state() == "22012", "division by zero posted [%s]",
               call.last_state().c_str());
}

bool truth(int32_t op, int r)
{
    switch (op) {
    case KX_OP_LESS: return r < 0;
    case KX_OP_GREATER: return r > 0;
    case KX_OP_GREATER_EQUAL: return r >= 0;
    case KX_OP_LESS_EQUAL: return r <= 0;
    case KX_OP_EQUAL: return r == 0;
    default: return r != 0;
    }
}

void check_routines(const NumericStruct &a, const NumericStruct &b)
{
    int want_order = model_compare(a, b);
    int order = numeric_compare(&a, &b);
    FUZZ_CHECK(order == want_order, "compare %s with %s: %d, expected %d", show(a).c_str(),
               show(b).c_str(), order, want_order);
    FUZZ_CHECK(numeric_is_zero(&a) == (magnitude_of(a) == 0 ? 1 : 0), "numeric_is_zero");

    NumericStruct sum = a, want_sum = a;
    int32_t status = add_numeric(&sum, &b);
    int32_t want_status = model_add(&want_sum, b);
    FUZZ_CHECK(status == want_status && same_record(sum, want_sum),
               "%s + %s gave %s (%d), expected %s (%d)", show(a).c_str(), show(b).c_str(),
               show(sum).c_str(), status, show(want_sum).c_str(), want_status);

    NumericStruct difference = a, want_difference = a;
    status = subtract_numeric(&difference, &b);
    want_status = model_subtract(&want_difference, b);
    FUZZ_CHECK(status == want_status && same_record(difference, want_difference),
               "%s - %s gave %s, expected %s", show(a).c_str(), show(b).c_str(),
               show(difference).c_str(), show(want_difference).c_str());

    NumericStruct product = a, want_product = a;
    FUZZ_CHECK(mult_numeric(&product, &b) == 0, "mult_numeric returns 0");
    model_multiply(&want_product, b);
    FUZZ_CHECK(same_record(product, want_product), "%s * %s gave %s, expected %s",
               show(a).c_str(), show(b).c_str(), show(product).c_str(),
               show(want_product).c_str());

    kxfuzz::Statement call;
    if (!call.ready())
        return;
    NumericStruct quotient = a, want_quotient = a;
    int left = guarded_divide(&quotient, &b, &call.context);
    if (magnitude_of(b) == 0) {
        expect_division_by_zero(call, left);
        NumericStruct silent = a;
        FUZZ_CHECK(div_numeric(&silent, &b, nullptr) == 0, "without a context: 0");
        return;
    }
    FUZZ_CHECK(left == 0, "%s / %s left through the exit", show(a).c_str(), show(b).c_str());
    if (model_divide(&want_quotient, b))
        FUZZ_CHECK(same_record(quotient, want_quotient), "%s / %s gave %s, expected %s",
                   show(a).c_str(), show(b).c_str(), show(quotient).c_str(),
                   show(want_quotient).c_str());
}

// numeric_operation over two numeric values, as the documented routine calls.
void check_numeric_operation(const NumericStruct &a, const NumericStruct &b, int32_t op)
{
    kxfuzz::Statement call;
    if (!call.ready())
        return;
    Value va = numeric_value(a), vb = numeric_value(b), result = numeric_value(record(0, 0, 1, 0));
    result.ref_count = 3;
    int left = guarded_operator(numeric_operation, &va, &vb, &result, &call.context, op);
    if (op == KX_OP_DIVIDE && magnitude_of(b) == 0) {
        expect_division_by_zero(call, left);
        return;
    }
    FUZZ_CHECK(left == 0, "numeric_operation %d left through the exit", op);
    NumericStruct want;
    switch (op) {
    case KX_OP_ADD:
        want = b;
        model_add(&want, a);
        break;
    case KX_OP_SUBTRACT:
        want = a;
        model_subtract(&want, b);
        break;
    case KX_OP_MULTIPLY:
        want = b;
        model_multiply(&want, a);
        break;
    case KX_OP_DIVIDE:
        want = a;
        if (!model_divide(&want, b))
            return;
        break;
    default: {
        bool expected = truth(op, model_compare(a, b));
        FUZZ_CHECK(result.type == VALUE_INTEGER && result.null_flag == 0 &&
                       result.payload.integer == (expected ? 1 : 0),
                   "comparison %d of %s and %s gave %d", op, show(a).c_str(), show(b).c_str(),
                   result.payload.integer);
        return;
    }
    }
    FUZZ_CHECK(result.type == VALUE_NUMERIC && same_record(result.payload.numeric, want),
               "operation %d of %s and %s gave %s, expected %s", op, show(a).c_str(),
               show(b).c_str(), show(result.payload.numeric).c_str(), show(want).c_str());
    FUZZ_CHECK(result.ref_count == 3, "the result keeps its own reference count");
}

// A numeric and a 32-bit integer (precision 15, scale 0) on either side.
void check_mixed_operation(const NumericStruct &n, int32_t i, bool numeric_left, int32_t op)
{
    if (op != KX_OP_ADD && op != KX_OP_SUBTRACT && op != KX_OP_MULTIPLY)
        return;
    kxfuzz::Statement call;
    if (!call.ready())
        return;
    Value vn = numeric_value(n), vi = int_value(VALUE_INTEGER, i);
    Value result = numeric_value(record(0, 0, 1, 0));
    Value *left = numeric_left ? &vn : &vi;
    Value *right = numeric_left ? &vi : &vn;
    FUZZ_CHECK(guarded_operator(numeric_operation, left, right, &result, &call.context, op) == 0,
               "no exit");
    int64_t wide = i;
    NumericStruct temporary = record(static_cast<u128>(wide < 0 ? -wide : wide), 0,
                                     wide < 0 ? 0 : 1, 15);
    NumericStruct want = n;
    if (op == KX_OP_ADD) {
        model_add(&want, temporary);
    } else if (op == KX_OP_MULTIPLY) {
        model_multiply(&want, temporary);
    } else if (numeric_left) {
        model_subtract(&want, temporary);
    } else {
        want = temporary;
        model_subtract(&want, n);
    }
    FUZZ_CHECK(result.type == VALUE_NUMERIC && same_record(result.payload.numeric, want),
               "operation %d of %s and %d gave %s, expected %s", op, show(n).c_str(), i,
               show(result.payload.numeric).c_str(), show(want).c_str());
}

// bigint_operation: 64-bit two's-complement arithmetic, truncating division.
void check_bigint_operation(int64_t x, int64_t y, int32_t op)
{
    kxfuzz::Statement call;
    if (!call.ready())
        return;
    Value a = int_value(VALUE_BIGINT, x), b = int_value(VALUE_BIGINT, y);
    Value result = int_value(VALUE_INTEGER, 77);
    int left = guarded_operator(bigint_operation, &a, &b, &result, &call.context, op);
    if (op == KX_OP_DIVIDE && y == 0) {
        expect_division_by_zero(call, left);
        return;
    }
    FUZZ_CHECK(left == 0, "bigint_operation %d left through the exit", op);
    if (op == KX_OP_CONCAT || op == KX_OP_NEGATE) {
        FUZZ_CHECK(result.type == VALUE_INTEGER && result.payload.integer == 77,
                   "an operator code it does not handle leaves the result alone");
        return;
    }
    uint64_t ux = static_cast<uint64_t>(x), uy = static_cast<uint64_t>(y);
    uint64_t want;
    switch (op) {
    case KX_OP_ADD: want = ux + uy; break;
    case KX_OP_SUBTRACT: want = ux - uy; break;
    case KX_OP_MULTIPLY: want = ux * uy; break;
    case KX_OP_DIVIDE:
        // The one quotient outside the range wraps to itself.
        want = (x == INT64_MIN && y == -1) ? ux : static_cast<uint64_t>(x / y);
        break;
    default: {
        int r = x < y ? -1 : x > y ? 1 : 0;
        FUZZ_CHECK(result.payload.integer == (truth(op, r) ? 1 : 0) && result.null_flag == 0,
                   "bigint comparison %d of %lld and %lld", op, static_cast<long long>(x),
                   static_cast<long long>(y));
        return;
    }
    }
    uint64_t got = (static_cast<uint64_t>(static_cast<uint32_t>(result.payload.bigint.high))
                    << 32) |
                   result.payload.bigint.low;
    FUZZ_CHECK(result.type == VALUE_BIGINT && got == want,
               "bigint operation %d of %lld and %lld gave %llu, expected %llu", op,
               static_cast<long long>(x), static_cast<long long>(y),
               static_cast<unsigned long long>(got), static_cast<unsigned long long>(want));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxfuzz::Reader in(data, size);
    uint8_t precision = in.byte();
    int32_t scale_a = static_cast<int32_t>(in.in_range(-40, 40));
    int32_t scale_b = static_cast<int32_t>(in.in_range(-40, 40));
    uint8_t operation = in.byte();
    uint8_t buffer_slack = in.byte();
    std::string text_a = in.until('\0');
    std::string text_b = in.until('\0');
    int64_t integer = static_cast<int64_t>(in.u64());

    int32_t create_scale = (operation & 0x80) != 0 ? scale_a & 0x1F : -1;
    NumericStruct a = parse_and_check(text_a, precision, scale_a, create_scale);
    NumericStruct b = parse_and_check(text_b, precision, scale_b, -1);

    int32_t full = static_cast<int32_t>(model_text(a).size());
    check_text_buffer(a, full + 1 - static_cast<int32_t>(buffer_slack % (full + 2)));
    check_text_buffer(a, full + 1);
    check_round_trip(a);
    check_round_trip(b);
    check_routines(a, b);

    int32_t op = 1 + operation % 12;
    if (op != KX_OP_CONCAT && op != KX_OP_NEGATE)
        check_numeric_operation(a, b, op);
    check_mixed_operation(a, static_cast<int32_t>(integer), (operation & 0x40) != 0, op);
    uint64_t low_bits = static_cast<uint64_t>(magnitude_of(b));
    check_bigint_operation(integer, static_cast<int64_t>(b.sign == 0 ? 0 - low_bits : low_bits),
                           op);
    return 0;
}
