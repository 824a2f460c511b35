// Tests of the diagnostic records: map_table row by row, ODBC 2 mapping,
// message building and its 1024-byte bound, GetDiagRec / GetDiagField
// results and truncation, PostDalError, and the error exit.
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "diagnostics/error_exit.h"
#include "memory/memsys_internal.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "support/kx_test_support.h"

namespace {

using namespace kxtest::diag;

using Pair = kxtest::StatePair;
constexpr const auto &kExpectedMap = kxtest::kStateMap;

// The ODBC 2 state an application should see: the first row that matches.
std::string expected_odbc2(const char *state)
{
    for (const Pair &pair : kExpectedMap)
        if (std::strcmp(pair.odbc3, state) == 0)
            return pair.odbc2;
    return state;
}

class Diagnostics : public ::testing::Test {
protected:
    void SetUp() override
    {
        root_ = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(root_, nullptr);
        odbc3_ = CreateErrorHeader(root_, &env3_);
        odbc2_ = CreateErrorHeader(root_, &env2_);
        ASSERT_NE(odbc3_, nullptr);
        ASSERT_NE(odbc2_, nullptr);
    }
    void TearDown() override { kx_mem_release_handle(root_); }

    // The SQLSTATE and message of a record, read with GetDiagRec.
    std::string state_of(ErrorHeader *header, int32_t record)
    {
        char state[6] = "?????";
        EXPECT_EQ(GetDiagRec(header, record, state, nullptr, nullptr, 0,
                             nullptr),
                  1);  // a null message buffer reports truncation
        return state;
    }
    std::string message_of(ErrorHeader *header, int32_t record)
    {
        char text[2048];
        int16_t length = -1;
        EXPECT_EQ(GetDiagRec(header, record, nullptr, nullptr, text,
                             sizeof text, &length),
                  0);
        EXPECT_EQ(length, static_cast<int16_t>(std::strlen(text)));
        return text;
    }
    std::string string_field(int32_t handle_type, ErrorHeader *header,
                             int32_t record, int32_t field)
    {
        char text[4096];
        int16_t length = -1;
        EXPECT_EQ(GetDiagField(handle_type, header, record, field, text,
                               sizeof text, &length),
                  0);
        EXPECT_EQ(length, static_cast<int16_t>(std::strlen(text)));
        return text;
    }

    MemHandle *root_ = nullptr;
    DriverEnvironment env3_{1, 3};
    DriverEnvironment env2_{1, 2};
    ErrorHeader *odbc3_ = nullptr;
    ErrorHeader *odbc2_ = nullptr;
};

TEST(MapTable, EveryRowAsDocumented)
{
    for (int row = 0; row < 48; row++) {
        SCOPED_TRACE(row + 1);
        ASSERT_NE(map_table[row].odbc3, nullptr);
        ASSERT_NE(map_table[row].odbc2, nullptr);
        EXPECT_STREQ(map_table[row].odbc3, kExpectedMap[row].odbc3);
        EXPECT_STREQ(map_table[row].odbc2, kExpectedMap[row].odbc2);
    }
    EXPECT_EQ(map_table[48].odbc3, nullptr);
    EXPECT_EQ(map_table[48].odbc2, nullptr);
}

TEST(MapTable, DuplicateHy092RowsKept)
{
    int rows = 0;
    for (const SqlStatePair *pair = map_table; pair->odbc3 != nullptr; pair++)
        if (std::strcmp(pair->odbc3, "HY092") == 0)
            rows++;
    EXPECT_EQ(rows, 2);
    EXPECT_STREQ(map_table[23].odbc2, "S1009");
    EXPECT_STREQ(map_table[30].odbc2, "S1092");
}

TEST_F(Diagnostics, CreatedHeaderIsEmpty)
{
    EXPECT_EQ(odbc3_->kind, 300u);
    EXPECT_EQ(odbc3_->function_code, 0);
    EXPECT_EQ(odbc3_->return_code, 0);
    EXPECT_EQ(odbc3_->record_count, 0);
    EXPECT_EQ(odbc3_->odbc_version, 3);
    EXPECT_EQ(odbc3_->mem_handle, root_);
    EXPECT_EQ(odbc3_->first, nullptr);
    EXPECT_EQ(odbc3_->last, nullptr);
    EXPECT_EQ(odbc3_->row_count, 0);
    EXPECT_EQ(odbc2_->odbc_version, 2);

    ErrorHeader *no_environment = CreateErrorHeader(root_, nullptr);
    ASSERT_NE(no_environment, nullptr);
    EXPECT_EQ(no_environment->odbc_version, 3);
    EXPECT_EQ(CreateErrorHeader(nullptr, &env3_), nullptr);
}

TEST_F(Diagnostics, RecordIsNodeOfKind301)
{
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "x");
    ASSERT_NE(odbc3_->first, nullptr);
    EXPECT_EQ(odbc3_->first->kind, 301u);
    EXPECT_EQ(odbc3_->first, odbc3_->last);
}

TEST_F(Diagnostics, Odbc2HeaderMapsWhenPosting)
{
    struct Case {
        const char *posted;
        const char *stored;
    };
    const Case cases[] = {
        {"HY092", "S1009"}, {"HY001", "S1001"}, {"42S02", "S0002"},
        {"07008", "S1000"}, {"HY024", "S1009"}, {"NYT00", "S1T00"},
        {"01001", "01S03"}, {"HYC00", "S1C00"},
        {"01S02", "01S02"},  // not in the table: unchanged
        {"08S01", "08S01"}, {"hy000", "hy000"},  // case-sensitive
        {"HY00", "HY00"},
    };
    int32_t record = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.posted);
        PostError(odbc2_, 1, 0, nullptr, 0, 0, "ODBC 3.0", c.posted, "m");
        EXPECT_EQ(state_of(odbc2_, ++record), c.stored);
    }
}

