// Tests of the ODBC output-buffer helpers and the small string utilities.
// Every copy runs into a buffer with guard bytes after it, so a write past
// the stated length fails the test even without the sanitizer build.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kxsupp/memory.h"
#include "memory/memsys_internal.h"

namespace {

constexpr char kGuard = '#';

// A buffer of `length` bytes followed by 16 guard bytes, all pre-filled.
struct Guarded {
    explicit Guarded(size_t length, char fill = '~') : size(length), bytes(length + 16, fill)
    {
        std::memset(bytes.data() + length, kGuard, 16);
    }
    char *data() { return bytes.data(); }
    bool guard_intact() const
    {
        for (size_t i = size; i < bytes.size(); i++)
            if (bytes[i] != kGuard)
                return false;
        return true;
    }
    size_t size;
    std::vector<char> bytes;
};

// ---- copy_str_buffer and copy_str_bufferl ----

struct CopyCase {
    const char *source;     // null for a null source
    uint32_t buffer_length;
    bool null_buffer;
    const char *expected;   // buffer contents as a string; null: untouched
    int32_t length;
    int32_t result;
};

const CopyCase copy_cases[] = {
    {"abc", 4, false, "abc", 3, 0},   // fits exactly with its terminator
    {"abc", 3, false, "ab", 3, 1},    // first 2 characters and a terminator
    {"abc", 0, true, nullptr, 3, 1},  // length only
    {"abc", 10, true, nullptr, 3, 0}, // the result follows the length alone
    {nullptr, 0, true, nullptr, 0, 1}, // length 0 reports 1 for any source
    {"abc", 0, false, nullptr, 3, 1}, // length 0: nothing written
    {"abc", 1, false, "", 3, 1},      // room for the terminator only
    {"abc", 100, false, "abc", 3, 0},
    {nullptr, 1, false, "", 0, 0},    // null source is the empty string
    {nullptr, 5, false, "", 0, 0},
    {nullptr, 0, false, nullptr, 0, 1},
    {"", 1, false, "", 0, 0},
    {"", 0, false, nullptr, 0, 1},
    {"hello world", 6, false, "hello", 11, 1},
};

TEST(CopyStrBuffer, Cases)
{
    for (const CopyCase &c : copy_cases) {
        SCOPED_TRACE(std::string(c.source ? c.source : "(null)") + " into " +
                     std::to_string(c.buffer_length));
        Guarded buffer(c.buffer_length);
        int16_t length = -99;
        int32_t result = copy_str_buffer(c.null_buffer ? nullptr : buffer.data(),
                                         c.buffer_length, &length, c.source);
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(length, c.length);
        if (c.expected != nullptr) {
            EXPECT_STREQ(buffer.data(), c.expected);
        } else {
            EXPECT_EQ(std::string(buffer.bytes.data(), c.buffer_length),
                      std::string(c.buffer_length, '~'));
        }
        EXPECT_TRUE(buffer.guard_intact());
    }
}

TEST(CopyStrBufferl, Cases)
{
    for (const CopyCase &c : copy_cases) {
        SCOPED_TRACE(std::string(c.source ? c.source : "(null)") + " into " +
                     std::to_string(c.buffer_length));
        Guarded buffer(c.buffer_length);
        int32_t length = -99;
        int32_t result = copy_str_bufferl(c.null_buffer ? nullptr : buffer.data(),
                                          c.buffer_length, &length, c.source);
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(length, c.length);
        if (c.expected != nullptr) {
            EXPECT_STREQ(buffer.data(), c.expected);
        }
        EXPECT_TRUE(buffer.guard_intact());
    }
}

TEST(CopyStrBuffer, NullLengthPointerIsAllowed)
{
    char buffer[8];
    EXPECT_EQ(copy_str_buffer(buffer, sizeof buffer, nullptr, "abc"), 0);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(copy_str_bufferl(buffer, 2, nullptr, "abc"), 1);
    EXPECT_STREQ(buffer, "a");
}

TEST(CopyStrBuffer, LengthIsSixteenBitsWide)
{
    std::string big(40000, 'x');
    Guarded buffer(8);
    int16_t length16 = 0;
    EXPECT_EQ(copy_str_buffer(buffer.data(), 8, &length16, big.c_str()), 1);
    EXPECT_EQ(length16, static_cast<int16_t>(40000));
    int32_t length32 = 0;
    EXPECT_EQ(copy_str_bufferl(buffer.data(), 8, &length32, big.c_str()), 1);
    EXPECT_EQ(length32, 40000);
    EXPECT_STREQ(buffer.data(), "xxxxxxx");
    EXPECT_TRUE(buffer.guard_intact());
}

TEST(CopyStrBuffer, BufferLengthAboveSignedRangeWritesNothingWhenCut)
{
    // Step 3 of the copy writes only for a positive signed length; a source
    // shorter than the length is copied whole.
    char buffer[8] = "zzzzzzz";
    int16_t length = 0;
    EXPECT_EQ(copy_str_buffer(buffer, 0x80000000u, &length, "abc"), 0);
    EXPECT_STREQ(buffer, "abc");
}

// ---- copy_nstr_bufferl ----

std::vector<uint16_t> units(const uint16_t *p, size_t n)
{
    return std::vector<uint16_t>(p, p + n);
}

TEST(CopyNstrBufferl, WidensWithSignExtension)
{
    uint16_t buffer[8];
    int32_t length = 0;
    EXPECT_EQ(copy_nstr_bufferl(buffer, 8, &length, "a\xE9z\x80\xFF"), 0);
    EXPECT_EQ(length, 5);
    EXPECT_EQ(units(buffer, 6),
              (std::vector<uint16_t>{0x61, 0xFFE9, 0x7A, 0xFF80, 0xFFFF, 0}));
}

TEST(CopyNstrBufferl, Cases)
{
    struct Case {
        const char *source;
        int32_t buffer_length;
        bool null_buffer;
        std::vector<uint16_t> expected;  // units written, terminator included
        int32_t length;
        int32_t result;
    } cases[] = {
        {"abc", 4, false, {'a', 'b', 'c', 0}, 3, 0},
        {"abc", 3, false, {'a', 'b', 0}, 3, 1},
        {"abc", 1, false, {0}, 3, 1},
        {"abc", 0, false, {}, 3, 1},
        {"abc", -5, false, {}, 3, 1},
        {"abc", 4, true, {}, 3, 0},
        {"abc", 0, true, {}, 3, 1},
        {nullptr, 2, false, {0}, 0, 0},
        {"\xE9", 2, false, {0xFFE9, 0}, 1, 0},
        {"\xE9\xE9", 2, false, {0xFFE9, 0}, 2, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.source ? c.source : "(null)") + " into " +
                     std::to_string(c.buffer_length));
        uint16_t buffer[12];
        for (uint16_t &u : buffer)
            u = 0x2323;
        int32_t length = -99;
        int32_t result = copy_nstr_bufferl(c.null_buffer ? nullptr : buffer,
                                           c.buffer_length, &length, c.source);
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(length, c.length);
        EXPECT_EQ(units(buffer, c.expected.size()), c.expected);
        for (size_t i = c.expected.size(); i < 12; i++)
            EXPECT_EQ(buffer[i], 0x2323) << i;
    }
}

