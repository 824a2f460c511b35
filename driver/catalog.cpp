// catalog.cpp - the catalogue functions.
//
// Exports the ODBC entry points SQLTables, SQLColumns, SQLPrimaryKeys,
// SQLForeignKeys, SQLStatistics, SQLSpecialColumns, SQLProcedures,
// SQLProcedureColumns, SQLTablePrivileges and SQLColumnPrivileges, and
// (driver-internal) the held result sets they and SQLGetTypeInfo answer
// with (catalog.h). The driver has no tables, procedures or privileges:
// each function checks its arguments as ODBC says and gives an empty result
// set with the columns ODBC 3 defines for it, in ODBC's order, with ODBC's
// SQL types and nullability. The driver supports neither catalogs nor
// schemas (SQL_CATALOG_NAME "N", SQL_SCHEMA_USAGE 0): a catalog or schema
// named in an ordinary argument is HYC00.
#include <cstring>

#include "driver/catalog.h"
#include "driver/evaluate.h"
#include "driver/entry.h"
#include "driver/handles.h"

namespace kxdrv {

namespace {

ColumnDesc catalogue_column(const CatalogueColumn &wanted)
{
    ColumnDesc c;
    c.name = wanted.name;
    switch (wanted.type) {
    case CatalogueType::kVarchar:
        c.type.value_type = VALUE_STRING;
        c.type.precision = static_cast<int32_t>(kMaxNameLength);
        describe_type(c.type, 3, c);
        break;
    case CatalogueType::kChar:
        c.type.value_type = VALUE_STRING;
        c.type.precision = 1;
        describe_type(c.type, 3, c);
        c.sql_type = SQL_CHAR;
        break;
    case CatalogueType::kSmallint:
        c.type.value_type = VALUE_INTEGER;
        c.sql_type = SQL_SMALLINT, c.size = 5, c.display_size = 6, c.octet_length = 2;
        break;
    case CatalogueType::kInteger:
        c.type.value_type = VALUE_INTEGER;
        describe_type(c.type, 3, c);
        break;
    }
    c.type.nullable = !wanted.not_null;
    c.nullability_known = true;
    return c;
}

Value *must(Value *v)
{
    if (v == nullptr)
        throw std::bad_alloc();
    return v;
}

// ---- arguments ----

constexpr CatalogueType V = CatalogueType::kVarchar;
constexpr CatalogueType C1 = CatalogueType::kChar;
constexpr CatalogueType S = CatalogueType::kSmallint;
constexpr CatalogueType I = CatalogueType::kInteger;
constexpr bool kNotNull = true;

// One name argument of a catalogue function as the application gave it.
struct Name {
    const SQLCHAR *text;
    SQLSMALLINT length;

