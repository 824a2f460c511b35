// descriptors.cpp - the statements' descriptors and the application's.
//
// Exports the ODBC entry points SQLGetDescField, SQLSetDescField,
// SQLGetDescRec, SQLSetDescRec and SQLCopyDesc, and (driver-internal) the
// descriptor functions of driver.h: making and freeing descriptors, the
// association of explicit ones with statements (SQL_ATTR_APP_ROW_DESC,
// SQL_ATTR_APP_PARAM_DESC), and SQLBindCol's and SQLBindParameter's
// writing into the ARD, the APD and the IPD.
//
// Every statement has four implicit descriptors. The ARD and the APD hold
// the application's buffers, the IPD what the parameters are; SQLFetch and
// the execution read them (results.cpp, convert.cpp, statement.cpp). The
// IRD keeps only its header: its records are the statement's described
// columns, answered as SQLColAttribute answers them, so that the two never
// disagree.
#include <algorithm>
#include <climits>

#include "driver/entry.h"
#include "driver/handles.h"
#include "driver/query.h"

namespace kxdrv {

namespace {

constexpr const char *kAutomaticHandle = "Invalid use of an automatically allocated descriptor handle";

// ---- types ----

bool is_character(SQLSMALLINT type)
{
    switch (type) {
    case SQL_CHAR:
    case SQL_VARCHAR:
    case SQL_LONGVARCHAR:
    case SQL_WCHAR:
    case SQL_WVARCHAR:
    case SQL_WLONGVARCHAR:
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
        return true;
    default:
        return false;
    }
}

// The numeric types whose column size is their precision.
bool has_precision(SQLSMALLINT type)
{
    switch (type) {
    case SQL_NUMERIC:
    case SQL_DECIMAL:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
    case SQL_TINYINT:
    case SQL_BIT:
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE:
        return true;
    default:
        return false;
    }
}

bool is_interval(SQLSMALLINT concise)
{
    return concise >= SQL_INTERVAL_YEAR && concise <= SQL_INTERVAL_MINUTE_TO_SECOND;
}

// The date-time code of a date, time or timestamp type, ODBC 3's numbers
// or ODBC 2's; 0 for any other.
SQLSMALLINT datetime_code(SQLSMALLINT concise)
{
    switch (concise) {
    case SQL_TYPE_DATE:
    case SQL_DATE: return SQL_CODE_DATE;
    case SQL_TYPE_TIME:
    case SQL_TIME: return SQL_CODE_TIME;
    case SQL_TYPE_TIMESTAMP:
    case SQL_TIMESTAMP: return SQL_CODE_TIMESTAMP;
    default: return 0;
    }
}

// Types whose decimal digits are the fractional seconds (PRECISION).
bool has_fractional_seconds(SQLSMALLINT concise)
{
    return datetime_code(concise) == SQL_CODE_TIMESTAMP || datetime_code(concise) == SQL_CODE_TIME ||
           concise == SQL_INTERVAL_SECOND || concise == SQL_INTERVAL_DAY_TO_SECOND ||
           concise == SQL_INTERVAL_HOUR_TO_SECOND || concise == SQL_INTERVAL_MINUTE_TO_SECOND;
}

bool valid_c_type(SQLSMALLINT c)
{
    switch (c) {
    case SQL_C_DEFAULT:
    case SQL_C_CHAR:
    case SQL_C_WCHAR:
    case SQL_C_SHORT:
    case SQL_C_SSHORT:
    case SQL_C_USHORT:
    case SQL_C_LONG:
    case SQL_C_SLONG:
    case SQL_C_ULONG:
    case SQL_C_FLOAT:
    case SQL_C_DOUBLE:
    case SQL_C_BIT:
    case SQL_C_TINYINT:
    case SQL_C_STINYINT:
    case SQL_C_UTINYINT:
    case SQL_C_SBIGINT:
    case SQL_C_UBIGINT:
    case SQL_C_BINARY:
    case SQL_C_NUMERIC:
    case SQL_C_GUID:
        return true;
    default:
        return datetime_code(c) != 0 || is_interval(c);
    }
}

bool valid_sql_type(SQLSMALLINT t)
{
    switch (t) {
    case SQL_CHAR:
    case SQL_VARCHAR:
    case SQL_LONGVARCHAR:
    case SQL_WCHAR:
    case SQL_WVARCHAR:
    case SQL_WLONGVARCHAR:
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
    case SQL_GUID:
        return true;
    default:
        return has_precision(t) || datetime_code(t) != 0 || is_interval(t);
    }
}

// ---- records ----

// What setting a record's type resets: the lengths and precisions the
// type starts with.
void apply_type_defaults(DescRecord &r)
{
    SQLSMALLINT t = r.concise_type;
    if (is_character(t) || t == SQL_C_CHAR || t == SQL_C_WCHAR) {
        r.length = 1;
        r.precision = 0;
    } else if (t == SQL_NUMERIC || t == SQL_DECIMAL) {
        r.precision = 38;
        r.scale = 0;
    } else if (t == SQL_FLOAT || t == SQL_DOUBLE) {
        r.precision = 53;
    } else if (t == SQL_REAL) {
        r.precision = 24;
    } else if (datetime_code(t) != 0) {
        r.precision = datetime_code(t) == SQL_CODE_TIMESTAMP ? 6 : 0;
    } else if (is_interval(t)) {
        r.datetime_interval_precision = 2;
        r.precision = has_fractional_seconds(t) ? 6 : 0;
    }
}

// SQL_DESC_TYPE: the verbose type, and the concise one it gives with the
// record's date-time code.
void set_verbose_type(DescRecord &r, SQLSMALLINT type)
{
    SQLSMALLINT code = r.datetime_interval_code;
    if (type == SQL_DATETIME) {
        r.type = type;
        r.concise_type = code >= SQL_CODE_DATE && code <= SQL_CODE_TIMESTAMP
                             ? static_cast<SQLSMALLINT>(SQL_TYPE_DATE - SQL_CODE_DATE + code)
                             : type;
    } else if (type == SQL_INTERVAL) {
        r.type = type;
        r.concise_type = code >= SQL_CODE_YEAR && code <= SQL_CODE_MINUTE_TO_SECOND
                             ? static_cast<SQLSMALLINT>(SQL_INTERVAL_YEAR - SQL_CODE_YEAR + code)
                             : type;
    } else {
        set_concise_type(r, type);
    }
}

// SQL_DESC_DATETIME_INTERVAL_CODE: with a verbose date-time or interval
// type it makes the concise type, which starts with its defaults.
void set_datetime_interval_code(DescRecord &r, SQLSMALLINT code)
{
    r.datetime_interval_code = code;
    if (r.type == SQL_DATETIME || r.type == SQL_INTERVAL) {
        set_verbose_type(r, r.type);
        apply_type_defaults(r);
    }
}

DescRecord new_record(DescKind kind)
{
    DescRecord r;
    if (kind == DescKind::kImpParam || kind == DescKind::kImpRow)
        set_concise_type(r, SQL_VARCHAR);
    return r;
}

bool is_application(const Descriptor *d)
{
    return d->kind == DescKind::kAppRow || d->kind == DescKind::kAppParam || d->kind == DescKind::kExplicit;
}

// The check made when a buffer is set: an application record must name a
// C type the driver converts to, an IPD record an SQL type; a verbose
// date-time or interval type needs its code, a number a precision and
// scale that fit, fractional seconds at most nine digits, an interval a
// leading precision.
bool consistent(const Descriptor *d, const DescRecord &r)
{
    SQLSMALLINT t = r.concise_type;
    if (is_application(d) ? !valid_c_type(t) : !valid_sql_type(t))
        return false;
    SQLSMALLINT code = r.datetime_interval_code;
    if (r.type == SQL_DATETIME && (code < SQL_CODE_DATE || code > SQL_CODE_TIMESTAMP))
        return false;
    if (r.type == SQL_INTERVAL && (code < SQL_CODE_YEAR || code > SQL_CODE_MINUTE_TO_SECOND))
        return false;
    if (t == SQL_C_NUMERIC || t == SQL_DECIMAL)
        return r.precision >= 1 && r.precision <= 38 && r.scale >= 0 && r.scale <= r.precision;
    if (has_fractional_seconds(t) && (r.precision < 0 || r.precision > 9))
        return false;
    if (is_interval(t))
        return r.datetime_interval_precision >= 1 && r.datetime_interval_precision <= 9;
    return true;
}

// Column size and decimal digits, SQLBindParameter's terms, from an IPD
// record and into one.
SQLULEN column_size_of(const DescRecord &r)
{
    return has_precision(r.concise_type) ? static_cast<SQLULEN>(r.precision) : r.length;
}

SQLSMALLINT decimal_digits_of(const DescRecord &r)
{
    return has_fractional_seconds(r.concise_type) ? r.precision : r.scale;
}

void set_column_size(DescRecord &r, SQLULEN size, SQLSMALLINT digits)
{
    r.length = size;
    r.scale = digits;
    if (has_precision(r.concise_type))
        r.precision = static_cast<SQLSMALLINT>(std::min<SQLULEN>(size, SHRT_MAX));
    else if (has_fractional_seconds(r.concise_type))
        r.precision = digits;
}

// Sets SQL_DESC_COUNT: records past it go, new ones start unbound.
void set_count(Descriptor *d, size_t count)
{
    if (count < d->records.size())
        d->records.resize(count);
    while (d->records.size() < count)
        d->records.push_back(new_record(d->kind));
}

// The highest bound record ends the ARD: unbinding the last column lowers
// SQL_DESC_COUNT to the bound one before it.
void trim_unbound(Descriptor *d)
{
    while (!d->records.empty() && !record_bound(d->records.back()))
        d->records.pop_back();
}

// ---- the IRD ----

// The statement's described columns, or null (HY007 posted) when it has
// none yet.
const std::vector<ColumnDesc> *ird_columns(Descriptor *ird)
{
    const std::vector<ColumnDesc> *columns = columns_of(ird->owner);
    if (columns == nullptr)
        post_error(ird->errors, "HY007", "Associated statement is not prepared");
    return columns;
}

// One numeric field of an IRD record, as SQLColAttribute gives it.
SQLLEN ird_number(Descriptor *ird, SQLSMALLINT number, SQLUSMALLINT field)
{
    SQLLEN n = 0;
    column_attribute(ird->owner, ird->errors, static_cast<SQLUSMALLINT>(number), field, nullptr, 0,
                     nullptr, &n);
    return n;
}

// Record `number` (1-based, within the columns) of an IRD.
DescRecord ird_record(Descriptor *ird, SQLSMALLINT number)
{
    const ColumnDesc &c = (*columns_of(ird->owner))[static_cast<size_t>(number - 1)];
    DescRecord r;
    set_concise_type(r, static_cast<SQLSMALLINT>(ird_number(ird, number, SQL_DESC_CONCISE_TYPE)));
    r.octet_length = ird_number(ird, number, SQL_DESC_OCTET_LENGTH);
    r.length = static_cast<SQLULEN>(ird_number(ird, number, SQL_DESC_LENGTH));
    r.precision = static_cast<SQLSMALLINT>(ird_number(ird, number, SQL_DESC_PRECISION));
    r.scale = static_cast<SQLSMALLINT>(ird_number(ird, number, SQL_DESC_SCALE));
    r.num_prec_radix = static_cast<SQLINTEGER>(ird_number(ird, number, SQL_DESC_NUM_PREC_RADIX));
    r.nullable = static_cast<SQLSMALLINT>(ird_number(ird, number, SQL_DESC_NULLABLE));
    r.unnamed = static_cast<SQLSMALLINT>(ird_number(ird, number, SQL_DESC_UNNAMED));
    r.name = c.name;
    return r;
}

// The fields of an IRD record that SQLColAttribute answers.
bool colattribute_field(SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_CONCISE_TYPE:
    case SQL_DESC_DISPLAY_SIZE:
    case SQL_DESC_UNSIGNED:
    case SQL_DESC_FIXED_PREC_SCALE:
    case SQL_DESC_UPDATABLE:
    case SQL_DESC_AUTO_UNIQUE_VALUE:
    case SQL_DESC_CASE_SENSITIVE:
    case SQL_DESC_SEARCHABLE:
    case SQL_DESC_TYPE_NAME:
    case SQL_DESC_TABLE_NAME:
    case SQL_DESC_SCHEMA_NAME:
    case SQL_DESC_CATALOG_NAME:
    case SQL_DESC_LABEL:
    case SQL_DESC_BASE_COLUMN_NAME:
    case SQL_DESC_BASE_TABLE_NAME:
    case SQL_DESC_LITERAL_PREFIX:
    case SQL_DESC_LITERAL_SUFFIX:
    case SQL_DESC_LOCAL_TYPE_NAME:
    case SQL_DESC_NUM_PREC_RADIX:
    case SQL_DESC_TYPE:
    case SQL_DESC_LENGTH:
    case SQL_DESC_OCTET_LENGTH:
    case SQL_DESC_PRECISION:
    case SQL_DESC_SCALE:
    case SQL_DESC_NULLABLE:
    case SQL_DESC_NAME:
    case SQL_DESC_UNNAMED:
        return true;
    default:
        return false;
    }
}

// ---- field widths ----

enum class Width { kSmall, kInteger, kLen, kPointer, kText };

Width width_of(SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_ARRAY_SIZE:
    case SQL_DESC_LENGTH:
    case SQL_DESC_OCTET_LENGTH:
    case SQL_DESC_DISPLAY_SIZE:
    case SQL_DESC_BIND_TYPE:
        return Width::kLen;
    case SQL_DESC_ARRAY_STATUS_PTR:
    case SQL_DESC_BIND_OFFSET_PTR:
    case SQL_DESC_ROWS_PROCESSED_PTR:
    case SQL_DESC_DATA_PTR:
    case SQL_DESC_INDICATOR_PTR:
    case SQL_DESC_OCTET_LENGTH_PTR:
        return Width::kPointer;
    case SQL_DESC_AUTO_UNIQUE_VALUE:
    case SQL_DESC_CASE_SENSITIVE:
    case SQL_DESC_DATETIME_INTERVAL_PRECISION:
    case SQL_DESC_NUM_PREC_RADIX:
        return Width::kInteger;
    case SQL_DESC_NAME:
    case SQL_DESC_LABEL:
    case SQL_DESC_TYPE_NAME:
    case SQL_DESC_TABLE_NAME:
    case SQL_DESC_SCHEMA_NAME:
    case SQL_DESC_CATALOG_NAME:
    case SQL_DESC_BASE_COLUMN_NAME:
    case SQL_DESC_BASE_TABLE_NAME:
    case SQL_DESC_LITERAL_PREFIX:
    case SQL_DESC_LITERAL_SUFFIX:
    case SQL_DESC_LOCAL_TYPE_NAME:
        return Width::kText;
    default:
        return Width::kSmall;
    }
}

