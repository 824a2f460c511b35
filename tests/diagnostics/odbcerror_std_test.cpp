// Tests of the standard family's diagnostics, each beside the family's own
// behaviour on a header made the same way: the component of library
// messages, class and subclass origins, the ODBC 2 states of ODBC's table,
// the widths and texts of kxstd_get_diag_field, the status texts and the
// error exit of the standard routines.
#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "diagnostics/standard_exit.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"

namespace {

constexpr int32_t kStatement = 3;
constexpr int32_t kDiagReturnCode = 1;
constexpr int32_t kDiagRowCount = 3;
constexpr int32_t kDiagDynamicFunction = 7;
constexpr int32_t kDiagClassOrigin = 8;
constexpr int32_t kDiagSubclassOrigin = 9;
constexpr int32_t kDiagConnectionName = 10;
constexpr int32_t kDiagServerName = 11;
constexpr int32_t kDiagRowNumber = -1248;

class StandardDiagnostics : public ::testing::Test {
protected:
    void SetUp() override
    {
        root_ = kx_mem_alloc_handle(nullptr);
        family3_ = CreateErrorHeader(root_, &env3_);
        standard3_ = CreateErrorHeader(root_, &env3_);
        family2_ = CreateErrorHeader(root_, &env2_);
        standard2_ = CreateErrorHeader(root_, &env2_);
        ASSERT_EQ(kxstd_set_error_header(standard3_, "kxevaldrv", "demo"), 0);
        ASSERT_EQ(kxstd_set_error_header(standard2_, "kxevaldrv", "demo"), 0);
    }
    void TearDown() override { kx_mem_release_handle(root_); }

    static std::string text_field(ErrorHeader *h, int32_t record, int32_t field, bool standard)
    {
        char text[128] = "";
        int16_t length = 0;
        int16_t rc = standard ? kxstd_get_diag_field(kStatement, h, record, field, text, sizeof text,
                                                     &length)
                              : GetDiagField(kStatement, h, record, field, text, sizeof text, &length);
        return rc == 0 ? std::string(text) : "rc " + std::to_string(rc);
    }
    static std::string message(ErrorHeader *h)
    {
        char state[6] = "";
        char text[256] = "";
        int16_t length = 0;
        GetDiagRec(h, 1, state, nullptr, text, sizeof text, &length);
        return std::string(state) + " " + text;
    }

