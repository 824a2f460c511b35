// Tests of the string functions of the standard catalogue
// (functions/functions_string_std.cpp), each run through its catalogue entry
// with execute_function beside the family's entry on the same arguments:
// trailing blanks kept as data, SQL's SUBSTRING window, MySQL's INSERT,
// American Soundex and DIFFERENCE as matching positions, characters rather
// than octets in lengths and positions, Unicode simple case mapping, code
// points in ASCII and CHAR, and one rule for invalid UTF-8 (an octet that
// begins no well-formed sequence is a character by itself).
//
// Where the expected values come from:
//  - texts and positions: Python's str on the decoded text (len, slicing,
//    find, replace), written beside each case, and in the seeded test an
//    oracle of this file that decodes UTF-8 by the bit patterns of its
//    definition (lead octet, continuations, shortest form, no surrogate,
//    at most U+10FFFF) into std::u32string;
//  - case: Python's str.upper()/str.lower() for the examples, and the C
//    library's towupper_l/towlower_l in C.UTF-8 for every code point;
//  - SOUNDEX: the American Soundex examples of the U.S. National Archives'
//    rules (Robert R163, Rupert R163, Rubin R150, Ashcraft A261, Tymczak
//    T522, Pfister P236, Honeyman H555) and an oracle of this file that
//    applies those rules in two passes (code every letter, then merge);
//  - DIFFERENCE: SQL Server's documented examples (Green/Greene 4, Smith/
//    Smythe 4, Blotchet-Halls/Greene 0).
// Every call gets its own copies of its text arguments, since the family's
// routines trim theirs in place; the standard's must leave theirs as they
// were, and the tests check that they do.
#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <cwctype>
#include <locale.h>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kxsupp/diagnostics.h"
#include "kxsupp/functions.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "support/kx_failing_alloc.h"
#include "support/kx_test_support.h"

namespace {

using kxtest::StatementContext;

const FunctionEntry *family_entry(const char *name)
{
    return sql92_get_function_info(sql92_get_function_id(name, 0));
}

// An ODBC spelling, or else an SQL-92 one (UPPER, LOWER).
const FunctionEntry *standard_entry(const char *name)
{
    int32_t id = kxstd_get_function_id(name, 0);
    if (id == KX_FUNCTION_NOT_FOUND)
        id = kxstd_get_function_id(name, 1);
    return kxstd_get_function_info(id);
}

// Runs an entry as a driver does, the exit point armed; *jumped tells
// whether the call left through it. No object with a destructor lives here.
Value *run(const FunctionEntry *entry, EvalContext *context, int32_t argc, Value **argv,
           int *jumped)
{
    if (setjmp(context->exit) != 0) {
        *jumped = 1;
        return nullptr;
    }
    *jumped = 0;
    return execute_function(entry, context, argc, argv, 0, 0);
}

// ---- long data as a driver's connection serves it ----

struct TestLong {
    LongBuffer buffer;  // first, so a LongBuffer * leads back to the record
    std::string data;
    int32_t position = 0;
    bool fail = false;
};

int32_t long_rewind(LongBuffer *buffer, int32_t)
{
    reinterpret_cast<TestLong *>(buffer)->position = 0;
    return 0;
}

int32_t long_read(LongBuffer *buffer, void *destination, int32_t size, int32_t *length_out,
                  int32_t)
{
    TestLong *t = reinterpret_cast<TestLong *>(buffer);
    if (t->fail)
        return 2;
    int32_t left = static_cast<int32_t>(t->data.size()) - t->position;
    *length_out = left;
    if (size < 1)
        return left > 0 ? 1 : 0;
    int32_t n = left < size - 1 ? left : size - 1;
    std::memcpy(destination, t->data.data() + t->position, static_cast<size_t>(n));
    static_cast<char *>(destination)[n] = '\0';
    t->position += n;
    return t->position < static_cast<int32_t>(t->data.size()) ? 1 : 0;
}

// ---- arguments ----

// A call's argument: a text (copied afresh for every call), an integer, a
// bigint, a NULL text or integer, or long data.
struct A {
    enum Kind { kText, kInt, kBigint, kNullText, kNullInt, kLong } kind;
    std::string text;
    int64_t n = 0;
    TestLong *long_data = nullptr;
};

A T(const std::string &s) { return A{A::kText, s}; }
A I(int64_t n) { return A{A::kInt, "", n}; }
A B(int64_t n) { return A{A::kBigint, "", n}; }
A NT() { return A{A::kNullText, ""}; }
A NI() { return A{A::kNullInt, ""}; }
A L(TestLong *t) { return A{A::kLong, "", 0, t}; }

// What a call gave: its result, or the one record it posted.
struct Outcome {
    Value *result = nullptr;
    bool jumped = false;
    std::string sqlstate;
    std::string message;
    bool arguments_kept = true;  // every text argument as it was given
};

// A statement with its error header, connection and context per call, so
// that every call's diagnostics are its own; results live until the test
// ends.
class Calls {
public:
    Outcome call(const FunctionEntry *entry, const std::vector<A> &args)
    {
        EXPECT_NE(entry, nullptr);
        if (entry == nullptr)
            return Outcome{};
        contexts_.push_back(new StatementContext());
        StatementContext &sc = *contexts_.back();
        std::memset(&connection_, 0, sizeof connection_);
        connection_.kind = KX_KIND_CONNECTION;
        connection_.long_rewind = long_rewind;
        connection_.long_read = long_read;
        sc.statement.connection = &connection_;
        std::vector<Value *> argv;
        for (const A &a : args)
            argv.push_back(make(sc.mem, a));
        Outcome o;
        int jumped = 0;
        o.result = run(entry, &sc.context, static_cast<int32_t>(argv.size()),
                       argv.empty() ? nullptr : argv.data(), &jumped);
        o.jumped = jumped != 0;
        if (o.jumped) {
            char state[6] = {};
            int32_t native = 0;
            char message[256] = {};
            int16_t length = 0;
            if (GetDiagRec(sc.errors(), 1, state, &native, message, sizeof message, &length) == 0) {
                o.sqlstate = state;
                o.message = message;
            }
            EXPECT_EQ(sc.context.result, -1);
            EXPECT_EQ(GetDiagRec(sc.errors(), 2, state, &native, message, sizeof message, &length),
                      100);
        }
        for (size_t i = 0; i < args.size(); ++i)
            if (args[i].kind == A::kText &&
                (argv[i]->length != static_cast<int32_t>(args[i].text.size()) ||
                 std::memcmp(argv[i]->payload.text, args[i].text.data(),
                             args[i].text.size() + 1) != 0))
                o.arguments_kept = false;
        return o;
    }
    Outcome family(const char *name, const std::vector<A> &args)
    {
        return call(family_entry(name), args);
    }
    Outcome standard(const char *name, const std::vector<A> &args)
    {
        Outcome o = call(standard_entry(name), args);
        EXPECT_TRUE(o.arguments_kept) << name << " wrote into an argument";
        return o;
    }
    ~Calls()
    {
        for (StatementContext *c : contexts_)
            delete c;
    }

private:
    static Value *make(MemHandle *mem, const A &a)
    {
        Value *v = nullptr;
        switch (a.kind) {
        case A::kText:
        case A::kNullText: {
            int32_t n = static_cast<int32_t>(a.text.size());
            v = NewValue(mem, n + 1);
            char *room = v->payload.text;
            std::memset(v, 0, offsetof(Value, payload));
            v->kind = NODE_VALUE;
            v->mem_handle = mem;
            v->inline_buffer = 1;
            v->type = VALUE_STRING;
            v->length = n;
            v->payload.text = room;
            std::memcpy(room, a.text.data(), a.text.size() + 1);
            v->null_flag = a.kind == A::kNullText ? -1 : 0;
            return v;
        }
        case A::kLong:
            v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem));
            v->type = VALUE_LONG_STRING;
            v->long_buffer = &a.long_data->buffer;
            return v;
        case A::kInt:
        case A::kNullInt:
            v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem));
            v->type = VALUE_INTEGER;
            v->payload.integer = static_cast<int32_t>(a.n);
            v->null_flag = a.kind == A::kNullInt ? -1 : 0;
            return v;
        case A::kBigint:
            v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem));
            v->type = VALUE_BIGINT;
            v->payload.bigint.high = static_cast<int32_t>(static_cast<uint64_t>(a.n) >> 32);
            v->payload.bigint.low = static_cast<uint32_t>(a.n);
            return v;
        }
        return v;
    }

    std::vector<StatementContext *> contexts_;
    DriverConnection connection_;
};

