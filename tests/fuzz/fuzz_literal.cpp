// Fuzz target for the literal builders: token texts from the input go to
// MakeLiteral (every kind), MakeInteger, MakeFloat, MakeNumeric and
// ConvertToInteger, interval kinds to promote_type, and every leaf made is
// rendered with value_as_text_n. Exports LLVMFuzzerTestOneInput.
//
// Input: [kind] [capacity] [interval kind a] [interval kind b] token \0
// integer digits \0 fraction digits \0.
//
// Properties: a string token keeps the characters between its quotes; a bit
// token is decided by its third character; a well-formed hexadecimal token
// gives its octets with the documented lengths; well-formed date, time and
// timestamp tokens give their atoi fields; the keyword kinds give their
// types and unknown kinds null; integer, float and numeric leaves follow the
// 7-character rule with the declared precision and scale; ConvertToInteger
// is atol held to 32 bits; promote_type follows its table (0 for an
// incompatible pair); every leaf's text obeys the buffer rules.
#include <cctype>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

// The covering interval kind, 0 where the pair is incompatible.
const int8_t kPromote[13][13] = {
    {1, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    {7, 2, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    {0, 0, 3, 8, 9, 10, 0, 8, 9, 10, 9, 10, 10},
    {0, 0, 8, 4, 11, 12, 0, 8, 9, 10, 11, 12, 12},
    {0, 0, 9, 11, 5, 13, 0, 9, 9, 10, 11, 12, 13},
    {0, 0, 10, 12, 13, 6, 0, 10, 10, 10, 12, 12, 13},
    {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    {0, 0, 8, 8, 9, 10, 0, 8, 8, 10, 9, 10, 10},
    {0, 0, 9, 9, 9, 10, 0, 9, 9, 10, 9, 10, 10},
    {10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10},
    {0, 0, 9, 11, 11, 12, 0, 9, 9, 10, 11, 12, 12},
    {0, 0, 10, 12, 12, 12, 0, 10, 10, 10, 12, 12, 12},
    {0, 0, 10, 12, 13, 13, 0, 10, 10, 10, 12, 12, 13},
};

void check_promote(int32_t a, int32_t b)
{
    int32_t want = 0;
    if (a >= 1 && a <= 13) {
        if (b >= 1 && b <= 13)
            want = kPromote[a - 1][b - 1];
        else if (a == 1 || a == 2 || a == 7)
            want = 7;    // a year-month kind on the left takes any right kind
        else if (a == 10)
            want = 10;   // as does DAY TO SECOND
    }
    FUZZ_CHECK(promote_type(a, b) == want, "promote_type(%d, %d) = %d, expected %d", a, b,
               promote_type(a, b), want);
}

// The leaf's text within capacity octets against the text with room enough.
void check_text(const Value *v, size_t capacity)
{
    size_t full_length = 0;
    value_as_text_n(v, nullptr, 0, &full_length);
    std::vector<char> whole(full_length + 1, 'x');
    size_t again = 0;
    const char *text = value_as_text_n(v, whole.data(), whole.size(), &again);
    FUZZ_CHECK(again == full_length && std::strlen(text) == full_length,
               "full length %zu, then %zu", full_length, again);
    kxfuzz::Guarded buffer(capacity);
    size_t length = 0;
    value_as_text_n(v, buffer.data(), capacity, &length);
    FUZZ_CHECK(buffer.guard_intact(), "value_as_text_n wrote past %zu octets", capacity);
    FUZZ_CHECK(length == full_length, "full length %zu, expected %zu", length, full_length);
    if (capacity == 0)
        return;
    size_t kept = full_length < capacity - 1 ? full_length : capacity - 1;
    FUZZ_CHECK(std::memcmp(buffer.data(), text, kept) == 0 && buffer.data()[kept] == '\0',
               "the cut text is the first %zu octets and a terminator", kept);
    // The unbounded form gives the same text when the buffer holds it.
    if (v->type != VALUE_BINARY || full_length < 4000) {
        std::vector<char> plain(full_length + 1024, 'y');
        value_as_text(v, plain.data());
        FUZZ_CHECK(std::strcmp(plain.data(), text) == 0, "value_as_text differs");
    }
}

bool all_digits(const std::string &s)
{
    for (char c : s)
        if (c < '0' || c > '9')
            return false;
    return true;
}

bool hex_digit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

int hex_value(char c)
{
    return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
}

// X'digits' with hexadecimal digits only.
void check_hex(const std::string &token, const Value *v)
{
    if (token.size() < 3 || (token[0] != 'X' && token[0] != 'x') || token[1] != '\'' ||
        token.back() != '\'')
        return;
    std::string digits = token.substr(2, token.size() - 3);
    for (char c : digits)
        if (!hex_digit(c))
            return;
    FUZZ_CHECK(v != nullptr && v->type == VALUE_BINARY, "hexadecimal literal [%s]", token.c_str());
    size_t n = digits.size();
    if (n % 2 == 1)
        digits.insert(digits.begin(), '0');
    FUZZ_CHECK(v->length == static_cast<int32_t>(digits.size() / 2) &&
                   v->data_length == static_cast<int32_t>(n / 2),
               "[%s]: length %d, data length %d", token.c_str(), v->length, v->data_length);
    for (size_t i = 0; i < digits.size() / 2; ++i)
        FUZZ_CHECK(v->payload.bytes[i] ==
                       hex_value(digits[2 * i]) * 16 + hex_value(digits[2 * i + 1]),
                   "[%s]: octet %zu", token.c_str(), i);
}

// A datetime token "prefix'A<s>B<s>C..." whose fields are digit runs; the
// fields, or false when the token is not of that form.
bool three_fields(const std::string &token, size_t start, char separator, int32_t out[3],
                  size_t *end)
{
    size_t at = start;
    for (int i = 0; i < 3; ++i) {
        size_t first = at;
        while (at < token.size() && token[at] >= '0' && token[at] <= '9')
            ++at;
        if (at == first || at - first > 9)
            return false;
        out[i] = std::atoi(token.c_str() + first);
        if (i < 2) {
            if (at >= token.size() || token[at] != separator)
                return false;
            ++at;
        }
    }
    *end = at;
    return true;
}

void check_datetime(int32_t kind, const std::string &token, const Value *v)
{
    size_t quote = token.find('\'');
    if (quote == std::string::npos)
        return;
    // Only the separators of the kind and no sign may stand before them.
    for (size_t i = 0; i < quote; ++i)
        if (token[i] == '-' || token[i] == ':' || token[i] == ' ')
            return;
    int32_t f[3], t[3];
    size_t end = 0;
    if (kind == KX_LITERAL_TIME) {
        if (!three_fields(token, quote + 1, ':', f, &end))
            return;
        FUZZ_CHECK(v != nullptr && v->type == VALUE_TIME &&
                       v->payload.time.hour == static_cast<uint16_t>(f[0]) &&
                       v->payload.time.minute == static_cast<uint16_t>(f[1]) &&
                       v->payload.time.second == static_cast<uint16_t>(f[2]),
                   "time [%s]", token.c_str());
        return;
    }
    if (!three_fields(token, quote + 1, '-', f, &end))
        return;
    if (kind == KX_LITERAL_DATE) {
        FUZZ_CHECK(v != nullptr && v->type == VALUE_DATE &&
                       v->payload.date.year == static_cast<int16_t>(f[0]) &&
                       v->payload.date.month == static_cast<uint16_t>(f[1]) &&
                       v->payload.date.day == static_cast<uint16_t>(f[2]),
                   "date [%s]", token.c_str());
        return;
    }
    if (end >= token.size() || token[end] != ' ')
        return;
    while (end < token.size() && token[end] == ' ')
        ++end;
    size_t after = 0;
    if (!three_fields(token, end, ':', t, &after))
        return;
    const TimestampStruct &ts = v != nullptr ? v->payload.timestamp : TimestampStruct{};
    FUZZ_CHECK(v != nullptr && v->type == VALUE_TIMESTAMP && ts.year == static_cast<int16_t>(f[0]) &&
                   ts.month == static_cast<uint16_t>(f[1]) && ts.day == static_cast<uint16_t>(f[2]) &&
                   ts.hour == static_cast<uint16_t>(t[0]) &&
                   ts.minute == static_cast<uint16_t>(t[1]) &&
                   ts.second == static_cast<uint16_t>(t[2]) && ts.fraction == 0,
               "timestamp [%s]", token.c_str());
}

Value *check_make_literal(int32_t kind, const std::string &token, MemHandle *mem)
{
    std::vector<char> text(token.begin(), token.end());
    text.push_back('\0');
    Value *v = MakeLiteral(kind, text.data(), mem);
    switch (kind) {
    case KX_LITERAL_STRING: {
        std::string inside = token.size() >= 2 ? token.substr(1, token.size() - 2) : "";
        FUZZ_CHECK(v != nullptr && v->type == VALUE_STRING &&
                       v->length == static_cast<int32_t>(inside.size()) &&
                       inside == v->payload.text,
                   "string token [%s] gave [%s]", token.c_str(),
                   v != nullptr ? v->payload.text : "(null)");
        break;
    }
    case KX_LITERAL_BIT: {
        char decider = token.size() > 2 ? token[2] : '\0';
        if (decider == '0' || decider == '1')
            FUZZ_CHECK(v != nullptr && v->type == VALUE_BIT &&
                           v->payload.integer == decider - '0',
                       "bit token [%s]", token.c_str());
        else
            FUZZ_CHECK(v == nullptr, "bit token [%s] is refused", token.c_str());
        break;
    }
    case KX_LITERAL_HEX:
        check_hex(token, v);
        break;
    case KX_LITERAL_DATE: case KX_LITERAL_TIME: case KX_LITERAL_TIMESTAMP:
        check_datetime(kind, token, v);
        break;
    case KX_LITERAL_USER: case KX_LITERAL_CURRENT_TIMESTAMP: case KX_LITERAL_CURRENT_TIME:
    case KX_LITERAL_CURRENT_DATE: {
        int32_t type = kind == KX_LITERAL_USER ? VALUE_USER
                       : kind == KX_LITERAL_CURRENT_TIMESTAMP ? VALUE_CURRENT_TIMESTAMP
                       : kind == KX_LITERAL_CURRENT_TIME ? VALUE_CURRENT_TIME
                                                         : VALUE_CURRENT_DATE;
        FUZZ_CHECK(v != nullptr && v->type == type, "keyword kind %d", kind);
        FUZZ_CHECK(MakeLiteral(kind, nullptr, mem) != nullptr, "keyword kinds read no text");
        break;
    }
    default:
        FUZZ_CHECK(v == nullptr, "unknown literal kind %d gives null", kind);
        break;
    }
    return v;
}

// The exact payload the builders document: string_to_numeric of the digits.
NumericStruct exact_of(const std::string &digits, size_t precision, size_t scale)
{
    NumericStruct n;
    std::memset(&n, 0, sizeof n);
    std::string copy = digits;
    string_to_numeric(copy.data(), &n, static_cast<uint8_t>(precision),
                      static_cast<int32_t>(scale));
    return n;
}

void check_exact(const Value *v, const std::string &digits, size_t precision, size_t scale)
{
    NumericStruct want = exact_of(digits, precision, scale);
    FUZZ_CHECK(v != nullptr && v->type == VALUE_NUMERIC &&
                   v->attr[0] == static_cast<intptr_t>(precision) &&
                   v->attr[1] == static_cast<intptr_t>(scale) &&
                   std::memcmp(&v->payload.numeric, &want, sizeof want) == 0,
               "numeric leaf of [%s] precision %zu scale %zu", digits.c_str(), precision, scale);
}

void check_numbers(const std::string &i, const std::string &f, MemHandle *mem, size_t capacity)
{
    // The documented conversions are of digit texts.
    bool digits = all_digits(i) && all_digits(f) && !i.empty() && !f.empty();

    Value *integer = MakeInteger(i.c_str(), mem);
    if (digits && i.size() < 7)
        FUZZ_CHECK(integer->type == VALUE_INTEGER && integer->payload.integer == std::atoi(i.c_str()),
                   "MakeInteger([%s])", i.c_str());
    else if (digits)
        check_exact(integer, i, i.size(), 0);
    check_text(integer, capacity);

    Value *real = MakeFloat(i.c_str(), mem);
    double want = std::atof(i.c_str());
    FUZZ_CHECK(real->type == VALUE_DOUBLE &&
                   (real->payload.dbl == want || (want != want && real->payload.dbl != real->payload.dbl)),
               "MakeFloat([%s])", i.c_str());
    check_text(real, capacity);

    Value *both = MakeNumeric(i.c_str(), f.c_str(), mem);
    if (digits && i.size() < 7 && f.size() < 7)
        FUZZ_CHECK(both->type == VALUE_DOUBLE && both->payload.dbl == std::atof((i + "." + f).c_str()),
                   "MakeNumeric([%s], [%s])", i.c_str(), f.c_str());
    else if (digits)
        check_exact(both, i + f, i.size() + f.size() + 2, f.size());
    check_text(both, capacity);

    Value *fraction = MakeNumeric(nullptr, f.c_str(), mem);
    if (digits && f.size() < 7)
        FUZZ_CHECK(fraction->type == VALUE_DOUBLE &&
                       fraction->payload.dbl == std::atof(("." + f).c_str()),
                   "MakeNumeric(null, [%s])", f.c_str());
    else if (digits)
        check_exact(fraction, f, f.size() + 3, f.size());
    check_text(fraction, capacity);

    FUZZ_CHECK(MakeNumeric(nullptr, nullptr, mem)->type == 0, "no digits: type 0");

    long wide = std::atol(i.c_str());
    int32_t held = wide > INT32_MAX ? INT32_MAX : wide < INT32_MIN ? INT32_MIN : static_cast<int32_t>(wide);
    FUZZ_CHECK(ConvertToInteger(i.c_str()) == held, "ConvertToInteger([%s])", i.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxfuzz::Reader in(data, size);
    int32_t kind = in.byte() % 16;
    size_t capacity = in.byte();
    int32_t interval_a = static_cast<int8_t>(in.byte());
    int32_t interval_b = static_cast<int8_t>(in.byte());
    std::string token = in.until('\0');
    std::string integer_digits = in.until('\0');
    std::string fraction_digits = in.until('\0');

    check_promote(interval_a % 16, interval_b % 16);
    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    if (mem == nullptr)
        return 0;
    Value *leaf = check_make_literal(kind, token, mem);
    if (leaf != nullptr)
        check_text(leaf, capacity);
    check_numbers(integer_digits, fraction_digits, mem, capacity);
    check_text(MakeNull(mem), capacity);
    ParseNode *marker = MakeDynamic(interval_a, mem);
    FUZZ_CHECK(marker->kind == NODE_DYNAMIC_PARAM && marker->field[0] == interval_a &&
                   marker->field[1] == 0,
               "parameter marker");
    kx_mem_release_handle(mem);
    return 0;
}
