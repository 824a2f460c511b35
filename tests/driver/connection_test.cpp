// The driver's connection strings: SQLDriverConnect reads ODBC's grammar
// (any value may be braced, "}}" standing for "}", empty attributes passed
// over), and the completed string it returns connects again to the same
// settings.
#include <sql.h>
#include <sqlext.h>

#include <gtest/gtest.h>

#include <string>

#include "driver/driver_harness.h"

namespace {

using kxtest::Session;

// SQLDriverConnect's completed string for text, or "" when it fails.
std::string completed_string(const std::string &text)
{
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
    SQLCHAR out[1024] = {};
    SQLSMALLINT written = 0;
    SQLRETURN rc = SQLDriverConnect(dbc, nullptr, reinterpret_cast<SQLCHAR *>(const_cast<char *>(text.c_str())),
                                    SQL_NTS, out, sizeof out, &written, SQL_DRIVER_NOPROMPT);
    std::string completed = SQL_SUCCEEDED(rc) ? std::string(reinterpret_cast<char *>(out), written) : "";
    if (SQL_SUCCEEDED(rc))
        SQLDisconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
    return completed;
}

TEST(ConnectionString, ABracedValueHoldsSemicolonsAndBraces)
{
    Session s("DATABASE={sales;2004}}};UID={de;mo}");
    ASSERT_TRUE(s.connected);
    EXPECT_EQ(s.scalar("SELECT {fn DATABASE()}"), "sales;2004}");
    EXPECT_EQ(s.scalar("SELECT {fn USER()}"), "de;mo");
}

TEST(ConnectionString, EmptyAttributesArePassedOver)
{
    Session s("UID=tester;;DATABASE=demo;");
    ASSERT_TRUE(s.connected);
    EXPECT_EQ(s.scalar("SELECT {fn DATABASE()}"), "demo");
    EXPECT_EQ(s.scalar("SELECT {fn USER()}"), "tester");
}

TEST(ConnectionString, TheCompletedStringConnectsToTheSameSettings)
{
    std::string completed = completed_string("DATABASE={a;b}}c};UID= {x}");
    ASSERT_NE(completed, "");
    EXPECT_NE(completed.find("DATABASE={a;b}}c}"), std::string::npos) << completed;
    Session again(completed.c_str());
    ASSERT_TRUE(again.connected) << completed;
    EXPECT_EQ(again.scalar("SELECT {fn DATABASE()}"), "a;b}c");
    EXPECT_EQ(again.scalar("SELECT {fn USER()}"), "x");
}

}  // namespace
