// Descriptors: the four a statement has, what SQLBindCol and
// SQLBindParameter write into them, columns and parameters bound through
// SQLSetDescField and SQLSetDescRec fetched and sent as the bind calls' are,
// the IRD as SQLColAttribute and SQLDescribeCol describe it, the errors of
// writing an IRD or an inconsistent record, explicit descriptors shared by
// statements and freed while in use, and SQLCopyDesc.
#include <sql.h>
#include <sqlext.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "driver/driver_harness.h"

namespace {

using kxtest::diagnostic_of;
using kxtest::Session;

// The ten rows n = 1..10 with their text 'r<n>'.
constexpr const char *kTenRows =
    "SELECT n, {fn CONCAT('r', CAST(n AS VARCHAR(5)))} FROM SERIES(1, 10) AS s(n)";

SQLHDESC descriptor(Session &s, SQLINTEGER attribute)
{
    SQLHDESC d = SQL_NULL_HDESC;
    EXPECT_EQ(SQLGetStmtAttr(s.stmt, attribute, &d, SQL_IS_POINTER, nullptr), SQL_SUCCESS);
    return d;
}

SQLPOINTER word(SQLLEN n)
{
    return reinterpret_cast<SQLPOINTER>(n);
}

SQLSMALLINT small_field(SQLHDESC d, SQLSMALLINT record, SQLSMALLINT field)
{
    SQLSMALLINT n = -999;
    EXPECT_EQ(SQLGetDescField(d, record, field, &n, SQL_IS_SMALLINT, nullptr), SQL_SUCCESS) << field;
    return n;
}

SQLLEN len_field(SQLHDESC d, SQLSMALLINT record, SQLSMALLINT field)
{
    SQLLEN n = -999;
    EXPECT_EQ(SQLGetDescField(d, record, field, &n, SQL_IS_INTEGER, nullptr), SQL_SUCCESS) << field;
    return n;
}

SQLPOINTER pointer_field(SQLHDESC d, SQLSMALLINT record, SQLSMALLINT field)
{
    SQLPOINTER p = word(-1);
    EXPECT_EQ(SQLGetDescField(d, record, field, &p, SQL_IS_POINTER, nullptr), SQL_SUCCESS) << field;
    return p;
}

std::string desc_state(SQLHDESC d)
{
    return diagnostic_of(SQL_HANDLE_DESC, d).state;
}

TEST(Descriptor, FourImplicitHandlesNonNullAndDistinct)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLHDESC handles[] = {descriptor(s, SQL_ATTR_APP_ROW_DESC), descriptor(s, SQL_ATTR_APP_PARAM_DESC),
                          descriptor(s, SQL_ATTR_IMP_ROW_DESC), descriptor(s, SQL_ATTR_IMP_PARAM_DESC)};
    for (int i = 0; i < 4; ++i) {
        ASSERT_NE(handles[i], nullptr);
        EXPECT_EQ(small_field(handles[i], 0, SQL_DESC_ALLOC_TYPE), SQL_DESC_ALLOC_AUTO);
        for (int j = 0; j < i; ++j)
            EXPECT_NE(handles[i], handles[j]);
    }
    // an implicit descriptor is the statement's: it is not freed apart
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DESC, handles[0]), SQL_ERROR);
    EXPECT_EQ(desc_state(handles[0]), "HY017");
    // a statement's implementation descriptors are not replaced
    EXPECT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_IMP_ROW_DESC, handles[2], 0), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY017");
}