TEST_F(Diagnostics, Odbc2HeaderMapsEveryTableStateByFirstMatch)
{
    int32_t record = 0;
    for (const Pair &pair : kExpectedMap) {
        SCOPED_TRACE(pair.odbc3);
        PostError(odbc2_, 1, 0, nullptr, 0, 0, "ODBC 3.0", pair.odbc3, "m");
        EXPECT_EQ(state_of(odbc2_, ++record), expected_odbc2(pair.odbc3));
        EXPECT_EQ(string_field(kStmt, odbc2_, record, kSqlState),
                  expected_odbc2(pair.odbc3));
    }
}

TEST_F(Diagnostics, AnyVersionOtherThan3IsOdbc2)
{
    for (int32_t version : {0, 1, 2, 4, -3}) {
        SCOPED_TRACE(version);
        DriverEnvironment env{1, version};
        ErrorHeader *header = CreateErrorHeader(root_, &env);
        ASSERT_NE(header, nullptr);
        PostError(header, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY010", "m");
        EXPECT_EQ(state_of(header, 1), "S1010");
    }
}

TEST_F(Diagnostics, Odbc3HeaderStoresEveryStateUnchanged)
{
    int32_t record = 0;
    for (const Pair &pair : kExpectedMap) {
        SCOPED_TRACE(pair.odbc3);
        PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", pair.odbc3, "m");
        EXPECT_EQ(state_of(odbc3_, ++record), pair.odbc3);
    }
}

TEST_F(Diagnostics, DefaultConnectionNameInBrackets)
{
    const char *stored = PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0",
                                   "HY000", "Table %s not found", "orders");
    ASSERT_NE(stored, nullptr);
    EXPECT_STREQ(stored, "[Varnel ODBC]Table orders not found");
    EXPECT_EQ(message_of(odbc3_, 1), "[Varnel ODBC]Table orders not found");
    EXPECT_EQ(string_field(kStmt, odbc3_, 1, kMessageText), stored);
    EXPECT_EQ(string_field(kStmt, odbc3_, 1, kConnectionName), "Varnel ODBC");
}

TEST_F(Diagnostics, GivenConnectionNameAndFormatArguments)
{
    PostError(odbc3_, 1, 0, "Sales DB", 0, 0, "ODBC 3.0", "HY000",
              "%d rows, %s", 12, "done");
    EXPECT_EQ(message_of(odbc3_, 1), "[Sales DB]12 rows, done");
    EXPECT_EQ(string_field(kStmt, odbc3_, 1, kConnectionName), "Sales DB");
}

TEST_F(Diagnostics, PercentInConnectionNameIsText)
{
    PostError(odbc3_, 1, 0, "100%s%d%n%%", 0, 0, "ODBC 3.0", "HY000",
              "value %d", 7);
    EXPECT_EQ(message_of(odbc3_, 1), "[100%s%d%n%%]value 7");
    EXPECT_EQ(string_field(kStmt, odbc3_, 1, kConnectionName), "100%s%d%n%%");
}

TEST_F(Diagnostics, MessageBoundedAt1024Bytes)
{
    const std::string prefix = "[Varnel ODBC]";
    struct Case {
        size_t text_length;
        size_t stored_length;
    };
    const Case cases[] = {
        {10, prefix.size() + 10},
        {1023 - prefix.size(), 1023},  // fits exactly
        {1024 - prefix.size(), 1023},  // one too many: cut
        {5000, 1023},
    };
    int32_t record = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text_length);
        const std::string text(c.text_length, 'x');
        const char *stored = PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0",
                                       "HY000", "%s", text.c_str());
        ASSERT_NE(stored, nullptr);
        const std::string expected =
            (prefix + text).substr(0, c.stored_length);
        EXPECT_EQ(std::string(stored), expected);
        EXPECT_EQ(message_of(odbc3_, ++record), expected);
    }
}

TEST_F(Diagnostics, LongConnectionNameIsCutInMessageOnly)
{
    // The message is "[" name "]" text, cut as a whole to 1023 characters.
    struct Case {
        size_t name_length;
        const char *expected_tail;  // what follows "[" and the n's
    };
    const Case cases[] = {
        {1017, "]tail"},  // 1 + 1017 + 5 = 1023: fits exactly
        {1018, "]tai"},
        {1021, "]"},      // the bracket is the last character that fits
        {1022, ""},       // the bracket itself is cut
        {3000, ""},
    };
    int32_t record = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name_length);
        const std::string name(c.name_length, 'n');
        const char *stored = PostError(odbc3_, 1, 0, name.c_str(), 0, 0,
                                       "ODBC 3.0", "HY000", "%s", "tail");
        ASSERT_NE(stored, nullptr);
        const size_t kept_name = c.name_length < 1022 ? c.name_length : 1022;
        const std::string expected =
            "[" + std::string(kept_name, 'n') + c.expected_tail;
        EXPECT_EQ(std::string(stored), expected);
        EXPECT_EQ(message_of(odbc3_, ++record), expected);
        // The record's connection name is the whole copy.
        char text[4096];
        int16_t length = 0;
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, record, kConnectionName, text,
                               sizeof text, &length),
                  0);
        EXPECT_EQ(length, static_cast<int16_t>(c.name_length));
        EXPECT_EQ(std::string(text), name);
    }
}

