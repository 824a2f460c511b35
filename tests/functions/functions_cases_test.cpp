// Case tables for the ODBC scalar function library, written against the
// public header alone: both catalogues row by row, the look-ups, the
// dispatcher and its pass-through rule, IFNULL through a driver's evaluator,
// every string, numeric, date, time and system function with its edge cases
// and NULL rules, the error exits (armed with setjmp as a driver arms them,
// the diagnostic read back through GetDiagRec and GetDiagField), and long
// string arguments read through a test connection's long-data operations.
//
// Expected values are worked out by hand from the documented behaviour. The
// memory API has no way to make an allocation fail on request; the
// "Memory allocation error" exits are exercised here through a context
// without a memory handle, and in functions_test.cpp with a failing malloc.
#include <gtest/gtest.h>

#include <kxsupp.h>
#include "support/kx_test_support.h"

#include <cctype>
#include <climits>
#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

namespace {

// ---------------------------------------------------------------------------
// The catalogues as documented.

struct Row {
    const char *name;
    int32_t id;
    int32_t max;
    int32_t min;
    const char *impl;  // routine label: equal labels share one routine
    uint32_t result;
    uint32_t args[11];
};

const Row kMain[73] = {
    {"ABS", 0, 1, 1, "abs", 0x208, {0x008}},
    {"ACOS", 1, 1, 1, "acos", 0x008, {0x008}},
    {"ASCII", 2, 1, 1, "ascii", 0x002, {0x001}},
    {"ASIN", 3, 1, 1, "asin", 0x008, {0x008}},
    {"ATAN", 4, 1, 1, "atan", 0x008, {0x008}},
    {"ATAN2", 5, 2, 2, "atan2", 0x008, {0x008, 0x008}},
    {"BIT_LENGTH", 6, 1, 1, "bit_length", 0x002, {0x001}},
    {"CEILING", 7, 1, 1, "ceiling", 0x002, {0x008}},
    {"CHAR", 8, 1, 1, "char", 0x004, {0x002}},
    {"CHARACTER_LENGTH", 9, 1, 1, "char_length", 0x002, {0x001}},
    {"CHAR_LENGTH", 9, 1, 1, "char_length", 0x002, {0x001}},
    {"CONCAT", 10, 2, 2, "concat", 0x001, {0x001, 0x001}},
    {"CONVERT", 11, 2, 2, "convert", 0x200, {0x200, 0x200}},
    {"COS", 12, 1, 1, "cos", 0x008, {0x008}},
    {"COT", 13, 1, 1, "cot", 0x008, {0x008}},
    {"CURDATE", 14, 0, 0, "curdate", 0x010, {}},
    {"CURRENT_DATE", 14, 0, 0, "curdate", 0x010, {}},
    {"CURRENT_TIME", 15, 1, 0, "curtime", 0x020, {0x802}},
    {"CURRENT_TIMESTAMP", 16, 1, 0, "curtstamp", 0x040, {0x802}},
    {"CURTIME", 15, 0, 0, "curtime", 0x020, {}},
    {"DATABASE", 17, 0, 0, "database", 0x001, {}},
    {"DAYNAME", 18, 1, 1, "dayname", 0x001, {0x050}},
    {"DAYOFMONTH", 19, 1, 1, "dayofmonth", 0x002, {0x050}},
    {"DAYOFWEEK", 20, 1, 1, "dayofweek", 0x002, {0x050}},
    {"DAYOFYEAR", 21, 1, 1, "dayofyear", 0x002, {0x050}},
    {"DEGREES", 22, 1, 1, "degrees", 0x008, {0x008}},
    {"DIFFERENCE", 23, 2, 2, "difference", 0x002, {0x001, 0x001}},
    {"EXP", 24, 1, 1, "exp", 0x008, {0x008}},
    {"EXTRACT", 25, 2, 2, "extract", 0x002, {0x100, 0x0F0}},
    {"FLOOR", 26, 1, 1, "floor", 0x002, {0x008}},
    {"HOUR", 27, 1, 1, "hour", 0x002, {0x060}},
    {"IFNULL", 28, 2, 2, "ifnull", 0x200, {0x200, 0x200}},
    {"INSERT", 29, 4, 4, "insert", 0x001, {0x001, 0x002, 0x002, 0x001}},
    {"LCASE", 30, 1, 1, "lcase", 0x001, {0x001}},
    {"LEFT", 31, 2, 2, "left", 0x001, {0x001, 0x002}},
    {"LENGTH", 32, 1, 1, "length", 0x002, {0x001}},
    {"LOCATE", 33, 3, 2, "locate", 0x002, {0x001, 0x001, 0x802}},
    {"LOG", 34, 1, 1, "log", 0x008, {0x008}},
    {"LOG10", 35, 1, 1, "log10", 0x008, {0x008}},
    {"LTRIM", 36, 1, 1, "ltrim", 0x001, {0x001}},
    {"MINUTE", 37, 1, 1, "minute", 0x002, {0x060}},
    {"MOD", 38, 2, 2, "mod", 0x002, {0x002, 0x002}},
    {"MONTH", 39, 1, 1, "month", 0x002, {0x050}},
    {"MONTHNAME", 40, 1, 1, "monthname", 0x001, {0x050}},
    {"NOW", 41, 0, 0, "now", 0x040, {}},
    {"OCTET_LENGTH", 42, 1, 1, "char_length", 0x002, {0x001}},
    {"PI", 43, 0, 0, "pi", 0x008, {}},
    {"POSITION", 44, 2, 2, "position", 0x002, {0x004, 0x004}},
    {"POWER", 45, 2, 2, "power", 0x008, {0x008, 0x002}},
    {"QUARTER", 46, 1, 1, "quarter", 0x002, {0x050}},
    {"RADIANS", 47, 1, 1, "radians", 0x008, {0x008}},
    {"RAND", 48, 1, 0, "rand", 0x008, {0x802}},
    {"REPEAT", 49, 2, 2, "repeat", 0x001, {0x001, 0x002}},
    {"REPLACE", 50, 3, 3, "replace", 0x001, {0x001, 0x001, 0x001}},
    {"RIGHT", 51, 2, 2, "right", 0x001, {0x001, 0x002}},
    {"ROUND", 52, 2, 2, "round", 0x008, {0x008, 0x002}},
    {"RTRIM", 53, 1, 1, "rtrim", 0x001, {0x001}},
    {"SECOND", 54, 1, 1, "second", 0x002, {0x060}},
    {"SIGN", 55, 1, 1, "sign", 0x002, {0x008}},
    {"SIN", 56, 1, 1, "sin", 0x008, {0x008}},
    {"SOUNDEX", 57, 1, 1, "soundex", 0x001, {0x001}},
    {"SPACE", 58, 1, 1, "space", 0x001, {0x002}},
    {"SQRT", 59, 1, 1, "sqrt", 0x008, {0x008}},
    {"SUBSTR", 60, 3, 3, "substring", 0x001, {0x001, 0x002, 0x002}},
    {"SUBSTRING", 60, 3, 3, "substring", 0x001, {0x001, 0x002, 0x002}},
    {"TAN", 61, 1, 1, "tan", 0x008, {0x008}},
    {"TIMESTAMPADD", 62, 3, 3, "timestampadd", 0x040, {0x100, 0x00A, 0x070}},
    {"TIMESTAMPDIFF", 63, 3, 3, "timestampdiff", 0x002, {0x100, 0x070, 0x070}},
    {"TRUNCATE", 64, 2, 2, "truncate", 0x008, {0x008, 0x002}},
    {"UCASE", 65, 1, 1, "ucase", 0x001, {0x001}},
    {"USER", 66, 0, 0, "user", 0x001, {}},
    {"WEEK", 67, 1, 1, "week", 0x002, {0x050}},
    {"YEAR", 68, 1, 1, "year", 0x002, {0x050}},
};

const Row kSql92[8] = {
    {"BIT_LENGTH", -6, 1, 1, "bit_length", 0x002, {0x001}},
    {"CHARACTER_LENGTH", -1, 1, 1, "char_length", 0x002, {0x001}},
    {"CHAR_LENGTH", -1, 1, 1, "char_length", 0x002, {0x001}},
    {"LOWER", -7, 1, 1, "lcase", 0x001, {0x001}},
    {"OCTET_LENGTH", -2, 1, 1, "char_length", 0x002, {0x001}},
    {"POSITION", -3, 2, 2, "position", 0x002, {0x004, 0x004}},
    {"SUBSTRING", -4, 3, 3, "substring", 0x001, {0x001, 0x002, 0x002}},
    {"UPPER", -8, 1, 1, "ucase", 0x001, {0x001}},
};

FunctionEntry key(const char *name)
{
    FunctionEntry e;
    std::memset(&e, 0, sizeof e);
    e.name = name;
    return e;
}

int32_t compare_names(const char *a, const char *b)
{
    FunctionEntry x = key(a);
    FunctionEntry y = key(b);
    return compare_function(&x, &y);
}

// The catalogue entry of a name, found by exact spelling.
const FunctionEntry *main_entry(const char *name)
{
    for (const FunctionEntry &e : functions)
        if (e.name != nullptr && std::strcmp(e.name, name) == 0)
            return &e;
    ADD_FAILURE() << "no catalogue entry " << name;
    return nullptr;
}

const FunctionEntry *sql92_entry(const char *name)
{
    for (const FunctionEntry &e : scalar_functions)
        if (e.name != nullptr && std::strcmp(e.name, name) == 0)
            return &e;
    ADD_FAILURE() << "no SQL-92 entry " << name;
    return nullptr;
}

// ---------------------------------------------------------------------------
// The exit point, armed as a driver arms it. No object with a destructor
// lives in this frame; the frames the jump crosses are the library's own.

int call_armed(const FunctionEntry *fn, EvalContext *ctx, int32_t argc, Value **argv,
               intptr_t pass1, intptr_t pass2, Value **out)
{
    *out = nullptr;
    switch (setjmp(ctx->exit)) {
    case 0:
        break;
    case -1:
        return -1;
    default:
        return 1;
    }
    *out = execute_function(fn, ctx, argc, argv, pass1, pass2);
    return 0;
}

// ---------------------------------------------------------------------------
// A connection whose long-data operations read a text of the test's own, in
// the way SQLGetData hands out a long column: at most size - 1 octets and a
// terminator per read, the octets left before the read in *length_out (the
// full length on the first read after a rewind), 0 when the rest fitted and
// 1 when more remains; reads from fail_at on return 2.

struct TestLong {
    LongBuffer buffer;  // first, so a LongBuffer * leads back to the record
    const char *data;
    int32_t size;
    int32_t position;
    int32_t rewinds;
    int32_t rewind_type;
    int32_t reads;
    int32_t first_read_size;
    int32_t fail_at;  // 0: never; n: the n-th read (counted from the rewind)
    int32_t reads_since_rewind;
};

int32_t test_long_rewind(LongBuffer *buffer, int32_t value_type)
{
    TestLong *t = reinterpret_cast<TestLong *>(buffer);
    t->position = 0;
    t->rewinds++;
    t->rewind_type = value_type;
    t->reads_since_rewind = 0;
    return 0;
}

int32_t test_long_read(LongBuffer *buffer, void *destination, int32_t destination_size,
                       int32_t *length_out, int32_t /*flags*/)
{
    TestLong *t = reinterpret_cast<TestLong *>(buffer);
    t->reads++;
    t->reads_since_rewind++;
    if (t->reads == 1)
        t->first_read_size = destination_size;
    if (t->fail_at != 0 && t->reads_since_rewind >= t->fail_at)
        return 2;
    int32_t left = t->size - t->position;
    if (length_out != nullptr)
        *length_out = left;
    if (destination_size < 1)
        return left > 0 ? 1 : 0;
    int32_t n = left < destination_size - 1 ? left : destination_size - 1;
    std::memcpy(destination, t->data + t->position, static_cast<size_t>(n));
    static_cast<char *>(destination)[n] = '\0';
    t->position += n;
    return t->position < t->size ? 1 : 0;
}

// ---------------------------------------------------------------------------
// The fixture: values on a memory handle, a statement with its own error
// header and memory handle, on a connection.

constexpr int64_t kStatementTime = 1234567890;  // 2009-02-13 23:31:30 UTC

struct Expr {
    Value *value;
};

struct EvaluatorLog {
    int calls;
    void *expression[4];
    intptr_t pass1[4];
    intptr_t pass2[4];
    EvalContext *context[4];
};
EvaluatorLog g_log;

Value *logging_evaluator(void *expression, EvalContext *context, intptr_t pass1, intptr_t pass2)
{
    int n = g_log.calls++;
    if (n < 4) {
        g_log.expression[n] = expression;
        g_log.pass1[n] = pass1;
        g_log.pass2[n] = pass2;
        g_log.context[n] = context;
    }
    return static_cast<Expr *>(expression)->value;
}

struct DispatchLog {
    int calls;
    EvalContext *context;
    int32_t argc;
    Value **argv;
    intptr_t pass1;
    intptr_t pass2;
    const FunctionEntry *descriptor;
    Value *answer;
};
DispatchLog g_dispatch;

Value *recording_routine(EvalContext *context, int32_t argc, Value **argv, intptr_t pass1,
                         intptr_t pass2, const FunctionEntry *descriptor)
{
    g_dispatch.calls++;
    g_dispatch.context = context;
    g_dispatch.argc = argc;
    g_dispatch.argv = argv;
    g_dispatch.pass1 = pass1;
    g_dispatch.pass2 = pass2;
    g_dispatch.descriptor = descriptor;
    return g_dispatch.answer;
}

class Fn : public kxtest::ValueFixture {
protected:
    void SetUp() override
    {
        ValueFixture::SetUp();
        ASSERT_NE(sc.mem, nullptr);
        ASSERT_NE(sc.errors(), nullptr);
        std::memset(&conn, 0, sizeof conn);
        conn.kind = KX_KIND_CONNECTION;
        conn.mem_handle = handle;
        conn.long_rewind = test_long_rewind;
        conn.long_read = test_long_read;
        sc.statement.connection = &conn;
        sc.statement.start_time = kStatementTime;
        std::memset(&g_log, 0, sizeof g_log);
        std::memset(&g_dispatch, 0, sizeof g_dispatch);
    }

    // ---- arguments ----
    Value *S(const char *t) { return make_string(t); }
    Value *I(int32_t i) { return make_int(i); }
    Value *D(double d) { return make_double(d); }
    Value *Null(int32_t type)
    {
        Value *v = make(type);
        v->null_flag = -1;
        return v;
    }
    Value *Long(TestLong &t, const std::string &data)
    {
        std::memset(&t, 0, sizeof t);
        t.data = data.data();
        t.size = static_cast<int32_t>(data.size());
        Value *v = make(VALUE_LONG_STRING);
        v->long_buffer = &t.buffer;
        return v;
    }

    int32_t diag_count()
    {
        return kxtest::diag::integer_field(kxtest::diag::kStmt, sc.errors(), 0,
                                           kxtest::diag::kNumber);
    }

    // ---- calls that are expected to return ----
    Value *run(const FunctionEntry *fn, std::initializer_list<Value *> args, intptr_t pass1 = 0,
               intptr_t pass2 = 0)
    {
        if (fn == nullptr)
            return nullptr;
        std::vector<Value *> argv(args);
        Value *out = nullptr;
        int jumped = call_armed(fn, &sc.context, static_cast<int32_t>(argv.size()),
                                argv.empty() ? nullptr : argv.data(), pass1, pass2, &out);
        EXPECT_EQ(jumped, 0) << fn->name << " took the error exit";
        if (jumped != 0)
            return nullptr;
        EXPECT_EQ(diag_count(), 0) << fn->name << " posted a diagnostic";
        if (out != nullptr) {
            EXPECT_EQ(out->kind, static_cast<uint32_t>(NODE_VALUE)) << fn->name;
            EXPECT_EQ(out->mem_handle, sc.mem) << fn->name << ": results come from the context";
        }
        return out;
    }
    Value *run(const char *name, std::initializer_list<Value *> args)
    {
        return run(main_entry(name), args);
    }

    // The text of a non-NULL string result; its length field holds the text
    // length unless check_length is false.
    std::string text_of(const Value *v, const std::string &what, bool check_length = true)
    {
        if (v == nullptr) {
            ADD_FAILURE() << what << ": null pointer";
            return "<null pointer>";
        }
        EXPECT_EQ(v->type, VALUE_STRING) << what;
        EXPECT_EQ(v->null_flag, 0) << what;
        if (v->payload.text == nullptr) {
            ADD_FAILURE() << what << ": no text";
            return "<no text>";
        }
        std::string s(v->payload.text);
        if (check_length) {
            EXPECT_EQ(v->length, static_cast<int32_t>(s.size())) << what << " \"" << s << "\"";
        }
        return s;
    }
    int32_t int_of(const Value *v, const std::string &what)
    {
        if (v == nullptr) {
            ADD_FAILURE() << what << ": null pointer";
            return INT32_MIN + 12345;
        }
        EXPECT_EQ(v->type, VALUE_INTEGER) << what;
        EXPECT_EQ(v->null_flag, 0) << what;
        return v->payload.integer;
    }
    double dbl_of(const Value *v, const std::string &what)
    {
        if (v == nullptr) {
            ADD_FAILURE() << what << ": null pointer";
            return -12345.678;
        }
        EXPECT_EQ(v->type, VALUE_DOUBLE) << what;
        EXPECT_EQ(v->null_flag, 0) << what;
        return v->payload.dbl;
    }
    void expect_null(const Value *v, int32_t type, const std::string &what)
    {
        ASSERT_NE(v, nullptr) << what;
        EXPECT_EQ(v->type, type) << what;
        EXPECT_EQ(v->null_flag, -1) << what;
    }

    // ---- calls that are expected to take the error exit ----
    void expect_exit(const FunctionEntry *fn, std::initializer_list<Value *> args,
                     const char *state, const char *message, const std::string &what)
    {
        ASSERT_NE(fn, nullptr) << what;
        SetupErrorHeader(sc.errors(), 0);
        sc.context.result = 0;
        std::vector<Value *> argv(args);
        Value *out = nullptr;
        int jumped = call_armed(fn, &sc.context, static_cast<int32_t>(argv.size()),
                                argv.empty() ? nullptr : argv.data(), 0, 0, &out);
        EXPECT_EQ(jumped, -1) << what << ": the exit delivers -1";
        EXPECT_EQ(sc.context.result, -1) << what;
        expect_posted(state, message, what);
        SetupErrorHeader(sc.errors(), 0);
        sc.context.result = 0;
    }
    void expect_exit(const char *name, std::initializer_list<Value *> args, const char *state,
                     const char *message)
    {
        expect_exit(main_entry(name), args, state, message, name);
    }