TEST(Descriptor, BindColShowsInTheArd)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    EXPECT_EQ(small_field(ard, 0, SQL_DESC_COUNT), 0);
    char text[16];
    SQLLEN indicator = 0;
    ASSERT_EQ(SQLBindCol(s.stmt, 2, SQL_C_CHAR, text, sizeof text, &indicator), SQL_SUCCESS);
    EXPECT_EQ(small_field(ard, 0, SQL_DESC_COUNT), 2);
    EXPECT_EQ(small_field(ard, 2, SQL_DESC_TYPE), SQL_C_CHAR);
    EXPECT_EQ(small_field(ard, 2, SQL_DESC_CONCISE_TYPE), SQL_C_CHAR);
    EXPECT_EQ(pointer_field(ard, 2, SQL_DESC_DATA_PTR), text);
    EXPECT_EQ(len_field(ard, 2, SQL_DESC_OCTET_LENGTH), static_cast<SQLLEN>(sizeof text));
    EXPECT_EQ(pointer_field(ard, 2, SQL_DESC_INDICATOR_PTR), &indicator);
    EXPECT_EQ(pointer_field(ard, 2, SQL_DESC_OCTET_LENGTH_PTR), &indicator);
    // record 1 is there, unbound
    EXPECT_EQ(pointer_field(ard, 1, SQL_DESC_DATA_PTR), nullptr);
    // past the last record there is nothing; record 0 is a bookmark's
    SQLSMALLINT n = 0;
    EXPECT_EQ(SQLGetDescField(ard, 3, SQL_DESC_TYPE, &n, 0, nullptr), SQL_NO_DATA);
    EXPECT_EQ(SQLGetDescField(ard, 0, SQL_DESC_TYPE, &n, 0, nullptr), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "07009");
    EXPECT_EQ(SQLGetDescField(ard, 1, 9999, &n, 0, nullptr), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY091");
    // a timestamp's verbose type and code
    SQL_TIMESTAMP_STRUCT ts;
    ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_TYPE_TIMESTAMP, &ts, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(small_field(ard, 1, SQL_DESC_TYPE), SQL_DATETIME);
    EXPECT_EQ(small_field(ard, 1, SQL_DESC_DATETIME_INTERVAL_CODE), SQL_CODE_TIMESTAMP);
    EXPECT_EQ(small_field(ard, 1, SQL_DESC_CONCISE_TYPE), SQL_C_TYPE_TIMESTAMP);
    // unbinding the last column lowers the count
    ASSERT_EQ(SQLBindCol(s.stmt, 2, SQL_C_CHAR, nullptr, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(small_field(ard, 0, SQL_DESC_COUNT), 1);
    ASSERT_EQ(SQLFreeStmt(s.stmt, SQL_UNBIND), SQL_SUCCESS);
    EXPECT_EQ(small_field(ard, 0, SQL_DESC_COUNT), 0);
}

TEST(Descriptor, StatementAttributesAreHeaderFields)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    SQLHDESC ird = descriptor(s, SQL_ATTR_IMP_ROW_DESC);
    SQLHDESC apd = descriptor(s, SQL_ATTR_APP_PARAM_DESC);
    SQLHDESC ipd = descriptor(s, SQL_ATTR_IMP_PARAM_DESC);
    SQLULEN fetched = 0;
    SQLUSMALLINT statuses[3];
    SQLLEN offset = 0;
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROW_ARRAY_SIZE, word(3), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROW_STATUS_PTR, statuses, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROW_BIND_OFFSET_PTR, &offset, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROW_BIND_TYPE, word(24), 0), SQL_SUCCESS);
    EXPECT_EQ(len_field(ard, 0, SQL_DESC_ARRAY_SIZE), 3);
    EXPECT_EQ(pointer_field(ard, 0, SQL_DESC_BIND_OFFSET_PTR), &offset);
    SQLINTEGER bind_type = 0;
    ASSERT_EQ(SQLGetDescField(ard, 0, SQL_DESC_BIND_TYPE, &bind_type, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(bind_type, 24);
    EXPECT_EQ(pointer_field(ird, 0, SQL_DESC_ROWS_PROCESSED_PTR), &fetched);
    EXPECT_EQ(pointer_field(ird, 0, SQL_DESC_ARRAY_STATUS_PTR), statuses);

    SQLULEN processed = 0;
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_PARAMSET_SIZE, word(5), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_PARAMS_PROCESSED_PTR, &processed, 0), SQL_SUCCESS);
    EXPECT_EQ(len_field(apd, 0, SQL_DESC_ARRAY_SIZE), 5);
    EXPECT_EQ(pointer_field(ipd, 0, SQL_DESC_ROWS_PROCESSED_PTR), &processed);

    // and the other way round
    ASSERT_EQ(SQLSetDescField(ard, 0, SQL_DESC_ARRAY_SIZE, word(7), 0), SQL_SUCCESS);
    SQLULEN size = 0;
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_ROW_ARRAY_SIZE, &size, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(size, 7u);
    EXPECT_EQ(SQLSetDescField(ard, 0, SQL_DESC_ARRAY_SIZE, word(0), 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY024");
    EXPECT_EQ(SQLSetDescField(ard, 0, SQL_DESC_ALLOC_TYPE, word(SQL_DESC_ALLOC_USER), 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY091");
}

// Rows 1..10 into a column of numbers and one of texts, four a fetch.
struct Rowset {
    SQLINTEGER numbers[4];
    SQLLEN number_ind[4];
    char texts[4][8];
    SQLLEN text_ind[4];
};

// Fetches every rowset of kTenRows and returns "n:text" for each row.
std::vector<std::string> fetch_all(Session &s, Rowset &r, SQLULEN array_size)
{
    SQLULEN fetched = 0;
    EXPECT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0), SQL_SUCCESS);
    std::vector<std::string> out;
    EXPECT_TRUE(SQL_SUCCEEDED(s.exec(kTenRows))) << s.diagnostic().message;
    for (;;) {
        SQLRETURN rc = SQLFetch(s.stmt);
        if (rc == SQL_NO_DATA)
            break;
        EXPECT_EQ(rc, SQL_SUCCESS) << s.diagnostic().message;
        if (rc != SQL_SUCCESS)
            break;
        EXPECT_LE(fetched, array_size);
        for (SQLULEN k = 0; k < fetched; ++k)
            out.push_back(std::to_string(r.numbers[k]) + ":" + r.texts[k] + ":" +
                          std::to_string(r.number_ind[k]) + ":" + std::to_string(r.text_ind[k]));
    }
    return out;
}

std::vector<std::string> fetched_with_bind_col(SQLULEN array_size)
{
    Session s;
    Rowset r{};
    EXPECT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROW_ARRAY_SIZE, word(static_cast<SQLLEN>(array_size)), 0),
              SQL_SUCCESS);
    EXPECT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, r.numbers, 0, r.number_ind), SQL_SUCCESS);
    EXPECT_EQ(SQLBindCol(s.stmt, 2, SQL_C_CHAR, r.texts, sizeof r.texts[0], r.text_ind), SQL_SUCCESS);
    return fetch_all(s, r, array_size);
}