// Writes a numeric or pointer field at the width ODBC gives it.
void put_field(SQLPOINTER value, Width width, SQLLEN n, void *pointer, SQLINTEGER *length)
{
    SQLINTEGER octets = 0;
    switch (width) {
    case Width::kSmall:
        octets = sizeof(SQLSMALLINT);
        if (value != nullptr)
            *static_cast<SQLSMALLINT *>(value) = static_cast<SQLSMALLINT>(n);
        break;
    case Width::kInteger:
        octets = sizeof(SQLINTEGER);
        if (value != nullptr)
            *static_cast<SQLINTEGER *>(value) = static_cast<SQLINTEGER>(n);
        break;
    case Width::kLen:
        octets = sizeof(SQLLEN);
        if (value != nullptr)
            *static_cast<SQLLEN *>(value) = n;
        break;
    default:
        octets = sizeof(SQLPOINTER);
        if (value != nullptr)
            *static_cast<SQLPOINTER *>(value) = pointer;
        break;
    }
    if (length != nullptr)
        *length = octets;
}

// The field's value as SQLSetDescField passes an integer.
SQLLEN word_of(SQLPOINTER value)
{
    return static_cast<SQLLEN>(reinterpret_cast<intptr_t>(value));
}

// ---- header fields ----

bool is_header_field(SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_ALLOC_TYPE:
    case SQL_DESC_ARRAY_SIZE:
    case SQL_DESC_ARRAY_STATUS_PTR:
    case SQL_DESC_BIND_OFFSET_PTR:
    case SQL_DESC_BIND_TYPE:
    case SQL_DESC_COUNT:
    case SQL_DESC_ROWS_PROCESSED_PTR:
        return true;
    default:
        return false;
    }
}

