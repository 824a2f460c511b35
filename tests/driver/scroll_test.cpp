// Static cursors: SQLFetchScroll in every direction over rows held at
// execution, with ODBC's rules for starts before the first row and past
// the last; a forward-only cursor refuses every direction but NEXT.
#include <sql.h>
#include <sqlext.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "driver/driver_harness.h"

namespace {

using kxtest::Session;

// A session with a static cursor over n = 1..10, rowsets of three rows bound
// to numbers[].
class ScrollTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(s.connected);
        ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_CURSOR_TYPE, reinterpret_cast<SQLPOINTER>(SQL_CURSOR_STATIC), 0),
                  SQL_SUCCESS);
        ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(3), 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0), SQL_SUCCESS);
        ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, numbers, 0, nullptr), SQL_SUCCESS);
        ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT n FROM SERIES(1, 10) AS s(n)")));
    }

    // The rowset a scroll gives, as its numbers; "no data" or "error STATE".
    std::string scroll(SQLSMALLINT orientation, SQLLEN offset = 0)
    {
        SQLRETURN rc = SQLFetchScroll(s.stmt, orientation, offset);
        if (rc == SQL_NO_DATA)
            return fetched == 0 ? "no data" : "no data, but rows";
        if (!SQL_SUCCEEDED(rc))
            return "error " + s.state();
        std::string out = rc == SQL_SUCCESS_WITH_INFO ? s.state() + " " : "";
        for (SQLULEN k = 0; k < fetched; ++k)
            out += (k == 0 ? "" : ",") + std::to_string(numbers[k]);
        return out;
    }

    Session s;
    SQLINTEGER numbers[3] = {};
    SQLULEN fetched = 0;
};

TEST_F(ScrollTest, EveryOrientation)
{
    EXPECT_EQ(scroll(SQL_FETCH_FIRST), "1,2,3");
    EXPECT_EQ(scroll(SQL_FETCH_NEXT), "4,5,6");
    EXPECT_EQ(scroll(SQL_FETCH_PRIOR), "1,2,3");
    EXPECT_EQ(scroll(SQL_FETCH_PRIOR), "no data");  // before the first row
    EXPECT_EQ(scroll(SQL_FETCH_NEXT), "1,2,3");
    EXPECT_EQ(scroll(SQL_FETCH_LAST), "8,9,10");
    EXPECT_EQ(scroll(SQL_FETCH_NEXT), "no data");  // after the last row
    EXPECT_EQ(scroll(SQL_FETCH_PRIOR), "8,9,10");
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, 5), "5,6,7");
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, -2), "9,10");
    EXPECT_EQ(scroll(SQL_FETCH_RELATIVE, -3), "6,7,8");
    EXPECT_EQ(scroll(SQL_FETCH_RELATIVE, 0), "6,7,8");
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, 11), "no data");
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, 0), "no data");
    EXPECT_EQ(scroll(SQL_FETCH_RELATIVE, 2), "2,3,4");  // from before the first row
    EXPECT_EQ(scroll(SQL_FETCH_RELATIVE, -3), "01S06 1,2,3");
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, -20), "no data");
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, -11), "no data");
    EXPECT_EQ(scroll(SQL_FETCH_BOOKMARK), "error HY106");
    // offsets at the ends of the 64-bit range
    EXPECT_EQ(scroll(SQL_FETCH_FIRST), "1,2,3");
    EXPECT_EQ(scroll(SQL_FETCH_RELATIVE, INT64_MAX), "no data");
    EXPECT_EQ(scroll(SQL_FETCH_RELATIVE, INT64_MIN), "no data");
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, INT64_MIN), "no data");
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, INT64_MAX), "no data");
    EXPECT_EQ(scroll(SQL_FETCH_LAST), "8,9,10");
    EXPECT_EQ(scroll(SQL_FETCH_RELATIVE, INT64_MAX), "no data");
}

TEST_F(ScrollTest, TheRowNumberIsTheRowsetsFirst)
{
    SQLULEN number = 99;
    EXPECT_EQ(scroll(SQL_FETCH_ABSOLUTE, 4), "4,5,6");
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_ROW_NUMBER, &number, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(number, 4u);
    EXPECT_EQ(scroll(SQL_FETCH_LAST), "8,9,10");
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_ROW_NUMBER, &number, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(number, 8u);
}

TEST(StaticCursor, GetDataReadsTheRowScrolledTo)
{
    Session s;
    ASSERT_TRUE(s.connected);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_CURSOR_SCROLLABLE, reinterpret_cast<SQLPOINTER>(SQL_SCROLLABLE), 0),
              SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(
        s.exec("SELECT a, {fn UCASE(b)} FROM (VALUES (1, 'x'), (2, 'y'), (3, 'z')) AS t(a, b) ORDER BY a DESC")));
    ASSERT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_LAST, 0), SQL_SUCCESS);
    std::string text;
    ASSERT_TRUE(s.column_text(2, text));
    EXPECT_EQ(text, "X");
    ASSERT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_ABSOLUTE, 2), SQL_SUCCESS);
    ASSERT_TRUE(s.column_text(1, text));
    EXPECT_EQ(text, "2");
    ASSERT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_PRIOR, 0), SQL_SUCCESS);
    ASSERT_TRUE(s.column_text(1, text));
    EXPECT_EQ(text, "3");
}