TEST_F(Diagnostics, EmptyAndNullFormats)
{
    // An empty or null format is allowed (the record holds the prefix
    // alone), though the printf format check calls both suspect.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-zero-length"
#pragma GCC diagnostic ignored "-Wformat-security"
    EXPECT_STREQ(PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000",
                           ""),
                 "[Varnel ODBC]");
    const char *no_format = nullptr;
    EXPECT_STREQ(PostError(odbc3_, 1, 0, "C", 0, 0, "ODBC 3.0", "HY000",
                           no_format),
                 "[C]");
#pragma GCC diagnostic pop
    EXPECT_EQ(odbc3_->record_count, 2);
    EXPECT_EQ(message_of(odbc3_, 1), "[Varnel ODBC]");
    EXPECT_EQ(message_of(odbc3_, 2), "[C]");
}

TEST_F(Diagnostics, FormatDirectivesOfTheCallerAreExpanded)
{
    const struct {
        const char *format;
        const char *message;
    } cases[] = {
        {"100%% done", "[Varnel ODBC]100% done"},
        {"%5d|", "[Varnel ODBC]   42|"},
        {"plain", "[Varnel ODBC]plain"},
    };
    int32_t record = 0;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.format);
        const char *stored = PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0",
                                       "HY000", c.format, 42);
        EXPECT_STREQ(stored, c.message);
        EXPECT_EQ(message_of(odbc3_, ++record), c.message);
    }
}

TEST_F(Diagnostics, PostErrorReturnsTheStoredMessage)
{
    const char *stored = PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0",
                                   "HY000", "m");
    ASSERT_NE(odbc3_->last, nullptr);
    EXPECT_EQ(stored, odbc3_->last->message);
}

TEST_F(Diagnostics, StatesAreMappedWhenPostedNotWhenRead)
{
    // An ODBC 3 header that later says ODBC 2 still gives back the state as
    // it was stored, and the other way round.
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY010", "m");
    odbc3_->odbc_version = 2;
    EXPECT_EQ(state_of(odbc3_, 1), "HY010");
    EXPECT_EQ(string_field(kStmt, odbc3_, 1, kSqlState), "HY010");
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY010", "m");
    EXPECT_EQ(state_of(odbc3_, 2), "S1010");

    PostError(odbc2_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY010", "m");
    odbc2_->odbc_version = 3;
    EXPECT_EQ(state_of(odbc2_, 1), "S1010");
    ASSERT_NE(odbc2_->first, nullptr);
    EXPECT_STREQ(odbc2_->first->sqlstate, "S1010");
}

TEST_F(Diagnostics, StatesAreMappedOnlyByExactMatch)
{
    const char *cases[] = {"HY0921", "HY09", " HY092", "hY092", ""};
    int32_t record = 0;
    for (const char *state : cases) {
        SCOPED_TRACE(state);
        PostError(odbc2_, 1, 0, nullptr, 0, 0, "ODBC 3.0", state, "m");
        record++;
        EXPECT_EQ(string_field(kStmt, odbc2_, record, kSqlState), state);
    }
}

TEST_F(Diagnostics, RecordsComeBackOldestFirst)
{
    PostError(odbc3_, 1, 0, nullptr, 11, 0, "ODBC 3.0", "HY000", "first");
    PostError(odbc3_, 1, 0, nullptr, 22, 0, "ODBC 3.0", "HY001", "second");
    PostError(odbc3_, 1, 0, nullptr, 33, 0, "ODBC 3.0", "42S02", "third");
    EXPECT_EQ(integer_field(kStmt, odbc3_, 0, kNumber), 3);
    const char *states[] = {"HY000", "HY001", "42S02"};
    const char *texts[] = {"first", "second", "third"};
    for (int32_t i = 0; i < 3; i++) {
        char state[6];
        int32_t native = 0;
        char text[64];
        int16_t length = 0;
        EXPECT_EQ(GetDiagRec(odbc3_, i + 1, state, &native, text, sizeof text,
                             &length),
                  0);
        EXPECT_STREQ(state, states[i]);
        EXPECT_EQ(native, 11 * (i + 1));
        EXPECT_EQ(std::string(text), std::string("[Varnel ODBC]") + texts[i]);
    }
}

TEST_F(Diagnostics, GetDiagRecRecordNumbersOutOfRange)
{
    char state[6];
    char text[64];
    EXPECT_EQ(GetDiagRec(odbc3_, 1, state, nullptr, text, sizeof text, nullptr),
              100);
    EXPECT_EQ(GetDiagRec(odbc3_, 0, state, nullptr, text, sizeof text, nullptr),
              -1);
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "a");
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "b");
    EXPECT_EQ(GetDiagRec(odbc3_, 3, state, nullptr, text, sizeof text, nullptr),
              100);
    EXPECT_EQ(GetDiagRec(odbc3_, 0, state, nullptr, text, sizeof text, nullptr),
              -1);
    EXPECT_EQ(GetDiagRec(odbc3_, -4, state, nullptr, text, sizeof text,
                         nullptr),
              -1);
    EXPECT_EQ(GetDiagRec(odbc3_, 2, state, nullptr, text, sizeof text, nullptr),
              0);
}

