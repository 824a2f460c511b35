// catalog_test.cpp - the reference driver's catalogue functions, called
// directly through its entry points (driver_harness.h).
//
// Each catalogue function answers with the result set ODBC 3 defines for it:
// its columns' names, SQL types, order and nullability are checked against
// the tables below, written from ODBC's reference pages, and the set has no
// rows (the driver has no tables). The arguments are checked as ODBC says:
// HY009 for a null table name where one is required, HY090 for a bad
// length, HY097 to HY101 for options out of range, HYC00 for a catalog or
// schema, 24000 with a cursor open and HY010 in the middle of a
// data-at-execution dialog. SQLGetFunctions reports exactly the functions
// the shared object exports, a W form counting as its ANSI function, and
// every exported function that takes or gives text has its W form.
#include "driver/driver_harness.h"

#include <dlfcn.h>

#include <string>
#include <vector>

using kxtest::Session;

namespace {

SQLCHAR *text(const char *s) { return reinterpret_cast<SQLCHAR *>(const_cast<char *>(s)); }

struct Expected {
    const char *name;
    SQLSMALLINT type;
    bool not_null;
};

// The result set of the statement's last call has exactly these columns,
// and no rows.
void expect_columns(Session &s, const std::vector<Expected> &expected, const char *function)
{
    SQLSMALLINT count = 0;
    ASSERT_EQ(SQLNumResultCols(s.stmt, &count), SQL_SUCCESS) << function;
    ASSERT_EQ(count, static_cast<SQLSMALLINT>(expected.size())) << function;
    for (size_t i = 0; i < expected.size(); ++i) {
        SQLCHAR name[130] = {0};
        SQLSMALLINT name_length = 0, type = 0, digits = 0, nullable = 0;
        SQLULEN size = 0;
        ASSERT_EQ(SQLDescribeCol(s.stmt, static_cast<SQLUSMALLINT>(i + 1), name, sizeof name, &name_length,
                                 &type, &size, &digits, &nullable),
                  SQL_SUCCESS)
            << function << " column " << i + 1;
        EXPECT_STREQ(reinterpret_cast<char *>(name), expected[i].name) << function << " column " << i + 1;
        EXPECT_EQ(type, expected[i].type) << function << " " << expected[i].name;
        EXPECT_EQ(nullable, expected[i].not_null ? SQL_NO_NULLS : SQL_NULLABLE)
            << function << " " << expected[i].name;
        if (type == SQL_VARCHAR) {
            EXPECT_GE(size, 128u) << function << " " << expected[i].name;
        }
        SQLLEN nullable_attribute = -1;
        ASSERT_EQ(SQLColAttribute(s.stmt, static_cast<SQLUSMALLINT>(i + 1), SQL_DESC_NULLABLE, nullptr, 0,
                                  nullptr, &nullable_attribute),
                  SQL_SUCCESS);
        EXPECT_EQ(nullable_attribute, nullable) << function << " " << expected[i].name;
    }
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA) << function;
    EXPECT_EQ(SQLCloseCursor(s.stmt), SQL_SUCCESS) << function;
}

constexpr SQLSMALLINT V = SQL_VARCHAR, S = SQL_SMALLINT, I = SQL_INTEGER;
constexpr bool NN = true;

// The state of the statement's last error, or "" after a success.
std::string state_after(Session &s, SQLRETURN rc)
{
    if (SQL_SUCCEEDED(rc)) {
        SQLFreeStmt(s.stmt, SQL_CLOSE);
        return "";
    }
    return s.state();
}

}  // namespace

TEST(Catalog, PrimaryKeysColumns)
{
    Session s;
    ASSERT_EQ(SQLPrimaryKeys(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS), SQL_SUCCESS);
    expect_columns(s,
                   {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false}, {"TABLE_NAME", V, NN},
                    {"COLUMN_NAME", V, NN}, {"KEY_SEQ", S, NN}, {"PK_NAME", V, false}},
                   "SQLPrimaryKeys");
}

TEST(Catalog, ForeignKeysColumns)
{
    Session s;
    ASSERT_EQ(SQLForeignKeys(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, nullptr, 0, nullptr, 0,
                             nullptr, 0),
              SQL_SUCCESS);
    expect_columns(s,
                   {{"PKTABLE_CAT", V, false}, {"PKTABLE_SCHEM", V, false}, {"PKTABLE_NAME", V, NN},
                    {"PKCOLUMN_NAME", V, NN}, {"FKTABLE_CAT", V, false}, {"FKTABLE_SCHEM", V, false},
                    {"FKTABLE_NAME", V, NN}, {"FKCOLUMN_NAME", V, NN}, {"KEY_SEQ", S, NN},
                    {"UPDATE_RULE", S, false}, {"DELETE_RULE", S, false}, {"FK_NAME", V, false},
                    {"PK_NAME", V, false}, {"DEFERRABILITY", S, false}},
                   "SQLForeignKeys");
    // the foreign keys of a table alone, and of one table to another
    ASSERT_EQ(SQLForeignKeys(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, text("f"), 1),
              SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA);
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    ASSERT_EQ(SQLForeignKeys(s.stmt, text(""), 0, text(""), 0, text("p"), 1, nullptr, 0, nullptr, 0, text("f"),
                             SQL_NTS),
              SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA);
}

TEST(Catalog, StatisticsColumns)
{
    Session s;
    ASSERT_EQ(SQLStatistics(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, SQL_INDEX_ALL, SQL_QUICK),
              SQL_SUCCESS);
    expect_columns(s,
                   {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false}, {"TABLE_NAME", V, NN},
                    {"NON_UNIQUE", S, false}, {"INDEX_QUALIFIER", V, false}, {"INDEX_NAME", V, false},
                    {"TYPE", S, NN}, {"ORDINAL_POSITION", S, false}, {"COLUMN_NAME", V, false},
                    {"ASC_OR_DESC", SQL_CHAR, false}, {"CARDINALITY", I, false}, {"PAGES", I, false},
                    {"FILTER_CONDITION", V, false}},
                   "SQLStatistics");
    ASSERT_EQ(SQLStatistics(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, SQL_INDEX_UNIQUE, SQL_ENSURE),
              SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA);
}

TEST(Catalog, SpecialColumnsColumns)
{
    Session s;
    for (SQLUSMALLINT identifier : {SQL_BEST_ROWID, SQL_ROWVER})
        for (SQLUSMALLINT scope : {SQL_SCOPE_CURROW, SQL_SCOPE_TRANSACTION, SQL_SCOPE_SESSION})
            for (SQLUSMALLINT nullable : {SQL_NO_NULLS, SQL_NULLABLE}) {
                ASSERT_EQ(SQLSpecialColumns(s.stmt, identifier, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, scope,
                                            nullable),
                          SQL_SUCCESS);
                expect_columns(s,
                               {{"SCOPE", S, false}, {"COLUMN_NAME", V, NN}, {"DATA_TYPE", S, NN},
                                {"TYPE_NAME", V, NN}, {"COLUMN_SIZE", I, false}, {"BUFFER_LENGTH", I, false},
                                {"DECIMAL_DIGITS", S, false}, {"PSEUDO_COLUMN", S, false}},
                               "SQLSpecialColumns");
            }
}

TEST(Catalog, ProceduresColumns)
{
    Session s;
    ASSERT_EQ(SQLProcedures(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0), SQL_SUCCESS);
    expect_columns(s,
                   {{"PROCEDURE_CAT", V, false}, {"PROCEDURE_SCHEM", V, false}, {"PROCEDURE_NAME", V, NN},
                    {"NUM_INPUT_PARAMS", I, false}, {"NUM_OUTPUT_PARAMS", I, false},
                    {"NUM_RESULT_SETS", I, false}, {"REMARKS", V, false}, {"PROCEDURE_TYPE", S, false}},
                   "SQLProcedures");
    // a pattern of every schema and procedure finds nothing either
    ASSERT_EQ(SQLProcedures(s.stmt, nullptr, 0, text("%"), SQL_NTS, text("%"), SQL_NTS), SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA);
}