// The text of a non-NULL string result, up to its length field.
std::string text_of(const Outcome &o)
{
    EXPECT_FALSE(o.jumped) << o.sqlstate << " " << o.message;
    if (o.result == nullptr)
        return "(none)";
    EXPECT_EQ(o.result->type, VALUE_STRING);
    EXPECT_EQ(o.result->null_flag, 0);
    if (o.result->null_flag != 0)
        return "(NULL)";
    EXPECT_EQ(o.result->payload.text[o.result->length], '\0');
    return std::string(o.result->payload.text, static_cast<size_t>(o.result->length));
}

int64_t int_of(const Outcome &o)
{
    EXPECT_FALSE(o.jumped) << o.sqlstate << " " << o.message;
    if (o.result == nullptr)
        return -999999;
    EXPECT_EQ(o.result->type, VALUE_INTEGER);
    EXPECT_EQ(o.result->null_flag, 0);
    return o.result->payload.integer;
}

bool is_null_of(const Outcome &o, int32_t type)
{
    EXPECT_FALSE(o.jumped) << o.sqlstate << " " << o.message;
    if (o.result == nullptr)
        return false;
    EXPECT_EQ(o.result->type, type);
    return o.result->null_flag == -1;
}

#define EXPECT_POSTED(outcome, state, text)                                    \
    do {                                                                       \
        const Outcome &o_ = (outcome);                                         \
        EXPECT_TRUE(o_.jumped);                                                \
        EXPECT_EQ(o_.sqlstate, state);                                         \
        EXPECT_NE(o_.message.find(text), std::string::npos) << o_.message;    \
    } while (0)

// ---- an oracle: UTF-8 by its definition ----

// Octets that begin no well-formed sequence read as 0x110000 + octet: no
// code point, and each a character of its own.
constexpr char32_t kStray = 0x110000;

std::u32string decode(const std::string &s)
{
    std::u32string out;
    size_t i = 0;
    while (i < s.size()) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        size_t n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        char32_t cp = n == 1 ? c : n == 2 ? (c & 0x1F) : n == 3 ? (c & 0x0F) : (c & 0x07);
        bool ok = n != 0 && i + n <= s.size();
        for (size_t k = 1; ok && k < n; ++k) {
            unsigned char d = static_cast<unsigned char>(s[i + k]);
            ok = (d >> 6) == 2;
            cp = (cp << 6) | (d & 0x3F);
        }
        static const char32_t kLeast[5] = {0, 0, 0x80, 0x800, 0x10000};
        ok = ok && cp >= kLeast[n] && cp <= 0x10FFFF && !(cp >= 0xD800 && cp <= 0xDFFF);
        if (ok) {
            out += cp;
            i += n;
        } else {
            out += kStray + c;
            i += 1;
        }
    }
    return out;
}

std::string encode(const std::u32string &u)
{
    std::string out;
    for (char32_t cp : u) {
        if (cp >= kStray) {
            out += static_cast<char>(cp - kStray);
        } else if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
    return out;
}

// ---- an oracle: American Soundex in two passes ----

// First every ASCII letter gets its digit (vowels and Y '0', H and W '-');
// then, after the first letter, H and W are dropped, runs of one digit
// become one (the first letter's digit included), the zeros go, and the
// code is cut or padded to four.
std::string soundex_oracle(const std::string &s)
{
    auto digit = [](char c) -> char {
        const char *groups[] = {"AEIOUY", "BFPV", "CGJKQSXZ", "DT", "L", "MN", "R"};
        if (c == 'H' || c == 'W')
            return '-';
        for (int g = 0; g < 7; ++g)
            if (std::strchr(groups[g], c) != nullptr)
                return static_cast<char>('0' + g);
        return '?';
    };
    std::string letters;
    for (char c : s)
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'))
            letters += static_cast<char>(c & ~0x20);
    if (letters.empty())
        return "(NULL)";
    std::string digits;
    for (char c : letters)
        if (digit(c) != '-')
            digits += digit(c);
    // the first letter may be H or W: its digit is then none
    if (digit(letters[0]) == '-')
        digits.insert(digits.begin(), '-');
    std::string merged;
    for (size_t i = 0; i < digits.size(); ++i)
        if (i == 0 || digits[i] != digits[i - 1])
            merged += digits[i];
    std::string code(1, letters[0]);
    for (size_t i = 1; i < merged.size(); ++i)
        if (merged[i] != '0')
            code += merged[i];
    code.resize(4, '0');
    return code;
}

// ---- the catalogue ----

TEST(StdStringCatalogue, StringRowsRunTheStandardRoutines)
{
    const char *changed[] = {"ASCII",  "BIT_LENGTH", "CHAR",   "CHARACTER_LENGTH", "CHAR_LENGTH",
                             "CONCAT", "DIFFERENCE", "INSERT", "LCASE",            "LEFT",
                             "LENGTH", "LOCATE",     "OCTET_LENGTH", "POSITION",   "REPEAT",
                             "REPLACE", "RIGHT",     "SOUNDEX", "SUBSTR",          "SUBSTRING",
                             "UCASE"};
    for (const char *name : changed) {
        const FunctionEntry *f = family_entry(name);
        const FunctionEntry *s = standard_entry(name);
        ASSERT_NE(f, nullptr) << name;
        ASSERT_NE(s, nullptr) << name;
        EXPECT_NE(s->impl, f->impl) << name;
    }
    // the family's answers are the standard's: its routines stay
    for (const char *name : {"LTRIM", "RTRIM", "SPACE"})
        EXPECT_EQ(standard_entry(name)->impl, family_entry(name)->impl) << name;
    // the SQL-92 spellings run the same routines as the ODBC ones
    const char *pairs[][2] = {{"BIT_LENGTH", "BIT_LENGTH"}, {"CHAR_LENGTH", "CHAR_LENGTH"},
                              {"CHARACTER_LENGTH", "CHAR_LENGTH"}, {"LOWER", "LCASE"},
                              {"OCTET_LENGTH", "OCTET_LENGTH"}, {"POSITION", "POSITION"},
                              {"SUBSTRING", "SUBSTRING"}, {"UPPER", "UCASE"}};
    for (auto &p : pairs) {
        const FunctionEntry *sql92 = kxstd_get_function_info(kxstd_get_function_id(p[0], 1));
        ASSERT_NE(sql92, nullptr) << p[0];
        EXPECT_EQ(sql92->impl, standard_entry(p[1])->impl) << p[0];
    }
    // OCTET_LENGTH counts octets, CHAR_LENGTH characters: two routines now
    EXPECT_NE(standard_entry("OCTET_LENGTH")->impl, standard_entry("CHAR_LENGTH")->impl);
}

// ---- trailing blanks are data ----

TEST(StdStringFunctions, TrailingBlanksAreData)
{
    Calls c;
    // CONCAT('ab  ', 'cd '): Python 'ab  ' + 'cd '
    EXPECT_EQ(text_of(c.family("CONCAT", {T("ab  "), T("cd ")})), "abcd");
    EXPECT_EQ(text_of(c.standard("CONCAT", {T("ab  "), T("cd ")})), "ab  cd ");
    // RIGHT('abc  ', 2): 'abc  '[-2:]
    EXPECT_EQ(text_of(c.family("RIGHT", {T("abc  "), I(2)})), "bc");
    EXPECT_EQ(text_of(c.standard("RIGHT", {T("abc  "), I(2)})), "  ");
    // POSITION('b  ' IN 'abc'): 'abc'.find('b  ') + 1
    EXPECT_EQ(int_of(c.family("POSITION", {T("b  "), T("abc")})), 2);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("b  "), T("abc")})), 0);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("b  "), T("ab c")})), 0);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("b  "), T("ab b  c")})), 4);
    // LOCATE with blanks: 'x a  a '.find('a ', 2) + 1
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("a "), T("x a  a "), I(3)})), 3);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("a  "), T("xa a  ")})), 4);
    // REPEAT('ab ', 3): 'ab ' * 3
    EXPECT_EQ(text_of(c.family("REPEAT", {T("ab "), I(3)})), "ababab");
    EXPECT_EQ(text_of(c.standard("REPEAT", {T("ab "), I(3)})), "ab ab ab ");
    // REPEAT(s, 0): 'ab' * 0
    EXPECT_EQ(text_of(c.family("REPEAT", {T("ab"), I(0)})), "ab");
    EXPECT_EQ(text_of(c.standard("REPEAT", {T("ab"), I(0)})), "");
    EXPECT_EQ(text_of(c.standard("REPEAT", {T("ab"), I(-4)})), "");
    // REPLACE('a b  a ', 'a ', 'x '): 'a b  a '.replace('a ', 'x ')
    EXPECT_EQ(text_of(c.family("REPLACE", {T("a b  a "), T("a "), T("x ")})), "x b  x");
    EXPECT_EQ(text_of(c.standard("REPLACE", {T("a b  a "), T("a "), T("x ")})), "x b  x ");
    // INSERT('ab  ', 1, 1, 'x '): 'x ' + 'ab  '[1:]
    EXPECT_EQ(text_of(c.standard("INSERT", {T("ab  "), I(1), I(1), T("x ")})), "x b  ");
    // SUBSTRING('ab  ', 2, 3): 'ab  '[1:4]
    EXPECT_EQ(text_of(c.family("SUBSTRING", {T("ab  "), I(2), I(3)})), "");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("ab  "), I(2), I(3)})), "b  ");
}