// A header field the descriptor's kind has: ARRAY_SIZE, BIND_OFFSET_PTR
// and BIND_TYPE the application's, ROWS_PROCESSED_PTR the implementation's.
bool has_header_field(const Descriptor *d, SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_ARRAY_SIZE:
    case SQL_DESC_BIND_OFFSET_PTR:
    case SQL_DESC_BIND_TYPE:
        return is_application(d);
    case SQL_DESC_ROWS_PROCESSED_PTR:
        return !is_application(d);
    default:
        return true;
    }
}

SQLRETURN invalid_field(Descriptor *d)
{
    return post_error(d->errors, "HY091", "Invalid descriptor field identifier");
}

SQLRETURN get_header_field(Descriptor *d, SQLSMALLINT field, SQLPOINTER value, SQLINTEGER *length)
{
    if (!has_header_field(d, field))
        return invalid_field(d);
    const DescHeader &h = d->header;
    SQLLEN n = 0;
    void *pointer = nullptr;
    switch (field) {
    case SQL_DESC_ALLOC_TYPE: n = h.alloc_type; break;
    case SQL_DESC_ARRAY_SIZE: n = static_cast<SQLLEN>(h.array_size); break;
    case SQL_DESC_ARRAY_STATUS_PTR: pointer = h.array_status_ptr; break;
    case SQL_DESC_BIND_OFFSET_PTR: pointer = h.bind_offset_ptr; break;
    case SQL_DESC_BIND_TYPE: n = static_cast<SQLLEN>(h.bind_type); break;
    case SQL_DESC_ROWS_PROCESSED_PTR: pointer = h.rows_processed_ptr; break;
    default: {  // SQL_DESC_COUNT
        if (d->kind != DescKind::kImpRow) {
            n = static_cast<SQLLEN>(d->records.size());
            break;
        }
        const std::vector<ColumnDesc> *columns = ird_columns(d);
        if (columns == nullptr)
            return SQL_ERROR;
        n = static_cast<SQLLEN>(columns->size());
    }
    }
    Width width = field == SQL_DESC_BIND_TYPE ? Width::kInteger : width_of(field);
    put_field(value, width, n, pointer, length);
    return SQL_SUCCESS;
}

