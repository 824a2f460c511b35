// SQLNativeSql means what the application wrote: every statement of the
// driver's isql sessions, and the literals and forms listed here, run once
// as written and once as SQLNativeSql prints them; the two give the same
// rows, value for value, or fail with the same SQLSTATE. A statement that
// reads the clock is compared by its shape only (the two runs are two
// instants).
#include <sql.h>
#include <sqlext.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "driver/driver_harness.h"

namespace {

using kxtest::Session;

std::string native_sql(Session &s, const std::string &text, std::string &state)
{
    std::vector<char> out(text.size() * 8 + 4096);
    SQLINTEGER written = 0;
    SQLRETURN rc = SQLNativeSql(s.dbc, reinterpret_cast<SQLCHAR *>(const_cast<char *>(text.data())),
                                static_cast<SQLINTEGER>(text.size()),
                                reinterpret_cast<SQLCHAR *>(out.data()),
                                static_cast<SQLINTEGER>(out.size()), &written);
    if (!SQL_SUCCEEDED(rc)) {
        state = kxtest::diagnostic_of(SQL_HANDLE_DBC, s.dbc).state;
        return {};
    }
    state.clear();
    return std::string(out.data(), static_cast<size_t>(written));
}

// What a statement gives: its rows as text, or "error <state>".
struct Outcome {
    std::vector<std::vector<std::string>> rows;
    std::string error;
    size_t columns = 0;
};

Outcome run(Session &s, const std::string &text)
{
    Outcome o;
    if (!SQL_SUCCEEDED(s.exec(text))) {
        o.error = s.state();
        return o;
    }
    SQLSMALLINT columns = 0;
    SQLNumResultCols(s.stmt, &columns);
    o.columns = static_cast<size_t>(columns);
    s.error_state.clear();
    o.rows = s.rows();
    o.error = s.error_state;
    return o;
}

bool reads_the_clock(const std::string &text)
{
    for (const char *word : {"NOW", "CURTIME", "CURRENT_TIME", "CURRENT TIME", "CURDATE", "CURRENT_DATE",
                             "RAND()"})
        if (text.find(word) != std::string::npos)
            return true;
    return false;
}

// The statements of tests/driver/isql/*.sql (comment lines dropped).
std::vector<std::string> isql_statements()
{
    std::filesystem::path dir = std::filesystem::path(__FILE__).parent_path() / "isql";
    std::vector<std::string> out;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        if (entry.path().extension() != ".sql")
            continue;
        std::ifstream in(entry.path());
        std::string line;
        while (std::getline(in, line))
            if (!line.empty() && line.rfind("--", 0) != 0)
                out.push_back(line);
    }
    return out;
}

// Literals and forms whose printed text must re-read as the same value.
const char *const kForms[] = {
    "SELECT 1.5E-7, 1E300, -2.5E-300, 0.1E0, 123456789.123456789E0",
    "SELECT {ts '2004-06-16 13:14:15.123456789'}, {t '23:59:59'}, {d '0001-01-01'}",
    "SELECT TIMESTAMP '2004-02-29 00:00:00.5', TIME '00:00:00', DATE '9999-12-31'",
    "SELECT X'00FF0A', X'', B'1'",
    "SELECT 'it''s', '', '  padded  ', 'é€😀'",
    "SELECT 99999999999999999999999999999999999999, -0.000000000000000000000000000000000001",
    "SELECT 12.50, 007.10, 0.0",
    "SELECT CAST(9223372036854775807 AS BIGINT), CAST(-9223372036854775807 AS BIGINT) - 1",
    "SELECT INTERVAL '3' YEAR, INTERVAL -'1-6' YEAR TO MONTH, INTERVAL '3 04:05:06.5' DAY TO SECOND",
    "SELECT INTERVAL '90' MINUTE, INTERVAL '-1' DAY, INTERVAL '1:02' HOUR TO MINUTE",
    "SELECT {fn CONCAT('a', 'b')}, {fn SUBSTRING('abcdef', 2, 3)}, POSITION('b' IN 'abc')",
    "SELECT EXTRACT(YEAR FROM {d '2004-06-16'}), CAST('12.5' AS NUMERIC(10,2)), CAST(1 AS VARCHAR(3))",
    "SELECT \"n\" FROM (VALUES (1), (2)) AS t(\"n\") ORDER BY \"n\" DESC",
    "SELECT n, d FROM SERIES(1, 3, {d '2004-02-28'}) AS s(n, d) WHERE n <> 2",
    "SELECT a || b FROM (VALUES ('x', 'y')) AS t(a, b)",
    "SELECT CASE WHEN 1 < 2 THEN 'y' ELSE 'n' END, NULLIF(1, 1), COALESCE(NULL, 2)",
    "SELECT 1 WHERE 'abc' LIKE 'a%' AND NOT (1 IN (2, 3)) AND 2 BETWEEN 1 AND 3",
    "SELECT -(-5), - 3 - -4, 2 * (3 + 4) / 7",
    "SELECT {fn TIMESTAMPADD(SQL_TSI_MONTH, 1, {ts '2004-01-31 10:00:00'})}",
    "SELECT {fn TIMESTAMPDIFF(SQL_TSI_SECOND, {ts '2004-06-16 13:14:05'}, {ts '2004-06-16 13:14:15'})}",
};

void expect_same_meaning(Session &s, const std::string &text)
{
    std::string state;
    std::string printed = native_sql(s, text, state);
    Outcome written = run(s, text);
    if (!state.empty()) {
        // a statement SQLNativeSql refuses is one the driver refuses too
        EXPECT_FALSE(written.error.empty()) << text << " prints as nothing (" << state << ")";
        return;
    }
    Outcome reread = run(s, printed);
    if (!written.error.empty() && written.rows.empty()) {
        EXPECT_EQ(reread.error, written.error) << text << "\n printed: " << printed;
        return;
    }
    ASSERT_TRUE(reread.error.empty()) << text << "\n printed: " << printed << "\n fails with "
                                      << reread.error;
    EXPECT_EQ(reread.columns, written.columns) << text << "\n printed: " << printed;
    if (reads_the_clock(text))
        EXPECT_EQ(reread.rows.size(), written.rows.size()) << text << "\n printed: " << printed;
    else
        EXPECT_EQ(reread.rows, written.rows) << text << "\n printed: " << printed;
}

TEST(NativeSql, EveryIsqlStatementMeansWhatItSaid)
{
    Session s;
    ASSERT_TRUE(s.connected);
    std::vector<std::string> statements = isql_statements();
    ASSERT_GT(statements.size(), 40u);
    for (const std::string &text : statements)
        expect_same_meaning(s, text);
}

TEST(NativeSql, LiteralsAndFormsReadBackAsTheSameValues)
{
    Session s;
    ASSERT_TRUE(s.connected);
    for (const char *text : kForms)
        expect_same_meaning(s, text);
}

TEST(NativeSql, TheClockKeywordsPrintAsSqlKeywords)
{
    Session s;
    ASSERT_TRUE(s.connected);
    std::string state;
    std::string printed = native_sql(s, "SELECT CURRENT_DATE, CURRENT_TIME, CURRENT_TIMESTAMP", state);
    ASSERT_TRUE(state.empty());
    EXPECT_NE(printed.find("CURRENT_DATE"), std::string::npos) << printed;
    EXPECT_NE(printed.find("CURRENT_TIMESTAMP"), std::string::npos) << printed;
    EXPECT_EQ(printed.find("CURRENT DATE"), std::string::npos) << printed;
}

}  // namespace