    MemHandle *root_ = nullptr;
    DriverEnvironment env3_{0, 3};
    DriverEnvironment env2_{0, 2};
    ErrorHeader *family3_ = nullptr;
    ErrorHeader *standard3_ = nullptr;
    ErrorHeader *family2_ = nullptr;
    ErrorHeader *standard2_ = nullptr;
};

TEST_F(StandardDiagnostics, LibraryMessagesCarryTheDriversComponent)
{
    // a library routine posts without naming a component
    PostError(family3_, 1, 0, nullptr, 0, 0, "ODBC3.0", "22012", "Division by zero");
    PostError(standard3_, 1, 0, nullptr, 0, 0, "ODBC3.0", "22012", "Division by zero");
    EXPECT_EQ(message(family3_), "22012 [Varnel ODBC]Division by zero");
    EXPECT_EQ(message(standard3_), "22012 [kxevaldrv]Division by zero");
    EXPECT_EQ(text_field(standard3_, 1, kDiagConnectionName, true), "kxevaldrv");
    // a poster that names its component keeps it
    PostError(standard3_, 2, 0, "other", 0, 0, "ISO 9075", "42000", "x");
    char text[64];
    GetDiagRec(standard3_, 2, nullptr, nullptr, text, sizeof text, nullptr);
    EXPECT_STREQ(text, "[other]x");
}

TEST_F(StandardDiagnostics, OriginsFollowTheSqlState)
{
    struct Case {
        const char *state;
        const char *class_origin;
        const char *subclass_origin;
    };
    // class IM is ODBC's, every other class ISO's (HY is the ISO call-level
    // interface's); the subclasses ODBC added are ODBC's, whatever the
    // poster passed
    const Case cases[] = {
        {"22012", "ISO 9075", "ISO 9075"}, {"HY000", "ISO 9075", "ISO 9075"},
        {"HY001", "ISO 9075", "ISO 9075"}, {"42S22", "ISO 9075", "ODBC 3.0"},
        {"01S02", "ISO 9075", "ODBC 3.0"}, {"08S01", "ISO 9075", "ODBC 3.0"},
        {"42000", "ISO 9075", "ISO 9075"}, {"IM001", "ODBC 3.0", "ODBC 3.0"},
        {"01004", "ISO 9075", "ISO 9075"}, {"HYT00", "ISO 9075", "ODBC 3.0"},
        {"HY097", "ISO 9075", "ODBC 3.0"}, {"HY096", "ISO 9075", "ISO 9075"},
    };
    for (const Case &c : cases) {
        SetupErrorHeader(family3_, 0);
        SetupErrorHeader(standard3_, 0);
        PostError(family3_, 1, 0, nullptr, 0, 0, "ODBC3.0", c.state, "m");
        PostError(standard3_, 1, 0, nullptr, 0, 0, "ODBC3.0", c.state, "m");
        EXPECT_EQ(text_field(family3_, 1, kDiagClassOrigin, false), "ODBC 3.0") << c.state;
        EXPECT_EQ(text_field(family3_, 1, kDiagSubclassOrigin, false), "ODBC3.0") << c.state;
        EXPECT_EQ(text_field(standard3_, 1, kDiagClassOrigin, true), c.class_origin) << c.state;
        EXPECT_EQ(text_field(standard3_, 1, kDiagSubclassOrigin, true), c.subclass_origin) << c.state;
    }
}

TEST_F(StandardDiagnostics, OdbcTwoApplicationsGetTheStatesOfOdbcsTable)
{
    auto posted = [](ErrorHeader *h, const char *state) {
        SetupErrorHeader(h, 0);
        PostError(h, 1, 0, nullptr, 0, 0, "ODBC 3.0", state, "m");
        char out[6] = "";
        GetDiagRec(h, 1, out, nullptr, nullptr, 0, nullptr);
        return std::string(out);
    };
    EXPECT_EQ(posted(family2_, "HYT00"), "HYT00");  // the family's table has NYT00
    EXPECT_EQ(posted(standard2_, "HYT00"), "S1T00");
    EXPECT_EQ(posted(family2_, "HY092"), "S1009");  // the first of its two HY092 rows
    EXPECT_EQ(posted(standard2_, "HY092"), "S1092");
    EXPECT_EQ(posted(standard2_, "HYT01"), "S1T00");
    EXPECT_EQ(posted(standard2_, "42000"), "37000");
    EXPECT_EQ(posted(standard2_, "22012"), "22012");
    // an ODBC 3 header in standard mode keeps the state as posted
    EXPECT_EQ(posted(standard3_, "HYT00"), "HYT00");
    // every row of the table is a distinct ODBC 3 state
    for (const SqlStatePair *a = kxstd_map_table; a->odbc3 != nullptr; ++a)
        for (const SqlStatePair *b = a + 1; b->odbc3 != nullptr; ++b)
            EXPECT_STRNE(a->odbc3, b->odbc3);
}

TEST_F(StandardDiagnostics, IntegerFieldsHaveOdbcsWidths)
{
    SetReturnCode(standard3_, -1);
    SetErrorCount(standard3_, 7);
    PostError(standard3_, 1, 0, nullptr, 0, 3, "", "22012", "m");
    // guard octets around each field show how much was written
    unsigned char area[16];
    std::memset(area, 0xEE, sizeof area);
    ASSERT_EQ(kxstd_get_diag_field(kStatement, standard3_, 0, kDiagReturnCode, area, 0, nullptr), 0);
    int16_t code = 0;
    std::memcpy(&code, area, 2);
    EXPECT_EQ(code, -1);
    EXPECT_EQ(area[2], 0xEE);  // an SQLRETURN is 16 bits
    std::memset(area, 0xEE, sizeof area);
    ASSERT_EQ(kxstd_get_diag_field(kStatement, standard3_, 0, kDiagRowCount, area, 0, nullptr), 0);
    int64_t rows = 0;
    std::memcpy(&rows, area, 8);
    EXPECT_EQ(rows, 7);  // an SQLLEN is 64 bits, all of them written
    EXPECT_EQ(area[8], 0xEE);
    std::memset(area, 0xEE, sizeof area);
    ASSERT_EQ(kxstd_get_diag_field(kStatement, standard3_, 1, kDiagRowNumber, area, 0, nullptr), 0);
    std::memcpy(&rows, area, 8);
    EXPECT_EQ(rows, 3);
    // the family's routine writes one 32-bit word for each
    std::memset(area, 0xEE, sizeof area);
    ASSERT_EQ(GetDiagField(kStatement, standard3_, 0, kDiagRowCount, area, 0, nullptr), 0);
    EXPECT_EQ(area[4], 0xEE);
}

TEST_F(StandardDiagnostics, ServerNameAndDynamicFunctionAreOdbcs)
{
    PostError(family3_, 1, 0, nullptr, 0, 0, "", "HY000", "m");
    PostError(standard3_, 1, 0, nullptr, 0, 0, "", "HY000", "m");
    EXPECT_EQ(text_field(family3_, 1, kDiagServerName, false), "Varnel ODBC 3.0");
    EXPECT_EQ(text_field(standard3_, 1, kDiagServerName, true), "demo");
    EXPECT_EQ(text_field(standard3_, 2, kDiagServerName, true), "rc 100");
    struct Case {
        int32_t code;
        const char *family;
        const char *standard;
    };
    const Case cases[] = {{-2, "DROP_INDEX", "DROP INDEX"}, {7, "", "CALL"},
                          {82, "UPDATE WHERE", "UPDATE WHERE"}, {64, "", "CREATE SCHEMA"},
                          {999, "", ""}};
    for (const Case &c : cases) {
        SetupErrorHeader(family3_, c.code);
        SetupErrorHeader(standard3_, c.code);
        EXPECT_EQ(text_field(family3_, 0, kDiagDynamicFunction, false), c.family) << c.code;
        EXPECT_EQ(text_field(standard3_, 0, kDiagDynamicFunction, true), c.standard) << c.code;
    }
    // a connection's header has no dynamic function
    char text[16];
    EXPECT_EQ(kxstd_get_diag_field(2, standard3_, 0, kDiagDynamicFunction, text, sizeof text, nullptr),
              -1);
}

TEST_F(StandardDiagnostics, SettingAHeaderNeedsAComponent)
{
    EXPECT_EQ(kxstd_set_error_header(nullptr, "x", "y"), -1);
    EXPECT_EQ(kxstd_set_error_header(family3_, nullptr, "y"), -1);
    EXPECT_EQ(family3_->standard_component, nullptr);
    ASSERT_EQ(kxstd_set_error_header(family3_, "c", nullptr), 0);
    PostError(family3_, 1, 0, nullptr, 0, 0, "", "HY000", "m");
    EXPECT_EQ(text_field(family3_, 1, kDiagServerName, true), "");
}

TEST(StandardStatus, EveryStatusHasItsStateAndMessage)
{
    const char *states[KXSTD_STATUS_COUNT] = {"00000", "22003", "22012", "22008", "22015", "22007",
                                              "22018", "42000", "HY001", "HY090", "22023", "HY000"};
    for (int32_t s = 0; s < KXSTD_STATUS_COUNT; ++s) {
        EXPECT_STREQ(kxstd_status_state(s), states[s]) << s;
        EXPECT_GT(std::strlen(kxstd_status_message(s)), 0u) << s;
    }
    EXPECT_STREQ(kxstd_status_state(-1), "HY000");
    EXPECT_STREQ(kxstd_status_state(KXSTD_STATUS_COUNT), "HY000");
}

// The standard routines' error exit: posts on the statement, sets the
// result and jumps; without a context it returns.
TEST(StandardStatus, RaiseLeavesThroughTheContext)
{
    MemHandle *root = kx_mem_alloc_handle(nullptr);
    DriverEnvironment env{0, 3};
    DriverStatement stmt{};
    stmt.kind = KX_KIND_STATEMENT;
    stmt.errors = CreateErrorHeader(root, &env);
    ASSERT_EQ(kxstd_set_error_header(stmt.errors, "drv", "dsn"), 0);
    EvalContext context{};
    context.stmt = &stmt;
    context.mem = root;
    volatile bool returned = false;
    if (setjmp(context.exit) == 0) {
        kx::std_raise(&context, KXSTD_INTERVAL_OVERFLOW);
        returned = true;
    }
    EXPECT_FALSE(returned);
    EXPECT_EQ(context.result, -1);
    EXPECT_EQ(stmt.errors->return_code, -1);
    char state[6] = "";
    char text[128] = "";
    GetDiagRec(stmt.errors, 1, state, nullptr, text, sizeof text, nullptr);
    EXPECT_STREQ(state, "22015");
    EXPECT_STREQ(text, "[drv]Interval field overflow");
    kx::std_raise(nullptr, KXSTD_INTERVAL_OVERFLOW);  // returns
    kx::std_raise(&context, KXSTD_OK);                 // returns
    kx_mem_release_handle(root);
}

}  // namespace
