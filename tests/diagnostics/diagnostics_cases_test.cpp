/*
 * diagnostics_cases_test.cpp - cases for ODBC diagnostic records, written
 * against the public header alone: the ODBC 3 to ODBC 2 state map, message
 * forms, record retrieval with GetDiagRec and GetDiagField, and posting for
 * the data-access layer.
 */
#include <kxsupp.h>
#include "support/kx_test_support.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

constexpr const auto &kMap = kxtest::kStateMap;

using namespace kxtest::diag;

class Diagnostics : public ::testing::Test {
protected:
    void SetUp() override
    {
        mem = kx_mem_alloc_handle(nullptr);
        env3 = {1, 3};
        env2 = {1, 2};
    }
    void TearDown() override { kx_mem_release_handle(mem); }

    ErrorHeader *header(int32_t version)
    {
        DriverEnvironment env = {1, version};
        ErrorHeader *h = CreateErrorHeader(mem, &env);
        EXPECT_NE(h, nullptr);
        return h;
    }

    /* Posts state with a fixed text and returns the stored SQLSTATE. */
    std::string post_state(ErrorHeader *h, const char *state)
    {
        char *msg = PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", state, "x");
        EXPECT_NE(msg, nullptr);
        return h->last ? std::string(h->last->sqlstate) : std::string();
    }

    std::string field_text(int32_t handle_type, ErrorHeader *h, int32_t rec,
                           int32_t field, int16_t *rc_out = nullptr)
    {
        char buffer[256];
        std::memset(buffer, '#', sizeof buffer);
        int16_t length = -7;
        int16_t rc = GetDiagField(handle_type, h, rec, field, buffer,
                                  sizeof buffer, &length);
        if (rc_out)
            *rc_out = rc;
        EXPECT_TRUE(rc == 0 || rc == 1) << "field " << field << " rc " << rc;
        if (rc != 0 && rc != 1)
            return "<error>";
        EXPECT_EQ(length, static_cast<int16_t>(std::strlen(buffer)));
        return buffer;
    }

    int32_t field_int(int32_t handle_type, ErrorHeader *h, int32_t rec,
                      int32_t field)
    {
        return integer_field(handle_type, h, rec, field);
    }

    MemHandle *mem = nullptr;
    DriverEnvironment env3{};
    DriverEnvironment env2{};
};

TEST_F(Diagnostics, MapTableRowsInOrder)
{
    for (int i = 0; i < 48; ++i) {
        ASSERT_NE(map_table[i].odbc3, nullptr) << i;
        ASSERT_NE(map_table[i].odbc2, nullptr) << i;
        EXPECT_STREQ(map_table[i].odbc3, kMap[i].odbc3) << i;
        EXPECT_STREQ(map_table[i].odbc2, kMap[i].odbc2) << i;
    }
    EXPECT_EQ(map_table[48].odbc3, nullptr);
    EXPECT_EQ(map_table[48].odbc2, nullptr);
}

TEST_F(Diagnostics, NewHeader)
{
    ErrorHeader *h = CreateErrorHeader(mem, &env3);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->kind, 300u);
    EXPECT_EQ(h->function_code, 0);
    EXPECT_EQ(h->return_code, 0);
    EXPECT_EQ(h->record_count, 0);
    EXPECT_EQ(h->odbc_version, 3);
    EXPECT_EQ(h->mem_handle, mem);
    EXPECT_EQ(h->first, nullptr);
    EXPECT_EQ(h->last, nullptr);
    EXPECT_EQ(h->row_count, 0);
    ErrorHeader *h2 = CreateErrorHeader(mem, &env2);
    ASSERT_NE(h2, nullptr);
    EXPECT_EQ(h2->odbc_version, 2);
}

