// attributes_test.cpp - connection and statement attributes answer what
// was set, or say what they kept instead: every attribute the driver takes
// can be read back, and a value the driver cannot honour is changed to the
// one it has with 01S02 rather than accepted in silence.
#include "driver/driver_harness.h"

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace {

using kxtest::diagnostic_of;
using kxtest::Session;

SQLPOINTER word(SQLULEN value) { return reinterpret_cast<SQLPOINTER>(static_cast<uintptr_t>(value)); }

SQLULEN statement_attribute(Session &s, SQLINTEGER attribute)
{
    SQLULEN value = 0xdeadbeef;
    EXPECT_EQ(SQLGetStmtAttr(s.stmt, attribute, &value, 0, nullptr), SQL_SUCCESS) << attribute;
    return value;
}

SQLUINTEGER connection_attribute(Session &s, SQLINTEGER attribute)
{
    SQLUINTEGER value = 0xdeadbeef;
    EXPECT_EQ(SQLGetConnectAttr(s.dbc, attribute, &value, 0, nullptr), SQL_SUCCESS) << attribute;
    return value;
}

TEST(StatementAttributes, EveryAttributeThatCanBeSetCanBeReadBack)
{
    Session s;
    ASSERT_TRUE(s.connected);
    for (SQLINTEGER attribute : {SQL_ATTR_NOSCAN, SQL_ATTR_MAX_LENGTH, SQL_ATTR_RETRIEVE_DATA,
                                 SQL_ATTR_ASYNC_ENABLE, SQL_ATTR_USE_BOOKMARKS, SQL_ATTR_CURSOR_SENSITIVITY,
                                 SQL_ATTR_CONCURRENCY, SQL_ATTR_CURSOR_TYPE, SQL_ATTR_CURSOR_SCROLLABLE,
                                 SQL_ATTR_QUERY_TIMEOUT, SQL_ATTR_MAX_ROWS}) {
        SQLULEN value = 0;
        SQLRETURN got = SQLGetStmtAttr(s.stmt, attribute, &value, 0, nullptr);
        ASSERT_EQ(got, SQL_SUCCESS) << attribute << " " << s.state();
        // setting what was read back is always taken as it is
        EXPECT_EQ(SQLSetStmtAttr(s.stmt, attribute, word(value), 0), SQL_SUCCESS) << attribute;
    }
}

TEST(StatementAttributes, DefaultsAreOdbcs)
{
    Session s;
    ASSERT_TRUE(s.connected);
    EXPECT_EQ(statement_attribute(s, SQL_ATTR_NOSCAN), SQL_NOSCAN_OFF);
    EXPECT_EQ(statement_attribute(s, SQL_ATTR_MAX_LENGTH), 0u);
    EXPECT_EQ(statement_attribute(s, SQL_ATTR_RETRIEVE_DATA), SQL_RD_ON);
    EXPECT_EQ(statement_attribute(s, SQL_ATTR_ASYNC_ENABLE), SQL_ASYNC_ENABLE_OFF);
    EXPECT_EQ(statement_attribute(s, SQL_ATTR_USE_BOOKMARKS), SQL_UB_OFF);
    EXPECT_EQ(statement_attribute(s, SQL_ATTR_CURSOR_SENSITIVITY), SQL_UNSPECIFIED);
}

TEST(StatementAttributes, NoscanIsKeptAndEscapesStillWork)
{
    Session s;
    ASSERT_TRUE(s.connected);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_NOSCAN, word(SQL_NOSCAN_ON), 0), SQL_SUCCESS);
    EXPECT_EQ(statement_attribute(s, SQL_ATTR_NOSCAN), SQL_NOSCAN_ON);
    EXPECT_EQ(s.scalar("SELECT {fn UCASE('ab')}"), "AB");
}

