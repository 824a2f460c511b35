// Block fetch and parameter arrays: rowsets of SQL_ATTR_ROW_ARRAY_SIZE rows
// into columns bound column-wise and row-wise, at a bind offset, with the
// rows fetched and each row's status; arrays of parameter sets bound both
// ways, one result set per set through SQLMoreResults, the sets processed
// and each set's status.
#include <sql.h>
#include <sqlext.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "driver/driver_harness.h"

namespace {

using kxtest::Session;

SQLRETURN set_attr(Session &s, SQLINTEGER attribute, SQLULEN value)
{
    return SQLSetStmtAttr(s.stmt, attribute, reinterpret_cast<SQLPOINTER>(value), 0);
}

SQLRETURN set_pointer(Session &s, SQLINTEGER attribute, void *pointer)
{
    return SQLSetStmtAttr(s.stmt, attribute, pointer, 0);
}

// The ten rows n = 1..10 with their text 'r<n>'.
constexpr const char *kTenRows =
    "SELECT n, {fn CONCAT('r', CAST(n AS VARCHAR(5)))} FROM SERIES(1, 10) AS s(n)";

TEST(BlockFetch, ColumnWiseRowsetsOfFour)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLINTEGER numbers[4];
    SQLLEN number_ind[4];
    char texts[4][8];
    SQLLEN text_ind[4];
    SQLULEN fetched = 99;
    SQLUSMALLINT status[4];
    ASSERT_EQ(set_attr(s, SQL_ATTR_ROW_ARRAY_SIZE, 4), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_ROWS_FETCHED_PTR, &fetched), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_ROW_STATUS_PTR, status), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, numbers, 0, number_ind), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 2, SQL_C_CHAR, texts, sizeof texts[0], text_ind), SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec(kTenRows)));

    int next = 1;
    for (SQLULEN expected : {4u, 4u, 2u}) {
        ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
        ASSERT_EQ(fetched, expected);
        for (SQLULEN k = 0; k < 4; ++k) {
            if (k >= expected) {
                EXPECT_EQ(status[k], SQL_ROW_NOROW);
                continue;
            }
            EXPECT_EQ(status[k], SQL_ROW_SUCCESS);
            EXPECT_EQ(numbers[k], next);
            EXPECT_EQ(number_ind[k], static_cast<SQLLEN>(sizeof(SQLINTEGER)));
            std::string text = "r" + std::to_string(next);
            EXPECT_STREQ(texts[k], text.c_str());
            EXPECT_EQ(text_ind[k], static_cast<SQLLEN>(text.size()));
            ++next;
        }
    }
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA);
    EXPECT_EQ(next, 11);

    SQLULEN size = 0;
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_ROW_ARRAY_SIZE, &size, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(size, 4u);
}

struct Row {
    SQLINTEGER number;
    SQLLEN number_ind;
    char text[6];
    SQLLEN text_ind;
};

TEST(BlockFetch, RowWiseIntoStructures)
{
    Session s;
    ASSERT_TRUE(s.connected);
    Row rows[3];
    std::memset(rows, 0, sizeof rows);
    SQLULEN fetched = 0;
    ASSERT_EQ(set_attr(s, SQL_ATTR_ROW_ARRAY_SIZE, 3), SQL_SUCCESS);
    ASSERT_EQ(set_attr(s, SQL_ATTR_ROW_BIND_TYPE, sizeof(Row)), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_ROWS_FETCHED_PTR, &fetched), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, &rows[0].number, 0, &rows[0].number_ind), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 2, SQL_C_CHAR, rows[0].text, sizeof rows[0].text, &rows[0].text_ind),
              SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec(kTenRows)));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    ASSERT_EQ(fetched, 3u);
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(rows[k].number, k + 1);
        EXPECT_EQ(std::string(rows[k].text), "r" + std::to_string(k + 1));
        EXPECT_EQ(rows[k].text_ind, 2);
    }
    SQLULEN bind_type = 0;
    ASSERT_EQ(SQLGetStmtAttr(s.stmt, SQL_ATTR_ROW_BIND_TYPE, &bind_type, 0, nullptr), SQL_SUCCESS);
    EXPECT_EQ(bind_type, sizeof(Row));
}

