// Hostile statements and buffers against the driver, its entry points
// called directly: each case once crashed the process, hung, took memory
// without bound or gave a wrong value, and must now give the right answer
// or a clear error (and leave the connection usable).
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <cstdio>
#include <string>
#include <vector>

#include "driver/driver_harness.h"
#include "driver/query.h"
#include "driver/small_stack.h"

namespace {

using kxtest::Session;

std::string repeated(const std::string &piece, size_t times)
{
    std::string out;
    out.reserve(piece.size() * times);
    for (size_t i = 0; i < times; ++i)
        out += piece;
    return out;
}

// piece_open^depth core piece_close^depth
std::string nested(const std::string &open, const std::string &core, const std::string &close,
                   size_t depth)
{
    return repeated(open, depth) + core + repeated(close, depth);
}

// ---- the row source's own expressions ----

TEST(DriverSafety, ValuesRowCannotReferToItsOwnColumns)
{
    Session s;
    EXPECT_EQ(s.scalar("SELECT a FROM (VALUES (a)) AS t(a)"), "error 42S22");
    // more than ten values a row once read the previous row's freed values
    EXPECT_EQ(s.scalar("SELECT k FROM (VALUES (1,2,3,4,5,6,7,8,9,10,11,12), "
                       "(1,2,3,4,5,6,7,8,9,10,11,k)) AS t(a,b,c,d,e,f,g,h,i,j,k,l)"),
              "error 42S22");
    EXPECT_EQ(s.scalar("SELECT n FROM SERIES(1, n) AS s(n)"), "error 42S22");
    EXPECT_EQ(s.scalar("SELECT b FROM (VALUES (1, 2)) AS t(a, b)"), "2");
}

// ---- SERIES at the edges of 64 bits ----

TEST(DriverSafety, SeriesBoundsBeyondSixtyFourBitsAreRefused)
{
    Session s;
    EXPECT_EQ(s.scalar("SELECT n FROM SERIES(0, 9223372036854775817) AS s(n)"), "error 22003");
    EXPECT_EQ(s.scalar("SELECT n FROM SERIES(-9223372036854775809, 0) AS s(n)"), "error 22003");
    // every 64-bit number but one: more rows than a 64-bit count holds
    EXPECT_EQ(s.scalar("SELECT n FROM SERIES(-9223372036854775807, 9223372036854775807) AS s(n)"),
              "error 22003");
}

TEST(DriverSafety, SeriesAtTheTopOfTheRangeCountsRight)
{
    Session s;
    ASSERT_TRUE(SQL_SUCCEEDED(
        s.exec("SELECT n FROM SERIES(9223372036854775805, 9223372036854775807) AS s(n)")));
    auto rows = s.rows();
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0][0], "9223372036854775805");
    EXPECT_EQ(rows[2][0], "9223372036854775807");
}

TEST(DriverSafety, SeriesDatesStayInTheCalendar)
{
    Session s;
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec(
        "SELECT d FROM SERIES(1, 2, {d '9999-12-31'}) AS s(n, d)")));
    EXPECT_TRUE(s.rows().empty());
    EXPECT_EQ(s.error_state, "22008");
    s.error_state.clear();
    EXPECT_EQ(s.scalar("SELECT d FROM SERIES(0, 5000000000, {d '2000-01-01'}) AS s(n, d) "
                       "WHERE n = 4000000000"),
              "error 22008");
}

// ---- intervals ----