    // The one diagnostic of an error exit, as a driver's SQLGetDiagRec and
    // SQLGetDiagField read it.
    void expect_posted(const char *state, const char *message, const std::string &what)
    {
        using namespace kxtest::diag;
        ErrorHeader *h = sc.errors();
        EXPECT_EQ(integer_field(kStmt, h, 0, kNumber), 1) << what;
        EXPECT_EQ(integer_field(kStmt, h, 0, kReturnCode), -1) << what;
        char sqlstate[6] = "xxxxx";
        int32_t native = 99;
        char text[256];
        int16_t length = -1;
        EXPECT_EQ(GetDiagRec(h, 1, sqlstate, &native, text, sizeof text, &length), 0) << what;
        EXPECT_STREQ(sqlstate, state) << what;
        EXPECT_EQ(native, 0) << what;
        const std::string expected = std::string("[Varnel ODBC]") + message;
        EXPECT_EQ(std::string(text), expected) << what;
        EXPECT_EQ(length, static_cast<int16_t>(expected.size())) << what;
        char field[64];
        int16_t field_length = -1;
        EXPECT_EQ(GetDiagField(kStmt, h, 1, kClassOrigin, field, sizeof field, &field_length), 0);
        EXPECT_STREQ(field, "ODBC 3.0") << what;
        EXPECT_EQ(GetDiagField(kStmt, h, 1, kSubclassOrigin, field, sizeof field, &field_length),
                  0);
        EXPECT_STREQ(field, "ODBC3.0") << what;
        EXPECT_EQ(GetDiagField(kStmt, h, 1, kConnectionName, field, sizeof field, &field_length),
                  0);
        EXPECT_STREQ(field, "Varnel ODBC") << what;
        EXPECT_EQ(integer_field(kStmt, h, 1, kRowNumber), 0) << what;
        EXPECT_EQ(integer_field(kStmt, h, 1, kColumnNumber), 0) << what;
    }

    // The statement's clock broken down as the current-time functions see it.
    std::tm statement_tm() const
    {
        std::time_t t = static_cast<std::time_t>(kStatementTime);
        std::tm tm;
        std::memset(&tm, 0, sizeof tm);
        localtime_r(&t, &tm);
        return tm;
    }

    kxtest::StatementContext sc;
    DriverConnection conn;
};

// ===========================================================================
// The catalogues

class Catalogue : public Fn {};

void expect_rows(const FunctionEntry *table, const Row *rows, int count, const char *which)
{
    for (int i = 0; i < count; i++) {
        const FunctionEntry &e = table[i];
        const Row &r = rows[i];
        SCOPED_TRACE(std::string(which) + " row " + std::to_string(i) + " " + r.name);
        ASSERT_NE(e.name, nullptr);
        EXPECT_STREQ(e.name, r.name);
        EXPECT_EQ(e.id, r.id);
        EXPECT_EQ(e.arg_count, r.max);
        EXPECT_NE(e.impl, nullptr);
        EXPECT_EQ(e.result_class, r.result);
        for (int k = 0; k < 11; k++)
            EXPECT_EQ(e.arg_class[k], r.args[k]) << "argument class word " << k;
        // The minimum is the number of leading argument words without the
        // optional bit.
        int32_t min = 0;
        while (min < e.arg_count && (e.arg_class[min] & KX_CLASS_OPTIONAL) == 0)
            min++;
        EXPECT_EQ(min, r.min);
    }
}

TEST_F(Catalogue, MainCatalogueRowByRow)
{
    EXPECT_EQ(KX_FUNCTION_COUNT, 73);
    EXPECT_EQ(sizeof functions / sizeof functions[0], 73u);
    expect_rows(functions, kMain, 73, "functions");
}

TEST_F(Catalogue, Sql92CatalogueRowByRow)
{
    EXPECT_EQ(KX_SQL92_FUNCTION_COUNT, 8);
    EXPECT_EQ(sizeof scalar_functions / sizeof scalar_functions[0], 8u);
    expect_rows(scalar_functions, kSql92, 8, "scalar_functions");
}

TEST_F(Catalogue, IdsRunFromZeroToSixtyEightInOrder)
{
    // Each new id is the next number; a repeated id is a second spelling of
    // an earlier function (CURTIME, 15, comes after CURRENT_TIMESTAMP, 16).
    int32_t next = 0;
    for (int i = 0; i < 73; i++) {
        if (functions[i].id == next)
            next++;
        else
            EXPECT_LT(functions[i].id, next) << functions[i].name;
        EXPECT_GE(functions[i].id, 0) << functions[i].name;
    }
    EXPECT_EQ(next, 69);
    EXPECT_EQ(functions[72].id, 68);
}

TEST_F(Catalogue, SpellingsShareRoutinesExactlyWhereDocumented)
{
    struct Slot {
        const FunctionEntry *entry;
        const Row *row;
    };
    std::vector<Slot> all;
    for (int i = 0; i < 73; i++)
        all.push_back({&functions[i], &kMain[i]});
    for (int i = 0; i < 8; i++)
        all.push_back({&scalar_functions[i], &kSql92[i]});
    for (size_t i = 0; i < all.size(); i++) {
        for (size_t j = i + 1; j < all.size(); j++) {
            bool same_label = std::strcmp(all[i].row->impl, all[j].row->impl) == 0;
            bool same_routine = all[i].entry->impl == all[j].entry->impl;
            EXPECT_EQ(same_routine, same_label)
                << all[i].row->name << " (" << all[i].row->impl << ") and " << all[j].row->name
                << " (" << all[j].row->impl << ")";
        }
    }
    // Spot checks of the documented sharing.
    EXPECT_EQ(main_entry("OCTET_LENGTH")->impl, main_entry("CHAR_LENGTH")->impl);
    EXPECT_NE(main_entry("OCTET_LENGTH")->id, main_entry("CHAR_LENGTH")->id);
    EXPECT_EQ(sql92_entry("UPPER")->impl, main_entry("UCASE")->impl);
    EXPECT_EQ(sql92_entry("LOWER")->impl, main_entry("LCASE")->impl);
    EXPECT_NE(main_entry("NOW")->impl, main_entry("CURRENT_TIMESTAMP")->impl);
}

TEST_F(Catalogue, BothTablesAreInComparisonOrder)
{
    for (int i = 1; i < 73; i++)
        EXPECT_LT(compare_function(&functions[i - 1], &functions[i]), 0)
            << functions[i - 1].name << " before " << functions[i].name;
    for (int i = 1; i < 8; i++)
        EXPECT_LT(compare_function(&scalar_functions[i - 1], &scalar_functions[i]), 0)
            << scalar_functions[i - 1].name << " before " << scalar_functions[i].name;
    for (int i = 0; i < 73; i++)
        EXPECT_EQ(compare_function(&functions[i], &functions[i]), 0) << functions[i].name;
}

TEST_F(Catalogue, CompareFunctionEdges)
{
    // The empty name sorts before every other; a prefix before its longer names.
    EXPECT_EQ(compare_names("", ""), 0);
    EXPECT_EQ(compare_names("", "A"), -1);
    EXPECT_EQ(compare_names("A", ""), 1);
    EXPECT_EQ(compare_names("", "_"), -1);
    EXPECT_EQ(compare_names("LOG", "LOG10"), -1);
    EXPECT_EQ(compare_names("LOG10", "LOG"), 1);
    EXPECT_EQ(compare_names("SUBSTR", "SUBSTRING"), -1);
    // 'A' (0x41) is below '_' (0x5F).
    EXPECT_EQ(compare_names("CHARACTER_LENGTH", "CHAR_LENGTH"), -1);
    EXPECT_EQ(compare_names("CHAR_LENGTH", "CHARACTER_LENGTH"), 1);
    // Letters fold to upper case; the results are -1, 0 and 1 exactly.
    EXPECT_EQ(compare_names("abs", "ABS"), 0);
    EXPECT_EQ(compare_names("AbS", "aBs"), 0);
    EXPECT_EQ(compare_names("ABS", "ACOS"), -1);
    EXPECT_EQ(compare_names("Z", "A"), 1);
    EXPECT_EQ(compare_names("a", "Z"), -1);
    EXPECT_EQ(compare_names("YEAR", "ABS"), 1);
    // After folding, "_" (0x5F) sorts above every letter, lower case included.
    EXPECT_EQ(compare_names("a_", "AB"), 1);
    EXPECT_EQ(compare_names("ab", "A_"), -1);
    EXPECT_EQ(compare_names("LOG1", "log10"), -1);
}

// ===========================================================================
// Look-ups

class Lookup : public Fn {};

TEST_F(Lookup, EveryNameFindsItsIdInAnyCase)
{
    for (const Row &r : kMain) {
        EXPECT_EQ(sql92_get_function_id(r.name, 0), r.id) << r.name;
        std::string lower(r.name);
        for (char &c : lower)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        EXPECT_EQ(sql92_get_function_id(lower.c_str(), 0), r.id) << lower;
    }
    for (const Row &r : kSql92) {
        EXPECT_EQ(sql92_get_function_id(r.name, 1), r.id) << r.name;
        std::string mixed(r.name);
        for (size_t i = 0; i < mixed.size(); i += 2)
            mixed[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(mixed[i])));
        EXPECT_EQ(sql92_get_function_id(mixed.c_str(), 7), r.id) << mixed;
    }
}

TEST_F(Lookup, IdEdges)
{
    EXPECT_EQ(sql92_get_function_id("substr", 0), 60);
    EXPECT_EQ(sql92_get_function_id("SUBSTRING", 0), 60);
    EXPECT_EQ(sql92_get_function_id("SUBSTR", 1), -99);
    EXPECT_EQ(sql92_get_function_id("substring", 1), -4);
    EXPECT_EQ(sql92_get_function_id("LOG", 0), 34);
    EXPECT_EQ(sql92_get_function_id("LOG10", 0), 35);
    EXPECT_EQ(sql92_get_function_id("", 0), -99);
    EXPECT_EQ(sql92_get_function_id("", 1), -99);
    EXPECT_EQ(sql92_get_function_id("LOG1", 0), -99);
    EXPECT_EQ(sql92_get_function_id("LOG100", 0), -99);
    EXPECT_EQ(sql92_get_function_id("NOSUCH", 0), -99);
    EXPECT_EQ(sql92_get_function_id("AAA", 0), -99);
    EXPECT_EQ(sql92_get_function_id("ZZZ", 0), -99);
    EXPECT_EQ(sql92_get_function_id("UCASE", 1), -99);
    EXPECT_EQ(sql92_get_function_id("UPPER", 0), -99);
    EXPECT_EQ(sql92_get_function_id("upper", 1), -8);
    EXPECT_EQ(sql92_get_function_id("Char_Length", 1), -1);
    EXPECT_EQ(sql92_get_function_id("OCTET_LENGTH", 0), 42);
    EXPECT_EQ(sql92_get_function_id("OCTET_LENGTH", 1), -2);
    EXPECT_EQ(KX_FUNCTION_NOT_FOUND, -99);
}

TEST_F(Lookup, NamesOfIds)
{
    struct {
        int32_t id;
        const char *name;
    } const cases[] = {
        {9, "CHARACTER_LENGTH"}, {14, "CURDATE"},       {15, "CURRENT_TIME"},
        {60, "SUBSTR"},          {-1, "CHARACTER_LENGTH"}, {0, "ABS"},
        {68, "YEAR"},            {42, "OCTET_LENGTH"},  {-2, "OCTET_LENGTH"},
        {-3, "POSITION"},        {-4, "SUBSTRING"},     {-6, "BIT_LENGTH"},
        {-7, "LOWER"},           {-8, "UPPER"},         {16, "CURRENT_TIMESTAMP"},
        {41, "NOW"},
    };
    for (const auto &c : cases) {
        const char *name = sql92_get_function_name(c.id);
        ASSERT_NE(name, nullptr) << c.id;
        EXPECT_STREQ(name, c.name) << c.id;
    }
    const int32_t unknown[] = {-5, -9, -99, 69, 1000, INT32_MIN, INT32_MAX};
    for (int32_t id : unknown)
        EXPECT_EQ(sql92_get_function_name(id), nullptr) << id;
}

TEST_F(Lookup, InfoOfIdsIsTheFirstEntry)
{
    EXPECT_EQ(sql92_get_function_info(9), &functions[9]);
    EXPECT_EQ(sql92_get_function_info(14), &functions[15]);
    EXPECT_EQ(sql92_get_function_info(15), &functions[17]);
    EXPECT_EQ(sql92_get_function_info(60), &functions[63]);
    EXPECT_EQ(sql92_get_function_info(0), &functions[0]);
    EXPECT_EQ(sql92_get_function_info(68), &functions[72]);
    EXPECT_EQ(sql92_get_function_info(-1), &scalar_functions[1]);
    EXPECT_EQ(sql92_get_function_info(-6), &scalar_functions[0]);
    EXPECT_EQ(sql92_get_function_info(-8), &scalar_functions[7]);
    EXPECT_EQ(sql92_get_function_info(-5), nullptr);
    EXPECT_EQ(sql92_get_function_info(69), nullptr);
    EXPECT_EQ(sql92_get_function_info(-99), nullptr);
    for (int i = 0; i < 73; i++) {
        const FunctionEntry *e = sql92_get_function_info(functions[i].id);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->id, functions[i].id);
        EXPECT_LE(e, &functions[i]) << "the first entry with the id";
    }
}

TEST_F(Lookup, ArgumentRanges)
{
    struct {
        int32_t id;
        int32_t min;
        int32_t max;
    } const cases[] = {
        {33, 2, 3},  // LOCATE
        {15, 0, 1},  // CURRENT_TIME comes before CURTIME
        {41, 0, 0},  // NOW
        {-3, 1, 1},  // not in the main catalogue: the first SQL-92 entry
        {-1, 1, 1},  {-4, 1, 1}, {-99, 1, 1}, {69, 1, 1}, {1000, 1, 1},
        {29, 4, 4},  // INSERT
        {48, 0, 1},  // RAND
        {16, 0, 1},  // CURRENT_TIMESTAMP
        {14, 0, 0},  {43, 0, 0}, {60, 3, 3}, {62, 3, 3}, {28, 2, 2}, {0, 1, 1},
    };
    for (const auto &c : cases) {
        int32_t min = -77;
        int32_t max = -77;
        sql92_get_function_arg_range(c.id, &min, &max);
        EXPECT_EQ(min, c.min) << "id " << c.id;
        EXPECT_EQ(max, c.max) << "id " << c.id;
    }
    // Every main id against the table.
    for (const Row &r : kMain) {
        const Row *first = nullptr;
        for (const Row &s : kMain)
            if (s.id == r.id) {
                first = &s;
                break;
            }
        int32_t min = -77;
        int32_t max = -77;
        sql92_get_function_arg_range(r.id, &min, &max);
        EXPECT_EQ(min, first->min) << r.name;
        EXPECT_EQ(max, first->max) << r.name;
    }
    // Either output may be left out.
    int32_t only = -77;
    sql92_get_function_arg_range(33, nullptr, &only);
    EXPECT_EQ(only, 3);
    only = -77;
    sql92_get_function_arg_range(33, &only, nullptr);
    EXPECT_EQ(only, 2);
}

// ===========================================================================
// Dispatch

class Dispatch : public Fn {};

TEST_F(Dispatch, CallsTheDescriptorsRoutineWithEverything)
{
    FunctionEntry d = *main_entry("ABS");
    d.impl = recording_routine;
    Value *a = I(1);
    Value *b = I(2);
    Value *argv[2] = {a, b};
    Value *answer = I(42);
    g_dispatch.answer = answer;
    Value *r = execute_function(&d, &sc.context, 2, argv, 0, 77);
    EXPECT_EQ(r, answer);
    EXPECT_EQ(g_dispatch.calls, 1);
    EXPECT_EQ(g_dispatch.context, &sc.context);
    EXPECT_EQ(g_dispatch.argc, 2);
    EXPECT_EQ(g_dispatch.argv, argv);
    EXPECT_EQ(g_dispatch.pass1, 0);
    EXPECT_EQ(g_dispatch.pass2, 77);
    EXPECT_EQ(g_dispatch.descriptor, &d);
    // No argument check: a count the catalogue would refuse is passed on.
    EXPECT_EQ(execute_function(&d, &sc.context, 0, nullptr, 0, 0), answer);
    EXPECT_EQ(g_dispatch.calls, 2);
    EXPECT_EQ(g_dispatch.argc, 0);
}

TEST_F(Dispatch, PassWordOneSkipsEveryRoutineButIfnull)
{
    FunctionEntry d = *main_entry("ABS");
    d.impl = recording_routine;
    Value *argv[1] = {I(-3)};
    g_dispatch.answer = I(9);
    EXPECT_EQ(execute_function(&d, &sc.context, 1, argv, 1, 0), nullptr);
    EXPECT_EQ(execute_function(&d, &sc.context, 1, argv, -1, 5), nullptr);
    EXPECT_EQ(g_dispatch.calls, 0) << "nothing is called with pass word 1 set";

    // ABS itself with pass word 1 set: a null pointer, no value made.
    Value *r = nullptr;
    EXPECT_EQ(call_armed(main_entry("ABS"), &sc.context, 1, argv, 1, 0, &r), 0);
    EXPECT_EQ(r, nullptr);
    // And without it, ABS(-3) is 3.
    EXPECT_EQ(call_armed(main_entry("ABS"), &sc.context, 1, argv, 0, 0, &r), 0);
    EXPECT_EQ(int_of(r, "ABS(-3)"), 3);
}

TEST_F(Dispatch, ConvertIsLeftToTheDriver)
{
    Value *r = run("CONVERT", {I(1), I(2)});
    EXPECT_EQ(r, nullptr);
}

// ---- IFNULL through the driver's evaluator ----

class Ifnull : public Fn {
protected:
    void SetUp() override
    {
        Fn::SetUp();
        sc.context.evaluate = logging_evaluator;
    }
    Value *ifnull(Expr *first, Expr *second, intptr_t pass1, intptr_t pass2)
    {
        Value *argv[2] = {reinterpret_cast<Value *>(first), reinterpret_cast<Value *>(second)};
        Value *out = nullptr;
        EXPECT_EQ(call_armed(main_entry("IFNULL"), &sc.context, 2, argv, pass1, pass2, &out), 0);
        return out;
    }
};

TEST_F(Ifnull, FirstNotNullIsReturnedAndSecondNeverEvaluated)
{
    Value *v = I(5);
    Value *w = I(6);
    Expr first{v};
    Expr second{w};
    EXPECT_EQ(ifnull(&first, &second, 0, 31), v);
    ASSERT_EQ(g_log.calls, 1);
    EXPECT_EQ(g_log.expression[0], &first);
    EXPECT_EQ(g_log.pass1[0], 0);
    EXPECT_EQ(g_log.pass2[0], 31);
    EXPECT_EQ(g_log.context[0], &sc.context);
}