SQLRETURN set_header_field(Descriptor *d, SQLSMALLINT field, SQLPOINTER value)
{
    if (field == SQL_DESC_ALLOC_TYPE || !has_header_field(d, field))
        return invalid_field(d);
    DescHeader &h = d->header;
    SQLLEN n = word_of(value);
    switch (field) {
    case SQL_DESC_ARRAY_SIZE:
        if (n <= 0)
            return post_error(d->errors, "HY024", "Invalid attribute value");
        h.array_size = static_cast<SQLULEN>(n);
        return SQL_SUCCESS;
    case SQL_DESC_ARRAY_STATUS_PTR:
        h.array_status_ptr = static_cast<SQLUSMALLINT *>(value);
        return SQL_SUCCESS;
    case SQL_DESC_BIND_OFFSET_PTR:
        h.bind_offset_ptr = static_cast<SQLLEN *>(value);
        return SQL_SUCCESS;
    case SQL_DESC_BIND_TYPE:
        h.bind_type = static_cast<SQLULEN>(static_cast<SQLUINTEGER>(n));
        return SQL_SUCCESS;
    case SQL_DESC_ROWS_PROCESSED_PTR:
        h.rows_processed_ptr = static_cast<SQLULEN *>(value);
        return SQL_SUCCESS;
    default:  // SQL_DESC_COUNT
        if (n < 0 || n > SHRT_MAX)
            return post_error(d->errors, "07009", "Invalid descriptor index");
        set_count(d, static_cast<size_t>(n));
        return SQL_SUCCESS;
    }
}

// ---- record fields ----

// The fields that give a record's type, which every descriptor but the
// IRD lets the application set.
bool type_field(SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_TYPE:
    case SQL_DESC_CONCISE_TYPE:
    case SQL_DESC_DATETIME_INTERVAL_CODE:
    case SQL_DESC_DATETIME_INTERVAL_PRECISION:
    case SQL_DESC_OCTET_LENGTH:
    case SQL_DESC_LENGTH:
    case SQL_DESC_PRECISION:
    case SQL_DESC_SCALE:
    case SQL_DESC_NUM_PREC_RADIX:
        return true;
    default:
        return false;
    }
}

// The record fields an application descriptor has: the type and the
// buffers.
bool application_field(SQLSMALLINT field)
{
    return type_field(field) || field == SQL_DESC_DATA_PTR || field == SQL_DESC_INDICATOR_PTR ||
           field == SQL_DESC_OCTET_LENGTH_PTR;
}

// The record fields an IPD has that the application may set (DATA_PTR only
// to have the record checked).
bool ipd_settable_field(SQLSMALLINT field)
{
    return type_field(field) || field == SQL_DESC_NAME || field == SQL_DESC_UNNAMED ||
           field == SQL_DESC_PARAMETER_TYPE || field == SQL_DESC_DATA_PTR;
}

// The IPD's read-only record fields, from the record's type.
bool ipd_read_only_field(SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_NULLABLE:
    case SQL_DESC_CASE_SENSITIVE:
    case SQL_DESC_FIXED_PREC_SCALE:
    case SQL_DESC_UNSIGNED:
    case SQL_DESC_ROWVER:
    case SQL_DESC_TYPE_NAME:
    case SQL_DESC_LOCAL_TYPE_NAME:
        return true;
    default:
        return false;
    }
}

// Checks a record number against the descriptor: 07009 for 0 (the driver
// has no bookmarks) or a negative one, SQL_NO_DATA past the last record
// when reading.
SQLRETURN check_record_number(Descriptor *d, SQLSMALLINT number, size_t count, bool reading)
{
    if (number < 1)
        return post_error(d->errors, "07009", "Invalid descriptor index");
    if (reading && static_cast<size_t>(number) > count)
        return SQL_NO_DATA;
    return SQL_SUCCESS;
}

