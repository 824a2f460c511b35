// rows.cpp - result typing and the row producer.
//
// Exports (driver-internal) infer_types, describe_type, open_result and
// next_row. A query's rows come from its row source (VALUES rows, a
// generated SERIES, or the one row of a query without FROM), filtered by
// WHERE; the select items are evaluated per row into a memory handle. A
// query without ORDER BY streams: each fetch evaluates the next row into a
// fresh child handle of the statement and releases the previous one. A
// sorted query evaluates every row when it is executed and sorts them with
// the library's comparison. Long work calls check_timeout, which reports a
// query time-out (HYT00) or a cancellation (HY008) from another thread.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "driver/convert.h"
#include "driver/evaluate.h"
#include "driver/handles.h"

namespace kxdrv {

namespace {

// Source rows between two time-out checks.
constexpr int64_t kRowsPerCheck = 256;

TypeInfo text_type(int64_t length)
{
    TypeInfo t;
    t.value_type = VALUE_STRING;
    // a text's size is an SQLINTEGER: longer ones are described as the
    // longest (and so as a long type)
    t.precision = static_cast<int32_t>(std::clamp<int64_t>(length, 0, INT32_MAX));
    return t;
}

TypeInfo of_type(int32_t value_type, int32_t precision = 0, int32_t scale = 0)
{
    TypeInfo t;
    t.value_type = value_type;
    t.precision = precision;
    t.scale = scale;
    return t;
}

// A text of no known bound: described as the longest (SQL_LONGVARCHAR).
TypeInfo long_text_type() { return text_type(INT32_MAX); }

// The most characters (and octets) the text of a value of type t takes
// (plain_text, interval_as_text): a text's or a binary's length, a number's
// or a datetime's longest form.
int64_t text_width(const TypeInfo &t)
{
    switch (t.value_type) {
    case VALUE_STRING:
    case VALUE_BINARY:
        return std::max(t.precision, 0);
    case VALUE_LONG_STRING:
    case VALUE_LONG_BINARY:
        return INT32_MAX;
    case VALUE_NULL:
        return 0;
    case VALUE_BIT:
        return 1;
    case VALUE_INTEGER:
        return 11;  // -2147483648
    case VALUE_BIGINT:
        return 20;  // -9223372036854775808
    case VALUE_DOUBLE:
        return 24;  // %.15g: -1.23456789012345e-308
    case VALUE_NUMERIC:
        // a sign, a leading zero and a point besides the digits
        return (t.precision > 0 && t.precision <= 38 ? t.precision : 38) + 3;
    case VALUE_DATE:
        return 10;
    case VALUE_TIME:
        return 8;
    case VALUE_TIMESTAMP:
        return 29;
    default:
        return 32;  // intervals: -999999999 23:59:59.999999999
    }
}

struct Inference {
    Statement *stmt;
    Query *query;
    // Markers read as untyped (not as their bindings): a parameter's
    // description follows from the statement alone.
    bool markers_unbound = false;
};

TypeInfo infer(Inference &in, ParseNode *node);

ParseNode *field_node(ParseNode *node, int i) { return reinterpret_cast<ParseNode *>(node->field[i]); }

List *list_of(ParseNode *list_node)
{
    return list_node == nullptr ? nullptr : reinterpret_cast<List *>(list_node->field[0]);
}

// The value of an integer literal (or a negated one), false for anything
// else.
bool literal_integer(ParseNode *n, int64_t &out)
{
    if (n == nullptr)
        return false;
    if (n->kind == KX_NODE_EXPRESSION) {
        const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(n->field[0]);
        if (pair->op_class != KX_OP_CLASS_COMPARISON || pair->op_code != KX_OP_NEGATE ||
            !literal_integer(field_node(n, 3), out))
            return false;
        out = -out;
        return true;
    }
    if (n->kind != NODE_VALUE)
        return false;
    const Value *v = reinterpret_cast<const Value *>(n);
    if (v->null_flag != 0)
        return false;
    switch (v->type) {
    case VALUE_INTEGER:
        out = v->payload.integer;
        return true;
    case VALUE_BIGINT:
        out = get_bigint_from_value(v);
        return true;
    case VALUE_NUMERIC:
        return v->payload.numeric.scale == 0 && kxstd_numeric_to_bigint(&v->payload.numeric, &out) == KXSTD_OK;
    default:
        return false;
    }
}

// The text of a text literal, false for anything else.
bool literal_text(ParseNode *n, std::string &out)
{
    if (n == nullptr || n->kind != NODE_VALUE)
        return false;
    const Value *v = reinterpret_cast<const Value *>(n);
    if (v->null_flag != 0 || v->type != VALUE_STRING)
        return false;
    out.assign(v->payload.text, static_cast<size_t>(std::max(v->length, 0)));
    return true;
}

bool is_datetime_type(int32_t t) { return t == VALUE_DATE || t == VALUE_TIME || t == VALUE_TIMESTAMP; }
bool is_interval_type(int32_t t) { return t == VALUE_INTERVAL_YM || t == VALUE_INTERVAL_DS; }

// The wider of two types met in one column or operation.
TypeInfo unify(const TypeInfo &a, const TypeInfo &b)
{
    if (a.value_type == VALUE_NULL)
        return b;
    if (b.value_type == VALUE_NULL)
        return a;
    if (a.value_type == b.value_type) {
        TypeInfo t = a;
        t.precision = std::max(a.precision, b.precision);
        t.scale = std::max(a.scale, b.scale);
        return t;
    }
    auto rank = [](int32_t t) {
        return t == VALUE_INTEGER || t == VALUE_BIT ? 1 : t == VALUE_BIGINT ? 2 : t == VALUE_NUMERIC ? 3 : t == VALUE_DOUBLE ? 4 : 0;
    };
    if (rank(a.value_type) && rank(b.value_type)) {
        TypeInfo t = rank(a.value_type) > rank(b.value_type) ? a : b;
        if (t.value_type == VALUE_NUMERIC)
            t.precision = 38, t.scale = std::max(a.scale, b.scale);
        return t;
    }
    if (is_datetime_type(a.value_type) && is_datetime_type(b.value_type))
        return of_type(VALUE_TIMESTAMP);
    return text_type(std::max(text_width(a), text_width(b)));
}

TypeInfo interval_type(int32_t value_type, int32_t kind, int32_t leading, int32_t seconds)
{
    TypeInfo t = of_type(value_type, leading, seconds);
    t.interval_kind = kind;
    return t;
}

// The type of datetime and interval arithmetic, as kxstd_interval_operation
// makes it: a datetime moved by an interval keeps its type (a date moved by
// anything but months or whole days becomes a timestamp), the difference
// of two datetimes is a day-time interval, and intervals keep their family.
TypeInfo datetime_arithmetic_type(const TypeInfo &a, const TypeInfo &b, int32_t op)
{
    bool da = is_datetime_type(a.value_type), db = is_datetime_type(b.value_type);
    if (da && db) {
        if (a.value_type == VALUE_DATE)
            return interval_type(VALUE_INTERVAL_DS, KX_IS_DAY, 9, 0);
        return interval_type(VALUE_INTERVAL_DS,
                             a.value_type == VALUE_TIME ? KX_IS_HOUR_TO_SECOND : KX_IS_DAY_TO_SECOND, 9, 9);
    }
    if (da || (db && op == KX_OP_ADD)) {
        const TypeInfo &d = da ? a : b, &i = da ? b : a;
        if (d.value_type == VALUE_DATE && !(i.value_type == VALUE_INTERVAL_YM || i.interval_kind == KX_IS_DAY))
            return of_type(VALUE_TIMESTAMP);
        return d;
    }
    if (is_interval_type(a.value_type) && is_interval_type(b.value_type)) {
        TypeInfo t = a;
        int32_t kind = 0;
        if (a.interval_kind != 0 && b.interval_kind != 0 &&
            kxstd_promote_type(a.interval_kind, b.interval_kind, &kind) == KXSTD_OK)
            t.interval_kind = kind;
        t.precision = std::max(a.precision, b.precision), t.scale = std::max(a.scale, b.scale);
        return t;
    }
    return is_interval_type(a.value_type) ? a : b;
}

TypeInfo arithmetic_type(const TypeInfo &a, const TypeInfo &b, int32_t op)
{
    if (is_datetime_type(a.value_type) || is_interval_type(a.value_type) ||
        is_datetime_type(b.value_type) || is_interval_type(b.value_type))
        return datetime_arithmetic_type(a, b, op);
    if (a.value_type == VALUE_DOUBLE || b.value_type == VALUE_DOUBLE ||
        a.value_type == VALUE_STRING || b.value_type == VALUE_STRING)
        return of_type(VALUE_DOUBLE);
    if (a.value_type == VALUE_NUMERIC || b.value_type == VALUE_NUMERIC) {
        // the scale of an exact result: the larger for + and -, the sum for
        // *, the dividend's and four more for /
        int32_t sa = a.value_type == VALUE_NUMERIC ? a.scale : 0;
        int32_t sb = b.value_type == VALUE_NUMERIC ? b.scale : 0;
        int32_t scale = op == KX_OP_MULTIPLY ? sa + sb : op == KX_OP_DIVIDE ? sa + 4 : std::max(sa, sb);
        return of_type(VALUE_NUMERIC, 38, std::min(scale, 38));
    }
    if (a.value_type == VALUE_BIGINT || b.value_type == VALUE_BIGINT)
        return of_type(VALUE_BIGINT);
    return of_type(VALUE_INTEGER);
}

// The types of the standard functions whose results follow their
// arguments or are wider than the catalogue's class words say: false for
// the others.
template <typename FirstArgument>
bool standard_function_type(Inference &in, ParseNode *node, FirstArgument first_argument, TypeInfo &t)
{
    (void)in;
    auto number_of = [](TypeInfo a) {
        return a.value_type == VALUE_STRING || a.value_type == VALUE_NULL ? of_type(VALUE_DOUBLE) : a;
    };
    switch (static_cast<int32_t>(node->field[0])) {
    case 38:  // MOD: a 64-bit remainder
    case 63:  // TIMESTAMPDIFF: whole units in 64 bits
        t = of_type(VALUE_BIGINT);
        return true;
    case 7:   // CEILING, FLOOR, ROUND, TRUNCATE keep the argument's type
    case 26:
    case 52:
    case 64:
        t = number_of(first_argument());
        if (t.value_type == VALUE_NUMERIC)
            t.precision = 38;
        return true;
    case 25: {  // EXTRACT: SECOND keeps its fraction
        List *args = list_of(field_node(node, 1));
        const Value *field = args != nullptr ? static_cast<const Value *>(ListData(ListFirst(args))) : nullptr;
        bool second = field != nullptr && field->kind == NODE_VALUE && field->type == VALUE_INTEGER &&
                      field->payload.integer == 5;
        t = second ? of_type(VALUE_NUMERIC, 38, 9) : of_type(VALUE_INTEGER);
        return true;
    }
    default:
        return false;
    }
}

TypeInfo function_type(Inference &in, ParseNode *node)
{
    const FunctionEntry *entry = reinterpret_cast<const FunctionEntry *>(node->field[kFunctionEntry]);
    uint32_t cls = entry->result_class;
    auto first_argument = [&]() {
        List *args = list_of(field_node(node, 1));
        ParseNode *first = args != nullptr ? static_cast<ParseNode *>(ListData(ListFirst(args)))
                                           : field_node(node, 2);
        return first != nullptr ? infer(in, first) : text_type(255);
    };
    if (TypeInfo t; standard_function_type(in, node, first_argument, t))
        return t;
    if (cls & KX_CLASS_ANY) {
        // IFNULL's type covers both arguments; ABS keeps its argument's
        TypeInfo t = first_argument();
        if (static_cast<int32_t>(node->field[0]) == 28) {
            List *args = list_of(field_node(node, 1));
            t = unify(t, infer(in, static_cast<ParseNode *>(ListData(ListLast(args)))));
        }
        if (t.value_type == VALUE_STRING || t.value_type == VALUE_NULL)
            return cls & KX_CLASS_DOUBLE ? of_type(VALUE_DOUBLE) : t;
        return t;
    }
    if (cls & (KX_CLASS_CHAR | KX_CLASS_SPECIAL)) {
        int32_t id = static_cast<int32_t>(node->field[0]);
        List *args = list_of(field_node(node, 1));
        auto argument = [&](int i) -> ParseNode * {
            ListElement *el = ListFirst(args);
            for (; el != nullptr && i > 0; --i)
                el = ListNext(el);
            return el != nullptr ? static_cast<ParseNode *>(ListData(el)) : nullptr;
        };
        auto width_of = [&](int i) -> int64_t {
            ParseNode *a = argument(i);
            return a != nullptr ? text_width(infer(in, a)) : 0;
        };
        int64_t argument_length = std::max<int64_t>(text_width(first_argument()), 1);
        // The text functions work on octets (functions_string.cpp): each
        // bound below is the most octets the function can give for
        // arguments of these widths, and so also the most characters.
        switch (id) {
        case 65: case 30: case -8: case -7:  // UCASE, LCASE, UPPER, LOWER
        case 36: case 53:                    // LTRIM, RTRIM
        case 60: case -4: case 31: case 51:  // SUBSTRING, LEFT, RIGHT
            return text_type(argument_length);  // no longer than the argument
        case 10:  // CONCAT
            return text_type(argument_length + width_of(1));
        case 49: {  // REPEAT(s, n): n copies of s, one at least
            int64_t n = 0;
            if (!literal_integer(argument(1), n))
                return long_text_type();
            return text_type(argument_length * std::clamp<int64_t>(n, 1, INT32_MAX));
        }
        case 58: {  // SPACE(n)
            int64_t n = 0;
            if (!literal_integer(argument(0), n))
                return long_text_type();
            return text_type(std::max<int64_t>(n, 0));
        }
        case 50: {  // REPLACE(s, from, to)
            // at most length(s) / length(from) matches, each growing the
            // text by length(to) - length(from); a pattern that is not a
            // literal may be one octet long
            int64_t to = width_of(2);
            int64_t from = 1;
            std::string pattern;
            if (literal_text(argument(1), pattern)) {
                from = static_cast<int64_t>(pattern.find_last_not_of(' ') + 1);
                if (from == 0)
                    return text_type(argument_length);  // an empty pattern matches nowhere
            }
            if (to <= from)
                return text_type(argument_length);
            return text_type(argument_length + argument_length / from * (to - from));
        }
        case 29: {  // INSERT(s, start, length, t)
            // the head and the tail of s overlap when length is negative
            int64_t n = 0;
            bool forward = literal_integer(argument(2), n) && n >= 0;
            return text_type((forward ? 1 : 2) * argument_length + width_of(3));
        }
        case 8: return text_type(1);
        case 57: return text_type(4);
        case 18: case 40: return text_type(9);
        case 17:
            return text_type(std::max<int32_t>(static_cast<int32_t>(in.stmt->conn->database_name.size()), 1));
        case 66: {
            const char *uid = get_attribute_value(&in.stmt->conn->attributes, "UID");
            return text_type(std::max<int32_t>(uid != nullptr ? static_cast<int32_t>(std::strlen(uid)) : 0, 1));
        }
        default:
            return long_text_type();  // no bound known
        }
    }
    if (cls & KX_CLASS_INTEGER)
        return of_type(VALUE_INTEGER);
    if (cls & KX_CLASS_DOUBLE)
        return of_type(VALUE_DOUBLE);
    if (cls & KX_CLASS_DATE)
        return of_type(VALUE_DATE);
    if (cls & KX_CLASS_TIME)
        return of_type(VALUE_TIME);
    if (cls & KX_CLASS_TIMESTAMP)
        return of_type(VALUE_TIMESTAMP);
    return text_type(255);
}

TypeInfo cast_type(ParseNode *type)
{
    int32_t sql_type = static_cast<int32_t>(type->field[0]);
    int32_t length = static_cast<int32_t>(type->field[1]);
    switch (sql_type) {
    case SQL_CHAR:
    case SQL_VARCHAR:
        return text_type(length);
    case SQL_LONGVARCHAR:
        return of_type(VALUE_STRING, 2147483647);
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_TINYINT:
        return of_type(VALUE_INTEGER);
    case SQL_BIGINT:
        return of_type(VALUE_BIGINT);
    case SQL_DOUBLE:
    case SQL_FLOAT:
    case SQL_REAL:
        return of_type(VALUE_DOUBLE);
    case SQL_NUMERIC:
    case SQL_DECIMAL: {
        ParseNode *precision = field_node(type, 4);
        return of_type(VALUE_NUMERIC, static_cast<int32_t>(precision->field[0]),
                       static_cast<int32_t>(precision->field[1]));
    }
    case SQL_BIT:
        return of_type(VALUE_BIT);
    case SQL_TYPE_DATE:
        return of_type(VALUE_DATE);
    case SQL_TYPE_TIME:
        return of_type(VALUE_TIME);
    case SQL_TYPE_TIMESTAMP:
        return of_type(VALUE_TIMESTAMP);
    case SQL_BINARY:
    case SQL_VARBINARY:
        return of_type(VALUE_BINARY, length);
    default: {
        int32_t kind = sql_type - 100;
        TypeInfo t = of_type(kind == KX_IS_YEAR || kind == KX_IS_MONTH || kind == KX_IS_YEAR_TO_MONTH
                                 ? VALUE_INTERVAL_YM
                                 : VALUE_INTERVAL_DS,
                             length, static_cast<int32_t>(type->field[2]));
        t.interval_kind = kind;
        return t;
    }
    }
}

TypeInfo leaf_type(const Value *v)
{
    switch (v->type) {
    case VALUE_STRING:
        return text_type(v->length);
    case VALUE_NUMERIC:
        return of_type(VALUE_NUMERIC, static_cast<int32_t>(v->attr[0]), static_cast<int32_t>(v->attr[1]));
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS: {
        TypeInfo t = of_type(v->type, static_cast<int32_t>(v->attr[2]), static_cast<int32_t>(v->attr[3]));
        t.interval_kind = v->payload.interval.interval_type;
        return t;
    }
    case VALUE_BINARY:
        return of_type(VALUE_BINARY, v->length);
    case VALUE_CURRENT_DATE:
        return of_type(VALUE_DATE);
    case VALUE_CURRENT_TIME:
        return of_type(VALUE_TIME);
    case VALUE_CURRENT_TIMESTAMP:
        return of_type(VALUE_TIMESTAMP);
    case VALUE_USER:
        return text_type(128);
    case VALUE_LONG_STRING:
        return of_type(VALUE_LONG_STRING, 2147483647);
    case VALUE_LONG_BINARY:
        return of_type(VALUE_LONG_BINARY, 2147483647);
    default:
        return of_type(v->type);
    }
}

// The type of a || b: as long as both texts (a non-text as its text).
TypeInfo concat_type(const TypeInfo &a, const TypeInfo &b)
{
    return text_type(std::max<int64_t>(text_width(a) + text_width(b), 1));
}

// The type of a chain of left-associative operators, link by link from the
// innermost left operand upwards, in a loop (chains_left).
TypeInfo chain_type(Inference &in, ParseNode *top)
{
    std::vector<ParseNode *> links;
    ParseNode *n = top;
    for (; chains_left(n); n = field_node(n, 2))
        links.push_back(n);
    TypeInfo type = infer(in, n);
    for (size_t i = links.size(); i-- > 0;) {
        const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(links[i]->field[0]);
        TypeInfo right = infer(in, field_node(links[i], 3));
        if (pair->op_class != KX_OP_CLASS_COMPARISON)
            type = of_type(VALUE_INTEGER);
        else if (pair->op_code == KX_OP_CONCAT)
            type = concat_type(type, right);
        else
            type = arithmetic_type(type, right, pair->op_code);
    }
    return type;
}

TypeInfo infer(Inference &in, ParseNode *node)
{
    if (chains_left(node))
        return chain_type(in, node);
    switch (node->kind) {
    case NODE_VALUE:
        return leaf_type(reinterpret_cast<Value *>(node));
    case NODE_DYNAMIC_PARAM: {
        size_t ordinal = static_cast<size_t>(node->field[0]);
        if (!in.markers_unbound && parameter_bound(in.stmt, ordinal - 1))
            return parameter_type(parameter_binding(in.stmt, ordinal - 1));
        return text_type(255);
    }
    case KX_NODE_COLUMN_REFERENCE:
        return in.query->source_types[static_cast<size_t>(node->field[kColumnIndex])];
    case KX_NODE_EXPRESSION: {
        const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(node->field[0]);
        if (pair->op_class != KX_OP_CLASS_COMPARISON)
            return of_type(VALUE_INTEGER);
        switch (pair->op_code) {
        case KX_OP_NEGATE:
            return infer(in, field_node(node, 3));
        case KX_OP_CONCAT:
            return concat_type(infer(in, field_node(node, 2)), infer(in, field_node(node, 3)));
        case KX_OP_ADD:
        case KX_OP_SUBTRACT:
        case KX_OP_MULTIPLY:
        case KX_OP_DIVIDE:
            return arithmetic_type(infer(in, field_node(node, 2)), infer(in, field_node(node, 3)),
                                   pair->op_code);
        default:
            return of_type(VALUE_INTEGER);
        }
    }
    case KX_NODE_SCALAR_FUNCTION:
        return function_type(in, node);
    case KX_NODE_CAST:
        return cast_type(field_node(node, 1));
    case KX_NODE_CASE: {
        TypeInfo t = of_type(VALUE_NULL);
        for (ListElement *el = ListFirst(list_of(field_node(node, 1))); el; el = ListNext(el))
            t = unify(t, infer(in, field_node(static_cast<ParseNode *>(ListData(el)), 1)));
        if (node->field[2] != 0)
            t = unify(t, infer(in, field_node(node, 2)));
        return t.value_type == VALUE_NULL ? text_type(1) : t;
    }
    case KX_NODE_NULLIF:
        return infer(in, field_node(node, 0));
    case KX_NODE_COALESCE: {
        TypeInfo t = of_type(VALUE_NULL);
        for (ListElement *el = ListFirst(list_of(field_node(node, 0))); el; el = ListNext(el))
            t = unify(t, infer(in, static_cast<ParseNode *>(ListData(el))));
        return t;
    }
    default:
        return of_type(VALUE_INTEGER);
    }
}

}  // namespace

void describe_type(const TypeInfo &type, int32_t odbc_version, ColumnDesc &c)
{
    bool odbc3 = odbc_version == 3;
    c.decimal_digits = 0;
    switch (type.value_type) {
    case VALUE_INTEGER:
        c.sql_type = SQL_INTEGER, c.size = 10, c.display_size = 11, c.octet_length = 4;
        break;
    case VALUE_BIGINT:
        c.sql_type = SQL_BIGINT, c.size = 19, c.display_size = 20, c.octet_length = 8;
        break;
    case VALUE_BIT:
        c.sql_type = SQL_BIT, c.size = 1, c.display_size = 1, c.octet_length = 1;
        break;
    case VALUE_DOUBLE:
        // the precision in bits, as NUM_PREC_RADIX 2 says (SQLGetTypeInfo)
        c.sql_type = SQL_DOUBLE, c.size = 53, c.display_size = 24, c.octet_length = 8;
        break;
    case VALUE_NUMERIC: {
        int32_t precision = type.precision > 0 && type.precision <= 38 ? type.precision : 38;
        c.sql_type = SQL_NUMERIC, c.size = static_cast<SQLULEN>(precision);
        c.decimal_digits = static_cast<SQLSMALLINT>(std::min(type.scale, precision));
        c.display_size = precision + 2, c.octet_length = precision + 2;
        break;
    }
    case VALUE_DATE:
        c.sql_type = odbc3 ? SQL_TYPE_DATE : SQL_DATE, c.size = 10, c.display_size = 10;
        c.octet_length = 6;
        break;
    case VALUE_TIME:
        c.sql_type = odbc3 ? SQL_TYPE_TIME : SQL_TIME, c.size = 8, c.display_size = 8;
        c.octet_length = 6;
        break;
    case VALUE_TIMESTAMP:
        c.sql_type = odbc3 ? SQL_TYPE_TIMESTAMP : SQL_TIMESTAMP, c.size = 29, c.display_size = 29;
        c.decimal_digits = 9, c.octet_length = 16;
        break;
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS: {
        int32_t kind = type.interval_kind != 0 ? type.interval_kind
                       : type.value_type == VALUE_INTERVAL_YM ? KX_IS_YEAR_TO_MONTH
                                                              : KX_IS_DAY_TO_SECOND;
        c.sql_type = static_cast<SQLSMALLINT>(100 + kind);
        c.size = type.value_type == VALUE_INTERVAL_YM ? 12 : 28;
        c.display_size = static_cast<SQLLEN>(c.size), c.octet_length = 28;
        if (kind == KX_IS_SECOND || kind == KX_IS_DAY_TO_SECOND || kind == KX_IS_HOUR_TO_SECOND ||
            kind == KX_IS_MINUTE_TO_SECOND)
            c.decimal_digits = static_cast<SQLSMALLINT>(type.scale > 0 ? type.scale : 6);
        break;
    }
    case VALUE_BINARY:
        c.sql_type = SQL_VARBINARY, c.size = static_cast<SQLULEN>(std::max(type.precision, 1));
        c.display_size = 2 * static_cast<SQLLEN>(c.size), c.octet_length = static_cast<SQLLEN>(c.size);
        break;
    case VALUE_LONG_BINARY:
        c.sql_type = SQL_LONGVARBINARY, c.size = 2147483647, c.display_size = 2147483647;
        c.octet_length = 2147483647;
        break;
    case VALUE_LONG_STRING:
        c.sql_type = SQL_LONGVARCHAR, c.size = 2147483647, c.display_size = 2147483647;
        c.octet_length = 2147483647;
        break;
    default: {
        int32_t length = type.precision > 0 ? type.precision : 255;
        if (type.value_type != VALUE_STRING)
            length = 1;
        c.sql_type = length > 8000 ? SQL_LONGVARCHAR : SQL_VARCHAR;
        c.size = static_cast<SQLULEN>(length), c.display_size = length, c.octet_length = length;
        break;
    }
    }
}

bool infer_types(Statement *stmt, Query &query, std::vector<ColumnDesc> &columns)
{
    Inference in{stmt, &query};
    query.source_types.clear();
    if (query.source == Query::Source::kValues) {
        query.source_types.assign(query.source_columns.size(), of_type(VALUE_NULL));
        for (const auto &row : query.rows)
            for (size_t c = 0; c < row.size(); ++c)
                query.source_types[c] = unify(query.source_types[c], infer(in, row[c]));
        for (TypeInfo &t : query.source_types)
            if (t.value_type == VALUE_NULL)
                t = text_type(1);
    } else if (query.source == Query::Source::kSeries) {
        TypeInfo a = infer(in, query.series_from), b = infer(in, query.series_to);
        query.source_types.push_back(a.value_type == VALUE_INTEGER && b.value_type == VALUE_INTEGER
                                         ? of_type(VALUE_INTEGER)
                                         : of_type(VALUE_BIGINT));
        query.source_types.back().nullable = false;
        if (query.series_date != nullptr) {
            query.source_types.push_back(of_type(VALUE_DATE));
            query.source_types.back().nullable = false;
        }
    }
    columns.clear();
    int32_t version = stmt->conn->env->odbc_version;
    for (size_t i = 0; i < query.items.size(); ++i) {
        ColumnDesc c;
        c.name = query.names[i];
        c.type = infer(in, query.items[i]);
        describe_type(c.type, version, c);
        columns.push_back(c);
    }
    return true;
}

namespace {

// ---- parameter descriptions ----

// The type a parameter marker takes from where it stands: the marker's
// parent, and the operand beside it. Every marker starts untyped; the
// first place that says something of it decides.
struct MarkerTyping {
    Inference in;
    std::vector<TypeInfo> types;
    std::vector<bool> decided;
};

bool is_marker(const ParseNode *n) { return n != nullptr && n->kind == NODE_DYNAMIC_PARAM; }

// The type of an operand as its neighbour sees it: false for a marker (or
// an expression of markers alone) and for an untyped NULL, which say
// nothing.
bool known_type(MarkerTyping &m, ParseNode *n, TypeInfo &t)
{
    if (n == nullptr || is_marker(n))
        return false;
    if (n->kind == NODE_VALUE && reinterpret_cast<Value *>(n)->type == VALUE_NULL)
        return false;
    t = infer(m.in, n);
    return t.value_type != VALUE_NULL;
}

void decide(MarkerTyping &m, ParseNode *marker, const TypeInfo &t)
{
    size_t i = static_cast<size_t>(marker->field[0]) - 1;
    if (i < m.types.size() && !m.decided[i]) {
        m.types[i] = t;
        m.types[i].nullable = true;
        m.decided[i] = true;
    }
}

// A marker compared with (or in one column with) an operand of type t: t,
// but a text of any length up to the default at least, as 'a' = ? compares
// with longer texts too.
TypeInfo comparand(const TypeInfo &t)
{
    if (t.value_type == VALUE_STRING && t.precision < 255)
        return text_type(255);
    return t;
}

// A marker beside an operand of type t in arithmetic: the operand's type
// when it is a number, a double when it is text (arithmetic reads text as
// a double), and nothing for datetimes and intervals, whose partners may be
// of another kind.
bool arithmetic_partner(const TypeInfo &t, TypeInfo &out)
{
    switch (t.value_type) {
    case VALUE_INTEGER:
    case VALUE_BIGINT:
    case VALUE_NUMERIC:
    case VALUE_DOUBLE:
        out = t;
        return true;
    case VALUE_BIT:
        out = of_type(VALUE_INTEGER);
        return true;
    case VALUE_STRING:
    case VALUE_LONG_STRING:
        out = of_type(VALUE_DOUBLE);
        return true;
    default:
        return false;
    }
}

// The type an argument class of the function catalogue asks for: an
// integer or a double as the class says for numbers, a text, a timestamp
// for the datetime classes that take one.
bool class_type(uint32_t cls, TypeInfo &out)
{
    if (cls & KX_CLASS_INTEGER)
        out = of_type(VALUE_INTEGER);
    else if (cls & KX_CLASS_DOUBLE)
        out = of_type(VALUE_DOUBLE);
    else if (cls & (KX_CLASS_CHAR | KX_CLASS_SPECIAL))
        out = text_type(255);
    else if (cls & KX_CLASS_TIMESTAMP)
        out = of_type(VALUE_TIMESTAMP);
    else if (cls & KX_CLASS_DATE)
        out = of_type(VALUE_DATE);
    else if (cls & KX_CLASS_TIME)
        out = of_type(VALUE_TIME);
    else
        return false;
    return true;
}

// The unified type of the operands of a list that are not markers; false
// when none says anything.
bool known_of_list(MarkerTyping &m, List *list, TypeInfo &out, ParseNode *(*item)(void *) = nullptr)
{
    bool any = false;
    for (ListElement *el = ListFirst(list); el != nullptr; el = ListNext(el)) {
        ParseNode *n = item != nullptr ? item(ListData(el)) : static_cast<ParseNode *>(ListData(el));
        TypeInfo t;
        if (known_type(m, n, t)) {
            out = any ? unify(out, t) : t;
            any = true;
        }
    }
    return any;
}

void type_markers(MarkerTyping &m, ParseNode *node);

// Each marker of a list takes the type the rest of the list shows; the
// other items are walked.
void type_list_markers(MarkerTyping &m, List *list, bool have, const TypeInfo &partner,
                       ParseNode *(*item)(void *) = nullptr)
{
    for (ListElement *el = ListFirst(list); el != nullptr; el = ListNext(el)) {
        ParseNode *n = item != nullptr ? item(ListData(el)) : static_cast<ParseNode *>(ListData(el));
        if (is_marker(n)) {
            if (have)
                decide(m, n, comparand(partner));
        } else {
            type_markers(m, n);
        }
    }
}

// A chain of left-associative operators, link by link from the innermost
// left operand upwards, in a loop (chains_left): a marker in arithmetic
// takes its partner's number type, the operands of AND and OR and of || say
// nothing of a marker's type.
void type_chain_markers(MarkerTyping &m, ParseNode *top)
{
    std::vector<ParseNode *> links;
    ParseNode *n = top;
    for (; chains_left(n); n = field_node(n, 2))
        links.push_back(n);
    TypeInfo left;
    bool left_known = known_type(m, n, left);
    if (!is_marker(n))
        type_markers(m, n);
    for (size_t i = links.size(); i-- > 0;) {
        const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(links[i]->field[0]);
        ParseNode *right_node = field_node(links[i], 3);
        TypeInfo right;
        bool right_known = known_type(m, right_node, right);
        bool arithmetic = pair->op_class == KX_OP_CLASS_COMPARISON && pair->op_code != KX_OP_CONCAT;
        if (arithmetic) {
            TypeInfo t;
            if (is_marker(n) && i + 1 == links.size() && right_known && arithmetic_partner(right, t))
                decide(m, n, t), left = t, left_known = true;
            if (is_marker(right_node) && left_known && arithmetic_partner(left, t))
                decide(m, right_node, t), right = t, right_known = true;
        }
        if (!is_marker(right_node))
            type_markers(m, right_node);
        if (!arithmetic) {
            // || makes a text; AND and OR a truth value, which says nothing
            left = text_type(255);
            left_known = pair->op_class == KX_OP_CLASS_COMPARISON;
        } else if (left_known && right_known) {
            left = arithmetic_type(left, right, pair->op_code);
        } else {
            left_known = false;
        }
    }
}

// Two operands that say something of each other: a marker takes the other
// operand's type (a comparison, NULLIF), or its number type (arithmetic).
void type_pair_markers(MarkerTyping &m, ParseNode *a, ParseNode *b, bool arithmetic)
{
    TypeInfo ta, tb, t;
    if (is_marker(a) && known_type(m, b, tb) && (!arithmetic || arithmetic_partner(tb, t)))
        decide(m, a, arithmetic ? t : comparand(tb));
    if (is_marker(b) && known_type(m, a, ta) && (!arithmetic || arithmetic_partner(ta, t)))
        decide(m, b, arithmetic ? t : comparand(ta));
    type_markers(m, a);
    type_markers(m, b);
}

ParseNode *when_test(void *when) { return field_node(static_cast<ParseNode *>(when), 0); }
ParseNode *when_result(void *when) { return field_node(static_cast<ParseNode *>(when), 1); }

void type_markers(MarkerTyping &m, ParseNode *node)
{
    if (node == nullptr || is_marker(node))
        return;
    if (chains_left(node)) {
        type_chain_markers(m, node);
        return;
    }
    switch (node->kind) {
    case KX_NODE_EXPRESSION: {
        const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(node->field[0]);
        ParseNode *right = field_node(node, 3);
        if (pair->op_class == KX_OP_CLASS_COMPARISON && pair->op_code == KX_OP_NEGATE) {
            if (is_marker(right))
                decide(m, right, of_type(VALUE_DOUBLE));
            type_markers(m, right);
        } else if (pair->op_class == KX_OP_CLASS_COMPARISON && pair->op_code >= KX_OP_LESS &&
                   pair->op_code <= KX_OP_NOT_EQUAL) {
            type_pair_markers(m, field_node(node, 2), right, false);
        } else {
            type_markers(m, field_node(node, 2));
            type_markers(m, right);
        }
        return;
    }
    case KX_NODE_SCALAR_FUNCTION: {
        const FunctionEntry *entry = reinterpret_cast<const FunctionEntry *>(node->field[kFunctionEntry]);
        int32_t id = static_cast<int32_t>(node->field[0]);
        std::vector<ParseNode *> args;
        if (id < 0 && id >= -6) {
            // the SQL-92 forms keep their operands in fields 3 to 5
            for (int i = 2; i <= 4; ++i)
                if (node->field[i] != 0)
                    args.push_back(field_node(node, i));
        } else {
            for (ListElement *el = ListFirst(list_of(field_node(node, 1))); el != nullptr; el = ListNext(el))
                args.push_back(static_cast<ParseNode *>(ListData(el)));
        }
        for (size_t k = 0; k < args.size(); ++k) {
            if (!is_marker(args[k])) {
                type_markers(m, args[k]);
                continue;
            }
            uint32_t cls = k < 11 ? entry->arg_class[k] : 0;
            TypeInfo t;
            if (cls & KX_CLASS_ANY) {
                // IFNULL: the other argument's type
                for (size_t j = 0; j < args.size(); ++j)
                    if (j != k && known_type(m, args[j], t)) {
                        decide(m, args[k], comparand(t));
                        break;
                    }
            }
            if (class_type(cls & ~static_cast<uint32_t>(KX_CLASS_ANY), t))
                decide(m, args[k], t);
        }
        return;
    }
    case KX_NODE_CAST:
        if (is_marker(field_node(node, 0)))
            decide(m, field_node(node, 0), cast_type(field_node(node, 1)));
        type_markers(m, field_node(node, 0));
        return;
    case KX_NODE_CASE: {
        ParseNode *operand = field_node(node, 0);
        List *whens = list_of(field_node(node, 1));
        TypeInfo t;
        // CASE x WHEN y: x and the tests are compared with each other
        if (operand != nullptr) {
            TypeInfo o;
            bool have = known_type(m, operand, o);
            if (!have)
                have = known_of_list(m, whens, o, when_test);
            if (is_marker(operand) && have)
                decide(m, operand, comparand(o));
            type_markers(m, operand);
            type_list_markers(m, whens, have, o, when_test);
        } else {
            type_list_markers(m, whens, false, t, when_test);
        }
        // the results and ELSE make one column
        ParseNode *otherwise = field_node(node, 2);
        bool have = known_of_list(m, whens, t, when_result);
        TypeInfo e;
        if (known_type(m, otherwise, e))
            t = have ? unify(t, e) : e, have = true;
        type_list_markers(m, whens, have, t, when_result);
        if (is_marker(otherwise) && have)
            decide(m, otherwise, comparand(t));
        type_markers(m, otherwise);
        return;
    }
    case KX_NODE_IN_PREDICATE: {
        ParseNode *operand = field_node(node, 0);
        List *candidates = list_of(field_node(node, 5));
        TypeInfo t;
        bool have = known_type(m, operand, t);
        if (!have)
            have = known_of_list(m, candidates, t);
        if (is_marker(operand) && have)
            decide(m, operand, comparand(t));
        type_markers(m, operand);
        type_list_markers(m, candidates, have, t);
        return;
    }
    case KX_NODE_NULLIF:
        type_pair_markers(m, field_node(node, 0), field_node(node, 1), false);
        return;
    case KX_NODE_COALESCE: {
        List *items = list_of(field_node(node, 0));
        TypeInfo t;
        bool have = known_of_list(m, items, t);
        type_list_markers(m, items, have, t);
        return;
    }
    case KX_NODE_NULL_TEST:
        type_markers(m, field_node(node, 0));
        return;
    default:
        return;
    }
}

}  // namespace

void describe_parameters(Statement *stmt, Query &query, std::vector<TypeInfo> &types)
{
    MarkerTyping m{Inference{stmt, &query, true}, {}, {}};
    size_t count = static_cast<size_t>(query.parameter_count);
    m.types.assign(count, text_type(255));
    m.decided.assign(count, false);
    if (query.source == Query::Source::kValues) {
        for (size_t c = 0; c < query.source_columns.size(); ++c) {
            TypeInfo t;
            bool have = false;
            for (const auto &row : query.rows) {
                TypeInfo cell;
                if (c < row.size() && known_type(m, row[c], cell))
                    t = have ? unify(t, cell) : cell, have = true;
            }
            for (const auto &row : query.rows)
                if (c < row.size() && is_marker(row[c]) && have)
                    decide(m, row[c], comparand(t));
        }
        for (const auto &row : query.rows)
            for (ParseNode *cell : row)
                type_markers(m, cell);
    } else if (query.source == Query::Source::kSeries) {
        for (ParseNode *bound : {query.series_from, query.series_to})
            if (is_marker(bound))
                decide(m, bound, of_type(VALUE_BIGINT));
            else
                type_markers(m, bound);
        if (is_marker(query.series_date))
            decide(m, query.series_date, of_type(VALUE_DATE));
        else
            type_markers(m, query.series_date);
    }
    for (ParseNode *item : query.items)
        type_markers(m, item);
    type_markers(m, query.where);
    for (const SortKey &key : query.order)
        type_markers(m, key.expression);
    types = std::move(m.types);
}

namespace {

// The number and date of SERIES' row at position into source: the date a
// day after the last one made when the rows come in order, else counted
// from the first row's.
void series_row(Evaluation *e, Query *q, int64_t position, SeriesCursor *series, Value **source)
{
    int64_t n = series->first + position;
    Value *v = series->number_value;
    if (v == nullptr && (v = make_value(e->context.mem, VALUE_INTEGER)) == nullptr)
        evaluation_error(e, "HY001", "Memory allocation error");
    if (q->source_types[0].value_type == VALUE_BIGINT) {
        v->type = VALUE_BIGINT;
        v->payload.bigint.high = static_cast<int32_t>(n >> 32);
        v->payload.bigint.low = static_cast<uint32_t>(n);
    } else {
        v->type = VALUE_INTEGER;
        v->payload.integer = static_cast<int32_t>(n);
    }
    source[0] = v;
    if (series->start == nullptr)
        return;
    // the date column stays within the years 1 to 9999
    constexpr int64_t kDaysOfTheCalendar = 3652059;
    if (position > kDaysOfTheCalendar)
        evaluation_error(e, "22008", "Datetime field overflow");
    Value *d = series->date_value;
    if (d == nullptr && (d = make_value(e->context.mem, VALUE_DATE)) == nullptr)
        evaluation_error(e, "HY001", "Memory allocation error");
    bool next = series->dated >= 0 && position == series->dated + 1;
    int32_t status = next ? kxstd_timestamp_add(d, series->date, 0, 86400, 0)
                          : kxstd_timestamp_add(d, series->start, 0, position * 86400, 0);
    if (status != KXSTD_OK)
        evaluation_error(e, "22008", "Datetime field overflow");
    series->date = d;
    series->dated = position;
    source[1] = d;
}

// Evaluates the source row at position, the WHERE condition and the select
// items (and sort keys) into out; 1 when the row qualifies, 0 when WHERE
// rejects it, -1 after an error was posted. The exit point is armed here:
// the frames between this one and the jump hold no objects with
// destructors.
int produce_row(Evaluation *e, Query *q, int64_t position, SeriesCursor *series, Value **source,
                Value **out, Value **keys)
{
    if (setjmp(e->context.exit) != 0)
        return -1;
    e->chain_top = e->chain_base;
    e->source_row = source;
    if (q->source == Query::Source::kValues) {
        ParseNode *const *row = q->rows[static_cast<size_t>(position)].data();
        size_t width = q->rows[static_cast<size_t>(position)].size();
        for (size_t c = 0; c < width; ++c)
            source[c] = evaluate(e, row[c]);
    } else if (q->source == Query::Source::kSeries) {
        series_row(e, q, position, series, source);
    }
    if (q->where != nullptr) {
        Value *t = evaluate(e, q->where);
        if (t->null_flag != 0 || t->type == VALUE_NULL || get_trivalue_from_value(t) != 1)
            return 0;
    }
    size_t count = q->items.size();
    ParseNode *const *items = q->items.data();
    for (size_t i = 0; i < count; ++i)
        out[i] = evaluate(e, items[i]);
    if (keys != nullptr) {
        const SortKey *order = q->order.data();
        for (size_t k = 0; k < q->order.size(); ++k)
            keys[k] = order[k].item >= 0 ? out[order[k].item] : evaluate(e, order[k].expression);
    }
    return 1;
}

// A bound of SERIES as a 64-bit integer: an integer, or an exact numeric
// without a fraction (a literal of seven digits or more is one); 22003 when
// it lies beyond the 64-bit range.
int64_t series_bound(Evaluation *e, Value *v)
{
    if (v->type == VALUE_INTEGER)
        return v->payload.integer;
    if (v->type == VALUE_BIGINT)
        return get_bigint_from_value(v);
    if (v->type == VALUE_NUMERIC && v->payload.numeric.scale == 0) {
        char text[64];
        int32_t length = 0;
        numeric_to_string(&v->payload.numeric, text, sizeof text, &length);
        char *end = nullptr;
        errno = 0;
        long long n = std::strtoll(text, &end, 10);
        if (errno == ERANGE || end == text || *end != '\0')
            evaluation_error(e, "22003", "Numeric value out of range: a SERIES bound must fit in 64 bits");
        return n;
    }
    evaluation_error(e, "22018", "SERIES bounds must be integers");
}

// Evaluates SERIES' bounds and start date; -1 after posting.
int series_bounds(Evaluation *e, Query *q, int64_t *first, int64_t *last, Value **start)
{
    if (setjmp(e->context.exit) != 0)
        return -1;
    e->chain_top = e->chain_base;
    if (q->series_date != nullptr) {
        Value *d = evaluate(e, q->series_date);
        if (d->null_flag != 0 || d->type != VALUE_DATE)
            evaluation_error(e, "22018", "SERIES' third argument must be a date");
        *start = d;
    }
    Value *a = evaluate(e, q->series_from);
    Value *b = evaluate(e, q->series_to);
    if (a->null_flag != 0 || b->null_flag != 0 || a->type == VALUE_NULL || b->type == VALUE_NULL)
        evaluation_error(e, "22004", "SERIES bounds must not be NULL");
    *first = series_bound(e, a);
    *last = series_bound(e, b);
    return 0;
}

// The sign of comparing two sort keys (NULLs first), both non-null values
// of one column.
int compare_keys(Value *a, Value *b)
{
    // one column's values: comparable, and NULLs first
    return kxstd_compare_values(a, b, nullptr);
}

// The octets a held row takes: its values, the texts and octets they hold,
// and the row's own vectors.
size_t value_footprint(const Value *v)
{
    if (v == nullptr)
        return 0;
    size_t n = sizeof(Value);
    if ((v->type == VALUE_STRING || v->type == VALUE_BINARY) && v->length > 0)
        n += static_cast<size_t>(v->length);
    return n;
}

size_t row_footprint(const std::vector<Value *> &row, const std::vector<Value *> &keys,
                     const std::vector<SortKey> &order)
{
    size_t n = 2 * sizeof(std::vector<Value *>) + (row.size() + keys.size()) * sizeof(Value *);
    for (const Value *v : row)
        n += value_footprint(v);
    for (size_t k = 0; k < keys.size(); ++k)
        if (order[k].item < 0)  // a key that is a select item is counted once
            n += value_footprint(keys[k]);
    return n;
}


}  // namespace

void start_deadline(Statement *stmt)
{
    // a time-out of more than a century is as good as none
    constexpr SQLULEN kLongestTimeout = 100ull * 366 * 86400;
    SQLULEN seconds = std::min(stmt->query_timeout, kLongestTimeout);
    stmt->deadline = seconds > 0 ? static_cast<int64_t>(std::time(nullptr)) + static_cast<int64_t>(seconds)
                                 : 0;
    stmt->start_time = static_cast<int64_t>(std::time(nullptr));
    stmt->clock_read = kxstd_current_timestamp(&stmt->clock, 9) == KXSTD_OK;
}

namespace {

// Puts the held rows in the order of their sort keys (stable, NULLs
// first).
SQLRETURN sort_rows(Statement *stmt, Query *q, ResultSet *r, std::vector<std::vector<Value *>> &keys)
{
    std::vector<size_t> order(r->rows.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    // the time-out is checked between comparisons; once it has passed, the
    // remaining comparisons answer at once and the sort ends quickly
    bool stopped = false;
    size_t comparisons = 0;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        if (stopped || (++comparisons % (kRowsPerCheck * 16) == 0 && check_timeout(stmt) != 0)) {
            stopped = true;
            return false;
        }
        for (size_t k = 0; k < q->order.size(); ++k) {
            int c = compare_keys(keys[a][k], keys[b][k]);
            if (c != 0)
                return q->order[k].descending ? c > 0 : c < 0;
        }
        return false;
    });
    if (stopped)
        return SQL_ERROR;
    std::vector<std::vector<Value *>> sorted;
    sorted.reserve(order.size());
    for (size_t i : order)
        sorted.push_back(std::move(r->rows[i]));
    r->rows = std::move(sorted);
    stmt->state = kStateFetching;
    return SQL_SUCCESS;
}

// Evaluates every row of the result into r->rows (a sorted query or a
// static cursor), within MaxSortMemory, and sorts them when the query has
// ORDER BY. SQL_ERROR after posting.
SQLRETURN evaluate_held_rows(Statement *stmt, Query *q, ResultSet *r)
{
    Evaluation *e = &r->evaluation;
    size_t width = q->items.size();
    std::vector<std::vector<Value *>> keys;
    size_t held = 0;  // what the held rows take, in octets
    for (int64_t position = 0; position < r->source_size; ++position) {
        if (position % kRowsPerCheck == 0 && check_timeout(stmt) != 0)
            return SQL_ERROR;
        std::vector<Value *> row(width), key(q->order.size());
        int produced = produce_row(e, q, position, &r->series, r->source_row.data(), row.data(),
                                   key.data());
        if (produced < 0)
            return SQL_ERROR;
        if (produced == 0)
            continue;
        held += row_footprint(row, key, q->order);
        if (held > stmt->conn->max_sort_memory)
            return post_error(stmt->errors, "HY001",
                              ("Memory allocation error: the rows to sort take more than MaxSortMemory (" +
                               std::to_string(stmt->conn->max_sort_memory) + " octets)")
                                  .c_str());
        r->rows.push_back(std::move(row));
        keys.push_back(std::move(key));
    }
    stmt->state = kStateFetching;
    if (q->order.empty())
        return SQL_SUCCESS;  // a static cursor keeps the source's order
    return sort_rows(stmt, q, r, keys);
}

}  // namespace