TEST(Catalog, ProcedureColumnsColumns)
{
    Session s;
    ASSERT_EQ(SQLProcedureColumns(s.stmt, nullptr, 0, nullptr, 0, text("p%"), SQL_NTS, nullptr, 0), SQL_SUCCESS);
    expect_columns(s,
                   {{"PROCEDURE_CAT", V, false}, {"PROCEDURE_SCHEM", V, false}, {"PROCEDURE_NAME", V, NN},
                    {"COLUMN_NAME", V, NN}, {"COLUMN_TYPE", S, NN}, {"DATA_TYPE", S, NN},
                    {"TYPE_NAME", V, NN}, {"COLUMN_SIZE", I, false}, {"BUFFER_LENGTH", I, false},
                    {"DECIMAL_DIGITS", S, false}, {"NUM_PREC_RADIX", S, false}, {"NULLABLE", S, NN},
                    {"REMARKS", V, false}, {"COLUMN_DEF", V, false}, {"SQL_DATA_TYPE", S, NN},
                    {"SQL_DATETIME_SUB", S, false}, {"CHAR_OCTET_LENGTH", I, false},
                    {"ORDINAL_POSITION", I, NN}, {"IS_NULLABLE", V, false}},
                   "SQLProcedureColumns");
}

TEST(Catalog, TablePrivilegesColumns)
{
    Session s;
    ASSERT_EQ(SQLTablePrivileges(s.stmt, nullptr, 0, nullptr, 0, text("%"), SQL_NTS), SQL_SUCCESS);
    expect_columns(s,
                   {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false}, {"TABLE_NAME", V, NN},
                    {"GRANTOR", V, false}, {"GRANTEE", V, NN}, {"PRIVILEGE", V, NN},
                    {"IS_GRANTABLE", V, false}},
                   "SQLTablePrivileges");
    // the table name is a pattern here, and may be left out
    ASSERT_EQ(SQLTablePrivileges(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0), SQL_SUCCESS);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA);
}

TEST(Catalog, ColumnPrivilegesColumns)
{
    Session s;
    ASSERT_EQ(SQLColumnPrivileges(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, text("%"), SQL_NTS),
              SQL_SUCCESS);
    expect_columns(s,
                   {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false}, {"TABLE_NAME", V, NN},
                    {"COLUMN_NAME", V, NN}, {"GRANTOR", V, false}, {"GRANTEE", V, NN},
                    {"PRIVILEGE", V, NN}, {"IS_GRANTABLE", V, false}},
                   "SQLColumnPrivileges");
}

TEST(Catalog, TablesAndColumnsColumns)
{
    Session s;
    ASSERT_EQ(SQLTables(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0), SQL_SUCCESS);
    expect_columns(s,
                   {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false}, {"TABLE_NAME", V, false},
                    {"TABLE_TYPE", V, false}, {"REMARKS", V, false}},
                   "SQLTables");
    ASSERT_EQ(SQLColumns(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, nullptr, 0), SQL_SUCCESS);
    expect_columns(s,
                   {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false}, {"TABLE_NAME", V, NN},
                    {"COLUMN_NAME", V, NN}, {"DATA_TYPE", S, NN}, {"TYPE_NAME", V, NN},
                    {"COLUMN_SIZE", I, false}, {"BUFFER_LENGTH", I, false}, {"DECIMAL_DIGITS", S, false},
                    {"NUM_PREC_RADIX", S, false}, {"NULLABLE", S, NN}, {"REMARKS", V, false},
                    {"COLUMN_DEF", V, false}, {"SQL_DATA_TYPE", S, NN}, {"SQL_DATETIME_SUB", S, false},
                    {"CHAR_OCTET_LENGTH", I, false}, {"ORDINAL_POSITION", I, NN}, {"IS_NULLABLE", V, false}},
                   "SQLColumns");
}

TEST(Catalog, TypeInfoColumns)
{
    Session s;
    ASSERT_EQ(SQLGetTypeInfo(s.stmt, SQL_ALL_TYPES), SQL_SUCCESS);
    SQLSMALLINT count = 0;
    ASSERT_EQ(SQLNumResultCols(s.stmt, &count), SQL_SUCCESS);
    ASSERT_EQ(count, 19);
    const Expected expected[] = {
        {"TYPE_NAME", V, NN},          {"DATA_TYPE", S, NN},         {"COLUMN_SIZE", I, false},
        {"LITERAL_PREFIX", V, false},  {"LITERAL_SUFFIX", V, false}, {"CREATE_PARAMS", V, false},
        {"NULLABLE", S, NN},           {"CASE_SENSITIVE", S, NN},    {"SEARCHABLE", S, NN},
        {"UNSIGNED_ATTRIBUTE", S, false}, {"FIXED_PREC_SCALE", S, NN}, {"AUTO_UNIQUE_VALUE", S, false},
        {"LOCAL_TYPE_NAME", V, false}, {"MINIMUM_SCALE", S, false},  {"MAXIMUM_SCALE", S, false},
        {"SQL_DATA_TYPE", S, NN},      {"SQL_DATETIME_SUB", S, false}, {"NUM_PREC_RADIX", I, false},
        {"INTERVAL_PRECISION", S, false}};
    for (SQLUSMALLINT i = 1; i <= 19; ++i) {
        SQLCHAR name[64] = {0};
        SQLSMALLINT type = 0, nullable = 0;
        ASSERT_EQ(SQLDescribeCol(s.stmt, i, name, sizeof name, nullptr, &type, nullptr, nullptr, &nullable),
                  SQL_SUCCESS);
        EXPECT_STREQ(reinterpret_cast<char *>(name), expected[i - 1].name);
        EXPECT_EQ(type, expected[i - 1].type) << expected[i - 1].name;
        EXPECT_EQ(nullable, expected[i - 1].not_null ? SQL_NO_NULLS : SQL_NULLABLE) << expected[i - 1].name;
    }
    auto rows = s.rows();
    EXPECT_GT(rows.size(), 10u);
    for (const auto &row : rows)
        for (int c : {0, 1, 6, 7, 8, 10, 15})
            EXPECT_NE(row[static_cast<size_t>(c)], "NULL") << row[0] << " " << expected[c].name;
}

// ---- arguments ----

TEST(Catalog, RequiredTableNamesAreNotNull)
{
    Session s;
    EXPECT_EQ(state_after(s, SQLPrimaryKeys(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0)), "HY009");
    EXPECT_EQ(state_after(s, SQLStatistics(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0, SQL_INDEX_ALL,
                                           SQL_QUICK)),
              "HY009");
    EXPECT_EQ(state_after(s, SQLSpecialColumns(s.stmt, SQL_BEST_ROWID, nullptr, 0, nullptr, 0, nullptr, 0,
                                               SQL_SCOPE_SESSION, SQL_NULLABLE)),
              "HY009");
    EXPECT_EQ(state_after(s, SQLColumnPrivileges(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0, text("c"),
                                                 SQL_NTS)),
              "HY009");
    // SQLForeignKeys needs one of its two table names
    EXPECT_EQ(state_after(s, SQLForeignKeys(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                                            nullptr, 0)),
              "HY009");
    // the pattern arguments may be left out
    EXPECT_EQ(state_after(s, SQLProcedureColumns(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0)), "");
    EXPECT_EQ(state_after(s, SQLColumns(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0)), "");
}