TEST(Descriptor, ColumnsBoundThroughSetDescFieldFetchAsBindCol)
{
    for (SQLULEN array_size : {1u, 4u}) {
        std::vector<std::string> expected = fetched_with_bind_col(array_size);
        ASSERT_EQ(expected.size(), 10u);
        EXPECT_EQ(expected[9], "10:r10:4:3");
        Session s;
        Rowset r{};
        SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
        ASSERT_EQ(SQLSetDescField(ard, 0, SQL_DESC_ARRAY_SIZE, word(static_cast<SQLLEN>(array_size)), 0),
                  SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_TYPE, word(SQL_C_SLONG), 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_INDICATOR_PTR, r.number_ind, 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_OCTET_LENGTH_PTR, r.number_ind, 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_DATA_PTR, r.numbers, 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 2, SQL_DESC_CONCISE_TYPE, word(SQL_C_CHAR), 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 2, SQL_DESC_OCTET_LENGTH, word(sizeof r.texts[0]), 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 2, SQL_DESC_INDICATOR_PTR, r.text_ind, 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 2, SQL_DESC_OCTET_LENGTH_PTR, r.text_ind, 0), SQL_SUCCESS);
        ASSERT_EQ(SQLSetDescField(ard, 2, SQL_DESC_DATA_PTR, r.texts, 0), SQL_SUCCESS);
        EXPECT_EQ(fetch_all(s, r, array_size), expected) << array_size;
    }
}

TEST(Descriptor, ColumnsBoundThroughSetDescRecFetchAsBindCol)
{
    std::vector<std::string> expected = fetched_with_bind_col(4);
    Session s;
    Rowset r{};
    SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_ROW_ARRAY_SIZE, word(4), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescRec(ard, 1, SQL_C_SLONG, 0, 0, 0, 0, r.numbers, r.number_ind, r.number_ind),
              SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescRec(ard, 2, SQL_C_CHAR, 0, sizeof r.texts[0], 0, 0, r.texts, r.text_ind, r.text_ind),
              SQL_SUCCESS);
    EXPECT_EQ(fetch_all(s, r, 4), expected);
    SQLSMALLINT type = 0, subtype = -1, precision = -1, scale = -1, nullable = -1;
    SQLLEN length = 0;
    ASSERT_EQ(SQLGetDescRec(ard, 2, nullptr, 0, nullptr, &type, &subtype, &length, &precision, &scale, &nullable),
              SQL_SUCCESS);
    EXPECT_EQ(type, SQL_C_CHAR);
    EXPECT_EQ(length, static_cast<SQLLEN>(sizeof r.texts[0]));
}