TEST_F(Diagnostics, GetDiagRecStoresStateInSixBytes)
{
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "42S02", "m");
    char state[8];
    std::memset(state, '#', sizeof state);
    int32_t native = 5;
    EXPECT_EQ(GetDiagRec(odbc3_, 1, state, &native, nullptr, 0, nullptr), 1);
    EXPECT_STREQ(state, "42S02");
    EXPECT_EQ(state[6], '#');
    EXPECT_EQ(state[7], '#');
    EXPECT_EQ(native, 0);
}

TEST_F(Diagnostics, GetDiagRecTruncatesMessage)
{
    // "[Varnel ODBC]abc" is 16 characters.
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "abc");
    struct Case {
        int32_t buffer_length;
        int16_t result;
        const char *text;
    };
    const Case cases[] = {
        {100, 0, "[Varnel ODBC]abc"}, {17, 0, "[Varnel ODBC]abc"},
        {16, 1, "[Varnel ODBC]ab"},   {5, 1, "[Var"},
        {2, 1, "["},                  {1, 1, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.buffer_length);
        char text[128];
        std::memset(text, '#', sizeof text);
        int16_t lengths[2] = {-9, -9};
        EXPECT_EQ(GetDiagRec(odbc3_, 1, nullptr, nullptr, text, c.buffer_length,
                             &lengths[0]),
                  c.result);
        EXPECT_STREQ(text, c.text);
        EXPECT_EQ(text[c.buffer_length], '#') << "wrote past the buffer";
        EXPECT_EQ(lengths[0], 16);
        EXPECT_EQ(lengths[1], -9) << "the length output is 16 bits";
    }
    // Length 0 with a real buffer writes nothing; a null buffer asks for the
    // length alone. Both report truncation.
    char text[4] = {'#', '#', '#', '#'};
    int16_t length = 0;
    EXPECT_EQ(GetDiagRec(odbc3_, 1, nullptr, nullptr, text, 0, &length), 1);
    EXPECT_EQ(text[0], '#');
    EXPECT_EQ(length, 16);
    length = 0;
    EXPECT_EQ(GetDiagRec(odbc3_, 1, nullptr, nullptr, nullptr, 0, &length), 1);
    EXPECT_EQ(length, 16);
    // A negative length is no room at all.
    EXPECT_EQ(GetDiagRec(odbc3_, 1, nullptr, nullptr, text, -1, &length), 1);
    EXPECT_EQ(text[0], '#');
}

TEST_F(Diagnostics, LongMessageComesBackTruncated)
{
    const std::string body(600, 'q');
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "%s",
              body.c_str());
    char text[101];
    int16_t length = 0;
    EXPECT_EQ(GetDiagRec(odbc3_, 1, nullptr, nullptr, text, 100, &length), 1);
    EXPECT_EQ(std::strlen(text), 99u);
    EXPECT_EQ(std::string(text), ("[Varnel ODBC]" + body).substr(0, 99));
    EXPECT_EQ(length, 613);
}

TEST_F(Diagnostics, ExtremeRecordNumbersAndBufferLengths)
{
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "abc");
    char text[8];
    int32_t word = -77;
    const struct {
        int32_t record;
        int16_t rec_result;
        int16_t field_result;
    } records[] = {
        {INT32_MIN, -1, -1}, {-1, -1, -1}, {0, -1, -1},
        {2, 100, 100},       {INT32_MAX, 100, 100},
    };
    for (const auto &c : records) {
        SCOPED_TRACE(c.record);
        std::memset(text, '#', sizeof text);
        EXPECT_EQ(GetDiagRec(odbc3_, c.record, text, &word, text, sizeof text,
                             nullptr),
                  c.rec_result);
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, c.record, kMessageText, text,
                               sizeof text, nullptr),
                  c.field_result);
        EXPECT_EQ(text[0], '#');
        EXPECT_EQ(word, -77);
    }
    // Negative and tiny lengths never write past what they allow.
    const struct {
        int32_t buffer_length;
        const char *text;  // null: nothing written
    } lengths[] = {
        {INT32_MIN, nullptr}, {-1, nullptr}, {0, nullptr}, {1, ""}, {2, "["},
    };
    for (const auto &c : lengths) {
        SCOPED_TRACE(c.buffer_length);
        for (int32_t field : {kMessageText, kSqlState, kServerName}) {
            std::memset(text, '#', sizeof text);
            int16_t length = -9;
            EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, field, text,
                                   c.buffer_length, &length),
                      1);
            if (c.text == nullptr) {
                EXPECT_EQ(text[0], '#');
            } else if (field == kMessageText) {
                EXPECT_STREQ(text, c.text);
            }
            EXPECT_EQ(text[c.buffer_length > 0 ? c.buffer_length : 0], '#');
        }
    }
}

TEST_F(Diagnostics, EveryStringFieldTruncates)
{
    odbc3_->function_code = 85;
    PostError(odbc3_, 1, 0, "Conn", 0, 0, "Sub origin", "HY000", "text");
    struct Case {
        int32_t field;
        const char *value;
    };
    const Case cases[] = {
        {kSqlState, "HY000"},
        {kMessageText, "[Conn]text"},
        {kSubclassOrigin, "Sub origin"},
        {kConnectionName, "Conn"},
        {kClassOrigin, "ODBC 3.0"},
        {kServerName, "Varnel ODBC 3.0"},
        {kDynamicFunction, "SELECT CURSOR"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.field);
        const int32_t full = static_cast<int32_t>(std::strlen(c.value));
        char text[64];
        int16_t lengths[2] = {-9, -9};

        std::memset(text, '#', sizeof text);
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, c.field, text, full + 1,
                               &lengths[0]),
                  0);
        EXPECT_STREQ(text, c.value);
        EXPECT_EQ(lengths[0], full);
        EXPECT_EQ(lengths[1], -9);

        std::memset(text, '#', sizeof text);
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, c.field, text, full,
                               &lengths[0]),
                  1);
        EXPECT_EQ(std::string(text), std::string(c.value, full - 1));
        EXPECT_EQ(text[full], '#');
        EXPECT_EQ(lengths[0], full);

        std::memset(text, '#', sizeof text);
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, c.field, text, 0, &lengths[0]),
                  1);
        EXPECT_EQ(text[0], '#');
        EXPECT_EQ(lengths[0], full);
    }
}