TEST(StdStringFunctions, ArgumentsAreNeverWritten)
{
    Calls c;
    // the family shortens its argument in place; the standard never does
    // (Calls::standard checks every text argument after the call)
    Outcome f = c.family("LENGTH", {T("ab  ")});
    EXPECT_FALSE(f.arguments_kept);
    for (const char *name : {"LENGTH", "CHAR_LENGTH", "UCASE", "LCASE", "SOUNDEX", "ASCII"})
        c.standard(name, {T("ab  ")});
    c.standard("CONCAT", {T("a "), T("b ")});
    c.standard("RIGHT", {T("ab  "), I(1)});
    c.standard("REPEAT", {T("ab  "), I(2)});
    c.standard("REPLACE", {T("ab  "), T("b "), T("c  ")});
    c.standard("INSERT", {T("ab  "), I(1), I(1), T("x  ")});
    c.standard("POSITION", {T("b  "), T("ab  ")});
    c.standard("LOCATE", {T("b  "), T("ab  "), I(1)});
    c.standard("SUBSTRING", {T("ab  "), I(1), I(9)});
    c.standard("DIFFERENCE", {T("ab  "), T("cd  ")});
}

// ---- SUBSTRING, LEFT, RIGHT ----

TEST(StdStringFunctions, SubstringIsTheWindowOfItsPositions)
{
    Calls c;
    // SUBSTRING('abc', 3, 1): 'abc'[2:3]
    EXPECT_EQ(text_of(c.family("SUBSTRING", {T("abc"), I(3), I(1)})), "");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), I(3), I(1)})), "c");
    EXPECT_EQ(text_of(c.standard("SUBSTR", {T("abc"), I(3), I(1)})), "c");
    // the family's documented cases, which the standard shares
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abcdef"), I(2), I(3)})), "bcd");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abcdef"), I(5), I(10)})), "ef");
    // SQL-92: the positions start .. start + length - 1 that the text has
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), I(0), I(2)})), "a");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), I(-1), I(3)})), "a");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), I(-5), I(3)})), "");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), I(4), I(1)})), "");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), I(2), I(0)})), "");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T(""), I(1), I(1)})), "");
    // without a length: to the end (SQL-92's SUBSTRING(x FROM a))
    EXPECT_EQ(text_of(c.call(kxstd_get_function_info(-4), {T("abcdef"), I(3)})), "cdef");
    EXPECT_EQ(text_of(c.call(kxstd_get_function_info(-4), {T("abc"), I(3)})), "c");
    // positions and lengths past 32 bits
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), I(2), B(int64_t{1} << 40)})), "bc");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), B(-(int64_t{1} << 50)),
                                               B(INT64_MAX)})), "abc");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T("abc"), B(INT64_MAX), B(INT64_MAX)})), "");
    // a negative length is a substring error
    EXPECT_POSTED(c.standard("SUBSTRING", {T("abc"), I(1), I(-1)}), "22011", "Substring error");
    EXPECT_EQ(text_of(c.family("SUBSTRING", {T("abc"), I(1), I(-1)})), "");
}

TEST(StdStringFunctions, LeftAndRightCountCharacters)
{
    Calls c;
    // LEFT('日本語', 1): '日本語'[:1]
    EXPECT_EQ(text_of(c.family("LEFT", {T("日本語"), I(1)})), "\xE6");
    EXPECT_EQ(text_of(c.standard("LEFT", {T("日本語"), I(1)})), "日");
    EXPECT_EQ(text_of(c.standard("LEFT", {T("日本語"), I(2)})), "日本");
    EXPECT_EQ(text_of(c.standard("LEFT", {T("日本語"), I(5)})), "日本語");
    EXPECT_EQ(text_of(c.standard("LEFT", {T("日本語"), I(0)})), "");
    EXPECT_EQ(text_of(c.standard("RIGHT", {T("日本語"), I(1)})), "語");
    EXPECT_EQ(text_of(c.family("RIGHT", {T("日本語"), I(1)})), "\x9E");
    EXPECT_EQ(text_of(c.standard("RIGHT", {T("日本語"), I(9)})), "日本語");
    EXPECT_EQ(text_of(c.standard("RIGHT", {T("abc"), I(0)})), "");
    // a negative count: the family takes it as unsigned (all of the text);
    // the standard reads LEFT(s, n) as SUBSTRING(s, 1, n)
    EXPECT_EQ(text_of(c.family("LEFT", {T("abc"), I(-1)})), "abc");
    EXPECT_POSTED(c.standard("LEFT", {T("abc"), I(-1)}), "22011", "Substring error");
    EXPECT_POSTED(c.standard("RIGHT", {T("abc"), I(-1)}), "22011", "Substring error");
}

// ---- INSERT ----