TEST(Catalog, LengthsBelowZeroOtherThanNtsAreRefused)
{
    Session s;
    EXPECT_EQ(state_after(s, SQLPrimaryKeys(s.stmt, nullptr, 0, nullptr, 0, text("t"), -5)), "HY090");
    EXPECT_EQ(state_after(s, SQLPrimaryKeys(s.stmt, text(""), -2, nullptr, 0, text("t"), SQL_NTS)), "HY090");
    // a length below 0 that goes with a null name is no name at all
    EXPECT_EQ(state_after(s, SQLPrimaryKeys(s.stmt, nullptr, -7, nullptr, 0, text("t"), 1)), "");
    EXPECT_EQ(state_after(s, SQLForeignKeys(s.stmt, nullptr, 0, nullptr, 0, text("p"), -4, nullptr, 0, nullptr, 0,
                                            nullptr, 0)),
              "HY090");
    EXPECT_EQ(state_after(s, SQLStatistics(s.stmt, nullptr, 0, text(""), -9, text("t"), SQL_NTS, SQL_INDEX_ALL,
                                           SQL_QUICK)),
              "HY090");
    EXPECT_EQ(state_after(s, SQLSpecialColumns(s.stmt, SQL_ROWVER, nullptr, 0, nullptr, 0, text("t"), -4,
                                               SQL_SCOPE_CURROW, SQL_NO_NULLS)),
              "HY090");
    EXPECT_EQ(state_after(s, SQLProcedures(s.stmt, nullptr, 0, nullptr, 0, text("p"), -100)), "HY090");
    EXPECT_EQ(state_after(s, SQLProcedureColumns(s.stmt, nullptr, 0, nullptr, 0, text("p"), SQL_NTS, text("c"),
                                                 -2)),
              "HY090");
    EXPECT_EQ(state_after(s, SQLTablePrivileges(s.stmt, nullptr, 0, nullptr, 0, text("t"), -2)), "HY090");
    EXPECT_EQ(state_after(s, SQLColumnPrivileges(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, text("c"),
                                                 -2)),
              "HY090");
    EXPECT_EQ(state_after(s, SQLTables(s.stmt, nullptr, 0, nullptr, 0, text("t"), -2, nullptr, 0)), "HY090");
    EXPECT_EQ(state_after(s, SQLColumns(s.stmt, nullptr, 0, text("x"), -2, nullptr, 0, nullptr, 0)), "HY090");
    // a column name longer than SQL_MAX_COLUMN_NAME_LEN
    SQLUSMALLINT longest = 0;
    ASSERT_EQ(SQLGetInfo(s.dbc, SQL_MAX_COLUMN_NAME_LEN, &longest, sizeof longest, nullptr), SQL_SUCCESS);
    std::string name(longest, 'c');
    EXPECT_EQ(state_after(s, SQLColumnPrivileges(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS,
                                                 text(name.c_str()), SQL_NTS)),
              "");
    name += "c";
    EXPECT_EQ(state_after(s, SQLColumnPrivileges(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS,
                                                 text(name.c_str()), SQL_NTS)),
              "HY090");
    EXPECT_EQ(state_after(s, SQLColumns(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0, text(name.c_str()),
                                        static_cast<SQLSMALLINT>(name.size()))),
              "HY090");
}

TEST(Catalog, OptionsOutOfRange)
{
    Session s;
    EXPECT_EQ(state_after(s, SQLStatistics(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, 7, SQL_QUICK)),
              "HY100");
    EXPECT_EQ(state_after(s, SQLStatistics(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, SQL_INDEX_ALL,
                                           9)),
              "HY101");
    EXPECT_EQ(state_after(s, SQLSpecialColumns(s.stmt, 5, nullptr, 0, nullptr, 0, text("t"), SQL_NTS,
                                               SQL_SCOPE_CURROW, SQL_NULLABLE)),
              "HY097");
    EXPECT_EQ(state_after(s, SQLSpecialColumns(s.stmt, SQL_BEST_ROWID, nullptr, 0, nullptr, 0, text("t"), SQL_NTS,
                                               7, SQL_NULLABLE)),
              "HY098");
    EXPECT_EQ(state_after(s, SQLSpecialColumns(s.stmt, SQL_BEST_ROWID, nullptr, 0, nullptr, 0, text("t"), SQL_NTS,
                                               SQL_SCOPE_SESSION, 3)),
              "HY099");
}

TEST(Catalog, CatalogsAndSchemasAreNotSupported)
{
    Session s;
    EXPECT_EQ(state_after(s, SQLPrimaryKeys(s.stmt, text("db"), SQL_NTS, nullptr, 0, text("t"), SQL_NTS)),
              "HYC00");
    EXPECT_EQ(state_after(s, SQLStatistics(s.stmt, nullptr, 0, text("s"), 1, text("t"), SQL_NTS, SQL_INDEX_ALL,
                                           SQL_QUICK)),
              "HYC00");
    EXPECT_EQ(state_after(s, SQLForeignKeys(s.stmt, nullptr, 0, nullptr, 0, text("p"), 1, text("c"), 1, nullptr,
                                            0, nullptr, 0)),
              "HYC00");
    // empty names denote "no catalog" and "no schema"; "%" in a schema
    // pattern is every schema
    EXPECT_EQ(state_after(s, SQLPrimaryKeys(s.stmt, text(""), SQL_NTS, text(""), 0, text("t"), SQL_NTS)), "");
    EXPECT_EQ(state_after(s, SQLProcedures(s.stmt, text(""), 0, text("%"), SQL_NTS, nullptr, 0)), "");
    EXPECT_EQ(state_after(s, SQLTablePrivileges(s.stmt, nullptr, 0, text("dbo"), SQL_NTS, text("t"), 1)),
              "HYC00");
}