TEST_F(Diagnostics, ClassOriginByCode)
{
    const struct {
        int32_t code;
        const char *origin;
    } cases[] = {{1, "ODBC 3.0"}, {2, "ISO 9075"}, {0, "ISO 9075"},
                 {-1, "ISO 9075"}, {3, "ISO 9075"}};
    int32_t record = 0;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.code);
        PostError(odbc3_, c.code, 0, nullptr, 0, 0, "x", "HY000", "m");
        EXPECT_EQ(string_field(kDbc, odbc3_, ++record, kClassOrigin), c.origin);
        EXPECT_EQ(string_field(kEnv, odbc3_, record, kServerName),
                  "Varnel ODBC 3.0");
    }
}

TEST_F(Diagnostics, RecordIntegerFields)
{
    PostError(odbc3_, 1, 7, nullptr, -1234, 42, "ODBC 3.0", "HY000", "m");
    EXPECT_EQ(integer_field(kStmt, odbc3_, 1, kNative), -1234);
    EXPECT_EQ(integer_field(kStmt, odbc3_, 1, kRowNumber), 42);
    EXPECT_EQ(integer_field(kStmt, odbc3_, 1, kColumnNumber), 7);
    EXPECT_EQ(integer_field(kDbc, odbc3_, 1, kNative), -1234);
}

TEST_F(Diagnostics, HeaderIntegerFields)
{
    SetupErrorHeader(odbc3_, 82);
    EXPECT_EQ(SetReturnCode(odbc3_, 1), 1);
    SetErrorCount(odbc3_, 250);
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "01004", "m");
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "01004", "m");
    for (int32_t record : {0, 1, 2}) {
        SCOPED_TRACE(record);
        EXPECT_EQ(integer_field(kStmt, odbc3_, record, kReturnCode), 1);
        EXPECT_EQ(integer_field(kStmt, odbc3_, record, kNumber), 2);
        EXPECT_EQ(integer_field(kStmt, odbc3_, record, kRowCount), 250);
        EXPECT_EQ(integer_field(kStmt, odbc3_, record, kDynamicFunctionCode),
                  82);
        EXPECT_EQ(integer_field(kStmt, odbc3_, record, kCursorRowCount), 0);
    }
}

TEST_F(Diagnostics, StatementOnlyHeaderFields)
{
    SetupErrorHeader(odbc3_, 82);
    SetErrorCount(odbc3_, 5);
    for (int32_t type : {kEnv, kDbc, kDesc, 0, -1}) {
        SCOPED_TRACE(type);
        for (int32_t field :
             {kRowCount, kDynamicFunction, kDynamicFunctionCode,
              kCursorRowCount}) {
            SCOPED_TRACE(field);
            int32_t word = -77;
            char text[32] = "";
            void *target = field == kDynamicFunction ? static_cast<void *>(text)
                                                     : &word;
            EXPECT_EQ(GetDiagField(type, odbc3_, 0, field, target, sizeof text,
                                   nullptr),
                      -1);
            EXPECT_EQ(word, -77);
        }
        // The return code and the count belong to every handle.
        EXPECT_EQ(integer_field(type, odbc3_, 0, kReturnCode), 0);
        EXPECT_EQ(integer_field(type, odbc3_, 0, kNumber), 0);
    }
    EXPECT_EQ(string_field(kStmt, odbc3_, 0, kDynamicFunction), "UPDATE WHERE");
    EXPECT_EQ(integer_field(kStmt, odbc3_, 0, kRowCount), 5);
}

TEST_F(Diagnostics, DynamicFunctionNames)
{
    const struct {
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
        {0, ""},              {-3, ""},
        {1, ""},              {83, ""},
        {86, ""},             {1000, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.code);
        SetupErrorHeader(odbc3_, c.code);
        EXPECT_EQ(string_field(kStmt, odbc3_, 0, kDynamicFunction), c.name);
        EXPECT_EQ(integer_field(kStmt, odbc3_, 0, kDynamicFunctionCode),
                  c.code);
    }
}

TEST_F(Diagnostics, GetDiagFieldRecordNumbers)
{
    int32_t word = 0;
    char text[64];
    // No records: any positive number is past the end, even for a header
    // field.
    EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, kNumber, &word, 0, nullptr), 100);
    EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, kSqlState, text, sizeof text,
                           nullptr),
              100);
    EXPECT_EQ(GetDiagField(kStmt, odbc3_, -1, kNumber, &word, 0, nullptr), -1);
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "m");
    EXPECT_EQ(GetDiagField(kStmt, odbc3_, 2, kSqlState, text, sizeof text,
                           nullptr),
              100);
    EXPECT_EQ(GetDiagField(kStmt, odbc3_, -1, kSqlState, text, sizeof text,
                           nullptr),
              -1);
    // Record fields need a record.
    for (int32_t field : {kSqlState, kNative, kMessageText, kClassOrigin,
                          kSubclassOrigin, kConnectionName, kServerName,
                          kRowNumber, kColumnNumber}) {
        SCOPED_TRACE(field);
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, 0, field, text, sizeof text,
                               nullptr),
                  -1);
    }
    EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, kSqlState, text, sizeof text,
                           nullptr),
              0);
}