TEST(StdStringFunctions, InsertReplacesFromStart)
{
    Calls c;
    // INSERT('abcdef', 3, 2, 'XY'): s[:2] + 'XY' + s[4:]
    EXPECT_EQ(text_of(c.family("INSERT", {T("abcdef"), I(3), I(2), T("XY")})), "abcXYf");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("abcdef"), I(3), I(2), T("XY")})), "abXYef");
    EXPECT_EQ(text_of(c.family("INSERT", {T("abcdef"), I(1), I(2), T("XY")})), "XYdef");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("abcdef"), I(1), I(2), T("XY")})), "XYcdef");
    // MySQL's documented examples: INSERT('Quadratic', 3, 4, 'What') is
    // 'QuWhattic', a start outside the text gives the text, a length past
    // the end replaces the rest
    EXPECT_EQ(text_of(c.standard("INSERT", {T("Quadratic"), I(3), I(4), T("What")})), "QuWhattic");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("Quadratic"), I(-1), I(4), T("What")})), "Quadratic");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("Quadratic"), I(3), I(100), T("What")})), "QuWhat");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("abc"), I(0), I(1), T("X")})), "abc");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("abc"), I(4), I(0), T("X")})), "abc");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("abc"), I(3), I(0), T("X")})), "abXc");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("abc"), I(2), I(-1), T("X")})), "aX");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("abc"), I(2), I(1), T("")})), "ac");
    // in characters: '日本語'[:1] + 'x' + '日本語'[2:]
    EXPECT_EQ(text_of(c.standard("INSERT", {T("日本語"), I(2), I(1), T("x")})), "日x語");
    EXPECT_TRUE(is_null_of(c.standard("INSERT", {T("abc"), NI(), I(1), T("x")}), VALUE_STRING));
    EXPECT_TRUE(is_null_of(c.standard("INSERT", {T("abc"), I(1), I(1), NT()}), VALUE_STRING));
}

// ---- LOCATE and POSITION ----

TEST(StdStringFunctions, LocateAndPositionCountCharacters)
{
    Calls c;
    // the family's documented cases, which the standard shares
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("a"), T("banana"), I(3)})), 4);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("x"), T("abc")})), 0);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("b"), T("abc"), NI()})), 2);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("b"), T("abc"), I(-7)})), 2);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T(""), T("abc"), I(4)})), 4);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T(""), T("abc"), I(5)})), 0);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("c"), T("abc"), I(4)})), 0);
    // '日本語日本'.find('本', 2) + 1 and friends, in characters
    EXPECT_EQ(int_of(c.family("LOCATE", {T("本"), T("日本語日本")})), 4);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("本"), T("日本語日本")})), 2);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("本"), T("日本語日本"), I(3)})), 5);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("本"), T("日本語日本"), I(6)})), 0);
    EXPECT_EQ(int_of(c.family("POSITION", {T("語"), T("日本語")})), 7);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("語"), T("日本語")})), 3);
    EXPECT_EQ(int_of(c.standard("POSITION", {T(""), T("日本語")})), 1);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("é"), T("café")})), 4);
    // NULL in either place is NULL (the family tests only the first)
    EXPECT_TRUE(is_null_of(c.standard("POSITION", {T("a"), NT()}), VALUE_INTEGER));
    EXPECT_TRUE(is_null_of(c.standard("POSITION", {NT(), T("a")}), VALUE_INTEGER));
    EXPECT_TRUE(is_null_of(c.standard("LOCATE", {T("a"), NT()}), VALUE_INTEGER));
}

// ---- lengths ----

TEST(StdStringFunctions, LengthsCountCharactersOctetsAndBits)
{
    Calls c;
    // the family's documented cases
    EXPECT_EQ(int_of(c.standard("CHAR_LENGTH", {T("ab  ")})), 4);
    EXPECT_EQ(int_of(c.standard("LENGTH", {T("ab  ")})), 2);
    EXPECT_EQ(int_of(c.standard("BIT_LENGTH", {T("ab")})), 16);
    // len('héllo'), len('héllo'.encode()), 8 * that
    for (const char *name : {"CHAR_LENGTH", "CHARACTER_LENGTH", "LENGTH"}) {
        EXPECT_EQ(int_of(c.family(name, {T("héllo")})), 6) << name;
        EXPECT_EQ(int_of(c.standard(name, {T("héllo")})), 5) << name;
    }
    EXPECT_EQ(int_of(c.standard("OCTET_LENGTH", {T("héllo")})), 6);
    EXPECT_EQ(int_of(c.standard("BIT_LENGTH", {T("héllo")})), 48);
    // LENGTH leaves the trailing blanks out of its count (ODBC), CHAR_LENGTH
    // counts them; other blanks are characters
    EXPECT_EQ(int_of(c.standard("LENGTH", {T("日本  ")})), 2);
    EXPECT_EQ(int_of(c.standard("CHAR_LENGTH", {T("日本  ")})), 4);
    EXPECT_EQ(int_of(c.standard("LENGTH", {T("  ")})), 0);
    EXPECT_EQ(int_of(c.standard("LENGTH", {T("a\t")})), 2);
    EXPECT_EQ(int_of(c.standard("LENGTH", {T("")})), 0);
    // the SQL-92 spellings
    EXPECT_EQ(int_of(c.call(kxstd_get_function_info(-1), {T("héllo")})), 5);
    EXPECT_EQ(int_of(c.call(kxstd_get_function_info(-2), {T("héllo")})), 6);
    EXPECT_EQ(int_of(c.call(kxstd_get_function_info(-6), {T("héllo")})), 48);
}

TEST(StdStringFunctions, FourOctetCharactersAndCombiningMarks)
{
    Calls c;
    const std::string grin = "\xF0\x9F\x98\x80";   // U+1F600
    const std::string e_acute = "e\xCC\x81";       // e and U+0301, two code points
    std::string text = "a" + grin + e_acute + "z";
    // len('a\U0001F600e\u0301z') is 5
    EXPECT_EQ(int_of(c.standard("CHAR_LENGTH", {T(text)})), 5);
    EXPECT_EQ(int_of(c.standard("OCTET_LENGTH", {T(text)})), 9);
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T(text), I(2), I(1)})), grin);
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T(text), I(3), I(1)})), "e");
    EXPECT_EQ(text_of(c.standard("SUBSTRING", {T(text), I(4), I(1)})), "\xCC\x81");
    EXPECT_EQ(text_of(c.standard("RIGHT", {T(text), I(2)})), "\xCC\x81z");
    EXPECT_EQ(int_of(c.standard("POSITION", {T("\xCC\x81"), T(text)})), 4);
    EXPECT_EQ(int_of(c.standard("LOCATE", {T("z"), T(text), I(2)})), 5);
    EXPECT_EQ(int_of(c.standard("ASCII", {T(grin)})), 0x1F600);
    EXPECT_EQ(text_of(c.standard("CHAR", {I(0x1F600)})), grin);
    EXPECT_EQ(text_of(c.standard("UCASE", {T(text)})), "A" + grin + "E\xCC\x81Z");
    EXPECT_EQ(text_of(c.standard("INSERT", {T(text), I(2), I(1), T("-")})), "a-" + e_acute + "z");
    EXPECT_EQ(text_of(c.standard("REPLACE", {T(text), T(grin), T(":)")})), "a:)" + e_acute + "z");
    // 4-octet letters have cases too: U+10400 DESERET CAPITAL LONG I
    EXPECT_EQ(text_of(c.standard("LCASE", {T("\xF0\x90\x90\x80")})), "\xF0\x90\x90\xA8");
    EXPECT_EQ(text_of(c.standard("UCASE", {T("\xF0\x90\x90\xA8")})), "\xF0\x90\x90\x80");
}

// ---- invalid UTF-8 ----