TEST_F(Diagnostics, Odbc2HeaderMapsStates)
{
    const struct {
        const char *given;
        const char *stored;
    } cases[] = {
        {"HY092", "S1009"}, /* the first of the two HY092 rows wins */
        {"HY001", "S1001"},
        {"HY000", "S1000"},
        {"01001", "01S03"},
        {"HY019", "22003"},
        {"07008", "S1000"},
        {"HY024", "S1009"},
        {"HY007", "S1010"},
        {"HY010", "S1010"},
        {"42S23", "S0023"},
        {"HY096", "S1096"},
        {"HY111", "S1111"},
        {"HYC00", "S1C00"},
        {"NYT00", "S1T00"},
        {"42000", "37000"},
        {"HY018", "70100"},
        {"08001", "08001"}, /* not in the table: unchanged */
        {"01004", "01004"},
        {"S1000", "S1000"},
        {"hy000", "hy000"}, /* the comparison is exact */
        {"HY00", "HY00"},
    };
    ErrorHeader *h = header(2);
    for (const auto &c : cases)
        EXPECT_EQ(post_state(h, c.given), c.stored) << c.given;

    /* Any version other than 3 is ODBC 2. */
    ErrorHeader *h0 = header(0);
    EXPECT_EQ(post_state(h0, "HY092"), "S1009");
    ErrorHeader *h380 = header(380);
    EXPECT_EQ(post_state(h380, "HY001"), "S1001");
}

TEST_F(Diagnostics, Odbc2HeaderMapsEveryRowByFirstMatch)
{
    ErrorHeader *h = header(2);
    for (int i = 0; i < 48; ++i) {
        const char *expected = kMap[i].odbc2;
        for (int j = 0; j < i; ++j)
            if (std::strcmp(kMap[j].odbc3, kMap[i].odbc3) == 0) {
                expected = kMap[j].odbc2;
                break;
            }
        EXPECT_EQ(post_state(h, kMap[i].odbc3), expected) << kMap[i].odbc3;
    }
}

TEST_F(Diagnostics, Odbc3HeaderKeepsEveryState)
{
    ErrorHeader *h = header(3);
    for (const auto &row : kMap)
        EXPECT_EQ(post_state(h, row.odbc3), row.odbc3);
    EXPECT_EQ(post_state(h, "08S01"), "08S01");
}

TEST_F(Diagnostics, MessageWithDefaultComponent)
{
    ErrorHeader *h = header(3);
    char *msg = PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000",
                          "General error: %s", "disk full");
    ASSERT_NE(msg, nullptr);
    EXPECT_STREQ(msg, "[Varnel ODBC]General error: disk full");
    ASSERT_NE(h->last, nullptr);
    EXPECT_EQ(msg, h->last->message);
    EXPECT_STREQ(h->last->connection_name, "Varnel ODBC");
}

TEST_F(Diagnostics, MessageForms)
{
    const struct {
        const char *component;
        const char *expected;
    } cases[] = {
        {nullptr, "[Varnel ODBC]Row 12 of t: bad"},
        {"MyDriver", "[MyDriver]Row 12 of t: bad"},
        {"", "[]Row 12 of t: bad"},
        {"Varnel ODBC][Oracle", "[Varnel ODBC][Oracle]Row 12 of t: bad"},
    };
    ErrorHeader *h = header(3);
    for (const auto &c : cases) {
        char *msg = PostError(h, 2, 3, c.component, 42, 7, "ISO 9075", "22018",
                              "Row %d of %s: %s", 12, "t", "bad");
        ASSERT_NE(msg, nullptr);
        EXPECT_STREQ(msg, c.expected);
    }
    EXPECT_EQ(h->record_count, 4);
}