TEST_F(Ifnull, FirstNullGivesTheSecondEvaluatedWithPassWordsZero)
{
    Value *v = Null(VALUE_INTEGER);
    Value *w = S("other");
    Expr first{v};
    Expr second{w};
    EXPECT_EQ(ifnull(&first, &second, 0, 31), w);
    ASSERT_EQ(g_log.calls, 2);
    EXPECT_EQ(g_log.expression[0], &first);
    EXPECT_EQ(g_log.pass2[0], 31);
    EXPECT_EQ(g_log.expression[1], &second);
    EXPECT_EQ(g_log.pass1[1], 0);
    EXPECT_EQ(g_log.pass2[1], 0);
    // The first value is not released.
    EXPECT_EQ(v->kind, static_cast<uint32_t>(NODE_VALUE));
    EXPECT_EQ(v->null_flag, -1);

    // The second is returned whatever it is: NULL too, or no value at all.
    g_log.calls = 0;
    Value *x = Null(VALUE_STRING);
    Expr third{x};
    EXPECT_EQ(ifnull(&first, &third, 0, 0), x);
    EXPECT_EQ(g_log.calls, 2);
    g_log.calls = 0;
    Expr nothing{nullptr};
    EXPECT_EQ(ifnull(&first, &nothing, 0, 0), nullptr);
    EXPECT_EQ(g_log.calls, 2);
}

TEST_F(Ifnull, NoFirstValueGivesNullPointer)
{
    Expr first{nullptr};
    Expr second{I(1)};
    EXPECT_EQ(ifnull(&first, &second, 0, 0), nullptr);
    EXPECT_EQ(g_log.calls, 1);
}

TEST_F(Ifnull, IsStillCalledWithPassWordOneSet)
{
    Value *v = I(5);
    Expr first{v};
    Expr second{I(6)};
    EXPECT_EQ(ifnull(&first, &second, 3, 4), v);
    ASSERT_EQ(g_log.calls, 1);
    EXPECT_EQ(g_log.pass1[0], 3);
    EXPECT_EQ(g_log.pass2[0], 4);

    g_log.calls = 0;
    Value *n = Null(VALUE_DOUBLE);
    Value *w = D(2.5);
    Expr nfirst{n};
    Expr nsecond{w};
    EXPECT_EQ(ifnull(&nfirst, &nsecond, 3, 4), w);
    ASSERT_EQ(g_log.calls, 2);
    EXPECT_EQ(g_log.pass1[0], 3);
    EXPECT_EQ(g_log.pass2[0], 4);
    EXPECT_EQ(g_log.pass1[1], 0);
    EXPECT_EQ(g_log.pass2[1], 0);
}

// ===========================================================================
// Error exits

class ErrorExit : public Fn {};

TEST_F(ErrorExit, ArmedInlineAsADriverArmsIt)
{
    const FunctionEntry *mod = main_entry("MOD");
    ASSERT_NE(mod, nullptr);
    Value *argv[2] = {I(7), I(0)};
    Value *volatile returned = nullptr;
    int jumped = 0;
    if (setjmp(sc.context.exit) == 0) {
        returned = execute_function(mod, &sc.context, 2, argv, 0, 0);
        FAIL() << "MOD(7, 0) returned";
    } else {
        jumped = 1;
    }
    EXPECT_EQ(jumped, 1);
    EXPECT_EQ(returned, nullptr);
    EXPECT_EQ(sc.context.result, -1);
    expect_posted("22012", "Division by zero", "MOD(7, 0)");
}

TEST_F(ErrorExit, DomainErrors)
{
    expect_exit("ACOS", {D(1.0000001)}, "HY000", "DOMAIN error");
    expect_exit("ACOS", {D(-1.0000001)}, "HY000", "DOMAIN error");
    expect_exit("ASIN", {D(1.5)}, "HY000", "DOMAIN error");
    expect_exit("ASIN", {D(-2.0)}, "HY000", "DOMAIN error");
    expect_exit("COT", {D(0.0)}, "HY000", "DOMAIN error");
    expect_exit("LOG", {D(0.0)}, "HY000", "DOMAIN error");
    expect_exit("LOG", {D(-1.0)}, "HY000", "DOMAIN error");
    expect_exit("LOG10", {D(0.0)}, "HY000", "DOMAIN error");
    expect_exit("LOG10", {D(-100.0)}, "HY000", "DOMAIN error");
    expect_exit("SQRT", {D(-0.0001)}, "HY000", "DOMAIN error");
    // An integer argument is read as a double too.
    expect_exit("SQRT", {I(-4)}, "HY000", "DOMAIN error");
    expect_exit("LOG", {I(0)}, "HY000", "DOMAIN error");
}

TEST_F(ErrorExit, DivisionByZero)
{
    expect_exit("MOD", {I(7), I(0)}, "22012", "Division by zero");
    expect_exit("MOD", {I(-2147483647 - 1), I(0)}, "22012", "Division by zero");
    // The divisor is read as an integer: 0.5 is 0.
    expect_exit("MOD", {I(7), D(0.5)}, "22012", "Division by zero");
}

TEST_F(ErrorExit, Odbc2ApplicationSeesTheOdbc2State)
{
    kxtest::StatementContext two(2);
    ASSERT_NE(two.errors(), nullptr);
    Value *argv[1] = {D(-1.0)};
    Value *out = nullptr;
    EXPECT_EQ(call_armed(main_entry("SQRT"), &two.context, 1, argv, 0, 0, &out), -1);
    EXPECT_EQ(two.context.result, -1);
    char state[6] = "xxxxx";
    char text[128];
    int16_t length = 0;
    EXPECT_EQ(GetDiagRec(two.errors(), 1, state, nullptr, text, sizeof text, &length), 0);
    EXPECT_STREQ(state, "S1000");
    EXPECT_STREQ(text, "[Varnel ODBC]DOMAIN error");
}

// ===========================================================================
// String functions

class StringFns : public Fn {};

TEST_F(StringFns, Ascii)
{
    EXPECT_EQ(int_of(run("ASCII", {S("abc")}), "ASCII('abc')"), 97);
    EXPECT_EQ(int_of(run("ASCII", {S("A")}), "ASCII('A')"), 65);
    EXPECT_EQ(int_of(run("ASCII", {S("")}), "ASCII('')"), 0);
    EXPECT_EQ(int_of(run("ASCII", {S(" x")}), "ASCII(' x')"), 32);
    // Read as a signed character: bytes above 127 are negative.
    EXPECT_EQ(int_of(run("ASCII", {S("\xE9t\xE9")}), "ASCII(0xE9...)"), -23);
    EXPECT_EQ(int_of(run("ASCII", {S("\x80")}), "ASCII(0x80)"), -128);
    EXPECT_EQ(int_of(run("ASCII", {S("\x7F")}), "ASCII(0x7F)"), 127);
    expect_null(run("ASCII", {Null(VALUE_STRING)}), VALUE_INTEGER, "ASCII(NULL)");
}

TEST_F(StringFns, BitLength)
{
    EXPECT_EQ(int_of(run("BIT_LENGTH", {S("ab")}), "BIT_LENGTH('ab')"), 16);
    EXPECT_EQ(int_of(run("BIT_LENGTH", {S("ab  ")}), "BIT_LENGTH('ab  ')"), 32);
    EXPECT_EQ(int_of(run("BIT_LENGTH", {S("")}), "BIT_LENGTH('')"), 0);
    EXPECT_EQ(int_of(run(sql92_entry("BIT_LENGTH"), {S("abc")}), "SQL-92 BIT_LENGTH"), 24);
    expect_null(run("BIT_LENGTH", {Null(VALUE_STRING)}), VALUE_INTEGER, "BIT_LENGTH(NULL)");
}

TEST_F(StringFns, Char)
{
    Value *r = run("CHAR", {I(65)});
    EXPECT_EQ(text_of(r, "CHAR(65)"), "A");
    EXPECT_EQ(r->length, 1);
    // The low 8 bits of the number.
    EXPECT_EQ(text_of(run("CHAR", {I(321)}), "CHAR(321)"), "A");
    EXPECT_EQ(text_of(run("CHAR", {I(-191)}), "CHAR(-191)"), "A");
    Value *high = run("CHAR", {I(233)});
    ASSERT_NE(high, nullptr);
    EXPECT_EQ(static_cast<unsigned char>(high->payload.text[0]), 233u);
    EXPECT_EQ(high->payload.text[1], '\0');
    EXPECT_EQ(high->length, 1);
    // A 0 byte still has length 1.
    Value *zero = run("CHAR", {I(0)});
    ASSERT_NE(zero, nullptr);
    EXPECT_EQ(zero->type, VALUE_STRING);
    EXPECT_EQ(zero->null_flag, 0);
    EXPECT_EQ(zero->length, 1);
    EXPECT_EQ(zero->payload.text[0], '\0');
    EXPECT_EQ(zero->payload.text[1], '\0');
    Value *z256 = run("CHAR", {I(256)});
    ASSERT_NE(z256, nullptr);
    EXPECT_EQ(z256->length, 1);
    EXPECT_EQ(z256->payload.text[0], '\0');
    expect_null(run("CHAR", {Null(VALUE_INTEGER)}), VALUE_STRING, "CHAR(NULL)");
}

TEST_F(StringFns, CharLengthAndItsSpellings)
{
    const char *names[] = {"CHAR_LENGTH", "CHARACTER_LENGTH", "OCTET_LENGTH"};
    for (const char *name : names) {
        Value *a = S("ab  ");
        EXPECT_EQ(int_of(run(name, {a}), name), 4);
        // No trimming: the argument keeps its blanks.
        EXPECT_STREQ(a->payload.text, "ab  ") << name;
        EXPECT_EQ(int_of(run(name, {S("")}), name), 0);
        EXPECT_EQ(int_of(run(name, {S("  ")}), name), 2);
        expect_null(run(name, {Null(VALUE_STRING)}), VALUE_INTEGER, name);
    }
    const char *sql92[] = {"CHAR_LENGTH", "CHARACTER_LENGTH", "OCTET_LENGTH"};
    for (const char *name : sql92)
        EXPECT_EQ(int_of(run(sql92_entry(name), {S("abc ")}), name), 4);
}

TEST_F(StringFns, Concat)
{
    Value *a = S("ab  ");
    Value *b = S("cd ");
    EXPECT_EQ(text_of(run("CONCAT", {a, b}), "CONCAT('ab  ', 'cd ')"), "abcd");
    // Both arguments are trimmed in their own buffers.
    EXPECT_STREQ(a->payload.text, "ab");
    EXPECT_STREQ(b->payload.text, "cd");
    EXPECT_EQ(text_of(run("CONCAT", {S(""), S("x")}), "CONCAT('', 'x')"), "x");
    EXPECT_EQ(text_of(run("CONCAT", {S(" a"), S(" b")}), "CONCAT(' a', ' b')"), " a b");
    EXPECT_EQ(text_of(run("CONCAT", {S(""), S("")}), "CONCAT('', '')"), "");
    expect_null(run("CONCAT", {Null(VALUE_STRING), S("x")}), VALUE_STRING, "CONCAT(NULL, x)");
    expect_null(run("CONCAT", {S("x"), Null(VALUE_STRING)}), VALUE_STRING, "CONCAT(x, NULL)");
}

TEST_F(StringFns, Soundex)
{
    struct {
        const char *in;
        const char *code;
    } const cases[] = {
        {"Tymczak", "T520"},  // a vowel does not separate two equal digits
        {"Pfister", "P123"},  // the first letter's digit does not suppress the next
        {"Robert", "R163"},   {"Rupert", "R163"}, {"robert", "R163"},
        {"A", "A000"},        {"Lee", "L000"},    {"Bb", "B100"},
        {"Aa", "A000"},       {"R-o-b-e-r-t", "R163"}, {"Ashcraft", "A261"},
        {"Washington", "W252"}, {"zzz", "Z200"},
    };
    for (const auto &c : cases) {
        Value *r = run("SOUNDEX", {S(c.in)});
        EXPECT_EQ(text_of(r, std::string("SOUNDEX ") + c.in), c.code) << c.in;
        if (r != nullptr) {
            EXPECT_EQ(r->length, 4) << c.in;
        }
    }
    expect_null(run("SOUNDEX", {S("")}), VALUE_STRING, "SOUNDEX('')");
    expect_null(run("SOUNDEX", {S("1abc")}), VALUE_STRING, "SOUNDEX('1abc')");
    expect_null(run("SOUNDEX", {S(" abc")}), VALUE_STRING, "SOUNDEX(' abc')");
    expect_null(run("SOUNDEX", {Null(VALUE_STRING)}), VALUE_STRING, "SOUNDEX(NULL)");
}

TEST_F(StringFns, DifferenceIsADistance)
{
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("Robert"), S("Rupert")}), "R163/R163"), 0);
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("Tymczak"), S("Tymczak")}), "same"), 0);
    // 1000 x |'R' - 'T'| + |163 - 520|.
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("Robert"), S("Tymczak")}), "R163/T520"), 2357);
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("Tymczak"), S("Robert")}), "T520/R163"), 2357);
    // 1000 x |'P' - 'R'| + |123 - 163|.
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("Pfister"), S("Robert")}), "P123/R163"), 2040);
    // Same letter: only the digits count ('Lloyd' is L430: the second L's
    // digit differs from the letter L written before it).
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("Lee"), S("Lloyd")}), "L000/L430"), 430);
    // Not valid on either side.
    EXPECT_EQ(int_of(run("DIFFERENCE", {S(""), S("x")}), "'' / x"), 27000);
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("x"), S("")}), "x / ''"), 27000);
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("1"), S("2")}), "1 / 2"), 27000);
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("Robert"), S("9x")}), "Robert / 9x"), 27000);
    expect_null(run("DIFFERENCE", {Null(VALUE_STRING), S("x")}), VALUE_INTEGER, "NULL, x");
    expect_null(run("DIFFERENCE", {S("x"), Null(VALUE_STRING)}), VALUE_INTEGER, "x, NULL");
}

TEST_F(StringFns, Insert)
{
    struct {
        const char *s;
        int32_t start;
        int32_t length;
        const char *t;
        const char *out;
    } const cases[] = {
        {"abcdef", 3, 2, "XY", "abcXYf"},   // the tail starts at 0-based start + length
        {"abcdef", 1, 2, "XY", "XYdef"},    // start 1 copies nothing of s
        {"abcdef", 0, 2, "XY", "XYcdef"},   // start 0 likewise
        {"abcdef", 2, 0, "XY", "abXYcdef"},
        {"abcdef", 10, 2, "XY", "abcdefXY"}, // beyond the end: all of s, then t
        {"abcdef", 6, 0, "XY", "abcdefXY"},
        {"abcdef", -1, 2, "XY", "abcdefXY"}, // unsigned: -1 is beyond the end
        {"abcdef", 3, 10, "XY", "abcXY"},
        {"abcdef", 3, 2, "", "abcf"},
        {"ab  ", 2, 0, "Z  ", "abZ"},        // both trimmed
    };
    for (const auto &c : cases) {
        std::string what = std::string("INSERT('") + c.s + "', " + std::to_string(c.start) +
                           ", " + std::to_string(c.length) + ", '" + c.t + "')";
        EXPECT_EQ(text_of(run("INSERT", {S(c.s), I(c.start), I(c.length), S(c.t)}), what), c.out)
            << what;
    }
    Value *s = S("ab  ");
    Value *t = S("cd  ");
    run("INSERT", {s, I(1), I(1), t});
    EXPECT_STREQ(s->payload.text, "ab");
    EXPECT_STREQ(t->payload.text, "cd");
    expect_null(run("INSERT", {Null(VALUE_STRING), I(1), I(1), S("x")}), VALUE_STRING, "1");
    expect_null(run("INSERT", {S("ab"), Null(VALUE_INTEGER), I(1), S("x")}), VALUE_STRING, "2");
    expect_null(run("INSERT", {S("ab"), I(1), Null(VALUE_INTEGER), S("x")}), VALUE_STRING, "3");
    expect_null(run("INSERT", {S("ab"), I(1), I(1), Null(VALUE_STRING)}), VALUE_STRING, "4");
}

TEST_F(StringFns, CaseMapping)
{
    EXPECT_EQ(text_of(run("LCASE", {S("AbC1 xY")}), "LCASE"), "abc1 xy");
    EXPECT_EQ(text_of(run("UCASE", {S("aBc1 Xy")}), "UCASE"), "ABC1 XY");
    // A copy, blanks kept.
    Value *a = S("Ab  ");
    EXPECT_EQ(text_of(run("LCASE", {a}), "LCASE('Ab  ')"), "ab  ");
    EXPECT_STREQ(a->payload.text, "Ab  ");
    EXPECT_EQ(text_of(run("UCASE", {S("")}), "UCASE('')"), "");
    EXPECT_EQ(text_of(run(sql92_entry("LOWER"), {S("QwE")}), "LOWER"), "qwe");
    EXPECT_EQ(text_of(run(sql92_entry("UPPER"), {S("QwE")}), "UPPER"), "QWE");
    expect_null(run("LCASE", {Null(VALUE_STRING)}), VALUE_STRING, "LCASE(NULL)");
    expect_null(run("UCASE", {Null(VALUE_STRING)}), VALUE_STRING, "UCASE(NULL)");
}

TEST_F(StringFns, LeftAndRight)
{
    EXPECT_EQ(text_of(run("LEFT", {S("abc"), I(2)}), "LEFT 2"), "ab");
    EXPECT_EQ(text_of(run("LEFT", {S("abc"), I(3)}), "LEFT 3"), "abc");
    EXPECT_EQ(text_of(run("LEFT", {S("abc"), I(5)}), "LEFT 5"), "abc");
    EXPECT_EQ(text_of(run("LEFT", {S("abc"), I(0)}), "LEFT 0"), "");
    // n is compared as an unsigned number: -1 is larger than any length.
    EXPECT_EQ(text_of(run("LEFT", {S("abc"), I(-1)}), "LEFT -1"), "abc");
    // LEFT does not trim.
    EXPECT_EQ(text_of(run("LEFT", {S("ab  "), I(3)}), "LEFT('ab  ', 3)"), "ab ");

    EXPECT_EQ(text_of(run("RIGHT", {S("abc"), I(2)}), "RIGHT 2"), "bc");
    EXPECT_EQ(text_of(run("RIGHT", {S("abc"), I(5)}), "RIGHT 5"), "abc");
    EXPECT_EQ(text_of(run("RIGHT", {S("abc"), I(0)}), "RIGHT 0"), "");
    EXPECT_EQ(text_of(run("RIGHT", {S("abc"), I(-1)}), "RIGHT -1"), "abc");
    // RIGHT trims first, in the argument's buffer.
    Value *s = S("abc  ");
    EXPECT_EQ(text_of(run("RIGHT", {s, I(2)}), "RIGHT('abc  ', 2)"), "bc");
    EXPECT_STREQ(s->payload.text, "abc");

    expect_null(run("LEFT", {Null(VALUE_STRING), I(1)}), VALUE_STRING, "LEFT(NULL)");
    expect_null(run("RIGHT", {Null(VALUE_STRING), I(1)}), VALUE_STRING, "RIGHT(NULL)");
}

