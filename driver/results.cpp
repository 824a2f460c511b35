// results.cpp - describing and fetching result sets.
//
// Exports the ODBC entry points SQLNumResultCols, SQLDescribeCol,
// SQLColAttribute, SQLBindCol, SQLFetch, SQLFetchScroll, SQLExtendedFetch
// and SQLGetData.
// SQLFetch and SQLFetchScroll fetch rowsets (SQL_ATTR_ROW_ARRAY_SIZE rows)
// into the columns the ARD binds, column-wise or row-wise, at the bind
// offset, the count and statuses where the IRD says; a static
// cursor (its rows held at execution) scrolls in every direction.
// Columns are described from the types the evaluator inferred (before
// execution from the prepared statement, after it from the result set);
// data goes out through deliver_column (convert.cpp).
#include <algorithm>
#include <cstring>

#include "driver/convert.h"
#include "driver/entry.h"
#include "driver/handles.h"

namespace kxdrv {

const std::vector<ColumnDesc> *columns_of(Statement *stmt)
{
    if (stmt->result)
        return &stmt->result->columns;
    if (stmt->query)
        return &stmt->query->described;
    return nullptr;
}

namespace {

const char *type_name(SQLSMALLINT sql_type)
{
    switch (sql_type) {
    case SQL_INTEGER: return "INTEGER";
    case SQL_SMALLINT: return "SMALLINT";
    case SQL_BIGINT: return "BIGINT";
    case SQL_BIT: return "BIT";
    case SQL_DOUBLE: return "DOUBLE";
    case SQL_NUMERIC: return "NUMERIC";
    case SQL_TYPE_DATE:
    case SQL_DATE: return "DATE";
    case SQL_TYPE_TIME:
    case SQL_TIME: return "TIME";
    case SQL_TYPE_TIMESTAMP:
    case SQL_TIMESTAMP: return "TIMESTAMP";
    case SQL_VARBINARY: return "VARBINARY";
    case SQL_LONGVARBINARY: return "LONG VARBINARY";
    case SQL_LONGVARCHAR: return "LONG VARCHAR";
    case SQL_CHAR: return "CHAR";
    default:
        if (sql_type > 100 && sql_type <= 113)
            return "INTERVAL";
        return "VARCHAR";
    }
}

bool is_approximate(SQLSMALLINT sql_type)
{
    return sql_type == SQL_DOUBLE || sql_type == SQL_FLOAT || sql_type == SQL_REAL;
}

bool is_numeric(SQLSMALLINT sql_type)
{
    switch (sql_type) {
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
    case SQL_NUMERIC:
    case SQL_DECIMAL:
        return true;
    default:
        return is_approximate(sql_type);
    }
}

// Delivers one column into a record whose null indicator is apart from
// its length (SQL_DESC_INDICATOR_PTR and SQL_DESC_OCTET_LENGTH_PTR set
// apart through the descriptor): NULL goes to the one, the length to the
// other.
SQLRETURN deliver_split(Statement *stmt, int column, Value *value, SQLSMALLINT c_type, void *data,
                        SQLLEN buffer_length, SQLLEN *indicator, SQLLEN *length)
{
    SQLLEN got = 0;
    SQLRETURN rc = deliver_column(stmt, column, value, c_type, data, buffer_length, &got, false);
    if (rc == SQL_ERROR)
        return rc;
    if (got == SQL_NULL_DATA) {
        if (indicator == nullptr)
            return post_error(stmt->errors, "22002", "Indicator variable required but not supplied");
        set_length(indicator, SQL_NULL_DATA);
        return rc;
    }
    if (indicator != nullptr)
        set_length(indicator, 0);
    if (length != nullptr)
        set_length(length, got);
    return rc;
}

char *first_element(void *base, SQLLEN offset)
{
    return base == nullptr ? nullptr : static_cast<char *>(base) + offset;
}

char *element_at(char *first, size_t step, SQLULEN row)
{
    return first == nullptr ? nullptr : first + row * step;
}

// The columns the ARD binds, as BoundTargets.
void bound_targets(Statement *stmt, std::vector<BoundTarget> &targets)
{
    ResultSet *r = stmt->result.get();
    const Descriptor *ard = stmt->ard;
    SQLLEN offset = ard->header.bind_offset_ptr != nullptr ? *ard->header.bind_offset_ptr : 0;
    SQLULEN bind_type = ard->header.bind_type;
    targets.clear();
    for (size_t i = 0; i < ard->records.size() && i < r->columns.size(); ++i) {
        const DescRecord &b = ard->records[i];
        if (!record_bound(b))
            continue;
        SQLSMALLINT c = b.concise_type == SQL_C_DEFAULT ? default_c_type(r->columns[i].sql_type)
                                                         : b.concise_type;
        bool by_column = bind_type == SQL_BIND_BY_COLUMN;
        BoundTarget t;
        t.column = static_cast<int>(i + 1);
        t.c_type = b.concise_type;
        t.buffer_length = b.octet_length;
        t.data = first_element(b.data_ptr, offset);
        t.indicator = first_element(b.indicator_ptr, offset);
        t.length = first_element(b.octet_length_ptr, offset);
        t.data_step = by_column ? c_type_octets(c, b.octet_length) : static_cast<size_t>(bind_type);
        t.length_step = by_column ? sizeof(SQLLEN) : static_cast<size_t>(bind_type);
        t.split = b.indicator_ptr != b.octet_length_ptr;
        targets.push_back(t);
    }
}

// Delivers the current row into the bound columns at row `row` of the
// rowset: the most severe of the columns' return codes.
SQLRETURN deliver_row(Statement *stmt, const std::vector<BoundTarget> &targets, SQLULEN row)
{
    ResultSet *r = stmt->result.get();
    SQLRETURN result = SQL_SUCCESS;
    for (const BoundTarget &t : targets) {
        void *data = element_at(t.data, t.data_step, row);
        auto *indicator = reinterpret_cast<SQLLEN *>(element_at(t.indicator, t.length_step, row));
        Value *value = r->current[static_cast<size_t>(t.column - 1)];
        SQLRETURN rc =
            !t.split ? deliver_column(stmt, t.column, value, t.c_type, data, t.buffer_length, indicator, false)
                     : deliver_split(stmt, t.column, value, t.c_type, data, t.buffer_length, indicator,
                                     reinterpret_cast<SQLLEN *>(element_at(t.length, t.length_step, row)));
        if (rc == SQL_ERROR)
            result = SQL_ERROR;
        else if (rc == SQL_SUCCESS_WITH_INFO && result == SQL_SUCCESS)
            result = SQL_SUCCESS_WITH_INFO;
    }
    return result;
}

// SQL_ATTR_MAX_ROWS: a forward-only cursor stops after so many rows, a
// static one has no rows past them.
bool past_max_rows(const Statement *stmt, const ResultSet *r)
{
    if (stmt->max_rows == 0)
        return false;
    if (!r->streaming && stmt->cursor_type == SQL_CURSOR_STATIC)
        return r->next_row >= stmt->max_rows;
    return static_cast<SQLULEN>(r->rows_fetched) >= stmt->max_rows;
}

// The rows a static cursor can reach.
int64_t held_rows(const Statement *stmt, const ResultSet *r)
{
    int64_t n = static_cast<int64_t>(r->rows.size());
    if (stmt->max_rows > 0 && static_cast<SQLULEN>(n) > stmt->max_rows)
        n = static_cast<int64_t>(stmt->max_rows);
    return n;
}

SQLUSMALLINT row_status(SQLRETURN rc)
{
    return rc == SQL_SUCCESS ? SQL_ROW_SUCCESS : rc == SQL_ERROR ? SQL_ROW_ERROR : SQL_ROW_SUCCESS_WITH_INFO;
}

// The next rowset: up to SQL_ATTR_ROW_ARRAY_SIZE rows into the bound
// columns, the count in SQL_ATTR_ROWS_FETCHED_PTR and each row's status
// (SQL_ROW_NOROW past the last) in SQL_ATTR_ROW_STATUS_PTR. A row that
// fails after the first ends the rowset with SQL_SUCCESS_WITH_INFO, its
// status SQL_ROW_ERROR; the first failing is SQL_ERROR.
SQLRETURN fetch_rowset(Statement *stmt)
{
    ResultSet *r = stmt->result.get();
    if (r == nullptr)
        return post_error(stmt->errors, "24000", "Invalid cursor state");
    SQLULEN size = stmt->ard->header.array_size;
    SQLUSMALLINT *statuses = stmt->ird->header.array_status_ptr;
    SQLULEN fetched = 0;
    SQLRETURN result = SQL_SUCCESS;
    if (!r->streaming)
        r->rowset_start = static_cast<int64_t>(r->next_row);
    std::vector<BoundTarget> &targets = r->targets;
    bound_targets(stmt, targets);
    while (fetched < size) {
        if (past_max_rows(stmt, r))
            break;
        SQLRETURN rc = next_row(stmt);
        if (rc == SQL_NO_DATA)
            break;
        if (rc != SQL_SUCCESS) {
            if (fetched == 0)
                return rc;
            if (statuses != nullptr)
                statuses[fetched] = SQL_ROW_ERROR;
            ++fetched;
            result = SQL_SUCCESS_WITH_INFO;
            break;
        }
        r->rows_fetched++;
        rc = deliver_row(stmt, targets, fetched);
        if (statuses != nullptr)
            statuses[fetched] = row_status(rc);
        ++fetched;
        if (rc == SQL_ERROR && size == 1)
            result = SQL_ERROR;
        else if (rc != SQL_SUCCESS && result == SQL_SUCCESS)
            result = SQL_SUCCESS_WITH_INFO;
    }
    if (stmt->ird->header.rows_processed_ptr != nullptr)
        *stmt->ird->header.rows_processed_ptr = fetched;
    if (statuses != nullptr)
        for (SQLULEN k = fetched; k < size; ++k)
            statuses[k] = SQL_ROW_NOROW;
    if (fetched == 0 && !r->streaming)
        r->rowset_start = held_rows(stmt, r);  // after the last row
    return fetched == 0 ? SQL_NO_DATA : result;
}

// No rowset: the cursor stands before the first row or after the last.
SQLRETURN no_rowset(Statement *stmt, ResultSet *r, int64_t position)
{
    r->rowset_start = position;
    r->next_row = static_cast<size_t>(position < 0 ? 0 : position);
    r->current.clear();
    const DescHeader &ird = stmt->ird->header;
    if (ird.rows_processed_ptr != nullptr)
        *ird.rows_processed_ptr = 0;
    if (ird.array_status_ptr != nullptr)
        for (SQLULEN k = 0; k < stmt->ard->header.array_size; ++k)
            ird.array_status_ptr[k] = SQL_ROW_NOROW;
    return SQL_NO_DATA;
}

// SQLFetchScroll on a static cursor: where the new rowset starts, as
// ODBC's table for each orientation has it (a start before the first row
// that overlaps the result moves to the first row, with 01S06 for PRIOR
// and RELATIVE), then the rowset from there.
SQLRETURN scroll(Statement *stmt, SQLSMALLINT orientation, SQLLEN offset)
{
    ResultSet *r = stmt->result.get();
    if (r == nullptr)
        return post_error(stmt->errors, "24000", "Invalid cursor state");
    int64_t n = held_rows(stmt, r);
    int64_t size = static_cast<int64_t>(stmt->ard->header.array_size);
    int64_t current = r->rowset_start;
    bool before = current < 0;
    bool after = current >= n;
    int64_t start = 0;
    bool clipped = false;  // a start before the first row moved to it
    switch (orientation) {
    case SQL_FETCH_FIRST:
        start = 0;
        break;
    case SQL_FETCH_LAST:
        start = std::max<int64_t>(n - size, 0);
        break;
    case SQL_FETCH_PRIOR:
        if (before || current == 0)
            return no_rowset(stmt, r, -1);
        start = after ? n - size : current - size;
        clipped = start < 0 && !after;
        break;
    case SQL_FETCH_RELATIVE:
        if ((before && offset <= 0) || (after && offset >= 0))
            return no_rowset(stmt, r, before ? -1 : n);
        // an offset past the 64-bit range lands before the first row or
        // after the last, as any offset that far does
        if (__builtin_add_overflow(before ? -1 : after ? n : current, offset, &start))
            return no_rowset(stmt, r, offset < 0 ? -1 : n);
        if (start < -size)
            return no_rowset(stmt, r, -1);
        clipped = start < 0;
        break;
    case SQL_FETCH_ABSOLUTE:
        if (offset == 0)
            return no_rowset(stmt, r, -1);
        if (offset < -n && offset < -size)
            return no_rowset(stmt, r, -1);
        start = offset > 0 ? offset - 1 : std::max<int64_t>(n + offset, 0);
        break;
    default:
        return post_error(stmt->errors, "HY106", "Fetch type out of range");
    }
    if (start < 0)
        start = 0;
    if (start >= n)
        return no_rowset(stmt, r, n);
    r->next_row = static_cast<size_t>(start);
    SQLRETURN rc = fetch_rowset(stmt);
    if (clipped && SQL_SUCCEEDED(rc))
        return post_warning(stmt->errors, "01S06",
                            "Attempt to fetch before the result set returned the first rowset");
    return rc;
}

}  // namespace

SQLRETURN column_attribute(Statement *stmt, ErrorHeader *errors, SQLUSMALLINT number,
                           SQLUSMALLINT field, SQLPOINTER text, SQLSMALLINT buffer_length,
                           SQLSMALLINT *text_length, SQLLEN *numeric)
{
    const std::vector<ColumnDesc> *columns = columns_of(stmt);
    if (columns == nullptr)
        return post_error(errors, "HY010", "Function sequence error");
    if (field == SQL_DESC_COUNT || field == SQL_COLUMN_COUNT) {
        if (numeric != nullptr)
            *numeric = static_cast<SQLLEN>(columns->size());
        return SQL_SUCCESS;
    }
    if (number < 1 || number > columns->size())
        return post_error(errors, "07009", "Invalid descriptor index");
    const ColumnDesc &c = (*columns)[number - 1u];
    SQLLEN n = 0;
    const char *string = nullptr;
    bool character = c.sql_type == SQL_VARCHAR || c.sql_type == SQL_CHAR || c.sql_type == SQL_LONGVARCHAR;
    switch (field) {
    case SQL_DESC_NAME:
    case SQL_DESC_LABEL:
    case SQL_COLUMN_NAME:
    case SQL_DESC_BASE_COLUMN_NAME:
        string = c.name.c_str();
        break;
    case SQL_DESC_TYPE_NAME:
        string = type_name(c.sql_type);
        break;
    case SQL_DESC_TABLE_NAME:
    case SQL_DESC_BASE_TABLE_NAME:
    case SQL_DESC_SCHEMA_NAME:
    case SQL_DESC_CATALOG_NAME:
    case SQL_DESC_LITERAL_PREFIX:
    case SQL_DESC_LITERAL_SUFFIX:
    case SQL_DESC_LOCAL_TYPE_NAME:
        string = "";
        break;
    case SQL_DESC_TYPE:
        n = c.sql_type == SQL_TYPE_DATE || c.sql_type == SQL_TYPE_TIME || c.sql_type == SQL_TYPE_TIMESTAMP
                ? SQL_DATETIME
            : c.sql_type > 100 && c.sql_type <= 113 ? SQL_INTERVAL
                                                     : c.sql_type;
        break;
    case SQL_DESC_CONCISE_TYPE:
        n = c.sql_type;
        break;
    case SQL_DESC_LENGTH:
    case SQL_COLUMN_LENGTH:
    case SQL_DESC_OCTET_LENGTH:
        n = c.octet_length;
        break;
    case SQL_DESC_PRECISION:
    case SQL_COLUMN_PRECISION:
        n = c.sql_type == SQL_TYPE_TIMESTAMP ? c.decimal_digits : static_cast<SQLLEN>(c.size);
        break;
    case SQL_DESC_SCALE:
    case SQL_COLUMN_SCALE:
        n = c.decimal_digits;
        break;
    case SQL_DESC_DISPLAY_SIZE:
        n = c.display_size;
        break;
    case SQL_DESC_NULLABLE:
    case SQL_COLUMN_NULLABLE:
        n = nullability_of(c);
        break;
    case SQL_DESC_UNSIGNED:
        // SQL_TRUE for a column that is unsigned or not numeric: every
        // number type of the driver is signed
        n = is_numeric(c.sql_type) ? SQL_FALSE : SQL_TRUE;
        break;
    case SQL_DESC_CASE_SENSITIVE:
        n = character ? SQL_TRUE : SQL_FALSE;
        break;
    case SQL_DESC_SEARCHABLE:
        n = SQL_PRED_SEARCHABLE;
        break;
    case SQL_DESC_UPDATABLE:
        n = SQL_ATTR_READONLY;
        break;
    case SQL_DESC_AUTO_UNIQUE_VALUE:
    case SQL_DESC_FIXED_PREC_SCALE:
    case SQL_DESC_UNNAMED:
        n = field == SQL_DESC_UNNAMED ? SQL_NAMED : SQL_FALSE;
        break;
    case SQL_DESC_NUM_PREC_RADIX:
        // an approximate type's precision counts bits, an exact one's digits
        n = is_approximate(c.sql_type) ? 2 : is_numeric(c.sql_type) ? 10 : 0;
        break;
    default:
        return post_error(errors, "HY091", "Invalid descriptor field identifier");
    }
    if (string != nullptr)
        return return_string(errors, string, text, buffer_length, text_length);
    if (numeric != nullptr)
        *numeric = n;
    return SQL_SUCCESS;
}

}  // namespace kxdrv