TEST_F(Diagnostics, UnknownFieldIdentifiers)
{
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "m");
    int32_t words[16] = {};
    for (int32_t field : {0, 13, 14, -1, -1246, -1250, 1000}) {
        SCOPED_TRACE(field);
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, field, words, sizeof words,
                               nullptr),
                  -1);
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, 0, field, words, sizeof words,
                               nullptr),
                  -1);
    }
}

TEST_F(Diagnostics, SetupClearsPreviousCall)
{
    SetupErrorHeader(odbc3_, 50);
    SetReturnCode(odbc3_, -1);
    SetErrorCount(odbc3_, 9);
    for (int i = 0; i < 25; i++)
        PostError(odbc3_, 1, 0, "c", i, 0, "ODBC 3.0", "HY000", "n%d", i);
    EXPECT_EQ(odbc3_->record_count, 25);
    SetupErrorHeader(odbc3_, 19);
    EXPECT_EQ(odbc3_->record_count, 0);
    EXPECT_EQ(odbc3_->return_code, 0);
    EXPECT_EQ(odbc3_->row_count, 0);
    EXPECT_EQ(odbc3_->function_code, 19);
    EXPECT_EQ(odbc3_->first, nullptr);
    EXPECT_EQ(odbc3_->last, nullptr);
    EXPECT_EQ(odbc3_->odbc_version, 3);
    EXPECT_EQ(GetDiagRec(odbc3_, 1, nullptr, nullptr, nullptr, 0, nullptr), 100);
    // The header is usable again.
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY001", "again");
    EXPECT_EQ(message_of(odbc3_, 1), "[Varnel ODBC]again");
}

TEST_F(Diagnostics, FreeErrorHeaderWithRecords)
{
    ErrorHeader *header = CreateErrorHeader(root_, &env2_);
    ASSERT_NE(header, nullptr);
    for (int i = 0; i < 12; i++)
        PostError(header, 1, 0, nullptr, 0, 0, "ODBC 3.0", "HY000", "m%d", i);
    FreeErrorHeader(header);
    // Headers made afterwards behave normally.
    ErrorHeader *next = CreateErrorHeader(root_, &env3_);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->record_count, 0);
    EXPECT_EQ(next->first, nullptr);
}

// Live blocks of a memory handle.
int live_blocks(const MemHandle *handle)
{
    int count = 0;
    for (const MemBlock *block = handle->first_block; block != nullptr;
         block = block->next)
        count++;
    return count;
}

TEST(DiagnosticsMemory, EveryRecordAndStringIsFreed)
{
    MemHandle *handle = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(handle, nullptr);
    DriverEnvironment env{1, 2};
    ErrorHeader *header = CreateErrorHeader(handle, &env);
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(live_blocks(handle), 1);  // the header alone
    // Each record is its node and four private strings (the default
    // connection name is a copy too).
    for (int i = 0; i < 7; i++)
        PostError(header, 1, 0, i % 2 ? "Conn" : nullptr, i, 0, "ODBC 3.0",
                  "HY000", "message %d", i);
    EXPECT_EQ(live_blocks(handle), 1 + 7 * 5);
    SetupErrorHeader(header, 85);
    EXPECT_EQ(live_blocks(handle), 1);
    PostDalError(nullptr, nullptr, 0, "HY000", "m");  // posts nothing
    DriverStatement statement{};
    statement.kind = 200;
    statement.errors = header;
    PostDalError(&statement, "DAL", 1, "HY000", "m");
    PostDalError(&statement, nullptr, 1, "HY000", "m");
    EXPECT_EQ(live_blocks(handle), 1 + 2 * 5);
    FreeErrorHeader(header);
    EXPECT_EQ(live_blocks(handle), 0);
    kx_mem_release_handle(handle);
}

TEST_F(Diagnostics, SetReturnCodeGivesSqlReturn)
{
    EXPECT_EQ(SetReturnCode(odbc3_, -1), -1);
    EXPECT_EQ(odbc3_->return_code, -1);
    EXPECT_EQ(SetReturnCode(odbc3_, 100), 100);
    EXPECT_EQ(SetReturnCode(odbc3_, 99), 99);
    EXPECT_EQ(SetReturnCode(odbc3_, 65537), 1);
    EXPECT_EQ(odbc3_->return_code, 65537);
}

TEST_F(Diagnostics, NullHeaderArguments)
{
    SetupErrorHeader(nullptr, 1);
    FreeErrorHeader(nullptr);
    SetErrorCount(nullptr, 1);
    EXPECT_EQ(SetReturnCode(nullptr, -1), -1);
    EXPECT_EQ(PostError(nullptr, 1, 0, nullptr, 0, 0, "x", "HY000", "m"),
              nullptr);
    char text[16];
    EXPECT_EQ(GetDiagRec(nullptr, 1, text, nullptr, text, sizeof text, nullptr),
              100);
    EXPECT_EQ(GetDiagRec(nullptr, 0, text, nullptr, text, sizeof text, nullptr),
              -1);
    EXPECT_EQ(GetDiagField(kStmt, nullptr, 1, kSqlState, text, sizeof text,
                           nullptr),
              100);
    EXPECT_EQ(GetDiagField(kStmt, nullptr, 0, kNumber, text, sizeof text,
                           nullptr),
              -1);
}