TEST_F(StringFns, Length)
{
    Value *a = S("ab  ");
    EXPECT_EQ(int_of(run("LENGTH", {a}), "LENGTH('ab  ')"), 2);
    EXPECT_STREQ(a->payload.text, "ab");
    EXPECT_EQ(int_of(run("LENGTH", {S("")}), "LENGTH('')"), 0);
    EXPECT_EQ(int_of(run("LENGTH", {S("   ")}), "LENGTH('   ')"), 0);
    EXPECT_EQ(int_of(run("LENGTH", {S("  a")}), "LENGTH('  a')"), 3);
    // Only spaces are trailing blanks here.
    EXPECT_EQ(int_of(run("LENGTH", {S("a\t")}), "LENGTH('a<tab>')"), 2);
    expect_null(run("LENGTH", {Null(VALUE_STRING)}), VALUE_INTEGER, "LENGTH(NULL)");
}

TEST_F(StringFns, Locate)
{
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(3)}), "a in banana from 3"), 4);
    EXPECT_EQ(int_of(run("LOCATE", {S("x"), S("abc")}), "x in abc"), 0);
    EXPECT_EQ(int_of(run("LOCATE", {S("an"), S("banana")}), "an in banana"), 2);
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(2)}), "from 2"), 2);
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(6)}), "from 6"), 6);
    // Start 7: offset 6 is the length, not beyond it; nothing found there.
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(7)}), "from 7"), 0);
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(8)}), "from 8"), 0);
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(100)}), "from 100"), 0);
    // A start below 1 or NULL is no start.
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(0)}), "from 0"), 2);
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(-5)}), "from -5"), 2);
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), Null(VALUE_INTEGER)}), "from NULL"),
              2);
    // LOCATE does not trim: the blank is part of what is searched for.
    EXPECT_EQ(int_of(run("LOCATE", {S("a "), S("banana")}), "'a ' in banana"), 0);
    EXPECT_EQ(int_of(run("LOCATE", {S("a "), S("ba na")}), "'a ' in 'ba na'"), 2);
    expect_null(run("LOCATE", {Null(VALUE_STRING), S("abc")}), VALUE_INTEGER, "NULL in abc");
    expect_null(run("LOCATE", {S("a"), Null(VALUE_STRING)}), VALUE_INTEGER, "a in NULL");
}

TEST_F(StringFns, Trims)
{
    Value *a = S("  ab  ");
    EXPECT_EQ(text_of(run("LTRIM", {a}), "LTRIM"), "ab  ");
    EXPECT_EQ(text_of(run("RTRIM", {a}), "RTRIM"), "  ab");
    EXPECT_STREQ(a->payload.text, "  ab  ") << "LTRIM and RTRIM make copies";
    // Only the space character.
    EXPECT_EQ(text_of(run("LTRIM", {S("\tab")}), "LTRIM tab"), "\tab");
    EXPECT_EQ(text_of(run("RTRIM", {S("ab\t")}), "RTRIM tab"), "ab\t");
    EXPECT_EQ(text_of(run("RTRIM", {S("ab\t ")}), "RTRIM tab space"), "ab\t");
    EXPECT_EQ(text_of(run("LTRIM", {S("   ")}), "LTRIM blanks"), "");
    EXPECT_EQ(text_of(run("RTRIM", {S("   ")}), "RTRIM blanks"), "");
    EXPECT_EQ(text_of(run("LTRIM", {S("")}), "LTRIM empty"), "");
    expect_null(run("LTRIM", {Null(VALUE_STRING)}), VALUE_STRING, "LTRIM(NULL)");
    expect_null(run("RTRIM", {Null(VALUE_STRING)}), VALUE_STRING, "RTRIM(NULL)");
}

TEST_F(StringFns, Position)
{
    const FunctionEntry *forms[] = {main_entry("POSITION"), sql92_entry("POSITION")};
    for (const FunctionEntry *fn : forms) {
        Value *t = S("b  ");
        EXPECT_EQ(int_of(run(fn, {t, S("abc")}), "POSITION('b  ' IN 'abc')"), 2);
        EXPECT_STREQ(t->payload.text, "b");
        EXPECT_EQ(int_of(run(fn, {S("x"), S("abc")}), "x IN abc"), 0);
        EXPECT_EQ(int_of(run(fn, {S("a"), S("abc")}), "a IN abc"), 1);
        EXPECT_EQ(int_of(run(fn, {S("na"), S("banana")}), "na IN banana"), 3);
        expect_null(run(fn, {Null(VALUE_STRING), S("abc")}), VALUE_INTEGER, "NULL IN abc");
    }
}

TEST_F(StringFns, Repeat)
{
    Value *s = S("ab ");
    Value *r = run("REPEAT", {s, I(3)});
    EXPECT_EQ(text_of(r, "REPEAT('ab ', 3)"), "ababab");
    EXPECT_STREQ(s->payload.text, "ab");
    EXPECT_EQ(text_of(run("REPEAT", {S("ab"), I(1)}), "REPEAT 1"), "ab");
    EXPECT_EQ(text_of(run("REPEAT", {S("ab"), I(0)}), "REPEAT 0"), "ab");
    EXPECT_EQ(text_of(run("REPEAT", {S("ab"), I(-2)}), "REPEAT -2"), "ab");
    EXPECT_EQ(text_of(run("REPEAT", {S("xyz"), I(2)}), "REPEAT 2"), "xyzxyz");
    EXPECT_EQ(text_of(run("REPEAT", {S(""), I(4)}), "REPEAT '' 4"), "");
    expect_null(run("REPEAT", {Null(VALUE_STRING), I(2)}), VALUE_STRING, "REPEAT(NULL)");
}

TEST_F(StringFns, Replace)
{
    EXPECT_EQ(text_of(run("REPLACE", {S("abcabc"), S("b"), S("XY")}), "b->XY"), "aXYcaXYc");
    // Matches do not overlap.
    EXPECT_EQ(text_of(run("REPLACE", {S("aaa"), S("aa"), S("b")}), "aa->b"), "ba");
    EXPECT_EQ(text_of(run("REPLACE", {S("aaaa"), S("aa"), S("b")}), "aa->b twice"), "bb");
    EXPECT_EQ(text_of(run("REPLACE", {S("abc"), S("x"), S("y")}), "absent"), "abc");
    EXPECT_EQ(text_of(run("REPLACE", {S("abc"), S("b"), S("")}), "b->''"), "ac");
    EXPECT_EQ(text_of(run("REPLACE", {S("abc"), S("abc"), S("z")}), "whole"), "z");
    // A longer replacement many times over: the buffer follows the result.
    std::string grown;
    for (int i = 0; i < 10; i++)
        grown += "0123456789";
    EXPECT_EQ(text_of(run("REPLACE", {S("xxxxxxxxxx"), S("x"), S("0123456789")}), "grow"),
              grown);
    // All three are trimmed in their buffers.
    Value *s = S("abc  ");
    Value *from = S("c ");
    Value *to = S("d ");
    EXPECT_EQ(text_of(run("REPLACE", {s, from, to}), "trimmed"), "abd");
    EXPECT_STREQ(s->payload.text, "abc");
    EXPECT_STREQ(from->payload.text, "c");
    EXPECT_STREQ(to->payload.text, "d");
    // An empty search text (after trimming) leaves s as it is.
    EXPECT_EQ(text_of(run("REPLACE", {S("abc"), S(""), S("x")}), "empty search"), "abc");
    EXPECT_EQ(text_of(run("REPLACE", {S("abc"), S("  "), S("x")}), "blank search"), "abc");
    expect_null(run("REPLACE", {Null(VALUE_STRING), S("a"), S("b")}), VALUE_STRING, "1");
    expect_null(run("REPLACE", {S("a"), Null(VALUE_STRING), S("b")}), VALUE_STRING, "2");
    expect_null(run("REPLACE", {S("a"), S("a"), Null(VALUE_STRING)}), VALUE_STRING, "3");
}

TEST_F(StringFns, Space)
{
    Value *r = run("SPACE", {I(3)});
    EXPECT_EQ(text_of(r, "SPACE(3)"), "   ");
    EXPECT_EQ(text_of(run("SPACE", {I(0)}), "SPACE(0)"), "");
    EXPECT_EQ(text_of(run("SPACE", {I(-3)}), "SPACE(-3)"), "");
    EXPECT_EQ(text_of(run("SPACE", {I(300)}), "SPACE(300)"), std::string(300, ' '));
    expect_null(run("SPACE", {Null(VALUE_INTEGER)}), VALUE_STRING, "SPACE(NULL)");
}

TEST_F(StringFns, Substring)
{
    struct {
        const char *s;
        int32_t start;
        int32_t length;  // -1: the two-argument form
        const char *out;
    } const cases[] = {
        {"abcdef", 2, 3, "bcd"},
        {"abcdef", 5, 10, "ef"},     // the length is cut to what is there
        {"abc", 3, -1, ""},          // a start equal to the length takes nothing
        {"abc", 1, -1, "abc"},
        {"abc", 2, -1, "bc"},
        {"abcdef", 6, 1, ""},
        {"abcdef", 7, 1, ""},
        {"abcdef", 1, 6, "abcdef"},
        {"abcdef", 3, 4, "cdef"},
        {"abcdef", 2, 0, "bcdef"},   // length 0 means to the end
        {"abc", 0, -1, ""},          // start 0: the empty string
        {"abc", 0, 2, ""},
        {"abc", -1, -1, ""},         // negative: beyond, as an unsigned number
        {"ab  ", 1, -1, "ab"},       // trailing blanks are stripped first
        {"abcd  ", 2, 10, "bcd"},
        {"", 1, -1, ""},
    };
    const FunctionEntry *forms[] = {main_entry("SUBSTRING"), main_entry("SUBSTR"),
                                    sql92_entry("SUBSTRING")};
    for (const FunctionEntry *fn : forms) {
        for (const auto &c : cases) {
            std::string what = std::string(fn->name) + "('" + c.s + "', " +
                               std::to_string(c.start) +
                               (c.length < 0 ? "" : ", " + std::to_string(c.length)) + ")";
            Value *r = c.length < 0 ? run(fn, {S(c.s), I(c.start)})
                                    : run(fn, {S(c.s), I(c.start), I(c.length)});
            EXPECT_EQ(text_of(r, what, false), c.out) << what;
        }
    }
    Value *s = S("xyz   ");
    run("SUBSTRING", {s, I(1), I(2)});
    EXPECT_STREQ(s->payload.text, "xyz");
    expect_null(run("SUBSTRING", {Null(VALUE_STRING), I(1), I(2)}), VALUE_STRING, "NULL s");
    expect_null(run("SUBSTRING", {S("abc"), Null(VALUE_INTEGER), I(2)}), VALUE_STRING,
                "NULL start");
    expect_null(run("SUBSTRING", {S("abc"), I(1), Null(VALUE_INTEGER)}), VALUE_STRING,
                "NULL length");
}

// ---- arguments at the edges of their ranges and long texts ----

TEST_F(StringFns, ArithmeticOnPositionsStaysInsideTheText)
{
    // start + length beyond the 32-bit range: nothing after the insertion.
    EXPECT_EQ(text_of(run("INSERT", {S("abcdef"), I(2), I(INT32_MAX), S("XY")}), "INSERT max"),
              "abXY");
    EXPECT_EQ(text_of(run("INSERT", {S("abcdef"), I(INT32_MAX), I(INT32_MAX), S("XY")}),
                      "INSERT max max"),
              "abcdefXY");
    // A length of -1 moves the tail back by one: start + length = 1.
    EXPECT_EQ(text_of(run("INSERT", {S("abcdef"), I(2), I(-1), S("XY")}), "INSERT -1"),
              "abXYbcdef");
    // start + length - 1 beyond the 32-bit range: the rest of the text.
    EXPECT_EQ(text_of(run("SUBSTRING", {S("abcdef"), I(2), I(INT32_MAX)}), "SUBSTRING max", false),
              "bcdef");
    EXPECT_EQ(text_of(run("SUBSTRING", {S("abcdef"), I(INT32_MAX), I(INT32_MAX)}),
                      "SUBSTRING max max", false),
              "");
    EXPECT_EQ(text_of(run("SUBSTRING", {S("abcdef"), I(INT32_MIN), I(2)}), "SUBSTRING min",
                      false),
              "");
    // A negative length never reads outside the text.
    std::string negative =
        text_of(run("SUBSTRING", {S("abcdef"), I(2), I(-1)}), "SUBSTRING(s, 2, -1)", false);
    EXPECT_NE(std::string("bcdef").find(negative), std::string::npos) << negative;
    EXPECT_EQ(text_of(run("LEFT", {S("abc"), I(INT32_MIN)}), "LEFT min"), "abc");
    EXPECT_EQ(text_of(run("RIGHT", {S("abc"), I(INT32_MIN)}), "RIGHT min"), "abc");
    EXPECT_EQ(int_of(run("LOCATE", {S("a"), S("banana"), I(INT32_MAX)}), "LOCATE max"), 0);
}

TEST_F(StringFns, TextsLongerThanTheInlineArea)
{
    std::string a(200, 'a');
    std::string b(300, 'b');
    EXPECT_EQ(text_of(run("CONCAT", {S((a + "   ").c_str()), S(b.c_str())}), "CONCAT long"),
              a + b);
    std::string xs(1000, 'x');
    std::string ys(2000, 'y');
    EXPECT_EQ(text_of(run("REPLACE", {S(xs.c_str()), S("x"), S("yy")}), "REPLACE long"), ys);
    std::string ab;
    for (int i = 0; i < 5000; i++)
        ab += "ab";
    EXPECT_EQ(text_of(run("REPEAT", {S("ab"), I(5000)}), "REPEAT 5000"), ab);
    std::string padded = std::string(1000, ' ') + "z" + std::string(1000, ' ');
    EXPECT_EQ(text_of(run("LTRIM", {S(padded.c_str())}), "LTRIM long"),
              "z" + std::string(1000, ' '));
    EXPECT_EQ(text_of(run("RTRIM", {S(padded.c_str())}), "RTRIM long"),
              std::string(1000, ' ') + "z");
    EXPECT_EQ(int_of(run("LENGTH", {S(padded.c_str())}), "LENGTH long"), 1001);
    EXPECT_EQ(text_of(run("INSERT", {S(a.c_str()), I(100), I(50), S(b.c_str())}), "INSERT long"),
              std::string(100, 'a') + b + std::string(50, 'a'));
}

TEST_F(StringFns, SoundexSkipsBytesThatAreNotLetters)
{
    // In the "C" locale a byte above 127 is not alphabetic.
    EXPECT_EQ(text_of(run("SOUNDEX", {S("R\xE9" "bert")}), "SOUNDEX(R?bert)"), "R163");
    expect_null(run("SOUNDEX", {S("\xE9t")}), VALUE_STRING, "SOUNDEX(?t)");
    // 1000 x |'A' - 'Z'| + |0 - 200|.
    EXPECT_EQ(int_of(run("DIFFERENCE", {S("Aa"), S("Zz")}), "A000/Z200"), 25200);
}

// ---- long string arguments ----

class LongArgs : public Fn {
protected:
    // 5000 octets: the letters a..z over and over.
    static std::string letters(size_t n)
    {
        std::string s(n, ' ');
        for (size_t i = 0; i < n; i++)
            s[i] = static_cast<char>('a' + i % 26);
        return s;
    }
    TestLong lb;
};

TEST_F(LongArgs, CharLengthReadsOnlyTheProbe)
{
    std::string data = letters(5000);
    Value *v = Long(lb, data);
    EXPECT_EQ(int_of(run("CHAR_LENGTH", {v}), "CHAR_LENGTH(long)"), 5000);
    EXPECT_EQ(lb.rewinds, 1);
    EXPECT_EQ(lb.rewind_type, VALUE_LONG_STRING);
    EXPECT_EQ(lb.reads, 1);
    EXPECT_EQ(lb.first_read_size, 2);
    EXPECT_EQ(int_of(run("OCTET_LENGTH", {Long(lb, data)}), "OCTET_LENGTH(long)"), 5000);
    EXPECT_EQ(int_of(run("BIT_LENGTH", {Long(lb, data)}), "BIT_LENGTH(long)"), 40000);
}

TEST_F(LongArgs, LengthTrimsTheWholeText)
{
    std::string data = letters(4990) + std::string(10, ' ');
    EXPECT_EQ(int_of(run("LENGTH", {Long(lb, data)}), "LENGTH(long)"), 4990);
    EXPECT_EQ(lb.rewinds, 1);
    EXPECT_GE(lb.reads, 2);
    EXPECT_EQ(int_of(run("CHAR_LENGTH", {Long(lb, data)}), "CHAR_LENGTH(long)"), 5000);
}