TEST(Descriptor, NullIndicatorApartFromTheLength)
{
    Session s;
    SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    char text[8];
    SQLLEN indicator = 99, length = 99;
    ASSERT_EQ(SQLSetDescRec(ard, 1, SQL_C_CHAR, 0, sizeof text, 0, 0, text, &length, &indicator), SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT x FROM (VALUES ('abc'), (NULL)) AS t(x)")));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(indicator, 0);
    EXPECT_EQ(length, 3);
    length = 99;
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(indicator, SQL_NULL_DATA);
    EXPECT_EQ(length, 99);
}

TEST(Descriptor, IrdAgreesWithColAttributeAndDescribeCol)
{
    Session s;
    SQLHDESC ird = descriptor(s, SQL_ATTR_IMP_ROW_DESC);
    SQLSMALLINT n = 0;
    // nothing is described before a statement is prepared
    EXPECT_EQ(SQLGetDescField(ird, 0, SQL_DESC_COUNT, &n, 0, nullptr), SQL_ERROR);
    EXPECT_EQ(desc_state(ird), "HY007");
    ASSERT_EQ(s.prepare("SELECT 42 AS answer, 'abc' AS word, CAST(1.25 AS NUMERIC(10,2)) AS amount, "
                        "{ts '2024-01-02 03:04:05'} AS stamp"),
              SQL_SUCCESS);
    ASSERT_EQ(small_field(ird, 0, SQL_DESC_COUNT), 4);
    for (SQLSMALLINT c = 1; c <= 4; ++c) {
        SQLCHAR name[64] = {0};
        SQLSMALLINT type = 0, digits = 0, nullable = 0;
        SQLULEN size = 0;
        ASSERT_EQ(SQLDescribeCol(s.stmt, static_cast<SQLUSMALLINT>(c), name, sizeof name, nullptr, &type, &size,
                                 &digits, &nullable),
                  SQL_SUCCESS);
        EXPECT_EQ(small_field(ird, c, SQL_DESC_CONCISE_TYPE), type) << c;
        EXPECT_EQ(small_field(ird, c, SQL_DESC_NULLABLE), nullable) << c;
        SQLCHAR desc_name[64] = {0};
        SQLINTEGER name_length = 0;
        ASSERT_EQ(SQLGetDescField(ird, c, SQL_DESC_NAME, desc_name, sizeof desc_name, &name_length), SQL_SUCCESS);
        EXPECT_STREQ(reinterpret_cast<char *>(desc_name), reinterpret_cast<char *>(name));
        EXPECT_EQ(name_length, static_cast<SQLINTEGER>(std::strlen(reinterpret_cast<char *>(name))));
        for (SQLSMALLINT field : {SQL_DESC_TYPE, SQL_DESC_PRECISION, SQL_DESC_SCALE, SQL_DESC_UNNAMED,
                                  SQL_DESC_SEARCHABLE, SQL_DESC_UNSIGNED}) {
            SQLLEN attribute = 0;
            ASSERT_EQ(SQLColAttribute(s.stmt, static_cast<SQLUSMALLINT>(c), static_cast<SQLUSMALLINT>(field),
                                      nullptr, 0, nullptr, &attribute),
                      SQL_SUCCESS);
            EXPECT_EQ(small_field(ird, c, field), attribute) << c << " " << field;
        }
        for (SQLSMALLINT field : {SQL_DESC_LENGTH, SQL_DESC_OCTET_LENGTH, SQL_DESC_DISPLAY_SIZE}) {
            SQLLEN attribute = 0;
            ASSERT_EQ(SQLColAttribute(s.stmt, static_cast<SQLUSMALLINT>(c), static_cast<SQLUSMALLINT>(field),
                                      nullptr, 0, nullptr, &attribute),
                      SQL_SUCCESS);
            EXPECT_EQ(len_field(ird, c, field), attribute) << c << " " << field;
        }
        SQLCHAR rec_name[64] = {0};
        SQLSMALLINT rec_type = 0, subtype = 0, precision = 0, scale = 0, rec_nullable = 0;
        SQLLEN length = 0;
        ASSERT_EQ(SQLGetDescRec(ird, c, rec_name, sizeof rec_name, nullptr, &rec_type, &subtype, &length,
                                &precision, &scale, &rec_nullable),
                  SQL_SUCCESS);
        EXPECT_STREQ(reinterpret_cast<char *>(rec_name), reinterpret_cast<char *>(name));
        EXPECT_EQ(rec_type, small_field(ird, c, SQL_DESC_TYPE));
        EXPECT_EQ(length, len_field(ird, c, SQL_DESC_OCTET_LENGTH));
        EXPECT_EQ(rec_nullable, nullable);
    }
    EXPECT_EQ(small_field(ird, 4, SQL_DESC_TYPE), SQL_DATETIME);
    EXPECT_EQ(small_field(ird, 4, SQL_DESC_DATETIME_INTERVAL_CODE), SQL_CODE_TIMESTAMP);
    EXPECT_EQ(small_field(ird, 3, SQL_DESC_SCALE), 2);
    EXPECT_EQ(SQLGetDescField(ird, 5, SQL_DESC_TYPE, &n, 0, nullptr), SQL_NO_DATA);
    // a field no row descriptor has
    EXPECT_EQ(SQLGetDescField(ird, 1, SQL_DESC_DATA_PTR, &n, 0, nullptr), SQL_ERROR);
    EXPECT_EQ(desc_state(ird), "HY091");
}

TEST(Descriptor, IrdIsReadOnly)
{
    Session s;
    ASSERT_EQ(s.prepare("SELECT 1"), SQL_SUCCESS);
    SQLHDESC ird = descriptor(s, SQL_ATTR_IMP_ROW_DESC);
    EXPECT_EQ(SQLSetDescField(ird, 1, SQL_DESC_TYPE, word(SQL_INTEGER), 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ird), "HY016");
    EXPECT_EQ(SQLSetDescField(ird, 0, SQL_DESC_COUNT, word(2), 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ird), "HY016");
    EXPECT_EQ(SQLSetDescRec(ird, 1, SQL_INTEGER, 0, 4, 0, 0, nullptr, nullptr, nullptr), SQL_ERROR);
    EXPECT_EQ(desc_state(ird), "HY016");
    SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    EXPECT_EQ(SQLCopyDesc(ard, ird), SQL_ERROR);
    EXPECT_EQ(desc_state(ird), "HY016");
    // where the row statuses go may be set
    SQLUSMALLINT statuses[1];
    EXPECT_EQ(SQLSetDescField(ird, 0, SQL_DESC_ARRAY_STATUS_PTR, statuses, 0), SQL_SUCCESS);
    SQLPOINTER attribute = nullptr;
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_ROW_STATUS_PTR, &attribute, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(attribute, statuses);
}

TEST(Descriptor, InconsistentRecordIsRefused)
{
    Session s;
    SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    char buffer[16];
    // an SQL type that is no C type
    ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_TYPE, word(SQL_VARCHAR), 0), SQL_SUCCESS);
    EXPECT_EQ(SQLSetDescField(ard, 1, SQL_DESC_DATA_PTR, buffer, 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY021");
    EXPECT_EQ(pointer_field(ard, 1, SQL_DESC_DATA_PTR), nullptr);
    // a numeric whose scale passes its precision
    ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_TYPE, word(SQL_C_NUMERIC), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_PRECISION, word(5), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_SCALE, word(9), 0), SQL_SUCCESS);
    EXPECT_EQ(SQLSetDescField(ard, 1, SQL_DESC_DATA_PTR, buffer, 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY021");
    EXPECT_EQ(SQLSetDescRec(ard, 1, SQL_C_NUMERIC, 0, 19, 5, 9, buffer, nullptr, nullptr), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY021");
    ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_SCALE, word(2), 0), SQL_SUCCESS);
    EXPECT_EQ(SQLSetDescField(ard, 1, SQL_DESC_DATA_PTR, buffer, 0), SQL_SUCCESS);
    // changing the description unbinds the record
    ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_SCALE, word(1), 0), SQL_SUCCESS);
    EXPECT_EQ(pointer_field(ard, 1, SQL_DESC_DATA_PTR), nullptr);
    // an IPD's parameter type
    SQLHDESC ipd = descriptor(s, SQL_ATTR_IMP_PARAM_DESC);
    EXPECT_EQ(SQLSetDescField(ipd, 1, SQL_DESC_PARAMETER_TYPE, word(77), 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ipd), "HY105");
    // a field an application descriptor has not
    EXPECT_EQ(SQLSetDescField(ard, 1, SQL_DESC_NULLABLE, word(SQL_NULLABLE), 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY091");
    EXPECT_EQ(SQLSetDescField(ard, 0, SQL_DESC_TYPE, word(SQL_C_CHAR), 0), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "07009");
}

TEST(Descriptor, DatetimeRecordsThroughTheVerboseType)
{
    Session s;
    SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    SQL_TIMESTAMP_STRUCT ts{};
    SQLLEN indicator = 0;
    // a verbose type without its code is refused
    EXPECT_EQ(SQLSetDescRec(ard, 1, SQL_DATETIME, 0, 0, 0, 0, &ts, &indicator, &indicator), SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY021");
    EXPECT_EQ(SQLSetDescRec(ard, 1, SQL_DATETIME, SQL_CODE_TIMESTAMP, sizeof ts, 12, 0, &ts, &indicator,
                            &indicator),
              SQL_ERROR);
    EXPECT_EQ(desc_state(ard), "HY021");
    ASSERT_EQ(SQLSetDescRec(ard, 1, SQL_DATETIME, SQL_CODE_TIMESTAMP, sizeof ts, 6, 0, &ts, &indicator,
                            &indicator),
              SQL_SUCCESS);
    EXPECT_EQ(small_field(ard, 1, SQL_DESC_CONCISE_TYPE), SQL_TYPE_TIMESTAMP);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT {ts '2024-02-03 04:05:06'}")));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS) << s.diagnostic().message;
    EXPECT_EQ(ts.year, 2024);
    EXPECT_EQ(ts.month, 2);
    EXPECT_EQ(ts.day, 3);
    EXPECT_EQ(ts.second, 6);
    EXPECT_EQ(indicator, static_cast<SQLLEN>(sizeof ts));
    // field by field: the type, then its code, which gives the concise type
    ASSERT_EQ(SQLSetDescField(ard, 2, SQL_DESC_TYPE, word(SQL_DATETIME), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(ard, 2, SQL_DESC_DATETIME_INTERVAL_CODE, word(SQL_CODE_DATE), 0), SQL_SUCCESS);
    EXPECT_EQ(small_field(ard, 2, SQL_DESC_CONCISE_TYPE), SQL_TYPE_DATE);
    ASSERT_EQ(SQLSetDescField(ard, 2, SQL_DESC_CONCISE_TYPE, word(SQL_C_INTERVAL_DAY_TO_SECOND), 0), SQL_SUCCESS);
    EXPECT_EQ(small_field(ard, 2, SQL_DESC_TYPE), SQL_INTERVAL);
    EXPECT_EQ(small_field(ard, 2, SQL_DESC_DATETIME_INTERVAL_CODE), SQL_CODE_DAY_TO_SECOND);
    SQL_INTERVAL_STRUCT interval;
    EXPECT_EQ(SQLSetDescField(ard, 2, SQL_DESC_DATA_PTR, &interval, 0), SQL_SUCCESS);
}

TEST(Descriptor, ExplicitDescriptorSharedByTwoStatements)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLHSTMT other = SQL_NULL_HSTMT;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, s.dbc, &other), SQL_SUCCESS);
    SQLHDESC shared = SQL_NULL_HDESC;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_DESC, s.dbc, &shared), SQL_SUCCESS);
    EXPECT_EQ(small_field(shared, 0, SQL_DESC_ALLOC_TYPE), SQL_DESC_ALLOC_USER);
    SQLINTEGER number = 0;
    SQLLEN indicator = 0;
    ASSERT_EQ(SQLSetDescRec(shared, 1, SQL_C_SLONG, 0, 0, 0, 0, &number, &indicator, &indicator), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_APP_ROW_DESC, shared, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(other, SQL_ATTR_APP_ROW_DESC, shared, 0), SQL_SUCCESS);
    SQLHDESC current = SQL_NULL_HDESC;
    ASSERT_EQ(SQLGetStmtAttr(other, SQL_ATTR_APP_ROW_DESC, &current, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(current, shared);

    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT 7")));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(number, 7);
    ASSERT_TRUE(SQL_SUCCEEDED(SQLExecDirect(other, reinterpret_cast<SQLCHAR *>(const_cast<char *>("SELECT 8")),
                                            SQL_NTS)));
    ASSERT_EQ(SQLFetch(other), SQL_SUCCESS);
    EXPECT_EQ(number, 8);
    // SQLBindCol on one statement writes the shared descriptor
    SQLINTEGER second = 0;
    ASSERT_EQ(SQLBindCol(s.stmt, 2, SQL_C_SLONG, &second, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(small_field(shared, 0, SQL_DESC_COUNT), 2);

    // back to the implicit one: the shared descriptor stays bound for the other
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_APP_ROW_DESC, SQL_NULL_HDESC, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_APP_ROW_DESC, &current, 0, nullptr), SQL_SUCCESS);
    EXPECT_NE(current, shared);
    EXPECT_EQ(small_field(current, 0, SQL_DESC_ALLOC_TYPE), SQL_DESC_ALLOC_AUTO);
    // another statement's implicit descriptor is not for this one
    SQLHDESC others_ard = SQL_NULL_HDESC;
    ASSERT_EQ(SQLGetStmtAttr(other, SQL_ATTR_IMP_PARAM_DESC, &others_ard, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_APP_ROW_DESC, others_ard, 0), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY017");
    EXPECT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_APP_ROW_DESC, s.stmt, 0), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY024");

    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, other), SQL_SUCCESS);
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DESC, shared), SQL_SUCCESS);
}