using namespace kxdrv;

extern "C" {

KXDRV_API SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT *count)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        const std::vector<ColumnDesc> *columns = columns_of(stmt);
        if (count != nullptr)
            *count = columns != nullptr ? static_cast<SQLSMALLINT>(columns->size()) : 0;
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLDescribeCol(SQLHSTMT handle, SQLUSMALLINT number, SQLCHAR *name,
                                           SQLSMALLINT buffer_length, SQLSMALLINT *name_length,
                                           SQLSMALLINT *sql_type, SQLULEN *size,
                                           SQLSMALLINT *digits, SQLSMALLINT *nullable)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        const std::vector<ColumnDesc> *columns = columns_of(stmt);
        if (columns == nullptr)
            return post_error(stmt->errors, "HY010", "Function sequence error");
        if (number < 1 || number > columns->size())
            return post_error(stmt->errors, "07009", "Invalid descriptor index");
        const ColumnDesc &c = (*columns)[number - 1u];
        if (sql_type != nullptr)
            *sql_type = c.sql_type;
        if (size != nullptr)
            *size = c.size;
        if (digits != nullptr)
            *digits = c.decimal_digits;
        if (nullable != nullptr)
            *nullable = nullability_of(c);
        return return_string(stmt->errors, c.name, name, buffer_length, name_length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLColAttribute(SQLHSTMT handle, SQLUSMALLINT number,
                                            SQLUSMALLINT field, SQLPOINTER text,
                                            SQLSMALLINT buffer_length, SQLSMALLINT *text_length,
                                            SQLLEN *numeric)
{
    return statement_entry(handle, [&](Statement *stmt) {
        return column_attribute(stmt, stmt->errors, number, field, text, buffer_length, text_length,
                                numeric);
    });
}

KXDRV_API SQLRETURN SQL_API SQLBindCol(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT c_type,
                                       SQLPOINTER data, SQLLEN buffer_length, SQLLEN *indicator)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (number < 1)
            return post_error(stmt->errors, "07009", "Invalid descriptor index");
        bind_column(stmt->ard, number, c_type, data, buffer_length, indicator);
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLFetch(SQLHSTMT handle)
{
    return statement_entry(handle, [&](Statement *stmt) { return fetch_rowset(stmt); });
}

KXDRV_API SQLRETURN SQL_API SQLFetchScroll(SQLHSTMT handle, SQLSMALLINT orientation, SQLLEN offset)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (orientation == SQL_FETCH_NEXT)
            return fetch_rowset(stmt);
        // a forward-only cursor moves one way only
        if (stmt->cursor_type != SQL_CURSOR_STATIC || !stmt->result || stmt->result->streaming)
            return post_error(stmt->errors, "HY106", "Fetch type out of range");
        return scroll(stmt, orientation, offset);
    });
}