TEST_F(LongArgs, UcaseAndLcaseSeeEveryOctet)
{
    std::string data = letters(5000);
    std::string upper = data;
    for (char &c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    Value *r = run("UCASE", {Long(lb, data)});
    EXPECT_EQ(text_of(r, "UCASE(long)"), upper);
    EXPECT_EQ(lb.rewinds, 1);
    EXPECT_EQ(lb.first_read_size, 2);
    EXPECT_EQ(text_of(run("LCASE", {Long(lb, upper)}), "LCASE(long)"), data);
}

TEST_F(LongArgs, SubstringFromFarIn)
{
    std::string data = letters(5000);
    Value *r = run("SUBSTRING", {Long(lb, data), I(4000), I(5)});
    EXPECT_EQ(text_of(r, "SUBSTRING(long, 4000, 5)", false), data.substr(3999, 5));
    r = run("SUBSTRING", {Long(lb, data), I(4990)});
    EXPECT_EQ(text_of(r, "SUBSTRING(long, 4990)", false), data.substr(4989));
}

TEST_F(LongArgs, OtherTextFunctionsReadLongArguments)
{
    std::string data = letters(5000);
    // The only "zab" after position 26: every 26 letters the alphabet restarts.
    EXPECT_EQ(int_of(run("LOCATE", {S("zab"), Long(lb, data)}), "LOCATE(zab, long)"), 26);
    std::string tail = letters(3000);
    Value *c = run("CONCAT", {Long(lb, tail), S("!")});
    EXPECT_EQ(text_of(c, "CONCAT(long, '!')"), tail + "!");
    EXPECT_EQ(text_of(run("LEFT", {Long(lb, data), I(3)}), "LEFT(long, 3)"), "abc");
}

TEST_F(LongArgs, AsciiReadsTwentyOctetsAndUsesTheFirst)
{
    std::string data = "\xC8" + letters(4999);
    EXPECT_EQ(int_of(run("ASCII", {Long(lb, data)}), "ASCII(long)"), -56);
    EXPECT_EQ(lb.first_read_size, 20);
    std::string plain = letters(5000);
    EXPECT_EQ(int_of(run("ASCII", {Long(lb, plain)}), "ASCII(long)"), 97);
}

TEST_F(LongArgs, ShortLongTextsFitTheFirstRead)
{
    std::string one = "Q";
    EXPECT_EQ(text_of(run("UCASE", {Long(lb, one)}), "UCASE('Q')"), "Q");
    EXPECT_EQ(lb.reads, 1);
    std::string none;
    EXPECT_EQ(int_of(run("CHAR_LENGTH", {Long(lb, none)}), "CHAR_LENGTH(empty long)"), 0);
    EXPECT_EQ(text_of(run("LCASE", {Long(lb, none)}), "LCASE(empty long)"), "");
}

TEST_F(LongArgs, FailedReadTakesTheExit)
{
    std::string data = letters(5000);
    Value *v = Long(lb, data);
    lb.fail_at = 1;
    expect_exit(main_entry("CHAR_LENGTH"), {v}, "HY000", "Extract from LONG VARCHAR error",
                "CHAR_LENGTH, first read fails");
    v = Long(lb, data);
    lb.fail_at = 1;
    expect_exit(main_entry("ASCII"), {v}, "HY000", "Extract from LONG VARCHAR error",
                "ASCII, first read fails");
    // The second read, for the rest of the text, fails.
    v = Long(lb, data);
    lb.fail_at = 2;
    expect_exit(main_entry("UCASE"), {v}, "HY000", "Extract from LONG VARCHAR error",
                "UCASE, second read fails");
    v = Long(lb, data);
    lb.fail_at = 2;
    expect_exit(main_entry("LENGTH"), {v}, "HY000", "Extract from LONG VARCHAR error",
                "LENGTH, second read fails");
}

// A long argument that cannot be read at all: the connection lacks one of
// its long-data operations, the value has no long buffer, or the read
// reports no length.
int32_t read_without_length(LongBuffer *buffer, void *destination, int32_t size,
                            int32_t *length_out, int32_t flags)
{
    int32_t code = test_long_read(buffer, destination, size, length_out, flags);
    if (length_out != nullptr)
        *length_out = -1;
    return code;
}

TEST_F(LongArgs, UnreachableLongArgumentTakesTheExit)
{
    std::string data = letters(100);
    const char *kError = "Extract from LONG VARCHAR error";

    conn.long_read = nullptr;
    expect_exit(main_entry("UCASE"), {Long(lb, data)}, "HY000", kError, "no read operation");
    conn.long_read = test_long_read;
    conn.long_rewind = nullptr;
    expect_exit(main_entry("UCASE"), {Long(lb, data)}, "HY000", kError, "no rewind operation");
    EXPECT_EQ(lb.reads, 0);
    conn.long_rewind = test_long_rewind;

    Value *v = Long(lb, data);
    v->long_buffer = nullptr;
    expect_exit(main_entry("LENGTH"), {v}, "HY000", kError, "no long buffer");
    EXPECT_EQ(lb.rewinds, 0);

    conn.long_read = read_without_length;
    expect_exit(main_entry("LCASE"), {Long(lb, data)}, "HY000", kError, "no length");
    conn.long_read = test_long_read;

    const std::string abc = "abc";
    EXPECT_EQ(text_of(run("UCASE", {Long(lb, abc)}), "UCASE(long)"), "ABC");
}

// ===========================================================================
// Numeric functions

class NumericFns : public Fn {};

TEST_F(NumericFns, AbsKeepsTheType)
{
    EXPECT_EQ(int_of(run("ABS", {I(-5)}), "ABS(-5)"), 5);
    EXPECT_EQ(int_of(run("ABS", {I(5)}), "ABS(5)"), 5);
    EXPECT_EQ(int_of(run("ABS", {I(0)}), "ABS(0)"), 0);
    EXPECT_EQ(int_of(run("ABS", {I(INT32_MIN)}), "ABS(INT_MIN)"), INT32_MIN);
    EXPECT_EQ(dbl_of(run("ABS", {D(-2.5)}), "ABS(-2.5)"), 2.5);
    EXPECT_EQ(dbl_of(run("ABS", {D(7.25)}), "ABS(7.25)"), 7.25);
    // -0.0 is greater than or equal to 0.0: left as it is.
    double nz = dbl_of(run("ABS", {D(-0.0)}), "ABS(-0.0)");
    EXPECT_EQ(nz, 0.0);
    EXPECT_TRUE(std::signbit(nz));
    // NaN is not greater than or equal to 0.0: negated.
    double nan = dbl_of(run("ABS", {D(std::numeric_limits<double>::quiet_NaN())}), "ABS(NaN)");
    EXPECT_TRUE(std::isnan(nan));
    EXPECT_TRUE(std::signbit(nan));

    Value *n = make_numeric(150, 2, 0, 5);  // -1.50
    Value *rn = run("ABS", {n});
    ASSERT_NE(rn, nullptr);
    EXPECT_EQ(rn->type, VALUE_NUMERIC);
    EXPECT_EQ(rn->null_flag, 0);
    EXPECT_EQ(rn->payload.numeric.sign, 1);
    EXPECT_EQ(rn->payload.numeric.precision, 5);
    EXPECT_EQ(rn->payload.numeric.scale, 2);
    EXPECT_EQ(kxtest::magnitude_of(rn->payload.numeric), static_cast<kxtest::u128>(150));
    EXPECT_EQ(n->payload.numeric.sign, 0) << "the argument is left alone";
    Value *pos = run("ABS", {make_numeric(12345, 3, 1, 10)});
    ASSERT_NE(pos, nullptr);
    EXPECT_EQ(pos->payload.numeric.sign, 1);
    EXPECT_EQ(kxtest::magnitude_of(pos->payload.numeric), static_cast<kxtest::u128>(12345));

    Value *b = run("ABS", {make_bigint(-1099511627776LL)});
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->type, VALUE_BIGINT);
    EXPECT_EQ(b->null_flag, 0);
    EXPECT_EQ(bigint_of(b), 1099511627776LL);
    Value *b2 = run("ABS", {make_bigint(42)});
    ASSERT_NE(b2, nullptr);
    EXPECT_EQ(bigint_of(b2), 42);

    EXPECT_EQ(run("ABS", {S("-5")}), nullptr);
    EXPECT_EQ(run("ABS", {make_date(2004, 1, 1)}), nullptr);

    expect_null(run("ABS", {Null(VALUE_INTEGER)}), VALUE_INTEGER, "ABS(NULL integer)");
    expect_null(run("ABS", {Null(VALUE_DOUBLE)}), VALUE_DOUBLE, "ABS(NULL double)");
    expect_null(run("ABS", {Null(VALUE_NUMERIC)}), VALUE_NUMERIC, "ABS(NULL numeric)");
    expect_null(run("ABS", {Null(VALUE_BIGINT)}), VALUE_BIGINT, "ABS(NULL bigint)");
}

TEST_F(NumericFns, LibraryFunctions)
{
    struct {
        const char *name;
        double x;
        double (*f)(double);
    } const cases[] = {
        {"ACOS", 1.0, [](double x) { return std::acos(x); }},
        {"ACOS", -1.0, [](double x) { return std::acos(x); }},
        {"ACOS", 0.25, [](double x) { return std::acos(x); }},
        {"ASIN", 0.5, [](double x) { return std::asin(x); }},
        {"ASIN", -1.0, [](double x) { return std::asin(x); }},
        {"ATAN", 1.0, [](double x) { return std::atan(x); }},
        {"ATAN", -1e300, [](double x) { return std::atan(x); }},
        {"COS", 0.5, [](double x) { return std::cos(x); }},
        {"SIN", 0.5, [](double x) { return std::sin(x); }},
        {"TAN", 0.5, [](double x) { return std::tan(x); }},
        {"EXP", 1.0, [](double x) { return std::exp(x); }},
        {"EXP", 0.0, [](double x) { return std::exp(x); }},
        {"LOG", 10.0, [](double x) { return std::log(x); }},
        {"LOG", 1.0, [](double x) { return std::log(x); }},
        {"LOG10", 1000.0, [](double x) { return std::log10(x); }},
        {"LOG10", 0.01, [](double x) { return std::log10(x); }},
        {"SQRT", 2.0, [](double x) { return std::sqrt(x); }},
        {"SQRT", 0.0, [](double x) { return std::sqrt(x); }},
        {"COT", 0.5, [](double x) { return 1.0 / std::tan(x); }},
        // COT(PI()): the tangent of 3.14159 is not zero.
        {"COT", 3.14159, [](double x) { return 1.0 / std::tan(x); }},
    };
    for (const auto &c : cases) {
        std::string what = std::string(c.name) + "(" + std::to_string(c.x) + ")";
        EXPECT_EQ(dbl_of(run(c.name, {D(c.x)}), what), c.f(c.x)) << what;
    }
    EXPECT_EQ(dbl_of(run("SQRT", {D(0.0)}), "SQRT(0)"), 0.0);
    EXPECT_EQ(dbl_of(run("LOG10", {D(1000.0)}), "LOG10(1000)"), 3.0);
    EXPECT_EQ(dbl_of(run("SQRT", {I(16)}), "SQRT(integer 16)"), 4.0);
    // Overflow is not checked.
    EXPECT_TRUE(std::isinf(dbl_of(run("EXP", {D(1000.0)}), "EXP(1000)")));

    const char *standard[] = {"ACOS", "ASIN", "ATAN", "COS", "COT", "DEGREES", "EXP",
                              "LOG",  "LOG10", "RADIANS", "SIN", "SQRT", "TAN"};
    for (const char *name : standard)
        expect_null(run(name, {Null(VALUE_DOUBLE)}), VALUE_DOUBLE, name);
}

TEST_F(NumericFns, Atan2TakesTheFirstArgumentFirst)
{
    EXPECT_EQ(dbl_of(run("ATAN2", {D(1.0), D(2.0)}), "ATAN2(1, 2)"), std::atan2(1.0, 2.0));
    EXPECT_EQ(dbl_of(run("ATAN2", {D(-1.0), D(-1.0)}), "ATAN2(-1, -1)"), std::atan2(-1.0, -1.0));
    EXPECT_EQ(dbl_of(run("ATAN2", {D(0.0), D(0.0)}), "ATAN2(0, 0)"), std::atan2(0.0, 0.0));
    expect_null(run("ATAN2", {Null(VALUE_DOUBLE), D(1.0)}), VALUE_DOUBLE, "ATAN2(NULL, 1)");
    expect_null(run("ATAN2", {D(1.0), Null(VALUE_DOUBLE)}), VALUE_DOUBLE, "ATAN2(1, NULL)");
}

TEST_F(NumericFns, ShortPi)
{
    EXPECT_EQ(dbl_of(run("PI", {}), "PI()"), 3.14159);
    EXPECT_EQ(dbl_of(run("DEGREES", {D(3.14159)}), "DEGREES(PI())"), 180.0);
    EXPECT_EQ(dbl_of(run("DEGREES", {D(1.0)}), "DEGREES(1)"), 1.0 * 180.0 / 3.14159);
    EXPECT_EQ(dbl_of(run("RADIANS", {D(180.0)}), "RADIANS(180)"), 180.0 * 3.14159 / 180.0);
    EXPECT_EQ(dbl_of(run("RADIANS", {D(90.0)}), "RADIANS(90)"), 90.0 * 3.14159 / 180.0);
    EXPECT_NE(dbl_of(run("RADIANS", {D(180.0)}), "RADIANS(180)"), M_PI);
}

TEST_F(NumericFns, CeilingAndFloorSaturate)
{
    EXPECT_EQ(int_of(run("CEILING", {D(-0.5)}), "CEILING(-0.5)"), 0);
    EXPECT_EQ(int_of(run("FLOOR", {D(-0.5)}), "FLOOR(-0.5)"), -1);
    EXPECT_EQ(int_of(run("CEILING", {D(2.1)}), "CEILING(2.1)"), 3);
    EXPECT_EQ(int_of(run("FLOOR", {D(2.9)}), "FLOOR(2.9)"), 2);
    EXPECT_EQ(int_of(run("CEILING", {D(-2.9)}), "CEILING(-2.9)"), -2);
    EXPECT_EQ(int_of(run("FLOOR", {D(-2.1)}), "FLOOR(-2.1)"), -3);
    EXPECT_EQ(int_of(run("CEILING", {D(3e10)}), "CEILING(3e10)"), INT32_MAX);
    EXPECT_EQ(int_of(run("FLOOR", {D(3e10)}), "FLOOR(3e10)"), INT32_MAX);
    EXPECT_EQ(int_of(run("CEILING", {D(-3e10)}), "CEILING(-3e10)"), INT32_MIN);
    EXPECT_EQ(int_of(run("FLOOR", {D(-3e10)}), "FLOOR(-3e10)"), INT32_MIN);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(int_of(run("CEILING", {D(nan)}), "CEILING(NaN)"), INT32_MIN);
    EXPECT_EQ(int_of(run("FLOOR", {D(nan)}), "FLOOR(NaN)"), INT32_MIN);
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(int_of(run("CEILING", {D(inf)}), "CEILING(inf)"), INT32_MAX);
    EXPECT_EQ(int_of(run("FLOOR", {D(-inf)}), "FLOOR(-inf)"), INT32_MIN);
    expect_null(run("CEILING", {Null(VALUE_DOUBLE)}), VALUE_INTEGER, "CEILING(NULL)");
    expect_null(run("FLOOR", {Null(VALUE_DOUBLE)}), VALUE_INTEGER, "FLOOR(NULL)");
}

TEST_F(NumericFns, Sign)
{
    EXPECT_EQ(int_of(run("SIGN", {D(-3.5)}), "SIGN(-3.5)"), -1);
    EXPECT_EQ(int_of(run("SIGN", {D(0.0)}), "SIGN(0)"), 0);
    EXPECT_EQ(int_of(run("SIGN", {D(-0.0)}), "SIGN(-0)"), 0);
    EXPECT_EQ(int_of(run("SIGN", {D(2.0)}), "SIGN(2)"), 1);
    EXPECT_EQ(int_of(run("SIGN", {D(1e-300)}), "SIGN(1e-300)"), 1);
    EXPECT_EQ(int_of(run("SIGN", {I(-7)}), "SIGN(integer -7)"), -1);
    EXPECT_EQ(int_of(run("SIGN", {D(std::numeric_limits<double>::quiet_NaN())}), "SIGN(NaN)"),
              0);
    expect_null(run("SIGN", {Null(VALUE_DOUBLE)}), VALUE_INTEGER, "SIGN(NULL)");
}

TEST_F(NumericFns, Mod)
{
    EXPECT_EQ(int_of(run("MOD", {I(7), I(3)}), "MOD(7, 3)"), 1);
    EXPECT_EQ(int_of(run("MOD", {I(-7), I(3)}), "MOD(-7, 3)"), -1);
    EXPECT_EQ(int_of(run("MOD", {I(7), I(-3)}), "MOD(7, -3)"), 1);
    EXPECT_EQ(int_of(run("MOD", {I(-7), I(-3)}), "MOD(-7, -3)"), -1);
    EXPECT_EQ(int_of(run("MOD", {I(6), I(3)}), "MOD(6, 3)"), 0);
    EXPECT_EQ(int_of(run("MOD", {I(INT32_MIN), I(-1)}), "MOD(INT_MIN, -1)"), 0);
    EXPECT_EQ(int_of(run("MOD", {I(7), I(-1)}), "MOD(7, -1)"), 0);
    // Both read as integers: 7.9 is 7.
    EXPECT_EQ(int_of(run("MOD", {D(7.9), D(3.2)}), "MOD(7.9, 3.2)"), 1);
    expect_null(run("MOD", {Null(VALUE_INTEGER), I(3)}), VALUE_INTEGER, "MOD(NULL, 3)");
    // The divisor's null indicator is not tested: its datum is used.
    Value *divisor = I(2);
    divisor->null_flag = -1;
    EXPECT_EQ(int_of(run("MOD", {I(7), divisor}), "MOD(7, NULL holding 2)"), 1);
}

TEST_F(NumericFns, PowerTakesAnIntegerExponent)
{
    EXPECT_EQ(dbl_of(run("POWER", {D(2.0), D(0.5)}), "POWER(2, 0.5)"), 1.0);
    EXPECT_EQ(dbl_of(run("POWER", {D(2.0), I(10)}), "POWER(2, 10)"), 1024.0);
    EXPECT_EQ(dbl_of(run("POWER", {D(2.0), I(-1)}), "POWER(2, -1)"), 0.5);
    EXPECT_EQ(dbl_of(run("POWER", {D(9.0), D(2.9)}), "POWER(9, 2.9)"), 81.0);
    EXPECT_EQ(dbl_of(run("POWER", {D(-3.0), I(3)}), "POWER(-3, 3)"), -27.0);
    EXPECT_EQ(dbl_of(run("POWER", {D(1.5), I(2)}), "POWER(1.5, 2)"), 2.25);
    expect_null(run("POWER", {Null(VALUE_DOUBLE), I(2)}), VALUE_DOUBLE, "POWER(NULL, 2)");
    expect_null(run("POWER", {D(2.0), Null(VALUE_INTEGER)}), VALUE_DOUBLE, "POWER(2, NULL)");
}

double round_rule(double x, int32_t n)
{
    double p = std::pow(10.0, static_cast<double>(n));
    double whole = 0.0;
    std::modf(std::fma(x, p, 0.5), &whole);
    return whole / p;
}

double truncate_rule(double x, int32_t n)
{
    double whole = 0.0;
    std::modf(x * std::pow(10.0, static_cast<double>(n)), &whole);
    return whole * std::pow(10.0, static_cast<double>(-n));
}

TEST_F(NumericFns, RoundAddsOneHalf)
{
    EXPECT_DOUBLE_EQ(dbl_of(run("ROUND", {D(2.345), I(2)}), "ROUND(2.345, 2)"), 2.35);
    EXPECT_EQ(dbl_of(run("ROUND", {D(-2.5), I(0)}), "ROUND(-2.5, 0)"), -2.0);
    EXPECT_EQ(dbl_of(run("ROUND", {D(-2.6), I(0)}), "ROUND(-2.6, 0)"), -2.0);
    EXPECT_EQ(dbl_of(run("ROUND", {D(-2.4), I(0)}), "ROUND(-2.4, 0)"), -1.0);
    EXPECT_EQ(dbl_of(run("ROUND", {D(2.5), I(0)}), "ROUND(2.5, 0)"), 3.0);
    EXPECT_EQ(dbl_of(run("ROUND", {D(2.4), I(0)}), "ROUND(2.4, 0)"), 2.0);
    EXPECT_EQ(dbl_of(run("ROUND", {D(1234.0), I(-2)}), "ROUND(1234, -2)"), 1200.0);
    EXPECT_EQ(dbl_of(run("ROUND", {D(1250.0), I(-2)}), "ROUND(1250, -2)"), 1300.0);
    EXPECT_EQ(dbl_of(run("ROUND", {I(1234), I(-2)}), "ROUND(integer 1234, -2)"), 1200.0);
    const struct {
        double x;
        int32_t n;
    } sweep[] = {{2.345, 2}, {1.005, 2}, {-1.25, 1}, {123.456, 1}, {0.1, 3}, {-0.75, 1},
                 {987654.321, -3}, {5e-5, 4}};
    for (const auto &c : sweep)
        EXPECT_EQ(dbl_of(run("ROUND", {D(c.x), I(c.n)}), "ROUND"), round_rule(c.x, c.n))
            << c.x << ", " << c.n;
    expect_null(run("ROUND", {Null(VALUE_DOUBLE), I(1)}), VALUE_DOUBLE, "ROUND(NULL, 1)");
    expect_null(run("ROUND", {D(1.0), Null(VALUE_INTEGER)}), VALUE_DOUBLE, "ROUND(1, NULL)");
}