TEST(StdStringFunctions, AnOctetThatBeginsNoCharacterIsOne)
{
    Calls c;
    struct Case {
        std::string text;
        int64_t chars;
        std::string upper = "";  // the text's letters in upper case, when it has any
    } cases[] = {
        {"\xE9", 1},                       // Latin-1 é
        {"caf\xE9", 4, "CAF\xE9"},
        {"\xE3\x81", 2},                   // a three-octet lead cut short
        {"\xE3\x81" "a", 3, "\xE3\x81" "A"},
        {"\x80\xBF", 2},                   // stray continuations
        {"\xC0\x80", 2},                   // overlong NUL
        {"\xE0\x80\x80", 3},               // overlong
        {"\xED\xA0\x80", 3},               // a surrogate
        {"\xF4\x90\x80\x80", 4},           // past U+10FFFF
        {"\xF5\x80", 2},
        {"\xFF", 1},
        {"\xF0\x9F\x98", 3},               // U+1F600 cut short
        {"\xF0\x9F\x98\x80\x80", 2},       // U+1F600 and a stray
        {"\xC3\xA9\xA9", 2, "\xC3\x89\xA9"},  // é and a stray
    };
    for (const Case &k : cases) {
        EXPECT_EQ(int_of(c.standard("CHAR_LENGTH", {T(k.text)})), k.chars) << k.text;
        EXPECT_EQ(static_cast<int64_t>(decode(k.text).size()), k.chars) << k.text;
        EXPECT_EQ(int_of(c.standard("OCTET_LENGTH", {T(k.text)})),
                  static_cast<int64_t>(k.text.size()));
        // slicing and case mapping pass such octets on unchanged
        const std::string &upper = k.upper.empty() ? k.text : k.upper;
        EXPECT_EQ(text_of(c.standard("UCASE", {T(k.text)})), upper);
        EXPECT_EQ(text_of(c.standard("LCASE", {T(upper)})), k.text);
        EXPECT_EQ(text_of(c.standard("SUBSTRING", {T(k.text), I(1), I(100)})), k.text);
    }
    EXPECT_EQ(text_of(c.standard("UCASE", {T("caf\xE9 ol\xC3\xA9")})), "CAF\xE9 OL\xC3\x89");
    EXPECT_EQ(text_of(c.standard("LEFT", {T("\xE3\x81" "a"), I(1)})), "\xE3");
    EXPECT_EQ(text_of(c.standard("RIGHT", {T("\xE3\x81" "a"), I(2)})), "\x81" "a");
    // ASCII gives such an octet's value
    EXPECT_EQ(int_of(c.standard("ASCII", {T("\xE9t\xE9")})), 0xE9);
    EXPECT_EQ(int_of(c.standard("ASCII", {T("\xE3\x81")})), 0xE3);
    // a search matches whole characters only
    EXPECT_EQ(int_of(c.standard("POSITION", {T("\xE3"), T("\xE3\x81\x82")})), 0);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("\x81\x82"), T("\xE3\x81\x82")})), 0);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("\xE3"), T("a\xE3\x81")})), 2);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("\x81"), T("a\xE3\x81")})), 3);
    EXPECT_EQ(int_of(c.standard("POSITION", {T("\xE3\x81"), T("\xE3\x81\x82\xE3\x81")})), 2);
    EXPECT_EQ(text_of(c.standard("REPLACE", {T("\xE3\x81\x82\xE3"), T("\xE3"), T("x")})),
              "\xE3\x81\x82x");
    EXPECT_EQ(text_of(c.standard("INSERT", {T("\xE3\x81" "a"), I(2), I(1), T("-")})),
              "\xE3-a");
}

// ---- case ----

TEST(StdStringFunctions, CaseMapsEachCodePointSimply)
{
    Calls c;
    // ASCII, as the family's in the C locale
    EXPECT_EQ(text_of(c.family("UCASE", {T("Hello, World 42!")})), "HELLO, WORLD 42!");
    EXPECT_EQ(text_of(c.standard("UCASE", {T("Hello, World 42!")})), "HELLO, WORLD 42!");
    EXPECT_EQ(text_of(c.standard("LCASE", {T("Hello, World 42!")})), "hello, world 42!");
    EXPECT_EQ(text_of(c.standard("UPPER", {T("the quick brown fox jumps over @[`{")})),
              "THE QUICK BROWN FOX JUMPS OVER @[`{");
    // 'héllo wörld ÿ'.upper(): the family maps octets, the standard letters
    EXPECT_EQ(text_of(c.family("UCASE", {T("héllo")})), "HéLLO");
    EXPECT_EQ(text_of(c.standard("UCASE", {T("héllo wörld ÿ")})), "HÉLLO WÖRLD Ÿ");
    EXPECT_EQ(text_of(c.standard("LCASE", {T("HÉLLO WÖRLD Ÿ")})), "héllo wörld ÿ");
    EXPECT_EQ(text_of(c.standard("LOWER", {T("ΣΟΦΊΑ Привет")})), "σοφία привет");
    EXPECT_EQ(text_of(c.standard("UPPER", {T("σοφία привет")})), "ΣΟΦΊΑ ПРИВЕТ");
    // one code point to one: the simple mappings, where str.upper() gives
    // several ('ß'.upper() is 'SS', 'ﬀ'.upper() 'FF'; 'İ'.lower() is 'i̇')
    EXPECT_EQ(text_of(c.standard("UCASE", {T("straße")})), "STRAßE");
    EXPECT_EQ(text_of(c.standard("UCASE", {T("ﬀ")})), "ﬀ");
    EXPECT_EQ(text_of(c.standard("LCASE", {T("İ")})), "i");
    EXPECT_EQ(text_of(c.standard("UCASE", {T("ᾳ")})), "ᾼ");
    // mappings that change a character's octet count: 'ı'.upper() is 'I',
    // 'ſ'.upper() 'S', '\u212a'.lower() 'k', 'Ⱥ'.lower() is 'ⱥ' (2 to 3 octets)
    EXPECT_EQ(text_of(c.standard("UCASE", {T("ıſ")})), "IS");
    EXPECT_EQ(text_of(c.standard("LCASE", {T("\xE2\x84\xAA")})), "k");
    EXPECT_EQ(text_of(c.standard("LCASE", {T("ȺȺȺ")})), "ⱥⱥⱥ");
    EXPECT_EQ(text_of(c.standard("UCASE", {T("ⱥⱥ")})), "ȺȺ");
    // after characters that keep their length, and across words of eight
    EXPECT_EQ(text_of(c.standard("UCASE", {T("é-ü-ö-ä-ıx-é")})), "É-Ü-Ö-Ä-IX-É");
    EXPECT_EQ(text_of(c.standard("LCASE", {T("ÀÉÎÕÜ-ȺXYZ-ÀÉÎÕÜ")})), "àéîõü-ⱥxyz-àéîõü");
    // titlecase digraphs: 'ǅ'.upper() is 'Ǆ', 'ǅ'.lower() 'ǆ'
    EXPECT_EQ(text_of(c.standard("UCASE", {T("ǅ")})), "Ǆ");
    EXPECT_EQ(text_of(c.standard("LCASE", {T("ǅ")})), "ǆ");
    EXPECT_EQ(text_of(c.standard("UCASE", {T("")})), "");
    EXPECT_TRUE(is_null_of(c.standard("UCASE", {NT()}), VALUE_STRING));
}

