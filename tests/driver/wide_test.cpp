// wide_test.cpp - the reference driver's W entry points, called directly
// (driver_harness.h's way, no driver manager between).
//
// Text goes in as UTF-16 (BMP characters and characters outside it, which
// take a surrogate pair) and comes back as UTF-16 from SQLDescribeColW,
// SQLColAttributeW, SQL_C_WCHAR data and the rest. Every kind of output is
// cut with exact lengths: in characters (SQLWCHARs) for SQLDescribeColW,
// SQLGetCursorNameW, SQLNativeSqlW, SQLDriverConnectW and SQLGetDiagRecW,
// in octets for SQLGetInfoW, SQLGetConnectAttrW, SQLColAttributeW and
// SQLGetDiagFieldW; a cut never splits a surrogate pair, gives
// SQL_SUCCESS_WITH_INFO with 01004 and reports the whole length.
#include "driver/driver_harness.h"

#include <sqlucode.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Wide = std::u16string;

SQLWCHAR *w(const Wide &text)
{
    return reinterpret_cast<SQLWCHAR *>(const_cast<char16_t *>(text.c_str()));
}

// The text before the first NUL of a wide buffer.
Wide wide_of(const SQLWCHAR *buffer)
{
    return Wide(reinterpret_cast<const char16_t *>(buffer));
}

// U+1D11E MUSICAL SYMBOL G CLEF, outside the BMP: one surrogate pair.
const Wide kClef = u"\U0001D11E";

// The first diagnostic of a handle, read through SQLGetDiagRecW.
struct WideDiagnostic {
    Wide state;
    Wide message;
};

WideDiagnostic wide_diagnostic(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT record = 1)
{
    SQLWCHAR state[6] = {0};
    SQLWCHAR message[1024] = {0};
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    SQLRETURN rc = SQLGetDiagRecW(type, handle, record, state, &native, message, 1024, &length);
    if (!SQL_SUCCEEDED(rc))
        return {};
    return {wide_of(state), wide_of(message)};
}

// An environment and a connection made with SQLDriverConnectW, and one
// statement.
class WideSession {
public:
    explicit WideSession(const Wide &connection = u"DATABASE=demo;UID=tester")
    {
        SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
        SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
        SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
        SQLWCHAR out[512];
        SQLSMALLINT out_length = 0;
        connect_rc = SQLDriverConnectW(dbc, nullptr, w(connection), SQL_NTS, out, 512, &out_length,
                                       SQL_DRIVER_NOPROMPT);
        if (SQL_SUCCEEDED(connect_rc)) {
            completed = wide_of(out);
            completed_length = out_length;
            SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
        }
    }
    ~WideSession()
    {
        if (stmt != SQL_NULL_HSTMT)
            SQLFreeHandle(SQL_HANDLE_STMT, stmt);
        if (SQL_SUCCEEDED(connect_rc))
            SQLDisconnect(dbc);
        SQLFreeHandle(SQL_HANDLE_DBC, dbc);
        SQLFreeHandle(SQL_HANDLE_ENV, env);
    }
    WideSession(const WideSession &) = delete;
    WideSession &operator=(const WideSession &) = delete;

    SQLRETURN exec(const Wide &text)
    {
        SQLFreeStmt(stmt, SQL_CLOSE);
        return SQLExecDirectW(stmt, w(text), SQL_NTS);
    }
    Wide state() const { return wide_diagnostic(SQL_HANDLE_STMT, stmt).state; }
    Wide connection_state() const { return wide_diagnostic(SQL_HANDLE_DBC, dbc).state; }

    // Column 1 of the next row as SQL_C_WCHAR, read whole.
    Wide fetch_wide()
    {
        if (!SQL_SUCCEEDED(SQLFetch(stmt)))
            return u"<no row>";
        SQLWCHAR buffer[256] = {0};
        SQLLEN indicator = 0;
        if (!SQL_SUCCEEDED(SQLGetData(stmt, 1, SQL_C_WCHAR, buffer, sizeof buffer, &indicator)))
            return u"<error>";
        return wide_of(buffer);
    }

    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    SQLRETURN connect_rc = SQL_ERROR;
    Wide completed;
    SQLSMALLINT completed_length = -1;
};