TEST(Descriptor, FreeingAnExplicitDescriptorInUse)
{
    Session s;
    SQLHDESC mine = SQL_NULL_HDESC;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_DESC, s.dbc, &mine), SQL_SUCCESS);
    SQLHDESC implicit_ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    SQLHDESC implicit_apd = descriptor(s, SQL_ATTR_APP_PARAM_DESC);
    SQLINTEGER number = 0;
    ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, &number, 0, nullptr), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_APP_ROW_DESC, mine, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetStmtAttr(s.stmt, SQL_ATTR_APP_PARAM_DESC, mine, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLFreeHandle(SQL_HANDLE_DESC, mine), SQL_SUCCESS);
    // the statement went back to its implicit descriptors, bindings and all
    EXPECT_EQ(descriptor(s, SQL_ATTR_APP_ROW_DESC), implicit_ard);
    EXPECT_EQ(descriptor(s, SQL_ATTR_APP_PARAM_DESC), implicit_apd);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT 5")));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(number, 5);
}

TEST(Descriptor, CopyIrdToArd)
{
    Session s;
    ASSERT_EQ(s.prepare("SELECT 42 AS answer, CAST(1.25 AS NUMERIC(10,2)) AS amount"), SQL_SUCCESS);
    SQLHDESC ird = descriptor(s, SQL_ATTR_IMP_ROW_DESC);
    SQLHDESC target = SQL_NULL_HDESC;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_DESC, s.dbc, &target), SQL_SUCCESS);
    ASSERT_EQ(SQLCopyDesc(ird, target), SQL_SUCCESS);
    EXPECT_EQ(small_field(target, 0, SQL_DESC_COUNT), 2);
    EXPECT_EQ(small_field(target, 0, SQL_DESC_ALLOC_TYPE), SQL_DESC_ALLOC_USER);
    for (SQLSMALLINT c = 1; c <= 2; ++c) {
        EXPECT_EQ(small_field(target, c, SQL_DESC_CONCISE_TYPE), small_field(ird, c, SQL_DESC_CONCISE_TYPE));
        EXPECT_EQ(small_field(target, c, SQL_DESC_PRECISION), small_field(ird, c, SQL_DESC_PRECISION));
        EXPECT_EQ(small_field(target, c, SQL_DESC_SCALE), small_field(ird, c, SQL_DESC_SCALE));
        EXPECT_EQ(len_field(target, c, SQL_DESC_OCTET_LENGTH), len_field(ird, c, SQL_DESC_OCTET_LENGTH));
    }
    // into the statement's own ARD: the integer column fetches as it is typed
    SQLHDESC ard = descriptor(s, SQL_ATTR_APP_ROW_DESC);
    ASSERT_EQ(SQLCopyDesc(ird, ard), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(ard, 0, SQL_DESC_COUNT, word(1), 0), SQL_SUCCESS);
    SQLINTEGER answer = 0;
    ASSERT_EQ(SQLSetDescField(ard, 1, SQL_DESC_DATA_PTR, &answer, 0), SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(SQLExecute(s.stmt)));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(answer, 42);
    // an IRD with nothing described
    Session fresh;
    SQLHDESC empty_ird = descriptor(fresh, SQL_ATTR_IMP_ROW_DESC);
    EXPECT_EQ(SQLCopyDesc(empty_ird, target), SQL_ERROR);
    EXPECT_EQ(desc_state(target), "HY007");
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DESC, target), SQL_SUCCESS);
}