TEST_F(NumericFns, Truncate)
{
    EXPECT_EQ(dbl_of(run("TRUNCATE", {D(-2.78), I(1)}), "TRUNCATE(-2.78, 1)"), -2.7);
    EXPECT_EQ(dbl_of(run("TRUNCATE", {D(2.78), I(0)}), "TRUNCATE(2.78, 0)"), 2.0);
    EXPECT_EQ(dbl_of(run("TRUNCATE", {D(1299.0), I(-2)}), "TRUNCATE(1299, -2)"), 1200.0);
    const struct {
        double x;
        int32_t n;
    } sweep[] = {{-2.78, 1}, {3.14159, 3}, {-0.999, 2}, {123456.789, -2}, {0.07, 1}};
    for (const auto &c : sweep)
        EXPECT_EQ(dbl_of(run("TRUNCATE", {D(c.x), I(c.n)}), "TRUNCATE"), truncate_rule(c.x, c.n))
            << c.x << ", " << c.n;
    expect_null(run("TRUNCATE", {Null(VALUE_DOUBLE), I(1)}), VALUE_DOUBLE, "TRUNCATE(NULL)");
    expect_null(run("TRUNCATE", {D(1.0), Null(VALUE_INTEGER)}), VALUE_DOUBLE,
                "TRUNCATE(1, NULL)");
}

TEST_F(NumericFns, RandIsTheLibraryGenerator)
{
    double first = dbl_of(run("RAND", {I(5)}), "RAND(5)");
    double second = dbl_of(run("RAND", {}), "RAND()");
    double third = dbl_of(run("RAND", {}), "RAND()");
    std::srand(5);
    const double e1 = static_cast<double>(std::rand());
    const double e2 = static_cast<double>(std::rand());
    const double e3 = static_cast<double>(std::rand());
    EXPECT_EQ(first, e1);
    EXPECT_EQ(second, e2);
    EXPECT_EQ(third, e3);
    // Unscaled: whole numbers between 0 and RAND_MAX.
    for (double r : {first, second, third}) {
        EXPECT_GE(r, 0.0);
        EXPECT_LE(r, static_cast<double>(RAND_MAX));
        EXPECT_EQ(r, std::floor(r));
    }
    // The seed is read as an integer.
    double seeded = dbl_of(run("RAND", {D(77.9)}), "RAND(77.9)");
    std::srand(77);
    EXPECT_EQ(seeded, static_cast<double>(std::rand()));
}

TEST_F(NumericFns, RandNullSeedDoesNotReseed)
{
    std::srand(1234);
    expect_null(run("RAND", {Null(VALUE_INTEGER)}), VALUE_DOUBLE, "RAND(NULL)");
    double next = dbl_of(run("RAND", {}), "RAND() after RAND(NULL)");
    std::srand(1234);
    EXPECT_EQ(next, static_cast<double>(std::rand()));
}

// ===========================================================================
// Date, time and system functions

class DateFns : public Fn {};

TEST_F(DateFns, CurrentValuesAreTheStatementTime)
{
    const std::tm tm = statement_tm();
    const char *dates[] = {"CURDATE", "CURRENT_DATE"};
    for (const char *name : dates) {
        Value *r = run(name, {});
        ASSERT_NE(r, nullptr) << name;
        EXPECT_EQ(r->type, VALUE_DATE) << name;
        EXPECT_EQ(r->null_flag, 0) << name;
        EXPECT_EQ(r->payload.date.year, tm.tm_year + 1900) << name;
        EXPECT_EQ(r->payload.date.month, tm.tm_mon + 1) << name;
        EXPECT_EQ(r->payload.date.day, tm.tm_mday) << name;
    }
    Value *t1 = run("CURTIME", {});
    Value *t2 = run("CURRENT_TIME", {});
    Value *t3 = run("CURRENT_TIME", {I(3)});  // the precision is ignored
    for (Value *r : {t1, t2, t3}) {
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r->type, VALUE_TIME);
        EXPECT_EQ(r->null_flag, 0);
        EXPECT_EQ(r->payload.time.hour, tm.tm_hour);
        EXPECT_EQ(r->payload.time.minute, tm.tm_min);
        EXPECT_EQ(r->payload.time.second, tm.tm_sec);
    }
    Value *s1 = run("CURRENT_TIMESTAMP", {});
    Value *s2 = run("CURRENT_TIMESTAMP", {I(6)});
    Value *s3 = run("NOW", {});
    for (Value *r : {s1, s2, s3}) {
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r->type, VALUE_TIMESTAMP);
        EXPECT_EQ(r->null_flag, 0);
        EXPECT_EQ(r->payload.timestamp.year, tm.tm_year + 1900);
        EXPECT_EQ(r->payload.timestamp.month, tm.tm_mon + 1);
        EXPECT_EQ(r->payload.timestamp.day, tm.tm_mday);
        EXPECT_EQ(r->payload.timestamp.hour, tm.tm_hour);
        EXPECT_EQ(r->payload.timestamp.minute, tm.tm_min);
        EXPECT_EQ(r->payload.timestamp.second, tm.tm_sec);
        EXPECT_EQ(r->payload.timestamp.fraction, 0u);
    }
}

TEST_F(DateFns, AnotherStatementTime)
{
    // 2038-03-01 12:00:00 UTC, past the 32-bit limit.
    sc.statement.start_time = 2150971200LL;
    std::time_t t = static_cast<std::time_t>(2150971200LL);
    std::tm tm;
    localtime_r(&t, &tm);
    Value *r = run("NOW", {});
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->payload.timestamp.year, tm.tm_year + 1900);
    EXPECT_EQ(r->payload.timestamp.month, tm.tm_mon + 1);
    EXPECT_EQ(r->payload.timestamp.day, tm.tm_mday);
    EXPECT_EQ(r->payload.timestamp.hour, tm.tm_hour);
    EXPECT_EQ(r->payload.timestamp.minute, tm.tm_min);
}

TEST_F(DateFns, FieldFunctions)
{
    Value *d = make_date(2004, 3, 15);
    Value *ts = make_timestamp(1999, 12, 31, 23, 58, 59, 123);
    Value *t = make_time(13, 45, 30);
    EXPECT_EQ(int_of(run("YEAR", {d}), "YEAR(date)"), 2004);
    EXPECT_EQ(int_of(run("MONTH", {d}), "MONTH(date)"), 3);
    EXPECT_EQ(int_of(run("DAYOFMONTH", {d}), "DAYOFMONTH(date)"), 15);
    EXPECT_EQ(int_of(run("YEAR", {ts}), "YEAR(timestamp)"), 1999);
    EXPECT_EQ(int_of(run("MONTH", {ts}), "MONTH(timestamp)"), 12);
    EXPECT_EQ(int_of(run("DAYOFMONTH", {ts}), "DAYOFMONTH(timestamp)"), 31);
    EXPECT_EQ(int_of(run("HOUR", {t}), "HOUR(time)"), 13);
    EXPECT_EQ(int_of(run("MINUTE", {t}), "MINUTE(time)"), 45);
    EXPECT_EQ(int_of(run("SECOND", {t}), "SECOND(time)"), 30);
    EXPECT_EQ(int_of(run("HOUR", {ts}), "HOUR(timestamp)"), 23);
    EXPECT_EQ(int_of(run("MINUTE", {ts}), "MINUTE(timestamp)"), 58);
    EXPECT_EQ(int_of(run("SECOND", {ts}), "SECOND(timestamp)"), 59);
    const char *names[] = {"YEAR", "MONTH", "DAYOFMONTH", "DAYOFWEEK", "DAYOFYEAR",
                           "WEEK", "QUARTER", "HOUR", "MINUTE", "SECOND"};
    for (const char *name : names) {
        int32_t type = (std::strcmp(name, "HOUR") == 0 || std::strcmp(name, "MINUTE") == 0 ||
                        std::strcmp(name, "SECOND") == 0)
                           ? VALUE_TIME
                           : VALUE_DATE;
        expect_null(run(name, {Null(type)}), VALUE_INTEGER, name);
    }
}

TEST_F(DateFns, DayOfWeekAndDayName)
{
    // 2 January 2000 is a Sunday.
    const char *names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                           "Thursday", "Friday", "Saturday"};
    for (int i = 0; i < 7; i++) {
        Value *d = make_date(2000, 1, static_cast<uint16_t>(2 + i));
        EXPECT_EQ(int_of(run("DAYOFWEEK", {d}), "DAYOFWEEK"), i + 1) << "2000-01-" << 2 + i;
        Value *r = run("DAYNAME", {d});
        EXPECT_EQ(text_of(r, "DAYNAME"), names[i]) << "2000-01-" << 2 + i;
    }
    EXPECT_EQ(int_of(run("DAYOFWEEK", {make_date(2000, 1, 1)}), "2000-01-01"), 7);
    EXPECT_EQ(int_of(run("DAYOFWEEK", {make_date(1970, 1, 1)}), "1970-01-01"), 5);
    EXPECT_EQ(int_of(run("DAYOFWEEK", {make_timestamp(2000, 1, 2, 23, 0, 0)}), "ts"), 1);
    EXPECT_EQ(text_of(run("DAYNAME", {make_timestamp(1970, 1, 1, 0, 0, 0)}), "ts"), "Thursday");
    expect_null(run("DAYNAME", {Null(VALUE_DATE)}), VALUE_STRING, "DAYNAME(NULL)");
}

TEST_F(DateFns, MonthName)
{
    const char *names[] = {"January", "February", "March",     "April",   "May",      "June",
                           "July",    "August",   "September", "October", "November", "December"};
    for (int m = 1; m <= 12; m++) {
        EXPECT_EQ(text_of(run("MONTHNAME", {make_date(2004, static_cast<uint16_t>(m), 1)}),
                          "MONTHNAME"),
                  names[m - 1]);
        EXPECT_EQ(text_of(run("MONTHNAME",
                              {make_timestamp(1999, static_cast<uint16_t>(m), 28, 1, 2, 3)}),
                          "MONTHNAME(ts)"),
                  names[m - 1]);
    }
    expect_null(run("MONTHNAME", {Null(VALUE_DATE)}), VALUE_STRING, "MONTHNAME(NULL)");
}

TEST_F(DateFns, DayOfYear)
{
    EXPECT_EQ(int_of(run("DAYOFYEAR", {make_date(2000, 1, 1)}), "2000-01-01"), 1);
    EXPECT_EQ(int_of(run("DAYOFYEAR", {make_date(2004, 3, 1)}), "2004-03-01"), 61);
    EXPECT_EQ(int_of(run("DAYOFYEAR", {make_date(2003, 3, 1)}), "2003-03-01"), 60);
    EXPECT_EQ(int_of(run("DAYOFYEAR", {make_date(2004, 12, 31)}), "2004-12-31"), 366);
    EXPECT_EQ(int_of(run("DAYOFYEAR", {make_date(1900, 12, 31)}), "1900-12-31"), 365);
    EXPECT_EQ(int_of(run("DAYOFYEAR", {make_timestamp(2004, 2, 29, 12, 0, 0)}), "ts"), 60);
}

TEST_F(DateFns, WeekStartsOnSunday)
{
    // 1 January 2000 was a Saturday; the next day starts week 2.
    EXPECT_EQ(int_of(run("WEEK", {make_date(2000, 1, 1)}), "2000-01-01"), 1);
    EXPECT_EQ(int_of(run("WEEK", {make_date(2000, 1, 2)}), "2000-01-02"), 2);
    EXPECT_EQ(int_of(run("WEEK", {make_date(2000, 1, 8)}), "2000-01-08"), 2);
    EXPECT_EQ(int_of(run("WEEK", {make_date(2000, 1, 9)}), "2000-01-09"), 3);
    // 1 January 2004 was a Thursday.
    EXPECT_EQ(int_of(run("WEEK", {make_date(2004, 1, 1)}), "2004-01-01"), 1);
    EXPECT_EQ(int_of(run("WEEK", {make_date(2004, 1, 3)}), "2004-01-03"), 1);
    EXPECT_EQ(int_of(run("WEEK", {make_date(2004, 1, 4)}), "2004-01-04"), 2);
    EXPECT_EQ(int_of(run("WEEK", {make_date(2004, 12, 31)}), "2004-12-31"), 53);
    // Every 1 January is in week 1; a sweep of a year against the rule.
    for (int y = 1995; y <= 2010; y++)
        EXPECT_EQ(int_of(run("WEEK", {make_date(static_cast<int16_t>(y), 1, 1)}), "1 Jan"), 1)
            << y;
    const int32_t j = ymd_to_jdnl(2001, 1, 1, -1);
    for (int k = 0; k < 365; k += 7) {
        int32_t y = 0, m = 0, dd = 0;
        jdnl_to_ymd(j + k, &y, &m, &dd, -1);
        int32_t expected = (k + jdnl_to_dow(j)) / 7 + 1;
        EXPECT_EQ(int_of(run("WEEK", {make_date(static_cast<int16_t>(y), static_cast<uint16_t>(m),
                                                static_cast<uint16_t>(dd))}),
                         "WEEK"),
                  expected)
            << y << "-" << m << "-" << dd;
    }
}

TEST_F(DateFns, QuarterDividesTheMonthItself)
{
    const int32_t expected[13] = {0, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5};
    for (int m = 1; m <= 12; m++) {
        EXPECT_EQ(int_of(run("QUARTER", {make_date(2004, static_cast<uint16_t>(m), 15)}),
                         "QUARTER"),
                  expected[m])
            << "month " << m;
        EXPECT_EQ(int_of(run("QUARTER", {make_timestamp(2004, static_cast<uint16_t>(m), 1, 0, 0,
                                                        0)}),
                         "QUARTER(ts)"),
                  expected[m])
            << "month " << m;
    }
    EXPECT_EQ(int_of(run("QUARTER", {make_date(2004, 3, 15)}), "15 March"), 2);
    EXPECT_EQ(int_of(run("QUARTER", {make_date(2004, 12, 31)}), "31 December"), 5);
    EXPECT_EQ(int_of(run("QUARTER", {make_date(2004, 1, 1)}), "1 January"), 1);
}

TEST_F(DateFns, ExtractFromDatetimes)
{
    const FunctionEntry *x = main_entry("EXTRACT");
    Value *d = make_date(2004, 3, 15);
    Value *t = make_time(13, 45, 30);
    Value *ts = make_timestamp(1999, 12, 31, 23, 58, 59, 5);
    const int32_t date_fields[6] = {2004, 3, 15, 0, 0, 0};
    const int32_t time_fields[6] = {0, 0, 0, 13, 45, 30};
    const int32_t ts_fields[6] = {1999, 12, 31, 23, 58, 59};
    for (int code = 0; code < 6; code++) {
        std::string c = std::to_string(code);
        EXPECT_EQ(int_of(run(x, {I(code), d}), "date " + c), date_fields[code]) << c;
        EXPECT_EQ(int_of(run(x, {I(code), t}), "time " + c), time_fields[code]) << c;
        EXPECT_EQ(int_of(run(x, {I(code), ts}), "timestamp " + c), ts_fields[code]) << c;
    }
    EXPECT_EQ(int_of(run(x, {I(9), ts}), "timestamp 9"), 0);
    EXPECT_EQ(int_of(run(x, {I(-1), d}), "date -1"), 0);
    // Any other source: 0.
    EXPECT_EQ(int_of(run(x, {I(0), I(2004)}), "integer"), 0);
    EXPECT_EQ(int_of(run(x, {I(0), S("2004-01-01")}), "string"), 0);
    // NULL only for a NULL field.
    expect_null(run(x, {Null(VALUE_INTEGER), ts}), VALUE_INTEGER, "EXTRACT(NULL, ts)");
    Value *nd = Null(VALUE_DATE);
    EXPECT_EQ(int_of(run(x, {I(0), nd}), "EXTRACT(0, NULL date)"), 0);
}

TEST_F(DateFns, ExtractFromIntervalsGivesTotals)
{
    const FunctionEntry *x = main_entry("EXTRACT");
    Value *ym = make_interval(KX_IS_YEAR_TO_MONTH, 0, 2, 5, 0, 0, 0);
    EXPECT_EQ(int_of(run(x, {I(0), ym}), "2y5m year"), 2);
    EXPECT_EQ(int_of(run(x, {I(1), ym}), "2y5m month"), 29);
    Value *ym15 = make_interval(KX_IS_YEAR_TO_MONTH, 0, 1, 3, 0, 0, 0);
    EXPECT_EQ(int_of(run(x, {I(1), ym15}), "1y3m month"), 15);
    Value *neg = make_interval(KX_IS_YEAR_TO_MONTH, 1, 2, 5, 0, 0, 0);
    EXPECT_EQ(int_of(run(x, {I(0), neg}), "-2y5m year"), -2);
    EXPECT_EQ(int_of(run(x, {I(1), neg}), "-2y5m month"), -29);
    Value *months = make_interval(KX_IS_MONTH, 0, 0, 30, 0, 0, 0);
    EXPECT_EQ(int_of(run(x, {I(0), months}), "30 months year"), 2);

    Value *ds = make_interval(KX_IS_DAY_TO_HOUR, 0, 1, 2, 0, 0, 0);  // 93600 s
    EXPECT_EQ(int_of(run(x, {I(2), ds}), "1d2h day"), 1);
    EXPECT_EQ(int_of(run(x, {I(3), ds}), "1d2h hour"), 26);
    EXPECT_EQ(int_of(run(x, {I(4), ds}), "1d2h minute"), 1560);
    EXPECT_EQ(int_of(run(x, {I(5), ds}), "1d2h second"), 93600);
    Value *m90 = make_interval(KX_IS_MINUTE, 1, 0, 0, 90, 0, 0);  // -5400 s
    EXPECT_EQ(int_of(run(x, {I(3), m90}), "-90 min hour"), -1);
    EXPECT_EQ(int_of(run(x, {I(4), m90}), "-90 min minute"), -90);
    EXPECT_EQ(int_of(run(x, {I(2), m90}), "-90 min day"), 0);
}

TEST_F(DateFns, ExtractErrors)
{
    const FunctionEntry *x = main_entry("EXTRACT");
    struct {
        int32_t code;
        const char *message;
    } const ym_cases[] = {
        {2, "Cannot extract DAY from INTERVAL YEAR/MONTH"},
        {3, "Cannot extract HOUR from INTERVAL YEAR/MONTH"},
        {4, "Cannot extract MINUTE from INTERVAL YEAR/MONTH"},
        {5, "Cannot extract SECOND from INTERVAL YEAR/MONTH"},
    };
    for (const auto &c : ym_cases) {
        Value *ym = make_interval(KX_IS_YEAR_TO_MONTH, 0, 2, 5, 0, 0, 0);
        expect_exit(x, {I(c.code), ym}, "HY000", c.message, "year-month " + std::to_string(c.code));
    }
    for (int32_t code : {0, 1}) {
        Value *ds = make_interval(KX_IS_DAY_TO_SECOND, 0, 1, 2, 3, 4, 0);
        expect_exit(x, {I(code), ds}, "HY000", "Cannot extract YEAR/MONTH from INTERVAL DAY",
                    "day-time " + std::to_string(code));
    }
}