// Every code point against the C library's simple mappings in C.UTF-8 (the
// tables come from Python's; the two must agree).
TEST(StdStringFunctions, CaseAgreesWithTheCLibraryForEveryCodePoint)
{
    locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    if (utf8 == static_cast<locale_t>(nullptr))
        GTEST_SKIP() << "no C.UTF-8 locale";
    std::u32string all;
    for (char32_t cp = 1; cp <= 0x10FFFF; ++cp)
        if (cp < 0xD800 || cp > 0xDFFF)
            all += cp;
    std::string text = encode(all);
    Calls c;
    std::u32string upper = decode(text_of(c.standard("UCASE", {T(text)})));
    std::u32string lower = decode(text_of(c.standard("LCASE", {T(text)})));
    ASSERT_EQ(upper.size(), all.size());
    ASSERT_EQ(lower.size(), all.size());
    int wrong = 0;
    for (size_t i = 0; i < all.size() && wrong < 10; ++i) {
        wint_t u = towupper_l(static_cast<wint_t>(all[i]), utf8);
        wint_t l = towlower_l(static_cast<wint_t>(all[i]), utf8);
        if (upper[i] != static_cast<char32_t>(u) || lower[i] != static_cast<char32_t>(l)) {
            ++wrong;
            ADD_FAILURE() << std::hex << "U+" << static_cast<uint32_t>(all[i]) << ": upper "
                          << static_cast<uint32_t>(upper[i]) << " vs " << u << ", lower "
                          << static_cast<uint32_t>(lower[i]) << " vs " << l;
        }
    }
    freelocale(utf8);
}

// ---- ASCII and CHAR ----

TEST(StdStringFunctions, AsciiAndCharAreCodePoints)
{
    Calls c;
    // ord('é') is 233; the family reads a signed octet
    EXPECT_EQ(int_of(c.family("ASCII", {T("é")})), -61);
    EXPECT_EQ(int_of(c.standard("ASCII", {T("é")})), 233);
    EXPECT_EQ(int_of(c.standard("ASCII", {T("A")})), 65);
    EXPECT_EQ(int_of(c.standard("ASCII", {T("日本")})), 0x65E5);
    EXPECT_EQ(int_of(c.standard("ASCII", {T("")})), 0);
    // chr(233).encode() is b'\xc3\xa9'
    EXPECT_EQ(text_of(c.family("CHAR", {I(233)})), "\xE9");
    EXPECT_EQ(text_of(c.standard("CHAR", {I(233)})), "é");
    EXPECT_EQ(text_of(c.standard("CHAR", {I(65)})), "A");
    EXPECT_EQ(text_of(c.standard("CHAR", {I(0x7FF)})), "\xDF\xBF");
    EXPECT_EQ(text_of(c.standard("CHAR", {I(0x800)})), "\xE0\xA0\x80");
    EXPECT_EQ(text_of(c.standard("CHAR", {I(0xFFFF)})), "\xEF\xBF\xBF");
    EXPECT_EQ(text_of(c.standard("CHAR", {I(0x10FFFF)})), "\xF4\x8F\xBF\xBF");
    // CHAR(0) is the one octet 0, as the family's
    Outcome zero = c.standard("CHAR", {I(0)});
    ASSERT_NE(zero.result, nullptr);
    EXPECT_EQ(zero.result->length, 1);
    EXPECT_EQ(zero.result->payload.text[0], '\0');
    // no code point: 22023
    for (int64_t n : {int64_t{-1}, int64_t{0xD800}, int64_t{0xDFFF}, int64_t{0x110000},
                      int64_t{1} << 40})
        EXPECT_POSTED(c.standard("CHAR", {B(n)}), "22023", "Invalid parameter value");
    EXPECT_TRUE(is_null_of(c.standard("CHAR", {NI()}), VALUE_STRING));
    // every code point goes there and back
    std::string all;
    for (int64_t cp = 0; cp <= 0x10FFFF; cp += 97) {
        if (cp >= 0xD800 && cp <= 0xDFFF)
            continue;
        std::string one = text_of(c.standard("CHAR", {I(cp)}));
        ASSERT_EQ(decode(one), std::u32string(1, static_cast<char32_t>(cp))) << cp;
        if (cp > 0) {
            ASSERT_EQ(int_of(c.standard("ASCII", {T(one)})), cp);
        }
    }
}

// ---- SOUNDEX and DIFFERENCE ----

TEST(StdStringFunctions, SoundexIsAmericanSoundex)
{
    Calls c;
    struct Case {
        const char *name, *family, *standard;
    } cases[] = {
        {"Robert", "R163", "R163"},   {"Rupert", "R163", "R163"},
        {"Rubin", "R150", "R150"},    {"Ashcraft", "A261", "A261"},
        {"Ashcroft", "A261", "A261"}, {"Tymczak", "T520", "T522"},
        {"Pfister", "P123", "P236"},  {"Honeyman", "H500", "H555"},
        {"Lee", "L000", "L000"},      {"A", "A000", "A000"},
        {"washington", "W252", "W252"}, {"Burroughs", "B620", "B620"},
    };
    for (const Case &k : cases) {
        EXPECT_EQ(text_of(c.family("SOUNDEX", {T(k.name)})), k.family) << k.name;
        EXPECT_EQ(text_of(c.standard("SOUNDEX", {T(k.name)})), k.standard) << k.name;
        EXPECT_EQ(soundex_oracle(k.name), k.standard) << k.name;
    }
    // other characters are passed over, even before the first letter
    EXPECT_EQ(text_of(c.standard("SOUNDEX", {T("O'Hara")})), "O600");
    EXPECT_EQ(text_of(c.standard("SOUNDEX", {T(" 1robert")})), "R163");
    EXPECT_EQ(text_of(c.standard("SOUNDEX", {T("Rö-bert")})), "R163");
    EXPECT_TRUE(is_null_of(c.family("SOUNDEX", {T("1abc")}), VALUE_STRING));
    EXPECT_EQ(text_of(c.standard("SOUNDEX", {T("1abc")})), "A120");
    // no letter, no code
    for (const char *none : {"", "123", "日本", " -"}) {
        Outcome o = c.standard("SOUNDEX", {T(none)});
        EXPECT_TRUE(is_null_of(o, VALUE_STRING)) << none;
    }
    EXPECT_TRUE(is_null_of(c.standard("SOUNDEX", {NT()}), VALUE_STRING));
}

TEST(StdStringFunctions, SoundexAgreesWithItsOracle)
{
    std::mt19937 random(20240611);
    const char alphabet[] = "abcdefghijklmnopqrstuvwxyzHWhwAEIOUY -'1";
    Calls c;
    for (int i = 0; i < 3000; ++i) {
        std::string name;
        int length = static_cast<int>(random() % 12);
        for (int k = 0; k < length; ++k)
            name += alphabet[random() % (sizeof alphabet - 1)];
        Outcome o = c.standard("SOUNDEX", {T(name)});
        std::string got = o.result != nullptr && o.result->null_flag != 0 ? "(NULL)"
                                                                           : text_of(o);
        ASSERT_EQ(got, soundex_oracle(name)) << "\"" << name << "\"";
    }
}

// The family's SOUNDEX and LENGTH as the family describes them, octet by
// octet through the C library's isalpha and toupper, against its routines
// on random octets: made faster, they must answer exactly as before.
std::string family_soundex(const std::string &s)
{
    static const char kSound[] = "01230120022455012623010202";
    if (s.empty() || !std::isalpha(static_cast<unsigned char>(s[0])))
        return "(NULL)";
    std::string code(1, static_cast<char>(std::toupper(static_cast<unsigned char>(s[0]))));
    char last = code[0];
    for (size_t i = 1; i < s.size() && code.size() < 4; ++i) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (!std::isalpha(c))
            continue;
        int upper = std::toupper(c);
        if (upper < 'A' || upper > 'Z')
            continue;
        char digit = kSound[upper - 'A'];
        if (digit != '0' && digit != last) {
            code += digit;
            last = digit;
        }
    }
    code.resize(4, '0');
    return code;
}