TEST(Catalog, NotWithAnOpenCursorNorWhileDataIsAwaited)
{
    Session s;
    ASSERT_EQ(s.exec("SELECT 1"), SQL_SUCCESS);
    EXPECT_EQ(SQLPrimaryKeys(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS), SQL_ERROR);
    EXPECT_EQ(s.state(), "24000");
    EXPECT_EQ(SQLGetTypeInfo(s.stmt, SQL_ALL_TYPES), SQL_ERROR);
    EXPECT_EQ(s.state(), "24000");
    // the catalogue's own result set is a cursor too
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    ASSERT_EQ(SQLProcedures(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0), SQL_SUCCESS);
    EXPECT_EQ(SQLProcedures(s.stmt, nullptr, 0, nullptr, 0, nullptr, 0), SQL_ERROR);
    EXPECT_EQ(s.state(), "24000");
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    // in the middle of a data-at-execution dialog
    ASSERT_EQ(s.prepare("SELECT CAST(? AS VARCHAR(10))"), SQL_SUCCESS);
    SQLLEN at_exec = SQL_DATA_AT_EXEC;
    char token[] = "p";
    ASSERT_EQ(SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 10, 0, token, 0, &at_exec),
              SQL_SUCCESS);
    ASSERT_EQ(SQLExecute(s.stmt), SQL_NEED_DATA);
    EXPECT_EQ(SQLStatistics(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, SQL_INDEX_ALL, SQL_QUICK),
              SQL_ERROR);
    EXPECT_EQ(s.state(), "HY010");
    EXPECT_EQ(SQLCancel(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(state_after(s, SQLStatistics(s.stmt, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, SQL_INDEX_ALL,
                                           SQL_QUICK)),
              "");
}

TEST(Catalog, ACatalogueResultReplacesThePreparedStatement)
{
    Session s;
    ASSERT_EQ(s.prepare("SELECT 1, 2"), SQL_SUCCESS);
    ASSERT_EQ(SQLSpecialColumns(s.stmt, SQL_BEST_ROWID, nullptr, 0, nullptr, 0, text("t"), SQL_NTS,
                                SQL_SCOPE_CURROW, SQL_NULLABLE),
              SQL_SUCCESS);
    SQLSMALLINT count = 0;
    ASSERT_EQ(SQLNumResultCols(s.stmt, &count), SQL_SUCCESS);
    EXPECT_EQ(count, 8);
    SQLFreeStmt(s.stmt, SQL_CLOSE);
    EXPECT_EQ(SQLExecute(s.stmt), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY010");
}

// ---- parameter descriptions ----

namespace {

struct ParamCase {
    const char *sql;
    SQLUSMALLINT number;
    SQLSMALLINT type;
    SQLULEN size;        // 0: not checked
    SQLSMALLINT digits;  // -1: not checked
};

}  // namespace

TEST(Catalog, DescribeParamFromWhereTheMarkerStands)
{
    const ParamCase cases[] = {
        // a CAST's target
        {"SELECT CAST(? AS NUMERIC(10,3))", 1, SQL_NUMERIC, 10, 3},
        {"SELECT CAST(? AS VARCHAR(20))", 1, SQL_VARCHAR, 20, -1},
        {"SELECT CAST(? AS DATE)", 1, SQL_TYPE_DATE, 10, -1},
        {"SELECT {fn CONVERT(?, SQL_BIGINT)}", 1, SQL_BIGINT, 19, -1},
        // the other operand of a comparison
        {"SELECT 1 WHERE 5 = ?", 1, SQL_INTEGER, 10, -1},
        {"SELECT 1 WHERE ? < {d '2024-01-01'}", 1, SQL_TYPE_DATE, 10, -1},
        {"SELECT 1 WHERE CAST(2 AS DOUBLE) <> ?", 1, SQL_DOUBLE, 0, -1},
        {"SELECT 1 WHERE 'ab' = ?", 1, SQL_VARCHAR, 255, -1},
        {"SELECT 1 WHERE ? BETWEEN 1 AND 10", 1, SQL_INTEGER, 10, -1},
        {"SELECT 1 WHERE 3 BETWEEN ? AND CAST(9 AS BIGINT)", 1, SQL_INTEGER, 10, -1},
        {"SELECT 1 WHERE 3 BETWEEN 1 AND ?", 1, SQL_INTEGER, 10, -1},
        {"SELECT 1 WHERE ? IN (1, 2)", 1, SQL_INTEGER, 10, -1},
        {"SELECT 1 WHERE CAST(1 AS BIGINT) IN (2, ?)", 1, SQL_BIGINT, 19, -1},
        // the other operand's number type in arithmetic
        {"SELECT ? * 2", 1, SQL_INTEGER, 10, -1},
        {"SELECT CAST(1.5 AS DOUBLE) + ?", 1, SQL_DOUBLE, 0, -1},
        {"SELECT 1 + 2 + ?", 2 - 1, SQL_INTEGER, 10, -1},
        {"SELECT ? + 1 + 2", 1, SQL_INTEGER, 10, -1},
        {"SELECT 2.50 - ?", 1, SQL_NUMERIC, 0, 2},
        {"SELECT -?", 1, SQL_DOUBLE, 0, -1},
        // a function argument's class
        {"SELECT {fn SIN(?)}", 1, SQL_DOUBLE, 0, -1},
        {"SELECT {fn SPACE(?)}", 1, SQL_INTEGER, 10, -1},
        {"SELECT {fn UCASE(?)}", 1, SQL_VARCHAR, 255, -1},
        {"SELECT {fn LEFT('abc', ?)}", 1, SQL_INTEGER, 10, -1},
        {"SELECT {fn LEFT(?, 2)}", 1, SQL_VARCHAR, 255, -1},
        {"SELECT {fn DAYNAME(?)}", 1, SQL_TYPE_TIMESTAMP, 0, -1},
        {"SELECT SUBSTRING('abc' FROM ? FOR 2)", 1, SQL_INTEGER, 10, -1},
        {"SELECT {fn IFNULL(?, CAST(1 AS BIGINT))}", 1, SQL_BIGINT, 19, -1},
        // one column with the other operands
        {"SELECT CASE WHEN 1 = 1 THEN ? ELSE 7 END", 1, SQL_INTEGER, 10, -1},
        {"SELECT CASE 4 WHEN ? THEN 'x' END", 1, SQL_INTEGER, 10, -1},
        {"SELECT COALESCE(?, CAST(1 AS BIGINT))", 1, SQL_BIGINT, 19, -1},
        {"SELECT NULLIF(CAST(1 AS DOUBLE), ?)", 1, SQL_DOUBLE, 0, -1},
        {"SELECT a FROM (VALUES (1), (?)) AS t(a)", 1, SQL_INTEGER, 10, -1},
        {"SELECT n FROM SERIES(?, 10) AS s(n)", 1, SQL_BIGINT, 19, -1},
        {"SELECT n FROM SERIES(1, 10, ?) AS s(n, d)", 1, SQL_TYPE_DATE, 10, -1},
        // nothing says more
        {"SELECT ?", 1, SQL_VARCHAR, 255, -1},
        {"SELECT 1 WHERE ? IS NULL", 1, SQL_VARCHAR, 255, -1},
        {"SELECT ? || 'x'", 1, SQL_VARCHAR, 255, -1},
        {"SELECT 'a' || 'b' + ?", 1, SQL_DOUBLE, 0, -1},
        {"SELECT 1 WHERE ? = ?", 2, SQL_VARCHAR, 255, -1},
    };
    Session s;
    for (const ParamCase &c : cases) {
        ASSERT_EQ(s.prepare(c.sql), SQL_SUCCESS) << c.sql << " " << s.state();
        SQLSMALLINT type = 0, digits = -1, nullable = -1;
        SQLULEN size = 0;
        ASSERT_EQ(SQLDescribeParam(s.stmt, c.number, &type, &size, &digits, &nullable), SQL_SUCCESS) << c.sql;
        EXPECT_EQ(type, c.type) << c.sql;
        if (c.size != 0) {
            EXPECT_EQ(size, c.size) << c.sql;
        }
        if (c.digits >= 0) {
            EXPECT_EQ(digits, c.digits) << c.sql;
        }
        EXPECT_EQ(nullable, SQL_NULLABLE) << c.sql;
    }
}

TEST(Catalog, DescribeParamAsPreparedWhateverIsBound)
{
    Session s;
    ASSERT_EQ(s.prepare("SELECT CAST(? AS INTEGER), ?, {fn SQRT(?)}"), SQL_SUCCESS);
    SQLSMALLINT count = 0;
    ASSERT_EQ(SQLNumParams(s.stmt, &count), SQL_SUCCESS);
    EXPECT_EQ(count, 3);
    double d = 2;
    SQLLEN length = sizeof d;
    for (SQLUSMALLINT i = 1; i <= 3; ++i)
        ASSERT_EQ(SQLBindParameter(s.stmt, i, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0, &d, 0, &length),
                  SQL_SUCCESS);
    const SQLSMALLINT expected[] = {SQL_INTEGER, SQL_VARCHAR, SQL_DOUBLE};
    for (SQLUSMALLINT i = 1; i <= 3; ++i) {
        SQLSMALLINT type = 0;
        ASSERT_EQ(SQLDescribeParam(s.stmt, i, &type, nullptr, nullptr, nullptr), SQL_SUCCESS);
        EXPECT_EQ(type, expected[i - 1]) << "parameter " << i;
    }
    // and the statement runs with what is bound
    ASSERT_EQ(SQLExecute(s.stmt), SQL_SUCCESS) << s.state();
    auto rows = s.rows();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], "2");
}