TEST_F(Diagnostics, RecordFieldsAreStoredAsPrivateCopies)
{
    ErrorHeader *h = header(3);
    char component[] = "Comp";
    char subclass[] = "ODBC3.0";
    char state[] = "42S02";
    PostError(h, 1, 5, component, -904, 9, subclass, state, "no table %s", "T1");
    std::memset(component, 'z', 4);
    std::memset(subclass, 'z', 7);
    std::memset(state, 'z', 5);
    DiagRecord *r = h->first;
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r, h->last);
    EXPECT_EQ(r->kind, 301u);
    EXPECT_EQ(r->class_origin_code, 1);
    EXPECT_EQ(r->column, 5);
    EXPECT_EQ(r->native, -904);
    EXPECT_EQ(r->row, 9);
    EXPECT_STREQ(r->connection_name, "Comp");
    EXPECT_STREQ(r->subclass_origin, "ODBC3.0");
    EXPECT_STREQ(r->sqlstate, "42S02");
    EXPECT_STREQ(r->message, "[Comp]no table T1");
    EXPECT_EQ(r->next, nullptr);
}

TEST_F(Diagnostics, RecordsAccumulateOldestFirst)
{
    ErrorHeader *h = header(3);
    PostError(h, 1, 0, nullptr, 1, 0, "ODBC3.0", "01004", "first");
    PostError(h, 1, 0, nullptr, 2, 0, "ODBC3.0", "HY000", "second");
    PostError(h, 1, 0, nullptr, 3, 0, "ODBC3.0", "HY001", "third");
    EXPECT_EQ(h->record_count, 3);
    const char *texts[] = {"[Varnel ODBC]first", "[Varnel ODBC]second",
                           "[Varnel ODBC]third"};
    const char *states[] = {"01004", "HY000", "HY001"};
    for (int i = 0; i < 3; ++i) {
        char state[6];
        int32_t native = 0;
        char message[64];
        int16_t length = 0;
        EXPECT_EQ(GetDiagRec(h, i + 1, state, &native, message, sizeof message,
                             &length),
                  0);
        EXPECT_STREQ(state, states[i]);
        EXPECT_EQ(native, i + 1);
        EXPECT_STREQ(message, texts[i]);
        EXPECT_EQ(length, static_cast<int16_t>(std::strlen(texts[i])));
    }
}

TEST_F(Diagnostics, GetDiagRecOutOfRange)
{
    ErrorHeader *h = header(3);
    char state[6];
    int32_t native;
    char message[32];
    int16_t length;
    EXPECT_EQ(GetDiagRec(h, 1, state, &native, message, sizeof message, &length), 100);
    EXPECT_EQ(GetDiagRec(h, 0, state, &native, message, sizeof message, &length), -1);
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "one");
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "two");
    EXPECT_EQ(GetDiagRec(h, 3, state, &native, message, sizeof message, &length), 100);
    EXPECT_EQ(GetDiagRec(h, 0, state, &native, message, sizeof message, &length), -1);
    EXPECT_EQ(GetDiagRec(h, -1, state, &native, message, sizeof message, &length), -1);
    EXPECT_EQ(GetDiagRec(h, 2, state, nullptr, message, sizeof message, &length), 0);
    EXPECT_STREQ(message, "[Varnel ODBC]two");
}

TEST_F(Diagnostics, GetDiagRecTruncatesTheMessage)
{
    ErrorHeader *h = header(3);
    PostError(h, 1, 0, "Drv", 77, 0, "ODBC3.0", "HY000", "%s", "abcdefghij");
    /* message "[Drv]abcdefghij", 15 characters */
    char state[6];
    int32_t native = 0;
    char message[32];
    std::memset(message, '#', sizeof message);
    int16_t length = 0;
    EXPECT_EQ(GetDiagRec(h, 1, state, &native, message, 8, &length), 1);
    EXPECT_STREQ(message, "[Drv]ab");
    EXPECT_EQ(message[8], '#');
    EXPECT_EQ(length, 15);
    EXPECT_STREQ(state, "HY000");
    EXPECT_EQ(native, 77);
    EXPECT_EQ(GetDiagRec(h, 1, state, &native, message, 15, &length), 1);
    EXPECT_EQ(std::string(message), "[Drv]abcdefghi");
    EXPECT_EQ(GetDiagRec(h, 1, state, &native, message, 16, &length), 0);
    EXPECT_STREQ(message, "[Drv]abcdefghij");
    EXPECT_EQ(length, 15);
}