// The value of a numeric record field of a stored record.
SQLLEN record_number(const DescRecord &r, SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_TYPE: return r.type;
    case SQL_DESC_CONCISE_TYPE: return r.concise_type;
    case SQL_DESC_DATETIME_INTERVAL_CODE: return r.datetime_interval_code;
    case SQL_DESC_DATETIME_INTERVAL_PRECISION: return r.datetime_interval_precision;
    case SQL_DESC_OCTET_LENGTH: return r.octet_length;
    case SQL_DESC_LENGTH: return static_cast<SQLLEN>(r.length);
    case SQL_DESC_PRECISION: return r.precision;
    case SQL_DESC_SCALE: return r.scale;
    case SQL_DESC_NUM_PREC_RADIX: return r.num_prec_radix;
    case SQL_DESC_NULLABLE: return r.nullable;
    case SQL_DESC_UNNAMED: return r.unnamed;
    case SQL_DESC_PARAMETER_TYPE: return r.parameter_type;
    case SQL_DESC_CASE_SENSITIVE: return is_character(r.concise_type) ? SQL_TRUE : SQL_FALSE;
    case SQL_DESC_UNSIGNED: return has_precision(r.concise_type) ? SQL_FALSE : SQL_TRUE;
    default: return 0;  // FIXED_PREC_SCALE, ROWVER
    }
}

void *record_pointer(const DescRecord &r, SQLSMALLINT field)
{
    switch (field) {
    case SQL_DESC_DATA_PTR: return r.data_ptr;
    case SQL_DESC_INDICATOR_PTR: return r.indicator_ptr;
    default: return r.octet_length_ptr;
    }
}

SQLRETURN get_ird_field(Descriptor *d, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER value,
                        SQLINTEGER buffer_length, SQLINTEGER *length)
{
    const std::vector<ColumnDesc> *columns = ird_columns(d);
    if (columns == nullptr)
        return SQL_ERROR;
    bool computed = field == SQL_DESC_DATETIME_INTERVAL_CODE ||
                    field == SQL_DESC_DATETIME_INTERVAL_PRECISION || field == SQL_DESC_ROWVER;
    if (!computed && !colattribute_field(field))
        return invalid_field(d);
    SQLRETURN rc = check_record_number(d, number, columns->size(), true);
    if (rc != SQL_SUCCESS)
        return rc;
    if (computed) {
        DescRecord r = ird_record(d, number);
        put_field(value, width_of(field), field == SQL_DESC_ROWVER ? SQL_FALSE : record_number(r, field),
                  nullptr, length);
        return SQL_SUCCESS;
    }
    if (width_of(field) == Width::kText) {
        SQLSMALLINT short_length = 0;
        SQLSMALLINT buffer = static_cast<SQLSMALLINT>(std::min<SQLINTEGER>(buffer_length, SHRT_MAX));
        rc = column_attribute(d->owner, d->errors, static_cast<SQLUSMALLINT>(number),
                              static_cast<SQLUSMALLINT>(field), value, buffer, &short_length, nullptr);
        if (length != nullptr)
            *length = short_length;
        return rc;
    }
    SQLLEN n = 0;
    rc = column_attribute(d->owner, d->errors, static_cast<SQLUSMALLINT>(number),
                          static_cast<SQLUSMALLINT>(field), nullptr, 0, nullptr, &n);
    if (rc == SQL_SUCCESS)
        put_field(value, width_of(field), n, nullptr, length);
    return rc;
}

SQLRETURN get_record_field(Descriptor *d, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER value,
                           SQLINTEGER buffer_length, SQLINTEGER *length)
{
    if (d->kind == DescKind::kImpRow)
        return get_ird_field(d, number, field, value, buffer_length, length);
    // an IPD's DATA_PTR is only set, to have the record checked
    bool ipd = d->kind == DescKind::kImpParam;
    bool defined = ipd ? (ipd_settable_field(field) && field != SQL_DESC_DATA_PTR) ||
                             ipd_read_only_field(field)
                       : application_field(field);
    if (!defined)
        return invalid_field(d);
    SQLRETURN rc = check_record_number(d, number, d->records.size(), true);
    if (rc != SQL_SUCCESS)
        return rc;
    const DescRecord &r = d->records[static_cast<size_t>(number - 1)];
    Width width = width_of(field);
    if (width == Width::kText)
        return return_string_int(d->errors, field == SQL_DESC_NAME ? r.name : std::string(), value,
                                 buffer_length, length);
    if (width == Width::kPointer)
        put_field(value, width, 0, record_pointer(r, field), length);
    else
        put_field(value, width, record_number(r, field), nullptr, length);
    return SQL_SUCCESS;
}

// SQL_DESC_PARAMETER_TYPE: input parameters only; the other known kinds
// are not implemented.
SQLRETURN set_parameter_type(Descriptor *d, DescRecord &r, SQLLEN n)
{
    switch (n) {
    case SQL_PARAM_INPUT:
        r.parameter_type = SQL_PARAM_INPUT;
        return SQL_SUCCESS;
    case SQL_PARAM_INPUT_OUTPUT:
    case SQL_PARAM_OUTPUT:
    case SQL_PARAM_INPUT_OUTPUT_STREAM:
    case SQL_PARAM_OUTPUT_STREAM:
        return post_error(d->errors, "HYC00", "Optional feature not implemented");
    default:
        return post_error(d->errors, "HY105", "Invalid parameter type");
    }
}

// A DATA_PTR set on a record: checked first, and on an IPD only checked.
SQLRETURN set_data_pointer(Descriptor *d, DescRecord &r, SQLPOINTER value)
{
    if (value != nullptr || d->kind == DescKind::kImpParam) {
        if (!consistent(d, r))
            return post_error(d->errors, "HY021", "Inconsistent descriptor information");
    }
    if (d->kind != DescKind::kImpParam)
        r.data_ptr = value;
    return SQL_SUCCESS;
}

