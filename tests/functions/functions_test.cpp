// The scalar functions as a driver runs them: resolved through the
// catalogue, evaluated with execute_function under an armed exit point, with
// long arguments held in real long buffers behind a connection, allocation
// failures injected into the system allocator, and the inputs where the
// routines must stay inside their buffers (negative lengths, starts of 0,
// months outside the year, texts too long for a value's length field).
#include <gtest/gtest.h>

#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "support/kx_test_files.h"
#include "support/kx_test_support.h"

// ---- allocation failure: the test is linked with --wrap=malloc ----

namespace {
int g_failing_mallocs = 0;  // while positive, malloc fails and counts down
}

extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size)
{
    if (g_failing_mallocs > 0) {
        --g_failing_mallocs;
        return nullptr;
    }
    return __real_malloc(size);
}

namespace {

using kxtest::StatementContext;

// The diagnostic a failed call left: "SQLSTATE message".
std::string last_diagnostic(ErrorHeader *errors)
{
    char state[6] = {};
    char message[512] = {};
    int32_t native = 0;
    int16_t length = 0;
    if (GetDiagRec(errors, 1, state, &native, message, sizeof message, &length) != 0)
        return "(none)";
    return std::string(state) + " " + message;
}

// A driver's statement with a connection whose long-data operations read
// real long buffers, as SQLGetData would.
class FunctionCall : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = kxtest::make_temp_dir("kxfunc");
        kxtest::write_file(dir + "/odbc.ini", "{default}\nblob_path = " + dir + "\n");
        config = open_registry();
        ASSERT_NE(config, nullptr);
        set_config(config, (dir + "/odbc.ini").c_str());
        std::memset(&connection, 0, sizeof connection);
        connection.kind = KX_KIND_CONNECTION;
        connection.long_rewind = [](LongBuffer *b, int32_t) -> int32_t {
            return rewind_long_buffer(b);
        };
        connection.long_read = [](LongBuffer *b, void *dest, int32_t size, int32_t *length,
                                  int32_t) -> int32_t {
            int32_t remaining = 0;
            int32_t code = extract_from_long_buffer(b, dest, size, &remaining, 0);
            *length = remaining;
            return code < 0 ? 2 : code;
        };
        call.statement.connection = &connection;
    }
    void TearDown() override
    {
        close_registry(config);
        kxtest::remove_tree(dir);
    }

    Value *text(const char *t)
    {
        size_t n = std::strlen(t);
        Value *v = NewValue(call.mem, static_cast<int32_t>(n) + 1);
        std::memset(v, 0, offsetof(Value, payload));
        v->kind = NODE_VALUE;
        v->mem_handle = call.mem;
        v->inline_buffer = 1;
        v->type = VALUE_STRING;
        v->length = static_cast<int32_t>(n);
        std::memcpy(v->payload.text, t, n + 1);
        return v;
    }
    Value *integer(int32_t i)
    {
        Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, call.mem));
        v->type = VALUE_INTEGER;
        v->payload.integer = i;
        return v;
    }
    Value *date(int16_t y, uint16_t m, uint16_t d)
    {
        Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, call.mem));
        v->type = VALUE_DATE;
        v->payload.date = DateStruct{y, m, d};
        return v;
    }
    // A VALUE_LONG_STRING argument whose data sits in a long buffer.
    Value *long_text(const std::string &data)
    {
        LongBuffer *buffer = allocate_long_buffer(call.mem, 0, 0, config, -1);
        EXPECT_NE(buffer, nullptr);
        append_to_long_buffer(buffer, data.data(), static_cast<int32_t>(data.size()));
        Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, call.mem));
        v->type = VALUE_LONG_STRING;
        v->long_buffer = buffer;
        return v;
    }

    // Runs a function by name with the exit point armed; on an error exit
    // returns null and sets failed.
    Value *run(const char *name, std::vector<Value *> args)
    {
        const FunctionEntry *entry = sql92_get_function_info(sql92_get_function_id(name, 0));
        EXPECT_NE(entry, nullptr) << name;
        failed = false;
        Value *result = nullptr;
        Value **argv = args.data();
        int32_t argc = static_cast<int32_t>(args.size());
        if (setjmp(call.context.exit) == 0)
            result = execute_function(entry, &call.context, argc, argv, 0, 0);
        else
            failed = true;
        return result;
    }

    std::string dir;
    ProfileHandle *config = nullptr;
    DriverConnection connection;
    StatementContext call;
    bool failed = false;
};