TEST_F(Diagnostics, GetDiagRecLengthOnly)
{
    ErrorHeader *h = header(3);
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "abc");
    char state[6];
    int16_t length = 0;
    EXPECT_EQ(GetDiagRec(h, 1, state, nullptr, nullptr, 0, &length), 1);
    EXPECT_EQ(length, 16); /* "[Varnel ODBC]abc" */
}

TEST_F(Diagnostics, ReturnCodeAndRowCount)
{
    ErrorHeader *h = header(3);
    EXPECT_EQ(SetReturnCode(h, -1), -1);
    EXPECT_EQ(h->return_code, -1);
    EXPECT_EQ(SetReturnCode(h, 1), 1);
    EXPECT_EQ(h->return_code, 1);
    EXPECT_EQ(SetReturnCode(h, 100), 100);
    EXPECT_EQ(SetReturnCode(h, 65537), 1); /* as a 16-bit SQLRETURN */
    SetErrorCount(h, 17);
    EXPECT_EQ(h->row_count, 17);
}

TEST_F(Diagnostics, SetupClearsThePreviousCall)
{
    ErrorHeader *h = header(3);
    SetReturnCode(h, -1);
    SetErrorCount(h, 4);
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "old");
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY001", "old too");
    SetupErrorHeader(h, 85);
    EXPECT_EQ(h->record_count, 0);
    EXPECT_EQ(h->return_code, 0);
    EXPECT_EQ(h->row_count, 0);
    EXPECT_EQ(h->function_code, 85);
    EXPECT_EQ(h->first, nullptr);
    EXPECT_EQ(h->last, nullptr);
    char state[6];
    char message[32];
    int16_t length;
    EXPECT_EQ(GetDiagRec(h, 1, state, nullptr, message, sizeof message, &length), 100);
    /* and records can be posted again */
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "01000", "new");
    EXPECT_EQ(h->record_count, 1);
    EXPECT_EQ(GetDiagRec(h, 1, state, nullptr, message, sizeof message, &length), 0);
    EXPECT_STREQ(message, "[Varnel ODBC]new");
}

TEST_F(Diagnostics, FreeErrorHeaderReleasesEverything)
{
    MemHandle *own = kx_mem_alloc_handle(nullptr);
    ErrorHeader *h = CreateErrorHeader(own, &env3);
    ASSERT_NE(h, nullptr);
    for (int i = 0; i < 5; ++i)
        PostError(h, 1, 0, nullptr, i, 0, "ODBC3.0", "HY000", "record %d", i);
    FreeErrorHeader(h);
    /* Everything made for the header came back: the handle holds nothing. */
    EXPECT_EQ(own->first_block, nullptr);
    kx_mem_release_handle(own);
}

TEST_F(Diagnostics, SetupFreesTheRecords)
{
    MemHandle *own = kx_mem_alloc_handle(nullptr);
    ErrorHeader *h = CreateErrorHeader(own, &env3);
    ASSERT_NE(h, nullptr);
    auto *before = own->first_block;
    PostError(h, 1, 0, "C", 0, 0, "ODBC3.0", "HY000", "text");
    SetupErrorHeader(h, 0);
    EXPECT_EQ(own->first_block, before);
    kx_mem_release_handle(own);
}

TEST_F(Diagnostics, HeaderFields)
{
    ErrorHeader *h = header(3);
    SetupErrorHeader(h, 82);
    SetReturnCode(h, 1);
    SetErrorCount(h, 33);
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "01004", "one");
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "01004", "two");

    EXPECT_EQ(field_int(kStmt, h, 0, kReturnCode), 1);
    EXPECT_EQ(field_int(kDbc, h, 0, kReturnCode), 1);
    EXPECT_EQ(field_int(kEnv, h, 0, kNumber), 2);
    EXPECT_EQ(field_int(kStmt, h, 0, kNumber), 2);
    EXPECT_EQ(field_int(kStmt, h, 0, kRowCount), 33);
    EXPECT_EQ(field_int(kStmt, h, 0, kDynamicFunctionCode), 82);
    EXPECT_EQ(field_int(kStmt, h, 0, kCursorRowCount), 0);
    EXPECT_EQ(field_text(kStmt, h, 0, kDynamicFunction), "UPDATE WHERE");
    /* the record number is ignored for header fields when in range */
    EXPECT_EQ(field_int(kStmt, h, 2, kNumber), 2);
    EXPECT_EQ(field_int(kStmt, h, 1, kRowCount), 33);
}