TEST_F(Diagnostics, NullStringsInPostError)
{
    EXPECT_NE(PostError(odbc2_, 1, 0, nullptr, 0, 0, nullptr, nullptr, "m"),
              nullptr);
    char state[6] = "?????";
    EXPECT_EQ(GetDiagRec(odbc2_, 1, state, nullptr, nullptr, 0, nullptr), 1);
    EXPECT_STREQ(state, "");
    EXPECT_EQ(string_field(kStmt, odbc2_, 1, kSubclassOrigin), "");
}

// A driver's statement and connection records with the library's leading
// parts embedded first.
struct TestStatement {
    DriverStatement base;
    int extra;
};

TEST_F(Diagnostics, PostDalErrorByKind)
{
    struct Case {
        uint32_t kind;
        bool posts;
    };
    const Case cases[] = {{200, true}, {202, true}, {201, true},
                          {203, false}, {199, false}, {0, false},
                          {300, false}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.kind);
        SetupErrorHeader(odbc2_, 0);
        TestStatement statement{};
        DriverConnection connection{};
        void *object;
        if (c.kind == 201) {
            connection.kind = c.kind;
            connection.errors = odbc2_;
            object = &connection;
        } else {
            statement.base.kind = c.kind;
            statement.base.errors = odbc2_;
            object = &statement;
        }
        EXPECT_EQ(PostDalError(object, "DAL", 904, "42S02", "no table"), 0);
        if (!c.posts) {
            EXPECT_EQ(odbc2_->record_count, 0);
            EXPECT_EQ(odbc2_->return_code, 0);
            continue;
        }
        ASSERT_EQ(odbc2_->record_count, 1);
        EXPECT_EQ(odbc2_->return_code, -1);
        char state[6];
        int32_t native = 0;
        char text[64];
        EXPECT_EQ(GetDiagRec(odbc2_, 1, state, &native, text, sizeof text,
                             nullptr),
                  0);
        EXPECT_STREQ(state, "S0002");  // an ODBC 2 header maps
        EXPECT_EQ(native, 904);
        EXPECT_STREQ(text, "[DAL]no table");
        EXPECT_EQ(string_field(kStmt, odbc2_, 1, kClassOrigin), "ISO 9075");
        EXPECT_EQ(string_field(kStmt, odbc2_, 1, kSubclassOrigin), "ISO 9075");
        EXPECT_EQ(string_field(kStmt, odbc2_, 1, kConnectionName), "DAL");
        EXPECT_EQ(integer_field(kStmt, odbc2_, 1, kRowNumber), 0);
        EXPECT_EQ(integer_field(kStmt, odbc2_, 1, kColumnNumber), 0);
    }
}

TEST_F(Diagnostics, PostDalErrorMessageIsText)
{
    DriverStatement statement{};
    statement.kind = 200;
    statement.errors = odbc3_;
    EXPECT_EQ(PostDalError(&statement, nullptr, 0, "HY000",
                           "100% of %s and %n %d"),
              0);
    EXPECT_EQ(message_of(odbc3_, 1), "[Varnel ODBC]100% of %s and %n %d");
    EXPECT_EQ(PostDalError(&statement, "50%s", 0, "HY000", "x"), 0);
    EXPECT_EQ(message_of(odbc3_, 2), "[50%s]x");
}

TEST_F(Diagnostics, PostDalErrorWithoutHeader)
{
    DriverStatement statement{};
    statement.kind = 200;
    EXPECT_EQ(PostDalError(&statement, nullptr, 0, "HY000", "m"), 0);
    EXPECT_EQ(PostDalError(nullptr, nullptr, 0, "HY000", "m"), 0);
}

// Takes the error exit with context armed; returns what setjmp gave back
// on the way out (kept out of the test's loop, so that no loop variable
// lives in the frame the jump returns to).
int value_of_error_exit(EvalContext *context)
{
    int value = setjmp(context->exit);
    if (value == 0)
        kx::error_exit(context, "ODBC3.0", "22012", "Division by zero");
    return value;
}

// A context without a statement, or whose statement has no error header,
// posts nothing but still leaves through its exit point.
TEST_F(Diagnostics, ErrorExitWithoutAHeaderStillJumps)
{
    DriverStatement statement{};
    statement.kind = 200;
    statement.errors = nullptr;
    for (DriverStatement *stmt : {static_cast<DriverStatement *>(nullptr), &statement}) {
        EvalContext context{};
        context.stmt = stmt;
        context.result = 0;
        EXPECT_EQ(value_of_error_exit(&context), -1);
        EXPECT_EQ(context.result, -1);
        EXPECT_EQ(odbc3_->record_count, 0);
        EXPECT_EQ(odbc3_->return_code, 0);
    }
}

TEST_F(Diagnostics, ErrorExitPostsAndJumps)
{
    DriverStatement statement{};
    statement.kind = 200;
    statement.errors = odbc3_;
    EvalContext context{};
    context.stmt = &statement;
    context.result = 0;
    volatile int jumped = 0;
    switch (setjmp(context.exit)) {
    case 0:
        kx::error_exit(&context, "ODBC3.0", "22012", "Division by zero");
    case -1:
        jumped = -1;
        break;
    default:
        jumped = 99;
        break;
    }
    EXPECT_EQ(jumped, -1);
    EXPECT_EQ(context.result, -1);
    EXPECT_EQ(odbc3_->return_code, -1);
    ASSERT_EQ(odbc3_->record_count, 1);
    EXPECT_EQ(state_of(odbc3_, 1), "22012");
    EXPECT_EQ(message_of(odbc3_, 1), "[Varnel ODBC]Division by zero");
    EXPECT_EQ(string_field(kStmt, odbc3_, 1, kClassOrigin), "ODBC 3.0");
    EXPECT_EQ(string_field(kStmt, odbc3_, 1, kSubclassOrigin), "ODBC3.0");
    EXPECT_EQ(string_field(kStmt, odbc3_, 1, kConnectionName), "Varnel ODBC");
    EXPECT_EQ(integer_field(kStmt, odbc3_, 1, kNative), 0);
    EXPECT_EQ(integer_field(kStmt, odbc3_, 1, kRowNumber), 0);
    EXPECT_EQ(integer_field(kStmt, odbc3_, 1, kColumnNumber), 0);
}