    bool null() const { return text == nullptr; }
    // A length below 0 other than SQL_NTS, for a name that is given.
    bool bad_length() const { return text != nullptr && length < 0 && length != SQL_NTS; }
    std::string value() const { return app_string(text, length); }
    // Its length in characters (UTF-8 lead octets).
    size_t characters() const
    {
        size_t n = 0;
        for (unsigned char c : value())
            if ((c & 0xC0) != 0x80)
                ++n;
        return n;
    }
};

// The checks every catalogue function makes of its names: HY090 for a bad
// length, and for a column name longer than the longest the driver has
// (SQL_MAX_COLUMN_NAME_LEN). Posts and returns false on the first failure.
bool lengths_valid(Statement *stmt, std::initializer_list<Name> names, const Name *column = nullptr)
{
    for (const Name &n : names)
        if (n.bad_length()) {
            post_error(stmt->errors, "HY090", "Invalid string or buffer length");
            return false;
        }
    if (column != nullptr && !column->null() && column->characters() > kMaxNameLength) {
        post_error(stmt->errors, "HY090",
                   ("Invalid string or buffer length: a column name is at most " +
                    std::to_string(kMaxNameLength) + " characters")
                       .c_str());
        return false;
    }
    return true;
}

// HYC00 for a catalog or schema named in an ordinary argument: the driver
// has neither. An empty name stands for "no catalog" or "no schema", and
// "%" in a schema pattern for any schema.
bool no_catalog_or_schema(Statement *stmt, const Name &catalog, const Name &schema, bool schema_pattern)
{
    if (!catalog.null() && !catalog.value().empty()) {
        post_error(stmt->errors, "HYC00", "Optional feature not implemented: the driver has no catalogs");
        return false;
    }
    std::string s = schema.null() ? std::string() : schema.value();
    if (!s.empty() && !(schema_pattern && s == "%")) {
        post_error(stmt->errors, "HYC00", "Optional feature not implemented: the driver has no schemas");
        return false;
    }
    return true;
}

SQLRETURN null_pointer(Statement *stmt)
{
    return post_error(stmt->errors, "HY009", "Invalid use of null pointer");
}

}  // namespace

ResultSet *start_catalogue_result(Statement *stmt, std::initializer_list<CatalogueColumn> columns)
{
    close_cursor(stmt);
    drop_query(stmt);
    auto result = std::make_unique<ResultSet>();
    for (const CatalogueColumn &column : columns)
        result->columns.push_back(catalogue_column(column));
    result->mem = kx_mem_alloc_handle(stmt->mem);
    if (result->mem == nullptr)
        throw std::bad_alloc();
    stmt->result = std::move(result);
    stmt->state = kStateFetching;
    return stmt->result.get();
}

Value *text_cell(MemHandle *mem, const char *text)
{
    if (text == nullptr) {
        Value *v = must(make_value(mem, VALUE_STRING));
        v->null_flag = -1;
        return v;
    }
    return must(make_text(mem, text, std::strlen(text)));
}

Value *int_cell(MemHandle *mem, int64_t n, bool null)
{
    Value *v = must(make_value(mem, VALUE_INTEGER));
    v->payload.integer = static_cast<int32_t>(n);
    if (null)
        v->null_flag = -1;
    return v;
}

bool catalogue_call_allowed(Statement *stmt)
{
    if (stmt->state == kStateNeedData) {
        post_error(stmt->errors, "HY010", "Function sequence error");
        return false;
    }
    if (stmt->result) {
        post_error(stmt->errors, "24000", "Invalid cursor state");
        return false;
    }
    return true;
}

}  // namespace kxdrv

using namespace kxdrv;