// ---- long arguments ----

TEST_F(FunctionCall, LongTextIsReadWhole)
{
    std::string data;
    for (int i = 0; i < 5000; ++i)
        data += static_cast<char>('a' + i % 26);
    Value *upper = run("UCASE", {long_text(data)});
    ASSERT_FALSE(failed) << last_diagnostic(call.errors());
    std::string expected = data;
    for (char &c : expected)
        c = static_cast<char>(c - 'a' + 'A');
    EXPECT_EQ(upper->length, 5000);
    EXPECT_EQ(std::string(upper->payload.text), expected);

    Value *middle = run("SUBSTRING", {long_text(data), integer(27), integer(3)});
    ASSERT_FALSE(failed);
    EXPECT_STREQ(middle->payload.text, "abc");
}

TEST_F(FunctionCall, LongLengthsComeFromTheProbeAlone)
{
    std::string data(3000, 'x');
    data += "   ";
    Value *octets = run("OCTET_LENGTH", {long_text(data)});
    EXPECT_EQ(octets->payload.integer, 3003);
    Value *bits = run("BIT_LENGTH", {long_text(data)});
    EXPECT_EQ(bits->payload.integer, 8 * 3003);
    // LENGTH reads the whole text and strips its trailing blanks
    Value *length = run("LENGTH", {long_text(data)});
    EXPECT_EQ(length->payload.integer, 3000);
}

TEST_F(FunctionCall, LongArgumentOfOneOctetAndOfNone)
{
    Value *one = run("UCASE", {long_text("q")});
    EXPECT_STREQ(one->payload.text, "Q");
    Value *none = run("UCASE", {long_text("")});
    EXPECT_STREQ(none->payload.text, "");
    EXPECT_EQ(none->length, 0);
    Value *ascii = run("ASCII", {long_text("\xE9tude")});
    EXPECT_EQ(ascii->payload.integer, -23);  // 0xE9 read as a signed character
}

TEST_F(FunctionCall, LongTextCopyIsFreedAndTheArgumentKept)
{
    Value *arg = long_text(std::string(4000, 'k'));
    LongBuffer *buffer = arg->long_buffer;
    for (int i = 0; i < 50; ++i) {
        Value *r = run("LCASE", {arg});
        ASSERT_FALSE(failed);
        ASSERT_EQ(r->length, 4000);
        release_value(call.mem, r);
    }
    EXPECT_EQ(arg->long_buffer, buffer);
    EXPECT_EQ(long_buffer_length(buffer), 4000);
}

TEST_F(FunctionCall, UnreadableLongArgumentTakesTheErrorExit)
{
    connection.long_read = [](LongBuffer *, void *, int32_t, int32_t *, int32_t) -> int32_t {
        return 2;
    };
    run("UCASE", {long_text("abc")});
    EXPECT_TRUE(failed);
    EXPECT_EQ(call.context.result, -1);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY000 [Varnel ODBC]Extract from LONG VARCHAR error");
}

TEST_F(FunctionCall, LongArgumentWithoutLongDataOperationsIsAnError)
{
    call.statement.connection = nullptr;
    run("LENGTH", {long_text("abc")});
    EXPECT_TRUE(failed);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY000 [Varnel ODBC]Extract from LONG VARCHAR error");
}

TEST_F(FunctionCall, SecondReadFailureIsAnError)
{
    static int reads;
    reads = 0;
    connection.long_read = [](LongBuffer *b, void *dest, int32_t size, int32_t *length,
                              int32_t) -> int32_t {
        if (++reads > 1)
            return 3;
        int32_t remaining = 0;
        int32_t code = extract_from_long_buffer(b, dest, size, &remaining, 0);
        *length = remaining;
        return code;
    };
    run("UCASE", {long_text(std::string(100, 'z'))});
    EXPECT_TRUE(failed);
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY000 [Varnel ODBC]Extract from LONG VARCHAR error");
}

// ---- allocation failure ----