SQLRETURN set_name(Descriptor *d, DescRecord &r, SQLPOINTER value, SQLINTEGER buffer_length)
{
    if (buffer_length < 0 && buffer_length != SQL_NTS)
        return post_error(d->errors, "HY090", "Invalid string or buffer length");
    r.name = app_string(static_cast<const SQLCHAR *>(value), value == nullptr ? 0 : buffer_length);
    r.unnamed = r.name.empty() ? SQL_UNNAMED : SQL_NAMED;
    return SQL_SUCCESS;
}

SQLRETURN set_record_value(Descriptor *d, DescRecord &r, SQLSMALLINT field, SQLPOINTER value,
                           SQLINTEGER buffer_length)
{
    SQLLEN n = word_of(value);
    switch (field) {
    case SQL_DESC_TYPE:
        set_verbose_type(r, static_cast<SQLSMALLINT>(n));
        apply_type_defaults(r);
        return SQL_SUCCESS;
    case SQL_DESC_CONCISE_TYPE:
        set_concise_type(r, static_cast<SQLSMALLINT>(n));
        apply_type_defaults(r);
        return SQL_SUCCESS;
    case SQL_DESC_DATETIME_INTERVAL_CODE:
        set_datetime_interval_code(r, static_cast<SQLSMALLINT>(n));
        break;
    case SQL_DESC_DATETIME_INTERVAL_PRECISION:
        r.datetime_interval_precision = static_cast<SQLINTEGER>(n);
        break;
    case SQL_DESC_OCTET_LENGTH: r.octet_length = n; break;
    case SQL_DESC_LENGTH: r.length = static_cast<SQLULEN>(n); break;
    case SQL_DESC_PRECISION: r.precision = static_cast<SQLSMALLINT>(n); break;
    case SQL_DESC_SCALE: r.scale = static_cast<SQLSMALLINT>(n); break;
    case SQL_DESC_NUM_PREC_RADIX: r.num_prec_radix = static_cast<SQLINTEGER>(n); break;
    case SQL_DESC_INDICATOR_PTR: r.indicator_ptr = static_cast<SQLLEN *>(value); break;
    case SQL_DESC_OCTET_LENGTH_PTR: r.octet_length_ptr = static_cast<SQLLEN *>(value); break;
    case SQL_DESC_NAME: return set_name(d, r, value, buffer_length);
    case SQL_DESC_UNNAMED:
        // a name is given with SQL_DESC_NAME; only its absence may be set
        if (n != SQL_UNNAMED)
            return invalid_field(d);
        r.unnamed = SQL_UNNAMED;
        r.name.clear();
        break;
    case SQL_DESC_PARAMETER_TYPE: return set_parameter_type(d, r, n);
    default:  // SQL_DESC_DATA_PTR
        return set_data_pointer(d, r, value);
    }
    return SQL_SUCCESS;
}

SQLRETURN set_record_field(Descriptor *d, SQLSMALLINT number, SQLSMALLINT field, SQLPOINTER value,
                           SQLINTEGER buffer_length)
{
    bool settable = d->kind == DescKind::kImpParam ? ipd_settable_field(field) : application_field(field);
    if (!settable)
        return invalid_field(d);
    SQLRETURN rc = check_record_number(d, number, d->records.size(), false);
    if (rc != SQL_SUCCESS)
        return rc;
    if (static_cast<size_t>(number) > d->records.size())
        set_count(d, static_cast<size_t>(number));
    DescRecord &r = d->records[static_cast<size_t>(number - 1)];
    // a record whose description changes is unbound: its buffer no longer
    // holds what the record says
    bool deferred = field == SQL_DESC_DATA_PTR || field == SQL_DESC_INDICATOR_PTR ||
                    field == SQL_DESC_OCTET_LENGTH_PTR;
    if (!deferred)
        r.data_ptr = nullptr;
    return set_record_value(d, r, field, value, buffer_length);
}

// ---- explicit descriptors and statements ----

void remove_user(Descriptor *d, Statement *stmt)
{
    auto at = std::find(d->users.begin(), d->users.end(), stmt);
    if (at != d->users.end())
        d->users.erase(at);
}

// Makes a descriptor with its own memory and diagnostics; null when memory
// runs out.
std::unique_ptr<Descriptor> make_descriptor(Connection *conn, MemHandle *parent, DescKind kind,
                                            Statement *owner)
{
    auto d = std::make_unique<Descriptor>();
    d->kind = kind;
    d->conn = conn;
    d->owner = owner;
    d->header.alloc_type = kind == DescKind::kExplicit ? SQL_DESC_ALLOC_USER : SQL_DESC_ALLOC_AUTO;
    d->mem = kx_mem_alloc_handle(parent);
    if (d->mem == nullptr)
        return nullptr;
    d->errors = make_error_header(d->mem, conn->env, conn->dsn.c_str());
    if (d->errors == nullptr) {
        kx_mem_release_handle(d->mem);
        return nullptr;
    }
    return d;
}

// Copies every field but SQL_DESC_ALLOC_TYPE; an IRD's records are its
// statement's columns.
void copy_descriptor(Descriptor *source, Descriptor *target, size_t ird_count)
{
    std::vector<DescRecord> records;
    if (source->kind == DescKind::kImpRow) {
        records.reserve(ird_count);
        for (size_t i = 0; i < ird_count; ++i)
            records.push_back(ird_record(source, static_cast<SQLSMALLINT>(i + 1)));
    } else {
        records = source->records;
    }
    SQLSMALLINT alloc_type = target->header.alloc_type;
    target->header = source->header;
    target->header.alloc_type = alloc_type;
    target->records.swap(records);
}

}  // namespace

