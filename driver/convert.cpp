// convert.cpp - application buffers to Values and Values to application
// buffers.
//
// Exports (driver-internal) parameter_type, build_parameters, data_at_exec,
// deliver_column and default_c_type. Character data crosses as UTF-8 octets
// (SQL_C_CHAR) or UTF-16 code units (SQL_C_WCHAR). Long parameter data sent
// with SQLPutData lives in library long buffers (VALUE_LONG_STRING,
// VALUE_LONG_BINARY); a long result is read back through the same buffer.
// Results follow ODBC's rules: 01004 with the full remaining length for a
// cut text or binary, the remaining pieces on later SQLGetData calls and
// SQL_NO_DATA after the last, SQL_NULL_DATA in the indicator (22002 without
// one), 22003 for a number outside the target type, 01S07 for a dropped
// fraction and 22018 for a text that is not a number. Date, time and
// timestamp parameters follow ODBC's C to SQL tables (datetime_parameter):
// as text when bound to a character type (22001 when the column size is
// shorter than the text), and 22008 for what a datetime type cannot hold.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "driver/convert.h"
#include "driver/evaluate.h"
#include "driver/handles.h"
#include "driver/unicode.h"

namespace kxdrv {

namespace {

bool is_long_sql_type(SQLSMALLINT t)
{
    return t == SQL_LONGVARCHAR || t == SQL_WLONGVARCHAR || t == SQL_LONGVARBINARY;
}

bool is_binary_sql_type(SQLSMALLINT t)
{
    return t == SQL_BINARY || t == SQL_VARBINARY || t == SQL_LONGVARBINARY;
}

}  // namespace

bool data_at_exec(const ParamBinding &b)
{
    return b.indicator != nullptr &&
           (length_at(b.indicator) == SQL_DATA_AT_EXEC || length_at(b.indicator) <= SQL_LEN_DATA_AT_EXEC_OFFSET);
}

SQLSMALLINT default_c_type(SQLSMALLINT sql_type)
{
    switch (sql_type) {
    case SQL_INTEGER: return SQL_C_SLONG;
    case SQL_SMALLINT: return SQL_C_SSHORT;
    case SQL_TINYINT: return SQL_C_STINYINT;
    case SQL_BIGINT: return SQL_C_SBIGINT;
    case SQL_BIT: return SQL_C_BIT;
    case SQL_DOUBLE:
    case SQL_FLOAT: return SQL_C_DOUBLE;
    case SQL_REAL: return SQL_C_FLOAT;
    case SQL_TYPE_DATE: return SQL_C_TYPE_DATE;
    case SQL_DATE: return SQL_C_DATE;
    case SQL_TYPE_TIME: return SQL_C_TYPE_TIME;
    case SQL_TIME: return SQL_C_TIME;
    case SQL_TYPE_TIMESTAMP: return SQL_C_TYPE_TIMESTAMP;
    case SQL_TIMESTAMP: return SQL_C_TIMESTAMP;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY: return SQL_C_BINARY;
    case SQL_WCHAR:
    case SQL_WVARCHAR:
    case SQL_WLONGVARCHAR: return SQL_C_WCHAR;
    default:
        if (sql_type > 100 && sql_type <= 113)
            return sql_type;
        return SQL_C_CHAR;
    }
}

size_t c_type_octets(SQLSMALLINT c, SQLLEN buffer_length)
{
    switch (c) {
    case SQL_C_SHORT:
    case SQL_C_SSHORT:
    case SQL_C_USHORT: return sizeof(SQLSMALLINT);
    case SQL_C_LONG:
    case SQL_C_SLONG:
    case SQL_C_ULONG: return sizeof(SQLINTEGER);
    case SQL_C_TINYINT:
    case SQL_C_STINYINT:
    case SQL_C_UTINYINT:
    case SQL_C_BIT: return sizeof(SQLCHAR);
    case SQL_C_SBIGINT:
    case SQL_C_UBIGINT: return sizeof(SQLBIGINT);
    case SQL_C_FLOAT: return sizeof(SQLREAL);
    case SQL_C_DOUBLE: return sizeof(SQLDOUBLE);
    case SQL_C_DATE:
    case SQL_C_TYPE_DATE: return sizeof(SQL_DATE_STRUCT);
    case SQL_C_TIME:
    case SQL_C_TYPE_TIME: return sizeof(SQL_TIME_STRUCT);
    case SQL_C_TIMESTAMP:
    case SQL_C_TYPE_TIMESTAMP: return sizeof(SQL_TIMESTAMP_STRUCT);
    case SQL_C_NUMERIC: return sizeof(SQL_NUMERIC_STRUCT);
    case SQL_C_GUID: return sizeof(SQLGUID);
    default:
        if (c >= SQL_C_INTERVAL_YEAR && c <= SQL_C_INTERVAL_MINUTE_TO_SECOND)
            return sizeof(SQL_INTERVAL_STRUCT);
        return buffer_length > 0 ? static_cast<size_t>(buffer_length) : 0;
    }
}

void *bound_element(void *base, SQLLEN offset, SQLULEN bind_type, SQLULEN row, size_t element_octets)
{
    if (base == nullptr)
        return nullptr;
    size_t step = bind_type == SQL_BIND_BY_COLUMN ? element_octets : static_cast<size_t>(bind_type);
    return static_cast<char *>(base) + offset + row * step;
}

ParamBinding parameter_binding(const Statement *stmt, size_t index)
{
    // a null indicator apart from the length reads SQL_NULL_DATA as the
    // length's indicator would
    static SQLLEN null_data = SQL_NULL_DATA;
    ParamBinding b = bound_parameter(stmt, index);
    const DescHeader &apd = stmt->apd->header;
    SQLLEN offset = apd.bind_offset_ptr != nullptr ? *apd.bind_offset_ptr : 0;
    if (offset != 0 || stmt->param_set != 0) {
        SQLSMALLINT c = b.c_type == SQL_C_DEFAULT ? default_c_type(b.sql_type) : b.c_type;
        b.data = bound_element(b.data, offset, apd.bind_type, stmt->param_set,
                               c_type_octets(c, b.buffer_length));
        b.indicator = static_cast<SQLLEN *>(
            bound_element(b.indicator, offset, apd.bind_type, stmt->param_set, sizeof(SQLLEN)));
        b.null_indicator = static_cast<SQLLEN *>(
            bound_element(b.null_indicator, offset, apd.bind_type, stmt->param_set, sizeof(SQLLEN)));
    }
    if (b.null_indicator != nullptr && length_at(b.null_indicator) == SQL_NULL_DATA)
        b.indicator = &null_data;
    b.null_indicator = nullptr;
    return b;
}

TypeInfo parameter_type(const ParamBinding &b)
{
    TypeInfo t;
    SQLSMALLINT s = b.sql_type;
    if (data_at_exec(b) && (is_long_sql_type(s) || s == SQL_WVARCHAR || s == SQL_VARCHAR ||
                            s == SQL_VARBINARY || s == SQL_WCHAR || s == SQL_CHAR || s == SQL_BINARY)) {
        t.value_type = is_binary_sql_type(s) ? VALUE_LONG_BINARY : VALUE_LONG_STRING;
        t.precision = 2147483647;
        return t;
    }
    switch (s) {
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_TINYINT:
        t.value_type = VALUE_INTEGER;
        break;
    case SQL_BIGINT:
        t.value_type = VALUE_BIGINT;
        break;
    case SQL_BIT:
        t.value_type = VALUE_BIT;
        break;
    case SQL_DOUBLE:
    case SQL_FLOAT:
    case SQL_REAL:
        t.value_type = VALUE_DOUBLE;
        break;
    case SQL_NUMERIC:
    case SQL_DECIMAL:
        t.value_type = VALUE_NUMERIC;
        t.precision = b.column_size > 0 && b.column_size <= 38 ? static_cast<int32_t>(b.column_size) : 38;
        t.scale = b.decimal_digits;
        break;
    case SQL_TYPE_DATE:
    case SQL_DATE:
        t.value_type = VALUE_DATE;
        break;
    case SQL_TYPE_TIME:
    case SQL_TIME:
        t.value_type = VALUE_TIME;
        break;
    case SQL_TYPE_TIMESTAMP:
    case SQL_TIMESTAMP:
        t.value_type = VALUE_TIMESTAMP;
        break;
    case SQL_BINARY:
    case SQL_VARBINARY:
        t.value_type = VALUE_BINARY;
        t.precision = b.column_size > 0 ? static_cast<int32_t>(std::min<SQLULEN>(b.column_size, 2147483647)) : 255;
        break;
    case SQL_LONGVARBINARY:
        t.value_type = VALUE_BINARY;
        t.precision = 2147483647;
        break;
    default:
        if (s > 100 && s <= 113) {
            t.value_type = s <= 102 || s == 107 ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS;
            t.interval_kind = s - 100;
            t.precision = 9;
            t.scale = b.decimal_digits > 0 ? b.decimal_digits : 6;
            break;
        }
        t.value_type = VALUE_STRING;
        t.precision = b.column_size > 0 ? static_cast<int32_t>(std::min<SQLULEN>(b.column_size, 2147483647)) : 255;
        break;
    }
    return t;
}

namespace {

// A text parameter read as the parameter's SQL type.
bool integer_fits(int64_t v, SQLSMALLINT sql_type)
{
    switch (sql_type) {
    case SQL_TINYINT: return v >= -128 && v <= 127;
    case SQL_SMALLINT: return v >= -32768 && v <= 32767;
    case SQL_INTEGER: return v >= INT32_MIN && v <= INT32_MAX;
    default: return true;
    }
}

Value *text_as_sql_type(MemHandle *mem, ErrorHeader *errors, const std::string &text,
                        SQLSMALLINT sql_type, bool *failed)
{
    *failed = false;
    auto bad = [&](const char *state, const char *message) -> Value * {
        post_error(errors, state, message);
        *failed = true;
        return nullptr;
    };
    switch (sql_type) {
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_TINYINT:
    case SQL_BIGINT: {
        // ODBC's character to integer rules: a fraction that would be cut
        // is 22001, a value outside the type 22003, no number 22018
        NumericStruct number{};
        int32_t status = kxstd_text_to_numeric(text.c_str(), &number);
        if (status == KXSTD_INVALID_NUMBER)
            return bad("22018", "Invalid character value for cast");
        int64_t v = 0;
        if (status != KXSTD_OK || kxstd_numeric_to_bigint(&number, &v) != KXSTD_OK ||
            !integer_fits(v, sql_type))
            return bad("22003", "Numeric value out of range");
        NumericStruct whole{};
        if (kxstd_bigint_to_numeric(v, &whole, 0) != KXSTD_OK || kxstd_numeric_compare(&number, &whole) != 0)
            return bad("22001", "String data, right truncated");
        Value *out = make_value(mem, VALUE_BIGINT);
        if (v >= INT32_MIN && v <= INT32_MAX && sql_type != SQL_BIGINT) {
            out->type = VALUE_INTEGER;
            out->payload.integer = static_cast<int32_t>(v);
        } else {
            out->payload.bigint.high = static_cast<int32_t>(v >> 32);
            out->payload.bigint.low = static_cast<uint32_t>(v);
        }
        return out;
    }
    case SQL_DOUBLE:
    case SQL_FLOAT:
    case SQL_REAL: {
        char *end = nullptr;
        double d = std::strtod(text.c_str(), &end);
        if (end == text.c_str() || *end != '\0')
            return bad("22018", "Invalid character value for cast");
        Value *out = make_value(mem, VALUE_DOUBLE);
        out->payload.dbl = d;
        return out;
    }
    case SQL_NUMERIC:
    case SQL_DECIMAL: {
        Value *out = make_value(mem, VALUE_NUMERIC);
        int32_t status = kxstd_text_to_numeric(text.c_str(), &out->payload.numeric);
        if (status == KXSTD_INVALID_NUMBER)
            return bad("22018", "Invalid character value for cast");
        if (status != KXSTD_OK)
            return bad("22003", "Numeric value out of range");
        out->attr[0] = 38;
        out->attr[1] = out->payload.numeric.scale;
        return out;
    }
    case SQL_TYPE_DATE:
    case SQL_DATE: {
        Value *out = make_value(mem, VALUE_DATE);
        if (!parse_date(text.c_str(), out->payload.date))
            return bad("22007", "Invalid datetime format");
        return out;
    }
    case SQL_TYPE_TIME:
    case SQL_TIME: {
        Value *out = make_value(mem, VALUE_TIME);
        if (!parse_time(text.c_str(), out->payload.time))
            return bad("22007", "Invalid datetime format");
        return out;
    }
    case SQL_TYPE_TIMESTAMP:
    case SQL_TIMESTAMP: {
        Value *out = make_value(mem, VALUE_TIMESTAMP);
        if (!parse_timestamp(text.c_str(), out->payload.timestamp))
            return bad("22007", "Invalid datetime format");
        return out;
    }
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
        return make_binary(mem, reinterpret_cast<const unsigned char *>(text.data()), text.size());
    default:
        return make_text(mem, text.data(), text.size());
    }
}

// The octet length of a character or binary parameter buffer.
size_t buffer_octets(const ParamBinding &b, size_t unit)
{
    SQLLEN n = b.indicator != nullptr ? length_at(b.indicator) : SQL_NTS;
    if (n == SQL_NTS) {
        if (unit == 2) {
            const char *w = static_cast<const char *>(b.data);
            size_t count = 0;
            while (read_buffer<uint16_t>(w + 2 * count) != 0)
                ++count;
            return count * 2;
        }
        if (b.c_type == SQL_C_BINARY)
            return static_cast<size_t>(b.buffer_length);
        return std::strlen(static_cast<const char *>(b.data));
    }
    return n < 0 ? 0 : static_cast<size_t>(n);
}

bool is_character_sql_type(SQLSMALLINT t)
{
    return t == SQL_CHAR || t == SQL_VARCHAR || t == SQL_LONGVARCHAR || t == SQL_WCHAR ||
           t == SQL_WVARCHAR || t == SQL_WLONGVARCHAR;
}

// A date, time or timestamp C structure as the parameter's SQL type, by
// ODBC's tables of C to SQL conversions:
//  - to a character type, its text (yyyy-mm-dd, hh:mm:ss, yyyy-mm-dd
//    hh:mm:ss[.f...]); 22001 when the parameter's column size (when one is
//    given) is shorter than the text: fractional seconds are not cut off;
//  - a date to a date or a timestamp (at midnight), a time to a time or a
//    timestamp (today's, no fraction), a timestamp to a date (22008 unless
//    its time is zero), a time (22008 unless its fraction is zero) or a
//    timestamp (22008 when the fraction has more digits than the
//    parameter's decimal digits);
//  - a structure that is no real date or time: 22008 to a character type,
//    22007 to a datetime;
//  - to any other SQL type: 07006.
Value *datetime_parameter(Statement *stmt, MemHandle *mem, const ParamBinding &b, SQLSMALLINT c, bool *failed)
{
    auto refuse = [&](const char *state, const char *message) -> Value * {
        post_error(stmt->errors, state, message);
        *failed = true;
        return nullptr;
    };
    TimestampStruct ts{};
    int32_t kind = VALUE_TIMESTAMP;
    if (c == SQL_C_TYPE_DATE || c == SQL_C_DATE) {
        DateStruct d;
        std::memcpy(&d, b.data, sizeof d);
        ts.year = d.year, ts.month = d.month, ts.day = d.day;
        kind = VALUE_DATE;
    } else if (c == SQL_C_TYPE_TIME || c == SQL_C_TIME) {
        TimeStruct t;
        std::memcpy(&t, b.data, sizeof t);
        ts.hour = t.hour, ts.minute = t.minute, ts.second = t.second;
        kind = VALUE_TIME;
    } else {
        std::memcpy(&ts, b.data, sizeof ts);
    }
    SQLSMALLINT s = b.sql_type;
    bool character = is_character_sql_type(s);
    bool to_date = s == SQL_TYPE_DATE || s == SQL_DATE;
    bool to_time = s == SQL_TYPE_TIME || s == SQL_TIME;
    bool to_timestamp = s == SQL_TYPE_TIMESTAMP || s == SQL_TIMESTAMP;
    if (!character && !to_date && !to_time && !to_timestamp)
        return refuse("07006", "Restricted data type attribute violation");
    if ((kind == VALUE_DATE && to_time) || (kind == VALUE_TIME && to_date))
        return refuse("07006", "Restricted data type attribute violation");
    bool valid_date = kind == VALUE_TIME || kxstd_valid_date(ts.year, ts.month, ts.day) != 0;
    bool valid_time = ts.hour < 24 && ts.minute < 60 && ts.second < 60 && ts.fraction < 1000000000u;
    if (!valid_date || !valid_time)
        return character ? refuse("22008", "Datetime field overflow")
                         : refuse("22007", "Invalid datetime format");
    Value *out = make_value(mem, kind);
    if (out == nullptr)
        return nullptr;
    if (kind == VALUE_DATE)
        out->payload.date = DateStruct{ts.year, ts.month, ts.day};
    else if (kind == VALUE_TIME)
        out->payload.time = TimeStruct{ts.hour, ts.minute, ts.second};
    else
        out->payload.timestamp = ts;
    if (character) {
        char text[64];
        size_t n = plain_text(out, text, sizeof text);
        if (b.column_size > 0 && b.column_size < n)
            return refuse("22001", "String data, right truncated");
        return make_text(mem, text, n);
    }
    if (to_date) {
        if (ts.hour != 0 || ts.minute != 0 || ts.second != 0 || ts.fraction != 0)
            return refuse("22008", "Datetime field overflow: the timestamp has a time of day");
        std::memset(&out->payload, 0, sizeof out->payload);
        out->type = VALUE_DATE;
        out->payload.date = DateStruct{ts.year, ts.month, ts.day};
        return out;
    }
    if (to_time) {
        if (ts.fraction != 0)
            return refuse("22008", "Datetime field overflow: the timestamp has fractional seconds");
        std::memset(&out->payload, 0, sizeof out->payload);
        out->type = VALUE_TIME;
        out->payload.time = TimeStruct{ts.hour, ts.minute, ts.second};
        return out;
    }
    // to a timestamp
    if (kind == VALUE_TIME) {
        DateStruct today{};
        if (kxstd_current_date(&today) != KXSTD_OK)
            return refuse("22008", "Datetime field overflow");
        ts.year = today.year, ts.month = today.month, ts.day = today.day;
    } else if (kind == VALUE_TIMESTAMP) {
        uint32_t unit = 1;
        for (int digits = std::clamp<int>(b.decimal_digits, 0, 9); digits < 9; ++digits)
            unit *= 10;
        if (ts.fraction % unit != 0)
            return refuse("22008", "Datetime field overflow: the fractional seconds have more digits "
                                   "than the parameter's decimal digits");
    }
    std::memset(&out->payload, 0, sizeof out->payload);
    out->type = VALUE_TIMESTAMP;
    out->payload.timestamp = ts;
    return out;
}

Value *bound_value(Statement *stmt, MemHandle *mem, const ParamBinding &b, bool *failed)
{
    *failed = false;
    SQLSMALLINT c = b.c_type == SQL_C_DEFAULT ? default_c_type(b.sql_type) : b.c_type;
    const void *p = b.data;
    auto integer = [&](int64_t v) {
        Value *out = make_value(mem, VALUE_INTEGER);
        if (b.sql_type == SQL_BIGINT || v < INT32_MIN || v > INT32_MAX) {
            out->type = VALUE_BIGINT;
            out->payload.bigint.high = static_cast<int32_t>(v >> 32);
            out->payload.bigint.low = static_cast<uint32_t>(v);
        } else {
            out->payload.integer = static_cast<int32_t>(v);
        }
        return out;
    };
    switch (c) {
    case SQL_C_CHAR: {
        std::string text(static_cast<const char *>(p), buffer_octets(b, 1));
        return text_as_sql_type(mem, stmt->errors, text, b.sql_type, failed);
    }
    case SQL_C_WCHAR: {
        // half a code unit at the end becomes U+FFFD, as with SQLPutData
        std::string text;
        Utf16Decoder decoder;
        decoder.feed_octets(p, buffer_octets(b, 2), text);
        decoder.finish(text);
        return text_as_sql_type(mem, stmt->errors, text, b.sql_type, failed);
    }
    case SQL_C_SLONG:
    case SQL_C_LONG:
        return integer(read_buffer<SQLINTEGER>(p));
    case SQL_C_ULONG:
        return integer(read_buffer<SQLUINTEGER>(p));
    case SQL_C_SSHORT:
    case SQL_C_SHORT:
        return integer(read_buffer<SQLSMALLINT>(p));
    case SQL_C_USHORT:
        return integer(read_buffer<SQLUSMALLINT>(p));
    case SQL_C_STINYINT:
    case SQL_C_TINYINT:
        return integer(read_buffer<SQLSCHAR>(p));
    case SQL_C_UTINYINT:
        return integer(read_buffer<SQLCHAR>(p));
    case SQL_C_SBIGINT:
        return integer(read_buffer<SQLBIGINT>(p));
    case SQL_C_UBIGINT: {
        SQLUBIGINT v = read_buffer<SQLUBIGINT>(p);
        if (v > static_cast<SQLUBIGINT>(INT64_MAX)) {
            post_error(stmt->errors, "22003", "Numeric value out of range");
            *failed = true;
            return nullptr;
        }
        return integer(static_cast<int64_t>(v));
    }
    case SQL_C_BIT: {
        Value *out = make_value(mem, VALUE_BIT);
        out->payload.integer = read_buffer<SQLCHAR>(p) != 0;
        return out;
    }
    case SQL_C_DOUBLE:
    case SQL_C_FLOAT: {
        Value *out = make_value(mem, VALUE_DOUBLE);
        out->payload.dbl = c == SQL_C_DOUBLE ? read_buffer<SQLDOUBLE>(p)
                                             : read_buffer<SQLREAL>(p);
        return out;
    }
    case SQL_C_NUMERIC: {
        Value *out = make_value(mem, VALUE_NUMERIC);
        std::memcpy(&out->payload.numeric, p, sizeof(NumericStruct));
        out->attr[0] = out->payload.numeric.precision;
        out->attr[1] = out->payload.numeric.scale;
        return out;
    }
    case SQL_C_TYPE_DATE:
    case SQL_C_DATE:
    case SQL_C_TYPE_TIME:
    case SQL_C_TIME:
    case SQL_C_TYPE_TIMESTAMP:
    case SQL_C_TIMESTAMP:
        return datetime_parameter(stmt, mem, b, c, failed);
    case SQL_C_BINARY: {
        const unsigned char *bytes = static_cast<const unsigned char *>(p);
        return make_binary(mem, bytes, buffer_octets(b, 1));
    }
    default:
        if (c > 100 && c <= 113) {
            Value *out = make_value(mem, c <= 102 || c == 107 ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS);
            std::memcpy(&out->payload.interval, p, sizeof(IntervalStruct));
            out->attr[2] = 9;
            out->attr[3] = 6;
            return out;
        }
        post_error(stmt->errors, "HY003", "Program type out of range");
        *failed = true;
        return nullptr;
    }
}

}  // namespace

SQLRETURN build_parameters(Statement *stmt, MemHandle *mem, std::vector<Value *> &values)
{
    Query *q = stmt->query.get();
    values.assign(static_cast<size_t>(q->parameter_count), nullptr);
    for (int32_t i = 0; i < q->parameter_count; ++i) {
        if (!parameter_bound(stmt, static_cast<size_t>(i)))
            return post_error(stmt->errors, "07002", "COUNT field incorrect");
        const ParamBinding b = parameter_binding(stmt, static_cast<size_t>(i));
        Value *v = nullptr;
        if (b.indicator != nullptr && length_at(b.indicator) == SQL_NULL_DATA) {
            TypeInfo t = parameter_type(b);
            v = make_value(mem, t.value_type == VALUE_LONG_STRING ? VALUE_STRING
                                : t.value_type == VALUE_LONG_BINARY ? VALUE_BINARY
                                                                     : t.value_type);
            if (v != nullptr)
                v->null_flag = -1;
        } else if (data_at_exec(b)) {
            Value *sent = static_cast<size_t>(i) < stmt->long_params.size()
                              ? stmt->long_params[static_cast<size_t>(i)]
                              : nullptr;
            v = sent != nullptr ? sent : make_value(mem, VALUE_NULL);
            if (v != nullptr && sent == nullptr)
                v->null_flag = -1;
        } else if (b.data == nullptr) {
            return post_error(stmt->errors, "07002", "COUNT field incorrect");
        } else {
            bool failed = false;
            v = bound_value(stmt, mem, b, &failed);
            if (failed)
                return SQL_ERROR;
        }
        if (v == nullptr)
            return post_error(stmt->errors, "HY001", "Memory allocation error");
        values[static_cast<size_t>(i)] = v;
    }
    return SQL_SUCCESS;
}

namespace {

// The octets SQLGetData gives for a character, wide or binary target.
std::string column_octets(const Value *v, SQLSMALLINT c_type)
{
    std::string data;
    switch (v->type) {
    case VALUE_STRING:
        data.assign(v->payload.text, static_cast<size_t>(v->length));
        break;
    case VALUE_BINARY:
        data.assign(reinterpret_cast<const char *>(v->payload.bytes), static_cast<size_t>(v->length));
        if (c_type != SQL_C_BINARY) {
            static const char hex[] = "0123456789ABCDEF";
            std::string text;
            for (unsigned char b : data) {
                text += hex[b >> 4];
                text += hex[b & 15];
            }
            data = text;
        }
        break;
    case VALUE_LONG_STRING:
    case VALUE_LONG_BINARY: {
        LongBuffer *buffer = v->long_buffer;
        int32_t total = buffer != nullptr ? long_buffer_length(buffer) : 0;
        data.resize(static_cast<size_t>(total));
        if (total > 0) {
            rewind_long_buffer(buffer);
            std::vector<char> area(static_cast<size_t>(total) + 1);
            int32_t remaining = 0;
            kxstd_extract_from_long_buffer(buffer, area.data(), total + 1, &remaining, 1);
            data.assign(area.data(), static_cast<size_t>(total));
        }
        if (v->type == VALUE_LONG_BINARY && c_type != SQL_C_BINARY) {
            static const char hex[] = "0123456789ABCDEF";
            std::string text;
            for (unsigned char b : data) {
                text += hex[b >> 4];
                text += hex[b & 15];
            }
            data = text;
        }
        break;
    }
    default:
        if (c_type == SQL_C_BINARY) {
            size_t size = v->type == VALUE_INTEGER || v->type == VALUE_BIT ? 4
                          : v->type == VALUE_DOUBLE || v->type == VALUE_BIGINT ? 8
                          : v->type == VALUE_NUMERIC ? sizeof(NumericStruct)
                          : v->type == VALUE_DATE ? sizeof(DateStruct)
                          : v->type == VALUE_TIME ? sizeof(TimeStruct)
                          : v->type == VALUE_TIMESTAMP ? sizeof(TimestampStruct)
                          : sizeof(IntervalStruct);
            if (v->type == VALUE_BIGINT) {
                int64_t n = get_bigint_from_value(v);
                data.assign(reinterpret_cast<const char *>(&n), 8);
            } else {
                data.assign(reinterpret_cast<const char *>(&v->payload), size);
            }
        } else {
            char text[160];
            size_t n = plain_text(v, text, sizeof text);
            data.assign(text, n);
        }
        break;
    }
    if (c_type == SQL_C_WCHAR) {
        std::u16string wide = utf8_to_utf16(data.data(), data.size());
        data.assign(reinterpret_cast<const char *>(wide.data()), wide.size() * sizeof(char16_t));
    }
    return data;
}

// Reads a value as a number for the numeric C types: the value as a double
// and, when exact, as a 64-bit integer. False after posting 22018 or 07006.
bool numeric_source(ErrorHeader *errors, const Value *v, double &d, int64_t &i, bool &exact)
{
    exact = false;
    switch (v->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        i = v->payload.integer, d = static_cast<double>(i), exact = true;
        return true;
    case VALUE_BIGINT:
        i = get_bigint_from_value(v), d = static_cast<double>(i), exact = true;
        return true;
    case VALUE_DOUBLE:
        d = v->payload.dbl;
        return true;
    case VALUE_NUMERIC: {
        char text[64];
        int32_t length = 0;
        numeric_to_string(&v->payload.numeric, text, sizeof text, &length);
        d = std::strtod(text, nullptr);
        if (std::strchr(text, '.') == nullptr && std::fabs(d) < 9.2e18) {
            i = std::strtoll(text, nullptr, 10), exact = true;
        }
        return true;
    }
    case VALUE_STRING: {
        const char *s = v->payload.text;
        char *end = nullptr;
        errno = 0;
        long long n = std::strtoll(s, &end, 10);
        const char *rest = end;
        while (*rest == ' ')
            ++rest;
        if (end != s && *rest == '\0' && errno == 0) {
            i = n, d = static_cast<double>(n), exact = true;
            return true;
        }
        d = std::strtod(s, &end);
        rest = end;
        while (*rest == ' ')
            ++rest;
        if (end == s || *rest != '\0') {
            post_error(errors, "22018", "Invalid character value for cast");
            return false;
        }
        return true;
    }
    default:
        post_error(errors, "07006", "Restricted data type attribute violation");
        return false;
    }
}

template <typename T>
SQLRETURN store_integer(ErrorHeader *errors, const Value *v, void *target, SQLLEN *indicator,
                        long double low, long double high)
{
    if (v->type == VALUE_INTEGER && std::in_range<T>(v->payload.integer)) {
        // the common case: an integer that fits, stored as it is
        if (target != nullptr)
            write_buffer(target, static_cast<T>(v->payload.integer));
        if (indicator != nullptr)
            set_length(indicator, sizeof(T));
        return SQL_SUCCESS;
    }
    double d = 0;
    int64_t i = 0;
    bool exact = false;
    if (!numeric_source(errors, v, d, i, exact))
        return SQL_ERROR;
    long double value = exact ? static_cast<long double>(i) : static_cast<long double>(std::trunc(d));
    if (!(value >= low && value <= high))
        return post_error(errors, "22003", "Numeric value out of range");
    if (target != nullptr)
        write_buffer(target, exact ? static_cast<T>(i) : static_cast<T>(std::trunc(d)));
    if (indicator != nullptr)
        set_length(indicator, sizeof(T));
    if (!exact && std::trunc(d) != d)
        return post_warning(errors, "01S07", "Fractional truncation");
    return SQL_SUCCESS;
}

// A number as SQL_C_BIT: 0 or 1, 01S07 for a fraction cut, 22003 outside
// [0, 2).
SQLRETURN store_bit(ErrorHeader *errors, const Value *v, void *target, SQLLEN *indicator)
{
    double d = 0;
    int64_t i = 0;
    bool exact = false;
    if (!numeric_source(errors, v, d, i, exact))
        return SQL_ERROR;
    if (!(d >= 0 && d < 2))
        return post_error(errors, "22003", "Numeric value out of range");
    if (target != nullptr)
        *static_cast<SQLCHAR *>(target) = d >= 1 ? 1 : 0;
    if (indicator != nullptr)
        set_length(indicator, 1);
    if (d != 0 && d != 1)
        return post_warning(errors, "01S07", "Fractional truncation");
    return SQL_SUCCESS;
}

// A number as SQL_C_DOUBLE or SQL_C_FLOAT (22003 beyond a float's range).
SQLRETURN store_approximate(ErrorHeader *errors, const Value *v, SQLSMALLINT c, void *target,
                            SQLLEN *indicator)
{
    double d = 0;
    int64_t i = 0;
    bool exact = false;
    if (!numeric_source(errors, v, d, i, exact))
        return SQL_ERROR;
    if (c == SQL_C_DOUBLE) {
        if (target != nullptr)
            write_buffer<SQLDOUBLE>(target, d);
        if (indicator != nullptr)
            set_length(indicator, sizeof(SQLDOUBLE));
        return SQL_SUCCESS;
    }
    if (std::fabs(d) > 3.402823466e38)
        return post_error(errors, "22003", "Numeric value out of range");
    if (target != nullptr)
        write_buffer(target, static_cast<SQLREAL>(d));
    if (indicator != nullptr)
        set_length(indicator, sizeof(SQLREAL));
    return SQL_SUCCESS;
}

SQLRETURN store_datetime(ErrorHeader *errors, const Value *v, SQLSMALLINT c, void *target,
                         SQLLEN *indicator)
{
    TimestampStruct ts{};
    int32_t type = v->type;
    if (type == VALUE_STRING) {
        DateStruct d;
        TimeStruct t;
        if (parse_timestamp(v->payload.text, ts)) {
            type = VALUE_TIMESTAMP;
        } else if (parse_time(v->payload.text, t)) {
            ts.hour = t.hour, ts.minute = t.minute, ts.second = t.second;
            type = VALUE_TIME;
        } else if (parse_date(v->payload.text, d)) {
            type = VALUE_DATE;
        } else {
            return post_error(errors, "22018", "Invalid character value for cast");
        }
    } else if (type == VALUE_DATE) {
        ts.year = v->payload.date.year, ts.month = v->payload.date.month, ts.day = v->payload.date.day;
    } else if (type == VALUE_TIME) {
        ts.hour = v->payload.time.hour, ts.minute = v->payload.time.minute,
        ts.second = v->payload.time.second;
    } else if (type == VALUE_TIMESTAMP) {
        ts = v->payload.timestamp;
    } else {
        return post_error(errors, "07006", "Restricted data type attribute violation");
    }
    bool date_target = c == SQL_C_TYPE_DATE || c == SQL_C_DATE;
    bool time_target = c == SQL_C_TYPE_TIME || c == SQL_C_TIME;
    if ((date_target && type == VALUE_TIME) || (time_target && type == VALUE_DATE))
        return post_error(errors, "07006", "Restricted data type attribute violation");
    SQLRETURN rc = SQL_SUCCESS;
    if (date_target) {
        DateStruct d{ts.year, ts.month, ts.day};
        if (target != nullptr)
            std::memcpy(target, &d, sizeof d);
        if (indicator != nullptr)
            set_length(indicator, sizeof d);
        if (ts.hour || ts.minute || ts.second || ts.fraction)
            rc = post_warning(errors, "01S07", "Fractional truncation");
    } else if (time_target) {
        TimeStruct t{ts.hour, ts.minute, ts.second};
        if (target != nullptr)
            std::memcpy(target, &t, sizeof t);
        if (indicator != nullptr)
            set_length(indicator, sizeof t);
        if (ts.fraction)
            rc = post_warning(errors, "01S07", "Fractional truncation");
    } else {
        if (type == VALUE_TIME) {
            // a time gets today's date
            time_t now = std::time(nullptr);
            struct tm local;
            localtime_r(&now, &local);
            ts.year = static_cast<int16_t>(local.tm_year + 1900);
            ts.month = static_cast<uint16_t>(local.tm_mon + 1);
            ts.day = static_cast<uint16_t>(local.tm_mday);
        }
        if (target != nullptr)
            std::memcpy(target, &ts, sizeof ts);
        if (indicator != nullptr)
            set_length(indicator, sizeof ts);
    }
    return rc;
}

SQLRETURN store_interval(ErrorHeader *errors, const Value *v, SQLSMALLINT c, void *target,
                         SQLLEN *indicator)
{
    bool year_month_target = c == SQL_C_INTERVAL_YEAR || c == SQL_C_INTERVAL_MONTH ||
                             c == SQL_C_INTERVAL_YEAR_TO_MONTH;
    if (v->type != VALUE_INTERVAL_YM && v->type != VALUE_INTERVAL_DS)
        return post_error(errors, "07006", "Restricted data type attribute violation");
    if ((v->type == VALUE_INTERVAL_YM) != year_month_target)
        return post_error(errors, "07006", "Restricted data type attribute violation");
    // The length is spread over the target's fields; a leading field beyond
    // nine digits is an overflow, never a wrapped count.
    int64_t units = 0;
    int32_t nanoseconds = 0;
    int32_t status = kxstd_interval_length(&v->payload.interval, &units, &nanoseconds);
    Value shaped{};
    shaped.kind = NODE_VALUE;
    shaped.type = v->type;
    shaped.payload.interval.interval_type = c - 100;
    if (status == KXSTD_OK)
        status = kxstd_normalise_interval(units, nanoseconds, 9, &shaped);
    if (status != KXSTD_OK)
        return post_error(errors, kxstd_status_state(status), kxstd_status_message(status));
    if (target != nullptr)
        std::memcpy(target, &shaped.payload.interval, sizeof(SQL_INTERVAL_STRUCT));
    if (indicator != nullptr)
        set_length(indicator, sizeof(SQL_INTERVAL_STRUCT));
    return SQL_SUCCESS;
}

SQLRETURN store_numeric(ErrorHeader *errors, const Value *v, void *target, SQLLEN *indicator)
{
    NumericStruct n{};
    if (v->type == VALUE_NUMERIC) {
        n = v->payload.numeric;
    } else {
        char text[160];
        if (v->type == VALUE_STRING)
            std::snprintf(text, sizeof text, "%s", v->payload.text);
        else if (v->type == VALUE_DOUBLE)
            std::snprintf(text, sizeof text, "%.15g", v->payload.dbl);
        else
            plain_text(v, text, sizeof text);
        int32_t status = kxstd_text_to_numeric(text, &n);
        if (status == KXSTD_INVALID_NUMBER)
            return post_error(errors, "22018", "Invalid character value for cast");
        if (status != KXSTD_OK)
            return post_error(errors, "22003", "Numeric value out of range");
    }
    if (n.precision == 0 || n.precision > 38)
        n.precision = 38;
    if (target != nullptr)
        std::memcpy(target, &n, sizeof n);
    if (indicator != nullptr)
        set_length(indicator, sizeof n);
    return SQL_SUCCESS;
}

// A bound SQL_C_CHAR column's text: ODBC's truncation rules (01004, the
// full length in the indicator) without building the text twice.
SQLRETURN deliver_chars(ErrorHeader *errors, const char *data, size_t size, SQLPOINTER target,
                        SQLLEN buffer_length, SQLLEN *indicator)
{
    if (buffer_length < 0)
        return post_error(errors, "HY090", "Invalid string or buffer length");
    size_t room = static_cast<size_t>(buffer_length);
    size_t n = std::min(room > 0 ? room - 1 : 0, size);
    if (target != nullptr && room > 0) {
        std::memcpy(target, data, n);
        static_cast<char *>(target)[n] = '\0';
    }
    if (indicator != nullptr)
        set_length(indicator, static_cast<SQLLEN>(size));
    if (target == nullptr || n < size)
        return post_warning(errors, "01004", "String data, right truncated");
    return SQL_SUCCESS;
}

// True for the types whose text plain_text writes.
bool has_plain_text(int32_t type)
{
    switch (type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
    case VALUE_BIGINT:
    case VALUE_DOUBLE:
    case VALUE_NUMERIC:
    case VALUE_DATE:
    case VALUE_TIME:
    case VALUE_TIMESTAMP:
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        return true;
    default:
        return false;
    }
}

}  // namespace

namespace {

// A NULL column: SQL_NULL_DATA in the indicator, 22002 without one.
SQLRETURN deliver_null(Statement *stmt, int column, SQLLEN *indicator, bool piecewise)
{
    if (indicator == nullptr)
        return post_error(stmt->errors, "22002", "Indicator variable required but not supplied");
    set_length(indicator, SQL_NULL_DATA);
    if (piecewise) {
        ResultSet *r = stmt->result.get();
        r->getdata_column = column;
        r->getdata_done = true;
    }
    return SQL_SUCCESS;
}

// A column as character, wide character or binary data: the value's
// octets in that form, worked out once per column and handed out in pieces
// by successive SQLGetData calls (01004 while more remains, the remaining
// length in the indicator each time).
SQLRETURN deliver_octets(Statement *stmt, int column, Value *v, SQLSMALLINT c, SQLPOINTER target,
                         SQLLEN buffer_length, SQLLEN *indicator, bool piecewise, bool continuing)
{
    ResultSet *r = stmt->result.get();
    ErrorHeader *errors = stmt->errors;
    if (!continuing) {
        r->getdata_data = column_octets(v, c);
        r->getdata_offset = 0;
        r->getdata_column = piecewise ? column : -1;
        r->getdata_done = false;
    }
    const std::string &data = r->getdata_data;
    size_t unit = c == SQL_C_WCHAR ? 2 : c == SQL_C_CHAR ? 1 : 0;
    size_t remaining = data.size() - r->getdata_offset;
    if (buffer_length < 0)
        return post_error(errors, "HY090", "Invalid string or buffer length");
    size_t room = static_cast<size_t>(buffer_length);
    size_t fits = room >= unit ? room - unit : 0;
    if (unit == 2)
        fits &= ~static_cast<size_t>(1);
    size_t n = std::min(fits, remaining);
    if (target != nullptr && room > 0) {
        std::memcpy(target, data.data() + r->getdata_offset, n);
        if (unit == 1 && room >= 1)
            static_cast<char *>(target)[n] = '\0';
        if (unit == 2 && room >= 2) {
            static_cast<char *>(target)[n] = '\0';
            static_cast<char *>(target)[n + 1] = '\0';
        }
    }
    if (indicator != nullptr)
        set_length(indicator, static_cast<SQLLEN>(remaining));
    if (target == nullptr || n < remaining) {
        if (target != nullptr)
            r->getdata_offset += n;
        if (!piecewise)
            r->getdata_column = -1;
        return post_warning(errors, "01004", "String data, right truncated");
    }
    r->getdata_offset += n;
    r->getdata_done = true;
    return SQL_SUCCESS;
}

// A column as a number, a datetime or an interval C type, as ODBC's
// conversion table has it.
SQLRETURN deliver_fixed(ErrorHeader *errors, Value *v, SQLSMALLINT c, SQLPOINTER target,
                        SQLLEN *indicator)
{
    switch (c) {
    case SQL_C_SLONG:
    case SQL_C_LONG:
        return store_integer<SQLINTEGER>(errors, v, target, indicator, INT32_MIN, INT32_MAX);
    case SQL_C_ULONG:
        return store_integer<SQLUINTEGER>(errors, v, target, indicator, 0, UINT32_MAX);
    case SQL_C_SSHORT:
    case SQL_C_SHORT:
        return store_integer<SQLSMALLINT>(errors, v, target, indicator, INT16_MIN, INT16_MAX);
    case SQL_C_USHORT:
        return store_integer<SQLUSMALLINT>(errors, v, target, indicator, 0, UINT16_MAX);
    case SQL_C_STINYINT:
    case SQL_C_TINYINT:
        return store_integer<SQLSCHAR>(errors, v, target, indicator, INT8_MIN, INT8_MAX);
    case SQL_C_UTINYINT:
        return store_integer<SQLCHAR>(errors, v, target, indicator, 0, UINT8_MAX);
    case SQL_C_SBIGINT:
        return store_integer<SQLBIGINT>(errors, v, target, indicator, -9223372036854775808.0L,
                                        9223372036854775807.0L);
    case SQL_C_UBIGINT:
        return store_integer<SQLUBIGINT>(errors, v, target, indicator, 0, 18446744073709551615.0L);
    case SQL_C_BIT:
        return store_bit(errors, v, target, indicator);
    case SQL_C_DOUBLE:
    case SQL_C_FLOAT:
        return store_approximate(errors, v, c, target, indicator);
    case SQL_C_NUMERIC:
        return store_numeric(errors, v, target, indicator);
    case SQL_C_TYPE_DATE:
    case SQL_C_DATE:
    case SQL_C_TYPE_TIME:
    case SQL_C_TIME:
    case SQL_C_TYPE_TIMESTAMP:
    case SQL_C_TIMESTAMP:
        return store_datetime(errors, v, c, target, indicator);
    default:
        if (c > 100 && c <= 113)
            return store_interval(errors, v, c, target, indicator);
        return post_error(errors, "HY003", "Program type out of range");
    }
}

}  // namespace

SQLRETURN deliver_column(Statement *stmt, int column, Value *v, SQLSMALLINT c, SQLPOINTER target,
                         SQLLEN buffer_length, SQLLEN *indicator, bool piecewise)
{
    ErrorHeader *errors = stmt->errors;
    ResultSet *r = stmt->result.get();
    if (c == SQL_C_DEFAULT)
        c = default_c_type(r->columns[static_cast<size_t>(column - 1)].sql_type);
    bool continuing = piecewise && r->getdata_column == column;
    if (continuing && r->getdata_done)
        return SQL_NO_DATA;
    if (v == nullptr || v->null_flag != 0 || v->type == VALUE_NULL)
        return deliver_null(stmt, column, indicator, piecewise);
    if (c == SQL_C_CHAR && !piecewise) {
        // a bound column: straight from the value
        if (v->type == VALUE_STRING)
            return deliver_chars(errors, v->payload.text, static_cast<size_t>(v->length), target,
                                 buffer_length, indicator);
        if (has_plain_text(v->type)) {
            if (target != nullptr && buffer_length > 0 &&
                static_cast<size_t>(buffer_length) > plain_text_width(v->type)) {
                // room for the longest text of the type: no truncation
                size_t n = plain_text(v, static_cast<char *>(target), static_cast<size_t>(buffer_length));
                if (indicator != nullptr)
                    set_length(indicator, static_cast<SQLLEN>(n));
                return SQL_SUCCESS;
            }
            char text[160];
            size_t n = plain_text(v, text, sizeof text);
            return deliver_chars(errors, text, n, target, buffer_length, indicator);
        }
    }
    if (c == SQL_C_CHAR || c == SQL_C_WCHAR || c == SQL_C_BINARY)
        return deliver_octets(stmt, column, v, c, target, buffer_length, indicator, piecewise, continuing);
    if (continuing)
        return SQL_NO_DATA;
    if (piecewise) {
        r->getdata_column = column;
        r->getdata_done = true;
    }
    if (v->type == VALUE_LONG_STRING) {
        // a long text read as a number or date: through its text
        std::string octets = column_octets(v, SQL_C_CHAR);
        v = make_text(r->row_mem != nullptr ? r->row_mem : r->mem, octets.data(), octets.size());
        if (v == nullptr)
            return post_error(errors, "HY001", "Memory allocation error");
    }
    return deliver_fixed(errors, v, c, target, indicator);
}

}  // namespace kxdrv