// ---- cat_str_buffer ----

struct CatCase {
    const char *start;      // text already in the buffer
    int16_t current;        // the current length passed in
    const char *source;
    uint32_t buffer_length;
    const char *expected;
    int16_t length;
    int32_t result;
};

const CatCase cat_cases[] = {
    {"ab", 2, "cd", 5, "abcd", 4, 0},      // fits with its terminator
    {"ab", 2, "cd", 4, "abc", 4, 1},       // cut; terminator in the last byte
    {"ab", 2, "cd", 3, "ab", 4, 1},        // no room left at all
    {"ab", 2, "cdefgh", 6, "abcde", 8, 1},
    {"", 0, "xyz", 4, "xyz", 3, 0},
    {"", 0, "xyz", 3, "xy", 3, 1},
    {"ab", 2, nullptr, 3, "ab", 2, 0},     // null source appends nothing
    {"ab", 2, "", 3, "ab", 2, 0},
    {"abc", 3, "", 3, "ab", 3, 1},         // already full: still reports 1
};

TEST(CatStrBuffer, Cases)
{
    for (const CatCase &c : cat_cases) {
        SCOPED_TRACE(std::string(c.start) + " + " + (c.source ? c.source : "(null)") +
                     " in " + std::to_string(c.buffer_length));
        Guarded buffer(c.buffer_length, '\0');
        std::memcpy(buffer.data(), c.start,
                    std::min<size_t>(std::strlen(c.start) + 1, c.buffer_length));
        int16_t length = c.current;
        EXPECT_EQ(cat_str_buffer(buffer.data(), c.buffer_length, &length, c.source),
                  c.result);
        EXPECT_EQ(length, c.length);
        EXPECT_STREQ(buffer.data(), c.expected);
        EXPECT_TRUE(buffer.guard_intact());
    }
}