TEST(BlockFetch, TheBindOffsetMovesEveryBoundAddress)
{
    Session s;
    ASSERT_TRUE(s.connected);
    Row first{}, second{};
    SQLLEN offset = 0;
    ASSERT_EQ(set_pointer(s, SQL_ATTR_ROW_BIND_OFFSET_PTR, &offset), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, &first.number, 0, &first.number_ind), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 2, SQL_C_CHAR, first.text, sizeof first.text, &first.text_ind), SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec(kTenRows)));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(first.number, 1);
    offset = reinterpret_cast<char *>(&second) - reinterpret_cast<char *>(&first);
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(first.number, 1);  // the second row went to the other structure
    EXPECT_EQ(second.number, 2);
    EXPECT_STREQ(second.text, "r2");
    EXPECT_EQ(second.number_ind, static_cast<SQLLEN>(sizeof(SQLINTEGER)));
}

TEST(BlockFetch, NoGetDataInARowsetOfSeveralRows)
{
    Session s;
    ASSERT_TRUE(s.connected);
    ASSERT_EQ(set_attr(s, SQL_ATTR_ROW_ARRAY_SIZE, 2), SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec(kTenRows)));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    SQLINTEGER n = 0;
    SQLLEN ind = 0;
    EXPECT_EQ(SQLGetData(s.stmt, 1, SQL_C_SLONG, &n, 0, &ind), SQL_ERROR);
    EXPECT_EQ(s.state(), "HYC00");
}

TEST(BlockFetch, ARowArraySizeOfZeroIsRefused)
{
    Session s;
    ASSERT_TRUE(s.connected);
    EXPECT_EQ(set_attr(s, SQL_ATTR_ROW_ARRAY_SIZE, 0), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY024");
    EXPECT_EQ(set_attr(s, SQL_ATTR_PARAMSET_SIZE, 0), SQL_ERROR);
    EXPECT_EQ(s.state(), "HY024");
}

TEST(BlockFetch, MaxRowsEndsTheLastRowset)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLINTEGER numbers[4];
    SQLULEN fetched = 0;
    ASSERT_EQ(set_attr(s, SQL_ATTR_ROW_ARRAY_SIZE, 4), SQL_SUCCESS);
    ASSERT_EQ(set_attr(s, SQL_ATTR_MAX_ROWS, 6), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_ROWS_FETCHED_PTR, &fetched), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, numbers, 0, nullptr), SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec(kTenRows)));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(fetched, 4u);
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(numbers[1], 6);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_NO_DATA);
}

// The one integer of each result set, following SQLMoreResults to the end.
std::vector<std::string> every_result(Session &s)
{
    std::vector<std::string> out;
    do {
        auto rows = s.rows();
        out.push_back(rows.empty() ? "none " + s.error_state : rows[0][0]);
    } while (SQLMoreResults(s.stmt) == SQL_SUCCESS);
    return out;
}

TEST(ParameterArrays, ColumnWiseSetsGiveOneResultEach)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLINTEGER values[3] = {1, 20, 300};
    SQLLEN ind[3] = {0, 0, SQL_NULL_DATA};
    SQLULEN processed = 0;
    SQLUSMALLINT status[3] = {99, 99, 99};
    ASSERT_EQ(set_attr(s, SQL_ATTR_PARAMSET_SIZE, 3), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_PARAMS_PROCESSED_PTR, &processed), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_PARAM_STATUS_PTR, status), SQL_SUCCESS);
    ASSERT_EQ(SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, values, 0, ind),
              SQL_SUCCESS);
    ASSERT_EQ(s.prepare("SELECT ? + 1"), SQL_SUCCESS);
    ASSERT_EQ(SQLExecute(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(processed, 3u);
    for (SQLUSMALLINT st : status)
        EXPECT_EQ(st, SQL_PARAM_SUCCESS);
    EXPECT_EQ(every_result(s), (std::vector<std::string>{"2", "21", "NULL"}));
    EXPECT_EQ(SQLMoreResults(s.stmt), SQL_NO_DATA);

    // executed again, the sets start over
    ASSERT_EQ(SQLExecute(s.stmt), SQL_SUCCESS);
    EXPECT_EQ(every_result(s), (std::vector<std::string>{"2", "21", "NULL"}));
}

struct ParamRow {
    char text[8];
    SQLLEN text_ind;
    SQLINTEGER number;
    SQLLEN number_ind;
};

TEST(ParameterArrays, RowWiseAtAnOffsetWithIgnoredSets)
{
    Session s;
    ASSERT_TRUE(s.connected);
    ParamRow rows[3] = {{"ab", SQL_NTS, 1, 0}, {"cd", SQL_NTS, 2, 0}, {"ef", SQL_NTS, 3, 0}};
    ParamRow unused{};
    SQLLEN offset = reinterpret_cast<char *>(&rows[0]) - reinterpret_cast<char *>(&unused);
    SQLUSMALLINT operations[3] = {SQL_PARAM_PROCEED, SQL_PARAM_IGNORE, SQL_PARAM_PROCEED};
    SQLUSMALLINT status[3] = {99, 99, 99};
    ASSERT_EQ(set_attr(s, SQL_ATTR_PARAMSET_SIZE, 3), SQL_SUCCESS);
    ASSERT_EQ(set_attr(s, SQL_ATTR_PARAM_BIND_TYPE, sizeof(ParamRow)), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_PARAM_BIND_OFFSET_PTR, &offset), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_PARAM_OPERATION_PTR, operations), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_PARAM_STATUS_PTR, status), SQL_SUCCESS);
    // bound at the unused structure: the offset moves both to rows[0]
    ASSERT_EQ(SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 7, 0, unused.text,
                               sizeof unused.text, &unused.text_ind),
              SQL_SUCCESS);
    ASSERT_EQ(SQLBindParameter(s.stmt, 2, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, &unused.number,
                               0, &unused.number_ind),
              SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT {fn CONCAT(?, CAST(? * 10 AS VARCHAR(9)))}")));
    EXPECT_EQ(status[0], SQL_PARAM_SUCCESS);
    EXPECT_EQ(status[1], SQL_PARAM_UNUSED);
    EXPECT_EQ(status[2], SQL_PARAM_SUCCESS);
    EXPECT_EQ(every_result(s), (std::vector<std::string>{"ab10", "ef30"}));
}