TEST(StdStringFunctions, TheFamilysSoundexAndLengthAnswerAsBefore)
{
    std::mt19937 random(777);
    const char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ  -'1\xE9\xC9\xC3\xA9\xFF";
    for (const char *locale : {"C", "C.UTF-8"}) {
        if (std::setlocale(LC_CTYPE, locale) == nullptr)
            continue;
        Calls c;
        for (int i = 0; i < 3000; ++i) {
            std::string text;
            int length = static_cast<int>(random() % 14);
            for (int k = 0; k < length; ++k)
                text += alphabet[random() % (sizeof alphabet - 1)];
            Outcome o = c.family("SOUNDEX", {T(text)});
            ASSERT_NE(o.result, nullptr);
            std::string got = o.result->null_flag != 0 ? "(NULL)" : text_of(o);
            ASSERT_EQ(got, family_soundex(text)) << locale << " \"" << text << "\"";
            std::string trimmed = text.substr(0, text.find_last_not_of(' ') + 1);
            ASSERT_EQ(int_of(c.family("LENGTH", {T(text)})), static_cast<int64_t>(trimmed.size()));
        }
    }
    std::setlocale(LC_CTYPE, "C");
}

TEST(StdStringFunctions, DifferenceCountsMatchingPositions)
{
    Calls c;
    // SQL Server's documented examples
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("Green"), T("Greene")})), 4);
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("Smith"), T("Smythe")})), 4);
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("Blotchet-Halls"), T("Greene")})), 0);
    // R163 against R163, R150 (two places agree) and A261 (one)
    EXPECT_EQ(int_of(c.family("DIFFERENCE", {T("Robert"), T("Rupert")})), 0);
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("Robert"), T("Rupert")})), 4);
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("Robert"), T("Rubin")})), 2);
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("Robert"), T("Ashcraft")})), 1);
    // T522 and P236 agree nowhere
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("Tymczak"), T("Pfister")})), 0);
    // Lee L000 and Lewis L200 agree in three places
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("Lee"), T("Lewis")})), 3);
    // a text without a code matches nowhere
    EXPECT_EQ(int_of(c.family("DIFFERENCE", {T(""), T("x")})), 27000);
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T(""), T("x")})), 0);
    EXPECT_EQ(int_of(c.standard("DIFFERENCE", {T("12"), T("34")})), 0);
    EXPECT_TRUE(is_null_of(c.standard("DIFFERENCE", {T("a"), NT()}), VALUE_INTEGER));
}

// ---- NULLs and errors ----

TEST(StdStringFunctions, NullArgumentsGiveNullOfTheResultType)
{
    Calls c;
    struct Case {
        const char *name;
        std::vector<A> args;
        int32_t type;
    } cases[] = {
        {"ASCII", {NT()}, VALUE_INTEGER},
        {"BIT_LENGTH", {NT()}, VALUE_INTEGER},
        {"CHAR_LENGTH", {NT()}, VALUE_INTEGER},
        {"OCTET_LENGTH", {NT()}, VALUE_INTEGER},
        {"LENGTH", {NT()}, VALUE_INTEGER},
        {"CONCAT", {T("a"), NT()}, VALUE_STRING},
        {"CONCAT", {NT(), T("a")}, VALUE_STRING},
        {"LCASE", {NT()}, VALUE_STRING},
        {"LEFT", {T("a"), NI()}, VALUE_STRING},
        {"RIGHT", {NT(), I(1)}, VALUE_STRING},
        {"REPEAT", {T("a"), NI()}, VALUE_STRING},
        {"REPLACE", {T("a"), T("a"), NT()}, VALUE_STRING},
        {"SUBSTRING", {T("abc"), I(1), NI()}, VALUE_STRING},
        {"SUBSTRING", {T("abc"), NI(), I(1)}, VALUE_STRING},
        {"LOCATE", {NT(), T("a")}, VALUE_INTEGER},
    };
    for (const Case &k : cases) {
        Outcome o = c.standard(k.name, k.args);
        EXPECT_TRUE(is_null_of(o, k.type)) << k.name;
        if (k.type == VALUE_STRING && o.result != nullptr) {
            EXPECT_EQ(o.result->length, 0) << k.name;
        }
    }
}

TEST(StdStringFunctions, ResultsPastTwoGigabytesAreErrors)
{
    Calls c;
    // 2^30 copies of two octets: 2^31 octets, one more than a length holds
    EXPECT_POSTED(c.standard("REPEAT", {T("ab"), I(1 << 30)}), "22001",
                  "String data, right truncation");
    EXPECT_POSTED(c.standard("REPEAT", {T("abc"), B(int64_t{1} << 62)}), "22001",
                  "String data, right truncation");
    EXPECT_POSTED(c.standard("REPEAT", {T("abc"), I(INT32_MAX)}), "22001",
                  "String data, right truncation");
    // the family's REPEAT and the family's memory message
    EXPECT_POSTED(c.family("REPEAT", {T("ab"), I(1 << 30)}), "HY001",
                  "Memory allocation error");
    // an integer argument that is no number
    EXPECT_POSTED(c.standard("LEFT", {T("abc"), T("x")}), "22018", "");
    EXPECT_EQ(text_of(c.standard("LEFT", {T("abc"), T(" 2 ")})), "ab");
}

TEST(StdStringFunctions, LongDataIsReadWhole)
{
    Calls c;
    TestLong data;
    data.data = std::string(300, 'x') + "日本語  ";
    EXPECT_EQ(int_of(c.standard("CHAR_LENGTH", {L(&data)})), 305);
    EXPECT_EQ(int_of(c.standard("LENGTH", {L(&data)})), 303);
    EXPECT_EQ(int_of(c.standard("OCTET_LENGTH", {L(&data)})), 311);
    EXPECT_EQ(int_of(c.standard("BIT_LENGTH", {L(&data)})), 8 * 311);
    EXPECT_EQ(text_of(c.standard("RIGHT", {L(&data), I(4)})), "本語  ");
    EXPECT_EQ(text_of(c.standard("UCASE", {L(&data)})), std::string(300, 'X') + "日本語  ");
    TestLong first;
    first.data = "€uro";
    EXPECT_EQ(int_of(c.standard("ASCII", {L(&first)})), 0x20AC);
    TestLong empty;
    EXPECT_EQ(int_of(c.standard("ASCII", {L(&empty)})), 0);
    EXPECT_EQ(int_of(c.standard("CHAR_LENGTH", {L(&empty)})), 0);
    TestLong broken;
    broken.data = "abc";
    broken.fail = true;
    for (const char *name : {"CHAR_LENGTH", "ASCII", "OCTET_LENGTH", "UCASE", "SOUNDEX"}) {
        SCOPED_TRACE(name);
        EXPECT_POSTED(c.standard(name, {L(&broken)}), "HY000", "long data");
    }
}

TEST(StdStringFunctions, WithoutAContextThereIsNoResult)
{
    Value s = kxtest::text("abc");
    Value *argv[] = {&s, &s, &s, &s};
    for (int i = 0; i < KX_FUNCTION_COUNT; ++i) {
        const FunctionEntry &e = kxstd_functions[i];
        if (e.arg_class[0] == KX_CLASS_CHAR && e.impl != family_entry(e.name)->impl) {
            EXPECT_EQ(execute_function(&e, nullptr, e.arg_count, argv, 0, 0), nullptr) << e.name;
        }
    }
}