TEST(Catalog, DescribeParamOnlyOfAPreparedStatement)
{
    Session s;
    SQLSMALLINT type = 0;
    // nothing prepared
    EXPECT_EQ(SQLDescribeParam(s.stmt, 1, &type, nullptr, nullptr, nullptr), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY010");
    SQLSMALLINT count = 0;
    EXPECT_EQ(SQLNumParams(s.stmt, &count), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY010");
    // numbers outside the markers
    ASSERT_EQ(s.prepare("SELECT CAST(? AS INTEGER) + ?"), SQL_SUCCESS);
    EXPECT_EQ(SQLDescribeParam(s.stmt, 0, &type, nullptr, nullptr, nullptr), SQL_ERROR);
    EXPECT_EQ(s.state(), "07009");
    EXPECT_EQ(SQLDescribeParam(s.stmt, 3, &type, nullptr, nullptr, nullptr), SQL_ERROR);
    EXPECT_EQ(s.state(), "07009");
    EXPECT_EQ(SQLDescribeParam(s.stmt, 2, &type, nullptr, nullptr, nullptr), SQL_SUCCESS);
    EXPECT_EQ(type, SQL_INTEGER);
    // with the cursor of its execution open, and once it is closed
    SQLINTEGER a = 1, b = 2;
    ASSERT_EQ(SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, &a, 0, nullptr),
              SQL_SUCCESS);
    ASSERT_EQ(SQLBindParameter(s.stmt, 2, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, &b, 0, nullptr),
              SQL_SUCCESS);
    ASSERT_EQ(SQLExecute(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(SQLDescribeParam(s.stmt, 1, &type, nullptr, nullptr, nullptr), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY010");
    ASSERT_EQ(SQLCloseCursor(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(SQLDescribeParam(s.stmt, 1, &type, nullptr, nullptr, nullptr), SQL_SUCCESS);
    // a statement executed directly was never prepared for it
    ASSERT_EQ(s.exec("SELECT 1 WHERE 1 = ?"), SQL_SUCCESS);
    SQLCloseCursor(s.stmt);
    EXPECT_EQ(SQLNumParams(s.stmt, &count), SQL_SUCCESS);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(SQLDescribeParam(s.stmt, 1, &type, nullptr, nullptr, nullptr), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY010");
}

// ---- SQLGetFunctions ----

namespace {

struct OdbcFunction {
    SQLUSMALLINT id;
    const char *name;
};

// Every ODBC function by its SQL_API_ number, as the headers give them.
const OdbcFunction kOdbcFunctions[] = {
    {SQL_API_SQLALLOCCONNECT, "SQLAllocConnect"},
    {SQL_API_SQLALLOCENV, "SQLAllocEnv"},
    {SQL_API_SQLALLOCHANDLE, "SQLAllocHandle"},
    {SQL_API_SQLALLOCSTMT, "SQLAllocStmt"},
    {SQL_API_SQLBINDCOL, "SQLBindCol"},
    {SQL_API_SQLBINDPARAM, "SQLBindParam"},
    {SQL_API_SQLCANCEL, "SQLCancel"},
    {SQL_API_SQLCLOSECURSOR, "SQLCloseCursor"},
    {SQL_API_SQLCOLATTRIBUTE, "SQLColAttribute"},
    {SQL_API_SQLCOLUMNS, "SQLColumns"},
    {SQL_API_SQLCONNECT, "SQLConnect"},
    {SQL_API_SQLCOPYDESC, "SQLCopyDesc"},
    {SQL_API_SQLDATASOURCES, "SQLDataSources"},
    {SQL_API_SQLDESCRIBECOL, "SQLDescribeCol"},
    {SQL_API_SQLDISCONNECT, "SQLDisconnect"},
    {SQL_API_SQLENDTRAN, "SQLEndTran"},
    {SQL_API_SQLERROR, "SQLError"},
    {SQL_API_SQLEXECDIRECT, "SQLExecDirect"},
    {SQL_API_SQLEXECUTE, "SQLExecute"},
    {SQL_API_SQLFETCH, "SQLFetch"},
    {SQL_API_SQLFETCHSCROLL, "SQLFetchScroll"},
    {SQL_API_SQLFREECONNECT, "SQLFreeConnect"},
    {SQL_API_SQLFREEENV, "SQLFreeEnv"},
    {SQL_API_SQLFREEHANDLE, "SQLFreeHandle"},
    {SQL_API_SQLFREESTMT, "SQLFreeStmt"},
    {SQL_API_SQLGETCONNECTATTR, "SQLGetConnectAttr"},
    {SQL_API_SQLGETCONNECTOPTION, "SQLGetConnectOption"},
    {SQL_API_SQLGETCURSORNAME, "SQLGetCursorName"},
    {SQL_API_SQLGETDATA, "SQLGetData"},
    {SQL_API_SQLGETDESCFIELD, "SQLGetDescField"},
    {SQL_API_SQLGETDESCREC, "SQLGetDescRec"},
    {SQL_API_SQLGETDIAGFIELD, "SQLGetDiagField"},
    {SQL_API_SQLGETDIAGREC, "SQLGetDiagRec"},
    {SQL_API_SQLGETENVATTR, "SQLGetEnvAttr"},
    {SQL_API_SQLGETFUNCTIONS, "SQLGetFunctions"},
    {SQL_API_SQLGETINFO, "SQLGetInfo"},
    {SQL_API_SQLGETSTMTATTR, "SQLGetStmtAttr"},
    {SQL_API_SQLGETSTMTOPTION, "SQLGetStmtOption"},
    {SQL_API_SQLGETTYPEINFO, "SQLGetTypeInfo"},
    {SQL_API_SQLNUMRESULTCOLS, "SQLNumResultCols"},
    {SQL_API_SQLPARAMDATA, "SQLParamData"},
    {SQL_API_SQLPREPARE, "SQLPrepare"},
    {SQL_API_SQLPUTDATA, "SQLPutData"},
    {SQL_API_SQLROWCOUNT, "SQLRowCount"},
    {SQL_API_SQLSETCONNECTATTR, "SQLSetConnectAttr"},
    {SQL_API_SQLSETCONNECTOPTION, "SQLSetConnectOption"},
    {SQL_API_SQLSETCURSORNAME, "SQLSetCursorName"},
    {SQL_API_SQLSETDESCFIELD, "SQLSetDescField"},
    {SQL_API_SQLSETDESCREC, "SQLSetDescRec"},
    {SQL_API_SQLSETENVATTR, "SQLSetEnvAttr"},
    {SQL_API_SQLSETPARAM, "SQLSetParam"},
    {SQL_API_SQLSETSTMTATTR, "SQLSetStmtAttr"},
    {SQL_API_SQLSETSTMTOPTION, "SQLSetStmtOption"},
    {SQL_API_SQLSPECIALCOLUMNS, "SQLSpecialColumns"},
    {SQL_API_SQLSTATISTICS, "SQLStatistics"},
    {SQL_API_SQLTABLES, "SQLTables"},
    {SQL_API_SQLTRANSACT, "SQLTransact"},
    {SQL_API_SQLCANCELHANDLE, "SQLCancelHandle"},
    {SQL_API_SQLALLOCHANDLESTD, "SQLAllocHandleStd"},
    {SQL_API_SQLBULKOPERATIONS, "SQLBulkOperations"},
    {SQL_API_SQLBINDPARAMETER, "SQLBindParameter"},
    {SQL_API_SQLBROWSECONNECT, "SQLBrowseConnect"},
    {SQL_API_SQLCOLUMNPRIVILEGES, "SQLColumnPrivileges"},
    {SQL_API_SQLDESCRIBEPARAM, "SQLDescribeParam"},
    {SQL_API_SQLDRIVERCONNECT, "SQLDriverConnect"},
    {SQL_API_SQLDRIVERS, "SQLDrivers"},
    {SQL_API_SQLEXTENDEDFETCH, "SQLExtendedFetch"},
    {SQL_API_SQLFOREIGNKEYS, "SQLForeignKeys"},
    {SQL_API_SQLMORERESULTS, "SQLMoreResults"},
    {SQL_API_SQLNATIVESQL, "SQLNativeSql"},
    {SQL_API_SQLNUMPARAMS, "SQLNumParams"},
    {SQL_API_SQLPARAMOPTIONS, "SQLParamOptions"},
    {SQL_API_SQLPRIMARYKEYS, "SQLPrimaryKeys"},
    {SQL_API_SQLPROCEDURECOLUMNS, "SQLProcedureColumns"},
    {SQL_API_SQLPROCEDURES, "SQLProcedures"},
    {SQL_API_SQLSETPOS, "SQLSetPos"},
    {SQL_API_SQLSETSCROLLOPTIONS, "SQLSetScrollOptions"},
    {SQL_API_SQLTABLEPRIVILEGES, "SQLTablePrivileges"},
};

}  // namespace

// What SQLGetFunctions says is there is exactly what the driver's shared
// object exports, so that a driver manager (which looks the names up)
// never answers IM001 for a function the driver reports, and every form of
// the answer agrees with the others. A W form (SQLExecDirectW) has its ANSI
// form's number: it counts as that function, and is there only beside it.
TEST(Catalog, GetFunctionsAgreesWithTheExportedEntryPoints)
{
    void *module = dlopen(KX_DRIVER_MODULE, RTLD_LAZY | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    Session s;
    SQLUSMALLINT odbc3[SQL_API_ODBC3_ALL_FUNCTIONS_SIZE];
    ASSERT_EQ(SQLGetFunctions(s.dbc, SQL_API_ODBC3_ALL_FUNCTIONS, odbc3), SQL_SUCCESS);
    SQLUSMALLINT odbc2[100];
    ASSERT_EQ(SQLGetFunctions(s.dbc, SQL_API_ALL_FUNCTIONS, odbc2), SQL_SUCCESS);
    int reported = 0;
    for (const OdbcFunction &f : kOdbcFunctions) {
        SQLUSMALLINT one = 99;
        ASSERT_EQ(SQLGetFunctions(s.dbc, f.id, &one), SQL_SUCCESS) << f.name;
        bool ansi = dlsym(module, f.name) != nullptr;
        bool wide = dlsym(module, (std::string(f.name) + "W").c_str()) != nullptr;
        bool exported = ansi || wide;
        EXPECT_EQ(one == SQL_TRUE, exported) << f.name << (exported ? " is exported but not reported"
                                                                     : " is reported but not exported");
        EXPECT_TRUE(ansi || !wide) << f.name << "W is exported without " << f.name;
        EXPECT_EQ(SQL_FUNC_EXISTS(odbc3, f.id) == SQL_TRUE, one == SQL_TRUE) << f.name;
        if (f.id < 100) {
            EXPECT_EQ(odbc2[f.id], one) << f.name;
        }
        reported += one == SQL_TRUE;
    }
    // the Core functions the driver has, and the ones of this kind it has not
    EXPECT_EQ(reported, 63);
    for (SQLUSMALLINT missing : {SQL_API_SQLBULKOPERATIONS, SQL_API_SQLSETPOS, SQL_API_SQLBROWSECONNECT}) {
        SQLUSMALLINT one = 99;
        SQLGetFunctions(s.dbc, missing, &one);
        EXPECT_EQ(one, SQL_FALSE) << missing;
    }
    // a number that is no function
    SQLUSMALLINT one = 99;
    ASSERT_EQ(SQLGetFunctions(s.dbc, 3999, &one), SQL_SUCCESS);
    EXPECT_EQ(one, SQL_FALSE);
    EXPECT_EQ(SQLGetFunctions(s.dbc, SQL_API_SQLFETCH, nullptr), SQL_ERROR);
    dlclose(module);
}

// The driver is a Unicode driver: every function it exports that ODBC gives
// a W form (the ones that take or give text) has its W form exported too,
// so that a driver manager never converts a wide application's text for it.
TEST(Catalog, EveryFunctionWithTextHasItsWForm)
{
    const char *const with_w_form[] = {
        "SQLBrowseConnect", "SQLColAttribute", "SQLColAttributes", "SQLColumnPrivileges", "SQLColumns",
        "SQLConnect", "SQLDataSources", "SQLDescribeCol", "SQLDriverConnect", "SQLDrivers", "SQLError",
        "SQLExecDirect", "SQLForeignKeys", "SQLGetConnectAttr", "SQLGetConnectOption", "SQLGetCursorName",
        "SQLGetDescField", "SQLGetDescRec", "SQLGetDiagField", "SQLGetDiagRec", "SQLGetInfo",
        "SQLGetStmtAttr", "SQLGetTypeInfo", "SQLNativeSql", "SQLPrepare", "SQLPrimaryKeys",
        "SQLProcedureColumns", "SQLProcedures", "SQLSetConnectAttr", "SQLSetConnectOption",
        "SQLSetCursorName", "SQLSetDescField", "SQLSetStmtAttr", "SQLSpecialColumns",
        "SQLStatistics", "SQLTablePrivileges", "SQLTables",
    };
    void *module = dlopen(KX_DRIVER_MODULE, RTLD_LAZY | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    int wide_forms = 0;
    for (const char *name : with_w_form) {
        bool ansi = dlsym(module, name) != nullptr;
        bool wide = dlsym(module, (std::string(name) + "W").c_str()) != nullptr;
        EXPECT_EQ(ansi, wide) << name;
        wide_forms += wide;
    }
    EXPECT_EQ(wide_forms, 31);
    dlclose(module);
}

// ---- descriptions that hold ----

// Every column's description bounds what it returns: a character column's
// size is at least the octets of every value (and so its characters), and
// any column's display size at least the length of its text.
TEST(Catalog, DescribedSizesBoundWhatIsReturned)
{
    const char *cases[] = {
        "SELECT {fn REPEAT('ab', 1000)}",
        "SELECT {fn REPEAT('abc', 0)}, {fn REPEAT('x', -3)}, {fn REPEAT({fn REPEAT('ab', 3)}, 4)}",
        "SELECT {fn SPACE(300)}, {fn SPACE(0)}, {fn SPACE(-4)}",
        "SELECT {fn REPLACE('aaa', 'a', 'bbbb')}, {fn REPLACE('banana', 'an', 'AN')}",
        "SELECT {fn REPLACE('abc', '', 'xyz')}, {fn REPLACE('aaaa', 'a ', 'bb')}",
        "SELECT {fn REPLACE({fn REPEAT('a', 10)}, 'a', 'bcd')}",
        "SELECT {fn REPLACE({fn REPEAT('ab', 5)}, {fn SUBSTRING('b', 1, 1)}, 'xyz')}",
        "SELECT {fn INSERT('abc', 1, 1, 'xxxxx')}, {fn INSERT('abcdef', 4, -2, 'X')}",
        "SELECT {fn INSERT('abcdef', 9, -20, 'XY')}, {fn INSERT('abcdef', 0, -9, 'XY')}",
        "SELECT {fn CONCAT('ab', 12345)}, {fn CONCAT(CAST(-0.5 AS NUMERIC(38,37)), 'x')}",
        "SELECT {fn LEFT(CAST(-0.5 AS NUMERIC(38,37)), 100)}, {fn UCASE(-2147483648)}",
        "SELECT {fn LCASE({ts '2024-01-02 03:04:05.123456789'})}, UPPER('abc'), LOWER('ÀÉ')",
        "SELECT CASE WHEN 1 = 1 THEN CAST(-0.5 AS NUMERIC(38,37)) ELSE 'a' END",
        "SELECT 'a' || CAST(-9223372036854775807 AS BIGINT), 'x' || {fn PI()}, 'x' || -1.5E-300",
        "SELECT COALESCE('a', 123456), COALESCE(NULL, 'abc'), {fn IFNULL(NULL, 'abcd')}",
        "SELECT {fn DAYNAME({d '2024-01-03'})}, {fn MONTHNAME({d '2024-09-03'})}, {fn SOUNDEX('Tymczak')}",
        "SELECT {fn REPEAT('ab', n)}, {fn SPACE(n)}, {fn REPLACE('ab', 'b', {fn SPACE(n)})} FROM SERIES(1, 3) AS s(n)",
        "SELECT x || x FROM (VALUES ('a'), ('abc'), (NULL)) AS t(x)",
        "SELECT {fn SUBSTRING('abcdef', 2, 3)}, SUBSTRING('abcdef' FROM 2), {fn RTRIM('ab  ')}",
        "SELECT -2147483647 - 1, CAST(-9223372036854775807 AS BIGINT) - 1, -1.5E-300, {d '2024-01-01'}",
        "SELECT {ts '2024-01-02 03:04:05.123456789'}, {t '23:59:59'}, CAST(-0.5 AS NUMERIC(38,37))",
    };
    Session s;
    for (const char *sql : cases) {
        ASSERT_EQ(s.prepare(sql), SQL_SUCCESS) << sql << " " << s.diagnostic().message;
        SQLSMALLINT count = 0;
        ASSERT_EQ(SQLNumResultCols(s.stmt, &count), SQL_SUCCESS);
        std::vector<SQLSMALLINT> types(static_cast<size_t>(count));
        std::vector<SQLULEN> sizes(static_cast<size_t>(count));
        std::vector<SQLLEN> display(static_cast<size_t>(count));
        for (SQLUSMALLINT c = 1; c <= count; ++c) {
            ASSERT_EQ(SQLDescribeCol(s.stmt, c, nullptr, 0, nullptr, &types[c - 1u], &sizes[c - 1u], nullptr,
                                     nullptr),
                      SQL_SUCCESS);
            ASSERT_EQ(SQLColAttribute(s.stmt, c, SQL_DESC_DISPLAY_SIZE, nullptr, 0, nullptr, &display[c - 1u]),
                      SQL_SUCCESS);
        }
        ASSERT_EQ(SQLExecute(s.stmt), SQL_SUCCESS) << sql << " " << s.diagnostic().message;
        auto rows = s.rows();
        ASSERT_FALSE(rows.empty()) << sql << " " << s.error_state;
        for (const auto &row : rows)
            for (size_t c = 0; c < row.size(); ++c) {
                if (row[c] == "NULL")
                    continue;
                bool character = types[c] == SQL_VARCHAR || types[c] == SQL_CHAR || types[c] == SQL_LONGVARCHAR;
                if (character) {
                    EXPECT_GE(sizes[c], row[c].size()) << sql << " column " << c + 1 << ": " << row[c].substr(0, 40);
                }
                EXPECT_GE(static_cast<size_t>(display[c]), row[c].size())
                    << sql << " column " << c + 1 << ": " << row[c].substr(0, 40);
            }
    }
}

TEST(Catalog, RepeatAndSpaceOfLiteralsAreSizedFromTheirArguments)
{
    struct Sized {
        const char *sql;
        SQLSMALLINT type;
        SQLULEN size;
    } cases[] = {
        {"SELECT {fn REPEAT('ab', 1000)}", SQL_VARCHAR, 2000},
        {"SELECT {fn REPEAT('ab', 0)}", SQL_VARCHAR, 2},
        {"SELECT {fn SPACE(300)}", SQL_VARCHAR, 300},
        {"SELECT {fn REPLACE('banana', 'an', 'AN')}", SQL_VARCHAR, 6},
        {"SELECT {fn REPLACE('banana', 'a', 'xyz')}", SQL_VARCHAR, 18},
        {"SELECT {fn INSERT('abc', 1, 1, 'xxxxx')}", SQL_VARCHAR, 8},
        {"SELECT {fn REPEAT('xy', 1000000)}", SQL_LONGVARCHAR, 2000000},
        // arguments that are not literals: no bound is known
        {"SELECT {fn REPEAT('ab', n)} FROM SERIES(1, 2) AS s(n)", SQL_LONGVARCHAR, 2147483647},
        {"SELECT {fn SPACE(n)} FROM SERIES(1, 2) AS s(n)", SQL_LONGVARCHAR, 2147483647},
    };
    Session s;
    for (const Sized &c : cases) {
        ASSERT_EQ(s.prepare(c.sql), SQL_SUCCESS) << c.sql;
        SQLSMALLINT type = 0;
        SQLULEN size = 0;
        ASSERT_EQ(SQLDescribeCol(s.stmt, 1, nullptr, 0, nullptr, &type, &size, nullptr, nullptr), SQL_SUCCESS);
        EXPECT_EQ(type, c.type) << c.sql;
        EXPECT_EQ(size, c.size) << c.sql;
    }
}

namespace {

bool numeric_type(long type)
{
    return type == SQL_TINYINT || type == SQL_SMALLINT || type == SQL_INTEGER || type == SQL_BIGINT ||
           type == SQL_NUMERIC || type == SQL_DECIMAL || type == SQL_REAL || type == SQL_FLOAT ||
           type == SQL_DOUBLE;
}

bool approximate_type(long type) { return type == SQL_REAL || type == SQL_FLOAT || type == SQL_DOUBLE; }

}  // namespace

// UNSIGNED_ATTRIBUTE is SQL_FALSE for the (signed) numbers and NULL for the
// types that are not numbers; NUM_PREC_RADIX is 2 for the approximate
// numbers, whose COLUMN_SIZE counts bits (24 and 53), and 10 for the exact
// ones.
TEST(Catalog, TypeInfoSignsAndRadixes)
{
    Session s;
    ASSERT_EQ(SQLGetTypeInfo(s.stmt, SQL_ALL_TYPES), SQL_SUCCESS);
    auto rows = s.rows();
    ASSERT_FALSE(rows.empty());
    for (const auto &row : rows) {
        long type = std::stol(row[1]);
        const std::string &size = row[2], &unsigned_attribute = row[9], &radix = row[17];
        if (numeric_type(type)) {
            EXPECT_EQ(unsigned_attribute, "0") << row[0];
            EXPECT_EQ(radix, approximate_type(type) ? "2" : "10") << row[0];
        } else {
            EXPECT_EQ(unsigned_attribute, "NULL") << row[0];
            EXPECT_EQ(radix, "NULL") << row[0];
        }
        if (type == SQL_REAL) {
            EXPECT_EQ(size, "24");
        }
        if (type == SQL_FLOAT || type == SQL_DOUBLE) {
            EXPECT_EQ(size, "53") << row[0];
        }
    }
}

// SQL_DESC_UNSIGNED is SQL_TRUE for a column that is not numeric and
// SQL_FALSE for every number; sizes and radixes agree with SQLGetTypeInfo.
TEST(Catalog, ColumnSignsRadixesAndPrecisionsAgreeWithTypeInfo)
{
    Session s;
    ASSERT_EQ(s.prepare("SELECT 1, 'a', 1.5, CAST(1 AS DOUBLE), {d '2024-01-01'}, CAST(1 AS BIGINT), "
                        "CAST(1 AS REAL), INTERVAL '1' DAY, X'01'"),
              SQL_SUCCESS);
    const SQLLEN unsigned_expected[] = {SQL_FALSE, SQL_TRUE, SQL_FALSE, SQL_FALSE, SQL_TRUE,
                                        SQL_FALSE, SQL_FALSE, SQL_TRUE,  SQL_TRUE};
    const SQLLEN radix_expected[] = {10, 0, 10, 2, 0, 10, 2, 0, 0};
    for (SQLUSMALLINT c = 1; c <= 9; ++c) {
        SQLLEN is_unsigned = -1, radix = -1, precision = -1;
        ASSERT_EQ(SQLColAttribute(s.stmt, c, SQL_DESC_UNSIGNED, nullptr, 0, nullptr, &is_unsigned), SQL_SUCCESS);
        ASSERT_EQ(SQLColAttribute(s.stmt, c, SQL_DESC_NUM_PREC_RADIX, nullptr, 0, nullptr, &radix), SQL_SUCCESS);
        ASSERT_EQ(SQLColAttribute(s.stmt, c, SQL_DESC_PRECISION, nullptr, 0, nullptr, &precision), SQL_SUCCESS);
        EXPECT_EQ(is_unsigned, unsigned_expected[c - 1]) << "column " << c;
        EXPECT_EQ(radix, radix_expected[c - 1]) << "column " << c;
        SQLSMALLINT type = 0;
        SQLULEN size = 0;
        ASSERT_EQ(SQLDescribeCol(s.stmt, c, nullptr, 0, nullptr, &type, &size, nullptr, nullptr), SQL_SUCCESS);
        if (type == SQL_DOUBLE) {
            EXPECT_EQ(size, 53u);
            EXPECT_EQ(precision, 53);
        }
    }
    // a catalogue's SMALLINT columns are signed: negative data types read
    // back through the C type a signed column calls for
    ASSERT_EQ(SQLGetTypeInfo(s.stmt, SQL_BIT), SQL_SUCCESS);
    SQLLEN is_unsigned = -1;
    ASSERT_EQ(SQLColAttribute(s.stmt, 2, SQL_DESC_UNSIGNED, nullptr, 0, nullptr, &is_unsigned), SQL_SUCCESS);
    EXPECT_EQ(is_unsigned, SQL_FALSE);
    ASSERT_EQ(SQLColAttribute(s.stmt, 1, SQL_DESC_UNSIGNED, nullptr, 0, nullptr, &is_unsigned), SQL_SUCCESS);
    EXPECT_EQ(is_unsigned, SQL_TRUE);
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    SQLINTEGER data_type = 0;
    ASSERT_EQ(SQLGetData(s.stmt, 2, SQL_C_SLONG, &data_type, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(data_type, SQL_BIT);
    SQLCloseCursor(s.stmt);
    // SQLGetTypeInfo(SQL_DOUBLE) says what SQLDescribeCol says of a double
    ASSERT_EQ(SQLGetTypeInfo(s.stmt, SQL_DOUBLE), SQL_SUCCESS);
    auto rows = s.rows();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][2], "53");
    EXPECT_EQ(rows[0][17], "2");
}

TEST(Catalog, StringFunctionsIncludeLocateOfTwoArguments)
{
    Session s;
    SQLUINTEGER bits = 0;
    ASSERT_EQ(SQLGetInfo(s.dbc, SQL_STRING_FUNCTIONS, &bits, sizeof bits, nullptr), SQL_SUCCESS);
    EXPECT_EQ(bits & (SQL_FN_STR_LOCATE | SQL_FN_STR_LOCATE_2), SQL_FN_STR_LOCATE | SQL_FN_STR_LOCATE_2);
    EXPECT_EQ(s.scalar("SELECT {fn LOCATE('b', 'abcb')}"), "2");
    EXPECT_EQ(s.scalar("SELECT {fn LOCATE('b', 'abcb', 3)}"), "4");
}

// ---- dates, times and timestamps as parameters ----

namespace {

// SELECT ? with one parameter of C type c_type bound as sql_type: the
// value's text, or "error STATE".
std::string bound_datetime(Session &s, SQLSMALLINT c_type, void *data, SQLSMALLINT sql_type, SQLULEN column_size,
                           SQLSMALLINT digits = 0)
{
    if (s.prepare("SELECT ?") != SQL_SUCCESS)
        return "error prepare " + s.state();
    SQLLEN length = 0;
    if (SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, c_type, sql_type, column_size, digits, data, 0, &length) !=
        SQL_SUCCESS)
        return "error bind " + s.state();
    if (!SQL_SUCCEEDED(SQLExecute(s.stmt)))
        return "error " + s.state();
    auto rows = s.rows();
    SQLFreeStmt(s.stmt, SQL_RESET_PARAMS);
    return rows.empty() ? "error " + s.error_state : rows[0][0];
}

}  // namespace

// A timestamp to a character type: its whole text or 22001, never a text
// cut to the column size (the fraction is not dropped either).
TEST(Catalog, TimestampsToCharacterParameters)
{
    Session s;
    SQL_TIMESTAMP_STRUCT ts{2024, 1, 2, 3, 4, 5, 123000000};
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_VARCHAR, 19), "error 22001");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_VARCHAR, 22), "error 22001");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_VARCHAR, 23), "2024-01-02 03:04:05.123");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_WVARCHAR, 19), "error 22001");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_CHAR, 30), "2024-01-02 03:04:05.123");
    EXPECT_EQ(bound_datetime(s, SQL_C_TIMESTAMP, &ts, SQL_LONGVARCHAR, 0), "2024-01-02 03:04:05.123");
    ts.fraction = 0;
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_VARCHAR, 19), "2024-01-02 03:04:05");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_VARCHAR, 18), "error 22001");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_VARCHAR, 10), "error 22001");
    ts.month = 13;
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_VARCHAR, 30), "error 22008");
    // the column described is as wide as the text it holds
    ts = SQL_TIMESTAMP_STRUCT{2024, 1, 2, 3, 4, 5, 120000000};
    ASSERT_EQ(s.prepare("SELECT ?"), SQL_SUCCESS);
    SQLLEN length = 0;
    ASSERT_EQ(SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_TYPE_TIMESTAMP, SQL_VARCHAR, 22, 0, &ts, 0,
                               &length),
              SQL_SUCCESS);
    ASSERT_EQ(SQLExecute(s.stmt), SQL_SUCCESS);
    SQLSMALLINT type = 0;
    SQLULEN size = 0;
    ASSERT_EQ(SQLDescribeCol(s.stmt, 1, nullptr, 0, nullptr, &type, &size, nullptr, nullptr), SQL_SUCCESS);
    EXPECT_EQ(type, SQL_VARCHAR);
    EXPECT_EQ(size, 22u);
    auto rows = s.rows();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][0], "2024-01-02 03:04:05.12");
}