TEST(ParameterArrays, ASetThatCannotBeReadStopsTheExecution)
{
    Session s;
    ASSERT_TRUE(s.connected);
    char texts[3][4] = {"1", "x", "3"};
    SQLLEN ind[3] = {SQL_NTS, SQL_NTS, SQL_NTS};
    SQLULEN processed = 0;
    SQLUSMALLINT status[3] = {99, 99, 99};
    ASSERT_EQ(set_attr(s, SQL_ATTR_PARAMSET_SIZE, 3), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_PARAMS_PROCESSED_PTR, &processed), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_PARAM_STATUS_PTR, status), SQL_SUCCESS);
    ASSERT_EQ(SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_INTEGER, 0, 0, texts, sizeof texts[0],
                               ind),
              SQL_SUCCESS);
    EXPECT_EQ(s.exec("SELECT ? + 1"), SQL_ERROR);
    EXPECT_EQ(s.state(), "22018");
    EXPECT_EQ(processed, 2u);
    EXPECT_EQ(status[0], SQL_PARAM_SUCCESS);
    EXPECT_EQ(status[1], SQL_PARAM_ERROR);
    EXPECT_EQ(status[2], SQL_PARAM_UNUSED);
    EXPECT_EQ(SQLFetch(s.stmt), SQL_ERROR);  // no result is open
    EXPECT_EQ(s.state(), "24000");
}

TEST(ParameterArrays, TheDriverSaysItGivesOneResultPerSet)
{
    Session s;
    ASSERT_TRUE(s.connected);
    SQLUINTEGER selects = 0, counts = 0;
    ASSERT_EQ(SQLGetInfo(s.dbc, SQL_PARAM_ARRAY_SELECTS, &selects, sizeof selects, nullptr), SQL_SUCCESS);
    ASSERT_EQ(SQLGetInfo(s.dbc, SQL_PARAM_ARRAY_ROW_COUNTS, &counts, sizeof counts, nullptr), SQL_SUCCESS);
    EXPECT_EQ(selects, static_cast<SQLUINTEGER>(SQL_PAS_BATCH));
    EXPECT_EQ(counts, static_cast<SQLUINTEGER>(SQL_PARC_BATCH));
}

}  // namespace