TEST_F(Diagnostics, StatementOnlyHeaderFields)
{
    ErrorHeader *h = header(3);
    SetupErrorHeader(h, 82);
    int32_t word = 0;
    char text[64];
    int16_t length = 0;
    for (int32_t type : {kEnv, kDbc, kDesc}) {
        EXPECT_EQ(GetDiagField(type, h, 0, kRowCount, &word, 0, nullptr), -1);
        EXPECT_EQ(GetDiagField(type, h, 0, kDynamicFunctionCode, &word, 0, nullptr), -1);
        EXPECT_EQ(GetDiagField(type, h, 0, kCursorRowCount, &word, 0, nullptr), -1);
        EXPECT_EQ(GetDiagField(type, h, 0, kDynamicFunction, text, sizeof text,
                               &length),
                  -1);
    }
}

TEST_F(Diagnostics, DynamicFunctionNames)
{
    const struct {
        int32_t code;
        const char *name;
    } cases[] = {
        {-2, "DROP_INDEX"}, {-1, "CREATE INDEX"}, {4, "ALTER TABLE"},
        {19, "DELETE WHERE"}, {32, "DROP TABLE"}, {36, "DROP VIEW"},
        {38, "DYNAMIC DELETE CURSOR"}, {48, "GRANT"}, {50, "INSERT"},
        {59, "REVOKE"}, {77, "CREATE TABLE"}, {81, "DYNAMIC UPDATE CURSOR"},
        {82, "UPDATE WHERE"}, {84, "CREATE VIEW"}, {85, "SELECT CURSOR"},
        {0, ""}, {99, ""},
    };
    ErrorHeader *h = header(3);
    for (const auto &c : cases) {
        SetupErrorHeader(h, c.code);
        EXPECT_EQ(field_text(kStmt, h, 0, kDynamicFunction), c.name) << c.code;
        EXPECT_EQ(field_int(kStmt, h, 0, kDynamicFunctionCode), c.code);
    }
}

TEST_F(Diagnostics, HeaderFieldsOnAnEmptyHeader)
{
    ErrorHeader *h = header(3);
    EXPECT_EQ(field_int(kStmt, h, 0, kNumber), 0);
    EXPECT_EQ(field_int(kDbc, h, 0, kReturnCode), 0);
    int32_t word = 0;
    /* a record number above the count gives 100 whatever the field */
    EXPECT_EQ(GetDiagField(kStmt, h, 1, kNumber, &word, 0, nullptr), 100);
    EXPECT_EQ(GetDiagField(kStmt, h, 1, kSqlState, &word, 0, nullptr), 100);
    /* a negative record number gives -1 */
    EXPECT_EQ(GetDiagField(kStmt, h, -1, kNumber, &word, 0, nullptr), -1);
}