TEST(StdStringFunctions, MemoryRunningOutPostsHY001)
{
    for (const char *name : {"UCASE", "CONCAT", "LENGTH", "SOUNDEX", "SUBSTRING", "REPEAT"}) {
        // each in a thread of its own, so that only its requests fail and
        // its first ones find no block cached for reuse
        std::thread([name] {
            int refused = 0;
            for (long n = 0;; n++) {
                StatementContext sc;
                ASSERT_NE(sc.errors(), nullptr);
                Value a = kxtest::text("h\xC3\xA9llo");
                Value two = kxtest::integer(2);
                Value *argv[] = {&a, &a, &two};
                if (std::strcmp(name, "SUBSTRING") == 0 || std::strcmp(name, "REPEAT") == 0)
                    argv[1] = &two;
                int jumped = 0;
                kxtest::fail_request_after(n);
                Value *r = run(standard_entry(name), &sc.context, 3, argv, &jumped);
                bool failed = kxtest::stop_failing();
                if (jumped) {
                    EXPECT_TRUE(failed) << name;
                    char state[6] = {};
                    int32_t native = 0;
                    char message[256] = {};
                    int16_t length = 0;
                    // the record may itself not be made when memory is short
                    if (GetDiagRec(sc.errors(), 1, state, &native, message, sizeof message,
                                   &length) == 0) {
                        EXPECT_STREQ(state, "HY001") << name;
                    }
                    refused++;
                    continue;
                }
                ASSERT_NE(r, nullptr) << name;
                EXPECT_EQ(r->null_flag, 0) << name;
                if (!failed)
                    break;
            }
            EXPECT_GE(refused, 1) << name;
        }).join();
    }
}

// ---- a seeded comparison with the oracle ----

// Pieces of text: ASCII, blanks, two-, three- and four-octet characters, a
// combining mark, and octets that begin no character.
const char *const kPieces[] = {
    "a", "b", "Z", " ", "  ", "é", "É", "ß", "日", "本", "\xF0\x9F\x98\x80", "\xCC\x81",
    "\xE9", "\x80", "\xE3\x81", "\xC0\x80", "\xED\xA0\x80", "\xF0\x9F\x98", "\xFF", "ab",
    "ı", "Ⱥ", "ⱥ", "한", "\xF4\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xE0\xA4\x85", "\xE0\x80\x80",
    "\xF0\x90\x90\x80", "abcdefgh", "ABCDEFGHIJ",
};

std::string random_text(std::mt19937 &random, int most)
{
    std::string s;
    int n = static_cast<int>(random() % static_cast<unsigned>(most + 1));
    for (int i = 0; i < n; ++i)
        s += kPieces[random() % (sizeof kPieces / sizeof kPieces[0])];
    return s;
}

// Python's s[a:b] with the clamping SQL's window needs.
std::u32string slice(const std::u32string &u, int64_t from, int64_t to)
{
    int64_t n = static_cast<int64_t>(u.size());
    from = from < 0 ? 0 : from > n ? n : from;
    to = to < from ? from : to > n ? n : to;
    return u.substr(static_cast<size_t>(from), static_cast<size_t>(to - from));
}

TEST(StdStringFunctions, AgreesWithTheOracleOnSeededTexts)
{
    std::mt19937 random(1234567);
    Calls c;
    locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    for (int round = 0; round < 3000; ++round) {
        std::string s = random_text(random, round % 3 == 0 ? 30 : 10);
        std::u32string u = decode(s);
        int64_t n = static_cast<int64_t>(u.size());
        int64_t a = static_cast<int64_t>(random() % 16) - 3;
        int64_t b = static_cast<int64_t>(random() % 14);
        SCOPED_TRACE("text \"" + s + "\" a " + std::to_string(a) + " b " + std::to_string(b));

        std::u32string trimmed = u;
        while (!trimmed.empty() && trimmed.back() == U' ')
            trimmed.pop_back();
        EXPECT_EQ(int_of(c.standard("CHAR_LENGTH", {T(s)})), n);
        EXPECT_EQ(int_of(c.standard("LENGTH", {T(s)})), static_cast<int64_t>(trimmed.size()));
        EXPECT_EQ(int_of(c.standard("OCTET_LENGTH", {T(s)})), static_cast<int64_t>(s.size()));
        EXPECT_EQ(text_of(c.standard("SUBSTRING", {T(s), I(a), I(b)})),
                  encode(slice(u, a - 1, a - 1 + b)));
        EXPECT_EQ(text_of(c.standard("LEFT", {T(s), I(b)})), encode(slice(u, 0, b)));
        EXPECT_EQ(text_of(c.standard("RIGHT", {T(s), I(b)})), encode(slice(u, n - b, n)));

        // a needle taken from the text, or another text
        std::string t = random() % 3 == 0 ? random_text(random, 2)
                                          : encode(slice(u, b % (n + 1), b % (n + 1) + a % 4));
        std::u32string v = decode(t);
        int64_t start = a < 1 ? 1 : a;
        size_t found = start - 1 <= n ? u.find(v, static_cast<size_t>(start - 1))
                                      : std::u32string::npos;
        EXPECT_EQ(int_of(c.standard("LOCATE", {T(t), T(s), I(a)})),
                  found == std::u32string::npos ? 0 : static_cast<int64_t>(found) + 1);
        size_t first = u.find(v);
        EXPECT_EQ(int_of(c.standard("POSITION", {T(t), T(s)})),
                  first == std::u32string::npos ? 0 : static_cast<int64_t>(first) + 1);

        // MySQL's INSERT
        int64_t len = static_cast<int64_t>(random() % 6) - 1;
        std::u32string inserted =
            a < 1 || a > n ? u
                           : u.substr(0, static_cast<size_t>(a - 1)) + v +
                                 (len < 0 ? std::u32string() : slice(u, a - 1 + len, n));
        EXPECT_EQ(text_of(c.standard("INSERT", {T(s), I(a), I(len), T(t)})), encode(inserted));

        // REPLACE, left to right without overlap; nothing for an empty pattern
        std::u32string replaced;
        if (v.empty()) {
            replaced = u;
        } else {
            size_t at = 0;
            for (size_t hit; (hit = u.find(v, at)) != std::u32string::npos; at = hit + v.size())
                replaced += u.substr(at, hit - at) + U"<>";
            replaced += u.substr(at);
        }
        EXPECT_EQ(text_of(c.standard("REPLACE", {T(s), T(t), T("<>")})), encode(replaced));

        EXPECT_EQ(text_of(c.standard("CONCAT", {T(s), T(t)})), s + t);
        EXPECT_EQ(text_of(c.standard("REPEAT", {T(s), I(b % 4)})),
                  b % 4 == 0 ? "" : b % 4 == 1 ? s : b % 4 == 2 ? s + s : s + s + s);
        int64_t code = u.empty() ? 0 : u[0] >= kStray ? u[0] - kStray : u[0];
        EXPECT_EQ(int_of(c.standard("ASCII", {T(s)})), code);

        // case, code point by code point, octets that begin no character kept
        if (utf8 != static_cast<locale_t>(nullptr)) {
            std::u32string upper = u, lower = u;
            for (size_t i = 0; i < u.size(); ++i) {
                if (u[i] >= kStray)
                    continue;
                upper[i] = static_cast<char32_t>(towupper_l(static_cast<wint_t>(u[i]), utf8));
                lower[i] = static_cast<char32_t>(towlower_l(static_cast<wint_t>(u[i]), utf8));
            }
            EXPECT_EQ(text_of(c.standard("UCASE", {T(s)})), encode(upper));
            EXPECT_EQ(text_of(c.standard("LCASE", {T(s)})), encode(lower));
        }
    }
    if (utf8 != static_cast<locale_t>(nullptr))
        freelocale(utf8);
}

}  // namespace