TEST(StaticCursor, MaxRowsBoundsTheRowsAScrollReaches)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLSetStmtAttr(s.stmt, SQL_ATTR_CURSOR_TYPE, reinterpret_cast<SQLPOINTER>(SQL_CURSOR_STATIC), 0);
    SQLSetStmtAttr(s.stmt, SQL_ATTR_MAX_ROWS, reinterpret_cast<SQLPOINTER>(4), 0);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT n FROM SERIES(1, 10) AS s(n)")));
    ASSERT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_LAST, 0), SQL_SUCCESS);
    std::string text;
    ASSERT_TRUE(s.column_text(1, text));
    EXPECT_EQ(text, "4");
    EXPECT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_ABSOLUTE, 5), SQL_NO_DATA);
    EXPECT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_FIRST, 0), SQL_SUCCESS);
}

TEST(StaticCursor, KeysetAndDynamicBecomeStatic)
{
    Session s;
    ASSERT_TRUE(s.connected);
    EXPECT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_CURSOR_TYPE, reinterpret_cast<SQLPOINTER>(SQL_CURSOR_KEYSET_DRIVEN), 0),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(s.state(), "01S02");
    SQLULEN type = 0;
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_CURSOR_TYPE, &type, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(type, static_cast<SQLULEN>(SQL_CURSOR_STATIC));
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_CURSOR_SCROLLABLE, &type, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(type, static_cast<SQLULEN>(SQL_SCROLLABLE));
}

TEST(StaticCursor, TheDriverSaysItScrolls)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLUINTEGER attributes = 0, directions = 0, options = 0;
    ASSERT_EQ(SQLGetInfo(s.dbc, SQL_STATIC_CURSOR_ATTRIBUTES1, &attributes, sizeof attributes, nullptr),
              SQL_SUCCESS);
    ASSERT_EQ(SQLGetInfo(s.dbc, SQL_FETCH_DIRECTION, &directions, sizeof directions, nullptr), SQL_SUCCESS);
    ASSERT_EQ(SQLGetInfo(s.dbc, SQL_SCROLL_OPTIONS, &options, sizeof options, nullptr), SQL_SUCCESS);
    EXPECT_TRUE(attributes & SQL_CA1_ABSOLUTE);
    EXPECT_TRUE(attributes & SQL_CA1_RELATIVE);
    EXPECT_TRUE(directions & SQL_FD_FETCH_PRIOR);
    EXPECT_TRUE(options & SQL_SO_STATIC);
}

TEST(StaticCursor, ExtendedFetchUsesTheRowsetSizeAndItsOwnArguments)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLINTEGER numbers[2] = {};
    SQLULEN count = 0;
    SQLUSMALLINT status[2] = {99, 99};
    SQLSetStmtAttr(s.stmt, SQL_ATTR_CURSOR_TYPE, reinterpret_cast<SQLPOINTER>(SQL_CURSOR_STATIC), 0);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ROWSET_SIZE, reinterpret_cast<SQLPOINTER>(2), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, numbers, 0, nullptr), SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT n FROM SERIES(1, 5) AS s(n)")));
    ASSERT_EQ(SQLExtendedFetch(s.stmt, SQL_FETCH_NEXT, 0, &count, status), SQL_SUCCESS);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(numbers[1], 2);
    ASSERT_EQ(SQLExtendedFetch(s.stmt, SQL_FETCH_ABSOLUTE, 5, &count, status), SQL_SUCCESS);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(numbers[0], 5);
    EXPECT_EQ(status[0], SQL_ROW_SUCCESS);
    EXPECT_EQ(status[1], SQL_ROW_NOROW);
    // SQLFetch's rowset is still one row
    ASSERT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_FIRST, 0), SQL_SUCCESS);
    EXPECT_EQ(numbers[0], 1);
    EXPECT_EQ(numbers[1], 2);  // untouched
}

TEST(ForwardOnlyCursor, OnlyMovesForward)
{
    Session s;
    ASSERT_TRUE(s.connected);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT n FROM SERIES(1, 3) AS s(n)")));
    EXPECT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_NEXT, 0), SQL_SUCCESS);
    EXPECT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_PRIOR, 0), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY106");
    EXPECT_EQ(SQLFetchScroll(s.stmt, SQL_FETCH_FIRST, 0), SQL_ERROR);
}

}  // namespace