TEST(DriverSafety, IntervalCastsOutsideTheIntervalRangeAreOverflows)
{
    Session s;
    EXPECT_EQ(s.scalar("SELECT CAST(24856 AS INTERVAL DAY)"), "error 22015");
    EXPECT_EQ(s.scalar("SELECT CAST(1000000000 AS INTERVAL DAY(9))"), "error 22015");
    // lengths are 64-bit: 24856 days is more seconds than 32 bits hold
    EXPECT_EQ(s.scalar("SELECT CAST(24856 AS INTERVAL DAY(9))"), "24856");
    EXPECT_EQ(s.scalar("SELECT CAST(-2147483647 AS INTERVAL YEAR(9))"), "error 22015");
    // the leading field within its precision
    EXPECT_EQ(s.scalar("SELECT CAST(100 AS INTERVAL DAY)"), "error 22015");
    EXPECT_NE(s.scalar("SELECT CAST(99 AS INTERVAL DAY)").rfind("error", 0), 0u);
    EXPECT_NE(s.scalar("SELECT CAST(24855 AS INTERVAL DAY(5))").rfind("error", 0), 0u);
}

// ---- described widths ----

TEST(DriverSafety, ConcatenatedLongTypesAreDescribedAsLong)
{
    Session s;
    for (const char *sql : {"SELECT CAST('a' AS LONGVARCHAR) || CAST('b' AS LONGVARCHAR)",
                            "SELECT {fn CONCAT(CAST('a' AS LONGVARCHAR), CAST('b' AS LONGVARCHAR))}"}) {
        ASSERT_TRUE(SQL_SUCCEEDED(s.prepare(sql))) << sql;
        SQLSMALLINT type = 0;
        SQLULEN size = 0;
        ASSERT_EQ(SQLDescribeCol(s.stmt, 1, nullptr, 0, nullptr, &type, &size, nullptr, nullptr),
                  SQL_SUCCESS);
        EXPECT_EQ(type, SQL_LONGVARCHAR) << sql;
        EXPECT_EQ(size, 2147483647u) << sql;
        EXPECT_EQ(s.scalar(sql), "ab") << sql;
    }
}

// ---- lengths, precisions and scales as written ----

TEST(DriverSafety, LengthsPrecisionsAndScalesAreRangeChecked)
{
    Session s;
    for (const char *sql : {"SELECT CAST('abc' AS CHAR(2147483648))",
                            "SELECT CAST('abc' AS CHAR(4294967295))",
                            "SELECT CAST('abc' AS VARCHAR(99999999999999999999))",
                            "SELECT CAST('abc' AS CHAR(0))",
                            "SELECT CAST(1 AS NUMERIC(10,4294967295))",
                            "SELECT CAST(1 AS NUMERIC(10,11))",
                            "SELECT CAST(1 AS NUMERIC(39))",
                            "SELECT CAST(1 AS NUMERIC(0))",
                            "SELECT CAST(1 AS FLOAT(54))",
                            "SELECT CAST(1.5 AS CHAR(1.5))",
                            "SELECT CAST(1 AS INTERVAL DAY(10))",
                            "SELECT CAST(1 AS INTERVAL SECOND(2,10))",
                            "SELECT CAST(1 AS INTERVAL DAY TO SECOND(4294967296))",
                            "SELECT INTERVAL '1' DAY(0)"})
        EXPECT_EQ(s.scalar(sql), "error 42000") << sql;
    EXPECT_EQ(s.scalar("SELECT CAST('abc' AS CHAR(5)) || '|'"), "abc  |");
    EXPECT_EQ(s.scalar("SELECT CAST(1.25 AS NUMERIC(38,2))"), "1.25");
}

// ---- value sizes ----