SQLRETURN open_result(Statement *stmt)
{
    Query *q = stmt->query.get();
    auto result = std::make_unique<ResultSet>();
    ResultSet *r = result.get();
    if (!infer_types(stmt, *q, r->columns))
        return SQL_ERROR;
    r->param_mem = kx_mem_alloc_handle(stmt->mem);
    r->mem = kx_mem_alloc_handle(stmt->mem);
    stmt->result = std::move(result);
    if (r->param_mem == nullptr || r->mem == nullptr)
        return post_error(stmt->errors, "HY001", "Memory allocation error");
    if (build_parameters(stmt, r->param_mem, r->parameter_values) != SQL_SUCCESS)
        return SQL_ERROR;
    // SQLExecDirect's deadline was set before its parse and goes on
    if (stmt->keep_deadline)
        stmt->keep_deadline = false;
    else
        start_deadline(stmt);
    Evaluation *e = &r->evaluation;
    e->stmt = stmt;
    e->context.stmt = stmt;
    e->context.mem = r->mem;
    e->parameters = r->parameter_values.data();
    r->chain_links.assign(q->chain_nodes + 1, nullptr);
    e->chain_base = e->chain_top = r->chain_links.data();
    e->max_value_size = stmt->conn->max_value_size;
    e->steps = 0;
    r->source_row.assign(std::max<size_t>(q->source_columns.size(), 1), nullptr);
    r->sort_keys.assign(q->order.size(), nullptr);
    switch (q->source) {
    case Query::Source::kNone:
        r->source_size = 1;
        break;
    case Query::Source::kValues:
        r->source_size = static_cast<int64_t>(q->rows.size());
        break;
    case Query::Source::kSeries: {
        int64_t first = 0, last = 0;
        if (series_bounds(e, q, &first, &last, &r->series.start) != 0)
            return SQL_ERROR;
        r->series.first = first;
        r->source_size = 0;
        if (last >= first) {
            // last - first + 1 rows: refused when the count passes 64 bits
            uint64_t span = static_cast<uint64_t>(last) - static_cast<uint64_t>(first);
            if (span >= static_cast<uint64_t>(INT64_MAX))
                return post_error(stmt->errors, "22003",
                                  "Numeric value out of range: SERIES has more than 9223372036854775807 rows");
            r->source_size = static_cast<int64_t>(span) + 1;
        }
        break;
    }
    }
    stmt->state = kStateExecuting;
    bool hold_rows = !q->order.empty() || stmt->cursor_type == SQL_CURSOR_STATIC;
    if (!hold_rows) {
        // streamed: the first row is evaluated now, so that errors and long
        // searches belong to the execution
        r->streaming = true;
        if (q->source == Query::Source::kSeries) {
            r->series.number_value = make_value(r->mem, VALUE_INTEGER);
            r->series.date_value = make_value(r->mem, VALUE_DATE);
            if (r->series.number_value == nullptr || r->series.date_value == nullptr)
                return post_error(stmt->errors, "HY001", "Memory allocation error");
        }
        SQLRETURN rc = next_row(stmt);
        stmt->state = kStateFetching;
        if (rc == SQL_ERROR)
            return SQL_ERROR;
        r->pending = rc == SQL_SUCCESS;
        return SQL_SUCCESS;
    }
    return evaluate_held_rows(stmt, q, r);
}