bool record_bound(const DescRecord &r)
{
    return r.data_ptr != nullptr || r.indicator_ptr != nullptr || r.octet_length_ptr != nullptr;
}

void set_concise_type(DescRecord &r, SQLSMALLINT concise)
{
    r.concise_type = concise;
    if (datetime_code(concise) != 0) {
        r.type = SQL_DATETIME;
        r.datetime_interval_code = datetime_code(concise);
    } else if (is_interval(concise)) {
        r.type = SQL_INTERVAL;
        r.datetime_interval_code = static_cast<SQLSMALLINT>(concise - SQL_INTERVAL_YEAR + SQL_CODE_YEAR);
    } else {
        r.type = concise;
        r.datetime_interval_code = 0;
    }
}

Descriptor *new_explicit_descriptor(Connection *conn)
{
    conn->descriptors.reserve(conn->descriptors.size() + 1);  // no failure after the handle is made
    std::unique_ptr<Descriptor> d = make_descriptor(conn, conn->mem_handle, DescKind::kExplicit, nullptr);
    if (!d)
        return nullptr;
    conn->descriptors.push_back(d.get());
    return d.release();
}

bool make_implicit_descriptors(Statement *stmt)
{
    try {
        stmt->implicit_ard = make_descriptor(stmt->conn, stmt->mem, DescKind::kAppRow, stmt);
        stmt->implicit_apd = make_descriptor(stmt->conn, stmt->mem, DescKind::kAppParam, stmt);
        stmt->ird = make_descriptor(stmt->conn, stmt->mem, DescKind::kImpRow, stmt);
        stmt->ipd = make_descriptor(stmt->conn, stmt->mem, DescKind::kImpParam, stmt);
    } catch (const std::bad_alloc &) {
        return false;  // what was made goes with the statement
    }
    stmt->ard = stmt->implicit_ard.get();
    stmt->apd = stmt->implicit_apd.get();
    return stmt->ard != nullptr && stmt->apd != nullptr && stmt->ird && stmt->ipd;
}

void leave_descriptors(Statement *stmt)
{
    if (stmt->ard != nullptr && stmt->ard->kind == DescKind::kExplicit)
        remove_user(stmt->ard, stmt);
    if (stmt->apd != nullptr && stmt->apd->kind == DescKind::kExplicit)
        remove_user(stmt->apd, stmt);
    stmt->ard = stmt->implicit_ard.get();
    stmt->apd = stmt->implicit_apd.get();
}

void free_descriptor(Descriptor *d)
{
    Connection *conn = d->conn;
    for (Statement *stmt : d->users) {
        if (stmt->ard == d)
            stmt->ard = stmt->implicit_ard.get();
        if (stmt->apd == d)
            stmt->apd = stmt->implicit_apd.get();
    }
    auto at = std::find(conn->descriptors.begin(), conn->descriptors.end(), d);
    if (at != conn->descriptors.end())
        conn->descriptors.erase(at);
    kx_mem_release_handle(d->mem);
    delete d;
}

SQLRETURN use_descriptor(Statement *stmt, bool row, SQLHANDLE handle)
{
    Descriptor *implicit = row ? stmt->implicit_ard.get() : stmt->implicit_apd.get();
    Descriptor *&current = row ? stmt->ard : stmt->apd;
    Descriptor *d = handle == nullptr ? implicit : descriptor_of(handle);
    if (d == nullptr || d->conn != stmt->conn)
        return post_error(stmt->errors, "HY024", "Invalid attribute value");
    if (d != implicit && d->kind != DescKind::kExplicit)
        return post_error(stmt->errors, "HY017", kAutomaticHandle);
    // the explicit descriptors' lists of statements are the connection's
    std::lock_guard<std::recursive_mutex> hold(stmt->conn->lock);
    if (d == current)
        return SQL_SUCCESS;
    if (d->kind == DescKind::kExplicit)
        d->users.push_back(stmt);
    if (current->kind == DescKind::kExplicit)
        remove_user(current, stmt);
    current = d;
    return SQL_SUCCESS;
}

bool parameter_bound(const Statement *stmt, size_t index)
{
    return index < stmt->apd->records.size() && record_bound(stmt->apd->records[index]);
}

ParamBinding bound_parameter(const Statement *stmt, size_t index)
{
    ParamBinding b;
    if (index < stmt->apd->records.size()) {
        const DescRecord &a = stmt->apd->records[index];
        b.bound = record_bound(a);
        b.c_type = a.concise_type;
        b.data = a.data_ptr;
        b.buffer_length = a.octet_length;
        b.indicator = a.octet_length_ptr;
        b.null_indicator = a.indicator_ptr != a.octet_length_ptr ? a.indicator_ptr : nullptr;
    }
    if (index < stmt->ipd->records.size()) {
        const DescRecord &i = stmt->ipd->records[index];
        b.io_type = i.parameter_type;
        b.sql_type = i.concise_type;
        b.column_size = column_size_of(i);
        b.decimal_digits = decimal_digits_of(i);
    }
    return b;
}

void bind_column(Descriptor *ard, size_t number, SQLSMALLINT c_type, SQLPOINTER data,
                 SQLLEN buffer_length, SQLLEN *indicator)
{
    if (ard->records.size() < number)
        set_count(ard, number);
    DescRecord &r = ard->records[number - 1];
    set_concise_type(r, c_type);
    r.octet_length = buffer_length;
    r.data_ptr = data;
    r.indicator_ptr = indicator;
    r.octet_length_ptr = indicator;
    trim_unbound(ard);
}