// ---- TIMESTAMPADD ----

class TimestampAdd : public Fn {
protected:
    // The descriptor with the result's SQL type in its last argument word.
    FunctionEntry descriptor(uint32_t sql_type)
    {
        FunctionEntry d = *main_entry("TIMESTAMPADD");
        d.arg_class[10] = sql_type;
        return d;
    }
    void expect_ts(const Value *r, int y, int mo, int d, int h, int mi, int s, uint32_t f,
                   const std::string &what)
    {
        ASSERT_NE(r, nullptr) << what;
        EXPECT_EQ(r->type, VALUE_TIMESTAMP) << what;
        EXPECT_EQ(r->null_flag, 0) << what;
        const TimestampStruct &t = r->payload.timestamp;
        EXPECT_EQ(t.year, y) << what;
        EXPECT_EQ(t.month, mo) << what;
        EXPECT_EQ(t.day, d) << what;
        EXPECT_EQ(t.hour, h) << what;
        EXPECT_EQ(t.minute, mi) << what;
        EXPECT_EQ(t.second, s) << what;
        EXPECT_EQ(t.fraction, f) << what;
    }
    void expect_date(const Value *r, int y, int mo, int d, const std::string &what)
    {
        ASSERT_NE(r, nullptr) << what;
        EXPECT_EQ(r->type, VALUE_DATE) << what;
        EXPECT_EQ(r->null_flag, 0) << what;
        EXPECT_EQ(r->payload.date.year, y) << what;
        EXPECT_EQ(r->payload.date.month, mo) << what;
        EXPECT_EQ(r->payload.date.day, d) << what;
    }
    void expect_time(const Value *r, int h, int mi, int s, const std::string &what)
    {
        ASSERT_NE(r, nullptr) << what;
        EXPECT_EQ(r->type, VALUE_TIME) << what;
        EXPECT_EQ(r->null_flag, 0) << what;
        EXPECT_EQ(r->payload.time.hour, h) << what;
        EXPECT_EQ(r->payload.time.minute, mi) << what;
        EXPECT_EQ(r->payload.time.second, s) << what;
    }
};

TEST_F(TimestampAdd, TimestampResults)
{
    FunctionEntry d = descriptor(0);  // as catalogued: a timestamp
    expect_ts(run(&d, {S("SQL_TSI_MONTH"), I(1), make_timestamp(2004, 1, 31, 10, 0, 0)}), 2004, 2,
              31, 10, 0, 0, 0, "month: the day is not clamped");
    expect_ts(run(&d, {S("SQL_TSI_DAY"), I(1), make_timestamp(2004, 2, 28, 23, 0, 0)}), 2004, 2,
              29, 23, 0, 0, 0, "day");
    expect_ts(run(&d, {S("SQL_TSI_HOUR"), I(2), make_timestamp(2004, 2, 28, 23, 0, 0)}), 2004, 2,
              29, 1, 0, 0, 0, "hour");
    expect_ts(run(&d, {S("SQL_TSI_MINUTE"), I(90), make_timestamp(2004, 2, 28, 23, 0, 0)}), 2004,
              2, 29, 0, 30, 0, 0, "minute");
    expect_ts(run(&d, {S("SQL_TSI_SECOND"), I(-1), make_timestamp(2004, 3, 1, 0, 0, 0)}), 2004, 2,
              29, 23, 59, 59, 0, "second -1");
    expect_ts(run(&d, {S("SQL_TSI_WEEK"), I(1), make_timestamp(2004, 2, 28, 8, 0, 0)}), 2004, 3, 6,
              8, 0, 0, 0, "week");
    expect_ts(run(&d, {S("SQL_TSI_QUARTER"), I(1), make_timestamp(2004, 1, 15, 8, 0, 0)}), 2004, 4,
              15, 8, 0, 0, 0, "quarter");
    expect_ts(run(&d, {S("SQL_TSI_YEAR"), I(1), make_timestamp(2004, 1, 15, 8, 0, 0)}), 2005, 1,
              15, 8, 0, 0, 0, "year");
    // Month sum 5 - 12 = -7: above 12 as an unsigned number, so the year
    // moves by -7 / 12 = 0 and the month becomes |-7 mod 12| = 7.
    expect_ts(run(&d, {S("SQL_TSI_YEAR"), I(-1), make_timestamp(2004, 5, 15, 8, 0, 0)}), 2004, 7,
              15, 8, 0, 0, 0, "year -1");
    expect_ts(run(&d, {S("SQL_TSI_FRAC_SECOND"), I(500), make_timestamp(2004, 1, 1, 0, 0, 0, 7)}),
              2004, 1, 1, 0, 0, 0, 507, "fraction");
    // A date becomes a timestamp at midnight.
    expect_ts(run(&d, {S("SQL_TSI_DAY"), I(1), make_date(2004, 2, 28)}), 2004, 2, 29, 0, 0, 0, 0,
              "date source");
    expect_ts(run(&d, {S("SQL_TSI_HOUR"), I(1), make_date(2004, 2, 28)}), 2004, 2, 28, 1, 0, 0, 0,
              "date source, hour");
    // A time is put on the statement's current date.
    const std::tm tm = statement_tm();
    expect_ts(run(&d, {S("SQL_TSI_MINUTE"), I(15), make_time(10, 0, 0)}), tm.tm_year + 1900,
              tm.tm_mon + 1, tm.tm_mday, 10, 15, 0, 0, "time source");
    // Any other word is a timestamp too.
    FunctionEntry other = descriptor(93);
    expect_ts(run(&other, {S("SQL_TSI_DAY"), I(-1), make_date(2004, 3, 1)}), 2004, 2, 29, 0, 0, 0,
              0, "type 93");
}

TEST_F(TimestampAdd, DateResults)
{
    FunctionEntry d = descriptor(91);
    expect_date(run(&d, {S("SQL_TSI_DAY"), I(1), make_date(2004, 2, 28)}), 2004, 2, 29, "day");
    expect_date(run(&d, {S("SQL_TSI_DAY"), I(-1), make_date(2004, 3, 1)}), 2004, 2, 29, "day -1");
    expect_date(run(&d, {S("SQL_TSI_WEEK"), I(2), make_date(2004, 2, 28)}), 2004, 3, 13, "week");
    expect_date(run(&d, {S("SQL_TSI_MONTH"), I(1), make_date(2004, 2, 28)}), 2004, 3, 28,
                "month");
    expect_date(run(&d, {S("SQL_TSI_YEAR"), I(2), make_date(2004, 2, 28)}), 2006, 2, 28, "year");
    // Hours through the timestamp addition: 25 hours carry one day.
    expect_date(run(&d, {S("SQL_TSI_HOUR"), I(25), make_date(2004, 2, 28)}), 2004, 2, 29,
                "25 hours");
    expect_date(run(&d, {S("SQL_TSI_SECOND"), I(86400), make_date(2004, 2, 28)}), 2004, 2, 29,
                "86400 seconds");
    // From a timestamp: its date part.
    expect_date(run(&d, {S("SQL_TSI_DAY"), I(1), make_timestamp(2004, 2, 28, 13, 0, 0)}), 2004, 2,
                29, "timestamp source");
}

TEST_F(TimestampAdd, TimeResults)
{
    FunctionEntry d = descriptor(92);
    expect_time(run(&d, {S("SQL_TSI_MINUTE"), I(45), make_time(10, 30, 0)}), 11, 15, 0, "minute");
    expect_time(run(&d, {S("SQL_TSI_SECOND"), I(30), make_time(10, 30, 45)}), 10, 31, 15,
                "second");
    // time_add does not reduce the hour modulo 24.
    expect_time(run(&d, {S("SQL_TSI_HOUR"), I(1), make_time(23, 30, 0)}), 24, 30, 0, "hour");
    // A day through the timestamp addition on a time: the day carry is lost.
    expect_time(run(&d, {S("SQL_TSI_DAY"), I(1), make_time(10, 30, 0)}), 10, 30, 0, "day");
    expect_time(run(&d, {S("SQL_TSI_WEEK"), I(1), make_time(10, 30, 0)}), 10, 30, 0, "week");
}

TEST_F(TimestampAdd, FractionsCarryByMultiplesOf999999)
{
    FunctionEntry ts = descriptor(0);
    // 1500000 billionths: one second carried, 1500000 mod 999999 left.
    expect_ts(run(&ts, {S("SQL_TSI_FRAC_SECOND"), I(1500000), make_timestamp(2004, 1, 1, 0, 0, 0)}),
              2004, 1, 1, 0, 0, 1, 500001, "timestamp fraction");
    FunctionEntry t = descriptor(92);
    // time_add: 2000000 / 999999 = 2 seconds, the rest dropped.
    expect_time(run(&t, {S("SQL_TSI_FRAC_SECOND"), I(2000000), make_time(10, 0, 0)}), 10, 0, 2,
                "time fraction");
    expect_time(run(&t, {S("SQL_TSI_FRAC_SECOND"), I(999999), make_time(10, 0, 0)}), 10, 0, 0,
                "time fraction below the carry");
    FunctionEntry d = descriptor(91);
    expect_date(run(&d, {S("SQL_TSI_FRAC_SECOND"), I(5), make_date(2004, 1, 1)}), 2004, 1, 1,
                "date fraction");
}

TEST_F(TimestampAdd, UnknownUnitLeavesTheValue)
{
    FunctionEntry d = descriptor(0);
    expect_ts(run(&d, {S("SQL_TSI_CENTURY"), I(5), make_timestamp(2004, 1, 2, 3, 4, 5, 6)}), 2004,
              1, 2, 3, 4, 5, 6, "unknown unit");
    // The unit text is compared exactly.
    expect_ts(run(&d, {S("sql_tsi_day"), I(5), make_timestamp(2004, 1, 2, 3, 4, 5, 6)}), 2004, 1,
              2, 3, 4, 5, 6, "lower case");
    expect_ts(run(&d, {S("SQL_TSI_DAYS"), I(5), make_timestamp(2004, 1, 2, 3, 4, 5, 6)}), 2004, 1,
              2, 3, 4, 5, 6, "longer word");
    expect_ts(run(&d, {S("SQL_TSI_DA"), I(5), make_timestamp(2004, 1, 2, 3, 4, 5, 6)}), 2004, 1, 2,
              3, 4, 5, 6, "shorter word");
    FunctionEntry dd = descriptor(91);
    expect_date(run(&dd, {S("DAY"), I(5), make_date(2004, 1, 2)}), 2004, 1, 2, "date, unknown");
}

TEST_F(TimestampAdd, ArgumentIsLeftAloneAndNullsGiveNull)
{
    FunctionEntry d = descriptor(0);
    Value *src = make_timestamp(2004, 1, 31, 10, 0, 0);
    Value *r = run(&d, {S("SQL_TSI_DAY"), I(1), src});
    ASSERT_NE(r, nullptr);
    EXPECT_NE(r, src);
    EXPECT_EQ(src->payload.timestamp.day, 31);
    EXPECT_EQ(src->payload.timestamp.month, 1);
    Value *n1 = run(&d, {S("SQL_TSI_DAY"), Null(VALUE_INTEGER), make_date(2004, 1, 1)});
    ASSERT_NE(n1, nullptr);
    EXPECT_EQ(n1->null_flag, -1);
    Value *n2 = run(&d, {S("SQL_TSI_DAY"), I(1), Null(VALUE_TIMESTAMP)});
    ASSERT_NE(n2, nullptr);
    EXPECT_EQ(n2->null_flag, -1);
}

// ---- TIMESTAMPDIFF ----

class TimestampDiff : public Fn {
protected:
    int32_t diff(const char *unit, Value *a, Value *b)
    {
        return int_of(run("TIMESTAMPDIFF", {S(unit), a, b}), unit);
    }
    // Y and M of the documented calendar step on a whole day count.
    static void calendar_parts(int32_t days, int32_t *y, int32_t *m)
    {
        int32_t low = days & 0xFFFF;
        int32_t d = 0;
        jdnl_to_ymd(ymd_to_jdnl(0, 0, low, -1), y, m, &d, -1);
    }
};

TEST_F(TimestampDiff, DayHourMinuteSecondWeek)
{
    Value *a = make_timestamp(2004, 3, 1, 0, 0, 0);
    Value *b = make_timestamp(2004, 3, 10, 12, 0, 0);  // 9.5 days later
    EXPECT_EQ(diff("SQL_TSI_DAY", a, b), 9);
    EXPECT_EQ(diff("SQL_TSI_DAY", b, a), -9);
    EXPECT_EQ(diff("SQL_TSI_WEEK", a, make_timestamp(2004, 3, 16, 12, 0, 0)), 2);
    EXPECT_EQ(diff("SQL_TSI_WEEK", make_timestamp(2004, 3, 16, 12, 0, 0), a), -2);
    Value *t0 = make_timestamp(2004, 3, 1, 10, 0, 0);
    Value *t90 = make_timestamp(2004, 3, 1, 11, 30, 0);
    EXPECT_EQ(diff("SQL_TSI_HOUR", t0, t90), 1);
    EXPECT_EQ(diff("SQL_TSI_HOUR", t90, t0), -1);
    // 90 minutes and 30 seconds.
    EXPECT_EQ(diff("SQL_TSI_MINUTE", t0, make_timestamp(2004, 3, 1, 11, 30, 30)), 90);
    // 100.5 seconds.
    Value *s = make_timestamp(2004, 3, 1, 10, 1, 40, 500000000);
    EXPECT_EQ(diff("SQL_TSI_SECOND", t0, s), 100);
    EXPECT_EQ(diff("SQL_TSI_SECOND", s, t0), -100);
    // Across a year end: 366.5 days (2004 is a leap year).
    EXPECT_EQ(diff("SQL_TSI_DAY", make_timestamp(2004, 1, 1, 0, 0, 0),
                   make_timestamp(2005, 1, 1, 12, 0, 0)),
              366);
    EXPECT_EQ(diff("SQL_TSI_DAY", a, a), 0);
}

TEST_F(TimestampDiff, FractionFactorIsTenToTheTenth)
{
    // A tenth of a second gives about 10^9 with the factor 10^10 per second.
    Value *a = make_timestamp(2004, 3, 1, 10, 0, 0, 0);
    Value *b = make_timestamp(2004, 3, 1, 10, 0, 0, 100000000);
    int32_t r = diff("SQL_TSI_FRAC_SECOND", a, b);
    EXPECT_NEAR(static_cast<double>(r), 1e9, 1e6);
    EXPECT_NEAR(static_cast<double>(diff("SQL_TSI_FRAC_SECOND", b, a)), -1e9, 1e6);
    // One second is 10^10: saturated at the 32-bit limit, then signed.
    Value *c = make_timestamp(2004, 3, 1, 10, 0, 1, 0);
    EXPECT_EQ(diff("SQL_TSI_FRAC_SECOND", a, c), INT32_MAX);
    EXPECT_EQ(diff("SQL_TSI_FRAC_SECOND", c, a), -INT32_MAX);
    // Seconds saturate too: about 100 years.
    EXPECT_EQ(diff("SQL_TSI_SECOND", make_timestamp(1900, 1, 1, 0, 0, 0),
                   make_timestamp(2000, 1, 1, 0, 0, 0)),
              INT32_MAX);
}

TEST_F(TimestampDiff, MonthQuarterYearFromTheLowSixteenBitsOfTheDays)
{
    // 400 days: day number of (0, 0, 400) splits into year 1, month 1.
    int32_t y = 0, m = 0;
    calendar_parts(400, &y, &m);
    EXPECT_EQ(y, 1);
    EXPECT_EQ(m, 1);
    Value *a = make_date(2004, 1, 1);
    const int32_t j = ymd_to_jdnl(2004, 1, 1, -1);
    int32_t by = 0, bm = 0, bd = 0;
    jdnl_to_ymd(j + 400, &by, &bm, &bd, -1);
    Value *b = make_timestamp(static_cast<int16_t>(by), static_cast<uint16_t>(bm),
                              static_cast<uint16_t>(bd), 12, 0, 0);  // 400.5 days
    EXPECT_EQ(diff("SQL_TSI_MONTH", a, b), 13);
    EXPECT_EQ(diff("SQL_TSI_QUARTER", a, b), 4);
    EXPECT_EQ(diff("SQL_TSI_YEAR", a, b), 1);
    EXPECT_EQ(diff("SQL_TSI_MONTH", b, a), -13);
    EXPECT_EQ(diff("SQL_TSI_YEAR", b, a), -1);

    // 65536 + 400 days reduce to 400.
    Value *c = make_date(1800, 1, 1);
    const int32_t jc = ymd_to_jdnl(1800, 1, 1, -1);
    int32_t cy = 0, cm = 0, cd = 0;
    jdnl_to_ymd(jc + 65936, &cy, &cm, &cd, -1);
    Value *e = make_date(static_cast<int16_t>(cy), static_cast<uint16_t>(cm),
                         static_cast<uint16_t>(cd));
    EXPECT_EQ(diff("SQL_TSI_MONTH", c, e), 13);
    EXPECT_EQ(diff("SQL_TSI_QUARTER", c, e), 4);
    EXPECT_EQ(diff("SQL_TSI_YEAR", c, e), 1);
    EXPECT_EQ(diff("SQL_TSI_DAY", c, e), 65936);

    // 30 days: year -2, month 12 by the same calendar.
    calendar_parts(30, &y, &m);
    EXPECT_EQ(y, -2);
    EXPECT_EQ(m, 12);
    Value *f = make_date(2004, 3, 31);
    EXPECT_EQ(diff("SQL_TSI_MONTH", make_date(2004, 3, 1), f), -12);
    EXPECT_EQ(diff("SQL_TSI_QUARTER", make_date(2004, 3, 1), f), -4);
    EXPECT_EQ(diff("SQL_TSI_YEAR", make_date(2004, 3, 1), f), -2);

    // A sweep against the rule.
    const int32_t spans[] = {0, 1, 59, 365, 366, 731, 1000, 3653, 20000};
    for (int32_t days : spans) {
        calendar_parts(days, &y, &m);
        int32_t ey = 0, em = 0, ed = 0;
        jdnl_to_ymd(j + days, &ey, &em, &ed, -1);
        Value *end = make_date(static_cast<int16_t>(ey), static_cast<uint16_t>(em),
                               static_cast<uint16_t>(ed));
        EXPECT_EQ(diff("SQL_TSI_MONTH", a, end), y * 12 + m) << days;
        EXPECT_EQ(diff("SQL_TSI_QUARTER", a, end), y * 4 + m / 3) << days;
        EXPECT_EQ(diff("SQL_TSI_YEAR", a, end), y) << days;
        // A difference of 0 keeps the sign +1.
        EXPECT_EQ(diff("SQL_TSI_YEAR", end, a), days == 0 ? y : -y) << days;
    }
}