TEST(Catalog, DatesAndTimesToCharacterParameters)
{
    Session s;
    SQL_DATE_STRUCT d{2024, 2, 29};
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_DATE, &d, SQL_VARCHAR, 10), "2024-02-29");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_DATE, &d, SQL_VARCHAR, 9), "error 22001");
    EXPECT_EQ(bound_datetime(s, SQL_C_DATE, &d, SQL_WCHAR, 12), "2024-02-29");
    SQL_DATE_STRUCT not_a_date{2023, 2, 29};
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_DATE, &not_a_date, SQL_VARCHAR, 10), "error 22008");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_DATE, &not_a_date, SQL_TYPE_DATE, 0), "error 22007");
    SQL_TIME_STRUCT t{13, 14, 15};
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIME, &t, SQL_CHAR, 8), "13:14:15");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIME, &t, SQL_CHAR, 7), "error 22001");
    SQL_TIME_STRUCT not_a_time{24, 0, 0};
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIME, &not_a_time, SQL_VARCHAR, 8), "error 22008");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIME, &not_a_time, SQL_TYPE_TIME, 0), "error 22007");
}

TEST(Catalog, DatetimesToDatetimeParameters)
{
    Session s;
    SQL_TIMESTAMP_STRUCT ts{2024, 1, 2, 3, 4, 5, 123000000};
    // a timestamp to a date keeps no time of day, to a time no fraction
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_TYPE_DATE, 10), "error 22008");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_TYPE_TIME, 8), "error 22008");
    // and the fraction fits the parameter's decimal digits
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_TYPE_TIMESTAMP, 23, 3), "2024-01-02 03:04:05.123");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_TYPE_TIMESTAMP, 22, 2), "error 22008");
    ts.fraction = 0;
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_TYPE_TIME, 8), "03:04:05");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_TYPE_TIMESTAMP, 19, 0), "2024-01-02 03:04:05");
    ts.hour = ts.minute = ts.second = 0;
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIMESTAMP, &ts, SQL_TYPE_DATE, 10), "2024-01-02");
    // a date to a timestamp is its midnight, a time to one is today's
    SQL_DATE_STRUCT d{2024, 2, 29};
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_DATE, &d, SQL_TYPE_TIMESTAMP, 19), "2024-02-29 00:00:00");
    SQL_TIME_STRUCT t{13, 14, 15};
    std::string today = s.scalar("SELECT CAST(CURRENT_DATE AS VARCHAR(10))");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIME, &t, SQL_TYPE_TIMESTAMP, 19), today + " 13:14:15");
    // no conversion to numbers, nor between dates and times
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_DATE, &d, SQL_INTEGER, 0), "error 07006");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_DATE, &d, SQL_TYPE_TIME, 0), "error 07006");
    EXPECT_EQ(bound_datetime(s, SQL_C_TYPE_TIME, &t, SQL_TYPE_DATE, 0), "error 07006");
}