TEST_F(FunctionCall, ResultBufferFailureTakesTheErrorExit)
{
    Value *s = text("ab");
    Value *n = integer(100);
    g_failing_mallocs = 1;  // the result's allocation, not the diagnostic's
    run("REPEAT", {s, n});
    g_failing_mallocs = 0;
    EXPECT_TRUE(failed);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY001 [Varnel ODBC]Memory allocation error");
}

TEST_F(FunctionCall, ConcatAndCharKeepTheirOwnMessage)
{
    Value *a = text(std::string(100, 'a').c_str());
    Value *b = text(std::string(100, 'b').c_str());
    g_failing_mallocs = 1;  // the result's allocation, not the diagnostic's
    run("CONCAT", {a, b});
    g_failing_mallocs = 0;
    EXPECT_TRUE(failed);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY001 [Varnel ODBC]Memory allocation error fred");
}

TEST_F(FunctionCall, DatabaseNameFailureKeepsItsMessage)
{
    std::string name(300, 'd');
    connection.database = name.c_str();
    g_failing_mallocs = 1;  // the result's allocation, not the diagnostic's
    run("DATABASE", {});
    g_failing_mallocs = 0;
    EXPECT_TRUE(failed);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY001 [Varnel ODBC]Memory allocation error fred");
}

TEST_F(FunctionCall, LongArgumentCopyFailureTakesTheErrorExit)
{
    // Past the size the memory handle's own caches serve, so the copy's
    // allocation is the next call of the system allocator.
    Value *arg = long_text(std::string(5000, 'c'));
    g_failing_mallocs = 1;
    run("UCASE", {arg});
    g_failing_mallocs = 0;
    EXPECT_TRUE(failed);
    EXPECT_EQ(call.context.result, -1);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY001 [Varnel ODBC]Memory allocation error");
}

TEST_F(FunctionCall, ConcatKeepsItsMessageForALongArgumentsCopy)
{
    Value *arg = long_text(std::string(5000, 'c'));
    Value *tail = text("!");
    g_failing_mallocs = 1;
    run("CONCAT", {arg, tail});
    g_failing_mallocs = 0;
    EXPECT_TRUE(failed);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY001 [Varnel ODBC]Memory allocation error fred");
}

TEST_F(FunctionCall, TextLongerThanAValueCanHoldIsAnAllocationError)
{
    // 2^16 copies of 2^16 octets would need a length beyond 32 bits
    std::string chunk(65536, 'r');
    run("REPEAT", {text(chunk.c_str()), integer(65536)});
    EXPECT_TRUE(failed);
    EXPECT_EQ(last_diagnostic(call.errors()), "HY001 [Varnel ODBC]Memory allocation error");
}

// ---- inputs that must stay inside the buffers ----

TEST_F(FunctionCall, SubstringStartZeroAndNegativeLengthAreEmpty)
{
    EXPECT_STREQ(run("SUBSTRING", {text("abcdef"), integer(0), integer(3)})->payload.text, "");
    EXPECT_STREQ(run("SUBSTRING", {text("abcdef"), integer(2), integer(-1)})->payload.text, "");
    EXPECT_STREQ(run("SUBSTRING", {text("abcdef"), integer(-5), integer(2)})->payload.text, "");
    Value *whole = run("SUBSTRING", {text("abcdef"), integer(1), integer(2147483647)});
    EXPECT_STREQ(whole->payload.text, "abcdef");
    EXPECT_EQ(whole->length, 6);
}

TEST_F(FunctionCall, InsertWithNegativeLengthSizesItsResult)
{
    // The tail starts at start + length: before the text it starts at 0.
    EXPECT_STREQ(run("INSERT", {text("abcdef"), integer(3), integer(-2), text("XY")})->payload.text,
                 "abcXYbcdef");
    EXPECT_STREQ(run("INSERT", {text("abcdef"), integer(0), integer(-9), text("XY")})->payload.text,
                 "XYabcdef");
    EXPECT_STREQ(run("INSERT", {text("abc"), integer(-1), integer(1), text("Z")})->payload.text,
                 "abcZ");
    EXPECT_STREQ(run("INSERT", {text("abc"), integer(2), integer(2147483647), text("Z")})->payload.text,
                 "abZ");
}