TEST(DriverSafety, NoValueLargerThanTheLimitIsMade)
{
    Session s;
    for (const char *sql : {"SELECT CAST('a' AS CHAR(2000000000))",
                            "SELECT {fn REPEAT('ab', 2000000000)}",
                            "SELECT {fn SPACE(2000000000)}"}) {
        EXPECT_EQ(s.scalar(sql), "error HY001") << sql;
        EXPECT_NE(s.diagnostic().message.find("MaxValueSize"), std::string::npos) << sql;
    }
    Session limited("DATABASE=demo;MaxValueSize=1000");
    EXPECT_EQ(limited.scalar("SELECT {fn LENGTH({fn SPACE(1000)} || 'x')}"), "error HY001");
    EXPECT_EQ(limited.scalar("SELECT {fn LENGTH('x' || {fn SPACE(600)} || {fn SPACE(600)})}"),
              "error HY001");
    EXPECT_EQ(limited.scalar("SELECT CAST('a' AS CHAR(1001))"), "error HY001");
    EXPECT_EQ(limited.scalar("SELECT CAST('a' AS CHAR(1000))"), "a" + std::string(999, ' '));
    EXPECT_EQ(limited.scalar("SELECT {fn LENGTH({fn REPEAT('ab', 500)})}"), "1000");
    EXPECT_EQ(limited.scalar("SELECT {fn REPLACE({fn REPEAT('a', 100)}, 'a', 'bbbbbbbbbbb')}"),
              "error HY001");
    EXPECT_EQ(limited.scalar("SELECT {fn LENGTH({fn REPLACE({fn REPEAT('ab', 100)}, 'b', 'xyz')})}"),
              "400");
    EXPECT_EQ(limited.scalar("SELECT {fn INSERT({fn SPACE(600)}, 1, 1, {fn SPACE(600)})}"),
              "error HY001");
}

TEST(DriverSafety, SortsHoldNoMoreThanTheLimit)
{
    Session s("DATABASE=demo;MaxSortMemory=1000000");
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT n FROM SERIES(1, 100000) AS s(n) ORDER BY n DESC")) ||
                s.state() == "HY001");
    EXPECT_EQ(s.state(), "HY001");
    EXPECT_NE(s.diagnostic().message.find("MaxSortMemory"), std::string::npos);
    // a sort within the limit
    EXPECT_EQ(s.scalar("SELECT n FROM SERIES(1, 1000) AS s(n) ORDER BY n DESC"), "1000");
}

// ---- time-outs ----

TEST(DriverSafety, TheQueryTimeOutStopsASortAndAFilter)
{
    Session s;
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_QUERY_TIMEOUT, reinterpret_cast<SQLPOINTER>(1), 0),
              SQL_SUCCESS);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(s.exec("SELECT n FROM SERIES(1, 9000000000) AS s(n) WHERE n < 0"), SQL_ERROR);
    EXPECT_EQ(s.state(), "HYT00");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

// The parse honours the time-out too: given a statement whose deadline has
// passed, a parse of more than a few hundred expressions stops with HYT00
// (posted once, by the time-out check), and a short one still goes through.
TEST(DriverSafety, TheQueryTimeOutCoversParsing)
{
    Session s;
    auto *stmt = static_cast<kxdrv::Statement *>(s.stmt);
    MemHandle *mem = kx_mem_alloc_handle(stmt->mem);
    stmt->deadline = 1;  // long past
    stmt->state = kxdrv::kStateExecuting;
    SetupErrorHeader(stmt->errors, 0);
    std::string many = "SELECT 0" + repeated(" + 1", 5000);
    EXPECT_EQ(kxdrv::parse_query(many, mem, stmt->errors, stmt), nullptr);
    EXPECT_EQ(s.state(), "HYT00");
    EXPECT_EQ(stmt->errors->record_count, 1);
    std::unique_ptr<kxdrv::Query> few(kxdrv::parse_query("SELECT 1 + 1", mem, stmt->errors, stmt));
    EXPECT_NE(few, nullptr);
    stmt->deadline = 0;
    stmt->state = kxdrv::kStateIdle;
    kx_mem_release_handle(mem);
}

// ---- the parser ----

TEST(DriverSafety, SubstringIsParsedOnce)
{
    Session s;
    // the first operand was parsed twice: a minus joined its number twice
    EXPECT_EQ(s.scalar("SELECT SUBSTRING((-5) || 'abc', 1, 3)"), "-5a");
    EXPECT_EQ(s.scalar("SELECT SUBSTRING('abcdef' FROM 2 FOR 3)"), "bcd");
    EXPECT_EQ(s.scalar("SELECT {fn SUBSTRING('abcdef', 2, 3)}"), "bcd");
    EXPECT_EQ(s.scalar("SELECT SUBSTRING('abc', 1)"), "error 42000");
}