TEST(CatStrBuffer, NeverWritesPastTheBufferWhenCut)
{
    // As first built, this wrote buflen - 1 bytes from the current end.
    for (uint32_t size = 1; size <= 12; size++) {
        for (int16_t current = 0; current < static_cast<int16_t>(size); current++) {
            Guarded buffer(size, '\0');
            std::memset(buffer.data(), 'a', current);
            int16_t length = current;
            int32_t result = cat_str_buffer(buffer.data(), size, &length, "0123456789ABCDEF");
            EXPECT_EQ(result, 1);
            EXPECT_EQ(length, current + 16);
            EXPECT_TRUE(buffer.guard_intact()) << size << " " << current;
            EXPECT_EQ(buffer.data()[size - 1], '\0');
            std::string expected = std::string(current, 'a') +
                                   std::string("0123456789ABCDEF").substr(0, size - 1 - current);
            EXPECT_STREQ(buffer.data(), expected.c_str());
        }
    }
}

TEST(CatStrBuffer, CurrentLengthBeyondTheBufferIsSafe)
{
    Guarded buffer(4, '\0');
    std::memcpy(buffer.data(), "abc", 4);
    int16_t length = 10;
    EXPECT_EQ(cat_str_buffer(buffer.data(), 4, &length, "xy"), 1);
    EXPECT_EQ(length, 12);
    EXPECT_TRUE(buffer.guard_intact());
    EXPECT_EQ(buffer.data()[3], '\0');
}

TEST(CatStrBuffer, NegativeCurrentLengthIsSafe)
{
    Guarded buffer(4, '\0');
    int16_t length = -1;
    EXPECT_EQ(cat_str_buffer(buffer.data(), 4, &length, "wxyz"), 0);  // 3 < 4
    EXPECT_EQ(length, 3);
    EXPECT_TRUE(buffer.guard_intact());
    length = -1;
    EXPECT_EQ(cat_str_buffer(buffer.data(), 4, &length, "abcdefgh"), 1);
    EXPECT_TRUE(buffer.guard_intact());
    EXPECT_EQ(buffer.data()[3], '\0');
}

TEST(CatStrBuffer, NullBufferOrZeroLengthReportsOnly)
{
    int16_t length = 2;
    EXPECT_EQ(cat_str_buffer(nullptr, 10, &length, "abc"), 0);
    EXPECT_EQ(length, 5);
    Guarded buffer(0);
    length = 0;
    EXPECT_EQ(cat_str_buffer(buffer.data(), 0, &length, "abc"), 1);
    EXPECT_EQ(length, 3);
    EXPECT_TRUE(buffer.guard_intact());
}

TEST(CatStrBuffer, RepeatedAppendsBuildAString)
{
    char buffer[16] = "";
    int16_t length = 0;
    for (const char *part : {"SELECT", " * ", "FROM", " t"})
        EXPECT_EQ(cat_str_buffer(buffer, sizeof buffer, &length, part), 0);
    EXPECT_STREQ(buffer, "SELECT * FROM t");
    EXPECT_EQ(length, 15);
    EXPECT_EQ(cat_str_buffer(buffer, sizeof buffer, &length, "x"), 1);
    EXPECT_EQ(length, 16);
    EXPECT_STREQ(buffer, "SELECT * FROM t");
}

// Without a length pointer the current length is taken as 0: a source that
// fits is appended where the text ends, one that does not is cut.
TEST(CatStrBuffer, WithoutALengthPointer)
{
    char buffer[8] = "ab";
    EXPECT_EQ(cat_str_buffer(buffer, sizeof buffer, nullptr, "cde"), 0);
    EXPECT_STREQ(buffer, "abcde");
    char small[4] = "xy";
    EXPECT_EQ(cat_str_buffer(small, sizeof small, nullptr, "abcd"), 1);
    EXPECT_STREQ(small, "abc");   // cut from the start, as for length 0
}

// ---- string_duplicate ----

TEST(StringDuplicate, CopiesIntoTheHandle)
{
    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    const char source[] = "duplicate me";
    char *copy = string_duplicate(source, mem);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, source);
    EXPECT_STREQ(copy, source);
    EXPECT_EQ(mem->first_block, kx::mem_block_of(copy));
    EXPECT_EQ(kx::mem_block_of(copy)->size, sizeof source);
    char *empty = string_duplicate(nullptr, mem);
    ASSERT_NE(empty, nullptr);
    EXPECT_STREQ(empty, "");
    EXPECT_EQ(string_duplicate("x", nullptr), nullptr);
    kx_mem_release_handle(mem);
}

// ---- string_compare ----

