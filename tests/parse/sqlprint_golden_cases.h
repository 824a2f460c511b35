// The golden trees of the SQL text printer, shared by its golden test and
// the test of the standard printing: trees for a few dozen statements (and a
// few expressions) that together hold every printable node kind, the table
// of cases (with why a case lies outside SQLite's grammar as the family
// prints it), and an in-memory SQLite database with the schema the
// statements name, whose parser judges the printed text.
#ifndef KXSUPP_TESTS_PARSE_SQLPRINT_GOLDEN_CASES_H
#define KXSUPP_TESTS_PARSE_SQLPRINT_GOLDEN_CASES_H

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <ostream>
#include <string>

#include "parse/sqlprint_tree.h"

namespace sqlgolden {

using sqltree::Builder;


// ---- the trees ----

using N = ParseNode *;

inline N cursor(Builder &b, N query, N order_by = nullptr)
{
    return b.node(KX_NODE_CURSOR_SPECIFICATION, query, order_by);
}

inline N sort(Builder &b, N key, int direction = 0)
{
    return b.node(KX_NODE_SORT_SPECIFICATION, key, nullptr, direction);
}

inline N set_function(Builder &b, int function, int distinct, N argument)
{
    return distinct ? b.node(KX_NODE_SET_FUNCTION, function, 1, argument)
                    : b.node(KX_NODE_SET_FUNCTION, function, 0, nullptr, argument);
}

inline N grouped(Builder &b, N query, N group_by = nullptr, N having = nullptr)
{
    return b.node(KX_NODE_GROUPED_QUERY, query, group_by, having);
}

inline N join(Builder &b, N left, int natural, int type, int inner, N right, N on, N using_list = nullptr)
{
    return b.node(KX_NODE_QUALIFIED_JOIN, left, natural, type, inner, right, on, using_list);
}

inline N data_type(Builder &b, int code, int length = 0, int seconds = 0, N precision = nullptr)
{
    return b.node(KX_NODE_DATA_TYPE, code, length, seconds, nullptr, precision);
}

inline N column(Builder &b, const char *name, N type, N constraints = nullptr)
{
    return b.node(KX_NODE_COLUMN_DEFINITION, b.id(name), type, constraints);
}

inline N constraint(Builder &b, int which)
{
    return b.node(KX_NODE_COLUMN_CONSTRAINT, which);
}

inline N function(Builder &b, int number, N arguments)
{
    return b.node(KX_NODE_SCALAR_FUNCTION, number, arguments);
}

inline N sql92_function(Builder &b, int number, const void *a, const void *c = nullptr,
                 const void *d = nullptr)
{
    return b.node(KX_NODE_SCALAR_FUNCTION, number, nullptr, a, c, d);
}

inline N like(Builder &b, N operand, int negated, const void *pattern, const void *escape = nullptr)
{
    return b.node(KX_NODE_LIKE, operand, negated, pattern, escape);
}

inline N null_test(Builder &b, N operand, int negated)
{
    return b.node(KX_NODE_NULL_TEST, operand, negated);
}

inline N in_list(Builder &b, N operand, int negated, N values)
{
    return b.node(KX_NODE_IN_PREDICATE, operand, negated, nullptr, nullptr, nullptr, values);
}

inline N in_query(Builder &b, N operand, int negated, N query)
{
    return b.node(KX_NODE_IN_PREDICATE, operand, negated, query);
}

inline N quantified(Builder &b, N operand, int op, int quantifier, int negated, N query)
{
    return b.node(KX_NODE_QUANTIFIED_COMPARISON, operand, op, quantifier, negated, query);
}

inline N set_value(Builder &b, const char *target, const void *value)
{
    return b.node(KX_NODE_SET_CLAUSE, b.id(target), 0, 0, value);
}

inline N privilege(Builder &b, int which, N columns = nullptr)
{
    return b.node(KX_NODE_PRIVILEGE, which, columns);
}

inline N table_name(Builder &b, const char *outer, const char *schema, const char *catalog,
             const char *table)
{
    return b.node(KX_NODE_TABLE_NAME, outer ? b.id(outer) : nullptr,
                  schema ? b.id(schema) : nullptr, catalog ? b.id(catalog) : nullptr, b.id(table));
}

inline N column_name(Builder &b, const char *outer, const char *schema, const char *catalog,
              const char *table, const char *name)
{
    return b.node(KX_NODE_COLUMN_REFERENCE, outer ? b.id(outer) : nullptr,
                  schema ? b.id(schema) : nullptr, catalog ? b.id(catalog) : nullptr,
                  table ? b.id(table) : nullptr, b.id(name));
}

inline N items(Builder &b, std::initializer_list<const void *> expressions)
{
    List *l = nullptr;
    for (const void *e : expressions)
        l = ListAppend(b.item(e), l, b.handle());
    return b.node(KX_NODE_LIST, l);
}

inline N refs(Builder &b, std::initializer_list<const void *> references)
{
    return b.list(references);
}

// " SELECT <columns> FROM <table>"
inline N simple_select(Builder &b, std::initializer_list<const char *> columns, const char *table,
                N where = nullptr)
{
    List *l = nullptr;
    for (const char *c : columns)
        l = ListAppend(b.item(b.col(c)), l, b.handle());
    return b.select(0, l ? b.node(KX_NODE_LIST, l) : nullptr, b.list({b.ref(table)}), where);
}

inline N select_where(Builder &b)
{
    return b.root({cursor(b, b.select(0, items(b, {b.col("id"), b.col("name")}),
                                      refs(b, {b.ref("emp")}),
                                      b.cmp(KX_OP_GREATER, b.col("salary"), b.integer(1000))))});
}

inline N select_distinct_star(Builder &b)
{
    return b.root({b.select(2, nullptr, refs(b, {b.ref("dept")}))});
}

inline N select_aliases_qualified(Builder &b)
{
    N list = b.list({b.item(b.col("e", "name"), "emp_name"),
                     b.node(KX_NODE_SELECT_ITEM, nullptr, nullptr, b.id("d"))});
    N where = b.both(b.cmp(KX_OP_EQUAL, b.col("e", "dept_id"), b.col("d", "id")),
                     b.cmp(KX_OP_NOT_EQUAL, b.col("d", "name"), b.str("Sales")));
    return b.root({b.select(1, list, refs(b, {b.ref("emp", "e"), b.ref("dept", "d")}), where)});
}

inline N join_inner(Builder &b)
{
    N j = join(b, b.ref("emp", "e"), 0, 0, 2, b.ref("dept", "d"),
               b.cmp(KX_OP_EQUAL, b.col("e", "dept_id"), b.col("d", "id")));
    return b.root({b.select(0, b.list({b.item(b.col("e", "name")),
                                       b.item(b.col("d", "name"), "dname")}),
                            refs(b, {b.joined(j)}))});
}

inline N join_left_order_by(Builder &b)
{
    N j = join(b, b.ref("emp", "e"), 0, 4, 1, b.ref("dept", "d"),
               b.cmp(KX_OP_EQUAL, b.col("e", "dept_id"), b.col("d", "id")));
    N query = b.select(0, items(b, {b.col("e", "name")}), refs(b, {b.joined(j)}));
    return b.root({cursor(b, query, b.list({sort(b, b.col("e", "name")),
                                            sort(b, b.col("d", "id"), 2)}))});
}

inline N joins_natural_right_full(Builder &b)
{
    N natural = join(b, b.ref("emp"), 1, 0, 2, b.ref("emp2"), nullptr);
    N right = join(b, b.ref("dept", "d"), 0, 6, 1, b.ref("proj", "p"), nullptr,
                   b.list({b.id("id")}));
    N full = join(b, b.ref("dept", "d"), 0, 8, 1, b.ref("proj", "p"),
                  b.cmp(KX_OP_EQUAL, b.col("d", "id"), b.col("p", "dept_id")));
    return b.root({b.select(0, nullptr, refs(b, {b.joined(natural)})),
                   b.select(0, nullptr, refs(b, {b.joined(right)})),
                   b.select(0, nullptr, refs(b, {b.joined(full)}))});
}

inline N grouping_having(Builder &b)
{
    N query = b.select(0, b.list({b.item(b.col("dept_id")),
                                  b.item(set_function(b, 6, 0, nullptr), "n"),
                                  b.item(set_function(b, 4, 0, b.col("salary")))}),
                       refs(b, {b.ref("emp")}));
    N having = b.cmp(KX_OP_GREATER, set_function(b, 6, 0, nullptr), b.integer(2));
    return b.root({cursor(b, grouped(b, query, b.list({b.col("dept_id")}), having),
                          b.list({sort(b, b.col("dept_id"))}))});
}

inline N grouping_items(Builder &b)
{
    N query = b.select(0, items(b, {b.col("dept_id"), set_function(b, 6, 0, nullptr)}),
                       refs(b, {b.ref("emp")}));
    N by = b.list({b.node(KX_NODE_GROUPING_ITEM, b.col("dept_id"), 0),
                   b.node(KX_NODE_GROUPING_ITEM, b.col("name"), 2)});
    return b.root({grouped(b, query, by)});
}

inline N set_functions(Builder &b)
{
    N s = b.col("salary");
    return b.root({b.select(0, items(b, {set_function(b, 1, 1, b.col("dept_id")),
                                         set_function(b, 2, 1, s), set_function(b, 3, 1, s),
                                         set_function(b, 4, 1, s), set_function(b, 5, 1, s),
                                         set_function(b, 2, 0, s), set_function(b, 3, 0, s),
                                         set_function(b, 5, 0, s),
                                         set_function(b, 1, 0, b.col("name"))}),
                            refs(b, {b.ref("emp")}))});
}

inline N subquery_in_not_exists(Builder &b)
{
    N budget = simple_select(b, {"id"}, "dept",
                             b.cmp(KX_OP_GREATER, b.col("budget"), b.integer(100)));
    N in = in_query(b, b.col("dept_id"), 0, grouped(b, budget));
    N projects = b.select(0, nullptr, refs(b, {b.ref("proj")}),
                          b.cmp(KX_OP_EQUAL, b.col("proj", "dept_id"), b.col("emp", "dept_id")));
    N not_exists = b.node(KX_NODE_EXISTS, projects, 1);
    return b.root({simple_select(b, {"name"}, "emp", b.both(in, not_exists))});
}

inline N in_lists(Builder &b)
{
    N numbers = in_list(b, b.col("id"), 0, b.list({b.integer(1), b.integer(2), b.integer(3)}));
    N names = in_list(b, b.col("name"), 1, b.list({b.str("a"), b.str("b")}));
    return b.root({simple_select(b, {"id"}, "emp", b.either(numbers, names))});
}

inline N in_empty(Builder &b)
{
    N empty = b.node(KX_NODE_IN_PREDICATE, b.col("id"), 0);
    N not_empty = b.node(KX_NODE_IN_PREDICATE, b.col("id"), 1);
    return b.root({simple_select(b, {"id"}, "emp", b.both(empty, not_empty))});
}

inline N comparison_subquery_derived_table(Builder &b)
{
    N average = b.select(0, items(b, {set_function(b, 5, 0, b.col("salary"))}),
                         refs(b, {b.ref("emp")}));
    N first = simple_select(b, {"name"}, "emp",
                            b.cmp(KX_OP_GREATER, b.col("salary"), grouped(b, average)));
    N counted = b.select(0, b.list({b.item(set_function(b, 6, 0, nullptr), "n")}),
                         refs(b, {b.ref("emp")}));
    N derived = b.node(KX_NODE_TABLE_REFERENCE, nullptr, b.id("x"), nullptr, counted);
    N second = b.select(0, items(b, {b.col("x", "n")}), refs(b, {derived}));
    return b.root({first, second});
}

inline N quantified_comparisons(Builder &b)
{
    N all = quantified(b, b.col("salary"), KX_OP_GREATER_EQUAL, 1, 0,
                       simple_select(b, {"salary"}, "emp"));
    N any = quantified(b, b.col("id"), KX_OP_EQUAL, 2, 1, simple_select(b, {"id"}, "dept"));
    N some = quantified(b, b.col("id"), KX_OP_NOT_EQUAL, 0, 0,
                        simple_select(b, {"dept_id"}, "proj"));
    return b.root({simple_select(b, {"name"}, "emp", b.both(b.either(all, any), some))});
}

inline N case_nullif_coalesce(Builder &b)
{
    N searched = b.node(
        KX_NODE_CASE, nullptr,
        b.list({b.node(KX_NODE_WHEN_CLAUSE, b.cmp(KX_OP_LESS, b.col("salary"), b.integer(1000)),
                       b.str("low")),
                b.node(KX_NODE_WHEN_CLAUSE, b.cmp(KX_OP_LESS, b.col("salary"), b.integer(5000)),
                       b.str("mid"))}),
        b.str("high"));
    N simple = b.node(KX_NODE_CASE, b.col("dept_id"),
                      b.list({b.node(KX_NODE_WHEN_CLAUSE, b.integer(1), b.str("one"))}));
    N nullif = b.node(KX_NODE_NULLIF, b.col("name"), b.str("x"));
    N coalesce = b.node(KX_NODE_COALESCE, b.list({b.col("name"), b.str("none")}));
    return b.root({b.select(0, b.list({b.item(searched, "band"), b.item(simple),
                                       b.item(nullif), b.item(coalesce)}),
                            refs(b, {b.ref("emp")}))});
}

inline N casts(Builder &b)
{
    N to_integer = b.node(KX_NODE_CAST, b.col("salary"), data_type(b, 4));
    N null_to_varchar = b.node(KX_NODE_CAST, nullptr, data_type(b, 12, 20));
    N to_decimal = b.node(KX_NODE_CAST, b.col("salary"),
                          data_type(b, 3, 0, 0, b.node(KX_NODE_PRECISION, 10, 2)));
    N to_double = b.node(KX_NODE_CAST, b.col("id"), data_type(b, 8));
    return b.root({b.select(0, items(b, {to_integer, null_to_varchar, to_decimal, to_double}),
                            refs(b, {b.ref("emp")}))});
}

inline N catalogue_functions(Builder &b)
{
    return b.root({b.select(
        0,
        items(b, {function(b, 65, b.list({b.col("name")})),
                  function(b, 60, b.list({b.col("name"), b.integer(1), b.integer(3)})),
                  function(b, 9, b.list({b.col("name")})), function(b, 43, nullptr),
                  function(b, 28, b.list({b.col("name"), b.str("x")}))}),
        refs(b, {b.ref("emp")}))});
}

inline N sql92_functions(Builder &b)
{
    N name = b.col("name");
    N trim_both = b.node(KX_NODE_TRIM_OPERANDS, 3, b.str(" "), name);
    N trim_leading = b.node(KX_NODE_TRIM_OPERANDS, 1, nullptr, name);
    N trim_trailing = b.node(KX_NODE_TRIM_OPERANDS, 2, b.str("x"), name);
    return b.root({b.select(
        0,
        items(b, {sql92_function(b, -1, name), sql92_function(b, -2, name),
                  sql92_function(b, -3, b.str("a"), name),
                  sql92_function(b, -4, name, b.integer(2), b.integer(3)),
                  sql92_function(b, -4, name, b.integer(2)), sql92_function(b, -5, trim_both),
                  sql92_function(b, -5, trim_leading), sql92_function(b, -5, trim_trailing),
                  sql92_function(b, -6, name),
                  function(b, 25, b.list({b.integer(0), b.col("hired")})),
                  function(b, 25, b.list({b.integer(5), b.col("hired")})),
                  function(b, 44, b.list({b.str("a"), name}))}),
        refs(b, {b.ref("emp")}))});
}

inline N like_null_tests(Builder &b)
{
    N first = b.both(like(b, b.col("name"), 0, b.str("A%")),
                     null_test(b, b.col("manager_id"), 1));
    N second = b.either(like(b, b.col("name"), 1, b.str("B_")), null_test(b, b.col("hired"), 0));
    return b.root({simple_select(b, {"id"}, "emp", b.both(first, second))});
}

inline N like_escape(Builder &b)
{
    return b.root({simple_select(b, {"name"}, "emp",
                                 like(b, b.col("name"), 0, b.str("a!%"), b.str("!")))});
}

inline N literals(Builder &b)
{
    return b.root({b.select(0,
                            items(b, {b.integer(42), b.dbl(2.5), b.dbl(3.0), b.str("O'Brien 100%"),
                                      b.binary({0x0A, 0xFF}), MakeNull(b.handle()), b.param(1),
                                      b.dbl(-0.125), MakeNumeric("1234567", "25", b.handle())}),
                            refs(b, {b.ref("emp")}))});
}

inline N odbc_literals(Builder &b)
{
    Value *bit = b.value(VALUE_BIT);
    bit->payload.integer = 1;
    Value *date = b.value(VALUE_DATE);
    date->payload.date = DateStruct{2004, 6, 16};
    Value *time = b.value(VALUE_TIME);
    time->payload.time = TimeStruct{9, 5, 0};
    Value *stamp = b.value(VALUE_TIMESTAMP);
    stamp->payload.timestamp = TimestampStruct{2004, 6, 16, 10, 20, 30, 500};
    Value *years = b.value(VALUE_INTERVAL_YM);
    years->payload.interval.interval_type = KX_IS_YEAR;
    years->payload.interval.intval.year_month.year = 3;
    Value *days = b.value(VALUE_INTERVAL_DS);
    days->payload.interval.interval_type = KX_IS_DAY_TO_SECOND;
    days->payload.interval.interval_sign = 1;
    days->payload.interval.intval.day_second = DaySecondStruct{2, 3, 4, 5, 250000000};
    Value *big = b.value(VALUE_BIGINT);
    big->payload.bigint.low = 5;
    return b.root({b.select(
        0,
        items(b, {bit, date, time, stamp, years, days, b.value(VALUE_CURRENT_DATE),
                  b.value(VALUE_USER), b.value(VALUE_CURRENT_TIME),
                  b.value(VALUE_CURRENT_TIMESTAMP), big, b.binary({0x05, 0x00})}),
        refs(b, {b.ref("emp")}))});
}

inline N inserts(Builder &b)
{
    N columns = b.list({b.id("id"), b.id("name")});
    N values = b.node(KX_NODE_INSERT_SOURCE, 0, columns, nullptr,
                      b.list({b.integer(7), b.str("Ann")}));
    N query = b.node(KX_NODE_INSERT_SOURCE, 0, b.list({b.id("id"), b.id("name")}),
                     simple_select(b, {"id", "name"}, "emp2"));
    N defaults = b.node(KX_NODE_INSERT_SOURCE, 1);
    return b.root({b.node(KX_NODE_INSERT, b.table("emp"), values),
                   b.node(KX_NODE_INSERT, b.table("emp"), query),
                   b.node(KX_NODE_INSERT, b.table("dept"), defaults)});
}

inline N update_searched(Builder &b)
{
    N sales = simple_select(b, {"id"}, "dept",
                            b.cmp(KX_OP_EQUAL, b.col("name"), b.str("Sales")));
    N sets = b.list({set_value(b, "salary", b.integer(5000)),
                     b.node(KX_NODE_SET_CLAUSE, b.id("name"), 1),
                     b.node(KX_NODE_SET_CLAUSE, b.id("dept_id"), 0, 0, nullptr, sales)});
    return b.root({b.node(KX_NODE_SEARCHED_UPDATE, b.table("emp"), sets,
                          b.cmp(KX_OP_EQUAL, b.col("id"), b.integer(7)))});
}

inline N positioned(Builder &b)
{
    N sets = b.list({b.node(KX_NODE_SET_CLAUSE, b.id("manager_id"), 0, 1)});
    return b.root({b.node(KX_NODE_POSITIONED_UPDATE, b.table("emp"), sets, b.id("c1")),
                   b.node(KX_NODE_POSITIONED_DELETE, b.table("emp"), b.id("c1"))});
}

inline N delete_searched(Builder &b)
{
    return b.root({b.node(KX_NODE_SEARCHED_DELETE, b.table("emp"),
                          b.cmp(KX_OP_LESS, b.col("salary"), b.integer(100))),
                   b.node(KX_NODE_SEARCHED_DELETE, b.table("proj"))});
}

inline N unions(Builder &b)
{
    N all = b.node(KX_NODE_UNION, simple_select(b, {"id"}, "emp"),
                   simple_select(b, {"id"}, "dept"), 1);
    N plain = b.node(KX_NODE_UNION, simple_select(b, {"id"}, "emp"),
                     simple_select(b, {"dept_id"}, "proj"));
    N replaced = b.node(KX_NODE_UNION, simple_select(b, {"id"}, "emp"), nullptr, 1,
                        simple_select(b, {"name"}, "dept"));
    return b.root({cursor(b, all, b.list({sort(b, b.col("id"))})), plain, replaced});
}

inline N for_update(Builder &b)
{
    return b.root({b.node(KX_NODE_FOR_UPDATE, simple_select(b, {"id", "name"}, "emp"),
                          b.list({b.id("name")})),
                   b.node(KX_NODE_FOR_UPDATE, simple_select(b, {}, "dept"))});
}

inline N create_table(Builder &b)
{
    N id = column(b, "id", data_type(b, 4), b.list({constraint(b, 2)}));
    N name = column(b, "name", data_type(b, 12, 40), b.list({constraint(b, 5), constraint(b, 1)}));
    N dept = column(b, "dept_id", data_type(b, 4),
                    b.list({b.node(KX_NODE_COLUMN_CONSTRAINT, 6, b.table("dept"),
                                   b.list({b.id("id")}))}));
    N salary = column(
        b, "salary", data_type(b, 2, 0, 0, b.node(KX_NODE_PRECISION, 12, 2)),
        b.list({b.node(KX_NODE_COLUMN_CONSTRAINT, 7, nullptr, nullptr, nullptr, b.integer(0)),
                b.node(KX_NODE_COLUMN_CONSTRAINT, 3, nullptr, nullptr,
                       b.cmp(KX_OP_GREATER_EQUAL, b.col("salary"), b.integer(0)))}));
    N note = column(b, "note", data_type(b, 1), b.list({constraint(b, 4)}));
    N unique = b.node(KX_NODE_TABLE_CONSTRAINT, 1, b.list({b.id("name"), b.id("dept_id")}));
    N check = b.node(KX_NODE_TABLE_CONSTRAINT, 3, nullptr,
                     b.cmp(KX_OP_NOT_EQUAL, b.col("name"), b.str("")));
    N first = b.node(KX_NODE_CREATE_TABLE, b.table("t_new"),
                     b.list({id, name, dept, salary, note, unique, check}));
    N key = b.node(KX_NODE_TABLE_CONSTRAINT, 2, b.list({b.id("a"), b.id("b")}));
    N second = b.node(KX_NODE_CREATE_TABLE, b.table("t_pk"),
                      b.list({column(b, "a", data_type(b, 4)), column(b, "b", data_type(b, 4)),
                              key}));
    return b.root({first, second});
}

inline N create_table_types(Builder &b)
{
    struct TypeRow {
        int code, length, seconds, precision;
    };
    const TypeRow rows[] = {
        {-7, 0, 0, 0},  {-6, 0, 0, 0},   {-5, 0, 0, 0},  {-4, 0, 0, 0},  {-1, 0, 0, 0},
        {5, 0, 0, 0},   {7, 0, 0, 0},    {91, 0, 0, 0},  {9, 0, 0, 0},   {-3, 16, 0, 0},
        {-2, 8, 0, 0},  {1, 10, 0, 0},   {3, 0, 0, 0},   {6, 0, 0, 0},   {6, 53, 0, 0},
        {92, 0, 0, 0},  {10, 3, 0, 0},   {93, 6, 0, 0},  {11, 0, 0, 0},  {8, 0, 0, 0},
        {101, 0, 0, 0}, {102, 0, 0, 0},  {103, 0, 0, 0}, {104, 0, 0, 0}, {105, 0, 0, 0},
        {106, 0, 0, 0}, {101, 4, 0, 0},  {102, 3, 0, 0}, {106, 0, 0, 4}, {2, 0, 0, 0},
        {12, 255, 0, 0}, {4, 0, 0, 0},
    };
    List *columns = nullptr;
    int n = 0;
    for (const TypeRow &s : rows) {
        std::string name = "c" + std::to_string(++n);
        N precision = s.precision ? b.node(KX_NODE_PRECISION, s.precision) : nullptr;
        columns = ListAppend(column(b, name.c_str(), data_type(b, s.code, s.length, s.seconds,
                                                               precision)),
                             columns, b.handle());
    }
    return b.root({b.node(KX_NODE_CREATE_TABLE, b.table("t_types"),
                          b.node(KX_NODE_LIST, columns))});
}

inline N create_table_storage_fk(Builder &b)
{
    auto fk = [&b](N from, const char *table, N to, int rule) {
        return b.node(KX_NODE_TABLE_CONSTRAINT, 4, from, nullptr, b.table(table), to, rule);
    };
    N keys = b.node(
        KX_NODE_CREATE_TABLE, b.table("t_fk"),
        b.list({column(b, "a", data_type(b, 4)), column(b, "b", data_type(b, 4)),
                fk(b.list({b.id("a")}), "dept", b.list({b.id("id")}), 1),
                fk(b.list({b.id("b")}), "proj", b.list({b.id("id")}), 0),
                fk(b.list({b.id("a"), b.id("b")}), "t_pk", b.list({b.id("a"), b.id("b")}), 2),
                fk(b.list({b.id("b")}), "dept", b.list({b.id("id")}), 3)}));
    N on = b.node(KX_NODE_CREATE_TABLE, b.table("t_on"), b.list({column(b, "a", data_type(b, 4))}),
                  nullptr, b.id("space1"));
    N as = b.node(KX_NODE_CREATE_TABLE, b.table("t_as"), b.list({b.id("a")}),
                  simple_select(b, {"id"}, "emp"));
    N both = b.node(KX_NODE_CREATE_TABLE, b.table("t_both"),
                    b.list({column(b, "a", data_type(b, 4))}), simple_select(b, {"id"}, "emp"),
                    b.id("space2"));
    return b.root({keys, on, as, both});
}

inline N interval_types(Builder &b)
{
    N list = b.list({column(b, "a", data_type(b, 107, 2)), column(b, "b", data_type(b, 108)),
                     column(b, "c", data_type(b, 109, 3)), column(b, "d", data_type(b, 110, 0, 6)),
                     column(b, "e", data_type(b, 111)), column(b, "f", data_type(b, 112, 2)),
                     column(b, "g", data_type(b, 113, 0, 3)),
                     column(b, "h", data_type(b, 999))});
    return b.root({b.node(KX_NODE_CREATE_TABLE, b.table("t_iv"), list)});
}

inline N create_index(Builder &b)
{
    return b.root({b.node(KX_NODE_CREATE_INDEX, 1, b.id("emp_name_dept"), b.table("emp"),
                          b.list({b.id("name"), b.id("dept_id")})),
                   b.node(KX_NODE_CREATE_INDEX, 0, b.id("proj_title"), b.table("proj"),
                          b.list({b.id("title")}))});
}

inline N create_view(Builder &b)
{
    return b.root({b.node(KX_NODE_CREATE_VIEW, b.table("v_names"),
                          b.list({b.id("n"), b.id("d")}),
                          simple_select(b, {"name", "dept_id"}, "emp")),
                   b.node(KX_NODE_CREATE_VIEW, b.table("v_all"), nullptr,
                          b.select(0, nullptr, refs(b, {b.ref("dept")})))});
}

inline N create_view_check_option(Builder &b)
{
    N query = b.select(0, nullptr, refs(b, {b.ref("dept")}),
                       b.cmp(KX_OP_GREATER, b.col("budget"), b.integer(0)));
    return b.root({b.node(KX_NODE_CREATE_VIEW, b.table("v_chk"), nullptr, query, 1)});
}

inline N drops(Builder &b)
{
    return b.root({b.node(KX_NODE_DROP_TABLE, b.table("old_items")),
                   b.node(KX_NODE_DROP_INDEX, b.id("emp_name_idx")),
                   b.node(KX_NODE_DROP_VIEW, b.table("v_old"))});
}

inline N drops_behaviour(Builder &b)
{
    return b.root({b.node(KX_NODE_DROP_TABLE, b.table("old_items"), 1),
                   b.node(KX_NODE_DROP_VIEW, b.table("v_old"), 2),
                   b.node(KX_NODE_DROP_TABLE, b.table("old_items"), 3)});
}

inline N alter_table(Builder &b)
{
    return b.root({b.node(KX_NODE_ALTER_TABLE_ADD, b.table("emp2"),
                          b.list({column(b, "extra", data_type(b, 4))})),
                   b.node(KX_NODE_ALTER_TABLE_DROP, b.table("emp2"), b.id("note"))});
}

inline N alter_table_several_behaviour(Builder &b)
{
    return b.root({b.node(KX_NODE_ALTER_TABLE_ADD, b.table("emp2"),
                          b.list({column(b, "a", data_type(b, 4)),
                                  column(b, "b", data_type(b, 7))})),
                   b.node(KX_NODE_ALTER_TABLE_DROP, b.table("emp2"), b.id("note"), 1),
                   b.node(KX_NODE_ALTER_TABLE_DROP, b.table("emp2"), b.id("extra"), 2)});
}

inline N grants(Builder &b)
{
    N first = b.node(KX_NODE_GRANT,
                     b.list({privilege(b, 3), privilege(b, 4, b.list({b.id("name"), b.id("salary")}))}),
                     b.table("emp"), b.list({b.id("alice"), b.id("bob")}), 1);
    N everything = b.node(KX_NODE_GRANT, nullptr, b.table("dept"));
    N third = b.node(KX_NODE_GRANT,
                     b.list({privilege(b, 1), privilege(b, 2), privilege(b, 5, b.list({b.id("id")})),
                             privilege(b, 4), privilege(b, 5)}),
                     b.table("proj"), b.list({b.id("carol")}));
    return b.root({first, everything, third});
}

inline N revokes(Builder &b)
{
    return b.root({b.node(KX_NODE_REVOKE, b.table("emp"), b.list({b.id("alice")}), 1,
                          b.list({privilege(b, 3)})),
                   b.node(KX_NODE_REVOKE, b.table("dept"), nullptr, 2),
                   b.node(KX_NODE_REVOKE, b.table("proj"), b.list({b.id("bob"), b.id("carol")}), 0,
                          b.list({privilege(b, 4), privilege(b, 2)}))});
}

inline N transactions(Builder &b)
{
    return b.root({b.node(KX_NODE_COMMIT), b.node(KX_NODE_ROLLBACK)});
}

inline N procedure_calls(Builder &b)
{
    return b.root({b.node(KX_NODE_PROCEDURE_CALL, b.id("proc1"),
                          b.list({b.integer(1), b.str("a")})),
                   b.node(KX_NODE_PROCEDURE_CALL, b.id("proc2"), nullptr, 1)});
}

inline N qualified_names(Builder &b)
{
    N columns = items(b, {column_name(b, "o", "s", "c", "t", "a"),
                          column_name(b, "o", nullptr, nullptr, nullptr, "a"),
                          column_name(b, nullptr, nullptr, "c", nullptr, "a"),
                          column_name(b, nullptr, "s", nullptr, nullptr, "a"),
                          column_name(b, nullptr, nullptr, nullptr, "t", "a"),
                          b.id("Mixed Case", true)});
    auto ref = [&b](N name) { return b.node(KX_NODE_TABLE_REFERENCE, name); };
    N tables = refs(b, {ref(table_name(b, "o", "s", "c", "t")),
                        ref(table_name(b, "o", nullptr, nullptr, "t")),
                        ref(table_name(b, nullptr, nullptr, "c", "t")),
                        ref(table_name(b, nullptr, "s", nullptr, "t"))});
    return b.root({b.select(0, columns, tables)});
}

inline N main_schema_quoted(Builder &b)
{
    N columns = items(b, {column_name(b, nullptr, "main", nullptr, "emp", "id"),
                          b.id("name", true)});
    return b.root({b.select(0, columns,
                            refs(b, {b.node(KX_NODE_TABLE_REFERENCE, b.table("emp", "main"))}))});
}

inline N applied_condition(Builder &b)
{
    N applied = Builder::set(b.cmp(KX_OP_EQUAL, b.col("name"), b.str("x")), 8, 1);
    return b.root({simple_select(b, {"id"}, "emp",
                                 b.both(applied, b.cmp(KX_OP_GREATER, b.col("id"), b.integer(1))))});
}

inline N interval_qualifiers(Builder &b)
{
    auto field = [&b](int which, int precision = 0, N seconds = nullptr) {
        return b.node(KX_NODE_INTERVAL_FIELD, which, precision, seconds);
    };
    return b.list({b.node(KX_NODE_INTERVAL_QUALIFIER, field(1), field(2)),
                   b.node(KX_NODE_INTERVAL_QUALIFIER, field(4), field(5), field(3, 5)),
                   field(4), field(5, 2), field(6), field(7, 0, b.node(KX_NODE_PRECISION, 6)),
                   field(7), field(8), b.node(KX_NODE_DEFAULT_OPTION, 1),
                   b.node(KX_NODE_DEFAULT_OPTION, 2), b.node(KX_NODE_DEFAULT_OPTION, 3),
                   b.node(KX_NODE_EITHER, b.id("x"), b.id("unused")),
                   b.node(KX_NODE_EITHER, nullptr, b.id("y"))});
}

inline N outer_join_marks(Builder &b)
{
    N left = Builder::set(b.col("e", "dept_id"), 15, 1);
    N right = Builder::set(Builder::set(b.col("d", "id"), 15, 1), 18, 1);
    N applied = Builder::set(b.cmp(KX_OP_EQUAL, b.col("e", "id"), b.integer(5)), 8, 1);
    return b.both(b.cmp(KX_OP_EQUAL, left, right), applied);
}

// ---- the table of cases ----

enum class Form { kStatements, kExpression };

struct GoldenCase {
    const char *name;
    N (*build)(Builder &);
    Form form;
    int32_t mode;
    // Null when every statement is meant to be valid SQL inside SQLite's
    // grammar; otherwise why it is not.
    const char *outside_sqlite;
};

inline constexpr GoldenCase kCases[] = {
    {"select_where", select_where, Form::kStatements, 0, nullptr},
    {"select_distinct_star", select_distinct_star, Form::kStatements, 0, nullptr},
    {"select_aliases_qualified", select_aliases_qualified, Form::kStatements, 0, nullptr},
    {"join_inner", join_inner, Form::kStatements, 0, nullptr},
    {"join_left_order_by", join_left_order_by, Form::kStatements, 0, nullptr},
    {"joins_natural_right_full", joins_natural_right_full, Form::kStatements, 0, nullptr},
    {"grouping_having", grouping_having, Form::kStatements, 0, nullptr},
    {"grouping_items", grouping_items, Form::kStatements, 0,
     "grouping items always carry ASC or DESC, which SQLite's GROUP BY does not take"},
    {"set_functions", set_functions, Form::kStatements, 0, nullptr},
    {"subquery_in_not_exists", subquery_in_not_exists, Form::kStatements, 0, nullptr},
    {"in_lists", in_lists, Form::kStatements, 0, nullptr},
    {"in_empty", in_empty, Form::kStatements, 0, nullptr},
    {"comparison_subquery_derived_table", comparison_subquery_derived_table,
     Form::kStatements, 0, nullptr},
    {"quantified_comparisons", quantified_comparisons, Form::kStatements, 0,
     "SQLite has no quantified comparisons (ALL, ANY, SOME)"},
    {"case_nullif_coalesce", case_nullif_coalesce, Form::kStatements, 0, nullptr},
    {"casts", casts, Form::kStatements, 0, nullptr},
    {"catalogue_functions", catalogue_functions, Form::kStatements, 0, nullptr},
    {"sql92_functions", sql92_functions, Form::kStatements, 0,
     "SQLite has no POSITION(a IN b), SUBSTRING(a FROM b FOR c), TRIM(... FROM a) or EXTRACT"},
    {"like_null_tests", like_null_tests, Form::kStatements, 0, nullptr},
    {"like_escape", like_escape, Form::kStatements, 0,
     "the escape character follows the pattern without the ESCAPE keyword"},
    {"literals", literals, Form::kStatements, 0, nullptr},
    {"odbc_literals", odbc_literals, Form::kStatements, 0,
     "ODBC escape-clause datetimes, B'' bits, INTERVAL literals, keywords written with a "
     "blank (CURRENT DATE) and the unexpected-value text"},
    {"inserts", inserts, Form::kStatements, 0, nullptr},
    {"update_searched", update_searched, Form::kStatements, 0, nullptr},
    {"positioned", positioned, Form::kStatements, 0,
     "SQLite has no cursors (WHERE CURRENT OF) and no SET ... = DEFAULT"},
    {"delete_searched", delete_searched, Form::kStatements, 0, nullptr},
    {"unions", unions, Form::kStatements, 0, nullptr},
    {"for_update", for_update, Form::kStatements, 0, "SQLite has no FOR UPDATE OF"},
    {"create_table", create_table, Form::kStatements, 0, nullptr},
    {"create_table_types", create_table_types, Form::kStatements, 0, nullptr},
    {"create_table_storage_fk", create_table_storage_fk, Form::kStatements, 0,
     "\"FOERIGN KEY\" is the printer's spelling; SQLite has no storage clause (ON) and no "
     "AS query before a column list"},
    {"interval_types", interval_types, Form::kStatements, 0,
     "a SQLite type name ends at its parenthesised size: no \"TO MONTH\" after it"},
    {"create_index", create_index, Form::kStatements, 0, nullptr},
    {"create_view", create_view, Form::kStatements, 0, nullptr},
    {"create_view_check_option", create_view_check_option, Form::kStatements, 0,
     "SQLite has no WITH CHECK OPTION"},
    {"drops", drops, Form::kStatements, 0, nullptr},
    {"drops_behaviour", drops_behaviour, Form::kStatements, 0,
     "SQLite's DROP takes no CASCADE or RESTRICT"},
    {"alter_table", alter_table, Form::kStatements, 0, nullptr},
    {"alter_table_several_behaviour", alter_table_several_behaviour, Form::kStatements, 0,
     "SQLite adds one column at a time, without parentheses, and drops without CASCADE or "
     "RESTRICT"},
    {"grants", grants, Form::kStatements, 0, "SQLite has no privileges (GRANT)"},
    {"revokes", revokes, Form::kStatements, 0, "SQLite has no privileges (REVOKE)"},
    {"transactions", transactions, Form::kStatements, 0,
     "SQLite does not take the word WORK after COMMIT or ROLLBACK"},
    {"procedure_calls", procedure_calls, Form::kStatements, 0,
     "the ODBC call escape { call ... } is not SQL"},
    {"qualified_names", qualified_names, Form::kStatements, 0,
     "SQLite names have at most three parts (schema.table.column)"},
    {"main_schema_quoted", main_schema_quoted, Form::kStatements, 0, nullptr},
    {"applied_condition", applied_condition, Form::kStatements, 0, nullptr},
    {"interval_qualifiers", interval_qualifiers, Form::kExpression, 0,
     "an expression list, not a statement"},
    {"outer_join_marks", outer_join_marks, Form::kExpression, KX_PRINT_OUTER_JOIN_MARKS,
     "a condition printed with outer-join marks, not a statement"},
};

// Test names and failure messages show a case by its name.
inline void PrintTo(const GoldenCase &c, std::ostream *out)
{
    *out << c.name;
}

inline std::string print_case(const GoldenCase &c, Builder &b)
{
    N tree = c.build(b);
    if (c.form == Form::kStatements)
        return sqltree::print_tree(tree);
    return sqltree::print(tree, c.mode);
}


// ---- SQLite ----

// Functions of the catalogue that SQLite lacks, so that a call of one is
// judged by grammar alone.
inline void stub_function(sqlite3_context *context, int, sqlite3_value **)
{
    sqlite3_result_null(context);
}

inline constexpr const char *kSchema =
    "CREATE TABLE emp(id INTEGER PRIMARY KEY, name TEXT, dept_id INTEGER, salary NUMERIC,"
    "                 hired DATE, manager_id INTEGER);"
    "CREATE TABLE emp2(id INTEGER, name TEXT, dept_id INTEGER, salary NUMERIC, hired DATE,"
    "                  manager_id INTEGER, note TEXT);"
    "CREATE TABLE dept(id INTEGER PRIMARY KEY, name TEXT, budget NUMERIC);"
    "CREATE TABLE proj(id INTEGER PRIMARY KEY, dept_id INTEGER, title TEXT);"
    "CREATE TABLE old_items(x);"
    "CREATE INDEX emp_name_idx ON emp(name);"
    "CREATE VIEW v_old AS SELECT * FROM dept;";

class SqliteDatabase {
public:
    SqliteDatabase()
    {
        EXPECT_EQ(sqlite3_open(":memory:", &db_), SQLITE_OK);
        for (const char *name : {"UCASE", "CHARACTER_LENGTH", "PI"})
            sqlite3_create_function(db_, name, -1, SQLITE_UTF8, nullptr, stub_function, nullptr,
                                    nullptr);
        char *error = nullptr;
        EXPECT_EQ(sqlite3_exec(db_, kSchema, nullptr, nullptr, &error), SQLITE_OK)
            << (error ? error : "");
        sqlite3_free(error);
    }
    ~SqliteDatabase() { sqlite3_close(db_); }

    // Prepares each statement of text in turn and runs it, so that a later
    // statement sees what an earlier one made; the first statement SQLite
    // refuses to prepare gives its message, all accepted gives "".
    std::string first_refusal(const std::string &text)
    {
        const char *next = text.c_str();
        while (*next != '\0') {
            sqlite3_stmt *statement = nullptr;
            const char *tail = nullptr;
            if (sqlite3_prepare_v2(db_, next, -1, &statement, &tail) != SQLITE_OK)
                return std::string(sqlite3_errmsg(db_)) + " in: " + next;
            if (statement != nullptr) {
                while (sqlite3_step(statement) == SQLITE_ROW) {
                }
                sqlite3_finalize(statement);
            }
            next = tail;
        }
        return "";
    }

private:
    sqlite3 *db_ = nullptr;
};

}  // namespace sqlgolden

#endif