TEST(DriverSafety, SubstringParametersAreNumberedOnce)
{
    Session s;
    ASSERT_TRUE(SQL_SUCCEEDED(s.prepare("SELECT SUBSTRING((?) || 'abc', 1, 9), ?")));
    SQLSMALLINT count = 0;
    ASSERT_EQ(SQLNumParams(s.stmt, &count), SQL_SUCCESS);
    EXPECT_EQ(count, 2);
    char first[] = "x", second[] = "y";
    SQLLEN nts = SQL_NTS;
    SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 10, 0, first, 0, &nts);
    SQLBindParameter(s.stmt, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 10, 0, second, 0, &nts);
    ASSERT_TRUE(SQL_SUCCEEDED(SQLExecute(s.stmt)));
    auto rows = s.rows();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0], (std::vector<std::string>{"xabc", "y"}));
}

TEST(DriverSafety, NestedSubstringsParseInLinearTime)
{
    Session s;
    // the deepest nesting the driver takes (two levels each: the operand
    // and its parentheses), and far more
    std::string deep = "SELECT " + nested("SUBSTRING((", "'abc'", "),1,2)", (kxdrv::kMaxNesting - 1) / 2);
    std::string too_deep = "SELECT " + nested("SUBSTRING((", "'abc'", "),1,2)", 1000);
    std::string wide = "SELECT " + repeated("SUBSTRING(('abc'),1,1) || ", 1000) + "''";
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(s.scalar(deep), "ab");
    EXPECT_EQ(s.scalar(too_deep), "error 54001");
    EXPECT_EQ(s.scalar(wide), repeated("a", 1000));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(DriverSafety, NegativeNumbersAreNotRewritten)
{
    Session s;
    EXPECT_EQ(s.scalar("SELECT - - 5"), "5");
    EXPECT_EQ(s.scalar("SELECT -(-5)"), "5");
    EXPECT_EQ(s.scalar("SELECT - + - 5"), "5");
    EXPECT_EQ(s.scalar("SELECT -2147483648"), "-2147483648");
    // a prepared statement executed twice reads its literal the same way
    ASSERT_TRUE(SQL_SUCCEEDED(s.prepare("SELECT -7")));
    for (int i = 0; i < 2; ++i) {
        SQLFreeStmt(s.stmt, SQL_CLOSE);
        ASSERT_TRUE(SQL_SUCCEEDED(SQLExecute(s.stmt)));
        auto rows = s.rows();
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0][0], "-7");
    }
}

// ---- counts and names in 16 bits ----

TEST(DriverSafety, MoreColumnsThanSqlSmallintHoldsAreRefused)
{
    Session s;
    std::string columns = "SELECT 1" + repeated(", 1", 32766);
    ASSERT_TRUE(SQL_SUCCEEDED(s.prepare(columns)));
    SQLSMALLINT count = 0;
    ASSERT_EQ(SQLNumResultCols(s.stmt, &count), SQL_SUCCESS);
    EXPECT_EQ(count, 32767);
    EXPECT_EQ(s.prepare(columns + ", 1"), SQL_ERROR);
    EXPECT_EQ(s.state(), "54011");
    EXPECT_EQ(s.prepare("SELECT a FROM (VALUES (1" + repeated(", 1", 32767) + ")) AS t"), SQL_ERROR);
    EXPECT_EQ(s.state(), "54011");
    EXPECT_EQ(s.prepare("SELECT 1 WHERE 1 IN (?" + repeated(", ?", 32767) + ")"), SQL_ERROR);
    EXPECT_EQ(s.state(), "54001");
}