SQLRETURN next_row(Statement *stmt)
{
    ResultSet *r = stmt->result.get();
    if (r == nullptr)
        return SQL_NO_DATA;
    r->getdata_column = -1;
    if (!r->streaming) {
        if (r->next_row >= r->rows.size())
            return SQL_NO_DATA;
        r->current = r->rows[r->next_row++];
        return SQL_SUCCESS;
    }
    if (r->pending) {
        r->pending = false;
        return SQL_SUCCESS;
    }
    Query *q = stmt->query.get();
    Evaluation *e = &r->evaluation;
    r->current.resize(q->items.size());
    while (!r->exhausted) {
        if (r->source_position >= r->source_size) {
            r->exhausted = true;
            break;
        }
        if (r->row_mem != nullptr)
            kx_mem_release_handle(r->row_mem);
        r->row_mem = kx_mem_alloc_handle(stmt->mem);
        if (r->row_mem == nullptr)
            return post_error(stmt->errors, "HY001", "Memory allocation error");
        e->context.mem = r->row_mem;
        if (r->source_position % kRowsPerCheck == 0 && check_timeout(stmt) != 0)
            return SQL_ERROR;
        int produced = produce_row(e, q, r->source_position++, &r->series, r->source_row.data(),
                                   r->current.data(), nullptr);
        if (produced < 0)
            return SQL_ERROR;
        if (produced > 0)
            return SQL_SUCCESS;
    }
    return SQL_NO_DATA;
}

}  // namespace kxdrv