namespace {

// Rows packed without padding, as pyodbc lays out its parameter rows: every
// number, length and indicator sits at an odd address. The driver reads and
// writes them whatever their alignment (UndefinedBehaviorSanitizer reports
// any access that assumes one).
constexpr size_t kPackedNumber = 1;       // SQLINTEGER
constexpr size_t kPackedNumberInd = 5;    // SQLLEN
constexpr size_t kPackedText = 13;        // char[8]
constexpr size_t kPackedTextInd = 21;     // SQLLEN
constexpr size_t kPackedRow = 29;

template <typename T>
T packed(const unsigned char *row, size_t at)
{
    T value;
    std::memcpy(&value, row + at, sizeof value);
    return value;
}

template <typename T>
void pack(unsigned char *row, size_t at, T value)
{
    std::memcpy(row + at, &value, sizeof value);
}

TEST(ParameterArrays, PackedRowsAtOddAddresses)
{
    Session s;
    ASSERT_TRUE(s.connected);
    alignas(16) unsigned char rows[3 * kPackedRow] = {};
    const SQLINTEGER numbers[3] = {7, 0, 9};
    const SQLLEN number_inds[3] = {0, SQL_NULL_DATA, 0};
    const char *texts[3] = {"a", "bb", "ccc"};
    for (size_t k = 0; k < 3; ++k) {
        unsigned char *row = rows + k * kPackedRow;
        pack(row, kPackedNumber, numbers[k]);
        pack(row, kPackedNumberInd, number_inds[k]);
        std::memcpy(row + kPackedText, texts[k], std::strlen(texts[k]) + 1);
        pack<SQLLEN>(row, kPackedTextInd, SQL_NTS);
    }
    ASSERT_EQ(set_attr(s, SQL_ATTR_PARAMSET_SIZE, 3), SQL_SUCCESS);
    ASSERT_EQ(set_attr(s, SQL_ATTR_PARAM_BIND_TYPE, kPackedRow), SQL_SUCCESS);
    ASSERT_EQ(SQLBindParameter(s.stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, rows + kPackedNumber,
                               0, reinterpret_cast<SQLLEN *>(rows + kPackedNumberInd)),
              SQL_SUCCESS);
    ASSERT_EQ(SQLBindParameter(s.stmt, 2, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 7, 0, rows + kPackedText, 8,
                               reinterpret_cast<SQLLEN *>(rows + kPackedTextInd)),
              SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(s.exec("SELECT {fn CONCAT(CAST(? + 1 AS VARCHAR(9)), ?)}")));
    EXPECT_EQ(every_result(s), (std::vector<std::string>{"8a", "NULL", "10ccc"}));
}

TEST(BlockFetch, PackedRowsAtOddAddresses)
{
    Session s;
    ASSERT_TRUE(s.connected);
    alignas(16) unsigned char rows[4 * kPackedRow];
    std::memset(rows, 0xbe, sizeof rows);
    SQLULEN fetched = 0;
    ASSERT_EQ(set_attr(s, SQL_ATTR_ROW_ARRAY_SIZE, 4), SQL_SUCCESS);
    ASSERT_EQ(set_attr(s, SQL_ATTR_ROW_BIND_TYPE, kPackedRow), SQL_SUCCESS);
    ASSERT_EQ(set_pointer(s, SQL_ATTR_ROWS_FETCHED_PTR, &fetched), SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 1, SQL_C_SLONG, rows + kPackedNumber, 0,
                         reinterpret_cast<SQLLEN *>(rows + kPackedNumberInd)),
              SQL_SUCCESS);
    ASSERT_EQ(SQLBindCol(s.stmt, 2, SQL_C_CHAR, rows + kPackedText, 8,
                         reinterpret_cast<SQLLEN *>(rows + kPackedTextInd)),
              SQL_SUCCESS);
    ASSERT_TRUE(SQL_SUCCEEDED(
        s.exec("SELECT CASE WHEN n = 2 THEN NULL ELSE n * 3 END, {fn CONCAT('r', CAST(n AS VARCHAR(5)))} "
               "FROM SERIES(1, 4) AS s(n)")));
    ASSERT_EQ(SQLFetch(s.stmt), SQL_SUCCESS);
    ASSERT_EQ(fetched, 4u);
    for (size_t k = 0; k < 4; ++k) {
        const unsigned char *row = rows + k * kPackedRow;
        int n = static_cast<int>(k) + 1;
        if (n == 2) {
            EXPECT_EQ(packed<SQLLEN>(row, kPackedNumberInd), SQL_NULL_DATA);
        } else {
            EXPECT_EQ(packed<SQLLEN>(row, kPackedNumberInd), static_cast<SQLLEN>(sizeof(SQLINTEGER)));
            EXPECT_EQ(packed<SQLINTEGER>(row, kPackedNumber), n * 3);
        }
        EXPECT_EQ(packed<SQLLEN>(row, kPackedTextInd), 2);
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(row + kPackedText)), "r" + std::to_string(n));
        EXPECT_EQ(row[0], 0xbe);  // the byte before each row's fields is left alone
    }
}

}  // namespace