TEST_F(TimestampDiff, DatesTimesAndTheCurrentDate)
{
    EXPECT_EQ(diff("SQL_TSI_DAY", make_date(2004, 3, 1), make_date(2004, 3, 11)), 10);
    EXPECT_EQ(diff("SQL_TSI_HOUR", make_date(2004, 3, 1), make_date(2004, 3, 2)), 24);
    EXPECT_EQ(diff("SQL_TSI_HOUR", make_time(10, 0, 0), make_time(12, 30, 0)), 2);
    EXPECT_EQ(diff("SQL_TSI_MINUTE", make_time(12, 30, 30), make_time(10, 0, 0)), -150);
    // A time lies on the statement's current date.
    const std::tm tm = statement_tm();
    Value *today = make_timestamp(static_cast<int16_t>(tm.tm_year + 1900),
                                  static_cast<uint16_t>(tm.tm_mon + 1),
                                  static_cast<uint16_t>(tm.tm_mday), 12, 30, 0);
    EXPECT_EQ(diff("SQL_TSI_HOUR", make_time(10, 0, 0), today), 2);
    EXPECT_EQ(diff("SQL_TSI_DAY", make_time(10, 0, 0), today), 0);
    Value *today_date = make_date(static_cast<int16_t>(tm.tm_year + 1900),
                                  static_cast<uint16_t>(tm.tm_mon + 1),
                                  static_cast<uint16_t>(tm.tm_mday));
    EXPECT_EQ(diff("SQL_TSI_MINUTE", today_date, make_time(1, 0, 30)), 60);
}

TEST_F(TimestampDiff, UnknownUnitAndNulls)
{
    Value *a = make_date(2004, 3, 1);
    Value *b = make_date(2005, 3, 1);
    EXPECT_EQ(diff("SQL_TSI_CENTURY", a, b), 0);
    EXPECT_EQ(diff("sql_tsi_day", a, b), 0);
    EXPECT_EQ(diff("SQL_TSI_DAY ", a, b), 0);
    expect_null(run("TIMESTAMPDIFF", {S("SQL_TSI_DAY"), Null(VALUE_DATE), b}), VALUE_INTEGER,
                "NULL first");
    expect_null(run("TIMESTAMPDIFF", {S("SQL_TSI_DAY"), a, Null(VALUE_TIMESTAMP)}), VALUE_INTEGER,
                "NULL second");
}

// ---- DATABASE and USER ----

class SystemFns : public Fn {};

TEST_F(SystemFns, DatabaseIsTheConnections)
{
    conn.database = "sales";
    Value *r = run("DATABASE", {});
    EXPECT_EQ(text_of(r, "DATABASE()"), "sales");
    ASSERT_NE(r, nullptr);
    EXPECT_NE(r->payload.text, conn.database) << "a copy";
    conn.database = "";
    EXPECT_EQ(text_of(run("DATABASE", {}), "DATABASE() empty name"), "");

    conn.database = nullptr;
    Value *none = run("DATABASE", {});
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->type, VALUE_STRING);
    EXPECT_EQ(none->null_flag, -1);
    EXPECT_EQ(none->length, 0);
    ASSERT_NE(none->payload.text, nullptr);
    EXPECT_STREQ(none->payload.text, "");
}

TEST_F(SystemFns, UserIsTheUidAttribute)
{
    ASSERT_EQ(parse_connection_string(&conn.attributes, handle, "DSN=x;UID=fred;PWD=secret",
                                      KX_NTS, 0),
              0);
    Value *r = run("USER", {});
    EXPECT_EQ(text_of(r, "USER()"), "fred");

    ASSERT_EQ(parse_connection_string(&conn.attributes, handle, "dsn=x;uid=Mary Ann", KX_NTS, 0),
              0);
    EXPECT_EQ(text_of(run("USER", {}), "USER() lower-case keyword"), "Mary Ann");

    ASSERT_EQ(parse_connection_string(&conn.attributes, handle, "DSN=x;UID=;", KX_NTS, 0), 0);
    EXPECT_EQ(text_of(run("USER", {}), "USER() empty UID"), "");

    ASSERT_EQ(parse_connection_string(&conn.attributes, handle, "DSN=x;PWD=secret", KX_NTS, 0),
              0);
    Value *none = run("USER", {});
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->type, VALUE_STRING);
    EXPECT_EQ(none->null_flag, -1);
    EXPECT_EQ(none->length, 0);
    ASSERT_NE(none->payload.text, nullptr);
    EXPECT_STREQ(none->payload.text, "");

    init_con_str(&conn.attributes);
    Value *empty = run("USER", {});
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->null_flag, -1);
    EXPECT_EQ(empty->length, 0);
}

// ===========================================================================
// Calls outside the usual setting: no memory handle, no statement, short or
// odd argument lists, a descriptor or evaluator missing.

class NoMemoryHandle : public Fn {
protected:
    void SetUp() override
    {
        Fn::SetUp();
        sc.context.mem = nullptr;
    }
};

TEST_F(NoMemoryHandle, ValueResultsAreNullPointersWithoutADiagnostic)
{
    // run() fails the test on an error exit or a posted diagnostic.
    EXPECT_EQ(run("ABS", {I(-3)}), nullptr);
    EXPECT_EQ(run("SQRT", {D(4.0)}), nullptr);
    EXPECT_EQ(run("SQRT", {Null(VALUE_DOUBLE)}), nullptr);
    EXPECT_EQ(run("CEILING", {D(1.5)}), nullptr);
    EXPECT_EQ(run("POWER", {D(2.0), I(3)}), nullptr);
    EXPECT_EQ(run("MOD", {I(7), I(0)}), nullptr) << "no value, so no division either";
    EXPECT_EQ(run("RAND", {}), nullptr);
    EXPECT_EQ(run("PI", {}), nullptr);
    EXPECT_EQ(run("ASCII", {S("a")}), nullptr);
    EXPECT_EQ(run("CHAR_LENGTH", {S("abc")}), nullptr);
    EXPECT_EQ(run("CURDATE", {}), nullptr);
    EXPECT_EQ(run("CURTIME", {}), nullptr);
    EXPECT_EQ(run("CURRENT_TIMESTAMP", {}), nullptr);
    EXPECT_EQ(run("NOW", {}), nullptr);
    EXPECT_EQ(run("YEAR", {make_date(2004, 3, 15)}), nullptr);
    EXPECT_EQ(run("YEAR", {Null(VALUE_DATE)}), nullptr);
    EXPECT_EQ(run("EXTRACT", {I(0), make_date(2004, 3, 15)}), nullptr);
    EXPECT_EQ(run("EXTRACT", {Null(VALUE_INTEGER), make_date(2004, 3, 15)}), nullptr);
    EXPECT_EQ(run("TIMESTAMPADD", {S("SQL_TSI_DAY"), I(1), make_date(2004, 3, 15)}), nullptr);
    EXPECT_EQ(run("TIMESTAMPDIFF", {S("SQL_TSI_DAY"), make_date(2004, 3, 15),
                                    make_date(2004, 3, 16)}),
              nullptr);
}

TEST_F(NoMemoryHandle, TextResultsTakeTheAllocationExit)
{
    // A text result is one allocation with its record: without a handle it
    // cannot be had, and each routine posts its own message.
    expect_exit("UCASE", {S("abc")}, "HY001", "Memory allocation error");
    expect_exit("SPACE", {I(3)}, "HY001", "Memory allocation error");
    expect_exit("CONCAT", {S("a"), S("b")}, "HY001", "Memory allocation error fred");
    expect_exit("CHAR", {I(65)}, "HY001", "Memory allocation error fred");
    expect_exit("DAYNAME", {make_date(2004, 3, 15)}, "HY001", "Memory allocation error");
    expect_exit("MONTHNAME", {make_date(2004, 3, 15)}, "HY001", "Memory allocation error");
    conn.database = "sales";
    expect_exit("DATABASE", {}, "HY001", "Memory allocation error fred");
    ASSERT_EQ(parse_connection_string(&conn.attributes, handle, "UID=fred", KX_NTS, 0), 0);
    expect_exit("USER", {}, "HY001", "Memory allocation error");
}

class NoStatement : public Fn {
protected:
    void SetUp() override
    {
        Fn::SetUp();
        sc.context.stmt = nullptr;
    }
};

TEST_F(NoStatement, CurrentDateComesFromTheSystemClock)
{
    // Without a statement there is no captured time: the clock is read. The
    // date is checked against the clock read before and after the call.
    std::time_t before = std::time(nullptr);
    Value *r = run("CURDATE", {});
    std::time_t after = std::time(nullptr);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->type, VALUE_DATE);
    std::tm a;
    std::tm b;
    localtime_r(&before, &a);
    localtime_r(&after, &b);
    const DateStruct &d = r->payload.date;
    bool matches_before = d.year == a.tm_year + 1900 && d.month == a.tm_mon + 1 &&
                          d.day == a.tm_mday;
    bool matches_after = d.year == b.tm_year + 1900 && d.month == b.tm_mon + 1 &&
                         d.day == b.tm_mday;
    EXPECT_TRUE(matches_before || matches_after)
        << d.year << "-" << d.month << "-" << d.day;
}

TEST_F(NoStatement, DatabaseAndUserAreEmptyNullStrings)
{
    for (const char *name : {"DATABASE", "USER"}) {
        Value *r = run(name, {});
        ASSERT_NE(r, nullptr) << name;
        EXPECT_EQ(r->type, VALUE_STRING) << name;
        EXPECT_EQ(r->null_flag, -1) << name;
        EXPECT_EQ(r->length, 0) << name;
        ASSERT_NE(r->payload.text, nullptr) << name;
        EXPECT_STREQ(r->payload.text, "") << name;
    }
}

TEST_F(NoStatement, LongArgumentStillLeavesThroughTheExitPoint)
{
    // No statement, so no connection to read through and no header to post
    // on: the exit is still taken, with the result code set.
    TestLong lb;
    const std::string data = "abc";
    Value *v = Long(lb, data);
    Value *argv[1] = {v};
    Value *out = nullptr;
    sc.context.result = 0;
    EXPECT_EQ(call_armed(main_entry("UCASE"), &sc.context, 1, argv, 0, 0, &out), -1);
    EXPECT_EQ(sc.context.result, -1);
    EXPECT_EQ(lb.rewinds, 0);
    EXPECT_EQ(diag_count(), 0);
}

class OddCalls : public Fn {};

TEST_F(OddCalls, NoNameIsNotCatalogued)
{
    EXPECT_EQ(sql92_get_function_id(nullptr, 0), -99);
    EXPECT_EQ(sql92_get_function_id(nullptr, 1), -99);
}

TEST_F(OddCalls, NoDescriptorOrNoRoutineRunsNothing)
{
    Value *argv[1] = {I(-3)};
    EXPECT_EQ(execute_function(nullptr, &sc.context, 1, argv, 0, 0), nullptr);
    FunctionEntry d = *main_entry("ABS");
    d.impl = nullptr;
    EXPECT_EQ(execute_function(&d, &sc.context, 1, argv, 0, 0), nullptr);
}

TEST_F(OddCalls, IfnullWithoutItsSettingGivesNoValue)
{
    Expr first{Null(VALUE_INTEGER)};
    Expr second{I(6)};
    Value *argv[2] = {reinterpret_cast<Value *>(&first), reinterpret_cast<Value *>(&second)};
    const FunctionEntry *ifnull = main_entry("IFNULL");
    // No evaluator in the context.
    EXPECT_EQ(execute_function(ifnull, &sc.context, 2, argv, 0, 0), nullptr);
    sc.context.evaluate = logging_evaluator;
    // No context, no argument array, no arguments: nothing is evaluated.
    EXPECT_EQ(execute_function(ifnull, nullptr, 2, argv, 0, 0), nullptr);
    EXPECT_EQ(execute_function(ifnull, &sc.context, 2, nullptr, 0, 0), nullptr);
    EXPECT_EQ(execute_function(ifnull, &sc.context, 0, argv, 0, 0), nullptr);
    EXPECT_EQ(g_log.calls, 0);
    // One argument only: a NULL first value is the answer, as there is no
    // second to evaluate.
    EXPECT_EQ(execute_function(ifnull, &sc.context, 1, argv, 0, 0), first.value);
    EXPECT_EQ(g_log.calls, 1);
}

TEST_F(OddCalls, ModWithoutADivisorIsADivisionByZero)
{
    expect_exit("MOD", {I(7)}, "22012", "Division by zero");
}

TEST_F(OddCalls, NullCountsGiveNullText)
{
    for (const char *name : {"LEFT", "RIGHT", "REPEAT"})
        expect_null(run(name, {S("abc"), Null(VALUE_INTEGER)}), VALUE_STRING, name);
}

TEST_F(OddCalls, PositionInAMissingTextIsZero)
{
    EXPECT_EQ(int_of(run("POSITION", {S("a")}), "POSITION('a' IN <none>)"), 0);
}

TEST_F(OddCalls, StringWithoutItsTextReadsAsEmpty)
{
    Value *s = make(VALUE_STRING);  // no buffer at all
    ASSERT_EQ(s->payload.text, nullptr);
    EXPECT_EQ(text_of(run("UCASE", {s}), "UCASE(no text)"), "");
    EXPECT_EQ(int_of(run("CHAR_LENGTH", {s}), "CHAR_LENGTH(no text)"), 0);
    EXPECT_EQ(int_of(run("ASCII", {s}), "ASCII(no text)"), 0);
}

TEST_F(OddCalls, FieldsADatetimeDoesNotHaveReadAsZero)
{
    // The class words keep these out; a driver that passes one anyway gets 0.
    EXPECT_EQ(int_of(run("YEAR", {make_time(10, 20, 30)}), "YEAR(time)"), 0);
    EXPECT_EQ(int_of(run("MONTH", {make_time(10, 20, 30)}), "MONTH(time)"), 0);
    EXPECT_EQ(int_of(run("HOUR", {make_date(2004, 3, 15)}), "HOUR(date)"), 0);
    EXPECT_EQ(int_of(run("SECOND", {make_date(2004, 3, 15)}), "SECOND(date)"), 0);
}

TEST_F(OddCalls, DayBeforeTheFirstDayNumberHasNoName)
{
    // jdnl_to_dow of a negative day number is negative: no table entry.
    ASSERT_LT(jdnl_to_dow(ymd_to_jdnl(-5000, 1, 2, -1)), 0);
    expect_null(run("DAYNAME", {make_date(-5000, 1, 2)}), VALUE_STRING, "DAYNAME(5000 BC)");
    EXPECT_EQ(text_of(run("DAYNAME", {make_date(2004, 3, 14)}), "DAYNAME(2004-03-14)"),
              "Sunday");
}

TEST_F(OddCalls, ExtractWithoutASourceIsZero)
{
    EXPECT_EQ(int_of(run("EXTRACT", {I(0)}), "EXTRACT(YEAR FROM <none>)"), 0);
}

TEST_F(OddCalls, ExtractCodesBeyondSecondFromIntervalsAreZero)
{
    const FunctionEntry *x = main_entry("EXTRACT");
    for (int32_t code : {6, -1, 100}) {
        Value *ym = make_interval(KX_IS_YEAR_TO_MONTH, 0, 2, 5, 0, 0, 0);
        EXPECT_EQ(int_of(run(x, {I(code), ym}), "year-month"), 0) << code;
        Value *ds = make_interval(KX_IS_DAY_TO_SECOND, 0, 1, 2, 3, 4, 0);
        EXPECT_EQ(int_of(run(x, {I(code), ds}), "day-time"), 0) << code;
    }
}

TEST_F(OddCalls, UnitWordWithoutTextIsUnknown)
{
    Value *word = make(VALUE_STRING);  // no buffer
    ASSERT_EQ(word->payload.text, nullptr);
    Value *r = run("TIMESTAMPADD", {word, I(5), make_timestamp(2004, 1, 2, 3, 4, 5, 6)});
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->type, VALUE_TIMESTAMP);
    EXPECT_EQ(r->payload.timestamp.day, 2);
    EXPECT_EQ(r->payload.timestamp.fraction, 6u);
    // A word that is not text at all is no unit either.
    EXPECT_EQ(int_of(run("TIMESTAMPDIFF", {I(4), make_date(2004, 1, 1), make_date(2004, 1, 9)}),
                     "TIMESTAMPDIFF(<integer>, ...)"),
              0);
    EXPECT_EQ(int_of(run("TIMESTAMPDIFF", {word, make_date(2004, 1, 1), make_date(2004, 1, 9)}),
                     "TIMESTAMPDIFF(<no text>, ...)"),
              0);
    // A missing word (a null pointer in the argument array) neither.
    EXPECT_EQ(int_of(run("TIMESTAMPDIFF", {nullptr, make_date(2004, 1, 1), make_date(2004, 1, 9)}),
                     "TIMESTAMPDIFF(<none>, ...)"),
              0);
}

TEST_F(TimestampAdd, WithoutADescriptorTheResultIsATimestamp)
{
    // The routine called directly without its descriptor has no recorded
    // SQL type: the catalogue's 0, so a timestamp.
    const FunctionEntry *e = main_entry("TIMESTAMPADD");
    Value *argv[3] = {S("SQL_TSI_DAY"), I(1), make_date(2004, 2, 28)};
    Value *r = nullptr;
    if (setjmp(sc.context.exit) == 0)
        r = e->impl(&sc.context, 3, argv, 0, 0, nullptr);
    expect_ts(r, 2004, 2, 29, 0, 0, 0, 0, "no descriptor");
}

TEST_F(LongArgs, AsciiOfAnEmptyLongTextIsZero)
{
    std::string none;
    EXPECT_EQ(int_of(run("ASCII", {Long(lb, none)}), "ASCII(empty long)"), 0);
    EXPECT_EQ(lb.first_read_size, 20);
}

TEST_F(LongArgs, LongBinaryIsReadTheSameWay)
{
    std::string data = letters(3000);
    Value *v = Long(lb, data);
    v->type = VALUE_LONG_BINARY;
    EXPECT_EQ(int_of(run("CHAR_LENGTH", {v}), "CHAR_LENGTH(long binary)"), 3000);
    EXPECT_EQ(lb.rewind_type, VALUE_LONG_BINARY);
    v = Long(lb, data);
    v->type = VALUE_LONG_BINARY;
    EXPECT_EQ(text_of(run("LEFT", {v, I(4)}), "LEFT(long binary, 4)"), "abcd");
    EXPECT_EQ(lb.rewind_type, VALUE_LONG_BINARY);
}

// Reads as test_long_read does but reports more data on every read: only
// codes 2 and up are failures, so the text read is used.
int32_t read_always_more(LongBuffer *buffer, void *destination, int32_t size,
                         int32_t *length_out, int32_t flags)
{
    int32_t code = test_long_read(buffer, destination, size, length_out, flags);
    return code == 0 ? 1 : code;
}

TEST_F(LongArgs, MoreDataOnTheSecondReadIsNoFailure)
{
    conn.long_read = read_always_more;
    std::string data = letters(500);
    std::string upper = data;
    for (char &c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(text_of(run("UCASE", {Long(lb, data)}), "UCASE(long)"), upper);
    EXPECT_EQ(lb.reads, 2);
}

}  // namespace
