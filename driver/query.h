// query.h - a parsed statement, its result set, and the evaluator's calls.
//
// Internal to driver/. The parser (sqlparse.cpp) turns SQL text into a
// Query whose expressions are library parse trees: ParseNode records of the
// printer's kinds (KX_NODE_* of kxsupp/parse.h) with Value leaves made by the
// literal builders, and parameter markers made by MakeDynamic. Node fields
// past the ones the printer reads hold what the evaluator resolved at parse
// time (a column's position, a function's catalogue entry). The evaluator
// (evaluate.cpp) walks those trees per row and produces Values in a memory
// handle; results.cpp delivers them to the application.
#ifndef KXEVALDRV_QUERY_H
#define KXEVALDRV_QUERY_H

#include <string>
#include <vector>

#include "driver/driver.h"

namespace kxdrv {

// Every node the parser makes has this many fields: the printer reads the
// first few, the driver's own start at kFieldDriver.
inline constexpr int kNodeFields = 24;
inline constexpr int kFieldDriver = 19;  // field[19]...: the driver's words

// Driver words of a column reference (kind 132): the column's position,
// the position of its name in the statement, and the name as text.
inline constexpr int kColumnIndex = kFieldDriver;
inline constexpr int kColumnName = kFieldDriver + 2;
// Driver words of a scalar function (kind 143): its catalogue entry, and
// its arguments as an array (the list's nodes, in order) with their count,
// so that a row's evaluation walks no list.
inline constexpr int kFunctionEntry = kFieldDriver;
inline constexpr int kFunctionArgs = kFieldDriver + 1;
inline constexpr int kFunctionArgCount = kFieldDriver + 2;
// Driver words of an identifier used as a keyword argument (kind 121): its
// Value.
inline constexpr int kKeywordValue = kFieldDriver;
// Driver words of a cast (kind 142): the target type's precision and scale
// are in the data-type node; nothing extra.

// How deep expressions may nest: parentheses, function calls, CASE, CAST,
// NOT and signs each take a level. The parser refuses a deeper statement
// with 54001, so that parsing and every walk over the tree stay within a
// small stack (an ODBC driver runs on the application's thread). A chain of
// left-associative operators (a + b + c ..., x OR y OR z ...) is walked in a
// loop and takes one level however long it is.
inline constexpr int kMaxNesting = 100;
// ODBC counts columns and parameters in SQLSMALLINTs.
inline constexpr size_t kMaxColumns = 32767;
inline constexpr size_t kMaxParameters = 32767;
// The longest name (column, alias, row source), as SQLGetInfo reports it
// (SQL_MAX_COLUMN_NAME_LEN, SQL_MAX_IDENTIFIER_LEN).
inline constexpr size_t kMaxNameLength = 128;

// Whether node is a binary operation that chains to the left (OR, AND,
// + - || * /): the walks take its left operand in the same frame, so that a
// long chain needs no deep recursion.
inline bool chains_left(const ParseNode *node)
{
    if (node == nullptr || node->kind != KX_NODE_EXPRESSION || node->field[2] == 0)
        return false;
    const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(node->field[0]);
    if (pair->op_class == KX_OP_CLASS_OR || pair->op_class == KX_OP_CLASS_AND)
        return true;
    return pair->op_class == KX_OP_CLASS_COMPARISON &&
           (pair->op_code == KX_OP_ADD || pair->op_code == KX_OP_SUBTRACT ||
            pair->op_code == KX_OP_CONCAT || pair->op_code == KX_OP_MULTIPLY ||
            pair->op_code == KX_OP_DIVIDE);
}

// The type the driver reports for an expression.
struct TypeInfo {
    int32_t value_type = VALUE_STRING;  // VALUE_*
    int32_t precision = 0;              // numeric precision or text length
    int32_t scale = 0;
    int32_t interval_kind = 0;          // 1..13 for intervals
    bool nullable = true;
};

// How a result column describes itself.
struct ColumnDesc {
    std::string name;
    TypeInfo type;
    SQLSMALLINT sql_type = SQL_VARCHAR;
    SQLULEN size = 0;
    SQLSMALLINT decimal_digits = 0;
    SQLLEN display_size = 0;
    SQLLEN octet_length = 0;
    // A column that may hold NULL is SQL_NULLABLE when this is set (the
    // catalogue's columns, whose nullability ODBC defines), else
    // SQL_NULLABLE_UNKNOWN.
    bool nullability_known = false;
};

// SQLDescribeCol's and SQL_DESC_NULLABLE's answer for a column.
inline SQLSMALLINT nullability_of(const ColumnDesc &c)
{
    if (!c.type.nullable)
        return SQL_NO_NULLS;
    return c.nullability_known ? SQL_NULLABLE : SQL_NULLABLE_UNKNOWN;
}

struct SortKey {
    ParseNode *expression = nullptr;
    bool descending = false;
    int item = -1;   // a select item named by position or alias, else -1
};

// A parsed statement: SELECT items over an optional row source.
struct Query {
    MemHandle *mem = nullptr;                  // the nodes and literal leaves
    ParseNode *tree = nullptr;                 // the query (node kind 113)
    std::vector<ParseNode *> items;            // select-list expressions
    std::vector<std::string> names;            // their column names
    enum class Source { kNone, kValues, kSeries } source = Source::kNone;
    std::vector<std::vector<ParseNode *>> rows;  // VALUES rows
    ParseNode *series_from = nullptr;          // SERIES(from, to)
    ParseNode *series_to = nullptr;
    ParseNode *series_date = nullptr;          // SERIES(from, to, date)
    std::string source_alias;
    std::vector<std::string> source_columns;
    std::vector<TypeInfo> source_types;
    ParseNode *where = nullptr;
    std::vector<SortKey> order;
    int32_t parameter_count = 0;
    std::vector<ParseNode *> parameters;       // the markers, in ordinal order
    size_t chain_nodes = 0;                    // nodes for which chains_left holds
    std::vector<ColumnDesc> described;         // the columns as prepared
};

// The state of one evaluation: the library's EvalContext first, so the
// context handed to execute_function (and back to the IFNULL callback) is
// also the driver's record.
struct Evaluation {
    EvalContext context;
    Statement *stmt;
    Value **source_row;           // the current row of the row source
    Value **parameters;           // parameter values by ordinal - 1
    // The links of the operator chains being evaluated, innermost last: room
    // for every chain node of the query (Query::chain_nodes), so it never
    // overflows. Reset to the base wherever the exit point is armed.
    ParseNode **chain_base;
    ParseNode **chain_top;
    size_t max_value_size;        // the largest text or binary value, in octets
    unsigned steps;               // chain links since the last time-out check
};

// Where SERIES stands: its first number, the date of its first row, and
// the date of the row made last, from which the next row's date is one
// day's step. A streamed result writes each row's number and date into the
// two values it keeps (the previous row's values are dead by then); a held
// one makes new values for every row, which live as long as the result.
struct SeriesCursor {
    int64_t first = 0;
    Value *start = nullptr;          // the date of the first row, or null
    int64_t dated = -1;              // the position whose date `date` holds
    const Value *date = nullptr;
    Value *number_value = nullptr;   // the streamed row's number and date
    Value *date_value = nullptr;
};

// Where one bound column of a rowset goes: the addresses of its buffers
// for the rowset's first row (null when not bound) and the octets from one
// row's to the next, worked out once per fetch.
struct BoundTarget {
    int column;  // 1-based
    SQLSMALLINT c_type;
    SQLLEN buffer_length;
    char *data, *indicator, *length;
    size_t data_step, length_step;
    bool split;  // a null indicator apart from the length
};

// A result set: either rows held in full (catalogue results, sorted
// queries, static cursors) or rows produced one at a time by the query's
// evaluator.
struct ResultSet {
    std::vector<ColumnDesc> columns;
    MemHandle *mem = nullptr;                  // the held rows' values
    std::vector<std::vector<Value *>> rows;    // held rows
    size_t next_row = 0;
    // Of held rows, where the current rowset starts: -1 before the first
    // row, rows.size() after the last.
    int64_t rowset_start = -1;
    bool streaming = false;                    // rows come from the evaluator
    bool pending = false;                      // current holds an unread row
    bool exhausted = false;
    std::vector<Value *> current;              // the row being read
    std::vector<BoundTarget> targets;          // the bound columns of a fetch
    MemHandle *row_mem = nullptr;              // the streamed row's values
    int64_t source_position = 0;               // next source row
    int64_t rows_fetched = 0;
    SQLLEN row_count = -1;
    // SQLGetData's progress through one column of the current row
    Evaluation evaluation{};
    MemHandle *param_mem = nullptr;            // the parameters' values
    std::vector<Value *> parameter_values;
    std::vector<Value *> source_row;
    std::vector<Value *> sort_keys;
    std::vector<ParseNode *> chain_links;      // Evaluation::chain_base's room
    SeriesCursor series;                       // SERIES' numbers and dates
    int64_t source_size = 0;                   // rows of the row source
    int getdata_column = -1;
    std::string getdata_data;                  // the column's octets, once
    size_t getdata_offset = 0;
    bool getdata_done = false;
};

// ---- sqlparse.cpp ----

// Parses text into a new query whose nodes live in mem; on a syntax error
// posts 42000 (with the position) or another state on errors and returns
// null. With a statement, a long parse honours its time-out and
// cancellation (check_timeout, which posts on the statement itself).
Query *parse_query(const std::string &text, MemHandle *mem, ErrorHeader *errors,
                   Statement *timed = nullptr);

// Prints the statement back as SQL text through the library's printer.
std::string print_query(const Query &query);

// ---- results.cpp ----

// The columns of the open result set, else of the prepared statement; null
// when there is neither. The IRD's records are these.
const std::vector<ColumnDesc> *columns_of(Statement *stmt);
// SQLColAttribute's answer for one field of one column, its diagnostics
// posted on errors (the statement's, or its IRD's).
SQLRETURN column_attribute(Statement *stmt, ErrorHeader *errors, SQLUSMALLINT number,
                           SQLUSMALLINT field, SQLPOINTER text, SQLSMALLINT buffer_length,
                           SQLSMALLINT *text_length, SQLLEN *numeric);

// ---- evaluate.cpp ----

// Works out the type of every select item and source column; parameters
// take the types of their bindings. Posts and returns false on a type
// error.
bool infer_types(Statement *stmt, Query &query, std::vector<ColumnDesc> &columns);

// The type of every parameter marker of the query (by ordinal - 1) from
// where it stands, whatever the bindings: a CAST's target type; the other
// operand's type in a comparison, IN, NULLIF, COALESCE, CASE or a VALUES
// column; the other operand's number type in arithmetic; an argument's
// class in a scalar function (a number as INTEGER or DOUBLE, a text as
// VARCHAR(255), a datetime as TIMESTAMP); BIGINT for SERIES' bounds and
// DATE for its start; VARCHAR(255) where nothing says more.
void describe_parameters(Statement *stmt, Query &query, std::vector<TypeInfo> &types);

// Sets the statement's time-out deadline (0 without a time-out), its
// start time and the clock its datetime functions read.
void start_deadline(Statement *stmt);

// Starts a result set for the query: checks the parameters, and for a
// sorted query evaluates and sorts every row. SQL_ERROR after posting.
SQLRETURN open_result(Statement *stmt);
// Makes the next row current: SQL_SUCCESS, SQL_NO_DATA or SQL_ERROR.
SQLRETURN next_row(Statement *stmt);

// The SQL type, size and digits that describe a TypeInfo.
void describe_type(const TypeInfo &type, int32_t odbc_version, ColumnDesc &column);

}  // namespace kxdrv

#endif  // KXEVALDRV_QUERY_H