extern "C" {

KXDRV_API SQLRETURN SQL_API SQLTables(SQLHSTMT handle, SQLCHAR *catalog, SQLSMALLINT catalog_length,
                                      SQLCHAR *schema, SQLSMALLINT schema_length, SQLCHAR *table,
                                      SQLSMALLINT table_length, SQLCHAR *types, SQLSMALLINT types_length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        if (!catalogue_call_allowed(stmt) ||
            !lengths_valid(stmt, {{catalog, catalog_length}, {schema, schema_length}, {table, table_length},
                                  {types, types_length}}))
            return SQL_ERROR;
        start_catalogue_result(stmt, {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false},
                                      {"TABLE_NAME", V, false}, {"TABLE_TYPE", V, false},
                                      {"REMARKS", V, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLColumns(SQLHSTMT handle, SQLCHAR *catalog, SQLSMALLINT catalog_length,
                                       SQLCHAR *schema, SQLSMALLINT schema_length, SQLCHAR *table,
                                       SQLSMALLINT table_length, SQLCHAR *column, SQLSMALLINT column_length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name column_name{column, column_length};
        if (!catalogue_call_allowed(stmt) ||
            !lengths_valid(stmt, {{catalog, catalog_length}, {schema, schema_length}, {table, table_length},
                                  column_name},
                           &column_name))
            return SQL_ERROR;
        start_catalogue_result(
            stmt, {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false}, {"TABLE_NAME", V, kNotNull},
                   {"COLUMN_NAME", V, kNotNull}, {"DATA_TYPE", S, kNotNull}, {"TYPE_NAME", V, kNotNull},
                   {"COLUMN_SIZE", I, false}, {"BUFFER_LENGTH", I, false}, {"DECIMAL_DIGITS", S, false},
                   {"NUM_PREC_RADIX", S, false}, {"NULLABLE", S, kNotNull}, {"REMARKS", V, false},
                   {"COLUMN_DEF", V, false}, {"SQL_DATA_TYPE", S, kNotNull}, {"SQL_DATETIME_SUB", S, false},
                   {"CHAR_OCTET_LENGTH", I, false}, {"ORDINAL_POSITION", I, kNotNull},
                   {"IS_NULLABLE", V, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLPrimaryKeys(SQLHSTMT handle, SQLCHAR *catalog, SQLSMALLINT catalog_length,
                                           SQLCHAR *schema, SQLSMALLINT schema_length, SQLCHAR *table,
                                           SQLSMALLINT table_length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name c{catalog, catalog_length}, s{schema, schema_length}, t{table, table_length};
        if (!catalogue_call_allowed(stmt))
            return SQL_ERROR;
        if (t.null())
            return null_pointer(stmt);
        if (!lengths_valid(stmt, {c, s, t}) || !no_catalog_or_schema(stmt, c, s, false))
            return SQL_ERROR;
        start_catalogue_result(stmt, {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false},
                                      {"TABLE_NAME", V, kNotNull}, {"COLUMN_NAME", V, kNotNull},
                                      {"KEY_SEQ", S, kNotNull}, {"PK_NAME", V, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLForeignKeys(SQLHSTMT handle, SQLCHAR *pk_catalog, SQLSMALLINT pk_catalog_length,
                                           SQLCHAR *pk_schema, SQLSMALLINT pk_schema_length,
                                           SQLCHAR *pk_table, SQLSMALLINT pk_table_length,
                                           SQLCHAR *fk_catalog, SQLSMALLINT fk_catalog_length,
                                           SQLCHAR *fk_schema, SQLSMALLINT fk_schema_length,
                                           SQLCHAR *fk_table, SQLSMALLINT fk_table_length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name pc{pk_catalog, pk_catalog_length}, ps{pk_schema, pk_schema_length}, pt{pk_table, pk_table_length};
        Name fc{fk_catalog, fk_catalog_length}, fs{fk_schema, fk_schema_length}, ft{fk_table, fk_table_length};
        if (!catalogue_call_allowed(stmt))
            return SQL_ERROR;
        if (pt.null() && ft.null())
            return null_pointer(stmt);
        if (!lengths_valid(stmt, {pc, ps, pt, fc, fs, ft}) || !no_catalog_or_schema(stmt, pc, ps, false) ||
            !no_catalog_or_schema(stmt, fc, fs, false))
            return SQL_ERROR;
        start_catalogue_result(
            stmt, {{"PKTABLE_CAT", V, false}, {"PKTABLE_SCHEM", V, false}, {"PKTABLE_NAME", V, kNotNull},
                   {"PKCOLUMN_NAME", V, kNotNull}, {"FKTABLE_CAT", V, false}, {"FKTABLE_SCHEM", V, false},
                   {"FKTABLE_NAME", V, kNotNull}, {"FKCOLUMN_NAME", V, kNotNull}, {"KEY_SEQ", S, kNotNull},
                   {"UPDATE_RULE", S, false}, {"DELETE_RULE", S, false}, {"FK_NAME", V, false},
                   {"PK_NAME", V, false}, {"DEFERRABILITY", S, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLStatistics(SQLHSTMT handle, SQLCHAR *catalog, SQLSMALLINT catalog_length,
                                          SQLCHAR *schema, SQLSMALLINT schema_length, SQLCHAR *table,
                                          SQLSMALLINT table_length, SQLUSMALLINT unique, SQLUSMALLINT reserved)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name c{catalog, catalog_length}, s{schema, schema_length}, t{table, table_length};
        if (!catalogue_call_allowed(stmt))
            return SQL_ERROR;
        if (unique != SQL_INDEX_UNIQUE && unique != SQL_INDEX_ALL)
            return post_error(stmt->errors, "HY100", "Uniqueness option type out of range");
        if (reserved != SQL_ENSURE && reserved != SQL_QUICK)
            return post_error(stmt->errors, "HY101", "Accuracy option type out of range");
        if (t.null())
            return null_pointer(stmt);
        if (!lengths_valid(stmt, {c, s, t}) || !no_catalog_or_schema(stmt, c, s, false))
            return SQL_ERROR;
        start_catalogue_result(
            stmt, {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false}, {"TABLE_NAME", V, kNotNull},
                   {"NON_UNIQUE", S, false}, {"INDEX_QUALIFIER", V, false}, {"INDEX_NAME", V, false},
                   {"TYPE", S, kNotNull}, {"ORDINAL_POSITION", S, false}, {"COLUMN_NAME", V, false},
                   {"ASC_OR_DESC", C1, false}, {"CARDINALITY", I, false}, {"PAGES", I, false},
                   {"FILTER_CONDITION", V, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLSpecialColumns(SQLHSTMT handle, SQLUSMALLINT identifier_type, SQLCHAR *catalog,
                                              SQLSMALLINT catalog_length, SQLCHAR *schema,
                                              SQLSMALLINT schema_length, SQLCHAR *table,
                                              SQLSMALLINT table_length, SQLUSMALLINT scope,
                                              SQLUSMALLINT nullable)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name c{catalog, catalog_length}, s{schema, schema_length}, t{table, table_length};
        if (!catalogue_call_allowed(stmt))
            return SQL_ERROR;
        if (identifier_type != SQL_BEST_ROWID && identifier_type != SQL_ROWVER)
            return post_error(stmt->errors, "HY097", "Column type out of range");
        if (scope != SQL_SCOPE_CURROW && scope != SQL_SCOPE_TRANSACTION && scope != SQL_SCOPE_SESSION)
            return post_error(stmt->errors, "HY098", "Scope type out of range");
        if (nullable != SQL_NO_NULLS && nullable != SQL_NULLABLE)
            return post_error(stmt->errors, "HY099", "Nullable type out of range");
        if (t.null())
            return null_pointer(stmt);
        if (!lengths_valid(stmt, {c, s, t}) || !no_catalog_or_schema(stmt, c, s, false))
            return SQL_ERROR;
        start_catalogue_result(stmt, {{"SCOPE", S, false}, {"COLUMN_NAME", V, kNotNull},
                                      {"DATA_TYPE", S, kNotNull}, {"TYPE_NAME", V, kNotNull},
                                      {"COLUMN_SIZE", I, false}, {"BUFFER_LENGTH", I, false},
                                      {"DECIMAL_DIGITS", S, false}, {"PSEUDO_COLUMN", S, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLProcedures(SQLHSTMT handle, SQLCHAR *catalog, SQLSMALLINT catalog_length,
                                          SQLCHAR *schema, SQLSMALLINT schema_length, SQLCHAR *procedure,
                                          SQLSMALLINT procedure_length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name c{catalog, catalog_length}, s{schema, schema_length}, p{procedure, procedure_length};
        if (!catalogue_call_allowed(stmt) || !lengths_valid(stmt, {c, s, p}) ||
            !no_catalog_or_schema(stmt, c, s, true))
            return SQL_ERROR;
        start_catalogue_result(stmt, {{"PROCEDURE_CAT", V, false}, {"PROCEDURE_SCHEM", V, false},
                                      {"PROCEDURE_NAME", V, kNotNull}, {"NUM_INPUT_PARAMS", I, false},
                                      {"NUM_OUTPUT_PARAMS", I, false}, {"NUM_RESULT_SETS", I, false},
                                      {"REMARKS", V, false}, {"PROCEDURE_TYPE", S, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLProcedureColumns(SQLHSTMT handle, SQLCHAR *catalog, SQLSMALLINT catalog_length,
                                                SQLCHAR *schema, SQLSMALLINT schema_length,
                                                SQLCHAR *procedure, SQLSMALLINT procedure_length,
                                                SQLCHAR *column, SQLSMALLINT column_length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name c{catalog, catalog_length}, s{schema, schema_length}, p{procedure, procedure_length};
        Name column_name{column, column_length};
        if (!catalogue_call_allowed(stmt) || !lengths_valid(stmt, {c, s, p, column_name}, &column_name) ||
            !no_catalog_or_schema(stmt, c, s, true))
            return SQL_ERROR;
        start_catalogue_result(
            stmt, {{"PROCEDURE_CAT", V, false}, {"PROCEDURE_SCHEM", V, false},
                   {"PROCEDURE_NAME", V, kNotNull}, {"COLUMN_NAME", V, kNotNull}, {"COLUMN_TYPE", S, kNotNull},
                   {"DATA_TYPE", S, kNotNull}, {"TYPE_NAME", V, kNotNull}, {"COLUMN_SIZE", I, false},
                   {"BUFFER_LENGTH", I, false}, {"DECIMAL_DIGITS", S, false}, {"NUM_PREC_RADIX", S, false},
                   {"NULLABLE", S, kNotNull}, {"REMARKS", V, false}, {"COLUMN_DEF", V, false},
                   {"SQL_DATA_TYPE", S, kNotNull}, {"SQL_DATETIME_SUB", S, false},
                   {"CHAR_OCTET_LENGTH", I, false}, {"ORDINAL_POSITION", I, kNotNull},
                   {"IS_NULLABLE", V, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLTablePrivileges(SQLHSTMT handle, SQLCHAR *catalog, SQLSMALLINT catalog_length,
                                               SQLCHAR *schema, SQLSMALLINT schema_length, SQLCHAR *table,
                                               SQLSMALLINT table_length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name c{catalog, catalog_length}, s{schema, schema_length}, t{table, table_length};
        if (!catalogue_call_allowed(stmt) || !lengths_valid(stmt, {c, s, t}) ||
            !no_catalog_or_schema(stmt, c, s, true))
            return SQL_ERROR;
        start_catalogue_result(stmt, {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false},
                                      {"TABLE_NAME", V, kNotNull}, {"GRANTOR", V, false},
                                      {"GRANTEE", V, kNotNull}, {"PRIVILEGE", V, kNotNull},
                                      {"IS_GRANTABLE", V, false}});
        return SQL_SUCCESS;
    });
}

KXDRV_API SQLRETURN SQL_API SQLColumnPrivileges(SQLHSTMT handle, SQLCHAR *catalog, SQLSMALLINT catalog_length,
                                                SQLCHAR *schema, SQLSMALLINT schema_length, SQLCHAR *table,
                                                SQLSMALLINT table_length, SQLCHAR *column,
                                                SQLSMALLINT column_length)
{
    return statement_entry(handle, [&](Statement *stmt) -> SQLRETURN {
        Name c{catalog, catalog_length}, s{schema, schema_length}, t{table, table_length};
        Name column_name{column, column_length};
        if (!catalogue_call_allowed(stmt))
            return SQL_ERROR;
        if (t.null())
            return null_pointer(stmt);
        if (!lengths_valid(stmt, {c, s, t, column_name}, &column_name) || !no_catalog_or_schema(stmt, c, s, false))
            return SQL_ERROR;
        start_catalogue_result(stmt, {{"TABLE_CAT", V, false}, {"TABLE_SCHEM", V, false},
                                      {"TABLE_NAME", V, kNotNull}, {"COLUMN_NAME", V, kNotNull},
                                      {"GRANTOR", V, false}, {"GRANTEE", V, kNotNull},
                                      {"PRIVILEGE", V, kNotNull}, {"IS_GRANTABLE", V, false}});
        return SQL_SUCCESS;
    });
}

}  // extern "C"