// A buffer of SQLWCHARs filled with a mark, to see what a call wrote.
struct Marked {
    explicit Marked(size_t units) : data(units + 4, 0xBEEF) {}
    SQLWCHAR *get() { return data.data(); }
    Wide text() const { return wide_of(data.data()); }
    std::vector<SQLWCHAR> data;
};

}  // namespace

// ---- text in, text out ----

TEST(Wide, TextOutsideTheBmpThroughExecDirectAndBackAsWideData)
{
    WideSession s;
    ASSERT_EQ(s.connect_rc, SQL_SUCCESS);
    // the G clef takes two code units and is one character
    ASSERT_EQ(s.exec(u"SELECT 'a" + kClef + u"\u00e9' AS t, CHAR_LENGTH('" + kClef + u"') AS n"), SQL_SUCCESS);
    EXPECT_EQ(s.fetch_wide(), u"a" + kClef + u"\u00e9");
    SQLINTEGER n = 0;
    SQLLEN indicator = 0;
    ASSERT_EQ(SQLGetData(s.stmt, 2, SQL_C_SLONG, &n, 0, &indicator), SQL_SUCCESS);
    EXPECT_EQ(n, 1);
    // the octets of SQL_C_WCHAR data: four code units
    ASSERT_EQ(s.exec(u"SELECT 'a" + kClef + u"\u00e9'"), SQL_SUCCESS);
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    SQLWCHAR buffer[16];
    ASSERT_EQ(SQLGetData(s.stmt, 1, SQL_C_WCHAR, buffer, sizeof buffer, &indicator), SQL_SUCCESS);
    EXPECT_EQ(indicator, 8);
}