TEST(StatementAttributes, ValuesTheDriverCannotHonourAreChangedWith01S02)
{
    struct Case {
        SQLINTEGER attribute;
        SQLULEN asked;
        SQLULEN kept;
    };
    for (Case c : {Case{SQL_ATTR_MAX_LENGTH, 10, 0}, Case{SQL_ATTR_RETRIEVE_DATA, SQL_RD_OFF, SQL_RD_ON},
                   Case{SQL_ATTR_ASYNC_ENABLE, SQL_ASYNC_ENABLE_ON, SQL_ASYNC_ENABLE_OFF},
                   Case{SQL_ATTR_USE_BOOKMARKS, SQL_UB_VARIABLE, SQL_UB_OFF},
                   Case{SQL_ATTR_CURSOR_SENSITIVITY, SQL_SENSITIVE, SQL_INSENSITIVE},
                   Case{SQL_ATTR_CONCURRENCY, SQL_CONCUR_LOCK, SQL_CONCUR_READ_ONLY}}) {
        Session s;
        ASSERT_TRUE(s.connected);
        EXPECT_EQ(SQLSetStmtAttr(s.stmt, c.attribute, word(c.asked), 0), SQL_SUCCESS_WITH_INFO) << c.attribute;
        EXPECT_EQ(s.state(), "01S02") << c.attribute;
        EXPECT_EQ(statement_attribute(s, c.attribute), c.kept) << c.attribute;
        // and the statement still answers
        EXPECT_EQ(s.scalar("SELECT 1 + 1"), "2");
    }
}

TEST(StatementAttributes, AnInsensitiveCursorIsKept)
{
    Session s;
    ASSERT_TRUE(s.connected);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_CURSOR_SENSITIVITY, word(SQL_INSENSITIVE), 0), SQL_SUCCESS);
    EXPECT_EQ(statement_attribute(s, SQL_ATTR_CURSOR_SENSITIVITY), SQL_INSENSITIVE);
}

TEST(ConnectionAttributes, TimeoutAndPacketSizeAreReadBackAsSet)
{
    Session s;
    ASSERT_TRUE(s.connected);
    EXPECT_EQ(connection_attribute(s, SQL_ATTR_CONNECTION_TIMEOUT), 0u);
    ASSERT_EQ(SQLSetConnectAttr(s.dbc, SQL_ATTR_CONNECTION_TIMEOUT, word(17), 0), SQL_SUCCESS);
    EXPECT_EQ(connection_attribute(s, SQL_ATTR_CONNECTION_TIMEOUT), 17u);
    ASSERT_EQ(SQLSetConnectAttr(s.dbc, SQL_ATTR_PACKET_SIZE, word(8192), 0), SQL_SUCCESS);
    EXPECT_EQ(connection_attribute(s, SQL_ATTR_PACKET_SIZE), 8192u);
}

TEST(ConnectionAttributes, QuietModeIsAWindowHandleOfAPointersWidth)
{
    Session s;
    ASSERT_TRUE(s.connected);
    int window = 0;
    ASSERT_EQ(SQLSetConnectAttr(s.dbc, SQL_ATTR_QUIET_MODE, &window, 0), SQL_SUCCESS);
    SQLPOINTER back = nullptr;
    SQLINTEGER length = 0;
    ASSERT_EQ(SQLGetConnectAttr(s.dbc, SQL_ATTR_QUIET_MODE, &back, 0, &length), SQL_SUCCESS);
    EXPECT_EQ(back, &window);
    EXPECT_EQ(length, static_cast<SQLINTEGER>(sizeof(SQLPOINTER)));
}