TEST_F(FunctionCall, ReplaceWithAnEmptyPatternKeepsTheText)
{
    EXPECT_STREQ(run("REPLACE", {text("abc"), text("   "), text("x")})->payload.text, "abc");
    Value *grown = run("REPLACE", {text("aaaa"), text("a"), text("bcd")});
    EXPECT_STREQ(grown->payload.text, "bcdbcdbcdbcd");
    EXPECT_EQ(grown->length, 12);
    EXPECT_STREQ(run("REPLACE", {text("aaa"), text("aa"), text("b")})->payload.text, "ba");
}

TEST_F(FunctionCall, RepeatBelowOneStillHoldsOneCopy)
{
    EXPECT_STREQ(run("REPEAT", {text("xyz  "), integer(-7)})->payload.text, "xyz");
    EXPECT_STREQ(run("REPEAT", {text("xy"), integer(3)})->payload.text, "xyxyxy");
}

TEST_F(FunctionCall, MonthOutsideTheYearHasNoName)
{
    Value *name = run("MONTHNAME", {date(2020, 13, 1)});
    ASSERT_FALSE(failed);
    EXPECT_EQ(name->null_flag, -1);
    name = run("MONTHNAME", {date(2020, 0, 1)});
    EXPECT_EQ(name->null_flag, -1);
    EXPECT_STREQ(run("MONTHNAME", {date(2020, 12, 1)})->payload.text, "December");
}

TEST_F(FunctionCall, MissingArgumentsReadAsNull)
{
    // execute_function checks no counts; a short argument list is no crash
    EXPECT_EQ(run("UCASE", {})->null_flag, -1);
    EXPECT_EQ(run("MOD", {})->null_flag, -1);
    EXPECT_EQ(run("TIMESTAMPDIFF", {})->null_flag, -1);
    EXPECT_EQ(run("ABS", {}), nullptr);
    Value *result = nullptr;
    if (setjmp(call.context.exit) == 0)
        result = execute_function(sql92_get_function_info(65), &call.context, 1, nullptr, 0, 0);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->null_flag, -1);
}

TEST_F(FunctionCall, StringResultsAreOneAllocationAndReleaseCleanly)
{
    // Made and released many times over: a leak or a double free shows
    // under the sanitizers.
    for (int i = 0; i < 200; ++i) {
        Value *r = run("CONCAT", {text("left "), text(std::string(200, 'r').c_str())});
        ASSERT_EQ(r->length, 204);
        EXPECT_EQ(r->inline_buffer, 1);
        EXPECT_EQ(r->payload.text, reinterpret_cast<char *>(r + 1));
        release_value(call.mem, r);
    }
}

TEST_F(FunctionCall, TrimmingShortensTheArgumentValue)
{
    Value *s = text("abc   ");
    Value *n = run("LENGTH", {s});
    EXPECT_EQ(n->payload.integer, 3);
    EXPECT_EQ(s->length, 3);
    EXPECT_STREQ(s->payload.text, "abc");
}

TEST_F(FunctionCall, ErrorExitLeavesTheHeaderInErrorAndOneRecord)
{
    run("MOD", {integer(7), integer(0)});
    ASSERT_TRUE(failed);
    EXPECT_EQ(call.errors()->return_code, -1);
    EXPECT_EQ(call.errors()->record_count, 1);
    char origin[32] = {};
    int16_t length = 0;
    ASSERT_EQ(GetDiagField(3, call.errors(), 1, kxtest::diag::kSubclassOrigin, origin,
                           sizeof origin, &length),
              0);
    EXPECT_STREQ(origin, "ODBC3.0");
    EXPECT_EQ(last_diagnostic(call.errors()), "22012 [Varnel ODBC]Division by zero");
}

TEST_F(FunctionCall, OdbcTwoApplicationSeesItsOwnState)
{
    StatementContext odbc2(2);
    const FunctionEntry *sqrt_entry = sql92_get_function_info(59);
    Value *x = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, odbc2.mem));
    x->type = VALUE_DOUBLE;
    x->payload.dbl = -1.0;
    int code = setjmp(odbc2.context.exit);
    if (code == 0) {
        execute_function(sqrt_entry, &odbc2.context, 1, &x, 0, 0);
        FAIL() << "SQRT(-1) returned";
    }
    EXPECT_EQ(code, -1);
    EXPECT_EQ(last_diagnostic(odbc2.errors()), "S1000 [Varnel ODBC]DOMAIN error");
}

}  // namespace