TEST_F(Diagnostics, RecordFields)
{
    ErrorHeader *h = header(3);
    PostError(h, 1, 4, "Comp", 1205, 6, "ODBC3.0", "HY010", "sequence");
    PostError(h, 2, 0, nullptr, -3, 0, "ISO 9075", "42000", "syntax %c", '!');
    PostError(h, 0, 0, nullptr, 0, 0, "", "HY000", "other");

    EXPECT_EQ(field_text(kStmt, h, 1, kSqlState), "HY010");
    EXPECT_EQ(field_text(kStmt, h, 1, kMessageText), "[Comp]sequence");
    EXPECT_EQ(field_text(kStmt, h, 1, kSubclassOrigin), "ODBC3.0");
    EXPECT_EQ(field_text(kStmt, h, 1, kConnectionName), "Comp");
    EXPECT_EQ(field_text(kStmt, h, 1, kClassOrigin), "ODBC 3.0");
    EXPECT_EQ(field_text(kStmt, h, 1, kServerName), "Varnel ODBC 3.0");
    EXPECT_EQ(field_int(kStmt, h, 1, kNative), 1205);
    EXPECT_EQ(field_int(kStmt, h, 1, kRowNumber), 6);
    EXPECT_EQ(field_int(kStmt, h, 1, kColumnNumber), 4);

    EXPECT_EQ(field_text(kDbc, h, 2, kSqlState), "42000");
    EXPECT_EQ(field_text(kDbc, h, 2, kMessageText), "[Varnel ODBC]syntax !");
    EXPECT_EQ(field_text(kDbc, h, 2, kSubclassOrigin), "ISO 9075");
    EXPECT_EQ(field_text(kDbc, h, 2, kConnectionName), "Varnel ODBC");
    EXPECT_EQ(field_text(kDbc, h, 2, kClassOrigin), "ISO 9075");
    EXPECT_EQ(field_text(kEnv, h, 2, kServerName), "Varnel ODBC 3.0");
    EXPECT_EQ(field_int(kDbc, h, 2, kNative), -3);
    EXPECT_EQ(field_int(kDbc, h, 2, kRowNumber), 0);
    EXPECT_EQ(field_int(kDbc, h, 2, kColumnNumber), 0);

    EXPECT_EQ(field_text(kStmt, h, 3, kClassOrigin), "ISO 9075");
    EXPECT_EQ(field_text(kStmt, h, 3, kSubclassOrigin), "");
}

TEST_F(Diagnostics, RecordFieldsNeedARecordNumber)
{
    ErrorHeader *h = header(3);
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "x");
    char text[64];
    int16_t length;
    int32_t word;
    for (int32_t field : {kSqlState, kMessageText, kSubclassOrigin,
                          kConnectionName, kClassOrigin, kServerName}) {
        EXPECT_EQ(GetDiagField(kStmt, h, 0, field, text, sizeof text, &length), -1)
            << field;
    }
    for (int32_t field : {kNative, kRowNumber, kColumnNumber})
        EXPECT_EQ(GetDiagField(kStmt, h, 0, field, &word, 0, nullptr), -1) << field;
    EXPECT_EQ(GetDiagField(kStmt, h, 2, kSqlState, text, sizeof text, &length), 100);
}

TEST_F(Diagnostics, UnknownFieldIdentifiers)
{
    ErrorHeader *h = header(3);
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "x");
    char text[64];
    int16_t length;
    for (int32_t field : {0, 13, 14, 100, -1, -1246, -1250, 1000})
        for (int32_t rec : {0, 1})
            EXPECT_EQ(GetDiagField(kStmt, h, rec, field, text, sizeof text, &length),
                      -1)
                << field << " record " << rec;
}

TEST_F(Diagnostics, StringFieldTruncation)
{
    ErrorHeader *h = header(3);
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "0123456789");
    /* "[Varnel ODBC]0123456789" is 23 characters */
    char text[64];
    std::memset(text, '#', sizeof text);
    int16_t length = 0;
    EXPECT_EQ(GetDiagField(kStmt, h, 1, kMessageText, text, 10, &length), 1);
    EXPECT_STREQ(text, "[Varnel O");
    EXPECT_EQ(text[10], '#');
    EXPECT_EQ(length, 23);
    EXPECT_EQ(GetDiagField(kStmt, h, 1, kServerName, text, 6, &length), 1);
    EXPECT_STREQ(text, "Varne");
    EXPECT_EQ(length, 15);
    EXPECT_EQ(GetDiagField(kStmt, h, 1, kClassOrigin, text, 9, &length), 0);
    EXPECT_STREQ(text, "ODBC 3.0");
    EXPECT_EQ(length, 8);
    EXPECT_EQ(GetDiagField(kStmt, h, 1, kClassOrigin, text, 8, &length), 1);
    EXPECT_STREQ(text, "ODBC 3.");
    SetupErrorHeader(h, 38);
    PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "x");
    EXPECT_EQ(GetDiagField(kStmt, h, 0, kDynamicFunction, text, 8, &length), 1);
    EXPECT_STREQ(text, "DYNAMIC");
    EXPECT_EQ(length, 21);
}