namespace {

// The value a character parameter gives bound as an SQL type, or "error STATE".
std::string character_parameter(const char *text, SQLSMALLINT sql_type)
{
    Session s;
    SQLLEN length = SQL_NTS;
    if (s.prepare("SELECT ?") != SQL_SUCCESS)
        return "prepare failed";
    SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, sql_type, 0, 0, const_cast<char *>(text), 0,
                     &length);
    if (!SQL_SUCCEEDED(SQLExecute(s.stmt)))
        return "error " + s.state();
    auto rows = s.rows();
    return rows.empty() ? "error " + s.error_state : rows[0][0];
}

}  // namespace

// ODBC's character to integer rules: a fraction that would be cut is
// 22001, a value outside the column's type 22003, text that is no number
// 22018.
TEST(Catalog, CharactersToIntegerParameters)
{
    EXPECT_EQ(character_parameter(" 42 ", SQL_INTEGER), "42");
    EXPECT_EQ(character_parameter("1e3", SQL_INTEGER), "1000");
    EXPECT_EQ(character_parameter("7.000", SQL_SMALLINT), "7");
    EXPECT_EQ(character_parameter("1.25", SQL_INTEGER), "error 22001");
    EXPECT_EQ(character_parameter("-0.5", SQL_BIGINT), "error 22001");
    EXPECT_EQ(character_parameter("32768", SQL_SMALLINT), "error 22003");
    EXPECT_EQ(character_parameter("-129", SQL_TINYINT), "error 22003");
    EXPECT_EQ(character_parameter("2147483648", SQL_INTEGER), "error 22003");
    EXPECT_EQ(character_parameter("9223372036854775807", SQL_BIGINT), "9223372036854775807");
    EXPECT_EQ(character_parameter("9223372036854775808", SQL_BIGINT), "error 22003");
    EXPECT_EQ(character_parameter("12abc", SQL_INTEGER), "error 22018");
    EXPECT_EQ(character_parameter("", SQL_INTEGER), "error 22018");
}