TEST(Descriptor, ParametersBoundThroughApdAndIpd)
{
    Session s;
    SQLHDESC apd = descriptor(s, SQL_ATTR_APP_PARAM_DESC);
    SQLHDESC ipd = descriptor(s, SQL_ATTR_IMP_PARAM_DESC);
    SQLINTEGER number = 40;
    SQLLEN number_ind = 0;
    char text[8] = "xy";
    SQLLEN text_ind = SQL_NTS;
    ASSERT_EQ(SQLSetDescRec(apd, 1, SQL_C_SLONG, 0, 0, 0, 0, &number, &number_ind, &number_ind), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(ipd, 1, SQL_DESC_CONCISE_TYPE, word(SQL_INTEGER), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(ipd, 1, SQL_DESC_PARAMETER_TYPE, word(SQL_PARAM_INPUT), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(apd, 2, SQL_DESC_CONCISE_TYPE, word(SQL_C_CHAR), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(apd, 2, SQL_DESC_OCTET_LENGTH, word(sizeof text), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(apd, 2, SQL_DESC_OCTET_LENGTH_PTR, &text_ind, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(apd, 2, SQL_DESC_DATA_PTR, text, 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(ipd, 2, SQL_DESC_CONCISE_TYPE, word(SQL_VARCHAR), 0), SQL_SUCCESS);
    ASSERT_EQ(SQLSetDescField(ipd, 2, SQL_DESC_LENGTH, word(8), 0), SQL_SUCCESS);
    EXPECT_EQ(s.scalar("SELECT ? + 2 || '-' || ?"), "42-xy");
    // a null through the indicator alone
    SQLLEN null_ind = SQL_NULL_DATA;
    ASSERT_EQ(SQLSetDescField(apd, 2, SQL_DESC_INDICATOR_PTR, &null_ind, 0), SQL_SUCCESS);
    EXPECT_EQ(s.scalar("SELECT ? IS NULL"), "0");
    EXPECT_EQ(s.scalar("SELECT CASE WHEN ? IS NULL THEN 'n' ELSE 'v' END || CASE WHEN ? IS NULL THEN 'n' ELSE 'v' END"),
              "vn");

    // SQLBindParameter shows in both
    Session b;
    SQLHDESC bapd = descriptor(b, SQL_ATTR_APP_PARAM_DESC);
    SQLHDESC bipd = descriptor(b, SQL_ATTR_IMP_PARAM_DESC);
    SQL_NUMERIC_STRUCT amount{};
    SQLLEN amount_ind = 0;
    ASSERT_EQ(SQLBindParameter(b.stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_DECIMAL, 12, 3, &amount, 20, &amount_ind),
              SQL_SUCCESS);
    EXPECT_EQ(small_field(bapd, 0, SQL_DESC_COUNT), 1);
    EXPECT_EQ(small_field(bapd, 1, SQL_DESC_CONCISE_TYPE), SQL_C_CHAR);
    EXPECT_EQ(pointer_field(bapd, 1, SQL_DESC_DATA_PTR), &amount);
    EXPECT_EQ(len_field(bapd, 1, SQL_DESC_OCTET_LENGTH), 20);
    EXPECT_EQ(pointer_field(bapd, 1, SQL_DESC_OCTET_LENGTH_PTR), &amount_ind);
    EXPECT_EQ(small_field(bipd, 0, SQL_DESC_COUNT), 1);
    EXPECT_EQ(small_field(bipd, 1, SQL_DESC_CONCISE_TYPE), SQL_DECIMAL);
    EXPECT_EQ(small_field(bipd, 1, SQL_DESC_PRECISION), 12);
    EXPECT_EQ(small_field(bipd, 1, SQL_DESC_SCALE), 3);
    EXPECT_EQ(small_field(bipd, 1, SQL_DESC_PARAMETER_TYPE), SQL_PARAM_INPUT);
    ASSERT_EQ(SQLFreeStmt(b.stmt, SQL_RESET_PARAMS), SQL_SUCCESS);
    EXPECT_EQ(small_field(bapd, 0, SQL_DESC_COUNT), 0);
    EXPECT_EQ(small_field(bipd, 0, SQL_DESC_COUNT), 0);
}

TEST(Descriptor, DiagnosticsOfADescriptorHandle)
{
    Session s;
    SQLHDESC ird = descriptor(s, SQL_ATTR_IMP_ROW_DESC);
    ASSERT_EQ(SQLSetDescField(ird, 1, SQL_DESC_TYPE, word(SQL_INTEGER), 0), SQL_ERROR);
    SQLINTEGER records = 0;
    ASSERT_EQ(SQLGetDiagField(SQL_HANDLE_DESC, ird, 0, SQL_DIAG_NUMBER, &records, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(records, 1);
    SQLCHAR state[6] = {0};
    ASSERT_EQ(SQLGetDiagField(SQL_HANDLE_DESC, ird, 1, SQL_DIAG_SQLSTATE, state, sizeof state, nullptr),
              SQL_SUCCESS);
    EXPECT_STREQ(reinterpret_cast<char *>(state), "HY016");
    EXPECT_NE(diagnostic_of(SQL_HANDLE_DESC, ird).message.find("Cannot modify an implementation row descriptor"),
              std::string::npos);
    // a successful call clears them
    SQLSMALLINT n = 0;
    ASSERT_EQ(SQLGetDescField(ird, 0, SQL_DESC_ALLOC_TYPE, &n, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(SQLGetDiagRec(SQL_HANDLE_DESC, ird, 1, state, nullptr, nullptr, 0, nullptr), SQL_NO_DATA);
    EXPECT_EQ(SQLGetDescField(nullptr, 0, SQL_DESC_COUNT, &n, 0, nullptr), SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLGetDescField(s.stmt, 0, SQL_DESC_COUNT, &n, 0, nullptr), SQL_INVALID_HANDLE);
}

}  // namespace