TEST(DriverSafety, NamesLongerThanTheReportedMaximumAreRefused)
{
    Session s;
    SQLUSMALLINT longest = 0;
    ASSERT_EQ(SQLGetInfo(s.dbc, SQL_MAX_COLUMN_NAME_LEN, &longest, sizeof longest, nullptr), SQL_SUCCESS);
    std::string name(longest, 'n');
    ASSERT_TRUE(SQL_SUCCEEDED(s.prepare("SELECT 1 AS " + name)));
    SQLCHAR buffer[512];
    SQLSMALLINT length = 0;
    ASSERT_EQ(SQLDescribeCol(s.stmt, 1, buffer, sizeof buffer, &length, nullptr, nullptr, nullptr, nullptr),
              SQL_SUCCESS);
    EXPECT_EQ(length, longest);
    EXPECT_EQ(s.prepare("SELECT 1 AS " + name + "x"), SQL_ERROR);
    EXPECT_EQ(s.state(), "42000");
    EXPECT_EQ(s.prepare("SELECT 1 AS \"" + std::string(40000, 'q') + "\""), SQL_ERROR);
    EXPECT_EQ(s.state(), "42000");
}

// ---- wide text ----

// A value read back as SQL_C_WCHAR, in code units.
std::u16string wide_column(Session &s, SQLUSMALLINT column)
{
    std::u16string out;
    char16_t piece[8];
    for (;;) {
        SQLLEN indicator = 0;
        SQLRETURN rc = SQLGetData(s.stmt, column, SQL_C_WCHAR, piece, sizeof piece, &indicator);
        if (rc == SQL_NO_DATA || !SQL_SUCCEEDED(rc) || indicator == SQL_NULL_DATA)
            return out;
        out += piece;
        if (rc == SQL_SUCCESS)
            return out;
    }
}

// Sends the pieces with SQLPutData as one SQL_C_WCHAR parameter of
// "SELECT ?"; returns the value read back as text.
std::string put_wide(Session &s, const std::vector<std::string> &pieces)
{
    EXPECT_TRUE(SQL_SUCCEEDED(s.prepare("SELECT ?")));
    SQLLEN at_exec = SQL_DATA_AT_EXEC;
    SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_WLONGVARCHAR, 0, 0,
                     reinterpret_cast<SQLPOINTER>(1), 0, &at_exec);
    EXPECT_EQ(SQLExecute(s.stmt), SQL_NEED_DATA);
    SQLPOINTER token = nullptr;
    EXPECT_EQ(SQLParamData(s.stmt, &token), SQL_NEED_DATA);
    for (const std::string &piece : pieces)
        EXPECT_EQ(SQLPutData(s.stmt, const_cast<char *>(piece.data()), static_cast<SQLLEN>(piece.size())),
                  SQL_SUCCESS);
    EXPECT_EQ(SQLParamData(s.stmt, &token), SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    std::string text;
    EXPECT_TRUE(s.column_text(1, text));
    return text;
}

// Code units as the octets SQLPutData takes.
std::string octets_of(const std::u16string &units)
{
    return std::string(reinterpret_cast<const char *>(units.data()), units.size() * 2);
}

TEST(DriverSafety, SqlPutDataNeverJoinsALoneHighSurrogate)
{
    Session s;
    // a, D800, b: the lone surrogate is U+FFFD, b stays b
    EXPECT_EQ(put_wide(s, {octets_of(u"a\xD800" u"b")}), "a\xEF\xBF\xBD" "b");
    EXPECT_EQ(put_wide(s, {octets_of(u"a\xDC00" u"b")}), "a\xEF\xBF\xBD" "b");
    // a pair split between two pieces, and a piece ending inside a unit
    std::string smile = octets_of(u"a\U0001F600b");
    EXPECT_EQ(put_wide(s, {smile.substr(0, 4), smile.substr(4)}), "a\xF0\x9F\x98\x80" "b");
    EXPECT_EQ(put_wide(s, {smile.substr(0, 3), smile.substr(3, 2), smile.substr(5)}),
              "a\xF0\x9F\x98\x80" "b");
    // a high surrogate at the very end of the data
    EXPECT_EQ(put_wide(s, {octets_of(u"ab"), octets_of(u"\xD83D")}), "ab\xEF\xBF\xBD");
}