// ODBC 2's block fetch: the rowset size of SQL_ROWSET_SIZE, the count and
// the statuses into the call's own arguments, the rest as SQLFetchScroll.
KXDRV_API SQLRETURN SQL_API SQLExtendedFetch(SQLHSTMT handle, SQLUSMALLINT orientation, SQLLEN offset,
                                             SQLULEN *row_count, SQLUSMALLINT *row_status)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (orientation != SQL_FETCH_NEXT &&
            (stmt->cursor_type != SQL_CURSOR_STATIC || !stmt->result || stmt->result->streaming))
            return post_error(stmt->errors, "HY106", "Fetch type out of range");
        // the call's own rowset size, count and statuses stand in for the
        // descriptors' while it runs
        DescHeader &ard = stmt->ard->header;
        DescHeader &ird = stmt->ird->header;
        SQLULEN array_size = ard.array_size;
        SQLULEN *fetched = ird.rows_processed_ptr;
        SQLUSMALLINT *statuses = ird.array_status_ptr;
        ard.array_size = stmt->rowset_size;
        ird.rows_processed_ptr = row_count;
        ird.array_status_ptr = row_status;
        SQLRETURN rc = orientation == SQL_FETCH_NEXT
                           ? fetch_rowset(stmt)
                           : scroll(stmt, static_cast<SQLSMALLINT>(orientation), offset);
        ard.array_size = array_size;
        ird.rows_processed_ptr = fetched;
        ird.array_status_ptr = statuses;
        return rc;
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetData(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT c_type,
                                       SQLPOINTER target, SQLLEN buffer_length, SQLLEN *indicator)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        ResultSet *r = stmt->result.get();
        if (r == nullptr || r->rows_fetched == 0 || r->current.empty())
            return post_error(stmt->errors, "24000", "Invalid cursor state");
        if (number < 1 || number > r->columns.size())
            return post_error(stmt->errors, "07009", "Invalid descriptor index");
        // no SQLSetPos: with rowsets of more than one row, no row is the
        // one SQLGetData would read
        if (stmt->ard->header.array_size > 1)
            return post_error(stmt->errors, "HYC00", "Optional feature not implemented");
        return deliver_column(stmt, number, r->current[number - 1u], c_type, target, buffer_length,
                              indicator, true);
    });
}

}  // extern "C"