TEST_F(Diagnostics, ErrorExitMapsForOdbc2AndKeepsPercent)
{
    DriverStatement statement{};
    statement.kind = 200;
    statement.errors = odbc2_;
    EvalContext context{};
    context.stmt = &statement;
    if (setjmp(context.exit) == 0)
        kx::error_exit(&context, "ODBC3.0", "HY001", "Memory 100% %s used");
    EXPECT_EQ(context.result, -1);
    EXPECT_EQ(state_of(odbc2_, 1), "S1001");
    EXPECT_EQ(message_of(odbc2_, 1), "[Varnel ODBC]Memory 100% %s used");
}

TEST_F(Diagnostics, ErrorExitWithoutStatementStillJumps)
{
    EvalContext context{};
    volatile int rounds = 0;
    volatile int jumped = 0;
    switch (setjmp(context.exit)) {
    case 0:
        rounds = rounds + 1;
        kx::error_exit(&context, "ODBC3.0", "HY000", "DOMAIN error");
    case -1:
        jumped = -1;
        break;
    default:
        jumped = 99;
        break;
    }
    EXPECT_EQ(jumped, -1);
    EXPECT_EQ(rounds, 1);
    EXPECT_EQ(context.result, -1);
}

TEST_F(Diagnostics, HeaderIntegerFieldsWithoutATargetSucceed)
{
    SetupErrorHeader(odbc3_, 82);
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "01004", "m");
    for (int32_t field : {kReturnCode, kNumber, kRowCount, kDynamicFunctionCode,
                          kCursorRowCount})
        EXPECT_EQ(GetDiagField(kStmt, odbc3_, 1, field, nullptr, 0, nullptr), 0)
            << field;
    EXPECT_EQ(integer_field(kStmt, odbc3_, 0, kNumber), 1);
}

// A driver that raised the count past the records it holds gets no data
// for the records that are not there.
TEST_F(Diagnostics, CountPastTheRecordsGivesNoData)
{
    PostError(odbc3_, 1, 0, nullptr, 0, 0, "ODBC 3.0", "01004", "m");
    odbc3_->record_count = 3;
    EXPECT_EQ(state_of(odbc3_, 1), "01004");
    char state[6] = "?????";
    char text[16] = "";
    EXPECT_EQ(GetDiagRec(odbc3_, 2, state, nullptr, text, sizeof text, nullptr),
              100);
    EXPECT_EQ(GetDiagRec(odbc3_, 3, state, nullptr, text, sizeof text, nullptr),
              100);
    EXPECT_STREQ(state, "?????");
    EXPECT_EQ(GetDiagField(kStmt, odbc3_, 3, kSqlState, text, sizeof text,
                           nullptr),
              100);
    EXPECT_EQ(integer_field(kStmt, odbc3_, 0, kNumber), 3);
    odbc3_->record_count = 1;
}

TEST_F(Diagnostics, PostDalErrorWithoutAMessagePostsTheNameAlone)
{
    DriverStatement statement{};
    statement.kind = 200;
    statement.errors = odbc3_;
    EXPECT_EQ(PostDalError(&statement, "DAL", 7, "HY000", nullptr), 0);
    ASSERT_EQ(odbc3_->record_count, 1);
    EXPECT_EQ(odbc3_->return_code, -1);
    EXPECT_EQ(message_of(odbc3_, 1), "[DAL]");
    EXPECT_EQ(state_of(odbc3_, 1), "HY000");
}

TEST_F(Diagnostics, ErrorExitWithoutAMessagePostsTheNameAlone)
{
    DriverStatement statement{};
    statement.kind = 200;
    statement.errors = odbc3_;
    EvalContext context{};
    context.stmt = &statement;
    if (setjmp(context.exit) == 0)
        kx::error_exit(&context, "ODBC3.0", "22012", nullptr);
    EXPECT_EQ(context.result, -1);
    ASSERT_EQ(odbc3_->record_count, 1);
    EXPECT_EQ(message_of(odbc3_, 1), "[Varnel ODBC]");
    EXPECT_EQ(state_of(odbc3_, 1), "22012");
}

// Without a context there is no exit point: the process aborts. The
// SIGABRT handler leaves through exit(), so that an instrumented build also
// writes the dying child's counts.
[[noreturn]] void exit_on_abort(int)
{
    std::exit(42);
}

TEST_F(Diagnostics, ErrorExitWithoutAContextAborts)
{
    EXPECT_EXIT(kx::error_exit(nullptr, "ODBC3.0", "HY000", "m"),
                ::testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(
        {
            std::signal(SIGABRT, exit_on_abort);
            kx::error_exit(nullptr, "ODBC3.0", "HY000", "m");
        },
        ::testing::ExitedWithCode(42), "");
}

}  // namespace