TEST(ConnectionAttributes, AReadWriteHintStaysReadOnlyWith01S02)
{
    Session s;
    ASSERT_TRUE(s.connected);
    ASSERT_EQ(SQLSetConnectAttr(s.dbc, SQL_ATTR_ACCESS_MODE, word(SQL_MODE_READ_WRITE), 0),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(diagnostic_of(SQL_HANDLE_DBC, s.dbc).state, "01S02");
    EXPECT_EQ(connection_attribute(s, SQL_ATTR_ACCESS_MODE), static_cast<SQLUINTEGER>(SQL_MODE_READ_ONLY));
    EXPECT_EQ(SQLSetConnectAttr(s.dbc, SQL_ATTR_ACCESS_MODE, word(SQL_MODE_READ_ONLY), 0), SQL_SUCCESS);
}

TEST(ConnectionAttributes, TheCurrentCatalogIsTheDatabaseAndNoOther)
{
    Session s;
    ASSERT_TRUE(s.connected);
    char name[64] = {};
    SQLINTEGER length = 0;
    ASSERT_EQ(SQLGetConnectAttr(s.dbc, SQL_ATTR_CURRENT_CATALOG, name, sizeof name, &length), SQL_SUCCESS);
    EXPECT_STREQ(name, "demo");
    EXPECT_EQ(SQLSetConnectAttr(s.dbc, SQL_ATTR_CURRENT_CATALOG, name, SQL_NTS), SQL_SUCCESS);
    char other[] = "elsewhere";
    EXPECT_EQ(SQLSetConnectAttr(s.dbc, SQL_ATTR_CURRENT_CATALOG, other, SQL_NTS), SQL_ERROR);
    EXPECT_EQ(diagnostic_of(SQL_HANDLE_DBC, s.dbc).state, "HY024");
    ASSERT_EQ(SQLGetConnectAttr(s.dbc, SQL_ATTR_CURRENT_CATALOG, name, sizeof name, &length), SQL_SUCCESS);
    EXPECT_STREQ(name, "demo");
}

}  // namespace

namespace {

TEST(EnvironmentAttributes, TheVersionIsReadBackAsSet)
{
    for (SQLINTEGER version : {SQL_OV_ODBC2, SQL_OV_ODBC3, SQL_OV_ODBC3_80}) {
        SQLHENV env = SQL_NULL_HENV;
        ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), SQL_SUCCESS);
        ASSERT_EQ(SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, word(static_cast<SQLULEN>(version)), 0), SQL_SUCCESS);
        SQLINTEGER back = 0;
        ASSERT_EQ(SQLGetEnvAttr(env, SQL_ATTR_ODBC_VERSION, &back, 0, nullptr), SQL_SUCCESS);
        EXPECT_EQ(back, version);
        EXPECT_EQ(SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, word(5), 0), SQL_ERROR);
        // an ODBC 2 application gets the ODBC 2 state
        EXPECT_EQ(diagnostic_of(SQL_HANDLE_ENV, env).state, version == SQL_OV_ODBC2 ? "S1009" : "HY024");
        SQLFreeHandle(SQL_HANDLE_ENV, env);
    }
}

TEST(EnvironmentAttributes, TextIsAlwaysTerminatedAndPoolMatchingIsKept)
{
    SQLHENV env = SQL_NULL_HENV;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), SQL_SUCCESS);
    EXPECT_EQ(SQLSetEnvAttr(env, SQL_ATTR_OUTPUT_NTS, word(SQL_TRUE), 0), SQL_SUCCESS);
    EXPECT_EQ(SQLSetEnvAttr(env, SQL_ATTR_OUTPUT_NTS, word(SQL_FALSE), 0), SQL_ERROR);
    EXPECT_EQ(diagnostic_of(SQL_HANDLE_ENV, env).state, "HYC00");
    SQLINTEGER value = 0;
    ASSERT_EQ(SQLGetEnvAttr(env, SQL_ATTR_OUTPUT_NTS, &value, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(value, SQL_TRUE);
    ASSERT_EQ(SQLGetEnvAttr(env, SQL_ATTR_CP_MATCH, &value, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(value, static_cast<SQLINTEGER>(SQL_CP_STRICT_MATCH));
    ASSERT_EQ(SQLSetEnvAttr(env, SQL_ATTR_CP_MATCH, word(SQL_CP_RELAXED_MATCH), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLGetEnvAttr(env, SQL_ATTR_CP_MATCH, &value, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(value, static_cast<SQLINTEGER>(SQL_CP_RELAXED_MATCH));
    SQLFreeHandle(SQL_HANDLE_ENV, env);
}

}  // namespace