TEST(Wide, PreparedTextAndColumnNames)
{
    WideSession s;
    Wide sql = u"SELECT UCASE('caf\u00e9 " + kClef + u"') AS \"\u540d\u524d" + kClef + u"\"";
    ASSERT_EQ(SQLPrepareW(s.stmt, w(sql), static_cast<SQLINTEGER>(sql.size())), SQL_SUCCESS);
    // described before execution, from the prepared statement
    SQLWCHAR name[32];
    SQLSMALLINT name_length = 0, type = 0, digits = 0, nullable = 0;
    SQLULEN size = 0;
    ASSERT_EQ(SQLDescribeColW(s.stmt, 1, name, 32, &name_length, &type, &size, &digits, &nullable), SQL_SUCCESS);
    EXPECT_EQ(wide_of(name), u"\u540d\u524d" + kClef);
    EXPECT_EQ(name_length, 4);
    EXPECT_EQ(type, SQL_VARCHAR);
    ASSERT_EQ(SQLExecute(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(s.fetch_wide(), u"CAF\u00c9 " + kClef);
}

TEST(Wide, ALengthCountsCodeUnitsAndEndsTheText)
{
    WideSession s;
    // only the first 8 code units are the statement; the rest is never read
    Wide sql = u"SELECT 1 garbage";
    ASSERT_EQ(SQLExecDirectW(s.stmt, w(sql), 8), SQL_SUCCESS);
    EXPECT_EQ(s.fetch_wide(), u"1");
    // a length that ends between a surrogate pair's halves leaves a lone
    // high surrogate, which becomes U+FFFD
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    Wide cut = u"SELECT 'x" + kClef + u"'";
    ASSERT_EQ(SQLExecDirectW(s.stmt, w(cut), 10), SQL_ERROR);
    EXPECT_EQ(s.state(), u"42000");
}

// ---- cuts ----

TEST(Wide, DescribeColCutsInCharactersAndNeverSplitsAPair)
{
    WideSession s;
    ASSERT_EQ(s.exec(u"SELECT 1 AS \"a" + kClef + u"b\""), SQL_SUCCESS);
    SQLSMALLINT length = 0;
    // room for two units and the NUL: "a" and a high surrogate would fit,
    // so only "a" is written
    Marked three(3);
    EXPECT_EQ(SQLDescribeColW(s.stmt, 1, three.get(), 3, &length, nullptr, nullptr, nullptr, nullptr),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(three.text(), u"a");
    EXPECT_EQ(length, 4);
    EXPECT_EQ(s.state(), u"01004");
    Marked four(4);
    EXPECT_EQ(SQLDescribeColW(s.stmt, 1, four.get(), 4, &length, nullptr, nullptr, nullptr, nullptr),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(four.text(), u"a" + kClef);
    EXPECT_EQ(length, 4);
    Marked five(5);
    EXPECT_EQ(SQLDescribeColW(s.stmt, 1, five.get(), 5, &length, nullptr, nullptr, nullptr, nullptr), SQL_SUCCESS);
    EXPECT_EQ(five.text(), u"a" + kClef + u"b");
    EXPECT_EQ(length, 4);
    // no buffer: the length alone, and no cut
    EXPECT_EQ(SQLDescribeColW(s.stmt, 1, nullptr, 0, &length, nullptr, nullptr, nullptr, nullptr), SQL_SUCCESS);
    EXPECT_EQ(length, 4);
    // a buffer with no room even for the NUL gets nothing
    Marked none(1);
    EXPECT_EQ(SQLDescribeColW(s.stmt, 1, none.get(), 0, &length, nullptr, nullptr, nullptr, nullptr),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(none.data[0], 0xBEEF);
    EXPECT_EQ(SQLDescribeColW(s.stmt, 1, five.get(), -1, &length, nullptr, nullptr, nullptr, nullptr), SQL_ERROR);
    EXPECT_EQ(s.state(), u"HY090");
}

TEST(Wide, ColAttributeCutsInOctets)
{
    WideSession s;
    ASSERT_EQ(s.exec(u"SELECT 'x' AS \"\u540d\u524d" + kClef + u"\""), SQL_SUCCESS);
    SQLSMALLINT length = 0;
    Marked whole(8);
    EXPECT_EQ(SQLColAttributeW(s.stmt, 1, SQL_DESC_NAME, whole.get(), 10, &length, nullptr), SQL_SUCCESS);
    EXPECT_EQ(whole.text(), u"\u540d\u524d" + kClef);
    EXPECT_EQ(length, 8);
    // 8 octets: three units and the NUL, the third a high surrogate
    Marked cut(8);
    EXPECT_EQ(SQLColAttributeW(s.stmt, 1, SQL_DESC_LABEL, cut.get(), 8, &length, nullptr), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(cut.text(), u"\u540d\u524d");
    EXPECT_EQ(length, 8);
    EXPECT_EQ(s.state(), u"01004");
    // ODBC 2's SQL_COLUMN_NAME is text too; numbers pass through
    EXPECT_EQ(SQLColAttributeW(s.stmt, 1, SQL_COLUMN_NAME, whole.get(), 20, &length, nullptr), SQL_SUCCESS);
    EXPECT_EQ(length, 8);
    Marked type_name(16);
    EXPECT_EQ(SQLColAttributeW(s.stmt, 1, SQL_DESC_TYPE_NAME, type_name.get(), 32, &length, nullptr), SQL_SUCCESS);
    EXPECT_EQ(type_name.text(), u"VARCHAR");
    EXPECT_EQ(length, 14);
    SQLLEN number = 0;
    EXPECT_EQ(SQLColAttributeW(s.stmt, 1, SQL_DESC_CONCISE_TYPE, nullptr, 0, nullptr, &number), SQL_SUCCESS);
    EXPECT_EQ(number, SQL_VARCHAR);
    // an odd length of octets is no whole number of SQLWCHARs
    EXPECT_EQ(SQLColAttributeW(s.stmt, 1, SQL_DESC_NAME, whole.get(), 7, &length, nullptr), SQL_ERROR);
    EXPECT_EQ(s.state(), u"HY090");
}

TEST(Wide, GetInfoOfTextInOctetsAndOfNumbers)
{
    WideSession s(u"DATABASE=d" + kClef + u";UID=tester");
    ASSERT_EQ(s.connect_rc, SQL_SUCCESS);
    SQLSMALLINT length = 0;
    Marked name(16);
    EXPECT_EQ(SQLGetInfoW(s.dbc, SQL_DBMS_NAME, name.get(), 32, &length), SQL_SUCCESS);
    EXPECT_EQ(name.text(), u"kxeval");
    EXPECT_EQ(length, 12);
    Marked cut(8);
    EXPECT_EQ(SQLGetInfoW(s.dbc, SQL_DBMS_NAME, cut.get(), 8, &length), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(cut.text(), u"kxe");
    EXPECT_EQ(length, 12);
    EXPECT_EQ(s.connection_state(), u"01004");
    EXPECT_EQ(SQLGetInfoW(s.dbc, SQL_DBMS_NAME, nullptr, 0, &length), SQL_SUCCESS);
    EXPECT_EQ(length, 12);
    // "d" and the clef are three units, six octets; six octets of room
    // hold two units and the NUL, and the clef is not split
    Marked database(8);
    EXPECT_EQ(SQLGetInfoW(s.dbc, SQL_DATABASE_NAME, database.get(), 6, &length), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(database.text(), u"d");
    EXPECT_EQ(length, 6);
    EXPECT_EQ(SQLGetInfoW(s.dbc, SQL_DATABASE_NAME, database.get(), 8, &length), SQL_SUCCESS);
    EXPECT_EQ(database.text(), u"d" + kClef);
    // a number is the ANSI form's
    SQLUSMALLINT longest = 0;
    EXPECT_EQ(SQLGetInfoW(s.dbc, SQL_MAX_COLUMN_NAME_LEN, &longest, 0, &length), SQL_SUCCESS);
    EXPECT_GT(longest, 0);
    EXPECT_EQ(length, 2);
    SQLUINTEGER bits = 0;
    EXPECT_EQ(SQLGetInfoW(s.dbc, SQL_STRING_FUNCTIONS, &bits, 0, &length), SQL_SUCCESS);
    EXPECT_NE(bits & SQL_FN_STR_UCASE, 0u);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(SQLGetInfoW(s.dbc, SQL_DBMS_NAME, name.get(), 9, &length), SQL_ERROR);
    EXPECT_EQ(s.connection_state(), u"HY090");
    EXPECT_EQ(SQLGetInfoW(s.dbc, 9999, name.get(), 32, &length), SQL_ERROR);
    EXPECT_EQ(s.connection_state(), u"HY096");
}

TEST(Wide, DriverConnectGivesTheCompletedStringInCharacters)
{
    WideSession s(u"DATABASE=d" + kClef + u";UID=tester");
    ASSERT_EQ(s.connect_rc, SQL_SUCCESS);
    EXPECT_NE(s.completed.find(u"DATABASE=d" + kClef), Wide::npos) << s.completed.size();
    EXPECT_EQ(static_cast<size_t>(s.completed_length), s.completed.size());
    // the database name came in whole
    ASSERT_EQ(s.exec(u"SELECT DATABASE()"), SQL_SUCCESS);
    EXPECT_EQ(s.fetch_wide(), u"d" + kClef);

    // a cut completed string: the whole length in characters, 01004
    SQLHENV env;
    SQLHDBC dbc;
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
    Wide in = u"DATABASE=d" + kClef + u";UID=tester";
    // "DATABASE=d" is 10 units: 12 of room hold it, the high surrogate
    // would be the 11th, so 10 are written
    Marked out(12);
    SQLSMALLINT length = 0;
    EXPECT_EQ(SQLDriverConnectW(dbc, nullptr, w(in), static_cast<SQLSMALLINT>(in.size()), out.get(), 12, &length,
                                SQL_DRIVER_NOPROMPT),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(out.text(), u"DATABASE=d");
    EXPECT_EQ(static_cast<size_t>(length), s.completed.size());
    EXPECT_EQ(wide_diagnostic(SQL_HANDLE_DBC, dbc).state, u"01004");
    SQLDisconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
}

TEST(Wide, ConnectByDataSourceNameInWideText)
{
    SQLHENV env;
    SQLHDBC dbc;
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
    Wide dsn = u"no such data source", user = u"\u00e9l\u00e8ve";
    ASSERT_TRUE(SQL_SUCCEEDED(SQLConnectW(dbc, w(dsn), SQL_NTS, w(user), 5, nullptr, 0)));
    Marked name(32);
    SQLSMALLINT length = 0;
    EXPECT_EQ(SQLGetInfoW(dbc, SQL_DATA_SOURCE_NAME, name.get(), 64, &length), SQL_SUCCESS);
    EXPECT_EQ(name.text(), dsn);
    EXPECT_EQ(SQLGetInfoW(dbc, SQL_USER_NAME, name.get(), 64, &length), SQL_SUCCESS);
    EXPECT_EQ(name.text(), user);
    EXPECT_EQ(length, 10);
    SQLDisconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
}

TEST(Wide, NativeSqlInCharacters)
{
    WideSession s;
    Wide sql = u"SELECT {fn UCASE('" + kClef + u"')}";
    Marked out(64);
    SQLINTEGER length = 0;
    ASSERT_EQ(SQLNativeSqlW(s.dbc, w(sql), SQL_NTS, out.get(), 64, &length), SQL_SUCCESS);
    Wide whole = out.text();
    EXPECT_NE(whole.find(kClef), Wide::npos);
    EXPECT_EQ(static_cast<size_t>(length), whole.size());
    // cut just after the clef's high surrogate: the pair goes whole
    size_t clef_at = whole.find(kClef);
    Marked cut(64);
    ASSERT_EQ(SQLNativeSqlW(s.dbc, w(sql), SQL_NTS, cut.get(), static_cast<SQLINTEGER>(clef_at + 2), &length),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(cut.text(), whole.substr(0, clef_at));
    EXPECT_EQ(static_cast<size_t>(length), whole.size());
    EXPECT_EQ(s.connection_state(), u"01004");
}

TEST(Wide, CursorNamesInCharacters)
{
    WideSession s;
    Wide name = u"c\u00e9" + kClef;
    ASSERT_EQ(SQLSetCursorNameW(s.stmt, w(name), SQL_NTS), SQL_SUCCESS);
    Marked out(8);
    SQLSMALLINT length = 0;
    EXPECT_EQ(SQLGetCursorNameW(s.stmt, out.get(), 8, &length), SQL_SUCCESS);
    EXPECT_EQ(out.text(), name);
    EXPECT_EQ(length, 4);
    Marked cut(8);
    EXPECT_EQ(SQLGetCursorNameW(s.stmt, cut.get(), 4, &length), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(cut.text(), u"c\u00e9");
    EXPECT_EQ(length, 4);
    EXPECT_EQ(s.state(), u"01004");
}

// ---- attributes ----

TEST(Wide, ConnectionAttributes)
{
    WideSession s(u"DATABASE=caf\u00e9;UID=tester");
    EXPECT_EQ(SQLSetConnectAttrW(s.dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0),
              SQL_SUCCESS);
    SQLUINTEGER autocommit = 99;
    SQLINTEGER length = 0;
    EXPECT_EQ(SQLGetConnectAttrW(s.dbc, SQL_ATTR_AUTOCOMMIT, &autocommit, 0, &length), SQL_SUCCESS);
    EXPECT_EQ(autocommit, static_cast<SQLUINTEGER>(SQL_AUTOCOMMIT_OFF));
    // the current catalog is text, in octets
    Marked catalog(8);
    EXPECT_EQ(SQLGetConnectAttrW(s.dbc, SQL_ATTR_CURRENT_CATALOG, catalog.get(), 16, &length), SQL_SUCCESS);
    EXPECT_EQ(catalog.text(), u"caf\u00e9");
    EXPECT_EQ(length, 8);
    EXPECT_EQ(SQLGetConnectAttrW(s.dbc, SQL_ATTR_CURRENT_CATALOG, catalog.get(), 8, &length),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(catalog.text(), u"caf");
    EXPECT_EQ(length, 8);
    // the one catalog, named in UTF-16 (its length in octets), is taken;
    // another is refused
    Wide same = u"caf\u00e9";
    EXPECT_EQ(SQLSetConnectAttrW(s.dbc, SQL_ATTR_CURRENT_CATALOG, w(same), 8), SQL_SUCCESS);
    EXPECT_EQ(SQLSetConnectAttrW(s.dbc, SQL_ATTR_CURRENT_CATALOG, w(same), SQL_NTS), SQL_SUCCESS);
    Wide other = u"other";
    EXPECT_EQ(SQLSetConnectAttrW(s.dbc, SQL_ATTR_CURRENT_CATALOG, w(other), 10), SQL_ERROR);
    EXPECT_EQ(s.connection_state(), u"HY024");
    EXPECT_EQ(SQLSetConnectAttrW(s.dbc, SQL_ATTR_TXN_ISOLATION, nullptr, 0), SQL_SUCCESS);
    EXPECT_EQ(SQLSetConnectAttrW(s.dbc, 99999, nullptr, 0), SQL_ERROR);
    EXPECT_EQ(s.connection_state(), u"HY092");
}

TEST(Wide, StatementAttributesPassThrough)
{
    WideSession s;
    EXPECT_EQ(SQLSetStmtAttrW(s.stmt, SQL_ATTR_MAX_ROWS, reinterpret_cast<SQLPOINTER>(3), 0), SQL_SUCCESS);
    SQLULEN rows = 0;
    EXPECT_EQ(SQLGetStmtAttrW(s.stmt, SQL_ATTR_MAX_ROWS, &rows, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(rows, 3u);
}

// ---- diagnostics ----

TEST(Wide, DiagnosticsInWideText)
{
    WideSession s;
    Wide column = u"no" + kClef + u"such";
    ASSERT_EQ(s.exec(u"SELECT \"" + column + u"\""), SQL_ERROR);
    WideDiagnostic d = wide_diagnostic(SQL_HANDLE_STMT, s.stmt);
    EXPECT_EQ(d.state, u"42S22");
    EXPECT_NE(d.message.find(column), Wide::npos);
    EXPECT_EQ(d.message.find(u"\ufffd"), Wide::npos);

    // the message cut in characters, the pair whole, the length the whole
    size_t clef_at = d.message.find(kClef);
    SQLWCHAR state[6];
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    Marked cut(1024);
    EXPECT_EQ(SQLGetDiagRecW(SQL_HANDLE_STMT, s.stmt, 1, state, &native, cut.get(),
                             static_cast<SQLSMALLINT>(clef_at + 2), &length),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(cut.text(), d.message.substr(0, clef_at));
    EXPECT_EQ(static_cast<size_t>(length), d.message.size());
    EXPECT_EQ(wide_of(state), u"42S22");
    EXPECT_EQ(SQLGetDiagRecW(SQL_HANDLE_STMT, s.stmt, 2, state, &native, cut.get(), 64, &length), SQL_NO_DATA);
    EXPECT_EQ(SQLGetDiagRecW(SQL_HANDLE_STMT, s.stmt, 1, state, &native, cut.get(), -1, &length), SQL_ERROR);

    // fields: text in octets, numbers as they are
    Marked field(1024);
    SQLSMALLINT octets = 0;
    EXPECT_EQ(SQLGetDiagFieldW(SQL_HANDLE_STMT, s.stmt, 1, SQL_DIAG_MESSAGE_TEXT, field.get(), 2048, &octets),
              SQL_SUCCESS);
    EXPECT_EQ(field.text(), d.message);
    EXPECT_EQ(static_cast<size_t>(octets), 2 * d.message.size());
    Marked field_cut(1024);
    EXPECT_EQ(SQLGetDiagFieldW(SQL_HANDLE_STMT, s.stmt, 1, SQL_DIAG_MESSAGE_TEXT, field_cut.get(),
                               static_cast<SQLSMALLINT>(2 * (clef_at + 2)), &octets),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(field_cut.text(), d.message.substr(0, clef_at));
    EXPECT_EQ(static_cast<size_t>(octets), 2 * d.message.size());
    EXPECT_EQ(SQLGetDiagFieldW(SQL_HANDLE_STMT, s.stmt, 1, SQL_DIAG_SQLSTATE, field.get(), 12, &octets),
              SQL_SUCCESS);
    EXPECT_EQ(field.text(), u"42S22");
    EXPECT_EQ(octets, 10);
    SQLINTEGER count = 0;
    EXPECT_EQ(SQLGetDiagFieldW(SQL_HANDLE_STMT, s.stmt, 0, SQL_DIAG_NUMBER, &count, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(count, 1);
    // the ODBC 2 way hands out the record once
    Marked message(1024);
    EXPECT_EQ(SQLErrorW(SQL_NULL_HENV, SQL_NULL_HDBC, s.stmt, state, &native, message.get(), 1024, &length),
              SQL_SUCCESS);
    EXPECT_EQ(message.text(), d.message);
    EXPECT_EQ(static_cast<size_t>(length), d.message.size());
    EXPECT_EQ(wide_of(state), u"42S22");
    EXPECT_EQ(SQLErrorW(SQL_NULL_HENV, SQL_NULL_HDBC, s.stmt, state, &native, message.get(), 1024, &length),
              SQL_NO_DATA);
}

TEST(Wide, ErrorCutsInCharacters)
{
    WideSession s;
    ASSERT_EQ(s.exec(u"SELECT no" + kClef), SQL_ERROR);
    Wide message = wide_diagnostic(SQL_HANDLE_STMT, s.stmt).message;
    SQLWCHAR state[6];
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    Marked cut(16);
    EXPECT_EQ(SQLErrorW(SQL_NULL_HENV, SQL_NULL_HDBC, s.stmt, state, &native, cut.get(), 5, &length),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(cut.text(), message.substr(0, 4));
    EXPECT_EQ(static_cast<size_t>(length), message.size());
}

TEST(Wide, InvalidHandles)
{
    EXPECT_EQ(SQLExecDirectW(SQL_NULL_HSTMT, w(u"SELECT 1"), SQL_NTS), SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLGetInfoW(SQL_NULL_HDBC, SQL_DBMS_NAME, nullptr, 0, nullptr), SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLDescribeColW(SQL_NULL_HSTMT, 1, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr),
              SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLDescribeColW(SQL_NULL_HSTMT, 1, nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr),
              SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLGetDiagRecW(SQL_HANDLE_STMT, SQL_NULL_HSTMT, 1, nullptr, nullptr, nullptr, 0, nullptr),
              SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLGetDiagRecW(SQL_HANDLE_STMT, SQL_NULL_HSTMT, 1, nullptr, nullptr, nullptr, -1, nullptr),
              SQL_INVALID_HANDLE);
}

// ---- the catalogue ----

TEST(Wide, CatalogueFunctionsTakeWideNames)
{
    WideSession s;
    Wide table = u"t" + kClef;
    ASSERT_EQ(SQLTablesW(s.stmt, nullptr, 0, nullptr, 0, w(table), SQL_NTS, nullptr, 0), SQL_SUCCESS);
    SQLSMALLINT columns = 0;
    SQLNumResultCols(s.stmt, &columns);
    EXPECT_EQ(columns, 5);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA);
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    EXPECT_EQ(SQLColumnsW(s.stmt, nullptr, 0, nullptr, 0, w(table), 3, w(u"c"), 1), SQL_SUCCESS);
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    // the ANSI form's checks: a required name, a catalog, a bad length
    EXPECT_EQ(SQLPrimaryKeysW(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0), SQL_ERROR);
    EXPECT_EQ(s.state(), u"HY009");
    EXPECT_EQ(SQLStatisticsW(s.stmt, w(u"cat"), SQL_NTS, nullptr, 0, w(table), SQL_NTS, SQL_INDEX_ALL, SQL_QUICK),
              SQL_ERROR);
    EXPECT_EQ(s.state(), u"HYC00");
    EXPECT_EQ(SQLTablePrivilegesW(s.stmt, nullptr, 0, nullptr, 0, w(table), -5), SQL_ERROR);
    EXPECT_EQ(s.state(), u"HY090");
    // a column name longer than the longest the driver has
    Wide long_column(200, u'x');
    EXPECT_EQ(SQLColumnPrivilegesW(s.stmt, nullptr, 0, nullptr, 0, w(table), SQL_NTS, w(long_column), SQL_NTS),
              SQL_ERROR);
    EXPECT_EQ(s.state(), u"HY090");
    EXPECT_EQ(SQLForeignKeysW(s.stmt, nullptr, 0, nullptr, 0, w(table), SQL_NTS, nullptr, 0, nullptr, 0, nullptr, 0),
              SQL_SUCCESS);
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    EXPECT_EQ(SQLSpecialColumnsW(s.stmt, SQL_BEST_ROWID, nullptr, 0, nullptr, 0, w(table), SQL_NTS,
                                 SQL_SCOPE_CURROW, SQL_NULLABLE),
              SQL_SUCCESS);
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    EXPECT_EQ(SQLProceduresW(s.stmt, nullptr, 0, w(u"%"), SQL_NTS, w(u"p"), SQL_NTS), SQL_SUCCESS);
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    EXPECT_EQ(SQLProcedureColumnsW(s.stmt, nullptr, 0, nullptr, 0, w(u"p"), SQL_NTS, nullptr, 0), SQL_SUCCESS);
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    EXPECT_EQ(SQLGetTypeInfoW(s.stmt, SQL_VARCHAR), SQL_SUCCESS);
    EXPECT_EQ(s.fetch_wide(), u"VARCHAR");
}

namespace {

// A descriptor's diagnostics through SQLGetDiagRecW.
Wide descriptor_state(SQLHDESC desc)
{
    return wide_diagnostic(SQL_HANDLE_DESC, desc).state;
}

}  // namespace

TEST(Wide, DescriptorNamesInOctetsAndInCharacters)
{
    WideSession s;
    ASSERT_EQ(s.exec(u"SELECT 1 AS \"a" + kClef + u"b\""), SQL_SUCCESS);
    SQLHDESC ird = SQL_NULL_HDESC;
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_IMP_ROW_DESC, &ird, 0, nullptr), SQL_SUCCESS);
    // SQLGetDescFieldW counts octets: four units, eight octets
    SQLINTEGER octets = 0;
    Marked whole(8);
    EXPECT_EQ(SQLGetDescFieldW(ird, 1, SQL_DESC_NAME, whole.get(), 10, &octets), SQL_SUCCESS);
    EXPECT_EQ(whole.text(), u"a" + kClef + u"b");
    EXPECT_EQ(octets, 8);
    Marked cut(8);
    EXPECT_EQ(SQLGetDescFieldW(ird, 1, SQL_DESC_NAME, cut.get(), 6, &octets), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(cut.text(), u"a");  // room for two units: the pair is not split
    EXPECT_EQ(octets, 8);
    EXPECT_EQ(descriptor_state(ird), u"01004");
    // a number passes through
    SQLLEN type = 0;
    EXPECT_EQ(SQLGetDescFieldW(ird, 1, SQL_DESC_CONCISE_TYPE, &type, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(type, SQL_INTEGER);
    // SQLGetDescRecW counts characters
    SQLSMALLINT units = 0, sql_type = 0;
    Marked name(8);
    EXPECT_EQ(SQLGetDescRecW(ird, 1, name.get(), 8, &units, &sql_type, nullptr, nullptr, nullptr, nullptr,
                             nullptr),
              SQL_SUCCESS);
    EXPECT_EQ(name.text(), u"a" + kClef + u"b");
    EXPECT_EQ(units, 4);
    EXPECT_EQ(sql_type, SQL_INTEGER);
}

TEST(Wide, ADescriptorNameSetInWideText)
{
    WideSession s;
    SQLHDESC ipd = SQL_NULL_HDESC;
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_IMP_PARAM_DESC, &ipd, 0, nullptr), SQL_SUCCESS);
    Wide given = u"p" + kClef;
    ASSERT_EQ(SQLSetDescFieldW(ipd, 1, SQL_DESC_NAME, w(given), static_cast<SQLINTEGER>(given.size() * 2)),
              SQL_SUCCESS);
    Marked back(8);
    SQLINTEGER octets = 0;
    ASSERT_EQ(SQLGetDescFieldW(ipd, 1, SQL_DESC_NAME, back.get(), 16, &octets), SQL_SUCCESS);
    EXPECT_EQ(back.text(), given);
    EXPECT_EQ(octets, 6);
}
