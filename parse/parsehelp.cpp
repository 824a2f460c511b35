// parsehelp: literal leaves for the drivers' SQL parsers, and interval kind
// promotion.
//
// Exports MakeLiteral, MakeNull, MakeInteger, MakeFloat, MakeNumeric,
// MakeDynamic, MakeLiteralWithPrec, ConvertToInteger and promote_type.
//
// A literal leaf is a Value made zero-filled by newNode (kind NODE_VALUE),
// except character strings, which carry their text inside the record
// (NewValue). Tokens arrive as the scanner delivered them, quotes and prefix
// included ("'abc'", "B'1'", "X'0A'", "{d '2004-01-31'}"); a token that does
// not parse gives null, and no token is read beyond its terminating zero.
// Numeric leaves keep their declared precision and scale in attr[0] and
// attr[1]. Nothing here reports errors: allocation failures give null.
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "kxsupp/arith.h"
#include "kxsupp/memory.h"
#include "kxsupp/parse.h"
#include "kxsupp/values.h"

namespace {

// Below this many characters an integer token is a machine integer and a
// fraction a double; from it on the literal is an exact numeric.
constexpr size_t kShortNumberLength = 7;

// The covering interval kind of promote_type, row a, column b (both 1..13);
// 0 marks an invalid pair, and is what promote_type answers for it. YEAR,
// MONTH and YEAR TO MONTH on the left accept any right kind; DAY TO SECOND
// on the left answers 10 for everything; the pair DAY TO HOUR / DAY TO
// MINUTE is one-sided (8 one way, 9 the other).
constexpr int8_t kPromotion[13][13] = {
    /*  1 YEAR             */ {1, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    /*  2 MONTH            */ {7, 2, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    /*  3 DAY              */ {0, 0, 3, 8, 9, 10, 0, 8, 9, 10, 9, 10, 10},
    /*  4 HOUR             */ {0, 0, 8, 4, 11, 12, 0, 8, 9, 10, 11, 12, 12},
    /*  5 MINUTE           */ {0, 0, 9, 11, 5, 13, 0, 9, 9, 10, 11, 12, 13},
    /*  6 SECOND           */ {0, 0, 10, 12, 13, 6, 0, 10, 10, 10, 12, 12, 13},
    /*  7 YEAR TO MONTH    */ {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    /*  8 DAY TO HOUR      */ {0, 0, 8, 8, 9, 10, 0, 8, 8, 10, 9, 10, 10},
    /*  9 DAY TO MINUTE    */ {0, 0, 9, 9, 9, 10, 0, 9, 9, 10, 9, 10, 10},
    /* 10 DAY TO SECOND    */ {10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10},
    /* 11 HOUR TO MINUTE   */ {0, 0, 9, 11, 11, 12, 0, 9, 9, 10, 11, 12, 12},
    /* 12 HOUR TO SECOND   */ {0, 0, 10, 12, 12, 12, 0, 10, 10, 10, 12, 12, 12},
    /* 13 MINUTE TO SECOND */ {0, 0, 10, 12, 13, 13, 0, 10, 10, 10, 12, 12, 13},
};

// Left kinds whose row does not depend on the right kind.
constexpr bool answers_any_right(int32_t a)
{
    return a == KX_IS_YEAR || a == KX_IS_MONTH || a == KX_IS_YEAR_TO_MONTH ||
           a == KX_IS_DAY_TO_SECOND;
}

static_assert(kPromotion[KX_IS_DAY_TO_HOUR - 1][KX_IS_DAY_TO_MINUTE - 1] == 8);
static_assert(kPromotion[KX_IS_DAY_TO_MINUTE - 1][KX_IS_DAY_TO_HOUR - 1] == 9);

Value *new_leaf(MemHandle *handle)
{
    return static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
}

// The value of a hexadecimal digit (callers pass nothing else): the digits
// sort below the capitals, and the capitals below the small letters.
int hex_digit_value(char c)
{
    if (c <= '9')
        return c - '0';
    if (c >= 'a')
        return c - 'a' + 10;
    return c - 'A' + 10;
}

bool is_hex_digit(char c)
{
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// Character string token: the text between the opening quote and the last
// character (the closing quote), copied as it is (doubled quotes kept).
Value *make_string(const char *text, MemHandle *handle)
{
    size_t n = text[0] == '\0' ? 0 : std::strlen(text + 1);
    Value *value = NewValue(handle, n > 0 ? static_cast<int32_t>(n) : 2);
    if (value == nullptr)
        return nullptr;
    char *buffer = value->payload.text;
    int32_t inline_flag = value->inline_buffer;
    std::memset(value, 0, sizeof(Value));
    value->kind = NODE_VALUE;
    value->mem_handle = handle;
    value->inline_buffer = inline_flag;
    value->type = VALUE_STRING;
    value->payload.text = buffer;
    size_t copied = n > 0 ? n - 1 : 0;
    std::memcpy(buffer, text + 1, copied);
    buffer[copied] = '\0';
    value->length = static_cast<int32_t>(copied);
    return value;
}

// Bit string token "B'0'" or "B'1'": the character at index 2 decides.
bool read_bit(const char *text, Value *leaf)
{
    if (text[0] == '\0' || text[1] == '\0')
        return false;
    if (text[2] == '0')
        leaf->payload.integer = 0;
    else if (text[2] == '1')
        leaf->payload.integer = 1;
    else
        return false;
    leaf->type = VALUE_BIT;
    return true;
}

// Hexadecimal token "X'0A1B'". An odd digit count is read with a leading
// zero, written into the token over its opening quote.
bool read_hex(char *text, Value *leaf, MemHandle *handle)
{
    size_t total = std::strlen(text);
    if (total < 2)
        return false;
    long n = static_cast<long>(total) - 2;
    if (text[0] == 'X' || text[0] == 'x')
        n -= 1;
    if (n < 0)
        return false;
    size_t start = 2;
    size_t octets = static_cast<size_t>(n) / 2;
    if (n % 2 != 0) {
        octets += 1;
        start = 1;
        text[1] = '0';
    }
    unsigned char *buffer =
        static_cast<unsigned char *>(kx_mem_alloc(handle, octets > 0 ? octets : 1));
    if (buffer == nullptr)
        return false;
    // Reading stops at the first character that is not a digit ("X'ZZ'"),
    // and the octets it did not reach are zeros, never the heap's leftovers.
    std::memset(buffer, 0, octets > 0 ? octets : 1);
    size_t count = 0;
    size_t position = start;
    while (count < octets && is_hex_digit(text[position])) {
        int octet = hex_digit_value(text[position]);
        if (is_hex_digit(text[position + 1])) {
            octet = octet * 16 + hex_digit_value(text[position + 1]);
            position += 2;
        } else {
            position += 1;
        }
        buffer[count++] = static_cast<unsigned char>(octet);
    }
    leaf->type = VALUE_BINARY;
    leaf->payload.bytes = buffer;
    leaf->length = static_cast<int32_t>(count);
    leaf->data_length = static_cast<int32_t>(n / 2);
    return true;
}

// Reads three numbers: the first after the token's first quote, the next two
// each after the next separator. Null when the quote or a separator is missing.
const char *read_triple(const char *text, char separator, int32_t out[3])
{
    const char *p = std::strchr(text, '\'');
    if (p == nullptr)
        return nullptr;
    p += 1;
    out[0] = std::atoi(p);
    for (int i = 1; i < 3; ++i) {
        p = std::strchr(p, separator);
        if (p == nullptr)
            return nullptr;
        p += 1;
        out[i] = std::atoi(p);
    }
    return p;
}

bool read_date(const char *text, Value *leaf)
{
    int32_t f[3];
    if (read_triple(text, '-', f) == nullptr)
        return false;
    leaf->type = VALUE_DATE;
    leaf->payload.date.year = static_cast<int16_t>(f[0]);
    leaf->payload.date.month = static_cast<uint16_t>(f[1]);
    leaf->payload.date.day = static_cast<uint16_t>(f[2]);
    return true;
}

bool read_time(const char *text, Value *leaf)
{
    int32_t f[3];
    if (read_triple(text, ':', f) == nullptr)
        return false;
    leaf->type = VALUE_TIME;
    leaf->payload.time.hour = static_cast<uint16_t>(f[0]);
    leaf->payload.time.minute = static_cast<uint16_t>(f[1]);
    leaf->payload.time.second = static_cast<uint16_t>(f[2]);
    return true;
}

// Date part as for a date, then after the next blank (and any more blanks)
// hour, minute and second. The fraction is not read.
bool read_timestamp(const char *text, Value *leaf)
{
    int32_t d[3];
    const char *p = read_triple(text, '-', d);
    if (p == nullptr)
        return false;
    p = std::strchr(p, ' ');
    if (p == nullptr)
        return false;
    while (*p == ' ')
        ++p;
    int32_t t[3];
    t[0] = std::atoi(p);
    for (int i = 1; i < 3; ++i) {
        p = std::strchr(p, ':');
        if (p == nullptr)
            return false;
        p += 1;
        t[i] = std::atoi(p);
    }
    leaf->type = VALUE_TIMESTAMP;
    TimestampStruct &ts = leaf->payload.timestamp;
    ts.year = static_cast<int16_t>(d[0]);
    ts.month = static_cast<uint16_t>(d[1]);
    ts.day = static_cast<uint16_t>(d[2]);
    ts.hour = static_cast<uint16_t>(t[0]);
    ts.minute = static_cast<uint16_t>(t[1]);
    ts.second = static_cast<uint16_t>(t[2]);
    ts.fraction = 0;
    return true;
}

// Converts the concatenation first + second (second may be null) into the
// leaf's numeric payload with the declared precision and scale.
// string_to_numeric edits its text, so it works on a copy. False when
// memory for a long copy is exhausted (the payload is then not set).
bool set_exact(Value *leaf, const char *first, const char *second,
               size_t precision, size_t scale)
{
    leaf->type = VALUE_NUMERIC;
    leaf->attr[0] = static_cast<intptr_t>(precision);
    leaf->attr[1] = static_cast<intptr_t>(scale);
    size_t first_length = std::strlen(first);
    size_t second_length = second != nullptr ? std::strlen(second) : 0;
    size_t total = first_length + second_length + 1;
    char local[128];
    char *digits = total <= sizeof local ? local : static_cast<char *>(std::malloc(total));
    if (digits == nullptr)
        return false;
    std::memcpy(digits, first, first_length);
    if (second_length > 0)
        std::memcpy(digits + first_length, second, second_length);
    digits[first_length + second_length] = '\0';
    string_to_numeric(digits, &leaf->payload.numeric, static_cast<uint8_t>(precision),
                      static_cast<int32_t>(scale));
    if (digits != local)
        std::free(digits);
    return true;
}

}  // namespace

extern "C" {

// An invalid pair answers 0, which is no interval kind: a library running
// inside the application's process does not end that process.
KX_API int32_t promote_type(int32_t a, int32_t b)
{
    if (a < 1 || a > 13)
        return 0;
    if (b >= 1 && b <= 13)
        return kPromotion[a - 1][b - 1];
    if (answers_any_right(a))
        return a == KX_IS_DAY_TO_SECOND ? KX_IS_DAY_TO_SECOND : KX_IS_YEAR_TO_MONTH;
    return 0;
}

KX_API Value *MakeLiteral(int32_t kind, char *text, MemHandle *handle)
{
    // The keyword kinds never look at the text; the others need one.
    bool reads_text = kind >= KX_LITERAL_STRING && kind <= KX_LITERAL_TIMESTAMP;
    if (reads_text && text == nullptr)
        return nullptr;
    if (kind == KX_LITERAL_STRING)
        return make_string(text, handle);
    Value *leaf = new_leaf(handle);
    if (leaf == nullptr)
        return nullptr;
    bool parsed = false;
    switch (kind) {
    case KX_LITERAL_USER:
        leaf->type = VALUE_USER;
        parsed = true;
        break;
    case KX_LITERAL_BIT:
        parsed = read_bit(text, leaf);
        break;
    case KX_LITERAL_HEX:
        parsed = read_hex(text, leaf, handle);
        break;
    case KX_LITERAL_DATE:
        parsed = read_date(text, leaf);
        break;
    case KX_LITERAL_TIME:
        parsed = read_time(text, leaf);
        break;
    case KX_LITERAL_TIMESTAMP:
        parsed = read_timestamp(text, leaf);
        break;
    case KX_LITERAL_CURRENT_TIMESTAMP:
        leaf->type = VALUE_CURRENT_TIMESTAMP;
        parsed = true;
        break;
    case KX_LITERAL_CURRENT_TIME:
        leaf->type = VALUE_CURRENT_TIME;
        parsed = true;
        break;
    case KX_LITERAL_CURRENT_DATE:
        leaf->type = VALUE_CURRENT_DATE;
        parsed = true;
        break;
    default:
        break;
    }
    return parsed ? leaf : nullptr;
}

KX_API Value *MakeNull(MemHandle *handle)
{
    Value *leaf = new_leaf(handle);
    if (leaf != nullptr)
        leaf->type = VALUE_NULL;
    return leaf;
}

KX_API Value *MakeInteger(const char *text, MemHandle *handle)
{
    if (text == nullptr || std::strlen(text) >= kShortNumberLength)
        return MakeNumeric(text, nullptr, handle);
    Value *leaf = new_leaf(handle);
    if (leaf != nullptr) {
        leaf->type = VALUE_INTEGER;
        leaf->payload.integer = std::atoi(text);
    }
    return leaf;
}

KX_API Value *MakeFloat(const char *text, MemHandle *handle)
{
    Value *leaf = new_leaf(handle);
    if (leaf != nullptr) {
        leaf->type = VALUE_DOUBLE;
        leaf->payload.dbl = text != nullptr ? std::atof(text) : 0.0;
    }
    return leaf;
}

KX_API Value *MakeNumeric(const char *integer_digits, const char *fraction_digits,
                          MemHandle *handle)
{
    Value *leaf = new_leaf(handle);
    if (leaf == nullptr)
        return nullptr;
    const char *i = integer_digits;
    const char *f = fraction_digits;
    bool whole = true;
    if (i != nullptr && f == nullptr) {
        size_t length = std::strlen(i);
        if (length < kShortNumberLength) {
            leaf->type = VALUE_INTEGER;
            leaf->payload.integer = std::atoi(i);
        } else {
            whole = set_exact(leaf, i, nullptr, length, 0);
        }
    } else if (i != nullptr && f != nullptr) {  // both parts (f is set here;
        size_t il = std::strlen(i);               // said again for GCC's -O3)
        size_t fl = std::strlen(f);
        if (il < kShortNumberLength && fl < kShortNumberLength) {
            char text[2 * kShortNumberLength + 2];
            std::memcpy(text, i, il);
            text[il] = '.';
            std::memcpy(text + il + 1, f, fl);
            text[il + 1 + fl] = '\0';
            leaf->type = VALUE_DOUBLE;
            leaf->payload.dbl = std::atof(text);
        } else {
            whole = set_exact(leaf, i, f, il + fl + 2, fl);
        }
    } else if (f != nullptr) {
        size_t fl = std::strlen(f);
        if (fl < kShortNumberLength) {
            char text[kShortNumberLength + 2];
            text[0] = '.';
            std::memcpy(text + 1, f, fl);
            text[fl + 1] = '\0';
            leaf->type = VALUE_DOUBLE;
            leaf->payload.dbl = std::atof(text);
        } else {
            whole = set_exact(leaf, f, nullptr, fl + 3, fl);
        }
    }
    // A literal whose digits could not be read is not made: a leaf holding
    // another number would be worse than none.
    if (!whole) {
        kx_mem_free(handle, leaf);
        return nullptr;
    }
    return leaf;
}

KX_API ParseNode *MakeDynamic(int32_t ordinal, MemHandle *handle)
{
    // The kind word and four fields: the ordinal, then a zero word (and two
    // more zero words that a walker may read).
    ParseNode *node = static_cast<ParseNode *>(
        newNode(sizeof(ParseNode) + 4 * sizeof(intptr_t), NODE_DYNAMIC_PARAM, handle));
    if (node != nullptr) {
        node->field[0] = ordinal;
        node->field[1] = 0;
    }
    return node;
}

KX_API Value *MakeLiteralWithPrec(int32_t code, void *unused, void *precision,
                                  MemHandle *handle)
{
    (void)unused;
    Value *leaf = new_leaf(handle);
    if (leaf == nullptr)
        return nullptr;
    if (code == KX_LITERAL_CURRENT_TIMESTAMP)
        leaf->type = VALUE_CURRENT_TIMESTAMP;
    else if (code == KX_LITERAL_CURRENT_TIME)
        leaf->type = VALUE_CURRENT_TIME;
    leaf->attr[0] = reinterpret_cast<intptr_t>(precision);
    return leaf;
}

KX_API int32_t ConvertToInteger(const char *text)
{
    if (text == nullptr)
        return 0;
    // atol of a 32-bit long: values beyond the range stop at its limits.
    long v = std::strtol(text, nullptr, 10);
    if (v > INT32_MAX)
        return INT32_MAX;
    if (v < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(v);
}

}  // extern "C"