void bind_parameter(Statement *stmt, size_t number, const ParamBinding &b)
{
    if (stmt->apd->records.size() < number)
        set_count(stmt->apd, number);
    if (stmt->ipd->records.size() < number)
        set_count(stmt->ipd.get(), number);
    DescRecord &a = stmt->apd->records[number - 1];
    set_concise_type(a, b.c_type);
    a.octet_length = b.buffer_length;
    a.data_ptr = b.data;
    a.indicator_ptr = b.indicator;
    a.octet_length_ptr = b.indicator;
    DescRecord &i = stmt->ipd->records[number - 1];
    set_concise_type(i, b.sql_type);
    i.parameter_type = b.io_type;
    set_column_size(i, b.column_size, b.decimal_digits);
}

}  // namespace kxdrv

using namespace kxdrv;

extern "C" {

KXDRV_API SQLRETURN SQL_API SQLGetDescField(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field,
                                            SQLPOINTER value, SQLINTEGER buffer_length,
                                            SQLINTEGER *length)
{
    return descriptor_entry(handle, [&](Descriptor *d) -> SQLRETURN {
        if (is_header_field(field))
            return get_header_field(d, field, value, length);
        return get_record_field(d, number, field, value, buffer_length, length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLSetDescField(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT field,
                                            SQLPOINTER value, SQLINTEGER buffer_length)
{
    return descriptor_entry(handle, [&](Descriptor *d) -> SQLRETURN {
        // of an IRD, the application sets only where the statuses and the
        // count of the rows go
        if (d->kind == DescKind::kImpRow && field != SQL_DESC_ARRAY_STATUS_PTR &&
            field != SQL_DESC_ROWS_PROCESSED_PTR)
            return post_error(d->errors, "HY016", "Cannot modify an implementation row descriptor");
        if (is_header_field(field))
            return set_header_field(d, field, value);
        return set_record_field(d, number, field, value, buffer_length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLGetDescRec(SQLHDESC handle, SQLSMALLINT number, SQLCHAR *name,
                                          SQLSMALLINT buffer_length, SQLSMALLINT *name_length,
                                          SQLSMALLINT *type, SQLSMALLINT *subtype, SQLLEN *length,
                                          SQLSMALLINT *precision, SQLSMALLINT *scale,
                                          SQLSMALLINT *nullable)
{
    return descriptor_entry(handle, [&](Descriptor *d) -> SQLRETURN {
        size_t count = d->records.size();
        if (d->kind == DescKind::kImpRow) {
            const std::vector<ColumnDesc> *columns = ird_columns(d);
            if (columns == nullptr)
                return SQL_ERROR;
            count = columns->size();
        }
        SQLRETURN rc = check_record_number(d, number, count, true);
        if (rc != SQL_SUCCESS)
            return rc;
        DescRecord r = d->kind == DescKind::kImpRow ? ird_record(d, number)
                                                     : d->records[static_cast<size_t>(number - 1)];
        if (type != nullptr)
            *type = r.type;
        if (subtype != nullptr)
            *subtype = r.datetime_interval_code;
        if (length != nullptr)
            *length = r.octet_length;
        if (precision != nullptr)
            *precision = r.precision;
        if (scale != nullptr)
            *scale = r.scale;
        if (nullable != nullptr)
            *nullable = r.nullable;
        return return_string(d->errors, r.name, name, buffer_length, name_length);
    });
}

KXDRV_API SQLRETURN SQL_API SQLSetDescRec(SQLHDESC handle, SQLSMALLINT number, SQLSMALLINT type,
                                          SQLSMALLINT subtype, SQLLEN length, SQLSMALLINT precision,
                                          SQLSMALLINT scale, SQLPOINTER data, SQLLEN *string_length,
                                          SQLLEN *indicator)
{
    return descriptor_entry(handle, [&](Descriptor *d) -> SQLRETURN {
        if (d->kind == DescKind::kImpRow)
            return post_error(d->errors, "HY016", "Cannot modify an implementation row descriptor");
        SQLRETURN rc = check_record_number(d, number, d->records.size(), false);
        if (rc != SQL_SUCCESS)
            return rc;
        if (static_cast<size_t>(number) > d->records.size())
            set_count(d, static_cast<size_t>(number));
        DescRecord &r = d->records[static_cast<size_t>(number - 1)];
        r.data_ptr = nullptr;
        set_verbose_type(r, type);
        apply_type_defaults(r);
        if (type == SQL_DATETIME || type == SQL_INTERVAL)
            set_datetime_interval_code(r, subtype);
        r.octet_length = length;
        r.precision = precision;
        r.scale = scale;
        if (d->kind != DescKind::kImpParam) {
            r.octet_length_ptr = string_length;
            r.indicator_ptr = indicator;
        }
        return set_data_pointer(d, r, data);
    });
}

KXDRV_API SQLRETURN SQL_API SQLCopyDesc(SQLHDESC source_handle, SQLHDESC target_handle)
{
    Descriptor *source = descriptor_of(source_handle);
    if (source == nullptr)
        return SQL_INVALID_HANDLE;
    return descriptor_entry(target_handle, [&](Descriptor *target) -> SQLRETURN {
        if (target->kind == DescKind::kImpRow)
            return post_error(target->errors, "HY016", "Cannot modify an implementation row descriptor");
        // the source's connection's lock: another connection's descriptor
        // may be copied
        std::lock_guard<std::recursive_mutex> hold(source->conn->lock);
        size_t ird_count = 0;
        if (source->kind == DescKind::kImpRow) {
            const std::vector<ColumnDesc> *columns = columns_of(source->owner);
            if (columns == nullptr)
                return post_error(target->errors, "HY007", "Associated statement is not prepared");
            ird_count = columns->size();
        }
        if (source != target)
            copy_descriptor(source, target, ird_count);
        return SQL_SUCCESS;
    });
}

}  // extern "C"