TEST(StringCompare, Cases)
{
    struct Case {
        const char *a, *b;
        int32_t result;
    } cases[] = {
        {"Select", "sELECT", 0},
        {"select", "selects", 1},
        {"selects", "select", 1},
        {nullptr, nullptr, 0},
        {nullptr, "x", 1},
        {"x", nullptr, 1},
        {nullptr, "", 1},
        {"", "", 0},
        {"abc", "abd", 1},
        {"DSN=x;", "dsn=X;", 0},
        {"b", "a", 1},  // an equality test, not an ordering
        {"a", "b", 1},
    };
    for (const Case &c : cases)
        EXPECT_EQ(string_compare(c.a, c.b), c.result)
            << (c.a ? c.a : "(null)") << " / " << (c.b ? c.b : "(null)");
}

// ---- safe_strtok ----

TEST(SafeStrtok, SkipsRunsOfDelimiters)
{
    char text[] = ",a,,b,";
    char *save = nullptr;
    EXPECT_STREQ(safe_strtok(text, ",", &save), "a");
    EXPECT_STREQ(safe_strtok(nullptr, ",", &save), "b");
    EXPECT_EQ(safe_strtok(nullptr, ",", &save), nullptr);
    EXPECT_EQ(safe_strtok(nullptr, ",", &save), nullptr);
}

TEST(SafeStrtok, SavesPositionAfterTheDelimiter)
{
    char text[] = "key=value;next";
    char *save = nullptr;
    char *token = safe_strtok(text, "=;", &save);
    EXPECT_EQ(token, text);
    EXPECT_STREQ(token, "key");
    EXPECT_EQ(save, text + 4);
    EXPECT_STREQ(safe_strtok(nullptr, "=;", &save), "value");
    char *last = safe_strtok(nullptr, "=;", &save);
    EXPECT_STREQ(last, "next");
    EXPECT_EQ(save, text + std::strlen("key=value;next"));  // at the terminator
    EXPECT_EQ(safe_strtok(nullptr, "=;", &save), nullptr);
}

TEST(SafeStrtok, EmptyOrAllDelimitersLeavesSaveUnchanged)
{
    char text[] = ",,,";
    char *save = text + 1;
    char *before = save;
    EXPECT_EQ(safe_strtok(text, ",", &save), nullptr);
    EXPECT_EQ(save, before);
    char empty[] = "";
    EXPECT_EQ(safe_strtok(empty, ",", &save), nullptr);
    EXPECT_EQ(save, before);
}

TEST(SafeStrtok, TwoScansInterleaved)
{
    char first[] = "a b";
    char second[] = "x,y";
    char *s1 = nullptr, *s2 = nullptr;
    EXPECT_STREQ(safe_strtok(first, " ", &s1), "a");
    EXPECT_STREQ(safe_strtok(second, ",", &s2), "x");
    EXPECT_STREQ(safe_strtok(nullptr, " ", &s1), "b");
    EXPECT_STREQ(safe_strtok(nullptr, ",", &s2), "y");
    EXPECT_EQ(safe_strtok(nullptr, " ", &s1), nullptr);
    EXPECT_EQ(safe_strtok(nullptr, ",", &s2), nullptr);
}

TEST(SafeStrtok, NullArgumentsAreHarmless)
{
    char text[] = "abc";
    EXPECT_EQ(safe_strtok(text, ",", nullptr), nullptr);
    char *save = nullptr;
    EXPECT_EQ(safe_strtok(nullptr, ",", &save), nullptr);
    EXPECT_STREQ(safe_strtok(text, nullptr, &save), "abc");
}

// ---- function_string ----

TEST(FunctionString, Table)
{
    struct Case {
        int32_t code;
        const char *name;
    } cases[] = {
        {-2, "DROP_INDEX"},   {-1, "CREATE INDEX"},
        {4, "ALTER TABLE"},   {19, "DELETE WHERE"},
        {32, "DROP TABLE"},   {36, "DROP VIEW"},
        {38, "DYNAMIC DELETE CURSOR"},
        {48, "GRANT"},        {50, "INSERT"},
        {59, "REVOKE"},       {77, "CREATE TABLE"},
        {81, "DYNAMIC UPDATE CURSOR"},
        {82, "UPDATE WHERE"}, {84, "CREATE VIEW"},
        {85, "SELECT CURSOR"},
        {0, ""},  {-3, ""}, {1, ""}, {83, ""}, {86, ""}, {1000, ""},
        {INT32_MIN, ""}, {INT32_MAX, ""},
    };
    for (const Case &c : cases) {
        const char *name = function_string(c.code);
        ASSERT_NE(name, nullptr) << c.code;
        EXPECT_STREQ(name, c.name) << c.code;
    }
}

}  // namespace
