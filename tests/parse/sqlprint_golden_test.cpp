// Golden-file tests of the SQL text printer: trees for a few dozen
// statements (and a few expressions), each printed and compared byte for
// byte with tests/parse/golden/<name>.sql (the file holds the text and one
// newline, which is not part of it). Every printable node kind appears in at
// least one tree. The statements meant to be valid SQL inside SQLite's
// grammar are then prepared by SQLite on a schema made here; the others
// carry the reason they are outside it, and SQLite must refuse them. The
// trees, the table of cases and the SQLite harness are in
// sqlprint_golden_cases.h.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "parse/sqlprint_golden_cases.h"

namespace {

using namespace sqlgolden;

std::string golden_path(const char *name)
{
    const char *dir = std::getenv("KX_TEST_SOURCE_DIR");
    return std::string(dir != nullptr ? dir : "tests") + "/parse/golden/" + name + ".sql";
}

// The file's text without its one final newline.
bool read_golden(const char *name, std::string *text)
{
    std::ifstream in(golden_path(name), std::ios::binary);
    if (!in)
        return false;
    std::ostringstream content;
    content << in.rdbuf();
    *text = content.str();
    if (text->empty() || text->back() != '\n')
        return false;
    text->pop_back();
    return true;
}

class Golden : public ::testing::TestWithParam<GoldenCase> {};

TEST_P(Golden, PrintsTheExpectedTextByteForByte)
{
    const GoldenCase &c = GetParam();
    std::string expected;
    ASSERT_TRUE(read_golden(c.name, &expected))
        << golden_path(c.name) << " is missing or does not end with one newline";
    Builder b;
    EXPECT_EQ(print_case(c, b), expected) << c.name;
}

INSTANTIATE_TEST_SUITE_P(Statements, Golden, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<GoldenCase> &info) {
                             return std::string(info.param.name);
                         });

TEST(GoldenCoverage, EveryPrintableNodeKindAppearsInAGoldenTree)
{
    Builder b;
    for (const GoldenCase &c : kCases)
        c.build(b);
    for (uint32_t kind = KX_NODE_ALTER_TABLE_ADD; kind <= KX_NODE_ROLLBACK; ++kind) {
        if (kind == 131 || kind == 149 || kind == 156)
            continue;
        EXPECT_TRUE(b.kinds().count(kind)) << "no golden tree holds node kind " << kind;
    }
}

TEST(GoldenSqlite, StatementsMeantToBeValidArePreparedBySqlite)
{
    int checked = 0;
    for (const GoldenCase &c : kCases) {
        if (c.outside_sqlite != nullptr)
            continue;
        ASSERT_EQ(c.form, Form::kStatements) << c.name;
        Builder b;
        SqliteDatabase db;
        EXPECT_EQ(db.first_refusal(print_case(c, b)), "") << c.name;
        ++checked;
    }
    EXPECT_GE(checked, 25);
}

TEST(GoldenSqlite, StatementsListedAsOutsideSqliteAreRefused)
{
    for (const GoldenCase &c : kCases) {
        if (c.outside_sqlite == nullptr || c.form != Form::kStatements)
            continue;
        Builder b;
        SqliteDatabase db;
        EXPECT_NE(db.first_refusal(print_case(c, b)), "")
            << c.name << " is listed as outside SQLite's grammar (" << c.outside_sqlite
            << ") but SQLite accepts it";
    }
}

}  // namespace