TEST(DriverSafety, WideTextCrossesEveryPathTheSameWay)
{
    Session s;
    // one character of every plane, as a bound parameter and back
    std::u16string all = u"A\u00E9\u20AC\U0001F600\U00020000\U000E0001\U0010FFFF\uE000\uFFFD";
    ASSERT_TRUE(SQL_SUCCEEDED(s.prepare("SELECT ?, ? || ''")));
    SQLLEN length = static_cast<SQLLEN>(all.size() * 2);
    SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_WVARCHAR, 100, 0,
                     const_cast<char16_t *>(all.data()), length, &length);
    SQLBindParameter(s.stmt, 2, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_WVARCHAR, 100, 0,
                     const_cast<char16_t *>(all.data()), length, &length);
    ASSERT_TRUE(SQL_SUCCEEDED(SQLExecute(s.stmt)));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(wide_column(s, 1), all);
    std::string text;
    ASSERT_TRUE(s.column_text(2, text));
    EXPECT_EQ(text, "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF0\xA0\x80\x80\xF3\xA0\x80\x81"
                    "\xF4\x8F\xBF\xBF\xEE\x80\x80\xEF\xBF\xBD");
    // a lone surrogate in a bound parameter
    std::u16string lone = u"x\xDC00y";
    SQLLEN lone_length = 6;
    ASSERT_TRUE(SQL_SUCCEEDED(s.prepare("SELECT ?")));
    SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_WVARCHAR, 10, 0,
                     const_cast<char16_t *>(lone.data()), lone_length, &lone_length);
    ASSERT_TRUE(SQL_SUCCEEDED(SQLExecute(s.stmt)));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(wide_column(s, 1), u"x\uFFFDy");
    // UTF-8 past U+10FFFF in the statement's text: each octet that cannot
    // start or continue a character is one U+FFFD
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT 'x\xF4\x90\x80\x80y'")));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(wide_column(s, 1), u"x\uFFFD\uFFFD\uFFFD\uFFFDy");
}

// ---- nesting and stacks ----

// Statements whose every kind of nesting goes deeper than the driver takes:
// each is refused with 54001, on a thread with a stack of 256 KiB.
TEST(DriverSafety, DeepNestingIsRefusedOnASmallStack)
{
    const std::vector<std::string> statements = {
        "SELECT " + nested("(", "1", ")", 20000),
        "SELECT " + repeated("NOT ", 50000) + "1 = 1",
        "SELECT " + repeated("- ", 50000) + "x FROM (VALUES (1)) AS t(x)",
        "SELECT " + nested("-(", "1", ")", 20000),
        "SELECT " + nested("{fn ABS(", "1", ")}", 10000),
        "SELECT " + nested("CAST(", "1", " AS INTEGER)", 5000),
        "SELECT " + nested("CASE WHEN 1 = 1 THEN ", "1", " END", 5000),
        "SELECT " + nested("1 + (", "1", ")", 20000),
        "SELECT 1 FROM (VALUES (" + nested("(", "1", ")", 20000) + ")) AS t",
        "SELECT 1 WHERE " + nested("1 IN (", "1", ")", 5000),
    };
    for (const std::string &sql : statements) {
        std::string result, native;
        size_t used = kxtest::run_on_stack(256 << 10, [&] {
            Session s;
            result = s.scalar(sql);
            SQLCHAR out[64];
            SQLINTEGER out_length = 0;
            SQLRETURN rc = SQLNativeSql(s.dbc, reinterpret_cast<SQLCHAR *>(const_cast<char *>(sql.data())),
                                        static_cast<SQLINTEGER>(sql.size()), out, sizeof out, &out_length);
            native = rc == SQL_ERROR ? kxtest::diagnostic_of(SQL_HANDLE_DBC, s.dbc).state : "ok";
        });
        EXPECT_GT(used, 0u);
        EXPECT_EQ(result, "error 54001") << sql.substr(0, 60);
        EXPECT_EQ(native, "54001") << sql.substr(0, 60);
    }
}