TEST_F(Diagnostics, LongMessagesAreBounded)
{
    ErrorHeader *h = header(3);
    std::string big(3000, 'm');
    char *msg = PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "%s",
                          big.c_str());
    ASSERT_NE(msg, nullptr);
    size_t n = std::strlen(msg);
    EXPECT_LE(n, 1023u);
    EXPECT_GE(n, 1000u);
    EXPECT_EQ(std::string(msg).substr(0, 16), "[Varnel ODBC]mmm");

    std::string component(2000, 'c');
    msg = PostError(h, 1, 0, component.c_str(), 0, 0, "ODBC3.0", "HY000",
                    "tail %d", 5);
    ASSERT_NE(msg, nullptr);
    EXPECT_LE(std::strlen(msg), 1023u);
    EXPECT_EQ(msg[0], '[');

    std::string format(1500, 'f');
    msg = PostError(h, 1, 0, nullptr, 0, 0, "ODBC3.0", "HY000", "%s", format.c_str());
    ASSERT_NE(msg, nullptr);
    EXPECT_LE(std::strlen(msg), 1023u);
    EXPECT_EQ(h->record_count, 3);
}

TEST_F(Diagnostics, PostDalErrorOnStatements)
{
    for (uint32_t kind : {200u, 202u}) {
        ErrorHeader *h = header(3);
        DriverStatement stmt{};
        stmt.kind = kind;
        stmt.errors = h;
        EXPECT_EQ(PostDalError(&stmt, "DAL", 1017, "28000", "login failed"), 0);
        EXPECT_EQ(h->return_code, -1);
        ASSERT_EQ(h->record_count, 1);
        DiagRecord *r = h->first;
        EXPECT_EQ(r->class_origin_code, 2);
        EXPECT_EQ(r->column, 0);
        EXPECT_EQ(r->row, 0);
        EXPECT_EQ(r->native, 1017);
        EXPECT_STREQ(r->subclass_origin, "ISO 9075");
        EXPECT_STREQ(r->sqlstate, "28000");
        EXPECT_STREQ(r->message, "[DAL]login failed");
        EXPECT_EQ(field_text(kStmt, h, 1, kClassOrigin), "ISO 9075");
    }
}

TEST_F(Diagnostics, PostDalErrorOnAConnection)
{
    ErrorHeader *h = header(2);
    DriverConnection dbc{};
    dbc.kind = 201;
    dbc.errors = h;
    EXPECT_EQ(PostDalError(&dbc, nullptr, 0, "HY001", "no memory"), 0);
    EXPECT_EQ(h->return_code, -1);
    ASSERT_EQ(h->record_count, 1);
    EXPECT_STREQ(h->first->sqlstate, "S1001"); /* ODBC 2 application */
    EXPECT_STREQ(h->first->message, "[Varnel ODBC]no memory");
}

TEST_F(Diagnostics, PostDalErrorOnOtherKindsPostsNothing)
{
    ErrorHeader *h = header(3);
    DriverStatement other{};
    other.kind = 300;
    other.errors = h;
    EXPECT_EQ(PostDalError(&other, "DAL", 1, "HY000", "ignored"), 0);
    EXPECT_EQ(h->record_count, 0);
    EXPECT_EQ(h->return_code, 0);
    DriverEnvironment env{1, 3};
    EXPECT_EQ(PostDalError(&env, "DAL", 1, "HY000", "ignored"), 0);
}

} // namespace