// The longest chains of left-associative operators are no nesting at all:
// they are walked in a loop.
TEST(DriverSafety, LongOperatorChainsRunOnASmallStack)
{
    struct Case {
        std::string sql;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"SELECT 0" + repeated(" + 1", 50000), "50000"},
        {"SELECT ''" + repeated(" || 'a'", 50000), repeated("a", 50000)},
        {"SELECT 1 WHERE 1 = 0" + repeated(" OR 1 = 0", 50000) + " OR 1 = 1", "1"},
        {"SELECT 1 WHERE 1 = 1" + repeated(" AND 1 = 1", 50000), "1"},
        {"SELECT 2" + repeated(" * 1", 50000) + repeated(" - 1", 1000), "-998"},
    };
    for (const Case &c : cases) {
        std::string result;
        size_t used = kxtest::run_on_stack(256 << 10, [&] {
            Session s;
            result = s.scalar(c.sql);
        });
        EXPECT_GT(used, 0u);
        EXPECT_EQ(result, c.expected) << c.sql.substr(0, 60);
    }
}

// The deepest statement of each shape that the driver accepts runs, fetches
// and prints back on a 256 KiB stack; the stack each needed is printed.
TEST(DriverSafety, DeepestAcceptedStatementsRunOnASmallStack)
{
    // one level of the nesting limit is taken by the select item itself
    const size_t depth = kxdrv::kMaxNesting - 1;
    struct Case {
        std::string sql;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"SELECT " + nested("(", "7", ")", depth), "7"},
        {"SELECT " + nested("{fn ABS(", "-7", ")}", depth), "7"},
        {"SELECT " + nested("SUBSTRING(", "'abc'", ",1,2)", depth), "ab"},
        {"SELECT " + nested("SUBSTRING((", "'abc'", "),1,2)", depth / 2), "ab"},
        {"SELECT " + nested("CAST(", "7", " AS INTEGER)", depth), "7"},
        {"SELECT " + nested("CASE WHEN 1 = 1 THEN ", "7", " ELSE 0 END", depth), "7"},
        {"SELECT " + nested("1 + (", "0", ")", depth), std::to_string(depth)},
        {"SELECT " + nested("'x' || (", "''", ")", depth), repeated("x", depth)},
        {"SELECT " + nested("{fn IFNULL(NULL, ", "7", ")}", depth), "7"},
        {"SELECT " + nested("COALESCE(NULL, ", "7", ")", depth), "7"},
        {"SELECT " + nested("NULLIF(", "7", ", 0)", depth), "7"},
        {"SELECT 1 WHERE " + nested("1 IN (", "1", ")", depth), "1"},
        {"SELECT " + repeated("NOT ", depth - 2) + "1 = 0", "1"},
        {"SELECT " + repeated("- ", depth - 2) + "x FROM (VALUES (1)) AS t(x)", "-1"},
        {"SELECT " + nested("CASE WHEN 1 = 1 THEN ", "7", " ELSE 0 END", depth + 1), "error 54001"},
    };
    for (const Case &c : cases) {
        std::string result;
        SQLRETURN native = SQL_ERROR;
        size_t used = kxtest::run_on_stack(256 << 10, [&] {
            Session s;
            result = s.scalar(c.sql);
            std::vector<SQLCHAR> out(c.sql.size() * 4 + 64);
            SQLINTEGER out_length = 0;
            native = SQLNativeSql(s.dbc, reinterpret_cast<SQLCHAR *>(const_cast<char *>(c.sql.data())),
                                  static_cast<SQLINTEGER>(c.sql.size()), out.data(),
                                  static_cast<SQLINTEGER>(out.size()), &out_length);
        });
        EXPECT_EQ(result, c.expected) << c.sql.substr(0, 60);
        if (c.expected.rfind("error", 0) != 0) {
            EXPECT_EQ(native, SQL_SUCCESS) << c.sql.substr(0, 60);
        }
        std::printf("  %6zu octets of stack: %.50s...\n", used, c.sql.c_str());
    }
}

}  // namespace
